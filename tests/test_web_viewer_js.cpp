// Runs the viewer script checks (tests/web_viewer_checks.js) with Node.js on the copies of the
// scripts that the library writes out. Skipped without node.
#include <gtest/gtest.h>

#include <cstdlib>

#include "Zarn_2D.h"
#include "file_test_support.h"

using namespace KORA_ZARN2D;

namespace {

class WebViewerScripts : public zarn_test::TempDirTest {};

TEST_F(WebViewerScripts, PassTheirChecksUnderNode) {
  if (std::system("node --version > /dev/null 2>&1") != 0) GTEST_SKIP() << "node is not installed";
  for (const char* name : {"jsc3d.js", "jsc3d.ctm.js", "jsc3d.touch.js", "jsc3d.3ds.js", "jsc3d.console.js", "jsc3d.ie.js", "jsc3d.webgl.js"}) {
    fileReplicate(name, dir.string().c_str());
  }
  const std::string checks((std::filesystem::path(__FILE__).parent_path() / "web_viewer_checks.js").string());
  const int status(std::system(("node " + checks + " " + dir.string() + " > " + path("node.log") + " 2>&1").c_str()));
  EXPECT_EQ(status, 0) << read("node.log");
  EXPECT_NE(read("node.log").find(" passed, 0 failed"), std::string::npos) << read("node.log");
}

}  // namespace
