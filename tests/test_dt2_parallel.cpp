// Parallel bulk insertion (several threads, one triangulation): differential against one thread
// on general and degenerate point sets, handles and repeats, constraints waiting for the points,
// progress. Every result also passes the exact oracle and the library's own check.
#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <random>
#include <vector>

#include "Partitioner.h"
#include "dt2_test_support.h"

using namespace KORA_ZARN2D;
using namespace dt2test;

namespace {

// Points on a few lines: the two midlines of the box (where the first Hilbert key ranges
// meet), a diagonal and a steep line, each densely and exactly sampled.
std::vector<Point2> pointsOnLines(size_t numPerLine) {
  std::vector<Point2> v;
  for (size_t i = 0; i < numPerLine; ++i) {
    const double t(static_cast<double>(i) / static_cast<double>(numPerLine));
    v.emplace_back(0.5, t);
    v.emplace_back(t, 0.5);
    v.emplace_back(t, t);
    v.emplace_back(0.25 + t / 8, t);
  }
  return v;
}

// Random points, a quarter of them moved exactly onto the seams x = 0.5 and y = 0.5.
std::vector<Point2> pointsAlongSeams(size_t n, unsigned seed) {
  std::vector<Point2> v(randomPoints(n, seed));
  for (size_t i = 0; i < v.size(); i += 4) v[i] = (i % 8 == 0) ? Point2(0.5, v[i].y()) : Point2(v[i].x(), 0.5);
  return v;
}

// Gaussian clusters of very different density.
std::vector<Point2> clusteredPoints(size_t n, unsigned seed) {
  std::mt19937_64 rng(seed);
  std::normal_distribution<double> dist(0.0, 1.0);
  std::vector<Point2> v;
  for (size_t i = 0; i < n; ++i) {
    const double scale(i % 3 == 0 ? 1e-3 : (i % 3 == 1 ? 0.05 : 1.0));
    const double cx(static_cast<double>(i % 7)), cy(static_cast<double>(i % 5));
    v.emplace_back(cx + scale * dist(rng), cy + scale * dist(rng));
  }
  return v;
}

// Each of n random points four times, shuffled, with its input index as custom index.
std::vector<Point2> heavyRepeats(size_t n, unsigned seed) {
  const std::vector<Point2> vBase(randomPoints(n, seed, -1.0, 1.0));
  std::vector<Point2> v;
  for (int k = 0; k < 4; ++k) v.insert(v.end(), vBase.begin(), vBase.end());
  shuffleWithSeed(v, seed + 1);
  for (size_t i = 0; i < v.size(); ++i) v[i].setCustomIndex(static_cast<int>(i));
  return v;
}

struct Case {
  const char* name;
  std::function<std::vector<Point2>()> make;
  bool bGeneralPosition;  // then the triangle set is unique and must equal the one-thread result
};

const std::vector<Case>& cases() {
  static const std::vector<Case> v = {
      {"uniform", [] { return randomPoints(10000, 1401); }, true},
      {"clustered", [] { return clusteredPoints(8000, 1402); }, true},
      {"grid", [] { return gridPoints(100, 60); }, false},
      {"few lines", [] { return pointsOnLines(1500); }, false},
      {"along seams", [] { return pointsAlongSeams(8000, 1403); }, false},
      {"repeats", [] { return heavyRepeats(2000, 1404); }, true},
      {"cocircular and random", [] {
         std::vector<Point2> v(integerCirclePoints(5525));
         const std::vector<Point2> vRandom(randomPoints(5000, 1405, -6000.0, 6000.0));
         v.insert(v.end(), vRandom.begin(), vRandom.end());
         return v;
       }, false},
  };
  return v;
}

struct Result {
  std::vector<TriangleKey> signature;
  std::vector<Point2*> vHandles;
};

Result insertWith(Zarn_2D& dt, const std::vector<Point2>& v, int numCPU) {
  dt.setNumCPU(numCPU);
  Result r;
  dt.insert(v, r.vHandles);
  r.signature = triangleSignature(dt);
  return r;
}

}  // namespace

TEST(Dt2Parallel, PartitionerKeepsEqualKeysTogether) {
  // Keys with runs of equal values; for several chunk counts and sample steps: the chunks tile
  // the records, no run of equal keys is cut, only the first record of a run can be a sample
  // record, and the counts of records to insert add up.
  std::vector<IdxVtx> vRecords;
  for (uint32_t i = 0; i < 1000; ++i) vRecords.push_back(IdxVtx{(i / 7) * 4, true, nullptr});
  for (size_t numChunks : {1u, 2u, 3u, 8u, 2000u}) {
    for (size_t sampleStep : {1u, 2u, 32u}) {
      const Partitioner part(RecordRange{vRecords.data(), vRecords.size()}, numChunks, sampleStep);
      size_t numToInsert(0), numSamples(0);
      for (size_t c = 0; c < part.numChunks(); ++c) {
        EXPECT_EQ(part.chunkBegin(c), c == 0 ? 0u : part.chunkEnd(c - 1));
        const size_t b(part.chunkBegin(c));
        if (b > 0 && b < part.chunkEnd(c)) {
          EXPECT_NE(vRecords[b - 1].key, vRecords[b].key);
          EXPECT_EQ(part.chunkOfKey(vRecords[b].key), c);
          EXPECT_LT(part.chunkOfKey(vRecords[b - 1].key), c);
        }
        numToInsert += part.numToInsert(c);
      }
      EXPECT_EQ(part.chunkEnd(part.numChunks() - 1), vRecords.size());
      for (size_t i = 0; i < vRecords.size(); ++i) {
        numSamples += part.isSample(i);
        if (i > 0 && vRecords[i - 1].key == vRecords[i].key) {
          EXPECT_FALSE(part.isSample(i)) << i;
        }
      }
      EXPECT_EQ(numToInsert + numSamples, vRecords.size());
    }
  }
}

TEST(Dt2Parallel, ThreadCountsAgreeWithOneThread) {
  for (const Case& c : cases()) {
    const std::vector<Point2> v(c.make());
    Zarn_2D dtOne;
    const Result one(insertWith(dtOne, v, 1));
    for (int numCPU : {2, 3, 8}) {
      SCOPED_TRACE(std::string(c.name) + ", numCPU=" + std::to_string(numCPU));
      Zarn_2D dt;
      const Result r(insertWith(dt, v, numCPU));
      ASSERT_DELAUNAY_OF(dt, v);
      EXPECT_EQ(dt.numberOfPoints(), dtOne.numberOfPoints());
      if (c.bGeneralPosition) {
        EXPECT_EQ(r.signature, one.signature);
      }
      // Handles: in input order, at the input position; repeats share the handle of the first
      // occurrence, as with one thread.
      for (size_t i = 0; i < v.size(); ++i) {
        ASSERT_TRUE(sameXY(*r.vHandles[i], v[i])) << i;
        ASSERT_EQ(r.vHandles[i]->getCustomIndex(), one.vHandles[i]->getCustomIndex()) << i;
      }
    }
  }
}

TEST(Dt2Parallel, BatchesIntoAnExistingTriangulation) {
  const std::vector<Point2> v(randomPoints(12000, 1410, -1.0, 1.0));
  for (int numCPU : {2, 8}) {
    Zarn_2D dt;
    dt.setNumCPU(numCPU);
    // A first batch, then two more, the last one growing the box.
    for (size_t begin : {0u, 4000u, 8000u}) {
      std::vector<Point2> vBatch(v.begin() + begin, v.begin() + begin + 4000);
      if (begin == 8000) {
        for (Point2& p : vBatch) p = Point2(p.x() * 3.0, p.y() * 3.0);
      }
      dt.insert(vBatch);
    }
    std::vector<Point2> vAll(v.begin(), v.begin() + 8000);
    for (size_t i = 8000; i < v.size(); ++i) vAll.emplace_back(v[i].x() * 3.0, v[i].y() * 3.0);
    Zarn_2D dtRef;
    dtRef.insert(vAll);
    EXPECT_EQ(triangleSignature(dt), triangleSignature(dtRef)) << "numCPU=" << numCPU;
    EXPECT_DELAUNAY_OF(dt, vAll);
  }
}

TEST(Dt2Parallel, ConstraintsCreatedBeforeThePointsAreApplied) {
  // The constraint waits for the triangulation to become 2D; the points then go in with
  // several threads and the constraint is applied afterwards, as with one thread.
  std::vector<Segment2> vSegments;
  for (int i = 0; i < 8; ++i) vSegments.emplace_back(Point2(0.1 * i, 0.05), Point2(0.1 * i + 0.1, 0.05));
  const std::vector<Point2> v(randomPoints(12000, 1420));
  std::map<int, std::vector<TriangleKey>> mSignature;
  for (int numCPU : {1, 2, 8}) {
    Zarn_2D dt;
    dt.setNumCPU(numCPU);
    ASSERT_NE(dt.createConstraint(vSegments, CIS_CONSTRAINED_DELAUNAY, false), nullptr);
    dt.insert(v);
    EXPECT_TRUE(libraryCheckValidity(dt)) << "numCPU=" << numCPU;
    for (const Segment2& s : vSegments) {
      // inserting an existing position returns its vertex and changes nothing
      EXPECT_TRUE(dt.isConstraint(dt.insert(s.getSrc()), dt.insert(s.getTrg()))) << "numCPU=" << numCPU;
    }
    mSignature[numCPU] = triangleSignature(dt);
  }
  EXPECT_EQ(mSignature[2], mSignature[1]);
  EXPECT_EQ(mSignature[8], mSignature[1]);
}
