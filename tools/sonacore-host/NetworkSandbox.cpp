#include "NetworkSandbox.h"

#include "SandboxCommands.h"
#include "StaleSandboxSweeper.h"

#include <unistd.h>

#include <chrono>
#include <climits>
#include <fstream>
#include <string>
#include <vector>

namespace host {
namespace {

using SandboxCommands::ipProgram;
using SandboxCommands::runQuietly;
using SandboxCommands::spawnQuietly;

// The talker beside this program in the build tree or in an installed bin folder.
std::string findTalker(const std::string& given) {
    if (!given.empty()) {
        return access(given.c_str(), X_OK) == 0 ? given : std::string();
    }
    char self[PATH_MAX] = {};
    const ssize_t length = readlink("/proc/self/exe", self, sizeof self - 1);
    if (length <= 0) {
        return {};
    }
    std::string folder(self, static_cast<std::size_t>(length));
    folder = folder.substr(0, folder.rfind('/'));
    for (const std::string& candidate :
         {folder + "/../avtp-talker/sonacore-avtp-talker", folder + "/sonacore-avtp-talker"}) {
        if (access(candidate.c_str(), X_OK) == 0) {
            return candidate;
        }
    }
    return {};
}

} // namespace

NetworkSandbox::NetworkSandbox() {
    const std::string id = std::to_string(getpid());
    name = "sonacore-demo-" + id;
    captureEnd = "scd" + id + "h";
    talkerEnd = "scd" + id + "t";
}

std::unique_ptr<NetworkSandbox> NetworkSandbox::create(const HostOptions& options,
                                                       std::vector<std::string>& swept, std::string& error) {
    if (geteuid() != 0) {
        error =
            "The built-in demo creates a network namespace and needs root: run it with sudo, or capture on a "
            "real adapter with --adapter (see --help).";
        return nullptr;
    }
    const std::string ip = ipProgram();
    if (ip.empty()) {
        error = "The built-in demo needs the 'ip' program: install iproute2 (scripts/setup.sh does).";
        return nullptr;
    }
    const std::string talker = findTalker(options.talkerPath);
    if (talker.empty()) {
        error = "The AVTP talker sonacore-avtp-talker was not found beside this program: build the tools, or "
                "pass "
                "its path with --talker.";
        return nullptr;
    }

    swept = StaleSandboxSweeper::sweep();
    std::unique_ptr<NetworkSandbox> sandbox(new NetworkSandbox());
    NetworkSandbox& box = *sandbox;
    // The record comes first, so that no namespace of this run is ever without it.
    box.ownerRecorded = StaleSandboxSweeper::recordOwner(box.name, getpid());
    box.namespaceMade = runQuietly({ip, "netns", "add", box.name});
    box.pairMade = box.namespaceMade && runQuietly({ip, "link", "add", box.captureEnd, "type", "veth", "peer",
                                                    "name", box.talkerEnd, "netns", box.name});
    if (box.pairMade) {
        // IPv6 off on the capture end keeps its own announcements off the pair; the capture filter would drop
        // them anyway.
        std::ofstream("/proc/sys/net/ipv6/conf/" + box.captureEnd + "/disable_ipv6") << "1";
    }
    const bool up = box.pairMade && runQuietly({ip, "link", "set", box.captureEnd, "up"}) &&
                    runQuietly({ip, "-n", box.name, "link", "set", box.talkerEnd, "up"});
    if (!up) {
        error =
            "The demo's network namespace and veth pair could not be created: is this a container without "
            "the right to manage networks?";
        return nullptr;
    }
    if (!box.startTalker(talker, options, error)) {
        return nullptr;
    }
    return sandbox;
}

bool NetworkSandbox::startTalker(const std::string& program, const HostOptions& options, std::string& error) {
    const std::string ip = ipProgram();
    const std::string mac = options.deviceKey.substr(0, 2) + ":" + options.deviceKey.substr(2, 2) + ":" +
                            options.deviceKey.substr(4, 2) + ":" + options.deviceKey.substr(6, 2) + ":" +
                            options.deviceKey.substr(8, 2) + ":" + options.deviceKey.substr(10, 2);
    // A little longer than the host listens, so the meters never see the stream end.
    const std::string seconds = std::to_string(static_cast<long>(options.durationSeconds) + 3);
    std::vector<std::string> arguments{ip,
                                       "netns",
                                       "exec",
                                       name,
                                       program,
                                       "--interface",
                                       talkerEnd,
                                       "--source-mac",
                                       mac,
                                       "--channels",
                                       std::to_string(options.stream.channels),
                                       "--samples-per-frame",
                                       std::to_string(options.stream.samplesPerFrame),
                                       "--channel-signal",
                                       "0=sine:1000:1.0",
                                       "--duration",
                                       seconds};
    const std::vector<std::string> signals{"1=sine:440:0.5", "2=noise:7:0.25", "3=steps:2000:0.5:0.05:2"};
    for (std::size_t channel = 1; channel < options.stream.channels && channel <= signals.size(); ++channel) {
        arguments.insert(arguments.end(), {"--channel-signal", signals[channel - 1]});
    }
    talker = spawnQuietly(arguments);
    if (talker < 0) {
        error = "The AVTP talker could not be started in the demo's namespace.";
        return false;
    }
    return true;
}

NetworkSandbox::~NetworkSandbox() {
    if (talker > 0) {
        SandboxCommands::stopChild(talker, std::chrono::milliseconds(2000));
    }
    const std::string ip = ipProgram();
    if (pairMade) {
        runQuietly({ip, "link", "del", captureEnd});
    }
    if (namespaceMade) {
        runQuietly({ip, "netns", "del", name});
    }
    if (ownerRecorded) {
        StaleSandboxSweeper::forgetOwner(name);
    }
}

} // namespace host
