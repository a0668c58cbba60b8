#include "MeterDisplay.h"

#include "SpectrumPeak.h"

#include "sonacore/ISoundLevelValueConfig.h"

#include <cmath>
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

MeterDisplay::MeterDisplay(std::vector<unsigned> channels, std::uint64_t levelSamples, double sampleRate,
                           std::FILE* lines)
    : channels(std::move(channels)), levelSamples(levelSamples), sampleRate(sampleRate), output(lines) {}

void MeterDisplay::levels(unsigned channel, const std::vector<double>& values) {
    using namespace sonacore::iprocess;
    if (values.size() < soundLevelValueTypes.size()) {
        return;
    }
    Readings& reading = readings[channel];
    reading.dbaFast = values[dbaSplFast.identifier];
    reading.dbcFast = values[dbcSplFast.identifier];
    reading.dbzFast = values[dbzSplFast.identifier];
    ++reading.levels;
    if (channels.empty() || channel != channels.front()) {
        return;
    }
    ++levelsOfClock;
    const auto second = static_cast<std::uint64_t>(std::floor(streamSeconds()));
    if (second > lastSecond) {
        lastSecond = second;
        printLines(second);
    }
}

void MeterDisplay::spectrum(unsigned channel, const std::vector<double>& power) {
    Readings& reading = readings[channel];
    reading.peakHz = peakFrequency(power, sampleRate);
    ++reading.spectra;
}

double MeterDisplay::streamSeconds() const {
    return static_cast<double>(levelsOfClock * levelSamples) / sampleRate;
}

void MeterDisplay::printLines(std::uint64_t second) {
    if (output == nullptr) {
        return;
    }
    for (const unsigned channel : channels) {
        const auto found = readings.find(channel);
        if (found == readings.end()) {
            continue;
        }
        std::fprintf(output, "t=%5.1fs ch%u %s\n", static_cast<double>(second), channel,
                     levelsText(found->second, " ").c_str());
    }
    std::fflush(output);
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
