// The host program's command line for discovery, where no network is needed: the options, and what it says
// when it cannot listen.
#include "HostProgram.h"
#include "UnprivilegedRun.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using hosttest::contains;
using hosttest::runHost;

TEST(HostCommandLine, HelpDescribesDiscoveryAndItsListeningTime) {
    const auto result = runHost({"--help"});
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_TRUE(
        contains(result.output, "\n  --discover               list the AAF talkers heard on the adapter"))
        << result.output;
    EXPECT_TRUE(
        contains(result.output,
                 "\n  --seconds S              how long to listen for talkers, 1 to 3600 (default 2)\n"))
        << result.output;
}

class HostSeconds : public ::testing::TestWithParam<const char*> {};

TEST_P(HostSeconds, ListeningTimeOutsideOneToAnHourIsRefused) {
    const auto result = runHost({"--discover", "--seconds", GetParam()});
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_TRUE(contains(result.output, std::string("--seconds ") + GetParam() +
                                            " is not valid: give whole seconds from 1 to 3600.\n"))
        << result.output;
}

INSTANTIATE_TEST_SUITE_P(Values, HostSeconds, ::testing::Values("0", "3601", "-1", "1.5", "two"));

TEST(HostCommandLine, DiscoveryOnAnUnknownAdapterSaysSo) {
    const auto result = runHost({"--discover", "--adapter", "nosuchif0", "--seconds", "1"});
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_TRUE(contains(result.output,
                         "There is no capture adapter 'nosuchif0': run 'sonacore-host --list' to "
                         "see the adapters and their numbers.\n"))
        << result.output;
}

TEST(HostCommandLine, MonitoringWithoutMacOnAnUnknownAdapterSaysSo) {
    const auto result = runHost({"--adapter", "nosuchif0", "--seconds", "1"});
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_TRUE(contains(result.output,
                         "There is no capture adapter 'nosuchif0': run 'sonacore-host --list' to "
                         "see the adapters and their numbers.\n"))
        << result.output;
}

TEST(HostCommandLine, DiscoveryWithoutTheRightToCaptureIsExplained) {
    const auto result = toolstest::runUnprivileged(SONACORE_HOST_PATH, {SONACORE_LIBRARY_SONAME_PATH},
                                                   {"--discover", "--adapter", "lo", "--seconds", "1"});
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_TRUE(contains(result.output,
                         "Cannot capture on 'lo': run as root, or give this program the right to "
                         "capture (setcap cap_net_raw,cap_net_admin+ep sonacore-host).\n"))
        << result.output;
}

} // namespace
