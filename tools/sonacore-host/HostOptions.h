#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace host {

// What the host program was asked to do. With no adapter it runs the built-in demo on its own sandbox.
struct HostOptions {
    bool help = false;
    bool list = false;
    // Number or name of the adapter; empty for the built-in demo.
    std::string adapter;
    // The stream's source address as the library keys it: 12 hexadecimal characters.
    std::string deviceKey = "00a0c9112233";
    std::uint64_t channels = 2;
    std::uint64_t samplesPerFrame = 6;
    std::uint64_t sampleSize = 2;
    std::uint64_t bufferSize = 48000;
    // Samples per delivery under the buffer's clock; 0.1 s at 48 kHz.
    std::uint64_t signalingAmount = 4800;
    // Milliseconds between deliveries under the processors' own clock; 0 keeps the buffer's clock.
    std::uint64_t clockPeriodMs = 0;
    std::vector<unsigned> meteredChannels{0, 1};
    double durationSeconds = 10.0;
    // The level that reads 0 dBFS: a full-scale 16-bit sample.
    double fullScale = 1.0;
    // The talker of the built-in demo, when not found beside this program.
    std::string talkerPath;

    // Fills `options` from the command line; false with a one-sentence `error` for bad input.
    static bool parse(int argc, char** argv, HostOptions& options, std::string& error);
    static std::string usage();
};

} // namespace host
