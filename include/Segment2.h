#pragma once

#include <iosfwd>

#include "Point2.h"

namespace KORA_ZARN2D {

/// A segment between two points, source then target. The points are copies: they carry no
/// incident triangle. Equality is undirected.
class ZARN2D_EXPORT Segment2 {
 public:
  Segment2(const Point2& src, const Point2& trg) : src(src), trg(trg) {}
  Segment2() {}

  const Point2& getSrc() const { return src; }
  const Point2& getTrg() const { return trg; }
  /// Squared length.
  double getSqLen2D() const;
  /// Exchanges source and target (each passes through a Point2 copy, so no triangle pointer survives).
  void swapSrcTrg();
  /// True when both ends match in the same or in the swapped order (coordinates only).
  bool operator==(const Segment2& other) const;

 private:
  Point2 src;
  Point2 trg;
};

/// Writes "Segment2: " followed by both points.
ZARN2D_EXPORT std::ostream& operator<<(std::ostream& stream, const Segment2& seg);

}  // namespace KORA_ZARN2D
