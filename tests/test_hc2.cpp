// Hilbert keys: documented values, the bit-length check, agreement of the three-level walk with a
// level-by-level reference, and the locality that the vertex store and the R-tree rely on.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "HC2.h"

using namespace KORA_ZARN2D;

namespace {

// The curve defined one level per step, straight from the state table (digit and next state per
// 4 * state + quadrant), independent of the library's derived table.
uint32_t referenceKey(double minX, double minY, double maxX, double maxY, unsigned bitLength, double x, double y) {
  static const unsigned digit[16] = {0, 1, 3, 2, 0, 3, 1, 2, 2, 1, 3, 0, 2, 3, 1, 0};
  static const unsigned next[16] = {1, 0, 2, 0, 0, 3, 1, 1, 2, 2, 0, 3, 3, 1, 3, 2};
  const unsigned side(1u << (bitLength / 2));
  const double scaleX(side / (maxX - minX)), scaleY(side / (maxY - minY));
  const uint32_t qx(static_cast<uint32_t>(static_cast<int32_t>((x - minX) * scaleX)));
  const uint32_t qy(static_cast<uint32_t>(static_cast<int32_t>((y - minY) * scaleY)));
  uint32_t mask(side / 2), key(0), state(0);
  unsigned shift(bitLength - 2);
  while (true) {
    const unsigned quadrant(((qx & mask) != 0 ? 2u : 0u) + ((qy & mask) != 0 ? 1u : 0u));
    key += digit[4 * state + quadrant] << shift;
    state = next[4 * state + quadrant];
    if (shift == 0) return key;
    mask /= 2;
    shift -= 2;
  }
}

std::string capturedInit(unsigned bitLength) {
  testing::internal::CaptureStdout();
  HC2 hc(0.0, 0.0, 1.0, 1.0, bitLength);
  return testing::internal::GetCapturedStdout();
}

const std::string kInvalidBitLength("\n      [Zarn2D-Message] HC2::HC2(..), ERROR: invalid bitlength\n\n");

}  // namespace

TEST(HC2, OddOrTooLongBitLengthIsReportedAndReplaced) {
  EXPECT_EQ(capturedInit(31), kInvalidBitLength);
  EXPECT_EQ(capturedInit(34), kInvalidBitLength);
  EXPECT_EQ(capturedInit(0), kInvalidBitLength);
  EXPECT_EQ(capturedInit(30), "");
  EXPECT_EQ(capturedInit(32), "");
  EXPECT_EQ(capturedInit(2), "");

  testing::internal::CaptureStdout();
  const HC2 hc31(0.0, 0.0, 1.0, 1.0, 31), hc34(0.0, 0.0, 1.0, 1.0, 34);
  testing::internal::GetCapturedStdout();
  EXPECT_EQ(hc31.getBitLength(), 30u);
  EXPECT_EQ(hc34.getBitLength(), 32u);
  const HC2 hc30(0.0, 0.0, 1.0, 1.0, 30);
  EXPECT_EQ(hc31.getKey(0.7, 0.2), hc30.getKey(0.7, 0.2));
}

TEST(HC2, ThreeLevelWalkEqualsTheLevelByLevelCurveForEveryBitLength) {
  std::mt19937_64 rng(20240611);
  std::uniform_real_distribution<double> corner(-1e6, 1e6), extent(1e-3, 1e6), unit(-0.25, 1.25);
  for (unsigned bitLength = 2; bitLength <= 32; bitLength += 2) {
    for (int box = 0; box < 20; ++box) {
      const double minX(corner(rng)), minY(corner(rng));
      const double maxX(minX + extent(rng)), maxY(minY + extent(rng));
      const HC2 hc(minX, minY, maxX, maxY, bitLength);
      for (int i = 0; i < 2000; ++i) {
        // Some points lie outside the box: both walks must agree on those as well.
        const double x(minX + unit(rng) * (maxX - minX)), y(minY + unit(rng) * (maxY - minY));
        ASSERT_EQ(hc.getKey(x, y), referenceKey(minX, minY, maxX, maxY, bitLength, x, y))
            << "bits " << bitLength << " point " << x << " " << y;
      }
      ASSERT_EQ(hc.getKey(minX, minY), referenceKey(minX, minY, maxX, maxY, bitLength, minX, minY));
      ASSERT_EQ(hc.getKey(maxX, maxY), referenceKey(minX, minY, maxX, maxY, bitLength, maxX, maxY));
    }
  }
}

// On a grid with one point per cell, the keys are a permutation of 0 .. cells-1 and cells with
// consecutive keys share a side: the defining property of a Hilbert curve.
TEST(HC2, ConsecutiveKeysOfAFullGridAreEdgeNeighbours) {
  for (unsigned bitLength = 2; bitLength <= 14; bitLength += 2) {
    const int side(1 << (bitLength / 2));
    const HC2 hc(0.0, 0.0, side, side, bitLength);
    std::vector<std::pair<int, int>> vCellOfKey(static_cast<size_t>(side) * side, std::make_pair(-1, -1));
    for (int i = 0; i < side; ++i) {
      for (int j = 0; j < side; ++j) {
        const uint32_t key(hc.getKey(i + 0.5, j + 0.5));
        ASSERT_LT(key, vCellOfKey.size());
        ASSERT_EQ(vCellOfKey[key].first, -1) << "key " << key << " used twice";
        vCellOfKey[key] = std::make_pair(i, j);
      }
    }
    for (size_t k = 1; k < vCellOfKey.size(); ++k) {
      const int manhattan(std::abs(vCellOfKey[k].first - vCellOfKey[k - 1].first) +
                          std::abs(vCellOfKey[k].second - vCellOfKey[k - 1].second));
      ASSERT_EQ(manhattan, 1) << "bits " << bitLength << " key " << k;
    }
    EXPECT_EQ(vCellOfKey.front(), std::make_pair(0, 0));
  }
}
