// Input of the zarn2d tool: the type word of binary point and segment files, segment files
// (binary or text) and the built-in constraint demo.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "Zarn_2D.h"

/// The leading little-endian 32-bit type word of a file (20/30 binary points, 21/31 binary
/// segments), or 0 when the file cannot be read or is shorter than four bytes.
int32_t readFileType(const std::string& filename);

/// "" when filename names a readable file (regular, a pipe or a device), else why not, as one
/// sentence that starts with the name.
std::string checkReadable(const std::string& filename);

/// Appends the segments of a binary segment file (types 21 and 31) or of a text file with one
/// segment "x0 y0 x1 y1" per line (blank lines and lines starting with '#' are skipped); with
/// bTextOnly the file is read as text whatever its first bytes. A text line that is not exactly
/// four numbers, or a file that cannot be read (checkReadable), is reported with its line number on standard error, after messagePrefix, and the
/// whole file is rejected: false, and vSegments is left as it was.
bool readSegmentFile(const std::string& filename, std::vector<KORA_ZARN2D::Segment2>& vSegments,
                     const std::string& messagePrefix = "zarn2d: ", bool bTextOnly = false);

/// The constraint demo, two graphs around the centre of the unit square: vStar receives a closed
/// star polygon of numStarVertices segments whose vertices lie at the radius
/// 0.35 + 0.05 sin(20 t) at the angle t; vCrossing receives numCrossing segments of length 0.1,
/// each through a point of a star edge in a random direction (fixed seed: the same on every run).
void generateDemoConstraints(unsigned int numStarVertices, unsigned int numCrossing,
                             std::vector<KORA_ZARN2D::Segment2>& vStar, std::vector<KORA_ZARN2D::Segment2>& vCrossing);
