// The host program's live view as a person meets it: the built-in demo run in a terminal that tmux provides,
// its screen read back with `tmux capture-pane`, keys pressed with `tmux send-keys`. The demo makes its own
// namespace and starts our talker in it: a 1 kHz full-scale sine on channel 0, a 440 Hz half-scale sine on
// channel 1.
//
// The monitor runs under a small shell script in the pane that keeps the terminal's settings (`stty -g`)
// from before and after the run, and then reads a line the test types, as a shell prompt would.
#include "ScreenReading.h"
#include "support/ChildProcess.h"
#include "support/EventLoop.h"
#include "support/NetnsFixture.h"

#include <QString>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <fstream>
#include <functional>
#include <optional>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

using hosttest::aWeighting;
using hosttest::linesOf;
using hosttest::meterValue;
using hosttest::sineDecibels;
using testsupport::ChildProcess;
using testsupport::NetnsFixture;

namespace {

using namespace std::chrono_literals;

// Each condition on the screen is polled for this long: the demo needs a few seconds to start, settle its
// meters and fill the spectrum's average, more under the sanitizers.
constexpr std::chrono::milliseconds screenDeadline = 30s;
// The meters' figures against the sines' levels: the talker's 16-bit samples and the filters' settling move
// them by hundredths of a dB at most.
constexpr long double levelTolerance = 0.1L;
// The tallest bar's column against the sine's place on the axis: the ticks and the bar both sit in the column
// that holds their frequency, so each may lie up to a column left of the exact place.
constexpr double columnTolerance = 1.5;
constexpr int paneColumns = 160;
constexpr int paneRows = 50;

std::atomic<unsigned> sessionCounter{0};

// The frequency axis as the screen shows it: the columns of its ticks and the frequencies of their labels.
struct Axis {
    std::vector<std::pair<double, double>> ticks;

    // The column of a frequency on a logarithmic line through the outermost labelled ticks.
    double columnOf(double hertz) const {
        const auto& [firstColumn, firstHertz] = ticks.front();
        const auto& [lastColumn, lastHertz] = ticks.back();
        return firstColumn +
               (lastColumn - firstColumn) * std::log(hertz / firstHertz) / std::log(lastHertz / firstHertz);
    }
};

// The frequency of a label such as "500 Hz", "1k Hz" or "20k" that starts `text`.
double labelHertz(const std::string& text) {
    const std::string label = text.substr(0, text.find(' '));
    const bool kilo = label.back() == 'k';
    return std::stod(label) * (kilo ? 1000.0 : 1.0);
}

// The spectrum's plot: its rows from the line below its title to the axis, and the axis's ticks.
struct Plot {
    std::vector<std::string> rows;
    Axis axis;
};

std::optional<Plot> plotOf(const std::string& screen) {
    const std::vector<std::string> lines = linesOf(screen);
    Plot plot;
    std::size_t row = 0;
    while (row < lines.size() && lines[row].rfind("Spectrum of ch", 0) != 0) {
        ++row;
    }
    for (++row; row < lines.size() && lines[row].find('+') == std::string::npos; ++row) {
        plot.rows.push_back(lines[row]);
    }
    if (row + 1 >= lines.size()) {
        return std::nullopt;
    }
    const std::string& ticks = lines[row];
    const std::string& labels = lines[row + 1];
    for (std::size_t column = 0; column < ticks.size() && column < labels.size(); ++column) {
        if (ticks[column] == '+' && labels[column] != ' ') {
            plot.axis.ticks.emplace_back(static_cast<double>(column), labelHertz(labels.substr(column)));
        }
    }
    if (plot.axis.ticks.size() < 2) {
        return std::nullopt;
    }
    return plot;
}

// The middle column of the spectrum's tallest bar; nullopt when the plot holds none.
std::optional<double> tallestBarColumn(const Plot& plot) {
    for (const std::string& row : plot.rows) {
        const std::size_t axisLine = row.find('|');
        const std::size_t first = row.find('#', axisLine == std::string::npos ? 0 : axisLine);
        if (first != std::string::npos) {
            return (static_cast<double>(first) + static_cast<double>(row.rfind('#'))) / 2.0;
        }
    }
    return std::nullopt;
}

class HostLiveViewTest : public ::testing::Test {
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
        const unsigned counter = sessionCounter.fetch_add(1);
        socket = "sonacore-view-" + std::to_string(getpid()) + "-" + std::to_string(counter);
        session = socket;
        writeScript();
        const ChildProcess::Result started =
            tmux({"new-session", "-d", "-s", session, "-x", std::to_string(paneColumns), "-y",
                  std::to_string(paneRows), "sh " + path("run.sh")});
        ASSERT_EQ(started.exitStatus, 0) << started.output;
    }

    void TearDown() override {
        if (!socket.empty()) {
            // Ends the pane's script and with it the monitor, whose Ctrl-C handling removes the namespace.
            tmux({"send-keys", "-t", session, "C-c"});
            testsupport::spinUntil([this] { return finished(); }, screenDeadline);
            tmux({"kill-server"});
        }
    }

    ChildProcess::Result tmux(const std::vector<std::string>& arguments) const {
        std::vector<std::string> command{"tmux", "-L", socket};
        command.insert(command.end(), arguments.begin(), arguments.end());
        return ChildProcess::run(command);
    }

    std::string path(const std::string& name) const { return folder.path().toStdString() + "/" + name; }

    std::string screen() const { return tmux({"capture-pane", "-p", "-t", session}).output; }

    // Polls the screen until `condition` holds of it; on a timeout the whole screen goes into the failure.
    ::testing::AssertionResult screenShows(const std::function<bool(const std::string&)>& condition,
                                           const std::string& what) const {
        std::string last;
        const bool shown = testsupport::spinUntil(
            [&] {
                last = screen();
                return condition(last);
            },
            screenDeadline);
        if (shown) {
            return ::testing::AssertionSuccess();
        }
        return ::testing::AssertionFailure() << "the screen never showed " << what << "; it shows:\n" << last;
    }

    ::testing::AssertionResult meterReads(unsigned channel, const std::string& name,
                                          long double expected) const {
        return screenShows(
            [&](const std::string& text) {
                const std::optional<double> value = meterValue(text, channel, name);
                return value && std::fabs(*value - expected) <= levelTolerance;
            },
            name + " of channel " + std::to_string(channel) + " within 0.1 dB of " +
                std::to_string(static_cast<double>(expected)));
    }

    // Runs are ended while audio is shown, as a person ends them: a run that ends before any audio arrived
    // rightly exits with the status that says so.
    ::testing::AssertionResult metersAreLive() const {
        return screenShows(
            [](const std::string& text) { return meterValue(text, 0, "dBZ SPL f").has_value(); },
            "channel 0's levels");
    }

    ::testing::AssertionResult tallestBarAt(double hertz) const {
        return screenShows(
            [&](const std::string& text) {
                const std::optional<Plot> plot = plotOf(text);
                const std::optional<double> column = plot ? tallestBarColumn(*plot) : std::nullopt;
                return column && std::fabs(*column - plot->axis.columnOf(hertz)) <= columnTolerance;
            },
            "the tallest bar at " + std::to_string(hertz) + " Hz on the axis");
    }

    bool finished() const { return std::ifstream(path("after")).good(); }

    std::string fileText(const std::string& name) const {
        std::ifstream file(path(name));
        std::ostringstream text;
        text << file.rdbuf();
        return text.str();
    }

private:
    void writeScript() {
        std::ofstream script(path("run.sh"));
        // A trap, unlike an ignored signal, lets the script go on after Ctrl-C while the monitor still gets
        // the signal's default handling to replace with its own.
        script << "trap 'true' INT\n"
               << "stty -g > " << path("before") << "\n"
               << SONACORE_HOST_PATH << " --talker " << NetnsFixture::talkerPath() << " --duration 300\n"
               << "echo \"monitor ended with $?\" > " << path("status") << "\n"
               << "stty -g > " << path("after.part") << " && mv " << path("after.part") << " "
               << path("after") << "\n"
               << "printf 'prompt> '\nread line\necho \"typed: $line\"\nsleep 600\n";
    }

    QTemporaryDir folder;
    std::string socket;

protected:
    // Unique to the process and the test, as is the tmux server's socket.
    std::string session;
};

TEST_F(HostLiveViewTest, MetersShowTheFastLevelsOfTheFullScaleSineAt1kHz) {
    EXPECT_TRUE(meterReads(0, "dBZ SPL f", sineDecibels(1.0L)));
    EXPECT_TRUE(meterReads(0, "dBA SPL f", sineDecibels(1.0L) + aWeighting(1000.0L)));
}

TEST_F(HostLiveViewTest, MetersShowTheFastLevelsOfTheHalfScaleSineAt440Hz) {
    EXPECT_TRUE(meterReads(1, "dBZ SPL f", sineDecibels(0.5L)));
    EXPECT_TRUE(meterReads(1, "dBA SPL f", sineDecibels(0.5L) + aWeighting(440.0L)));
}

TEST_F(HostLiveViewTest, TallestSpectrumBarSitsAtTheFirstChannelsFrequency) {
    EXPECT_TRUE(tallestBarAt(1000.0));
}

TEST_F(HostLiveViewTest, TabSwitchesTheSpectrumToTheNextChannel) {
    ASSERT_TRUE(screenShows(
        [](const std::string& text) { return text.find("Spectrum of ch 0:") != std::string::npos; },
        "the spectrum of channel 0"));
    tmux({"send-keys", "-t", session, "Tab"});
    EXPECT_TRUE(screenShows(
        [](const std::string& text) {
            return text.find("Spectrum of ch 1:") != std::string::npos &&
                   std::regex_search(text, std::regex("\n> +1 "));
        },
        "channel 1 selected"));
    EXPECT_TRUE(tallestBarAt(440.0));
}

TEST_F(HostLiveViewTest, DigitSelectsThatChannel) {
    ASSERT_TRUE(screenShows(
        [](const std::string& text) { return text.find("Spectrum of ch 0:") != std::string::npos; },
        "the spectrum of channel 0"));
    tmux({"send-keys", "-t", session, "1"});
    EXPECT_TRUE(screenShows(
        [](const std::string& text) { return text.find("Spectrum of ch 1:") != std::string::npos; },
        "the spectrum of channel 1"));
}

TEST_F(HostLiveViewTest, PlusRaisesTheSelectedChannelsFftOrder) {
    ASSERT_TRUE(screenShows(
        [](const std::string& text) { return text.find("FFT order 14 (16384 points") != std::string::npos; },
        "a spectrum of order 14"));
    tmux({"send-keys", "-t", session, "+"});
    EXPECT_TRUE(screenShows(
        [](const std::string& text) { return text.find("FFT order 15 (32768 points") != std::string::npos; },
        "a spectrum of order 15"));
    EXPECT_TRUE(tallestBarAt(1000.0));
}

TEST_F(HostLiveViewTest, ViewFollowsTheTerminalsNewSize) {
    ASSERT_TRUE(screenShows([](const std::string& text) { return text.find("Keys: ") != std::string::npos; },
                            "the keys"));
    tmux({"resize-window", "-t", session, "-x", "100", "-y", "30"});
    EXPECT_TRUE(screenShows(
        [](const std::string& text) {
            const std::vector<std::string> lines = linesOf(text);
            const std::optional<Plot> plot = plotOf(text);
            // 100 columns hold the long keys line but for its last cell, which the view never writes: the
            // short form stands there.
            return lines.size() <= 30 && !lines.empty() && plot && plot->axis.ticks.back().first < 100 &&
                   text.find("\nKeys: Tab/Left/Right or 0-9 channel, +/- FFT order (10-16), a averaging, q "
                             "quit") != std::string::npos;
        },
        "the view redrawn for 100 x 30"));
    EXPECT_TRUE(tallestBarAt(1000.0));
}

TEST_F(HostLiveViewTest, CtrlCLeavesTheTerminalSaneAndRemovesTheNamespace) {
    std::string namespaceName;
    ASSERT_TRUE(screenShows(
        [&](const std::string& text) {
            std::smatch match;
            if (!std::regex_search(text, match, std::regex(" on scd([0-9]+)h,"))) {
                return false;
            }
            namespaceName = "sonacore-demo-" + match[1].str();
            return true;
        },
        "the demo's capture interface in the title"));
    EXPECT_NE(ChildProcess::run({"ip", "netns", "list"}).output.find(namespaceName), std::string::npos);
    ASSERT_TRUE(metersAreLive());

    tmux({"send-keys", "-t", session, "C-c"});
    ASSERT_TRUE(testsupport::spinUntil([this] { return finished(); }, screenDeadline)) << screen();
    // 128 + SIGINT, as for any program that Ctrl-C ends, after the clean-up.
    EXPECT_EQ(fileText("status"), "monitor ended with 130\n");
    EXPECT_EQ(fileText("after"), fileText("before"));
    // The normal screen again: the lines printed before the view, then the summary of the run.
    EXPECT_TRUE(screenShows(
        [&](const std::string& text) {
            return text.find("Built-in demo: a talker in namespace " + namespaceName) != std::string::npos &&
                   text.find("ch0: ") != std::string::npos && text.find("prompt>") != std::string::npos;
        },
        "the normal screen with the run's summary and the prompt"));
    // What is typed is echoed and read as a line, as the shell needs it.
    tmux({"send-keys", "-t", session, "hello", "Enter"});
    EXPECT_TRUE(screenShows(
        [](const std::string& text) { return text.find("prompt> hello\ntyped: hello") != std::string::npos; },
        "the typed line echoed and read"));
    EXPECT_EQ(ChildProcess::run({"ip", "netns", "list"}).output.find(namespaceName), std::string::npos);
}

TEST_F(HostLiveViewTest, QEndsTheRunAndLeavesTheTerminalSane) {
    ASSERT_TRUE(screenShows([](const std::string& text) { return text.find("Keys: ") != std::string::npos; },
                            "the keys"));
    ASSERT_TRUE(metersAreLive());
    tmux({"send-keys", "-t", session, "q"});
    ASSERT_TRUE(testsupport::spinUntil([this] { return finished(); }, screenDeadline)) << screen();
    EXPECT_EQ(fileText("status"), "monitor ended with 0\n");
    EXPECT_EQ(fileText("after"), fileText("before"));
}

} // namespace
