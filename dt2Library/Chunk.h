// Chunk: one worker of the parallel inserter and its private insertion state.
#pragma once

#include <atomic>
#include <cstdint>
#include <utility>
#include <vector>

#include "Dt2.h"
#include "KoraTest.h"
#include "Partitioner.h"

namespace KORA_ZARN2D {


/// Inserts one Hilbert range of points into the shared triangulation, on its own thread, with its
/// own predicates, flip stack and reserved triangle storage (no lock on the hot path).
///
/// Ownership: a chunk starts in a region of the coarse triangulation whose links into other
/// regions are border links (Triangle2), and owns every triangle it reaches without crossing one,
/// its new triangles included. It reads and writes only its own triangles: whether a neighbour is
/// another chunk's is read from the link. A point goes in as in the serial insertion, a split and
/// Lawson's flips, except that a border edge is not tested (the triangle beyond is another's): it
/// stays, as a constraint would. No split or flip may relink across a border link, so border links
/// stay in their triangles, and the regions stay as they are: a triangle with one border link is
/// split keeping that edge, and where a split or flip would move one, the flips and the split are
/// taken back in reverse order, which restores every triangle exactly, and the point is deferred to
/// the serial insertion that follows. So the chunks' work commutes (disjoint data), and after them
/// every edge but the border edges is locally Delaunay; Lawson's flips from the border edges
/// (InserterMT) then make the triangulation exactly Delaunay, as after serial insertion. A chunk
/// never waits. The one datum two chunks may both write is the
/// triangle pointer of a vertex on the border of their regions: each writes a triangle of its own
/// that holds the vertex (and rewrites it whenever that triangle loses the vertex), so whichever
/// write comes last leaves a valid pointer.
/// (Aligned to a cache line: the workers write their own chunk's scratch at every point.)
class alignas(64) Chunk {
 public:
  /// A chunk owning the region of pStart (null when it owns none), which its walks start from,
  /// with the triangulation's predicate range.
  Chunk(Dt2& dt, Triangle2* pStart);
  Chunk(const Chunk&) = delete;
  Chunk& operator=(const Chunk&) = delete;

  /// Takes the reserved storage: at least 2 triangles per point this chunk will insert.
  void setReservedRuns(std::vector<TriangleRun> vRuns) { scratch.vRuns = std::move(vRuns); }
  /// Inserts the non-sample records of chunk c in order. vAnchors holds, per sample slot, one of
  /// this chunk's triangles at that sample vertex (or null): a walk blocked from where the last
  /// insertion ended is tried again from there. Adds the number of records handled to
  /// numDone every few thousand records; when pPublisher is given (the calling thread's chunk), also
  /// publishes numDone / numTotal as progress. Cost: that of serial insertion plus a border bit test
  /// per step and per flip.
  void run(const RecordRange& records, const Partitioner& partitioner, size_t c, const std::vector<Triangle2*>& vAnchors,
           std::atomic<size_t>& numDone, size_t numTotal, ProgressPublisher* pPublisher);

  /// The record indices of the vertices this chunk could not insert, in the order met.
  const std::vector<size_t>& getDeferred() const { return vDeferred; }
  /// Moves out the reserved storage not used.
  std::vector<TriangleRun> takeUnusedRuns() { return scratch.takeRuns(); }

 private:
  /// The round of record i, of the chunk whose records start at begin.
  static size_t roundOf(const RecordRange& records, size_t begin, size_t i);
  /// Inserts pVtx if everything its insertion changes is this chunk's: true when inserted or found
  /// to be a duplicate, false when deferred.
  bool insert(Point2* pVtx, Triangle2* pAnchor);
  /// The walk from pStart (LOC_BLOCKED when pStart is null); pT receives the triangle where it ended.
  int walkFrom(Triangle2* pStart, const Point2& p, Triangle2*& pT, int& edgeIdx);
  /// Splits pT (on its edge edgeIdx when >= 0) at pVtx and flips as the serial insertion does,
  /// unless a link to relink is a border link: then takes all of it back. True when inserted.
  bool splitAndLegalize(Triangle2* pT, int edgeIdx, Point2* pVtx);
  /// Rotates pT's corners so that its only border link is edge 0: false when it has several.
  static bool turnBorderLinkToEdge0(Triangle2* pT);
  /// Lawson's flips from the scratch's flip stack, border edges untested, while no flip would move
  /// a border link: false (the stack emptied) at the first that would. Every flip is journalled.
  bool legalizeOwned(const Point2& p);
  /// Empties the flip stack: returns false.
  bool abandonFlips();
  /// Takes back the journalled flips, last first.
  void undoFlips();

  Dt2& dt;
  KoraTest kora;
  InsertionScratch scratch;
  Triangle2* pLast;
  std::vector<size_t> vDeferred;
  std::vector<std::pair<Triangle2*, int>> vJournal;  // the flips of the point going in: pT and neighIdx
};

}  // namespace KORA_ZARN2D
