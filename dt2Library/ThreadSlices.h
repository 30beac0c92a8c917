// forEachSlice: a loop over contiguous slices of an index range, one thread per slice.
#pragma once

#include <algorithm>
#include <cstddef>
#include <thread>
#include <vector>

namespace KORA_ZARN2D {

/// Runs fn(t, begin, end) for the numThreads contiguous slices [begin, end) of [0, n), slice t on a
/// thread of its own (the calling thread takes slice 0); numThreads counts as at least 1. fn must
/// not throw: an exception on a started thread ends the process.
template <class Fn>
void forEachSlice(size_t n, size_t numThreads, const Fn& fn) {
  numThreads = std::max<size_t>(1, numThreads);
  std::vector<std::thread> vThreads;
  for (size_t t = 1; t < numThreads; ++t) vThreads.emplace_back(fn, t, n * t / numThreads, n * (t + 1) / numThreads);
  fn(0, 0, n / numThreads);
  for (std::thread& thread : vThreads) thread.join();
}

}  // namespace KORA_ZARN2D
