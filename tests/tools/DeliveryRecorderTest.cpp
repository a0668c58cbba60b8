// The host's record of deliveries: its header, its level and spectrum rows as text, and how it appends to a
// file that is already there.
#include "DeliveryRecorder.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <cstddef>
#include <fstream>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

using host::DeliveryRecorder;

namespace {

using namespace std::chrono_literals;

constexpr const char* levelHeading =
    "utc,seconds,channel,kind,dBA SPL f,dBA SPL s,dBC SPL f,dBC SPL s,dBZ SPL f,dBZ SPL s,dBFS,peak Hz,bins";

// 2026-11-23T12:40:01.123Z, counted by hand from the epoch.
const DeliveryRecorder::Clock::time_point start{std::chrono::milliseconds(1795437601123)};

// The fields of a CSV line without quotes.
std::size_t fieldCount(const std::string& line) {
    std::size_t commas = 0;
    for (const char character : line) {
        commas += character == ',' ? 1 : 0;
    }
    return commas + 1;
}

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

std::string contentsOf(const std::string& path) {
    std::ifstream file(path);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

void writeFile(const std::string& path, const std::string& text) {
    std::ofstream file(path);
    file << text;
}

class DeliveryRecorderFile : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(folder.isValid()); }

    std::string path() const { return folder.filePath("record.csv").toStdString(); }

    std::unique_ptr<DeliveryRecorder> open(std::size_t bins) {
        std::string error;
        auto recorder = DeliveryRecorder::open(path(), bins, 48000.0, start, error);
        EXPECT_TRUE(recorder) << error;
        EXPECT_EQ(error, "");
        return recorder;
    }

private:
    QTemporaryDir folder;
};

TEST(DeliveryRecorder, HeaderNamesTheSevenLevelsThePeakAndEveryBin) {
    EXPECT_EQ(DeliveryRecorder::header(3), std::string(levelHeading) + ",bin 0,bin 1,bin 2");
}

TEST(DeliveryRecorder, UtcTextHasMillisecondsAndAZ) {
    EXPECT_EQ(DeliveryRecorder::utcText(start), "2026-11-23T12:40:01.123Z");
    EXPECT_EQ(DeliveryRecorder::utcText(start + 876ms + 1h), "2026-11-23T13:40:01.999Z");
    EXPECT_EQ(DeliveryRecorder::utcText(DeliveryRecorder::Clock::time_point{}), "1970-01-01T00:00:00.000Z");
}

TEST_F(DeliveryRecorderFile, NewFileStartsWithTheHeaderLine) {
    auto recorder = open(2);
    ASSERT_TRUE(recorder);
    EXPECT_EQ(contentsOf(path()), std::string(levelHeading) + ",bin 0,bin 1\n");
}

TEST_F(DeliveryRecorderFile, LevelRowHoldsTheSevenValuesInDecibels) {
    auto recorder = open(2);
    ASSERT_TRUE(recorder);
    ASSERT_TRUE(recorder->recordLevels(1, {-3.0103, -3.2, -2.99, -3.25, -3.01029995, -3.5, -3.01029995},
                                       start + 1500ms));
    EXPECT_EQ(contentsOf(path()),
              std::string(levelHeading) + ",bin 0,bin 1\n" +
                  "2026-11-23T12:40:02.623Z,1.500,1,level,-3.0103,-3.2000,-2.9900,-3.2500,-3.0103,-3.5000,"
                  "-3.0103\n");
    EXPECT_EQ(recorder->levelRows(), 1u);
    EXPECT_EQ(recorder->spectrumRows(), 0u);
}

TEST_F(DeliveryRecorderFile, SilentLevelsAreWrittenAsMinusInf) {
    auto recorder = open(0);
    ASSERT_TRUE(recorder);
    const double silence = -std::numeric_limits<double>::infinity();
    ASSERT_TRUE(recorder->recordLevels(0, std::vector<double>(7, silence), start));
    EXPECT_EQ(contentsOf(path()), std::string(levelHeading) + "\n" +
                                      "2026-11-23T12:40:01.123Z,0.000,0,level,-inf,-inf,-inf,-inf,-inf,-inf,"
                                      "-inf\n");
}

TEST_F(DeliveryRecorderFile, SpectrumRowLeavesTheLevelsEmptyAndHoldsPeakCountAndBins) {
    auto recorder = open(4);
    ASSERT_TRUE(recorder);
    // Four bins of an 8-point transform at 48 kHz: bin 2, the strongest, lies at 2 * 48000 / 8 = 12000 Hz.
    ASSERT_TRUE(recorder->recordSpectrum(3, {0.0, 0.25, 1.0, 1.5e-12}, start + 20ms));
    EXPECT_EQ(contentsOf(path()), std::string(levelHeading) + ",bin 0,bin 1,bin 2,bin 3\n" +
                                      "2026-11-23T12:40:01.143Z,0.020,3,spectrum,,,,,,,,12000.000,4,0,0.25,1,"
                                      "1.5e-12\n");
    EXPECT_EQ(recorder->spectrumRows(), 1u);
    EXPECT_EQ(recorder->levelRows(), 0u);
}

TEST_F(DeliveryRecorderFile, SpectrumWithoutPowerHasNoPeak) {
    auto recorder = open(2);
    ASSERT_TRUE(recorder);
    ASSERT_TRUE(recorder->recordSpectrum(0, {0.0, 0.0}, start));
    EXPECT_EQ(contentsOf(path()), std::string(levelHeading) + ",bin 0,bin 1\n" +
                                      "2026-11-23T12:40:01.123Z,0.000,0,spectrum,,,,,,,,,2,0,0\n");
}

TEST_F(DeliveryRecorderFile, AppendsToAnExistingFileWithoutASecondHeader) {
    const std::string earlier =
        std::string(levelHeading) + "\n" + "2026-11-23T12:00:00.000Z,0.060,0,level,-1,-1,-1,-1,-1,-1,-1\n";
    writeFile(path(), earlier);
    auto recorder = open(0);
    ASSERT_TRUE(recorder);
    ASSERT_TRUE(recorder->recordLevels(0, {-2, -2, -2, -2, -2, -2, -2}, start + 60ms));
    EXPECT_EQ(contentsOf(path()),
              earlier + "2026-11-23T12:40:01.183Z,0.060,0,level,-2.0000,-2.0000,-2.0000,-2.0000,-2.0000,"
                        "-2.0000,-2.0000\n");
}

TEST_F(DeliveryRecorderFile, AnEmptyExistingFileGetsTheHeader) {
    writeFile(path(), "");
    auto recorder = open(1);
    ASSERT_TRUE(recorder);
    EXPECT_EQ(contentsOf(path()), std::string(levelHeading) + ",bin 0\n");
}

TEST_F(DeliveryRecorderFile, EveryRowIsInTheFileAsSoonAsItIsRecorded) {
    auto recorder = open(0);
    ASSERT_TRUE(recorder);
    ASSERT_TRUE(recorder->recordLevels(0, {-1, -1, -1, -1, -1, -1, -1}, start));
    // Read while the recorder still holds the file open.
    EXPECT_EQ(contentsOf(path()),
              std::string(levelHeading) + "\n" +
                  "2026-11-23T12:40:01.123Z,0.000,0,level,-1.0000,-1.0000,-1.0000,-1.0000,"
                  "-1.0000,-1.0000,-1.0000\n");
}

TEST(DeliveryRecorder, FileThatCannotBeOpenedIsRefusedWithTheReason) {
    std::string error;
    const auto recorder =
        DeliveryRecorder::open("/nonexistent-folder-of-sonacore/record.csv", 4, 48000.0, start, error);
    EXPECT_FALSE(recorder);
    EXPECT_EQ(error,
              "Cannot open the record file '/nonexistent-folder-of-sonacore/record.csv': No such file or "
              "directory.");
}

TEST_F(DeliveryRecorderFile, SpectrumRowsOfEveryOrderHaveTheHeadersColumns) {
    auto recorder = open(8);
    ASSERT_TRUE(recorder);
    // Spectra of 4-, 8- and 16-point transforms, as a change of order delivers them.
    ASSERT_TRUE(recorder->recordSpectrum(0, {0.0, 1.0}, start));
    ASSERT_TRUE(recorder->recordSpectrum(0, {0.0, 1.0, 0.5, 0.25}, start + 200ms));
    ASSERT_TRUE(recorder->recordSpectrum(0, {0, 1, 2, 3, 4, 5, 6, 7}, start + 400ms));
    const std::vector<std::string> lines = linesOf(contentsOf(path()));
    ASSERT_EQ(lines.size(), 4u);
    for (const std::string& line : lines) {
        EXPECT_EQ(fieldCount(line), 13u + 8u) << line;
    }
    // Bin 1 of a 4-point transform at 48 kHz lies at 12000 Hz; bins 2 to 7 stay empty.
    EXPECT_EQ(lines[1], "2026-11-23T12:40:01.123Z,0.000,0,spectrum,,,,,,,,12000.000,2,0,1,,,,,,");
}

TEST_F(DeliveryRecorderFile, SpectrumWiderThanTheHeaderStopsTheRecordWithTheReason) {
    auto recorder = open(2);
    ASSERT_TRUE(recorder);
    EXPECT_FALSE(recorder->recordSpectrum(0, {0.0, 1.0, 0.5, 0.25}, start));
    EXPECT_EQ(recorder->error(), "A spectrum of 4 bins does not fit the 2 bin columns of the record file '" +
                                     path() + "'; recording stopped.");
    EXPECT_FALSE(recorder->recordLevels(0, {-1, -1, -1, -1, -1, -1, -1}, start));
    EXPECT_EQ(contentsOf(path()), std::string(levelHeading) + ",bin 0,bin 1\n");
}

// Regression: a record of an earlier run had 8192 bin columns, and rows of wider spectra appended to it
// made a file that no CSV reader takes as one table.
TEST_F(DeliveryRecorderFile, AppendingUnderAnotherHeaderIsRefusedWithTheReason) {
    const std::string earlier = DeliveryRecorder::header(4) + "\n";
    writeFile(path(), earlier);
    std::string error;
    EXPECT_FALSE(DeliveryRecorder::open(path(), 8, 48000.0, start, error));
    EXPECT_EQ(error, "The record file '" + path() +
                         "' begins with another header than this monitor's, of 8 bin columns: record into a "
                         "new file.");
    EXPECT_EQ(contentsOf(path()), earlier);
}

// The size of a row as estimated and as written: the estimate takes every bin's value at 14 characters, and
// the bins of a real spectrum far below its peak each need an exponent. Within 3%: the seconds and a few
// values may be a character shorter or longer.
constexpr double rowSizeTolerance = 0.03;

// A tone's power spectrum as the library delivers it: a peak near bin 341 and a floor of rounding far below
// it, every value distinct.
std::vector<double> toneSpectrum(std::size_t bins) {
    std::vector<double> power(bins);
    for (std::size_t bin = 0; bin < bins; ++bin) {
        const double distance = static_cast<double>(bin) - 341.0;
        power[bin] = 0.33 / (1.0 + distance * distance * distance * distance) + 1e-15 * (1.0 + std::sin(bin));
    }
    return power;
}

TEST_F(DeliveryRecorderFile, EstimatedRowSizesMatchTheRowsWritten) {
    constexpr std::size_t columns = 32768;
    constexpr std::size_t bins = 8192;
    constexpr int rows = 20;
    auto recorder = open(columns);
    ASSERT_TRUE(recorder);
    const std::size_t headerBytes = contentsOf(path()).size();
    for (int row = 0; row < rows; ++row) {
        ASSERT_TRUE(recorder->recordSpectrum(0, toneSpectrum(bins), start + 123s + row * 200ms));
    }
    const std::size_t spectrumBytes = contentsOf(path()).size() - headerBytes;
    for (int row = 0; row < rows; ++row) {
        ASSERT_TRUE(recorder->recordLevels(0, {-3.0103, -3.0112, -13.1299, -13.13, -29.0312, -28.97, -9.0309},
                                           start + 123s + row * 60ms));
    }
    const std::size_t levelBytes = contentsOf(path()).size() - headerBytes - spectrumBytes;
    EXPECT_NEAR(static_cast<double>(DeliveryRecorder::spectrumRowBytes(bins, columns)),
                static_cast<double>(spectrumBytes) / rows,
                rowSizeTolerance * static_cast<double>(spectrumBytes) / rows);
    EXPECT_NEAR(static_cast<double>(DeliveryRecorder::levelRowBytes()),
                static_cast<double>(levelBytes) / rows,
                rowSizeTolerance * static_cast<double>(levelBytes) / rows);
}

struct GrowthRow {
    std::string name;
    DeliveryRecorder::Load load;
    std::string text;
};

void PrintTo(const GrowthRow& row, std::ostream* out) {
    *out << row.name;
}

class DeliveryRecorderGrowth : public DeliveryRecorderFile,
                               public ::testing::WithParamInterface<GrowthRow> {};

TEST_P(DeliveryRecorderGrowth, LineSaysHowFastTheFileGrows) {
    auto recorder = open(32768);
    ASSERT_TRUE(recorder);
    EXPECT_EQ(recorder->recordingText(GetParam().load), "Recording to " + path() + GetParam().text);
}

// The sizes follow from the estimated rows: 104 bytes a level row, 147521 bytes a spectrum row of 8192 bins
// under 32768 bin columns, 491586 of 32768 bins. The demo's four channels in plain lines: 4 x (16.67 x 104 +
// 5 x 147521) bytes; with the live view's keys, up to 4 x (16.67 x 104 + 5 x 491586).
INSTANTIATE_TEST_SUITE_P(
    Runs, DeliveryRecorderGrowth,
    ::testing::Values(
        GrowthRow{"FourChannelsOfPlainLines",
                  {4, 48000.0 / 2880.0, 5.0, 14, 14},
                  " adds about 3.0 MB a second: 4 channels, each 16.7 level rows and 5 spectrum rows of 8192 "
                  "bins a second."},
        GrowthRow{"FourChannelsOfTheLiveView",
                  {4, 48000.0 / 2880.0, 5.0, 14, 16},
                  " adds about 3.0 MB a second: 4 channels, each 16.7 level rows and 5 spectrum rows of 8192 "
                  "bins a second; up to about 9.8 MB at FFT order 16."},
        GrowthRow{
            "OneChannelOnEveryBufferSignal",
            {1, 48000.0 / 2880.0, 100.0, 14, 14},
            " adds about 14.8 MB a second: 1 channel, 16.7 level rows and 100 spectrum rows of 8192 bins "
            "a second."},
        GrowthRow{"OneChannelOfSmallSpectra",
                  {1, 48000.0 / 2880.0, 2.0, 10, 10},
                  " adds about 82 kB a second: 1 channel, 16.7 level rows and 2 spectrum rows of 512 bins a "
                  "second."}),
    [](const ::testing::TestParamInfo<GrowthRow>& info) { return info.param.name; });

} // namespace
