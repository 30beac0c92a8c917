// The --zone option of the zarn2d tool.
#include "zoneOption.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <iostream>
#include <map>

#include "ConstraintMgr.h"
#include "Dt2.h"
#include "toolOptions.h"

using namespace KORA_ZARN2D;

namespace {

// Every vertex of the graph's directed pieces is left as often as it is entered.
bool isMadeOfRings(ConstraintGraph2* pGraph) {
  std::vector<ConstraintSegment2*> vPieces;
  pGraph->getChildConstraintSegments(vPieces);
  std::map<const Point2*, int> mBalance;
  for (ConstraintSegment2* pCSeg : vPieces) {
    const bool bReverse(pGraph->isReverse(pCSeg));
    ++mBalance[bReverse ? pCSeg->getTrg() : pCSeg->getSrc()];
    --mBalance[bReverse ? pCSeg->getSrc() : pCSeg->getTrg()];
  }
  return !vPieces.empty() && std::all_of(mBalance.begin(), mBalance.end(), [](const std::pair<const Point2* const, int>& e) { return e.second == 0; });
}

std::vector<ConstraintGraph2*> ringGraphs(Zarn_2D& dt) {
  std::vector<ConstraintGraph2*> vRings;
  const std::vector<ConstraintGraph2*>& vGraphs(dt.getImpl()->getConstraintMgr()->getGraphs());
  for (size_t i = 0; i < vGraphs.size(); ++i) {
    if (isMadeOfRings(vGraphs[i])) {
      vRings.push_back(vGraphs[i]);
    } else {
      std::cerr << "Constraint graph " << i << " is not made of closed rings: not used for the zone" << std::endl;
    }
  }
  return vRings;
}

void printRegions(const Zone2* pZone, const char* name) {
  std::vector<std::vector<Triangle2*>> vvRegions;
  pZone->getComponentTriangles(vvRegions);
  std::vector<double> vAreas;
  double total(0.0);
  size_t numTriangles(0);
  for (const std::vector<Triangle2*>& vRegion : vvRegions) {
    double area(0.0);
    for (const Triangle2* pT : vRegion) area += pT->getArea2D();
    vAreas.push_back(area);
    total += area;
    numTriangles += vRegion.size();
  }
  std::sort(vAreas.rbegin(), vAreas.rend());
  constexpr size_t kMaxListed = 10;
  std::cerr << "Zone " << name << ": " << numTriangles << " triangles in " << vvRegions.size() << " region(s), area " << total;
  if (!vAreas.empty()) {
    std::cerr << "; region areas, largest first:";
    for (size_t i = 0; i < std::min(kMaxListed, vAreas.size()); ++i) std::cerr << " " << vAreas[i];
    if (vAreas.size() > kMaxListed) std::cerr << " ...";
  }
  std::cerr << std::endl;
}

}  // namespace

bool parseZoneOption(const std::string& value, ZoneRequest& request) {
  const std::string kGrow("grow:");
  if (value == "inside" || value == "outside" || value == "global") {
    request.kind = value == "inside" ? ZoneRequest::INSIDE : value == "outside" ? ZoneRequest::OUTSIDE : ZoneRequest::GLOBAL;
    return true;
  }
  const size_t comma(value.find(','));
  double x(0.0), y(0.0);
  if (value.compare(0, kGrow.size(), kGrow) == 0 && comma != std::string::npos &&
      parseNumber(value.substr(kGrow.size(), comma - kGrow.size()), x).empty() && parseNumber(value.substr(comma + 1), y).empty()) {
    request.kind = ZoneRequest::GROW;
    request.start = Point2(x, y);
    return true;
  }
  return false;
}

bool isZoneRequestUsable(const ZoneRequest& request, bool bHasConstraints) {
  if (bHasConstraints || (request.kind != ZoneRequest::INSIDE && request.kind != ZoneRequest::OUTSIDE)) return true;
  std::cerr << "zarn2d: --zone inside and --zone outside need --segments or --demo-constraints (see --help)" << std::endl;
  return false;
}

Zone2* createRequestedZone(Zarn_2D& dt, const ZoneRequest& request) {
  Zone2* pZone(nullptr);
  const char* name("global");
  switch (request.kind) {
    case ZoneRequest::INSIDE:
    case ZoneRequest::OUTSIDE:
      name = request.kind == ZoneRequest::INSIDE ? "inside" : "outside";
      pZone = dt.createZone(ringGraphs(dt), request.kind == ZoneRequest::INSIDE ? ZL_INSIDE : ZL_OUTSIDE);
      break;
    case ZoneRequest::GROW:
      name = "grown";
      pZone = dt.createZone(dt.getImpl()->getConstraintMgr()->getGraphs(), ZL_GROW, request.start);
      break;
    default:
      pZone = dt.createZone(nullptr, ZL_GLOBAL);
  }
  if (pZone != nullptr) printRegions(pZone, name);
  return pZone;
}
