# Script mode (cmake -P): writes OUTPUT, a C++ source holding every file of WEB_DIR as a byte
# array keyed by its file name, and the lookup findEmbeddedWebFile (dt2Library/embeddedWebFiles.h).
# Byte arrays rather than string literals: exact bytes, no literal length limits, no escaping.
if(NOT WEB_DIR OR NOT OUTPUT)
  message(FATAL_ERROR "GenerateWebFilesSource.cmake needs -DWEB_DIR=... and -DOUTPUT=...")
endif()
file(GLOB files LIST_DIRECTORIES false ${WEB_DIR}/*)
list(SORT files)

# CMake's regular expressions have no {n} repetition: spell out one output line of 24 bytes.
string(REPEAT "0x[0-9a-f][0-9a-f]," 24 lineOfBytes)
set(arrays "")
set(table "")
set(index 0)
foreach(path ${files})
  get_filename_component(name ${path} NAME)
  file(READ ${path} hex HEX)
  string(LENGTH "${hex}" hexLength)
  math(EXPR size "${hexLength} / 2")
  # "0x..," per byte (plus a terminating 0 so that an empty file still gives a valid array),
  # 24 bytes per line.
  string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," bytes "${hex}")
  string(REGEX REPLACE "(${lineOfBytes})" "\\1\n  " bytes "${bytes}")
  string(APPEND arrays "// ${name}\nconst unsigned char kFile${index}[] = {\n  ${bytes}0};\n\n")
  string(APPEND table "    {\"${name}\", kFile${index}, ${size}},\n")
  math(EXPR index "${index} + 1")
endforeach()

set(content "// Generated at build time from the files under web/: do not edit.
#include \"embeddedWebFiles.h\"

namespace KORA_ZARN2D {

namespace {
${arrays}const EmbeddedWebFile kFiles[] = {
${table}    {nullptr, nullptr, 0}};
}  // namespace

const EmbeddedWebFile* findEmbeddedWebFile(const std::string& name) {
  for (const EmbeddedWebFile* pFile = kFiles; pFile->name != nullptr; ++pFile) {
    if (name == pFile->name) return pFile;
  }
  return nullptr;
}

}  // namespace KORA_ZARN2D
")
file(WRITE ${OUTPUT} "${content}")
