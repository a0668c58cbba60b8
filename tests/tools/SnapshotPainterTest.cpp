// The snapshot's axes: where a frequency and a level land in the image, against the plot's edges and a
// logarithmic scale computed here in long double.
#include "SnapshotPainter.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using host::SnapshotPainter;

namespace {

// The mapping is one logarithm and a multiplication in double: far below a thousandth of a pixel.
constexpr double pixelTolerance = 1e-9;

// The frequency axis from its definition: 20 Hz at the left edge, 24 kHz at the right, equal distances for
// equal ratios.
long double referenceX(long double hertz) {
    const long double left = SnapshotPainter::plotLeft;
    const long double width = SnapshotPainter::plotRight - SnapshotPainter::plotLeft;
    return left + width * std::log10(hertz / 20.0L) / std::log10(24000.0L / 20.0L);
}

TEST(SnapshotPainter, ImageSizeIsTwelveHundredBySevenHundred) {
    EXPECT_EQ(SnapshotPainter::imageWidth, 1200);
    EXPECT_EQ(SnapshotPainter::imageHeight, 700);
}

TEST(SnapshotPainter, TwentyHertzLiesOnThePlotsLeftEdge) {
    EXPECT_NEAR(SnapshotPainter::frequencyToX(20.0), SnapshotPainter::plotLeft, pixelTolerance);
}

TEST(SnapshotPainter, TwentyFourKilohertzLiesOnThePlotsRightEdge) {
    EXPECT_NEAR(SnapshotPainter::frequencyToX(24000.0), SnapshotPainter::plotRight, pixelTolerance);
}

TEST(SnapshotPainter, EveryDecadeIsEquallyWide) {
    const double decade = SnapshotPainter::frequencyToX(200.0) - SnapshotPainter::frequencyToX(20.0);
    EXPECT_NEAR(SnapshotPainter::frequencyToX(2000.0) - SnapshotPainter::frequencyToX(200.0), decade,
                pixelTolerance);
    EXPECT_NEAR(SnapshotPainter::frequencyToX(20000.0) - SnapshotPainter::frequencyToX(2000.0), decade,
                pixelTolerance);
}

TEST(SnapshotPainter, FrequencyOfNoHertzHasNoPosition) {
    EXPECT_TRUE(std::isnan(SnapshotPainter::frequencyToX(0.0)));
    EXPECT_TRUE(std::isnan(SnapshotPainter::frequencyToX(-440.0)));
}

class SnapshotFrequency : public ::testing::TestWithParam<double> {};

TEST_P(SnapshotFrequency, LiesOnTheLogarithmicAxis) {
    EXPECT_NEAR(SnapshotPainter::frequencyToX(GetParam()), static_cast<double>(referenceX(GetParam())),
                pixelTolerance);
}

// The ticks, the talker's sines and the bins nearest them, and the ends of the spectrum beyond the axis.
INSTANTIATE_TEST_SUITE_P(Hertz, SnapshotFrequency,
                         ::testing::Values(2.9296875, 20.0, 50.0, 100.0, 439.453125, 440.0, 999.0234375,
                                           1000.0, 2000.0, 5000.0, 10000.0, 20000.0, 23997.0703125));

struct DecibelRow {
    double decibels;
    double y;
};

class SnapshotDecibels : public ::testing::TestWithParam<DecibelRow> {};

TEST_P(SnapshotDecibels, LieOnTheLinearAxis) {
    EXPECT_NEAR(SnapshotPainter::decibelsToY(GetParam().decibels), GetParam().y, pixelTolerance);
}

// +10 dB at the top edge (y 40), -170 dB at the bottom (y 440): 400 pixels for 180 dB, and beyond the range
// the plot's edges.
INSTANTIATE_TEST_SUITE_P(Rows, SnapshotDecibels,
                         ::testing::Values(DecibelRow{10.0, 40.0}, DecibelRow{-170.0, 440.0},
                                           DecibelRow{-80.0, 240.0},
                                           DecibelRow{0.0, 40.0 + 400.0 * 10.0 / 180.0},
                                           DecibelRow{-3.0103, 40.0 + 400.0 * 13.0103 / 180.0},
                                           DecibelRow{25.0, 40.0}, DecibelRow{-200.0, 440.0},
                                           DecibelRow{-std::numeric_limits<double>::infinity(), 440.0},
                                           DecibelRow{std::numeric_limits<double>::quiet_NaN(), 440.0}));

} // namespace
