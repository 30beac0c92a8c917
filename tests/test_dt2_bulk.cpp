// Bulk insertion: agreement with single insertion and across thread counts, handles in input
// order, repeated points, non-finite points, the collinear phase, grids and extreme
// coordinates.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <vector>

#include "dt2_test_support.h"

using namespace KORA_ZARN2D;
using namespace dt2test;

namespace {

std::vector<TriangleKey> bulkSignature(const std::vector<Point2>& v, int numCPU) {
  Zarn_2D dt;
  dt.setNumCPU(numCPU);
  dt.insert(v);
  EXPECT_TRUE(isDelaunayTriangulationOf(dt, v)) << "numCPU=" << numCPU;
  return triangleSignature(dt);
}

std::vector<TriangleKey> singleSignature(const std::vector<Point2>& v) {
  Zarn_2D dt;
  for (const Point2& p : v) dt.insert(p);
  return triangleSignature(dt);
}

// Input points whose custom index is their input position.
std::vector<Point2> indexed(std::vector<Point2> v) {
  for (size_t i = 0; i < v.size(); ++i) v[i].setCustomIndex(static_cast<int>(i));
  return v;
}

// For every input index: the handle is non-null, stands at the input position and is the
// handle of the first input point at that position (identified by its custom index).
void expectHandlesOfFirstOccurrence(const std::vector<Point2>& vInput, const std::vector<Point2*>& vHandles) {
  ASSERT_EQ(vHandles.size(), vInput.size());
  std::map<std::pair<double, double>, size_t> mFirst;
  for (size_t i = 0; i < vInput.size(); ++i) {
    mFirst.emplace(std::make_pair(vInput[i].x() + 0.0, vInput[i].y() + 0.0), i);  // + 0.0 folds -0.0
    ASSERT_NE(vHandles[i], nullptr) << i;
    EXPECT_TRUE(sameXY(*vHandles[i], vInput[i])) << i;
    const size_t first(mFirst[std::make_pair(vInput[i].x() + 0.0, vInput[i].y() + 0.0)]);
    EXPECT_EQ(vHandles[i], vHandles[first]) << i;
    EXPECT_EQ(vHandles[i]->getCustomIndex(), static_cast<int>(first)) << i;
  }
}

const size_t kLargeDifferential = DT2TEST_SANITIZED ? 12000 : 30000;

}  // namespace

// ----- Differential -----------------------------------------------------------------------

TEST(Dt2BulkDifferential, SingleBulkAndShuffledBulkGiveTheSameTriangulation) {
  // Random doubles: no four points are cocircular, so the Delaunay triangulation is unique.
  std::vector<Point2> v(randomPoints(4000, 101, -50.0, 50.0));
  const std::vector<TriangleKey> single(singleSignature(v));
  EXPECT_EQ(bulkSignature(v, 1), single);
  shuffleWithSeed(v, 102);
  EXPECT_EQ(bulkSignature(v, 1), single);
}

TEST(Dt2BulkDifferential, ThreadCountsGiveTheSameTriangulation) {
  // Large enough for the parallel key computation (>= 1000 points) and for the four-way sort
  // of the vertex store with 4 threads (>= 10000 records).
  const std::vector<Point2> v(randomPoints(kLargeDifferential, 103, 0.0, 1.0));
  const std::vector<TriangleKey> one(bulkSignature(v, 1));
  EXPECT_EQ(bulkSignature(v, 2), one);
  EXPECT_EQ(bulkSignature(v, 4), one);
  EXPECT_EQ(bulkSignature(v, 7), one);
}

TEST(Dt2BulkDifferential, SmallSetsWithSeveralThreads) {
  // Below the parallel thresholds, but the auxiliary box is still used: the result must not
  // depend on it.
  for (size_t n : {3u, 4u, 5u, 17u, 200u}) {
    const std::vector<Point2> v(randomPoints(n, 104 + static_cast<unsigned>(n), -1.0, 1.0));
    EXPECT_EQ(bulkSignature(v, 3), bulkSignature(v, 1)) << "n=" << n;
  }
}

TEST(Dt2BulkDifferential, BulkIntoAnExistingTriangulation) {
  const std::vector<Point2> v(randomPoints(6000, 105, -1.0, 1.0));
  const std::vector<TriangleKey> all(singleSignature(v));
  for (int numCPU : {1, 2, 4}) {
    Zarn_2D dt;
    dt.setNumCPU(numCPU);
    // Some points one by one, then the rest in two batches; the second batch lies partly
    // outside the box of the first (the box grows).
    for (size_t i = 0; i < 300; ++i) dt.insert(v[i]);
    std::vector<Point2> vBatch1, vBatch2;
    for (size_t i = 300; i < v.size(); ++i) (v[i].x() < 0.5 ? vBatch1 : vBatch2).push_back(v[i]);
    dt.insert(vBatch1);
    dt.insert(vBatch2);
    EXPECT_EQ(triangleSignature(dt), all) << "numCPU=" << numCPU;
    EXPECT_DELAUNAY_OF(dt, v);
  }
}

TEST(Dt2BulkDifferential, ManySmallBatchesAgreeWithOneBatch) {
  const std::vector<Point2> v(randomPoints(3000, 106, 0.0, 1000.0));
  Zarn_2D dt;
  dt.setNumCPU(2);
  for (size_t i = 0; i < v.size(); i += 250) dt.insert(std::vector<Point2>(v.begin() + i, v.begin() + std::min(v.size(), i + 250)));
  EXPECT_EQ(triangleSignature(dt), bulkSignature(v, 1));
  EXPECT_DELAUNAY_OF(dt, v);
}

// ----- Handles and repeats ----------------------------------------------------------------

TEST(Dt2BulkHandles, HandlesInInputOrderWithTheirCoordinates) {
  const std::vector<Point2> v(indexed(randomPoints(2500, 111, -5.0, 5.0)));
  for (int numCPU : {1, 4}) {
    Zarn_2D dt;
    dt.setNumCPU(numCPU);
    std::vector<Point2*> vHandles(7, nullptr);  // overwritten, not appended to
    dt.insert(v, vHandles);
    expectHandlesOfFirstOccurrence(v, vHandles);
    std::vector<Point2*> vVertices;
    dt.getVertexPointers(vVertices);
    std::sort(vVertices.begin(), vVertices.end());
    std::vector<Point2*> vSorted(vHandles);
    std::sort(vSorted.begin(), vSorted.end());
    EXPECT_EQ(vSorted, vVertices);
  }
}

TEST(Dt2BulkHandles, RepeatsShareTheHandleOfTheFirstOccurrence) {
  // Every point three times, in scattered order, plus -0.0 variants.
  std::vector<Point2> vBase(randomPoints(1200, 112, -1.0, 1.0));
  vBase.emplace_back(0.0, 0.0);
  std::vector<Point2> v;
  for (int k = 0; k < 3; ++k) v.insert(v.end(), vBase.begin(), vBase.end());
  v.emplace_back(-0.0, -0.0);
  shuffleWithSeed(v, 113);
  v = indexed(v);
  for (int numCPU : {1, 2, 4}) {
    Zarn_2D dt;
    dt.setNumCPU(numCPU);
    std::vector<Point2*> vHandles;
    dt.insert(v, vHandles);
    expectHandlesOfFirstOccurrence(v, vHandles);
    EXPECT_EQ(dt.numberOfPoints(), vBase.size()) << "numCPU=" << numCPU;
    EXPECT_DELAUNAY_OF(dt, v);
  }
}

TEST(Dt2BulkHandles, RepeatsOfExistingVerticesGetTheExistingHandle) {
  Zarn_2D dt;
  const std::vector<Point2> vOld(randomPoints(500, 114, 0.0, 1.0));
  std::vector<Point2*> vOldHandles;
  for (const Point2& p : vOld) vOldHandles.push_back(dt.insert(p));
  std::vector<Point2> vNew(randomPoints(500, 115, 0.0, 1.0));
  for (size_t i = 0; i < vOld.size(); i += 5) vNew.push_back(vOld[i]);
  shuffleWithSeed(vNew, 116);
  std::vector<Point2*> vHandles;
  dt.insert(vNew, vHandles);
  for (size_t i = 0; i < vNew.size(); ++i) {
    ASSERT_TRUE(sameXY(*vHandles[i], vNew[i]));
    for (size_t k = 0; k < vOld.size(); k += 5) {
      if (sameXY(vOld[k], vNew[i])) {
        EXPECT_EQ(vHandles[i], vOldHandles[k]);
      }
    }
  }
  EXPECT_EQ(dt.numberOfPoints(), 1000u);
  std::vector<Point2> vAll(vOld);
  vAll.insert(vAll.end(), vNew.begin(), vNew.end());
  EXPECT_DELAUNAY_OF(dt, vAll);
  // Only repeats: nothing changes.
  const std::vector<TriangleKey> before(triangleSignature(dt));
  std::vector<Point2*> vAgain;
  dt.insert(vOld, vAgain);
  EXPECT_EQ(vAgain, vOldHandles);
  EXPECT_EQ(triangleSignature(dt), before);
  EXPECT_EQ(dt.numberOfPoints(), 1000u);
}

TEST(Dt2BulkHandles, FlatArrayOverload) {
  const std::vector<Point2> v(randomPoints(1500, 117, -2.0, 2.0));
  std::vector<double> vCoords;
  for (const Point2& p : v) {
    vCoords.push_back(p.x());
    vCoords.push_back(p.y());
  }
  vCoords.push_back(v[10].x());  // a repeat at the end
  vCoords.push_back(v[10].y());
  const int n(static_cast<int>(v.size()) + 1);
  for (int numCPU : {1, 2}) {
    Zarn_2D dt;
    dt.setNumCPU(numCPU);
    std::vector<Point2*> vHandles(static_cast<size_t>(n) + 1, nullptr);
    Point2* const pSentinel(reinterpret_cast<Point2*>(&vHandles));
    vHandles.back() = pSentinel;  // one past the end must stay untouched
    dt.insert(n, vCoords.data(), vHandles.data());
    for (int i = 0; i < n; ++i) {
      ASSERT_NE(vHandles[i], nullptr);
      EXPECT_EQ(vHandles[i]->x(), vCoords[2 * i]);
      EXPECT_EQ(vHandles[i]->y(), vCoords[2 * i + 1]);
      EXPECT_EQ(vHandles[i]->getCustomIndex(), -1);
    }
    EXPECT_EQ(vHandles[n - 1], vHandles[10]);
    EXPECT_EQ(vHandles.back(), pSentinel);
    EXPECT_EQ(dt.numberOfPoints(), v.size());
    EXPECT_EQ(triangleSignature(dt), bulkSignature(v, 1));
    // Without a handle array.
    Zarn_2D dtNoHandles;
    dtNoHandles.setNumCPU(numCPU);
    dtNoHandles.insert(n, vCoords.data(), nullptr);
    EXPECT_EQ(triangleSignature(dtNoHandles), triangleSignature(dt));
  }
}

TEST(Dt2BulkHandles, RepeatsWithoutAHandleVector) {
  std::vector<Point2> v(randomPoints(1500, 118, 0.0, 1.0));
  v.insert(v.end(), v.begin(), v.begin() + 300);
  shuffleWithSeed(v, 119);
  std::vector<double> vCoords;
  for (const Point2& p : v) {
    vCoords.push_back(p.x());
    vCoords.push_back(p.y());
  }
  for (int numCPU : {1, 2}) {
    Zarn_2D dt;
    dt.setNumCPU(numCPU);
    dt.insert(v);
    EXPECT_EQ(dt.numberOfPoints(), 1500u);
    EXPECT_DELAUNAY_OF(dt, v);
    Zarn_2D dtFlat;
    dtFlat.setNumCPU(numCPU);
    dtFlat.insert(static_cast<int>(v.size()), vCoords.data(), nullptr);
    EXPECT_EQ(dtFlat.numberOfPoints(), 1500u);
    EXPECT_EQ(triangleSignature(dtFlat), triangleSignature(dt));
  }
  // Collinear phase.
  std::vector<Point2> vLine;
  for (int i = 0; i < 50; ++i) vLine.emplace_back(i % 20, 1.0);
  Zarn_2D dtLine;
  dtLine.insert(vLine);
  EXPECT_EQ(dtLine.numberOfPoints(), 20u);
  vLine.emplace_back(0.5, 2.0);
  dtLine.insert(vLine);
  EXPECT_EQ(dtLine.numberOfPoints(), 21u);
  EXPECT_DELAUNAY_OF(dtLine, vLine);
}

TEST(Dt2BulkHandles, OnePositionRepeatedThousandsOfTimes) {
  for (int numCPU : {1, 2}) {
    Zarn_2D dt;
    dt.setNumCPU(numCPU);
    std::vector<Point2*> vHandles;
    dt.insert(std::vector<Point2>(2000, Point2(3, 4)), vHandles);
    EXPECT_EQ(dt.numberOfPoints(), 1u);
    EXPECT_EQ(std::count(vHandles.begin(), vHandles.end(), vHandles[0]), 2000);
    std::vector<Point2> v(2000, Point2(3, 4));
    std::fill(v.begin(), v.begin() + 1000, Point2(5, 6));
    v.emplace_back(0, 7);
    dt.insert(v, vHandles);
    EXPECT_EQ(dt.numberOfPoints(), 3u);
    EXPECT_EQ(std::count(vHandles.begin(), vHandles.end(), vHandles[1500]), 1000);
    EXPECT_DELAUNAY_OF(dt, v);
  }
}

// ----- Non-finite points -------------------------------------------------------------------

TEST(Dt2BulkNonFinite, SkippedWithOneWarningCarryingTheCount) {
  const double inf(std::numeric_limits<double>::infinity()), nan(std::numeric_limits<double>::quiet_NaN());
  for (int numCPU : {1, 2}) {
    std::vector<Point2> v(randomPoints(1500, 121, -1.0, 1.0));
    const std::vector<Point2> vFinite(v);
    const std::vector<size_t> vBad{0, 17, 400, 1499, 1500, 1501, 1502};
    v.emplace_back(nan, nan);
    v.emplace_back(inf, 0.0);
    v.emplace_back(0.5, -inf);
    v[0] = Point2(nan, 0.25);
    v[17] = Point2(-inf, inf);
    v[400] = Point2(0.0, nan);
    v[1499] = Point2(inf, -inf);
    Zarn_2D dt;
    dt.setNumCPU(numCPU);
    std::vector<Point2*> vHandles;
    testing::internal::CaptureStdout();
    dt.insert(v, vHandles);
    const std::string out(testing::internal::GetCapturedStdout());
    const std::vector<std::string> vLines(splitLines(out));
    size_t numWarnings(0);
    for (const std::string& line : vLines) {
      if (line.find(", WARNING: ") == std::string::npos) continue;
      ++numWarnings;
      EXPECT_NE(line.find(" 7 "), std::string::npos) << line;
    }
    EXPECT_EQ(numWarnings, 1u) << out;
    ASSERT_EQ(vHandles.size(), v.size());
    std::vector<Point2> vKept;
    for (size_t i = 0; i < v.size(); ++i) {
      const bool bBad(std::find(vBad.begin(), vBad.end(), i) != vBad.end());
      if (bBad) {
        EXPECT_EQ(vHandles[i], nullptr) << i;
      } else {
        ASSERT_NE(vHandles[i], nullptr) << i;
        EXPECT_TRUE(sameXY(*vHandles[i], v[i]));
        vKept.push_back(v[i]);
      }
    }
    EXPECT_EQ(dt.numberOfPoints(), vKept.size());
    EXPECT_DELAUNAY_OF(dt, vKept);
    // The bounding box ignores the skipped points.
    const Bbox2 box(dt.computeBoundingBox());
    EXPECT_TRUE(std::isfinite(box.get_minX()) && std::isfinite(box.get_maxY()));
  }
}

TEST(Dt2BulkNonFinite, FlatArrayWithNonFiniteCoordinates) {
  std::vector<double> vCoords{0.0, 0.0, std::numeric_limits<double>::quiet_NaN(), 1.0, 1.0, 0.0, 0.0, 1.0, 2.0,
                              std::numeric_limits<double>::infinity()};
  std::vector<Point2*> vHandles(5, reinterpret_cast<Point2*>(&vCoords));  // garbage to be overwritten
  Zarn_2D dt;
  testing::internal::CaptureStdout();
  dt.insert(5, vCoords.data(), vHandles.data());
  const std::string out(testing::internal::GetCapturedStdout());
  EXPECT_EQ(countLinesContaining(out, ", WARNING: "), 1u) << out;
  EXPECT_EQ(vHandles[1], nullptr);
  EXPECT_EQ(vHandles[4], nullptr);
  for (size_t i : {0u, 2u, 3u}) {
    ASSERT_NE(vHandles[i], nullptr);
    EXPECT_TRUE(sameXY(*vHandles[i], Point2(vCoords[2 * i], vCoords[2 * i + 1])));
  }
  EXPECT_DELAUNAY_OF(dt, (std::vector<Point2>{Point2(0, 0), Point2(1, 0), Point2(0, 1)}));
}

TEST(Dt2BulkNonFinite, OnlyNonFinitePointsInsertNothing) {
  Zarn_2D dt;
  std::vector<Point2*> vHandles;
  testing::internal::CaptureStdout();
  dt.insert(std::vector<Point2>{Point2(std::numeric_limits<double>::quiet_NaN(), 0.0)}, vHandles);
  const std::string out(testing::internal::GetCapturedStdout());
  EXPECT_EQ(countLinesContaining(out, ", WARNING: "), 1u) << out;
  ASSERT_EQ(vHandles.size(), 1u);
  EXPECT_EQ(vHandles[0], nullptr);
  EXPECT_EQ(dt.numberOfPoints(), 0u);
  const std::vector<Point2> v(randomPoints(20, 122));
  dt.insert(v);
  EXPECT_DELAUNAY_OF(dt, v);
}

TEST(Dt2BulkNonFinite, FiniteBulkPrintsNothing) {
  Zarn_2D dt;
  dt.setNumCPU(2);
  std::vector<Point2> v(randomPoints(3000, 123));
  v.push_back(v[5]);  // a repeat is no reason for a message
  testing::internal::CaptureStdout();
  dt.insert(v);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

// ----- Collinear phase ---------------------------------------------------------------------

TEST(Dt2BulkCollinear, CollinearBulkThenOneOffPoint) {
  for (int numCPU : {1, 2}) {
    // 2000 points of x + 2y = 10 (exact), with repeats.
    std::vector<Point2> v;
    for (int i = 0; i < 2000; ++i) v.emplace_back(10.0 - 2.0 * (i % 1700), i % 1700);
    shuffleWithSeed(v, 131);
    v = indexed(v);
    Zarn_2D dt;
    dt.setNumCPU(numCPU);
    std::vector<Point2*> vHandles;
    dt.insert(v, vHandles);
    EXPECT_FALSE(dt.is2D());
    EXPECT_EQ(dt.numberOfTriangles(), 0u);
    EXPECT_EQ(dt.numberOfPoints(), 1700u);
    expectHandlesOfFirstOccurrence(v, vHandles);
    EXPECT_TRUE(isDelaunayTriangulationOf(dt, v));

    v.emplace_back(3.0, 7.0);
    Point2* pOff(dt.insert(v.back()));
    ASSERT_NE(pOff, nullptr);
    EXPECT_TRUE(dt.is2D());
    EXPECT_EQ(dt.numberOfPoints(), 1701u);
    EXPECT_EQ(dt.numberOfTriangles(), 1699u);
    EXPECT_DELAUNAY_OF(dt, v);
    // The earlier handles are the vertices of the triangulation.
    std::vector<Point2*> vVertices;
    dt.getVertexPointers(vVertices);
    std::sort(vVertices.begin(), vVertices.end());
    for (Point2* p : vHandles) EXPECT_TRUE(std::binary_search(vVertices.begin(), vVertices.end(), p));
  }
}

TEST(Dt2BulkCollinear, CollinearBulkThenBulkWithOffPoints) {
  for (int numCPU : {1, 4}) {
    std::vector<Point2> v;
    for (int i = 0; i < 1500; ++i) v.emplace_back(i * 0.25, -3.0);
    Zarn_2D dt;
    dt.setNumCPU(numCPU);
    dt.insert(v);
    EXPECT_FALSE(dt.is2D());
    std::vector<Point2> vMore(randomPoints(1500, 132, 0.0, 375.0));
    for (const Point2& p : v) {
      if (static_cast<int>(p.x()) % 100 == 0) vMore.push_back(p);  // repeats of collinear vertices
    }
    dt.insert(vMore);
    v.insert(v.end(), vMore.begin(), vMore.end());
    EXPECT_DELAUNAY_OF(dt, v);
  }
}

TEST(Dt2BulkCollinear, BulkThatBecomesTwoDimensionalWithRepeats) {
  // Mostly collinear points and repeats; the few off-line points come last in input order.
  std::vector<Point2> v;
  for (int i = 0; i < 300; ++i) v.emplace_back(i % 120, 2.0 * (i % 120));
  v.emplace_back(5.0, 0.0);
  v.emplace_back(5.0, 0.0);
  v.emplace_back(100.0, 1.0);
  v = indexed(v);
  for (int numCPU : {1, 2}) {
    Zarn_2D dt;
    dt.setNumCPU(numCPU);
    std::vector<Point2*> vHandles;
    dt.insert(v, vHandles);
    expectHandlesOfFirstOccurrence(v, vHandles);
    EXPECT_EQ(dt.numberOfPoints(), 122u);
    EXPECT_DELAUNAY_OF(dt, v);
  }
}

// ----- Degenerate and extreme sets ------------------------------------------------------------

TEST(Dt2BulkDegenerate, ThirtyByThirtyGridWithSeveralThreadCounts) {
  std::vector<Point2> v(gridPoints(30, 30, 2.0, -30.0, -30.0));
  shuffleWithSeed(v, 141);
  for (int numCPU : {1, 2, 4}) {
    Zarn_2D dt;
    dt.setNumCPU(numCPU);
    dt.insert(v);
    EXPECT_EQ(dt.numberOfTriangles(), 2u * 29u * 29u);
    EXPECT_DELAUNAY_OF(dt, v);
  }
}

TEST(Dt2BulkDegenerate, ThinShapesUnderTheAuxiliaryBox) {
  // With several threads the bulk is inserted inside an auxiliary box that is removed at the
  // end: its removal must restore exactly the hull of these thin or collinear-bordered sets.
  std::vector<std::vector<Point2>> vSets(5);
  for (int i = 0; i < 2000; ++i) vSets[0].emplace_back(i, 0);
  vSets[0].emplace_back(1000, 1e-3);  // one point barely off a long line
  for (int i = 0; i < 1500; ++i) {
    vSets[1].emplace_back(i, 0);  // two parallel lines
    vSets[1].emplace_back(i, 1);
  }
  for (int i = 0; i < 1500; ++i) {
    vSets[2].emplace_back(i, static_cast<double>(i) * i);                           // a convex chain only
    vSets[3].emplace_back(i, 1e-9 * std::sin(i));                                   // an almost straight line
    vSets[4].emplace_back(1e15 + i, 1e15 - i + (i % 2));                            // far from the origin
  }
  for (const std::vector<Point2>& v : vSets) {
    for (int numCPU : {2, 4}) {
      Zarn_2D dt;
      dt.setNumCPU(numCPU);
      dt.insert(v);
      EXPECT_TRUE(isDelaunayTriangulationOf(dt, v)) << "numCPU=" << numCPU << ", first point " << v[0];
    }
  }
}

TEST(Dt2BulkDegenerate, MillionPointGrid) {
  if (DT2TEST_SANITIZED) GTEST_SKIP() << "too large for a sanitizer build";
  const std::vector<Point2> v(gridPoints(1000, 1000));
  Zarn_2D dt(static_cast<unsigned>(v.size()));
  dt.insert(v);
  EXPECT_EQ(dt.numberOfPoints(), 1000000u);
  EXPECT_EQ(dt.numberOfTriangles(), 2u * 999u * 999u);
  EXPECT_TRUE(isDelaunayTriangulationOf(dt, v));
}

TEST(Dt2BulkDegenerate, CocircularPointsInBulk) {
  std::vector<Point2> v(integerCirclePoints(5525, -100.0, 100.0));
  const std::vector<Point2> vInner(integerCirclePoints(1105, -100.0, 100.0));
  v.insert(v.end(), vInner.begin(), vInner.end());
  v.emplace_back(-100.0, 100.0);
  for (int numCPU : {1, 2}) {
    Zarn_2D dt;
    dt.setNumCPU(numCPU);
    dt.insert(v);
    EXPECT_DELAUNAY_OF(dt, v);
  }
}

TEST(Dt2BulkDegenerate, ClusteredPoints) {
  std::vector<Point2> v;
  std::mt19937_64 rng(151);
  std::normal_distribution<double> spread(0.0, 1e-7);
  for (int c = 0; c < 20; ++c) {
    const double cx(c * 17.0), cy((c * c) % 13);
    for (int i = 0; i < 300; ++i) v.emplace_back(cx + spread(rng), cy + spread(rng));
  }
  for (int numCPU : {1, 2}) {
    Zarn_2D dt;
    dt.setNumCPU(numCPU);
    dt.insert(v);
    EXPECT_DELAUNAY_OF(dt, v);
  }
}

TEST(Dt2BulkDegenerate, ExtremeCoordinates) {
  std::vector<std::vector<Point2>> vSets;
  vSets.push_back(randomPoints(1500, 161, -1e150, 1e150));
  vSets.push_back(randomPoints(1500, 162, -1e-300, 1e-300));
  std::vector<Point2> vMixed(randomPoints(500, 163, -1e-100, 1e-100));
  const std::vector<Point2> vBig(randomPoints(500, 164, -1e100, 1e100));
  vMixed.insert(vMixed.end(), vBig.begin(), vBig.end());
  vSets.push_back(vMixed);
  for (const std::vector<Point2>& v : vSets) {
    for (int numCPU : {1, 2}) {
      Zarn_2D dt;
      dt.setNumCPU(numCPU);
      dt.insert(v);
      EXPECT_DELAUNAY_OF(dt, v);
    }
  }
}

TEST(Dt2BulkDegenerate, EmptyBulkChangesNothing) {
  Zarn_2D dt;
  dt.insert(std::vector<Point2>());
  EXPECT_EQ(dt.numberOfPoints(), 0u);
  EXPECT_FALSE(dt.is2D());
  const std::vector<Point2> v(randomPoints(50, 171));
  dt.insert(v);
  const std::vector<TriangleKey> before(triangleSignature(dt));
  std::vector<Point2*> vHandles;
  dt.insert(std::vector<Point2>(), vHandles);
  EXPECT_EQ(triangleSignature(dt), before);
  EXPECT_EQ(dt.numberOfPoints(), 50u);
  EXPECT_DELAUNAY_OF(dt, v);
}
