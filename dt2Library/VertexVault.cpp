// VertexVault: duplicates, start triangles for point location, Hilbert-ordered vertex creation.
#include "VertexVault.h"

#include <algorithm>
#include <cmath>
#include <iostream>
#include <set>
#include <thread>

#include "Dt2.h"
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
// Keys are computed in parallel above these sizes.
constexpr size_t kParallelKeysMinPoints = 1000;
constexpr size_t kParallelKeysPointsPerThread = 10;

bool isFinitePoint(const Point2& p) { return std::isfinite(p.x()) && std::isfinite(p.y()); }

// Sorts (key << 32 | input index) pairs by key, equal keys in input order. Large inputs take a
// stable LSD radix sort over the 30 key bits (three passes of 10 bits, O(n), no comparisons); below
// kRadixSortMinPairs its bucket counters would cost more than the pairs, and sorting the whole
// 64-bit values gives the same order.
void sortByKey(KeyPairVector& vPairs) {
  constexpr size_t kRadixSortMinPairs = 4096;
  if (vPairs.size() < kRadixSortMinPairs) {
    std::sort(vPairs.begin(), vPairs.end());
    return;
  }
  constexpr int kBitsPerPass = 10;
  constexpr int kBuckets = 1 << kBitsPerPass;
  KeyPairVector vTmp(vPairs.size());
  for (int shift = 32; shift < 62; shift += kBitsPerPass) {
    size_t aCount[kBuckets + 1] = {0};
    for (uint64_t pair : vPairs) ++aCount[((pair >> shift) & (kBuckets - 1)) + 1];
    for (int b = 0; b < kBuckets; ++b) aCount[b + 1] += aCount[b];
    for (uint64_t pair : vPairs) vTmp[aCount[(pair >> shift) & (kBuckets - 1)]++] = pair;
    vPairs.swap(vTmp);
  }
}
}  // namespace

VertexVault::VertexVault(Dt2* pDt_)
    : bFullDimensional(false), numSorted(0), pDt(pDt_), numDeactivated(0), numActive(0) {}

Triangle2* VertexVault::triangleOfActive(size_t idx) {
  Triangle2* pT(vIdxVtxAct[idx].pVtx->getIncidentTriangle());
  if (pT == nullptr) {
    std::cout << "HUH BUG" << std::endl;
    std::cout << "Address=" << static_cast<const void*>(vIdxVtxAct[idx].pVtx) << std::endl;
    std::cout << "resultIdx=" << idx << std::endl;
    std::cout << "pVtx=" << *vIdxVtxAct[idx].pVtx << std::endl;
    for (size_t i = 0; i < vIdxVtxAct.size(); ++i) {
      if (*vIdxVtxAct[i].pVtx == *vIdxVtxAct[idx].pVtx) std::cout << "found at index i=" << i << std::endl;
    }
  }
  ZARN_ASSERT(pT!=0);
  return pT;
}

Triangle2* VertexVault::nearestActiveInTail(uint32_t key) const {
  Triangle2* pBest(nullptr);
  uint64_t bestDiff(UINT64_MAX);
  for (size_t i = numSorted; i < vIdxVtxAct.size(); ++i) {
    const IdxVtx& rec(vIdxVtxAct[i]);
    if (!rec.bActive) continue;
    if (rec.pVtx->getIncidentTriangle() == nullptr) break;
    const uint64_t diff(rec.key > key ? rec.key - key : key - rec.key);
    if (diff < bestDiff) {
      bestDiff = diff;
      pBest = rec.pVtx->getIncidentTriangle();
    }
  }
  return pBest;
}

Triangle2* VertexVault::getCloT(uint32_t key) {
  ZARN_ASSERT(bFullDimensional);
  ZARN_ASSERT(!vIdxVtxAct.empty());
  if (numSorted == 0 && hasFakeBox()) {
    Point2* pFakeCorner(vFakeBoxHandles[0]);
    ZARN_ASSERT(pFakeCorner!=0);
    Triangle2* pFakeT(pFakeCorner->getIncidentTriangle());
    ZARN_ASSERT(pFakeT!=0);
    return pFakeT;
  }
  if (numSorted > 0) {
    const RecordVector::const_iterator sortedEnd(vIdxVtxAct.begin() + numSorted);
    IdxVtx probe{key, true, nullptr};
    size_t hi(std::lower_bound(vIdxVtxAct.cbegin(), sortedEnd, probe, keyLess) - vIdxVtxAct.cbegin());
    size_t idx(hi);
    if (hi == numSorted) {
      idx = hi - 1;
    } else if (hi > 0 && key - vIdxVtxAct[hi - 1].key <= vIdxVtxAct[hi].key - key) {
      idx = hi - 1;
    }
    if (vIdxVtxAct[idx].bActive) return triangleOfActive(idx);
    for (size_t i = idx + 1; i < numSorted; ++i) {
      if (vIdxVtxAct[i].bActive) return triangleOfActive(i);
    }
    for (size_t i = idx; i-- > 0;) {
      if (vIdxVtxAct[i].bActive) return triangleOfActive(i);
    }
  }
  Triangle2* pT(nearestActiveInTail(key));
  if (pT == nullptr) reportError("Vault", "getCloT() failed");
  ZARN_ASSERT(pT!=0);
  return pT;
}

size_t VertexVault::getIdxOfActiveVtx(const Point2* pVtx) {
  const uint32_t key(pDt->getHC2().getKey(*pVtx));
  IdxVtx probe{key, true, nullptr};
  const RecordVector::const_iterator sortedEnd(vIdxVtxAct.begin() + numSorted);
  const size_t first(std::lower_bound(vIdxVtxAct.cbegin(), sortedEnd, probe, keyLess) - vIdxVtxAct.cbegin());
  for (size_t i = first; i < numSorted && vIdxVtxAct[i].key == key; ++i) {
    if (vIdxVtxAct[i].pVtx == pVtx && vIdxVtxAct[i].bActive) return i;
  }
  for (size_t i = vIdxVtxAct.size(); i-- > 0;) {
    if (vIdxVtxAct[i].pVtx == pVtx && vIdxVtxAct[i].bActive) return i;
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
  for (size_t i = vIdxVtxAct.size(); i-- > 0;) {
    if (vIdxVtxAct[i].pVtx == pVtx) return vIdxVtxAct[i].bActive;
  }
  return false;
}

Triangle2* VertexVault::getOneValidTriangle() {
  if (!bFullDimensional) return nullptr;
  for (IdxVtx& rec : vIdxVtxAct) {
    if (rec.bActive) return rec.pVtx->getIncidentTriangle();
  }
  reportError("getOneValidTriangle()", "No valid triangle found");
  ZARN_ASSERT(false);
  return nullptr;
}

void VertexVault::deactivate(Point2* pVtx) {
  forgetPositions();
  ++numDeactivated;
  pVtx->setIncidentTriangle(nullptr);
  vIdxVtxAct[getIdxOfActiveVtx(pVtx)].bActive = false;
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
  IdxVtx& lastItem(vIdxVtxAct.back());
  ZARN_ASSERT(pDup==lastItem.pVtx);
  lastItem.bActive = false;
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
    for (IdxVtx& rec : vIdxVtxAct) {
      if (!rec.bActive) continue;
      std::pair<std::map<Point2, Point2*>::iterator, bool> result(mPosition2Vtx.insert(std::make_pair(*rec.pVtx, rec.pVtx)));
      if (!result.second) mRedundant2UniqueVtx[rec.pVtx] = result.first->second;
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
  for (IdxVtx& rec : vIdxVtxAct) {
    if (!rec.bActive || mRedundant2UniqueVtx.find(rec.pVtx) == mRedundant2UniqueVtx.end()) continue;
    rec.bActive = false;
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
  for (; numIndexed < vIdxVtxAct.size(); ++numIndexed) {
    const IdxVtx& rec(vIdxVtxAct[numIndexed]);
    if (rec.bActive) mPositionIndex.emplace(positionKey(*rec.pVtx), rec.pVtx);
  }
  const auto it(mPositionIndex.find(positionKey(p)));
  return it == mPositionIndex.end() ? nullptr : it->second;
}

void VertexVault::forgetPositions() {
  mPositionIndex.clear();
  numIndexed = 0;
}

bool VertexVault::spansTriangleWith(const Point2& p) const {
  const Point2* a(nullptr);
  for (const IdxVtx& rec : vIdxVtxAct) {
    if (!rec.bActive) continue;
    if (a == nullptr) {
      a = rec.pVtx;
    } else if (*rec.pVtx != *a) {
      return pDt->getPredicates().getOrientation(*a, *rec.pVtx, p) != ORIENTATION2_COLLINEAR;
    }
  }
  return false;
}

// a and b are the lexicographically smallest and largest vertex: every other vertex of their line
// then lies on the first triangle's edge a-b, and inserting it splits that edge (beyond an end it
// would meet the third vertex's whole star, at a cost growing with the number of vertices).
bool VertexVault::getThreeNonCollinear(Point2*& a, Point2*& b, Point2*& c) const {
  ZARN_ASSERT(!bFullDimensional);
  a = b = c = nullptr;
  for (const IdxVtx& rec : vIdxVtxAct) {
    if (!rec.bActive) continue;
    if (a == nullptr || *rec.pVtx < *a) a = rec.pVtx;
    if (b == nullptr || *b < *rec.pVtx) b = rec.pVtx;
  }
  if (a == nullptr || *a == *b) return false;
  for (const IdxVtx& rec : vIdxVtxAct) {
    if (rec.bActive && pDt->getPredicates().getOrientation(*a, *b, *rec.pVtx) != ORIENTATION2_COLLINEAR) {
      c = rec.pVtx;
      return true;
    }
  }
  return false;
}

void VertexVault::dropTrailingInactive() {
  while (!vIdxVtxAct.empty() && !vIdxVtxAct.back().bActive) vIdxVtxAct.pop_back();
  numIndexed = std::min(numIndexed, vIdxVtxAct.size());  // inactive records were not indexed
}

void VertexVault::sortRecords() {
  forgetPositions();
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
    const bool bGrown(static_cast<double>(vIdxVtxAct.size()) > kResortGrowthFactor * static_cast<double>(numSorted));
    const bool bManyDeactivated(numDeactivated > kResortDeactivatedShare * static_cast<double>(numSorted) &&
                                numDeactivated > kResortDeactivatedMinimum);
    if (!bGrown && !bManyDeactivated) return;
  }
  numDeactivated = 0;
  sortRecords();
  dropTrailingInactive();
  numSorted = vIdxVtxAct.size();
  // Inactive records inside the array are skipped by every search; count only the active ones.
  numActive = static_cast<int>(std::count_if(vIdxVtxAct.begin(), vIdxVtxAct.end(), [](const IdxVtx& rec) { return rec.bActive; }));
}

void VertexVault::rekeyAll() {
  const HC2& hc(pDt->getHC2());
  for (IdxVtx& rec : vIdxVtxAct) rec.key = hc.getKey(*rec.pVtx);
  numSorted = 0;
  updateSorting(true);
}

size_t VertexVault::createVertices(const BulkInput& input, Point2** aHandles) {
  const size_t numPoints(input.size);
  KeyPairVector vPairs(numPoints);
  const HC2& hc(pDt->getHC2());
  auto computeKeys = [&](size_t begin, size_t end) {
    for (size_t i = begin; i < end; ++i) {
      // Non-finite points get the marker key UINT32_MAX (above every 30-bit key) and are skipped.
      const Point2 p(input.get(i));
      const uint64_t key(isFinitePoint(p) ? hc.getKey(p) : UINT32_MAX);
      vPairs[i] = (key << 32) | i;
    }
  };
  const size_t numCPU(static_cast<size_t>(std::max(1, pDt->getNumCPU())));
  if (numCPU > 1 && numPoints >= kParallelKeysMinPoints && numPoints > kParallelKeysPointsPerThread * numCPU) {
    const size_t chunk((numPoints + numCPU - 1) / numCPU);
    std::vector<std::thread> vThreads;
    for (size_t begin = 0; begin < numPoints; begin += chunk) {
      vThreads.emplace_back(computeKeys, begin, std::min(numPoints, begin + chunk));
    }
    for (std::thread& t : vThreads) t.join();
  } else {
    computeKeys(0, numPoints);
  }
  sortByKey(vPairs);
  // Non-finite points carry the marker key (above every 30-bit key): skip them.
  const size_t numPairs(vPairs.size());
  vPairs.erase(std::remove_if(vPairs.begin(), vPairs.end(), [](uint64_t pair) { return (pair >> 32) == UINT32_MAX; }), vPairs.end());
  const size_t first(vIdxVtxAct.size());
  vIdxVtxAct.resize(first + vPairs.size());
  numActive += static_cast<int>(vPairs.size());
  // One range of the pairs per thread, each with its own run of the vertex pool: the threads
  // write disjoint vertices, records and handles.
  const bool bThreads(numCPU > 1 && vPairs.size() >= kParallelKeysMinPoints);
  const size_t maxRun(pDt->getMaxVertexRun());
  const size_t numRanges(std::max(bThreads ? numCPU : 1, (vPairs.size() + maxRun - 1) / maxRun));
  std::vector<std::thread> vThreads;
  for (size_t r = 0; r < numRanges; ++r) {
    const size_t begin(vPairs.size() * r / numRanges), end(vPairs.size() * (r + 1) / numRanges);
    if (begin == end) continue;
    Point2* pRun(pDt->reserveVertexRun(end - begin));
    const auto createRange = [this, &vPairs, &input, aHandles, first, begin, end, pRun] {
      createVertexRange(vPairs, begin, end, input, pRun, &vIdxVtxAct[first], aHandles);
    };
    if (bThreads) {
      vThreads.emplace_back(createRange);
    } else {
      createRange();
    }
  }
  for (std::thread& t : vThreads) t.join();
  return numPairs - vPairs.size();
}

void VertexVault::createVertexRange(const KeyPairVector& vPairs, size_t begin, size_t end, const BulkInput& input,
                                    Point2* pRun, IdxVtx* aRecords, Point2** aHandles) {
  constexpr size_t kPrefetchDistance = 8;  // input points are read in key order: random in memory
  for (size_t i = begin; i < end; ++i) {
    if (i + kPrefetchDistance < end) {
      const size_t ahead(vPairs[i + kPrefetchDistance] & 0xFFFFFFFFu);
      __builtin_prefetch(input.aPoints != nullptr ? static_cast<const void*>(input.aPoints + ahead) : input.aCoordinates + 2 * ahead);
    }
    const size_t inputIndex(vPairs[i] & 0xFFFFFFFFu);
    Point2* pVtx(new (pRun + (i - begin)) Point2(input.get(inputIndex)));  // no triangle yet
    aRecords[i] = IdxVtx{static_cast<uint32_t>(vPairs[i] >> 32), true, pVtx};
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
