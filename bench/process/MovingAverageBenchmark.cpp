// Times the moving average's calculateAverage per pass for spectra of 512, 8192 and 65536 bins with a window
// of 8, the copies of its argument and result included. Each pass is timed on its own and counted as
// incremental or full, so the run reports the mean of all passes (the benchmark's time, a cycle of 100
// incremental passes and one full pass), and of each kind apart in the counters "incremental_us" and
// "full_us".
//
// Run: moving_average_benchmark [--benchmark_repetitions=5]

#include "process/SpectrumConfig.h"
#include "process/averaging/MovingAverage.h"
#include "sonacore/BufferConfiguration.h"

#include <benchmark/benchmark.h>

#include <QtGlobal>

#include <chrono>
#include <cstddef>
#include <random>
#include <vector>

namespace {

constexpr std::size_t windowSize = 8;
// Distinct spectra that the passes take in turn, so that the window always holds changing values.
constexpr std::size_t distinctInputs = 16;

void quiet(QtMsgType, const QMessageLogContext&, const QString&) {}

// Tells after a pass whether it was the full one.
class CountedAverage : public process::averaging::MovingAverage {
public:
    using MovingAverage::getOptimizedPasses;
    using MovingAverage::MovingAverage;
};

std::vector<std::vector<double>> powerSpectra(std::size_t bins) {
    std::mt19937_64 generator(23);
    std::uniform_real_distribution<double> distribution(0.0, 1.0);
    std::vector<std::vector<double>> spectra(distinctInputs, std::vector<double>(bins));
    for (std::vector<double>& spectrum : spectra) {
        for (double& value : spectrum) {
            value = distribution(generator);
        }
    }
    return spectra;
}

void calculateAverage(benchmark::State& state) {
    const std::size_t bins = static_cast<std::size_t>(state.range(0));
    process::SpectrumConfig configuration("bench", 1024, 500);
    sonacore::BufferConfiguration bufferConfiguration("bench", 48000, 4800);
    CountedAverage average("bench", &configuration, &bufferConfiguration);
    configuration.setMovingAverageWindowSize(windowSize);
    const std::vector<std::vector<double>> spectra = powerSpectra(bins);
    std::size_t next = 0;
    double incrementalSeconds = 0.0;
    double fullSeconds = 0.0;
    std::size_t incrementalPasses = 0;
    std::size_t fullPasses = 0;
    for (auto _ : state) {
        const std::vector<double>& input = spectra[next];
        next = (next + 1) % distinctInputs;
        const auto start = std::chrono::steady_clock::now();
        {
            std::vector<double> result = average.calculateAverage(input);
            benchmark::DoNotOptimize(result.data());
            benchmark::ClobberMemory();
        }
        const double seconds =
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        state.SetIterationTime(seconds);
        if (average.getOptimizedPasses() == 0) {
            fullSeconds += seconds;
            ++fullPasses;
        } else {
            incrementalSeconds += seconds;
            ++incrementalPasses;
        }
    }
    state.counters["incremental_us"] =
        incrementalPasses == 0 ? 0.0 : 1e6 * incrementalSeconds / incrementalPasses;
    state.counters["full_us"] = fullPasses == 0 ? 0.0 : 1e6 * fullSeconds / fullPasses;
    state.counters["full_passes"] = static_cast<double>(fullPasses);
}

} // namespace

// At least a few cycles of 101 passes each, so that full passes are among the timed ones.
BENCHMARK(calculateAverage)
    ->Arg(512)
    ->Arg(8192)
    ->Arg(65536)
    ->UseManualTime()
    ->MinTime(1.0)
    ->Unit(benchmark::kMicrosecond);

// The log lines of the settings would drown the table; none is needed here.
int main(int argc, char** argv) {
    qInstallMessageHandler(quiet);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
