// SimplePool: the block allocator behind vertices, triangles, refinement candidates, vertex-store
// records and R-tree nodes.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <vector>

#include "HugePages.h"
#include "tools.h"

namespace KORA_ZARN2D {

/// What a pool does when malloc fails.
enum PoolOutOfMemoryAction {
  POOL_OOM_CONTINUE = 0,  ///< report on standard output and hand out null (the triangulation's pools)
  POOL_OOM_EXIT = 1       ///< report on standard output and end the process with status 1 (the R-tree's)
};

/// The destructor reports the number of blocks above this count (triangulation and vertex store).
constexpr int kTriangulationPoolMessageThreshold = 1000;
/// The same for the R-tree's node pools.
constexpr int kRTreePoolMessageThreshold = 50;

/// The largest automatic block for element type T: 100 MB worth of elements, rounded down.
template <class T>
constexpr int32_t maxPoolBlockSize() {
  return static_cast<int32_t>(100000000 / sizeof(T));
}

/// Hands out raw storage for single objects of type T from blocks obtained with malloc.
///
/// Nothing is ever returned to the pool; all blocks are freed together by the destructor, so a
/// pointer from alloc() stays valid (and never moves) for the lifetime of the pool. The pool
/// neither constructs nor destroys objects: the caller constructs each one in place right after
/// alloc(). Blocks grow geometrically: the second is half the first (the first is sized from the
/// owner's estimate, which should be nearly right), every further one doubles the previous, up to
/// the maximum block size. Not synchronised: one thread at a time.
template <class T>
class SimplePool {
 public:
  /// An empty pool; call init() before the first alloc(). The destructor reports the number of
  /// blocks when it exceeds messageThreshold; oomAction decides what a failed malloc does.
  explicit SimplePool(int messageThreshold = kTriangulationPoolMessageThreshold,
                      PoolOutOfMemoryAction oomAction = POOL_OOM_CONTINUE)
      : currentBlock(nullptr),
        currentIndex(-1),
        currentBlockSize(0),
        initialBlockSize(0),
        nextBlockSize(-1),
        bInitialized(false),
        bUntouched(true),
        maxBlockSize(0),
        messageThreshold(messageThreshold),
        oomAction(oomAction) {}
  SimplePool(const SimplePool&) = delete;
  SimplePool& operator=(const SimplePool&) = delete;

  /// Frees every block. Prints the number of blocks when it exceeds the message threshold.
  ~SimplePool() {
    if (static_cast<int64_t>(containers.size()) > messageThreshold) {
      std::cout << "SimplePool::~SimplePool: Number of containers to release: " << containers.size() << std::endl;
    }
    for (T* pBlock : containers) giveBackBlock(pBlock);
  }

  /// Makes the first block of firstBlockSize elements; automatic blocks never exceed maxSize
  /// elements. Meant to be called once: a second call is reported on standard output and starts
  /// one more block (the earlier blocks stay owned). Sizes below 1 fail an assertion.
  void init(int32_t firstBlockSize, int32_t maxSize) {
    ZARN_ASSERT(firstBlockSize > 0 && maxSize > 0);
    if (bInitialized) std::cout << "SimplePool::init(..), ERROR: This pool is already initialized" << std::endl;
    maxBlockSize = maxSize;
    initialBlockSize = firstBlockSize;
    nextBlockSize = -1;
    startNewBlock(initialBlockSize);
    bInitialized = true;
  }

  /// Storage for one element: an increment, a compare and an address in the common case; a new
  /// block (one malloc) when the current one is full. Returns null only when memory is exhausted
  /// with POOL_OOM_CONTINUE (reported on standard output); a later call tries again.
  T* alloc() {
    if (++currentIndex < currentBlockSize) return currentBlock + currentIndex;
    return allocFromNewBlock();
  }

  /// Storage for count consecutive elements (0 < count <= the maximum block size): the next
  /// elements of the current block when it has room, else the first ones of a new block of the
  /// automatic size or of count elements, whichever is larger. Lets one thread hand out runs that
  /// other threads then fill on their own. Null only when memory is exhausted.
  T* allocRun(int32_t count) {
    ZARN_ASSERT(count > 0 && count <= maxBlockSize);
    if (currentBlockSize - currentIndex - 1 < count) {
      startNewBlock(std::max(count, getAutomaticBlockSize()));
      bUntouched = false;
      if (currentBlock == nullptr) return nullptr;
    }
    T* pRun(currentBlock + currentIndex + 1);
    currentIndex += count;
    return pRun;
  }
  /// The storage of the current block that no alloc() or allocRun() has handed out yet, when it
  /// holds at least numBytes bytes (aligned for any element type up to T's alignment), else null:
  /// scratch for work that ends before the next allocation, whose elements then reuse its pages,
  /// resident by then. O(1).
  void* getUnusedStorage(size_t numBytes) const {
    const int64_t numUnused(int64_t(currentBlockSize) - currentIndex - 1);
    if (currentBlock == nullptr || numUnused <= 0) return nullptr;
    return static_cast<size_t>(numUnused) * sizeof(T) >= numBytes ? currentBlock + currentIndex + 1 : nullptr;
  }
  /// The largest automatic block (the cap given to init).
  int32_t getMaxBlockSize() const { return maxBlockSize; }

  // ----- Enumeration of the handed-out elements, block by block, in allocation order ---------

  /// The number of blocks obtained so far.
  int getNumBlocks() const { return static_cast<int>(containers.size()); }
  /// The first element of block i (0 <= i < getNumBlocks()); valid for the life of the pool.
  T* getBlock(int i) const { return containers[i]; }
  /// How many elements of block i have been handed out; they are its first ones.
  int32_t getUsedCount(int i) const {
    if (i < static_cast<int>(vUsedCounts.size())) return vUsedCounts[i];
    return currentIndex < currentBlockSize ? currentIndex + 1 : currentBlockSize;
  }
  /// The number of elements of block i, in block order.
  const std::vector<int32_t>& getBlockSizes() const { return blockSizes; }
  /// True when p is the address of an element handed out by this pool. Costs one comparison
  /// per block (logarithmic in the number of elements until blocks reach the cap).
  bool contains(const T* p) const {
    const std::less<const T*> before;
    for (int b = 0; b < getNumBlocks(); ++b) {
      const T* pBegin(containers[b]);
      if (!before(p, pBegin) && before(p, pBegin + getUsedCount(b))) return true;
    }
    return false;
  }
  /// True until alloc() has had to start a block of its own (init's block does not count).
  bool isUntouched() const { return bUntouched; }

 private:
  T* allocFromNewBlock() {
    ZARN_ASSERT(bInitialized);
    startNewBlock(nextBlockSize);
    bUntouched = false;
    currentIndex = 0;
    return currentBlock;
  }

  int32_t getAutomaticBlockSize() const {
    if (blockSizes.empty()) return initialBlockSize;  // the first block could not be allocated
    const int64_t last(blockSizes.back());
    int64_t size(blockSizes.size() == 1 ? last / 2 : 2 * last);
    if (size == 0) size = last;
    return static_cast<int32_t>(size > maxBlockSize ? maxBlockSize : size);
  }

  // Starts a block of requestedSize elements, or of the automatic size when it is negative.
  void startNewBlock(int32_t requestedSize) {
    const int32_t size(requestedSize < 0 ? getAutomaticBlockSize() : requestedSize);
    if (currentBlock != nullptr) vUsedCounts.push_back(getUsedCount(getNumBlocks() - 1));
    // Large blocks are filled front to back by millions of objects: on huge pages their first
    // touch costs up to 512 times fewer page faults and TLB misses.
    currentBlock = static_cast<T*>(takeBlock(static_cast<size_t>(size) * sizeof(T)));
    currentIndex = -1;
    if (currentBlock == nullptr) {
      reportOutOfMemory();
      currentBlockSize = 0;  // the next alloc() tries again with the same size
      return;
    }
    // Triangle records keep their mark in the high bits of neighbour addresses (Triangle2.h): no
    // block may reach above 2^48, as user-space memory does not on 64-bit Linux, macOS or Windows.
    ZARN_ASSERT((reinterpret_cast<uintptr_t>(currentBlock + size) >> 48) == 0);
    blockSizes.push_back(size);
    containers.push_back(currentBlock);
    currentBlockSize = size;
  }

  void reportOutOfMemory() const {
    if (oomAction == POOL_OOM_EXIT) {
      std::cout << "SimplePool::alloc(..), ERROR: Out of memory, sorry" << std::endl;
      std::exit(1);
    }
    std::cout << "SimplePool::alloc(..), ERROR: Out of memory" << std::endl;
  }

  std::vector<T*> containers;      // every block, given back to the block cache by the destructor
  std::vector<int32_t> blockSizes;  // elements per block, in the order of containers
  T* currentBlock;                  // the newest block, the only one alloc() hands out from
  int32_t currentIndex;             // the element handed out last from currentBlock; -1 when none
  int32_t currentBlockSize;
  int32_t initialBlockSize;
  int32_t nextBlockSize;  // -1: automatic growth
  bool bInitialized;
  bool bUntouched;
  int32_t maxBlockSize;
  int messageThreshold;
  PoolOutOfMemoryAction oomAction;
  std::vector<int32_t> vUsedCounts;  // handed-out elements of every block before the current one
};

}  // namespace KORA_ZARN2D
