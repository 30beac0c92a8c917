// Pages as a person sees them: headless Chromium takes a screenshot of a file, which is decoded
// here (the page may load further files next to it). Tests that use them skip when
// /usr/bin/chromium is not installed.
#pragma once

#include <dlfcn.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "test_support.h"

namespace zarn_test {

namespace fs = std::filesystem;

const char* const kChromium = "/usr/bin/chromium";

struct Image {
  unsigned width = 0;
  unsigned height = 0;
  std::vector<std::uint8_t> vRgb;  // 3 bytes per pixel
};

inline std::uint32_t bigEndian32(const std::string& s, std::size_t at) {
  return (std::uint32_t(std::uint8_t(s[at])) << 24) | (std::uint32_t(std::uint8_t(s[at + 1])) << 16) |
         (std::uint32_t(std::uint8_t(s[at + 2])) << 8) | std::uint32_t(std::uint8_t(s[at + 3]));
}

inline int paeth(int a, int b, int c) {
  const int p(a + b - c), pa(std::abs(p - a)), pb(std::abs(p - b)), pc(std::abs(p - c));
  return (pa <= pb && pa <= pc) ? a : (pb <= pc ? b : c);
}

// Decodes an 8-bit, non-interlaced RGB or RGBA PNG (what Chromium writes). zlib is taken from
// the system at run time, so the test needs no extra link dependency. False on anything else.
inline bool decodePng(const std::string& png, Image& image) {
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

/// Loads the file in a fresh headless browser profile under workDir (name names its files) and decodes
/// the screenshot; false (with the browser's log in log) when either step fails.
inline bool takeScreenshot(const fs::path& page, const fs::path& workDir, const std::string& name, Image& image, std::string& log) {
  const fs::path png(workDir / (name + ".png")), logFile(workDir / (name + ".log"));
  const std::string command(std::string("timeout 120 ") + kChromium +
                            " --headless --no-sandbox --disable-gpu --disable-quic --no-first-run"
                            " --allow-file-access-from-files --disable-background-networking --disable-component-update --disable-sync"
                            " --user-data-dir=" + (workDir / ("profile-" + name)).string() +
                            " --window-size=1100,800 --virtual-time-budget=8000 --screenshot=" + png.string() + " 'file://" + page.string() + "' > " +
                            logFile.string() + " 2>&1");
  const bool bRan(std::system(command.c_str()) == 0);
  log = readFile(logFile.string());
  return bRan && decodePng(readFile(png.string()), image);
}

}  // namespace zarn_test
