#pragma once
// A terminal of a given size that tmux provides, for tests of the monitor's live view as a person meets it:
// the screen read back with `tmux capture-pane`, keys pressed with `tmux send-keys`.
#include "support/ChildProcess.h"
#include "support/EventLoop.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <string>
#include <vector>

namespace hosttest {

// One tmux server of its own, on a socket named after the process, `purpose` and a counter, so that tests
// never meet each other's panes; its one session runs a command under sh. The destructor kills the server
// and with it whatever still runs in the pane.
class TmuxPane {
public:
    explicit TmuxPane(const std::string& purpose) {
        static std::atomic<unsigned> counter{0};
        socket = "sonacore-" + purpose + "-" + std::to_string(::getpid()) + "-" + std::to_string(counter++);
    }
    ~TmuxPane() {
        if (started) {
            tmux({"kill-server"});
        }
    }
    TmuxPane(const TmuxPane&) = delete;
    TmuxPane& operator=(const TmuxPane&) = delete;

    // Starts the session, `columns` x `rows`, running `command`. False with tmux's output in `error`.
    bool start(int columns, int rows, const std::string& command, std::string& error) {
        const testsupport::ChildProcess::Result result =
            tmux({"new-session", "-d", "-s", socket, "-x", std::to_string(columns), "-y",
                  std::to_string(rows), command});
        started = result.exitStatus == 0;
        error = result.output;
        return started;
    }

    testsupport::ChildProcess::Result tmux(const std::vector<std::string>& arguments) const {
        std::vector<std::string> command{"tmux", "-L", socket};
        command.insert(command.end(), arguments.begin(), arguments.end());
        return testsupport::ChildProcess::run(command);
    }

    bool isStarted() const { return started; }

    std::string screen() const { return tmux({"capture-pane", "-p", "-t", socket}).output; }

    void press(const std::string& key) const { tmux({"send-keys", "-t", socket, key}); }

    void resize(int columns, int rows) const {
        tmux({"resize-window", "-t", socket, "-x", std::to_string(columns), "-y", std::to_string(rows)});
    }

    // Polls the screen until `condition` holds of it, up to `deadline`; on a timeout the whole screen and
    // what `diagnosis` says go into the failure.
    ::testing::AssertionResult shows(const std::function<bool(const std::string&)>& condition,
                                     const std::string& what, std::chrono::milliseconds deadline,
                                     const std::function<std::string()>& diagnosis = {}) const {
        std::string last;
        const bool shown = testsupport::spinUntil(
            [&] {
                last = screen();
                return condition(last);
            },
            deadline);
        if (shown) {
            return ::testing::AssertionSuccess();
        }
        return ::testing::AssertionFailure() << "the screen never showed " << what << "; it shows:\n"
                                             << last << (diagnosis ? diagnosis() : std::string());
    }

private:
    std::string socket;
    bool started = false;
};

} // namespace hosttest
