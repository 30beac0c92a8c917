// The domain of a planar straight-line graph as a zone: everything minus what grows from the
// convex hull and from the hole points without crossing a constraint edge.
#include "Dt2.h"
#include "Zarn_2D.h"
#include "Zone2.h"
#include "tools.h"

namespace KORA_ZARN2D {

// The part grown from the hull is evaluated afresh with the domain: a removal or an insertion
// that moves the hull moves its start triangles too.
Zone2* createDomainZone(Zarn_2D& dt, const std::vector<ConstraintGraph2*>& vGraphs, const std::vector<Point2>& vHoles) {
  if (!dt.is2D()) {
    reportWarning("createDomainZone()", "The triangulation is not 2D yet, no domain");
    return nullptr;
  }
  Zone2* pRemoved(dt.getImpl()->createZoneGrownFromHull(vGraphs));
  if (pRemoved == nullptr) return nullptr;
  for (const Point2& hole : vHoles) {
    if (dt.locate(hole) == nullptr) {
      reportWarning("createDomainZone()", "A hole point lies outside the triangulation and is ignored: " + std::to_string(hole.x()) + ", " +
                                              std::to_string(hole.y()));
      continue;
    }
    pRemoved = zoneUnion(pRemoved, dt.createZone(vGraphs, ZL_GROW, hole, false));
  }
  return zoneDifference(dt.createZone(nullptr, ZL_GLOBAL), pRemoved);
}

}  // namespace KORA_ZARN2D
