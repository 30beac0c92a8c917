// zarn2d mesh, run as a separate process: .poly and segment input, the written .node/.ele/.poly
// files checked independently (input vertices first, angles, area), exit statuses.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "test_support.h"

namespace fs = std::filesystem;

namespace {

const char* const kSquareWithHolePoly =
    "# a square with a square hole\n"
    "8 2 0 1\n"
    "1 0 0\n2 10 0\n3 10 10\n4 0 10  # corners\n5 4 4\n6 6 4\n7 6 6\n8 4 6\n"
    "8 1\n1 1 2\n2 2 3\n3 3 4\n4 4 1\n5 5 6\n6 6 7\n7 7 8\n8 8 5\n"
    "1\n1 5 5\n"
    "1\n1 1 1 7 0.5\n";

class ToolMesh : public ::testing::Test {
 protected:
  void SetUp() override {
#ifndef ZARN_TOOL_PATH
    GTEST_SKIP() << "the zarn2d tool is not built";
#endif
    dir = fs::temp_directory_path() / ("zarn_tool_mesh_" + std::to_string(getpid()) + "_" +
                                       ::testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::remove_all(dir);
    fs::create_directories(dir);
    std::ofstream(dir / "sq.poly") << kSquareWithHolePoly;
  }
  void TearDown() override {
    if (!HasFailure()) fs::remove_all(dir);
  }
  /// Runs the tool in the test directory; returns its exit status, output in out (stdout, stderr).
  int run(const std::string& arguments) {
#ifdef ZARN_TOOL_PATH
    const std::string command("cd '" + dir.string() + "' && '" + ZARN_TOOL_PATH + "' mesh " + arguments + " > out.txt 2>&1");
    const int status(std::system(command.c_str()));
    out = zarn_test::readFile((dir / "out.txt").string());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
#else
    (void)arguments;
    return -1;
#endif
  }
  /// The numbers of a Triangle-style file, comments and line structure ignored.
  std::vector<double> numbers(const std::string& name) const {
    std::istringstream in(zarn_test::readFile((dir / name).string()));
    std::vector<double> v;
    for (double x; in >> x;) v.push_back(x);
    return v;
  }
  fs::path dir;
  std::string out;
};

TEST_F(ToolMesh, WritesAQualityMeshOfThePolyDomain) {
  ASSERT_EQ(run("sq.poly -q 30 --max-edge 0.8 --ps sq.ps"), 0) << out;
  EXPECT_NE(out.find("Note: regional attributes and area constraints are ignored"), std::string::npos);
  const std::vector<double> vNode(numbers("sq.1.node")), vEle(numbers("sq.1.ele")), vPoly(numbers("sq.1.poly"));
  ASSERT_GE(vNode.size(), 4u);
  const size_t numVertices(static_cast<size_t>(vNode[0]));
  ASSERT_EQ(vNode.size(), 4 + 3 * numVertices);
  // The input vertices first, in input order, numbered from the input's first index.
  const double aInput[8][2] = {{0, 0}, {10, 0}, {10, 10}, {0, 10}, {4, 4}, {6, 4}, {6, 6}, {4, 6}};
  for (size_t i = 0; i < 8; ++i) {
    EXPECT_EQ(vNode[4 + 3 * i], i + 1.0);
    EXPECT_EQ(vNode[5 + 3 * i], aInput[i][0]);
    EXPECT_EQ(vNode[6 + 3 * i], aInput[i][1]);
  }
  const size_t numTriangles(static_cast<size_t>(vEle[0]));
  ASSERT_EQ(vEle.size(), 3 + 4 * numTriangles);
  EXPECT_NE(out.find("triangles in the domain: " + std::to_string(numTriangles)), std::string::npos);
  double area(0.0), minAngle(180.0), maxEdge(0.0);
  for (size_t t = 0; t < numTriangles; ++t) {
    double aX[3], aY[3];
    for (int k = 0; k < 3; ++k) {
      const size_t v(static_cast<size_t>(vEle[4 + 4 * t + k]) - 1);
      ASSERT_LT(v, numVertices);
      aX[k] = vNode[5 + 3 * v];
      aY[k] = vNode[6 + 3 * v];
    }
    area += 0.5 * ((aX[1] - aX[0]) * (aY[2] - aY[0]) - (aY[1] - aY[0]) * (aX[2] - aX[0]));
    for (int k = 0; k < 3; ++k) {
      const double ax(aX[(k + 1) % 3] - aX[k]), ay(aY[(k + 1) % 3] - aY[k]), bx(aX[(k + 2) % 3] - aX[k]), by(aY[(k + 2) % 3] - aY[k]);
      minAngle = std::min(minAngle, std::atan2(std::fabs(ax * by - ay * bx), ax * bx + ay * by) * 180.0 / M_PI);
      maxEdge = std::max(maxEdge, std::hypot(ax, ay));
    }
  }
  EXPECT_NEAR(area, 96.0, 1e-9);
  EXPECT_GE(minAngle, 30.0);
  EXPECT_LE(maxEdge, 0.8);
  // The .poly lists the segment pieces and the hole; the picture exists.
  ASSERT_GE(vPoly.size(), 6u);
  EXPECT_GT(vPoly[4], 8.0);
  EXPECT_TRUE(fs::file_size(dir / "sq.ps") > 0);
}

TEST_F(ToolMesh, SegmentFilesAndTheGrid) {
  std::ofstream(dir / "tri.txt") << "0 0 4 0\n4 0 0 3\n0 3 0 0\n";
  EXPECT_EQ(run("tri.txt -q 25 --grid 0.2,15 --out grid"), 0) << out;
  EXPECT_NE(out.find("grid vertices"), std::string::npos) << out;
  EXPECT_TRUE(fs::exists(dir / "grid.1.ele"));
}

TEST_F(ToolMesh, BadInputAndEarlyStopsExitNonZero) {
  std::ofstream(dir / "bad.poly") << "3 2 0 0\n1 0 0\n2 1 0\n3 0 1\n1 0\n1 1 4\n";
  struct Case {
    std::string arguments;
    int exitCode;
    std::string message;
  } aCases[] = {{"sq.poly -q 35", 1, "-q must be at most 30 degrees"},
                {"missing.poly", 1, "cannot read missing.poly"},
                {"bad.poly", 1, "bad.poly, line 6: segment endpoint is not a vertex index"},
                {"sq.poly --max-edge 0.1 --max-steiner 20", 2, "vertex budget reached"},
                {"sq.poly --frobnicate", 1, "unknown option --frobnicate"},
                {"--help", 0, "zarn2d mesh - quality triangular mesh"}};
  for (const Case& c : aCases) {
    EXPECT_EQ(run(c.arguments), c.exitCode) << c.arguments << "\n" << out;
    EXPECT_NE(out.find(c.message), std::string::npos) << c.arguments << "\n" << out;
  }
}

}  // namespace
