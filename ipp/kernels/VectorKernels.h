#pragma once

// Element-wise kernels, compiled into each processor variant; the compiler vectorises the loops for the
// variant's instruction set. The argument checks are the callers'.

#include <immintrin.h>

#include <complex>
#include <cstddef>
#include <cstdint>

namespace sonacore::ipp::kernels {
namespace {

// Above this many bytes a filled array no longer fits the caches, so the AVX variants write around them.
constexpr std::size_t streamingStoreBytes = 2097152;

inline void setFloats(float value, float* destination, int length) {
#if defined(__AVX__)
    if (std::size_t{4} * static_cast<std::size_t>(length) > streamingStoreBytes) {
        int i = 0;
        while (i < length && (reinterpret_cast<std::uintptr_t>(destination + i) & 31u) != 0) {
            destination[i++] = value;
        }
        const __m256 v = _mm256_set1_ps(value);
        for (; i + 8 <= length; i += 8) {
            _mm256_stream_ps(destination + i, v);
        }
        _mm_sfence();
        for (; i < length; ++i) {
            destination[i] = value;
        }
        return;
    }
#endif
    for (int i = 0; i < length; ++i) {
        destination[i] = value;
    }
}

inline void multiplyInPlace(const float* __restrict source, float* __restrict sourceDestination, int length) {
    for (int i = 0; i < length; ++i) {
        sourceDestination[i] *= source[i];
    }
}

inline void square(const double* source, double* destination, int length) {
    for (int i = 0; i < length; ++i) {
        destination[i] = source[i] * source[i];
    }
}

inline void powerSpectrum(const float* __restrict complexSource, float* __restrict destination, int length) {
    for (int i = 0; i < length; ++i) {
        const float re = complexSource[2 * i];
        const float im = complexSource[2 * i + 1];
        destination[i] = re * re + im * im;
    }
}

inline void magnitude(const float* __restrict complexSource, float* __restrict destination, int length) {
    for (int i = 0; i < length; ++i) {
        const float re = complexSource[2 * i];
        const float im = complexSource[2 * i + 1];
        destination[i] = __builtin_sqrtf(re * re + im * im);
    }
}

// Mirrors the lower half of a spectrum of `length` bins into the upper half as complex conjugates.
inline void conjugateSymmetric(float* data, int length) {
    const int half = length / 2;
    const int even = (length % 2 == 0) ? 1 : 0;
    const int count = half - even;
    float* upper = data + 2 * (half + 1);
    const float* lower = data + 2 * (half - even);
    for (int j = 0; j < count; ++j) {
        upper[2 * j] = lower[-2 * j];
        upper[2 * j + 1] = -lower[-2 * j + 1];
    }
}

} // namespace
} // namespace sonacore::ipp::kernels
