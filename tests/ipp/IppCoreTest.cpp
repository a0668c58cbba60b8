#include "IppTestSupport.h"

#include "ipp/detail/CpuFeatures.h"
#include "ipp/ippcore.h"
#include "ipp/ippsvector.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <cstring>
#include <string>

namespace sonacore::ipp::test {
namespace {

using namespace sonacore::ipp::detail;

struct StatusRow {
    IppStatus code;
    const char* text;
};

class StatusText : public testing::TestWithParam<StatusRow> {};

TEST_P(StatusText, GivesTheTextOfEachCode) {
    EXPECT_STREQ(ippGetStatusString(GetParam().code), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, StatusText,
    testing::Values(
        StatusRow{0, "ippStsNoErr: No errors"}, StatusRow{-2, "ippStsErr: Unknown/unspecified error, -2"},
        StatusRow{-4, "ippStsNoMemErr: Not enough memory for the operation"},
        StatusRow{-6, "ippStsSizeErr: Incorrect value for data size"},
        StatusRow{-8, "ippStsNullPtrErr: Null pointer error"},
        StatusRow{-10, "ippStsDivByZeroErr: An attempt to divide by zero"},
        StatusRow{-13, "ippStsContextMatchErr: Context parameter does not match the operation"},
        StatusRow{-17, "ippStsFftOrderErr: Invalid value for the FFT order parameter"},
        StatusRow{-18, "ippStsFftFlagErr: Invalid value for the FFT flag parameter"},
        StatusRow{-25, "ippStsIIROrderErr: Order of an IIR filter is not valid"},
        StatusRow{-216, "ippStsUnknownStatusCodeErr: Unknown status code"},
        StatusRow{20, "ippStsNonIntelCpu: The target CPU is not Genuine Intel"},
        StatusRow{36, "ippStsNotSupportedCpu: The CPU is not supported"},
        StatusRow{
            49, "ippStsFeatureNotSupported: Current CPU doesn't support at least 1 of the desired features"},
        StatusRow{50, "ippStsUnknownFeature: At least one of the desired features is unknown"},
        StatusRow{51, "ippStsFeaturesCombination: Wrong combination of features"},
        StatusRow{-9702, "No shared libraries were found in the Waterfall procedure"},
        StatusRow{-9701, "No DLLs were found in the Waterfall procedure"},
        StatusRow{-9700, "Error at loading of %s library"},
        StatusRow{53, "The function is inefficient due to the combination of input parameters"}));

TEST(IppGetStatusString, GivesTheUnknownTextForACodeWithoutOne) {
    EXPECT_STREQ(ippGetStatusString(12345), "ippStsUnknownStatusCodeErr: Unknown status code");
}

TEST(IppGetStatusString, NeverReturnsNull) {
    for (IppStatus code : {INT32_MIN, -100000, -9703, -217, -1, 1, 52, 54, 100000, INT32_MAX}) {
        const char* text = ippGetStatusString(code);
        ASSERT_NE(text, nullptr);
        EXPECT_STREQ(text, "ippStsUnknownStatusCodeErr: Unknown status code") << code;
    }
}

TEST(IppGetLibVersion, DescribesTheLayer) {
    const LibraryVersion* version = ippGetLibVersion();
    ASSERT_NE(version, nullptr);
    EXPECT_EQ(version->major, 2021);
    EXPECT_EQ(version->minor, 6);
    EXPECT_EQ(version->majorBuild, 0);
    EXPECT_EQ(static_cast<std::uint32_t>(version->build), 0xbffe3c5bu);
    EXPECT_EQ(std::string(version->targetCpu, 4), "core");
    EXPECT_STREQ(version->name, "ippCore");
    EXPECT_STREQ(version->version, "2021.6 (r0xbffe3c5b)");
    EXPECT_STREQ(version->buildDate, "Mar  8 2022");
}

TEST(IppGetLibVersion, DoesNotDependOnTheVariant) {
    const std::int32_t saved = ippJumpIndexForMergedLibs.load();
    ippJumpIndexForMergedLibs.store(-1);
    const LibraryVersion* before = ippGetLibVersion();
    EXPECT_EQ(ippJumpIndexForMergedLibs.load(), -1);
    ippJumpIndexForMergedLibs.store(0);
    EXPECT_EQ(ippGetLibVersion(), before);
    ippJumpIndexForMergedLibs.store(saved);
}

TEST(IppMalloc, AlignsTo64Bytes) {
    for (int size : {1, 7, 64, 100, 4096, 100001}) {
        void* block = ippMalloc(size);
        ASSERT_NE(block, nullptr);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % 64, 0u) << size;
        std::memset(block, 0x5a, static_cast<std::size_t>(size));
        ippFree(block);
    }
}

TEST(IppMalloc, RefusesSizesBelowOne) {
    EXPECT_EQ(ippMalloc(0), nullptr);
    EXPECT_EQ(ippMalloc(-1), nullptr);
    EXPECT_EQ(ippMalloc(INT_MIN), nullptr);
}

TEST(IppMalloc, RefusesSizesWhoseOverheadOverflows) {
    EXPECT_EQ(ippMalloc(INT_MAX), nullptr);
    EXPECT_EQ(ippMalloc(INT_MAX - 71), nullptr);
}

TEST(IppFree, IgnoresNull) {
    ippFree(nullptr);
}

TEST(ValidateFeatures, AcceptsACompleteMask) {
    const std::uint64_t mask = 0xff | featureAvx | featureAvxState | featureAvx2;
    const ValidatedFeatures result = validateFeatures(mask);
    EXPECT_EQ(result.status, ippStsNoErr);
    EXPECT_EQ(result.mask, mask);
}

TEST(ValidateFeatures, DropsAvxWithoutTheOperatingSystemsState) {
    const ValidatedFeatures result = validateFeatures(0xff | featureAvx | featureAvx2);
    EXPECT_EQ(result.status, ippStsFeatureNotSupported);
    EXPECT_EQ(result.mask, 0xffu);
}

TEST(ValidateFeatures, DropsAvx512WithoutTheOperatingSystemsState) {
    const std::uint64_t base = 0xff | featureAvx | featureAvxState | featureAvx2;
    const ValidatedFeatures result = validateFeatures(base | featuresAvx512Core);
    EXPECT_EQ(result.status, ippStsFeatureNotSupported);
    EXPECT_EQ(result.mask, base);
}

TEST(ValidateFeatures, ReportsAnUnknownBit) {
    const ValidatedFeatures result = validateFeatures(0xff | 0x400);
    EXPECT_EQ(result.status, ippStsUnknownFeature);
    EXPECT_EQ(result.mask, 0xffu);
}

TEST(ValidateFeatures, CompletesAFamilyWithoutItsLowerFeatures) {
    const ValidatedFeatures result = validateFeatures(featureAvx | featureAvxState);
    EXPECT_EQ(result.status, ippStsFeaturesCombination);
    EXPECT_EQ(result.mask & 0xdf, 0xdfu);
    EXPECT_NE(result.mask & featureAvx, 0u);
}

TEST(ValidateFeatures, ReportsAMaskWithoutSse2) {
    const ValidatedFeatures result = validateFeatures(featureMmx | featureSse);
    EXPECT_EQ(result.status, ippStsNotSupportedCpu);
}

TEST(ChooseFamily, TakesTheFirstMatchFromTheNewestDown) {
    EXPECT_EQ(chooseFamily(featuresAvx512Core | featureAvx2 | featureAvx), familyK0);
    EXPECT_EQ(chooseFamily(featuresAvx512Mic), familyL9);
    EXPECT_EQ(chooseFamily(featureAvx2 | featureAvx), familyL9);
    EXPECT_EQ(chooseFamily(featureAvx), familyE9);
    EXPECT_EQ(chooseFamily(0x7), familyY8);
    EXPECT_EQ(chooseFamily(0), familyY8);
}

TEST(IppInit, ChoosesTheVariantOfThisProcessor) {
    const std::int32_t saved = ippJumpIndexForMergedLibs.load();
    ippJumpIndexForMergedLibs.store(-1);
    const IppStatus status = ippInit();
    const CpuFeatures features = readCpuFeatures();
    EXPECT_EQ(ippJumpIndexForMergedLibs.load(), chooseFamily(validateFeatures(features.mask).mask));
    if (!features.genuineIntel) {
        EXPECT_EQ(status, ippStsNonIntelCpu);
    } else {
        EXPECT_GE(status, ippStsNoErr);
    }
    ippJumpIndexForMergedLibs.store(saved);
}

TEST(IppInit, ReadsSse2OnEveryX8664) {
    const CpuFeatures features = readCpuFeatures();
    EXPECT_TRUE(features.hasCpuid);
    EXPECT_EQ(features.mask & 0x7, 0x7u);
}

TEST(Dispatch, FirstCallChoosesTheVariantByItself) {
    const std::int32_t saved = ippJumpIndexForMergedLibs.load();
    ippJumpIndexForMergedLibs.store(-1);
    float value = 0.0f;
    EXPECT_EQ(ippsSet_32f(2.5f, &value, 1), ippStsNoErr);
    EXPECT_EQ(value, 2.5f);
    EXPECT_EQ(ippJumpIndexForMergedLibs.load(), supportedFamilies().back());
    ippJumpIndexForMergedLibs.store(saved);
}

} // namespace
} // namespace sonacore::ipp::test
