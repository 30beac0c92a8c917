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

// A block of at least two huge pages starts on one (the kernel may then back it with them), and
// all its elements are usable.
TEST(SimplePool, LargeBlocksStartOnAHugePage) {
  SimplePool<Record> pool;
  const int32_t numElements(static_cast<int32_t>(2 * kHugePageSize / sizeof(Record)) + 1);
  pool.init(numElements, numElements);
  Record* pFirst(pool.alloc());
  EXPECT_EQ(reinterpret_cast<uintptr_t>(pFirst) % kHugePageSize, 0u);
  for (int32_t i = 1; i < numElements; ++i) *pool.alloc() = Record{1.0, 2.0, pFirst};
  EXPECT_EQ(pool.getNumBlocks(), 1);
}

// Elements are handed out in block order, never move, and the enumeration visits exactly them.
TEST(SimplePool, ElementsAreHandedOutInOrderAndEnumeratedExactly) {
  for (int numAllocs : {0, 1, 3, 4, 7, 100, 1000}) {
    SimplePool<Record> pool;
    pool.init(3, 64);
    std::vector<Record*> vHandedOut;
    for (int i = 0; i < numAllocs; ++i) {
      vHandedOut.push_back(pool.alloc());
      vHandedOut.back()->x = i;  // writable storage of the element's full size
      vHandedOut.back()->p = nullptr;
      EXPECT_EQ(pool.isUntouched(), i < 3);
    }
    EXPECT_EQ(enumerate(pool), vHandedOut) << numAllocs << " allocations";
    for (int i = 0; i < numAllocs; ++i) ASSERT_EQ(vHandedOut[i]->x, i);
    EXPECT_TRUE(numAllocs <= 3 || vHandedOut[3] == pool.getBlock(1));
  }
  SimplePool<Record> pool;
  pool.init(2, 16);
  std::vector<Record*> vHandedOut;
  for (int i = 0; i < 4; ++i) vHandedOut.push_back(pool.alloc());  // blocks of 2, 1 and 2
  Record foreign;
  for (Record* p : vHandedOut) EXPECT_TRUE(pool.contains(p));
  for (Record* p : {vHandedOut[3] + 1, vHandedOut[1] + 1, &foreign, static_cast<Record*>(nullptr)}) EXPECT_FALSE(pool.contains(p));
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

// The triangulation's pools report more than a thousand blocks, the R-tree's more than fifty.
TEST(SimplePoolDestructor, ReportsManyBlocks) {
  EXPECT_EQ(destructorOutputFor(1001, kTriangulationPoolMessageThreshold, POOL_OOM_CONTINUE),
            "SimplePool::~SimplePool: Number of containers to release: 1001\n");
  EXPECT_EQ(destructorOutputFor(1000, kTriangulationPoolMessageThreshold, POOL_OOM_CONTINUE), "");
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
