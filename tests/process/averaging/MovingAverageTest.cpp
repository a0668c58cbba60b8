#include "process/averaging/MovingAverage.h"

#include "process/SpectrumConfig.h"
#include "sonacore/BufferConfiguration.h"
#include "sonacore/SonaCoreConstants.h"
#include "support/EventLoop.h"
#include "support/LogCapture.h"

#include <QMetaType>
#include <QThread>

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

namespace {

using process::averaging::MovingAverage;

constexpr std::size_t bufferSize = 48000;
// 4800 samples are 100 ms at 48 kHz.
constexpr std::uint64_t signalingAmount = 4800;
constexpr std::size_t internalRefreshRate = 500;

// The incremental passes keep their rounding until the next full pass: up to 100 passes of two roundings
// of half a unit of double precision (1.1e-16) each, on values within a factor 3 of their mean, about 1e-13.
// A tenfold margin.
constexpr double meanTolerance = 1e-12;

// The average's name; its lines are told apart from the configurations' by it.
const std::string averageName = "avg";

// The configurations and the average as a spectrum processor holds them, with either clock. The average
// starts unset (window size 0) until the test sets it up through the configuration.
struct Rig {
    explicit Rig(bool internalClock, std::size_t refreshRate = internalRefreshRate,
                 std::uint64_t amount = signalingAmount)
        : configuration(internalClock ? std::make_unique<process::SpectrumConfig>("cfg", 1024, refreshRate)
                                      : std::make_unique<process::SpectrumConfig>("cfg", 1024)),
          bufferConfiguration("buf", bufferSize, amount),
          average(std::make_unique<MovingAverage>(averageName, configuration.get(), &bufferConfiguration)) {}

    std::unique_ptr<process::SpectrumConfig> configuration;
    sonacore::BufferConfiguration bufferConfiguration;
    std::unique_ptr<MovingAverage> average;
};

// The average's own log lines, as "D <text>" or "W <text>".
std::vector<std::string> averageLines(const testsupport::LogCapture& capture) {
    std::vector<std::string> result;
    const std::string quoted = " \"" + averageName + "\" ";
    for (const testsupport::LogLine& line : capture.lines()) {
        if (line.text.find(quoted) != std::string::npos) {
            result.push_back((line.level == QtWarningMsg ? "W " : "D ") + line.text);
        }
    }
    return result;
}

std::string debugLine(const std::string& method, const std::string& text) {
    return "D " + method + " \"" + averageName + "\" " + text;
}

std::string warningLine(const std::string& method, const std::string& text) {
    return "W " + method + " \"" + averageName + "\" " + text;
}

const std::string tooSmall = "Moving average window size is too small! Filter deactivated";
const std::string zeroInterval = "Moving window refresh interval of zero not allowed!";

// Inputs shaped like power spectra: each element has its own order of magnitude, and its values spread
// within a factor 3 about it.
class SpectrumLikeInputs {
public:
    SpectrumLikeInputs(std::size_t length, std::uint32_t seed) : generator(seed), length(length) {}

    std::vector<double> next() {
        std::uniform_real_distribution<double> spread(0.5, 1.5);
        std::vector<double> input(length);
        for (std::size_t k = 0; k < length; ++k) {
            input[k] = spread(generator) * std::pow(10.0, -static_cast<double>(k % 7));
        }
        return input;
    }

private:
    std::mt19937_64 generator;
    std::size_t length;
};

// The mean as defined: the sum of the latest windowSize inputs since the history was cleared, missing ones
// counting as zeros, divided by windowSize; in long double.
class NaiveMean {
public:
    explicit NaiveMean(std::size_t windowSize) : windowSize(windowSize) {}

    void clear() { history.clear(); }

    std::vector<long double> add(const std::vector<double>& input) {
        history.push_back(input);
        if (history.size() > windowSize) {
            history.pop_front();
        }
        std::vector<long double> mean(input.size(), 0.0L);
        for (const std::vector<double>& past : history) {
            for (std::size_t k = 0; k < mean.size(); ++k) {
                mean[k] += past[k];
            }
        }
        for (long double& value : mean) {
            value /= static_cast<long double>(windowSize);
        }
        return mean;
    }

private:
    std::size_t windowSize;
    std::deque<std::vector<double>> history;
};

// Checks one output against the naive mean; returns false at the first element out of tolerance.
::testing::AssertionResult meanMatches(const std::vector<double>& actual,
                                       const std::vector<long double>& expected) {
    if (actual.size() != expected.size()) {
        return ::testing::AssertionFailure()
               << "length " << actual.size() << " instead of " << expected.size();
    }
    for (std::size_t k = 0; k < actual.size(); ++k) {
        const long double error = std::fabs(static_cast<long double>(actual[k]) - expected[k]);
        if (error > meanTolerance * std::fabs(expected[k])) {
            return ::testing::AssertionFailure() << "element " << k << ": " << actual[k] << " instead of "
                                                 << static_cast<double>(expected[k]);
        }
    }
    return ::testing::AssertionSuccess();
}

// The mean as the full pass forms it: the stored rows summed in row order, then divided, in double. Row r
// holds the input of pass p with (p - 1) mod windowSize = r, counted from the latest reset.
std::vector<double> rowOrderMean(const std::vector<std::vector<double>>& rows, std::size_t windowSize) {
    std::vector<double> mean(rows.front().size(), 0.0);
    for (std::size_t k = 0; k < mean.size(); ++k) {
        double sum = 0.0;
        for (std::size_t row = 0; row < windowSize; ++row) {
            sum += row < rows.size() ? rows[row][k] : 0.0;
        }
        mean[k] = sum / static_cast<double>(windowSize);
    }
    return mean;
}

// Opens up the inner state and the two passes, whose failure handling no consistent state reaches.
class InspectableAverage : public MovingAverage {
public:
    using MovingAverage::getOptimizedPasses;
    using MovingAverage::getRingIndex;
    using MovingAverage::MovingAverage;
    using MovingAverage::performanceOptimizedMovingAverage;
    using MovingAverage::simpleMovingAverage;
};

// Sets the average of a rig to `size` through the configuration, so that the handler does it. The
// configuration announces only a change, so a size it holds already is announced by hand.
void windowOf(Rig& rig, std::size_t size) {
    if (rig.configuration->getMovingAverageWindowSize() == size) {
        emit rig.configuration->configurationChanged(sonacore::constants::movingAverageWindowSizeChanged);
    } else {
        rig.configuration->setMovingAverageWindowSize(size);
    }
    ASSERT_EQ(rig.average->getWindowSize(), size);
}

// The text of the exception that std::vector's checked access throws for `index` of a vector of `size`.
std::string rangeErrorText(std::size_t index, std::size_t size) {
    try {
        static_cast<void>(std::vector<double>(size).at(index));
    } catch (const std::out_of_range& exception) {
        return exception.what();
    }
    return {};
}

void registerTypes() {
    qRegisterMetaType<std::string>("std::string");
}

} // namespace

TEST(MovingAverage, ConstructionLogsInitialized) {
    process::SpectrumConfig configuration("cfg", 1024, internalRefreshRate);
    sonacore::BufferConfiguration buffer("buf", bufferSize, signalingAmount);
    testsupport::LogCapture capture;
    MovingAverage average(averageName, &configuration, &buffer);
    EXPECT_EQ(averageLines(capture), (std::vector<std::string>{debugLine("MovingAverage", "Initialized!")}));
}

TEST(MovingAverage, StartsActiveWithoutAWindow) {
    Rig rig(true);
    EXPECT_TRUE(rig.average->isActive());
    EXPECT_EQ(rig.average->getWindowSize(), 0U);
    EXPECT_EQ(rig.average->getWindowLength(), 0U);
    EXPECT_EQ(rig.average->getVectorLength(), 0U);
}

TEST(MovingAverage, WithoutAWindowTheInputItselfComesBack) {
    Rig rig(true);
    std::vector<double> input{1.0, 2.0, 3.0};
    const double* storage = input.data();
    const std::vector<double> output = rig.average->calculateAverage(std::move(input));
    EXPECT_EQ(output.data(), storage);
    EXPECT_EQ(output, (std::vector<double>{1.0, 2.0, 3.0}));
    EXPECT_EQ(rig.average->getVectorLength(), 0U);
}

TEST(MovingAverage, AWindowOfOneReturnsTheInputItself) {
    Rig rig(true);
    windowOf(rig, 4);
    rig.configuration->setMovingAverageWindowSize(1);
    ASSERT_EQ(rig.average->getWindowSize(), 1U);
    std::vector<double> input{5.0, 6.0};
    const double* storage = input.data();
    const std::vector<double> output = rig.average->calculateAverage(std::move(input));
    EXPECT_EQ(output.data(), storage);
    EXPECT_EQ(output, (std::vector<double>{5.0, 6.0}));
}

TEST(MovingAverage, AReplayOfTheConfigurationSetsTheFilterUp) {
    Rig rig(true);
    testsupport::LogCapture capture;
    rig.configuration->notifyAllParameters();
    // Length 10000 ms first (20 vectors of 500 ms), then size 16, which makes the length 8000 ms.
    EXPECT_EQ(averageLines(capture),
              (std::vector<std::string>{
                  debugLine("setWindowLength", "Moving window length set to:  10000  ms"),
                  debugLine("setWindowSize", "Moving average window size set to:  20"),
                  debugLine("setWindowSize", "Moving average window size set to:  16"),
                  debugLine("movingAverageActivityChanged", "Moving Average  deactivated"),
                  debugLine("clockRefreshChanged", "Internal audio clock refresh rate changed"),
                  debugLine("clockConfigurationChanged", "Audio clock changed")}));
    EXPECT_EQ(rig.average->getWindowSize(), 16U);
    EXPECT_EQ(rig.average->getWindowLength(), 8000U);
    EXPECT_FALSE(rig.average->isActive());
}

TEST(MovingAverage, ASizeOfOneSetTwiceWarnsOnlyOnce) {
    Rig rig(true);
    windowOf(rig, 16);
    testsupport::LogCapture capture;
    rig.average->setWindowSize(1);
    rig.average->setWindowSize(1);
    EXPECT_EQ(capture.count(QtWarningMsg, "setWindowSize \"avg\" " + tooSmall), 1U);
    EXPECT_EQ(rig.average->getWindowSize(), 1U);
}

TEST(MovingAverage, ASizeOfZeroIsStoredAsOneWithAWarningAndLeavesTheActiveFlag) {
    Rig rig(true);
    windowOf(rig, 16);
    testsupport::LogCapture capture;
    rig.average->setWindowSize(0);
    EXPECT_EQ(averageLines(capture), (std::vector<std::string>{warningLine("setWindowSize", tooSmall)}));
    EXPECT_EQ(rig.average->getWindowSize(), 1U);
    EXPECT_EQ(rig.average->getWindowLength(), 500U);
    EXPECT_TRUE(rig.average->isActive());
}

TEST(MovingAverage, ASizeOfZeroOnANewObjectIsAnEqualValue) {
    Rig rig(true);
    testsupport::LogCapture capture;
    rig.average->setWindowSize(0);
    EXPECT_TRUE(averageLines(capture).empty());
    EXPECT_EQ(rig.average->getWindowSize(), 0U);
    EXPECT_EQ(rig.average->getWindowLength(), 0U);
}

TEST(MovingAverage, ASizeChangeLogsTheSizeAndTheNewInterval) {
    Rig rig(true, 300);
    testsupport::LogCapture capture;
    rig.configuration->setMovingAverageWindowSize(4);
    EXPECT_EQ(averageLines(capture),
              (std::vector<std::string>{
                  debugLine("setWindowSize", "Moving average window size set to:  4"),
                  debugLine("updateWindowLength", "Moving window refresh interval set to:  300  ms")}));
    EXPECT_EQ(rig.average->getWindowLength(), 1200U);
    EXPECT_EQ(rig.average->getRefreshInterval(), 300U);
}

TEST(MovingAverage, AWindowOfFourWithConstantInputRisesInQuartersThenHolds) {
    Rig rig(true);
    windowOf(rig, 4);
    // 2.5 and its quarters are exact in binary, so every pass, incremental or full, is exact.
    const std::vector<double> expected{0.625, 1.25, 1.875, 2.5};
    for (std::size_t pass = 0; pass < 350; ++pass) {
        const std::vector<double> output = rig.average->calculateAverage(std::vector<double>(3, 2.5));
        const double value = pass < expected.size() ? expected[pass] : 2.5;
        ASSERT_EQ(output, std::vector<double>(3, value)) << "pass " << pass + 1;
    }
}

TEST(MovingAverage, TheHundredAndFirstPassOfANewObjectIsAFullPass) {
    process::SpectrumConfig configuration("cfg", 1024, internalRefreshRate);
    sonacore::BufferConfiguration buffer("buf", bufferSize, signalingAmount);
    InspectableAverage average(averageName, &configuration, &buffer);
    configuration.setMovingAverageWindowSize(8);
    SpectrumLikeInputs inputs(16, 11);
    std::vector<std::vector<double>> rows(8);
    std::vector<double> output;
    for (std::size_t pass = 1; pass <= 101; ++pass) {
        const std::vector<double> input = inputs.next();
        rows[(pass - 1) % 8] = input;
        output = average.calculateAverage(input);
        ASSERT_EQ(average.getOptimizedPasses(), pass % 101) << "pass " << pass;
    }
    // The full pass is the row-order sum to the last bit.
    EXPECT_EQ(output, rowOrderMean(rows, 8));
    average.calculateAverage(inputs.next());
    EXPECT_EQ(average.getOptimizedPasses(), 1U);
}

TEST(MovingAverage, FullPassesRecurEveryHundredAndOnePasses) {
    process::SpectrumConfig configuration("cfg", 1024, internalRefreshRate);
    sonacore::BufferConfiguration buffer("buf", bufferSize, signalingAmount);
    InspectableAverage average(averageName, &configuration, &buffer);
    configuration.setMovingAverageWindowSize(5);
    SpectrumLikeInputs inputs(16, 12);
    std::vector<std::vector<double>> rows(5);
    for (std::size_t pass = 1; pass <= 505; ++pass) {
        const std::vector<double> input = inputs.next();
        rows[(pass - 1) % 5] = input;
        const std::vector<double> output = average.calculateAverage(input);
        if (pass % 101 == 0) {
            ASSERT_EQ(average.getOptimizedPasses(), 0U) << "pass " << pass;
            ASSERT_EQ(output, rowOrderMean(rows, 5)) << "pass " << pass;
        } else {
            ASSERT_NE(average.getOptimizedPasses(), 0U) << "pass " << pass;
        }
    }
}

TEST(MovingAverage, WithConstantInputTheFullPassEqualsTheIncrementalResultUpToRounding) {
    Rig rig(true);
    windowOf(rig, 7);
    // 0.1 is inexact, so the passes round; the two forms may differ by a few units of double precision.
    constexpr double roundingOfBothForms = 8 * 2.2204460492503131e-16;
    std::vector<double> incremental;
    for (std::size_t pass = 1; pass <= 100; ++pass) {
        incremental = rig.average->calculateAverage(std::vector<double>(4, 0.1));
    }
    const std::vector<double> full = rig.average->calculateAverage(std::vector<double>(4, 0.1));
    for (std::size_t k = 0; k < 4; ++k) {
        EXPECT_NEAR(full[k], incremental[k], roundingOfBothForms * 0.1) << "element " << k;
        EXPECT_NEAR(full[k], 0.1, roundingOfBothForms * 0.1) << "element " << k;
    }
}

class NaiveMeanOverPasses : public testing::TestWithParam<std::size_t> {};

TEST_P(NaiveMeanOverPasses, EveryOutputEqualsTheNaiveMeanOverTheWindow) {
    const std::size_t windowSize = GetParam();
    Rig rig(true);
    windowOf(rig, windowSize);
    SpectrumLikeInputs inputs(64, 100 + static_cast<std::uint32_t>(windowSize));
    NaiveMean reference(windowSize);
    for (std::size_t pass = 1; pass <= 606; ++pass) {
        const std::vector<double> input = inputs.next();
        ASSERT_TRUE(meanMatches(rig.average->calculateAverage(input), reference.add(input)))
            << "pass " << pass;
    }
}

INSTANTIATE_TEST_SUITE_P(WindowSizes, NaiveMeanOverPasses, testing::Values(2, 3, 8, 16, 101, 150));

TEST(MovingAverage, AfterEveryResetTheMeanStartsAgainFromZeroHistory) {
    Rig rig(true);
    windowOf(rig, 6);
    SpectrumLikeInputs inputs(32, 7);
    NaiveMean reference(6);
    auto run = [&](std::size_t passes, std::size_t length) {
        SpectrumLikeInputs sized(length, static_cast<std::uint32_t>(passes + length));
        for (std::size_t pass = 1; pass <= passes; ++pass) {
            const std::vector<double> input = length == 32 ? inputs.next() : sized.next();
            ASSERT_TRUE(meanMatches(rig.average->calculateAverage(input), reference.add(input)))
                << "pass " << pass;
        }
    };
    run(130, 32);
    // A new window size.
    rig.configuration->setMovingAverageWindowSize(9);
    reference = NaiveMean(9);
    run(130, 32);
    // A new vector length.
    reference.clear();
    run(130, 20);
    // Switched off and on again through the configuration.
    rig.configuration->setMovingAverageActivity(true);
    rig.configuration->setMovingAverageActivity(false);
    rig.configuration->setMovingAverageActivity(true);
    reference.clear();
    run(130, 20);
    // The public reset.
    rig.average->reset();
    reference.clear();
    run(130, 20);
}

TEST(MovingAverage, TheCountOfIncrementalPassesSurvivesEveryReset) {
    process::SpectrumConfig configuration("cfg", 1024, internalRefreshRate);
    sonacore::BufferConfiguration buffer("buf", bufferSize, signalingAmount);
    InspectableAverage average(averageName, &configuration, &buffer);
    configuration.setMovingAverageWindowSize(4);
    for (std::size_t pass = 0; pass < 30; ++pass) {
        average.calculateAverage(std::vector<double>(3, 1.0));
    }
    configuration.setMovingAverageWindowSize(5);
    for (std::size_t pass = 0; pass < 30; ++pass) {
        average.calculateAverage(std::vector<double>(3, 1.0));
    }
    average.calculateAverage(std::vector<double>(2, 1.0));
    configuration.setMovingAverageActivity(true);
    configuration.setMovingAverageActivity(false);
    configuration.setMovingAverageActivity(true);
    average.reset();
    EXPECT_EQ(average.getOptimizedPasses(), 61U);
    // So the full pass falls on the 40th pass after the last reset.
    for (std::size_t pass = 1; pass <= 40; ++pass) {
        average.calculateAverage(std::vector<double>(2, 1.0));
    }
    EXPECT_EQ(average.getOptimizedPasses(), 0U);
}

TEST(MovingAverage, ThePublicResetZeroesTheHistoryAndKeepsTheSizes) {
    process::SpectrumConfig configuration("cfg", 1024, internalRefreshRate);
    sonacore::BufferConfiguration buffer("buf", bufferSize, signalingAmount);
    InspectableAverage average(averageName, &configuration, &buffer);
    configuration.setMovingAverageWindowSize(4);
    for (std::size_t pass = 0; pass < 6; ++pass) {
        average.calculateAverage(std::vector<double>(3, 4.0));
    }
    average.reset();
    EXPECT_EQ(average.getRingIndex(), 0U);
    EXPECT_EQ(average.getWindowSize(), 4U);
    EXPECT_EQ(average.getVectorLength(), 3U);
    EXPECT_EQ(average.getOptimizedPasses(), 6U);
    EXPECT_EQ(average.calculateAverage(std::vector<double>(3, 4.0)), std::vector<double>(3, 1.0));
}

TEST(MovingAverage, AnInputOfAnotherLengthClearsTheHistory) {
    Rig rig(true);
    windowOf(rig, 4);
    for (std::size_t pass = 0; pass < 3; ++pass) {
        rig.average->calculateAverage(std::vector<double>(8, 4.0));
    }
    testsupport::LogCapture capture;
    const std::vector<double> output = rig.average->calculateAverage(std::vector<double>(5, 8.0));
    EXPECT_EQ(output, std::vector<double>(5, 2.0));
    EXPECT_EQ(rig.average->getVectorLength(), 5U);
    EXPECT_EQ(
        averageLines(capture),
        (std::vector<std::string>{debugLine("setVectorLength", "Moving window vector length set to:  5")}));
}

TEST(MovingAverage, AnEmptyInputGivesAnEmptyResult) {
    Rig rig(true);
    windowOf(rig, 4);
    rig.average->calculateAverage(std::vector<double>(8, 4.0));
    testsupport::LogCapture capture;
    EXPECT_TRUE(rig.average->calculateAverage({}).empty());
    EXPECT_EQ(rig.average->getVectorLength(), 0U);
    EXPECT_EQ(
        averageLines(capture),
        (std::vector<std::string>{debugLine("setVectorLength", "Moving window vector length set to:  0")}));
}

TEST(MovingAverage, SetActiveStoresTheFlagWithoutTouchingTheHistory) {
    Rig rig(true);
    windowOf(rig, 4);
    rig.average->calculateAverage(std::vector<double>(2, 4.0));
    rig.average->calculateAverage(std::vector<double>(2, 4.0));
    rig.average->setActive(false);
    EXPECT_FALSE(rig.average->isActive());
    std::vector<double> input{9.0, 9.0};
    const double* storage = input.data();
    EXPECT_EQ(rig.average->calculateAverage(std::move(input)).data(), storage);
    rig.average->setActive(true);
    EXPECT_EQ(rig.average->calculateAverage(std::vector<double>(2, 4.0)), std::vector<double>(2, 3.0));
}

TEST(MovingAverage, SwitchingOnLogsAndKeepsTheHistory) {
    Rig rig(true);
    windowOf(rig, 4);
    rig.average->calculateAverage(std::vector<double>(2, 4.0));
    testsupport::LogCapture capture;
    rig.configuration->setMovingAverageActivity(true);
    EXPECT_EQ(averageLines(capture), (std::vector<std::string>{debugLine("movingAverageActivityChanged",
                                                                         "Moving Average  activated")}));
    EXPECT_TRUE(rig.average->isActive());
    EXPECT_EQ(rig.average->calculateAverage(std::vector<double>(2, 4.0)), std::vector<double>(2, 2.0));
}

TEST(MovingAverage, SwitchingOffDuringARunZeroesTheHistoryAndLetsInputsPass) {
    Rig rig(true);
    windowOf(rig, 4);
    rig.configuration->setMovingAverageActivity(true);
    for (std::size_t pass = 0; pass < 3; ++pass) {
        rig.average->calculateAverage(std::vector<double>(2, 4.0));
    }
    testsupport::LogCapture capture;
    rig.configuration->setMovingAverageActivity(false);
    EXPECT_EQ(averageLines(capture), (std::vector<std::string>{debugLine("movingAverageActivityChanged",
                                                                         "Moving Average  deactivated")}));
    EXPECT_FALSE(rig.average->isActive());
    for (std::size_t pass = 0; pass < 3; ++pass) {
        std::vector<double> input{7.0, 9.0};
        const double* storage = input.data();
        const std::vector<double> output = rig.average->calculateAverage(std::move(input));
        EXPECT_EQ(output.data(), storage);
        EXPECT_EQ(output, (std::vector<double>{7.0, 9.0}));
    }
    // Zeroed at the switch, so switched on again the mean starts from the new input alone.
    rig.configuration->setMovingAverageActivity(true);
    EXPECT_EQ(rig.average->calculateAverage(std::vector<double>(2, 4.0)), std::vector<double>(2, 1.0));
}

TEST(MovingAverage, ALengthRoundsDownToWholeIntervals) {
    Rig rig(true, 300);
    testsupport::LogCapture capture;
    rig.configuration->setMovingAverageWindowLength(1000);
    EXPECT_EQ(averageLines(capture),
              (std::vector<std::string>{
                  debugLine("setWindowLength", "Moving window length set to:  1000  ms"),
                  debugLine("updateWindowSize", "Moving window refresh interval set to:  300  ms"),
                  debugLine("setWindowSize", "Moving average window size set to:  3")}));
    EXPECT_EQ(rig.average->getWindowSize(), 3U);
    EXPECT_EQ(rig.average->getWindowLength(), 900U);
}

TEST(MovingAverage, ALengthShorterThanOneIntervalGivesSizeOneWithTheWarning) {
    Rig rig(true);
    windowOf(rig, 16);
    testsupport::LogCapture capture;
    rig.configuration->setMovingAverageWindowLength(100);
    EXPECT_EQ(averageLines(capture),
              (std::vector<std::string>{debugLine("setWindowLength", "Moving window length set to:  100  ms"),
                                        warningLine("setWindowSize", tooSmall)}));
    EXPECT_EQ(rig.average->getWindowSize(), 1U);
    EXPECT_EQ(rig.average->getWindowLength(), 500U);
}

TEST(MovingAverage, AnEqualLengthChangesNothing) {
    Rig rig(true);
    windowOf(rig, 4);
    testsupport::LogCapture capture;
    rig.average->setWindowLength(2000);
    EXPECT_TRUE(averageLines(capture).empty());
    EXPECT_EQ(rig.average->getWindowSize(), 4U);
}

TEST(MovingAverage, UnderTheInternalClockTheIntervalIsTheRefreshRate) {
    Rig rig(true, 250);
    EXPECT_EQ(rig.average->getRefreshInterval(), 250U);
    rig.configuration->setRefreshRate(40);
    EXPECT_EQ(rig.average->getRefreshInterval(), 40U);
}

// Rows: signalling amount, interval in milliseconds.
class ExternalInterval : public testing::TestWithParam<std::tuple<std::uint64_t, std::size_t>> {};

TEST_P(ExternalInterval, IsTheSignallingAmountOverFortyEightRoundedDown) {
    Rig rig(false, internalRefreshRate, std::get<0>(GetParam()));
    EXPECT_EQ(rig.average->getRefreshInterval(), std::get<1>(GetParam()));
}

INSTANTIATE_TEST_SUITE_P(Amounts, ExternalInterval,
                         testing::Values(std::make_tuple(0, 0), std::make_tuple(47, 0),
                                         std::make_tuple(48, 1), std::make_tuple(95, 1),
                                         std::make_tuple(96, 2), std::make_tuple(4800, 100),
                                         std::make_tuple(4847, 100), std::make_tuple(480000, 10000)));

TEST(MovingAverage, AnIntervalOfZeroIsRefusedAndLeavesTheWindow) {
    Rig rig(false);
    windowOf(rig, 8);
    ASSERT_EQ(rig.average->getWindowLength(), 800U);
    rig.bufferConfiguration.setClockSignalingSampleAmount(47);
    testsupport::LogCapture capture;
    // A new FFT order moves the processor configuration's sample amount, whose notice reaches the window.
    rig.configuration->setFftOrder(10);
    EXPECT_EQ(averageLines(capture),
              (std::vector<std::string>{debugLine("signalingSampleAmountChanged",
                                                  "External audio clock signaling sample amount changed"),
                                        warningLine("updateWindowSize", zeroInterval)}));
    EXPECT_EQ(rig.average->getWindowSize(), 8U);
    EXPECT_EQ(rig.average->getWindowLength(), 800U);
}

TEST(MovingAverage, AnIntervalOfZeroIsRefusedWhenTheSizeChangesToo) {
    Rig rig(false, internalRefreshRate, 47);
    testsupport::LogCapture capture;
    rig.configuration->setMovingAverageWindowSize(4);
    EXPECT_EQ(averageLines(capture),
              (std::vector<std::string>{debugLine("setWindowSize", "Moving average window size set to:  4"),
                                        warningLine("updateWindowLength", zeroInterval)}));
    EXPECT_EQ(rig.average->getWindowSize(), 4U);
    EXPECT_EQ(rig.average->getWindowLength(), 0U);
}

TEST(MovingAverage, ANewSignallingAmountTakesEffectOnlyWithTheNextNotice) {
    Rig rig(false);
    windowOf(rig, 8);
    rig.bufferConfiguration.setClockSignalingSampleAmount(9600);
    EXPECT_EQ(rig.average->getWindowSize(), 8U);
    EXPECT_EQ(rig.average->getWindowLength(), 800U);
    testsupport::LogCapture capture;
    rig.configuration->setFftOrder(10);
    EXPECT_EQ(
        averageLines(capture),
        (std::vector<std::string>{
            debugLine("signalingSampleAmountChanged", "External audio clock signaling sample amount changed"),
            debugLine("updateWindowSize", "Moving window refresh interval set to:  200  ms"),
            debugLine("setWindowSize", "Moving average window size set to:  4")}));
    EXPECT_EQ(rig.average->getWindowSize(), 4U);
    EXPECT_EQ(rig.average->getWindowLength(), 800U);
}

TEST(MovingAverage, AClockChangeKeepsTheLengthAndRecomputesTheSize) {
    Rig rig(true);
    windowOf(rig, 16);
    ASSERT_EQ(rig.average->getWindowLength(), 8000U);
    testsupport::LogCapture capture;
    rig.configuration->setClockType(sonacore::constants::externalClock);
    EXPECT_EQ(averageLines(capture),
              (std::vector<std::string>{
                  debugLine("clockConfigurationChanged", "Audio clock changed"),
                  debugLine("updateWindowSize", "Moving window refresh interval set to:  100  ms"),
                  debugLine("setWindowSize", "Moving average window size set to:  80")}));
    EXPECT_EQ(rig.average->getWindowSize(), 80U);
    EXPECT_EQ(rig.average->getWindowLength(), 8000U);
}

TEST(MovingAverage, ARefreshRateChangeUnderTheInternalClockRecomputesTheSize) {
    Rig rig(true);
    windowOf(rig, 16);
    testsupport::LogCapture capture;
    rig.configuration->setRefreshRate(250);
    EXPECT_EQ(averageLines(capture),
              (std::vector<std::string>{
                  debugLine("clockRefreshChanged", "Internal audio clock refresh rate changed"),
                  debugLine("updateWindowSize", "Moving window refresh interval set to:  250  ms"),
                  debugLine("setWindowSize", "Moving average window size set to:  32")}));
    EXPECT_EQ(rig.average->getWindowLength(), 8000U);
}

TEST(MovingAverage, AnIntervalChangeThatKeepsTheSizeKeepsTheHistory) {
    Rig rig(true);
    windowOf(rig, 4);
    rig.average->calculateAverage(std::vector<double>(2, 4.0));
    rig.average->calculateAverage(std::vector<double>(2, 4.0));
    // 2000 ms / 450 ms is still 4 vectors.
    rig.configuration->setRefreshRate(450);
    EXPECT_EQ(rig.average->getWindowSize(), 4U);
    EXPECT_EQ(rig.average->getWindowLength(), 1800U);
    EXPECT_EQ(rig.average->calculateAverage(std::vector<double>(2, 4.0)), std::vector<double>(2, 3.0));
}

TEST(MovingAverage, ARefreshRateNoticeUnderTheExternalClockIsIgnored) {
    Rig rig(false);
    windowOf(rig, 8);
    testsupport::LogCapture capture;
    emit rig.configuration->configurationChanged(sonacore::constants::clockRefreshRateChanged);
    EXPECT_TRUE(averageLines(capture).empty());
    EXPECT_EQ(rig.average->getWindowSize(), 8U);
}

TEST(MovingAverage, ASampleAmountNoticeUnderTheInternalClockIsIgnored) {
    Rig rig(true);
    windowOf(rig, 8);
    testsupport::LogCapture capture;
    rig.configuration->setFftOrder(10);
    EXPECT_TRUE(averageLines(capture).empty());
    EXPECT_EQ(rig.average->getWindowSize(), 8U);
}

TEST(MovingAverage, NoticesOfOtherSettingsAreIgnored) {
    Rig rig(true);
    windowOf(rig, 8);
    testsupport::LogCapture capture;
    for (const std::string& notice :
         {sonacore::constants::fftOrderChanged, sonacore::constants::signalingSampleAmountChanged,
          std::string("Internal"), std::string("MovingAverageWindowSize")}) {
        emit rig.configuration->configurationChanged(notice);
    }
    EXPECT_TRUE(averageLines(capture).empty());
    EXPECT_EQ(rig.average->getWindowSize(), 8U);
}

TEST(MovingAverage, AFailingIncrementalPassWarnsAndLeavesTheRingIndex) {
    process::SpectrumConfig configuration("cfg", 1024, internalRefreshRate);
    sonacore::BufferConfiguration buffer("buf", bufferSize, signalingAmount);
    InspectableAverage average(averageName, &configuration, &buffer);
    configuration.setMovingAverageWindowSize(3);
    average.calculateAverage(std::vector<double>(4, 1.0));
    ASSERT_EQ(average.getRingIndex(), 1U);
    testsupport::LogCapture capture;
    // Longer than the rows: element 4 of the oldest row does not exist.
    average.performanceOptimizedMovingAverage(std::vector<double>(5, 1.0));
    EXPECT_EQ(averageLines(capture),
              (std::vector<std::string>{warningLine("performanceOptimizedMovingAverage",
                                                    "Ring buffer index error:  " + rangeErrorText(4, 4))}));
    EXPECT_EQ(average.getRingIndex(), 1U);
}

TEST(MovingAverage, AFailingFullPassWarnsAfterTheRowIsWritten) {
    process::SpectrumConfig configuration("cfg", 1024, internalRefreshRate);
    sonacore::BufferConfiguration buffer("buf", bufferSize, signalingAmount);
    InspectableAverage average(averageName, &configuration, &buffer);
    configuration.setMovingAverageWindowSize(3);
    average.calculateAverage(std::vector<double>(4, 1.0));
    testsupport::LogCapture capture;
    average.simpleMovingAverage(std::vector<double>(5, 1.0));
    EXPECT_EQ(averageLines(capture),
              (std::vector<std::string>{
                  warningLine("simpleMovingAverage", "Ring buffer index error:  " + rangeErrorText(4, 4))}));
    EXPECT_EQ(average.getRingIndex(), 2U);
}

TEST(MovingAverage, SettingsReachAnAverageOnAnotherThreadQueued) {
    registerTypes();
    Rig rig(true);
    QThread thread;
    rig.average->moveToThread(&thread);
    thread.start();
    rig.configuration->setMovingAverageWindowSize(6);
    EXPECT_TRUE(testsupport::spinUntil([&] { return rig.average->getWindowSize() == 6; }));
    EXPECT_EQ(rig.average->getWindowLength(), 3000U);
    thread.quit();
    thread.wait();
}

TEST(MovingAverage, SettingsChangesDuringARunNeverBreakAPass) {
    Rig rig(true);
    windowOf(rig, 4);
    std::atomic<bool> running{true};
    std::atomic<bool> wrongLength{false};
    std::thread worker([&] {
        SpectrumLikeInputs inputs(256, 5);
        while (running.load()) {
            const std::vector<double> output = rig.average->calculateAverage(inputs.next());
            if (output.size() != 256) {
                wrongLength = true;
            }
        }
    });
    for (std::size_t round = 0; round < 200; ++round) {
        rig.configuration->setMovingAverageWindowSize(2 + round % 7);
        rig.configuration->setMovingAverageActivity(round % 3 != 0);
    }
    running = false;
    worker.join();
    EXPECT_FALSE(wrongLength.load());
}
