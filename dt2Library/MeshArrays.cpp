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
/// addresses form a few runs of equally spaced slots. A run listed slot after slot (the order in
/// which a triangulation lists its triangles) is "dense": a position is its first position plus
/// the slot, no table and no extra memory. Other runs get a table of positions per slot. A lookup
/// is a binary search over the runs plus, for a sparse run, one table read.
class TrianglePositions {
 public:
  explicit TrianglePositions(const std::vector<Triangle2*>& vTriangles) {
    auto entry = [&](size_t i) { return Entry{reinterpret_cast<uintptr_t>(vTriangles[i]), static_cast<int32_t>(i)}; };
    if (buildRuns(vTriangles.size(), entry, kMaxUnsortedRuns)) return;
    std::vector<Entry> vSorted;
    vSorted.reserve(vTriangles.size());
    for (size_t i = 0; i < vTriangles.size(); ++i) vSorted.push_back(entry(i));
    std::sort(vSorted.begin(), vSorted.end(), [](const Entry& a, const Entry& b) { return a.address < b.address; });
    buildRuns(vSorted.size(), [&](size_t i) { return vSorted[i]; }, vSorted.size());
  }

  /// The position of pT in the list, or -1.
  int32_t of(const Triangle2* pT) const {
    const uintptr_t address(reinterpret_cast<uintptr_t>(pT));
    auto it(std::upper_bound(vRuns.begin(), vRuns.end(), address, [](uintptr_t a, const Run& run) { return a < run.first; }));
    if (pT == nullptr || it == vRuns.begin()) return -1;
    --it;
    if (address > it->last || (address - it->first) % kSlot != 0) return -1;
    const size_t slot((address - it->first) / kSlot);
    return it->bDense ? it->firstPosition + static_cast<int32_t>(slot) : vSlots[it->offset + slot];
  }

 private:
  static constexpr uintptr_t kSlot = sizeof(Triangle2);
  static constexpr uintptr_t kMaxGapSlots = 4096;  // a larger gap starts a new run
  static constexpr size_t kMaxUnsortedRuns = 1024;
  struct Entry {
    uintptr_t address;
    int32_t position;
  };
  struct Run {
    uintptr_t first, last;
    int32_t firstPosition;
    bool bDense;
    size_t offset;  // of the run's first slot in vSlots, once it is sparse
  };

  static bool extendsRun(const Run& run, uintptr_t address) {
    return address > run.last && (address - run.first) % kSlot == 0 && address - run.last <= kMaxGapSlots * kSlot;
  }

  void add(const Entry& e) {
    Run& run(vRuns.back());
    const size_t slot((e.address - run.first) / kSlot);
    if (run.bDense && e.address == run.last + kSlot && e.position == run.firstPosition + static_cast<int32_t>(slot)) {
      run.last = e.address;
      return;
    }
    if (run.bDense) {  // the table starts with the dense part; a run only grows while it is the last one
      run.bDense = false;
      run.offset = vSlots.size();
      for (size_t k = 0; k <= (run.last - run.first) / kSlot; ++k) vSlots.push_back(run.firstPosition + static_cast<int32_t>(k));
    }
    vSlots.resize(run.offset + slot + 1, -1);
    vSlots.back() = e.position;
    run.last = e.address;
  }

  /// Builds the runs from the entries in their order; false when that takes more than maxRuns
  /// runs or two runs overlap (the entries were not in address order).
  template <class EntryAt>
  bool buildRuns(size_t numEntries, const EntryAt& entryAt, size_t maxRuns) {
    vRuns.clear();
    vSlots.clear();
    for (size_t i = 0; i < numEntries; ++i) {
      const Entry e(entryAt(i));
      if (!vRuns.empty() && extendsRun(vRuns.back(), e.address)) {
        add(e);
        continue;
      }
      if (vRuns.size() == maxRuns) return false;
      vRuns.push_back(Run{e.address, e.address, e.position, true, 0});
    }
    std::sort(vRuns.begin(), vRuns.end(), [](const Run& a, const Run& b) { return a.first < b.first; });
    for (size_t r = 1; r < vRuns.size(); ++r) {
      if (vRuns[r].first <= vRuns[r - 1].last) return false;
    }
    return true;
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
  result.vTriangles.reserve(3 * vTriangles.size());
  result.vNeighbors.reserve(3 * vTriangles.size());
  for (const Triangle2* pT : vTriangles) {
    for (int i = 0; i < 3; ++i) {
      result.vTriangles.push_back(rowOf(pT->getCorner(i)));
      result.vNeighbors.push_back(positions.of(pT->getOppositeTriangle(i)));
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
