// Topological queries: point location (inside, on edges and corners, outside the hull), the
// star of a vertex in counterclockwise order, adjacent triangles, the convex hull with and
// without vertices on hull edges, the bounding box and the triangle enumeration.
#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <random>
#include <vector>

#include "dt2_test_support.h"
#include "test_support.h"

using namespace KORA_ZARN2D;
using namespace dt2test;

namespace {

// Closed triangle test, exact.
bool containsClosed(const Triangle2* pT, const Point2& p) {
  for (int i = 0; i < 3; ++i) {
    if (exactOrientation(*pT->getCorner(incIndexBy1(i)), *pT->getCorner(incIndexBy2(i)), p) < 0) return false;
  }
  return true;
}

// Inside or on the border of the convex polygon given by its counterclockwise corners.
bool insideHull(const std::vector<Point2>& vCorners, const Point2& p) {
  for (size_t i = 0; i < vCorners.size(); ++i) {
    if (exactOrientation(vCorners[i], vCorners[(i + 1) % vCorners.size()], p) < 0) return false;
  }
  return true;
}

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

// ----- locate --------------------------------------------------------------------------------

TEST(Dt2Locate, RandomQueriesInsideAndOutsideTheHull) {
  const std::vector<Point2> v(randomPoints(800, 401, -1.0, 1.0));
  Zarn_2D dt;
  dt.insert(v);
  const std::vector<Point2> vHull(hullCorners(v));
  for (const Point2& q : randomPoints(3000, 402, -1.5, 1.5)) {
    Triangle2* pT(dt.locate(q));
    if (insideHull(vHull, q)) {
      ASSERT_NE(pT, nullptr) << q;
      EXPECT_TRUE(containsClosed(pT, q)) << q;
    } else {
      EXPECT_EQ(pT, nullptr) << q;
    }
  }
}

TEST(Dt2Locate, VerticesEdgesAndHullBorder) {
  // Integer lattice: queries exactly on vertices, on edge midpoints (exact) and on the border.
  std::vector<Point2> v(gridPoints(8, 8, 2.0));
  Zarn_2D dt;
  dt.insert(v);
  for (const Point2& p : v) {
    Triangle2* pT(dt.locate(p));
    ASSERT_NE(pT, nullptr) << p;
    EXPECT_TRUE(pT->hasVertex(p)) << p;
  }
  std::vector<Triangle2*> vT;
  dt.getTrianglePointers(vT);
  for (const Triangle2* pEdgeT : vT) {
    for (int i = 0; i < 3; ++i) {
      const Point2* a(pEdgeT->getCorner(incIndexBy1(i)));
      const Point2* b(pEdgeT->getCorner(incIndexBy2(i)));
      const Point2 mid((a->x() + b->x()) / 2, (a->y() + b->y()) / 2);
      Triangle2* pT(dt.locate(mid));
      ASSERT_NE(pT, nullptr) << mid;
      EXPECT_TRUE(containsClosed(pT, mid)) << mid;
    }
  }
  // Just outside the border and at the corners' extensions.
  for (const Point2& q : {Point2(-1e-300, 3.0), Point2(14.0 + 1e-15, 7.0), Point2(7.0, -DBL_MIN), Point2(-1, -1), Point2(16, 16),
                          Point2(1e300, 0), Point2(7.0, 14.000000000000002)}) {
    EXPECT_EQ(dt.locate(q), nullptr) << q;
  }
  for (const Point2& q : {Point2(0.0, 3.5), Point2(14.0, 13.9), Point2(5.25, 0.0), Point2(0.0, 0.0), Point2(14.0, 14.0)}) {
    Triangle2* pT(dt.locate(q));
    ASSERT_NE(pT, nullptr) << q;
    EXPECT_TRUE(containsClosed(pT, q)) << q;
  }
}

TEST(Dt2Locate, OutsideAShrunkenHullButInsideTheOldBox) {
  std::vector<Point2> v{Point2(0, 0), Point2(10, 0), Point2(10, 10), Point2(0, 10), Point2(5, 5), Point2(3, 6)};
  Zarn_2D dt;
  std::vector<Point2*> vHandles;
  dt.insert(v, vHandles);
  dt.remove(vHandles[2]);  // (10, 10)
  EXPECT_EQ(dt.locate(Point2(9, 9)), nullptr);
  EXPECT_EQ(dt.locate(Point2(10, 10)), nullptr);
  Triangle2* pT(dt.locate(Point2(6, 4)));
  ASSERT_NE(pT, nullptr);
  EXPECT_TRUE(containsClosed(pT, Point2(6, 4)));
}

TEST(Dt2Locate, NothingToLocateBeforeTwoDimensions) {
  Zarn_2D dt;
  EXPECT_EQ(dt.locate(Point2(0, 0)), nullptr);
  dt.insert(Point2(0, 0));
  dt.insert(Point2(1, 1));
  EXPECT_EQ(dt.locate(Point2(0, 0)), nullptr);
  EXPECT_EQ(dt.locate(Point2(0.5, 0.5)), nullptr);
}

TEST(Dt2Locate, HugeAndTinyScales) {
  for (double s : {1e150, 1e-300}) {
    std::vector<Point2> v(randomPoints(300, 403, -s, s));
    Zarn_2D dt;
    dt.insert(v);
    const std::vector<Point2> vHull(hullCorners(v));
    for (const Point2& q : randomPoints(500, 404, -1.2 * s, 1.2 * s)) {
      Triangle2* pT(dt.locate(q));
      if (insideHull(vHull, q)) {
        ASSERT_NE(pT, nullptr);
        EXPECT_TRUE(containsClosed(pT, q));
      } else {
        EXPECT_EQ(pT, nullptr);
      }
    }
  }
}

// ----- Stars ---------------------------------------------------------------------------------

TEST(Dt2Star, IncidentTrianglesAndVerticesCounterclockwise) {
  std::vector<Point2> v(randomPoints(200, 411, 0.0, 1.0));
  const std::vector<Point2> vGrid(gridPoints(5, 5, 0.25));  // collinear vertices on the hull
  v.insert(v.end(), vGrid.begin(), vGrid.end());
  Zarn_2D dt;
  dt.insert(v);
  size_t numHull(0);
  for (Point2* pV : vertexPointers(dt)) {
    numHull += isOnHull(dt, pV);
    expectCounterclockwiseStar(dt, pV);
  }
  EXPECT_EQ(numHull, 16u);  // the 16 border points of the grid
}

TEST(Dt2Star, AfterRemovalsAndOnASmallTriangulation) {
  Zarn_2D dt;
  std::vector<Point2*> vHandles;
  dt.insert(gridPoints(6, 6), vHandles);
  for (size_t i = 0; i < vHandles.size(); i += 4) dt.remove(vHandles[i]);
  for (Point2* pV : vertexPointers(dt)) expectCounterclockwiseStar(dt, pV);

  Zarn_2D single;
  Point2* a(single.insert(Point2(0, 0)));
  Point2* b(single.insert(Point2(1, 0)));
  Point2* c(single.insert(Point2(0, 1)));
  for (Point2* pV : {a, b, c}) expectCounterclockwiseStar(single, pV);
  std::vector<Point2*> vW;
  single.getIncidentVertices(a, vW);
  EXPECT_EQ(vW, (std::vector<Point2*>{b, c}));
}

TEST(Dt2Star, NullAndLowerDimensionalVerticesGiveNothing) {
  Zarn_2D dt;
  Point2* p(dt.insert(Point2(0, 0)));
  dt.insert(Point2(1, 0));
  std::vector<Triangle2*> vT;
  std::vector<Point2*> vW;
  dt.getIncidentTriangles(p, vT);
  dt.getIncidentVertices(p, vW);
  dt.getIncidentTriangles(nullptr, vT);
  dt.getIncidentVertices(nullptr, vW);
  EXPECT_TRUE(vT.empty());
  EXPECT_TRUE(vW.empty());
}

TEST(Dt2Star, RemovedVertexHasNoStar) {
  Zarn_2D dt;
  std::vector<Point2*> vHandles;
  dt.insert(randomPoints(60, 413), vHandles);
  dt.remove(vHandles[10]);
  std::vector<Triangle2*> vT;
  std::vector<Point2*> vW;
  dt.getIncidentTriangles(vHandles[10], vT);
  dt.getIncidentVertices(vHandles[10], vW);
  EXPECT_TRUE(vT.empty());
  EXPECT_TRUE(vW.empty());
  EXPECT_EQ(dt.getAdjacentTriangle(vHandles[10], vHandles[11]), nullptr);
  EXPECT_EQ(dt.getAdjacentTriangle(nullptr, vHandles[11]), nullptr);
  // No remaining star refers to the removed vertex.
  for (size_t i = 0; i < vHandles.size(); ++i) {
    if (i == 10) continue;
    std::vector<Point2*> vNeighbours;
    dt.getIncidentVertices(vHandles[i], vNeighbours);
    EXPECT_EQ(std::find(vNeighbours.begin(), vNeighbours.end(), vHandles[10]), vNeighbours.end());
  }
}

TEST(Dt2Star, AdjacentTriangleFollowsTheDirectedEdge) {
  Zarn_2D dt;
  dt.insert(randomPoints(150, 412, -1.0, 1.0));
  std::vector<Triangle2*> vT;
  dt.getTrianglePointers(vT);
  for (Triangle2* pT : vT) {
    for (int i = 0; i < 3; ++i) {
      Point2* a(pT->getCorner(incIndexBy1(i)));
      Point2* b(pT->getCorner(incIndexBy2(i)));
      EXPECT_EQ(dt.getAdjacentTriangle(a, b), pT);
      EXPECT_EQ(dt.getAdjacentTriangle(b, a), pT->getOppositeTriangle(i));
    }
  }
  // Two vertices that share no edge.
  std::vector<Point2*> vV(vertexPointers(dt));
  Point2* p0(vV[0]);
  std::vector<Point2*> vW;
  dt.getIncidentVertices(p0, vW);
  for (Point2* q : vV) {
    if (q == p0 || std::find(vW.begin(), vW.end(), q) != vW.end()) continue;
    EXPECT_EQ(dt.getAdjacentTriangle(p0, q), nullptr);
    EXPECT_EQ(dt.getAdjacentTriangle(q, p0), nullptr);
  }
}

// ----- Convex hull ---------------------------------------------------------------------------

TEST(Dt2Hull, CornersOnlyVersusAllBorderVertices) {
  // A square with 3 extra points on each side, a triangle's worth of inner points.
  std::vector<Point2> v{Point2(0, 0), Point2(8, 0), Point2(8, 8), Point2(0, 8)};
  for (int k = 2; k <= 6; k += 2) {
    v.emplace_back(k, 0);
    v.emplace_back(8, k);
    v.emplace_back(k, 8);
    v.emplace_back(0, k);
  }
  for (const Point2& p : randomPoints(30, 421, 1.0, 7.0)) v.push_back(p);
  Zarn_2D dt;
  dt.insert(v);
  std::vector<Point2*> vCorners, vAll;
  dt.getConvexHull(false, vCorners);
  dt.getConvexHull(true, vAll);
  const std::vector<Point2> vC(canonicalCycle(positionsOf(vCorners)));
  const std::vector<Point2> vWant{Point2(0, 0), Point2(8, 0), Point2(8, 8), Point2(0, 8)};
  ASSERT_EQ(vC.size(), 4u);
  EXPECT_TRUE(std::equal(vC.begin(), vC.end(), vWant.begin(), sameXY));
  // All border vertices, counterclockwise: (0,0) (2,0) (4,0) (6,0) (8,0) (8,2) ...
  const std::vector<Point2> vA(canonicalCycle(positionsOf(vAll)));
  ASSERT_EQ(vA.size(), 16u);
  for (size_t i = 0; i < vA.size(); ++i) {
    EXPECT_GE(exactOrientation(vA[i], vA[(i + 1) % 16], vA[(i + 2) % 16]), 0);
    const double dx(vA[(i + 1) % 16].x() - vA[i].x()), dy(vA[(i + 1) % 16].y() - vA[i].y());
    EXPECT_EQ(std::fabs(dx) + std::fabs(dy), 2.0) << i;  // consecutive along the border
  }
  EXPECT_TRUE(sameXY(vA[1], Point2(2, 0)));
  // Appends to what the vector holds.
  std::vector<Point2*> vAppended(1, nullptr);
  dt.getConvexHull(false, vAppended);
  EXPECT_EQ(vAppended.size(), 5u);
  EXPECT_EQ(vAppended[0], nullptr);
}

TEST(Dt2Hull, LowerDimensionalHull) {
  Zarn_2D dt;
  std::vector<Point2*> vHull;
  dt.getConvexHull(false, vHull);
  EXPECT_TRUE(vHull.empty());
  Point2* pMid(dt.insert(Point2(2, 1)));
  dt.getConvexHull(false, vHull);
  EXPECT_EQ(vHull, std::vector<Point2*>{pMid});
  Point2* pHigh(dt.insert(Point2(6, 3)));
  Point2* pLow(dt.insert(Point2(-2, -1)));
  Point2* pOther(dt.insert(Point2(4, 2)));
  vHull.clear();
  dt.getConvexHull(false, vHull);
  ASSERT_EQ(vHull.size(), 2u);
  EXPECT_TRUE((vHull[0] == pLow && vHull[1] == pHigh) || (vHull[0] == pHigh && vHull[1] == pLow));
  vHull.clear();
  dt.getConvexHull(true, vHull);
  ASSERT_EQ(vHull.size(), 4u);
  // All points in their order along the line (either direction).
  const std::vector<Point2*> vForward{pLow, pMid, pOther, pHigh};
  EXPECT_TRUE(vHull == vForward || vHull == std::vector<Point2*>(vForward.rbegin(), vForward.rend()));
}

TEST(Dt2Hull, RandomSetsAgreeWithAnIndependentHull) {
  for (unsigned seed = 430; seed < 436; ++seed) {
    std::vector<Point2> v(randomPoints(50 + 100 * (seed - 430), seed, -1.0, 1.0));
    for (const Point2& p : integerCirclePoints(65)) v.emplace_back(p.x() / 32.0, p.y() / 32.0);  // exact cocircular hull
    Zarn_2D dt;
    dt.insert(v);
    std::vector<Point2*> vCorners;
    dt.getConvexHull(false, vCorners);
    const std::vector<Point2> vHave(canonicalCycle(positionsOf(vCorners))), vWant(hullCorners(v));
    ASSERT_EQ(vHave.size(), vWant.size());
    EXPECT_TRUE(std::equal(vHave.begin(), vHave.end(), vWant.begin(), sameXY));
  }
}

// ----- Bounding box and counts ---------------------------------------------------------------

TEST(Dt2Box, BoundingBoxOfTheVertices) {
  Zarn_2D dt;
  EXPECT_FALSE(dt.computeBoundingBox().isValid());
  std::vector<Point2> v(randomPoints(100, 441, -3.0, 2.0));
  v.emplace_back(-7.5, 0.0);
  v.emplace_back(0.0, 9.25);
  std::vector<Point2*> vHandles;
  dt.insert(v, vHandles);
  Bbox2 box(dt.computeBoundingBox());
  EXPECT_EQ(box.get_minX(), -7.5);
  EXPECT_EQ(box.get_maxY(), 9.25);
  double minY(1e9), maxX(-1e9);
  for (size_t i = 0; i < 100; ++i) {
    minY = std::min(minY, v[i].y());
    maxX = std::max(maxX, v[i].x());
  }
  EXPECT_EQ(box.get_minY(), minY);
  EXPECT_EQ(box.get_maxX(), maxX);
  // Removing the extreme vertices shrinks the box to the rest.
  dt.remove(vHandles[100]);
  dt.remove(vHandles[101]);
  box = dt.computeBoundingBox();
  double minX(1e9), maxY(-1e9);
  for (size_t i = 0; i < 100; ++i) {
    minX = std::min(minX, v[i].x());
    maxY = std::max(maxY, v[i].y());
  }
  EXPECT_EQ(box.get_minX(), minX);
  EXPECT_EQ(box.get_maxY(), maxY);
}

TEST(Dt2Box, BoundingBoxBeforeTwoDimensions) {
  Zarn_2D dt;
  dt.insert(Point2(1, 2));
  dt.insert(Point2(3, 6));
  const Bbox2 box(dt.computeBoundingBox());
  ASSERT_TRUE(box.isValid());
  EXPECT_EQ(box.get_minX(), 1.0);
  EXPECT_EQ(box.get_minY(), 2.0);
  EXPECT_EQ(box.get_maxX(), 3.0);
  EXPECT_EQ(box.get_maxY(), 6.0);
}

TEST(Dt2Counts, TrianglePointersAppendAndMatchTheCount) {
  Zarn_2D dt;
  std::vector<Point2*> vHandles;
  dt.insert(randomPoints(500, 451), vHandles);
  std::vector<Triangle2*> vT(2, nullptr);
  dt.getTrianglePointers(vT);
  EXPECT_EQ(vT.size(), dt.numberOfTriangles() + 2u);
  EXPECT_EQ(vT[0], nullptr);
  std::vector<Point2*> vV(1, nullptr);
  dt.getVertexPointers(vV);
  EXPECT_EQ(vV.size(), 501u);
  // After removals and re-insertions (recycled triangles) the enumeration lists each live
  // triangle once.
  for (size_t i = 0; i < vHandles.size(); i += 3) dt.remove(vHandles[i]);
  dt.insert(randomPoints(100, 452));
  std::vector<Triangle2*> vLive;
  dt.getTrianglePointers(vLive);
  EXPECT_EQ(vLive.size(), dt.numberOfTriangles());
  std::sort(vLive.begin(), vLive.end());
  EXPECT_EQ(std::adjacent_find(vLive.begin(), vLive.end()), vLive.end());
  for (const Triangle2* pT : vLive) EXPECT_NE(pT->getCorner(0), nullptr);
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
