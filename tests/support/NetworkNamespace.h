#pragma once

#include <memory>
#include <string>

namespace testsupport {

// A named network namespace, made with `ip netns add` and removed with `ip netns del` by the destructor.
//
// Needs CAP_SYS_ADMIN. Not copyable or movable: hold it by unique_ptr. Removing the namespace also
// destroys every interface still inside it.
class NetworkNamespace {
public:
    // Creates the namespace `name`, first removing a leftover of the same name from a crashed run. Returns
    // null and sets `error` to the reason, including the output of `ip`, when it cannot be made.
    static std::unique_ptr<NetworkNamespace> create(const std::string& name, std::string& error);

    // Removes the namespaces named `prefix` followed by the id of a process that no longer runs, with all
    // their interfaces: what test processes killed before their clean-up (by a timeout, say) left behind.
    static void removeOrphans(const std::string& prefix);

    ~NetworkNamespace();
    NetworkNamespace(const NetworkNamespace&) = delete;
    NetworkNamespace& operator=(const NetworkNamespace&) = delete;

    const std::string& name() const { return namespaceName; }

    // Writes `value` to the sysctl file `path` (below /proc/sys) as seen inside this namespace. Returns
    // false and sets `error` when the namespace or the file cannot be opened or written.
    bool writeSysctl(const std::string& path, const std::string& value, std::string& error) const;

private:
    explicit NetworkNamespace(std::string name);

    std::string namespaceName;
};

// Path of the `ip` program of iproute2 used by the network fixtures.
const char* ipProgram();

} // namespace testsupport
