// The domain of a planar straight-line graph as a zone: everything minus what grows from the
// convex hull and from the hole points without crossing a constraint edge.
#include <unordered_set>

#include "Zarn_2D.h"
#include "Zone2.h"
#include "tools.h"

namespace KORA_ZARN2D {

namespace {

bool hasOpenHullEdge(Zarn_2D& dt, Triangle2* pT) {
  for (int i = 0; i < 3; ++i) {
    if (pT->getOppositeTriangle(i) == nullptr && !dt.isConstraint(pT, i)) return true;
  }
  return false;
}

Zone2* unite(Zone2* pA, Zone2* pB) { return pA == nullptr ? pB : zoneUnion(pA, pB); }

/// The part of the hull outside the constraints: one ZL_GROW zone per separate part, each started
/// in a hull triangle with an unconstrained hull edge that no earlier part reached. A start point
/// is the triangle's barycenter, used only where locate finds that very triangle.
Zone2* growOutside(Zarn_2D& dt, const std::vector<ConstraintGraph2*>& vGraphs) {
  std::vector<Triangle2*> vTriangles;
  dt.getTrianglePointers(vTriangles);
  std::unordered_set<const Triangle2*> sOutside;
  Zone2* pOutside(nullptr);
  for (Triangle2* pT : vTriangles) {
    if (!hasOpenHullEdge(dt, pT) || sOutside.count(pT) > 0) continue;
    const Point2 centre(pT->getBarycenter());
    if (dt.locate(centre) != pT) continue;
    Zone2* pPart(dt.createZone(vGraphs, ZL_GROW, centre, false));
    if (pPart == nullptr) continue;
    std::vector<Triangle2*> vPart;
    pPart->getTriangles(vPart);
    sOutside.insert(vPart.begin(), vPart.end());
    pOutside = unite(pOutside, pPart);
  }
  return pOutside;
}

}  // namespace

Zone2* createDomainZone(Zarn_2D& dt, const std::vector<ConstraintGraph2*>& vGraphs, const std::vector<Point2>& vHoles) {
  if (!dt.is2D()) {
    reportWarning("createDomainZone()", "The triangulation is not 2D yet, no domain");
    return nullptr;
  }
  Zone2* pRemoved(growOutside(dt, vGraphs));
  for (const Point2& hole : vHoles) {
    if (dt.locate(hole) == nullptr) {
      reportWarning("createDomainZone()", "A hole point lies outside the triangulation and is ignored: " + std::to_string(hole.x()) + ", " +
                                              std::to_string(hole.y()));
      continue;
    }
    pRemoved = unite(pRemoved, dt.createZone(vGraphs, ZL_GROW, hole, false));
  }
  Zone2* pAll(dt.createZone(nullptr, ZL_GLOBAL));
  return pRemoved == nullptr ? pAll : zoneDifference(pAll, pRemoved);
}

}  // namespace KORA_ZARN2D
