#pragma once

#include "StreamFormat.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace host {

// What the headers of one AAF frame say about its stream.
struct AafFrameHeader {
    // The source MAC address as the library keys a streaming device: 12 lower-case hexadecimal characters.
    std::string deviceKey;
    std::uint64_t streamId = 0;
    // The VLAN ID, 0 to 4095, of the tag nearest the EtherType: an IEEE 802.1Q or 802.1ad tag alone, or the
    // 802.1Q tag under a stacked 802.1ad one. Empty for an untagged frame.
    std::optional<std::uint16_t> vlanId;
    // The AAF format code: 0 user specified, 1 32-bit float, 2 32-bit integer, 3 24-bit integer, 4 16-bit
    // integer, 5 32-bit AES3; the others are reserved.
    std::uint8_t format = 0;
    // The nominal sample rate code, 0 to 15: 0 user specified, 1 8 kHz, 2 16 kHz, 3 32 kHz, 4 44.1 kHz,
    // 5 48 kHz, 6 88.2 kHz, 7 96 kHz, 8 176.4 kHz, 9 192 kHz, 10 24 kHz; the others are reserved.
    std::uint8_t rateCode = 0;
    // Channels per frame, all 10 bits of the field, 0 to 1023.
    std::uint16_t channels = 0;
    // Valid bits of each sample, as the sender states them.
    std::uint8_t bitDepth = 0;
    // Bytes of samples in the frame, as the sender states them.
    std::uint16_t streamDataLength = 0;
};

// Reads the headers of one captured frame, from the first byte of its Ethernet header. Empty for a frame
// that is not AAF: an EtherType other than 0x22f0 (directly, behind one 802.1Q (0x8100) or 802.1ad (0x88a8)
// tag, or behind an 802.1ad tag stacked on an 802.1Q one, as the library receives them) or an AVTP subtype
// other than 2; and empty when the captured bytes end before the stream data length field does (36 bytes,
// 40 with one tag, 44 with two), so that a frame cut short by the capture's snapshot length or on the wire
// is never read past `capturedLength`. `frame` may be null, and is then read as empty.
std::optional<AafFrameHeader> parseAafFrameHeader(const std::uint8_t* frame, std::uint32_t capturedLength);

// One stream heard on the adapter: a source address and stream ID, described by the first frame heard.
struct DiscoveredStream {
    AafFrameHeader header;
    // Frames heard, and the arrival times of the first and the latest, in seconds on the capture's clock.
    std::uint64_t frames = 0;
    double firstArrival = 0.0;
    double latestArrival = 0.0;
    // Why the library cannot analyse the stream, each a short phrase of what it would do with it; empty when
    // it can. Filled by StreamDiscovery::streams.
    std::vector<std::string> reasons;

    // Bytes of one sample for the format; empty for a user-specified or reserved format.
    std::optional<unsigned> sampleBytes() const;
    // Sample instants per frame: the stated data length over channels times sample bytes. Empty when the
    // sample size is unknown, there is no channel, or the length is not a whole number of instants.
    std::optional<unsigned> samplesPerFrame() const;
    // The nominal sample rate in Hz; empty for a user-specified or reserved rate code.
    std::optional<unsigned> nominalRateHz() const;
    // What the set-up makes the library's configurations of: the sample format of the format code, the
    // channels, the samples per frame, the VLAN ID and the rate. Empty when no set-up can take the frames:
    // a format the library cannot read (user specified, AES3, reserved), no channel or more than the 255
    // the library reads, or no whole number of samples per frame. A stream that shares its address or
    // states another rate than 48 kHz still has one; its reasons say what the library makes of it.
    std::optional<StreamFormat> streamFormat() const;
    // Frames per second from the first frame heard to the latest; 0 with fewer than two frames or no time
    // between them.
    double framesPerSecond() const;
    bool isAnalysable() const { return reasons.empty(); }
};

// Collects the AAF streams of captured frames. Not thread-safe: one capture feeds it, then the caller reads
// it. Memory grows with the number of distinct streams only.
class StreamDiscovery {
public:
    // Takes one captured frame, its captured length (never more than the bytes at `frame`) and its arrival
    // time in seconds. A frame that is not AAF, or too short to say which stream it belongs to, is counted
    // in `ignoredFrames` and otherwise left alone.
    void addFrame(const std::uint8_t* frame, std::uint32_t capturedLength, double arrivalSeconds);

    // Every stream heard, in the order of its first frame, each with its reasons.
    std::vector<DiscoveredStream> streams() const;
    std::uint64_t getIgnoredFrames() const { return ignoredFrames; }
    // True once a frame from this device key (12 lower-case hexadecimal characters) has arrived.
    bool hasHeard(const std::string& deviceKey) const;

    // The first stream in `streams` the library can analyse; empty when there is none.
    static std::optional<DiscoveredStream> firstAnalysable(const std::vector<DiscoveredStream>& streams);

    // The streams as a table, a heading and then one line per stream: device key, stream ID, channels, bit
    // depth, nominal rate in Hz, samples per frame, frames per second, VLAN ID, and "ok" or the reasons
    // joined by "; ". An unknown value reads "-".
    static std::string formatTable(const std::vector<DiscoveredStream>& streams);

    // A rate in kHz as people write it: "48 kHz", "44.1 kHz".
    static std::string kilohertz(unsigned hertz);
    // A stream ID as 16 lower-case hexadecimal digits.
    static std::string streamIdText(std::uint64_t streamId);
    // The stream in a few words: "00a0c9112233 (stream 00a0c91122330001, 8 channels, 48 kHz)"; a rate that
    // is not stated reads "rate not stated".
    static std::string summary(const DiscoveredStream& stream);

private:
    std::vector<DiscoveredStream> heard;
    // Index into `heard` by device key and stream ID.
    std::map<std::pair<std::string, std::uint64_t>, std::size_t> index;
    std::uint64_t ignoredFrames = 0;
};

} // namespace host
