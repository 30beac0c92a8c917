// Tests that write files: a fresh directory per test (kept when the test fails), files written
// into it and read back, and the zarn2d tool run in it.
#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "test_support.h"

namespace zarn_test {

using Rows = std::vector<std::vector<double>>;

/// How often what occurs in text.
inline size_t countOf(const std::string& text, const std::string& what) {
  size_t n(0);
  for (size_t pos = text.find(what); pos != std::string::npos; pos = text.find(what, pos + 1)) ++n;
  return n;
}

/// The rows of a Triangle file after its header line, each as its numbers (comment lines skipped).
inline Rows rowsOf(const std::string& content) {
  Rows vRows;
  std::istringstream in(content);
  std::string line;
  std::getline(in, line);
  while (std::getline(in, line)) {
    std::istringstream fields(line);
    std::vector<double> vRow;
    for (double value; fields >> value;) vRow.push_back(value);
    if (!vRow.empty()) vRows.push_back(vRow);
  }
  return vRows;
}

/// The exit code (-1 when it did not exit normally) and the outputs of one tool run.
struct ToolResult {
  int exitCode = -1;
  std::string out, err;
};

/// Runs the program with the arguments in the directory dir (which receives stdout.txt and
/// stderr.txt) through the shell.
inline ToolResult runInDirectory(const std::string& dir, const std::string& program, const std::string& arguments) {
  ToolResult result;
  const std::string outFile(dir + "/stdout.txt"), errFile(dir + "/stderr.txt");
  const std::string command("cd '" + dir + "' && '" + program + "' " + arguments + " > '" + outFile + "' 2> '" + errFile + "'");
  const int status(std::system(command.c_str()));
  result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  result.out = readFile(outFile);
  result.err = readFile(errFile);
  return result;
}

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
  Rows rows(const std::string& name) const { return rowsOf(read(name)); }
  std::string writeText(const std::string& name, const std::string& content) const {
    std::ofstream(path(name), std::ios::binary) << content;
    return path(name);
  }

  std::filesystem::path dir;
};

class ToolTest : public TempDirTest {
 protected:
  void SetUp() override {
#ifndef ZARN_TOOL_PATH
    GTEST_SKIP() << "the zarn2d tool is not built";
#endif
    TempDirTest::SetUp();
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
};

}  // namespace zarn_test
