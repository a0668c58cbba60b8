#include "DiscoveryCapture.h"

#include <pcap/pcap.h>

#include <poll.h>

#include <algorithm>
#include <chrono>
#include <memory>

namespace host {
namespace {

// The headers of an AAF frame behind two tags are 44 bytes long; the rest of a frame is of no interest here.
constexpr int snapshotLength = 96;
// How long a read waits for frames: the longest the listening can overrun its time or an interruption.
constexpr int readTimeoutMs = 100;
// Two streams of 8000 frames a second fill about a mebibyte a second of the kernel's ring with these
// snapshots; this rides out a stall of a few seconds.
constexpr int kernelRingBytes = 8 << 20;
constexpr const char* filterExpression = "ether proto 0x22f0 or (vlan and ether proto 0x22f0)";

struct PcapCloser {
    void operator()(pcap_t* handle) const { pcap_close(handle); }
};
using PcapHandle = std::unique_ptr<pcap_t, PcapCloser>;

struct CallbackContext {
    StreamDiscovery* discovery;
    bool failed = false;
};

// The callback libpcap calls for each frame: no exception may cross into libpcap's C code, so a failure
// (out of memory) only ends the listening.
void onFrame(unsigned char* user, const pcap_pkthdr* header, const unsigned char* frame) {
    auto* context = reinterpret_cast<CallbackContext*>(user);
    if (header == nullptr || context->failed) {
        return;
    }
    try {
        const double arrival =
            static_cast<double>(header->ts.tv_sec) + static_cast<double>(header->ts.tv_usec) * 1e-6;
        context->discovery->addFrame(frame, header->caplen, arrival);
    } catch (...) {
        context->failed = true;
    }
}

std::string openError(const std::string& adapterName, int status, const std::string& detail) {
    if (status == PCAP_ERROR_NO_SUCH_DEVICE) {
        return "There is no capture adapter '" + adapterName +
               "': run 'sonacore-host --list' to see the adapters and their numbers.";
    }
    if (status == PCAP_ERROR_PERM_DENIED) {
        return "Cannot capture on '" + adapterName +
               "': run as root, or give this program the right to capture (setcap "
               "cap_net_raw,cap_net_admin+ep "
               "sonacore-host).";
    }
    return "Cannot capture on '" + adapterName +
           "': " + (detail.empty() ? pcap_statustostr(status) : detail) + ".";
}

// Opens the adapter with the discovery's settings and filter; null with the reason in `error`.
PcapHandle openFiltered(const std::string& adapterName, std::string& error) {
    char errorBuffer[PCAP_ERRBUF_SIZE] = {};
    PcapHandle handle(pcap_create(adapterName.c_str(), errorBuffer));
    if (!handle) {
        error = openError(adapterName, PCAP_ERROR, errorBuffer);
        return handle;
    }
    pcap_set_snaplen(handle.get(), snapshotLength);
    pcap_set_promisc(handle.get(), 1);
    pcap_set_timeout(handle.get(), readTimeoutMs);
    pcap_set_buffer_size(handle.get(), kernelRingBytes);
    const int status = pcap_activate(handle.get());
    if (status < 0) {
        error = openError(adapterName, status, pcap_geterr(handle.get()));
        return PcapHandle();
    }
    bpf_program program{};
    if (pcap_compile(handle.get(), &program, filterExpression, 1, PCAP_NETMASK_UNKNOWN) != 0) {
        error = "Cannot filter the capture on '" + adapterName + "': " + pcap_geterr(handle.get()) + ".";
        return PcapHandle();
    }
    const int filtered = pcap_setfilter(handle.get(), &program);
    pcap_freecode(&program);
    if (filtered != 0) {
        error = "Cannot filter the capture on '" + adapterName + "': " + pcap_geterr(handle.get()) + ".";
        return PcapHandle();
    }
    return handle;
}

} // namespace

bool DiscoveryCapture::listen(const std::string& adapterName, double seconds,
                              const std::function<bool()>& interrupted, StreamDiscovery& discovery,
                              std::uint64_t& kernelDrops, std::string& error) {
    kernelDrops = 0;
    const PcapHandle handle = openFiltered(adapterName, error);
    if (!handle) {
        return false;
    }

    // A blocking read would wait for the first frame however long that takes: the kernel hands over its
    // blocks of frames on the read timeout only once they hold a frame. So the wait is a poll of its own, and
    // the read takes what is there.
    char errorBuffer[PCAP_ERRBUF_SIZE] = {};
    const int descriptor = pcap_get_selectable_fd(handle.get());
    if (descriptor < 0 || pcap_setnonblock(handle.get(), 1, errorBuffer) != 0) {
        error = "Cannot capture on '" + adapterName + "' without blocking: " + errorBuffer + ".";
        return false;
    }

    CallbackContext context{&discovery};
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    for (auto now = std::chrono::steady_clock::now(); now < deadline && !(interrupted && interrupted());
         now = std::chrono::steady_clock::now()) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - now).count() + 1;
        pollfd waiting{descriptor, POLLIN, 0};
        // An interrupted wait (EINTR) is simply a shorter one.
        ::poll(&waiting, 1, static_cast<int>(std::min<long long>(left, readTimeoutMs)));
        const int read = pcap_dispatch(handle.get(), -1, onFrame, reinterpret_cast<unsigned char*>(&context));
        if (read == PCAP_ERROR) {
            error = "The capture on '" + adapterName + "' failed: " + pcap_geterr(handle.get()) + ".";
            return false;
        }
        if (context.failed) {
            error = "The capture on '" + adapterName + "' ran out of memory.";
            return false;
        }
    }
    pcap_stat statistics{};
    if (pcap_stats(handle.get(), &statistics) == 0) {
        kernelDrops = statistics.ps_drop;
    }
    return true;
}

} // namespace host
