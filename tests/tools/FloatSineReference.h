#pragma once
// The sine a float sample of the talker carries, typed out from its definition in long double.
#include <algorithm>
#include <cmath>
#include <cstdint>

namespace toolstest {

// AMP * sin(2 pi * m / 48000) with m = FREQ * n modulo 48000, rounded once to float. The phase is folded into
// the first quarter of the cycle in whole numbers, so that the sine's zeros are exactly +0 and its peaks
// exactly AMP.
inline float referenceFloatSine(std::uint64_t hertz, long double amplitude, std::uint64_t n) {
    const long double pi = 3.141592653589793238462643383279502884L;
    const std::uint64_t m = hertz * n % 48000;
    const std::uint64_t half = m % 24000;
    const std::uint64_t folded = std::min(half, 24000 - half);
    const long double value = amplitude * std::sin(pi * static_cast<long double>(folded) / 24000.0L);
    return static_cast<float>(m >= 24000 && folded != 0 ? -value : value);
}

} // namespace toolstest
