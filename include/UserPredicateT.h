// UserPredicateT: a host-defined test of a triangle, used by Zone2::peelOffIf.
#pragma once

#include "Zarn2D_common.h"

namespace KORA_ZARN2D {

/// Derive from this class and implement operator() to decide about single triangles, for example
/// which triangles Zone2::peelOffIf removes. The library calls it on the caller's thread, only
/// with live triangles of the zone at hand; the pointer is valid during the call.
class ZARN2D_EXPORT UserPredicateT {
 public:
  virtual ~UserPredicateT();
  /// True when the triangle qualifies.
  virtual bool operator()(const Triangle2* pT) = 0;
};

}  // namespace KORA_ZARN2D
