#include "ipp/ippcore.h"

#include "ipp/detail/CpuFeatures.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>

std::atomic<std::int32_t> ippJumpIndexForMergedLibs{-1};

namespace {

struct StatusText {
    IppStatus code;
    const char* text;
};

// Ascending by code, as the search below expects. The four rows without a name belong to the loading of
// shared libraries and to an efficiency warning; they are kept so that every code this layer can meet in a
// log has its text.
constexpr StatusText statusTexts[] = {
    {-9702, "No shared libraries were found in the Waterfall procedure"},
    {-9701, "No DLLs were found in the Waterfall procedure"},
    {-9700, "Error at loading of %s library"},
    {-216, "ippStsUnknownStatusCodeErr: Unknown status code"},
    {-25, "ippStsIIROrderErr: Order of an IIR filter is not valid"},
    {-18, "ippStsFftFlagErr: Invalid value for the FFT flag parameter"},
    {-17, "ippStsFftOrderErr: Invalid value for the FFT order parameter"},
    {-13, "ippStsContextMatchErr: Context parameter does not match the operation"},
    {-10, "ippStsDivByZeroErr: An attempt to divide by zero"},
    {-8, "ippStsNullPtrErr: Null pointer error"},
    {-6, "ippStsSizeErr: Incorrect value for data size"},
    {-4, "ippStsNoMemErr: Not enough memory for the operation"},
    {-2, "ippStsErr: Unknown/unspecified error, -2"},
    {0, "ippStsNoErr: No errors"},
    {20, "ippStsNonIntelCpu: The target CPU is not Genuine Intel"},
    {36, "ippStsNotSupportedCpu: The CPU is not supported"},
    {49, "ippStsFeatureNotSupported: Current CPU doesn't support at least 1 of the desired features"},
    {50, "ippStsUnknownFeature: At least one of the desired features is unknown"},
    {51, "ippStsFeaturesCombination: Wrong combination of features"},
    {53, "The function is inefficient due to the combination of input parameters"},
};

constexpr const char* unknownStatusText = "ippStsUnknownStatusCodeErr: Unknown status code";

constexpr LibraryVersion libraryVersion = {
    2021,
    6,
    0,
    static_cast<std::int32_t>(0xbffe3c5bu),
    {'c', 'o', 'r', 'e'},
    "ippCore",
    "2021.6 (r0xbffe3c5b)",
    "Mar  8 2022",
};

// Room in front of every block for the raw address, plus the worst-case distance to the next multiple of 64.
constexpr int alignment = 64;
constexpr int overhead = 72;

} // namespace

const char* ippGetStatusString(IppStatus status) {
    for (const StatusText& row : statusTexts) {
        if (row.code == status) {
            return row.text;
        }
        if (row.code > status) {
            break;
        }
    }
    return unknownStatusText;
}

const LibraryVersion* ippGetLibVersion() {
    return &libraryVersion;
}

void* ippMalloc(int size) {
    if (size < 1 || size > std::numeric_limits<std::int32_t>::max() - overhead) {
        return nullptr;
    }
    auto* raw = static_cast<unsigned char*>(std::malloc(static_cast<std::size_t>(size) + overhead));
    if (raw == nullptr) {
        return nullptr;
    }
    // Rounding raw + 71 down to 64 leaves at least 8 bytes in front of the block for the raw address and at
    // least `size` bytes behind it.
    const std::uintptr_t block =
        (reinterpret_cast<std::uintptr_t>(raw) + overhead - 1) & ~std::uintptr_t{alignment - 1};
    auto* aligned = reinterpret_cast<unsigned char*>(block);
    std::memcpy(aligned - sizeof(void*), &raw, sizeof(void*));
    return aligned;
}

void ippFree(void* pointer) {
    if (pointer == nullptr) {
        return;
    }
    void* raw = nullptr;
    std::memcpy(&raw, static_cast<unsigned char*>(pointer) - sizeof(void*), sizeof(void*));
    std::free(raw);
}

IppStatus ippInit() {
    using namespace sonacore::ipp::detail;
    CpuFeatures features = readCpuFeatures();
    if (!features.hasCpuid) {
        // Every x86-64 processor has MMX, SSE and SSE2.
        features.mask = featureMmx | featureSse | featureSse2;
    }
    const ValidatedFeatures validated = validateFeatures(features.mask);
    ippJumpIndexForMergedLibs.store(chooseFamily(validated.mask), std::memory_order_relaxed);
    if (!features.genuineIntel) {
        return ippStsNonIntelCpu;
    }
    return validated.status;
}

void ippSafeInit() {
    static_cast<void>(ippInit());
}
