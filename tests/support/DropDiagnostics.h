#pragma once

#include <cstdint>
#include <string>

namespace testsupport {

// The counters of the machine, outside the capture, that tell where frames between a talker and a capture
// on a veth pair were lost: the kernel's per-processor input queues (/proc/net/softnet_stat, summed over
// the processors: frames dropped because a queue was full, and the times its processing ran out of budget)
// and both ends of the pair (`ip -s -s link`: packets, errors, dropped, missed).
//
// Take one before the stream and one after, then print describe() when a test fails, next to the talker's
// summary and the capture's own drop counters, so that a red run says whether the library or the machine
// lost the frames. Reading runs `ip`; use from the test's thread.
struct MachineDropCounters {
    std::uint64_t softnetDropped = 0;
    std::uint64_t softnetSqueezed = 0;
    // `ip -s -s link show` of the capture end, in the root namespace.
    std::string captureEnd;
    // The same of the talker end, inside the namespace.
    std::string talkerEnd;

    static MachineDropCounters read(const std::string& captureInterface, const std::string& namespaceName,
                                    const std::string& talkerInterface);

    // What changed from `before` to this reading: the softnet counters as differences, the interfaces'
    // counters as they stand (a test's veth pair is new, so they count from its creation).
    std::string describe(const MachineDropCounters& before) const;
};

// The lines of the talker's closing summary: frames sent, elapsed time, frame rate and lateness. Empty when
// the output holds none.
std::string talkerSummary(const std::string& talkerOutput);

} // namespace testsupport
