#pragma once

#include <cmath>
#include <cstddef>
#include <limits>

namespace host {

// Peak and RMS of one block of samples, in dBFS (0 dBFS is a sample of magnitude 1.0).
struct Level {
    double peakDb = -std::numeric_limits<double>::infinity();
    double rmsDb = -std::numeric_limits<double>::infinity();
    std::size_t samples = 0;
};

struct LevelMeter {
    static Level measure(const double* samples, std::size_t count) {
        Level level;
        level.samples = count;
        if (count == 0) {
            return level;
        }
        double peak = 0.0;
        double sumOfSquares = 0.0;
        for (std::size_t index = 0; index < count; ++index) {
            peak = std::fmax(peak, std::fabs(samples[index]));
            sumOfSquares += samples[index] * samples[index];
        }
        const double rms = std::sqrt(sumOfSquares / static_cast<double>(count));
        level.peakDb = peak > 0.0 ? 20.0 * std::log10(peak) : -std::numeric_limits<double>::infinity();
        level.rmsDb = rms > 0.0 ? 20.0 * std::log10(rms) : -std::numeric_limits<double>::infinity();
        return level;
    }
};

} // namespace host
