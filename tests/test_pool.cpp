// SimplePool: growth of the blocks, addresses handed out, enumeration of the handed-out
// elements, and the texts of its diagnostics.
#include <gtest/gtest.h>

#include <cstdint>
#include <iostream>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "SimplePool.h"

using namespace KORA_ZARN2D;

namespace {

struct Record {
  double x, y;
  void* p;
};

std::vector<int32_t> blockSizesAfter(int numAllocs, int32_t firstBlock, int32_t maxBlock) {
  SimplePool<Record> pool;
  pool.init(firstBlock, maxBlock);
  for (int i = 0; i < numAllocs; ++i) pool.alloc();
  return pool.getBlockSizes();
}

// Creates and destroys a pool of single-element blocks; returns what the destructor printed.
std::string destructorOutputFor(int numBlocks, int messageThreshold, PoolOutOfMemoryAction action) {
  std::unique_ptr<SimplePool<char>> pPool(new SimplePool<char>(messageThreshold, action));
  pPool->init(1, 1);
  for (int i = 0; i < numBlocks; ++i) pPool->alloc();
  EXPECT_EQ(pPool->getNumBlocks(), numBlocks);
  testing::internal::CaptureStdout();
  pPool.reset();
  return testing::internal::GetCapturedStdout();
}

std::vector<Record*> enumerate(const SimplePool<Record>& pool) {
  std::vector<Record*> vElements;
  for (int b = 0; b < pool.getNumBlocks(); ++b) {
    for (int32_t i = 0; i < pool.getUsedCount(b); ++i) vElements.push_back(pool.getBlock(b) + i);
  }
  return vElements;
}

// Far beyond any address space: malloc must fail for a single block of these.
struct Gigantic {
  char bytes[1ull << 40];
};

}  // namespace

TEST(SimplePoolGrowth, SecondBlockIsHalfTheFirstThenBlocksDouble) {
  EXPECT_EQ(blockSizesAfter(3 + 1 + 2 + 4 + 1, 3, 1000), (std::vector<int32_t>{3, 1, 2, 4, 8}));
}

TEST(SimplePoolGrowth, FirstBlockOfOneIsFollowedByOneNotZero) {
  EXPECT_EQ(blockSizesAfter(1 + 1 + 2 + 1, 1, 1000), (std::vector<int32_t>{1, 1, 2, 4}));
}

TEST(SimplePoolGrowth, AutomaticBlocksStopAtTheCap) {
  EXPECT_EQ(blockSizesAfter(10 + 5 + 7 + 7 + 1, 10, 7), (std::vector<int32_t>{10, 5, 7, 7, 7}));
}

TEST(SimplePoolGrowth, MaximumBlockIsOneHundredMegabytesOfElements) {
  struct TwentyFourBytes {
    char bytes[24];
  };
  EXPECT_EQ(maxPoolBlockSize<TwentyFourBytes>(), 4166666);
  EXPECT_EQ(maxPoolBlockSize<char>(), 100000000);
}

TEST(SimplePoolAlloc, NthAllocIsTheLastOfTheFirstBlockAndTheNextOneStartsBlockTwo) {
  const int n(5);
  SimplePool<Record> pool;
  pool.init(n, 1000);
  std::vector<Record*> vHandedOut;
  for (int i = 0; i < n; ++i) vHandedOut.push_back(pool.alloc());
  for (int i = 0; i < n; ++i) EXPECT_EQ(vHandedOut[i], pool.getBlock(0) + i);
  EXPECT_TRUE(pool.isUntouched());
  EXPECT_EQ(pool.getNumBlocks(), 1);

  Record* pFirstOfSecondBlock(pool.alloc());
  ASSERT_EQ(pool.getNumBlocks(), 2);
  EXPECT_EQ(pFirstOfSecondBlock, pool.getBlock(1));
  EXPECT_FALSE(pool.isUntouched());
}

TEST(SimplePoolAlloc, ElementsNeverMoveAndAreDistinct) {
  SimplePool<Record> pool;
  pool.init(2, 64);
  std::vector<Record*> vHandedOut;
  for (int i = 0; i < 1000; ++i) {
    Record* pRec(pool.alloc());
    pRec->x = i;  // writable storage of the element's full size
    pRec->y = -i;
    vHandedOut.push_back(pRec);
  }
  EXPECT_EQ(std::set<Record*>(vHandedOut.begin(), vHandedOut.end()).size(), vHandedOut.size());
  for (int i = 0; i < 1000; ++i) {
    EXPECT_EQ(vHandedOut[i]->x, i);
    EXPECT_EQ(vHandedOut[i]->y, -i);
  }
}

TEST(SimplePoolEnumeration, VisitsExactlyTheHandedOutElementsInOrder) {
  for (int numAllocs : {0, 1, 3, 4, 7, 100}) {
    SimplePool<Record> pool;
    pool.init(3, 16);
    std::vector<Record*> vHandedOut;
    for (int i = 0; i < numAllocs; ++i) vHandedOut.push_back(pool.alloc());
    EXPECT_EQ(enumerate(pool), vHandedOut) << numAllocs << " allocations";
  }
}

TEST(SimplePoolEnumeration, ContainsOnlyHandedOutElements) {
  SimplePool<Record> pool;
  pool.init(2, 16);
  Record* pFirst(pool.alloc());
  Record* pSecond(pool.alloc());
  Record* pThird(pool.alloc());  // first element of a block of one
  Record* pFourth(pool.alloc());  // first element of a block of two
  Record foreign;
  EXPECT_TRUE(pool.contains(pFirst));
  EXPECT_TRUE(pool.contains(pSecond));
  EXPECT_TRUE(pool.contains(pThird));
  EXPECT_TRUE(pool.contains(pFourth));
  EXPECT_FALSE(pool.contains(pFourth + 1));  // storage of the current block not handed out yet
  EXPECT_FALSE(pool.contains(pSecond + 1));  // one past the end of the first block
  EXPECT_FALSE(pool.contains(&foreign));
  EXPECT_FALSE(pool.contains(nullptr));
}

TEST(SimplePoolEnumeration, SecondInitIsReportedAndKeepsThePartlyUsedBlock) {
  SimplePool<Record> pool;
  pool.init(4, 16);
  std::vector<Record*> vHandedOut;
  vHandedOut.push_back(pool.alloc());
  testing::internal::CaptureStdout();
  pool.init(6, 16);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "SimplePool::init(..), ERROR: This pool is already initialized\n");
  ASSERT_EQ(pool.getNumBlocks(), 2);
  EXPECT_EQ(pool.getBlockSizes(), (std::vector<int32_t>{4, 6}));
  for (int i = 0; i < 8; ++i) vHandedOut.push_back(pool.alloc());
  EXPECT_EQ(vHandedOut[1], pool.getBlock(1));
  EXPECT_EQ(enumerate(pool), vHandedOut);
}

TEST(SimplePoolDestructor, ReportsMoreThanAThousandBlocks) {
  EXPECT_EQ(destructorOutputFor(1001, kTriangulationPoolMessageThreshold, POOL_OOM_CONTINUE),
            "SimplePool::~SimplePool: Number of containers to release: 1001\n");
  EXPECT_EQ(destructorOutputFor(1000, kTriangulationPoolMessageThreshold, POOL_OOM_CONTINUE), "");
}

TEST(SimplePoolDestructor, RTreeFlavourReportsMoreThanFiftyBlocks) {
  EXPECT_EQ(destructorOutputFor(51, kRTreePoolMessageThreshold, POOL_OOM_EXIT),
            "SimplePool::~SimplePool: Number of containers to release: 51\n");
  EXPECT_EQ(destructorOutputFor(50, kRTreePoolMessageThreshold, POOL_OOM_EXIT), "");
}

#if defined(__SANITIZE_ADDRESS__)
#define ZARN_SKIP_HUGE_MALLOC GTEST_SKIP() << "the address sanitizer aborts on oversized allocations"
#else
#define ZARN_SKIP_HUGE_MALLOC (void)0
#endif

TEST(SimplePoolOutOfMemory, TriangulationPoolReportsAndHandsOutNull) {
  ZARN_SKIP_HUGE_MALLOC;
  SimplePool<Gigantic> pool;
  testing::internal::CaptureStdout();
  pool.init(1 << 20, 1 << 20);
  Record* pNothing(reinterpret_cast<Record*>(pool.alloc()));
  const std::string output(testing::internal::GetCapturedStdout());
  EXPECT_EQ(output, "SimplePool::alloc(..), ERROR: Out of memory\nSimplePool::alloc(..), ERROR: Out of memory\n");
  EXPECT_EQ(pNothing, nullptr);
  EXPECT_EQ(pool.getNumBlocks(), 0);
}

TEST(SimplePoolOutOfMemoryDeathTest, RTreePoolReportsAndExitsWithStatusOne) {
  ZARN_SKIP_HUGE_MALLOC;
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        std::cout.rdbuf(std::cerr.rdbuf());  // let the death test see the message
        SimplePool<Gigantic> pool(kRTreePoolMessageThreshold, POOL_OOM_EXIT);
        pool.init(1 << 20, 1 << 20);
      },
      testing::ExitedWithCode(1), "^SimplePool::alloc\\(\\.\\.\\), ERROR: Out of memory, sorry\n$");
}
