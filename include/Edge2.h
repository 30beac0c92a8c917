#pragma once

#include <cmath>
#include <functional>

#include "Triangle2.h"

namespace KORA_ZARN2D {

/// A directed edge named by a triangle and the index of the corner opposite it.
///
/// The edge runs counterclockwise with respect to its triangle, from corner index+1 to corner
/// index+2. The same undirected edge seen from the neighbouring triangle is a different Edge2
/// with the opposite direction. An Edge2 is a plain handle: it stays meaningful as long as its
/// triangle is part of the triangulation (see Triangle2).
class ZARN2D_EXPORT Edge2 {
 public:
  /// The edge of pT opposite corner index (index in {0, 1, 2}).
  Edge2(Triangle2* pT, int index) : pT(pT), index(index) {}
  /// A null edge (no triangle, index 0); only assignment and comparison are valid on it.
  Edge2() : pT(nullptr), index(0) {}

  /// The triangle this edge is seen from.
  Triangle2* getTriangle() const { return pT; }
  /// The index of the corner opposite this edge in getTriangle().
  int getIndex() const { return index; }
  /// The source vertex: corner index+1.
  Point2* getSrc() const { return pT->getCorner(incIndexBy1(index)); }
  /// The target vertex: corner index+2.
  Point2* getTrg() const { return pT->getCorner(incIndexBy2(index)); }
  /// Both end points, source first.
  void getPoints(Point2*& pSrc, Point2*& pTrg) const {
    pSrc = getSrc();
    pTrg = getTrg();
  }
  /// The Euclidean length (one square root).
  double getLength2D() const { return std::sqrt(pT->getSquaredEdgeLength(index)); }
  /// This triangle and index (pT0, i0), and the neighbour across the edge with the index of the
  /// same edge in it (pT1, i1). On the border of the triangulation pT1 is null and i1 is -1.
  void getTriangles(Triangle2*& pT0, Triangle2*& pT1, int& i0, int& i1) const {
    pT0 = pT;
    i0 = index;
    pT1 = pT->getOppositeTriangle(index);
    i1 = pT1 == nullptr ? -1 : pT1->getIntraTriangleIndex(pT);
  }

  /// Orders by triangle address, then by index (a strict weak order for sorted containers).
  bool operator<(const Edge2& other) const {
    if (pT != other.pT) return std::less<const Triangle2*>()(pT, other.pT);
    return index < other.index;
  }
  /// Same triangle and same index: the two directed views of one edge are not equal.
  bool operator==(const Edge2& other) const { return pT == other.pT && index == other.index; }
  /// Negation of ==.
  bool operator!=(const Edge2& other) const { return !(*this == other); }

 private:
  Triangle2* pT;
  int index;
};

}  // namespace KORA_ZARN2D
