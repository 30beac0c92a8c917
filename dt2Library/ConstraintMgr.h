// ConstraintMgr: the registry of a triangulation's constraint segments and graphs.
#pragma once

#include <deque>
#include <map>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "ConstraintGraph2.h"
#include "ConstraintSegment2.h"
#include "Segment2.h"

namespace KORA_ZARN2D {

class Dt2;

/// Sorts segments by the coordinates of their ends (lower end first, then upper end). Work lists
/// are processed in this order, so that results (the rounding of crossing points) depend on the
/// input only, never on memory addresses.
void sortByCoordinates(std::vector<ConstraintSegment2*>::iterator first, std::vector<ConstraintSegment2*>::iterator last);
/// Appends the alive leaves below the split segment pCSeg, in coordinate order.
void appendPiecesByCoordinates(const ConstraintSegment2* pCSeg, std::vector<ConstraintSegment2*>& vOut);

/// Hands out exactly one ConstraintSegment2 per unordered vertex pair, builds constraint graphs
/// from user segments, and drives the insertion of all alive segments until the set of constraint
/// edges is stable. Owns every segment and graph; nothing is deleted before the manager.
class ConstraintMgr {
 public:
  explicit ConstraintMgr(Dt2* pDt2);
  ~ConstraintMgr();
  ConstraintMgr(const ConstraintMgr&) = delete;
  ConstraintMgr& operator=(const ConstraintMgr&) = delete;

  /// The segment of the pair (any order); created alive with cis if the pair is new. An existing
  /// segment is returned unchanged, whatever its strategy or state. Identical vertices: "p0<p1".
  ConstraintSegment2* getOrCreateSegment(Point2* p0, Point2* p1, ConstraintInsertionStrategy cis);
  /// Builds a graph from vertex pairs (source, target as the user gave them). bOriented selects
  /// the directed graph. With bApply the graph's segments are inserted at once (with the passes
  /// of apply()).
  ConstraintGraph2* createConstraint(const std::vector<std::pair<Point2*, Point2*>>& vPairs, ConstraintInsertionStrategy cis,
                                     bool bOriented, bool bApply);
  /// Inserts all alive segments, pass after pass, until no insertion splits anything (at most
  /// kMaxApplyPasses passes).
  void apply();
  /// The passes of apply() over the given segments (and the pieces split off them).
  void applyTo(std::vector<ConstraintSegment2*> vWork);
  /// The strategy dispatch for one segment.
  void insertSegment(ConstraintSegment2* pCSeg);
  /// While apply() runs: the alive segment is inserted again in the next pass.
  void retryInNextPass(ConstraintSegment2* pCSeg) {
    if (bSplitLogging) vRetry.push_back(pCSeg);
  }
  /// Records one split; called once per split by the first owner's split handler.
  void registerSplit(ConstraintSegment2* pParentCSeg, ConstraintSegment2* pCSeg0, ConstraintSegment2* pCSeg1);

  /// Room for numMore further segments in the registry.
  void reserve(size_t numMore) { mSegments.reserve(mSegments.size() + numMore); }
  /// The alive segment of the vertex pair (any order), or null. Cheap when a vertex is not constrained.
  ConstraintSegment2* getAliveSegment(Point2* p0, Point2* p1) const;
  /// The registered segment of the pair (any order), alive or dead, or null.
  ConstraintSegment2* getConstraintSegment(Point2* p0, Point2* p1) const;
  void getAliveConstraintSegments(std::vector<ConstraintSegment2*>& vCSegments) const;
  void getAliveAndDeadConstraintSegments(std::vector<ConstraintSegment2*>& vCSegments) const;
  /// True when some alive segment ends at pVtx.
  bool isEndpointOfAliveSegment(Point2* pVtx) const;
  bool isConstrainedVertex(const Point2* pVtx) const { return sConstrainedVertices.count(pVtx) != 0; }
  bool empty() const { return mSegments.empty(); }
  const std::vector<ConstraintGraph2*>& getGraphs() const { return vGraphs; }
  /// Number of registered segments, alive or not.
  size_t numberOfSegments() const { return mSegments.size(); }
  /// Number of splits registered so far.
  size_t numberOfSplits() const { return numSplits; }

  /// One text file per graph: base_c<i>.con, the alive pieces as tab-separated coordinates.
  void writeConstraints(const std::string& base);
  /// One binary segment file per graph: base_c<i>_con.bin.
  void writeConstraintsBIN(const std::string& base);

 private:
  /// Forces the alive segments of vWork (and the pieces of the dead ones) in as edges.
  void forceAll(std::vector<ConstraintSegment2*>& vWork);
  void getAlivePiecesOfGraph(const ConstraintGraph2* pGraph, std::vector<ConstraintSegment2*>& vPieces) const;
  static std::pair<Point2*, Point2*> orderedPair(Point2* p0, Point2* p1);
  /// Appends the registered segments that pass the filter, ordered by their vertex pairs.
  template <typename Filter>
  void collectSorted(std::vector<ConstraintSegment2*>& vCSegments, Filter filter) const;

  Dt2* pDt2;
  std::deque<ConstraintSegment2> dSegmentStore;  // owns the segments; a deque keeps addresses stable
  std::unordered_map<std::pair<Point2*, Point2*>, ConstraintSegment2*, VertexPairHash> mSegments;
  std::unordered_set<const Point2*> sConstrainedVertices;
  std::vector<ConstraintGraph2*> vGraphs;
  size_t numSplits;
  bool bSplitLogging;                          // while apply runs: splits are logged
  std::vector<ConstraintSegment2*> vSplitLog;  // the segments split in the current pass
  std::vector<ConstraintSegment2*> vRetry;     // segments to insert again in the next pass
};

}  // namespace KORA_ZARN2D
