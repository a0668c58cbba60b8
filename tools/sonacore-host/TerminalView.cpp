#include "TerminalView.h"

#include <curses.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <mutex>
#include <utility>

namespace host {
namespace {

constexpr int tabKey = '\t';

// The lines posted from the library's threads, waiting for the next redraw. Lives as long as the program, so
// that a late line from a thread that outlives the view finds it still there.
struct Inbox {
    std::mutex mutex;
    std::vector<std::string> lines;
    // Guarded by the mutex: whether the view owns the terminal.
    bool open = false;
};

Inbox& inbox() {
    static Inbox* const instance = new Inbox();
    return *instance;
}

// Waits for a line being written to standard error to end, then moves the lines still to come to the view
// or back to standard error.
void setViewOwnsTerminal(bool owns) {
    const std::lock_guard<std::mutex> lock(inbox().mutex);
    inbox().open = owns;
}

} // namespace

TerminalView::TerminalView(std::vector<unsigned> channels, double sampleRate, std::string title,
                           TerminalScreen::SpectrumSettings initial, std::size_t largestOrder,
                           Controls controls)
    : screen(channels, sampleRate, std::move(title)),
      largestOrder(std::clamp(largestOrder, lowestOrder, highestOrder)), controls(std::move(controls)) {
    for (const unsigned channel : channels) {
        settings[channel] = initial;
    }
    screen.setSpectrumSettings(initial);
    screen.setOrderRange(lowestOrder, this->largestOrder);
}

TerminalView::~TerminalView() {
    close();
}

bool TerminalView::available() {
    return isatty(STDOUT_FILENO) == 1 && isatty(STDIN_FILENO) == 1;
}

bool TerminalView::open() {
    if (terminal != nullptr) {
        return true;
    }
    // Lines from other threads wait in the inbox before ncurses takes the terminal.
    setViewOwnsTerminal(true);
    // newterm, unlike initscr, returns null for a terminal it does not know instead of ending the program.
    terminal = newterm(nullptr, stdout, stdin);
    if (terminal == nullptr) {
        setViewOwnsTerminal(false);
        return false;
    }
    // cbreak keeps Ctrl-C a signal, which the program turns into the end of the run.
    cbreak();
    noecho();
    keypad(stdscr, TRUE);
    nodelay(stdscr, TRUE);
    set_escdelay(25);
    curs_set(0);
    draw();
    return true;
}

void TerminalView::close() {
    if (terminal == nullptr) {
        return;
    }
    // The terminal is given back before standard error is written to again.
    endwin();
    delscreen(terminal);
    terminal = nullptr;
    setViewOwnsTerminal(false);
}

void TerminalView::updateLevels(unsigned channel, const std::vector<double>& levels) {
    screen.updateLevels(channel, levels, TerminalScreen::Clock::now());
}

void TerminalView::updateSpectrum(unsigned channel, const std::vector<double>& power) {
    screen.updateSpectrum(channel, power);
}

void TerminalView::post(const std::string& text, const std::string& elsewhere) {
    Inbox& box = inbox();
    const std::lock_guard<std::mutex> lock(box.mutex);
    if (box.open) {
        box.lines.push_back(text);
        return;
    }
    const std::string line = elsewhere + "\n";
    std::fwrite(line.data(), 1, line.size(), stderr);
}

void TerminalView::tick() {
    if (terminal == nullptr) {
        return;
    }
    for (int key = getch(); key != ERR; key = getch()) {
        handleKey(key);
    }
    std::vector<std::string> posted;
    {
        const std::lock_guard<std::mutex> lock(inbox().mutex);
        posted.swap(inbox().lines);
    }
    for (const std::string& line : posted) {
        screen.addStatus(line);
    }
    draw();
}

void TerminalView::handleKey(int key) {
    if (key == 'q' || key == 'Q') {
        if (controls.quit) {
            controls.quit();
        }
    } else if (key == tabKey || key == KEY_RIGHT) {
        screen.selectNext();
        selectionChanged();
    } else if (key == KEY_LEFT || key == KEY_BTAB) {
        screen.selectPrevious();
        selectionChanged();
    } else if (key >= '0' && key <= '9') {
        if (screen.select(static_cast<unsigned>(key - '0'))) {
            selectionChanged();
        }
    } else if (key == '+' || key == '=' || key == KEY_UP) {
        changeOrder(1);
    } else if (key == '-' || key == KEY_DOWN) {
        changeOrder(-1);
    } else if (key == 'a' || key == 'A') {
        toggleAveraging();
    }
    // KEY_RESIZE needs nothing more: ncurses has taken the new size, and the redraw follows.
}

void TerminalView::changeOrder(int direction) {
    TerminalScreen::SpectrumSettings& selected = settings[screen.selectedChannel()];
    const std::size_t order = direction > 0 ? std::min(selected.order + 1, largestOrder)
                                            : std::max(selected.order - 1, lowestOrder);
    if (order == selected.order) {
        return;
    }
    selected.order = order;
    screen.setSpectrumSettings(selected);
    if (controls.setFftOrder) {
        controls.setFftOrder(screen.selectedChannel(), order);
    }
}

void TerminalView::toggleAveraging() {
    TerminalScreen::SpectrumSettings& selected = settings[screen.selectedChannel()];
    selected.averaging = !selected.averaging;
    screen.setSpectrumSettings(selected);
    if (controls.setAveraging) {
        controls.setAveraging(screen.selectedChannel(), selected.averaging);
    }
}

void TerminalView::selectionChanged() {
    screen.setSpectrumSettings(settings[screen.selectedChannel()]);
}

void TerminalView::draw() {
    int rows = 0;
    int columns = 0;
    getmaxyx(stdscr, rows, columns);
    if (controls.averagingProgress) {
        screen.setAveragingProgress(controls.averagingProgress(screen.selectedChannel()));
    }
    const std::vector<std::string> lines = screen.compose(rows, columns, TerminalScreen::Clock::now());
    erase();
    for (std::size_t row = 0; row < lines.size(); ++row) {
        // The last cell of the screen is left alone: writing it would scroll some terminals.
        const int length = row + 1 == lines.size() ? columns - 1 : columns;
        mvaddnstr(static_cast<int>(row), 0, lines[row].c_str(), length);
    }
    // The cursor rests at the top left, where a stray newline from outside the view could not scroll it.
    move(0, 0);
    refresh();
}

} // namespace host
