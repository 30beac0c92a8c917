// OBJ export, the web-scene directory, and the helpers createDirectory and fileReplicate.
#include "webExport.h"

#include <filesystem>
#include <fstream>
#include <iostream>
#include <locale>
#include <unordered_map>

#include "embeddedWebFiles.h"
#include "freeFunctions.h"
#include "tools.h"

namespace KORA_ZARN2D {

namespace {
// Files of the viewer that a web scene needs; the page loads exactly these scripts.
const char* const kSceneFiles[] = {"index.html", "jsc3d.js", "jsc3d.ctm.js", "jsc3d.touch.js"};
// 20 significant digits: more than the 17 a double needs, so every coordinate reads back exactly.
const int kObjPrecision(20);

// Writes the "v" line of each corner met for the first time, then the face's "f" line.
void writeObjTriangle(std::ostream& out, const Triangle2* pT, std::unordered_map<const Point2*, std::size_t>& mIndex) {
  ZARN_ASSERT(pT != nullptr);
  std::size_t aNumber[3];
  for (int i = 0; i < 3; ++i) {
    const Point2* pCorner(pT->getCorner(i));
    ZARN_ASSERT(pCorner != nullptr);
    const std::pair<std::unordered_map<const Point2*, std::size_t>::iterator, bool> inserted(
        mIndex.emplace(pCorner, mIndex.size() + 1));
    if (inserted.second) out << "v " << pCorner->x() << " " << pCorner->y() << " 0 \n";
    aNumber[i] = inserted.first->second;
  }
  out << "f " << aNumber[0] << " " << aNumber[1] << " " << aNumber[2] << "\n";
}
}  // namespace

bool writeObjFile(const std::string& filename, const std::vector<Triangle2*>& vTriangles) {
  std::ofstream file(filename.c_str());
  if (!file) {
    reportWarning("writeObj", "Can't write " + filename);
    return false;
  }
  file.imbue(std::locale::classic());
  file.precision(kObjPrecision);
  std::unordered_map<const Point2*, std::size_t> mIndex;
  mIndex.reserve(vTriangles.size());
  for (const Triangle2* pT : vTriangles) writeObjTriangle(file, pT, mIndex);
  file.close();
  if (!file) {
    reportWarning("writeObj", "Can't write " + filename);
    return false;
  }
  return true;
}

bool writeWebSceneFiles(const char* path, const std::vector<Triangle2*>& vTriangles) {
  if (!createDirectory(path)) {
    reportWarning("Dt2::writeWebScene()", std::string("Can't create directory ") + (path ? path : ""));
    return false;
  }
  std::cout << "writeWebScene: Creating " << path << std::endl;
  for (const char* name : kSceneFiles) fileReplicate(name, path);
  return writeObjFile(std::string(path) + "/3d.obj", vTriangles);
}

bool createDirectory(const char* path) {
  if (path == nullptr || *path == '\0') return false;
  namespace fs = std::filesystem;
  const fs::path directory(path);
  std::error_code ec;
  if (fs::exists(directory, ec)) return true;
  const fs::path parent(directory.parent_path());
  if (!parent.empty() && parent != directory && !createDirectory(parent.string().c_str())) return false;
  fs::create_directory(directory, ec);  // "already exists" (a concurrent creator) is fine: checked below
  return fs::is_directory(directory, ec);
}

void fileReplicate(const char* filename, const char* dir) {
  const EmbeddedWebFile* pFile(filename ? findEmbeddedWebFile(filename) : nullptr);
  if (pFile == nullptr) {
    reportError("fileReplicate", "unknown file");
    return;
  }
  const std::string target(std::string(dir ? dir : ".") + "/" + pFile->name);  // no directory: the current one
  std::ofstream out(target.c_str(), std::ios::binary);
  for (std::size_t i = 0; i < pFile->size && out; ++i) out.put(static_cast<char>(pFile->pBytes[i]));
  out.close();
  if (!out) reportWarning("fileReplicate", "Can't write " + target);
}

}  // namespace KORA_ZARN2D
