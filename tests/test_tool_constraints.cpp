// The zarn2d tool with constraint segments: it is run as a separate process on files written
// here, and the counts it prints are compared with the library called directly on the same input.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <regex>
#include <string>
#include <vector>

#include "ConstraintMgr.h"
#include "Dt2.h"
#include "Zarn_2D.h"
#include "tool_test_support.h"

using namespace KORA_ZARN2D;
namespace fs = std::filesystem;

namespace {

/// What the tool prints after the constraint step (and after a removal with constraints).
struct ConstraintCounts {
  unsigned long vertices = 0, triangles = 0, graphs = 0, alive = 0, split = 0;
  bool operator==(const ConstraintCounts& o) const {
    return vertices == o.vertices && triangles == o.triangles && graphs == o.graphs && alive == o.alive && split == o.split;
  }
};

std::ostream& operator<<(std::ostream& os, const ConstraintCounts& c) {
  return os << "{V " << c.vertices << ", T " << c.triangles << ", graphs " << c.graphs << ", alive " << c.alive
            << ", split " << c.split << "}";
}

std::vector<Point2> randomPoints() {
  std::vector<Point2> vPoints;
  generateRandomPoints(400, 0.0, 1.0, vPoints, 4711u);
  vPoints.emplace_back(0.5, 0.5);    // the crossing of the diagonals below
  vPoints.emplace_back(0.25, 0.75);  // on the diagonal from (0.1, 0.9) to (0.9, 0.1)
  return vPoints;
}

class ToolConstraints : public zarn_test::ToolTest {
 protected:
  /// The point set of randomPoints() as a binary point file.
  std::string pointFile(const std::string& name) const {
    std::vector<Point2> vPoints(randomPoints());
    EXPECT_TRUE(writePointsBIN(path(name).c_str(), vPoints));
    return path(name);
  }
};

/// Every "Vertices: ..." line that carries the constraint counts, in output order.
std::vector<ConstraintCounts> parseCounts(const std::string& out) {
  static const std::regex pattern(
      "Vertices: (\\d+), triangles: (\\d+), constraint graphs: (\\d+), alive constraint pieces: (\\d+), "
      "split segments: (\\d+)\n");
  std::vector<ConstraintCounts> vCounts;
  for (std::sregex_iterator it(out.begin(), out.end(), pattern), end; it != end; ++it) {
    ConstraintCounts c;
    c.vertices = std::stoul((*it)[1]);
    c.triangles = std::stoul((*it)[2]);
    c.graphs = std::stoul((*it)[3]);
    c.alive = std::stoul((*it)[4]);
    c.split = std::stoul((*it)[5]);
    vCounts.push_back(c);
  }
  return vCounts;
}

ConstraintCounts countsOf(Zarn_2D& dt) {
  std::vector<ConstraintSegment2*> vAlive, vAll;
  dt.getAliveConstraintSegments(vAlive);
  dt.getAliveAndDeadConstraintSegments(vAll);
  ConstraintCounts c;
  c.vertices = dt.numberOfPoints();
  c.triangles = dt.numberOfTriangles();
  c.graphs = dt.getImpl()->getConstraintMgr()->getGraphs().size();
  c.alive = vAlive.size();
  c.split = vAll.size() - vAlive.size();
  return c;
}

/// The library's own answer: bulk insertion of the points, then one graph per segment list.
/// baseForFiles, when given, receives the library's writeConstraintsBIN output.
ConstraintCounts libraryCounts(const std::vector<Point2>& vPoints, std::vector<std::vector<Segment2>> vGraphs,
                               ConstraintInsertionStrategy cis, bool bOriented, const std::string& baseForFiles = "") {
  Zarn_2D dt;
  dt.setNumCPU(1);
  zarn_test::captureStdout([&]() {
    if (!vPoints.empty()) {
      dt.insert(vPoints);
      EXPECT_TRUE(dt.checkValidity(true, "points"));
    }
    for (std::vector<Segment2>& vSegments : vGraphs) {
      EXPECT_NE(dt.createConstraint(vSegments, cis, bOriented), nullptr);
      EXPECT_TRUE(dt.checkValidity(true, "constraints"));
    }
    if (!baseForFiles.empty()) dt.getImpl()->getConstraintMgr()->writeConstraintsBIN(baseForFiles);
  });
  return countsOf(dt);
}

// Diagonals crossing at a point of the set, one of them through another point, a polyline crossing
// them, and a segment reaching out of the point set: splits at existing vertices and at new crossings.
const char* const kSegmentText =
    "# diagonals\n"
    "0.1 0.1 0.9 0.9\n"
    "\n"
    "0.1 0.9 0.9 0.1\r\n"
    "   # indented comment\n"
    "0.05 0.3 0.95 0.35\n"
    "0.95 0.35 0.6 0.97\n"
    "\t0.6 0.97 0.02 0.6\n"
    "0 0.2 1e-1 0.2\n";

std::vector<Segment2> segmentsOfText() {
  return {Segment2(Point2(0.1, 0.1), Point2(0.9, 0.9)),    Segment2(Point2(0.1, 0.9), Point2(0.9, 0.1)),
          Segment2(Point2(0.05, 0.3), Point2(0.95, 0.35)), Segment2(Point2(0.95, 0.35), Point2(0.6, 0.97)),
          Segment2(Point2(0.6, 0.97), Point2(0.02, 0.6)),  Segment2(Point2(0, 0.2), Point2(0.1, 0.2))};
}

std::vector<Segment2> otherSegments() {
  std::vector<Segment2> vSegments;
  generateRandomSegments(40, 0.0, 1.0, 0.3, vSegments, 99u);
  return vSegments;
}


std::vector<Segment2> readPieces(const std::string& filename) {
  std::vector<Segment2> vSegments;
  EXPECT_TRUE(readSegmentsBIN(filename.c_str(), vSegments)) << filename;
  return vSegments;
}

bool isNear(const Point2& a, const Point2& b) {
  const double kTolerance(1e-12);
  return std::fabs(a.x() - b.x()) <= kTolerance && std::fabs(a.y() - b.y()) <= kTolerance;
}

/// Whether both lists hold the same undirected segments in any order, ends equal up to 1e-12.
/// Pieces run from the vertex with the lower address to the other one and their order follows
/// the split trees, so two processes agree only as sets. Where a segment meets several others,
/// its later crossings are computed on pieces that start at an earlier, rounded crossing; which
/// crossing comes first follows the address order too, so such points may differ in the last bit.
bool samePieces(const std::vector<Segment2>& vA, const std::vector<Segment2>& vB) {
  if (vA.size() != vB.size()) return false;
  std::vector<bool> vUsed(vB.size(), false);
  for (const Segment2& a : vA) {
    bool bFound(false);
    for (size_t i = 0; i < vB.size() && !bFound; ++i) {
      const Segment2& b(vB[i]);
      bFound = !vUsed[i] && ((isNear(a.getSrc(), b.getSrc()) && isNear(a.getTrg(), b.getTrg())) ||
                             (isNear(a.getSrc(), b.getTrg()) && isNear(a.getTrg(), b.getSrc())));
      if (bFound) vUsed[i] = true;
    }
    if (!bFound) {
      std::cout << "no counterpart for " << a << std::endl;
      return false;
    }
  }
  return true;
}

}  // namespace

TEST_F(ToolConstraints, TextSegmentFileMatchesLibraryAndIsValid) {
  const std::string points(pointFile("points.bin"));
  const std::string segments(writeText("segments.txt", kSegmentText));
  const zarn_test::ToolResult r(run("'" + points + "' --segments '" + segments + "' --check"));
  ASSERT_EQ(r.exitCode, 0) << r.err << r.err;
  EXPECT_NE(r.err.find("Read 6 segments from " + segments + "\n"), std::string::npos) << r.err;
  EXPECT_NE(r.err.find("Constraint insertion (constrained Delaunay): "), std::string::npos) << r.err;
  EXPECT_NE(r.err.find("\n  valid: "), std::string::npos) << r.err;

  const std::vector<ConstraintCounts> vCounts(parseCounts(r.err));
  ASSERT_EQ(vCounts.size(), 1u) << r.err;
  const ConstraintCounts expected(libraryCounts(randomPoints(), {segmentsOfText()}, CIS_CONSTRAINED_DELAUNAY, false));
  EXPECT_EQ(vCounts[0], expected);
  // The diagonals run through a vertex of the set and the polyline crosses them: there are splits.
  EXPECT_GE(expected.split, 4u);
  EXPECT_EQ(expected.graphs, 1u);
}

TEST_F(ToolConstraints, OnlySegmentEndpointsWithDemoZero) {
  // A unit square with both diagonals: the diagonals cross at the centre, which splits both.
  const std::string segments(
      writeText("square.txt", "0 0 1 0\n1 0 1 1\n1 1 0 1\n0 1 0 0\n0 0 1 1\n1 0 0 1\n"));
  const zarn_test::ToolResult r(run("--demo 0 --segments '" + segments + "' --check"));
  ASSERT_EQ(r.exitCode, 0) << r.err << r.err;
  EXPECT_NE(r.err.find("Demo input: no points, only the constraint endpoints\n"), std::string::npos) << r.err;
  EXPECT_EQ(r.err.find("Bulk insertion"), std::string::npos) << r.err;
  const std::vector<ConstraintCounts> vCounts(parseCounts(r.err));
  ASSERT_EQ(vCounts.size(), 1u) << r.err;
  ConstraintCounts expected;
  expected.vertices = 5;
  expected.triangles = 4;
  expected.graphs = 1;
  expected.alive = 8;
  expected.split = 2;
  EXPECT_EQ(vCounts[0], expected);
  EXPECT_NE(r.err.find("\n  valid: 5 vertices, 4 triangles"), std::string::npos) << r.err;
}

TEST_F(ToolConstraints, BinaryAndTextFilesOrientedAreTwoGraphsAndWriteTheLibrarysFiles) {
  const std::string points(pointFile("points.bin"));
  std::vector<Segment2> vOther(otherSegments());
  const std::string binary(path("other.bin"));
  ASSERT_TRUE(writeSegmentsBIN(binary.c_str(), vOther));
  const std::string text(writeText("segments.txt", kSegmentText));

  const zarn_test::ToolResult r(run("'" + points + "' --segments '" + binary + "' --segments '" + text +
                      "' --oriented --check --write-constraints tool"));
  ASSERT_EQ(r.exitCode, 0) << r.err << r.err;
  EXPECT_NE(r.err.find("Read 40 segments from " + binary + "\n"), std::string::npos) << r.err;
  EXPECT_NE(r.err.find("Constraint insertion (constrained Delaunay, oriented segments): "), std::string::npos) << r.err;
  EXPECT_NE(r.err.find("\n  valid: "), std::string::npos) << r.err;

  const std::vector<ConstraintCounts> vCounts(parseCounts(r.err));
  ASSERT_EQ(vCounts.size(), 1u) << r.err;
  const std::string libraryBase(path("library"));
  const ConstraintCounts expected(
      libraryCounts(randomPoints(), {otherSegments(), segmentsOfText()}, CIS_CONSTRAINED_DELAUNAY, true, libraryBase));
  EXPECT_EQ(vCounts[0], expected);
  EXPECT_EQ(expected.graphs, 2u);

  // One file per graph with the same pieces as the library writes.
  for (int i = 0; i < 2; ++i) {
    const std::string suffix("_c" + std::to_string(i) + "_con.bin");
    const std::vector<Segment2> vTool(readPieces(path("tool" + suffix)));
    EXPECT_FALSE(vTool.empty()) << "tool" << suffix;
    EXPECT_TRUE(samePieces(vTool, readPieces(libraryBase + suffix))) << suffix;
  }
  EXPECT_GT(readPieces(path("tool_c1_con.bin")).size(), segmentsOfText().size());  // the diagonals are split
  EXPECT_FALSE(fs::exists(path("tool_c2_con.bin")));
}

TEST_F(ToolConstraints, ConformingMatchesLibraryAndDiffersFromConstrained) {
  const std::string points(pointFile("points.bin"));
  const std::string segments(writeText("segments.txt", kSegmentText));
  const zarn_test::ToolResult conforming(run("'" + points + "' --segments '" + segments + "' --conforming --check"));
  ASSERT_EQ(conforming.exitCode, 0) << conforming.err << conforming.err;
  EXPECT_NE(conforming.err.find("Constraint insertion (conforming Delaunay): "), std::string::npos) << conforming.err;
  EXPECT_NE(conforming.err.find("\n  valid: "), std::string::npos) << conforming.err;
  const std::vector<ConstraintCounts> vCounts(parseCounts(conforming.err));
  ASSERT_EQ(vCounts.size(), 1u) << conforming.err;
  const ConstraintCounts expected(libraryCounts(randomPoints(), {segmentsOfText()}, CIS_CONFORMING_DELAUNAY, false));
  EXPECT_EQ(vCounts[0], expected);
  // Long segments among 400 points cannot all be Delaunay edges: conforming insertion adds vertices.
  const ConstraintCounts constrained(libraryCounts(randomPoints(), {segmentsOfText()}, CIS_CONSTRAINED_DELAUNAY, false));
  EXPECT_GT(expected.vertices, constrained.vertices);
  EXPECT_GT(expected.split, constrained.split);
}

TEST_F(ToolConstraints, MalformedSegmentFilesAreRejectedWithTheirLine) {
  struct Case {
    const char* content;
    const char* expectedError;  // after "zarn2d: <file>"
  };
  const Case aCases[] = {
      {"0 0 1 1\n# fine\n\n0 1 1 x\n", ", line 4: expected four numbers \"x0 y0 x1 y1\", got \"0 1 1 x\"; the segment file is rejected\n"},
      {"0 0 1\n", ", line 1: expected four numbers \"x0 y0 x1 y1\", got \"0 0 1\"; the segment file is rejected\n"},
      {"0 0 1 1\n0 0 1 1 5\n", ", line 2: expected four numbers \"x0 y0 x1 y1\", got \"0 0 1 1 5\"; the segment file is rejected\n"},
      {"0 0 1 1 # diagonal\n",
       ", line 1: expected four numbers \"x0 y0 x1 y1\", got \"0 0 1 1 # diagonal\"; the segment file is rejected\n"},
      {"0 0 nan 1\n", ", line 1: expected four numbers \"x0 y0 x1 y1\", got \"0 0 nan 1\"; the segment file is rejected\n"},
      {"# nothing but a comment\n\n", " holds no segments; the segment file is rejected\n"},
  };
  int index(0);
  for (const Case& c : aCases) {
    const std::string file(writeText("bad" + std::to_string(index++) + ".txt", c.content));
    const zarn_test::ToolResult r(run("--demo 10 --segments '" + file + "'"));
    EXPECT_EQ(r.exitCode, 1) << c.content;
    EXPECT_NE(r.err.find("zarn2d: " + file + c.expectedError), std::string::npos) << r.err;
    EXPECT_EQ(r.err.find("Vertices:"), std::string::npos) << r.err;  // nothing was triangulated
  }

  const zarn_test::ToolResult missing(run("--segments '" + path("missing.txt") + "'"));
  EXPECT_EQ(missing.exitCode, 1);
  EXPECT_NE(missing.err.find("zarn2d: " + path("missing.txt") + " can't be read\n"), std::string::npos) << missing.err;

  // A good file before a bad one does not save the run.
  const std::string good(writeText("good.txt", "0 0 1 1\n"));
  const std::string bad(writeText("bad.txt", "0 0 1 1\n2 2\n"));
  const zarn_test::ToolResult mixed(run("--demo 10 --segments '" + good + "' --segments '" + bad + "'"));
  EXPECT_EQ(mixed.exitCode, 1);
  EXPECT_NE(mixed.err.find(bad + ", line 2: "), std::string::npos) << mixed.err;
  EXPECT_EQ(mixed.err.find("Constraint insertion"), std::string::npos) << mixed.err;
}

TEST_F(ToolConstraints, ConstraintOptionsWithoutConstraintsAreErrors) {
  for (const std::string option : {"--conforming", "--oriented", "--write-constraints base"}) {
    const zarn_test::ToolResult r(run("--demo 10 " + option));
    EXPECT_EQ(r.exitCode, 1) << option;
    const std::string name(option.substr(0, option.find(' ')));
    EXPECT_EQ(r.err, "zarn2d: " + name + " needs --segments or --demo-constraints (see --help)\n");
  }
  const zarn_test::ToolResult r(run("--segments"));
  EXPECT_EQ(r.exitCode, 1);
  EXPECT_EQ(r.err, "zarn2d: --segments needs a value (see --help)\n");
}

TEST_F(ToolConstraints, DemoConstraintsAreValidDrawnAndSurviveRemoval) {
  const zarn_test::ToolResult r(run("--demo 2000 --demo-constraints --check --remove 7 --svg demo.svg"));
  ASSERT_EQ(r.exitCode, 0) << r.err << r.err;
  EXPECT_NE(r.err.find("Demo constraints: a star polygon of 1000 segments and 100 random segments of length 0.1 crossing it\n"),
            std::string::npos)
      << r.err;
  EXPECT_NE(r.err.find("\n  valid: "), std::string::npos) << r.err;
  EXPECT_EQ(r.err.find("INVALID"), std::string::npos) << r.err;

  // After the constraints and after the removal.
  const std::vector<ConstraintCounts> vCounts(parseCounts(r.err));
  ASSERT_EQ(vCounts.size(), 2u) << r.err;
  const ConstraintCounts& inserted(vCounts[0]);
  EXPECT_EQ(inserted.graphs, 2u);
  // Every crossing segment meets the star, so each of them is split at least once; each split turns
  // one alive segment into two: 1100 segments plus one piece per split.
  EXPECT_GE(inserted.split, 100u);
  EXPECT_EQ(inserted.alive, 1100u + inserted.split);
  EXPECT_LT(vCounts[1].vertices, inserted.vertices);
  EXPECT_EQ(vCounts[1].alive, inserted.alive);
  EXPECT_EQ(vCounts[1].split, inserted.split);
  EXPECT_TRUE(std::regex_search(r.err, std::regex("Removal \\(removed \\d+ vertices, \\d+ constraint vertices kept\\): ")))
      << r.err;

  // The pieces are drawn in their own colour on top of the triangles: one line per alive piece.
  const std::string svg(zarn_test::readFile(path("demo.svg")));
  size_t numLines(0);
  for (size_t pos = svg.find("<line "); pos != std::string::npos; pos = svg.find("<line ", pos + 1)) {
    const std::string element(svg.substr(pos, svg.find("/>", pos) - pos));
    EXPECT_NE(element.find("stroke=\"" + Color(CRED).toHex() + "\""), std::string::npos) << element;
    ++numLines;
  }
  EXPECT_EQ(numLines, inserted.alive);
  EXPECT_GT(svg.rfind("<line "), svg.rfind("<polygon "));

  // The demo is the same on every run.
  const zarn_test::ToolResult again(run("--demo 2000 --demo-constraints"));
  ASSERT_EQ(again.exitCode, 0) << again.err;
  const std::vector<ConstraintCounts> vAgain(parseCounts(again.err));
  ASSERT_EQ(vAgain.size(), 1u);
  EXPECT_EQ(vAgain[0], inserted);
}

// --zone on a ring with a hole, triangulated from the segment ends alone (--demo 0), so the areas
// are known: the region counts and areas printed, the OBJ holding the zone's triangles only, and
// refused values.
TEST_F(ToolConstraints, ZonesOfARingWithAHole) {
  const std::string rings(writeText("rings.txt",
                                    "0.2 0.2 0.8 0.2\n0.8 0.2 0.8 0.8\n0.8 0.8 0.2 0.8\n0.2 0.8 0.2 0.2\n"
                                    "0.4 0.4 0.4 0.6\n0.4 0.6 0.6 0.6\n0.6 0.6 0.6 0.4\n0.6 0.4 0.4 0.4\n"));
  struct Case {
    const char* zone;
    const char* name;
    double area;
  };
  for (const Case& c : {Case{"inside", "inside", 0.32}, Case{"outside", "outside", 0.04}, Case{"global", "global", 0.36},
                        Case{"grow:0.5,0.5", "grown", 0.04}, Case{"grow:0.3,0.7", "grown", 0.32}}) {
    SCOPED_TRACE(c.zone);
    const zarn_test::ToolResult r(run("--demo 0 --segments '" + rings + "' --zone " + c.zone + " --obj zone.obj"));
    ASSERT_EQ(r.exitCode, 0) << r.err;
    std::smatch m;
    ASSERT_TRUE(std::regex_search(r.err, m, std::regex(std::string("Zone ") + c.name + ": (\\d+) triangles in 1 region\\(s\\), area ([0-9.e-]+)")))
        << r.err;
    EXPECT_NEAR(std::stod(m[2]), c.area, 1e-12);
    const std::string obj(zarn_test::readFile(path("zone.obj")));
    EXPECT_EQ(static_cast<unsigned long>(std::count(obj.begin(), obj.end(), 'f')), std::stoul(m[1]));
  }
  for (const char* bad : {"--zone grow:1", "--zone inner", "--zone inside --demo 10"}) {
    const zarn_test::ToolResult r(run(bad));
    EXPECT_EQ(r.exitCode, 1) << bad;
    EXPECT_NE(r.err.find("--zone"), std::string::npos) << r.err;
  }
}
