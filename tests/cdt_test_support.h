// An independent exact check of a constrained (or conforming) Delaunay triangulation against the
// segments the user asked for. Everything is decided with the rational predicates of
// dt2_test_support.h (GMP); neither the library's predicates nor its validity check are used.
//
// What "correct" means here, for a triangulation T, its alive constraint segments C and the
// user's segments S:
//   - T is a valid triangulation of a convex region (links, fans, Euler, one border cycle);
//   - every edge of T that is not in C is locally Delaunay (so T is the constrained Delaunay
//     triangulation of its vertices and C, by the classical local-to-global argument of Chew);
//   - every segment of C is an edge of T, and no two of them meet except at a shared end;
//   - every segment of S is covered by the alive leaves of its split tree: a chain from one end
//     vertex to the other, monotone along the segment, each vertex on the segment's line up to the
//     rounding of intersection points;
//   - no input point has been lost.
#pragma once

#include <set>

#include "ConstraintMgr.h"
#include "Dt2.h"
#include "Zarn_2D.h"
#include "dt2_test_support.h"

namespace cdttest {

using namespace KORA_ZARN2D;

struct CdtCheckOptions {
  /// Require the constraint edges to be locally Delaunay as well: the result of a conforming
  /// insertion that no other constraint disturbs is a plain Delaunay triangulation.
  bool bConstraintEdgesDelaunay = false;
  /// How far a vertex of a piece may lie from the line of its user segment, in units in the last
  /// place of the largest coordinate magnitude involved. A crossing vertex is the rounded exact
  /// intersection of two pieces, each within this distance of its own line; rounding adds at most
  /// one unit per nesting level, so a few units suffice unless crossings pile up in one spot.
  double maxUlpsOffLine = 4.0;
  /// Accept user segments with skipped pieces (ConstraintSegment2::isSkipped), uncovered there:
  /// only when the library has reported that it skipped segments.
  bool bSkippedAllowed = false;
  /// Check the isConstraint queries too: for triangle edges, vertex pairs (both orders) and vertices
  /// they agree with the alive segments, and a dead segment whose ends happen to be adjacent is none.
  bool bQueries = false;
};

inline std::vector<ConstraintSegment2*> aliveSegments(const Zarn_2D& dt) {
  return dt2test::gathered<ConstraintSegment2*>([&](auto& v) { dt.getAliveConstraintSegments(v); });
}
inline std::vector<ConstraintSegment2*> allSegments(const Zarn_2D& dt) {
  return dt2test::gathered<ConstraintSegment2*>([&](auto& v) { dt.getAliveAndDeadConstraintSegments(v); });
}
inline std::vector<ConstraintSegment2*> originals(const ConstraintGraph2* pGraph) {
  return dt2test::gathered<ConstraintSegment2*>([&](auto& v) { pGraph->getOriginalConstraintSegments(v); });
}

/// True when the closed segments a-b and c-d have a point in common (exact).
inline bool closedSegmentsMeet(const Point2& a, const Point2& b, const Point2& c, const Point2& d) {
  using dt2test::exactOrientation;
  const int o1(exactOrientation(a, b, c)), o2(exactOrientation(a, b, d)), o3(exactOrientation(c, d, a)), o4(exactOrientation(c, d, b));
  if (o1 * o2 < 0 && o3 * o4 < 0) return true;
  const auto within = [](const Point2& p, const Point2& q, const Point2& r) {  // r on the line p-q
    return std::min(p.x(), q.x()) <= r.x() && r.x() <= std::max(p.x(), q.x()) && std::min(p.y(), q.y()) <= r.y() && r.y() <= std::max(p.y(), q.y());
  };
  return (o1 == 0 && within(a, b, c)) || (o2 == 0 && within(a, b, d)) || (o3 == 0 && within(c, d, a)) || (o4 == 0 && within(c, d, b));
}

/// The double nearest to q, ties to even.
inline double nearestDouble(const mpq_class& q) {
  const double d(q.get_d());  // truncated towards zero
  const double further(std::nextafter(d, sgn(q) > 0 ? HUGE_VAL : -HUGE_VAL));
  const int c(cmp(abs(q - mpq_class(d)), abs(q - mpq_class(further))));
  int e(0);
  return c < 0 || (c == 0 && std::fmod(std::ldexp(std::frexp(d, &e), 53), 2.0) == 0.0) ? d : further;
}

/// The common point of two segments that meet in exactly one point, rounded to the nearest doubles.
inline Point2 roundedIntersection(const Segment2& s, const Segment2& t) {
  const Point2 &a(s.getSrc()), &b(s.getTrg()), &c(t.getSrc()), &d(t.getTrg());
  const mpq_class rx(mpq_class(b.x()) - a.x()), ry(mpq_class(b.y()) - a.y());
  const mpq_class sx(mpq_class(d.x()) - c.x()), sy(mpq_class(d.y()) - c.y());
  const mpq_class den(rx * sy - ry * sx);
  if (den == 0) return a == b ? a : c;  // parallel: one of them is a point
  const mpq_class lambda(((mpq_class(c.x()) - a.x()) * sy - (mpq_class(c.y()) - a.y()) * sx) / den);
  return Point2(nearestDouble(a.x() + lambda * rx), nearestDouble(a.y() + lambda * ry));
}

namespace detail {

using EdgeKey = std::pair<const Point2*, const Point2*>;

inline EdgeKey edgeKey(const Point2* a, const Point2* b) { return a < b ? EdgeKey(a, b) : EdgeKey(b, a); }

inline bool isFinite(const Point2& p) { return std::isfinite(p.x()) && std::isfinite(p.y()); }

/// Segments with a non-finite end or equal ends are skipped whole (with a warning).
inline bool isSkippedWhole(const Segment2& seg) { return !isFinite(seg.getSrc()) || !isFinite(seg.getTrg()) || seg.getSrc() == seg.getTrg(); }

inline std::string str(const Point2& p) { return dt2test::detail::str(p); }

/// Squared distance of p from the line a-b in units in the last place of the largest coordinate
/// magnitude of a, b and p (the smallest subnormal below, the smallest normal double for all zero),
/// exactly evaluated then rounded.
inline double offLineInUlpsSquared(const Point2& a, const Point2& b, const Point2& p) {
  const double m(std::max({std::fabs(a.x()), std::fabs(a.y()), std::fabs(b.x()), std::fabs(b.y()), std::fabs(p.x()), std::fabs(p.y())}));
  const double ulp(m > 0.0 ? std::max(std::ldexp(DBL_EPSILON, std::ilogb(m)), DBL_TRUE_MIN) : DBL_MIN);
  const mpq_class dx(mpq_class(b.x()) - a.x()), dy(mpq_class(b.y()) - a.y()), u(ulp);
  const mpq_class cross(dt2test::orientationDeterminant<mpq_class>(a, b, p));
  return mpq_class(cross * cross / ((dx * dx + dy * dy) * u * u)).get_d();
}

/// (p - a) . (b - a), exactly: the position of p along a -> b, scaled by |b - a|².
inline mpq_class along(const Point2& a, const Point2& b, const Point2& p) {
  const mpq_class ax(a.x()), ay(a.y());
  return (mpq_class(p.x()) - ax) * (mpq_class(b.x()) - ax) + (mpq_class(p.y()) - ay) * (mpq_class(b.y()) - ay);
}

/// True when the closed segments a-b and c-d share more than the vertices they have in common:
/// a crossing, an end touching the other's interior, or a collinear overlap. Vertex positions are
/// distinct, so shared ends are recognised by their handles.
inline bool meetBeyondSharedEnds(const Point2* a, const Point2* b, const Point2* c, const Point2* d) {
  if (edgeKey(a, b) == edgeKey(c, d)) return true;
  for (const Point2* pShared : {a, b}) {
    if (pShared != c && pShared != d) continue;
    const Point2& other1(pShared == a ? *b : *a);
    const Point2& other2(pShared == c ? *d : *c);
    return dt2test::exactOrientation(*pShared, other1, other2) == 0 && sgn(along(*pShared, other1, other2)) > 0;
  }
  return closedSegmentsMeet(*a, *b, *c, *d);
}

/// True when the split tree below pCSeg holds a skipped segment.
inline bool hasSkippedPiece(ConstraintSegment2* pCSeg) {
  if (pCSeg->isAlive() || pCSeg->isSkipped()) return pCSeg->isSkipped();
  ConstraintSegment2 *pKid0(nullptr), *pKid1(nullptr);
  Point2* pSplit(nullptr);
  pCSeg->getChildrenAndSplitPoint(pKid0, pKid1, pSplit);
  return hasSkippedPiece(pKid0) || hasSkippedPiece(pKid1);
}

// (d) No two alive segments meet except at a shared end (a sweep over x-extents).
inline void checkNoCrossings(std::vector<ConstraintSegment2*> vAlive, dt2test::detail::Defects& d) {
  const auto minX = [](const ConstraintSegment2* p) { return std::min(p->getSrc()->x(), p->getTrg()->x()); };
  const auto maxX = [](const ConstraintSegment2* p) { return std::max(p->getSrc()->x(), p->getTrg()->x()); };
  std::sort(vAlive.begin(), vAlive.end(), [&](const ConstraintSegment2* l, const ConstraintSegment2* r) { return minX(l) < minX(r); });
  for (size_t i = 0; i < vAlive.size(); ++i) {
    const Point2 *a(vAlive[i]->getSrc()), *b(vAlive[i]->getTrg());
    for (size_t j = i + 1; j < vAlive.size() && minX(vAlive[j]) <= maxX(vAlive[i]); ++j) {
      const Point2 *c(vAlive[j]->getSrc()), *e(vAlive[j]->getTrg());
      if (std::max(c->y(), e->y()) < std::min(a->y(), b->y()) || std::min(c->y(), e->y()) > std::max(a->y(), b->y())) continue;
      if (meetBeyondSharedEnds(a, b, c, e)) {
        d.add("alive constraint segments " + str(*a) + "-" + str(*b) + " and " + str(*c) + "-" + str(*e) + " meet");
      }
    }
  }
}

}  // namespace detail

/// Checks that vChain runs along the user segment a-b from first to last: every point within
/// maxUlps of its line, strictly advancing, starting at first and ending at last.
inline ::testing::AssertionResult isChainAlong(const Segment2& seg, const std::vector<Point2>& vChain, const Point2& first, const Point2& last,
                                               double maxUlps = 4.0) {
  const Point2& a(seg.getSrc());
  const Point2& b(seg.getTrg());
  dt2test::detail::Defects d;
  if (vChain.size() < 2) return ::testing::AssertionFailure() << "a chain of " << vChain.size() << " point(s)";
  if (!(vChain.front() == first)) d.add("the chain starts at " + detail::str(vChain.front()) + ", not at " + detail::str(first));
  if (!(vChain.back() == last)) d.add("the chain ends at " + detail::str(vChain.back()) + ", not at " + detail::str(last));
  for (size_t i = 0; i < vChain.size(); ++i) {
    const Point2& p(vChain[i]);
    const double offSq(detail::offLineInUlpsSquared(a, b, p));
    if (offSq > maxUlps * maxUlps) d.add(detail::str(p) + " lies " + std::to_string(std::sqrt(offSq)) + " ulps off the line");
    if (i > 0 && detail::along(a, b, p) <= detail::along(a, b, vChain[i - 1])) d.add("the chain does not advance at " + detail::str(p));
  }
  return d.result();
}

namespace detail {

// (c) The alive leaves of the user segment's split tree, each directed along the segment and sorted
// by where they start, form a chain from one end to the other that never turns back, close to the
// segment's line.
inline void checkCoverage(const Zarn_2D& dt, const std::map<std::pair<double, double>, Point2*>& mVertexAt, const Segment2& seg,
                          const CdtCheckOptions& options, dt2test::detail::Defects& d) {
  const Point2& a(seg.getSrc());
  const Point2& b(seg.getTrg());
  const std::string name("user segment " + str(a) + "-" + str(b));
  const auto itA(mVertexAt.find(std::make_pair(a.x(), a.y())));
  const auto itB(mVertexAt.find(std::make_pair(b.x(), b.y())));
  ConstraintSegment2* pRoot(itA == mVertexAt.end() || itB == mVertexAt.end() ? nullptr : dt.getConstraintSegment(itA->second, itB->second));
  if (pRoot == nullptr) return d.add(name + ": no constraint segment registered for its ends");
  if (hasSkippedPiece(pRoot)) {
    if (!options.bSkippedAllowed) d.add(name + ": pieces were skipped");
    return;
  }
  std::vector<ConstraintSegment2*> vPieces;
  if (pRoot->isAlive()) vPieces.push_back(pRoot);
  if (!pRoot->isAlive()) pRoot->getChildrenRec(vPieces);
  std::vector<std::pair<mpq_class, ConstraintSegment2*>> vByStart;
  for (ConstraintSegment2* pCSeg : vPieces) vByStart.emplace_back(std::min(along(a, b, *pCSeg->getSrc()), along(a, b, *pCSeg->getTrg())), pCSeg);
  std::sort(vByStart.begin(), vByStart.end(), [](const auto& l, const auto& r) { return l.first < r.first; });
  const Point2* pCur(itA->second);
  std::vector<Point2> vChain{*pCur};
  for (const auto& start : vByStart) {
    if (start.second->getSrc() != pCur && start.second->getTrg() != pCur) return d.add(name + ": its pieces do not run on from " + str(*pCur));
    pCur = start.second->getSrc() == pCur ? start.second->getTrg() : start.second->getSrc();
    vChain.push_back(*pCur);
  }
  const ::testing::AssertionResult chain(isChainAlong(seg, vChain, a, b, options.maxUlpsOffLine));
  if (!chain) d.add(name + ": " + chain.message());
}

}  // namespace detail

/// Checks dt against the input points and the user segments (see the top of this file). Segments
/// with a non-finite coordinate or equal ends are not expected to be covered.
inline ::testing::AssertionResult isConstrainedDelaunay(const Zarn_2D& dt, const std::vector<Point2>& vInputPoints,
                                                         const std::vector<Segment2>& vUserSegments,
                                                         const CdtCheckOptions& options = CdtCheckOptions()) {
  using detail::edgeKey;
  dt2test::detail::Defects d;
  std::vector<Point2*> vVertices(dt2test::verticesOf(dt));
  std::vector<Triangle2*> vT;
  // Topology, with the checks of the unconstrained checker against dt's own vertices.
  if (!dt2test::detail::checkTriangulationOf(dt, dt2test::positionsOf(vVertices), vT, d) || vT.empty()) {
    d.add("the triangulation is not 2D or its links are broken");
    return d.result();
  }

  // (e) Nothing lost.
  std::map<std::pair<double, double>, Point2*> mVertexAt;
  for (Point2* pV : vVertices) mVertexAt.emplace(std::make_pair(pV->x(), pV->y()), pV);
  const auto expectVertex = [&](const Point2& p) {
    if (detail::isFinite(p) && mVertexAt.count(std::make_pair(p.x(), p.y())) == 0) d.add("lost input point " + detail::str(p));
  };
  for (const Point2& p : vInputPoints) expectVertex(p);
  for (const Segment2& seg : vUserSegments) {
    if (detail::isSkippedWhole(seg)) continue;
    expectVertex(seg.getSrc());
    expectVertex(seg.getTrg());
  }
  // (b) Alive segments are edges, (a) every edge that is not a constraint is locally Delaunay.
  const std::vector<ConstraintSegment2*> vAlive(aliveSegments(dt));
  std::set<detail::EdgeKey> sConstraintEdges;
  std::set<const Point2*> sEnds;
  for (const ConstraintSegment2* pCSeg : vAlive) {
    if (!pCSeg->isAlive()) d.add("getAliveConstraintSegments returns a dead segment");
    sConstraintEdges.insert(edgeKey(pCSeg->getSrc(), pCSeg->getTrg()));
    sEnds.insert({pCSeg->getSrc(), pCSeg->getTrg()});
  }
  std::set<detail::EdgeKey> sNoEdge(sConstraintEdges);
  for (Triangle2* pT : vT) {
    for (int i = 0; i < 3; ++i) {
      Point2 *a(pT->getCorner(incIndexBy1(i))), *b(pT->getCorner(incIndexBy2(i)));
      const detail::EdgeKey key(edgeKey(a, b));
      sNoEdge.erase(key);
      const Triangle2* pN(pT->getOppositeTriangle(i));
      const bool bConstraint(sConstraintEdges.count(key) > 0);
      if (options.bQueries && (dt.isConstraint(pT, i) != bConstraint || dt.isConstraint(a, b) != bConstraint || dt.isConstraint(b, a) != bConstraint)) {
        d.add("isConstraint disagrees for the edge " + detail::str(*a) + " - " + detail::str(*b));
      }
      if (options.bQueries && dt.isConstraint(a) != (sEnds.count(a) > 0)) d.add("isConstraint disagrees for the vertex " + detail::str(*a));
      if (pN < pT || (bConstraint && !options.bConstraintEdgesDelaunay) || !dt2test::detail::isNotLocallyDelaunay(pT, i)) continue;
      d.add(std::string(bConstraint ? "constraint" : "non-constraint") + " edge not locally Delaunay: " + dt2test::detail::str(pT) +
            " / " + dt2test::detail::str(pN));
    }
  }
  for (ConstraintSegment2* pCSeg : allSegments(dt)) {
    if (options.bQueries && !pCSeg->isAlive() && dt.isConstraint(pCSeg->getSrc(), pCSeg->getTrg())) d.add("a dead segment counts as a constraint");
  }
  for (const detail::EdgeKey& key : sNoEdge) d.add("alive constraint segment " + detail::str(*key.first) + "-" + detail::str(*key.second) + " is not an edge");

  // (c) Coverage of each user segment, (d) no crossings among the alive pieces.
  for (const Segment2& seg : vUserSegments) {
    if (detail::isSkippedWhole(seg)) continue;
    detail::checkCoverage(dt, mVertexAt, seg, options, d);
  }
  detail::checkNoCrossings(vAlive, d);
  return d.result();
}

// ----- Areas and quality meshes -------------------------------------------------------------------

/// Twice the signed area of the triangle a, b, c, exactly.
inline mpq_class exactDoubleArea(const Point2& a, const Point2& b, const Point2& c) { return dt2test::orientationDeterminant<mpq_class>(a, b, c); }

/// The total area of the triangles, exactly.
inline mpq_class exactArea(const std::vector<Triangle2*>& vTriangles) {
  mpq_class sum(0);
  for (const Triangle2* pT : vTriangles) sum += exactDoubleArea(*pT->getCorner(0), *pT->getCorner(1), *pT->getCorner(2));
  return sum / 2;
}


/// The bounds a refined zone must meet (see meetsMeshBounds).
struct MeshBounds {
  double minAngleDegree = 0.0;
  /// The longest edge allowed for a triangle (the refinement's per-triangle size function).
  std::function<double(Triangle2*)> maxEdgeOf = [](Triangle2*) { return DBL_MAX; };
  /// The zone's expected area (the polygon's), or negative to skip the comparison.
  double expectedArea = -1.0;
};

namespace detail {

/// The angle a-o-b in degrees, in long double from the exact-input cross and dot products.
inline long double angleDegrees(const Point2& o, const Point2& a, const Point2& b) {
  const long double ax((long double)a.x() - o.x()), ay((long double)a.y() - o.y());
  const long double bx((long double)b.x() - o.x()), by((long double)b.y() - o.y());
  return std::atan2(std::fabs(ax * by - ay * bx), ax * bx + ay * by) * 180.0L / 3.14159265358979323846264338327950288L;
}

/// The smallest angle of pT in degrees.
inline long double minAngleDegrees(const Triangle2* pT) {
  long double minAngle(180.0L);
  for (int i = 0; i < 3; ++i) minAngle = std::min(minAngle, angleDegrees(*pT->getCorner(i), *pT->getCorner(incIndexBy1(i)), *pT->getCorner(incIndexBy2(i))));
  return minAngle;
}

/// True when p lies on the closed segment s up to the rounding of split points (4 units in the
/// last place of the largest coordinate off its line).
inline bool isOnSegment(const Segment2& s, const Point2& p) {
  const Point2& a(s.getSrc());
  const Point2& b(s.getTrg());
  return offLineInUlpsSquared(a, b, p) <= 16.0 && sgn(along(a, b, p)) >= 0 && sgn(along(b, a, p)) >= 0;
}

/// Pairs of input segments with a common end at which they meet at less than maxDegree.
inline std::vector<std::pair<Segment2, Segment2>> smallInputAngles(const std::vector<Segment2>& vInput, double maxDegree) {
  std::vector<std::pair<Segment2, Segment2>> vPairs;
  for (size_t i = 0; i < vInput.size(); ++i) {
    for (size_t j = i + 1; j < vInput.size(); ++j) {
      for (const Point2& apex : {vInput[i].getSrc(), vInput[i].getTrg()}) {
        if (!(apex == vInput[j].getSrc()) && !(apex == vInput[j].getTrg())) continue;
        const Point2& a(apex == vInput[i].getSrc() ? vInput[i].getTrg() : vInput[i].getSrc());
        const Point2& b(apex == vInput[j].getSrc() ? vInput[j].getTrg() : vInput[j].getSrc());
        if (angleDegrees(apex, a, b) < maxDegree) vPairs.push_back(std::make_pair(vInput[i], vInput[j]));
      }
    }
  }
  return vPairs;
}

/// True when two corners of pT lie on the two segments of a small input angle (one on each).
inline bool touchesSmallInputAngle(const Triangle2* pT, const std::vector<std::pair<Segment2, Segment2>>& vSmall) {
  for (const std::pair<Segment2, Segment2>& pair : vSmall) {
    for (int i = 0; i < 3; ++i) {
      for (int j = 0; j < 3; ++j) {
        if (i != j && isOnSegment(pair.first, *pT->getCorner(i)) && isOnSegment(pair.second, *pT->getCorner(j))) return true;
      }
    }
  }
  return false;
}

}  // namespace detail

/// Checks the triangles of a refined zone: every smallest angle at least minAngleDegree, except
/// in triangles that touch two input segments meeting at a smaller angle (their number goes to
/// numInputAngleExceptions); every edge within maxEdgeOf of its triangle; the zone's area equal to
/// expectedArea (relative 1e-9, the area exact). Angles in long double from exact-input differences.
inline ::testing::AssertionResult meetsMeshBounds(const std::vector<Triangle2*>& vZone, const std::vector<Segment2>& vInput,
                                                   const MeshBounds& bounds, size_t& numInputAngleExceptions) {
  dt2test::detail::Defects d;
  const std::vector<std::pair<Segment2, Segment2>> vSmall(detail::smallInputAngles(vInput, bounds.minAngleDegree));
  numInputAngleExceptions = 0;
  for (Triangle2* pT : vZone) {
    const long double minAngle(detail::minAngleDegrees(pT));
    if (minAngle < bounds.minAngleDegree) {
      if (detail::touchesSmallInputAngle(pT, vSmall)) {
        ++numInputAngleExceptions;
      } else {
        d.add("smallest angle " + std::to_string((double)minAngle) + " in " + dt2test::detail::str(pT));
      }
    }
    const double maxEdge(bounds.maxEdgeOf(pT));
    for (int i = 0; i < 3; ++i) {
      if (std::sqrt(pT->getSquaredEdgeLength(i)) > maxEdge * (1.0 + 1e-12)) {
        d.add("edge of length " + std::to_string(std::sqrt(pT->getSquaredEdgeLength(i))) + " above " + std::to_string(maxEdge) + " in " +
              dt2test::detail::str(pT));
      }
    }
  }
  const double area(exactArea(vZone).get_d());
  if (bounds.expectedArea >= 0.0 && std::fabs(area - bounds.expectedArea) > 1e-9 * bounds.expectedArea) {
    d.add("zone area " + std::to_string(area) + " differs from " + std::to_string(bounds.expectedArea));
  }
  return d.result();
}

// ----- Segments over a triangulation (cutting, draping) -------------------------------------

/// True when p lies in the closed convex polygon given by its counterclockwise corners (exact), or
/// outside an edge's line by at most maxUlps > 0 units in the last place of the largest coordinate
/// involved (rounded crossings). With maxUlps 0 only the exact orientations decide: a distance in
/// units may round to zero.
inline bool isInConvexPolygon(const std::vector<Point2>& vCorners, const Point2& p, double maxUlps = 0.0) {
  for (size_t i = 0; i < vCorners.size(); ++i) {
    const Point2 &c1(vCorners[i]), &c2(vCorners[(i + 1) % vCorners.size()]);
    const bool bBeside(maxUlps > 0.0 && detail::offLineInUlpsSquared(c1, c2, p) <= maxUlps * maxUlps);
    if (dt2test::exactOrientation(c1, c2, p) < 0 && !bBeside) return false;
  }
  return true;
}

inline bool isInTriangleUpTo(const Triangle2& t, const Point2& p, double maxUlps) {
  return isInConvexPolygon({*t.getCorner(0), *t.getCorner(1), *t.getCorner(2)}, p, maxUlps);
}

/// True when the closed segment a-b meets the closed triangle t (exact).
inline bool segmentMeetsTriangle(const Point2& a, const Point2& b, const Triangle2& t) {
  if (isInTriangleUpTo(t, a, 0.0) || isInTriangleUpTo(t, b, 0.0)) return true;
  for (int i = 0; i < 3; ++i) {
    if (closedSegmentsMeet(a, b, *t.getCorner(i), *t.getCorner(incIndexBy1(i)))) return true;
  }
  return false;
}

/// The vertices of dt within maxUlps of the line of a-b and between first and last (along it),
/// in order from first to last.
inline std::vector<Point2*> verticesAlong(const Zarn_2D& dt, const Segment2& seg, const Point2& first, const Point2& last, double maxUlps = 4.0) {
  const Point2& a(seg.getSrc());
  const Point2& b(seg.getTrg());
  std::vector<Point2*> vOn;
  const mpq_class lo(detail::along(a, b, first)), hi(detail::along(a, b, last));
  for (Point2* p : dt2test::verticesOf(dt)) {
    const mpq_class pos(detail::along(a, b, *p));
    if (pos >= lo && pos <= hi && detail::offLineInUlpsSquared(a, b, *p) <= maxUlps * maxUlps) vOn.push_back(p);
  }
  std::sort(vOn.begin(), vOn.end(), [&](const Point2* p, const Point2* q) { return detail::along(a, b, *p) < detail::along(a, b, *q); });
  return vOn;
}


inline bool isEdge(const Zarn_2D& dt, Point2* a, Point2* b) { return dt.getAdjacentTriangle(a, b) != nullptr || dt.getAdjacentTriangle(b, a) != nullptr; }

/// Checks that consecutive vertices of vChain are joined by edges of dt (constraint edges when
/// bConstraint says so; no check of that when it is null).
inline ::testing::AssertionResult isEdgeChain(const Zarn_2D& dt, const std::vector<Point2*>& vChain, const bool* pbConstraint = nullptr) {
  for (size_t i = 1; i < vChain.size(); ++i) {
    Point2 *p(vChain[i - 1]), *q(vChain[i]);
    if (!isEdge(dt, p, q) || (pbConstraint != nullptr && dt.isConstraint(p, q) != *pbConstraint)) {
      return ::testing::AssertionFailure() << detail::str(*p) << " - " << detail::str(*q) << ": edge " << isEdge(dt, p, q) << ", constraint "
                                           << dt.isConstraint(p, q);
    }
  }
  return ::testing::AssertionSuccess();
}

// ----- Helpers of the constraint tests ---------------------------------------------------------

/// Bulk-inserts vPoints (and runs the library's check); their vertices in input order.
inline std::vector<Point2*> insertPoints(Zarn_2D& dt, const std::vector<Point2>& vPoints) {
  std::vector<Point2*> vHandles;
  dt.insert(vPoints, vHandles);
  EXPECT_TRUE(dt2test::libraryCheckValidity(dt));
  return vHandles;
}

/// The vertex at which pGraph starts reading pCSeg.
inline Point2* readingStart(const ConstraintGraph2* pGraph, ConstraintSegment2* pCSeg) {
  return pGraph->isReverse(pCSeg) ? pCSeg->getTrg() : pCSeg->getSrc();
}

/// createConstraint with its console output captured; the graph goes to *ppGraph when asked.
inline std::string create(Zarn_2D& dt, std::vector<Segment2> vSegments, ConstraintInsertionStrategy cis, ConstraintGraph2** ppGraph = nullptr) {
  ::testing::internal::CaptureStdout();
  ConstraintGraph2* pGraph(dt.createConstraint(vSegments, cis, false));
  if (ppGraph != nullptr) *ppGraph = pGraph;
  return ::testing::internal::GetCapturedStdout();
}

/// The vertex at exactly (x, y), or null.
inline Point2* vertexAt(const Zarn_2D& dt, double x, double y) {
  for (Point2* p : dt2test::verticesOf(dt)) {
    if (p->x() == x && p->y() == y) return p;
  }
  return nullptr;
}

/// The library's validity check, the exact oracle and the isConstraint queries, after a mutation.
inline ::testing::AssertionResult validCdt(Zarn_2D& dt, const std::vector<Point2>& vPoints, const std::vector<Segment2>& vSegments,
                                           double maxUlpsOffLine = 4.0) {
  const ::testing::AssertionResult library(dt2test::libraryCheckValidity(dt));
  return library ? isConstrainedDelaunay(dt, vPoints, vSegments, CdtCheckOptions{false, maxUlpsOffLine, false, true}) : library;
}

/// The constraint bookkeeping against the split trees, for every graph of dt: each split segment's
/// children come in the graph's reading direction (getDirectChildren, isReverse), the graph's pieces
/// are the alive leaves below its originals, a polygon's ring lists the reading start of each piece
/// in order, every segment of a tree counts the graphs above it as owners, and the manager counts
/// one split per split segment; pieces keep their parent's strategy.
inline ::testing::AssertionResult isBookkeepingConsistent(Zarn_2D& dt) {
  dt2test::detail::Defects d;
  std::map<const ConstraintSegment2*, unsigned> mOwners;
  ConstraintMgr* pMgr(dt.getImpl()->getConstraintMgr());
  for (ConstraintGraph2* pGraph : pMgr->getGraphs()) {
    std::vector<ConstraintSegment2*> vLeaves, vPieces;
    std::vector<Point2*> vRing, vRingWant;
    std::set<const ConstraintSegment2*> sTree;
    std::function<void(ConstraintSegment2*, Point2*)> read = [&](ConstraintSegment2* pCSeg, Point2* pFrom) {
      sTree.insert(pCSeg);
      if (pCSeg->isSkipped()) return;
      if (readingStart(pGraph, pCSeg) != pFrom) d.add("a piece is not read from " + detail::str(*pFrom));
      ConstraintSegment2 *pKid0(nullptr), *pKid1(nullptr), *pFirst(pCSeg), *pSecond(pCSeg);
      pGraph->getDirectChildren(pCSeg, pFirst, pSecond);
      if (pCSeg->isAlive()) {
        vLeaves.push_back(pCSeg);
        vRingWant.push_back(pFrom);
        if (!pGraph->isConstraint(pCSeg) || !pGraph->isConstraint(pCSeg->getSrc(), pCSeg->getTrg())) d.add("a piece is no constraint of its graph");
        if (pFirst != nullptr || pSecond != nullptr) d.add("an alive piece has direct children");
        return;
      }
      if (pGraph->isConstraint(pCSeg->getSrc(), pCSeg->getTrg())) d.add("a split segment is still a constraint of its graph");
      Point2* pSplit(nullptr);
      pCSeg->getChildrenAndSplitPoint(pKid0, pKid1, pSplit);
      if (pKid1->getSrc() == pFrom || pKid1->getTrg() == pFrom) std::swap(pKid0, pKid1);
      if (pKid0->getCIS() != pCSeg->getCIS() || pKid1->getCIS() != pCSeg->getCIS()) d.add("a piece has another strategy than its parent");
      if (pFirst != pKid0 || pSecond != pKid1) d.add("direct children not in reading order at " + detail::str(*pSplit));
      read(pKid0, pFrom);
      read(pKid1, pSplit);
    };
    for (ConstraintSegment2* pCSeg : originals(pGraph)) read(pCSeg, readingStart(pGraph, pCSeg));
    for (const ConstraintSegment2* pCSeg : sTree) ++mOwners[pCSeg];
    pGraph->getChildConstraintSegments(vPieces);
    std::sort(vLeaves.begin(), vLeaves.end());
    vLeaves.erase(std::unique(vLeaves.begin(), vLeaves.end()), vLeaves.end());
    if (vPieces != vLeaves) d.add("the pieces of a graph are not the alive leaves of its originals");
    if (pGraph->isPolygon()) pGraph->getPolygonVertices(vRing);
    if (pGraph->isPolygon() && vRing != vRingWant) d.add("a polygon's ring differs from the reading starts of its pieces");
  }
  size_t numSplit(0);
  for (ConstraintSegment2* pCSeg : allSegments(dt)) {
    numSplit += !pCSeg->isAlive() && !pCSeg->isSkipped();
    if (pCSeg->getNumberOfOwners() != mOwners[pCSeg]) {
      d.add("a segment has " + std::to_string(pCSeg->getNumberOfOwners()) + " owners, not " + std::to_string(mOwners[pCSeg]));
    }
  }
  if (pMgr->numberOfSplits() != numSplit) d.add("the manager counts " + std::to_string(pMgr->numberOfSplits()) + " splits, not " + std::to_string(numSplit));
  return d.result();
}

}  // namespace cdttest
