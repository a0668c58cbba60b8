#include "StaleSandboxSweeper.h"

#include "SandboxCommands.h"

#include <dirent.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace host {
namespace {

using SandboxCommands::ipProgram;
using SandboxCommands::runQuietly;

// The text of a small file, empty when it cannot be read.
std::string fileText(const std::string& path) {
    std::ifstream file(path);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

std::string bootId() {
    std::string id = fileText("/proc/sys/kernel/random/boot_id");
    while (!id.empty() && std::isspace(static_cast<unsigned char>(id.back()))) {
        id.pop_back();
    }
    return id;
}

// The pid of a name of the form <prefix><digits><suffix>; -1 for any other name.
pid_t pidInName(const std::string& name, const std::string& prefix, const std::string& suffix) {
    if (name.size() <= prefix.size() + suffix.size() || name.compare(0, prefix.size(), prefix) != 0 ||
        name.compare(name.size() - suffix.size(), suffix.size(), suffix) != 0) {
        return -1;
    }
    const std::string digits = name.substr(prefix.size(), name.size() - prefix.size() - suffix.size());
    if (digits.size() > 9 || digits.find_first_not_of("0123456789") != std::string::npos) {
        return -1;
    }
    const long pid = std::strtol(digits.c_str(), nullptr, 10);
    return pid > 0 ? static_cast<pid_t>(pid) : -1;
}

std::vector<std::string> folderEntries(const std::string& folder) {
    std::vector<std::string> names;
    if (DIR* directory = opendir(folder.c_str())) {
        while (const dirent* entry = readdir(directory)) {
            names.emplace_back(entry->d_name);
        }
        closedir(directory);
    }
    return names;
}

// Kills every process inside the named network namespace: those whose /proc/<pid>/ns/net is the file that
// /run/netns/<name> keeps, as `ip netns pids` finds them.
void killProcessesIn(const std::string& namespaceName) {
    struct stat network {};
    if (stat(("/run/netns/" + namespaceName).c_str(), &network) != 0) {
        return;
    }
    for (const std::string& entry : folderEntries("/proc")) {
        const pid_t pid = pidInName(entry, "", "");
        struct stat inside {};
        if (pid > 0 && pid != getpid() && stat(("/proc/" + entry + "/ns/net").c_str(), &inside) == 0 &&
            inside.st_dev == network.st_dev && inside.st_ino == network.st_ino) {
            kill(pid, SIGKILL);
        }
    }
}

} // namespace

std::optional<StaleSandboxSweeper::Identity> StaleSandboxSweeper::identify(pid_t pid) {
    const std::string stat = fileText("/proc/" + std::to_string(pid) + "/stat");
    // "pid (comm) state ppid ...": the name may hold spaces and parentheses, so it ends at the last ')'.
    const std::size_t open = stat.find('(');
    const std::size_t close = stat.rfind(')');
    if (open == std::string::npos || close == std::string::npos || close < open) {
        return std::nullopt;
    }
    std::istringstream fields(stat.substr(close + 1));
    std::string state;
    fields >> state;
    if (state.empty() || state == "Z" || state == "X") {
        return std::nullopt;
    }
    // Fields 4 to 21, then the start time, field 22.
    std::string skipped;
    for (int field = 4; field <= 21; ++field) {
        fields >> skipped;
    }
    Identity identity;
    if (!(fields >> identity.startTicks)) {
        return std::nullopt;
    }
    identity.bootId = bootId();
    identity.name = stat.substr(open + 1, close - open - 1);
    return identity;
}

std::string StaleSandboxSweeper::recordPath(const std::string& namespaceName) {
    return std::string(ownerFolder) + "/" + namespaceName + ".owner";
}

std::optional<StaleSandboxSweeper::Identity>
StaleSandboxSweeper::recordedOwner(const std::string& namespaceName) {
    std::istringstream record(fileText(recordPath(namespaceName)));
    long pid = 0;
    Identity identity;
    if (!(record >> pid >> identity.startTicks >> identity.bootId)) {
        return std::nullopt;
    }
    return identity;
}

bool StaleSandboxSweeper::recordOwner(const std::string& namespaceName, pid_t owner) {
    const std::optional<Identity> identity = identify(owner);
    if (!identity) {
        return false;
    }
    mkdir(ownerFolder, 0755);
    const std::string path = recordPath(namespaceName);
    const std::string part = path + ".part";
    {
        std::ofstream record(part, std::ios::trunc);
        record << owner << " " << identity->startTicks << " " << identity->bootId << "\n";
        if (!record.flush()) {
            std::remove(part.c_str());
            return false;
        }
    }
    // Whole or not at all: a sweeper never reads half a record.
    return std::rename(part.c_str(), path.c_str()) == 0;
}

void StaleSandboxSweeper::forgetOwner(const std::string& namespaceName) {
    std::remove(recordPath(namespaceName).c_str());
}

bool StaleSandboxSweeper::ownerGone(const std::optional<Identity>& running,
                                    const std::optional<Identity>& recorded, bool ownPid) {
    if (ownPid || !running) {
        return true;
    }
    if (recorded) {
        return recorded->startTicks != running->startTicks || recorded->bootId != running->bootId;
    }
    return running->name != "sonacore-host";
}

std::vector<std::string> StaleSandboxSweeper::sweep() {
    std::vector<std::string> removed;
    const std::string ip = ipProgram();
    for (const std::string& entry : folderEntries("/run/netns")) {
        const pid_t pid = pidInName(entry, namespacePrefix, "");
        if (pid < 0 || !ownerGone(identify(pid), recordedOwner(entry), pid == getpid())) {
            continue;
        }
        // A process left inside would keep the namespace, and with it the pair, alive after the delete.
        killProcessesIn(entry);
        runQuietly({ip, "link", "del", "scd" + std::to_string(pid) + "h"});
        runQuietly({ip, "netns", "del", entry});
        forgetOwner(entry);
        removed.push_back(entry);
    }
    // Records of runs that ended between their record and their namespace.
    for (const std::string& entry : folderEntries(ownerFolder)) {
        const pid_t pid = pidInName(entry, namespacePrefix, ".owner");
        const std::string namespaceName = entry.substr(0, entry.size() - 6);
        struct stat status {};
        if (pid > 0 && stat(("/run/netns/" + namespaceName).c_str(), &status) != 0 &&
            ownerGone(identify(pid), recordedOwner(namespaceName), pid == getpid())) {
            forgetOwner(namespaceName);
        }
    }
    return removed;
}

} // namespace host
