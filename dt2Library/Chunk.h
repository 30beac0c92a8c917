// Chunk: one worker of the parallel inserter and its private insertion state.
#pragma once

#include <atomic>
#include <cstdint>
#include <vector>

#include "Dt2.h"
#include "KoraTest.h"
#include "Partitioner.h"

namespace KORA_ZARN2D {


/// Inserts one Hilbert range of points into the shared triangulation, on its own thread, with its
/// own predicates, flip stack and reserved triangle storage (no lock on the hot path).
///
/// Ownership: the triangles that carry the chunk's mark are its own, and the new triangles it
/// creates get that mark. A chunk reads the corners and links only of its own triangles (of other
/// triangles only the mark, which does not change while the chunks run) and writes only its own.
/// A point is inserted only when its walk, its conflict zone (the triangles whose circumcircle
/// holds it) and the triangles around that zone are all the chunk's; otherwise nothing is changed
/// and the point is deferred to the serial insertion that follows. So every insertion is a
/// complete Delaunay insertion, the chunks' work commutes (disjoint data), and the triangulation
/// is exactly Delaunay after the chunks, as after serial insertion. A chunk never waits.
/// (Aligned to a cache line: the workers write their own chunk's scratch at every point.)
class alignas(64) Chunk {
 public:
  /// A chunk owning the triangles marked ownMark (non-zero), starting its walks at pStart (one of
  /// them, or null when it owns none), with the triangulation's predicate range. zoneMark, a mark
  /// no triangle carries, is what its conflict zones carry while a point goes in.
  Chunk(Dt2& dt, uint32_t ownMark, uint32_t zoneMark, Triangle2* pStart);
  Chunk(const Chunk&) = delete;
  Chunk& operator=(const Chunk&) = delete;

  /// Takes the reserved storage: at least 2 triangles per point this chunk will insert.
  void setReservedRuns(std::vector<TriangleRun> vRuns) { scratch.vRuns = std::move(vRuns); }
  /// Inserts the non-sample records of chunk c in order. vAnchors holds, per sample slot, one of
  /// this chunk's triangles at that sample vertex (or null): a walk blocked from where the last
  /// insertion ended is tried again from there. Adds the number of records handled to
  /// numDone every few thousand records; when pPublisher is given (the calling thread's chunk), also
  /// publishes numDone / numTotal as progress. Cost: that of serial insertion plus a mark compare
  /// per step.
  void run(const RecordRange& records, const Partitioner& partitioner, size_t c, const std::vector<Triangle2*>& vAnchors,
           std::atomic<size_t>& numDone, size_t numTotal, ProgressPublisher* pPublisher);

  /// The record indices of the vertices this chunk could not insert, in the order met.
  const std::vector<size_t>& getDeferred() const { return vDeferred; }
  /// The reserved storage not used.
  std::vector<TriangleRun> getUnusedRuns() const {
    std::vector<TriangleRun> vUnused(scratch.vRuns);
    vUnused.push_back(scratch.run);
    return vUnused;
  }

 private:
  bool owns(const Triangle2* pT) const { return pT == nullptr || pT->getMark() == scratch.ownMark; }
  /// The round of record i, of the chunk whose records start at begin.
  static size_t roundOf(const RecordRange& records, size_t begin, size_t i);
  /// Inserts pVtx if everything its insertion changes is this chunk's: true when inserted or found
  /// to be a duplicate, false when deferred.
  bool insert(Point2* pVtx, Triangle2* pAnchor);
  /// The walk from pStart (LOC_BLOCKED when pStart is null or not this chunk's); pT receives the
  /// triangle where it ended.
  int walkFrom(Triangle2* pStart, const Point2& p, Triangle2*& pT, int& edgeIdx);
  /// True when the conflict zone of p (located in pT, on its edge edgeIdx when >= 0) and all
  /// triangles around it are this chunk's: then the insertion changes nothing else, and the zone
  /// stays marked zoneMark for flipThroughZone. Otherwise the zone is given back unchanged.
  bool ownsConflictZone(Triangle2* pT, int edgeIdx, const Point2& p);
  /// Adds pT (this chunk's) to the zone, marked, when none of its neighbours is another chunk's;
  /// false otherwise.
  bool joinZone(Triangle2* pT);
  /// Gives the zone's triangles back their own mark.
  void releaseZone();
  /// releaseZone, for a point that must be deferred: returns false.
  bool abandonZone();
  /// The flips of the insertion whose split pushed the scratch's flip stack, decided by the zone
  /// mark that ownsConflictZone set; then releases the zone.
  void flipThroughZone();

  Dt2& dt;
  KoraTest kora;
  InsertionScratch scratch;
  Triangle2* pLast;
  std::vector<size_t> vDeferred;
  uint32_t zoneMark;
  std::vector<Triangle2*> vZone;  // scratch of ownsConflictZone: the zone
};

}  // namespace KORA_ZARN2D
