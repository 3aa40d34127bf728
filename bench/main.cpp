// Google Benchmark over the library and its peers, in a folder of its own. Names, engines and sizes
// are listed in names.txt.

#include <benchmark/benchmark.h>

#include "WorkFolder.h"

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  const kx_bench::WorkFolder folder;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
