// Single-point insertion: the collinear phase and the move to two dimensions, duplicates,
// degenerate configurations (grids, cocircular points, points on edges, points outside the hull
// that see many hull edges) and extreme coordinates. Every result is checked exactly against
// the input, independently of the library's predicates, and with the library's own check.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "dt2_test_support.h"

using namespace KORA_ZARN2D;
using namespace dt2test;

namespace {

// Inserts the points one by one into dt, which holds vPresent, checking the triangulation after
// every insertion.
void insertCheckingEach(Zarn_2D& dt, const std::vector<Point2>& vPoints, const std::vector<Point2>& vPresent = {}) {
  std::vector<Point2> vSoFar(vPresent);
  for (const Point2& p : vPoints) {
    Point2* pV(dt.insert(p));
    ASSERT_NE(pV, nullptr);
    EXPECT_TRUE(sameXY(*pV, p));
    vSoFar.push_back(p);
    ASSERT_TRUE(isDelaunayTriangulationOf(dt, vSoFar)) << "after inserting " << p;
  }
  EXPECT_TRUE(libraryCheckValidity(dt));
}

std::vector<Point2> insertAll(Zarn_2D& dt, const std::vector<Point2>& vPoints) {
  for (const Point2& p : vPoints) dt.insert(p);
  return vPoints;
}

}  // namespace

// ----- Collinear phase ---------------------------------------------------------------------

TEST(Dt2InsertCollinear, ThreeOnALineStayLowerDimensionalUntilAFourthOffIt) {
  Zarn_2D dt;
  std::vector<Point2> v{Point2(0, 0), Point2(1, 0), Point2(2, 0)};
  insertAll(dt, v);
  EXPECT_FALSE(dt.is2D());
  EXPECT_EQ(dt.numberOfPoints(), 3u);
  EXPECT_EQ(dt.numberOfTriangles(), 0u);
  std::vector<Triangle2*> vT;
  dt.getTrianglePointers(vT);
  EXPECT_TRUE(vT.empty());
  EXPECT_EQ(dt.locate(Point2(1, 0)), nullptr);

  v.emplace_back(0, 1);
  dt.insert(v.back());
  EXPECT_TRUE(dt.is2D());
  EXPECT_EQ(dt.numberOfPoints(), 4u);
  EXPECT_EQ(dt.numberOfTriangles(), 2u);
  EXPECT_DELAUNAY_OF(dt, v);
}

TEST(Dt2InsertCollinear, ManyShuffledPointsOnASlantedLineThenOneOffIt) {
  // y = 3x - 7 with integer x: exactly collinear, inserted in random order with repeats.
  std::vector<Point2> vLine;
  for (int x = -40; x <= 40; ++x) vLine.emplace_back(x, 3.0 * x - 7.0);
  std::vector<Point2> vInput(vLine);
  vInput.insert(vInput.end(), vLine.begin(), vLine.begin() + 10);
  shuffleWithSeed(vInput, 5);
  Zarn_2D dt;
  for (const Point2& p : vInput) {
    Point2* pV(dt.insert(p));
    ASSERT_NE(pV, nullptr);
    EXPECT_TRUE(sameXY(*pV, p));
    EXPECT_FALSE(dt.is2D());
  }
  EXPECT_EQ(dt.numberOfPoints(), vLine.size());
  EXPECT_EQ(dt.numberOfTriangles(), 0u);
  EXPECT_TRUE(isDelaunayTriangulationOf(dt, vInput));

  // The off-line point is on the line's left side near its middle: every line vertex must end
  // up in the triangulation, including the ones between the first three that were chosen.
  vInput.emplace_back(0.5, 100.0);
  dt.insert(vInput.back());
  EXPECT_TRUE(dt.is2D());
  EXPECT_EQ(dt.numberOfPoints(), vLine.size() + 1);
  EXPECT_EQ(dt.numberOfTriangles(), vLine.size() - 1);
  EXPECT_DELAUNAY_OF(dt, vInput);
}

TEST(Dt2InsertCollinear, DuplicateInCollinearPhaseReturnsTheFirstHandle) {
  Zarn_2D dt;
  Point2* pA(dt.insert(Point2(1, 1)));
  Point2* pB(dt.insert(Point2(2, 2)));
  EXPECT_EQ(dt.insert(Point2(1, 1)), pA);
  EXPECT_EQ(dt.insert(Point2(2, 2)), pB);
  // Exact equality treats -0.0 and 0.0 alike.
  Point2* pZero(dt.insert(Point2(0.0, 0.0)));
  EXPECT_EQ(dt.insert(Point2(-0.0, -0.0)), pZero);
  EXPECT_EQ(dt.numberOfPoints(), 3u);
  EXPECT_FALSE(dt.is2D());
  // The handles stay the vertices after the triangulation becomes 2D.
  dt.insert(Point2(0, 5));
  std::vector<Point2*> vVertices;
  dt.getVertexPointers(vVertices);
  EXPECT_NE(std::find(vVertices.begin(), vVertices.end(), pA), vVertices.end());
  EXPECT_NE(std::find(vVertices.begin(), vVertices.end(), pB), vVertices.end());
  EXPECT_NE(std::find(vVertices.begin(), vVertices.end(), pZero), vVertices.end());
  EXPECT_EQ(dt.insert(Point2(1, 1)), pA);
  EXPECT_DELAUNAY_OF(dt, (std::vector<Point2>{Point2(1, 1), Point2(2, 2), Point2(0, 0), Point2(0, 5)}));
}

TEST(Dt2InsertCollinear, OnePointAndItsRepeatsStayOneVertex) {
  Zarn_2D dt;
  Point2* p(dt.insert(Point2(3, 4)));
  for (int i = 0; i < 5; ++i) EXPECT_EQ(dt.insert(Point2(3, 4)), p);
  EXPECT_EQ(dt.numberOfPoints(), 1u);
  EXPECT_FALSE(dt.is2D());
}

// ----- Duplicates in two dimensions --------------------------------------------------------

TEST(Dt2InsertDuplicates, RepeatedPointsReturnTheSameHandleAndChangeNothing) {
  Zarn_2D dt;
  const std::vector<Point2> v(randomPoints(300, 11, -10.0, 10.0));
  std::vector<Point2*> vHandles;
  for (const Point2& p : v) vHandles.push_back(dt.insert(p));
  const std::vector<TriangleKey> before(triangleSignature(dt));
  const unsigned numT(dt.numberOfTriangles());
  for (size_t i = 0; i < v.size(); i += 7) {
    EXPECT_EQ(dt.insert(v[i]), vHandles[i]);
    EXPECT_EQ(dt.insert(Point2(v[i].x(), v[i].y())), vHandles[i]);
  }
  EXPECT_EQ(dt.numberOfPoints(), v.size());
  EXPECT_EQ(dt.numberOfTriangles(), numT);
  EXPECT_EQ(triangleSignature(dt), before);
  EXPECT_DELAUNAY_OF(dt, v);
  // Single insertions keep working normally after many duplicates.
  const std::vector<Point2> vMore(randomPoints(100, 12, -10.0, 10.0));
  for (const Point2& p : vMore) dt.insert(p);
  std::vector<Point2> vAll(v);
  vAll.insert(vAll.end(), vMore.begin(), vMore.end());
  EXPECT_DELAUNAY_OF(dt, vAll);
}

TEST(Dt2InsertDuplicates, NegativeZeroIsTheSameVertexInTwoDimensions) {
  Zarn_2D dt;
  insertAll(dt, {Point2(-1, -1), Point2(1, -1), Point2(0, 1)});
  Point2* p(dt.insert(Point2(0.0, 0.0)));
  EXPECT_EQ(dt.insert(Point2(-0.0, 0.0)), p);
  EXPECT_EQ(dt.insert(Point2(0.0, -0.0)), p);
  EXPECT_EQ(dt.numberOfPoints(), 4u);
}

// ----- Degenerate configurations ----------------------------------------------------------

TEST(Dt2InsertDegenerate, SmallGridCheckedAfterEveryInsertion) {
  // Row order (long collinear runs) and random order.
  Zarn_2D dtRows;
  insertCheckingEach(dtRows, gridPoints(9, 9));
  std::vector<Point2> v(gridPoints(9, 9));
  shuffleWithSeed(v, 3);
  Zarn_2D dtShuffled;
  insertCheckingEach(dtShuffled, v);
}

TEST(Dt2InsertDegenerate, ThirtyByThirtyGrid) {
  std::vector<Point2> v(gridPoints(30, 30, 0.5, -7.25, 3.0));
  Zarn_2D dt;
  insertAll(dt, v);
  EXPECT_EQ(dt.numberOfTriangles(), 2u * 29u * 29u);
  EXPECT_DELAUNAY_OF(dt, v);
  shuffleWithSeed(v, 17);
  Zarn_2D dtShuffled;
  insertAll(dtShuffled, v);
  EXPECT_DELAUNAY_OF(dtShuffled, v);
}

TEST(Dt2InsertDegenerate, CocircularIntegerPoints) {
  // Radius 65 carries 36 integer points, 5525 carries 108: all exactly on one circle, where
  // every in-circle decision is a tie.
  for (long r : {5L, 25L, 65L, 5525L}) {
    std::vector<Point2> v(integerCirclePoints(r, 1000.0, -3.0));
    shuffleWithSeed(v, static_cast<unsigned>(r));
    Zarn_2D dt;
    insertCheckingEach(dt, v);
    EXPECT_EQ(dt.numberOfTriangles(), v.size() - 2) << "r=" << r;
    // The centre and points inside.
    v.emplace_back(1000.0, -3.0);
    dt.insert(v.back());
    v.emplace_back(1000.0 + r / 2, -3.0 + r / 3);
    dt.insert(v.back());
    EXPECT_DELAUNAY_OF(dt, v);
  }
}

TEST(Dt2InsertDegenerate, FourthCocircularPointCausesNoFlip) {
  // The fourth corner of a square lies on the circumcircle of the first triangle: the diagonal
  // that the first triangle brought stays.
  const auto hasEdge = [](Zarn_2D& dt, const Point2& a, const Point2& b) {
    std::vector<Triangle2*> vT;
    dt.getTrianglePointers(vT);
    for (const Triangle2* pT : vT) {
      if (pT->hasVertex(a) && pT->hasVertex(b)) return true;
    }
    return false;
  };
  Zarn_2D dtA;
  insertAll(dtA, {Point2(0, 0), Point2(2, 0), Point2(2, 2), Point2(0, 2)});
  EXPECT_TRUE(hasEdge(dtA, Point2(0, 0), Point2(2, 2)));
  EXPECT_FALSE(hasEdge(dtA, Point2(2, 0), Point2(0, 2)));
  Zarn_2D dtB;
  insertAll(dtB, {Point2(0, 0), Point2(2, 0), Point2(0, 2), Point2(2, 2)});
  EXPECT_TRUE(hasEdge(dtB, Point2(2, 0), Point2(0, 2)));
  EXPECT_FALSE(hasEdge(dtB, Point2(0, 0), Point2(2, 2)));
  // Inside the hull: (4, 4) splits the triangle (4,0) (10,10) (0,4) and lies on the circle of
  // its neighbour (0,0) (4,0) (0,4): the shared edge stays.
  Zarn_2D dtC;
  insertAll(dtC, {Point2(0, 0), Point2(4, 0), Point2(0, 4), Point2(10, 10)});
  ASSERT_TRUE(hasEdge(dtC, Point2(4, 0), Point2(0, 4)));
  dtC.insert(Point2(4, 4));
  EXPECT_TRUE(hasEdge(dtC, Point2(4, 0), Point2(0, 4)));
  EXPECT_FALSE(hasEdge(dtC, Point2(0, 0), Point2(4, 4)));
  EXPECT_DELAUNAY_OF(dtC, (std::vector<Point2>{Point2(0, 0), Point2(4, 0), Point2(0, 4), Point2(10, 10), Point2(4, 4)}));
}

TEST(Dt2InsertDegenerate, ConcentricCocircularRings) {
  std::vector<Point2> v;
  for (long r : {5L, 25L, 65L, 325L}) {
    const std::vector<Point2> vRing(integerCirclePoints(r));
    v.insert(v.end(), vRing.begin(), vRing.end());
  }
  v.emplace_back(0, 0);
  shuffleWithSeed(v, 9);
  Zarn_2D dt;
  insertCheckingEach(dt, v);
}

TEST(Dt2InsertDegenerate, PointsOnExistingEdgesCreateNoFlatTriangle) {
  // Repeated exact midpoints of edges of a triangle, of a square's diagonal and of hull edges.
  std::vector<Point2> v{Point2(0, 0), Point2(64, 0), Point2(0, 64), Point2(64, 64)};
  Zarn_2D dt;
  insertAll(dt, v);
  std::vector<Point2> vOnEdges;
  for (int i = 1; i < 64; ++i) {
    vOnEdges.emplace_back(i, 0);       // bottom hull edge
    vOnEdges.emplace_back(0, i);       // left hull edge
    vOnEdges.emplace_back(i, 64 - i);  // an inner diagonal
    vOnEdges.emplace_back(i, i);       // the other diagonal
  }
  shuffleWithSeed(vOnEdges, 21);
  insertCheckingEach(dt, vOnEdges, v);
  v.insert(v.end(), vOnEdges.begin(), vOnEdges.end());
  EXPECT_DELAUNAY_OF(dt, v);
}

TEST(Dt2InsertDegenerate, PointsOnALineThroughAnExistingTriangulation) {
  // After the triangulation is 2D, points keep landing on edges created by earlier points of
  // the same line.
  Zarn_2D dt;
  std::vector<Point2> v{Point2(-1, -1), Point2(101, -1), Point2(50, 40)};
  insertAll(dt, v);
  for (int i = 0; i <= 100; i += 1) {
    v.emplace_back((i * 37) % 101, 0.0);
    dt.insert(v.back());
  }
  EXPECT_DELAUNAY_OF(dt, v);
}

TEST(Dt2InsertDegenerate, OutsidePointSeesManyHullEdges) {
  // A convex chain y = x^2 / 8 over x = -20..20, then a point far below that sees every edge
  // of it: it must be connected to all 41 chain vertices.
  std::vector<Point2> v;
  for (int x = -20; x <= 20; ++x) v.emplace_back(x, x * x / 8.0);
  Zarn_2D dt;
  insertAll(dt, v);
  v.emplace_back(0.0, -1e6);
  Point2* pFar(dt.insert(v.back()));
  EXPECT_DELAUNAY_OF(dt, v);
  std::vector<Point2*> vNeighbours;
  dt.getIncidentVertices(pFar, vNeighbours);
  EXPECT_EQ(vNeighbours.size(), 41u);
  // Far to the right, on the extension of the new hull edge from (0,-1e6) to (20, 50): sees
  // edges on one side only and must not build a flat triangle with the collinear edge.
  v.emplace_back(40.0, 1e6 + 100.0);
  dt.insert(v.back());
  EXPECT_DELAUNAY_OF(dt, v);
}

TEST(Dt2InsertDegenerate, PointsOnTheExtensionOfHullEdges) {
  Zarn_2D dt;
  std::vector<Point2> v{Point2(0, 0), Point2(1, 0), Point2(0, 1)};
  insertAll(dt, v);
  // Each new point lies on the line of the current bottom and left hull edges.
  for (int i = 2; i <= 30; ++i) {
    v.emplace_back(i, 0);
    dt.insert(v.back());
    v.emplace_back(0, -i);
    dt.insert(v.back());
    ASSERT_TRUE(isDelaunayTriangulationOf(dt, v)) << "i=" << i;
  }
  EXPECT_TRUE(libraryCheckValidity(dt));
}

TEST(Dt2InsertDegenerate, NearlyCollinearPointsNeedExactOrientation) {
  // Points y = x * 0.1 rounded to double: almost on a line, orientations decided far below the
  // floating-point resolution.
  std::vector<Point2> v;
  for (int i = 0; i < 60; ++i) {
    const double x(1.0 + i * 0.3);
    v.emplace_back(x, x * 0.1);
  }
  v.emplace_back(5.0, 5.0);
  v.emplace_back(5.0, -5.0);
  shuffleWithSeed(v, 31);
  Zarn_2D dt;
  insertCheckingEach(dt, v);
}

TEST(Dt2InsertDegenerate, ClusteredPoints) {
  // Tight clusters (spread 1e-9) far apart, with points differing in the last bits.
  std::vector<Point2> v;
  const std::vector<Point2> vCentres{Point2(1, 1), Point2(1000, 1), Point2(1, 1000), Point2(500.5, 500.5)};
  for (size_t c = 0; c < vCentres.size(); ++c) {
    const std::vector<Point2> vLocal(randomPoints(150, 40 + static_cast<unsigned>(c), -1e-9, 1e-9));
    for (const Point2& d : vLocal) v.emplace_back(vCentres[c].x() + d.x(), vCentres[c].y() + d.y());
    double x(vCentres[c].x());
    for (int k = 0; k < 10; ++k) {
      x = std::nextafter(x, 2e6);
      v.emplace_back(x, vCentres[c].y() + (k % 3) * std::numeric_limits<double>::epsilon());
    }
  }
  shuffleWithSeed(v, 41);
  Zarn_2D dt;
  insertAll(dt, v);
  EXPECT_DELAUNAY_OF(dt, v);
}

// ----- Extreme coordinates -----------------------------------------------------------------

TEST(Dt2InsertExtreme, HugeCoordinates) {
  std::vector<Point2> v(randomPoints(200, 51, -1e150, 1e150));
  for (const Point2& p : integerCirclePoints(65)) v.emplace_back(p.x() * 1e148, p.y() * 1e148);
  shuffleWithSeed(v, 52);
  Zarn_2D dt;
  insertAll(dt, v);
  EXPECT_DELAUNAY_OF(dt, v);
}

TEST(Dt2InsertExtreme, TinyCoordinates) {
  std::vector<Point2> v(randomPoints(200, 53, -1e-300, 1e-300));
  for (const Point2& p : gridPoints(6, 6)) v.emplace_back(p.x() * 1e-301, p.y() * 1e-301);
  shuffleWithSeed(v, 54);
  Zarn_2D dt;
  insertAll(dt, v);
  EXPECT_DELAUNAY_OF(dt, v);
}

TEST(Dt2InsertExtreme, MixedScales) {
  // A tiny cluster at the origin, a unit-scale cloud and a few very distant points: the box
  // grows several times during the insertion.
  std::vector<Point2> v(randomPoints(80, 55, -1e-12, 1e-12));
  const std::vector<Point2> vUnit(randomPoints(80, 56, -1.0, 1.0));
  v.insert(v.end(), vUnit.begin(), vUnit.end());
  for (double s : {1e6, 1e12, 1e18}) {
    v.emplace_back(s, s);
    v.emplace_back(-s, 0.5 * s);
  }
  Zarn_2D dt;
  insertCheckingEach(dt, v);
}

TEST(Dt2InsertExtreme, NonFinitePointIsRejectedWithAWarning) {
  Zarn_2D dt;
  const std::vector<Point2> v{Point2(0, 0), Point2(1, 0), Point2(0, 1)};
  insertAll(dt, v);
  const double inf(std::numeric_limits<double>::infinity()), nan(std::numeric_limits<double>::quiet_NaN());
  for (const Point2& bad : {Point2(nan, 0), Point2(0, nan), Point2(inf, 1), Point2(1, -inf)}) {
    testing::internal::CaptureStdout();
    Point2* p(dt.insert(bad));
    const std::string out(testing::internal::GetCapturedStdout());
    EXPECT_EQ(p, nullptr);
    EXPECT_EQ(countLinesContaining(out, ", WARNING: "), 1u) << out;
  }
  EXPECT_EQ(dt.numberOfPoints(), 3u);
  EXPECT_DELAUNAY_OF(dt, v);
  // The box was not poisoned: later points are inserted and located normally.
  std::vector<Point2> vAll(v);
  vAll.emplace_back(0.25, 0.25);
  dt.insert(vAll.back());
  EXPECT_NE(dt.locate(Point2(0.1, 0.1)), nullptr);
  EXPECT_DELAUNAY_OF(dt, vAll);
}

TEST(Dt2InsertExtreme, NonFinitePointInTheCollinearPhase) {
  Zarn_2D dt;
  testing::internal::CaptureStdout();
  EXPECT_EQ(dt.insert(Point2(std::numeric_limits<double>::quiet_NaN(), 1)), nullptr);
  testing::internal::GetCapturedStdout();
  EXPECT_EQ(dt.numberOfPoints(), 0u);
  const std::vector<Point2> v{Point2(0, 0), Point2(2, 0), Point2(1, 3)};
  insertAll(dt, v);
  EXPECT_DELAUNAY_OF(dt, v);
}

// ----- Random sets ---------------------------------------------------------------------------

TEST(Dt2InsertRandom, RandomPointsCheckedAfterEveryInsertion) {
  Zarn_2D dt;
  insertCheckingEach(dt, randomPoints(250, 61, -3.0, 5.0));
}

TEST(Dt2InsertRandom, IntegerPointsWithManyDegeneracies) {
  // Random points on a coarse integer lattice: many collinear and cocircular quadruples and
  // repeats.
  std::mt19937 rng(71);
  std::uniform_int_distribution<int> coord(0, 12);
  std::vector<Point2> v;
  for (int i = 0; i < 300; ++i) {
    const int x(coord(rng));
    v.emplace_back(x, coord(rng));
  }
  Zarn_2D dt;
  std::vector<Point2> vSoFar;
  for (const Point2& p : v) {
    dt.insert(p);
    vSoFar.push_back(p);
    ASSERT_TRUE(isDelaunayTriangulationOf(dt, vSoFar)) << "after " << p;
  }
  EXPECT_TRUE(libraryCheckValidity(dt));
}
