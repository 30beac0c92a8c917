// ZoneSearch: the breadth-first search behind zones, bounded by the edges of constraint graphs.
#pragma once

#include <cstdint>
#include <vector>

#include "Triangle2.h"

namespace KORA_ZARN2D {

class Dt2;
class ConstraintGraph2;

/// Calls fn(pT, i) for every edge i of a triangle pT of the set whose neighbour is missing or not
/// a member (isMember(pNeighbour) false): the border of the set, each edge seen from inside, so
/// counterclockwise around the set. Triangles listed twice give their edges twice.
template <typename IsMember, typename Fn>
void forEachBorderEdge(const std::vector<Triangle2*>& vTriangles, IsMember isMember, Fn fn) {
  for (Triangle2* pT : vTriangles) {
    for (int i = 0; i < 3; ++i) {
      const Triangle2* pN(pT->getOppositeTriangle(i));
      if (pN == nullptr || !isMember(pN)) fn(pT, i);
    }
  }
}

/// One breadth-first pass over the triangles of a triangulation that never crosses a barrier
/// edge (an alive piece of the given constraint graphs) and never visits a triangle twice.
///
/// Everything lives in the triangles' marks: the search takes 16 consecutive fresh mark values
/// from the triangulation; a triangle whose mark lies in that range carries 3 bits "edge i is a
/// barrier" and 1 bit "visited". Setting up costs O(pieces * vertex degree), the search O(1) per
/// visited triangle and nothing is allocated besides the output vector. The marks stay valid
/// until the next pass takes fresh values, so one ZoneSearch must finish before another starts.
class ZoneSearch {
 public:
  /// A directed barrier piece seen from both sides: pLeft has the piece counterclockwise as its
  /// edge leftIdx, pRight as its edge rightIdx (either may be null on the hull).
  struct Piece {
    Triangle2* pLeft;
    int leftIdx;
    Triangle2* pRight;
    int rightIdx;
    bool bShared;  // the undirected piece occurs more than once over the graphs
  };

  /// Marks the pieces of the graphs as barriers. Pieces that are not edges are left out.
  ZoneSearch(Dt2* pDt, const std::vector<ConstraintGraph2*>& vGraphs);
  ZoneSearch(const ZoneSearch&) = delete;
  ZoneSearch& operator=(const ZoneSearch&) = delete;

  /// The barrier pieces, each in the direction in which its graph reads it.
  const std::vector<Piece>& getPieces() const { return vPieces; }
  /// Appends pT to vOut and marks it visited, unless it is null or visited already.
  void seed(Triangle2* pT, std::vector<Triangle2*>& vOut) {
    if (pT != nullptr) visit(pT, vOut);
  }
  /// Expands breadth-first from vOut[first] on; every reached triangle is appended to vOut.
  void run(std::vector<Triangle2*>& vOut, size_t first);

 private:
  static constexpr uint32_t kVisited = 8;
  static constexpr uint32_t kNumStates = 16;

  /// The triangle's barrier and visited bits (0 for a mark from outside this pass).
  uint32_t stateOf(const Triangle2* pT) const {
    const uint32_t s(pT->getMark() - base);
    return s < kNumStates ? s : 0;
  }
  void addState(Triangle2* pT, uint32_t bits) { pT->setMark(base + (stateOf(pT) | bits)); }
  void visit(Triangle2* pT, std::vector<Triangle2*>& vOut) {
    const uint32_t s(stateOf(pT));
    if ((s & kVisited) != 0) return;
    pT->setMark(base + (s | kVisited));
    vOut.push_back(pT);
  }
  void addGraph(Dt2* pDt, ConstraintGraph2* pGraph);
  void flagSharedPieces();

  uint32_t base;
  std::vector<Piece> vPieces;
};

}  // namespace KORA_ZARN2D
