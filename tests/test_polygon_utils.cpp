// Polygon and edge utilities: ring ordering and the simple-polygon test on a table of shapes,
// chaining of zone borders into polygons, and the edges of triangle sets against brute force.
#include <algorithm>
#include <map>
#include <set>

#include "dt2_test_support.h"

namespace {

using namespace KORA_ZARN2D;
using namespace dt2test;

std::vector<Segment2> polyline(const std::vector<Point2>& vPoints, bool bClose) {
  std::vector<Segment2> v;
  for (size_t i = 0; i + 1 < vPoints.size(); ++i) v.emplace_back(vPoints[i], vPoints[i + 1]);
  if (bClose) v.emplace_back(vPoints.back(), vPoints.front());
  return v;
}

// Twice the signed area, exactly.
int areaSign(const std::vector<Segment2>& v) {
  mpq_class sum(0);
  for (const Segment2& s : v) sum += mpq_class(s.getSrc().x()) * s.getTrg().y() - mpq_class(s.getTrg().x()) * s.getSrc().y();
  return sgn(sum);
}

std::set<std::pair<Point2, Point2>> undirected(const std::vector<Segment2>& v) {
  std::set<std::pair<Point2, Point2>> s;
  for (const Segment2& seg : v) s.insert(std::minmax(seg.getSrc(), seg.getTrg()));
  return s;
}

struct RingCase {
  const char* name;
  std::vector<Segment2> vSegments;
  bool bRing;
  bool bSimple;
};

std::vector<RingCase> ringCases() {
  const Point2 a(0, 0), b(4, 0), c(4, 4), d(0, 4), m(2, 2), e(2, 0);
  std::vector<Segment2> shuffled{Segment2(c, b), Segment2(d, c), Segment2(a, b), Segment2(a, d)};
  std::vector<Segment2> star;
  generateRandomPolygon(40, 0.0, 100.0, star, 3);
  std::reverse(star.begin(), star.end());
  return {
      {"square shuffled and mixed", shuffled, true, true},
      {"triangle", polyline({a, b, c}, true), true, true},
      {"random star, reversed order", star, true, true},
      {"bow tie", polyline({a, b, d, c}, true), true, false},
      {"vertex on another segment", polyline({a, b, c, e, d}, true), true, false},
      {"folds back on itself", polyline({a, b, c, Point2(4, 2)}, true), true, false},
      {"flat triangle", polyline({a, e, b}, true), true, false},
      {"figure eight", polyline({a, e, m, b, c, m, d}, false), false, false},
      {"two triangles", [&] {
         std::vector<Segment2> v(polyline({a, e, m}, true)), w(polyline({b, c, Point2(3, 3)}, true));
         v.insert(v.end(), w.begin(), w.end());
         return v;
       }(), false, false},
      {"open polyline", polyline({a, b, c, d}, false), false, false},
      {"back and forth", {Segment2(a, b), Segment2(b, a)}, false, false},
      {"degenerate segment", {Segment2(a, b), Segment2(b, b), Segment2(b, c), Segment2(c, a)}, false, false},
      {"empty", {}, false, false},
  };
}

TEST(PolygonUtils, SortRingAndSimplePolygonTable) {
  for (const RingCase& c : ringCases()) {
    SCOPED_TRACE(c.name);
    std::vector<Segment2> v(c.vSegments);
    ASSERT_EQ(sortRing(v), c.bRing);
    if (!c.bRing) {
      EXPECT_EQ(v, c.vSegments);  // unchanged
    } else {
      EXPECT_EQ(undirected(v), undirected(c.vSegments));
      EXPECT_TRUE(sameXY(v[0].getSrc(), c.vSegments[0].getSrc()) && sameXY(v[0].getTrg(), c.vSegments[0].getTrg()));
      for (size_t i = 0; i < v.size(); ++i) EXPECT_TRUE(sameXY(v[i].getTrg(), v[(i + 1) % v.size()].getSrc())) << i;
    }
    std::vector<Segment2> w(c.vSegments);
    const bool bCCW(sortRingCCW(w));
    EXPECT_TRUE(!c.bSimple || (bCCW && areaSign(w) == 1));
    std::vector<Segment2> s(c.vSegments);
    EXPECT_EQ(isSimplePolygon(s), c.bSimple);
  }
}

// The border of a zone with a hole chains into two polygons, counterclockwise around the zone
// (outer ring positive, hole negative); an extra edge inside closes nothing and remains. The
// borders of the triangles are the zone's boundary; their edges are each listed once.
TEST(PolygonUtils, ZoneBordersChainIntoPolygons) {
  Zarn_2D dt;
  dt.insert(randomPoints(400, 5, 0.0, 100.0));
  std::vector<Segment2> outer(polyline({Point2(10, 10), Point2(90, 10), Point2(90, 90), Point2(10, 90)}, true));
  std::vector<Segment2> hole(polyline({Point2(40, 40), Point2(40, 60), Point2(60, 60), Point2(60, 40)}, true));
  Zone2* pZone(dt.createZone({dt.createConstraint(outer, CIS_CONSTRAINED_DELAUNAY, true), dt.createConstraint(hole, CIS_CONSTRAINED_DELAUNAY, true)},
                             ZL_INSIDE));
  std::vector<Edge2> vEdges;
  pZone->getBorderEdges(vEdges);
  std::vector<Triangle2*> vTriangles;
  pZone->getTriangles(vTriangles);
  vEdges.push_back(Edge2(vTriangles[vTriangles.size() / 2], 0));
  std::vector<std::vector<Edge2>> vvPolygons;
  std::vector<Edge2> vRemaining;
  edgesToPolygons(vEdges, vvPolygons, vRemaining);
  ASSERT_EQ(vvPolygons.size(), 2u);
  ASSERT_EQ(vRemaining.size(), 1u);
  EXPECT_EQ(vRemaining[0], vEdges.back());
  std::multiset<int> signs;
  for (const std::vector<Edge2>& vPolygon : vvPolygons) {
    std::vector<Segment2> vRing;
    for (const Edge2& e : vPolygon) vRing.emplace_back(*e.getSrc(), *e.getTrg());
    for (size_t i = 0; i < vPolygon.size(); ++i) EXPECT_EQ(vPolygon[i].getTrg(), vPolygon[(i + 1) % vPolygon.size()].getSrc());
    EXPECT_TRUE(isSimplePolygon(vRing));
    signs.insert(areaSign(vRing));
  }
  EXPECT_EQ(signs, (std::multiset<int>{-1, 1}));
  // getBorders of the zone's triangles: the same segments as the zone's boundary.
  std::vector<Segment2> vBorders, vBoundary;
  getBorders(vTriangles, vBorders);
  pZone->getBoundarySegments(vBoundary);
  EXPECT_EQ(vBorders.size(), vBoundary.size());
  EXPECT_EQ(undirected(vBorders), undirected(vBoundary));
  // The directed edges of the triangles, and each undirected edge once.
  std::vector<Edge2> vDirected, vUndirected;
  getDirectedEdges(vTriangles, vDirected);
  getUndirectedEdges(vTriangles, vUndirected);
  EXPECT_EQ(vDirected.size(), 3 * vTriangles.size());
  std::set<std::pair<const Point2*, const Point2*>> expected, seen;
  for (const Edge2& e : vDirected) expected.insert(std::minmax<const Point2*>(e.getSrc(), e.getTrg()));
  for (const Edge2& e : vUndirected) EXPECT_TRUE(seen.insert(std::minmax<const Point2*>(e.getSrc(), e.getTrg())).second);
  EXPECT_EQ(seen, expected);
}

}  // namespace
