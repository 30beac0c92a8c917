// zarn2d mesh, run as a separate process: the written .node/.ele files checked independently
// (input vertices first, angles, edge lengths, exact area of the domain), exit statuses.
#include <gtest/gtest.h>

#include <cmath>

#include "cdt_test_support.h"
#include "file_test_support.h"

using namespace KORA_ZARN2D;

namespace {

class ToolMesh : public zarn_test::ToolTest {};

TEST_F(ToolMesh, QualityMeshOfAPolyDomainAndOfASegmentFile) {
  // A 10 x 10 square with a 2 x 2 hole (boundary markers announced but left out, as Triangle
  // allows), and a 4-3-5 triangle given as segments.
  writeText("sq.poly", "8 2 0 1\n1 0 0\n2 10 0\n3 10 10\n4 0 10 # corner\n5 4 4\n6 6 4\n7 6 6\n8 4 6\n"
                       "8 1\n1 1 2\n2 2 3\n3 3 4\n4 4 1\n5 5 6\n6 6 7\n7 7 8\n8 8 5\n1\n1 5 5\n1\n1 1 1 7 0.5\n");
  writeText("tri.txt", "0 0 4 0\n4 0 0 3\n0 3 0 0\n");
  struct Case {
    const char* arguments;
    const char* base;
    std::vector<Point2> vInput;
    double area, minAngle, maxEdge;
  };
  const Case aCases[] = {
      {"sq.poly -q 30 --max-edge 0.8 --svg sq.svg", "sq.1", {{0, 0}, {10, 0}, {10, 10}, {0, 10}, {4, 4}, {6, 4}, {6, 6}, {4, 6}}, 96, 30.0, 0.8},
      {"tri.txt -q 25 --grid 0.2,15 --out grid", "grid.1", {{0, 0}, {4, 0}, {0, 3}}, 6, 25.0, HUGE_VAL},
  };
  for (const Case& c : aCases) {
    const zarn_test::ToolResult r(run(std::string("mesh ") + c.arguments));
    ASSERT_EQ(r.exitCode, 0) << c.arguments << r.err;
    const zarn_test::Rows vNodes(rows(std::string(c.base) + ".node")), vTriangles(rows(std::string(c.base) + ".ele"));
    for (size_t i = 0; i < c.vInput.size(); ++i) EXPECT_EQ(vNodes[i], (std::vector<double>{i + 1.0, c.vInput[i].x(), c.vInput[i].y()}));
    mpq_class area(0);
    double minAngle(180.0), maxEdge(0.0);
    for (const std::vector<double>& t : vTriangles) {
      Point2 aCorner[3];
      for (int k = 0; k < 3; ++k) aCorner[k] = Point2(vNodes.at(size_t(t[1 + k]) - 1)[1], vNodes.at(size_t(t[1 + k]) - 1)[2]);
      area += cdttest::exactDoubleArea(aCorner[0], aCorner[1], aCorner[2]);  // positive: counterclockwise
      for (int k = 0; k < 3; ++k) {
        const Point2 &o(aCorner[k]), &a(aCorner[(k + 1) % 3]), &b(aCorner[(k + 2) % 3]);
        const double ax(a.x() - o.x()), ay(a.y() - o.y()), bx(b.x() - o.x()), by(b.y() - o.y());
        minAngle = std::min(minAngle, std::atan2(std::fabs(ax * by - ay * bx), ax * bx + ay * by) * 180.0 / M_PI);
        maxEdge = std::max(maxEdge, std::hypot(ax, ay));
      }
    }
    EXPECT_NEAR(area.get_d(), 2 * c.area, 1e-12 * c.area) << c.arguments;  // Steiner points on a slanted segment are rounded
    EXPECT_GE(minAngle, c.minAngle) << c.arguments;
    EXPECT_LE(maxEdge, c.maxEdge) << c.arguments;
    EXPECT_NE(r.err.find("  vertices: " + std::to_string(vNodes.size()) + ", triangles: " + std::to_string(vTriangles.size())), std::string::npos);
  }
  EXPECT_NE(read("sq.svg").find("<polygon"), std::string::npos);
}

// Its failures are checked with the tool's others; a run stopped early exits with 2.
TEST_F(ToolMesh, EarlyStopExitsWithTwoAndHelpWithZero) {
  writeText("sq.txt", "0 0 1 0\n1 0 1 1\n1 1 0 1\n0 1 0 0\n");
  const zarn_test::ToolResult stopped(run("mesh sq.txt --max-edge 0.01 --max-steiner 20"));
  EXPECT_EQ(stopped.exitCode, 2) << stopped.err;
  EXPECT_NE((stopped.out + stopped.err).find("stopped: vertex budget reached"), std::string::npos) << stopped.err;
  const zarn_test::ToolResult help(run("mesh --help"));
  EXPECT_EQ(help.exitCode, 0);
  EXPECT_NE(help.out.find("zarn2d mesh - quality triangular mesh"), std::string::npos);
}

}  // namespace
