#pragma once
// A private network namespace with a veth pair, and our talker sending inside it; all removed again by the
// destructor. The capture end stays in this process's namespace. Needs root.
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <vector>

extern char** environ;

namespace bench {

inline bool shell(const std::string& command) {
    return std::system((command + " >/dev/null 2>&1").c_str()) == 0;
}

class TalkerSandbox {
public:
    // `prefix` names the namespace ("sonacore-<prefix>-...") and, shortened to `tag`, the interfaces; `run`
    // makes every run's names its own (the library keeps a receiver per interface name for its whole life).
    TalkerSandbox(const std::string& prefix, const std::string& tag, int run) {
        const std::string id = std::to_string(getpid()) + "r" + std::to_string(run);
        name = "sonacore-" + prefix + "-" + id;
        capture = tag + id + "h";
        talkerEnd = tag + id + "t";
        ready = shell("ip netns add " + name) &&
                shell("ip link add " + capture + " type veth peer name " + talkerEnd + " netns " + name) &&
                shell("ip link set " + capture + " up") &&
                shell("ip -n " + name + " link set " + talkerEnd + " up");
    }
    ~TalkerSandbox() {
        stopTalker();
        shell("ip link del " + capture);
        shell("ip netns del " + name);
    }
    TalkerSandbox(const TalkerSandbox&) = delete;
    TalkerSandbox& operator=(const TalkerSandbox&) = delete;

    // Starts the talker on the processors `processors` ("0-1023" for any) with `arguments` after its
    // interface; a talker still running is stopped first.
    void startTalker(const std::string& talkerPath, const std::string& processors,
                     const std::vector<std::string>& arguments) {
        stopTalker();
        std::vector<std::string> command{"ip", "netns",    "exec",     name,          "taskset",
                                         "-c", processors, talkerPath, "--interface", talkerEnd};
        command.insert(command.end(), arguments.begin(), arguments.end());
        std::vector<char*> argv;
        for (auto& argument : command) {
            argv.push_back(argument.data());
        }
        argv.push_back(nullptr);
        if (posix_spawnp(&talker, "ip", nullptr, nullptr, argv.data(), environ) != 0) {
            talker = -1;
        }
    }
    void stopTalker() {
        if (talker > 0) {
            kill(talker, SIGTERM);
            waitpid(talker, nullptr, 0);
            talker = -1;
        }
    }

    std::string name;
    std::string capture;
    std::string talkerEnd;
    bool ready = false;

private:
    pid_t talker = -1;
};

} // namespace bench
