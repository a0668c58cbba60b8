#pragma once

// References and helpers of the FFT wrapper's tests: the Hann window and the DFT in long double, written
// here independently of the library, seeded frames, and log lines in a form that can be compared.

#include "support/LogCapture.h"

#include <QtGlobal>

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <iomanip>
#include <limits>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace ffttest {

using LongComplex = std::complex<long double>;

constexpr long double pi = 3.14159265358979323846264338327950288L;

// Single precision's unit at 1, the scale of every tolerance of these tests.
constexpr long double floatEpsilon = std::numeric_limits<float>::epsilon();

inline std::vector<float> seededFrame(std::size_t length, std::uint32_t seed) {
    std::mt19937 generator(seed);
    std::uniform_real_distribution<float> distribution(-1.0f, 1.0f);
    std::vector<float> frame(length);
    for (float& sample : frame) {
        sample = distribution(generator);
    }
    return frame;
}

// The symmetric Hann window w[n] = 0.5 - 0.5 cos(2 pi n / (N - 1)), straight from its definition.
inline std::vector<long double> hannWindow(std::size_t length) {
    std::vector<long double> window(length);
    for (std::size_t n = 0; n < length; ++n) {
        window[n] = 0.5L - 0.5L * std::cos(2.0L * pi * static_cast<long double>(n) / (length - 1));
    }
    return window;
}

// The frame as the transform is meant to see it: multiplied by the window when it is on.
inline std::vector<long double> referenceFrame(const std::vector<float>& frame, bool windowed) {
    std::vector<long double> samples(frame.begin(), frame.end());
    if (windowed) {
        const std::vector<long double> window = hannWindow(frame.size());
        for (std::size_t n = 0; n < samples.size(); ++n) {
            samples[n] *= window[n];
        }
    }
    return samples;
}

// Bin k of the DFT divided by N, summed directly: (1/N) sum over n of x[n] exp(-2 pi i k n / N). The roots
// of unity come from a table indexed by k n mod N, so that no angle grows with k.
class DirectDft {
public:
    explicit DirectDft(std::size_t length) : cosines(length), sines(length) {
        for (std::size_t j = 0; j < length; ++j) {
            const long double angle = 2.0L * pi * static_cast<long double>(j) / length;
            cosines[j] = std::cos(angle);
            sines[j] = std::sin(angle);
        }
    }

    LongComplex bin(const std::vector<long double>& samples, std::size_t k) const {
        const std::size_t n = samples.size();
        long double re = 0.0L;
        long double im = 0.0L;
        for (std::size_t j = 0; j < n; ++j) {
            const std::size_t index = (k * j) % n;
            re += samples[j] * cosines[index];
            im -= samples[j] * sines[index];
        }
        return {re / n, im / n};
    }

private:
    std::vector<long double> cosines;
    std::vector<long double> sines;
};

// The same N bins by recursive halving (decimation in time) in long double, for lengths where the direct
// sum of every bin would take minutes. Its rounding, some 1e-19 relative, is far below any tolerance here.
inline void halvingDft(const LongComplex* data, std::size_t n, std::size_t stride, LongComplex* out,
                       const std::vector<LongComplex>& roots, std::size_t rootStep) {
    if (n == 1) {
        out[0] = data[0];
        return;
    }
    halvingDft(data, n / 2, stride * 2, out, roots, rootStep * 2);
    halvingDft(data + stride, n / 2, stride * 2, out + n / 2, roots, rootStep * 2);
    for (std::size_t k = 0; k < n / 2; ++k) {
        const LongComplex twiddled = roots[k * rootStep] * out[k + n / 2];
        out[k + n / 2] = out[k] - twiddled;
        out[k] = out[k] + twiddled;
    }
}

// Largest length whose every bin is summed directly.
constexpr std::size_t directDftLimit = 1024;

// All N bins of the DFT divided by N. Above directDftLimit the halving form is used, and it is held to the
// direct sum on a spread of bins before it is trusted.
inline std::vector<LongComplex> referenceDft(const std::vector<long double>& samples) {
    const std::size_t n = samples.size();
    const DirectDft direct(n);
    std::vector<LongComplex> bins(n);
    if (n <= directDftLimit) {
        for (std::size_t k = 0; k < n; ++k) {
            bins[k] = direct.bin(samples, k);
        }
        return bins;
    }
    std::vector<LongComplex> roots(n / 2);
    for (std::size_t k = 0; k < n / 2; ++k) {
        const long double angle = 2.0L * pi * static_cast<long double>(k) / n;
        roots[k] = {std::cos(angle), -std::sin(angle)};
    }
    const std::vector<LongComplex> data(samples.begin(), samples.end());
    halvingDft(data.data(), n, 1, bins.data(), roots, 1);
    for (LongComplex& bin : bins) {
        bin /= static_cast<long double>(n);
    }
    // The two long-double forms agree to far better than single precision.
    constexpr long double formsAgreement = 1e-15L;
    for (std::size_t k = 0; k < n; k += n / 32 + 1) {
        const LongComplex expected = direct.bin(samples, k);
        EXPECT_LE(std::abs(bins[k] - expected), formsAgreement) << "bin " << k;
    }
    return bins;
}

// Root mean square of the bins' magnitudes: the scale of the transform's rounding errors.
inline long double rootMeanSquare(const std::vector<LongComplex>& bins) {
    long double sum = 0.0L;
    for (const LongComplex& bin : bins) {
        sum += std::norm(bin);
    }
    return std::sqrt(sum / bins.size());
}

// A log line as "D <text>" or "W <text>", so that a sequence of lines compares in one assertion.
inline std::vector<std::string> levelsAndTexts(const testsupport::LogCapture& capture) {
    std::vector<std::string> result;
    for (const testsupport::LogLine& line : capture.lines()) {
        const char* level = line.level == QtDebugMsg ? "D " : line.level == QtWarningMsg ? "W " : "? ";
        result.push_back(level + line.text);
    }
    return result;
}

// How QDebug prints an address: "0x" and lower-case hexadecimal digits.
inline std::string debugAddress(const void* address) {
    std::ostringstream text;
    text << "0x" << std::hex << reinterpret_cast<std::uintptr_t>(address);
    return text.str();
}

// The address as the refusal of an occupied slot prints it: hexadecimal digits after its own "0x".
inline std::string hexDigits(const void* address) {
    std::ostringstream text;
    text << std::hex << reinterpret_cast<std::uintptr_t>(address);
    return text.str();
}

} // namespace ffttest
