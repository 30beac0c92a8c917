// Shared helpers of the triangulation tests: an independent exact validity check of a Zarn_2D
// (rational arithmetic from GMP, none of the library's predicates), point-set generators with
// exact degeneracies, one table of degenerate and extreme point sets that the insertion, removal,
// parallel and query tests all run, triangulation signatures for differential tests, and the
// library's own check with its report captured.
#pragma once

#include <gmpxx.h>

#include <algorithm>
#include <array>
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <random>
#include <iomanip>
#include <initializer_list>
#include <map>
#include <unordered_map>
#include <utility>

#include "Zarn_2D.h"
#include "test_support.h"

#if defined(__SANITIZE_ADDRESS__)
#define DT2TEST_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define DT2TEST_SANITIZED 1
#endif
#endif
#ifndef DT2TEST_SANITIZED
#define DT2TEST_SANITIZED 0
#endif

namespace dt2test {

using namespace KORA_ZARN2D;

/// What getter puts into an empty vector: the library's getters fill an output parameter.
template <class T, class Getter>
std::vector<T> gathered(Getter getter) {
  std::vector<T> v;
  getter(v);
  return v;
}

inline std::vector<Point2*> verticesOf(const Zarn_2D& dt) { return gathered<Point2*>([&](auto& v) { dt.getVertexPointers(v); }); }
inline std::vector<Triangle2*> trianglesOf(const Zarn_2D& dt) { return gathered<Triangle2*>([&](auto& v) { dt.getTrianglePointers(v); }); }

// ----- Exact predicates ---------------------------------------------------------------------
// Three stages, each exact in what it returns: small integer coordinates in 128-bit integers, a
// double evaluation with a deliberately loose error bound (orders of magnitude above the
// classical bounds), and rational arithmetic for everything else (huge, tiny, near-degenerate).

inline bool areSmallIntegers(std::initializer_list<const Point2*> l) {
  const auto small = [](double v) { return std::fabs(v) <= 67108864.0 && v == std::floor(v); };  // |v| <= 2^26
  return std::all_of(l.begin(), l.end(), [&](const Point2* p) { return small(p->x()) && small(p->y()); });
}

// Coordinates below the bounds the double stages use cannot overflow (which rounding toward zero
// would not even show as an infinity).
inline double maxAbs(std::initializer_list<const Point2*> l) {
  double m(0.0);
  for (const Point2* p : l) m = std::max({m, std::fabs(p->x()), std::fabs(p->y())});
  return m;
}

template <typename T>
int signOf(const T& v) {
  return (v > 0) - (v < 0);
}

// The determinants evaluated in T: exact for __int128 on small integers and for mpq_class.
template <typename T>
T orientationDeterminant(const Point2& a, const Point2& b, const Point2& c) {
  return (T(b.x()) - T(a.x())) * (T(c.y()) - T(a.y())) - (T(b.y()) - T(a.y())) * (T(c.x()) - T(a.x()));
}

template <typename T>
T inCircleDeterminant(const Point2& a, const Point2& b, const Point2& c, const Point2& d) {
  const T adx(T(a.x()) - T(d.x())), ady(T(a.y()) - T(d.y())), bdx(T(b.x()) - T(d.x())), bdy(T(b.y()) - T(d.y()));
  const T cdx(T(c.x()) - T(d.x())), cdy(T(c.y()) - T(d.y()));
  const T al(adx * adx + ady * ady), bl(bdx * bdx + bdy * bdy), cl(cdx * cdx + cdy * cdy);
  return al * (bdx * cdy - cdx * bdy) + bl * (cdx * ady - adx * cdy) + cl * (adx * bdy - bdx * ady);
}

/// +1 when c lies left of the directed line a -> b, -1 right, 0 collinear.
inline int exactOrientation(const Point2& a, const Point2& b, const Point2& c) {
  if (areSmallIntegers({&a, &b, &c})) return signOf(orientationDeterminant<__int128>(a, b, c));
  const double l((b.x() - a.x()) * (c.y() - a.y())), r((b.y() - a.y()) * (c.x() - a.x()));
  const double det(l - r), magnitude(std::fabs(l) + std::fabs(r));
  if (maxAbs({&a, &b, &c}) < 1e100 && magnitude > 1e-250 && std::fabs(det) > 1e-12 * magnitude) return signOf(det);
  return sgn(orientationDeterminant<mpq_class>(a, b, c));
}

/// For a, b, c counterclockwise: +1 when d lies strictly inside their circumcircle, 0 on it, -1 outside.
inline int exactInCircle(const Point2& a, const Point2& b, const Point2& c, const Point2& d) {
  if (areSmallIntegers({&a, &b, &c, &d})) return signOf(inCircleDeterminant<__int128>(a, b, c, d));
  const double adx(a.x() - d.x()), ady(a.y() - d.y()), bdx(b.x() - d.x()), bdy(b.y() - d.y());
  const double cdx(c.x() - d.x()), cdy(c.y() - d.y());
  const double al(adx * adx + ady * ady), bl(bdx * bdx + bdy * bdy), cl(cdx * cdx + cdy * cdy);
  const double det(al * (bdx * cdy - cdx * bdy) + bl * (cdx * ady - adx * cdy) + cl * (adx * bdy - bdx * ady));
  const double permanent(al * (std::fabs(bdx * cdy) + std::fabs(cdx * bdy)) + bl * (std::fabs(cdx * ady) + std::fabs(adx * cdy)) +
                         cl * (std::fabs(adx * bdy) + std::fabs(bdx * ady)));
  // Relative error bounds fail once a product underflows: a difference below 1e-70 could make one.
  const std::initializer_list<double> diffs{adx, ady, bdx, bdy, cdx, cdy};
  const bool bNoUnderflow(std::all_of(diffs.begin(), diffs.end(), [](double v) { return v == 0 || std::fabs(v) >= 1e-70; }));
  if (maxAbs({&a, &b, &c, &d}) < 1e70 && bNoUnderflow && std::fabs(det) > 1e-10 * permanent) return signOf(det);
  return sgn(inCircleDeterminant<mpq_class>(a, b, c, d));
}

/// The winding number of the closed polygon vRing (vertices in order, the last joined to the
/// first) around the centroid of pT, exactly (rational centroid and orientations). Tells whether
/// a triangle lies inside a polygon made of triangulation edges, whose boundary never passes
/// through a triangle's interior.
inline int windingNumberAtCentroid(const std::vector<Point2>& vRing, const Triangle2* pT) {
  const mpq_class cx((mpq_class(pT->getCorner(0)->x()) + pT->getCorner(1)->x() + pT->getCorner(2)->x()) / 3);
  const mpq_class cy((mpq_class(pT->getCorner(0)->y()) + pT->getCorner(1)->y() + pT->getCorner(2)->y()) / 3);
  int winding(0);
  for (size_t i = 0; i < vRing.size(); ++i) {
    const Point2& a(vRing[i]);
    const Point2& b(vRing[(i + 1) % vRing.size()]);
    const int side(sgn((mpq_class(b.x()) - a.x()) * (cy - a.y()) - (mpq_class(b.y()) - a.y()) * (cx - a.x())));
    if (a.y() <= cy && b.y() > cy && side > 0) ++winding;
    if (a.y() > cy && b.y() <= cy && side < 0) --winding;
  }
  return winding;
}

// ----- Point sets ---------------------------------------------------------------------------

inline bool lessXY(const Point2& a, const Point2& b) { return a.x() < b.x() || (a.x() == b.x() && a.y() < b.y()); }
inline bool sameXY(const Point2& a, const Point2& b) { return a.x() == b.x() && a.y() == b.y(); }

/// The distinct positions of vPoints (exact equality), sorted by x then y; non-finite points dropped.
inline std::vector<Point2> distinctPositions(const std::vector<Point2>& vPoints) {
  std::vector<Point2> v;
  for (const Point2& p : vPoints) {
    if (std::isfinite(p.x()) && std::isfinite(p.y())) v.emplace_back(p.x(), p.y());
  }
  std::sort(v.begin(), v.end(), lessXY);
  v.erase(std::unique(v.begin(), v.end(), sameXY), v.end());
  return v;
}

/// Corners of the convex hull (no points in the interior of hull edges), counterclockwise,
/// starting at the lexicographically smallest point (Andrew's monotone chain). Fewer than three
/// corners when the points are collinear.
inline std::vector<Point2> hullCorners(const std::vector<Point2>& vPoints) {
  std::vector<Point2> v(distinctPositions(vPoints));
  if (v.size() < 3) return v;
  std::vector<Point2> vHull;
  const auto addChain = [&](size_t floor, const Point2& p) {
    while (vHull.size() >= floor + 2 && exactOrientation(vHull[vHull.size() - 2], vHull.back(), p) <= 0) vHull.pop_back();
    vHull.push_back(p);
  };
  for (const Point2& p : v) addChain(0, p);
  const size_t lowerSize(vHull.size() - 1);
  for (size_t i = v.size() - 1; i-- > 0;) addChain(lowerSize, v[i]);
  vHull.pop_back();
  return vHull;
}

/// True when every point lies on one line.
inline bool allCollinear(const std::vector<Point2>& vPoints) { return hullCorners(vPoints).size() < 3; }

/// Rotates a cyclic point sequence so that it starts at its lexicographically smallest point.
inline std::vector<Point2> canonicalCycle(std::vector<Point2> v) {
  if (!v.empty()) std::rotate(v.begin(), std::min_element(v.begin(), v.end(), lessXY), v.end());
  return v;
}

inline std::vector<Point2> positionsOf(const std::vector<Point2*>& vHandles) {
  std::vector<Point2> v;
  for (const Point2* p : vHandles) v.emplace_back(p->x(), p->y());
  return v;
}

/// x moved by k units in the last place (k may be negative).
inline double ulpsAway(double x, int k) {
  for (; k > 0; --k) x = std::nextafter(x, HUGE_VAL);
  for (; k < 0; ++k) x = std::nextafter(x, -HUGE_VAL);
  return x;
}

/// Uniform random points in [lo, hi)^2.
inline std::vector<Point2> randomPoints(size_t n, unsigned seed, double lo = 0.0, double hi = 1.0) {
  std::mt19937_64 rng(seed);
  std::uniform_real_distribution<double> dist(lo, hi);
  std::vector<Point2> v;
  v.reserve(n);
  for (size_t i = 0; i < n; ++i) {
    const double x(dist(rng));
    v.emplace_back(x, dist(rng));
  }
  return v;
}

/// The points (x0 + i * step, y0 + j * step) of an nx by ny grid, row by row.
inline std::vector<Point2> gridPoints(int nx, int ny, double step = 1.0, double x0 = 0.0, double y0 = 0.0) {
  std::vector<Point2> v;
  v.reserve(static_cast<size_t>(nx) * static_cast<size_t>(ny));
  for (int j = 0; j < ny; ++j) {
    for (int i = 0; i < nx; ++i) v.emplace_back(x0 + i * step, y0 + j * step);
  }
  return v;
}

/// Every integer point on the circle of radius r around (cx, cy): exactly cocircular.
inline std::vector<Point2> integerCirclePoints(long r, double cx = 0.0, double cy = 0.0) {
  std::vector<Point2> v;
  for (long x = -r; x <= r; ++x) {
    const long yy(r * r - x * x);
    const long y(std::lround(std::sqrt(static_cast<double>(yy))));
    if (y * y != yy) continue;
    v.emplace_back(cx + x, cy + y);
    if (y != 0) v.emplace_back(cx + x, cy - y);
  }
  return v;
}

inline std::vector<Point2> concat(std::vector<Point2> a, const std::vector<Point2>& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

inline std::vector<Point2> shuffled(std::vector<Point2> v, unsigned seed) {
  std::mt19937 rng(seed);
  std::shuffle(v.begin(), v.end(), rng);
  return v;
}

inline std::vector<Point2> scaled(const std::vector<Point2>& v, double fx, double fy) {
  std::vector<Point2> vOut;
  for (const Point2& p : v) vOut.emplace_back(p.x() * fx, p.y() * fy);
  return vOut;
}

// ----- A table of degenerate and extreme point sets ----------------------------------------

struct PointSet {
  const char* name;
  std::vector<Point2> vPoints;
  bool bGeneralPosition;  // the Delaunay triangulation is unique: every way gives the same triangles
  bool bCheckEach;        // small enough to check after every single insertion
};

/// Sets that once broke an insertion or removal path, or that exercise one: ties (grids, cocircular rings),
/// points on hull edges and their extensions, nearly collinear runs, repeats, tight clusters, huge,
/// tiny and mixed scales, thin shapes (whose hull the parallel insertion's auxiliary box must leave
/// intact), seams of the parallel partition, and orders that once made long walks one by one. Where
/// the name says "first", removing the first point first is the case.
inline std::vector<PointSet> degenerateAndExtremePointSets() {
  const auto rings = [](std::vector<long> vRadii) {
    std::vector<Point2> v{Point2(0, 0)};
    for (long r : vRadii) v = concat(v, integerCirclePoints(r));
    return shuffled(v, 9);
  };
  std::vector<Point2> vLattice, vOnEdges, vExtensions{Point2(0, 0), Point2(1, 0), Point2(0, 1)}, vClusters, vLines, vSeams;
  std::mt19937 rng(71);
  for (int i = 0; i < 300; ++i) vLattice.emplace_back(rng() % 13, rng() % 13);
  for (int i = 1; i < 64; ++i) vOnEdges = concat(vOnEdges, {Point2(i, 0), Point2(0, i), Point2(i, 64 - i), Point2(i, i)});
  for (int i = 2; i <= 30; ++i) vExtensions = concat(vExtensions, {Point2(i, 0), Point2(0, -i)});
  const std::vector<Point2> vCentres{Point2(1, 1), Point2(1000, 1), Point2(1, 1000), Point2(500.5, 500.5)};
  for (unsigned c = 0; c < vCentres.size(); ++c) {  // tight clusters with points differing in the last bits
    for (const Point2& d : randomPoints(150, 40 + c, -1e-9, 1e-9)) vClusters.emplace_back(vCentres[c].x() + d.x(), vCentres[c].y() + d.y());
    double x(vCentres[c].x());
    for (int k = 0; k < 10; ++k) vClusters.emplace_back(x = std::nextafter(x, 2e6), vCentres[c].y() + (k % 3) * DBL_EPSILON);
  }
  for (int i = 0; i < 1500; ++i) {  // the midlines of the box (where the first key ranges meet), a diagonal, a steep line
    const double t(i / 1500.0);
    vLines = concat(vLines, {Point2(0.5, t), Point2(t, 0.5), Point2(t, t), Point2(0.25 + t / 8, t)});
  }
  std::vector<Point2> vUniform(randomPoints(10000, 1401)), vHugeLine;  // the last fifth of vUniform grows the box
  for (size_t i = 8000; i < vUniform.size(); ++i) vUniform[i] = Point2(3.0 * vUniform[i].x(), 3.0 * vUniform[i].y());
  for (int i = 0; i < 200; ++i) vHugeLine.emplace_back(i * 0.5, -i * 0x1p990);  // exactly collinear, repeats at -0.0
  vHugeLine.insert(vHugeLine.end(), {Point2(-0.0, 0.0), vHugeLine[17], Point2(1e6, 1e300), vHugeLine[99], Point2(0.0, -0.0)});
  vSeams = randomPoints(8000, 1403);
  for (size_t i = 0; i < vSeams.size(); i += 4) vSeams[i] = (i % 8 == 0) ? Point2(0.5, vSeams[i].y()) : Point2(vSeams[i].x(), 0.5);
  std::vector<Point2> vClustered;  // Gaussian clusters of very different density
  std::mt19937_64 rng64(1402);
  std::normal_distribution<double> gauss(0.0, 1.0);
  for (int i = 0; i < 8000; ++i) {
    const double scale(i % 3 == 0 ? 1e-3 : (i % 3 == 1 ? 0.05 : 1.0));
    const double x(i % 7 + scale * gauss(rng64));
    vClustered.emplace_back(x, i % 5 + scale * gauss(rng64));
  }
  const std::vector<Point2> vBase(randomPoints(2000, 1404, -1.0, 1.0));
  std::vector<Point2> vRepeats(shuffled(concat(concat(vBase, vBase), concat(vBase, vBase)), 1405));  // custom index: input index
  for (size_t i = 0; i < vRepeats.size(); ++i) vRepeats[i].setCustomIndex(static_cast<int>(i));
  std::vector<Point2> vNearlyCollinear{Point2(5, 5), Point2(5, -5)}, vThroughTriangle{Point2(-1, -1), Point2(101, -1), Point2(50, 40)}, vThreeLines;
  for (int i = 0; i < 60; ++i) vNearlyCollinear.emplace_back(1.0 + i * 0.3, (1.0 + i * 0.3) * 0.1);  // far below the resolution
  for (int i = 0; i <= 100; ++i) vThroughTriangle.emplace_back((i * 37) % 101, 0.0);
  for (int i = 0; i < 120; ++i) vThreeLines.emplace_back(i / 40, i % 40);
  std::vector<Point2> vFar, aThin[5];
  for (double f : {1e6, 1e12, 1e18}) vFar.insert(vFar.end(), {Point2(f, f), Point2(-f, 0.5 * f)});
  for (int i = 0; i < 1500; ++i) {
    aThin[0].insert(aThin[0].end(), {Point2(i, 0), Point2(i + 1500, 0)});
    aThin[1].insert(aThin[1].end(), {Point2(i, 0), Point2(i, 1)});
    aThin[2].emplace_back(i, static_cast<double>(i) * i);
    aThin[3].emplace_back(i, 1e-9 * std::sin(i));
    aThin[4].emplace_back(1e15 + i, 1e15 - i + (i % 2));
  }
  aThin[0].emplace_back(1000, 1e-3);
  std::vector<Point2> vNearlyCocircular{Point2(0.0, 0.0), Point2(1e-16, 0.0)}, vFlatRoof{Point2(5, 1)};
  for (int i = 0; i < 120; ++i) vNearlyCocircular.emplace_back(std::cos(i * 2 * M_PI / 120), std::sin(i * 2 * M_PI / 120));
  for (int x = 0; x <= 10; ++x) vFlatRoof.insert(vFlatRoof.end(), {Point2(x, 0), Point2(x, -3 - (x % 3))});
  std::vector<Point2> vRepeatedLine;  // x + 2y = 10
  for (int i = 0; i < 2000; ++i) vRepeatedLine.emplace_back(10.0 - 2.0 * (i % 1700), i % 1700);
  std::vector<Point2> vLine, vLongLine{Point2(0.5, 100.0)}, vChain;  // y = 3x - 7: a point off it, then sorted
  for (int x = -60; x <= 60; ++x) {
    vLongLine.emplace_back(x, 3.0 * x - 7.0);
    if (std::abs(x) <= 40) vLine.emplace_back(x, 3.0 * x - 7.0);
    if (std::abs(x) <= 20) vChain.emplace_back(x, x * x / 8.0);
  }
  return {
      {"random", randomPoints(250, 61, -3.0, 5.0), true, true},
      {"uniform", vUniform, true, false},
      {"small random", randomPoints(5, 104, -1.0, 1.0), true, true},
      {"clustered", vClustered, true, false},
      {"repeats", vRepeats, true, false},
      {"lattice with repeats", vLattice, false, true},
      {"one point 2000 times", std::vector<Point2>(2000, Point2(3, 4)), false, false},
      {"a line with repeats, then a point off it", concat(vRepeatedLine, {Point2(3.0, 7.0), vRepeatedLine[5]}), false, false},
      {"grid 9x9 by rows", gridPoints(9, 9), false, true},
      {"grid 100x60", gridPoints(100, 60, 0.5, -7.25, 3.0), false, false},
      {"cocircular r=65", shuffled(integerCirclePoints(65, 1000.0, -3.0), 65), false, true},
      {"cocircular r=5525", shuffled(integerCirclePoints(5525, 1000.0, -3.0), 5525), false, false},
      {"cocircular with centre and inner point", concat(integerCirclePoints(25), {Point2(0, 0), Point2(12, 8)}), false, true},
      {"concentric rings", rings({5, 25, 65, 325}), false, true},
      {"concentric rings in bulk", rings({1105, 5525}), false, false},
      {"cocircular and random", concat(integerCirclePoints(5525), randomPoints(5000, 1405, -6000.0, 6000.0)), false, false},
      {"cocircular ring, centre first", concat({Point2(0, 0)}, integerCirclePoints(325)), false, true},
      {"nearly cocircular ring, centre first", vNearlyCocircular, false, true},
      {"flat roof, apex first", vFlatRoof, false, true},
      {"corner with a concave link", {Point2(0, 0), Point2(10, 0), Point2(10, 10), Point2(0, 10), Point2(1, 5), Point2(5, 1), Point2(2, 2),
                                      Point2(3, 1.5), Point2(1.5, 3), Point2(6, 6)}, false, true},
      {"centre of a square first", {Point2(1, 1), Point2(0, 0), Point2(2, 0), Point2(2, 2), Point2(0, 2)}, false, true},
      {"off-centre point of a pentagon first", {Point2(2, 2), Point2(0, 0), Point2(4, 0), Point2(5, 3), Point2(2, 5), Point2(-1, 3)}, false, true},
      {"points on edges", concat({Point2(0, 0), Point2(64, 0), Point2(0, 64), Point2(64, 64)}, shuffled(vOnEdges, 21)), false, true},
      {"line through a triangle", vThroughTriangle, false, true},
      {"chain and far points", concat(vChain, {Point2(0, -1e6), Point2(40, 1e6 + 100)}), false, true},
      {"hull edge extensions", vExtensions, false, true},
      {"nearly collinear", shuffled(vNearlyCollinear, 31), false, true},
      {"clusters", shuffled(vClusters, 41), false, false},
      {"few lines", vLines, false, false},
      {"along seams", vSeams, false, false},
      {"huge", shuffled(concat(randomPoints(200, 51, -1e150, 1e150), scaled(integerCirclePoints(65), 1e148, 1e148)), 52), false, false},
      {"tiny", shuffled(concat(randomPoints(200, 53, -1e-300, 1e-300), scaled(gridPoints(6, 6), 1e-301, 1e-301)), 54), false, false},
      {"near the largest double", scaled(randomPoints(300, 7, -1.0, 1.0), DBL_MAX, DBL_MAX), false, false},
      {"largest and tiny", concat(scaled(randomPoints(300, 7, -1.0, 1.0), DBL_MAX, DBL_MAX), scaled(randomPoints(300, 8, -1.0, 1.0), 1e-300, 1.0)),
       false, false},
      {"1e-100 and 1e100", concat(randomPoints(500, 163, -1e-100, 1e-100), randomPoints(500, 164, -1e100, 1e100)), false, false},
      {"mixed scales (the box grows)", concat(concat(randomPoints(80, 55, -1e-12, 1e-12), randomPoints(80, 56, -1.0, 1.0)), vFar), false, true},
      {"line then off point", concat(shuffled(concat(vLine, std::vector<Point2>(vLine.begin(), vLine.begin() + 10)), 5), {Point2(0.5, 100.0)}),
       false, false},
      {"off point then sorted line", vLongLine, false, true},
      {"huge line, then a point off it", vHugeLine, false, true},
      {"three lines one after the other", vThreeLines, false, true},
      {"one point off a long line", aThin[0], false, false},
      {"two parallel lines", aThin[1], false, false},
      {"convex chain", aThin[2], false, false},
      {"almost straight line", aThin[3], false, false},
      {"far from the origin", aThin[4], false, false},
  };
}

// ----- Signatures ---------------------------------------------------------------------------

using TriangleKey = std::array<std::pair<double, double>, 3>;

/// The triangles as sorted triples of corner coordinates, sorted: equal for two lists (or
/// triangulations) with the same triangles, whatever their vertex handles.
inline std::vector<TriangleKey> triangleSignature(const std::vector<Triangle2*>& vT) {
  std::vector<TriangleKey> v;
  v.reserve(vT.size());
  for (const Triangle2* pT : vT) {
    TriangleKey k;
    for (int i = 0; i < 3; ++i) k[i] = std::make_pair(pT->getCorner(i)->x(), pT->getCorner(i)->y());
    std::sort(k.begin(), k.end());
    v.push_back(k);
  }
  std::sort(v.begin(), v.end());
  return v;
}

inline std::vector<TriangleKey> triangleSignature(const Zarn_2D& dt) { return triangleSignature(trianglesOf(dt)); }

// ----- The independent validity check ------------------------------------------------------

namespace detail {

inline std::string str(const Point2& p) {
  std::ostringstream oss;
  oss << std::setprecision(17) << "(" << p.x() << ", " << p.y() << ")";
  return oss.str();
}

inline std::string str(const Triangle2* pT) {
  return "[" + str(*pT->getCorner(0)) + " " + str(*pT->getCorner(1)) + " " + str(*pT->getCorner(2)) + "]";
}

// The defects found, the first ten in words.
class Defects {
 public:
  void add(const std::string& s) { text += (num++ < 10) ? "\n  " + s : ""; }
  bool any() const { return num > 0; }
  ::testing::AssertionResult result() const {
    return num == 0 ? ::testing::AssertionSuccess() : ::testing::AssertionFailure() << num << " defect(s):" << text;
  }

 private:
  size_t num = 0;
  std::string text;
};

inline bool isLive(const std::vector<const Triangle2*>& vSortedLive, const Triangle2* pT) {
  return std::binary_search(vSortedLive.begin(), vSortedLive.end(), pT);
}

// Vertices: the triangulation holds exactly the distinct expected positions, once each.
inline void checkVertexSet(const Zarn_2D& dt, const std::vector<Point2*>& vVertices, const std::vector<Point2>& vExpected, Defects& d) {
  if (dt.numberOfPoints() != vVertices.size()) {
    d.add("numberOfPoints()=" + std::to_string(dt.numberOfPoints()) + " but getVertexPointers gives " + std::to_string(vVertices.size()));
  }
  std::vector<Point2> vHave(positionsOf(vVertices));
  std::sort(vHave.begin(), vHave.end(), lessXY);
  if (std::adjacent_find(vHave.begin(), vHave.end(), sameXY) != vHave.end()) d.add("two vertices share a position");
  const std::vector<Point2> vWant(distinctPositions(vExpected));
  if (vHave.size() != vWant.size() || !std::equal(vHave.begin(), vHave.end(), vWant.begin(), sameXY)) {
    d.add("vertex set differs from the input: " + std::to_string(vHave.size()) + " vertices, " + std::to_string(vWant.size()) + " positions");
  }
}

// Orientation of every triangle and symmetric neighbour links that match the shared edge.
inline void checkTrianglesAndLinks(const std::vector<Triangle2*>& vT, const std::vector<const Triangle2*>& vLive, Defects& d) {
  for (const Triangle2* pT : vT) {
    if (pT->getCorner(0) == nullptr || pT->getCorner(1) == nullptr || pT->getCorner(2) == nullptr) {
      d.add("triangle with a null corner");
      continue;
    }
    if (exactOrientation(*pT->getCorner(0), *pT->getCorner(1), *pT->getCorner(2)) <= 0) {
      d.add("not strictly counterclockwise: " + str(pT));
    }
    for (int i = 0; i < 3; ++i) {
      const Triangle2* pN(pT->getOppositeTriangle(i));
      if (pN == nullptr) continue;
      if (!isLive(vLive, pN)) {
        d.add("neighbour is not a live triangle: " + str(pT));
        continue;
      }
      const int j(pN->getOppositeTriangle(0) == pT ? 0 : (pN->getOppositeTriangle(1) == pT ? 1 : (pN->getOppositeTriangle(2) == pT ? 2 : -1)));
      if (j < 0 || pN->getCorner(incIndexBy1(j)) != pT->getCorner(incIndexBy2(i)) ||
          pN->getCorner(incIndexBy2(j)) != pT->getCorner(incIndexBy1(i))) {
        d.add("neighbour link not symmetric or edge mismatch: " + str(pT) + " / " + str(pN));
      }
    }
  }
}

/// True when the edge opposite corner i of pT is not locally Delaunay: the apex of the triangle
/// across it lies strictly inside pT's circumcircle (exact). False for a hull edge.
inline bool isNotLocallyDelaunay(const Triangle2* pT, int i) {
  const Triangle2* pN(pT->getOppositeTriangle(i));
  if (pN == nullptr) return false;
  const int j(pN->getOppositeTriangle(0) == pT ? 0 : (pN->getOppositeTriangle(1) == pT ? 1 : 2));  // the links are symmetric
  return exactInCircle(*pT->getCorner(0), *pT->getCorner(1), *pT->getCorner(2), *pN->getCorner(j)) > 0;
}

// Every interior edge is locally Delaunay (exact in-circle, cocircular allowed).
inline void checkLocallyDelaunay(const std::vector<Triangle2*>& vT, Defects& d) {
  for (const Triangle2* pT : vT) {
    for (int i = 0; i < 3; ++i) {
      if (pT->getOppositeTriangle(i) > pT && isNotLocallyDelaunay(pT, i)) d.add("edge not locally Delaunay: " + str(pT) + " / " + str(pT->getOppositeTriangle(i)));
    }
  }
}

// Each vertex: the triangles use it, and its incident triangle is live and holds it. That the
// triangles around a vertex form one fan follows from the other checks: counterclockwise triangles
// with matching links whose one border cycle runs once around the hull cover the hull exactly once.
inline void checkVertexFans(const std::vector<Triangle2*>& vT, const std::vector<Point2*>& vVertices,
                            const std::vector<const Triangle2*>& vLive, Defects& d) {
  std::unordered_map<const Point2*, size_t> mUse;
  for (const Triangle2* pT : vT) {
    for (int i = 0; i < 3; ++i) ++mUse[pT->getCorner(i)];
  }
  if (mUse.size() != vVertices.size()) d.add("the triangles use " + std::to_string(mUse.size()) + " vertices, there are " + std::to_string(vVertices.size()));
  for (const Point2* pV : vVertices) {
    const Triangle2* pT(pV->getIncidentTriangle());
    if (pT == nullptr || !isLive(vLive, pT) || !pT->hasVertex(pV)) d.add("vertex without a valid incident triangle: " + str(*pV));
  }
}

// The border: one closed counterclockwise cycle whose corners are exactly the corners of the
// independently computed convex hull of the input (vertices on hull edges allowed), and Euler's
// relation for a disc.
inline void checkBorderAndEuler(const std::vector<Triangle2*>& vT, size_t numVertices, const std::vector<Point2>& vExpected, Defects& d) {
  std::unordered_map<const Point2*, const Point2*> mNext;
  size_t numBorder(0);
  for (const Triangle2* pT : vT) {
    for (int i = 0; i < 3; ++i) {
      if (pT->getOppositeTriangle(i) != nullptr) continue;
      ++numBorder;
      if (!mNext.emplace(pT->getCorner(incIndexBy1(i)), pT->getCorner(incIndexBy2(i))).second) d.add("two border edges leave one vertex");
    }
  }
  const long numF(static_cast<long>(vT.size())), numE((3 * numF + static_cast<long>(numBorder)) / 2);
  if (static_cast<long>(numVertices) - numE + numF != 1) {
    d.add("Euler's relation fails: V=" + std::to_string(numVertices) + " E=" + std::to_string(numE) + " F=" + std::to_string(numF));
  }
  if (mNext.empty()) {
    d.add("no border edge");
    return;
  }
  std::vector<Point2> vCycle;
  const Point2* pStart(mNext.begin()->first);
  const Point2* p(pStart);
  do {
    vCycle.emplace_back(p->x(), p->y());
    const auto it(mNext.find(p));
    p = (it == mNext.end()) ? nullptr : it->second;
  } while (p != nullptr && p != pStart && vCycle.size() <= numBorder);
  if (p != pStart || vCycle.size() != numBorder) {
    d.add("the border is not one closed cycle");
    return;
  }
  std::vector<Point2> vCorners;
  const size_t n(vCycle.size());
  for (size_t i = 0; i < n; ++i) {
    const int ori(exactOrientation(vCycle[(i + n - 1) % n], vCycle[i], vCycle[(i + 1) % n]));
    if (ori < 0) d.add("the border turns clockwise at " + str(vCycle[i]));
    if (ori > 0) vCorners.push_back(vCycle[i]);
  }
  const std::vector<Point2> vWant(hullCorners(vExpected));
  vCorners = canonicalCycle(vCorners);
  if (vCorners.size() != vWant.size() || !std::equal(vCorners.begin(), vCorners.end(), vWant.begin(), sameXY)) {
    d.add("border corners (" + std::to_string(vCorners.size()) + ") differ from the convex hull of the input (" +
          std::to_string(vWant.size()) + ")");
  }
}

// Vertex set, strictly counterclockwise triangles, symmetric links, valid incident triangles, Euler's
// relation and one convex border cycle equal to the hull of vExpected (together they leave no room
// for a second component: each would bring its own border cycle). False when
// the triangles are not worth further checks (collinear input, inconsistent links).
inline bool checkTriangulationOf(const Zarn_2D& dt, const std::vector<Point2>& vExpected, std::vector<Triangle2*>& vT, Defects& d) {
  std::vector<Point2*> vVertices(verticesOf(dt));
  checkVertexSet(dt, vVertices, vExpected, d);
  dt.getTrianglePointers(vT);
  if (dt.numberOfTriangles() != vT.size()) {
    d.add("numberOfTriangles()=" + std::to_string(dt.numberOfTriangles()) + " but getTrianglePointers gives " + std::to_string(vT.size()));
  }
  if (allCollinear(vExpected)) {
    if (dt.is2D()) d.add("is2D() is true for collinear input");
    if (!vT.empty()) d.add("triangles exist for collinear input");
    return false;
  }
  if (!dt.is2D()) d.add("is2D() is false for non-collinear input");
  std::vector<const Triangle2*> vLive(vT.begin(), vT.end());
  std::sort(vLive.begin(), vLive.end());
  if (std::adjacent_find(vLive.begin(), vLive.end()) != vLive.end()) d.add("a triangle is listed twice");
  checkTrianglesAndLinks(vT, vLive, d);
  if (d.any()) return false;  // the walks below rely on consistent links
  checkVertexFans(vT, vVertices, vLive, d);
  checkBorderAndEuler(vT, vVertices.size(), vExpected, d);
  return true;
}
}  // namespace detail

/// Checks, with exact arithmetic and without the library's predicates, that dt is the Delaunay
/// triangulation of the distinct finite positions of vExpected: vertex set, strictly
/// counterclockwise triangles, symmetric neighbour links matching the edges, one fan per
/// vertex, Euler's relation, a convex border equal to the hull of the input, and
/// every edge locally Delaunay. For collinear input: no triangles and is2D() false.
inline ::testing::AssertionResult isDelaunayTriangulationOf(const Zarn_2D& dt, const std::vector<Point2>& vExpected) {
  detail::Defects d;
  std::vector<Triangle2*> vT;
  if (detail::checkTriangulationOf(dt, vExpected, vT, d)) detail::checkLocallyDelaunay(vT, d);
  return d.result();
}

/// The same checks without the Delaunay property, against dt's own vertices: a valid
/// triangulation of the convex hull of its vertices, whatever the shape of its triangles.
inline ::testing::AssertionResult isValidTriangulation(const Zarn_2D& dt) {
  std::vector<Point2*> vVertices(verticesOf(dt));
  detail::Defects d;
  std::vector<Triangle2*> vT;
  detail::checkTriangulationOf(dt, positionsOf(vVertices), vT, d);
  return d.result();
}

/// The library's own check (with the empty-circle test unless bEmptyCircle is false), its report
/// captured; the report is shown on failure. Must not be called while standard output is being
/// captured.
inline ::testing::AssertionResult libraryCheckValidity(Zarn_2D& dt, bool bEmptyCircle = true) {
  ::testing::internal::CaptureStdout();
  const bool bValid(dt.checkValidity(bEmptyCircle, "test"));
  const std::string report(::testing::internal::GetCapturedStdout());
  if (bValid) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << "checkValidity(" << bEmptyCircle << ") failed:\n" << report;
}

/// A receiver of messages that expects progress reports of the step named step only and keeps the
/// progress of each.
struct ProgressRecorder : MsgBase {
  explicit ProgressRecorder(const std::string& step) : step(step) {}
  void update(MsgType msgType, const std::string& text, double progress) override {
    EXPECT_TRUE(msgType == MSG_PROGRESS && text == step) << msgType << " " << text;
    vProgress.push_back(progress);
  }
  std::string step;
  std::vector<double> vProgress;
};

// ----- Ways of inserting a point set -------------------------------------------------------------

enum class Way { ONE_BY_ONE, ONE_BY_ONE_SHUFFLED, BULK, FLAT_ARRAY, SINGLE_THEN_BATCHES, BULK_THEN_SINGLE };
const char* const kWayNames[] = {"one by one", "one by one, shuffled", "bulk", "flat array", "single, then two batches",
                                 "bulk, then single"};

// Inserts vPoints into dt the given way (bulk calls with numCPU threads) and returns the handle of each point;
// with bCheckEach checks after every single insertion. The input is cut into [0, a) in bulk, [a, b) one by one,
// then [b, c) and [c, n) in bulk (after a bulk, the singles outgrow its records: they get re-sorted).
inline std::vector<Point2*> insertTheWay(Zarn_2D& dt, const std::vector<Point2>& vPoints, Way way, bool bCheckEach, int numCPU) {
  const size_t n(vPoints.size());
  const auto part = [&](size_t begin, size_t end) { return std::vector<Point2>(vPoints.begin() + begin, vPoints.begin() + end); };
  dt.setNumCPU(numCPU);
  std::vector<Point2*> vHandles, vBatch;
  if (way == Way::FLAT_ARRAY) {
    std::vector<double> vCoords;
    for (const Point2& p : vPoints) vCoords.insert(vCoords.end(), {p.x(), p.y()});
    Point2* const pSentinel(reinterpret_cast<Point2*>(&vCoords));
    vHandles.assign(n + 1, pSentinel);  // one past the end must stay untouched
    dt.insert(static_cast<int>(n), vCoords.data(), vHandles.data());
    EXPECT_EQ(vHandles.back(), pSentinel);
    vHandles.pop_back();
    return vHandles;
  }
  const size_t a(way == Way::BULK ? n : (way == Way::BULK_THEN_SINGLE ? n * 3 / 5 : 0));
  const size_t b(way == Way::SINGLE_THEN_BATCHES ? n / 10 : n), c((n + b) / 2);
  dt.insert(part(0, a), vHandles);
  for (size_t i = a; i < b; ++i) {
    vHandles.push_back(dt.insert(vPoints[i]));
    EXPECT_TRUE(!bCheckEach || isDelaunayTriangulationOf(dt, part(0, i + 1))) << vPoints[i];
  }
  for (const std::pair<size_t, size_t>& range : {std::make_pair(b, c), std::make_pair(c, n)}) {
    dt.insert(part(range.first, range.second), vBatch);
    vHandles.insert(vHandles.end(), vBatch.begin(), vBatch.end());
  }
  return vHandles;
}

/// Inserts the set into the empty dt the given way and checks the result exactly against the input, the
/// library's own check, and the handles: each a vertex at its input position, repeats sharing the handle of the
/// first occurrence (known by its custom index where the set gives them), and inserting everything again returns
/// the same handles and changes nothing. Returns the triangles.
inline std::vector<TriangleKey> expectInsertedTheWay(Zarn_2D& dt, const PointSet& set, Way way, int numCPU) {
  const std::vector<Point2> vPoints(way == Way::ONE_BY_ONE_SHUFFLED ? shuffled(set.vPoints, 3) : set.vPoints);
  const std::vector<Point2*> vHandles(insertTheWay(dt, vPoints, way, set.bCheckEach && way == Way::ONE_BY_ONE, numCPU));
  const ::testing::AssertionResult delaunay(isDelaunayTriangulationOf(dt, vPoints));
  EXPECT_TRUE(delaunay);
  EXPECT_TRUE(libraryCheckValidity(dt));
  if (!delaunay || vHandles.size() != vPoints.size()) return {};
  std::vector<Point2*> vVertices(verticesOf(dt));
  std::sort(vVertices.begin(), vVertices.end());
  std::map<std::pair<double, double>, size_t> mFirst;
  for (size_t i = 0; i < vPoints.size(); ++i) {
    const size_t first(mFirst.emplace(std::make_pair(vPoints[i].x() + 0.0, vPoints[i].y() + 0.0), i).first->second);  // + 0.0 folds -0.0
    const bool bCustomIndex(way != Way::FLAT_ARRAY && vPoints[i].getCustomIndex() >= 0);
    if (!std::binary_search(vVertices.begin(), vVertices.end(), vHandles[i]) || !sameXY(*vHandles[i], vPoints[i]) ||
        vHandles[i] != vHandles[first] || (bCustomIndex && vHandles[i]->getCustomIndex() != vPoints[first].getCustomIndex())) {
      ADD_FAILURE() << "wrong handle of point " << i << " " << vPoints[i];
      return {};
    }
  }
  const std::vector<TriangleKey> signature(triangleSignature(dt));
  std::vector<Point2*> vAgain;
  dt.insert(vPoints, vAgain);
  EXPECT_TRUE(vAgain == vHandles);
  for (size_t i = 0; i < vPoints.size(); i += 7) EXPECT_EQ(dt.insert(vPoints[i]), vHandles[i]);
  EXPECT_TRUE(triangleSignature(dt) == signature);
  return signature;
}

}  // namespace dt2test

/// Both checks: the independent exact one against the expected input, and the library's own.
#define EXPECT_DELAUNAY_OF(dt, points)                                  \
  do {                                                                  \
    EXPECT_TRUE(::dt2test::isDelaunayTriangulationOf((dt), (points))); \
    EXPECT_TRUE(::dt2test::libraryCheckValidity(dt));                   \
  } while (0)
