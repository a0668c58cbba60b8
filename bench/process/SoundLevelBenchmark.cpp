// Times the sound level processor in nanoseconds per sample for blocks of 4800 samples (0.1 s of audio at
// 48000 Hz): the whole processing of a block (both cascades, the three squares and the time weighting),
// each part alone, and the processor's calculate over the six triggers that make one block, fetches and
// delivery included.
//
// Run: soundlevel_benchmark   (the "ns_per_sample" counter is the figure to read)

#include "avb/AvbAudioBuffer.h"
#include "ipp/ippsiir.h"
#include "ipp/ippsmemory.h"
#include "ipp/ippsvector.h"
#include "process/SoundLevelValueConfig.h"
#include "process/SoundLevelValueProcessor.h"
#include "sonacore/BufferConfiguration.h"

#include <benchmark/benchmark.h>

#include <QCoreApplication>
#include <QtGlobal>

#include <array>
#include <cstddef>
#include <memory>
#include <random>
#include <vector>

namespace {

constexpr int kBlock = 4800;
constexpr std::size_t kTrigger = kBlock / 6;

void quiet(QtMsgType, const QMessageLogContext&, const QString&) {}

std::vector<double> noiseBlock() {
    std::vector<double> samples(kBlock);
    std::mt19937_64 generator(11);
    std::uniform_real_distribution<double> distribution(-0.5, 0.5);
    for (double& sample : samples) {
        sample = distribution(generator);
    }
    return samples;
}

void perSample(benchmark::State& state) {
    state.counters["ns_per_sample"] =
        benchmark::Counter(static_cast<double>(state.iterations()) * kBlock,
                           benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

// One cascade of the processor, built from its own taps.
class Cascade {
public:
    template <std::size_t N> explicit Cascade(const std::array<double, N>& taps) {
        const int sections = static_cast<int>(N / 6);
        int size = 0;
        ippsIIRGetStateSize_BiQuad_64f(sections, &size);
        buffer = ippsMalloc_8u(size);
        ippsIIRInit_BiQuad_64f(&state, taps.data(), sections, nullptr, buffer);
    }
    ~Cascade() { ippsFree(buffer); }
    Cascade(const Cascade&) = delete;
    Cascade& operator=(const Cascade&) = delete;

    void run(const std::vector<double>& source, std::vector<double>& destination) {
        ippsIIR_64f(source.data(), destination.data(), kBlock, state);
    }

private:
    unsigned char* buffer = nullptr;
    IirState* state = nullptr;
};

// The taps as the processor holds them.
struct Taps {
    Taps() {
        qInstallMessageHandler(quiet);
        {
            sonacore::BufferConfiguration bufferConfiguration("bench", kBlock, 0);
            avb::AvbAudioBuffer buffer("bench_Ch0", &bufferConfiguration);
            process::SoundLevelValueConfig configuration("bench", kBlock);
            process::SoundLevelValueProcessor processor("bench", &configuration, &buffer, nullptr);
            a = processor.getAFilterTaps();
            c = processor.getCFilterTaps();
        }
        qInstallMessageHandler(nullptr);
    }
    std::array<double, 18> a{};
    std::array<double, 12> c{};
};

const Taps& taps() {
    static const Taps instance;
    return instance;
}

void aCascade(benchmark::State& state) {
    Cascade cascade(taps().a);
    const std::vector<double> source = noiseBlock();
    std::vector<double> filtered(kBlock);
    for (auto _ : state) {
        cascade.run(source, filtered);
        benchmark::DoNotOptimize(filtered.data());
        benchmark::ClobberMemory();
    }
    perSample(state);
}

void cCascade(benchmark::State& state) {
    Cascade cascade(taps().c);
    const std::vector<double> source = noiseBlock();
    std::vector<double> filtered(kBlock);
    for (auto _ : state) {
        cascade.run(source, filtered);
        benchmark::DoNotOptimize(filtered.data());
        benchmark::ClobberMemory();
    }
    perSample(state);
}

// The three squares of a block: A, C and unweighted.
void squares(benchmark::State& state) {
    const std::vector<double> source = noiseBlock();
    std::vector<double> squared(kBlock);
    for (auto _ : state) {
        for (int path = 0; path < 3; ++path) {
            ippsSqr_64f(source.data(), squared.data(), kBlock);
            benchmark::DoNotOptimize(squared.data());
            benchmark::ClobberMemory();
        }
    }
    perSample(state);
}

// The fast and slow weighting of the three paths.
void timeWeighting(benchmark::State& state) {
    std::vector<double> squared = noiseBlock();
    for (double& value : squared) {
        value *= value;
    }
    std::array<double, 6> states{};
    for (auto _ : state) {
        std::array<double, 6> maxima{};
        for (std::size_t path = 0; path < 3; ++path) {
            process::SoundLevelValueProcessor::weightInTime(squared.data(), squared.size(), states[2 * path],
                                                            states[2 * path + 1], maxima[2 * path],
                                                            maxima[2 * path + 1]);
        }
        benchmark::DoNotOptimize(maxima.data());
    }
    perSample(state);
}

// A block as the processor computes it: the A path (filter, square, weighting), the C path, the unweighted
// path, on vectors allocated for the block.
void allPaths(benchmark::State& state) {
    Cascade a(taps().a);
    Cascade c(taps().c);
    const std::vector<double> source = noiseBlock();
    std::array<double, 6> states{};
    for (auto _ : state) {
        std::vector<double> filtered(kBlock);
        std::vector<double> squared(kBlock);
        std::array<double, 6> maxima{};
        a.run(source, filtered);
        ippsSqr_64f(filtered.data(), squared.data(), kBlock);
        process::SoundLevelValueProcessor::weightInTime(squared.data(), squared.size(), states[0], states[1],
                                                        maxima[0], maxima[1]);
        c.run(source, filtered);
        ippsSqr_64f(filtered.data(), squared.data(), kBlock);
        process::SoundLevelValueProcessor::weightInTime(squared.data(), squared.size(), states[2], states[3],
                                                        maxima[2], maxima[3]);
        ippsSqr_64f(source.data(), squared.data(), kBlock);
        process::SoundLevelValueProcessor::weightInTime(squared.data(), squared.size(), states[4], states[5],
                                                        maxima[4], maxima[5]);
        benchmark::DoNotOptimize(maxima.data());
    }
    perSample(state);
}

// The processor itself, called directly with triggers of 800 samples: five calls fetch and count, the sixth
// fetches, processes the block of 4800 and delivers. The internal clock's fetch (the newest samples) needs
// no buffer signals, and costs the same copy as the signalled one.
void processorCalculate(benchmark::State& state) {
    qInstallMessageHandler(quiet);
    {
        sonacore::BufferConfiguration bufferConfiguration("bench", 48000, 0);
        avb::AvbAudioBuffer buffer("bench_Ch0", &bufferConfiguration);
        std::vector<float> samples(48000);
        std::mt19937 generator(5);
        std::uniform_real_distribution<float> distribution(-0.5f, 0.5f);
        for (float& sample : samples) {
            sample = distribution(generator);
        }
        buffer.writeSamples(samples);
        process::SoundLevelValueConfig configuration("bench", kBlock, 1000);
        std::unique_ptr<process::SoundLevelValueProcessor> processor(
            static_cast<process::SoundLevelValueProcessor*>(
                process::SoundLevelValueProcessor::create("bench", configuration, buffer)));
        processor->start();
        // The first call only builds the filters.
        processor->calculate("bench", kTrigger);
        for (auto _ : state) {
            for (int trigger = 0; trigger < 6; ++trigger) {
                processor->calculate("bench", kTrigger);
            }
        }
        if (processor->getAccumulatedSamples() != 0) {
            state.SkipWithError("blocks were not processed");
        }
        perSample(state);
        processor->stop();
    }
    qInstallMessageHandler(nullptr);
}

} // namespace

BENCHMARK(allPaths)->Unit(benchmark::kMicrosecond);
BENCHMARK(aCascade)->Unit(benchmark::kMicrosecond);
BENCHMARK(cCascade)->Unit(benchmark::kMicrosecond);
BENCHMARK(squares)->Unit(benchmark::kMicrosecond);
BENCHMARK(timeWeighting)->Unit(benchmark::kMicrosecond);
BENCHMARK(processorCalculate)->Unit(benchmark::kMicrosecond);

// A Qt application object for the processor's timer and objects; no event loop runs.
int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
