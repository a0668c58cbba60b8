// Times the FFT wrapper per frame at orders 10, 14 and 17, in the parts a spectrum trigger goes through:
// the window multiply, the forward transform with its expansion to all N bins (calculate with the window
// off), and the power of the lower N/2 bins times 5.334 (getFftResultsPowerSpectrum); and, to check the sum,
// a whole windowed calculate. After the run it prints the split per order.
//
// Run: ipp_fft_wrapper_benchmark [--benchmark_repetitions=5]
// The window multiplies the frame in place, and a frame multiplied by the window again and again would sink
// into denormals; so the two windowed parts refresh their frame from a stored copy before each pass and time
// the pass alone (manual time, wall clock). The window multiply is the primitive that calculate calls, on
// the wrapper's own table. The other parts are CPU times. With repetitions the split uses the medians.

#include "ipp/ippsvector.h"
#include "process/fft/IppFft.h"

#include <benchmark/benchmark.h>

#include <QtGlobal>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <map>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr float powerSpectrumFactor = 5.334f;

// Microseconds per frame of every run, by part and order: CPU time, or for the windowed parts the wall
// time of the pass alone. The medians of the repetitions where only those are reported.
using Times = std::map<std::string, std::map<std::size_t, std::vector<double>>>;
Times times;
Times medians;

void quiet(QtMsgType, const QMessageLogContext&, const QString&) {}

std::vector<float> noiseFrame(std::size_t length) {
    std::mt19937 generator(17);
    std::uniform_real_distribution<float> distribution(-1.0f, 1.0f);
    std::vector<float> frame(length);
    for (float& sample : frame) {
        sample = distribution(generator);
    }
    return frame;
}

// The window table the wrapper holds for `order`: a frame of ones comes back as the window itself.
std::vector<float> windowTable(std::size_t order) {
    process::fft::IppFft fft("table");
    fft.setFftOrder(order);
    fft.setWindowing(true);
    std::vector<float> ones(std::size_t{1} << order, 1.0f);
    fft.calculate(ones);
    return ones;
}

// Runs `timed` once per iteration on a frame refreshed from `source` beforehand, timing `timed` alone.
template <typename Timed>
void timedOnFreshFrames(benchmark::State& state, const std::vector<float>& source, Timed timed) {
    std::vector<float> frame(source.size());
    for (auto _ : state) {
        std::copy(source.begin(), source.end(), frame.begin());
        benchmark::ClobberMemory();
        const auto start = std::chrono::steady_clock::now();
        if (!timed(frame)) {
            state.SkipWithError("the timed step failed");
            break;
        }
        benchmark::ClobberMemory();
        state.SetIterationTime(
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    }
}

void windowMultiply(benchmark::State& state) {
    const std::size_t order = static_cast<std::size_t>(state.range(0));
    const std::vector<float> table = windowTable(order);
    const int length = static_cast<int>(table.size());
    timedOnFreshFrames(state, noiseFrame(table.size()), [&](std::vector<float>& frame) {
        return ippsMul_32f_I(table.data(), frame.data(), length) == ippStsNoErr;
    });
}

void windowedCalculate(benchmark::State& state) {
    const std::size_t order = static_cast<std::size_t>(state.range(0));
    process::fft::IppFft fft("bench");
    fft.setFftOrder(order);
    fft.setWindowing(true);
    timedOnFreshFrames(state, noiseFrame(std::size_t{1} << order),
                       [&](std::vector<float>& frame) { return fft.calculate(frame); });
}

// With the window off the frame stays as it is, so the same frame serves every pass.
void calculate(benchmark::State& state) {
    const std::size_t order = static_cast<std::size_t>(state.range(0));
    process::fft::IppFft fft("bench");
    fft.setFftOrder(order);
    std::vector<float> frame = noiseFrame(std::size_t{1} << order);
    for (auto _ : state) {
        if (!fft.calculate(frame)) {
            state.SkipWithError("calculate failed");
            break;
        }
        benchmark::ClobberMemory();
    }
}

void powerSpectrum(benchmark::State& state) {
    const std::size_t order = static_cast<std::size_t>(state.range(0));
    process::fft::IppFft fft("bench");
    fft.setFftOrder(order);
    fft.setWindowing(true);
    std::vector<float> frame = noiseFrame(std::size_t{1} << order);
    fft.calculate(frame);
    const std::size_t bins = frame.size() / 2;
    std::vector<float> power(bins);
    for (auto _ : state) {
        if (!fft.getFftResultsPowerSpectrum(power, bins, powerSpectrumFactor)) {
            state.SkipWithError("power spectrum failed");
            break;
        }
        benchmark::DoNotOptimize(power.data());
        benchmark::ClobberMemory();
    }
}

// Keeps every run's CPU time per frame for the split printed at the end.
class SplitReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            const bool median = run.run_type == Run::RT_Aggregate && run.aggregate_name == "median";
            if ((run.run_type != Run::RT_Iteration && !median) || run.error_occurred) {
                continue;
            }
            const std::string name = run.run_name.function_name;
            const std::size_t order = static_cast<std::size_t>(std::stoul(run.run_name.args));
            const bool manual = name == "windowMultiply" || name == "windowedCalculate";
            // Per iteration in the run's unit, microseconds; with only the aggregates reported, their median.
            (median ? medians : times)[name][order].push_back(manual ? run.GetAdjustedRealTime()
                                                                     : run.GetAdjustedCPUTime());
        }
        ConsoleReporter::ReportRuns(runs);
    }
};

double median(std::vector<double> values) {
    if (values.empty()) {
        return 0.0;
    }
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

void printSplit() {
    const Times& source = medians.empty() ? times : medians;
    auto part = [&](const char* name, std::size_t order) {
        const auto found = source.find(name);
        return found == source.end() || found->second.count(order) == 0 ? 0.0
                                                                        : median(found->second.at(order));
    };
    std::printf("\nPer frame in microseconds (medians):\n");
    std::printf("%6s %10s %16s %10s %10s %20s\n", "order", "window", "FFT + expansion", "power", "sum",
                "windowed calc + power");
    for (const std::size_t order : {10, 14, 17}) {
        const double window = part("windowMultiply", order);
        const double transform = part("calculate", order);
        const double power = part("powerSpectrum", order);
        const double whole = part("windowedCalculate", order) + power;
        std::printf("%6zu %10.2f %16.2f %10.2f %10.2f %20.2f\n", order, window, transform, power,
                    window + transform + power, whole);
    }
}

} // namespace

BENCHMARK(windowMultiply)->Arg(10)->Arg(14)->Arg(17)->UseManualTime()->Unit(benchmark::kMicrosecond);
BENCHMARK(calculate)->Arg(10)->Arg(14)->Arg(17)->Unit(benchmark::kMicrosecond);
BENCHMARK(powerSpectrum)->Arg(10)->Arg(14)->Arg(17)->Unit(benchmark::kMicrosecond);
BENCHMARK(windowedCalculate)->Arg(10)->Arg(14)->Arg(17)->UseManualTime()->Unit(benchmark::kMicrosecond);

// The wrapper's log lines would drown the table; none is needed here.
int main(int argc, char** argv) {
    qInstallMessageHandler(quiet);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    SplitReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    printSplit();
    return 0;
}
