// Point input of the zarn2d tool: binary files, generic text files, and the dispatch to the
// readers of Triangle's files.
#include "pointInput.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "console.h"
#include "constraintInput.h"
#include "textFields.h"
#include "triangleFiles.h"

using namespace KORA_ZARN2D;

namespace {

const char* const kRejected = "; the point file is rejected";

// A header names its columns: printable words, none of them a number.
bool isHeader(const std::vector<std::string>& vFields) {
  for (const std::string& field : vFields) {
    char* end(nullptr);
    std::strtod(field.c_str(), &end);
    if (*end == '\0') return false;
    for (const char c : field) {
      if (std::isprint(static_cast<unsigned char>(c)) == 0) return false;
    }
  }
  return true;
}

// A binary point file: the size must match the count, every coordinate must be finite.
bool readBinaryPoints(const std::string& filename, std::vector<Point2>& vPoints, Console& console) {
  std::ifstream file(filename, std::ios::binary);
  int32_t aHeader[3] = {0, 0, 0};
  file.read(reinterpret_cast<char*>(aHeader), sizeof(aHeader));
  const uint64_t recordSize(aHeader[0] == 30 ? 24 : 16);
  const uint64_t size(std::filesystem::file_size(filename));
  if (!file || aHeader[1] < 0 || size != 12 + recordSize * static_cast<uint64_t>(aHeader[1])) {
    console.error(filename + ": a binary point file of type " + std::to_string(aHeader[0]) + " with " +
                  std::to_string(aHeader[1]) + " points must be " + std::to_string(12 + recordSize * static_cast<uint64_t>(std::max(0, aHeader[1]))) +
                  " bytes long, it is " + std::to_string(size) + kRejected);
    return false;
  }
  std::vector<Point2> vRead;
  if (!readPointsBIN(filename.c_str(), vRead)) return false;
  for (size_t i = 0; i < vRead.size(); ++i) {
    if (!std::isfinite(vRead[i].x()) || !std::isfinite(vRead[i].y())) {
      console.error(filename + ": point " + std::to_string(i) + " has a non-finite coordinate" + kRejected);
      return false;
    }
  }
  vPoints.insert(vPoints.end(), vRead.begin(), vRead.end());
  return true;
}

// Text: "x y" or "x y z" per line, all lines alike; '#' comment lines and one header line skipped.
bool readTextPoints(const std::string& filename, std::vector<Point2>& vPoints, Console& console) {
  TextFields text(filename, false);
  std::vector<Point2> vRead;
  std::string header;
  size_t numColumns(0);
  while (text.next()) {
    const std::vector<std::string>& vFields(text.fields());
    double x(0.0), y(0.0), z(0.0);
    const bool bNumbers(text.number(0, x) && text.number(1, y) && (vFields.size() < 3 || text.number(2, z)));
    if (!bNumbers && vRead.empty() && header.empty() && isHeader(vFields)) {
      header = vFields[0];
      continue;
    }
    if (!bNumbers || vFields.size() > 3) {
      console.error(text.complaint("expected \"x y\" or \"x y z\" (finite numbers)") + kRejected);
      return false;
    }
    if (numColumns != 0 && vFields.size() != numColumns) {
      console.error(text.complaint("expected " + std::to_string(numColumns) + " numbers like the lines before") + kRejected);
      return false;
    }
    numColumns = vFields.size();
    vRead.emplace_back(x, y);
  }
  if (vRead.empty()) {
    console.error(filename + " holds no points" + std::string(kRejected));
    return false;
  }
  if (!header.empty()) console.log("Skipped the header line of " + filename);
  if (text.numComments() > 0) console.log("Skipped " + std::to_string(text.numComments()) + " comment line(s) of " + filename);
  if (numColumns == 3) console.log("The third column of " + filename + " (z) is ignored: points are two-dimensional");
  vPoints.insert(vPoints.end(), vRead.begin(), vRead.end());
  return true;
}

}  // namespace

bool hasExtension(const std::string& filename, const std::string& extension) {
  if (filename.size() < extension.size()) return false;
  return std::equal(extension.rbegin(), extension.rend(), filename.rbegin(),
                    [](char a, char b) { return std::tolower(static_cast<unsigned char>(a)) == std::tolower(static_cast<unsigned char>(b)); });
}

bool isReadableFile(const std::string& filename, Console& console) {
  const std::string unreadable(checkReadable(filename));
  if (!unreadable.empty()) console.error(unreadable);
  return unreadable.empty();
}

bool readPointFile(const std::string& filename, ToolInput& input, Console& console) {
  if (!isReadableFile(filename, console)) return false;
  ToolInput read;
  bool bOk(false);
  if (hasExtension(filename, ".poly")) {
    bOk = readPolyFile(filename, read, console);
  } else if (hasExtension(filename, ".ele")) {
    bOk = readEleFile(filename, read, console);
  } else if (hasExtension(filename, ".node") || looksLikeNodeFile(filename)) {
    bOk = readNodeFile(filename, read, console);
  } else {
    const int32_t type(readFileType(filename));
    bOk = type == 20 || type == 30 ? readBinaryPoints(filename, read.vPoints, console) : readTextPoints(filename, read.vPoints, console);
  }
  if (!bOk) return false;
  for (Point2& p : read.vPoints) p.setCustomIndex(static_cast<int>(input.vPoints.size() + (&p - read.vPoints.data())));
  input.vPoints.insert(input.vPoints.end(), read.vPoints.begin(), read.vPoints.end());
  for (std::vector<Segment2>& vSegments : read.vGraphSegments) input.vGraphSegments.push_back(std::move(vSegments));
  input.vHoles.insert(input.vHoles.end(), read.vHoles.begin(), read.vHoles.end());
  input.bPolyDomain = input.bPolyDomain || read.bPolyDomain;
  return true;
}
