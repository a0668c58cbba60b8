#include "pcapplus/KernelDropWatch.h"

#include <utility>

namespace pcapplus {

void KernelDropWatch::restart() {
    nextRead = std::chrono::steady_clock::time_point::min();
    lastRingDrops = 0;
    lastAdapterDrops = 0;
    lastReceived = 0;
    droppedInRing.store(0);
    droppedByAdapter.store(0);
    received.store(0);
    reads.store(0);
}

void KernelDropWatch::setReport(Report newReport) {
    std::lock_guard<std::mutex> lock(reportMutex);
    report = std::move(newReport);
}

void KernelDropWatch::clearReport() {
    std::lock_guard<std::mutex> lock(reportMutex);
    report = nullptr;
}

KernelDropWatch::Totals KernelDropWatch::totals() const {
    return Totals{droppedInRing.load(), droppedByAdapter.load(), received.load(), reads.load()};
}

void KernelDropWatch::read(pcap_t* handle, std::chrono::steady_clock::time_point now) {
    nextRead = now + readInterval;
    pcap_stat statistics{};
    if (pcap_stats(handle, &statistics) == 0) {
        countersRead(statistics);
    }
}

void KernelDropWatch::countersRead(const pcap_stat& statistics) {
    // libpcap keeps 32-bit sums that wrap; the difference of two reads a second apart is exact modulo 2^32.
    const std::uint32_t ringGrowth = statistics.ps_drop - lastRingDrops;
    const std::uint32_t adapterGrowth = statistics.ps_ifdrop - lastAdapterDrops;
    const std::uint32_t receivedGrowth = statistics.ps_recv - lastReceived;
    lastRingDrops = statistics.ps_drop;
    lastAdapterDrops = statistics.ps_ifdrop;
    lastReceived = statistics.ps_recv;
    const std::uint64_t ringTotal = droppedInRing.load() + ringGrowth;
    const std::uint64_t adapterTotal = droppedByAdapter.load() + adapterGrowth;
    droppedInRing.store(ringTotal);
    droppedByAdapter.store(adapterTotal);
    received.store(received.load() + receivedGrowth);
    reads.store(reads.load() + 1);

    const std::uint64_t dropped = static_cast<std::uint64_t>(ringGrowth) + adapterGrowth;
    if (dropped == 0) {
        return;
    }
    std::lock_guard<std::mutex> lock(reportMutex);
    if (report) {
        report(dropped, ringTotal + adapterTotal);
    }
}

} // namespace pcapplus
