// Vertex removal: the result is the Delaunay triangulation of the remaining points (checked
// exactly after removals of inner and hull vertices, on random and degenerate sets), the other
// handles survive, and wrong removals are refused with a warning and change nothing.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <random>
#include <vector>

#include "dt2_test_support.h"

using namespace KORA_ZARN2D;
using namespace dt2test;

namespace {

// A triangulation together with the positions it should hold and the handle of each.
struct Tracked {
  Zarn_2D dt;
  std::vector<Point2> vPoints;
  std::vector<Point2*> vHandles;

  explicit Tracked(const std::vector<Point2>& v) {
    dt.insert(v, vHandles);
    vPoints = v;
  }
  void removeAt(size_t i) {
    dt.remove(vHandles[i]);
    vPoints.erase(vPoints.begin() + static_cast<long>(i));
    vHandles.erase(vHandles.begin() + static_cast<long>(i));
  }
  size_t indexOf(const Point2* p) const { return static_cast<size_t>(std::find(vHandles.begin(), vHandles.end(), p) - vHandles.begin()); }
};

// The surviving handles still stand at their positions and are vertices of the triangulation.
void expectHandlesIntact(const Tracked& t) {
  std::vector<Point2*> vVertices;
  t.dt.getVertexPointers(vVertices);
  std::sort(vVertices.begin(), vVertices.end());
  for (size_t i = 0; i < t.vHandles.size(); ++i) {
    EXPECT_TRUE(sameXY(*t.vHandles[i], t.vPoints[i])) << i;
    EXPECT_TRUE(std::binary_search(vVertices.begin(), vVertices.end(), t.vHandles[i])) << i;
  }
}

// Runs f with standard output captured; returns the number of warning lines it printed.
template <typename F>
size_t countWarnings(F f, std::string* pOut = nullptr) {
  testing::internal::CaptureStdout();
  f();
  const std::string out(testing::internal::GetCapturedStdout());
  if (pOut != nullptr) *pOut = out;
  return countLinesContaining(out, ", WARNING: ");
}

// A refused removal: exactly one warning, and nothing changes.
void expectRefused(Zarn_2D& dt, Point2* pVtx) {
  const std::vector<TriangleKey> before(triangleSignature(dt));
  const unsigned numPoints(dt.numberOfPoints()), numTriangles(dt.numberOfTriangles());
  std::string out;
  EXPECT_EQ(countWarnings([&] { dt.remove(pVtx); }, &out), 1u) << out;
  EXPECT_EQ(dt.numberOfPoints(), numPoints);
  EXPECT_EQ(dt.numberOfTriangles(), numTriangles);
  EXPECT_EQ(triangleSignature(dt), before);
}

}  // namespace

// ----- Random removals -------------------------------------------------------------------

TEST(Dt2Remove, RandomRemovalsCheckedAfterEachOne) {
  Tracked t(randomPoints(150, 201, -1.0, 1.0));
  std::mt19937 rng(202);
  while (t.vPoints.size() > 3) {
    const size_t i(std::uniform_int_distribution<size_t>(0, t.vPoints.size() - 1)(rng));
    const unsigned numBefore(t.dt.numberOfPoints());
    t.removeAt(i);
    ASSERT_EQ(t.dt.numberOfPoints(), numBefore - 1);
    ASSERT_TRUE(isDelaunayTriangulationOf(t.dt, t.vPoints)) << t.vPoints.size() << " left";
  }
  EXPECT_TRUE(libraryCheckValidity(t.dt));
  expectHandlesIntact(t);
}

TEST(Dt2Remove, RemovingHalfOfALargerSet) {
  const size_t n(DT2TEST_SANITIZED ? 1500 : 6000);
  Tracked t(randomPoints(n, 203, 0.0, 100.0));
  std::mt19937 rng(204);
  for (size_t k = 0; k < n / 2; ++k) {
    t.removeAt(std::uniform_int_distribution<size_t>(0, t.vPoints.size() - 1)(rng));
    if (k % 250 == 0) {
      ASSERT_TRUE(isDelaunayTriangulationOf(t.dt, t.vPoints)) << k;
    }
  }
  EXPECT_DELAUNAY_OF(t.dt, t.vPoints);
  expectHandlesIntact(t);
  // The remaining triangulation is the one a fresh bulk insertion builds.
  Zarn_2D fresh;
  fresh.insert(t.vPoints);
  EXPECT_EQ(triangleSignature(t.dt), triangleSignature(fresh));
}

TEST(Dt2Remove, RandomRemovalsFromAGridCheckedAfterEachOne) {
  // Cocircular and collinear everywhere: every hole is full of ties.
  Tracked t(gridPoints(12, 12));
  std::mt19937 rng(205);
  while (t.vPoints.size() > 3) {
    const size_t i(std::uniform_int_distribution<size_t>(0, t.vPoints.size() - 1)(rng));
    std::vector<Point2> vRest(t.vPoints);
    vRest.erase(vRest.begin() + static_cast<long>(i));
    if (allCollinear(vRest)) break;
    t.removeAt(i);
    ASSERT_TRUE(isDelaunayTriangulationOf(t.dt, t.vPoints)) << t.vPoints.size() << " left";
  }
  EXPECT_TRUE(libraryCheckValidity(t.dt));
}

TEST(Dt2Remove, CocircularRingWithCentre) {
  // Removing the centre leaves a hole whose boundary is cocircular; then ring vertices.
  std::vector<Point2> v(integerCirclePoints(325));
  v.emplace_back(0, 0);
  Tracked t(v);
  t.removeAt(t.vPoints.size() - 1);
  ASSERT_DELAUNAY_OF(t.dt, t.vPoints);
  for (int k = 0; k < 20; ++k) {
    t.removeAt((k * 7) % t.vPoints.size());
    ASSERT_TRUE(isDelaunayTriangulationOf(t.dt, t.vPoints)) << k;
  }
  EXPECT_TRUE(libraryCheckValidity(t.dt));
}

TEST(Dt2Remove, RemovalDecisionsOnSmallDegenerateSets) {
  // Random subsets of a 5x5 lattice, emptied in random order: each removal must succeed when
  // the rest still spans a triangle and be refused otherwise.
  std::mt19937 rng(206);
  for (int round = 0; round < 60; ++round) {
    std::vector<Point2> v(gridPoints(5, 5));
    shuffleWithSeed(v, 300 + round);
    v.resize(4 + round % 12);
    if (allCollinear(v)) continue;
    Tracked t(v);
    while (!t.vPoints.empty()) {
      const size_t i(std::uniform_int_distribution<size_t>(0, t.vPoints.size() - 1)(rng));
      std::vector<Point2> vRest(t.vPoints);
      vRest.erase(vRest.begin() + static_cast<long>(i));
      if (allCollinear(vRest)) {
        expectRefused(t.dt, t.vHandles[i]);
        break;
      }
      size_t numWarnings(countWarnings([&] { t.removeAt(i); }));
      ASSERT_EQ(numWarnings, 0u) << "round " << round;
      ASSERT_TRUE(isDelaunayTriangulationOf(t.dt, t.vPoints)) << "round " << round << ", " << t.vPoints.size() << " left";
    }
  }
}

TEST(Dt2Remove, NearlyCocircularRingAndExtremeScales) {
  // Points of a circle rounded to doubles: the in-circle decisions of every hole are close ties.
  std::vector<Point2> vRing;
  for (int i = 0; i < 120; ++i) vRing.emplace_back(std::cos(i * 2 * M_PI / 120), std::sin(i * 2 * M_PI / 120));
  vRing.emplace_back(0.0, 0.0);
  vRing.emplace_back(1e-16, 0.0);
  std::vector<std::vector<Point2>> vSets{vRing, randomPoints(150, 214, -1e150, 1e150), randomPoints(150, 215, -1e-300, 1e-300)};
  for (const std::vector<Point2>& v : vSets) {
    Tracked t(v);
    std::mt19937 rng(216);
    while (t.vPoints.size() > 3) {
      t.removeAt(std::uniform_int_distribution<size_t>(0, t.vPoints.size() - 1)(rng));
      ASSERT_TRUE(isDelaunayTriangulationOf(t.dt, t.vPoints)) << t.vPoints.size() << " left";
    }
  }
}

TEST(Dt2Remove, RandomMixOfInsertionsAndRemovalsOnALattice) {
  // Single and bulk insertions (various thread counts) and removals of lattice points, checked
  // after every operation: repeats, collinear runs, cocircular quadruples, the collinear phase
  // and the refusal rule all interact.
  for (unsigned seed = 0; seed < 30; ++seed) {
    std::mt19937 rng(seed);
    std::uniform_int_distribution<int> coord(0, 3 + static_cast<int>(seed % 10));
    std::uniform_int_distribution<int> operation(0, 9);
    Zarn_2D dt;
    std::map<std::pair<double, double>, Point2*> mPresent;
    const auto remember = [&](const Point2& p, Point2* pHandle) {
      const auto it(mPresent.find(std::make_pair(p.x(), p.y())));
      if (it == mPresent.end()) {
        mPresent.emplace(std::make_pair(p.x(), p.y()), pHandle);
      } else {
        EXPECT_EQ(pHandle, it->second) << "seed " << seed;
      }
    };
    for (int step = 0; step < 250; ++step) {
      const int op(operation(rng));
      if (op < 4) {
        const Point2 p(coord(rng), coord(rng));
        remember(p, dt.insert(p));
      } else if (op < 6) {
        std::vector<Point2> v;
        for (int i = 1 + static_cast<int>(rng() % 40); i > 0; --i) v.emplace_back(coord(rng), coord(rng));
        dt.setNumCPU(1 + static_cast<int>(rng() % 4));
        std::vector<Point2*> vHandles;
        dt.insert(v, vHandles);
        for (size_t i = 0; i < v.size(); ++i) remember(v[i], vHandles[i]);
      } else if (!mPresent.empty()) {
        auto it(mPresent.begin());
        std::advance(it, static_cast<long>(rng() % mPresent.size()));
        std::vector<Point2> vRest;
        for (const auto& entry : mPresent) {
          if (entry.first != it->first) vRest.emplace_back(entry.first.first, entry.first.second);
        }
        const bool bRefused(dt.is2D() && allCollinear(vRest));
        EXPECT_EQ(countWarnings([&] { dt.remove(it->second); }), bRefused ? 1u : 0u) << "seed " << seed << " step " << step;
        if (!bRefused) mPresent.erase(it);
      }
      std::vector<Point2> vExpected;
      for (const auto& entry : mPresent) vExpected.emplace_back(entry.first.first, entry.first.second);
      ASSERT_TRUE(isDelaunayTriangulationOf(dt, vExpected)) << "seed " << seed << " step " << step << " operation " << op;
    }
    EXPECT_TRUE(libraryCheckValidity(dt));
  }
}

// ----- Hull vertices -----------------------------------------------------------------------

TEST(Dt2Remove, RemovingHullCornersShrinksTheHull) {
  std::vector<Point2> v(randomPoints(400, 207, -1.0, 1.0));
  Tracked t(v);
  for (int k = 0; k < 60; ++k) {
    std::vector<Point2*> vHull;
    t.dt.getConvexHull(false, vHull);
    ASSERT_EQ(canonicalCycle(positionsOf(vHull)).size(), hullCorners(t.vPoints).size());
    t.removeAt(t.indexOf(vHull[static_cast<size_t>(k) % vHull.size()]));
    std::vector<Point2*> vAfter;
    t.dt.getConvexHull(false, vAfter);
    const std::vector<Point2> vHave(canonicalCycle(positionsOf(vAfter))), vWant(hullCorners(t.vPoints));
    ASSERT_EQ(vHave.size(), vWant.size()) << k;
    EXPECT_TRUE(std::equal(vHave.begin(), vHave.end(), vWant.begin(), sameXY)) << k;
    ASSERT_TRUE(isDelaunayTriangulationOf(t.dt, t.vPoints)) << k;
  }
  EXPECT_TRUE(libraryCheckValidity(t.dt));
}

TEST(Dt2Remove, HullVertexWhoseNeighboursBecomeCollinearOnTheNewHull) {
  // Removing the apex (5, 1) of a flat roof leaves the bottom row of collinear points as hull.
  std::vector<Point2> v;
  for (int x = 0; x <= 10; ++x) v.emplace_back(x, 0);
  for (int x = 0; x <= 10; ++x) v.emplace_back(x, -3 - (x % 3));
  v.emplace_back(5, 1);
  Tracked t(v);
  t.removeAt(t.vPoints.size() - 1);
  EXPECT_DELAUNAY_OF(t.dt, t.vPoints);
  std::vector<Point2*> vAll;
  t.dt.getConvexHull(true, vAll);
  size_t numOnTop(0);
  for (const Point2* p : vAll) numOnTop += p->y() == 0.0;
  EXPECT_EQ(numOnTop, 11u);
}

TEST(Dt2Remove, HullVertexWithAConcaveLink) {
  // The link of the removed corner dips inward: the ears must not cut the new hull short.
  std::vector<Point2> v{Point2(0, 0), Point2(10, 0), Point2(10, 10), Point2(0, 10), Point2(1, 5), Point2(5, 1),
                        Point2(2, 2), Point2(3, 1.5), Point2(1.5, 3), Point2(6, 6)};
  Tracked t(v);
  t.removeAt(0);
  EXPECT_DELAUNAY_OF(t.dt, t.vPoints);
}

// ----- Handles, re-insertion, counts ---------------------------------------------------------

TEST(Dt2Remove, RemoveThenReinsertRestoresTheTriangulation) {
  const std::vector<Point2> v(randomPoints(500, 208, 0.0, 1.0));
  Tracked t(v);
  const std::vector<TriangleKey> original(triangleSignature(t.dt));
  std::vector<Point2> vRemoved;
  for (size_t k = 0; k < 100; ++k) {
    const size_t i((k * 37) % t.vPoints.size());
    vRemoved.push_back(t.vPoints[i]);
    t.removeAt(i);
  }
  EXPECT_EQ(t.dt.numberOfPoints(), 400u);
  for (const Point2& p : vRemoved) {
    Point2* pNew(t.dt.insert(p));
    ASSERT_NE(pNew, nullptr);
    EXPECT_TRUE(sameXY(*pNew, p));
    t.vPoints.push_back(p);
    t.vHandles.push_back(pNew);
  }
  EXPECT_EQ(t.dt.numberOfPoints(), 500u);
  EXPECT_EQ(triangleSignature(t.dt), original);
  EXPECT_DELAUNAY_OF(t.dt, v);
  expectHandlesIntact(t);
  // Also in bulk.
  for (size_t k = 0; k < 100; ++k) t.removeAt((k * 13) % t.vPoints.size());
  t.dt.insert(v);
  EXPECT_EQ(triangleSignature(t.dt), original);
  EXPECT_EQ(t.dt.numberOfPoints(), 500u);
}

TEST(Dt2Remove, NumberOfTrianglesCountsOnlyLiveTriangles) {
  Tracked t(randomPoints(300, 209, -1.0, 1.0));
  for (int k = 0; k < 120; ++k) {
    t.removeAt(static_cast<size_t>(k * 11) % t.vPoints.size());
    std::vector<Triangle2*> vT;
    t.dt.getTrianglePointers(vT);
    ASSERT_EQ(t.dt.numberOfTriangles(), vT.size());
    std::vector<Point2*> vHull;
    t.dt.getConvexHull(true, vHull);
    // A triangulation of n points with h on its border has 2n - 2 - h triangles.
    ASSERT_EQ(vT.size(), 2 * t.vPoints.size() - 2 - vHull.size());
  }
}

TEST(Dt2Remove, RemovedVertexIsNoLongerFoundAndLocateStillWorks) {
  Tracked t(gridPoints(6, 6));
  const Point2 inner(2, 3);
  Point2* pInner(nullptr);
  for (Point2* p : t.vHandles) {
    if (sameXY(*p, inner)) pInner = p;
  }
  ASSERT_NE(pInner, nullptr);
  t.removeAt(t.indexOf(pInner));
  std::vector<Point2*> vVertices;
  t.dt.getVertexPointers(vVertices);
  EXPECT_EQ(std::find(vVertices.begin(), vVertices.end(), pInner), vVertices.end());
  Triangle2* pT(t.dt.locate(inner));
  ASSERT_NE(pT, nullptr);
  for (int k = 0; k < 3; ++k) EXPECT_NE(pT->getCorner(k), pInner);
  EXPECT_DELAUNAY_OF(t.dt, t.vPoints);
}

TEST(Dt2Remove, CentreOfASquareCanBeRemoved) {
  // Every triangle uses the centre, yet the four corners span a triangle.
  Tracked t({Point2(0, 0), Point2(2, 0), Point2(2, 2), Point2(0, 2), Point2(1, 1)});
  std::string out;
  EXPECT_EQ(countWarnings([&] { t.removeAt(4); }, &out), 0u) << out;
  EXPECT_EQ(t.dt.numberOfPoints(), 4u);
  EXPECT_DELAUNAY_OF(t.dt, t.vPoints);
}

TEST(Dt2Remove, CentreOfAPentagonOffCentreCanBeRemoved) {
  Tracked t({Point2(0, 0), Point2(4, 0), Point2(5, 3), Point2(2, 5), Point2(-1, 3), Point2(2, 2)});
  std::string out;
  EXPECT_EQ(countWarnings([&] { t.removeAt(5); }, &out), 0u) << out;
  EXPECT_DELAUNAY_OF(t.dt, t.vPoints);
}

// ----- Refusals -----------------------------------------------------------------------------

TEST(Dt2RemoveRefused, NullForeignAndStackHandles) {
  Tracked t(randomPoints(40, 211));
  Tracked other(randomPoints(40, 212));
  expectRefused(t.dt, nullptr);
  expectRefused(t.dt, other.vHandles[5]);
  Point2 onStack(t.vPoints[3].x(), t.vPoints[3].y());  // same position, not a vertex
  expectRefused(t.dt, &onStack);
  EXPECT_DELAUNAY_OF(t.dt, t.vPoints);
  EXPECT_DELAUNAY_OF(other.dt, other.vPoints);
}

TEST(Dt2RemoveRefused, RemovingTwice) {
  Tracked t(randomPoints(40, 213));
  Point2* p(t.vHandles[7]);
  t.removeAt(7);
  expectRefused(t.dt, p);
  // Also after a new vertex was inserted at the same position: the old handle stays dead and
  // the new vertex stays.
  Point2 pos(*p);
  Point2* pNew(t.dt.insert(pos));
  t.vPoints.push_back(pos);
  t.vHandles.push_back(pNew);
  if (pNew != p) expectRefused(t.dt, p);
  EXPECT_EQ(t.dt.numberOfPoints(), 40u);
  EXPECT_DELAUNAY_OF(t.dt, t.vPoints);
}

TEST(Dt2RemoveRefused, LastTriangle) {
  Tracked t({Point2(0, 0), Point2(1, 0), Point2(0, 1)});
  for (size_t i = 0; i < 3; ++i) expectRefused(t.dt, t.vHandles[i]);
  EXPECT_TRUE(t.dt.is2D());
  EXPECT_DELAUNAY_OF(t.dt, t.vPoints);
}

TEST(Dt2RemoveRefused, OnlyOffLinePointOfAFan) {
  // Four points on a line and one off it: removing the off point would leave a line.
  Tracked t({Point2(0, 0), Point2(1, 0), Point2(2, 0), Point2(3, 0), Point2(1, 1)});
  expectRefused(t.dt, t.vHandles[4]);
  // An end of the line can go; then the next one; then the rest is a triangle.
  t.removeAt(0);
  EXPECT_DELAUNAY_OF(t.dt, t.vPoints);
  t.removeAt(2);  // (3, 0)
  EXPECT_DELAUNAY_OF(t.dt, t.vPoints);
  for (size_t i = 0; i < t.vHandles.size(); ++i) expectRefused(t.dt, t.vHandles[i]);
}

// ----- Collinear phase ---------------------------------------------------------------------

TEST(Dt2Remove, RemovalBeforeTheTriangulationIsTwoDimensional) {
  Tracked t({Point2(0, 0), Point2(1, 1), Point2(2, 2), Point2(3, 3)});
  ASSERT_FALSE(t.dt.is2D());
  t.removeAt(1);
  EXPECT_EQ(t.dt.numberOfPoints(), 3u);
  EXPECT_TRUE(isDelaunayTriangulationOf(t.dt, t.vPoints));
  t.vPoints.emplace_back(0, 5);
  t.vHandles.push_back(t.dt.insert(t.vPoints.back()));
  EXPECT_TRUE(t.dt.is2D());
  EXPECT_DELAUNAY_OF(t.dt, t.vPoints);  // the removed (1, 1) must not come back
  // Its position is free again.
  Point2* pAgain(t.dt.insert(Point2(1, 1)));
  t.vPoints.emplace_back(1, 1);
  EXPECT_EQ(t.dt.numberOfPoints(), 5u);
  EXPECT_TRUE(sameXY(*pAgain, Point2(1, 1)));
  EXPECT_DELAUNAY_OF(t.dt, t.vPoints);
}

TEST(Dt2Remove, ReinsertAtARemovedPositionBeforeTwoDimensions) {
  Zarn_2D dt;
  Point2* p(dt.insert(Point2(1, 1)));
  dt.insert(Point2(2, 2));
  dt.remove(p);
  EXPECT_EQ(dt.numberOfPoints(), 1u);
  Point2* pNew(dt.insert(Point2(1, 1)));
  EXPECT_EQ(dt.numberOfPoints(), 2u);
  EXPECT_TRUE(sameXY(*pNew, Point2(1, 1)));
  dt.insert(Point2(0, 3));
  EXPECT_DELAUNAY_OF(dt, (std::vector<Point2>{Point2(1, 1), Point2(2, 2), Point2(0, 3)}));
}
