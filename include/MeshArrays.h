#pragma once

#include <cstdint>
#include <vector>

#include "Zarn2D_common.h"

namespace KORA_ZARN2D {

class Point2;
class Triangle2;
class Zarn_2D;

/// A triangle mesh as index arrays: the form of file formats that number their vertices and of
/// array languages (numpy). Rows are numbered from 0.
struct ZARN2D_EXPORT MeshArrays {
  /// The vertices of the rows after the input rows (points the triangulation added: crossings of
  /// constraints, splits), in the triangulation's vertex order. Input rows are the caller's points.
  std::vector<Point2*> vAddedVertices;
  /// Three vertex rows per triangle, counterclockwise.
  std::vector<int32_t> vTriangles;
  /// Three entries per triangle: the position of the triangle across the edge opposite corner i
  /// within the given triangle list, or -1 on the hull and where that triangle is not listed.
  std::vector<int32_t> vNeighbors;
  /// Two vertex rows per alive constraint piece (the constraint edges of the triangulation).
  std::vector<int32_t> vSegments;
};

/// Fills result for the triangles vTriangles of dt (all of them, or a region). Vertex rows: a
/// vertex whose custom index lies in [0, numInputRows) is row customIndex, so a caller that
/// numbered its input points by their positions gets them back in input order (a duplicate point
/// keeps its row, and the triangles use the row of the vertex that stands for it); every other
/// vertex gets the next row, in order, and is listed in vAddedVertices. result is overwritten.
/// Linear in the size of the triangulation; the triangle positions are found through address
/// runs, not a hash map. A triangle of vTriangles that is not alive is an error: it is reported
/// and result is left empty.
ZARN2D_EXPORT void getMeshArrays(Zarn_2D& dt, const std::vector<Triangle2*>& vTriangles, int32_t numInputRows, MeshArrays& result);

}  // namespace KORA_ZARN2D
