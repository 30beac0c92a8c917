// Draping segments over a triangulation, cutting them into it, importing triangles and cutting a
// zone with a polygon. Geometry decides through the exact checks of the test helpers: pieces lie in
// single triangles and run along their segments, triangles away from a cut keep their shape,
// imported triangles reappear with the same corners, and every result is a valid triangulation.

#include <limits>

#include "cdt_test_support.h"
#include "test_support.h"
#include "zone_test_support.h"

using namespace KORA_ZARN2D;
using namespace zonetest;
using dt2test::TriangleKey;
using dt2test::triangleSignature;
using zarn_test::captureStdout;

namespace {

const double kNaN(std::numeric_limits<double>::quiet_NaN());

Point2 scaled(const Point2& p, double scale) { return Point2(p.x() * scale, p.y() * scale); }

// Cuts the segments in by cut(): afterwards a valid triangulation that still holds the triangles
// none of the segments meets.
void expectCutKeepsTheRest(Zarn_2D& dt, const std::vector<Segment2>& vSegments, const std::function<void()>& cut) {
  std::vector<Triangle2*> vUntouched;
  for (Triangle2* pT : trianglesOf(dt)) {
    const auto meets = [pT](const Segment2& s) { return cdttest::segmentMeetsTriangle(s.getSrc(), s.getTrg(), *pT); };
    if (std::none_of(vSegments.begin(), vSegments.end(), meets)) vUntouched.push_back(pT);
  }
  const std::vector<TriangleKey> vKept(triangleSignature(vUntouched));
  cut();
  ASSERT_TRUE(dt2test::isValidTriangulation(dt));
  ASSERT_TRUE(dt2test::libraryCheckValidity(dt, false));
  const std::vector<TriangleKey> vAfter(triangleSignature(dt));
  EXPECT_TRUE(std::includes(vAfter.begin(), vAfter.end(), vKept.begin(), vKept.end())) << "a triangle away from the cuts changed";
}

// Drapes seg over dt: the result says whether the segment lies in the hull, the triangulation is
// unchanged, and the pieces chain along the segment from first to last, each in one triangle.
void expectDraped(Zarn_2D& dt, const Segment2& seg, bool bInside, const Point2& first, const Point2& last, size_t numPieces = 0) {
  const std::vector<TriangleKey> vBefore(triangleSignature(dt));
  std::vector<Segment2> vIn(1, seg), vOut(1, Segment2(Point2(9, 9), Point2(8, 8)));
  EXPECT_EQ(bInside, dt.drape(vIn, vOut)) << seg;
  vOut.erase(vOut.begin());  // appended to, not replaced
  EXPECT_EQ(vBefore, triangleSignature(dt));
  ASSERT_EQ(first == last, vOut.empty());
  if (first == last) return;
  EXPECT_TRUE(numPieces == 0 || numPieces == vOut.size()) << vOut.size();
  std::vector<Point2> vChain(1, vOut[0].getSrc());
  const std::vector<Triangle2*> vT(trianglesOf(dt));
  for (const Segment2& piece : vOut) {
    EXPECT_EQ(vChain.back(), piece.getSrc()) << "pieces do not chain";
    vChain.push_back(piece.getTrg());
    EXPECT_TRUE(std::any_of(vT.begin(), vT.end(), [&](const Triangle2* pT) {  // both ends in one triangle: all of it
      return cdttest::isInTriangleUpTo(*pT, piece.getSrc(), 4.0) && cdttest::isInTriangleUpTo(*pT, piece.getTrg(), 4.0);
    })) << "piece " << piece << " lies in no single triangle";
  }
  EXPECT_TRUE(cdttest::isChainAlong(seg, vChain, first, last));
}

// Drape, then cut, over the grid at three scales (powers of two scale every crossing exactly): the
// cut makes the segment's part in the grid a chain of edges, constraints when protected, and keeps
// the triangles away from it.
TEST(CutTriangles, GridSegmentsDrapeThenCut) {
  const struct {
    Segment2 seg;
    bool bInside;        // the whole segment lies in the grid
    Point2 first, last;  // the part inside the grid; no part inside when first == last
    size_t numPieces;    // 0: not checked
  } aCases[] = {
      {Segment2(Point2(0.5, 0.25), Point2(3.5, 1.75)), true, Point2(0.5, 0.25), Point2(3.5, 1.75), 0},
      {Segment2(Point2(0, 0), Point2(4, 0)), true, Point2(0, 0), Point2(4, 0), 4},  // along a hull edge
      {Segment2(Point2(1, 1), Point2(2, 1)), true, Point2(1, 1), Point2(2, 1), 1},  // one edge
      {Segment2(Point2(2, 0.5), Point2(2, 3.5)), true, Point2(2, 0.5), Point2(2, 3.5), 4},  // along inner edges
      {Segment2(Point2(-1, 0.5), Point2(2.5, 0.5)), false, Point2(0, 0.5), Point2(2.5, 0.5), 0},
      {Segment2(Point2(-1, -0.5), Point2(5, 2.5)), false, Point2(0, 0), Point2(4, 2), 0},  // through two hull corners
      {Segment2(Point2(3.75, 3.5), Point2(0.25, 0.125)), true, Point2(3.75, 3.5), Point2(0.25, 0.125), 0},
      {Segment2(Point2(-2, -1), Point2(-1, 5)), false, Point2(0, 0), Point2(0, 0), 0},   // outside
      {Segment2(Point2(-1, 1), Point2(1, -1)), false, Point2(0, 0), Point2(0, 0), 0},    // touches a corner
      {Segment2(Point2(-1, -1), Point2(0, 0)), false, Point2(0, 0), Point2(0, 0), 0},    // ends at a corner
      {Segment2(Point2(-2, 4), Point2(3, 4)), false, Point2(0, 4), Point2(3, 4), 3},     // on the hull's line
      {Segment2(Point2(1, 1), Point2(1.75, 1.25)), true, Point2(1, 1), Point2(1.75, 1.25), 1},  // from a vertex into a triangle
      {Segment2(Point2(0.5, 0), Point2(0.75, 3.5)), true, Point2(0.5, 0), Point2(0.75, 3.5), 0},  // from inside edges across them
      {Segment2(Point2(1.5, 1), Point2(1.25, 3.5)), true, Point2(1.5, 1), Point2(1.25, 3.5), 0},
      {Segment2(Point2(2.5, 2), Point2(2.25, 0.5)), true, Point2(2.5, 2), Point2(2.25, 0.5), 0},
  };
  for (const auto& c : aCases) {
    for (const double scale : {1.0, 0x1p-600, 0x1p600}) {
      SCOPED_TRACE(std::to_string(&c - aCases) + " at " + std::to_string(std::ilogb(scale)));
      const bool bProtect(scale > 1.0);
      const Segment2 seg(scaled(c.seg.getSrc(), scale), scaled(c.seg.getTrg(), scale));
      const Point2 first(scaled(c.first, scale)), last(scaled(c.last, scale));
      Zarn_2D dt(0);
      dt.insert(dt2test::gridPoints(5, 5, scale));  // the integer grid [0, 4]^2, scaled
      expectDraped(dt, seg, c.bInside, first, last, c.numPieces);
      const size_t numBefore(dt.numberOfTriangles());
      expectCutKeepsTheRest(dt, {seg}, [&] { dt.cutTriangles(seg.getSrc(), seg.getTrg(), bProtect); });
      EXPECT_TRUE(c.first != c.last || numBefore == dt.numberOfTriangles());
      if (c.first == c.last) continue;
      const std::vector<Point2*> vOn(cdttest::verticesAlong(dt, seg, first, last));
      ASSERT_GE(vOn.size(), 2u);
      EXPECT_EQ(first, *vOn.front());
      EXPECT_EQ(last, *vOn.back());
      EXPECT_TRUE(cdttest::isEdgeChain(dt, vOn, &bProtect));
    }
  }
}

// Random segments, many starting or ending outside, draped and then cut over random points with a
// constraint: the triangulation stays valid, triangles no segment meets keep their corners,
// segments inside the hull and the crossed constraint are chains of edges, and protected cuts
// stay so when points are inserted later.
TEST(CutTriangles, RandomDrapesAndCutsOverRandomPoints) {
  for (unsigned seed = 1; seed <= 4; ++seed) {
    SCOPED_TRACE(seed);
    const bool bProtect(seed % 2 == 0);
    const std::vector<Point2> vPoints(dt2test::randomPoints(150, seed));
    const std::vector<Point2> vHull(dt2test::hullCorners(vPoints));
    const auto inHull = [&vHull](const Point2& p) { return cdttest::isInConvexPolygon(vHull, p); };
    Zarn_2D dt(0);
    dt.insert(vPoints);
    std::vector<Segment2> vCuts(1, Segment2(vHull[0], vHull[vHull.size() / 2]));
    captureStdout([&] { dt.createConstraint(vCuts, CIS_CONSTRAINED_DELAUNAY); });
    std::mt19937 rng(seed);
    std::uniform_real_distribution<double> coord(-0.2, 1.2);
    std::vector<Segment2> vOneByOne, vAtOnce;  // the pieces of all segments, draped one by one and in one call
    for (int i = 0; i < 15; ++i) {
      const Segment2 seg(Point2(coord(rng), coord(rng)), Point2(coord(rng), coord(rng)));
      std::vector<Segment2> vIn(1, seg), vOut;
      dt.drape(vIn, vOut);  // finds where the segment enters and leaves the hull
      vOneByOne.insert(vOneByOne.end(), vOut.begin(), vOut.end());
      const Point2 first(inHull(seg.getSrc()) || vOut.empty() ? seg.getSrc() : vOut.front().getSrc());
      const Point2 last(inHull(seg.getTrg()) || vOut.empty() ? seg.getTrg() : vOut.back().getTrg());
      expectDraped(dt, seg, inHull(seg.getSrc()) && inHull(seg.getTrg()), vOut.empty() ? last : first, last);
      vCuts.push_back(seg);
    }
    std::vector<Segment2> vNew(vCuts.begin() + 1, vCuts.end());
    dt.drape(vNew, vAtOnce);
    EXPECT_EQ(vAtOnce, vOneByOne);
    expectCutKeepsTheRest(dt, vCuts, [&] { dt.cutTriangles(vNew, bProtect); });
    for (const bool bLater : {false, true}) {
      for (const Segment2& seg : vCuts) {
        if (!inHull(seg.getSrc()) || !inHull(seg.getTrg()) || (bLater && !bProtect && !(seg == vCuts[0]))) continue;
        EXPECT_TRUE(cdttest::isEdgeChain(dt, cdttest::verticesAlong(dt, seg, seg.getSrc(), seg.getTrg()))) << seg;
      }
      dt.insert(dt2test::randomPoints(50, seed + 10));  // later insertions may flip unprotected cuts only
      ASSERT_TRUE(dt2test::libraryCheckValidity(dt, false));
    }
  }
}

// Protected cuts a few 1e-13 apart at tiny angles: their rounded stations lie beside the edges
// they cross, so later cuts re-triangulate slivers around the pieces of earlier ones. Every
// protected piece must stay an edge (the library's check and the exact one agree), and triangles
// away from each cut keep their corners.
TEST(CutTriangles, ProtectedCutsAtTinyAnglesKeepEveryEarlierPiece) {
  for (unsigned seed = 1; seed <= 12; ++seed) {
    SCOPED_TRACE(seed);
    Zarn_2D dt(0);
    dt.insert(dt2test::randomPoints(40, seed));
    std::mt19937 rng(seed);
    std::uniform_int_distribution<int> offset(-40, 40);
    for (int i = 0; i < 10; ++i) {
      const Segment2 cut(Point2(0.02, 0.5 + 1e-13 * offset(rng)), Point2(0.98, 0.5 + 1e-13 * offset(rng)));
      expectCutKeepsTheRest(dt, {cut}, [&] { dt.cutTriangles(cut.getSrc(), cut.getTrg(), true); });
      ASSERT_FALSE(HasFatalFailure()) << "after cut " << i;
      for (const ConstraintSegment2* pCSeg : cdttest::aliveSegments(dt)) {
        ASSERT_TRUE(cdttest::isEdgeChain(dt, {pCSeg->getSrc(), pCSeg->getTrg()})) << "after cut " << i;
      }
    }
  }
}

// ----- importTriangles -----------------------------------------------------------------------

// The edges of the triangles given as corner triples.
std::vector<Segment2> edgesOf(const std::vector<Point2>& vCorners) {
  std::vector<Segment2> v;
  for (size_t i = 0; i < vCorners.size(); ++i) v.emplace_back(vCorners[i], vCorners[i % 3 == 2 ? i - 2 : i + 1]);
  return v;
}

bool strictlyInside(const Point2& p, const std::vector<Point2>& vCorners) {
  for (size_t i = 0; i < vCorners.size(); i += 3) {
    int sum(0);
    for (size_t j = 0; j < 3; ++j) sum += dt2test::exactOrientation(vCorners[i + j], vCorners[i + (j + 1) % 3], p);
    if (std::abs(sum) == 3) return true;
  }
  return false;
}

// A fan over points of a flat convex arc (long thin triangles far from Delaunay, every other one
// clockwise) imported over random points, for every pair of flags: the exact constraint check
// holds (with the vertex count, every imported triangle with no vertex inside is one of the result),
// old points go as the flags say, and the zone's exact area is the mesh's.
TEST(ImportTriangles, ImportedTrianglesReappearExactly) {
  std::vector<Point2> vFan;
  for (int i = 0; i < 12; ++i) {
    vFan.push_back(Point2(0.25, 0.2));
    for (const double t : {(i + i % 2) / 12.0, (i + 1 - i % 2) / 12.0}) vFan.push_back(Point2(0.25 + 0.5 * t, 0.2 + 0.5 * (0.5 + 0.25 * t * (1 - t))));
  }
  const std::vector<Point2> vOld(dt2test::randomPoints(300, 21));
  for (int flags = 0; flags < 4; ++flags) {
    const bool bReplace(flags & 1), bDeleteOld(flags & 2);
    SCOPED_TRACE(flags);
    Zarn_2D dt(0);
    dt.insert(vOld);
    std::vector<Point2> vMesh(vFan), vExpected(vFan);
    for (const Point2& p : vOld) {
      if (!bDeleteOld && !(bReplace && strictlyInside(p, vMesh))) vExpected.push_back(p);
    }
    Zone2* pZone(dt.importTriangles(vMesh, bReplace, bDeleteOld));
    EXPECT_TRUE(cdttest::isConstrainedDelaunay(dt, vExpected, edgesOf(vMesh)));
    EXPECT_TRUE(dt2test::libraryCheckValidity(dt));
    EXPECT_EQ(vFan, vMesh);  // the caller's vector is left as it was
    ASSERT_NE(nullptr, pZone);
    EXPECT_EQ(ZL_BOUNDED, pZone->getZoneLocation());
    mpq_class meshArea(0);
    for (size_t i = 0; i < vMesh.size(); i += 3) meshArea += abs(cdttest::exactDoubleArea(vMesh[i], vMesh[i + 1], vMesh[i + 2])) / 2;
    EXPECT_EQ(meshArea, cdttest::exactArea(trianglesOf(pZone)));
    EXPECT_EQ(dt2test::distinctPositions(vExpected).size(), dt.numberOfPoints());
  }
}

// Before the triangulation is 2D nothing is cut or draped; bad segments and triangles are skipped with a
// count, a point count that is no multiple of 3 imports nothing, and the triangulation stays as it
// was; overlapping imported triangles give the zone of their union.
TEST(ImportTriangles, BadInputIsReported) {
  Zarn_2D dt(0);
  std::vector<Segment2> vCuts(1, Segment2(Point2(0, 0), Point2(1, 1)));
  EXPECT_TRUE(zarn_test::isTheOnlyWarning(captureStdout([&] { dt.cutTriangles(vCuts, true); }), "Dt2::cutTriangles()", "The triangulation is not 2D yet, nothing to cut"));
  EXPECT_EQ(0u, dt.numberOfPoints());
  std::vector<Segment2> vNone, vOut;
  EXPECT_TRUE(dt.drape(vNone, vOut));
  EXPECT_EQ(captureStdout([&] { EXPECT_FALSE(dt.drape(vCuts, vOut)); }), warned("Dt2::drape()", "The triangulation is not 2D yet, nothing to drape on"));
  dt.insert(dt2test::gridPoints(5, 5));
  const std::vector<TriangleKey> vBefore(triangleSignature(dt));
  vCuts.assign(1, Segment2(Point2(2, 2), Point2(2, 2)));
  EXPECT_TRUE(zarn_test::isTheOnlyWarning(captureStdout([&] { dt.cutTriangles(vCuts, false); }), "Dt2::cutTriangles()", "1 degenerate or non-finite segment(s) skipped"));
  EXPECT_EQ(vBefore, triangleSignature(dt));
  std::vector<Segment2> vIn{vCuts[0], Segment2(Point2(kNaN, 1), Point2(2, 2)), Segment2(Point2(0.5, 0.5), Point2(1.5, 0.5))};
  std::string out(zarn_test::outputOfCall([&] { return dt.drape(vIn, vOut); }, false));
  EXPECT_NE(std::string::npos, out.find(warned("Dt2::drape()", "2 degenerate or non-finite segment(s) skipped")));
  EXPECT_EQ(2u, vOut.size());  // the third segment, split at x = 1
  std::vector<Point2> vFour(4, Point2(1, 1));
  out = zarn_test::outputOfCall([&] { return dt.importTriangles(vFour, false, false); }, nullptr);
  EXPECT_NE(std::string::npos, out.find("Dt2::importTriangles(), ERROR: vPoints.size() must be a multiple of 3\n")) << out;
  EXPECT_EQ(vBefore, triangleSignature(dt));
  std::vector<Point2> vMixed{Point2(0.5, 0.5), Point2(1.5, 0.5), Point2(2.5, 0.5),      // collinear
                             Point2(1, 1),     Point2(1, 1),     Point2(2, 3),        // repeated corner
                             Point2(kNaN, 0),  Point2(1, 1),     Point2(2, 2),        // non-finite
                             Point2(0.5, 0.5), Point2(3.5, 0.75), Point2(1.25, 3.5)};  // a good one
  out = captureStdout([&] { dt.importTriangles(vMixed, false, false); });
  EXPECT_NE(std::string::npos, out.find(warned("Dt2::importTriangles()", "2 degenerate triangle(s) skipped"))) << out;
  EXPECT_NE(std::string::npos, out.find(warned("Dt2::importTriangles()", "1 triangle(s) with a non-finite coordinate skipped")));
  const std::vector<Point2> vGood(vMixed.end() - 3, vMixed.end());
  EXPECT_TRUE(cdttest::isConstrainedDelaunay(dt, dt2test::concat(dt2test::gridPoints(5, 5), vGood), edgesOf(vGood)));
  // Two overlapping triangles: the zone covers their union, more than either, less than both.
  std::vector<Point2> vOverlap{Point2(0.25, 0.25), Point2(3, 0.25), Point2(0.25, 3), Point2(1, 1), Point2(3.75, 1.25), Point2(1.5, 3.75)};
  Zone2* pZone(nullptr);
  out = captureStdout([&] { pZone = dt.importTriangles(vOverlap, false, false); });
  EXPECT_NE(std::string::npos, out.find(warned("Dt2::importTriangles()", "The imported triangles overlap, the zone covers their union")));
  EXPECT_TRUE(dt2test::libraryCheckValidity(dt));
  EXPECT_TRUE(dt2test::isValidTriangulation(dt));
  ASSERT_NE(nullptr, pZone);
  const mpq_class area(cdttest::exactArea(trianglesOf(pZone))), a0(cdttest::exactDoubleArea(vOverlap[0], vOverlap[1], vOverlap[2]) / 2),
      a1(cdttest::exactDoubleArea(vOverlap[3], vOverlap[4], vOverlap[5]) / 2);
  EXPECT_GT(area, std::max(a0, a1));
  EXPECT_LT(area, a0 + a1);
}

// ----- createZone_cookieCutter ----------------------------------------------------------------

// The zone is exactly the part of the polygon in the triangulation: its triangles are those whose
// centroid lies inside, its exact area the clipped polygon's; it is bounded (and the cut
// protected) only with bProtectEdges, and then it follows later insertions. Segments that form no
// simple polygon (area < 0 below) change nothing.
TEST(CookieCutter, ZoneIsThePolygonClippedToTheTriangulation) {
  const struct {
    std::vector<Point2> vCorners;  // the polygon, in the order given (either orientation)
    double area;                   // of the polygon clipped to [0, 4]^2
    bool bClosed = true;
  } aCases[] = {
      {{Point2(0.5, 1.25), Point2(3.5, 1.25), Point2(3.5, 2.75), Point2(0.5, 2.75)}, 4.5},
      {{Point2(1, 1), Point2(1, 3), Point2(3, 1)}, 2.0},                     // clockwise
      {{Point2(2, 1), Point2(6, 1), Point2(6, 3), Point2(2, 3)}, 4.0},       // partly outside
      {{Point2(-1, -1), Point2(5, -1), Point2(5, 5), Point2(-1, 5)}, 16.0},  // around all
      {{Point2(5, 5), Point2(6, 5), Point2(6, 6)}, 0.0},                     // disjoint
      {{Point2(0.5, 0.5), Point2(3.5, 0.5), Point2(2, 2), Point2(3.5, 3.5), Point2(0.5, 3.5)}, 6.75},  // nonconvex
      {{Point2(1, 1), Point2(3, 3), Point2(3, 1), Point2(1, 3)}, -1},        // a bow tie
      {{Point2(1, 1), Point2(2, 1), Point2(2, 2)}, -1, false},                 // open
      {{Point2(1, 1), Point2(2, 1), Point2(3, 1)}, -1},                       // flat
      {{Point2(1, 1), Point2(3, 1), Point2(3, 3), Point2(1, 1), Point2(0.5, 3), Point2(0.5, 2)}, -1},  // two rings at a vertex
  };
  for (const auto& c : aCases) {
    for (const bool bProtect : {false, true}) {
      SCOPED_TRACE(std::to_string(&c - aCases) + (bProtect ? " protected" : " unprotected"));
      Zarn_2D dt(0);
      dt.insert(dt2test::gridPoints(5, 5));
      const std::vector<TriangleKey> vBefore(triangleSignature(dt));
      std::vector<Segment2> vRing(ring(c.vCorners, c.bClosed));
      std::reverse(vRing.begin() + 1, vRing.end());  // any order
      Zone2* pZone(reinterpret_cast<Zone2*>(&dt));
      const std::string out(captureStdout([&] { pZone = dt.createZone_cookieCutter(vRing, bProtect); }));
      if (c.area < 0) {
        EXPECT_EQ(nullptr, pZone);
        EXPECT_TRUE(zarn_test::isTheOnlyWarning(out, "Dt2::createZone_cookieCutter()", "The segments do not form one simple closed polygon, returning NULL"));
        EXPECT_EQ(vBefore, triangleSignature(dt));
        continue;
      }
      ASSERT_NE(nullptr, pZone);
      ASSERT_TRUE(dt2test::libraryCheckValidity(dt, false));
      EXPECT_EQ(bProtect && c.area > 0 ? ZL_BOUNDED : ZL_GROW, pZone->getZoneLocation());
      EXPECT_EQ(mpq_class(c.area), cdttest::exactArea(trianglesOf(pZone)));
      EXPECT_TRUE(isZoneOf(pZone, dt, insideOf(c.vCorners)));
      std::vector<Edge2> vBoundary;
      pZone->getBoundaryEdges(vBoundary);
      size_t numConstraint(0);
      for (const Edge2& e : vBoundary) numConstraint += dt.isConstraint(e.getTriangle(), e.getIndex());
      EXPECT_EQ(bProtect ? vBoundary.size() : 0u, numConstraint);
      dt.insert(dt2test::randomPoints(60, 9, 0.0, 4.0));
      const mpq_class later(cdttest::exactArea(trianglesOf(pZone)));
      EXPECT_TRUE(bProtect ? later == c.area : later <= c.area) << later;
    }
  }
}

}  // namespace
