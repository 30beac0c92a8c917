// Triangle's file formats in the zarn2d tool.
#include "triangleFiles.h"

#include <algorithm>
#include <fstream>
#include <functional>
#include <limits>
#include <utility>

#include "console.h"
#include "constraintInput.h"
#include "textFields.h"

using namespace KORA_ZARN2D;

namespace {

const char* const kRejected = "; the file is rejected";

// A header line of up to maxFields integers >= 0 (missing trailing ones are 0).
bool readCounts(TextFields& text, const std::string& filename, const std::string& what, size_t maxFields, std::vector<long>& vCounts,
                Console& console) {
  if (!text.next()) {
    console.error(filename + " ends before " + what + kRejected);
    return false;
  }
  vCounts.assign(maxFields, 0);
  const size_t numFields(text.fields().size());
  bool bOk(numFields >= 1 && numFields <= maxFields);
  for (size_t i = 0; bOk && i < numFields; ++i) bOk = text.integer(i, vCounts[i]) && vCounts[i] >= 0;
  if (!bOk) console.error(text.complaint("expected " + what) + kRejected);
  return bOk;
}

// A numbered record: the number first (consecutive from firstNumber), then minFields - 1 fields
// and up to maxFields in all (trailing attributes and markers may be left out: they count as 0).
bool isRecord(const TextFields& text, size_t minFields, size_t maxFields, long expectedNumber) {
  long number(0);
  return text.fields().size() >= minFields && text.fields().size() <= maxFields && text.integer(0, number) && number == expectedNumber;
}

// The vertex section of a .node or .poly file.
bool readNodes(TextFields& text, const std::string& filename, std::vector<Point2>& vPoints, long& firstNumber, Console& console) {
  std::vector<long> vHeader;
  if (!readCounts(text, filename, "the header \"<vertices> 2 <attributes> <markers>\"", 4, vHeader, console)) return false;
  if ((text.fields().size() >= 2 && vHeader[1] != 2) || vHeader[3] > 1) {
    console.error(text.complaint("expected dimension 2 and 0 or 1 boundary markers") + kRejected);
    return false;
  }
  const size_t numFields(3 + static_cast<size_t>(vHeader[2] + vHeader[3]));
  for (long i = 0; i < vHeader[0]; ++i) {
    if (!text.next()) {
      console.error(filename + " ends after " + std::to_string(i) + " of " + std::to_string(vHeader[0]) + " vertices" + kRejected);
      return false;
    }
    if (i == 0) text.integer(0, firstNumber);
    double x(0.0), y(0.0), value(0.0);
    bool bOk((firstNumber == 0 || firstNumber == 1) && isRecord(text, 3, numFields, firstNumber + i) && text.number(1, x) && text.number(2, y));
    for (size_t f = 3; bOk && f < text.fields().size(); ++f) bOk = text.number(f, value);
    if (!bOk) {
      console.error(text.complaint("expected vertex " + std::to_string(i == 0 ? 1 : firstNumber + i) + " as \"<number> <x> <y>\" with up to " +
                                   std::to_string(vHeader[2]) + " attribute(s) and " + std::to_string(vHeader[3]) +
                                   " marker(s), numbered from 0 or 1") + kRejected);
      return false;
    }
    vPoints.emplace_back(x, y);
  }
  return true;
}

bool rejectTrailingContent(TextFields& text, Console& console) {
  if (!text.next()) return true;
  console.error(text.complaint("expected the end of the file") + kRejected);
  return false;
}

std::string baseOf(const std::string& filename) { return filename.substr(0, filename.rfind('.')); }

// Reads the vertices of base.node for a .poly without vertices or for a .ele.
bool readCompanionNodes(const std::string& filename, std::vector<Point2>& vPoints, long& firstNumber, Console& console) {
  const std::string nodeFile(baseOf(filename) + ".node");
  const std::string unreadable(checkReadable(nodeFile));
  if (!unreadable.empty()) {
    console.error(unreadable + " (" + filename + " needs its vertices)");
    return false;
  }
  TextFields text(nodeFile, true);
  return readNodes(text, nodeFile, vPoints, firstNumber, console) && rejectTrailingContent(text, console);
}

// A vertex number of a segment or triangle record, checked against the vertex range.
bool vertexIndex(const TextFields& text, size_t field, long firstNumber, size_t numVertices, size_t& index) {
  long number(0);
  if (!text.integer(field, number) || number < firstNumber || number - firstNumber >= static_cast<long>(numVertices)) return false;
  index = static_cast<size_t>(number - firstNumber);
  return true;
}

bool readSegments(TextFields& text, const std::string& filename, const std::vector<Point2>& vPoints, long firstNumber,
                  std::vector<Segment2>& vSegments, Console& console) {
  std::vector<long> vHeader;
  if (!readCounts(text, filename, "the segment header \"<segments> <markers>\"", 2, vHeader, console)) return false;
  for (long i = 0; i < vHeader[0]; ++i) {
    size_t a(0), b(0);
    const bool bRead(text.next());
    if (!bRead || !isRecord(text, 3, 3 + static_cast<size_t>(vHeader[1]), firstNumber + i) ||
        !vertexIndex(text, 1, firstNumber, vPoints.size(), a) || !vertexIndex(text, 2, firstNumber, vPoints.size(), b) || a == b) {
      console.error((bRead ? text.complaint("expected segment " + std::to_string(firstNumber + i) +
                                            " as \"<number> <vertex> <vertex>\" between two different vertices")
                           : filename + " ends after " + std::to_string(i) + " segments") + kRejected);
      return false;
    }
    vSegments.emplace_back(vPoints[a], vPoints[b]);
  }
  return true;
}

// Hole seeds "<number> <x> <y>" (the section may be missing), then regional attributes (ignored).
bool readHolesAndRegions(TextFields& text, const std::string& filename, long firstNumber, std::vector<Point2>& vHoles, Console& console) {
  std::vector<long> vHeader;
  for (int section = 0; section < 2; ++section) {
    if (!text.next()) return true;
    long count(0);
    if (text.fields().size() != 1 || !text.integer(0, count) || count < 0) {
      console.error(text.complaint(section == 0 ? "expected the number of holes" : "expected the number of regional attributes") + kRejected);
      return false;
    }
    for (long i = 0; i < count; ++i) {
      double x(0.0), y(0.0);
      const bool bRead(text.next());
      const bool bOk(bRead && text.fields().size() >= 3 && text.fields().size() <= (section == 0 ? 3u : 5u) &&
                     isRecord(text, 3, text.fields().size(), firstNumber + i) && text.number(1, x) && text.number(2, y));
      if (!bOk) {
        console.error((bRead ? text.complaint(section == 0 ? "expected a hole \"<number> <x> <y>\"" : "expected a region \"<number> <x> <y> <attribute> <area>\"")
                             : filename + " ends inside its " + (section == 0 ? "holes" : "regions")) + kRejected);
        return false;
      }
      if (section == 0) vHoles.emplace_back(x, y);
    }
    if (section == 1 && count > 0) console.log("The regional attributes of " + filename + " are ignored");
  }
  return rejectTrailingContent(text, console);
}

}  // namespace

bool looksLikeNodeFile(const std::string& filename) {
  TextFields text(filename, true);
  long value(0), dimension(0);
  if (!text.next() || text.fields().size() != 4 || !text.integer(1, dimension) || dimension != 2) return false;
  for (size_t i = 0; i < 4; ++i) {
    if (!text.integer(i, value) || value < 0) return false;
  }
  return true;
}

bool readNodeFile(const std::string& filename, ToolInput& input, Console& console) {
  TextFields text(filename, true);
  long firstNumber(0);
  if (!readNodes(text, filename, input.vPoints, firstNumber, console) || !rejectTrailingContent(text, console)) return false;
  console.log("Read " + std::to_string(input.vPoints.size()) + " vertices from the .node file " + filename);
  return true;
}

bool readPolyFile(const std::string& filename, ToolInput& input, Console& console) {
  TextFields text(filename, true);
  long firstNumber(0);
  if (!readNodes(text, filename, input.vPoints, firstNumber, console)) return false;
  if (input.vPoints.empty() && !readCompanionNodes(filename, input.vPoints, firstNumber, console)) return false;
  std::vector<Segment2> vSegments;
  if (!readSegments(text, filename, input.vPoints, firstNumber, vSegments, console) ||
      !readHolesAndRegions(text, filename, firstNumber, input.vHoles, console)) {
    return false;
  }
  console.log("Read " + std::to_string(input.vPoints.size()) + " vertices, " + std::to_string(vSegments.size()) + " segments and " +
              std::to_string(input.vHoles.size()) + " holes from the .poly file " + filename);
  input.bPolyDomain = !vSegments.empty();
  if (!vSegments.empty()) input.vGraphSegments.push_back(std::move(vSegments));
  return true;
}

bool readEleFile(const std::string& filename, ToolInput& input, Console& console) {
  long firstNumber(0);
  if (!readCompanionNodes(filename, input.vPoints, firstNumber, console)) return false;
  TextFields text(filename, true);
  std::vector<long> vHeader;
  if (!readCounts(text, filename, "the header \"<triangles> <corners> <attributes>\"", 3, vHeader, console)) return false;
  if (vHeader[1] != 3 && vHeader[1] != 6) {
    console.error(text.complaint("expected 3 or 6 corners per triangle") + kRejected);
    return false;
  }
  std::vector<std::pair<size_t, size_t>> vEdges;
  for (long i = 0; i < vHeader[0]; ++i) {
    size_t aCorner[3] = {0, 0, 0};
    const bool bRead(text.next());
    bool bOk(bRead && isRecord(text, 4, 1 + static_cast<size_t>(vHeader[1] + vHeader[2]), firstNumber + i));
    for (size_t c = 0; bOk && c < 3; ++c) bOk = vertexIndex(text, 1 + c, firstNumber, input.vPoints.size(), aCorner[c]);
    if (!bOk) {
      console.error((bRead ? text.complaint("expected triangle " + std::to_string(firstNumber + i) + " as \"<number> <vertex> <vertex> <vertex>\"")
                           : filename + " ends after " + std::to_string(i) + " triangles") + kRejected);
      return false;
    }
    for (size_t c = 0; c < 3; ++c) vEdges.emplace_back(std::minmax(aCorner[c], aCorner[(c + 1) % 3]));
  }
  if (!rejectTrailingContent(text, console)) return false;
  std::sort(vEdges.begin(), vEdges.end());
  vEdges.erase(std::unique(vEdges.begin(), vEdges.end()), vEdges.end());
  std::vector<Segment2> vSegments;
  for (const std::pair<size_t, size_t>& edge : vEdges) {
    if (edge.first != edge.second) vSegments.emplace_back(input.vPoints[edge.first], input.vPoints[edge.second]);
  }
  console.log("Read " + std::to_string(vHeader[0]) + " triangles (" + std::to_string(vSegments.size()) + " edges, inserted as constraints) from " +
              filename);
  if (!vSegments.empty()) input.vGraphSegments.push_back(std::move(vSegments));
  return true;
}

namespace {

bool writeFile(const std::string& filename, Console& console, const std::function<void(std::ostream&)>& writeContent) {
  std::ofstream file(filename);
  if (file) {
    file.precision(std::numeric_limits<double>::max_digits10);
    writeContent(file);
    file.close();
  }
  if (!file) console.error(filename + " can't be written");
  return bool(file);
}

}  // namespace

bool writeTriangleFiles(const std::string& base, Zarn_2D& dt, const std::vector<Triangle2*>& vTriangles, const ToolInput& input, int firstNumber,
                        Console& console) {
  MeshArrays mesh;
  getMeshArrays(dt, vTriangles, static_cast<int32_t>(input.vPoints.size()), mesh);
  const size_t numTriangles(vTriangles.size());
  // Rows and positions as written: shifted by firstNumber, -1 stays -1.
  auto shown = [firstNumber](int32_t value) { return value < 0 ? -1L : static_cast<long>(value) + firstNumber; };
  auto writeRows = [&](std::ostream& out, const std::vector<int32_t>& vValues, size_t width) {
    for (size_t row = 0; row < vValues.size() / width; ++row) {
      out << shown(static_cast<int32_t>(row));
      for (size_t k = 0; k < width; ++k) out << " " << shown(vValues[width * row + k]);
      out << "\n";
    }
  };

  bool bOk(writeFile(base + ".node", console, [&](std::ostream& out) {
    out << input.vPoints.size() + mesh.vAddedVertices.size() << " 2 0 0\n";
    long row(firstNumber);
    for (const Point2& p : input.vPoints) out << row++ << " " << p.x() << " " << p.y() << "\n";
    for (const Point2* pV : mesh.vAddedVertices) out << row++ << " " << pV->x() << " " << pV->y() << "\n";
  }));
  bOk = bOk && writeFile(base + ".ele", console, [&](std::ostream& out) {
    out << numTriangles << " 3 0\n";
    writeRows(out, mesh.vTriangles, 3);
  });
  bOk = bOk && writeFile(base + ".poly", console, [&](std::ostream& out) {
    out << "0 2 0 0\n" << mesh.vSegments.size() / 2 << " 0\n";
    writeRows(out, mesh.vSegments, 2);
    out << input.vHoles.size() << "\n";
    long row(firstNumber);
    for (const Point2& hole : input.vHoles) out << row++ << " " << hole.x() << " " << hole.y() << "\n";
  });
  bOk = bOk && writeFile(base + ".edge", console, [&](std::ostream& out) {
    // Each edge once, from the triangle at the lower position; marker 1 on the boundary of the
    // triangles written and on constraints.
    std::vector<int32_t> vEdges;
    for (size_t t = 0; t < numTriangles; ++t) {
      for (int i = 0; i < 3; ++i) {
        const int32_t neighbour(mesh.vNeighbors[3 * t + i]);
        if (neighbour >= 0 && static_cast<size_t>(neighbour) < t) continue;
        vEdges.push_back(mesh.vTriangles[3 * t + (i + 1) % 3]);
        vEdges.push_back(mesh.vTriangles[3 * t + (i + 2) % 3]);
        vEdges.push_back(neighbour < 0 || dt.isConstraint(vTriangles[t], i) ? 1 : 0);
      }
    }
    out << vEdges.size() / 3 << " 1\n";
    for (size_t e = 0; e < vEdges.size() / 3; ++e) {
      out << shown(static_cast<int32_t>(e)) << " " << shown(vEdges[3 * e]) << " " << shown(vEdges[3 * e + 1]) << " " << vEdges[3 * e + 2] << "\n";
    }
  });
  bOk = bOk && writeFile(base + ".neigh", console, [&](std::ostream& out) {
    out << numTriangles << " 3\n";
    writeRows(out, mesh.vNeighbors, 3);
  });
  if (bOk) console.log("Wrote " + base + ".node/.ele/.poly/.edge/.neigh (numbered from " + std::to_string(firstNumber) + ")");
  return bOk;
}
