#pragma once

#include "SignalGenerator.h"

#include "TalkerOptions.h"
#include "avb/AvtpFrame.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace avtptalker {

// One Ethernet frame ready to send.
struct OutgoingFrame {
    // The frame from the destination address on; its size is the length to send.
    std::vector<std::uint8_t> bytes;
    // Stream frame index whose content it carries.
    std::uint64_t frameIndex = 0;
    // True for a stray copy inserted by --insert-subtype or --insert-ethertype.
    bool stray = false;
    // Channel count written in the frame.
    unsigned channels = 0;
};

// Builds the frames of the talker's AAF stream, faults included.
//
// Frame layout (offsets from the first byte of the Ethernet header, multi-byte fields big-endian):
//  0 destination MAC, 6 source MAC, 12 EtherType 0x22f0,
//  14 subtype 0x02 (AAF), 15 sv=1 version=0 mr=0 gv=0 tv=1 (0x81), 16 sequence number,
//  17 tu=0 (0x00), 18 stream id (8), 26 AVTP presentation timestamp (4), 30 format 0x04 (INT_16BIT),
//  31 nominal sample rate 5 (48 kHz) in the high nibble and the two high bits of the channel count in
//  the low two bits, 32 channel count low 8 bits, 33 bit depth 16, 34 stream data length (2) =
//  channels * samples per frame * 2, 36 sp=0 (normal timestamping) evt=0 (0x00), 37 reserved 0,
//  38 samples, interleaved by channel: all channels of one instant, then the next instant.
// With --format int24 or int32 the format is 0x03 (INT_24BIT) or 0x02 (INT_32BIT), the bit depth 24 or 32,
// and each sample 3 or 4 bytes; with --format float32 the format is 0x01 (FLOAT_32BIT), the bit depth 32,
// and each sample a 4-byte IEEE 754 single. With --vlan a tag (its protocol identifier, 0x8100 unless
// --vlan-tpid says 0x88a8, then priority, DEI 0 and VLAN ID in two bytes) sits at 12, and everything above
// moves up by its 4 bytes; --outer-vlan puts a second tag, 0x88a8, at 12 in front of it, and everything
// moves up by 8 bytes.
//
// Slots are the deadlines of the pacing, one per stream frame index. Each slot sends its frame, except
// that a swap at K sends frame K + 1 in slot K and frame K in slot K + 1, and faults add or remove frames
// (see TalkerOptions). Not thread-safe; one instance belongs to the sending loop.
class AafStream {
public:
    // Largest number of frames one slot can produce: two stray copies, the frame and its repeat.
    static constexpr std::size_t maxFramesPerSlot = 4;
    // Length of the Ethernet and AAF headers in bytes, without a VLAN tag: where the samples start.
    static constexpr std::size_t headerBytes = avb::avtp::payloadOffset;

    // `signals` holds one generator per channel, at least `options.maximumChannels()` of them.
    // `sourceMac` is the resolved source address, `timestampBaseNs` the presentation time of frame 0 in
    // nanoseconds of the talker's time base.
    AafStream(const TalkerOptions& options, std::vector<SignalGenerator> signals, const MacAddress& sourceMac,
              std::uint64_t timestampBaseNs);

    // Fills `frames` with what slot `slot` sends, in order, and returns how many; the vectors' capacity
    // is reused so that a running stream does not allocate.
    std::size_t framesForSlot(std::uint64_t slot, std::vector<OutgoingFrame>& frames) const;

    // Channel count of stream frame `frame`.
    unsigned channelsOf(std::uint64_t frame) const;

    // Untruncated length in bytes of stream frame `frame`.
    std::size_t lengthOf(std::uint64_t frame) const;

    // Largest frame the stream can send, in bytes.
    std::size_t maximumLength() const;

    // Length of the Ethernet and AAF headers of every frame, the VLAN tags included: where the samples
    // start.
    std::size_t headerLength() const;

    // Length of the Ethernet header, the VLAN tags included.
    std::size_t ethernetHeaderLength() const;

    // Length of the part of every frame that may lie outside the interface's MTU: the Ethernet header, and
    // a tag when it is a single 0x8100 one. The kernel lets one such tag lie outside, as it does the
    // Ethernet header, but no other tag.
    std::size_t lengthOutsideMtu() const;

    // Time of stream frame `frame` after frame 0, in nanoseconds, rounded down: frame * S / 48000 seconds
    // for S samples per frame, computed from the index so that deadlines never accumulate rounding.
    static std::uint64_t offsetNs(std::uint64_t frame, unsigned samplesPerFrame);

private:
    bool isDropped(std::uint64_t frame) const;
    void build(std::uint64_t frame, OutgoingFrame& out) const;

    TalkerOptions options;
    std::vector<SignalGenerator> signals;
    MacAddress sourceMac;
    std::uint64_t streamId;
    std::uint64_t timestampBaseNs;
};

} // namespace avtptalker
