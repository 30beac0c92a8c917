// Exactness of the orientation and in-circle predicates and of the intersection construction,
// checked against the independent rational evaluations of dt2_test_support.h, at every scale,
// under every rounding mode and from several threads; which stage decides what.
#include <array>
#include <atomic>
#include <cfenv>
#include <cfloat>
#include <cmath>
#include <functional>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "KoraTest.h"
#include "cdt_test_support.h"
#include "freeFunctions.h"

namespace KORA_ZARN2D {
namespace {

using dt2test::exactInCircle;
using dt2test::exactOrientation;
using dt2test::ulpsAway;

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

}  // namespace
}  // namespace KORA_ZARN2D
