// Output files: the OBJ export, the web-scene directory, createDirectory and fileReplicate; the
// PostScript and SVG pictures of Visualizer2 (one primitive per object, layout, bad input).

#include <cmath>
#include <deque>
#include <regex>
#include <tuple>

#include "Zarn_2D.h"
#include "file_test_support.h"
#include "webExport.h"

using namespace KORA_ZARN2D;
using zarn_test::captureStdout;
using zarn_test::outputOfCall;
using zarn_test::reported;
namespace fs = std::filesystem;

namespace {

// The viewer sources that the library embeds.
std::string webSource(const std::string& name) { return zarn_test::readFile((fs::path(__FILE__).parent_path().parent_path() / "web" / name).string()); }

// Hand-made triangles: points and triangles live in deques so that their addresses stay stable.
class Export : public zarn_test::TempDirTest {
 protected:
  Point2* point(double x, double y) { return &vPoints.emplace_back(x, y); }
  Triangle2* triangle(Point2* a, Point2* b, Point2* c) {
    vStore.emplace_back().setProperties(a, b, c);
    vTriangles.push_back(&vStore.back());
    return vTriangles.back();
  }
  Triangle2* triangle(double x0, double y0, double x1, double y1, double x2, double y2) {
    Point2 *a(point(x0, y0)), *b(point(x1, y1));  // in this order
    return triangle(a, b, point(x2, y2));
  }

  std::deque<Point2> vPoints;
  std::deque<Triangle2> vStore;
  std::vector<Triangle2*> vTriangles;
};

// Shared vertices are written once, numbered in order of first use (corners in each triangle's
// own order), and every coordinate reads back exactly.
TEST_F(Export, ObjWritesSharedVerticesOnceAndCoordinatesExactly) {
  Point2 *a(point(0, 0)), *b(point(1, 0)), *c(point(0, 1)), *d(point(1, 1));
  triangle(a, b, c);
  triangle(d, c, b);  // d is new, c and b are known
  ASSERT_TRUE(writeObjFile(path("two.obj"), vTriangles));
  EXPECT_EQ(read("two.obj"), "v 0 0 0 \nv 1 0 0 \nv 0 1 0 \nf 1 2 3\nv 1 1 0 \nf 4 3 2\n");
  ASSERT_TRUE(writeObjFile(path("empty.obj"), {}));
  EXPECT_EQ(read("empty.obj"), "");
  EXPECT_EQ(outputOfCall([&] { return writeObjFile(path("missing/x.obj"), {}); }, false), reported("writeObj", "WARNING", "Can't write " + path("missing/x.obj")));
  vPoints.clear();
  vTriangles.clear();
  const double aValues[] = {0.1, 1.0 / 3.0, -2.0 / 7.0, 1e-300, 123456789.123456789, -9.87654321e15, std::nextafter(1.0, 2.0), 4.9406564584124654e-324};
  for (size_t i = 0; i + 2 < sizeof(aValues) / sizeof(aValues[0]); ++i) {
    triangle(aValues[i], aValues[i + 1], aValues[i + 1], -aValues[i + 2], -aValues[i + 2], aValues[i]);  // the file lists them so
  }
  ASSERT_TRUE(writeObjFile(path("exact.obj"), vTriangles));
  std::vector<Point2> vRead;
  for (const std::string& line : zarn_test::splitLines(read("exact.obj"))) {
    if (line[0] != 'v') continue;
    char* pEnd(nullptr);
    const double x(std::strtod(line.c_str() + 2, &pEnd));
    vRead.emplace_back(x, std::strtod(pEnd, &pEnd));
    EXPECT_STREQ(pEnd, " 0 ") << line;
  }
  EXPECT_EQ(vRead, std::vector<Point2>(vPoints.begin(), vPoints.end()));
}

// The web scene: the page, three scripts and the mesh, or nothing below a regular file; the
// directories it needs; the built-in copies of the viewer files.
TEST_F(Export, WebSceneDirectoriesAndViewerFiles) {
  triangle(0, 0, 1, 0, 0, 1);
  const std::string scene(path("scene"));
  EXPECT_EQ(outputOfCall([&] { return writeWebSceneFiles(scene.c_str(), vTriangles); }, true), "writeWebScene: Creating " + scene + "\n");
  EXPECT_EQ(std::distance(fs::directory_iterator(scene), fs::directory_iterator()), 5);
  for (const char* name : {"index.html", "jsc3d.js", "jsc3d.ctm.js", "jsc3d.touch.js"}) EXPECT_EQ(read(std::string("scene/") + name), webSource(name)) << name;
  EXPECT_EQ(read("scene/3d.obj"), "v 0 0 0 \nv 1 0 0 \nv 0 1 0 \nf 1 2 3\n");
  // Below a regular file: a warning, false, and nothing written.
  writeText("plain", "not a directory");
  const std::string below(path("plain/scene"));
  EXPECT_EQ(outputOfCall([&] { return writeWebSceneFiles(below.c_str(), vTriangles); }, false),
            reported("Dt2::writeWebScene()", "WARNING", "Can't create directory " + below));
  EXPECT_EQ(read("plain"), "not a directory");
  const fs::path nested(dir / "x" / "y" / "z");
  EXPECT_TRUE(createDirectory(nested.string().c_str()));
  EXPECT_TRUE(fs::is_directory(nested));
  EXPECT_TRUE(createDirectory(nested.string().c_str()));  // exists already
  EXPECT_TRUE(createDirectory((dir / "p" / "q" / "").string().c_str()));  // trailing separator
  EXPECT_TRUE(fs::is_directory(dir / "p" / "q"));
  // Only the status query decides for an existing path, whatever it is.
  EXPECT_TRUE(createDirectory(path("plain").c_str()));
  EXPECT_FALSE(createDirectory(path("plain/sub").c_str()));
  EXPECT_FALSE(createDirectory(""));
  EXPECT_FALSE(createDirectory(nullptr));
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
  for (const char* name : {"3d.obj", "index.htm", "../index.html", "JSC3D.JS", "", static_cast<const char*>(nullptr)}) {
    EXPECT_EQ(captureStdout([&] { fileReplicate(name, nested.string().c_str()); }), reported("fileReplicate", "ERROR", "unknown file")) << (name ? name : "null");
  }
  EXPECT_TRUE(fs::is_empty(nested));
  EXPECT_EQ(captureStdout([&] { fileReplicate("jsc3d.js", path("missing").c_str()); }), reported("fileReplicate", "WARNING", "Can't write " + path("missing/jsc3d.js")));
  EXPECT_FALSE(fs::exists(dir / "missing"));
}

// ----- Visualizer2 ------------------------------------------------------------------------------

size_t countMatches(const std::string& text, const std::string& pattern) {
  const std::regex re(pattern);
  return static_cast<size_t>(std::distance(std::sregex_iterator(text.begin(), text.end(), re), std::sregex_iterator()));
}

// Numbers standing before a PostScript operator on its own line, e.g. "1 2 3 D".
std::vector<std::vector<double>> operands(const std::string& ps, const std::string& op) {
  std::vector<std::vector<double>> vResult;
  for (const std::string& line : zarn_test::splitLines(ps)) {
    if (line.size() <= op.size() || line.compare(line.size() - op.size() - 1, std::string::npos, " " + op) != 0) continue;
    std::istringstream numbers(line);
    vResult.emplace_back();
    for (double value; numbers >> value;) vResult.back().push_back(value);
  }
  return vResult;
}

// The same drawing as PostScript and as SVG (the extension selects the format, in any case): two
// filled triangles, one outline triangle, two segments, three points, a filled and an outline
// circle and two labels. The layout, and bad input.
TEST_F(Export, VisualizerWritesOnePrimitivePerObjectInItsLayout) {
  Visualizer2 vis;
  vis.addTriangles({triangle(0, 0, 10, 0, 0, 10), triangle(10, 0, 10, 10, 0, 10)});
  vis.addTriangle(triangle(2, 2, 4, 2, 2, 4), Color(CRED), false);
  vis.addSegments({Segment2(Point2(0, 0), Point2(10, 10)), Segment2(Point2(0, 10), Point2(10, 0))}, Color(CGREEN, 1.0));
  vis.addPoints(std::vector<Point2>{Point2(0, 0), Point2(5, 5), Point2(10, 10)});
  vis.addCircle(Circle2(5, 5, 4.0), Color(CBLUE), true);
  vis.addCircle(Circle2(5, 5, 9.0));
  vis.addLabel(Label("corner", 0, 0));
  vis.addLabel(Label("a(b)\\c <&>", Point2(10, 10), Color(CORANGE), 12));
  ASSERT_TRUE(vis.write(path("all.ps")));
  ASSERT_TRUE(vis.write(path("all.SVG")));
  const std::string ps(read("all.ps")), svg(read("all.SVG"));
  // How often each pattern occurs: PostScript fills (TF), every triangle outline (T), segments,
  // discs, circles and labels; SVG filled and outline polygons, lines, circles (three points and
  // two circles) and labels, escaped; the orange label.
  const std::tuple<const std::string*, const char*, size_t> aCounts[] = {
      {&ps, "^%!PS", 1}, {&ps, "\nshowpage\n", 1}, {&ps, " TF\n", 2}, {&ps, " T\n", 3}, {&ps, " S\n", 2}, {&ps, " D\n", 3}, {&ps, " CF\n", 1},
      {&ps, " C\n", 1}, {&ps, "\\) show\n", 2}, {&ps, "\\(a\\\\\\(b\\\\\\)\\\\\\\\c <&>\\) show", 1}, {&ps, "nan", 0}, {&svg, "^<\\?xml", 1},
      {&svg, "<polygon [^>]*stroke=\"none\"", 2}, {&svg, "<polygon [^>]*fill=\"none\"", 3}, {&svg, "<line ", 2}, {&svg, "<circle ", 5},
      {&svg, "<text ", 2}, {&svg, ">a\\(b\\)\\\\c &lt;&amp;&gt;</text>", 1}, {&svg, "fill=\"#ff8c00\"", 1}};
  for (const auto& c : aCounts) EXPECT_EQ(countMatches(*std::get<0>(c), std::get<1>(c)), std::get<2>(c)) << std::get<1>(c);
  const std::string parse("python3 -c 'import sys, xml.dom.minidom; xml.dom.minidom.parse(sys.argv[1])' '" + path("all.SVG") + "'");
  EXPECT_EQ(std::system(parse.c_str()), 0) << "not well-formed XML";
  // The drawing fills the printable width of A4 and is centred; bad input is ignored with a warning.
  Visualizer2 layout;
  layout.addPoint(Point2(-1, 2));
  layout.addPoint(Point2(3, 4));  // extent 4 x 2: the width limits the scale
  layout.addPoint(Point2(1, 3));
  ASSERT_TRUE(layout.writePostscript(path("layout.ps")));
  const std::vector<std::vector<double>> vDiscs(operands(read("layout.ps"), "D"));
  ASSERT_EQ(vDiscs.size(), 3u);
  EXPECT_NEAR(vDiscs[0][0], 36.0, 1e-3);   // left margin
  EXPECT_NEAR(vDiscs[1][0], 559.0, 1e-3);  // right margin (595 - 36)
  EXPECT_NEAR(vDiscs[2][0], 297.5, 1e-3);  // centre
  EXPECT_NEAR(vDiscs[2][1], 421.0, 1e-3);
  EXPECT_NEAR(vDiscs[1][1] - vDiscs[0][1], 523.0 / 2.0, 1e-3);  // uniform scale
  Visualizer2 bad;
  EXPECT_EQ(captureStdout([&] { bad.addTriangle(nullptr); }), reported("Visualizer2::addTriangle()", "WARNING", "Null triangle, ignored"));
  Triangle2 open;  // no corners
  const std::string out(captureStdout([&] {
    bad.addTriangle(&open);
    bad.addPoint(Point2(NAN, 0));
    bad.addSegment(Point2(0, 0), Point2(INFINITY, 1));
    bad.addPoints(std::vector<Point2*>{nullptr});
  }));
  EXPECT_EQ(zarn_test::countOf(out, "WARNING"), 4u) << out;
  EXPECT_EQ(bad.numTriangles() + bad.numPoints() + bad.numSegments(), 0u);
  const std::string missing(path("missing/x.svg"));
  EXPECT_EQ(outputOfCall([&] { return vis.write(missing); }, false), reported("Visualizer2::writeSvg()", "WARNING", "Can't write " + missing));
}

}  // namespace
