#include "AafStream.h"

#include "avb/AvtpFrame.h"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace avtptalker {

namespace {

using namespace avb::avtp;

// Receivers present samples this long after the talker's clock; 2 ms is the usual class A latency.
constexpr std::uint64_t presentationOffsetNs = 2'000'000;
constexpr std::uint64_t nsPerSecond = 1'000'000'000;
constexpr std::uint64_t sampleRate = 48'000;

void put16(std::uint8_t* p, std::uint32_t value) {
    p[0] = static_cast<std::uint8_t>(value >> 8);
    p[1] = static_cast<std::uint8_t>(value);
}

void put32(std::uint8_t* p, std::uint32_t value) {
    put16(p, value >> 16);
    put16(p + 2, value & 0xffff);
}

// The format code of 32-bit floating-point samples, and the tag protocol identifier of the outer tag of a
// stacked pair; the library's frame layout names neither, since it writes no frames.
constexpr std::uint8_t talkerFormatFloat32 = 0x01;
constexpr std::uint16_t talkerOuterTagTpid = 0x88a8;

std::uint8_t formatFor(SampleFormat format) {
    switch (format) {
    case SampleFormat::Int16:
        return formatInt16;
    case SampleFormat::Int24:
        return formatInt24;
    case SampleFormat::Int32:
        return formatInt32;
    case SampleFormat::Float32:
        break;
    }
    return talkerFormatFloat32;
}

// Writes the 16-bit signal value as a big-endian sample of `bytes` bytes, shifted up to fill them.
void putSample(std::uint8_t* p, std::int16_t value, unsigned bytes) {
    const auto widened = static_cast<std::uint32_t>(static_cast<std::int32_t>(value) * 65536);
    for (unsigned i = 0; i < bytes; ++i) {
        p[i] = static_cast<std::uint8_t>(widened >> (24 - 8 * i));
    }
}

// Writes the value as a big-endian IEEE 754 single, its bits as they are: NaN and the infinities included.
void putFloat(std::uint8_t* p, double value) {
    const float single = static_cast<float>(value);
    std::uint32_t bits = 0;
    std::memcpy(&bits, &single, sizeof bits);
    put32(p, bits);
}

// Writes one VLAN tag: its protocol identifier, then priority, DEI 0 and VLAN ID.
void putTag(std::uint8_t* p, std::uint16_t tpid, unsigned priority, unsigned vlanId) {
    put16(p, tpid);
    put16(p + 2, (priority << 13) | vlanId);
}

} // namespace

AafStream::AafStream(const TalkerOptions& options, std::vector<SignalGenerator> signals,
                     const MacAddress& sourceMac, std::uint64_t timestampBaseNs)
    : options(options), signals(std::move(signals)), sourceMac(sourceMac),
      timestampBaseNs(timestampBaseNs + presentationOffsetNs) {
    if (options.streamId) {
        streamId = *options.streamId;
    } else {
        streamId = 0x0001;
        for (std::size_t i = 0; i < 6; ++i) {
            streamId |= static_cast<std::uint64_t>(sourceMac[i]) << (56 - 8 * i);
        }
    }
}

std::uint64_t AafStream::offsetNs(std::uint64_t frame, unsigned samplesPerFrame) {
    // Whole seconds and the remainder are scaled apart so that the product never overflows, even for
    // streams that run for years.
    const std::uint64_t samples = frame * samplesPerFrame;
    return samples / sampleRate * nsPerSecond + samples % sampleRate * nsPerSecond / sampleRate;
}

unsigned AafStream::channelsOf(std::uint64_t frame) const {
    auto change = options.channelsAt.upper_bound(frame);
    if (change == options.channelsAt.begin()) {
        return options.channels;
    }
    return std::prev(change)->second;
}

std::size_t AafStream::lengthOf(std::uint64_t frame) const {
    return headerLength() + std::size_t{options.sampleBytes()} * channelsOf(frame) * options.samplesPerFrame;
}

std::size_t AafStream::maximumLength() const {
    return headerLength() +
           std::size_t{options.sampleBytes()} * options.maximumChannels() * options.samplesPerFrame;
}

std::size_t AafStream::headerLength() const {
    return headerBytes + options.tagBytes();
}

std::size_t AafStream::ethernetHeaderLength() const {
    return ethernetHeaderSize + options.tagBytes();
}

std::size_t AafStream::lengthOutsideMtu() const {
    const bool singleCustomerTag =
        options.vlanId && !options.outerVlanId && options.vlanTpid == vlanEtherType;
    return ethernetHeaderSize + (singleCustomerTag ? vlanTagSize : 0);
}

bool AafStream::isDropped(std::uint64_t frame) const {
    return (options.dropEvery != 0 && (frame + 1) % options.dropEvery == 0) ||
           options.dropAt.count(frame) != 0;
}

std::size_t AafStream::framesForSlot(std::uint64_t slot, std::vector<OutgoingFrame>& frames) const {
    if (frames.size() < maxFramesPerSlot) {
        frames.resize(maxFramesPerSlot);
    }
    std::uint64_t frame = slot;
    if (options.swapAt.count(slot) != 0) {
        frame = slot + 1;
    } else if (slot > 0 && options.swapAt.count(slot - 1) != 0) {
        frame = slot - 1;
    }

    std::size_t count = 0;
    const auto stray = options.insertSubtype.find(frame);
    if (stray != options.insertSubtype.end()) {
        OutgoingFrame& out = frames[count++];
        build(frame, out);
        out.bytes[ethernetHeaderLength()] = static_cast<std::uint8_t>(stray->second);
        out.stray = true;
    }
    const auto strayType = options.insertEtherType.find(frame);
    if (strayType != options.insertEtherType.end()) {
        OutgoingFrame& out = frames[count++];
        build(frame, out);
        // In a tagged frame this is the EtherType behind the tag, the one that says AVTP.
        put16(&out.bytes[ethernetHeaderLength() - 2], strayType->second);
        out.stray = true;
    }
    if (!isDropped(frame)) {
        build(frame, frames[count++]);
        if (options.repeatAt.count(frame) != 0) {
            frames[count] = frames[count - 1];
            ++count;
        }
    }
    return count;
}

void AafStream::build(std::uint64_t frame, OutgoingFrame& out) const {
    const unsigned channels = channelsOf(frame);
    const unsigned samplesPerFrame = options.samplesPerFrame;
    const unsigned sampleBytes = options.sampleBytes();
    const std::size_t payloadLength = std::size_t{sampleBytes} * channels * samplesPerFrame;
    out.bytes.resize(headerLength() + payloadLength);
    out.frameIndex = frame;
    out.stray = false;
    out.channels = channels;
    std::uint8_t* p = out.bytes.data();

    std::copy(options.destinationMac.begin(), options.destinationMac.end(), p + destinationMacOffset);
    std::copy(sourceMac.begin(), sourceMac.end(), p + sourceMacOffset);
    // Each tag moves what follows up by its size: past the tags, the offsets are those of an untagged frame.
    if (options.outerVlanId) {
        putTag(p + etherTypeOffset, talkerOuterTagTpid, options.outerVlanPriority, *options.outerVlanId);
        p += vlanTagSize;
    }
    if (options.vlanId) {
        putTag(p + etherTypeOffset, options.vlanTpid, options.vlanPriority, *options.vlanId);
        p += vlanTagSize;
    }
    put16(p + etherTypeOffset, avtpEtherType);
    p[subtypeOffset] = aafSubtype;
    p[validityOffset] = streamAndTimestampValid;
    p[sequenceNumberOffset] = static_cast<std::uint8_t>(options.firstSequenceNumber + frame);
    p[timestampUncertainOffset] = 0;
    put32(p + streamIdOffset, static_cast<std::uint32_t>(streamId >> 32));
    put32(p + streamIdOffset + 4, static_cast<std::uint32_t>(streamId));
    // The AVTP timestamp is the low 32 bits of the presentation time in nanoseconds.
    put32(p + timestampOffset,
          static_cast<std::uint32_t>(timestampBaseNs + offsetNs(frame, samplesPerFrame)));
    p[formatOffset] = formatFor(options.sampleFormat);
    p[nominalRateOffset] = static_cast<std::uint8_t>((nominalRate48kHz << 4) | ((channels >> 8) & 0x03));
    p[channelsPerFrameOffset] = static_cast<std::uint8_t>(channels);
    p[bitDepthOffset] = static_cast<std::uint8_t>(options.sampleBits());
    const auto stated = options.dataLengthAt.find(frame);
    put16(p + streamDataLengthOffset,
          stated != options.dataLengthAt.end() ? stated->second : static_cast<std::uint32_t>(payloadLength));
    p[eventOffset] = 0;
    p[reservedOffset] = 0;

    std::uint8_t* sample = p + payloadOffset;
    const std::uint64_t first = frame * samplesPerFrame;
    const bool floats = options.sampleFormat == SampleFormat::Float32;
    for (unsigned s = 0; s < samplesPerFrame; ++s) {
        for (unsigned c = 0; c < channels; ++c) {
            if (floats) {
                putFloat(sample, signals[c].valueAt(first + s));
            } else {
                putSample(sample, signals[c].sampleAt(first + s), sampleBytes);
            }
            sample += sampleBytes;
        }
    }

    const auto truncated = options.truncateAt.find(frame);
    if (truncated != options.truncateAt.end() && truncated->second < out.bytes.size()) {
        out.bytes.resize(truncated->second);
    }
}

} // namespace avtptalker
