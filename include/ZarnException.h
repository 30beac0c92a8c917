#pragma once

#include <exception>

#include "Zarn2D_common.h"

namespace KORA_ZARN2D {

/// Thrown when an internal invariant fails (a bug, or a programming error in the use of the
/// library). The condition, file and line have been printed before the throw; the object that
/// threw is to be treated as unusable.
class ZARN2D_EXPORT ZarnException : public std::exception {
 public:
  const char* what() const noexcept override;
};

}  // namespace KORA_ZARN2D
