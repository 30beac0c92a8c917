// The web scene as a person sees it: headless Chromium loads the page and takes screenshots,
// which are checked for the model's colour over the background gradient. Skipped when
// /usr/bin/chromium is not installed.
#include <gtest/gtest.h>

#include <cmath>

#include "Zarn_2D.h"
#include "browser_test_support.h"
#include "file_test_support.h"
#include "webExport.h"

using namespace KORA_ZARN2D;
using namespace zarn_test;

namespace {

// What a person would notice: how many pixels show the model's gold, their mean colour, and how
// many show the dark end of the background gradient.
struct PictureSummary {
  std::size_t numModelPixels = 0, numDarkBackgroundPixels = 0;
  double meanR = 0, meanG = 0;
};

PictureSummary summarize(const Image& image) {
  PictureSummary summary;
  for (std::size_t i = 0; i + 2 < image.vRgb.size(); i += 3) {
    const int r(image.vRgb[i]), g(image.vRgb[i + 1]), b(image.vRgb[i + 2]);
    if (r > 50 && r >= g && g > b && (r - b) > 0.6 * r && 60.0 * (g - b) / (r - b) > 35.0 && 60.0 * (g - b) / (r - b) < 60.0) {
      ++summary.numModelPixels;
      summary.meanR += r;
      summary.meanG += g;
    }
    if (std::abs(r - 0x38) < 12 && std::abs(g - 0x38) < 12 && std::abs(b - 0x40) < 12) ++summary.numDarkBackgroundPixels;
  }
  summary.meanR /= std::max<std::size_t>(summary.numModelPixels, 1);
  summary.meanG /= std::max<std::size_t>(summary.numModelPixels, 1);
  return summary;
}

class WebSceneBrowser : public TempDirTest {
 protected:
  void SetUp() override {
    if (!fs::exists(kChromium)) GTEST_SKIP() << "no " << kChromium;
    TempDirTest::SetUp();
  }
  // A copy of the page with one piece of text replaced, as it looks in the browser.
  PictureSummary showVariant(const std::string& name, const std::string& from, const std::string& to) {
    std::string page(read("scene/index.html"));
    const std::size_t at(page.find(from));
    EXPECT_NE(at, std::string::npos) << from;
    if (at != std::string::npos) page.replace(at, from.size(), to);
    writeText("scene/" + name, page);
    Image image;
    std::string log;
    EXPECT_TRUE(takeScreenshot(dir / "scene" / name, dir, name, image, log)) << name << log;
    return summarize(image);
  }
};

TEST_F(WebSceneBrowser, PageShowsShadedModelOverGradientAndWireframeDiffers) {
  // The points of a half ring; their triangulation covers a half disc.
  std::vector<Point2> vPoints;
  for (int j = 0; j <= 6; ++j) {
    for (int i = 0; i <= 16; ++i) vPoints.emplace_back(3.0 * (1.0 + j / 3.0) * std::cos(M_PI * i / 16), 2.0 * (1.0 + j / 3.0) * std::sin(M_PI * i / 16));
  }
  Zarn_2D dt;
  dt.insert(vPoints);
  std::vector<Triangle2*> vTriangles;
  dt.getTrianglePointers(vTriangles);
  captureStdout([&] { EXPECT_TRUE(writeWebSceneFiles(path("scene").c_str(), vTriangles)); });
  const std::string smoothMode("viewer.setParameter('RenderMode', 'smooth');");
  const PictureSummary smooth(showVariant("smooth.html", smoothMode, smoothMode));
  const PictureSummary wireframe(showVariant("wireframe.html", smoothMode, "viewer.setParameter('RenderMode', 'wireframe');"));
  // A filled model of a good size, lit but not brighter than its colour #CAA618 (202, 166, 24).
  EXPECT_GT(smooth.numModelPixels, 20000u);
  EXPECT_LE(smooth.meanR, 203.0);
  EXPECT_GT(smooth.meanR, 60.0);
  EXPECT_NEAR(smooth.meanG / smooth.meanR, 166.0 / 202.0, 0.05);
  EXPECT_GT(smooth.numDarkBackgroundPixels, 1000u);  // the bottom of the gradient
  // The wireframe shows the same model with far fewer coloured pixels.
  EXPECT_GT(wireframe.numModelPixels, 1000u);
  EXPECT_LT(wireframe.numModelPixels * 3, smooth.numModelPixels);
  EXPECT_GT(wireframe.numDarkBackgroundPixels, 1000u);
}

}  // namespace
