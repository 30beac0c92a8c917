#pragma once

#include <functional>

#include "Point2.h"

namespace KORA_ZARN2D {

/// An undirected edge between two vertices: the pointer with the lower address is stored first,
/// so VertexPair2(p, q) == VertexPair2(q, p). Addresses are compared with std::less, the total order
/// on pointers that also holds for vertices from different allocations.
class ZARN2D_EXPORT VertexPair2 {
 public:
  VertexPair2(Point2* p0, Point2* p1)
      : p0(std::less<Point2*>()(p1, p0) ? p1 : p0), p1(std::less<Point2*>()(p1, p0) ? p0 : p1) {}

  Point2* getP0() const { return p0; }
  Point2* getP1() const { return p1; }
  double getSqLen2D() const {
    const double dx(p0->x() - p1->x()), dy(p0->y() - p1->y());
    return dx * dx + dy * dy;
  }
  bool operator<(const VertexPair2& other) const {
    const std::less<Point2*> isLower;
    return isLower(p0, other.p0) || (p0 == other.p0 && isLower(p1, other.p1));
  }
  bool operator==(const VertexPair2& other) const { return p0 == other.p0 && p1 == other.p1; }

 private:
  Point2* p0;
  Point2* p1;
};

}  // namespace KORA_ZARN2D
