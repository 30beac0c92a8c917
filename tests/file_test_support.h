// Tests that write files: a fresh directory per test (kept when the test fails), files written
// into it and read back, and the zarn2d tool run in it.
#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "test_support.h"

namespace zarn_test {

using Rows = std::vector<std::vector<double>>;

/// The exit code (-1 when it did not exit normally) and the outputs of one tool run.
struct ToolResult {
  int exitCode = -1;
  std::string out, err;
};

class TempDirTest : public ::testing::Test {
 protected:
  void SetUp() override {
    const ::testing::TestInfo* pInfo(::testing::UnitTest::GetInstance()->current_test_info());
    dir = std::filesystem::temp_directory_path() /
          ("zarn_" + std::to_string(getpid()) + "_" + pInfo->test_suite_name() + "_" + pInfo->name());
    std::filesystem::remove_all(dir);
    std::filesystem::create_directories(dir);
  }
  void TearDown() override {
    if (!dir.empty() && !HasFailure()) std::filesystem::remove_all(dir);
  }

  std::string path(const std::string& name) const { return (dir / name).string(); }
  std::string read(const std::string& name) const { return readFile(path(name)); }
  /// The rows of a Triangle file after its header line, each as its numbers (comment lines skipped).
  Rows rows(const std::string& name) const {
    Rows vRows;
    const std::vector<std::string> vLines(splitLines(read(name)));
    for (size_t i = 1; i < vLines.size(); ++i) {
      std::istringstream fields(vLines[i]);
      vRows.emplace_back(std::istream_iterator<double>(fields), std::istream_iterator<double>());
      if (vRows.back().empty()) vRows.pop_back();
    }
    return vRows;
  }
  std::string writeText(const std::string& name, const std::string& content) const {
    std::ofstream(path(name), std::ios::binary) << content;
    return path(name);
  }

  std::filesystem::path dir;
};

#ifndef ZARN_TOOL_PATH
#define ZARN_TOOL_PATH ""  // the tool is not built: its tests skip
#endif

class ToolTest : public TempDirTest {
 protected:
  void SetUp() override {
    if (std::string(ZARN_TOOL_PATH).empty()) GTEST_SKIP() << "the zarn2d tool is not built";
    TempDirTest::SetUp();
  }

  /// Runs the tool with arguments (a shell word list) in the test's directory, which receives
  /// its outputs as stdout.txt and stderr.txt.
  ToolResult run(const std::string& arguments) const {
    const std::string command("cd '" + dir.string() + "' && '" ZARN_TOOL_PATH "' " + arguments + " > stdout.txt 2> stderr.txt");
    const int status(std::system(command.c_str()));
    return ToolResult{WIFEXITED(status) ? WEXITSTATUS(status) : -1, read("stdout.txt"), read("stderr.txt")};
  }

  /// run, expecting exit status 0 (the arguments and standard error are shown otherwise).
  ToolResult runOk(const std::string& arguments) const {
    const ToolResult r(run(arguments));
    EXPECT_EQ(r.exitCode, 0) << arguments << "\n" << r.err;
    return r;
  }
};

}  // namespace zarn_test
