// The bodies of the fuzz targets, shared by the libFuzzer executables (fuzz/) and the test that
// replays every input the fuzzers once failed on (tests/inputs/). Each returns an empty string,
// or the defect found.
//   - operations: bytes decoded into a scene of insertions, removals, constraints and applies
//     (adversarial_support.h), checked by the exact oracle after every step;
//   - readers: bytes written to a file and read as text points, binary points and binary segments;
//     the points read are triangulated and checked.
#pragma once

#include <cstdio>
#include <cstring>
#include <limits>

#include "adversarial_support.h"
#include "freeFunctions.h"

namespace fuzztest {

using namespace KORA_ZARN2D;

/// The fuzzer's bytes, read one at a time; zeros once they run out.
struct ByteReader {
  const uint8_t* pBytes;
  size_t numBytes, pos;
  bool empty() const { return pos >= numBytes; }
  uint8_t byte() { return pos < numBytes ? pBytes[pos++] : 0; }
  int centered() { return static_cast<int>(byte()) - 128; }
  double rawDouble() {
    uint64_t bits(0);
    for (int k = 0; k < 8; ++k) bits |= static_cast<uint64_t>(byte()) << (8 * k);
    double value;
    std::memcpy(&value, &bits, sizeof(value));
    return value;
  }
};

/// One coordinate of a kind chosen by the bytes: small integers and eighths (exact crossings),
/// raw doubles (non-finite too), a few ulps from the previous coordinate, huge, subnormal, tiny.
inline double decodeCoordinate(ByteReader& in, double& previous) {
  double value(0.0);
  switch (in.byte() % 8) {
    case 0: value = in.centered(); break;
    case 1: value = in.centered() / 8.0; break;
    case 2: value = in.rawDouble(); break;
    case 3: value = advtest::ulpsAway(std::isfinite(previous) ? previous : 0.0, in.centered() / 4); break;
    case 4: value = in.centered() / 128.0 * DBL_MAX; break;
    case 5: value = in.centered() * std::numeric_limits<double>::denorm_min(); break;
    case 6: value = in.byte() / 256.0 + in.byte() / 65536.0; break;
    default: value = std::ldexp(in.centered(), -1000); break;
  }
  previous = value;
  return value;
}

inline Point2 decodePoint(ByteReader& in, double& previous) {
  const double x(decodeCoordinate(in, previous));
  return Point2(x, decodeCoordinate(in, previous));
}

constexpr size_t kMaxSteps = 12;
constexpr int kMaxBulkPoints = 24;
constexpr int kMaxSegmentsPerStep = 6;

inline advtest::Scene decodeScene(const uint8_t* pData, size_t size) {
  ByteReader in{pData, size, 0};
  advtest::Scene scene;
  scene.cis = (in.byte() & 1) != 0 ? CIS_CONSTRAINED_DELAUNAY : CIS_CONFORMING_DELAUNAY;
  double previous(0.0);
  while (!in.empty() && scene.vSteps.size() < kMaxSteps) {
    advtest::Step step{advtest::Step::INSERT_ONE, {}, {}};
    switch (in.byte() % 5) {
      case 0:
        step.kind = advtest::Step::INSERT_BULK;
        for (int n = in.byte() % kMaxBulkPoints; n > 0; --n) step.vPoints.push_back(decodePoint(in, previous));
        break;
      case 1:
        step.vPoints.push_back(decodePoint(in, previous));
        break;
      case 2:
        step.kind = advtest::Step::REMOVE;
        step.index = in.byte();
        break;
      case 3: {
        step.kind = advtest::Step::CONSTRAIN;
        const uint8_t header(in.byte());
        step.bOriented = (header & 0x80) != 0;
        for (int n = 1 + header % kMaxSegmentsPerStep; n > 0; --n) {
          const Point2 a(decodePoint(in, previous));
          step.vSegments.emplace_back(a, decodePoint(in, previous));
        }
        break;
      }
      default:
        step.kind = advtest::Step::APPLY;
    }
    scene.vSteps.push_back(step);
  }
  return scene;
}

/// Rounded crossings of crossings may drift a few ulps per nesting level; the fuzzer nests more
/// than the seeded families do.
constexpr double kFuzzMaxUlpsOffLine = 64.0;

inline std::string runOperations(const uint8_t* pData, size_t size) {
  return advtest::playAndCheck(decodeScene(pData, size), kFuzzMaxUlpsOffLine);
}

/// A binary header declares its record count; the reader pads a short file with zero records, so
/// memory follows the count. Counts are capped here so that the fuzzer explores parsing, not memory.
constexpr uint32_t kMaxDeclaredRecords = 4096;

inline std::string runReaders(const uint8_t* pData, size_t size) {
  std::vector<uint8_t> vBytes(pData, pData + size);
  if (vBytes.size() < 8) vBytes.resize(std::min<size_t>(vBytes.size(), 4));  // a partial count would be padded with zeros
  if (vBytes.size() >= 8) {  // the little-endian count at byte 4 modulo kMaxDeclaredRecords (a power of two)
    vBytes[5] &= (kMaxDeclaredRecords >> 8) - 1;
    vBytes[6] = vBytes[7] = 0;
  }
  const std::string path("/tmp/zarn_fuzz_readers_" + std::to_string(getpid()) + ".bin");
  std::ofstream(path, std::ios::binary | std::ios::trunc).write(reinterpret_cast<const char*>(vBytes.data()), static_cast<std::streamsize>(vBytes.size()));
  std::vector<Point2> vText, vBinary;
  std::vector<Segment2> vSegments;
  ::testing::internal::CaptureStdout();
  readXY(path.c_str(), vText);
  readPointsBIN(path.c_str(), vBinary);
  readSegmentsBIN(path.c_str(), vSegments);
  ::testing::internal::GetCapturedStdout();
  std::remove(path.c_str());
  if (vBinary.size() > kMaxDeclaredRecords || vSegments.size() > kMaxDeclaredRecords) return "more records than the header declares";
  std::string defect;
  for (const std::vector<Point2>* pPoints : {&vText, &vBinary}) {
    if (!defect.empty() || pPoints->size() > 256) continue;
    advtest::Scene scene;
    scene.vSteps.push_back(advtest::bulk(*pPoints));
    defect = advtest::playAndCheck(scene);
  }
  return defect;
}

}  // namespace fuzztest
