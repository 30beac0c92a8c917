// Zones: the triangles of every rule compared with what the geometry says (exact winding numbers
// at the centroids), through later insertions and removals; set operations against std::set
// algebra; components, peeling, bounded zones; the messages of wrong use.
#include <algorithm>
#include <functional>
#include <set>

#include "dt2_test_support.h"
#include "test_support.h"

namespace {

using namespace KORA_ZARN2D;
using namespace dt2test;
using zarn_test::captureStdout;
using TriangleSet = std::set<const Triangle2*>;

using Ring = std::vector<Point2>;

Ring square(double x0, double y0, double x1, double y1) { return {Point2(x0, y0), Point2(x1, y0), Point2(x1, y1), Point2(x0, y1)}; }
Ring reversed(Ring ring) {
  std::reverse(ring.begin(), ring.end());
  return ring;
}

// A triangulation of random integer points in [0, 1000)^2 with rings added as oriented graphs.
struct Scene {
  Zarn_2D dt;
  std::vector<ConstraintGraph2*> vGraphs;
  explicit Scene(size_t numPoints, unsigned seed = 7) {
    std::vector<Point2> vPoints(randomPoints(numPoints, seed, 0.0, 1000.0));
    for (Point2& p : vPoints) p = Point2(std::floor(p.x()), std::floor(p.y()));
    dt.insert(vPoints);
  }
  ConstraintGraph2* addRing(const Ring& ring) {
    std::vector<Segment2> vSegments;
    for (size_t i = 0; i < ring.size(); ++i) vSegments.emplace_back(ring[i], ring[(i + 1) % ring.size()]);
    vGraphs.push_back(dt.createConstraint(vSegments, CIS_CONSTRAINED_DELAUNAY, true));
    return vGraphs.back();
  }
  TriangleSet all() {
    std::vector<Triangle2*> v;
    dt.getTrianglePointers(v);
    return TriangleSet(v.begin(), v.end());
  }
  // The triangles whose centroid satisfies the rule.
  TriangleSet where(const std::function<bool(const Triangle2*)>& rule) {
    TriangleSet s;
    for (const Triangle2* pT : all()) {
      if (rule(pT)) s.insert(pT);
    }
    return s;
  }
};

TriangleSet trianglesOf(const Zone2* pZone) {
  std::vector<Triangle2*> v;
  pZone->getTriangles(v);
  TriangleSet s(v.begin(), v.end());
  EXPECT_EQ(s.size(), v.size()) << "a triangle was listed twice";
  return s;
}

std::function<bool(const Triangle2*)> insideOf(const Ring& ccwRing) {
  return [ccwRing](const Triangle2* pT) { return windingNumberAtCentroid(ccwRing, pT) != 0; };
}

// ----- Inside, outside, global, grow: geometry decides, also after mutations -----

struct SquareCase {
  const char* name;
  bool bClockwise;       // the ring is given clockwise: its left side is the outside
  ZoneLocation zoneLoc;  // ZL_GROW: grown from the square's centre
  bool bExpectInside;    // the zone is the square's inside (else its outside)
};

TEST(Zones, SquareZonesFollowTheGeometryThroughInsertionsAndRemovals) {
  const SquareCase aCases[] = {
      {"ccw inside", false, ZL_INSIDE, true},   {"ccw bounded", false, ZL_BOUNDED, true}, {"ccw outside", false, ZL_OUTSIDE, false},
      {"cw inside", true, ZL_INSIDE, false},    {"cw outside", true, ZL_OUTSIDE, true},   {"grow from centre", false, ZL_GROW, true},
      {"grow, cw ring", true, ZL_GROW, true},
  };
  for (const SquareCase& c : aCases) {
    SCOPED_TRACE(c.name);
    Scene scene(600);
    const Ring ccw(square(250.5, 300, 700, 650.25));
    ConstraintGraph2* pGraph(scene.addRing(c.bClockwise ? reversed(ccw) : ccw));
    Zone2* pZone(c.zoneLoc == ZL_GROW ? scene.dt.createZone(pGraph, ZL_GROW, Point2(475, 475)) : scene.dt.createZone(pGraph, c.zoneLoc));
    ASSERT_NE(pZone, nullptr);
    const auto rule = [&](const Triangle2* pT) { return insideOf(ccw)(pT) == c.bExpectInside; };
    EXPECT_EQ(trianglesOf(pZone), scene.where(rule));
    // Later points inside and outside the square, on its border, and removals of vertices.
    std::vector<Point2> vMore(randomPoints(300, 11, 0.0, 1000.0));
    vMore.push_back(Point2(400, 300));  // splits a ring edge
    scene.dt.insert(vMore);
    std::vector<Point2*> vVertices;
    scene.dt.getVertexPointers(vVertices);
    captureStdout([&] {  // ring vertices refuse with a warning
      for (size_t i = 0; i < vVertices.size(); i += 17) scene.dt.remove(vVertices[i]);
    });
    ASSERT_TRUE(libraryCheckValidity(scene.dt));
    EXPECT_EQ(trianglesOf(pZone), scene.where(rule));
  }
}

TEST(Zones, InsideAndOutsidePartitionTheGlobalZone) {
  Scene scene(3000, 3);
  ConstraintGraph2* pGraph(scene.addRing({Point2(100, 100), Point2(900, 150), Point2(500, 500), Point2(850, 900), Point2(120, 700)}));
  const TriangleSet inside(trianglesOf(scene.dt.createZone(pGraph, ZL_INSIDE)));
  const TriangleSet outside(trianglesOf(scene.dt.createZone(pGraph, ZL_OUTSIDE)));
  Zone2* pGlobal(scene.dt.createZone(nullptr, ZL_GLOBAL));
  TriangleSet both(inside);
  both.insert(outside.begin(), outside.end());
  EXPECT_EQ(both.size(), inside.size() + outside.size());
  EXPECT_EQ(both, trianglesOf(pGlobal));
  EXPECT_EQ(both, scene.all());
  EXPECT_NEAR(scene.dt.createZone(pGraph, ZL_INSIDE)->getArea2D() + scene.dt.createZone(pGraph, ZL_OUTSIDE)->getArea2D(),
              pGlobal->getArea2D(), 1e-9 * pGlobal->getArea2D());
}

}  // namespace
