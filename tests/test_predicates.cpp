// Exactness of the orientation and in-circle predicates and of the intersection construction,
// checked against independent rational evaluations.
#include <gmpxx.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cfenv>
#include <cfloat>
#include <cmath>
#include <functional>
#include <random>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "KoraTest.h"
#include "ZarnException.h"
#include "cdt_test_support.h"
#include "dt2_test_support.h"
#include "freeFunctions.h"

namespace KORA_ZARN2D {
namespace {

// ----- Independent exact references -----------------------------------------------------------

using dt2test::exactInCircle;
using dt2test::exactOrientation;

Orientation2 toOrientation(int determinantSign) {
  return determinantSign > 0 ? ORIENTATION2_CCW : (determinantSign < 0 ? ORIENTATION2_CW : ORIENTATION2_COLLINEAR);
}

/// Whether the last significand bit is 0: the value is a multiple of twice its ulp.
bool hasEvenLastBit(double value) {
  const double magnitude(std::fabs(value));
  return std::fmod(magnitude, 2.0 * (std::nextafter(magnitude, HUGE_VAL) - magnitude)) == 0.0;
}

/// The double nearest to q, ties to the even significand, found by comparing distances.
double referenceNearest(const mpq_class& q) {
  const double guess(q.get_d());
  double best(guess);
  mpq_class bestDistance(abs(q - mpq_class(guess)));
  for (double candidate : {std::nextafter(guess, -HUGE_VAL), std::nextafter(guess, HUGE_VAL)}) {
    const mpq_class distance(abs(q - mpq_class(candidate)));
    const bool bEvenTie(distance == bestDistance && hasEvenLastBit(candidate));
    if (distance < bestDistance || bEvenTie) {
      best = candidate;
      bestDistance = distance;
    }
  }
  return best;
}

/// The exact intersection of the lines (a0, a1) and (b0, b1) by Cramer's rule on the line equations;
/// false for parallel lines.
bool referenceIntersection(const Point2& a0, const Point2& a1, const Point2& b0, const Point2& b1, mpq_class& x,
                           mpq_class& y) {
  // Line i: n_i . (x, y) = c_i with normal n_i = (dy, -dx).
  const mpq_class n0x(mpq_class(a1.y()) - a0.y()), n0y(mpq_class(a0.x()) - a1.x());
  const mpq_class n1x(mpq_class(b1.y()) - b0.y()), n1y(mpq_class(b0.x()) - b1.x());
  const mpq_class c0(n0x * a0.x() + n0y * a0.y()), c1(n1x * b0.x() + n1y * b0.y());
  const mpq_class det(n0x * n1y - n0y * n1x);
  if (det == 0) return false;
  x = (c0 * n1y - n0y * c1) / det;
  y = (n0x * c1 - c0 * n1x) / det;
  return true;
}

// ----- Input generators -----------------------------------------------------------------------

/// Triples whose third point lies a few ulps around a point near or on the line through the first two:
/// even rounds take a random point of the line, odd rounds an exactly collinear lattice point.
std::vector<std::vector<Point2>> nearlyCollinearTriples(double scale, std::mt19937& rng) {
  std::uniform_real_distribution<double> coordinate(-1.0, 1.0), parameter(-0.5, 1.5);
  std::uniform_int_distribution<int> lattice(-(1 << 20), 1 << 20), multiple(-3, 4);
  const double latticeUnit(std::ldexp(1.0, std::ilogb(scale)));
  std::vector<std::vector<Point2>> vTriples;
  for (int i = 0; i < 40; ++i) {
    const bool bLattice(i % 2 == 1);
    auto randomPoint = [&] {
      if (bLattice) return Point2(latticeUnit * lattice(rng), latticeUnit * lattice(rng));
      return Point2(scale * coordinate(rng), scale * coordinate(rng));
    };
    const Point2 p0(randomPoint()), p1(randomPoint());
    const double t(bLattice ? multiple(rng) : parameter(rng));  // integer multiples stay exact on the lattice
    const double x(p0.x() + t * (p1.x() - p0.x())), y(p0.y() + t * (p1.y() - p0.y()));
    for (int ulpsX = -2; ulpsX <= 2; ++ulpsX) {
      for (int ulpsY = -2; ulpsY <= 2; ++ulpsY) vTriples.push_back({p0, p1, Point2(dt2test::ulpsAway(x, ulpsX), dt2test::ulpsAway(y, ulpsY))});
    }
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
    std::vector<Point2> vOnCircle;
    for (double a : vAngles) vOnCircle.emplace_back(scale * std::cos(a), scale * std::sin(a));
    for (int ulps = -3; ulps <= 3; ++ulps) {
      vQuadruples.push_back({vOnCircle[0], vOnCircle[1], vOnCircle[2], Point2(dt2test::ulpsAway(vOnCircle[3].x(), ulps), vOnCircle[3].y())});
    }
  }
  return vQuadruples;
}

const double kScales[] = {4e-320, 1e-300, 1e-155, 1e-150, 1.0, 1e150, 1e300};

// ----- Output capture -------------------------------------------------------------------------

std::vector<std::string> capturedLines(const std::function<void()>& action) {
  testing::internal::CaptureStdout();
  action();
  std::istringstream stream(testing::internal::GetCapturedStdout());
  std::vector<std::string> vLines;
  for (std::string line; std::getline(stream, line);) vLines.push_back(line);
  return vLines;
}

/// Runs action, which must fail the assertion conditionText in sourceFile, and checks the five lines.
void expectAssertion(const std::string& conditionText, const std::string& sourceFile, const std::function<void()>& action) {
  bool bThrown(false);
  const std::vector<std::string> vLines(capturedLines([&] {
    try {
      action();
    } catch (const ZarnException&) {
      bThrown = true;
    }
  }));
  EXPECT_TRUE(bThrown) << conditionText;
  ASSERT_EQ(vLines.size(), 5u) << conditionText;
  EXPECT_EQ(vLines[0], "");
  EXPECT_EQ(vLines[1], "      [Zarn2D-Message] Zarn, , ERROR: Condition [ " + conditionText + " failed ]");
  EXPECT_EQ(vLines[2], "");
  EXPECT_EQ(vLines[3], "Zarn, Condition [ " + conditionText + " failed ]");
  EXPECT_EQ(vLines[4].rfind("      ", 0), 0u);
  EXPECT_NE(vLines[4].find("dt2Library/" + sourceFile + ":"), std::string::npos) << vLines[4];
}

// ----- Orientation ----------------------------------------------------------------------------

TEST(Orientation, SimpleAndNearlyCollinearTriplesAndTheNames) {
  const Point2 origin(0, 0), ex(1, 0), ey(0, 1), diag1(1, 1), diag2(2, 2);
  EXPECT_EQ(getOrientation2(&origin, &ex, &ey), ORIENTATION2_CCW);
  EXPECT_EQ(getOrientation2(&origin, &ey, &ex), ORIENTATION2_CW);
  EXPECT_EQ(getOrientation2(&origin, &diag1, &diag2), ORIENTATION2_COLLINEAR);
  const Point2 p0(0.5, 0.5), p1(12, 12), p2(24, 24 + std::ldexp(1.0, -48));
  EXPECT_EQ(getOrientation2(&p1, &p0, &p2), ORIENTATION2_CW);
  EXPECT_EQ(getOrientation2_mt(&p2, &p0, &p1), ORIENTATION2_CCW);
  EXPECT_EQ(getString(ORIENTATION2_COLLINEAR), "ORIENTATION2_COLLINEAR");
  EXPECT_EQ(getString(ORIENTATION2_CCW), "ORIENTATION2_CCW");
  EXPECT_EQ(getString(ORIENTATION2_CW), "ORIENTATION2_CW");
  EXPECT_EQ(getString(static_cast<Orientation2>(3)), "UNKNOWN");
}

TEST(Orientation, MatchesTheRationalReferenceAtEveryScale) {
  std::mt19937 rng(17);
  for (double scale : kScales) {
    KoraTest predicates;
    int numCollinear(0);
    for (const std::vector<Point2>& v : nearlyCollinearTriples(scale, rng)) {
      const Orientation2 expected(toOrientation(exactOrientation(v[0], v[1], v[2])));
      numCollinear += expected == ORIENTATION2_COLLINEAR;
      ASSERT_EQ(predicates.getOrientation(v[0], v[1], v[2]), expected) << scale << " " << v[2];
      ASSERT_EQ(predicates.getOrientation(v[2], v[0], v[1]), expected) << scale << " " << v[2];
      ASSERT_EQ(getOrientation2(&v[1], &v[0], &v[2]), toOrientation(-exactOrientation(v[0], v[1], v[2])));
      ASSERT_EQ(getOrientation2_mt(&v[0], &v[1], &v[2]), expected);
    }
    EXPECT_GT(numCollinear, 0) << scale;  // the inputs really probe the degenerate case
    EXPECT_GT(predicates.getStageCounts().orientationExact, 0u) << scale;
  }
}

TEST(Orientation, HugeCoordinatesNeverOverflowIntoAWrongSign) {
  const double big(1e300);
  const Point2 p0(-big, -big), p1(big, big), below(big, dt2test::ulpsAway(big, -1)), above(dt2test::ulpsAway(big, -1), big);
  EXPECT_EQ(getOrientation2(&p0, &p1, &below), ORIENTATION2_CW);
  EXPECT_EQ(getOrientation2(&p0, &p1, &above), ORIENTATION2_CCW);
  const Point2 q0(-DBL_MAX, DBL_MAX), q1(DBL_MAX, -DBL_MAX), q2(0, 0), q3(DBL_MIN, 0);
  EXPECT_EQ(getOrientation2_mt(&q0, &q1, &q2), ORIENTATION2_COLLINEAR);
  EXPECT_EQ(getOrientation2_mt(&q0, &q1, &q3), ORIENTATION2_CCW);
}

TEST(Orientation, TheIntervalStageDecidesWhatAWideFilterRejects) {
  std::mt19937 rng(5);
  std::uniform_real_distribution<double> coordinate(-1.0, 1.0);
  KoraTest predicates;
  predicates.setRange(1e100);  // a bound far above every determinant: all calls skip the filter
  for (int i = 0; i < 2000; ++i) {
    const Point2 p0(coordinate(rng), coordinate(rng)), p1(coordinate(rng), coordinate(rng)), p2(coordinate(rng), coordinate(rng));
    ASSERT_EQ(predicates.getOrientation(p0, p1, p2), toOrientation(exactOrientation(p0, p1, p2)));
  }
  EXPECT_EQ(predicates.getStageCounts().orientationInterval, 2000u);
  EXPECT_EQ(predicates.getStageCounts().orientationExact, 0u);
}

TEST(Orientation, FilterStaysSoundWhenProductsUnderflow) {
  // Around 2^-514 the products of coordinate differences are subnormal while 12eM^2 underflows:
  // a bound without a floor would pass determinants that rounding gave the wrong sign.
  std::mt19937 rng(7);
  std::uniform_real_distribution<double> coordinate(-1.0, 1.0), parameter(-0.5, 1.5);
  for (int exponent : {-514, -515}) {
    const double range(std::ldexp(1.0, exponent));
    KoraTest predicates;
    predicates.setRange(range);
    for (int i = 0; i < 100000; ++i) {
      const Point2 p0(range * coordinate(rng), range * coordinate(rng)), p1(range * coordinate(rng), range * coordinate(rng));
      const double t(parameter(rng));
      const Point2 p2(p0.x() + t * (p1.x() - p0.x()), p0.y() + t * (p1.y() - p0.y()));
      if (p2.getMaxAbs() > range) continue;
      ASSERT_EQ(predicates.getOrientationInRange(p0, p1, p2), toOrientation(exactOrientation(p0, p1, p2))) << p2;
    }
  }
}

TEST(Orientation, CallerRoundingModeIsRestoredOnEveryPath) {
  const Point2 p0(0.5, 0.5), p1(12, 12);
  // The interval stage decides clear cases and exactly computed zeros; GMP the rest.
  const Point2 clearlyLeft(24, 25), exactlyOnTheLine(24, 24), barelyLeft(24, 24 + std::ldexp(1.0, -48)),
      onTheLineWithRounding(0.1, 0.1);
  for (int mode : {FE_TOWARDZERO, FE_UPWARD, FE_DOWNWARD, FE_TONEAREST}) {
    KoraTest predicates;
    ASSERT_EQ(std::fesetround(mode), 0);
    const Orientation2 aResults[4] = {
        predicates.getOrientationSlow(p0, p1, clearlyLeft), predicates.getOrientationSlow(p0, p1, exactlyOnTheLine),
        predicates.getOrientationSlow(p0, p1, barelyLeft), predicates.getOrientationSlow(p0, p1, onTheLineWithRounding)};
    EXPECT_EQ(std::fegetround(), mode);
    std::fesetround(FE_TONEAREST);
    EXPECT_EQ(aResults[0], ORIENTATION2_CCW);
    EXPECT_EQ(aResults[1], ORIENTATION2_COLLINEAR);
    EXPECT_EQ(aResults[2], ORIENTATION2_CCW);
    EXPECT_EQ(aResults[3], ORIENTATION2_COLLINEAR);
    EXPECT_EQ(predicates.getStageCounts().orientationInterval, 4u);
    EXPECT_EQ(predicates.getStageCounts().orientationExact, 2u);
    std::fesetround(mode);
    const Point2 c0(1, 0), c1(0, 1), c2(-1, 0), exactlyOnTheCircle(0, -1), nearTheCircle(0.6, -0.8);
    const int onCircle(predicates.inCircleSlow(c0, c1, c2, exactlyOnTheCircle));
    const int nearCircle(predicates.inCircleSlow(c0, c1, c2, nearTheCircle));
    EXPECT_EQ(std::fegetround(), mode);
    EXPECT_EQ(onCircle, 0);
    EXPECT_EQ(nearCircle, exactInCircle(c0, c1, c2, nearTheCircle));
    EXPECT_EQ(predicates.getStageCounts().inCircleExact, 1u);
    std::fesetround(FE_TONEAREST);
  }
}

// The free function and the facade's forward, from four threads at once on input that needs the
// exact stage.
TEST(Orientation, ThreadSafeVariantAgreesUnderConcurrentUse) {
  std::mt19937 rng(11);
  const std::vector<std::vector<Point2>> vTriples(nearlyCollinearTriples(1.0, rng));
  Zarn_2D dt;
  std::vector<int> vMismatches(4, 0);
  std::vector<std::thread> vThreads;
  for (int t = 0; t < 4; ++t) {
    vThreads.emplace_back([&, t] {
      for (const std::vector<Point2>& v : vTriples) {
        const Orientation2 expected(toOrientation(exactOrientation(v[0], v[1], v[2])));
        vMismatches[t] += (getOrientation2_mt(&v[0], &v[1], &v[2]) != expected) + (dt.getOrientation(v[0], v[1], v[2]) != expected);
      }
    });
  }
  for (std::thread& thread : vThreads) thread.join();
  EXPECT_EQ(vMismatches, std::vector<int>(4, 0));
}

TEST(Orientation, NullAndNonFiniteArgumentsFailAssertions) {
  const Point2 p(1, 2);
  expectAssertion("p0!=0", "freeFunctions.cpp", [&] { getOrientation2(nullptr, &p, &p); });
  expectAssertion("p1!=0", "freeFunctions.cpp", [&] { getOrientation2(&p, nullptr, &p); });
  expectAssertion("p2!=0", "freeFunctions.cpp", [&] { getOrientation2_mt(&p, &p, nullptr); });
  const Point2 infinite(HUGE_VAL, 0), notANumber(0, std::nan(""));
  const std::string finiteText("std::isfinite(p.x()) && std::isfinite(p.y())");
  expectAssertion(finiteText, "KoraTest.cpp", [&] { getOrientation2(&p, &infinite, &p); });
  expectAssertion(finiteText, "KoraTest.cpp", [&] { getOrientation2_mt(&notANumber, &p, &infinite); });
  KoraTest predicates;
  expectAssertion(finiteText, "KoraTest.cpp", [&] { predicates.getOrientation(p, Point2(3, 1), infinite); });
  EXPECT_EQ(predicates.getRange(), 0.0);  // the failed call left the filter usable
  expectAssertion(finiteText, "KoraTest.cpp", [&] { predicates.getOrientation(p, Point2(3, 1), notANumber); });
  expectAssertion(finiteText, "KoraTest.cpp", [&] { predicates.inCircle(Point2(0, 0), Point2(1, 0), Point2(0, 1), Point2(std::nan(""), 0.5)); });
}

// ----- In-circle ------------------------------------------------------------------------------

TEST(InCircle, CocircularIntegerPointsAreOnTheCircleAtEveryPowerOfTwoScale) {
  const double aCircle[][2] = {{5, 0}, {4, 3}, {0, 5}, {-3, 4}, {-5, 0}, {-4, -3}, {3, -4}};
  KoraTest predicates;
  for (int exponent : {-1060, -500, 0, 500, 1000}) {
    std::vector<Point2> v;
    for (const double(&xy)[2] : aCircle) v.emplace_back(std::ldexp(xy[0] + 7, exponent), std::ldexp(xy[1] - 2, exponent));
    for (size_t i = 3; i < v.size(); ++i) EXPECT_EQ(predicates.inCircle(v[0], v[1], v[2], v[i]), 0) << exponent;
    const Point2 centre(std::ldexp(7, exponent), std::ldexp(-2, exponent)), far(std::ldexp(20, exponent), 0);
    EXPECT_EQ(predicates.inCircle(v[1], v[3], v[5], centre), 1) << exponent;
    EXPECT_EQ(predicates.inCircle(v[1], v[3], v[5], far), -1) << exponent;
  }
}

TEST(InCircle, MatchesTheRationalReferenceAtEveryScale) {
  std::mt19937 rng(23);
  for (double scale : kScales) {
    KoraTest predicates;
    for (const std::vector<Point2>& v : nearlyCocircularQuadruples(scale, rng)) {
      ASSERT_EQ(predicates.inCircle(v[0], v[1], v[2], v[3]), exactInCircle(v[0], v[1], v[2], v[3]))
          << scale << " " << v[3];
    }
    EXPECT_GT(predicates.getStageCounts().inCircleExact, 0u) << scale;
  }
}

// Random input in general position: the filter alone decides both predicates.
TEST(Predicates, RandomInputIsDecidedByTheFilterAlone) {
  std::mt19937 rng(29);
  std::uniform_real_distribution<double> coordinate(-1.0, 1.0);
  KoraTest predicates;
  int numOrientationsTested(0);
  for (int i = 0; i < 20000; ++i) {
    Point2 c0(coordinate(rng), coordinate(rng)), c1(coordinate(rng), coordinate(rng)), c2(coordinate(rng), coordinate(rng));
    const Point2 p(coordinate(rng), coordinate(rng));
    const mpq_class det((mpq_class(c1.x()) - c0.x()) * (mpq_class(c2.y()) - c0.y()) - (mpq_class(c1.y()) - c0.y()) * (mpq_class(c2.x()) - c0.x()));
    if (abs(det) >= 1e-12) {  // leave the near-degenerate ones to the other tests
      ++numOrientationsTested;
      ASSERT_EQ(predicates.getOrientation(c0, c1, c2), toOrientation(sgn(det)));
    }
    if (exactOrientation(c0, c1, c2) < 0) std::swap(c1, c2);
    const int expected(exactInCircle(c0, c1, c2, p));
    ASSERT_NE(expected, 0);
    ASSERT_EQ(predicates.inCircle(c0, c1, c2, p), expected);
  }
  EXPECT_GT(numOrientationsTested, 19000);
  const KoraTest::StageCounts counts(predicates.getStageCounts());
  EXPECT_EQ(counts.orientationInterval + counts.orientationExact + counts.inCircleInterval + counts.inCircleExact, 0u);
}

// Nearby integer points (grids, pixel coordinates) are decided by an evaluation in doubles that is
// exact for them, at any offset up to 2^52; points farther apart or off the integers are not.
TEST(InCircle, NearbyIntegerPointsNeedNoIntervalStage) {
  struct Case {
    double offset, step;
    bool bInCircleByIntegers, bOrientationByIntegers;
  };
  const Case aCases[] = {{0, 1, true, true}, {0x1p40, 1024, true, true}, {-0x1p51, 3, true, true},
                         {0, 1025, false, true}, {0.5, 1, false, false}};
  std::mt19937 rng(31);
  std::uniform_int_distribution<int> cell(-2, 2);
  for (const Case& c : aCases) {
    KoraTest predicates;
    const auto point = [&] { return Point2(c.offset + c.step * cell(rng), c.offset + c.step * cell(rng)); };
    for (int i = 0; i < 3000; ++i) {
      const Point2 a(point()), b(point()), d(point()), p(point());
      ASSERT_EQ(predicates.getOrientationSlow(a, b, p), toOrientation(exactOrientation(a, b, p))) << c.step;
      ASSERT_EQ(predicates.inCircleSlow(a, b, d, p), exactInCircle(a, b, d, p)) << c.step;
    }
    EXPECT_EQ(predicates.getStageCounts().inCircleInterval == 0, c.bInCircleByIntegers) << c.offset << " " << c.step;
    EXPECT_EQ(predicates.getStageCounts().orientationInterval == 0, c.bOrientationByIntegers) << c.offset;
  }
}

// ----- Intersection ---------------------------------------------------------------------------

TEST(Intersection, CoordinatesAreRoundedToTheNearestDouble) {
  std::mt19937 rng(31);
  std::uniform_real_distribution<double> coordinate(-1.0, 1.0);
  KoraTest predicates;
  for (int i = 0; i < 3000; ++i) {
    const Point2 a0(coordinate(rng), coordinate(rng)), a1(coordinate(rng), coordinate(rng));
    const Point2 b0(coordinate(rng), coordinate(rng)), b1(coordinate(rng), coordinate(rng));
    mpq_class exactX, exactY;
    if (!referenceIntersection(a0, a1, b0, b1, exactX, exactY)) continue;
    double x(0), y(0);
    const bool bOnBoth(predicates.getIntersectionCoords(a0, a1, b0, b1, x, y));
    ASSERT_EQ(x, referenceNearest(exactX));
    ASSERT_EQ(y, referenceNearest(exactY));
    const Point2 rounded(x, y);
    ASSERT_EQ(bOnBoth, cdttest::closedSegmentsMeet(a0, a1, rounded, rounded) && cdttest::closedSegmentsMeet(b0, b1, rounded, rounded));
  }
}

TEST(Intersection, HalfwayCoordinatesRoundToTheEvenNeighbour) {
  // The vertical-ish segment crosses y = 0 at the mean of its end points' x.
  const double one(1.0), ulp(std::ldexp(1.0, -52));
  struct Case {
    double xBelow, xAbove, yBelow, yAbove, expected;
  };
  const Case aCases[] = {
      {one, one + ulp, -1, 1, one},                     // halfway, 1 is even
      {one + ulp, one + 2 * ulp, -1, 1, one + 2 * ulp},  // halfway, 1 + 2ulp is even
      {-one - ulp, -one - 2 * ulp, -1, 1, -one - 2 * ulp},
      {one, one + ulp, -3, 1, one + ulp},  // three quarters of an ulp: truncation would give 1
      {one, one + ulp, -1, 3, one},        // one quarter of an ulp
  };
  KoraTest predicates;
  for (const Case& c : aCases) {
    double x(0), y(0);
    predicates.getIntersectionCoords(Point2(-4, 0), Point2(4, 0), Point2(c.xBelow, c.yBelow), Point2(c.xAbove, c.yAbove), x, y);
    EXPECT_EQ(x, c.expected) << c.xBelow << " " << c.yBelow;
    EXPECT_EQ(y, 0.0);
  }
}

TEST(Intersection, ReportsWhetherTheRoundedPointLiesOnBothSegments) {
  KoraTest predicates;
  double x(0), y(0);
  EXPECT_TRUE(predicates.getIntersectionCoords(Point2(0, 0), Point2(3, 1), Point2(0, 1), Point2(3, 0), x, y));
  EXPECT_EQ(x, 1.5);
  EXPECT_EQ(y, 0.5);
  // Touching at an end point counts; a crossing beyond an end does not.
  EXPECT_TRUE(predicates.getIntersectionCoords(Point2(0, 0), Point2(2, 2), Point2(2, 2), Point2(5, -1), x, y));
  EXPECT_FALSE(predicates.getIntersectionCoords(Point2(0, 0), Point2(1, 1), Point2(2, 0), Point2(2, 5), x, y));
  EXPECT_EQ(x, 2.0);
  EXPECT_EQ(y, 2.0);
  // The crossing (2/7, 6/7) is not a double: its rounded image misses the first segment.
  EXPECT_FALSE(predicates.getIntersectionCoords(Point2(0, 0), Point2(1, 3), Point2(0, 1), Point2(2, 0), x, y));
  EXPECT_EQ(x, 2.0 / 7.0);
  EXPECT_EQ(y, 6.0 / 7.0);
}

TEST(Intersection, ParallelSegmentsFailTheAssertion) {
  KoraTest predicates;
  double x(0), y(0);
  expectAssertion("denom=0 -> parallel segments", "KoraTest.cpp", [&] {
    predicates.getIntersectionCoords(Point2(0, 0), Point2(1, 1), Point2(0, 1), Point2(3, 4), x, y);
  });
  expectAssertion("denom=0 -> parallel segments", "KoraTest.cpp", [&] {
    predicates.getIntersectionCoords(Point2(0, 0), Point2(2, 2), Point2(1, 1), Point2(3, 3), x, y);
  });
}

}  // namespace
}  // namespace KORA_ZARN2D
