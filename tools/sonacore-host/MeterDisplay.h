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

// Shows the latest readings of each metered channel: bars redrawn in place on a terminal, plain lines once a
// second otherwise. Used on the host's thread only.
class MeterDisplay {
public:
    explicit MeterDisplay(std::vector<unsigned> channels);

    void updateLevels(unsigned channel, double dbaFast, double dbcFast, double dbzFast);
    void updateSpectrum(unsigned channel, double peakHz);
    void draw();
    // Leaves the cursor below the bars and prints the last readings.
    void finish();
    bool sawData() const { return !readings.empty(); }

private:
    void drawBars();
    void drawLines();

    const std::vector<unsigned> channels;
    const bool terminal;
    std::map<unsigned, Readings> readings;
    bool drawn = false;
    std::chrono::steady_clock::time_point started = std::chrono::steady_clock::now();
    std::chrono::steady_clock::time_point lastLine = started;
};

} // namespace host
