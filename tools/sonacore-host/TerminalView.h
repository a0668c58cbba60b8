#pragma once

#include "TerminalScreen.h"

#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

// ncurses' terminal, as its header declares it.
struct screen;

namespace host {

// The live view of the monitor on a terminal: the TerminalScreen drawn in place with ncurses, and the keys
// that steer it.
//
// ncurses because it is on every Debian system (libncurses-dev at build time, libncurses6 at run time, both
// in the base of most installations), it knows each terminal through terminfo instead of assuming escape
// codes, it reports a resized terminal as the key KEY_RESIZE, and endwin gives the terminal back exactly as
// it was found: modes, cursor and the screen's former contents.
//
// Keys: Tab or Right selects the next metered channel, Left the previous one, a digit the channel of that
// number; + and - raise and lower the selected channel's FFT order within lowestOrder .. highestOrder, or
// less where the buffer holds no longer frame (a buffer of 48000 samples holds order 15 at most); a
// switches its moving average on or off; q ends the run. The view asks its owner to apply the order and
// the averaging through `Controls`, since only the owner knows the library's configurations.
//
// Thread affinity: the host's thread, from open to close. Only post() may be called from any thread: the
// library's log lines come from its worker and capture threads, and while the view owns the terminal they
// must not be written to standard error.
class TerminalView {
public:
    static constexpr std::size_t lowestOrder = 10;
    static constexpr std::size_t highestOrder = 16;

    struct Controls {
        std::function<void(unsigned channel, std::size_t order)> setFftOrder;
        std::function<void(unsigned channel, bool averaging)> setAveraging;
        std::function<void()> quit;
        // How far a channel's moving average has filled, asked at each redraw for the selected channel.
        std::function<AveragingProgress(unsigned channel)> averagingProgress;
    };

    // `largestOrder` caps highestOrder for a buffer that cannot hold a longer frame.
    TerminalView(std::vector<unsigned> channels, double sampleRate, std::string title,
                 TerminalScreen::SpectrumSettings initial, std::size_t largestOrder, Controls controls);
    // Gives the terminal back if close() was not called, also when an exception unwinds.
    ~TerminalView();
    TerminalView(const TerminalView&) = delete;
    TerminalView& operator=(const TerminalView&) = delete;

    // True when standard output and input are terminals, so that the view can be used.
    static bool available();
    // Takes the terminal over; false, with nothing changed, when ncurses does not know the terminal.
    bool open();
    // Gives the terminal back; does nothing when the view is not open.
    void close();
    bool isOpen() const { return terminal != nullptr; }

    // The line shown while no level has arrived; see TerminalScreen::setNoAudioText.
    void setNoAudioText(std::string text) { screen.setNoAudioText(std::move(text)); }
    void updateLevels(unsigned channel, const std::vector<double>& levels);
    void updateSpectrum(unsigned channel, const std::vector<double>& power);
    // A status line for the screen, from any thread. While no view owns the terminal, `elsewhere` goes to
    // standard error instead, whole and in one write. The choice and the write are made under the lock that
    // open and close take, so that no line can start before the view opens and end inside it: its newline
    // would scroll the view out of step with what ncurses believes is on the screen.
    static void post(const std::string& text, const std::string& elsewhere);

    // Reads the keys pressed since the last call, applies them and redraws. Called from a timer.
    void tick();

private:
    void handleKey(int key);
    void changeOrder(int direction);
    void toggleAveraging();
    void selectionChanged();
    void draw();

    TerminalScreen screen;
    std::map<unsigned, TerminalScreen::SpectrumSettings> settings;
    std::size_t largestOrder;
    Controls controls;
    struct screen* terminal = nullptr;
};

} // namespace host
