// zarn2d cut: imports a triangle mesh (OBJ, or Triangle's .node/.ele), cuts it with a polygon or
// along polylines, and writes the zone inside the polygon (OBJ, .node/.ele, pictures).
#include <fstream>
#include <iomanip>
#include <iostream>
#include <limits>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "Zarn_2D.h"
#include "commands.h"
#include "constraintInput.h"
#include "console.h"
#include "toolOptions.h"
#include "webExport.h"

using namespace KORA_ZARN2D;

namespace {

const char* const kCutUsageHead =
    "zarn2d cut - import a triangle mesh and cut a region out of it\n"
    "\n"
    "Usage:\n"
    "  zarn2d cut MESH SEGMENTFILE [options]\n"
    "\n"
    "MESH is a Wavefront OBJ file (\"v x y [z]\" and \"f i j k ...\" lines; faces with more corners\n"
    "are split into a fan) or Triangle's BASE.node with BASE.ele (either name may be given).\n"
    "Its triangles are imported exactly: every mesh edge becomes a constraint edge.\n"
    "SEGMENTFILE holds segments (binary, or text \"x0 y0 x1 y1\" per line, as zarn2d check reads).\n"
    "\n"
    "By default the segments form one simple polygon (any order and orientation). The mesh is cut\n"
    "along it (its crossings with mesh edges become vertices, no triangle away from the cut changes)\n"
    "and the zone inside it, clipped to the mesh, is the result. With --lines the segments are\n"
    "polylines: the mesh is cut along them and the whole triangulation is the result.\n";

const char* const kCutUsageTail = "\nExit status: 0 on success, 1 on bad input or when no zone results.\n";

struct CutOptions {
  std::string meshFile, segmentFile;
  bool bLines = false;
  bool bUnprotected = false;
  std::string objFile, nodeBase, drapeFile, psFile, svgFile;
};

std::vector<ToolOption> cutOptions(CutOptions& opt) {
  return {flagOption("--lines", 0, opt.bLines, "cut along the segments instead of cutting out a polygon"),
          flagOption("--unprotected", 0, opt.bUnprotected, "the cut edges are no constraint edges"),
          outputFileOption("--obj", opt.objFile, "write the result's triangles as OBJ"),
          textOption("--node", "BASE", opt.nodeBase, "write the result as Triangle's BASE.node and BASE.ele (numbered from 1)"),
          outputFileOption("--drape", opt.drapeFile, "write the segments split at the mesh edges (text, \"x0 y0 x1 y1\" per line)"),
          outputFileOption("--ps", opt.psFile, "draw the triangulation, the result filled and the segments red (PostScript)"),
          outputFileOption("--svg", opt.svgFile, "the same drawing as SVG")};
}

void complain(const std::string& text) { std::cerr << "zarn2d cut: " << text << std::endl; }

bool endsWith(const std::string& s, const std::string& suffix) {
  return s.size() >= suffix.size() && s.compare(s.size() - suffix.size(), suffix.size(), suffix) == 0;
}

// The data lines of a file: without '#' comments, blank lines skipped, with their line numbers.
bool readDataLines(const std::string& filename, std::vector<std::pair<size_t, std::string>>& vLines) {
  const std::string unreadable(checkReadable(filename));
  if (!unreadable.empty()) {
    complain(unreadable);
    return false;
  }
  std::ifstream in(filename);
  size_t lineNo(0);
  for (std::string line; std::getline(in, line);) {
    ++lineNo;
    line = line.substr(0, line.find('#'));
    if (line.find_first_not_of(" \t\r") != std::string::npos) vLines.push_back(std::make_pair(lineNo, line));
  }
  return true;
}

bool badLine(const std::string& filename, size_t lineNo, const std::string& what) {
  complain(filename + ", line " + std::to_string(lineNo) + ": " + what);
  return false;
}

// OBJ: vertices "v x y [z]" and faces "f i j k ..." (1-based, negative from the end, "i/t/n" forms).
bool readObjMesh(const std::string& filename, std::vector<Point2>& vCorners) {
  std::vector<std::pair<size_t, std::string>> vLines;
  if (!readDataLines(filename, vLines)) return false;
  std::vector<Point2> vVertices;
  for (const std::pair<size_t, std::string>& line : vLines) {
    std::istringstream iss(line.second);
    std::string tag;
    iss >> tag;
    if (tag == "v") {
      double x(0.0), y(0.0);
      if (!(iss >> x >> y)) return badLine(filename, line.first, "a vertex needs two coordinates");
      vVertices.push_back(Point2(x, y));
    } else if (tag == "f") {
      std::vector<size_t> vFace;
      for (std::string word; iss >> word;) {
        long index(0);
        try {
          index = std::stol(word.substr(0, word.find('/')));
        } catch (const std::exception&) {
          return badLine(filename, line.first, "bad vertex index " + word);
        }
        const long n(static_cast<long>(vVertices.size()));
        const long resolved(index < 0 ? n + index : index - 1);
        if (index == 0 || resolved < 0 || resolved >= n) return badLine(filename, line.first, "vertex index " + word + " out of range");
        vFace.push_back(static_cast<size_t>(resolved));
      }
      if (vFace.size() < 3) return badLine(filename, line.first, "a face needs three vertices");
      for (size_t k = 1; k + 1 < vFace.size(); ++k) {
        vCorners.insert(vCorners.end(), {vVertices[vFace[0]], vVertices[vFace[k]], vVertices[vFace[k + 1]]});
      }
    }
  }
  return true;
}

// Triangle's .node ("n dim attributes markers", then "index x y ...") and .ele ("m corners
// attributes", then "index a b c ..."); indices as the .node file numbers its vertices.
bool readNodeEleMesh(const std::string& base, std::vector<Point2>& vCorners) {
  std::vector<std::pair<size_t, std::string>> vNodes, vElements;
  if (!readDataLines(base + ".node", vNodes) || !readDataLines(base + ".ele", vElements)) return false;
  std::map<long, Point2> mVertices;
  for (size_t i = 1; i < vNodes.size(); ++i) {
    std::istringstream iss(vNodes[i].second);
    long index(0);
    double x(0.0), y(0.0);
    if (!(iss >> index >> x >> y)) return badLine(base + ".node", vNodes[i].first, "expected \"index x y\"");
    mVertices[index] = Point2(x, y);
  }
  for (size_t i = 1; i < vElements.size(); ++i) {
    std::istringstream iss(vElements[i].second);
    long index(0), a(0), b(0), c(0);
    if (!(iss >> index >> a >> b >> c)) return badLine(base + ".ele", vElements[i].first, "expected \"index a b c\"");
    for (const long corner : {a, b, c}) {
      const auto it(mVertices.find(corner));
      if (it == mVertices.end()) return badLine(base + ".ele", vElements[i].first, "no vertex " + std::to_string(corner));
      vCorners.push_back(it->second);
    }
  }
  return true;
}

bool readMesh(const std::string& filename, std::vector<Point2>& vCorners) {
  if (endsWith(filename, ".node") || endsWith(filename, ".ele")) {
    return readNodeEleMesh(filename.substr(0, filename.rfind('.')), vCorners);
  }
  return readObjMesh(filename, vCorners);
}

std::ostream& withFullPrecision(std::ostream& out) { return out << std::setprecision(std::numeric_limits<double>::max_digits10); }

bool writeNodeEle(const std::string& base, const std::vector<Triangle2*>& vTriangles) {
  std::map<const Point2*, size_t> mNumber;
  std::vector<const Point2*> vVertices;
  for (const Triangle2* pT : vTriangles) {
    for (int i = 0; i < 3; ++i) {
      if (mNumber.emplace(pT->getCorner(i), vVertices.size() + 1).second) vVertices.push_back(pT->getCorner(i));
    }
  }
  std::ofstream node(base + ".node"), ele(base + ".ele");
  withFullPrecision(node) << vVertices.size() << " 2 0 0\n";
  for (size_t i = 0; i < vVertices.size(); ++i) node << i + 1 << " " << vVertices[i]->x() << " " << vVertices[i]->y() << "\n";
  ele << vTriangles.size() << " 3 0\n";
  for (size_t i = 0; i < vTriangles.size(); ++i) {
    ele << i + 1;
    for (int k = 0; k < 3; ++k) ele << " " << mNumber[vTriangles[i]->getCorner(k)];
    ele << "\n";
  }
  return static_cast<bool>(node) && static_cast<bool>(ele);
}

bool writeSegmentsText(const std::string& filename, const std::vector<Segment2>& vSegments) {
  std::ofstream out(filename);
  withFullPrecision(out);
  for (const Segment2& s : vSegments) out << s.getSrc().x() << " " << s.getSrc().y() << " " << s.getTrg().x() << " " << s.getTrg().y() << "\n";
  return static_cast<bool>(out);
}

bool draw(Zarn_2D& dt, const std::vector<Triangle2*>& vResult, const std::vector<Segment2>& vSegments, const std::string& filename) {
  Visualizer2 vis;
  dt.show(&vis, false);
  vis.addTriangles(vResult, Color(CGREEN, 0.5), true);
  vis.addSegments(vSegments, Color(CRED, 1.0));
  return vis.write(filename);
}

bool writeResult(Zarn_2D& dt, const CutOptions& opt, const std::vector<Triangle2*>& vResult, const std::vector<Segment2>& vSegments) {
  bool bOk(true);
  if (!opt.objFile.empty()) bOk &= writeObjFile(opt.objFile, vResult);
  if (!opt.nodeBase.empty()) bOk &= writeNodeEle(opt.nodeBase, vResult);
  if (!opt.psFile.empty()) bOk &= draw(dt, vResult, vSegments, opt.psFile);
  if (!opt.svgFile.empty()) bOk &= draw(dt, vResult, vSegments, opt.svgFile);
  if (!bOk) complain("writing an output file failed");
  return bOk;
}

constexpr size_t kProgressFromTriangles = 100000;

double area(const std::vector<Triangle2*>& vTriangles) {
  double sum(0.0);
  for (const Triangle2* pT : vTriangles) sum += pT->getArea2D();
  return sum;
}

}  // namespace

int runCutCommand(int argc, char** argv) {
  CutOptions opt;
  std::vector<std::string> vFiles;
  int exitCode(0);
  if (!parseCommandLine(argc, argv, "zarn2d cut", kCutUsageHead, cutOptions(opt), kCutUsageTail, 2, vFiles, exitCode)) return exitCode;
  opt.meshFile = vFiles[0];
  opt.segmentFile = vFiles[1];
  Console console("zarn2d cut");  // counts and the library's messages go to standard error
  std::vector<Point2> vCorners;
  std::vector<Segment2> vSegments;
  if (!readMesh(opt.meshFile, vCorners) || !readSegmentFile(opt.segmentFile, vSegments, "zarn2d cut: ")) return 1;
  if (vCorners.empty()) {
    complain(opt.meshFile + " holds no triangles (\"f\" lines of an OBJ file)");
    return 1;
  }
  std::cout << "Read " << vCorners.size() / 3 << " triangles from " << opt.meshFile << " and " << vSegments.size() << " segments from "
            << opt.segmentFile << std::endl;

  Zarn_2D dt(static_cast<unsigned int>(vCorners.size() / 2));
  if (vCorners.size() / 3 >= kProgressFromTriangles) dt.subscribe(MSG_PROGRESS, &console);
  timer("[quiet] import");
  Zone2* pMesh(dt.importTriangles(vCorners, false, false));
  std::cout << "Imported: " << dt.numberOfPoints() << " vertices, " << dt.numberOfTriangles() << " triangles, area "
            << (pMesh != nullptr ? pMesh->getArea2D() : 0.0) << " (" << timer("[quiet] import") << " s)" << std::endl;
  if (pMesh == nullptr) return 1;

  if (!opt.drapeFile.empty()) {
    std::vector<Segment2> vPieces;
    const bool bInside(dt.drape(vSegments, vPieces));
    std::cout << "Draped: " << vPieces.size() << " pieces" << (bInside ? "" : " (parts outside the mesh dropped)") << std::endl;
    if (!writeSegmentsText(opt.drapeFile, vPieces)) return 1;
  }

  std::vector<Triangle2*> vResult;
  timer("[quiet] cut");
  if (opt.bLines) {
    dt.cutTriangles(vSegments, !opt.bUnprotected);
    dt.getTrianglePointers(vResult);
  } else {
    console.holdMessages();  // a failure is reported on one line, in the tool's words
    Zone2* pZone(dt.createZone_cookieCutter(vSegments, !opt.bUnprotected));
    console.releaseMessages(pZone != nullptr);
    if (pZone == nullptr) {
      complain("no zone: the segments must form one simple closed polygon");
      return 1;
    }
    pZone->getTriangles(vResult);
  }
  std::cout << "Cut: " << dt.numberOfPoints() << " vertices, " << dt.numberOfTriangles() << " triangles; result " << vResult.size()
            << " triangles, area " << area(vResult) << " (" << timer("[quiet] cut") << " s)" << std::endl;
  return writeResult(dt, opt, vResult, vSegments) ? 0 : 1;
}
