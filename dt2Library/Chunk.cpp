// Chunk: a worker of the parallel inserter (ownership-checked walk, splits and flips).
#include "Chunk.h"

#include <algorithm>
#include <iterator>

#include "Partitioner.h"

namespace KORA_ZARN2D {

namespace {
constexpr size_t kProgressInterval = size_t(1) << 12;
constexpr size_t kRoundStrides[] = {16, 1};
}  // namespace

Chunk::Chunk(Dt2& dt_, Triangle2* pStart) : dt(dt_), pLast(pStart) {
  scratch.bWorker = true;
  kora.setRange(dt.getPredicates().getRange());
}

// The records go in rounds, as in the serial insertion: every kRoundStrides[0]-th record of the
// chunk, then every kRoundStrides[1]-th, ..., so that most points land in a triangulation that
// already spans their surroundings (fewer flips than a plain sweep along the Hilbert curve). Each
// stride is a multiple of the next; the coarse sample holds eight times fewer points than the first
// round, which holds sixteen times fewer than the last. A record with the key of a neighbour waits
// for the last round, where equal points go in their input order.
size_t Chunk::roundOf(const RecordRange& records, size_t begin, size_t i) {
  size_t round(0);
  while (round + 1 < std::size(kRoundStrides) && (i - begin) % kRoundStrides[round] != 0) ++round;
  if (round + 1 == std::size(kRoundStrides)) return round;
  const bool bUniqueKey((i == 0 || records[i - 1].key != records[i].key) &&
                        (i + 1 == records.size() || records[i + 1].key != records[i].key));
  return bUniqueKey ? round : std::size(kRoundStrides) - 1;
}

void Chunk::run(const RecordRange& records, const Partitioner& partitioner, size_t c, const std::vector<Triangle2*>& vAnchors,
                std::atomic<size_t>& numDone, size_t numTotal, ProgressPublisher* pPublisher) {
  // Inserts record i unless bDefer, or defers it: true when deferred. After a deferral, the records
  // of the same key are deferred too: of several equal points the first goes in first.
  const auto insertOrDefer = [&](size_t i, Point2* pVtx, bool bDefer) {
    // The anchor of a slot shared with the previous chunk is that chunk's.
    Triangle2* pAnchor(partitioner.isSlotOfChunk(i, c) ? vAnchors[partitioner.sampleSlot(i)] : nullptr);
    const bool bDeferred(bDefer || !insert(pVtx, pAnchor));
    if (bDeferred) vDeferred.push_back(i);
    return bDeferred;
  };
  size_t numSinceReport(0);
  const size_t begin(partitioner.chunkBegin(c)), end(partitioner.chunkEnd(c));
  for (size_t round = 0; round < std::size(kRoundStrides); ++round) {
    const size_t stride(kRoundStrides[round]);
    size_t deferredKey(SIZE_MAX);
    for (size_t i = begin; i < end; i += stride) {
      const IdxVtx rec(records[i]);
      // A sample vertex may be on the border of two regions: its triangle pointer is not even read.
      if (partitioner.isSample(i) || !isPendingRecord(rec) || roundOf(records, begin, i) != round) continue;
      if (insertOrDefer(i, rec.pVtx, rec.key == deferredKey)) deferredKey = rec.key;
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
  return Dt2::walk(kora, p, pT, edgeIdx, [](const Triangle2* pFrom, int i) { return !pFrom->isBorderLink(i); });
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
  if (!splitAndLegalize(pT, edgeIdx, pVtx)) return false;
  pLast = pVtx->getIncidentTriangle();
  return true;
}

// A split relinks the neighbours of the triangle(s) it splits, so those must be this chunk's, except
// the one beyond the edge that pT keeps in a triangle split inside; the flips then check each link
// as they reach it.
bool Chunk::splitAndLegalize(Triangle2* pT, int edgeIdx, Point2* pVtx) {
  if (edgeIdx < 0) {
    if (pT->hasBorderLink() && !turnBorderLinkToEdge0(pT)) return false;
    dt.splitTriangle(pT, pVtx, scratch);
    if (legalizeOwned(*pVtx)) return true;
    undoFlips();
    Triangle2* t1(pT->getOppositeTriangle(1));
    Triangle2* t2(pT->getOppositeTriangle(2));
    Dt2::unsplitTriangle(pT);
    scratch.giveBack(t2);
    scratch.giveBack(t1);
  } else {
    Triangle2* pN(pT->getOppositeTriangle(edgeIdx));
    if (pT->hasBorderLink() || pN == nullptr || pN->hasBorderLink()) return false;
    const int neighIdx(pN->getIntraTriangleIndex(pT));
    dt.splitEdge(pT, edgeIdx, pVtx, scratch);
    if (legalizeOwned(*pVtx)) return true;
    undoFlips();
    Triangle2* t2(pT->getOppositeTriangle(2));
    Triangle2* t4(pN->getOppositeTriangle(1));
    Dt2::unsplitEdge(pT, edgeIdx, pN, neighIdx);
    scratch.giveBack(t4);
    scratch.giveBack(t2);
  }
  pVtx->setIncidentTriangle(nullptr);
  return false;
}

// Rotates pT's corners so that its only border link is edge 0, which a split keeps in pT: false
// (nothing changed) when pT has more than one.
bool Chunk::turnBorderLinkToEdge0(Triangle2* pT) {
  int numBorderLinks(0), k(0);
  for (int i = 0; i < 3; ++i) {
    if (!pT->isBorderLink(i)) continue;
    ++numBorderLinks;
    k = i;
  }
  if (numBorderLinks != 1) return false;
  const int k1(incIndexBy1(k)), k2(incIndexBy2(k));
  pT->setCornersAndNeighbours(pT->getCorner(k), pT->getCorner(k1), pT->getCorner(k2), pT->getOppositeTriangle(k),
                              pT->getOppositeTriangle(k1), pT->getOppositeTriangle(k2), true);
  return true;
}

// As Dt2::legalize: the triangle beyond the edge opposite the new vertex is tested and flipped if
// its circumcircle holds the vertex strictly. A flip rewrites both triangles and relinks the
// neighbour of pN that moves to pT (the other moved neighbour is around the new vertex already).
// A border edge is not tested (the triangle beyond is another chunk's): it stays, as a constraint
// would, and is tested after the join.
bool Chunk::legalizeOwned(const Point2& p) {
  std::vector<Triangle2*>& vFlipStack(scratch.vFlipStack);
  vJournal.clear();
  while (!vFlipStack.empty()) {
    Triangle2* pT(vFlipStack.back());
    vFlipStack.pop_back();
    Triangle2* pN(pT->getOppositeTriangle(0));
    if (pN == nullptr) continue;
    if (pT->isBorderLink(0)) continue;
    if (kora.inCircle(*pN->getCorner(0), *pN->getCorner(1), *pN->getCorner(2), p) <= 0) continue;
    const int neighIdx(pN->getIntraTriangleIndex(pT));
    if (pN->isBorderLink(incIndexBy1(neighIdx))) return abandonFlips();
    Dt2::flip(pT, 0, pN, neighIdx);
    vJournal.emplace_back(pT, neighIdx);
    vFlipStack.push_back(pT);
    vFlipStack.push_back(pN);
  }
  return true;
}

bool Chunk::abandonFlips() {
  scratch.vFlipStack.clear();
  return false;
}

// After flip(pT, 0, pN, neighIdx), pN is pT's neighbour 1.
void Chunk::undoFlips() {
  for (auto it = vJournal.rbegin(); it != vJournal.rend(); ++it) {
    Dt2::unflip(it->first, it->first->getOppositeTriangle(1), it->second);
  }
}

}  // namespace KORA_ZARN2D
