#pragma once

#include "ipp/ipptypes.h"

#include <cstdint>

#pragma GCC visibility push(hidden)

// The state of a biquad cascade, built by ippsIIRInit_BiQuad_64f at a 32-byte boundary in memory of the
// caller, with its arrays behind it in the same memory.
struct IirState {
    std::int32_t identity; // kIirBiquadIdentity; the first field, checked by the filter
    std::int32_t numBq;
    double* taps;    // per section b0, b1, b2, -a1, -a2, all divided by a0
    double* delay;   // per section d0, d1 of the transposed direct form II
    double* scratch; // kIirChunk values: the feed-forward part of a chunk on the block path
};

#pragma GCC visibility pop

namespace sonacore::ipp::detail {

constexpr std::int32_t kIirBiquadIdentity = 0x49493134;
constexpr std::int32_t kIirDirectFormIdentity = 0x49493133;
constexpr int kIirChunk = 1024;
constexpr int kIirTapsPerSection = 5;

} // namespace sonacore::ipp::detail
