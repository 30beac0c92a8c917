// Dt2's zones: creation with its argument checks, ownership, deletion, growing, and the small
// topological look-ups that the zone search needs.
#include <algorithm>
#include <cmath>
#include <utility>

#include "ConstraintMgr.h"
#include "Dt2.h"
#include "Zone2.h"
#include "Visualizer2.h"
#include "ZoneSearch.h"
#include "tools.h"

namespace KORA_ZARN2D {

namespace {
const char* const kCreateZone = "Dt::createZone()";

void warnIf(bool bVerbose, const std::string& msg) {
  if (bVerbose) reportWarning(kCreateZone, msg);
}

bool isFinitePoint(const Point2& p) { return std::isfinite(p.x()) && std::isfinite(p.y()); }
}  // namespace

// ----- Creation -----

Zone2* Dt2::createZone(ConstraintGraph2* pConstraintGraph, ZoneLocation zoneLoc, bool bVerbose) {
  if (zoneLoc == ZL_GLOBAL) return createZone(std::vector<ConstraintGraph2*>(), zoneLoc, bVerbose);
  if (pConstraintGraph == nullptr) {
    warnIf(bVerbose, "pConstraintGraph==NULL, but zoneLoc!=ZL_GLOBAL or ZL_RESULT. Returning NULL");
    return nullptr;
  }
  if (zoneLoc != ZL_INSIDE && zoneLoc != ZL_OUTSIDE && zoneLoc != ZL_BOUNDED) {
    warnIf(bVerbose,
           "This overloaded version of createZone accepts only ZL_INSIDE, ZL_OUTSIDE, ZL_BOUNDED and ZL_GLOBAL as zoneLocation. "
           "Returning NULL");
    return nullptr;
  }
  if (!acceptGraphs(std::vector<ConstraintGraph2*>(1, pConstraintGraph), true, bVerbose)) return nullptr;
  vZones.emplace_back(new Zone2(this, zoneLoc, pConstraintGraph));
  return vZones.back().get();
}

Zone2* Dt2::createZone(const std::vector<ConstraintGraph2*>& vConstraintGraphs, ZoneLocation zoneLoc, bool bVerbose) {
  if (zoneLoc == ZL_GLOBAL) {
    if (!acceptGraphs(std::vector<ConstraintGraph2*>(), false, bVerbose)) return nullptr;
    vZones.emplace_back(new Zone2(this, ZL_GLOBAL));
    return vZones.back().get();
  }
  if (zoneLoc != ZL_INSIDE && zoneLoc != ZL_OUTSIDE) {
    warnIf(bVerbose, "This overloaded version of createZone accepts only ZL_INSIDE and ZL_OUTSIDE as zoneLocation. Returning NULL");
    return nullptr;
  }
  if (vConstraintGraphs.empty()) {
    warnIf(bVerbose, "vConstraintGraphs is empty, returning NULL");
    return nullptr;
  }
  if (!acceptGraphs(vConstraintGraphs, true, bVerbose)) return nullptr;
  vZones.emplace_back(new Zone2(this, zoneLoc, vConstraintGraphs));
  return vZones.back().get();
}

Zone2* Dt2::createZone(ConstraintGraph2* pConstraintGraph, ZoneLocation zoneLoc, const Point2& startPoint, bool bVerbose) {
  if (pConstraintGraph == nullptr && zoneLoc == ZL_GROW) {
    warnIf(bVerbose, "pConstraintGraph==NULL, but zoneLoc!=ZL_GLOBAL or ZL_RESULT. Returning NULL");
    return nullptr;
  }
  return createZone(std::vector<ConstraintGraph2*>(1, pConstraintGraph), zoneLoc, startPoint, bVerbose);
}

Zone2* Dt2::createZone(const std::vector<ConstraintGraph2*>& vConstraintGraphs, ZoneLocation zoneLoc, const Point2& startPoint,
                       bool bVerbose) {
  if (zoneLoc != ZL_GROW) {
    warnIf(bVerbose, "This overloaded version of createZone accepts only ZL_GROW as zoneLocation. Returning NULL");
    return nullptr;
  }
  if (!isFinitePoint(startPoint)) {
    warnIf(bVerbose, "The start point has a non-finite coordinate, returning NULL");
    return nullptr;
  }
  if (!acceptGraphs(vConstraintGraphs, false, bVerbose)) return nullptr;
  vZones.emplace_back(new Zone2(this, vConstraintGraphs, ZL_GROW, std::vector<Point2>(1, startPoint)));
  return vZones.back().get();
}

Zone2* Dt2::createZoneGrownFromHull(const std::vector<ConstraintGraph2*>& vConstraintGraphs) {
  if (!acceptGraphs(vConstraintGraphs, false, true)) return nullptr;
  vZones.emplace_back(new Zone2(this, vConstraintGraphs, Zone2::FromHull()));
  return vZones.back().get();
}

Zone2* Dt2::createZone(std::vector<Triangle2*>& vTriangles, ZoneLocation zoneLoc, bool bVerbose) {
  if (zoneLoc != ZL_BOUNDED) {
    warnIf(bVerbose, "This overloaded version of createZone accepts only ZL_BOUNDED as zoneLocation. Returning NULL");
    return nullptr;
  }
  if (!acceptGraphs(std::vector<ConstraintGraph2*>(), false, bVerbose)) return nullptr;
  std::vector<std::pair<Point2*, Point2*>> vBorder;
  const size_t numRejected(collectBorderOfSet(vTriangles, vBorder));
  if (numRejected > 0) warnIf(bVerbose, std::to_string(numRejected) + " null, dead or foreign triangle(s) left out");
  if (vBorder.empty()) {
    warnIf(bVerbose, "No valid triangles given, returning NULL");
    return nullptr;
  }
  ConstraintGraph2* pGraph(pConstraintMgr->createConstraint(vBorder, CIS_CONSTRAINED_DELAUNAY, true, true));
  vZones.emplace_back(new Zone2(this, ZL_BOUNDED, pGraph));
  return vZones.back().get();
}

bool Dt2::acceptGraphs(const std::vector<ConstraintGraph2*>& vConstraintGraphs, bool bOrientedOnly, bool bVerbose) {
  for (ConstraintGraph2* pGraph : vConstraintGraphs) {
    if (pGraph == nullptr) {
      warnIf(bVerbose, "One of the constraint graphs is NULL, returning NULL");
      return false;
    }
    if (pGraph->getDt2() != this) {
      warnIf(bVerbose, "The constraint graph belongs to another triangulation, returning NULL");
      return false;
    }
    if (bOrientedOnly && !pGraph->isOriented()) {
      warnIf(bVerbose, "The constraint graph is not oriented, returning NULL");
      return false;
    }
  }
  if (numberOfTriangles() == 0 || !is2D()) {
    warnIf(bVerbose, "called on a triangulation which has no triangles yet. Returning NULL");
    return false;
  }
  return true;
}

size_t Dt2::collectBorderOfSet(const std::vector<Triangle2*>& vTriangles, std::vector<std::pair<Point2*, Point2*>>& vBorder) {
  const uint32_t inSet(newMark());
  std::vector<Triangle2*> vValid;
  vValid.reserve(vTriangles.size());
  size_t numRejected(0);
  for (Triangle2* pT : vTriangles) {
    if (pT == nullptr || !pT->isAlive() || !trianglePool.contains(pT)) {
      ++numRejected;
    } else if (pT->getMark() != inSet) {
      pT->setMark(inSet);
      vValid.push_back(pT);
    }
  }
  forEachBorderEdge(
      vValid, [inSet](const Triangle2* pN) { return pN->getMark() == inSet; },
      [&vBorder](Triangle2* pT, int i) { vBorder.emplace_back(pT->getCorner(incIndexBy1(i)), pT->getCorner(incIndexBy2(i))); });
  return numRejected;
}

Zone2* Dt2::createResultZone(ZoneLocation zoneLoc, Zone2* pZone0, Zone2* pZone1) {
  ZARN_ASSERT(zoneLoc>=ZL_RESULT_UNION && zoneLoc<=ZL_RESULT_SYMMETRIC_DIFFERENCE);
  ZARN_ASSERT(hasZone(pZone0) && hasZone(pZone1));
  vZones.emplace_back(new Zone2(this, zoneLoc));
  vZones.back()->addInputZone(pZone0);
  vZones.back()->addInputZone(pZone1);
  return vZones.back().get();
}

// ----- Ownership -----

bool Dt2::hasZone(const Zone2* pZone) const {
  return std::any_of(vZones.begin(), vZones.end(), [pZone](const std::unique_ptr<Zone2>& p) { return p.get() == pZone; });
}

void Dt2::deleteZone(Zone2* pZone) {
  const auto it(std::find_if(vZones.begin(), vZones.end(), [pZone](const std::unique_ptr<Zone2>& p) { return p.get() == pZone; }));
  if (it == vZones.end()) {
    reportWarning("Dt2::deleteZone(..)", "trying to delete a non-existing zone");
    return;
  }
  if (std::any_of(vZones.begin(), vZones.end(), [pZone](const std::unique_ptr<Zone2>& p) { return p->hasInputZone(pZone); })) {
    reportWarning("Dt2::deleteZone(..)", "the zone is an operand of a set operation's zone; delete that zone first");
    return;
  }
  vZones.erase(it);
}

// ----- Growing -----

void Dt2::growZoneArea(const std::vector<ConstraintGraph2*>& vConstraintGraphs, const Point2& startPoint,
                       std::vector<Triangle2*>& vTriangles) {
  growZoneArea(vConstraintGraphs, std::vector<Point2>(1, startPoint), vTriangles);
}

void Dt2::growZoneArea(const std::vector<ConstraintGraph2*>& vConstraintGraphs, const std::vector<Point2>& vStartPoints,
                       std::vector<Triangle2*>& vTriangles) {
  ZoneSearch search(this, vConstraintGraphs);
  for (const Point2& startPoint : vStartPoints) {
    Triangle2* pStartT(locate(startPoint));
    if (pStartT == nullptr) {
      reportWarning("Dt2::growZoneArea()", "pStartT==NULL, no triangles");
      continue;
    }
    const size_t first(vTriangles.size());
    search.seed(pStartT, vTriangles);
    search.run(vTriangles, first);
  }
}

// ----- Look-ups -----

Triangle2* Dt2::getAnyTriangle() const {
  for (int b = 0; b < trianglePool.getNumBlocks(); ++b) {
    Triangle2* pBlock(trianglePool.getBlock(b));
    for (int32_t i = 0; i < trianglePool.getUsedCount(b); ++i) {
      if (pBlock[i].isAlive()) return pBlock + i;
    }
  }
  return nullptr;
}

// ----- Drawing (zone and triangulation pictures) -----

void Dt2::addConstraintsTo(Visualizer2* pVis) const {
  std::vector<ConstraintSegment2*> vPieces;
  pConstraintMgr->getAliveConstraintSegments(vPieces);
  const Color constraintColor(CRED, 1.0);
  for (const ConstraintSegment2* pCSeg : vPieces) pVis->addSegment(*pCSeg->getSrc(), *pCSeg->getTrg(), constraintColor);
}

}  // namespace KORA_ZARN2D
