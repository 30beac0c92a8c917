// Point and segment files: byte layout, foreign file types, damaged files and exact round trips.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <functional>
#include <limits>
#include <random>

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
    bool bResult(true);
    EXPECT_EQ(captureStdout([&] { bResult = testCase.first(); }), testCase.second);
    EXPECT_FALSE(bResult);
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

}  // namespace
}  // namespace KORA_ZARN2D
