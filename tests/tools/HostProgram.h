#pragma once
// Runs the host program built beside the tests, for tests of its command line.
#include "support/ChildProcess.h"

#include <string>
#include <vector>

namespace hosttest {

// Runs `sonacore-host <arguments...>` to its end and returns its exit status and output.
inline testsupport::ChildProcess::Result runHost(const std::vector<std::string>& arguments) {
    std::vector<std::string> command{SONACORE_HOST_PATH};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return testsupport::ChildProcess::run(command);
}

// True when `part` occurs in `text`.
inline bool contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

} // namespace hosttest
