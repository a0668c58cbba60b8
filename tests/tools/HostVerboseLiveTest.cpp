// The library's log lines in a run of the built-in demo, with and without --verbose: its progress lines,
// from the first it writes while it loads, and the warnings that every start-up brings are shown only with
// --verbose; its status messages always are.
#include "HostProgram.h"
#include "support/ChildProcess.h"
#include "support/NetnsFixture.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <chrono>
#include <string>
#include <vector>

using testsupport::ChildProcess;
using testsupport::NetnsFixture;

namespace {

using hosttest::contains;
using namespace std::chrono_literals;

// The first of the three lines each spectrum processor writes at start-up, up to its address.
constexpr const char* startUpWarning =
    "sonacore: addToIppBuffers \"spectrum 0_FFT\" The address of the buffer "
    "is not initialized and won't be managed: 0x";

class HostVerboseLiveTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (geteuid() != 0) {
            const std::string message = "The built-in demo needs root";
            if (NetnsFixture::runningInCi()) {
                FAIL() << message << " [CI=true, so this is a failure and not a skip]";
            }
            GTEST_SKIP() << message;
        }
    }

    static ChildProcess::Result runDemo(const std::vector<std::string>& extra) {
        std::vector<std::string> command{SONACORE_HOST_PATH, "--talker", NetnsFixture::talkerPath(),
                                         "--duration", "1"};
        command.insert(command.end(), extra.begin(), extra.end());
        return ChildProcess::run(command, 60s);
    }
};

TEST_F(HostVerboseLiveTest, DemoWithoutVerboseShowsNoProgressLinesNorTheStartUpWarnings) {
    const ChildProcess::Result result = runDemo({});
    ASSERT_EQ(result.exitStatus, 0) << result.output;
    EXPECT_FALSE(contains(result.output, "Initialized")) << result.output;
    EXPECT_FALSE(contains(result.output, "won't be managed")) << result.output;
    // The library's status messages still reach standard error.
    EXPECT_TRUE(contains(result.output, "status: 00a0c9112233 now sends 4 channels\n")) << result.output;
}

TEST_F(HostVerboseLiveTest, DemoWithVerboseShowsTheProgressLinesFromTheLibrarysLoadOn) {
    const ChildProcess::Result result = runDemo({"--verbose"});
    ASSERT_EQ(result.exitStatus, 0) << result.output;
    EXPECT_TRUE(contains(result.output, "sonacore: PcapDeviceManager Initialized\n")) << result.output;
    EXPECT_TRUE(contains(result.output, "sonacore: StreamingEngine Initialized\n")) << result.output;
    EXPECT_TRUE(contains(result.output, "sonacore: DeviceConfiguration Initialized!\n")) << result.output;
    EXPECT_TRUE(contains(result.output, "status: 00a0c9112233 now sends 4 channels\n")) << result.output;
}

TEST_F(HostVerboseLiveTest, DemoWithVerboseShowsTheStartUpWarnings) {
    const ChildProcess::Result result = runDemo({"--verbose"});
    ASSERT_EQ(result.exitStatus, 0) << result.output;
    EXPECT_TRUE(contains(result.output, startUpWarning)) << result.output;
}

} // namespace
