#pragma once

#include <cstddef>
#include <cstdint>

namespace avb {

// The layout of an IEEE 1722 AAF frame as this system reads it: offsets from the first byte of the Ethernet
// header (no VLAN tag), multi-byte fields big-endian.
namespace avtp {

constexpr std::uint32_t destinationMacOffset = 0;
constexpr std::uint32_t sourceMacOffset = 6;
constexpr std::uint32_t macSize = 6;
constexpr std::uint32_t etherTypeOffset = 12;
constexpr std::uint32_t subtypeOffset = 14;
constexpr std::uint32_t sequenceNumberOffset = 16;
constexpr std::uint32_t streamIdOffset = 18;
constexpr std::uint32_t streamIdSize = 8;
constexpr std::uint32_t timestampOffset = 26;
constexpr std::uint32_t timestampSize = 4;
constexpr std::uint32_t channelsPerFrameOffset = 32;
constexpr std::uint32_t streamDataLengthOffset = 34;
constexpr std::uint32_t payloadOffset = 38;

// The fields this system does not read, named for the programs that write whole frames: the stream-valid,
// version and timestamp-valid bits (15), timestamp uncertain (17), the sample format (30), the nominal rate
// in the high nibble with the channel count's two high bits in the low two (31), the bit depth (33), and the
// sparse-timestamp and event bits with a reserved byte (36, 37).
constexpr std::uint32_t validityOffset = 15;
constexpr std::uint32_t timestampUncertainOffset = 17;
constexpr std::uint32_t formatOffset = 30;
constexpr std::uint32_t nominalRateOffset = 31;
constexpr std::uint32_t bitDepthOffset = 33;
constexpr std::uint32_t eventOffset = 36;
constexpr std::uint32_t reservedOffset = 37;

// The Ethernet header's length without a VLAN tag, and the length of one IEEE 802.1Q tag, which sits in
// front of the EtherType and moves every later field up by its size.
constexpr std::uint32_t ethernetHeaderSize = 14;
constexpr std::uint32_t vlanTagSize = 4;
constexpr std::uint16_t avtpEtherType = 0x22f0;
constexpr std::uint16_t vlanEtherType = 0x8100;
// The TPID of an IEEE 802.1ad service tag: alone, or stacked in front of an 802.1Q tag.
constexpr std::uint16_t serviceVlanEtherType = 0x88a8;

// The AVTP subtype of the AAF audio format, the only one accepted.
constexpr std::uint8_t aafSubtype = 2;

// The validity byte of a normal stream frame: the stream ID and the timestamp are valid, version 0.
constexpr std::uint8_t streamAndTimestampValid = 0x81;

// The sample formats of the format field, and the nominal rate code of 48 kHz.
constexpr std::uint8_t formatUserSpecified = 0x00;
constexpr std::uint8_t formatFloat32 = 0x01;
constexpr std::uint8_t formatInt32 = 0x02;
constexpr std::uint8_t formatInt24 = 0x03;
constexpr std::uint8_t formatInt16 = 0x04;
constexpr std::uint8_t formatAes3 = 0x05;
constexpr std::uint8_t nominalRate48kHz = 0x05;

// The most channels an AAF frame can state: its channels-per-frame field has 10 bits.
constexpr std::uint64_t maximumChannels = 1023;

} // namespace avtp

// A bounds-checked view of one captured frame. Every read states what it needs; a frame too short for it
// yields the caller's fallback instead of a read past its end. Valid only while the frame is.
class AvtpFrameReader {
public:
    AvtpFrameReader(const std::uint8_t* data, std::uint32_t length) : data(data), length(data ? length : 0) {}

    // True when `size` bytes from `offset` lie inside the frame.
    bool holds(std::uint64_t offset, std::uint64_t size) const {
        return data != nullptr && offset <= length && size <= length - offset;
    }
    std::uint8_t byteAt(std::uint32_t offset, std::uint8_t fallback = 0) const {
        return holds(offset, 1) ? data[offset] : fallback;
    }
    std::uint16_t bigEndian16At(std::uint32_t offset, std::uint16_t fallback = 0) const {
        return holds(offset, 2) ? static_cast<std::uint16_t>((data[offset] << 8) | data[offset + 1])
                                : fallback;
    }
    // The bytes from `offset`, or null when `size` of them are not all inside the frame.
    const std::uint8_t* bytesAt(std::uint64_t offset, std::uint64_t size) const {
        return holds(offset, size) ? data + offset : nullptr;
    }
    std::uint32_t getLength() const { return length; }

private:
    const std::uint8_t* data;
    std::uint32_t length;
};

} // namespace avb
