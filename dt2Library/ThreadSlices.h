// forEachSlice: a loop over contiguous slices of an index range, one thread per slice.
#pragma once

#include <algorithm>
#include <cstddef>
#include <thread>
#include <vector>

namespace KORA_ZARN2D {

/// Bulk work gives each thread at least this many items: below it, starting a thread costs more
/// than it saves.
constexpr size_t kMinItemsPerThread = 32768;

/// The number of threads the machine runs at once (at least 1). Asked once per process: the
/// system call behind it (a file read on Linux) costs more than a small triangulation.
inline size_t hardwareThreads() {
  static const size_t numThreads(std::max(1u, std::thread::hardware_concurrency()));
  return numThreads;
}

/// The number of threads for bulk work on n items with numCPU allowed (at least 1), each thread
/// taking at least minPerThread items, and no more than the machine runs at once (more would only
/// take turns on the same cores).
inline size_t threadsFor(size_t n, size_t numCPU, size_t minPerThread = kMinItemsPerThread) {
  return std::max<size_t>(1, std::min({numCPU, hardwareThreads(), n / minPerThread}));
}

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

/// The results of fn(begin, end) for the numThreads contiguous slices of [0, n), in slice order,
/// each computed on a thread of its own as in forEachSlice. T is not bool: the threads write
/// neighbouring elements, which a packed vector<bool> would share.
template <class T, class Fn>
std::vector<T> mapSlices(size_t n, size_t numThreads, const Fn& fn) {
  std::vector<T> vResults(std::max<size_t>(1, numThreads));
  forEachSlice(n, numThreads, [&](size_t t, size_t begin, size_t end) { vResults[t] = fn(begin, end); });
  return vResults;
}

}  // namespace KORA_ZARN2D
