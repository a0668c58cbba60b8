// sonacore-avtp-talker: sends an IEEE 1722 AAF audio stream (subtype 2, 16-bit big-endian samples
// interleaved by channel, or 24- or 32-bit integers or 32-bit floats, nominal 48 kHz, EtherType 0x22f0,
// untagged, with one VLAN tag or with two stacked) on a named interface through a raw packet socket, paced in
// real time against absolute deadlines or as fast as possible, with optional faults (dropped, repeated,
// swapped, truncated or stray frames, channel count changes, overstated data lengths, NaN and infinite
// float samples) for testing receivers. Every sample is reproducible: see SignalGenerator.h.
//
// Run as root (or with CAP_NET_RAW), for example 60 s of a 2-channel 1 kHz sine at 8000 frames/s:
//     sonacore-avtp-talker --interface eth1 --channels 2 --signal sine:1000:0.5 --duration 60
// and see --help for every option. Exit status: 0 on success, 1 when the stream fails, 2 for bad options.

#include "Talker.h"
#include "TalkerOptions.h"

#include <csignal>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

namespace {

volatile std::sig_atomic_t g_stopRequested = 0;

void requestStop(int) {
    g_stopRequested = 1;
}

} // namespace

int main(int argc, char** argv) {
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    avtptalker::TalkerOptions options;
    std::string error;
    if (!avtptalker::TalkerOptions::parse(arguments, options, error)) {
        std::fprintf(stderr, "sonacore-avtp-talker: %s; see --help.\n", error.c_str());
        return 2;
    }
    if (options.help) {
        std::fputs(avtptalker::TalkerOptions::usage().c_str(), stdout);
        return 0;
    }

    // Without SA_RESTART, so that a signal ends the deadline wait at once and the summary still gets out.
    struct sigaction action {};
    action.sa_handler = requestStop;
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);

    std::vector<avtptalker::SignalGenerator> signals;
    if (!avtptalker::Talker::resolveSignals(options, signals, error)) {
        std::fprintf(stderr, "sonacore-avtp-talker: %s; see --help.\n", error.c_str());
        return 2;
    }

    avtptalker::Talker talker(std::move(options), std::move(signals));
    if (!talker.run(g_stopRequested, error)) {
        std::fprintf(stderr, "sonacore-avtp-talker: %s.\n", error.c_str());
        return 1;
    }
    return 0;
}
