#pragma once

#include <cmath>

#include "Point2.h"

namespace KORA_ZARN2D {

/// A circle given by its centre and its squared radius.
class ZARN2D_EXPORT Circle2 {
 public:
  /// Centre (x, y), customIndex -1.
  Circle2(double x, double y, double sqRadius) : center(x, y), sqRadius(sqRadius) {}
  /// Centre copied from p (no triangle pointer, custom index kept).
  Circle2(const Point2& p, double sqRadius) : center(p), sqRadius(sqRadius) {}

  double getSqRadius() const { return sqRadius; }
  double getRadius() const { return std::sqrt(sqRadius); }
  Point2 getCenter() const { return center; }

 private:
  Point2 center;
  double sqRadius;
};

}  // namespace KORA_ZARN2D
