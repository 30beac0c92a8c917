// Every input on which a fuzzer once found a defect (tests/inputs/<target>/), replayed through the
// fuzz target's body under the watchdog: the defect must stay fixed.
#include <gtest/gtest.h>

#include <filesystem>

#include "fuzz_targets.h"

namespace {

struct Target {
  const char* directory;
  std::string (*run)(const uint8_t*, size_t);
};

const Target kTargets[] = {{"fuzz_operations", fuzztest::runOperations}, {"fuzz_readers", fuzztest::runReaders}};

class FrozenFuzzInputs : public ::testing::TestWithParam<Target> {};

TEST_P(FrozenFuzzInputs, PassTheOracleInTime) {
  std::vector<std::string> vFiles;
  const std::string folder(std::string(ZARN_TEST_INPUTS) + "/" + GetParam().directory);
  for (const auto& entry : std::filesystem::directory_iterator(folder)) vFiles.push_back(entry.path().string());
  ASSERT_FALSE(vFiles.empty());
  const std::vector<std::string> vFailures(advtest::runWatched(vFiles.size(), 30, [&](size_t i) {
    const std::string bytes(zarn_test::readFile(vFiles[i]));
    const std::string defect(GetParam().run(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()));
    return defect.empty() ? defect : vFiles[i] + ": " + defect;
  }));
  std::string text;
  for (const std::string& failure : vFailures) text += "\n" + failure.substr(0, 600);
  EXPECT_TRUE(vFailures.empty()) << text;
}

INSTANTIATE_TEST_SUITE_P(Targets, FrozenFuzzInputs, ::testing::ValuesIn(kTargets),
                         [](const ::testing::TestParamInfo<Target>& info) { return std::string(info.param.directory); });

}  // namespace
