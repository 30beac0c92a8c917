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

// ----- Point2 --------------------------------------------------------------------------------

TEST(Point2, CopyDropsTheTriangleButKeepsTheCustomIndexAssignmentCopiesAll) {
  Point2 vertex(1.5, -2.5);
  vertex.setCustomIndex(17);
  vertex.setIncidentTriangle(fakeTriangle());

  const Point2 copy(vertex);
  EXPECT_EQ(copy.getIncidentTriangle(), nullptr);
  EXPECT_EQ(copy.getCustomIndex(), 17);
  EXPECT_EQ(copy.x(), 1.5);
  EXPECT_EQ(copy.y(), -2.5);

  Point2 assigned(0, 0);
  assigned = vertex;
  EXPECT_EQ(assigned.getIncidentTriangle(), fakeTriangle());
  EXPECT_EQ(assigned.getCustomIndex(), 17);
}

TEST(Point2, ConstructorsStartUnassociated) {
  const Point2 lowest;
  EXPECT_EQ(lowest.x(), -kLargest);
  EXPECT_EQ(lowest.y(), -kLargest);
  EXPECT_EQ(lowest.getCustomIndex(), -1);
  EXPECT_EQ(lowest.getIncidentTriangle(), nullptr);
  EXPECT_EQ(Point2(3, 4).getCustomIndex(), -1);
}

TEST(Point2, OrderIsLexicographicAndIgnoresNonCoordinates) {
  const Point2 lowest;
  for (const Point2& p : {Point2(-kLargest, -1e300), Point2(-1e300, -kLargest), Point2(0, 0)}) {
    EXPECT_TRUE(lowest < p);
    EXPECT_TRUE(p > lowest);
    EXPECT_FALSE(p < lowest);
  }
  EXPECT_TRUE(Point2(1, 5) < Point2(2, -5));
  EXPECT_TRUE(Point2(1, 4) < Point2(1, 5));
  EXPECT_FALSE(Point2(1, 5) < Point2(1, 5));
  EXPECT_FALSE(Point2(1, 5) > Point2(1, 5));

  Point2 tagged(1, 5);
  tagged.setCustomIndex(3);
  tagged.setIncidentTriangle(fakeTriangle());
  EXPECT_TRUE(tagged == Point2(1, 5));
  EXPECT_FALSE(tagged != Point2(1, 5));
  EXPECT_TRUE(Point2(1, 5) != Point2(1, std::nextafter(5.0, 6.0)));
}

TEST(Point2, AccessorsAndStreamPrefix) {
  double x(0), y(0);
  Point2(-7, 3).xy(x, y);
  EXPECT_EQ(x, -7);
  EXPECT_EQ(y, 3);
  EXPECT_EQ(Point2(-7, 3).getMaxAbs(), 7);
  EXPECT_EQ(Point2(2, -9).getMaxAbs(), 9);
  std::ostringstream text;
  text << Point2(0.5, 2);
  EXPECT_EQ(text.str().rfind("Point2 (", 0), 0u) << text.str();
}

// ----- Vector2 -------------------------------------------------------------------------------

TEST(Vector2, ArithmeticAndLengths) {
  const Vector2 a(3, 4), b(-1, 2);
  EXPECT_EQ((a + b).x(), 2);
  EXPECT_EQ((a - b).y(), 2);
  EXPECT_EQ((-a).x(), -3);
  EXPECT_EQ((2.0 * a).y(), 8);
  EXPECT_EQ((a * 2.0).x(), 6);
  EXPECT_EQ((a / 2.0).x(), 1.5);
  EXPECT_EQ(a * b, 5);
  EXPECT_EQ(a.length(), 5);
  EXPECT_EQ(a.sqLength(), 25);
  EXPECT_TRUE(Vector2().isDegenerate());
  EXPECT_TRUE(Vector2(-0.0, 0.0).isDegenerate());
  EXPECT_FALSE(Vector2(0, 1e-300).isDegenerate());
}

TEST(Vector2, NormalizeOfNullVectorWarns) {
  Vector2 result(1, 1);
  EXPECT_EQ(captureStdout([&result] { result = normalize(Vector2(0, 0)); }),
            "warning: normalize(const Vector2& other), Null length vector!\n");
  EXPECT_TRUE(result.isDegenerate());
  const Vector2 unit(normalize(Vector2(0, -4)));
  EXPECT_EQ(unit.x(), 0);
  EXPECT_EQ(unit.y(), -1);
}

TEST(Vector2, OrthogonalVectorIsTheLeftUnitNormal) {
  EXPECT_EQ(Vector2(2, 0).orthogonalVector().x(), 0);
  EXPECT_EQ(Vector2(2, 0).orthogonalVector().y(), 1);
  EXPECT_EQ(Vector2(0, -3).orthogonalVector().x(), 1);
  EXPECT_EQ(Vector2(-5, 0).orthogonalVector().y(), -1);
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

TEST(Bbox2, FirstPointMakesTheBoxValid) {
  Bbox2 box;
  EXPECT_FALSE(box.isValid());
  expectBounds(box, kLargest, kLargest, -kLargest, -kLargest);
  EXPECT_TRUE(box.add(Point2(5, 7)));
  EXPECT_TRUE(box.isValid());
  expectBounds(box, 5, 7, 5, 7);
  EXPECT_FALSE(box.add(Point2(5, 7)));
  EXPECT_TRUE(box.add(Point2(3, 9)));
  expectBounds(box, 3, 7, 5, 9);
  EXPECT_FALSE(box.add(Point2(4, 8)));
}

TEST(Bbox2, BulkAddsReportWhetherTheBoxChanged) {
  const double coordinates[] = {1, 2, -1, 4};
  Bbox2 box;
  EXPECT_TRUE(box.add(2, coordinates));
  expectBounds(box, -1, 2, 1, 4);
  std::vector<Point2> vInside{Point2(0, 3), Point2(1, 2)};
  EXPECT_FALSE(box.add(vInside.cbegin(), vInside.cend()));
  Point2 outside(0, 10);
  const std::vector<Point2*> vPointers{&vInside[0], &outside};
  EXPECT_TRUE(box.add(vPointers.cbegin(), vPointers.cend()));
  expectBounds(box, -1, 2, 1, 10);
  const Bbox2 fromRange(vInside.cbegin(), vInside.cend());
  expectBounds(fromRange, 0, 2, 1, 3);
}

TEST(Bbox2, BoundsSetBeforeTheFirstPointAreKept) {
  Bbox2 box;
  box.setMinX(-10);
  box.setMaxY(20);
  EXPECT_TRUE(box.add(Point2(1, 2)));
  expectBounds(box, -10, 2, 1, 20);
}

TEST(Bbox2, ValidityFollowsMinXOnly) {
  Bbox2 box;
  box.setMinX(0);
  EXPECT_TRUE(box.isValid());
}

TEST(Bbox2, InflateOnlyDegenerateValidBoxes) {
  Bbox2 box;
  box.inflateIfDegenerate(1);
  EXPECT_FALSE(box.isValid());
  box.add(Point2(5, 7));
  box.inflateIfDegenerate(1);
  expectBounds(box, 5, 7, 6, 8);
  box.inflateIfDegenerate(1);
  expectBounds(box, 5, 7, 6, 8);
}

TEST(Bbox2, MergeWithOperatorPlus) {
  Bbox2 box, invalid;
  box.add(Point2(0, 0));
  box.add(Point2(1, 1));
  Bbox2 result;
  EXPECT_EQ(captureStdout([&] { result = box + invalid; }),
            warningLine("Box2::operator+()", "trying to add an invalid Bbox2"));
  expectBounds(box, 0, 0, 1, 1);
  expectBounds(result, 0, 0, 1, 1);

  Bbox2 other;
  other.add(Point2(-2, 0.5));
  other.add(Point2(0.5, 3));
  result = box + other;
  expectBounds(box, -2, 0, 1, 3);
  expectBounds(result, -2, 0, 1, 3);

  Bbox2 empty;
  empty + other;
  EXPECT_TRUE(empty.isValid());
  expectBounds(empty, -2, 0.5, 0.5, 3);
  EXPECT_FALSE(empty.add(Point2(0, 1)));  // the merged box counts as valid for add()
}

TEST(Bbox2, CenterOfInvalidBoxWarns) {
  Bbox2 box;
  EXPECT_EQ(captureStdout([&box] { box.computeCenter(); }), warningLine("Bbox2::computeCenter()", "Bbox2 is invalid"));
  box.add(Point2(1, 2));
  box.add(Point2(3, 8));
  const Point2 center(box.computeCenter());
  EXPECT_EQ(center, Point2(2, 5));
}

TEST(Bbox2, IntersectionIsClosedAndNeedsValidBoxes) {
  Bbox2 a, b, c, invalid;
  a.add(Point2(0, 0));
  a.add(Point2(1, 1));
  b.add(Point2(1, 0.5));  // shares the edge x = 1 with a
  b.add(Point2(2, 2));
  c.add(Point2(1.5, -1));
  c.add(Point2(3, -0.5));
  EXPECT_TRUE(a.doIntersect(b));
  EXPECT_TRUE(b.doIntersect(a));
  EXPECT_FALSE(a.doIntersect(c));
  EXPECT_FALSE(c.doIntersect(b));
  bool bResult(true);
  EXPECT_EQ(captureStdout([&] { bResult = a.doIntersect(invalid); }),
            warningLine("Bbox2::doIntersect()", "bbox invalid"));
  EXPECT_FALSE(bResult);
}

TEST(Bbox2, IsInBoxIsClosed) {
  Bbox2 box;
  EXPECT_FALSE(box.isInBox(Point2(0, 0)));
  box.add(Point2(0, 0));
  box.add(Point2(2, 1));
  EXPECT_TRUE(box.isInBox(Point2(2, 1)));
  EXPECT_TRUE(box.isInBox(Point2(0, 0.5)));
  EXPECT_FALSE(box.isInBox(Point2(2, std::nextafter(1.0, 2.0))));
  EXPECT_FALSE(box.isInBox(Point2(-1e-300, 0.5)));
}

TEST(Bbox2, DoublingAndEnlargingKeepTheCenter) {
  Bbox2 box;
  box.add(Point2(0, 10));
  box.add(Point2(4, 12));
  box.doubleTheBox();
  expectBounds(box, -2, 9, 6, 13);
  box.enlargeRanges(1.5);
  expectBounds(box, -4, 8, 8, 14);
  EXPECT_EQ(box.getRangeX(), 12);
  EXPECT_EQ(box.getRangeY(), 6);
  EXPECT_EQ(box.getMaxRange(), 12);
  EXPECT_EQ(box.getMinCoord(), -4);
  EXPECT_EQ(box.getMaxCoord(), 14);
  EXPECT_EQ(box.getMinPoint(), Point2(-4, 8));
  EXPECT_EQ(box.getMaxPoint(), Point2(8, 14));
  double minX(0), minY(0), maxX(0), maxY(0);
  box.getBounds(minX, minY, maxX, maxY);
  EXPECT_EQ(minX, -4);
  EXPECT_EQ(maxY, 14);
}

TEST(Bbox2, CornersAreAppendedCounterclockwiseFromTheMinimum) {
  Bbox2 box;
  box.add(Point2(1, 2));
  box.add(Point2(3, 5));
  std::vector<Point2> vCorners{Point2(9, 9)};
  box.getCorners(vCorners);
  box.getOffsetCorners(0.5, vCorners);
  const std::vector<Point2> vExpected{Point2(9, 9),     Point2(1, 2),     Point2(3, 2),     Point2(3, 5),
                                     Point2(1, 5),     Point2(0.5, 1.5), Point2(3.5, 1.5), Point2(3.5, 5.5),
                                     Point2(0.5, 5.5)};
  EXPECT_EQ(vCorners, vExpected);
}

// ----- Segment2, Circle2 ---------------------------------------------------------------------

TEST(Segment2, EndsAreCopiesAndSwapKeepsNoTriangle) {
  Point2 source(0, 0), target(3, 4);
  source.setCustomIndex(1);
  target.setCustomIndex(2);
  source.setIncidentTriangle(fakeTriangle());
  target.setIncidentTriangle(fakeTriangle());
  Segment2 segment(source, target);
  EXPECT_EQ(segment.getSrc().getIncidentTriangle(), nullptr);
  EXPECT_EQ(segment.getTrg().getCustomIndex(), 2);
  EXPECT_EQ(segment.getSqLen2D(), 25);
  segment.swapSrcTrg();
  EXPECT_EQ(segment.getSrc(), target);
  EXPECT_EQ(segment.getTrg(), source);
  EXPECT_EQ(segment.getSrc().getCustomIndex(), 2);
  EXPECT_EQ(segment.getTrg().getCustomIndex(), 1);
  EXPECT_EQ(segment.getTrg().getIncidentTriangle(), nullptr);
}

TEST(Segment2, EqualityIsUndirectedAndCoordinateOnly) {
  const Point2 a(0, 0), b(1, 2), c(1, 3);
  Point2 taggedA(0, 0);
  taggedA.setCustomIndex(5);
  EXPECT_TRUE(Segment2(a, b) == Segment2(b, a));
  EXPECT_TRUE(Segment2(a, b) == Segment2(taggedA, b));
  EXPECT_FALSE(Segment2(a, b) == Segment2(a, c));
  EXPECT_FALSE(Segment2(a, b) == Segment2(c, a));
  EXPECT_FALSE(Segment2(a, a) == Segment2(a, b));
}

TEST(Circle2, CentreAndRadius) {
  Point2 center(1, 2);
  center.setCustomIndex(4);
  center.setIncidentTriangle(fakeTriangle());
  const Circle2 circle(center, 9);
  EXPECT_EQ(circle.getSqRadius(), 9);
  EXPECT_EQ(circle.getRadius(), 3);
  EXPECT_EQ(circle.getCenter(), center);
  EXPECT_EQ(circle.getCenter().getCustomIndex(), 4);
  EXPECT_EQ(circle.getCenter().getIncidentTriangle(), nullptr);
  EXPECT_EQ(Circle2(1, 2, 2).getCenter().getCustomIndex(), -1);
  EXPECT_EQ(Circle2(1, 2, 2).getRadius(), std::sqrt(2.0));
}

// ----- VertexPair2, Func_compareSegment ------------------------------------------------------

TEST(VertexPair2, NamesAnUndirectedEdge) {
  std::vector<Point2> vVertices{Point2(0, 0), Point2(3, 4), Point2(1, 1)};
  Point2* p(&vVertices[0]);
  Point2* q(&vVertices[1]);
  Point2* r(&vVertices[2]);
  const VertexPair2 pq(p, q), qp(q, p);
  EXPECT_TRUE(pq == qp);
  EXPECT_EQ(qp.getP0(), p);
  EXPECT_EQ(qp.getP1(), q);
  EXPECT_EQ(qp.getSqLen2D(), 25);
  EXPECT_FALSE(pq == VertexPair2(p, r));

  const std::set<VertexPair2> sEdges{VertexPair2(r, q), pq, qp, VertexPair2(q, r), VertexPair2(r, p)};
  EXPECT_EQ(sEdges.size(), 3u);
  EXPECT_TRUE(*sEdges.begin() == VertexPair2(p, q));  // ordered by first address, then second
}

TEST(Func_compareSegment, OrdersBySourceThenTarget) {
  const Segment2 s0(Point2(0, 0), Point2(5, 5)), s1(Point2(0, 0), Point2(1, 9)), s2(Point2(0, 1), Point2(-9, -9));
  const Segment2 s0Twin(Point2(0, 0), Point2(5, 5)), s0Reversed(Point2(5, 5), Point2(0, 0));
  std::set<const Segment2*, Func_compareSegment> sSegments;
  for (const Segment2* pSegment : {&s2, &s0, &s1, &s0Twin, &s0Reversed}) sSegments.insert(pSegment);
  ASSERT_EQ(sSegments.size(), 4u);
  const std::vector<const Segment2*> vOrder(sSegments.begin(), sSegments.end());
  const std::vector<const Segment2*> vExpected{&s1, &s0, &s2, &s0Reversed};
  EXPECT_EQ(vOrder, vExpected);
  EXPECT_EQ(sSegments.count(&s0Twin), 1u);
}

}  // namespace
}  // namespace KORA_ZARN2D
