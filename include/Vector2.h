#pragma once

#include <iosfwd>

#include "Zarn2D_common.h"

namespace KORA_ZARN2D {

/// A displacement in the plane.
class ZARN2D_EXPORT Vector2 {
 public:
  Vector2(double x, double y) : valX(x), valY(y) {}
  Vector2() : valX(0.0), valY(0.0) {}

  double x() const { return valX; }
  double y() const { return valY; }
  void set(double x, double y) { valX = x; valY = y; }

  /// sqrt(x*x + y*y).
  double length() const;
  /// x*x + y*y.
  double sqLength() const { return valX * valX + valY * valY; }
  /// True exactly when both components are 0.
  bool isDegenerate() const { return valX == 0.0 && valY == 0.0; }
  /// A unit vector perpendicular to this one, on its left; (0, 0) for the null vector.
  /// The side is decided by the exact orientation test.
  Vector2 orthogonalVector() const;

  Vector2 operator*(double d) const { return Vector2(valX * d, valY * d); }
  Vector2 operator/(double d) const { return Vector2(valX / d, valY / d); }
  /// Dot product.
  double operator*(const Vector2& other) const { return valX * other.valX + valY * other.valY; }

 private:
  double valX;
  double valY;
};

ZARN2D_EXPORT Vector2 operator+(const Vector2& a, const Vector2& b);
ZARN2D_EXPORT Vector2 operator-(const Vector2& a, const Vector2& b);
ZARN2D_EXPORT Vector2 operator-(const Vector2& a);
ZARN2D_EXPORT Vector2 operator*(double d, const Vector2& v);
/// The vector divided by its length; a null vector gives (0, 0) and a warning line.
ZARN2D_EXPORT Vector2 normalize(const Vector2& other);
/// Writes "Vector2: " followed by the two components.
ZARN2D_EXPORT std::ostream& operator<<(std::ostream& stream, const Vector2& vec);

}  // namespace KORA_ZARN2D
