// ZoneSearch: barrier setup from constraint graphs and the breadth-first pass.
#include "ZoneSearch.h"

#include <algorithm>
#include <utility>

#include "ConstraintGraph2.h"
#include "Dt2.h"

namespace KORA_ZARN2D {

namespace {
// The undirected vertex pair of a piece, lower address first.
std::pair<Point2*, Point2*> undirectedEnds(const ZoneSearch::Piece& piece) {
  Point2* pA;
  Point2* pB;
  if (piece.pLeft != nullptr) {
    pA = piece.pLeft->getCorner(incIndexBy1(piece.leftIdx));
    pB = piece.pLeft->getCorner(incIndexBy2(piece.leftIdx));
  } else {
    pA = piece.pRight->getCorner(incIndexBy1(piece.rightIdx));
    pB = piece.pRight->getCorner(incIndexBy2(piece.rightIdx));
  }
  return std::less<Point2*>()(pA, pB) ? std::make_pair(pA, pB) : std::make_pair(pB, pA);
}
}  // namespace

ZoneSearch::ZoneSearch(Dt2* pDt, const std::vector<ConstraintGraph2*>& vGraphs) : base(pDt->newMarks(kNumStates)) {
  for (ConstraintGraph2* pGraph : vGraphs) addGraph(pDt, pGraph);
  flagSharedPieces();
}

void ZoneSearch::addGraph(Dt2* pDt, ConstraintGraph2* pGraph) {
  std::vector<ConstraintSegment2*> vAlive;
  pGraph->getChildConstraintSegments(vAlive);
  vPieces.reserve(vPieces.size() + vAlive.size());
  for (ConstraintSegment2* pCSeg : vAlive) {
    Point2* pFrom(pCSeg->getSrc());
    Point2* pTo(pCSeg->getTrg());
    if (pGraph->isOriented() && pGraph->isReverse(pCSeg)) std::swap(pFrom, pTo);
    Piece piece{nullptr, -1, nullptr, -1, false};
    piece.pLeft = pDt->getTriangleLeftOf(pFrom, pTo, piece.leftIdx);
    if (piece.pLeft != nullptr) {
      piece.pRight = piece.pLeft->getOppositeTriangle(piece.leftIdx);
      if (piece.pRight != nullptr) piece.rightIdx = piece.pRight->getIntraTriangleIndex(piece.pLeft);
    } else {
      piece.pRight = pDt->getTriangleLeftOf(pTo, pFrom, piece.rightIdx);
      if (piece.pRight == nullptr) continue;  // not (yet) an edge
    }
    if (piece.pLeft != nullptr) addState(piece.pLeft, 1u << piece.leftIdx);
    if (piece.pRight != nullptr) addState(piece.pRight, 1u << piece.rightIdx);
    vPieces.push_back(piece);
  }
}

void ZoneSearch::flagSharedPieces() {
  std::vector<std::pair<std::pair<Point2*, Point2*>, size_t>> vKeys;
  vKeys.reserve(vPieces.size());
  for (size_t i = 0; i < vPieces.size(); ++i) vKeys.emplace_back(undirectedEnds(vPieces[i]), i);
  std::sort(vKeys.begin(), vKeys.end());
  for (size_t i = 1; i < vKeys.size(); ++i) {
    if (vKeys[i].first != vKeys[i - 1].first) continue;
    vPieces[vKeys[i].second].bShared = true;
    vPieces[vKeys[i - 1].second].bShared = true;
  }
}

// The neighbours of the triangle kPrefetchDistance places ahead in the queue are prefetched: the
// queue runs through memory in no particular order, so their marks are cache misses otherwise.
void ZoneSearch::run(std::vector<Triangle2*>& vOut, size_t first) {
  constexpr size_t kPrefetchDistance = 8;
  for (size_t i = first; i < vOut.size(); ++i) {
    if (i + 2 * kPrefetchDistance < vOut.size()) __builtin_prefetch(vOut[i + 2 * kPrefetchDistance], 0);
    if (i + kPrefetchDistance < vOut.size()) {
      const Triangle2* pAhead(vOut[i + kPrefetchDistance]);
      for (int k = 0; k < 3; ++k) __builtin_prefetch(pAhead->getOppositeTriangle(k), 1);
    }
    Triangle2* pT(vOut[i]);
    const uint32_t state(stateOf(pT));
    for (int k = 0; k < 3; ++k) {
      Triangle2* pN(pT->getOppositeTriangle(k));
      if (pN != nullptr && (state & (1u << k)) == 0) visit(pN, vOut);
    }
  }
}

}  // namespace KORA_ZARN2D
