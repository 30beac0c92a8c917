// BlockCache: a small per-thread cache of released storage blocks (see BlockCache.h).
#include "BlockCache.h"

#include <cstdlib>
#include <vector>

#include "HugePages.h"

namespace KORA_ZARN2D {

namespace {
// Large triangulations fault in their memory on huge pages and take long enough that a cache
// gains them nothing, while it would keep their memory after their end: only blocks up to
// kMaxCachedBlockBytes (the triangles of about 150,000 points; faulting their pages in again took
// about 40% of a repeated 100,000-point triangulation) are kept, at most kMaxCachedBytes per thread.
constexpr size_t kMaxCachedBlockBytes = size_t(16) << 20;
constexpr size_t kMaxCachedBytes = size_t(64) << 20;
constexpr size_t kMaxCachedBlocks = 32;
// A cached block serves requests down to half its size.
constexpr size_t kMaxSizeRatio = 2;

#if defined(__SANITIZE_ADDRESS__)
constexpr bool kCacheBlocks = false;
#else
constexpr bool kCacheBlocks = true;
#endif

struct Block {
  void* p;
  size_t numBytes;
};

/// The calling thread's cached blocks.
class Cache {
 public:
  ~Cache();
  void release();
  void* take(size_t numBytes);
  /// False when the block does not fit: the caller frees it.
  bool keep(void* p, size_t numBytes);

 private:
  std::vector<Block> vBlocks;
  size_t numCachedBytes = 0;
};

// Trivially destructible, so still readable while the thread's other objects are destroyed: a
// triangulation that dies after the cache frees its blocks directly.
thread_local bool bCacheDestroyed = false;

Cache::~Cache() {
  release();
  bCacheDestroyed = true;
}

void Cache::release() {
  for (const Block& block : vBlocks) std::free(block.p);
  vBlocks.clear();
  numCachedBytes = 0;
}

void* Cache::take(size_t numBytes) {
  size_t best(vBlocks.size());
  for (size_t i = 0; i < vBlocks.size(); ++i) {
    const size_t size(vBlocks[i].numBytes);
    if (size >= numBytes && size <= kMaxSizeRatio * numBytes && (best == vBlocks.size() || size < vBlocks[best].numBytes)) best = i;
  }
  if (best == vBlocks.size()) return nullptr;
  void* p(vBlocks[best].p);
  numCachedBytes -= vBlocks[best].numBytes;
  vBlocks[best] = vBlocks.back();
  vBlocks.pop_back();
  return p;
}

bool Cache::keep(void* p, size_t numBytes) {
  if (numBytes > kMaxCachedBlockBytes || numCachedBytes + numBytes > kMaxCachedBytes || vBlocks.size() == kMaxCachedBlocks) {
    return false;
  }
  vBlocks.push_back(Block{p, numBytes});
  numCachedBytes += numBytes;
  return true;
}

Cache* threadCache() {
  if (!kCacheBlocks || bCacheDestroyed) return nullptr;
  thread_local Cache cache;
  return &cache;
}
}  // namespace

void* takeBlock(size_t numBytes) {
  Cache* pCache(threadCache());
  void* p(pCache != nullptr ? pCache->take(numBytes) : nullptr);
  return p != nullptr ? p : allocateLargeAware(numBytes);
}

void releaseCachedBlocks() {
  Cache* pCache(threadCache());
  if (pCache != nullptr) pCache->release();
}

void giveBackBlock(void* pBlock, size_t numBytes) {
  if (pBlock == nullptr) return;
  Cache* pCache(threadCache());
  if (pCache == nullptr || !pCache->keep(pBlock, numBytes)) std::free(pBlock);
}

}  // namespace KORA_ZARN2D
