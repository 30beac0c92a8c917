// Line-by-line reading of the tool's text files.
#include "textFields.h"

#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdlib>

namespace {

/// The start of a line for a message, anything unprintable shown as '?'.
std::string quoteable(const std::string& line) {
  const size_t kMaxShown(60);
  std::string shown(line.substr(0, kMaxShown));
  for (char& c : shown) {
    if (!std::isprint(static_cast<unsigned char>(c))) c = '?';
  }
  return line.size() > kMaxShown ? shown + "..." : shown;
}

}  // namespace

TextFields::TextFields(const std::string& filename_, bool bTrailingComments_)
    : filename(filename_), file(filename_), bTrailingComments(bTrailingComments_), currentLine(0), commentLines(0) {}

bool TextFields::next() {
  while (std::getline(file, line)) {
    ++currentLine;
    if (!line.empty() && line.back() == '\r') line.pop_back();
    const size_t first(line.find_first_not_of(" \t,"));
    if (first == std::string::npos) continue;
    if (line[first] == '#') {
      ++commentLines;
      continue;
    }
    const std::string content(bTrailingComments ? line.substr(0, line.find('#')) : line);
    vFields.clear();
    size_t pos(0);
    while ((pos = content.find_first_not_of(" \t,", pos)) != std::string::npos) {
      const size_t end(content.find_first_of(" \t,", pos));
      vFields.push_back(content.substr(pos, end == std::string::npos ? std::string::npos : end - pos));
      pos = end;
    }
    return true;
  }
  return false;
}

std::string TextFields::complaint(const std::string& text) const {
  return filename + ", line " + std::to_string(currentLine) + ": " + text + ", got \"" + quoteable(line) + "\"";
}

bool TextFields::number(size_t i, double& value) const {
  if (i >= vFields.size()) return false;
  char* end(nullptr);
  value = std::strtod(vFields[i].c_str(), &end);
  return *end == '\0' && std::isfinite(value);
}

bool TextFields::integer(size_t i, long& value) const {
  if (i >= vFields.size()) return false;
  char* end(nullptr);
  errno = 0;
  value = std::strtol(vFields[i].c_str(), &end, 10);
  return *end == '\0' && errno == 0 && !vFields[i].empty();
}
