// The free functions around the triangulation. Point and segment files: byte layout, foreign file
// types, damaged files and exact round trips. Test data generators: reproducibility, output
// semantics, and the geometric promises of the shapes (simple polygons, bounded segments, connected
// sine chains).

#include <cstring>
#include <limits>
#include <tuple>

#include "cdt_test_support.h"
#include "file_test_support.h"
#include "freeFunctions.h"

namespace KORA_ZARN2D {
namespace {

using zarn_test::captureStdout;

std::uint64_t bitsOf(double value) {
  std::uint64_t bits;
  std::memcpy(&bits, &value, sizeof(bits));
  return bits;
}

// The coordinates' bits: equal also for NaN, and -0.0 differs from 0.0.
std::vector<std::uint64_t> bitsOf(const std::vector<Point2>& vPoints) {
  std::vector<std::uint64_t> vBits;
  for (const Point2& p : vPoints) vBits.insert(vBits.end(), {bitsOf(p.x()), bitsOf(p.y())});
  return vBits;
}

// A binary file's header and records as little-endian bytes, independent of the host.
std::string bytesOf(std::int32_t fileType, std::int32_t count, std::initializer_list<double> values) {
  std::string bytes;
  const auto append = [&bytes](std::uint64_t value, int numBytes) {
    for (int i = 0; i < numBytes; ++i, value >>= 8) bytes.push_back(static_cast<char>(value & 0xff));
  };
  for (const std::int32_t value : {fileType, count, 0}) append(static_cast<std::uint32_t>(value), 4);
  for (const double value : values) append(bitsOf(value), 8);
  return bytes;
}

class Files : public zarn_test::TempDirTest {};

const std::vector<Point2> kAwkwardPoints{Point2(1.5, -2), Point2(0.1, 1e300), Point2(-0.0, std::numeric_limits<double>::denorm_min()),
                                         Point2(std::numeric_limits<double>::max(), -std::numeric_limits<double>::max()),
                                         Point2(std::nextafter(1.0, 2.0), std::numeric_limits<double>::quiet_NaN())};

// Little-endian headers (type 20 for points, 21 for segments) and records, read back bit for bit
// and appended to what the vector held.
TEST_F(Files, BinaryFilesAreLittleEndianAndRoundTripBitExactly) {
  std::vector<Point2> vPoints(kAwkwardPoints);
  vPoints[0].setCustomIndex(9);
  std::vector<Point2*> vPointers;
  std::vector<Segment2> vSegments;
  for (Point2& point : vPoints) vPointers.push_back(&point);
  for (std::size_t i = 0; i + 1 < vPoints.size(); ++i) vSegments.push_back(Segment2(vPoints[i], vPoints[i + 1]));
  ASSERT_TRUE(writePointsBIN(path("byValue.bin").c_str(), vPoints) && writePointsBIN(path("byPointer.bin").c_str(), vPointers));
  ASSERT_TRUE(writeSegmentsBIN(path("s.bin").c_str(), vSegments));
  EXPECT_EQ(read("byValue.bin").substr(0, 44), bytesOf(20, 5, {1.5, -2, 0.1, 1e300}));
  EXPECT_EQ(read("byValue.bin").size(), 12 + 16 * vPoints.size());
  EXPECT_EQ(read("byValue.bin"), read("byPointer.bin"));
  EXPECT_EQ(read("s.bin").substr(0, 44), bytesOf(21, 4, {1.5, -2, 0.1, 1e300}));
  EXPECT_EQ(read("s.bin").size(), 12 + 32 * vSegments.size());
  std::vector<Point2> vRead{Point2(-1, -1)}, vExpected(vRead), vEnds{Point2(7, 7), Point2(8, 8)}, vReadEnds;
  std::vector<Segment2> vReadSegments{Segment2(vEnds[0], vEnds[1])};
  ASSERT_TRUE(readPointsBIN(path("byValue.bin").c_str(), vRead) && readPointsBIN(path("byValue.bin").c_str(), vRead));
  ASSERT_TRUE(readSegmentsBIN(path("s.bin").c_str(), vReadSegments));
  for (int copy = 0; copy < 2; ++copy) vExpected.insert(vExpected.end(), vPoints.begin(), vPoints.end());
  EXPECT_TRUE(bitsOf(vRead) == bitsOf(vExpected) && vRead[1].getCustomIndex() == -1 && vRead[1].getIncidentTriangle() == nullptr);
  for (const Segment2& segment : vReadSegments) vReadEnds.insert(vReadEnds.end(), {segment.getSrc(), segment.getTrg()});
  for (const Segment2& segment : vSegments) vEnds.insert(vEnds.end(), {segment.getSrc(), segment.getTrg()});
  EXPECT_EQ(bitsOf(vReadEnds), bitsOf(vEnds));
}

// Foreign file types, missing and unwritable files: the message, false, and the vector untouched.
TEST_F(Files, FailuresAreReportedAndLeaveTheVectorAloneAndMissingRecordsAreZeros) {
  writeText("seg.bin", bytesOf(21, 1, {1, 2, 3, 4}));
  writeText("empty.bin", "");
  writeText("pnt.bin", bytesOf(20, 1, {1, 2}));
  const std::string seg(path("seg.bin")), empty(path("empty.bin")), pnt(path("pnt.bin")), missing(path("missing.bin")), unwritable(path("missing_dir/file"));
  std::vector<Point2> vPoints{Point2(1, 2)};
  std::vector<Point2*> vPointers{&vPoints[0]};
  std::vector<Segment2> vSegments{Segment2(Point2(0, 0), Point2(1, 1))};
  const std::vector<std::pair<std::function<bool()>, std::string>> vCases{
      {[&] { return readPointsBIN(seg.c_str(), vPoints); }, seg + " has wrong filetype 21, expected: 30 or 20\n"},
      {[&] { return readPointsBIN(empty.c_str(), vPoints); }, empty + " has wrong filetype 0, expected: 30 or 20\n"},
      {[&] { return readSegmentsBIN(pnt.c_str(), vSegments); }, pnt + " has wrong file type: 20 instead of 31 or 21\n"},
      {[&] { return readPointsBIN(missing.c_str(), vPoints); }, missing + " can't be read\n"},
      {[&] { return readSegmentsBIN(missing.c_str(), vSegments); }, missing + " can't be read\n"},
      {[&] { return readXY(missing.c_str(), vPoints); }, missing + " is unreadable\n"},
      {[&] { return writePointsBIN(unwritable.c_str(), vPoints); }, unwritable + " can't be written\n"},
      {[&] { return writePointsBIN(unwritable.c_str(), vPointers); }, unwritable + " can't be written\n"},
      {[&] { return writeSegmentsBIN(unwritable.c_str(), vSegments); }, unwritable + " can't be written\n"},
      {[&] { return writePointsASCII(unwritable.c_str(), vPoints); }, unwritable + " can't be written\n"},
      {[&] { return writePointsASCII(unwritable.c_str(), vPointers); }, unwritable + " can't be written\n"}};
  for (const auto& testCase : vCases) {
    EXPECT_EQ(zarn_test::outputOfCall(testCase.first, false), testCase.second);
  }
  EXPECT_TRUE(vPoints.size() == 1u && vSegments.size() == 1u);
  // Missing records arrive as zeros, silently: one full record, then the x of the second; a count
  // whose upper bytes are missing too reads as 3.
  writeText("short.bin", bytesOf(20, 3, {1, 2, 3}));
  writeText("header.bin", bytesOf(20, 3, {}).substr(0, 6));
  vPoints.clear();
  EXPECT_EQ(captureStdout([&] { EXPECT_TRUE(readPointsBIN(path("short.bin").c_str(), vPoints)); }), "");
  EXPECT_TRUE(readPointsBIN(path("header.bin").c_str(), vPoints));
  EXPECT_EQ(vPoints, (std::vector<Point2>{Point2(1, 2), Point2(3, 0), Point2(0, 0), Point2(0, 0), Point2(0, 0), Point2(0, 0)}));
}

TEST_F(Files, AsciiRoundTripIsExactAndReadXYTakesPairsUntilTheFirstFailure) {
  std::mt19937_64 engine(3);
  std::uniform_real_distribution<double> mantissa(-1, 1);
  std::uniform_int_distribution<int> exponent(-300, 300);
  std::vector<Point2> vPoints;
  for (int i = 0; i < 2000; ++i) vPoints.push_back(Point2(std::ldexp(mantissa(engine), exponent(engine)), std::ldexp(mantissa(engine), exponent(engine))));
  ASSERT_TRUE(writePointsASCII(path("p.txt").c_str(), vPoints));
  std::vector<Point2> vRead;
  ASSERT_TRUE(readXY(path("p.txt").c_str(), vRead));
  EXPECT_EQ(bitsOf(vRead), bitsOf(vPoints));

  writeText("five.txt", "1 2\n3\n\t4   5\n");
  writeText("word.txt", "1 2 3 x 5 6");
  vRead.assign(1, Point2(0, 0));
  ASSERT_TRUE(readXY(path("five.txt").c_str(), vRead) && readXY(path("word.txt").c_str(), vRead));
  EXPECT_EQ(vRead, (std::vector<Point2>{Point2(0, 0), Point2(1, 2), Point2(3, 4), Point2(1, 2)}));
  EXPECT_EQ(vRead[1].getCustomIndex(), -1);
}

// ----- Generators ----------------------------------------------------------------------------------

bool isInBox(const Point2& p, double min, double max) {
  return min <= p.x() && p.x() <= max && min <= p.y() && p.y() <= max;
}

// The classic rand() recurrence: its first values seeded with 1, and values on the 2^15 grid of the range.
TEST(RandomNumbers, ClassicFifteenBitSequenceOnTheGridOfTheRange) {
  std::vector<double> vNumbers;
  generateRandomNumbers(5, 0.0, 1.0, vNumbers, 1);
  EXPECT_EQ(vNumbers, (std::vector<double>{16838 / 32768.0, 5758 / 32768.0, 10113 / 32768.0, 17515 / 32768.0, 31051 / 32768.0}));
  vNumbers.clear();
  generateRandomNumbers(20000, -3.0, 5.0, vNumbers, 42);
  for (double value : vNumbers) ASSERT_TRUE(std::fmod(value + 3.0, 0x1p-12) == 0.0 && value >= -3.0 && value <= 5.0 - 0x1p-12) << value;
  const auto [pMin, pMax] = std::minmax_element(vNumbers.begin(), vNumbers.end());
  EXPECT_TRUE(*pMin < -3.0 + 0.01 && *pMax > 5.0 - 0.01) << *pMin << " " << *pMax;
}

// ----- Circle and polygons -------------------------------------------------------------------

TEST(Circle, FourPointsAtTheTruncatedQuarterAnglesAndNoneWarns) {
  std::vector<Point2> vPoints{Point2(100, 100)};
  generateCircle(4, 1.0, -2.0, 3.0, 0.5, vPoints);
  ASSERT_TRUE(vPoints.size() == 5u && vPoints[0] == Point2(100, 100));
  const double angles[] = {0.0, 1.570795, 3.14159, 4.712385};  // 3.14159 stops short of pi
  for (int i = 0; i < 4; ++i) {
    EXPECT_LT(std::hypot(vPoints[1 + i].x() - std::cos(angles[i]) * 3.0 - 1.0, vPoints[1 + i].y() - std::sin(angles[i]) * 0.5 + 2.0), 1e-14);
  }
  EXPECT_EQ(captureStdout([&] { generateCircle(0, 0, 0, 1, 1, vPoints); }),
            zarn_test::warned("generateCircle()", "numPoints=0"));
  EXPECT_EQ(vPoints.size(), 5u);
}

// Simple counterclockwise rings of distinct vertices inside the box, from tiny boxes far from the
// origin to many segments.
TEST(RandomPolygon, IsASimpleCounterclockwiseRingInsideTheBox) {
  for (const auto& [numSegments, min, max, seed] : std::vector<std::tuple<unsigned, double, double, unsigned>>{
           {3, 0, 1, 1}, {4, -1, 1, 2}, {17, 1e6, 1e6 + 1, 3}, {100, -1e-3, 1e-3, 4}, {1500, 0, 100, 5}, {60, -5, 5, 0}}) {
    SCOPED_TRACE(std::to_string(numSegments) + " segments, seed " + std::to_string(seed));
    std::vector<Segment2> vRing(3, Segment2(Point2(0, 0), Point2(1, 1)));
    generateRandomPolygon(numSegments, min, max, vRing, seed);
    ASSERT_EQ(vRing.size(), numSegments);
    std::vector<Point2> vVertices;
    for (std::size_t i = 0; i < vRing.size(); ++i) {
      ASSERT_TRUE(vRing[i].getTrg() == vRing[(i + 1) % vRing.size()].getSrc() && isInBox(vRing[i].getSrc(), min, max)) << "edge " << i;
      vVertices.push_back(vRing[i].getSrc());
    }
    const std::size_t n(vVertices.size());
    for (std::size_t i = 0; i < n; ++i) {
      for (std::size_t j = i + 1; j < n; ++j) {
        ASSERT_FALSE(vVertices[i] == vVertices[j] ||
                     cdttest::detail::meetBeyondSharedEnds(&vVertices[i], &vVertices[(i + 1) % n], &vVertices[j], &vVertices[(j + 1) % n]))
            << "edges " << i << " and " << j << " meet";
      }
    }
    // At the lexicographically lowest vertex the ring turns left exactly when it runs counterclockwise.
    const size_t low(std::min_element(vVertices.begin(), vVertices.end()) - vVertices.begin());
    EXPECT_EQ(dt2test::exactOrientation(vVertices[(low + n - 1) % n], vVertices[low], vVertices[(low + 1) % n]), 1);
  }
}

// ----- Random segments -----------------------------------------------------------------------

TEST(RandomSegments, InsideTheBoxAndNoLongerThanMaxLength) {
  for (const double maxLength : {0.01, 0.5, 30.0}) {  // the last exceeds the box
    std::vector<Segment2> vSegments(2, Segment2(Point2(-9, -9), Point2(9, 9)));
    generateRandomSegments(3000, 2.0, 12.0, maxLength, vSegments, 13);
    ASSERT_EQ(vSegments.size(), 3000u);
    for (const Segment2& s : vSegments) {
      ASSERT_TRUE(isInBox(s.getSrc(), 2.0, 12.0) && isInBox(s.getTrg(), 2.0, 12.0) && s.getSqLen2D() > 0.0) << s;
      ASSERT_LE(s.getSqLen2D(), maxLength * maxLength) << s;
    }
  }
}

TEST(Generators, BadArgumentsFailTheirAssertions) {
  std::vector<double> vNumbers;
  std::vector<Point2> vPoints;
  std::vector<Segment2> vSegments;
  const std::vector<std::pair<std::function<void()>, const char*>> vCases{
      {[&] { generateRandomNumbers(3, 1.0, 1.0, vNumbers, 1); }, "min<max"},
      {[&] { generateRandomNumbers(3, 2.0, 1.0, vNumbers, 1); }, "min<max"},
      {[&] { generateRandomPoints(3, 1.0, 1.0, vPoints, 1); }, "min<max"},
      {[&] { generateRandomPolygon(5, 1.0, std::nan(""), vSegments, 1); }, "min<max"},
      {[&] { generateRandomSegments(5, 1.0, 0.0, 0.1, vSegments, 1); }, "min<max"},
      {[&] { generateRandomPolygon(2, 0, 1, vSegments, 1); }, "numSegments>2"},
      {[&] { generateRandomPolygon(5, 0, 5e-324, vSegments, 1); }, "range>0"},
      {[&] { generateRandomSegments(4, 0, 1, 0.0, vSegments, 1); }, "maxLength>0"},
      {[&] { generateRandomSegments(0, 0, 1, 0.2, vSegments, 1); }, "siz>=2"},
      {[&] { generateSineSegments(0, 1, 0, 0, 1, 1, false, vSegments); }, "numSegments>0"},
      {[&] { generateSineSegments(-3, 1, 0, 0, 1, 1, false, vSegments); }, "numSegments>0"}};
  for (const auto& c : vCases) zarn_test::expectFailedCondition(c.second, c.first);
}

// ----- Sine chains ---------------------------------------------------------------------------

TEST(SineSegments, ConnectedChainOverTheRequestedPeriods) {
  std::vector<Segment2> vChain{Segment2(Point2(-1, -1), Point2(-2, -2))};
  generateSineSegments(8, 2, 10.0, 0.0, 0.5, 3.0, false, vChain);
  ASSERT_EQ(vChain.size(), 9u);  // appended
  const double pi(std::acos(-1.0));
  for (std::size_t k = 0; k < 8; ++k) {
    const Point2& sample(vChain[1 + k].getSrc());
    ASSERT_EQ(vChain[1 + k].getTrg(), k < 7 ? vChain[2 + k].getSrc() : Point2(2 * pi + 10.0, 0.0)) << k;
    EXPECT_DOUBLE_EQ(sample.x(), k * pi / 2 * 0.5 + 10.0);
    EXPECT_EQ(sample.y(), k % 2 == 0 ? 0.0 : k % 4 == 1 ? 3.0 : -3.0) << "sample " << k << " not snapped";
  }
  // Snapping comes after the shift; a zero y scale rectifies the curve; swapping exchanges x and y.
  std::vector<Segment2> vShifted, vRectified, vSwapped;
  generateSineSegments(4, 1, 0.0, 1e-14, 1.0, 1.0, false, vShifted);
  EXPECT_TRUE(vShifted[0].getSrc().y() == 0.0 && vShifted[0].getTrg().y() == 1.0 + 1e-14) << vShifted[0];
  generateSineSegments(4, 1, 0.0, 2.0, 1.0, 0.0, false, vRectified);
  EXPECT_EQ(vRectified[0].getTrg().y() + 10 * vRectified[1].getTrg().y() + 100 * vRectified[2].getTrg().y(), 3.0 + 20 + 300);
  generateSineSegments(4, 1, 0.0, 2.0, 1.0, 0.0, true, vSwapped);
  EXPECT_EQ(vSwapped[1].getTrg(), Point2(vRectified[1].getTrg().y(), vRectified[1].getTrg().x()));
}

}  // namespace
}  // namespace KORA_ZARN2D
