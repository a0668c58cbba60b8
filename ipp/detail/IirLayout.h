#pragma once

#include "ipp/ipptypes.h"

#include <cstdint>

#pragma GCC visibility push(hidden)

// The state of a biquad cascade, built by ippsIIRInit_BiQuad_64f at a 32-byte boundary in memory of the
// caller, with its arrays behind it in the same memory.
struct IirState {
    std::int32_t identity; // iirBiquadIdentity; the first field, checked by the filter
    std::int32_t numBq;
    double* taps;    // per section b0, b1, b2, -a1, -a2, all divided by a0
    double* delay;   // per section d0, d1 of the transposed direct form II
    double* scratch; // iirChunkLength values: the feed-forward part of a chunk on the block path
};

#pragma GCC visibility pop

namespace sonacore::ipp::detail {

constexpr std::int32_t iirBiquadIdentity = 0x49493134;
constexpr std::int32_t iirDirectFormIdentity = 0x49493133;
constexpr int iirChunkLength = 1024;
constexpr int iirTapsPerSection = 5;

} // namespace sonacore::ipp::detail
