#include "tools/FrameCapture.h"

#include <poll.h>

namespace testsupport {

namespace {

// In immediate mode libpcap gives every frame a ring slot of the snapshot length, so the snapshot length
// decides how many frames the ring holds: 2048 bytes cover any frame of a 1500-byte MTU and leave room for
// some 16000 frames in the buffer below, several seconds of a real-rate stream and all of a short fast one.
constexpr int snapLength = 2048;
constexpr int bufferBytes = 32 * 1024 * 1024;

} // namespace

std::unique_ptr<FrameCapture> FrameCapture::open(const std::string& interfaceName, std::string& error,
                                                 const std::string& filter) {
    char errorBuffer[PCAP_ERRBUF_SIZE] = {};
    pcap_t* handle = pcap_create(interfaceName.c_str(), errorBuffer);
    if (handle == nullptr) {
        error = errorBuffer;
        return nullptr;
    }
    // The owner exists from here on, so every failure below closes the handle.
    std::unique_ptr<pcap_t, void (*)(pcap_t*)> owner(handle, pcap_close);
    pcap_set_snaplen(handle, snapLength);
    pcap_set_promisc(handle, 1);
    pcap_set_immediate_mode(handle, 1);
    pcap_set_buffer_size(handle, bufferBytes);
    const int activated = pcap_activate(handle);
    if (activated < 0) {
        error = "pcap_activate on " + interfaceName + " failed: " + pcap_geterr(handle);
        return nullptr;
    }
    bpf_program program{};
    if (pcap_compile(handle, &program, filter.c_str(), 1, PCAP_NETMASK_UNKNOWN) < 0) {
        error = "pcap_compile of '" + filter + "' failed: " + pcap_geterr(handle);
        return nullptr;
    }
    const int filtered = pcap_setfilter(handle, &program);
    pcap_freecode(&program);
    if (filtered < 0) {
        error = std::string("pcap_setfilter failed: ") + pcap_geterr(handle);
        return nullptr;
    }
    // Non-blocking reads with our own poll let the thread notice a stop request promptly.
    if (pcap_setnonblock(handle, 1, errorBuffer) < 0) {
        error = errorBuffer;
        return nullptr;
    }
    return std::unique_ptr<FrameCapture>(new FrameCapture(owner.release()));
}

FrameCapture::FrameCapture(pcap_t* handle) : handle(handle), lastArrival(std::chrono::steady_clock::now()) {
    thread = std::thread([this] { loop(); });
}

FrameCapture::~FrameCapture() {
    stopRequested = true;
    thread.join();
    // Closed only after the thread has ended, so the loop can never use a closed handle.
    pcap_close(handle);
}

void FrameCapture::loop() {
    pollfd descriptor{pcap_get_selectable_fd(handle), POLLIN, 0};
    while (!stopRequested) {
        ::poll(&descriptor, 1, 20);
        while (pcap_dispatch(handle, -1, &FrameCapture::onPacket, reinterpret_cast<u_char*>(this)) > 0) {
        }
        // The handle belongs to this thread, so its statistics are read here and published.
        pcap_stat stats{};
        if (pcap_stats(handle, &stats) == 0) {
            droppedInKernel = stats.ps_drop;
        }
    }
}

void FrameCapture::onPacket(u_char* user, const pcap_pkthdr* header, const u_char* bytes) {
    auto* self = reinterpret_cast<FrameCapture*>(user);
    CapturedFrame frame;
    frame.bytes.assign(bytes, bytes + header->caplen);
    frame.wireLength = header->len;
    const std::lock_guard<std::mutex> lock(self->mutex);
    self->capturedFrames.push_back(std::move(frame));
    self->lastArrival = std::chrono::steady_clock::now();
}

std::size_t FrameCapture::waitForCount(std::size_t count, std::chrono::milliseconds timeout) const {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (true) {
        {
            const std::lock_guard<std::mutex> lock(mutex);
            if (capturedFrames.size() >= count || std::chrono::steady_clock::now() >= deadline) {
                return capturedFrames.size();
            }
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

std::vector<CapturedFrame> FrameCapture::settle(std::chrono::milliseconds quiet,
                                                std::chrono::milliseconds timeout) const {
    const auto start = std::chrono::steady_clock::now();
    // The quiet period counts from now at the earliest, so that frames still in flight when the talker
    // ended are waited for.
    while (true) {
        {
            const std::lock_guard<std::mutex> lock(mutex);
            const auto now = std::chrono::steady_clock::now();
            const auto lastEvent = lastArrival > start ? lastArrival : start;
            if (now - lastEvent >= quiet || now - start >= timeout) {
                return capturedFrames;
            }
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
}

unsigned FrameCapture::kernelDrops() const {
    return droppedInKernel;
}

} // namespace testsupport
