// Topology of Dt2: splits, flips and neighbour links. No geometric decision is made here; the
// callers (insertion, removal) decide with the exact predicates what to change.
//
// Every triangle created around a new vertex v has v as corner 0, so the flip stack only needs
// triangle pointers: the edge to test is always the one opposite corner 0. The flip and the
// relinking of a neighbour, which the flip loops call at every flip, are inline in Dt2.h.
#include "Dt2.h"
#include "tools.h"

namespace KORA_ZARN2D {

// (a, b, c) with neighbours (na, nb, nc) becomes (v,b,c), (v,c,a), (v,a,b). Writes pT, the two
// new triangles and the links of nb and nc. Of the corners only a leaves pT: a and v get a
// triangle pointer, b and c keep theirs. pT keeps its link to na, border flag included.
void Dt2::splitTriangle(Triangle2* pT, Point2* pVtx, InsertionScratch& scratch) {
  const bool bBorderNa(pT->isBorderLink(0));
  Point2* a(pT->getCorner(0));
  Point2* b(pT->getCorner(1));
  Point2* c(pT->getCorner(2));
  Triangle2* na(pT->getOppositeTriangle(0));
  Triangle2* nb(pT->getOppositeTriangle(1));
  Triangle2* nc(pT->getOppositeTriangle(2));
  Triangle2* t1(newTriangle(scratch));
  Triangle2* t2(newTriangle(scratch));
  t1->setCornersAndNeighbours(pVtx, c, a, nb, t2, pT);
  t2->setCornersAndNeighbours(pVtx, a, b, nc, pT, t1);
  pT->setCornersAndNeighbours(pVtx, b, c, na, t1, t2, bBorderNa);
  pVtx->setIncidentTriangle(pT);
  a->setIncidentTriangle(t1);
  replaceNeighbour(nb, pT, t1);
  replaceNeighbour(nc, pT, t2);
  scratch.vFlipStack.push_back(pT);
  scratch.vFlipStack.push_back(t1);
  scratch.vFlipStack.push_back(t2);
}

// The edge a-b opposite corner p of pT (and corner d of the neighbour, if any) is split at v:
// (p,a,b) becomes (v,p,a), (v,b,p); the neighbour (d,b,a) becomes (v,a,d), (v,d,b). Writes both
// triangles, the new ones and the links of the neighbours across b-p and d-b. Of the corners only
// b leaves the old triangles: b and v get a triangle pointer, p, a and d keep theirs.
void Dt2::splitEdge(Triangle2* pT, int edgeIdx, Point2* pVtx, InsertionScratch& scratch) {
  Point2* p(pT->getCorner(edgeIdx));
  Point2* a(pT->getCorner(incIndexBy1(edgeIdx)));
  Point2* b(pT->getCorner(incIndexBy2(edgeIdx)));
  Triangle2* npa(pT->getOppositeTriangle(incIndexBy2(edgeIdx)));
  Triangle2* nbp(pT->getOppositeTriangle(incIndexBy1(edgeIdx)));
  Triangle2* pN(pT->getOppositeTriangle(edgeIdx));
  Triangle2* t2(newTriangle(scratch));
  pVtx->setIncidentTriangle(pT);
  b->setIncidentTriangle(t2);
  if (pN == nullptr) {
    t2->setCornersAndNeighbours(pVtx, b, p, nbp, pT, nullptr);
    pT->setCornersAndNeighbours(pVtx, p, a, npa, nullptr, t2);
    replaceNeighbour(nbp, pT, t2);
    scratch.vFlipStack.push_back(pT);
    scratch.vFlipStack.push_back(t2);
    return;
  }
  const int j(pN->getIntraTriangleIndex(pT));
  Point2* d(pN->getCorner(j));
  Triangle2* nad(pN->getOppositeTriangle(incIndexBy1(j)));
  Triangle2* ndb(pN->getOppositeTriangle(incIndexBy2(j)));
  Triangle2* t4(newTriangle(scratch));
  t2->setCornersAndNeighbours(pVtx, b, p, nbp, pT, t4);
  t4->setCornersAndNeighbours(pVtx, d, b, ndb, t2, pN);
  pT->setCornersAndNeighbours(pVtx, p, a, npa, pN, t2);
  pN->setCornersAndNeighbours(pVtx, a, d, nad, t4, pT);
  replaceNeighbour(nbp, pT, t2);
  replaceNeighbour(ndb, pN, t4);
  scratch.vFlipStack.push_back(pT);
  scratch.vFlipStack.push_back(t2);
  scratch.vFlipStack.push_back(pN);
  scratch.vFlipStack.push_back(t4);
}

// vHullEdges are consecutive hull edges s_j -> s_j+1 in counterclockwise hull order, given as
// (hull triangle, index of the edge). Each gets a new triangle (v, s_j+1, s_j); the new
// triangles are linked to each other in a fan around v.
void Dt2::attachOutsideHull(const std::vector<std::pair<Triangle2*, int>>& vHullEdges, Point2* pVtx) {
  Triangle2* pPrev(nullptr);
  for (const std::pair<Triangle2*, int>& edge : vHullEdges) {
    Triangle2* pHullT(edge.first);
    Point2* pSrc(pHullT->getCorner(incIndexBy1(edge.second)));
    Point2* pTrg(pHullT->getCorner(incIndexBy2(edge.second)));
    Triangle2* pNew(createTriangle(pVtx, pTrg, pSrc));
    pNew->setOppTriangle(0, pHullT);
    pHullT->setOppTriangle(edge.second, pNew);
    pNew->setOppTriangle(1, pPrev);
    if (pPrev != nullptr) pPrev->setOppTriangle(2, pNew);
    serialScratch.vFlipStack.push_back(pNew);
    pPrev = pNew;
  }
}


namespace {
// Sets pT's corners and neighbours with the first of each at index k (the others follow).
void setRotated(Triangle2* pT, int k, Point2* p0, Point2* p1, Point2* p2, Triangle2* t0, Triangle2* t1, Triangle2* t2) {
  Point2* aCorners[3];
  Triangle2* aNeighbours[3];
  aCorners[k] = p0;
  aCorners[incIndexBy1(k)] = p1;
  aCorners[incIndexBy2(k)] = p2;
  aNeighbours[k] = t0;
  aNeighbours[incIndexBy1(k)] = t1;
  aNeighbours[incIndexBy2(k)] = t2;
  pT->setCornersAndNeighbours(aCorners[0], aCorners[1], aCorners[2], aNeighbours[0], aNeighbours[1], aNeighbours[2]);
}
}  // namespace

// pT = (v, a, d) and pNeigh = (v, d, b), as flip(pT, 0, pNeigh, neighIdx) left them, become
// pT = (v, a, b) and pNeigh = (d, b, a) with d at neighIdx again. v (now in pT alone) and d (now in
// pNeigh alone) point at the triangle that keeps them.
void Dt2::unflip(Triangle2* pT, Triangle2* pNeigh, int neighIdx) {
  Point2* v(pT->getCorner(0));
  Point2* a(pT->getCorner(1));
  Point2* d(pT->getCorner(2));
  Point2* b(pNeigh->getCorner(2));
  Triangle2* na(pT->getOppositeTriangle(0));
  Triangle2* ta(pT->getOppositeTriangle(2));
  Triangle2* nb(pNeigh->getOppositeTriangle(0));
  Triangle2* tb(pNeigh->getOppositeTriangle(1));
  const bool bBorderNb(pNeigh->isBorderLink(0));
  pT->setCornersAndNeighbours(v, a, b, pNeigh, tb, ta);
  setRotated(pNeigh, neighIdx, d, b, a, pT, na, nb);
  if (bBorderNb) pNeigh->setBorderLink(incIndexBy2(neighIdx));
  v->setIncidentTriangle(pT);
  d->setIncidentTriangle(pNeigh);
  replaceNeighbour(na, pT, pNeigh);
  replaceNeighbour(tb, pNeigh, pT);
}

// pT = (v, b, c), t1 = (v, c, a), t2 = (v, a, b), as splitTriangle left them, become
// pT = (a, b, c) with its former neighbours (the border flag of na kept); t1 and t2 are left out of
// the triangulation. a, b and c point at pT.
void Dt2::unsplitTriangle(Triangle2* pT) {
  Triangle2* t1(pT->getOppositeTriangle(1));
  Triangle2* t2(pT->getOppositeTriangle(2));
  Point2* a(t1->getCorner(2));
  Point2* b(pT->getCorner(1));
  Point2* c(pT->getCorner(2));
  Triangle2* nb(t1->getOppositeTriangle(0));
  Triangle2* nc(t2->getOppositeTriangle(0));
  pT->setCornersAndNeighbours(a, b, c, pT->getOppositeTriangle(0), nb, nc, pT->isBorderLink(0));
  replaceNeighbour(nb, t1, pT);
  replaceNeighbour(nc, t2, pT);
  a->setIncidentTriangle(pT);
  b->setIncidentTriangle(pT);
  c->setIncidentTriangle(pT);
}

// pT = (v, p, a), t2 = (v, b, p), pN = (v, a, d), t4 = (v, d, b), as splitEdge(pT, edgeIdx) left
// them, become pT = (p, a, b) with p at edgeIdx and pN = (d, b, a) with d at neighIdx; t2 and t4 are
// left out of the triangulation. p, a and b point at pT, d at pN.
void Dt2::unsplitEdge(Triangle2* pT, int edgeIdx, Triangle2* pN, int neighIdx) {
  Triangle2* t2(pT->getOppositeTriangle(2));
  Triangle2* t4(pN->getOppositeTriangle(1));
  Point2* p(pT->getCorner(1));
  Point2* a(pT->getCorner(2));
  Point2* b(t2->getCorner(1));
  Point2* d(pN->getCorner(2));
  Triangle2* nbp(t2->getOppositeTriangle(0));
  Triangle2* ndb(t4->getOppositeTriangle(0));
  setRotated(pT, edgeIdx, p, a, b, pN, nbp, pT->getOppositeTriangle(0));
  setRotated(pN, neighIdx, d, b, a, pT, pN->getOppositeTriangle(0), ndb);
  replaceNeighbour(nbp, t2, pT);
  replaceNeighbour(ndb, t4, pN);
  p->setIncidentTriangle(pT);
  a->setIncidentTriangle(pT);
  b->setIncidentTriangle(pT);
  d->setIncidentTriangle(pN);
}

void Dt2::flipEdge(Triangle2* pT, int i) {
  Triangle2* pNeigh(pT->getOppositeTriangle(i));
  flip(pT, i, pNeigh, pNeigh->getIntraTriangleIndex(pT));
}

int Dt2::hullEdgeAt(Point2* pPivot, Triangle2*& pCur, bool bForward) {
  for (;;) {
    const int k(pCur->getIntraTriangleIndex(pPivot));
    const int j(bForward ? incIndexBy2(k) : incIndexBy1(k));
    Triangle2* pN(pCur->getOppositeTriangle(j));
    if (pN == nullptr) return j;
    pCur = pN;
  }
}

void Dt2::rotateToCorner0(Triangle2* pT, int k) {
  if (k == 0) return;
  const int k1(incIndexBy1(k)), k2(incIndexBy2(k));
  pT->setPropertiesAndOppT(pT->getCorner(k), pT->getCorner(k1), pT->getCorner(k2), pT->getOppositeTriangle(k),
                           pT->getOppositeTriangle(k1), pT->getOppositeTriangle(k2));
}

void Dt2::setNeighbours(Triangle2* pT, Triangle2* pN0, Triangle2* pN1, Triangle2* pN2) {
  pT->setOppTriangle(0, pN0);
  pT->setOppTriangle(1, pN1);
  pT->setOppTriangle(2, pN2);
}

void Dt2::linkNeighbours(Triangle2* pT, int i, Triangle2* pOther, int j) {
  pT->setOppTriangle(i, pOther);
  if (pOther != nullptr) pOther->setOppTriangle(j, pT);
}

}  // namespace KORA_ZARN2D
