// Pages as a person sees them: headless Chromium takes a screenshot of a URL, which is decoded
// here; a loopback HTTP server serves a directory for pages that load further files. Tests that
// use them skip when /usr/bin/chromium is not installed.
#pragma once

#include <arpa/inet.h>
#include <dlfcn.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "test_support.h"

namespace zarn_test {

namespace fs = std::filesystem;

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


/// Loads url in a fresh headless browser profile under workDir (name names its files) and decodes
/// the screenshot; false (with the browser's log in log) when either step fails.
inline bool takeScreenshot(const std::string& url, const fs::path& workDir, const std::string& name, Image& image, std::string& log) {
  const fs::path png(workDir / (name + ".png")), logFile(workDir / (name + ".log"));
  const std::string command(std::string("timeout 120 ") + kChromium +
                            " --headless --no-sandbox --disable-gpu --disable-quic --no-first-run"
                            " --disable-background-networking --disable-component-update --disable-sync"
                            " --user-data-dir=" + (workDir / ("profile-" + name)).string() +
                            " --window-size=1100,800 --virtual-time-budget=8000 --screenshot=" + png.string() + " '" + url + "' > " +
                            logFile.string() + " 2>&1");
  const bool bRan(std::system(command.c_str()) == 0);
  log = readFile(logFile.string());
  return bRan && decodePng(readFile(png.string()), image);
}

}  // namespace zarn_test
