#pragma once

#include <cstdint>
#include <iosfwd>
#include <utility>

#include "Point2.h"

namespace KORA_ZARN2D {

/// (i + 1) mod 3 for i in {0, 1, 2}.
inline int incIndexBy1(int i) { return i == 2 ? 0 : i + 1; }
/// (i + 2) mod 3 for i in {0, 1, 2}.
inline int incIndexBy2(int i) { return i == 0 ? 2 : i - 1; }

/// A face of the triangulation: three corners in counterclockwise order and three neighbours.
///
///                 corner 2
///                    /\                 neighbour 0 lies across edge 1->2,
///                   /  \                neighbour 1 across edge 2->0,
///                  /    \               neighbour 2 across edge 0->1.
///                 /      \              (a null neighbour: hull edge)
///                /        \             edge i runs corner i+1 -> i+2
///      corner 0 ----------- corner 1
///
/// Neighbour i lies across the edge opposite corner i, which runs from corner i+1 to corner i+2;
/// a null neighbour marks the convex hull. Indices are taken modulo 3 (incIndexBy1, incIndexBy2).
/// Triangles belong to the triangulation's pool: handles stay valid until the Zarn_2D is destroyed,
/// but a triangle may be deleted by a later insertion, removal or constraint (and its storage reused).
///
/// Marks. Every triangle carries one 16-bit mark (0 to kMaxMark), a scratch field for the
/// library's own passes (zone searches, refinement queues, the parallel inserter); hosts must not
/// rely on its value. A pass takes a fresh value from its triangulation (Dt2::newMark) and marks
/// what it visited, so nothing has to be cleared before or after a pass and a visit test is one
/// compare. A triangle taken from the pool (new or recycled) starts with mark 0, which no pass uses.
/// The mark lives in the 16 high bits of the word that holds neighbour 0, which user-space
/// addresses leave zero on 64-bit platforms: the record is six words, 48 bytes.
/// Border links. While a parallel bulk insertion runs, the lowest bit of a neighbour word (zero in
/// the address of an 8-byte aligned record) flags a link into another worker's region; outside of
/// one no link is flagged.
/// Stale handles. A released triangle has null corners; its storage may later be reused for
/// another triangle. Whoever keeps a Triangle2* across changes (a queue of bad triangles, say)
/// keeps its three corners too and treats the pointer as stale unless it still has exactly those
/// corners (isSame): a recycled slot with the same corners is the same triangle again.
class ZARN2D_EXPORT Triangle2 {
 public:
  /// The largest mark value.
  static constexpr uint32_t kMaxMark = 0xFFFF;

  Triangle2() : aVertexPointer{nullptr, nullptr, nullptr}, aOppTriangles{0, 0, 0} {}

  Point2* getCorner(int i) const { return aVertexPointer[i]; }
  Triangle2* getOppositeTriangle(int i) const { return reinterpret_cast<Triangle2*>(aOppTriangles[i] & kAddressBits); }
  void setVertexPointer(int i, Point2* pVtx) { aVertexPointer[i] = pVtx; }
  /// Sets neighbour i; the link is not a border link.
  void setOppTriangle(int i, Triangle2* pT) {
    if (i == 0) {
      setNeighbour0(pT);
    } else {
      aOppTriangles[i] = reinterpret_cast<uintptr_t>(pT);
    }
  }

  /// Sets the corners (counterclockwise); neighbours and the vertices' triangle pointers are unchanged.
  void setProperties(Point2* p0, Point2* p1, Point2* p2) {
    aVertexPointer[0] = p0;
    aVertexPointer[1] = p1;
    aVertexPointer[2] = p2;
  }
  /// Sets corners and neighbours; the vertices' triangle pointers are unchanged (the caller keeps
  /// each of them on a triangle that holds the vertex). Only the link to t0 may be a border link.
  void setCornersAndNeighbours(Point2* p0, Point2* p1, Point2* p2, Triangle2* t0, Triangle2* t1, Triangle2* t2,
                               bool bBorder0 = false) {
    setProperties(p0, p1, p2);
    setNeighbour0(t0, bBorder0);
    aOppTriangles[1] = reinterpret_cast<uintptr_t>(t1);
    aOppTriangles[2] = reinterpret_cast<uintptr_t>(t2);
  }
  /// Sets corners and neighbours, and makes this the incident triangle of each corner.
  void setPropertiesAndOppT(Point2* p0, Point2* p1, Point2* p2, Triangle2* t0, Triangle2* t1, Triangle2* t2) {
    setCornersAndNeighbours(p0, p1, p2, t0, t1, t2);
    p0->setIncidentTriangle(this);
    p1->setIncidentTriangle(this);
    p2->setIncidentTriangle(this);
  }
  /// Nulls corners and neighbours and resets the mark.
  void clearProperties() {
    for (int i = 0; i < 3; ++i) aVertexPointer[i] = nullptr;
    aOppTriangles[0] = aOppTriangles[1] = aOppTriangles[2] = 0;
  }
  /// False for a released triangle (its corners are null).
  bool isAlive() const { return aVertexPointer[0] != nullptr; }
  /// True when the corners are exactly p0, p1, p2 in this order (pointer identity): the test that a
  /// kept handle still names the same triangle.
  bool isSame(const Point2* p0, const Point2* p1, const Point2* p2) const {
    return aVertexPointer[0] == p0 && aVertexPointer[1] == p1 && aVertexPointer[2] == p2;
  }

  /// The library's scratch mark (see the class comment). O(1).
  uint32_t getMark() const { return static_cast<uint32_t>(aOppTriangles[0] >> kMarkShift); }
  /// value must not exceed kMaxMark.
  void setMark(uint32_t value) { aOppTriangles[0] = (aOppTriangles[0] & ~kMarkBits) | (static_cast<uintptr_t>(value) << kMarkShift); }

  /// True when link i leads into another worker's region (see Border links). O(1).
  bool isBorderLink(int i) const { return (aOppTriangles[i] & kBorderBit) != 0; }
  /// True when any of the three links is a border link. O(1).
  bool hasBorderLink() const { return ((aOppTriangles[0] | aOppTriangles[1] | aOppTriangles[2]) & kBorderBit) != 0; }
  /// Flags link i as a border link. O(1).
  void setBorderLink(int i) { aOppTriangles[i] |= kBorderBit; }
  /// Unflags the three links. O(1).
  void clearBorderLinks() {
    for (uintptr_t& word : aOppTriangles) word &= ~kBorderBit;
  }

  /// 1 if p is corner 1, 2 if corner 2, otherwise 0 (p must be a corner).
  int getIntraTriangleIndex(const Point2* p) const {
    if (aVertexPointer[1] == p) return 1;
    if (aVertexPointer[2] == p) return 2;
    return 0;
  }
  /// 1 if t is neighbour 1, 2 if neighbour 2, otherwise 0 (t must be a neighbour over a link that
  /// is not a border link).
  int getIntraTriangleIndex(const Triangle2* t) const {
    if (aOppTriangles[1] == reinterpret_cast<uintptr_t>(t)) return 1;  // only word 0 holds a mark
    if (aOppTriangles[2] == reinterpret_cast<uintptr_t>(t)) return 2;
    return 0;
  }
  /// The index of the edge joining p and q (either order); -1 with a "BUG:" report when there is none.
  int getIntraTriangleIndex(const Point2* p, const Point2* q) const;

  /// Pointer identity.
  bool hasVertex(const Point2* p) const { return aVertexPointer[0] == p || aVertexPointer[1] == p || aVertexPointer[2] == p; }
  /// Coordinate equality.
  bool hasVertex(const Point2& p) const;
  /// True when p lies on the closed edge opposite corner i (exact).
  bool hasOnEdge(int i, const Point2& p) const;

  /// Squared length of the edge opposite corner i.
  double getSquaredEdgeLength(int i) const;
  double getSquaredEdgeLength2D(int i) const { return getSquaredEdgeLength(i); }
  double getMaxSqEdgeLen2D() const;
  /// The corner opposite the longest edge (lowest index on ties).
  int getMaxIndex() const;
  /// The corner opposite the shortest edge (lowest index on ties).
  int getMinIndex() const;
  /// The mean of the corners.
  Point2 getBarycenter() const;
  /// Length of the edge opposite corner i, without overflow or underflow of intermediate squares
  /// (infinite only when the length itself exceeds the largest double).
  double getEdgeLength(int i) const;
  /// The interior angle at corner i, in radians; accurate at any coordinate magnitude.
  double getInteriorAngle2D(int i) const;
  /// Area (half the absolute cross product of two edges), computed at a scale where nothing
  /// overflows; infinite only when the area itself exceeds the largest double. A NaN coordinate is
  /// reported and throws ZarnException.
  double getArea2D() const;
  /// The circumcentre and whether it is accurate (its distances to the corners agree within 1e-6).
  std::pair<Point2, bool> getDual() const;

 protected:
  double computeArea(double a, double b, double c) const;
  void getScaledCorners(Point2 (&aScaled)[3], int& exponent) const;
  void getCommonOffset(double& offsetX, double& offsetY) const;
  bool getCC_strategy1(double offsetX, double offsetY, Point2& cc) const;
  void getCC_strategy2(int maxIndex, double offsetX, double offsetY, Point2& cc) const;
  bool isAccurateCC(int maxIndex, const Point2& cc) const;

  Point2* aVertexPointer[3];
  // The neighbours' addresses and border bits; word 0 also holds the mark in its high bits (see
  // Marks and Border links).
  uintptr_t aOppTriangles[3];

 private:
  static constexpr unsigned kMarkShift = 48;
  static constexpr uintptr_t kMarkBits = ~((uintptr_t(1) << kMarkShift) - 1);
  static constexpr uintptr_t kBorderBit = 1;
  static constexpr uintptr_t kAddressBits = ~(kMarkBits | kBorderBit);
  void setNeighbour0(Triangle2* pT, bool bBorder = false) {
    aOppTriangles[0] = reinterpret_cast<uintptr_t>(pT) | static_cast<uintptr_t>(bBorder) | (aOppTriangles[0] & kMarkBits);
  }
};
static_assert(sizeof(void*) == 8, "Zarn2D keeps triangle marks in the high bits of 64-bit addresses");
static_assert(sizeof(Triangle2) == 6 * sizeof(void*), "a triangle record is its six links");
static_assert(alignof(Triangle2) % 2 == 0, "the lowest bit of a neighbour address flags border links");

/// Writes "Triangle2:" followed by the three corners.
ZARN2D_EXPORT std::ostream& operator<<(std::ostream& stream, const Triangle2& c);

}  // namespace KORA_ZARN2D
