#include "AafStream.h"

#include <algorithm>
#include <iterator>

namespace avtptalker {

namespace {

constexpr std::uint16_t kAvtpEtherType = 0x22f0;
constexpr std::uint8_t kAafSubtype = 0x02;
// sv: the stream id is valid; tv: the timestamp is valid. Version 0, no media clock restart, no gPTP
// domain change.
constexpr std::uint8_t kStreamValidAndTimestampValid = 0x81;
constexpr std::uint16_t kVlanEtherType = 0x8100;
constexpr std::uint8_t kFormatInt32 = 0x02;
constexpr std::uint8_t kFormatInt24 = 0x03;
constexpr std::uint8_t kFormatInt16 = 0x04;
constexpr std::uint8_t kNominalRate48kHz = 0x05;
constexpr std::size_t kEthernetHeaderLength = 14;
// Receivers present samples this long after the talker's clock; 2 ms is the usual class A latency.
constexpr std::uint64_t kPresentationOffsetNs = 2'000'000;
constexpr std::uint64_t kNsPerSecond = 1'000'000'000;
constexpr std::uint64_t kSampleRate = 48'000;

void put16(std::uint8_t* p, std::uint32_t value) {
    p[0] = static_cast<std::uint8_t>(value >> 8);
    p[1] = static_cast<std::uint8_t>(value);
}

void put32(std::uint8_t* p, std::uint32_t value) {
    put16(p, value >> 16);
    put16(p + 2, value & 0xffff);
}

std::uint8_t formatFor(unsigned sampleBits) {
    return sampleBits == 32 ? kFormatInt32 : (sampleBits == 24 ? kFormatInt24 : kFormatInt16);
}

/// Writes the 16-bit signal value as a big-endian sample of `bytes` bytes, shifted up to fill them.
void putSample(std::uint8_t* p, std::int16_t value, unsigned bytes) {
    const auto widened = static_cast<std::uint32_t>(static_cast<std::int32_t>(value) * 65536);
    for (unsigned i = 0; i < bytes; ++i) {
        p[i] = static_cast<std::uint8_t>(widened >> (24 - 8 * i));
    }
}

} // namespace

AafStream::AafStream(const TalkerOptions& options, std::vector<SignalGenerator> signals,
                     const MacAddress& sourceMac, std::uint64_t timestampBaseNs)
    : m_options(options), m_signals(std::move(signals)), m_sourceMac(sourceMac),
      m_timestampBaseNs(timestampBaseNs + kPresentationOffsetNs) {
    if (m_options.streamId) {
        m_streamId = *m_options.streamId;
    } else {
        m_streamId = 0x0001;
        for (std::size_t i = 0; i < 6; ++i) {
            m_streamId |= static_cast<std::uint64_t>(sourceMac[i]) << (56 - 8 * i);
        }
    }
}

std::uint64_t AafStream::offsetNs(std::uint64_t frame, unsigned samplesPerFrame) {
    // Whole seconds and the remainder are scaled apart so that the product never overflows, even for
    // streams that run for years.
    const std::uint64_t samples = frame * samplesPerFrame;
    return samples / kSampleRate * kNsPerSecond + samples % kSampleRate * kNsPerSecond / kSampleRate;
}

unsigned AafStream::channelsOf(std::uint64_t frame) const {
    auto change = m_options.channelsAt.upper_bound(frame);
    if (change == m_options.channelsAt.begin()) {
        return m_options.channels;
    }
    return std::prev(change)->second;
}

std::size_t AafStream::lengthOf(std::uint64_t frame) const {
    return headerLength() +
           std::size_t{m_options.sampleBytes()} * channelsOf(frame) * m_options.samplesPerFrame;
}

std::size_t AafStream::maximumLength() const {
    return headerLength() +
           std::size_t{m_options.sampleBytes()} * m_options.maximumChannels() * m_options.samplesPerFrame;
}

std::size_t AafStream::headerLength() const {
    return kHeaderLength + (m_options.vlanId ? kVlanTagLength : 0);
}

std::size_t AafStream::ethernetHeaderLength() const {
    return kEthernetHeaderLength + (m_options.vlanId ? kVlanTagLength : 0);
}

bool AafStream::isDropped(std::uint64_t frame) const {
    return (m_options.dropEvery != 0 && (frame + 1) % m_options.dropEvery == 0) ||
           m_options.dropAt.count(frame) != 0;
}

std::size_t AafStream::framesForSlot(std::uint64_t slot, std::vector<OutgoingFrame>& frames) const {
    if (frames.size() < kMaxFramesPerSlot) {
        frames.resize(kMaxFramesPerSlot);
    }
    std::uint64_t frame = slot;
    if (m_options.swapAt.count(slot) != 0) {
        frame = slot + 1;
    } else if (slot > 0 && m_options.swapAt.count(slot - 1) != 0) {
        frame = slot - 1;
    }

    std::size_t count = 0;
    const auto stray = m_options.insertSubtype.find(frame);
    if (stray != m_options.insertSubtype.end()) {
        OutgoingFrame& out = frames[count++];
        build(frame, out);
        out.bytes[ethernetHeaderLength()] = static_cast<std::uint8_t>(stray->second);
        out.stray = true;
    }
    const auto strayType = m_options.insertEtherType.find(frame);
    if (strayType != m_options.insertEtherType.end()) {
        OutgoingFrame& out = frames[count++];
        build(frame, out);
        // In a tagged frame this is the EtherType behind the tag, the one that says AVTP.
        put16(&out.bytes[ethernetHeaderLength() - 2], strayType->second);
        out.stray = true;
    }
    if (!isDropped(frame)) {
        build(frame, frames[count++]);
        if (m_options.repeatAt.count(frame) != 0) {
            frames[count] = frames[count - 1];
            ++count;
        }
    }
    return count;
}

void AafStream::build(std::uint64_t frame, OutgoingFrame& out) const {
    const unsigned channels = channelsOf(frame);
    const unsigned samplesPerFrame = m_options.samplesPerFrame;
    const unsigned sampleBytes = m_options.sampleBytes();
    const std::size_t payloadLength = std::size_t{sampleBytes} * channels * samplesPerFrame;
    out.bytes.resize(headerLength() + payloadLength);
    out.frameIndex = frame;
    out.stray = false;
    out.channels = channels;
    std::uint8_t* p = out.bytes.data();

    std::copy(m_options.destinationMac.begin(), m_options.destinationMac.end(), p);
    std::copy(m_sourceMac.begin(), m_sourceMac.end(), p + 6);
    if (m_options.vlanId) {
        put16(p + 12, kVlanEtherType);
        put16(p + 14, (m_options.vlanPriority << 13) | *m_options.vlanId);
        // From here on the offsets are those of an untagged frame.
        p += kVlanTagLength;
    }
    put16(p + 12, kAvtpEtherType);
    p[14] = kAafSubtype;
    p[15] = kStreamValidAndTimestampValid;
    p[16] = static_cast<std::uint8_t>(m_options.firstSequenceNumber + frame);
    p[17] = 0;
    put32(p + 18, static_cast<std::uint32_t>(m_streamId >> 32));
    put32(p + 22, static_cast<std::uint32_t>(m_streamId));
    // The AVTP timestamp is the low 32 bits of the presentation time in nanoseconds.
    put32(p + 26, static_cast<std::uint32_t>(m_timestampBaseNs + offsetNs(frame, samplesPerFrame)));
    p[30] = formatFor(m_options.sampleBits);
    p[31] = static_cast<std::uint8_t>((kNominalRate48kHz << 4) | ((channels >> 8) & 0x03));
    p[32] = static_cast<std::uint8_t>(channels);
    p[33] = static_cast<std::uint8_t>(m_options.sampleBits);
    const auto stated = m_options.dataLengthAt.find(frame);
    put16(p + 34, stated != m_options.dataLengthAt.end() ? stated->second
                                                         : static_cast<std::uint32_t>(payloadLength));
    p[36] = 0;
    p[37] = 0;

    std::uint8_t* sample = p + kHeaderLength;
    const std::uint64_t first = frame * samplesPerFrame;
    for (unsigned s = 0; s < samplesPerFrame; ++s) {
        for (unsigned c = 0; c < channels; ++c) {
            putSample(sample, m_signals[c].sampleAt(first + s), sampleBytes);
            sample += sampleBytes;
        }
    }

    const auto truncated = m_options.truncateAt.find(frame);
    if (truncated != m_options.truncateAt.end() && truncated->second < out.bytes.size()) {
        out.bytes.resize(truncated->second);
    }
}

} // namespace avtptalker
