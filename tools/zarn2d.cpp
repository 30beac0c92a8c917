// zarn2d: the command-line tool. Triangulates a point set (from a file or the built-in demo),
// prints counts and timings, checks, and writes the result in the library's formats.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <string>
#include <vector>

#include "Zarn_2D.h"
#include "commands.h"

using namespace KORA_ZARN2D;

namespace {

const char* const kUsage =
    "zarn2d - exact two-dimensional Delaunay triangulation\n"
    "\n"
    "Usage:\n"
    "  zarn2d [options] [POINTFILE]     triangulate the points of POINTFILE, or the built-in demo\n"
    "  zarn2d check SEGMENTFILE [...]   list the illegal (intersecting) segments of a segment set\n"
    "                                   (zarn2d check --help for its options)\n"
    "\n"
    "POINTFILE is a binary point file (types 20 and 30) or a text file of \"x y\" pairs.\n"
    "Without POINTFILE the demo input is used: random points in the unit square plus a circle.\n"
    "\n"
    "Options:\n"
    "  --demo N             number of random demo points (default 100000)\n"
    "  --threads N          threads for bulk insertion (0: all hardware threads; default 1)\n"
    "  --single             insert the points one by one instead of in bulk\n"
    "  --remove N           remove every N-th vertex after the triangulation\n"
    "  --check              run the exact validity check (topology, orientation, Delaunay property)\n"
    "  --stats              print statistics (area, edge lengths, angles)\n"
    "  --obj FILE           write the triangles as a Wavefront OBJ file\n"
    "  --web DIR            write a web page with a 3D viewer of the triangulation into DIR\n"
    "  --ps FILE            draw the triangulation as PostScript\n"
    "  --svg FILE           draw the triangulation as SVG\n"
    "  --write-bin FILE     write the vertices as a binary point file\n"
    "  --write-ascii FILE   write the vertices as a text point file\n"
    "  --help               show this text\n";

struct Options {
  std::string pointFile;
  unsigned int numDemoPoints = 100000;
  int numThreads = 1;
  bool bSingle = false;
  unsigned int removeEvery = 0;
  bool bCheck = false;
  bool bStats = false;
  std::string objFile, webDir, psFile, svgFile, binFile, asciiFile;
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
      std::cout << kUsage;
      return 2;
    } else if (arg == "--single") {
      opt.bSingle = true;
    } else if (arg == "--check") {
      opt.bCheck = true;
    } else if (arg == "--stats") {
      opt.bStats = true;
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
               arg == "--write-ascii") {
      if (!needValue()) return 1;
      std::string& target(arg == "--obj" ? opt.objFile : arg == "--web" ? opt.webDir : arg == "--ps" ? opt.psFile
                          : arg == "--svg" ? opt.svgFile : arg == "--write-bin" ? opt.binFile : opt.asciiFile);
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
  return 0;
}

// A binary point file starts with the 32-bit type 20 or 30; anything else is read as text.
bool isBinaryPointFile(const std::string& filename) {
  std::ifstream file(filename, std::ios::binary);
  unsigned char aHeader[4] = {0, 0, 0, 0};
  if (!file.read(reinterpret_cast<char*>(aHeader), 4)) return false;
  const int32_t type(static_cast<int32_t>(aHeader[0] | (aHeader[1] << 8) | (aHeader[2] << 16) | (static_cast<uint32_t>(aHeader[3]) << 24)));
  return type == 20 || type == 30;
}

bool loadPoints(const Options& opt, std::vector<Point2>& vPoints) {
  if (opt.pointFile.empty()) {
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

void removeEveryNth(Zarn_2D& dt, unsigned int n) {
  std::vector<Point2*> vVertices;
  dt.getVertexPointers(vVertices);
  timer("[quiet] removal");
  size_t numRemoved(0);
  for (size_t i = 0; i < vVertices.size(); i += n, ++numRemoved) dt.remove(vVertices[i]);
  std::cout << "Removed " << numRemoved << " vertices: " << timer("[quiet] removal") << " s" << std::endl;
}

bool writeOutputs(Zarn_2D& dt, const Options& opt) {
  bool bOk(true);
  if (!opt.objFile.empty()) dt.writeObj(opt.objFile);
  if (!opt.webDir.empty()) dt.writeWebScene(opt.webDir.c_str());
  if (!opt.psFile.empty()) dt.show(opt.psFile, true);
  if (!opt.svgFile.empty()) dt.show(opt.svgFile, true);
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
  Options opt;
  const int parseResult(parseOptions(argc, argv, opt));
  if (parseResult != 0) return parseResult == 2 ? 0 : 1;
  std::cout << getZarn2DVersion() << std::endl;
  std::vector<Point2> vPoints;
  if (!loadPoints(opt, vPoints)) return 1;

  Zarn_2D dt(static_cast<unsigned int>(vPoints.size()));
  const int numCPU(dt.setNumCPU(opt.numThreads));
  triangulate(dt, opt, numCPU, vPoints);
  std::cout << "Vertices: " << dt.numberOfPoints() << ", triangles: " << dt.numberOfTriangles()
            << (dt.is2D() ? "" : " (all points are collinear: no triangles)") << std::endl;
  if (opt.removeEvery > 0) {
    removeEveryNth(dt, opt.removeEvery);
    std::cout << "Vertices: " << dt.numberOfPoints() << ", triangles: " << dt.numberOfTriangles() << std::endl;
  }
  bool bOk(true);
  if (opt.bCheck) bOk &= dt.checkValidity(true, opt.pointFile.empty() ? "demo" : opt.pointFile);
  if (opt.bStats) dt.statistics(opt.pointFile.empty() ? "demo" : opt.pointFile);
  bOk &= writeOutputs(dt, opt);
  return bOk ? 0 : 1;
}
