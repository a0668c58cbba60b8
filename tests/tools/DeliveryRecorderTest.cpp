// The host's record of deliveries: its header, its level and spectrum rows as text, and how it appends to a
// file that is already there.
#include "DeliveryRecorder.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
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

} // namespace
