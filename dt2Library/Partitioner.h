// Partitioner: cuts a Hilbert-ordered point set into a coarse sample and contiguous key ranges.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "VertexVault.h"

namespace KORA_ZARN2D {

/// Consecutive vertex records, read in place: records [first, first + num) of a vertex store, or
/// num sorted copies.
class RecordRange {
 public:
  RecordRange(const IdxVtx* pCopies_, size_t num_) : pVault(nullptr), pCopies(pCopies_), first(0), num(num_) {}
  RecordRange(const VertexVault& vault, size_t first_, size_t num_) : pVault(&vault), pCopies(nullptr), first(first_), num(num_) {}
  size_t size() const { return num; }
  IdxVtx operator[](size_t i) const { return pCopies != nullptr ? pCopies[i] : pVault->getRecord(first + i); }

 private:
  const VertexVault* pVault;
  const IdxVtx* pCopies;  // null: the store's own records
  size_t first;
  size_t num;
};

/// True for a record whose vertex still waits for its insertion.
inline bool isPendingRecord(const IdxVtx& rec) { return rec.bActive && rec.pVtx->getIncidentTriangle() == nullptr; }

/// Splits records sorted by Hilbert key for the parallel inserter (records of vertices already
/// inserted or duplicates marked inactive are counted but skipped by the inserter): every sampleStep-th record
/// belongs to the coarse sample (inserted first, serially); the others fall into numChunks
/// contiguous ranges of similar size, one per worker. Because consecutive keys lie close
/// together, each range covers a compact region. Records of equal key (among them all records
/// of one position) stay in one range, and only the first of them can be a sample record, so
/// the first of several equal points is inserted first. Costs O(n) to build, O(log numChunks)
/// per key lookup. Reads the records in place: they must outlive it.
class Partitioner {
 public:
  /// vRecords must be sorted by key; numChunks counts as at least 1, sampleStep is rounded down to
  /// a power of two (at least 1). With more chunks than records some chunks are empty.
  Partitioner(const RecordRange& records, size_t numChunks, size_t sampleStep);

  size_t numChunks() const { return vBegin.size() - 1; }
  /// Record range [chunkBegin(c), chunkEnd(c)) of chunk c; sample records inside it are skipped.
  size_t chunkBegin(size_t c) const { return vBegin[c]; }
  size_t chunkEnd(size_t c) const { return vBegin[c + 1]; }
  /// The step of the sample (a power of two).
  size_t getSampleStep() const { return size_t(1) << sampleShift; }
  /// The first record of chunk c that can be a sample record: only multiples of the step can.
  size_t firstSampleCandidate(size_t c) const { return (chunkBegin(c) + getSampleStep() - 1) & ~(getSampleStep() - 1); }
  bool isSample(size_t i) const { return (i & (getSampleStep() - 1)) == 0 && isFirstOfKey(i); }
  /// True unless record i repeats the key of record i - 1.
  bool isFirstOfKey(size_t i) const { return i == 0 || records[i - 1].key != records[i].key; }
  /// The slot of the sample record at or before record i: i / sampleStep (that record, index
  /// slot * sampleStep, is a sample record unless it repeats its predecessor's key).
  size_t sampleSlot(size_t i) const { return i >> sampleShift; }
  /// True when the sample slot of record i belongs to chunk c (its first record lies in c's range).
  bool isSlotOfChunk(size_t i, size_t c) const { return (sampleSlot(i) << sampleShift) >= chunkBegin(c); }
  /// Number of records of chunk c that are not in the sample.
  size_t numToInsert(size_t c) const { return vNumToInsert[c]; }
  /// The chunk whose key range holds key (keys below the first range go to chunk 0).
  size_t chunkOfKey(uint32_t key) const;

 private:
  RecordRange records;
  unsigned sampleShift;  // log2 of the step: the tests per record are a mask and a shift
  std::vector<size_t> vBegin;        // numChunks + 1 record indices
  std::vector<uint32_t> vFirstKey;   // key of the first record of chunks 1, 2, ...
  std::vector<size_t> vNumToInsert;  // per chunk
};

}  // namespace KORA_ZARN2D
