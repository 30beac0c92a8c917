// Inserting points, one by one and in bulk: the table of degenerate and extreme point sets run
// through every way of inserting them, each result checked exactly against the input; the
// collinear phase and its ties; repeats and their handles; non-finite points.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <string>
#include <vector>

#include "dt2_test_support.h"
#include "test_support.h"

using namespace KORA_ZARN2D;
using namespace dt2test;

namespace {

const double kInf = std::numeric_limits<double>::infinity();
const double kNaN = std::numeric_limits<double>::quiet_NaN();

enum class Way { ONE_BY_ONE, ONE_BY_ONE_SHUFFLED, BULK, SINGLE_THEN_BATCHES, BULK_THEN_SINGLE };
const char* const kWayNames[] = {"one by one", "one by one, shuffled", "bulk", "single, then two batches (2 threads)", "bulk, then single"};

// Inserts vPoints into dt the given way; with bCheckEach checks after every single insertion.
void insertTheWay(Zarn_2D& dt, std::vector<Point2> vPoints, Way way, bool bCheckEach, int numCPU) {
  const size_t n(vPoints.size());
  if (way == Way::ONE_BY_ONE_SHUFFLED) shuffleWithSeed(vPoints, 3);
  size_t numSingle(way == Way::SINGLE_THEN_BATCHES ? n / 10 : 0), numBulk(way == Way::BULK_THEN_SINGLE ? n * 3 / 5 : 0);
  if (way == Way::ONE_BY_ONE || way == Way::ONE_BY_ONE_SHUFFLED || way == Way::BULK_THEN_SINGLE) numSingle = n - numBulk;
  if (way == Way::BULK) numBulk = n;
  dt.setNumCPU(way == Way::SINGLE_THEN_BATCHES ? numCPU : 1);
  dt.insert(std::vector<Point2>(vPoints.begin(), vPoints.begin() + numBulk));
  for (size_t i = numBulk; i < numBulk + numSingle; ++i) {  // after a bulk, the singles outgrow its records: they get re-sorted
    Point2* pV(dt.insert(vPoints[i]));
    ASSERT_TRUE(pV != nullptr && sameXY(*pV, vPoints[i])) << vPoints[i];
    ASSERT_TRUE(!bCheckEach || isDelaunayTriangulationOf(dt, std::vector<Point2>(vPoints.begin(), vPoints.begin() + i + 1))) << vPoints[i];
  }
  if (way != Way::SINGLE_THEN_BATCHES) return;
  const size_t numFirstBatch((n + numSingle) / 2);
  dt.insert(std::vector<Point2>(vPoints.begin() + numSingle, vPoints.begin() + numFirstBatch));
  dt.insert(std::vector<Point2>(vPoints.begin() + numFirstBatch, vPoints.end()));
}

TEST(Dt2Insert, EveryPointSetEveryWay) {
  for (const PointSet& set : degenerateAndExtremePointSets()) {
    std::vector<TriangleKey> firstSignature;
    for (Way way : {Way::ONE_BY_ONE, Way::ONE_BY_ONE_SHUFFLED, Way::BULK, Way::SINGLE_THEN_BATCHES, Way::BULK_THEN_SINGLE}) {
      SCOPED_TRACE(std::string(set.name) + ", " + kWayNames[static_cast<int>(way)]);
      Zarn_2D dt;
      insertTheWay(dt, set.vPoints, way, set.bCheckEach && way == Way::ONE_BY_ONE, isForOneThread(set) ? 1 : 2);
      ASSERT_TRUE(isDelaunayTriangulationOf(dt, set.vPoints));
      EXPECT_TRUE(set.numTriangles == 0 || dt.numberOfTriangles() == set.numTriangles) << dt.numberOfTriangles();
      if (way == Way::ONE_BY_ONE) firstSignature = triangleSignature(dt);
      EXPECT_TRUE(!set.bGeneralPosition || triangleSignature(dt) == firstSignature);
      if (way != Way::BULK) continue;
      EXPECT_TRUE(libraryCheckValidity(dt));
      const std::string stats(zarn_test::captureStdout([&] { dt.statistics("set"); }));  // finite angles: nothing overflows
      EXPECT_TRUE(stats.find("nan") == std::string::npos && stats.find("interior angle min/max (degrees): ") != std::string::npos) << stats;
    }
  }
}

// ----- The collinear phase, ties -------------------------------------------------------------

// Repeats are found by exact position (-0.0 is 0.0), also after the box grew and after the
// first off-line point made every earlier vertex part of the triangulation.
TEST(Dt2Insert, CollinearPointsStayLowerDimensionalAndKeepTheirHandles) {
  Zarn_2D dt;
  std::vector<Point2> vPoints;
  std::vector<Point2*> vHandles;
  for (int i = 0; i < 200; ++i) {
    vPoints.emplace_back(i * 0.5, -i * 0x1p990);  // exactly collinear, huge
    vHandles.push_back(dt.insert(vPoints.back()));
  }
  EXPECT_EQ(dt.insert(Point2(-0.0, 0.0)), vHandles[0]);
  EXPECT_EQ(dt.insert(vPoints[17]), vHandles[17]);
  EXPECT_FALSE(dt.is2D());
  EXPECT_EQ(dt.numberOfPoints(), 200u);
  EXPECT_EQ(dt.numberOfTriangles(), 0u);
  EXPECT_EQ(dt.locate(vPoints[1]), nullptr);
  vPoints.emplace_back(1e6, 1e300);
  dt.insert(vPoints.back());
  EXPECT_TRUE(dt.is2D());
  EXPECT_DELAUNAY_OF(dt, vPoints);
  EXPECT_EQ(dt.insert(vPoints[99]), vHandles[99]);
  EXPECT_EQ(dt.insert(Point2(0.0, -0.0)), vHandles[0]);
}

// A point on the circumcircle of a triangle does not flip: the diagonal that came first stays.
TEST(Dt2Insert, CocircularPointCausesNoFlip) {
  struct Case {
    std::vector<Point2> vPoints;
    Point2 kept0, kept1;
  };
  for (const Case& c : {Case{{Point2(0, 0), Point2(2, 0), Point2(2, 2), Point2(0, 2)}, Point2(0, 0), Point2(2, 2)},
                        Case{{Point2(0, 0), Point2(2, 0), Point2(0, 2), Point2(2, 2)}, Point2(2, 0), Point2(0, 2)},
                        Case{{Point2(0, 0), Point2(4, 0), Point2(0, 4), Point2(10, 10), Point2(4, 4)}, Point2(4, 0), Point2(0, 4)}}) {
    Zarn_2D dt;
    std::vector<Point2*> vH;
    for (const Point2& p : c.vPoints) vH.push_back(dt.insert(p));
    const auto handle = [&](const Point2& p) { return vH[std::find(c.vPoints.begin(), c.vPoints.end(), p) - c.vPoints.begin()]; };
    EXPECT_NE(dt.getAdjacentTriangle(handle(c.kept0), handle(c.kept1)), nullptr) << c.vPoints.back();
    EXPECT_DELAUNAY_OF(dt, c.vPoints);
  }
}

// ----- Repeats and handles ---------------------------------------------------------------------

// Every handle stands at its input position and is the handle of the first point there (known
// by its custom index), whatever the thread count and the overload; repeats of existing vertices
// get theirs and change nothing.
TEST(Dt2Insert, RepeatsShareTheHandleOfTheFirstOccurrence) {
  const std::vector<Point2> vBase(concat(randomPoints(2100, 112, -1.0, 1.0), {Point2(0.0, 0.0)}));
  std::vector<Point2> v(shuffled(concat(concat(vBase, vBase), {Point2(-0.0, -0.0)}), 113));
  std::vector<double> vCoords;
  for (size_t i = 0; i < v.size(); ++i) {
    v[i].setCustomIndex(static_cast<int>(i));
    vCoords.insert(vCoords.end(), {v[i].x(), v[i].y()});
  }
  for (int numCPU : {1, 2, 4}) {
    for (bool bFlatArray : {false, true}) {
      Zarn_2D dt;
      dt.setNumCPU(numCPU);
      std::vector<Point2*> vHandles(bFlatArray ? v.size() + 1 : 7, nullptr);  // overwritten, not appended to
      Point2* const pSentinel(reinterpret_cast<Point2*>(&vHandles));
      vHandles.back() = pSentinel;  // one past the end of the flat array must stay untouched
      if (bFlatArray) dt.insert(static_cast<int>(v.size()), vCoords.data(), vHandles.data());
      if (!bFlatArray) dt.insert(v, vHandles);
      ASSERT_EQ(vHandles.size(), v.size() + bFlatArray);
      EXPECT_TRUE(!bFlatArray || vHandles.back() == pSentinel);
      std::map<std::pair<double, double>, size_t> mFirst;
      for (size_t i = 0; i < v.size(); ++i) {
        const size_t first(mFirst.emplace(std::make_pair(v[i].x() + 0.0, v[i].y() + 0.0), i).first->second);  // + 0.0 folds -0.0
        ASSERT_TRUE(vHandles[i] != nullptr && sameXY(*vHandles[i], v[i])) << i;
        EXPECT_EQ(vHandles[i], vHandles[first]) << i;
        EXPECT_TRUE(bFlatArray || vHandles[i]->getCustomIndex() == static_cast<int>(first)) << i;
      }
      EXPECT_EQ(dt.numberOfPoints(), vBase.size());
      EXPECT_DELAUNAY_OF(dt, v);
      const std::vector<TriangleKey> before(triangleSignature(dt));
      std::vector<Point2*> vAgain;
      dt.insert(vBase, vAgain);
      for (size_t i = 0; i < vBase.size(); i += 7) EXPECT_EQ(dt.insert(vBase[i]), vAgain[i]);
      dt.insert(static_cast<int>(v.size()), vCoords.data(), nullptr);
      EXPECT_EQ(vAgain[0], vHandles[std::find(v.begin(), v.end(), vBase[0]) - v.begin()]);
      EXPECT_TRUE(triangleSignature(dt) == before);
    }
  }
  Zarn_2D dt;
  std::vector<Point2*> vHandles;
  dt.insert(std::vector<Point2>(2000, Point2(3, 4)), vHandles);
  EXPECT_EQ(dt.numberOfPoints(), 1u);
  EXPECT_EQ(std::count(vHandles.begin(), vHandles.end(), vHandles[0]), 2000);
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

// Skipped with one warning carrying the count, a null handle each; in bulk (any thread count),
// in the flat array, one by one, and before the triangulation is 2D.
TEST(Dt2Insert, NonFinitePointsAreSkippedWithOneWarningCarryingTheCount) {
  const auto numWarnings = [](const std::function<void()>& action) {
    return countLinesContaining(zarn_test::captureStdout(action), ", WARNING: ");
  };
  std::vector<Point2> v(concat(randomPoints(1500, 121, -1.0, 1.0), {Point2(kNaN, kNaN), Point2(kInf, 0.0), Point2(0.5, -kInf)}));
  v[0] = Point2(kNaN, 0.25);
  v[17] = Point2(-kInf, kInf);
  v[400] = Point2(0.0, kNaN);
  v[1499] = Point2(kInf, -kInf);
  for (int numCPU : {1, 2}) {
    Zarn_2D dt;
    dt.setNumCPU(numCPU);
    std::vector<Point2*> vHandles;
    const std::string out(zarn_test::captureStdout([&] { dt.insert(v, vHandles); }));
    EXPECT_EQ(countLinesContaining(out, ", WARNING: "), 1u) << out;
    EXPECT_EQ(countLinesContaining(out, " 7 "), 1u) << out;
    for (size_t i = 0; i < v.size(); ++i) EXPECT_EQ(vHandles[i] == nullptr, !std::isfinite(v[i].x() + v[i].y())) << i;
    EXPECT_DELAUNAY_OF(dt, v);  // the oracle drops non-finite points
    const Bbox2 box(dt.computeBoundingBox());
    EXPECT_TRUE(std::isfinite(box.get_minX()) && std::isfinite(box.get_maxY()));
    EXPECT_EQ(numWarnings([&] { dt.insert(concat(std::vector<Point2>(v.begin() + 1, v.begin() + 17), randomPoints(100, 123))); }), 0u);
    Point2* pBad(&v[0]);
    EXPECT_EQ(numWarnings([&] { pBad = dt.insert(Point2(1, -kInf)); }), 1u);
    EXPECT_EQ(pBad, nullptr);
  }
  std::vector<double> vCoords{0.0, 0.0, kNaN, 1.0, 1.0, 0.0, 0.0, 1.0, 2.0, kInf};
  std::vector<Point2*> vHandles(5, reinterpret_cast<Point2*>(&vCoords));  // garbage to be overwritten
  Zarn_2D dt, empty;
  EXPECT_EQ(numWarnings([&] { dt.insert(5, vCoords.data(), vHandles.data()); }), 1u);
  EXPECT_TRUE(vHandles[1] == nullptr && vHandles[4] == nullptr && vHandles[3] != nullptr);
  EXPECT_DELAUNAY_OF(dt, (std::vector<Point2>{Point2(0, 0), Point2(1, 0), Point2(0, 1)}));
  std::vector<Point2*> vOne;
  EXPECT_EQ(numWarnings([&] { empty.insert(std::vector<Point2>{Point2(kNaN, 0.0)}, vOne); }), 1u);
  EXPECT_TRUE(vOne.size() == 1 && vOne[0] == nullptr);
  EXPECT_EQ(numWarnings([&] { EXPECT_EQ(empty.insert(Point2(kNaN, 1)), nullptr); }), 1u);
  empty.insert(std::vector<Point2>());
  EXPECT_EQ(empty.numberOfPoints(), 0u);
}

}  // namespace
