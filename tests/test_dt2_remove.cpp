// Vertex removal: a table of random, degenerate and extreme sets emptied in random order (inner
// and hull vertices), each result checked exactly against the remaining points; a random mix of
// insertions and removals; re-insertion; and the refusals, which warn once and change nothing.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <map>
#include <random>
#include <vector>

#include "dt2_test_support.h"
#include "test_support.h"

using namespace KORA_ZARN2D;
using namespace dt2test;

namespace {

// A triangulation together with the positions it should hold and the handle of each.
struct Tracked {
  Zarn_2D dt;
  std::vector<Point2> vPoints;
  std::vector<Point2*> vHandles;

  explicit Tracked(const std::vector<Point2>& v) : vPoints(v) { dt.insert(v, vHandles); }
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

// A refused removal: exactly one warning, and nothing changes.
void expectRefused(Zarn_2D& dt, Point2* pVtx) {
  const std::vector<TriangleKey> before(triangleSignature(dt));
  const unsigned numPoints(dt.numberOfPoints());
  EXPECT_EQ(countWarnings([&] { dt.remove(pVtx); }), 1u);
  EXPECT_EQ(dt.numberOfPoints(), numPoints);
  EXPECT_TRUE(triangleSignature(dt) == before);
}

std::vector<Point2> withPoints(std::vector<Point2> v, const std::vector<Point2>& vMore) {
  v.insert(v.end(), vMore.begin(), vMore.end());
  return v;
}

// Points of a circle rounded to doubles, the centre and a point next to it: close ties everywhere.
std::vector<Point2> nearlyCocircularRing() {
  std::vector<Point2> v{Point2(0.0, 0.0), Point2(1e-16, 0.0)};
  for (int i = 0; i < 120; ++i) v.emplace_back(std::cos(i * 2 * M_PI / 120), std::sin(i * 2 * M_PI / 120));
  return v;
}

// A flat roof: removing its apex leaves a row of collinear points on the hull.
std::vector<Point2> flatRoof() {
  std::vector<Point2> v{Point2(5, 1)};
  for (int x = 0; x <= 10; ++x) v = withPoints(v, {Point2(x, 0), Point2(x, -3 - (x % 3))});
  return v;
}

struct RemovalSet {
  const char* name;
  std::function<std::vector<Point2>()> make;
  bool bFirstPointFirst;  // remove the first point first
  bool bHullFirst;        // then hull corners (else random vertices)
};

// Each set is emptied (hull corners first, or in random order) while the rest spans a triangle,
// checked after every removal; the end result equals a fresh insertion of the rest where the
// Delaunay triangulation is unique.
TEST(Dt2Remove, EverySetRemovedVertexByVertex) {
  const std::vector<RemovalSet> vSets{
      {"random", [] { return randomPoints(150, 201, -1.0, 1.0); }, false, false},
      {"random, hull first", [] { return randomPoints(150, 207, -1.0, 1.0); }, false, true},
      {"grid", [] { return gridPoints(12, 12); }, true, false},
      {"cocircular ring, centre first", [] { return withPoints({Point2(0, 0)}, integerCirclePoints(325)); }, true, false},
      {"nearly cocircular ring", nearlyCocircularRing, true, false},
      {"huge", [] { return randomPoints(150, 214, -1e150, 1e150); }, true, false},
      {"tiny", [] { return randomPoints(150, 215, -1e-300, 1e-300); }, true, false},
      {"flat roof, apex first", flatRoof, true, true},
      {"corner with a concave link", [] { return std::vector<Point2>{Point2(0, 0), Point2(10, 0), Point2(10, 10), Point2(0, 10), Point2(1, 5),
                                                                     Point2(5, 1), Point2(2, 2), Point2(3, 1.5), Point2(1.5, 3), Point2(6, 6)}; }, true, true},
      {"centre of a square", [] { return std::vector<Point2>{Point2(1, 1), Point2(0, 0), Point2(2, 0), Point2(2, 2), Point2(0, 2)}; }, true, false},
      {"off-centre point of a pentagon", [] { return std::vector<Point2>{Point2(2, 2), Point2(0, 0), Point2(4, 0), Point2(5, 3), Point2(2, 5), Point2(-1, 3)}; }, true, false},
  };
  for (const RemovalSet& set : vSets) {
    SCOPED_TRACE(set.name);
    Tracked t(set.make());
    std::mt19937 rng(202);
    bool bFirst(true);
    while (t.vPoints.size() > 3) {
      size_t i(bFirst && set.bFirstPointFirst ? 0 : std::uniform_int_distribution<size_t>(0, t.vPoints.size() - 1)(rng));
      if (set.bHullFirst && !bFirst) {
        std::vector<Point2*> vHull;
        t.dt.getConvexHull(false, vHull);
        i = std::find(t.vHandles.begin(), t.vHandles.end(), vHull[rng() % vHull.size()]) - t.vHandles.begin();
      }
      bFirst = false;
      if (t.restIsCollinearWithout(i)) break;
      EXPECT_EQ(countWarnings([&] { t.removeAt(i); }), 0u);
      ASSERT_TRUE(isDelaunayTriangulationOf(t.dt, t.vPoints)) << t.vPoints.size() << " left";
    }
    EXPECT_TRUE(libraryCheckValidity(t.dt));
    for (size_t i = 0; i < t.vHandles.size(); ++i) EXPECT_TRUE(sameXY(*t.vHandles[i], t.vPoints[i])) << i;
  }
}

// Half of a larger set removed, then put back one by one and in bulk: the original triangles.
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
    std::uniform_int_distribution<int> coord(0, 3 + static_cast<int>(seed % 10));
    std::uniform_int_distribution<int> operation(0, 9);
    Zarn_2D dt;
    std::map<std::pair<double, double>, Point2*> mPresent;
    const auto remember = [&](const Point2& p, Point2* pHandle) {
      const auto it(mPresent.emplace(std::make_pair(p.x(), p.y()), pHandle).first);
      EXPECT_EQ(pHandle, it->second) << "seed " << seed;
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
  for (Point2* p : {static_cast<Point2*>(nullptr), other.vHandles[5], &onStack}) expectRefused(t.dt, p);
  Point2* pGone(t.vHandles[7]);
  const Point2 position(*pGone);
  t.removeAt(7);
  expectRefused(t.dt, pGone);
  Point2* pNew(t.dt.insert(position));  // the old handle stays dead, the new vertex stays
  if (pNew != pGone) expectRefused(t.dt, pGone);
  EXPECT_DELAUNAY_OF(t.dt, withPoints(t.vPoints, {position}));
  // Four points on a line and one off it: the off point stays, line ends go until a triangle is left.
  Tracked fan({Point2(0, 0), Point2(1, 0), Point2(2, 0), Point2(3, 0), Point2(1, 1)});
  expectRefused(fan.dt, fan.vHandles[4]);
  fan.removeAt(0);
  fan.removeAt(2);
  EXPECT_DELAUNAY_OF(fan.dt, fan.vPoints);
  for (Point2* p : fan.vHandles) expectRefused(fan.dt, p);
}

// Before the triangulation is 2D a removed position is free again and does not come back.
TEST(Dt2Remove, RemovalBeforeTheTriangulationIsTwoDimensional) {
  Tracked t({Point2(0, 0), Point2(1, 1), Point2(2, 2), Point2(3, 3)});
  t.removeAt(1);
  EXPECT_EQ(t.dt.numberOfPoints(), 3u);
  t.dt.insert(Point2(0, 5));
  EXPECT_DELAUNAY_OF(t.dt, withPoints(t.vPoints, {Point2(0, 5)}));
  EXPECT_TRUE(sameXY(*t.dt.insert(Point2(1, 1)), Point2(1, 1)));
  EXPECT_DELAUNAY_OF(t.dt, withPoints(t.vPoints, {Point2(0, 5), Point2(1, 1)}));
  Zarn_2D dt;
  Point2* p(dt.insert(Point2(1, 1)));
  dt.insert(Point2(2, 2));
  dt.remove(p);
  EXPECT_EQ(dt.numberOfPoints(), 1u);
  dt.insert(std::vector<Point2>{Point2(1, 1), Point2(0, 3)});
  EXPECT_DELAUNAY_OF(dt, (std::vector<Point2>{Point2(1, 1), Point2(2, 2), Point2(0, 3)}));
}

}  // namespace
