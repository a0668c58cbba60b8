#include "support/ChildProcess.h"

#include <cerrno>
#include <csignal>
#include <cstring>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace testsupport {

namespace {

using Clock = std::chrono::steady_clock;

int remainingMs(Clock::time_point deadline) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
    return left < 0 ? 0 : static_cast<int>(left);
}

} // namespace

ChildProcess::~ChildProcess() {
    terminate();
    closePipe();
}

ChildProcess::ChildProcess(ChildProcess&& other) noexcept
    : processId(other.processId), outputFd(other.outputFd), exitCode(other.exitCode),
      outputText(std::move(other.outputText)) {
    other.processId = -1;
    other.outputFd = -1;
}

ChildProcess& ChildProcess::operator=(ChildProcess&& other) noexcept {
    if (this != &other) {
        terminate();
        closePipe();
        processId = other.processId;
        outputFd = other.outputFd;
        exitCode = other.exitCode;
        outputText = std::move(other.outputText);
        other.processId = -1;
        other.outputFd = -1;
    }
    return *this;
}

bool ChildProcess::start(const std::vector<std::string>& arguments, std::string& error) {
    if (running()) {
        error = "the child process is already running";
        return false;
    }
    if (arguments.empty()) {
        error = "no program to start";
        return false;
    }
    closePipe();
    outputText.clear();
    exitCode = -1;

    int fds[2];
    // Close-on-exec keeps the read end out of the child; dup2 clears the flag on the child's copies of the
    // write end.
    if (::pipe2(fds, O_CLOEXEC) < 0) {
        error = std::string("pipe2 failed: ") + std::strerror(errno);
        return false;
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, fds[1], STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, fds[1], STDERR_FILENO);

    // The child must not inherit a blocked SIGTERM from a test thread, or terminate() would wait in vain.
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t none;
    sigemptyset(&none);
    posix_spawnattr_setsigmask(&attributes, &none);
    sigset_t defaults;
    sigemptyset(&defaults);
    sigaddset(&defaults, SIGTERM);
    sigaddset(&defaults, SIGINT);
    sigaddset(&defaults, SIGPIPE);
    posix_spawnattr_setsigdefault(&attributes, &defaults);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);

    std::vector<char*> argv;
    for (const std::string& argument : arguments) {
        argv.push_back(const_cast<char*>(argument.c_str()));
    }
    argv.push_back(nullptr);
    pid_t pid = -1;
    const int result = ::posix_spawnp(&pid, argv[0], &actions, &attributes, argv.data(), environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    ::close(fds[1]);
    if (result != 0) {
        ::close(fds[0]);
        error = "cannot start '" + arguments[0] + "': " + std::strerror(result);
        return false;
    }
    processId = pid;
    outputFd = fds[0];
    return true;
}

void ChildProcess::readAvailable(int timeoutMs) {
    if (outputFd < 0) {
        return;
    }
    pollfd descriptor{outputFd, POLLIN, 0};
    if (::poll(&descriptor, 1, timeoutMs) <= 0) {
        return;
    }
    char buffer[4096];
    const ssize_t got = ::read(outputFd, buffer, sizeof(buffer));
    if (got > 0) {
        outputText.append(buffer, static_cast<std::size_t>(got));
    } else if (got == 0) {
        // Every writer has gone; the child has ended or closed its output.
        closePipe();
    }
}

bool ChildProcess::reap(bool block) {
    if (processId <= 0) {
        return true;
    }
    int status = 0;
    pid_t result;
    do {
        result = ::waitpid(processId, &status, block ? 0 : WNOHANG);
    } while (result < 0 && errno == EINTR);
    if (result == 0) {
        return false;
    }
    if (result == processId) {
        exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }
    processId = -1;
    // Whatever the child wrote before it ended is still in the pipe. A grandchild that kept the pipe open
    // must not hold the test up, hence the bound.
    const Clock::time_point drainDeadline = Clock::now() + std::chrono::milliseconds(1000);
    while (outputFd >= 0 && remainingMs(drainDeadline) > 0) {
        readAvailable(remainingMs(drainDeadline));
    }
    closePipe();
    return true;
}

bool ChildProcess::waitFor(std::chrono::milliseconds timeout) {
    const Clock::time_point deadline = Clock::now() + timeout;
    while (running()) {
        if (reap(false)) {
            return true;
        }
        const int left = remainingMs(deadline);
        if (left == 0) {
            return false;
        }
        // Reading while waiting keeps a chatty child from blocking on a full pipe.
        if (outputFd >= 0) {
            readAvailable(left < 20 ? left : 20);
        } else {
            ::usleep(5000);
        }
    }
    return true;
}

void ChildProcess::terminate(std::chrono::milliseconds grace) {
    if (!running()) {
        return;
    }
    ::kill(processId, SIGTERM);
    if (!waitFor(grace)) {
        ::kill(processId, SIGKILL);
        reap(true);
    }
}

void ChildProcess::closePipe() {
    if (outputFd >= 0) {
        ::close(outputFd);
        outputFd = -1;
    }
}

ChildProcess::Result ChildProcess::run(const std::vector<std::string>& arguments,
                                       std::chrono::milliseconds timeout) {
    Result result;
    ChildProcess child;
    std::string error;
    if (!child.start(arguments, error)) {
        result.output = error;
        return result;
    }
    if (!child.waitFor(timeout)) {
        child.terminate(std::chrono::milliseconds(500));
        result.output = child.output() + "\n(killed after " + std::to_string(timeout.count()) + " ms)";
        return result;
    }
    result.exitStatus = child.exitStatus();
    result.output = child.output();
    return result;
}

} // namespace testsupport
