// GridMesher: grid vertices inside the triangles of a zone.
#include "GridMesher.h"

#include <algorithm>
#include <cmath>

namespace KORA_ZARN2D {

namespace {
// A triangle spanning more grid rows or columns than this is not filled (the grid would not fit
// in memory anyway); the refinement still meshes it.
constexpr double kMaxGridSpan = 1e7;
}  // namespace

GridMesher::GridMesher(KoraTest& kora_, double cellLength_, const Vector2& direction)
    : kora(kora_), cellLength(cellLength_), dirX(1.0), dirY(0.0) {
  const double length(std::sqrt(direction.x() * direction.x() + direction.y() * direction.y()));
  if (length > 0.0 && std::isfinite(length)) {
    dirX = direction.x() / length;
    dirY = direction.y() / length;
  }
}

Point2 GridMesher::pointAt(long long i, long long j) const {
  const double u(static_cast<double>(i) * cellLength), v(static_cast<double>(j) * cellLength);
  return Point2(u * dirX - v * dirY, u * dirY + v * dirX);
}

void GridMesher::collectInside(const Triangle2* pT) {
  double minU(1e300), maxU(-1e300), minV(1e300), maxV(-1e300);
  for (int k = 0; k < 3; ++k) {
    const Point2& c(*pT->getCorner(k));
    const double u((c.x() * dirX + c.y() * dirY) / cellLength), v((-c.x() * dirY + c.y() * dirX) / cellLength);
    minU = std::min(minU, u);
    maxU = std::max(maxU, u);
    minV = std::min(minV, v);
    maxV = std::max(maxV, v);
  }
  if (!(maxU - minU < kMaxGridSpan) || !(maxV - minV < kMaxGridSpan)) return;
  for (long long j = static_cast<long long>(std::floor(minV)); j <= static_cast<long long>(std::ceil(maxV)); ++j) {
    for (long long i = static_cast<long long>(std::floor(minU)); i <= static_cast<long long>(std::ceil(maxU)); ++i) {
      const Point2 p(pointAt(i, j));
      bool bInside(true);
      for (int k = 0; k < 3 && bInside; ++k) {
        bInside = kora.getOrientation(*pT->getCorner(incIndexBy1(k)), *pT->getCorner(incIndexBy2(k)), p) == ORIENTATION2_CCW;
      }
      if (bInside) vCollected.push_back(GridPoint{i, j, p});
    }
  }
}

std::vector<Point2> GridMesher::takeRows() {
  // Rows alternate their direction, so that the last vertex of a row is next to the first of the next.
  std::sort(vCollected.begin(), vCollected.end(), [](const GridPoint& a, const GridPoint& b) {
    if (a.j != b.j) return a.j < b.j;
    return (a.j % 2 == 0) ? a.i < b.i : a.i > b.i;
  });
  std::vector<Point2> vRows;
  vRows.reserve(vCollected.size());
  for (const GridPoint& g : vCollected) vRows.push_back(g.p);
  vCollected.clear();
  return vRows;
}

}  // namespace KORA_ZARN2D
