#pragma once
// Settings of a benchmark whose single iteration is a whole timed run of several seconds: one iteration,
// three repetitions reported as mean, median and spread (CPU figures vary from run to run, more so on a busy
// or virtual machine), wall-clock time in seconds.
#include <benchmark/benchmark.h>

namespace bench {

inline void wholeRuns(benchmark::internal::Benchmark* benchmark) {
    benchmark->Iterations(1)->Repetitions(3)->ReportAggregatesOnly(true);
    benchmark->Unit(benchmark::kSecond)->UseRealTime();
}

} // namespace bench
