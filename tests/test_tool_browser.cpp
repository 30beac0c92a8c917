// Pages as a person sees them: headless Chromium opens the file (no server: the page may load only
// files next to it), its screenshot is decoded (Pillow) and its colours are counted. The web scene
// shows the shaded model over the background gradient; the tool's --html page shows the zone
// filled, the hole empty and the constraints red. Skipped when /usr/bin/chromium or Pillow is missing.

#include <array>
#include <regex>

#include "file_test_support.h"

using namespace zarn_test;
namespace fs = std::filesystem;

namespace {

const char* const kChromium = "/usr/bin/chromium";

struct Image {
  unsigned width = 0, height = 0;
  std::vector<std::uint8_t> vRgb;  // 3 bytes per pixel
};

// Converts the screenshot to a binary PPM with Pillow and reads its pixels; false on any failure.
bool decodePng(const std::string& png, Image& image) {
  const std::string ppm(png + ".ppm"), convert("/usr/bin/python3 -c 'import sys; from PIL import Image; "
                                               "Image.open(sys.argv[1]).convert(\"RGB\").save(sys.argv[2])' '");
  if (std::system((convert + png + "' '" + ppm + "'").c_str()) != 0) return false;
  std::istringstream in(readFile(ppm));
  std::string magic;
  int maxValue(0);
  if (!(in >> magic >> image.width >> image.height >> maxValue) || magic != "P6" || maxValue != 255 || in.get() != '\n') return false;
  image.vRgb.resize(3 * std::size_t(image.width) * image.height);
  return bool(in.read(reinterpret_cast<char*>(image.vRgb.data()), std::streamsize(image.vRgb.size())));
}

// The pixels whose colour satisfies the rule: their number, mean red and mean green.
std::array<double, 3> countPixels(const Image& image, const std::function<bool(int, int, int)>& rule) {
  std::array<double, 3> count{0, 0, 0};
  for (std::size_t i = 0; i + 2 < image.vRgb.size(); i += 3) {
    if (rule(image.vRgb[i], image.vRgb[i + 1], image.vRgb[i + 2])) count = {count[0] + 1, count[1] + image.vRgb[i], count[2] + image.vRgb[i + 1]};
  }
  return {count[0], count[1] / std::max(count[0], 1.0), count[2] / std::max(count[0], 1.0)};
}

std::function<bool(int, int, int)> near(int r0, int g0, int b0, int tolerance) {
  return [=](int r, int g, int b) { return std::abs(r - r0) < tolerance && std::abs(g - g0) < tolerance && std::abs(b - b0) < tolerance; };
}

// The model's gold, shaded: a hue between 35 and 60 degrees, well saturated.
bool isGold(int r, int g, int b) { return r > 50 && r >= g && g > b && (r - b) > 0.6 * r && 60.0 * (g - b) / (r - b) > 35.0 && 60.0 * (g - b) / (r - b) < 60.0; }

class Browser : public ToolTest {
 protected:
  void SetUp() override {
    if (!fs::exists(kChromium)) GTEST_SKIP() << "no " << kChromium;
    if (std::system("/usr/bin/python3 -c 'import PIL' 2> /dev/null") != 0) GTEST_SKIP() << "no Pillow (python3-pil)";
    ToolTest::SetUp();
  }
  // Loads the page in a fresh browser profile and decodes the screenshot (the log on failure).
  Image show(const std::string& page) {
    const std::string name(fs::path(page).stem().string()), png(path(name + ".png")), log(path(name + ".log"));
    const std::string command(std::string("timeout 120 ") + kChromium +
                              " --headless --no-sandbox --disable-gpu --disable-quic --no-first-run"
                              " --allow-file-access-from-files --disable-background-networking --disable-component-update --disable-sync"
                              " --user-data-dir=" + path("profile-" + name) + " --window-size=1100,800 --virtual-time-budget=8000 --screenshot=" +
                              png + " 'file://" + path(page) + "' > " + log + " 2>&1");
    Image image;
    EXPECT_TRUE(std::system(command.c_str()) == 0 && decodePng(png, image)) << readFile(log);
    return image;
  }
};

TEST_F(Browser, WebSceneShowsShadedModelOverGradientAndWireframeDiffers) {
  std::string grid;  // 11 x 7 points, 120 triangles
  for (int k = 0; k < 77; ++k) grid += std::to_string(k % 11) + " " + std::to_string(k / 11) + "\n";
  writeText("grid.txt", grid);
  runOk("grid.txt --web scene");
  const std::string page(read("scene/index.html")), smoothMode("viewer.setParameter('RenderMode', 'smooth');");
  ASSERT_NE(page.find(smoothMode), std::string::npos);
  writeText("scene/wireframe.html", std::regex_replace(page, std::regex("'RenderMode', 'smooth'"), "'RenderMode', 'wireframe'"));
  const Image smoothImage(show("scene/index.html")), wireframeImage(show("scene/wireframe.html"));
  const std::array<double, 3> smooth(countPixels(smoothImage, isGold)), wireframe(countPixels(wireframeImage, isGold));
  // A filled model of a good size, lit but not brighter than its colour #CAA618 (202, 166, 24),
  // over a gradient whose bottom is dark; the wireframe has far fewer coloured pixels.
  EXPECT_TRUE(smooth[0] > 20000 && smooth[1] <= 203.0 && smooth[1] > 60.0) << smooth[0] << " pixels, mean red " << smooth[1];
  EXPECT_NEAR(smooth[2] / smooth[1], 166.0 / 202.0, 0.05);
  EXPECT_TRUE(wireframe[0] > 1000 && wireframe[0] * 3 < smooth[0]) << wireframe[0] << " pixels";
  for (const Image* pImage : {&smoothImage, &wireframeImage}) EXPECT_GT(countPixels(*pImage, near(0x38, 0x38, 0x40, 12))[0], 1000);
}

// The ring's inside (area 0.32) fills about eight times the hole (0.04); the hole sits in the
// middle of the page. Constraints are red lines, far more than the legend's red swatch.
TEST_F(Browser, ToolPageShowsTheZoneFilledAndTheConstraintsRed) {
  writeText("rings.txt", "0.2 0.2 0.8 0.2\n0.8 0.2 0.8 0.8\n0.8 0.8 0.2 0.8\n0.2 0.8 0.2 0.2\n"
                         "0.4 0.4 0.4 0.6\n0.4 0.6 0.6 0.6\n0.6 0.6 0.6 0.4\n0.6 0.4 0.4 0.4\n");
  const auto fill(near(0xc8, 0xd8, 0xf0, 8));
  double aNumFilled[2];
  for (int k = 0; k < 2; ++k) {
    const std::string zone(k == 0 ? "inside" : "outside");
    runOk("--demo 0 --segments rings.txt --zone " + zone + " --html " + zone + ".html");
    const Image image(show(zone + ".html"));
    aNumFilled[k] = countPixels(image, fill)[0];
    EXPECT_GT(countPixels(image, [](int r, int g, int b) { return r > 160 && g < 90 && b < 90; })[0], 1500);
    const std::size_t centre(3 * ((image.height / 2) * image.width + image.width / 2));
    ASSERT_LT(centre + 2, image.vRgb.size());
    EXPECT_EQ(fill(image.vRgb[centre], image.vRgb[centre + 1], image.vRgb[centre + 2]), k == 1);
  }
  EXPECT_TRUE(aNumFilled[0] > 4 * aNumFilled[1] && aNumFilled[0] < 16 * aNumFilled[1] && aNumFilled[1] > 10000)
      << aNumFilled[0] << " and " << aNumFilled[1] << " filled pixels";
}

}  // namespace
