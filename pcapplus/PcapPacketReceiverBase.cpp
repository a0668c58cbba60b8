#include "pcapplus/PcapPacketReceiverBase.h"

namespace pcapplus {

PcapPacketReceiverBase::PcapPacketReceiverBase() = default;

PcapPacketReceiverBase::~PcapPacketReceiverBase() = default;

PacketCallback PcapPacketReceiverBase::getCallbackConnector() {
    return [this](unsigned char* user, const pcap_pkthdr* header, const unsigned char* frame) {
        receivePacket(user, header, frame);
    };
}

bool PcapPacketReceiverBase::bindReceiver(int deviceNumber) {
    if (bound) {
        return false;
    }
    bindToDevice(deviceNumber);
    bound = true;
    return true;
}

bool PcapPacketReceiverBase::isBound() const {
    return bound;
}

} // namespace pcapplus
