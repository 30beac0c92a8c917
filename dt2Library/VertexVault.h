// VertexVault: the register of every vertex of a triangulation, ordered by Hilbert key.
#pragma once

#include <algorithm>
#include <cstdint>
#include <map>
#include <mutex>
#include <unordered_map>
#include <vector>

#include "HugePages.h"
#include "Point2.h"
#include "ThreadSlices.h"

namespace KORA_ZARN2D {

class Dt2;
class Triangle2;

/// The input of a bulk insertion: Point2 values, or a flat array x0, y0, x1, y1, ... (read in
/// place, so a flat array is never copied into points).
struct BulkInput {
  const Point2* aPoints;
  const double* aCoordinates;
  size_t size;
  /// Point i; from coordinates it carries its position i as custom index.
  Point2 get(size_t i) const {
    if (aPoints != nullptr) return aPoints[i];
    Point2 p(aCoordinates[2 * i], aCoordinates[2 * i + 1]);
    p.setCustomIndex(static_cast<int>(i));
    return p;
  }
};

/// A vertex of the store with its data, as getRecord returns it.
struct IdxVtx {
  uint32_t key;    // Hilbert key of the vertex position
  bool bActive;    // false once the vertex turned out redundant or was removed
  Point2* pVtx;    // owned by the triangulation's vertex pool
};

/// The record array: one vertex pointer per record (key and state live in the vertex itself);
/// elements appended by resize() stay uninitialised until written (see createVertices), large
/// arrays sit on huge pages.
using RecordVector = std::vector<Point2*, UninitialisedAllocator<Point2*>>;
/// Scratch of (key << 32 | input index) pairs for sorting, never zero-filled.
using KeyPairVector = std::vector<uint64_t, UninitialisedAllocator<uint64_t>>;

/// Sorts the n (key << 32 | input index) pairs of aPairs by their 30-bit key, equal keys in their
/// order in aPairs, with numThreads threads (at least 1), using aTmp (n pairs) as a second buffer.
/// Returns the buffer that holds the result (aPairs or aTmp). O(n): a radix sort above a few
/// thousand pairs.
uint64_t* sortKeyPairs(uint64_t* aPairs, uint64_t* aTmp, size_t n, size_t numThreads);

/// Answers, for the insertion and removal code, which vertex stands at a position (duplicates),
/// which triangle lies close to a new point (start of point location) and whether the
/// triangulation is two-dimensional yet. A record is the vertex pointer alone (8 bytes per vertex,
/// none for the vertices of a first bulk insertion): the key and the active flag sit in the vertex
/// (Point2 has room for them). The records' prefix of length numSorted is sorted by key; records
/// appended since the last sort follow unsorted.
class VertexVault {
 public:
  explicit VertexVault(Dt2* pDt);
  VertexVault(const VertexVault&) = delete;
  VertexVault& operator=(const VertexVault&) = delete;

  /// Appends a new active record.
  void add(uint32_t key, Point2* pVtx) {
    pVtx->storeWord = key;
    vIdxVtxAct.push_back(pVtx);
    ++numActive;
  }

  /// A triangle incident to an active vertex whose key is close to key.
  Triangle2* getCloT(uint32_t key);
  /// Index in the record array of the active record of pVtx (asserts when there is none).
  size_t getIdxOfActiveVtx(const Point2* pVtx);
  /// True when pVtx is an active vertex of this store (no message when it is not). O(1) once the
  /// triangulation is two-dimensional (plus a test per pool block), a scan of the register before.
  bool isActiveVertex(const Point2* pVtx);
  /// The incident triangle of the first active record; null while not two-dimensional.
  Triangle2* getOneValidTriangle();
  /// Marks the vertex removed.
  void deactivate(Point2* pVtx);
  /// Records that pRedundant stands at the position of pUnique. Thread-safe.
  void addRedundant(Point2* pRedundant, Point2* pUnique);
  bool dupIsClean() const { return mRedundant2UniqueVtx.empty(); }
  /// Resolves recorded duplicates (and, in the collinear phase, finds them first); rewrites the
  /// caller's handles, if given (aHandles may be null), to the unique vertices.
  void cleanDuplicates(Point2** aHandles, size_t numHandles);
  /// Resolves the duplicate found by a single insertion in the two-dimensional phase: deactivates
  /// the record of the new vertex pDup and returns the vertex that already stood there.
  Point2* resolveSingleDuplicate(Point2* pDup);
  /// The active vertex at p's position (exact equality), or null. Amortized O(1) through a
  /// position index that follows appended records and is rebuilt after records were reordered or
  /// deactivated (meant for the collinear phase, where nothing else finds duplicates).
  Point2* findVertexAt(const Point2& p);
  /// In the collinear phase: true when p and the active vertices span a triangle. O(1) unless
  /// inactive or repeated records lead the store.
  bool spansTriangleWith(const Point2& p) const;
  /// True when the active vertices span a triangle. O(1) unless repeated or collinear vertices
  /// lead the store.
  bool spansTriangle() const;
  /// Three active vertices that span a triangle, if they exist. O(n).
  bool getThreeNonCollinear(Point2*& a, Point2*& b, Point2*& c) const;
  /// Re-sorts by key: when bForce, always; otherwise when the thresholds say so.
  void updateSorting(bool bForce);
  /// Recomputes every record's key (after the key mapping changed) and re-sorts.
  void rekeyAll();
  /// Creates one vertex per finite input point in Hilbert order and, when aHandles is given, writes
  /// its handle at the point's input index (non-finite points are skipped: their entry is left
  /// alone). Returns the number of skipped points.
  size_t createVertices(const BulkInput& input, Point2** aHandles);

  /// True when the records from first on are in key order. O(number of those records).
  bool isSortedFrom(size_t first) const { return isSortedBetween(first, size()); }
  /// True when records [first, end) are in key order. O(end - first), on up to getNumCPU() threads
  /// for large ranges.
  bool isSortedBetween(size_t first, size_t end) const;
  /// The number of records; records [first, size()) were created by the last createVertices call.
  size_t size() const { return numInBulkRun + vIdxVtxAct.size(); }
  /// Record i (i < size()) by value. O(1).
  IdxVtx getRecord(size_t i) const {
    Point2* pVtx(recordAt(i));
    return IdxVtx{keyOf(pVtx), isActive(pVtx), pVtx};
  }
  int getNumActive() const { return numActive; }

  /// The fake box: 4 auxiliary corner vertices around the points during a parallel bulk insertion.
  void setFakeBox(const std::vector<Point2*>& vCorners);
  Point2* getFakeCorner(size_t i) const;
  bool hasFakeBox() const { return !vFakeBoxHandles.empty(); }
  /// Removes the 4 corner vertices from the triangulation, in index order.
  void removeFakeBox();

  bool bFullDimensional;

  /// The Hilbert key stored with a vertex of the store. O(1).
  static uint32_t keyOf(const Point2* pVtx) { return pVtx->storeWord & ~kInactiveBit; }

 private:
  /// Sets a and b to the first two active vertices at distinct positions, in record order, and
  /// returns the index after b's record; 0 (b unset) when there are no two.
  size_t findTwoDistinctActive(const Point2*& a, const Point2*& b) const;
  // The vertex's store word: the key in the low 31 bits, bit 31 set once the vertex is inactive.
  static constexpr uint32_t kInactiveBit = 0x80000000u;
  static bool isActive(const Point2* pVtx) { return (pVtx->storeWord & kInactiveBit) == 0; }
  static void setInactive(Point2* pVtx) { pVtx->storeWord |= kInactiveBit; }
  static void setKey(Point2* pVtx, uint32_t key) { pVtx->storeWord = (pVtx->storeWord & kInactiveBit) | key; }
  static bool keyLess(const Point2* a, const Point2* b) { return keyOf(a) < keyOf(b); }
  Point2* recordAt(size_t i) const { return i < numInBulkRun ? pBulkRun + i : vIdxVtxAct[i - numInBulkRun]; }
  /// Gives the records of the bulk run explicit pointers (before records are reordered).
  void materializeBulkRun();
  /// isSortedBetween on the calling thread.
  bool isSortedSlice(size_t first, size_t end) const;
  /// The number of threads for bulk work on n records (the triangulation's numCPU allows), each
  /// taking at least minPerThread.
  size_t numThreadsForAll(size_t n, size_t minPerThread = kMinItemsPerThread) const;
  void sortRecords();
  void sortFourWays();
  /// Creates the vertices of pairs [begin, end) in pRun (one element per pair), their records at
  /// the same indices of aRecords and their handles. Touches nothing else: one thread per range.
  static void createVertexRange(const uint64_t* aPairs, size_t begin, size_t end, const BulkInput& input,
                                Point2* pRun, Point2** aRecords, Point2** aHandles);
  void dropTrailingInactive();
  /// Drops the position index of findVertexAt (records were reordered or deactivated).
  void forgetPositions();
  Triangle2* triangleOfActive(size_t idx);
  /// The index of the first sorted record whose key is not below key (numSorted when none).
  size_t firstSortedNotBelow(uint32_t key) const;
  Triangle2* nearestActiveInTail(uint32_t key) const;

  // The first bulk insertion into an empty store creates its vertices in key order in one run of
  // the vertex pool: records [0, numInBulkRun) are then pBulkRun[0, numInBulkRun) themselves and
  // need no pointers until records are reordered or rekeyed, so the run is always in key order.
  // vIdxVtxAct holds the records after them.
  Point2* pBulkRun = nullptr;
  size_t numInBulkRun = 0;
  RecordVector vIdxVtxAct;
  struct PositionHash {
    size_t operator()(const std::pair<double, double>& xy) const;
  };
  std::unordered_map<std::pair<double, double>, Point2*, PositionHash> mPositionIndex;
  size_t numIndexed = 0;  // records [0, numIndexed) are in mPositionIndex
  size_t numSorted;
  Dt2* pDt;
  std::map<Point2*, Point2*> mRedundant2UniqueVtx;
  int numDeactivated;
  int numActive;  // kept up to date by every change of a record's state
  std::vector<Point2*> vFakeBoxHandles;
  std::mutex mtxRedundant;
};

}  // namespace KORA_ZARN2D
