#pragma once

#include "StreamFormat.h"

#include <cstdint>
#include <string>
#include <vector>

namespace host {

// What the host program was asked to do. With no adapter it runs the built-in demo on its own sandbox.
struct HostOptions {
    // The rate of every stream the host meets, in Hz. The library's level filters and time constants are made
    // for it, and it maps a spectrum bin to hertz.
    static constexpr double sampleRate = 48000.0;
    // log2 of the spectrum's frame length: 16384 samples, bins 2.93 Hz apart.
    static constexpr std::uint64_t spectrumOrder = 14;
    static constexpr std::uint64_t spectrumFrameLength = std::uint64_t{1} << spectrumOrder;
    // The sound level processor works once per six buffer signals, on the samples of all six together.
    static constexpr std::uint64_t signalsPerLevel = 6;
    // The highest channel --meter takes: a stream has 255 channels at most.
    static constexpr std::uint64_t highestChannel = 254;

    bool help = false;
    bool version = false;
    bool list = false;
    // With --list: every adapter libpcap gives, not only the Ethernet ones.
    bool allAdapters = false;
    // Show the library's progress lines (debug level) and its warnings that every start-up brings.
    bool verbose = false;
    // List the AAF talkers heard on the adapter instead of monitoring one.
    bool discover = false;
    // How long discovery listens, in seconds; also before monitoring without --mac.
    double discoverySeconds = 2.0;
    // Number or name of the adapter; empty for the built-in demo.
    std::string adapter;
    // The adapters after the first, when --adapter names several networks to monitor at once.
    std::vector<std::string> otherAdapters;
    // The stream's source address as the library keys it: 12 hexadecimal characters.
    std::string deviceKey = "00a0c9112233";
    // The form of the stream's frames: the command line's channels and samples per frame, or the defaults,
    // until discovery hears the stream; its sample format and tag as heard, 16-bit samples untagged (or
    // the command line's sample size) for a stream not heard.
    StreamFormat stream;
    // Samples kept per channel: 1.37 s, room for a spectrum frame of order 16 and a level's six signals.
    std::uint64_t bufferSize = 65536;
    // Samples between two buffer signals: 10 ms at 48 kHz, so a level every 60 ms.
    std::uint64_t signalingAmount = 480;
    // Milliseconds between two spectra on the spectrum processor's own timer; 0 calculates one on every
    // buffer signal instead.
    std::uint64_t clockPeriodMs = 200;
    std::vector<unsigned> meteredChannels{0, 1};
    double durationSeconds = 10.0;
    // The talker of the built-in demo, when not found beside this program.
    std::string talkerPath;
    // The CSV file every delivery is appended to; empty for none.
    std::string recordPath;
    // The image file the last spectrum and levels are painted into at the end of the run, in the format its
    // suffix names; empty for none.
    std::string snapshotPath;

    // Which of the stream's settings the command line gave; discovery fills in the others.
    bool macGiven = false;
    bool channelsGiven = false;
    bool samplesPerFrameGiven = false;
    bool meterGiven = false;

    // The samples of one level: those of six buffer signals.
    std::uint64_t levelSampleAmount() const { return signalsPerLevel * signalingAmount; }

    // Fills `options` from the command line; false with a one-sentence `error` for bad input. A refusal of a
    // value names the option, the value and what to give instead: the range of a number ("--duration 0.5
    // is not valid: give whole seconds from 1 to 86400."), or the channel that --meter names twice.
    static bool parse(int argc, char** argv, HostOptions& options, std::string& error);
    static std::string usage();

    // Takes a discovered stream's source address and form: its sample format, tag and rate, and its channels
    // and samples per frame where the command line gave none; the metered channels follow unless --meter
    // chose them. False with a one-sentence `error` when a chosen channel is not in the stream.
    bool useStream(const std::string& streamDeviceKey, const StreamFormat& heard, std::string& error);

private:
    // Fills in the default metered channels and checks the options against each other; the metered
    // channels against the stream's only once `channelsKnown`: from the command line, or as heard.
    bool complete(std::string& error, bool channelsKnown);
};

} // namespace host
