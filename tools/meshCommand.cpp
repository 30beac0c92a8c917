// zarn2d mesh: quality meshing of the inside of a planar straight-line graph read from a .poly
// file or a segment file; writes .node, .ele and .poly files, prints angle figures.
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <limits>
#include <map>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "Dt2.h"
#include "MeshGenParams.h"
#include "Zarn_2D.h"
#include "Zone2.h"
#include "commands.h"
#include "constraintInput.h"

using namespace KORA_ZARN2D;

namespace {

const char* const kMeshUsage =
    "zarn2d mesh - quality triangular mesh of the inside of a polygonal domain\n"
    "\n"
    "Usage:\n"
    "  zarn2d mesh INPUT [-q ANGLE] [-a AREA] [--max-edge L] [--min-edge L] [--grid L[,DEG]]\n"
    "              [--growth G] [--max-steiner N] [--out BASE] [--ps FILE|--svg FILE]\n"
    "\n"
    "INPUT is a .poly file (vertices, segments, holes; the vertices may come from INPUT's .node\n"
    "file when the .poly lists none; regional attributes and area constraints are ignored with a\n"
    "note; '#' starts a comment) or a segment file as zarn2d check reads it (binary types 21/31,\n"
    "or text lines \"x0 y0 x1 y1\"). The segments are inserted as constraints; the domain is what\n"
    "remains after removing the triangles reachable from the convex hull and from each hole point\n"
    "without crossing a segment. The domain is refined by Delaunay refinement; Steiner points on\n"
    "segments split them.\n"
    "\n"
    "Options:\n"
    "  -q ANGLE         smallest angle wanted, in degrees, at most 30 (default 30); small angles\n"
    "                   between two input segments are kept and counted\n"
    "  -a AREA          largest triangle area\n"
    "  --max-edge L     largest edge length\n"
    "  --min-edge L     edges shorter than L are not split further (default 1e-9 of the domain size)\n"
    "  --grid L[,DEG]   fill the inside with vertices on a square grid of cell L turned by DEG\n"
    "  --unify-grid     afterwards turn the diagonals of all cocircular cells one way (the grid\n"
    "                   direction turned by +45 degrees, else lower left to upper right)\n"
    "                   degrees (default 0), with quality triangles towards the border\n"
    "  --growth G       largest area ratio between neighbouring triangles\n"
    "  --max-steiner N  stop after N Steiner points (default 20000000)\n"
    "  --out BASE       output base name (default: INPUT without its extension)\n"
    "  --ps FILE        draw the mesh (domain filled, segments red) as PostScript\n"
    "  --svg FILE       the same drawing as SVG\n"
    "  --help           show this text\n"
    "\n"
    "Output: BASE.1.node (the input vertices first, in input order, then the Steiner points; numbered\n"
    "from the input's first index, 1 for segment files), BASE.1.ele (the domain's triangles,\n"
    "counterclockwise) and BASE.1.poly (the segment pieces; its vertices are in the .node file).\n"
    "Printed: counts, why the refinement stopped, the smallest and largest angle and a histogram of\n"
    "all angles; progress goes to standard error on long runs.\n"
    "\n"
    "Exit status: 0 when every bound holds (small input angles excepted), 1 on bad input or bad\n"
    "options, 2 when the refinement stopped early (Steiner point budget, minimum edge length,\n"
    "numeric limits: the printed reason says which).\n";

struct MeshOptions {
  std::string input, outBase, psFile, svgFile;
  double minAngle = 30.0;
  double maxArea = std::numeric_limits<double>::max();
  double maxEdge = std::numeric_limits<double>::max();
  double minEdge = -1.0;
  double gridLength = 0.0, gridDegrees = 0.0;
  double growth = std::numeric_limits<double>::max();
  double maxSteiner = static_cast<double>(Dt2::kDefaultRefinementVertexBudget);
  bool bUnifyGrid = false;
};

void complain(const std::string& text) { std::cerr << "zarn2d mesh: " << text << std::endl; }

bool parseNumber(const std::string& text, double& value) {
  std::istringstream in(text);
  in >> value;
  return !in.fail() && in.peek() == EOF && std::isfinite(value);
}

// 0: fine; 1: error (reported); 2: --help was shown.
int parseMeshOptions(int argc, char** argv, MeshOptions& opt) {
  const std::map<std::string, double*> mNumbers{{"-q", &opt.minAngle},          {"-a", &opt.maxArea},       {"--max-edge", &opt.maxEdge},
                                                {"--min-edge", &opt.minEdge},    {"--growth", &opt.growth}, {"--max-steiner", &opt.maxSteiner}};
  const std::map<std::string, std::string*> mTexts{{"--out", &opt.outBase}, {"--ps", &opt.psFile}, {"--svg", &opt.svgFile}};
  for (int i = 1; i < argc; ++i) {
    const std::string arg(argv[i]);
    if (arg == "--help" || arg == "-h") {
      std::cout << kMeshUsage;
      return 2;
    }
    if (arg == "--unify-grid") {
      opt.bUnifyGrid = true;
      continue;
    }
    const bool bNumber(mNumbers.count(arg) != 0), bText(mTexts.count(arg) != 0);
    if (bNumber || bText || arg == "--grid") {
      if (i + 1 >= argc) {
        complain(arg + " needs a value (see --help)");
        return 1;
      }
      const std::string value(argv[++i]);
      if (bText) {
        *mTexts.at(arg) = value;
      } else if (arg == "--grid") {
        const size_t comma(value.find(','));
        if (!parseNumber(value.substr(0, comma), opt.gridLength) || !(opt.gridLength > 0.0) ||
            (comma != std::string::npos && !parseNumber(value.substr(comma + 1), opt.gridDegrees))) {
          complain("--grid needs a positive cell length and optionally \",DEGREES\", not " + value);
          return 1;
        }
      } else if (!parseNumber(value, *mNumbers.at(arg)) || *mNumbers.at(arg) <= 0.0) {
        complain(arg + " needs a positive number, not " + value);
        return 1;
      }
    } else if (!arg.empty() && arg[0] == '-') {
      complain("unknown option " + arg + " (see --help)");
      return 1;
    } else if (opt.input.empty()) {
      opt.input = arg;
    } else {
      complain("more than one input file given (see --help)");
      return 1;
    }
  }
  if (opt.input.empty()) {
    complain("no input file given (see --help)");
    return 1;
  }
  if (opt.minAngle > 30.0) {
    complain("-q must be at most 30 degrees");
    return 1;
  }
  if (opt.outBase.empty()) opt.outBase = opt.input.substr(0, opt.input.find_last_of('.') == std::string::npos ? opt.input.size() : opt.input.find_last_of('.'));
  return 0;
}

// ----- Input -----

/// The domain as read: vertices in input order, segments as vertex index pairs, hole points.
struct Pslg {
  std::vector<Point2> vVertices;
  std::vector<std::pair<size_t, size_t>> vSegments;
  std::vector<Point2> vHoles;
  int firstIndex = 1;
};

/// Reads the next line that is not empty after removing a '#' comment; false at the end.
bool nextDataLine(std::istream& in, std::istringstream& line, size_t& lineNumber) {
  std::string text;
  while (std::getline(in, text)) {
    ++lineNumber;
    const size_t hash(text.find('#'));
    if (hash != std::string::npos) text.erase(hash);
    if (text.find_first_not_of(" \t\r") == std::string::npos) continue;
    line.clear();
    line.str(text);
    return true;
  }
  return false;
}

class PolyReader {
 public:
  PolyReader(const std::string& filename, std::istream& in) : filename(filename), in(in) {}
  bool fail(const std::string& what) {
    complain(filename + ", line " + std::to_string(lineNumber) + ": " + what);
    return false;
  }
  bool header(std::vector<double>& vValues, size_t minCount, const std::string& what) {
    std::istringstream line;
    if (!nextDataLine(in, line, lineNumber)) return fail("missing " + what);
    vValues.clear();
    double v;
    while (line >> v) vValues.push_back(v);
    if (vValues.size() < minCount || !line.eof()) return fail("malformed " + what);
    return true;
  }
  bool count(double value, size_t& n) {
    if (value < 0 || value != std::floor(value) || value > 1e9) return fail("bad count");
    n = static_cast<size_t>(value);
    return true;
  }
  /// "<#vertices> <dim> <#attributes> <#markers>" then the vertices (from the .node file too).
  bool vertices(Pslg& pslg) {
    std::vector<double> v;
    size_t n(0);
    if (!header(v, 1, "vertex header") || !count(v[0], n)) return false;
    if (v.size() > 1 && v[1] != 2.0) return fail("only 2D input is supported");
    for (size_t i = 0; i < n; ++i) {
      if (!header(v, 3, "vertex")) return false;
      if (i == 0) pslg.firstIndex = static_cast<int>(v[0]);
      if (!std::isfinite(v[1]) || !std::isfinite(v[2])) return fail("non-finite coordinate");
      pslg.vVertices.emplace_back(v[1], v[2]);
    }
    return true;
  }
  bool rest(Pslg& pslg) {
    std::vector<double> v;
    size_t n(0);
    if (!header(v, 1, "segment header") || !count(v[0], n)) return false;
    for (size_t i = 0; i < n; ++i) {
      if (!header(v, 3, "segment")) return false;
      const double a(v[1] - pslg.firstIndex), b(v[2] - pslg.firstIndex);
      if (a < 0 || b < 0 || a >= pslg.vVertices.size() || b >= pslg.vVertices.size() || a != std::floor(a) || b != std::floor(b)) {
        return fail("segment endpoint is not a vertex index");
      }
      pslg.vSegments.emplace_back(static_cast<size_t>(a), static_cast<size_t>(b));
    }
    std::istringstream line;
    if (!nextDataLine(in, line, lineNumber)) return true;  // no hole section
    line >> v[0];
    if (line.fail() || !count(v[0], n)) return fail("malformed hole header");
    for (size_t i = 0; i < n; ++i) {
      if (!header(v, 3, "hole")) return false;
      pslg.vHoles.emplace_back(v[1], v[2]);
    }
    if (nextDataLine(in, line, lineNumber)) std::cout << "Note: regional attributes and area constraints are ignored" << std::endl;
    return true;
  }

 private:
  std::string filename;
  std::istream& in;
  size_t lineNumber = 0;
};

bool readPoly(const std::string& filename, Pslg& pslg) {
  std::ifstream in(filename);
  if (!in) {
    complain("cannot read " + filename);
    return false;
  }
  PolyReader reader(filename, in);
  if (!reader.vertices(pslg)) return false;
  if (pslg.vVertices.empty()) {
    const std::string nodeFile(filename.substr(0, filename.size() - 5) + ".node");
    std::ifstream nodeIn(nodeFile);
    PolyReader nodeReader(nodeFile, nodeIn);
    if (!nodeIn || !nodeReader.vertices(pslg)) {
      complain("the .poly file lists no vertices and " + nodeFile + " cannot be read");
      return false;
    }
  }
  return reader.rest(pslg);
}

bool readInput(const MeshOptions& opt, Pslg& pslg) {
  const bool bPoly(opt.input.size() > 5 && opt.input.compare(opt.input.size() - 5, 5, ".poly") == 0);
  if (bPoly) {
    if (!readPoly(opt.input, pslg)) return false;
  } else {
    std::vector<Segment2> vSegments;
    if (!readSegmentFile(opt.input, vSegments, "zarn2d mesh: ")) return false;
    for (const Segment2& s : vSegments) {
      pslg.vSegments.emplace_back(pslg.vVertices.size(), pslg.vVertices.size() + 1);
      pslg.vVertices.push_back(s.getSrc());
      pslg.vVertices.push_back(s.getTrg());
    }
  }
  if (pslg.vSegments.empty()) {
    complain(opt.input + " holds no segments: there is no domain to mesh");
    return false;
  }
  return true;
}

// ----- Meshing -----

/// Progress on standard error, once a run has taken more than a second.
class ProgressLine : public MsgBase {
 public:
  void update(MsgType, const std::string& text, double progress) override {
    const int percent(static_cast<int>(100.0 * progress));
    if (percent == lastPercent || std::chrono::steady_clock::now() - start < std::chrono::seconds(1)) return;
    lastPercent = percent;
    std::cerr << "\r" << text << " " << percent << "%" << (progress >= 1.0 ? "\n" : "") << std::flush;
  }

 private:
  std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();
  int lastPercent = -1;
};

/// The triangles inside the segments: all but those reachable from the hull and from the hole
/// points without crossing a segment.
std::vector<Triangle2*> domainTriangles(Zarn_2D& dt, const std::vector<Point2>& vHoles) {
  std::vector<Triangle2*> vAll, vEaten;
  dt.getTrianglePointers(vAll);
  std::map<Triangle2*, bool> mEaten;
  for (Triangle2* pT : vAll) {
    for (int i = 0; i < 3; ++i) {
      if (pT->getOppositeTriangle(i) == nullptr && !dt.isConstraint(pT, i) && !mEaten[pT]) {
        mEaten[pT] = true;
        vEaten.push_back(pT);
      }
    }
  }
  for (const Point2& hole : vHoles) {
    Triangle2* pT(dt.locate(hole));
    if (pT != nullptr && !mEaten[pT]) {
      mEaten[pT] = true;
      vEaten.push_back(pT);
    }
  }
  for (size_t k = 0; k < vEaten.size(); ++k) {
    for (int i = 0; i < 3; ++i) {
      Triangle2* pN(vEaten[k]->getOppositeTriangle(i));
      if (pN != nullptr && !dt.isConstraint(vEaten[k], i) && !mEaten[pN]) {
        mEaten[pN] = true;
        vEaten.push_back(pN);
      }
    }
  }
  std::vector<Triangle2*> vDomain;
  for (Triangle2* pT : vAll) {
    if (!mEaten[pT]) vDomain.push_back(pT);
  }
  return vDomain;
}

double domainSize(const std::vector<Point2>& vVertices) {
  double size(0.0);
  for (const Point2& p : vVertices) size = std::max(size, std::max(std::fabs(p.x()), std::fabs(p.y())));
  return size;
}

// ----- Output -----

void printAngles(const std::vector<Triangle2*>& vZone) {
  const double kDegrees(180.0 / 3.14159265358979323846);
  double minAngle(180.0), maxAngle(0.0);
  size_t aHistogram[18] = {0};
  for (const Triangle2* pT : vZone) {
    for (int i = 0; i < 3; ++i) {
      const Point2& o(*pT->getCorner(i));
      const Point2& a(*pT->getCorner(incIndexBy1(i)));
      const Point2& b(*pT->getCorner(incIndexBy2(i)));
      const double ax(a.x() - o.x()), ay(a.y() - o.y()), bx(b.x() - o.x()), by(b.y() - o.y());
      const double angle(std::atan2(std::fabs(ax * by - ay * bx), ax * bx + ay * by) * kDegrees);
      minAngle = std::min(minAngle, angle);
      maxAngle = std::max(maxAngle, angle);
      ++aHistogram[std::min(17, static_cast<int>(angle / 10.0))];
    }
  }
  std::cout << std::fixed << std::setprecision(3) << "Smallest angle: " << minAngle << ", largest angle: " << maxAngle << std::endl;
  std::cout << "Angle histogram (degrees: angles):" << std::endl;
  for (int i = 0; i < 18; ++i) {
    std::cout << "  " << std::setw(3) << 10 * i << " - " << std::setw(3) << 10 * (i + 1) << ": " << aHistogram[i] << (i % 2 == 1 ? "\n" : "");
  }
  std::cout.unsetf(std::ios::fixed);
}

/// Input vertices first (in input order), then the other corners of the zone.
std::vector<Point2*> outputVertices(const std::vector<Point2*>& vInputHandles, const std::vector<Triangle2*>& vZone,
                                    std::map<const Point2*, size_t>& mIndex) {
  std::vector<Point2*> vOut;
  const auto add = [&](Point2* p) {
    if (p != nullptr && mIndex.emplace(p, vOut.size()).second) vOut.push_back(p);
  };
  for (Point2* p : vInputHandles) add(p);
  for (Triangle2* pT : vZone) {
    for (int i = 0; i < 3; ++i) add(pT->getCorner(i));
  }
  return vOut;
}

bool writeMeshFiles(Zarn_2D& dt, const MeshOptions& opt, const Pslg& pslg, const std::vector<Point2*>& vInputHandles,
                    const std::vector<Triangle2*>& vZone) {
  std::map<const Point2*, size_t> mIndex;
  const std::vector<Point2*> vVertices(outputVertices(vInputHandles, vZone, mIndex));
  const int first(pslg.firstIndex);
  std::ofstream node(opt.outBase + ".1.node"), ele(opt.outBase + ".1.ele"), poly(opt.outBase + ".1.poly");
  node << std::setprecision(17) << vVertices.size() << " 2 0 0\n";
  for (size_t i = 0; i < vVertices.size(); ++i) node << i + first << " " << vVertices[i]->x() << " " << vVertices[i]->y() << "\n";
  ele << vZone.size() << " 3 0\n";
  for (size_t i = 0; i < vZone.size(); ++i) {
    ele << i + first;
    for (int k = 0; k < 3; ++k) ele << " " << mIndex.at(vZone[i]->getCorner(k)) + first;
    ele << "\n";
  }
  std::vector<ConstraintSegment2*> vPieces;
  dt.getAliveConstraintSegments(vPieces);
  poly << "0 2 0 0\n" << vPieces.size() << " 0\n";
  size_t numWritten(0);
  for (ConstraintSegment2* pCSeg : vPieces) {
    const auto a(mIndex.find(pCSeg->getSrc())), b(mIndex.find(pCSeg->getTrg()));
    if (a == mIndex.end() || b == mIndex.end()) continue;  // a piece outside the domain without a written vertex
    poly << ++numWritten - 1 + first << " " << a->second + first << " " << b->second + first << "\n";
  }
  poly << pslg.vHoles.size() << "\n";
  for (size_t i = 0; i < pslg.vHoles.size(); ++i) poly << i + first << " " << std::setprecision(17) << pslg.vHoles[i].x() << " " << pslg.vHoles[i].y() << "\n";
  if (!node || !ele || !poly) {
    complain("cannot write the output files " + opt.outBase + ".1.*");
    return false;
  }
  std::cout << "Wrote " << opt.outBase << ".1.node, .1.ele and .1.poly (" << vVertices.size() << " vertices)" << std::endl;
  if (numWritten != vPieces.size()) {
    std::cout << "Note: " << vPieces.size() - numWritten << " segment pieces outside the domain are not written" << std::endl;
  }
  return true;
}

void drawMesh(Zarn_2D& dt, const std::vector<Triangle2*>& vZone, const std::string& filename) {
  if (filename.empty()) return;
  Visualizer2 vis;
  std::vector<Triangle2*> vAll;
  dt.getTrianglePointers(vAll);
  vis.addTriangles(vAll, Color(CGREY, 0.1), false);
  vis.addTriangles(vZone, Color(CDARKBLUE, 0.2), true);
  std::vector<ConstraintSegment2*> vPieces;
  dt.getAliveConstraintSegments(vPieces);
  for (const ConstraintSegment2* pCSeg : vPieces) vis.addSegment(*pCSeg->getSrc(), *pCSeg->getTrg(), Color(CRED, 0.6));
  vis.write(filename);
}

}  // namespace

int runMeshCommand(int argc, char** argv) {
  MeshOptions opt;
  const int parseResult(parseMeshOptions(argc, argv, opt));
  if (parseResult != 0) return parseResult == 2 ? 0 : 1;
  Pslg pslg;
  if (!readInput(opt, pslg)) return 1;
  std::cout << "Read " << pslg.vVertices.size() << " vertices, " << pslg.vSegments.size() << " segments, " << pslg.vHoles.size()
            << " holes from " << opt.input << std::endl;

  Zarn_2D dt(static_cast<unsigned int>(pslg.vVertices.size()));
  std::vector<Point2*> vHandles;
  dt.insert(pslg.vVertices, vHandles);
  std::vector<Segment2> vSegments;
  for (const std::pair<size_t, size_t>& s : pslg.vSegments) vSegments.emplace_back(pslg.vVertices[s.first], pslg.vVertices[s.second]);
  if (!dt.is2D() || dt.createConstraint(vSegments, CIS_CONSTRAINED_DELAUNAY, false) == nullptr) {
    complain("the input has no area (fewer than three non-collinear vertices)");
    return 1;
  }
  std::vector<Triangle2*> vDomain(domainTriangles(dt, pslg.vHoles));
  Zone2* pZone(vDomain.empty() ? nullptr : dt.createZone(vDomain, false));
  if (pZone == nullptr) {
    complain("the segments enclose no area: nothing to mesh");
    return 1;
  }

  MeshGenParams params(pZone);
  params.minAngleDegree = opt.minAngle;
  params.maxTriangleArea = opt.maxArea;
  params.maxEdgeLength = opt.maxEdge;
  params.minEdgeLen = opt.minEdge > 0.0 ? opt.minEdge : 1e-9 * domainSize(pslg.vVertices);
  params.growthLimit = opt.growth;
  params.gridLength = opt.gridLength;
  params.gridVector = Vector2(std::cos(opt.gridDegrees * 3.14159265358979323846 / 180.0), std::sin(opt.gridDegrees * 3.14159265358979323846 / 180.0));
  dt.getImpl()->setRefinementVertexBudget(static_cast<size_t>(opt.maxSteiner));
  ProgressLine progress;
  dt.subscribe(MSG_PROGRESS, &progress);
  timer("[quiet] mesh");
  dt.refineAdvanced(&params);
  const double seconds(timer("[quiet] mesh"));
  dt.unsubscribe(MSG_PROGRESS, &progress);
  const RefinementReport& report(dt.getImpl()->getRefinementReport());
  if (opt.bUnifyGrid) {
    std::cout << (pZone->unifyGrid(0.0) ? "Cell diagonals unified\n" : "Cell diagonals partly unified (constraint edges in the way)\n");
  }

  std::vector<Triangle2*> vZone;
  pZone->getTriangles(vZone);
  std::cout << "Refined in " << std::setprecision(3) << seconds << " s: " << report.describe() << std::endl;
  std::cout << "Vertices: " << dt.numberOfPoints() << ", triangles in the domain: " << vZone.size() << std::endl;
  printAngles(vZone);
  bool bOk(writeMeshFiles(dt, opt, pslg, vHandles, vZone));
  drawMesh(dt, vZone, opt.psFile);
  drawMesh(dt, vZone, opt.svgFile);
  if (!bOk) return 1;
  return report.isComplete() ? 0 : 2;
}
