// Bbox2: the axis-aligned bounding box.
#include "Bbox2.h"

#include <algorithm>
#include <cmath>

#include "KoraTest.h"
#include "freeFunctions.h"

namespace KORA_ZARN2D {

namespace {
constexpr double kLargestDouble = 1.7976931348623157e308;
}

Bbox2::Bbox2(KoraTest* pKoraPredicates_)
    : minX(kLargestDouble), minY(kLargestDouble), maxX(-kLargestDouble), maxY(-kLargestDouble), bValid(false),
      pKoraPredicates(pKoraPredicates_) {}

Bbox2::Bbox2(std::vector<Point2>::const_iterator first, std::vector<Point2>::const_iterator last) : Bbox2(nullptr) {
  add(first, last);
}

void Bbox2::treatPointForValidBox(const Point2& p) {
  if (p.x() < minX) minX = p.x();
  else if (p.x() > maxX) maxX = p.x();
  if (p.y() < minY) minY = p.y();
  else if (p.y() > maxY) maxY = p.y();
}

void Bbox2::treatPointForInvalidBox(const Point2& p) {
  // Bounds already set through the setters are kept.
  if (minX == kLargestDouble) minX = p.x();
  if (minY == kLargestDouble) minY = p.y();
  if (maxX == -kLargestDouble) maxX = p.x();
  if (maxY == -kLargestDouble) maxY = p.y();
  bValid = true;
}

bool Bbox2::add(const Point2& p) {
  if (!bValid) {
    treatPointForInvalidBox(p);
    return true;
  }
  const double oldMinX(minX), oldMinY(minY), oldMaxX(maxX), oldMaxY(maxY);
  treatPointForValidBox(p);
  return oldMinX != minX || oldMinY != minY || oldMaxX != maxX || oldMaxY != maxY;
}

bool Bbox2::add(unsigned int n, const double* coordinates) {
  bool bChanged(false);
  for (unsigned int i = 0; i < n; ++i) bChanged |= add(Point2(coordinates[2 * i], coordinates[2 * i + 1]));
  return bChanged;
}

bool Bbox2::add(std::vector<Point2*>::const_iterator first, std::vector<Point2*>::const_iterator last) {
  bool bChanged(false);
  for (; first != last; ++first) bChanged |= add(**first);
  return bChanged;
}

bool Bbox2::add(std::vector<Point2>::const_iterator first, std::vector<Point2>::const_iterator last) {
  bool bChanged(false);
  for (; first != last; ++first) bChanged |= add(*first);
  return bChanged;
}

Bbox2 Bbox2::operator+(const Bbox2& other) {
  if (!(other.minX < kLargestDouble)) {
    reportWarning("Box2::operator+()", "trying to add an invalid Bbox2");
    return *this;
  }
  if (!isValid()) {
    minX = other.minX;
    minY = other.minY;
    maxX = other.maxX;
    maxY = other.maxY;
    bValid = true;
  } else {
    minX = std::min(minX, other.minX);
    minY = std::min(minY, other.minY);
    maxX = std::max(maxX, other.maxX);
    maxY = std::max(maxY, other.maxY);
  }
  return *this;
}

bool Bbox2::isValid() const { return minX < kLargestDouble; }

Point2 Bbox2::computeCenter() const {
  if (!isValid()) reportWarning("Bbox2::computeCenter()", "Bbox2 is invalid");
  return Point2((minX + maxX) / 2.0, (minY + maxY) / 2.0);
}

bool Bbox2::doIntersect(const Bbox2& other) const {
  if (!isValid() || !other.isValid()) {
    reportWarning("Bbox2::doIntersect()", "bbox invalid");
    return false;
  }
  return !(minX > other.maxX || other.minX > maxX || minY > other.maxY || other.minY > maxY);
}

bool Bbox2::isInBox(const Point2& p) const {
  if (!isValid()) return false;
  return minX <= p.x() && p.x() <= maxX && minY <= p.y() && p.y() <= maxY;
}

void Bbox2::informPredicates() {
  if (pKoraPredicates == nullptr) return;
  const double largest(std::max(std::max(std::fabs(minX), std::fabs(maxX)), std::max(std::fabs(minY), std::fabs(maxY))));
  pKoraPredicates->setRange(largest);
}

void Bbox2::doubleTheBox() {
  const double halfRangeX((maxX - minX) / 2.0), halfRangeY((maxY - minY) / 2.0);
  minX -= halfRangeX;
  maxX += halfRangeX;
  minY -= halfRangeY;
  maxY += halfRangeY;
  informPredicates();
}

void Bbox2::enlargeRanges(double factor) {
  const double dx((getRangeX() * factor - getRangeX()) / 2.0), dy((getRangeY() * factor - getRangeY()) / 2.0);
  minX -= dx;
  maxX += dx;
  minY -= dy;
  maxY += dy;
  informPredicates();
}

void Bbox2::inflateIfDegenerate(double d) {
  if (!isValid()) return;
  if (minX == maxX) maxX += d;
  if (minY == maxY) maxY += d;
}

void Bbox2::getCorners(std::vector<Point2>& vBoxCorners) const { getOffsetCorners(0.0, vBoxCorners); }

void Bbox2::getOffsetCorners(double d, std::vector<Point2>& vBoxCorners) const {
  vBoxCorners.push_back(Point2(minX - d, minY - d));
  vBoxCorners.push_back(Point2(maxX + d, minY - d));
  vBoxCorners.push_back(Point2(maxX + d, maxY + d));
  vBoxCorners.push_back(Point2(minX - d, maxY + d));
}

double Bbox2::getMaxRange() const { return std::max(getRangeX(), getRangeY()); }

void Bbox2::getBounds(double& minX_, double& minY_, double& maxX_, double& maxY_) const {
  minX_ = minX;
  minY_ = minY;
  maxX_ = maxX;
  maxY_ = maxY;
}

}  // namespace KORA_ZARN2D
