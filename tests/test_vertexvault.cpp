// The vertex store behind a triangulation: start triangles near a key (getCloT) before and after
// removals, and the resolution of duplicates and redundant vertices to the vertex kept.
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

bool isTriangleOf(const Zarn_2D& dt, const Triangle2* pT) {
  std::vector<Triangle2*> vT;
  dt.getTrianglePointers(vT);
  return std::find(vT.begin(), vT.end(), pT) != vT.end();
}

// Between two records the nearer key wins, the lower one on a tie; a removed record hands over to
// the next active one in key order (to the one before it at the end); every start triangle is live.
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
    EXPECT_EQ(vault.getCloT(mid), lo.pVtx->getIncidentTriangle()) << k;
    EXPECT_EQ(vault.getCloT(mid - 1), lo.pVtx->getIncidentTriangle()) << k;
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
  for (uint32_t key = 0; key < (1u << 30); key += (1u << 22)) EXPECT_TRUE(isTriangleOf(dt, vault.getCloT(key))) << key;
}

// With every sorted record removed, the start triangle comes from the unsorted tail of single
// insertions, and insertion goes on correctly from there.
TEST(VertexVault, CloseTriangleFromTheUnsortedTailWhenNoSortedRecordIsLeft) {
  Zarn_2D dt;
  std::vector<Point2*> vHandles;
  dt.insert(randomPoints(100, 616, 0.0, 1.0), vHandles);
  std::vector<Point2> v(randomPoints(30, 617, 0.1, 0.9));
  for (const Point2& p : v) dt.insert(p);
  for (Point2* p : vHandles) dt.remove(p);
  ASSERT_EQ(dt.numberOfPoints(), 30u);
  EXPECT_TRUE(isTriangleOf(dt, dt.getImpl()->vertexVault.getCloT(dt.getImpl()->getHC2().getKey(Point2(0.5, 0.5)))));
  for (const Point2& p : randomPoints(40, 618, 0.0, 1.0)) {
    dt.insert(p);
    v.push_back(p);
  }
  EXPECT_DELAUNAY_OF(dt, v);
}

// Duplicates among the records of the collinear phase: later copies are deactivated and the
// handles point to the first; a handle that is no duplicate stays.
TEST(VertexVault, CleanDuplicatesInTheCollinearPhase) {
  Dt2 dt(3);
  VertexVault& vault(dt.vertexVault);
  std::vector<Point2*> vHandles;
  for (const Point2& p : {Point2(0, 0), Point2(1, 1), Point2(0, 0), Point2(2, 2), Point2(1, 1), Point2(0, 0)}) {
    vHandles.push_back(dt.createVertex(p));
    vault.add(dt.getHC2().getKey(p), vHandles.back());
  }
  const std::vector<Point2*> vCreated(vHandles);
  vHandles.push_back(dt.createVertex(Point2(5, 5)));
  vault.cleanDuplicates(vHandles.data(), vHandles.size());
  EXPECT_TRUE(vault.dupIsClean());
  EXPECT_EQ(vault.getNumActive(), 3);
  const std::vector<Point2*> vWant{vCreated[0], vCreated[1], vCreated[0], vCreated[3], vCreated[1], vCreated[0], vHandles.back()};
  EXPECT_EQ(vHandles, vWant);
  for (int i = 0; i < 6; ++i) EXPECT_EQ(vault.isActiveVertex(vCreated[i]), i < 2 || i == 3) << i;
  EXPECT_EQ(vault.findVertexAt(Point2(0, 0)), vCreated[0]);
  vault.cleanDuplicates(nullptr, 0);  // nothing left to resolve
  EXPECT_EQ(vault.getNumActive(), 3);
}

// Redundant vertices recorded with their unique twin: the caller's handles are redirected, and a
// redundant vertex missing from the handles is an assertion.
TEST(VertexVault, CleanDuplicatesResolvesRecordedRedundantVertices) {
  Zarn_2D dt;
  std::vector<Point2*> vHandles;
  const std::vector<Point2> v(randomPoints(100, 605, 0.0, 1.0));
  dt.insert(v, vHandles);
  Dt2& impl(*dt.getImpl());
  VertexVault& vault(impl.vertexVault);
  const auto addRedundantTwin = [&](Point2* pUnique) {
    Point2* pRedundant(impl.createVertex(*pUnique));
    vault.add(impl.getHC2().getKey(*pRedundant), pRedundant);
    vault.addRedundant(pRedundant, pUnique);
    return pRedundant;
  };
  Point2 *pRedundantA(addRedundantTwin(vHandles[3])), *pRedundantB(addRedundantTwin(vHandles[40]));
  EXPECT_FALSE(vault.dupIsClean());
  std::vector<Point2*> vCaller{pRedundantB, vHandles[7], pRedundantA};
  vault.cleanDuplicates(vCaller.data(), vCaller.size());
  EXPECT_TRUE(vault.dupIsClean());
  EXPECT_EQ(vCaller, (std::vector<Point2*>{vHandles[40], vHandles[7], vHandles[3]}));
  EXPECT_FALSE(vault.isActiveVertex(pRedundantA) || vault.isActiveVertex(pRedundantB));
  EXPECT_EQ(dt.numberOfPoints(), 100u);
  EXPECT_DELAUNAY_OF(dt, v);
  addRedundantTwin(vHandles[2]);
  vCaller.assign(1, vHandles[5]);
  zarn_test::expectFailedCondition("mRedundant2UniqueVtx.size()==numFoundInHandles",
                                   [&] { vault.cleanDuplicates(vCaller.data(), vCaller.size()); });
}
