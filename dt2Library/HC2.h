// HC2: keys along a Hilbert space-filling curve over a box.
#pragma once

#include <array>
#include <cstdint>

#include "Point2.h"

namespace KORA_ZARN2D {

/// Maps positions in a box to keys along a Hilbert curve: points with close keys lie close
/// together. The box is divided into side x side cells (side = 2^(bitLength/2)); a key has
/// bitLength bits, two per level of the curve, the most significant digit for the coarsest level.
///
/// The curve is the one given by the classic four-state table (state, quadrant) -> (digit, next
/// state), quadrant = 2 * x bit + y bit. getKey walks it three levels per table look-up with a
/// table derived from the one-level table at compile time: the keys are bit-for-bit those of the
/// one-level walk, at a third of the dependent look-ups.
class HC2 {
 public:
  /// The unit box (0, 0)-(1, 1) with 30 bits.
  HC2();
  /// As init().
  HC2(double minX, double minY, double maxX, double maxY, unsigned bitLength);

  /// Sets the box and the key length. A bitLength that is odd, above 32 or below 2 is reported as
  /// the error "invalid bitlength" and replaced by the nearest valid length. A box of zero extent
  /// along an axis maps that axis to cell 0.
  void init(double minX, double minY, double maxX, double maxY, unsigned bitLength);

  /// The key of the cell containing (x, y): two multiplications, two truncations and
  /// bitLength / 6 table look-ups (rounded up). Only points inside the box get meaningful keys:
  /// the quantisation does not clamp, a point on maxX or maxY is keyed like the lower edge.
  uint32_t getKey(double x, double y) const {
    const uint32_t qx(quantize((x - minX) * scaleX));
    const uint32_t qy(quantize((y - minY) * scaleY));
    uint32_t key(0), state(0);
    unsigned level(numLevels);
    for (unsigned i = 0; i < numLeadingLevels; ++i) {
      --level;
      const uint8_t entry(kLevelTable[(state << 2) | (((qx >> level) & 1u) << 1) | ((qy >> level) & 1u)]);
      key = (key << 2) | (entry >> 2);
      state = entry & 3u;
    }
    while (level != 0) {
      level -= 3;
      const uint8_t entry(kTripleLevelTable[(state << 6) | (((qx >> level) & 7u) << 3) | ((qy >> level) & 7u)]);
      key = (key << 6) | (entry >> 2);
      state = entry & 3u;
    }
    return key;
  }
  /// The key of p's position, as getKey(p.x(), p.y()).
  uint32_t getKey(const Point2& p) const { return getKey(p.x(), p.y()); }

  /// The key length in bits (after the correction of an invalid request).
  unsigned getBitLength() const { return bitLength; }
  /// The number of cells per axis.
  unsigned getSide() const { return side; }

 private:
  /// Truncation toward zero to a 32-bit cell index. A value no 32-bit integer can hold (a point
  /// far outside the box, an infinite or NaN product of extreme coordinates) maps to cell 0
  /// instead of an undefined conversion; keys only steer the search, so any cell is correct.
  static uint32_t quantize(double v) {
    return (v > -2147483648.0 && v < 2147483648.0) ? static_cast<uint32_t>(static_cast<int32_t>(v)) : 0u;
  }

  static const std::array<uint8_t, 16> kLevelTable;         // one level: digit << 2 | next state
  static const std::array<uint8_t, 256> kTripleLevelTable;  // three levels: 6-bit digits << 2 | next state

  unsigned bitLength;
  double minX, minY;
  double maxX, maxY;
  double rangeX, rangeY;
  double scaleX, scaleY;
  unsigned side;
  unsigned numLevels;         // bitLength / 2
  unsigned numLeadingLevels;  // numLevels % 3, walked one by one before the triple steps
};

}  // namespace KORA_ZARN2D
