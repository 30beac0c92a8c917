// Running the zarn2d tool from a test: a fixture with a fresh directory per test, files written
// into it, and the tool's exit code, standard output and standard error.
#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "test_support.h"

namespace zarn_test {

struct ToolResult {
  int exitCode = -1;
  std::string out, err;
};

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
    ToolResult result;
#ifdef ZARN_TOOL_PATH
    const std::string outFile(path("stdout.txt")), errFile(path("stderr.txt"));
    const std::string command("cd '" + dir.string() + "' && '" + std::string(ZARN_TOOL_PATH) + "' " + arguments + " > '" + outFile +
                              "' 2> '" + errFile + "'");
    const int status(std::system(command.c_str()));
    result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    result.out = readFile(outFile);
    result.err = readFile(errFile);
#else
    (void)arguments;
#endif
    return result;
  }

  std::filesystem::path dir;
};

}  // namespace zarn_test
