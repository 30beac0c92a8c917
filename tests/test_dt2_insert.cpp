// Inserting points, one by one and in bulk: a table of degenerate and extreme point sets run
// through every way of inserting them (one by one in input and in shuffled order, bulk with
// 1, 2 and 4 threads, some points one by one then the rest in two batches, a bulk then the rest
// one by one), each result checked exactly against the input; plus the collinear phase, repeats
// and their handles, and non-finite points.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "dt2_test_support.h"
#include "test_support.h"

using namespace KORA_ZARN2D;
using namespace dt2test;

namespace {

const double kInf = std::numeric_limits<double>::infinity();
const double kNaN = std::numeric_limits<double>::quiet_NaN();

std::vector<Point2> concat(std::vector<Point2> a, const std::vector<Point2>& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

std::vector<Point2> shuffled(std::vector<Point2> v, unsigned seed) {
  shuffleWithSeed(v, seed);
  return v;
}

std::vector<Point2> scaled(const std::vector<Point2>& v, double factor) {
  std::vector<Point2> vOut;
  for (const Point2& p : v) vOut.emplace_back(p.x() * factor, p.y() * factor);
  return vOut;
}

std::vector<Point2> latticeWithRepeats() {
  std::mt19937 rng(71);
  std::uniform_int_distribution<int> coord(0, 12);
  std::vector<Point2> v;
  for (int i = 0; i < 300; ++i) {
    const int x(coord(rng));
    v.emplace_back(x, coord(rng));
  }
  return v;
}

std::vector<Point2> cocircularRings(std::vector<long> vRadii, bool bCentre) {
  std::vector<Point2> v;
  for (long r : vRadii) v = concat(v, integerCirclePoints(r));
  if (bCentre) v.emplace_back(0, 0);
  return shuffled(v, 9);
}

// The corners of a square, then points on its border and on both diagonals.
std::vector<Point2> pointsOnEdges() {
  std::vector<Point2> v, vOnEdges;
  for (int i = 1; i < 64; ++i) vOnEdges = concat(vOnEdges, {Point2(i, 0), Point2(0, i), Point2(i, 64 - i), Point2(i, i)});
  return concat({Point2(0, 0), Point2(64, 0), Point2(0, 64), Point2(64, 64)}, shuffled(vOnEdges, 21));
}

std::vector<Point2> lineThroughATriangle() {
  std::vector<Point2> v{Point2(-1, -1), Point2(101, -1), Point2(50, 40)};
  for (int i = 0; i <= 100; ++i) v.emplace_back((i * 37) % 101, 0.0);
  return v;
}

// A convex chain, a point far below that sees all of it, then one on the extension of a new hull edge.
std::vector<Point2> chainAndFarPoints() {
  std::vector<Point2> v;
  for (int x = -20; x <= 20; ++x) v.emplace_back(x, x * x / 8.0);
  return concat(v, {Point2(0.0, -1e6), Point2(40.0, 1e6 + 100.0)});
}

// Each point on the line of the current bottom or left hull edge.
std::vector<Point2> hullEdgeExtensions() {
  std::vector<Point2> v{Point2(0, 0), Point2(1, 0), Point2(0, 1)};
  for (int i = 2; i <= 30; ++i) v = concat(v, {Point2(i, 0), Point2(0, -i)});
  return v;
}

// y = 0.1 x rounded: orientations decided far below the resolution of doubles.
std::vector<Point2> nearlyCollinear() {
  std::vector<Point2> v{Point2(5.0, 5.0), Point2(5.0, -5.0)};
  for (int i = 0; i < 60; ++i) v.emplace_back(1.0 + i * 0.3, (1.0 + i * 0.3) * 0.1);
  return shuffled(v, 31);
}

// Tight clusters far apart, with points differing in the last bits.
std::vector<Point2> clusters() {
  std::vector<Point2> v;
  const std::vector<Point2> vCentres{Point2(1, 1), Point2(1000, 1), Point2(1, 1000), Point2(500.5, 500.5)};
  for (size_t c = 0; c < vCentres.size(); ++c) {
    for (const Point2& d : randomPoints(150, 40 + static_cast<unsigned>(c), -1e-9, 1e-9)) v.emplace_back(vCentres[c].x() + d.x(), vCentres[c].y() + d.y());
    double x(vCentres[c].x());
    for (int k = 0; k < 10; ++k) {
      x = std::nextafter(x, 2e6);
      v.emplace_back(x, vCentres[c].y() + (k % 3) * std::numeric_limits<double>::epsilon());
    }
  }
  return shuffled(v, 41);
}

// A tiny cluster, a unit cloud and a few distant points: the box grows several times.
std::vector<Point2> mixedScales() {
  std::vector<Point2> v(concat(randomPoints(80, 55, -1e-12, 1e-12), randomPoints(80, 56, -1.0, 1.0)));
  for (double s : {1e6, 1e12, 1e18}) v = concat(v, {Point2(s, s), Point2(-s, 0.5 * s)});
  return v;
}

// Thin shapes: with several threads the bulk goes in under an auxiliary box whose removal must
// restore exactly their hull.
std::vector<Point2> thinShape(int kind) {
  std::vector<Point2> v;
  for (int i = 0; i < 1500; ++i) {
    if (kind == 0) v = concat(v, {Point2(i, 0), Point2(i + 1500, 0)});
    if (kind == 1) v = concat(v, {Point2(i, 0), Point2(i, 1)});
    if (kind == 2) v.emplace_back(i, static_cast<double>(i) * i);
    if (kind == 3) v.emplace_back(i, 1e-9 * std::sin(i));
    if (kind == 4) v.emplace_back(1e15 + i, 1e15 - i + (i % 2));
  }
  if (kind == 0) v.emplace_back(1000, 1e-3);
  return v;
}

// Points on a line, repeated and shuffled, then one off it near the middle: every line vertex
// must end up in the triangulation.
std::vector<Point2> lineThenOffPoint() {
  std::vector<Point2> v;
  for (int x = -40; x <= 40; ++x) v.emplace_back(x, 3.0 * x - 7.0);
  v = shuffled(concat(v, std::vector<Point2>(v.begin(), v.begin() + 10)), 5);
  v.emplace_back(0.5, 100.0);
  return v;
}

// One by one, these orders once made long walks or turned around a vertex of growing degree: one
// point, then a sorted line; three lines, one after the other.
std::vector<Point2> offPointThenSortedLine() {
  std::vector<Point2> v{Point2(0.5, 100.0)};
  for (int x = -60; x <= 60; ++x) v.emplace_back(x, 3.0 * x - 7.0);
  return v;
}

std::vector<Point2> threeLinesOneAfterTheOther() {
  std::vector<Point2> v;
  for (int line = 0; line < 3; ++line) {
    for (int y = 0; y < 40; ++y) v.emplace_back(line, y);
  }
  return v;
}

struct PointSet {
  const char* name;
  std::function<std::vector<Point2>()> make;
  bool bCheckEach;         // check after every single insertion
  bool bUnique;            // general position: every way of inserting gives the same triangles
  size_t numTriangles;     // when known (0: not checked)
};

const std::vector<PointSet>& pointSets() {
  static const std::vector<PointSet> v{
      {"random", [] { return randomPoints(250, 61, -3.0, 5.0); }, true, true, 0},
      {"random 4000", [] { return randomPoints(4000, 101, -50.0, 50.0); }, false, true, 0},
      {"small random", [] { return randomPoints(5, 104, -1.0, 1.0); }, true, true, 0},
      {"lattice with repeats", latticeWithRepeats, true, false, 0},
      {"grid 9x9 by rows", [] { return gridPoints(9, 9); }, true, false, 2 * 8 * 8},
      {"grid 30x30", [] { return gridPoints(30, 30, 0.5, -7.25, 3.0); }, false, false, 2 * 29 * 29},
      {"cocircular r=65", [] { return shuffled(integerCirclePoints(65, 1000.0, -3.0), 65); }, true, false, 36 - 2},
      {"cocircular r=5525", [] { return shuffled(integerCirclePoints(5525, 1000.0, -3.0), 5525); }, false, false, 180 - 2},
      {"cocircular with centre and inner point", [] { return concat(integerCirclePoints(25), {Point2(0, 0), Point2(12, 8)}); }, true, false, 0},
      {"concentric rings", [] { return cocircularRings({5, 25, 65, 325}, true); }, true, false, 0},
      {"concentric rings in bulk", [] { return cocircularRings({1105, 5525}, true); }, false, false, 0},
      {"points on edges", pointsOnEdges, true, false, 0},
      {"line through a triangle", lineThroughATriangle, true, false, 0},
      {"chain and far points", chainAndFarPoints, true, false, 0},
      {"hull edge extensions", hullEdgeExtensions, true, false, 0},
      {"nearly collinear", nearlyCollinear, true, false, 0},
      {"clusters", clusters, false, false, 0},
      {"huge", [] { return shuffled(concat(randomPoints(200, 51, -1e150, 1e150), scaled(integerCirclePoints(65), 1e148)), 52); }, false, false, 0},
      {"tiny", [] { return shuffled(concat(randomPoints(200, 53, -1e-300, 1e-300), scaled(gridPoints(6, 6), 1e-301)), 54); }, false, false, 0},
      {"1e-100 and 1e100", [] { return concat(randomPoints(500, 163, -1e-100, 1e-100), randomPoints(500, 164, -1e100, 1e100)); }, false, false, 0},
      {"mixed scales", mixedScales, true, false, 0},
      {"line then off point", lineThenOffPoint, false, false, 81 - 1},
      {"off point then sorted line", offPointThenSortedLine, true, false, 121 - 1},
      {"three lines one after the other", threeLinesOneAfterTheOther, true, false, 0},
      {"one point off a long line", [] { return thinShape(0); }, false, false, 0},
      {"two parallel lines", [] { return thinShape(1); }, false, false, 0},
      {"convex chain", [] { return thinShape(2); }, false, false, 0},
      {"almost straight line", [] { return thinShape(3); }, false, false, 0},
      {"far from the origin", [] { return thinShape(4); }, false, false, 0},
  };
  return v;
}

enum class Way { ONE_BY_ONE, ONE_BY_ONE_SHUFFLED, BULK_1, BULK_2, BULK_4, SINGLE_THEN_BATCHES, BULK_THEN_SINGLE };
const char* const kWayNames[] = {"one by one",      "one by one, shuffled",     "bulk",
                                 "bulk, 2 threads", "bulk, 4 threads",          "single, then two batches",
                                 "bulk, then single"};

// Inserts vPoints into dt the given way; with bCheckEach checks after every single insertion.
void insertTheWay(Zarn_2D& dt, std::vector<Point2> vPoints, Way way, bool bCheckEach) {
  if (way == Way::ONE_BY_ONE || way == Way::ONE_BY_ONE_SHUFFLED) {
    if (way == Way::ONE_BY_ONE_SHUFFLED) shuffleWithSeed(vPoints, 3);
    for (size_t i = 0; i < vPoints.size(); ++i) {
      Point2* pV(dt.insert(vPoints[i]));
      ASSERT_TRUE(pV != nullptr && sameXY(*pV, vPoints[i])) << vPoints[i];
      const std::vector<Point2> vSoFar(vPoints.begin(), vPoints.begin() + i + 1);
      ASSERT_TRUE(!bCheckEach || isDelaunayTriangulationOf(dt, vSoFar)) << "after " << vPoints[i];
    }
    return;
  }
  dt.setNumCPU(way == Way::BULK_2 ? 2 : way == Way::BULK_4 ? 4 : 1);
  if (way == Way::BULK_THEN_SINGLE) {  // the singles outgrow the bulk's records: they get re-sorted
    const size_t numBulk(vPoints.size() * 3 / 5);
    dt.insert(std::vector<Point2>(vPoints.begin(), vPoints.begin() + numBulk));
    for (size_t i = numBulk; i < vPoints.size(); ++i) ASSERT_TRUE(sameXY(*dt.insert(vPoints[i]), vPoints[i])) << vPoints[i];
    return;
  }
  if (way != Way::SINGLE_THEN_BATCHES) {
    dt.insert(vPoints);
    return;
  }
  dt.setNumCPU(2);
  const size_t numSingle(vPoints.size() / 10), numFirstBatch((vPoints.size() + numSingle) / 2);
  for (size_t i = 0; i < numSingle; ++i) dt.insert(vPoints[i]);
  dt.insert(std::vector<Point2>(vPoints.begin() + numSingle, vPoints.begin() + numFirstBatch));
  dt.insert(std::vector<Point2>(vPoints.begin() + numFirstBatch, vPoints.end()));
}

TEST(Dt2Insert, EveryPointSetEveryWay) {
  for (const PointSet& set : pointSets()) {
    const std::vector<Point2> vPoints(set.make());
    std::vector<TriangleKey> firstSignature;
    for (Way way : {Way::ONE_BY_ONE, Way::ONE_BY_ONE_SHUFFLED, Way::BULK_1, Way::BULK_2, Way::BULK_4, Way::SINGLE_THEN_BATCHES,
                    Way::BULK_THEN_SINGLE}) {
      SCOPED_TRACE(std::string(set.name) + ", " + kWayNames[static_cast<int>(way)]);
      Zarn_2D dt;
      insertTheWay(dt, vPoints, way, set.bCheckEach && way == Way::ONE_BY_ONE);
      ASSERT_TRUE(isDelaunayTriangulationOf(dt, vPoints));
      EXPECT_TRUE(set.numTriangles == 0 || dt.numberOfTriangles() == set.numTriangles) << dt.numberOfTriangles();
      if (way == Way::ONE_BY_ONE) {
        EXPECT_TRUE(libraryCheckValidity(dt));
        firstSignature = triangleSignature(dt);
      }
      EXPECT_TRUE(!set.bUnique || triangleSignature(dt) == firstSignature);
    }
  }
}

// ----- The collinear phase, ties -------------------------------------------------------------

TEST(Dt2Insert, CollinearPointsStayLowerDimensionalAndKeepTheirHandles) {
  Zarn_2D dt;
  Point2* pA(dt.insert(Point2(1, 1)));
  EXPECT_EQ(dt.insert(Point2(1, 1)), pA);
  Point2* pZero(dt.insert(Point2(0.0, 0.0)));
  EXPECT_EQ(dt.insert(Point2(-0.0, -0.0)), pZero);  // exact equality: -0.0 is 0.0
  dt.insert(Point2(2, 2));
  EXPECT_FALSE(dt.is2D());
  EXPECT_EQ(dt.numberOfPoints(), 3u);
  EXPECT_EQ(dt.numberOfTriangles(), 0u);
  EXPECT_EQ(dt.locate(Point2(1, 1)), nullptr);
  dt.insert(Point2(0, 5));
  EXPECT_TRUE(dt.is2D());
  EXPECT_EQ(dt.insert(Point2(1, 1)), pA);
  EXPECT_EQ(dt.insert(Point2(0.0, -0.0)), pZero);
  EXPECT_DELAUNAY_OF(dt, (std::vector<Point2>{Point2(1, 1), Point2(2, 2), Point2(0, 0), Point2(0, 5)}));
}

// A point on the circumcircle of a triangle does not flip: the diagonal that came first stays.
TEST(Dt2Insert, CocircularPointCausesNoFlip) {
  const auto hasEdge = [](const Zarn_2D& dt, const Point2& a, const Point2& b) {
    std::vector<Triangle2*> vT;
    dt.getTrianglePointers(vT);
    return std::any_of(vT.begin(), vT.end(), [&](const Triangle2* pT) { return pT->hasVertex(a) && pT->hasVertex(b); });
  };
  struct Case {
    std::vector<Point2> vPoints;
    Point2 kept0, kept1;
  };
  for (const Case& c : {Case{{Point2(0, 0), Point2(2, 0), Point2(2, 2), Point2(0, 2)}, Point2(0, 0), Point2(2, 2)},
                        Case{{Point2(0, 0), Point2(2, 0), Point2(0, 2), Point2(2, 2)}, Point2(2, 0), Point2(0, 2)},
                        Case{{Point2(0, 0), Point2(4, 0), Point2(0, 4), Point2(10, 10), Point2(4, 4)}, Point2(4, 0), Point2(0, 4)}}) {
    Zarn_2D dt;
    for (const Point2& p : c.vPoints) dt.insert(p);
    EXPECT_TRUE(hasEdge(dt, c.kept0, c.kept1)) << c.vPoints.back();
    EXPECT_DELAUNAY_OF(dt, c.vPoints);
  }
}

// ----- Repeats and handles ---------------------------------------------------------------------

// Every handle stands at its input position and is the handle of the first point there (known
// by its custom index), whatever the thread count; repeats of existing vertices get theirs.
TEST(Dt2Insert, RepeatsShareTheHandleOfTheFirstOccurrence) {
  std::vector<Point2> vBase(concat(randomPoints(2100, 112, -1.0, 1.0), {Point2(0.0, 0.0)}));
  std::vector<Point2> v(concat(concat(vBase, vBase), {Point2(-0.0, -0.0)}));
  shuffleWithSeed(v, 113);
  for (size_t i = 0; i < v.size(); ++i) v[i].setCustomIndex(static_cast<int>(i));
  for (int numCPU : {1, 2, 4}) {
    Zarn_2D dt;
    dt.setNumCPU(numCPU);
    std::vector<Point2*> vHandles(7, nullptr);  // overwritten, not appended to
    dt.insert(v, vHandles);
    ASSERT_EQ(vHandles.size(), v.size());
    std::map<std::pair<double, double>, size_t> mFirst;
    for (size_t i = 0; i < v.size(); ++i) {
      const size_t first(mFirst.emplace(std::make_pair(v[i].x() + 0.0, v[i].y() + 0.0), i).first->second);  // + 0.0 folds -0.0
      ASSERT_TRUE(vHandles[i] != nullptr && sameXY(*vHandles[i], v[i])) << i;
      EXPECT_TRUE(vHandles[i] == vHandles[first] && vHandles[i]->getCustomIndex() == static_cast<int>(first)) << i;
    }
    EXPECT_EQ(dt.numberOfPoints(), vBase.size());
    EXPECT_DELAUNAY_OF(dt, v);
    // Only repeats, one by one and in bulk: the same handles, nothing changes.
    const std::vector<TriangleKey> before(triangleSignature(dt));
    std::vector<Point2*> vAgain;
    dt.insert(vBase, vAgain);
    for (size_t i = 0; i < vBase.size(); i += 7) EXPECT_EQ(dt.insert(vBase[i]), vAgain[i]);
    EXPECT_EQ(vAgain[0], vHandles[std::find(v.begin(), v.end(), vBase[0]) - v.begin()]);
    EXPECT_TRUE(triangleSignature(dt) == before);
  }
  Zarn_2D dt;
  std::vector<Point2*> vHandles;
  dt.insert(std::vector<Point2>(2000, Point2(3, 4)), vHandles);
  EXPECT_EQ(dt.numberOfPoints(), 1u);
  EXPECT_EQ(std::count(vHandles.begin(), vHandles.end(), vHandles[0]), 2000);
}

TEST(Dt2Insert, FlatArrayOverloadFillsExactlyNHandles) {
  const std::vector<Point2> v(randomPoints(1500, 117, -2.0, 2.0));
  std::vector<double> vCoords;
  for (const Point2& p : concat(v, {v[10]})) vCoords.insert(vCoords.end(), {p.x(), p.y()});
  const int n(static_cast<int>(v.size()) + 1);
  Zarn_2D reference;
  reference.insert(v);
  for (int numCPU : {1, 2}) {
    Zarn_2D dt, dtNoHandles;
    dt.setNumCPU(numCPU);
    std::vector<Point2*> vHandles(static_cast<size_t>(n) + 1, nullptr);
    Point2* const pSentinel(reinterpret_cast<Point2*>(&vHandles));
    vHandles.back() = pSentinel;  // one past the end must stay untouched
    dt.insert(n, vCoords.data(), vHandles.data());
    for (int i = 0; i < n; ++i) ASSERT_TRUE(vHandles[i] != nullptr && sameXY(*vHandles[i], Point2(vCoords[2 * i], vCoords[2 * i + 1]))) << i;
    EXPECT_EQ(vHandles[n - 1], vHandles[10]);
    EXPECT_EQ(vHandles.back(), pSentinel);
    EXPECT_TRUE(triangleSignature(dt) == triangleSignature(reference));
    dtNoHandles.insert(n, vCoords.data(), nullptr);
    EXPECT_TRUE(triangleSignature(dtNoHandles) == triangleSignature(reference));
  }
}

// The collinear phase in bulk: handles of the first occurrences, then one point off the line.
TEST(Dt2Insert, CollinearBulkKeepsItsHandlesWhenItBecomesTwoDimensional) {
  std::vector<Point2> v;
  for (int i = 0; i < 2000; ++i) v.emplace_back(10.0 - 2.0 * (i % 1700), i % 1700);  // x + 2y = 10, repeats
  for (int numCPU : {1, 2}) {
    Zarn_2D dt;
    dt.setNumCPU(numCPU);
    std::vector<Point2*> vHandles;
    dt.insert(v, vHandles);
    EXPECT_FALSE(dt.is2D());
    EXPECT_EQ(dt.numberOfPoints(), 1700u);
    EXPECT_EQ(vHandles[1700], vHandles[0]);
    EXPECT_TRUE(isDelaunayTriangulationOf(dt, v));
    dt.insert(std::vector<Point2>{Point2(3.0, 7.0), v[5]});
    EXPECT_EQ(dt.numberOfTriangles(), 1699u);
    EXPECT_DELAUNAY_OF(dt, concat(v, {Point2(3.0, 7.0)}));
    std::vector<Point2*> vVertices;
    dt.getVertexPointers(vVertices);
    std::sort(vVertices.begin(), vVertices.end());
    for (Point2* p : vHandles) EXPECT_TRUE(std::binary_search(vVertices.begin(), vVertices.end(), p));
  }
}

// ----- Non-finite points -------------------------------------------------------------------------

TEST(Dt2Insert, NonFinitePointsAreSkippedWithOneWarningCarryingTheCount) {
  for (int numCPU : {1, 2}) {
    std::vector<Point2> v(concat(randomPoints(1500, 121, -1.0, 1.0), {Point2(kNaN, kNaN), Point2(kInf, 0.0), Point2(0.5, -kInf)}));
    const std::vector<size_t> vBad{0, 17, 400, 1499, 1500, 1501, 1502};
    v[0] = Point2(kNaN, 0.25);
    v[17] = Point2(-kInf, kInf);
    v[400] = Point2(0.0, kNaN);
    v[1499] = Point2(kInf, -kInf);
    Zarn_2D dt;
    dt.setNumCPU(numCPU);
    std::vector<Point2*> vHandles;
    const std::string out(zarn_test::captureStdout([&] { dt.insert(v, vHandles); }));
    EXPECT_EQ(countLinesContaining(out, ", WARNING: "), 1u) << out;
    EXPECT_EQ(countLinesContaining(out, " 7 "), 1u) << out;
    std::vector<Point2> vKept;
    for (size_t i = 0; i < v.size(); ++i) {
      const bool bBad(std::find(vBad.begin(), vBad.end(), i) != vBad.end());
      EXPECT_EQ(vHandles[i] == nullptr, bBad) << i;
      if (!bBad) vKept.push_back(v[i]);
    }
    EXPECT_DELAUNAY_OF(dt, vKept);
    const Bbox2 box(dt.computeBoundingBox());
    EXPECT_TRUE(std::isfinite(box.get_minX()) && std::isfinite(box.get_maxY()));
    // A finite bulk (repeats included) and a single non-finite point.
    EXPECT_EQ(zarn_test::captureStdout([&] { dt.insert(concat(vKept, randomPoints(100, 123))); }), "");
    Point2* pBad(&v[0]);
    EXPECT_EQ(countLinesContaining(zarn_test::captureStdout([&] { pBad = dt.insert(Point2(1, -kInf)); }), ", WARNING: "), 1u);
    EXPECT_EQ(pBad, nullptr);
  }
  // Flat array, and nothing but non-finite points before the triangulation is 2D.
  std::vector<double> vCoords{0.0, 0.0, kNaN, 1.0, 1.0, 0.0, 0.0, 1.0, 2.0, kInf};
  std::vector<Point2*> vHandles(5, reinterpret_cast<Point2*>(&vCoords));  // garbage to be overwritten
  Zarn_2D dt;
  EXPECT_EQ(countLinesContaining(zarn_test::captureStdout([&] { dt.insert(5, vCoords.data(), vHandles.data()); }), ", WARNING: "), 1u);
  EXPECT_TRUE(vHandles[1] == nullptr && vHandles[4] == nullptr && vHandles[3] != nullptr);
  EXPECT_DELAUNAY_OF(dt, (std::vector<Point2>{Point2(0, 0), Point2(1, 0), Point2(0, 1)}));
  Zarn_2D empty;
  std::vector<Point2*> vOne;
  EXPECT_EQ(countLinesContaining(zarn_test::captureStdout([&] { empty.insert(std::vector<Point2>{Point2(kNaN, 0.0)}, vOne); }), ", WARNING: "), 1u);
  EXPECT_TRUE(vOne.size() == 1 && vOne[0] == nullptr);
  zarn_test::captureStdout([&] { EXPECT_EQ(empty.insert(Point2(kNaN, 1)), nullptr); });
  empty.insert(std::vector<Point2>());
  EXPECT_EQ(empty.numberOfPoints(), 0u);
}

}  // namespace
