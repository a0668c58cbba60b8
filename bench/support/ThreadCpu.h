#pragma once
// CPU time of this process's threads, read from the scheduler's own bookkeeping in
// /proc/self/task/*/schedstat: nanoseconds on a processor and the number of times each thread was put on one.
// Finer than getrusage, whose user/system split is sampled at the scheduler tick.
#include <dirent.h>
#include <sched.h>
#include <unistd.h>

#include <fstream>
#include <map>
#include <string>

namespace bench {

struct ThreadUse {
    double seconds = 0; // on a processor
    double runs = 0;    // times put on a processor: wake-ups plus returns after preemption
};

// Every thread of this process, by thread id.
inline std::map<long, ThreadUse> threadUse() {
    std::map<long, ThreadUse> threads;
    DIR* tasks = opendir("/proc/self/task");
    if (tasks == nullptr) {
        return threads;
    }
    while (const dirent* entry = readdir(tasks)) {
        if (entry->d_name[0] == '.') {
            continue;
        }
        std::ifstream schedstat(std::string("/proc/self/task/") + entry->d_name + "/schedstat");
        double onCpu = 0;
        double waiting = 0;
        double runs = 0;
        if (schedstat >> onCpu >> waiting >> runs) {
            threads[std::stol(entry->d_name)] = {onCpu * 1e-9, runs};
        }
    }
    closedir(tasks);
    return threads;
}

// Use per second of wall time between two readings, for the process's main thread (the host's thread, which
// runs the Qt event loop) and for all other threads together.
struct ProcessUse {
    ThreadUse mainThread;
    ThreadUse otherThreads;
    double total() const { return mainThread.seconds + otherThreads.seconds; }
};

inline ProcessUse perSecond(const std::map<long, ThreadUse>& before, const std::map<long, ThreadUse>& after,
                            double wallSeconds) {
    ProcessUse use;
    for (const auto& [thread, end] : after) {
        const auto start = before.find(thread);
        const ThreadUse begin = start == before.end() ? ThreadUse{} : start->second;
        ThreadUse& sum = thread == static_cast<long>(getpid()) ? use.mainThread : use.otherThreads;
        sum.seconds += (end.seconds - begin.seconds) / wallSeconds;
        sum.runs += (end.runs - begin.runs) / wallSeconds;
    }
    return use;
}

// Takes the last processor this process may run on out of its set, so that a talker can have it to itself.
// Call before any thread starts: threads inherit the set. Returns that processor, or -1 when there is only
// one.
inline int keepLastProcessorFree() {
    cpu_set_t allowed;
    CPU_ZERO(&allowed);
    if (sched_getaffinity(0, sizeof allowed, &allowed) != 0 || CPU_COUNT(&allowed) < 2) {
        return -1;
    }
    int last = -1;
    for (int processor = 0; processor < CPU_SETSIZE; ++processor) {
        if (CPU_ISSET(processor, &allowed)) {
            last = processor;
        }
    }
    CPU_CLR(last, &allowed);
    return sched_setaffinity(0, sizeof allowed, &allowed) == 0 ? last : -1;
}

} // namespace bench
