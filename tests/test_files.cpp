// Point and segment files: byte layout, foreign file types, damaged files and exact round trips.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <limits>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "Point2.h"
#include "Segment2.h"
#include "freeFunctions.h"
#include "test_support.h"

namespace KORA_ZARN2D {
namespace {

using zarn_test::captureStdout;

using Bytes = std::vector<unsigned char>;


// Little-endian encoding written out byte by byte, independent of the host.
void appendUnsigned(Bytes& vBytes, std::uint64_t value, int numBytes) {
  for (int i = 0; i < numBytes; ++i, value >>= 8) vBytes.push_back(static_cast<unsigned char>(value & 0xff));
}
void appendInt32(Bytes& vBytes, std::int32_t value) { appendUnsigned(vBytes, static_cast<std::uint32_t>(value), 4); }
void appendDouble(Bytes& vBytes, double value) {
  std::uint64_t bits;
  std::memcpy(&bits, &value, sizeof(bits));
  appendUnsigned(vBytes, bits, 8);
}
Bytes header(std::int32_t fileType, std::int32_t count, std::int32_t reserved = 0) {
  Bytes vBytes;
  appendInt32(vBytes, fileType);
  appendInt32(vBytes, count);
  appendInt32(vBytes, reserved);
  return vBytes;
}
void appendDoubles(Bytes& vBytes, std::initializer_list<double> values) {
  for (double value : values) appendDouble(vBytes, value);
}

std::uint64_t bitsOf(double value) {
  std::uint64_t bits;
  std::memcpy(&bits, &value, sizeof(bits));
  return bits;
}

// Bitwise equality: also holds for NaN and tells -0.0 from 0.0.
void expectSamePoint(const Point2& actual, const Point2& expected) {
  EXPECT_EQ(bitsOf(actual.x()), bitsOf(expected.x())) << actual << " vs " << expected;
  EXPECT_EQ(bitsOf(actual.y()), bitsOf(expected.y())) << actual << " vs " << expected;
}

class Files : public testing::Test {
 protected:
  void SetUp() override {
    char dirTemplate[] = "/tmp/zarn_files_XXXXXX";
    ASSERT_NE(mkdtemp(dirTemplate), nullptr);
    dir = dirTemplate;
  }
  void TearDown() override { std::filesystem::remove_all(dir); }

  std::string path(const std::string& name) const { return dir + "/" + name; }
  std::string unwritablePath() const { return dir + "/missing_dir/file"; }

  void writeBytes(const std::string& name, const Bytes& vBytes) const {
    std::ofstream file(path(name), std::ios::binary);
    file.write(reinterpret_cast<const char*>(vBytes.data()), static_cast<std::streamsize>(vBytes.size()));
  }
  void writeText(const std::string& name, const std::string& text) const { std::ofstream(path(name)) << text; }
  Bytes readBytes(const std::string& name) const {
    std::ifstream file(path(name), std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
  }
  std::string readText(const std::string& name) const {
    std::ifstream file(path(name));
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
  }

  std::string dir;
};

const std::vector<Point2> kAwkwardPoints{Point2(1.5, -2),
                                         Point2(0.1, 1e300),
                                         Point2(-0.0, std::numeric_limits<double>::denorm_min()),
                                         Point2(std::numeric_limits<double>::max(), -std::numeric_limits<double>::max()),
                                         Point2(std::nextafter(1.0, 2.0), std::numeric_limits<double>::quiet_NaN())};

// ----- Binary point files --------------------------------------------------------------------

TEST_F(Files, PointFileLayoutIsLittleEndianType20) {
  std::vector<Point2> vPoints{Point2(1.5, -2), Point2(0.1, 1e300), Point2(-0.0, 7)};
  ASSERT_TRUE(writePointsBIN(path("p.bin").c_str(), vPoints));
  Bytes vExpected(header(20, 3));
  appendDoubles(vExpected, {1.5, -2, 0.1, 1e300, -0.0, 7});
  ASSERT_EQ(vExpected.size(), 60u);
  EXPECT_EQ(readBytes("p.bin"), vExpected);
}

TEST_F(Files, PointRoundTripIsBitExactAndAppends) {
  std::vector<Point2> vPoints(kAwkwardPoints);
  vPoints[0].setCustomIndex(9);
  ASSERT_TRUE(writePointsBIN(path("byValue.bin").c_str(), vPoints));
  std::vector<Point2*> vPointers;
  for (Point2& point : vPoints) vPointers.push_back(&point);
  ASSERT_TRUE(writePointsBIN(path("byPointer.bin").c_str(), vPointers));
  EXPECT_EQ(readBytes("byValue.bin"), readBytes("byPointer.bin"));

  std::vector<Point2> vRead{Point2(-1, -1)};
  ASSERT_TRUE(readPointsBIN(path("byValue.bin").c_str(), vRead));
  ASSERT_TRUE(readPointsBIN(path("byValue.bin").c_str(), vRead));
  ASSERT_EQ(vRead.size(), 1 + 2 * vPoints.size());
  expectSamePoint(vRead[0], Point2(-1, -1));
  for (std::size_t i = 0; i < vPoints.size(); ++i) {
    expectSamePoint(vRead[1 + i], vPoints[i]);
    expectSamePoint(vRead[1 + vPoints.size() + i], vPoints[i]);
  }
  EXPECT_EQ(vRead[1].getCustomIndex(), -1);
  EXPECT_EQ(vRead[1].getIncidentTriangle(), nullptr);
}

TEST_F(Files, ForeignFileTypesAreRejectedAndLeaveTheVectorAlone) {
  Bytes vSegmentFile(header(21, 1));
  appendDoubles(vSegmentFile, {1, 2, 3, 4});
  writeBytes("seg.bin", vSegmentFile);
  writeBytes("empty.bin", Bytes());
  Bytes vPointFile(header(20, 1));
  appendDoubles(vPointFile, {1, 2});
  writeBytes("pnt.bin", vPointFile);

  std::vector<Point2> vPoints{Point2(5, 5)};
  bool bResult(true);
  const std::string segName(path("seg.bin")), emptyName(path("empty.bin")), pntName(path("pnt.bin"));
  EXPECT_EQ(captureStdout([&] { bResult = readPointsBIN(segName.c_str(), vPoints); }),
            segName + " has wrong filetype 21, expected: 30 or 20\n");
  EXPECT_FALSE(bResult);
  EXPECT_EQ(captureStdout([&] { bResult = readPointsBIN(emptyName.c_str(), vPoints); }),
            emptyName + " has wrong filetype 0, expected: 30 or 20\n");
  EXPECT_FALSE(bResult);
  ASSERT_EQ(vPoints.size(), 1u);

  std::vector<Segment2> vSegments{Segment2(Point2(0, 0), Point2(1, 1))};
  EXPECT_EQ(captureStdout([&] { bResult = readSegmentsBIN(pntName.c_str(), vSegments); }),
            pntName + " has wrong file type: 20 instead of 31 or 21\n");
  EXPECT_FALSE(bResult);
  EXPECT_EQ(vSegments.size(), 1u);
}

TEST_F(Files, OpenFailuresAreReported) {
  const std::string missing(path("missing.bin")), unwritable(unwritablePath());
  std::vector<Point2> vPoints{Point2(1, 2)};
  std::vector<Point2*> vPointers{&vPoints[0]};
  std::vector<Segment2> vSegments{Segment2(Point2(0, 0), Point2(1, 1))};
  const std::vector<std::pair<std::function<bool()>, std::string>> vCases{
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
  EXPECT_EQ(vPoints.size(), 1u);
  EXPECT_EQ(vSegments.size(), 1u);
}

TEST_F(Files, MissingRecordsArriveAsZeros) {
  Bytes vBytes(header(20, 3));
  appendDoubles(vBytes, {1, 2, 3});  // one full record, then the x of the second
  writeBytes("short.bin", vBytes);
  std::vector<Point2> vRead;
  EXPECT_EQ(captureStdout([&] { EXPECT_TRUE(readPointsBIN(path("short.bin").c_str(), vRead)); }), "");
  ASSERT_EQ(vRead.size(), 3u);
  expectSamePoint(vRead[0], Point2(1, 2));
  expectSamePoint(vRead[1], Point2(3, 0));
  expectSamePoint(vRead[2], Point2(0, 0));

  Bytes vTruncatedHeader(header(20, 3));
  vTruncatedHeader.resize(6);  // the count's upper bytes are missing too: it reads as 3
  writeBytes("header.bin", vTruncatedHeader);
  vRead.clear();
  EXPECT_TRUE(readPointsBIN(path("header.bin").c_str(), vRead));
  EXPECT_EQ(vRead.size(), 3u);
}

// ----- Binary segment files ------------------------------------------------------------------

TEST_F(Files, SegmentFileLayoutAndRoundTrip) {
  std::vector<Segment2> vSegments;
  for (std::size_t i = 0; i + 1 < kAwkwardPoints.size(); ++i) vSegments.push_back(Segment2(kAwkwardPoints[i], kAwkwardPoints[i + 1]));
  ASSERT_TRUE(writeSegmentsBIN(path("s.bin").c_str(), vSegments));
  const Bytes vBytes(readBytes("s.bin"));
  Bytes vExpectedStart(header(21, static_cast<std::int32_t>(vSegments.size())));
  appendDoubles(vExpectedStart, {1.5, -2, 0.1, 1e300});
  ASSERT_EQ(vBytes.size(), 12 + 32 * vSegments.size());
  EXPECT_TRUE(std::equal(vExpectedStart.begin(), vExpectedStart.end(), vBytes.begin()));

  std::vector<Segment2> vRead{Segment2(Point2(7, 7), Point2(8, 8))};
  ASSERT_TRUE(readSegmentsBIN(path("s.bin").c_str(), vRead));
  ASSERT_EQ(vRead.size(), 1 + vSegments.size());
  for (std::size_t i = 0; i < vSegments.size(); ++i) {
    expectSamePoint(vRead[1 + i].getSrc(), vSegments[i].getSrc());
    expectSamePoint(vRead[1 + i].getTrg(), vSegments[i].getTrg());
  }
}

// ----- ASCII point files ---------------------------------------------------------------------

TEST_F(Files, AsciiRoundTripIsExact) {
  std::mt19937_64 engine(3);
  std::uniform_real_distribution<double> mantissa(-1, 1);
  std::uniform_int_distribution<int> exponent(-300, 300);
  std::vector<Point2> vPoints;
  for (int i = 0; i < 2000; ++i) {
    vPoints.push_back(Point2(std::ldexp(mantissa(engine), exponent(engine)), std::ldexp(mantissa(engine), exponent(engine))));
  }
  ASSERT_TRUE(writePointsASCII(path("p.txt").c_str(), vPoints));
  std::vector<Point2> vRead;
  ASSERT_TRUE(readXY(path("p.txt").c_str(), vRead));
  ASSERT_EQ(vRead.size(), vPoints.size());
  for (std::size_t i = 0; i < vPoints.size(); ++i) expectSamePoint(vRead[i], vPoints[i]);
}

TEST_F(Files, ReadXYTakesPairsInAnyLayoutUntilTheFirstFailure) {
  writeText("five.txt", "1 2\n3\n\t4   5\n");
  writeText("word.txt", "1 2 3 x 5 6");
  std::vector<Point2> vRead{Point2(0, 0)};
  ASSERT_TRUE(readXY(path("five.txt").c_str(), vRead));
  ASSERT_TRUE(readXY(path("word.txt").c_str(), vRead));
  const std::vector<Point2> vExpected{Point2(0, 0), Point2(1, 2), Point2(3, 4), Point2(1, 2)};
  EXPECT_EQ(vRead, vExpected);
  EXPECT_EQ(vRead[1].getCustomIndex(), -1);
}

}  // namespace
}  // namespace KORA_ZARN2D
