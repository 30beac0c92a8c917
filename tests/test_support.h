// Helpers shared by the tests: what the library prints, and files read back whole.
#pragma once

#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <sstream>
#include <string>

namespace zarn_test {

/// Runs action and returns what it wrote to standard output.
inline std::string captureStdout(const std::function<void()>& action) {
  testing::internal::CaptureStdout();
  action();
  return testing::internal::GetCapturedStdout();
}

/// Runs action and returns what it wrote to standard error.
inline std::string captureStderr(const std::function<void()>& action) {
  testing::internal::CaptureStderr();
  action();
  return testing::internal::GetCapturedStderr();
}

/// The whole content of a file (empty when it cannot be read).
inline std::string readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream content;
  content << in.rdbuf();
  return content.str();
}

}  // namespace zarn_test
