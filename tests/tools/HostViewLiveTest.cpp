// The monitor's live view in terminals of the sizes people have, read back from a tmux pane as a person
// reads it: the built-in demo at 80x24 and at 40x10, the moving average that settles, the record kept
// while the keys change the FFT order and read back by Python's csv module (and pandas where it is
// installed), and an address that sends nothing.
#include "HostProgram.h"
#include "ScreenReading.h"
#include "TmuxPane.h"
#include "support/ChildProcess.h"
#include "support/EventLoop.h"
#include "support/NetnsFixture.h"
#include "tools/FrameCapture.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <unistd.h>

#include <chrono>
#include <fstream>
#include <functional>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

using hosttest::contains;
using hosttest::linesOf;
using testsupport::ChildProcess;
using testsupport::NetnsFixture;

namespace {

using namespace std::chrono_literals;

// Each condition on the screen is polled for this long: the demo needs a few seconds to start and to fill
// the spectrum's average, more under the sanitizers.
constexpr std::chrono::milliseconds screenDeadline = 30s;
// The settling mark stands for the two seconds the average takes to fill. A look at the screen that comes
// later finds the average settled already; each attempt switches the average off and on again, which
// restarts its two seconds, so a machine would have to stall that long this many times in a row to miss it.
constexpr int settlingAttempts = 5;
constexpr std::chrono::milliseconds settlingLook = 4s;

const std::string shortKeys =
    "Keys: Tab/Left/Right or 0-9 channel, +/- FFT order (10-16), a averaging, q quit";

// The screen's text with its lines joined by blanks and runs of blanks made one: a wrapped sentence as it
// reads.
std::string flowing(const std::string& screen) {
    std::string text;
    for (const char character : screen) {
        const char shown = character == '\n' ? ' ' : character;
        if (shown != ' ' || (!text.empty() && text.back() != ' ')) {
            text += shown;
        }
    }
    while (!text.empty() && text.back() == ' ') {
        text.pop_back();
    }
    return text;
}

// The line that starts with `prefix`, without the blanks after it; empty when there is none.
std::string lineStarting(const std::string& screen, const std::string& prefix) {
    for (std::string line : linesOf(screen)) {
        if (line.rfind(prefix, 0) == 0) {
            line.erase(line.find_last_not_of(' ') + 1);
            return line;
        }
    }
    return {};
}

// A monitor in a tmux pane, run by a script that notes its exit status in a file and then waits, so that
// the pane keeps what the monitor left on the screen.
class HostViewPane {
public:
    explicit HostViewPane(const std::string& purpose) : pane(purpose) {}

    bool start(const QTemporaryDir& folder, int columns, int rows, const std::string& arguments,
               std::string& error) {
        statusPath = folder.path().toStdString() + "/status";
        const std::string script = folder.path().toStdString() + "/run.sh";
        std::ofstream(script) << "trap 'true' INT\n"
                              << SONACORE_HOST_PATH << " " << arguments << "\n"
                              << "echo \"monitor ended with $?\" > " << statusPath << "\n"
                              << "sleep 600\n";
        return pane.start(columns, rows, "sh " + script, error);
    }

    // Ends the monitor with Ctrl-C unless it has ended, and waits for its status.
    void stop() {
        if (pane.isStarted() && !ended()) {
            pane.press("C-c");
            waitForEnd();
        }
    }

    bool ended() const { return std::ifstream(statusPath).good(); }
    bool waitForEnd() const {
        return testsupport::spinUntil([this] { return ended(); }, screenDeadline);
    }
    std::string status() const {
        std::ifstream file(statusPath);
        std::ostringstream text;
        text << file.rdbuf();
        return text.str();
    }

    hosttest::TmuxPane pane;

private:
    std::string statusPath;
};

// The built-in demo: our talker in a namespace the monitor makes, sending four channels, channel 0 a 1 kHz
// full-scale sine.
class HostDemoViewTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (geteuid() != 0) {
            const std::string message = "The live view's tests run the built-in demo, which needs root";
            if (NetnsFixture::runningInCi()) {
                FAIL() << message << " [CI=true, so this is a failure and not a skip]";
            }
            GTEST_SKIP() << message;
        }
        ASSERT_TRUE(folder.isValid());
    }

    void TearDown() override { view.stop(); }

    void startDemo(int columns, int rows, const std::string& arguments = "") {
        std::string error;
        ASSERT_TRUE(view.start(folder, columns, rows,
                               "--talker " + NetnsFixture::talkerPath() + " --duration 300 " + arguments,
                               error))
            << error;
    }

    std::string path(const std::string& name) const { return folder.path().toStdString() + "/" + name; }

    ::testing::AssertionResult shows(const std::function<bool(const std::string&)>& condition,
                                     const std::string& what) const {
        return view.pane.shows(condition, what, screenDeadline, [this] {
            return view.ended() ? "\nthe monitor " + view.status() : std::string();
        });
    }

    HostViewPane view{"view"};

private:
    QTemporaryDir folder;
};

// The title as the demo makes it, from the capture interface it names.
std::string demoTitle(const std::string& interface) {
    return "SonaCore monitor: 00a0c9112233 on " + interface +
           ", 4 channels of int16 at 48000 Hz, 300 s; q or Ctrl-C ends it";
}

// Regression: at 80x24 the keys line lost "a averaging, q quit", the title its end, and the meters their
// bars.
TEST_F(HostDemoViewTest, At80x24TheKeysTheWholeTitleAndEveryBarAreShown) {
    startDemo(80, 24);
    std::string last;
    EXPECT_TRUE(shows(
        [&](const std::string& screen) {
            last = screen;
            int bars = 0;
            for (const std::string& line : linesOf(screen)) {
                bars += std::regex_search(line, std::regex("^[ >] +[0-3] .*  \\[#+.*\\]")) ? 1 : 0;
            }
            return bars == 4 && lineStarting(screen, "Keys: ") == shortKeys;
        },
        "the four meters with their bars and the whole keys line"));
    std::smatch match;
    ASSERT_TRUE(std::regex_search(last, match, std::regex(" on (scd[0-9]+h),"))) << last;
    // The title's two lines, read as one.
    const std::vector<std::string> lines = linesOf(last);
    EXPECT_EQ(flowing(lines[0] + "\n" + lines[1]), demoTitle(match[1].str())) << last;
}

TEST_F(HostDemoViewTest, At40x10TheViewSaysTheTerminalIsTooSmallUntilItGrows) {
    startDemo(40, 10);
    EXPECT_TRUE(shows(
        [](const std::string& screen) {
            return flowing(screen) ==
                   "Terminal too small: the monitor needs at least 80x16 characters, this one "
                   "has 40x10. Enlarge it, or press q to end the run.";
        },
        "the sentence that the terminal is too small"));
    view.pane.resize(80, 24);
    EXPECT_TRUE(shows([](const std::string& screen) { return lineStarting(screen, "Keys: ") == shortKeys; },
                      "the view at 80x24"));
}

// The demo's first spectra, or those after the average is switched off and on, while the average fills.
::testing::AssertionResult sawSettling(const HostViewPane& view) {
    const std::regex settling("moving average settling \\(([0-9]+) of ([0-9]+) spectra\\)");
    std::string last;
    for (int attempt = 0; attempt < settlingAttempts; ++attempt) {
        if (attempt > 0) {
            view.pane.press("a");
            testsupport::spinUntil([&] { return contains(view.pane.screen(), ", moving average off"); },
                                   screenDeadline);
            view.pane.press("a");
        }
        const bool seen = testsupport::spinUntil(
            [&] {
                last = view.pane.screen();
                return std::regex_search(last, settling);
            },
            settlingLook);
        if (seen) {
            return ::testing::AssertionSuccess() << last;
        }
    }
    return ::testing::AssertionFailure()
           << "no settling mark in " << settlingAttempts << " attempts; the screen shows:\n"
           << last;
}

TEST_F(HostDemoViewTest, SpectrumTitleMarksTheAverageSettlingAndThenNot) {
    startDemo(160, 50);
    ASSERT_TRUE(sawSettling(view));
    EXPECT_TRUE(shows(
        [](const std::string& screen) {
            const std::string title = lineStarting(screen, "Spectrum of ch 0: FFT order 14 ");
            const std::string settled = ", moving average on";
            return title.size() > settled.size() && title.substr(title.size() - settled.size()) == settled;
        },
        "the average settled"));
}

// The record's rows, checked by the csv module as a reader of the file sees them, and by pandas where it
// is installed. Prints the rows' count and the bin counts of the spectra; exits 1 on a row with fields
// beyond the header, which DictReader files under the key None.
constexpr const char* readerScript = R"(import csv, sys
path = sys.argv[1]
rows = 0
bins = set()
with open(path, newline="") as file:
    reader = csv.DictReader(file)
    for row in reader:
        if None in row:
            print("line %d has %d fields beyond the header" % (reader.line_num, len(row[None])))
            sys.exit(1)
        rows += 1
        if row["kind"] == "spectrum":
            bins.add(int(row["bins"]))
print("rows %d bins %s" % (rows, " ".join(str(b) for b in sorted(bins))))
try:
    import pandas
except ImportError:
    print("pandas not installed")
    sys.exit(0)
frame = pandas.read_csv(path)
print("pandas rows %d columns %d" % (len(frame), len(frame.columns)))
)";

// Regression: after + or -, spectrum rows of 16384 or 4096 bins stood under a header of 8192, and
// csv.DictReader filed the extra values under the key None.
TEST_F(HostDemoViewTest, RecordStaysOneTableWhileTheKeysChangeTheOrder) {
    const std::string record = path("record.csv");
    startDemo(160, 50, "--record " + record);
    ASSERT_TRUE(
        shows([](const std::string& screen) { return contains(screen, "FFT order 14 (16384 points"); },
              "a spectrum of order 14"));
    view.pane.press("+");
    ASSERT_TRUE(
        shows([](const std::string& screen) { return contains(screen, "FFT order 15 (32768 points"); },
              "a spectrum of order 15"));
    view.pane.press("-");
    view.pane.press("-");
    ASSERT_TRUE(shows([](const std::string& screen) { return contains(screen, "FFT order 13 (8192 points"); },
                      "a spectrum of order 13"));
    view.pane.press("q");
    ASSERT_TRUE(view.waitForEnd()) << view.pane.screen();
    EXPECT_EQ(view.status(), "monitor ended with 0\n");
    const std::string script = path("read.py");
    std::ofstream(script) << readerScript;
    const ChildProcess::Result read = ChildProcess::run({"python3", script, record}, 120s);
    ASSERT_EQ(read.exitStatus, 0) << read.output;
    std::smatch match;
    ASSERT_TRUE(std::regex_search(read.output, match, std::regex("rows ([0-9]+) bins ([0-9 ]+)\n")))
        << read.output;
    EXPECT_EQ(match[2].str(), "4096 8192 16384") << read.output;
    if (!contains(read.output, "pandas not installed")) {
        EXPECT_TRUE(contains(read.output, "pandas rows " + match[1].str() + " columns " +
                                              std::to_string(13 + 32768) + "\n"))
            << read.output;
    }
}

// An address that sends nothing, on an adapter where our talker sends under another.
class HostSilentAddressViewTest : public NetnsFixture {
protected:
    void SetUp() override {
        NetnsFixture::SetUp();
        if (IsSkipped() || HasFatalFailure()) {
            return;
        }
        ASSERT_TRUE(folder.isValid());
        startTalker({"--source-mac", "02:53:43:00:00:31"});
    }

    void TearDown() override {
        // The monitor ends before the fixture removes the interface it captures on.
        view.stop();
        NetnsFixture::TearDown();
    }

    QTemporaryDir folder;
    HostViewPane view{"silent"};
};

TEST_F(HostSilentAddressViewTest, ViewSaysNoAudioHasArrivedAndTheRunEndsWithStatus3) {
    std::string error;
    ASSERT_TRUE(view.start(
        folder, 160, 40,
        "--adapter " + captureInterface() + " --mac 02:53:43:00:00:99 --seconds 1 --duration 300", error))
        << error;
    const std::string notice = "No audio has arrived from 025343000099 on " + captureInterface() + " yet.";
    EXPECT_TRUE(
        view.pane.shows([&](const std::string& screen) { return lineStarting(screen, "No audio") == notice; },
                        "the line " + notice, screenDeadline));
    view.pane.press("q");
    ASSERT_TRUE(view.waitForEnd()) << view.pane.screen();
    EXPECT_EQ(view.status(), "monitor ended with 3\n");
    const std::string verdict = "No audio arrived from 025343000099 on " + captureInterface() +
                                ": check the stream's source address (--mac) and the adapter.";
    EXPECT_TRUE(view.pane.shows([&](const std::string& screen) { return contains(flowing(screen), verdict); },
                                "the run's verdict " + verdict, screenDeadline));
}

} // namespace
