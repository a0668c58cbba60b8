#include "IppTestSupport.h"

#include "ipp/detail/CpuFeatures.h"
#include "ipp/detail/FftLayout.h"
#include "ipp/ippsfft.h"
#include "ipp/ippsmemory.h"
#include "support/Tolerances.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <vector>

namespace sonacore::ipp::test {
namespace {

using Spectrum = std::vector<std::complex<long double>>;

constexpr long double pi = 3.14159265358979323846264338327950288L;

// Bins 0 .. N/2 of the unscaled DFT, summed directly in long double from a table of the N roots of unity.
Spectrum naiveDft(const std::vector<float>& x) {
    const std::size_t n = x.size();
    std::vector<long double> cosines(n);
    std::vector<long double> sines(n);
    for (std::size_t j = 0; j < n; ++j) {
        const long double angle = 2.0L * pi * static_cast<long double>(j) / n;
        cosines[j] = std::cos(angle);
        sines[j] = std::sin(angle);
    }
    Spectrum bins(n / 2 + 1);
    for (std::size_t k = 0; k <= n / 2; ++k) {
        long double re = 0.0L;
        long double im = 0.0L;
        for (std::size_t j = 0; j < n; ++j) {
            const std::size_t index = (k * j) % n;
            re += x[j] * cosines[index];
            im -= x[j] * sines[index];
        }
        bins[k] = {re, im};
    }
    return bins;
}

// Recursive radix-2 transform in long double, for the orders where the direct sum would take too long.
void radix2(std::complex<long double>* data, std::size_t n, std::size_t stride,
            std::complex<long double>* out, const std::vector<std::complex<long double>>& roots,
            std::size_t rootStep) {
    if (n == 1) {
        out[0] = data[0];
        return;
    }
    radix2(data, n / 2, stride * 2, out, roots, rootStep * 2);
    radix2(data + stride, n / 2, stride * 2, out + n / 2, roots, rootStep * 2);
    for (std::size_t k = 0; k < n / 2; ++k) {
        const std::complex<long double> t = roots[k * rootStep] * out[k + n / 2];
        out[k + n / 2] = out[k] - t;
        out[k] = out[k] + t;
    }
}

Spectrum referenceSpectrum(const std::vector<float>& x) {
    const std::size_t n = x.size();
    if (n <= 4096) {
        return naiveDft(x);
    }
    std::vector<std::complex<long double>> roots(n / 2);
    for (std::size_t k = 0; k < n / 2; ++k) {
        const long double angle = 2.0L * pi * k / n;
        roots[k] = {std::cos(angle), -std::sin(angle)};
    }
    std::vector<std::complex<long double>> data(x.begin(), x.end());
    std::vector<std::complex<long double>> out(n);
    radix2(data.data(), n, 1, out.data(), roots, 1);
    return Spectrum(out.begin(), out.begin() + n / 2 + 1);
}

struct FftSetup {
    std::vector<unsigned char> specMemory;
    std::vector<unsigned char> workBuffer;
    FftSpec* fftSpec = nullptr;
};

FftSetup makeFft(int order, int flag) {
    FftSetup setup;
    int specSize = 0;
    int specBufferSize = 0;
    int workSize = 0;
    EXPECT_EQ(ippsFFTGetSize_R_32f(order, flag, 2, &specSize, &specBufferSize, &workSize), ippStsNoErr);
    setup.specMemory.assign(specSize, 0xa5);
    setup.workBuffer.assign(workSize, 0xa5);
    std::vector<unsigned char> specBuffer(specBufferSize);
    EXPECT_EQ(ippsFFTInit_R_32f(&setup.fftSpec, order, flag, 2, setup.specMemory.data(),
                                specBuffer.empty() ? nullptr : specBuffer.data()),
              ippStsNoErr);
    return setup;
}

struct Errors {
    double rmsRelative = 0.0;
    double maxRelative = 0.0;
};

// Errors of a CCS output against the reference scaled by `scale`: the RMS error over the RMS of the
// reference, and the largest error of any bin over the largest reference bin.
Errors compare(const std::vector<float>& ccs, const Spectrum& reference, long double scale) {
    long double errorSquares = 0.0L;
    long double referenceSquares = 0.0L;
    long double maxError = 0.0L;
    long double maxReference = 0.0L;
    for (std::size_t k = 0; k < reference.size(); ++k) {
        const std::complex<long double> expected = reference[k] * scale;
        const std::complex<long double> actual{ccs[2 * k], ccs[2 * k + 1]};
        const long double error = std::abs(actual - expected);
        errorSquares += error * error;
        referenceSquares += std::norm(expected);
        maxError = std::max(maxError, error);
        maxReference = std::max(maxReference, std::abs(expected));
    }
    return {static_cast<double>(std::sqrt(errorSquares / referenceSquares)),
            static_cast<double>(maxError / maxReference)};
}

class FftAccuracy : public testing::TestWithParam<std::tuple<int, int>> {
protected:
    void SetUp() override {
        savedJumpIndex = ippJumpIndexForMergedLibs.load();
        ippJumpIndexForMergedLibs.store(std::get<0>(GetParam()));
    }
    void TearDown() override { ippJumpIndexForMergedLibs.store(savedJumpIndex); }

private:
    std::int32_t savedJumpIndex = -1;
};

TEST_P(FftAccuracy, MatchesLongDoubleReferenceOnRandomInput) {
    const int order = std::get<1>(GetParam());
    const std::size_t n = std::size_t{1} << order;
    const std::vector<float> input = randomFloats(n, 1000u + order);
    const std::vector<float> inputCopy = input;
    FftSetup fft = makeFft(order, 1);
    std::vector<float> output = nanFilled<float>(n + 2);
    ASSERT_EQ(ippsFFTFwd_RToCCS_32f(input.data(), output.data(), fft.fftSpec, fft.workBuffer.data()),
              ippStsNoErr);

    for (std::size_t i = 0; i < n + 2; ++i) {
        ASSERT_FALSE(std::isnan(output[i])) << "element " << i << " not written";
    }
    EXPECT_EQ(output[1], 0.0f);
    EXPECT_EQ(output[n + 1], 0.0f);
    EXPECT_FALSE(std::signbit(output[1]));
    EXPECT_FALSE(std::signbit(output[n + 1]));
    EXPECT_EQ(std::memcmp(input.data(), inputCopy.data(), n * sizeof(float)), 0) << "source changed";

    const Errors errors = compare(output, referenceSpectrum(input), 1.0L / n);
    char text[64];
    std::snprintf(text, sizeof text, "%.3e %.3e", errors.rmsRelative, errors.maxRelative);
    RecordProperty("rmsAndMaxRelativeError", text);
    EXPECT_LE(errors.rmsRelative, testsupport::tolerance::fftRmsRelative);
    EXPECT_LE(errors.maxRelative, testsupport::tolerance::fftMaxRelative);
}

std::string accuracyName(const testing::TestParamInfo<std::tuple<int, int>>& info) {
    static const char* const names[] = {"y8", "e9", "l9", "k0"};
    return std::string(names[std::get<0>(info.param)]) + "_order" + std::to_string(std::get<1>(info.param));
}

INSTANTIATE_TEST_SUITE_P(AllOrders, FftAccuracy,
                         testing::Combine(testing::ValuesIn(supportedFamilies()), testing::Range(1, 21)),
                         accuracyName);

class FftContract : public FamilyTest {
protected:
    bool newerVariant() const { return GetParam() >= detail::familyL9; }
};

TEST_P(FftContract, GetSizeChecksOrderPointersAndFlagInOrder) {
    int a = 0;
    int b = 0;
    int c = 0;
    EXPECT_EQ(ippsFFTGetSize_R_32f(-1, 1, 2, &a, &b, &c), ippStsFftOrderErr);
    EXPECT_EQ(ippsFFTGetSize_R_32f(31, 1, 2, nullptr, &b, &c), ippStsFftOrderErr);
    EXPECT_EQ(ippsFFTGetSize_R_32f(10, 3, 2, nullptr, &b, &c), ippStsNullPtrErr);
    EXPECT_EQ(ippsFFTGetSize_R_32f(10, 1, 2, &a, nullptr, &c), ippStsNullPtrErr);
    EXPECT_EQ(ippsFFTGetSize_R_32f(10, 1, 2, &a, &b, nullptr), ippStsNullPtrErr);
    for (int flag : {0, 3, 5, 16, -1}) {
        EXPECT_EQ(ippsFFTGetSize_R_32f(10, flag, 2, &a, &b, &c), ippStsFftFlagErr) << flag;
    }
    EXPECT_EQ(ippsFFTGetSize_R_32f(30, 1, 2, &a, &b, &c), ippStsFftOrderErr);
}

TEST_P(FftContract, GetSizeOfOrderThirtyWithABadFlagDependsOnTheVariant) {
    int a = 0;
    int b = 0;
    int c = 0;
    EXPECT_EQ(ippsFFTGetSize_R_32f(30, 3, 2, &a, &b, &c),
              newerVariant() ? ippStsFftOrderErr : ippStsFftFlagErr);
}

TEST_P(FftContract, GetSizeUpToOrderTenFollowsTheFixedFormula) {
    for (int order = 0; order <= 10; ++order) {
        int specSize = -1;
        int specBufferSize = -1;
        int workSize = -1;
        ASSERT_EQ(ippsFFTGetSize_R_32f(order, 1, 2, &specSize, &specBufferSize, &workSize), ippStsNoErr);
        EXPECT_EQ(specSize, (9 << order) + 2048) << order;
        EXPECT_EQ(specBufferSize, 0) << order;
        EXPECT_EQ(workSize, order > 5 ? (4 << order) + 128 : 0) << order;
    }
}

TEST_P(FftContract, GetSizeOfOrderTwentyNineReportsThatNoMemoryCanHoldIt) {
    int a = -1;
    int b = -1;
    int c = -1;
    EXPECT_EQ(ippsFFTGetSize_R_32f(29, 1, 2, &a, &b, &c), ippStsNoMemErr);
    EXPECT_EQ(a, -1);
}

TEST_P(FftContract, InitOfOrderTwentyNineIsRefused) {
    std::vector<unsigned char> memory(64);
    FftSpec* fftSpec = nullptr;
    EXPECT_EQ(ippsFFTInit_R_32f(&fftSpec, 29, 1, 2, memory.data(), nullptr),
              newerVariant() ? ippStsFftOrderErr : ippStsNoMemErr);
    EXPECT_EQ(fftSpec, nullptr);
}

TEST_P(FftContract, GetSizeGivesSizesUpToTheLargestOrder) {
    for (int order = 11; order <= 28; ++order) {
        int specSize = -1;
        int specBufferSize = -1;
        int workSize = -1;
        ASSERT_EQ(ippsFFTGetSize_R_32f(order, 1, 2, &specSize, &specBufferSize, &workSize), ippStsNoErr);
        EXPECT_GT(specSize, 0) << order;
        EXPECT_EQ(specBufferSize, 0) << order;
        EXPECT_GE(static_cast<long long>(workSize), 4LL << order) << order;
    }
}

TEST_P(FftContract, OrderZeroPassesTheChecksOfAllThree) {
    FftSetup fft = makeFft(0, 1);
    const float input[1] = {0.75f};
    float output[3] = {NAN, NAN, NAN};
    EXPECT_EQ(ippsFFTFwd_RToCCS_32f(input, output, fft.fftSpec, nullptr), ippStsNoErr);
    EXPECT_EQ(output[0], 0.75f);
    EXPECT_EQ(output[1], 0.0f);
}

TEST_P(FftContract, InitChecksInOrder) {
    std::vector<unsigned char> memory(4096 + 64);
    FftSpec* fftSpec = nullptr;
    EXPECT_EQ(ippsFFTInit_R_32f(nullptr, -1, 3, 2, nullptr, nullptr), ippStsNullPtrErr);
    EXPECT_EQ(ippsFFTInit_R_32f(&fftSpec, -1, 1, 2, nullptr, nullptr), ippStsFftOrderErr);
    EXPECT_EQ(ippsFFTInit_R_32f(&fftSpec, 30, 1, 2, memory.data(), nullptr), ippStsFftOrderErr);
    EXPECT_EQ(ippsFFTInit_R_32f(&fftSpec, 4, 1, 2, nullptr, nullptr), ippStsNullPtrErr);
    EXPECT_EQ(ippsFFTInit_R_32f(&fftSpec, 4, 3, 2, memory.data(), nullptr), ippStsFftFlagErr);
    EXPECT_EQ(fftSpec, nullptr);
    EXPECT_EQ(ippsFFTInit_R_32f(&fftSpec, 4, 1, 2, memory.data(), nullptr), ippStsNoErr);
    EXPECT_NE(fftSpec, nullptr);
}

TEST_P(FftContract, InitPlacesTheObjectAtA64ByteBoundary) {
    int specSize = 0;
    int specBufferSize = 0;
    int workSize = 0;
    ASSERT_EQ(ippsFFTGetSize_R_32f(12, 1, 2, &specSize, &specBufferSize, &workSize), ippStsNoErr);
    std::vector<unsigned char> memory(specSize + 1);
    FftSpec* fftSpec = nullptr;
    ASSERT_EQ(ippsFFTInit_R_32f(&fftSpec, 12, 1, 2, memory.data() + 1, nullptr), ippStsNoErr);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(fftSpec) % 64, 0u);
    std::int32_t identity = 0;
    std::memcpy(&identity, fftSpec, sizeof identity);
    EXPECT_EQ(identity, 7);
}

TEST_P(FftContract, TransformChecksInOrder) {
    FftSetup fft = makeFft(8, 1);
    std::vector<float> input(256, 1.0f);
    std::vector<float> output(258);
    EXPECT_EQ(ippsFFTFwd_RToCCS_32f(nullptr, nullptr, nullptr, nullptr), ippStsNullPtrErr);
    std::vector<unsigned char> garbage(4096, 0x3c);
    EXPECT_EQ(
        ippsFFTFwd_RToCCS_32f(nullptr, nullptr, reinterpret_cast<const FftSpec*>(garbage.data()), nullptr),
        ippStsContextMatchErr);
    EXPECT_EQ(ippsFFTFwd_RToCCS_32f(nullptr, output.data(), fft.fftSpec, fft.workBuffer.data()),
              ippStsNullPtrErr);
    EXPECT_EQ(ippsFFTFwd_RToCCS_32f(input.data(), nullptr, fft.fftSpec, fft.workBuffer.data()),
              ippStsNullPtrErr);
    EXPECT_EQ(ippsFFTFwd_RToCCS_32f(input.data(), output.data(), fft.fftSpec, fft.workBuffer.data()),
              ippStsNoErr);
}

TEST_P(FftContract, UninitialisedMemoryIsRefusedNotCrashedOn) {
    std::vector<unsigned char> zeros(4096, 0);
    float input[4] = {};
    float output[6] = {};
    EXPECT_EQ(ippsFFTFwd_RToCCS_32f(input, output, reinterpret_cast<const FftSpec*>(zeros.data()), nullptr),
              ippStsContextMatchErr);
}

TEST_P(FftContract, ConstantOneGivesOneInBinZeroOnly) {
    for (int order : {1, 2, 4, 5, 6, 9, 10, 13}) {
        const std::size_t n = std::size_t{1} << order;
        FftSetup fft = makeFft(order, 1);
        std::vector<float> input(n, 1.0f);
        std::vector<float> output = nanFilled<float>(n + 2);
        ASSERT_EQ(ippsFFTFwd_RToCCS_32f(input.data(), output.data(), fft.fftSpec, fft.workBuffer.data()),
                  ippStsNoErr);
        EXPECT_NEAR(output[0], 1.0f, static_cast<float>(testsupport::tolerance::fftBinAbsolute)) << order;
        for (std::size_t i = 1; i < n + 2; ++i) {
            ASSERT_NEAR(output[i], 0.0f, static_cast<float>(testsupport::tolerance::fftBinAbsolute))
                << order << " " << i;
        }
    }
}

TEST_P(FftContract, FlagsScaleTheSpectrum) {
    const int order = 9;
    const std::size_t n = std::size_t{1} << order;
    const std::vector<float> input = randomFloats(n, 77u);
    const Spectrum reference = referenceSpectrum(input);
    const long double scales[] = {1.0L / n, 1.0L, 1.0L / std::sqrt(static_cast<long double>(n)), 1.0L};
    const int flags[] = {1, 2, 4, 8};
    for (int i = 0; i < 4; ++i) {
        FftSetup fft = makeFft(order, flags[i]);
        std::vector<float> output = nanFilled<float>(n + 2);
        ASSERT_EQ(ippsFFTFwd_RToCCS_32f(input.data(), output.data(), fft.fftSpec, fft.workBuffer.data()),
                  ippStsNoErr);
        const Errors errors = compare(output, reference, scales[i]);
        EXPECT_LE(errors.rmsRelative, testsupport::tolerance::fftRmsRelative) << flags[i];
    }
}

TEST_P(FftContract, TransformLeavesTheObjectAsItWas) {
    FftSetup fft = makeFft(11, 1);
    const std::vector<unsigned char> before = fft.specMemory;
    const std::vector<float> input = randomFloats(2048, 5u);
    std::vector<float> first(2050);
    std::vector<float> second(2050);
    ASSERT_EQ(ippsFFTFwd_RToCCS_32f(input.data(), first.data(), fft.fftSpec, fft.workBuffer.data()),
              ippStsNoErr);
    ASSERT_EQ(ippsFFTFwd_RToCCS_32f(input.data(), second.data(), fft.fftSpec, fft.workBuffer.data()),
              ippStsNoErr);
    EXPECT_EQ(fft.specMemory, before);
    EXPECT_EQ(first, second);
}

TEST_P(FftContract, WorksWithAWorkBufferAtAnyAlignment) {
    const int order = 10;
    FftSetup fft = makeFft(order, 1);
    const std::vector<float> input = randomFloats(1024, 6u);
    std::vector<float> aligned(1026);
    ASSERT_EQ(ippsFFTFwd_RToCCS_32f(input.data(), aligned.data(), fft.fftSpec, fft.workBuffer.data()),
              ippStsNoErr);
    std::vector<unsigned char> work(fft.workBuffer.size() + 3);
    std::vector<float> shifted(1026);
    ASSERT_EQ(ippsFFTFwd_RToCCS_32f(input.data(), shifted.data(), fft.fftSpec, work.data() + 3), ippStsNoErr);
    EXPECT_EQ(aligned, shifted);
}

TEST_P(FftContract, ConjCcsChecksPointerThenLength) {
    std::complex<float> data[1] = {};
    EXPECT_EQ(ippsConjCcs_32fc_I(nullptr, 0), ippStsNullPtrErr);
    EXPECT_EQ(ippsConjCcs_32fc_I(nullptr, 4), ippStsNullPtrErr);
    EXPECT_EQ(ippsConjCcs_32fc_I(data, 0), ippStsSizeErr);
    EXPECT_EQ(ippsConjCcs_32fc_I(data, -3), ippStsSizeErr);
}

TEST_P(FftContract, ConjCcsOfLengthsOneAndTwoChangesNothing) {
    std::vector<std::complex<float>> data = {{1.0f, 2.0f}, {3.0f, 4.0f}};
    EXPECT_EQ(ippsConjCcs_32fc_I(data.data(), 1), ippStsNoErr);
    EXPECT_EQ(ippsConjCcs_32fc_I(data.data(), 2), ippStsNoErr);
    EXPECT_EQ(data, (std::vector<std::complex<float>>{{1.0f, 2.0f}, {3.0f, 4.0f}}));
}

TEST_P(FftContract, ConjCcsMirrorsAnEvenLength) {
    std::vector<std::complex<float>> data(8, {NAN, NAN});
    for (int k = 0; k <= 4; ++k) {
        data[k] = {static_cast<float>(k + 1), static_cast<float>(10 * k)};
    }
    ASSERT_EQ(ippsConjCcs_32fc_I(data.data(), 8), ippStsNoErr);
    EXPECT_EQ(data[0], std::complex<float>(1.0f, 0.0f));
    EXPECT_EQ(data[4], std::complex<float>(5.0f, 40.0f));
    for (int k = 1; k < 4; ++k) {
        EXPECT_EQ(data[8 - k], std::conj(data[k])) << k;
    }
}

TEST_P(FftContract, ConjCcsMirrorsAnOddLength) {
    std::vector<std::complex<float>> data(7, {NAN, NAN});
    for (int k = 0; k <= 3; ++k) {
        data[k] = {static_cast<float>(k + 1), static_cast<float>(10 * k)};
    }
    ASSERT_EQ(ippsConjCcs_32fc_I(data.data(), 7), ippStsNoErr);
    for (int k = 1; k <= 3; ++k) {
        EXPECT_EQ(data[7 - k], std::conj(data[k])) << k;
    }
}

TEST_P(FftContract, TransformThenConjCcsGivesAllBins) {
    const int order = 7;
    const std::size_t n = std::size_t{1} << order;
    FftSetup fft = makeFft(order, 1);
    const std::vector<float> input = randomFloats(n, 3u);
    std::vector<std::complex<float>> bins(n, {NAN, NAN});
    ASSERT_EQ(ippsFFTFwd_RToCCS_32f(input.data(), reinterpret_cast<float*>(bins.data()), fft.fftSpec,
                                    fft.workBuffer.data()),
              ippStsNoErr);
    ASSERT_EQ(ippsConjCcs_32fc_I(bins.data(), static_cast<int>(n)), ippStsNoErr);
    for (std::size_t k = 0; k < n; ++k) {
        long double re = 0.0L;
        long double im = 0.0L;
        for (std::size_t j = 0; j < n; ++j) {
            const long double angle = 2.0L * pi * static_cast<long double>((k * j) % n) / n;
            re += input[j] * std::cos(angle);
            im -= input[j] * std::sin(angle);
        }
        EXPECT_NEAR(bins[k].real(), static_cast<double>(re / n), testsupport::tolerance::fftBinAbsolute) << k;
        EXPECT_NEAR(bins[k].imag(), static_cast<double>(im / n), testsupport::tolerance::fftBinAbsolute) << k;
    }
}

INSTANTIATE_TEST_SUITE_P(Variants, FftContract, testing::ValuesIn(supportedFamilies()), familyName);

} // namespace
} // namespace sonacore::ipp::test
