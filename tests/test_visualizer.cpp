// Visualizer2, Color and Label: PostScript and SVG output, layout and robustness.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <cmath>
#include <deque>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "Zarn_2D.h"
#include "test_support.h"

using namespace KORA_ZARN2D;
namespace fs = std::filesystem;

namespace {

using zarn_test::readFile;


std::size_t countOccurrences(const std::string& text, const std::string& needle) {
  std::size_t count(0);
  for (std::size_t at = text.find(needle); at != std::string::npos; at = text.find(needle, at + needle.size())) ++count;
  return count;
}

// The tags of an XML text in order, each as the text between '<' and '>'; false when a tag is
// not terminated.
bool splitTags(const std::string& xml, std::vector<std::string>& vTags) {
  for (std::size_t open = xml.find('<'); open != std::string::npos; open = xml.find('<', open + 1)) {
    const std::size_t close(xml.find('>', open));
    if (close == std::string::npos) return false;
    vTags.push_back(xml.substr(open + 1, close - open - 1));
  }
  return true;
}

std::string tagName(const std::string& tag) {
  const std::size_t begin(!tag.empty() && tag[0] == '/' ? 1 : 0);
  return tag.substr(begin, tag.find_first_of(" \t\n/", begin) - begin);
}

// Checks that every element is closed in the right order (a small well-formedness check: tags,
// self-closing tags, the XML declaration; no comments or CDATA are expected in our output).
bool hasBalancedTags(const std::string& xml, std::string& problem) {
  std::vector<std::string> vTags, vOpen;
  if (!splitTags(xml, vTags)) {
    problem = "unterminated tag";
    return false;
  }
  for (const std::string& tag : vTags) {
    if (tag.empty() || tag[0] == '?' || tag.back() == '/') continue;
    if (tag[0] != '/') {
      vOpen.push_back(tagName(tag));
    } else if (vOpen.empty() || vOpen.back() != tagName(tag)) {
      problem = "unexpected <" + tag + ">";
      return false;
    } else {
      vOpen.pop_back();
    }
  }
  if (!vOpen.empty()) problem = "unclosed <" + vOpen.back() + ">";
  return vOpen.empty();
}

// Elements of that name whose opening tag contains the given text.
std::size_t countElements(const std::string& xml, const std::string& name, const std::string& containing = "") {
  std::vector<std::string> vTags;
  splitTags(xml, vTags);
  std::size_t count(0);
  for (const std::string& tag : vTags) {
    if (!tag.empty() && tag[0] != '/' && tagName(tag) == name && tag.find(containing) != std::string::npos) ++count;
  }
  return count;
}

// Numbers standing before a PostScript operator on its own line, e.g. "1 2 3 D".
std::vector<std::vector<double>> operands(const std::string& ps, const std::string& op) {
  std::vector<std::vector<double>> vResult;
  std::istringstream in(ps);
  for (std::string line; std::getline(in, line);) {
    if (line.size() <= op.size() || line.compare(line.size() - op.size() - 1, std::string::npos, " " + op) != 0) continue;
    std::istringstream numbers(line);
    std::vector<double> vValues;
    for (double value; numbers >> value;) vValues.push_back(value);
    vResult.push_back(vValues);
  }
  return vResult;
}

class VisualizerTest : public testing::Test {
 protected:
  void SetUp() override {
    std::string pattern((fs::temp_directory_path() / "zarn_vis_XXXXXX").string());
    ASSERT_NE(mkdtemp(&pattern[0]), nullptr);
    root = pattern;
  }
  void TearDown() override { fs::remove_all(root); }

  Triangle2* triangle(double x0, double y0, double x1, double y1, double x2, double y2) {
    Point2* p0(&vPoints.emplace_back(x0, y0));
    Point2* p1(&vPoints.emplace_back(x1, y1));
    Point2* p2(&vPoints.emplace_back(x2, y2));
    vTriangles.emplace_back();
    vTriangles.back().setProperties(p0, p1, p2);
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

  fs::path root;
  std::deque<Point2> vPoints;
  std::deque<Triangle2> vTriangles;
};

TEST_F(VisualizerTest, PostscriptHasOnePrimitivePerObject) {
  Visualizer2 vis;
  fill(vis);
  EXPECT_EQ(vis.numTriangles(), 3u);
  EXPECT_EQ(vis.numSegments(), 2u);
  EXPECT_EQ(vis.numPoints(), 3u);
  EXPECT_EQ(vis.numCircles(), 2u);
  EXPECT_EQ(vis.numLabels(), 2u);
  const fs::path file(root / "all.ps");
  ASSERT_TRUE(vis.write(file.string()));
  const std::string ps(readFile(file));
  EXPECT_EQ(ps.rfind("%!PS", 0), 0u);
  EXPECT_EQ(countOccurrences(ps, "\nshowpage\n"), 1u);
  EXPECT_EQ(operands(ps, "TF").size(), 2u);  // fills of the filled triangles only
  EXPECT_EQ(operands(ps, "T").size(), 3u);   // every outline
  EXPECT_EQ(operands(ps, "S").size(), 2u);
  EXPECT_EQ(operands(ps, "D").size(), 3u);
  EXPECT_EQ(operands(ps, "CF").size(), 1u);
  EXPECT_EQ(operands(ps, "C").size(), 1u);
  EXPECT_EQ(countOccurrences(ps, ") show\n"), 2u);
  EXPECT_NE(ps.find("(a\\(b\\)\\\\c <&>) show"), std::string::npos);
  EXPECT_EQ(ps.find("nan"), std::string::npos);
}

TEST_F(VisualizerTest, SvgIsBalancedAndHasOneElementPerObject) {
  Visualizer2 vis;
  fill(vis);
  const fs::path file(root / "all.SVG");
  ASSERT_TRUE(vis.write(file.string()));  // the extension selects SVG in any case
  const std::string svg(readFile(file));
  EXPECT_EQ(svg.rfind("<?xml", 0), 0u);
  std::string problem;
  EXPECT_TRUE(hasBalancedTags(svg, problem)) << problem;
  EXPECT_EQ(countElements(svg, "polygon", "stroke=\"none\""), 2u);
  EXPECT_EQ(countElements(svg, "polygon", "fill=\"none\""), 3u);
  EXPECT_EQ(countElements(svg, "line"), 2u);
  EXPECT_EQ(countElements(svg, "circle"), 5u);  // three points and two circles
  EXPECT_EQ(countElements(svg, "text"), 2u);
  EXPECT_NE(svg.find(">a(b)\\c &lt;&amp;&gt;</text>"), std::string::npos);
  EXPECT_NE(svg.find("fill=\"#ff8c00\""), std::string::npos);  // orange label
}

TEST_F(VisualizerTest, DrawingFillsThePrintableWidthAndIsCentred) {
  Visualizer2 vis;
  vis.addPoint(Point2(-1, 2));
  vis.addPoint(Point2(3, 4));  // extent 4 x 2: the width limits the scale
  vis.addPoint(Point2(1, 3));
  const fs::path file(root / "layout.ps");
  ASSERT_TRUE(vis.writePostscript(file.string()));
  const std::vector<std::vector<double>> vDiscs(operands(readFile(file), "D"));
  ASSERT_EQ(vDiscs.size(), 3u);
  EXPECT_NEAR(vDiscs[0][0], 36.0, 1e-3);   // left margin
  EXPECT_NEAR(vDiscs[1][0], 559.0, 1e-3);  // right margin of A4 (595 - 36)
  EXPECT_NEAR(vDiscs[2][0], 297.5, 1e-3);  // centre
  EXPECT_NEAR(vDiscs[2][1], 421.0, 1e-3);
  EXPECT_NEAR(vDiscs[1][1] - vDiscs[0][1], 523.0 / 2.0, 1e-3);  // uniform scale
}

TEST_F(VisualizerTest, BadInputIsIgnoredWithAWarning) {
  Visualizer2 vis;
  testing::internal::CaptureStdout();
  vis.addTriangle(nullptr);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "\n      [Zarn2D-Message] Visualizer2::addTriangle(), WARNING: Null triangle, ignored\n\n");
  Triangle2 open;  // no corners
  testing::internal::CaptureStdout();
  vis.addTriangle(&open);
  vis.addPoint(Point2(NAN, 0));
  vis.addSegment(Point2(0, 0), Point2(INFINITY, 1));
  vis.addPoints(std::vector<Point2*>{nullptr});
  const std::string out(testing::internal::GetCapturedStdout());
  EXPECT_EQ(countOccurrences(out, "WARNING"), 4u) << out;
  EXPECT_EQ(vis.numTriangles() + vis.numPoints() + vis.numSegments(), 0u);
}

TEST_F(VisualizerTest, UnwritableFileGivesWarningAndFalse) {
  Visualizer2 vis;
  vis.addPoint(Point2(0, 0));
  const std::string bad((root / "missing" / "x.svg").string());
  testing::internal::CaptureStdout();
  EXPECT_FALSE(vis.write(bad));
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "\n      [Zarn2D-Message] Visualizer2::writeSvg(), WARNING: Can't write " + bad + "\n\n");
}

}  // namespace
