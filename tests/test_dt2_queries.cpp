// Topological queries on the small sets of the shared table, as inserted and after removals:
// point location (inside, on edges and corners, just outside the hull), the star of a vertex in
// counterclockwise order, adjacent triangles, both convex hulls, the bounding box and the
// enumerations, against exact references; the lower-dimensional cases; the library's own check.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "cdt_test_support.h"
#include "dt2_test_support.h"
#include "test_support.h"

using namespace KORA_ZARN2D;
using namespace dt2test;

namespace {

/// Locate answers with a triangle that holds q exactly when q is in the closed hull.
void expectLocated(Zarn_2D& dt, const std::vector<Point2>& vHull, const Point2& q) {
  Triangle2* pT(dt.locate(q));
  if (!cdttest::isInConvexPolygon(vHull, q)) {
    EXPECT_EQ(pT, nullptr) << q;
    return;
  }
  ASSERT_NE(pT, nullptr) << q;
  EXPECT_TRUE(cdttest::isInTriangleUpTo(*pT, q, 0.0)) << q;
}

// The star of pV must be the exact counterclockwise fan: triangle k is (pV, w_k, w_k+1) with w the
// incident vertices; around an inner vertex the fan closes, around a hull vertex it runs from one
// hull edge to the other.
void expectCounterclockwiseStar(Zarn_2D& dt, Point2* pV, size_t numTriangles, bool bHull) {
  std::vector<Triangle2*> vT;
  std::vector<Point2*> vW;
  dt.getIncidentTriangles(pV, vT);
  dt.getIncidentVertices(pV, vW);
  ASSERT_EQ(vT.size(), numTriangles);
  ASSERT_EQ(vW.size(), vT.size() + (bHull ? 1 : 0));
  for (size_t k = 0; k < vT.size(); ++k) {
    ASSERT_TRUE(vT[k]->hasVertex(pV));
    const int c(vT[k]->getIntraTriangleIndex(pV));
    EXPECT_EQ(vT[k]->getCorner(incIndexBy1(c)), vW[k]) << k;
    EXPECT_EQ(vT[k]->getCorner(incIndexBy2(c)), vW[(k + 1) % vW.size()]) << k;
  }
  EXPECT_TRUE(!bHull || (dt.getAdjacentTriangle(vW.front(), pV) == nullptr && dt.getAdjacentTriangle(pV, vW.back()) == nullptr));
}

// Every query of one triangulation whose vertices are vPoints.
void expectQueriesAgree(Zarn_2D& dt, const std::vector<Point2>& vPoints) {
  const std::vector<Point2> vHull(hullCorners(vPoints));
  const Bbox2 box(vPoints.begin(), vPoints.end());
  const double w(box.get_maxX() - box.get_minX()), h(box.get_maxY() - box.get_minY());
  for (const Point2& t : randomPoints(300, 402, -0.2, 1.2)) {
    const Point2 q(box.get_minX() + t.x() * w, box.get_minY() + t.y() * h);
    if (std::isfinite(q.x()) && std::isfinite(q.y())) expectLocated(dt, vHull, q);
  }
  for (const Point2& q : vPoints) expectLocated(dt, vHull, q);
  for (const Point2& c : vHull) {
    expectLocated(dt, vHull, Point2(std::nextafter(c.x(), c.x() < 0 ? -1e308 : 1e308), c.y()));
    expectLocated(dt, vHull, Point2(c.x(), std::nextafter(c.y(), c.y() < 0 ? -1e308 : 1e308)));
  }
  std::vector<Triangle2*> vT(2, nullptr);
  dt.getTrianglePointers(vT);  // appends
  ASSERT_TRUE(vT.size() == dt.numberOfTriangles() + 2 && vT[0] == nullptr);
  std::map<Point2*, size_t> mUses;
  std::set<Point2*> sOnHull;
  for (size_t t = 2; t < vT.size(); ++t) {
    for (int i = 0; i < 3; ++i) {
      Point2 *a(vT[t]->getCorner(incIndexBy1(i))), *b(vT[t]->getCorner(incIndexBy2(i)));
      ++mUses[a];
      if (vT[t]->getOppositeTriangle(i) == nullptr) sOnHull.insert({a, b});
      EXPECT_EQ(dt.getAdjacentTriangle(a, b), vT[t]);
      EXPECT_EQ(dt.getAdjacentTriangle(b, a), vT[t]->getOppositeTriangle(i));
      expectLocated(dt, vHull, Point2(a->x() / 2 + b->x() / 2, a->y() / 2 + b->y() / 2));
    }
  }
  for (const auto& entry : mUses) expectCounterclockwiseStar(dt, entry.first, entry.second, sOnHull.count(entry.first) > 0);
  std::vector<Point2*> vCorners(1, nullptr), vAll;
  dt.getConvexHull(false, vCorners);  // appends
  dt.getConvexHull(true, vAll);
  const std::vector<Point2> vHave(canonicalCycle(positionsOf(std::vector<Point2*>(vCorners.begin() + 1, vCorners.end()))));
  EXPECT_TRUE(vHave.size() == vHull.size() && std::equal(vHave.begin(), vHave.end(), vHull.begin(), sameXY));
  EXPECT_EQ(vAll.size(), sOnHull.size());
  for (size_t i = 0; i < vAll.size(); ++i) EXPECT_EQ(dt.getAdjacentTriangle(vAll[(i + 1) % vAll.size()], vAll[i]), nullptr) << i;
  const Bbox2 have(dt.computeBoundingBox());
  EXPECT_TRUE(have.getMinPoint() == box.getMinPoint() && have.getMaxPoint() == box.getMaxPoint());
}

}  // namespace

// Each set as inserted, then after removing every third vertex (the hull shrinks) and inserting
// a few points again (recycled triangles).
TEST(Dt2Queries, AgreeWithTheExactReferenceOnEverySet) {
  for (const PointSet& set : degenerateAndExtremePointSets()) {
    if (set.vPoints.size() > 1000) continue;
    SCOPED_TRACE(set.name);
    Zarn_2D dt;
    std::vector<Point2*> vHandles;
    dt.insert(set.vPoints, vHandles);
    expectQueriesAgree(dt, distinctPositions(set.vPoints));
    std::vector<Point2*> vVertices;
    dt.getVertexPointers(vVertices);
    zarn_test::captureStdout([&] {  // a removal that would leave no triangle is refused with a warning
      for (size_t i = 0; i < vVertices.size(); i += 3) dt.remove(vVertices[i]);
    });
    const std::vector<Point2> vBack(set.vPoints.begin(), set.vPoints.begin() + std::min<size_t>(set.vPoints.size(), 20));
    dt.insert(vBack);
    vVertices.clear();
    dt.getVertexPointers(vVertices);
    ASSERT_TRUE(isValidTriangulation(dt));
    expectQueriesAgree(dt, positionsOf(vVertices));
  }
}

// Before the triangulation is 2D: nothing to locate, no star, the hull is the line's ends (or
// all its points in order), the box holds the points. Removed and null vertices have no star.
TEST(Dt2Queries, LowerDimensionalAndRemovedVertices) {
  Zarn_2D dt, removed;
  std::vector<Point2*> vHull, vHandles, vRemoved;
  dt.getConvexHull(false, vHull);
  EXPECT_TRUE(vHull.empty() && !dt.computeBoundingBox().isValid());
  vHandles.push_back(dt.insert(Point2(2, 1)));
  dt.getConvexHull(false, vHull);
  EXPECT_EQ(vHull, vHandles);
  for (const Point2& p : {Point2(6, 3), Point2(-2, -1), Point2(4, 2)}) vHandles.push_back(dt.insert(p));
  EXPECT_EQ(dt.locate(Point2(2, 1)), nullptr);
  EXPECT_TRUE(dt.computeBoundingBox().getMinPoint() == Point2(-2, -1) && dt.computeBoundingBox().getMaxPoint() == Point2(6, 3));
  for (bool bAll : {false, true}) {
    std::vector<Point2*> vForward{vHandles[2], vHandles[0], vHandles[3], vHandles[1]};
    if (!bAll) vForward = {vHandles[2], vHandles[1]};
    vHull.clear();
    dt.getConvexHull(bAll, vHull);
    EXPECT_TRUE(vHull == vForward || vHull == std::vector<Point2*>(vForward.rbegin(), vForward.rend())) << bAll;
  }
  removed.insert(randomPoints(60, 413), vRemoved);
  removed.remove(vRemoved[10]);
  std::vector<Triangle2*> vT;
  std::vector<Point2*> vW;
  for (Point2* p : {vRemoved[10], static_cast<Point2*>(nullptr)}) {
    removed.getIncidentTriangles(p, vT);
    removed.getIncidentVertices(p, vW);
    dt.getIncidentTriangles(p == nullptr ? vHandles[0] : p, vT);
    dt.getIncidentVertices(p == nullptr ? vHandles[0] : p, vW);
  }
  EXPECT_TRUE(vT.empty() && vW.empty());
  EXPECT_TRUE(removed.getAdjacentTriangle(vRemoved[10], vRemoved[11]) == nullptr && removed.getAdjacentTriangle(nullptr, vRemoved[11]) == nullptr);
}

// The library's own check must notice each kind of damage. The quadrilateral A B C D (D above A)
// is triangulated with the diagonal A-C; each case damages it in one way (the first breaks only the
// empty-circle property).
TEST(Dt2Validity, EachKindOfDamageIsReported) {
  using Damage = void (*)(Point2* pD, Triangle2* pWithD, Triangle2* pOther);
  const std::pair<const char*, Damage> aDamages[] = {
      {"edge is not locally Delaunay",
       [](Point2* pD, Triangle2*, Triangle2*) {
         Triangle2* pInc(pD->getIncidentTriangle());
         *pD = Point2(0.0, 0.9);
         pD->setIncidentTriangle(pInc);
       }},
      {"neighbour links are not symmetric",
       [](Point2*, Triangle2* pWithD, Triangle2* pOther) { pWithD->setOppTriangle(pWithD->getIntraTriangleIndex(pOther), nullptr); }},
      {"vertex without a valid incident triangle", [](Point2* pD, Triangle2*, Triangle2* pOther) { pD->setIncidentTriangle(pOther); }},
      {"not strictly counterclockwise",
       [](Point2*, Triangle2* pWithD, Triangle2*) {
         Point2* p1(pWithD->getCorner(1));
         pWithD->setVertexPointer(1, pWithD->getCorner(2));
         pWithD->setVertexPointer(2, p1);
       }},
  };
  for (const auto& damage : aDamages) {
    Zarn_2D dt;
    std::vector<Point2*> vH;
    dt.insert(std::vector<Point2>{Point2(0, 0), Point2(4, 0), Point2(4, 1), Point2(0, 1.1)}, vH);
    Triangle2* pWithD(vH[3]->getIncidentTriangle());
    Triangle2* pOther(pWithD->getOppositeTriangle(pWithD->getIntraTriangleIndex(vH[3])));
    ASSERT_NE(pOther, nullptr) << "expected the diagonal A-C";
    damage.second(vH[3], pWithD, pOther);
    const std::string report(zarn_test::captureStdout([&] { EXPECT_FALSE(dt.checkValidity(true, "damaged")) << damage.first; }));
    EXPECT_NE(report.find(damage.first), std::string::npos) << report;
    EXPECT_TRUE(&damage != aDamages || dt.checkValidity(false, "damaged"));
  }
}
