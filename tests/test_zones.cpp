// Zones: the triangles of every rule compared with what the geometry says (exact winding numbers
// at the centroids), through later insertions and removals; set operations against std::set
// algebra; components, peeling, borders and the polygon utilities on them; unifying grid diagonals;
// the messages of wrong use.
#include <unistd.h>

#include <filesystem>
#include <tuple>

#include "cdt_test_support.h"
#include "test_support.h"
#include "zone_test_support.h"

namespace {

using namespace KORA_ZARN2D;
using namespace dt2test;
using namespace zonetest;
using zarn_test::captureStdout;
using zarn_test::countOf;
using zarn_test::outputOfCall;
using Ring = std::vector<Point2>;

// A triangulation of random integer points in [0, 1000)^2 with rings added as constraint graphs.
struct Scene {
  Zarn_2D dt;
  explicit Scene(size_t numPoints, unsigned seed = 7) {
    std::vector<Point2> vPoints(randomPoints(numPoints, seed, 0.0, 1000.0));
    for (Point2& p : vPoints) p = Point2(std::floor(p.x()), std::floor(p.y()));
    dt.insert(vPoints);
  }
  ConstraintGraph2* addRing(const Ring& corners, ConstraintInsertionStrategy cis = CIS_CONSTRAINED_DELAUNAY, bool bOriented = true) {
    std::vector<Segment2> vSegments(ring(corners));
    return dt.createConstraint(vSegments, cis, bOriented);
  }
};

// Two random star polygons (fixed seeds, the first given clockwise in every other round) over
// random points: every way to make a zone of one, the domain zone of both with a hole point and
// the set operations agree with the geometry (exact winding numbers at the centroids) and with set
// algebra, also after points are inserted (one on a ring edge) and vertices removed.
TEST(Zones, ZonesOfRandomPolygonsFollowTheGeometryThroughInsertionsAndRemovals) {
  for (unsigned seed = 1; seed <= 4; ++seed) {
    SCOPED_TRACE(seed);
    Scene scene(600, seed);
    const Ring a(randomStar(9, 100, 700, seed)), b(randomStar(7, 350, 950, seed + 10));
    const bool bClockwise(seed % 2 == 0);  // then the left side of ring a is its outside
    ConstraintGraph2* pA(scene.addRing(bClockwise ? Ring(a.rbegin(), a.rend()) : a));
    ConstraintGraph2* pB(scene.addRing(b, seed < 3 ? CIS_CONSTRAINED_DELAUNAY : CIS_CONFORMING_DELAUNAY));
    std::map<const Triangle2*, int> mIn;  // per triangle: 1 inside a, 2 inside b (cleared after each change)
    const auto in = [&](const Triangle2* pT) {
      const auto it(mIn.find(pT));
      return it != mIn.end() ? it->second : (mIn[pT] = int(insideOf(a)(pT)) + 2 * int(insideOf(b)(pT)));
    };
    const Rule inA([&](const Triangle2* pT) { return (in(pT) & 1) != 0; }), inB([&](const Triangle2* pT) { return in(pT) >= 2; });
    const bool bHoleInA(inA(scene.dt.locate(Point2(650, 650))));
    const Rule inBCellOfHole([&](const Triangle2* pT) { return inB(pT) && inA(pT) == bHoleInA; });
    Zone2* pInA(scene.dt.createZone(pA, bClockwise ? ZL_OUTSIDE : ZL_INSIDE));
    Zone2* pInB(scene.dt.createZone(pB, ZL_INSIDE));
    std::vector<Triangle2*> vInA(trianglesOf(pInA));
    std::vector<std::tuple<Zone2*, Rule, ZoneLocation>> vZones{
        {pInA, inA, bClockwise ? ZL_OUTSIDE : ZL_INSIDE},
        {scene.dt.createZone(pA, bClockwise ? ZL_INSIDE : ZL_OUTSIDE), [&](const Triangle2* pT) { return !inA(pT); }, bClockwise ? ZL_INSIDE : ZL_OUTSIDE},
        {scene.dt.createZone(pB, ZL_BOUNDED), inB, ZL_BOUNDED},
        {scene.dt.createZone(pA, ZL_GROW, Point2(400, 400)), inA, ZL_GROW},
        {scene.dt.createZone(nullptr, ZL_GLOBAL), [](const Triangle2*) { return true; }, ZL_GLOBAL},
        {scene.dt.createZone(vInA), inA, ZL_BOUNDED},
        {pInA->convertToBoundedZone(), inA, ZL_BOUNDED}};
    // The domain follows removals that shrink the hull (it once kept its outside start points).
    Zone2* pDomain(nullptr);
    captureStdout([&] { pDomain = createDomainZone(scene.dt, {pA, pB}, {Point2(650, 650), Point2(5000, 5000)}); });
    vZones.emplace_back(pDomain, [&](const Triangle2* pT) { return (inA(pT) || inB(pT)) && !inBCellOfHole(pT); }, ZL_RESULT_DIFFERENCE);
    const struct {
      Zone2* (*op)(Zone2*, Zone2*);
      ZoneLocation zoneLoc;
      std::function<bool(bool, bool)> member;  // is a triangle in the result, given whether it is in the operands
    } aOps[] = {{zoneUnion, ZL_RESULT_UNION, std::logical_or<bool>()}, {zoneIntersection, ZL_RESULT_INTERSECTION, std::logical_and<bool>()},
                {zoneDifference, ZL_RESULT_DIFFERENCE, [](bool x, bool y) { return x && !y; }},
                {zoneSymmetricDifference, ZL_RESULT_SYMMETRIC_DIFFERENCE, std::not_equal_to<bool>()}};
    for (const auto& op : aOps) {
      for (const auto& operands : {std::make_pair(pInA, pInB), std::make_pair(pInB, pInA), std::make_pair(pInA, pInA)}) {
        const Rule first(operands.first == pInA ? inA : inB), second(operands.second == pInA ? inA : inB);
        const auto member = [&op, first, second](const Triangle2* pT) { return op.member(first(pT), second(pT)); };
        vZones.emplace_back(op.op(operands.first, operands.second), member, op.zoneLoc);
      }
    }
    for (const bool bLater : {false, true}) {
      for (const auto& zone : vZones) {
        ASSERT_NE(std::get<0>(zone), nullptr);
        EXPECT_EQ(std::get<0>(zone)->getZoneLocation(), std::get<2>(zone));
        EXPECT_TRUE(isZoneOf(std::get<0>(zone), scene.dt, std::get<1>(zone))) << "zone " << &zone - vZones.data() << (bLater ? " later" : "");
      }
      std::vector<Point2> vMore(randomPoints(300, seed + 20, 0.0, 1000.0));
      vMore.push_back(Point2(0.5 * (a[0].x() + a[1].x()), 0.5 * (a[0].y() + a[1].y())));  // on or next to a ring edge
      scene.dt.insert(vMore);
      std::vector<Point2*> vVertices(dt2test::verticesOf(scene.dt));
      captureStdout([&] {  // ring vertices refuse with a warning
        for (size_t i = 0; i < vVertices.size(); i += 17) scene.dt.remove(vVertices[i]);
      });
      ASSERT_TRUE(libraryCheckValidity(scene.dt));
      mIn.clear();
    }
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

// A zone with a hole reaching beyond the hull: its boundary edges are exactly the edges to
// non-zone triangles or the hull, seen from the zone; they chain into two polygons (the outer one
// counterclockwise, the hole clockwise) and an extra edge remains; the vertices, box, area and
// statistics are those of the triangles; the components partition it; peeling reaches a fixed point.
TEST(Zones, BordersComponentsPeelingAndFiguresAgreeWithTheTriangles) {
  Scene scene(800, 37);
  const Ring hole(square(400, 400, 600, 200));  // clockwise
  Zone2* pZone(scene.dt.createZone({scene.addRing(square(200, 100, 1100, 600)), scene.addRing(hole)}, ZL_INSIDE));
  std::vector<Triangle2*> vTriangles(trianglesOf(pZone));
  const TriangleSet zone(setOf(vTriangles));
  std::set<std::pair<const Triangle2*, int>> expectedEdges, edges;
  std::set<const Point2*> expectedVertices;
  for (const Triangle2* pT : zone) {
    for (int i = 0; i < 3; ++i) {
      if (zone.count(pT->getOppositeTriangle(i)) == 0) expectedEdges.emplace(pT, i);
      expectedVertices.insert(pT->getCorner(i));
    }
  }
  std::vector<Edge2> vEdges(gathered<Edge2>([&](auto& v) { pZone->getBorderEdges(v); }));
  for (const Edge2& e : vEdges) edges.emplace(e.getTriangle(), e.getIndex());
  EXPECT_EQ(edges, expectedEdges);
  EXPECT_EQ(edges.size(), vEdges.size());
  const std::vector<Segment2> vSegments(gathered<Segment2>([&](auto& v) { pZone->getBoundarySegments(v); }));
  ASSERT_EQ(vSegments.size(), vEdges.size());
  EXPECT_EQ(gathered<Segment2>([&](auto& v) { getBorders(vTriangles, v); }).size(), vSegments.size());
  for (size_t i = 0; i < vEdges.size(); ++i) EXPECT_TRUE(sameXY(vSegments[i].getSrc(), *vEdges[i].getSrc()) && sameXY(vSegments[i].getTrg(), *vEdges[i].getTrg()));
  std::vector<std::vector<Edge2>> vvPolygons;
  std::vector<Edge2> vRemaining;
  vEdges.push_back(Edge2(vTriangles[vTriangles.size() / 2], 0));
  edgesToPolygons(vEdges, vvPolygons, vRemaining);
  ASSERT_EQ(vvPolygons.size(), 2u);
  EXPECT_EQ(vRemaining, std::vector<Edge2>(1, vEdges.back()));
  std::multiset<int> signs;
  for (const std::vector<Edge2>& vPolygon : vvPolygons) {
    std::vector<Segment2> vRing;
    for (const Edge2& e : vPolygon) vRing.emplace_back(*e.getSrc(), *e.getTrg());
    for (size_t i = 0; i < vPolygon.size(); ++i) EXPECT_EQ(vPolygon[i].getTrg(), vPolygon[(i + 1) % vPolygon.size()].getSrc());
    EXPECT_TRUE(isSimplePolygon(vRing));
    signs.insert(sgn(signedArea2(vRing)));
  }
  EXPECT_EQ(signs, (std::multiset<int>{-1, 1}));
  const std::vector<Point2*> vVertices(gathered<Point2*>([&](auto& v) { pZone->getVertices(v); }));
  EXPECT_EQ(std::set<const Point2*>(vVertices.begin(), vVertices.end()), expectedVertices);
  EXPECT_EQ(vVertices.size(), expectedVertices.size());
  const std::vector<Point2> vPositions(positionsOf(vVertices));
  const Bbox2 box(pZone->getBoundingBox()), vertexBox(vPositions.begin(), vPositions.end());
  EXPECT_TRUE(box.getMinPoint() == vertexBox.getMinPoint() && box.getMaxPoint() == vertexBox.getMaxPoint());
  EXPECT_EQ(pZone->getNumberOfTriangles(), zone.size());
  EXPECT_NEAR(pZone->getArea2D(), cdttest::exactArea(vTriangles).get_d(), 1e-9 * pZone->getArea2D());
  const std::string stats(captureStdout([&] { pZone->statistics("square"); }));
  EXPECT_EQ(stats.rfind("\n\n\n********* ZONE STATISTICS (square) **********\n\n", 0), 0u);
  EXPECT_NE(stats.find("triangles:         " + std::to_string(zone.size()) + "\n"), std::string::npos);
  // The directed edges of the triangles, and each undirected edge once.
  const std::vector<Edge2> vUndirected(gathered<Edge2>([&](auto& v) { getUndirectedEdges(vTriangles, v); }));
  std::set<std::pair<const Point2*, const Point2*>> sUndirected;
  for (const Edge2& e : vUndirected) sUndirected.insert(std::minmax<const Point2*>(e.getSrc(), e.getTrg()));
  EXPECT_EQ(gathered<Edge2>([&](auto& v) { getDirectedEdges(vTriangles, v); }).size(), 3 * vTriangles.size());
  EXPECT_EQ(sUndirected.size(), vUndirected.size());
  EXPECT_EQ(2 * vUndirected.size(), 3 * vTriangles.size() + expectedEdges.size());
  // Two squares touching at a corner are two components, two sharing a side are one; the
  // components are bounded zones that partition the zone.
  Zone2* pTouching(scene.dt.createZone({scene.addRing(square(100, 700, 400, 800)), scene.addRing(square(400, 800, 800, 900))}, ZL_INSIDE));
  Zone2* pSharing(scene.dt.createZone({scene.addRing(square(500, 650, 700, 750)), scene.addRing(square(700, 650, 900, 750))}, ZL_INSIDE));
  for (const std::pair<Zone2*, size_t>& c : {std::make_pair(pTouching, size_t(2)), std::make_pair(pSharing, size_t(1))}) {
    const std::vector<Zone2*> vComponents(gathered<Zone2*>([&](auto& v) { v.push_back(nullptr); c.first->getComponents(v); }));  // appended to
    ASSERT_EQ(vComponents.size(), c.second + 1);
    TriangleSet united;
    for (size_t i = 1; i < vComponents.size(); ++i) {
      EXPECT_EQ(vComponents[i]->getZoneLocation(), ZL_BOUNDED);
      for (const Triangle2* pT : trianglesOf(vComponents[i])) EXPECT_TRUE(united.insert(pT).second);
    }
    EXPECT_EQ(united, setOf(trianglesOf(c.first)));
  }
  // Peeling to a fixed point: every peeled triangle qualifies, no border triangle of the rest does;
  // peeling everything gives null and a warning (unless quiet).
  CentroidLeftOf leftHalf(500);
  Zone2* pRest(pZone->peelOffIf(&leftHalf));
  ASSERT_NE(pRest, nullptr);
  const TriangleSet rest(setOf(trianglesOf(pRest)));
  EXPECT_LE(leftHalf.numCalls, zone.size());  // each triangle asked once at most
  for (const Triangle2* pT : zone) EXPECT_TRUE(rest.count(pT) > 0 || pT->getBarycenter().x() < 500);
  for (const Edge2& e : gathered<Edge2>([&](auto& v) { pRest->getBorderEdges(v); })) EXPECT_GE(e.getTriangle()->getBarycenter().x(), 500) << "a qualifying triangle was left at the border";
  CentroidLeftOf everything(2000);
  EXPECT_EQ(outputOfCall([&] { return pZone->peelOffIf(&everything); }, nullptr), warned("Zone2::peelOffIf()", "No triangles left, returning NULL"));
  EXPECT_EQ(outputOfCall([&] { return pZone->peelOffIf(&everything, false); }, nullptr), "");
}

// Wrong use gives its message and null. Deleting a zone keeps it while a set operation's zone uses
// it and refuses strangers; writeObj of a zone writes its triangles only, the zone's picture fills
// them, its debug report names the operands of a result zone.
TEST(Zones, WrongUseDeletionAndExports) {
  Scene scene(300, 41), other(50);
  std::vector<Segment2> vOpen{Segment2(Point2(10, 10), Point2(900, 20))};
  ConstraintGraph2* pUndirected(scene.dt.createConstraint(vOpen, CIS_CONSTRAINED_DELAUNAY, false));
  ConstraintGraph2* pRing(scene.addRing(square(100, 100, 600, 600)));
  const std::vector<ConstraintGraph2*> vRing{pRing};
  Zarn_2D flat;
  flat.insert(std::vector<Point2>{Point2(0, 0), Point2(1, 1)});
  const std::string kNoZone(warned("Zarn_2D::createZone(..)", "No zone created, returning NULL (bVerbose==true)"));
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
  for (const auto& c : aCases) EXPECT_EQ(outputOfCall(c.create, nullptr), warned("Dt::createZone()", c.msg) + kNoZone);
  EXPECT_EQ(outputOfCall([&] { return scene.dt.createZone(nullptr, ZL_INSIDE, false); }, nullptr), "");
  // A start point outside the triangulation: a zone, without triangles and with a warning.
  Zone2* pOutside(scene.dt.createZone(pRing, ZL_GROW, Point2(5000, 5000)));
  ASSERT_NE(pOutside, nullptr);
  std::vector<Triangle2*> vTriangles;
  EXPECT_EQ(captureStdout([&] { pOutside->getTriangles(vTriangles); }), warned("Dt2::growZoneArea()", "pStartT==NULL, no triangles"));
  EXPECT_TRUE(vTriangles.empty());
  const std::string out(outputOfCall([&] { return pOutside->convertToBoundedZone(); }, nullptr));
  EXPECT_NE(out.find(warned("Zone2::convertToBoundedZone()", "No triangles available, returning NULL")), std::string::npos) << out;
  // Set operations refuse operands of two triangulations and null operands.
  Zone2* pA(scene.dt.createZone(nullptr, ZL_GLOBAL));
  Zone2* pForeign(other.dt.createZone(nullptr, ZL_GLOBAL));
  const std::string kForeign("The zones must belong to the same triangulation! Returning NULL");
  const std::pair<Zone2* (*)(Zone2*, Zone2*), const char*> aOps[] = {
      {zoneUnion, "Zone2::zoneUnion(...)"}, {zoneIntersection, "zoneUnion(...)"}, {zoneDifference, "zoneUnion(...)"}, {zoneSymmetricDifference, "zoneUnion(...)"}};
  for (const auto& op : aOps) {
    EXPECT_EQ(outputOfCall([&] { return op.first(pA, pForeign); }, nullptr), warned(op.second, kForeign));
    EXPECT_EQ(outputOfCall([&] { return op.first(pForeign, pA); }, nullptr), warned(op.second, kForeign));
    EXPECT_TRUE(zarn_test::isTheOnlyWarning(outputOfCall([&] { return op.first(pA, nullptr); }, nullptr), op.second, "One of the zones is NULL, returning NULL"));
  }
  Zone2* pB(scene.dt.createZone(pRing, ZL_OUTSIDE));
  Zone2* pInside(scene.dt.createZone(pRing, ZL_INSIDE));
  Zone2* pDiff(zoneDifference(pA, pB));
  const std::string svgPath((std::filesystem::temp_directory_path() / ("zone_debug_" + std::to_string(::getpid()) + ".svg")).string());
  const std::string report(captureStdout([&] { pDiff->debug(svgPath); }));
  EXPECT_NE(report.find("2 operand(s), " + std::to_string(pInside->getNumberOfTriangles()) + " triangle(s)"), std::string::npos) << report;
  EXPECT_NE(zarn_test::readFile(svgPath).find("operand 1"), std::string::npos);
  std::filesystem::remove(svgPath);
  const std::string kNonExisting(warned("Dt2::deleteZone(..)", "trying to delete a non-existing zone"));
  EXPECT_EQ(captureStdout([&] { scene.dt.deleteZone(pB); }),
            warned("Dt2::deleteZone(..)", "the zone is an operand of a set operation's zone; delete that zone first"));
  EXPECT_EQ(setOf(trianglesOf(pDiff)), setOf(trianglesOf(pInside)));
  EXPECT_EQ(captureStdout([&] { other.dt.deleteZone(pA); }), kNonExisting);
  EXPECT_EQ(captureStdout([&] { for (Zone2* pZone : {pDiff, pB, pA}) scene.dt.deleteZone(pZone); }), "");  // result, then operands
  EXPECT_EQ(captureStdout([&] { scene.dt.deleteZone(pA); }), kNonExisting);
  const std::string file(::testing::TempDir() + "zone.obj"), svgFile(::testing::TempDir() + "zone.svg");
  const size_t numInside(pInside->getNumberOfTriangles());
  scene.dt.writeObj(file, pInside);
  const std::string obj(zarn_test::readFile(file));
  EXPECT_EQ(countOf(obj, "f "), numInside);
  EXPECT_EQ(captureStdout([&] { other.dt.writeObj(file, pInside); }),
            warned("Dt2::writeObj()", "The zone does not belong to this triangulation, nothing written"));
  EXPECT_EQ(zarn_test::readFile(file), obj);
  pInside->show(svgFile, true, false);  // every triangle outlined, the zone's filled (a fill and an outline each)
  const std::string svg(zarn_test::readFile(svgFile));
  EXPECT_EQ(countOf(svg, "<polygon"), scene.dt.numberOfTriangles() + 2 * numInside);
  EXPECT_EQ(countOf(svg, "<polygon") - countOf(svg, "fill=\"none\""), numInside);
}

// Triangle marks are 16 bits: thousands of zone searches run through all values more than once,
// each wrap resets every mark, and the zones keep their triangles (a reset that missed triangles
// would make a search skip them as visited).
TEST(Zones, SearchesStayExactWhenTheMarkValuesWrapAround) {
  Scene scene(300);
  Zone2* pZone(scene.dt.createZone(scene.addRing(randomStar(8, 200, 800, 3)), ZL_INSIDE));
  Zone2* pGlobal(scene.dt.createZone(nullptr, ZL_GLOBAL));
  const std::vector<Triangle2*> vInside(trianglesOf(pZone)), vAll(trianglesOf(pGlobal));
  for (int i = 0; i < 10000; ++i) {  // 16 mark values per search: the values wrap twice
    ASSERT_EQ(trianglesOf(i % 2 == 0 ? pZone : pGlobal), i % 2 == 0 ? vInside : vAll) << "search " << i;
  }
}

// unifyGrid on the integer grid [0, 20]^2 with the zone inside the square ring (5, 5)-(15, 15):
// free cells turn one way; a constraint diagonal running the other way stays (and the result says
// so); with tolerance 0 the four cells around a point moved by 1e-9 are no longer cocircular and
// keep their Delaunay diagonal, a tolerance unifies them too. Outside the zone nothing changes,
// also where the zone's border is a cell's diagonal.
TEST(Zones, UnifyGridTurnsDiagonalsOneWayInsideTheZoneOnly) {
  using Diagonal = std::pair<Point2, Point2>;
  const Diagonal constraint(Point2(8, 9), Point2(9, 8));
  const auto isNearMoved = [](const Diagonal& d) {  // in a cell at (10, 10)
    return std::max({std::fabs(d.first.x() - 10), std::fabs(d.first.y() - 10), std::fabs(d.second.x() - 10), std::fabs(d.second.y() - 10)}) <= 1;
  };
  const auto isRising = [](const Diagonal& d) { return d.second.y() > d.first.y(); };  // lower left to upper right
  for (int variant = 0; variant < 3; ++variant) {  // free cells, one constraint diagonal, a point moved off the grid
    SCOPED_TRACE(variant);
    std::vector<Point2> vPoints(gridPoints(21, 21));
    if (variant == 2) vPoints[10 * 21 + 10] = Point2(10.0 + 1e-9, 10.0);
    std::vector<Segment2> vSegments(ring(square(5, 5, 15, 15))), vRing(vSegments), vDiagonal{Segment2(constraint.first, constraint.second)};
    Zarn_2D dt;
    dt.insert(vPoints);
    Zone2* pZone(dt.createZone(dt.createConstraint(vRing, CIS_CONSTRAINED_DELAUNAY, true), ZL_INSIDE));
    if (variant == 1) dt.createConstraint(vDiagonal, CIS_CONSTRAINED_DELAUNAY, false);
    if (variant == 1) vSegments.push_back(vDiagonal[0]);
    const auto diagonals = [&] {  // the zone's cell diagonals, each once, lower end first
      std::set<Diagonal> s;
      for (const Triangle2* pT : trianglesOf(pZone)) {
        for (int i = 0; i < 3; ++i) {
          const Point2 p(*pT->getCorner(incIndexBy1(i))), q(*pT->getCorner(incIndexBy2(i)));
          if (std::fabs(p.x() - q.x()) > 0.5 && std::fabs(p.y() - q.y()) > 0.5) s.insert(std::minmax(p, q));
        }
      }
      return s;
    };
    const auto outsideKeys = [&] {  // the triangles outside the ring
      std::vector<Triangle2*> v(trianglesOf(dt));
      v.erase(std::remove_if(v.begin(), v.end(), insideOf(square(5, 5, 15, 15))), v.end());
      return triangleSignature(v);
    };
    const std::vector<TriangleKey> vOutsideBefore(outsideKeys());
    const std::set<Diagonal> sBefore(diagonals());
    ASSERT_FALSE(std::all_of(sBefore.begin(), sBefore.end(), isRising)) << "nothing to unify";
    EXPECT_EQ(pZone->unifyGrid(0.0), variant != 1);
    EXPECT_EQ(outsideKeys(), vOutsideBefore);
    EXPECT_TRUE(cdttest::isConstrainedDelaunay(dt, vPoints, vSegments));
    const std::set<Diagonal> sDiagonals(diagonals());
    EXPECT_EQ(sDiagonals.size(), 100u);  // one per cell of the 10 x 10 square
    for (const Diagonal& d : sDiagonals) {
      const bool bKept((variant == 1 && d == constraint) || (variant == 2 && isNearMoved(d)));
      EXPECT_TRUE(bKept ? sBefore.count(d) == 1 : isRising(d)) << d.first << " " << d.second;
    }
    if (variant != 2) continue;
    EXPECT_TRUE(pZone->unifyGrid(1e-6));
    for (const Diagonal& d : diagonals()) EXPECT_TRUE(isRising(d)) << d.first << " " << d.second;
    EXPECT_FALSE(captureStdout([&] { EXPECT_TRUE(dt.checkValidity(false, "tolerance")); }).empty());
    EXPECT_NE(captureStdout([&] { EXPECT_FALSE(pZone->unifyGrid(-1.0)); }).find(warned("Zone2::unifyGrid()", "The tolerance must be finite and >= 0, nothing changed")), std::string::npos);
  }
  // A zone of the triangles below x + y = 20, no ring: the cells it cuts along their diagonal stay.
  Zarn_2D dt;
  dt.insert(gridPoints(21, 21));
  const auto split = [&dt](bool bBelow) {
    std::vector<Triangle2*> v(trianglesOf(dt));
    v.erase(std::remove_if(v.begin(), v.end(), [=](Triangle2* pT) { return (pT->getBarycenter().x() + pT->getBarycenter().y() < 20) != bBelow; }), v.end());
    return v;
  };
  const std::vector<TriangleKey> vAboveBefore(triangleSignature(split(false)));
  std::vector<Triangle2*> vBelow(split(true));
  EXPECT_TRUE(dt.createZone(vBelow)->unifyGrid(0.0));
  EXPECT_EQ(triangleSignature(split(false)), vAboveBefore);
}

// sortRing, sortRingCCW and isSimplePolygon on a table of shapes.
TEST(PolygonUtils, SortRingAndSimplePolygonTable) {
  const Point2 a(0, 0), b(4, 0), c(4, 4), d(0, 4), m(2, 2), e(2, 0);
  std::vector<Segment2> star(ring(randomStar(40, 0.0, 100.0, 3))), twoTriangles(ring({a, e, m})), other(ring({b, c, Point2(3, 3)}));
  std::reverse(star.begin(), star.end());
  twoTriangles.insert(twoTriangles.end(), other.begin(), other.end());
  const struct {
    std::vector<Segment2> vSegments;
    bool bRing, bSimple;
  } aCases[] = {
      {{Segment2(c, b), Segment2(d, c), Segment2(a, b), Segment2(a, d)}, true, true},  // square, shuffled and mixed
      {ring({a, b, c}), true, true},
      {star, true, true},
      {ring({a, b, d, c}), true, false},           // bow tie
      {ring({a, b, c, e, d}), true, false},        // a vertex on another segment
      {ring({a, b, c, Point2(4, 2)}), true, false},  // folds back on itself
      {ring({a, e, b}), true, false},              // flat
      {ring({a, e, m, b, c, m, d}, false), false, false},  // figure eight, open
      {twoTriangles, false, false},
      {ring({a, b, c, d}, false), false, false},
      {{Segment2(a, b), Segment2(b, a)}, false, false},
      {{Segment2(a, b), Segment2(b, b), Segment2(b, c), Segment2(c, a)}, false, false},  // a degenerate segment
      {{}, false, false},
  };
  const auto undirected = [](const std::vector<Segment2>& v) {
    std::set<std::pair<Point2, Point2>> s;
    for (const Segment2& seg : v) s.insert(std::minmax(seg.getSrc(), seg.getTrg()));
    return s;
  };
  for (const auto& k : aCases) {
    SCOPED_TRACE(&k - aCases);
    std::vector<Segment2> v(k.vSegments), w(k.vSegments), s(k.vSegments);
    ASSERT_EQ(sortRing(v), k.bRing);
    if (k.bRing) {
      EXPECT_EQ(undirected(v), undirected(k.vSegments));
      EXPECT_TRUE(sameXY(v[0].getSrc(), k.vSegments[0].getSrc()) && sameXY(v[0].getTrg(), k.vSegments[0].getTrg()));
      for (size_t i = 0; i < v.size(); ++i) EXPECT_TRUE(sameXY(v[i].getTrg(), v[(i + 1) % v.size()].getSrc())) << i;
    } else {
      EXPECT_EQ(v, k.vSegments);  // unchanged
    }
    const bool bCCW(sortRingCCW(w));
    EXPECT_TRUE(!k.bSimple || (bCCW && signedArea2(w) > 0));
    EXPECT_EQ(isSimplePolygon(s), k.bSimple);
  }
}

}  // namespace
