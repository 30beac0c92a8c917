// zarn2d: the command-line tool. Triangulates a point set (from a file or the built-in demo),
// inserts constraint segments, prints counts and timings, checks, and writes the result in the
// library's formats.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <string>
#include <utility>
#include <vector>

#include "ConstraintMgr.h"
#include "Dt2.h"
#include "Zarn_2D.h"
#include "commands.h"
#include "constraintInput.h"
#include "zoneOption.h"

using namespace KORA_ZARN2D;

namespace {

const char* const kUsage =
    "zarn2d - exact two-dimensional Delaunay triangulation\n"
    "\n"
    "Usage:\n"
    "  zarn2d [options] [POINTFILE]     triangulate the points of POINTFILE, or the built-in demo\n"
    "  zarn2d check SEGMENTFILE [...]   list the illegal (intersecting) segments of a segment set\n"
    "                                   (zarn2d check --help for its options)\n"
    "  zarn2d cut MESH SEGMENTFILE [...]  import a triangle mesh and cut a zone out of it\n"
    "                                   (zarn2d cut --help for its options)\n"
    "\n"
    "POINTFILE is a binary point file (types 20 and 30) or a text file of \"x y\" pairs.\n"
    "Without POINTFILE the demo input is used: random points in the unit square plus a circle.\n"
    "\n"
    "Options:\n"
    "  --demo N             number of random demo points (default 100000); --demo 0 together with\n"
    "                       --segments or --demo-constraints drops the demo points and the circle:\n"
    "                       only the segment endpoints are triangulated\n"
    "  --threads N          threads for bulk insertion (0: all hardware threads; default 1)\n"
    "  --single             insert the points one by one instead of in bulk\n"
    "  --remove N           remove every N-th vertex after the triangulation and the constraints;\n"
    "                       vertices on constraint edges are kept\n"
    "  --check              run the exact validity check (topology, orientation, Delaunay property;\n"
    "                       every constraint piece must be an edge and is exempt from the Delaunay test)\n"
    "  --stats              print statistics (area, edge lengths, angles)\n"
    "  --obj FILE           write the triangles as a Wavefront OBJ file\n"
    "  --web DIR            write a web page with a 3D viewer of the triangulation into DIR\n"
    "  --ps FILE            draw the triangulation as PostScript, constraint pieces red on top\n"
    "  --svg FILE           draw the triangulation as SVG, constraint pieces red on top\n"
    "  --write-bin FILE     write the vertices as a binary point file\n"
    "  --write-ascii FILE   write the vertices as a text point file\n"
    "  --help               show this text\n"
    "\n"
    "Constraints (inserted after the points, one constraint graph per file, in the order given):\n"
    "  --segments FILE      insert the segments of FILE as one constraint graph; repeatable. FILE is a\n"
    "                       binary segment file (types 21 and 31) or a text file with one segment\n"
    "                       \"x0 y0 x1 y1\" per line; blank lines and lines starting with '#' are\n"
    "                       skipped. A text line that is not exactly four numbers, or a file without\n"
    "                       segments, is an error (exit status 1) and nothing is triangulated.\n"
    "  --demo-constraints   insert two demo graphs: a closed star polygon of 1000 vertices at the\n"
    "                       radius 0.35+0.05*sin(20t) around (0.5, 0.5), and 100 segments of length\n"
    "                       0.1 that cross it (the same segments on every run)\n"
    "  --conforming         conforming Delaunay insertion: segments are split by extra vertices until\n"
    "                       every piece is a Delaunay edge (default: constrained Delaunay, no extra\n"
    "                       vertices except where constraints cross)\n"
    "  --oriented           keep the direction of every segment (source to target) in its graph\n"
    "  --write-constraints BASE\n"
    "                       write the alive pieces of graph i (from 0) as the binary segment file\n"
    "                       BASE_c<i>_con.bin\n"
    "After the constraint step (endpoint and segment insertion, timed together) the tool prints the\n"
    "counts of vertices, triangles, constraint graphs, alive constraint pieces (the constraint edges\n"
    "now in the triangulation) and split segments (segments that were replaced by two pieces: where\n"
    "constraints cross, where a vertex lies on them, and, with --conforming, to make pieces Delaunay).\n"
    "--conforming, --oriented and --write-constraints need --segments or --demo-constraints.\n";

struct Options {
  std::string pointFile;
  unsigned int numDemoPoints = 100000;
  int numThreads = 1;
  bool bSingle = false;
  unsigned int removeEvery = 0;
  bool bCheck = false;
  bool bStats = false;
  std::string objFile, webDir, psFile, svgFile, binFile, asciiFile;
  std::vector<std::string> vSegmentFiles;
  bool bDemoConstraints = false;
  bool bConforming = false;
  bool bOriented = false;
  std::string constraintBase;
  ZoneRequest zone;

  bool hasConstraints() const { return !vSegmentFiles.empty() || bDemoConstraints; }
};

bool parseUnsigned(const char* text, unsigned int& value) {
  char* end(nullptr);
  const long parsed(std::strtol(text, &end, 10));
  if (end == text || *end != '\0' || parsed < 0) return false;
  value = static_cast<unsigned int>(parsed);
  return true;
}

// Returns 0 when the options are fine, 1 on an error (message printed), 2 after --help.
int parseOptions(int argc, char** argv, Options& opt) {
  for (int i = 1; i < argc; ++i) {
    const std::string arg(argv[i]);
    const bool bHasValue(i + 1 < argc);
    auto needValue = [&]() {
      if (!bHasValue) std::cerr << "zarn2d: " << arg << " needs a value (see --help)" << std::endl;
      return bHasValue;
    };
    if (arg == "--help" || arg == "-h") {
      std::cout << kUsage << kZoneUsage;
      return 2;
    } else if (arg == "--single") {
      opt.bSingle = true;
    } else if (arg == "--check") {
      opt.bCheck = true;
    } else if (arg == "--stats") {
      opt.bStats = true;
    } else if (arg == "--demo-constraints") {
      opt.bDemoConstraints = true;
    } else if (arg == "--conforming") {
      opt.bConforming = true;
    } else if (arg == "--oriented") {
      opt.bOriented = true;
    } else if (arg == "--zone") {
      if (!needValue() || !parseZoneOption(argv[++i], opt.zone)) return 1;
    } else if (arg == "--segments") {
      if (!needValue()) return 1;
      opt.vSegmentFiles.push_back(argv[++i]);
    } else if (arg == "--demo" || arg == "--threads" || arg == "--remove") {
      unsigned int value(0);
      if (!needValue()) return 1;
      if (!parseUnsigned(argv[++i], value)) {
        std::cerr << "zarn2d: " << arg << " needs a non-negative integer, not \"" << argv[i] << "\"" << std::endl;
        return 1;
      }
      if (arg == "--demo") opt.numDemoPoints = value;
      if (arg == "--threads") opt.numThreads = static_cast<int>(value);
      if (arg == "--remove") opt.removeEvery = value;
    } else if (arg == "--obj" || arg == "--web" || arg == "--ps" || arg == "--svg" || arg == "--write-bin" ||
               arg == "--write-ascii" || arg == "--write-constraints") {
      if (!needValue()) return 1;
      std::string& target(arg == "--obj" ? opt.objFile : arg == "--web" ? opt.webDir : arg == "--ps" ? opt.psFile
                          : arg == "--svg" ? opt.svgFile : arg == "--write-bin" ? opt.binFile
                          : arg == "--write-ascii" ? opt.asciiFile : opt.constraintBase);
      target = argv[++i];
    } else if (!arg.empty() && arg[0] == '-') {
      std::cerr << "zarn2d: unknown option " << arg << " (see --help)" << std::endl;
      return 1;
    } else if (opt.pointFile.empty()) {
      opt.pointFile = arg;
    } else {
      std::cerr << "zarn2d: more than one point file given (see --help)" << std::endl;
      return 1;
    }
  }
  if (!isZoneRequestUsable(opt.zone, opt.hasConstraints())) return 1;
  if (opt.zone.kind != ZoneRequest::NONE && opt.hasConstraints()) opt.bOriented = true;
  if (!opt.hasConstraints()) {
    const char* const pUnused(opt.bConforming ? "--conforming" : opt.bOriented ? "--oriented"
                              : !opt.constraintBase.empty() ? "--write-constraints" : nullptr);
    if (pUnused != nullptr) {
      std::cerr << "zarn2d: " << pUnused << " needs --segments or --demo-constraints (see --help)" << std::endl;
      return 1;
    }
  }
  return 0;
}

// A binary point file starts with the 32-bit type 20 or 30; anything else is read as text.
bool isBinaryPointFile(const std::string& filename) {
  const int32_t type(readFileType(filename));
  return type == 20 || type == 30;
}

bool loadPoints(const Options& opt, std::vector<Point2>& vPoints) {
  if (opt.pointFile.empty()) {
    if (opt.numDemoPoints == 0 && opt.hasConstraints()) {
      std::cout << "Demo input: no points, only the constraint endpoints" << std::endl;
      return true;
    }
    generateRandomPoints(opt.numDemoPoints, 0.0, 1.0, vPoints, 1);
    generateCircle(1000, 0.5, 0.5, 0.45, 0.45, vPoints);
    std::cout << "Demo input: " << opt.numDemoPoints << " random points in the unit square and 1000 points on a circle" << std::endl;
    return true;
  }
  const bool bOk(isBinaryPointFile(opt.pointFile) ? readPointsBIN(opt.pointFile.c_str(), vPoints)
                                                  : readXY(opt.pointFile.c_str(), vPoints));
  if (bOk) std::cout << "Read " << vPoints.size() << " points from " << opt.pointFile << std::endl;
  return bOk;
}

// One entry per constraint graph: the segment files in the order given, then the demo graphs.
bool loadConstraints(const Options& opt, std::vector<std::vector<Segment2>>& vGraphSegments) {
  for (const std::string& filename : opt.vSegmentFiles) {
    std::vector<Segment2> vSegments;
    if (!readSegmentFile(filename, vSegments)) return false;
    if (vSegments.empty()) {
      std::cerr << "zarn2d: " << filename << " holds no segments; the segment file is rejected" << std::endl;
      return false;
    }
    std::cout << "Read " << vSegments.size() << " segments from " << filename << std::endl;
    vGraphSegments.push_back(std::move(vSegments));
  }
  if (opt.bDemoConstraints) {
    const unsigned int kStarVertices(1000), kCrossing(100);
    vGraphSegments.emplace_back();
    vGraphSegments.emplace_back();
    generateDemoConstraints(kStarVertices, kCrossing, vGraphSegments[vGraphSegments.size() - 2], vGraphSegments.back());
    std::cout << "Demo constraints: a star polygon of " << kStarVertices << " segments and " << kCrossing
              << " random segments of length 0.1 crossing it" << std::endl;
  }
  return true;
}

void printCounts(Zarn_2D& dt, bool bWithConstraints) {
  std::cout << "Vertices: " << dt.numberOfPoints() << ", triangles: " << dt.numberOfTriangles();
  if (bWithConstraints) {
    std::vector<ConstraintSegment2*> vAlive, vAll;
    dt.getAliveConstraintSegments(vAlive);
    dt.getAliveAndDeadConstraintSegments(vAll);
    std::cout << ", constraint graphs: " << dt.getImpl()->getConstraintMgr()->getGraphs().size()
              << ", alive constraint pieces: " << vAlive.size() << ", split segments: " << vAll.size() - vAlive.size();
  }
  std::cout << (dt.is2D() ? "" : " (all points are collinear: no triangles)") << std::endl;
}

void triangulate(Zarn_2D& dt, const Options& opt, int numCPU, const std::vector<Point2>& vPoints) {
  timer("[quiet] triangulation");
  if (opt.bSingle) {
    for (const Point2& p : vPoints) dt.insert(p);
  } else {
    dt.insert(vPoints);
  }
  const double elapsed(timer("[quiet] triangulation"));
  std::cout << (opt.bSingle ? "Single" : "Bulk") << " insertion (" << numCPU << " thread(s)): " << elapsed
            << " s" << std::endl;
}

void insertConstraints(Zarn_2D& dt, const Options& opt, std::vector<std::vector<Segment2>>& vGraphSegments) {
  const ConstraintInsertionStrategy cis(opt.bConforming ? CIS_CONFORMING_DELAUNAY : CIS_CONSTRAINED_DELAUNAY);
  timer("[quiet] constraints");
  for (std::vector<Segment2>& vSegments : vGraphSegments) dt.createConstraint(vSegments, cis, opt.bOriented);
  const double elapsed(timer("[quiet] constraints"));
  std::cout << "Constraint insertion (" << (opt.bConforming ? "conforming" : "constrained") << " Delaunay"
            << (opt.bOriented ? ", oriented segments" : "") << "): " << elapsed << " s" << std::endl;
}

// Vertices on constraint edges stay: the library refuses to remove segment endpoints (with a
// warning each), and split vertices hold the pieces together.
void removeEveryNth(Zarn_2D& dt, unsigned int n) {
  std::vector<Point2*> vVertices;
  dt.getVertexPointers(vVertices);
  timer("[quiet] removal");
  size_t numRemoved(0), numKept(0);
  for (size_t i = 0; i < vVertices.size(); i += n) {
    if (dt.isConstraint(vVertices[i])) {
      ++numKept;
    } else {
      dt.remove(vVertices[i]);
      ++numRemoved;
    }
  }
  const double elapsed(timer("[quiet] removal"));
  std::cout << "Removed " << numRemoved << " vertices";
  if (numKept > 0) std::cout << " (" << numKept << " constraint vertices kept)";
  std::cout << ": " << elapsed << " s" << std::endl;
}

// The triangles, and the alive constraint pieces in a colour of their own on top.
bool draw(Zarn_2D& dt, const std::string& filename) {
  Visualizer2 vis;
  dt.show(&vis, false);
  std::vector<ConstraintSegment2*> vPieces;
  dt.getAliveConstraintSegments(vPieces);
  const Color constraintColor(CRED, 1.0);
  for (const ConstraintSegment2* pCSeg : vPieces) vis.addSegment(*pCSeg->getSrc(), *pCSeg->getTrg(), constraintColor);
  return vis.write(filename);
}

bool writeOutputs(Zarn_2D& dt, const Options& opt, Zone2* pZone) {
  bool bOk(true);
  if (!opt.objFile.empty()) dt.writeObj(opt.objFile, pZone);
  if (!opt.webDir.empty()) dt.writeWebScene(opt.webDir.c_str(), pZone);
  if (!opt.psFile.empty()) bOk &= pZone != nullptr ? drawZone(pZone, opt.psFile) : draw(dt, opt.psFile);
  if (!opt.svgFile.empty()) bOk &= pZone != nullptr ? drawZone(pZone, opt.svgFile) : draw(dt, opt.svgFile);
  if (!opt.constraintBase.empty()) dt.getImpl()->getConstraintMgr()->writeConstraintsBIN(opt.constraintBase);
  if (!opt.binFile.empty() || !opt.asciiFile.empty()) {
    std::vector<Point2*> vVertices;
    dt.getVertexPointers(vVertices);
    if (!opt.binFile.empty()) bOk &= writePointsBIN(opt.binFile.c_str(), vVertices);
    if (!opt.asciiFile.empty()) bOk &= writePointsASCII(opt.asciiFile.c_str(), vVertices);
  }
  return bOk;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc > 1 && std::strcmp(argv[1], "check") == 0) return runCheckCommand(argc - 1, argv + 1);
  if (argc > 1 && std::strcmp(argv[1], "cut") == 0) return runCutCommand(argc - 1, argv + 1);
  Options opt;
  const int parseResult(parseOptions(argc, argv, opt));
  if (parseResult != 0) return parseResult == 2 ? 0 : 1;
  std::cout << getZarn2DVersion() << std::endl;
  std::vector<Point2> vPoints;
  std::vector<std::vector<Segment2>> vGraphSegments;
  if (!loadConstraints(opt, vGraphSegments) || !loadPoints(opt, vPoints)) return 1;

  size_t numExpected(vPoints.size());
  for (const std::vector<Segment2>& vSegments : vGraphSegments) numExpected += 2 * vSegments.size();
  Zarn_2D dt(static_cast<unsigned int>(numExpected));
  const int numCPU(dt.setNumCPU(opt.numThreads));
  if (!vPoints.empty() || !opt.hasConstraints()) {
    triangulate(dt, opt, numCPU, vPoints);
    printCounts(dt, false);
  }
  if (opt.hasConstraints()) {
    insertConstraints(dt, opt, vGraphSegments);
    printCounts(dt, true);
  }
  if (opt.removeEvery > 0) {
    removeEveryNth(dt, opt.removeEvery);
    printCounts(dt, opt.hasConstraints());
  }
  Zone2* pZone(opt.zone.kind == ZoneRequest::NONE ? nullptr : createRequestedZone(dt, opt.zone));
  bool bOk(opt.zone.kind == ZoneRequest::NONE || pZone != nullptr);
  if (opt.bCheck) bOk &= dt.checkValidity(true, opt.pointFile.empty() ? "demo" : opt.pointFile);
  if (opt.bStats) dt.statistics(opt.pointFile.empty() ? "demo" : opt.pointFile);
  bOk &= writeOutputs(dt, opt, pZone);
  return bOk ? 0 : 1;
}
