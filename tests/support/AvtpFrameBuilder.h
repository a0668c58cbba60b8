#pragma once

#include <array>
#include <cstdint>
#include <vector>

namespace testsupport {

// Builds AAF frames byte by byte for unit tests of the packet path. Samples are 16-bit big-endian,
// interleaved by channel; the stated data length defaults to the payload's real size.
struct AvtpFrameBuilder {
    std::array<std::uint8_t, 6> destination{0x91, 0xe0, 0xf0, 0x00, 0xfe, 0x01};
    std::array<std::uint8_t, 6> source{0x00, 0xa0, 0xc9, 0x11, 0x22, 0x33};
    std::uint8_t subtype = 2;
    std::uint8_t sequence = 0;
    std::uint8_t channels = 2;
    std::vector<std::int16_t> samples;
    int statedLength = -1;

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

    std::vector<std::uint8_t> build() const {
        std::vector<std::uint8_t> frame(38, 0);
        std::copy(destination.begin(), destination.end(), frame.begin());
        std::copy(source.begin(), source.end(), frame.begin() + 6);
        frame[12] = 0x22;
        frame[13] = 0xf0;
        frame[14] = subtype;
        frame[15] = 0x81;
        frame[16] = sequence;
        std::copy(source.begin(), source.end(), frame.begin() + 18);
        frame[30] = 0x04;
        frame[31] = 0x50;
        frame[32] = channels;
        frame[33] = 16;
        const int payload = static_cast<int>(samples.size()) * 2;
        const int length = statedLength >= 0 ? statedLength : payload;
        frame[34] = static_cast<std::uint8_t>(length >> 8);
        frame[35] = static_cast<std::uint8_t>(length & 0xff);
        for (const std::int16_t sample : samples) {
            const auto raw = static_cast<std::uint16_t>(sample);
            frame.push_back(static_cast<std::uint8_t>(raw >> 8));
            frame.push_back(static_cast<std::uint8_t>(raw & 0xff));
        }
        return frame;
    }
};

} // namespace testsupport
