// ConstraintMgr: segment registry, graph creation, the insertion passes and constraint dumps.
#include "ConstraintMgr.h"

#include <algorithm>
#include <fstream>
#include <iomanip>
#include <sstream>

#include "Dt2.h"
#include "tools.h"

namespace KORA_ZARN2D {

namespace {
// A pass splits every segment that is not yet an edge, so the passes needed grow with the depth
// of the split trees; the bound stops a numerically hopeless insertion (fixed by design).
constexpr int kMaxApplyPasses = 499;
constexpr int kProgressSteps = 100;
// The vertex budget of one apply run: this many times the vertices at its start, plus a base.
constexpr size_t kVertexBudgetFactor = 10;
constexpr size_t kVertexBudgetBase = 500;

std::string describePoint(const Point2& p) {
  std::ostringstream oss;
  oss << std::setprecision(17) << "Point2 (" << p.x() << "," << p.y() << "): ";
  return oss.str();
}
}  // namespace

namespace {
std::pair<const Point2&, const Point2&> endsByCoordinates(const ConstraintSegment2* pCSeg) {
  const Point2& a(*pCSeg->getSrc());
  const Point2& b(*pCSeg->getTrg());
  return b < a ? std::pair<const Point2&, const Point2&>(b, a) : std::pair<const Point2&, const Point2&>(a, b);
}
}  // namespace

void sortByCoordinates(std::vector<ConstraintSegment2*>::iterator first, std::vector<ConstraintSegment2*>::iterator last) {
  std::sort(first, last, [](const ConstraintSegment2* s0, const ConstraintSegment2* s1) {
    const auto e0(endsByCoordinates(s0)), e1(endsByCoordinates(s1));
    if (!(e0.first == e1.first)) return e0.first < e1.first;
    return e0.second < e1.second;
  });
}

void appendPiecesByCoordinates(const ConstraintSegment2* pCSeg, std::vector<ConstraintSegment2*>& vOut) {
  const std::ptrdiff_t firstNew(static_cast<std::ptrdiff_t>(vOut.size()));
  pCSeg->getChildrenRec(vOut);
  sortByCoordinates(vOut.begin() + firstNew, vOut.end());
}

ConstraintMgr::ConstraintMgr(Dt2* pDt2_)
    : pDt2(pDt2_), numSegments(0), bAliveAreEdges(true), numSplits(0), bSplitLogging(false) {}

ConstraintMgr::~ConstraintMgr() {
  for (ConstraintGraph2* pGraph : vGraphs) delete pGraph;
  forEachSegment([](ConstraintSegment2& seg) { seg.~ConstraintSegment2(); });
}

// ----- Registry -----

namespace {
// Segment blocks grow geometrically from a small first block (small triangulations stay cheap)
// up to a bound (large ones waste little).
constexpr size_t kFirstSegmentBlock = 16;
constexpr size_t kMaxSegmentBlock = size_t(1) << 16;
constexpr size_t kMinSlots = 16;
}  // namespace

template <typename Visit>
void ConstraintMgr::forEachSegment(Visit visit) const {
  for (const SegmentBlock& block : vSegmentBlocks) {
    // The segments are not part of the manager's constness: a const visit may still change them.
    ConstraintSegment2* aSegments(reinterpret_cast<ConstraintSegment2*>(const_cast<SegmentStorage*>(block.vStorage.data())));
    for (size_t i = 0; i < block.used; ++i) visit(aSegments[i]);
  }
}

size_t ConstraintMgr::roomInBlock() const {
  return vSegmentBlocks.empty() ? 0 : vSegmentBlocks.back().capacity - vSegmentBlocks.back().used;
}

void ConstraintMgr::startSegmentBlock(size_t capacity) {
  capacity = std::min(kMaxSegmentBlock, std::max(kFirstSegmentBlock, capacity));
  vSegmentBlocks.push_back(SegmentBlock{{}, capacity, 0});
  vSegmentBlocks.back().vStorage.resize(capacity);
}

ConstraintSegment2* ConstraintMgr::newSegment(Point2* p0, Point2* p1, ConstraintInsertionStrategy cis) {
  if (roomInBlock() == 0) startSegmentBlock(vSegmentBlocks.empty() ? 0 : 2 * vSegmentBlocks.back().capacity);
  SegmentBlock& block(vSegmentBlocks.back());
  ConstraintSegment2* pCSeg(new (&block.vStorage[block.used]) ConstraintSegment2(p0, p1, cis));
  ++block.used;
  return pCSeg;
}

void ConstraintMgr::reserve(size_t numMore) {
  if (roomInBlock() < numMore) startSegmentBlock(numMore);  // one block for the whole input where possible
  if (2 * (numSegments + numMore) > vSlots.size()) growSlots(numSegments + numMore);
}

void ConstraintMgr::growSlots(size_t minSegments) {
  size_t numSlots(std::max(kMinSlots, vSlots.size()));
  while (numSlots < 2 * minSegments) numSlots *= 2;
  vSlots.assign(numSlots, 0);
  forEachSegment([this](ConstraintSegment2& seg) { placeInSlots(&seg); });
}

void ConstraintMgr::placeInSlots(ConstraintSegment2* pCSeg) {
  const uintptr_t address(reinterpret_cast<uintptr_t>(pCSeg));
  ZARN_ASSERT((address & kTagBits) == 0);
  const uint64_t h(hashOf(pCSeg->getSrc(), pCSeg->getTrg()));
  size_t i(slotOf(h));
  while (vSlots[i] != 0) i = (i + 1) & slotMask();
  vSlots[i] = address | tagOf(h);
}

ConstraintSegment2* ConstraintMgr::getOrCreateSegment(Point2* p0, Point2* p1, ConstraintInsertionStrategy cis) {
  if (p1 < p0) std::swap(p0, p1);
  ZARN_ASSERT(p0<p1);
  ConstraintSegment2* pExisting(getConstraintSegment(p0, p1));
  if (pExisting != nullptr) {
    if (pExisting->isSkipped()) {  // asked for again: one more attempt
      pExisting->setAlive();
      bAliveAreEdges = false;
    }
    return pExisting;
  }
  bAliveAreEdges = false;
  ConstraintSegment2* pCSeg(newSegment(p0, p1, cis));
  ++numSegments;
  if (2 * numSegments > vSlots.size()) {
    growSlots(numSegments);  // places the new segment too
  } else {
    placeInSlots(pCSeg);
  }
  return pCSeg;
}

template <typename Filter>
void ConstraintMgr::collectSorted(std::vector<ConstraintSegment2*>& vCSegments, Filter filter) const {
  const size_t firstNew(vCSegments.size());
  forEachSegment([&](ConstraintSegment2& seg) {
    if (filter(seg)) vCSegments.push_back(&seg);
  });
  std::sort(vCSegments.begin() + static_cast<std::ptrdiff_t>(firstNew), vCSegments.end(), CSegPtrLess());
}

void ConstraintMgr::getAliveConstraintSegments(std::vector<ConstraintSegment2*>& vCSegments) const {
  collectSorted(vCSegments, [](const ConstraintSegment2& seg) { return seg.isAlive(); });
}

void ConstraintMgr::getAliveAndDeadConstraintSegments(std::vector<ConstraintSegment2*>& vCSegments) const {
  collectSorted(vCSegments, [](const ConstraintSegment2&) { return true; });
}

bool ConstraintMgr::isEndpointOfAliveSegment(Point2* pVtx) const {
  if (empty()) return false;
  if (pVtx->getIncidentTriangle() == nullptr) {  // no triangles yet: look through all segments
    bool bFound(false);
    forEachSegment([&](const ConstraintSegment2& seg) {
      bFound = bFound || (seg.isAlive() && (seg.getSrc() == pVtx || seg.getTrg() == pVtx));
    });
    return bFound;
  }
  // Alive segments are edges: look at the vertex's neighbours.
  std::vector<Point2*> vNeighbours;
  pDt2->getIncidentVertices(pVtx, vNeighbours);
  for (Point2* pOther : vNeighbours) {
    if (getAliveSegment(pVtx, pOther) != nullptr) return true;
  }
  return false;
}

void ConstraintMgr::registerSplit(ConstraintSegment2* pParentCSeg, ConstraintSegment2* pCSeg0, ConstraintSegment2* pCSeg1) {
  ZARN_ASSERT(!pParentCSeg->isAlive());
  ZARN_ASSERT(pCSeg0!=pCSeg1);
  const std::pair<Point2*, Point2*> key0(pCSeg0->getSrc(), pCSeg0->getTrg());
  const std::pair<Point2*, Point2*> key1(pCSeg1->getSrc(), pCSeg1->getTrg());
  ZARN_ASSERT(key0.first<key0.second);
  ZARN_ASSERT(key1.first<key1.second);
  ++numSplits;
  if (bSplitLogging) vSplitLog.push_back(pParentCSeg);
}

// ----- Graphs -----

namespace {
// Whether most segments share an end with the one before (a polyline or a ring): an order that
// keeps each insertion next to the previous one already.
bool isMostlyChained(const std::vector<ConstraintSegment2*>& vCSegments) {
  size_t numChained(0);
  for (size_t i = 1; i < vCSegments.size(); ++i) {
    const ConstraintSegment2 &s0(*vCSegments[i - 1]), &s1(*vCSegments[i]);
    if (s1.getSrc() == s0.getSrc() || s1.getSrc() == s0.getTrg() || s1.getTrg() == s0.getSrc() || s1.getTrg() == s0.getTrg()) ++numChained;
  }
  return 2 * numChained >= vCSegments.size();
}

// Segments in input order may jump across the triangulation (edges listed by attribute, random
// test segments): taken by the Hilbert keys of their midpoints, each walk starts among triangles
// the previous one has just brought into the cache. Ties keep the input order. O(n log n).
void sortAlongCurve(const HC2& hc, std::vector<ConstraintSegment2*>& vCSegments) {
  std::vector<std::pair<uint32_t, ConstraintSegment2*>> vKeyed;
  vKeyed.reserve(vCSegments.size());
  for (ConstraintSegment2* pCSeg : vCSegments) {
    const Point2& a(*pCSeg->getSrc());
    const Point2& b(*pCSeg->getTrg());
    vKeyed.emplace_back(hc.getKey(0.5 * a.x() + 0.5 * b.x(), 0.5 * a.y() + 0.5 * b.y()), pCSeg);
  }
  std::stable_sort(vKeyed.begin(), vKeyed.end(), [](const auto& k0, const auto& k1) { return k0.first < k1.first; });
  for (size_t i = 0; i < vCSegments.size(); ++i) vCSegments[i] = vKeyed[i].second;
}
}  // namespace

ConstraintGraph2* ConstraintMgr::createConstraint(const std::vector<std::pair<Point2*, Point2*>>& vPairs,
                                                  ConstraintInsertionStrategy cis, bool bOriented, bool bApply) {
  ProgressPublisher& publisher(pDt2->getPublisher());
  publisher.startStep("establish constraints");
  const size_t progressInterval(std::max<size_t>(vPairs.size() / kProgressSteps, 1));
  std::vector<ConstraintSegment2*> vCSegments;
  vCSegments.reserve(vPairs.size());
  reserve(vPairs.size());
  const bool bEarlierAreEdges(bAliveAreEdges);
  std::vector<bool> vReverse;  // directed input: per segment, given from the higher to the lower address
  for (size_t i = 0, nextProgress = 0; i < vPairs.size(); ++i) {
    if (i == nextProgress) {
      publisher.setProgress(static_cast<double>(i) / static_cast<double>(vPairs.size()));
      nextProgress += progressInterval;
    }
    Point2* pSrc(vPairs[i].first);
    Point2* pTrg(vPairs[i].second);
    if (pSrc == pTrg) {
      reportWarning("ConstraingMgr::createConstraint", "(0) Identical source and endpoint, a constraint segment has been skipped.");
      logToFile(describePoint(*pSrc) + " <-> " + describePoint(*pTrg));
      continue;
    }
    ConstraintSegment2* pCSeg(getOrCreateSegment(pSrc, pTrg, cis));
    vCSegments.push_back(pCSeg);
    vReverse.push_back(pTrg < pSrc);
  }
  ConstraintGraph2* pGraph(bOriented ? new ConstraintGraph2(pDt2, vCSegments, vReverse, cis) : new ConstraintGraph2(pDt2, vCSegments, cis));
  vGraphs.push_back(pGraph);
  if (bApply) {
    ProgressPublisher::Silence silence(publisher);
    // Conforming splits of nearly concurrent segments drift further from their lines when the
    // segments come in curve order: that strategy keeps the input order.
    if (cis == CIS_CONSTRAINED_DELAUNAY && !isMostlyChained(vCSegments)) sortAlongCurve(pDt2->getHC2(), vCSegments);
    const bool bStable(applyTo(std::move(vCSegments)));
    bAliveAreEdges = bEarlierAreEdges && bStable;
  }
  publisher.finishStep();
  return pGraph;
}

// ----- Insertion -----

void ConstraintMgr::insertSegment(ConstraintSegment2* pCSeg) {
  switch (pCSeg->getCIS()) {
    case CIS_CONFORMING_DELAUNAY:
      pDt2->insertSegmentConformingDelaunay(pCSeg);
      break;
    case CIS_CONSTRAINED_DELAUNAY:
      pDt2->newCDT_applyOneCS(pCSeg);
      break;
    default:
      reportError("ConstraintMgr::apply()", "Unknown CIS");
  }
}

// After a stable run every alive segment is an edge; until a segment is created or revived there
// is nothing to insert (the run then only reports its step).
void ConstraintMgr::apply() {
  std::vector<ConstraintSegment2*> vWork;
  if (!bAliveAreEdges) {
    forEachSegment([&vWork](ConstraintSegment2& seg) {  // creation order: independent of addresses
      if (seg.isAlive()) vWork.push_back(&seg);
    });
  }
  bAliveAreEdges = applyTo(vWork);
}

// A pass inserts every segment of the work list that is not yet an edge. An alive segment that
// is an edge stays one (constraint edges are never flipped, and a vertex put on one splits it),
// so the next pass needs only the pieces of the segments split in this one: split by their own
// insertion, or as the crossing partner of another segment. Splits made while a segment is
// forced in (the constrained strategy) are left out: that insertion has made every piece an edge
// already. A segment found dead in the work list was split as such a partner before its turn;
// its pieces join the current pass.
//
// Conforming insertion of nearly parallel constraints needs a number of vertices that grows
// with the inverse of their distance; a vertex budget stops such a run with the accuracy error
// instead of letting it exhaust time and memory. The pieces still waiting then are forced in as
// constrained edges, so that every segment stands (not conforming there) or is reported skipped.
bool ConstraintMgr::applyTo(std::vector<ConstraintSegment2*> vWork) {
  ProgressPublisher& publisher(pDt2->getPublisher());
  publisher.startStep("apply");
  const size_t maxNumVertices(kVertexBudgetFactor * static_cast<size_t>(pDt2->numberOfPoints()) + kVertexBudgetBase);
  const size_t numSkippedBefore(pDt2->numberOfSkippedSegments());
  std::vector<ConstraintSegment2*> vNext;
  bSplitLogging = true;
  bool bStable(false);
  for (int pass = 0; pass < kMaxApplyPasses && pDt2->numberOfPoints() <= maxNumVertices && !bStable; ++pass) {
    vSplitLog.clear();
    vRetry.clear();
    for (size_t i = 0; i < vWork.size(); ++i) {
      ConstraintSegment2* pCSeg(vWork[i]);
      if (pass == 0) publisher.setProgress(static_cast<double>(i) / static_cast<double>(vWork.size()));
      if (!pCSeg->isAlive()) {
        appendPiecesByCoordinates(pCSeg, vWork);
        continue;
      }
      if (pDt2->hasEdge(pCSeg->getSrc(), pCSeg->getTrg())) continue;
      insertSegment(pCSeg);
    }
    vNext.clear();
    for (ConstraintSegment2* pParent : vSplitLog) appendPiecesByCoordinates(pParent, vNext);
    vNext.insert(vNext.end(), vRetry.begin(), vRetry.end());
    bStable = vNext.empty();
    vWork.swap(vNext);
  }
  bSplitLogging = false;
  if (!bStable) forceAll(vWork);
  const size_t numSkipped(pDt2->numberOfSkippedSegments() - numSkippedBefore);
  if (!bStable || numSkipped > 0) {
    reportError("ConstraintMgr::apply()", "insufficient numeric accuracy, need to skip last insertions");
    if (numSkipped > 0) reportWarning("ConstraintMgr::apply()", std::to_string(numSkipped) + " constraint segment(s) skipped, not inserted");
  }
  publisher.finishStep();
  return bStable;
}

void ConstraintMgr::forceAll(std::vector<ConstraintSegment2*>& vWork) {
  const size_t maxNumPoints(pDt2->forcingLimit());
  while (!vWork.empty()) {
    ConstraintSegment2* pCSeg(vWork.back());
    vWork.pop_back();
    if (!pCSeg->isAlive()) {
      appendPiecesByCoordinates(pCSeg, vWork);
    } else if (!pDt2->hasEdge(pCSeg->getSrc(), pCSeg->getTrg())) {
      pDt2->forceSegment(pCSeg, maxNumPoints);
    }
  }
}

// ----- Dumps -----

void ConstraintMgr::getAlivePiecesOfGraph(const ConstraintGraph2* pGraph, std::vector<ConstraintSegment2*>& vPieces) const {
  std::vector<ConstraintSegment2*> vOriginals;
  pGraph->getOriginalConstraintSegments(vOriginals);
  for (ConstraintSegment2* pCSeg : vOriginals) {
    if (pCSeg->isAlive()) {
      vPieces.push_back(pCSeg);
    } else {
      pCSeg->getChildrenRec(vPieces);
    }
  }
}

void ConstraintMgr::writeConstraints(const std::string& base) {
  for (size_t i = 0; i < vGraphs.size(); ++i) {
    std::vector<ConstraintSegment2*> vPieces;
    getAlivePiecesOfGraph(vGraphs[i], vPieces);
    const std::string filename(base + "_c" + std::to_string(i) + ".con");
    reportInfo("ConstraintMgr::writeConstraints()", "writes " + std::to_string(vPieces.size()) + " child segments to " + filename);
    std::ofstream out(filename.c_str());
    if (!out) {
      reportError("ConstraintMgr::writeConstraints()", "Can't write " + filename);
      continue;
    }
    out << std::setprecision(17);
    for (const ConstraintSegment2* pCSeg : vPieces) {
      out << pCSeg->getSrc()->x() << "\t" << pCSeg->getSrc()->y() << "\t" << pCSeg->getTrg()->x() << "\t" << pCSeg->getTrg()->y()
          << "\n";
    }
  }
}

void ConstraintMgr::writeConstraintsBIN(const std::string& base) {
  for (size_t i = 0; i < vGraphs.size(); ++i) {
    std::vector<ConstraintSegment2*> vPieces;
    getAlivePiecesOfGraph(vGraphs[i], vPieces);
    const std::string filename(base + "_c" + std::to_string(i) + "_con.bin");
    reportInfo("ConstraintMgr::writeConstraintsBIN()", "writes " + std::to_string(vPieces.size()) + " child segments to " + filename);
    std::vector<Segment2> vSegments;
    vSegments.reserve(vPieces.size());
    for (const ConstraintSegment2* pCSeg : vPieces) vSegments.push_back(Segment2(*pCSeg->getSrc(), *pCSeg->getTrg()));
    writeSegmentsBIN(filename.c_str(), vSegments);
  }
}

}  // namespace KORA_ZARN2D
