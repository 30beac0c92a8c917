// Dt2: incremental Delaunay insertion (visibility walk, splits, hull extension, Lawson flips)
// and bulk insertion in Hilbert order.
#include "Dt2.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#ifdef __GLIBC__
#include <malloc.h>
#endif

#include "BlockCache.h"
#include "ConstraintMgr.h"
#include "Zone2.h"
#include "InserterMT.h"
#include "ThreadSlices.h"
#include "tools.h"

namespace KORA_ZARN2D {

namespace {
constexpr unsigned int kHilbertBits = 30;
constexpr unsigned int kMinExpectedVertices = 3;
constexpr int kFlipStackReserve = 64;
// Bulk insertion computes its progress every 2^12 vertices (the publisher passes on whole percents).
constexpr size_t kProgressInterval = size_t(1) << 12;

bool isFinitePoint(const Point2& p) { return std::isfinite(p.x()) && std::isfinite(p.y()); }

// Below this many points the key buffers are too small to matter for the peak: they stay in the
// block cache, where the next triangulation's buffers find them resident.
constexpr size_t kTrimMinPoints = size_t(1) << 18;

// The bounds of some points (empty: min above max).
struct Bounds {
  double minX = HUGE_VAL, minY = HUGE_VAL, maxX = -HUGE_VAL, maxY = -HUGE_VAL;
};

// Extends box by the input's finite points, on up to numCPU threads; true when it changed. One pass
// per slice with the bounds in registers: a call per point would cost a fifth of the vertex creation.
bool extendByFinitePoints(Bbox2& box, const BulkInput& input, size_t numCPU) {
  const std::vector<Bounds> vSliceBounds(mapSlices<Bounds>(input.size, threadsFor(input.size, numCPU), [&input](size_t begin, size_t end) {
    Bounds b;
    for (size_t i = begin; i < end; ++i) {
      const double x(input.aPoints != nullptr ? input.aPoints[i].x() : input.aCoordinates[2 * i]);
      const double y(input.aPoints != nullptr ? input.aPoints[i].y() : input.aCoordinates[2 * i + 1]);
      if (!std::isfinite(x) || !std::isfinite(y)) continue;
      b.minX = std::min(b.minX, x);
      b.minY = std::min(b.minY, y);
      b.maxX = std::max(b.maxX, x);
      b.maxY = std::max(b.maxY, y);
    }
    return b;
  }));
  Bounds all;
  for (const Bounds& b : vSliceBounds) {
    all = Bounds{std::min(all.minX, b.minX), std::min(all.minY, b.minY), std::max(all.maxX, b.maxX), std::max(all.maxY, b.maxY)};
  }
  if (all.minX > all.maxX) return false;
  const bool bLowerChanged(box.add(Point2(all.minX, all.minY)));
  const bool bUpperChanged(box.add(Point2(all.maxX, all.maxY)));
  return bLowerChanged || bUpperChanged;
}

// The key buffers of a large bulk insertion (16 bytes per point) bypass the thread's block cache
// (BlockCache.h) when they are freed, before the triangles are built, and glibc may keep freed
// pages of its heap resident: those go back too, so that neither adds to the peak.
void trimFreedHeapMemory(size_t numPoints) {
#ifdef __GLIBC__
  if (numPoints >= kTrimMinPoints) malloc_trim(0);
#else
  (void)numPoints;
#endif
}
}  // namespace

Dt2::Dt2(unsigned int numExpectedVertices)
    : vertexVault(this), numCPU(1), bbx(&kora), vertexPool(kTriangulationPoolMessageThreshold),
      trianglePool(kTriangulationPoolMessageThreshold), publisher("DT2"), bSuspendFlips(false), numAllTriangles(0),
      pConstraintMgr(new ConstraintMgr(this)), bConstraintsPending(false), numSkippedSegments(0) {
  const unsigned int numVertices(std::max(kMinExpectedVertices, numExpectedVertices));
  vertexPool.init(static_cast<int>(numVertices), maxPoolBlockSize<Point2>());
  trianglePool.init(static_cast<int>(2 * numVertices + 10), maxPoolBlockSize<Triangle2>());
  serialScratch.vFlipStack.reserve(kFlipStackReserve);
}

Dt2::~Dt2() = default;

// ----- Pools -----

Point2* Dt2::createVertex(const Point2& p) {
  Point2* pVtx(vertexPool.alloc());
  new (pVtx) Point2(p);  // the copy constructor: coordinates and custom index, no triangle
  return pVtx;
}

Triangle2* Dt2::createTriangle(Point2* p0, Point2* p1, Point2* p2) {
  Triangle2* pT(takeTriangle());
  pT->setPropertiesAndOppT(p0, p1, p2, nullptr, nullptr, nullptr);
  return pT;
}

Point2* Dt2::reserveVertexRun(size_t count) {
  Point2* pRun(vertexPool.allocRun(static_cast<int32_t>(count)));
  ZARN_ASSERT(pRun!=0);
  return pRun;
}

void Dt2::reserveTriangleRuns(size_t numTriangles, std::vector<TriangleRun>& vRuns) {
  const size_t maxRun(static_cast<size_t>(trianglePool.getMaxBlockSize()));
  while (numTriangles > 0) {
    const int32_t size(static_cast<int32_t>(std::min(numTriangles, maxRun)));
    Triangle2* pRun(trianglePool.allocRun(size));
    ZARN_ASSERT(pRun!=0);
    vRuns.push_back(TriangleRun{pRun, pRun + size});
    numAllTriangles += static_cast<size_t>(size);
    numTriangles -= static_cast<size_t>(size);
  }
}

void Dt2::releaseUnusedRuns(const std::vector<TriangleRun>& vRuns) {
  for (const TriangleRun& run : vRuns) {
    for (Triangle2* pT = run.pBegin; pT != run.pEnd; ++pT) vReleasedTriangles.push_back(new (pT) Triangle2());
  }
}

void Dt2::releaseTriangles(const std::vector<Triangle2*>& vDead) {
  std::lock_guard<std::mutex> lock(mtxReleasedTriangles);
  for (Triangle2* pT : vDead) {
    pT->clearProperties();
    vReleasedTriangles.push_back(pT);
  }
}

uint32_t Dt2::newMarks(uint32_t count) {
  if (lastMark > Triangle2::kMaxMark - count) {
    for (int b = 0; b < trianglePool.getNumBlocks(); ++b) {
      Triangle2* pBlock(trianglePool.getBlock(b));
      for (int32_t i = 0; i < trianglePool.getUsedCount(b); ++i) pBlock[i].setMark(0);
    }
    lastMark = 0;
  }
  const uint32_t first(lastMark + 1);
  lastMark += count;
  return first;
}

bool Dt2::ownsVertexStorage(const Point2* p) const { return vertexPool.contains(p); }

// ----- Settings -----

int Dt2::setNumCPU(int numCPU_) {
  if (numCPU_ > 0) {
    numCPU = numCPU_;
  } else if (numCPU_ == 0) {
    numCPU = static_cast<int>(hardwareThreads());
  } else {
    numCPU = 1;
  }
  return numCPU;
}

// ----- Key mapping -----

bool Dt2::extendBoxBy(const Point2& p) {
  if (!bbx.add(p)) return false;
  bbx.doubleTheBox();
  return true;
}

void Dt2::rebuildKeyMapping() {
  hc.init(bbx.get_minX(), bbx.get_minY(), bbx.get_maxX(), bbx.get_maxY(), kHilbertBits);
  vertexVault.rekeyAll();
}

// ----- Insertion -----

// The hull edges that p sees strictly from outside, in counterclockwise hull order: first walk
// backwards from the source of the given edge, then forwards from its target.
void Dt2::collectVisibleHullEdges(Triangle2* pT, int edgeIdx, const Point2& p, std::vector<std::pair<Triangle2*, int>>& vEdges) {
  vEdges.clear();
  for (const bool bForward : {false, true}) {
    if (bForward) {
      std::reverse(vEdges.begin(), vEdges.end());
      vEdges.push_back(std::make_pair(pT, edgeIdx));
    }
    Triangle2* pCur(pT);
    Point2* pPivot(pT->getCorner(bForward ? incIndexBy2(edgeIdx) : incIndexBy1(edgeIdx)));
    for (;;) {
      const int j(hullEdgeAtRemembered(pPivot, pCur, bForward));
      Point2* pSrc(pCur->getCorner(incIndexBy1(j)));
      Point2* pTrg(pCur->getCorner(incIndexBy2(j)));
      if (kora.getOrientationInRange(*pTrg, *pSrc, p) != ORIENTATION2_CCW) break;
      vEdges.push_back(std::make_pair(pCur, j));
      pPivot = bForward ? pTrg : pSrc;
    }
  }
}

// A remembered edge still is the hull edge at the pivot if its triangle has no neighbour there
// and the pivot is its source (forwards) or target (backwards): a hull vertex has one of each.
// Triangle records are never handed back to the system, so reading a stale one is safe.
int Dt2::hullEdgeAtRemembered(Point2* pPivot, Triangle2*& pCur, bool bForward) {
  HullEdgeHint& hint(aHullEdgeHints[bForward ? 1 : 0]);
  if (hint.pPivot == pPivot && hint.pT->isAlive() && hint.pT->getOppositeTriangle(hint.idx) == nullptr &&
      hint.pT->getCorner(bForward ? incIndexBy1(hint.idx) : incIndexBy2(hint.idx)) == pPivot) {
    pCur = hint.pT;
    return hint.idx;
  }
  const int j(hullEdgeAt(pPivot, pCur, bForward));
  hint = HullEdgeHint{pPivot, pCur, j};
  return j;
}

void Dt2::legalize(Point2* pVtx, KoraTest& predicates, InsertionScratch& scratch) const {
  std::vector<Triangle2*>& vFlipStack(scratch.vFlipStack);
  // Without constraint segments no edge can be a constraint: no lookup per flip.
  const bool bConstraintEdges(!pConstraintMgr->empty());
  while (!vFlipStack.empty()) {
    Triangle2* pT(vFlipStack.back());
    vFlipStack.pop_back();
    Triangle2* pN(pT->getOppositeTriangle(0));
    if (pN == nullptr) continue;
    if (predicates.inCircle(*pN->getCorner(0), *pN->getCorner(1), *pN->getCorner(2), *pVtx) <= 0) continue;
    if (bSuspendFlips || (bConstraintEdges && isConstraint(pT, 0))) continue;
    flip(pT, 0, pN, pN->getIntraTriangleIndex(pT));
    vFlipStack.push_back(pT);
    vFlipStack.push_back(pN);
  }
}

// A vertex on a constraint edge splits the constraint segment as well: its pieces are the two
// halves of the edge.
void Dt2::splitEdgeAndConstraint(Triangle2* pT, int edgeIdx, Point2* pVtx) {
  ConstraintSegment2* pCSeg(nullptr);
  if (isConstraint(pT, edgeIdx)) {
    pCSeg = pConstraintMgr->getAliveSegment(pT->getCorner(incIndexBy1(edgeIdx)), pT->getCorner(incIndexBy2(edgeIdx)));
    ZARN_ASSERT(pCSeg!=0);
  }
  splitEdge(pT, edgeIdx, pVtx, serialScratch);
  if (pCSeg != nullptr) pCSeg->split_combinatorialOnly(pVtx);
}

void Dt2::registerDuplicate(Point2* pVtx, const Triangle2* pT) {
  Point2* pCorner(nullptr);
  for (int i = 0; i < 3; ++i) {
    if (*pT->getCorner(i) == *pVtx) pCorner = pT->getCorner(i);
  }
  if (pCorner == nullptr) {
    reportWarning("triangulateCoplanarOrDuplicate()", "Proxy not found");
    ZARN_ASSERT(false);
  }
  vertexVault.addRedundant(pVtx, pCorner);
}

Triangle2* Dt2::insertVertex(Point2* pVtx, Triangle2* pStart, bool bDeferDuplicate) {
  Triangle2* pT(pStart);
  int edgeIdx(-1);
  const int loc(locate(*pVtx, pT, edgeIdx));
  if (loc == LOC_ON_CORNER) {
    if (!bDeferDuplicate) registerDuplicate(pVtx, pT);
    return pT;
  }
  if (loc == LOC_INSIDE) {
    if (edgeIdx < 0) {
      splitTriangle(pT, pVtx, serialScratch);
    } else {
      splitEdgeAndConstraint(pT, edgeIdx, pVtx);
    }
  } else {
    collectVisibleHullEdges(pT, loc, *pVtx, serialScratch.vHullEdges);
    attachOutsideHull(serialScratch.vHullEdges, pVtx);
  }
  legalize(pVtx);
  return pVtx->getIncidentTriangle();
}

// The vertex store indexes single insertions only in batches: until the next re-sort its nearest
// indexed vertex may lie far from p, while points inserted one by one often follow each other.
// So the vertex inserted just before (the store's last record but one) competes as a start.
Triangle2* Dt2::startTriangleNear(const Point2& p, uint32_t key) {
  Triangle2* pT(vertexVault.getCloT(key));
  if (vertexVault.size() < 2) return pT;
  const IdxVtx prev(vertexVault.getRecord(vertexVault.size() - 2));
  Triangle2* pPrevT(prev.bActive ? prev.pVtx->getIncidentTriangle() : nullptr);
  if (pPrevT == nullptr) return pT;
  return sqDistance(*prev.pVtx, p) < sqDistance(*pT->getCorner(0), p) ? pPrevT : pT;
}

Point2* Dt2::insertNear(const Point2& p, Triangle2* pHint) {
  if (!isFinitePoint(p)) {
    reportWarning("Dt2::insert(..)", "A point with a non-finite coordinate was rejected");
    return nullptr;
  }
  if (extendBoxBy(p)) rebuildKeyMapping();
  if (!is2D()) {
    Point2* pExisting(vertexVault.findVertexAt(p));
    if (pExisting != nullptr) return pExisting;
    Point2* pVtx(createVertex(p));
    vertexVault.add(hc.getKey(*pVtx), pVtx);
    if (vertexVault.spansTriangleWith(*pVtx)) {  // the held vertices are collinear: only p can change that
      vertexVault.updateSorting(true);  // Hilbert order keeps the walks along the line short
      becomeTwoDimensional();
      applyPendingConstraints();
    }
    return pVtx;
  }
  Point2* pVtx(createVertex(p));
  const uint32_t key(hc.getKey(*pVtx));
  vertexVault.add(key, pVtx);
  insertVertex(pVtx, pHint != nullptr ? pHint : startTriangleNear(*pVtx, key));
  if (vertexVault.dupIsClean()) {
    vertexVault.updateSorting(false);
    return pVtx;
  }
  return vertexVault.resolveSingleDuplicate(pVtx);
}

// Inserts every active record from firstRecord on whose vertex is not in the triangulation yet,
// each walk starting where the previous insertion ended. The records come in Hilbert order, taken
// in rounds: every 512th, then every 64th, every 8th, and all. Each round then fills a
// triangulation that already spans the area, with about three flips per vertex instead of about
// five (a plain sweep keeps meeting long triangles on the border of the part done so far), while
// consecutive vertices of a round stay close to each other. Repeated points share one key and keep
// their input order: the coarse rounds take only the first record of a key and leave a vertex that
// meets an existing one to the last round, so the first occurrence becomes the vertex. Records out
// of key order (appended by single insertions) and small sets, which have no long border to
// speak of, get one plain round. A few new points among many vertices (the new ends of constraint
// segments) lie far apart, so that a walk from one to the next would cross many triangles that
// are no longer in the cache: each of them starts at a vertex with a nearby key instead.
void Dt2::insertRecordsFrom(size_t firstRecord, Triangle2* pStart) {
  constexpr size_t aRoundStrides[] = {512, 64, 8, 1};
  constexpr size_t kMinRecordsForRounds = 4096;
  constexpr size_t kSparseBulkRatio = 8;  // existing vertices per new point that make a bulk sparse
  const size_t numRecords(vertexVault.size());
  const bool bRounds(numRecords - firstRecord >= kMinRecordsForRounds && vertexVault.isSortedFrom(firstRecord));
  const bool bSparse(kSparseBulkRatio * (numRecords - firstRecord) < firstRecord);
  const size_t firstRound(bRounds ? 0 : std::size(aRoundStrides) - 1);
  Triangle2* pT(pStart);
  for (size_t round = firstRound; round < std::size(aRoundStrides); ++round) {
    const size_t stride(aRoundStrides[round]);
    const bool bLastRound(stride == 1);
    for (size_t i = firstRecord; i < numRecords; i += stride) {
      const IdxVtx rec(vertexVault.getRecord(i));
      if (!rec.bActive || rec.pVtx->getIncidentTriangle() != nullptr) continue;
      if (!bLastRound && i > firstRecord && vertexVault.getRecord(i - 1).key == rec.key) continue;
      if (bSparse) pT = vertexVault.getCloT(rec.key);
      pT = insertVertex(rec.pVtx, pT, !bLastRound);
      if (bLastRound && (i & (kProgressInterval - 1)) == 0) {
        publisher.setProgress(static_cast<double>(i - firstRecord) / static_cast<double>(numRecords - firstRecord));
      }
    }
  }
}

void Dt2::insertRecordsInParallel(size_t firstRecord, bool bConstraintEdges) {
  if (bConstraintEdges) {
    // splits and flips next to constraint edges stay serial
    insertRecordsFrom(firstRecord, vertexVault.getFakeCorner(0)->getIncidentTriangle());
    return;
  }
  // The new records are usually in key order already, followed by the fake box's corners: then
  // the workers read them in place (a copy of millions of records costs more than it saves).
  size_t end(vertexVault.size());
  while (end > firstRecord && !isPendingRecord(vertexVault.getRecord(end - 1))) --end;
  if (end == firstRecord) return;
  if (vertexVault.isSortedBetween(firstRecord, end)) {
    numDeferredByWorkers = InserterMT(*this, numCPU).run(RecordRange(vertexVault, firstRecord, end - firstRecord));
    return;
  }
  std::vector<IdxVtx> vRecords;
  for (size_t i = firstRecord; i < end; ++i) {
    if (isPendingRecord(vertexVault.getRecord(i))) vRecords.push_back(vertexVault.getRecord(i));
  }
  // Records that existed before the call come first in their own key order.
  const auto keyLess = [](const IdxVtx& a, const IdxVtx& b) { return a.key < b.key; };
  std::stable_sort(vRecords.begin(), vRecords.end(), keyLess);
  numDeferredByWorkers = InserterMT(*this, numCPU).run(RecordRange(vRecords.data(), vRecords.size()));
}

void Dt2::becomeTwoDimensional() {
  ZARN_ASSERT(!vertexVault.bFullDimensional);
  Point2 *a, *b, *c;
  if (!vertexVault.getThreeNonCollinear(a, b, c)) return;
  if (kora.getOrientation(*a, *b, *c) == ORIENTATION2_CW) std::swap(b, c);
  Triangle2* pFirst(createTriangle(a, b, c));
  vertexVault.bFullDimensional = true;
  insertRecordsFrom(0, pFirst);
}

// The fake box: 4 vertices around all points, so that no vertex of the bulk lands outside the
// hull. Placed one box size beyond the (already doubled) box, where no input point can be.
bool Dt2::getFakeBoxCorners(std::vector<Point2>& vCorners) const {
  Bbox2 fakeBox(bbx);
  fakeBox.inflateIfDegenerate(1.0);
  fakeBox.getOffsetCorners(fakeBox.getMaxRange(), vCorners);
  return std::all_of(vCorners.begin(), vCorners.end(), [](const Point2& p) { return isFinitePoint(p); });
}

void Dt2::insertFakeBox(const std::vector<Point2>& vCorners) {
  kora.setRange(std::max(kora.getRange(), std::max(vCorners[0].getMaxAbs(), vCorners[2].getMaxAbs())));
  std::vector<Point2*> vHandles;
  for (const Point2& corner : vCorners) vHandles.push_back(createVertex(corner));
  for (Point2* pCorner : vHandles) vertexVault.add(hc.getKey(*pCorner), pCorner);
  vertexVault.setFakeBox(vHandles);
  if (!is2D()) {
    Triangle2* t0(createTriangle(vHandles[0], vHandles[1], vHandles[2]));
    Triangle2* t1(createTriangle(vHandles[0], vHandles[2], vHandles[3]));
    t0->setOppTriangle(1, t1);
    t1->setOppTriangle(2, t0);
    vertexVault.bFullDimensional = true;
  } else {
    Triangle2* pT(vertexVault.getOneValidTriangle());
    for (Point2* pCorner : vHandles) pT = insertVertex(pCorner, pT);
  }
}

void Dt2::insertAndCleanBulk(size_t firstNewRecord, Point2** aHandles, size_t numHandles) {
  std::vector<Point2> vFakeCorners;
  const bool bFakeBox(numCPU > 1 && (is2D() || vertexVault.spansTriangle()) && getFakeBoxCorners(vFakeCorners));
  if (bFakeBox) {
    const bool bWas2D(is2D());
    insertFakeBox(vFakeCorners);
    insertRecordsInParallel(bWas2D ? firstNewRecord : 0, bWas2D && !pConstraintMgr->empty());
  } else if (is2D()) {
    size_t first(firstNewRecord);
    while (first < vertexVault.size() && !vertexVault.getRecord(first).bActive) ++first;
    if (first < vertexVault.size()) insertRecordsFrom(first, vertexVault.getCloT(vertexVault.getRecord(first).key));
  } else {
    becomeTwoDimensional();
  }
  vertexVault.cleanDuplicates(aHandles, numHandles);
  if (bFakeBox) vertexVault.removeFakeBox();
  vertexVault.updateSorting(false);
}

void Dt2::insertBulk(const BulkInput& input, Point2** aHandles) {
  publisher.startStep("insertVector");
  if (input.size == 0) {
    publisher.finishStep();
    return;
  }
  ZARN_ASSERT(vertexVault.dupIsClean());
  if (extendByFinitePoints(bbx, input, static_cast<size_t>(numCPU))) {
    bbx.doubleTheBox();
    rebuildKeyMapping();
  }
  if (aHandles != nullptr) std::fill(aHandles, aHandles + input.size, nullptr);
  const size_t firstNewRecord(vertexVault.size());
  size_t numSkipped(0);
  {
    const BypassBlockCache bypass(input.size >= kTrimMinPoints);
    numSkipped = vertexVault.createVertices(input, aHandles);
  }
  trimFreedHeapMemory(input.size);
  if (numSkipped > 0) {
    reportWarning("Dt2::insertVector(..)",
                  std::to_string(numSkipped) + " point(s) with a non-finite coordinate skipped, their handles are NULL");
  }
  insertAndCleanBulk(firstNewRecord, aHandles, input.size);
  publisher.finishStep();
  applyPendingConstraints();
}

void Dt2::insertVector(const std::vector<Point2>& vPoints, std::vector<Point2*>* pvHandles) {
  if (pvHandles != nullptr) pvHandles->resize(vPoints.size());
  insertBulk(BulkInput{vPoints.data(), nullptr, vPoints.size()}, pvHandles != nullptr ? pvHandles->data() : nullptr);
}

void Dt2::insert(int numPoints, double* aCoordinates, Point2** aHandles) {
  const size_t size((numPoints > 0 && aCoordinates != nullptr) ? static_cast<size_t>(numPoints) : 0);
  insertBulk(BulkInput{nullptr, aCoordinates, size}, aHandles);
}

}  // namespace KORA_ZARN2D
