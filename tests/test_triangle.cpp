// Triangle2 measures and circumcentres, Edge2, and the walk around the star of a vertex.
#include <gtest/gtest.h>

#include <limits>
#include <tuple>

#include "Edge2.h"
#include "TriangleAroundVertexIterator.h"
#include "dt2_test_support.h"

using namespace KORA_ZARN2D;

namespace {

// A triangle on three corners that exposes the two circumcentre constructions separately: the
// first (false when it is not accurate) or the fallback.
class TestTriangle : public Triangle2 {
 public:
  TestTriangle(Point2* p0, Point2* p1, Point2* p2) { setProperties(p0, p1, p2); }
  bool centre(bool bFirst, Point2& cc) const {
    double offsetX(0.0), offsetY(0.0);
    getCommonOffset(offsetX, offsetY);
    if (bFirst) return getCC_strategy1(offsetX, offsetY, cc);
    getCC_strategy2(getMaxIndex(), offsetX, offsetY, cc);
    return true;
  }
};

// The exact circumcentre of three doubles, as rationals.
std::pair<mpq_class, mpq_class> exactCircumcentre(const Point2& p0, const Point2& p1, const Point2& p2) {
  const mpq_class ax(mpq_class(p1.x()) - p0.x()), ay(mpq_class(p1.y()) - p0.y()), bx(mpq_class(p2.x()) - p0.x());
  const mpq_class by(mpq_class(p2.y()) - p0.y()), sqA(ax * ax + ay * ay), sqB(bx * bx + by * by), d(2 * (ax * by - ay * bx));
  return std::make_pair(mpq_class(p0.x() + (by * sqA - ay * sqB) / d), mpq_class(p0.y() + (ax * sqB - bx * sqA) / d));
}

double distanceToExact(const Point2& cc, const std::pair<mpq_class, mpq_class>& exact) {
  const double dx(mpq_class(exact.first - cc.x()).get_d()), dy(mpq_class(exact.second - cc.y()).get_d());
  return std::sqrt(dx * dx + dy * dy);
}

}  // namespace

// ----- Measures -----------------------------------------------------------------------------------

// Measures of the right triangle (0,0) (1,0) (0,1), ties of the extreme edges, degenerate corners;
// hasOnEdge includes the end points and nothing one unit in the last place beyond.
TEST(Triangle2Measures, RightTriangleFlatCornersAndPointsOnEdges) {
  Point2 p0(0.0, 0.0), p1(1.0, 0.0), p2(0.0, 1.0);
  TestTriangle t(&p0, &p1, &p2);
  EXPECT_EQ(t.getSquaredEdgeLength(0) + 10 * t.getSquaredEdgeLength(1) + 100 * t.getSquaredEdgeLength2D(2), 2.0 + 10 + 100);
  EXPECT_EQ(t.getMaxSqEdgeLen2D() + 10 * t.getMaxIndex() + 100 * t.getMinIndex(), 2.0 + 0 + 100);  // 1 and 2 tie: the lower wins
  EXPECT_DOUBLE_EQ(Edge2(&t, 0).getLength2D(), std::sqrt(2.0));
  for (int i = 0; i < 3; ++i) EXPECT_DOUBLE_EQ(t.getInteriorAngle2D(i), i == 0 ? M_PI / 2.0 : M_PI / 4.0) << i;
  EXPECT_DOUBLE_EQ(t.getArea2D(), 0.5);
  EXPECT_TRUE(t.getBarycenter() == Point2(1.0 / 3.0, 1.0 / 3.0) && t.getDual() == std::make_pair(Point2(0.5, 0.5), true));
  Point2 a(0.0, 0.0), b(2.0, 0.0), apex(1.0, 5.0), c(3.0, 0.0), cc;
  TestTriangle tall(&a, &b, &apex);  // edges 0 and 1 are the long ones
  EXPECT_EQ(tall.getMaxIndex() + 10 * tall.getMinIndex(), 0 + 10 * 2);
  tall.setProperties(&apex, &a, &b);  // now edges 1 and 2
  EXPECT_EQ(tall.getMaxIndex() + 10 * tall.getMinIndex(), 1 + 10 * 0);
  TestTriangle flat(&a, &b, &c);  // collinear: no accurate centre, but a finite one
  const std::pair<Point2, bool> dual(flat.getDual());
  EXPECT_TRUE(flat.getArea2D() == 0.0 && !flat.centre(true, cc) && !dual.second && std::isfinite(dual.first.x() + dual.first.y()));
  std::mt19937_64 rng(7);
  std::uniform_real_distribution<double> coord(-1e3, 1e3), factor(0.1, 10.0);
  for (int i = 0; i < 2000; ++i) {  // the angle at a corner whose edges run the same way
    const double dx(coord(rng)), dy(coord(rng)), f(factor(rng));
    Point2 next(dx, dy), prev(dx * f, dy * f);
    flat.setProperties(&a, &next, &prev);
    ASSERT_TRUE(!std::isnan(flat.getInteriorAngle2D(0)) && flat.getInteriorAngle2D(0) < 1e-7) << next << " " << prev;
  }
  const double tiny(std::numeric_limits<double>::denorm_min()), beyond(std::ldexp(1.0, -52)), above1(std::nextafter(1.0, 2.0));
  for (const auto& [edge, x, y, bOn] : std::vector<std::tuple<int, double, double, bool>>{
           {2, 0.0, 0.0, true}, {2, 1.0, 0.0, true}, {2, 0.3, 0.0, true}, {2, above1, 0.0, false}, {2, -tiny, 0.0, false},
           {2, 0.5, tiny, false}, {2, 0.5, -tiny, false}, {0, 0.25, 0.75, true}, {0, 1.0 + beyond, -beyond, false},
           {0, -beyond, 1.0 + beyond, false}, {0, 0.5, std::nextafter(0.5, 1.0), false}, {1, 1.0, 0.0, false}}) {
    EXPECT_EQ(t.hasOnEdge(edge, Point2(x, y)), bOn) << edge << " " << x << " " << y;
  }
}

TEST(Triangle2Measures, AreaOfCorruptCoordinatesReportsAndThrows) {
  Point2 a(std::numeric_limits<double>::quiet_NaN(), 0.0), b(1.0, 0.0), c(0.0, 1.0);
  const TestTriangle t(&a, &b, &c);
  const std::string output(zarn_test::outputOfFailedAssertion([&] { t.getArea2D(); }));
  const std::string expectedStart(
      "\n      [Zarn2D-Message] Triangle2::computeArea(), WARNING: invalid value, no area for this triangle\n\n"
      "ownHalfCircf=nan\nCorners are: Point2 (nan, 0), Point2 (1, 0), Point2 (0, 1)\nlen0=1.41421\nlen1=nan\nlen2=nan\n"
      "\n      [Zarn2D-Message] Zarn, , ERROR: Condition [ false failed ]\n\n"
      "Zarn, Condition [ false failed ]\n");
  EXPECT_EQ(output.substr(0, expectedStart.size()), expectedStart);
}

// ----- Circumcentres ------------------------------------------------------------------------------

// Random triangles far from the origin, half of them needles and slivers whose centre lies far
// away: a well-shaped one gets an accurate centre from getDual and the first construction, and
// the fallback construction stays accurate relative to the radius for all of them.
TEST(Triangle2Dual, CircumcentresAgreeWithTheExactOne) {
  std::mt19937_64 rng(11);
  std::uniform_real_distribution<double> local(0.0, 10.0), thin(-1e-3, 1e-3);
  int numWellShaped(0);
  for (int i = 0; i < 12000; ++i) {
    const double shift(i % 3 == 0 ? 1e7 : i % 3 == 1 ? -1e7 : -2.5e6), along(local(rng) / 10.0);
    std::uniform_real_distribution<double>& off(i % 2 == 0 ? thin : local);
    Point2 a(shift + local(rng), shift + local(rng)), b(shift + local(rng), shift + local(rng));
    Point2 c(a.x() + along * (b.x() - a.x()) + off(rng), a.y() + along * (b.y() - a.y()) + off(rng));
    const Orientation2 ori(getOrientation2(&a, &b, &c));
    if (ori == ORIENTATION2_COLLINEAR) continue;
    if (ori == ORIENTATION2_CW) std::swap(a, b);
    const TestTriangle t(&a, &b, &c);
    const std::pair<mpq_class, mpq_class> exact(exactCircumcentre(a, b, c));
    const double radius(distanceToExact(a, exact));
    Point2 cc2, cc1;
    // Rounding of the result near |shift| plus a few units of rounding relative to the radius.
    ASSERT_TRUE(t.centre(false, cc2) && distanceToExact(cc2, exact) < 8e-9 + 1e-14 * radius) << t << " radius " << radius;
    if (std::min({t.getInteriorAngle2D(0), t.getInteriorAngle2D(1), t.getInteriorAngle2D(2)}) < 0.35) continue;  // below 20 degrees
    ++numWellShaped;
    const std::pair<Point2, bool> dual(t.getDual());
    ASSERT_TRUE(dual.second && distanceToExact(dual.first, exact) < 1e-7) << t;
    ASSERT_TRUE(t.centre(true, cc1) && distanceToExact(cc1, exact) < 1e-7) << t;
  }
  EXPECT_GT(numWellShaped, 1000);
}

// ----- Edges and the walk around a vertex ---------------------------------------------------

// Around every vertex of random triangulations with collinear vertices on a hull side (whose links
// the exact oracle checks first), from every start: ++ visits the triangles counterclockwise,
// nullptr standing for the outside of a hull vertex, and -- walks back the same way. Each Edge2
// sees the triangle on its other side with the edge reversed.
TEST(TriangleAroundVertex, WalksAndEdgesAgreeWithTheNeighbourLinks) {
  for (unsigned seed : {1u, 2u, 3u}) {
    std::vector<Point2> v(dt2test::randomPoints(30, seed, 0.0, 1.0));
    for (int i = 0; i <= 4; ++i) v.emplace_back(0.25 * i, -0.5);
    Zarn_2D dt;
    std::vector<Point2*> vHandles;
    dt.insert(v, vHandles);
    ASSERT_TRUE(dt2test::isDelaunayTriangulationOf(dt, v));
    std::vector<Triangle2*> vT;
    dt.getTrianglePointers(vT);
    for (Triangle2* pT : vT) {
      for (int i = 0; i < 3; ++i) {
        Point2 *pSrc(nullptr), *pTrg(nullptr);
        Triangle2 *pT0(nullptr), *pT1(nullptr);
        int i0(-5), i1(-5);
        Edge2(pT, i).getPoints(pSrc, pTrg);
        Edge2(pT, i).getTriangles(pT0, pT1, i0, i1);
        ASSERT_TRUE(pSrc == pT->getCorner(incIndexBy1(i)) && pTrg == pT->getCorner(incIndexBy2(i)) && pT0 == pT && i0 == i);
        ASSERT_EQ(pT1, pT->getOppositeTriangle(i));
        ASSERT_TRUE(pT1 == nullptr ? i1 == -1 : pT1->getCorner(incIndexBy1(i1)) == pTrg && pT1->getCorner(incIndexBy2(i1)) == pSrc);
      }
    }
    for (Point2* pV : vHandles) {
      const auto turn = [pV](const Triangle2* pT, bool bCcw) {
        return pT->getOppositeTriangle((bCcw ? incIndexBy1 : incIndexBy2)(pT->getIntraTriangleIndex(pV)));
      };
      const auto next = [&](const Triangle2* pT) -> Triangle2* {
        if (pT != nullptr) return turn(pT, true);
        for (Triangle2* pFirst : vT) {  // after the outside: the triangle that has none before it
          if (pFirst->hasVertex(pV) && turn(pFirst, false) == nullptr) return pFirst;
        }
        return nullptr;
      };
      std::vector<Triangle2*> vCycle{pV->getIncidentTriangle()};
      while (next(vCycle.back()) != vCycle.front()) vCycle.push_back(next(vCycle.back()));
      for (size_t start = 0; start < vCycle.size(); ++start) {
        if (vCycle[start] == nullptr) continue;
        TriangleAroundVertexIterator it(pV, vCycle[start]);
        for (size_t step = 1; step <= vCycle.size(); ++step) {  // the preview first, then the step
          const Triangle2* pNext(vCycle[(start + step) % vCycle.size()]);
          ASSERT_TRUE(it.previewNextTriangle() == pNext && *++it == pNext) << step;
        }
        for (size_t step = 1; step <= vCycle.size() + 1; ++step) {
          const Triangle2* pPrev(vCycle[(start + 2 * vCycle.size() - step) % vCycle.size()]);
          ASSERT_TRUE(it.previewPrevTriangle() == pPrev && *--it == pPrev) << step;
        }
      }
    }
  }
}

TEST(TriangleAroundVertex, VertexWithoutTriangleOrForeignStartThrows) {
  Zarn_2D dt;
  dt.insert(dt2test::randomPoints(6, 4));
  std::vector<Triangle2*> vT;
  dt.getTrianglePointers(vT);
  Point2 loose(3.0, 3.0);
  zarn_test::expectFailedCondition("pVtx != nullptr && pVtx->getIncidentTriangle() != nullptr", [&] { TriangleAroundVertexIterator it(&loose); });
  EXPECT_NE(zarn_test::outputOfFailedAssertion([&] { TriangleAroundVertexIterator it(&loose, vT[0]); }).find("failed ]"), std::string::npos);
}
