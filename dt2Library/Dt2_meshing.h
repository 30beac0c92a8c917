// Mesh generation: the outcome of a refinement run.
#pragma once

#include <cstddef>
#include <string>

namespace KORA_ZARN2D {

/// What one refinement run did and why it stopped. Every count of triangles "left" names bad
/// triangles (or encroached segments) that the run accepted instead of refining, by reason.
struct RefinementReport {
  bool bEntryFailed = false;          ///< the entry checks failed; nothing was done
  bool bBudgetReached = false;        ///< stopped at the vertex budget with work left
  size_t numSteinerPoints = 0;        ///< vertices inserted (triangle and segment splits)
  size_t numSegmentSplits = 0;        ///< of which on constraint segments
  size_t numGridVertices = 0;         ///< grid vertices inserted (grid meshing), not counted above
  size_t numLeftInputAngle = 0;       ///< small angles forced by the input (two constraints at a small angle)
  size_t numLeftMinEdgeLen = 0;       ///< a split would have made an edge shorter than minEdgeLen
  size_t numLeftProtected = 0;        ///< the split point lies beyond a locked or unsplittable constraint
  size_t numLeftNumeric = 0;          ///< no usable split point in double precision
  size_t numZoneTriangles = 0;        ///< triangles of the zone at the end
  /// One line: counts and the reason for stopping ("complete", "vertex budget reached", ...).
  std::string describe() const;
  /// True when every triangle of the zone meets the bounds (nothing left, budget not reached).
  bool isComplete() const {
    return !bEntryFailed && !bBudgetReached && numLeftMinEdgeLen == 0 && numLeftProtected == 0 && numLeftNumeric == 0;
  }
};

}  // namespace KORA_ZARN2D
