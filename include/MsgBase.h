#pragma once

#include <string>

#include "Zarn2D_common.h"

namespace KORA_ZARN2D {

/// Receiver of progress messages. Derive from it, implement `update`, and subscribe an instance
/// with `Zarn_2D::subscribe` (or `SegmentChecker::subscribe`). The library never owns or deletes
/// a receiver: keep it alive while it is subscribed. Calls arrive on the caller's thread.
class ZARN2D_EXPORT MsgBase {
 public:
  MsgBase() = default;
  MsgBase(const MsgBase&) = default;
  MsgBase& operator=(const MsgBase&) = default;
  virtual ~MsgBase();
  /// One message: its type, a short text naming the step, and the progress in [0, 1].
  virtual void update(MsgType msgType, const std::string& text, double progress) = 0;
};

}  // namespace KORA_ZARN2D
