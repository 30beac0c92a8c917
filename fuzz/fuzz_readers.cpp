// libFuzzer target: the input as a text point file, a binary point file and a binary segment
// file; the points read are triangulated and checked (tests/fuzz_targets.h).
#include <cstdio>
#include <cstdlib>

#include "fuzz_targets.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t size) {
  const std::string defect(fuzztest::runReaders(pData, size));
  if (!defect.empty()) {
    std::fprintf(stderr, "DEFECT: %s\n", defect.c_str());
    std::abort();
  }
  return 0;
}
