#pragma once

#include <chrono>
#include <cstddef>
#include <limits>
#include <map>
#include <vector>

namespace host {

// The latest analysis of one channel, as the library delivered it.
struct Readings {
    // Fast sound levels in dB re full scale; negative infinity for digital silence.
    double dbaFast = -std::numeric_limits<double>::infinity();
    double dbcFast = -std::numeric_limits<double>::infinity();
    double dbzFast = -std::numeric_limits<double>::infinity();
    // The strongest spectrum bin in Hz; NaN for a spectrum without power.
    double peakHz = std::numeric_limits<double>::quiet_NaN();
    std::size_t levels = 0;
    std::size_t spectra = 0;
};

// Shows the latest readings of each metered channel as plain lines once a second, for an output that is not a
// terminal (a file, a pipe); on a terminal the live view takes their place. It also keeps the last readings
// for the summary at the end of every run. Used on the host's thread only.
class MeterDisplay {
public:
    explicit MeterDisplay(std::vector<unsigned> channels);

    void updateLevels(unsigned channel, double dbaFast, double dbcFast, double dbzFast);
    void updateSpectrum(unsigned channel, double peakHz);
    // Prints each channel's line when a second has passed since the last ones.
    void draw();
    // Prints the last readings.
    void finish();
    bool sawData() const { return !readings.empty(); }

private:
    std::vector<unsigned> channels;
    std::map<unsigned, Readings> readings;
    std::chrono::steady_clock::time_point started = std::chrono::steady_clock::now();
    std::chrono::steady_clock::time_point lastLine = started;
};

} // namespace host
