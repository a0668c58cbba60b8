#pragma once

#include "avb/AvtpPacketBoundaryChecker.h"

#include <array>
#include <cstdint>
#include <string>

namespace avb {

// Judges whose frame this is (by source MAC address) and whether its sequence number is the next one, for
// one streaming device. Per frame the order is fixed: isPacketConform, then checkPacketData. Used on the
// capture thread only; on the normal path it takes no lock, allocates nothing and logs nothing.
//
// Every read of the frame is bounded by the given length; the caller passes the length that was captured.
class AvtpPacketChecker : public AvtpPacketBoundaryChecker {
    Q_OBJECT

public:
    AvtpPacketChecker(std::string deviceName, std::int32_t configuredChannelAmount,
                      QObject* parent = nullptr);
    ~AvtpPacketChecker() override;

    // A key of exactly 12 characters becomes the address compared with frame bytes 6 to 11. Any other length
    // leaves the text "000000000000" and the bytes unchanged, with a warning; nothing is thrown.
    void setSourceMacAddress(const std::string& address);
    // True when the frame holds a source address (12 bytes or more) equal to this device's. Stores nothing.
    bool isPacketConform(const std::uint8_t* frame, std::uint32_t length) const;
    // Stores the frame, takes its channel amount and data length, and judges its sequence number. False for
    // a frame too short to judge (below 36 bytes) or out of sequence.
    bool checkPacketData(const std::uint8_t* frame, std::uint32_t length);
    // Judges the stored frame's sequence number against the latest one, and takes it as the new base.
    bool isSequenceNrInOrder();
    std::uint8_t getSequenceNumber() const;
    bool refreshChannelAmount();
    bool refreshStreamDataLength();
    void resetSequenceNumber();

    std::string getSourceMacAddress() const { return sourceMacAddress; }
    std::array<std::uint8_t, 6> getSourceMacBytes() const { return sourceMacBytes; }
    std::uint8_t getLastSequenceNumber() const { return lastSequenceNumber; }
    bool isFirstPacket() const { return firstPacket; }

private:
    std::string sourceMacAddress;
    std::array<std::uint8_t, 6> sourceMacBytes{};
    // Valid only during the capture callback that stored it.
    const std::uint8_t* packetData = nullptr;
    std::uint32_t packetLength = 0;
    bool firstPacket = true;
    std::uint8_t lastSequenceNumber = 0;
};

} // namespace avb
