// Runs the viewer script checks (tests/web_viewer_checks.js) with Node.js on the copies of the
// scripts that the library writes out. Skipped without node.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "Zarn_2D.h"
#include "test_support.h"

using namespace KORA_ZARN2D;
namespace fs = std::filesystem;

namespace {

using zarn_test::readFile;


TEST(WebViewerScripts, PassTheirChecksUnderNode) {
  if (std::system("node --version > /dev/null 2>&1") != 0) GTEST_SKIP() << "node is not installed";
  std::string pattern((fs::temp_directory_path() / "zarn_js_XXXXXX").string());
  ASSERT_NE(mkdtemp(&pattern[0]), nullptr);
  const fs::path dir(pattern);
  for (const char* name : {"jsc3d.js", "jsc3d.ctm.js", "jsc3d.touch.js", "jsc3d.3ds.js", "jsc3d.console.js",
                           "jsc3d.ie.js", "jsc3d.webgl.js"}) {
    fileReplicate(name, dir.string().c_str());
  }
  const fs::path checks(fs::path(__FILE__).parent_path() / "web_viewer_checks.js");
  const fs::path log(dir / "node.log");
  const int status(std::system(("node " + checks.string() + " " + dir.string() + " > " + log.string() + " 2>&1").c_str()));
  const std::string output(readFile(log));
  fs::remove_all(dir);
  EXPECT_EQ(status, 0) << output;
  EXPECT_NE(output.find(" passed, 0 failed"), std::string::npos) << output;
}

}  // namespace
