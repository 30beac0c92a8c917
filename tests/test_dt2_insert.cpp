// Inserting points, one by one and in bulk: the table of degenerate and extreme point sets run
// through every way of inserting them, each result checked exactly against the input; the
// collinear phase and its ties; repeats and their handles; non-finite points.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
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

enum class Way { ONE_BY_ONE, ONE_BY_ONE_SHUFFLED, BULK, FLAT_ARRAY, SINGLE_THEN_BATCHES, BULK_THEN_SINGLE };
const char* const kWayNames[] = {"one by one", "one by one, shuffled", "bulk", "flat array (2 threads)", "single, then two batches (2 threads)",
                                 "bulk, then single"};

// Inserts vPoints into dt the given way and returns the handle of each point; with bCheckEach
// checks after every single insertion.
std::vector<Point2*> insertTheWay(Zarn_2D& dt, std::vector<Point2>& vPoints, Way way, bool bCheckEach, int numCPU) {
  const size_t n(vPoints.size());
  if (way == Way::ONE_BY_ONE_SHUFFLED) shuffleWithSeed(vPoints, 3);
  std::vector<Point2*> vHandles(way == Way::FLAT_ARRAY ? n + 1 : 0), vBatch;
  if (way == Way::FLAT_ARRAY) {
    std::vector<double> vCoords;
    for (const Point2& p : vPoints) vCoords.insert(vCoords.end(), {p.x(), p.y()});
    Point2* const pSentinel(reinterpret_cast<Point2*>(&vCoords));
    vHandles.back() = pSentinel;  // one past the end must stay untouched
    dt.setNumCPU(numCPU);
    dt.insert(static_cast<int>(n), vCoords.data(), vHandles.data());
    EXPECT_EQ(vHandles.back(), pSentinel);
    vHandles.pop_back();
    return vHandles;
  }
  size_t numSingle(way == Way::SINGLE_THEN_BATCHES ? n / 10 : 0), numBulk(way == Way::BULK_THEN_SINGLE ? n * 3 / 5 : 0);
  if (way == Way::ONE_BY_ONE || way == Way::ONE_BY_ONE_SHUFFLED || way == Way::BULK_THEN_SINGLE) numSingle = n - numBulk;
  if (way == Way::BULK) numBulk = n;
  dt.setNumCPU(way == Way::SINGLE_THEN_BATCHES ? numCPU : 1);
  dt.insert(std::vector<Point2>(vPoints.begin(), vPoints.begin() + numBulk), vHandles);
  for (size_t i = numBulk; i < numBulk + numSingle; ++i) {  // after a bulk, the singles outgrow its records: they get re-sorted
    vHandles.push_back(dt.insert(vPoints[i]));
    EXPECT_TRUE(!bCheckEach || isDelaunayTriangulationOf(dt, std::vector<Point2>(vPoints.begin(), vPoints.begin() + i + 1))) << vPoints[i];
  }
  for (size_t begin : {numSingle, (n + numSingle) / 2}) {
    if (way != Way::SINGLE_THEN_BATCHES) break;
    dt.insert(std::vector<Point2>(vPoints.begin() + begin, vPoints.begin() + (begin == numSingle ? (n + numSingle) / 2 : n)), vBatch);
    vHandles.insert(vHandles.end(), vBatch.begin(), vBatch.end());
  }
  return vHandles;
}

// Every handle is a vertex at its input position, the one of the first point there (known by its
// custom index where the set gives them); repeats of existing vertices get theirs and change nothing.
void expectHandlesOfFirstOccurrences(Zarn_2D& dt, const std::vector<Point2>& vPoints, const std::vector<Point2*>& vHandles, bool bCustomIndex) {
  ASSERT_EQ(vHandles.size(), vPoints.size());
  std::vector<Point2*> vVertices;
  dt.getVertexPointers(vVertices);
  std::sort(vVertices.begin(), vVertices.end());
  std::map<std::pair<double, double>, size_t> mFirst;
  for (size_t i = 0; i < vPoints.size(); ++i) {
    const size_t first(mFirst.emplace(std::make_pair(vPoints[i].x() + 0.0, vPoints[i].y() + 0.0), i).first->second);  // + 0.0 folds -0.0
    ASSERT_TRUE(std::binary_search(vVertices.begin(), vVertices.end(), vHandles[i]) && sameXY(*vHandles[i], vPoints[i])) << i;
    ASSERT_EQ(vHandles[i], vHandles[first]) << i;
    ASSERT_TRUE(!bCustomIndex || vPoints[i].getCustomIndex() < 0 || vHandles[i]->getCustomIndex() == vPoints[first].getCustomIndex()) << i;
  }
  const std::vector<TriangleKey> before(triangleSignature(dt));
  std::vector<Point2*> vAgain;
  dt.insert(vPoints, vAgain);
  EXPECT_TRUE(vAgain == vHandles);
  for (size_t i = 0; i < vPoints.size(); i += 7) EXPECT_EQ(dt.insert(vPoints[i]), vHandles[i]);
  EXPECT_TRUE(triangleSignature(dt) == before);
}

TEST(Dt2Insert, EveryPointSetEveryWay) {
  for (const PointSet& set : degenerateAndExtremePointSets()) {
    std::vector<TriangleKey> firstSignature;
    for (Way way : {Way::ONE_BY_ONE, Way::ONE_BY_ONE_SHUFFLED, Way::BULK, Way::FLAT_ARRAY, Way::SINGLE_THEN_BATCHES, Way::BULK_THEN_SINGLE}) {
      if (DT2TEST_SANITIZED && set.vPoints.size() > 5000 && way != Way::BULK && way != Way::FLAT_ARRAY) continue;  // ten times slower
      SCOPED_TRACE(std::string(set.name) + ", " + kWayNames[static_cast<int>(way)]);
      Zarn_2D dt;
      std::vector<Point2> vPoints(set.vPoints);
      const std::vector<Point2*> vHandles(insertTheWay(dt, vPoints, way, set.bCheckEach && way == Way::ONE_BY_ONE, 2));
      ASSERT_TRUE(isDelaunayTriangulationOf(dt, vPoints));
      EXPECT_TRUE(set.numTriangles == 0 || dt.numberOfTriangles() == set.numTriangles) << dt.numberOfTriangles();
      expectHandlesOfFirstOccurrences(dt, vPoints, vHandles, way != Way::FLAT_ARRAY);
      if (firstSignature.empty()) firstSignature = triangleSignature(dt);
      EXPECT_TRUE(!set.bGeneralPosition || triangleSignature(dt) == firstSignature);
      if (way != Way::BULK) continue;
      EXPECT_TRUE(libraryCheckValidity(dt));
      const std::string stats(zarn_test::captureStdout([&] { dt.statistics("set"); }));  // finite angles: nothing overflows
      EXPECT_TRUE(stats.find("nan") == std::string::npos && (stats.find("interior angle min/max (degrees): ") != std::string::npos) == dt.is2D())
          << stats;
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
    EXPECT_EQ(countLinesContaining(out, "7 point(s) with a non-finite coordinate skipped, their handles are NULL"), 1u) << out;
    for (size_t i = 0; i < v.size(); ++i) EXPECT_EQ(vHandles[i] == nullptr, !std::isfinite(v[i].x() + v[i].y())) << i;
    EXPECT_DELAUNAY_OF(dt, v);  // the oracle drops non-finite points
    const Bbox2 box(dt.computeBoundingBox());
    EXPECT_TRUE(std::isfinite(box.get_minX()) && std::isfinite(box.get_maxY()));
    EXPECT_EQ(numWarnings([&] { dt.insert(concat(std::vector<Point2>(v.begin() + 1, v.begin() + 17), randomPoints(100, 123))); }), 0u);
    Point2* pBad(&v[0]);
    const std::string single(zarn_test::captureStdout([&] { pBad = dt.insert(Point2(1, -kInf)); }));
    EXPECT_EQ(countLinesContaining(single, ", WARNING: A point with a non-finite coordinate was rejected"), 1u) << single;
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
