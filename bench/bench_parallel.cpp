// Parallel bulk insertion benchmark: 1M and 4M uniform random points and the 1000 x 1000 grid
// with 1, 2, 4 and 8 threads, and CGAL's (single-threaded) Delaunay triangulation of the same
// inputs in the same run. At the end, per input: our times per thread count, CGAL's, and the
// ratios of 2 threads to our 1 thread and to CGAL (medians when run with repetitions).
//
//   bench_parallel [--benchmark_repetitions=5 --benchmark_report_aggregates_only=true]
//   bench_parallel --peak-memory N THREADS   triangulate input N (0: the grid) once, print the
//                                            peak resident memory of the process
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <iostream>
#include <map>
#include <string>
#include <vector>

#include "Zarn_2D.h"
#include "bench_common.h"

using namespace KORA_ZARN2D;
using namespace zarnbench;

namespace {

const int kThreadCounts[] = {1, 2, 4, 8};
constexpr int kCgalColumn = 0;  // thread count 0 in the table: CGAL

void registerAll() {
  for (int64_t n : {int64_t(1000000), int64_t(4000000), int64_t(0)}) {
    for (int numThreads : kThreadCounts) {
      benchmark::RegisterBenchmark("Zarn/ParallelBulk", BM_Zarn)->Args({n, numThreads})->Unit(benchmark::kMillisecond)->UseRealTime();
    }
#ifdef ZARN_HAVE_CGAL
    benchmark::RegisterBenchmark("CGAL/DelaunayBulk", BM_CGAL)->Arg(n)->Unit(benchmark::kMillisecond)->UseRealTime();
#endif
  }
}

// The column of a run: its thread count (the last argument), 0 for CGAL.
int columnOf(const std::string& benchmarkName) {
  if (benchmarkName.find("CGAL") == 0) return kCgalColumn;
  const std::string args(benchmarkName.substr(0, benchmarkName.find("/real_time")));
  return std::stoi(args.substr(args.rfind('/') + 1));
}

void printTable(TimeTable& table) {
  std::printf("\nInput              1 thr [ms]  2 thr [ms]  4 thr [ms]  8 thr [ms]   CGAL [ms]   2thr/1thr   2thr/CGAL\n");
  for (auto& entry : table) {
    std::map<int, double>& m(entry.second);
    std::printf("%-18s", entry.first.c_str());
    for (int numThreads : kThreadCounts) std::printf(" %11.1f", m[numThreads]);
    std::printf(" %11.1f %11.3f %11.3f\n", m[kCgalColumn], m[1] > 0 ? m[2] / m[1] : 0.0, m[kCgalColumn] > 0 ? m[2] / m[kCgalColumn] : 0.0);
  }
}

int measurePeakMemory(int64_t n, int numThreads) {
  const std::vector<Point2> vPoints(n == 0 ? makeGrid() : makeUniformPoints(static_cast<size_t>(n)));
  Zarn_2D dt(static_cast<unsigned int>(vPoints.size()));
  dt.setNumCPU(numThreads);
  dt.insert(vPoints);
  std::cout << inputName(n) << ", " << numThreads << " thread(s): " << dt.numberOfTriangles() << " triangles, peak "
            << peakResidentKiB() / 1024.0 << " MiB" << std::endl;
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 4 && std::strcmp(argv[1], "--peak-memory") == 0) return measurePeakMemory(std::stoll(argv[2]), std::stoi(argv[3]));
  registerAll();
  return runBenchmarks(argc, argv, columnOf, printTable);
}
