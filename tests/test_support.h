// Helpers shared by the tests: what the library prints, and files read back whole.
#pragma once

#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "ZarnException.h"

namespace zarn_test {

/// A message as the library prints it (kind "WARNING", "ERROR", ...): its line between blank lines.
inline std::string reported(const std::string& where, const std::string& kind, const std::string& msg) {
  return "\n      [Zarn2D-Message] " + where + ", " + kind + ": " + msg + "\n\n";
}

inline std::string warned(const std::string& where, const std::string& msg) { return reported(where, "WARNING", msg); }

/// How often what occurs in text.
inline size_t countOf(const std::string& text, const std::string& what) {
  size_t n(0);
  for (size_t pos = text.find(what); pos != std::string::npos; pos = text.find(what, pos + 1)) ++n;
  return n;
}

/// Checks that out holds exactly one warning: the one where gives with msg.
inline ::testing::AssertionResult isTheOnlyWarning(const std::string& out, const std::string& where, const std::string& msg) {
  if (countOf(out, ", WARNING: ") == 1 && out.find(warned(where, msg)) != std::string::npos) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << "not the only warning \"" << msg << "\":\n" << out;
}

/// Runs action and returns what it wrote to standard output.
inline std::string captureStdout(const std::function<void()>& action) {
  testing::internal::CaptureStdout();
  action();
  return testing::internal::GetCapturedStdout();
}

/// Runs action, expects it to return expected, and returns what it wrote to standard output.
template <class Action, class Result>
std::string outputOfCall(Action action, const Result& expected) {
  return captureStdout([&] { EXPECT_EQ(action(), expected); });
}

/// The lines of text, without their line ends.
inline std::vector<std::string> splitLines(const std::string& text) {
  std::vector<std::string> v;
  std::istringstream iss(text);
  for (std::string line; std::getline(iss, line);) v.push_back(line);
  return v;
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
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

/// Runs action, expects it to throw ZarnException (a failed assertion) and returns what it
/// printed on the way; pWhat, when given, receives the exception's text.
inline std::string outputOfFailedAssertion(const std::function<void()>& action, std::string* pWhat = nullptr) {
  bool bThrown(false);
  const std::string out(captureStdout([&] {
    try {
      action();
    } catch (const KORA_ZARN2D::ZarnException& exception) {
      bThrown = true;
      if (pWhat != nullptr) *pWhat = exception.what();
    }
  }));
  EXPECT_TRUE(bThrown) << "no ZarnException; output:\n" << out;
  return out;
}

/// Runs action, expects it to fail the assertion whose condition reads conditionText, and returns
/// what it printed.
inline std::string expectFailedCondition(const std::string& conditionText, const std::function<void()>& action) {
  const std::string out(outputOfFailedAssertion(action));
  EXPECT_NE(out.find("      [Zarn2D-Message] Zarn, , ERROR: Condition [ " + conditionText + " failed ]\n"), std::string::npos) << out;
  return out;
}

}  // namespace zarn_test
