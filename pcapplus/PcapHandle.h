#pragma once

#include <pcap/pcap.h>

#include <utility>

namespace pcapplus {

// The one owner of an open libpcap handle: closes it when destroyed or replaced. Move-only, so a handle is
// never closed twice nor left open. Not thread-safe: the owner decides when no capture loop uses the handle
// any more before it resets or destroys it.
class PcapHandle {
public:
    PcapHandle() = default;
    explicit PcapHandle(pcap_t* handle) noexcept : handle(handle) {}
    ~PcapHandle() { reset(); }

    PcapHandle(const PcapHandle&) = delete;
    PcapHandle& operator=(const PcapHandle&) = delete;
    PcapHandle(PcapHandle&& other) noexcept : handle(std::exchange(other.handle, nullptr)) {}
    PcapHandle& operator=(PcapHandle&& other) noexcept {
        if (this != &other) {
            reset(std::exchange(other.handle, nullptr));
        }
        return *this;
    }

    // The handle, for libpcap calls; null when none is open. Stays owned here.
    pcap_t* get() const noexcept { return handle; }
    explicit operator bool() const noexcept { return handle != nullptr; }

    // Closes the handle held, if any, and takes `replacement` (may be null).
    void reset(pcap_t* replacement = nullptr) noexcept {
        if (handle != nullptr) {
            pcap_close(handle);
        }
        handle = replacement;
    }

private:
    pcap_t* handle = nullptr;
};

} // namespace pcapplus
