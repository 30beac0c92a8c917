// Dt2: topological queries (location, enumeration, stars, convex hull, bounding box).
#include <algorithm>

#include "ConstraintMgr.h"
#include "Dt2.h"
#include "tools.h"

namespace KORA_ZARN2D {

Triangle2* Dt2::locate(const Point2& p) {
  // The box holds every vertex, so a point outside it lies outside the hull; inside it the
  // walk's filter bound is valid.
  if (!is2D() || !bbx.isInBox(p)) return nullptr;
  Triangle2* pT(vertexVault.getCloT(hc.getKey(p)));
  int edgeIdx(-1);
  const int loc(locate(p, pT, edgeIdx));
  return (loc == LOC_INSIDE || loc == LOC_ON_CORNER) ? pT : nullptr;
}

unsigned int Dt2::numberOfPoints() const { return static_cast<unsigned int>(vertexVault.getNumActive()); }

unsigned int Dt2::numberOfTriangles() const {
  const size_t numAllT(numAllTriangles), numDeadT(vReleasedTriangles.size());
  ZARN_ASSERT(numDeadT<=numAllT);
  return static_cast<unsigned int>(numAllT - numDeadT);
}

void Dt2::getTrianglePointers(std::vector<Triangle2*>& vTriangles) const {
  vTriangles.reserve(vTriangles.size() + numberOfTriangles());
  for (int b = 0; b < trianglePool.getNumBlocks(); ++b) {
    Triangle2* pBlock(trianglePool.getBlock(b));
    const int32_t numUsed(trianglePool.getUsedCount(b));
    for (int32_t i = 0; i < numUsed; ++i) {
      if (pBlock[i].isAlive()) vTriangles.push_back(pBlock + i);
    }
  }
}

void Dt2::getVertexPointers(std::vector<Point2*>& vVertices) const {
  vVertices.reserve(vVertices.size() + numberOfPoints());
  for (size_t i = 0; i < vertexVault.size(); ++i) {
    const IdxVtx rec(vertexVault.getRecord(i));
    if (rec.bActive) vVertices.push_back(rec.pVtx);
  }
}

// Triangles around pVtx in counterclockwise order. Around a hull vertex the list starts with the
// clockwise-most triangle (the one on the border) and ends at the other border.
void Dt2::getIncidentTriangles(Point2* pVtx, std::vector<Triangle2*>& vIncTriangles) const {
  if (pVtx == nullptr || pVtx->getIncidentTriangle() == nullptr) return;
  Triangle2* pStart(pVtx->getIncidentTriangle());
  // Turn clockwise to the border (or once around).
  Triangle2* pFirst(pStart);
  for (;;) {
    Triangle2* pPrev(pFirst->getOppositeTriangle(incIndexBy2(pFirst->getIntraTriangleIndex(pVtx))));
    if (pPrev == nullptr || pPrev == pStart) break;
    pFirst = pPrev;
  }
  Triangle2* pT(pFirst);
  do {
    vIncTriangles.push_back(pT);
    pT = pT->getOppositeTriangle(incIndexBy1(pT->getIntraTriangleIndex(pVtx)));
  } while (pT != nullptr && pT != pFirst);
}

void Dt2::getIncidentVertices(Point2* pVtx, std::vector<Point2*>& vIncVertices) const {
  std::vector<Triangle2*> vIncT;
  getIncidentTriangles(pVtx, vIncT);
  if (vIncT.empty()) return;
  for (Triangle2* pT : vIncT) vIncVertices.push_back(pT->getCorner(incIndexBy1(pT->getIntraTriangleIndex(pVtx))));
  // Around a hull vertex the last triangle's far corner closes the fan.
  Triangle2* pLast(vIncT.back());
  const int k(pLast->getIntraTriangleIndex(pVtx));
  if (pLast->getOppositeTriangle(incIndexBy1(k)) == nullptr) vIncVertices.push_back(pLast->getCorner(incIndexBy2(k)));
}

bool Dt2::hasEdge(Point2* p0, Point2* p1) const {
  return findAround(p0, [p1](const Triangle2* pT, int k) {
           return pT->getCorner(incIndexBy1(k)) == p1 || pT->getCorner(incIndexBy2(k)) == p1;
         }) != nullptr;
}

Triangle2* Dt2::getAdjacentTriangle(Point2* p0, Point2* p1) const {
  int edgeIdx(-1);
  return p0 == nullptr ? nullptr : getTriangleLeftOf(p0, p1, edgeIdx);
}

Triangle2* Dt2::getTriangleLeftOf(Point2* a, Point2* b, int& edgeIdx) const {
  return findAround(a, [b, &edgeIdx](const Triangle2* pT, int k) {
    edgeIdx = incIndexBy2(k);
    return pT->getCorner(incIndexBy1(k)) == b;
  });
}

void Dt2::getConvexHull(bool bAllVertices, std::vector<Point2*>& vHull) {
  if (!is2D()) {
    // Lower-dimensional: the points lie on one line; the hull is its two extreme points, or all
    // points in order along the line.
    std::vector<Point2*> vVertices;
    getVertexPointers(vVertices);
    std::sort(vVertices.begin(), vVertices.end(), [](const Point2* a, const Point2* b) { return *a < *b; });
    if (bAllVertices || vVertices.size() < 2) {
      vHull.insert(vHull.end(), vVertices.begin(), vVertices.end());
    } else {
      vHull.push_back(vVertices.front());
      vHull.push_back(vVertices.back());
    }
    return;
  }
  std::vector<Triangle2*> vTriangles;
  getTrianglePointers(vTriangles);
  Triangle2* pT(nullptr);
  int edgeIdx(-1);
  for (Triangle2* pCand : vTriangles) {
    for (int i = 0; i < 3 && pT == nullptr; ++i) {
      if (pCand->getOppositeTriangle(i) == nullptr) {
        pT = pCand;
        edgeIdx = i;
      }
    }
    if (pT != nullptr) break;
  }
  // Collect the hull counterclockwise: each hull edge runs from corner i+1 to corner i+2.
  std::vector<Point2*> vAll;
  Point2* pStartVtx(pT->getCorner(incIndexBy1(edgeIdx)));
  Point2* pPivot(pT->getCorner(incIndexBy2(edgeIdx)));
  vAll.push_back(pStartVtx);
  while (pPivot != pStartVtx) {
    vAll.push_back(pPivot);
    const int j(hullEdgeAt(pPivot, pT, true));  // moves pT to the triangle holding the edge
    pPivot = pT->getCorner(incIndexBy2(j));
  }
  if (bAllVertices) {
    vHull.insert(vHull.end(), vAll.begin(), vAll.end());
    return;
  }
  const size_t n(vAll.size());
  for (size_t i = 0; i < n; ++i) {
    const Point2* pPrev(vAll[(i + n - 1) % n]);
    const Point2* pNext(vAll[(i + 1) % n]);
    if (kora.getOrientation(*pPrev, *vAll[i], *pNext) != ORIENTATION2_COLLINEAR) vHull.push_back(vAll[i]);
  }
}

Bbox2 Dt2::computeBoundingBox() const {
  Bbox2 box;
  for (size_t i = 0; i < vertexVault.size(); ++i) {
    const IdxVtx rec(vertexVault.getRecord(i));
    if (rec.bActive) box.add(*rec.pVtx);
  }
  return box;
}

// Constraint edges do not exist yet: the constraint subsystem answers these once it is built.
bool Dt2::isConstraint(Point2* p0, Point2* p1) const {
  return p0 != nullptr && p1 != nullptr && pConstraintMgr->getAliveSegment(p0, p1) != nullptr;
}

bool Dt2::isConstraint(Point2* pVtx) const { return pVtx != nullptr && pConstraintMgr->isEndpointOfAliveSegment(pVtx); }

bool Dt2::isConstraint(Triangle2* pT, int ith) const {
  if (pT == nullptr || ith < 0 || ith > 2 || pConstraintMgr->empty()) return false;
  return pConstraintMgr->getAliveSegment(pT->getCorner(incIndexBy1(ith)), pT->getCorner(incIndexBy2(ith))) != nullptr;
}

}  // namespace KORA_ZARN2D
