// Inserting points, one by one and in bulk with one or several threads: the table of degenerate and
// extreme point sets run through every way of inserting them, each result checked exactly against the
// input and, in general position, against the triangles of one thread one by one; ties; non-finite
// points; the partition of the parallel insertion, constraints waiting for the points, how much
// the workers leave to the serial pass; the vertex store's start triangles near a key (getCloT)
// before and after removals (its duplicates resolved to the vertex kept and its handles redirected
// are checked by the insertions of the point-set table).

#include <limits>

#include "Dt2.h"
#include "Partitioner.h"
#include "VertexVault.h"
#include "dt2_test_support.h"

using namespace KORA_ZARN2D;
using namespace dt2test;

namespace {

const double kInf = std::numeric_limits<double>::infinity();
const double kNaN = std::numeric_limits<double>::quiet_NaN();

// Under ASan the largest sets go in one by one with one thread only in bulk (ten times slower).
TEST(Dt2Insert, EveryPointSetEveryWayAndThreadCount) {
  const std::pair<Way, int> aRuns[] = {{Way::ONE_BY_ONE, 1}, {Way::ONE_BY_ONE_SHUFFLED, 1}, {Way::BULK, 1}, {Way::BULK_THEN_SINGLE, 1},
                                       {Way::BULK, 2},       {Way::FLAT_ARRAY, 3},          {Way::SINGLE_THEN_BATCHES, 8}};
  for (const PointSet& set : degenerateAndExtremePointSets()) {
    std::vector<TriangleKey> firstSignature;
    for (const std::pair<Way, int>& run : aRuns) {
      if (DT2TEST_SANITIZED && set.vPoints.size() > 5000 && run.second == 1 && run.first != Way::BULK) continue;
      SCOPED_TRACE(std::string(set.name) + ", " + kWayNames[static_cast<int>(run.first)] + ", numCPU=" + std::to_string(run.second));
      Zarn_2D dt;
      const std::vector<TriangleKey> signature(expectInsertedTheWay(dt, set, run.first, run.second));
      if (firstSignature.empty()) firstSignature = signature;
      EXPECT_TRUE(!set.bGeneralPosition || signature == firstSignature);
      if (run != std::make_pair(Way::BULK, 1)) continue;
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
    EXPECT_TRUE(zarn_test::isTheOnlyWarning(zarn_test::captureStdout(action), where, message));
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

// Random 30-bit keys, most repeated, with random low halves: any thread count gives the
// stable sort by key.
TEST(Dt2Parallel, KeyPairSortIsStableForAnyThreadCount) {
  std::mt19937 gen(1440);
  for (size_t n : {100u, 70001u}) {
    std::vector<uint64_t> vPairs(n);
    std::vector<uint64_t> vKeys(n / 4 + 1);
    for (uint64_t& key : vKeys) key = gen() & ((1u << 30) - 1);
    for (uint64_t& pair : vPairs) pair = vKeys[gen() % vKeys.size()] << 32 | gen();
    std::vector<uint64_t> vExpected(vPairs);
    std::stable_sort(vExpected.begin(), vExpected.end(), [](uint64_t a, uint64_t b) { return (a >> 32) < (b >> 32); });
    for (size_t numThreads : {1u, 2u, 3u}) {
      std::vector<uint64_t> vSorted(vPairs), vTmp(n);
      const uint64_t* aResult(sortKeyPairs(vSorted.data(), vTmp.data(), n, numThreads));
      EXPECT_TRUE(std::equal(vExpected.begin(), vExpected.end(), aResult)) << n << " pairs, " << numThreads << " threads";
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

// ----- The vertex store ---------------------------------------------------------------------------

// The start triangle of keys spread over the whole range is always a live triangle.
::testing::AssertionResult startTrianglesAreLive(const Zarn_2D& dt) {
  std::vector<Triangle2*> vT(dt2test::trianglesOf(dt));
  for (uint32_t key = 0; key < (1u << 30); key += (1u << 22)) {
    if (std::find(vT.begin(), vT.end(), dt.getImpl()->vertexVault.getCloT(key)) == vT.end()) return ::testing::AssertionFailure() << key;
  }
  return ::testing::AssertionSuccess();
}

// Between two records the nearer key wins, the lower one on a tie; a removed record hands over to
// the next active one in key order (to the one before it at the end).
TEST(VertexVault, CloseTriangleTakesTheNearerKeyAndSurvivesRemovals) {
  Zarn_2D dt;
  dt.insert(randomPoints(500, 619, 0.0, 1.0));
  VertexVault& vault(dt.getImpl()->vertexVault);
  ASSERT_TRUE(vault.isSortedFrom(0));
  size_t numPairs(0);
  for (size_t k = 0; k + 1 < vault.size() && numPairs < 20; ++k) {
    const IdxVtx lo(vault.getRecord(k)), hi(vault.getRecord(k + 1));
    const uint32_t diff(hi.key - lo.key), mid(lo.key + diff / 2);
    if (diff < 4 || diff % 2 != 0) continue;
    ++numPairs;
    EXPECT_TRUE(vault.getCloT(mid) == lo.pVtx->getIncidentTriangle() && vault.getCloT(mid - 1) == lo.pVtx->getIncidentTriangle()) << k;
    EXPECT_EQ(vault.getCloT(mid + 1), hi.pVtx->getIncidentTriangle()) << k;
  }
  EXPECT_EQ(numPairs, 20u);
  size_t k(250);  // a record in the middle whose neighbours have different keys
  while (vault.getRecord(k - 1).key == vault.getRecord(k).key || vault.getRecord(k).key == vault.getRecord(k + 1).key) ++k;
  const size_t last(vault.size() - 1);
  const uint32_t keyK(vault.getRecord(k).key), key0(vault.getRecord(0).key);
  Point2 *pNext(vault.getRecord(k + 1).pVtx), *pSecond(vault.getRecord(1).pVtx), *pBeforeLast(vault.getRecord(last - 1).pVtx);
  for (size_t i : {k, size_t(0), last}) dt.remove(vault.getRecord(i).pVtx);
  EXPECT_EQ(vault.getCloT(keyK), pNext->getIncidentTriangle());
  EXPECT_TRUE(vault.getCloT(key0) == pSecond->getIncidentTriangle() && vault.getCloT(0) == pSecond->getIncidentTriangle());
  EXPECT_EQ(vault.getCloT(UINT32_MAX), pBeforeLast->getIncidentTriangle());
  EXPECT_TRUE(startTrianglesAreLive(dt));
}

// A point beyond the box changes every key: the records are in key order of the new keys after it
// (the first bulk insertion's records, in key order by construction, are not assumed to stay so).
TEST(VertexVault, RecordsFollowTheNewKeysWhenTheBoxGrows) {
  Zarn_2D dt;
  dt.insert(randomPoints(2000, 620, 0.0, 1.0));
  dt.insert(Point2(50.0, -30.0));
  const VertexVault& vault(dt.getImpl()->vertexVault);
  for (size_t k = 0; k + 1 < vault.size(); ++k) ASSERT_LE(vault.getRecord(k).key, vault.getRecord(k + 1).key) << k;
}

// With every sorted record removed, the start triangle comes from the unsorted tail of single
// insertions, never from a removed one, and insertion goes on correctly from there. (Duplicates of
// the collinear phase are resolved by position: the insertion tests cover them.)
TEST(VertexVault, CloseTriangleFromTheUnsortedTailWhenNoSortedRecordIsLeft) {
  Zarn_2D dt;
  std::vector<Point2*> vHandles;
  dt.insert(randomPoints(100, 616, 0.0, 1.0), vHandles);
  const std::vector<Point2> v(randomPoints(30, 617, 0.1, 0.9));
  std::vector<Point2> vKept(randomPoints(40, 618, 0.0, 1.0));
  for (size_t i = 0; i < v.size(); ++i) {
    Point2* pSingle(dt.insert(v[i]));
    if (i % 3 == 0) vHandles.push_back(pSingle);
    if (i % 3 != 0) vKept.push_back(v[i]);
  }
  for (Point2* p : vHandles) dt.remove(p);
  ASSERT_EQ(dt.numberOfPoints(), 20u);
  EXPECT_TRUE(startTrianglesAreLive(dt));
  for (size_t i = 0; i < 40; ++i) dt.insert(vKept[i]);
  EXPECT_DELAUNAY_OF(dt, vKept);
}

}  // namespace
