#include "process/fft/IppFft.h"

#include "AllocationFailure.h"
#include "FftTestSupport.h"
#include "ipp/ippsfft.h"
#include "support/LogCapture.h"

#include <gtest/gtest.h>

#include <sys/resource.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <limits>
#include <memory>
#include <string>
#include <thread>
#include <tuple>
#include <unistd.h>
#include <vector>

namespace {

using ffttest::LongComplex;
using process::fft::IppFft;

// The factor the spectrum processor passes.
constexpr float powerSpectrumFactor = 5.334f;

// The window table is the double-precision window rounded to float: within one unit of single precision of
// the definition at every point.
constexpr long double windowTolerance = ffttest::floatEpsilon;

// A bin's error, relative to the RMS of the spectrum: the transform rounds to single precision at each of its
// log2 N stages, and the window table and the windowed frame are rounded once each. Four units per stage plus
// one more stage's worth for the window.
long double binTolerance(std::size_t order, long double rootMeanSquare) {
    return 4.0L * ffttest::floatEpsilon * static_cast<long double>(order + 1) * rootMeanSquare;
}

// A power re^2 + im^2 times the factor, or a magnitude times the factor, from a float bin: up to three
// roundings to float of half a unit each.
constexpr long double conversionRounding = 2.0L * ffttest::floatEpsilon;

// Texts of lines that carry a slot's address (which the tests cannot know), with the address cut off.
constexpr const char* notManagedText =
    "addToIppBuffers \"F\" The address of the buffer is not initialized and won't be managed: ";

std::vector<std::string> withoutAddresses(std::vector<std::string> lines) {
    const std::string prefix = std::string("W ") + notManagedText;
    for (std::string& line : lines) {
        if (line.rfind(prefix, 0) == 0) {
            line = prefix + "<slot>";
        }
    }
    return lines;
}

// How many of the transform's three buffers the primitive layer sizes at 0 for `order`: each gives one
// warning from the manager, which is normal.
std::size_t emptyFftBuffers(std::size_t order) {
    int sizes[3] = {0, 0, 0};
    EXPECT_EQ(ippsFFTGetSize_R_32f(static_cast<int>(order), 1, 2, &sizes[0], &sizes[1], &sizes[2]),
              ippStsNoErr);
    return static_cast<std::size_t>(std::count(std::begin(sizes), std::end(sizes), 0));
}

// The four frame buffers and every non-empty buffer of the transform.
std::size_t managedBuffersAt(std::size_t order) {
    return 4 + 3 - emptyFftBuffers(order);
}

std::vector<std::string> repeated(const std::string& line, std::size_t times) {
    return std::vector<std::string>(times, line);
}

std::vector<std::string> operator+(std::vector<std::string> first, const std::vector<std::string>& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

// The window table as the transform holds it: a frame of ones comes back as the window itself.
std::vector<float> windowTable(std::size_t order) {
    IppFft fft("table");
    EXPECT_TRUE(fft.setFftOrder(order));
    EXPECT_TRUE(fft.setWindowing(true));
    std::vector<float> ones(std::size_t{1} << order, 1.0f);
    EXPECT_TRUE(fft.calculate(ones));
    return ones;
}

std::vector<float> nanFilled(std::size_t length) {
    return std::vector<float>(length, std::numeric_limits<float>::quiet_NaN());
}

// Opens up the conversion of a result buffer, whose refusal of a missing buffer no public path reaches.
class ExposedFft : public IppFft {
public:
    using IppFft::IppFft;
    using IppFft::processResultData;
};

} // namespace

TEST(IppFft, ConstructionLogsTheLibraryIdentityOrderTwoAndInitialized) {
    testsupport::LogCapture capture;
    IppFft fft("F");
    const std::vector<std::string> expected =
        std::vector<std::string>{
            "D IppFftBufferManager \"F\" Initialized", "D IppFftBuffers \"F\" Initialized",
            "D ippVersionInfo \"F\" Activated INTEL IPP module:  ippCore , module version:  2021.6 "
            "(r0xbffe3c5b)",
            "D freeBuffers \"F\" Available amount of buffers:  0 . Buffers released:  0",
            "D allocateAllIppBuffersFromSameSize \"F\" FFT Buffers allocated by size:  4  samples"} +
        repeated(std::string("W ") + notManagedText + "<slot>", emptyFftBuffers(2)) +
        std::vector<std::string>{"D showFftInitializeMessage \"F\" IPP FFT initialized",
                                 "D setFftOrder \"F\" FFT order is changed to:  2",
                                 "D setWindowing \"F\" Hann window deactivated!",
                                 "D IppFft \"F\" Initialized"};
    EXPECT_EQ(withoutAddresses(ffttest::levelsAndTexts(capture)), expected);
}

TEST(IppFft, StartsAtOrderTwoWithTheWindowOff) {
    IppFft fft("F");
    EXPECT_EQ(fft.getFftOrder(), 2U);
    EXPECT_EQ(fft.getFftSize(), 4U);
    EXPECT_FALSE(fft.isWindowingActive());
    EXPECT_EQ(fft.toString(), "IppFft: F\n\tFFT order: 2\n\tFFT size: 4\n\tWindowing active: 0\n");
}

TEST(IppFft, DescriptionNamesTheHannWindowWhileItIsOn) {
    IppFft fft("F");
    ASSERT_TRUE(fft.setWindowing(true));
    EXPECT_EQ(fft.toString(),
              "IppFft: F\n\tFFT order: 2\n\tFFT size: 4\n\tWindowing active: 1\n\tWindowing type: Hann\n");
}

class OutOfRangeOrder : public testing::TestWithParam<std::size_t> {};

TEST_P(OutOfRangeOrder, IsRefusedWithTheRangeMessageAndChangesNothing) {
    IppFft fft("F");
    ASSERT_TRUE(fft.setWindowing(true));
    testsupport::LogCapture capture;
    EXPECT_FALSE(fft.setFftOrder(GetParam()));
    EXPECT_EQ(ffttest::levelsAndTexts(capture),
              (std::vector<std::string>{"W setFftOrder \"F\" FFT order is out of range ( 1 up to  27 ):  " +
                                        std::to_string(GetParam())}));
    EXPECT_EQ(fft.getFftOrder(), 2U);
    EXPECT_EQ(fft.getFftSize(), 4U);
    EXPECT_TRUE(fft.isWindowingActive());
    std::vector<float> frame{1.0f, 2.0f, 3.0f, 4.0f};
    EXPECT_TRUE(fft.calculate(frame));
}

INSTANTIATE_TEST_SUITE_P(Orders, OutOfRangeOrder,
                         testing::Values(std::size_t{0}, std::size_t{28}, std::size_t{64},
                                         std::numeric_limits<std::size_t>::max()));

TEST(IppFft, OrderTwentySevenIsAccepted) {
    IppFft fft("F");
    testsupport::LogCapture capture;
    EXPECT_TRUE(fft.setFftOrder(27));
    EXPECT_TRUE(capture.contains(QtDebugMsg, "setFftOrder \"F\" FFT order is changed to:  27"));
    EXPECT_EQ(fft.getFftSize(), 134217728U);
}

TEST(IppFft, AnOrderChangeFreesAllocatesInitialisesAndRebuildsTheWindowInThisOrder) {
    IppFft fft("F");
    ASSERT_TRUE(fft.setWindowing(true));
    testsupport::LogCapture capture;
    ASSERT_TRUE(fft.setFftOrder(6));
    const std::string managed = std::to_string(managedBuffersAt(2));
    const std::vector<std::string> expected =
        std::vector<std::string>{
            "D freeBuffers \"F\" Available amount of buffers:  " + managed +
                " . Buffers released:  " + managed,
            "D allocateAllIppBuffersFromSameSize \"F\" FFT Buffers allocated by size:  64  samples"} +
        repeated(std::string("W ") + notManagedText + "<slot>", emptyFftBuffers(6)) +
        std::vector<std::string>{"D showFftInitializeMessage \"F\" IPP FFT initialized",
                                 "D setFftOrder \"F\" FFT order is changed to:  6",
                                 "D setWindowingFunction \"F\" Hann window activated and will be applied!"};
    EXPECT_EQ(withoutAddresses(ffttest::levelsAndTexts(capture)), expected);
    EXPECT_EQ(fft.getFftSize(), 64U);
}

TEST(IppFft, SwitchingTheWindowOffLogsAndSucceeds) {
    IppFft fft("F");
    ASSERT_TRUE(fft.setWindowing(true));
    testsupport::LogCapture capture;
    EXPECT_TRUE(fft.setWindowing(false));
    EXPECT_FALSE(fft.isWindowingActive());
    EXPECT_EQ(ffttest::levelsAndTexts(capture),
              (std::vector<std::string>{"D setWindowing \"F\" Hann window deactivated!"}));
}

TEST(IppFft, SwitchingTheWindowOnLogsAndSucceeds) {
    IppFft fft("F");
    testsupport::LogCapture capture;
    EXPECT_TRUE(fft.setWindowing(true));
    EXPECT_TRUE(fft.isWindowingActive());
    EXPECT_EQ(ffttest::levelsAndTexts(capture),
              (std::vector<std::string>{
                  "D setWindowingFunction \"F\" Hann window activated and will be applied!"}));
}

TEST(IppFft, OrderOneCannotBuildTheWindowAndReportsFailure) {
    IppFft fft("F");
    ASSERT_TRUE(fft.setWindowing(true));
    testsupport::LogCapture capture;
    EXPECT_FALSE(fft.setFftOrder(1));
    EXPECT_EQ(fft.getFftSize(), 2U);
    EXPECT_FALSE(fft.isWindowingActive());
    EXPECT_TRUE(capture.contains(QtDebugMsg, "setFftOrder \"F\" FFT order is changed to:  1"));
    EXPECT_TRUE(capture.contains(QtWarningMsg,
                                 "setWindowingFunction \"F\" Failed to apply the Hann window! Error "
                                 "message:  ippStsSizeErr: Incorrect value for data size"));
}

TEST(IppFft, AtOrderOneTheTransformIsReadyAndRunsUnwindowed) {
    IppFft fft("F");
    ASSERT_TRUE(fft.setWindowing(true));
    ASSERT_FALSE(fft.setFftOrder(1));
    std::vector<float> frame{0.75f, -0.25f};
    ASSERT_TRUE(fft.calculate(frame));
    EXPECT_EQ(frame, (std::vector<float>{0.75f, -0.25f}));
    std::vector<std::complex<float>> bins;
    ASSERT_TRUE(fft.getFftResultsComplex(bins, 0));
    // (x0 + x1) / 2 and (x0 - x1) / 2 are exact in float.
    EXPECT_EQ(bins, (std::vector<std::complex<float>>{{0.25f, 0.0f}, {0.5f, 0.0f}}));
}

TEST(IppFft, OrderOneWithTheWindowOffIsFullyInForce) {
    IppFft fft("F");
    EXPECT_TRUE(fft.setFftOrder(1));
    EXPECT_EQ(fft.getFftSize(), 2U);
}

TEST(IppFft, AWindowLostAtOrderOneStaysOffAtLaterOrdersUntilSwitchedOnAgain) {
    IppFft fft("F");
    ASSERT_TRUE(fft.setWindowing(true));
    ASSERT_FALSE(fft.setFftOrder(1));
    testsupport::LogCapture capture;
    EXPECT_TRUE(fft.setFftOrder(4));
    EXPECT_FALSE(fft.isWindowingActive());
    EXPECT_TRUE(capture.contains(QtDebugMsg, "setWindowing \"F\" Hann window deactivated!"));
    EXPECT_TRUE(fft.setWindowing(true));
    EXPECT_TRUE(fft.isWindowingActive());
}

class WindowTable : public testing::TestWithParam<std::size_t> {};

TEST_P(WindowTable, EqualsTheHannDefinitionWithExactZeroEnds) {
    const std::size_t order = GetParam();
    const std::size_t length = std::size_t{1} << order;
    const std::vector<float> table = windowTable(order);
    ASSERT_EQ(table.size(), length);
    const std::vector<long double> expected = ffttest::hannWindow(length);
    for (std::size_t n = 0; n < length; ++n) {
        ASSERT_LE(std::fabs(static_cast<long double>(table[n]) - expected[n]), windowTolerance)
            << "point " << n;
    }
    EXPECT_EQ(table.front(), 0.0f);
    EXPECT_EQ(table.back(), 0.0f);
}

INSTANTIATE_TEST_SUITE_P(Orders, WindowTable, testing::Values(2, 3, 5, 10, 14, 17));

TEST(IppFft, TheFrameComesBackMultipliedByTheWindow) {
    const std::vector<float> table = windowTable(5);
    IppFft fft("F");
    ASSERT_TRUE(fft.setFftOrder(5));
    ASSERT_TRUE(fft.setWindowing(true));
    const std::vector<float> original = ffttest::seededFrame(32, 7);
    std::vector<float> frame = original;
    ASSERT_TRUE(fft.calculate(frame));
    for (std::size_t n = 0; n < frame.size(); ++n) {
        EXPECT_EQ(frame[n], original[n] * table[n]) << "point " << n;
    }
}

TEST(IppFft, WithTheWindowOffTheFrameComesBackUnchanged) {
    IppFft fft("F");
    ASSERT_TRUE(fft.setFftOrder(5));
    const std::vector<float> original = ffttest::seededFrame(32, 7);
    std::vector<float> frame = original;
    ASSERT_TRUE(fft.calculate(frame));
    EXPECT_EQ(frame, original);
}

// Rows: the order, and whether the window is on.
class FftAccuracy : public testing::TestWithParam<std::tuple<std::size_t, bool>> {
protected:
    void SetUp() override {
        order = std::get<0>(GetParam());
        windowed = std::get<1>(GetParam());
        length = std::size_t{1} << order;
        ASSERT_TRUE(fft.setFftOrder(order));
        ASSERT_TRUE(fft.setWindowing(windowed));
        const std::vector<float> frame =
            ffttest::seededFrame(length, 1000 + static_cast<std::uint32_t>(order));
        reference = ffttest::referenceDft(ffttest::referenceFrame(frame, windowed));
        tolerance = binTolerance(order, ffttest::rootMeanSquare(reference));
        std::vector<float> transformed = frame;
        ASSERT_TRUE(fft.calculate(transformed));
    }

    IppFft fft{"F"};
    std::size_t order = 0;
    bool windowed = false;
    std::size_t length = 0;
    std::vector<LongComplex> reference;
    long double tolerance = 0.0L;
};

TEST_P(FftAccuracy, AllComplexBinsEqualTheLongDoubleDft) {
    std::vector<std::complex<float>> bins;
    ASSERT_TRUE(fft.getFftResultsComplex(bins, 0));
    ASSERT_EQ(bins.size(), length);
    for (std::size_t k = 0; k < length; ++k) {
        const LongComplex actual(bins[k].real(), bins[k].imag());
        ASSERT_LE(std::abs(actual - reference[k]), tolerance) << "bin " << k;
    }
}

TEST_P(FftAccuracy, TheUpperHalfMirrorsTheLowerExactly) {
    std::vector<std::complex<float>> bins;
    ASSERT_TRUE(fft.getFftResultsComplex(bins, 0));
    ASSERT_EQ(bins.size(), length);
    for (std::size_t k = 1; k < length / 2; ++k) {
        ASSERT_EQ(bins[length - k], std::conj(bins[k])) << "bin " << k;
    }
}

TEST_P(FftAccuracy, PowerOfTheLowerHalfEqualsTheLongDoubleDftTimesTheFactor) {
    const std::size_t bins = length / 2;
    std::vector<float> power = nanFilled(bins);
    ASSERT_TRUE(fft.getFftResultsPowerSpectrum(power, bins, powerSpectrumFactor));
    ASSERT_EQ(power.size(), bins);
    const long double factor = powerSpectrumFactor;
    for (std::size_t k = 0; k < bins; ++k) {
        const long double expected = std::norm(reference[k]) * factor;
        const long double magnitude = std::abs(reference[k]);
        const long double allowed =
            factor * (2.0L * magnitude * tolerance + tolerance * tolerance) + conversionRounding * expected;
        ASSERT_FALSE(std::isnan(power[k])) << "bin " << k << " not written";
        ASSERT_LE(std::fabs(power[k] - expected), allowed) << "bin " << k;
    }
}

TEST_P(FftAccuracy, MagnitudesEqualTheLongDoubleDftTimesTheFactor) {
    std::vector<float> magnitudes = nanFilled(length);
    ASSERT_TRUE(fft.getFftResultsMagnitude(magnitudes, 0, 2.0f));
    ASSERT_EQ(magnitudes.size(), length);
    for (std::size_t k = 0; k < length; ++k) {
        const long double expected = std::abs(reference[k]) * 2.0L;
        const long double allowed = 2.0L * tolerance + conversionRounding * expected;
        ASSERT_FALSE(std::isnan(magnitudes[k])) << "bin " << k << " not written";
        ASSERT_LE(std::fabs(magnitudes[k] - expected), allowed) << "bin " << k;
    }
}

std::string accuracyName(const testing::TestParamInfo<std::tuple<std::size_t, bool>>& info) {
    return "Order" + std::to_string(std::get<0>(info.param)) + (std::get<1>(info.param) ? "Hann" : "Plain");
}

INSTANTIATE_TEST_SUITE_P(
    Orders, FftAccuracy,
    testing::Values(std::make_tuple(std::size_t{1}, false), std::make_tuple(std::size_t{2}, false),
                    std::make_tuple(std::size_t{2}, true), std::make_tuple(std::size_t{5}, false),
                    std::make_tuple(std::size_t{5}, true), std::make_tuple(std::size_t{10}, false),
                    std::make_tuple(std::size_t{10}, true), std::make_tuple(std::size_t{14}, false),
                    std::make_tuple(std::size_t{14}, true), std::make_tuple(std::size_t{17}, false),
                    std::make_tuple(std::size_t{17}, true)),
    accuracyName);

TEST(IppFft, AnAmountOfZeroGivesAllValuesIncludingTheMirroredUpperHalf) {
    IppFft fft("F");
    ASSERT_TRUE(fft.setFftOrder(4));
    std::vector<float> frame = ffttest::seededFrame(16, 3);
    ASSERT_TRUE(fft.calculate(frame));
    std::vector<float> power;
    ASSERT_TRUE(fft.getFftResultsPowerSpectrum(power, 0, 1.0f));
    ASSERT_EQ(power.size(), 16U);
    for (std::size_t k = 1; k < 8; ++k) {
        EXPECT_EQ(power[16 - k], power[k]) << "bin " << k;
    }
}

TEST(IppFft, AnAmountAboveTheFftSizeGivesFftSizeValues) {
    IppFft fft("F");
    std::vector<float> frame{1.0f, 0.0f, 0.0f, 0.0f};
    ASSERT_TRUE(fft.calculate(frame));
    std::vector<std::complex<float>> bins;
    ASSERT_TRUE(fft.getFftResultsComplex(bins, 5));
    EXPECT_EQ(bins.size(), 4U);
    std::vector<float> power;
    ASSERT_TRUE(fft.getFftResultsPowerSpectrum(power, 1000, 1.0f));
    EXPECT_EQ(power.size(), 4U);
}

TEST(IppFft, ComplexResultsReplaceWhateverTheOutputHeld) {
    IppFft fft("F");
    std::vector<float> frame{1.0f, 1.0f, 1.0f, 1.0f};
    ASSERT_TRUE(fft.calculate(frame));
    std::vector<std::complex<float>> bins(10, {9.0f, 9.0f});
    ASSERT_TRUE(fft.getFftResultsComplex(bins, 2));
    // A constant frame has all of its energy, scaled by 1/N, in bin 0.
    EXPECT_EQ(bins, (std::vector<std::complex<float>>{{1.0f, 0.0f}, {0.0f, 0.0f}}));
}

TEST(IppFft, AFactorOfZeroBehavesAsOne) {
    IppFft fft("F");
    ASSERT_TRUE(fft.setFftOrder(3));
    std::vector<float> frame = ffttest::seededFrame(8, 5);
    ASSERT_TRUE(fft.calculate(frame));
    std::vector<float> withZero;
    std::vector<float> withOne;
    ASSERT_TRUE(fft.getFftResultsPowerSpectrum(withZero, 0, 0.0f));
    ASSERT_TRUE(fft.getFftResultsPowerSpectrum(withOne, 0, 1.0f));
    EXPECT_EQ(withZero, withOne);
    EXPECT_GT(withZero[0], 0.0f);
    ASSERT_TRUE(fft.getFftResultsMagnitude(withZero, 0, 0.0f));
    ASSERT_TRUE(fft.getFftResultsMagnitude(withOne, 0, 1.0f));
    EXPECT_EQ(withZero, withOne);
}

TEST(IppFft, ResultsOverwriteTheFrontOfTheOutputAndKeepItsTail) {
    IppFft fft("F");
    std::vector<float> frame{2.0f, 2.0f, 2.0f, 2.0f};
    ASSERT_TRUE(fft.calculate(frame));
    std::vector<float> power(6, -7.0f);
    ASSERT_TRUE(fft.getFftResultsPowerSpectrum(power, 2, 1.0f));
    EXPECT_EQ(power, (std::vector<float>{4.0f, 0.0f, -7.0f, -7.0f, -7.0f, -7.0f}));
}

TEST(IppFft, AFrameOfAnotherLengthIsRefusedBeforeAnythingIsTouched) {
    IppFft fft("F");
    ASSERT_TRUE(fft.setWindowing(true));
    std::vector<float> first{1.0f, -1.0f, 1.0f, -1.0f};
    ASSERT_TRUE(fft.calculate(first));
    std::vector<std::complex<float>> before;
    ASSERT_TRUE(fft.getFftResultsComplex(before, 0));
    std::vector<float> frame{1.0f, 2.0f, 3.0f};
    testsupport::LogCapture capture;
    EXPECT_FALSE(fft.calculate(frame));
    EXPECT_EQ(frame, (std::vector<float>{1.0f, 2.0f, 3.0f}));
    std::vector<std::complex<float>> after;
    ASSERT_TRUE(fft.getFftResultsComplex(after, 0));
    EXPECT_EQ(after, before);
    EXPECT_EQ(ffttest::levelsAndTexts(capture),
              (std::vector<std::string>{
                  "W calculate \"F\" Input data vector size '  3 ' don't equals the predefined "
                  "FFT size:  4 ! FFT calculation skipped!"}));
}

TEST(IppFft, AnEmptyFrameIsRefused) {
    IppFft fft("F");
    std::vector<float> frame;
    testsupport::LogCapture capture;
    EXPECT_FALSE(fft.calculate(frame));
    EXPECT_TRUE(capture.contains(QtWarningMsg,
                                 "calculate \"F\" Input data vector size '  0 ' don't equals the "
                                 "predefined FFT size:  4 ! FFT calculation skipped!"));
}

TEST(IppFft, ComplexResultsBeforeAnyCalculateGiveFftSizeValues) {
    IppFft fft("F");
    std::vector<std::complex<float>> bins;
    EXPECT_TRUE(fft.getFftResultsComplex(bins, 0));
    EXPECT_EQ(bins.size(), 4U);
}

TEST(IppFft, ResultBuffersOfAConversionAreRefusedWhenMissing) {
    ExposedFft fft("F");
    std::vector<float> out{3.0f};
    testsupport::LogCapture capture;
    EXPECT_FALSE(fft.processResultData(nullptr, out, 0, 1.0f));
    EXPECT_EQ(out, (std::vector<float>{3.0f}));
    EXPECT_EQ(ffttest::levelsAndTexts(capture),
              (std::vector<std::string>{
                  "W processResultData \"F\" FFT buffer cannot be initialized! No operation performed!"}));
}

TEST(IppFft, PowerResultsWarnWhenTheOutputCannotGrow) {
    IppFft fft("F");
    std::vector<float> frame{1.0f, 0.0f, 0.0f, 0.0f};
    ASSERT_TRUE(fft.calculate(frame));
    std::vector<float> power;
    testsupport::LogCapture capture;
    ffttest::failNextAllocation();
    EXPECT_FALSE(fft.getFftResultsPowerSpectrum(power, 0, 1.0f));
    ffttest::allowAllocations();
    EXPECT_EQ(ffttest::levelsAndTexts(capture),
              (std::vector<std::string>{
                  "W processResultData \"F\" Failed to fill the result vector by the FFT results! "
                  "Error message:  std::bad_alloc"}));
}

TEST(IppFft, ComplexResultsWarnWhenTheOutputCannotGrow) {
    IppFft fft("F");
    std::vector<float> frame{1.0f, 0.0f, 0.0f, 0.0f};
    ASSERT_TRUE(fft.calculate(frame));
    std::vector<std::complex<float>> bins;
    testsupport::LogCapture capture;
    ffttest::failNextAllocation();
    EXPECT_FALSE(fft.getFftResultsComplex(bins, 0));
    ffttest::allowAllocations();
    EXPECT_EQ(ffttest::levelsAndTexts(capture),
              (std::vector<std::string>{
                  "W getFftResultsComplex \"F\" Failed to fill the vector by the FFT results! "
                  "Error message:  std::bad_alloc"}));
}

TEST(IppFft, DestructionReleasesEveryBuffer) {
    auto fft = std::make_unique<IppFft>("F");
    const std::string managed = std::to_string(managedBuffersAt(2));
    testsupport::LogCapture capture;
    fft.reset();
    EXPECT_EQ(ffttest::levelsAndTexts(capture),
              (std::vector<std::string>{"D ~IppFftBufferManager \"F\" Try to release the managed buffers...",
                                        "D freeBuffers \"F\" Available amount of buffers:  " + managed +
                                            " . Buffers released:  " + managed}));
}

TEST(IppFft, AnOrderChangeOnAnotherThreadNeverMeetsATransformHalfWay) {
    const std::vector<float> table16 = windowTable(4);
    const std::vector<float> table32 = windowTable(5);
    IppFft fft("F");
    ASSERT_TRUE(fft.setWindowing(true));
    testsupport::LogCapture capture;
    std::atomic<bool> done{false};
    std::thread changer([&] {
        for (int round = 0; round < 200 && !done.load(); ++round) {
            fft.setFftOrder(round % 2 == 0 ? 4 : 5);
        }
    });
    for (int round = 0; round < 400; ++round) {
        const std::vector<float>& table = round % 2 == 0 ? table16 : table32;
        const std::vector<float> original =
            ffttest::seededFrame(table.size(), static_cast<std::uint32_t>(round));
        std::vector<float> frame = original;
        if (fft.calculate(frame)) {
            // Accepted: windowed by the table of its own length, all of it.
            for (std::size_t n = 0; n < frame.size(); ++n) {
                ASSERT_EQ(frame[n], original[n] * table[n]) << "round " << round << " point " << n;
            }
        } else {
            ASSERT_EQ(frame, original) << "round " << round;
        }
    }
    done.store(true);
    changer.join();
}

#if defined(__SANITIZE_ADDRESS__)
constexpr bool addressSanitizerBuild = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
constexpr bool addressSanitizerBuild = true;
#else
constexpr bool addressSanitizerBuild = false;
#endif
#else
constexpr bool addressSanitizerBuild = false;
#endif

// Address space limited to a little above what the process uses, so that the buffers of a large order cannot
// be had; restored when the test ends. The sanitizer builds map their shadow memory up front and must not run
// out of address space, so there the tests are skipped.
class ExhaustedMemory : public testing::Test {
protected:
    static constexpr std::size_t largeOrder = 24;
    // Less than the smallest buffer of order 24, a float buffer of 64 MiB.
    static constexpr rlim_t headroom = rlim_t{32} << 20;

    void SetUp() override {
        if (addressSanitizerBuild) {
            GTEST_SKIP() << "address space cannot be limited under AddressSanitizer";
        }
        ASSERT_EQ(getrlimit(RLIMIT_AS, &saved), 0);
        std::ifstream statm("/proc/self/statm");
        rlim_t pages = 0;
        statm >> pages;
        rlimit limited = saved;
        limited.rlim_cur = pages * static_cast<rlim_t>(sysconf(_SC_PAGESIZE)) + headroom;
        ASSERT_EQ(setrlimit(RLIMIT_AS, &limited), 0);
        limitSet = true;
        ASSERT_TRUE(fft.setWindowing(true));
        capture = std::make_unique<testsupport::LogCapture>();
        result = fft.setFftOrder(largeOrder);
        restore();
    }

    void TearDown() override { restore(); }

    void restore() {
        if (limitSet) {
            setrlimit(RLIMIT_AS, &saved);
            limitSet = false;
        }
    }

    IppFft fft{"F"};
    rlimit saved{};
    bool limitSet = false;
    std::unique_ptr<testsupport::LogCapture> capture;
    bool result = true;
};

TEST_F(ExhaustedMemory, AFailedOrderChangeWarnsAndKeepsTheNewOrder) {
    EXPECT_FALSE(result);
    EXPECT_EQ(fft.getFftOrder(), largeOrder);
    EXPECT_EQ(fft.getFftSize(), std::size_t{1} << largeOrder);
    EXPECT_TRUE(capture->contains(QtWarningMsg,
                                  "allocateAllIppBuffersFromSameSize \"F\" Cannot set the IPP buffers "
                                  "to size:  16777216 ! Allocation failed!"));
    EXPECT_TRUE(capture->contains(QtDebugMsg,
                                  "showFftInitializeMessage \"F\" IPP FFT initialization failed! Error "
                                  "description:  ippStsNullPtrErr: Null pointer error"));
    EXPECT_TRUE(capture->contains(QtWarningMsg, "setFftOrder \"F\" FFT order set to value ' 24 'failed!"));
    EXPECT_FALSE(capture->contains(QtDebugMsg, "setFftOrder \"F\" FFT order is changed to:  24"));
}

TEST_F(ExhaustedMemory, WithoutBuffersEveryResultOperationWarns) {
    capture->clear();
    std::vector<std::complex<float>> bins;
    std::vector<float> values;
    EXPECT_FALSE(fft.getFftResultsComplex(bins, 0));
    EXPECT_FALSE(fft.getFftResultsPowerSpectrum(values, 0, 1.0f));
    EXPECT_FALSE(fft.getFftResultsMagnitude(values, 0, 1.0f));
    EXPECT_EQ(ffttest::levelsAndTexts(*capture),
              (std::vector<std::string>{"W getFftResultsComplex \"F\" FFT output vector not initialized! "
                                        "Please ran the FFT calculate method?",
                                        "W getFftResultsPowerSpectrum \"F\" Power value conversion failed! "
                                        "Error message:  ippStsNullPtrErr: "
                                        "Null pointer error",
                                        "W getFftResultsMagnitude \"F\" Magnitude conversion failed! Error "
                                        "message:  ippStsNullPtrErr: Null "
                                        "pointer error"}));
}

TEST_F(ExhaustedMemory, WithoutBuffersATransformFailsWithoutAMessage) {
    std::vector<float> frame(std::size_t{1} << largeOrder, 1.0f);
    capture->clear();
    EXPECT_FALSE(fft.calculate(frame));
    EXPECT_TRUE(capture->lines().empty());
}

TEST_F(ExhaustedMemory, ALaterOrderChangeMakesTheObjectUsableAgain) {
    EXPECT_TRUE(fft.setFftOrder(3));
    std::vector<float> frame(8, 1.0f);
    EXPECT_TRUE(fft.calculate(frame));
}
