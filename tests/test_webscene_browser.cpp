// The web scene as a person sees it: headless Chromium loads the page over a loopback HTTP
// server and takes screenshots, which are checked for the model's colour over the background
// gradient. Skipped when /usr/bin/chromium is not installed.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <cmath>
#include <fstream>

#include "Zarn_2D.h"
#include "browser_test_support.h"
#include "webExport.h"

using namespace KORA_ZARN2D;
using namespace zarn_test;

namespace {

// What a person would notice: how many pixels show the model's gold, their mean colour, and how
// many show the dark end of the background gradient.
struct PictureSummary {
  std::size_t numModelPixels = 0;
  double meanR = 0, meanG = 0, meanB = 0;
  std::size_t numDarkBackgroundPixels = 0;
};

PictureSummary summarize(const Image& image) {
  PictureSummary summary;
  for (std::size_t i = 0; i + 2 < image.vRgb.size(); i += 3) {
    const int r(image.vRgb[i]), g(image.vRgb[i + 1]), b(image.vRgb[i + 2]);
    const bool bGold(r > 50 && r >= g && g > b && (r - b) > 0.6 * r && 60.0 * (g - b) / (r - b) > 35.0 &&
                     60.0 * (g - b) / (r - b) < 60.0);
    if (bGold) {
      ++summary.numModelPixels;
      summary.meanR += r;
      summary.meanG += g;
      summary.meanB += b;
    }
    if (std::abs(r - 0x38) < 12 && std::abs(g - 0x38) < 12 && std::abs(b - 0x40) < 12) ++summary.numDarkBackgroundPixels;
  }
  if (summary.numModelPixels > 0) {
    summary.meanR /= summary.numModelPixels;
    summary.meanG /= summary.numModelPixels;
    summary.meanB /= summary.numModelPixels;
  }
  return summary;
}

// Writes a copy of the page with one piece of text replaced; false when the text is not there.
bool writeVariant(const fs::path& scene, const std::string& name, const std::string& from, const std::string& to) {
  std::string page(readFile(scene / "index.html"));
  const std::size_t at(page.find(from));
  if (at == std::string::npos) return false;
  page.replace(at, from.size(), to);
  std::ofstream(scene / name, std::ios::binary) << page;
  return true;
}

class WebSceneBrowserTest : public testing::Test {
 protected:
  void SetUp() override {
    if (!fs::exists(kChromium)) GTEST_SKIP() << "no " << kChromium;
    std::string pattern((fs::temp_directory_path() / "zarn_browser_XXXXXX").string());
    ASSERT_NE(mkdtemp(&pattern[0]), nullptr);
    root = pattern;
  }
  void TearDown() override {
    if (!root.empty()) fs::remove_all(root);
  }

  Image screenshot(int port, const std::string& page) {
    Image image;
    std::string log;
    EXPECT_TRUE(takeScreenshot("http://127.0.0.1:" + std::to_string(port) + "/" + page, root, page, image, log)) << page << log;
    return image;
  }

  fs::path root;
};

TEST_F(WebSceneBrowserTest, PageShowsShadedModelOverGradientAndWireframeDiffers) {
  // The points of a half ring; their triangulation covers a half disc.
  std::vector<Point2> vPoints;
  for (int j = 0; j <= 6; ++j) {
    for (int i = 0; i <= 16; ++i) vPoints.emplace_back(3.0 * (1.0 + j / 3.0) * std::cos(M_PI * i / 16), 2.0 * (1.0 + j / 3.0) * std::sin(M_PI * i / 16));
  }
  Zarn_2D dt;
  dt.insert(vPoints);
  std::vector<Triangle2*> vTriangles;
  dt.getTrianglePointers(vTriangles);
  const fs::path scene(root / "scene");
  testing::internal::CaptureStdout();
  ASSERT_TRUE(writeWebSceneFiles(scene.string().c_str(), vTriangles));
  testing::internal::GetCapturedStdout();
  const std::string smoothMode("viewer.setParameter('RenderMode', 'smooth');");
  ASSERT_TRUE(writeVariant(scene, "wireframe.html", smoothMode, "viewer.setParameter('RenderMode', 'wireframe');"));
  fileReplicate("jsc3d.webgl.js", scene.string().c_str());
  ASSERT_TRUE(writeVariant(scene, "webgl.html", "<script type=\"text/javascript\" src=\"jsc3d.touch.js\"></script>",
                           "<script type=\"text/javascript\" src=\"jsc3d.webgl.js\"></script>"));

  const LoopbackServer server(scene);
  ASSERT_GT(server.getPort(), 0);
  const PictureSummary smooth(summarize(screenshot(server.getPort(), "index.html")));
  const PictureSummary wireframe(summarize(screenshot(server.getPort(), "wireframe.html")));
  const PictureSummary webgl(summarize(screenshot(server.getPort(), "webgl.html")));

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
  // With the WebGL renderer (or its fallback when WebGL is unavailable) the picture is the same.
  EXPECT_NEAR(static_cast<double>(webgl.numModelPixels), static_cast<double>(smooth.numModelPixels),
              0.05 * smooth.numModelPixels);
}

}  // namespace
