#pragma once

#include "AveragingProgress.h"

#include <chrono>
#include <cstddef>
#include <limits>
#include <map>
#include <string>
#include <vector>

namespace host {

// What the live terminal view shows, composed into lines of text: no terminal library here, so that the
// layout is the same on every terminal and can be checked without one.
//
// From the top:
// - the title, over as many lines as the terminal's width asks, then a header with the level names in the
//   order of their index in a delivery;
// - one row per metered channel: the values in dB re full scale with 2 decimals ("-inf" for digital
//   silence, "--" before the first delivery), a bar of the Z-weighted fast level from meterFloor to 0 dB with
//   the peak hold as '|', and the clip mark "CLIP" while any of the seven values stood at or above clipLevel
//   within the last holdTime. The selected channel's row starts with '>';
// - a line that says no audio has arrived, while none has (setNoAudioText), and is blank after;
// - the selected channel's spectrum: bars over a logarithmic frequency axis from lowestFrequency at the
//   plot's left edge to highestFrequency at its right, each column showing the strongest bin whose frequency
//   k * rate / N falls in it (or, where bins are wider than a column, the bin nearest the column's middle),
//   with 10 * log10 of the delivered power on a vertical axis from topDecibels down to bottomDecibels. The
//   axis line below the plot has a '+' at each labelled frequency, and the label starts in the same column.
//   Its title names the order, the bins, the tallest bin and the moving average, "settling" while the
//   average holds fewer spectra than its window;
// - the latest status lines and the keys.
//
// On a smaller terminal the view gives up, in this order, what it can do without:
// - narrower than fullWidth columns: the three slow levels' columns, so that the bar keeps at least
//   minimumBar cells; the legend after the header shortens and then goes; the keys line takes its short
//   form; the spectrum's title takes its short form, and then leaves out the bins' spacing; the title wraps
//   onto more lines;
// - fewer rows: the plot shrinks down to minimumPlotRows, then the blank line above the status lines goes,
//   then the older status line.
// Below minimumColumns, or with fewer rows than minimumRows asks, the screen holds only the sentence that
// the terminal is too small, with the size needed at its width (or at minimumColumns) and the size it has.
//
// Thread affinity: one thread, the host's.
class TerminalScreen {
public:
    using Clock = std::chrono::steady_clock;

    static constexpr double meterFloor = -60.0;
    // A mean square at full scale or above: a full-scale sine reads -3.01 dB and never clips.
    static constexpr double clipLevel = 0.0;
    static constexpr std::chrono::milliseconds holdTime{2000};
    static constexpr double lowestFrequency = 20.0;
    static constexpr double highestFrequency = 24000.0;
    static constexpr double topDecibels = 10.0;
    static constexpr double bottomDecibels = -150.0;
    // Columns before the plot: the dB labels and the axis.
    static constexpr int plotLeft = 8;
    // Width of one level value and of its name.
    static constexpr int valueWidth = 10;
    // The fewest cells of a meter's bar, and the columns that show all seven values beside a bar that wide.
    static constexpr int minimumBar = 10;
    static constexpr int fullWidth = 4 + 7 * valueWidth + 9 + minimumBar;
    // Below these the view shows only the sentence that the terminal is too small.
    static constexpr int minimumColumns = 80;
    static constexpr int minimumPlotRows = 3;

    // How the selected channel's spectrum processor is set, for the spectrum's title.
    struct SpectrumSettings {
        std::size_t order = 14;
        bool averaging = true;
    };

    TerminalScreen(std::vector<unsigned> channels, double sampleRate, std::string title);

    // A sound level delivery's seven values; ignored for a channel not metered.
    void updateLevels(unsigned channel, const std::vector<double>& levels, Clock::time_point now);
    // A delivered power spectrum; kept for the selected channel only.
    void updateSpectrum(unsigned channel, const std::vector<double>& power);
    // The latest library message; the two latest are shown.
    void addStatus(const std::string& text);
    // The line shown while no channel has had a level, such as "No audio has arrived from ... yet."; empty
    // for none.
    void setNoAudioText(std::string text) { noAudioText = std::move(text); }
    // How far the selected channel's moving average has filled, for the spectrum's title.
    void setAveragingProgress(const AveragingProgress& progress) { averaging = progress; }

    // Moves the selection to the next or previous metered channel, wrapping around.
    void selectNext();
    void selectPrevious();
    // Selects channel `channel` if it is metered; false otherwise.
    bool select(unsigned channel);
    unsigned selectedChannel() const { return channelList[selected]; }
    void setSpectrumSettings(const SpectrumSettings& settings) { spectrumSettings = settings; }
    // The FFT orders the keys offer, for the line that lists the keys.
    void setOrderRange(std::size_t lowest, std::size_t highest) {
        lowestOrder = lowest;
        highestOrder = highest;
    }

    // The screen as `rows` lines of `columns` characters each.
    std::vector<std::string> compose(int rows, int columns, Clock::time_point now) const;
    // The rows the view needs at a width of `columns`, or of minimumColumns on a narrower terminal.
    int minimumRows(int columns) const;

    // The plot column that holds `hertz` in a plot `width` columns wide; may lie outside 0 .. width - 1.
    static int columnOf(double hertz, int width);
    // The frequency in the middle of plot column `column`.
    static double columnFrequency(int column, int width);
    // Per plot column, the level in dB of its strongest bin; negative infinity for a column without power.
    static std::vector<double> columnLevels(const std::vector<double>& power, double sampleRate, int width);

private:
    struct Meter {
        std::vector<double> levels;
        double peakHold = -std::numeric_limits<double>::infinity();
        Clock::time_point peakTime;
        Clock::time_point clipTime;
        bool clipped = false;
    };

    // Which parts the view shows on a terminal of a given size.
    struct Layout {
        bool fits = false;
        bool allLevels = true;
        int plotRows = 0;
        bool gapAboveStatus = true;
        int statusRows = 0;
    };

    Layout arrange(int rows, int columns) const;
    std::vector<std::string> tooSmall(int rows, int columns) const;
    std::string headerLine(bool allLevels, int columns) const;
    std::string meterLine(unsigned channel, const Meter* meter, bool allLevels, int columns,
                          Clock::time_point now) const;
    std::string spectrumTitle(int columns) const;
    std::string averagingText(bool brief) const;
    std::string keysLine(int columns) const;
    void addPlot(std::vector<std::string>& lines, int plotRows, int columns) const;
    static void addAxis(std::vector<std::string>& lines, int width);

    std::vector<unsigned> channelList;
    double sampleRate;
    std::string title;
    std::map<unsigned, Meter> meters;
    std::size_t selected = 0;
    std::vector<double> power;
    SpectrumSettings spectrumSettings;
    std::vector<std::string> statusLines;
    std::string noAudioText;
    AveragingProgress averaging;
    std::size_t lowestOrder = 10;
    std::size_t highestOrder = 16;
};

} // namespace host
