// zarn2d mesh: quality mesh of the inside of a planar straight-line graph read from a .poly file
// or a segment file; writes Triangle's files of the mesh and prints its figures. Reading, the
// domain, refinement, figures, pictures and files are those of the main run.
#include <map>
#include <utility>

#include "commands.h"
#include "constraintInput.h"
#include "toolRun.h"
#include "triangleFiles.h"

using namespace KORA_ZARN2D;

namespace {

const char* const kMeshUsageHead =
    "zarn2d mesh - quality triangular mesh of the inside of a polygonal domain\n"
    "\n"
    "Usage:\n"
    "  zarn2d mesh INPUT [options]\n"
    "\n"
    "INPUT is Triangle's .poly (or .node/.ele) file, read as zarn2d reads it, or a segment file as\n"
    "zarn2d check reads it. The segments are inserted as constraints; the domain is what remains\n"
    "after removing the triangles reachable from the convex hull and from each hole point without\n"
    "crossing a segment. It is refined by Delaunay refinement; Steiner points on segments split them.\n";

const char* const kMeshUsageTail =
    "\n"
    "Output: BASE.1.node (the input vertices first, in input order, then the Steiner points),\n"
    "BASE.1.ele (the domain's triangles, counterclockwise), BASE.1.poly (the segment pieces), .edge\n"
    "and .neigh; numbered from 1 (from 0 with -z). Printed on standard error: counts, why the\n"
    "refinement stopped, the figures of the domain and a histogram of all angles, progress.\n"
    "\n"
    "Exit status: 0 when every bound holds (small input angles excepted), 1 on bad input or bad\n"
    "options, 2 when the refinement stopped early (Steiner point budget, minimum edge length,\n"
    "numeric limits: the printed reason says which).\n";

struct MeshSettings {
  RefinementSettings refinement;
  std::string outBase, psFile, svgFile;
  bool bZeroBased = false;
};

std::vector<ToolOption> meshOptions(MeshSettings& s) {
  s.refinement.minAngle = 30.0;
  std::vector<ToolOption> vOptions(refinementOptions(s.refinement));
  vOptions.front().help = "smallest angle wanted, in degrees, at most 30 (default 30); small angles\nbetween two input segments are kept";
  vOptions.push_back(textOption("--out", "BASE", s.outBase, "output base name (default: INPUT without its extension)"));
  vOptions.push_back(flagOption("--zero-based", 'z', s.bZeroBased, "number the files from 0"));
  vOptions.push_back(outputFileOption("--ps", s.psFile, "draw the mesh (domain filled, segments red) as PostScript"));
  vOptions.push_back(outputFileOption("--svg", s.svgFile, "the same drawing as SVG"));
  return vOptions;
}

// A segment file: its distinct endpoints in file order become the vertices.
bool readSegmentDomain(const std::string& filename, ToolInput& input, Console& console) {
  std::vector<Segment2> vSegments;
  if (!readSegmentFile(filename, vSegments, "zarn2d mesh: ")) return false;
  std::map<std::pair<double, double>, size_t> mRow;
  for (const Segment2& segment : vSegments) {
    for (const Point2& p : {segment.getSrc(), segment.getTrg()}) {
      if (!mRow.emplace(std::make_pair(p.x(), p.y()), input.vPoints.size()).second) continue;
      input.vPoints.push_back(p);
      input.vPoints.back().setCustomIndex(static_cast<int>(input.vPoints.size() - 1));
    }
  }
  console.log("Read " + std::to_string(vSegments.size()) + " segments (" + std::to_string(input.vPoints.size()) + " distinct endpoints) from " + filename);
  input.vGraphSegments.push_back(std::move(vSegments));
  return true;
}

bool readDomain(const std::string& filename, ToolInput& input, Console& console) {
  const bool bTriangleFile(hasExtension(filename, ".poly") || hasExtension(filename, ".node") || hasExtension(filename, ".ele"));
  if (!(bTriangleFile ? readPointFile(filename, input, console) : readSegmentDomain(filename, input, console))) return false;
  if (input.vGraphSegments.empty() || input.vGraphSegments[0].empty()) {
    console.error(filename + " holds no segments: there is no domain to mesh");
    return false;
  }
  return true;
}

// The triangulation of the input and its domain, which becomes run.pRegion.
bool makeDomain(ToolRun& run) {
  run.console.beginStep("Triangulation of the input");
  run.dt.insert(run.input.vPoints);
  for (std::vector<Segment2>& vSegments : run.input.vGraphSegments) run.vGraphs.push_back(run.dt.createConstraint(vSegments, CIS_CONSTRAINED_DELAUNAY));
  run.console.endStep();
  Zone2* pDomain(run.dt.is2D() ? createDomainZone(run.dt, run.vGraphs, run.input.vHoles) : nullptr);
  if (pDomain == nullptr || pDomain->getNumberOfTriangles() == 0) {
    run.console.error("the segments enclose no area: nothing to mesh");
    return false;
  }
  run.pRegion = pDomain;
  return true;
}

}  // namespace

int runMeshCommand(int argc, char** argv) {
  MeshSettings s;
  std::vector<std::string> vInput;
  int exitCode(0);
  if (!parseCommandLine(argc, argv, "zarn2d mesh", kMeshUsageHead, meshOptions(s), kMeshUsageTail, 1, vInput, exitCode)) return exitCode;
  Console console("zarn2d mesh");
  ToolInput input;
  if (!readDomain(vInput[0], input, console)) return 1;
  Zarn_2D dt(static_cast<unsigned int>(input.vPoints.size()));
  dt.subscribe(MSG_PROGRESS, &console);
  ToolRun run(dt, input, console);
  bool bComplete(true);
  if (!makeDomain(run) || !refineRegion(run, s.refinement, bComplete)) return 1;
  printStatistics(run);
  std::vector<Triangle2*> vTriangles;
  run.getRegionTriangles(vTriangles);
  const std::string base(s.outBase.empty() ? vInput[0].substr(0, vInput[0].rfind('.')) : s.outBase);
  bool bOk(writeTriangleFiles(base + ".1", dt, vTriangles, input, s.bZeroBased ? 0 : 1, console));
  if (!s.psFile.empty()) bOk = writeDrawing(run, s.psFile, false) && bOk;
  if (!s.svgFile.empty()) bOk = writeDrawing(run, s.svgFile, true) && bOk;
  dt.unsubscribe(MSG_PROGRESS, &console);
  return !bOk ? 1 : bComplete ? 0 : 2;
}
