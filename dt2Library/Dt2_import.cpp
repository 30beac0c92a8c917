// Dt2: importing triangles made elsewhere. The corners are inserted as vertices and every edge of
// an imported triangle becomes a constraint edge (constrained Delaunay insertion), so each
// imported triangle reappears exactly where no vertex lies inside it, and the triangulation stays
// constrained Delaunay around it. The imported area is found by a search inside each imported
// triangle, bounded by the pieces of its own three edges.
#include <algorithm>
#include <cmath>

#include "ConstraintMgr.h"
#include "Dt2.h"
#include "tools.h"

namespace KORA_ZARN2D {

namespace {
bool isFiniteTriple(const Point2* p) {
  for (int i = 0; i < 3; ++i) {
    if (!std::isfinite(p[i].x()) || !std::isfinite(p[i].y())) return false;
  }
  return true;
}
}  // namespace

Zone2* Dt2::importTriangles(std::vector<Point2>& vPoints, bool bReplace, bool bDeleteOldTriangles) {
  const char* const where("Dt2::importTriangles()");
  if (vPoints.size() % 3 != 0) {
    reportError(where, "vPoints.size() must be a multiple of 3");
    return nullptr;
  }
  // Counterclockwise corner triples of the usable triangles.
  std::vector<Point2> vCorners;
  vCorners.reserve(vPoints.size());
  size_t numNonFinite(0), numDegenerate(0);
  for (size_t i = 0; i < vPoints.size(); i += 3) {
    const Point2* p(&vPoints[i]);
    if (!isFiniteTriple(p)) {
      ++numNonFinite;
      continue;
    }
    const Orientation2 ori(kora.getOrientation(p[0], p[1], p[2]));
    if (ori == ORIENTATION2_COLLINEAR) {
      ++numDegenerate;
      continue;
    }
    vCorners.push_back(p[0]);
    vCorners.push_back(ori == ORIENTATION2_CCW ? p[1] : p[2]);
    vCorners.push_back(ori == ORIENTATION2_CCW ? p[2] : p[1]);
  }
  if (numNonFinite > 0) reportWarning(where, std::to_string(numNonFinite) + " triangle(s) with a non-finite coordinate skipped");
  if (numDegenerate > 0) reportWarning(where, std::to_string(numDegenerate) + " degenerate triangle(s) skipped");
  if (vCorners.empty()) {
    reportWarning(where, "No triangle to import, returning NULL");
    return nullptr;
  }

  std::vector<Point2*> vOldVertices;
  if (bDeleteOldTriangles) getVertexPointers(vOldVertices);
  std::vector<Point2*> vHandles;
  insertVector(vCorners, &vHandles);
  // Each undirected edge once.
  std::vector<std::pair<Point2*, Point2*>> vEdges;
  vEdges.reserve(vHandles.size());
  for (size_t i = 0; i < vHandles.size(); i += 3) {
    for (int j = 0; j < 3; ++j) {
      Point2* p0(vHandles[i + j]);
      Point2* p1(vHandles[i + (j + 1) % 3]);
      vEdges.push_back(p0 < p1 ? std::make_pair(p0, p1) : std::make_pair(p1, p0));
    }
  }
  std::sort(vEdges.begin(), vEdges.end());
  vEdges.erase(std::unique(vEdges.begin(), vEdges.end()), vEdges.end());
  pConstraintMgr->createConstraint(vEdges, CIS_CONSTRAINED_DELAUNAY, false, true);

  std::vector<Triangle2*> vArea;
  bool bOverlap(false);
  collectImportedArea(vHandles, vArea, bOverlap);
  if (bReplace) {
    std::vector<Point2*> vInner;
    for (Triangle2* pT : vArea) vInner.insert(vInner.end(), {pT->getCorner(0), pT->getCorner(1), pT->getCorner(2)});
    removeUnconstrained(vInner);
  }
  if (bDeleteOldTriangles) removeUnconstrained(vOldVertices);
  if (bReplace || bDeleteOldTriangles) {
    vArea.clear();
    collectImportedArea(vHandles, vArea, bOverlap);
  }
  if (bOverlap) reportWarning(where, "The imported triangles overlap, the zone covers their union");
  return createZone(vArea, ZL_BOUNDED, false);
}

void Dt2::removeUnconstrained(const std::vector<Point2*>& vVertices) {
  std::vector<Point2*> vCandidates(vVertices);
  std::sort(vCandidates.begin(), vCandidates.end());
  vCandidates.erase(std::unique(vCandidates.begin(), vCandidates.end()), vCandidates.end());
  for (Point2* pVtx : vCandidates) {
    if (vertexVault.isActiveVertex(pVtx) && !isConstraint(pVtx)) remove(pVtx);
  }
}

// Inside each imported triangle (counterclockwise), a search from the triangle to the left of the
// first piece of its first edge, never crossing a piece of its own edges. A triangle found for
// two imported triangles means they overlap.
void Dt2::collectImportedArea(const std::vector<Point2*>& vCorners, std::vector<Triangle2*>& vArea, bool& bOverlap) {
  std::vector<ConstraintSegment2*> vBorder;
  std::vector<Triangle2*> vSeed(1, nullptr);
  const size_t firstFound(vArea.size());
  for (size_t i = 0; i < vCorners.size(); i += 3) {
    vBorder.clear();
    Point2* pFirstPieceEnd(nullptr);
    for (int j = 0; j < 3; ++j) {
      ConstraintSegment2* pCSeg(pConstraintMgr->getConstraintSegment(vCorners[i + j], vCorners[i + (j + 1) % 3]));
      ZARN_ASSERT(pCSeg!=0);
      const size_t firstPiece(vBorder.size());
      if (pCSeg->isAlive()) {
        vBorder.push_back(pCSeg);
      } else {
        pCSeg->getChildrenRec(vBorder);
      }
      if (j != 0) continue;
      for (size_t k = firstPiece; k < vBorder.size(); ++k) {
        if (vBorder[k]->getSrc() == vCorners[i]) pFirstPieceEnd = vBorder[k]->getTrg();
        if (vBorder[k]->getTrg() == vCorners[i]) pFirstPieceEnd = vBorder[k]->getSrc();
      }
    }
    std::sort(vBorder.begin(), vBorder.end());
    vSeed[0] = getAdjacentTriangle(vCorners[i], pFirstPieceEnd);
    ZARN_ASSERT(vSeed[0]!=0);
    floodFrom(vSeed, [&](const Triangle2* pT, int k) {
      ConstraintSegment2* pPiece(pConstraintMgr->getAliveSegment(pT->getCorner(incIndexBy1(k)), pT->getCorner(incIndexBy2(k))));
      return pPiece != nullptr && std::binary_search(vBorder.begin(), vBorder.end(), pPiece);
    }, vArea);
  }
  std::sort(vArea.begin() + static_cast<std::ptrdiff_t>(firstFound), vArea.end());
  const auto newEnd(std::unique(vArea.begin() + static_cast<std::ptrdiff_t>(firstFound), vArea.end()));
  bOverlap = (newEnd != vArea.end());
  vArea.erase(newEnd, vArea.end());
}

}  // namespace KORA_ZARN2D
