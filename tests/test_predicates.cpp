// Exactness of the orientation and in-circle predicates and of the intersection construction,
// checked against the independent rational evaluations of dt2_test_support.h, at every scale,
// under every rounding mode and from several threads; which stage decides what. SegmentChecker: a
// differential check of the classification, the searches and the intersection constructions
// against the same exact predicates (all argument orders and directions, members and foreign
// copies), the messages and the progress reports.
#include <atomic>
#include <cfenv>
#include <cstdio>
#include <filesystem>
#include <thread>

#include "KoraTest.h"
#include "SegmentChecker.h"
#include "cdt_test_support.h"
#include "freeFunctions.h"

namespace KORA_ZARN2D {
namespace {

using dt2test::exactInCircle;
using dt2test::exactOrientation;
using dt2test::ulpsAway;
using zarn_test::captureStdout;
using zarn_test::reported;

Orientation2 toOrientation(int sign) { return sign > 0 ? ORIENTATION2_CCW : (sign < 0 ? ORIENTATION2_CW : ORIENTATION2_COLLINEAR); }

Orientation2 exactOrientation2(const Point2& a, const Point2& b, const Point2& c) { return toOrientation(exactOrientation(a, b, c)); }

/// Triples whose third point lies a few ulps around a point near or on the line through the first two:
/// even rounds take a random point of the line, odd rounds an exactly collinear lattice point.
std::vector<std::vector<Point2>> nearlyCollinearTriples(double scale, std::mt19937& rng) {
  std::uniform_real_distribution<double> coordinate(-1.0, 1.0), parameter(-0.5, 1.5);
  std::uniform_int_distribution<int> lattice(-(1 << 20), 1 << 20), multiple(-3, 4);
  const double latticeUnit(std::ldexp(1.0, std::ilogb(scale)));
  std::vector<std::vector<Point2>> vTriples;
  for (int i = 0; i < 40; ++i) {
    const bool bLattice(i % 2 == 1);
    const auto randomPoint = [&] {
      if (bLattice) return Point2(latticeUnit * lattice(rng), latticeUnit * lattice(rng));
      return Point2(scale * coordinate(rng), scale * coordinate(rng));
    };
    const Point2 p0(randomPoint()), p1(randomPoint());
    const double t(bLattice ? multiple(rng) : parameter(rng));  // integer multiples stay exact on the lattice
    const double x(p0.x() + t * (p1.x() - p0.x())), y(p0.y() + t * (p1.y() - p0.y()));
    for (int k = 0; k < 25; ++k) vTriples.push_back({p0, p1, Point2(ulpsAway(x, k % 5 - 2), ulpsAway(y, k / 5 - 2))});
  }
  return vTriples;
}

/// Counterclockwise triangles on a circle with a fourth point on (or a few ulps off) the same circle.
std::vector<std::vector<Point2>> nearlyCocircularQuadruples(double scale, std::mt19937& rng) {
  std::uniform_real_distribution<double> angle(0.0, 2.0 * M_PI);
  std::vector<std::vector<Point2>> vQuadruples;
  for (int i = 0; i < 40; ++i) {
    std::vector<double> vAngles{angle(rng), angle(rng), angle(rng), angle(rng)};
    std::sort(vAngles.begin(), vAngles.begin() + 3);
    std::vector<Point2> v;
    for (double a : vAngles) v.emplace_back(scale * std::cos(a), scale * std::sin(a));
    for (int ulps = -3; ulps <= 3; ++ulps) vQuadruples.push_back({v[0], v[1], v[2], Point2(ulpsAway(v[3].x(), ulps), v[3].y())});
  }
  return vQuadruples;
}

/// The rounding mode the SSE unit really applies (fegetround reads the x87 control word only).
int appliedRoundingMode() {
  volatile double one(1.0), tiny(0x1p-60);
  if (one + tiny > 1.0) return FE_UPWARD;
  if (-one - tiny < -1.0) return FE_DOWNWARD;
  return one - tiny < 1.0 ? FE_TOWARDZERO : FE_TONEAREST;
}

/// The action must fail the assertion conditionText raised in dt2Library/sourceFile.
void expectAssertion(const std::string& conditionText, const std::string& sourceFile, const std::function<void()>& action) {
  const std::string out(zarn_test::expectFailedCondition(conditionText, action));
  EXPECT_NE(out.find("dt2Library/" + sourceFile + ":"), std::string::npos) << out;
}

void expectReferenceResultsAtEveryScale(std::mt19937& rng) {
  for (double scale : {4e-320, 1e-300, 1e-155, 1e-150, 1.0, 1e150, 1e300}) {
    KoraTest predicates;
    int numCollinear(0);
    for (const std::vector<Point2>& v : nearlyCollinearTriples(scale, rng)) {
      const Orientation2 expected(exactOrientation2(v[0], v[1], v[2]));
      numCollinear += expected == ORIENTATION2_COLLINEAR;
      ASSERT_EQ(predicates.getOrientation(v[0], v[1], v[2]), expected) << scale << " " << v[2];
      ASSERT_EQ(predicates.getOrientation(v[2], v[0], v[1]), expected) << scale << " " << v[2];
      ASSERT_EQ(getOrientation2(&v[1], &v[0], &v[2]), exactOrientation2(v[1], v[0], v[2]));
      ASSERT_EQ(getOrientation2_mt(&v[0], &v[1], &v[2]), expected);
    }
    for (const std::vector<Point2>& v : nearlyCocircularQuadruples(scale, rng)) {
      ASSERT_EQ(predicates.inCircle(v[0], v[1], v[2], v[3]), exactInCircle(v[0], v[1], v[2], v[3])) << scale << " " << v[3];
    }
    EXPECT_GT(numCollinear, 0) << scale;  // the inputs really probe the degenerate case
    EXPECT_GT(predicates.getStageCounts().orientationExact, 0u) << scale;
    EXPECT_GT(predicates.getStageCounts().inCircleExact, 0u) << scale;
  }
  const double aCircle[][2] = {{12, -2}, {11, 1}, {7, 3}, {4, 2}, {2, -2}, {3, -5}, {10, -6}, {7, -2}, {20, 0}};
  for (int exponent : {-1060, -500, 0, 1000}) {  // exactly cocircular integer points at powers of two, the centre inside
    std::vector<Point2> v;
    for (const double(&xy)[2] : aCircle) v.emplace_back(std::ldexp(xy[0], exponent), std::ldexp(xy[1], exponent));
    for (size_t i = 3; i < v.size(); ++i) ASSERT_EQ(KoraTest().inCircle(v[0], v[2], v[4], v[i]), exactInCircle(v[0], v[2], v[4], v[i]));
  }
}

// Every entry point (free functions, the thread-safe variant, the predicate object) against the
// rational reference on nearly degenerate input at scales from subnormal to huge, under every
// rounding mode, which each stage leaves as it found it; meanwhile three threads call the
// thread-safe variant and the facade's forward on input that needs the exact stage.
TEST(Predicates, MatchTheRationalReferenceAtEveryScaleRoundingModeAndThread) {
  std::mt19937 rng(17);
  const std::vector<std::vector<Point2>> vTriples(nearlyCollinearTriples(1.0, rng));
  Zarn_2D dt;
  std::atomic<int> numMismatches(0);
  std::vector<std::thread> vThreads;
  for (int t = 0; t < 3; ++t) {
    vThreads.emplace_back([&] {
      for (const std::vector<Point2>& v : vTriples) {
        const Orientation2 expected(exactOrientation2(v[0], v[1], v[2]));
        numMismatches += (getOrientation2_mt(&v[0], &v[1], &v[2]) != expected) + (dt.getOrientation(v[0], v[1], v[2]) != expected);
      }
    });
  }
  for (int mode : {FE_TONEAREST, FE_TOWARDZERO, FE_UPWARD, FE_DOWNWARD}) {
    ASSERT_EQ(std::fesetround(mode), 0);
    expectReferenceResultsAtEveryScale(rng);
    const int aModesAfter[2] = {std::fegetround(), appliedRoundingMode()};
    std::fesetround(FE_TONEAREST);
    ASSERT_TRUE(aModesAfter[0] == mode && aModesAfter[1] == mode) << mode;
  }
  for (std::thread& thread : vThreads) thread.join();
  EXPECT_EQ(numMismatches, 0);
  const double big(1e300);  // differences and products beyond the largest double
  const Point2 p0(-big, -big), p1(big, big), q0(-DBL_MAX, DBL_MAX), q1(DBL_MAX, -DBL_MAX);
  for (const Point2& p : {Point2(big, ulpsAway(big, -1)), Point2(ulpsAway(big, -1), big), Point2(0, 0), Point2(DBL_MIN, 0)}) {
    EXPECT_EQ(getOrientation2(&p0, &p1, &p), exactOrientation2(p0, p1, p)) << p;
    EXPECT_EQ(getOrientation2_mt(&q0, &q1, &p), exactOrientation2(q0, q1, p)) << p;
  }
  const std::string aNames[] = {"ORIENTATION2_COLLINEAR", "ORIENTATION2_CCW", "ORIENTATION2_CW", "UNKNOWN"};
  for (int i = 0; i < 4; ++i) EXPECT_EQ(getString(static_cast<Orientation2>(i)), aNames[i]);
}

// Which stage decides: the filter alone on random input in general position; the exact integer
// evaluation on nearby integer points (offsets up to 2^52); the interval stage when the filter's
// range is far too wide; a filter bound with a floor where products of differences underflow.
TEST(Predicates, EachStageDecidesWhatItShouldAndStaysExact) {
  std::mt19937 rng(29);
  std::uniform_real_distribution<double> coordinate(-1.0, 1.0), parameter(-0.5, 1.5);
  const auto point = [&](double range) { return Point2(range * coordinate(rng), range * coordinate(rng)); };
  KoraTest filterOnly, wide;
  wide.setRange(1e100);  // a bound far above every determinant: all calls skip the filter
  for (int i = 0; i < 20000; ++i) {
    Point2 c0(point(1)), c1(point(1)), c2(point(1));
    const Point2 p(point(1));
    const mpq_class det(dt2test::orientationDeterminant<mpq_class>(c0, c1, c2));
    if (abs(det) >= 1e-12) {  // the near-degenerate ones are left to the other tests
      ASSERT_EQ(filterOnly.getOrientation(c0, c1, c2), toOrientation(sgn(det)));
    }
    ASSERT_EQ(wide.getOrientation(c0, c1, p), exactOrientation2(c0, c1, p));
    if (exactOrientation(c0, c1, c2) < 0) std::swap(c1, c2);
    ASSERT_EQ(filterOnly.inCircle(c0, c1, c2, p), exactInCircle(c0, c1, c2, p));
  }
  const KoraTest::StageCounts counts(filterOnly.getStageCounts());
  EXPECT_EQ(counts.orientationInterval + counts.orientationExact + counts.inCircleInterval + counts.inCircleExact, 0u);
  EXPECT_EQ(wide.getStageCounts().orientationInterval, 20000u);
  EXPECT_EQ(wide.getStageCounts().orientationExact, 0u);
  // Lattices {offset, step, in-circle decided by integers, orientation decided by integers}.
  const std::vector<std::array<double, 4>> vLattices{{0, 1, 1, 1}, {0x1p40, 1024, 1, 1}, {-0x1p51, 3, 1, 1}, {0, 1025, 0, 1}, {0.5, 1, 0, 0}};
  for (const std::array<double, 4>& c : vLattices) {
    KoraTest predicates;
    std::uniform_int_distribution<int> cell(-2, 2);
    const auto latticePoint = [&] { return Point2(c[0] + c[1] * cell(rng), c[0] + c[1] * cell(rng)); };
    for (int i = 0; i < 3000; ++i) {
      const Point2 a(latticePoint()), b(latticePoint()), d(latticePoint()), p(latticePoint());
      ASSERT_EQ(predicates.getOrientationSlow(a, b, p), exactOrientation2(a, b, p)) << c[1];
      ASSERT_EQ(predicates.inCircleSlow(a, b, d, p), exactInCircle(a, b, d, p)) << c[1];
    }
    EXPECT_EQ(predicates.getStageCounts().inCircleInterval == 0, c[2] == 1) << c[0] << " " << c[1];
    EXPECT_EQ(predicates.getStageCounts().orientationInterval == 0, c[3] == 1) << c[0];
  }
  // Around 2^-514 products of differences are subnormal while 12eM^2 underflows.
  for (int exponent : {-514, -515}) {
    const double range(std::ldexp(1.0, exponent));
    KoraTest predicates;
    predicates.setRange(range);
    for (int i = 0; i < 100000; ++i) {
      const Point2 p0(point(range)), p1(point(range));
      const double t(parameter(rng));
      const Point2 p2(p0.x() + t * (p1.x() - p0.x()), p0.y() + t * (p1.y() - p0.y()));
      if (p2.getMaxAbs() <= range) {
        ASSERT_EQ(predicates.getOrientationInRange(p0, p1, p2), exactOrientation2(p0, p1, p2)) << p2;
      }
    }
  }
}

TEST(Predicates, NullNonFiniteAndParallelArgumentsFailAssertions) {
  const Point2 p(1, 2), infinite(HUGE_VAL, 0), notANumber(0, std::nan(""));
  expectAssertion("p0!=0", "freeFunctions.cpp", [&] { getOrientation2(nullptr, &p, &p); });
  expectAssertion("p1!=0", "freeFunctions.cpp", [&] { getOrientation2(&p, nullptr, &p); });
  expectAssertion("p2!=0", "freeFunctions.cpp", [&] { getOrientation2_mt(&p, &p, nullptr); });
  const std::string finiteText("std::isfinite(p.x()) && std::isfinite(p.y())");
  expectAssertion(finiteText, "KoraTest.cpp", [&] { getOrientation2(&p, &infinite, &p); });
  expectAssertion(finiteText, "KoraTest.cpp", [&] { getOrientation2_mt(&notANumber, &p, &infinite); });
  KoraTest predicates;
  expectAssertion(finiteText, "KoraTest.cpp", [&] { predicates.getOrientation(p, Point2(3, 1), infinite); });
  EXPECT_EQ(predicates.getRange(), 0.0);  // the failed call left the filter usable
  expectAssertion(finiteText, "KoraTest.cpp", [&] { predicates.getOrientation(p, Point2(3, 1), notANumber); });
  expectAssertion(finiteText, "KoraTest.cpp", [&] { predicates.inCircle(Point2(0, 0), Point2(1, 0), Point2(0, 1), Point2(std::nan(""), 0.5)); });
  double x(0), y(0);
  for (const Point2& b0 : {Point2(0, 1), Point2(1, 1)}) {  // parallel, then overlapping
    expectAssertion("denom=0 -> parallel segments", "KoraTest.cpp",
                    [&] { predicates.getIntersectionCoords(Point2(0, 0), Point2(2, 2), b0, Point2(3, b0.y() + 3 - b0.x()), x, y); });
  }
}

// ----- Intersection ---------------------------------------------------------------------------

// Random crossings and hand-made ones (halfway cases, touching at an end point, a crossing beyond
// an end, one whose rounded image misses a segment) against the exact crossing rounded to nearest,
// ties to even; the answer says whether the rounded point lies on both closed segments.
TEST(Intersection, CoordinatesAreRoundedToTheNearestDoubleAndCheckedOnBothSegments) {
  const double ulp(std::ldexp(1.0, -52));
  std::vector<std::array<Point2, 4>> vCases{{Point2(-4, 0), Point2(4, 0), Point2(1, -1), Point2(1 + ulp, 1)},
                                            {Point2(-4, 0), Point2(4, 0), Point2(1 + ulp, -1), Point2(1 + 2 * ulp, 1)},
                                            {Point2(-4, 0), Point2(4, 0), Point2(-1 - ulp, -1), Point2(-1 - 2 * ulp, 1)},
                                            {Point2(-4, 0), Point2(4, 0), Point2(1, -3), Point2(1 + ulp, 1)},
                                            {Point2(-4, 0), Point2(4, 0), Point2(1, -1), Point2(1 + ulp, 3)},
                                            {Point2(0, 0), Point2(3, 1), Point2(0, 1), Point2(3, 0)},
                                            {Point2(0, 0), Point2(2, 2), Point2(2, 2), Point2(5, -1)},
                                            {Point2(0, 0), Point2(1, 1), Point2(2, 0), Point2(2, 5)},
                                            {Point2(0, 0), Point2(1, 3), Point2(0, 1), Point2(2, 0)}};
  std::mt19937 rng(31);
  std::uniform_real_distribution<double> coordinate(-1.0, 1.0);
  for (int i = 0; i < 3000; ++i) {
    const auto point = [&] { return Point2(coordinate(rng), coordinate(rng)); };
    vCases.push_back({point(), point(), point(), point()});
  }
  KoraTest predicates;
  size_t numOnBoth(0);
  for (const std::array<Point2, 4>& c : vCases) {
    const Point2 &a0(c[0]), &a1(c[1]), &b0(c[2]), &b1(c[3]);
    double x(0), y(0);
    const bool bOnBoth(predicates.getIntersectionCoords(a0, a1, b0, b1, x, y));
    const Point2 r(x, y);
    ASSERT_EQ(r, cdttest::roundedIntersection(Segment2(a0, a1), Segment2(b0, b1))) << b0;
    ASSERT_EQ(bOnBoth, cdttest::closedSegmentsMeet(a0, a1, r, r) && cdttest::closedSegmentsMeet(b0, b1, r, r)) << b0;
    numOnBoth += bOnBoth;
  }
  EXPECT_TRUE(numOnBoth > 0 && numOnBoth < vCases.size()) << numOnBoth;
}

// ----- SegmentChecker ------------------------------------------------------------------------------

using Intersectors = std::vector<std::pair<Segment2*, SegmentIntersectionType>>;

Segment2 seg(double x0, double y0, double x1, double y1) { return Segment2(Point2(x0, y0), Point2(x1, y1)); }

/// The classification by its definition, from the exact predicates of the test oracle: no common
/// point, a common piece of positive length (collinear, the larger start before the smaller end),
/// else one common point, which is an endpoint of both exactly when they share an endpoint. The
/// overlap of collinear segments goes to lo, hi (in lessXY order).
SegmentIntersectionType referenceType(const Segment2& a, const Segment2& b, bool& bCollinear, Point2& lo, Point2& hi) {
  const Point2 &a0(a.getSrc()), &a1(a.getTrg()), &b0(b.getSrc()), &b1(b.getTrg());
  using dt2test::exactOrientation;
  using dt2test::lessXY;
  bCollinear = exactOrientation(a0, a1, b0) == 0 && exactOrientation(a0, a1, b1) == 0 && exactOrientation(b0, b1, a0) == 0 &&
               exactOrientation(b0, b1, a1) == 0;
  lo = std::max(std::min(a0, a1, lessXY), std::min(b0, b1, lessXY), lessXY);
  hi = std::min(std::max(a0, a1, lessXY), std::max(b0, b1, lessXY), lessXY);
  if (!cdttest::closedSegmentsMeet(a0, a1, b0, b1)) return SIT_NONE;
  if (bCollinear && lessXY(lo, hi)) return SIT_SEGMENT;
  return (a0 == b0 || a0 == b1 || a1 == b0 || a1 == b1) ? SIT_ENDPOINT : SIT_POINT;
}

// Random segments on a coarse grid (crossings, T's, shared endpoints, collinear overlaps and
// containment, zero-length pieces) and on a grid of decimal steps that doubles cannot hold exactly.
// Every pair in both directions: the type, the common point (exact or rounded to nearest) or the
// overlap (directed like the first). The illegal sets (with and without endpoint contacts, in index
// order), the intersectors of every member, and those of a foreign copy, reversed or not (appended to
// what the caller holds, the member it copies included), must agree with the rational reference.
TEST(SegmentChecker, AgreesWithAPairwiseRationalReferenceOnDegenerateRandomInput) {
  std::mt19937 rng(2024);
  SegmentChecker constructions;
  for (double step : {1.0, 0.1}) {
    for (int gridSize : {4, 9}) {
      std::uniform_int_distribution<int> coordinate(0, gridSize), kind(0, 9), length(-2, 2);
      std::vector<Segment2> vStore, vReversed;
      for (int i = 0; i < 160; ++i) {
        const int x0(coordinate(rng)), y0(coordinate(rng)), k(kind(rng));
        // Some axis-parallel, some zero-length, the rest anywhere.
        const int x1(k == 0 ? x0 : (k < 4 ? x0 + length(rng) : coordinate(rng)));
        const int y1(k == 1 ? y0 : (k < 4 ? y0 + length(rng) : coordinate(rng)));
        vStore.push_back(seg(x0 * step, y0 * step, x1 * step, y1 * step));
        vReversed.push_back(seg(x1 * step, y1 * step, x0 * step, y0 * step));
      }
      std::vector<Segment2*> vSegments;
      for (Segment2& s : vStore) vSegments.push_back(&s);
      SegmentChecker checker(vSegments);
      const size_t n(vStore.size());
      std::vector<Intersectors> vExpectedIntersectors(n), vExpectedForeign(n, Intersectors{{nullptr, SIT_NONE}});
      const std::string said(captureStdout([&] {  // collinear segments without a common point are refused silently
        for (size_t i = 0; i < n; ++i) {
          for (size_t j = 0; j < n; ++j) {
            bool bCollinear(false);
            Point2 lo, hi, p;
            const SegmentIntersectionType expected(referenceType(vStore[i], vStore[j], bCollinear, lo, hi));
            if (expected != SIT_NONE && (i % 2 == 0 || expected != SIT_ENDPOINT)) {
              vExpectedForeign[i].emplace_back(vSegments[j], expected);
            }
            if (i == j) continue;
            ASSERT_EQ(checker.getIntersectionType(vSegments[i], vSegments[j]), expected) << vStore[i] << " / " << vStore[j];
            ASSERT_EQ(checker.getIntersectionType(&vReversed[i], vSegments[j]), expected) << vReversed[i] << " / " << vStore[j];
            if (expected != SIT_NONE) vExpectedIntersectors[i].emplace_back(vSegments[j], expected);
            if (expected == SIT_POINT) {
              ASSERT_TRUE(constructions.getIntersectionPoint(SIT_POINT, vStore[i], vStore[j], p));
              EXPECT_EQ(p, cdttest::roundedIntersection(vStore[i], vStore[j])) << vStore[i] << " / " << vStore[j];
              EXPECT_EQ(p.getCustomIndex(), -1);
            }
            if (!bCollinear || vStore[i].getSrc() == vStore[i].getTrg() || vStore[j].getSrc() == vStore[j].getTrg()) continue;
            Segment2 overlap;
            EXPECT_EQ(constructions.getIntersectionSegment(vStore[i], vStore[j], overlap), expected != SIT_NONE);
            if (dt2test::lessXY(vStore[i].getTrg(), vStore[i].getSrc())) std::swap(lo, hi);
            EXPECT_TRUE(expected == SIT_NONE || (overlap.getSrc() == lo && overlap.getTrg() == hi))
                << vStore[i] << " / " << vStore[j];
          }
        }
      }));
      EXPECT_EQ(said, "");
      for (bool bAlsoEndpoints : {false, true}) {
        std::vector<Segment2*> vExpected, vIllegal;
        for (size_t i = 0; i < n; ++i) {
          const auto& v(vExpectedIntersectors[i]);
          if (std::any_of(v.begin(), v.end(), [&](const auto& e) { return bAlsoEndpoints || e.second != SIT_ENDPOINT; })) vExpected.push_back(vSegments[i]);
        }
        checker.getIllegalSegments(bAlsoEndpoints, vIllegal);
        EXPECT_EQ(vIllegal, vExpected) << "step " << step << ", grid " << gridSize << ", endpoints " << bAlsoEndpoints;
      }
      for (size_t i = 0; i < n; ++i) {
        Intersectors vIntersectors, vForeign{{nullptr, SIT_NONE}};
        checker.getIntersectors(vSegments[i], true, vIntersectors);
        EXPECT_EQ(vIntersectors, vExpectedIntersectors[i]) << vStore[i];
        Segment2 probe(i % 2 == 0 ? vReversed[i] : vStore[i]);
        checker.getIntersectors(&probe, i % 2 == 0, vForeign);
        EXPECT_EQ(vForeign, vExpectedForeign[i]) << probe;
      }
    }
  }
}

// Refused constructions say why and leave the output alone.
TEST(SegmentChecker, IntersectionConstructionsRefuseOtherTypes) {
  SegmentChecker checker;
  const std::string where("SegmentChecker::getIntersectionPoint()");
  Point2 p(7, 7);
  EXPECT_EQ(captureStdout([&] { EXPECT_FALSE(checker.getIntersectionPoint(SIT_ENDPOINT, seg(0, 0, 1, 0), seg(0, 0, 0, 1), p)); }),
            reported(where, "ERROR", "SIT_ENDPOINT is a wrong SegmentIntersectionType for the preset segments"));
  for (SegmentIntersectionType sit : {SIT_NONE, SIT_SEGMENT, SIT_UNINITIALIZED, SIT_POINT}) {  // SIT_POINT: parallel
    const Segment2 b(sit == SIT_POINT ? seg(0, 1, 2, 1) : seg(0, 2, 2, 0));
    EXPECT_EQ(captureStdout([&] { EXPECT_FALSE(checker.getIntersectionPoint(sit, seg(0, 0, 2, 0), b, p)); }),
              reported(where, "ERROR", "wrong SegmentIntersectionType provided"));
  }
  EXPECT_EQ(p, Point2(7, 7));
  Segment2 out;
  EXPECT_EQ(captureStdout([&] { EXPECT_FALSE(checker.getIntersectionSegment(seg(0, 0, 1, 1), seg(0, 0, 1, dt2test::ulpsAway(1, 1)), out)); }),
            reported(where, "ERROR", "segments seem to be non-collinear"));
}

// Null and non-finite segments keep their index but are not checked (one warning for all); the
// type texts; the pictures and their counts.
TEST(SegmentChecker, NullAndNonFiniteSegmentsTypeTextsAndPictures) {
  const char* const aTexts[] = {"SIT_UNINITIALIZED", "SIT_NONE", "SIT_SEGMENT", "SIT_POINT", "SIT_ENDPOINT", "UNKNOWN SIT"};
  for (int i = 0; i < 6; ++i) EXPECT_EQ(SegmentChecker::getIntersectionTypeString(static_cast<SegmentIntersectionType>(i)), aTexts[i]);
  Segment2 a(seg(0, 0, 2, 2)), b(seg(0, 2, 2, 0)), c(seg(3, 0, 3, 1)), d(seg(3, 1, 4, 1)), bad(seg(1, 1, NAN, 1)), inf(seg(1, 1, HUGE_VAL, 1));
  const std::vector<Segment2*> vSegments{&a, nullptr, &bad, &inf, &b, &c, &d};
  EXPECT_NE(captureStdout([&] { SegmentChecker probe(vSegments); })
            .find("SegmentChecker::SegmentChecker(), WARNING: 3 null or non-finite segment(s) will not be checked\n"), std::string::npos);
  SegmentChecker checker(vSegments);
  EXPECT_EQ(checker.getNumberOfSegments(), 7u);
  EXPECT_EQ(checker.getSegment(4), &b);
  std::vector<Segment2*> vIllegal;
  checker.getIllegalSegments(true, vIllegal);
  EXPECT_EQ(vIllegal, (std::vector<Segment2*>{&a, &b, &c, &d}));
  EXPECT_NE(captureStdout([&] { EXPECT_EQ(checker.getIntersectionType(&a, &bad), SIT_UNINITIALIZED); }).find("WARNING"), std::string::npos);
  const std::string showPath((std::filesystem::temp_directory_path() / "segmentchecker_show.ps").string());
  const std::string illegalPath((std::filesystem::temp_directory_path() / "segmentchecker_illegal.svg").string());
  std::remove(showPath.c_str());
  const std::string warning(zarn_test::warned("Visualizer2::addSegment()", "Non-finite coordinate, ignored"));
  const std::string skipped(warning + warning);  // the pictures leave out the two non-finite segments
  EXPECT_EQ(captureStdout([&] { checker.showSegments(showPath); }), "SegmentChecker::showSegments(), numSegments=7\n" + skipped);
  EXPECT_TRUE(std::ifstream(showPath).good());
  EXPECT_EQ(captureStdout([&] { checker.showIllegalSegments(true, illegalPath); }),
            "Number of segments:7\nIllegal segments:4\nLegal segments:3\n" + skipped);
  EXPECT_EQ(captureStdout([&] { checker.showIllegalSegments(false, illegalPath); }),
            "Number of segments:7\nIllegal segments:2\nLegal segments:5\n" + skipped);
  EXPECT_NE(zarn_test::readFile(illegalPath).find("<svg"), std::string::npos);
}

// Progress goes once to each receiver subscribed for it: at the start, every percent at most, at the end.
TEST(SegmentChecker, ProgressReachesEachSubscribedReceiverOnce) {
  dt2test::ProgressRecorder recorder("getIllegalSegments"), other("none");
  std::vector<Segment2> vStore;
  for (int i = 0; i < 1000; ++i) vStore.push_back(seg(i, 0, i + 0.5, 1));
  std::vector<Segment2*> vSegments, vIllegal;
  for (Segment2& s : vStore) vSegments.push_back(&s);
  SegmentChecker checker(vSegments);
  checker.subscribe(MSG_PROGRESS, &recorder);
  checker.subscribe(MSG_PROGRESS, &recorder);  // a second subscription of the pair is ignored
  checker.subscribe(MSG_WARNING, &other);
  checker.getIllegalSegments(false, vIllegal);
  const std::vector<double>& v(recorder.vProgress);
  ASSERT_GE(v.size(), 90u);   // a report for every percent,
  EXPECT_LE(v.size(), 102u);  // and no more, plus start and end
  EXPECT_TRUE(v.front() == 0.0 && v.back() == 1.0);
  for (size_t i = 1; i + 1 < v.size(); ++i) EXPECT_GE(v[i] - v[i - 1], 0.01 - 1e-12);
  EXPECT_TRUE(other.vProgress.empty());
  const size_t numReports(v.size());
  checker.unsubscribe(MSG_PROGRESS, &recorder);
  checker.getIllegalSegments(false, vIllegal);
  EXPECT_EQ(v.size(), numReports);
  SegmentChecker empty;
  EXPECT_EQ(captureStdout([&] { empty.unsubscribe(MSG_PROGRESS, &recorder); }), reported("SegmentChecker::unsubscribe()", "ERROR", "No publisher present"));
  empty.subscribe(MSG_WARNING, &recorder);
  EXPECT_EQ(captureStdout([&] { empty.unsubscribe(MSG_PROGRESS, &recorder); }), "");  // not subscribed for this type: nothing to say
}

}  // namespace
}  // namespace KORA_ZARN2D
