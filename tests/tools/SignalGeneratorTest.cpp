#include "SignalGenerator.h"
#include "FloatSineReference.h"
#include "WavFile.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include <unistd.h>

using avtptalker::SignalGenerator;
using avtptalker::WavFile;
using toolstest::referenceFloatSine;

namespace {

SignalGenerator parsed(const std::string& text, unsigned channel = 0) {
    SignalGenerator generator;
    std::string error;
    EXPECT_TRUE(SignalGenerator::parse(text, channel, generator, error)) << error;
    return generator;
}

std::string parseError(const std::string& text) {
    SignalGenerator generator;
    std::string error;
    EXPECT_FALSE(SignalGenerator::parse(text, 0, generator, error)) << text;
    return error;
}

std::string writeWav(const std::vector<std::int16_t>& interleaved, unsigned channels, unsigned bits = 16) {
    char path[] = "/tmp/sonacore-signal-test-XXXXXX";
    const int fd = ::mkstemp(path);
    EXPECT_GE(fd, 0);
    ::close(fd);
    std::ofstream out(path, std::ios::binary);
    const auto le16 = [&](unsigned v) { out.put(char(v & 0xff)).put(char((v >> 8) & 0xff)); };
    const auto le32 = [&](std::uint32_t v) {
        le16(v & 0xffff);
        le16(v >> 16);
    };
    const auto dataBytes = static_cast<std::uint32_t>(interleaved.size() * 2);
    out.write("RIFF", 4);
    le32(4 + 26 + 8 + 8 + dataBytes);
    out.write("WAVE", 4);
    // An odd-sized chunk before the format chunk, which a reader must skip with its pad byte.
    out.write("LIST", 4);
    le32(1);
    out.put('x').put('\0');
    out.write("fmt ", 4);
    le32(16);
    le16(1);
    le16(channels);
    le32(44100);
    le32(44100 * 2 * channels);
    le16(2 * channels);
    le16(bits);
    out.write("data", 4);
    le32(dataBytes);
    for (const std::int16_t sample : interleaved) {
        le16(static_cast<std::uint16_t>(sample));
    }
    return path;
}

TEST(SignalGenerator, SineStartsAtZeroAndPeaksAtAQuarterPeriod) {
    const SignalGenerator sine = parsed("sine:1000:0.5");
    EXPECT_EQ(sine.sampleAt(0), 0);
    EXPECT_EQ(sine.sampleAt(12), 16384) << "0.5 * 32767 rounds half away from zero";
    EXPECT_EQ(sine.sampleAt(24), 0);
    EXPECT_EQ(sine.sampleAt(36), -16384);
    EXPECT_EQ(parsed("sine:1000:1").sampleAt(12), 32767);
    EXPECT_EQ(parsed("sine:1000").sampleAt(12), 16384) << "the amplitude defaults to 0.5";
}

TEST(SignalGenerator, SineOfAnIntegralFrequencyRepeatsExactlyEvenAfterHours) {
    const SignalGenerator sine = parsed("sine:997:0.9");
    const std::uint64_t anHour = 48000ull * 3600;
    for (std::uint64_t n = 0; n < 48000; n += 7) {
        ASSERT_EQ(sine.sampleAt(n), sine.sampleAt(n + anHour)) << n;
    }
}

TEST(SignalGenerator, SineGoldenValuesStayTheSame) {
    const SignalGenerator sine = parsed("sine:1000:0.5");
    const std::vector<std::int16_t> golden{0,     2138,  4240,  6270,  8192,  9974,
                                           11585, 12998, 14189, 15136, 15825, 16243};
    for (std::size_t n = 0; n < golden.size(); ++n) {
        EXPECT_EQ(sine.sampleAt(n), golden[n]) << n;
    }
}

TEST(SignalGenerator, NoiseIsReproducibleFromItsSeed) {
    const SignalGenerator first = parsed("noise:42:1");
    const SignalGenerator again = parsed("noise:42:1");
    for (std::uint64_t n = 0; n < 1000; ++n) {
        ASSERT_EQ(first.sampleAt(n), again.sampleAt(n));
    }
}

TEST(SignalGenerator, NoiseGoldenValuesStayTheSame) {
    // Computed apart from this code, from the SplitMix64 definition, so that a change of the mix is caught.
    const SignalGenerator noise = parsed("noise:42:1", 0);
    const std::vector<std::int16_t> golden{12792, 5886, 23569, -14870, -12991, 24927, -17644, -4837};
    for (std::size_t n = 0; n < golden.size(); ++n) {
        EXPECT_EQ(noise.sampleAt(n), golden[n]) << n;
    }
}

TEST(SignalGenerator, NoiseDiffersBetweenSeedsAndBetweenChannels) {
    const SignalGenerator base = parsed("noise:42:1", 0);
    const SignalGenerator otherSeed = parsed("noise:43:1", 0);
    const SignalGenerator otherChannel = parsed("noise:42:1", 1);
    int sameSeedDiffers = 0;
    int sameChannelDiffers = 0;
    for (std::uint64_t n = 0; n < 100; ++n) {
        sameSeedDiffers += base.sampleAt(n) != otherChannel.sampleAt(n);
        sameChannelDiffers += base.sampleAt(n) != otherSeed.sampleAt(n);
    }
    EXPECT_GT(sameSeedDiffers, 95);
    EXPECT_GT(sameChannelDiffers, 95);
}

TEST(SignalGenerator, NoiseSpansTheFullScaleAtAmplitudeOneAndScalesDown) {
    const SignalGenerator full = parsed("noise:1:1");
    const SignalGenerator half = parsed("noise:1");
    const SignalGenerator none = parsed("noise:1:0");
    int minimum = 0;
    int maximum = 0;
    for (std::uint64_t n = 0; n < 20000; ++n) {
        minimum = std::min<int>(minimum, full.sampleAt(n));
        maximum = std::max<int>(maximum, full.sampleAt(n));
        ASSERT_LE(std::abs(half.sampleAt(n)), 16384);
        ASSERT_EQ(none.sampleAt(n), 0);
    }
    EXPECT_LT(minimum, -32000);
    EXPECT_GT(maximum, 32000);
}

TEST(SignalGenerator, CounterCountsModulo65536AsSigned) {
    const SignalGenerator counter = parsed("counter:65534");
    EXPECT_EQ(counter.sampleAt(0), -2);
    EXPECT_EQ(counter.sampleAt(1), -1);
    EXPECT_EQ(counter.sampleAt(2), 0);
    EXPECT_EQ(counter.sampleAt(65536 + 3), 1);
    EXPECT_EQ(parsed("counter").sampleAt(32767), 32767);
    EXPECT_EQ(parsed("counter").sampleAt(32768), -32768);
}

TEST(SignalGenerator, SilenceIsZero) {
    const SignalGenerator silence = parsed("silence");
    for (std::uint64_t n = 0; n < 100; ++n) {
        ASSERT_EQ(silence.sampleAt(n), 0);
    }
}

TEST(SignalGenerator, DefaultGivesEachChannelItsOwnSine) {
    EXPECT_EQ(SignalGenerator::defaultFor(0).sampleAt(12), 16384) << "1 kHz on channel 0";
    EXPECT_EQ(SignalGenerator::defaultFor(1).sampleAt(6), 16384) << "2 kHz on channel 1";
    EXPECT_EQ(SignalGenerator::defaultFor(16).sampleAt(12), 16384)
        << "the frequencies repeat after 16 channels";
}

TEST(SignalGenerator, WavChannelsMapToTalkerChannelsAndLoop) {
    const std::string path = writeWav({10, 20, 11, 21, 12, 22}, 2);
    const SignalGenerator left = parsed("wav:" + path, 0);
    const SignalGenerator right = parsed("wav:" + path, 1);
    const SignalGenerator leftAgain = parsed("wav:" + path, 2);
    std::remove(path.c_str());
    EXPECT_EQ(left.sampleAt(0), 10);
    EXPECT_EQ(left.sampleAt(2), 12);
    EXPECT_EQ(left.sampleAt(3), 10) << "the file loops";
    EXPECT_EQ(right.sampleAt(1), 21);
    EXPECT_EQ(leftAgain.sampleAt(4), 11) << "channel 2 plays file channel 0";
}

TEST(WavFile, LoadsSixteenBitPcmAndKeepsItsRate) {
    const std::string path = writeWav({-32768, 32767, 1}, 1);
    WavFile file;
    std::string error;
    EXPECT_TRUE(WavFile::load(path, file, error)) << error;
    std::remove(path.c_str());
    EXPECT_EQ(file.channels(), 1u);
    EXPECT_EQ(file.sampleRate(), 44100u);
    ASSERT_EQ(file.frames(), 3u);
    EXPECT_EQ(*file.samples(), (std::vector<std::int16_t>{-32768, 32767, 1}));
}

TEST(WavFile, RefusesOtherSampleWidths) {
    const std::string path = writeWav({0, 0}, 1, 24);
    WavFile file;
    std::string error;
    EXPECT_FALSE(WavFile::load(path, file, error));
    EXPECT_EQ(error, "'" + path + "' is not 16-bit PCM");
    std::remove(path.c_str());
}

// The sample of a sine of `amplitude` at index n, typed out from its definition in long double.
long double referenceSine(long double frequency, long double amplitude, std::uint64_t n) {
    const long double pi = 3.141592653589793238462643383279502884L;
    return amplitude * 32767.0L * std::sin(2.0L * pi * frequency * static_cast<long double>(n) / 48000.0L);
}

TEST(SignalGenerator, StepsAlternateTheAmplitudeEveryStepStartingWithTheFirst) {
    // 0.01 s steps: 480 samples at the first amplitude, 480 at the second, and so on.
    const SignalGenerator steps = parsed("steps:1000:0.8:0.1:0.01");
    for (std::uint64_t n = 0; n < 4 * 480; ++n) {
        const long double amplitude = (n / 480) % 2 == 0 ? 0.8L : 0.1L;
        ASSERT_LE(std::fabs(steps.sampleAt(n) - referenceSine(1000.0L, amplitude, n)), 0.5L + 1e-6L) << n;
    }
}

TEST(SignalGenerator, StepsKeepTheirPatternAfterAnHour) {
    const SignalGenerator steps = parsed("steps:440:1:0.25:2");
    const std::uint64_t anHour = 48000ull * 3600;
    for (std::uint64_t n = anHour; n < anHour + 3 * 96000; n += 997) {
        const long double amplitude = (n / 96000) % 2 == 0 ? 1.0L : 0.25L;
        ASSERT_LE(std::fabs(steps.sampleAt(n) - referenceSine(440.0L, amplitude, n)), 0.5L + 1e-6L) << n;
    }
}

TEST(SignalGenerator, StepsChangeLevelOnTheFirstSampleOfEachStep) {
    const SignalGenerator steps = parsed("steps:1000:1:0:0.001");
    // 48 samples a step; the second step is silent, the third loud again.
    EXPECT_EQ(steps.sampleAt(12), 32767);
    EXPECT_EQ(steps.sampleAt(48 + 12), 0);
    EXPECT_EQ(steps.sampleAt(96 + 12), 32767);
}

TEST(SignalGenerator, InvalidStepsAreExplained) {
    EXPECT_EQ(parseError("steps:1000:0.5:0.1"),
              "invalid signal 'steps:1000:0.5:0.1': expected steps:FREQ:AMP1:AMP2:SECONDS");
    EXPECT_EQ(parseError("steps:30000:0.5:0.1:1"),
              "invalid signal 'steps:30000:0.5:0.1:1': the frequency must be a number of Hz from 0 to 24000");
    EXPECT_EQ(parseError("steps:1000:0.5:2:1"),
              "invalid signal 'steps:1000:0.5:2:1': the amplitudes must be numbers from 0 to 1");
    EXPECT_EQ(parseError("steps:1000:0.5:0.1:0"), "invalid signal 'steps:1000:0.5:0.1:0': the step must last "
                                                  "from one sample (1/48000 s) to 3600 seconds");
    EXPECT_EQ(parseError("steps:1000:0.5:0.1:4000"),
              "invalid signal 'steps:1000:0.5:0.1:4000': the step must "
              "last from one sample (1/48000 s) to 3600 seconds");
}

TEST(SignalGenerator, ValueOfASineIsItsFractionOfFullScaleBeforeRounding) {
    const SignalGenerator sine = parsed("sine:997:0.9");
    for (std::uint64_t n = 0; n < 4800; ++n) {
        ASSERT_EQ(static_cast<float>(sine.valueAt(n)), referenceFloatSine(997, 0.9L, n)) << "sample " << n;
    }
    const SignalGenerator full = parsed("sine:1000:1");
    EXPECT_EQ(full.valueAt(12), 1.0) << "full scale at a quarter period";
    EXPECT_EQ(full.valueAt(36), -1.0);
    // +0, not -0, at the zero that starts the negative half.
    EXPECT_EQ(std::signbit(full.valueAt(24)), false);
    EXPECT_EQ(full.valueAt(24), 0.0);
}

TEST(SignalGenerator, ValueOfStepsFollowsTheAmplitudeOfItsStep) {
    const SignalGenerator steps = parsed("steps:1000:1:0.25:0.001");
    for (std::uint64_t n = 0; n < 480; ++n) {
        const long double amplitude = (n / 48) % 2 == 0 ? 1.0L : 0.25L;
        ASSERT_EQ(static_cast<float>(steps.valueAt(n)), referenceFloatSine(1000, amplitude, n))
            << "sample " << n;
    }
}

TEST(SignalGenerator, ValueOfCounterAndWavIsTheSampleOverFullScale) {
    const SignalGenerator counter = parsed("counter:65534");
    EXPECT_EQ(counter.valueAt(0), -2.0 / 32768.0);
    EXPECT_EQ(counter.valueAt(2), 0.0);
    EXPECT_EQ(parsed("counter:32768").valueAt(0), -1.0);
    EXPECT_EQ(parsed("counter:32767").valueAt(0), 32767.0 / 32768.0);
    const std::string path = writeWav({-32768, 1000}, 1);
    const SignalGenerator wav = parsed("wav:" + path);
    std::remove(path.c_str());
    EXPECT_EQ(wav.valueAt(0), -1.0);
    EXPECT_EQ(wav.valueAt(1), 1000.0 / 32768.0);
    EXPECT_EQ(parsed("silence").valueAt(5), 0.0);
}

TEST(SignalGenerator, ValueOfNoiseIsItsSampleBeforeRounding) {
    const SignalGenerator full = parsed("noise:7:1");
    const SignalGenerator half = parsed("noise:7:0.5");
    for (std::uint64_t n = 0; n < 1000; ++n) {
        ASSERT_EQ(full.valueAt(n), full.sampleAt(n) / 32768.0) << "sample " << n;
        ASSERT_EQ(half.valueAt(n), full.sampleAt(n) * 0.5 / 32768.0) << "sample " << n;
        ASSERT_EQ(std::lround(half.valueAt(n) * 32768.0), half.sampleAt(n)) << "sample " << n;
    }
}

TEST(SignalGenerator, SpecialSignalsGiveNanAndInfinitiesAndNoIntegerSamples) {
    const SignalGenerator nan = parsed("special:nan");
    const SignalGenerator inf = parsed("special:inf");
    const SignalGenerator minusInf = parsed("special:-inf");
    const SignalGenerator cycle = parsed("special:cycle");
    for (std::uint64_t n = 0; n < 8; ++n) {
        EXPECT_TRUE(std::isnan(nan.valueAt(n)));
        EXPECT_EQ(inf.valueAt(n), HUGE_VAL);
        EXPECT_EQ(minusInf.valueAt(n), -HUGE_VAL);
        EXPECT_EQ(nan.sampleAt(n), 0);
    }
    EXPECT_TRUE(std::isnan(cycle.valueAt(4)));
    EXPECT_EQ(cycle.valueAt(5), HUGE_VAL);
    EXPECT_EQ(cycle.valueAt(6), -HUGE_VAL);
    EXPECT_EQ(cycle.valueAt(7), 0.5);
    EXPECT_FALSE(cycle.hasIntegerSamples());
    EXPECT_TRUE(parsed("sine:1000").hasIntegerSamples());
}

TEST(SignalGenerator, InvalidTextsAreExplained) {
    EXPECT_EQ(parseError("square:1000"),
              "invalid signal 'square:1000': the kind must be sine, noise, steps, silence, "
              "counter, special or wav");
    EXPECT_EQ(parseError("sine"), "invalid signal 'sine': expected sine:FREQ[:AMP]");
    EXPECT_EQ(parseError("sine:abc"),
              "invalid signal 'sine:abc': the frequency must be a number of Hz from 0 to 24000");
    EXPECT_EQ(parseError("sine:1000:1.5"),
              "invalid signal 'sine:1000:1.5': the amplitude must be a number from 0 to 1");
    EXPECT_EQ(parseError("noise:-1"), "invalid signal 'noise:-1': the seed must be an unsigned integer");
    EXPECT_EQ(parseError("silence:1"), "invalid signal 'silence:1': silence takes no parameters");
    EXPECT_EQ(parseError("counter:70000"),
              "invalid signal 'counter:70000': expected counter[:START] with START from 0 to 65535");
    EXPECT_EQ(parseError("special:zero"), "invalid signal 'special:zero': expected special:nan, special:inf, "
                                          "special:-inf or special:cycle");
    EXPECT_EQ(parseError("special"), "invalid signal 'special': expected special:nan, special:inf, "
                                     "special:-inf or special:cycle");
    EXPECT_EQ(parseError("wav:"), "signal 'wav:' needs a file: wav:PATH");
    EXPECT_EQ(parseError("wav:/nonexistent.wav"), "cannot open WAV file '/nonexistent.wav'");
}

} // namespace
