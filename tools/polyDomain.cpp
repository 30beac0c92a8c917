// The domain of a .poly file, as Triangle's users expect it: the triangles enclosed by the
// segments, without the holes. The triangulation itself keeps covering the convex hull; the domain
// is a zone (every output of the run then shows and writes the zone's triangles).
#include <algorithm>
#include <set>

#include "toolRun.h"

using namespace KORA_ZARN2D;

namespace {

/// A ZL_GROW zone from p (inside the triangulation) with every graph as barrier.
Zone2* growFrom(ToolRun& run, const Point2& p) { return run.dt.createZone(run.vGraphs, ZL_GROW, p, false); }

/// The part of the hull outside the segments: grown from every hull triangle whose hull edge is
/// not a constraint, one zone per connected part.
Zone2* growOutside(ToolRun& run) {
  std::vector<Triangle2*> vTriangles;
  run.dt.getTrianglePointers(vTriangles);
  std::set<const Triangle2*> sOutside;
  Zone2* pOutside(nullptr);
  for (Triangle2* pT : vTriangles) {
    bool bSeed(false);
    for (int i = 0; i < 3; ++i) bSeed = bSeed || (pT->getOppositeTriangle(i) == nullptr && !run.dt.isConstraint(pT, i));
    const Point2 centre(pT->getBarycenter());
    if (!bSeed || sOutside.count(pT) > 0 || run.dt.locate(centre) != pT) continue;
    Zone2* pPart(growFrom(run, centre));
    if (pPart == nullptr) continue;
    std::vector<Triangle2*> vPart;
    pPart->getTriangles(vPart);
    sOutside.insert(vPart.begin(), vPart.end());
    pOutside = pOutside == nullptr ? pPart : zoneUnion(pOutside, pPart);
  }
  return pOutside;
}

bool makeDomain(ToolRun& run) {
  if (!run.input.bPolyDomain || !run.dt.is2D()) return true;
  Zone2* pRemoved(growOutside(run));
  size_t numHolesUsed(0);
  for (const Point2& hole : run.input.vHoles) {
    if (run.dt.locate(hole) == nullptr) {
      run.console.warn("the hole at (" + std::to_string(hole.x()) + ", " + std::to_string(hole.y()) + ") lies outside the triangulation and is ignored");
      continue;
    }
    Zone2* pHole(growFrom(run, hole));
    if (pHole == nullptr) continue;
    ++numHolesUsed;
    pRemoved = pRemoved == nullptr ? pHole : zoneUnion(pRemoved, pHole);
  }
  Zone2* pDomain(pRemoved == nullptr ? nullptr : zoneDifference(run.dt.createZone(nullptr, ZL_GLOBAL), pRemoved));
  const size_t numTriangles(pDomain == nullptr ? run.dt.numberOfTriangles() : pDomain->getNumberOfTriangles());
  if (numTriangles == 0) {
    run.console.warn("the segments enclose no region (holes and the outside took every triangle): all triangles are kept");
    return true;
  }
  run.pRegion = pDomain;
  run.console.log("Domain of the .poly file: " + std::to_string(numTriangles) + " of " + std::to_string(run.dt.numberOfTriangles()) +
                  " triangles (outside the segments and " + std::to_string(numHolesUsed) + " hole(s) left out)");
  return true;
}

}  // namespace

ToolExtension makePolyDomainExtension() {
  ToolExtension extension;
  extension.shape = makeDomain;
  return extension;
}
