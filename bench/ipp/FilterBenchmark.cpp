// Times the biquad cascade in nanoseconds per sample over blocks of 48000 samples (one second of audio),
// for 2 and 3 sections, on the variant that the dispatch chooses for this processor.
//
// Run: ipp_filter_benchmark   (the "ns_per_sample" counter is the figure to read)

#include "ipp/ippsiir.h"
#include "ipp/ippsmemory.h"

#include <benchmark/benchmark.h>

#include <random>
#include <vector>

namespace {

constexpr int kBlock = 48000;

void BM_BiquadCascade(benchmark::State& state) {
    const int sections = static_cast<int>(state.range(0));
    // Stable low-frequency sections of the kind a weighting filter uses.
    std::vector<double> taps;
    for (int s = 0; s < sections; ++s) {
        const double r = 0.98 - 0.01 * s;
        taps.insert(taps.end(), {0.5, -0.9, 0.4, 1.0, -2.0 * r * 0.999, r * r});
    }
    int size = 0;
    ippsIIRGetStateSize_BiQuad_64f(sections, &size);
    unsigned char* buffer = ippsMalloc_8u(size);
    IirState* iir = nullptr;
    ippsIIRInit_BiQuad_64f(&iir, taps.data(), sections, nullptr, buffer);
    std::vector<double> input(kBlock);
    std::vector<double> output(kBlock);
    std::mt19937_64 generator(7);
    std::uniform_real_distribution<double> distribution(-1.0, 1.0);
    for (double& x : input) {
        x = distribution(generator);
    }
    for (auto _ : state) {
        ippsIIR_64f(input.data(), output.data(), kBlock, iir);
        benchmark::DoNotOptimize(output.data());
        benchmark::ClobberMemory();
    }
    state.counters["ns_per_sample"] =
        benchmark::Counter(static_cast<double>(state.iterations()) * kBlock,
                           benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
    ippsFree(buffer);
}

} // namespace

BENCHMARK(BM_BiquadCascade)->Arg(2)->Arg(3)->Unit(benchmark::kMicrosecond);

BENCHMARK_MAIN();
