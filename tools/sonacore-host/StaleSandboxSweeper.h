#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

namespace host {

// The demo namespaces whose owner is gone: a run killed by SIGKILL (or a crash) cannot remove its
// namespace, its veth pair and its talker, so the next demo run does.
//
// A namespace `sonacore-demo-<pid>` is stale when no process <pid> runs (or only its zombie), or when the
// process that runs under that pid now is another than the one that made the namespace: the pid has been
// reused. To tell them apart, each run records itself as the namespace's owner before making it, in
// /run/sonacore-host/sonacore-demo-<pid>.owner: its pid, its start time (field 22 of /proc/<pid>/stat, in
// clock ticks after boot) and the boot's id (/proc/sys/kernel/random/boot_id). The owner still runs when a
// process of that pid runs with the recorded start time in the recorded boot. For a namespace without a
// record (made by an older monitor) the process under its pid must be named sonacore-host. /run is
// emptied at each boot, as are the namespaces' names in /run/netns.
//
// Removing one kills (SIGKILL) every process still inside the namespace, deletes the capture end
// `scd<pid>h` and with it the talker's end, the namespace and the record.
class StaleSandboxSweeper {
public:
    static constexpr const char* namespacePrefix = "sonacore-demo-";
    static constexpr const char* ownerFolder = "/run/sonacore-host";

    // A running process as the owner's record states it.
    struct Identity {
        unsigned long long startTicks = 0;
        std::string bootId;
        // The process's name (its comm), not recorded.
        std::string name;
    };

    // The process of this pid as it runs now; empty when it does not run or is a zombie.
    static std::optional<Identity> identify(pid_t pid);

    // The record of the namespace's owner; empty when there is none or it cannot be read.
    static std::optional<Identity> recordedOwner(const std::string& namespaceName);

    // The file of the namespace's owner record.
    static std::string recordPath(const std::string& namespaceName);

    // Records the process `owner` as the owner of `namespaceName`; false when it cannot be written.
    static bool recordOwner(const std::string& namespaceName, pid_t owner);

    // Removes the record of `namespaceName`'s owner.
    static void forgetOwner(const std::string& namespaceName);

    // True when the owner of a namespace named after a pid is gone: `running` is the process of that pid now
    // (empty when none runs), `recorded` the owner's record (empty when there is none); `ownPid` says the
    // pid is this process's, which has not made its namespace yet.
    static bool ownerGone(const std::optional<Identity>& running, const std::optional<Identity>& recorded,
                          bool ownPid);

    // Removes every stale demo namespace with what it holds, and records whose namespace is gone; returns
    // the names of the namespaces removed.
    static std::vector<std::string> sweep();
};

} // namespace host
