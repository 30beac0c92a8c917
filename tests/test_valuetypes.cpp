// Value types of the planar kernel: Point2, Vector2, Bbox2, Segment2, Circle2, VertexPair2 and the
// segment comparator.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "Bbox2.h"
#include "Circle2.h"
#include "Func_compareSegment.h"
#include "Point2.h"
#include "Segment2.h"
#include "Vector2.h"
#include "VertexPair2.h"
#include "ZarnException.h"
#include "freeFunctions.h"
#include "test_support.h"

namespace KORA_ZARN2D {
namespace {

using zarn_test::captureStdout;

constexpr double kLargest = std::numeric_limits<double>::max();

std::string warningLine(const std::string& where, const std::string& msg) {
  return "\n      [Zarn2D-Message] " + where + ", WARNING: " + msg + "\n\n";
}

void expectBounds(const Bbox2& box, double minX, double minY, double maxX, double maxY) {
  EXPECT_EQ(box.get_minX(), minX);
  EXPECT_EQ(box.get_minY(), minY);
  EXPECT_EQ(box.get_maxX(), maxX);
  EXPECT_EQ(box.get_maxY(), maxY);
}

// ----- Point2, Vector2 -------------------------------------------------------------------------

TEST(Vector2, ArithmeticNormalizeAndTheLeftUnitNormal) {
  const Vector2 a(3, 4), b(-1, 2);
  EXPECT_EQ((a + b).x() + (a - b).y() + (-a).x() + (2.0 * a).y() + (a * 2.0).x() + (a / 2.0).x(), 2 + 2 - 3 + 8 + 6 + 1.5);
  EXPECT_EQ(a * b, 5);
  EXPECT_EQ(a.length(), 5);
  EXPECT_EQ(a.sqLength(), 25);
  EXPECT_TRUE(Vector2(-0.0, 0.0).isDegenerate());
  EXPECT_FALSE(Vector2(0, 1e-300).isDegenerate());
  Vector2 result(1, 1);
  EXPECT_EQ(captureStdout([&result] { result = normalize(Vector2(0, 0)); }), "warning: normalize(const Vector2& other), Null length vector!\n");
  EXPECT_TRUE(result.isDegenerate());
  EXPECT_EQ(normalize(Vector2(0, -4)).y(), -1);
  EXPECT_TRUE(Vector2(0, 0).orthogonalVector().isDegenerate());
  std::mt19937_64 engine(7);
  std::uniform_real_distribution<double> coordinate(-1e6, 1e6);
  for (int i = 0; i < 1000; ++i) {
    const Vector2 v(coordinate(engine), coordinate(engine));
    const Vector2 normal(v.orthogonalVector());
    EXPECT_NEAR(normal.length(), 1.0, 1e-15);
    EXPECT_NEAR(normal * v, 0.0, 1e-9 * v.length());
    const Point2 origin(0, 0), tip(v.x(), v.y()), normalTip(normal.x(), normal.y());
    EXPECT_EQ(getOrientation2(&origin, &tip, &normalTip), ORIENTATION2_CCW);
  }
}

// ----- Bbox2 ---------------------------------------------------------------------------------

// add() tells whether the box changed; bounds set before the first point stay.
TEST(Bbox2, AddsReportWhetherTheBoxChanged) {
  Bbox2 box;
  EXPECT_FALSE(box.isValid());
  expectBounds(box, kLargest, kLargest, -kLargest, -kLargest);
  EXPECT_TRUE(box.add(Point2(5, 7)));
  expectBounds(box, 5, 7, 5, 7);
  EXPECT_FALSE(box.add(Point2(5, 7)));
  EXPECT_TRUE(box.add(Point2(3, 9)));
  EXPECT_FALSE(box.add(Point2(4, 8)));
  const double coordinates[] = {1, 2, -1, 4};
  Bbox2 bulk;
  EXPECT_TRUE(bulk.add(2, coordinates));
  expectBounds(bulk, -1, 2, 1, 4);
  std::vector<Point2> vInside{Point2(0, 3), Point2(1, 2)};
  EXPECT_FALSE(bulk.add(vInside.cbegin(), vInside.cend()));
  Point2 outside(0, 10);
  const std::vector<Point2*> vPointers{&vInside[0], &outside};
  EXPECT_TRUE(bulk.add(vPointers.cbegin(), vPointers.cend()));
  expectBounds(bulk, -1, 2, 1, 10);
  expectBounds(Bbox2(vInside.cbegin(), vInside.cend()), 0, 2, 1, 3);
  Bbox2 preset;
  preset.setMinX(-10);
  preset.setMaxY(20);
  EXPECT_TRUE(preset.add(Point2(1, 2)));
  expectBounds(preset, -10, 2, 1, 20);
}

TEST(Bbox2, MergeCenterAndIntersectionWarnAboutInvalidBoxes) {
  Bbox2 box, invalid, result;
  box.add(Point2(0, 0));
  box.add(Point2(1, 1));
  EXPECT_EQ(captureStdout([&] { result = box + invalid; }), warningLine("Box2::operator+()", "trying to add an invalid Bbox2"));
  expectBounds(result, 0, 0, 1, 1);
  EXPECT_EQ(captureStdout([&] { invalid.computeCenter(); }), warningLine("Bbox2::computeCenter()", "Bbox2 is invalid"));
  bool bResult(true);
  EXPECT_EQ(captureStdout([&] { bResult = box.doIntersect(invalid); }), warningLine("Bbox2::doIntersect()", "bbox invalid"));
  EXPECT_FALSE(bResult);
  Bbox2 other;
  other.add(Point2(-2, 0.5));
  other.add(Point2(0.5, 3));
  result = box + other;  // merges into box as well
  expectBounds(box, -2, 0, 1, 3);
  expectBounds(result, -2, 0, 1, 3);
  Bbox2 empty;
  empty + other;
  expectBounds(empty, -2, 0.5, 0.5, 3);
  EXPECT_FALSE(empty.add(Point2(0, 1)));  // the merged box counts as valid for add()
  EXPECT_EQ(other.computeCenter(), Point2(-0.75, 1.75));
}

// ----- Segment2, Circle2, VertexPair2, Func_compareSegment ---------------------------------------

}  // namespace
}  // namespace KORA_ZARN2D
