// InserterMT: bulk insertion with several threads into one triangulation.
#pragma once

#include <cstdint>
#include <vector>

#include "Partitioner.h"

namespace KORA_ZARN2D {

class Dt2;
class Triangle2;
struct TriangleRun;

/// Inserts a Hilbert-ordered set of new vertices with several threads, into the triangulation
/// itself (no copy, no merge):
/// 1. a coarse sample (every few records in key order) is inserted serially;
/// 2. the other records are cut into contiguous key ranges (Partitioner); each triangle of the
///    coarse triangulation is given to the range holding the median key of its corners (a triangle
///    mark per range, and border links between the ranges' regions), and each range is inserted by
///    its own worker (Chunk) on a thread of its own, with its own predicates, scratch and reserved
///    triangle storage, through Delaunay insertions that touch only its own triangles. The edges
///    between the regions are not tested (the triangle beyond is another's): they stay, as
///    constraints would;
/// 3. Lawson's flips from the border edges make the triangulation Delaunay again, and the points a
///    worker had to leave (their insertion would change another's triangles: near the borders of
///    the regions, about one percent) are inserted serially.
/// The result is the Delaunay triangulation of the points (unique in general position, so equal
/// to the one of serial insertion). No lock is taken on the hot path; duplicates are registered
/// under the vertex store's mutex.
class InserterMT {
 public:
  /// An inserter into dt cutting the points into numThreads ranges, at most as many as the machine
  /// runs threads at once (more would only take turns, and each range adds border points to the
  /// serial pass), each inserted by a thread of its own (the calling thread is one of them).
  InserterMT(Dt2& dt, int numThreads);
  InserterMT(const InserterMT&) = delete;
  InserterMT& operator=(const InserterMT&) = delete;

  /// Inserts the vertices of the pending records (sorted by key; others are skipped). The
  /// triangulation must be two-dimensional, enclose every record's vertex strictly inside its hull
  /// (the fake box) and hold no constraint segment. Small sets are inserted serially. Returns how
  /// many points the workers left to the serial pass.
  size_t run(const RecordRange& records);

 private:
  /// Serial insertion of the pending records among every step-th one for which bInclude(index)
  /// holds, each walk starting where the previous one ended. With bDeferDuplicates a point that
  /// meets a vertex is left pending for a later pass, which registers it as a duplicate.
  template <class Include>
  void insertSerially(const RecordRange& records, size_t step, bool bDeferDuplicates, Include bInclude);
  /// A start for the walk to record i's vertex: near it, or where the last insertion ended.
  Triangle2* startNear(const RecordRange& records, size_t i) const;
  /// Serial insertion of the records the workers deferred (indices in increasing order).
  void insertDeferred(const RecordRange& records, const std::vector<size_t>& vDeferred);
  /// The median of the keys of pT's corners.
  static uint32_t medianCornerKey(const Triangle2* pT);
  /// Marks every triangle with the mark of the chunk owning its median corner key and flags its
  /// links to triangles of other chunks as border links; returns the triangles with a border link.
  /// vStarts receives, per chunk, its triangle of smallest key (null for a chunk without triangles).
  std::vector<Triangle2*> assignOwners(const Partitioner& partitioner, const std::vector<uint32_t>& vMarks,
                                       std::vector<Triangle2*>& vStarts);
  /// Per sample slot: a triangle at the slot's sample vertex owned by the chunk holding the
  /// record, or null.
  std::vector<Triangle2*> findAnchors(const RecordRange& records, const Partitioner& partitioner,
                                      const std::vector<uint32_t>& vMarks);
  /// Runs the chunks on at most as many threads as the machine runs at once; vDeferred receives the
  /// record indices of the vertices they deferred, in increasing order. Returns the reserved
  /// triangle storage they did not use.
  std::vector<TriangleRun> runChunks(const RecordRange& records, const Partitioner& partitioner,
                                     std::vector<size_t>& vDeferred);

  Dt2& dt;
  size_t numThreads;
  Triangle2* pLast;  // where the last serial insertion ended
};

}  // namespace KORA_ZARN2D
