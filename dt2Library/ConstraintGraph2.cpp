// ConstraintGraph2: order, reading direction and split bookkeeping of a set of constraint segments.
#include "ConstraintGraph2.h"

#include <algorithm>
#include <cmath>
#include <iostream>
#include <limits>

#include "ConstraintMgr.h"
#include "Dt2.h"
#include "Visualizer2.h"
#include "tools.h"

namespace KORA_ZARN2D {

namespace {
void sortByAddressUnique(std::vector<ConstraintSegment2*>& vCSegments) {
  std::sort(vCSegments.begin(), vCSegments.end());
  vCSegments.erase(std::unique(vCSegments.begin(), vCSegments.end()), vCSegments.end());
}

Point2* otherEnd(const ConstraintSegment2* pCSeg, const Point2* pEnd) {
  return pCSeg->getSrc() == pEnd ? pCSeg->getTrg() : pCSeg->getSrc();
}

bool touches(const ConstraintSegment2* pCSeg, const Point2* p) { return pCSeg->getSrc() == p || pCSeg->getTrg() == p; }
}  // namespace

// ----- Construction -----

namespace {
// The directions of a directed input, in input order, from the pair map of the public constructor.
std::vector<bool> reverseFlagsOf(const std::vector<ConstraintSegment2*>& vCSegments,
                                 const std::map<std::pair<Point2*, Point2*>, bool>& mPPReverse) {
  std::vector<bool> vReverse;
  vReverse.reserve(vCSegments.size());
  for (const ConstraintSegment2* pCSeg : vCSegments) {
    Point2* p0(pCSeg->getSrc());
    Point2* p1(pCSeg->getTrg());
    ZARN_ASSERT(p0<p1);
    const auto q_it(mPPReverse.find(std::make_pair(p0, p1)));
    ZARN_ASSERT(q_it!=mPPReverse.end());
    vReverse.push_back(q_it->second);
  }
  return vReverse;
}
}  // namespace

ConstraintGraph2::ConstraintGraph2(Dt2* pDt2_, std::vector<ConstraintSegment2*>& vCSegments,
                                   std::map<std::pair<Point2*, Point2*>, bool> mPPReverse, ConstraintInsertionStrategy cis_)
    : ConstraintGraph2(pDt2_, vCSegments, reverseFlagsOf(vCSegments, mPPReverse), cis_) {}

// A directed polygon keeps the counterclockwise ring order, but every segment keeps the direction
// the user gave it.
ConstraintGraph2::ConstraintGraph2(Dt2* pDt2_, std::vector<ConstraintSegment2*>& vCSegments, const std::vector<bool>& vReverse,
                                   ConstraintInsertionStrategy cis_)
    : pDt2(pDt2_), pConstraintMgr(pDt2_ != nullptr ? pDt2_->getConstraintMgr() : nullptr), cis(cis_), bIsPolygon(false),
      bOriented(true) {
  ZARN_ASSERT(vReverse.size()==vCSegments.size());
  registerAsOwner(vCSegments);
  setReadingDirections(vCSegments, vReverse);
  removeDegenerateSegments(vCSegments);
  std::vector<bool> vRingReverse;
  bIsPolygon = checkAndSortPolygon(vCSegments, vRingReverse);
  if (!bIsPolygon) vCSegParents = vCSegments;
  for (ConstraintSegment2* pCSeg : vCSegments) learnSplitDescendants(pCSeg);
}

ConstraintGraph2::ConstraintGraph2(Dt2* pDt2_, std::vector<ConstraintSegment2*>& vCSegments, ConstraintInsertionStrategy cis_)
    : pDt2(pDt2_), pConstraintMgr(pDt2_ != nullptr ? pDt2_->getConstraintMgr() : nullptr), cis(cis_), bIsPolygon(false),
      bOriented(false) {
  registerAsOwner(vCSegments);
  removeDegenerateSegments(vCSegments);
  std::vector<bool> vRingReverse;
  bIsPolygon = checkAndSortPolygon(vCSegments, vRingReverse);
  if (bIsPolygon) {
    setReadingDirections(vCSegments, vRingReverse);
  } else {
    vCSegParents = vCSegments;
    setReadingDirections(vCSegments, std::vector<bool>(vCSegments.size(), false));
  }
  for (ConstraintSegment2* pCSeg : vCSegments) learnSplitDescendants(pCSeg);
}

void ConstraintGraph2::registerAsOwner(std::vector<ConstraintSegment2*>& vCSegments) {
  for (ConstraintSegment2* pCSeg : vCSegments) pCSeg->addOwner(this);
}

void ConstraintGraph2::setReadingDirections(const std::vector<ConstraintSegment2*>& vCSegments, const std::vector<bool>& vReverse) {
  for (size_t i = 0; i < vCSegments.size(); ++i) *vCSegments[i]->findReverseFlag(this) = vReverse[i];
}

void ConstraintGraph2::removeDegenerateSegments(std::vector<ConstraintSegment2*>& vCSegments) {
  const auto isDegenerate = [](const ConstraintSegment2* pCSeg) {
    if (pCSeg->getSrc() != pCSeg->getTrg()) return false;
    reportWarning("ConstraintGraph2::ConstraintGraph2()", "Ignoring a degenerate constraint segment");
    return true;
  };
  vCSegments.erase(std::remove_if(vCSegments.begin(), vCSegments.end(), isDegenerate), vCSegments.end());
}

// The pieces of a segment that was split before this graph took it over are read in the
// direction of that segment, recursively (through onSegmentSplit).
void ConstraintGraph2::learnSplitDescendants(ConstraintSegment2* pCSeg) {
  if (pCSeg->isAlive() || pCSeg->isSkipped()) return;
  ConstraintSegment2 *pKid0(nullptr), *pKid1(nullptr);
  Point2* pSplit(nullptr);
  pCSeg->getChildrenAndSplitPoint(pKid0, pKid1, pSplit);
  ZARN_ASSERT(pKid0!=0 && pKid1!=0);
  onSegmentSplit(pCSeg, false);
}

namespace {
enum class ChainVerdict { RING, NO_RING, UNKNOWN };

// Most inputs list a ring in order: each segment shares a vertex with the next one. One pass then
// decides. Segments 0..k-1 that return to the start vertex form a closed walk, which holds a cycle
// (or uses a segment twice): with k < n the graph is no single ring. A walk through all n
// segments that does not return is no ring either. One that returns at the last segment is a ring
// when its vertices are distinct. UNKNOWN when some segment does not continue the walk.
// vWalk receives the walk's vertices w0..wn-1 (segment i joins wi and wi+1).
ChainVerdict classifyChain(const std::vector<ConstraintSegment2*>& vCSegments, std::vector<Point2*>& vWalk) {
  const size_t numSegments(vCSegments.size());
  const ConstraintSegment2* pFirst(vCSegments[0]);
  Point2* pStart(touches(vCSegments[1], pFirst->getTrg()) ? pFirst->getSrc() : pFirst->getTrg());
  Point2* pCur(otherEnd(pFirst, pStart));
  for (size_t i = 1; i < numSegments; ++i) {
    if (pCur == pStart) return ChainVerdict::NO_RING;
    if (!touches(vCSegments[i], pCur)) return ChainVerdict::UNKNOWN;
    pCur = otherEnd(vCSegments[i], pCur);
  }
  if (pCur != pStart) return ChainVerdict::NO_RING;
  vWalk.reserve(numSegments);
  vWalk.push_back(pStart);
  for (size_t i = 0; i + 1 < numSegments; ++i) vWalk.push_back(otherEnd(vCSegments[i], vWalk.back()));
  std::vector<Point2*> vSorted(vWalk);
  std::sort(vSorted.begin(), vSorted.end());
  return std::adjacent_find(vSorted.begin(), vSorted.end()) == vSorted.end() ? ChainVerdict::RING : ChainVerdict::NO_RING;
}

bool isLower(const Point2& p, const Point2& q) { return p.x() < q.x() || (p.x() == q.x() && p.y() < q.y()); }
}  // namespace

// The ring starts at the lowest vertex and runs counterclockwise.
bool ConstraintGraph2::checkAndSortPolygon(std::vector<ConstraintSegment2*>& vCSegments, std::vector<bool>& vRingReverse) {
  const size_t numSegments(vCSegments.size());
  if (numSegments < 3) return false;
  std::vector<Point2*> vWalk;
  const ChainVerdict verdict(classifyChain(vCSegments, vWalk));
  if (verdict == ChainVerdict::NO_RING) return false;
  if (verdict == ChainVerdict::UNKNOWN) return checkAndSortUnorderedPolygon(vCSegments, vRingReverse);
  size_t lowest(0);
  for (size_t i = 1; i < numSegments; ++i) {
    if (isLower(*vWalk[i], *vWalk[lowest])) lowest = i;
  }
  // Segment lowest leaves the lowest vertex forwards, segment lowest-1 backwards; the walk runs
  // forwards when the forward neighbour comes first counterclockwise.
  const size_t before((lowest + numSegments - 1) % numSegments);
  Point2* pAhead(vWalk[(lowest + 1) % numSegments]);
  Point2* pBehind(vWalk[before]);
  const bool bFirstIsAhead(lowest < before);
  const Orientation2 ori(bFirstIsAhead ? pDt2->getPredicates().getOrientation(*pBehind, *vWalk[lowest], *pAhead)
                                       : pDt2->getPredicates().getOrientation(*pAhead, *vWalk[lowest], *pBehind));
  if (ori == ORIENTATION2_COLLINEAR) return false;
  const bool bForwards((ori == ORIENTATION2_CCW) == bFirstIsAhead);
  std::vector<ConstraintSegment2*> vRing;
  vRing.reserve(numSegments);
  vRingReverse.clear();
  for (size_t step = 0; step < numSegments; ++step) {
    const size_t i(bForwards ? (lowest + step) % numSegments : (before + numSegments - step) % numSegments);
    Point2* pFar(bForwards ? vWalk[(i + 1) % numSegments] : vWalk[i]);
    vRing.push_back(vCSegments[i]);
    vRingReverse.push_back(vCSegments[i]->getSrc() == pFar);
  }
  vCSegments = vRing;
  vCSegParents.swap(vRing);
  return true;
}

// Walks the ring counterclockwise from the lowest vertex. A ring needs every vertex to touch
// exactly two segments: after sorting the segment ends by vertex, the ends at one vertex then
// form a pair of neighbouring entries, and each step of the walk is one look-up.
bool ConstraintGraph2::checkAndSortUnorderedPolygon(std::vector<ConstraintSegment2*>& vCSegments, std::vector<bool>& vRingReverse) {
  const size_t numSegments(vCSegments.size());
  // End k is end k % 2 (source, target) of segment k / 2; sorted by vertex, then by k.
  struct End {
    Point2* pVtx;
    size_t k;
  };
  std::vector<End> vEnds;
  vEnds.reserve(2 * numSegments);
  for (size_t k = 0; k < 2 * numSegments; ++k) {
    const ConstraintSegment2* pCSeg(vCSegments[k / 2]);
    vEnds.push_back(End{k % 2 == 0 ? pCSeg->getSrc() : pCSeg->getTrg(), k});
  }
  std::sort(vEnds.begin(), vEnds.end(), [](const End& a, const End& b) {
    return a.pVtx != b.pVtx ? std::less<Point2*>()(a.pVtx, b.pVtx) : a.k < b.k;
  });
  std::vector<size_t> vPositionOfEnd(2 * numSegments);
  for (size_t i = 0; i < vEnds.size(); ++i) {
    const bool bPaired(i % 2 == 0 ? (vEnds[i + 1].pVtx == vEnds[i].pVtx) : (vEnds[i - 1].pVtx == vEnds[i].pVtx));
    const bool bThird(i % 2 == 0 && i + 2 < vEnds.size() && vEnds[i + 2].pVtx == vEnds[i].pVtx);
    if (!bPaired || bThird) return false;  // a vertex with one, or more than two, segments
    vPositionOfEnd[vEnds[i].k] = i;
  }
  // The lowest vertex: smallest x, then smallest y.
  size_t lowest(0);
  for (size_t i = 2; i < vEnds.size(); i += 2) {
    if (isLower(*vEnds[i].pVtx, *vEnds[lowest].pVtx)) lowest = i;
  }
  Point2* pLowest(vEnds[lowest].pVtx);
  const size_t s0(vEnds[lowest].k / 2), s1(vEnds[lowest + 1].k / 2);
  Point2* a(otherEnd(vCSegments[s0], pLowest));
  Point2* b(otherEnd(vCSegments[s1], pLowest));
  const Orientation2 ori(pDt2->getPredicates().getOrientation(*b, *pLowest, *a));
  if (ori == ORIENTATION2_COLLINEAR) return false;
  std::vector<ConstraintSegment2*> vRing;
  vRing.reserve(numSegments);
  vRingReverse.clear();
  size_t cur(ori == ORIENTATION2_CCW ? s0 : s1);
  Point2* pNear(pLowest);
  for (;;) {
    ConstraintSegment2* pCur(vCSegments[cur]);
    Point2* pFar(otherEnd(pCur, pNear));
    vRing.push_back(pCur);
    vRingReverse.push_back(pCur->getSrc() == pFar);
    if (pFar == pLowest) break;
    const size_t farEnd(2 * cur + (pCur->getSrc() == pFar ? 0 : 1));
    const size_t next(vEnds[vPositionOfEnd[farEnd] ^ 1].k / 2);
    if (touches(vCSegments[next], pNear)) return false;  // the same pair twice: a ring of two segments
    pNear = pFar;
    cur = next;
    if (vRing.size() > numSegments) return false;
  }
  if (vRing.size() != numSegments) return false;
  vCSegments = vRing;
  vCSegParents.swap(vRing);
  return true;
}

// ----- Split bookkeeping -----

void ConstraintGraph2::getReadingEnds(ConstraintSegment2* pCSeg, Point2*& pFrom, Point2*& pTo) const {
  pFrom = pCSeg->getSrc();
  pTo = pCSeg->getTrg();
  if (isReverse(pCSeg)) std::swap(pFrom, pTo);
}

void ConstraintGraph2::onSegmentSplit(ConstraintSegment2* pParentCSeg, bool bRegister) {
  ZARN_ASSERT(!pParentCSeg->isAlive());
  ZARN_ASSERT_TEXT(pParentCSeg->findReverseFlag(this) != nullptr, "q_it!=mCSegReverse.end()");
  ConstraintSegment2 *pKid0(nullptr), *pKid1(nullptr);
  Point2* pSplit(nullptr);
  pParentCSeg->getChildrenAndSplitPoint(pKid0, pKid1, pSplit);
  ZARN_ASSERT(pSplit!=0);
  Point2 *pParentSrc, *pParentTrg;
  getReadingEnds(pParentCSeg, pParentSrc, pParentTrg);
  // The child at the reading start is entered there, the other one at the split vertex.
  ConstraintSegment2* pFirst(touches(pKid0, pParentSrc) ? pKid0 : pKid1);
  ConstraintSegment2* pSecond(pFirst == pKid0 ? pKid1 : pKid0);
  bool* pFirstReverse(pFirst->findReverseFlag(this));
  bool* pSecondReverse(pSecond->findReverseFlag(this));
  ZARN_ASSERT(pFirstReverse!=0 && pSecondReverse!=0);  // the split registered the owners on the children
  *pFirstReverse = (pFirst->getSrc() != pParentSrc);
  *pSecondReverse = (pSecond->getSrc() != pSplit);
  Point2 *pChild0Src, *pChild0Trg, *pChild1Src, *pChild1Trg;
  getReadingEnds(pFirst, pChild0Src, pChild0Trg);
  getReadingEnds(pSecond, pChild1Src, pChild1Trg);
  ZARN_ASSERT(pChild0Src==pParentSrc || pChild1Src==pParentSrc);
  ZARN_ASSERT(pChild0Trg==pParentTrg || pChild1Trg==pParentTrg);
  ZARN_ASSERT(pChild0Trg==pChild1Src || pChild1Trg==pChild0Src);
  if (bRegister) pConstraintMgr->registerSplit(pParentCSeg, pKid0, pKid1);
  // A child that existed and was split before brings its pieces along.
  learnSplitDescendants(pKid0);
  learnSplitDescendants(pKid1);
}

// ----- Queries -----

void ConstraintGraph2::getOriginalConstraintSegments(std::vector<ConstraintSegment2*>& vCSegments) const {
  vCSegments = vCSegParents;
  sortByAddressUnique(vCSegments);
  if (vCSegments.size() == vCSegParents.size()) vCSegments = vCSegParents;
}

void ConstraintGraph2::getChildConstraintSegments(std::vector<ConstraintSegment2*>& vCSegments) const {
  for (ConstraintSegment2* pCSeg : vCSegParents) {
    if (pCSeg->isAlive()) {
      vCSegments.push_back(pCSeg);
    } else {
      pCSeg->getChildrenRec(vCSegments);
    }
  }
  sortByAddressUnique(vCSegments);
}

void ConstraintGraph2::getDirectChildren(ConstraintSegment2* pParent, ConstraintSegment2*& pChild0, ConstraintSegment2*& pChild1) {
  if (pParent->isAlive()) {
    pChild0 = nullptr;
    pChild1 = nullptr;
    return;
  }
  Point2 *pSrc, *pTrg;
  getReadingEnds(pParent, pSrc, pTrg);
  Point2* pSplit(nullptr);
  pParent->getChildrenAndSplitPoint(pChild0, pChild1, pSplit);
  if (touches(pChild1, pSrc)) std::swap(pChild0, pChild1);
  ZARN_ASSERT(pChild0->getSrc()==pSrc || pChild0->getTrg()==pSrc);
  ZARN_ASSERT(pChild1->getSrc()==pTrg || pChild1->getTrg()==pTrg);
}

void ConstraintGraph2::appendOrderedPieces(ConstraintSegment2* pCSeg, std::vector<ConstraintSegment2*>& vPieces) {
  if (pCSeg->isAlive()) {
    vPieces.push_back(pCSeg);
    return;
  }
  if (pCSeg->isSkipped()) return;
  ConstraintSegment2 *pChild0(nullptr), *pChild1(nullptr);
  getDirectChildren(pCSeg, pChild0, pChild1);
  appendOrderedPieces(pChild0, vPieces);
  appendOrderedPieces(pChild1, vPieces);
}

void ConstraintGraph2::getOrderedChildren(std::vector<ConstraintSegment2*>& vPieces) {
  for (ConstraintSegment2* pCSeg : vCSegParents) appendOrderedPieces(pCSeg, vPieces);
}

void ConstraintGraph2::getPolygonVertices(std::vector<Point2*>& vVertices) {
  std::vector<ConstraintSegment2*> vPieces;
  getOrderedChildren(vPieces);
  for (ConstraintSegment2* pCSeg : vPieces) {
    ZARN_ASSERT(pCSeg->isAlive());
    const bool* pReverse(pCSeg->findReverseFlag(this));
    if (pReverse == nullptr) {
      std::cout << "BUG in ConstraintGraph2::getPolygonVertices" << std::endl;
      std::cout << "ownerCG=" << static_cast<const void*>(this) << std::endl;
      std::cout << "For constraint segment pCSeg: " << static_cast<const void*>(pCSeg) << std::endl;
    }
    ZARN_ASSERT_TEXT(pReverse != nullptr, "q_it!=mCSegReverse.end()");
    vVertices.push_back(*pReverse ? pCSeg->getTrg() : pCSeg->getSrc());
  }
}

bool ConstraintGraph2::isConstraint(ConstraintSegment2* pCSeg) const {
  if (!pCSeg->isAlive()) return false;
  if (pCSeg->findReverseFlag(this) != nullptr) return true;
  // A segment made outside the manager stands for the registered one of its vertex pair.
  return isRegisteredOwnSegment(pCSeg->getSrc(), pCSeg->getTrg());
}

bool ConstraintGraph2::isConstraint(Point2* p0, Point2* p1) const {
  if (p0 == p1) return false;
  if (p1 < p0) std::swap(p0, p1);
  const ConstraintSegment2 probe(p0, p1, cis);  // advances the label counter, as documented
  return isRegisteredOwnSegment(probe.getSrc(), probe.getTrg());
}

bool ConstraintGraph2::isRegisteredOwnSegment(Point2* p0, Point2* p1) const {
  const ConstraintSegment2* pCSeg(pConstraintMgr != nullptr ? pConstraintMgr->getConstraintSegment(p0, p1) : nullptr);
  return pCSeg != nullptr && pCSeg->isAlive() && pCSeg->findReverseFlag(this) != nullptr;
}

bool ConstraintGraph2::isReverse(ConstraintSegment2* pCSeg) const {
  const bool* pReverse(pCSeg->findReverseFlag(this));
  ZARN_ASSERT_TEXT(pReverse != nullptr, "q_it!=mCSegReverse.end()");
  return *pReverse;
}

// ----- Conforming subdivision -----

namespace {
// The vertex across the edge {p, q} that encroaches it (lies strictly inside the circumcircle of
// the triangle on the other side), or null.
Point2* findEncroachingVertex(Dt2* pDt2, Point2* p, Point2* q) {
  Triangle2* pLeft(pDt2->getAdjacentTriangle(p, q));
  Triangle2* pRight(pDt2->getAdjacentTriangle(q, p));
  if (pLeft == nullptr || pRight == nullptr) return nullptr;
  Point2* pLeftApex(pLeft->getCorner(pLeft->getIntraTriangleIndex(p, q)));
  Point2* pRightApex(pRight->getCorner(pRight->getIntraTriangleIndex(p, q)));
  KoraTest& kora(pDt2->getPredicates());
  if (kora.inCircle(*pLeft->getCorner(0), *pLeft->getCorner(1), *pLeft->getCorner(2), *pRightApex) > 0) return pRightApex;
  if (kora.inCircle(*pRight->getCorner(0), *pRight->getCorner(1), *pRight->getCorner(2), *pLeftApex) > 0) return pLeftApex;
  return nullptr;
}

// The midpoint, or the foot of the perpendicular from a close encroaching vertex: splitting
// there avoids a tiny triangle between the piece and that vertex.
Point2 chooseSplitPoint(const Point2& src, const Point2& trg, const Point2* pEncroacher) {
  const Point2 midpoint(0.5 * (src.x() + trg.x()), 0.5 * (src.y() + trg.y()));
  if (pEncroacher == nullptr) return midpoint;
  const double dx(trg.x() - src.x()), dy(trg.y() - src.y());
  const double sqLength(dx * dx + dy * dy);
  const double t(((pEncroacher->x() - src.x()) * dx + (pEncroacher->y() - src.y()) * dy) / sqLength);
  if (!(t > 0.0 && t < 1.0)) return midpoint;
  const Point2 foot(src.x() + t * dx, src.y() + t * dy);
  const double length(std::sqrt(sqLength));
  const double d(std::hypot(pEncroacher->x() - foot.x(), pEncroacher->y() - foot.y()));
  const double dSrc(std::hypot(foot.x() - src.x(), foot.y() - src.y()));
  const double dTrg(std::hypot(foot.x() - trg.x(), foot.y() - trg.y()));
  const bool bCloseToBoth(d < 0.001 && d < 0.01 * dSrc && d < 0.01 * dTrg);
  if ((bCloseToBoth || d < 1e-6) && d < 0.01 * length) return foot;
  return midpoint;
}
}  // namespace

bool ConstraintGraph2::makeDelaunay(double minLength) {
  bool result(true);
  const double sqMinLength(minLength * minLength);
  for (bool bSplitSomething = true; bSplitSomething;) {
    bSplitSomething = false;
    std::vector<ConstraintSegment2*> vWork;
    getChildConstraintSegments(vWork);
    sortByCoordinates(vWork.begin(), vWork.end());
    while (!vWork.empty()) {
      ConstraintSegment2* pCSeg(vWork.back());
      vWork.pop_back();
      if (!pCSeg->isAlive()) {
        appendPiecesByCoordinates(pCSeg, vWork);
        continue;
      }
      Point2* pEncroacher(findEncroachingVertex(pDt2, pCSeg->getSrc(), pCSeg->getTrg()));
      if (pEncroacher == nullptr) continue;
      const Point2& src(*pCSeg->getSrc());
      const Point2& trg(*pCSeg->getTrg());
      const double sqLength((trg.x() - src.x()) * (trg.x() - src.x()) + (trg.y() - src.y()) * (trg.y() - src.y()));
      if (sqLength < sqMinLength) {
        result = false;
        continue;
      }
      if (pCSeg->insertAndSplit(chooseSplitPoint(src, trg, pEncroacher)) != nullptr) {
        bSplitSomething = true;
        appendPiecesByCoordinates(pCSeg, vWork);
      }
    }
  }
  return result;
}

// ----- Pictures -----

void ConstraintGraph2::show(const std::string& filename) {
  Visualizer2 vis;
  show(&vis, Color(CRED));
  vis.write(filename);
}

void ConstraintGraph2::show(Visualizer2* pVis, const Color& color) {
  if (pVis == nullptr) return;
  std::vector<ConstraintSegment2*> vPieces;
  getChildConstraintSegments(vPieces);
  for (ConstraintSegment2* pCSeg : vPieces) pVis->addSegment(Segment2(*pCSeg->getSrc(), *pCSeg->getTrg()), color);
}

}  // namespace KORA_ZARN2D
