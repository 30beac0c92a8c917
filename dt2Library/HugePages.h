// Large buffers on transparent huge pages, and an allocator that leaves new elements uninitialised.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <vector>

#include "BlockCache.h"
#ifdef __linux__
#include <sys/mman.h>
#endif

namespace KORA_ZARN2D {

/// The size of a transparent huge page on x86-64 and most 64-bit ARM kernels.
constexpr size_t kHugePageSize = size_t(2) << 20;

/// Asks the kernel to back the whole huge pages inside [pBlock, pBlock + numBytes) with huge pages:
/// the first touch of a large buffer then costs one page fault per 2 MiB instead of per 4 KiB. Only
/// advice: ignored for buffers below two huge pages and where the kernel does not offer it.
inline void adviseHugePages(void* pBlock, size_t numBytes) {
#if defined(__linux__) && defined(MADV_HUGEPAGE)
  if (numBytes < 2 * kHugePageSize) return;
  const uintptr_t begin((reinterpret_cast<uintptr_t>(pBlock) + kHugePageSize - 1) & ~(kHugePageSize - 1));
  const uintptr_t end((reinterpret_cast<uintptr_t>(pBlock) + numBytes) & ~(kHugePageSize - 1));
  if (end > begin) madvise(reinterpret_cast<void*>(begin), end - begin, MADV_HUGEPAGE);
#else
  (void)pBlock;
  (void)numBytes;
#endif
}

/// Storage for numBytes bytes from malloc; a buffer of at least two huge pages is aligned to a huge
/// page and its whole huge pages are advised to use them (adviseHugePages). The rounding up to a
/// multiple of the huge page size is not advised: a huge page there would make up to 2 MiB
/// resident that the buffer never uses. Null when memory is exhausted. Release with std::free.
/// The bytes are not initialised.
inline void* allocateLargeAware(size_t numBytes) {
  if (numBytes < 2 * kHugePageSize) return std::malloc(numBytes);
  const size_t rounded((numBytes + kHugePageSize - 1) & ~(kHugePageSize - 1));
  void* pBlock(std::aligned_alloc(kHugePageSize, rounded));
  if (pBlock != nullptr) adviseHugePages(pBlock, numBytes);
  return pBlock;
}

/// A std::allocator replacement for vectors of plain records that are always written before they
/// are read: resize() leaves new elements default-initialised (no zero fill, whose page faults and
/// stores cost as much as the work on the records), large arrays sit on huge pages, and storage
/// comes from and goes back to the thread's block cache (BlockCache.h).
template <class T>
class UninitialisedAllocator {
 public:
  using value_type = T;
  UninitialisedAllocator() = default;
  template <class U>
  UninitialisedAllocator(const UninitialisedAllocator<U>&) {}  // NOLINT: converting, as std::allocator

  T* allocate(size_t n) {
    void* p(takeBlock(n * sizeof(T)));
    if (p == nullptr) throw std::bad_alloc();
    return static_cast<T*>(p);
  }
  void deallocate(T* p, size_t) { giveBackBlock(p); }
  /// Default-initialises: nothing for plain records.
  template <class U>
  void construct(U* p) {
    ::new (static_cast<void*>(p)) U;
  }
  template <class U, class... Args>
  void construct(U* p, Args&&... args) {
    ::new (static_cast<void*>(p)) U(static_cast<Args&&>(args)...);
  }
  template <class U>
  bool operator==(const UninitialisedAllocator<U>&) const {
    return true;
  }
  template <class U>
  bool operator!=(const UninitialisedAllocator<U>&) const {
    return false;
  }
};

/// A vector for scratch records of a single operation: its storage comes from the thread's block
/// cache (resident pages, no zero fill), and growth does not touch new pages each time.
template <class T>
using ScratchVector = std::vector<T, UninitialisedAllocator<T>>;

}  // namespace KORA_ZARN2D
