// SegmentChecker: exact classification of segment pairs and the search for intersecting segments.
#include "SegmentChecker.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <iostream>
#include <memory>
#include <unordered_map>

#include "KoraTest.h"
#include "ProgressPublisher.h"
#include "RTree.h"
#include "Visualizer2.h"
#include "tools.h"

namespace KORA_ZARN2D {

/// The state behind a SegmentChecker.
///
/// The R-tree's items are the addresses of the entries of vSegments, so a candidate's index is
/// its distance from the front of the array; vSegments is never resized after construction.
/// The predicates' range covers every indexed segment (set by addSegments), so the pairs of the
/// index are classified without a range update; segments from outside raise it first.
struct SegmentCheckerData {
  std::vector<Segment2*> vSegments;
  RTree<Segment2* const> rtree;
  KoraTest koraPredicates;
  std::unique_ptr<ProgressPublisher> pPublisher;             // created by the first subscribe
  std::unordered_map<const Segment2*, int> mSegmentToIndex;  // built by the first getIndex

  size_t getIndexOf(Segment2* const* pEntry) const { return static_cast<size_t>(pEntry - vSegments.data()); }
};

namespace {

const char* const kIllegalSegmentsStep = "getIllegalSegments";
const char* const kPublisherName = "SEGCHECK";

bool isFinite(const Point2& p) { return std::isfinite(p.x()) && std::isfinite(p.y()); }

/// Whether the segment can be classified: not null, all coordinates finite.
bool isCheckable(const Segment2* pSeg) { return pSeg != nullptr && isFinite(pSeg->getSrc()) && isFinite(pSeg->getTrg()); }

RTreeBox getBox(const Segment2& seg) {
  const Point2& a(seg.getSrc());
  const Point2& b(seg.getTrg());
  return RTreeBox{std::min(a.x(), b.x()), std::min(a.y(), b.y()), std::max(a.x(), b.x()), std::max(a.y(), b.y())};
}

double getMaxAbs(const Segment2& seg) { return std::max(seg.getSrc().getMaxAbs(), seg.getTrg().getMaxAbs()); }

/// Raises the predicates' range to cover the segment (the filter's error bound depends on it).
void coverByRange(KoraTest& koraPredicates, const Segment2& seg) {
  const double maxAbs(getMaxAbs(seg));
  if (maxAbs > koraPredicates.getRange()) koraPredicates.setRange(maxAbs);
}

/// Whether q lies between a and b. Asked only of a point q known to be collinear with a and b and
/// distinct from both, for which lying on the segment means lying in the box that a and b span.
bool isBetween(const Point2& a, const Point2& b, const Point2& q) {
  return std::min(a.x(), b.x()) <= q.x() && q.x() <= std::max(a.x(), b.x()) && std::min(a.y(), b.y()) <= q.y() &&
         q.y() <= std::max(a.y(), b.y());
}

/// Normalisation of a pair: decides the degenerate configurations (the same segment object,
/// zero-length segments, the same segment in either direction) and returns SIT_UNINITIALIZED for
/// the others, leaving p1, p2 (first segment) and p3, p4 (second segment) arranged so that a
/// shared endpoint is p1 = p3. The first segment is then never of zero length.
SegmentIntersectionType getIntersectionType_degeneratePart(KoraTest& koraPredicates, const Segment2* pSeg0,
                                                           const Segment2* pSeg1, const Point2*& p1, const Point2*& p2,
                                                           const Point2*& p3, const Point2*& p4) {
  if (pSeg0 == pSeg1) return SIT_SEGMENT;
  p1 = &pSeg0->getSrc();
  p2 = &pSeg0->getTrg();
  p3 = &pSeg1->getSrc();
  p4 = &pSeg1->getTrg();
  if (*p1 == *p2) {
    std::swap(p1, p3);
    std::swap(p2, p4);
    if (*p1 == *p2) return *p1 == *p3 ? SIT_ENDPOINT : SIT_NONE;
  }
  if (*p3 == *p4) {
    if (*p3 == *p1 || *p3 == *p2) return SIT_ENDPOINT;
    if (koraPredicates.getOrientationInRange(*p1, *p2, *p3) != ORIENTATION2_COLLINEAR) return SIT_NONE;
    return isBetween(*p1, *p2, *p3) ? SIT_POINT : SIT_NONE;
  }
  if (*p1 == *p4) {
    std::swap(p3, p4);
  } else if (*p2 == *p3) {
    std::swap(p1, p2);
  } else if (*p2 == *p4) {
    std::swap(p1, p2);
    std::swap(p3, p4);
  }
  if (*p1 == *p3 && *p2 == *p4) return SIT_SEGMENT;
  return SIT_UNINITIALIZED;
}

/// Segments p1-p2 and p3-p4 with p1 = p3 and p2 != p4.
SegmentIntersectionType classifyWithSharedEndpoint(KoraTest& koraPredicates, const Point2& p1, const Point2& p2,
                                                   const Point2& p3, const Point2& p4) {
  // The filter decides the determinant of (p1, p2, p4) against the static error bound and leaves
  // only the nearly collinear cases to the exact stages.
  if (koraPredicates.getOrientationInRange(p1, p2, p4) != ORIENTATION2_COLLINEAR) return SIT_ENDPOINT;
  // Collinear: they overlap unless they point away from each other.
  if (isBetween(p1, p2, p4) || isBetween(p3, p4, p2)) return SIT_SEGMENT;
  return SIT_ENDPOINT;
}

/// Segments p1-p2 and p3-p4 without a common endpoint.
SegmentIntersectionType classifyWithoutSharedEndpoint(KoraTest& koraPredicates, const Point2& p1, const Point2& p2,
                                                      const Point2& p3, const Point2& p4) {
  ZARN_ASSERT(p1!=p3 && p1!=p4 && p2!=p3 && p2!=p4);
  const Orientation2 ori123(koraPredicates.getOrientationInRange(p1, p2, p3));
  const Orientation2 ori124(koraPredicates.getOrientationInRange(p1, p2, p4));
  if (ori123 != ORIENTATION2_COLLINEAR && ori124 != ORIENTATION2_COLLINEAR) {
    if (ori123 == ori124) return SIT_NONE;  // p3 and p4 on the same side of the line p1-p2
    // p3 and p4 strictly on either side: the segments meet iff p1 and p2 are not on the same side
    // of the line p3-p4. One of them on that line is an endpoint on the other segment's interior.
    const Orientation2 ori341(koraPredicates.getOrientationInRange(p3, p4, p1));
    const Orientation2 ori342(koraPredicates.getOrientationInRange(p3, p4, p2));
    if (ori341 != ori342) return SIT_POINT;
    ZARN_ASSERT(ori341!=ORIENTATION2_COLLINEAR);
    return SIT_NONE;
  }
  if (ori123 != ORIENTATION2_COLLINEAR) return isBetween(p1, p2, p4) ? SIT_POINT : SIT_NONE;
  if (ori124 != ORIENTATION2_COLLINEAR) return isBetween(p1, p2, p3) ? SIT_POINT : SIT_NONE;
  if (isBetween(p1, p2, p3) || isBetween(p1, p2, p4) || isBetween(p3, p4, p1) || isBetween(p3, p4, p2)) return SIT_SEGMENT;
  return SIT_NONE;
}

/// The general rules, after a normalisation that left the pair undecided.
SegmentIntersectionType applyGeneralRules(KoraTest& koraPredicates, const Point2& p1, const Point2& p2, const Point2& p3,
                                          const Point2& p4) {
  ZARN_ASSERT(p1!=p2);
  if (p1 == p3) return classifyWithSharedEndpoint(koraPredicates, p1, p2, p3, p4);
  return classifyWithoutSharedEndpoint(koraPredicates, p1, p2, p3, p4);
}

/// The type of a pair of checkable segments whose coordinates lie within the predicates' range.
SegmentIntersectionType classifyInRange(KoraTest& koraPredicates, const Segment2* pSeg0, const Segment2* pSeg1) {
  const Point2 *p1, *p2, *p3, *p4;
  const SegmentIntersectionType sit(getIntersectionType_degeneratePart(koraPredicates, pSeg0, pSeg1, p1, p2, p3, p4));
  if (sit != SIT_UNINITIALIZED) return sit;
  return applyGeneralRules(koraPredicates, *p1, *p2, *p3, *p4);
}

/// Whether a classified pair makes both segments illegal. Only the four classifications exist.
bool isIllegal(SegmentIntersectionType sit, bool bAlsoEndPointIntersections) {
  switch (sit) {
    case SIT_NONE:
      return false;
    case SIT_ENDPOINT:
      return bAlsoEndPointIntersections;
    case SIT_POINT:
    case SIT_SEGMENT:
      return true;
    default:
      ZARN_ASSERT(false);
  }
}

/// A fresh point (no custom index, no triangle) at p's position.
Point2 copyPosition(const Point2& p) { return Point2(p.x(), p.y()); }

/// Whether all four points lie on one line, exactly.
bool areCollinear(KoraTest& koraPredicates, const Point2& a0, const Point2& a1, const Point2& b0, const Point2& b1) {
  if (a0 != a1) {
    return koraPredicates.getOrientation(a0, a1, b0) == ORIENTATION2_COLLINEAR &&
           koraPredicates.getOrientation(a0, a1, b1) == ORIENTATION2_COLLINEAR;
  }
  return b0 == b1 || koraPredicates.getOrientation(b0, b1, a0) == ORIENTATION2_COLLINEAR;
}

// Flags per segment in getIllegalSegments.
constexpr uint8_t kIllegalFlag = 1;
constexpr uint8_t kRepeatFlag = 2;  // the same segment object at an earlier index: listed there

}  // namespace

// ----- Construction --------------------------------------------------------------------------

SegmentChecker::SegmentChecker() : pSCD(new SegmentCheckerData) {}

SegmentChecker::SegmentChecker(const std::vector<Segment2*>& vSegments) : pSCD(new SegmentCheckerData) {
  addSegments(vSegments);
}

SegmentChecker::~SegmentChecker() { delete pSCD; }

void SegmentChecker::addSegments(const std::vector<Segment2*>& vSegments) {
  pSCD->vSegments = vSegments;
  double maxAbs(0);
  size_t numUncheckable(0);
  for (Segment2* const& pSeg : pSCD->vSegments) {
    if (!isCheckable(pSeg)) {
      ++numUncheckable;
      continue;
    }
    const RTreeBox box(getBox(*pSeg));
    pSCD->rtree.add(&pSeg, box.xmin, box.ymin, box.xmax, box.ymax);
    maxAbs = std::max(maxAbs, getMaxAbs(*pSeg));
  }
  if (maxAbs > pSCD->koraPredicates.getRange()) pSCD->koraPredicates.setRange(maxAbs);
  if (numUncheckable > 0) {
    reportWarning("SegmentChecker::SegmentChecker()",
                  std::to_string(numUncheckable) + " null or non-finite segment(s) will not be checked");
  }
  pSCD->rtree.build();
}

// ----- Access ------------------------------------------------------------------------------

unsigned SegmentChecker::getNumberOfSegments() const { return static_cast<unsigned>(pSCD->vSegments.size()); }

Segment2* SegmentChecker::getSegment(unsigned i) const {
  ZARN_ASSERT(i<pSCD->vSegments.size());
  return pSCD->vSegments[i];
}

int SegmentChecker::getIndex(Segment2* pSegment) const {
  std::unordered_map<const Segment2*, int>& mSegmentToIndex(pSCD->mSegmentToIndex);
  if (mSegmentToIndex.empty()) {
    mSegmentToIndex.reserve(pSCD->vSegments.size());
    for (size_t i = 0; i < pSCD->vSegments.size(); ++i) mSegmentToIndex.emplace(pSCD->vSegments[i], static_cast<int>(i));
  }
  const std::unordered_map<const Segment2*, int>::const_iterator it(mSegmentToIndex.find(pSegment));
  if (it == mSegmentToIndex.end()) {
    reportError("SegmentChecker::getIndex()", "No such segment");
    return -1;
  }
  return it->second;
}

// ----- Classification ------------------------------------------------------------------------

SegmentIntersectionType SegmentChecker::getIntersectionType(const Segment2* pSeg0, const Segment2* pSeg1) const {
  if (!isCheckable(pSeg0) || !isCheckable(pSeg1)) {
    reportWarning("SegmentChecker::getIntersectionType()", "null or non-finite segment, not classified");
    return SIT_UNINITIALIZED;
  }
  coverByRange(pSCD->koraPredicates, *pSeg0);
  coverByRange(pSCD->koraPredicates, *pSeg1);
  return classifyInRange(pSCD->koraPredicates, pSeg0, pSeg1);
}

std::string SegmentChecker::getIntersectionTypeString(SegmentIntersectionType sit) {
  switch (sit) {
    case SIT_UNINITIALIZED:
      return "SIT_UNINITIALIZED";
    case SIT_NONE:
      return "SIT_NONE";
    case SIT_SEGMENT:
      return "SIT_SEGMENT";
    case SIT_POINT:
      return "SIT_POINT";
    case SIT_ENDPOINT:
      return "SIT_ENDPOINT";
  }
  return "UNKNOWN SIT";
}

// ----- Searches ------------------------------------------------------------------------------

// The segments are visited in the leaf order of the index (consecutive queries then share most of
// the nodes they touch, which keeps them in the cache), and each pair of segments whose boxes meet
// is looked at once, from its lower index, and not at all once both are known to be illegal: the
// result is the same set as classifying every pair from both sides, at a fraction of the cost.
void SegmentChecker::getIllegalSegments(bool bAlsoEndPointIntersections, std::vector<Segment2*>& vIllegalSegmentsOut) const {
  SegmentCheckerData& scd(*pSCD);
  ProgressPublisher* pPublisher(scd.pPublisher.get());
  if (pPublisher != nullptr) pPublisher->startStep(kIllegalSegmentsStep);
  const size_t numSegments(scd.vSegments.size());
  const double numIndexed(static_cast<double>(scd.rtree.size()));
  std::vector<uint8_t> vFlags(numSegments, 0);
  std::vector<Segment2* const*> vCandidates;
  size_t numVisited(0);
  scd.rtree.forEachItem([&](Segment2* const* pSegEntry, const RTreeBox& box) {
    if (pPublisher != nullptr) pPublisher->setProgress(static_cast<double>(numVisited++) / numIndexed);
    const size_t s(scd.getIndexOf(pSegEntry));
    const Segment2* pSeg(*pSegEntry);
    vCandidates.clear();
    scd.rtree.query(box, vCandidates);
    for (Segment2* const* pEntry : vCandidates) {
      const size_t c(scd.getIndexOf(pEntry));
      if (c <= s) continue;
      if (*pEntry == pSeg) vFlags[c] |= kRepeatFlag;
      if ((vFlags[s] & vFlags[c] & kIllegalFlag) != 0) continue;
      if (isIllegal(classifyInRange(scd.koraPredicates, pSeg, *pEntry), bAlsoEndPointIntersections)) {
        vFlags[s] |= kIllegalFlag;
        vFlags[c] |= kIllegalFlag;
      }
    }
  });
  vIllegalSegmentsOut.clear();
  for (size_t s = 0; s < numSegments; ++s) {
    if (vFlags[s] == kIllegalFlag) vIllegalSegmentsOut.push_back(scd.vSegments[s]);
  }
  if (pPublisher != nullptr) pPublisher->finishStep();
}

void SegmentChecker::getIntersectors(Segment2* pTestSegment, bool bAlsoEndPointIntersections,
                                     std::vector<std::pair<Segment2*, SegmentIntersectionType>>& vIntersectorsOut) const {
  if (!isCheckable(pTestSegment)) {
    reportWarning("getIntersectors()", "null or non-finite test segment, no intersectors");
    return;
  }
  SegmentCheckerData& scd(*pSCD);
  coverByRange(scd.koraPredicates, *pTestSegment);
  std::vector<Segment2* const*> vCandidates;
  scd.rtree.query(getBox(*pTestSegment), vCandidates);
  std::sort(vCandidates.begin(), vCandidates.end());  // entries of one array: address order is index order
  for (Segment2* const* pEntry : vCandidates) {
    if (*pEntry == pTestSegment) continue;
    const SegmentIntersectionType sit(classifyInRange(scd.koraPredicates, pTestSegment, *pEntry));
    switch (sit) {
      case SIT_NONE:
        break;
      case SIT_ENDPOINT:
        if (bAlsoEndPointIntersections) vIntersectorsOut.emplace_back(*pEntry, sit);
        break;
      case SIT_POINT:
      case SIT_SEGMENT:
        vIntersectorsOut.emplace_back(*pEntry, sit);
        break;
      default:
        reportError("getIntersectors()", "impossible case");
    }
  }
}

// ----- Constructions -------------------------------------------------------------------------

bool SegmentChecker::getIntersectionPoint(SegmentIntersectionType sit, const Segment2& seg0, const Segment2& seg1,
                                          Point2& out) const {
  const std::string where("SegmentChecker::getIntersectionPoint()");
  if (sit == SIT_ENDPOINT) {
    reportError(where, "SIT_ENDPOINT is a wrong SegmentIntersectionType for the preset segments");
    return false;
  }
  if (sit != SIT_POINT || getIntersectionType(&seg0, &seg1) != SIT_POINT) {
    reportError(where, "wrong SegmentIntersectionType provided");
    return false;
  }
  // A zero-length segment is the common point itself; otherwise the lines cross in one point.
  if (seg0.getSrc() == seg0.getTrg()) {
    out = copyPosition(seg0.getSrc());
  } else if (seg1.getSrc() == seg1.getTrg()) {
    out = copyPosition(seg1.getSrc());
  } else {
    double x, y;
    pSCD->koraPredicates.getIntersectionCoords(seg0.getSrc(), seg0.getTrg(), seg1.getSrc(), seg1.getTrg(), x, y);
    out = Point2(x, y);
  }
  return true;
}

bool SegmentChecker::getIntersectionSegment(const Segment2& seg0, const Segment2& seg1, Segment2& out) const {
  const Point2& a0(seg0.getSrc());
  const Point2& a1(seg0.getTrg());
  const Point2& b0(seg1.getSrc());
  const Point2& b1(seg1.getTrg());
  if (!isFinite(a0) || !isFinite(a1) || !isFinite(b0) || !isFinite(b1) ||
      !areCollinear(pSCD->koraPredicates, a0, a1, b0, b1)) {
    reportError("SegmentChecker::getIntersectionPoint()", "segments seem to be non-collinear");
    return false;
  }
  // On a line the lexicographic order of points (x, then y) is their order along the line, so the
  // common part runs from the greater of the lower ends to the smaller of the upper ends.
  const Point2& lower(std::max(std::min(a0, a1), std::min(b0, b1)));
  const Point2& upper(std::min(std::max(a0, a1), std::max(b0, b1)));
  if (upper < lower) return false;
  if (a1 < a0) {
    out = Segment2(copyPosition(upper), copyPosition(lower));
  } else {
    out = Segment2(copyPosition(lower), copyPosition(upper));
  }
  return true;
}

// ----- Drawing -------------------------------------------------------------------------------

void SegmentChecker::showSegments(const std::string& filename) const {
  std::cout << "SegmentChecker::showSegments(), numSegments=" << pSCD->vSegments.size() << std::endl;
  Visualizer2 visualizer;
  for (const Segment2* pSeg : pSCD->vSegments) {
    if (pSeg != nullptr) visualizer.addSegment(*pSeg, Color(CBLACK));
  }
  visualizer.write(filename);
}

void SegmentChecker::showIllegalSegments(bool bAlsoEndPointIntersections, const std::string& filename) const {
  std::vector<Segment2*> vIllegalSegments;
  getIllegalSegments(bAlsoEndPointIntersections, vIllegalSegments);
  const size_t numSegments(pSCD->vSegments.size());
  std::cout << "Number of segments:" << numSegments << std::endl;
  std::cout << "Illegal segments:" << vIllegalSegments.size() << std::endl;
  std::cout << "Legal segments:" << numSegments - vIllegalSegments.size() << std::endl;
  // Illegal ones are drawn last (on top) and heavier, so that a crossing stays visible.
  Visualizer2 visualizer;
  std::vector<const Segment2*> vSortedIllegal(vIllegalSegments.begin(), vIllegalSegments.end());
  std::sort(vSortedIllegal.begin(), vSortedIllegal.end());
  for (const Segment2* pSeg : pSCD->vSegments) {
    if (pSeg != nullptr && !std::binary_search(vSortedIllegal.begin(), vSortedIllegal.end(), pSeg)) {
      visualizer.addSegment(*pSeg, Color(CBLACK, 0.3));
    }
  }
  for (const Segment2* pSeg : vIllegalSegments) visualizer.addSegment(*pSeg, Color(CRED, 0.8));
  visualizer.write(filename);
}

// ----- Messages ------------------------------------------------------------------------------

void SegmentChecker::subscribe(MsgType msgType, MsgBase* pMsg) {
  if (pMsg == nullptr) {
    reportWarning("SegmentChecker::subscribe()", "null receiver ignored");
    return;
  }
  if (pSCD->pPublisher == nullptr) pSCD->pPublisher.reset(new ProgressPublisher(kPublisherName));
  pSCD->pPublisher->subscribe(msgType, pMsg);
}

void SegmentChecker::unsubscribe(MsgType msgType, MsgBase* pMsg) {
  if (pSCD->pPublisher == nullptr) {
    reportError("SegmentChecker::unsubscribe()", "No publisher present");
    return;
  }
  pSCD->pPublisher->unsubscribe(msgType, pMsg);
}

}  // namespace KORA_ZARN2D
