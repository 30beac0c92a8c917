// Pages as a person sees them: headless Chromium opens the file (no server: the page may load only
// files next to it), its screenshot is decoded here and its colours are counted. The web scene
// shows the shaded model over the background gradient; the tool's --html page shows the zone
// filled, the hole empty and the constraints red. Skipped when /usr/bin/chromium is missing.
#include <dlfcn.h>
#include <gtest/gtest.h>

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

std::uint32_t bigEndian32(const std::string& s, std::size_t at) {
  std::uint32_t v(0);
  for (std::size_t i = 0; i < 4; ++i) v = (v << 8) | std::uint8_t(s[at + i]);
  return v;
}

int paeth(int a, int b, int c) {
  const int p(a + b - c), pa(std::abs(p - a)), pb(std::abs(p - b)), pc(std::abs(p - c));
  return (pa <= pb && pa <= pc) ? a : (pb <= pc ? b : c);
}

// Decodes an 8-bit, non-interlaced RGB or RGBA PNG (what Chromium writes). zlib is taken from
// the system at run time, so the test needs no extra link dependency. False on anything else.
bool decodePng(const std::string& png, Image& image) {
  using Uncompress = int (*)(unsigned char*, unsigned long*, const unsigned char*, unsigned long);
  void* pZlib(dlopen("libz.so.1", RTLD_NOW));
  if (pZlib == nullptr || png.size() < 33 || png.compare(1, 3, "PNG") != 0) return false;
  const auto uncompress(reinterpret_cast<Uncompress>(dlsym(pZlib, "uncompress")));
  image.width = bigEndian32(png, 16);
  image.height = bigEndian32(png, 20);
  const int bitDepth(static_cast<std::uint8_t>(png[24])), colorType(static_cast<std::uint8_t>(png[25])), interlace(static_cast<std::uint8_t>(png[28]));
  if (uncompress == nullptr || bitDepth != 8 || (colorType != 2 && colorType != 6) || interlace != 0) return false;
  const std::size_t channels(colorType == 6 ? 4 : 3), stride(image.width * channels);
  std::string compressed;
  for (std::size_t at = 8; at + 8 <= png.size(); at += 12 + bigEndian32(png, at)) {
    if (png.compare(at + 4, 4, "IDAT") == 0) compressed += png.substr(at + 8, bigEndian32(png, at));
  }
  std::vector<std::uint8_t> vRaw(image.height * (stride + 1)), vPrevious(stride, 0), vRow(stride);
  unsigned long rawSize(vRaw.size());
  if (uncompress(vRaw.data(), &rawSize, reinterpret_cast<const unsigned char*>(compressed.data()), compressed.size()) != 0) return false;
  image.vRgb.clear();
  for (unsigned y = 0; y < image.height; ++y) {
    const std::uint8_t filter(vRaw[y * (stride + 1)]);
    const std::uint8_t* pIn(&vRaw[y * (stride + 1) + 1]);
    for (std::size_t i = 0; i < stride; ++i) {
      const int left(i >= channels ? vRow[i - channels] : 0), up(vPrevious[i]), upLeft(i >= channels ? vPrevious[i - channels] : 0);
      const int aPredictor[5] = {0, left, up, (left + up) / 2, paeth(left, up, upLeft)};
      vRow[i] = static_cast<std::uint8_t>(pIn[i] + (filter < 5 ? aPredictor[filter] : 0));
    }
    for (std::size_t i = 0; i < stride; i += channels) image.vRgb.insert(image.vRgb.end(), &vRow[i], &vRow[i] + 3);
    vPrevious.swap(vRow);
  }
  return rawSize == vRaw.size();
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
    EXPECT_TRUE(std::system(command.c_str()) == 0 && decodePng(readFile(png), image)) << readFile(log);
    return image;
  }
};

TEST_F(Browser, WebSceneShowsShadedModelOverGradientAndWireframeDiffers) {
  std::string grid;  // 11 x 7 points, 120 triangles
  for (int k = 0; k < 77; ++k) grid += std::to_string(k % 11) + " " + std::to_string(k / 11) + "\n";
  writeText("grid.txt", grid);
  ASSERT_EQ(run("grid.txt --web scene").exitCode, 0);
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
    const ToolResult r(run("--demo 0 --segments rings.txt --zone " + zone + " --html " + zone + ".html"));
    ASSERT_EQ(r.exitCode, 0) << r.err;
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
