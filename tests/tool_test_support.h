// Running the zarn2d tool from a test: a fixture with a fresh directory per test, files written
// into it, and the tool's exit code, standard output and standard error.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "test_support.h"

namespace zarn_test {

using ToolResult = ToolRun;

class ToolTest : public ::testing::Test {
 protected:
  void SetUp() override {
#ifndef ZARN_TOOL_PATH
    GTEST_SKIP() << "the zarn2d tool is not built";
#endif
    const ::testing::TestInfo* pInfo(::testing::UnitTest::GetInstance()->current_test_info());
    dir = std::filesystem::temp_directory_path() /
          ("zarn_tool_" + std::to_string(getpid()) + "_" + pInfo->test_suite_name() + "_" + pInfo->name());
    std::filesystem::remove_all(dir);
    std::filesystem::create_directories(dir);
  }
  void TearDown() override {
    if (!dir.empty() && !HasFailure()) std::filesystem::remove_all(dir);
  }

  std::string path(const std::string& name) const { return (dir / name).string(); }

  std::string writeText(const std::string& name, const std::string& content) const {
    std::ofstream(path(name), std::ios::binary) << content;
    return path(name);
  }

  /// Runs the tool with arguments (a shell word list) in the test's directory.
  ToolResult run(const std::string& arguments) const {
#ifdef ZARN_TOOL_PATH
    return runInDirectory(dir.string(), ZARN_TOOL_PATH, arguments);
#else
    (void)arguments;
    return ToolResult();
#endif
  }

  std::filesystem::path dir;
};

}  // namespace zarn_test
