// HC2: initialisation and the look-up tables of the Hilbert curve.
#include "HC2.h"

#include "freeFunctions.h"

namespace KORA_ZARN2D {

namespace {

// The classic Hilbert-curve automaton, index 4 * state + quadrant (quadrant = 2 * x bit + y bit).
constexpr uint8_t kDigit[16] = {0, 1, 3, 2, 0, 3, 1, 2, 2, 1, 3, 0, 2, 3, 1, 0};
constexpr uint8_t kNextState[16] = {1, 0, 2, 0, 0, 3, 1, 1, 2, 2, 0, 3, 3, 1, 3, 2};

constexpr std::array<uint8_t, 16> makeLevelTable() {
  std::array<uint8_t, 16> table{};
  for (unsigned i = 0; i < 16; ++i) table[i] = static_cast<uint8_t>((kDigit[i] << 2) | kNextState[i]);
  return table;
}

// Runs the automaton over three levels for every start state and every 3-bit x and y pattern.
constexpr std::array<uint8_t, 256> makeTripleLevelTable() {
  std::array<uint8_t, 256> table{};
  for (unsigned startState = 0; startState < 4; ++startState) {
    for (unsigned xBits = 0; xBits < 8; ++xBits) {
      for (unsigned yBits = 0; yBits < 8; ++yBits) {
        unsigned state(startState), digits(0);
        for (int level = 2; level >= 0; --level) {
          const unsigned index((state << 2) | (((xBits >> level) & 1u) << 1) | ((yBits >> level) & 1u));
          digits = (digits << 2) | kDigit[index];
          state = kNextState[index];
        }
        table[(startState << 6) | (xBits << 3) | yBits] = static_cast<uint8_t>((digits << 2) | state);
      }
    }
  }
  return table;
}

// The nearest valid key length: even, between 2 and 32.
unsigned validBitLength(unsigned bitLength) {
  if (bitLength > 32) return 32;
  if (bitLength < 2) return 2;
  return bitLength & ~1u;
}

double cellScale(unsigned side, double range) { return range > 0.0 ? side / range : 0.0; }

}  // namespace

// Constant-initialised: ready before any dynamic initialisation that might compute keys.
const std::array<uint8_t, 16> HC2::kLevelTable(makeLevelTable());
const std::array<uint8_t, 256> HC2::kTripleLevelTable(makeTripleLevelTable());

HC2::HC2() { init(0.0, 0.0, 1.0, 1.0, 30); }

HC2::HC2(double minX, double minY, double maxX, double maxY, unsigned bitLength) {
  init(minX, minY, maxX, maxY, bitLength);
}

void HC2::init(double boxMinX, double boxMinY, double boxMaxX, double boxMaxY, unsigned requestedBitLength) {
  bitLength = validBitLength(requestedBitLength);
  if (bitLength != requestedBitLength) reportError("HC2::HC2(..)", "invalid bitlength");
  minX = boxMinX;
  minY = boxMinY;
  maxX = boxMaxX;
  maxY = boxMaxY;
  rangeX = maxX - minX;
  rangeY = maxY - minY;
  numLevels = bitLength / 2;
  numLeadingLevels = numLevels % 3;
  side = 1u << numLevels;
  scaleX = cellScale(side, rangeX);
  scaleY = cellScale(side, rangeY);
}

}  // namespace KORA_ZARN2D
