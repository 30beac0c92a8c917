// The vertex store behind a triangulation: start triangles near a key (getCloT) before and after
// removals. (Duplicates resolved to the vertex kept, handles redirected: the insertion tests.)
#include <gtest/gtest.h>

#include "Dt2.h"
#include "VertexVault.h"
#include "dt2_test_support.h"

using namespace KORA_ZARN2D;
using namespace dt2test;

// The start triangle of keys spread over the whole range is always a live triangle.
::testing::AssertionResult startTrianglesAreLive(const Zarn_2D& dt) {
  std::vector<Triangle2*> vT;
  dt.getTrianglePointers(vT);
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
