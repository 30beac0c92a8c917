// The zarn2d tool, run as a separate process. Its input and output files: strict reading of every
// point format (bad lines are reported with their number and exit status 1), Triangle's files
// written back and checked against the library, standard output for "-", statistics, drawings and
// the viewer page. With constraint segments: the counts it prints compared with the library called
// directly on the same input (both strategies, one or two graphs, with and without points), the
// pieces it writes and the demo constraints. zarn2d mesh and zarn2d cut: the written .node/.ele
// files read back into a triangulation and checked by the exact mesh check (input vertices first,
// angles, edge lengths, exact area; the cut's zone against the library's cookie cutter called
// directly on the same input), exit statuses.

#include <numeric>
#include <regex>

#include "cdt_test_support.h"
#include "file_test_support.h"
#include "zone_test_support.h"

using namespace KORA_ZARN2D;
namespace fs = std::filesystem;

namespace {

using zarn_test::countOf;

// Each test runs in a copy of tests/inputs/tool_runs, the input files of these tests.
class ToolFiles : public zarn_test::ToolTest {
 protected:
  void SetUp() override {
    ToolTest::SetUp();
    if (!dir.empty()) std::filesystem::copy(std::string(ZARN_TEST_INPUTS) + "/tool_runs", dir);
  }
};

/// The numbers captured by every match of pattern in text, match after match.
std::vector<double> numbersIn(const std::string& text, const std::string& pattern) {
  std::vector<double> v;
  const std::regex re(pattern);
  for (std::sregex_iterator it(text.begin(), text.end(), re), end; it != end; ++it) {
    for (size_t group = 1; group < it->size(); ++group) v.push_back(std::stod((*it)[group]));
  }
  return v;
}

const char* const kCounts = "Vertices: (\\d+), triangles: (\\d+)";

// Every run of tests/inputs/tool_runs/cases.txt (the format is described at its top): good point
// formats read with what was skipped said, files written as listed, and every failure with its
// one line and status 1.
TEST_F(ToolFiles, RunsOfTheTableEndAsListed) {
  std::istringstream cases(read("cases.txt"));
  int numCases(0);
  for (std::string line; std::getline(cases, line);) {
    if (line.empty() || line[0] == '#') continue;
    std::vector<std::string> vFields;
    for (size_t start = 0, bar = 0; bar != std::string::npos; start = bar + 3) {
      bar = line.find(" | ", start);
      vFields.push_back(std::regex_replace(line.substr(start, bar - start), std::regex("\\\\n"), "\n"));
    }
    ASSERT_GE(vFields.size(), 3u) << line;
    const zarn_test::ToolResult r(run(vFields[1]));
    ++numCases;
    EXPECT_EQ(std::to_string(r.exitCode), vFields[0]) << line << "\n" << r.err;
    bool bCounted(false), bOutput(false);
    for (size_t i = 2; i < vFields.size(); ++i) {
      std::string text(vFields[i]), where(r.err);
      bool bWhole(false);
      if (text[0] == '@') {  // "@<file>: <text>": the file (- for standard output) holds the text; "@<file>= <text>": is it
        const std::string file(text.substr(1, text.find_first_of(":=") - 1));
        where = file == "-" ? r.out : read(file);
        bOutput = bOutput || file == "-";
        bWhole = text[file.size() + 1] == '=';
        text = text.substr(file.size() + 3);
      }
      EXPECT_TRUE(bWhole ? where == text : where.find(text) != std::string::npos) << line << "\n" << where;
      bCounted = bCounted || text.find("Vertices: ") != std::string::npos;
    }
    EXPECT_TRUE(bCounted || numbersIn(r.err, kCounts).empty()) << line << "\n" << r.err;
    EXPECT_TRUE(vFields[1].rfind("-Q ", 0) != 0 || r.err.empty()) << line << "\n" << r.err;
    EXPECT_TRUE(r.exitCode != 0 || bOutput || r.out.empty()) << line;
    EXPECT_TRUE(r.exitCode == 0 || (countOf("\n" + r.err, "\nzarn2d") == 1u && r.err.find("::") == std::string::npos)) << line << "\n" << r.err;
  }
  EXPECT_EQ(numCases, 69);
}

// A square with an inner point, a duplicate of vertex 2 and two segments, numbered from 1 as
// Triangle's own files usually are: the files keep the input order and hold the library's triangles.
TEST_F(ToolFiles, TriangleFilesKeepInputOrderAndAgreeWithTheLibrary) {
  const zarn_test::ToolResult r(runOk("square.poly --write-triangle A.1"));
  const zarn_test::Rows vNodes(rows("A.1.node")), vTriangles(rows("A.1.ele")), vNeighbours(rows("A.1.neigh"));
  ASSERT_EQ(vNodes, (zarn_test::Rows{{1, 0, 0}, {2, 4, 0}, {3, 4, 4}, {4, 0, 4}, {5, 1, 3}, {6, 4, 0}}));
  std::vector<Point2> vPoints;
  for (const std::vector<double>& node : vNodes) vPoints.emplace_back(node[1], node[2]);
  Zarn_2D dt;
  dt.insert(vPoints);
  std::set<std::set<Point2>> sLibrary, sWritten;
  for (const Triangle2* pT : dt2test::trianglesOf(dt)) sLibrary.insert({*pT->getCorner(0), *pT->getCorner(1), *pT->getCorner(2)});
  // Each written triangle counterclockwise, never using the duplicate row 6; its neighbour across
  // an edge is the other written triangle with that edge, -1 for a hull edge.
  std::map<std::pair<int, int>, std::vector<double>> mEdgeTriangles;
  const auto edge = [&](size_t t, int i) -> std::pair<int, int> { return std::minmax(vTriangles[t][1 + (i + 1) % 3], vTriangles[t][1 + (i + 2) % 3]); };
  ASSERT_EQ(vNeighbours.size(), vTriangles.size());
  for (size_t t = 0; t < vTriangles.size(); ++t) {
    ASSERT_TRUE(vTriangles[t].size() == 4u && vTriangles[t][0] == t + 1.0 && vNeighbours[t].size() == 4u) << t;
    std::vector<Point2> vCorners;
    for (int k = 1; k <= 3; ++k) {
      ASSERT_TRUE(vTriangles[t][k] >= 1 && vTriangles[t][k] <= 5) << vTriangles[t][k];
      vCorners.push_back(vPoints[size_t(vTriangles[t][k]) - 1]);
      mEdgeTriangles[edge(t, k - 1)].push_back(t + 1.0);
    }
    EXPECT_EQ(getOrientation2(&vCorners[0], &vCorners[1], &vCorners[2]), ORIENTATION2_CCW);
    sWritten.insert(std::set<Point2>(vCorners.begin(), vCorners.end()));
  }
  EXPECT_EQ(sWritten, sLibrary);
  EXPECT_EQ(rows("A.1.edge").size(), mEdgeTriangles.size());
  for (size_t t = 0; t < vTriangles.size(); ++t) {
    for (int i = 0; i < 3; ++i) {
      const std::vector<double>& vAlong(mEdgeTriangles[edge(t, i)]);
      EXPECT_EQ(vNeighbours[t][1 + i], vAlong.size() == 1 ? -1.0 : vAlong[0] == t + 1.0 ? vAlong[1] : vAlong[0]) << t << " " << i;
    }
  }
}

// Coordinates up to half the largest double: every angle lands in the histogram, three per triangle.
TEST_F(ToolFiles, StatisticsSurviveExtremeCoordinates) {
  const zarn_test::ToolResult r(runOk("extreme.txt --stats --check"));
  const std::vector<double> vCounts(numbersIn(r.err, kCounts)), vBins(numbersIn(r.err, "degrees: +(\\d+)"));
  ASSERT_EQ(vCounts.size(), 2u) << r.err;
  EXPECT_EQ(std::accumulate(vBins.begin(), vBins.end(), 0.0), 3 * vCounts[1]) << r.err;
  EXPECT_EQ(r.err.find("nan"), std::string::npos) << r.err;
}

/// The d attribute of the path with the given class.
std::string pathOf(const std::string& html, const std::string& cssClass) {
  const size_t start(html.find("<path class=\"" + cssClass + "\" d=\""));
  if (start == std::string::npos) return "";
  const size_t begin(html.find("d=\"", start) + 3);
  return html.substr(begin, html.find('"', begin) - begin);
}

// A 10 x 10 square with a 2 x 2 square hole and a vertex outside it: the domain (area 96) is
// shown, written, refined and drawn; the outside vertex is used by no triangle.
TEST_F(ToolFiles, PolyDomainLeavesOutTheOutsideAndTheHolesAndIsRefinedWithinBounds) {
  for (const std::string refine : {"", " -q25 --max-area 2 --html view.html --vertices"}) {
    const zarn_test::ToolResult r(runOk("square_hole.poly --check --stats --write-triangle B --obj a.obj" + refine));
    EXPECT_NE(r.err.find("  valid: "), std::string::npos) << r.err;
    const std::vector<double> vStats(numbersIn(r.err, "triangles: (\\d+), edges: \\d+, constraint pieces: \\d+\n  area: ([0-9.e+-]+), "
                                                      "triangle area min/max: [0-9.e+-]+ / ([0-9.e+-]+)"));
    const std::vector<double> vMinAngle(numbersIn(r.err, "angle min/max: ([0-9.e+-]+) /"));
    ASSERT_TRUE(vStats.size() == 3u && vMinAngle.size() == 1u) << r.err;
    EXPECT_NEAR(vStats[1], 96.0, 1e-9);
    EXPECT_TRUE(vStats[2] <= (refine.empty() ? 100.0 : 2.0) && vMinAngle[0] >= (refine.empty() ? 0.0 : 25.0)) << r.err;
    const zarn_test::Rows vTriangles(rows("B.ele"));
    EXPECT_EQ(vTriangles.size(), vStats[0]);
    for (const std::vector<double>& row : vTriangles) EXPECT_TRUE(row[1] != 9 && row[2] != 9 && row[3] != 9) << "a triangle uses the outside vertex";
    EXPECT_EQ(countOf(read("a.obj"), "f"), vTriangles.size());
    if (refine.empty()) continue;
    // The viewer page is self-contained, and its legend counts what it draws.
    const std::string html(read("view.html"));
    EXPECT_EQ(countOf(html, "src=") + countOf(html, "href="), 0u);
    const std::vector<double> vRegion(numbersIn(r.err, "(\\d+) zone triangles"));
    ASSERT_EQ(vRegion.size(), 1u) << r.err;
    EXPECT_EQ(countOf(pathOf(html, "region"), "Z"), vRegion[0]);
    EXPECT_NE(html.find("region: " + std::to_string(size_t(vRegion[0])) + "<br>"), std::string::npos);
    const size_t numPieces(countOf(pathOf(html, "pieces"), "M"));
    EXPECT_GE(numPieces, 8u);  // the eight segments, split by the refinement
    EXPECT_NE(html.find("constraint pieces: " + std::to_string(numPieces) + "<br>"), std::string::npos);
    EXPECT_TRUE(countOf(html, "<circle class=\"input\"") == 9u && countOf(html, "<circle class=\"added\"") > 0u);
  }
}

TEST_F(ToolFiles, LargeDrawingsAreThinnedUnlessAWindowIsAsked) {
  const zarn_test::ToolResult big(runOk("--demo 60000 --svg big.svg"));
  EXPECT_TRUE(std::regex_search(big.err, std::regex("big.svg shows 1 in 3 of 1\\d{5} triangles \\(more than 50000\\)"))) << big.err;
  // A filled triangle is drawn as its fill and its outline: two polygons.
  EXPECT_LE(countOf(read("big.svg"), "<polygon "), 2 * 50000u);
  EXPECT_EQ(runOk("--demo 60000 --svg=part.svg --window=0.4,0.4,0.5,0.5").err.find("shows 1 in"), std::string::npos);
  const size_t numDrawn(countOf(read("part.svg"), "<polygon "));
  EXPECT_TRUE(numDrawn > 2 * 1000u && numDrawn < 2 * 3000u) << numDrawn;  // about 1% of 120000 triangles
}

// ----- Constraint segments -------------------------------------------------------------------------

/// What the tool prints after the constraint step (and after a removal with constraints): the
/// numbers of vertices, triangles, constraint graphs, alive constraint pieces and split segments.
using ConstraintCounts = std::array<unsigned long, 5>;
enum { kVertices, kTriangles, kGraphs, kAlive, kSplit };

/// Every "Vertices: ..." line that carries the constraint counts, in output order.
std::vector<ConstraintCounts> parseCounts(const std::string& err) {
  static const std::regex pattern("Vertices: (\\d+), triangles: (\\d+), constraint graphs: (\\d+), alive constraint pieces: (\\d+), split segments: (\\d+)\n");
  std::vector<ConstraintCounts> vCounts;
  for (std::sregex_iterator it(err.begin(), err.end(), pattern), end; it != end; ++it) {
    vCounts.push_back({std::stoul((*it)[1]), std::stoul((*it)[2]), std::stoul((*it)[3]), std::stoul((*it)[4]), std::stoul((*it)[5])});
  }
  return vCounts;
}

/// The library's own answer: bulk insertion of the points, then one graph per segment list.
ConstraintCounts libraryCounts(const std::vector<Point2>& vPoints, std::vector<std::vector<Segment2>> vGraphs, ConstraintInsertionStrategy cis) {
  Zarn_2D dt;
  zarn_test::captureStdout([&]() {
    dt.insert(vPoints);
    for (std::vector<Segment2>& vSegments : vGraphs) EXPECT_NE(dt.createConstraint(vSegments, cis, false), nullptr);
    EXPECT_TRUE(dt.checkValidity(true, "library"));
  });
  const size_t numAlive(cdttest::aliveSegments(dt).size()), numAll(cdttest::allSegments(dt).size());
  return {dt.numberOfPoints(), dt.numberOfTriangles(), dt.getImpl()->getConstraintMgr()->getGraphs().size(), numAlive, numAll - numAlive};
}

// Diagonals crossing at a point of the set, one of them through another point, a polyline crossing
// them, and a segment reaching out of the point set: splits at existing vertices and at new
// crossings. Comments, blank lines, CR and tabs as a text file may hold them.
const char* const kSegmentText =
    "# diagonals\n0.1 0.1 0.9 0.9\n\n0.1 0.9 0.9 0.1\r\n   # indented comment\n0.05 0.3 0.95 0.35\n0.95 0.35 0.6 0.97\n"
    "\t0.6 0.97 0.02 0.6\n0 0.2 1e-1 0.2\n";
const std::vector<Segment2> kTextSegments{Segment2(Point2(0.1, 0.1), Point2(0.9, 0.9)),    Segment2(Point2(0.1, 0.9), Point2(0.9, 0.1)),
                                          Segment2(Point2(0.05, 0.3), Point2(0.95, 0.35)), Segment2(Point2(0.95, 0.35), Point2(0.6, 0.97)),
                                          Segment2(Point2(0.6, 0.97), Point2(0.02, 0.6)),  Segment2(Point2(0, 0.2), Point2(0.1, 0.2))};

class ToolConstraints : public zarn_test::ToolTest {};

TEST_F(ToolConstraints, CountsAndPiecesMatchTheLibrary) {
  std::vector<Point2> vPoints;
  generateRandomPoints(400, 0.0, 1.0, vPoints, 4711u);
  vPoints.emplace_back(0.5, 0.5);    // the crossing of the diagonals
  vPoints.emplace_back(0.25, 0.75);  // on a diagonal
  ASSERT_TRUE(writePointsBIN(path("points.bin").c_str(), vPoints));
  std::vector<Segment2> vRandom;
  generateRandomSegments(40, 0.0, 1.0, 0.3, vRandom, 99u);
  ASSERT_TRUE(writeSegmentsBIN(path("random.bin").c_str(), vRandom));
  writeText("text.txt", kSegmentText);
  struct Case {
    std::string arguments;  // with the points when it starts with points.bin
    std::vector<std::vector<Segment2>> vGraphs;
    ConstraintInsertionStrategy cis;
  };
  const Case aCases[] = {
      {"points.bin --segments text.txt", {kTextSegments}, CIS_CONSTRAINED_DELAUNAY},
      {"points.bin --segments text.txt --conforming", {kTextSegments}, CIS_CONFORMING_DELAUNAY},
      {"points.bin --segments random.bin --segments text.txt --oriented --write-constraints tool", {vRandom, kTextSegments}, CIS_CONSTRAINED_DELAUNAY},
      {"--segments text.txt", {kTextSegments}, CIS_CONSTRAINED_DELAUNAY},
  };
  for (const Case& c : aCases) {
    const zarn_test::ToolResult r(runOk(c.arguments + " --check"));
    EXPECT_NE(r.err.find("\n  valid: "), std::string::npos) << r.err;
    const std::vector<ConstraintCounts> vCounts(parseCounts(r.err));
    ASSERT_EQ(vCounts.size(), 1u) << r.err;
    EXPECT_EQ(vCounts[0], libraryCounts(c.arguments.rfind("points.bin", 0) == 0 ? vPoints : std::vector<Point2>(), c.vGraphs, c.cis)) << c.arguments;
  }
  // One file per graph, together every alive piece.
  std::vector<Segment2> vPieces;
  for (const char* file : {"tool_c0_con.bin", "tool_c1_con.bin"}) EXPECT_TRUE(readSegmentsBIN(path(file).c_str(), vPieces)) << file;
  EXPECT_EQ(vPieces.size(), libraryCounts(vPoints, {vRandom, kTextSegments}, CIS_CONSTRAINED_DELAUNAY)[kAlive]);
}

TEST_F(ToolConstraints, DemoConstraintsAreValidDrawnAndSurviveRemoval) {
  const zarn_test::ToolResult r(runOk("--demo 2000 --demo-constraints --check --remove 7 --svg demo.svg"));
  EXPECT_NE(r.err.find("\n  valid: "), std::string::npos) << r.err;
  // After the constraints and after the removal: every crossing segment splits a star edge and is
  // split itself; the removal keeps every piece.
  const std::vector<ConstraintCounts> vCounts(parseCounts(r.err));
  ASSERT_EQ(vCounts.size(), 2u) << r.err;
  EXPECT_EQ(vCounts[0][kGraphs], 2u);
  EXPECT_GE(vCounts[0][kSplit], 100u);
  EXPECT_EQ(vCounts[0][kAlive], 1100u + vCounts[0][kSplit]);
  std::smatch m;
  ASSERT_TRUE(std::regex_search(r.err, m, std::regex("Removal \\(removed (\\d+) vertices, \\d+ constraint vertices kept\\)"))) << r.err;
  EXPECT_EQ(vCounts[1][kVertices], vCounts[0][kVertices] - std::stoul(m[1]));
  EXPECT_EQ(vCounts[1][kAlive], vCounts[0][kAlive]);
  // The pieces are drawn red on top of the triangles: one line per alive piece.
  const std::string svg(read("demo.svg"));
  const std::regex red("<line [^>]*stroke=\"" + Color(CRED).toHex() + "\"");
  EXPECT_EQ(static_cast<unsigned long>(std::distance(std::sregex_iterator(svg.begin(), svg.end(), red), std::sregex_iterator())), vCounts[0][kAlive]);
  EXPECT_GT(svg.rfind("<line "), svg.rfind("<polygon "));
}

// ----- zarn2d mesh and zarn2d cut ------------------------------------------------------------------

class ToolMesh : public zarn_test::ToolTest {
 protected:
  // The triangles of BASE.node/.ele (vertices numbered from 1, corners counterclockwise) imported
  // into dt: the zone of the imported triangles.
  Zone2* importMesh(Zarn_2D& dt, const std::string& base) const {
    const zarn_test::Rows vNodes(rows(base + ".node")), vRows(rows(base + ".ele"));
    std::vector<Point2> vCorners;
    for (const std::vector<double>& t : vRows) {
      for (int k = 1; k <= 3; ++k) vCorners.push_back(Point2(vNodes.at(size_t(t.at(k)) - 1)[1], vNodes.at(size_t(t.at(k)) - 1)[2]));
      EXPECT_GT(cdttest::exactDoubleArea(vCorners[vCorners.size() - 3], vCorners[vCorners.size() - 2], vCorners.back()), 0);
    }
    Zone2* pZone(nullptr);
    EXPECT_EQ(zarn_test::captureStdout([&] { pZone = dt.importTriangles(vCorners, false, false); }), "") << "no overlaps";
    EXPECT_EQ(pZone->getNumberOfTriangles(), vRows.size());
    return pZone;
  }
};

TEST_F(ToolMesh, QualityMeshOfAPolyDomainAndOfASegmentFile) {
  // A 10 x 10 square with a 2 x 2 hole (boundary markers announced but left out, as Triangle
  // allows), and a 4-3-5 triangle given as segments.
  writeText("sq.poly", "8 2 0 1\n1 0 0\n2 10 0\n3 10 10\n4 0 10 # corner\n5 4 4\n6 6 4\n7 6 6\n8 4 6\n"
                       "8 1\n1 1 2\n2 2 3\n3 3 4\n4 4 1\n5 5 6\n6 6 7\n7 7 8\n8 8 5\n1\n1 5 5\n1\n1 1 1 7 0.5\n");
  writeText("tri.txt", "0 0 4 0\n4 0 0 3\n0 3 0 0\n");
  const struct {
    const char* arguments;
    const char* base;
    std::vector<Point2> vInput;
    double area, minAngle, maxEdge;
  } aCases[] = {
      {"sq.poly -q 30 --max-edge 0.8 --svg sq.svg", "sq.1", {{0, 0}, {10, 0}, {10, 10}, {0, 10}, {4, 4}, {6, 4}, {6, 6}, {4, 6}}, 96, 30.0, 0.8},
      {"tri.txt -q 25 --grid 0.2,15 --out grid", "grid.1", {{0, 0}, {4, 0}, {0, 3}}, 6, 25.0, HUGE_VAL},
  };
  for (const auto& c : aCases) {
    const zarn_test::ToolResult r(runOk(std::string("mesh ") + c.arguments));
    const zarn_test::Rows vNodes(rows(std::string(c.base) + ".node"));
    for (size_t i = 0; i < c.vInput.size(); ++i) EXPECT_EQ(vNodes[i], (std::vector<double>{i + 1.0, c.vInput[i].x(), c.vInput[i].y()}));
    Zarn_2D dt(0);
    const std::vector<Triangle2*> vZone(zonetest::trianglesOf(importMesh(dt, c.base)));
    size_t numExcused(0);  // the area within 1e-9: Steiner points on a slanted segment are rounded
    EXPECT_TRUE(cdttest::meetsMeshBounds(vZone, {}, {c.minAngle, [&](Triangle2*) { return c.maxEdge; }, c.area}, numExcused)) << c.arguments;
    EXPECT_NE(r.err.find("  vertices: " + std::to_string(vNodes.size()) + ", triangles: " + std::to_string(vZone.size())), std::string::npos);
  }
  EXPECT_NE(read("sq.svg").find("<polygon"), std::string::npos);
  // Its help, a run stopped early (exit 2) and its failures are runs of the tool's table.
}

// zarn2d cut on a 4 x 4 square in two triangles (the second given as a quad's fan in the OBJ
// file) and a square polygon [1, 3]^2 of area 4 inside it, from each mesh format.
TEST_F(ToolMesh, CutWritesTheZoneOfEitherMeshFormat) {
  writeText("m.obj", "# mesh\nv 0 0 0\nv 4 0 0\nv 4 4 0\nv 0 4 0\nf 1/1/1 2/2/2 3/3/3\nf -4 -2 -1\n");
  writeText("m.node", "4 2 0 0\n0 0 0\n1 4 0\n2 4 4 # corner\n3 0 4\n");
  writeText("m.ele", "2 3 0\n0 0 1 2\n1 0 2 3\n");
  writeText("square.txt", "1 1 3 1\n3 1 3 3\n3 3 1 3\n1 3 1 1\n");
  // The library directly, on the same mesh and polygon.
  Zarn_2D dt(0);
  std::vector<Point2> vMesh{Point2(0, 0), Point2(4, 0), Point2(4, 4), Point2(0, 0), Point2(4, 4), Point2(0, 4)};
  dt.importTriangles(vMesh, false, false);
  std::vector<Segment2> vSquare(zonetest::ring(zonetest::square(1, 1, 3, 3)));
  const std::vector<dt2test::TriangleKey> vExpected(dt2test::triangleSignature(zonetest::trianglesOf(dt.createZone_cookieCutter(vSquare, true))));
  for (const char* mesh : {"m.obj", "m.node", "m.ele"}) {
    const zarn_test::ToolResult result(runOk("cut " + std::string(mesh) + " square.txt --node zone --obj zone.obj --svg zone.svg --drape d.txt"));
    Zarn_2D written(0);
    EXPECT_EQ(vExpected, dt2test::triangleSignature(zonetest::trianglesOf(importMesh(written, "zone")))) << mesh;
    EXPECT_NE(std::string::npos, result.err.find("Read 2 triangles")) << result.err;
    EXPECT_TRUE(fs::file_size(dir / "zone.obj") > 0 && fs::file_size(dir / "zone.svg") > 0 && fs::file_size(dir / "d.txt") > 0);
  }
  runOk("cut m.obj square.txt --lines --unprotected --node all");
  Zarn_2D all(0);
  EXPECT_EQ(mpq_class(16), cdttest::exactArea(zonetest::trianglesOf(importMesh(all, "all"))));
  // Its help and failures are runs of the tool's table.
}

}  // namespace
