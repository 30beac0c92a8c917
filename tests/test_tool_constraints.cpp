// The zarn2d tool with constraint segments, run as a separate process: the counts it prints are
// compared with the library called directly on the same input (both strategies, one or two graphs,
// with and without points), the pieces it writes and the demo constraints.
#include <gtest/gtest.h>

#include <array>
#include <regex>

#include "cdt_test_support.h"
#include "file_test_support.h"

using namespace KORA_ZARN2D;

namespace {

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
    const zarn_test::ToolResult r(run(c.arguments + " --check"));
    ASSERT_EQ(r.exitCode, 0) << c.arguments << r.err;
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
  const zarn_test::ToolResult r(run("--demo 2000 --demo-constraints --check --remove 7 --svg demo.svg"));
  ASSERT_EQ(r.exitCode, 0) << r.err;
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

}  // namespace
