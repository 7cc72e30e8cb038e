// One benchmark program for every bench/*.cpp.
#include <benchmark/benchmark.h>

BENCHMARK_MAIN();
