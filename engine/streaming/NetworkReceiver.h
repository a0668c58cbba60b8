#pragma once

#include "avb/AvtpPacketReceiver.h"
#include "engine/streaming/NetworkReceiverHandle.h"
#include "pcapplus/PcapDeviceInfo.h"
#include "pcapplus/PcapPacketSniffer.h"
#include "threading/Controller.h"

#include <cstdint>
#include <string>

namespace engine::streaming {

// Joins, for one adapter, the frame pipeline and the capture handle: it is at once the packet receiver and
// the sniffer. A new receiver is opened, filtered and registered as the receiver of all captured frames,
// but idle until its handle starts it.
//
// The receiver part is a worker with a thread of its own under `controller`; it only runs an event loop,
// through which the status messages of the sniffer part and of the device checkers travel to the
// receiver's signal `message`. The packet path runs on the capture thread. Owned by the StreamingEngine,
// which deletes it on the host's thread.
class NetworkReceiver : public avb::AvtpPacketReceiver, public pcapplus::PcapPacketSniffer {
public:
    // libpcap's values: snap length 65536, promiscuous, read timeout 1 ms.
    static constexpr int snapLength = 65536;
    static constexpr int promiscuous = 1;
    static constexpr int readTimeoutMs = 1;
    static constexpr int filterOptimize = 1;
    static constexpr bpf_u_int32 filterNetmask = 0xffffffff;

    // Opens the adapter (a failure leaves the object alive but not configured), sets the filter unless it
    // is empty, and registers this object as the receiver of all frames.
    NetworkReceiver(const pcapplus::PcapDeviceInfo& deviceInfo, std::uint8_t avtpSubtype, std::string filter);
    ~NetworkReceiver() override;

    NetworkReceiverHandle& getReceiverHandle();
    // Sets `filter` unless it is in force already. A listening receiver stops, waits for its capture loop,
    // and starts again around the change, since libpcap's filter must not change under a running loop; the
    // stop and start are reported as usual. Host's thread only.
    void widenFilterForVlanTagged(const std::string& filter);
    // "NetworkReceiver: " name
    std::string toString() const override;

private:
    threading::Controller controller;
    NetworkReceiverHandle receiverHandle;
};

} // namespace engine::streaming
