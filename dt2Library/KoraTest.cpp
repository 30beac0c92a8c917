// Exact orientation and in-circle predicates: floating-point filter, interval stage, GMP rationals.
#include "KoraTest.h"

#include <gmp.h>

#include <cfenv>
#if defined(__x86_64__) && defined(__SSE2__)
#include <xmmintrin.h>
#endif
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <cstring>

#include "tools.h"

namespace KORA_ZARN2D {

namespace {

/// The double machine epsilon 2^-52 (twice the unit roundoff u = 2^-53).
constexpr double kMachineEpsilon = 2.220446049250313e-16;
/// Orientation filter factor 12e = (8e*0.5 + (4e*0.5 + 2e)*2): for coordinates bounded by M each
/// difference is off by at most u*2M, each product by 8uM^2 from its factors plus 4uM^2 from its own
/// rounding, so the two products differ from the exact ones by at most 24uM^2 = 12eM^2 in total.
/// The final subtraction rounds monotonically: a result above the bound means the difference of the
/// rounded products, hence the exact determinant plus at most 12eM^2, exceeds the bound.
constexpr double kOrientationErrFactor = 12.0 * kMachineEpsilon;
/// Largest range the orientation filter covers: 4M^2 <= 2^1022, so no product of two coordinate
/// differences overflows. Beyond it every call goes to the later stages.
constexpr double kLargestFilteredRange = 0x1p510;
/// Lower limit of the orientation bound: gradual underflow adds an absolute error of up to 2^-1075
/// per product, which a relative bound cannot cover for tiny coordinates; twice the smallest normal
/// double exceeds that error and any rounding of a subnormal 12eM^2.
constexpr double kErrBoundFloor = 2.0 * DBL_MIN;

/// Reads a value back through memory the optimiser cannot see into. Without this barrier the
/// compiler, which assumes round-to-nearest, may evaluate an expression before the rounding mode
/// changes or after it is restored, and may rewrite (-a)*b as -(a*b) (equal only under that mode).
double opaque(double value) {
  volatile double barrier(value);
  return barrier;
}

#if defined(__x86_64__) && defined(__SSE2__)
/// Sets a rounding direction for its lifetime and restores the previous control word on every
/// exit path. On x86-64 all double arithmetic runs in SSE registers, so only the SSE control and
/// status register (MXCSR) matters; reading and writing it directly costs a few cycles, where
/// fesetround also rewrites the x87 control word and dominated the cost of the whole stage.
class ScopedRoundingMode {
 public:
  explicit ScopedRoundingMode(int mode) : previousCsr(_mm_getcsr()) { _mm_setcsr((previousCsr & ~kRoundingBits) | toCsrBits(mode)); }
  ~ScopedRoundingMode() { _mm_setcsr(previousCsr); }
  ScopedRoundingMode(const ScopedRoundingMode&) = delete;
  ScopedRoundingMode& operator=(const ScopedRoundingMode&) = delete;

 private:
  static constexpr unsigned int kRoundingBits = 0x6000u;  // MXCSR bits 13-14: the rounding control
  static unsigned int toCsrBits(int mode) {
    switch (mode) {
      case FE_UPWARD: return 0x4000u;
      case FE_DOWNWARD: return 0x2000u;
      case FE_TOWARDZERO: return 0x6000u;
      default: return 0u;
    }
  }
  const unsigned int previousCsr;
};
#else
/// Sets a rounding direction for its lifetime and restores the previous one on every exit path.
class ScopedRoundingMode {
 public:
  explicit ScopedRoundingMode(int mode) : previousMode(std::fegetround()) { std::fesetround(mode); }
  ~ScopedRoundingMode() { std::fesetround(previousMode); }
  ScopedRoundingMode(const ScopedRoundingMode&) = delete;
  ScopedRoundingMode& operator=(const ScopedRoundingMode&) = delete;

 private:
  const int previousMode;
};
#endif

/// Largest coordinate difference the interval stage of the orientation test accepts: the
/// determinant's bounds then stay below 2^1022, so no bound overflows and no inf*0 can arise.
constexpr double kOrientationIntervalLimit = 0x1p510;
/// The same for the in-circle test, whose determinant has degree 4: |terms| <= 2^1018.
constexpr double kInCircleIntervalLimit = 0x1p254;

/// An interval [lo, hi] kept as (-lo, hi), so that both bounds are upper bounds of something and
/// are computed with rounding toward +infinity alone (one change of the rounding mode per test).
/// Only valid inside a ScopedRoundingMode(FE_UPWARD). Every negation goes through opaque(): the
/// compiler would otherwise rewrite (-a)*b as -(a*b), which rounds the wrong way.
struct UpwardInterval {
  double negLo;
  double hi;
};

UpwardInterval operator+(const UpwardInterval& a, const UpwardInterval& b) { return {a.negLo + b.negLo, a.hi + b.hi}; }

UpwardInterval operator-(const UpwardInterval& a, const UpwardInterval& b) { return {a.negLo + b.hi, a.hi + b.negLo}; }

double maxOf(double a, double b) { return a < b ? b : a; }

UpwardInterval operator*(const UpwardInterval& a, const UpwardInterval& b) {
  const double aLo(opaque(-a.negLo)), bLo(opaque(-b.negLo)), aNegHi(opaque(-a.hi));
  return {maxOf(maxOf(a.negLo * bLo, a.negLo * b.hi), maxOf(aNegHi * bLo, aNegHi * b.hi)),
          maxOf(maxOf(aLo * bLo, aLo * b.hi), maxOf(a.hi * bLo, a.hi * b.hi))};
}

/// The enclosure of x - y; the operands pass through opaque() so that the subtraction happens
/// under the rounding mode of the caller's scope.
UpwardInterval enclosedDifference(double x, double y) {
  const double xUp(opaque(x)), yUp(opaque(y)), negX(opaque(-x)), negY(opaque(-y));
  return {negX + yUp, xUp + negY};
}

/// Largest magnitude within the interval.
double magnitudeBound(const UpwardInterval& a) { return maxOf(a.negLo, a.hi); }

/// The sign of the enclosed value when the interval decides it.
enum IntervalSign { IS_NEGATIVE = -1, IS_ZERO = 0, IS_POSITIVE = 1, IS_UNDECIDED = 2 };

/// Stores the bounds before the rounding mode is restored, then reads off the sign.
IntervalSign signOf(const UpwardInterval& a) {
  const double negLo(opaque(a.negLo)), hi(opaque(a.hi));
  if (negLo < 0) return IS_POSITIVE;
  if (hi < 0) return IS_NEGATIVE;
  if (negLo <= 0 && hi <= 0) return IS_ZERO;  // both bounds 0: the evaluation was exact
  return IS_UNDECIDED;
}

/// Sign of (p1.y - p2.y)(p0.x - p2.x) - (p0.y - p2.y)(p1.x - p2.x) by interval arithmetic.
IntervalSign orientationSignByIntervals(const Point2& p0, const Point2& p1, const Point2& p2) {
  const ScopedRoundingMode upward(FE_UPWARD);
  const UpwardInterval a(enclosedDifference(p0.x(), p2.x())), b(enclosedDifference(p1.y(), p2.y()));
  const UpwardInterval c(enclosedDifference(p0.y(), p2.y())), d(enclosedDifference(p1.x(), p2.x()));
  const double largest(maxOf(maxOf(magnitudeBound(a), magnitudeBound(b)), maxOf(magnitudeBound(c), magnitudeBound(d))));
  if (!(largest <= kOrientationIntervalLimit)) return IS_UNDECIDED;
  return signOf(b * a - c * d);
}

/// Sign of the in-circle determinant of p against (c0, c1, c2) by interval arithmetic.
IntervalSign inCircleSignByIntervals(const Point2& c0, const Point2& c1, const Point2& c2, const Point2& p) {
  const ScopedRoundingMode upward(FE_UPWARD);
  const UpwardInterval ax(enclosedDifference(c0.x(), p.x())), ay(enclosedDifference(c0.y(), p.y()));
  const UpwardInterval bx(enclosedDifference(c1.x(), p.x())), by(enclosedDifference(c1.y(), p.y()));
  const UpwardInterval cx(enclosedDifference(c2.x(), p.x())), cy(enclosedDifference(c2.y(), p.y()));
  const double largest(maxOf(maxOf(maxOf(magnitudeBound(ax), magnitudeBound(ay)), maxOf(magnitudeBound(bx), magnitudeBound(by))),
                             maxOf(magnitudeBound(cx), magnitudeBound(cy))));
  if (!(largest <= kInCircleIntervalLimit)) return IS_UNDECIDED;
  const UpwardInterval det((ax * ax + ay * ay) * (bx * cy - cx * by) + (bx * bx + by * by) * (cx * ay - cy * ax) +
                           (cx * cx + cy * cy) * (ax * by - bx * ay));
  return signOf(det);
}

/// Integers of magnitude at most 2^52 are exact doubles, and so is the difference of two of them.
constexpr double kLargestSmallInteger = 0x1p52;
/// Orientation of integer points: differences up to 2^26 make products up to 2^52 and their
/// difference up to 2^53, all integers a double holds exactly.
constexpr double kOrientationIntegerDifferenceLimit = 0x1p26;
/// In-circle of integer points: differences up to 2^12 make lifts and cross products up to 2^25,
/// terms up to 2^50 and their sum below 2^52, all integers a double holds exactly.
constexpr double kInCircleIntegerDifferenceLimit = 0x1p12;

bool isSmallInteger(double value) {
  return std::fabs(value) <= kLargestSmallInteger && value == static_cast<double>(static_cast<int64_t>(value));
}

bool hasSmallIntegerCoordinates(const Point2& p) { return isSmallInteger(p.x()) && isSmallInteger(p.y()); }

bool isWithin(double difference, double limit) { return std::fabs(difference) <= limit; }

IntervalSign signOfExact(double value) { return value > 0 ? IS_POSITIVE : (value < 0 ? IS_NEGATIVE : IS_ZERO); }

/// The orientation sign, evaluated exactly in doubles, for integer points close enough to each
/// other (see kOrientationIntegerDifferenceLimit); IS_UNDECIDED for all other points.
IntervalSign orientationSignOfIntegers(const Point2& p0, const Point2& p1, const Point2& p2) {
  if (!hasSmallIntegerCoordinates(p0) || !hasSmallIntegerCoordinates(p1) || !hasSmallIntegerCoordinates(p2)) return IS_UNDECIDED;
  const double a(p0.x() - p2.x()), b(p1.y() - p2.y()), c(p0.y() - p2.y()), d(p1.x() - p2.x());
  const double limit(kOrientationIntegerDifferenceLimit);
  if (!isWithin(a, limit) || !isWithin(b, limit) || !isWithin(c, limit) || !isWithin(d, limit)) return IS_UNDECIDED;
  return signOfExact(b * a - c * d);
}

/// The in-circle sign, evaluated exactly in doubles, for integer points close enough to p (see
/// kInCircleIntegerDifferenceLimit); IS_UNDECIDED for all other points.
IntervalSign inCircleSignOfIntegers(const Point2& c0, const Point2& c1, const Point2& c2, const Point2& p) {
  if (!hasSmallIntegerCoordinates(c0) || !hasSmallIntegerCoordinates(c1) || !hasSmallIntegerCoordinates(c2) ||
      !hasSmallIntegerCoordinates(p)) {
    return IS_UNDECIDED;
  }
  const double ax(c0.x() - p.x()), ay(c0.y() - p.y()), bx(c1.x() - p.x()), by(c1.y() - p.y());
  const double cx(c2.x() - p.x()), cy(c2.y() - p.y());
  const double limit(kInCircleIntegerDifferenceLimit);
  if (!isWithin(ax, limit) || !isWithin(ay, limit) || !isWithin(bx, limit) || !isWithin(by, limit) ||
      !isWithin(cx, limit) || !isWithin(cy, limit)) {
    return IS_UNDECIDED;
  }
  return signOfExact((ax * ax + ay * ay) * (bx * cy - cx * by) + (bx * bx + by * by) * (cx * ay - cy * ax) +
                     (cx * cx + cy * cy) * (ax * by - bx * ay));
}

/// True when the least significant bit of the significand is 0 (the tie-breaking rule of IEEE 754).
bool hasEvenSignificand(double value) {
  uint64_t bits;
  std::memcpy(&bits, &value, sizeof(bits));
  return (bits & 1u) == 0;
}

void assertFinite(const Point2& p) { ZARN_ASSERT(std::isfinite(p.x()) && std::isfinite(p.y())); }

/// A GMP rational that initialises and clears itself.
struct Rational {
  Rational() { mpq_init(value); }
  ~Rational() { mpq_clear(value); }
  Rational(const Rational&) = delete;
  Rational& operator=(const Rational&) = delete;
  mpq_t value;
};

}  // namespace

/// The exact work values, created at the first exact evaluation and reused afterwards.
struct KoraTest::GmpState {
  // Orientation: the six coordinates, the four differences and the two products.
  Rational p0x, p0y, p1x, p1y, p2x, p2y;
  Rational a, b, c, d;
  Rational ab, cd;
  // In-circle and intersection: three coordinate differences per axis, intermediate terms, a temporary.
  Rational dx[3], dy[3];
  Rational term, factor, sum, temp;
};

namespace {

/// out = x - y exactly.
void exactDifference(mpq_t out, double x, double y, mpq_t temp) {
  mpq_set_d(out, x);
  mpq_set_d(temp, y);
  mpq_sub(out, out, temp);
}

/// out = u*v - w*z exactly.
void exactCross(mpq_t out, const mpq_t u, const mpq_t v, const mpq_t w, const mpq_t z, mpq_t temp) {
  mpq_mul(out, u, v);
  mpq_mul(temp, w, z);
  mpq_sub(out, out, temp);
}

/// out = u*u + v*v exactly.
void exactSquaredLength(mpq_t out, const mpq_t u, const mpq_t v, mpq_t temp) {
  mpq_mul(out, u, u);
  mpq_mul(temp, v, v);
  mpq_add(out, out, temp);
}

/// Sets out to a double candidate's exact value; +-infinity stands for +-2^1024, the value IEEE 754
/// rounding to nearest treats as the next step beyond the largest finite double.
void setCandidate(mpq_t out, double candidate) {
  if (std::isinf(candidate)) {
    mpq_set_d(out, std::copysign(0x1p1023, candidate));
    mpq_mul_2exp(out, out, 1);
  } else {
    mpq_set_d(out, candidate);
  }
}

/// The double nearest to q, ties to even, as IEEE 754 arithmetic would round it.
/// mpq_get_d truncates toward zero, so the answer is that value or its neighbour away from zero.
double roundToNearest(const mpq_t q, mpq_t towardZeroValue, mpq_t midpoint) {
  const double towardZero(mpq_get_d(q));
  if (std::isinf(towardZero)) return towardZero;  // |q| >= 2^1024 rounds to infinity as well
  setCandidate(towardZeroValue, towardZero);
  const int sign(mpq_sgn(q));
  if (mpq_equal(q, towardZeroValue) || sign == 0) return towardZero;
  const double awayFromZero(std::nextafter(towardZero, sign > 0 ? HUGE_VAL : -HUGE_VAL));
  setCandidate(midpoint, awayFromZero);
  mpq_add(midpoint, midpoint, towardZeroValue);
  mpq_div_2exp(midpoint, midpoint, 1);
  const int beyondMidpoint(mpq_cmp(q, midpoint) * sign);
  if (beyondMidpoint < 0) return towardZero;
  if (beyondMidpoint > 0) return awayFromZero;
  return hasEvenSignificand(towardZero) ? towardZero : awayFromZero;
}

/// out = start + t * direction exactly (one coordinate); returns out.
mpq_ptr pointOnLine(mpq_ptr out, double start, const mpq_t t, const mpq_t direction, mpq_t temp) {
  mpq_mul(out, t, direction);
  mpq_set_d(temp, start);
  mpq_add(out, out, temp);
  return out;
}

bool isWithinClosedBox(const Point2& a, const Point2& b, double x, double y) {
  return std::fmin(a.x(), b.x()) <= x && x <= std::fmax(a.x(), b.x()) && std::fmin(a.y(), b.y()) <= y &&
         y <= std::fmax(a.y(), b.y());
}

}  // namespace

KoraTest::KoraTest() : maxAbsCoordinate(0), errBound(0), negErrBound(0), pGmp(nullptr), bGmpInitialised(false) {}

KoraTest::~KoraTest() {
  if (bGmpInitialised) delete pGmp;
}

void KoraTest::ensureGmp() {
  if (bGmpInitialised) return;
  pGmp = new GmpState();
  bGmpInitialised = true;
}

void KoraTest::setRange(double m) {
  maxAbsCoordinate = std::fabs(m);
  if (maxAbsCoordinate <= kLargestFilteredRange) {  // false for NaN as well
    // One step up covers the two roundings of the product: the bound never falls below 12eM^2.
    const double bound(std::nextafter(kOrientationErrFactor * maxAbsCoordinate * maxAbsCoordinate, HUGE_VAL));
    errBound = std::fmax(bound, kErrBoundFloor);
  } else {
    errBound = HUGE_VAL;
  }
  negErrBound = -errBound;
}

Orientation2 KoraTest::getOrientation(const Point2& p0, const Point2& p1, const Point2& p2) {
  // Sum (not maximum) of the larger absolute coordinates that exceed the range: branch-free, and it
  // can only make the bound larger.
  const double m0(p0.getMaxAbs()), m1(p1.getMaxAbs()), m2(p2.getMaxAbs());
  const double growth((m0 > maxAbsCoordinate ? m0 : 0.0) + (m1 > maxAbsCoordinate ? m1 : 0.0) +
                      (m2 > maxAbsCoordinate ? m2 : 0.0));
  if (growth > maxAbsCoordinate) {
    // An infinite coordinate would disable the filter for the lifetime of this object.
    assertFinite(p0);
    assertFinite(p1);
    assertFinite(p2);
    setRange(growth);
  }
  return getOrientationInRange(p0, p1, p2);
}

Orientation2 KoraTest::getOrientationSlow(const Point2& p0, const Point2& p1, const Point2& p2) {
  assertFinite(p0);
  assertFinite(p1);
  assertFinite(p2);
  if ((p0.x() == p1.x() && p1.x() == p2.x()) || (p0.y() == p1.y() && p1.y() == p2.y())) return ORIENTATION2_COLLINEAR;
  IntervalSign sign(orientationSignOfIntegers(p0, p1, p2));
  if (sign != IS_UNDECIDED) {
    ++stageCounts.orientationInteger;
  } else {
    ++stageCounts.orientationInterval;
    sign = orientationSignByIntervals(p0, p1, p2);
  }
  switch (sign) {
    case IS_POSITIVE:
      return ORIENTATION2_CCW;
    case IS_NEGATIVE:
      return ORIENTATION2_CW;
    case IS_ZERO:
      return ORIENTATION2_COLLINEAR;
    case IS_UNDECIDED:
      break;
  }
  return getOrientationExact(p0, p1, p2);
}

Orientation2 KoraTest::getOrientationExact(const Point2& p0, const Point2& p1, const Point2& p2) {
  ++stageCounts.orientationExact;
  ensureGmp();
  GmpState& g(*pGmp);
  mpq_set_d(g.p0x.value, p0.x());
  mpq_set_d(g.p0y.value, p0.y());
  mpq_set_d(g.p1x.value, p1.x());
  mpq_set_d(g.p1y.value, p1.y());
  mpq_set_d(g.p2x.value, p2.x());
  mpq_set_d(g.p2y.value, p2.y());
  mpq_sub(g.a.value, g.p0x.value, g.p2x.value);
  mpq_sub(g.b.value, g.p1y.value, g.p2y.value);
  mpq_sub(g.c.value, g.p0y.value, g.p2y.value);
  mpq_sub(g.d.value, g.p1x.value, g.p2x.value);
  mpq_mul(g.ab.value, g.a.value, g.b.value);
  mpq_mul(g.cd.value, g.c.value, g.d.value);
  const int comparison(mpq_cmp(g.ab.value, g.cd.value));
  if (comparison < 0) return ORIENTATION2_CW;
  if (comparison > 0) return ORIENTATION2_CCW;
  return ORIENTATION2_COLLINEAR;
}

int KoraTest::inCircleSlow(const Point2& c0, const Point2& c1, const Point2& c2, const Point2& p) {
  const IntervalSign integerSign(inCircleSignOfIntegers(c0, c1, c2, p));  // integers are finite
  if (integerSign != IS_UNDECIDED) {
    ++stageCounts.inCircleInteger;
    return integerSign;
  }
  assertFinite(c0);
  assertFinite(c1);
  assertFinite(c2);
  assertFinite(p);
  ++stageCounts.inCircleInterval;
  const IntervalSign intervalSign(inCircleSignByIntervals(c0, c1, c2, p));
  if (intervalSign != IS_UNDECIDED) return intervalSign;
  return inCircleExact(c0, c1, c2, p);
}

int KoraTest::inCircleExact(const Point2& c0, const Point2& c1, const Point2& c2, const Point2& p) {
  ++stageCounts.inCircleExact;
  ensureGmp();
  GmpState& g(*pGmp);
  const Point2* const aCorners[3] = {&c0, &c1, &c2};
  for (int i = 0; i < 3; ++i) {
    exactDifference(g.dx[i].value, aCorners[i]->x(), p.x(), g.temp.value);
    exactDifference(g.dy[i].value, aCorners[i]->y(), p.y(), g.temp.value);
  }
  // Expansion along the lifted column: sum over i of |ci - p|^2 times the cross product of the other two.
  mpq_set_ui(g.sum.value, 0, 1);
  for (int i = 0; i < 3; ++i) {
    const int j((i + 1) % 3), k((i + 2) % 3);
    exactSquaredLength(g.factor.value, g.dx[i].value, g.dy[i].value, g.temp.value);
    exactCross(g.term.value, g.dx[j].value, g.dy[k].value, g.dx[k].value, g.dy[j].value, g.temp.value);
    mpq_mul(g.term.value, g.term.value, g.factor.value);
    mpq_add(g.sum.value, g.sum.value, g.term.value);
  }
  return mpq_sgn(g.sum.value);
}

bool KoraTest::getIntersectionCoords(const Point2& a0, const Point2& a1, const Point2& b0, const Point2& b1, double& x,
                                     double& y) {
  assertFinite(a0);
  assertFinite(a1);
  assertFinite(b0);
  assertFinite(b1);
  ensureGmp();
  GmpState& g(*pGmp);
  // Directions of both lines and the offset between their start points.
  const mpq_ptr dirAx(g.dx[0].value), dirAy(g.dy[0].value), dirBx(g.dx[1].value), dirBy(g.dy[1].value);
  const mpq_ptr offsetX(g.dx[2].value), offsetY(g.dy[2].value), denominator(g.factor.value);
  exactDifference(dirAx, a1.x(), a0.x(), g.temp.value);
  exactDifference(dirAy, a1.y(), a0.y(), g.temp.value);
  exactDifference(dirBx, b1.x(), b0.x(), g.temp.value);
  exactDifference(dirBy, b1.y(), b0.y(), g.temp.value);
  exactDifference(offsetX, b0.x(), a0.x(), g.temp.value);
  exactDifference(offsetY, b0.y(), a0.y(), g.temp.value);
  exactCross(denominator, dirAx, dirBy, dirAy, dirBx, g.temp.value);
  if (mpq_sgn(denominator) == 0) assertionFailed("denom=0 -> parallel segments", __FILE__, __LINE__);
  // Parameter along a: t = (offset x dirB) / (dirA x dirB); the point is a0 + t * dirA.
  const mpq_ptr t(g.factor.value);
  exactCross(g.term.value, offsetX, dirBy, offsetY, dirBx, g.temp.value);
  mpq_div(t, g.term.value, denominator);
  x = roundToNearest(pointOnLine(g.sum.value, a0.x(), t, dirAx, g.temp.value), g.temp.value, g.term.value);
  y = roundToNearest(pointOnLine(g.sum.value, a0.y(), t, dirAy, g.temp.value), g.temp.value, g.term.value);
  return isOnClosedSegment(a0, a1, x, y) && isOnClosedSegment(b0, b1, x, y);
}

bool KoraTest::isOnClosedSegment(const Point2& a, const Point2& b, double x, double y) {
  if (!isWithinClosedBox(a, b, x, y)) return false;  // also rejects non-finite coordinates
  // The later stages directly: a constructed point must not change the filter's range.
  return getOrientationSlow(a, b, Point2(x, y)) == ORIENTATION2_COLLINEAR;
}

}  // namespace KORA_ZARN2D
