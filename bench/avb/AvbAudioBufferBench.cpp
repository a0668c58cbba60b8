// The audio buffer's write (one sample under the lock) and fetch (one block copy under the lock).
#include "avb/AvbAudioBuffer.h"
#include "sonacore/BufferConfiguration.h"

#include <benchmark/benchmark.h>

#include <cstdint>

namespace {

void bufferWrite(benchmark::State& state) {
    sonacore::BufferConfiguration configuration("bench", 48000, static_cast<std::uint64_t>(state.range(0)));
    avb::AvbAudioBuffer buffer("bench_Ch0", &configuration);
    float sample = 0.25f;
    for (auto _ : state) {
        buffer.writeSample(&sample);
        sample = -sample;
    }
    state.counters["ns/sample"] = benchmark::Counter(
        static_cast<double>(state.iterations()), benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void bufferFetch(benchmark::State& state) {
    sonacore::BufferConfiguration configuration("bench", 48000);
    avb::AvbAudioBuffer buffer("bench_Ch0", &configuration);
    for (int index = 0; index < 47000; ++index) {
        const float sample = static_cast<float>(index);
        buffer.writeSample(&sample);
    }
    const auto amount = static_cast<std::uint64_t>(state.range(0));
    for (auto _ : state) {
        auto samples = buffer.fetchSamples(amount);
        benchmark::DoNotOptimize(samples.data());
    }
    state.counters["ns/sample"] =
        benchmark::Counter(static_cast<double>(state.iterations()) * static_cast<double>(amount),
                           benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

} // namespace

// Argument: the signalling amount; 0 is signalling off, 48 a signal every 48 samples (no receiver connected).
BENCHMARK(bufferWrite)->Arg(0)->Arg(48)->ArgName("signalingAmount");
// Argument: samples per fetch; 4096 of a 48000-sample ring wraps at the end of the ring.
BENCHMARK(bufferFetch)->Arg(48)->Arg(1024)->Arg(4096)->ArgName("samples");
