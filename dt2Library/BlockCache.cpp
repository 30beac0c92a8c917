// BlockCache: a small per-thread cache of released storage blocks (see BlockCache.h).
#include "BlockCache.h"

#include <cstdlib>
#include <vector>

#include "HugePages.h"

namespace KORA_ZARN2D {

namespace {
// A thread keeps the blocks of its dead triangulations up to kMaxCachedBytes in all: a repeated
// triangulation of up to about 1.5 million points then reuses resident pages. The first touch of
// new pages (zeroed by the kernel, and on a virtual machine faulted in by the host as well) took
// about 6% of a repeated one-million-point triangulation on a quiet machine, far more when the
// machine was busy.
constexpr size_t kMaxCachedBytes = size_t(256) << 20;
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
// The number of live BypassBlockCache scopes of the thread that keep nothing.
thread_local int numBypassingScopes = 0;

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
  if (numCachedBytes + numBytes > kMaxCachedBytes || vBlocks.size() == kMaxCachedBlocks) {
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
  if (pCache == nullptr || numBypassingScopes > 0 || !pCache->keep(pBlock, numBytes)) std::free(pBlock);
}

BypassBlockCache::BypassBlockCache(bool bActive_) : bActive(bActive_) {
  if (bActive) ++numBypassingScopes;
}

BypassBlockCache::~BypassBlockCache() {
  if (bActive) --numBypassingScopes;
}

}  // namespace KORA_ZARN2D
