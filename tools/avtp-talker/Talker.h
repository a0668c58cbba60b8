#pragma once

#include "SignalGenerator.h"
#include "TalkerOptions.h"

#include <csignal>
#include <cstdint>
#include <string>
#include <vector>

namespace avtptalker {

// Runs one AAF stream from start to end: opens the interface, paces and sends the frames,
// and reports a summary.
//
// Pacing: frame K is due at start + K * S / 48000 s on CLOCK_MONOTONIC (S samples per frame), computed from
// K, and the loop sleeps until that absolute deadline with clock_nanosleep(TIMER_ABSTIME), so a late wake
// never delays later frames and the rate does not drift however long the stream runs. Lateness is measured
// after each send returns, against the deadline of its slot.
class Talker {
public:
    // Makes the generators of channels 0 to `options.maximumChannels()` - 1 from --channel-signal, else
    // --signal, else SignalGenerator::defaultFor. Returns false and sets `error` to one sentence when a
    // signal text is invalid or its WAV file cannot be loaded.
    static bool resolveSignals(const TalkerOptions& options, std::vector<SignalGenerator>& signals,
                               std::string& error);

    // `signals` as made by resolveSignals.
    Talker(TalkerOptions options, std::vector<SignalGenerator> signals);

    // Runs the stream on the calling thread until the frame count is reached or `stopRequested` becomes
    // non-zero (set by the SIGINT/SIGTERM handler). Writes the summary to stderr. Returns false and sets
    // `error` to one sentence when the stream could not start or a send failed.
    bool run(const volatile std::sig_atomic_t& stopRequested, std::string& error);

private:
    TalkerOptions options;
    std::vector<SignalGenerator> signals;
};

} // namespace avtptalker
