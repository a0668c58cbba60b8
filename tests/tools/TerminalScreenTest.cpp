// The live view's layout: its logarithmic frequency axis, the bars it draws from a power spectrum, and the
// meter rows, without a terminal.
#include "TerminalScreen.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

using host::TerminalScreen;

namespace {

using namespace std::chrono_literals;

constexpr double sampleRate = 48000.0;
constexpr int columns = 160;
constexpr int rows = 50;
const TerminalScreen::Clock::time_point start{};

// Seven levels in the order of a delivery: dBA f, dBA s, dBC f, dBC s, dBZ f, dBZ s, dBFS.
std::vector<double> levels(double dbzFast, double others = -20.0) {
    return {others, others, others, others, dbzFast, others, dbzFast};
}

std::vector<std::string> screenOf(const TerminalScreen& screen,
                                  TerminalScreen::Clock::time_point now = start) {
    return screen.compose(rows, columns, now);
}

// The line that starts with `prefix`; empty when there is none.
std::string lineStarting(const std::vector<std::string>& lines, const std::string& prefix) {
    for (const std::string& line : lines) {
        if (line.rfind(prefix, 0) == 0) {
            return line;
        }
    }
    return {};
}

// The column of a frequency, from 20 Hz to 24 kHz over `width` columns, typed out in long double.
int referenceColumn(long double hertz, int width) {
    return static_cast<int>(std::floor(width * std::log10(hertz / 20.0L) / std::log10(24000.0L / 20.0L)));
}

struct AxisRow {
    double hertz;
    int width;
};

class TerminalScreenAxis : public ::testing::TestWithParam<AxisRow> {};

TEST_P(TerminalScreenAxis, PlacesAFrequencyInTheColumnThatHoldsIt) {
    const AxisRow row = GetParam();
    EXPECT_EQ(TerminalScreen::columnOf(row.hertz, row.width), referenceColumn(row.hertz, row.width));
}

INSTANTIATE_TEST_SUITE_P(Frequencies, TerminalScreenAxis,
                         ::testing::Values(AxisRow{20.0, 152}, AxisRow{440.0, 152}, AxisRow{1000.0, 152},
                                           AxisRow{20000.0, 152}, AxisRow{1000.0, 92}, AxisRow{440.0, 72},
                                           AxisRow{23999.0, 112}));

TEST(TerminalScreen, ColumnFrequencyLiesInsideItsColumn) {
    for (int column = 0; column < 152; ++column) {
        EXPECT_EQ(TerminalScreen::columnOf(TerminalScreen::columnFrequency(column, 152), 152), column)
            << column;
    }
}

TEST(TerminalScreen, ColumnLevelTakesTheStrongestBinThatFallsInTheColumn) {
    // 8192 bins of a 16384-point transform, 2.93 Hz apart: bins 340 to 342 lie near 1 kHz.
    std::vector<double> power(8192, 1e-12);
    power[340] = 0.01;
    power[341] = 0.5;
    power[342] = 0.02;
    const std::vector<double> levels = TerminalScreen::columnLevels(power, sampleRate, 152);
    const auto column = static_cast<std::size_t>(referenceColumn(341.0L * 48000.0L / 16384.0L, 152));
    EXPECT_DOUBLE_EQ(levels[column], static_cast<double>(10.0L * std::log10(0.5L)));
}

TEST(TerminalScreen, NarrowColumnTakesTheBinNearestToItsMiddle) {
    // Near 20 Hz a column is under 1 Hz wide, and bins lie 2.93 Hz apart: most columns hold none.
    std::vector<double> power(8192, 0.0);
    for (std::size_t bin = 0; bin < 20; ++bin) {
        power[bin] = static_cast<double>(bin + 1);
    }
    const std::vector<double> levels = TerminalScreen::columnLevels(power, sampleRate, 152);
    const long double middle = 20.0L * std::pow(1200.0L, 0.5L / 152.0L);
    const auto nearest = static_cast<std::size_t>(std::lround(middle * 16384.0L / 48000.0L));
    EXPECT_DOUBLE_EQ(levels[0],
                     static_cast<double>(10.0L * std::log10(static_cast<long double>(nearest + 1))));
}

TEST(TerminalScreen, ColumnWithoutPowerIsNegativeInfinity) {
    const std::vector<double> levels =
        TerminalScreen::columnLevels(std::vector<double>(8192, 0.0), sampleRate, 152);
    for (const double level : levels) {
        EXPECT_EQ(level, -std::numeric_limits<double>::infinity());
    }
}

TEST(TerminalScreen, ComposesExactlyTheTerminalsRowsAndColumns) {
    TerminalScreen screen({0, 1}, sampleRate, "title");
    const std::vector<std::string> lines = screen.compose(rows, columns, start);
    ASSERT_EQ(lines.size(), static_cast<std::size_t>(rows));
    for (const std::string& line : lines) {
        EXPECT_EQ(line.size(), static_cast<std::size_t>(columns));
    }
}

TEST(TerminalScreen, HeaderNamesTheSevenLevelsInTheOrderOfADelivery) {
    const TerminalScreen screen({0}, sampleRate, "title");
    EXPECT_EQ(lineStarting(screenOf(screen), "  ch").substr(0, 74),
              "  ch dBA SPL f dBA SPL s dBC SPL f dBC SPL s dBZ SPL f dBZ SPL s      dBFS");
}

TEST(TerminalScreen, RowShowsEachLevelWithTwoDecimals) {
    TerminalScreen screen({0}, sampleRate, "title");
    screen.updateLevels(0, {-3.014, -3.024, -2.9949, -3.0, -3.0103, -3.03, -3.0103}, start);
    EXPECT_EQ(lineStarting(screenOf(screen), ">  0").substr(0, 74),
              ">  0     -3.01     -3.02     -2.99     -3.00     -3.01     -3.03     -3.01");
}

TEST(TerminalScreen, RowShowsDigitalSilenceAsMinusInfinityAndNoDataAsDashes) {
    TerminalScreen screen({0, 1}, sampleRate, "title");
    const double silence = -std::numeric_limits<double>::infinity();
    screen.updateLevels(0, std::vector<double>(7, silence), start);
    const std::vector<std::string> lines = screenOf(screen);
    EXPECT_EQ(lineStarting(lines, ">  0").substr(14, 10), "      -inf");
    EXPECT_EQ(lineStarting(lines, "   1").substr(4, 10), "        --");
}

TEST(TerminalScreen, ClipMarkShowsALevelAtFullScaleForTheHoldTime) {
    TerminalScreen screen({0}, sampleRate, "title");
    screen.updateLevels(0, levels(0.0), start);
    screen.updateLevels(0, levels(-10.0), start + 100ms);
    const std::string held = lineStarting(screenOf(screen, start + TerminalScreen::holdTime), ">  0");
    EXPECT_EQ(held.substr(held.find(']') + 1, 5), " CLIP");
    const std::string gone = lineStarting(screenOf(screen, start + TerminalScreen::holdTime + 1ms), ">  0");
    EXPECT_EQ(gone.substr(gone.find(']') + 1, 5), "     ");
}

TEST(TerminalScreen, FullScaleSineDoesNotClip) {
    TerminalScreen screen({0}, sampleRate, "title");
    screen.updateLevels(0, levels(-3.01, -3.01), start);
    const std::string row = lineStarting(screenOf(screen), ">  0");
    EXPECT_EQ(row.find("CLIP"), std::string::npos);
}

TEST(TerminalScreen, BarReachesTheLevelAndThePeakHoldStaysAtTheHighest) {
    TerminalScreen screen({0}, sampleRate, "title");
    screen.updateLevels(0, levels(-6.0), start);
    screen.updateLevels(0, levels(-30.0), start + 500ms);
    const std::string row = lineStarting(screenOf(screen, start + 500ms), ">  0");
    const std::size_t open = row.find('[');
    const std::string bar = row.substr(open + 1, row.find(']') - open - 1);
    const auto cells = static_cast<int>(bar.size());
    // -30 dB fills half of the bar from -60 to 0 dB; the peak of -6 dB sits at nine tenths.
    EXPECT_EQ(bar.find_first_not_of('#'), static_cast<std::size_t>(cells / 2));
    EXPECT_EQ(bar.find('|'), static_cast<std::size_t>(std::floor(0.9 * cells) - 1));
}

TEST(TerminalScreen, PeakHoldFallsToTheLevelAfterTheHoldTime) {
    TerminalScreen screen({0}, sampleRate, "title");
    screen.updateLevels(0, levels(-6.0), start);
    screen.updateLevels(0, levels(-30.0), start + TerminalScreen::holdTime + 1ms);
    const std::string row = lineStarting(screenOf(screen, start + TerminalScreen::holdTime + 1ms), ">  0");
    const std::size_t open = row.find('[');
    const std::string bar = row.substr(open + 1, row.find(']') - open - 1);
    EXPECT_EQ(bar.find('|'), bar.size() / 2 - 1);
}

TEST(TerminalScreen, SelectionWrapsAroundTheMeteredChannels) {
    TerminalScreen screen({0, 2, 5}, sampleRate, "title");
    screen.selectPrevious();
    EXPECT_EQ(screen.selectedChannel(), 5u);
    screen.selectNext();
    EXPECT_EQ(screen.selectedChannel(), 0u);
    screen.selectNext();
    EXPECT_EQ(screen.selectedChannel(), 2u);
}

TEST(TerminalScreen, SelectingAChannelNotMeteredChangesNothing) {
    TerminalScreen screen({0, 2}, sampleRate, "title");
    EXPECT_FALSE(screen.select(1));
    EXPECT_EQ(screen.selectedChannel(), 0u);
    EXPECT_TRUE(screen.select(2));
    EXPECT_EQ(screen.selectedChannel(), 2u);
}

TEST(TerminalScreen, SpectrumTitleNamesTheOrderTheBinsAndTheTallestBin) {
    TerminalScreen screen({0, 1}, sampleRate, "title");
    std::vector<double> power(8192, 1e-9);
    power[341] = 0.3;
    screen.updateSpectrum(0, power);
    EXPECT_EQ(lineStarting(screenOf(screen), "Spectrum of ch 0").substr(0, 107),
              "Spectrum of ch 0: FFT order 14 (16384 points, bins 2.93 Hz apart), tallest bin 999.02 Hz, "
              "moving average on");
}

TEST(TerminalScreen, SpectrumOfAChannelNotSelectedIsNotShown) {
    TerminalScreen screen({0, 1}, sampleRate, "title");
    screen.updateSpectrum(1, std::vector<double>(8192, 1.0));
    EXPECT_EQ(lineStarting(screenOf(screen), "Spectrum of ch 0").rfind("waiting for a spectrum"), 18u);
}

TEST(TerminalScreen, AxisTicksSitInTheColumnsOfTheirFrequencies) {
    const TerminalScreen screen({0}, sampleRate, "title");
    const std::vector<std::string> lines = screenOf(screen);
    std::size_t axis = 0;
    while (axis < lines.size() && lines[axis].find('+') == std::string::npos) {
        ++axis;
    }
    ASSERT_LT(axis + 1, lines.size());
    const int width = columns - TerminalScreen::plotLeft;
    for (const auto& [hertz, label] : std::vector<std::pair<long double, std::string>>{
             {20.0L, "20 Hz"}, {100.0L, "100 Hz"}, {1000.0L, "1k Hz"}, {10000.0L, "10k Hz"}}) {
        const auto column =
            static_cast<std::size_t>(TerminalScreen::plotLeft + referenceColumn(hertz, width));
        EXPECT_EQ(lines[axis][column], '+') << label;
        EXPECT_EQ(lines[axis + 1].substr(column, label.size()), label);
    }
}

TEST(TerminalScreen, StatusShowsTheTwoLatestMessages) {
    TerminalScreen screen({0}, sampleRate, "title");
    screen.addStatus("first");
    screen.addStatus("second");
    screen.addStatus("third");
    const std::vector<std::string> lines = screenOf(screen);
    EXPECT_EQ(lines[static_cast<std::size_t>(rows) - 3].substr(0, 14), "Status: second");
    EXPECT_EQ(lines[static_cast<std::size_t>(rows) - 2].substr(0, 13), "Status: third");
    EXPECT_EQ(lines[static_cast<std::size_t>(rows) - 1].substr(0, 6), "Keys: ");
}

TEST(TerminalScreen, KeysLineNamesTheFftOrdersOffered) {
    TerminalScreen screen({0}, sampleRate, "title");
    screen.setOrderRange(10, 15);
    const std::string keys = "Keys: Tab/Right next channel, Left previous, 0-9 channel, +/- FFT order "
                             "(10-15), a averaging, q quit";
    EXPECT_EQ(screenOf(screen).back().substr(0, keys.size() + 1), keys + " ");
}

} // namespace
