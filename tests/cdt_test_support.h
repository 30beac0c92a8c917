// An independent exact check of a constrained (or conforming) Delaunay triangulation against the
// segments the user asked for. Everything is decided with the rational predicates of
// dt2_test_support.h (GMP); neither the library's predicates nor its validity check are used.
//
// What "correct" means here, for a triangulation T, its alive constraint segments C and the
// user's segments S:
//   - T is a valid triangulation of a convex region (links, fans, connectivity, Euler, border);
//   - every edge of T that is not in C is locally Delaunay (so T is the constrained Delaunay
//     triangulation of its vertices and C, by the classical local-to-global argument of Chew);
//   - every segment of C is an edge of T, and no two of them meet except at a shared end;
//   - every segment of S is covered by the alive leaves of its split tree: a chain from one end
//     vertex to the other, monotone along the segment, each vertex on the segment's line up to the
//     rounding of intersection points;
//   - no input point has been lost.
#pragma once

#include <gmpxx.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

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
};

namespace detail {

using EdgeKey = std::pair<const Point2*, const Point2*>;

inline EdgeKey edgeKey(const Point2* a, const Point2* b) { return a < b ? EdgeKey(a, b) : EdgeKey(b, a); }

inline bool isFinite(const Point2& p) { return std::isfinite(p.x()) && std::isfinite(p.y()); }

inline std::string str(const Point2& p) { return dt2test::detail::str(p); }

/// One unit in the last place of magnitude m (the smallest subnormal for subnormal m, the smallest
/// normal double for m == 0).
inline double ulpOf(double m) { return m > 0.0 ? std::max(std::ldexp(DBL_EPSILON, std::ilogb(m)), DBL_TRUE_MIN) : DBL_MIN; }

/// Squared distance of p from the line a-b divided by ulp², exactly evaluated then rounded.
inline double offLineInUlpsSquared(const Point2& a, const Point2& b, const Point2& p, double ulp) {
  const mpq_class ax(a.x()), ay(a.y());
  const mpq_class dx(mpq_class(b.x()) - ax), dy(mpq_class(b.y()) - ay);
  const mpq_class cross(dx * (mpq_class(p.y()) - ay) - dy * (mpq_class(p.x()) - ax));
  const mpq_class u(ulp);
  const mpq_class q(cross * cross / ((dx * dx + dy * dy) * u * u));
  return q.get_d();
}

/// (p - a) . (b - a), exactly: the position of p along a -> b, scaled by |b - a|².
inline mpq_class along(const Point2& a, const Point2& b, const Point2& p) {
  const mpq_class ax(a.x()), ay(a.y());
  return (mpq_class(p.x()) - ax) * (mpq_class(b.x()) - ax) + (mpq_class(p.y()) - ay) * (mpq_class(b.y()) - ay);
}

inline bool lexLess(const Point2& a, const Point2& b) { return dt2test::lessXY(a, b); }

/// True when the closed segments a-b and c-d share more than the vertices they have in common:
/// a proper crossing, an end touching the other's interior, or a collinear overlap. Vertex
/// positions are distinct, so shared ends are recognised by their handles.
inline bool meetBeyondSharedEnds(const Point2* a, const Point2* b, const Point2* c, const Point2* d, std::string& how) {
  using dt2test::exactOrientation;
  if (edgeKey(a, b) == edgeKey(c, d)) {
    how = "same vertex pair twice";
    return true;
  }
  const Point2* pShared(nullptr);
  const Point2* pOther1(nullptr);
  const Point2* pOther2(nullptr);
  if (a == c || a == d) {
    pShared = a;
    pOther1 = b;
    pOther2 = (a == c) ? d : c;
  } else if (b == c || b == d) {
    pShared = b;
    pOther1 = a;
    pOther2 = (b == c) ? d : c;
  }
  if (pShared != nullptr) {
    const bool bOverlap(exactOrientation(*pShared, *pOther1, *pOther2) == 0 && sgn(along(*pShared, *pOther1, *pOther2)) > 0);
    if (bOverlap) how = "collinear overlap beyond the shared vertex";
    return bOverlap;
  }
  const int o1(exactOrientation(*a, *b, *c)), o2(exactOrientation(*a, *b, *d));
  const int o3(exactOrientation(*c, *d, *a)), o4(exactOrientation(*c, *d, *b));
  if (o1 == 0 && o2 == 0) {
    // Collinear: compare the extents along the line lexicographically.
    const Point2* aMin(lexLess(*a, *b) ? a : b);
    const Point2* aMax(aMin == a ? b : a);
    const Point2* cMin(lexLess(*c, *d) ? c : d);
    const Point2* cMax(cMin == c ? d : c);
    const bool bOverlap(!lexLess(*aMax, *cMin) && !lexLess(*cMax, *aMin));
    if (bOverlap) how = "collinear overlap";
    return bOverlap;
  }
  if (o1 * o2 > 0 || o3 * o4 > 0) return false;
  how = (o1 != 0 && o2 != 0 && o3 != 0 && o4 != 0) ? "proper crossing" : "an end touches the other's interior";
  return true;
}

/// True when the split tree below pCSeg holds a skipped segment.
inline bool hasSkippedPiece(ConstraintSegment2* pCSeg) {
  if (pCSeg->isSkipped()) return true;
  if (pCSeg->isAlive()) return false;
  ConstraintSegment2 *pKid0(nullptr), *pKid1(nullptr);
  Point2* pSplit(nullptr);
  pCSeg->getChildrenAndSplitPoint(pKid0, pKid1, pSplit);
  return pKid0 != nullptr && pKid1 != nullptr && (hasSkippedPiece(pKid0) || hasSkippedPiece(pKid1));
}

struct Piece {
  const Point2* a;
  const Point2* b;
  double minX, maxX, minY, maxY;
};

// (d) No two alive segments meet except at a shared end (a sweep over x-extents).
inline void checkNoCrossings(const std::vector<ConstraintSegment2*>& vAlive, dt2test::detail::Defects& d) {
  std::vector<Piece> v;
  v.reserve(vAlive.size());
  for (const ConstraintSegment2* pCSeg : vAlive) {
    const Point2* a(pCSeg->getSrc());
    const Point2* b(pCSeg->getTrg());
    v.push_back(Piece{a, b, std::min(a->x(), b->x()), std::max(a->x(), b->x()), std::min(a->y(), b->y()), std::max(a->y(), b->y())});
  }
  std::sort(v.begin(), v.end(), [](const Piece& l, const Piece& r) { return l.minX < r.minX; });
  for (size_t i = 0; i < v.size(); ++i) {
    for (size_t j = i + 1; j < v.size() && v[j].minX <= v[i].maxX; ++j) {
      if (v[j].maxY < v[i].minY || v[j].minY > v[i].maxY) continue;
      std::string how;
      if (meetBeyondSharedEnds(v[i].a, v[i].b, v[j].a, v[j].b, how)) {
        d.add("alive constraint segments " + str(*v[i].a) + "-" + str(*v[i].b) + " and " + str(*v[j].a) + "-" + str(*v[j].b) + ": " + how);
      }
    }
  }
}

// (c) The alive leaves of the user segment's split tree form a monotone chain from one end to the
// other, close to the segment's line.
inline void checkCoverage(const Zarn_2D& dt, const std::map<std::pair<double, double>, Point2*>& mVertexAt, const Segment2& seg,
                          const CdtCheckOptions& options, dt2test::detail::Defects& d) {
  const Point2& a(seg.getSrc());
  const Point2& b(seg.getTrg());
  const std::string name("user segment " + str(a) + "-" + str(b));
  const auto itA(mVertexAt.find(std::make_pair(a.x(), a.y())));
  const auto itB(mVertexAt.find(std::make_pair(b.x(), b.y())));
  if (itA == mVertexAt.end() || itB == mVertexAt.end()) {
    d.add(name + ": an end is not a vertex");
    return;
  }
  Point2* pA(itA->second);
  Point2* pB(itB->second);
  ConstraintSegment2* pRoot(dt.getConstraintSegment(pA, pB));
  if (pRoot == nullptr) {
    d.add(name + ": no constraint segment registered for its vertices");
    return;
  }
  if (hasSkippedPiece(pRoot)) {
    if (!options.bSkippedAllowed) d.add(name + ": pieces were skipped");
    return;
  }
  std::vector<ConstraintSegment2*> vPieces;
  if (pRoot->isAlive()) {
    vPieces.push_back(pRoot);
  } else {
    try {
      pRoot->getChildrenRec(vPieces);
    } catch (const ZarnException&) {
      d.add(name + ": its segment is dead but has no children");
      return;
    }
  }
  std::multimap<const Point2*, size_t> mIncident;
  for (size_t i = 0; i < vPieces.size(); ++i) {
    mIncident.emplace(vPieces[i]->getSrc(), i);
    mIncident.emplace(vPieces[i]->getTrg(), i);
  }
  const double magnitude(std::max({std::fabs(a.x()), std::fabs(a.y()), std::fabs(b.x()), std::fabs(b.y())}));
  const double maxOffSq(options.maxUlpsOffLine * options.maxUlpsOffLine);
  std::vector<char> vUsed(vPieces.size(), 0);
  const Point2* pCur(pA);
  mpq_class lastPos(0);
  size_t numUsed(0);
  while (pCur != pB) {
    size_t next(vPieces.size()), numCandidates(0);
    const auto range(mIncident.equal_range(pCur));
    for (auto it = range.first; it != range.second; ++it) {
      if (vUsed[it->second]) continue;
      ++numCandidates;
      next = it->second;
    }
    if (numCandidates != 1) {
      d.add(name + ": " + std::to_string(numCandidates) + " unused pieces leave " + str(*pCur) + " (" + std::to_string(numUsed) + " of " +
            std::to_string(vPieces.size()) + " pieces chained)");
      return;
    }
    vUsed[next] = 1;
    ++numUsed;
    const Point2* pNext(vPieces[next]->getSrc() == pCur ? vPieces[next]->getTrg() : vPieces[next]->getSrc());
    const mpq_class pos(along(a, b, *pNext));
    if (pos <= lastPos) d.add(name + ": the chain turns back at " + str(*pNext));
    lastPos = pos;
    if (pNext != pB) {
      const double m(std::max({magnitude, std::fabs(pNext->x()), std::fabs(pNext->y())}));
      const double offSq(offLineInUlpsSquared(a, b, *pNext, ulpOf(m)));
      if (offSq > maxOffSq) {
        d.add(name + ": piece vertex " + str(*pNext) + " lies " + std::to_string(std::sqrt(offSq)) + " ulps off the line");
      }
    }
    pCur = pNext;
  }
  if (numUsed != vPieces.size()) {
    d.add(name + ": " + std::to_string(vPieces.size() - numUsed) + " of its " + std::to_string(vPieces.size()) + " pieces are not on the chain");
  }
}

}  // namespace detail

/// Checks dt against the input points and the user segments (see the top of this file). Segments
/// with a non-finite coordinate or equal ends are not expected to be covered.
inline ::testing::AssertionResult isConstrainedDelaunay(const Zarn_2D& dt, const std::vector<Point2>& vInputPoints,
                                                         const std::vector<Segment2>& vUserSegments,
                                                         const CdtCheckOptions& options = CdtCheckOptions()) {
  using detail::edgeKey;
  dt2test::detail::Defects d;
  std::vector<Point2*> vVertices;
  dt.getVertexPointers(vVertices);
  std::vector<Triangle2*> vT;
  dt.getTrianglePointers(vT);
  if (dt.numberOfPoints() != vVertices.size()) d.add("numberOfPoints() differs from the number of vertex pointers");
  if (dt.numberOfTriangles() != vT.size()) d.add("numberOfTriangles() differs from the number of triangle pointers");
  if (!dt.is2D() || vT.empty()) {
    d.add("the triangulation is not 2D");
    return d.result();
  }

  // (e) Nothing lost, no position twice.
  std::map<std::pair<double, double>, Point2*> mVertexAt;
  for (Point2* pV : vVertices) {
    if (!mVertexAt.emplace(std::make_pair(pV->x(), pV->y()), pV).second) d.add("two vertices at " + detail::str(*pV));
  }
  std::vector<Point2> vExpected(vInputPoints);
  for (const Segment2& seg : vUserSegments) {
    if (!detail::isFinite(seg.getSrc()) || !detail::isFinite(seg.getTrg())) continue;  // skipped whole
    vExpected.push_back(seg.getSrc());
    vExpected.push_back(seg.getTrg());
  }
  size_t numLost(0);
  for (const Point2& p : vExpected) {
    if (detail::isFinite(p) && mVertexAt.count(std::make_pair(p.x(), p.y())) == 0 && numLost++ < 3) d.add("lost input point " + detail::str(p));
  }
  if (numLost > 3) d.add(std::to_string(numLost) + " input points lost in all");

  // Topology: the checks of the unconstrained checker that do not depend on the vertex set.
  std::vector<const Triangle2*> vLive(vT.begin(), vT.end());
  std::sort(vLive.begin(), vLive.end());
  dt2test::detail::checkTrianglesAndLinks(vT, vLive, d);
  if (d.any()) return d.result();
  dt2test::detail::checkVertexFans(vT, vVertices, vLive, d);
  dt2test::detail::checkConnected(vT, vLive, d);
  dt2test::detail::checkBorderAndEuler(vT, vVertices.size(), dt2test::positionsOf(vVertices), d);

  // (b) Alive segments are edges.
  std::set<detail::EdgeKey> sEdges;
  for (const Triangle2* pT : vT) {
    for (int i = 0; i < 3; ++i) sEdges.insert(edgeKey(pT->getCorner(incIndexBy1(i)), pT->getCorner(incIndexBy2(i))));
  }
  std::vector<ConstraintSegment2*> vAlive;
  dt.getAliveConstraintSegments(vAlive);
  std::set<detail::EdgeKey> sConstraintEdges;
  for (const ConstraintSegment2* pCSeg : vAlive) {
    if (!pCSeg->isAlive()) d.add("getAliveConstraintSegments returns a dead segment");
    const detail::EdgeKey key(edgeKey(pCSeg->getSrc(), pCSeg->getTrg()));
    sConstraintEdges.insert(key);
    if (sEdges.count(key) == 0) {
      d.add("alive constraint segment " + detail::str(*pCSeg->getSrc()) + "-" + detail::str(*pCSeg->getTrg()) + " is not an edge");
    }
  }

  // (a) Every edge that is not a constraint is locally Delaunay.
  for (const Triangle2* pT : vT) {
    for (int i = 0; i < 3; ++i) {
      const Triangle2* pN(pT->getOppositeTriangle(i));
      if (pN == nullptr || pN < pT) continue;
      const bool bConstraint(sConstraintEdges.count(edgeKey(pT->getCorner(incIndexBy1(i)), pT->getCorner(incIndexBy2(i)))) > 0);
      if (bConstraint && !options.bConstraintEdgesDelaunay) continue;
      const Point2* pOpp(pN->getCorner(pN->getIntraTriangleIndex(pT)));
      if (dt2test::exactInCircle(*pT->getCorner(0), *pT->getCorner(1), *pT->getCorner(2), *pOpp) > 0) {
        d.add(std::string(bConstraint ? "constraint" : "non-constraint") + " edge not locally Delaunay: " + dt2test::detail::str(pT) +
              " / " + dt2test::detail::str(pN));
      }
    }
  }

  // (c) Coverage of each user segment, (d) no crossings among the alive pieces.
  for (const Segment2& seg : vUserSegments) {
    if (!detail::isFinite(seg.getSrc()) || !detail::isFinite(seg.getTrg()) || seg.getSrc() == seg.getTrg()) continue;
    detail::checkCoverage(dt, mVertexAt, seg, options, d);
  }
  detail::checkNoCrossings(vAlive, d);
  return d.result();
}

}  // namespace cdttest
