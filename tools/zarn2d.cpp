// zarn2d: the command-line tool. Triangulates a point set (from a file or the built-in demo),
// inserts constraint segments, prints counts and timings, checks, and writes the result in the
// library's formats and in Triangle's. Every feature contributes its options through the table
// below; the steps run in a fixed order.
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "ConstraintMgr.h"
#include "Dt2.h"
#include "ZarnException.h"
#include "commands.h"
#include "constraintInput.h"
#include "toolRun.h"
#include "triangleFiles.h"

using namespace KORA_ZARN2D;
namespace fs = std::filesystem;

namespace {

const char* const kUsageHead =
    "zarn2d - exact two-dimensional Delaunay triangulation\n"
    "\n"
    "Usage:\n"
    "  zarn2d [options] [POINTFILE]     triangulate the points of POINTFILE, or the built-in demo\n"
    "  zarn2d check SEGMENTFILE [...]   list the illegal (intersecting) segments of a segment set\n"
    "                                   (zarn2d check --help for its options)\n"
    "  zarn2d mesh INPUT [...]          quality mesh of the inside of a .poly or segment file\n"
    "                                   (zarn2d mesh --help for its options)\n"
    "  zarn2d cut MESH SEGMENTFILE [...]  import a triangle mesh and cut a zone out of it\n"
    "                                   (zarn2d cut --help for its options)\n"
    "\n"
    "POINTFILE is one of:\n"
    "  - a binary point file (types 20 and 30);\n"
    "  - a text file with \"x y\" or \"x y z\" per line (z is ignored), numbers separated by blanks,\n"
    "    tabs or commas (CSV); lines starting with '#' and one header line are skipped;\n"
    "  - Triangle's .node (recognised by its name or its header line), .poly (vertices, segments\n"
    "    and holes) or .ele (the triangles' edges become constraints; the vertices come from the\n"
    "    .node file of the same base name).\n"
    "Input is read strictly: the first bad line is reported with its number and nothing is\n"
    "triangulated. Without POINTFILE and without --segments the demo input is used: random points\n"
    "in the unit square plus a circle.\n"
    "\n"
    "Messages, counts and timings go to standard error; an output file named \"-\" is written to\n"
    "standard output. The exit status is 0 on success and 1 on any failure.\n"
    "\n"
    "Options take their value as the next argument or after '=' (--svg=out.svg).\n";

const char* const kUsageTail =
    "\n"
    "Triangle's switches and their counterparts:\n"
    "  triangle -p A.poly      zarn2d A.poly --write-triangle A.1   (segments as constraints)\n"
    "  triangle -q30           zarn2d -q30 (--min-angle 30)\n"
    "  triangle -a0.01         zarn2d -a0.01 (--max-area 0.01)\n"
    "  triangle -D             zarn2d -D (--conforming)\n"
    "  triangle -C             zarn2d -C (--check)\n"
    "  triangle -V             zarn2d -V (--stats)\n"
    "  triangle -Q             zarn2d -Q (--quiet)\n"
    "  triangle -z             zarn2d -z (--zero-based)\n"
    "The triangulation covers the convex hull; for a .poly file the outputs show its domain: the\n"
    "triangles enclosed by its segments, without its holes (as Triangle does without -c).\n";

// Above this many demo points the tool refuses before allocating (about 250 bytes a point).
constexpr unsigned long kMaxDemoPoints = 200000000UL;
constexpr double kBytesPerPoint = 250.0;

struct Settings {
  std::vector<std::string> vPositional;
  unsigned long numDemoPoints = 100000;
  bool bDemoGiven = false;
  unsigned long numThreads = 1;
  bool bSingle = false;
  unsigned long removeEvery = 0;
  bool bCheck = false;
  bool bQuiet = false;
  bool bZeroBased = false;
  std::string objFile, webDir, binFile, asciiFile, triangleBase, constraintBase;
  std::vector<std::string> vSegmentFiles;
  bool bDemoConstraints = false;
  bool bConforming = false;
  bool bOriented = false;
  bool bZone = false;  // --zone given: the graphs keep their directions
  bool bShowHelp = false;
  bool bShowVersion = false;

  bool hasConstraints() const { return !vSegmentFiles.empty() || bDemoConstraints; }
};

std::vector<OptionGroup> coreOptions(Settings& s) {
  return {
      {"General",
       {flagOption("--help", 'h', s.bShowHelp, "show this text"), flagOption("--version", 0, s.bShowVersion, "print the library version"),
        flagOption("--quiet", 'Q', s.bQuiet, "print only warnings and errors"),
        countOption("--demo", kMaxDemoPoints, s.numDemoPoints,
              "number of random demo points (default 100000); given with --segments,\nthe demo points are added to the segments", &s.bDemoGiven),
        countOption("--threads", 1024, s.numThreads, "threads for bulk insertion (0: all hardware threads; default 1)"),
        flagOption("--single", 0, s.bSingle, "insert the points one by one instead of in bulk"),
        countOption("--remove", 0x7fffffffUL, s.removeEvery,
              "remove every N-th vertex after the triangulation and the constraints;\nvertices on constraint edges are kept"),
        flagOption("--check", 'C', s.bCheck,
             "run the exact validity check (topology, orientation, Delaunay property;\nconstraint pieces must be edges and are exempt from the "
             "Delaunay test)")}},
      {"Constraints (inserted after the points, one constraint graph per file, in the order given)",
       {{"--segments", 0, "FILE",
         "insert the segments of FILE as one constraint graph; repeatable. FILE is a\nbinary segment file (types 21 and 31) or a text file "
         "with one segment\n\"x0 y0 x1 y1\" per line ('#' lines and blank lines skipped); a bad line\nis an error and nothing is triangulated",
         [&s](const std::string& value) {
           s.vSegmentFiles.push_back(value);
           return std::string();
         }},
        flagOption("--demo-constraints", 0, s.bDemoConstraints,
             "insert two demo graphs: a closed star polygon of 1000 vertices around\n(0.5, 0.5) and 100 segments of length 0.1 crossing it"),
        flagOption("--conforming", 'D', s.bConforming,
             "conforming Delaunay insertion: segments are split by extra vertices until\nevery piece is a Delaunay edge (default: constrained "
             "Delaunay)"),
        flagOption("--oriented", 0, s.bOriented, "keep the direction of every segment (source to target) in its graph"),
        textOption("--write-constraints", "BASE", s.constraintBase, "write the alive pieces of graph i (from 0) as BASE_c<i>_con.bin")}},
      {"Output (FILE \"-\" writes to standard output)",
       {textOption("--write-triangle", "BASE", s.triangleBase,
             "write Triangle's BASE.node, .ele, .poly, .edge and .neigh: the input vertices\nfirst in input order, added vertices after"),
        flagOption("--zero-based", 'z', s.bZeroBased, "number Triangle's files from 0 (default: from 1)"),
        outputFileOption("--obj", s.objFile, "write the triangles as a Wavefront OBJ file"),
        textOption("--web", "DIR", s.webDir, "write a web page with a 3D viewer into DIR (serve DIR over HTTP to view it)"),
        outputFileOption("--write-bin", s.binFile, "write the vertices as a binary point file"),
        outputFileOption("--write-ascii", s.asciiFile, "write the vertices as a text point file")}},
  };
}

/// The features listed here add their options to --help and their steps to the run.
std::vector<ToolExtension> makeExtensions(Settings& s) {
  return {makePolyDomainExtension(), makeZoneExtension(s.bZone), makeRefinementExtension(), makeStatisticsExtension(), makePicturesExtension()};
}

// ---------------------------------------------------------------------------------------------
// Checks before any work: option combinations, memory for the demo, writable outputs.
// ---------------------------------------------------------------------------------------------

std::string checkCombinations(const Settings& s) {
  if (s.vPositional.size() > 1) return "more than one point file given (see --help)";
  if (!s.hasConstraints()) {
    const char* const pUnused(s.bConforming ? "--conforming" : s.bOriented ? "--oriented" : !s.constraintBase.empty() ? "--write-constraints" : nullptr);
    if (pUnused != nullptr) return std::string(pUnused) + " needs --segments or --demo-constraints (see --help)";
  }
  if (s.webDir == "-" || s.triangleBase == "-" || s.constraintBase == "-") return "--web, --write-triangle and --write-constraints need a name, not \"-\"";
  return "";
}

std::string checkDemoMemory(const Settings& s) {
  const double physical(static_cast<double>(sysconf(_SC_PHYS_PAGES)) * static_cast<double>(sysconf(_SC_PAGESIZE)));
  const double needed(kBytesPerPoint * static_cast<double>(s.numDemoPoints));
  if (physical <= 0.0 || needed <= physical) return "";
  return "--demo " + std::to_string(s.numDemoPoints) + " needs about " + std::to_string(static_cast<long>(needed / 1e9)) +
         " GB of memory, this machine has " + std::to_string(static_cast<long>(physical / 1e9)) + " GB";
}

// A directory that exists or can be created: its nearest existing ancestor is a writable directory.
std::string checkCreatableDirectory(const std::string& name) {
  if (name.empty()) return "";
  std::error_code error;
  fs::path path(fs::absolute(name, error));
  while (!fs::exists(path, error) && path.has_parent_path() && path != path.parent_path()) path = path.parent_path();
  if (!fs::is_directory(path, error)) return name + " can't be created: " + path.string() + " is not a directory";
  if (access(path.c_str(), W_OK) != 0) return name + " can't be created: " + path.string() + " is not writable";
  return "";
}

std::string checkOutputs(const Settings& s) {
  for (const std::string& file : {s.triangleBase.empty() ? "" : s.triangleBase + ".node", s.constraintBase.empty() ? "" : s.constraintBase + "_c0_con.bin"}) {
    const std::string error(checkWritable(file));
    if (!error.empty()) return error;
  }
  return checkCreatableDirectory(s.webDir);
}

// ---------------------------------------------------------------------------------------------
// Input.
// ---------------------------------------------------------------------------------------------

bool loadSegmentFiles(const Settings& s, ToolInput& input, Console& console) {
  for (const std::string& filename : s.vSegmentFiles) {
    std::vector<Segment2> vSegments;
    if (!readSegmentFile(filename, vSegments)) return false;
    if (vSegments.empty()) {
      console.error(filename + " holds no segments; the segment file is rejected");
      return false;
    }
    console.log("Read " + std::to_string(vSegments.size()) + " segments from " + filename);
    input.vGraphSegments.push_back(std::move(vSegments));
  }
  if (s.bDemoConstraints) {
    const unsigned int kStarVertices(1000), kCrossing(100);
    input.vGraphSegments.emplace_back();
    input.vGraphSegments.emplace_back();
    generateDemoConstraints(kStarVertices, kCrossing, input.vGraphSegments[input.vGraphSegments.size() - 2], input.vGraphSegments.back());
    console.log("Demo constraints: a star polygon of " + std::to_string(kStarVertices) + " segments and " + std::to_string(kCrossing) +
                " random segments of length 0.1 crossing it");
  }
  return true;
}

// The demo runs when there is no input at all, or when --demo asks for it next to --segments.
void loadDemoPoints(const Settings& s, ToolInput& input, Console& console) {
  if (!s.vSegmentFiles.empty() && !s.bDemoGiven) {
    console.log("No point file: only the segment endpoints are triangulated");
    return;
  }
  if (s.numDemoPoints == 0) {
    console.log("Demo input: no points, only the constraint endpoints");
    return;
  }
  generateRandomPoints(static_cast<unsigned int>(s.numDemoPoints), 0.0, 1.0, input.vPoints, 1);
  generateCircle(1000, 0.5, 0.5, 0.45, 0.45, input.vPoints);
  for (size_t i = 0; i < input.vPoints.size(); ++i) input.vPoints[i].setCustomIndex(static_cast<int>(i));
  console.log("Demo input: " + std::to_string(s.numDemoPoints) + " random points in the unit square and 1000 points on a circle");
}

bool loadInput(const Settings& s, ToolInput& input, Console& console) {
  if (!loadSegmentFiles(s, input, console)) return false;
  if (s.vPositional.empty()) {
    loadDemoPoints(s, input, console);
    return true;
  }
  const size_t numGraphsBefore(input.vGraphSegments.size());
  if (!readPointFile(s.vPositional[0], input, console)) return false;
  // Segments of a .poly or .ele go first: they are part of the point file, --segments adds to them.
  std::rotate(input.vGraphSegments.begin(), input.vGraphSegments.begin() + static_cast<long>(numGraphsBefore), input.vGraphSegments.end());
  if (!hasExtension(s.vPositional[0], ".node") && !hasExtension(s.vPositional[0], ".poly") && !hasExtension(s.vPositional[0], ".ele")) {
    console.log("Read " + std::to_string(input.vPoints.size()) + " points from " + s.vPositional[0]);
  }
  return true;
}

// ---------------------------------------------------------------------------------------------
// The steps.
// ---------------------------------------------------------------------------------------------

// "1 point", "2 points".
std::string counted(size_t n, const std::string& noun) { return std::to_string(n) + " " + noun + (n == 1 ? "" : "s"); }

void printCounts(ToolRun& run) {
  std::string line("Vertices: " + std::to_string(run.dt.numberOfPoints()) + ", triangles: " + std::to_string(run.dt.numberOfTriangles()));
  if (!run.vGraphs.empty()) {
    std::vector<ConstraintSegment2*> vAlive, vAll;
    run.dt.getAliveConstraintSegments(vAlive);
    run.dt.getAliveAndDeadConstraintSegments(vAll);
    line += ", constraint graphs: " + std::to_string(run.vGraphs.size()) + ", alive constraint pieces: " + std::to_string(vAlive.size()) +
            ", split segments: " + std::to_string(vAll.size() - vAlive.size());
  }
  run.console.log(line + (run.dt.is2D() ? "" : " (all points are collinear: no triangles)"));
}

void triangulate(ToolRun& run, const Settings& s, int numCPU) {
  const std::vector<Point2>& vPoints(run.input.vPoints);
  run.console.beginStep(s.bSingle ? "Single insertion" : "Bulk insertion");
  if (s.bSingle) {
    for (const Point2& p : vPoints) run.dt.insert(p);
  } else {
    run.dt.insert(vPoints);
  }
  const size_t numMerged(vPoints.size() - run.dt.numberOfPoints());
  run.console.endStep(counted(vPoints.size(), "point") + ", " + counted(numMerged, "duplicate") + " merged, " + counted(size_t(numCPU), "thread"));
  printCounts(run);
}

void insertConstraints(ToolRun& run, const Settings& s) {
  const ConstraintInsertionStrategy cis(s.bConforming ? CIS_CONFORMING_DELAUNAY : CIS_CONSTRAINED_DELAUNAY);
  run.console.beginStep(std::string("Constraint insertion (") + (s.bConforming ? "conforming" : "constrained") + " Delaunay" +
                        (s.bOriented ? ", oriented segments" : "") + ")");
  for (std::vector<Segment2>& vSegments : run.input.vGraphSegments) run.vGraphs.push_back(run.dt.createConstraint(vSegments, cis, s.bOriented || s.bZone));
  run.console.endStep();
  printCounts(run);
}

// Vertices on constraint edges stay: the library refuses to remove segment endpoints, and split
// vertices hold the pieces together. The count is what the triangulation lost.
void removeEveryNth(ToolRun& run, unsigned long n) {
  std::vector<Point2*> vVertices;
  run.dt.getVertexPointers(vVertices);
  const unsigned int numBefore(run.dt.numberOfPoints());
  size_t numKept(0);
  run.console.beginStep("Removal");
  for (size_t i = 0; i < vVertices.size(); i += n) {
    if (run.dt.isConstraint(vVertices[i])) {
      ++numKept;
    } else {
      run.dt.remove(vVertices[i]);
    }
  }
  run.console.endStep("removed " + std::to_string(numBefore - run.dt.numberOfPoints()) + " vertices" +
                      (numKept > 0 ? ", " + std::to_string(numKept) + " constraint vertices kept" : ""));
  printCounts(run);
}

// ---------------------------------------------------------------------------------------------
// Output.
// ---------------------------------------------------------------------------------------------

}  // namespace

bool writeOutput(Console& console, const std::string& name, const std::string& what, const std::function<bool(const std::string&)>& write) {
  const bool bStdout(name == "-");
  const std::string path(bStdout ? (fs::temp_directory_path() / ("zarn2d_" + std::to_string(getpid()) + "_stdout")).string() : name);
  console.beginStep("Writing " + what + (bStdout ? " to standard output" : " " + name));
  std::error_code error;
  console.holdMessages();  // on failure, the library's reason joins the one error line
  bool bOk(write(path) && fs::is_regular_file(path, error));
  if (bOk && bStdout) {
    std::ifstream file(path, std::ios::binary);
    console.data() << file.rdbuf();
    console.data().flush();
    bOk = bool(console.data());
  }
  if (bStdout) fs::remove(path, error);
  const std::string reason(console.releaseMessages(bOk));
  if (!bOk) {
    console.error(what + " " + name + " can't be written" + (reason.empty() ? "" : " (" + reason + ")"));
    return false;
  }
  console.endStep();
  return true;
}

namespace {

const char* const kCollinear = "no triangles: the points are collinear";

bool writeObj(ToolRun& run, const std::string& filename) {
  if (!run.dt.is2D()) {
    run.console.warn(kCollinear);
    return false;
  }
  if (run.pRegion != nullptr) {
    run.dt.writeObj(filename, run.pRegion);
  } else {
    run.dt.writeObj(filename);
  }
  return true;
}

bool writeOutputs(ToolRun& run, const Settings& s) {
  Console& c(run.console);
  std::vector<Point2*> vVertices;
  run.dt.getVertexPointers(vVertices);
  bool bOk(true);
  if (!s.objFile.empty()) bOk &= writeOutput(c, s.objFile, "OBJ file", [&](const std::string& f) { return writeObj(run, f); });
  if (!s.binFile.empty()) bOk &= writeOutput(c, s.binFile, "binary point file", [&](const std::string& f) { return writePointsBIN(f.c_str(), vVertices); });
  if (!s.asciiFile.empty()) bOk &= writeOutput(c, s.asciiFile, "text point file", [&](const std::string& f) { return writePointsASCII(f.c_str(), vVertices); });
  if (!s.webDir.empty()) {
    bOk &= writeOutput(c, s.webDir + "/3d.obj", "web scene", [&](const std::string&) {
      if (!run.dt.is2D()) {
        run.console.warn(kCollinear);
        return false;
      }
      if (run.pRegion != nullptr) {
        run.dt.writeWebScene(s.webDir.c_str(), run.pRegion);
      } else {
        run.dt.writeWebScene(s.webDir.c_str());
      }
      return true;
    });
    if (bOk) c.log("Open " + s.webDir + "/index.html through a web server (python3 -m http.server -d " + s.webDir + "): browsers do not load 3d.obj from file://");
  }
  if (!s.triangleBase.empty()) {
    std::vector<Triangle2*> vTriangles;
    run.getRegionTriangles(vTriangles);
    bOk &= writeTriangleFiles(s.triangleBase, run.dt, vTriangles, run.input, s.bZeroBased ? 0 : 1, c);
  }
  if (!s.constraintBase.empty()) {
    bOk &= writeOutput(c, s.constraintBase + "_c0_con.bin", "constraint pieces", [&](const std::string&) {
      run.dt.getImpl()->getConstraintMgr()->writeConstraintsBIN(s.constraintBase);
      return true;
    });
  }
  return bOk;
}

bool runExtensions(const std::vector<ToolExtension>& vExtensions, std::function<bool(ToolRun&)> ToolExtension::*step, ToolRun& run) {
  for (const ToolExtension& extension : vExtensions) {
    if (extension.*step && !(extension.*step)(run)) return false;
  }
  return true;
}

int runTool(int argc, char** argv, Console& console) {
  Settings s;
  std::vector<OptionGroup> vGroups(coreOptions(s));
  const std::vector<ToolExtension> vExtensions(makeExtensions(s));
  for (const ToolExtension& extension : vExtensions) {
    if (!extension.options.vOptions.empty()) vGroups.push_back(extension.options);
  }
  std::string error(parseOptions(argc, argv, vGroups, s.vPositional));
  if (error.empty()) error = checkCombinations(s);
  if (!error.empty()) {
    console.error(error);
    return 1;
  }
  if (s.bShowHelp || s.bShowVersion) {
    if (s.bShowVersion) console.data() << getZarn2DVersion() << "\n";
    if (s.bShowHelp) printOptionHelp(console.data() << kUsageHead, vGroups);
    if (s.bShowHelp) console.data() << kUsageTail;
    return 0;
  }
  console.setQuiet(s.bQuiet);
  error = s.vPositional.empty() ? checkDemoMemory(s) : "";
  if (error.empty()) error = checkOutputs(s);
  if (!error.empty()) {
    console.error(error);
    return 1;
  }
  console.log(getZarn2DVersion());
  ToolInput input;
  if (!loadInput(s, input, console)) return 1;

  size_t numExpected(input.vPoints.size());
  for (const std::vector<Segment2>& vSegments : input.vGraphSegments) numExpected += 2 * vSegments.size();
  Zarn_2D dt(static_cast<unsigned int>(std::min<size_t>(numExpected, 0xffffffffu)));
  dt.subscribe(MSG_PROGRESS, &console);
  const int numCPU(dt.setNumCPU(static_cast<int>(s.numThreads)));
  ToolRun run(dt, input, console);
  if (!input.vPoints.empty() || input.vGraphSegments.empty()) triangulate(run, s, numCPU);
  if (!input.vGraphSegments.empty()) insertConstraints(run, s);
  if (!runExtensions(vExtensions, &ToolExtension::shape, run)) return 1;
  if (s.removeEvery > 0) removeEveryNth(run, s.removeEvery);
  bool bOk(true);
  if (s.bCheck) {
    console.beginStep("Validity check");
    bOk &= dt.checkValidity(true, s.vPositional.empty() ? "demo" : s.vPositional[0]);
    console.endStep(bOk ? "valid" : "INVALID");
  }
  bOk &= runExtensions(vExtensions, &ToolExtension::report, run);
  bOk &= writeOutputs(run, s);
  bOk &= runExtensions(vExtensions, &ToolExtension::output, run);
  dt.unsubscribe(MSG_PROGRESS, &console);
  return bOk ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc > 1 && std::strcmp(argv[1], "check") == 0) return runCheckCommand(argc - 1, argv + 1);
  if (argc > 1 && std::strcmp(argv[1], "mesh") == 0) return runMeshCommand(argc - 1, argv + 1);
  if (argc > 1 && std::strcmp(argv[1], "cut") == 0) return runCutCommand(argc - 1, argv + 1);
  Console console;
  try {
    return runTool(argc, argv, console);
  } catch (const std::bad_alloc&) {
    console.error("out of memory");
  } catch (const ZarnException&) {
    console.error("internal error: the library stopped on a failed internal check (see ZARN_LOG.txt); please report the input");
  } catch (const std::exception& e) {
    console.error(std::string("error: ") + e.what());
  }
  return 1;
}
