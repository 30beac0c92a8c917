// VertexVault: duplicates, start triangles for point location, Hilbert-ordered vertex creation.
#include "VertexVault.h"

#include <algorithm>
#include <cmath>
#include <iostream>
#include <set>
#include <thread>
#include <utility>

#include "Dt2.h"
#include "ThreadSlices.h"
#include "Triangle2.h"
#include "tools.h"

namespace KORA_ZARN2D {

namespace {
// Re-sort when the unsorted tail exceeds 35 % of the sorted prefix, or when many records were
// deactivated: keeps single insertions amortised O(log n) per vertex.
constexpr double kResortGrowthFactor = 1.35;
constexpr double kResortDeactivatedShare = 0.5;
constexpr int kResortDeactivatedMinimum = 1000;
// The four-way concurrent sort pays off only for large arrays and enough cores.
constexpr size_t kParallelSortMinRecords = 10000;
constexpr int kParallelSortMinThreads = 4;
// The key pair sort's passes are bound by memory traffic: on two cores a second thread pays off
// only from a few million pairs (1M pairs sorted no faster).
constexpr size_t kMinPairsPerSortThread = size_t(1) << 21;
bool isFinitePoint(const Point2& p) { return std::isfinite(p.x()) && std::isfinite(p.y()); }

}  // namespace

// A stable LSD radix sort over the 30 key bits (three passes of 10 bits, no comparisons); below
// kRadixSortMinPairs its bucket counters would cost more than the pairs. Each pass runs on
// numThreads slices: a slice's pairs of one bucket go after those of the slices before it, so the
// sort stays stable.
uint64_t* sortKeyPairs(uint64_t* aPairs, uint64_t* aTmp, size_t n, size_t numThreads) {
  numThreads = std::max<size_t>(1, numThreads);
  constexpr size_t kRadixSortMinPairs = 4096;
  if (n < kRadixSortMinPairs) {
    std::stable_sort(aPairs, aPairs + n, [](uint64_t a, uint64_t b) { return (a >> 32) < (b >> 32); });
    return aPairs;
  }
  constexpr int kBitsPerPass = 10;
  constexpr size_t kBuckets = size_t(1) << kBitsPerPass;
  std::vector<std::vector<size_t>> vNext(numThreads, std::vector<size_t>(kBuckets));
  for (int shift = 32; shift < 62; shift += kBitsPerPass) {
    const auto bucketOf = [shift](uint64_t pair) { return (pair >> shift) & (kBuckets - 1); };
    forEachSlice(n, numThreads, [&](size_t t, size_t begin, size_t end) {
      std::fill(vNext[t].begin(), vNext[t].end(), 0);
      for (size_t i = begin; i < end; ++i) ++vNext[t][bucketOf(aPairs[i])];
    });
    size_t offset(0);
    for (size_t b = 0; b < kBuckets; ++b) {
      for (std::vector<size_t>& vSlice : vNext) offset += std::exchange(vSlice[b], offset);
    }
    forEachSlice(n, numThreads, [&](size_t t, size_t begin, size_t end) {
      for (size_t i = begin; i < end; ++i) aTmp[vNext[t][bucketOf(aPairs[i])]++] = aPairs[i];
    });
    std::swap(aPairs, aTmp);
  }
  return aPairs;
}

VertexVault::VertexVault(Dt2* pDt_)
    : bFullDimensional(false), numSorted(0), pDt(pDt_), numDeactivated(0), numActive(0) {}

Triangle2* VertexVault::triangleOfActive(size_t idx) {
  Triangle2* pT(recordAt(idx)->getIncidentTriangle());
  ZARN_ASSERT(pT != nullptr);
  return pT;
}

Triangle2* VertexVault::nearestActiveInTail(uint32_t key) const {
  Triangle2* pBest(nullptr);
  uint64_t bestDiff(UINT64_MAX);
  for (size_t i = numSorted; i < size(); ++i) {
    const Point2* pVtx(recordAt(i));
    if (!isActive(pVtx)) continue;
    if (pVtx->getIncidentTriangle() == nullptr) break;
    const uint32_t recKey(keyOf(pVtx));
    const uint64_t diff(recKey > key ? recKey - key : key - recKey);
    if (diff < bestDiff) {
      bestDiff = diff;
      pBest = pVtx->getIncidentTriangle();
    }
  }
  return pBest;
}

size_t VertexVault::firstSortedNotBelow(uint32_t key) const {
  size_t lo(0), hi(numSorted);
  while (lo < hi) {
    const size_t mid(lo + (hi - lo) / 2);
    if (keyOf(recordAt(mid)) < key) {
      lo = mid + 1;
    } else {
      hi = mid;
    }
  }
  return lo;
}

Triangle2* VertexVault::getCloT(uint32_t key) {
  ZARN_ASSERT(bFullDimensional);
  ZARN_ASSERT(size() > 0);
  if (numSorted == 0 && hasFakeBox()) {
    Point2* pFakeCorner(vFakeBoxHandles[0]);
    ZARN_ASSERT(pFakeCorner!=0);
    Triangle2* pFakeT(pFakeCorner->getIncidentTriangle());
    ZARN_ASSERT(pFakeT!=0);
    return pFakeT;
  }
  if (numSorted > 0) {
    const size_t hi(firstSortedNotBelow(key));
    size_t idx(hi);
    if (hi == numSorted) {
      idx = hi - 1;
    } else if (hi > 0 && key - keyOf(recordAt(hi - 1)) <= keyOf(recordAt(hi)) - key) {
      idx = hi - 1;
    }
    if (isActive(recordAt(idx))) return triangleOfActive(idx);
    for (size_t i = idx + 1; i < numSorted; ++i) {
      if (isActive(recordAt(i))) return triangleOfActive(i);
    }
    for (size_t i = idx; i-- > 0;) {
      if (isActive(recordAt(i))) return triangleOfActive(i);
    }
  }
  Triangle2* pT(nearestActiveInTail(key));
  if (pT == nullptr) reportError("Vault", "getCloT() failed");
  ZARN_ASSERT(pT!=0);
  return pT;
}

size_t VertexVault::getIdxOfActiveVtx(const Point2* pVtx) {
  const uint32_t key(keyOf(pVtx));
  if (isActive(pVtx)) {
    for (size_t i = firstSortedNotBelow(key); i < numSorted && keyOf(recordAt(i)) == key; ++i) {
      if (recordAt(i) == pVtx) return i;
    }
    for (size_t i = size(); i-- > 0;) {
      if (recordAt(i) == pVtx) return i;
    }
  }
  reportError("VertexVault::getIdxOfActiveVtx", "pQuery not found");
  ZARN_ASSERT(false);
  return 0;
}

bool VertexVault::isActiveVertex(const Point2* pVtx) {
  if (!pDt->ownsVertexStorage(pVtx)) return false;
  // Once the triangulation is two-dimensional every active vertex is a corner and keeps an
  // incident triangle, while redundant and removed vertices have none: an O(1) answer. Only the
  // lower-dimensional phase, which has no triangles, searches the register.
  if (bFullDimensional) return pVtx->getIncidentTriangle() != nullptr;
  for (size_t i = size(); i-- > 0;) {
    if (recordAt(i) == pVtx) return isActive(pVtx);
  }
  return false;
}

Triangle2* VertexVault::getOneValidTriangle() {
  if (!bFullDimensional) return nullptr;
  for (size_t i = 0; i < size(); ++i) {
    const Point2* pVtx(recordAt(i));
    if (isActive(pVtx)) return pVtx->getIncidentTriangle();
  }
  reportError("getOneValidTriangle()", "No valid triangle found");
  ZARN_ASSERT(false);
  return nullptr;
}

void VertexVault::deactivate(Point2* pVtx) {
  forgetPositions();
  ++numDeactivated;
  pVtx->setIncidentTriangle(nullptr);
  setInactive(recordAt(getIdxOfActiveVtx(pVtx)));
  --numActive;
  if (!bFullDimensional) updateSorting(true);
}

void VertexVault::addRedundant(Point2* pRedundant, Point2* pUnique) {
  std::lock_guard<std::mutex> lock(mtxRedundant);
  const bool bInserted(mRedundant2UniqueVtx.insert(std::make_pair(pRedundant, pUnique)).second);
  ZARN_ASSERT(bInserted);
}

Point2* VertexVault::resolveSingleDuplicate(Point2* pDup) {
  forgetPositions();
  ZARN_ASSERT(mRedundant2UniqueVtx.size()==1);
  ZARN_ASSERT(pDup==recordAt(size() - 1));
  setInactive(pDup);
  --numActive;
  std::map<Point2*, Point2*>::iterator q_it(mRedundant2UniqueVtx.find(pDup));
  ZARN_ASSERT(q_it!=mRedundant2UniqueVtx.end());
  Point2* pUnique(q_it->second);
  mRedundant2UniqueVtx.erase(q_it);
  return pUnique;
}

void VertexVault::cleanDuplicates(Point2** aHandles, size_t numHandles) {
  forgetPositions();
  if (!bFullDimensional && mRedundant2UniqueVtx.empty()) {
    // Collinear phase: nothing was located, so find the duplicates by position. The first of
    // several equal points is the unique one.
    std::map<Point2, Point2*> mPosition2Vtx;
    for (size_t i = 0; i < size(); ++i) {
      Point2* pVtx(recordAt(i));
      if (!isActive(pVtx)) continue;
      std::pair<std::map<Point2, Point2*>::iterator, bool> result(mPosition2Vtx.insert(std::make_pair(*pVtx, pVtx)));
      if (!result.second) mRedundant2UniqueVtx[pVtx] = result.first->second;
    }
  }
  if (mRedundant2UniqueVtx.empty()) return;
  if (aHandles != nullptr) {
    size_t numFoundInHandles(0);
    for (Point2** ppHandle = aHandles; ppHandle != aHandles + numHandles; ++ppHandle) {
      Point2*& pHandle(*ppHandle);
      std::map<Point2*, Point2*>::const_iterator it(mRedundant2UniqueVtx.find(pHandle));
      if (it == mRedundant2UniqueVtx.end()) continue;
      Point2* pExistingVtx(it->second);
      ZARN_ASSERT(*pHandle==*pExistingVtx);
      pHandle = pExistingVtx;
      ++numFoundInHandles;
    }
    ZARN_ASSERT(mRedundant2UniqueVtx.size()==numFoundInHandles);
  }
  size_t numFoundInIdxVtxAct(0);
  for (size_t i = 0; i < size(); ++i) {
    Point2* pVtx(recordAt(i));
    if (!isActive(pVtx) || mRedundant2UniqueVtx.find(pVtx) == mRedundant2UniqueVtx.end()) continue;
    setInactive(pVtx);
    --numActive;
    ++numFoundInIdxVtxAct;
  }
  if (mRedundant2UniqueVtx.size() != numFoundInIdxVtxAct) {
    std::cout << "BUG: mRedundant2UniqueVtx.size()=" << mRedundant2UniqueVtx.size() << std::endl;
    std::cout << "     numFoundInIdxVtxAct=" << numFoundInIdxVtxAct << std::endl;
  }
  ZARN_ASSERT(mRedundant2UniqueVtx.size()==numFoundInIdxVtxAct);
  mRedundant2UniqueVtx.clear();
  ZARN_ASSERT(mRedundant2UniqueVtx.empty());
}

namespace {
// Exact equality treats -0.0 and 0.0 as one position: adding 0.0 turns -0.0 into 0.0.
std::pair<double, double> positionKey(const Point2& p) { return std::make_pair(p.x() + 0.0, p.y() + 0.0); }
}  // namespace

size_t VertexVault::PositionHash::operator()(const std::pair<double, double>& xy) const {
  const size_t hx(std::hash<double>()(xy.first)), hy(std::hash<double>()(xy.second));
  return hx ^ (hy + 0x9e3779b97f4a7c15ULL + (hx << 6) + (hx >> 2));
}

Point2* VertexVault::findVertexAt(const Point2& p) {
  for (; numIndexed < size(); ++numIndexed) {
    Point2* pVtx(recordAt(numIndexed));
    if (isActive(pVtx)) mPositionIndex.emplace(positionKey(*pVtx), pVtx);
  }
  const auto it(mPositionIndex.find(positionKey(p)));
  return it == mPositionIndex.end() ? nullptr : it->second;
}

void VertexVault::forgetPositions() {
  mPositionIndex.clear();
  numIndexed = 0;
}

size_t VertexVault::findTwoDistinctActive(const Point2*& a, const Point2*& b) const {
  a = nullptr;
  for (size_t i = 0; i < size(); ++i) {
    const Point2* pVtx(recordAt(i));
    if (!isActive(pVtx)) continue;
    if (a == nullptr) {
      a = pVtx;
    } else if (*pVtx != *a) {
      b = pVtx;
      return i + 1;
    }
  }
  return 0;
}

bool VertexVault::spansTriangleWith(const Point2& p) const {
  const Point2 *a, *b;
  return findTwoDistinctActive(a, b) > 0 && pDt->getPredicates().getOrientation(*a, *b, p) != ORIENTATION2_COLLINEAR;
}

bool VertexVault::spansTriangle() const {
  const Point2 *a, *b;
  const size_t next(findTwoDistinctActive(a, b));
  if (next == 0) return false;
  for (size_t i = next; i < size(); ++i) {
    const Point2* pVtx(recordAt(i));
    if (isActive(pVtx) && pDt->getPredicates().getOrientation(*a, *b, *pVtx) != ORIENTATION2_COLLINEAR) return true;
  }
  return false;
}

// a and b are the lexicographically smallest and largest vertex: every other vertex of their line
// then lies on the first triangle's edge a-b, and inserting it splits that edge (beyond an end it
// would meet the third vertex's whole star, at a cost growing with the number of vertices).
bool VertexVault::getThreeNonCollinear(Point2*& a, Point2*& b, Point2*& c) const {
  ZARN_ASSERT(!bFullDimensional);
  a = b = c = nullptr;
  for (size_t i = 0; i < size(); ++i) {
    Point2* pVtx(recordAt(i));
    if (!isActive(pVtx)) continue;
    if (a == nullptr || *pVtx < *a) a = pVtx;
    if (b == nullptr || *b < *pVtx) b = pVtx;
  }
  if (a == nullptr || *a == *b) return false;
  for (size_t i = 0; i < size(); ++i) {
    Point2* pVtx(recordAt(i));
    if (isActive(pVtx) && pDt->getPredicates().getOrientation(*a, *b, *pVtx) != ORIENTATION2_COLLINEAR) {
      c = pVtx;
      return true;
    }
  }
  return false;
}

void VertexVault::dropTrailingInactive() {
  while (!vIdxVtxAct.empty() && !isActive(vIdxVtxAct.back())) vIdxVtxAct.pop_back();
  if (vIdxVtxAct.empty()) {
    while (numInBulkRun > 0 && !isActive(pBulkRun + numInBulkRun - 1)) --numInBulkRun;
  }
  numIndexed = std::min(numIndexed, size());  // inactive records were not indexed
}

bool VertexVault::isSortedBetween(size_t first, size_t end) const {
  if (numInBulkRun > 0) first = std::max(first, numInBulkRun - 1);  // the bulk run is in key order
  if (end <= first + 1) return true;
  // Slice t compares the pairs of neighbours (i, i + 1) with i in its part of [first, end - 1).
  const std::vector<char> vSorted(mapSlices<char>(end - first - 1, numThreadsForAll(end - first), [&](size_t begin, size_t stop) {
    return static_cast<char>(isSortedSlice(first + begin, first + stop + 1));
  }));
  return std::all_of(vSorted.begin(), vSorted.end(), [](char bSorted) { return bSorted != 0; });
}

bool VertexVault::isSortedSlice(size_t first, size_t end) const {
  uint32_t previousKey(first < numInBulkRun ? keyOf(pBulkRun + numInBulkRun - 1) : 0);  // the run is in key order
  for (size_t i = std::max(first, numInBulkRun); i < end; ++i) {
    if (keyOf(vIdxVtxAct[i - numInBulkRun]) < previousKey) return false;
    previousKey = keyOf(vIdxVtxAct[i - numInBulkRun]);
  }
  return true;
}

size_t VertexVault::numThreadsForAll(size_t n, size_t minPerThread) const {
  return threadsFor(n, static_cast<size_t>(std::max(1, pDt->getNumCPU())), minPerThread);
}

void VertexVault::materializeBulkRun() {
  if (numInBulkRun == 0) return;
  RecordVector vAll(size());
  for (size_t i = 0; i < numInBulkRun; ++i) vAll[i] = pBulkRun + i;
  std::copy(vIdxVtxAct.begin(), vIdxVtxAct.end(), vAll.begin() + static_cast<std::ptrdiff_t>(numInBulkRun));
  vIdxVtxAct.swap(vAll);
  numInBulkRun = 0;
}

void VertexVault::sortRecords() {
  forgetPositions();
  if (isSortedFrom(0)) return;  // a first bulk insertion, for one, comes in key order
  materializeBulkRun();
  // The unsorted tail is often in key order but for its last few records (bulk insertion creates
  // it in key order, the fake box then appends its 4 corners): then sorting those few and two
  // linear merges replace the full sort.
  const RecordVector::iterator mid(vIdxVtxAct.begin() + numSorted), end(vIdxVtxAct.end());
  const RecordVector::iterator sortedUntil(std::is_sorted_until(mid, end, keyLess));
  if (sortedUntil != end) {
    if (sortedUntil - mid < end - sortedUntil && pDt->getNumCPU() >= kParallelSortMinThreads &&
        vIdxVtxAct.size() >= kParallelSortMinRecords) {
      sortFourWays();
      return;
    }
    std::sort(sortedUntil, end, keyLess);
    std::inplace_merge(mid, sortedUntil, end, keyLess);
  }
  std::inplace_merge(vIdxVtxAct.begin(), mid, end, keyLess);
}

void VertexVault::sortFourWays() {
  // Partition around the median key, then each half around its median: four key ranges of
  // similar size, sorted concurrently.
  const RecordVector::iterator b(vIdxVtxAct.begin()), e(vIdxVtxAct.end());
  const RecordVector::iterator m(b + (e - b) / 2);
  std::nth_element(b, m, e, keyLess);
  const RecordVector::iterator q1(b + (m - b) / 2), q3(m + (e - m) / 2);
  std::nth_element(b, q1, m, keyLess);
  std::nth_element(m, q3, e, keyLess);
  std::vector<std::thread> vThreads;
  const RecordVector::iterator aBounds[5] = {b, q1, m, q3, e};
  for (int i = 0; i < 4; ++i) {
    vThreads.emplace_back([lo = aBounds[i], hi = aBounds[i + 1]] { std::sort(lo, hi, keyLess); });
  }
  for (std::thread& t : vThreads) t.join();
}

void VertexVault::updateSorting(bool bForce) {
  if (!bForce) {
    const bool bGrown(static_cast<double>(size()) > kResortGrowthFactor * static_cast<double>(numSorted));
    const bool bManyDeactivated(numDeactivated > kResortDeactivatedShare * static_cast<double>(numSorted) &&
                                numDeactivated > kResortDeactivatedMinimum);
    if (!bGrown && !bManyDeactivated) return;
  }
  numDeactivated = 0;
  dropTrailingInactive();  // a removed fake box, for one: then the rest is often in key order
  sortRecords();
  dropTrailingInactive();
  numSorted = size();
}

void VertexVault::rekeyAll() {
  materializeBulkRun();  // new keys need not keep the run in key order
  const HC2& hc(pDt->getHC2());
  for (size_t i = 0; i < size(); ++i) setKey(recordAt(i), hc.getKey(*recordAt(i)));
  numSorted = 0;
  updateSorting(true);
}

size_t VertexVault::createVertices(const BulkInput& input, Point2** aHandles) {
  const size_t numPoints(input.size);
  // The key pairs and the sort's second buffer take triangle storage not handed out yet when there
  // is enough: the triangles built next reuse those pages, resident by then, instead of faulting in
  // new ones (a repeated bulk insertion of 1M points: 4 page faults instead of 850, 6% faster).
  KeyPairVector vOwnBuffers;
  uint64_t* aBuffers(static_cast<uint64_t*>(pDt->borrowUnusedTriangleStorage(2 * numPoints * sizeof(uint64_t))));
  if (aBuffers == nullptr) {
    vOwnBuffers.resize(2 * numPoints);
    aBuffers = vOwnBuffers.data();
  }
  const HC2& hc(pDt->getHC2());
  forEachSlice(numPoints, numThreadsForAll(numPoints), [&](size_t, size_t begin, size_t end) {
    for (size_t i = begin; i < end; ++i) {
      // Non-finite points get the marker key UINT32_MAX (above every 30-bit key) and are skipped.
      const Point2 p(input.get(i));
      const uint64_t key(isFinitePoint(p) ? hc.getKey(p) : UINT32_MAX);
      aBuffers[i] = (key << 32) | i;
    }
  });
  uint64_t* aPairs(sortKeyPairs(aBuffers, aBuffers + numPoints, numPoints, numThreadsForAll(numPoints, kMinPairsPerSortThread)));
  // Non-finite points carry the marker key UINT32_MAX, above every key: they come last. Skip them.
  size_t numPairs(numPoints);
  while (numPairs > 0 && (aPairs[numPairs - 1] >> 32) == UINT32_MAX) --numPairs;
  // One range of the pairs per thread, each with its own run of the vertex pool: the threads
  // write disjoint vertices, records and handles.
  const size_t numThreads(numThreadsForAll(numPairs));
  const size_t maxRun(pDt->getMaxVertexRun());
  const size_t numRanges(std::max(numThreads, (numPairs + maxRun - 1) / maxRun));
  std::vector<size_t> vRangeBegins;
  std::vector<Point2*> vRuns;
  bool bContiguous(true);
  for (size_t r = 0; r < numRanges; ++r) {
    const size_t begin(numPairs * r / numRanges), end(numPairs * (r + 1) / numRanges);
    if (begin == end) continue;
    vRuns.push_back(pDt->reserveVertexRun(end - begin));
    bContiguous = bContiguous && (vRangeBegins.empty() || vRuns[vRuns.size() - 2] + (begin - vRangeBegins.back()) == vRuns.back());
    vRangeBegins.push_back(begin);
  }
  vRangeBegins.push_back(numPairs);
  const size_t first(size());
  Point2** aRecords(nullptr);
  if (first == 0 && bContiguous && !vRuns.empty()) {
    pBulkRun = vRuns[0];
    numInBulkRun = numPairs;
  } else {
    vIdxVtxAct.resize(vIdxVtxAct.size() + numPairs);
    aRecords = vIdxVtxAct.data() + (first - numInBulkRun);
  }
  numActive += static_cast<int>(numPairs);
  forEachSlice(vRuns.size(), std::min(numThreads, vRuns.size()), [&](size_t, size_t firstRun, size_t endRun) {
    for (size_t r = firstRun; r < endRun; ++r) {
      createVertexRange(aPairs, vRangeBegins[r], vRangeBegins[r + 1], input, vRuns[r], aRecords, aHandles);
    }
  });
  return numPoints - numPairs;
}

void VertexVault::createVertexRange(const uint64_t* aPairs, size_t begin, size_t end, const BulkInput& input,
                                    Point2* pRun, Point2** aRecords, Point2** aHandles) {
  constexpr size_t kPrefetchDistance = 8;  // input points are read in key order: random in memory
  for (size_t i = begin; i < end; ++i) {
    if (i + kPrefetchDistance < end) {
      const size_t ahead(aPairs[i + kPrefetchDistance] & 0xFFFFFFFFu);
      __builtin_prefetch(input.aPoints != nullptr ? static_cast<const void*>(input.aPoints + ahead) : input.aCoordinates + 2 * ahead);
    }
    const size_t inputIndex(aPairs[i] & 0xFFFFFFFFu);
    Point2* pVtx(new (pRun + (i - begin)) Point2(input.get(inputIndex)));  // no triangle yet
    pVtx->storeWord = static_cast<uint32_t>(aPairs[i] >> 32);
    if (aRecords != nullptr) aRecords[i] = pVtx;
    if (aHandles != nullptr) aHandles[inputIndex] = pVtx;
  }
}

void VertexVault::setFakeBox(const std::vector<Point2*>& vCorners) { vFakeBoxHandles = vCorners; }

Point2* VertexVault::getFakeCorner(size_t i) const {
  ZARN_ASSERT(vFakeBoxHandles.size()>i);
  return vFakeBoxHandles[i];
}

void VertexVault::removeFakeBox() {
  ZARN_ASSERT(vFakeBoxHandles.size()==4);
  std::vector<Point2*> vCorners;
  vCorners.swap(vFakeBoxHandles);
  for (Point2* pCorner : vCorners) pDt->removeVertex(pCorner);
}

}  // namespace KORA_ZARN2D
