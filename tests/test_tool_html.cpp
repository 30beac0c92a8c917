// The --html viewer page as a person sees it: headless Chromium opens the file itself (no server:
// the page must need nothing else) and the screenshots of a ring's inside and outside zone are
// compared: constraints red, the zone filled, the hole left empty, the legend with its counts.
#include <gtest/gtest.h>

#include <cstdlib>
#include <regex>

#include "browser_test_support.h"
#include "file_test_support.h"

namespace {

struct Colours {
  size_t numRed = 0, numFilled = 0;
  bool bCentreFilled = false;
};

Colours countColours(const zarn_test::Image& image) {
  Colours c;
  for (size_t i = 0; i + 2 < image.vRgb.size(); i += 3) {
    const int r(image.vRgb[i]), g(image.vRgb[i + 1]), b(image.vRgb[i + 2]);
    const bool bFill(std::abs(r - 0xc8) < 8 && std::abs(g - 0xd8) < 8 && std::abs(b - 0xf0) < 8);
    c.numRed += r > 160 && g < 90 && b < 90 ? 1 : 0;
    c.numFilled += bFill ? 1 : 0;
    if (i / 3 == (image.height / 2) * image.width + image.width / 2) c.bCentreFilled = bFill;
  }
  return c;
}

class ToolHtml : public zarn_test::ToolTest {};

TEST_F(ToolHtml, ViewerShowsTheZoneFilledAndTheConstraintsRed) {
  if (!std::filesystem::exists(zarn_test::kChromium)) GTEST_SKIP() << "no " << zarn_test::kChromium;
  writeText("rings.txt", "0.2 0.2 0.8 0.2\n0.8 0.2 0.8 0.8\n0.8 0.8 0.2 0.8\n0.2 0.8 0.2 0.2\n"
                         "0.4 0.4 0.4 0.6\n0.4 0.6 0.6 0.6\n0.6 0.6 0.6 0.4\n0.6 0.4 0.4 0.4\n");
  Colours aColours[2];
  const char* aZones[2] = {"inside", "outside"};
  for (int k = 0; k < 2; ++k) {
    const std::string page(std::string(aZones[k]) + ".html");
    const zarn_test::ToolResult r(run("--demo 0 --segments rings.txt --zone " + std::string(aZones[k]) + " --html " + page));
    ASSERT_EQ(r.exitCode, 0) << r.err;
    std::smatch m;
    ASSERT_TRUE(std::regex_search(r.err, m, std::regex("Zone \\w+: (\\d+) triangles"))) << r.err;
    const std::string html(read(page));
    EXPECT_NE(html.find("region: " + m[1].str() + "<br>"), std::string::npos) << html.substr(html.find("legend"));
    EXPECT_NE(html.find("constraint pieces: 8<br>"), std::string::npos);
    zarn_test::Image image;
    std::string log;
    ASSERT_TRUE(zarn_test::takeScreenshot(path(page), dir, aZones[k], image, log)) << log;
    aColours[k] = countColours(image);
  }
  // The ring's inside (area 0.32) fills about eight times the hole (0.04); the hole sits in the
  // middle of the page. Constraints are red lines, far more than the legend's red swatch.
  EXPECT_GT(aColours[0].numFilled, 4 * aColours[1].numFilled);
  EXPECT_LT(aColours[0].numFilled, 16 * aColours[1].numFilled);
  EXPECT_GT(aColours[1].numFilled, 10000u);
  EXPECT_FALSE(aColours[0].bCentreFilled);
  EXPECT_TRUE(aColours[1].bCentreFilled);
  for (const Colours& c : aColours) EXPECT_GT(c.numRed, 1500u);
}

}  // namespace
