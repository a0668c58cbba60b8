// Times the Hann window, the power spectrum, the magnitude and the multiplication in nanoseconds per
// element, for frame lengths the spectrum analysis uses, on the variant the dispatch chooses.
//
// Run: ipp_vector_benchmark   (the "ns_per_element" counter is the figure to read)

#include "ipp/ippsmemory.h"
#include "ipp/ippsvector.h"
#include "ipp/ippswindow.h"

#include <benchmark/benchmark.h>

#include <complex>

namespace {

void setPerElement(benchmark::State& state, int length) {
    state.counters["ns_per_element"] =
        benchmark::Counter(static_cast<double>(state.iterations()) * length,
                           benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void BM_WinHann(benchmark::State& state) {
    const int length = static_cast<int>(state.range(0));
    float* data = ippsMalloc_32f(length);
    ippsSet_32f(1.0f, data, length);
    for (auto _ : state) {
        ippsWinHann_32f_I(data, length);
        benchmark::ClobberMemory();
        // Keep the values away from zero and denormals without a second pass being timed: the window's end
        // points become 0, which stays 0 and costs nothing special.
    }
    setPerElement(state, length);
    ippsFree(data);
}

// A primitive from complex input to real output, such as the power spectrum or the magnitude.
template <IppStatus (*primitive)(const std::complex<float>*, float*, int)>
void complexToReal(benchmark::State& state) {
    const int length = static_cast<int>(state.range(0));
    std::complex<float>* source = ippsMalloc_32fc(length);
    float* destination = ippsMalloc_32f(length);
    for (int i = 0; i < length; ++i) {
        source[i] = {0.25f * static_cast<float>(i % 7), -0.5f};
    }
    for (auto _ : state) {
        primitive(source, destination, length);
        benchmark::ClobberMemory();
    }
    setPerElement(state, length);
    ippsFree(destination);
    ippsFree(source);
}

void BM_PowerSpectr(benchmark::State& state) {
    complexToReal<ippsPowerSpectr_32fc>(state);
}

void BM_Magnitude(benchmark::State& state) {
    complexToReal<ippsMagnitude_32fc>(state);
}

void BM_Mul(benchmark::State& state) {
    const int length = static_cast<int>(state.range(0));
    float* source = ippsMalloc_32f(length);
    float* destination = ippsMalloc_32f(length);
    ippsSet_32f(1.0f, source, length);
    ippsSet_32f(0.5f, destination, length);
    for (auto _ : state) {
        ippsMul_32f_I(source, destination, length);
        benchmark::ClobberMemory();
    }
    setPerElement(state, length);
    ippsFree(destination);
    ippsFree(source);
}

} // namespace

BENCHMARK(BM_WinHann)->Arg(1024)->Arg(16384);
BENCHMARK(BM_PowerSpectr)->Arg(1024)->Arg(16384);
BENCHMARK(BM_Magnitude)->Arg(1024)->Arg(16384);
BENCHMARK(BM_Mul)->Arg(1024)->Arg(16384);

BENCHMARK_MAIN();
