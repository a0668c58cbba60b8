#pragma once

#include <cmath>
#include <cstddef>
#include <limits>
#include <vector>

namespace host {

// The frequency of the strongest bin of one delivered power spectrum, in Hz. The delivery holds the bins 0 to
// N/2 - 1 of an N-point transform, and bin k lies at k * rate / N. NaN when there is no bin or no power at
// all (digital silence), since no frequency then stands out.
inline double peakFrequency(const std::vector<double>& power, double sampleRate) {
    std::size_t strongest = 0;
    for (std::size_t bin = 1; bin < power.size(); ++bin) {
        if (power[bin] > power[strongest]) {
            strongest = bin;
        }
    }
    if (power.empty() || !(power[strongest] > 0.0)) {
        return std::numeric_limits<double>::quiet_NaN();
    }
    const double frameLength = 2.0 * static_cast<double>(power.size());
    return static_cast<double>(strongest) * sampleRate / frameLength;
}

} // namespace host
