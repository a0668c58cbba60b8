// The host program's record and snapshot, as a user runs them: `sonacore-host --record FILE.csv --snapshot
// FILE.png` monitoring our talker in a network namespace, and what the two files then hold.
#include "support/NetnsFixture.h"
#include "tools/FrameCapture.h"

#include "SnapshotPainter.h"

#include <QImage>
#include <QString>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <fstream>
#include <map>
#include <ostream>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

using host::SnapshotPainter;
using testsupport::ChildProcess;
using testsupport::FrameCapture;

namespace {

using namespace std::chrono_literals;

constexpr const char* talkerMac = "02:53:43:00:00:01";
constexpr long double sampleRate = 48000.0L;
constexpr long double frameLength = 16384.0L;
constexpr std::size_t bins = 8192;
// The record's bin columns: those of the live view's highest FFT order, in every run.
constexpr std::size_t binColumns = 32768;
// The sound level processor's fast levels of a steady sine, after the 125 ms time constant has long passed:
// the talker's 16-bit samples and the filters' settling move them by thousandths of a dB.
constexpr double levelTolerance = 0.05;
// The tallest bar's column against the sine's position on the axis: one bin is under half a pixel wide near
// 1 kHz and about one pixel near 440 Hz, so the bar can only sit a pixel or two off.
constexpr double columnTolerance = 2.0;
// The share of a full frame's energy that marks a spectrum's frame as full of the talker's sine. Under the
// Hann window the oldest tenth of a frame holds 0.05% of its energy, so a frame still silent there keeps
// 99.95%; the peak of a partly silent frame moves off the sine's bin only once silence fills over 90% of it.
// Frames full of a steady sine differ by float rounding, parts per million.
constexpr long double fullFrameShare = 0.999L;
// The talker's two sines: channel 0 at full scale, channel 1 at half scale.
constexpr double frequency0 = 1000.0;
constexpr double frequency1 = 440.0;

// The frequency of the bin nearest to a sine, in Hz.
long double nearestBinHertz(long double hertz) {
    return std::round(hertz * frameLength / sampleRate) * sampleRate / frameLength;
}

// A sine of amplitude A, relative to full scale, has the mean square A^2 / 2.
double sineLevel(long double amplitude) {
    return static_cast<double>(10.0L * std::log10(amplitude * amplitude / 2.0L));
}

// 20 Hz at the plot's left edge, 24 kHz at its right, equal distances for equal ratios.
long double referenceX(long double hertz) {
    const long double width = SnapshotPainter::plotRight - SnapshotPainter::plotLeft;
    return SnapshotPainter::plotLeft + width * std::log10(hertz / 20.0L) / std::log10(24000.0L / 20.0L);
}

std::vector<std::string> fieldsOf(const std::string& line) {
    std::vector<std::string> fields;
    std::size_t begin = 0;
    for (;;) {
        const std::size_t comma = line.find(',', begin);
        fields.push_back(line.substr(begin, comma - begin));
        if (comma == std::string::npos) {
            return fields;
        }
        begin = comma + 1;
    }
}

std::vector<std::string> linesOf(const std::string& path) {
    std::ifstream file(path);
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);) {
        lines.push_back(line);
    }
    return lines;
}

// The rows of one kind in a record, each as its fields.
std::vector<std::vector<std::string>> rowsOfKind(const std::vector<std::string>& lines,
                                                 const std::string& kind) {
    std::vector<std::vector<std::string>> rows;
    for (std::size_t index = 1; index < lines.size(); ++index) {
        std::vector<std::string> fields = fieldsOf(lines[index]);
        if (fields.size() > 3 && fields[3] == kind) {
            rows.push_back(std::move(fields));
        }
    }
    return rows;
}

// What the run says it recorded: "Recorded N level rows and M spectrum rows in FILE."
struct Reported {
    bool found = false;
    std::size_t levelRows = 0;
    std::size_t spectrumRows = 0;
};

Reported reportedRows(const std::string& output, const std::string& path) {
    const std::regex pattern("Recorded ([0-9]+) level rows and ([0-9]+) spectrum rows in ([^\n]*)\\.\n");
    std::smatch match;
    Reported reported;
    if (std::regex_search(output, match, pattern) && match[3] == path) {
        reported.found = true;
        reported.levelRows = std::stoul(match[1]);
        reported.spectrumRows = std::stoul(match[2]);
    }
    return reported;
}

// The column of the spectrum's tallest bar: the middle of the columns whose bar reaches highest. -1 when the
// plot holds no bar.
double tallestBarColumn(const QImage& image) {
    int highest = SnapshotPainter::plotBottom;
    int firstColumn = -1;
    int lastColumn = -1;
    for (int x = SnapshotPainter::plotLeft; x < SnapshotPainter::plotRight; ++x) {
        for (int y = SnapshotPainter::plotTop; y < SnapshotPainter::plotBottom; ++y) {
            if ((image.pixel(x, y) & 0xffffffu) != (SnapshotPainter::barColour & 0xffffffu)) {
                continue;
            }
            if (y < highest) {
                highest = y;
                firstColumn = x;
                lastColumn = x;
            } else if (y == highest) {
                lastColumn = x;
            }
            break;
        }
    }
    return firstColumn < 0 ? -1.0 : (firstColumn + lastColumn) / 2.0;
}

class HostRecordLiveTest : public testsupport::NetnsFixture {
protected:
    void SetUp() override {
        NetnsFixture::SetUp();
        if (IsSkipped() || HasFatalFailure()) {
            return;
        }
        ASSERT_TRUE(folder.isValid());
        std::string error;
        const auto capture =
            FrameCapture::open(captureInterface(), error, std::string("ether src ") + talkerMac);
        ASSERT_TRUE(capture) << error;
        ChildProcess& talker = startTalker({"--source-mac", talkerMac, "--channel-signal", "0=sine:1000:1",
                                            "--channel-signal", "1=sine:440:0.5"});
        ASSERT_GE(capture->waitForCount(100, 20s), 100u) << talker.output();
    }

    std::string recordPath() const { return folder.filePath("record.csv").toStdString(); }
    std::string snapshotPath(const std::string& name = "snapshot.png") const {
        return folder.filePath(QString::fromStdString(name)).toStdString();
    }

    // Monitors the talker's two channels for two seconds, recording and painting.
    ChildProcess::Result monitor(const std::string& meter = "0,1",
                                 const std::string& snapshot = "snapshot.png") const {
        return ChildProcess::run({SONACORE_HOST_PATH, "--adapter", captureInterface(), "--mac", talkerMac,
                                  "--meter", meter, "--duration", "2", "--record", recordPath(), "--snapshot",
                                  snapshotPath(snapshot)},
                                 60s);
    }

private:
    QTemporaryDir folder;
};

TEST_F(HostRecordLiveTest, SnapshotIsAPngOfTheStatedSize) {
    const ChildProcess::Result result = monitor();
    ASSERT_EQ(result.exitStatus, 0) << result.output;
    EXPECT_NE(result.output.find("Snapshot of 1200x700 pixels written to " + snapshotPath() + ".\n"),
              std::string::npos)
        << result.output;
    const QImage image(QString::fromStdString(snapshotPath()), "PNG");
    ASSERT_FALSE(image.isNull());
    EXPECT_EQ(image.width(), 1200);
    EXPECT_EQ(image.height(), 700);
}

struct FormatCase {
    std::string name;
    std::string file;
    // The format's first bytes, and its name as Qt reads it.
    std::string magic;
    const char* qtFormat;
};

void PrintTo(const FormatCase& row, std::ostream* out) {
    *out << row.name;
}

class HostSnapshotFormatLiveTest : public HostRecordLiveTest,
                                   public ::testing::WithParamInterface<FormatCase> {};

// Regression: `--snapshot x.jpg` wrote PNG data into x.jpg.
TEST_P(HostSnapshotFormatLiveTest, SnapshotIsWrittenInTheFormatOfItsSuffix) {
    const ChildProcess::Result result = monitor("0,1", GetParam().file);
    ASSERT_EQ(result.exitStatus, 0) << result.output;
    std::ifstream file(snapshotPath(GetParam().file), std::ios::binary);
    std::string start(GetParam().magic.size(), '\0');
    file.read(start.data(), static_cast<std::streamsize>(start.size()));
    EXPECT_EQ(start, GetParam().magic);
    const QImage image(QString::fromStdString(snapshotPath(GetParam().file)), GetParam().qtFormat);
    ASSERT_FALSE(image.isNull());
    EXPECT_EQ(image.width(), 1200);
    EXPECT_EQ(image.height(), 700);
}

INSTANTIATE_TEST_SUITE_P(Suffixes, HostSnapshotFormatLiveTest,
                         ::testing::Values(FormatCase{"Png", "shot.png", "\x89PNG", "PNG"},
                                           FormatCase{"Jpg", "shot.jpg", "\xff\xd8\xff", "JPG"},
                                           FormatCase{"JpegInCapitals", "shot.JPEG", "\xff\xd8\xff", "JPG"},
                                           FormatCase{"Bmp", "shot.bmp", "BM", "BMP"}),
                         [](const ::testing::TestParamInfo<FormatCase>& info) { return info.param.name; });

// Regression: on Qt's minimal platform without its fonts, every label of the image stayed blank.
TEST_F(HostRecordLiveTest, SnapshotWritesTheLabelsOfItsDecibelAxis) {
    const ChildProcess::Result result = monitor();
    ASSERT_EQ(result.exitStatus, 0) << result.output;
    const QImage image(QString::fromStdString(snapshotPath()), "PNG");
    ASSERT_FALSE(image.isNull());
    // The dB labels stand left of the plot, where nothing else is painted.
    int inked = 0;
    for (int x = 0; x < SnapshotPainter::plotLeft - 8; ++x) {
        for (int y = SnapshotPainter::plotTop; y < SnapshotPainter::plotBottom; ++y) {
            inked += qGray(image.pixel(x, y)) < 128 ? 1 : 0;
        }
    }
    EXPECT_GT(inked, 0);
}

struct SpectrumCase {
    std::string name;
    std::string meter;
    double hertz;
};

void PrintTo(const SpectrumCase& row, std::ostream* out) {
    *out << row.name;
}

class HostSnapshotSpectrumLiveTest : public HostRecordLiveTest,
                                     public ::testing::WithParamInterface<SpectrumCase> {};

TEST_P(HostSnapshotSpectrumLiveTest, TallestBarLiesAtTheTalkersFrequencyOnTheAxis) {
    const ChildProcess::Result result = monitor(GetParam().meter);
    ASSERT_EQ(result.exitStatus, 0) << result.output;
    const QImage image(QString::fromStdString(snapshotPath()), "PNG");
    ASSERT_FALSE(image.isNull());
    const double column = tallestBarColumn(image);
    ASSERT_GE(column, 0.0) << "no spectrum bar in the snapshot";
    EXPECT_NEAR(column, static_cast<double>(referenceX(nearestBinHertz(GetParam().hertz))), columnTolerance);
}

// The spectrum shown is that of the first metered channel.
INSTANTIATE_TEST_SUITE_P(Channels, HostSnapshotSpectrumLiveTest,
                         ::testing::Values(SpectrumCase{"Channel0At1000Hz", "0,1", frequency0},
                                           SpectrumCase{"Channel1At440Hz", "1,0", frequency1}),
                         [](const ::testing::TestParamInfo<SpectrumCase>& info) { return info.param.name; });

TEST_F(HostRecordLiveTest, RecordHoldsTheHeaderAndEveryRowTheRunReports) {
    const ChildProcess::Result result = monitor();
    ASSERT_EQ(result.exitStatus, 0) << result.output;
    const Reported reported = reportedRows(result.output, recordPath());
    ASSERT_TRUE(reported.found) << result.output;
    const std::vector<std::string> lines = linesOf(recordPath());
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(
        lines[0].rfind("utc,seconds,channel,kind,dBA SPL f,dBA SPL s,dBC SPL f,dBC SPL s,dBZ SPL f,dBZ SPL "
                       "s,dBFS,peak Hz,bins,bin 0,bin 1,",
                       0),
        0u);
    EXPECT_EQ(fieldsOf(lines[0]).size(), 13 + binColumns);
    const auto levels = rowsOfKind(lines, "level");
    const auto spectra = rowsOfKind(lines, "spectrum");
    EXPECT_GT(reported.levelRows, 0u);
    EXPECT_GT(reported.spectrumRows, 0u);
    EXPECT_EQ(levels.size(), reported.levelRows);
    EXPECT_EQ(spectra.size(), reported.spectrumRows);
    EXPECT_EQ(lines.size(), 1 + reported.levelRows + reported.spectrumRows);
}

TEST_F(HostRecordLiveTest, RecordedFastLevelsMatchTheTalkersSines) {
    const ChildProcess::Result result = monitor();
    ASSERT_EQ(result.exitStatus, 0) << result.output;
    // The last level row of each channel, long after the fast time weighting has settled.
    std::map<std::string, std::vector<std::string>> last;
    for (const auto& row : rowsOfKind(linesOf(recordPath()), "level")) {
        ASSERT_EQ(row.size(), 11u);
        last[row[2]] = row;
    }
    ASSERT_EQ(last.count("0"), 1u) << result.output;
    ASSERT_EQ(last.count("1"), 1u) << result.output;
    // Columns: 8 dBZ SPL f, 10 dBFS.
    EXPECT_NEAR(std::stod(last["0"][8]), sineLevel(1.0L), levelTolerance);
    EXPECT_NEAR(std::stod(last["0"][10]), sineLevel(1.0L), levelTolerance);
    EXPECT_NEAR(std::stod(last["1"][8]), sineLevel(0.5L), levelTolerance);
    EXPECT_NEAR(std::stod(last["1"][10]), sineLevel(0.5L), levelTolerance);
}

// The sum of a spectrum row's bins: the energy of the windowed frame it was computed from.
long double totalPower(const std::vector<std::string>& row) {
    long double sum = 0.0L;
    for (std::size_t column = 13; column < 13 + bins; ++column) {
        sum += std::stold(row[column]);
    }
    return sum;
}

TEST_F(HostRecordLiveTest, RecordedSpectraNameTheBinNearestTheSineAndHoldEveryBin) {
    const ChildProcess::Result result = monitor();
    ASSERT_EQ(result.exitStatus, 0) << result.output;
    const std::map<std::string, double> sines{{"0", frequency0}, {"1", frequency1}};
    const auto spectra = rowsOfKind(linesOf(recordPath()), "spectrum");
    ASSERT_FALSE(spectra.empty());
    std::map<std::string, std::size_t> judged;
    for (const auto& row : spectra) {
        ASSERT_EQ(row.size(), 13 + binColumns);
        for (std::size_t column = 4; column < 11; ++column) {
            EXPECT_EQ(row[column], "");
        }
        EXPECT_EQ(row[12], "8192");
        for (std::size_t column = 13 + bins; column < row.size(); ++column) {
            ASSERT_EQ(row[column], "") << "bin column " << column - 13 << " of a spectrum of 8192 bins";
        }
        const auto sine = sines.find(row[2]);
        ASSERT_NE(sine, sines.end()) << "channel " << row[2];
        ASSERT_NE(row[11], "") << "channel " << row[2] << " at " << row[1] << " s";
        EXPECT_NEAR(std::stod(row[11]), static_cast<double>(nearestBinHertz(sine->second)), 0.0005)
            << "channel " << row[2] << " at " << row[1] << " s";
        ++judged[row[2]];
    }
    EXPECT_EQ(judged.size(), sines.size()) << result.output;
}

// Every spectrum comes from a frame the stream had filled: frames full of a steady sine hold the same energy
// to float rounding, and a frame whose older part was still silent holds less. Under the Hann window the
// oldest tenth of a frame holds 0.05% of its energy, so fullFrameShare tells apart any frame whose silent
// part reached past that. Regression: the first spectra of a run were computed from such frames.
TEST_F(HostRecordLiveTest, RecordedSpectraComeOnlyFromFramesTheStreamHadFilled) {
    const ChildProcess::Result result = monitor();
    ASSERT_EQ(result.exitStatus, 0) << result.output;
    const auto spectra = rowsOfKind(linesOf(recordPath()), "spectrum");
    ASSERT_FALSE(spectra.empty());
    std::map<std::string, long double> largest;
    for (const auto& row : spectra) {
        largest[row[2]] = std::max(largest[row[2]], totalPower(row));
    }
    for (const auto& row : spectra) {
        EXPECT_GE(totalPower(row), fullFrameShare * largest[row[2]])
            << "channel " << row[2] << " at " << row[1] << " s, of " << spectra.size() << " spectra";
    }
}

// Each run ends by tearing the library down while the talker's frames still arrive: none may crash, nor
// leave anything for a sanitizer to report.
TEST_F(HostRecordLiveTest, RunsThatEndWhileFramesArriveExitCleanly) {
    constexpr int runs = 12;
    for (int run = 0; run < runs; ++run) {
        const ChildProcess::Result result =
            ChildProcess::run({SONACORE_HOST_PATH, "--adapter", captureInterface(), "--mac", talkerMac,
                               "--meter", "0,1", "--duration", "1"},
                              60s);
        ASSERT_EQ(result.exitStatus, 0) << "run " << run + 1 << " of " << runs << ":\n" << result.output;
        ASSERT_EQ(result.output.find("Sanitizer"), std::string::npos) << result.output;
    }
}

TEST_F(HostRecordLiveTest, SecondRunAppendsToTheRecordWithoutASecondHeader) {
    const ChildProcess::Result first = monitor();
    ASSERT_EQ(first.exitStatus, 0) << first.output;
    const ChildProcess::Result second = monitor();
    ASSERT_EQ(second.exitStatus, 0) << second.output;
    const Reported one = reportedRows(first.output, recordPath());
    const Reported two = reportedRows(second.output, recordPath());
    ASSERT_TRUE(one.found && two.found);
    const std::vector<std::string> lines = linesOf(recordPath());
    std::size_t headers = 0;
    for (const std::string& line : lines) {
        headers += line.rfind("utc,", 0) == 0 ? 1 : 0;
    }
    EXPECT_EQ(headers, 1u);
    EXPECT_EQ(lines.size(), 1 + one.levelRows + one.spectrumRows + two.levelRows + two.spectrumRows);
}

} // namespace
