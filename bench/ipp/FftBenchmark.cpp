// Times the real forward FFT against FFTW's single-precision real-to-complex transform, side by side, for
// N = 2^6 to 2^16, and prints the ratio of the two times per size after the run.
//
// Run: ipp_fft_benchmark [--benchmark_filter=...] [--benchmark_repetitions=5]
// The FFTW plan is made once per size with FFTW_MEASURE, outside the timed loop. The two transforms of one
// size run one after the other, and the ratio uses CPU time, so that load from other processes on the
// machine distorts it as little as possible; with repetitions the ratio uses the medians.

#include "ipp/ippsfft.h"
#include "ipp/ippsmemory.h"

#include <benchmark/benchmark.h>
#include <fftw3.h>

#include <cstdio>
#include <map>
#include <random>
#include <string>

namespace {

constexpr int kMinOrder = 6;
constexpr int kMaxOrder = 16;

std::map<int, double> gOursNs;
std::map<int, double> gFftwNs;

void fillRandom(float* data, int n) {
    std::mt19937 generator(42);
    std::uniform_real_distribution<float> distribution(-1.0f, 1.0f);
    for (int i = 0; i < n; ++i) {
        data[i] = distribution(generator);
    }
}

void BM_OursRealFft(benchmark::State& state) {
    const int order = static_cast<int>(state.range(0));
    const int n = 1 << order;
    int specSize = 0;
    int specBufferSize = 0;
    int workSize = 0;
    ippsFFTGetSize_R_32f(order, 1, 2, &specSize, &specBufferSize, &workSize);
    unsigned char* specMemory = ippsMalloc_8u(specSize);
    unsigned char* specBuffer = specBufferSize > 0 ? ippsMalloc_8u(specBufferSize) : nullptr;
    unsigned char* work = workSize > 0 ? ippsMalloc_8u(workSize) : nullptr;
    FftSpec* fftSpec = nullptr;
    ippsFFTInit_R_32f(&fftSpec, order, 1, 2, specMemory, specBuffer);
    float* input = ippsMalloc_32f(n);
    float* output = ippsMalloc_32f(n + 2);
    fillRandom(input, n);
    for (auto _ : state) {
        ippsFFTFwd_RToCCS_32f(input, output, fftSpec, work);
        benchmark::DoNotOptimize(output);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * n);
    ippsFree(output);
    ippsFree(input);
    ippsFree(work);
    ippsFree(specBuffer);
    ippsFree(specMemory);
}

void BM_FftwRealFft(benchmark::State& state) {
    const int order = static_cast<int>(state.range(0));
    const int n = 1 << order;
    float* input = fftwf_alloc_real(n);
    fftwf_complex* output = fftwf_alloc_complex(n / 2 + 1);
    const fftwf_plan plan = fftwf_plan_dft_r2c_1d(n, input, output, FFTW_MEASURE);
    fillRandom(input, n);
    for (auto _ : state) {
        fftwf_execute(plan);
        benchmark::DoNotOptimize(output);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * n);
    fftwf_destroy_plan(plan);
    fftwf_free(output);
    fftwf_free(input);
}

// Collects the time per transform of each run so the ratios can be printed at the end.
class RatioReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs) {
            if (run.run_type == Run::RT_Aggregate && run.aggregate_name != "median") {
                continue;
            }
            const std::string name = run.run_name.function_name;
            const int order = std::stoi(run.run_name.args);
            const double ns = run.GetAdjustedCPUTime();
            if (name == "BM_OursRealFft") {
                gOursNs[order] = ns;
            } else if (name == "BM_FftwRealFft") {
                gFftwNs[order] = ns;
            }
        }
    }
};

} // namespace

int main(int argc, char** argv) {
    for (int order = kMinOrder; order <= kMaxOrder; ++order) {
        benchmark::RegisterBenchmark("BM_OursRealFft", BM_OursRealFft)->Arg(order);
        benchmark::RegisterBenchmark("BM_FftwRealFft", BM_FftwRealFft)->Arg(order);
    }
    benchmark::Initialize(&argc, argv);
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    std::printf("\nCPU time per transform\n%8s %12s %12s %8s\n", "N", "ours ns", "FFTW ns", "ratio");
    for (const auto& [order, ours] : gOursNs) {
        const auto fftw = gFftwNs.find(order);
        if (fftw == gFftwNs.end()) {
            continue;
        }
        std::printf("%8d %12.1f %12.1f %8.3f\n", 1 << order, ours, fftw->second, ours / fftw->second);
    }
    benchmark::Shutdown();
    return 0;
}
