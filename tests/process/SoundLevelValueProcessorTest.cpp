#include "process/SoundLevelValueProcessor.h"
#include "exceptions/SonaCoreException.h"
#include "ipp/ippsiir.h"
#include "ipp/ippsvector.h"
#include "process/DemoConfig.h"
#include "process/ProcessingTestSupport.h"
#include "process/SoundLevelTestSupport.h"
#include "process/SoundLevelValueConfig.h"
#include "support/EventLoop.h"
#include "support/LogCapture.h"
#include "support/Tolerances.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <cstddef>
#include <limits>
#include <string>
#include <vector>

namespace {

using soundleveltest::SoundLevelRig;
using Texts = std::vector<std::string>;

constexpr double minusInfinity = -std::numeric_limits<double>::infinity();

// A ring that holds every sample a test writes, so that no block is overwritten before it is taken.
constexpr std::uint64_t ringSize = 1 << 16;

// The status the injected primitives fail with.
constexpr IppStatus injectedFailure = ippStsErr;

// Counts the calls of the injected primitives, and names the call of each that fails (0: none).
std::atomic<int> sqrCalls{0};
std::atomic<int> failingSqrCall{0};
std::atomic<int> iirCalls{0};
std::atomic<int> failingIirCall{0};

IppStatus countedSqr(const double* source, double* destination, int length) {
    if (++sqrCalls == failingSqrCall.load()) {
        return injectedFailure;
    }
    return ippsSqr_64f(source, destination, length);
}

IppStatus countedIir(const double* source, double* destination, int length, IirState* state) {
    if (++iirCalls == failingIirCall.load()) {
        return injectedFailure;
    }
    return ippsIIR_64f(source, destination, length, state);
}

IppStatus failingStateSize(int, int*) {
    return injectedFailure;
}

// Each test starts and ends with the library's primitives and no injected failure.
class SoundLevelValueProcessorTest : public ::testing::Test {
protected:
    void SetUp() override { restorePrimitives(); }
    void TearDown() override { restorePrimitives(); }

    static void restorePrimitives() {
        process::SoundLevelValueProcessor::primitives = process::SoundLevelValueProcessor::libraryPrimitives;
        sqrCalls = 0;
        failingSqrCall = 0;
        iirCalls = 0;
        failingIirCall = 0;
    }

    // Injected primitives that count their calls; the calls named above fail.
    static void countPrimitives() {
        process::SoundLevelValueProcessor::primitives.sqr = &countedSqr;
        process::SoundLevelValueProcessor::primitives.iir = &countedIir;
    }

    static void expectLevels(const processingtest::Delivery& delivery,
                             const soundleveltest::Levels& expected) {
        ASSERT_EQ(delivery.y.size(), soundleveltest::valueCount);
        for (std::size_t i = 0; i < soundleveltest::valueCount; ++i) {
            const double reference = static_cast<double>(expected[i]);
            if (std::isinf(reference)) {
                EXPECT_EQ(delivery.y[i], reference) << "value " << i;
            } else {
                EXPECT_NEAR(delivery.y[i], reference, testsupport::tolerance::levelDecibels) << "value " << i;
            }
        }
    }
};

std::vector<std::size_t> evenTriggers(std::size_t count, std::size_t size) {
    return std::vector<std::size_t>(count, size);
}

} // namespace

TEST_F(SoundLevelValueProcessorTest, TheTapsAreTheListedSinglePrecisionValues) {
    process::SoundLevelValueConfig configuration("level", 2880);
    SoundLevelRig rig(configuration, ringSize, 480);
    EXPECT_EQ(rig.processor->getAFilterTaps(), soundleveltest::aWeightingTaps);
    EXPECT_EQ(rig.processor->getCFilterTaps(), soundleveltest::cWeightingTaps);
    for (const double tap : rig.processor->getAFilterTaps()) {
        EXPECT_EQ(static_cast<double>(static_cast<float>(tap)), tap);
    }
    for (const double tap : rig.processor->getCFilterTaps()) {
        EXPECT_EQ(static_cast<double>(static_cast<float>(tap)), tap);
    }
}

TEST_F(SoundLevelValueProcessorTest, ConstructionReplaysTheConfigurationAndLogsInitialized) {
    process::SoundLevelValueConfig configuration("level", 2880);
    sonacore::BufferConfiguration bufferConfiguration("buffer configuration", ringSize, 480);
    avb::AvbAudioBuffer buffer("00a0c9112233_Ch0", &bufferConfiguration);
    testsupport::LogCapture capture;
    std::unique_ptr<process::Processor> processor(
        process::SoundLevelValueProcessor::create("P", configuration, buffer));
    auto* level = static_cast<process::SoundLevelValueProcessor*>(processor.get());
    EXPECT_EQ(capture.count(QtDebugMsg, "SoundLevelValueProcessor \"P\" Initialized"), 1U);
    // Once by the constructor, once by the creation function.
    EXPECT_EQ(capture.count(QtDebugMsg, "sampleAmountChanged \"P\" Processed amount of samples:  2880"), 2U);
    EXPECT_EQ(capture.count(QtDebugMsg, "setExternalClock \"P\" External clock active!"), 2U);
    EXPECT_EQ(level->getXValues().size(), 2880U);
    EXPECT_EQ(level->getYValues().size(), 2880U);
    EXPECT_FALSE(level->hasFilters());
    EXPECT_EQ(level->getAccumulatedSamples(), 0U);
    EXPECT_TRUE(level->getLevelStates().empty());
    EXPECT_TRUE(capture.texts(QtWarningMsg).empty());
}

TEST_F(SoundLevelValueProcessorTest, CreationRejectsAConfigurationOfAnotherType) {
    process::DemoConfig demo;
    sonacore::BufferConfiguration bufferConfiguration("buffer configuration", 64, 4);
    avb::AvbAudioBuffer buffer("00a0c9112233_Ch0", &bufferConfiguration);
    testsupport::LogCapture capture;
    const std::string text = "Argument from processor type 'DemoProcessor' doesn't matchthe processor type "
                             "'SoundLevelValueProcessor' which is needed for the convert progress!";
    try {
        process::SoundLevelValueProcessor::create("P", demo, buffer);
        FAIL() << "no exception";
    } catch (const exceptions::InstanceNotConvertable& error) {
        EXPECT_EQ(std::string(error.what()), text);
    }
    EXPECT_EQ(capture.texts(QtWarningMsg), Texts{"fromBase " + text});
}

TEST_F(SoundLevelValueProcessorTest, TheFirstTriggerOnlyBuildsTheFiltersAndTheCountOfSixStartsAtTheSecond) {
    process::SoundLevelValueConfig configuration("level", 2880);
    SoundLevelRig rig(configuration, ringSize, 480);
    rig.processor->start();
    rig.trigger(soundleveltest::noise(480, 1));
    ASSERT_TRUE(rig.settle());
    EXPECT_TRUE(rig.processor->hasFilters());
    EXPECT_EQ(rig.processor->getAccumulatedSamples(), 0U);
    for (std::size_t i = 0; i < 5; ++i) {
        rig.trigger(soundleveltest::noise(480, 2 + static_cast<std::uint32_t>(i)));
    }
    ASSERT_TRUE(rig.settle());
    EXPECT_EQ(rig.deliveries.count(), 0U);
    EXPECT_EQ(rig.processor->getAccumulatedSamples(), 2400U);
    rig.trigger(soundleveltest::noise(480, 7));
    ASSERT_TRUE(rig.waitForDeliveries(1));
    EXPECT_EQ(rig.deliveries.count(), 1U);
    EXPECT_EQ(rig.processor->getAccumulatedSamples(), 0U);
}

TEST_F(SoundLevelValueProcessorTest, ADeliveryHasSevenZerosAsXAndTheProcessorsName) {
    process::SoundLevelValueConfig configuration("level", 2880);
    SoundLevelRig rig(configuration, ringSize, 480);
    rig.processor->start();
    rig.triggers(soundleveltest::noise(7 * 480, 3), evenTriggers(7, 480));
    ASSERT_TRUE(rig.waitForDeliveries(1));
    const processingtest::Delivery delivery = rig.deliveries.at(0);
    EXPECT_EQ(delivery.name, "P");
    EXPECT_EQ(delivery.x, std::vector<double>(7, 0.0));
    EXPECT_EQ(delivery.y.size(), 7U);
}

TEST_F(SoundLevelValueProcessorTest, DigitalSilenceFromTheStartGivesNegativeInfinityEverywhere) {
    process::SoundLevelValueConfig configuration("level", 2880);
    SoundLevelRig rig(configuration, ringSize, 480);
    rig.processor->start();
    rig.triggers(std::vector<float>(13 * 480, 0.0f), evenTriggers(13, 480));
    ASSERT_TRUE(rig.waitForDeliveries(2));
    for (const processingtest::Delivery& delivery : rig.deliveries.all()) {
        EXPECT_EQ(delivery.y, std::vector<double>(7, minusInfinity));
    }
    EXPECT_EQ(rig.processor->getLevelStates(), std::vector<double>(7, 0.0));
}

TEST_F(SoundLevelValueProcessorTest, AfterSignalThenSilenceTheLevelsFallAtTheRateOfTheTimeConstants) {
    process::SoundLevelValueConfig configuration("level", 2880);
    SoundLevelRig rig(configuration, ringSize, 480);
    rig.processor->start();
    constexpr std::size_t signalBlocks = 2;
    constexpr std::size_t silentBlocks = 8;
    std::vector<float> stream = soundleveltest::sine((1 + 6 * signalBlocks) * 480, 1000.0, 0.5);
    stream.resize((1 + 6 * (signalBlocks + silentBlocks)) * 480, 0.0f);
    rig.triggers(stream, evenTriggers(1 + 6 * (signalBlocks + silentBlocks), 480));
    ASSERT_TRUE(rig.waitForDeliveries(signalBlocks + silentBlocks));
    const std::vector<processingtest::Delivery> all = rig.deliveries.all();
    ASSERT_EQ(all.size(), signalBlocks + silentBlocks);
    // In silence an unweighted state shrinks by its old weight per sample, and a block's largest value is
    // its first: each silent block after the first lies a block's decay below the one before. The weighted
    // paths fall as well once their filters have rung out.
    const double fastDecay = 2880.0 * 10.0 * std::log10(soundleveltest::fastOldWeight);
    const double slowDecay = 2880.0 * 10.0 * std::log10(soundleveltest::slowOldWeight);
    for (std::size_t block = signalBlocks + 1; block < all.size(); ++block) {
        EXPECT_NEAR(all[block].y[4] - all[block - 1].y[4], fastDecay, testsupport::tolerance::levelDecibels)
            << "block " << block;
        EXPECT_NEAR(all[block].y[5] - all[block - 1].y[5], slowDecay, testsupport::tolerance::levelDecibels)
            << "block " << block;
        for (std::size_t value = 0; value < 7; ++value) {
            EXPECT_TRUE(std::isfinite(all[block].y[value])) << "block " << block << " value " << value;
            EXPECT_LT(all[block].y[value], all[block - 1].y[value])
                << "block " << block << " value " << value;
        }
    }
    for (std::size_t value = 0; value < 6; ++value) {
        EXPECT_GT(rig.processor->getLevelStates()[value], 0.0);
    }
}

TEST_F(SoundLevelValueProcessorTest, DbfsAlwaysEqualsTheUnweightedFastLevel) {
    process::SoundLevelValueConfig configuration("level", 2880);
    SoundLevelRig rig(configuration, ringSize, 480);
    rig.processor->start();
    rig.triggers(soundleveltest::noise(25 * 480, 11, 0.3f), evenTriggers(25, 480));
    ASSERT_TRUE(rig.waitForDeliveries(4));
    for (const processingtest::Delivery& delivery : rig.deliveries.all()) {
        EXPECT_EQ(delivery.y[6], delivery.y[4]);
    }
}

TEST_F(SoundLevelValueProcessorTest, TheStateOfTheDbfsIndexIsNeverWritten) {
    process::SoundLevelValueConfig configuration("level", 2880);
    SoundLevelRig rig(configuration, ringSize, 480);
    rig.processor->start();
    rig.triggers(soundleveltest::noise(7 * 480, 12), evenTriggers(7, 480));
    ASSERT_TRUE(rig.waitForDeliveries(1));
    ASSERT_EQ(rig.processor->getLevelStates().size(), 7U);
    EXPECT_EQ(rig.processor->getLevelStates()[6], 0.0);
}

TEST_F(SoundLevelValueProcessorTest,
       UnderTheInternalClockEveryTickReportsTheEmptyBlockAndNothingIsDelivered) {
    process::SoundLevelValueConfig configuration("level", 2880, 2);
    SoundLevelRig rig(configuration, ringSize, 0);
    testsupport::LogCapture capture;
    rig.processor->start();
    const std::string line = "calculate \"P\" [1] IPP IIR filter error (A-WEIGHT): -8 size= 0";
    ASSERT_TRUE(testsupport::spinUntil([&] { return capture.count(QtWarningMsg, line) >= 3; }));
    rig.processor->stop();
    ASSERT_TRUE(rig.settle());
    EXPECT_EQ(rig.deliveries.count(), 0U);
    EXPECT_EQ(rig.processor->getAccumulatedSamples(), 0U);
    for (const std::string& text : capture.texts(QtWarningMsg)) {
        EXPECT_EQ(text, line);
    }
}

TEST_F(SoundLevelValueProcessorTest, ABigTriggerAfterSmallOnesNeedsMoreThanSixTriggers) {
    process::SoundLevelValueConfig configuration("level", 2880);
    SoundLevelRig rig(configuration, ringSize, 480);
    rig.processor->start();
    // 1 to build, then 5 x 100 and one of 1000: 1500 is below 6 x 1000.
    const std::vector<std::size_t> sizes{100, 100, 100, 100, 100, 100, 1000};
    std::vector<float> stream = soundleveltest::noise(1600 + 4 * 1000, 21);
    rig.triggers(stream, sizes);
    ASSERT_TRUE(rig.settle());
    EXPECT_EQ(rig.deliveries.count(), 0U);
    EXPECT_EQ(rig.processor->getAccumulatedSamples(), 1500U);
    // Four more of 1000 give 5500, still below; the fifth reaches 6500.
    std::vector<std::size_t> more(4, 1000);
    rig.triggers(std::vector<float>(stream.begin() + 1600, stream.end()), more);
    ASSERT_TRUE(rig.settle());
    EXPECT_EQ(rig.deliveries.count(), 0U);
    EXPECT_EQ(rig.processor->getAccumulatedSamples(), 5500U);
    rig.trigger(soundleveltest::noise(1000, 22));
    ASSERT_TRUE(rig.waitForDeliveries(1));
    EXPECT_EQ(rig.processor->getAccumulatedSamples(), 0U);
}

TEST_F(SoundLevelValueProcessorTest, ASmallTriggerAfterBigOnesPassesAtOnce) {
    process::SoundLevelValueConfig configuration("level", 2880);
    SoundLevelRig rig(configuration, ringSize, 480);
    rig.processor->start();
    // 1 to build, then 2 x 480 = 960 (below 2880), then one of 100: 1060 is not below 600.
    const std::vector<std::size_t> sizes{480, 480, 480, 100};
    const std::vector<float> stream = soundleveltest::noise(1540, 23);
    rig.triggers(stream, sizes);
    ASSERT_TRUE(rig.waitForDeliveries(1));
    EXPECT_EQ(rig.deliveries.count(), 1U);
    expectLevels(rig.deliveries.at(0),
                 soundleveltest::expectedLevels(soundleveltest::expectedBlocks(stream, sizes, 2880)).at(0));
}

TEST_F(SoundLevelValueProcessorTest, AFetchShorterThanTheBlockIsPaddedWithSilenceWithoutAFailure) {
    // Six triggers of 480 make a block of 2880, of which the configuration fetches only 1000.
    process::SoundLevelValueConfig configuration("level", 1000);
    SoundLevelRig rig(configuration, ringSize, 480);
    rig.processor->start();
    testsupport::LogCapture capture;
    const std::vector<float> stream = soundleveltest::sine(13 * 480, 440.0, 0.7);
    const std::vector<std::size_t> sizes = evenTriggers(13, 480);
    rig.triggers(stream, sizes);
    ASSERT_TRUE(rig.waitForDeliveries(2));
    const auto blocks = soundleveltest::expectedBlocks(stream, sizes, 1000);
    ASSERT_EQ(blocks.size(), 2U);
    EXPECT_EQ(blocks[0].size(), 2880U);
    EXPECT_EQ(blocks[0][1500], 0.0f);
    const auto expected = soundleveltest::expectedLevels(blocks);
    expectLevels(rig.deliveries.at(0), expected[0]);
    expectLevels(rig.deliveries.at(1), expected[1]);
    EXPECT_TRUE(capture.texts(QtWarningMsg).empty());
}

TEST_F(SoundLevelValueProcessorTest, AFetchLongerThanTheBlockKeepsItsOldestSamples) {
    process::SoundLevelValueConfig configuration("level", 4000);
    SoundLevelRig rig(configuration, ringSize, 480);
    rig.processor->start();
    const std::vector<float> stream = soundleveltest::noise(19 * 480, 24);
    const std::vector<std::size_t> sizes = evenTriggers(19, 480);
    rig.triggers(stream, sizes);
    ASSERT_TRUE(rig.waitForDeliveries(3));
    const auto expected = soundleveltest::expectedLevels(soundleveltest::expectedBlocks(stream, sizes, 4000));
    ASSERT_EQ(expected.size(), 3U);
    for (std::size_t i = 0; i < expected.size(); ++i) {
        expectLevels(rig.deliveries.at(i), expected[i]);
    }
}

TEST_F(SoundLevelValueProcessorTest, AStreamAtAnotherRateIsMeasuredWithTheFiltersFor48kHz) {
    // 100 Hz sampled at 32000 Hz reads as 150 Hz to filters made for 48000 Hz.
    constexpr double streamRate = 32000.0;
    constexpr double toneFrequency = 100.0;
    constexpr double apparentFrequency = toneFrequency * soundleveltest::sampleRate / streamRate;
    // The fast level's ripple at twice the tone is the same in both paths and cancels in their difference
    // to well below this, in dB.
    constexpr double shiftTolerance = 0.01;
    process::SoundLevelValueConfig configuration("level", 2880);
    SoundLevelRig rig(configuration, ringSize, 480);
    rig.processor->start();
    constexpr std::size_t triggers = 1 + 6 * 30;
    rig.triggers(soundleveltest::sine(triggers * 480, toneFrequency, 0.5, streamRate),
                 evenTriggers(triggers, 480));
    ASSERT_TRUE(rig.waitForDeliveries(30));
    const processingtest::Delivery last = rig.deliveries.at(29);
    const double shift = last.y[0] - last.y[4];
    EXPECT_NEAR(shift,
                static_cast<double>(
                    soundleveltest::responseDecibels(soundleveltest::aWeightingTaps, apparentFrequency)),
                shiftTolerance);
    EXPECT_GT(std::abs(shift - static_cast<double>(soundleveltest::responseDecibels(
                                   soundleveltest::aWeightingTaps, toneFrequency))),
              1.0);
}

TEST_F(SoundLevelValueProcessorTest, ACalculateThatArrivesAfterStopDoesNothing) {
    process::SoundLevelValueConfig configuration("level", 2880);
    SoundLevelRig rig(configuration, ringSize, 480);
    rig.processor->start();
    {
        processingtest::WorkerGate gate(rig.processor);
        ASSERT_TRUE(gate.waitEntered());
        rig.triggers(soundleveltest::noise(7 * 480, 4), evenTriggers(7, 480));
        rig.processor->stop();
    }
    ASSERT_TRUE(rig.settle());
    EXPECT_EQ(rig.deliveries.count(), 0U);
    EXPECT_FALSE(rig.processor->hasFilters());
    EXPECT_EQ(rig.processor->getAccumulatedSamples(), 0U);
}

TEST_F(SoundLevelValueProcessorTest, AProcessorThatFallsBehindStillTakesEveryBlockOnceInOrder) {
    process::SoundLevelValueConfig configuration("level", 2880);
    SoundLevelRig rig(configuration, ringSize, 480);
    rig.processor->start();
    ASSERT_TRUE(rig.settle());
    const std::vector<float> stream = soundleveltest::noise(25 * 480, 5);
    const std::vector<std::size_t> sizes = evenTriggers(25, 480);
    {
        processingtest::WorkerGate gate(rig.processor);
        ASSERT_TRUE(gate.waitEntered());
        rig.triggers(stream, sizes);
    }
    ASSERT_TRUE(rig.waitForDeliveries(4));
    const auto expected = soundleveltest::expectedLevels(soundleveltest::expectedBlocks(stream, sizes, 2880));
    ASSERT_EQ(rig.deliveries.count(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        expectLevels(rig.deliveries.at(i), expected[i]);
    }
}

TEST_F(SoundLevelValueProcessorTest, CalculationsQueuedBeforeTheStartCountForNothing) {
    process::SoundLevelValueConfig configuration("level", 2880);
    SoundLevelRig rig(configuration, ringSize, 480);
    const std::vector<float> stale = soundleveltest::noise(3 * 480, 6);
    const std::vector<float> fresh = soundleveltest::noise(6 * 480, 7);
    {
        processingtest::WorkerGate gate(rig.processor);
        ASSERT_TRUE(gate.waitEntered());
        rig.triggers(stale, evenTriggers(3, 480));
        rig.processor->start();
    }
    ASSERT_TRUE(rig.settle());
    // The first of the three builds the filters; the other two find no signal after the start.
    EXPECT_TRUE(rig.processor->hasFilters());
    EXPECT_EQ(rig.processor->getAccumulatedSamples(), 0U);
    rig.triggers(fresh, evenTriggers(6, 480));
    ASSERT_TRUE(rig.waitForDeliveries(1));
    EXPECT_EQ(rig.deliveries.count(), 1U);
    expectLevels(rig.deliveries.at(0), soundleveltest::ReferenceMeter().block(fresh));
}

TEST_F(SoundLevelValueProcessorTest, LevelsRunOnAcrossStopAndStart) {
    process::SoundLevelValueConfig configuration("level", 2880);
    SoundLevelRig rig(configuration, ringSize, 480);
    const std::vector<float> first = soundleveltest::noise(7 * 480, 8);
    const std::vector<float> second = soundleveltest::noise(6 * 480, 9);
    rig.processor->start();
    rig.triggers(first, evenTriggers(7, 480));
    ASSERT_TRUE(rig.waitForDeliveries(1));
    rig.processor->stop();
    rig.processor->start();
    rig.triggers(second, evenTriggers(6, 480));
    ASSERT_TRUE(rig.waitForDeliveries(2));
    soundleveltest::ReferenceMeter meter;
    expectLevels(rig.deliveries.at(0), meter.block(std::vector<float>(first.begin() + 480, first.end())));
    expectLevels(rig.deliveries.at(1), meter.block(second));
}

TEST_F(SoundLevelValueProcessorTest, AFailingAFilterIsReportedAndTheBlockGrowsUntilTheNextSuccess) {
    process::SoundLevelValueConfig configuration("level", 2880);
    SoundLevelRig rig(configuration, ringSize, 480);
    countPrimitives();
    failingIirCall = 1;
    rig.processor->start();
    testsupport::LogCapture capture;
    rig.triggers(soundleveltest::noise(7 * 480, 13), evenTriggers(7, 480));
    ASSERT_TRUE(rig.settle());
    EXPECT_EQ(capture.texts(QtWarningMsg),
              Texts{"calculate \"P\" [1] IPP IIR filter error (A-WEIGHT): -2 size= 2880"});
    EXPECT_EQ(rig.deliveries.count(), 0U);
    EXPECT_EQ(rig.processor->getAccumulatedSamples(), 2880U);
    // Nothing of the block reached the levels.
    EXPECT_EQ(rig.processor->getLevelStates(), std::vector<double>(7, 0.0));
    rig.trigger(soundleveltest::noise(480, 14));
    ASSERT_TRUE(rig.waitForDeliveries(1));
    EXPECT_EQ(rig.processor->getAccumulatedSamples(), 0U);
    EXPECT_EQ(capture.texts(QtWarningMsg).size(), 1U);
}

TEST_F(SoundLevelValueProcessorTest, AFailingASquareIsReportedAndDeliversNothing) {
    process::SoundLevelValueConfig configuration("level", 2880);
    SoundLevelRig rig(configuration, ringSize, 480);
    countPrimitives();
    failingSqrCall = 1;
    rig.processor->start();
    testsupport::LogCapture capture;
    rig.triggers(soundleveltest::noise(7 * 480, 15), evenTriggers(7, 480));
    ASSERT_TRUE(rig.settle());
    EXPECT_EQ(capture.texts(QtWarningMsg),
              Texts{"calculate \"P\" [2] IPP SQR error (A-WEIGHT): -2 size= 2880"});
    EXPECT_EQ(rig.deliveries.count(), 0U);
    EXPECT_EQ(rig.processor->getAccumulatedSamples(), 2880U);
    EXPECT_EQ(rig.processor->getLevelStates(), std::vector<double>(7, 0.0));
}

TEST_F(SoundLevelValueProcessorTest,
       AFailingCSquareIsReportedWithItsLeadingBlankAndTheAWeightingStaysApplied) {
    process::SoundLevelValueConfig configuration("level", 2880);
    SoundLevelRig rig(configuration, ringSize, 480);
    countPrimitives();
    failingSqrCall = 2;
    rig.processor->start();
    testsupport::LogCapture capture;
    rig.triggers(soundleveltest::noise(7 * 480, 16), evenTriggers(7, 480));
    ASSERT_TRUE(rig.settle());
    EXPECT_EQ(capture.texts(QtWarningMsg),
              Texts{"calculate \"P\"  [4] IPP SQR error (C-WEIGHT): -2 size= 2880"});
    EXPECT_EQ(rig.deliveries.count(), 0U);
    EXPECT_EQ(rig.processor->getAccumulatedSamples(), 2880U);
    const std::vector<double> states = rig.processor->getLevelStates();
    EXPECT_GT(states[0], 0.0);
    EXPECT_GT(states[1], 0.0);
    for (std::size_t i = 2; i < 7; ++i) {
        EXPECT_EQ(states[i], 0.0) << "state " << i;
    }
}

TEST_F(SoundLevelValueProcessorTest, AFailingZSquareIsReportedAndTheWeightedPathsStayApplied) {
    process::SoundLevelValueConfig configuration("level", 2880);
    SoundLevelRig rig(configuration, ringSize, 480);
    countPrimitives();
    failingSqrCall = 3;
    rig.processor->start();
    testsupport::LogCapture capture;
    rig.triggers(soundleveltest::noise(7 * 480, 17), evenTriggers(7, 480));
    ASSERT_TRUE(rig.settle());
    EXPECT_EQ(capture.texts(QtWarningMsg),
              Texts{"calculate \"P\" [5] IPP SQR error (Z-WEIGHT): -2 size= 2880"});
    EXPECT_EQ(rig.deliveries.count(), 0U);
    const std::vector<double> states = rig.processor->getLevelStates();
    for (std::size_t i = 0; i < 4; ++i) {
        EXPECT_GT(states[i], 0.0) << "state " << i;
    }
    EXPECT_EQ(states[4], 0.0);
    EXPECT_EQ(states[5], 0.0);
}

TEST_F(SoundLevelValueProcessorTest, AFailingCFilterGoesUnreportedAndTheBlockIsDelivered) {
    process::SoundLevelValueConfig configuration("level", 2880);
    SoundLevelRig rig(configuration, ringSize, 480);
    countPrimitives();
    failingIirCall = 2;
    rig.processor->start();
    testsupport::LogCapture capture;
    rig.triggers(soundleveltest::noise(7 * 480, 18), evenTriggers(7, 480));
    ASSERT_TRUE(rig.waitForDeliveries(1));
    EXPECT_TRUE(capture.texts(QtWarningMsg).empty());
    // The C path squared what the A filter left in the shared vector, from the same zero states.
    const processingtest::Delivery delivery = rig.deliveries.at(0);
    EXPECT_EQ(delivery.y[2], delivery.y[0]);
    EXPECT_EQ(delivery.y[3], delivery.y[1]);
}

TEST_F(SoundLevelValueProcessorTest, FailingFilterSetUpIsReportedStepByStepAndRetriedAtTheNextTrigger) {
    process::SoundLevelValueConfig configuration("level", 2880);
    SoundLevelRig rig(configuration, ringSize, 480);
    process::SoundLevelValueProcessor::primitives.iirGetStateSize = &failingStateSize;
    rig.processor->start();
    testsupport::LogCapture capture;
    rig.trigger(soundleveltest::noise(480, 19));
    ASSERT_TRUE(rig.settle());
    // No size, no memory: both initialisations then find a null buffer.
    const Texts lines{"initFilter \"P\" [1] IPP init error (A-WEIGHT): -2",
                      "initFilter \"P\" [2] IPP init Error (TAPS): -2",
                      "initFilter \"P\" [3] IPP init error (A-WEIGHT): -8",
                      "initFilter \"P\" [4] IPP init error (C-WEIGHT): -8"};
    EXPECT_EQ(capture.texts(QtWarningMsg), lines);
    EXPECT_FALSE(rig.processor->hasFilters());

    rig.trigger(soundleveltest::noise(480, 20));
    ASSERT_TRUE(rig.settle());
    Texts twice = lines;
    twice.insert(twice.end(), lines.begin(), lines.end());
    EXPECT_EQ(capture.texts(QtWarningMsg), twice);
    EXPECT_EQ(rig.processor->getAccumulatedSamples(), 0U);

    process::SoundLevelValueProcessor::primitives = process::SoundLevelValueProcessor::libraryPrimitives;
    rig.trigger(soundleveltest::noise(480, 21));
    ASSERT_TRUE(rig.settle());
    EXPECT_TRUE(rig.processor->hasFilters());
    EXPECT_EQ(capture.texts(QtWarningMsg).size(), 8U);
    rig.triggers(soundleveltest::noise(6 * 480, 22), evenTriggers(6, 480));
    ASSERT_TRUE(rig.waitForDeliveries(1));
    EXPECT_EQ(rig.deliveries.count(), 1U);
}
