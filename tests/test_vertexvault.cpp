// The vertex store behind a triangulation: start triangles near a key (getCloT), the index of
// a vertex's record, duplicate resolution and the re-sorting thresholds that keep single
// insertions cheap.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <vector>

#include "Dt2.h"
#include "VertexVault.h"
#include "dt2_test_support.h"
#include "test_support.h"

using namespace KORA_ZARN2D;
using namespace dt2test;

namespace {

VertexVault& vaultOf(Zarn_2D& dt) { return dt.getImpl()->vertexVault; }

bool keysAscending(const VertexVault& vault) {
  for (size_t i = 1; i < vault.size(); ++i) {
    if (vault.getRecord(i - 1).key > vault.getRecord(i).key) return false;
  }
  return true;
}

uint32_t keyOf(Zarn_2D& dt, const Point2& p) { return dt.getImpl()->getHC2().getKey(p); }

}  // namespace

// ----- Start triangles -----------------------------------------------------------------------

TEST(VertexVault, CloseTriangleTakesTheNearerKeyAndTheLowerOneOnATie) {
  Zarn_2D dt;
  dt.insert(randomPoints(500, 619, 0.0, 1.0));
  VertexVault& vault(vaultOf(dt));
  ASSERT_TRUE(keysAscending(vault));
  size_t numPairs(0);
  for (size_t k = 0; k + 1 < vault.size() && numPairs < 20; ++k) {
    const IdxVtx lo(vault.getRecord(k));
    const IdxVtx hi(vault.getRecord(k + 1));
    const uint32_t diff(hi.key - lo.key);
    if (diff < 4 || diff % 2 != 0) continue;
    ++numPairs;
    const uint32_t mid(lo.key + diff / 2);
    EXPECT_EQ(vault.getCloT(mid), lo.pVtx->getIncidentTriangle()) << k;
    EXPECT_EQ(vault.getCloT(mid - 1), lo.pVtx->getIncidentTriangle()) << k;
    EXPECT_EQ(vault.getCloT(mid + 1), hi.pVtx->getIncidentTriangle()) << k;
  }
  EXPECT_EQ(numPairs, 20u);
}

TEST(VertexVault, CloseTriangleAfterRemovingTheNearbyVertex) {
  Zarn_2D dt;
  dt.insert(randomPoints(500, 602, 0.0, 1.0));
  VertexVault& vault(vaultOf(dt));
  ASSERT_TRUE(keysAscending(vault));
  // A record in the middle whose neighbours have different keys.
  size_t k(250);
  while (vault.getRecord(k - 1).key == vault.getRecord(k).key || vault.getRecord(k).key == vault.getRecord(k + 1).key) ++k;
  const uint32_t keyK(vault.getRecord(k).key);
  Point2* pNext(vault.getRecord(k + 1).pVtx);
  dt.remove(vault.getRecord(k).pVtx);
  EXPECT_TRUE(vault.getCloT(keyK)->hasVertex(pNext));
  // The first record: the next active one in key order.
  const uint32_t key0(vault.getRecord(0).key);
  Point2* pSecond(vault.getRecord(1).pVtx);
  dt.remove(vault.getRecord(0).pVtx);
  EXPECT_TRUE(vault.getCloT(key0)->hasVertex(pSecond));
  EXPECT_TRUE(vault.getCloT(0)->hasVertex(pSecond));
  // The last record: nothing follows, so the nearest active one before it.
  const size_t last(vault.size() - 1);
  Point2* pBefore(vault.getRecord(last - 1).pVtx);
  dt.remove(vault.getRecord(last).pVtx);
  EXPECT_TRUE(vault.getCloT(UINT32_MAX)->hasVertex(pBefore));
  // Every start triangle is live after the removals.
  std::vector<Triangle2*> vT;
  dt.getTrianglePointers(vT);
  std::sort(vT.begin(), vT.end());
  for (uint32_t key = 0; key < (1u << 30); key += (1u << 22)) {
    EXPECT_TRUE(std::binary_search(vT.begin(), vT.end(), vault.getCloT(key))) << key;
  }
}

TEST(VertexVault, CloseTriangleFromTheUnsortedTailWhenNoSortedRecordIsLeft) {
  Zarn_2D dt;
  std::vector<Point2*> vHandles;
  dt.insert(randomPoints(100, 616, 0.0, 1.0), vHandles);
  std::vector<Point2> v(randomPoints(30, 617, 0.1, 0.9));  // the unsorted tail
  for (const Point2& p : v) dt.insert(p);
  for (Point2* p : vHandles) dt.remove(p);
  ASSERT_EQ(dt.numberOfPoints(), 30u);
  Triangle2* pT(vaultOf(dt).getCloT(keyOf(dt, Point2(0.5, 0.5))));
  ASSERT_NE(pT, nullptr);
  std::vector<Triangle2*> vT;
  dt.getTrianglePointers(vT);
  EXPECT_NE(std::find(vT.begin(), vT.end(), pT), vT.end());
  for (const Point2& p : randomPoints(40, 618, 0.0, 1.0)) {
    dt.insert(p);
    v.push_back(p);
  }
  EXPECT_DELAUNAY_OF(dt, v);
}

// ----- Duplicates ---------------------------------------------------------------------------

TEST(VertexVault, CleanDuplicatesInTheCollinearPhase) {
  Dt2 dt(3);
  VertexVault& vault(dt.vertexVault);
  const std::vector<Point2> vPos{Point2(0, 0), Point2(1, 1), Point2(0, 0), Point2(2, 2), Point2(1, 1), Point2(0, 0)};
  std::vector<Point2*> vHandles;
  for (const Point2& p : vPos) {
    vHandles.push_back(dt.createVertex(p));
    vault.add(dt.getHC2().getKey(p), vHandles.back());
  }
  const std::vector<Point2*> vCreated(vHandles);
  Point2* pUnrelated(dt.createVertex(Point2(5, 5)));  // a handle that is no duplicate stays
  vHandles.push_back(pUnrelated);
  vault.cleanDuplicates(vHandles.data(), vHandles.size());
  EXPECT_TRUE(vault.dupIsClean());
  EXPECT_EQ(vault.getNumActive(), 3);
  const std::vector<Point2*> vWant{vCreated[0], vCreated[1], vCreated[0], vCreated[3], vCreated[1], vCreated[0], pUnrelated};
  EXPECT_EQ(vHandles, vWant);
  EXPECT_FALSE(vault.isActiveVertex(vCreated[2]));
  EXPECT_FALSE(vault.isActiveVertex(vCreated[4]));
  EXPECT_FALSE(vault.isActiveVertex(vCreated[5]));
  EXPECT_TRUE(vault.isActiveVertex(vCreated[0]));
  EXPECT_EQ(vault.findVertexAt(Point2(0, 0)), vCreated[0]);
  // Nothing left to resolve: a second call changes nothing.
  vault.cleanDuplicates(nullptr, 0);
  EXPECT_EQ(vault.getNumActive(), 3);
}

TEST(VertexVault, CleanDuplicatesResolvesRecordedRedundantVertices) {
  Zarn_2D dt;
  std::vector<Point2*> vHandles;
  const std::vector<Point2> v(randomPoints(100, 605, 0.0, 1.0));
  dt.insert(v, vHandles);
  Dt2& impl(*dt.getImpl());
  VertexVault& vault(impl.vertexVault);
  // Two vertices that stand where existing ones stand, known to the store as redundant.
  Point2* pRedundantA(impl.createVertex(*vHandles[3]));
  Point2* pRedundantB(impl.createVertex(*vHandles[40]));
  vault.add(impl.getHC2().getKey(*pRedundantA), pRedundantA);
  vault.add(impl.getHC2().getKey(*pRedundantB), pRedundantB);
  vault.addRedundant(pRedundantA, vHandles[3]);
  vault.addRedundant(pRedundantB, vHandles[40]);
  EXPECT_FALSE(vault.dupIsClean());
  std::vector<Point2*> vCaller{pRedundantB, vHandles[7], pRedundantA};
  vault.cleanDuplicates(vCaller.data(), vCaller.size());
  EXPECT_TRUE(vault.dupIsClean());
  EXPECT_EQ(vCaller, (std::vector<Point2*>{vHandles[40], vHandles[7], vHandles[3]}));
  EXPECT_FALSE(vault.isActiveVertex(pRedundantA));
  EXPECT_FALSE(vault.isActiveVertex(pRedundantB));
  EXPECT_EQ(dt.numberOfPoints(), 100u);
  EXPECT_DELAUNAY_OF(dt, v);
}

TEST(VertexVault, RedundantVertexMissingFromTheHandlesIsAnAssertion) {
  Zarn_2D dt;
  std::vector<Point2*> vHandles;
  dt.insert(randomPoints(20, 606, 0.0, 1.0), vHandles);
  Dt2& impl(*dt.getImpl());
  VertexVault& vault(impl.vertexVault);
  Point2* pRedundant(impl.createVertex(*vHandles[2]));
  vault.add(impl.getHC2().getKey(*pRedundant), pRedundant);
  vault.addRedundant(pRedundant, vHandles[2]);
  std::vector<Point2*> vCaller{vHandles[5]};
  zarn_test::expectFailedCondition("mRedundant2UniqueVtx.size()==numFoundInHandles",
                                   [&] { vault.cleanDuplicates(vCaller.data(), vCaller.size()); });
}
