// Vector2, its free operators, and the stream output of the small value types.
#include "Vector2.h"

#include <cmath>
#include <iostream>

#include "KoraTest.h"
#include "Segment2.h"
#include "freeFunctions.h"
#include "tools.h"

namespace KORA_ZARN2D {

double Vector2::length() const { return std::sqrt(sqLength()); }

Vector2 Vector2::orthogonalVector() const {
  const bool bYDominates(std::fabs(valX) <= std::fabs(valY));
  const double b(bYDominates ? valY : valX);
  if (b == 0.0) return Vector2(0.0, 0.0);
  const Vector2 candidate(normalize(bYDominates ? Vector2(1.0, -valX / valY) : Vector2(-valY / valX, 1.0)));
  const Point2 origin(0.0, 0.0), tip(valX, valY), candidateTip(candidate.x(), candidate.y());
  const Orientation2 ori(getOrientation2(&origin, &tip, &candidateTip));
  ZARN_ASSERT(ori != ORIENTATION2_COLLINEAR);
  return ori == ORIENTATION2_CCW ? candidate : -candidate;
}

Vector2 operator+(const Vector2& a, const Vector2& b) { return Vector2(a.x() + b.x(), a.y() + b.y()); }
Vector2 operator-(const Vector2& a, const Vector2& b) { return Vector2(a.x() - b.x(), a.y() - b.y()); }
Vector2 operator-(const Vector2& a) { return Vector2(-a.x(), -a.y()); }
Vector2 operator*(double d, const Vector2& v) { return Vector2(d * v.x(), d * v.y()); }

Vector2 normalize(const Vector2& other) {
  const double len(other.length());
  if (len == 0.0) {
    std::cout << "warning: normalize(const Vector2& other), Null length vector!" << std::endl;
    return Vector2(0.0, 0.0);
  }
  return other / len;
}

namespace {
// Full round-trip precision for coordinates; restores the caller's setting.
struct FullPrecision {
  explicit FullPrecision(std::ostream& stream) : stream(stream), oldPrecision(stream.precision(17)) {}
  ~FullPrecision() { stream.precision(oldPrecision); }
  std::ostream& stream;
  std::streamsize oldPrecision;
};
}  // namespace

std::ostream& operator<<(std::ostream& stream, const Vector2& vec) {
  FullPrecision precision(stream);
  return stream << "Vector2: " << vec.x() << ", " << vec.y();
}

std::ostream& operator<<(std::ostream& stream, const Point2& pnt) {
  FullPrecision precision(stream);
  return stream << "Point2 (" << pnt.x() << ", " << pnt.y() << ")";
}

std::ostream& operator<<(std::ostream& stream, const Segment2& seg) {
  return stream << "Segment2: " << seg.getSrc() << " -> " << seg.getTrg();
}

double Segment2::getSqLen2D() const {
  const double dx(trg.x() - src.x()), dy(trg.y() - src.y());
  return dx * dx + dy * dy;
}

void Segment2::swapSrcTrg() {
  const Point2 oldSrc(src);  // the copy drops the triangle pointer
  src = trg;
  trg = oldSrc;
}

bool Segment2::operator==(const Segment2& other) const {
  return (src == other.src && trg == other.trg) || (src == other.trg && trg == other.src);
}

}  // namespace KORA_ZARN2D
