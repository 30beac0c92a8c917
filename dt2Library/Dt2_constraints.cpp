// Dt2: inserting constraint segments.
//
// Constrained strategy: a walk from the segment's source towards its target collects the
// triangles the segment crosses. If it meets a vertex on the segment, or a crossing constraint
// edge, it stops and the segment is split there (at the exactly computed, rounded intersection
// for a crossing). Otherwise the crossed triangles are removed and the two pseudo-polygons on
// both sides of the segment are re-triangulated, each by the recursive Delaunay choice of
// Anglada ("An improved incremental algorithm for constructing restricted Delaunay
// triangulations", 1997), which yields their constrained Delaunay triangulation directly.
//
// Conforming strategy: the same walk; a segment that is not an edge is split at a vertex on it
// or at its (shifted) midpoint, and the manager repeats until all pieces are Delaunay edges.
#include <algorithm>
#include <cmath>
#include <limits>

#include "ConstraintMgr.h"
#include "Dt2.h"
#include "HugePages.h"
#include "tools.h"

namespace KORA_ZARN2D {

namespace {
constexpr double kMachineEpsilon = 2.220446049250313e-16;
// A conforming split needs the segment to span at least this many units in the last place of
// the largest coordinate, else the midpoint cannot be told apart from the ends.
constexpr double kMinSplitExtentInUlps = 10.0;
// centerWithShift moves a coordinate by at most this, and at most this share of the extent.
constexpr double kMaxCenterShift = 0.001;
constexpr double kMaxCenterShiftShare = 0.01;
// The margin of forcingLimit() beyond one vertex per registered segment.
constexpr size_t kMinCrossingBudget = 64;
// createConstraint looks for existing vertices at the segment ends while at least half of this
// many first probes find one.
constexpr size_t kEndProbeSample = 32;
constexpr double kHalfMax = 0.5 * std::numeric_limits<double>::max();

// True when q (collinear with a -> b, a != b) lies on the open ray from a through b: q differs
// from a on the axis where b does, in the same direction. Comparisons only, so nothing can
// underflow or overflow (a dot product of tiny differences rounds to zero).
bool isOnRay(const Point2& a, const Point2& b, const Point2& q) {
  if (b.x() != a.x()) return q.x() != a.x() && (q.x() > a.x()) == (b.x() > a.x());
  return q.y() != a.y() && (q.y() > a.y()) == (b.y() > a.y());
}

// The coordinate within tol of m with the coarsest binary grid: it makes later midpoints and
// differences exact more often.
double coarsestWithin(double m, double tol) {
  if (!(tol > 0.0)) return m;
  const double spacing(std::ldexp(1.0, static_cast<int>(std::floor(std::log2(tol)))));
  const double candidate(std::round(m / spacing) * spacing);
  return std::fabs(candidate - m) <= tol ? candidate : m;
}

// ----- Filtered intersection of two lines -----
//
// The crossing of line a0-a1 with line b0-b1, rounded to doubles, as the exact computation rounds
// it (to nearest), when extended precision proves the rounding: the point is evaluated in long
// double with a bound on its error, and a coordinate is accepted only when the whole error
// interval lies strictly between the two rounding midpoints around its double. Unit roundoff u
// of the long double format; every bound below is a few units larger than the classic ones.
constexpr bool kHasExtendedPrecision = std::numeric_limits<long double>::digits >= 64 &&
                                       std::numeric_limits<long double>::max_exponent >= 16384;
constexpr long double kExtUnit = std::numeric_limits<long double>::epsilon() / 2;

// Whether long double arithmetic really carries its digits (an emulator may compute it in double
// precision): a one-time check whose result never changes.
bool extendedPrecisionWorks() {
  static const bool bWorks([] {
    volatile long double one(1.0L);
    return kHasExtendedPrecision && one + std::numeric_limits<long double>::epsilon() != one;
  }());
  return bWorks;
}

// The double nearest to the exact value v (|v - approx| <= err), or false when the interval
// reaches a rounding midpoint.
bool roundProven(long double approx, long double err, double& out) {
  const double d(static_cast<double>(approx));
  const double lo(std::nextafter(d, -std::numeric_limits<double>::infinity()));
  const double hi(std::nextafter(d, std::numeric_limits<double>::infinity()));
  if (!std::isfinite(lo) || !std::isfinite(hi)) return false;  // at the end of the range: the exact path decides
  const long double margin(err + 4 * kExtUnit * std::fabs(approx));  // also covers the two subtractions
  // The midpoints of neighbouring doubles are exact in the longer format.
  if (!(approx - margin > (static_cast<long double>(lo) + d) / 2 && approx + margin < (static_cast<long double>(hi) + d) / 2)) return false;
  out = d;
  return true;
}

// One coordinate c0 + t * dir with t = num / den; errNum and errDen bound the errors of num and
// den, errDir bounds the relative error of dir.
bool roundPointOnLine(double c0, long double dir, long double num, long double errNum, long double den, long double errDen,
                      double& out) {
  const long double t(num / den);
  const long double errT((errNum + std::fabs(t) * errDen) / (std::fabs(den) - errDen) + 2 * kExtUnit * std::fabs(t));
  const long double product(t * dir);
  const long double value(c0 + product);
  const long double err((errT + 2 * kExtUnit * std::fabs(t)) * std::fabs(dir) * (1 + 8 * kExtUnit) +
                        2 * kExtUnit * (std::fabs(product) + std::fabs(value)));
  return roundProven(value, err, out);
}

// False when extended precision cannot prove the rounded crossing (then the exact computation
// decides, also on parallel lines).
bool filteredIntersection(const Point2& a0, const Point2& a1, const Point2& b0, const Point2& b1, double& x, double& y) {
  if (!extendedPrecisionWorks()) return false;
  using Ext = long double;
  // Differences of doubles: relative error at most u.
  const Ext dirAx(Ext(a1.x()) - a0.x()), dirAy(Ext(a1.y()) - a0.y());
  const Ext dirBx(Ext(b1.x()) - b0.x()), dirBy(Ext(b1.y()) - b0.y());
  const Ext offX(Ext(b0.x()) - a0.x()), offY(Ext(b0.y()) - a0.y());
  // A 2x2 determinant of such differences: error at most 8u times the sum of the magnitudes.
  const Ext den(dirAx * dirBy - dirAy * dirBx);
  const Ext errDen(8 * kExtUnit * (std::fabs(dirAx * dirBy) + std::fabs(dirAy * dirBx)));
  const Ext num(offX * dirBy - offY * dirBx);
  const Ext errNum(8 * kExtUnit * (std::fabs(offX * dirBy) + std::fabs(offY * dirBx)));
  if (!(std::fabs(den) > 2 * errDen)) return false;
  return roundPointOnLine(a0.x(), dirAx, num, errNum, den, errDen, x) && roundPointOnLine(a0.y(), dirAy, num, errNum, den, errDen, y);
}

// (a + b) / 2 and (b - a) / 2 without overflow near the largest double (halving first there).
double halfSum(double a, double b) { return std::fabs(a) < kHalfMax && std::fabs(b) < kHalfMax ? 0.5 * (a + b) : 0.5 * a + 0.5 * b; }
double halfDifference(double a, double b) { return std::fabs(a) < kHalfMax && std::fabs(b) < kHalfMax ? 0.5 * (b - a) : 0.5 * b - 0.5 * a; }
}  // namespace

// The major axis gets the coarsest coordinate within its tolerance; the minor coordinate is then
// taken on the segment's line through the midpoint, which keeps it within its own tolerance (the
// slope is at most 1).
Point2 centerWithShift(const Point2& p0, const Point2& p1) {
  const double halfDx(halfDifference(p0.x(), p1.x())), halfDy(halfDifference(p0.y(), p1.y()));
  const Point2 midpoint(halfSum(p0.x(), p1.x()), halfSum(p0.y(), p1.y()));
  const bool bMajorX(std::fabs(halfDx) >= std::fabs(halfDy));
  const double halfMajor(bMajorX ? halfDx : halfDy);
  if (halfMajor == 0.0) return midpoint;
  const double tol(std::min(kMaxCenterShift, 2.0 * kMaxCenterShiftShare * std::fabs(halfMajor)));
  if (bMajorX) {
    const double x(coarsestWithin(midpoint.x(), tol));
    return Point2(x, midpoint.y() + (x - midpoint.x()) * (halfDy / halfDx));
  }
  const double y(coarsestWithin(midpoint.y(), tol));
  return Point2(midpoint.x() + (y - midpoint.y()) * (halfDx / halfDy), y);
}

// ----- Entry points -----

namespace {
bool isFiniteSegment(const Segment2& seg) {
  const Point2 &a(seg.getSrc()), &b(seg.getTrg());
  return std::isfinite(a.x()) && std::isfinite(a.y()) && std::isfinite(b.x()) && std::isfinite(b.y());
}

// The neighbour of pVtx at the position of p, or null. O(degree of pVtx), no geometry.
Point2* neighbourAt(const Point2* pVtx, const Point2& p) {
  Point2* pFound(nullptr);
  Dt2::findAround(pVtx, [&pFound, &p](Triangle2* pT, int k) {
    for (Point2* q : {pT->getCorner(incIndexBy1(k)), pT->getCorner(incIndexBy2(k))}) {
      if (*q == p) pFound = q;
    }
    return pFound != nullptr;
  });
  return pFound;
}
}  // namespace

ConstraintGraph2* Dt2::createConstraint(std::vector<Segment2>& vSegments, ConstraintInsertionStrategy cis, bool bOrientedSegments) {
  const char* const where("Dt2::createConstraint(..)");
  if (vSegments.empty()) {
    reportWarning(where, "vSegments is empty, returning NULL");
    return nullptr;
  }
  const size_t numNonFinite(static_cast<size_t>(std::count_if(vSegments.begin(), vSegments.end(), [](const Segment2& seg) {
    return !isFiniteSegment(seg);
  })));
  if (numNonFinite > 0) {
    reportWarning(where, std::to_string(numNonFinite) + " segment(s) with a non-finite coordinate skipped");
  }
  std::vector<std::pair<Point2*, Point2*>> vPairs;
  findOrInsertEnds(vSegments, vPairs);
  if (!is2D()) bConstraintsPending = true;  // inserted once the triangulation becomes 2D
  return pConstraintMgr->createConstraint(vPairs, cis, bOrientedSegments, is2D());
}

// The vertex pairs of the finite segments, in input order. Ends that are vertices already (the
// points were inserted first, as in most GIS inputs) are found next to the previous end of the
// chain: among its neighbours, else by a walk from it. The others are inserted in bulk, in
// Hilbert order. When the first probes mostly miss, the ends are new points: the probing stops and
// all remaining ends go to the bulk insertion, which merges duplicates itself. Polylines and
// polygons repeat every inner vertex: an end equal to the previous one is looked up only once.
void Dt2::findOrInsertEnds(const std::vector<Segment2>& vSegments, std::vector<std::pair<Point2*, Point2*>>& vPairs) {
  vPairs.reserve(vSegments.size());
  ScratchVector<Point2> vMissing;                         // the distinct consecutive ends to insert
  ScratchVector<std::pair<size_t, size_t>> vPendingEnds;  // (2 * pair + end, index in vMissing)
  vMissing.reserve(2 * vSegments.size());
  vPendingEnds.reserve(2 * vSegments.size());
  const Point2* pPrevEnd(nullptr);
  Point2* pPrevHandle(nullptr);  // null while the previous end is missing
  Triangle2* pT(nullptr);
  size_t numProbed(0), numFound(0);
  bool bProbing(is2D());
  for (const Segment2& seg : vSegments) {
    if (!isFiniteSegment(seg)) continue;
    vPairs.emplace_back(nullptr, nullptr);
    for (int end = 0; end < 2; ++end) {
      const Point2& p(end == 0 ? seg.getSrc() : seg.getTrg());
      if (pPrevEnd == nullptr || !(*pPrevEnd == p)) {
        if (bProbing && numProbed == kEndProbeSample && 2 * numFound < numProbed) bProbing = false;
        const bool bContinuesChain(end == 1);  // the previous end is the other end of this segment
        Point2* pNear(bContinuesChain ? pPrevHandle : nullptr);
        pPrevHandle = nullptr;
        if (bProbing && (pNear != nullptr || bbx.isInBox(p))) {
          ++numProbed;
          pPrevHandle = findVertexAt(p, bContinuesChain, pNear, pT);
        }
        if (pPrevHandle != nullptr) {
          ++numFound;
        } else {
          vMissing.push_back(p);
        }
        pPrevEnd = &p;
      }
      if (pPrevHandle == nullptr) vPendingEnds.emplace_back(2 * (vPairs.size() - 1) + static_cast<size_t>(end), vMissing.size() - 1);
      (end == 0 ? vPairs.back().first : vPairs.back().second) = pPrevHandle;
    }
  }
  if (vMissing.empty()) return;
  ScratchVector<Point2*> vNewHandles(vMissing.size());
  insertBulk(BulkInput{vMissing.data(), nullptr, vMissing.size()}, vNewHandles.data());
  for (const std::pair<size_t, size_t>& pending : vPendingEnds) {
    std::pair<Point2*, Point2*>& pair(vPairs[pending.first / 2]);
    (pending.first % 2 == 0 ? pair.first : pair.second) = vNewHandles[pending.second];
  }
}

// Looks among the neighbours of pNear first (when given), else walks from pT when the end
// continues the chain, else from a triangle near p's Hilbert neighbours. pT ends near p.
Point2* Dt2::findVertexAt(const Point2& p, bool bContinuesChain, const Point2* pNear, Triangle2*& pT) {
  if (pNear != nullptr) {
    Point2* pFound(neighbourAt(pNear, p));
    pT = (pFound != nullptr ? pFound : pNear)->getIncidentTriangle();
    if (pFound != nullptr) return pFound;
  }
  if (pT == nullptr || !bContinuesChain) pT = vertexVault.getCloT(hc.getKey(p));
  int edgeIdx(-1);
  if (locate(p, pT, edgeIdx) != LOC_ON_CORNER) return nullptr;
  for (int k = 0; k < 3; ++k) {
    if (*pT->getCorner(k) == p) return pT->getCorner(k);
  }
  return nullptr;
}

void Dt2::applyPendingConstraints() {
  if (!bConstraintsPending || !is2D()) return;
  bConstraintsPending = false;
  pConstraintMgr->apply();
}

void Dt2::applyConstraintsAndZones() {
  if (!is2D()) {
    reportWarning("Dt2::applyConstraintsAndZones()", "The triangulation is not full dimensional yet. Nothing to do");
    return;
  }
  pConstraintMgr->apply();
}

void Dt2::newCDT_applyOneCS(ConstraintSegment2* pInitialCSeg) {
  ZARN_ASSERT(pInitialCSeg->getCIS()==CIS_CONSTRAINED_DELAUNAY);
  forceSegment(pInitialCSeg, forcingLimit());
}

size_t Dt2::forcingLimit() const { return numberOfPoints() + pConstraintMgr->numberOfSegments() + kMinCrossingBudget; }

void Dt2::forceSegment(ConstraintSegment2* pInitialCSeg, size_t maxNumPoints) {
  ZARN_ASSERT(pInitialCSeg->isAlive());
  if (pInitialCSeg->getSrc() == pInitialCSeg->getTrg()) {
    reportWarning("Dt2::newCDT_applyOneCS()", "Degenerate constraint, return");
    return;
  }
  // The stack is a member kept between calls (should an insertion start another one, the inner
  // call finds the member empty and uses a fresh vector).
  std::vector<ConstraintSegment2*> vStack;
  vStack.swap(vForceStack);
  vStack.assign(1, pInitialCSeg);
  const ConstraintMgr::ResolvedSplits resolved(*pConstraintMgr);
  forceStack(vStack, maxNumPoints);
  vStack.clear();
  vForceStack.swap(vStack);
}

void Dt2::forceStack(std::vector<ConstraintSegment2*>& vStack, size_t maxNumPoints) {
  while (!vStack.empty()) {
    ConstraintSegment2* pCSeg(vStack.back());
    vStack.pop_back();
    if (!pCSeg->isAlive()) {
      appendPiecesByCoordinates(pCSeg, vStack);
      continue;
    }
    if (pCSeg->getSrc() == pCSeg->getTrg()) {
      reportWarning("Dt2::newCDT_applyOneCS()", "Degenerate constraint (2), return");
      return;
    }
    if (numberOfPoints() > maxNumPoints) {
      skipUnlessEdge(pCSeg);
    } else {
      insertOneConstrainedSegment(pCSeg, vStack);
    }
  }
}

void Dt2::skipUnlessEdge(ConstraintSegment2* pCSeg) {
  if (hasEdge(pCSeg->getSrc(), pCSeg->getTrg())) return;
  pCSeg->setDead();
  ++numSkippedSegments;
}

void Dt2::insertOneConstrainedSegment(ConstraintSegment2* pCSeg, std::vector<ConstraintSegment2*>& vStack) {
  std::vector<std::pair<Point2, ConstraintSegment2*>>& vPairIspCS(vCrossings);
  Point2* pExistingVertex(newCDT_traverseCZ(pCSeg, vPairIspCS));
  // Constraint edges of vertices that hung in a re-triangulated cavity are inserted again.
  vStack.insert(vStack.end(), vDisplacedConstraints.begin(), vDisplacedConstraints.end());
  vDisplacedConstraints.clear();
  if (pExistingVertex != nullptr) {
    ZARN_ASSERT(vPairIspCS.empty());
    ZARN_ASSERT(pExistingVertex!=pCSeg->getSrc());
    ZARN_ASSERT(pExistingVertex!=pCSeg->getTrg());
    pCSeg->split_combinatorialOnly(pExistingVertex);  // a walked segment: no former edge (see splitSegmentAt)
    appendPiecesByCoordinates(pCSeg, vStack);
    return;
  }
  if (vPairIspCS.empty()) return;  // the traversal has made the segment an edge
  ZARN_ASSERT(vPairIspCS.size()==1);
  const std::pair<Point2, ConstraintSegment2*> crossing(vPairIspCS[0]);
  splitAtCrossing(pCSeg, crossing.first, crossing.second, pCrossingNearT, vStack);
}

namespace {
// Drops from vStack[first..] the pieces that end at pVtx and stand as edges already: their walk
// would find just that, but in the star of their lower end, often a cold one, while pVtx's star
// was visited by its insertion a moment ago.
void dropPiecesStandingAt(const Dt2& dt, Point2* pVtx, std::vector<ConstraintSegment2*>& vStack, size_t first) {
  const auto standsAtVertex = [&dt, pVtx](const ConstraintSegment2* pPiece) {
    Point2* pOther(pPiece->getSrc() == pVtx ? pPiece->getTrg() : pPiece->getTrg() == pVtx ? pPiece->getSrc() : nullptr);
    return pOther != nullptr && dt.hasEdge(pVtx, pOther);
  };
  vStack.erase(std::remove_if(vStack.begin() + static_cast<std::ptrdiff_t>(first), vStack.end(), standsAtVertex), vStack.end());
}
}  // namespace

// Both segments are split at the vertex inserted at their (rounded) intersection; their pieces
// go on the stack, except those that stand as edges already.
void Dt2::splitAtCrossing(ConstraintSegment2* pCSeg, const Point2& splitPoint, ConstraintSegment2* pCrossingCSeg,
                          Triangle2* pNearT, std::vector<ConstraintSegment2*>& vStack) {
  ZARN_ASSERT(splitPoint!=*pCrossingCSeg->getSrc() && splitPoint!=*pCrossingCSeg->getTrg());
  const bool bAtEnd(splitPoint == *pCSeg->getSrc() || splitPoint == *pCSeg->getTrg());
  // The crossing edge is held dead while the vertex goes in: a vertex exactly on it then splits
  // it as a plain edge, and its pieces are inserted as constraints below.
  pCrossingCSeg->setDead();
  Point2* pVtx(insertNear(splitPoint, pNearT));
  pCrossingCSeg->setAlive();
  ZARN_ASSERT(pVtx!=0);
  // The walked segment is split first (it has no former edge, see splitSegmentAt): the flips that
  // legalize the crossed edge then see its line as a plain edge.
  if (!bAtEnd) pCSeg->split_combinatorialOnly(pVtx);
  splitSegmentAt(pCrossingCSeg, pVtx);
  pCrossingCSeg->setDead();
  const size_t firstPiece(vStack.size());
  appendPiecesByCoordinates(pCrossingCSeg, vStack);
  if (bAtEnd) {
    ZARN_ASSERT(pCSeg->isAlive());
    vStack.push_back(pCSeg);
  } else {
    appendPiecesByCoordinates(pCSeg, vStack);
    pCSeg->setDead();
  }
  dropPiecesStandingAt(*this, pVtx, vStack, firstPiece);
}

void Dt2::insertSegmentConformingDelaunay(ConstraintSegment2* pCSeg) {
  Point2* p0(pCSeg->getSrc());
  Point2* p1(pCSeg->getTrg());
  ZARN_ASSERT(is2D());
  vCrossings.clear();
  const SegmentWalk walk(*p1 < *p0 ? walkAlongSegment(p1, p0, false) : walkAlongSegment(p0, p1, false));
  if (walk.result == SegmentWalk::IS_EDGE) return;
  if (walk.result == SegmentWalk::VERTEX_ON_SEGMENT) {
    pCSeg->split_combinatorialOnly(walk.pVertex);  // a walked segment: no former edge (see splitSegmentAt)
    return;
  }
  std::vector<ConstraintSegment2*> vStack;
  if (walk.result == SegmentWalk::CROSSES_CONSTRAINT) {
    splitAtCrossing(pCSeg, walk.crossing, walk.pCrossingCSeg, walk.pNearT, vStack);
    // The pieces of both are inserted by the manager's next pass; so is this segment when the
    // crossing fell on one of its ends (only the other one was split then).
    if (pCSeg->isAlive()) pConstraintMgr->retryInNextPass(pCSeg);
    return;
  }
  const double eps(kMinSplitExtentInUlps * kMachineEpsilon * std::exp2(std::ceil(std::log2(kora.getRange()))));
  if (std::fabs(p1->x() - p0->x()) < eps && std::fabs(p1->y() - p0->y()) < eps) {
    forceUnsplittable(pCSeg);
    return;
  }
  pCSeg->setDead();  // a plain edge while the split vertex goes in
  Point2* pSplit(insert(centerWithShift(*p0, *p1)));
  pCSeg->setAlive();
  if (pSplit == nullptr || pSplit == p0 || pSplit == p1) {
    forceUnsplittable(pCSeg);
    return;
  }
  pCSeg->split_combinatorialOnly(pSplit);  // a walked segment: no former edge (see splitSegmentAt)
}

// The piece stands as a constrained edge instead: the triangulation stays valid and the segment
// covered, but this part of the result is not conforming.
void Dt2::forceUnsplittable(ConstraintSegment2* pCSeg) {
  reportWarning("Dt2::insertSegmentConformingDelaunay()",
                "Double precision arithmetic does not allow to split a segment further, giving up. Incorrect result!");
  forceSegment(pCSeg, forcingLimit());
}

// ----- The walk along a segment -----

Point2* Dt2::newCDT_traverseCZ(ConstraintSegment2* pCSeg, std::vector<std::pair<Point2, ConstraintSegment2*>>& vPairIspCS) {
  vPairIspCS.clear();
  Point2* pStart(pCSeg->getSrc());
  Point2* pStop(pCSeg->getTrg());
  if (pStart == pStop) {
    reportWarning("Dt2::newCDT_traverseCZ()", "degenerate constraint segment, nothing to do");
    return nullptr;
  }
  ZARN_ASSERT(pStart->getIncidentTriangle()!=NULL);
  ZARN_ASSERT(pStop->getIncidentTriangle()!=NULL);
  // From the lower end by coordinates: which crossing is met first must not depend on addresses.
  if (*pStop < *pStart) std::swap(pStart, pStop);
  const SegmentWalk walk(walkAlongSegment(pStart, pStop, true));
  switch (walk.result) {
    case SegmentWalk::IS_EDGE:
      return nullptr;
    case SegmentWalk::VERTEX_ON_SEGMENT:
      return walk.pVertex;
    case SegmentWalk::CROSSES_CONSTRAINT:
      vPairIspCS.push_back(std::make_pair(walk.crossing, walk.pCrossingCSeg));
      pCrossingNearT = walk.pNearT;
      return nullptr;
    case SegmentWalk::CROSSES_FREE_EDGES:
      retriangulateCavity();
      return nullptr;
  }
  return nullptr;
}

// The first step: the triangle around pStart whose far edge the segment crosses (a neighbour on
// the segment, or pStop itself, ends the walk at once).
Dt2::SegmentWalk Dt2::leaveStart(Point2* pStart, Point2* pStop, Triangle2*& pT, int& crossIdx) {
  SegmentWalk walk;
  Triangle2* pFirst(pStart->getIncidentTriangle());
  pT = pFirst;
  bool bClockwise(false);
  // Consecutive triangles of the star share a vertex: its orientation is carried over.
  Point2* pKnown(nullptr);
  Orientation2 oriKnown(ORIENTATION2_COLLINEAR);
  const auto orientationOf = [&](Point2* q) { return q == pKnown ? oriKnown : kora.getOrientationInRange(*pStart, *pStop, *q); };
  for (;;) {
    const int k(pT->getIntraTriangleIndex(pStart));
    Point2* a(pT->getCorner(incIndexBy1(k)));
    Point2* b(pT->getCorner(incIndexBy2(k)));
    if (a == pStop || b == pStop) {
      walk.result = SegmentWalk::IS_EDGE;
      return walk;
    }
    const Orientation2 oriA(orientationOf(a));
    const Orientation2 oriB(orientationOf(b));
    ZARN_ASSERT(!(oriA==ORIENTATION2_COLLINEAR && oriB==ORIENTATION2_COLLINEAR));
    for (Point2* q : {a, b}) {
      if ((q == a ? oriA : oriB) == ORIENTATION2_COLLINEAR && isOnRay(*pStart, *pStop, *q)) {
        walk.result = SegmentWalk::VERTEX_ON_SEGMENT;
        walk.pVertex = q;
        return walk;
      }
    }
    if (oriA == ORIENTATION2_CW && oriB == ORIENTATION2_CCW) {
      crossIdx = k;
      walk.result = SegmentWalk::CROSSES_FREE_EDGES;
      return walk;
    }
    // Turn counterclockwise (the next triangle shares b); at the hull turn back and go clockwise
    // from the first triangle (the next one shares a).
    Triangle2* pNext(pT->getOppositeTriangle(bClockwise ? incIndexBy2(k) : incIndexBy1(k)));
    pKnown = bClockwise ? a : b;
    oriKnown = bClockwise ? oriA : oriB;
    if (pNext == nullptr && !bClockwise) {
      bClockwise = true;
      const int kFirst(pFirst->getIntraTriangleIndex(pStart));
      pNext = pFirst->getOppositeTriangle(incIndexBy2(kFirst));
      pKnown = nullptr;
    }
    ZARN_ASSERT(pNext!=0 && pNext!=pFirst);
    pT = pNext;
  }
}

// Records the cavity edge of pT opposite corner idx on one side: its far vertex, and the edge seen
// from inside. The triangle outside is only read once the cavity is re-triangulated: a walk that
// ends at a crossing leaves it untouched.
void Dt2::addCavityEdge(CavitySide& side, Triangle2* pT, int idx, Point2* pNextVertex) {
  side.vOuter.push_back(std::make_pair(pT, idx));
  side.vVertices.push_back(pNextVertex);
}

Dt2::SegmentWalk Dt2::walkAlongSegment(Point2* pStart, Point2* pStop, bool bCollectCavity) {
  Triangle2* pT(nullptr);
  int idx(-1);
  SegmentWalk walk(leaveStart(pStart, pStop, pT, idx));
  if (walk.result != SegmentWalk::CROSSES_FREE_EDGES) return walk;
  vCavityTriangles.clear();
  leftSide.clear(pStart);
  rightSide.clear(pStart);
  if (bCollectCavity) {
    vCavityTriangles.push_back(pT);
    addCavityEdge(leftSide, pT, incIndexBy1(idx), pT->getCorner(incIndexBy2(idx)));
    addCavityEdge(rightSide, pT, incIndexBy2(idx), pT->getCorner(incIndexBy1(idx)));
  }
  // Invariant: the segment crosses pT's edge opposite corner idx from its right end (corner
  // idx+1) to its left end (corner idx+2), seen along pStart -> pStop.
  for (;;) {
    Point2* pRight(pT->getCorner(incIndexBy1(idx)));
    Point2* pLeft(pT->getCorner(incIndexBy2(idx)));
    ConstraintSegment2* pCrossed(pConstraintMgr->getAliveSegment(pLeft, pRight));
    if (pCrossed != nullptr) {
      SegmentWalk crossing(crossingOf(pStart, pStop, pCrossed));
      crossing.pNearT = pT;
      return crossing;
    }
    Triangle2* pN(pT->getOppositeTriangle(idx));
    ZARN_ASSERT(pN!=0);  // the segment runs inside the convex hull
    const int j(pN->getIntraTriangleIndex(pT));
    Point2* pFar(pN->getCorner(j));
    // The next step enters one of pN's two other neighbours, depending on pFar's side: both are
    // fetched while pFar is read.
    __builtin_prefetch(pN->getOppositeTriangle(incIndexBy1(j)));
    __builtin_prefetch(pN->getOppositeTriangle(incIndexBy2(j)));
    if (bCollectCavity) vCavityTriangles.push_back(pN);
    if (pFar == pStop) {
      if (bCollectCavity) {
        addCavityEdge(leftSide, pN, incIndexBy2(j), pStop);
        addCavityEdge(rightSide, pN, incIndexBy1(j), pStop);
      }
      return walk;
    }
    const Orientation2 ori(kora.getOrientationInRange(*pStart, *pStop, *pFar));
    if (ori == ORIENTATION2_COLLINEAR) {
      walk.result = SegmentWalk::VERTEX_ON_SEGMENT;
      walk.pVertex = pFar;
      return walk;
    }
    // In pN the corners after j are pLeft, then pRight.
    if (ori == ORIENTATION2_CCW) {
      if (bCollectCavity) addCavityEdge(leftSide, pN, incIndexBy2(j), pFar);
      idx = incIndexBy1(j);
    } else {
      if (bCollectCavity) addCavityEdge(rightSide, pN, incIndexBy1(j), pFar);
      idx = incIndexBy2(j);
    }
    pT = pN;
  }
}

// treatConstraintZone: the segment meets the constraint pCrossed. Its intersection, exactly
// computed and rounded, becomes the split point; if it rounds onto an end of the crossed
// segment, that vertex splits the segment instead.
Dt2::SegmentWalk Dt2::crossingOf(Point2* pStart, Point2* pStop, ConstraintSegment2* pCrossed) {
  SegmentWalk walk;
  const Point2 &a0(*pStart), &a1(*pStop), &b0(*pCrossed->getSrc()), &b1(*pCrossed->getTrg());
  double x(0.0), y(0.0);
  bool bOnBoth(true);  // only read when the point equals an end, and then computed exactly
  if (!filteredIntersection(a0, a1, b0, b1, x, y) || Point2(x, y) == a0 || Point2(x, y) == a1 || Point2(x, y) == b0 ||
      Point2(x, y) == b1) {
    bOnBoth = kora.getIntersectionCoords(a0, a1, b0, b1, x, y);
  }
  const Point2 ip(x, y);
  const bool bOnCrossedEnd(ip == *pCrossed->getSrc() || ip == *pCrossed->getTrg());
  const bool bOnOwnEnd(ip == *pStart || ip == *pStop);
  if (!std::isfinite(x) || !std::isfinite(y) || (!bOnBoth && (bOnCrossedEnd || bOnOwnEnd))) {
    // Rounding moved the crossing onto a vertex (or beyond the range of doubles): the pieces
    // will not be exactly collinear with their segments.
    reportWarning("Dt2::treatConstraintZone()", "intersection point of two constraints has bad numerica accuracy!");
  }
  if (bOnCrossedEnd) {
    walk.result = SegmentWalk::VERTEX_ON_SEGMENT;
    walk.pVertex = (ip == *pCrossed->getSrc()) ? pCrossed->getSrc() : pCrossed->getTrg();
    return walk;
  }
  walk.result = SegmentWalk::CROSSES_CONSTRAINT;
  walk.crossing = ip;
  walk.pCrossingCSeg = pCrossed;
  return walk;
}

// ----- Re-triangulating the cavity -----

void Dt2::retriangulateCavity() {
  leftSide.lookOutside();
  rightSide.lookOutside();
  releaseTriangles(vCavityTriangles);
  vDanglingVertices.clear();
  vSpikeEdges.clear();
  removeDangling(leftSide);
  removeDangling(rightSide);
  // The right side is re-read from the segment's end, so that both pseudo-polygons lie to the
  // left of their base edge.
  rightSide.reverse();
  const std::pair<Triangle2*, int> left(triangulatePseudoPolygon(leftSide));
  const std::pair<Triangle2*, int> right(triangulatePseudoPolygon(rightSide));
  linkNeighbours(left.first, left.second, right.first, right.second);
  for (Point2* pDangling : vDanglingVertices) {
    if (!pDangling->getIncidentTriangle()->hasVertex(pDangling)) insertVertex(pDangling, left.first);
  }
  for (const std::pair<Point2*, Point2*>& edge : vSpikeEdges) {
    ConstraintSegment2* pCSeg(pConstraintMgr->getAliveSegment(edge.first, edge.second));
    if (pCSeg != nullptr) vDisplacedConstraints.push_back(pCSeg);
  }
}

namespace {
bool isReleased(const Triangle2* pT) { return pT->getCorner(0) == nullptr; }

// The kept position of each vertex of a cavity side's chain, by open addressing on the vertex
// address (at most half full). An entry counts only while its position is kept and still holds
// its vertex, so cutting a pocket off the chain deletes nothing.
class ChainPositions {
 public:
  ChainPositions(std::vector<std::pair<Point2*, size_t>>& vSlots_, size_t chainLength) : vSlots(vSlots_) {
    size_t size(16);
    while (size < 2 * chainLength) size *= 2;
    vSlots.assign(size, std::make_pair(nullptr, size_t(0)));
    mask = size - 1;
  }
  void set(Point2* pVtx, size_t pos) { vSlots[slotOf(pVtx)] = std::make_pair(pVtx, pos); }
  /// The position of pVtx among the first numKept vertices of vChain, or numKept.
  size_t find(const Point2* pVtx, const std::vector<Point2*>& vChain, size_t numKept) const {
    const std::pair<Point2*, size_t>& slot(vSlots[slotOf(pVtx)]);
    return slot.first == pVtx && slot.second < numKept && vChain[slot.second] == pVtx ? slot.second : numKept;
  }

 private:
  size_t slotOf(const Point2* pVtx) const {
    size_t i(static_cast<size_t>((reinterpret_cast<uintptr_t>(pVtx) >> 4) * 0x9E3779B97F4A7C15ull >> 32) & mask);
    while (vSlots[i].first != nullptr && vSlots[i].first != pVtx) i = (i + 1) & mask;
    return i;
  }
  std::vector<std::pair<Point2*, size_t>>& vSlots;
  size_t mask;
};
}  // namespace

// Where a side's chain comes back to a vertex it has visited, the part in between is a pocket
// inside the cavity: a spike (c, b, c) of a vertex whose whole star was crossed, or a loop
// around triangles that the segment passes on all sides. The pocket's vertices leave the chain,
// its triangles are released too, and the vertices are inserted again once the cavity is
// re-triangulated.
void Dt2::removeDangling(CavitySide& side) {
  std::vector<Point2*>& vVertices(side.vVertices);
  std::vector<std::pair<Triangle2*, int>>& vOuter(side.vOuter);
  ChainPositions positions(vChainSlots, vVertices.size());
  positions.set(vVertices[0], 0);
  size_t numKept(1);
  for (size_t i = 1; i < vVertices.size(); ++i) {
    Point2* pVtx(vVertices[i]);
    const size_t seenAt(positions.find(pVtx, vVertices, numKept));
    if (seenAt == numKept) {
      vOuter[numKept - 1] = vOuter[i - 1];
      positions.set(pVtx, numKept);
      vVertices[numKept++] = pVtx;
      continue;
    }
    const size_t pos(seenAt + 1);
    // vVertices[pos - 1] == pVtx: the kept vertices after it and the closing edge form the pocket.
    vPocketTriangles.clear();
    const auto addPocketEdge = [&](Point2* a, Point2* b, const std::pair<Triangle2*, int>& outer) {
      vSpikeEdges.push_back(std::make_pair(a, b));
      ZARN_ASSERT(outer.first!=0);
      if (!isReleased(outer.first)) vPocketTriangles.push_back(outer.first);
    };
    addPocketEdge(vVertices[numKept - 1], pVtx, vOuter[i - 1]);
    for (size_t k = pos; k < numKept; ++k) {
      addPocketEdge(vVertices[k - 1], vVertices[k], vOuter[k - 1]);
      vDanglingVertices.push_back(vVertices[k]);
    }
    releasePocket(pVtx);
    numKept = pos;
  }
  vVertices.resize(numKept);
  vOuter.resize(numKept - 1);
}

// Releases the triangles enclosed by a pocket (flood fill from vPocketTriangles up to released
// triangles) and marks their vertices, except the pocket's anchor, as dangling.
void Dt2::releasePocket(Point2* pAnchor) {
  for (size_t i = 0; i < vPocketTriangles.size(); ++i) {
    Triangle2* pT(vPocketTriangles[i]);
    if (isReleased(pT)) continue;
    for (int k = 0; k < 3; ++k) {
      Point2* pCorner(pT->getCorner(k));
      if (pCorner != pAnchor) vDanglingVertices.push_back(pCorner);
      vSpikeEdges.push_back(std::make_pair(pCorner, pT->getCorner(incIndexBy1(k))));
      Triangle2* pN(pT->getOppositeTriangle(k));
      ZARN_ASSERT(pN!=0);  // a pocket lies inside the cavity, never on the hull
      if (!isReleased(pN)) vPocketTriangles.push_back(pN);
    }
    releaseTriangles(std::vector<Triangle2*>(1, pT));
  }
}

// side.vVertices = c0 .. cn with the base edge c0 -> cn and c1 .. cn-1 to its left;
// side.vOuter[i] is the outside of the boundary edge ci - ci+1. Each sub-polygon ci .. cj is
// closed by the triangle (ci, cj, ck) for the ck whose circumcircle holds no other vertex of it.
// Returns the triangle on the base edge and the edge's index in it (2).
std::pair<Triangle2*, int> Dt2::triangulatePseudoPolygon(const CavitySide& side) {
  const std::vector<Point2*>& c(side.vVertices);
  Triangle2* pBase(nullptr);
  vPolygonTasks.clear();
  // The current sub-polygon stays in registers: the left one of each split is stacked, the right
  // one is taken at once.
  int i(0), j(static_cast<int>(c.size()) - 1), parentIdx(-1);
  Triangle2* pParent(nullptr);
  for (;;) {
    if (j == i + 1) {
      linkNeighbours(pParent, parentIdx, side.vOuter[i].first, side.vOuter[i].second);
      if (vPolygonTasks.empty()) break;
      const PolygonTask& task(vPolygonTasks.back());
      i = task.i;
      j = task.j;
      pParent = task.pParent;
      parentIdx = task.parentIdx;
      vPolygonTasks.pop_back();
      continue;
    }
    int k(i + 1);
    for (int m = i + 2; m < j; ++m) {
      if (kora.inCircle(*c[i], *c[j], *c[k], *c[m]) > 0) k = m;
    }
    Triangle2* pNew(createTriangle(c[i], c[j], c[k]));
    if (pParent == nullptr) {
      pBase = pNew;
    } else {
      linkNeighbours(pParent, parentIdx, pNew, 2);
    }
    vPolygonTasks.emplace_back(i, k, pNew, 1);
    i = k;
    pParent = pNew;
    parentIdx = 0;
  }
  return std::make_pair(pBase, 2);
}

void Dt2::CavitySide::clear(Point2* pStart) {
  vVertices.clear();
  vOuter.clear();
  vVertices.push_back(pStart);
}

void Dt2::CavitySide::lookOutside() {
  for (std::pair<Triangle2*, int>& edge : vOuter) {
    Triangle2* pOuter(edge.first->getOppositeTriangle(edge.second));
    edge = std::make_pair(pOuter, pOuter != nullptr ? pOuter->getIntraTriangleIndex(edge.first) : -1);
  }
}

void Dt2::CavitySide::reverse() {
  std::reverse(vVertices.begin(), vVertices.end());
  std::reverse(vOuter.begin(), vOuter.end());
}

// ----- Around split vertices -----

// A segment split at a vertex off its edge (a rounded crossing) may leave that edge in place but
// no longer protected: it may fail the in-circle test now. Only a segment that stood as an edge
// needs this. One that a walk found crossing triangles or passing through a vertex was no edge; a
// vertex insertion creates edges at the new vertex only, so if it is split before any other flip,
// no illegal edge can stand on its line, and it is split without the look-up of its ends' star.
void Dt2::splitSegmentAt(ConstraintSegment2* pCSeg, Point2* pSplit) {
  pCSeg->split_combinatorialOnly(pSplit);
  legalizeFormerConstraintEdge(pCSeg->getSrc(), pCSeg->getTrg());
}

void Dt2::legalizeFormerConstraintEdge(Point2* a, Point2* b) {
  if (isConstraint(a, b)) return;
  Triangle2* pT(getAdjacentTriangle(a, b));
  if (pT != nullptr) legalizeEdges(std::vector<Triangle2*>(1, pT));
}

void Dt2::legalizeAround(Point2* pVtx) {
  std::vector<Triangle2*> vStar;
  getIncidentTriangles(pVtx, vStar);
  for (Triangle2* pT : vStar) {
    rotateToCorner0(pT, pT->getIntraTriangleIndex(pVtx));
    serialScratch.vFlipStack.push_back(pT);
  }
  legalize(pVtx);
}

}  // namespace KORA_ZARN2D
