#pragma once

#include "sonacore/SampleFormat.h"

#include <cstdint>
#include <optional>
#include <string>

namespace host {

// How a stream's frames carry its audio: what discovery reads in the stream's first frame, and what the
// set-up makes the library's device and stream configurations of (see StreamSetup.h). Without a frame heard,
// the command line's values or the defaults: 16-bit samples, 2 channels of 6 samples, no tag.
struct StreamFormat {
    sonacore::SampleFormat sampleFormat = sonacore::SampleFormat::Int16;
    // Bytes of one sample: what the sample format says (2, 3 or 4), or for SampleFormat::Unspecified the
    // size the command line gave, by which alone the library then reads the samples.
    std::uint64_t sampleSize = 2;
    // Audio channels in each frame, 1 to 255.
    std::uint64_t channels = 2;
    // Samples of one channel in each frame.
    std::uint64_t samplesPerFrame = 6;
    // The VLAN ID, 0 to 4095, of the tag the frames carry; empty for untagged frames.
    std::optional<std::uint16_t> vlanId;
    // The nominal sample rate in Hz that the frames state; empty when they state none. The library analyses
    // every stream as one of 48 kHz.
    std::optional<unsigned> rateHz;

    // The sample format of an AAF format code: 1 Float32, 2 Int32 (also for 24 significant bits in a 32-bit
    // container, which sit in the top bits), 3 Int24, 4 Int16; empty for the codes the library cannot
    // read: 0 user specified, 5 AES3 and the reserved ones.
    static std::optional<sonacore::SampleFormat> sampleFormatOf(std::uint8_t formatCode);

    // The samples in a few words: "32-bit integer samples", "32-bit float samples", or for
    // SampleFormat::Unspecified "3-byte samples".
    std::string samplesText() const;

    // The samples in one word, for a title: "int16", "int24", "int32", "float32", or
    // for SampleFormat::Unspecified "3-byte".
    std::string shortName() const;

    // The form of the frames in a few words: "8 channels of 32-bit integer samples, 12 samples per frame,
    // VLAN 2", or "..., untagged".
    std::string describe() const;
};

} // namespace host
