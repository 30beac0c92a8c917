// Quality meshing in the main zarn2d run: Delaunay refinement of the region (the .poly domain, or
// every triangle) under a smallest angle, a largest area and a largest edge length.
#include <cmath>
#include <memory>

#include "MeshGenParams.h"
#include "toolRun.h"

using namespace KORA_ZARN2D;

namespace {

struct Bounds {
  double minAngle = 0.0, maxArea = 0.0, maxEdge = 0.0;  // 0: not asked for
  bool any() const { return minAngle > 0.0 || maxArea > 0.0 || maxEdge > 0.0; }
};

ToolOption bound(const std::string& name, const std::string& valueName, double maxValue, double& target, const std::string& help) {
  return {name, 0, valueName, help, [&target, maxValue, name](const std::string& value) {
            const std::string error(parseNumber(value, target));
            if (!error.empty()) return error;
            if (!(target > 0.0) || target > maxValue) return std::string("must be above 0") + (maxValue < HUGE_VAL ? " and at most 30" : "");
            return std::string();
          }};
}

// Edges shorter than this part of the region's size are not split further.
constexpr double kMinEdgeShare = 1e-9;

bool refineRegion(ToolRun& run, const Bounds& bounds) {
  if (!bounds.any()) return true;
  if (!run.dt.is2D()) {
    run.console.error("there is nothing to refine: the points are collinear");
    return false;
  }
  std::vector<Triangle2*> vTriangles;
  run.getRegionTriangles(vTriangles);
  Zone2* pZone(run.dt.createZone(vTriangles, false));
  if (pZone == nullptr) {
    run.console.error("there is nothing to refine: the region holds no triangle");
    return false;
  }
  const Bbox2 box(pZone->getBoundingBox());
  MeshGenParams params(pZone);
  params.minAngleDegree = bounds.minAngle;
  params.minEdgeLen = kMinEdgeShare * box.getMaxRange();
  if (bounds.maxArea > 0.0) params.maxTriangleArea = bounds.maxArea;
  if (bounds.maxEdge > 0.0) params.maxEdgeLength = bounds.maxEdge;
  const unsigned int numBefore(run.dt.numberOfPoints());
  run.console.beginStep("Refinement");
  run.dt.refineAdvanced(&params);
  run.console.endStep(std::to_string(run.dt.numberOfPoints() - numBefore) + " Steiner points");
  run.pRegion = pZone;
  run.console.log("Region: " + std::to_string(pZone->getNumberOfTriangles()) + " triangles");
  return true;
}

}  // namespace

ToolExtension makeRefinementExtension() {
  std::shared_ptr<Bounds> pBounds(std::make_shared<Bounds>());
  ToolExtension extension;
  extension.options.heading = "Quality meshing (Delaunay refinement of the .poly domain, or of all triangles)";
  extension.options.vOptions.push_back(bound("--min-angle", "DEG", 30.0, pBounds->minAngle, "refine until every angle is at least DEG degrees (at most 30)"));
  extension.options.vOptions.push_back(bound("--max-area", "A", HUGE_VAL, pBounds->maxArea, "refine until every triangle area is at most A"));
  extension.options.vOptions.push_back(bound("--max-edge", "L", HUGE_VAL, pBounds->maxEdge, "refine until every edge is at most L long"));
  extension.shape = [pBounds](ToolRun& run) { return refineRegion(run, *pBounds); };
  return extension;
}
