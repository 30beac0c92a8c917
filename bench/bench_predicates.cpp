// Cost of the exact predicates: nanoseconds per orientation (getOrientation2) and per in-circle test
// (KoraTest::inCircle), on random input that the filter decides and on near-degenerate input that
// needs the later stages. The counters give the share of calls that reached each later stage.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "KoraTest.h"
#include "freeFunctions.h"

namespace {

using KORA_ZARN2D::KoraTest;
using KORA_ZARN2D::Point2;

/// Number of prepared inputs, a power of two so that the index wraps with a mask.
constexpr size_t kNumInputs = 1 << 12;
constexpr size_t kIndexMask = kNumInputs - 1;

double nudge(double value, int ulps) {
  for (; ulps > 0; --ulps) value = std::nextafter(value, HUGE_VAL);
  for (; ulps < 0; ++ulps) value = std::nextafter(value, -HUGE_VAL);
  return value;
}

/// Triples in [-1, 1]^2; nearly collinear ones have their third point a few ulps off the line.
std::vector<Point2> makeTriples(bool bNearlyCollinear) {
  std::mt19937 rng(42);
  std::uniform_real_distribution<double> coordinate(-1.0, 1.0), parameter(-0.5, 1.5);
  std::uniform_int_distribution<int> ulps(-2, 2);
  std::vector<Point2> vPoints;
  while (vPoints.size() < 3 * kNumInputs) {
    const Point2 p0(coordinate(rng), coordinate(rng)), p1(coordinate(rng), coordinate(rng));
    vPoints.push_back(p0);
    vPoints.push_back(p1);
    if (bNearlyCollinear) {
      const double t(parameter(rng));
      vPoints.emplace_back(nudge(p0.x() + t * (p1.x() - p0.x()), ulps(rng)), nudge(p0.y() + t * (p1.y() - p0.y()), ulps(rng)));
    } else {
      vPoints.emplace_back(coordinate(rng), coordinate(rng));
    }
  }
  return vPoints;
}

/// Counterclockwise triangles plus a fourth point; nearly cocircular ones put all four on the unit
/// circle and move the fourth a few ulps.
std::vector<Point2> makeQuadruples(bool bNearlyCocircular) {
  std::mt19937 rng(43);
  std::uniform_real_distribution<double> coordinate(-1.0, 1.0), angle(0.0, 2.0 * M_PI);
  std::uniform_int_distribution<int> ulps(-3, 3);
  std::vector<Point2> vPoints;
  while (vPoints.size() < 4 * kNumInputs) {
    if (bNearlyCocircular) {
      double aAngles[4] = {angle(rng), angle(rng), angle(rng), angle(rng)};
      std::sort(aAngles, aAngles + 3);
      for (int i = 0; i < 3; ++i) vPoints.emplace_back(std::cos(aAngles[i]), std::sin(aAngles[i]));
      vPoints.emplace_back(nudge(std::cos(aAngles[3]), ulps(rng)), std::sin(aAngles[3]));
    } else {
      Point2 c0(coordinate(rng), coordinate(rng)), c1(coordinate(rng), coordinate(rng)), c2(coordinate(rng), coordinate(rng));
      if (KORA_ZARN2D::getOrientation2(&c0, &c1, &c2) == KORA_ZARN2D::ORIENTATION2_CW) std::swap(c1, c2);
      vPoints.insert(vPoints.end(), {c0, c1, c2, Point2(coordinate(rng), coordinate(rng))});
    }
  }
  return vPoints;
}

void reportStageShares(benchmark::State& state, const KoraTest::StageCounts& counts, double numCalls, bool bOrientation) {
  if (bOrientation) {
    state.counters["interval_share"] = static_cast<double>(counts.orientationInterval) / numCalls;
    state.counters["gmp_share"] = static_cast<double>(counts.orientationExact) / numCalls;
  } else {
    state.counters["interval_share"] = static_cast<double>(counts.inCircleInterval) / numCalls;
    state.counters["gmp_share"] = static_cast<double>(counts.inCircleExact) / numCalls;
  }
}

void benchOrientation(benchmark::State& state, bool bNearlyCollinear) {
  const std::vector<Point2> vPoints(makeTriples(bNearlyCollinear));
  size_t index(0);
  for (auto _ : state) {
    const Point2* pTriple(&vPoints[3 * index]);
    benchmark::DoNotOptimize(KORA_ZARN2D::getOrientation2(pTriple, pTriple + 1, pTriple + 2));
    index = (index + 1) & kIndexMask;
  }
  // The shared predicate object keeps its counts to itself: replay the input on an own object.
  KoraTest predicates;
  for (size_t i = 0; i < kNumInputs; ++i) predicates.getOrientation(vPoints[3 * i], vPoints[3 * i + 1], vPoints[3 * i + 2]);
  reportStageShares(state, predicates.getStageCounts(), kNumInputs, true);
}

void benchInCircle(benchmark::State& state, bool bNearlyCocircular) {
  const std::vector<Point2> vPoints(makeQuadruples(bNearlyCocircular));
  KoraTest predicates;
  size_t index(0);
  for (auto _ : state) {
    const Point2* pQuadruple(&vPoints[4 * index]);
    benchmark::DoNotOptimize(predicates.inCircle(pQuadruple[0], pQuadruple[1], pQuadruple[2], pQuadruple[3]));
    index = (index + 1) & kIndexMask;
  }
  reportStageShares(state, predicates.getStageCounts(), static_cast<double>(state.iterations()), false);
}

void BM_Orientation2_Random(benchmark::State& state) { benchOrientation(state, false); }
void BM_Orientation2_NearlyCollinear(benchmark::State& state) { benchOrientation(state, true); }
void BM_InCircle_Random(benchmark::State& state) { benchInCircle(state, false); }
void BM_InCircle_NearlyCocircular(benchmark::State& state) { benchInCircle(state, true); }

BENCHMARK(BM_Orientation2_Random);
BENCHMARK(BM_Orientation2_NearlyCollinear);
BENCHMARK(BM_InCircle_Random);
BENCHMARK(BM_InCircle_NearlyCocircular);

}  // namespace

BENCHMARK_MAIN();
