#pragma once

#include "CommandLineValues.h"

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace avtptalker {

using MacAddress = commandline::MacAddress;

// How every sample is written on the wire.
enum class SampleFormat { Int16, Int24, Int32, Float32 };

// Everything the command line of sonacore-avtp-talker says, checked for consistency.
//
// Frame indices (the K of the fault options) count stream frames from 0: frame K is the K-th frame the
// stream generates, carries sequence number (first sequence + K) modulo 256 and the samples of instants
// K * S to K * S + S - 1, whether it is then sent, dropped or altered. Faults therefore never shift the
// samples or sequence numbers of other frames.
class TalkerOptions {
public:
    // Interface to send on; required unless help was asked for.
    std::string interfaceName;
    // Source address; empty means the interface's own address.
    std::optional<MacAddress> sourceMac;
    // Destination address; by default a multicast address from the pool for AVTP streams.
    MacAddress destinationMac{{0x91, 0xe0, 0xf0, 0x00, 0x00, 0x01}};
    // Stream id; empty means the source address followed by unique id 0x0001.
    std::optional<std::uint64_t> streamId;
    // Channels per frame from the first frame on, 1 to 1023.
    unsigned channels = 2;
    // Samples per channel per frame, at least 1; 6 gives 8000 frames per second at 48 kHz.
    unsigned samplesPerFrame = 6;
    // Format of every sample on the wire (--format, or --sample-bits for the integer formats). INT_16BIT,
    // INT_24BIT and INT_32BIT are big-endian two's complement of 16, 24 or 32 bits: a wider sample carries
    // the 16-bit signal value (SignalGenerator::sampleAt) shifted up to fill its width, so full scale stays
    // full scale. FLOAT_32BIT is a big-endian IEEE 754 single of the signal's value as a fraction of full
    // scale (SignalGenerator::valueAt).
    SampleFormat sampleFormat = SampleFormat::Int16;
    // VLAN ID, 0 to 4094, of a tag between the source address and the EtherType; empty for untagged frames.
    std::optional<unsigned> vlanId;
    // Priority code point of that tag, 0 to 7; 3 is the usual priority of class A streams.
    unsigned vlanPriority = 3;
    // Tag protocol identifier of that tag: 0x8100 (IEEE 802.1Q) or 0x88a8 (IEEE 802.1ad).
    std::uint16_t vlanTpid = 0x8100;
    // VLAN ID, 0 to 4094, of an outer 0x88a8 tag in front of that tag, as a provider's network stacks
    // them; empty for none. Only with a VLAN ID above.
    std::optional<unsigned> outerVlanId;
    // Priority code point of the outer tag, 0 to 7.
    unsigned outerVlanPriority = 3;
    // Signal text for every channel without its own; empty means SignalGenerator::defaultFor.
    std::string signal;
    // Signal text per channel, keyed by channel number from 0.
    std::map<unsigned, std::string> channelSignals;
    // Number of stream frames to generate (from --count, or --duration times the frame rate); empty means
    // until SIGINT or SIGTERM.
    std::optional<std::uint64_t> frameCount;
    // Send as fast as possible instead of pacing at the frame rate.
    bool fast = false;
    // Sequence number of frame 0.
    std::uint8_t firstSequenceNumber = 0;
    // SCHED_FIFO priority, 1 to 99; 0 keeps the normal scheduler.
    int priority = 0;
    // File that receives one text line per frame sent; empty for none.
    std::string dumpPath;

    // Drop frames K with (K + 1) a multiple of this; 0 for none.
    std::uint64_t dropEvery = 0;
    std::set<std::uint64_t> dropAt;
    // Frames sent twice in a row, byte-identical.
    std::set<std::uint64_t> repeatAt;
    // Frames K sent after frame K + 1.
    std::set<std::uint64_t> swapAt;
    // Channel count from frame K on, 0 to 1023.
    std::map<std::uint64_t, unsigned> channelsAt;
    // Frame K sent cut to this many bytes (Ethernet header included, at least 14).
    std::map<std::uint64_t, unsigned> truncateAt;
    // Frame K stating this stream data length, whatever its payload.
    std::map<std::uint64_t, unsigned> dataLengthAt;
    // A stray copy of frame K with this subtype byte, sent just before it.
    std::map<std::uint64_t, unsigned> insertSubtype;
    // A stray copy of frame K with this EtherType, sent just before it.
    std::map<std::uint64_t, unsigned> insertEtherType;

    // Print usage and exit 0.
    bool help = false;

    // Parses the arguments after the program name. Returns false and sets `error` to one sentence for an
    // unknown option, a missing or malformed value, or options that contradict each other.
    static bool parse(const std::vector<std::string>& arguments, TalkerOptions& out, std::string& error);

    // The --help text.
    static std::string usage();

    // Highest channel count any frame of the stream can have.
    unsigned maximumChannels() const;

    // Bits of one sample on the wire: 16, 24 or 32; 32 for FLOAT_32BIT.
    unsigned sampleBits() const;

    // Bytes of one sample on the wire: sampleBits() / 8.
    unsigned sampleBytes() const { return sampleBits() / 8; }

    // Bytes of the VLAN tags in front of the EtherType: 0, 4 or 8.
    unsigned tagBytes() const { return (vlanId ? 4 : 0) + (outerVlanId ? 4 : 0); }
};

} // namespace avtptalker
