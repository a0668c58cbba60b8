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

// The demo's title, which an 80-column terminal cannot hold on one line.
const std::string demoTitle =
    "SonaCore monitor: 00a0c9112233 on scd27882h, 4 channels of int16 at 48000 Hz, 12 s; q or Ctrl-C ends it";

// The demo's four channels, with levels on each.
TerminalScreen demoScreen() {
    TerminalScreen screen({0, 1, 2, 3}, sampleRate, demoTitle);
    for (unsigned channel = 0; channel < 4; ++channel) {
        screen.updateLevels(channel, levels(-3.01 - 6.0 * channel, -3.5), start);
    }
    return screen;
}

std::string padded(const std::string& text, int width) {
    return text + std::string(static_cast<std::size_t>(width) - text.size(), ' ');
}

TEST(TerminalScreen, At80x24TheTitleWrapsBetweenItsPhrases) {
    const std::vector<std::string> lines = demoScreen().compose(24, 80, start);
    EXPECT_EQ(lines[0],
              padded("SonaCore monitor: 00a0c9112233 on scd27882h, 4 channels of int16 at 48000 Hz,", 80));
    EXPECT_EQ(lines[1], padded("  12 s; q or Ctrl-C ends it", 80));
}

TEST(TerminalScreen, At80x24TheKeysLineIsWhole) {
    EXPECT_EQ(demoScreen().compose(24, 80, start).back(),
              padded("Keys: Tab/Left/Right or 0-9 channel, +/- FFT order (10-16), a averaging, q quit", 80));
}

TEST(TerminalScreen, At80x24EveryChannelHasItsBarBesideTheFastLevels) {
    const std::vector<std::string> lines = demoScreen().compose(24, 80, start);
    EXPECT_EQ(lines[2], padded("  ch dBA SPL f dBC SPL f dBZ SPL f      dBFS   dBZ SPL f, -60 to 0 dB", 80));
    // -3.01 dB fills 56.99 / 60 of 27 cells: 25, the last of them the peak hold.
    EXPECT_EQ(lines[3],
              padded(">  0     -3.50     -3.50     -3.01     -3.01  [########################|  ]", 80));
    for (std::size_t row = 3; row < 7; ++row) {
        EXPECT_EQ(lines[row].substr(44, 3), "  [") << lines[row];
        EXPECT_EQ(lines[row][74], ']') << lines[row];
    }
}

TEST(TerminalScreen, NarrowerThanFullWidthLeavesOutTheSlowLevels) {
    TerminalScreen screen({0}, sampleRate, "title");
    const std::string wide = lineStarting(screen.compose(40, TerminalScreen::fullWidth, start), "  ch");
    const std::string narrow = lineStarting(screen.compose(40, TerminalScreen::fullWidth - 1, start), "  ch");
    EXPECT_EQ(wide.substr(0, 74),
              "  ch dBA SPL f dBA SPL s dBC SPL f dBC SPL s dBZ SPL f dBZ SPL s      dBFS");
    EXPECT_EQ(narrow.substr(0, 44), "  ch dBA SPL f dBC SPL f dBZ SPL f      dBFS");
    const std::string row = lineStarting(screen.compose(40, TerminalScreen::fullWidth, start), ">  0");
    EXPECT_EQ(row.size() - row.find('[') - 2 - 5, static_cast<std::size_t>(TerminalScreen::minimumBar));
}

TEST(TerminalScreen, FewerRowsShrinkThePlotThenDropTheGapThenAStatusLine) {
    TerminalScreen screen = demoScreen();
    screen.addStatus("older");
    screen.addStatus("newer");
    // 2 title lines, the header, 4 meters, the line for no audio, the spectrum's title, the axis and its
    // labels, and the keys: 13 rows, besides the plot and the status lines.
    const std::vector<std::string> roomy = screen.compose(19, 80, start);
    EXPECT_EQ(roomy[roomy.size() - 4], padded("", 80));
    EXPECT_EQ(roomy[roomy.size() - 3], padded("Status: older", 80));
    const std::vector<std::string> gapless = screen.compose(17, 80, start);
    EXPECT_EQ(gapless[gapless.size() - 3], padded("Status: older", 80));
    EXPECT_EQ(gapless[gapless.size() - 2], padded("Status: newer", 80));
    EXPECT_NE(gapless[gapless.size() - 4].find("20 Hz"), std::string::npos);
    const std::vector<std::string> smallest = screen.compose(16, 80, start);
    EXPECT_EQ(smallest[smallest.size() - 2], padded("Status: newer", 80));
    EXPECT_NE(smallest[smallest.size() - 3].find("20 Hz"), std::string::npos);
    EXPECT_EQ(screen.minimumRows(80), 16);
}

TEST(TerminalScreen, At40x10OnlyTheSentenceThatTheTerminalIsTooSmallIsShown) {
    const std::vector<std::string> lines = demoScreen().compose(10, 40, start);
    const std::vector<std::string> expected{"Terminal too small: the monitor needs at",
                                            "least 80x16 characters,", "this one has 40x10. Enlarge it,",
                                            "or press q to end the run."};
    ASSERT_EQ(lines.size(), 10u);
    for (std::size_t row = 0; row < lines.size(); ++row) {
        EXPECT_EQ(lines[row], padded(row < expected.size() ? expected[row] : "", 40)) << row;
    }
}

TEST(TerminalScreen, TooFewRowsForTheChannelsAreTooSmall) {
    // One title line at 120 columns: 15 rows, of which the plot takes 3.
    ASSERT_NE(lineStarting(demoScreen().compose(15, 120, start), "Keys:"), "");
    const std::vector<std::string> lines = demoScreen().compose(14, 120, start);
    EXPECT_EQ(lines[0],
              padded("Terminal too small: the monitor needs at least 120x15 characters, this one has "
                     "120x14. Enlarge it,",
                     120));
    EXPECT_EQ(lines[1], padded("or press q to end the run.", 120));
}

TEST(TerminalScreen, NoAudioLineStandsUntilTheFirstLevel) {
    TerminalScreen screen({0, 1}, sampleRate, "title");
    screen.setNoAudioText("No audio has arrived from 025343000099 on veth0 yet.");
    EXPECT_EQ(screenOf(screen)[4], padded("No audio has arrived from 025343000099 on veth0 yet.", columns));
    screen.updateLevels(1, levels(-20.0), start);
    EXPECT_EQ(screenOf(screen)[4], padded("", columns));
}

TEST(TerminalScreen, SpectrumTitleSaysTheAverageIsSettlingUntilItsWindowIsFull) {
    TerminalScreen screen({0}, sampleRate, "title");
    std::vector<double> power(8192, 1e-9);
    power[341] = 0.3;
    screen.updateSpectrum(0, power);
    screen.setAveragingProgress({true, 3, 10});
    EXPECT_EQ(
        lineStarting(screenOf(screen), "Spectrum of ch 0"),
        padded("Spectrum of ch 0: FFT order 14 (16384 points, bins 2.93 Hz apart), tallest bin 999.02 Hz, "
               "moving average settling (3 of 10 spectra)",
               columns));
    EXPECT_EQ(lineStarting(screen.compose(24, 80, start), "Spectrum of ch 0"),
              "Spectrum of ch 0: order 14, bins 2.93 Hz, peak 999.02 Hz, average settling 3/10 ");
    screen.setAveragingProgress({true, 10, 10});
    EXPECT_EQ(lineStarting(screenOf(screen), "Spectrum of ch 0").substr(0, 108),
              "Spectrum of ch 0: FFT order 14 (16384 points, bins 2.93 Hz apart), tallest bin 999.02 Hz, "
              "moving average on ");
    EXPECT_EQ(lineStarting(screen.compose(24, 80, start), "Spectrum of ch 0"),
              padded("Spectrum of ch 0: order 14, bins 2.93 Hz, peak 999.02 Hz, average on", 80));
}

TEST(TerminalScreen, SpectrumTitleWaitingForTheFirstSpectrumSaysNoMoreThanWhetherTheAverageIsOn) {
    TerminalScreen screen({0}, sampleRate, "title");
    screen.setAveragingProgress({true, 0, 10});
    EXPECT_EQ(lineStarting(screenOf(screen), "Spectrum of ch 0"),
              padded("Spectrum of ch 0: waiting for a spectrum of order 14, moving average on", columns));
}

TEST(TerminalScreen, ShortSpectrumTitleLeavesOutTheBinsWhereTheyDoNotFit) {
    TerminalScreen screen({0}, sampleRate, "title");
    std::vector<double> power(8192, 1e-9);
    power[4000] = 0.3;
    screen.updateSpectrum(0, power);
    screen.setSpectrumSettings({15, true});
    screen.setAveragingProgress({true, 3, 10});
    EXPECT_EQ(lineStarting(screen.compose(24, 80, start), "Spectrum of ch 0"),
              padded("Spectrum of ch 0: order 14 (15 asked), peak 11718.75 Hz, average settling 3/10", 80));
}

} // namespace
