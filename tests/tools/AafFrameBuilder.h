#pragma once
// AAF frames built byte by byte for the tests of the monitor's discovery and stream set-up.
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace toolstest {

// Offsets from the first byte of an untagged Ethernet header, spelt out here rather than taken from the code
// under test; a tag moves every one from the EtherType on up by 4 bytes.
constexpr std::size_t sourceOffset = 6;
constexpr std::size_t etherTypeOffset = 12;
constexpr std::size_t subtypeOffset = 14;
constexpr std::size_t streamIdOffset = 18;
constexpr std::size_t formatOffset = 30;
constexpr std::size_t rateAndChannelsHighOffset = 31;
constexpr std::size_t channelsOffset = 32;
constexpr std::size_t bitDepthOffset = 33;
constexpr std::size_t dataLengthOffset = 34;
constexpr std::size_t headerLength = 38;
constexpr std::size_t tagLength = 4;
// The last field read: a frame must hold the stream data length whole.
constexpr std::size_t shortestUntagged = dataLengthOffset + 2;
constexpr std::size_t shortestTagged = shortestUntagged + tagLength;

// One AAF frame byte by byte, 16-bit stereo at 48 kHz from 00:a0:c9:11:22:33 unless told otherwise.
struct AafFrame {
    std::array<std::uint8_t, 6> source{{0x00, 0xa0, 0xc9, 0x11, 0x22, 0x33}};
    std::uint16_t etherType = 0x22f0;
    // The whole tag control information of an 802.1Q tag; empty for an untagged frame.
    std::optional<std::uint16_t> tag;
    std::uint16_t taggedEtherType = 0x8100;
    // The tag control information of a second tag, 802.1Q, behind the first; empty for one tag or none.
    std::optional<std::uint16_t> innerTag;
    std::uint8_t subtype = 2;
    std::uint64_t streamId = 0x00a0c91122330001;
    std::uint8_t format = 4;
    std::uint8_t rateCode = 5;
    std::uint16_t channels = 2;
    std::uint8_t bitDepth = 16;
    std::uint16_t dataLength = 24;

    std::vector<std::uint8_t> build() const {
        std::vector<std::uint8_t> frame(headerLength + dataLength, 0);
        std::size_t shift = 0;
        if (tag) {
            frame.insert(frame.begin() + etherTypeOffset, tagLength, 0);
            frame[etherTypeOffset] = static_cast<std::uint8_t>(taggedEtherType >> 8);
            frame[etherTypeOffset + 1] = static_cast<std::uint8_t>(taggedEtherType);
            frame[etherTypeOffset + 2] = static_cast<std::uint8_t>(*tag >> 8);
            frame[etherTypeOffset + 3] = static_cast<std::uint8_t>(*tag);
            shift = tagLength;
        }
        if (tag && innerTag) {
            frame.insert(frame.begin() + etherTypeOffset + shift, tagLength, 0);
            frame[etherTypeOffset + shift] = 0x81;
            frame[etherTypeOffset + shift + 1] = 0x00;
            frame[etherTypeOffset + shift + 2] = static_cast<std::uint8_t>(*innerTag >> 8);
            frame[etherTypeOffset + shift + 3] = static_cast<std::uint8_t>(*innerTag);
            shift += tagLength;
        }
        for (std::size_t index = 0; index < 6; ++index) {
            frame[index] = static_cast<std::uint8_t>(0x91 + index);
            frame[sourceOffset + index] = source[index];
        }
        frame[shift + etherTypeOffset] = static_cast<std::uint8_t>(etherType >> 8);
        frame[shift + etherTypeOffset + 1] = static_cast<std::uint8_t>(etherType);
        frame[shift + subtypeOffset] = subtype;
        frame[shift + subtypeOffset + 1] = 0x81;
        for (std::size_t index = 0; index < 8; ++index) {
            frame[shift + streamIdOffset + index] = static_cast<std::uint8_t>(streamId >> (56 - 8 * index));
        }
        frame[shift + formatOffset] = format;
        frame[shift + rateAndChannelsHighOffset] =
            static_cast<std::uint8_t>((rateCode << 4) | (channels >> 8));
        frame[shift + channelsOffset] = static_cast<std::uint8_t>(channels);
        frame[shift + bitDepthOffset] = bitDepth;
        frame[shift + dataLengthOffset] = static_cast<std::uint8_t>(dataLength >> 8);
        frame[shift + dataLengthOffset + 1] = static_cast<std::uint8_t>(dataLength);
        return frame;
    }
};

} // namespace toolstest
