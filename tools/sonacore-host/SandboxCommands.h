#pragma once

#include <sys/types.h>

#include <chrono>
#include <string>
#include <vector>

// The programs the built-in demo's sandbox runs, `ip` and the talker: each with its input and output on
// /dev/null, in a process group of its own so that Ctrl-C at the terminal reaches only the host, which then
// ends them in order. Thread affinity: the host's thread, which reaps them.
namespace host::SandboxCommands {

// The path of iproute2's `ip`; empty when it is not installed.
std::string ipProgram();

// Starts `arguments[0]` (a path) with the rest as its arguments; -1 when it cannot be started.
pid_t spawnQuietly(const std::vector<std::string>& arguments);

// Runs a program to its end; true when it exited with status 0.
bool runQuietly(const std::vector<std::string>& arguments);

// Ends a child: SIGTERM, and SIGKILL when it has not ended after `grace`; reaped either way.
void stopChild(pid_t child, std::chrono::milliseconds grace);

} // namespace host::SandboxCommands
