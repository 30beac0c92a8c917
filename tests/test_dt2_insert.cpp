// Inserting points, one by one and in bulk: the table of degenerate and extreme point sets run
// through every way of inserting them, each result checked exactly against the input; ties;
// non-finite points.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "dt2_test_support.h"
#include "test_support.h"

using namespace KORA_ZARN2D;
using namespace dt2test;

namespace {

const double kInf = std::numeric_limits<double>::infinity();
const double kNaN = std::numeric_limits<double>::quiet_NaN();

// One thread; the ways with several threads run in test_dt2_parallel.
TEST(Dt2Insert, EveryPointSetEveryWay) {
  for (const PointSet& set : degenerateAndExtremePointSets()) {
    std::vector<TriangleKey> firstSignature;
    for (Way way : {Way::ONE_BY_ONE, Way::ONE_BY_ONE_SHUFFLED, Way::BULK, Way::BULK_THEN_SINGLE}) {
      if (DT2TEST_SANITIZED && set.vPoints.size() > 5000 && way != Way::BULK) continue;  // ten times slower
      SCOPED_TRACE(std::string(set.name) + ", " + kWayNames[static_cast<int>(way)]);
      Zarn_2D dt;
      const std::vector<TriangleKey> signature(expectInsertedTheWay(dt, set, way, 1));
      if (firstSignature.empty()) firstSignature = signature;
      EXPECT_TRUE(!set.bGeneralPosition || signature == firstSignature);
      if (way != Way::BULK) continue;
      const std::string stats(zarn_test::captureStdout([&] { dt.statistics("set"); }));  // finite angles: nothing overflows
      EXPECT_TRUE(stats.find("nan") == std::string::npos && (stats.find("interior angle min/max (degrees): ") != std::string::npos) == dt.is2D())
          << stats;
    }
  }
}

// A point on the circumcircle of a triangle does not flip: the diagonal that came first stays.
TEST(Dt2Insert, CocircularPointCausesNoFlip) {
  const std::vector<Point2> aCases[] = {{Point2(0, 0), Point2(2, 2), Point2(2, 0), Point2(0, 2)},
                                        {Point2(2, 0), Point2(0, 2), Point2(0, 0), Point2(2, 2)},
                                        {Point2(4, 0), Point2(0, 4), Point2(0, 0), Point2(10, 10), Point2(4, 4)}};
  for (const std::vector<Point2>& v : aCases) {  // the first two points are the diagonal that stays
    Zarn_2D dt;
    std::vector<Point2*> vH;
    for (const Point2& p : v) vH.push_back(dt.insert(p));
    EXPECT_NE(dt.getAdjacentTriangle(vH[0], vH[1]), nullptr) << v.back();
    EXPECT_DELAUNAY_OF(dt, v);
  }
}

// Skipped with one warning carrying the count, a null handle each; in bulk (any thread count),
// in the flat array, one by one, and before the triangulation is 2D.
TEST(Dt2Insert, NonFinitePointsAreSkippedWithOneWarningCarryingTheCount) {
  const auto expectWarning = [](const std::string& where, const std::string& message, const std::function<void()>& action) {
    const std::string out(zarn_test::captureStdout(action));
    EXPECT_TRUE(countLinesContaining(out, ", WARNING: ") == 1 && out.find(warningLine(where, message) + "\n") != std::string::npos) << out;
  };
  const std::string bulk("Dt2::insertVector(..)"), single("Dt2::insert(..)"), rejected("A point with a non-finite coordinate was rejected");
  const auto skipped = [](int num) { return std::to_string(num) + " point(s) with a non-finite coordinate skipped, their handles are NULL"; };
  std::vector<Point2> v(concat(randomPoints(1500, 121, -1.0, 1.0), {Point2(kNaN, kNaN), Point2(kInf, 0.0), Point2(0.5, -kInf)}));
  v[0] = Point2(kNaN, 0.25);
  v[17] = Point2(-kInf, kInf);
  v[400] = Point2(0.0, kNaN);
  v[1499] = Point2(kInf, -kInf);
  for (int numCPU : {1, 2}) {
    Zarn_2D dt;
    dt.setNumCPU(numCPU);
    std::vector<Point2*> vHandles;
    expectWarning(bulk, skipped(7), [&] { dt.insert(v, vHandles); });
    for (size_t i = 0; i < v.size(); ++i) EXPECT_EQ(vHandles[i] == nullptr, !std::isfinite(v[i].x() + v[i].y())) << i;
    EXPECT_DELAUNAY_OF(dt, v);  // the oracle drops non-finite points
    EXPECT_TRUE(std::isfinite(dt.computeBoundingBox().get_minX()) && std::isfinite(dt.computeBoundingBox().get_maxY()));
    EXPECT_EQ(zarn_test::captureStdout([&] { dt.insert(concat(std::vector<Point2>(v.begin() + 1, v.begin() + 17), randomPoints(100, 123))); }), "");
    expectWarning(single, rejected, [&] { EXPECT_EQ(dt.insert(Point2(1, -kInf)), nullptr); });
  }
  std::vector<double> vCoords{0.0, 0.0, kNaN, 1.0, 1.0, 0.0, 0.0, 1.0, 2.0, kInf};
  std::vector<Point2*> vHandles(5, reinterpret_cast<Point2*>(&vCoords)), vOne;  // garbage to be overwritten
  Zarn_2D dt, empty;
  expectWarning(bulk, skipped(2), [&] { dt.insert(5, vCoords.data(), vHandles.data()); });
  EXPECT_TRUE(vHandles[1] == nullptr && vHandles[4] == nullptr && vHandles[3] != nullptr);
  EXPECT_DELAUNAY_OF(dt, (std::vector<Point2>{Point2(0, 0), Point2(1, 0), Point2(0, 1)}));
  expectWarning(bulk, skipped(1), [&] { empty.insert(std::vector<Point2>{Point2(kNaN, 0.0)}, vOne); });
  EXPECT_TRUE(vOne.size() == 1 && vOne[0] == nullptr);
  expectWarning(single, rejected, [&] { EXPECT_EQ(empty.insert(Point2(kNaN, 1)), nullptr); });
  empty.insert(std::vector<Point2>());
  EXPECT_EQ(empty.numberOfPoints(), 0u);
}

}  // namespace
