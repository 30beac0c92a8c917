// The zarn2d tool's input and output files: strict reading of every point format (bad lines are
// reported with their number and exit status 1), Triangle's files written back and checked
// against the library, standard output for "-", and failures that must end with status 1.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "Zarn_2D.h"
#include "file_test_support.h"

using namespace KORA_ZARN2D;

namespace {

using zarn_test::countOf;

class ToolFiles : public zarn_test::ToolTest {};

/// The numbers of every "Vertices: V, triangles: T" line.
std::vector<std::pair<unsigned long, unsigned long>> countLines(const std::string& err) {
  static const std::regex pattern("Vertices: (\\d+), triangles: (\\d+)");
  std::vector<std::pair<unsigned long, unsigned long>> vCounts;
  for (std::sregex_iterator it(err.begin(), err.end(), pattern), end; it != end; ++it) {
    vCounts.emplace_back(std::stoul((*it)[1]), std::stoul((*it)[2]));
  }
  return vCounts;
}

// A 10 x 10 square with a 2 x 2 square hole and a vertex outside it.
const char* const kSquareWithHole = "9 2 0 0\n1 0 0\n2 10 0\n3 10 10\n4 0 10\n5 4 4\n6 6 4\n7 6 6\n8 4 6\n9 20 5\n"
                                    "8 0\n1 1 2\n2 2 3\n3 3 4\n4 4 1\n5 5 6\n6 6 7\n7 7 8\n8 8 5\n1\n1 5 5\n";

TEST_F(ToolFiles, GoodTextFormatsAreReadWithWhatWasSkippedSaid) {
  struct Case {
    const char* content;
    unsigned long numVertices;
    const char* note;  // expected on standard error
  };
  const Case aCases[] = {
      {"0 0\n1 0\n0 1\n1 1\n", 4, "Read 4 points from "},
      {"x,y,z\n0,0,5\n1,0,5\n0,1,5\n", 3, "The third column of "},
      {"# survey\n\n0 0 1\r\n1 0 2\r\n0 1 3\r\n", 3, "Skipped 1 comment line(s) of "},
      {"east\tnorth\n0\t0\n2\t0\n0\t2\n0 0\n", 3, "Skipped the header line of "},
      {"4 2 1 1\n1 0 0 7 1\n2 1 0 7 1\n3 0 1 7 0\n4 0.2 0.2 7 0 # inner\n", 4, "Read 4 vertices from the .node file "},
  };
  int index(0);
  for (const Case& c : aCases) {
    const std::string file(writeText("points" + std::to_string(index++) + ".txt", c.content));
    const zarn_test::ToolResult r(run("'" + file + "' --check"));
    ASSERT_EQ(r.exitCode, 0) << c.content << r.err;
    EXPECT_NE(r.err.find(c.note), std::string::npos) << r.err;
    ASSERT_FALSE(countLines(r.err).empty()) << r.err;
    EXPECT_EQ(countLines(r.err)[0].first, c.numVertices) << c.content;
    EXPECT_NE(r.err.find("  valid: "), std::string::npos) << r.err;
    EXPECT_EQ(r.out, "");
  }
}

// Every failure: status 1, one line that names the problem (a bad line with its number), no
// internal names; input and option errors stop the run before any triangulation.
TEST_F(ToolFiles, FailuresEndWithStatusOneAndOneLine) {
  std::string truncated("\x14\0\0\0\x05\0\0\0\0\0\0\0", 12);  // type 20, five points, 16 bytes of records
  truncated += std::string(16, '\0');
  const std::pair<const char*, std::string> aFiles[] = {
      {"plain.txt", "0 0\n1 0\n0 1\n"}, {"col.txt", "0 0\n1 1\n2 2\n"}, {"seg.txt", "0 0 1 1\n"},
      {"a.txt", "1 2 3\n4 5 6\n7 8\n"}, {"b.txt", "1 2\nnan 3\n"}, {"c.txt", "1 2\n3 4 junk\n"}, {"f.txt", "# only a comment\n"},
      {"g.node", "3 2 0 0\n1 0 0\n2 1 0\n"}, {"h.node", "2 2 0 0\n1 0 0\n3 1 0\n"}, {"i.node", "2 3 0 0\n1 0 0 0\n2 1 0 0\n"},
      {"j.poly", "3 2 0 0\n1 0 0\n2 1 0\n3 0 1\n1 0\n1 1 4\n0\n"}, {"k.poly", "3 2 0 0\n1 0 0\n2 1 0\n3 0 1\n0 0\n0\n7\n"},
      {"l.ele", "1 3 0\n1 1 2 3\n"}, {"m.bin", truncated}, {"n.txt", std::string("\x7f" "ELF\x02\x01\x01\0\0\0\n\x03\0>\0", 15)},
      {"s.txt", "0 0 1 1\n# fine\n\n0 1 1 x\n"}, {"t.txt", "# nothing\n"}, {"sq.txt", "0 0 1 0\n1 0 1 1\n1 1 0 1\n0 1 0 0\n"},
      {"line.txt", "0 0 1 0\n1 0 2 0\n"}, {"tri.obj", "v 0 0 0\nv 4 0 0\nv 0 4 0\nf 1 2 3\n"}, {"bad.obj", "v 0 0\nv 1 0\nf 1 2 7\n"}};
  for (const auto& file : aFiles) writeText(file.first, file.second);
  struct Case {
    std::string arguments, error;
    bool bBeforeWork;
  };
  const Case aCases[] = {
      {"a.txt", "zarn2d: a.txt, line 3: expected 3 numbers like the lines before, got \"7 8\"; the point file is rejected\n", true},
      {"b.txt", "zarn2d: b.txt, line 2: expected \"x y\" or \"x y z\" (finite numbers), got \"nan 3\"; the point file is rejected\n", true},
      {"c.txt", "zarn2d: c.txt, line 2: expected \"x y\" or \"x y z\" (finite numbers), got \"3 4 junk\"", true},
      {"f.txt", "zarn2d: f.txt holds no points; the point file is rejected\n", true},
      {"g.node", "zarn2d: g.node ends after 2 of 3 vertices; the file is rejected\n", true},
      {"h.node", "zarn2d: h.node, line 3: expected vertex 2 as \"<number> <x> <y>\"", true},
      {"i.node", "zarn2d: i.node, line 1: expected dimension 2", true},
      {"j.poly", "zarn2d: j.poly, line 6: expected segment 1 as \"<number> <vertex> <vertex>\"", true},
      {"k.poly", "zarn2d: k.poly ends inside its regions; the file is rejected\n", true},
      {"l.ele", "zarn2d: l.node can't be read (l.ele needs its vertices)\n", true},
      {"m.bin", "zarn2d: m.bin: a binary point file of type 20 with 5 points must be 92 bytes long, it is 28; the point file is rejected\n", true},
      {"n.txt", "zarn2d: n.txt, line 1: expected \"x y\" or \"x y z\"", true},
      {".", "zarn2d: . is a directory, not a file\n", true},
      {"--segments s.txt", "zarn2d: s.txt, line 4: expected four numbers \"x0 y0 x1 y1\", got \"0 1 1 x\"; the segment file is rejected\n", true},
      {"--segments seg.txt --segments t.txt", "zarn2d: t.txt holds no segments; the segment file is rejected\n", true},
      {"--segments missing.txt", "zarn2d: missing.txt can't be read\n", true},
      {"--demo 10 --svg plain.txt/a.svg", "zarn2d: --svg: plain.txt/a.svg can't be written: plain.txt is not a directory\n", true},
      {"--demo 10 --obj .", ". is a directory, not a file\n", true},
      {"--demo 10 --write-triangle missing/out", "zarn2d: missing/out.node can't be written: missing is not a directory\n", true},
      {"--demo 10 --web plain.txt/web", "can't be created: ", true},
      {"--demo 10 --obj - --svg -", "zarn2d: --svg: only one output can be \"-\" (standard output)\n", true},
      {"--demo 99999999999", "zarn2d: --demo: is at most 200000000, not 99999999999\n", true},
      {"--demo -3", "zarn2d: --demo: needs a non-negative integer, not \"-3\"\n", true},
      {"--check=yes", "zarn2d: --check takes no value (see --help)\n", true},
      {"--segments", "zarn2d: --segments needs a value (see --help)\n", true},
      {"-Qx", "zarn2d: unknown option -Qx (see --help)\n", true},
      {"--min-angle 31", "zarn2d: --min-angle: must be above 0 and at most 30\n", true},
      {"-a-1", "zarn2d: --max-area: must be above 0\n", true},
      {"--demo 10 --conforming", "zarn2d: --conforming needs --segments or --demo-constraints (see --help)\n", true},
      {"--zone inner", "zarn2d: --zone: needs inside, outside, global or grow:X,Y, not \"inner\"\n", true},
      {"plain.txt plain.txt", "zarn2d: more than one point file given (see --help)\n", true},
      {"col.txt --obj o.obj", "zarn2d: OBJ file o.obj can't be written (no triangles: the points are collinear)\n", false},
      {"col.txt --min-angle 20", "zarn2d: there is nothing to refine: the points are collinear\n", false},
      {"--demo 10 --demo-constraints --write-constraints /proc/c", "/proc/c_c0_con.bin can't be written", false},
      {"--demo 10 --html /proc/v.html", "/proc/v.html can't be written", false},
      {"check seg.txt --svg /proc/x.svg", "/proc/x.svg can't be written", false},
      {"check .", "zarn2d check: . is a directory, not a file\n", true},
      {"cut n.txt seg.txt", "zarn2d cut: n.txt holds no triangles", true},
      {"cut missing.obj seg.txt", "zarn2d cut: missing.obj can't be read\n", true},
      {"cut bad.obj seg.txt", "zarn2d cut: bad.obj, line 3: vertex index 7 out of range\n", true},
      {"cut tri.obj", "zarn2d cut: missing file arguments (see --help)\n", true},
      {"cut tri.obj sq.txt --frobnicate", "zarn2d cut: unknown option --frobnicate (see --help)\n", true},
      {"mesh sq.txt -q 35", "zarn2d mesh: --min-angle: must be above 0 and at most 30\n", true},
      {"mesh missing.poly", "zarn2d mesh: missing.poly can't be read\n", true},
      {"mesh .", "zarn2d mesh: . is a directory, not a file\n", true},
      {"mesh j.poly", "zarn2d mesh: j.poly, line 6: expected segment 1 as", true},
      {"mesh line.txt", "zarn2d mesh: the segments enclose no area: nothing to mesh\n", true},
      {"mesh sq.txt sq.txt", "zarn2d mesh: too many file arguments (see --help)\n", true},
  };
  for (const Case& c : aCases) {
    const zarn_test::ToolResult r(run(c.arguments));
    EXPECT_EQ(r.exitCode, 1) << c.arguments;
    EXPECT_NE(r.err.find(c.error), std::string::npos) << c.arguments << ": " << r.err;
    EXPECT_EQ(countOf("\n" + r.err, "\nzarn2d"), 1u) << c.arguments << ": " << r.err;
    if (c.bBeforeWork) {
      EXPECT_TRUE(countLines(r.err).empty()) << c.arguments << ": " << r.err;
    }
    EXPECT_EQ(r.err.find("::"), std::string::npos) << r.err;
  }
}

TEST_F(ToolFiles, TriangleFilesKeepInputOrderAndAgreeWithTheLibrary) {
  // A square with an inner point, a duplicate of vertex 2, and a segment from corner 1 to the inner
  // point; numbered from 1 as Triangle's own files usually are.
  const std::string poly(writeText("A.poly",
                                   "# square\n6 2 0 1\n1 0 0 1\n2 4 0 1\n3 4 4 1\n4 0 4 1\n5 1 3 0\n6 4 0 0\n"
                                   "2 0\n1 1 5\n2 3 4\n1\n1 9 9\n"));
  const zarn_test::ToolResult r(run("'" + poly + "' --write-triangle A.1 --check"));
  ASSERT_EQ(r.exitCode, 0) << r.err;
  EXPECT_NE(r.err.find("Read 6 vertices, 2 segments and 1 holes from the .poly file "), std::string::npos) << r.err;
  // Two segments enclose nothing: the domain would be empty, so every triangle stays (said).
  EXPECT_NE(r.err.find("A hole point lies outside the triangulation and is ignored"), std::string::npos) << r.err;
  EXPECT_NE(r.err.find("the segments enclose no region"), std::string::npos) << r.err;

  const zarn_test::Rows vNodes(rows("A.1.node")), vTriangles(rows("A.1.ele")), vNeighbours(rows("A.1.neigh")), vEdges(rows("A.1.edge")),
      vPoly(rows("A.1.poly"));
  const double aInput[6][2] = {{0, 0}, {4, 0}, {4, 4}, {0, 4}, {1, 3}, {4, 0}};
  ASSERT_EQ(vNodes.size(), 6u);  // no vertex was added
  for (size_t i = 0; i < 6; ++i) EXPECT_EQ(vNodes[i], (std::vector<double>{double(i + 1), aInput[i][0], aInput[i][1]})) << i;

  // The same triangles as the library makes of the same input; each counterclockwise, never using
  // the duplicate row 6, and its neighbour across each edge has that edge too.
  Zarn_2D dt;
  std::vector<Point2> vPoints;
  for (const auto& p : aInput) vPoints.emplace_back(p[0], p[1]);
  dt.insert(vPoints);
  ASSERT_EQ(vTriangles.size(), dt.numberOfTriangles());
  ASSERT_EQ(vNeighbours.size(), vTriangles.size());
  std::set<std::pair<int, int>> sEdges;
  for (size_t t = 0; t < vTriangles.size(); ++t) {
    ASSERT_EQ(vTriangles[t].size(), 4u);
    EXPECT_EQ(vTriangles[t][0], double(t + 1));
    const int a(int(vTriangles[t][1])), b(int(vTriangles[t][2])), c(int(vTriangles[t][3]));
    for (int v : {a, b, c}) EXPECT_TRUE(v >= 1 && v <= 5) << v;
    if (a > 5 || b > 5 || c > 5 || a < 1 || b < 1 || c < 1) continue;
    EXPECT_EQ(getOrientation2(&vPoints[a - 1], &vPoints[b - 1], &vPoints[c - 1]), ORIENTATION2_CCW);
    const int aCorner[3] = {a, b, c};
    for (int i = 0; i < 3; ++i) {
      sEdges.insert(std::minmax(aCorner[(i + 1) % 3], aCorner[(i + 2) % 3]));
      const int n(int(vNeighbours[t][1 + i]));
      if (n < 0) continue;
      const std::vector<double>& other(vTriangles[size_t(n - 1)]);
      const std::set<double> sOther(other.begin() + 1, other.end());
      EXPECT_TRUE(sOther.count(aCorner[(i + 1) % 3]) == 1 && sOther.count(aCorner[(i + 2) % 3]) == 1) << t << " " << i;
    }
  }
  EXPECT_EQ(vEdges.size(), sEdges.size());
  // The .poly lists both segments (unsplit: nothing crosses them) and the hole.
  ASSERT_EQ(vPoly.size(), 5u);
  EXPECT_EQ(std::set<double>(vPoly[1].begin() + 1, vPoly[1].end()), (std::set<double>{1, 5}));
  EXPECT_EQ(std::set<double>(vPoly[2].begin() + 1, vPoly[2].end()), (std::set<double>{3, 4}));
  EXPECT_EQ(vPoly[4], (std::vector<double>{1, 9, 9}));

  // -z numbers everything from 0; the written .node reads back as the same vertices.
  const zarn_test::ToolResult zero(run("A.1.node -z --write-triangle B"));
  ASSERT_EQ(zero.exitCode, 0) << zero.err;
  const zarn_test::Rows vZero(rows("B.ele"));
  ASSERT_EQ(vZero.size(), vTriangles.size());
  EXPECT_EQ(rows("B.node")[5], (std::vector<double>{5, 4, 0}));
}

TEST_F(ToolFiles, SteinerVerticesFollowTheInputAndEleEdgesAreKept) {
  // Two crossing segments add their crossing as a vertex after the four input vertices.
  writeText("X.node", "4 2 0 0\n0 0 0\n1 2 0\n2 2 2\n3 0 2\n");
  writeText("X.poly", "0 2 0 0\n2 0\n0 0 2\n1 1 3\n");
  const zarn_test::ToolResult r(run("X.poly --write-triangle Y -z"));
  ASSERT_EQ(r.exitCode, 0) << r.err;
  const zarn_test::Rows vNodes(rows("Y.node"));
  ASSERT_EQ(vNodes.size(), 5u);
  EXPECT_EQ(vNodes[4], (std::vector<double>{4, 1, 1}));
  EXPECT_EQ(rows("Y.poly")[0], (std::vector<double>{4, 0}));  // four pieces
  // The .ele read back (with its .node) keeps every triangle: its edges are constraints.
  const zarn_test::ToolResult back(run("Y.ele --check"));
  ASSERT_EQ(back.exitCode, 0) << back.err;
  EXPECT_NE(back.err.find("Read 4 triangles (8 edges, inserted as constraints) from "), std::string::npos) << back.err;
  EXPECT_NE(back.err.find("Vertices: 5, triangles: 4, constraint graphs: 1, alive constraint pieces: 8, split segments: 0"),
            std::string::npos) << back.err;
}

TEST_F(ToolFiles, StandardOutputCarriesOnlyDataAndCountsAreTrue) {
  const std::string points(writeText("p.txt", "0 0\n1 0\n0 1\n1 1\n0.5 0.5\n0.5 0.5\n0.25 0.5\n"));
  const zarn_test::ToolResult r(run("--write-ascii=- '" + points + "' --remove 2"));
  ASSERT_EQ(r.exitCode, 0) << r.err;
  EXPECT_NE(r.err.find("7 points, 1 duplicate merged, 1 thread)"), std::string::npos) << r.err;
  const std::vector<std::pair<unsigned long, unsigned long>> vCounts(countLines(r.err));
  ASSERT_EQ(vCounts.size(), 2u) << r.err;
  std::smatch match;
  ASSERT_TRUE(std::regex_search(r.err, match, std::regex("removed (\\d+) vertices"))) << r.err;
  EXPECT_EQ(std::stoul(match[1]), vCounts[0].first - vCounts[1].first);
  std::istringstream data(r.out);
  size_t numLines(0);
  for (double x, y; data >> x >> y;) ++numLines;
  EXPECT_TRUE(data.eof()) << r.out;
  EXPECT_EQ(numLines, vCounts[1].first);

  // --segments alone triangulates the segment endpoints only; -Q keeps standard error empty.
  const std::string square(writeText("sq.txt", "0 0 1 0\n1 0 1 1\n1 1 0 1\n0 1 0 0\n"));
  const zarn_test::ToolResult alone(run("-Q --segments '" + square + "' --obj -"));
  ASSERT_EQ(alone.exitCode, 0) << alone.err;
  EXPECT_EQ(alone.err, "");
  EXPECT_EQ(std::count(alone.out.begin(), alone.out.end(), 'v'), 4) << alone.out;
}

TEST_F(ToolFiles, StatisticsSurviveExtremeCoordinates) {
  const double big(std::numeric_limits<double>::max() / 2), tiny(std::numeric_limits<double>::denorm_min());
  std::ostringstream content;
  content.precision(17);
  content << -big << " " << -big << "\n" << big << " " << -big << "\n" << 0 << " " << big << "\n" << tiny << " " << tiny << "\n"
          << 0 << " " << 0 << "\n" << 1 << " " << 1e-300 << "\n";
  const std::string file(writeText("extreme.txt", content.str()));
  const zarn_test::ToolResult r(run("'" + file + "' --stats --check"));
  ASSERT_EQ(r.exitCode, 0) << r.err;
  const std::vector<std::pair<unsigned long, unsigned long>> vCounts(countLines(r.err));
  ASSERT_EQ(vCounts.size(), 1u) << r.err;
  // Every angle lands in the histogram: three per triangle.
  static const std::regex bin("degrees: +(\\d+)");
  unsigned long numAngles(0);
  for (std::sregex_iterator it(r.err.begin(), r.err.end(), bin), end; it != end; ++it) numAngles += std::stoul((*it)[1]);
  EXPECT_EQ(numAngles, 3 * vCounts[0].second) << r.err;
  EXPECT_EQ(r.err.find("nan"), std::string::npos) << r.err;
}

// The square with a hole: the domain (area 96) is
// shown, written and refined; the outside vertex is used by no triangle.
TEST_F(ToolFiles, PolyDomainLeavesOutTheOutsideAndTheHolesAndIsRefinedWithinBounds) {
  writeText("A.poly", kSquareWithHole);
  for (const std::string refine : {"", " -q25 --max-area 2"}) {
    const zarn_test::ToolResult r(run("A.poly --check --stats --write-triangle B --obj a.obj" + refine));
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_NE(r.err.find("  valid: "), std::string::npos) << r.err;
    std::smatch m;
    ASSERT_TRUE(std::regex_search(r.err, m, std::regex("triangles: (\\d+), edges: \\d+, constraint pieces: \\d+\n  area: ([0-9.e+-]+), triangle area min/max: [0-9.e+-]+ / ([0-9.e+-]+)"))) << r.err;
    EXPECT_NEAR(std::stod(m[2]), 96.0, 1e-9);
    EXPECT_LE(std::stod(m[3]), refine.empty() ? 100.0 : 2.0);
    const zarn_test::Rows vTriangles(rows("B.ele"));
    EXPECT_EQ(vTriangles.size(), std::stoul(m[1]));
    for (const std::vector<double>& row : vTriangles) EXPECT_TRUE(row[1] != 9 && row[2] != 9 && row[3] != 9) << "a triangle uses the outside vertex";
    const std::string obj(read("a.obj"));
    EXPECT_EQ(static_cast<unsigned long>(std::count(obj.begin(), obj.end(), 'f')), vTriangles.size());
    ASSERT_TRUE(std::regex_search(r.err, m, std::regex("angle min/max: ([0-9.e+-]+) /"))) << r.err;
    EXPECT_GE(std::stod(m[1]), refine.empty() ? 0.0 : 25.0);
  }
}

/// The d attribute of the path with the given class.
std::string pathOf(const std::string& html, const std::string& cssClass) {
  const size_t start(html.find("<path class=\"" + cssClass + "\" d=\""));
  if (start == std::string::npos) return "";
  const size_t begin(html.find("d=\"", start) + 3);
  return html.substr(begin, html.find('"', begin) - begin);
}

TEST_F(ToolFiles, HtmlViewerIsSelfContainedWithTrueCounts) {
  writeText("A.poly", kSquareWithHole);
  const zarn_test::ToolResult r(run("A.poly --min-angle 25 --html view.html --vertices"));
  ASSERT_EQ(r.exitCode, 0) << r.err;
  const std::string html(read("view.html"));
  EXPECT_EQ(countOf(html, "src="), 0u);
  EXPECT_EQ(countOf(html, "href="), 0u);
  std::smatch match;
  ASSERT_TRUE(std::regex_search(r.err, match, std::regex("(\\d+) zone triangles"))) << r.err;
  const std::string region(match[1]);
  EXPECT_EQ(countOf(pathOf(html, "region"), "Z"), std::stoul(region));
  EXPECT_NE(html.find("region: " + region + "<br>"), std::string::npos);
  const size_t numPieces(countOf(pathOf(html, "pieces"), "M"));
  EXPECT_GE(numPieces, 8u);  // the eight segments, split by the refinement
  EXPECT_NE(html.find("constraint pieces: " + std::to_string(numPieces) + "<br>"), std::string::npos);
  EXPECT_EQ(countOf(html, "<circle class=\"input\""), 9u);
  EXPECT_GT(countOf(html, "<circle class=\"added\""), 0u);
  // The script at least parses (node, when installed).
  const std::string script(html.substr(html.find("<script>") + 8, html.find("</script>") - html.find("<script>") - 8));
  writeText("viewer.js", script);
  if (std::system("node --version > /dev/null 2>&1") == 0) {
    EXPECT_EQ(std::system(("node --check '" + path("viewer.js") + "'").c_str()), 0);
  }
}

TEST_F(ToolFiles, LargeDrawingsAreThinnedUnlessAWindowIsAsked) {
  const zarn_test::ToolResult big(run("--demo 60000 --svg big.svg"));
  ASSERT_EQ(big.exitCode, 0) << big.err;
  EXPECT_TRUE(std::regex_search(big.err, std::regex("big.svg shows 1 in 3 of 1\\d{5} triangles \\(more than 50000\\)"))) << big.err;
  // A filled triangle is drawn as its fill and its outline: two polygons.
  EXPECT_LE(countOf(read("big.svg"), "<polygon "), 2 * 50000u);
  const zarn_test::ToolResult part(run("--demo 60000 --svg=part.svg --window=0.4,0.4,0.5,0.5"));
  ASSERT_EQ(part.exitCode, 0) << part.err;
  EXPECT_EQ(part.err.find("shows 1 in"), std::string::npos) << part.err;
  const size_t numDrawn(countOf(read("part.svg"), "<polygon "));
  EXPECT_GT(numDrawn, 2 * 1000u);  // about 1% of 120000 triangles
  EXPECT_LT(numDrawn, 2 * 3000u);
  EXPECT_EQ(run("--demo 10 --window 1,0,0,1 --svg w.svg").exitCode, 1);
}

}  // namespace
