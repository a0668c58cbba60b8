#pragma once

namespace sonacore {

// How one sample of a streaming device's frames is written, as the AAF format field states it. Every
// format is big-endian, and every one is delivered to the analysers as a float in [-1, 1):
// - Int16: two's complement, 2 bytes, the value / 32768.
// - Int24: two's complement, 3 bytes, the value / 8388608.
// - Int32: two's complement, 4 bytes, the value / 2147483648. A talker that states 24 significant bits in a
//   32-bit container puts them in the top 24 bits, so the same division serves both bit depths.
// - Float32: IEEE-754 single precision, 4 bytes, delivered as sent. NaN and the infinities are delivered as
//   0.0, counted, and reported in a "WARNING" status message at most once a second per device.
// - Unspecified: no format was stated by the host: a device configuration made with a sample size in bytes
//   rather than a format, with any size but 2 (which is Int16).
enum class SampleFormat { Unspecified, Int16, Int24, Int32, Float32 };

} // namespace sonacore
