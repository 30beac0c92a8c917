// The domain of a .poly file, as Triangle's users expect it: the triangles enclosed by the
// segments, without the holes. The triangulation itself keeps covering the convex hull; the domain
// is a zone (every output of the run then shows and writes the zone's triangles).
#include "toolRun.h"

using namespace KORA_ZARN2D;

namespace {

bool makeDomain(ToolRun& run) {
  if (!run.input.bPolyDomain || !run.dt.is2D()) return true;
  Zone2* pDomain(createDomainZone(run.dt, run.vGraphs, run.input.vHoles));
  const size_t numTriangles(pDomain == nullptr ? 0 : pDomain->getNumberOfTriangles());
  if (numTriangles == 0) {
    run.console.warn("the segments enclose no region (the outside and the holes take every triangle): all triangles are kept");
    return true;
  }
  run.pRegion = pDomain;
  run.console.log("Domain of the .poly file: " + std::to_string(numTriangles) + " of " + std::to_string(run.dt.numberOfTriangles()) +
                  " triangles (the part outside the segments and the holes left out)");
  return true;
}

}  // namespace

ToolExtension makePolyDomainExtension() {
  ToolExtension extension;
  extension.shape = makeDomain;
  return extension;
}
