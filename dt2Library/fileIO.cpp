// Point and segment files: an ASCII point format and little-endian binary point and segment formats.
//
// Binary layout: a 12-byte header of three signed 32-bit integers (file type, record count,
// reserved 0), followed by the records as IEEE-754 doubles. Bytes are encoded explicitly in
// little-endian order, so the files are the same on every host.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <initializer_list>
#include <iomanip>
#include <iostream>
#include <new>
#include <vector>

#include "freeFunctions.h"

namespace KORA_ZARN2D {

namespace {
constexpr std::int32_t kPointFile2D = 20;
constexpr std::int32_t kPointFile3D = 30;
constexpr std::int32_t kSegmentFile2D = 21;
constexpr std::int32_t kSegmentFile3D = 31;
constexpr std::size_t kHeaderBytes = 12;
constexpr std::size_t kDoubleBytes = 8;
constexpr int kAsciiDigits = 18;

// ----- Byte encoding -----------------------------------------------------------------------------

std::uint64_t decodeUnsigned(const unsigned char* pBytes, std::size_t numBytes) {
  std::uint64_t value(0);
  for (std::size_t i = numBytes; i-- > 0;) value = (value << 8) | pBytes[i];
  return value;
}

void encodeUnsigned(std::uint64_t value, std::size_t numBytes, unsigned char* pBytes) {
  for (std::size_t i = 0; i < numBytes; ++i, value >>= 8) pBytes[i] = static_cast<unsigned char>(value & 0xffu);
}

std::int32_t decodeInt32(const unsigned char* pBytes) {
  const std::uint32_t bits(static_cast<std::uint32_t>(decodeUnsigned(pBytes, 4)));
  std::int32_t value;
  std::memcpy(&value, &bits, sizeof(value));
  return value;
}

double decodeDouble(const unsigned char* pBytes) {
  const std::uint64_t bits(decodeUnsigned(pBytes, kDoubleBytes));
  double value;
  std::memcpy(&value, &bits, sizeof(value));
  return value;
}

void encodeInt32(std::int32_t value, unsigned char* pBytes) {
  std::uint32_t bits;
  std::memcpy(&bits, &value, sizeof(bits));
  encodeUnsigned(bits, 4, pBytes);
}

void encodeDouble(double value, unsigned char* pBytes) {
  std::uint64_t bits;
  std::memcpy(&bits, &value, sizeof(bits));
  encodeUnsigned(bits, kDoubleBytes, pBytes);
}

// ----- Binary reading ----------------------------------------------------------------------------

struct BinaryHeader {
  std::int32_t fileType;
  std::int32_t numRecords;
};

// Reads up to numBytes bytes; bytes beyond the end of the file stay zero.
void readZeroPadded(std::ifstream& file, unsigned char* pBytes, std::size_t numBytes) {
  std::memset(pBytes, 0, numBytes);
  file.read(reinterpret_cast<char*>(pBytes), static_cast<std::streamsize>(numBytes));
}

BinaryHeader readHeader(std::ifstream& file) {
  unsigned char bytes[kHeaderBytes];
  readZeroPadded(file, bytes, kHeaderBytes);
  return BinaryHeader{decodeInt32(bytes), decodeInt32(bytes + 4)};  // the reserved word is ignored
}

// Bytes between the read position and the end of the file; 0 when the stream already failed.
std::size_t remainingBytes(std::ifstream& file) {
  if (!file) return 0;
  const std::streampos current(file.tellg());
  file.seekg(0, std::ios::end);
  const std::streampos end(file.tellg());
  file.seekg(current);
  return end > current ? static_cast<std::size_t>(end - current) : 0;
}

// Appends numRecords records of recordBytes bytes to vOut, each turned into an element by
// makeElement. The count comes from the file and is not trusted for the up-front reservation;
// records missing at the end of the file arrive as all-zero bytes. On an allocation failure the
// vector is restored and false is returned.
template <class Element, class MakeElement>
bool appendRecords(std::ifstream& file, std::int32_t numRecords, std::size_t recordBytes, std::vector<Element>& vOut,
                   MakeElement makeElement) {
  if (numRecords <= 0) return true;
  const std::size_t oldSize(vOut.size());
  const std::size_t numWanted(static_cast<std::size_t>(numRecords));
  std::vector<unsigned char> vRecord(recordBytes);
  try {
    vOut.reserve(oldSize + std::min(numWanted, remainingBytes(file) / recordBytes + 1));
    std::size_t numRead(0);
    for (; numRead < numWanted && file; ++numRead) {
      readZeroPadded(file, vRecord.data(), recordBytes);
      vOut.push_back(makeElement(vRecord.data()));
    }
    std::fill(vRecord.begin(), vRecord.end(), 0);
    vOut.insert(vOut.end(), numWanted - numRead, makeElement(vRecord.data()));
  } catch (const std::bad_alloc&) {
    vOut.erase(vOut.begin() + static_cast<std::ptrdiff_t>(oldSize), vOut.end());
    return false;
  }
  return true;
}

Point2 pointAt(const unsigned char* pBytes) { return Point2(decodeDouble(pBytes), decodeDouble(pBytes + kDoubleBytes)); }

// ----- Binary writing ----------------------------------------------------------------------------

void writeHeader(std::ofstream& file, std::int32_t fileType, std::size_t numRecords) {
  unsigned char bytes[kHeaderBytes];
  encodeInt32(fileType, bytes);
  encodeInt32(static_cast<std::int32_t>(numRecords), bytes + 4);
  encodeInt32(0, bytes + 8);
  file.write(reinterpret_cast<const char*>(bytes), kHeaderBytes);
}

void writeDoubles(std::ofstream& file, std::initializer_list<double> values) {
  unsigned char bytes[4 * kDoubleBytes];
  std::size_t numBytes(0);
  for (double value : values) {
    encodeDouble(value, bytes + numBytes);
    numBytes += kDoubleBytes;
  }
  file.write(reinterpret_cast<const char*>(bytes), static_cast<std::streamsize>(numBytes));
}

void printCantBeWritten(const char* filename) { std::cout << filename << " can't be written" << std::endl; }

// ----- ASCII -------------------------------------------------------------------------------------

template <class PointRange, class GetPoint>
bool writeAscii(const char* filename, const PointRange& vPoints, GetPoint getPoint) {
  std::ofstream file(filename, std::ios::out | std::ios::trunc);
  if (!file) {
    printCantBeWritten(filename);
    return false;
  }
  file << std::setprecision(kAsciiDigits);
  for (const auto& element : vPoints) {
    const Point2& p(getPoint(element));
    file << p.x() << " " << p.y() << "\n";
  }
  return true;
}
}  // namespace

bool readXY(const char* filename, std::vector<Point2>& vPoints) {
  std::ifstream file(filename);
  if (!file) {
    std::cout << filename << " is unreadable" << std::endl;
    return false;
  }
  double x, y;
  while (file >> x >> y) vPoints.push_back(Point2(x, y));
  return true;
}

bool writePointsASCII(const char* filename, const std::vector<Point2*>& vPoints) {
  return writeAscii(filename, vPoints, [](const Point2* pPoint) -> const Point2& { return *pPoint; });
}

bool writePointsASCII(const char* filename, const std::vector<Point2>& vPoints) {
  return writeAscii(filename, vPoints, [](const Point2& point) -> const Point2& { return point; });
}

bool readPointsBIN(const char* filename, std::vector<Point2>& vPoints) {
  std::ifstream file(filename, std::ios::in | std::ios::binary);
  if (!file) {
    std::cout << filename << " can't be read" << std::endl;
    return false;
  }
  const BinaryHeader header(readHeader(file));
  if (header.fileType != kPointFile2D && header.fileType != kPointFile3D) {
    std::cout << filename << " has wrong filetype " << header.fileType << ", expected: 30 or 20" << std::endl;
    return false;
  }
  const std::size_t recordBytes((header.fileType == kPointFile3D ? 3 : 2) * kDoubleBytes);
  if (!appendRecords(file, header.numRecords, recordBytes, vPoints, pointAt)) {
    std::cout << filename << " can't be read" << std::endl;
    return false;
  }
  return true;
}

bool writePointsBIN(const char* filename, std::vector<Point2*>& vPoints) {
  std::ofstream file(filename, std::ios::out | std::ios::trunc | std::ios::binary);
  if (!file) {
    printCantBeWritten(filename);
    return false;
  }
  writeHeader(file, kPointFile2D, vPoints.size());
  for (const Point2* pPoint : vPoints) writeDoubles(file, {pPoint->x(), pPoint->y()});
  return true;
}

bool writePointsBIN(const char* filename, std::vector<Point2>& vPoints) {
  std::vector<Point2*> vPointPointers;
  vPointPointers.reserve(vPoints.size());
  for (Point2& point : vPoints) vPointPointers.push_back(&point);
  return writePointsBIN(filename, vPointPointers);
}

bool readSegmentsBIN(const char* filename, std::vector<Segment2>& vSegments) {
  std::ifstream file(filename, std::ios::in | std::ios::binary);
  if (!file) {
    std::cout << filename << " can't be read" << std::endl;
    return false;
  }
  const BinaryHeader header(readHeader(file));
  if (header.fileType != kSegmentFile2D && header.fileType != kSegmentFile3D) {
    std::cout << filename << " has wrong file type: " << header.fileType << " instead of 31 or 21" << std::endl;
    return false;
  }
  const std::size_t doublesPerPoint(header.fileType == kSegmentFile3D ? 3 : 2);
  const std::size_t pointBytes(doublesPerPoint * kDoubleBytes);
  const auto segmentAt = [pointBytes](const unsigned char* pBytes) {
    return Segment2(pointAt(pBytes), pointAt(pBytes + pointBytes));
  };
  if (!appendRecords(file, header.numRecords, 2 * pointBytes, vSegments, segmentAt)) {
    std::cout << filename << " can't be read" << std::endl;
    return false;
  }
  return true;
}

bool writeSegmentsBIN(const char* filename, std::vector<Segment2>& vSegments) {
  std::ofstream file(filename, std::ios::out | std::ios::trunc | std::ios::binary);
  if (!file) {
    printCantBeWritten(filename);
    return false;
  }
  writeHeader(file, kSegmentFile2D, vSegments.size());
  for (const Segment2& segment : vSegments) {
    writeDoubles(file, {segment.getSrc().x(), segment.getSrc().y(), segment.getTrg().x(), segment.getTrg().y()});
  }
  return true;
}

}  // namespace KORA_ZARN2D
