#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <pcap/pcap.h>

namespace testsupport {

// One frame as libpcap handed it over.
struct CapturedFrame {
    // The captured bytes from the Ethernet header on (the whole frame: the snapshot length of 2048 bytes is
    // larger than any frame on a veth pair with the default MTU).
    std::vector<std::uint8_t> bytes;
    // The frame's length on the wire (`len` of pcap_pkthdr).
    std::uint32_t wireLength = 0;
};

// Captures frames on one interface with libpcap on its own thread, in promiscuous and immediate mode,
// through a capture filter, and keeps them in arrival order.
//
// The capture is active when `open` returns, so frames sent afterwards are all seen unless the kernel
// drops them (see `kernelDrops`). The destructor stops the thread and closes the handle. Not movable;
// all methods may be called from the test's thread while the capture thread runs.
class FrameCapture {
public:
    // Opens `interfaceName` with `filter`. Returns null and sets `error` when libpcap refuses.
    static std::unique_ptr<FrameCapture> open(const std::string& interfaceName, std::string& error,
                                              const std::string& filter = "ether proto 0x22f0");

    ~FrameCapture();
    FrameCapture(const FrameCapture&) = delete;
    FrameCapture& operator=(const FrameCapture&) = delete;

    // Waits until at least `count` frames have arrived or `timeout` has passed; returns how many arrived.
    std::size_t waitForCount(std::size_t count, std::chrono::milliseconds timeout) const;

    // Waits until no frame has arrived for `quiet` (at most `timeout` in all) and returns every frame so
    // far.
    std::vector<CapturedFrame>
    settle(std::chrono::milliseconds quiet = std::chrono::milliseconds(300),
           std::chrono::milliseconds timeout = std::chrono::milliseconds(10000)) const;

    // Frames the kernel dropped because the capture buffer was full, as of the capture thread's last look
    // (every 20 ms).
    unsigned kernelDrops() const;

private:
    explicit FrameCapture(pcap_t* handle);
    void loop();
    static void onPacket(u_char* user, const pcap_pkthdr* header, const u_char* bytes);

    pcap_t* handle;
    std::atomic<bool> stopRequested{false};
    std::atomic<unsigned> droppedInKernel{0};
    mutable std::mutex mutex;
    std::vector<CapturedFrame> capturedFrames;
    std::chrono::steady_clock::time_point lastArrival;
    std::thread thread;
};

} // namespace testsupport
