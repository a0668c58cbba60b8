#pragma once

#include <chrono>
#include <string>
#include <vector>

#include <sys/types.h>

namespace testsupport {

// A program started by the test process, with its standard output and error collected together.
//
// Started with posix_spawnp, so it is safe in a test process that already runs threads. Owns the child:
// the destructor terminates it (SIGTERM, then SIGKILL after a grace period) if it still runs and always
// reaps it, so no test leaves a process behind, also when an assertion ends the test early. Move-only;
// use from one thread.
class ChildProcess {
public:
    // Result of a program run to completion by `run`.
    struct Result {
        // The exit code, 128 + the signal number when a signal ended it, or -1 when it did not start or did
        // not end in time (it is then killed).
        int exitStatus = -1;
        // Standard output and error, interleaved as written; on a failure to start, the reason.
        std::string output;
    };

    ChildProcess() = default;
    ~ChildProcess();
    ChildProcess(ChildProcess&& other) noexcept;
    ChildProcess& operator=(ChildProcess&& other) noexcept;
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    // Starts `arguments[0]` (searched in PATH when it holds no slash) with the rest as its arguments and
    // standard input from /dev/null. Returns false and sets `error` when it cannot start.
    bool start(const std::vector<std::string>& arguments, std::string& error);

    // Waits up to `timeout` for the child to end, collecting its output meanwhile. Returns true once it has
    // ended (also when it had ended before), false on timeout.
    bool waitFor(std::chrono::milliseconds timeout);

    // Sends SIGTERM, waits up to `grace`, then sends SIGKILL and reaps. No effect when not running.
    void terminate(std::chrono::milliseconds grace = std::chrono::milliseconds(2000));

    // True between a successful start and the moment the child is reaped.
    bool running() const { return processId > 0; }

    // The exit status as in Result, valid once the child has been reaped.
    int exitStatus() const { return exitCode; }

    // Output collected so far.
    const std::string& output() const { return outputText; }

    // Runs a program to completion, killing it after `timeout`.
    static Result run(const std::vector<std::string>& arguments,
                      std::chrono::milliseconds timeout = std::chrono::milliseconds(10000));

private:
    void readAvailable(int timeoutMs);
    bool reap(bool block);
    void closePipe();

    pid_t processId = -1;
    int outputFd = -1;
    int exitCode = -1;
    std::string outputText;
};

} // namespace testsupport
