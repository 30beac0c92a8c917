// Parallel bulk insertion (several threads, one triangulation): differential against one thread
// on the table of degenerate and extreme point sets, batches into an existing triangulation,
// constraints waiting for the points, and the partition of the records among the threads.
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "Partitioner.h"
#include "dt2_test_support.h"

using namespace KORA_ZARN2D;
using namespace dt2test;

// Keys with runs of equal values; for several chunk counts and sample steps: the chunks tile the
// records, no run of equal keys is cut, only the first record of a run can be a sample record,
// and the counts of records to insert add up.
TEST(Dt2Parallel, PartitionerKeepsEqualKeysTogether) {
  std::vector<IdxVtx> vRecords;
  for (uint32_t i = 0; i < 1000; ++i) vRecords.push_back(IdxVtx{(i / 7) * 4, true, nullptr});
  for (size_t numChunks : {1u, 2u, 3u, 8u, 2000u}) {
    for (size_t sampleStep : {1u, 2u, 32u}) {
      const Partitioner part(RecordRange{vRecords.data(), vRecords.size()}, numChunks, sampleStep);
      size_t numToInsert(0), numSamples(0);
      for (size_t c = 0; c < part.numChunks(); ++c) {
        const size_t b(part.chunkBegin(c));
        EXPECT_EQ(b, c == 0 ? 0u : part.chunkEnd(c - 1));
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
        EXPECT_TRUE(i == 0 || vRecords[i - 1].key != vRecords[i].key || !part.isSample(i)) << i;
      }
      EXPECT_EQ(numToInsert + numSamples, vRecords.size());
    }
  }
}

// The same triangles as with one thread in general position, an exact Delaunay triangulation of
// the input on ties; handles in input order at the input position, repeats sharing the handle of
// the first occurrence (known by its custom index) as with one thread.
TEST(Dt2Parallel, ThreadCountsAgreeWithOneThread) {
  for (const PointSet& set : degenerateAndExtremePointSets()) {
    std::vector<Point2*> vOne;
    Zarn_2D dtOne;
    dtOne.insert(set.vPoints, vOne);
    for (int numCPU : {2, 3, 8}) {
      SCOPED_TRACE(std::string(set.name) + ", numCPU=" + std::to_string(numCPU));
      Zarn_2D dt;
      dt.setNumCPU(numCPU);
      std::vector<Point2*> vHandles;
      dt.insert(set.vPoints, vHandles);
      ASSERT_TRUE(isDelaunayTriangulationOf(dt, set.vPoints));
      EXPECT_TRUE(libraryCheckValidity(dt));
      EXPECT_TRUE(!set.bGeneralPosition || triangleSignature(dt) == triangleSignature(dtOne));
      for (size_t i = 0; i < set.vPoints.size(); ++i) {
        ASSERT_TRUE(sameXY(*vHandles[i], set.vPoints[i])) << i;
        ASSERT_EQ(vHandles[i]->getCustomIndex(), vOne[i]->getCustomIndex()) << i;
      }
    }
  }
}

TEST(Dt2Parallel, BatchesIntoAnExistingTriangulation) {
  std::vector<Point2> vAll(randomPoints(12000, 1410, -1.0, 1.0));
  for (size_t i = 8000; i < vAll.size(); ++i) vAll[i] = Point2(vAll[i].x() * 3.0, vAll[i].y() * 3.0);  // the last batch grows the box
  Zarn_2D dtRef;
  dtRef.insert(vAll);
  for (int numCPU : {2, 8}) {
    Zarn_2D dt;
    dt.setNumCPU(numCPU);
    for (size_t begin : {0u, 4000u, 8000u}) dt.insert(std::vector<Point2>(vAll.begin() + begin, vAll.begin() + begin + 4000));
    EXPECT_EQ(triangleSignature(dt), triangleSignature(dtRef)) << "numCPU=" << numCPU;
    EXPECT_DELAUNAY_OF(dt, vAll);
  }
}

// The constraint waits for the triangulation to become 2D; the points then go in with several
// threads and the constraint is applied afterwards, as with one thread.
TEST(Dt2Parallel, ConstraintsCreatedBeforeThePointsAreApplied) {
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
