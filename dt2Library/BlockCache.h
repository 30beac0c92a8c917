// BlockCache: storage blocks of dead triangulations kept for the next one on the same thread.
#pragma once

#include <cstddef>

namespace KORA_ZARN2D {

/// Each block starts with a header that holds its usable size (which may exceed the size asked
/// for), so that it comes back whole whoever returns it; the storage handed out follows. A cache
/// line keeps that storage as aligned as the allocation (a huge page for large blocks) allows.
constexpr size_t kBlockHeaderBytes = 64;

/// Storage for numBytes bytes (see allocateLargeAware), preferably a block that a triangulation
/// released on the calling thread: its pages are resident already. A program that builds many
/// small triangulations one after the other (GIS parcels, CAD faces) otherwise pays the kernel a
/// page fault per 4 KiB per triangulation, and the return of that memory on destruction, which
/// together cost more than the triangulation itself. A cached block may be up to twice as large;
/// it keeps its whole size when it comes back. Null when memory is exhausted. The bytes are not
/// initialised. Cost: O(number of cached blocks), at most a few dozen.
void* takeBlock(size_t numBytes);

/// Gives back a block from takeBlock (on any thread). Kept in the calling thread's cache while no
/// BypassBlockCache scope is active and the cache then holds at most a 16th of the machine's
/// memory, or 256 MiB where that is more (a triangulation of 1 million points takes 122 MB, one of
/// 4 million 490 MB); otherwise freed. The cache frees what it holds when the thread ends or on
/// releaseCachedBlocks(). Builds with AddressSanitizer keep nothing, so that use after free stays
/// visible.
void giveBackBlock(void* pBlock);

/// Frees every block in the calling thread's cache. O(number of cached blocks).
void releaseCachedBlocks();

/// While an active scope lives, blocks given back on its thread are freed, not cached: the
/// scratch buffers of a large bulk insertion would otherwise stay resident beside the triangles
/// built after them and raise the peak. Scopes nest; an inactive one does nothing.
class BypassBlockCache {
 public:
  explicit BypassBlockCache(bool bActive);
  ~BypassBlockCache();
  BypassBlockCache(const BypassBlockCache&) = delete;
  BypassBlockCache& operator=(const BypassBlockCache&) = delete;

 private:
  const bool bActive;
};

}  // namespace KORA_ZARN2D
