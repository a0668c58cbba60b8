#pragma once

#include "CommandLineValues.h"
#include "WavFile.h"

#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace avtptalker {

// Deterministic source of the samples of one channel of the talker's stream: 16-bit values for the integer
// formats (`sampleAt`), and the value as a fraction of full scale for the float format (`valueAt`).
//
// Every signal is a pure function of the sample index n, counted in samples of one channel from the
// start of the stream: the stream frame with index i (0 for the first frame generated, whether it is
// sent, dropped or altered) carries n = i * S to i * S + S - 1 for S samples per channel and frame. A
// channel keeps its signal when the channel count changes mid-stream. So a receiver's test computes the
// exact value sent at any position with `sampleAt`, without replaying the stream. The talker compiles this
// same header, which keeps both sides bit-identical.
//
// Signal texts, as taken by the talker's --signal and --channel-signal options and by `parse`:
// - "sine:FREQ[:AMP]": lround(AMP * 32767 * sin(2 pi * fmod(FREQ * n, 48000) / 48000)). FREQ in Hz,
//   0 to 24000; AMP a linear fraction of full scale, 0 to 1, default 0.5.
// - "noise:SEED[:AMP]": white noise. A 64-bit counter-based mix (SplitMix64) of SEED, the channel and n
//   gives a value r uniform over -32768..32767; the sample is lround(r * AMP), AMP 0 to 1, default 0.5.
//   The channel enters the mix, so one seed on several channels gives uncorrelated channels.
// - "steps:FREQ:AMP1:AMP2:SECONDS": a sine whose amplitude changes every SECONDS, AMP1 first: with
//   L = llround(SECONDS * 48000) samples per step, the sine's formula with AMP = AMP1 where floor(n / L) is
//   even and AMP = AMP2 where it is odd. SECONDS from 1/48000 to 3600; a level meter sees a channel that
//   changes level in turn.
// - "silence": 0.
// - "counter[:START]": (START + n) modulo 65536 as a two's complement 16-bit value; START 0 to 65535,
//   default 0. Every sample of a channel differs from its 65535 neighbours, which makes loss and order
//   visible.
// - "wav:PATH": a 16-bit PCM WAV file (see WavFile). Talker channel c plays file channel
//   c modulo the file's channel count, from the file's first sample on, and the file loops at its end.
// - "special:WHICH": values no integer sample has, for the float format only (`hasIntegerSamples` is
//   false and `sampleAt` gives 0): WHICH is nan (a quiet NaN), inf (+infinity), -inf (-infinity), or cycle,
//   which plays NaN, +infinity, -infinity and 0.5 in turn (n modulo 4).
//
// `valueAt(n)`, the value of the float format, is the same signal before its rounding to 16 bits: for sine
// and steps AMP * sin(2 pi * fmod(FREQ * n, 48000) / 48000), within [-AMP, AMP], exactly 0 (never -0) and
// AMP at its zeros and peaks; for noise r * AMP / 32768;
// for counter and wav the 16-bit value / 32768; 0 for silence. Every value lies in [-1, 1] but those of
// special.
//
// Without a signal text, channel c plays "sine:F:0.5" with F = 1000 * (1 + c % 16) Hz (`defaultFor`).
class SignalGenerator {
public:
    // The nominal sample rate every signal is computed for, in Hz.
    static constexpr double sampleRate = 48000.0;

    // The values of the special signal; Cycle plays the other three and 0.5 in turn.
    enum class SpecialValue { Nan, PlusInfinity, MinusInfinity, Cycle };

    static SignalGenerator silence() { return SignalGenerator(Kind::Silence, "silence"); }

    static SignalGenerator sine(double frequencyHz, double amplitude) {
        SignalGenerator generator(Kind::Sine, "sine " + std::to_string(frequencyHz) + " Hz amplitude " +
                                                  std::to_string(amplitude));
        generator.frequencyHz = frequencyHz;
        generator.amplitude = amplitude;
        return generator;
    }

    // White noise for talker channel `channel`.
    static SignalGenerator noise(std::uint64_t seed, unsigned channel, double amplitude) {
        SignalGenerator generator(Kind::Noise, "noise seed " + std::to_string(seed) + " amplitude " +
                                                   std::to_string(amplitude));
        generator.key = mix(seed ^ mix(0xD1B54A32D192ED03ULL * (channel + 1ULL)));
        generator.amplitude = amplitude;
        return generator;
    }

    static SignalGenerator counter(std::uint16_t start) {
        SignalGenerator generator(Kind::Counter, "counter from " + std::to_string(start));
        generator.key = start;
        return generator;
    }

    // Plays channel `fileChannel` of `interleaved`, which holds `fileChannels` channels, looping at its end.
    static SignalGenerator samples(std::shared_ptr<const std::vector<std::int16_t>> interleaved,
                                   unsigned fileChannels, unsigned fileChannel,
                                   const std::string& description) {
        SignalGenerator generator(Kind::Samples, description);
        generator.sampleTable = std::move(interleaved);
        generator.fileChannels = fileChannels == 0 ? 1 : fileChannels;
        generator.fileChannel = fileChannel % generator.fileChannels;
        return generator;
    }

    // A signal of values no integer sample has (see the class comment).
    static SignalGenerator special(SpecialValue which) {
        static const char* const names[] = {"NaN", "+infinity", "-infinity",
                                            "NaN, +infinity, -infinity, 0.5"};
        SignalGenerator generator(Kind::Special, std::string("special ") + names[static_cast<int>(which)]);
        generator.specialValue = which;
        return generator;
    }

    // The signal of talker channel `channel` when none is given.
    static SignalGenerator defaultFor(unsigned channel) { return sine(1000.0 * (1 + channel % 16), 0.5); }

    // A sine whose amplitude alternates between `amplitude` and `secondAmplitude`, each held for
    // `stepSamples` samples (at least 1), starting with `amplitude`.
    static SignalGenerator steps(double frequencyHz, double amplitude, double secondAmplitude,
                                 std::uint64_t stepSamples) {
        SignalGenerator generator(Kind::Steps, "sine " + std::to_string(frequencyHz) + " Hz amplitude " +
                                                   std::to_string(amplitude) + " and " +
                                                   std::to_string(secondAmplitude) + " in turn every " +
                                                   std::to_string(stepSamples) + " samples");
        generator.frequencyHz = frequencyHz;
        generator.amplitude = amplitude;
        generator.secondAmplitude = secondAmplitude;
        generator.stepSamples = stepSamples == 0 ? 1 : stepSamples;
        return generator;
    }

    // Parses a signal text (see the class comment) for talker channel `channel`. Returns false and sets
    // `error` to one sentence when the text is invalid or its WAV file cannot be loaded.
    static bool parse(const std::string& text, unsigned channel, SignalGenerator& out, std::string& error) {
        const std::string::size_type colon = text.find(':');
        const std::string signalKind = text.substr(0, colon);
        const std::string rest = colon == std::string::npos ? std::string() : text.substr(colon + 1);
        if (signalKind == "wav") {
            return parseWav(text, rest, channel, out, error);
        }
        const std::vector<std::string> fields = splitFields(rest, colon != std::string::npos);
        std::string why;
        if (signalKind == "sine") {
            why = parseSine(fields, out);
        } else if (signalKind == "noise") {
            why = parseNoise(fields, channel, out);
        } else if (signalKind == "steps") {
            why = parseSteps(fields, out);
        } else if (signalKind == "silence") {
            why = fields.empty() ? std::string() : "silence takes no parameters";
            out = silence();
        } else if (signalKind == "counter") {
            why = parseCounter(fields, out);
        } else if (signalKind == "special") {
            why = parseSpecial(fields, out);
        } else {
            why = "the kind must be sine, noise, steps, silence, counter, special or wav";
        }
        if (!why.empty()) {
            error = "invalid signal '" + text + "': " + why;
            return false;
        }
        return true;
    }

    // The sample at index `n` (see the class comment).
    std::int16_t sampleAt(std::uint64_t n) const {
        switch (signalKind) {
        case Kind::Silence:
        case Kind::Special:
            return 0;
        case Kind::Sine:
            return sineSample(amplitude, n);
        case Kind::Steps: {
            const double level = (n / stepSamples) % 2 == 0 ? amplitude : secondAmplitude;
            return sineSample(level, n);
        }
        case Kind::Noise: {
            return clamp(std::lround(static_cast<double>(noiseValue(n)) * amplitude));
        }
        case Kind::Counter:
            return static_cast<std::int16_t>(static_cast<std::uint16_t>(key + n));
        case Kind::Samples: {
            const std::size_t frames = sampleTable->size() / fileChannels;
            if (frames == 0) {
                return 0;
            }
            return (*sampleTable)[static_cast<std::size_t>(n % frames) * fileChannels + fileChannel];
        }
        }
        return 0;
    }

    // The value at index `n` as a fraction of full scale, before any rounding to 16 bits (see the class
    // comment).
    double valueAt(std::uint64_t n) const {
        switch (signalKind) {
        case Kind::Sine:
            return sineValue(amplitude, n);
        case Kind::Steps:
            return sineValue((n / stepSamples) % 2 == 0 ? amplitude : secondAmplitude, n);
        case Kind::Noise:
            return static_cast<double>(noiseValue(n)) * amplitude / 32768.0;
        case Kind::Special:
            return specialAt(n);
        case Kind::Silence:
        case Kind::Counter:
        case Kind::Samples:
            break;
        }
        return static_cast<double>(sampleAt(n)) / 32768.0;
    }

    // False for the signals that only the float format can carry.
    bool hasIntegerSamples() const { return signalKind != Kind::Special; }

    // A short human-readable description, for the talker's start-up line.
    const std::string& description() const { return descriptionText; }

    SignalGenerator() : SignalGenerator(Kind::Silence, "silence") {}

private:
    enum class Kind { Silence, Sine, Steps, Noise, Counter, Samples, Special };

    static constexpr double twoPi = 6.283185307179586476925286766559;

    SignalGenerator(Kind signalKind, std::string description)
        : signalKind(signalKind), descriptionText(std::move(description)) {}

    // SplitMix64 finaliser: a bijective mix whose output bits all depend on every input bit, which is all
    // white noise needs and, unlike the standard distributions, is the same on every library.
    static std::uint64_t mix(std::uint64_t x) {
        x += 0x9E3779B97F4A7C15ULL;
        x = (x ^ (x >> 30)) * 0xBF58476D1CE4E5B9ULL;
        x = (x ^ (x >> 27)) * 0x94D049BB133111EBULL;
        return x ^ (x >> 31);
    }

    static bool parseWav(const std::string& text, const std::string& path, unsigned channel,
                         SignalGenerator& out, std::string& error) {
        if (path.empty()) {
            error = "signal '" + text + "' needs a file: wav:PATH";
            return false;
        }
        WavFile file;
        if (!WavFile::load(path, file, error)) {
            return false;
        }
        out = samples(file.samples(), file.channels(), channel % file.channels(),
                      "wav " + path + " channel " + std::to_string(channel % file.channels()));
        return true;
    }

    // The colon-separated fields after the kind; none when the text has no colon.
    static std::vector<std::string> splitFields(const std::string& rest, bool present) {
        std::vector<std::string> fields;
        if (!present) {
            return fields;
        }
        std::string::size_type start = 0;
        while (true) {
            const std::string::size_type next = rest.find(':', start);
            fields.push_back(rest.substr(start, next - start));
            if (next == std::string::npos) {
                return fields;
            }
            start = next + 1;
        }
    }

    // Each parser below returns why its fields are invalid, or an empty text after filling `out`.
    static bool parseFrequency(const std::string& text, double& frequency) {
        return parseDouble(text, frequency) && frequency >= 0.0 && frequency <= sampleRate / 2;
    }

    static bool parseAmplitude(const std::string& text, double& amplitude) {
        return parseDouble(text, amplitude) && amplitude >= 0.0 && amplitude <= 1.0;
    }

    static std::string parseSine(const std::vector<std::string>& fields, SignalGenerator& out) {
        double frequency = 0.0;
        double amplitude = 0.5;
        if (fields.empty() || fields.size() > 2) {
            return "expected sine:FREQ[:AMP]";
        }
        if (fields.size() == 2 && !parseAmplitude(fields[1], amplitude)) {
            return "the amplitude must be a number from 0 to 1";
        }
        if (!parseFrequency(fields[0], frequency)) {
            return "the frequency must be a number of Hz from 0 to 24000";
        }
        out = sine(frequency, amplitude);
        return {};
    }

    static std::string parseNoise(const std::vector<std::string>& fields, unsigned channel,
                                  SignalGenerator& out) {
        std::uint64_t seed = 0;
        double amplitude = 0.5;
        if (fields.empty() || fields.size() > 2) {
            return "expected noise:SEED[:AMP]";
        }
        if (fields.size() == 2 && !parseAmplitude(fields[1], amplitude)) {
            return "the amplitude must be a number from 0 to 1";
        }
        if (!parseUnsigned(fields[0], seed)) {
            return "the seed must be an unsigned integer";
        }
        out = noise(seed, channel, amplitude);
        return {};
    }

    static std::string parseSteps(const std::vector<std::string>& fields, SignalGenerator& out) {
        double frequency = 0.0;
        double first = 0.0;
        double second = 0.0;
        double seconds = 0.0;
        if (fields.size() != 4) {
            return "expected steps:FREQ:AMP1:AMP2:SECONDS";
        }
        if (!parseFrequency(fields[0], frequency)) {
            return "the frequency must be a number of Hz from 0 to 24000";
        }
        if (!parseAmplitude(fields[1], first) || !parseAmplitude(fields[2], second)) {
            return "the amplitudes must be numbers from 0 to 1";
        }
        // At least one sample per step, and at most an hour.
        if (!parseDouble(fields[3], seconds) || seconds * sampleRate < 1.0 || seconds > 3600.0) {
            return "the step must last from one sample (1/48000 s) to 3600 seconds";
        }
        out = steps(frequency, first, second, static_cast<std::uint64_t>(std::llround(seconds * sampleRate)));
        return {};
    }

    static std::string parseSpecial(const std::vector<std::string>& fields, SignalGenerator& out) {
        static const std::pair<const char*, SpecialValue> names[] = {{"nan", SpecialValue::Nan},
                                                                     {"inf", SpecialValue::PlusInfinity},
                                                                     {"-inf", SpecialValue::MinusInfinity},
                                                                     {"cycle", SpecialValue::Cycle}};
        for (const auto& [name, which] : names) {
            if (fields.size() == 1 && fields[0] == name) {
                out = special(which);
                return {};
            }
        }
        return "expected special:nan, special:inf, special:-inf or special:cycle";
    }

    static std::string parseCounter(const std::vector<std::string>& fields, SignalGenerator& out) {
        std::uint64_t start = 0;
        if (fields.size() > 1 ||
            (fields.size() == 1 && (!parseUnsigned(fields[0], start) || start > 65535))) {
            return "expected counter[:START] with START from 0 to 65535";
        }
        out = counter(static_cast<std::uint16_t>(start));
        return {};
    }

    // Reducing the phase in whole cycles of the sample rate keeps it exact for integral frequencies however
    // long the stream runs.
    std::int16_t sineSample(double level, std::uint64_t n) const {
        const double cycles = std::fmod(frequencyHz * static_cast<double>(n), sampleRate) / sampleRate;
        return clamp(std::lround(level * 32767.0 * std::sin(twoPi * cycles)));
    }

    // The phase is folded into the first quarter of the cycle by subtractions that are exact, so that the
    // sine's zeros and peaks come out as exactly 0 and AMP, as the unrounded signal has them; sin(pi) of the
    // nearest double to pi would give 1.2e-16 instead of 0.
    double sineValue(double level, std::uint64_t n) const {
        double cycles = std::fmod(frequencyHz * static_cast<double>(n), sampleRate) / sampleRate;
        const bool negative = cycles >= 0.5;
        if (negative) {
            cycles -= 0.5;
        }
        if (cycles > 0.25) {
            cycles = 0.5 - cycles;
        }
        const double value = level * std::sin(twoPi * cycles);
        // Adding zero makes the zero of the negative half +0, as every other zero is.
        return (negative ? -value : value) + 0.0;
    }

    // The noise's uniform value r from -32768 to 32767, before its amplitude.
    std::int16_t noiseValue(std::uint64_t n) const {
        return static_cast<std::int16_t>(static_cast<std::uint16_t>(mix(key + n) >> 48));
    }

    double specialAt(std::uint64_t n) const {
        const SpecialValue which =
            specialValue == SpecialValue::Cycle ? static_cast<SpecialValue>(n % 4) : specialValue;
        switch (which) {
        case SpecialValue::Nan:
            return std::numeric_limits<double>::quiet_NaN();
        case SpecialValue::PlusInfinity:
            return std::numeric_limits<double>::infinity();
        case SpecialValue::MinusInfinity:
            return -std::numeric_limits<double>::infinity();
        case SpecialValue::Cycle:
            break;
        }
        return 0.5;
    }

    static std::int16_t clamp(long value) {
        return static_cast<std::int16_t>(value > 32767 ? 32767 : (value < -32768 ? -32768 : value));
    }

    // Numbers are read as on the rest of the command line: a finite real number, or a whole number in
    // decimal or 0x-hexadecimal.
    static bool parseDouble(const std::string& text, double& value) {
        const std::optional<double> parsed = commandline::parseReal(text, -HUGE_VAL, HUGE_VAL);
        value = parsed.value_or(0.0);
        return parsed.has_value();
    }

    static bool parseUnsigned(const std::string& text, std::uint64_t& value) {
        const std::optional<std::uint64_t> parsed = commandline::parseNumber(text);
        value = parsed.value_or(0);
        return parsed.has_value();
    }

    Kind signalKind;
    std::string descriptionText;
    double frequencyHz = 0.0;
    double amplitude = 0.0;
    double secondAmplitude = 0.0;
    std::uint64_t stepSamples = 1;
    std::uint64_t key = 0;
    std::shared_ptr<const std::vector<std::int16_t>> sampleTable;
    unsigned fileChannels = 1;
    unsigned fileChannel = 0;
    SpecialValue specialValue = SpecialValue::Nan;
};

} // namespace avtptalker
