// zarn2d mesh and zarn2d cut, run as separate processes: the written .node/.ele files read back
// into a triangulation and checked by the exact mesh check (input vertices first, angles, edge
// lengths, exact area; the cut's zone against the library's cookie cutter called directly on the
// same input), exit statuses.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>

#include "cdt_test_support.h"
#include "file_test_support.h"
#include "zone_test_support.h"

using namespace KORA_ZARN2D;
namespace fs = std::filesystem;

namespace {

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
    const zarn_test::ToolResult r(run(std::string("mesh ") + c.arguments));
    ASSERT_EQ(r.exitCode, 0) << c.arguments << r.err;
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
    const zarn_test::ToolResult result(run("cut " + std::string(mesh) + " square.txt --node zone --obj zone.obj --svg zone.svg --drape d.txt"));
    ASSERT_EQ(0, result.exitCode) << result.out << result.err;
    Zarn_2D written(0);
    EXPECT_EQ(vExpected, dt2test::triangleSignature(zonetest::trianglesOf(importMesh(written, "zone")))) << mesh;
    EXPECT_NE(std::string::npos, result.err.find("Read 2 triangles")) << result.err;
    EXPECT_TRUE(fs::file_size(dir / "zone.obj") > 0 && fs::file_size(dir / "zone.svg") > 0 && fs::file_size(dir / "d.txt") > 0);
  }
  const zarn_test::ToolResult lines(run("cut m.obj square.txt --lines --unprotected --node all"));
  ASSERT_EQ(0, lines.exitCode) << lines.err;
  Zarn_2D all(0);
  EXPECT_EQ(mpq_class(16), cdttest::exactArea(zonetest::trianglesOf(importMesh(all, "all"))));
  // Its help and failures are runs of the tool's table.
}

}  // namespace
