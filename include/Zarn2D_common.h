// Zarn2D: exact two-dimensional triangulation.
// Common definitions shared by every public header: the export macro and the small enumerations.
#pragma once

#include "zarn2d_export.h"

namespace KORA_ZARN2D {

class Triangle2;
class KoraTest;

/// Result of an orientation test of three points (p0, p1, p2).
enum Orientation2 {
  ORIENTATION2_COLLINEAR = 0,  ///< p2 lies on the line through p0 and p1
  ORIENTATION2_CCW = 1,        ///< p2 lies to the left of the directed line p0 -> p1
  ORIENTATION2_CW = 2          ///< p2 lies to the right of the directed line p0 -> p1
};

/// The kind of message a `MsgBase` receiver subscribes to.
enum MsgType {
  MSG_PROGRESS = 0,  ///< progress of a long operation: text names the step, progress in [0, 1]
  MSG_WARNING = 1    ///< a warning that a publisher also wants to hand to the host program
};

}  // namespace KORA_ZARN2D
