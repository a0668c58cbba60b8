#pragma once

#include <cstddef>
#include <cstdint>

namespace avb {

// Turns one big-endian two's-complement 16-bit sample of a frame into a float in [-1, 1): the divisor is
// 32768 for both signs, so -32768 gives -1.0 and 32767 gives 0.999969482421875. A plain value; any thread.
class AvbToFloatSampleConverter {
public:
    // Logs its creation.
    AvbToFloatSampleConverter();

    // Reads exactly sampleByteSize bytes at `bytes`. Any other count reads nothing, logs a warning and
    // yields 0.0, so a device configured with another sample size produces silence.
    float convertFromBigEndian(const std::uint8_t* bytes, std::size_t count) const;

    std::uint64_t getSampleByteSize() const { return sampleByteSize; }
    float getSampleScale() const { return sampleScale; }

private:
    std::uint64_t sampleByteSize;
    // 2^-15; exact in binary, so the conversion is exact for every 16-bit value.
    float sampleScale;
};

} // namespace avb
