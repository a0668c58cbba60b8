#pragma once

#include "HostOptions.h"

#include <sys/types.h>

#include <memory>
#include <string>

namespace host {

// The built-in demo's own network: a private namespace with one end of a veth pair inside it, where our
// AVTP talker sends, and the other end in this program's namespace, where the library captures. The
// destructor stops the talker and removes the pair and the namespace.
class NetworkSandbox {
public:
    // Null, with a one-sentence `error`, when the sandbox cannot be made (no root, no `ip`, no talker).
    static std::unique_ptr<NetworkSandbox> create(const HostOptions& options, std::string& error);
    ~NetworkSandbox();
    NetworkSandbox(const NetworkSandbox&) = delete;
    NetworkSandbox& operator=(const NetworkSandbox&) = delete;

    const std::string& namespaceName() const { return name; }
    const std::string& captureInterface() const { return captureEnd; }
    const std::string& talkerInterface() const { return talkerEnd; }

private:
    NetworkSandbox();
    bool startTalker(const std::string& talker, const HostOptions& options, std::string& error);

    std::string name;
    std::string captureEnd;
    std::string talkerEnd;
    bool namespaceMade = false;
    bool pairMade = false;
    pid_t talker = -1;
};

} // namespace host
