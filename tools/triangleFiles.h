// Triangle's file formats in the zarn2d tool: .node, .poly and .ele in, and the mesh out as
// .node, .ele, .poly, .edge and .neigh.
#pragma once

#include <string>
#include <vector>

#include "Zarn_2D.h"
#include "pointInput.h"

class Console;

/// Whether the first content line of a file is a .node header ("<vertices> 2 <attributes>
/// <markers>", all integers).
bool looksLikeNodeFile(const std::string& filename);

/// Reads the vertices of a .node file (attributes and boundary markers are read and dropped;
/// vertices are numbered consecutively from 0 or 1). Strict: false with the line on error.
bool readNodeFile(const std::string& filename, ToolInput& input, Console& console);

/// Reads a .poly file: vertices (or those of the .node file of the same base when the .poly
/// lists none), its segments as one constraint graph, and its holes. Regional attributes are
/// read and ignored (said on the console).
bool readPolyFile(const std::string& filename, ToolInput& input, Console& console);

/// Reads a .ele file with the .node file of the same base: the vertices, and the edges of the
/// triangles as one constraint graph, so that the triangulation contains the given mesh.
bool readEleFile(const std::string& filename, ToolInput& input, Console& console);

/// Writes base + ".node", ".ele", ".poly", ".edge" and ".neigh" for vTriangles (all triangles, or
/// the triangles of a region). Vertex rows: first the input points in input order (a duplicate
/// keeps its row, unused by the triangles, as Triangle does), then every other vertex (Steiner
/// points) in the triangulation's order; numbers start at firstNumber (1 or 0). The .poly holds
/// the alive constraint pieces and the holes, the .edge every edge of the triangles with marker
/// 1 on the boundary of the set and on constraints, the .neigh the neighbours within the set
/// (-1 for none). Reports a file that cannot be written and returns false. O(n) plus a hash map
/// of the triangles.
bool writeTriangleFiles(const std::string& base, KORA_ZARN2D::Zarn_2D& dt, const std::vector<KORA_ZARN2D::Triangle2*>& vTriangles,
                        const ToolInput& input, int firstNumber, Console& console);
