// MeshGenParams: the parameter object of advanced mesh generation.
#include "MeshGenParams.h"

#include <iostream>

#include "Zone2.h"

namespace KORA_ZARN2D {

namespace {
constexpr double kLargestDouble = 1.7976931348623157e308;

bool isMeshableLocation(const Zone2* pZone) {
  if (pZone == nullptr) return false;
  const ZoneLocation zoneLoc(pZone->getZoneLocation());
  return zoneLoc == ZL_INSIDE || zoneLoc == ZL_BOUNDED;
}
}  // namespace

MeshGenParams::MeshGenParams(Zone2* pZone_)
    : pZone(pZone_), minAngleDegree(20.0), minEdgeLen(0.001), maxEdgeLength(kLargestDouble), maxTriangleArea(kLargestDouble),
      splitConstraints(true), growthLimit(kLargestDouble), growthMinArea(0.001), auxLimit(10.0), gridVector(0.0, 0.0),
      gridLength(0.0), auxFlag(true), debugLevel(0), pLockedConstraints(nullptr) {
  if (!isMeshableLocation(pZone)) {
    std::cerr << "\n\n\nMeshGenParams::MeshGenParams(..), ERROR: \n\tbehavior since Zarn 1.39: The zoneLocation must be ZL_INSIDE or "
                 "ZL_BOUNDED. Please convert the zone using pZone->convertToBoundedZone(..)\n\n"
              << std::endl;
    return;
  }
  gridVector = Vector2(1.0, 0.0);
}

MeshGenParams::MeshGenParams(const MeshGenParams& other) : pLockedConstraints(nullptr) { copyFrom(other); }

MeshGenParams& MeshGenParams::operator=(const MeshGenParams& other) {
  if (this != &other) copyFrom(other);
  return *this;
}

MeshGenParams::~MeshGenParams() { delete pLockedConstraints; }

void MeshGenParams::copyFrom(const MeshGenParams& other) {
  pZone = other.pZone;
  minAngleDegree = other.minAngleDegree;
  minEdgeLen = other.minEdgeLen;
  maxEdgeLength = other.maxEdgeLength;
  maxTriangleArea = other.maxTriangleArea;
  splitConstraints = other.splitConstraints;
  growthLimit = other.growthLimit;
  growthMinArea = other.growthMinArea;
  auxLimit = other.auxLimit;
  gridVector = other.gridVector;
  gridLength = other.gridLength;
  auxFlag = other.auxFlag;
  debugLevel = other.debugLevel;
  std::set<ConstraintSegment2*>* pCopy(other.pLockedConstraints != nullptr ? new std::set<ConstraintSegment2*>(*other.pLockedConstraints)
                                                                          : nullptr);
  delete pLockedConstraints;
  pLockedConstraints = pCopy;
}

double MeshGenParams::getMaxTriangleArea(Triangle2* /*pT*/) { return maxTriangleArea; }

double MeshGenParams::getMaxEdgeLength(Triangle2* /*pT*/) { return maxEdgeLength; }

void MeshGenParams::addLockedConstraint(ConstraintSegment2* pCSeg) {
  if (pCSeg == nullptr) return;
  if (pLockedConstraints == nullptr) pLockedConstraints = new std::set<ConstraintSegment2*>;
  pLockedConstraints->insert(pCSeg);
}

}  // namespace KORA_ZARN2D
