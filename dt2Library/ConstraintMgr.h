// ConstraintMgr: the registry of a triangulation's constraint segments and graphs.
#pragma once

#include <cstdint>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "ConstraintGraph2.h"
#include "HugePages.h"
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
  /// The passes of apply() over the given segments (and the pieces split off them). True when
  /// the passes became stable: then every alive segment of the run stands as an edge.
  bool applyTo(std::vector<ConstraintSegment2*> vWork);
  /// The strategy dispatch for one segment.
  void insertSegment(ConstraintSegment2* pCSeg);
  /// While apply() runs: the alive segment is inserted again in the next pass.
  void retryInNextPass(ConstraintSegment2* pCSeg) {
    if (bSplitLogging) vRetry.push_back(pCSeg);
  }
  /// Records one split; called once per split by the first owner's split handler.
  void registerSplit(ConstraintSegment2* pParentCSeg, ConstraintSegment2* pCSeg0, ConstraintSegment2* pCSeg1);
  /// While it lives, splits are made by an insertion that inserts every piece itself (forcing a
  /// segment in): apply() need not carry them into its next pass.
  class ResolvedSplits {
   public:
    explicit ResolvedSplits(ConstraintMgr& mgr_) : mgr(mgr_), bWasLogging(mgr_.bSplitLogging) { mgr.bSplitLogging = false; }
    ~ResolvedSplits() { mgr.bSplitLogging = bWasLogging; }
    ResolvedSplits(const ResolvedSplits&) = delete;
    ResolvedSplits& operator=(const ResolvedSplits&) = delete;

   private:
    ConstraintMgr& mgr;
    bool bWasLogging;
  };

  /// Room for numMore further segments in the registry.
  void reserve(size_t numMore);
  /// The alive segment of the vertex pair (any order), or null. O(1): one hash probe sequence.
  ConstraintSegment2* getAliveSegment(Point2* p0, Point2* p1) const {
    ConstraintSegment2* pCSeg(getConstraintSegment(p0, p1));
    return (pCSeg != nullptr && pCSeg->isAlive()) ? pCSeg : nullptr;
  }
  /// The registered segment of the pair (any order), alive or dead, or null. O(1).
  ConstraintSegment2* getConstraintSegment(Point2* p0, Point2* p1) const {
    if (numSegments == 0 || p0 == p1) return nullptr;
    if (p1 < p0) std::swap(p0, p1);
    const uint64_t h(hashOf(p0, p1));
    for (size_t i = slotOf(h);; i = (i + 1) & slotMask()) {
      const uintptr_t slot(vSlots[i]);
      if (slot == 0) return nullptr;
      if ((slot & kTagBits) != tagOf(h)) continue;
      ConstraintSegment2* pCSeg(reinterpret_cast<ConstraintSegment2*>(slot & ~kTagBits));
      if (pCSeg->getSrc() == p0 && pCSeg->getTrg() == p1) return pCSeg;
    }
  }
  void getAliveConstraintSegments(std::vector<ConstraintSegment2*>& vCSegments) const;
  void getAliveAndDeadConstraintSegments(std::vector<ConstraintSegment2*>& vCSegments) const;
  /// True when some alive segment ends at pVtx.
  bool isEndpointOfAliveSegment(Point2* pVtx) const;
  bool empty() const { return numSegments == 0; }
  const std::vector<ConstraintGraph2*>& getGraphs() const { return vGraphs; }
  /// Number of registered segments, alive or not.
  size_t numberOfSegments() const { return numSegments; }
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
  /// Appends the registered segments that pass the filter, ordered by their vertex pairs.
  template <typename Filter>
  void collectSorted(std::vector<ConstraintSegment2*>& vCSegments, Filter filter) const;
  /// Visits every registered segment in creation order.
  template <typename Visit>
  void forEachSegment(Visit visit) const;
  /// Constructs a segment in the block storage.
  ConstraintSegment2* newSegment(Point2* p0, Point2* p1, ConstraintInsertionStrategy cis);
  /// The number of segments the newest block still takes.
  size_t roomInBlock() const;
  /// Appends a block for capacity segments (at least a small first block, at most a bound).
  void startSegmentBlock(size_t capacity);

  // The registry is an open-addressing hash table (linear probing, at most half full) of the
  // segments, keyed by their address-ordered vertex pairs. A slot holds the segment's address
  // (below 2^48 as user-space addresses are, checked when placed) with 16 more bits of the key's
  // hash above it: a probe reads a segment only when these tags agree, so the lookup of an edge
  // that is no constraint, the common case in walks and flips, touches the table alone.
  static constexpr unsigned kTagShift = 48;
  static constexpr uintptr_t kTagBits = ~((uintptr_t(1) << kTagShift) - 1);
  static uint64_t hashOf(const Point2* p0, const Point2* p1) { return VertexPairHash()(p0, p1) * 0xBF58476D1CE4E5B9ull; }
  size_t slotMask() const { return vSlots.size() - 1; }
  size_t slotOf(uint64_t h) const { return static_cast<size_t>(h >> 32) & slotMask(); }
  static uintptr_t tagOf(uint64_t h) { return static_cast<uintptr_t>((h >> 16) & 0xFFFF) << kTagShift; }
  void growSlots(size_t minSegments);
  void placeInSlots(ConstraintSegment2* pCSeg);

  using SegmentStorage = std::aligned_storage_t<sizeof(ConstraintSegment2), alignof(ConstraintSegment2)>;
  struct SegmentBlock {
    std::vector<SegmentStorage, UninitialisedAllocator<SegmentStorage>> vStorage;
    size_t capacity;
    size_t used;
  };

  Dt2* pDt2;
  std::vector<SegmentBlock> vSegmentBlocks;  // owns the segments; blocks keep addresses stable
  std::vector<uintptr_t, UninitialisedAllocator<uintptr_t>> vSlots;  // 0: empty
  size_t numSegments;
  bool bAliveAreEdges;  // every alive segment stands as an edge (no segment created or revived since)
  std::vector<ConstraintGraph2*> vGraphs;
  size_t numSplits;
  bool bSplitLogging;                          // while apply runs: splits are logged
  std::vector<ConstraintSegment2*> vSplitLog;  // the segments split in the current pass
  std::vector<ConstraintSegment2*> vRetry;     // segments to insert again in the next pass
};

}  // namespace KORA_ZARN2D
