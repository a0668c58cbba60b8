#include "IppTestSupport.h"

#include "ipp/detail/IirLayout.h"
#include "ipp/ippsiir.h"
#include "support/Tolerances.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

namespace sonacore::ipp::test {
namespace {

// The cascade in long double, transposed direct form II on taps divided by a0, sample by sample.
class ReferenceCascade {
public:
    ReferenceCascade(const std::vector<double>& taps, const std::vector<double>& delayLine = {})
        : sectionCount(taps.size() / 6), referenceTaps(taps.begin(), taps.end()),
          delays(2 * sectionCount, 0.0L) {
        for (std::size_t i = 0; i < delayLine.size(); ++i) {
            delays[i] = delayLine[i];
        }
    }

    std::vector<long double> run(const std::vector<double>& input) {
        std::vector<long double> output(input.size());
        for (std::size_t n = 0; n < input.size(); ++n) {
            long double x = input[n];
            for (std::size_t s = 0; s < sectionCount; ++s) {
                const long double* t = &referenceTaps[6 * s];
                long double* d = &delays[2 * s];
                const long double y = t[0] / t[3] * x + d[0];
                d[0] = t[1] / t[3] * x - t[4] / t[3] * y + d[1];
                d[1] = t[2] / t[3] * x - t[5] / t[3] * y;
                x = y;
            }
            output[n] = x;
        }
        return output;
    }

private:
    std::size_t sectionCount;
    std::vector<long double> referenceTaps;
    std::vector<long double> delays;
};

// Stable sections with poles of radius up to 0.995, random zeros and a0 other than 1.
std::vector<double> randomTaps(int sections, std::uint32_t seed) {
    std::mt19937 generator(seed);
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    std::vector<double> taps;
    for (int s = 0; s < sections; ++s) {
        const double radius = 0.5 + 0.495 * unit(generator);
        const double angle = 0.01 + 3.1 * unit(generator);
        const double a0 = 0.5 + 2.0 * unit(generator);
        const double b0 = 0.1 + unit(generator);
        taps.insert(taps.end(),
                    {b0 * a0, (2.0 * unit(generator) - 1.0) * a0, (2.0 * unit(generator) - 1.0) * a0, a0,
                     -2.0 * radius * std::cos(angle) * a0, radius * radius * a0});
    }
    return taps;
}

struct Cascade {
    std::vector<unsigned char> buffer;
    IirState* state = nullptr;
};

Cascade makeCascade(const std::vector<double>& taps, const double* delayLine = nullptr) {
    Cascade cascade;
    const int sections = static_cast<int>(taps.size() / 6);
    int size = 0;
    EXPECT_EQ(ippsIIRGetStateSize_BiQuad_64f(sections, &size), ippStsNoErr);
    cascade.buffer.assign(size, 0xcd);
    EXPECT_EQ(ippsIIRInit_BiQuad_64f(&cascade.state, taps.data(), sections, delayLine, cascade.buffer.data()),
              ippStsNoErr);
    return cascade;
}

// The largest error over the largest reference value.
double relativeError(const std::vector<double>& actual, const std::vector<long double>& reference) {
    long double maxError = 0.0L;
    long double maxReference = 0.0L;
    for (std::size_t i = 0; i < actual.size(); ++i) {
        if (std::isnan(actual[i])) {
            return std::numeric_limits<double>::infinity();
        }
        maxError = std::max(maxError, std::fabs(actual[i] - reference[i]));
        maxReference = std::max(maxReference, std::fabs(reference[i]));
    }
    return static_cast<double>(maxError / maxReference);
}

class BiquadCascade : public FamilyTest {};

TEST_P(BiquadCascade, GetStateSizeChecksPointerThenOrder) {
    int size = -1;
    EXPECT_EQ(ippsIIRGetStateSize_BiQuad_64f(0, nullptr), ippStsNullPtrErr);
    EXPECT_EQ(ippsIIRGetStateSize_BiQuad_64f(0, &size), ippStsIIROrderErr);
    EXPECT_EQ(ippsIIRGetStateSize_BiQuad_64f(-2, &size), ippStsIIROrderErr);
    EXPECT_EQ(size, -1);
}

TEST_P(BiquadCascade, GetStateSizeFollowsTheLayoutFormula) {
    for (int sections : {1, 2, 3, 7}) {
        int size = 0;
        ASSERT_EQ(ippsIIRGetStateSize_BiQuad_64f(sections, &size), ippStsNoErr);
        EXPECT_EQ(size, 16 * ((40 * sections + 15) / 16 + sections) + (32 * sections + 1024) * 8 + 960);
    }
}

TEST_P(BiquadCascade, InitChecksPointersThenOrder) {
    const std::vector<double> taps = {1, 0, 0, 1, 0, 0};
    std::vector<unsigned char> buffer(16384);
    IirState* state = nullptr;
    EXPECT_EQ(ippsIIRInit_BiQuad_64f(&state, nullptr, 0, nullptr, buffer.data()), ippStsNullPtrErr);
    EXPECT_EQ(ippsIIRInit_BiQuad_64f(nullptr, taps.data(), 0, nullptr, buffer.data()), ippStsNullPtrErr);
    EXPECT_EQ(ippsIIRInit_BiQuad_64f(&state, taps.data(), 0, nullptr, nullptr), ippStsNullPtrErr);
    EXPECT_EQ(ippsIIRInit_BiQuad_64f(&state, taps.data(), 0, nullptr, buffer.data()), ippStsIIROrderErr);
    EXPECT_EQ(ippsIIRInit_BiQuad_64f(&state, taps.data(), 1, nullptr, buffer.data()), ippStsNoErr);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(state) % 32, 0u);
}

TEST_P(BiquadCascade, InitRefusesAZeroA0OrB0) {
    std::vector<unsigned char> buffer(16384);
    IirState* state = nullptr;
    const std::vector<double> zeroA0 = {1, 0, 0, 1, 0, 0, 1, 0.5, 0, 0.0, 0.1, 0};
    EXPECT_EQ(ippsIIRInit_BiQuad_64f(&state, zeroA0.data(), 2, nullptr, buffer.data()), ippStsDivByZeroErr);
    const std::vector<double> zeroB0 = {0.0, 1, 0, 1, 0, 0};
    EXPECT_EQ(ippsIIRInit_BiQuad_64f(&state, zeroB0.data(), 1, nullptr, buffer.data()), ippStsDivByZeroErr);
    EXPECT_EQ(state, nullptr);
}

TEST_P(BiquadCascade, InitLetsNaNTapsPass) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const std::vector<double> taps = {nan, 0, 0, nan, 0, 0};
    std::vector<unsigned char> buffer(16384);
    IirState* state = nullptr;
    EXPECT_EQ(ippsIIRInit_BiQuad_64f(&state, taps.data(), 1, nullptr, buffer.data()), ippStsNoErr);
}

TEST_P(BiquadCascade, FilterChecksPointersLengthThenIdentity) {
    Cascade cascade = makeCascade({1, 0, 0, 1, 0, 0});
    double x[4] = {};
    EXPECT_EQ(ippsIIR_64f(x, x, 4, nullptr), ippStsNullPtrErr);
    EXPECT_EQ(ippsIIR_64f(nullptr, x, 0, cascade.state), ippStsNullPtrErr);
    EXPECT_EQ(ippsIIR_64f(x, nullptr, 0, cascade.state), ippStsNullPtrErr);
    EXPECT_EQ(ippsIIR_64f(x, x, 0, cascade.state), ippStsSizeErr);
    EXPECT_EQ(ippsIIR_64f(x, x, -1, cascade.state), ippStsSizeErr);
    std::vector<unsigned char> garbage(16384, 0x11);
    EXPECT_EQ(ippsIIR_64f(x, x, 4, reinterpret_cast<IirState*>(garbage.data())), ippStsContextMatchErr);
}

TEST_P(BiquadCascade, FilterAcceptsTheDirectFormIdentity) {
    Cascade cascade = makeCascade({1, 0, 0, 1, 0, 0});
    const std::int32_t directForm = 0x49493133;
    std::memcpy(cascade.state, &directForm, sizeof directForm);
    double x[4] = {1, 2, 3, 4};
    EXPECT_EQ(ippsIIR_64f(x, x, 4, cascade.state), ippStsNoErr);
}

TEST_P(BiquadCascade, NumBqZeroIsRefusedByBothSetUpFunctions) {
    int size = 0;
    std::vector<unsigned char> buffer(16384);
    IirState* state = nullptr;
    const double taps[6] = {1, 0, 0, 1, 0, 0};
    EXPECT_EQ(ippsIIRGetStateSize_BiQuad_64f(0, &size), ippStsIIROrderErr);
    EXPECT_EQ(ippsIIRInit_BiQuad_64f(&state, taps, 0, nullptr, buffer.data()), ippStsIIROrderErr);
}

TEST_P(BiquadCascade, IdentitySectionsPassTheInputUnchanged) {
    for (int sections : {1, 3, 5}) {
        std::vector<double> taps;
        for (int s = 0; s < sections; ++s) {
            taps.insert(taps.end(), {1, 0, 0, 1, 0, 0});
        }
        Cascade cascade = makeCascade(taps);
        const std::vector<double> input = randomDoubles(3000, 31u);
        std::vector<double> output = nanFilled<double>(3000);
        ASSERT_EQ(ippsIIR_64f(input.data(), output.data(), 3000, cascade.state), ippStsNoErr);
        EXPECT_EQ(output, input) << sections;
    }
}

TEST_P(BiquadCascade, MatchesTheLongDoubleReference) {
    for (int sections = 1; sections <= 9; ++sections) {
        const std::vector<double> taps = randomTaps(sections, 40u + sections);
        Cascade cascade = makeCascade(taps);
        const std::vector<double> input = randomDoubles(5000, 50u + sections);
        std::vector<double> output = nanFilled<double>(input.size());
        ASSERT_EQ(ippsIIR_64f(input.data(), output.data(), static_cast<int>(input.size()), cascade.state),
                  ippStsNoErr);
        EXPECT_LE(relativeError(output, ReferenceCascade(taps).run(input)),
                  testsupport::tolerance::iirRelative)
            << sections;
    }
}

TEST_P(BiquadCascade, AnySplitIntoCallsActsAsOneStream) {
    const std::vector<double> taps = randomTaps(3, 60u);
    const std::vector<double> input = randomDoubles(20000, 61u);
    const std::vector<long double> reference = ReferenceCascade(taps).run(input);
    std::mt19937 generator(62u);
    for (int trial = 0; trial < 5; ++trial) {
        Cascade cascade = makeCascade(taps);
        std::vector<double> output = nanFilled<double>(input.size());
        std::size_t done = 0;
        // Short calls (sample by sample), calls around the block threshold and the chunk size, long calls.
        const int lengths[] = {1, 2, 5, 12, 13, 100, 1023, 1024, 1025, 3000};
        while (done < input.size()) {
            const std::size_t length = std::min<std::size_t>(lengths[generator() % 10], input.size() - done);
            ASSERT_EQ(ippsIIR_64f(input.data() + done, output.data() + done, static_cast<int>(length),
                                  cascade.state),
                      ippStsNoErr);
            done += length;
        }
        EXPECT_LE(relativeError(output, reference), testsupport::tolerance::iirRelative) << trial;
    }
}

TEST_P(BiquadCascade, OneThenMoreSamplesEqualOneCall) {
    const std::vector<double> taps = randomTaps(2, 70u);
    const std::vector<double> input = randomDoubles(1024, 71u);
    Cascade whole = makeCascade(taps);
    std::vector<double> once(1024);
    ASSERT_EQ(ippsIIR_64f(input.data(), once.data(), 1024, whole.state), ippStsNoErr);
    Cascade split = makeCascade(taps);
    std::vector<double> twice(1024);
    ASSERT_EQ(ippsIIR_64f(input.data(), twice.data(), 1, split.state), ippStsNoErr);
    ASSERT_EQ(ippsIIR_64f(input.data() + 1, twice.data() + 1, 1023, split.state), ippStsNoErr);
    for (int n = 0; n < 1024; ++n) {
        ASSERT_NEAR(twice[n], once[n], testsupport::tolerance::iirRelative * (1.0 + std::fabs(once[n]))) << n;
    }
}

TEST_P(BiquadCascade, FiltersInPlace) {
    const std::vector<double> taps = randomTaps(4, 80u);
    const std::vector<double> input = randomDoubles(4000, 81u);
    Cascade cascade = makeCascade(taps);
    std::vector<double> data = input;
    ASSERT_EQ(ippsIIR_64f(data.data(), data.data(), 4000, cascade.state), ippStsNoErr);
    EXPECT_LE(relativeError(data, ReferenceCascade(taps).run(input)), testsupport::tolerance::iirRelative);
}

TEST_P(BiquadCascade, StartsFromAGivenDelayLine) {
    const std::vector<double> taps = randomTaps(3, 90u);
    const std::vector<double> delayLine = {0.3, -0.2, 0.1, 0.05, -0.4, 0.25};
    const std::vector<double> input = randomDoubles(2500, 91u);
    Cascade cascade = makeCascade(taps, delayLine.data());
    std::vector<double> output = nanFilled<double>(input.size());
    ASSERT_EQ(ippsIIR_64f(input.data(), output.data(), 2500, cascade.state), ippStsNoErr);
    EXPECT_LE(relativeError(output, ReferenceCascade(taps, delayLine).run(input)),
              testsupport::tolerance::iirRelative);
}

TEST_P(BiquadCascade, DoesNotReadTheTapsAfterInit) {
    std::vector<double> taps = randomTaps(2, 100u);
    const std::vector<double> original = taps;
    Cascade cascade = makeCascade(taps);
    std::fill(taps.begin(), taps.end(), std::numeric_limits<double>::quiet_NaN());
    const std::vector<double> input = randomDoubles(3000, 101u);
    std::vector<double> output = nanFilled<double>(input.size());
    ASSERT_EQ(ippsIIR_64f(input.data(), output.data(), 3000, cascade.state), ippStsNoErr);
    EXPECT_LE(relativeError(output, ReferenceCascade(original).run(input)),
              testsupport::tolerance::iirRelative);
}

TEST_P(BiquadCascade, HandlesSectionsWithTinyB0) {
    // Products of b0 that leave the double range must not turn the output into zeros or NaN.
    std::vector<double> taps = randomTaps(4, 110u);
    for (int s = 1; s < 4; ++s) {
        for (int i = 0; i < 3; ++i) {
            taps[6 * s + i] *= 1e-120;
        }
    }
    Cascade cascade = makeCascade(taps);
    std::vector<double> input = randomDoubles(3000, 111u);
    for (double& x : input) {
        x *= 1e300;
    }
    std::vector<double> output = nanFilled<double>(input.size());
    ASSERT_EQ(ippsIIR_64f(input.data(), output.data(), 3000, cascade.state), ippStsNoErr);
    EXPECT_LE(relativeError(output, ReferenceCascade(taps).run(input)), testsupport::tolerance::iirRelative);
}

INSTANTIATE_TEST_SUITE_P(Variants, BiquadCascade, testing::ValuesIn(supportedFamilies()), familyName);

} // namespace
} // namespace sonacore::ipp::test
