#pragma once

#include "sonacore/StringOverloadBase.h"

#include <pcap/pcap.h>

#include <functional>
#include <string>

namespace pcapplus {

// The signature through which every captured frame of the process travels.
using PacketCallback =
    std::function<void(unsigned char* user, const pcap_pkthdr* header, const unsigned char* frame)>;

// What a class implements to be handed captured frames by a PcapPacketSniffer.
class PcapPacketReceiverBase : public StringOverloadBase {
public:
    PcapPacketReceiverBase();
    ~PcapPacketReceiverBase() override;

    // Called on the capture thread for every frame, inside the capture callback. The frame is valid only
    // until it returns; header->caplen bytes of it were captured. Must not throw.
    virtual void receivePacket(unsigned char* user, const pcap_pkthdr* header,
                               const unsigned char* frame) = 0;
    virtual std::string getReceiverName() const = 0;
    // Told once, by bindReceiver, the number of the adapter it is bound to.
    virtual void bindToDevice(int deviceNumber) = 0;

    // A function that hands frames to this object's receivePacket. It refers to this object, which must
    // outlive every use of it.
    PacketCallback getCallbackConnector();
    // Calls bindToDevice the first time and returns true; later calls do nothing and return false.
    bool bindReceiver(int deviceNumber);
    bool isBound() const;

private:
    bool bound = false;
};

} // namespace pcapplus
