#include "engine/streaming/NetworkReceiver.h"

#include <utility>

namespace engine::streaming {

NetworkReceiver::NetworkReceiver(const pcapplus::PcapDeviceInfo& deviceInfo, std::uint8_t avtpSubtype,
                                 std::string filter)
    : avb::AvtpPacketReceiver(avtpSubtype, nullptr), pcapplus::PcapPacketSniffer(deviceInfo, snapLength,
                                                                                 promiscuous, readTimeoutMs,
                                                                                 nullptr),
      controller(static_cast<avb::AvtpPacketReceiver*>(this)),
      receiverHandle(deviceInfo.getDeviceName(), [this] { return isListening(); }) {
    // This object owns its controller and is deleted by the engine, not by its thread.
    controller.keepWorker();

    auto* receiver = static_cast<avb::AvtpPacketReceiver*>(this);
    auto* sniffer = static_cast<pcapplus::PcapPacketSniffer*>(this);
    // The sniffer's status leaves through the same signal as the devices' messages.
    QObject::connect(sniffer, &pcapplus::PcapPacketSniffer::message, receiver,
                     &avb::AvtpPacketReceiver::message, Qt::AutoConnection);

    if (!filter.empty()) {
        setFilter(filter, filterOptimize, filterNetmask);
    }
    registerPacketReceiver(*receiver);

    // Direct: start and stop run on the caller's thread. A handle only ever reaches its own receiver.
    QObject::connect(
        &receiverHandle, qOverload<std::string>(&NetworkReceiverHandle::start), &receiverHandle,
        [this](const std::string& uid) {
            if (uid == getDeviceInfo().getDeviceName()) {
                pcapplus::PcapPacketSniffer::start();
            }
        },
        Qt::DirectConnection);
    QObject::connect(
        &receiverHandle, qOverload<std::string>(&NetworkReceiverHandle::stop), &receiverHandle,
        [this](const std::string& uid) {
            if (uid == getDeviceInfo().getDeviceName()) {
                pcapplus::PcapPacketSniffer::stop();
            }
        },
        Qt::DirectConnection);
}

NetworkReceiver::~NetworkReceiver() = default;

void NetworkReceiver::widenFilterForVlanTagged(const std::string& filter) {
    if (getFilterExpression() == filter) {
        return;
    }
    const bool wasListening = isListening();
    if (wasListening) {
        pcapplus::PcapPacketSniffer::stop();
        waitForLoops();
    }
    setFilter(filter, filterOptimize, filterNetmask);
    if (wasListening) {
        pcapplus::PcapPacketSniffer::start();
    }
}

NetworkReceiverHandle& NetworkReceiver::getReceiverHandle() {
    return receiverHandle;
}

std::string NetworkReceiver::toString() const {
    return "NetworkReceiver: " + avb::AvtpPacketReceiver::getReceiverName();
}

} // namespace engine::streaming
