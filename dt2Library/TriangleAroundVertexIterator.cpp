// TriangleAroundVertexIterator: the walk around the star of a vertex.
#include "TriangleAroundVertexIterator.h"

#include "tools.h"

namespace KORA_ZARN2D {

TriangleAroundVertexIterator::TriangleAroundVertexIterator(const Point2* pVtx)
    : pVtx(pVtx), pCurrentT(nullptr), pPrevT(nullptr) {
  ZARN_ASSERT(pVtx != nullptr && pVtx->getIncidentTriangle() != nullptr);
  pCurrentT = pVtx->getIncidentTriangle();
}

TriangleAroundVertexIterator::TriangleAroundVertexIterator(Point2* pVtx, Triangle2* pStartT)
    : pVtx(pVtx), pCurrentT(pStartT), pPrevT(nullptr) {
  ZARN_ASSERT(pStartT != nullptr && pStartT->hasVertex(pVtx));
}

TriangleAroundVertexIterator& TriangleAroundVertexIterator::operator++() {
  step(true);
  return *this;
}

TriangleAroundVertexIterator& TriangleAroundVertexIterator::operator--() {
  step(false);
  return *this;
}

TriangleAroundVertexIterator TriangleAroundVertexIterator::operator++(int) {
  const TriangleAroundVertexIterator before(*this);
  step(true);
  return before;
}

TriangleAroundVertexIterator TriangleAroundVertexIterator::operator--(int) {
  const TriangleAroundVertexIterator before(*this);
  step(false);
  return before;
}

Triangle2* TriangleAroundVertexIterator::previewNextTriangle() const { return stepTarget(true); }

Triangle2* TriangleAroundVertexIterator::previewPrevTriangle() const { return stepTarget(false); }

void TriangleAroundVertexIterator::step(bool bCounterclockwise) {
  Triangle2* pTarget(stepTarget(bCounterclockwise));
  pPrevT = pCurrentT;  // null after leaving the gap: the step did not come from a triangle
  pCurrentT = pTarget;
}

Triangle2* TriangleAroundVertexIterator::stepTarget(bool bCounterclockwise) const {
  if (pCurrentT == nullptr) return loop(bCounterclockwise);
  return neighbourAround(pCurrentT, bCounterclockwise);
}

// With j the centre's index, the edges at the centre are (j, j+1) and (j+2, j). Counterclockwise
// lies the neighbour across (j+2, j), which is opposite corner j+1; clockwise the one opposite j+2.
Triangle2* TriangleAroundVertexIterator::neighbourAround(const Triangle2* pT, bool bCounterclockwise) const {
  const int j(pT->getIntraTriangleIndex(pVtx));
  return pT->getOppositeTriangle(bCounterclockwise ? incIndexBy1(j) : incIndexBy2(j));
}

Triangle2* TriangleAroundVertexIterator::loop(bool bCounterclockwiseStep) const {
  const bool bTurnCounterclockwise(!bCounterclockwiseStep);
  Triangle2* pOutermost(pPrevT);
  for (Triangle2* pNext = neighbourAround(pOutermost, bTurnCounterclockwise); pNext != nullptr;
       pNext = neighbourAround(pOutermost, bTurnCounterclockwise)) {
    // Coming back to the start means the star has no border, so the gap cannot exist.
    ZARN_ASSERT(pNext != pPrevT);
    pOutermost = pNext;
  }
  return pOutermost;
}

}  // namespace KORA_ZARN2D
