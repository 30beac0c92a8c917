// Free functions: version of the library and the public predicate entry points.
#include <string>

#include "freeFunctions.h"

namespace KORA_ZARN2D {

namespace {
constexpr int kMajorVersion = 1;
constexpr int kMinorVersion = 78;
constexpr int kRevision = 473;

// Assembled once at library start-up; every call returns a copy.
const std::string kVersionText(std::string("Zarn ") + "2D" + ", " + "RELEASE" + ", v" + std::to_string(kMajorVersion) + "." +
                               std::to_string(kMinorVersion));
}  // namespace

int getMajorVersionNumber() { return kMajorVersion; }
int getMinorVersionNumber() { return kMinorVersion; }
int getRevisionNumber() { return kRevision; }
bool isRelease() { return true; }
std::string getZarn2DVersion() { return kVersionText; }

}  // namespace KORA_ZARN2D
