#pragma once

#include "Segment2.h"

namespace KORA_ZARN2D {

/// Strict weak ordering of segment pointers for ordered containers: by source, then by target
/// (Point2's lexicographic order). Segments with equal source and target are equivalent.
struct ZARN2D_EXPORT Func_compareSegment {
  bool operator()(const Segment2* pSeg0, const Segment2* pSeg1) const {
    if (pSeg0->getSrc() < pSeg1->getSrc()) return true;
    if (pSeg1->getSrc() < pSeg0->getSrc()) return false;
    return pSeg0->getTrg() < pSeg1->getTrg();
  }
};

}  // namespace KORA_ZARN2D
