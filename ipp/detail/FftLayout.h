#pragma once

#include "ipp/ipptypes.h"

#include <cstdint>

#pragma GCC visibility push(hidden)

// The transform object of the real FFT, built by ippsFFTInit_R_32f at a 64-byte boundary in memory of the
// caller. The tables follow it in the same memory, so that a transform reads only what the initialisation
// prepared and allocates nothing.
//
// The transform of N = 2^order real samples runs as a complex transform of M = N / 2 points z[n] =
// x[2n] + i x[2n + 1]. With a vector of L lanes, M = L x P: each lane l first transforms its own sequence
// z[L m + l] of P points (radix-4 Stockham stages, all lanes in step, so no shuffles), then one pass combines
// the L lanes (twiddle, transpose, L-point transform), and a last pass splits the complex spectrum into the
// real one and applies the scale. Orders up to fftDirectMaxOrder are summed directly instead.
struct FftSpec {
    std::int32_t identity; // fftSpecIdentity; the first field, checked by the transform
    std::int32_t order;
    std::int32_t flag;
    std::int32_t hint;
    double forwardScale;
    double inverseScale;
    std::int32_t lanes;         // L; 0 on the direct path
    std::int32_t radix4Stages;  // lane stages of radix 4
    std::int32_t radix2Stage;   // 1 when log2(P) is odd: a last lane stage of radix 2
    const float* stageTwiddles; // per radix-4 stage of length n, for p < n/4: W_n^p, W_n^2p, W_n^3p
    const float* crossTwiddles; // per block c of L and lane row l: L real parts, then L imaginary parts
    const float* postCos;       // cos(2 pi k / N) for k < M/2 + L; on the direct path for k < N
    const float* postSin;       // -sin(2 pi k / N), same range
};

#pragma GCC visibility pop

namespace sonacore::ipp::detail {

constexpr std::int32_t fftSpecIdentity = 7;
constexpr int fftDirectMaxOrder = 4;
constexpr int fftMaxOrder = 29;

// Vector widths of the variants, in floats.
constexpr int lanesSse = 4;
constexpr int lanesAvx = 8;
constexpr int lanesAvx512 = 16;

struct FftSizes {
    int specSize = 0;
    int specBufferSize = 0;
    int workBufferSize = 0;
};

// Lanes of the transform for `order` on a variant whose widest vector holds `maxLanes` floats; 0 for the
// direct path.
int fftLanes(int order, int maxLanes);

// The largest order whose transform object and work buffer fit byte counts of a signed 32-bit integer.
constexpr int fftMaxBuildableOrder = 28;

// Sizes for `order` (0 to fftMaxBuildableOrder). They cover every variant's layout, so an object sized
// under one variant fits another.
FftSizes fftSizes(int order);

// Builds the transform object at `memory` (already 64-byte aligned, fftSizes(order).specSize - 64 bytes
// long). `flag` must be one of 1, 2, 4, 8.
FftSpec* buildFftSpec(unsigned char* memory, int order, int flag, int hint, int maxLanes);

} // namespace sonacore::ipp::detail
