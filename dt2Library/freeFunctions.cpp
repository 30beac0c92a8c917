// Free functions: version of the library and the public predicate entry points.
#include <string>

#include "BlockCache.h"
#include "KoraTest.h"
#include "freeFunctions.h"
#include "tools.h"

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

void releaseCachedStorage() { releaseCachedBlocks(); }

namespace {
void assertNonNull(const Point2* p0, const Point2* p1, const Point2* p2) {
  ZARN_ASSERT(p0!=0);
  ZARN_ASSERT(p1!=0);
  ZARN_ASSERT(p2!=0);
}
}  // namespace

Orientation2 getOrientation2(const Point2* p0, const Point2* p1, const Point2* p2) {
  assertNonNull(p0, p1, p2);
  static KoraTest sharedPredicates;  // created on first use; not synchronised (see the declaration)
  return sharedPredicates.getOrientation(*p0, *p1, *p2);
}

Orientation2 getOrientation2_mt(const Point2* p0, const Point2* p1, const Point2* p2) {
  assertNonNull(p0, p1, p2);
  KoraTest ownPredicates;  // cheap: the rationals are only created if the exact stage is reached
  return ownPredicates.getOrientation(*p0, *p1, *p2);
}

std::string getString(Orientation2 ori) {
  switch (ori) {
    case ORIENTATION2_COLLINEAR:
      return "ORIENTATION2_COLLINEAR";
    case ORIENTATION2_CCW:
      return "ORIENTATION2_CCW";
    case ORIENTATION2_CW:
      return "ORIENTATION2_CW";
  }
  return "UNKNOWN";
}

}  // namespace KORA_ZARN2D
