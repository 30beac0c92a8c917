// Reproducible test data: random numbers, points, polygons and segments, sampled ellipses and sine chains.
//
// The randomness comes from one 15-bit linear congruential generator with the classic srand/rand
// recurrence (next = next * 1103515245 + 12345, result = (next / 65536) % 32768). It is our own
// rather than the C library's so that a seed yields the same data on every platform, and its
// 15-bit range is what the scale 1/32768 below relies on.
#include <cmath>
#include <cstdint>
#include <ctime>
#include <vector>

#include "freeFunctions.h"
#include "tools.h"

namespace KORA_ZARN2D {

namespace {
constexpr double kRandomScale = 3.0517578125e-5;  // 1/32768: one step of the 15-bit generator
constexpr double kFullAngle = 6.283185307179586;
constexpr double kYZeroThreshold = 1e-13;

// ----- The generator -----------------------------------------------------------------------------

// Process-wide state, as the C library's generator: not for concurrent use.
std::uint32_t gRandomState = 1;
int gNumClockSeedings = 0;  // lets unseeded calls within the same second differ

void seedRandom(std::uint32_t seed) { gRandomState = seed; }

// A value in [0, 32767].
int nextRandom() {
  gRandomState = gRandomState * 1103515245u + 12345u;
  return static_cast<int>((gRandomState / 65536u) % 32768u);
}

// A nonzero seed gives a fixed sequence; 0 seeds from the clock, re-seeded once per earlier
// unseeded call so that calls within one second still differ.
void seedGenerator(unsigned int seed) {
  if (seed != 0) {
    seedRandom(seed);
    return;
  }
  seedRandom(static_cast<std::uint32_t>(std::time(nullptr)));
  for (int i = 0; i < gNumClockSeedings; ++i) seedRandom(static_cast<std::uint32_t>(nextRandom()));
  ++gNumClockSeedings;
}

// ----- Shapes ------------------------------------------------------------------------------------

// Vertex i of a star-shaped polygon around (center, center): its angle lies in the middle half of
// the i-th of numVertices equal sectors, so consecutive angles differ by more than half and less
// than one and a half sectors (less than pi for three or more vertices). Every fan triangle
// (center, vertex i, vertex i+1) is then counterclockwise and the fan wraps around the centre
// exactly once, which makes the polygon simple. Radii lie in [0.2, 1) * maxRadius.
Point2 starVertex(unsigned int i, unsigned int numVertices, double center, double maxRadius, double angleJitter,
                  double radiusFraction) {
  const double angle((i + 0.25 + 0.5 * angleJitter) * kFullAngle / numVertices);
  const double radius(maxRadius * (0.2 + 0.8 * radiusFraction));
  return Point2(center + radius * std::cos(angle), center + radius * std::sin(angle));
}

// Moves from source by length along the direction angle, but always towards the far side of the
// box in each coordinate, and clamps into [min, max]. Clamping onto a box that contains the source
// never lengthens the segment.
Point2 targetInBox(const Point2& source, double angle, double length, double min, double max) {
  const double center(0.5 * min + 0.5 * max);
  const double dx(std::fabs(std::cos(angle)) * length), dy(std::fabs(std::sin(angle)) * length);
  const double x(source.x() < center ? std::fmin(source.x() + dx, max) : std::fmax(source.x() - dx, min));
  const double y(source.y() < center ? std::fmin(source.y() + dy, max) : std::fmax(source.y() - dy, min));
  return Point2(x, y);
}

// The point of the sine curve at parameter t; |y| below 1e-13 is snapped to 0 so that the zero
// crossings are exact. yScale == 0 selects the rectified curve |sin t|.
Point2 sinePoint(double t, double xShift, double yShift, double xScale, double yScale, bool swapXY) {
  double y((yScale == 0.0 ? std::fabs(std::sin(t)) : std::sin(t) * yScale) + yShift);
  if (std::fabs(y) < kYZeroThreshold) y = 0.0;
  const double x(t * xScale + xShift);
  return swapXY ? Point2(y, x) : Point2(x, y);
}
}  // namespace

/// Resizes vOut to num and fills it with values rand() / 32768 * (max - min) + min, i.e. on a grid
/// of 32768 steps in [min, max). O(num). max <= min fails the assertion "min<max".
void generateRandomNumbers(unsigned int num, double min, double max, std::vector<double>& vOut, unsigned int seed) {
  vOut.resize(num);
  seedGenerator(seed);
  ZARN_ASSERT(min<max);
  const double scale((max - min) * kRandomScale);
  for (double& value : vOut) value = nextRandom() * scale + min;
}

/// Resizes vOut to num points; the x values are the first num numbers drawn, the y values the next
/// num. O(num). max <= min fails the assertion "min<max".
void generateRandomPoints(unsigned int num, double min, double max, std::vector<Point2>& vOut, unsigned int seed) {
  ZARN_ASSERT(min<max);
  std::vector<double> vCoordinates;
  generateRandomNumbers(2 * num, min, max, vCoordinates, seed);
  vOut.resize(num);
  for (unsigned int i = 0; i < num; ++i) vOut[i] = Point2(vCoordinates[i], vCoordinates[num + i]);
}

/// Appends numPoints points of the ellipse with the given centre and radii, starting at angle 0 and
/// stepping counterclockwise by 6.28318 / numPoints. numPoints == 0 warns and adds nothing.
void generateCircle(int numPoints, double centerX, double centerY, double radiusX, double radiusY,
                    std::vector<Point2>& vOut) {
  if (numPoints == 0) {
    reportWarning("generateCircle()", "numPoints=0");
    return;
  }
  const double step(6.28318 / numPoints);
  for (int i = 0; i < numPoints; ++i) {
    vOut.push_back(Point2(std::cos(i * step) * radiusX + centerX, std::sin(i * step) * radiusY + centerY));
  }
}

/// Replaces the content of vOut by a simple counterclockwise polygon of numSegments segments inside
/// [min, max]^2 (star-shaped around the box centre, the target of each segment the source of the
/// next, the last closing the ring). O(numSegments). Assertions: "min<max", "numSegments>2", and
/// "range>0" when the half width of the box is not representable.
void generateRandomPolygon(unsigned int numSegments, double min, double max, std::vector<Segment2>& vOut,
                           unsigned int seed) {
  ZARN_ASSERT(min<max);
  ZARN_ASSERT(numSegments>2);
  const double range(0.5 * max - 0.5 * min);  // the largest radius; halved first so it cannot overflow
  ZARN_ASSERT(range>0);
  const double center(0.5 * min + 0.5 * max);
  std::vector<double> vRandom;
  generateRandomNumbers(2 * numSegments, 0.0, 1.0, vRandom, seed);
  std::vector<Point2> vVertices;
  vVertices.reserve(numSegments);
  for (unsigned int i = 0; i < numSegments; ++i) {
    vVertices.push_back(starVertex(i, numSegments, center, range, vRandom[i], vRandom[numSegments + i]));
  }
  vOut.clear();
  vOut.reserve(numSegments);
  for (unsigned int i = 0; i < numSegments; ++i) vOut.push_back(Segment2(vVertices[i], vVertices[(i + 1) % numSegments]));
}

/// Replaces the content of vOut by numSegments segments inside [min, max]^2: each source is uniform
/// in the box, each length lies in [0.001, 0.999) * maxLength (shorter when clamped at the box), so
/// no segment is longer than maxLength. Segments may cross each other. O(numSegments).
/// Assertions: "min<max", "maxLength>0", and "siz>=2" on the random values drawn (numSegments == 0).
void generateRandomSegments(unsigned int numSegments, double min, double max, double maxLength,
                            std::vector<Segment2>& vOut, unsigned int seed) {
  ZARN_ASSERT(min<max);
  ZARN_ASSERT(maxLength>0);
  std::vector<double> vRandom;
  generateRandomNumbers(4 * numSegments, 0.0, 1.0, vRandom, seed);
  const std::size_t siz(vRandom.size());
  ZARN_ASSERT(siz>=2);
  vOut.clear();
  vOut.reserve(numSegments);
  for (std::size_t i = 0; i < siz; i += 4) {
    const Point2 source(min + (max - min) * vRandom[i], min + (max - min) * vRandom[i + 1]);
    const double angle(kFullAngle * vRandom[i + 2]);
    const double length(maxLength * (0.001 + 0.998 * vRandom[i + 3]));
    vOut.push_back(Segment2(source, targetInBox(source, angle, length, min, max)));
  }
}

/// Appends a connected chain of numSegments segments along y = sin(t) * yScale + yShift,
/// x = t * xScale + xShift: numSegments + 1 samples t = k * 2 pi * cycles / numSegments, so the chain
/// covers `cycles` full periods (running leftwards for negative cycles; cycles == 0 collapses it to
/// one point). yScale == 0 draws |sin t| + yShift instead, |y| < 1e-13 becomes 0,
/// and swapXY exchanges x and y of every point (a vertical curve). The target of segment i is the
/// source of segment i+1. O(numSegments). numSegments < 1 fails the assertion "numSegments>0".
void generateSineSegments(int numSegments, int cycles, double xShift, double yShift, double xScale, double yScale,
                          bool swapXY, std::vector<Segment2>& vOut) {
  ZARN_ASSERT(numSegments>0);
  const double step(kFullAngle * cycles / numSegments);
  Point2 previous(sinePoint(0.0, xShift, yShift, xScale, yScale, swapXY));
  vOut.reserve(vOut.size() + static_cast<std::size_t>(numSegments));
  for (int k = 1; k <= numSegments; ++k) {
    const Point2 next(sinePoint(k * step, xShift, yShift, xScale, yScale, swapXY));
    vOut.push_back(Segment2(previous, next));
    previous = next;
  }
}

}  // namespace KORA_ZARN2D
