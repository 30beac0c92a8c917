// Chunk: a worker of the parallel inserter (ownership-checked walk, splits and flips).
#include "Chunk.h"

#include <algorithm>
#include <iterator>

#include "Partitioner.h"

namespace KORA_ZARN2D {

namespace {
constexpr size_t kProgressInterval = size_t(1) << 12;
// Conflict zones are a handful of triangles; a huge one (many cocircular points) is left to the
// serial insertion rather than searched linearly.
constexpr size_t kMaxZone = 256;
constexpr size_t kRoundStrides[] = {8, 1};
}  // namespace

Chunk::Chunk(Dt2& dt_, uint32_t ownMark, uint32_t zoneMark_, Triangle2* pStart)
    : dt(dt_), pLast(pStart), zoneMark(zoneMark_) {
  ZARN_ASSERT(ownMark!=0 && zoneMark!=ownMark);
  scratch.ownMark = ownMark;
  kora.setRange(dt.getPredicates().getRange());
}

// The records go in rounds, as in the serial insertion: every kRoundStrides[0]-th record of the
// chunk, then every kRoundStrides[1]-th, ..., so that most points land in a triangulation that
// already spans their surroundings (fewer flips than a plain sweep along the Hilbert curve). Each
// stride is a multiple of the next; each round, the coarse sample included, holds about eight times
// fewer points than the next. A record with the key of a neighbour waits for the last round, where
// equal points go in their input order.
size_t Chunk::roundOf(const RecordRange& records, size_t begin, size_t i) {
  const bool bUniqueKey((i == 0 || records[i - 1].key != records[i].key) &&
                        (i + 1 == records.size() || records[i + 1].key != records[i].key));
  size_t round(0);
  while (round + 1 < std::size(kRoundStrides) && (!bUniqueKey || (i - begin) % kRoundStrides[round] != 0)) ++round;
  return round;
}

void Chunk::run(const RecordRange& records, const Partitioner& partitioner, size_t c, const std::vector<Triangle2*>& vAnchors,
                std::atomic<size_t>& numDone, size_t numTotal, ProgressPublisher* pPublisher) {
  // Inserts record i unless bDefer, or defers it: true when deferred. After a deferral, the records
  // of the same key are deferred too: of several equal points the first goes in first.
  const auto insertOrDefer = [&](size_t i, bool bDefer) {
    // The anchor of a slot shared with the previous chunk is that chunk's: not even its mark is read.
    Triangle2* pAnchor(partitioner.isSlotOfChunk(i, c) ? vAnchors[partitioner.sampleSlot(i)] : nullptr);
    const bool bDeferred(bDefer || !insert(records[i].pVtx, pAnchor));
    if (bDeferred) vDeferred.push_back(i);
    return bDeferred;
  };
  size_t numSinceReport(0);
  const size_t begin(partitioner.chunkBegin(c)), end(partitioner.chunkEnd(c));
  for (size_t round = 0; round < std::size(kRoundStrides); ++round) {
    const size_t stride(kRoundStrides[round]);
    size_t deferredKey(SIZE_MAX);
    for (size_t i = begin; i < end; i += stride) {
      if (partitioner.isSample(i) || !isPendingRecord(records[i]) || roundOf(records, begin, i) != round) continue;
      if (insertOrDefer(i, records[i].key == deferredKey)) deferredKey = records[i].key;
      if (++numSinceReport == kProgressInterval) {
        const size_t done(numDone.fetch_add(numSinceReport, std::memory_order_relaxed) + numSinceReport);
        if (pPublisher != nullptr) pPublisher->setProgress(static_cast<double>(done) / static_cast<double>(numTotal));
        numSinceReport = 0;
      }
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
  // Blocked (or outside the hull, which the fake box prevents); a point on a constraint edge is
  // left to the serial insertion, which splits the constraint too.
  if (loc != LOC_INSIDE || (edgeIdx >= 0 && dt.isConstraint(pT, edgeIdx))) return false;
  if (!ownsConflictZone(pT, edgeIdx, *pVtx)) return false;
  if (edgeIdx < 0) {
    dt.splitTriangle(pT, pVtx, scratch);
  } else {
    dt.splitEdge(pT, edgeIdx, pVtx, scratch);
  }
  flipThroughZone();
  pLast = pVtx->getIncidentTriangle();
  return true;
}

// The triangles whose circumcircle holds p strictly form a connected zone around the triangle(s)
// holding p; Lawson's flips replace exactly it and relink the triangles around it. The search marks
// each zone triangle as it finds it, so no triangle is tested twice.
bool Chunk::ownsConflictZone(Triangle2* pT, int edgeIdx, const Point2& p) {
  vZone.clear();
  if (!joinZone(pT)) return abandonZone();
  if (edgeIdx >= 0) {
    Triangle2* pN(pT->getOppositeTriangle(edgeIdx));
    if (pN == nullptr || !joinZone(pN)) return abandonZone();
  }
  for (size_t k = 0; k < vZone.size(); ++k) {
    for (int i = 0; i < 3; ++i) {
      Triangle2* pN(vZone[k]->getOppositeTriangle(i));
      if (pN == nullptr || pN->getMark() == zoneMark) continue;
      if (kora.inCircle(*pN->getCorner(0), *pN->getCorner(1), *pN->getCorner(2), p) <= 0) continue;
      if (vZone.size() == kMaxZone || !joinZone(pN)) return abandonZone();
    }
  }
  return true;
}

// Other workers read the marks of the triangles next to their own only: a triangle none of whose
// neighbours is another worker's may carry the zone mark unseen.
bool Chunk::joinZone(Triangle2* pT) {
  for (int i = 0; i < 3; ++i) {
    const Triangle2* pN(pT->getOppositeTriangle(i));
    if (!owns(pN) && pN->getMark() != zoneMark) return false;
  }
  pT->setMark(zoneMark);
  vZone.push_back(pT);
  return true;
}

void Chunk::releaseZone() {
  for (Triangle2* pT : vZone) pT->setMark(scratch.ownMark);
}

bool Chunk::abandonZone() {
  releaseZone();
  return false;
}

// Lawson's flips after the split replace exactly the conflict zone: the triangle beyond the edge
// opposite the new vertex is always one the insertion has not touched yet, and it is flipped if
// and only if its circumcircle holds the vertex strictly, that is, if it carries the zone mark. So
// the zone decides every flip without a second in-circle test.
void Chunk::flipThroughZone() {
  std::vector<Triangle2*>& vFlipStack(scratch.vFlipStack);
  while (!vFlipStack.empty()) {
    Triangle2* pT(vFlipStack.back());
    vFlipStack.pop_back();
    Triangle2* pN(pT->getOppositeTriangle(0));
    if (pN == nullptr || pN->getMark() != zoneMark) continue;
    Dt2::flip(pT, 0, pN, pN->getIntraTriangleIndex(pT));
    vFlipStack.push_back(pT);
    vFlipStack.push_back(pN);
  }
  releaseZone();
}

}  // namespace KORA_ZARN2D
