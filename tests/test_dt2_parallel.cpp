// Parallel bulk insertion (several threads, one triangulation): differential against one thread on
// the table of degenerate and extreme point sets, in bulk, through the flat array and in batches
// into an existing triangulation; constraints waiting for the points; how much the workers leave.
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "Dt2.h"
#include "Partitioner.h"
#include "dt2_test_support.h"

using namespace KORA_ZARN2D;
using namespace dt2test;

// Keys with runs of equal values; for several chunk counts and sample steps: the chunks tile the
// records, no run of equal keys is cut, a key is found in its chunk, only the first record of a run
// can be a sample record, and the counts of records to insert add up.
TEST(Dt2Parallel, PartitionerKeepsEqualKeysTogether) {
  std::vector<IdxVtx> vRecords;
  for (uint32_t i = 0; i < 1000; ++i) vRecords.push_back(IdxVtx{(i / 7) * 4, true, nullptr});
  for (size_t numChunks : {1u, 2u, 3u, 8u, 2000u}) {
    for (size_t sampleStep : {1u, 2u, 32u}) {
      const Partitioner part(RecordRange{vRecords.data(), vRecords.size()}, numChunks, sampleStep);
      size_t numCounted(0);
      for (size_t c = 0; c < part.numChunks(); ++c) {
        const size_t b(part.chunkBegin(c));
        EXPECT_EQ(b, c == 0 ? 0u : part.chunkEnd(c - 1));
        EXPECT_TRUE(b == 0 || b == part.chunkEnd(c) ||
                    (vRecords[b - 1].key != vRecords[b].key && part.chunkOfKey(vRecords[b].key) == c && part.chunkOfKey(vRecords[b - 1].key) < c))
            << b;
        numCounted += part.numToInsert(c);
      }
      EXPECT_EQ(part.chunkEnd(part.numChunks() - 1), vRecords.size());
      for (size_t i = 0; i < vRecords.size(); ++i) {
        numCounted += part.isSample(i);
        EXPECT_TRUE(i == 0 || vRecords[i - 1].key != vRecords[i].key || !part.isSample(i)) << i;
      }
      EXPECT_EQ(numCounted, vRecords.size());
    }
  }
}

// The same triangles as with one thread in general position, an exact Delaunay triangulation of the
// input on ties; handles as with one thread. The batches of "uniform" end with one that grows the box.
TEST(Dt2Parallel, ThreadCountsAgreeWithOneThread) {
  const std::pair<Way, int> aRuns[] = {{Way::BULK, 2}, {Way::FLAT_ARRAY, 3}, {Way::SINGLE_THEN_BATCHES, 8}};
  for (const PointSet& set : degenerateAndExtremePointSets()) {
    Zarn_2D dtOne;
    dtOne.insert(set.vPoints);
    for (const std::pair<Way, int>& run : aRuns) {
      SCOPED_TRACE(std::string(set.name) + ", " + kWayNames[static_cast<int>(run.first)] + ", numCPU=" + std::to_string(run.second));
      Zarn_2D dt;
      EXPECT_TRUE(expectInsertedTheWay(dt, set, run.first, run.second) == triangleSignature(dtOne) || !set.bGeneralPosition);
    }
  }
}

// The constraint waits for the triangulation to become 2D; the points then go in with several
// threads and the constraint is applied afterwards, as with one thread.
TEST(Dt2Parallel, ConstraintsCreatedBeforeThePointsAreApplied) {
  std::vector<Segment2> vSegments;
  for (int i = 0; i < 8; ++i) vSegments.emplace_back(Point2(0.1 * i, 0.05), Point2(0.1 * i + 0.1, 0.05));
  const std::vector<Point2> v(randomPoints(12000, 1420));
  std::vector<TriangleKey> oneThread;
  for (int numCPU : {1, 2, 8}) {
    Zarn_2D dt;
    dt.setNumCPU(numCPU);
    ASSERT_NE(dt.createConstraint(vSegments, CIS_CONSTRAINED_DELAUNAY, false), nullptr);
    dt.insert(v);
    EXPECT_TRUE(libraryCheckValidity(dt)) << "numCPU=" << numCPU;
    for (const Segment2& s : vSegments) {  // inserting an existing position returns its vertex and changes nothing
      EXPECT_TRUE(dt.isConstraint(dt.insert(s.getSrc()), dt.insert(s.getTrg()))) << "numCPU=" << numCPU;
    }
    if (numCPU == 1) oneThread = triangleSignature(dt);
    EXPECT_EQ(triangleSignature(dt), oneThread) << "numCPU=" << numCPU;
  }
}

// The workers insert nearly all points themselves: a fault that makes them leave everything to the
// serial pass keeps every result right and only shows as lost speed.
TEST(Dt2Parallel, WorkersLeaveFewPointsToTheSerialPass) {
  const std::vector<Point2> vPoints(randomPoints(100000, 1430));
  for (int numCPU : {2, 3}) {
    Zarn_2D dt;
    dt.setNumCPU(numCPU);
    dt.insert(vPoints);
    EXPECT_LT(dt.getImpl()->numberOfPointsDeferredByWorkers(), vPoints.size() / 5) << "numCPU=" << numCPU;
  }
}
