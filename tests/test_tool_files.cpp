// The zarn2d tool's input and output files: strict reading of every point format (bad lines are
// reported with their number and exit status 1), Triangle's files written back and checked
// against the library, standard output for "-", statistics, drawings and the viewer page.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <numeric>
#include <regex>
#include <set>

#include "Zarn_2D.h"
#include "file_test_support.h"

using namespace KORA_ZARN2D;

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
  const zarn_test::ToolResult r(run("square.poly --write-triangle A.1"));
  ASSERT_EQ(r.exitCode, 0) << r.err;
  const zarn_test::Rows vNodes(rows("A.1.node")), vTriangles(rows("A.1.ele")), vNeighbours(rows("A.1.neigh"));
  ASSERT_EQ(vNodes, (zarn_test::Rows{{1, 0, 0}, {2, 4, 0}, {3, 4, 4}, {4, 0, 4}, {5, 1, 3}, {6, 4, 0}}));
  std::vector<Point2> vPoints;
  for (const std::vector<double>& node : vNodes) vPoints.emplace_back(node[1], node[2]);
  Zarn_2D dt;
  dt.insert(vPoints);
  std::vector<Triangle2*> vT;
  dt.getTrianglePointers(vT);
  std::set<std::set<Point2>> sLibrary, sWritten;
  for (const Triangle2* pT : vT) sLibrary.insert({*pT->getCorner(0), *pT->getCorner(1), *pT->getCorner(2)});
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
  const zarn_test::ToolResult r(run("extreme.txt --stats --check"));
  ASSERT_EQ(r.exitCode, 0) << r.err;
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
    const zarn_test::ToolResult r(run("square_hole.poly --check --stats --write-triangle B --obj a.obj" + refine));
    ASSERT_EQ(r.exitCode, 0) << r.err;
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
  const zarn_test::ToolResult big(run("--demo 60000 --svg big.svg"));
  ASSERT_EQ(big.exitCode, 0) << big.err;
  EXPECT_TRUE(std::regex_search(big.err, std::regex("big.svg shows 1 in 3 of 1\\d{5} triangles \\(more than 50000\\)"))) << big.err;
  // A filled triangle is drawn as its fill and its outline: two polygons.
  EXPECT_LE(countOf(read("big.svg"), "<polygon "), 2 * 50000u);
  const zarn_test::ToolResult part(run("--demo 60000 --svg=part.svg --window=0.4,0.4,0.5,0.5"));
  ASSERT_TRUE(part.exitCode == 0 && part.err.find("shows 1 in") == std::string::npos) << part.err;
  const size_t numDrawn(countOf(read("part.svg"), "<polygon "));
  EXPECT_TRUE(numDrawn > 2 * 1000u && numDrawn < 2 * 3000u) << numDrawn;  // about 1% of 120000 triangles
}

}  // namespace
