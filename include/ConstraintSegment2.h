#pragma once

#include <iosfwd>
#include <memory>
#include <vector>

#include "Point2.h"
#include "Zarn2D_common.h"

namespace KORA_ZARN2D {

class Dt2;

/// One edge that the triangulation must contain: the straight connection of two of its vertices.
///
/// A segment is never moved or shortened. When a vertex has to be placed on it (a crossing
/// constraint, a refinement point, a user point on it) it is split into exactly two children and
/// is dead from then on; children can be split again. So every segment made from user input is the
/// root of a binary split tree whose alive leaves are the edges that stand in the triangulation.
///
///          p0 ------------------- pSplit ------------------- p1
///          \______ child 0 ______/      \______ child 1 ______/
///
/// Each segment stores its vertices in address order (p0 < p1); the reading direction lives in the
/// owning graphs. Segments are created and owned by the triangulation's constraint manager, one
/// per unordered vertex pair, and live as long as the triangulation.
class ZARN2D_EXPORT ConstraintSegment2 {
 public:
  /// For the constraint manager: a new alive segment with the next label. Requires p0 < p1 as
  /// addresses (assertion "p0<p1", ZarnException).
  ConstraintSegment2(Point2* p0, Point2* p1, ConstraintInsertionStrategy cis);
  ConstraintSegment2(const ConstraintSegment2&) = delete;
  ConstraintSegment2& operator=(const ConstraintSegment2&) = delete;

  /// The vertex with the lower address. Lives as long as the triangulation.
  Point2* getSrc() const { return p0; }
  /// The vertex with the higher address.
  Point2* getTrg() const { return p1; }
  ConstraintInsertionStrategy getCIS() const { return cis; }
  /// True when the alive flag is set and the segment has no children: it stands as one edge.
  bool isAlive() const { return bAlive && !hasChildren(); }
  /// True for a segment the insertion gave up on (numerically hopeless crossings): it is not an
  /// edge, has no children and is no constraint; the insertion reported it.
  bool isSkipped() const { return !bAlive && !hasChildren(); }
  /// The number of constraint graphs that contain this segment or one of its ancestors.
  unsigned int getNumberOfOwners() const {
    if (pFirstOwner == nullptr) return 0u;
    return static_cast<unsigned int>(1 + (pMoreOwners != nullptr ? pMoreOwners->size() : 0));
  }
  /// An area the mesh generator attaches to the segment; initially the largest finite double.
  double getAdjacentArea() const { return adjacentArea; }
  void setAdjacentArea(double area) { adjacentArea = area; }
  /// The sequence number taken from a process-wide counter at construction.
  int getLabel() const { return label; }

  /// Lexicographic on (p0 address, p1 address).
  bool operator<(const ConstraintSegment2& other) const;

  /// The two children and the split vertex. On an alive segment: the warning "*this is still
  /// alive!" and the outputs are left untouched (preset them to null).
  void getChildrenAndSplitPoint(ConstraintSegment2*& pKid0, ConstraintSegment2*& pKid1, Point2*& pSplit);
  /// Appends the alive leaves below this split segment, depth first, child 0 first; skipped
  /// segments contribute nothing. Asserts that the segment has been split (or skipped).
  void getChildrenRec(std::vector<ConstraintSegment2*>& vChildren) const;

  /// Inserts p into the triangulation, splits the segment there and inserts both pieces with the
  /// segment's strategy. Returns the split vertex, or null (and nothing changes) when p falls on
  /// an endpoint. Asserts that the segment is alive and owned.
  Point2* insertAndSplit(const Point2& p);
  /// insertAndSplit(p), then removes the mesh generator's inner vertices closer to the split
  /// vertex than the segment's source is. False when p fell on an endpoint.
  bool splitAndRemovePrev(const Point2& p);
  /// Splits the bookkeeping at pSplit, a vertex already in the triangulation on this segment; the
  /// triangulation is not touched and the alive flag stays set. Asserts on a null or end vertex.
  bool split_combinatorialOnly(Point2* pSplit);

  /// Registers pOwner on this segment and all its descendants.
  void addOwner(ConstraintGraph2* pOwner);
  /// Clears the alive flag without touching the children (used while a segment is being worked on).
  void setDead() { bAlive = false; }
  /// Sets the alive flag without touching the children.
  void setAlive() { bAlive = true; }


 private:
  friend ZARN2D_EXPORT std::ostream& operator<<(std::ostream& stream, const ConstraintSegment2& seg);
  friend class ConstraintGraph2;

  /// One owning graph and the direction in which that graph reads the segment.
  struct Owner {
    ConstraintGraph2* pGraph;
    bool bReverse;  // read from p1 to p0
  };
  using OwnerList = std::vector<Owner>;

  Dt2* getOwnerTriangulation() const;
  /// Step shared by both split operations: get-or-create the children, register the owners on
  /// them and notify every owner (the first one also registers the split with the manager).
  void attachChildren(Dt2* pDt2, Point2* pSplit);
  bool hasChildren() const { return aChildren[0] != nullptr; }
  /// The direction flag (true: read from p1 to p0) of pGraph among the owners, or null when
  /// pGraph is no owner. O(number of owners).
  bool* findReverseFlag(const ConstraintGraph2* pGraph);
  const bool* findReverseFlag(const ConstraintGraph2* pGraph) const;
  /// Visits the owners in address order.
  template <typename Visit>
  void forEachOwner(Visit visit) const;

  // Members ordered for a small record (many segments are created per triangulation).
  int label;
  ConstraintInsertionStrategy cis;
  Point2* p0;
  Point2* p1;
  ConstraintSegment2* aChildren[2];  // both null, or the two children after a split
  double adjacentArea;
  // The owners sorted by graph address without duplicates, each with its reading direction:
  // nearly always one, held inline; the others only exist for segments shared by graphs.
  ConstraintGraph2* pFirstOwner;
  std::unique_ptr<OwnerList> pMoreOwners;
  bool bFirstOwnerReverse;
  bool bAlive;
};

/// "ConstraintSegment2 label <n>, <address>: (<p0>,<p1>) [alive]" or "[DEAD, numChildren=<k>]",
/// then both points and "length=<length>".
ZARN2D_EXPORT std::ostream& operator<<(std::ostream& stream, const ConstraintSegment2& seg);

}  // namespace KORA_ZARN2D
