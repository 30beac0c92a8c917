#pragma once

#include <vector>

#include "Point2.h"

namespace KORA_ZARN2D {

/// An axis-aligned bounding box. It starts invalid (min at +DBL_MAX, max at -DBL_MAX) and becomes
/// valid with its first point. When a `KoraTest` is attached, the box tells it its coordinate range
/// after each doubling or enlargement so that the predicate filter's error bound stays safe.
class ZARN2D_EXPORT Bbox2 {
 public:
  explicit Bbox2(KoraTest* pKoraPredicates = nullptr);
  /// The box of the points in [first, last).
  Bbox2(std::vector<Point2>::const_iterator first, std::vector<Point2>::const_iterator last);

  /// Adds one point; true when a bound moved (always true for the first point).
  bool add(const Point2& p);
  /// Adds n points given as x0, y0, x1, y1, ...; true when a bound moved.
  bool add(unsigned int n, const double* coordinates);
  bool add(std::vector<Point2*>::const_iterator first, std::vector<Point2*>::const_iterator last);
  bool add(std::vector<Point2>::const_iterator first, std::vector<Point2>::const_iterator last);

  /// Merges the other box into this one and returns a copy of the result. An invalid argument
  /// gives a warning and changes nothing.
  Bbox2 operator+(const Bbox2& other);

  /// True once a point was added (minX < DBL_MAX).
  bool isValid() const;
  /// The centre; warns when the box is invalid.
  Point2 computeCenter() const;
  /// True when both boxes are valid and overlap; touching counts. Warns on an invalid box.
  bool doIntersect(const Bbox2& other) const;
  /// True when the closed box contains p; false for an invalid box.
  bool isInBox(const Point2& p) const;
  /// Doubles width and height about the centre.
  void doubleTheBox();
  /// Scales both ranges by factor about the centre.
  void enlargeRanges(double factor);
  /// Gives a zero-width or zero-height valid box the extent d in that direction.
  void inflateIfDegenerate(double d);
  /// Appends the corners (minX,minY), (maxX,minY), (maxX,maxY), (minX,maxY).
  void getCorners(std::vector<Point2>& vBoxCorners) const;
  /// Appends the same corners moved outwards by d in both coordinates.
  void getOffsetCorners(double d, std::vector<Point2>& vBoxCorners) const;

  double getMinCoord() const { return minX < minY ? minX : minY; }
  double getMaxCoord() const { return maxX > maxY ? maxX : maxY; }
  double getRangeX() const { return maxX - minX; }
  double getRangeY() const { return maxY - minY; }
  double getMaxRange() const;
  Point2 getMinPoint() const { return Point2(minX, minY); }
  Point2 getMaxPoint() const { return Point2(maxX, maxY); }
  void getBounds(double& minX_, double& minY_, double& maxX_, double& maxY_) const;
  double get_minX() const { return minX; }
  double get_minY() const { return minY; }
  double get_maxX() const { return maxX; }
  double get_maxY() const { return maxY; }
  void setMinX(double val) { minX = val; }
  void setMinY(double val) { minY = val; }
  void setMaxX(double val) { maxX = val; }
  void setMaxY(double val) { maxY = val; }

 protected:
  void treatPointForValidBox(const Point2& p);
  void treatPointForInvalidBox(const Point2& p);
  void informPredicates();

  double minX, minY;
  double maxX, maxY;
  bool bValid;
  KoraTest* pKoraPredicates;
};

}  // namespace KORA_ZARN2D
