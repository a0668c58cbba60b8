// The host program's --record and --snapshot options where no network is needed: the usage text, and what
// it says of a value it cannot use.
#include "HostProgram.h"
#include "support/ChildProcess.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

using testsupport::ChildProcess;

namespace {

using hosttest::contains;
using hosttest::runHost;

TEST(HostRecordCommandLine, HelpDescribesTheRecordsColumns) {
    const auto result = runHost({"--help"});
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_TRUE(
        contains(result.output, "\n  --record FILE.csv        append every delivery to FILE, one row each"))
        << result.output;
    EXPECT_TRUE(contains(result.output, "header line utc,seconds,channel,kind, the\n")) << result.output;
}

TEST(HostRecordCommandLine, HelpSaysASpectrumRowLeavesTheBinsBeyondItsCountEmpty) {
    const auto result = runHost({"--help"});
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_TRUE(contains(
        result.output,
        "bin 32767. A level row fills the seven levels in dB re full scale, a\n"
        "                           spectrum row the peak's frequency, its bin count N and each bin's\n"
        "                           linear power (bin k at k x 48000 / 2N Hz), the rest left empty\n"))
        << result.output;
}

TEST(HostRecordCommandLine, HelpStatesTheSnapshotsSize) {
    const auto result = runHost({"--help"});
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_TRUE(contains(result.output,
                         "\n  --snapshot FILE.png      at the end of the run, also on Ctrl-C, paint a "
                         "1200x700 image"))
        << result.output;
}

class HostEmptyPath : public ::testing::TestWithParam<std::pair<const char*, const char*>> {};

TEST_P(HostEmptyPath, IsRefused) {
    const auto result = runHost({GetParam().first, ""});
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_TRUE(contains(result.output,
                         std::string(GetParam().first) + " '' is not valid: " + GetParam().second + ".\n"))
        << result.output;
}

INSTANTIATE_TEST_SUITE_P(
    Options, HostEmptyPath,
    ::testing::Values(std::make_pair("--record", "give the name of a CSV file"),
                      std::make_pair("--snapshot", "give the name of an image file, such as snapshot.png")));

TEST(HostRecordCommandLine, RecordFileThatCannotBeOpenedEndsTheRunBeforeCapturing) {
    const auto result = runHost({"--adapter", "nosuchif0", "--mac", "02:53:43:00:00:01", "--record",
                                 "/nonexistent-folder-of-sonacore/record.csv"});
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_TRUE(contains(result.output,
                         "--record /nonexistent-folder-of-sonacore/record.csv cannot be written: the folder "
                         "/nonexistent-folder-of-sonacore does not exist.\n"))
        << result.output;
    EXPECT_FALSE(contains(result.output, "There is no capture adapter")) << result.output;
}

} // namespace
