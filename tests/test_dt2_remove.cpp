// Vertex removal: the table of degenerate and extreme point sets emptied vertex by vertex (input
// order, hull corners first), each result checked exactly against the remaining points; a random
// mix of insertions and removals; re-insertion; and the refusals, which warn once and change nothing.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
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
  void removeAt(size_t i) {
    dt.remove(vHandles[i]);
    vPoints.erase(vPoints.begin() + static_cast<long>(i));
    vHandles.erase(vHandles.begin() + static_cast<long>(i));
  }
  bool restIsCollinearWithout(size_t i) const {
    std::vector<Point2> vRest(vPoints);
    vRest.erase(vRest.begin() + static_cast<long>(i));
    return allCollinear(vRest);
  }
};

size_t countWarnings(const std::function<void()>& action) { return countLinesContaining(zarn_test::captureStdout(action), ", WARNING: "); }

// A refused removal: exactly one warning, which says why, and nothing changes.
void expectRefused(Zarn_2D& dt, Point2* pVtx, const std::string& why) {
  const std::vector<TriangleKey> before(triangleSignature(dt));
  const unsigned numPoints(dt.numberOfPoints());
  const std::string out(zarn_test::captureStdout([&] { dt.remove(pVtx); }));
  EXPECT_TRUE(countLinesContaining(out, ", WARNING: ") == 1 && countLinesContaining(out, why + ", nothing removed") == 1) << out;
  EXPECT_EQ(dt.numberOfPoints(), numPoints);
  EXPECT_TRUE(triangleSignature(dt) == before);
}

}  // namespace

// Each set is emptied while the rest spans a triangle, checked after every removal.
TEST(Dt2Remove, EverySetRemovedVertexByVertex) {
  for (const PointSet& set : degenerateAndExtremePointSets()) {
    if (set.vPoints.size() > 400) continue;
    for (bool bHullFirst : {false, true}) {
      if (bHullFirst && !set.bCheckEach) continue;  // the larger sets once: the oracle is slow on extreme scales
      SCOPED_TRACE(std::string(set.name) + (bHullFirst ? ", hull corners first" : ", input order"));
      Tracked t(set.vPoints);
      std::mt19937 rng(202);
      while (t.vPoints.size() > 3) {
        size_t i(0);
        if (bHullFirst) {
          std::vector<Point2*> vHull;
          t.dt.getConvexHull(false, vHull);
          i = std::find(t.vHandles.begin(), t.vHandles.end(), vHull[rng() % vHull.size()]) - t.vHandles.begin();
        }
        if (t.restIsCollinearWithout(i)) break;
        EXPECT_EQ(countWarnings([&] { t.removeAt(i); }), 0u);
        const bool bCheck(t.vPoints.size() < 60 || t.vPoints.size() % 7 == 0);  // damage stays: every 7th removal finds it
        ASSERT_TRUE(!bCheck || isDelaunayTriangulationOf(t.dt, t.vPoints)) << t.vPoints.size() << " left";
      }
      EXPECT_TRUE(libraryCheckValidity(t.dt));
      for (size_t i = 0; i < t.vHandles.size(); ++i) EXPECT_TRUE(sameXY(*t.vHandles[i], t.vPoints[i])) << i;
    }
  }
}

// Half of a larger set removed in random order, then put back one by one and in bulk: the
// original triangles.
TEST(Dt2Remove, RemovingHalfAndReinsertingRestoresTheTriangulation) {
  const size_t n(DT2TEST_SANITIZED ? 1500 : 6000);
  const std::vector<Point2> v(randomPoints(n, 203, 0.0, 100.0));
  Tracked t(v);
  const std::vector<TriangleKey> original(triangleSignature(t.dt));
  std::mt19937 rng(204);
  for (size_t k = 0; k < n / 2; ++k) t.removeAt(std::uniform_int_distribution<size_t>(0, t.vPoints.size() - 1)(rng));
  EXPECT_DELAUNAY_OF(t.dt, t.vPoints);
  Zarn_2D fresh;
  fresh.insert(t.vPoints);
  EXPECT_TRUE(triangleSignature(t.dt) == triangleSignature(fresh));
  for (const Point2& p : v) ASSERT_TRUE(sameXY(*t.dt.insert(p), p));
  EXPECT_TRUE(triangleSignature(t.dt) == original);
  for (size_t k = 0; k < 100; ++k) t.removeAt((k * 13) % t.vPoints.size());
  t.dt.insert(v);
  EXPECT_TRUE(triangleSignature(t.dt) == original);
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
    const auto remember = [&](const Point2& p, Point2* pHandle) {
      EXPECT_EQ(pHandle, mPresent.emplace(std::make_pair(p.x(), p.y()), pHandle).first->second) << "seed " << seed;
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

TEST(Dt2Remove, NullForeignStackRemovedAndLastTriangleHandlesAreRefused) {
  Tracked t(randomPoints(40, 211)), other(randomPoints(40, 212));
  Point2 onStack(t.vPoints[3].x(), t.vPoints[3].y());  // same position, not a vertex
  const std::string notOurs("The vertex does not belong to this triangulation or has been removed already");
  expectRefused(t.dt, nullptr, "pVtx is NULL");
  for (Point2* p : {other.vHandles[5], &onStack}) expectRefused(t.dt, p, notOurs);
  Point2* pGone(t.vHandles[7]);
  const Point2 position(*pGone);
  t.removeAt(7);
  expectRefused(t.dt, pGone, notOurs);
  Point2* pNew(t.dt.insert(position));  // the old handle stays dead, the new vertex stays
  if (pNew != pGone) expectRefused(t.dt, pGone, notOurs);
  EXPECT_DELAUNAY_OF(t.dt, concat(t.vPoints, {position}));
  // Four points on a line and one off it: the off point stays, line ends go until a triangle is left.
  Tracked fan({Point2(0, 0), Point2(1, 0), Point2(2, 0), Point2(3, 0), Point2(1, 1)});
  const std::string collinear("Removing the vertex would leave fewer than three non-collinear vertices");
  expectRefused(fan.dt, fan.vHandles[4], collinear);
  fan.removeAt(0);
  fan.removeAt(2);
  EXPECT_DELAUNAY_OF(fan.dt, fan.vPoints);
  for (Point2* p : fan.vHandles) expectRefused(fan.dt, p, collinear);
}

// Before the triangulation is 2D a removed position is free again and does not come back.
TEST(Dt2Remove, RemovalBeforeTheTriangulationIsTwoDimensional) {
  Tracked t({Point2(0, 0), Point2(1, 1), Point2(2, 2), Point2(3, 3)});
  t.removeAt(1);
  EXPECT_EQ(t.dt.numberOfPoints(), 3u);
  t.dt.insert(Point2(0, 5));
  EXPECT_DELAUNAY_OF(t.dt, concat(t.vPoints, {Point2(0, 5)}));
  EXPECT_TRUE(sameXY(*t.dt.insert(Point2(1, 1)), Point2(1, 1)));
  EXPECT_DELAUNAY_OF(t.dt, concat(t.vPoints, {Point2(0, 5), Point2(1, 1)}));
  Tracked two({Point2(1, 1), Point2(2, 2)});
  two.removeAt(0);
  EXPECT_EQ(two.dt.numberOfPoints(), 1u);
  two.dt.insert(std::vector<Point2>{Point2(1, 1), Point2(0, 3)});
  EXPECT_DELAUNAY_OF(two.dt, (std::vector<Point2>{Point2(1, 1), Point2(2, 2), Point2(0, 3)}));
}
