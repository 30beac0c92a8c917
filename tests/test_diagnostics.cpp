// Console messages, the log file, assertions, the exception text and the named stopwatch.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iomanip>
#include <iostream>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "ZarnException.h"
#include "freeFunctions.h"
#include "tools.h"
#include "test_support.h"

namespace KORA_ZARN2D {
namespace {

using zarn_test::captureStdout;
using zarn_test::readFile;
using zarn_test::splitLines;

int gFalseAssertionLine = 0;
void failOnFalse() {
  gFalseAssertionLine = __LINE__ + 1;
  ZARN_ASSERT(false);
}

void failOnSize(const std::vector<int>& vEdge) { ZARN_ASSERT(vEdge.size()==1); }

// Error and warning put the tagged line between blank lines; info carries the tag only without a location.
TEST(Messages, ErrorWarningAndInfoLines) {
  EXPECT_EQ(captureStdout([] { reportError("Dt2::remove(..)", "vertex not found"); }),
            "\n      [Zarn2D-Message] Dt2::remove(..), ERROR: vertex not found\n\n");
  EXPECT_EQ(captureStdout([] { reportWarning("isVisible", "degenerate input"); }),
            "\n      [Zarn2D-Message] isVisible, WARNING: degenerate input\n\n");
  EXPECT_EQ(captureStdout([] { reportInfo("", "all done"); }), "\n      [Zarn2D-Message] INFO: all done\n\n");
  EXPECT_EQ(captureStdout([] { reportInfo("Zarn_2D::refine()", "all done"); }), "\n      Zarn_2D::refine(), INFO: all done\n\n");
}

TEST(Assertion, FailurePrintsErrorLineLogLineAndLocationThenThrows) {
  const std::vector<std::string> vLines(splitLines(zarn_test::outputOfFailedAssertion(failOnFalse)));
  const std::vector<std::string> vExpected{"",
                                           "      [Zarn2D-Message] Zarn, , ERROR: Condition [ false failed ]",
                                           "",
                                           "Zarn, Condition [ false failed ]",
                                           std::string("      ") + __FILE__ + ":" + std::to_string(gFalseAssertionLine)};
  EXPECT_EQ(vLines, vExpected);
  EXPECT_EQ(readFile("ZARN_LOG.txt"), "Zarn, Condition [ false failed ]\n");
  const std::string expectedStart(
      "\n  ZARN EXCEPTION due to a bug _or_ wrong usage of Zarn. If you think it is a \n  bug then please report "
      "this incident and it will be fixed quickly: ");
  captureStdout([&] {
    try {
      failOnFalse();
    } catch (const std::exception& exception) {
      EXPECT_EQ(std::string(exception.what()).substr(0, expectedStart.size()), expectedStart);
    }
  });
}

TEST(Assertion, LogFileHoldsOnlyTheLastFailure) {
  zarn_test::outputOfFailedAssertion(failOnFalse);
  const std::string output(zarn_test::outputOfFailedAssertion([] { failOnSize(std::vector<int>(3)); }));
  EXPECT_NE(output.find("      [Zarn2D-Message] Zarn, , ERROR: Condition [ vEdge.size()==1 failed ]\n"),
            std::string::npos);
  EXPECT_EQ(readFile("ZARN_LOG.txt"), "Zarn, Condition [ vEdge.size()==1 failed ]\n");
}

// Runs action with a scratch directory as the working directory.
void inScratchDirectory(const std::function<void()>& action) {
  char dirTemplate[] = "/tmp/zarn_diag_XXXXXX";
  ASSERT_NE(mkdtemp(dirTemplate), nullptr);
  char* pOldDir(getcwd(nullptr, 0));
  ASSERT_EQ(chdir(dirTemplate), 0);
  action();
  EXPECT_EQ(chdir(pOldDir), 0);
  std::free(pOldDir);
  std::filesystem::remove_all(dirTemplate);
}

TEST(LogToFile, PrintsTheTextAndStartsTheFileAnew) {
  inScratchDirectory([] {
    EXPECT_EQ(captureStdout([] { logToFile("first\nmessage"); }), "first\nmessage\n");
    EXPECT_EQ(captureStdout([] { logToFile("second"); }), "second\n");
    EXPECT_EQ(readFile("ZARN_LOG.txt"), "second\n");
  });
}

std::string formatSeconds(double seconds) {
  std::ostringstream text;
  text << std::fixed << std::setprecision(3) << seconds;
  return text.str();
}

TEST(Timer, StartStopRestart) {
  double elapsed(0.0);
  EXPECT_EQ(captureStdout([&] { EXPECT_EQ(timer("a"), -1.0); }), "...Timer [a] start\n");
  const std::string stopLine(captureStdout([&] { elapsed = timer("a"); }));
  EXPECT_GE(elapsed, 0.0);
  EXPECT_EQ(stopLine, "...Timer [a] stop, elapsed time: " + formatSeconds(elapsed) + " s\n");
  EXPECT_EQ(std::cout.precision(), 6);
  EXPECT_TRUE(std::cout.flags() & std::ios::fixed);  // deliberately left set
  EXPECT_EQ(captureStdout([&] { EXPECT_EQ(timer("a"), -1.0); }), "...Timer [a] start\n");
  captureStdout([] { timer("a"); });
}

TEST(Timer, QuietPrefixSilencesButStaysPartOfTheName) {
  EXPECT_EQ(captureStdout([] {
              EXPECT_EQ(timer("[quiet]"), -1.0);
              EXPECT_GE(timer("[quiet]"), 0.0);
              EXPECT_EQ(timer("[quiet] insertion"), -1.0);
            }),
            "");
  // "insertion" and "[quiet] insertion" are different timers.
  EXPECT_EQ(captureStdout([] { EXPECT_EQ(timer("insertion"), -1.0); }), "...Timer [insertion] start\n");
  EXPECT_EQ(captureStdout([] { EXPECT_GE(timer("[quiet] insertion"), 0.0); }), "");
  captureStdout([] { timer("insertion"); });
  EXPECT_EQ(captureStdout([] { timer("[quie"); }), "...Timer [[quie] start\n");
  captureStdout([] { timer("[quie"); });
}

}  // namespace
}  // namespace KORA_ZARN2D
