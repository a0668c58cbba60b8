// Time per trigger of the spectrum processor at orders 10, 14 and 17: the whole calculation (with and
// without the moving average), and the parts it adds around the transform: the fetch of one frame from the
// ring and the copies into and out of the delivered record. The window, transform, power and averaging
// themselves are measured on their own by fft_benchmark and moving_average_benchmark.
#include "avb/AvbAudioBuffer.h"
#include "process/SpectrumConfig.h"
#include "process/SpectrumProcessor.h"
#include "sonacore/BufferConfiguration.h"
#include "sonacore/ChannelData.h"

#include <QCoreApplication>

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstddef>
#include <memory>
#include <random>
#include <vector>

namespace {

// The processor, built and run on the benchmark's thread under the internal clock, so that each call takes
// the newest frame of a full ring without waiting for a signal. Nothing listens to its deliveries, so the
// emission costs only its copy of the record.
struct Rig {
    explicit Rig(std::size_t order, bool averaged)
        : frameLength(std::size_t{1} << order), bufferConfiguration("bench buffer", 2 * frameLength),
          buffer("00a0c9112233_Ch0", &bufferConfiguration), configuration("bench", 0, 100) {
        configuration.setFftOrder(order);
        configuration.setMovingAverageWindowSize(8);
        configuration.setMovingAverageActivity(averaged);
        std::mt19937 generator(42);
        std::uniform_real_distribution<float> noise(-0.5f, 0.5f);
        std::vector<float> samples(2 * frameLength);
        for (float& sample : samples) {
            sample = noise(generator);
        }
        buffer.writeSamples(samples);
        processor.reset(static_cast<process::SpectrumProcessor*>(
            process::SpectrumProcessor::create("bench", configuration, buffer)));
        processor->start();
    }
    ~Rig() { processor->stop(); }

    std::size_t frameLength;
    sonacore::BufferConfiguration bufferConfiguration;
    avb::AvbAudioBuffer buffer;
    process::SpectrumConfig configuration;
    std::unique_ptr<process::SpectrumProcessor> processor;
};

void calculate(benchmark::State& state, bool averaged) {
    Rig rig(static_cast<std::size_t>(state.range(0)), averaged);
    for (auto _ : state) {
        rig.processor->calculate();
    }
    state.counters["us_per_trigger"] =
        benchmark::Counter(static_cast<double>(state.iterations()) * 1e-6,
                           benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void spectrumCalculate(benchmark::State& state) {
    calculate(state, false);
}

void spectrumCalculateAveraged(benchmark::State& state) {
    calculate(state, true);
}

void spectrumFetch(benchmark::State& state) {
    Rig rig(static_cast<std::size_t>(state.range(0)), false);
    for (auto _ : state) {
        std::vector<float> frame = rig.buffer.fetchSamples(rig.frameLength);
        benchmark::DoNotOptimize(frame.data());
    }
}

// What a trigger copies besides the transform's own buffers: the powers widened into y, y into the record,
// and the record into the delivery.
void spectrumCopies(benchmark::State& state) {
    const std::size_t bins = (std::size_t{1} << state.range(0)) / 2;
    std::vector<float> powers(bins, 0.25f);
    std::vector<double> y(bins);
    sonacore::ChannelData record;
    for (auto _ : state) {
        for (std::size_t bin = 0; bin < bins; ++bin) {
            y[bin] = static_cast<double>(powers[bin]);
        }
        record.getVectorData().setY(y);
        sonacore::ChannelData delivered(record);
        benchmark::DoNotOptimize(&delivered);
    }
}

} // namespace

BENCHMARK(spectrumCalculate)->Arg(10)->Arg(14)->Arg(17)->Unit(benchmark::kMicrosecond);
BENCHMARK(spectrumCalculateAveraged)->Arg(10)->Arg(14)->Arg(17)->Unit(benchmark::kMicrosecond);
BENCHMARK(spectrumFetch)->Arg(10)->Arg(14)->Arg(17)->Unit(benchmark::kMicrosecond);
BENCHMARK(spectrumCopies)->Arg(10)->Arg(14)->Arg(17)->Unit(benchmark::kMicrosecond);

int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
