#pragma once

// An independent level meter for tests: the A and C weighting cascades typed out from their listed taps and
// run sample by sample in direct form I, the fast and slow time weighting, the strict block maxima and
// 10 log10, all in long double; the blocks a meter under the buffer's signal takes from a stream; and the
// response of a cascade. It knows nothing of the library, so that both the unit tests and hosts' end-to-end
// tests can hold the library's meter against it.

#include <array>
#include <cmath>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace soundlevelreference {

// The weighting cascades at 48000 Hz as listed for the meter: sections of b0, b1, b2, a0, a1, a2, each value
// a single-precision number widened to double. Typed out here a second time on purpose, so that a slip in
// either copy shows as a mismatch.
constexpr std::array<double, 18> aWeightingTaps{0.10307251662015915,   -0.07544908672571182,
                                                -0.027623435482382774, 1.0,
                                                -1.9946142435073853,   0.9946214556694031,
                                                1.183416724205017,     -2.366833448410034,
                                                1.183416724205017,     1.0,
                                                -1.89385986328125,     0.8951497673988342,
                                                4.769514083862305,     -3.4912843704223633,
                                                -1.278229832649231,    1.0,
                                                -0.22457602620124817,  0.012608597986400127};
constexpr std::array<double, 12> cWeightingTaps{0.10307244956493378,   -0.07544903457164764,
                                                -0.027623416855931282, 1.0,
                                                -1.994612216949463,    0.9946195483207703,
                                                4.780937671661377,     -3.4996461868286133,
                                                -1.2812912464141846,   1.0,
                                                -0.22422178089618683,  0.012568851001560688};

// Time weighting: the weights of a new squared sample and of the old state, as double.
constexpr double fastNewWeight = 0.000166652779;
constexpr double fastOldWeight = 0.999833347221;
constexpr double slowNewWeight = 2.0833116e-05;
constexpr double slowOldWeight = 0.999979166884;

constexpr std::size_t valueCount = 7;
constexpr double sampleRate = 48000.0;

using Levels = std::array<long double, valueCount>;

// A biquad cascade run sample by sample in direct form I, in long double, from taps given as doubles.
class ReferenceCascade {
public:
    template <std::size_t N> explicit ReferenceCascade(const std::array<double, N>& taps) {
        for (std::size_t s = 0; s < N / 6; ++s) {
            const double* t = taps.data() + 6 * s;
            sections.push_back(Section{t[0], t[1], t[2], t[3], t[4], t[5]});
        }
    }

    long double step(long double x) {
        for (Section& s : sections) {
            const long double y = (s.b0 * x + s.b1 * s.x1 + s.b2 * s.x2 - s.a1 * s.y1 - s.a2 * s.y2) / s.a0;
            s.x2 = s.x1;
            s.x1 = x;
            s.y2 = s.y1;
            s.y1 = y;
            x = y;
        }
        return x;
    }

private:
    struct Section {
        long double b0, b1, b2, a0, a1, a2;
        long double x1 = 0.0L, x2 = 0.0L, y1 = 0.0L, y2 = 0.0L;
    };
    std::vector<Section> sections;
};

// The level meter, one sample at a time, in long double: both cascades, the squares, the fast and slow
// weighting of each path, the block's strict maxima, dBFS as a copy of dBZ fast, and 10 log10.
class ReferenceMeter {
public:
    Levels block(const std::vector<float>& samples) {
        Levels maxima{};
        for (const float sample : samples) {
            const long double z = sample;
            const long double a = aCascade.step(z);
            const long double c = cCascade.step(z);
            weigh(0, 1, a * a, maxima);
            weigh(2, 3, c * c, maxima);
            weigh(4, 5, z * z, maxima);
        }
        maxima[6] = maxima[4];
        Levels decibels{};
        for (std::size_t i = 0; i < valueCount; ++i) {
            decibels[i] = 10.0L * std::log10(maxima[i]);
        }
        return decibels;
    }

private:
    void weigh(std::size_t fast, std::size_t slow, long double square, Levels& maxima) {
        states[fast] = states[fast] * static_cast<long double>(fastOldWeight) +
                       square * static_cast<long double>(fastNewWeight);
        states[slow] = states[slow] * static_cast<long double>(slowOldWeight) +
                       square * static_cast<long double>(slowNewWeight);
        if (states[fast] > maxima[fast]) {
            maxima[fast] = states[fast];
        }
        if (states[slow] > maxima[slow]) {
            maxima[slow] = states[slow];
        }
    }

    ReferenceCascade aCascade{aWeightingTaps};
    ReferenceCascade cCascade{cWeightingTaps};
    Levels states{};
};

// The blocks a processor works on when `stream` is written as consecutive triggers of the given sizes after
// its start, under the external clock, with `sampleAmount` as the configuration's amount: the first trigger
// builds the filters, the others accumulate until six times the latest size is reached, and each block is
// the `sampleAmount` samples that end at the completing trigger, cut or padded with zeros to the
// accumulated amount. Samples before the stream's start read as zeros (a fresh ring).
inline std::vector<std::vector<float>> expectedBlocks(const std::vector<float>& stream,
                                                      const std::vector<std::size_t>& sizes,
                                                      std::size_t sampleAmount) {
    std::vector<std::vector<float>> blocks;
    std::size_t end = 0;
    std::size_t accumulated = 0;
    bool built = false;
    for (const std::size_t size : sizes) {
        end += size;
        if (!built) {
            built = true;
            continue;
        }
        accumulated += size;
        if (accumulated < size * 6) {
            continue;
        }
        std::vector<float> fetched(sampleAmount, 0.0f);
        for (std::size_t i = 0; i < sampleAmount; ++i) {
            if (end + i >= sampleAmount) {
                fetched[i] = stream.at(end + i - sampleAmount);
            }
        }
        fetched.resize(accumulated, 0.0f);
        blocks.push_back(fetched);
        accumulated = 0;
    }
    return blocks;
}

// The levels a processor delivers for those blocks.
inline std::vector<Levels> expectedLevels(const std::vector<std::vector<float>>& blocks) {
    ReferenceMeter meter;
    std::vector<Levels> levels;
    for (const auto& block : blocks) {
        levels.push_back(meter.block(block));
    }
    return levels;
}

// 20 log10 |H(e^jw)| of a cascade at `frequency` Hz and 48000 Hz, in long double.
template <std::size_t N>
long double responseDecibels(const std::array<double, N>& taps, long double frequency) {
    const long double pi = 3.141592653589793238462643383279502884L;
    const std::complex<long double> z1 = std::polar(1.0L, -2.0L * pi * frequency / sampleRate);
    const std::complex<long double> z2 = z1 * z1;
    std::complex<long double> response(1.0L, 0.0L);
    for (std::size_t s = 0; s < N / 6; ++s) {
        const double* t = taps.data() + 6 * s;
        const std::complex<long double> numerator = static_cast<long double>(t[0]) +
                                                    static_cast<long double>(t[1]) * z1 +
                                                    static_cast<long double>(t[2]) * z2;
        const std::complex<long double> denominator = static_cast<long double>(t[3]) +
                                                      static_cast<long double>(t[4]) * z1 +
                                                      static_cast<long double>(t[5]) * z2;
        response *= numerator / denominator;
    }
    return 20.0L * std::log10(std::abs(response));
}

} // namespace soundlevelreference
