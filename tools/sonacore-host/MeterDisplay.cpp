#include "MeterDisplay.h"

#include "sonacore/ISoundLevelValueConfig.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>
#include <utility>

namespace host {
namespace {

constexpr int barWidth = 30;
constexpr double floorDb = -60.0;

// A level, or "--" before the first one arrived. Digital silence reads "-inf", as the library delivers it.
std::string decibels(double value, std::size_t count) {
    if (count == 0) {
        return "    --";
    }
    if (std::isinf(value) && value < 0.0) {
        return "  -inf";
    }
    char text[32];
    std::snprintf(text, sizeof text, "%6.2f", value);
    return text;
}

// A peak frequency, "--" before the first spectrum, "none" when the spectrum had no power at all.
std::string hertz(double value, std::size_t count) {
    if (count == 0) {
        return "     -- Hz";
    }
    if (std::isnan(value)) {
        return "   none";
    }
    char text[32];
    std::snprintf(text, sizeof text, "%7.1f Hz", value);
    return text;
}

std::string levelsText(const Readings& reading, const char* separator) {
    using namespace sonacore::iprocess;
    return dbaSplFast.shortLabel + " " + decibels(reading.dbaFast, reading.levels) + separator +
           dbcSplFast.shortLabel + " " + decibels(reading.dbcFast, reading.levels) + separator +
           dbzSplFast.shortLabel + " " + decibels(reading.dbzFast, reading.levels) + separator + "peak " +
           hertz(reading.peakHz, reading.spectra);
}

// A bar from floorDb to 0 dB re full scale: '#' up to the A-weighted level, '|' at the unweighted one, so
// the distance between them shows how much the A weighting takes off the signal.
std::string bar(const Readings& reading) {
    const auto position = [](double db) {
        if (!std::isfinite(db)) {
            return 0;
        }
        const double fraction = std::clamp((db - floorDb) / -floorDb, 0.0, 1.0);
        // Rounded down for both marks alike, so that two levels within one cell never cross.
        return static_cast<int>(std::floor(fraction * barWidth));
    };
    std::string text(barWidth, ' ');
    const int weighted = position(reading.dbaFast);
    const int unweighted = position(reading.dbzFast);
    std::fill(text.begin(), text.begin() + weighted, '#');
    if (unweighted > 0) {
        text[static_cast<std::size_t>(unweighted - 1)] = '|';
    }
    return "[" + text + "]";
}

// The terminal's width, so that a bar line never wraps: a wrapped line would spoil the redraw in place.
std::size_t terminalColumns() {
    winsize size{};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 1) {
        return size.ws_col - 1u;
    }
    return 1000;
}

} // namespace

MeterDisplay::MeterDisplay(std::vector<unsigned> channels)
    : channels(std::move(channels)), terminal(isatty(STDOUT_FILENO) == 1) {}

void MeterDisplay::updateLevels(unsigned channel, double dbaFast, double dbcFast, double dbzFast) {
    Readings& reading = readings[channel];
    reading.dbaFast = dbaFast;
    reading.dbcFast = dbcFast;
    reading.dbzFast = dbzFast;
    ++reading.levels;
}

void MeterDisplay::updateSpectrum(unsigned channel, double peakHz) {
    Readings& reading = readings[channel];
    reading.peakHz = peakHz;
    ++reading.spectra;
}

void MeterDisplay::draw() {
    if (terminal) {
        drawBars();
    } else {
        drawLines();
    }
}

void MeterDisplay::drawBars() {
    if (drawn) {
        // Back to the first bar's line, so the bars redraw in place.
        std::printf("\033[%zuA", channels.size());
    }
    const std::size_t columns = terminalColumns();
    for (const unsigned channel : channels) {
        const auto found = readings.find(channel);
        const Readings reading = found != readings.end() ? found->second : Readings{};
        char name[16];
        std::snprintf(name, sizeof name, "ch%-2u ", channel);
        std::string line = name + bar(reading) + " " + levelsText(reading, "  ");
        line.resize(std::min(line.size(), columns));
        std::printf("\r\033[2K%s\n", line.c_str());
    }
    std::fflush(stdout);
    drawn = true;
}

void MeterDisplay::drawLines() {
    const auto now = std::chrono::steady_clock::now();
    if (now - lastLine < std::chrono::seconds(1) || readings.empty()) {
        return;
    }
    lastLine = now;
    const double seconds = std::chrono::duration<double>(now - started).count();
    for (const unsigned channel : channels) {
        const auto found = readings.find(channel);
        if (found == readings.end()) {
            continue;
        }
        std::printf("t=%5.1fs ch%u %s\n", seconds, channel, levelsText(found->second, " ").c_str());
    }
    std::fflush(stdout);
}

void MeterDisplay::finish() {
    if (terminal) {
        drawBars();
    }
    for (const unsigned channel : channels) {
        const auto found = readings.find(channel);
        if (found == readings.end()) {
            std::printf("ch%u: no data received\n", channel);
            continue;
        }
        const Readings& reading = found->second;
        std::printf("ch%u: %zu levels, %zu spectra; last %s\n", channel, reading.levels, reading.spectra,
                    levelsText(reading, ", ").c_str());
    }
    std::fflush(stdout);
}

} // namespace host
