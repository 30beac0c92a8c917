// InnerVtxMgr: a cell hash of the grid vertices of mesh generation.
#include "InnerVtxMgr.h"

#include <algorithm>
#include <cmath>

#include "Dt2.h"

namespace KORA_ZARN2D {

namespace {
// Cell coordinates are clamped to this range, so that keys never overflow (far cells share keys).
constexpr double kMaxCellCoordinate = 1e9;
constexpr int64_t kCellKeyFactor = 4000000001LL;

int64_t clampedCell(double v) { return static_cast<int64_t>(std::floor(std::max(-kMaxCellCoordinate, std::min(kMaxCellCoordinate, v)))); }
}  // namespace

void InnerVtxMgr::reset(double cellSize_) {
  cellSize = cellSize_ > 0.0 ? cellSize_ : 1.0;
  mCells.clear();
  vHoleBorders.clear();
  numRemovedSinceTaken = 0;
}

int64_t InnerVtxMgr::cellOf(double x, double y) const { return clampedCell(x / cellSize) * kCellKeyFactor + clampedCell(y / cellSize); }

void InnerVtxMgr::add(Point2* pVtx) {
  if (cellSize <= 0.0) reset(1.0);
  mCells[cellOf(pVtx->x(), pVtx->y())].push_back(pVtx);
}

size_t InnerVtxMgr::removeNear(Dt2& dt, const Point2& center, double sqRadius) {
  if (mCells.empty() || !(sqRadius > 0.0)) return 0;
  const double radius(std::sqrt(sqRadius));
  const int64_t x0(clampedCell((center.x() - radius) / cellSize)), x1(clampedCell((center.x() + radius) / cellSize));
  const int64_t y0(clampedCell((center.y() - radius) / cellSize)), y1(clampedCell((center.y() + radius) / cellSize));
  size_t numRemoved(0);
  for (int64_t cx = x0; cx <= x1; ++cx) {
    for (int64_t cy = y0; cy <= y1; ++cy) {
      const auto it(mCells.find(cx * kCellKeyFactor + cy));
      if (it == mCells.end()) continue;
      std::vector<Point2*>& vCell(it->second);
      for (size_t i = 0; i < vCell.size();) {
        Point2* pVtx(vCell[i]);
        const double dx(pVtx->x() - center.x()), dy(pVtx->y() - center.y());
        if (dx * dx + dy * dy >= sqRadius) {
          ++i;
          continue;
        }
        vLink.clear();
        dt.getIncidentVertices(pVtx, vLink);
        for (size_t k = 0; k < vLink.size(); ++k) vHoleBorders.emplace_back(vLink[k], vLink[(k + 1) % vLink.size()]);
        dt.remove(pVtx);
        vCell[i] = vCell.back();
        vCell.pop_back();
        ++numRemoved;
        ++numRemovedSinceTaken;
      }
    }
  }
  return numRemoved;
}

size_t InnerVtxMgr::takeHoleBorders(std::vector<std::pair<Point2*, Point2*>>& vEdges) {
  vEdges.clear();
  vEdges.swap(vHoleBorders);
  const size_t numRemoved(numRemovedSinceTaken);
  numRemovedSinceTaken = 0;
  return numRemoved;
}

}  // namespace KORA_ZARN2D
