// Quality meshing in zarn2d (the main run and `zarn2d mesh`): Delaunay refinement of the region
// (the .poly domain, or every triangle) under a smallest angle, a largest area and edge length,
// with an optional grid of inner vertices.
#include <cmath>
#include <memory>

#include "Dt2.h"
#include "MeshGenParams.h"
#include "toolRun.h"

using namespace KORA_ZARN2D;

namespace {

// Edges shorter than this part of the region's size are not split further (unless --min-edge).
constexpr double kMinEdgeShare = 1e-9;

std::string parseGrid(const std::string& value, RefinementSettings& s) {
  const size_t comma(value.find(','));
  if (!parseNumber(value.substr(0, comma), s.gridLength).empty() || !(s.gridLength > 0.0) ||
      (comma != std::string::npos && !parseNumber(value.substr(comma + 1), s.gridDegrees).empty())) {
    return "needs a positive cell length and optionally \",DEGREES\", not \"" + value + "\"";
  }
  return "";
}

MeshGenParams makeParams(Zone2* pZone, const RefinementSettings& s) {
  MeshGenParams params(pZone);
  params.minAngleDegree = s.minAngle;
  params.minEdgeLen = s.minEdge > 0.0 ? s.minEdge : kMinEdgeShare * pZone->getBoundingBox().getMaxRange();
  if (s.maxArea > 0.0) params.maxTriangleArea = s.maxArea;
  if (s.maxEdge > 0.0) params.maxEdgeLength = s.maxEdge;
  if (s.growth > 0.0) params.growthLimit = s.growth;
  params.gridLength = s.gridLength;
  params.gridVector = Vector2(std::cos(s.gridDegrees * M_PI / 180.0), std::sin(s.gridDegrees * M_PI / 180.0));
  return params;
}

}  // namespace

std::vector<ToolOption> refinementOptions(RefinementSettings& s) {
  return {positiveOption("--min-angle", 'q', "DEG", 30.0, s.minAngle, "refine until every angle is at least DEG degrees (at most 30)"),
          positiveOption("--max-area", 'a', "A", HUGE_VAL, s.maxArea, "refine until every triangle area is at most A"),
          positiveOption("--max-edge", 0, "L", HUGE_VAL, s.maxEdge, "refine until every edge is at most L long"),
          positiveOption("--min-edge", 0, "L", HUGE_VAL, s.minEdge, "do not split edges shorter than L (default 1e-9 of the region's size)"),
          positiveOption("--growth", 0, "G", HUGE_VAL, s.growth, "largest area ratio between neighbouring triangles"),
          {"--grid", 0, "L[,DEG]", "fill the inside with vertices on a square grid of cell L turned by DEG\ndegrees, quality triangles towards the border",
           [&s](const std::string& value) { return parseGrid(value, s); }},
          flagOption("--unify-grid", 0, s.bUnifyGrid, "afterwards turn the diagonals of all cocircular grid cells one way"),
          countOption("--max-steiner", 0xffffffffUL, s.maxSteiner, "stop after N Steiner points (default 20000000)")};
}

bool refineRegion(ToolRun& run, const RefinementSettings& s, bool& bComplete) {
  bComplete = true;
  if (!s.any()) return true;
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
  MeshGenParams params(makeParams(pZone, s));
  run.dt.getImpl()->setRefinementVertexBudget(s.maxSteiner);
  run.console.beginStep("Refinement");
  run.dt.refineAdvanced(&params);
  const RefinementReport& report(run.dt.getImpl()->getRefinementReport());
  run.console.endStep(report.describe());
  if (s.bUnifyGrid) run.console.log(pZone->unifyGrid(0.0) ? "Cell diagonals unified" : "Cell diagonals partly unified (constraint edges in the way)");
  run.pRegion = pZone;
  bComplete = report.isComplete();
  return true;
}

ToolExtension makeRefinementExtension() {
  std::shared_ptr<RefinementSettings> pSettings(std::make_shared<RefinementSettings>());
  ToolExtension extension;
  extension.options.heading = "Quality meshing (Delaunay refinement of the .poly domain, or of all triangles)";
  extension.options.vOptions = refinementOptions(*pSettings);
  extension.shape = [pSettings](ToolRun& run) {
    bool bComplete(true);
    return refineRegion(run, *pSettings, bComplete);
  };
  return extension;
}
