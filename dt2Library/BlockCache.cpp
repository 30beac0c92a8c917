// BlockCache: a small per-thread cache of released storage blocks (see BlockCache.h).
#include "BlockCache.h"

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <vector>

#include "HugePages.h"
#if defined(__unix__) || defined(__APPLE__)
#include <unistd.h>
#endif

namespace KORA_ZARN2D {

namespace {
// A thread keeps the blocks of its dead triangulations up to maxCachedBytes() in all: a repeated
// triangulation then reuses resident pages. The first touch of new pages (zeroed by the kernel,
// and on a virtual machine faulted in by the host as well) took about 6% of a repeated
// one-million-point triangulation on a quiet machine, and a quarter of a repeated four-million-
// point one (0.3 of its 1.3 s) once the host had taken the freed memory back.
constexpr size_t kMinCachedBytes = size_t(256) << 20;
// The share of the machine's memory a thread may keep: 1/16 holds the 490 MB of a triangulation
// of 4 million points on a machine with 8 GiB.
constexpr size_t kMemoryShare = 16;
constexpr size_t kMaxCachedBlocks = 32;
// A cached block serves requests down to half its size.
constexpr size_t kMaxSizeRatio = 2;

#if defined(__SANITIZE_ADDRESS__)
constexpr bool kCacheBlocks = false;
#else
constexpr bool kCacheBlocks = true;
#endif

/// The machine's physical memory in bytes; 0 where the system does not say.
size_t physicalMemoryBytes() {
#if defined(_SC_PHYS_PAGES) && defined(_SC_PAGESIZE)
  const long numPages(sysconf(_SC_PHYS_PAGES)), pageSize(sysconf(_SC_PAGESIZE));
  if (numPages > 0 && pageSize > 0) return static_cast<size_t>(numPages) * static_cast<size_t>(pageSize);
#endif
  return 0;
}

/// The most a thread keeps: a 16th of the machine's memory, at least kMinCachedBytes. Asked of
/// the system once per process.
size_t maxCachedBytes() {
  static const size_t maxBytes(std::max(kMinCachedBytes, physicalMemoryBytes() / kMemoryShare));
  return maxBytes;
}

struct Block {
  void* p;          // the start of the allocation, where the header lies
  size_t numBytes;  // usable bytes behind the header
};

/// The calling thread's cached blocks.
class Cache {
 public:
  ~Cache();
  void release();
  /// A cached block of numBytes to kMaxSizeRatio * numBytes bytes, the smallest; {null, 0} if none.
  Block take(size_t numBytes);
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

Block Cache::take(size_t numBytes) {
  size_t best(vBlocks.size());
  for (size_t i = 0; i < vBlocks.size(); ++i) {
    const size_t size(vBlocks[i].numBytes);
    if (size >= numBytes && size <= kMaxSizeRatio * numBytes && (best == vBlocks.size() || size < vBlocks[best].numBytes)) best = i;
  }
  if (best == vBlocks.size()) return Block{nullptr, 0};
  const Block block(vBlocks[best]);
  numCachedBytes -= block.numBytes;
  vBlocks[best] = vBlocks.back();
  vBlocks.pop_back();
  return block;
}

bool Cache::keep(void* p, size_t numBytes) {
  if (numCachedBytes + numBytes > maxCachedBytes() || vBlocks.size() == kMaxCachedBlocks) {
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
  if (numBytes > std::numeric_limits<size_t>::max() - kBlockHeaderBytes) return nullptr;
  Cache* pCache(threadCache());
  Block block(pCache != nullptr ? pCache->take(numBytes) : Block{nullptr, 0});
  if (block.p == nullptr) block = Block{allocateLargeAware(kBlockHeaderBytes + numBytes), numBytes};
  if (block.p == nullptr) return nullptr;
  *static_cast<size_t*>(block.p) = block.numBytes;
  return static_cast<char*>(block.p) + kBlockHeaderBytes;
}

void releaseCachedBlocks() {
  Cache* pCache(threadCache());
  if (pCache != nullptr) pCache->release();
}

void giveBackBlock(void* pBlock) {
  if (pBlock == nullptr) return;
  void* pStart(static_cast<char*>(pBlock) - kBlockHeaderBytes);
  const size_t numBytes(*static_cast<const size_t*>(pStart));
  Cache* pCache(threadCache());
  if (pCache == nullptr || numBypassingScopes > 0 || !pCache->keep(pStart, numBytes)) std::free(pStart);
}

BypassBlockCache::BypassBlockCache(bool bActive_) : bActive(bActive_) {
  if (bActive) ++numBypassingScopes;
}

BypassBlockCache::~BypassBlockCache() {
  if (bActive) --numBypassingScopes;
}

}  // namespace KORA_ZARN2D
