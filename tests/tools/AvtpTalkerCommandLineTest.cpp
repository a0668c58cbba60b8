#include "UnprivilegedRun.h"
#include "support/ChildProcess.h"
#include "support/NetnsFixture.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

using testsupport::ChildProcess;
using testsupport::NetnsFixture;

namespace {

ChildProcess::Result runTalker(const std::vector<std::string>& arguments) {
    std::vector<std::string> command{NetnsFixture::talkerPath()};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return ChildProcess::run(command);
}

TEST(AvtpTalkerCommandLine, HelpPrintsUsageAndSucceeds) {
    const auto result = runTalker({"--help"});
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(result.output.rfind("Usage: sonacore-avtp-talker --interface NAME [options]\n", 0), 0u)
        << result.output;
}

TEST(AvtpTalkerCommandLine, MissingInterfaceIsABadOption) {
    const auto result = runTalker({"--count", "1"});
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_EQ(result.output, "sonacore-avtp-talker: option --interface is required; see --help.\n");
}

TEST(AvtpTalkerCommandLine, UnknownOptionIsNamed) {
    const auto result = runTalker({"-i", "lo", "--bogus"});
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_EQ(result.output, "sonacore-avtp-talker: unknown option '--bogus'; see --help.\n");
}

TEST(AvtpTalkerCommandLine, MissingValueIsNamed) {
    const auto result = runTalker({"-i", "lo", "--channels"});
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_EQ(result.output,
              "sonacore-avtp-talker: option --channels needs a channel count from 1 to 1023; see --help.\n");
}

TEST(AvtpTalkerCommandLine, OutOfRangeValueIsQuoted) {
    const auto result = runTalker({"-i", "lo", "--channels=0"});
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_EQ(result.output, "sonacore-avtp-talker: option --channels needs a channel count from 1 to 1023, "
                             "not '0'; see --help.\n");
}

TEST(AvtpTalkerCommandLine, MalformedMacAddressIsRefused) {
    const auto result = runTalker({"-i", "lo", "--source-mac", "00:11:22:33:44"});
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_EQ(result.output, "sonacore-avtp-talker: option --source-mac needs a MAC address such as "
                             "00:11:22:33:44:55, not '00:11:22:33:44'; see --help.\n");
}

TEST(AvtpTalkerCommandLine, CountAndDurationExcludeEachOther) {
    const auto result = runTalker({"-i", "lo", "--count", "5", "--duration", "1"});
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_EQ(result.output,
              "sonacore-avtp-talker: options --count and --duration exclude each other; see --help.\n");
}

TEST(AvtpTalkerCommandLine, SwapNeedsTheFollowingFrameWithinTheCount) {
    const auto result = runTalker({"-i", "lo", "--swap-at", "4", "--count", "5"});
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_EQ(result.output,
              "sonacore-avtp-talker: a swap at frame 4 needs frame 5 within the frame count; see --help.\n");
}

TEST(AvtpTalkerCommandLine, ChannelSignalBeyondTheStreamsChannelsIsRefused) {
    const auto result = runTalker({"-i", "lo", "--channels", "2", "--channel-signal", "2=silence"});
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_EQ(result.output,
              "sonacore-avtp-talker: option --channel-signal names channel 2 but the stream has at "
              "most 2 channels; see --help.\n");
}

TEST(AvtpTalkerCommandLine, SampleWidthOtherThan16Or24Or32BitsIsRefused) {
    const auto result = runTalker({"-i", "lo", "--sample-bits", "20"});
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_EQ(result.output,
              "sonacore-avtp-talker: option --sample-bits needs a sample width of 16, 24 or 32 "
              "bits, not '20'; see --help.\n");
}

TEST(AvtpTalkerCommandLine, HelpSaysWhatEachFormatCarriesAndThatSampleBitsIsTheIntegerFormats) {
    const auto result = runTalker({"--help"});
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_NE(
        result.output.find("      --format F                int16, int24, int32 (formats INT_16BIT, "
                           "INT_24BIT, INT_32BIT) or\n"
                           "                                float32 (FLOAT_32BIT) (default int16); wider "
                           "integers carry the\n"
                           "                                16-bit signal shifted up to fill the width, "
                           "float32 the signal's\n"
                           "                                value as a fraction of full scale, before its "
                           "rounding to 16 bits\n"
                           "      --sample-bits N           16, 24 or 32: the same as --format int16, "
                           "int24 or int32\n"),
        std::string::npos)
        << result.output;
}

TEST(AvtpTalkerCommandLine, HelpDescribesTheSpecialSignal) {
    const auto result = runTalker({"--help"});
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_NE(
        result.output.find("  special:WHICH     float32 only: nan, inf or -inf on every sample, or cycle: "
                           "NaN, +inf, -inf\n"
                           "                    and 0.5 in turn\n"),
        std::string::npos)
        << result.output;
}

TEST(AvtpTalkerCommandLine, FormatOtherThanTheFourIsRefused) {
    const auto result = runTalker({"-i", "lo", "--format", "float64"});
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_EQ(result.output, "sonacore-avtp-talker: option --format needs a sample format of int16, int24, "
                             "int32 or float32, not 'float64'; see --help.\n");
}

TEST(AvtpTalkerCommandLine, SpecialSignalNeedsTheFloatFormat) {
    const auto result = runTalker({"-i", "lo", "--format", "int32", "--channel-signal", "1=special:inf"});
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_EQ(result.output, "sonacore-avtp-talker: invalid signal 'special:inf': NaN and infinities need "
                             "--format float32; see --help.\n");
}

TEST(AvtpTalkerCommandLine, SampleBitsAfterTheFloatFormatLeavesNoRoomForSpecialValues) {
    const auto result =
        runTalker({"-i", "lo", "--format", "float32", "--sample-bits", "32", "--signal", "special:nan"});
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_EQ(result.output, "sonacore-avtp-talker: invalid signal 'special:nan': NaN and infinities need "
                             "--format float32; see --help.\n");
}

TEST(AvtpTalkerCommandLine, HelpDescribesTheTagOptions) {
    const auto result = runTalker({"--help"});
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_NE(
        result.output.find("      --vlan-tpid T             8100 or 88a8: the tag protocol identifier of "
                           "the --vlan tag\n"
                           "                                (default 8100)\n"
                           "      --outer-vlan ID[:PRIORITY]\n"
                           "                                an outer tag (0x88a8) for VLAN ID with "
                           "priority 0 to 7 (default 3)\n"
                           "                                in front of the --vlan tag, as in QinQ "
                           "(default: none)\n"),
        std::string::npos)
        << result.output;
}

class AvtpTalkerVlanCommandLine : public ::testing::TestWithParam<std::tuple<const char*, const char*>> {};

TEST_P(AvtpTalkerVlanCommandLine, VlanIdAbove4094OrPriorityAbove7IsRefused) {
    const std::string option = std::get<0>(GetParam());
    const std::string value = std::get<1>(GetParam());
    const auto result = runTalker({"-i", "lo", "--vlan", "2", option, value});
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_EQ(result.output,
              "sonacore-avtp-talker: option " + option +
                  " needs a VLAN ID from 0 to 4094, optionally followed by :PRIORITY from 0 to 7, "
                  "not '" +
                  value + "'; see --help.\n");
}

INSTANTIATE_TEST_SUITE_P(Values, AvtpTalkerVlanCommandLine,
                         ::testing::Combine(::testing::Values("--vlan", "--outer-vlan"),
                                            ::testing::Values("4095", "2:8", "4095:3", "two", "2:", ":3",
                                                              "-1")));

class AvtpTalkerVlanTpidCommandLine : public ::testing::TestWithParam<const char*> {};

TEST_P(AvtpTalkerVlanTpidCommandLine, TagProtocolOtherThan8100Or88a8IsRefused) {
    const auto result = runTalker({"-i", "lo", "--vlan", "2", "--vlan-tpid", GetParam()});
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_EQ(result.output, std::string("sonacore-avtp-talker: option --vlan-tpid needs a tag protocol "
                                         "identifier of 8100 or 88a8, not '") +
                                 GetParam() + "'; see --help.\n");
}

INSTANTIATE_TEST_SUITE_P(Values, AvtpTalkerVlanTpidCommandLine,
                         ::testing::Values("9100", "0x9100", "33024", "88a", "", "0x"));

TEST(AvtpTalkerCommandLine, OuterVlanNeedsTheTagBehindIt) {
    const auto result = runTalker({"-i", "lo", "--outer-vlan", "100"});
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_EQ(result.output,
              "sonacore-avtp-talker: option --outer-vlan needs --vlan, the tag behind it; see --help.\n");
}

TEST(AvtpTalkerCommandLine, VlanTpidNeedsTheTagItNames) {
    const auto result = runTalker({"-i", "lo", "--vlan-tpid", "88a8"});
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_EQ(result.output,
              "sonacore-avtp-talker: option --vlan-tpid needs --vlan, the tag it names; see --help.\n");
}

TEST(AvtpTalkerCommandLine, InvalidSignalIsExplained) {
    const auto result = runTalker({"-i", "lo", "--signal", "sine:99999"});
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_EQ(result.output,
              "sonacore-avtp-talker: invalid signal 'sine:99999': the frequency must be a number of "
              "Hz from 0 to 24000; see --help.\n");
}

TEST(AvtpTalkerCommandLine, MissingWavFileIsNamed) {
    const auto result = runTalker({"-i", "lo", "--signal", "wav:/nonexistent/file.wav"});
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_EQ(result.output,
              "sonacore-avtp-talker: cannot open WAV file '/nonexistent/file.wav'; see --help.\n");
}

TEST(AvtpTalkerCommandLine, UnknownInterfaceIsNamed) {
    const auto result = runTalker({"-i", "nosuchif0", "--count", "1"});
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(result.output, "sonacore-avtp-talker: unknown interface 'nosuchif0'.\n");
}

TEST(AvtpTalkerCommandLine, MissingRightsAreExplained) {
    const auto result =
        toolstest::runUnprivileged(NetnsFixture::talkerPath(), {}, {"-i", "lo", "--count", "1"});
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(result.output, "sonacore-avtp-talker: no permission to open a raw packet socket; run as root "
                             "or grant CAP_NET_RAW.\n");
}

} // namespace
