#include "support/DropDiagnostics.h"

#include "support/ChildProcess.h"
#include "support/NetworkNamespace.h"

#include <fstream>
#include <sstream>
#include <vector>

namespace testsupport {

namespace {

// Runs `ip` and returns its output, or what went wrong.
std::string ipOutput(const std::vector<std::string>& arguments) {
    std::vector<std::string> command{ipProgram()};
    command.insert(command.end(), arguments.begin(), arguments.end());
    const ChildProcess::Result result = ChildProcess::run(command);
    if (result.exitStatus != 0) {
        return "(ip failed with status " + std::to_string(result.exitStatus) + ": " + result.output + ")";
    }
    return result.output;
}

// Each line of `text` behind `indent`.
std::string indented(const std::string& text, const std::string& indent) {
    std::istringstream lines(text);
    std::string line;
    std::string result;
    while (std::getline(lines, line)) {
        result += indent + line + "\n";
    }
    return result;
}

} // namespace

MachineDropCounters MachineDropCounters::read(const std::string& captureInterface,
                                              const std::string& namespaceName,
                                              const std::string& talkerInterface) {
    MachineDropCounters counters;
    // One line per processor, in hexadecimal: frames processed, dropped, times the budget ran out, ...
    std::ifstream softnet("/proc/net/softnet_stat");
    std::string line;
    while (std::getline(softnet, line)) {
        std::istringstream fields(line);
        std::uint64_t processed = 0;
        std::uint64_t dropped = 0;
        std::uint64_t squeezed = 0;
        if (fields >> std::hex >> processed >> dropped >> squeezed) {
            counters.softnetDropped += dropped;
            counters.softnetSqueezed += squeezed;
        }
    }
    counters.captureEnd = ipOutput({"-s", "-s", "link", "show", "dev", captureInterface});
    counters.talkerEnd = ipOutput({"-n", namespaceName, "-s", "-s", "link", "show", "dev", talkerInterface});
    return counters;
}

std::string MachineDropCounters::describe(const MachineDropCounters& before) const {
    return "softnet (all processors, during the run): dropped " +
           std::to_string(softnetDropped - before.softnetDropped) + ", budget exhausted " +
           std::to_string(softnetSqueezed - before.softnetSqueezed) + "\ncapture end:\n" +
           indented(captureEnd, "    ") + "talker end:\n" + indented(talkerEnd, "    ");
}

std::string talkerSummary(const std::string& talkerOutput) {
    std::istringstream lines(talkerOutput);
    std::string line;
    std::string summary;
    for (const char* key : {"frames sent:", "elapsed:", "frame rate:", "lateness:"}) {
        lines.clear();
        lines.seekg(0);
        while (std::getline(lines, line)) {
            if (line.find(key) != std::string::npos) {
                summary += line + "\n";
            }
        }
    }
    return summary;
}

} // namespace testsupport
