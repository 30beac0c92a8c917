// Internal diagnostics: the assertion macro that stays active in release builds.
#pragma once

#include <string>

#include "freeFunctions.h"

namespace KORA_ZARN2D {

/// Prints the failed condition (error line, log file, "file:line"), then throws ZarnException.
[[noreturn]] void assertionFailed(const char* conditionText, const char* file, int line);

/// Squared Euclidean distance in doubles (a heuristic measure: no geometric decision rests on it).
inline double sqDistance(const Point2& a, const Point2& b) {
  const double dx(a.x() - b.x()), dy(a.y() - b.y());
  return dx * dx + dy * dy;
}

}  // namespace KORA_ZARN2D

/// Checks an internal invariant. Active in every build type; a failure prints the condition text,
/// logs it to "ZARN_LOG.txt", prints the source file and line, and throws ZarnException.
#define ZARN_ASSERT(condition)                                                         \
  do {                                                                                 \
    if (__builtin_expect(!(condition), 0)) {                                           \
      ::KORA_ZARN2D::assertionFailed(#condition, __FILE__, __LINE__);                  \
    }                                                                                  \
  } while (false)

/// ZARN_ASSERT reporting the given condition text instead of the source text: for a documented
/// condition on data that is stored in another form than the text names it.
#define ZARN_ASSERT_TEXT(condition, conditionText)                                     \
  do {                                                                                 \
    if (__builtin_expect(!(condition), 0)) {                                           \
      ::KORA_ZARN2D::assertionFailed(conditionText, __FILE__, __LINE__);               \
    }                                                                                  \
  } while (false)
