// The mesh as index arrays: vertex rows from the custom indices, triangle positions through
// address runs of the triangle pool.
#include "MeshArrays.h"

#include <algorithm>
#include <unordered_map>
#include <utility>

#include "Zarn_2D.h"
#include "tools.h"

namespace KORA_ZARN2D {

namespace {

/// Position of each listed triangle, found from its address. Triangles live in pool blocks, so
/// sorted addresses form a few runs of equally spaced slots: one dense table per run, and a
/// lookup is a binary search over the runs plus one table read.
class TrianglePositions {
 public:
  explicit TrianglePositions(const std::vector<Triangle2*>& vTriangles) {
    std::vector<std::pair<uintptr_t, int32_t>> vSorted;
    vSorted.reserve(vTriangles.size());
    for (size_t i = 0; i < vTriangles.size(); ++i) vSorted.emplace_back(reinterpret_cast<uintptr_t>(vTriangles[i]), static_cast<int32_t>(i));
    std::sort(vSorted.begin(), vSorted.end());
    for (const std::pair<uintptr_t, int32_t>& entry : vSorted) {
      if (vRuns.empty() || !extendsRun(vRuns.back(), entry.first)) vRuns.push_back(Run{entry.first, entry.first, vSlots.size()});
      Run& run(vRuns.back());
      vSlots.resize(run.offset + (entry.first - run.first) / kSlot + 1, -1);
      vSlots.back() = entry.second;
      run.last = entry.first;
    }
  }

  /// The position of pT in the list, or -1.
  int32_t of(const Triangle2* pT) const {
    const uintptr_t address(reinterpret_cast<uintptr_t>(pT));
    auto it(std::upper_bound(vRuns.begin(), vRuns.end(), address, [](uintptr_t a, const Run& run) { return a < run.first; }));
    if (pT == nullptr || it == vRuns.begin()) return -1;
    --it;
    if (address > it->last || (address - it->first) % kSlot != 0) return -1;
    return vSlots[it->offset + (address - it->first) / kSlot];
  }

 private:
  static constexpr uintptr_t kSlot = sizeof(Triangle2);
  static constexpr uintptr_t kMaxGapSlots = 4096;  // a larger gap starts a new run
  struct Run {
    uintptr_t first, last;
    size_t offset;  // of the first slot in vSlots
  };

  static bool extendsRun(const Run& run, uintptr_t address) {
    return (address - run.first) % kSlot == 0 && address - run.last <= kMaxGapSlots * kSlot;
  }

  std::vector<Run> vRuns;
  std::vector<int32_t> vSlots;
};

}  // namespace

void getMeshArrays(Zarn_2D& dt, const std::vector<Triangle2*>& vTriangles, int32_t numInputRows, MeshArrays& result) {
  result = MeshArrays();
  for (const Triangle2* pT : vTriangles) {
    if (pT == nullptr || !pT->isAlive()) {
      reportError("getMeshArrays()", "the triangle list holds a triangle that is not alive");
      return;
    }
  }
  std::vector<Point2*> vVertices;
  dt.getVertexPointers(vVertices);
  std::unordered_map<const Point2*, int32_t> mAddedRow;
  auto isInputRow = [numInputRows](const Point2* pV) { return pV->getCustomIndex() >= 0 && pV->getCustomIndex() < numInputRows; };
  for (Point2* pV : vVertices) {
    if (isInputRow(pV)) continue;
    mAddedRow.emplace(pV, numInputRows + static_cast<int32_t>(result.vAddedVertices.size()));
    result.vAddedVertices.push_back(pV);
  }
  auto rowOf = [&](const Point2* pV) { return isInputRow(pV) ? pV->getCustomIndex() : mAddedRow.at(pV); };

  const TrianglePositions positions(vTriangles);
  result.vTriangles.resize(3 * vTriangles.size());
  result.vNeighbors.resize(3 * vTriangles.size());
  for (size_t t = 0; t < vTriangles.size(); ++t) {
    for (int i = 0; i < 3; ++i) {
      result.vTriangles[3 * t + i] = rowOf(vTriangles[t]->getCorner(i));
      result.vNeighbors[3 * t + i] = positions.of(vTriangles[t]->getOppositeTriangle(i));
    }
  }
  std::vector<ConstraintSegment2*> vPieces;
  dt.getAliveConstraintSegments(vPieces);
  result.vSegments.reserve(2 * vPieces.size());
  for (const ConstraintSegment2* pCSeg : vPieces) {
    result.vSegments.push_back(rowOf(pCSeg->getSrc()));
    result.vSegments.push_back(rowOf(pCSeg->getTrg()));
  }
}

}  // namespace KORA_ZARN2D
