// Cost of finding the intersecting segments of a set: SegmentChecker (index construction plus
// getIllegalSegments) against a sweep over exact constructions (CGAL's do_curves_intersect and
// compute_intersection_points with Arr_segment_traits_2 over the exact-constructions kernel), on
//  - 100,000 short random segments (length up to 0.01) in the unit square, and
//  - 10,000 long random segments (length up to 0.5) in the unit square, with many crossings.
// Counters give the number of illegal segments and of intersection points found.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <random>
#include <vector>

#include "SegmentChecker.h"

#ifdef ZARN_HAVE_CGAL
#include <CGAL/Arr_segment_traits_2.h>
#include <CGAL/Exact_predicates_exact_constructions_kernel.h>
#include <CGAL/Surface_sweep_2_algorithms.h>
#endif

namespace {

using KORA_ZARN2D::Point2;
using KORA_ZARN2D::Segment2;
using KORA_ZARN2D::SegmentChecker;

constexpr int kNumShort = 100000;
constexpr double kShortMaxLength = 0.01;
constexpr int kNumLong = 10000;
constexpr double kLongMaxLength = 0.5;

/// num segments inside the unit square with a uniform start, direction and length in (0, maxLength].
std::vector<Segment2> makeSegments(int num, double maxLength, unsigned seed) {
  std::mt19937 rng(seed);
  std::uniform_real_distribution<double> unit(0.0, 1.0), angle(0.0, 2.0 * M_PI);
  std::vector<Segment2> vSegments;
  vSegments.reserve(num);
  while (static_cast<int>(vSegments.size()) < num) {
    const double x0(unit(rng)), y0(unit(rng)), phi(angle(rng));
    const double length(maxLength * (1.0 - unit(rng)));
    const double x1(x0 + length * std::cos(phi)), y1(y0 + length * std::sin(phi));
    if (x1 < 0 || x1 > 1 || y1 < 0 || y1 > 1 || (x1 == x0 && y1 == y0)) continue;
    vSegments.emplace_back(Point2(x0, y0), Point2(x1, y1));
  }
  return vSegments;
}

const std::vector<Segment2>& getInput(bool bLong) {
  static const std::vector<Segment2> vShort(makeSegments(kNumShort, kShortMaxLength, 1));
  static const std::vector<Segment2> vLong(makeSegments(kNumLong, kLongMaxLength, 2));
  return bLong ? vLong : vShort;
}

void BM_SegmentChecker_IllegalSegments(benchmark::State& state) {
  const std::vector<Segment2>& vInput(getInput(state.range(0) != 0));
  std::vector<Segment2*> vSegments;
  for (const Segment2& s : vInput) vSegments.push_back(const_cast<Segment2*>(&s));
  size_t numIllegal(0);
  for (auto _ : state) {
    SegmentChecker checker(vSegments);
    std::vector<Segment2*> vIllegal;
    checker.getIllegalSegments(false, vIllegal);
    numIllegal = vIllegal.size();
    benchmark::DoNotOptimize(vIllegal.data());
  }
  state.counters["segments"] = static_cast<double>(vInput.size());
  state.counters["illegal"] = static_cast<double>(numIllegal);
}
BENCHMARK(BM_SegmentChecker_IllegalSegments)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

// The search alone, on an index built beforehand.
void BM_SegmentChecker_IllegalSegmentsPrebuilt(benchmark::State& state) {
  const std::vector<Segment2>& vInput(getInput(state.range(0) != 0));
  std::vector<Segment2*> vSegments;
  for (const Segment2& s : vInput) vSegments.push_back(const_cast<Segment2*>(&s));
  const SegmentChecker checker(vSegments);
  std::vector<Segment2*> vIllegal;
  for (auto _ : state) {
    checker.getIllegalSegments(false, vIllegal);
    benchmark::DoNotOptimize(vIllegal.data());
  }
  state.counters["illegal"] = static_cast<double>(vIllegal.size());
}
BENCHMARK(BM_SegmentChecker_IllegalSegmentsPrebuilt)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

#ifdef ZARN_HAVE_CGAL

using Kernel = CGAL::Exact_predicates_exact_constructions_kernel;
using Traits = CGAL::Arr_segment_traits_2<Kernel>;
using CgalSegment = Traits::Curve_2;

std::vector<CgalSegment> toCgal(const std::vector<Segment2>& vInput) {
  std::vector<CgalSegment> vCurves;
  vCurves.reserve(vInput.size());
  for (const Segment2& s : vInput) {
    vCurves.emplace_back(Kernel::Point_2(s.getSrc().x(), s.getSrc().y()), Kernel::Point_2(s.getTrg().x(), s.getTrg().y()));
  }
  return vCurves;
}

void BM_Cgal_ComputeIntersectionPoints(benchmark::State& state) {
  const std::vector<CgalSegment> vCurves(toCgal(getInput(state.range(0) != 0)));
  size_t numPoints(0);
  for (auto _ : state) {
    std::vector<Kernel::Point_2> vPoints;
    CGAL::compute_intersection_points(vCurves.begin(), vCurves.end(), std::back_inserter(vPoints));
    numPoints = vPoints.size();
    benchmark::DoNotOptimize(vPoints.data());
  }
  state.counters["points"] = static_cast<double>(numPoints);
}
BENCHMARK(BM_Cgal_ComputeIntersectionPoints)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

void BM_Cgal_DoCurvesIntersect(benchmark::State& state) {
  const std::vector<CgalSegment> vCurves(toCgal(getInput(state.range(0) != 0)));
  for (auto _ : state) benchmark::DoNotOptimize(CGAL::do_curves_intersect(vCurves.begin(), vCurves.end()));
}
BENCHMARK(BM_Cgal_DoCurvesIntersect)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

#endif

}  // namespace

BENCHMARK_MAIN();
