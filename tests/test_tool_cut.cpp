// zarn2d cut, run as a separate process on meshes written here: the zone it writes (.node/.ele)
// is compared with the library's cookie cutter called directly on the same input.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "Zarn_2D.h"
#include "cdt_test_support.h"
#include "file_test_support.h"

using namespace KORA_ZARN2D;
namespace fs = std::filesystem;

namespace {

// A 4 x 4 square in two triangles (the second given as a quad's fan in the OBJ file) and a
// square polygon [1, 3]^2 of area 4 inside it.
const char* const kObj = "# mesh\nv 0 0 0\nv 4 0 0\nv 4 4 0\nv 0 4 0\nf 1/1/1 2/2/2 3/3/3\nf -4 -2 -1\n";
const char* const kNode = "4 2 0 0\n0 0 0\n1 4 0\n2 4 4 # corner\n3 0 4\n";
const char* const kEle = "2 3 0\n0 0 1 2\n1 0 2 3\n";
const char* const kSquare = "1 1 3 1\n3 1 3 3\n3 3 1 3\n1 3 1 1\n";

class ToolCut : public zarn_test::ToolTest {
 protected:
  void SetUp() override {
    zarn_test::ToolTest::SetUp();
    for (const auto& file : {std::make_pair("m.obj", kObj), std::make_pair("m.node", kNode), std::make_pair("m.ele", kEle),
                             std::make_pair("square.txt", kSquare)}) {
      writeText(file.first, file.second);
    }
  }
  // The exact area of the triangles of BASE.node/.ele (numbered from 1); sets numTriangles.
  mpq_class areaOfNodeEle(const std::string& base, size_t& numTriangles) const {
    std::ifstream node(dir / (base + ".node")), ele(dir / (base + ".ele"));
    size_t numVertices(0), index(0), a(0), b(0), c(0);
    node >> numVertices >> a >> b >> c;
    std::vector<Point2> vVertices(numVertices + 1);
    for (double x(0.0), y(0.0); node >> index >> x >> y;) vVertices.at(index) = Point2(x, y);
    mpq_class area(0);
    for (ele >> numTriangles >> a >> b; ele >> index >> a >> b >> c;) area += abs(cdttest::exactDoubleArea(vVertices.at(a), vVertices.at(b), vVertices.at(c)));
    return area / 2;
  }
};

TEST_F(ToolCut, WritesTheZoneOfEitherMeshFormat) {
  // The library directly, on the same mesh and polygon.
  Zarn_2D dt(0);
  std::vector<Point2> vMesh{Point2(0, 0), Point2(4, 0), Point2(4, 4), Point2(0, 0), Point2(4, 4), Point2(0, 4)};
  dt.importTriangles(vMesh, false, false);
  std::vector<Segment2> vSquare{Segment2(Point2(1, 1), Point2(3, 1)), Segment2(Point2(3, 1), Point2(3, 3)),
                                Segment2(Point2(3, 3), Point2(1, 3)), Segment2(Point2(1, 3), Point2(1, 1))};
  std::vector<Triangle2*> vExpected;
  dt.createZone_cookieCutter(vSquare, true)->getTriangles(vExpected);
  for (const char* mesh : {"m.obj", "m.node", "m.ele"}) {
    const zarn_test::ToolResult result(run("cut " + std::string(mesh) + " square.txt --node zone --obj zone.obj --svg zone.svg --drape d.txt"));
    ASSERT_EQ(0, result.exitCode) << result.out << result.err;
    size_t numTriangles(0);
    EXPECT_EQ(mpq_class(4), areaOfNodeEle("zone", numTriangles)) << mesh;
    EXPECT_EQ(vExpected.size(), numTriangles) << mesh;
    EXPECT_NE(std::string::npos, result.err.find("Read 2 triangles")) << result.err;
    EXPECT_TRUE(fs::file_size(dir / "zone.obj") > 0 && fs::file_size(dir / "zone.svg") > 0 && fs::file_size(dir / "d.txt") > 0);
  }
  const zarn_test::ToolResult lines(run("cut m.obj square.txt --lines --unprotected --node all"));
  ASSERT_EQ(0, lines.exitCode) << lines.err;
  size_t numTriangles(0);
  EXPECT_EQ(mpq_class(16), areaOfNodeEle("all", numTriangles));
  writeText("open.txt", "1 1 3 1\n3 1 3 3\n");
  const zarn_test::ToolResult open(run("cut m.obj open.txt"));
  EXPECT_EQ(1, open.exitCode);
  EXPECT_NE(std::string::npos, open.err.find("zarn2d cut: no zone: the segments must form one simple closed polygon\n")) << open.err;
  EXPECT_EQ(std::string::npos, open.err.find("warning")) << open.err;  // one line for one problem
  const zarn_test::ToolResult help(run("cut --help"));  // its other failures are checked with the tool's others
  EXPECT_EQ(0, help.exitCode);
  EXPECT_NE(std::string::npos, help.out.find("zarn2d cut MESH SEGMENTFILE [options]"));
}

}  // namespace
