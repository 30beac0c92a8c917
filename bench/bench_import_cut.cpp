// Importing, draping and cutting benchmark.
//   Import: a 300 x 300 grid with jittered vertices, the cells split by alternating diagonals
//     (180,000 triangles, many of them not Delaunay), imported into an empty triangulation: every
//     triangle must reappear, so every edge becomes a constraint. When CGAL
//     is available, the same edges go into its Constrained_Delaunay_triangulation_2 (points by
//     range insertion, then the range insert_constraints) in the same run.
//   Drape: 10,000 random segments of length 0.05 over 100,000 random points (pieces only).
//   Cut: 1,000 of those segments cut into the triangulation, unprotected and protected.
#include <benchmark/benchmark.h>

#include <cmath>
#include <random>
#include <vector>

#include "Zarn_2D.h"

#ifdef ZARN_HAVE_CGAL
#include <CGAL/Constrained_Delaunay_triangulation_2.h>
#include <CGAL/Exact_predicates_inexact_constructions_kernel.h>
using CgalKernel = CGAL::Exact_predicates_inexact_constructions_kernel;
using CgalCdt = CGAL::Constrained_Delaunay_triangulation_2<CgalKernel, CGAL::Default, CGAL::Exact_predicates_tag>;
#endif

using namespace KORA_ZARN2D;

namespace {

constexpr int kGridCells = 300;

// Corner triples of the jittered grid mesh.
const std::vector<Point2>& gridMesh() {
  static const std::vector<Point2> vCorners([] {
    std::mt19937_64 rng(5);
    std::uniform_real_distribution<double> jitter(-0.2, 0.2);
    const int n(kGridCells + 1);
    std::vector<Point2> vGrid;
    for (int j = 0; j < n; ++j) {
      for (int i = 0; i < n; ++i) vGrid.emplace_back(i + jitter(rng), j + jitter(rng));
    }
    std::vector<Point2> v;
    for (int j = 0; j < kGridCells; ++j) {
      for (int i = 0; i < kGridCells; ++i) {
        const Point2& a(vGrid[j * n + i]);
        const Point2& b(vGrid[j * n + i + 1]);
        const Point2& c(vGrid[(j + 1) * n + i + 1]);
        const Point2& d(vGrid[(j + 1) * n + i]);
        if ((i + j) % 2 == 0) {
          v.insert(v.end(), {a, b, c, a, c, d});
        } else {
          v.insert(v.end(), {a, b, d, b, c, d});
        }
      }
    }
    return v;
  }());
  return vCorners;
}

std::vector<Point2> randomPoints(size_t n) {
  std::mt19937_64 rng(11);
  std::uniform_real_distribution<double> unit(0.0, 1.0);
  std::vector<Point2> v;
  for (size_t i = 0; i < n; ++i) {
    const double x(unit(rng));
    v.emplace_back(x, unit(rng));
  }
  return v;
}

std::vector<Segment2> randomSegments(size_t n) {
  std::mt19937_64 rng(13);
  std::uniform_real_distribution<double> unit(0.0, 1.0);
  std::vector<Segment2> v;
  for (size_t i = 0; i < n; ++i) {
    const double x(0.05 + 0.9 * unit(rng)), y(0.05 + 0.9 * unit(rng)), angle(6.283185307179586 * unit(rng));
    v.emplace_back(Point2(x, y), Point2(x + 0.05 * std::cos(angle), y + 0.05 * std::sin(angle)));
  }
  return v;
}

void BM_ImportMesh(benchmark::State& state) {
  for (auto _ : state) {
    Zarn_2D dt(0);
    std::vector<Point2> vCorners(gridMesh());
    benchmark::DoNotOptimize(dt.importTriangles(vCorners, false, false));
  }
  state.counters["triangles"] = static_cast<double>(gridMesh().size() / 3);
}
BENCHMARK(BM_ImportMesh)->Unit(benchmark::kMillisecond)->Iterations(3)->Repetitions(3)->ReportAggregatesOnly(true);

#ifdef ZARN_HAVE_CGAL
void BM_ImportMeshCgal(benchmark::State& state) {
  const std::vector<Point2>& vCorners(gridMesh());
  std::vector<CgalKernel::Point_2> vPoints;
  std::vector<std::pair<CgalKernel::Point_2, CgalKernel::Point_2>> vEdges;
  for (size_t i = 0; i < vCorners.size(); i += 3) {
    for (size_t k = 0; k < 3; ++k) {
      const Point2& p(vCorners[i + k]);
      const Point2& q(vCorners[i + (k + 1) % 3]);
      vPoints.emplace_back(p.x(), p.y());
      if (p < q) vEdges.emplace_back(CgalKernel::Point_2(p.x(), p.y()), CgalKernel::Point_2(q.x(), q.y()));
    }
  }
  for (auto _ : state) {
    CgalCdt cdt;
    cdt.insert(vPoints.begin(), vPoints.end());
    cdt.insert_constraints(vEdges.begin(), vEdges.end());
    benchmark::DoNotOptimize(cdt.number_of_faces());
  }
}
BENCHMARK(BM_ImportMeshCgal)->Unit(benchmark::kMillisecond)->Iterations(3)->Repetitions(3)->ReportAggregatesOnly(true);
#endif

void BM_Drape(benchmark::State& state) {
  Zarn_2D dt(0);
  dt.insert(randomPoints(100000));
  std::vector<Segment2> vSegments(randomSegments(10000)), vPieces;
  for (auto _ : state) {
    vPieces.clear();
    benchmark::DoNotOptimize(dt.drape(vSegments, vPieces));
  }
  state.counters["pieces"] = static_cast<double>(vPieces.size());
}
BENCHMARK(BM_Drape)->Unit(benchmark::kMillisecond)->Repetitions(3)->ReportAggregatesOnly(true);

void BM_Cut(benchmark::State& state) {
  const std::vector<Point2> vPoints(randomPoints(100000));
  std::vector<Segment2> vSegments(randomSegments(1000));
  for (auto _ : state) {
    state.PauseTiming();
    Zarn_2D dt(0);
    dt.insert(vPoints);
    state.ResumeTiming();
    dt.cutTriangles(vSegments, state.range(0) != 0);
  }
}
BENCHMARK(BM_Cut)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->Iterations(3)->Repetitions(3)->ReportAggregatesOnly(true);

}  // namespace

BENCHMARK_MAIN();
