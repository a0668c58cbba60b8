// When a channel's spectra show the stream: the spectrum processor runs only once the levels count a full
// frame, also after a change of order, and the moving average settles over its window of spectra.
#include "SpectrumReadiness.h"
#include "ChannelAnalysers.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>

using host::ChannelAnalysers;
using host::SpectrumReadiness;

namespace {

// A level every six buffer signals of 480 samples, as the host's defaults make it.
constexpr std::uint64_t levelSamples = 2880;
constexpr std::size_t window = 10;

// The levels it takes until one answers true; 0 when none of `most` does.
int levelsUntilStart(SpectrumReadiness& readiness, int most = 1000) {
    for (int level = 1; level <= most; ++level) {
        if (readiness.levelArrived()) {
            return level;
        }
    }
    return 0;
}

TEST(SpectrumReadiness, StartsTheProcessorOnceTheLevelsCountAFullFrame) {
    SpectrumReadiness readiness(levelSamples, 14, false, window);
    // 5 levels are 14400 samples, fewer than 16384; 6 are 17280.
    EXPECT_EQ(levelsUntilStart(readiness), 6);
    EXPECT_TRUE(readiness.running());
    EXPECT_EQ(readiness.samplesHeard(), 6u * levelSamples);
}

TEST(SpectrumReadiness, StartsTheProcessorOnlyOnce) {
    SpectrumReadiness readiness(levelSamples, 10, false, window);
    EXPECT_EQ(levelsUntilStart(readiness), 1);
    EXPECT_EQ(levelsUntilStart(readiness, 100), 0);
}

TEST(SpectrumReadiness, HigherOrderNotYetFilledStopsTheProcessorUntilItIs) {
    SpectrumReadiness readiness(levelSamples, 14, false, window);
    ASSERT_EQ(levelsUntilStart(readiness), 6);
    // Order 16 needs 65536 samples: 23 levels of 2880.
    EXPECT_TRUE(readiness.orderChanged(16));
    EXPECT_FALSE(readiness.running());
    EXPECT_EQ(levelsUntilStart(readiness), 23 - 6);
}

TEST(SpectrumReadiness, OrderWhoseFrameIsFullKeepsTheProcessorRunning) {
    SpectrumReadiness readiness(levelSamples, 14, false, window);
    ASSERT_EQ(levelsUntilStart(readiness), 6);
    EXPECT_FALSE(readiness.orderChanged(12));
    EXPECT_FALSE(readiness.orderChanged(14));
    EXPECT_TRUE(readiness.running());
}

TEST(SpectrumReadiness, OrderChangedBeforeTheStartIsTheOneWaitedFor) {
    SpectrumReadiness readiness(levelSamples, 14, false, window);
    EXPECT_FALSE(readiness.orderChanged(10));
    EXPECT_EQ(levelsUntilStart(readiness), 1);
}

TEST(SpectrumReadiness, AverageSettlesAfterItsWindowOfSpectra) {
    SpectrumReadiness readiness(levelSamples, 14, true, window);
    for (std::size_t spectrum = 1; spectrum < window; ++spectrum) {
        readiness.spectrumArrived(8192);
        EXPECT_TRUE(readiness.averaging().settling()) << spectrum;
        EXPECT_EQ(readiness.averaging().averaged, spectrum);
    }
    readiness.spectrumArrived(8192);
    EXPECT_FALSE(readiness.averaging().settling());
    EXPECT_EQ(readiness.averaging().averaged, window);
}

TEST(SpectrumReadiness, SpectrumOfANewLengthSettlesAgain) {
    SpectrumReadiness readiness(levelSamples, 14, true, window);
    for (std::size_t spectrum = 0; spectrum < window; ++spectrum) {
        readiness.spectrumArrived(8192);
    }
    ASSERT_FALSE(readiness.averaging().settling());
    readiness.spectrumArrived(16384);
    EXPECT_TRUE(readiness.averaging().settling());
    EXPECT_EQ(readiness.averaging().averaged, 1u);
}

TEST(SpectrumReadiness, SwitchingTheAverageOnSettlesAgainAndOffEndsSettling) {
    SpectrumReadiness readiness(levelSamples, 14, true, window);
    for (std::size_t spectrum = 0; spectrum < window; ++spectrum) {
        readiness.spectrumArrived(8192);
    }
    readiness.averagingChanged(false);
    readiness.spectrumArrived(8192);
    EXPECT_FALSE(readiness.averaging().on);
    EXPECT_FALSE(readiness.averaging().settling());
    readiness.averagingChanged(true);
    EXPECT_TRUE(readiness.averaging().settling());
    EXPECT_EQ(readiness.averaging().averaged, 0u);
}

struct WindowRow {
    std::uint64_t clockPeriodMs;
    std::uint64_t signalingAmount;
    std::size_t spectra;
};

class ChannelAnalysersWindow : public ::testing::TestWithParam<WindowRow> {};

// Two seconds of spectra: on the processor's timer every 200 ms, on every buffer signal of 480 samples
// (10 ms), and never fewer than two, below which the library turns the average off.
TEST_P(ChannelAnalysersWindow, SpansTheAveragingTimeInSpectra) {
    EXPECT_EQ(ChannelAnalysers::averagingWindow(2000, GetParam().clockPeriodMs, GetParam().signalingAmount),
              GetParam().spectra);
}

INSTANTIATE_TEST_SUITE_P(Clocks, ChannelAnalysersWindow,
                         ::testing::Values(WindowRow{200, 480, 10}, WindowRow{0, 480, 200},
                                           WindowRow{1500, 480, 2}, WindowRow{0, 4800, 20}));

} // namespace
