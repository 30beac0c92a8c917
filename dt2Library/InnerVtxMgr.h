// InnerVtxMgr: the inner (grid) vertices of mesh generation that constraint splits may remove.
#pragma once

#include <cstdint>
#include <unordered_map>
#include <utility>
#include <vector>

#include "Point2.h"

namespace KORA_ZARN2D {

class Dt2;

/// Registers the vertices that grid meshing puts inside a zone, in a hash of square cells, so
/// that a constraint split can remove those that come too close to its new vertex in time
/// proportional to the vertices near it. Removing a vertex re-triangulates its hole; the edges
/// of each hole's border are kept (counterclockwise around the former vertex) for the mesh
/// generator, which must find the new triangles.
class InnerVtxMgr {
 public:
  InnerVtxMgr() = default;
  InnerVtxMgr(const InnerVtxMgr&) = delete;
  InnerVtxMgr& operator=(const InnerVtxMgr&) = delete;

  /// Forgets all vertices and sets the cell size (positive; use the grid's cell length).
  void reset(double cellSize);
  /// Registers an inner vertex. O(1).
  void add(Point2* pVtx);
  /// Removes from pDt every registered vertex strictly closer than sqrt(sqRadius) to center and
  /// unregisters it; returns their number. Cost: the cells the circle touches, plus the removals.
  size_t removeNear(Dt2& dt, const Point2& center, double sqRadius);
  /// Moves the border edges of the holes left by removals since the last call into vEdges and
  /// returns the number of those removals.
  size_t takeHoleBorders(std::vector<std::pair<Point2*, Point2*>>& vEdges);

 private:
  int64_t cellOf(double x, double y) const;

  double cellSize = 0.0;
  std::unordered_map<int64_t, std::vector<Point2*>> mCells;
  std::vector<std::pair<Point2*, Point2*>> vHoleBorders;
  size_t numRemovedSinceTaken = 0;
  std::vector<Point2*> vLink;  // scratch
};

}  // namespace KORA_ZARN2D
