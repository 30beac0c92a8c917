// What the steps of a zarn2d run share, and the hook through which a feature adds its options
// and its steps to the tool (one file per feature, listed in zarn2d.cpp).
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "Zarn_2D.h"
#include "console.h"
#include "pointInput.h"
#include "toolOptions.h"

/// The state of one run, handed to every step.
struct ToolRun {
  ToolRun(KORA_ZARN2D::Zarn_2D& dt_, ToolInput& input_, Console& console_) : dt(dt_), input(input_), console(console_) {}
  KORA_ZARN2D::Zarn_2D& dt;
  ToolInput& input;
  Console& console;
  /// The constraint graphs, one per entry of input.vGraphSegments, in the same order.
  std::vector<KORA_ZARN2D::ConstraintGraph2*> vGraphs;
  /// The region the outputs show and write; null: all triangles. Owned by dt.
  KORA_ZARN2D::Zone2* pRegion = nullptr;
  /// The triangles of the region (all triangles without one).
  void getRegionTriangles(std::vector<KORA_ZARN2D::Triangle2*>& vTriangles) const {
    if (pRegion != nullptr) {
      pRegion->getTriangles(vTriangles);
    } else {
      dt.getTrianglePointers(vTriangles);
    }
  }
};

/// A feature of the tool: its options (shown in --help under their heading) and the steps it
/// runs. A step returns false after it reported a failure; the tool then exits with status 1.
struct ToolExtension {
  OptionGroup options;
  /// Runs after the constraint step (regions, refinement); may be empty.
  std::function<bool(ToolRun&)> shape;
  /// Runs after the validity check, before the outputs are written (reports); may be empty.
  std::function<bool(ToolRun&)> report;
  /// Runs after the tool's own outputs are written (further outputs); may be empty.
  std::function<bool(ToolRun&)> output;
};

/// Runs write(path) on name, or for "-" on a temporary file whose bytes then go to standard
/// output, logging the step with its time. Reports a failure (write returned false, or no file
/// appeared) and returns false.
bool writeOutput(Console& console, const std::string& name, const std::string& what, const std::function<bool(const std::string&)>& write);

/// --stats: counts, angle histogram and quality figures of the triangles of the region.
ToolExtension makeStatisticsExtension();
/// The domain of a .poly file: the triangles enclosed by its segments, minus its holes.
ToolExtension makePolyDomainExtension();
/// --ps, --svg and --html pictures, with --window and --vertices.
ToolExtension makePicturesExtension();
/// --zone: the zone of the constraint graphs that the outputs show (sets bZone when given: the
/// graphs then keep their directions).
ToolExtension makeZoneExtension(bool& bZone);
/// Quality meshing switches (see RefinementSettings).
ToolExtension makeRefinementExtension();

/// The bounds and the grid of a refinement; 0 where not asked for.
struct RefinementSettings {
  double minAngle = 0.0, maxArea = 0.0, maxEdge = 0.0, minEdge = 0.0, growth = 0.0, gridLength = 0.0, gridDegrees = 0.0;
  unsigned long maxSteiner = 20000000;
  bool bUnifyGrid = false;
  bool any() const { return minAngle > 0.0 || maxArea > 0.0 || maxEdge > 0.0 || gridLength > 0.0; }
};
/// The options that fill s: --min-angle (-q), --max-area (-a), --max-edge, --min-edge, --growth,
/// --grid, --unify-grid, --max-steiner.
std::vector<ToolOption> refinementOptions(RefinementSettings& s);
/// Refines the region (run.pRegion, else every triangle) under s when s asks for anything; the
/// refined zone becomes run.pRegion and the step line says what was done and why it stopped.
/// bComplete: every bound holds. False (reported) when there is nothing to refine.
bool refineRegion(ToolRun& run, const RefinementSettings& s, bool& bComplete);

/// Logs counts, area, edge lengths, the smallest and largest angle and an angle histogram of the
/// region's triangles; no coordinate range breaks the figures. O(n log n).
void printStatistics(ToolRun& run);

/// Draws the triangulation (the region filled, constraint pieces red) as SVG or PostScript,
/// through writeOutput. False (reported) when it cannot be written.
bool writeDrawing(ToolRun& run, const std::string& filename, bool bSvg);
