#include "ipp/detail/CpuFeatures.h"

#include <cpuid.h>
#include <cstring>

namespace sonacore::ipp::detail {

namespace {

constexpr std::uint64_t kKnownFeatures =
    kFeatureMmx | kFeatureSse | kFeatureSse2 | kFeatureSse3 | kFeatureSsse3 | kFeatureMovbe | kFeatureSse41 |
    kFeatureSse42 | kFeatureAvx | kFeatureAvxState | kFeatureAvx2 | kFeaturesAvx512All | kFeatureAvx512State;

// Each family's leading feature and everything the family's code takes for granted below it. A mask that
// names a leading feature without the rest is completed, lowest family first so that the completion of a
// newer family also carries the older ones.
constexpr std::uint64_t kBelowSse2 = kFeatureMmx | kFeatureSse;
constexpr std::uint64_t kBelowAvx =
    kBelowSse2 | kFeatureSse2 | kFeatureSse3 | kFeatureSsse3 | kFeatureSse41 | kFeatureSse42;
constexpr std::uint64_t kBelowAvx2 = kBelowAvx | kFeatureAvx | kFeatureMovbe;
constexpr std::uint64_t kBelowAvx512 = kBelowAvx2 | kFeatureAvx2;

// The operating system's register state, read with xgetbv. Written as an instruction so that this file
// needs no compiler flag beyond the baseline.
std::uint64_t readXcr0() {
    std::uint32_t low = 0;
    std::uint32_t high = 0;
    __asm__ volatile("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
    return (std::uint64_t{high} << 32) | low;
}

bool bit(unsigned value, int index) {
    return ((value >> index) & 1u) != 0;
}

} // namespace

CpuFeatures readCpuFeatures() {
    CpuFeatures features;
    unsigned vendor[4] = {};
    const unsigned maxLeaf = __get_cpuid_max(0, &vendor[0]);
    if (maxLeaf == 0) {
        return features;
    }
    unsigned eax = 0;
    unsigned ebx = 0;
    unsigned ecx = 0;
    unsigned edx = 0;
    __cpuid(0, eax, ebx, ecx, edx);
    char vendorText[13] = {};
    std::memcpy(vendorText + 0, &ebx, 4);
    std::memcpy(vendorText + 4, &edx, 4);
    std::memcpy(vendorText + 8, &ecx, 4);
    features.hasCpuid = true;
    features.genuineIntel = std::strcmp(vendorText, "GenuineIntel") == 0;

    std::uint64_t mask = 0;
    __cpuid(1, eax, ebx, ecx, edx);
    mask |= bit(edx, 23) ? kFeatureMmx : 0;
    mask |= bit(edx, 25) ? kFeatureSse : 0;
    mask |= bit(edx, 26) ? kFeatureSse2 : 0;
    mask |= bit(ecx, 0) ? kFeatureSse3 : 0;
    mask |= bit(ecx, 9) ? kFeatureSsse3 : 0;
    mask |= bit(ecx, 22) ? kFeatureMovbe : 0;
    mask |= bit(ecx, 19) ? kFeatureSse41 : 0;
    mask |= bit(ecx, 20) ? kFeatureSse42 : 0;
    mask |= bit(ecx, 28) ? kFeatureAvx : 0;
    const bool osxsave = bit(ecx, 27);
    if (osxsave) {
        const std::uint64_t xcr0 = readXcr0();
        // SSE and AVX registers (bits 1 and 2); for AVX-512 also the mask registers and both halves of the
        // upper register file (bits 5 to 7).
        if ((xcr0 & 0x6) == 0x6) {
            mask |= kFeatureAvxState;
            if ((xcr0 & 0xe0) == 0xe0) {
                mask |= kFeatureAvx512State;
            }
        }
    }
    if (maxLeaf >= 7) {
        __cpuid_count(7, 0, eax, ebx, ecx, edx);
        mask |= bit(ebx, 5) ? kFeatureAvx2 : 0;
        mask |= bit(ebx, 16) ? kFeatureAvx512F : 0;
        mask |= bit(ebx, 28) ? kFeatureAvx512Cd : 0;
        mask |= bit(ebx, 27) ? kFeatureAvx512Er : 0;
        mask |= bit(ebx, 26) ? kFeatureAvx512Pf : 0;
        mask |= bit(ebx, 30) ? kFeatureAvx512Bw : 0;
        mask |= bit(ebx, 17) ? kFeatureAvx512Dq : 0;
        mask |= bit(ebx, 31) ? kFeatureAvx512Vl : 0;
    }
    features.mask = mask;
    return features;
}

ValidatedFeatures validateFeatures(std::uint64_t mask) {
    ValidatedFeatures result;
    if ((mask & (kFeatureAvx | kFeatureAvx2)) != 0 && (mask & kFeatureAvxState) == 0) {
        mask &= ~(kFeatureAvx | kFeatureAvx2);
        result.status = ippStsFeatureNotSupported;
    }
    if ((mask & kFeaturesAvx512All) != 0 && (mask & kFeatureAvx512State) == 0) {
        mask &= ~kFeaturesAvx512All;
        result.status = ippStsFeatureNotSupported;
    }
    if ((mask & ~kKnownFeatures) != 0) {
        mask &= kKnownFeatures;
        result.status = ippStsUnknownFeature;
    }
    const struct {
        std::uint64_t leading;
        std::uint64_t below;
    } families[] = {
        {kFeatureSse2, kBelowSse2},
        {kFeatureAvx, kBelowAvx},
        {kFeatureAvx2, kBelowAvx2},
        {kFeatureAvx512F, kBelowAvx512},
    };
    // Newest first, so that a completed newer family's features count when the older ones are checked.
    for (int i = 3; i >= 0; --i) {
        if ((mask & families[i].leading) != 0 && (mask & families[i].below) != families[i].below) {
            mask |= families[i].below;
            result.status = ippStsFeaturesCombination;
        }
    }
    if ((mask & kFeatureSse2) == 0) {
        result.status = ippStsNotSupportedCpu;
    }
    result.mask = mask;
    return result;
}

int chooseFamily(std::uint64_t mask) {
    if ((mask & kFeaturesAvx512Core) == kFeaturesAvx512Core) {
        return kFamilyK0;
    }
    if ((mask & kFeaturesAvx512Mic) == kFeaturesAvx512Mic || (mask & kFeatureAvx2) != 0) {
        return kFamilyL9;
    }
    if ((mask & kFeatureAvx) != 0) {
        return kFamilyE9;
    }
    return kFamilyY8;
}

} // namespace sonacore::ipp::detail
