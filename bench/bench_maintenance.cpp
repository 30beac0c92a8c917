// Maintenance operations on a large triangulation: the full validity check (topology, orientation,
// Euler's relation, hull, exact empty-circle test of every edge) and vertex removal.
//
//   bench_maintenance     check of 200k and 1M points; 10k removals from 200k and 1M points
#include <benchmark/benchmark.h>

#include <algorithm>
#include <iostream>
#include <random>
#include <vector>

#include "bench_common.h"

using namespace KORA_ZARN2D;
using zarnbench::makeUniformPoints;

namespace {

constexpr size_t kNumRemovals = 10000;

// The check prints a line per call: keep it out of the benchmark's table.
class QuietStdout {
 public:
  QuietStdout() : pOld(std::cout.rdbuf(nullptr)) {}
  ~QuietStdout() { std::cout.rdbuf(pOld); }

 private:
  std::streambuf* pOld;
};

void BM_CheckValidity(benchmark::State& state) {
  const std::vector<Point2> vPoints(makeUniformPoints(static_cast<size_t>(state.range(0))));
  Zarn_2D dt(static_cast<unsigned int>(vPoints.size()));
  dt.insert(vPoints);
  QuietStdout quiet;
  for (auto _ : state) benchmark::DoNotOptimize(dt.checkValidity(true, "bench"));
  state.counters["ns_per_triangle"] = benchmark::Counter(static_cast<double>(dt.numberOfTriangles()),
                                                         benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void BM_Remove(benchmark::State& state) {
  const std::vector<Point2> vPoints(makeUniformPoints(static_cast<size_t>(state.range(0))));
  for (auto _ : state) {
    state.PauseTiming();
    Zarn_2D* pDt(new Zarn_2D(static_cast<unsigned int>(vPoints.size())));
    std::vector<Point2*> vHandles;
    pDt->insert(vPoints, vHandles);
    std::shuffle(vHandles.begin(), vHandles.end(), std::mt19937_64(7));
    state.ResumeTiming();
    for (size_t i = 0; i < kNumRemovals; ++i) pDt->remove(vHandles[i]);
    state.PauseTiming();
    delete pDt;
    state.ResumeTiming();
  }
  state.counters["ns_per_removal"] =
      benchmark::Counter(static_cast<double>(kNumRemovals), benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

}  // namespace

BENCHMARK(BM_CheckValidity)->Arg(200000)->Arg(1000000)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Remove)->Arg(200000)->Arg(1000000)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(1);
BENCHMARK_MAIN();
