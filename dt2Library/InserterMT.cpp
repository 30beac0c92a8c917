// InserterMT: coarse sample, parallel chunks, serial finish (see InserterMT.h).
#include "InserterMT.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <memory>
#include <thread>
#include <utility>

#include "Chunk.h"
#include "Dt2.h"
#include "Partitioner.h"
#include "ThreadSlices.h"

namespace KORA_ZARN2D {

namespace {
// Below this many records per thread the threads do not pay off.
constexpr size_t kMinRecordsPerChunk = 512;
// The coarse sample is every kSampleStep-th record, but at least kMinSamplePerChunk records per
// chunk, so that each chunk owns a region of several triangles around its points. Eight times
// sparser than the chunks' first round, as the serial rounds: a wider gap costs more flips per point
// in that round (a third more time per point at 4 million points with 16 times). A sparser sample
// costs less serial time but leaves more points near the regions' borders to the serial pass: at
// 1M points this step gave 2% less time than 64 (and a third round in the chunks 7% more).
constexpr size_t kSampleStep = 128;
constexpr size_t kMinSamplePerChunk = 64;

// Lends the triangle storage the workers reserved and did not use to the serial insertion, which
// takes its new triangles from it first: the deferred points need about as many as are left, and
// pages that no worker reached are not touched to make them released triangles. What is left when
// the scope ends (also on an exception) becomes released triangles.
class LentRuns {
 public:
  LentRuns(Dt2& dt_, std::vector<TriangleRun> vRuns) : dt(dt_) { dt.lendRuns(std::move(vRuns)); }
  LentRuns(const LentRuns&) = delete;
  LentRuns& operator=(const LentRuns&) = delete;
  ~LentRuns() { dt.releaseLentRuns(); }

 private:
  Dt2& dt;
};

// Unflags the border links of the given triangles when the scope ends (also on an exception):
// outside of the parallel run no link is a border link. A split and a flip keep a border link in
// its triangle (a chunk defers the point where they could not), so these triangles hold them all.
class BorderLinks {
 public:
  explicit BorderLinks(std::vector<Triangle2*> vTriangles_) : vTriangles(std::move(vTriangles_)) {}
  BorderLinks(const BorderLinks&) = delete;
  BorderLinks& operator=(const BorderLinks&) = delete;
  ~BorderLinks() { clear(); }
  /// Unflags the links now; returns the triangles that had them.
  std::vector<Triangle2*> clear() {
    std::vector<Triangle2*> vCleared;
    vCleared.swap(vTriangles);
    for (Triangle2* pT : vCleared) pT->clearBorderLinks();
    return vCleared;
  }

 private:
  std::vector<Triangle2*> vTriangles;
};

}  // namespace

InserterMT::InserterMT(Dt2& dt_, int numThreads_)
    : dt(dt_), numThreads(static_cast<size_t>(std::max(1, numThreads_))), pLast(nullptr) {}

template <class Include>
void InserterMT::insertSerially(const RecordRange& records, size_t step, bool bDeferDuplicates, Include bInclude) {
  for (size_t i = 0; i < records.size(); i += step) {
    if (bInclude(i) && isPendingRecord(records[i])) pLast = dt.insertVertex(records[i].pVtx, pLast, bDeferDuplicates);
  }
}

size_t InserterMT::run(const RecordRange& records) {
  pLast = dt.vertexVault.getFakeCorner(0)->getIncidentTriangle();
  const size_t numChunks(threadsFor(records.size(), numThreads, kMinRecordsPerChunk));
  if (numChunks < 2) {
    insertSerially(records, 1, false, [](size_t) { return true; });
    return 0;
  }
  const size_t sampleStep(std::max<size_t>(2, std::min(kSampleStep, records.size() / (kMinSamplePerChunk * numChunks))));
  const Partitioner partitioner(records, numChunks, sampleStep);
  // The sample goes in rounds, as the serial insertion: every 64th sample record, every 8th, then
  // all. Each round fills a triangulation that already spans the area (fewer flips than a sweep).
  for (const size_t stride : {64, 8, 1}) {
    insertSerially(records, stride * partitioner.getSampleStep(), stride > 1, [&partitioner](size_t i) { return partitioner.isSample(i); });
  }
  std::vector<size_t> vDeferred;
  {
    const LentRuns lent(dt, runChunks(records, partitioner, vDeferred));
    insertDeferred(records, vDeferred);
  }
  return vDeferred.size();
}

// The triangle of the nearest record before i that is in the triangulation (consecutive keys are
// close in the plane, and the workers inserted all but the points near their borders), else where
// the last insertion ended.
Triangle2* InserterMT::startNear(const RecordRange& records, size_t i) const {
  constexpr size_t kMaxLookBack = 8;
  for (size_t j = i; j > 0 && i - j < kMaxLookBack; --j) {
    const IdxVtx rec(records[j - 1]);
    if (rec.bActive && rec.pVtx->getIncidentTriangle() != nullptr) return rec.pVtx->getIncidentTriangle();
  }
  return pLast;
}

// In record order from a nearby start: the first of equal points becomes the vertex, the others
// its duplicates.
void InserterMT::insertDeferred(const RecordRange& records, const std::vector<size_t>& vDeferred) {
  for (const size_t i : vDeferred) {
    if (isPendingRecord(records[i])) pLast = dt.insertVertex(records[i].pVtx, startNear(records, i));
  }
}

// The keys are stored with the vertices: nothing is computed, and for two chunks the owner is the
// chunk of most of the corners.
uint32_t InserterMT::medianCornerKey(const Triangle2* pT) {
  const uint32_t a(VertexVault::keyOf(pT->getCorner(0))), b(VertexVault::keyOf(pT->getCorner(1)));
  const uint32_t c(VertexVault::keyOf(pT->getCorner(2)));
  return std::max(std::min(a, b), std::min(std::max(a, b), c));
}

// Two passes on the calling thread: the first marks each triangle with its owner, the second flags
// the links between triangles of different owners. Slices on several threads would read lines
// that other threads write: on two cores that took a third longer than one thread.
std::vector<Triangle2*> InserterMT::assignOwners(const Partitioner& partitioner, const std::vector<uint32_t>& vMarks,
                                                 std::vector<Triangle2*>& vStarts) {
  std::vector<Triangle2*> vTriangles;
  dt.getTrianglePointers(vTriangles);
  std::vector<uint32_t> vStartKeys(partitioner.numChunks(), UINT32_MAX);
  for (Triangle2* pT : vTriangles) {
    const uint32_t key(medianCornerKey(pT));
    const size_t owner(partitioner.chunkOfKey(key));
    pT->setMark(vMarks[owner]);
    if (key < vStartKeys[owner]) {
      vStartKeys[owner] = key;
      vStarts[owner] = pT;
    }
  }
  std::vector<Triangle2*> vBorders;
  for (Triangle2* pT : vTriangles) {
    for (int k = 0; k < 3; ++k) {
      const Triangle2* pN(pT->getOppositeTriangle(k));
      if (pN != nullptr && pN->getMark() != pT->getMark()) pT->setBorderLink(k);
    }
    if (pT->hasBorderLink()) vBorders.push_back(pT);
  }
  return vBorders;
}

std::vector<Triangle2*> InserterMT::findAnchors(const RecordRange& records, const Partitioner& partitioner,
                                               const std::vector<uint32_t>& vMarks) {
  std::vector<Triangle2*> vAnchors(partitioner.sampleSlot(records.size()) + 1, nullptr);
  std::vector<Triangle2*> vStar;
  for (size_t c = 0; c < partitioner.numChunks(); ++c) {
    const size_t step(partitioner.getSampleStep());
    for (size_t i = partitioner.firstSampleCandidate(c); i < partitioner.chunkEnd(c); i += step) {
      if (!partitioner.isSample(i) || !records[i].bActive) continue;
      // Away from the borders of the regions the vertex's own link is the chunk's: no star to scan.
      Triangle2* pIncident(records[i].pVtx->getIncidentTriangle());
      if (pIncident != nullptr && pIncident->getMark() == vMarks[c]) {
        vAnchors[partitioner.sampleSlot(i)] = pIncident;
        continue;
      }
      vStar.clear();
      dt.getIncidentTriangles(records[i].pVtx, vStar);
      for (Triangle2* pT : vStar) {
        if (pT->getMark() == vMarks[c]) vAnchors[partitioner.sampleSlot(i)] = pT;
      }
    }
  }
  return vAnchors;
}

std::vector<TriangleRun> InserterMT::runChunks(const RecordRange& records, const Partitioner& partitioner,
                                               std::vector<size_t>& vDeferred) {
  const size_t numChunks(partitioner.numChunks());
  std::vector<uint32_t> vMarks;
  for (size_t c = 0; c < numChunks; ++c) vMarks.push_back(dt.newMark());
  std::vector<Triangle2*> vStarts(numChunks, nullptr);
  BorderLinks borderLinks(assignOwners(partitioner, vMarks, vStarts));
  const std::vector<Triangle2*> vAnchors(findAnchors(records, partitioner, vMarks));
  std::vector<std::unique_ptr<Chunk>> vChunks;
  size_t numTotal(0);
  for (size_t c = 0; c < numChunks; ++c) {
    vChunks.emplace_back(new Chunk(dt, vStarts[c]));
    std::vector<TriangleRun> vRuns;
    dt.reserveTriangleRuns(2 * partitioner.numToInsert(c), vRuns);  // each insertion adds 2 triangles
    vChunks.back()->setReservedRuns(std::move(vRuns));
    numTotal += partitioner.numToInsert(c);
  }
  // One thread per chunk, the calling thread included, which alone publishes progress.
  std::atomic<size_t> numDone(0);
  std::vector<std::exception_ptr> vErrors(numChunks);
  const auto work = [&](size_t c) {
    try {
      vChunks[c]->run(records, partitioner, c, vAnchors, numDone, numTotal, c == 0 ? &dt.publisher : nullptr);
    } catch (...) {
      vErrors[c] = std::current_exception();
    }
  };
  std::vector<std::thread> vThreads;
  for (size_t c = 1; c < numChunks; ++c) vThreads.emplace_back(work, c);
  work(0);
  for (std::thread& t : vThreads) t.join();
  std::vector<TriangleRun> vUnused;
  for (const std::unique_ptr<Chunk>& pChunk : vChunks) {
    const std::vector<TriangleRun> vRuns(pChunk->takeUnusedRuns());
    vUnused.insert(vUnused.end(), vRuns.begin(), vRuns.end());
    vDeferred.insert(vDeferred.end(), pChunk->getDeferred().begin(), pChunk->getDeferred().end());
  }
  for (const std::exception_ptr& pError : vErrors) {
    if (!pError) continue;
    dt.releaseUnusedRuns(vUnused);
    std::rethrow_exception(pError);
  }
  // The workers left the border edges untested: Lawson's flips from there make the whole
  // triangulation Delaunay again (every other edge was tested by the worker that made it).
  dt.legalizeEdges(borderLinks.clear());
  // In record order: consecutive walks stay short, and equal points keep their input order.
  std::sort(vDeferred.begin(), vDeferred.end());
  return vUnused;
}

}  // namespace KORA_ZARN2D
