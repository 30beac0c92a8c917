// Triangle2 measures and circumcentres, Edge2, and the walk around the star of a vertex in small
// triangulations.
#include <gtest/gtest.h>
#include <gmpxx.h>

#include <cfloat>
#include <cmath>
#include <functional>
#include <limits>
#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "Edge2.h"
#include "Triangle2.h"
#include "TriangleAroundVertexIterator.h"
#include "ZarnException.h"
#include "freeFunctions.h"
#include "Zarn_2D.h"
#include "test_support.h"

using namespace KORA_ZARN2D;

namespace {


// The triangles around pV, sorted counterclockwise by the direction of their barycentres from pV
// (an independent order: the direction angles are far apart in these small stars).
std::vector<Triangle2*> sortedAround(const Zarn_2D& dt, const Point2* pV) {
  std::vector<Triangle2*> vAll, vT;
  dt.getTrianglePointers(vAll);
  for (Triangle2* pT : vAll) {
    if (pT->hasVertex(pV)) vT.push_back(pT);
  }
  const auto angle = [pV](const Triangle2* pT) { return std::atan2(pT->getBarycenter().y() - pV->y(), pT->getBarycenter().x() - pV->x()); };
  std::sort(vT.begin(), vT.end(), [&](const Triangle2* a, const Triangle2* b) { return angle(a) < angle(b); });
  return vT;
}

// The origin and numRing points on the unit circle from fromDegree in steps of stepDegree: with a full
// circle the origin is an inner vertex, with an arc of less than 180 degrees a hull vertex.
std::vector<Point2*> originAndArc(Zarn_2D& dt, int numRing, double fromDegree, double stepDegree) {
  std::vector<Point2> v{Point2(0.0, 0.0)};
  for (int i = 0; i < numRing; ++i) {
    const double angle((fromDegree + i * stepDegree) * M_PI / 180.0);
    v.emplace_back(std::cos(angle), std::sin(angle));
  }
  std::vector<Point2*> vHandles;
  dt.insert(v, vHandles);
  return vHandles;
}

// Exposes the two circumcentre constructions separately.
class CircumcentreProbe : public Triangle2 {
 public:
  CircumcentreProbe(Point2* p0, Point2* p1, Point2* p2) { setProperties(p0, p1, p2); }
  bool strategy1(Point2& cc) const {
    double offsetX(0.0), offsetY(0.0);
    getCommonOffset(offsetX, offsetY);
    return getCC_strategy1(offsetX, offsetY, cc);
  }
  Point2 strategy2() const {
    double offsetX(0.0), offsetY(0.0);
    getCommonOffset(offsetX, offsetY);
    Point2 cc;
    getCC_strategy2(getMaxIndex(), offsetX, offsetY, cc);
    return cc;
  }
  std::pair<double, double> offset() const {
    double offsetX(0.0), offsetY(0.0);
    getCommonOffset(offsetX, offsetY);
    return std::make_pair(offsetX, offsetY);
  }
};

// The exact circumcentre of three doubles, as rationals.
std::pair<mpq_class, mpq_class> exactCircumcentre(const Point2& p0, const Point2& p1, const Point2& p2) {
  const mpq_class ax(mpq_class(p1.x()) - p0.x()), ay(mpq_class(p1.y()) - p0.y());
  const mpq_class bx(mpq_class(p2.x()) - p0.x()), by(mpq_class(p2.y()) - p0.y());
  const mpq_class sqA(ax * ax + ay * ay), sqB(bx * bx + by * by);
  const mpq_class d(2 * (ax * by - ay * bx));
  return std::make_pair(mpq_class(p0.x() + (by * sqA - ay * sqB) / d), mpq_class(p0.y() + (ax * sqB - bx * sqA) / d));
}

double distanceToExact(const Point2& cc, const std::pair<mpq_class, mpq_class>& exact) {
  const double dx(mpq_class(exact.first - cc.x()).get_d()), dy(mpq_class(exact.second - cc.y()).get_d());
  return std::sqrt(dx * dx + dy * dy);
}

// Triangle far from the origin whose angles all exceed about 20 degrees.
bool isWellShaped(const Triangle2& t) {
  for (int i = 0; i < 3; ++i) {
    if (t.getInteriorAngle2D(i) < 0.35) return false;
  }
  return true;
}

}  // namespace

// ----- Measures -----------------------------------------------------------------------------------

class RightTriangle : public testing::Test {
 protected:
  RightTriangle() : p0(0.0, 0.0), p1(1.0, 0.0), p2(0.0, 1.0) { t.setProperties(&p0, &p1, &p2); }
  Point2 p0, p1, p2;
  Triangle2 t;
};

// Measures of the right triangle (0,0) (1,0) (0,1), ties of the extreme edges, degenerate corners.
TEST_F(RightTriangle, MeasuresAndExtremeEdges) {
  EXPECT_EQ(Edge2(&t, 0).getSrc(), &p1);
  EXPECT_EQ(Edge2(&t, 0).getTrg(), &p2);
  EXPECT_EQ(t.getSquaredEdgeLength(0) + 10 * t.getSquaredEdgeLength(1) + 100 * t.getSquaredEdgeLength2D(2), 2.0 + 10 + 100);
  EXPECT_EQ(t.getMaxSqEdgeLen2D(), 2.0);
  EXPECT_EQ(t.getMaxIndex(), 0);
  EXPECT_EQ(t.getMinIndex(), 1);  // edges 1 and 2 tie: the lower index wins
  EXPECT_DOUBLE_EQ(Edge2(&t, 0).getLength2D(), std::sqrt(2.0));
  EXPECT_DOUBLE_EQ(t.getInteriorAngle2D(0), M_PI / 2.0);
  EXPECT_DOUBLE_EQ(t.getInteriorAngle2D(1), M_PI / 4.0);
  EXPECT_DOUBLE_EQ(t.getInteriorAngle2D(2), M_PI / 4.0);
  EXPECT_DOUBLE_EQ(t.getArea2D(), 0.5);
  EXPECT_DOUBLE_EQ(t.getBarycenter().x(), 1.0 / 3.0);
  EXPECT_DOUBLE_EQ(t.getBarycenter().y(), 1.0 / 3.0);
  EXPECT_EQ(t.getDual(), std::make_pair(Point2(0.5, 0.5), true));
  Point2 a(0.0, 0.0), b(2.0, 0.0), apex(1.0, 5.0), c(3.0, 0.0);
  Triangle2 tall;
  tall.setProperties(&a, &b, &apex);  // edges 0 and 1 are the long ones
  EXPECT_EQ(tall.getMaxIndex() + 10 * tall.getMinIndex(), 0 + 10 * 2);
  tall.setProperties(&apex, &a, &b);  // now edges 1 and 2
  EXPECT_EQ(tall.getMaxIndex() + 10 * tall.getMinIndex(), 1 + 10 * 0);
  tall.setProperties(&a, &b, &c);
  EXPECT_EQ(tall.getArea2D(), 0.0);
  std::mt19937_64 rng(7);
  std::uniform_real_distribution<double> coord(-1e3, 1e3), factor(0.1, 10.0);
  for (int i = 0; i < 2000; ++i) {
    const double dx(coord(rng)), dy(coord(rng)), f(factor(rng));
    Point2 corner(0.0, 0.0), next(dx, dy), prev(dx * f, dy * f);
    Triangle2 flat;
    flat.setProperties(&corner, &next, &prev);
    const double angle(flat.getInteriorAngle2D(0));
    ASSERT_TRUE(!std::isnan(angle) && angle < 1e-7) << dx << " " << dy << " " << f;
  }
}

// hasOnEdge includes the end points and nothing one unit in the last place beyond.
TEST_F(RightTriangle, HasOnEdgeIsExactAndClosed) {
  const double tiny(std::numeric_limits<double>::denorm_min()), beyond(std::ldexp(1.0, -52));
  struct Case {
    int edge;
    Point2 p;
    bool bOn;
  };
  for (const Case& c : {Case{2, Point2(0.0, 0.0), true}, Case{2, Point2(1.0, 0.0), true}, Case{2, Point2(0.3, 0.0), true},
                        Case{2, Point2(std::nextafter(1.0, 2.0), 0.0), false}, Case{2, Point2(-tiny, 0.0), false}, Case{2, Point2(0.5, tiny), false},
                        Case{2, Point2(0.5, -tiny), false}, Case{0, Point2(0.25, 0.75), true}, Case{0, Point2(1.0 + beyond, -beyond), false},
                        Case{0, Point2(-beyond, 1.0 + beyond), false}, Case{0, Point2(0.5, std::nextafter(0.5, 1.0)), false},
                        Case{1, Point2(1.0, 0.0), false}}) {
    EXPECT_EQ(t.hasOnEdge(c.edge, c.p), c.bOn) << c.edge << " " << c.p;
  }
}

TEST(Triangle2Measures, AreaOfCorruptCoordinatesReportsAndThrows) {
  Point2 a(std::numeric_limits<double>::quiet_NaN(), 0.0), b(1.0, 0.0), c(0.0, 1.0);
  Triangle2 t;
  t.setProperties(&a, &b, &c);
  const std::string output(zarn_test::outputOfFailedAssertion([&] { t.getArea2D(); }));
  const std::string expectedStart(
      "\n      [Zarn2D-Message] Triangle2::computeArea(), WARNING: invalid value, no area for this triangle\n\n"
      "ownHalfCircf=nan\n"
      "Corners are: Point2 (nan, 0), Point2 (1, 0), Point2 (0, 1)\n"
      "len0=1.41421\n"
      "len1=nan\n"
      "len2=nan\n"
      "\n      [Zarn2D-Message] Zarn, , ERROR: Condition [ false failed ]\n\n"
      "Zarn, Condition [ false failed ]\n");
  EXPECT_EQ(output.substr(0, expectedStart.size()), expectedStart);
}

// ----- Circumcentres ------------------------------------------------------------------------------

TEST(Triangle2Dual, CollinearCornersHaveNoAccurateCentre) {
  Point2 a(0.0, 0.0), b(1.0, 0.0), c(2.0, 0.0);
  CircumcentreProbe t(&a, &b, &c);
  Point2 cc;
  EXPECT_FALSE(t.strategy1(cc));
  const std::pair<Point2, bool> dual(t.getDual());
  EXPECT_FALSE(dual.second);
  EXPECT_TRUE(std::isfinite(dual.first.x()) && std::isfinite(dual.first.y()));
}

TEST(Triangle2Dual, WellShapedTrianglesFarFromTheOriginGetAccurateCentres) {
  std::mt19937_64 rng(11);
  std::uniform_real_distribution<double> local(0.0, 10.0);
  int numTested(0);
  for (const double shift : {1e7, -1e7, 3.3e7}) {
    for (int i = 0; i < 3000; ++i) {
      Point2 a(shift + local(rng), shift + local(rng)), b(shift + local(rng), shift + local(rng)),
          c(shift + local(rng), shift + local(rng));
      if (getOrientation2(&a, &b, &c) != ORIENTATION2_CCW) std::swap(a, b);
      CircumcentreProbe t(&a, &b, &c);
      if (!isWellShaped(t)) continue;
      ++numTested;
      const std::pair<mpq_class, mpq_class> exact(exactCircumcentre(a, b, c));
      const std::pair<Point2, bool> dual(t.getDual());
      ASSERT_TRUE(dual.second) << t;
      ASSERT_LT(distanceToExact(dual.first, exact), 1e-7) << t;
      Point2 cc1;
      ASSERT_TRUE(t.strategy1(cc1));
      ASSERT_LT(distanceToExact(cc1, exact), 1e-7) << t;
    }
  }
  EXPECT_GT(numTested, 1000);
}

// The fallback construction must stay accurate where the first one degrades: needles and
// slivers whose centre lies far away.
TEST(Triangle2Dual, SecondConstructionIsAccurateRelativeToTheRadiusForThinTriangles) {
  std::mt19937_64 rng(13);
  std::uniform_real_distribution<double> local(0.0, 10.0), thin(-1e-3, 1e-3);
  for (int i = 0; i < 3000; ++i) {
    const double shift(i % 2 == 0 ? 1e7 : -2.5e6);
    Point2 a(shift + local(rng), shift + local(rng)), b(shift + local(rng), shift + local(rng));
    const double along(local(rng) / 10.0);
    Point2 c(a.x() + along * (b.x() - a.x()) + thin(rng), a.y() + along * (b.y() - a.y()) + thin(rng));
    const Orientation2 ori(getOrientation2(&a, &b, &c));
    if (ori == ORIENTATION2_COLLINEAR) continue;
    if (ori == ORIENTATION2_CW) std::swap(a, b);
    CircumcentreProbe t(&a, &b, &c);
    const std::pair<mpq_class, mpq_class> exact(exactCircumcentre(a, b, c));
    const double radius(std::hypot(mpq_class(exact.first - a.x()).get_d(), mpq_class(exact.second - a.y()).get_d()));
    const Point2 cc2(t.strategy2());
    // Rounding of the result near |shift| plus a few units of rounding relative to the radius.
    ASSERT_LT(distanceToExact(cc2, exact), 8e-9 + 1e-14 * radius) << t << " radius " << radius;
  }
}

// ----- Edges --------------------------------------------------------------------------------------

TEST(Edge2Test, NeighbourSeesTheSameEdgeReversed) {
  Zarn_2D dt;
  dt.insert(std::vector<Point2>{Point2(0, 0), Point2(1, 0), Point2(1.1, 1), Point2(0, 1)});
  std::vector<Triangle2*> vT;
  dt.getTrianglePointers(vT);
  ASSERT_EQ(vT.size(), 2u);
  Triangle2* pT(vT[0]);
  const int i(pT->getIntraTriangleIndex(vT[1]));
  const Edge2 diagonal(pT, i);
  Point2 *pSrc(nullptr), *pTrg(nullptr);
  diagonal.getPoints(pSrc, pTrg);
  EXPECT_EQ(pSrc, pT->getCorner(incIndexBy1(i)));
  EXPECT_EQ(pTrg, pT->getCorner(incIndexBy2(i)));
  Triangle2 *pT0(nullptr), *pT1(nullptr);
  int i0(-5), i1(-5);
  diagonal.getTriangles(pT0, pT1, i0, i1);
  EXPECT_EQ(pT0, pT);
  EXPECT_EQ(i0, i);
  ASSERT_EQ(pT1, vT[1]);
  const Edge2 twin(pT1, i1);
  EXPECT_EQ(twin.getSrc(), pTrg);
  EXPECT_EQ(twin.getTrg(), pSrc);
  Edge2(pT, incIndexBy1(i)).getTriangles(pT0, pT1, i0, i1);  // a hull edge
  EXPECT_EQ(pT1, nullptr);
  EXPECT_EQ(i1, -1);
}

// ----- Walking around a vertex ----------------------------------------------------------------

TEST(TriangleAroundVertex, InnerVertexCyclesCounterclockwiseAndBackwards) {
  Zarn_2D dt;
  Point2* pCentre(originAndArc(dt, 6, 10.0, 60.0)[0]);
  const std::vector<Triangle2*> vT(sortedAround(dt, pCentre));
  ASSERT_EQ(vT.size(), 6u);
  TriangleAroundVertexIterator it(pCentre, vT[2]);
  for (int step = 1; step <= 6; ++step) {
    EXPECT_EQ(it.previewNextTriangle(), vT[(2 + step) % 6]);
    ++it;
    ASSERT_EQ(*it, vT[(2 + step) % 6]) << step;
  }
  for (int step = 1; step <= 6; ++step) {
    EXPECT_EQ(it.previewPrevTriangle(), vT[(2 - step + 6) % 6]);
    --it;
    ASSERT_EQ(*it, vT[(2 - step + 6) % 6]) << step;
  }
}

TEST(TriangleAroundVertex, HullVertexPassesTheGapOnceAndWrapsAround) {
  Zarn_2D dt;
  Point2* pCentre(originAndArc(dt, 5, 10.0, 40.0)[0]);
  const std::vector<Triangle2*> vT(sortedAround(dt, pCentre));  // 4 triangles, the gap after the last
  ASSERT_EQ(vT.size(), 4u);
  const std::vector<Triangle2*> vForward{vT[2], vT[3], nullptr, vT[0], vT[1], vT[2]};
  TriangleAroundVertexIterator it(pCentre, vT[1]);
  for (Triangle2* pExpected : vForward) {
    EXPECT_EQ(it.previewNextTriangle(), pExpected);
    ++it;
    ASSERT_EQ(*it, pExpected);
  }
  // k + 1 = 5 steps back return to the start, mirroring the forward walk.
  const std::vector<Triangle2*> vBackward{vT[1], vT[0], nullptr, vT[3], vT[2]};
  for (Triangle2* pExpected : vBackward) {
    EXPECT_EQ(it.previewPrevTriangle(), pExpected);
    --it;
    ASSERT_EQ(*it, pExpected);
  }
  // One step back from the gap returns to the triangle before it.
  TriangleAroundVertexIterator atGap(pCentre, vT[3]);
  ++atGap;
  ASSERT_EQ(*atGap, nullptr);
  EXPECT_EQ(atGap.previewNextTriangle(), vT[0]);
  EXPECT_EQ(*--atGap, vT[3]);
}

TEST(TriangleAroundVertex, VertexWithoutTriangleOrForeignStartThrows) {
  Zarn_2D dt;
  originAndArc(dt, 5, 0.0, 72.0);
  std::vector<Triangle2*> vT;
  dt.getTrianglePointers(vT);
  Point2 loose(3.0, 3.0);
  zarn_test::expectFailedCondition("pVtx != nullptr && pVtx->getIncidentTriangle() != nullptr", [&] { TriangleAroundVertexIterator it(&loose); });
  const std::string output(zarn_test::outputOfFailedAssertion([&] { TriangleAroundVertexIterator it(&loose, vT[0]); }));
  EXPECT_NE(output.find("failed ]"), std::string::npos);
}
