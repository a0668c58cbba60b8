#pragma once

#include "support/NetworkNamespace.h"

#include <memory>
#include <string>

namespace testsupport {

// A veth pair with one end in the root namespace and the other in a NetworkNamespace, both up, with IPv6
// switched off on both so that neither end sends router solicitations or MLD reports of its own: the only
// traffic on the pair is what a test sends.
//
// The destructor deletes the pair (`ip link del` on the root end removes both ends). Needs
// CAP_NET_ADMIN. Not copyable or movable: hold it by unique_ptr, and destroy it before its namespace.
class VethPair {
public:
    // Creates `rootEnd` in the root namespace and `namespaceEnd` in `ns`, brings both up and switches IPv6
    // off. Names are at most 15 characters. Returns null and sets `error`, with the output of `ip`, on
    // failure; whatever was created is removed again.
    static std::unique_ptr<VethPair> create(const std::string& rootEnd, const std::string& namespaceEnd,
                                            const NetworkNamespace& ns, std::string& error);

    ~VethPair();
    VethPair(const VethPair&) = delete;
    VethPair& operator=(const VethPair&) = delete;

    // The end in the root namespace, where tests capture.
    const std::string& rootEnd() const { return rootEndName; }

    // The end inside the namespace, where the talker sends.
    const std::string& namespaceEnd() const { return namespaceEndName; }

private:
    VethPair(std::string rootEnd, std::string namespaceEnd);

    std::string rootEndName;
    std::string namespaceEndName;
};

} // namespace testsupport
