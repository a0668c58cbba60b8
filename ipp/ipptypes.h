#pragma once

#include <cstdint>

// Types shared by the signal primitives: the status of every call, the identity record of the layer and the
// opaque objects that the FFT and the biquad filter build in memory of the caller.
//
// The primitives are internal to the library: the visibility pragma keeps them out of its dynamic symbol
// table even if the build's default visibility changes, so a host that loads another library with the same
// names is not disturbed.
#pragma GCC visibility push(hidden)

// Result of a primitive: 0 is success, negative values are errors, positive values are warnings.
using IppStatus = std::int32_t;

constexpr IppStatus ippStsNoErr = 0;
constexpr IppStatus ippStsErr = -2;
constexpr IppStatus ippStsNoMemErr = -4;
constexpr IppStatus ippStsSizeErr = -6;
constexpr IppStatus ippStsNullPtrErr = -8;
constexpr IppStatus ippStsDivByZeroErr = -10;
constexpr IppStatus ippStsContextMatchErr = -13;
constexpr IppStatus ippStsFftOrderErr = -17;
constexpr IppStatus ippStsFftFlagErr = -18;
constexpr IppStatus ippStsIIROrderErr = -25;
constexpr IppStatus ippStsUnknownStatusCodeErr = -216;
constexpr IppStatus ippStsNonIntelCpu = 20;
constexpr IppStatus ippStsNotSupportedCpu = 36;
constexpr IppStatus ippStsFeatureNotSupported = 49;
constexpr IppStatus ippStsUnknownFeature = 50;
constexpr IppStatus ippStsFeaturesCombination = 51;

// Identity record of the primitive layer, returned by ippGetLibVersion(). It is constant and the same
// whichever processor variant runs.
struct LibraryVersion {
    std::int32_t major;      // 2021
    std::int32_t minor;      // 6
    std::int32_t majorBuild; // 0
    std::int32_t build;      // the bits 0xbffe3c5b
    char targetCpu[4];       // "core", without a terminating zero
    const char* name;        // "ippCore"
    const char* version;     // "2021.6 (r0xbffe3c5b)"
    const char* buildDate;   // "Mar  8 2022"
};

// Opaque objects built in memory of the caller by ippsFFTInit_R_32f and ippsIIRInit_BiQuad_64f. Their
// first 32-bit field is an identity value that the transform and the filter check before use.
struct FftSpec;
struct IirState;

#pragma GCC visibility pop
