#include "StreamDiscovery.h"

#include "avb/AvtpFrame.h"

#include <cinttypes>
#include <cstdio>

namespace host {
namespace {

using avb::avtp::formatAes3;
using avb::avtp::formatFloat32;
using avb::avtp::formatInt16;
using avb::avtp::formatInt24;
using avb::avtp::formatInt32;
using avb::avtp::formatUserSpecified;

// The stream data length is the last field read: a frame must hold it whole.
constexpr std::uint32_t headerLength = avb::avtp::streamDataLengthOffset + 2;
constexpr std::uint16_t vlanIdMask = 0x0fff;

// The rate codes in order from 0; 0 stands for "user specified" and reserved codes lie beyond the table.
constexpr unsigned ratesHz[] = {0, 8000, 16000, 32000, 44100, 48000, 88200, 96000, 176400, 192000, 24000};
constexpr std::uint8_t rateCodeCount = sizeof ratesHz / sizeof ratesHz[0];

// The library reads 8 bits of the channel count, and assumes this rate.
constexpr unsigned largestReadChannelCount = 255;
constexpr unsigned assumedRateHz = 48000;

std::string hexText(const std::uint8_t* bytes, std::uint32_t count) {
    static constexpr char digits[] = "0123456789abcdef";
    std::string text;
    text.reserve(2 * count);
    for (std::uint32_t index = 0; index < count; ++index) {
        text += digits[bytes[index] >> 4];
        text += digits[bytes[index] & 0x0f];
    }
    return text;
}

std::uint64_t bigEndian64(const std::uint8_t* bytes) {
    std::uint64_t value = 0;
    for (std::uint32_t index = 0; index < 8; ++index) {
        value = (value << 8) | bytes[index];
    }
    return value;
}

// Why the library cannot analyse the stream, apart from sharing its address: each phrase says what the
// library does with such frames. Tagged frames are not among them: the set-up asks for them whenever
// discovery heard a tag.
std::vector<std::string> reasonsFor(const DiscoveredStream& stream) {
    const AafFrameHeader& header = stream.header;
    std::vector<std::string> reasons;
    if (header.channels == 0) {
        reasons.push_back("0 channels: audio refused");
    } else if (header.channels > largestReadChannelCount) {
        reasons.push_back("more than 255 channels: audio refused");
    }
    if (!StreamFormat::sampleFormatOf(header.format)) {
        switch (header.format) {
        case formatAes3:
            reasons.push_back("AES3 samples: not analysed");
            break;
        case formatUserSpecified:
            reasons.push_back("user-specified sample format: not analysed");
            break;
        default:
            reasons.push_back("unknown sample format " + std::to_string(header.format) + ": not analysed");
            break;
        }
    }
    if (stream.sampleBytes() && header.channels > 0) {
        if (header.streamDataLength == 0) {
            reasons.push_back("no samples in a frame: no audio");
        } else if (!stream.samplesPerFrame()) {
            reasons.push_back("stream data length " + std::to_string(header.streamDataLength) +
                              " is not whole sample instants: audio refused");
        }
    }
    const std::optional<unsigned> rate = stream.nominalRateHz();
    if (rate) {
        if (*rate != assumedRateHz) {
            reasons.push_back(StreamDiscovery::kilohertz(*rate) + ": analysed as 48 kHz");
        }
    } else if (header.rateCode == 0) {
        reasons.push_back("user-specified rate: analysed as 48 kHz");
    } else {
        reasons.push_back("unknown rate code " + std::to_string(header.rateCode) + ": analysed as 48 kHz");
    }
    return reasons;
}

// The length of the tags in front of the EtherType, which moves every field of an untagged frame but the
// addresses up: one 802.1Q or 802.1ad tag, or an 802.1ad tag stacked on an 802.1Q one, as the library passes
// over them; 0 for an untagged frame. `vlanId` receives the VLAN ID of the tag nearest the EtherType, the one
// the talker's own network gave the stream. A frame too short for its tags reads as untagged here, and is
// then refused for its EtherType or its length.
std::uint32_t tagsLength(const avb::AvtpFrameReader& frame, std::optional<std::uint16_t>& vlanId) {
    using namespace avb::avtp;
    const std::uint16_t outer = frame.bigEndian16At(etherTypeOffset);
    if ((outer != vlanEtherType && outer != serviceVlanEtherType) || !frame.holds(etherTypeOffset + 2, 2)) {
        return 0;
    }
    std::uint32_t length = vlanTagSize;
    vlanId = static_cast<std::uint16_t>(frame.bigEndian16At(etherTypeOffset + 2) & vlanIdMask);
    if (outer == serviceVlanEtherType && frame.bigEndian16At(etherTypeOffset + length) == vlanEtherType &&
        frame.holds(etherTypeOffset + length + 2, 2)) {
        vlanId = static_cast<std::uint16_t>(frame.bigEndian16At(etherTypeOffset + length + 2) & vlanIdMask);
        length += vlanTagSize;
    }
    return length;
}

std::string orDash(const std::optional<unsigned>& value) {
    return value ? std::to_string(*value) : "-";
}

} // namespace

std::optional<AafFrameHeader> parseAafFrameHeader(const std::uint8_t* frame, std::uint32_t capturedLength) {
    using namespace avb::avtp;
    const avb::AvtpFrameReader whole(frame, capturedLength);
    if (!whole.holds(etherTypeOffset, 2)) {
        return std::nullopt;
    }
    std::optional<std::uint16_t> vlanId;
    const std::uint32_t shift = tagsLength(whole, vlanId);
    if (!whole.holds(shift, headerLength)) {
        return std::nullopt;
    }
    const avb::AvtpFrameReader untagged(frame + shift, capturedLength - shift);
    if (untagged.bigEndian16At(etherTypeOffset) != avtpEtherType ||
        untagged.byteAt(subtypeOffset) != aafSubtype) {
        return std::nullopt;
    }

    AafFrameHeader header;
    header.deviceKey = hexText(whole.bytesAt(sourceMacOffset, macSize), macSize);
    header.streamId = bigEndian64(untagged.bytesAt(streamIdOffset, streamIdSize));
    header.vlanId = vlanId;
    header.format = untagged.byteAt(formatOffset);
    const std::uint8_t rateAndChannelsHigh = untagged.byteAt(nominalRateOffset);
    header.rateCode = static_cast<std::uint8_t>(rateAndChannelsHigh >> 4);
    header.channels = static_cast<std::uint16_t>(((rateAndChannelsHigh & 0x03) << 8) |
                                                 untagged.byteAt(channelsPerFrameOffset));
    header.bitDepth = untagged.byteAt(bitDepthOffset);
    header.streamDataLength = untagged.bigEndian16At(streamDataLengthOffset);
    return header;
}

std::optional<unsigned> DiscoveredStream::sampleBytes() const {
    switch (header.format) {
    case formatFloat32:
    case formatInt32:
    case formatAes3:
        return 4;
    case formatInt24:
        return 3;
    case formatInt16:
        return 2;
    default:
        return std::nullopt;
    }
}

std::optional<unsigned> DiscoveredStream::samplesPerFrame() const {
    const std::optional<unsigned> bytes = sampleBytes();
    if (!bytes || header.channels == 0) {
        return std::nullopt;
    }
    const unsigned instantBytes = *bytes * header.channels;
    if (header.streamDataLength % instantBytes != 0) {
        return std::nullopt;
    }
    return header.streamDataLength / instantBytes;
}

std::optional<unsigned> DiscoveredStream::nominalRateHz() const {
    if (header.rateCode == 0 || header.rateCode >= rateCodeCount) {
        return std::nullopt;
    }
    return ratesHz[header.rateCode];
}

std::optional<StreamFormat> DiscoveredStream::streamFormat() const {
    const std::optional<sonacore::SampleFormat> sampleFormat = StreamFormat::sampleFormatOf(header.format);
    const std::optional<unsigned> samples = samplesPerFrame();
    if (!sampleFormat || header.channels > largestReadChannelCount || !samples || *samples == 0) {
        return std::nullopt;
    }
    StreamFormat format;
    format.sampleFormat = *sampleFormat;
    format.sampleSize = *sampleBytes();
    format.channels = header.channels;
    format.samplesPerFrame = *samples;
    format.vlanId = header.vlanId;
    format.rateHz = nominalRateHz();
    return format;
}

double DiscoveredStream::framesPerSecond() const {
    const double span = latestArrival - firstArrival;
    if (frames < 2 || !(span > 0.0)) {
        return 0.0;
    }
    return static_cast<double>(frames - 1) / span;
}

void StreamDiscovery::addFrame(const std::uint8_t* frame, std::uint32_t capturedLength,
                               double arrivalSeconds) {
    const std::optional<AafFrameHeader> header = parseAafFrameHeader(frame, capturedLength);
    if (!header) {
        ++ignoredFrames;
        return;
    }
    const auto key = std::make_pair(header->deviceKey, header->streamId);
    const auto found = index.find(key);
    if (found == index.end()) {
        DiscoveredStream stream;
        stream.header = *header;
        stream.frames = 1;
        stream.firstArrival = arrivalSeconds;
        stream.latestArrival = arrivalSeconds;
        index.emplace(key, heard.size());
        heard.push_back(std::move(stream));
        return;
    }
    DiscoveredStream& stream = heard[found->second];
    ++stream.frames;
    stream.latestArrival = arrivalSeconds;
}

std::vector<DiscoveredStream> StreamDiscovery::streams() const {
    std::map<std::string, unsigned> streamsPerAddress;
    for (const DiscoveredStream& stream : heard) {
        ++streamsPerAddress[stream.header.deviceKey];
    }
    std::vector<DiscoveredStream> result = heard;
    for (DiscoveredStream& stream : result) {
        stream.reasons = reasonsFor(stream);
        // The library tells streams apart by source address alone: the frames of both reach one device,
        // whose sequence check then refuses most of them.
        const unsigned sharing = streamsPerAddress[stream.header.deviceKey];
        if (sharing > 1) {
            stream.reasons.push_back("source address shared by " + std::to_string(sharing) +
                                     " streams: frames dropped as out of sequence");
        }
    }
    return result;
}

bool StreamDiscovery::hasHeard(const std::string& deviceKey) const {
    // The index orders by device key first, so the device's first stream is the first entry not below it.
    const auto found = index.lower_bound(std::make_pair(deviceKey, std::uint64_t{0}));
    return found != index.end() && found->first.first == deviceKey;
}

std::optional<DiscoveredStream>
StreamDiscovery::firstAnalysable(const std::vector<DiscoveredStream>& streams) {
    for (const DiscoveredStream& stream : streams) {
        if (stream.isAnalysable()) {
            return stream;
        }
    }
    return std::nullopt;
}

std::string StreamDiscovery::formatTable(const std::vector<DiscoveredStream>& streams) {
    // The analysis goes last, unpadded, since its length has no bound.
    static constexpr const char* columns = "%-12s  %-16s  %8s  %4s  %7s  %13s  %8s  %4s  ";
    char line[256];
    std::snprintf(line, sizeof line, columns, "device", "stream id", "channels", "bits", "rate/Hz",
                  "samples/frame", "frames/s", "VLAN");
    std::string table = std::string(line) + "analysis\n";
    for (const DiscoveredStream& stream : streams) {
        const AafFrameHeader& header = stream.header;
        char rate[32] = "-";
        if (stream.framesPerSecond() > 0.0) {
            std::snprintf(rate, sizeof rate, "%.1f", stream.framesPerSecond());
        }
        const std::string vlan = header.vlanId ? std::to_string(*header.vlanId) : "-";
        std::snprintf(line, sizeof line, columns, header.deviceKey.c_str(),
                      streamIdText(header.streamId).c_str(), std::to_string(header.channels).c_str(),
                      std::to_string(header.bitDepth).c_str(), orDash(stream.nominalRateHz()).c_str(),
                      orDash(stream.samplesPerFrame()).c_str(), rate, vlan.c_str());
        std::string analysis = stream.isAnalysable() ? "ok" : "";
        for (const std::string& reason : stream.reasons) {
            analysis += (analysis.empty() ? "" : "; ") + reason;
        }
        table += line + analysis + "\n";
    }
    return table;
}

std::string StreamDiscovery::kilohertz(unsigned hertz) {
    std::string text = std::to_string(hertz / 1000);
    if (hertz % 1000 != 0) {
        std::string fraction = std::to_string(hertz % 1000);
        fraction.insert(0, 3 - fraction.size(), '0');
        while (fraction.back() == '0') {
            fraction.pop_back();
        }
        text += "." + fraction;
    }
    return text + " kHz";
}

std::string StreamDiscovery::streamIdText(std::uint64_t streamId) {
    char text[17];
    std::snprintf(text, sizeof text, "%016" PRIx64, streamId);
    return text;
}

std::string StreamDiscovery::summary(const DiscoveredStream& stream) {
    const std::optional<unsigned> rate = stream.nominalRateHz();
    return stream.header.deviceKey + " (stream " + streamIdText(stream.header.streamId) + ", " +
           std::to_string(stream.header.channels) + " channels, " +
           (rate ? kilohertz(*rate) : "rate not stated") + ")";
}

} // namespace host
