#pragma once

#include "ipp/ipptypes.h"

#include <cstdint>

#pragma GCC visibility push(hidden)

namespace sonacore::ipp::detail {

// The feature mask of the processor, filled from cpuid. Only the bits that decide the variant are read.
constexpr std::uint64_t featureMmx = 0x1;
constexpr std::uint64_t featureSse = 0x2;
constexpr std::uint64_t featureSse2 = 0x4;
constexpr std::uint64_t featureSse3 = 0x8;
constexpr std::uint64_t featureSsse3 = 0x10;
constexpr std::uint64_t featureMovbe = 0x20;
constexpr std::uint64_t featureSse41 = 0x40;
constexpr std::uint64_t featureSse42 = 0x80;
constexpr std::uint64_t featureAvx = 0x100;
constexpr std::uint64_t featureAvxState = 0x200;
constexpr std::uint64_t featureAvx2 = 0x8000;
constexpr std::uint64_t featureAvx512F = 0x100000;
constexpr std::uint64_t featureAvx512Cd = 0x200000;
constexpr std::uint64_t featureAvx512Er = 0x400000;
constexpr std::uint64_t featureAvx512Pf = 0x800000;
constexpr std::uint64_t featureAvx512Bw = 0x1000000;
constexpr std::uint64_t featureAvx512Dq = 0x2000000;
constexpr std::uint64_t featureAvx512Vl = 0x4000000;
constexpr std::uint64_t featureAvx512State = std::uint64_t{1} << 33;

// The AVX-512 sets that select the newest variants.
constexpr std::uint64_t featuresAvx512Core = 0x7300000; // F, CD, BW, DQ, VL
constexpr std::uint64_t featuresAvx512Mic = 0xf00000;   // F, CD, ER, PF
constexpr std::uint64_t featuresAvx512All = 0x7f00000;

// The number of processor variants, and their numbers in the jump index.
constexpr int familyCount = 4;
constexpr int familyY8 = 0; // SSE2, runs on every x86-64
constexpr int familyE9 = 1; // AVX
constexpr int familyL9 = 2; // AVX2 with FMA
constexpr int familyK0 = 3; // AVX-512

struct CpuFeatures {
    bool hasCpuid = false;
    bool genuineIntel = false;
    std::uint64_t mask = 0;
};

// Reads cpuid and the operating system's register state (xgetbv).
CpuFeatures readCpuFeatures();

struct ValidatedFeatures {
    std::uint64_t mask = 0;
    IppStatus status = ippStsNoErr;
};

// Checks a feature mask: drops AVX and AVX2 without the AVX state and the AVX-512 bits without the AVX-512
// state (ippStsFeatureNotSupported), drops unknown bits (ippStsUnknownFeature), adds the features below a
// family's leading feature (ippStsFeaturesCombination), and reports a mask without SSE2
// (ippStsNotSupportedCpu). When several apply, the status of the last in that list wins.
ValidatedFeatures validateFeatures(std::uint64_t mask);

// The variant for a validated mask: the first match from the newest family down.
int chooseFamily(std::uint64_t mask);

} // namespace sonacore::ipp::detail

#pragma GCC visibility pop
