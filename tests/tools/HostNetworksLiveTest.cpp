// The monitor on two networks at once, as a user who watches both halves of a redundant system runs it:
// `sonacore-host --adapter A --adapter B` with a talker on each, each heard on its own adapter only. And a
// monitored adapter that goes down during the run and comes back: the monitor captures again.
#include "HostProgram.h"
#include "support/ChildProcess.h"
#include "support/NetnsFixture.h"
#include "tools/FrameCapture.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <regex>
#include <string>
#include <thread>
#include <vector>

using hosttest::contains;
using testsupport::ChildProcess;
using testsupport::FrameCapture;

namespace {

using namespace std::chrono_literals;

constexpr const char* firstMac = "02:53:43:00:00:31";
constexpr const char* secondMac = "02:53:43:00:00:32";
constexpr std::chrono::milliseconds runDeadline = 90s;

class HostNetworksLiveTest : public testsupport::NetnsFixture {
protected:
    // A talker on `talkerEnd` sending as `mac` a full-scale sine of `hertz` on channel 0 and silence on
    // channel 1, once its frames arrive at `captureEnd`.
    ChildProcess* startSine(const std::string& talkerEnd, const std::string& captureEnd,
                            const std::string& mac, const std::string& hertz) {
        std::string error;
        const auto capture = FrameCapture::open(captureEnd, error, "ether src " + mac);
        EXPECT_TRUE(capture) << error;
        ChildProcess* talker =
            &startTalkerOn(talkerEnd, {"--source-mac", mac, "--channel-signal", "0=sine:" + hertz + ":1",
                                       "--channel-signal", "1=silence"});
        if (capture) {
            EXPECT_GE(capture->waitForCount(100, 20s), 100u) << talker->output();
        }
        return talker;
    }

    static std::string account(const std::vector<ChildProcess*>& talkers) {
        std::string text;
        for (const ChildProcess* talker : talkers) {
            text += "\ntalker " + std::string(talker->running() ? "running" : "ended") + ", its output:\n" +
                    talker->output();
        }
        return text;
    }

    // The last plain line of `shown` (say "ch2"), or an empty text.
    static std::string lastLineOf(const std::string& output, const std::string& shown) {
        std::smatch match;
        std::string last;
        const std::regex line("(^|\n)(t= *[0-9.]+s " + shown + " [^\n]*)");
        for (auto from = output.cbegin(); std::regex_search(from, output.cend(), match, line);
             from = match.suffix().first) {
            last = match[2].str();
        }
        return last;
    }
};

TEST_F(HostNetworksLiveTest, TwoAdaptersShowBothNetworksStreams) {
    const auto* other = addVethPair();
    ASSERT_NE(other, nullptr);
    auto* first = startSine(talkerInterface(), captureInterface(), firstMac, "1000");
    auto* second = startSine(other->namespaceEnd(), other->rootEnd(), secondMac, "440");
    const ChildProcess::Result result =
        ChildProcess::run({SONACORE_HOST_PATH, "--adapter", captureInterface() + "," + other->rootEnd(),
                           "--meter", "0", "--seconds", "1", "--duration", "3"},
                          runDeadline);
    ASSERT_EQ(result.exitStatus, 0) << result.output << account({first, second});
    EXPECT_TRUE(contains(result.output, "Network 1: 025343000031 on " + captureInterface() +
                                            ", its channels 0 to 1 shown as ch0 to ch1.\n"))
        << result.output;
    EXPECT_TRUE(contains(result.output, "Network 2: 025343000032 on " + other->rootEnd() +
                                            ", its channels 0 to 1 shown as ch2 to ch3.\n"))
        << result.output;
    // Each network's channel 0 carries its own talker's sine: the strongest bin lies at its frequency.
    const std::string ch0 = lastLineOf(result.output, "ch0");
    const std::string ch2 = lastLineOf(result.output, "ch2");
    EXPECT_TRUE(std::regex_search(ch0, std::regex(" (99[0-9]|100[0-9])\\.[0-9] Hz"))) << result.output;
    EXPECT_TRUE(std::regex_search(ch2, std::regex(" (43[0-9]|44[0-9])\\.[0-9] Hz"))) << result.output;
    // Both adapters' capture messages name their adapter.
    EXPECT_TRUE(contains(result.output, "status: " + captureInterface() + ": Start listening"))
        << result.output;
    EXPECT_TRUE(contains(result.output, "status: " + other->rootEnd() + ": Start listening"))
        << result.output;
}

TEST_F(HostNetworksLiveTest, SeveralAdaptersRefuseAMac) {
    const ChildProcess::Result result = ChildProcess::run(
        {SONACORE_HOST_PATH, "--adapter", "eth0", "--adapter", "eth1", "--mac", firstMac}, runDeadline);
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_TRUE(contains(result.output,
                         "--mac takes one adapter: on several, the first stream heard on each is monitored."))
        << result.output;
}

TEST_F(HostNetworksLiveTest, AnAdapterNamedTwiceIsRefused) {
    const ChildProcess::Result result =
        ChildProcess::run({SONACORE_HOST_PATH, "--adapter", "eth0,eth0"}, runDeadline);
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_TRUE(contains(result.output, "Adapter eth0 is named twice; name each adapter once."))
        << result.output;
}

TEST_F(HostNetworksLiveTest, AnAdapterThatGoesDownAndComesBackIsCapturedAgain) {
    auto* talker = startSine(talkerInterface(), captureInterface(), firstMac, "1000");
    ChildProcess monitor;
    std::string error;
    ASSERT_TRUE(monitor.start({SONACORE_HOST_PATH, "--adapter", captureInterface(), "--meter", "0",
                               "--seconds", "1", "--duration", "120"},
                              error))
        << error;
    // Collects the monitor's output until `part` shows after `from`, for at most `limit`.
    const auto waitForText = [&monitor](const std::string& part, std::size_t from,
                                        std::chrono::seconds limit) {
        const auto deadline = std::chrono::steady_clock::now() + limit;
        while (monitor.output().find(part, from) == std::string::npos) {
            if (std::chrono::steady_clock::now() > deadline || monitor.waitFor(100ms)) {
                return monitor.output().find(part, from) != std::string::npos;
            }
        }
        return true;
    };
    const std::string adapter = captureInterface();
    ASSERT_TRUE(waitForText("status: " + adapter + ": Start listening", 0, 30s)) << monitor.output();
    ASSERT_TRUE(waitForText("t=", 0, 30s)) << monitor.output() << account({talker});
    ASSERT_EQ(std::system(("ip link set " + adapter + " down").c_str()), 0);
    EXPECT_TRUE(waitForText("status: " + adapter + ": Capture on adapter '" + adapter +
                                "' failed and has stopped: The interface went down",
                            0, 10s))
        << monitor.output();
    ASSERT_EQ(std::system(("ip link set " + adapter + " up").c_str()), 0);
    const std::string back = "status: " + adapter + " is back: capturing again";
    ASSERT_TRUE(waitForText(back, 0, 10s)) << monitor.output();
    // Levels come again once the capture is back.
    EXPECT_TRUE(waitForText("t=", monitor.output().find(back), 30s)) << monitor.output() << account({talker});
    monitor.terminate();
    EXPECT_EQ(monitor.exitStatus(), 143) << monitor.output();
}

} // namespace
