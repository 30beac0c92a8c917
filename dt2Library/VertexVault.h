// VertexVault: the register of every vertex of a triangulation, ordered by Hilbert key.
#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <vector>

#include "Point2.h"
#include "SimplePool.h"

namespace KORA_ZARN2D {

class Dt2;
class Triangle2;

/// One record per inserted vertex.
struct IdxVtx {
  uint32_t key;    // Hilbert key of the vertex position
  bool bActive;    // false once the vertex turned out redundant or was removed
  Point2* pVtx;    // owned by the triangulation's vertex pool
};

/// Answers, for the insertion and removal code, which vertex stands at a position (duplicates),
/// which triangle lies close to a new point (start of point location) and whether the
/// triangulation is two-dimensional yet. Records are kept in an array whose prefix of length
/// numSorted is sorted by key; records appended since the last sort follow unsorted.
class VertexVault {
 public:
  explicit VertexVault(Dt2* pDt);
  VertexVault(const VertexVault&) = delete;
  VertexVault& operator=(const VertexVault&) = delete;

  /// Appends a new active record.
  void add(uint32_t key, Point2* pVtx) {
    IdxVtx* pRec(recordPool.alloc());
    pRec->key = key;
    pRec->bActive = true;
    pRec->pVtx = pVtx;
    vIdxVtxAct.push_back(pRec);
    ++numActive;
  }

  /// A triangle incident to an active vertex whose key is close to key.
  Triangle2* getCloT(uint32_t key);
  /// Index in the record array of the active record of pVtx (asserts when there is none).
  size_t getIdxOfActiveVtx(const Point2* pVtx);
  /// True when pVtx is an active vertex of this store (no message when it is not).
  bool isActiveVertex(const Point2* pVtx);
  /// The incident triangle of the first active record; null while not two-dimensional.
  Triangle2* getOneValidTriangle();
  /// Marks the vertex removed.
  void deactivate(Point2* pVtx);
  /// Records that pRedundant stands at the position of pUnique. Thread-safe.
  void addRedundant(Point2* pRedundant, Point2* pUnique);
  bool dupIsClean() const { return mRedundant2UniqueVtx.empty(); }
  /// Resolves recorded duplicates (and, in the collinear phase, finds them first); rewrites the
  /// caller's handles, if given, to the unique vertices.
  void cleanDuplicates(std::vector<Point2*>* pvHandles);
  /// Resolves the duplicate found by a single insertion in the two-dimensional phase: deactivates
  /// the record of the new vertex pDup and returns the vertex that already stood there.
  Point2* resolveSingleDuplicate(Point2* pDup);
  /// The active vertex at p's position, found by exact search (the collinear phase), or null.
  Point2* findVertexAt(const Point2& p) const;
  /// Three active vertices that span a triangle, if they exist.
  bool getThreeNonCollinear(Point2*& a, Point2*& b, Point2*& c) const;
  /// Re-sorts by key: when bForce, always; otherwise when the thresholds say so.
  void updateSorting(bool bForce);
  /// Recomputes every record's key (after the key mapping changed) and re-sorts.
  void rekeyAll();
  /// Creates one vertex per finite input point in Hilbert order and writes its handle at the
  /// point's input index (null for a non-finite point). Returns the number of skipped points.
  size_t createVertices(const Point2* aPoints, size_t numPoints, Point2** aHandles);

  /// Records [first, size()) were created by the last createVertices call.
  size_t size() const { return vIdxVtxAct.size(); }
  IdxVtx* getRecord(size_t i) const { return vIdxVtxAct[i]; }
  int getNumActive() const { return numActive; }

  /// The fake box: 4 auxiliary corner vertices around the points during a parallel bulk insertion.
  void setFakeBox(const std::vector<Point2*>& vCorners);
  Point2* getFakeCorner(size_t i) const;
  bool hasFakeBox() const { return !vFakeBoxHandles.empty(); }
  /// Removes the 4 corner vertices from the triangulation, in index order.
  void removeFakeBox();

  bool bFullDimensional;

 private:
  static bool keyLess(const IdxVtx* a, const IdxVtx* b) { return a->key < b->key; }
  void sortRecords();
  void sortFourWays();
  void dropTrailingInactive();
  Triangle2* triangleOfActive(size_t idx);
  Triangle2* nearestActiveInTail(uint32_t key) const;

  std::vector<IdxVtx*> vIdxVtxAct;
  size_t numSorted;
  Dt2* pDt;
  SimplePool<IdxVtx> recordPool;
  std::map<Point2*, Point2*> mRedundant2UniqueVtx;
  int numDeactivated;
  int numActive;
  std::vector<Point2*> vFakeBoxHandles;
  std::mutex mtxRedundant;
};

}  // namespace KORA_ZARN2D
