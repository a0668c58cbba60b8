#include "SandboxCommands.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <thread>

extern char** environ;

namespace host::SandboxCommands {
namespace {

// Waits for a child to end, through signals that interrupt the wait.
int reap(pid_t child) {
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return status;
}

} // namespace

std::string ipProgram() {
    for (const char* path : {"/usr/sbin/ip", "/sbin/ip", "/usr/bin/ip", "/bin/ip"}) {
        if (access(path, X_OK) == 0) {
            return path;
        }
    }
    return {};
}

pid_t spawnQuietly(const std::vector<std::string>& arguments) {
    std::vector<char*> argv;
    for (const auto& argument : arguments) {
        argv.push_back(const_cast<char*>(argument.c_str()));
    }
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setpgroup(&attributes, 0);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
    pid_t child = -1;
    const int spawned = posix_spawn(&child, argv[0], &actions, &attributes, argv.data(), environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    return spawned == 0 ? child : -1;
}

bool runQuietly(const std::vector<std::string>& arguments) {
    const pid_t child = spawnQuietly(arguments);
    if (child < 0) {
        return false;
    }
    const int status = reap(child);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

void stopChild(pid_t child, std::chrono::milliseconds grace) {
    kill(child, SIGTERM);
    const auto deadline = std::chrono::steady_clock::now() + grace;
    int status = 0;
    while (std::chrono::steady_clock::now() < deadline) {
        const pid_t ended = waitpid(child, &status, WNOHANG);
        if (ended == child || (ended < 0 && errno != EINTR)) {
            return;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    kill(child, SIGKILL);
    reap(child);
}

} // namespace host::SandboxCommands
