#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "Color.h"
#include "ConstraintSegment2.h"

namespace KORA_ZARN2D {

class ConstraintMgr;
class Visualizer2;

/// Orders segment pointers by the segments' vertex pairs (ConstraintSegment2::operator<).
struct ZARN2D_EXPORT CSegPtrLess {
  bool operator()(const ConstraintSegment2* a, const ConstraintSegment2* b) const { return *a < *b; }
};

/// Hash of a vertex pair (by address).
struct ZARN2D_EXPORT VertexPairHash {
  size_t operator()(const Point2* p0, const Point2* p1) const {
    const uint64_t a(reinterpret_cast<uintptr_t>(p0)), b(reinterpret_cast<uintptr_t>(p1));
    return static_cast<size_t>((a * 0x9E3779B97F4A7C15ull) ^ (b + (b >> 17)));
  }
  size_t operator()(const std::pair<Point2*, Point2*>& key) const { return (*this)(key.first, key.second); }
};

/// The constraint segments that one createConstraint call inserts together: a polyline, a closed
/// polygon or any bag of edges. The graph keeps what single segments do not: the order of its
/// segments (a counterclockwise ring for a polygon), the direction in which each is read, and
/// which split-off pieces belong to it. Graphs are created and owned by the constraint manager
/// and live as long as the triangulation.
class ZARN2D_EXPORT ConstraintGraph2 {
 public:
  /// A directed graph. mPPReverse holds, per address-ordered vertex pair of the segments, whether
  /// the user gave the segment from the higher to the lower address.
  ConstraintGraph2(Dt2* pDt2, std::vector<ConstraintSegment2*>& vCSegments,
                   std::map<std::pair<Point2*, Point2*>, bool> mPPReverse, ConstraintInsertionStrategy cis);
  /// An undirected graph (or one made of existing, possibly split, segments).
  ConstraintGraph2(Dt2* pDt2, std::vector<ConstraintSegment2*>& vCSegments, ConstraintInsertionStrategy cis);
  ConstraintGraph2(const ConstraintGraph2&) = delete;
  ConstraintGraph2& operator=(const ConstraintGraph2&) = delete;

  /// True when the segments form one closed ring.
  bool isPolygon() const { return bIsPolygon; }
  /// True when the graph was created from directed input.
  bool isOriented() const { return bOriented; }
  ConstraintInsertionStrategy getInsertionStrategy() const { return cis; }
  Dt2* getDt2() const { return pDt2; }

  /// The original segments: in graph order when they are distinct, else sorted by address
  /// without duplicates.
  void getOriginalConstraintSegments(std::vector<ConstraintSegment2*>& vCSegments) const;
  /// Appends the alive pieces of the graph, then sorts the whole vector by address and removes
  /// duplicates.
  void getChildConstraintSegments(std::vector<ConstraintSegment2*>& vCSegments) const;
  /// The two children of a split segment of this graph in reading direction (child 0 at the
  /// reading start); both null for an alive segment.
  void getDirectChildren(ConstraintSegment2* pParent, ConstraintSegment2*& pChild0, ConstraintSegment2*& pChild1);
  /// The vertices of the ring in order (counterclockwise for a polygon), one per alive piece, the
  /// first vertex not repeated.
  void getPolygonVertices(std::vector<Point2*>& vVertices);
  /// True when the segment is alive and belongs to this graph.
  bool isConstraint(ConstraintSegment2* pCSeg) const;
  /// True when the vertex pair is an alive segment of this graph. (Builds a temporary segment, so
  /// the label counter advances.)
  bool isConstraint(Point2* p0, Point2* p1) const;
  /// True when the segment is read from getTrg() to getSrc(). Asserts that it belongs to the graph.
  bool isReverse(ConstraintSegment2* pCSeg) const;
  /// Splits the graph's segments until every piece is a Delaunay edge. Pieces shorter than
  /// minLength are left encroached and make the result false.
  bool makeDelaunay(double minLength);

  /// Draws the alive pieces into a new picture file (PostScript, or SVG for a ".svg" name).
  void show(const std::string& filename);
  /// Draws the alive pieces into pVis with the given colour.
  void show(Visualizer2* pVis, const Color& color);

  /// Called by a split segment once per owner. bRegister: also record the split with the manager.
  /// Internal.
  void onSegmentSplit(ConstraintSegment2* pParentCSeg, bool bRegister);

 private:
  friend class ConstraintMgr;

  /// For the constraint manager: a directed graph; vReverse[i] tells whether vCSegments[i] is
  /// read from getTrg() to getSrc().
  ConstraintGraph2(Dt2* pDt2, std::vector<ConstraintSegment2*>& vCSegments, const std::vector<bool>& vReverse,
                   ConstraintInsertionStrategy cis);

  void registerAsOwner(std::vector<ConstraintSegment2*>& vCSegments);
  void removeDegenerateSegments(std::vector<ConstraintSegment2*>& vCSegments);
  /// On success vCSegments and vCSegParents become the counterclockwise ring and vRingReverse
  /// the ring's reading directions.
  bool checkAndSortPolygon(std::vector<ConstraintSegment2*>& vCSegments, std::vector<bool>& vRingReverse);
  /// checkAndSortPolygon for segments in any order.
  bool checkAndSortUnorderedPolygon(std::vector<ConstraintSegment2*>& vCSegments, std::vector<bool>& vRingReverse);
  void setReadingDirections(const std::vector<ConstraintSegment2*>& vCSegments, const std::vector<bool>& vReverse);
  /// Records the directions of the pieces below an already split segment of the input.
  void learnSplitDescendants(ConstraintSegment2* pCSeg);
  void getOrderedChildren(std::vector<ConstraintSegment2*>& vPieces);
  void appendOrderedPieces(ConstraintSegment2* pCSeg, std::vector<ConstraintSegment2*>& vPieces);
  void getReadingEnds(ConstraintSegment2* pCSeg, Point2*& pFrom, Point2*& pTo) const;
  /// True when the registered segment of the pair is alive and belongs to this graph.
  bool isRegisteredOwnSegment(Point2* p0, Point2* p1) const;

  // The reading direction of every segment of the graph (original or split off) is kept in the
  // segment's owner entry for this graph.
  Dt2* pDt2;
  ConstraintMgr* pConstraintMgr;
  ConstraintInsertionStrategy cis;
  std::vector<ConstraintSegment2*> vCSegParents;
  bool bIsPolygon;
  bool bOriented;
};

}  // namespace KORA_ZARN2D
