// The web viewer's files, compiled into the library from the sources under web/ (the
// definitions are generated at build time by cmake/GenerateWebFilesSource.cmake).
#pragma once

#include <cstddef>
#include <string>

namespace KORA_ZARN2D {

/// One embedded file: its name (no directory) and its exact bytes.
struct EmbeddedWebFile {
  const char* name;
  const unsigned char* pBytes;
  std::size_t size;
};

/// The embedded file of that name, or null when there is none. Constant time in the number of
/// files for practical purposes (a short linear scan); the returned data lives as long as the
/// library.
const EmbeddedWebFile* findEmbeddedWebFile(const std::string& name);

}  // namespace KORA_ZARN2D
