// Vertex removal: the table of degenerate and extreme point sets emptied vertex by vertex or halved
// and filled again, each result checked exactly against the remaining points; a random mix of
// insertions and removals; and the refusals, which warn once and change nothing.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "dt2_test_support.h"
#include "test_support.h"

using namespace KORA_ZARN2D;
using namespace dt2test;

namespace {

// A triangulation with the handle of each vertex and the position it should hold.
struct Tracked {
  Zarn_2D dt;
  std::vector<Point2*> vHandles;
  std::vector<Point2> vPoints;

  explicit Tracked(const std::vector<Point2>& v) {
    std::vector<Point2*> vAll;
    dt.insert(v, vAll);
    std::set<Point2*> sSeen;
    for (size_t i = 0; i < v.size(); ++i) {
      if (vAll[i] == nullptr || !sSeen.insert(vAll[i]).second) continue;
      vHandles.push_back(vAll[i]);
      vPoints.push_back(v[i]);
    }
  }
  // Removes vertex i; a refusal (one warning, nothing removed) is right only when the rest is collinear.
  bool removeAt(size_t i) {
    const unsigned numBefore(dt.numberOfPoints());
    const std::string out(zarn_test::captureStdout([&] { dt.remove(vHandles[i]); }));
    const bool bRemoved(dt.numberOfPoints() < numBefore);
    EXPECT_EQ(countLinesContaining(out, ", WARNING: "), bRemoved ? 0u : 1u) << out;
    std::vector<Point2> vRest(vPoints);
    vRest.erase(vRest.begin() + static_cast<long>(i));
    if (!bRemoved) {
      EXPECT_TRUE(allCollinear(vRest)) << "refused " << vPoints[i];
      return false;
    }
    vPoints.swap(vRest);
    vHandles.erase(vHandles.begin() + static_cast<long>(i));
    return true;
  }
};

// A refused removal: exactly one warning, which says why, and nothing changes.
void expectRefused(Zarn_2D& dt, Point2* pVtx, const std::string& why) {
  const std::vector<TriangleKey> before(triangleSignature(dt));
  const unsigned numPoints(dt.numberOfPoints());
  const std::string out(zarn_test::captureStdout([&] { dt.remove(pVtx); }));
  EXPECT_TRUE(countLinesContaining(out, ", WARNING: ") == 1 && out.find(warningLine("Dt2::remove(..)", why + ", nothing removed\n")) != std::string::npos)
      << out;
  EXPECT_EQ(dt.numberOfPoints(), numPoints);
  EXPECT_TRUE(triangleSignature(dt) == before);
}

}  // namespace

// The small sets are emptied (in input order, the smallest also hull corners first) until the rest
// would be collinear, checked after every removal. The larger ones lose a random half and get all
// points back one by one: in general position the same triangles as a fresh insertion and as before.
TEST(Dt2Remove, EverySetRemovedVertexByVertexOrHalvedAndRefilled) {
  for (const PointSet& set : degenerateAndExtremePointSets()) {
    const bool bLarge(set.vPoints.size() > 400);
    if (bLarge && DT2TEST_SANITIZED && set.vPoints.size() > 5000) continue;
    for (bool bHullFirst : {false, true}) {
      if (bHullFirst && (!set.bCheckEach || bLarge)) continue;  // the oracle is slow on extreme scales
      SCOPED_TRACE(std::string(set.name) + (bHullFirst ? ", hull corners first" : ""));
      Tracked t(set.vPoints);
      const std::vector<TriangleKey> original(triangleSignature(t.dt));
      std::mt19937 rng(202);
      for (size_t numLeft = bLarge ? t.vPoints.size() / 2 : 3; t.vPoints.size() > numLeft;) {
        size_t i(bLarge ? rng() % t.vPoints.size() : 0);
        if (bHullFirst) {
          std::vector<Point2*> vHull;
          t.dt.getConvexHull(false, vHull);
          i = std::find(t.vHandles.begin(), t.vHandles.end(), vHull[rng() % vHull.size()]) - t.vHandles.begin();
        }
        if (!t.removeAt(i)) break;
        const bool bCheck(!bLarge && (t.vPoints.size() < 60 || t.vPoints.size() % 7 == 0));  // damage stays: every 7th removal finds it
        ASSERT_TRUE(!bCheck || isDelaunayTriangulationOf(t.dt, t.vPoints)) << t.vPoints.size() << " left";
      }
      EXPECT_DELAUNAY_OF(t.dt, t.vPoints);
      for (size_t i = 0; i < t.vHandles.size(); ++i) ASSERT_TRUE(sameXY(*t.vHandles[i], t.vPoints[i])) << i;
      if (!bLarge) continue;
      Zarn_2D fresh;
      fresh.insert(t.vPoints);
      EXPECT_TRUE(!set.bGeneralPosition || triangleSignature(t.dt) == triangleSignature(fresh));
      for (const Point2& p : set.vPoints) ASSERT_TRUE(sameXY(*t.dt.insert(p), p));
      EXPECT_DELAUNAY_OF(t.dt, set.vPoints);
      EXPECT_TRUE(!set.bGeneralPosition || triangleSignature(t.dt) == original);
    }
  }
}
// Single and bulk insertions (various thread counts) and removals of lattice points, checked
// after every operation: repeats, collinear runs, cocircular quadruples, the collinear phase
// and the refusal rule (a removal that would leave no triangle is refused) all interact.
TEST(Dt2Remove, RandomMixOfInsertionsAndRemovalsOnALattice) {
  for (unsigned seed = 0; seed < 30; ++seed) {
    std::mt19937 rng(seed);
    std::uniform_int_distribution<int> coord(0, 3 + static_cast<int>(seed % 10)), operation(0, 9);
    Zarn_2D dt;
    std::map<std::pair<double, double>, Point2*> mPresent;
    for (int step = 0; step < 250; ++step) {
      const int op(operation(rng));
      std::vector<Point2> v;
      std::vector<Point2*> vHandles;
      for (int i = op < 4 ? 1 : (op < 6 ? 1 + static_cast<int>(rng() % 40) : 0); i > 0; --i) v.emplace_back(coord(rng), coord(rng));
      if (op < 4) vHandles.push_back(dt.insert(v[0]));
      dt.setNumCPU(1 + static_cast<int>(rng() % 4));
      if (op >= 4 && op < 6) dt.insert(v, vHandles);
      for (size_t i = 0; i < v.size(); ++i) {
        EXPECT_EQ(vHandles[i], mPresent.emplace(std::make_pair(v[i].x(), v[i].y()), vHandles[i]).first->second) << "seed " << seed;
      }
      if (op >= 6 && !mPresent.empty()) {
        auto it(mPresent.begin());
        std::advance(it, static_cast<long>(rng() % mPresent.size()));
        std::vector<Point2> vRest;
        for (const auto& entry : mPresent) {
          if (entry.first != it->first) vRest.emplace_back(entry.first.first, entry.first.second);
        }
        const bool bRefused(dt.is2D() && allCollinear(vRest));
        const std::string out(zarn_test::captureStdout([&] { dt.remove(it->second); }));
        EXPECT_EQ(countLinesContaining(out, ", WARNING: "), bRefused ? 1u : 0u) << "seed " << seed << " step " << step;
        if (!bRefused) mPresent.erase(it);
      }
      std::vector<Point2> vExpected;
      for (const auto& entry : mPresent) vExpected.emplace_back(entry.first.first, entry.first.second);
      ASSERT_TRUE(isDelaunayTriangulationOf(dt, vExpected)) << "seed " << seed << " step " << step << " operation " << op;
    }
    EXPECT_TRUE(libraryCheckValidity(dt));
  }
}

// Refusals: a null, foreign, stack or removed handle, and a removal that would leave no triangle. Before
// the triangulation is 2D a removed position is free again and does not come back.
TEST(Dt2Remove, RefusalsAndRemovalBeforeTheTriangulationIsTwoDimensional) {
  Tracked t(randomPoints(40, 211)), other(randomPoints(40, 212));
  Point2 onStack(t.vPoints[3].x(), t.vPoints[3].y());  // same position, not a vertex
  const std::string notOurs("The vertex does not belong to this triangulation or has been removed already");
  expectRefused(t.dt, nullptr, "pVtx is NULL");
  for (Point2* p : {other.vHandles[5], &onStack}) expectRefused(t.dt, p, notOurs);
  Point2* pGone(t.vHandles[7]);
  const Point2 position(*pGone);
  t.removeAt(7);
  expectRefused(t.dt, pGone, notOurs);
  if (t.dt.insert(position) != pGone) expectRefused(t.dt, pGone, notOurs);  // the old handle stays dead, the new vertex stays
  EXPECT_DELAUNAY_OF(t.dt, concat(t.vPoints, {position}));
  // Four points on a line and one off it: the off point stays, line ends go until a triangle is left.
  Tracked fan({Point2(0, 0), Point2(1, 0), Point2(2, 0), Point2(3, 0), Point2(1, 1)});
  const std::string collinear("Removing the vertex would leave fewer than three non-collinear vertices");
  expectRefused(fan.dt, fan.vHandles[4], collinear);
  fan.removeAt(0);
  fan.removeAt(2);
  EXPECT_DELAUNAY_OF(fan.dt, fan.vPoints);
  for (Point2* p : fan.vHandles) expectRefused(fan.dt, p, collinear);
  for (const std::vector<Point2>& vLine : {std::vector<Point2>{Point2(0, 0), Point2(1, 1), Point2(2, 2), Point2(3, 3)},
                                           std::vector<Point2>{Point2(1, 1), Point2(2, 2)}}) {
    Tracked line(vLine);
    line.removeAt(1);
    line.dt.insert(std::vector<Point2>{Point2(0, 5), vLine[1]});
    EXPECT_DELAUNAY_OF(line.dt, concat(vLine, {Point2(0, 5)}));
  }
}
