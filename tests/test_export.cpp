// OBJ export, the web-scene directory, createDirectory and fileReplicate.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <cmath>
#include <cstdlib>
#include <deque>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "Zarn_2D.h"
#include "webExport.h"
#include "test_support.h"

using namespace KORA_ZARN2D;
namespace fs = std::filesystem;

namespace {

using zarn_test::readFile;


void writeText(const fs::path& path, const std::string& text) { std::ofstream(path, std::ios::binary) << text; }

// The viewer sources that the library embeds.
fs::path webSourceDir() { return fs::path(__FILE__).parent_path().parent_path() / "web"; }

std::string warningLines(const std::string& where, const std::string& msg) {
  return "\n      [Zarn2D-Message] " + where + ", WARNING: " + msg + "\n\n";
}

std::vector<std::string> lines(const std::string& text) {
  std::vector<std::string> vLines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) vLines.push_back(line);
  return vLines;
}

// Hand-made triangles: the points live in a deque so that their addresses stay stable.
class Mesh {
 public:
  Point2* point(double x, double y) {
    vPoints.emplace_back(x, y);
    return &vPoints.back();
  }
  Triangle2* triangle(Point2* a, Point2* b, Point2* c) {
    vStore.emplace_back();
    vStore.back().setProperties(a, b, c);
    vTriangles.push_back(&vStore.back());
    return vTriangles.back();
  }
  const std::vector<Triangle2*>& triangles() const { return vTriangles; }

 private:
  std::deque<Point2> vPoints;
  std::deque<Triangle2> vStore;
  std::vector<Triangle2*> vTriangles;
};

class ExportTest : public testing::Test {
 protected:
  void SetUp() override {
    std::string pattern((fs::temp_directory_path() / "zarn_export_XXXXXX").string());
    ASSERT_NE(mkdtemp(&pattern[0]), nullptr);
    root = pattern;
  }
  void TearDown() override { fs::remove_all(root); }

  fs::path root;
};

const char* const kKnownFiles[] = {"index.html",       "jsc3d.js",    "jsc3d.ctm.js",   "jsc3d.touch.js",
                                   "jsc3d.3ds.js",     "jsc3d.console.js", "jsc3d.ie.js", "jsc3d.webgl.js"};
const char* const kSceneFiles[] = {"index.html", "jsc3d.js", "jsc3d.ctm.js", "jsc3d.touch.js", "3d.obj"};

// ----- OBJ ----------------------------------------------------------------------------------------

TEST_F(ExportTest, ObjWritesSharedVerticesOnceInOrderOfFirstUse) {
  Mesh mesh;
  Point2* a(mesh.point(0, 0));
  Point2* b(mesh.point(1, 0));
  Point2* c(mesh.point(0, 1));
  Point2* d(mesh.point(1, 1));
  mesh.triangle(a, b, c);
  mesh.triangle(d, c, b);  // corners in this triangle's own order: d is new, c and b are known
  ASSERT_TRUE(writeObjFile((root / "two.obj").string(), mesh.triangles()));
  EXPECT_EQ(readFile(root / "two.obj"), "v 0 0 0 \nv 1 0 0 \nv 0 1 0 \nf 1 2 3\nv 1 1 0 \nf 4 3 2\n");
}

TEST_F(ExportTest, ObjCoordinatesReadBackExactly) {
  const double aValues[] = {0.1, 1.0 / 3.0, -2.0 / 7.0, 1e-300, 123456789.123456789, -9.87654321e15,
                            std::nextafter(1.0, 2.0), 4.9406564584124654e-324};
  Mesh mesh;
  std::vector<Point2*> vCorners;
  for (std::size_t i = 0; i + 2 < sizeof(aValues) / sizeof(aValues[0]); ++i) {
    Point2* p0(mesh.point(aValues[i], aValues[i + 1]));
    Point2* p1(mesh.point(aValues[i + 1], -aValues[i + 2]));
    Point2* p2(mesh.point(-aValues[i + 2], aValues[i]));
    mesh.triangle(p0, p1, p2);
    vCorners.insert(vCorners.end(), {p0, p1, p2});
  }
  ASSERT_TRUE(writeObjFile((root / "exact.obj").string(), mesh.triangles()));

  std::size_t numVertices(0);
  for (const std::string& line : lines(readFile(root / "exact.obj"))) {
    if (line[0] != 'v') continue;
    ASSERT_LT(numVertices, vCorners.size());
    ASSERT_EQ(line.substr(line.size() - 3), " 0 ") << line;
    char* pEnd(nullptr);
    const double x(std::strtod(line.c_str() + 2, &pEnd));
    const double y(std::strtod(pEnd, &pEnd));
    EXPECT_EQ(x, vCorners[numVertices]->x()) << line;
    EXPECT_EQ(y, vCorners[numVertices]->y()) << line;
    ++numVertices;
  }
  EXPECT_EQ(numVertices, vCorners.size());
}

TEST_F(ExportTest, ObjOfNoTrianglesIsEmptyAndUnwritableFileWarns) {
  ASSERT_TRUE(writeObjFile((root / "empty.obj").string(), {}));
  EXPECT_EQ(readFile(root / "empty.obj"), "");

  const std::string bad((root / "missing" / "x.obj").string());
  testing::internal::CaptureStdout();
  EXPECT_FALSE(writeObjFile(bad, {}));
  EXPECT_EQ(testing::internal::GetCapturedStdout(), warningLines("writeObj", "Can't write " + bad));
}

// ----- Web scene ----------------------------------------------------------------------------------

TEST_F(ExportTest, WebSceneWritesPageScriptsAndMesh) {
  Mesh mesh;
  mesh.triangle(mesh.point(0, 0), mesh.point(1, 0), mesh.point(0, 1));
  const fs::path scene(root / "scene");
  testing::internal::CaptureStdout();
  ASSERT_TRUE(writeWebSceneFiles(scene.string().c_str(), mesh.triangles()));
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "writeWebScene: Creating " + scene.string() + "\n");

  std::size_t numFiles(0);
  for (const fs::directory_entry& entry : fs::directory_iterator(scene)) {
    (void)entry;
    ++numFiles;
  }
  EXPECT_EQ(numFiles, 5u);
  for (const char* name : kSceneFiles) EXPECT_TRUE(fs::is_regular_file(scene / name)) << name;
  EXPECT_EQ(readFile(scene / "index.html"), readFile(webSourceDir() / "index.html"));
  EXPECT_EQ(readFile(scene / "3d.obj"), "v 0 0 0 \nv 1 0 0 \nv 0 1 0 \nf 1 2 3\n");
}

TEST_F(ExportTest, WebSceneBelowARegularFileWarnsAndWritesNothing) {
  writeText(root / "plain", "not a directory");
  const std::string scene((root / "plain" / "scene").string());
  Mesh mesh;
  mesh.triangle(mesh.point(0, 0), mesh.point(1, 0), mesh.point(0, 1));
  testing::internal::CaptureStdout();
  EXPECT_FALSE(writeWebSceneFiles(scene.c_str(), mesh.triangles()));
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            warningLines("Dt2::writeWebScene()", "Can't create directory " + scene));
  EXPECT_EQ(readFile(root / "plain"), "not a directory");
  std::size_t numEntries(0);
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(root)) {
    (void)entry;
    ++numEntries;
  }
  EXPECT_EQ(numEntries, 1u);
}

// ----- createDirectory ----------------------------------------------------------------------------

TEST_F(ExportTest, CreateDirectoryBuildsMissingParentsAndAcceptsExistingPaths) {
  const fs::path nested(root / "x" / "y" / "z");
  EXPECT_TRUE(createDirectory(nested.string().c_str()));
  EXPECT_TRUE(fs::is_directory(nested));
  EXPECT_TRUE(createDirectory(nested.string().c_str()));  // exists already
  EXPECT_TRUE(createDirectory((root / "p" / "q" / "").string().c_str()));  // trailing separator
  EXPECT_TRUE(fs::is_directory(root / "p" / "q"));
  // Only the status query decides for an existing path, whatever it is.
  writeText(root / "file", "");
  EXPECT_TRUE(createDirectory((root / "file").string().c_str()));
  EXPECT_FALSE(createDirectory((root / "file" / "sub").string().c_str()));
  EXPECT_FALSE(createDirectory(""));
  EXPECT_FALSE(createDirectory(nullptr));
}

// ----- fileReplicate ------------------------------------------------------------------------------

TEST_F(ExportTest, FileReplicateWritesTheBuiltInCopyOfEachKnownFile) {
  for (const char* name : kKnownFiles) {
    fileReplicate(name, root.string().c_str());
    const std::string written(readFile(root / name));
    EXPECT_FALSE(written.empty()) << name;
    EXPECT_EQ(written, readFile(webSourceDir() / name)) << name;
  }
}

TEST_F(ExportTest, FileReplicateRejectsUnknownNamesAndWritesNothing) {
  for (const char* name : {"3d.obj", "index.htm", "../index.html", "JSC3D.JS", ""}) {
    testing::internal::CaptureStdout();
    fileReplicate(name, root.string().c_str());
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "\n      [Zarn2D-Message] fileReplicate, ERROR: unknown file\n\n")
        << name;
  }
  testing::internal::CaptureStdout();
  fileReplicate(nullptr, root.string().c_str());
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "\n      [Zarn2D-Message] fileReplicate, ERROR: unknown file\n\n");
  EXPECT_TRUE(fs::is_empty(root));
}

TEST_F(ExportTest, FileReplicateIntoAMissingDirectoryWarns) {
  const fs::path missing(root / "missing");
  testing::internal::CaptureStdout();
  fileReplicate("jsc3d.js", missing.string().c_str());
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            warningLines("fileReplicate", "Can't write " + (missing / "jsc3d.js").string()));
  EXPECT_FALSE(fs::exists(missing));
}

}  // namespace
