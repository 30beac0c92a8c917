// OBJ export and the web-scene directory (a page with a small WebGL/canvas viewer and the mesh).
#pragma once

#include <string>
#include <vector>

#include "Triangle2.h"

namespace KORA_ZARN2D {

/// Writes the triangles as a Wavefront OBJ mesh (z = 0, 20 significant digits). Vertices are
/// numbered from 1 in order of first appearance (triangle order, then corners 0, 1, 2); each
/// vertex line precedes the first face that uses it. Linear in the number of triangles.
/// A file that cannot be opened gives a warning and false. Null triangles or corners are bugs
/// of the caller (assertion).
bool writeObjFile(const std::string& filename, const std::vector<Triangle2*>& vTriangles);

/// Creates the directory path (recursively), prints "writeWebScene: Creating " + path, copies the
/// viewer page and scripts into it and writes the mesh to path + "/3d.obj". When the directory
/// cannot be created: warning at "Dt2::writeWebScene()", nothing written, false.
bool writeWebSceneFiles(const char* path, const std::vector<Triangle2*>& vTriangles);

}  // namespace KORA_ZARN2D
