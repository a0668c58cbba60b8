#include "process/SoundLevelTestSupport.h"
#include "process/SoundLevelValueConfig.h"
#include "process/SoundLevelValueProcessor.h"
#include "support/Tolerances.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <ostream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace {

using soundleveltest::SoundLevelRig;

// The cascades' responses are quoted to two decimals, so they are exact to half of the last digit, in dB.
constexpr double quotedResponseTolerance = 0.005;

// A settled fast level is the peak of a ripple at twice the tone's frequency; at 1 kHz that ripple is below
// 0.003 dB, so the level is read to this, in dB.
constexpr double settledLevelTolerance = 0.01;

constexpr std::size_t tenSeconds = 480000;
// A ring that holds all ten seconds, so that no block is overwritten before a late worker takes it.
constexpr std::uint64_t ringSize = 1 << 19;
constexpr std::size_t sampleAmount = 2880;

// One run: a signal of ten seconds written as triggers of a steady or of a varying size.
struct AccuracyRow {
    std::string name;
    std::vector<float> (*signal)();
    bool varyingTriggers;
};

std::vector<float> seededNoise() {
    return soundleveltest::noise(tenSeconds, 20240611, 0.8f);
}
std::vector<float> lowSine() {
    return soundleveltest::sine(tenSeconds, 31.5, 0.9);
}
std::vector<float> midSine() {
    return soundleveltest::sine(tenSeconds, 1000.0, 0.5);
}
std::vector<float> highSine() {
    return soundleveltest::sine(tenSeconds, 12500.0, 0.25);
}

// Trigger sizes that add up to `total`: 480 each, or seeded sizes from 64 to 1024 samples (their mean keeps
// the number of signals in ten seconds below the buffer's signal history).
std::vector<std::size_t> triggerSizes(std::size_t total, bool varying) {
    std::vector<std::size_t> sizes;
    std::mt19937 generator(77);
    std::uniform_int_distribution<std::size_t> distribution(64, 1024);
    std::size_t written = 0;
    while (written < total) {
        std::size_t size = varying ? distribution(generator) : 480;
        if (size > total - written) {
            size = total - written;
        }
        sizes.push_back(size);
        written += size;
    }
    return sizes;
}

void PrintTo(const AccuracyRow& row, std::ostream* out) {
    *out << row.name;
}

class SoundLevelAccuracy : public ::testing::TestWithParam<AccuracyRow> {};

// The frequency responses quoted for the two cascades at 48000 Hz, in dB.
struct QuotedResponse {
    const char* cascade;
    long double frequency;
    long double decibels;
};

void PrintTo(const QuotedResponse& row, std::ostream* out) {
    *out << row.cascade << " at " << static_cast<double>(row.frequency) << " Hz";
}

class QuotedCascadeResponse : public ::testing::TestWithParam<QuotedResponse> {};

long double cascadeResponse(const std::string& cascade, long double frequency) {
    return cascade == "A" ? soundleveltest::responseDecibels(soundleveltest::aWeightingTaps, frequency)
                          : soundleveltest::responseDecibels(soundleveltest::cWeightingTaps, frequency);
}

// Acceptance limits of a class 1 sound level meter at one third-octave centre, in dB around the design goal
// of the weighting: IEC 61672-1:2013, table 3 (-infinity where the table sets no lower limit).
struct ClassOneLimit {
    long double nominalFrequency;
    long double upper;
    long double lower;
};

constexpr long double noLowerLimit = -1.0e9L;

const ClassOneLimit classOneLimits[] = {
    {10.0L, 3.5L, noLowerLimit},    {12.5L, 3.0L, noLowerLimit}, {16.0L, 2.5L, -4.5L},
    {20.0L, 2.5L, -2.5L},           {25.0L, 2.5L, -2.0L},        {31.5L, 2.0L, -2.0L},
    {40.0L, 1.5L, -1.5L},           {50.0L, 1.5L, -1.5L},        {63.0L, 1.5L, -1.5L},
    {80.0L, 1.5L, -1.5L},           {100.0L, 1.5L, -1.5L},       {125.0L, 1.5L, -1.5L},
    {160.0L, 1.5L, -1.5L},          {200.0L, 1.5L, -1.5L},       {250.0L, 1.4L, -1.4L},
    {315.0L, 1.4L, -1.4L},          {400.0L, 1.4L, -1.4L},       {500.0L, 1.4L, -1.4L},
    {630.0L, 1.4L, -1.4L},          {800.0L, 1.4L, -1.4L},       {1000.0L, 1.1L, -1.1L},
    {1250.0L, 1.4L, -1.4L},         {1600.0L, 1.6L, -1.6L},      {2000.0L, 1.6L, -1.6L},
    {2500.0L, 1.6L, -1.6L},         {3150.0L, 1.6L, -1.6L},      {4000.0L, 1.6L, -1.6L},
    {5000.0L, 2.1L, -2.1L},         {6300.0L, 2.1L, -2.6L},      {8000.0L, 2.1L, -3.1L},
    {10000.0L, 2.6L, -3.6L},        {12500.0L, 3.0L, -6.0L},     {16000.0L, 3.5L, -17.0L},
    {20000.0L, 4.0L, noLowerLimit},
};

// The exact base-ten centre of the band whose nominal frequency is given: 1000 x 10^(n/10) Hz.
long double exactCentre(long double nominal) {
    const long double band = std::round(10.0L * std::log10(nominal / 1000.0L));
    return 1000.0L * std::pow(10.0L, band / 10.0L);
}

// The design goals of the weightings, IEC 61672-1:2013, annex E: the pole frequencies and the
// normalisations that give 0 dB at 1 kHz.
constexpr long double poleF1 = 20.598997L;
constexpr long double poleF2 = 107.65265L;
constexpr long double poleF3 = 737.86223L;
constexpr long double poleF4 = 12194.217L;
constexpr long double aNormalisation = -2.000L;
constexpr long double cNormalisation = -0.062L;

long double cDesignGoal(long double f) {
    const long double f2 = f * f;
    return 20.0L * std::log10(poleF4 * poleF4 * f2 / ((f2 + poleF1 * poleF1) * (f2 + poleF4 * poleF4))) -
           cNormalisation;
}

long double aDesignGoal(long double f) {
    const long double f2 = f * f;
    return 20.0L * std::log10(poleF4 * poleF4 * f2 * f2 /
                              ((f2 + poleF1 * poleF1) * std::sqrt(f2 + poleF2 * poleF2) *
                               std::sqrt(f2 + poleF3 * poleF3) * (f2 + poleF4 * poleF4))) -
           aNormalisation;
}

void PrintTo(const ClassOneLimit& limit, std::ostream* out) {
    *out << static_cast<double>(limit.nominalFrequency) << " Hz";
}

class ClassOneTolerance : public ::testing::TestWithParam<ClassOneLimit> {};

} // namespace

TEST_P(SoundLevelAccuracy, EveryValueEqualsTheLongDoubleReference) {
    const AccuracyRow& row = GetParam();
    const std::vector<float> stream = row.signal();
    const std::vector<std::size_t> sizes = triggerSizes(stream.size(), row.varyingTriggers);
    const auto expected =
        soundleveltest::expectedLevels(soundleveltest::expectedBlocks(stream, sizes, sampleAmount));
    ASSERT_GT(expected.size(), 100U);

    process::SoundLevelValueConfig configuration("level", sampleAmount);
    SoundLevelRig rig(configuration, ringSize, 480);
    rig.processor->start();
    rig.triggers(stream, sizes);
    ASSERT_TRUE(rig.waitForDeliveries(expected.size()));
    const std::vector<processingtest::Delivery> all = rig.deliveries.all();
    ASSERT_EQ(all.size(), expected.size());
    long double largestDeviation = 0.0L;
    for (std::size_t block = 0; block < all.size(); ++block) {
        ASSERT_EQ(all[block].y.size(), soundleveltest::valueCount);
        for (std::size_t value = 0; value < soundleveltest::valueCount; ++value) {
            ASSERT_NEAR(all[block].y[value], static_cast<double>(expected[block][value]),
                        testsupport::tolerance::levelDecibels)
                << "block " << block << " value " << value;
            largestDeviation =
                std::max(largestDeviation,
                         std::abs(static_cast<long double>(all[block].y[value]) - expected[block][value]));
        }
    }
    // How close the meter came, for the test report.
    std::ostringstream text;
    text << std::scientific << static_cast<double>(largestDeviation);
    RecordProperty("largestDeviationDb", text.str());
}

INSTANTIATE_TEST_SUITE_P(TenSecondsAt48kHz, SoundLevelAccuracy,
                         ::testing::Values(AccuracyRow{"NoiseSteadyTriggers", &seededNoise, false},
                                           AccuracyRow{"NoiseVaryingTriggers", &seededNoise, true},
                                           AccuracyRow{"Sine31HzVaryingTriggers", &lowSine, true},
                                           AccuracyRow{"Sine1kHzSteadyTriggers", &midSine, false},
                                           AccuracyRow{"Sine12kHzVaryingTriggers", &highSine, true}),
                         [](const ::testing::TestParamInfo<AccuracyRow>& info) { return info.param.name; });

TEST(SoundLevelAccuracyReference, TheReferenceCascadesPassAUnitSectionUnchanged) {
    // The reference's own check: a cascade of b = (1, 0, 0), a = (1, 0, 0) is the identity.
    soundleveltest::ReferenceCascade identity(std::array<double, 6>{1.0, 0.0, 0.0, 1.0, 0.0, 0.0});
    for (const long double x : {0.5L, -0.25L, 1.0L, 0.0L}) {
        EXPECT_EQ(identity.step(x), x);
    }
}

TEST_P(QuotedCascadeResponse, TheResponseComputedFromTheTapsMatchesTheQuotedFigure) {
    const QuotedResponse& row = GetParam();
    EXPECT_NEAR(static_cast<double>(cascadeResponse(row.cascade, row.frequency)),
                static_cast<double>(row.decibels), quotedResponseTolerance);
}

INSTANTIATE_TEST_SUITE_P(
    At48kHz, QuotedCascadeResponse,
    ::testing::Values(QuotedResponse{"A", 31.5L, -39.55L}, QuotedResponse{"A", 100.0L, -19.16L},
                      QuotedResponse{"A", 1000.0L, 0.00L}, QuotedResponse{"A", 4000.0L, 1.12L},
                      QuotedResponse{"C", 31.5L, -3.02L}, QuotedResponse{"C", 100.0L, -0.29L},
                      QuotedResponse{"C", 1000.0L, 0.02L}));

TEST_P(ClassOneTolerance, TheAWeightingStaysWithinTheLimits) {
    const ClassOneLimit& limit = GetParam();
    const long double f = exactCentre(limit.nominalFrequency);
    const long double deviation =
        soundleveltest::responseDecibels(soundleveltest::aWeightingTaps, f) - aDesignGoal(f);
    EXPECT_LE(deviation, limit.upper) << f << " Hz";
    EXPECT_GE(deviation, limit.lower) << f << " Hz";
}

TEST_P(ClassOneTolerance, TheCWeightingStaysWithinTheLimits) {
    const ClassOneLimit& limit = GetParam();
    const long double f = exactCentre(limit.nominalFrequency);
    const long double deviation =
        soundleveltest::responseDecibels(soundleveltest::cWeightingTaps, f) - cDesignGoal(f);
    EXPECT_LE(deviation, limit.upper) << f << " Hz";
    EXPECT_GE(deviation, limit.lower) << f << " Hz";
}

INSTANTIATE_TEST_SUITE_P(ThirdOctavesFrom10HzTo20kHz, ClassOneTolerance, ::testing::ValuesIn(classOneLimits));

TEST(SoundLevelAccuracyTone, A1kHzSineOfAmplitudeHalfSettlesAtMinus9Point03DbzFast) {
    process::SoundLevelValueConfig configuration("level", sampleAmount);
    SoundLevelRig rig(configuration, ringSize, 480);
    rig.processor->start();
    constexpr std::size_t triggers = 1 + 6 * 20;
    rig.triggers(soundleveltest::sine(triggers * 480, 1000.0, 0.5), std::vector<std::size_t>(triggers, 480));
    ASSERT_TRUE(rig.waitForDeliveries(20));
    const processingtest::Delivery settled = rig.deliveries.at(19);
    EXPECT_NEAR(settled.y[4], -9.03, settledLevelTolerance);
    EXPECT_NEAR(settled.y[6], -9.03, settledLevelTolerance);
}
