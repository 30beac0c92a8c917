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

// A recognisable, never dereferenced triangle handle.
Triangle2* fakeTriangle() {
  static int anchor;
  return reinterpret_cast<Triangle2*>(&anchor);
}

void expectBounds(const Bbox2& box, double minX, double minY, double maxX, double maxY) {
  EXPECT_EQ(box.get_minX(), minX);
  EXPECT_EQ(box.get_minY(), minY);
  EXPECT_EQ(box.get_maxX(), maxX);
  EXPECT_EQ(box.get_maxY(), maxY);
}

// ----- Point2, Vector2 -------------------------------------------------------------------------

// A copy drops the incident triangle (it belongs to the vertex), an assignment keeps it; order and
// equality look at the coordinates only.
TEST(Point2, CopyAssignmentOrderAndEquality) {
  Point2 vertex(1.5, -2.5);
  vertex.setCustomIndex(17);
  vertex.setIncidentTriangle(fakeTriangle());
  const Point2 copy(vertex);
  EXPECT_EQ(copy.getIncidentTriangle(), nullptr);
  EXPECT_EQ(copy.getCustomIndex(), 17);
  Point2 assigned(0, 0);
  assigned = vertex;
  EXPECT_EQ(assigned.getIncidentTriangle(), fakeTriangle());
  EXPECT_EQ(Point2().x(), -kLargest);
  EXPECT_EQ(Point2(3, 4).getCustomIndex(), -1);
  for (const Point2& p : {Point2(-kLargest, -1e300), Point2(-1e300, -kLargest), Point2(0, 0)}) EXPECT_TRUE(Point2() < p && p > Point2());
  EXPECT_TRUE(Point2(1, 5) < Point2(2, -5) && Point2(1, 4) < Point2(1, 5));
  EXPECT_FALSE(Point2(1, 5) < Point2(1, 5) || Point2(1, 5) > Point2(1, 5));
  EXPECT_TRUE(copy == Point2(1.5, -2.5) && !(copy != Point2(1.5, -2.5)));
  EXPECT_TRUE(Point2(1, 5) != Point2(1, std::nextafter(5.0, 6.0)));
  EXPECT_EQ(Point2(2, -9).getMaxAbs(), 9);
  std::ostringstream text;
  text << Point2(0.5, 2);
  EXPECT_EQ(text.str().rfind("Point2 (", 0), 0u) << text.str();
}

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

TEST(Bbox2, IntersectionAndMembershipAreClosed) {
  Bbox2 a, b, c;
  a.add(Point2(0, 0));
  a.add(Point2(1, 1));
  b.add(Point2(1, 0.5));  // shares the edge x = 1 with a
  b.add(Point2(2, 2));
  c.add(Point2(1.5, -1));
  c.add(Point2(3, -0.5));
  EXPECT_TRUE(a.doIntersect(b) && b.doIntersect(a));
  EXPECT_FALSE(a.doIntersect(c) || c.doIntersect(b));
  EXPECT_FALSE(Bbox2().isInBox(Point2(0, 0)));
  EXPECT_TRUE(a.isInBox(Point2(1, 1)) && a.isInBox(Point2(0, 0.5)));
  EXPECT_FALSE(a.isInBox(Point2(1, std::nextafter(1.0, 2.0))) || a.isInBox(Point2(-1e-300, 0.5)));
}

TEST(Bbox2, InflateDoubleEnlargeAndCorners) {
  Bbox2 box;
  box.inflateIfDegenerate(1);
  EXPECT_FALSE(box.isValid());
  box.add(Point2(5, 7));
  box.inflateIfDegenerate(1);
  box.inflateIfDegenerate(1);
  expectBounds(box, 5, 7, 6, 8);
  Bbox2 wide;
  wide.add(Point2(0, 10));
  wide.add(Point2(4, 12));
  wide.doubleTheBox();
  expectBounds(wide, -2, 9, 6, 13);
  wide.enlargeRanges(1.5);
  expectBounds(wide, -4, 8, 8, 14);
  EXPECT_EQ(wide.getRangeX() + wide.getRangeY() + wide.getMaxRange(), 12 + 6 + 12);
  EXPECT_EQ(wide.getMinCoord() + wide.getMaxCoord(), -4 + 14);
  EXPECT_TRUE(wide.getMinPoint() == Point2(-4, 8) && wide.getMaxPoint() == Point2(8, 14));
  Bbox2 small;
  small.add(Point2(1, 2));
  small.add(Point2(3, 5));
  std::vector<Point2> vCorners{Point2(9, 9)};
  small.getCorners(vCorners);
  small.getOffsetCorners(0.5, vCorners);
  EXPECT_EQ(vCorners, (std::vector<Point2>{Point2(9, 9), Point2(1, 2), Point2(3, 2), Point2(3, 5), Point2(1, 5), Point2(0.5, 1.5),
                                           Point2(3.5, 1.5), Point2(3.5, 5.5), Point2(0.5, 5.5)}));
}

// ----- Segment2, Circle2, VertexPair2, Func_compareSegment ---------------------------------------

TEST(Segment2, EndsAreCopiesEqualityIsUndirectedAndCoordinateOnly) {
  Point2 source(0, 0), target(3, 4);
  source.setCustomIndex(1);
  source.setIncidentTriangle(fakeTriangle());
  Segment2 segment(source, target);
  EXPECT_EQ(segment.getSrc().getIncidentTriangle(), nullptr);
  EXPECT_EQ(segment.getSqLen2D(), 25);
  segment.swapSrcTrg();
  EXPECT_EQ(segment.getSrc(), target);
  EXPECT_EQ(segment.getTrg().getCustomIndex(), 1);
  const Point2 a(0, 0), b(1, 2), c(1, 3);
  EXPECT_TRUE(Segment2(a, b) == Segment2(b, a) && Segment2(a, b) == Segment2(source, b));
  EXPECT_FALSE(Segment2(a, b) == Segment2(a, c) || Segment2(a, b) == Segment2(c, a) || Segment2(a, a) == Segment2(a, b));
  const Circle2 circle(source, 9);
  EXPECT_EQ(circle.getRadius(), 3);
  EXPECT_EQ(circle.getCenter().getIncidentTriangle(), nullptr);
}

TEST(VertexPair2, NamesAnUndirectedEdgeOrderedByAddresses) {
  std::vector<Point2> vVertices{Point2(0, 0), Point2(3, 4), Point2(1, 1)};
  Point2 *p(&vVertices[0]), *q(&vVertices[1]), *r(&vVertices[2]);
  const VertexPair2 pq(p, q), qp(q, p);
  EXPECT_TRUE(pq == qp);
  EXPECT_TRUE(qp.getP0() == p && qp.getP1() == q);
  EXPECT_EQ(qp.getSqLen2D(), 25);
  EXPECT_FALSE(pq == VertexPair2(p, r));
  const std::set<VertexPair2> sEdges{VertexPair2(r, q), pq, qp, VertexPair2(q, r), VertexPair2(r, p)};
  EXPECT_EQ(sEdges.size(), 3u);
  EXPECT_TRUE(*sEdges.begin() == VertexPair2(p, q));
}

TEST(Func_compareSegment, OrdersBySourceThenTarget) {
  const Segment2 s0(Point2(0, 0), Point2(5, 5)), s1(Point2(0, 0), Point2(1, 9)), s2(Point2(0, 1), Point2(-9, -9));
  const Segment2 s0Twin(Point2(0, 0), Point2(5, 5)), s0Reversed(Point2(5, 5), Point2(0, 0));
  std::set<const Segment2*, Func_compareSegment> sSegments;
  for (const Segment2* pSegment : {&s2, &s0, &s1, &s0Twin, &s0Reversed}) sSegments.insert(pSegment);
  EXPECT_EQ(std::vector<const Segment2*>(sSegments.begin(), sSegments.end()), (std::vector<const Segment2*>{&s1, &s0, &s2, &s0Reversed}));
}

}  // namespace
}  // namespace KORA_ZARN2D
