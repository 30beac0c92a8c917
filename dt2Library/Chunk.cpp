// Chunk: a worker of the parallel inserter (ownership-checked walk, splits and flips).
#include "Chunk.h"

#include "Partitioner.h"

namespace KORA_ZARN2D {

namespace {
constexpr size_t kProgressInterval = size_t(1) << 12;
}  // namespace

Chunk::Chunk(Dt2& dt_, uint32_t ownMark, Triangle2* pStart) : dt(dt_), pLast(pStart) {
  ZARN_ASSERT(ownMark!=0);
  scratch.ownMark = ownMark;
  kora.setRange(dt.getPredicates().getRange());
}

void Chunk::run(const std::vector<IdxVtx>& vRecords, const Partitioner& partitioner, size_t c, const std::vector<Triangle2*>& vAnchors,
                std::atomic<size_t>& numDone, size_t numTotal, ProgressPublisher* pPublisher) {
  size_t numSinceReport(0);
  // After a deferral, the records of the same key are deferred too: of several equal points the
  // first must be inserted first.
  size_t deferredKey(SIZE_MAX);
  for (size_t i = partitioner.chunkBegin(c); i < partitioner.chunkEnd(c); ++i) {
    if (partitioner.isSample(i)) continue;
    Point2* pVtx(vRecords[i].pVtx);
    if (vRecords[i].key == deferredKey || !insert(pVtx, vAnchors[partitioner.sampleSlot(i)])) {
      vDeferred.push_back(pVtx);
      deferredKey = vRecords[i].key;
    }
    if (++numSinceReport == kProgressInterval) {
      const size_t done(numDone.fetch_add(numSinceReport, std::memory_order_relaxed) + numSinceReport);
      if (pPublisher != nullptr) pPublisher->setProgress(static_cast<double>(done) / static_cast<double>(numTotal));
      numSinceReport = 0;
    }
  }
  numDone.fetch_add(numSinceReport, std::memory_order_relaxed);
}

int Chunk::walkFrom(Triangle2* pStart, const Point2& p, Triangle2*& pT, int& edgeIdx) {
  if (pStart == nullptr) return LOC_BLOCKED;
  pT = pStart;
  return Dt2::walk(kora, p, pT, edgeIdx, [this](const Triangle2* pNext) { return owns(pNext); });
}

bool Chunk::insert(Point2* pVtx, Triangle2* pAnchor) {
  Triangle2* pT(nullptr);
  int edgeIdx(-1);
  int loc(walkFrom(pLast, *pVtx, pT, edgeIdx));
  if (loc == LOC_BLOCKED) loc = walkFrom(pAnchor, *pVtx, pT, edgeIdx);
  if (loc == LOC_ON_CORNER) {
    dt.registerDuplicate(pVtx, pT);
    pLast = pT;
    return true;
  }
  if (loc != LOC_INSIDE) return false;  // blocked (or outside the hull, which the fake box prevents)
  if (edgeIdx < 0) {
    // splitTriangle writes the links of neighbours 1 and 2
    if (!owns(pT->getOppositeTriangle(1)) || !owns(pT->getOppositeTriangle(2))) return false;
    dt.splitTriangle(pT, pVtx, scratch);
  } else {
    // splitEdge writes the other triangle and the links across b-p and d-b
    Triangle2* pN(pT->getOppositeTriangle(edgeIdx));
    if (pN == nullptr || !owns(pN) || !owns(pT->getOppositeTriangle(incIndexBy1(edgeIdx))) ||
        !owns(pN->getOppositeTriangle(incIndexBy2(pN->getIntraTriangleIndex(pT))))) {
      return false;
    }
    dt.splitEdge(pT, edgeIdx, pVtx, scratch);
  }
  legalize(pVtx);
  pLast = pVtx->getIncidentTriangle();
  return true;
}

void Chunk::legalize(Point2* pVtx) {
  std::vector<Triangle2*>& vFlipStack(scratch.vFlipStack);
  while (!vFlipStack.empty()) {
    Triangle2* pT(vFlipStack.back());
    vFlipStack.pop_back();
    Triangle2* pN(pT->getOppositeTriangle(0));
    if (pN == nullptr || !owns(pN)) continue;
    if (kora.inCircle(*pN->getCorner(0), *pN->getCorner(1), *pN->getCorner(2), *pVtx) <= 0) continue;
    const int j(pN->getIntraTriangleIndex(pT));
    // flip writes the links of pN's neighbour after d and of pT's neighbour 1
    if (!owns(pN->getOppositeTriangle(incIndexBy1(j))) || !owns(pT->getOppositeTriangle(1))) continue;
    Dt2::flip(pT, 0, pN, j);
    vFlipStack.push_back(pT);
    vFlipStack.push_back(pN);
  }
}

}  // namespace KORA_ZARN2D
