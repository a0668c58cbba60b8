#include "support/NetworkNamespace.h"

#include "support/ChildProcess.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <thread>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <sched.h>
#include <unistd.h>

namespace testsupport {

namespace {

std::string trimmed(std::string text) {
    while (!text.empty() && (text.back() == '\n' || text.back() == ' ')) {
        text.pop_back();
    }
    return text;
}

} // namespace

const char* ipProgram() {
#ifdef SONACORE_IP_PATH
    return SONACORE_IP_PATH;
#else
    return "ip";
#endif
}

NetworkNamespace::NetworkNamespace(std::string name) : namespaceName(std::move(name)) {}

std::unique_ptr<NetworkNamespace> NetworkNamespace::create(const std::string& name, std::string& error) {
    // Names carry the process id, so a leftover can only come from an earlier run that was killed.
    ChildProcess::run({ipProgram(), "netns", "del", name});
    const ChildProcess::Result result = ChildProcess::run({ipProgram(), "netns", "add", name});
    if (result.exitStatus != 0) {
        error = "'ip netns add " + name + "' failed (exit " + std::to_string(result.exitStatus) +
                "): " + trimmed(result.output);
        return nullptr;
    }
    return std::unique_ptr<NetworkNamespace>(new NetworkNamespace(name));
}

void NetworkNamespace::removeOrphans(const std::string& prefix) {
    DIR* directory = ::opendir("/run/netns");
    if (directory == nullptr) {
        return;
    }
    std::vector<std::string> orphans;
    while (const dirent* entry = ::readdir(directory)) {
        const std::string name = entry->d_name;
        if (name.rfind(prefix, 0) != 0) {
            continue;
        }
        char* end = nullptr;
        const long pid = std::strtol(name.c_str() + prefix.size(), &end, 10);
        if (pid > 0 && end != name.c_str() + prefix.size() && ::kill(static_cast<pid_t>(pid), 0) < 0 &&
            errno == ESRCH) {
            orphans.push_back(name);
        }
    }
    ::closedir(directory);
    for (const std::string& name : orphans) {
        // A talker left running would keep the namespace, and so its veth pair, alive after the delete.
        std::istringstream pids(ChildProcess::run({ipProgram(), "netns", "pids", name}).output);
        for (long pid = 0; pids >> pid;) {
            if (pid > 0) {
                ::kill(static_cast<pid_t>(pid), SIGKILL);
            }
        }
        // Deleting a namespace destroys the veth ends inside it, and with them their peers outside.
        ChildProcess::run({ipProgram(), "netns", "del", name});
    }
}

NetworkNamespace::~NetworkNamespace() {
    ChildProcess::run({ipProgram(), "netns", "del", namespaceName});
}

bool NetworkNamespace::writeSysctl(const std::string& path, const std::string& value,
                                   std::string& error) const {
    // The network namespace belongs to a thread, not to the process, so a short-lived thread can enter it
    // and open the namespace's own /proc/sys/net without touching the rest of the test.
    std::thread worker([&] {
        const std::string handlePath = "/run/netns/" + namespaceName;
        const int nsFd = ::open(handlePath.c_str(), O_RDONLY | O_CLOEXEC);
        if (nsFd < 0) {
            error = "cannot open " + handlePath + ": " + std::strerror(errno);
            return;
        }
        const int entered = ::setns(nsFd, CLONE_NEWNET);
        const int setnsErrno = errno;
        ::close(nsFd);
        if (entered < 0) {
            error = "cannot enter network namespace " + namespaceName + ": " + std::strerror(setnsErrno);
            return;
        }
        const std::string file = "/proc/sys/" + path;
        const int fd = ::open(file.c_str(), O_WRONLY | O_CLOEXEC);
        if (fd < 0) {
            error = "cannot open " + file + " in " + namespaceName + ": " + std::strerror(errno);
            return;
        }
        if (::write(fd, value.data(), value.size()) != static_cast<ssize_t>(value.size())) {
            error = "cannot write " + file + " in " + namespaceName + ": " + std::strerror(errno);
        }
        ::close(fd);
    });
    worker.join();
    return error.empty();
}

} // namespace testsupport
