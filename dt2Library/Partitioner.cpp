// Partitioner: coarse sample and Hilbert key ranges for the parallel inserter.
#include "Partitioner.h"

#include <algorithm>

namespace KORA_ZARN2D {

namespace {
unsigned floorLog2(size_t x) {
  unsigned log(0);
  while ((x >> log) > 1) ++log;
  return log;
}
}  // namespace

Partitioner::Partitioner(const RecordRange& records_, size_t numChunks, size_t sampleStep_)
    : records(records_), sampleShift(floorLog2(std::max<size_t>(1, sampleStep_))) {
  numChunks = std::max<size_t>(1, numChunks);
  const size_t n(records.size());
  vBegin.push_back(0);
  for (size_t c = 1; c < numChunks; ++c) {
    size_t begin(std::max(vBegin.back(), n * c / numChunks));
    while (begin > 0 && begin < n && records[begin - 1].key == records[begin].key) ++begin;
    vBegin.push_back(begin);
    vFirstKey.push_back(begin < n ? records[begin].key : UINT32_MAX);
  }
  vBegin.push_back(n);
  for (size_t c = 0; c < numChunks; ++c) {
    size_t numSamples(0);
    for (size_t i = firstSampleCandidate(c); i < chunkEnd(c); i += getSampleStep()) numSamples += isSample(i);
    vNumToInsert.push_back(chunkEnd(c) - chunkBegin(c) - numSamples);
  }
}

size_t Partitioner::chunkOfKey(uint32_t key) const {
  return static_cast<size_t>(std::upper_bound(vFirstKey.begin(), vFirstKey.end(), key) - vFirstKey.begin());
}

}  // namespace KORA_ZARN2D
