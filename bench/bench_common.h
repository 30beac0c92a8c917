// Inputs, the CGAL peer and measurements shared by the triangulation benchmarks.
#pragma once

#include <fstream>
#include <map>
#include <random>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <sys/resource.h>

#include "Zarn_2D.h"

#ifdef ZARN_HAVE_CGAL
#include <CGAL/Delaunay_triangulation_2.h>
#include <CGAL/Exact_predicates_inexact_constructions_kernel.h>
using CgalKernel = CGAL::Exact_predicates_inexact_constructions_kernel;
using CgalDelaunay = CGAL::Delaunay_triangulation_2<CgalKernel>;
#endif

namespace zarnbench {

constexpr int kGridSide = 1000;

/// n uniform random points in the unit square (the same points on every run).
inline std::vector<KORA_ZARN2D::Point2> makeUniformPoints(size_t n) {
  std::mt19937_64 rng(20261121);
  std::uniform_real_distribution<double> unit(0.0, 1.0);
  std::vector<KORA_ZARN2D::Point2> vPoints;
  vPoints.reserve(n);
  for (size_t i = 0; i < n; ++i) {
    const double x(unit(rng));
    vPoints.emplace_back(x, unit(rng));
  }
  return vPoints;
}

/// The kGridSide x kGridSide integer grid.
inline std::vector<KORA_ZARN2D::Point2> makeGrid() {
  std::vector<KORA_ZARN2D::Point2> vPoints;
  vPoints.reserve(kGridSide * kGridSide);
  for (int i = 0; i < kGridSide; ++i) {
    for (int j = 0; j < kGridSide; ++j) vPoints.emplace_back(i, j);
  }
  return vPoints;
}

/// The input of size n, built once per process; n = 0 stands for the grid.
inline const std::vector<KORA_ZARN2D::Point2>& inputFor(int64_t n) {
  static std::map<int64_t, std::vector<KORA_ZARN2D::Point2>> mInputs;
  std::vector<KORA_ZARN2D::Point2>& vPoints(mInputs[n]);
  if (vPoints.empty()) vPoints = (n == 0) ? makeGrid() : makeUniformPoints(static_cast<size_t>(n));
  return vPoints;
}

inline std::string inputName(int64_t n) { return n == 0 ? "grid1000x1000" : "uniform" + std::to_string(n); }

/// The peak resident memory of this process (VmHWM) in KiB, or -1.
inline long peakResidentKiB() {
  std::ifstream status("/proc/self/status");
  std::string line;
  while (std::getline(status, line)) {
    if (line.rfind("VmHWM:", 0) == 0) return std::stol(line.substr(6));
  }
  return -1;
}

/// The minor page faults of this process so far (first touches of memory).
inline long minorPageFaults() {
  rusage usage;
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_minflt;
}

/// Counter: nanoseconds per input point.
inline benchmark::Counter nsPerPoint(size_t numPoints) {
  return benchmark::Counter(static_cast<double>(numPoints), benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

/// Our bulk insertion of input state.range(0) with state.range(1) threads.
inline void BM_Zarn(benchmark::State& state) {
  const std::vector<KORA_ZARN2D::Point2>& vPoints(inputFor(state.range(0)));
  long numFaults(0);
  for (auto _ : state) {
    const long faultsBefore(minorPageFaults());
    KORA_ZARN2D::Zarn_2D* pDt(new KORA_ZARN2D::Zarn_2D(static_cast<unsigned int>(vPoints.size())));
    pDt->setNumCPU(static_cast<int>(state.range(1)));
    pDt->insert(vPoints);
    benchmark::DoNotOptimize(pDt->numberOfTriangles());
    state.PauseTiming();
    numFaults += minorPageFaults() - faultsBefore;
    delete pDt;
    state.ResumeTiming();
  }
  state.SetLabel(inputName(state.range(0)));
  state.counters["ns_per_point"] = nsPerPoint(vPoints.size());
  // Page faults per build: first touches of memory, which cost more than the insertion on some hosts.
  state.counters["page_faults"] = benchmark::Counter(static_cast<double>(numFaults), benchmark::Counter::kAvgIterations);
}

#ifdef ZARN_HAVE_CGAL
/// CGAL's Delaunay triangulation of input state.range(0) (range insertion, which sorts spatially).
inline void BM_CGAL(benchmark::State& state) {
  const std::vector<KORA_ZARN2D::Point2>& vInput(inputFor(state.range(0)));
  std::vector<CgalKernel::Point_2> vPoints;
  vPoints.reserve(vInput.size());
  for (const KORA_ZARN2D::Point2& p : vInput) vPoints.emplace_back(p.x(), p.y());
  for (auto _ : state) {
    CgalDelaunay* pDt(new CgalDelaunay());
    pDt->insert(vPoints.begin(), vPoints.end());
    benchmark::DoNotOptimize(pDt->number_of_faces());
    state.PauseTiming();
    delete pDt;
    state.ResumeTiming();
  }
  state.SetLabel(inputName(state.range(0)));
  state.counters["ns_per_point"] = nsPerPoint(vInput.size());
}
#endif

/// Real times in ms (medians when run with repetitions) per benchmark label and column.
using TimeTable = std::map<std::string, std::map<int, double>>;

/// The console reporter that also fills a TimeTable; the column comes from the benchmark's name.
class TimeTableReporter : public benchmark::ConsoleReporter {
 public:
  explicit TimeTableReporter(int (*columnOf_)(const std::string& benchmarkName)) : columnOf(columnOf_) {}
  void ReportRuns(const std::vector<Run>& vRuns) override {
    for (const Run& run : vRuns) {
      if (run.run_type == Run::RT_Aggregate && run.aggregate_name != "median") continue;
      table[run.report_label][columnOf(run.benchmark_name())] = run.GetAdjustedRealTime();
    }
    ConsoleReporter::ReportRuns(vRuns);
  }
  TimeTable table;

 private:
  int (*columnOf)(const std::string&);
};

/// Runs the registered benchmarks (command-line options as Google Benchmark's), then prints the
/// table with printTable.
inline int runBenchmarks(int argc, char** argv, int (*columnOf)(const std::string&), void (*printTable)(TimeTable&)) {
  benchmark::Initialize(&argc, argv);
  TimeTableReporter reporter(columnOf);
  benchmark::RunSpecifiedBenchmarks(&reporter);
  printTable(reporter.table);
  benchmark::Shutdown();
  return 0;
}

}  // namespace zarnbench
