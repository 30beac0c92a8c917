// Visualizer2, Color and Label: PostScript and SVG output, layout and robustness.
#include <gtest/gtest.h>

#include <cmath>
#include <deque>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "Zarn_2D.h"
#include "file_test_support.h"

using namespace KORA_ZARN2D;
using zarn_test::captureStdout;

namespace {

size_t countMatches(const std::string& text, const std::string& pattern) {
  const std::regex re(pattern);
  return static_cast<size_t>(std::distance(std::sregex_iterator(text.begin(), text.end(), re), std::sregex_iterator()));
}

// Numbers standing before a PostScript operator on its own line, e.g. "1 2 3 D".
std::vector<std::vector<double>> operands(const std::string& ps, const std::string& op) {
  std::vector<std::vector<double>> vResult;
  std::istringstream in(ps);
  for (std::string line; std::getline(in, line);) {
    if (line.size() <= op.size() || line.compare(line.size() - op.size() - 1, std::string::npos, " " + op) != 0) continue;
    std::istringstream numbers(line);
    vResult.emplace_back();
    for (double value; numbers >> value;) vResult.back().push_back(value);
  }
  return vResult;
}

class Visualizer : public zarn_test::TempDirTest {
 protected:
  Triangle2* triangle(double x0, double y0, double x1, double y1, double x2, double y2) {
    vTriangles.emplace_back();
    vTriangles.back().setProperties(&vPoints.emplace_back(x0, y0), &vPoints.emplace_back(x1, y1), &vPoints.emplace_back(x2, y2));
    return &vTriangles.back();
  }
  // Two filled triangles, one outline triangle, two segments, three points, a filled and an
  // outline circle and two labels.
  void fill(Visualizer2& vis) {
    vis.addTriangles({triangle(0, 0, 10, 0, 0, 10), triangle(10, 0, 10, 10, 0, 10)});
    vis.addTriangle(triangle(2, 2, 4, 2, 2, 4), Color(CRED), false);
    vis.addSegments({Segment2(Point2(0, 0), Point2(10, 10)), Segment2(Point2(0, 10), Point2(10, 0))}, Color(CGREEN, 1.0));
    vis.addPoints(std::vector<Point2>{Point2(0, 0), Point2(5, 5), Point2(10, 10)});
    vis.addCircle(Circle2(5, 5, 4.0), Color(CBLUE), true);
    vis.addCircle(Circle2(5, 5, 9.0));
    vis.addLabel(Label("corner", 0, 0));
    vis.addLabel(Label("a(b)\\c <&>", Point2(10, 10), Color(CORANGE), 12));
  }

  std::deque<Point2> vPoints;
  std::deque<Triangle2> vTriangles;
};

// The same drawing as PostScript and as SVG (the extension selects the format, in any case).
TEST_F(Visualizer, PostscriptAndSvgHaveOnePrimitivePerObject) {
  Visualizer2 vis;
  fill(vis);
  ASSERT_TRUE(vis.write(path("all.ps")));
  const std::string ps(read("all.ps"));
  EXPECT_EQ(ps.rfind("%!PS", 0), 0u);
  EXPECT_EQ(zarn_test::countOf(ps, "\nshowpage\n"), 1u);
  struct Case {
    const char* op;
    size_t count;
  } aCases[] = {{"TF", 2}, {"T", 3}, {"S", 2}, {"D", 3}, {"CF", 1}, {"C", 1}};  // fills of filled triangles, every outline, ...
  for (const Case& c : aCases) EXPECT_EQ(operands(ps, c.op).size(), c.count) << c.op;
  EXPECT_EQ(zarn_test::countOf(ps, ") show\n"), 2u);
  EXPECT_NE(ps.find("(a\\(b\\)\\\\c <&>) show"), std::string::npos);
  EXPECT_EQ(ps.find("nan"), std::string::npos);
  ASSERT_TRUE(vis.write(path("all.SVG")));
  const std::string svg(read("all.SVG"));
  EXPECT_EQ(svg.rfind("<?xml", 0), 0u);
  const std::string parse("python3 -c 'import sys, xml.dom.minidom; xml.dom.minidom.parse(sys.argv[1])' '" + path("all.SVG") + "'");
  EXPECT_EQ(std::system(parse.c_str()), 0) << "not well-formed XML";
  EXPECT_EQ(countMatches(svg, "<polygon [^>]*stroke=\"none\""), 2u);
  EXPECT_EQ(countMatches(svg, "<polygon [^>]*fill=\"none\""), 3u);
  EXPECT_EQ(countMatches(svg, "<line "), 2u);
  EXPECT_EQ(countMatches(svg, "<circle "), 5u);  // three points and two circles
  EXPECT_EQ(countMatches(svg, "<text "), 2u);
  EXPECT_NE(svg.find(">a(b)\\c &lt;&amp;&gt;</text>"), std::string::npos);
  EXPECT_NE(svg.find("fill=\"#ff8c00\""), std::string::npos);  // orange label
}

TEST_F(Visualizer, DrawingFillsThePrintableWidthAndIsCentred) {
  Visualizer2 vis;
  vis.addPoint(Point2(-1, 2));
  vis.addPoint(Point2(3, 4));  // extent 4 x 2: the width limits the scale
  vis.addPoint(Point2(1, 3));
  ASSERT_TRUE(vis.writePostscript(path("layout.ps")));
  const std::vector<std::vector<double>> vDiscs(operands(read("layout.ps"), "D"));
  ASSERT_EQ(vDiscs.size(), 3u);
  EXPECT_NEAR(vDiscs[0][0], 36.0, 1e-3);   // left margin
  EXPECT_NEAR(vDiscs[1][0], 559.0, 1e-3);  // right margin of A4 (595 - 36)
  EXPECT_NEAR(vDiscs[2][0], 297.5, 1e-3);  // centre
  EXPECT_NEAR(vDiscs[2][1], 421.0, 1e-3);
  EXPECT_NEAR(vDiscs[1][1] - vDiscs[0][1], 523.0 / 2.0, 1e-3);  // uniform scale
}

TEST_F(Visualizer, BadInputIsIgnoredWithAWarning) {
  Visualizer2 vis;
  EXPECT_EQ(captureStdout([&] { vis.addTriangle(nullptr); }), "\n      [Zarn2D-Message] Visualizer2::addTriangle(), WARNING: Null triangle, ignored\n\n");
  Triangle2 open;  // no corners
  const std::string out(captureStdout([&] {
    vis.addTriangle(&open);
    vis.addPoint(Point2(NAN, 0));
    vis.addSegment(Point2(0, 0), Point2(INFINITY, 1));
    vis.addPoints(std::vector<Point2*>{nullptr});
  }));
  EXPECT_EQ(zarn_test::countOf(out, "WARNING"), 4u) << out;
  EXPECT_EQ(vis.numTriangles() + vis.numPoints() + vis.numSegments(), 0u);
  vis.addPoint(Point2(0, 0));
  const std::string bad(path("missing/x.svg"));
  bool bWritten(true);
  EXPECT_EQ(captureStdout([&] { bWritten = vis.write(bad); }), "\n      [Zarn2D-Message] Visualizer2::writeSvg(), WARNING: Can't write " + bad + "\n\n");
  EXPECT_FALSE(bWritten);
}

}  // namespace
