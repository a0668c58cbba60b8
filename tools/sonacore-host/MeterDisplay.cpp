#include "MeterDisplay.h"

#include "sonacore/ISoundLevelValueConfig.h"

#include <cmath>
#include <cstdio>
#include <string>
#include <utility>

namespace host {
namespace {

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

} // namespace

MeterDisplay::MeterDisplay(std::vector<unsigned> channels) : channels(std::move(channels)) {}

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
