#include "process/SpectrumProcessor.h"
#include "avb/AvbAudioBuffer.h"
#include "exceptions/SonaCoreException.h"
#include "process/ProcessConnection.h"
#include "process/ProcessingTestSupport.h"
#include "process/SpectrumConfig.h"
#include "process/WaveformConfig.h"
#include "sonacore/BufferConfiguration.h"
#include "support/EventLoop.h"
#include "support/LogCapture.h"
#include "threading/Controller.h"

#include <QObject>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace {

using Texts = std::vector<std::string>;
using LongComplex = std::complex<long double>;

const long double pi = 3.141592653589793238462643383279502884L;

// The multiplier of every delivered power value.
constexpr long double powerFactor = 5.334L;
// A delivered bin is a single-precision transform of a single-precision windowed frame. Its error against the
// exact spectrum is bounded by float rounding (2^-24 ≈ 6e-8) grown by log2(N) butterfly stages and the
// window multiply, relative to the frame's total power; 1e-6 of the largest bin covers the spread of that
// error over small bins, and 1e-5 relative covers the rounding of each large bin itself.
constexpr long double absoluteToleranceOfLargestBin = 1e-6L;
constexpr long double relativeTolerance = 1e-5L;

// The symmetric Hann window, both ends 0; frames of fewer than 4 samples go unwindowed.
std::vector<long double> hann(std::size_t n) {
    std::vector<long double> window(n, 1.0L);
    if (n < 4) {
        return window;
    }
    for (std::size_t i = 0; i < n; ++i) {
        window[i] =
            0.5L - 0.5L * std::cos(2.0L * pi * static_cast<long double>(i) / static_cast<long double>(n - 1));
    }
    return window;
}

// The forward transform, unscaled: a recursive radix-2 split down to single points, every twiddle taken from
// the sine and cosine of its own angle.
std::vector<LongComplex> radix2(const std::vector<LongComplex>& input) {
    const std::size_t n = input.size();
    if (n == 1) {
        return input;
    }
    std::vector<LongComplex> even(n / 2);
    std::vector<LongComplex> odd(n / 2);
    for (std::size_t i = 0; i < n / 2; ++i) {
        even[i] = input[2 * i];
        odd[i] = input[2 * i + 1];
    }
    const std::vector<LongComplex> evenSpectrum = radix2(even);
    const std::vector<LongComplex> oddSpectrum = radix2(odd);
    std::vector<LongComplex> output(n);
    for (std::size_t k = 0; k < n / 2; ++k) {
        const long double angle = -2.0L * pi * static_cast<long double>(k) / static_cast<long double>(n);
        const LongComplex twiddled = LongComplex(std::cos(angle), std::sin(angle)) * oddSpectrum[k];
        output[k] = evenSpectrum[k] + twiddled;
        output[k + n / 2] = evenSpectrum[k] - twiddled;
    }
    return output;
}

// The forward transform, unscaled: by its definition for frames up to 1024 samples, by the radix-2 split
// above for longer ones, where the definition would take minutes.
std::vector<LongComplex> transform(const std::vector<LongComplex>& input) {
    const std::size_t n = input.size();
    if (n > 1024) {
        return radix2(input);
    }
    std::vector<LongComplex> output(n);
    for (std::size_t k = 0; k < n; ++k) {
        LongComplex sum = 0.0L;
        for (std::size_t t = 0; t < n; ++t) {
            const long double angle =
                -2.0L * pi * static_cast<long double>((k * t) % n) / static_cast<long double>(n);
            sum += input[t] * LongComplex(std::cos(angle), std::sin(angle));
        }
        output[k] = sum;
    }
    return output;
}

// Bins 0 to N/2 - 1 of the power spectrum the processor should deliver for one frame.
std::vector<long double> referenceSpectrum(const std::vector<float>& frame) {
    const std::size_t n = frame.size();
    const std::vector<long double> window = hann(n);
    std::vector<LongComplex> windowed(n);
    for (std::size_t i = 0; i < n; ++i) {
        windowed[i] = static_cast<long double>(frame[i]) * window[i];
    }
    const std::vector<LongComplex> bins = transform(windowed);
    std::vector<long double> power(n / 2);
    for (std::size_t k = 0; k < n / 2; ++k) {
        power[k] = std::norm(bins[k] / static_cast<long double>(n)) * powerFactor;
    }
    return power;
}

::testing::AssertionResult matchesReference(const std::vector<double>& delivered,
                                            const std::vector<long double>& reference) {
    if (delivered.size() != reference.size()) {
        return ::testing::AssertionFailure() << delivered.size() << " bins instead of " << reference.size();
    }
    const long double largest = *std::max_element(reference.begin(), reference.end());
    for (std::size_t k = 0; k < reference.size(); ++k) {
        const long double error = std::fabs(static_cast<long double>(delivered[k]) - reference[k]);
        if (!(error <=
              absoluteToleranceOfLargestBin * largest + relativeTolerance * std::fabs(reference[k]))) {
            return ::testing::AssertionFailure() << "bin " << k << ": " << delivered[k] << " instead of "
                                                 << static_cast<double>(reference[k]) << " (largest bin "
                                                 << static_cast<double>(largest) << ")";
        }
    }
    return ::testing::AssertionSuccess();
}

// Seeded noise with a sine on top, so the spectrum has both a floor and a peak.
std::vector<float> testFrame(std::size_t n, std::uint32_t seed) {
    std::mt19937 generator(seed);
    std::uniform_real_distribution<float> noise(-0.25f, 0.25f);
    std::vector<float> frame(n);
    for (std::size_t i = 0; i < n; ++i) {
        frame[i] = noise(generator) +
                   0.5f * static_cast<float>(std::sin(2.0L * pi * 0.1234L * static_cast<long double>(i)));
    }
    return frame;
}

std::vector<double> binNumbers(std::size_t count) {
    std::vector<double> x(count);
    for (std::size_t k = 0; k < count; ++k) {
        x[k] = static_cast<double>(k);
    }
    return x;
}

// A spectrum processor on its own thread, fed by a buffer that signals once per frame of `frameLength`
// samples, with its results collected on the test's thread through a ProcessConnection.
class SpectrumRig {
public:
    SpectrumRig(std::size_t order, std::size_t bufferSize = 0)
        : frameLength(std::size_t{1} << order),
          bufferConfiguration("buffer configuration", bufferSize == 0 ? frameLength : bufferSize,
                              frameLength),
          buffer("00a0c9112233_Ch0", &bufferConfiguration), configuration("spectrum", 0) {
        processingtest::registerTypes();
        configuration.setFftOrder(order);
        processor = static_cast<process::SpectrumProcessor*>(
            process::SpectrumProcessor::create("S", configuration, buffer));
        QObject::connect(processor, &process::Processor::newProcessData, &connection,
                         &process::ProcessConnection::signalToCallbackConnector, Qt::AutoConnection);
        connection.setCallbackMethod(deliveries.callback());
        controller = std::make_unique<threading::Controller>(processor);
        processor->start();
    }

    // Writes one frame and waits for its delivery.
    bool deliver(const std::vector<float>& frame) {
        const std::size_t before = deliveries.count();
        buffer.writeSamples(frame);
        return testsupport::spinUntil([&] { return deliveries.count() > before; }, std::chrono::seconds(30));
    }

    const std::size_t frameLength;
    sonacore::BufferConfiguration bufferConfiguration;
    avb::AvbAudioBuffer buffer;
    process::SpectrumConfig configuration;
    processingtest::Deliveries deliveries;
    process::ProcessConnection connection{"S"};
    process::SpectrumProcessor* processor = nullptr;
    std::unique_ptr<threading::Controller> controller;
};

class SpectrumAccuracy : public ::testing::TestWithParam<std::size_t> {};

} // namespace

TEST_P(SpectrumAccuracy, EachDeliveryIsTheWindowedPowerSpectrumOfItsFrame) {
    const std::size_t order = GetParam();
    SpectrumRig rig(order);
    for (std::uint32_t frameNumber = 0; frameNumber < 2; ++frameNumber) {
        const std::vector<float> frame = testFrame(rig.frameLength, 1000 + frameNumber);
        ASSERT_TRUE(rig.deliver(frame));
        const processingtest::Delivery delivery = rig.deliveries.at(frameNumber);
        EXPECT_EQ(delivery.name, "DummyChannel");
        EXPECT_EQ(delivery.x, binNumbers(rig.frameLength / 2));
        EXPECT_TRUE(matchesReference(delivery.y, referenceSpectrum(frame))) << "order " << order;
    }
}

INSTANTIATE_TEST_SUITE_P(Orders, SpectrumAccuracy, ::testing::Values(1, 2, 5, 10, 14, 17));

TEST(SpectrumProcessor, TheDefaultConfigurationGivesOrderFourteenAndEightThousandBins) {
    processingtest::registerTypes();
    sonacore::BufferConfiguration bufferConfiguration("buffer configuration", 16384, 16384);
    avb::AvbAudioBuffer buffer("00a0c9112233_Ch0", &bufferConfiguration);
    process::SpectrumConfig configuration("spectrum", 100);
    std::unique_ptr<process::Processor> processor(
        process::SpectrumProcessor::create("S", configuration, buffer));
    auto* spectrum = static_cast<process::SpectrumProcessor*>(processor.get());
    EXPECT_EQ(spectrum->getBinCount(), 8192U);
    EXPECT_EQ(spectrum->getXValues(), binNumbers(8192));
    EXPECT_EQ(spectrum->getYValues(), std::vector<double>(8192, 0.0));
    EXPECT_EQ(configuration.getSampleAmount(), 16384U);
}

TEST(SpectrumProcessor, ConstructionLogsItsStepsAndSizesTheTransformFromTheAnnouncement) {
    processingtest::registerTypes();
    sonacore::BufferConfiguration bufferConfiguration("buffer configuration", 1024, 1024);
    avb::AvbAudioBuffer buffer("00a0c9112233_Ch0", &bufferConfiguration);
    process::SpectrumConfig configuration("spectrum", 100);
    configuration.setFftOrder(10);
    testsupport::LogCapture capture;
    std::unique_ptr<process::Processor> processor(
        process::SpectrumProcessor::create("S", configuration, buffer));
    EXPECT_TRUE(capture.contains(QtDebugMsg, "setFftOrder \"S_FFT\" FFT order is changed to:  10"));
    EXPECT_TRUE(capture.contains(QtDebugMsg, "sampleAmountChanged \"S\" Processed amount of samples:  1024"));
    EXPECT_TRUE(capture.contains(QtDebugMsg, "SpectrumProcessor Initialized"));
    EXPECT_EQ(capture.lines().back().text, "SpectrumProcessor Initialized");
}

TEST(SpectrumProcessor, OrderOneHasOneBinAndIsTransformedWithoutTheWindow) {
    SpectrumRig rig(1);
    EXPECT_EQ(rig.processor->getBinCount(), 1U);
    ASSERT_TRUE(rig.deliver({0.75f, 0.25f}));
    const processingtest::Delivery delivery = rig.deliveries.at(0);
    EXPECT_EQ(delivery.x, std::vector<double>{0.0});
    // Bin 0 of the unwindowed frame: ((0.75 + 0.25) / 2)^2 · 5.334. The sum and the halving are exact in
    // float, the square and the factor two roundings of 2^-24 on a value of 1.3.
    constexpr double twoFloatRoundings = 1e-6;
    ASSERT_EQ(delivery.y.size(), 1U);
    EXPECT_NEAR(delivery.y[0], 0.25 * 5.334, twoFloatRoundings);
}

TEST(SpectrumProcessor, SilenceDeliversZerosAndNoInfinities) {
    SpectrumRig rig(8);
    ASSERT_TRUE(rig.deliver(std::vector<float>(256, 0.0f)));
    EXPECT_EQ(rig.deliveries.at(0).y, std::vector<double>(128, 0.0));
}

TEST(SpectrumProcessor, AFrameShorterThanTheTransformIsRefusedAndNothingIsDelivered) {
    // The buffer holds fewer samples than one frame, so every fetch is short.
    SpectrumRig rig(8, 100);
    testsupport::LogCapture capture;
    rig.buffer.writeSamples(std::vector<float>(256, 0.5f));
    rig.buffer.writeSamples(std::vector<float>(256, 0.5f));
    ASSERT_TRUE(processingtest::drain(rig.processor));
    EXPECT_EQ(rig.deliveries.count(), 0U);
    const std::string shortFetch =
        "fetchSamples \"00a0c9112233_Ch0\" More samples requested than available by "
        "the buffer.  Only maximum available amount will be returned:  100  instead of  256";
    const std::string refused =
        "calculate \"S_FFT\" Input data vector size '  100 ' don't equals the predefined "
        "FFT size:  256 ! FFT calculation skipped!";
    EXPECT_EQ(capture.texts(QtWarningMsg), (Texts{shortFetch, refused, shortFetch, refused}));
}

TEST(SpectrumProcessor, ACalculationAfterStopDeliversNothing) {
    SpectrumRig rig(6);
    rig.processor->stop();
    rig.buffer.writeSamples(std::vector<float>(64, 0.5f));
    ASSERT_TRUE(processingtest::drain(rig.processor));
    EXPECT_EQ(rig.deliveries.count(), 0U);
}

TEST(SpectrumProcessor, AnOrderChangeDuringARunResizesTheBinsAndTheFrames) {
    SpectrumRig rig(10, 4096);
    ASSERT_TRUE(rig.deliver(testFrame(1024, 7)));
    EXPECT_EQ(rig.deliveries.at(0).y.size(), 512U);
    rig.configuration.setFftOrder(11);
    ASSERT_TRUE(processingtest::drain(rig.processor));
    EXPECT_EQ(rig.processor->getBinCount(), 1024U);
    // The buffer still signals every 1024 samples; each signal's frame is now the 2048 samples ending there.
    const std::vector<float> frame = testFrame(2048, 8);
    const std::size_t before = rig.deliveries.count();
    rig.buffer.writeSamples(frame);
    ASSERT_TRUE(testsupport::spinUntil([&] { return rig.deliveries.count() >= before + 2; }));
    const processingtest::Delivery last = rig.deliveries.at(before + 1);
    EXPECT_EQ(last.x, binNumbers(1024));
    EXPECT_TRUE(matchesReference(last.y, referenceSpectrum(frame)));
}

TEST(SpectrumProcessor, AnOrderAboveTheTransformsLimitDeliversNothingUntilAValidOrderComes) {
    SpectrumRig rig(6, 256);
    testsupport::LogCapture capture;
    rig.configuration.setFftOrder(28);
    ASSERT_TRUE(processingtest::drain(rig.processor));
    EXPECT_TRUE(capture.contains(QtWarningMsg,
                                 "setFftOrder \"S_FFT\" FFT order is out of range ( 1 up to  27 ):  28"))
        << capture.texts(QtWarningMsg).size();
    EXPECT_EQ(rig.processor->getBinCount(), 32U);
    rig.buffer.writeSamples(std::vector<float>(64, 0.5f));
    ASSERT_TRUE(processingtest::drain(rig.processor));
    EXPECT_EQ(rig.deliveries.count(), 0U);

    rig.configuration.setFftOrder(6);
    ASSERT_TRUE(processingtest::drain(rig.processor));
    const std::vector<float> frame = testFrame(64, 9);
    ASSERT_TRUE(rig.deliver(frame));
    EXPECT_TRUE(matchesReference(rig.deliveries.at(0).y, referenceSpectrum(frame)));
}

TEST(SpectrumProcessor, WithTheMovingAverageOnEachDeliveryIsTheMeanOfTheLatestWindowOfSpectra) {
    SpectrumRig rig(9);
    rig.configuration.setMovingAverageWindowSize(4);
    rig.configuration.setMovingAverageActivity(true);
    ASSERT_TRUE(processingtest::drain(rig.processor));
    std::vector<std::vector<long double>> spectra;
    for (std::uint32_t frameNumber = 0; frameNumber < 7; ++frameNumber) {
        const std::vector<float> frame = testFrame(512, 50 + frameNumber);
        ASSERT_TRUE(rig.deliver(frame));
        spectra.push_back(referenceSpectrum(frame));
        // The history before the first frame counts as zeros, and the sum is always divided by 4.
        std::vector<long double> mean(256, 0.0L);
        for (std::size_t back = 0; back < 4 && back < spectra.size(); ++back) {
            const std::vector<long double>& spectrum = spectra[spectra.size() - 1 - back];
            for (std::size_t k = 0; k < mean.size(); ++k) {
                mean[k] += spectrum[k] / 4.0L;
            }
        }
        EXPECT_TRUE(matchesReference(rig.deliveries.at(frameNumber).y, mean)) << "delivery " << frameNumber;
    }
}

TEST(SpectrumProcessor, SettingsOfAnotherProcessorAreRefused) {
    sonacore::BufferConfiguration bufferConfiguration("buffer configuration", 64, 64);
    avb::AvbAudioBuffer buffer("00a0c9112233_Ch0", &bufferConfiguration);
    process::WaveformConfig waveform("wave", 64);
    EXPECT_THROW(process::SpectrumProcessor::create("S", waveform, buffer),
                 exceptions::InstanceNotConvertable);
}
