// libFuzzer target: sequences of insertions, removals, constraints and applies decoded from the
// input, with the exact oracle after every step (tests/fuzz_targets.h).
#include <cstdio>
#include <cstdlib>

#include "fuzz_targets.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t size) {
  const std::string defect(fuzztest::runOperations(pData, size));
  if (!defect.empty()) {
    std::fprintf(stderr, "DEFECT: %s\n", defect.c_str());
    std::abort();
  }
  return 0;
}
