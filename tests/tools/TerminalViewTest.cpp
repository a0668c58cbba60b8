// The live view on a terminal of its own: a pseudo-terminal stands in for the user's, and the bytes written
// to it are read back. The view shares the terminal with the library's warnings, which other threads post
// while it opens and closes; no such line may reach the terminal while ncurses owns it, since its newline
// scrolls the screen out of step with what ncurses believes is shown there.
#include "TerminalView.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <QTemporaryFile>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

using host::TerminalScreen;
using host::TerminalView;

namespace {

using namespace std::chrono_literals;

// ncurses enters and leaves the alternate screen with these on an xterm.
const std::string enterView = "\x1b[?1049h";
const std::string leaveView = "\x1b[?1049l";
constexpr int viewOpenings = 100;
constexpr int postingThreads = 3;

// A pseudo-terminal whose output a thread collects until the last descriptor of its terminal side closes.
class PseudoTerminal {
public:
    PseudoTerminal() {
        controller = posix_openpt(O_RDWR | O_NOCTTY);
        if (controller < 0 || grantpt(controller) != 0 || unlockpt(controller) != 0) {
            return;
        }
        terminal = open(ptsname(controller), O_RDWR | O_NOCTTY);
        winsize size{};
        size.ws_row = 30;
        size.ws_col = 100;
        ioctl(terminal, TIOCSWINSZ, &size);
        reader = std::thread([this] { collect(); });
    }

    ~PseudoTerminal() {
        closeTerminal();
        if (reader.joinable()) {
            reader.join();
        }
        if (controller >= 0) {
            close(controller);
        }
    }

    bool valid() const { return terminal >= 0; }
    int terminalDescriptor() const { return terminal; }

    // Everything written to the terminal, once every descriptor of it is closed.
    std::string finishedOutput() {
        closeTerminal();
        if (reader.joinable()) {
            reader.join();
        }
        return output;
    }

private:
    void collect() {
        char chunk[4096];
        for (;;) {
            const ssize_t got = read(controller, chunk, sizeof chunk);
            if (got <= 0) {
                return;
            }
            output.append(chunk, static_cast<std::size_t>(got));
        }
    }

    void closeTerminal() {
        if (terminal >= 0) {
            close(terminal);
            terminal = -1;
        }
    }

    int controller = -1;
    int terminal = -1;
    std::thread reader;
    std::string output;
};

// Standard input, output and error on another descriptor for as long as it lives, with TERM naming a
// terminal that every Debian system describes.
class StandardStreamsOn {
public:
    StandardStreamsOn(int descriptor, std::vector<int> streams) : streams(std::move(streams)) {
        std::fflush(stdout);
        std::fflush(stderr);
        for (const int stream : this->streams) {
            saved.push_back(dup(stream));
            dup2(descriptor, stream);
        }
        if (const char* term = std::getenv("TERM")) {
            savedTerm = term;
        }
        setenv("TERM", "xterm", 1);
    }

    ~StandardStreamsOn() {
        std::fflush(stdout);
        std::fflush(stderr);
        for (std::size_t index = 0; index < streams.size(); ++index) {
            dup2(saved[index], streams[index]);
            close(saved[index]);
        }
        if (savedTerm) {
            setenv("TERM", savedTerm->c_str(), 1);
        } else {
            unsetenv("TERM");
        }
    }

    StandardStreamsOn(const StandardStreamsOn&) = delete;
    StandardStreamsOn& operator=(const StandardStreamsOn&) = delete;

private:
    std::vector<int> streams;
    std::vector<int> saved;
    std::optional<std::string> savedTerm;
};

TerminalView makeView() {
    return TerminalView({0, 1}, 48000.0, "view under test", TerminalScreen::SpectrumSettings{}, 14, {});
}

std::size_t occurrences(const std::string& text, const std::string& part) {
    std::size_t count = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++count;
    }
    return count;
}

// The number of times `line` was written while the view owned the terminal: after ncurses entered its
// screen and before it left it.
std::size_t occurrencesInsideTheView(const std::string& output, const std::string& line) {
    std::size_t inside = 0;
    for (std::size_t at = output.find(line); at != std::string::npos; at = output.find(line, at + 1)) {
        const std::size_t entered = output.rfind(enterView, at);
        const std::size_t left = output.rfind(leaveView, at);
        if (entered != std::string::npos && (left == std::string::npos || left < entered)) {
            ++inside;
        }
    }
    return inside;
}

} // namespace

TEST(TerminalViewTest, PostWritesTheOtherLineWholeToStandardErrorWhileNoViewIsOpen) {
    QTemporaryFile file;
    ASSERT_TRUE(file.open());
    {
        const StandardStreamsOn redirected(file.handle(), {STDERR_FILENO});
        TerminalView::post("for the status line", "sonacore: for standard error");
    }
    std::ifstream written(file.fileName().toStdString());
    std::stringstream text;
    text << written.rdbuf();
    EXPECT_EQ(text.str(), "sonacore: for standard error\n");
}

TEST(TerminalViewTest, LinesPostedFromOtherThreadsNeverReachTheTerminalWhileTheViewOwnsIt) {
    PseudoTerminal pseudoTerminal;
    ASSERT_TRUE(pseudoTerminal.valid());
    const std::string stray = "sonacore: a warning from another thread";
    {
        const StandardStreamsOn redirected(pseudoTerminal.terminalDescriptor(),
                                           {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO});
        std::atomic<bool> posting{true};
        std::vector<std::thread> threads;
        for (int index = 0; index < postingThreads; ++index) {
            threads.emplace_back([&] {
                while (posting) {
                    TerminalView::post("a warning from another thread", stray);
                    std::this_thread::sleep_for(20us);
                }
            });
        }
        TerminalView view = makeView();
        for (int opening = 0; opening < viewOpenings; ++opening) {
            if (!view.open()) {
                break;
            }
            view.tick();
            view.close();
            std::this_thread::sleep_for(2ms);
        }
        posting = false;
        for (std::thread& thread : threads) {
            thread.join();
        }
    }
    const std::string output = pseudoTerminal.finishedOutput();
    ASSERT_EQ(occurrences(output, enterView), static_cast<std::size_t>(viewOpenings))
        << "ncurses did not open the view on the pseudo-terminal each time";
    EXPECT_GT(occurrences(output, stray), 0U) << "no line reached standard error between the openings";
    EXPECT_EQ(occurrencesInsideTheView(output, stray), 0U);
    EXPECT_NE(output.find("Status: a warning from another thread"), std::string::npos)
        << "the view's status line never showed a posted line";
}
