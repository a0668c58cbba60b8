// The host program's discovery, run as a user runs it: `sonacore-host --discover` against our talker in a
// network namespace, in the forms a network holds, and the monitoring run without --mac that takes the first
// stream it can analyse.
#include "ScreenReading.h"
#include "support/NetnsFixture.h"
#include "tools/FrameCapture.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <ostream>
#include <sstream>
#include <string>
#include <vector>

using testsupport::ChildProcess;
using testsupport::FrameCapture;

namespace {

using namespace std::chrono_literals;

// The measured rate of a stream on a loaded machine of two cores: the talker's frames bunch up when it is
// late and catch up at once, which moves the first and the latest arrival by a frame period or two of the
// two seconds measured, and the rate by far less than this.
constexpr double rateTolerance = 0.15;
// A level the monitor printed against a sine's level: the talker's 16-bit signal values and the fast time
// weighting's ripple move it by hundredths of a dB at most.
constexpr double levelTolerance = 0.1;
constexpr const char* tableHeading =
    "device        stream id         channels  bits  rate/Hz  samples/frame  frames/s  VLAN  analysis";

// One line of the table, field by field, as text.
struct Row {
    std::string device;
    std::string streamId;
    std::string channels;
    std::string bits;
    std::string rate;
    std::string samplesPerFrame;
    std::string framesPerSecond;
    std::string vlan;
    std::string analysis;
};

// The table's lines in the program's output: those after the heading, up to the first that is not a stream's.
std::vector<Row> rowsOf(const std::string& output) {
    std::vector<Row> rows;
    std::istringstream lines(output);
    bool inTable = false;
    for (std::string line; std::getline(lines, line);) {
        if (line == tableHeading) {
            inTable = true;
            continue;
        }
        if (!inTable) {
            continue;
        }
        if (line.size() < 12 || line.find_first_not_of("0123456789abcdef") < 12) {
            break;
        }
        std::istringstream fields(line);
        Row row;
        fields >> row.device >> row.streamId >> row.channels >> row.bits >> row.rate >> row.samplesPerFrame >>
            row.framesPerSecond >> row.vlan;
        std::getline(fields >> std::ws, row.analysis);
        rows.push_back(row);
    }
    return rows;
}

// What discovery must say of one talker.
struct Expected {
    std::string device;
    std::string streamId;
    std::string channels;
    std::string bits;
    std::string samplesPerFrame;
    double framesPerSecond;
    std::string vlan;
    std::string analysis;
};

void expectRow(const Row& row, const Expected& expected) {
    EXPECT_EQ(row.device, expected.device);
    EXPECT_EQ(row.streamId, expected.streamId);
    EXPECT_EQ(row.channels, expected.channels);
    EXPECT_EQ(row.bits, expected.bits);
    EXPECT_EQ(row.rate, "48000");
    EXPECT_EQ(row.samplesPerFrame, expected.samplesPerFrame);
    EXPECT_NEAR(std::stod(row.framesPerSecond), expected.framesPerSecond,
                rateTolerance * expected.framesPerSecond);
    EXPECT_EQ(row.vlan, expected.vlan);
    EXPECT_EQ(row.analysis, expected.analysis);
}

class HostDiscoveryLiveTest : public testsupport::NetnsFixture {
protected:
    // Starts a talker that runs until the test ends, and waits until its frames arrive at the capture end.
    void startStreaming(const std::string& sourceMac, const std::vector<std::string>& arguments) {
        std::string error;
        const auto capture = FrameCapture::open(captureInterface(), error, "ether src " + sourceMac);
        ASSERT_TRUE(capture) << error;
        std::vector<std::string> all{"--source-mac", sourceMac};
        all.insert(all.end(), arguments.begin(), arguments.end());
        ChildProcess& talker = startTalker(all);
        ASSERT_GE(capture->waitForCount(100, 20s), 100u) << talker.output();
    }

    static ChildProcess::Result runHost(const std::vector<std::string>& arguments) {
        std::vector<std::string> command{SONACORE_HOST_PATH};
        command.insert(command.end(), arguments.begin(), arguments.end());
        return ChildProcess::run(command, 60s);
    }

    ChildProcess::Result discover() {
        return runHost({"--discover", "--adapter", captureInterface(), "--seconds", "2"});
    }
};

struct TalkerForm {
    std::string name;
    std::vector<std::string> arguments;
    Expected expected;
};

void PrintTo(const TalkerForm& form, std::ostream* out) {
    *out << form.name;
}

class HostDiscoveryFormLiveTest : public HostDiscoveryLiveTest,
                                  public ::testing::WithParamInterface<TalkerForm> {};

TEST_P(HostDiscoveryFormLiveTest, ListsTheTalkerWithEveryField) {
    ASSERT_NO_FATAL_FAILURE(startStreaming("02:53:43:00:00:01", GetParam().arguments));
    const ChildProcess::Result result = discover();
    ASSERT_EQ(result.exitStatus, 0) << result.output;
    EXPECT_NE(result.output.find("AAF talkers heard on " + captureInterface() + " in 2 s:\n"),
              std::string::npos)
        << result.output;
    const std::vector<Row> rows = rowsOf(result.output);
    ASSERT_EQ(rows.size(), 1u) << result.output;
    expectRow(rows[0], GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Forms, HostDiscoveryFormLiveTest,
    ::testing::Values(TalkerForm{"TwoChannels",
                                 {"--channels", "2"},
                                 {"025343000001", "0253430000010001", "2", "16", "6", 8000.0, "-", "ok"}},
                      TalkerForm{"EightChannelsOfTwelveSamples",
                                 {"--channels", "8", "--samples-per-frame", "12"},
                                 {"025343000001", "0253430000010001", "8", "16", "12", 4000.0, "-", "ok"}},
                      TalkerForm{"ThirtyTwoBitSamples",
                                 {"--sample-bits", "32"},
                                 {"025343000001", "0253430000010001", "2", "32", "6", 8000.0, "-", "ok"}},
                      TalkerForm{"TwentyFourBitSamples",
                                 {"--sample-bits", "24", "--channels", "4"},
                                 {"025343000001", "0253430000010001", "4", "24", "6", 8000.0, "-", "ok"}},
                      TalkerForm{"VlanTagged",
                                 {"--vlan", "2"},
                                 {"025343000001", "0253430000010001", "2", "16", "6", 8000.0, "2", "ok"}},
                      TalkerForm{"ThirtyTwoBitTaggedEightChannels",
                                 {"--sample-bits", "32", "--vlan", "5:3", "--channels", "8"},
                                 {"025343000001", "0253430000010001", "8", "32", "6", 8000.0, "5", "ok"}}),
    [](const ::testing::TestParamInfo<TalkerForm>& info) { return info.param.name; });

TEST_F(HostDiscoveryLiveTest, ListsTwoTalkersAtOnceEachWithItsOwnFields) {
    ASSERT_NO_FATAL_FAILURE(startStreaming("02:53:43:00:00:01", {"--stream-id", "0x0253430000010007"}));
    ASSERT_NO_FATAL_FAILURE(
        startStreaming("02:53:43:00:00:02", {"--channels", "8", "--samples-per-frame", "12", "--sample-bits",
                                             "32", "--vlan", "3"}));
    const ChildProcess::Result result = discover();
    ASSERT_EQ(result.exitStatus, 0) << result.output;
    const std::vector<Row> rows = rowsOf(result.output);
    ASSERT_EQ(rows.size(), 2u) << result.output;
    // Listed in the order first heard, which the two talkers decide between them.
    const bool firstIsFirst = rows[0].device == "025343000001";
    expectRow(rows[firstIsFirst ? 0 : 1],
              {"025343000001", "0253430000010007", "2", "16", "6", 8000.0, "-", "ok"});
    expectRow(rows[firstIsFirst ? 1 : 0],
              {"025343000002", "0253430000020001", "8", "32", "12", 4000.0, "3", "ok"});
}

TEST_F(HostDiscoveryLiveTest, SaysSoWhenNoTalkerIsHeard) {
    const ChildProcess::Result result =
        runHost({"--discover", "--adapter", captureInterface(), "--seconds", "1"});
    EXPECT_EQ(result.exitStatus, 0) << result.output;
    EXPECT_NE(result.output.find("No AAF talker heard on " + captureInterface() + " in 1 s.\n"),
              std::string::npos)
        << result.output;
    EXPECT_EQ(result.output.find(tableHeading), std::string::npos) << result.output;
}

// Two streams from one source address are the form the library cannot analyse that our talkers can send.
TEST_F(HostDiscoveryLiveTest, MonitoringWithoutMacTakesTheFirstStreamItCanAnalyseAndSaysWhich) {
    ASSERT_NO_FATAL_FAILURE(startStreaming("02:53:43:00:00:01", {"--stream-id", "0x0253430000010001"}));
    ASSERT_NO_FATAL_FAILURE(startStreaming("02:53:43:00:00:01", {"--stream-id", "0x0253430000010002"}));
    ASSERT_NO_FATAL_FAILURE(
        startStreaming("02:53:43:00:00:03", {"--channels", "4", "--channel-signal", "3=sine:1000:1"}));
    const ChildProcess::Result result = runHost({"--adapter", captureInterface(), "--duration", "2"});
    EXPECT_EQ(result.exitStatus, 0) << result.output;
    EXPECT_NE(result.output.find("Monitoring 025343000003 (stream 0253430000030001, 4 channels, 48 kHz)\n"),
              std::string::npos)
        << result.output;
    // It meters the stream's own four channels, not the two of the command line's default.
    EXPECT_NE(result.output.find("ch3: "), std::string::npos) << result.output;
}

TEST_F(HostDiscoveryLiveTest, MonitoringWithoutMacListsWhatItHeardWhenNoStreamCanBeAnalysed) {
    ASSERT_NO_FATAL_FAILURE(startStreaming("02:53:43:00:00:01", {"--stream-id", "0x0253430000010001"}));
    ASSERT_NO_FATAL_FAILURE(startStreaming("02:53:43:00:00:01", {"--stream-id", "0x0253430000010002"}));
    const ChildProcess::Result result = runHost({"--adapter", captureInterface(), "--duration", "2"});
    EXPECT_EQ(result.exitStatus, 3) << result.output;
    const std::vector<Row> rows = rowsOf(result.output);
    ASSERT_EQ(rows.size(), 2u) << result.output;
    for (const Row& row : rows) {
        EXPECT_EQ(row.analysis, "source address shared by 2 streams: frames dropped as out of sequence");
    }
    EXPECT_NE(result.output.find("No stream the library can analyse was heard on " + captureInterface() +
                                 ": give the stream's source address with --mac.\n"),
              std::string::npos)
        << result.output;
    EXPECT_EQ(result.output.find("Monitoring "), std::string::npos) << result.output;
}

TEST_F(HostDiscoveryLiveTest, MonitoringWithMacTakesThatStreamWithoutATableOrAChoice) {
    ASSERT_NO_FATAL_FAILURE(startStreaming("02:53:43:00:00:01", {"--sample-bits", "32"}));
    ASSERT_NO_FATAL_FAILURE(startStreaming("02:53:43:00:00:02", {}));
    const ChildProcess::Result result =
        runHost({"--adapter", captureInterface(), "--mac", "02:53:43:00:00:02", "--duration", "2"});
    EXPECT_EQ(result.exitStatus, 0) << result.output;
    EXPECT_EQ(result.output.find("Monitoring "), std::string::npos) << result.output;
    EXPECT_EQ(result.output.find(tableHeading), std::string::npos) << result.output;
    EXPECT_NE(result.output.find("ch1: "), std::string::npos) << result.output;
}

TEST_F(HostDiscoveryLiveTest, MonitoringWithoutMacTakesATaggedStreamOf32BitSamplesAndSaysHowItReadsIt) {
    ASSERT_NO_FATAL_FAILURE(
        startStreaming("02:53:43:00:00:01", {"--sample-bits", "32", "--vlan", "5:3", "--channels", "8",
                                             "--samples-per-frame", "12"}));
    const ChildProcess::Result result = runHost({"--adapter", captureInterface(), "--duration", "2"});
    EXPECT_EQ(result.exitStatus, 0) << result.output;
    EXPECT_NE(
        result.output.find("Monitoring 025343000001 (stream 0253430000010001, 8 channels, 48 kHz)\n"
                           "Read as 8 channels of 32-bit integer samples, 12 samples per frame, VLAN 5.\n"),
        std::string::npos)
        << result.output;
    EXPECT_NE(result.output.find("ch7: "), std::string::npos) << result.output;
}

// The last fast Z-weighted level of a channel in the summary at the end of a run of plain lines.
std::optional<double> lastZLevel(const std::string& output, unsigned channel) {
    const std::string start = "ch" + std::to_string(channel) + ": ";
    const std::size_t line = output.find(start);
    const std::size_t at = line == std::string::npos ? line : output.find("dBZ SPL f ", line);
    if (at == std::string::npos) {
        return std::nullopt;
    }
    return std::stod(output.substr(at + std::string("dBZ SPL f ").size()));
}

TEST_F(HostDiscoveryLiveTest, MonitoringWithMacReadsTheTaggedStreamOf32BitSamplesItHears) {
    ASSERT_NO_FATAL_FAILURE(startStreaming("02:53:43:00:00:02", {}));
    ASSERT_NO_FATAL_FAILURE(
        startStreaming("02:53:43:00:00:01", {"--sample-bits", "32", "--vlan", "2", "--channels", "4",
                                             "--channel-signal", "3=sine:1000:0.5"}));
    const ChildProcess::Result result =
        runHost({"--adapter", captureInterface(), "--mac", "02:53:43:00:00:01", "--duration", "2"});
    EXPECT_EQ(result.exitStatus, 0) << result.output;
    EXPECT_NE(
        result.output.find("Read as 4 channels of 32-bit integer samples, 6 samples per frame, VLAN 2.\n"),
        std::string::npos)
        << result.output;
    // -9.03 dB for a half-scale sine; a level at all shows the tagged 32-bit frames arrived.
    const std::optional<double> level = lastZLevel(result.output, 3);
    ASSERT_TRUE(level) << result.output;
    EXPECT_NEAR(*level, static_cast<double>(hosttest::sineDecibels(0.5L)), levelTolerance) << result.output;
}

TEST_F(HostDiscoveryLiveTest, MonitoringWithMacOfAStreamNotHeardSaysItReadsItAsSixteenBitUntagged) {
    const ChildProcess::Result result = runHost({"--adapter", captureInterface(), "--mac",
                                                 "02:53:43:00:00:09", "--channels", "4", "--duration", "1"});
    EXPECT_NE(result.output.find("No frame of 025343000009 was heard on " + captureInterface() +
                                 " in 2 s, so its frames are read as 4 channels of 16-bit integer samples, 6 "
                                 "samples per frame, untagged.\n"),
              std::string::npos)
        << result.output;
    EXPECT_EQ(result.output.find("Read as "), std::string::npos) << result.output;
}

} // namespace
