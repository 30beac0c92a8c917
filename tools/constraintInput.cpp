// Input of the zarn2d tool: file type detection, segment files and the constraint demo.
#include "constraintInput.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <iostream>

#include "textFields.h"

using namespace KORA_ZARN2D;

namespace {

bool readSegmentsText(const std::string& filename, std::vector<Segment2>& vSegments, const std::string& messagePrefix) {
  TextFields text(filename, false);
  std::vector<Segment2> vRead;
  while (text.next()) {
    double x0(0.0), y0(0.0), x1(0.0), y1(0.0);
    if (text.fields().size() != 4 || !text.number(0, x0) || !text.number(1, y0) || !text.number(2, x1) || !text.number(3, y1)) {
      std::cerr << messagePrefix << text.complaint("expected four numbers \"x0 y0 x1 y1\"") << "; the segment file is rejected" << std::endl;
      return false;
    }
    vRead.emplace_back(Point2(x0, y0), Point2(x1, y1));
  }
  vSegments.insert(vSegments.end(), vRead.begin(), vRead.end());
  return true;
}

}  // namespace

int32_t readFileType(const std::string& filename) {
  std::ifstream file(filename, std::ios::binary);
  unsigned char aHeader[4] = {0, 0, 0, 0};
  if (!file.read(reinterpret_cast<char*>(aHeader), 4)) return 0;
  return static_cast<int32_t>(aHeader[0] | (aHeader[1] << 8) | (aHeader[2] << 16) | (static_cast<uint32_t>(aHeader[3]) << 24));
}

std::string checkReadable(const std::string& filename) {
  namespace fs = std::filesystem;
  std::error_code error;
  const fs::file_status status(fs::status(filename, error));
  if (fs::is_directory(status)) return filename + " is a directory, not a file";
  if (!fs::exists(status) || !std::ifstream(filename)) return filename + " can't be read";
  if (!fs::is_regular_file(status) && !fs::is_fifo(status) && !fs::is_character_file(status)) return filename + " is not a regular file";
  return "";
}

bool readSegmentFile(const std::string& filename, std::vector<Segment2>& vSegments, const std::string& messagePrefix, bool bTextOnly) {
  const std::string unreadable(checkReadable(filename));
  if (!unreadable.empty()) {
    std::cerr << messagePrefix << unreadable << std::endl;
    return false;
  }
  const int32_t type(bTextOnly ? 0 : readFileType(filename));
  if (type == 21 || type == 31) return readSegmentsBIN(filename.c_str(), vSegments);
  return readSegmentsText(filename, vSegments, messagePrefix);
}

void generateDemoConstraints(unsigned int numStarVertices, unsigned int numCrossing, std::vector<Segment2>& vStar,
                             std::vector<Segment2>& vCrossing) {
  const double kPi(3.14159265358979323846);
  const double kCentre(0.5), kLength(0.1);
  std::vector<Point2> vCorners;
  vCorners.reserve(numStarVertices);
  for (unsigned int i = 0; i < numStarVertices; ++i) {
    const double t(2.0 * kPi * i / numStarVertices);
    const double radius(0.35 + 0.05 * std::sin(20.0 * t));
    vCorners.emplace_back(kCentre + radius * std::cos(t), kCentre + radius * std::sin(t));
  }
  // The ring is closed with the very same corner values, so the last edge ends exactly at the first vertex.
  for (unsigned int i = 0; i < numStarVertices; ++i) vStar.emplace_back(vCorners[i], vCorners[(i + 1) % numStarVertices]);
  if (numStarVertices < 2 || numCrossing == 0) return;

  // Four numbers per segment: the star edge, the position on it, the direction, and how much of
  // the segment lies before the crossing (kept within 10% to 90% so that it really crosses).
  std::vector<double> vRandom;
  generateRandomNumbers(4 * numCrossing, 0.0, 1.0, vRandom, 20240611u);
  for (unsigned int j = 0; j < numCrossing; ++j) {
    const double* aR(&vRandom[4 * j]);
    const unsigned int edge(std::min(static_cast<unsigned int>(aR[0] * numStarVertices), numStarVertices - 1));
    const Point2& a(vCorners[edge]);
    const Point2& b(vCorners[(edge + 1) % numStarVertices]);
    const double crossX(a.x() + aR[1] * (b.x() - a.x())), crossY(a.y() + aR[1] * (b.y() - a.y()));
    const double angle(2.0 * kPi * aR[2]);
    const double dx(kLength * std::cos(angle)), dy(kLength * std::sin(angle));
    const double before(0.1 + 0.8 * aR[3]), after(1.0 - before);
    vCrossing.emplace_back(Point2(crossX - before * dx, crossY - before * dy), Point2(crossX + after * dx, crossY + after * dy));
  }
}
