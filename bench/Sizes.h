/// The sizes that every operation on rows is measured at.
#pragma once

#include <benchmark/benchmark.h>

namespace kx_bench {

inline size_t rowsOf(const benchmark::State& state) { return static_cast<size_t>(state.range(0)); }

/// Ends a measurement that did not do what it says.
inline void mustHave(benchmark::State& state, size_t expected, size_t got) {
  if (got != expected) state.SkipWithError("rows are missing");
}

inline void rowCounts(benchmark::internal::Benchmark* benchmark) {
  benchmark->Arg(1000)->Arg(10000)->Arg(100000)->Arg(1000000)->Unit(benchmark::kMillisecond);
}

inline void fileCounts(benchmark::internal::Benchmark* benchmark) {
  benchmark->Arg(10)->Arg(100)->Arg(1000)->Unit(benchmark::kMillisecond);
}

}  // namespace kx_bench
