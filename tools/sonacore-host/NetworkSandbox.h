#pragma once

#include "HostOptions.h"

#include <sys/types.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace host {

// The built-in demo's own network: a private namespace with one end of a veth pair inside it, where our
// AVTP talker sends, and the other end in this program's namespace, where the library captures. The
// destructor stops the talker (SIGTERM, SIGKILL after 2 s) and reaps it, and removes the pair, the
// namespace and its owner's record. Every way out of the program runs it (see RunSignals); what a killed
// run (SIGKILL) leaves behind, the next demo run removes (see StaleSandboxSweeper.h).
//
// The namespace is named `sonacore-demo-<pid>` after this process, the capture end `scd<pid>h`, the
// talker's end `scd<pid>t`. The programs it starts (ip, the talker) run in process groups of their own, so
// that Ctrl-C at the terminal reaches the host alone, which then ends them in order.
//
// The talker sends a different signal on each channel: 0 a 1 kHz full-scale sine (-3.01 dB re full scale),
// 1 a 440 Hz half-scale sine (-9.03 dB), 2 white noise at a quarter of full scale (about -16.8 dB), 3 a 2 kHz
// sine that alternates between half and a twentieth of full scale every 2 s (-9.03 and -29.03 dB); any
// further channel the talker's default sine.
class NetworkSandbox {
public:
    // The channels the demo's stream carries unless the command line asks for others.
    static constexpr std::uint64_t demoChannels = 4;

    // Null, with a one-sentence `error`, when the sandbox cannot be made (no root, no `ip`, no talker).
    // First removes the sandboxes of runs that have ended without removing theirs (see
    // StaleSandboxSweeper); `swept` names them.
    static std::unique_ptr<NetworkSandbox> create(const HostOptions& options, std::vector<std::string>& swept,
                                                  std::string& error);
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
    bool ownerRecorded = false;
    bool namespaceMade = false;
    bool pairMade = false;
    pid_t talker = -1;
};

} // namespace host
