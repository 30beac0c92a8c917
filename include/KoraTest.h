#pragma once

#include <cmath>
#include <cstdint>

#include "Point2.h"

namespace KORA_ZARN2D {

/// Exact geometric predicates with a layered evaluation: a static floating-point filter decides
/// almost every call; of the rest, points with integer coordinates close to each other (grids,
/// pixel or millimetre coordinates) are decided by an evaluation in doubles that is exact for them,
/// an interval stage with directed rounding decides most others, and exact rational arithmetic
/// (GMP) what remains. The rationals are created once per object and reused.
///
/// An object is not thread-safe: use one per thread (`getOrientation2_mt` builds its own).
/// Non-finite coordinates never reach GMP: they fail an assertion (ZarnException).
///
/// The filters below are inline because they sit in the innermost loops of point location and
/// Delaunay flipping. Every translation unit of the library is compiled with -ffp-contract=off:
/// a fused multiply-add changes the rounding of the determinants and would void the error bounds.
class ZARN2D_EXPORT KoraTest {
 public:
  /// An empty predicate object: range 0, no rationals yet (they are created at the first exact
  /// evaluation, so construction is cheap).
  KoraTest();
  /// Releases the rationals, if any were created.
  ~KoraTest();
  KoraTest(const KoraTest&) = delete;
  KoraTest& operator=(const KoraTest&) = delete;

  /// Sets the largest absolute coordinate |m| the orientation filter must cover and recomputes its
  /// bound, 12e*m^2 rounded up and never below 2*DBL_MIN (gradual underflow). Beyond 2^510, or for
  /// NaN, the bound becomes infinite and every orientation call goes to the later stages.
  void setRange(double m);
  /// The range set last (0 for a new object).
  double getRange() const { return maxAbsCoordinate; }
  /// The orientation filter's bound: a double determinant above it (below its negation) is CCW (CW).
  double getErrBound() const { return errBound; }

  /// Orientation of (p0, p1, p2) for arbitrary points: raises the range first when a point lies
  /// beyond it, then decides exactly. CCW when p2 lies left of the directed line p0 -> p1.
  /// A few nanoseconds when the filter decides; a non-finite coordinate fails an assertion.
  Orientation2 getOrientation(const Point2& p0, const Point2& p1, const Point2& p2);

  /// Orientation for points whose coordinates the caller guarantees to lie within the range set by
  /// setRange (the triangulation keeps its box current for this). No range update: the hot path.
  Orientation2 getOrientationInRange(const Point2& p0, const Point2& p1, const Point2& p2) {
    const double det((p1.y() - p2.y()) * (p0.x() - p2.x()) - (p0.y() - p2.y()) * (p1.x() - p2.x()));
    if (det > errBound) return ORIENTATION2_CCW;
    if (det < negErrBound) return ORIENTATION2_CW;
    return getOrientationSlow(p0, p1, p2);
  }

  /// Sign of the in-circle determinant of p against the counterclockwise triangle (c0, c1, c2):
  /// +1 when p lies strictly inside the circumcircle, 0 on it, -1 outside. Always exact.
  int inCircle(const Point2& c0, const Point2& c1, const Point2& c2, const Point2& p) {
    const double ax(c0.x() - p.x()), ay(c0.y() - p.y());
    const double bx(c1.x() - p.x()), by(c1.y() - p.y());
    const double cx(c2.x() - p.x()), cy(c2.y() - p.y());
    const double bxcy(bx * cy), cxby(cx * by), cxay(cx * ay), cyax(cy * ax), axby(ax * by), bxay(bx * ay);
    const double alift(ax * ax + ay * ay), blift(bx * bx + by * by), clift(cx * cx + cy * cy);
    const double det(alift * (bxcy - cxby) + blift * (cxay - cyax) + clift * (axby - bxay));
    // The largest lift is within a factor 2 of the largest squared coordinate; outside the window a
    // product could overflow or lose its relative accuracy to underflow (an infinite lift fails it).
    const double maxLift(maxOf(maxOf(alift, blift), clift));
    if (maxLift >= kInCircleFilterMinLift && maxLift <= kInCircleFilterMaxLift) {
      // First the bound of the largest lift alone (no permanent), which decides all but nearly
      // cocircular points; then the tighter bound of the permanent.
      const double quickBound(kInCircleQuickFactor * maxLift * maxLift + kInCircleUnderflowGuard);
      if (det > quickBound) return 1;
      if (det < -quickBound) return -1;
      const double permanent((std::fabs(bxcy) + std::fabs(cxby)) * alift + (std::fabs(cxay) + std::fabs(cyax)) * blift +
                             (std::fabs(axby) + std::fabs(bxay)) * clift);
      const double bound(kInCircleFilterFactor * permanent + kInCircleUnderflowGuard);
      if (det > bound) return 1;
      if (det < -bound) return -1;
    }
    return inCircleSlow(c0, c1, c2, p);
  }

  /// The exact stages of the orientation test (equal-coordinate shortcut, small integers, interval,
  /// GMP), valid for any finite points. The caller's rounding mode is restored on every path; a non-finite
  /// coordinate fails an assertion.
  Orientation2 getOrientationSlow(const Point2& p0, const Point2& p1, const Point2& p2);
  /// The exact stages of the in-circle test (small integers, interval, GMP), with the same guarantees.
  int inCircleSlow(const Point2& c0, const Point2& c1, const Point2& c2, const Point2& p);

  /// Intersection of the lines through (a0, a1) and (b0, b1), computed exactly in rationals and
  /// rounded to the nearest double in each coordinate (ties to even; beyond the largest double the
  /// coordinate becomes infinite). Returns true when the rounded point lies exactly on both closed
  /// segments. Parallel segments fail the assertion "denom=0 -> parallel segments", non-finite
  /// coordinates a finiteness assertion. Costs a few microseconds (always rational arithmetic).
  bool getIntersectionCoords(const Point2& a0, const Point2& a1, const Point2& b0, const Point2& b1, double& x, double& y);

  /// How many calls reached each later stage (the filter decided all others).
  struct StageCounts {
    uint64_t orientationInteger = 0;   ///< orientation calls decided exactly for small integer points
    uint64_t orientationInterval = 0;  ///< orientation calls that reached the interval stage
    uint64_t orientationExact = 0;     ///< orientation calls that reached GMP
    uint64_t inCircleInteger = 0;      ///< in-circle calls decided exactly for small integer points
    uint64_t inCircleInterval = 0;     ///< in-circle calls that reached the interval stage
    uint64_t inCircleExact = 0;        ///< in-circle calls that reached GMP
  };
  /// The counts since construction or the last reset; valid as long as this object.
  const StageCounts& getStageCounts() const { return stageCounts; }
  /// Sets all counts to 0.
  void resetStageCounts() { stageCounts = StageCounts(); }

  /// Relative error factor of the in-circle filter, deliberately above the textbook bound.
  static constexpr double kInCircleFilterFactor = 3.33e-15;
  /// The filter factor for 6 maxLift^2 in place of the permanent. Each of the six products
  /// satisfies |u v| <= (u^2 + v^2) / 2 <= maxLift, and is multiplied by a lift <= maxLift, so the
  /// exact permanent is at most 6 maxLift^2; the computed one exceeds that by at most about 10
  /// roundings, a factor 1 + 1.2e-15, covered with room by the factor 1 + 1e-12 taken here:
  /// 6 * 3.33e-15 * (1 + 1e-12) < 2.0e-14.
  static constexpr double kInCircleQuickFactor = 2.0e-14;
  /// Lifts (squared distances to p) within [1e-100, 1e100], i.e. coordinates relative to p of at
  /// most 1e50 with the largest at least 7e-51, keep every degree-4 term far from overflow
  /// (< 1e201) and bound the absolute error of any underflowed product by about 2^-1070 * 1e100.
  static constexpr double kInCircleFilterMinLift = 1e-100;
  static constexpr double kInCircleFilterMaxLift = 1e100;
  /// Covers the absolute error that gradual underflow can add (about 1e-222 within the window).
  static constexpr double kInCircleUnderflowGuard = 1e-220;

 private:
  static double maxOf(double a, double b) { return a > b ? a : b; }
  struct GmpState;
  void ensureGmp();
  /// The GMP stage of the orientation test.
  Orientation2 getOrientationExact(const Point2& p0, const Point2& p1, const Point2& p2);
  /// The GMP stage of the in-circle test.
  int inCircleExact(const Point2& c0, const Point2& c1, const Point2& c2, const Point2& p);
  /// Exactly whether (x, y) lies on the closed segment from a to b.
  bool isOnClosedSegment(const Point2& a, const Point2& b, double x, double y);

  double maxAbsCoordinate;
  double errBound;
  double negErrBound;
  GmpState* pGmp;  // the rationals, created at the first exact evaluation
  bool bGmpInitialised;
  StageCounts stageCounts;
};

}  // namespace KORA_ZARN2D
