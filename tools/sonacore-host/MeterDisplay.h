#pragma once

#include "DeliverySink.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
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

// Shows the latest readings of each metered channel as plain lines, one per channel for each second of the
// stream, for an output that is not a terminal (a file, a pipe); on a terminal the live view takes their
// place. It also keeps the last readings for the summary at the end of every run.
//
// The lines' clock is the stream's, not the wall's: the first metered channel's levels each stand for
// `levelSamples` samples at `sampleRate`, and when their sum passes a whole second, every channel's line is
// printed with that second, so that successive lines step by exactly 1.0 s however the deliveries were
// spread in time. A level of more than a second prints the last second it passed.
//
// Thread affinity: the host's thread.
class MeterDisplay : public DeliverySink {
public:
    // `lines` is where the plain lines go; null for none, as while the live view owns the terminal.
    MeterDisplay(std::vector<unsigned> channels, std::uint64_t levelSamples, double sampleRate,
                 std::FILE* lines);

    void printLinesTo(std::FILE* lines) { output = lines; }

    void levels(unsigned channel, const std::vector<double>& values) override;
    void spectrum(unsigned channel, const std::vector<double>& power) override;
    // Prints the last readings to standard output.
    void finish();
    // Whether any level arrived: the stream's audio reached the library.
    bool sawAudio() const { return levelsOfClock > 0; }
    // The stream's time in seconds that the first metered channel's levels account for.
    double streamSeconds() const;

private:
    void printLines(std::uint64_t second);

    std::vector<unsigned> channels;
    std::uint64_t levelSamples;
    double sampleRate;
    std::FILE* output;
    std::map<unsigned, Readings> readings;
    std::uint64_t levelsOfClock = 0;
    std::uint64_t lastSecond = 0;
};

} // namespace host
