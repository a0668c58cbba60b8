#pragma once
// The host program started by a test that then ends it from outside as a user would: Ctrl-C, SIGTERM, a
// closed terminal (SIGHUP), a reader of its output that goes away (`| head -3`), SIGKILL; and what the
// built-in demo may leave behind: its namespace, its capture end and its talker.
#include <gtest/gtest.h>

#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

extern char** environ;

namespace hosttest {

// One run of `sonacore-host` in a process group of its own, as a shell starts a foreground job, so that a
// signal to the group reaches it as the terminal's Ctrl-C reaches a job. Its standard output is a pipe the
// test reads and may close, standard error goes to a file. The destructor kills the group (SIGKILL) should
// the run still go on, and reaps the host.
class RunningHost {
public:
    RunningHost() = default;
    ~RunningHost() {
        if (pid > 0) {
            ::kill(-pid, SIGKILL);
            int status = 0;
            ::waitpid(pid, &status, 0);
        }
        closeOutput();
        if (!errorPath.empty()) {
            std::remove(errorPath.c_str());
        }
    }
    RunningHost(const RunningHost&) = delete;
    RunningHost& operator=(const RunningHost&) = delete;

    // Starts `sonacore-host <arguments...>` with the signals at their defaults; false with the reason.
    bool start(const std::vector<std::string>& arguments, std::string& error) {
        char pattern[] = "/tmp/sonacore-host-stderr-XXXXXX";
        const int errorFile = ::mkstemp(pattern);
        if (errorFile < 0) {
            error = "cannot make a file for standard error";
            return false;
        }
        errorPath = pattern;
        int ends[2];
        if (::pipe2(ends, O_CLOEXEC) != 0) {
            ::close(errorFile);
            error = "cannot make a pipe";
            return false;
        }
        std::vector<std::string> command{SONACORE_HOST_PATH};
        command.insert(command.end(), arguments.begin(), arguments.end());
        std::vector<char*> argv;
        for (std::string& argument : command) {
            argv.push_back(argument.data());
        }
        argv.push_back(nullptr);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
        posix_spawn_file_actions_adddup2(&actions, errorFile, STDERR_FILENO);
        posix_spawnattr_t attributes;
        posix_spawnattr_init(&attributes);
        sigset_t none;
        sigemptyset(&none);
        sigset_t defaults;
        sigemptyset(&defaults);
        for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGPIPE}) {
            sigaddset(&defaults, number);
        }
        posix_spawnattr_setsigmask(&attributes, &none);
        posix_spawnattr_setsigdefault(&attributes, &defaults);
        posix_spawnattr_setpgroup(&attributes, 0);
        posix_spawnattr_setflags(&attributes,
                                 POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETPGROUP);
        const int spawned = ::posix_spawn(&pid, argv[0], &actions, &attributes, argv.data(), environ);
        posix_spawnattr_destroy(&attributes);
        posix_spawn_file_actions_destroy(&actions);
        ::close(ends[1]);
        ::close(errorFile);
        if (spawned != 0) {
            pid = -1;
            ::close(ends[0]);
            error = "cannot start the host";
            return false;
        }
        outputFd = ends[0];
        started = std::chrono::steady_clock::now();
        return true;
    }

    pid_t processId() const { return pid > 0 ? pid : lastPid; }

    // Reads the standard output until it holds a match of `pattern`, up to `timeout`; the match's first
    // group, or the whole match.
    bool waitForOutput(const std::regex& pattern, std::chrono::milliseconds timeout, std::string& found) {
        const auto deadline = std::chrono::steady_clock::now() + timeout;
        for (;;) {
            std::smatch match;
            if (std::regex_search(outputText, match, pattern)) {
                found = match.size() > 1 ? match[1].str() : match[0].str();
                return true;
            }
            if (outputFd < 0 || std::chrono::steady_clock::now() >= deadline) {
                return false;
            }
            readOutput(50);
        }
    }

    // Reads the standard output until it holds more than `size` characters, up to `timeout`.
    bool waitForMoreOutput(std::size_t size, std::chrono::milliseconds timeout) {
        const auto deadline = std::chrono::steady_clock::now() + timeout;
        while (outputText.size() <= size) {
            if (outputFd < 0 || std::chrono::steady_clock::now() >= deadline) {
                return false;
            }
            readOutput(50);
        }
        return true;
    }

    // Closes the test's end of the output pipe, as `head` does once it has its lines.
    void closeOutput() {
        if (outputFd >= 0) {
            ::close(outputFd);
            outputFd = -1;
        }
    }

    // Sends `number` to the host's process group, as the terminal does.
    void signalGroup(int number) const { ::kill(-pid, number); }

    // Sends `number` to the host alone.
    void signalHost(int number) const { ::kill(pid, number); }

    // Waits up to `timeout` for the host to end, reading its output meanwhile; its status as a shell shows
    // it (128 + the signal for a signal), or -1 on a timeout.
    int waitForExit(std::chrono::milliseconds timeout) {
        const auto deadline = std::chrono::steady_clock::now() + timeout;
        while (pid > 0) {
            int status = 0;
            const pid_t ended = ::waitpid(pid, &status, WNOHANG);
            if (ended == pid) {
                exitStatus = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
                lastPid = pid;
                pid = -1;
                ended_ = std::chrono::steady_clock::now();
                break;
            }
            if (std::chrono::steady_clock::now() >= deadline) {
                return -1;
            }
            if (outputFd >= 0) {
                readOutput(20);
            } else {
                std::this_thread::sleep_for(std::chrono::milliseconds(20));
            }
        }
        while (outputFd >= 0 && readOutput(200)) {
        }
        return exitStatus;
    }

    // Seconds from the start to the end of the run.
    double seconds() const { return std::chrono::duration<double>(ended_ - started).count(); }

    const std::string& output() const { return outputText; }

    std::string errors() const {
        std::ifstream file(errorPath);
        std::ostringstream text;
        text << file.rdbuf();
        return text.str();
    }

    // What the failure of a test shows of the run.
    std::string diagnosis() const {
        return "\n--- standard output:\n" + outputText + "\n--- standard error:\n" + errors();
    }

private:
    // False once the pipe has ended.
    bool readOutput(int timeoutMs) {
        pollfd descriptor{outputFd, POLLIN, 0};
        if (::poll(&descriptor, 1, timeoutMs) <= 0) {
            return true;
        }
        char buffer[4096];
        const ssize_t got = ::read(outputFd, buffer, sizeof buffer);
        if (got > 0) {
            outputText.append(buffer, static_cast<std::size_t>(got));
            return true;
        }
        closeOutput();
        return false;
    }

    pid_t pid = -1;
    pid_t lastPid = -1;
    int outputFd = -1;
    int exitStatus = -1;
    std::string outputText;
    std::string errorPath;
    std::chrono::steady_clock::time_point started;
    std::chrono::steady_clock::time_point ended_;
};

// True when the named network namespace exists.
inline bool namespaceExists(const std::string& name) {
    struct stat status {};
    return ::stat(("/run/netns/" + name).c_str(), &status) == 0;
}

// True when a file of this path exists.
inline bool fileExists(const std::string& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0;
}

// True when a network interface of this name exists in the test's namespace.
inline bool interfaceExists(const std::string& name) {
    struct stat status {};
    return ::stat(("/sys/class/net/" + name).c_str(), &status) == 0;
}

// The processes, other than zombies, whose command line holds `word` as one of its arguments.
inline std::vector<pid_t> processesWithArgument(const std::string& word) {
    std::vector<pid_t> found;
    DIR* directory = ::opendir("/proc");
    if (directory == nullptr) {
        return found;
    }
    while (const dirent* entry = ::readdir(directory)) {
        const std::string name = entry->d_name;
        if (name.find_first_not_of("0123456789") != std::string::npos) {
            continue;
        }
        // A zombie's command line reads empty.
        std::ifstream file("/proc/" + name + "/cmdline");
        std::string argument;
        while (std::getline(file, argument, '\0')) {
            if (argument == word) {
                found.push_back(static_cast<pid_t>(std::stol(name)));
                break;
            }
        }
    }
    ::closedir(directory);
    return found;
}

// The demo of the host of this pid, and what it makes: its namespace, its capture end and its talker, which
// sends on its end of the pair.
struct DemoNames {
    explicit DemoNames(pid_t owner)
        : namespaceName("sonacore-demo-" + std::to_string(owner)),
          captureEnd("scd" + std::to_string(owner) + "h"), talkerEnd("scd" + std::to_string(owner) + "t") {}

    std::string namespaceName;
    std::string captureEnd;
    std::string talkerEnd;

    // Nothing of the demo is left: no namespace, no capture end, no talker.
    ::testing::AssertionResult allGone() const {
        if (namespaceExists(namespaceName)) {
            return ::testing::AssertionFailure() << "the namespace " << namespaceName << " is left";
        }
        if (interfaceExists(captureEnd)) {
            return ::testing::AssertionFailure() << "the capture end " << captureEnd << " is left";
        }
        if (!processesWithArgument(talkerEnd).empty()) {
            return ::testing::AssertionFailure() << "the talker on " << talkerEnd << " still runs";
        }
        return ::testing::AssertionSuccess();
    }
};

} // namespace hosttest
