// Unifying the diagonals of grid cells in a zone, and the zone's debug picture.
#include <set>

#include "cdt_test_support.h"
#include "dt2_test_support.h"
#include "test_support.h"

namespace {

using namespace KORA_ZARN2D;
using cdttest::isConstrainedDelaunay;
using Diagonal = std::pair<Point2, Point2>;

// The integer grid [0, 20]^2 (one point may be moved off it) with a counterclockwise square ring
// from (5, 5) to (15, 15), optionally a constraint diagonal inside it, and the zone inside it.
struct GridScene {
  Zarn_2D dt;
  std::vector<Point2> vPoints;
  std::vector<Segment2> vSegments{Segment2(Point2(5, 5), Point2(15, 5)), Segment2(Point2(15, 5), Point2(15, 15)),
                                  Segment2(Point2(15, 15), Point2(5, 15)), Segment2(Point2(5, 15), Point2(5, 5))};
  Zone2* pZone = nullptr;
  GridScene(const Point2* pMoved, const std::vector<Segment2>& vExtra) {
    vPoints = dt2test::gridPoints(21, 21);
    if (pMoved != nullptr) *std::find(vPoints.begin(), vPoints.end(), Point2(std::round(pMoved->x()), std::round(pMoved->y()))) = *pMoved;
    dt.insert(vPoints);
    std::vector<Segment2> vRing(vSegments), vCopy(vExtra);
    pZone = dt.createZone(dt.createConstraint(vRing, CIS_CONSTRAINED_DELAUNAY, true), ZL_INSIDE);
    if (!vExtra.empty()) dt.createConstraint(vCopy, CIS_CONSTRAINED_DELAUNAY, false);
    vSegments.insert(vSegments.end(), vExtra.begin(), vExtra.end());
  }
  // The triangles outside the zone, by their corners.
  std::multiset<dt2test::TriangleKey> outsideTriangles() {
    const std::vector<dt2test::TriangleKey> vAll(dt2test::triangleSignature(dt));
    std::multiset<dt2test::TriangleKey> s(vAll.begin(), vAll.end());
    for (const Triangle2* pT : zoneTriangles()) s.erase(s.find(key(pT)));
    return s;
  }
  // The zone's cell diagonals (edges with both coordinates changing), each once, lower end first.
  std::set<Diagonal> diagonals() {
    std::set<Diagonal> sDiagonals;
    for (const Triangle2* pT : zoneTriangles()) {
      for (int i = 0; i < 3; ++i) {
        const Point2 p(*pT->getCorner(incIndexBy1(i))), q(*pT->getCorner(incIndexBy2(i)));
        if (std::fabs(p.x() - q.x()) > 0.5 && std::fabs(p.y() - q.y()) > 0.5) sDiagonals.insert(std::minmax(p, q));
      }
    }
    return sDiagonals;
  }
  std::vector<Triangle2*> zoneTriangles() const {
    std::vector<Triangle2*> v;
    pZone->getTriangles(v);
    return v;
  }
  static dt2test::TriangleKey key(const Triangle2* pT) {
    dt2test::TriangleKey k;
    for (int i = 0; i < 3; ++i) k[i] = {pT->getCorner(i)->x(), pT->getCorner(i)->y()};
    std::sort(k.begin(), k.end());
    return k;
  }
};

bool runsLowerLeftToUpperRight(const Diagonal& d) { return d.second.y() > d.first.y(); }

// Free cells turn one way; a constraint diagonal running the other way stays (and the result says
// so); with tolerance 0 the four cells around a point moved by 1e-9 are no longer cocircular and
// keep their Delaunay diagonal, a tolerance unifies them too. Outside the zone nothing changes.
TEST(ZoneUnifyGrid, DiagonalsTurnOneWayInsideTheZoneOnly) {
  const Point2 moved(10.0 + 1e-9, 10.0);
  const Diagonal constraint(Point2(8, 9), Point2(9, 8));
  const struct {
    const char* what;
    const Point2* pMoved;
    std::vector<Segment2> vExtra;
    bool bExpected;
  } aCases[] = {{"free cells", nullptr, {}, true},
                {"one constraint diagonal", nullptr, {Segment2(constraint.first, constraint.second)}, false},
                {"a point moved off the grid", &moved, {}, true}};
  const auto touchesMoved = [](const Diagonal& d) {
    return std::min(d.first.x(), d.second.x()) >= 9 && std::max(d.first.x(), d.second.x()) <= 11.5 &&
           std::min(d.first.y(), d.second.y()) >= 9 && std::max(d.first.y(), d.second.y()) <= 11.5;
  };
  for (const auto& c : aCases) {
    SCOPED_TRACE(c.what);
    GridScene scene(c.pMoved, c.vExtra);
    const std::multiset<dt2test::TriangleKey> sOutsideBefore(scene.outsideTriangles());
    const std::set<Diagonal> sBefore(scene.diagonals());
    ASSERT_FALSE(std::all_of(sBefore.begin(), sBefore.end(), runsLowerLeftToUpperRight)) << "nothing to unify";
    EXPECT_EQ(scene.pZone->unifyGrid(0.0), c.bExpected);
    EXPECT_EQ(scene.outsideTriangles(), sOutsideBefore);
    EXPECT_TRUE(isConstrainedDelaunay(scene.dt, scene.vPoints, scene.vSegments));
    const std::set<Diagonal> sDiagonals(scene.diagonals());
    EXPECT_EQ(sDiagonals.size(), 100u);  // one per cell of the 10 x 10 square
    for (const Diagonal& d : sDiagonals) {
      const bool bKept((!c.vExtra.empty() && d == constraint) || (c.pMoved != nullptr && touchesMoved(d)));
      EXPECT_TRUE(bKept ? sBefore.count(d) == 1 : runsLowerLeftToUpperRight(d)) << d.first << " " << d.second;
    }
    if (c.pMoved == nullptr) continue;
    EXPECT_TRUE(scene.pZone->unifyGrid(1e-6));
    for (const Diagonal& d : scene.diagonals()) EXPECT_TRUE(runsLowerLeftToUpperRight(d)) << d.first << " " << d.second;
    EXPECT_FALSE(zarn_test::captureStdout([&] { EXPECT_TRUE(scene.dt.checkValidity(false, "tolerance")); }).empty());
    EXPECT_FALSE(scene.pZone->unifyGrid(-1.0));
  }
}

TEST(ZoneDebug, PictureAndReportOfAResultZone) {
  GridScene scene(nullptr, {});
  Zone2* pResult(zoneDifference(scene.dt.createZone(nullptr, ZL_GLOBAL), scene.pZone));
  const std::string report(zarn_test::captureStdout([&] { pResult->debug("zone_debug.svg"); }));
  EXPECT_NE(report.find("2 operand(s), 600 triangle(s)"), std::string::npos) << report;
  EXPECT_NE(zarn_test::readFile("zone_debug.svg").find("operand 1"), std::string::npos);
}

}  // namespace
