// Unifying the diagonals of grid cells in a zone, and the zone's debug picture.
#include <array>
#include <set>

#include "cdt_test_support.h"
#include "dt2_test_support.h"
#include "test_support.h"

namespace {

using namespace KORA_ZARN2D;
using cdttest::isConstrainedDelaunay;
using Corners = std::array<std::pair<double, double>, 3>;

constexpr int kSide = 20;

Corners cornersOf(const Triangle2* pT) {
  Corners c;
  for (int i = 0; i < 3; ++i) c[i] = {pT->getCorner(i)->x(), pT->getCorner(i)->y()};
  std::sort(c.begin(), c.end());
  return c;
}

// The integer grid [0, 20]^2 (one point may be moved off it) with a counterclockwise square ring
// from (5, 5) to (15, 15), optionally a constraint diagonal inside it, and the zone inside it.
struct GridScene {
  Zarn_2D dt;
  std::vector<Point2> vPoints;
  std::vector<Segment2> vSegments;
  Zone2* pZone = nullptr;
  GridScene(const Point2* pMoved, const std::vector<Segment2>& vExtra) : vSegments(ringSegments()) {
    for (int i = 0; i <= kSide; ++i) {
      for (int j = 0; j <= kSide; ++j) vPoints.emplace_back(i, j);
    }
    if (pMoved != nullptr) vPoints[size_t(std::round(pMoved->x()) * (kSide + 1) + std::round(pMoved->y()))] = *pMoved;
    dt.insert(vPoints);
    std::vector<Segment2> vRing(vSegments);
    pZone = dt.createZone(dt.createConstraint(vRing, CIS_CONSTRAINED_DELAUNAY, true), ZL_INSIDE);
    if (!vExtra.empty()) {
      std::vector<Segment2> vCopy(vExtra);
      dt.createConstraint(vCopy, CIS_CONSTRAINED_DELAUNAY, false);
      vSegments.insert(vSegments.end(), vExtra.begin(), vExtra.end());
    }
  }
  static std::vector<Segment2> ringSegments() {
    const Point2 a(5, 5), b(15, 5), c(15, 15), d(5, 15);
    return {Segment2(a, b), Segment2(b, c), Segment2(c, d), Segment2(d, a)};
  }
  std::set<Corners> outsideTriangles() {
    std::vector<Triangle2*> vAll, vIn;
    dt.getTrianglePointers(vAll);
    pZone->getTriangles(vIn);
    const std::set<Triangle2*> sIn(vIn.begin(), vIn.end());
    std::set<Corners> sOut;
    for (Triangle2* pT : vAll) {
      if (sIn.count(pT) == 0) sOut.insert(cornersOf(pT));
    }
    return sOut;
  }
  // The zone's cell diagonals (edges with both coordinates changing), each once, lower end first.
  std::set<std::pair<Point2, Point2>> diagonals() {
    std::vector<Triangle2*> vIn;
    pZone->getTriangles(vIn);
    std::set<std::pair<Point2, Point2>> sDiagonals;
    for (Triangle2* pT : vIn) {
      for (int i = 0; i < 3; ++i) {
        Point2 p(*pT->getCorner(incIndexBy1(i))), q(*pT->getCorner(incIndexBy2(i)));
        if (q < p) std::swap(p, q);
        if (std::fabs(p.x() - q.x()) > 0.5 && std::fabs(p.y() - q.y()) > 0.5) sDiagonals.insert({Point2(p.x(), p.y()), Point2(q.x(), q.y())});
      }
    }
    return sDiagonals;
  }
};

bool runsLowerLeftToUpperRight(const std::pair<Point2, Point2>& d) { return d.second.y() > d.first.y(); }

TEST(ZoneUnifyGrid, DiagonalsTurnOneWayInsideTheZoneOnly) {
  struct Case {
    const char* what;
    std::vector<Segment2> vExtra;  // a constraint diagonal running the other way must stay
    bool bExpected;
  };
  const Case aCases[] = {{"free cells", {}, true}, {"one constraint diagonal", {Segment2(Point2(8, 9), Point2(9, 8))}, false}};
  for (const Case& c : aCases) {
    GridScene scene(nullptr, c.vExtra);
    const std::set<Corners> sOutsideBefore(scene.outsideTriangles());
    const std::set<std::pair<Point2, Point2>> sBefore(scene.diagonals());
    ASSERT_FALSE(std::all_of(sBefore.begin(), sBefore.end(), runsLowerLeftToUpperRight)) << "nothing to unify";
    EXPECT_EQ(scene.pZone->unifyGrid(0.0), c.bExpected) << c.what;
    EXPECT_EQ(scene.outsideTriangles(), sOutsideBefore) << c.what;
    EXPECT_TRUE(isConstrainedDelaunay(scene.dt, scene.vPoints, scene.vSegments)) << c.what;
    const std::set<std::pair<Point2, Point2>> sDiagonals(scene.diagonals());
    EXPECT_EQ(sDiagonals.size(), 100u) << c.what;  // one per cell of the 10 x 10 square
    for (const std::pair<Point2, Point2>& d : sDiagonals) {
      const bool bIsTheConstraint(!c.vExtra.empty() && d == std::make_pair(Point2(8, 9), Point2(9, 8)));
      EXPECT_EQ(runsLowerLeftToUpperRight(d), !bIsTheConstraint) << c.what << ": " << d.first << " " << d.second;
    }
  }
}

TEST(ZoneUnifyGrid, ToleranceZeroFlipsOnlyExactlyCocircularCells) {
  // (10, 10) moved by 1e-9: its four cells are no longer cocircular and keep their Delaunay diagonal.
  const Point2 moved(10.0 + 1e-9, 10.0);
  GridScene scene(&moved, {});
  const auto touchesMoved = [](const std::pair<Point2, Point2>& d) {  // a diagonal of one of its cells
    return std::min(d.first.x(), d.second.x()) >= 9 && std::max(d.first.x(), d.second.x()) <= 11.5 &&
           std::min(d.first.y(), d.second.y()) >= 9 && std::max(d.first.y(), d.second.y()) <= 11.5;
  };
  std::set<std::pair<Point2, Point2>> sMovedBefore;
  for (const auto& d : scene.diagonals()) {
    if (touchesMoved(d)) sMovedBefore.insert(d);
  }
  EXPECT_TRUE(scene.pZone->unifyGrid(0.0));
  EXPECT_TRUE(isConstrainedDelaunay(scene.dt, scene.vPoints, scene.vSegments));
  for (const auto& d : scene.diagonals()) {
    if (touchesMoved(d)) {
      EXPECT_EQ(sMovedBefore.count(d), 1u) << d.first << " " << d.second;
    } else {
      EXPECT_TRUE(runsLowerLeftToUpperRight(d)) << d.first << " " << d.second;
    }
  }
  // With a tolerance the nearly cocircular cells are unified too; the result stays valid.
  EXPECT_TRUE(scene.pZone->unifyGrid(1e-6));
  for (const auto& d : scene.diagonals()) EXPECT_TRUE(runsLowerLeftToUpperRight(d)) << d.first << " " << d.second;
  EXPECT_TRUE(zarn_test::captureStdout([&] { EXPECT_TRUE(scene.dt.checkValidity(false, "tolerance")); }).size() > 0);
  EXPECT_FALSE(scene.pZone->unifyGrid(-1.0));
}

TEST(ZoneDebug, PictureAndReportOfAResultZone) {
  GridScene scene(nullptr, {});
  Zone2* pResult(zoneDifference(scene.dt.createZone(nullptr, ZL_GLOBAL), scene.pZone));
  const std::string report(zarn_test::captureStdout([&] { pResult->debug("zone_debug.svg"); }));
  EXPECT_NE(report.find("2 operand(s), 600 triangle(s)"), std::string::npos) << report;
  const std::string svg(zarn_test::readFile("zone_debug.svg"));
  EXPECT_NE(svg.find("operand 1"), std::string::npos);
}

}  // namespace
