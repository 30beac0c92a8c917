// The web scene as a person sees it: headless Chromium loads the page over a loopback HTTP
// server and takes screenshots, which are decoded and checked for the model's colour over the
// background gradient. Skipped when /usr/bin/chromium is not installed.
#include <arpa/inet.h>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cmath>
#include <cstdint>
#include <deque>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "Zarn_2D.h"
#include "webExport.h"
#include "test_support.h"

using namespace KORA_ZARN2D;
namespace fs = std::filesystem;

namespace {

using zarn_test::readFile;

const char* const kChromium = "/usr/bin/chromium";


// Serves the files of one directory on 127.0.0.1 (an ephemeral port) until destroyed. Each
// connection gets its own thread: a browser may open a connection early and send nothing on it.
class LoopbackServer {
 public:
  explicit LoopbackServer(const fs::path& root_) : root(root_) {
    listenFd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = 0;
    socklen_t length(sizeof(address));
    if (listenFd < 0 || bind(listenFd, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0 ||
        listen(listenFd, 16) != 0 || getsockname(listenFd, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
      return;
    }
    port = ntohs(address.sin_port);
    worker = std::thread([this] { run(); });
  }
  ~LoopbackServer() {
    bStop = true;
    if (worker.joinable()) worker.join();
    for (std::thread& connection : vConnections) connection.join();
    if (listenFd >= 0) close(listenFd);
  }
  int getPort() const { return port; }

 private:
  void run() {
    while (!bStop) {
      pollfd waiting{listenFd, POLLIN, 0};
      if (poll(&waiting, 1, 100) <= 0) continue;
      const int client(accept(listenFd, nullptr, nullptr));
      if (client < 0) continue;
      timeval timeout{2, 0};
      setsockopt(client, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof(timeout));
      vConnections.emplace_back([this, client] {
        serve(client);
        close(client);
      });
    }
  }
  void serve(int client) const {
    std::string request;
    char buffer[4096];
    while (request.find("\r\n\r\n") == std::string::npos) {
      const ssize_t n(recv(client, buffer, sizeof(buffer), 0));
      if (n <= 0) return;
      request.append(buffer, static_cast<std::size_t>(n));
    }
    std::istringstream firstLine(request.substr(0, request.find("\r\n")));
    std::string method, target;
    firstLine >> method >> target;
    target = target.substr(0, target.find('?'));
    const fs::path file(root / target.substr(1));
    std::string response;
    if (method != "GET" || target.find("..") != std::string::npos || !fs::is_regular_file(file)) {
      response = "HTTP/1.1 404 Not Found\r\nContent-Length: 0\r\nConnection: close\r\n\r\n";
    } else {
      const std::string body(readFile(file));
      response = "HTTP/1.1 200 OK\r\nContent-Type: " + contentType(file) + "\r\nContent-Length: " +
                 std::to_string(body.size()) + "\r\nConnection: close\r\n\r\n" + body;
    }
    for (std::size_t sent = 0; sent < response.size();) {
      const ssize_t n(send(client, response.data() + sent, response.size() - sent, MSG_NOSIGNAL));
      if (n <= 0) return;
      sent += static_cast<std::size_t>(n);
    }
  }
  static std::string contentType(const fs::path& file) {
    if (file.extension() == ".html") return "text/html; charset=utf-8";
    if (file.extension() == ".js") return "application/javascript";
    return "text/plain";
  }

  fs::path root;
  int listenFd = -1;
  int port = 0;
  std::atomic<bool> bStop{false};
  std::thread worker;
  std::vector<std::thread> vConnections;  // touched by the accepting thread only, until joined
};

struct Image {
  unsigned width = 0;
  unsigned height = 0;
  std::vector<std::uint8_t> vRgb;  // 3 bytes per pixel
};

std::uint32_t bigEndian32(const std::string& s, std::size_t at) {
  return (std::uint32_t(std::uint8_t(s[at])) << 24) | (std::uint32_t(std::uint8_t(s[at + 1])) << 16) |
         (std::uint32_t(std::uint8_t(s[at + 2])) << 8) | std::uint32_t(std::uint8_t(s[at + 3]));
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
  const Uncompress uncompress(reinterpret_cast<Uncompress>(dlsym(pZlib, "uncompress")));
  image.width = bigEndian32(png, 16);
  image.height = bigEndian32(png, 20);
  const int bitDepth(static_cast<std::uint8_t>(png[24]));
  const int colorType(static_cast<std::uint8_t>(png[25]));
  const int interlace(static_cast<std::uint8_t>(png[28]));
  if (uncompress == nullptr || bitDepth != 8 || (colorType != 2 && colorType != 6) || interlace != 0) return false;
  const std::size_t channels(colorType == 6 ? 4 : 3), stride(image.width * channels);
  std::string compressed;
  for (std::size_t at = 8; at + 8 <= png.size();) {
    const std::uint32_t length(bigEndian32(png, at));
    if (png.compare(at + 4, 4, "IDAT") == 0) compressed += png.substr(at + 8, length);
    at += 12 + length;
  }
  std::vector<std::uint8_t> vRaw(image.height * (stride + 1));
  unsigned long rawSize(vRaw.size());
  if (uncompress(vRaw.data(), &rawSize, reinterpret_cast<const unsigned char*>(compressed.data()), compressed.size()) != 0 ||
      rawSize != vRaw.size())
    return false;
  std::vector<std::uint8_t> vPrevious(stride, 0), vRow(stride);
  image.vRgb.clear();
  for (unsigned y = 0; y < image.height; ++y) {
    const std::uint8_t filter(vRaw[y * (stride + 1)]);
    const std::uint8_t* pIn(&vRaw[y * (stride + 1) + 1]);
    for (std::size_t i = 0; i < stride; ++i) {
      const int left(i >= channels ? vRow[i - channels] : 0), up(vPrevious[i]),
          upLeft(i >= channels ? vPrevious[i - channels] : 0);
      int predictor(0);
      if (filter == 1) predictor = left;
      if (filter == 2) predictor = up;
      if (filter == 3) predictor = (left + up) / 2;
      if (filter == 4) predictor = paeth(left, up, upLeft);
      vRow[i] = static_cast<std::uint8_t>(pIn[i] + predictor);
    }
    for (std::size_t i = 0; i < stride; i += channels) image.vRgb.insert(image.vRgb.end(), &vRow[i], &vRow[i] + 3);
    vPrevious.swap(vRow);
  }
  return true;
}

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

// A half ring, triangulated by hand: (rings x sectors) quads, each split into two triangles.
class HalfRing {
 public:
  HalfRing(int rings, int sectors) {
    for (int j = 0; j <= rings; ++j) {
      for (int i = 0; i <= sectors; ++i) {
        const double radius(1.0 + 2.0 * j / rings), angle(3.141592653589793 * i / sectors);
        vPoints.emplace_back(3.0 * radius * std::cos(angle), 2.0 * radius * std::sin(angle));
      }
    }
    for (int j = 0; j < rings; ++j) {
      for (int i = 0; i < sectors; ++i) {
        const int corner(j * (sectors + 1) + i);  // indices, not pointer steps: a deque is not contiguous
        Point2* p00(&vPoints[corner]);
        Point2* p10(&vPoints[corner + 1]);
        Point2* p01(&vPoints[corner + sectors + 1]);
        Point2* p11(&vPoints[corner + sectors + 2]);
        add(p00, p10, p11);
        add(p00, p11, p01);
      }
    }
  }
  const std::vector<Triangle2*>& triangles() const { return vTrianglePtrs; }

 private:
  void add(Point2* a, Point2* b, Point2* c) {
    vTriangles.emplace_back();
    vTriangles.back().setProperties(a, b, c);
    vTrianglePtrs.push_back(&vTriangles.back());
  }
  std::deque<Point2> vPoints;
  std::deque<Triangle2> vTriangles;
  std::vector<Triangle2*> vTrianglePtrs;
};

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

  // Loads the page in a fresh headless browser profile and returns the decoded screenshot.
  Image screenshot(int port, const std::string& page) {
    const fs::path png(root / (page + ".png"));
    const std::string command(std::string("timeout 120 ") + kChromium +
                              " --headless --no-sandbox --disable-gpu --disable-quic --no-first-run"
                              " --disable-background-networking --disable-component-update --disable-sync"
                              " --user-data-dir=" + (root / ("profile-" + page)).string() +
                              " --window-size=1100,800 --virtual-time-budget=8000 --screenshot=" + png.string() +
                              " http://127.0.0.1:" + std::to_string(port) + "/" + page + " > " +
                              (root / (page + ".log")).string() + " 2>&1");
    const int status(std::system(command.c_str()));
    Image image;
    EXPECT_EQ(status, 0) << readFile(root / (page + ".log"));
    EXPECT_TRUE(decodePng(readFile(png), image)) << page;
    return image;
  }

  fs::path root;
};

TEST_F(WebSceneBrowserTest, PageShowsShadedModelOverGradientAndWireframeDiffers) {
  const HalfRing shape(6, 16);
  const fs::path scene(root / "scene");
  testing::internal::CaptureStdout();
  ASSERT_TRUE(writeWebSceneFiles(scene.string().c_str(), shape.triangles()));
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
