#pragma once

#include <pcap/pcap.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <mutex>

namespace pcapplus {

// Watches what the kernel drops of one capture handle: frames for which its ring had no room (pcap_stats'
// ps_drop) and frames the adapter dropped (ps_ifdrop), both counted from the opening of the handle. The
// counters are read on the capture thread, between two frames, at most once every readInterval while frames
// arrive, and once more when a capture loop ends; when they have grown, the report is called with the growth
// and the total.
//
// Thread affinity: frameHandedOver, captureEnded and countersRead, and so the report, run on the capture
// thread of the handle (a test may call countersRead on its own thread while no loop runs). restart runs
// while no capture loop uses the handle. setReport, clearReport and totals run on any thread.
class KernelDropWatch {
public:
    // Frames dropped since the previous report (or since the handle was opened), and since the handle was
    // opened.
    using Report = std::function<void(std::uint64_t dropped, std::uint64_t total)>;

    // What the latest read found, counted from the opening of the handle.
    struct Totals {
        // Frames the kernel dropped because the capture's ring was full.
        std::uint64_t droppedInRing = 0;
        // Frames the adapter dropped before the kernel could hand them to any capture.
        std::uint64_t droppedByAdapter = 0;
        // Frames that passed the capture filter, those dropped in the ring included.
        std::uint64_t received = 0;
        // How often the counters were read.
        std::uint64_t reads = 0;
    };

    // The least time between two reads of the counters.
    static constexpr std::chrono::milliseconds readInterval{1000};

    // On the capture thread, after each frame handed over from `handle`: reads its counters when readInterval
    // has passed since the previous read (or at the first frame), and calls the report when they have grown.
    void frameHandedOver(pcap_t* handle) {
        const auto now = std::chrono::steady_clock::now();
        if (now >= nextRead) {
            read(handle, now);
        }
    }
    // On the capture thread, when the capture loop ends: reads the counters once more, whenever the previous
    // read was, so that drops of the capture's last second are reported too.
    void captureEnded(pcap_t* handle) { read(handle, std::chrono::steady_clock::now()); }
    // Takes counters as pcap_stats gives them (32-bit sums from the opening of the handle, which may wrap),
    // and calls the report when the drops have grown since the previous ones. What every read ends in.
    void countersRead(const pcap_stat& statistics);

    // Counts from 0 again, for a newly opened handle.
    void restart();
    // The report to call from now on; it must not block the capture thread for long.
    void setReport(Report report);
    // No report is called any more once this returns, also not one that a capture thread is about to make.
    void clearReport();
    Totals totals() const;

private:
    void read(pcap_t* handle, std::chrono::steady_clock::time_point now);

    // Capture thread only, or while no loop runs.
    std::chrono::steady_clock::time_point nextRead = std::chrono::steady_clock::time_point::min();
    // The libpcap counters at the latest read, as libpcap gives them: 32 bits that may wrap.
    std::uint32_t lastRingDrops = 0;
    std::uint32_t lastAdapterDrops = 0;
    std::uint32_t lastReceived = 0;

    std::atomic<std::uint64_t> droppedInRing{0};
    std::atomic<std::uint64_t> droppedByAdapter{0};
    std::atomic<std::uint64_t> received{0};
    std::atomic<std::uint64_t> reads{0};

    // Held while the report runs, so that clearReport can wait for one in progress.
    std::mutex reportMutex;
    Report report;
};

} // namespace pcapplus
