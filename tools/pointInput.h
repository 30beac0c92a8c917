// Point input of the zarn2d tool: binary point files, text files of "x y" or "x y z" lines (blank,
// comma or tab separated, with comments and one header line), and Triangle's .node, .poly and .ele.
#pragma once

#include <string>
#include <vector>

#include "Zarn_2D.h"

class Console;

/// What a run triangulates: points (each carries its position in the input as custom index),
/// constraint graphs given as segments, and the domain of a .poly file.
struct ToolInput {
  std::vector<KORA_ZARN2D::Point2> vPoints;
  std::vector<std::vector<KORA_ZARN2D::Segment2>> vGraphSegments;
  std::vector<KORA_ZARN2D::Point2> vHoles;
  /// Set by a .poly file: its first graph bounds the domain (the rest of the hull is not meshed).
  bool bPolyDomain = false;
};

/// Appends the content of a point file to input, whatever its kind (see --help). Reading is
/// strict: the first bad line (or record) is reported with its line number on the console, the
/// file is rejected (false) and input is left as it was. Linear in the file size.
bool readPointFile(const std::string& filename, ToolInput& input, Console& console);

/// Whether the file name ends in the given extension (".node"), in any case.
bool hasExtension(const std::string& filename, const std::string& extension);

/// Checks that filename names a readable regular file; otherwise reports why and returns false.
bool isReadableFile(const std::string& filename, Console& console);
