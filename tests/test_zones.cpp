// Zones: the triangles of every rule compared with what the geometry says (exact winding numbers
// at the centroids), through later insertions and removals; set operations against std::set
// algebra; components, peeling, bounded zones; the messages of wrong use.
#include <algorithm>
#include <functional>
#include <iterator>
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

// A triangulation of random integer points in [0, 1000)^2 with rings added as constraint graphs.
struct Scene {
  Zarn_2D dt;
  std::vector<ConstraintGraph2*> vGraphs;
  explicit Scene(size_t numPoints, unsigned seed = 7) {
    std::vector<Point2> vPoints(randomPoints(numPoints, seed, 0.0, 1000.0));
    for (Point2& p : vPoints) p = Point2(std::floor(p.x()), std::floor(p.y()));
    dt.insert(vPoints);
  }
  ConstraintGraph2* addRing(const Ring& ring, ConstraintInsertionStrategy cis = CIS_CONSTRAINED_DELAUNAY, bool bOriented = true) {
    std::vector<Segment2> vSegments;
    for (size_t i = 0; i < ring.size(); ++i) vSegments.emplace_back(ring[i], ring[(i + 1) % ring.size()]);
    vGraphs.push_back(dt.createConstraint(vSegments, cis, bOriented));
    return vGraphs.back();
  }
  // The triangles that satisfy the rule.
  TriangleSet where(const std::function<bool(const Triangle2*)>& rule) {
    std::vector<Triangle2*> v;
    dt.getTrianglePointers(v);
    TriangleSet s;
    std::copy_if(v.begin(), v.end(), std::inserter(s, s.end()), rule);
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

std::string warned(const std::string& where, const std::string& msg) { return "\n" + warningLine(where, msg) + "\n\n"; }

// Every way to make a zone of a square, checked against the geometry, also after points are
// inserted inside, outside and on the ring and vertices are removed.
TEST(Zones, SquareZonesFollowTheGeometryThroughInsertionsAndRemovals) {
  using Make = std::function<Zone2*(Zarn_2D&, ConstraintGraph2*)>;
  const auto byLocation = [](ZoneLocation zl) { return Make([zl](Zarn_2D& dt, ConstraintGraph2* pG) { return dt.createZone(pG, zl); }); };
  const Make grow([](Zarn_2D& dt, ConstraintGraph2* pG) { return dt.createZone(pG, ZL_GROW, Point2(475, 475)); });
  const Make fromTriangles([](Zarn_2D& dt, ConstraintGraph2* pG) {
    std::vector<Triangle2*> v;
    dt.createZone(pG, ZL_INSIDE)->getTriangles(v);
    return dt.createZone(v);
  });
  const Make converted([](Zarn_2D& dt, ConstraintGraph2* pG) { return dt.createZone(pG, ZL_INSIDE)->convertToBoundedZone(); });
  const struct {
    const char* name;
    bool bClockwise;  // the ring is given clockwise: its left side is the outside
    Make make;
    int expected;  // 1: the square's inside, 0: its outside, 2: everything
    ZoneLocation zoneLoc;
  } aCases[] = {
      {"ccw inside", false, byLocation(ZL_INSIDE), 1, ZL_INSIDE},  {"ccw bounded", false, byLocation(ZL_BOUNDED), 1, ZL_BOUNDED},
      {"ccw outside", false, byLocation(ZL_OUTSIDE), 0, ZL_OUTSIDE}, {"cw inside", true, byLocation(ZL_INSIDE), 0, ZL_INSIDE},
      {"cw outside", true, byLocation(ZL_OUTSIDE), 1, ZL_OUTSIDE},  {"grow", false, grow, 1, ZL_GROW},
      {"grow, cw ring", true, grow, 1, ZL_GROW},                     {"global", false, byLocation(ZL_GLOBAL), 2, ZL_GLOBAL},
      {"from triangles", false, fromTriangles, 1, ZL_BOUNDED},       {"converted", false, converted, 1, ZL_BOUNDED},
  };
  for (const auto& c : aCases) {
    SCOPED_TRACE(c.name);
    Scene scene(600);
    const Ring ccw(square(250.5, 300, 700, 650.25));
    Ring ring(ccw);
    if (c.bClockwise) std::reverse(ring.begin(), ring.end());
    Zone2* pZone(c.make(scene.dt, c.expected == 2 ? nullptr : scene.addRing(ring)));
    ASSERT_NE(pZone, nullptr);
    EXPECT_EQ(pZone->getZoneLocation(), c.zoneLoc);
    const auto rule = [&](const Triangle2* pT) { return c.expected == 2 || int(insideOf(ccw)(pT)) == c.expected; };
    EXPECT_EQ(trianglesOf(pZone), scene.where(rule));
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

TEST(Zones, SetOperationsMatchSetAlgebraAndRefuseNullAndForeignOperands) {
  Scene scene(1500, 13);
  Zone2* pA(scene.dt.createZone(scene.addRing(square(100, 100, 600, 700)), ZL_INSIDE));
  Zone2* pB(scene.dt.createZone(scene.addRing({Point2(300, 50), Point2(950, 400), Point2(400, 950)}), ZL_INSIDE));
  const struct {
    Zone2* (*op)(Zone2*, Zone2*);
    ZoneLocation zoneLoc;
    bool (*member)(bool, bool);  // is a triangle in the result, given whether it is in the operands
  } aCases[] = {{zoneUnion, ZL_RESULT_UNION, [](bool x, bool y) { return x || y; }},
                {zoneIntersection, ZL_RESULT_INTERSECTION, [](bool x, bool y) { return x && y; }},
                {zoneDifference, ZL_RESULT_DIFFERENCE, [](bool x, bool y) { return x && !y; }},
                {zoneSymmetricDifference, ZL_RESULT_SYMMETRIC_DIFFERENCE, [](bool x, bool y) { return x != y; }}};
  for (int round = 0; round < 2; ++round) {  // the results follow a later insertion
    for (const auto& c : aCases) {
      for (const std::pair<Zone2*, Zone2*>& operands : {std::make_pair(pA, pB), std::make_pair(pB, pA), std::make_pair(pA, pA)}) {
        Zone2* pResult(c.op(operands.first, operands.second));
        ASSERT_NE(pResult, nullptr);  // also for an empty result
        EXPECT_EQ(pResult->getZoneLocation(), c.zoneLoc);
        const TriangleSet first(trianglesOf(operands.first)), second(trianglesOf(operands.second));
        EXPECT_EQ(trianglesOf(pResult), scene.where([&](const Triangle2* pT) { return c.member(first.count(pT) > 0, second.count(pT) > 0); }));
      }
    }
    scene.dt.insert(randomPoints(200, 17 + round, 0.0, 1000.0));
  }
  Scene other(50);
  Zone2* pForeign(other.dt.createZone(nullptr, ZL_GLOBAL));
  const std::string kForeign("The zones must belong to the same triangulation! Returning NULL");
  Zone2* pResult(pA);
  EXPECT_EQ(captureStdout([&] { pResult = zoneUnion(pA, pForeign); }), warned("Zone2::zoneUnion(...)", kForeign));
  EXPECT_EQ(pResult, nullptr);
  for (const auto& c : aCases) {
    if (c.op == zoneUnion) continue;
    EXPECT_EQ(captureStdout([&] { pResult = c.op(pForeign, pA); }), warned("zoneUnion(...)", kForeign));
    EXPECT_EQ(pResult, nullptr);
    EXPECT_EQ(countLinesContaining(captureStdout([&] { pResult = c.op(pA, nullptr); }), "NULL"), 1u);
    EXPECT_EQ(pResult, nullptr);
  }
}

// Two squares touching at a corner are two components, two sharing a side are one; the
// components partition the zone and are bounded zones.
TEST(Zones, ComponentsAreEdgeConnected) {
  Scene scene(800, 29);
  Zone2* pTouching(scene.dt.createZone({scene.addRing(square(100, 100, 400, 400)), scene.addRing(square(400, 400, 800, 700))}, ZL_INSIDE));
  Zone2* pSharing(scene.dt.createZone({scene.addRing(square(500, 100, 700, 300)), scene.addRing(square(700, 100, 900, 300))}, ZL_INSIDE));
  for (const std::pair<Zone2*, size_t>& c : {std::make_pair(pTouching, size_t(2)), std::make_pair(pSharing, size_t(1))}) {
    std::vector<Zone2*> vComponents(1, nullptr);  // appended to
    c.first->getComponents(vComponents);
    ASSERT_EQ(vComponents.size(), c.second + 1);
    TriangleSet united;
    for (size_t i = 1; i < vComponents.size(); ++i) {
      EXPECT_EQ(vComponents[i]->getZoneLocation(), ZL_BOUNDED);
      const TriangleSet part(trianglesOf(vComponents[i]));
      united.insert(part.begin(), part.end());
    }
    EXPECT_EQ(united, trianglesOf(c.first));
  }
}

struct CentroidLeftOf : UserPredicateT {
  double x;
  explicit CentroidLeftOf(double x) : x(x) {}
  size_t numCalls = 0;
  bool operator()(const Triangle2* pT) override {
    ++numCalls;
    return pT->getBarycenter().x() < x;
  }
};

// Peeling to a fixed point: every peeled triangle qualifies, no border triangle of the rest does;
// peeling everything gives null and a warning (unless quiet).
TEST(Zones, PeelOffIfReachesAFixedPoint) {
  Scene scene(1000, 31);
  Zone2* pZone(scene.dt.createZone(scene.addRing(square(100, 100, 900, 900)), ZL_INSIDE));
  CentroidLeftOf leftHalf(500);
  Zone2* pRest(pZone->peelOffIf(&leftHalf));
  ASSERT_NE(pRest, nullptr);
  const TriangleSet rest(trianglesOf(pRest));
  EXPECT_LE(leftHalf.numCalls, trianglesOf(pZone).size());  // each triangle asked once at most
  for (const Triangle2* pT : trianglesOf(pZone)) EXPECT_TRUE(rest.count(pT) > 0 || pT->getBarycenter().x() < 500);
  std::vector<Edge2> vBorder;
  pRest->getBorderEdges(vBorder);
  for (const Edge2& e : vBorder) EXPECT_GE(e.getTriangle()->getBarycenter().x(), 500) << "a qualifying triangle was left at the border";
  CentroidLeftOf everything(2000);
  Zone2* pNone(pZone);
  EXPECT_EQ(captureStdout([&] { pNone = pZone->peelOffIf(&everything); }), warned("Zone2::peelOffIf()", "No triangles left, returning NULL"));
  EXPECT_EQ(pNone, nullptr);
  EXPECT_EQ(captureStdout([&] { pNone = pZone->peelOffIf(&everything, false); }), "");
}

// createDomainZone: the triangles enclosed by the (unoriented) rings minus the holes, for both
// insertion strategies; a hole point outside the triangulation is ignored, open segments enclose
// nothing.
TEST(Zones, DomainZoneIsTheRingMinusItsHole) {
  for (unsigned seed = 1; seed <= 2; ++seed) {
    Scene scene(800, seed);
    const Ring outer(square(200, 200, 800, 800)), hole(square(400, 400, 600, 600));
    const ConstraintInsertionStrategy cis(seed % 2 == 0 ? CIS_CONFORMING_DELAUNAY : CIS_CONSTRAINED_DELAUNAY);
    Zone2* pDomain(nullptr);
    captureStdout([&] { pDomain = createDomainZone(scene.dt, {scene.addRing(outer, cis, false), scene.addRing(hole, cis, false)}, {Point2(500, 500), Point2(5000, 5000)}); });
    ASSERT_NE(pDomain, nullptr);
    ASSERT_TRUE(libraryCheckValidity(scene.dt));
    EXPECT_EQ(trianglesOf(pDomain), scene.where([&](const Triangle2* pT) { return insideOf(outer)(pT) && !insideOf(hole)(pT); })) << seed;
  }
  Scene scene(100, 3);
  std::vector<Segment2> vOpen{Segment2(Point2(100, 100), Point2(900, 900))};
  Zone2* pOpen(nullptr);
  captureStdout([&] { pOpen = createDomainZone(scene.dt, {scene.dt.createConstraint(vOpen, CIS_CONSTRAINED_DELAUNAY)}, {}); });
  ASSERT_NE(pOpen, nullptr);
  EXPECT_EQ(pOpen->getNumberOfTriangles(), 0u);
}

// Boundary edges: exactly the zone triangles' edges to non-zone triangles or the hull, each seen
// from the zone triangle; the vertices, box, area and statistics are those of the triangles.
TEST(Zones, BoundaryVerticesAndBoxAgreeWithTheTriangles) {
  Scene scene(600, 37);
  Zone2* pZone(scene.dt.createZone(scene.addRing(square(200, 100, 1100, 600)), ZL_INSIDE));  // beyond the points: hull edges too
  const TriangleSet zone(trianglesOf(pZone));
  std::set<std::pair<const Triangle2*, int>> expectedEdges, edges;
  std::set<const Point2*> expectedVertices;
  Bbox2 expectedBox;
  double expectedArea(0.0);
  for (const Triangle2* pT : zone) {
    expectedArea += pT->getArea2D();
    for (int i = 0; i < 3; ++i) {
      if (zone.count(pT->getOppositeTriangle(i)) == 0) expectedEdges.emplace(pT, i);
      expectedVertices.insert(pT->getCorner(i));
      expectedBox.add(*pT->getCorner(i));
    }
  }
  std::vector<Edge2> vEdges;
  pZone->getBoundaryEdges(vEdges);
  for (const Edge2& e : vEdges) edges.emplace(e.getTriangle(), e.getIndex());
  EXPECT_EQ(edges, expectedEdges);
  EXPECT_EQ(edges.size(), vEdges.size());
  std::vector<Segment2> vSegments;
  pZone->getBoundarySegments(vSegments);
  ASSERT_EQ(vSegments.size(), vEdges.size());
  EXPECT_TRUE(sameXY(vSegments[0].getSrc(), *vEdges[0].getSrc()) && sameXY(vSegments[0].getTrg(), *vEdges[0].getTrg()));
  std::vector<Point2*> vVertices;
  pZone->getVertices(vVertices);
  EXPECT_EQ(std::set<const Point2*>(vVertices.begin(), vVertices.end()), expectedVertices);
  EXPECT_EQ(vVertices.size(), expectedVertices.size());
  EXPECT_EQ(pZone->getBoundingBox().getRangeX(), expectedBox.getRangeX());
  EXPECT_EQ(pZone->getNumberOfTriangles(), zone.size());
  EXPECT_NEAR(pZone->getArea2D(), expectedArea, 1e-9 * expectedArea);
  const std::string stats(captureStdout([&] { pZone->statistics("square"); }));
  EXPECT_EQ(stats.rfind("\n\n\n********* ZONE STATISTICS (square) **********\n\n", 0), 0u);
  EXPECT_NE(stats.find("triangles:         " + std::to_string(zone.size()) + "\n"), std::string::npos);
}

TEST(Zones, WrongArgumentsGiveTheirMessagesAndNull) {
  Scene scene(100);
  std::vector<Segment2> vOpen{Segment2(Point2(10, 10), Point2(900, 20))};
  ConstraintGraph2* pUndirected(scene.dt.createConstraint(vOpen, CIS_CONSTRAINED_DELAUNAY, false));
  ConstraintGraph2* pRing(scene.addRing(square(100, 100, 300, 300)));
  const std::vector<ConstraintGraph2*> vRing{pRing};
  Zarn_2D flat;
  flat.insert(std::vector<Point2>{Point2(0, 0), Point2(1, 1)});
  const std::string kNoZone(warningLine("Zarn_2D::createZone(..)", "No zone created, returning NULL (bVerbose==true)"));
  const std::string kOnlyGrow("This overloaded version of createZone accepts only ZL_GROW as zoneLocation. Returning NULL");
  const Point2 start(150, 150);
  const struct {
    std::function<Zone2*()> create;
    std::string msg;
  } aCases[] = {
      {[&] { return scene.dt.createZone(nullptr, ZL_INSIDE); }, "pConstraintGraph==NULL, but zoneLoc!=ZL_GLOBAL or ZL_RESULT. Returning NULL"},
      {[&] { return scene.dt.createZone(pUndirected, ZL_INSIDE); }, "The constraint graph is not oriented, returning NULL"},
      {[&] { return flat.createZone(nullptr, ZL_GLOBAL); }, "called on a triangulation which has no triangles yet. Returning NULL"},
      {[&] { return scene.dt.createZone(pRing, ZL_INSIDE, start); }, kOnlyGrow},
      {[&] { return scene.dt.createZone(vRing, ZL_OUTSIDE, start); }, kOnlyGrow},
      {[&] { return scene.dt.createZone(vRing, ZL_BOUNDED); },
       "This overloaded version of createZone accepts only ZL_INSIDE and ZL_OUTSIDE as zoneLocation. Returning NULL"},
  };
  for (const auto& c : aCases) {
    Zone2* pZone(reinterpret_cast<Zone2*>(&scene));
    EXPECT_EQ(captureStdout([&] { pZone = c.create(); }), warned("Dt::createZone()", c.msg) + "\n" + kNoZone + "\n\n");
    EXPECT_EQ(pZone, nullptr);
  }
  EXPECT_EQ(captureStdout([&] { EXPECT_EQ(scene.dt.createZone(nullptr, ZL_INSIDE, false), nullptr); }), "");
  // A start point outside the triangulation: a zone, without triangles and with a warning.
  Zone2* pOutside(scene.dt.createZone(pRing, ZL_GROW, Point2(5000, 5000)));
  ASSERT_NE(pOutside, nullptr);
  std::vector<Triangle2*> vTriangles;
  EXPECT_EQ(captureStdout([&] { pOutside->getTriangles(vTriangles); }), warned("Dt2::growZoneArea()", "pStartT==NULL, no triangles"));
  EXPECT_TRUE(vTriangles.empty());
  const std::string out(captureStdout([&] { EXPECT_EQ(pOutside->convertToBoundedZone(), nullptr); }));
  EXPECT_NE(out.find(warningLine("Zone2::convertToBoundedZone()", "No triangles available, returning NULL")), std::string::npos) << out;
}

// Deleting a zone keeps it while a set operation's zone uses it and refuses strangers; writeObj
// of a zone writes its triangles only, and the zone's picture fills them.
TEST(Zones, DeletionAndExports) {
  Scene scene(300, 41), other(10);
  Zone2* pA(scene.dt.createZone(nullptr, ZL_GLOBAL));
  Zone2* pB(scene.dt.createZone(scene.addRing(square(100, 100, 600, 600)), ZL_OUTSIDE));
  Zone2* pInside(scene.dt.createZone(scene.vGraphs[0], ZL_INSIDE));
  Zone2* pDiff(zoneDifference(pA, pB));
  const std::string kNonExisting(warned("Dt2::deleteZone(..)", "trying to delete a non-existing zone"));
  EXPECT_EQ(captureStdout([&] { scene.dt.deleteZone(pB); }),
            warned("Dt2::deleteZone(..)", "the zone is an operand of a set operation's zone; delete that zone first"));
  EXPECT_EQ(trianglesOf(pDiff), trianglesOf(pInside));
  EXPECT_EQ(captureStdout([&] { other.dt.deleteZone(pA); }), kNonExisting);
  EXPECT_EQ(captureStdout([&] {
              scene.dt.deleteZone(pDiff);
              scene.dt.deleteZone(pB);
              scene.dt.deleteZone(pA);
            }),
            "");
  EXPECT_EQ(captureStdout([&] { scene.dt.deleteZone(pA); }), kNonExisting);
  const std::string file(::testing::TempDir() + "zone.obj"), svgFile(::testing::TempDir() + "zone.svg");
  const size_t numInside(trianglesOf(pInside).size());
  scene.dt.writeObj(file, pInside);
  const std::string obj(zarn_test::readFile(file));
  EXPECT_EQ(countLinesContaining(obj, "f "), numInside);
  EXPECT_EQ(captureStdout([&] { other.dt.writeObj(file, pInside); }),
            warned("Dt2::writeObj()", "The zone does not belong to this triangulation, nothing written"));
  EXPECT_EQ(zarn_test::readFile(file), obj);
  pInside->show(svgFile, true, false);  // every triangle outlined, the zone's filled (a fill and an outline each)
  const std::string svg(zarn_test::readFile(svgFile));
  EXPECT_EQ(countLinesContaining(svg, "<polygon"), scene.where([](const Triangle2*) { return true; }).size() + 2 * numInside);
  EXPECT_EQ(countLinesContaining(svg, "<polygon") - countLinesContaining(svg, "fill=\"none\""), numInside);
}

}  // namespace
