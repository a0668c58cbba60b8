// The monitor's plain output as a user meets it when the output is a file or a pipe: `sonacore-host
// --adapter IFACE` on our talker in a network namespace, and the built-in demo. Its status lines, its clock,
// the run that hears nothing, the line that says how fast a record grows, and the spectra of a stream too
// short to fill a frame.
#include "HostProgram.h"
#include "support/ChildProcess.h"
#include "support/NetnsFixture.h"
#include "tools/FrameCapture.h"

#include "SnapshotPainter.h"

#include <QImage>
#include <QString>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

using host::SnapshotPainter;
using hosttest::contains;
using testsupport::ChildProcess;
using testsupport::FrameCapture;

namespace {

using namespace std::chrono_literals;

constexpr const char* talkerMac = "02:53:43:00:00:21";
constexpr const char* silentMac = "02:53:43:00:00:99";
constexpr const char* silentKey = "025343000099";
// A run of a few seconds ends well within this, also under the sanitizers.
constexpr std::chrono::milliseconds runDeadline = 60s;

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

// The `kind` rows of a record: "level" or "spectrum", each as the line it is.
std::vector<std::string> rowsOfKind(const std::string& path, const std::string& kind) {
    std::ifstream file(path);
    std::vector<std::string> rows;
    const std::string marker = "," + kind + ",";
    for (std::string line; std::getline(file, line);) {
        if (line.find(marker) != std::string::npos && line.rfind("utc,", 0) != 0) {
            rows.push_back(line);
        }
    }
    return rows;
}

// Whether the snapshot's plot holds any bar of a spectrum.
bool plotHasBars(const QImage& image) {
    for (int x = SnapshotPainter::plotLeft; x < SnapshotPainter::plotRight; ++x) {
        for (int y = SnapshotPainter::plotTop; y < SnapshotPainter::plotBottom; ++y) {
            if ((image.pixel(x, y) & 0xffffffu) == (SnapshotPainter::barColour & 0xffffffu)) {
                return true;
            }
        }
    }
    return false;
}

class HostMonitorLiveTest : public testsupport::NetnsFixture {
protected:
    void SetUp() override {
        NetnsFixture::SetUp();
        if (IsSkipped() || HasFatalFailure()) {
            return;
        }
        ASSERT_TRUE(folder.isValid());
    }

    std::string path(const std::string& name) const {
        return folder.filePath(QString::fromStdString(name)).toStdString();
    }

    // Our talker sending a 1 kHz full-scale sine on channel 0 and a 440 Hz half-scale sine on channel 1,
    // once its frames arrive.
    void startSines() {
        std::string error;
        const auto capture =
            FrameCapture::open(captureInterface(), error, std::string("ether src ") + talkerMac);
        ASSERT_TRUE(capture) << error;
        talker = &startTalker({"--source-mac", talkerMac, "--channel-signal", "0=sine:1000:1",
                               "--channel-signal", "1=sine:440:0.5"});
        ASSERT_GE(capture->waitForCount(100, 20s), 100u) << talker->output();
    }

    ChildProcess::Result monitor(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), {SONACORE_HOST_PATH, "--adapter", captureInterface()});
        return ChildProcess::run(arguments, runDeadline);
    }

    // The talker's own account, for a run that did not go as it should.
    std::string talkerAccount() const {
        return talker == nullptr ? std::string()
                                 : "\ntalker " + std::string(talker->running() ? "running" : "ended") +
                                       ", its output:\n" + talker->output();
    }

    ChildProcess* talker = nullptr;

private:
    QTemporaryDir folder;
};

// Regression: the status line named the library's sniffer, "PcapPacketSniffer (eth2)", while the capture
// ran on another adapter.
TEST_F(HostMonitorLiveTest, StatusLinesNameTheAdapterTheUserGave) {
    startSines();
    const ChildProcess::Result result = monitor({"--mac", talkerMac, "--meter", "0", "--duration", "2"});
    ASSERT_EQ(result.exitStatus, 0) << result.output << talkerAccount();
    // Standard error comes unbuffered, often ahead of the lines of standard output, which a pipe buffers.
    EXPECT_TRUE(std::regex_search(result.output,
                                  std::regex("(^|\n)status: " + captureInterface() + ": Start listening\n")))
        << result.output;
    EXPECT_FALSE(contains(result.output, "PcapPacketSniffer")) << result.output;
}

// Regression: the lines' clock counted wake-ups and drifted, t= 1.0s, 2.1s, 3.2s.
TEST_F(HostMonitorLiveTest, PlainLinesStepByExactlyOneSecondOfTheStream) {
    startSines();
    const ChildProcess::Result result = monitor({"--mac", talkerMac, "--meter", "0,1", "--duration", "5"});
    ASSERT_EQ(result.exitStatus, 0) << result.output << talkerAccount();
    std::vector<std::string> times;
    const std::regex line("^t=( *[0-9]+\\.[0-9])s ch0 ");
    for (const std::string& text : linesOf(result.output)) {
        std::smatch match;
        if (std::regex_search(text, match, line)) {
            times.push_back(match[1].str());
        }
    }
    // Five seconds of the run hold at least three of the stream, however the machine was loaded.
    ASSERT_GE(times.size(), 3u) << result.output << talkerAccount();
    for (std::size_t index = 0; index < times.size(); ++index) {
        char expected[16];
        std::snprintf(expected, sizeof expected, "%5.1f", static_cast<double>(index + 1));
        EXPECT_EQ(times[index], expected) << result.output;
    }
}

// Regression: a run on an address never heard showed "--" and "no power" and ended with status 0.
TEST_F(HostMonitorLiveTest, AddressNeverHeardEndsWithStatus3AndSaysSo) {
    startSines();
    const ChildProcess::Result result =
        monitor({"--mac", silentMac, "--seconds", "1", "--meter", "0", "--duration", "2"});
    EXPECT_EQ(result.exitStatus, 3) << result.output;
    EXPECT_TRUE(contains(result.output, std::string("No audio arrived from ") + silentKey + " on " +
                                            captureInterface() +
                                            ": check the stream's source address (--mac) and the adapter.\n"))
        << result.output;
    EXPECT_TRUE(contains(result.output, "\nch0: no data received\n")) << result.output;
}

TEST_F(HostMonitorLiveTest, RecordingSaysHowFastTheFileGrows) {
    startSines();
    const std::string record = path("record.csv");
    const ChildProcess::Result result =
        monitor({"--mac", talkerMac, "--meter", "0,1", "--duration", "1", "--record", record});
    ASSERT_EQ(result.exitStatus, 0) << result.output << talkerAccount();
    // 2 x (16.67 x 104 + 5 x 147521) bytes: level rows and spectrum rows of 8192 bins under 32768 columns.
    EXPECT_TRUE(contains(result.output, "\nRecording to " + record +
                                            " adds about 1.5 MB a second: 2 channels, each 16.7 level rows "
                                            "and 5 spectrum rows of 8192 bins a second.\n"))
        << result.output;
}

// A stream of `frames` frames of 6 samples, sent once the monitor is capturing, to a monitor that records
// and paints channel 0.
class HostShortStreamLiveTest : public HostMonitorLiveTest {
protected:
    struct Run {
        ChildProcess::Result result;
        std::vector<std::string> levels;
        std::vector<std::string> spectra;
        std::string talkerOutput;
    };

    Run monitorShortStream(int frames) {
        Run run;
        ChildProcess host;
        std::string error;
        // The monitor waits a second for the address, does not hear it, and starts capturing.
        if (!host.start({SONACORE_HOST_PATH, "--adapter", captureInterface(), "--mac", talkerMac, "--seconds",
                         "1", "--meter", "0", "--duration", "4", "--record", path("record.csv"), "--snapshot",
                         path("snapshot.png")},
                        error)) {
            ADD_FAILURE() << error;
            return run;
        }
        const std::string listening = "status: " + captureInterface() + ": Start listening\n";
        const auto deadline = std::chrono::steady_clock::now() + runDeadline;
        while (!contains(host.output(), listening) && host.running() &&
               std::chrono::steady_clock::now() < deadline) {
            host.waitFor(50ms);
        }
        if (!contains(host.output(), listening)) {
            ADD_FAILURE() << "the monitor never said it captures; its output:\n" << host.output();
            return run;
        }
        ChildProcess& shortTalker = startTalker({"--source-mac", talkerMac, "--count", std::to_string(frames),
                                                 "--channel-signal", "0=sine:1000:1"});
        EXPECT_TRUE(talkerSucceeded(shortTalker, runDeadline));
        run.talkerOutput = shortTalker.output();
        EXPECT_TRUE(host.waitFor(runDeadline)) << host.output();
        run.result = {host.exitStatus(), host.output()};
        run.levels = rowsOfKind(path("record.csv"), "level");
        run.spectra = rowsOfKind(path("record.csv"), "spectrum");
        return run;
    }
};

// 2000 frames are 12000 samples: 4 levels of 2880, less than a spectrum frame of 16384. Regression: the
// processor's timer made spectra of frames that zeros filled in front of the stream, and the record and
// the snapshot kept them.
TEST_F(HostShortStreamLiveTest, StreamShorterThanAFrameLeavesNoSpectrumInTheRecordOrTheSnapshot) {
    const Run run = monitorShortStream(2000);
    ASSERT_EQ(run.result.exitStatus, 0) << run.result.output << run.talkerOutput;
    EXPECT_FALSE(run.levels.empty()) << run.result.output << run.talkerOutput;
    EXPECT_EQ(run.spectra.size(), 0u) << run.result.output;
    EXPECT_TRUE(contains(run.result.output, " level rows and 0 spectrum rows in ")) << run.result.output;
    const QImage image(QString::fromStdString(path("snapshot.png")), "PNG");
    ASSERT_FALSE(image.isNull()) << run.result.output;
    EXPECT_FALSE(plotHasBars(image));
}

// 4000 frames are 24000 samples, 8 levels: the spectra start once 6 levels, 17280 samples, count a frame.
TEST_F(HostShortStreamLiveTest, SpectraOfAStreamLongerThanAFrameFollowAFullFramesLevels) {
    const Run run = monitorShortStream(4000);
    ASSERT_EQ(run.result.exitStatus, 0) << run.result.output << run.talkerOutput;
    ASSERT_GE(run.levels.size(), 6u) << "the capture lost frames of the talker: " << run.result.output
                                     << run.talkerOutput;
    ASSERT_FALSE(run.spectra.empty()) << run.result.output;
    const QImage image(QString::fromStdString(path("snapshot.png")), "PNG");
    ASSERT_FALSE(image.isNull()) << run.result.output;
    EXPECT_TRUE(plotHasBars(image));
    // Rows are appended as they arrive: count the level rows in front of the first spectrum row.
    std::ifstream file(path("record.csv"));
    std::size_t levelsBefore = 0;
    for (std::string line; std::getline(file, line);) {
        if (contains(line, ",spectrum,")) {
            break;
        }
        levelsBefore += contains(line, ",level,") ? 1 : 0;
    }
    EXPECT_GE(levelsBefore * 2880, 16384u) << levelsBefore << " levels before the first spectrum";
}

// The demo's talker sends four channels; the stream's channel count is known only once the demo is set up.
class HostDemoLiveTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (geteuid() != 0) {
            const std::string message = "The demo's tests create a network namespace, which needs root";
            if (testsupport::NetnsFixture::runningInCi()) {
                FAIL() << message << " [CI=true, so this is a failure and not a skip]";
            }
            GTEST_SKIP() << message;
        }
    }
};

// Regression: "Channel 3 is not sent: the stream has 2 channels, numbered from 0."
TEST_F(HostDemoLiveTest, MeterOfChannel3MetersTheDemosFourthChannel) {
    const ChildProcess::Result result =
        ChildProcess::run({SONACORE_HOST_PATH, "--talker", testsupport::NetnsFixture::talkerPath(), "--meter",
                           "3", "--duration", "3"},
                          runDeadline);
    ASSERT_EQ(result.exitStatus, 0) << result.output;
    EXPECT_FALSE(contains(result.output, "is not sent")) << result.output;
    EXPECT_TRUE(contains(result.output, "\nt=  1.0s ch3 dBA SPL f ")) << result.output;
    EXPECT_TRUE(
        std::regex_search(result.output, std::regex("\nch3: [1-9][0-9]* levels, [0-9]+ spectra; last ")))
        << result.output;
    EXPECT_FALSE(contains(result.output, "\nch0")) << result.output;
}

} // namespace
