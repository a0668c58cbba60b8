#include "ipp/detail/CpuFeatures.h"

#include <cpuid.h>
#include <cstring>

namespace sonacore::ipp::detail {

namespace {

constexpr std::uint64_t knownFeatures =
    featureMmx | featureSse | featureSse2 | featureSse3 | featureSsse3 | featureMovbe | featureSse41 |
    featureSse42 | featureAvx | featureAvxState | featureAvx2 | featuresAvx512All | featureAvx512State;

// Each family's leading feature and everything the family's code takes for granted below it. A mask that
// names a leading feature without the rest is completed, lowest family first so that the completion of a
// newer family also carries the older ones.
constexpr std::uint64_t belowSse2 = featureMmx | featureSse;
constexpr std::uint64_t belowAvx =
    belowSse2 | featureSse2 | featureSse3 | featureSsse3 | featureSse41 | featureSse42;
constexpr std::uint64_t belowAvx2 = belowAvx | featureAvx | featureMovbe;
constexpr std::uint64_t belowAvx512 = belowAvx2 | featureAvx2;

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
    mask |= bit(edx, 23) ? featureMmx : 0;
    mask |= bit(edx, 25) ? featureSse : 0;
    mask |= bit(edx, 26) ? featureSse2 : 0;
    mask |= bit(ecx, 0) ? featureSse3 : 0;
    mask |= bit(ecx, 9) ? featureSsse3 : 0;
    mask |= bit(ecx, 22) ? featureMovbe : 0;
    mask |= bit(ecx, 19) ? featureSse41 : 0;
    mask |= bit(ecx, 20) ? featureSse42 : 0;
    mask |= bit(ecx, 28) ? featureAvx : 0;
    const bool osxsave = bit(ecx, 27);
    if (osxsave) {
        const std::uint64_t xcr0 = readXcr0();
        // SSE and AVX registers (bits 1 and 2); for AVX-512 also the mask registers and both halves of the
        // upper register file (bits 5 to 7).
        if ((xcr0 & 0x6) == 0x6) {
            mask |= featureAvxState;
            if ((xcr0 & 0xe0) == 0xe0) {
                mask |= featureAvx512State;
            }
        }
    }
    if (maxLeaf >= 7) {
        __cpuid_count(7, 0, eax, ebx, ecx, edx);
        mask |= bit(ebx, 5) ? featureAvx2 : 0;
        mask |= bit(ebx, 16) ? featureAvx512F : 0;
        mask |= bit(ebx, 28) ? featureAvx512Cd : 0;
        mask |= bit(ebx, 27) ? featureAvx512Er : 0;
        mask |= bit(ebx, 26) ? featureAvx512Pf : 0;
        mask |= bit(ebx, 30) ? featureAvx512Bw : 0;
        mask |= bit(ebx, 17) ? featureAvx512Dq : 0;
        mask |= bit(ebx, 31) ? featureAvx512Vl : 0;
    }
    features.mask = mask;
    return features;
}

ValidatedFeatures validateFeatures(std::uint64_t mask) {
    ValidatedFeatures result;
    if ((mask & (featureAvx | featureAvx2)) != 0 && (mask & featureAvxState) == 0) {
        mask &= ~(featureAvx | featureAvx2);
        result.status = ippStsFeatureNotSupported;
    }
    if ((mask & featuresAvx512All) != 0 && (mask & featureAvx512State) == 0) {
        mask &= ~featuresAvx512All;
        result.status = ippStsFeatureNotSupported;
    }
    if ((mask & ~knownFeatures) != 0) {
        mask &= knownFeatures;
        result.status = ippStsUnknownFeature;
    }
    const struct {
        std::uint64_t leading;
        std::uint64_t below;
    } families[] = {
        {featureSse2, belowSse2},
        {featureAvx, belowAvx},
        {featureAvx2, belowAvx2},
        {featureAvx512F, belowAvx512},
    };
    // Newest first, so that a completed newer family's features count when the older ones are checked.
    for (int i = 3; i >= 0; --i) {
        if ((mask & families[i].leading) != 0 && (mask & families[i].below) != families[i].below) {
            mask |= families[i].below;
            result.status = ippStsFeaturesCombination;
        }
    }
    if ((mask & featureSse2) == 0) {
        result.status = ippStsNotSupportedCpu;
    }
    result.mask = mask;
    return result;
}

int chooseFamily(std::uint64_t mask) {
    if ((mask & featuresAvx512Core) == featuresAvx512Core) {
        return familyK0;
    }
    if ((mask & featuresAvx512Mic) == featuresAvx512Mic || (mask & featureAvx2) != 0) {
        return familyL9;
    }
    if ((mask & featureAvx) != 0) {
        return familyE9;
    }
    return familyY8;
}

} // namespace sonacore::ipp::detail
