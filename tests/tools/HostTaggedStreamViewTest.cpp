// The monitor on the form a real AVB network sends: 8 channels of 32-bit samples in VLAN-tagged frames,
// from our talker in a network namespace. The monitor runs without --mac in a 120 x 40 tmux pane, as a
// person starts it; it listens, takes the stream in the form it heard, and its meters are read back from
// the screen against the levels of the talker's sines, worked out in the test.
#include "ScreenReading.h"
#include "TmuxPane.h"
#include "support/EventLoop.h"
#include "support/NetnsFixture.h"
#include "tools/FrameCapture.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

using hosttest::aWeighting;
using hosttest::meterValue;
using hosttest::sineDecibels;
using testsupport::ChildProcess;
using testsupport::FrameCapture;

namespace {

using namespace std::chrono_literals;

// Each condition on the screen is polled for this long: the monitor listens for two seconds before it
// starts, and its meters need a few more to start and settle, more under the sanitizers.
constexpr std::chrono::milliseconds screenDeadline = 30s;
// The meters' figures against the sines' levels: the talker's 16-bit signal values (shifted into the 32-bit
// samples), the fast time weighting's ripple and the digital A filter's departure from the analog response
// below 2 kHz move them by a few hundredths of a dB at most.
constexpr long double levelTolerance = 0.1L;
constexpr const char* talkerMac = "02:53:43:00:00:07";
constexpr const char* deviceKey = "025343000007";

// One channel's sine, as the talker's --channel-signal gives it.
struct Tone {
    unsigned channel;
    const char* hertz;
    const char* amplitude;
};

// Frequencies from 250 Hz to 2 kHz, where the A filter keeps within 0.04 dB of the analog response, and
// amplitudes from full scale down to -29 dB.
constexpr Tone tones[] = {{0, "1000", "1"},  {1, "440", "0.5"},  {2, "2000", "0.25"}, {3, "250", "0.5"},
                          {4, "630", "0.7"}, {5, "1500", "0.1"}, {6, "1000", "0.05"}, {7, "440", "0.8"}};

class HostTaggedStreamViewTest : public testsupport::NetnsFixture {
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
        std::vector<std::string> arguments{"--source-mac", talkerMac, "--sample-bits", "32",
                                           "--vlan",       "5:3",     "--channels",    "8"};
        for (const Tone& tone : tones) {
            arguments.insert(arguments.end(), {"--channel-signal", std::to_string(tone.channel) + "=sine:" +
                                                                       tone.hertz + ":" + tone.amplitude});
        }
        talker = &startTalker(arguments);
        ASSERT_GE(capture->waitForCount(100, 20s), 100u) << talker->output();
        std::ofstream script(path("run.sh"));
        // A trap lets the script go on after Ctrl-C, to note how the monitor ended.
        script << "trap 'true' INT\n"
               << SONACORE_HOST_PATH << " --adapter " << captureInterface() << " --duration 300\n"
               << "echo \"monitor ended with $?\" > " << path("status") << "\n"
               << "sleep 600\n";
        script.close();
        ASSERT_TRUE(pane.start(120, 40, "sh " + path("run.sh"), error)) << error;
    }

    void TearDown() override {
        // The monitor ends before the fixture removes the interface it captures on.
        if (pane.isStarted()) {
            pane.press("C-c");
            testsupport::spinUntil([this] { return std::ifstream(path("status")).good(); }, screenDeadline);
        }
        NetnsFixture::TearDown();
    }

    std::string path(const std::string& name) const { return folder.path().toStdString() + "/" + name; }

    // Where the talker's frames went, for a screen that never showed what it should.
    std::string whereDataWent() const {
        std::ostringstream text;
        std::string error;
        const auto capture =
            FrameCapture::open(captureInterface(), error, std::string("ether src ") + talkerMac);
        if (capture) {
            text << "\nframes of the talker arriving on " << captureInterface() << ": "
                 << capture->waitForCount(100, 2s) << " of 100 in 2 s";
        } else {
            text << "\nno capture on " << captureInterface() << ": " << error;
        }
        text << "\ntalker " << (talker->running() ? "running" : "ended") << ", its output:\n"
             << talker->output();
        std::ifstream status(path("status"));
        if (status) {
            text << "\nthe monitor ended: " << status.rdbuf();
        }
        return text.str();
    }

    ::testing::AssertionResult meterReads(unsigned channel, const std::string& name,
                                          long double expected) const {
        return pane.shows(
            [&](const std::string& screen) {
                const std::optional<double> value = meterValue(screen, channel, name);
                return value && std::fabs(*value - expected) <= levelTolerance;
            },
            name + " of channel " + std::to_string(channel) + " within 0.1 dB of " +
                std::to_string(static_cast<double>(expected)),
            screenDeadline, [this] { return whereDataWent(); });
    }

    hosttest::TmuxPane pane{"tagged"};

private:
    QTemporaryDir folder;
    ChildProcess* talker = nullptr;
};

TEST_F(HostTaggedStreamViewTest, TitleNamesTheStreamsFormatAndVlan) {
    const std::string title = std::string("SonaCore monitor: ") + deviceKey + " on " + captureInterface() +
                              ", 8 channels of int32 at 48000 Hz, VLAN 5, 300 s; q or Ctrl-C ends it";
    EXPECT_TRUE(pane.shows([&](const std::string& screen) { return screen.rfind(title + "\n", 0) == 0; },
                           "the title " + title, screenDeadline, [this] { return whereDataWent(); }));
}

TEST_F(HostTaggedStreamViewTest, MetersShowEveryChannelsFastLevelsOfItsSine) {
    for (const Tone& tone : tones) {
        const long double amplitude = std::stold(tone.amplitude);
        const long double hertz = std::stold(tone.hertz);
        EXPECT_TRUE(meterReads(tone.channel, "dBZ SPL f", sineDecibels(amplitude)));
        EXPECT_TRUE(meterReads(tone.channel, "dBA SPL f", sineDecibels(amplitude) + aWeighting(hertz)));
    }
}

} // namespace
