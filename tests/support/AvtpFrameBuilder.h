#pragma once

#include <array>
#include <cstdint>
#include <utility>
#include <vector>

namespace testsupport {

// Builds AAF frames byte by byte for unit tests of the packet path. Samples are 16-bit big-endian,
// interleaved by channel, unless raw payload bytes are given; the stated data length defaults to the
// payload's real size. Tags, outermost first, go in front of the EtherType.
struct AvtpFrameBuilder {
    std::array<std::uint8_t, 6> destination{0x91, 0xe0, 0xf0, 0x00, 0xfe, 0x01};
    std::array<std::uint8_t, 6> source{0x00, 0xa0, 0xc9, 0x11, 0x22, 0x33};
    std::uint8_t subtype = 2;
    std::uint8_t sequence = 0;
    std::uint8_t channels = 2;
    std::vector<std::int16_t> samples;
    int statedLength = -1;
    std::uint8_t format = 0x04;
    std::uint8_t bitDepth = 16;
    bool rawPayloadGiven = false;
    std::vector<std::uint8_t> rawPayload;
    // Each tag as its TPID and its tag control information (priority, DEI, VLAN ID).
    std::vector<std::pair<std::uint16_t, std::uint16_t>> tags;

    AvtpFrameBuilder& withSequence(std::uint8_t value) {
        sequence = value;
        return *this;
    }
    AvtpFrameBuilder& withChannels(std::uint8_t value) {
        channels = value;
        return *this;
    }
    AvtpFrameBuilder& withSamples(std::vector<std::int16_t> values) {
        samples = std::move(values);
        return *this;
    }
    AvtpFrameBuilder& withStatedLength(int value) {
        statedLength = value;
        return *this;
    }
    AvtpFrameBuilder& withSubtype(std::uint8_t value) {
        subtype = value;
        return *this;
    }

    AvtpFrameBuilder& withFormat(std::uint8_t code, std::uint8_t depth) {
        format = code;
        bitDepth = depth;
        return *this;
    }
    AvtpFrameBuilder& withPayload(std::vector<std::uint8_t> bytes) {
        rawPayload = std::move(bytes);
        rawPayloadGiven = true;
        return *this;
    }
    AvtpFrameBuilder& withTag(std::uint16_t tpid, std::uint16_t controlInformation) {
        tags.emplace_back(tpid, controlInformation);
        return *this;
    }

    std::vector<std::uint8_t> build() const {
        std::vector<std::uint8_t> untagged = buildUntagged();
        if (tags.empty()) {
            return untagged;
        }
        std::vector<std::uint8_t> frame(untagged.begin(), untagged.begin() + 12);
        for (const auto& [tpid, control] : tags) {
            for (const std::uint16_t field : {tpid, control}) {
                frame.push_back(static_cast<std::uint8_t>(field >> 8));
                frame.push_back(static_cast<std::uint8_t>(field & 0xff));
            }
        }
        for (std::size_t index = 12; index < untagged.size(); ++index) {
            frame.push_back(untagged[index]);
        }
        return frame;
    }

private:
    std::vector<std::uint8_t> buildUntagged() const {
        std::vector<std::uint8_t> frame(38, 0);
        std::copy(destination.begin(), destination.end(), frame.begin());
        std::copy(source.begin(), source.end(), frame.begin() + 6);
        frame[12] = 0x22;
        frame[13] = 0xf0;
        frame[14] = subtype;
        frame[15] = 0x81;
        frame[16] = sequence;
        std::copy(source.begin(), source.end(), frame.begin() + 18);
        frame[30] = format;
        frame[31] = 0x50;
        frame[32] = channels;
        frame[33] = bitDepth;
        const int payload =
            rawPayloadGiven ? static_cast<int>(rawPayload.size()) : static_cast<int>(samples.size()) * 2;
        const int length = statedLength >= 0 ? statedLength : payload;
        frame[34] = static_cast<std::uint8_t>(length >> 8);
        frame[35] = static_cast<std::uint8_t>(length & 0xff);
        if (rawPayloadGiven) {
            for (const std::uint8_t byte : rawPayload) {
                frame.push_back(byte);
            }
            return frame;
        }
        for (const std::int16_t sample : samples) {
            const auto raw = static_cast<std::uint16_t>(sample);
            frame.push_back(static_cast<std::uint8_t>(raw >> 8));
            frame.push_back(static_cast<std::uint8_t>(raw & 0xff));
        }
        return frame;
    }
};

} // namespace testsupport
