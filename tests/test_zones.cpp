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
  ConstraintGraph2* addRing(const Ring& ring, ConstraintInsertionStrategy cis = CIS_CONSTRAINED_DELAUNAY, bool bOriented = true) {
    std::vector<Segment2> vSegments;
    for (size_t i = 0; i < ring.size(); ++i) vSegments.emplace_back(ring[i], ring[(i + 1) % ring.size()]);
    vGraphs.push_back(dt.createConstraint(vSegments, cis, bOriented));
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
      {"grow, cw ring", true, ZL_GROW, true},     {"global", false, ZL_GLOBAL, true},
  };
  for (const SquareCase& c : aCases) {
    SCOPED_TRACE(c.name);
    Scene scene(600);
    const Ring ccw(square(250.5, 300, 700, 650.25));
    ConstraintGraph2* pGraph(scene.addRing(c.bClockwise ? reversed(ccw) : ccw));
    Zone2* pZone(c.zoneLoc == ZL_GROW     ? scene.dt.createZone(pGraph, ZL_GROW, Point2(475, 475))
                 : c.zoneLoc == ZL_GLOBAL ? scene.dt.createZone(nullptr, ZL_GLOBAL)
                                          : scene.dt.createZone(pGraph, c.zoneLoc));
    ASSERT_NE(pZone, nullptr);
    const auto rule = [&](const Triangle2* pT) { return c.zoneLoc == ZL_GLOBAL || insideOf(ccw)(pT) == c.bExpectInside; };
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

// ----- Set operations ----------------------------------------------------------------------

TEST(Zones, SetOperationsMatchSetAlgebra) {
  Scene scene(1500, 13);
  Zone2* pA(scene.dt.createZone(scene.addRing(square(100, 100, 600, 700)), ZL_INSIDE));
  Zone2* pB(scene.dt.createZone(scene.addRing({Point2(300, 50), Point2(950, 400), Point2(400, 950)}), ZL_INSIDE));
  struct Case {
    Zone2* (*op)(Zone2*, Zone2*);
    ZoneLocation zoneLoc;
    bool (*member)(bool, bool);  // is a triangle in the result, given whether it is in the operands
  };
  const Case aCases[] = {{zoneUnion, ZL_RESULT_UNION, [](bool x, bool y) { return x || y; }},
                         {zoneIntersection, ZL_RESULT_INTERSECTION, [](bool x, bool y) { return x && y; }},
                         {zoneDifference, ZL_RESULT_DIFFERENCE, [](bool x, bool y) { return x && !y; }},
                         {zoneSymmetricDifference, ZL_RESULT_SYMMETRIC_DIFFERENCE, [](bool x, bool y) { return x != y; }}};
  for (int round = 0; round < 2; ++round) {  // the results follow a later insertion
    for (const Case& c : aCases) {
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
}

TEST(Zones, SetOperationsRefuseNullAndForeignOperands) {
  Scene scene(50), other(50);
  Zone2* pZone(scene.dt.createZone(nullptr, ZL_GLOBAL));
  Zone2* pForeign(other.dt.createZone(nullptr, ZL_GLOBAL));
  const std::string kForeign("The zones must belong to the same triangulation! Returning NULL");
  Zone2* pResult(pZone);
  EXPECT_EQ(captureStdout([&] { pResult = zoneUnion(pZone, pForeign); }), "\n" + warningLine("Zone2::zoneUnion(...)", kForeign) + "\n\n");
  EXPECT_EQ(pResult, nullptr);
  for (Zone2* (*op)(Zone2*, Zone2*) : {zoneIntersection, zoneDifference, zoneSymmetricDifference}) {
    EXPECT_EQ(captureStdout([&] { pResult = op(pForeign, pZone); }), "\n" + warningLine("zoneUnion(...)", kForeign) + "\n\n");
    EXPECT_EQ(pResult, nullptr);
    EXPECT_EQ(countLinesContaining(captureStdout([&] { pResult = op(pZone, nullptr); }), "NULL"), 1u);
    EXPECT_EQ(pResult, nullptr);
  }
}

// ----- Zones made from triangles, components, peeling -------------------------------------

// A set of triangles becomes a ZL_BOUNDED zone; it keeps describing the same region when points
// are inserted into it later (its border is a constraint graph now).
TEST(Zones, BoundedZonesOfTrianglesFollowInsertions) {
  Scene scene(800, 21);
  const Ring ring({Point2(150, 200), Point2(800, 120), Point2(700, 820), Point2(300, 600)});
  Zone2* pInside(scene.dt.createZone(scene.addRing(ring), ZL_INSIDE));
  std::vector<Triangle2*> vTriangles;
  pInside->getTriangles(vTriangles);
  Zone2* pFromTriangles(scene.dt.createZone(vTriangles));
  Zone2* pConverted(pInside->convertToBoundedZone());
  for (Zone2* pZone : {pFromTriangles, pConverted}) {
    ASSERT_NE(pZone, nullptr);
    EXPECT_EQ(pZone->getZoneLocation(), ZL_BOUNDED);
    EXPECT_EQ(trianglesOf(pZone), trianglesOf(pInside));
  }
  scene.dt.insert(randomPoints(500, 23, 0.0, 1000.0));
  ASSERT_TRUE(libraryCheckValidity(scene.dt));
  for (Zone2* pZone : {pFromTriangles, pConverted}) EXPECT_EQ(trianglesOf(pZone), scene.where(insideOf(ring)));
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
  size_t numCalls = 0;
  explicit CentroidLeftOf(double x) : x(x) {}
  bool operator()(const Triangle2* pT) override {
    ++numCalls;
    return pT->getBarycenter().x() < x;
  }
};

// Peeling to a fixed point: every peeled triangle qualifies, no border triangle of the rest does,
// the rest is edge-connected to the zone's interior; peeling everything gives null and a warning.
TEST(Zones, PeelOffIfReachesAFixedPoint) {
  Scene scene(1000, 31);
  Zone2* pZone(scene.dt.createZone(scene.addRing(square(100, 100, 900, 900)), ZL_INSIDE));
  const TriangleSet zone(trianglesOf(pZone));
  CentroidLeftOf leftHalf(500);
  Zone2* pRest(pZone->peelOffIf(&leftHalf));
  ASSERT_NE(pRest, nullptr);
  EXPECT_LE(leftHalf.numCalls, zone.size());
  const TriangleSet rest(trianglesOf(pRest));
  for (const Triangle2* pT : zone) {
    if (rest.count(pT) == 0) {
      EXPECT_LT(pT->getBarycenter().x(), 500);
    }
  }
  std::vector<Edge2> vBorder;
  pRest->getBorderEdges(vBorder);
  for (const Edge2& e : vBorder) EXPECT_GE(e.getTriangle()->getBarycenter().x(), 500) << "a qualifying triangle was left at the border";
  CentroidLeftOf everything(2000);
  Zone2* pNone(pZone);
  EXPECT_EQ(captureStdout([&] { pNone = pZone->peelOffIf(&everything); }), "\n" + warningLine("Zone2::peelOffIf()", "No triangles left, returning NULL") + "\n\n");
  EXPECT_EQ(pNone, nullptr);
  EXPECT_EQ(captureStdout([&] { pNone = pZone->peelOffIf(&everything, false); }), "");
}

// createDomainZone: the triangles enclosed by the (unoriented) rings minus the holes, for both
// insertion strategies; a hole point outside the triangulation is ignored, open segments enclose
// nothing.
TEST(Zones, DomainZoneIsTheRingMinusItsHole) {
  for (unsigned seed = 1; seed <= 4; ++seed) {
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

// ----- Figures of a zone -------------------------------------------------------------------

// Boundary edges: exactly the zone triangles' edges to non-zone triangles or the hull, each seen
// from the zone triangle; the vertices and the box are those of the triangles.
TEST(Zones, BoundaryVerticesAndBoxAgreeWithTheTriangles) {
  Scene scene(600, 37);
  const Ring ring(square(200, 100, 1100, 600));  // reaches beyond the points: hull edges on the boundary
  Zone2* pZone(scene.dt.createZone(scene.addRing(ring), ZL_INSIDE));
  const TriangleSet zone(trianglesOf(pZone));
  std::set<std::pair<const Triangle2*, int>> expectedEdges;
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
  std::set<std::pair<const Triangle2*, int>> edges;
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

// ----- Wrong use ----------------------------------------------------------------------------

TEST(Zones, WrongArgumentsGiveTheirMessagesAndNull) {
  Scene scene(100);
  std::vector<Segment2> vOpen{Segment2(Point2(10, 10), Point2(900, 20))};
  ConstraintGraph2* pUndirected(scene.dt.createConstraint(vOpen, CIS_CONSTRAINED_DELAUNAY, false));
  ConstraintGraph2* pRing(scene.addRing(square(100, 100, 300, 300)));
  Zarn_2D flat;
  flat.insert(std::vector<Point2>{Point2(0, 0), Point2(1, 1)});
  const std::string kNoZone(warningLine("Zarn_2D::createZone(..)", "No zone created, returning NULL (bVerbose==true)"));
  struct Case {
    std::function<Zone2*()> create;
    std::string msg;
  };
  const Point2 start(150, 150);
  const Case aCases[] = {
      {[&] { return scene.dt.createZone(nullptr, ZL_INSIDE); }, "pConstraintGraph==NULL, but zoneLoc!=ZL_GLOBAL or ZL_RESULT. Returning NULL"},
      {[&] { return scene.dt.createZone(pUndirected, ZL_INSIDE); }, "The constraint graph is not oriented, returning NULL"},
      {[&] { return flat.createZone(nullptr, ZL_GLOBAL); }, "called on a triangulation which has no triangles yet. Returning NULL"},
      {[&] { return scene.dt.createZone(pRing, ZL_INSIDE, start); }, "This overloaded version of createZone accepts only ZL_GROW as zoneLocation. Returning NULL"},
      {[&] { return scene.dt.createZone(std::vector<ConstraintGraph2*>{pRing}, ZL_OUTSIDE, start); },
       "This overloaded version of createZone accepts only ZL_GROW as zoneLocation. Returning NULL"},
      {[&] { return scene.dt.createZone(std::vector<ConstraintGraph2*>{pRing}, ZL_BOUNDED); },
       "This overloaded version of createZone accepts only ZL_INSIDE and ZL_OUTSIDE as zoneLocation. Returning NULL"},
  };
  for (const Case& c : aCases) {
    Zone2* pZone(reinterpret_cast<Zone2*>(&scene));
    EXPECT_EQ(captureStdout([&] { pZone = c.create(); }), "\n" + warningLine("Dt::createZone()", c.msg) + "\n\n\n" + kNoZone + "\n\n");
    EXPECT_EQ(pZone, nullptr);
  }
  EXPECT_EQ(captureStdout([&] { EXPECT_EQ(scene.dt.createZone(nullptr, ZL_INSIDE, false), nullptr); }), "");
  // A start point outside the triangulation: a zone, without triangles and with a warning.
  Zone2* pOutside(scene.dt.createZone(pRing, ZL_GROW, Point2(5000, 5000)));
  ASSERT_NE(pOutside, nullptr);
  std::vector<Triangle2*> vTriangles;
  EXPECT_EQ(captureStdout([&] { pOutside->getTriangles(vTriangles); }), "\n" + warningLine("Dt2::growZoneArea()", "pStartT==NULL, no triangles") + "\n\n");
  EXPECT_TRUE(vTriangles.empty());
}

TEST(Zones, DeletionKeepsOperandsAndRefusesStrangers) {
  Scene scene(100), other(100);
  Zone2* pA(scene.dt.createZone(nullptr, ZL_GLOBAL));
  Zone2* pB(scene.dt.createZone(scene.addRing(square(100, 100, 300, 300)), ZL_OUTSIDE));
  Zone2* pDiff(zoneDifference(pA, pB));
  const std::string kOperand(warningLine("Dt2::deleteZone(..)", "the zone is an operand of a set operation's zone; delete that zone first"));
  EXPECT_EQ(captureStdout([&] { scene.dt.deleteZone(pB); }), "\n" + kOperand + "\n\n");
  EXPECT_EQ(trianglesOf(pDiff).size(), trianglesOf(scene.dt.createZone(scene.vGraphs[0], ZL_INSIDE)).size());
  EXPECT_EQ(captureStdout([&] { other.dt.deleteZone(pA); }), "\n" + warningLine("Dt2::deleteZone(..)", "trying to delete a non-existing zone") + "\n\n");
  EXPECT_EQ(captureStdout([&] {
              scene.dt.deleteZone(pDiff);
              scene.dt.deleteZone(pB);
              scene.dt.deleteZone(pA);
            }),
            "");
  EXPECT_EQ(captureStdout([&] { scene.dt.deleteZone(pA); }), "\n" + warningLine("Dt2::deleteZone(..)", "trying to delete a non-existing zone") + "\n\n");
}

TEST(Zones, ExportsWriteTheZoneOnly) {
  Scene scene(300, 41);
  Zone2* pZone(scene.dt.createZone(scene.addRing(square(100, 100, 600, 600)), ZL_INSIDE));
  const std::string file(::testing::TempDir() + "zone.obj");
  scene.dt.writeObj(file, pZone);
  const std::string obj(zarn_test::readFile(file));
  EXPECT_EQ(countLinesContaining(obj, "f "), trianglesOf(pZone).size());
  Scene other(10);
  EXPECT_EQ(captureStdout([&] { other.dt.writeObj(file, pZone); }),
            "\n" + warningLine("Dt2::writeObj()", "The zone does not belong to this triangulation, nothing written") + "\n\n");
  EXPECT_EQ(zarn_test::readFile(file), obj);
  // The picture: every triangle outlined, the zone's filled (a fill and an outline each).
  const std::string svgFile(::testing::TempDir() + "zone.svg");
  pZone->show(svgFile, true, false);
  const std::string svg(zarn_test::readFile(svgFile));
  EXPECT_EQ(countLinesContaining(svg, "<polygon"), scene.all().size() + 2 * trianglesOf(pZone).size());
  EXPECT_EQ(countLinesContaining(svg, "<polygon") - countLinesContaining(svg, "fill=\"none\""), trianglesOf(pZone).size());
}

}  // namespace
