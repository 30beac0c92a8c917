// Topological queries: point location (inside, on edges and corners, outside the hull), the
// star of a vertex in counterclockwise order, adjacent triangles, the convex hull with and
// without vertices on hull edges, the bounding box and the triangle enumeration.
#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <random>
#include <vector>

#include "cdt_test_support.h"
#include "dt2_test_support.h"
#include "test_support.h"

using namespace KORA_ZARN2D;
using namespace dt2test;

namespace {

std::vector<Point2*> vertexPointers(const Zarn_2D& dt) {
  std::vector<Point2*> v;
  dt.getVertexPointers(v);
  return v;
}

size_t numberOfTrianglesUsing(const Zarn_2D& dt, const Point2* pV) {
  std::vector<Triangle2*> vT;
  dt.getTrianglePointers(vT);
  size_t n(0);
  for (const Triangle2* pT : vT) n += pT->hasVertex(pV);
  return n;
}

bool isOnHull(const Zarn_2D& dt, const Point2* pV) {
  std::vector<Triangle2*> vT;
  dt.getTrianglePointers(vT);
  for (const Triangle2* pT : vT) {
    for (int i = 0; i < 3; ++i) {
      if (pT->getOppositeTriangle(i) == nullptr && (pT->getCorner(incIndexBy1(i)) == pV || pT->getCorner(incIndexBy2(i)) == pV)) {
        return true;
      }
    }
  }
  return false;
}

// The star of pV as the library reports it must be the exact counterclockwise fan: triangle k is
// (pV, w_k, w_k+1) with w the incident vertices; around an inner vertex the fan closes.
void expectCounterclockwiseStar(Zarn_2D& dt, Point2* pV) {
  std::vector<Triangle2*> vT;
  std::vector<Point2*> vW;
  dt.getIncidentTriangles(pV, vT);
  dt.getIncidentVertices(pV, vW);
  const bool bHull(isOnHull(dt, pV));
  ASSERT_EQ(vT.size(), numberOfTrianglesUsing(dt, pV));
  ASSERT_EQ(vW.size(), vT.size() + (bHull ? 1 : 0));
  for (size_t k = 0; k < vT.size(); ++k) {
    const Triangle2* pT(vT[k]);
    ASSERT_TRUE(pT->hasVertex(pV));
    int c(0);
    while (pT->getCorner(c) != pV) ++c;
    EXPECT_EQ(pT->getCorner(incIndexBy1(c)), vW[k]) << k;
    EXPECT_EQ(pT->getCorner(incIndexBy2(c)), vW[(k + 1) % vW.size()]) << k;
    EXPECT_GT(exactOrientation(*pV, *vW[k], *vW[(k + 1) % vW.size()]), 0);
  }
  if (bHull) {
    // The fan runs from one hull edge to the other: pV -> first is a hull edge with the interior
    // on its left, last -> pV likewise.
    EXPECT_EQ(dt.getAdjacentTriangle(vW.front(), pV), nullptr);
    EXPECT_EQ(dt.getAdjacentTriangle(pV, vW.back()), nullptr);
  }
}

}  // namespace

// ----- Queries on a table of sets ----------------------------------------------------------------

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

struct QuerySet {
  const char* name;
  std::vector<Point2> vPoints;
  double queryScale;
  size_t numRemoved;  // the first points are removed after the insertion
};

// Every query against an exact reference: locate on random points, vertices, exact edge midpoints
// and points just outside; the counterclockwise star of every vertex; the adjacent triangle of
// every directed edge; both hulls; the bounding box; the enumeration of triangles and vertices.
TEST(Dt2Queries, AgreeWithTheExactReferenceOnEverySet) {
  std::vector<Point2> vSquare{Point2(10, 10), Point2(0, 0), Point2(10, 0), Point2(0, 10), Point2(5, 5), Point2(3, 6)};
  std::vector<Point2> vBorder(gridPoints(5, 5, 2.0));  // 16 vertices on the border of the hull
  for (const Point2& p : randomPoints(30, 421, 1.0, 7.0)) vBorder.push_back(p);
  std::vector<Point2> vCocircularHull(randomPoints(250, 432, -1.0, 1.0));
  for (const Point2& p : integerCirclePoints(65)) vCocircularHull.emplace_back(p.x() / 32.0, p.y() / 32.0);
  const std::vector<QuerySet> vSets{{"random", randomPoints(800, 401, -1.0, 1.0), 1.5, 0},
                                    {"grid", gridPoints(8, 8, 2.0), 16.0, 0},
                                    {"grid border and inner points", vBorder, 9.0, 0},
                                    {"cocircular hull", vCocircularHull, 2.0, 0},
                                    {"huge", randomPoints(300, 403, -1e150, 1e150), 1.2e150, 0},
                                    {"tiny", randomPoints(300, 403, -1e-300, 1e-300), 1.2e-300, 0},
                                    {"hull shrunk by a removal", vSquare, 11.0, 1},
                                    {"after removals", randomPoints(500, 451), 1.2, 160}};
  for (const QuerySet& set : vSets) {
    SCOPED_TRACE(set.name);
    Zarn_2D dt;
    std::vector<Point2*> vHandles;
    dt.insert(set.vPoints, vHandles);
    for (size_t i = 0; i < set.numRemoved; ++i) dt.remove(vHandles[i * 3 % vHandles.size()]);
    std::vector<Point2> vPoints;
    for (size_t i = 0; i < vHandles.size(); ++i) {
      if (i % 3 != 0 || i / 3 >= set.numRemoved) vPoints.push_back(set.vPoints[i]);
    }
    if (set.numRemoved > 50) dt.insert(randomPoints(100, 452));  // recycled triangles
    if (set.numRemoved > 50) vPoints = positionsOf(vertexPointers(dt));
    ASSERT_TRUE(isDelaunayTriangulationOf(dt, vPoints));
    const std::vector<Point2> vHull(hullCorners(vPoints));
    for (const Point2& q : randomPoints(1000, 402, -set.queryScale, set.queryScale)) expectLocated(dt, vHull, q);
    for (const Point2& q : vPoints) expectLocated(dt, vHull, q);
    for (const Point2& c : vHull) {
      expectLocated(dt, vHull, Point2(std::nextafter(c.x(), c.x() < 0 ? -1e308 : 1e308), c.y()));
      expectLocated(dt, vHull, Point2(c.x(), std::nextafter(c.y(), c.y() < 0 ? -1e308 : 1e308)));
    }
    std::vector<Triangle2*> vT(2, nullptr);
    dt.getTrianglePointers(vT);  // appends
    EXPECT_TRUE(vT.size() == dt.numberOfTriangles() + 2 && vT[0] == nullptr);
    for (size_t t = 2; t < vT.size(); ++t) {
      for (int i = 0; i < 3; ++i) {
        Point2 *a(vT[t]->getCorner(incIndexBy1(i))), *b(vT[t]->getCorner(incIndexBy2(i)));
        EXPECT_EQ(dt.getAdjacentTriangle(a, b), vT[t]);
        EXPECT_EQ(dt.getAdjacentTriangle(b, a), vT[t]->getOppositeTriangle(i));
        expectLocated(dt, vHull, Point2((a->x() + b->x()) / 2, (a->y() + b->y()) / 2));
      }
    }
    size_t numOnHull(0);
    for (Point2* pV : vertexPointers(dt)) {
      expectCounterclockwiseStar(dt, pV);
      numOnHull += isOnHull(dt, pV);
    }
    std::vector<Point2*> vCorners(1, nullptr), vAll;
    dt.getConvexHull(false, vCorners);  // appends
    dt.getConvexHull(true, vAll);
    const std::vector<Point2> vHave(canonicalCycle(positionsOf(std::vector<Point2*>(vCorners.begin() + 1, vCorners.end()))));
    EXPECT_TRUE(vHave.size() == vHull.size() && std::equal(vHave.begin(), vHave.end(), vHull.begin(), sameXY));
    EXPECT_EQ(vAll.size(), numOnHull);
    for (size_t i = 0; i < vAll.size(); ++i) EXPECT_EQ(dt.getAdjacentTriangle(vAll[(i + 1) % vAll.size()], vAll[i]), nullptr) << i;
    Bbox2 box(vPoints.begin(), vPoints.end());
    const Bbox2 have(dt.computeBoundingBox());
    EXPECT_TRUE(have.getMinPoint() == box.getMinPoint() && have.getMaxPoint() == box.getMaxPoint());
  }
}

// Before the triangulation is 2D: nothing to locate, no star, the hull is the line's ends (or
// all its points in order), the box holds the points. Removed vertices have no star.
TEST(Dt2Queries, LowerDimensionalAndRemovedVertices) {
  Zarn_2D dt;
  std::vector<Point2*> vHull;
  dt.getConvexHull(false, vHull);
  EXPECT_TRUE(vHull.empty());
  EXPECT_FALSE(dt.computeBoundingBox().isValid());
  Point2* pMid(dt.insert(Point2(2, 1)));
  dt.getConvexHull(false, vHull);
  EXPECT_EQ(vHull, std::vector<Point2*>{pMid});
  Point2* pHigh(dt.insert(Point2(6, 3)));
  Point2* pLow(dt.insert(Point2(-2, -1)));
  Point2* pOther(dt.insert(Point2(4, 2)));
  EXPECT_EQ(dt.locate(Point2(2, 1)), nullptr);
  EXPECT_TRUE(dt.computeBoundingBox().getMinPoint() == Point2(-2, -1) && dt.computeBoundingBox().getMaxPoint() == Point2(6, 3));
  vHull.clear();
  dt.getConvexHull(false, vHull);
  EXPECT_TRUE(vHull == (std::vector<Point2*>{pLow, pHigh}) || vHull == (std::vector<Point2*>{pHigh, pLow}));
  vHull.clear();
  dt.getConvexHull(true, vHull);
  const std::vector<Point2*> vForward{pLow, pMid, pOther, pHigh};
  EXPECT_TRUE(vHull == vForward || vHull == std::vector<Point2*>(vForward.rbegin(), vForward.rend()));
  Zarn_2D removed;
  std::vector<Point2*> vHandles;
  removed.insert(randomPoints(60, 413), vHandles);
  removed.remove(vHandles[10]);
  for (Point2* p : {pMid, static_cast<Point2*>(nullptr)}) {
    std::vector<Triangle2*> vT;
    std::vector<Point2*> vW;
    dt.getIncidentTriangles(p, vT);
    dt.getIncidentVertices(p, vW);
    removed.getIncidentTriangles(vHandles[10], vT);
    removed.getIncidentVertices(vHandles[10], vW);
    EXPECT_TRUE(vT.empty() && vW.empty());
  }
  EXPECT_EQ(removed.getAdjacentTriangle(vHandles[10], vHandles[11]), nullptr);
  EXPECT_EQ(removed.getAdjacentTriangle(nullptr, vHandles[11]), nullptr);
}

// The library's own check must notice each kind of damage. The quadrilateral A B C D (D above A)
// is triangulated with the diagonal A-C; each case damages it in one way.
TEST(Dt2Validity, EachKindOfDamageIsReported) {
  struct Damage {
    const char* what;
    const char* expectedDefect;
    bool bDelaunayOnly;  // the damage breaks only the empty-circle property
    void (*apply)(Point2* pD, Triangle2* pWithD, Triangle2* pOther);
  };
  const Damage aDamages[] = {
      {"moved vertex", "edge is not locally Delaunay", true,
       [](Point2* pD, Triangle2*, Triangle2*) {
         Triangle2* pInc(pD->getIncidentTriangle());
         *pD = Point2(0.0, 0.9);
         pD->setIncidentTriangle(pInc);
       }},
      {"cut link", "neighbour links are not symmetric", false,
       [](Point2*, Triangle2* pWithD, Triangle2* pOther) { pWithD->setOppTriangle(pWithD->getIntraTriangleIndex(pOther), nullptr); }},
      {"wrong incident triangle", "vertex without a valid incident triangle", false,
       [](Point2* pD, Triangle2*, Triangle2* pOther) { pD->setIncidentTriangle(pOther); }},
      {"clockwise corners", "not strictly counterclockwise", false,
       [](Point2*, Triangle2* pWithD, Triangle2*) {
         Point2* p1(pWithD->getCorner(1));
         pWithD->setVertexPointer(1, pWithD->getCorner(2));
         pWithD->setVertexPointer(2, p1);
       }},
  };
  for (const Damage& damage : aDamages) {
    Zarn_2D dt;
    std::vector<Point2*> vH;
    const std::vector<Point2> vQuad{Point2(0, 0), Point2(4, 0), Point2(4, 1), Point2(0, 1.1)};
    dt.insert(vQuad, vH);
    ASSERT_TRUE(isDelaunayTriangulationOf(dt, vQuad));
    Triangle2* pWithD(vH[3]->getIncidentTriangle());
    Triangle2* pOther(pWithD->getOppositeTriangle(pWithD->getIntraTriangleIndex(vH[3])));
    ASSERT_NE(pOther, nullptr) << "expected the diagonal A-C";
    damage.apply(vH[3], pWithD, pOther);
    const std::string report(zarn_test::captureStdout([&] { EXPECT_FALSE(dt.checkValidity(true, "damaged")) << damage.what; }));
    EXPECT_NE(report.find(damage.expectedDefect), std::string::npos) << damage.what << "\n" << report;
    if (damage.bDelaunayOnly) {
      EXPECT_TRUE(dt.checkValidity(false, "damaged")) << damage.what;
    }
  }
}
