// OBJ export, the web-scene directory, createDirectory and fileReplicate.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <deque>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "Zarn_2D.h"
#include "file_test_support.h"
#include "webExport.h"

using namespace KORA_ZARN2D;
using zarn_test::captureStdout;
namespace fs = std::filesystem;

namespace {

// The viewer sources that the library embeds.
std::string webSource(const std::string& name) { return zarn_test::readFile((fs::path(__FILE__).parent_path().parent_path() / "web" / name).string()); }

std::string warningLines(const std::string& where, const std::string& msg) { return "\n      [Zarn2D-Message] " + where + ", WARNING: " + msg + "\n\n"; }

// Hand-made triangles: the points live in a deque so that their addresses stay stable.
class Export : public zarn_test::TempDirTest {
 protected:
  Point2* point(double x, double y) { return &vPoints.emplace_back(x, y); }
  Triangle2* triangle(Point2* a, Point2* b, Point2* c) {
    vStore.emplace_back().setProperties(a, b, c);
    vTriangles.push_back(&vStore.back());
    return vTriangles.back();
  }

  std::deque<Point2> vPoints;
  std::deque<Triangle2> vStore;
  std::vector<Triangle2*> vTriangles;
};

TEST_F(Export, ObjWritesSharedVerticesOnceInOrderOfFirstUse) {
  Point2 *a(point(0, 0)), *b(point(1, 0)), *c(point(0, 1)), *d(point(1, 1));
  triangle(a, b, c);
  triangle(d, c, b);  // corners in this triangle's own order: d is new, c and b are known
  ASSERT_TRUE(writeObjFile(path("two.obj"), vTriangles));
  EXPECT_EQ(read("two.obj"), "v 0 0 0 \nv 1 0 0 \nv 0 1 0 \nf 1 2 3\nv 1 1 0 \nf 4 3 2\n");
  ASSERT_TRUE(writeObjFile(path("empty.obj"), {}));
  EXPECT_EQ(read("empty.obj"), "");
  bool bWritten(true);
  EXPECT_EQ(captureStdout([&] { bWritten = writeObjFile(path("missing/x.obj"), {}); }), warningLines("writeObj", "Can't write " + path("missing/x.obj")));
  EXPECT_FALSE(bWritten);
}

TEST_F(Export, ObjCoordinatesReadBackExactly) {
  const double aValues[] = {0.1, 1.0 / 3.0, -2.0 / 7.0, 1e-300, 123456789.123456789, -9.87654321e15, std::nextafter(1.0, 2.0), 4.9406564584124654e-324};
  for (std::size_t i = 0; i + 2 < sizeof(aValues) / sizeof(aValues[0]); ++i) {
    Point2* p0(point(aValues[i], aValues[i + 1]));  // in this order: the file lists them so
    Point2* p1(point(aValues[i + 1], -aValues[i + 2]));
    triangle(p0, p1, point(-aValues[i + 2], aValues[i]));
  }
  ASSERT_TRUE(writeObjFile(path("exact.obj"), vTriangles));
  std::istringstream in(read("exact.obj"));
  std::size_t numVertices(0);
  for (std::string line; std::getline(in, line);) {
    if (line[0] != 'v') continue;
    ASSERT_LT(numVertices, vPoints.size());
    ASSERT_EQ(line.substr(line.size() - 3), " 0 ") << line;
    char* pEnd(nullptr);
    EXPECT_EQ(std::strtod(line.c_str() + 2, &pEnd), vPoints[numVertices].x()) << line;
    EXPECT_EQ(std::strtod(pEnd, &pEnd), vPoints[numVertices].y()) << line;
    ++numVertices;
  }
  EXPECT_EQ(numVertices, vPoints.size());
}

TEST_F(Export, WebSceneWritesPageScriptsAndMeshOrNothing) {
  triangle(point(0, 0), point(1, 0), point(0, 1));
  const std::string scene(path("scene"));
  bool bWritten(false);
  EXPECT_EQ(captureStdout([&] { bWritten = writeWebSceneFiles(scene.c_str(), vTriangles); }), "writeWebScene: Creating " + scene + "\n");
  EXPECT_TRUE(bWritten);
  EXPECT_EQ(std::distance(fs::directory_iterator(scene), fs::directory_iterator()), 5);
  for (const char* name : {"index.html", "jsc3d.js", "jsc3d.ctm.js", "jsc3d.touch.js"}) EXPECT_EQ(read(std::string("scene/") + name), webSource(name)) << name;
  EXPECT_EQ(read("scene/3d.obj"), "v 0 0 0 \nv 1 0 0 \nv 0 1 0 \nf 1 2 3\n");
  // Below a regular file: a warning, false, and nothing written.
  writeText("plain", "not a directory");
  const std::string below(path("plain/scene"));
  EXPECT_EQ(captureStdout([&] { bWritten = writeWebSceneFiles(below.c_str(), vTriangles); }), warningLines("Dt2::writeWebScene()", "Can't create directory " + below));
  EXPECT_FALSE(bWritten);
  EXPECT_EQ(read("plain"), "not a directory");
}

TEST_F(Export, CreateDirectoryBuildsMissingParentsAndAcceptsExistingPaths) {
  const fs::path nested(dir / "x" / "y" / "z");
  EXPECT_TRUE(createDirectory(nested.string().c_str()));
  EXPECT_TRUE(fs::is_directory(nested));
  EXPECT_TRUE(createDirectory(nested.string().c_str()));  // exists already
  EXPECT_TRUE(createDirectory((dir / "p" / "q" / "").string().c_str()));  // trailing separator
  EXPECT_TRUE(fs::is_directory(dir / "p" / "q"));
  // Only the status query decides for an existing path, whatever it is.
  writeText("file", "");
  EXPECT_TRUE(createDirectory(path("file").c_str()));
  EXPECT_FALSE(createDirectory(path("file/sub").c_str()));
  EXPECT_FALSE(createDirectory(""));
  EXPECT_FALSE(createDirectory(nullptr));
}

TEST_F(Export, FileReplicateWritesTheBuiltInCopyOfKnownFilesOnly) {
  for (const char* name : {"index.html", "jsc3d.js", "jsc3d.ctm.js", "jsc3d.touch.js", "jsc3d.3ds.js", "jsc3d.console.js", "jsc3d.ie.js", "jsc3d.webgl.js"}) {
    fileReplicate(name, dir.string().c_str());
    EXPECT_FALSE(read(name).empty()) << name;
    EXPECT_EQ(read(name), webSource(name)) << name;
  }
  // The viewer script checks (tests/web_viewer_checks.js) run under Node.js on these copies.
  if (std::system("node --version > /dev/null 2>&1") == 0) {
    const std::string checks((fs::path(__FILE__).parent_path() / "web_viewer_checks.js").string());
    EXPECT_EQ(std::system(("node " + checks + " " + dir.string() + " > " + path("node.log") + " 2>&1").c_str()), 0) << read("node.log");
    EXPECT_NE(read("node.log").find(" passed, 0 failed"), std::string::npos) << read("node.log");
  }
  fs::create_directory(dir / "unknown");
  for (const char* name : {"3d.obj", "index.htm", "../index.html", "JSC3D.JS", "", static_cast<const char*>(nullptr)}) {
    EXPECT_EQ(captureStdout([&] { fileReplicate(name, path("unknown").c_str()); }), "\n      [Zarn2D-Message] fileReplicate, ERROR: unknown file\n\n")
        << (name ? name : "null");
  }
  EXPECT_TRUE(fs::is_empty(dir / "unknown"));
  EXPECT_EQ(captureStdout([&] { fileReplicate("jsc3d.js", path("missing").c_str()); }), warningLines("fileReplicate", "Can't write " + path("missing/jsc3d.js")));
  EXPECT_FALSE(fs::exists(dir / "missing"));
}

}  // namespace
