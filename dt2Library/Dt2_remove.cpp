// Dt2: vertex removal. The star of the vertex is deleted and the hole is re-triangulated by
// clipping ears off the chain of its neighbours (the link); Lawson flips then restore the
// Delaunay property inside the hole. Around a hull vertex the chain is open and the clipping
// stops when the chain is convex: its remaining edges become the new hull.
#include <algorithm>

#include "Dt2.h"
#include "tools.h"

namespace KORA_ZARN2D {

/// One node of the link chain: its vertex, and the triangle outside the hole across the edge from
/// this node to the next one (null on the hull), with the index of that edge in it.
struct Dt2::HoleLink {
  Point2* pSrc;
  Triangle2* pOuter;
  int outerIdx;
};

namespace {
// Index of the edge {a, b} in t, or -1 when t no longer has that edge (it was flipped away).
int edgeIndexOf(const Triangle2* t, const Point2* a, const Point2* b) {
  for (int i = 0; i < 3; ++i) {
    const Point2* p(t->getCorner(incIndexBy1(i)));
    const Point2* q(t->getCorner(incIndexBy2(i)));
    if ((p == a && q == b) || (p == b && q == a)) return i;
  }
  return -1;
}
}  // namespace

void Dt2::remove(Point2* pVtx) {
  const char* const where("Dt2::remove(..)");
  if (pVtx == nullptr) {
    reportWarning(where, "pVtx is NULL, nothing removed");
    return;
  }
  if (!vertexVault.isActiveVertex(pVtx)) {
    reportWarning(where, "The vertex does not belong to this triangulation or has been removed already, nothing removed");
    return;
  }
  if (isConstraint(pVtx)) {
    reportWarning(where, "The vertex is an endpoint of a constraint segment, nothing removed");
    return;
  }
  if (!is2D()) {
    vertexVault.deactivate(pVtx);  // no triangles yet: only the register changes
    return;
  }
  if (wouldLeaveOnlyCollinearVertices(pVtx)) {
    reportWarning(where, "Removing the vertex would leave fewer than three non-collinear vertices, nothing removed");
    return;
  }
  removeVertex(pVtx);
}

// When every triangle uses pVtx, the other vertices are exactly its neighbours; they span a
// triangle unless all of them lie on one line (which an inner vertex's neighbours never do).
bool Dt2::wouldLeaveOnlyCollinearVertices(Point2* pVtx) {
  std::vector<Triangle2*> vStar;
  getIncidentTriangles(pVtx, vStar);
  if (vStar.size() != numberOfTriangles()) return false;
  std::vector<Point2*> vNeighbours;
  getIncidentVertices(pVtx, vNeighbours);
  const Point2& a(*vNeighbours.front());
  const Point2& b(*vNeighbours.back());
  for (const Point2* pQ : vNeighbours) {
    if (kora.getOrientation(a, b, *pQ) != ORIENTATION2_COLLINEAR) return false;
  }
  return true;
}

void Dt2::removeVertex(Point2* pVtx) {
  std::vector<Triangle2*> vStar;
  getIncidentTriangles(pVtx, vStar);
  ZARN_ASSERT(!vStar.empty());
  const bool bClosed(vStar.front()->getOppositeTriangle(incIndexBy2(vStar.front()->getIntraTriangleIndex(pVtx))) != nullptr);
  std::vector<HoleLink> vLinks;
  for (Triangle2* pT : vStar) {
    const int k(pT->getIntraTriangleIndex(pVtx));
    Triangle2* pOuter(pT->getOppositeTriangle(k));
    vLinks.push_back(HoleLink{pT->getCorner(incIndexBy1(k)), pOuter, pOuter != nullptr ? pOuter->getIntraTriangleIndex(pT) : -1});
  }
  if (!bClosed) {
    Triangle2* pLast(vStar.back());
    vLinks.push_back(HoleLink{pLast->getCorner(incIndexBy2(pLast->getIntraTriangleIndex(pVtx))), nullptr, -1});
  }
  // Star triangles are about to die: point the chain vertices at the surviving outer triangles.
  for (size_t i = 0; i < vLinks.size(); ++i) {
    if (vLinks[i].pOuter == nullptr) continue;
    vLinks[i].pSrc->setIncidentTriangle(vLinks[i].pOuter);
    vLinks[(i + 1) % vLinks.size()].pSrc->setIncidentTriangle(vLinks[i].pOuter);
  }
  releaseTriangles(vStar);
  vertexVault.deactivate(pVtx);
  std::vector<Triangle2*> vNew;
  fillHole(pVtx, vLinks, bClosed, vNew);
  legalizeEdges(vNew);
}

void Dt2::fillHole(Point2* pVtx, std::vector<HoleLink>& vLinks, bool bClosed, std::vector<Triangle2*>& vNew) {
  const int n(static_cast<int>(vLinks.size()));
  std::vector<int> vNext(n), vPrev(n);
  for (int i = 0; i < n; ++i) {
    vNext[i] = (i + 1 < n) ? i + 1 : (bClosed ? 0 : -1);
    vPrev[i] = (i > 0) ? i - 1 : (bClosed ? n - 1 : -1);
  }
  const auto q = [&](int i) -> const Point2& { return *vLinks[i].pSrc; };
  // While the removed vertex sees the whole chain, an ear whose quadrilateral with it is convex
  // lies inside the old star and needs no further check; otherwise test every other chain vertex.
  bool bSeenFromVertex(true);
  const auto isInClosedTriangle = [&](int r, int a, int b, int c) {
    return kora.getOrientation(q(a), q(b), q(r)) != ORIENTATION2_CW && kora.getOrientation(q(b), q(c), q(r)) != ORIENTATION2_CW &&
           kora.getOrientation(q(c), q(a), q(r)) != ORIENTATION2_CW;
  };
  const auto isEar = [&](int p, int c, int nx) {
    if (kora.getOrientation(q(p), q(c), q(nx)) != ORIENTATION2_CCW) return false;
    if (bSeenFromVertex && kora.getOrientation(*pVtx, q(p), q(nx)) == ORIENTATION2_CCW) return true;
    for (int r = vNext[nx]; r != -1 && r != p; r = vNext[r]) {
      if (isInClosedTriangle(r, p, c, nx)) return false;
    }
    for (int r = bClosed ? -1 : vPrev[p]; r != -1; r = vPrev[r]) {
      if (isInClosedTriangle(r, p, c, nx)) return false;
    }
    bSeenFromVertex = false;
    return true;
  };
  const auto clip = [&](int p, int c, int nx) {
    Triangle2* pT(createTriangle(vLinks[p].pSrc, vLinks[c].pSrc, vLinks[nx].pSrc));
    linkNeighbours(pT, 0, vLinks[c].pOuter, vLinks[c].outerIdx);
    linkNeighbours(pT, 2, vLinks[p].pOuter, vLinks[p].outerIdx);
    vLinks[p].pOuter = pT;
    vLinks[p].outerIdx = 1;
    vNext[p] = nx;
    vPrev[nx] = p;
    vNew.push_back(pT);
  };

  if (bClosed) {
    int remaining(n), c(0), numChecked(0);
    while (remaining > 3) {
      const int p(vPrev[c]), nx(vNext[c]);
      if (isEar(p, c, nx)) {
        clip(p, c, nx);
        --remaining;
        c = p;
        numChecked = 0;
      } else {
        c = nx;
        ZARN_ASSERT(++numChecked <= remaining);
      }
    }
    const int a(c), b(vNext[c]), d(vNext[vNext[c]]);
    ZARN_ASSERT(kora.getOrientation(q(a), q(b), q(d)) == ORIENTATION2_CCW);
    Triangle2* pT(createTriangle(vLinks[a].pSrc, vLinks[b].pSrc, vLinks[d].pSrc));
    linkNeighbours(pT, 2, vLinks[a].pOuter, vLinks[a].outerIdx);
    linkNeighbours(pT, 0, vLinks[b].pOuter, vLinks[b].outerIdx);
    linkNeighbours(pT, 1, vLinks[d].pOuter, vLinks[d].outerIdx);
    vNew.push_back(pT);
    return;
  }
  // Open chain (hull vertex): clip every ear; backtrack after a clip, like a Graham scan.
  int c(vNext[0]);
  while (c != -1 && vNext[c] != -1) {
    const int p(vPrev[c]), nx(vNext[c]);
    if (isEar(p, c, nx)) {
      clip(p, c, nx);
      c = (vPrev[p] != -1) ? p : nx;
    } else {
      c = nx;
    }
  }
  for (int i = 0; i != -1 && vNext[i] != -1; i = vNext[i]) {
    if (vLinks[i].pOuter != nullptr) vLinks[i].pOuter->setOppTriangle(vLinks[i].outerIdx, nullptr);
  }
}

void Dt2::legalizeEdges(const std::vector<Triangle2*>& vNew) {
  struct PendingEdge {
    Triangle2* pT;
    Point2* a;
    Point2* b;
  };
  std::vector<PendingEdge> vStack;
  const auto pushEdge = [&](Triangle2* pT, int i) {
    vStack.push_back(PendingEdge{pT, pT->getCorner(incIndexBy1(i)), pT->getCorner(incIndexBy2(i))});
  };
  for (Triangle2* pT : vNew) {
    for (int i = 0; i < 3; ++i) pushEdge(pT, i);
  }
  while (!vStack.empty()) {
    const PendingEdge edge(vStack.back());
    vStack.pop_back();
    const int i(edgeIndexOf(edge.pT, edge.a, edge.b));
    if (i < 0) continue;
    Triangle2* pN(edge.pT->getOppositeTriangle(i));
    if (pN == nullptr) continue;
    const int j(pN->getIntraTriangleIndex(edge.pT));
    if (kora.inCircle(*edge.pT->getCorner(0), *edge.pT->getCorner(1), *edge.pT->getCorner(2), *pN->getCorner(j)) <= 0) continue;
    if (isConstraint(edge.pT, i)) continue;
    flip(edge.pT, i, pN, j);  // edge.pT = (x, a', d), pN = (x, d, b')
    pushEdge(edge.pT, 0);
    pushEdge(edge.pT, 2);
    pushEdge(pN, 0);
    pushEdge(pN, 1);
  }
}

}  // namespace KORA_ZARN2D
