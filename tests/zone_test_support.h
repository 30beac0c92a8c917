// Zones checked against geometry: rings as constraint input, a zone's triangles against the set a
// rule selects (exact winding numbers at the centroids), triangle lists of zones and triangulations.
#pragma once

#include <set>

#include "Zarn_2D.h"
#include "dt2_test_support.h"

namespace zonetest {

using namespace KORA_ZARN2D;
using TriangleSet = std::set<const Triangle2*>;
using Rule = std::function<bool(const Triangle2*)>;

using zarn_test::warned;

/// The segments from each corner to the next; closed: also from the last to the first.
inline std::vector<Segment2> ring(const std::vector<Point2>& vCorners, bool bClosed = true) {
  std::vector<Segment2> v;
  for (size_t i = 0; i + !bClosed < vCorners.size(); ++i) v.emplace_back(vCorners[i], vCorners[(i + 1) % vCorners.size()]);
  return v;
}

/// The corners of a random star-shaped polygon in [lo, hi]^2 (fixed seed), counterclockwise.
inline std::vector<Point2> randomStar(unsigned numCorners, double lo, double hi, unsigned seed) {
  std::vector<Segment2> v;
  generateRandomPolygon(numCorners, lo, hi, v, seed);
  std::vector<Point2> vCorners;
  for (const Segment2& s : v) vCorners.push_back(s.getSrc());
  return vCorners;
}

/// Twice the signed area enclosed by the segments, exactly.
inline mpq_class signedArea2(const std::vector<Segment2>& v) {
  mpq_class sum(0);
  for (const Segment2& s : v) sum += mpq_class(s.getSrc().x()) * s.getTrg().y() - mpq_class(s.getTrg().x()) * s.getSrc().y();
  return sum;
}

/// The counterclockwise corners of the box [x0, x1] x [y0, y1].
inline std::vector<Point2> square(double x0, double y0, double x1, double y1) {
  return {Point2(x0, y0), Point2(x1, y0), Point2(x1, y1), Point2(x0, y1)};
}

inline std::vector<Triangle2*> trianglesOf(const Zone2* pZone) {
  return dt2test::gathered<Triangle2*>([&](auto& v) { pZone->getTriangles(v); });
}
using dt2test::trianglesOf;

inline TriangleSet setOf(const std::vector<Triangle2*>& v) { return TriangleSet(v.begin(), v.end()); }

/// The rule "the centroid lies inside the ring" (non-zero winding number, exact).
inline Rule insideOf(const std::vector<Point2>& vRing) {
  return [vRing](const Triangle2* pT) { return dt2test::windingNumberAtCentroid(vRing, pT) != 0; };
}

/// Checks that the zone lists each triangle once and exactly those of dt that satisfy the rule.
inline ::testing::AssertionResult isZoneOf(const Zone2* pZone, const Zarn_2D& dt, const Rule& rule) {
  const std::vector<Triangle2*> v(trianglesOf(pZone));
  const TriangleSet sZone(setOf(v));
  TriangleSet sWant;
  for (const Triangle2* pT : trianglesOf(dt)) {
    if (rule(pT)) sWant.insert(pT);
  }
  if (sZone.size() != v.size()) return ::testing::AssertionFailure() << "a triangle is listed twice";
  if (sZone == sWant) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << "the zone's " << sZone.size() << " triangles are not the rule's " << sWant.size();
}

}  // namespace zonetest
