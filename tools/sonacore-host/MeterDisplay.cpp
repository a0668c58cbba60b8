#include "MeterDisplay.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>
#include <utility>

namespace host {
namespace {

constexpr int barWidth = 50;
constexpr double floorDb = -60.0;

std::string decibels(double value) {
    if (!std::isfinite(value)) {
        return "  -inf";
    }
    char text[16];
    std::snprintf(text, sizeof text, "%6.2f", value);
    return text;
}

// A bar from floorDb to 0 dBFS: '#' up to the RMS, '|' at the peak.
std::string bar(const Level& level) {
    const auto position = [](double db) {
        if (!std::isfinite(db)) {
            return 0;
        }
        const double fraction = std::clamp((db - floorDb) / -floorDb, 0.0, 1.0);
        return static_cast<int>(std::lround(fraction * barWidth));
    };
    std::string text(barWidth, ' ');
    const int rms = position(level.rmsDb);
    const int peak = position(level.peakDb);
    std::fill(text.begin(), text.begin() + rms, '#');
    if (peak > 0) {
        text[static_cast<std::size_t>(peak - 1)] = '|';
    }
    return "[" + text + "]";
}

} // namespace

MeterDisplay::MeterDisplay(std::vector<unsigned> channels, double fullScale)
    : channels(std::move(channels)), fullScale(fullScale), terminal(isatty(STDOUT_FILENO) == 1) {}

void MeterDisplay::update(unsigned channel, const Level& level) {
    Level scaled = level;
    const double offset = 20.0 * std::log10(fullScale);
    scaled.peakDb -= offset;
    scaled.rmsDb -= offset;
    levels[channel] = scaled;
    ++updates[channel];
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
    for (const unsigned channel : channels) {
        const auto found = levels.find(channel);
        const Level level = found != levels.end() ? found->second : Level{};
        std::printf("\r\033[2Kch%-2u %s peak %s dBFS  rms %s dBFS\n", channel, bar(level).c_str(),
                    decibels(level.peakDb).c_str(), decibels(level.rmsDb).c_str());
    }
    std::fflush(stdout);
    drawn = true;
}

void MeterDisplay::drawLines() {
    const auto now = std::chrono::steady_clock::now();
    if (now - lastLine < std::chrono::seconds(1) || levels.empty()) {
        return;
    }
    lastLine = now;
    const double seconds = std::chrono::duration<double>(now - started).count();
    for (const unsigned channel : channels) {
        const auto found = levels.find(channel);
        if (found == levels.end()) {
            continue;
        }
        std::printf("t=%5.1fs ch%u peak %s dBFS rms %s dBFS\n", seconds, channel, decibels(found->second.peakDb).c_str(),
                    decibels(found->second.rmsDb).c_str());
    }
    std::fflush(stdout);
}

void MeterDisplay::finish() {
    if (terminal) {
        drawBars();
    }
    for (const unsigned channel : channels) {
        const auto found = levels.find(channel);
        if (found == levels.end()) {
            std::printf("ch%u: no data received\n", channel);
            continue;
        }
        std::printf("ch%u: %zu updates, last peak %s dBFS, rms %s dBFS\n", channel, updates[channel],
                    decibels(found->second.peakDb).c_str(), decibels(found->second.rmsDb).c_str());
    }
    std::fflush(stdout);
}

} // namespace host
