#pragma once

#include "WavFile.h"

#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

namespace avtptalker {

/// Deterministic source of the 16-bit samples of one channel of the talker's stream.
///
/// Every signal is a pure function of the sample index n, counted in samples of one channel from the
/// start of the stream: the stream frame with index i (0 for the first frame generated, whether it is
/// sent, dropped or altered) carries n = i * S to i * S + S - 1 for S samples per channel and frame. A
/// channel keeps its signal when the channel count changes mid-stream. So a receiver's test computes the
/// exact value sent at any position with `sampleAt`, without replaying the stream. The talker compiles this
/// same header, which keeps both sides bit-identical.
///
/// Signal texts, as taken by the talker's --signal and --channel-signal options and by `parse`:
/// - "sine:FREQ[:AMP]": lround(AMP * 32767 * sin(2 pi * fmod(FREQ * n, 48000) / 48000)). FREQ in Hz,
///   0 to 24000; AMP a linear fraction of full scale, 0 to 1, default 0.5.
/// - "noise:SEED[:AMP]": white noise. A 64-bit counter-based mix (SplitMix64) of SEED, the channel and n
///   gives a value r uniform over -32768..32767; the sample is lround(r * AMP), AMP 0 to 1, default 0.5.
///   The channel enters the mix, so one seed on several channels gives uncorrelated channels.
/// - "silence": 0.
/// - "counter[:START]": (START + n) modulo 65536 as a two's complement 16-bit value; START 0 to 65535,
///   default 0. Every sample of a channel differs from its 65535 neighbours, which makes loss and order
///   visible.
/// - "wav:PATH": a 16-bit PCM WAV file (see WavFile). Talker channel c plays file channel
///   c modulo the file's channel count, from the file's first sample on, and the file loops at its end.
///
/// Without a signal text, channel c plays "sine:F:0.5" with F = 1000 * (1 + c % 16) Hz (`defaultFor`).
class SignalGenerator {
public:
    /// The nominal sample rate every signal is computed for, in Hz.
    static constexpr double kSampleRate = 48000.0;

    static SignalGenerator silence() { return SignalGenerator(Kind::Silence, "silence"); }

    static SignalGenerator sine(double frequencyHz, double amplitude) {
        SignalGenerator generator(Kind::Sine, "sine " + std::to_string(frequencyHz) + " Hz amplitude " +
                                                  std::to_string(amplitude));
        generator.m_frequencyHz = frequencyHz;
        generator.m_amplitude = amplitude;
        return generator;
    }

    /// White noise for talker channel `channel`.
    static SignalGenerator noise(std::uint64_t seed, unsigned channel, double amplitude) {
        SignalGenerator generator(Kind::Noise, "noise seed " + std::to_string(seed) + " amplitude " +
                                                   std::to_string(amplitude));
        generator.m_key = mix(seed ^ mix(0xD1B54A32D192ED03ULL * (channel + 1ULL)));
        generator.m_amplitude = amplitude;
        return generator;
    }

    static SignalGenerator counter(std::uint16_t start) {
        SignalGenerator generator(Kind::Counter, "counter from " + std::to_string(start));
        generator.m_key = start;
        return generator;
    }

    /// Plays channel `fileChannel` of `interleaved`, which holds `fileChannels` channels, looping at its end.
    static SignalGenerator samples(std::shared_ptr<const std::vector<std::int16_t>> interleaved,
                                   unsigned fileChannels, unsigned fileChannel,
                                   const std::string& description) {
        SignalGenerator generator(Kind::Samples, description);
        generator.m_samples = std::move(interleaved);
        generator.m_fileChannels = fileChannels == 0 ? 1 : fileChannels;
        generator.m_fileChannel = fileChannel % generator.m_fileChannels;
        return generator;
    }

    /// The signal of talker channel `channel` when none is given.
    static SignalGenerator defaultFor(unsigned channel) { return sine(1000.0 * (1 + channel % 16), 0.5); }

    /// Parses a signal text (see the class comment) for talker channel `channel`. Returns false and sets
    /// `error` to one sentence when the text is invalid or its WAV file cannot be loaded.
    static bool parse(const std::string& text, unsigned channel, SignalGenerator& out, std::string& error) {
        const std::string::size_type colon = text.find(':');
        const std::string kind = text.substr(0, colon);
        const std::string rest = colon == std::string::npos ? std::string() : text.substr(colon + 1);
        if (kind == "wav") {
            if (rest.empty()) {
                error = "signal '" + text + "' needs a file: wav:PATH";
                return false;
            }
            WavFile file;
            if (!WavFile::load(rest, file, error)) {
                return false;
            }
            out = samples(file.samples(), file.channels(), channel % file.channels(),
                          "wav " + rest + " channel " + std::to_string(channel % file.channels()));
            return true;
        }

        std::vector<std::string> fields;
        if (colon != std::string::npos) {
            std::string::size_type start = 0;
            while (true) {
                const std::string::size_type next = rest.find(':', start);
                fields.push_back(rest.substr(start, next - start));
                if (next == std::string::npos) {
                    break;
                }
                start = next + 1;
            }
        }
        const auto bad = [&](const std::string& why) {
            error = "invalid signal '" + text + "': " + why;
            return false;
        };
        double amplitude = 0.5;
        if (kind == "sine" || kind == "noise") {
            if (fields.empty() || fields.size() > 2) {
                return bad(kind == "sine" ? "expected sine:FREQ[:AMP]" : "expected noise:SEED[:AMP]");
            }
            if (fields.size() == 2 &&
                (!parseDouble(fields[1], amplitude) || amplitude < 0.0 || amplitude > 1.0)) {
                return bad("the amplitude must be a number from 0 to 1");
            }
        }
        if (kind == "sine") {
            double frequency = 0.0;
            if (!parseDouble(fields[0], frequency) || frequency < 0.0 || frequency > kSampleRate / 2) {
                return bad("the frequency must be a number of Hz from 0 to 24000");
            }
            out = sine(frequency, amplitude);
            return true;
        }
        if (kind == "noise") {
            std::uint64_t seed = 0;
            if (!parseUnsigned(fields[0], seed)) {
                return bad("the seed must be an unsigned integer");
            }
            out = noise(seed, channel, amplitude);
            return true;
        }
        if (kind == "silence") {
            if (!fields.empty()) {
                return bad("silence takes no parameters");
            }
            out = silence();
            return true;
        }
        if (kind == "counter") {
            std::uint64_t start = 0;
            if (fields.size() > 1 ||
                (fields.size() == 1 && (!parseUnsigned(fields[0], start) || start > 65535))) {
                return bad("expected counter[:START] with START from 0 to 65535");
            }
            out = counter(static_cast<std::uint16_t>(start));
            return true;
        }
        return bad("the kind must be sine, noise, silence, counter or wav");
    }

    /// The sample at index `n` (see the class comment).
    std::int16_t sampleAt(std::uint64_t n) const {
        switch (m_kind) {
        case Kind::Silence:
            return 0;
        case Kind::Sine: {
            // Reducing the phase in whole cycles of the sample rate keeps it exact for integral
            // frequencies however long the stream runs.
            const double cycles =
                std::fmod(m_frequencyHz * static_cast<double>(n), kSampleRate) / kSampleRate;
            return clamp(std::lround(m_amplitude * 32767.0 * std::sin(kTwoPi * cycles)));
        }
        case Kind::Noise: {
            const auto r = static_cast<std::int16_t>(static_cast<std::uint16_t>(mix(m_key + n) >> 48));
            return clamp(std::lround(static_cast<double>(r) * m_amplitude));
        }
        case Kind::Counter:
            return static_cast<std::int16_t>(static_cast<std::uint16_t>(m_key + n));
        case Kind::Samples: {
            const std::size_t frames = m_samples->size() / m_fileChannels;
            if (frames == 0) {
                return 0;
            }
            return (*m_samples)[static_cast<std::size_t>(n % frames) * m_fileChannels + m_fileChannel];
        }
        }
        return 0;
    }

    /// A short human-readable description, for the talker's start-up line.
    const std::string& description() const { return m_description; }

    SignalGenerator() : SignalGenerator(Kind::Silence, "silence") {}

private:
    enum class Kind { Silence, Sine, Noise, Counter, Samples };

    static constexpr double kTwoPi = 6.283185307179586476925286766559;

    SignalGenerator(Kind kind, std::string description)
        : m_kind(kind), m_description(std::move(description)) {}

    /// SplitMix64 finaliser: a bijective mix whose output bits all depend on every input bit, which is all
    /// white noise needs and, unlike the standard distributions, is the same on every library.
    static std::uint64_t mix(std::uint64_t x) {
        x += 0x9E3779B97F4A7C15ULL;
        x = (x ^ (x >> 30)) * 0xBF58476D1CE4E5B9ULL;
        x = (x ^ (x >> 27)) * 0x94D049BB133111EBULL;
        return x ^ (x >> 31);
    }

    static std::int16_t clamp(long value) {
        return static_cast<std::int16_t>(value > 32767 ? 32767 : (value < -32768 ? -32768 : value));
    }

    static bool parseDouble(const std::string& text, double& value) {
        if (text.empty()) {
            return false;
        }
        char* end = nullptr;
        errno = 0;
        value = std::strtod(text.c_str(), &end);
        return errno == 0 && end == text.c_str() + text.size() && std::isfinite(value);
    }

    static bool parseUnsigned(const std::string& text, std::uint64_t& value) {
        if (text.empty() || text[0] == '-' || text[0] == '+') {
            return false;
        }
        char* end = nullptr;
        errno = 0;
        value = std::strtoull(text.c_str(), &end, 0);
        return errno == 0 && end == text.c_str() + text.size();
    }

    Kind m_kind;
    std::string m_description;
    double m_frequencyHz = 0.0;
    double m_amplitude = 0.0;
    std::uint64_t m_key = 0;
    std::shared_ptr<const std::vector<std::int16_t>> m_samples;
    unsigned m_fileChannels = 1;
    unsigned m_fileChannel = 0;
};

} // namespace avtptalker
