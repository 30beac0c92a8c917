// Quality meshing switches of the zarn2d tool. Refinement is not part of the library yet: the
// switches are accepted by name so that a user learns that, instead of "unknown option".
#include "toolRun.h"

namespace {

ToolOption unavailable(const std::string& name, const std::string& valueName, const std::string& help) {
  return {name, 0, valueName, help + "\n(not available yet: quality meshing is still being built)", [](const std::string&) {
            return std::string("is not available yet: quality meshing (refinement) is still being built");
          }};
}

}  // namespace

ToolExtension makeRefinementExtension() {
  ToolExtension extension;
  extension.options.heading = "Quality meshing";
  extension.options.vOptions.push_back(unavailable("--min-angle", "DEG", "refine until every angle is at least DEG degrees"));
  extension.options.vOptions.push_back(unavailable("--max-area", "A", "refine until every triangle area is at most A"));
  extension.options.vOptions.push_back(unavailable("--max-edge", "L", "refine until every edge is at most L long"));
  return extension;
}
