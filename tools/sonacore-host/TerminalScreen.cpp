#include "TerminalScreen.h"

#include "SpectrumPeak.h"

#include "sonacore/ISoundLevelValueConfig.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <utility>

namespace host {
namespace {

constexpr int statusRows = 2;

// The level kinds shown in the order of their index in a delivery, which is not the order of their names:
// all seven, or without the three slow ones.
std::vector<const sonacore::iprocess::SoundLevelValueType*> levelKinds(bool allLevels) {
    using namespace sonacore::iprocess;
    std::vector<const SoundLevelValueType*> kinds;
    for (const auto& entry : soundLevelValueTypes) {
        const auto identifier = entry.second.identifier;
        if (allLevels || (identifier != dbaSplSlow.identifier && identifier != dbcSplSlow.identifier &&
                          identifier != dbzSplSlow.identifier)) {
            kinds.push_back(&entry.second);
        }
    }
    std::sort(kinds.begin(), kinds.end(),
              [](const auto* left, const auto* right) { return left->identifier < right->identifier; });
    return kinds;
}

std::string format(const char* pattern, double value) {
    char text[64];
    std::snprintf(text, sizeof text, pattern, value);
    return text;
}

std::string rightAligned(const std::string& text, int width) {
    const auto size = static_cast<int>(text.size());
    return size >= width ? text : std::string(static_cast<std::size_t>(width - size), ' ') + text;
}

// A level with 2 decimals; "-inf" for digital silence, as the library delivers it.
std::string levelText(double value) {
    if (std::isinf(value) && value < 0.0) {
        return "-inf";
    }
    return format("%.2f", value);
}

// The cells of a meter bar up to `decibels`, rounded down so that two levels within one cell never cross.
int barCells(double decibels, int width) {
    if (!std::isfinite(decibels)) {
        return decibels > 0.0 ? width : 0;
    }
    const double fraction =
        std::clamp((decibels - TerminalScreen::meterFloor) / -TerminalScreen::meterFloor, 0.0, 1.0);
    return static_cast<int>(std::floor(fraction * width));
}

std::string fitted(std::string line, int columns) {
    line.resize(static_cast<std::size_t>(std::max(columns, 0)), ' ');
    return line;
}

// `rows` lines of `columns` characters: cut or filled with blanks.
std::vector<std::string> framed(std::vector<std::string> lines, int rows, int columns) {
    lines.resize(static_cast<std::size_t>(std::max(rows, 0)));
    for (std::string& line : lines) {
        line = fitted(std::move(line), columns);
    }
    return lines;
}

// The words of a text, each with the blank that follows it dropped.
std::vector<std::string> wordsOf(const std::string& text) {
    std::vector<std::string> words;
    std::size_t begin = 0;
    while (begin <= text.size()) {
        std::size_t end = text.find(' ', begin);
        end = end == std::string::npos ? text.size() : end;
        words.push_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
    return words;
}

// The phrases of a text: runs of words that end in a comma, semicolon, colon or full stop.
std::vector<std::string> phrasesOf(const std::string& text) {
    std::vector<std::string> phrases{std::string()};
    for (const std::string& word : wordsOf(text)) {
        phrases.back() += (phrases.back().empty() ? "" : " ") + word;
        if (!word.empty() && std::string(",;:.").find(word.back()) != std::string::npos) {
            phrases.emplace_back();
        }
    }
    if (phrases.back().empty()) {
        phrases.pop_back();
    }
    return phrases;
}

// A text broken into lines of at most `width` characters between its phrases, and between the words of a
// phrase too long for a line; a word longer than a line is cut. The lines after the first start with
// `indent` blanks.
std::vector<std::string> wrapped(const std::string& text, int width, std::size_t indent) {
    const auto limit = static_cast<std::size_t>(std::max(width, 1));
    const std::string margin(std::min(indent, limit - 1), ' ');
    std::vector<std::string> lines{std::string()};
    // Whether the last line holds no text yet.
    bool fresh = true;
    const auto fits = [&](const std::string& piece) {
        return fresh || lines.back().size() + 1 + piece.size() <= limit;
    };
    const auto put = [&](const std::string& piece) {
        lines.back() = (fresh ? lines.back() + piece : lines.back() + " " + piece).substr(0, limit);
        fresh = false;
    };
    const auto newLine = [&] {
        lines.push_back(margin);
        fresh = true;
    };
    for (const std::string& phrase : phrasesOf(text)) {
        if (!fits(phrase) && margin.size() + phrase.size() <= limit) {
            newLine();
        } else if (!fits(phrase)) {
            for (const std::string& word : wordsOf(phrase)) {
                if (!fits(word)) {
                    newLine();
                }
                put(word);
            }
            continue;
        }
        put(phrase);
    }
    return lines;
}

// Lines of the title that wrap keep it apart from the header below by their indent.
constexpr std::size_t titleIndent = 2;

// The labelled frequencies of the axis, with their labels.
const std::vector<std::pair<double, const char*>>& axisTicks() {
    static const std::vector<std::pair<double, const char*>> ticks{
        {20.0, "20"},   {50.0, "50"},   {100.0, "100"}, {200.0, "200"},   {500.0, "500"},
        {1000.0, "1k"}, {2000.0, "2k"}, {5000.0, "5k"}, {10000.0, "10k"}, {20000.0, "20k"}};
    return ticks;
}

} // namespace

TerminalScreen::TerminalScreen(std::vector<unsigned> channels, double sampleRate, std::string title)
    : channelList(std::move(channels)), sampleRate(sampleRate), title(std::move(title)) {
    if (channelList.empty()) {
        channelList.push_back(0);
    }
}

void TerminalScreen::updateLevels(unsigned channel, const std::vector<double>& levels,
                                  Clock::time_point now) {
    if (std::find(channelList.begin(), channelList.end(), channel) == channelList.end() ||
        levels.size() < sonacore::iprocess::soundLevelValueTypes.size()) {
        return;
    }
    Meter& meter = meters[channel];
    meter.levels = levels;
    const double level = levels[sonacore::iprocess::dbzSplFast.identifier];
    if (level >= meter.peakHold || now - meter.peakTime > holdTime) {
        meter.peakHold = level;
        meter.peakTime = now;
    }
    if (std::any_of(levels.begin(), levels.end(), [](double value) { return value >= clipLevel; })) {
        meter.clipped = true;
        meter.clipTime = now;
    }
}

void TerminalScreen::updateSpectrum(unsigned channel, const std::vector<double>& delivered) {
    if (channel == selectedChannel()) {
        power = delivered;
    }
}

void TerminalScreen::addStatus(const std::string& text) {
    statusLines.push_back(text);
    if (statusLines.size() > static_cast<std::size_t>(statusRows)) {
        statusLines.erase(statusLines.begin());
    }
}

void TerminalScreen::selectNext() {
    selected = (selected + 1) % channelList.size();
    power.clear();
}

void TerminalScreen::selectPrevious() {
    selected = (selected + channelList.size() - 1) % channelList.size();
    power.clear();
}

bool TerminalScreen::select(unsigned channel) {
    const auto found = std::find(channelList.begin(), channelList.end(), channel);
    if (found == channelList.end()) {
        return false;
    }
    if (static_cast<std::size_t>(found - channelList.begin()) != selected) {
        selected = static_cast<std::size_t>(found - channelList.begin());
        power.clear();
    }
    return true;
}

std::vector<std::string> TerminalScreen::compose(int rows, int columns, Clock::time_point now) const {
    const Layout layout = arrange(rows, columns);
    if (!layout.fits) {
        return framed(tooSmall(rows, columns), rows, columns);
    }
    std::vector<std::string> lines = wrapped(title, columns, titleIndent);
    lines.push_back(headerLine(layout.allLevels, columns));
    for (const unsigned channel : channelList) {
        const auto found = meters.find(channel);
        lines.push_back(meterLine(channel, found != meters.end() ? &found->second : nullptr, layout.allLevels,
                                  columns, now));
    }
    lines.push_back(meters.empty() ? noAudioText : std::string());
    lines.push_back(spectrumTitle(columns));
    addPlot(lines, layout.plotRows, columns);
    addAxis(lines, columns - plotLeft);
    if (layout.gapAboveStatus) {
        lines.emplace_back();
    }
    // The latest status lines, the newest last.
    const auto shown = static_cast<std::size_t>(layout.statusRows);
    const std::size_t skipped = statusLines.size() > shown ? statusLines.size() - shown : 0;
    for (std::size_t row = 0; row < shown; ++row) {
        const std::size_t index = skipped + row;
        lines.push_back(index < statusLines.size() ? "Status: " + statusLines[index] : std::string());
    }
    lines.push_back(keysLine(columns));
    return framed(std::move(lines), rows, columns);
}

TerminalScreen::Layout TerminalScreen::arrange(int rows, int columns) const {
    Layout layout;
    layout.allLevels = columns >= fullWidth;
    layout.statusRows = statusRows;
    // The title, the header, the meters, the line for no audio, the spectrum's title, the axis and its
    // labels, and the keys.
    const int fixed = static_cast<int>(wrapped(title, columns, titleIndent).size() + channelList.size()) + 6;
    layout.plotRows = rows - fixed - layout.statusRows - 1;
    if (layout.plotRows < minimumPlotRows) {
        layout.gapAboveStatus = false;
        ++layout.plotRows;
    }
    if (layout.plotRows < minimumPlotRows) {
        layout.statusRows = 1;
        ++layout.plotRows;
    }
    layout.fits = columns >= minimumColumns && layout.plotRows >= minimumPlotRows;
    return layout;
}

int TerminalScreen::minimumRows(int columns) const {
    const int width = std::max(columns, minimumColumns);
    return static_cast<int>(wrapped(title, width, titleIndent).size() + channelList.size()) + 6 + 1 +
           minimumPlotRows;
}

std::vector<std::string> TerminalScreen::tooSmall(int rows, int columns) const {
    // The size asked for keeps the terminal's width where that is wide enough, since the title's lines, and
    // so the rows needed, depend on it.
    const int width = std::max(columns, minimumColumns);
    const std::string sentence = "Terminal too small: the monitor needs at least " + std::to_string(width) +
                                 "x" + std::to_string(minimumRows(width)) + " characters, this one has " +
                                 std::to_string(columns) + "x" + std::to_string(rows) +
                                 ". Enlarge it, or press q to end the run.";
    return wrapped(sentence, columns, 0);
}

std::string TerminalScreen::headerLine(bool allLevels, int columns) const {
    std::string line = "  ch";
    for (const auto* kind : levelKinds(allLevels)) {
        line += rightAligned(kind->shortLabel, valueWidth);
    }
    const std::string floor = format("%.0f", meterFloor);
    for (const std::string& legend :
         {"   dBZ SPL f from " + floor + " to 0 dB, '|' peak hold", "   dBZ SPL f, " + floor + " to 0 dB"}) {
        if (line.size() + legend.size() <= static_cast<std::size_t>(columns)) {
            return line + legend;
        }
    }
    return line;
}

std::string TerminalScreen::meterLine(unsigned channel, const Meter* meter, bool allLevels, int columns,
                                      Clock::time_point now) const {
    char name[16];
    std::snprintf(name, sizeof name, "%c%3u", channel == selectedChannel() ? '>' : ' ', channel);
    std::string line = name;
    for (const auto* kind : levelKinds(allLevels)) {
        line +=
            rightAligned(meter != nullptr ? levelText(meter->levels[kind->identifier]) : "--", valueWidth);
    }
    // The bar takes what the values leave, less the brackets and the clip mark.
    const int width = columns - static_cast<int>(line.size()) - 3 - 1 - 5;
    if (width < 5) {
        return line;
    }
    std::string bar(static_cast<std::size_t>(width), ' ');
    if (meter != nullptr) {
        const int filled = barCells(meter->levels[sonacore::iprocess::dbzSplFast.identifier], width);
        std::fill(bar.begin(), bar.begin() + filled, '#');
        const int peak = barCells(meter->peakHold, width);
        if (peak > 0) {
            bar[static_cast<std::size_t>(peak - 1)] = '|';
        }
    }
    const bool clipped = meter != nullptr && meter->clipped && now - meter->clipTime <= holdTime;
    return line + "  [" + bar + "]" + (clipped ? " CLIP" : "");
}

// The long form, as wide terminals show it; else the short one, without the bins' spacing where even that
// does not fit.
std::string TerminalScreen::spectrumTitle(int columns) const {
    const std::string head = "Spectrum of ch " + std::to_string(selectedChannel()) + ": ";
    const std::string asked = std::to_string(spectrumSettings.order);
    if (power.empty()) {
        // Nothing is averaged yet, so the average is only on or off.
        return head + "waiting for a spectrum of order " + asked +
               (spectrumSettings.averaging ? ", moving average on" : ", moving average off");
    }
    const double points = 2.0 * static_cast<double>(power.size());
    const std::string order = format("%.0f", std::log2(points));
    const std::string spacing = format("%.2f", sampleRate / points);
    const double tallest = peakFrequency(power, sampleRate);
    // A new order takes effect with the processor's next spectrum.
    const bool pending = order != asked;
    std::string line =
        head + "FFT order " + order + " (" + format("%.0f", points) + " points, bins " + spacing +
        " Hz apart)" +
        (std::isnan(tallest) ? ", no power" : ", tallest bin " + format("%.2f", tallest) + " Hz") +
        (pending ? ", order " + asked + " asked" : "") + ", " + averagingText(false);
    if (line.size() <= static_cast<std::size_t>(columns)) {
        return line;
    }
    const std::string shortOrder = head + "order " + order + (pending ? " (" + asked + " asked)" : "");
    const std::string rest =
        std::string(std::isnan(tallest) ? "no power" : "peak " + format("%.2f", tallest) + " Hz") + ", " +
        averagingText(true);
    line = shortOrder + ", bins " + spacing + " Hz, " + rest;
    return line.size() <= static_cast<std::size_t>(columns) ? line : shortOrder + ", " + rest;
}

std::string TerminalScreen::averagingText(bool brief) const {
    const std::string name = brief ? "average " : "moving average ";
    if (!spectrumSettings.averaging) {
        return name + "off";
    }
    if (!averaging.settling()) {
        return name + "on";
    }
    const std::string averaged = std::to_string(averaging.averaged);
    const std::string window = std::to_string(averaging.window);
    return name + (brief ? "settling " + averaged + "/" + window
                         : "settling (" + averaged + " of " + window + " spectra)");
}

// The keys line is the screen's last, whose last cell is never written: the short form keeps within it.
std::string TerminalScreen::keysLine(int columns) const {
    const std::string orders = "(" + std::to_string(lowestOrder) + "-" + std::to_string(highestOrder) + ")";
    const std::string full = "Keys: Tab/Right next channel, Left previous, 0-9 channel, +/- FFT order " +
                             orders + ", a averaging, q quit";
    if (full.size() < static_cast<std::size_t>(columns)) {
        return full;
    }
    return "Keys: Tab/Left/Right or 0-9 channel, +/- FFT order " + orders + ", a averaging, q quit";
}

void TerminalScreen::addPlot(std::vector<std::string>& lines, int plotRows, int columns) const {
    const int width = std::max(columns - plotLeft, 1);
    const std::vector<double> levels = columnLevels(power, sampleRate, width);
    const double step = (topDecibels - bottomDecibels) / plotRows;
    for (int row = 0; row < plotRows; ++row) {
        // Each multiple of 20 dB labels the row whose middle lies nearest to it.
        const double middle = topDecibels - (row + 0.5) * step;
        // Adding 0 turns the label of -0 dB into 0 dB.
        const double labelled = 20.0 * std::round(middle / 20.0) + 0.0;
        std::string line = std::fabs(middle - labelled) <= step / 2.0 ? format("%4.0f dB", labelled)
                                                                      : std::string(plotLeft - 1, ' ');
        line += '|';
        for (int column = 0; column < width; ++column) {
            const double level = levels[static_cast<std::size_t>(column)];
            const double cells =
                std::isfinite(level)
                    ? std::round((level - bottomDecibels) / (topDecibels - bottomDecibels) * plotRows)
                    : 0.0;
            line += cells >= plotRows - row ? '#' : ' ';
        }
        lines.push_back(std::move(line));
    }
}

void TerminalScreen::addAxis(std::vector<std::string>& lines, int width) {
    std::string axis(static_cast<std::size_t>(plotLeft + std::max(width, 0)), '-');
    std::fill(axis.begin(), axis.begin() + plotLeft - 1, ' ');
    std::string labels(axis.size(), ' ');
    std::size_t freeFrom = 0;
    for (const auto& [hertz, label] : axisTicks()) {
        const auto column = static_cast<std::size_t>(plotLeft + columnOf(hertz, width));
        const std::string text = std::string(label) + " Hz";
        const std::string shown = column + text.size() <= labels.size() ? text : std::string(label);
        // A label that would touch the one before it, or run off the line, is left out with its tick.
        if (column < freeFrom || column + shown.size() > labels.size()) {
            continue;
        }
        axis[column] = '+';
        labels.replace(column, shown.size(), shown);
        freeFrom = column + shown.size() + 1;
    }
    lines.push_back(std::move(axis));
    lines.push_back(std::move(labels));
}

int TerminalScreen::columnOf(double hertz, int width) {
    return static_cast<int>(
        std::floor(width * std::log(hertz / lowestFrequency) / std::log(highestFrequency / lowestFrequency)));
}

double TerminalScreen::columnFrequency(int column, int width) {
    return lowestFrequency * std::pow(highestFrequency / lowestFrequency, (column + 0.5) / width);
}

std::vector<double> TerminalScreen::columnLevels(const std::vector<double>& power, double sampleRate,
                                                 int width) {
    const auto columns = static_cast<std::size_t>(std::max(width, 0));
    std::vector<double> strongest(columns, -1.0);
    if (power.empty()) {
        return std::vector<double>(columns, -std::numeric_limits<double>::infinity());
    }
    const double points = 2.0 * static_cast<double>(power.size());
    for (std::size_t bin = 1; bin < power.size(); ++bin) {
        const int column = columnOf(static_cast<double>(bin) * sampleRate / points, width);
        if (column >= 0 && column < width) {
            strongest[static_cast<std::size_t>(column)] =
                std::max(strongest[static_cast<std::size_t>(column)], power[bin]);
        }
    }
    std::vector<double> levels(columns);
    for (std::size_t column = 0; column < columns; ++column) {
        double value = strongest[column];
        if (value < 0.0) {
            // No bin falls in this narrow column: the bin nearest to its middle.
            const double nearest =
                std::round(columnFrequency(static_cast<int>(column), width) * points / sampleRate);
            value =
                nearest < static_cast<double>(power.size()) ? power[static_cast<std::size_t>(nearest)] : 0.0;
        }
        levels[column] = value > 0.0 ? 10.0 * std::log10(value) : -std::numeric_limits<double>::infinity();
    }
    return levels;
}

} // namespace host
