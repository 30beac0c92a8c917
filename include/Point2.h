#pragma once

#include <cstdint>
#include <iosfwd>

#include "Zarn2D_common.h"

namespace KORA_ZARN2D {

/// A point in the plane, and the vertex type of the triangulation.
///
/// Vertex handles (`Point2*`) returned by `Zarn_2D` stay valid until the `Zarn_2D` is destroyed.
/// Comparisons look at the coordinates only: lexicographic order (x, then y), exact equality.
class ZARN2D_EXPORT Point2 {
 public:
  /// A point at (x, y) with no incident triangle and customIndex -1.
  Point2(double x, double y) : x_(x), y_(y), pAssociatedTriangle(nullptr), customIndex(-1), storeWord(0) {}
  /// The lowest possible point: both coordinates are -DBL_MAX.
  Point2() : x_(-1.7976931348623157e308), y_(-1.7976931348623157e308), pAssociatedTriangle(nullptr), customIndex(-1), storeWord(0) {}
  /// Copies the coordinates and the custom index, never the incident triangle: a copy is not a vertex
  /// of any triangulation, so its triangle pointer starts null.
  Point2(const Point2& other)
      : x_(other.x_), y_(other.y_), pAssociatedTriangle(nullptr), customIndex(other.customIndex), storeWord(0) {}
  /// Assignment copies the coordinates, the triangle pointer and the custom index (a vertex keeps
  /// its place in the triangulation's vertex store).
  Point2& operator=(const Point2& other) {
    x_ = other.x_;
    y_ = other.y_;
    pAssociatedTriangle = other.pAssociatedTriangle;
    customIndex = other.customIndex;
    return *this;
  }

  double x() const { return x_; }
  double y() const { return y_; }
  /// Both coordinates by reference.
  void xy(double& x, double& y) const { x = x_; y = y_; }
  /// The larger of |x| and |y|.
  double getMaxAbs() const {
    const double ax(x_ < 0 ? -x_ : x_);
    const double ay(y_ < 0 ? -y_ : y_);
    return ax > ay ? ax : ay;
  }

  int getCustomIndex() const { return customIndex; }
  void setCustomIndex(int index) { customIndex = index; }

  /// One triangle incident to this vertex, or null when the point is not (yet) a vertex of a triangle.
  /// A relaxed atomic load (a plain load on common hardware), as the store below.
  Triangle2* getIncidentTriangle() const {
#if defined(__GNUC__)
    return __atomic_load_n(&pAssociatedTriangle, __ATOMIC_RELAXED);
#else
    return pAssociatedTriangle;
#endif
  }
  /// Maintained by the triangulation; a host program never needs to call this. A relaxed atomic
  /// store (a plain store on common hardware): the workers of a parallel bulk insertion may both
  /// write a vertex on the border of their regions, each a triangle that holds it.
  void setIncidentTriangle(Triangle2* pT) {
#if defined(__GNUC__)
    __atomic_store_n(&pAssociatedTriangle, pT, __ATOMIC_RELAXED);
#else
    pAssociatedTriangle = pT;
#endif
  }

  bool operator<(const Point2& p) const { return p.x_ > x_ || (p.x_ == x_ && p.y_ > y_); }
  bool operator>(const Point2& p) const { return p.x_ < x_ || (p.x_ == x_ && p.y_ < y_); }
  bool operator==(const Point2& p) const { return x_ == p.x_ && y_ == p.y_; }
  bool operator!=(const Point2& p) const { return !(*this == p); }

 private:
  friend class VertexVault;
  double x_;
  double y_;
  Triangle2* pAssociatedTriangle;
  int customIndex;
  // The triangulation's vertex store keeps its per-vertex data here, in what would otherwise be
  // padding: the Hilbert key and whether the vertex is still active. 0 for a point that is not a
  // vertex (copies start at 0).
  uint32_t storeWord;
};

/// Writes "Point2 (" x ", " y ")" with full precision.
ZARN2D_EXPORT std::ostream& operator<<(std::ostream& stream, const Point2& pnt);

}  // namespace KORA_ZARN2D
