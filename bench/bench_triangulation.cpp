// Delaunay triangulation benchmark: bulk insertion of uniform random points (100k, 1M, 4M) and
// of the 1000 x 1000 integer grid, single-threaded, and the creation and destruction of small
// triangulations (100 and 1,000 points). When CGAL is available the same inputs are
// triangulated by its Delaunay_triangulation_2 (exact predicates, inexact constructions; range
// insertion, which sorts spatially) in the same run, and the time ratios are printed at the end.
//
//   bench_triangulation                           all benchmarks, then the ratio table
//   bench_triangulation --peak-memory zarn|zarn-flat|cgal N
//                        triangulate N random points once (vector of Point2, flat coordinate
//                        array, CGAL), print the peak resident memory of the process
#include <benchmark/benchmark.h>

#include <cstring>
#include <iostream>
#include <map>
#include <string>
#include <vector>

#include "Zarn_2D.h"
#include "bench_common.h"

using namespace KORA_ZARN2D;

namespace {

using namespace zarnbench;

// Many small triangulations (GIS parcels, navigation meshes): each iteration creates a
// triangulation of the first state.range(0) uniform points and destroys it again.
void BM_ZarnSmall(benchmark::State& state) {
  const std::vector<Point2> vPoints(makeUniformPoints(static_cast<size_t>(state.range(0))));
  for (auto _ : state) {
    Zarn_2D dt(static_cast<unsigned int>(vPoints.size()));
    dt.insert(vPoints);
    benchmark::DoNotOptimize(dt.numberOfTriangles());
  }
  state.SetLabel("create+destroy" + std::to_string(state.range(0)));
}

#ifdef ZARN_HAVE_CGAL
void BM_CGALSmall(benchmark::State& state) {
  const std::vector<Point2> vInput(makeUniformPoints(static_cast<size_t>(state.range(0))));
  std::vector<CgalKernel::Point_2> vPoints;
  for (const Point2& p : vInput) vPoints.emplace_back(p.x(), p.y());
  for (auto _ : state) {
    CgalDelaunay dt;
    dt.insert(vPoints.begin(), vPoints.end());
    benchmark::DoNotOptimize(dt.number_of_faces());
  }
  state.SetLabel("create+destroy" + std::to_string(state.range(0)));
}
#endif

// Input sizes; 0 stands for the grid.
void registerAll() {
  for (int64_t n : {int64_t(100000), int64_t(1000000), int64_t(4000000), int64_t(0)}) {
    benchmark::RegisterBenchmark("Zarn/DelaunayBulk", BM_Zarn)->Args({n, 1})->Unit(benchmark::kMillisecond)->UseRealTime();
#ifdef ZARN_HAVE_CGAL
    benchmark::RegisterBenchmark("CGAL/DelaunayBulk", BM_CGAL)->Arg(n)->Unit(benchmark::kMillisecond)->UseRealTime();
#endif
  }
  for (int64_t n : {int64_t(100), int64_t(1000)}) {
    benchmark::RegisterBenchmark("Zarn/SmallCreateDestroy", BM_ZarnSmall)->Arg(n)->Unit(benchmark::kMillisecond)->UseRealTime();
#ifdef ZARN_HAVE_CGAL
    benchmark::RegisterBenchmark("CGAL/SmallCreateDestroy", BM_CGALSmall)->Arg(n)->Unit(benchmark::kMillisecond)->UseRealTime();
#endif
  }
}

// Column 0: ours, 1: CGAL.
int columnOf(const std::string& benchmarkName) { return benchmarkName.find("CGAL") == 0 ? 1 : 0; }

void printRatios(TimeTable& table) {
  std::cout << "\nInput                 Zarn [ms]   CGAL [ms]   Zarn/CGAL" << std::endl;
  for (auto& entry : table) {
    const double zarn(entry.second[0]), cgal(entry.second[1]);
    std::printf("%-20s %10.3f %11.3f %11.3f\n", entry.first.c_str(), zarn, cgal, cgal > 0 ? zarn / cgal : 0.0);
  }
}

int measurePeakMemory(const std::string& who, size_t n) {
  std::vector<Point2> vPoints(makeUniformPoints(n));
  if (who == "zarn") {
    Zarn_2D dt(static_cast<unsigned int>(n));
    dt.insert(vPoints);
    std::cout << "zarn: " << dt.numberOfTriangles() << " triangles, peak " << peakResidentKiB() / 1024.0 << " MiB" << std::endl;
    return 0;
  }
  if (who == "zarn-flat") {
    // The same points as a flat coordinate array (16 bytes per point, as CGAL's own points).
    std::vector<double> vCoordinates;
    vCoordinates.reserve(2 * n);
    for (const Point2& p : vPoints) {
      vCoordinates.push_back(p.x());
      vCoordinates.push_back(p.y());
    }
    std::vector<Point2>().swap(vPoints);
    Zarn_2D dt(static_cast<unsigned int>(n));
    dt.insert(static_cast<int>(n), vCoordinates.data(), nullptr);
    std::cout << "zarn-flat: " << dt.numberOfTriangles() << " triangles, peak " << peakResidentKiB() / 1024.0 << " MiB" << std::endl;
    return 0;
  }
#ifdef ZARN_HAVE_CGAL
  if (who == "cgal") {
    // The same points, held only in CGAL's own point type (the Point2 copies are released first).
    std::vector<CgalKernel::Point_2> vCgalPoints;
    vCgalPoints.reserve(n);
    for (const Point2& p : vPoints) vCgalPoints.emplace_back(p.x(), p.y());
    std::vector<Point2>().swap(vPoints);
    CgalDelaunay dt;
    dt.insert(vCgalPoints.begin(), vCgalPoints.end());
    std::cout << "cgal: " << dt.number_of_faces() << " triangles, peak " << peakResidentKiB() / 1024.0 << " MiB" << std::endl;
    return 0;
  }
#endif
  std::cerr << "usage: --peak-memory zarn|zarn-flat|cgal N" << std::endl;
  return 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 4 && std::strcmp(argv[1], "--peak-memory") == 0) return measurePeakMemory(argv[2], std::stoul(argv[3]));
  registerAll();
  return runBenchmarks(argc, argv, columnOf, printRatios);
}
