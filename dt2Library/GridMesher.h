// GridMesher: the vertices of a square grid that fall inside a zone.
#pragma once

#include <vector>

#include "KoraTest.h"
#include "Point2.h"
#include "Triangle2.h"
#include "Vector2.h"

namespace KORA_ZARN2D {

/// A square grid of cell length L turned to a direction: its vertices are i * L * d + j * L * n
/// for integers i, j, with d the unit direction and n = d turned by 90 degrees (the origin is the
/// coordinate origin). Collects the grid vertices strictly inside given triangles, in rows, so
/// that consecutive vertices are neighbours and their insertion walks are short.
class GridMesher {
 public:
  /// direction may have any positive length; cellLength must be positive.
  GridMesher(KoraTest& kora, double cellLength, const Vector2& direction);

  /// Appends the grid vertices strictly inside pT. O(grid vertices in pT's bounding box).
  void collectInside(const Triangle2* pT);
  /// The collected vertices row by row (j), each row in the opposite direction of the one before.
  /// O(k log k).
  std::vector<Point2> takeRows();

 private:
  struct GridPoint {
    long long i, j;
    Point2 p;
  };
  Point2 pointAt(long long i, long long j) const;

  KoraTest& kora;
  double cellLength;
  double dirX, dirY;  // the unit direction d; n = (-dirY, dirX)
  std::vector<GridPoint> vCollected;
};

}  // namespace KORA_ZARN2D
