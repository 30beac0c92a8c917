// Zone2::unifyGrid: the Delaunay triangulation of a grid is not unique (the four corners of every
// cell are cocircular and either diagonal is Delaunay); this turns all such diagonals of a zone
// the same way by flipping them.
#include <cmath>
#include <vector>

#include "ConstraintMgr.h"
#include "Dt2.h"
#include "Zone2.h"
#include "tools.h"

namespace KORA_ZARN2D {

namespace {

/// The preferred diagonal direction: the grid direction turned by +45 degrees for a grid-meshed
/// zone, else from lower left to upper right.
Vector2 preferredDiagonal(const Vector2& gridVector) {
  if (gridVector.isDegenerate()) return Vector2(1.0, 1.0);
  return Vector2(gridVector.x() - gridVector.y(), gridVector.x() + gridVector.y());
}

/// True when the segment p->q is strictly closer to the direction dir (either sense) than r->s:
/// |cos| compared without roots, cos^2(pq) > cos^2(rs).
bool isBetterAligned(const Point2& p, const Point2& q, const Point2& r, const Point2& s, const Vector2& dir) {
  const Vector2 a(q.x() - p.x(), q.y() - p.y()), b(s.x() - r.x(), s.y() - r.y());
  const double da(a * dir), db(b * dir);
  return da * da * b.sqLength() > db * db * a.sqLength();
}

/// One edge to examine: the edge of pT between corners pA and pB (it may have been flipped away
/// since it was queued).
struct QueuedEdge {
  Triangle2* pT;
  Point2* pA;
  Point2* pB;
};

/// The index of the edge pA-pB in pT, or -1 when pT no longer has both corners.
int edgeIndexIn(const Triangle2* pT, const Point2* pA, const Point2* pB) {
  if (!pT->isAlive() || !pT->hasVertex(pA) || !pT->hasVertex(pB)) return -1;
  return 3 - pT->getIntraTriangleIndex(pA) - pT->getIntraTriangleIndex(pB);
}

double distance(const Point2& p, const Point2& q) { return std::hypot(p.x() - q.x(), p.y() - q.y()); }

/// True when the corners of pT and the far corner of its neighbour across edge i are cocircular:
/// exactly for tolerance 0, else within tolerance times the circumradius.
bool isCocircularCell(KoraTest& kora, const Triangle2* pT, int i, double tolerance) {
  const Triangle2* pN(pT->getOppositeTriangle(i));
  const Point2& d(*pN->getCorner(pN->getIntraTriangleIndex(pT)));
  const Point2 &a(*pT->getCorner(0)), &b(*pT->getCorner(1)), &c(*pT->getCorner(2));
  if (tolerance == 0.0) return kora.inCircle(a, b, c, d) == 0;
  const Point2 center(pT->getDual().first);
  const double radius(distance(center, a));
  return std::fabs(distance(center, d) - radius) <= tolerance * radius;
}

}  // namespace

bool Zone2::unifyGrid(double tolerance) {
  const char* const where("Zone2::unifyGrid()");
  if (!(tolerance >= 0.0) || !std::isfinite(tolerance)) {
    reportWarning(where, "The tolerance must be finite and >= 0, nothing changed");
    return false;
  }
  std::vector<Triangle2*> vTriangles;
  getTriangles(vTriangles);
  if (vTriangles.empty()) return true;
  const uint32_t inZone(pDt->newMark());
  for (Triangle2* pT : vTriangles) pT->setMark(inZone);
  KoraTest& kora(pDt->getPredicates());
  std::vector<QueuedEdge> vQueue;
  const auto enqueueEdges = [&vQueue](Triangle2* pT) {
    for (int i = 0; i < 3; ++i) vQueue.push_back(QueuedEdge{pT, pT->getCorner(incIndexBy1(i)), pT->getCorner(incIndexBy2(i))});
  };
  for (Triangle2* pT : vTriangles) enqueueEdges(pT);

  const Vector2 dir(preferredDiagonal(gridVector));
  bool bAllUnified(true);
  // Every flip makes its diagonal strictly better aligned, so a cell is flipped at most once
  // unless a neighbouring flip changes it; the budget only guards against the unforeseen.
  size_t budget(8 * vQueue.size());
  while (!vQueue.empty()) {
    if (budget-- == 0) {
      reportWarning(where, "Flip budget exhausted, the zone is only partly unified");
      return false;
    }
    const QueuedEdge edge(vQueue.back());
    vQueue.pop_back();
    const int i(edgeIndexIn(edge.pT, edge.pA, edge.pB));
    if (i < 0) continue;
    Triangle2* pN(edge.pT->getOppositeTriangle(i));
    if (pN == nullptr || pN->getMark() != inZone || !isCocircularCell(kora, edge.pT, i, tolerance)) continue;
    Point2* pC(edge.pT->getCorner(i));
    Point2* pD(pN->getCorner(pN->getIntraTriangleIndex(edge.pT)));
    if (!isBetterAligned(*pC, *pD, *edge.pA, *edge.pB, dir)) continue;
    // The new triangles (c, a, d) and (c, d, b) must be strictly counterclockwise.
    const bool bConvex(kora.getOrientation(*pC, *edge.pA, *pD) == ORIENTATION2_CCW &&
                       kora.getOrientation(*pC, *pD, *edge.pB) == ORIENTATION2_CCW);
    if (pDt->isConstraint(edge.pT, i) || !bConvex) {
      bAllUnified = false;
      continue;
    }
    pDt->flipEdge(edge.pT, i);
    enqueueEdges(edge.pT);
    enqueueEdges(pN);
  }
  return bAllUnified;
}

}  // namespace KORA_ZARN2D
