// Triangle2: edge queries, measures and the circumcentre construction.
#include "Triangle2.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <iostream>

#include "Vector2.h"
#include "freeFunctions.h"
#include "tools.h"

namespace KORA_ZARN2D {

namespace {

// Distances from a circumcentre candidate to the three corners may differ by less than this
// (absolute, independent of the triangle's size) for the candidate to count as accurate.
const double kCircumcentreTolerance(1e-6);

void printPointOrNull(std::ostream& stream, const Point2* p) {
  if (p == nullptr) {
    stream << "null";
  } else {
    stream << *p;
  }
}

double distance(const Point2& a, const Point2& b) {
  const double dx(a.x() - b.x()), dy(a.y() - b.y());
  return std::sqrt(dx * dx + dy * dy);
}

// The mean of the coordinates of smallest and largest magnitude, rounded to single precision.
// A float has half the mantissa of a double, so subtracting it from coordinates near it is
// exact (Sterbenz) far more often than subtracting an arbitrary double.
double commonOffset(double c0, double c1, double c2) {
  const double candidates[3] = {c0, c1, c2};
  const auto byMagnitude = [](double a, double b) { return std::fabs(a) < std::fabs(b); };
  const double smallest(*std::min_element(candidates, candidates + 3, byMagnitude));
  const double largest(*std::max_element(candidates, candidates + 3, byMagnitude));
  const double mean(0.5 * smallest + 0.5 * largest);  // no overflow near the double range
  // Converting a value beyond the float range is undefined; such coordinates keep the double mean.
  if (!(std::fabs(mean) <= static_cast<double>(FLT_MAX))) return mean;
  return static_cast<double>(static_cast<float>(mean));
}

// a*b - c*d with an error of at most 1.5 ulp even under heavy cancellation (Kahan's algorithm
// with a fused multiply-add; see Jeannerod, Louvet, Muller, Math. Comp. 82 (2013)).
double accurateDifferenceOfProducts(double a, double b, double c, double d) {
  const double cd(c * d);
  const double roundingErrorOfCd(std::fma(-c, d, cd));
  const double abMinusCd(std::fma(a, b, -cd));
  return abMinusCd + roundingErrorOfCd;
}

}  // namespace

int Triangle2::getIntraTriangleIndex(const Point2* p, const Point2* q) const {
  for (int i = 0; i < 3; ++i) {
    const Point2* pSrc(aVertexPointer[incIndexBy1(i)]);
    const Point2* pTrg(aVertexPointer[incIndexBy2(i)]);
    if ((pSrc == p && pTrg == q) || (pSrc == q && pTrg == p)) return i;
  }
  std::cout << "BUG: Triangle2::getIntraTriangleIndex failed for" << std::endl;
  printPointOrNull(std::cout, p);
  std::cout << std::endl;
  printPointOrNull(std::cout, q);
  std::cout << std::endl;
  std::cout << *this << std::endl;
  return -1;
}

bool Triangle2::hasVertex(const Point2& p) const {
  return *aVertexPointer[0] == p || *aVertexPointer[1] == p || *aVertexPointer[2] == p;
}

bool Triangle2::hasOnEdge(int i, const Point2& p) const {
  const Point2* pCorner(aVertexPointer[i]);
  const Point2* pSrc(aVertexPointer[incIndexBy1(i)]);
  const Point2* pTrg(aVertexPointer[incIndexBy2(i)]);
  if (getOrientation2(pSrc, pTrg, &p) != ORIENTATION2_COLLINEAR) return false;
  // On the supporting line: inside the closed edge unless beyond one of its end points.
  return getOrientation2(pCorner, pSrc, &p) != ORIENTATION2_CW && getOrientation2(pTrg, pCorner, &p) != ORIENTATION2_CW;
}

double Triangle2::getSquaredEdgeLength(int i) const {
  const Point2* pSrc(aVertexPointer[incIndexBy1(i)]);
  const Point2* pTrg(aVertexPointer[incIndexBy2(i)]);
  const double dx(pTrg->x() - pSrc->x()), dy(pTrg->y() - pSrc->y());
  return dx * dx + dy * dy;
}

double Triangle2::getMaxSqEdgeLen2D() const { return getSquaredEdgeLength(getMaxIndex()); }

int Triangle2::getMaxIndex() const {
  int best(0);
  double bestSqLen(getSquaredEdgeLength(0));
  for (int i = 1; i < 3; ++i) {
    const double sqLen(getSquaredEdgeLength(i));
    if (sqLen > bestSqLen) {
      best = i;
      bestSqLen = sqLen;
    }
  }
  return best;
}

int Triangle2::getMinIndex() const {
  int best(0);
  double bestSqLen(getSquaredEdgeLength(0));
  for (int i = 1; i < 3; ++i) {
    const double sqLen(getSquaredEdgeLength(i));
    if (sqLen < bestSqLen) {
      best = i;
      bestSqLen = sqLen;
    }
  }
  return best;
}

Point2 Triangle2::getBarycenter() const {
  const Point2& p0(*aVertexPointer[0]);
  const Point2& p1(*aVertexPointer[1]);
  const Point2& p2(*aVertexPointer[2]);
  return Point2((p0.x() + p1.x() + p2.x()) / 3.0, (p0.y() + p1.y() + p2.y()) / 3.0);
}

namespace {
// (dx, dy) scaled by a power of two that brings its larger component into [1, 2): the direction
// is kept exactly, and products of two such vectors neither overflow nor underflow.
Vector2 directionOf(double dx, double dy) {
  const double largest(std::max(std::fabs(dx), std::fabs(dy)));
  if (!(largest > 0.0) || !std::isfinite(largest)) return Vector2(dx, dy);
  const int exponent(std::ilogb(largest));
  return Vector2(std::ldexp(dx, -exponent), std::ldexp(dy, -exponent));
}
}  // namespace

// The corners scaled by 2^-exponent, a power of two that brings the largest coordinate magnitude
// into [0.5, 1): differences and products of the scaled corners cannot overflow, and the scaling
// is exact (apart from coordinates that become subnormal, far below the triangle's size).
void Triangle2::getScaledCorners(Point2 (&aScaled)[3], int& exponent) const {
  double largest(0.0);
  for (const Point2* p : aVertexPointer) largest = std::max({largest, std::fabs(p->x()), std::fabs(p->y())});
  exponent = largest > 0.0 ? std::ilogb(largest) + 1 : 0;
  for (int i = 0; i < 3; ++i) {
    aScaled[i] = Point2(std::ldexp(aVertexPointer[i]->x(), -exponent), std::ldexp(aVertexPointer[i]->y(), -exponent));
  }
}

double Triangle2::getEdgeLength(int i) const {
  Point2 aScaled[3];
  int exponent(0);
  getScaledCorners(aScaled, exponent);
  const Point2& src(aScaled[incIndexBy1(i)]);
  const Point2& trg(aScaled[incIndexBy2(i)]);
  return std::ldexp(std::hypot(trg.x() - src.x(), trg.y() - src.y()), exponent);
}

double Triangle2::getInteriorAngle2D(int i) const {
  Point2 aScaled[3];
  int exponent(0);
  getScaledCorners(aScaled, exponent);
  const Point2& corner(aScaled[i]);
  const Point2& next(aScaled[incIndexBy1(i)]);
  const Point2& prev(aScaled[incIndexBy2(i)]);
  const Vector2 toNext(directionOf(next.x() - corner.x(), next.y() - corner.y()));
  const Vector2 toPrev(directionOf(prev.x() - corner.x(), prev.y() - corner.y()));
  const double cross(toNext.x() * toPrev.y() - toNext.y() * toPrev.x());
  return std::atan2(std::fabs(cross), toNext * toPrev);
}

double Triangle2::getArea2D() const {
  Point2 aScaled[3];
  int exponent(0);
  getScaledCorners(aScaled, exponent);
  const Point2 &a(aScaled[0]), &b(aScaled[1]), &c(aScaled[2]);
  const double cross((b.x() - a.x()) * (c.y() - a.y()) - (b.y() - a.y()) * (c.x() - a.x()));
  const double area(std::ldexp(0.5 * std::fabs(cross), 2 * exponent));
  if (std::isnan(area)) {  // corrupt (NaN) coordinates: Heron's formula reports them and throws
    return computeArea(std::sqrt(getSquaredEdgeLength(0)), std::sqrt(getSquaredEdgeLength(1)), std::sqrt(getSquaredEdgeLength(2)));
  }
  return area;
}

double Triangle2::computeArea(double a, double b, double c) const {
  const double s((a + b + c) / 2.0);
  const double v(s * (s - a) * (s - b) * (s - c));
  if (std::isnan(v)) {
    reportWarning("Triangle2::computeArea()", "invalid value, no area for this triangle");
    std::cout << "ownHalfCircf=" << s << std::endl;
    std::cout << "Corners are: " << *aVertexPointer[0] << ", " << *aVertexPointer[1] << ", " << *aVertexPointer[2]
              << std::endl;
    std::cout << "len0=" << a << std::endl;
    std::cout << "len1=" << b << std::endl;
    std::cout << "len2=" << c << std::endl;
    ZARN_ASSERT(false);
  }
  // Rounding makes v slightly negative for (nearly) degenerate triangles.
  if (v <= 0.0) return 0.0;
  return std::sqrt(v);
}

std::pair<Point2, bool> Triangle2::getDual() const {
  double offsetX(0.0), offsetY(0.0);
  getCommonOffset(offsetX, offsetY);
  const int maxIndex(getMaxIndex());
  Point2 cc;
  if (getCC_strategy1(offsetX, offsetY, cc) && isAccurateCC(maxIndex, cc)) return std::make_pair(cc, true);
  getCC_strategy2(maxIndex, offsetX, offsetY, cc);
  return std::make_pair(cc, isAccurateCC(maxIndex, cc));
}

void Triangle2::getCommonOffset(double& offsetX, double& offsetY) const {
  const Point2& p0(*aVertexPointer[0]);
  const Point2& p1(*aVertexPointer[1]);
  const Point2& p2(*aVertexPointer[2]);
  offsetX = commonOffset(p0.x(), p1.x(), p2.x());
  offsetY = commonOffset(p0.y(), p1.y(), p2.y());
}

bool Triangle2::getCC_strategy1(double offsetX, double offsetY, Point2& cc) const {
  const double x0(aVertexPointer[0]->x() - offsetX), y0(aVertexPointer[0]->y() - offsetY);
  const double x1(aVertexPointer[1]->x() - offsetX), y1(aVertexPointer[1]->y() - offsetY);
  const double x2(aVertexPointer[2]->x() - offsetX), y2(aVertexPointer[2]->y() - offsetY);
  const double positiveTerms(x0 * y1 + x1 * y2 + x2 * y0);
  const double negativeTerms(x0 * y2 + x1 * y0 + x2 * y1);
  const double d(2.0 * (positiveTerms - negativeTerms));
  if (d == 0.0) return false;
  const double r0(x0 * x0 + y0 * y0), r1(x1 * x1 + y1 * y1), r2(x2 * x2 + y2 * y2);
  const double cx((r0 * (y1 - y2) + r1 * (y2 - y0) + r2 * (y0 - y1)) / d);
  const double cy((r0 * (x2 - x1) + r1 * (x0 - x2) + r2 * (x1 - x0)) / d);
  cc = Point2(cx + offsetX, cy + offsetY);
  return true;
}

// The centre relative to corner m: with a and b the edge vectors from corner m to its two
// neighbours, the centre is corner m + u where u solves 2a.u = |a|^2, 2b.u = |b|^2. Corner m is
// opposite the longest edge, so a and b are the two shorter edges and enclose the largest angle:
// the best conditioned of the three possible systems. The determinant and both numerators are
// differences of products, evaluated with the compensated algorithm above.
void Triangle2::getCC_strategy2(int maxIndex, double offsetX, double offsetY, Point2& cc) const {
  const Point2& corner(*aVertexPointer[maxIndex]);
  const Point2& next(*aVertexPointer[incIndexBy1(maxIndex)]);
  const Point2& prev(*aVertexPointer[incIndexBy2(maxIndex)]);
  const double mx(corner.x() - offsetX), my(corner.y() - offsetY);
  const double ax((next.x() - offsetX) - mx), ay((next.y() - offsetY) - my);
  const double bx((prev.x() - offsetX) - mx), by((prev.y() - offsetY) - my);
  const double denominator(2.0 * accurateDifferenceOfProducts(ax, by, ay, bx));
  if (denominator == 0.0) {
    // Collinear corners have no circumcentre; the centre of the smallest enclosing circle (the
    // midpoint of the longest edge) is a finite stand-in that the accuracy test rejects.
    cc = Point2(0.5 * next.x() + 0.5 * prev.x(), 0.5 * next.y() + 0.5 * prev.y());
    return;
  }
  const double sqA(ax * ax + ay * ay), sqB(bx * bx + by * by);
  const double ux(accurateDifferenceOfProducts(by, sqA, ay, sqB) / denominator);
  const double uy(accurateDifferenceOfProducts(ax, sqB, bx, sqA) / denominator);
  cc = Point2((mx + ux) + offsetX, (my + uy) + offsetY);
}

bool Triangle2::isAccurateCC(int maxIndex, const Point2& cc) const {
  // Non-finite candidates (overflow in a construction) must not reach the exact predicates.
  if (!std::isfinite(cc.x()) || !std::isfinite(cc.y())) return false;
  const Point2* pCorner(aVertexPointer[maxIndex]);
  const Point2* pNext(aVertexPointer[incIndexBy1(maxIndex)]);
  const Point2* pPrev(aVertexPointer[incIndexBy2(maxIndex)]);
  // The centre may lie outside the triangle only across the longest edge, opposite corner maxIndex.
  if (getOrientation2(pPrev, pCorner, &cc) == ORIENTATION2_CW) return false;
  if (getOrientation2(pCorner, pNext, &cc) == ORIENTATION2_CW) return false;
  const double d0(distance(cc, *pCorner)), d1(distance(cc, *pNext)), d2(distance(cc, *pPrev));
  // Written as three comparisons so that a NaN deviation (overflowing distances) rejects the centre.
  return std::fabs(d0 - d1) < kCircumcentreTolerance && std::fabs(d1 - d2) < kCircumcentreTolerance &&
         std::fabs(d2 - d0) < kCircumcentreTolerance;
}

std::ostream& operator<<(std::ostream& stream, const Triangle2& c) {
  stream << "Triangle2:";
  for (int i = 0; i < 3; ++i) {
    stream << " ";
    printPointOrNull(stream, c.getCorner(i));
  }
  return stream;
}

}  // namespace KORA_ZARN2D
