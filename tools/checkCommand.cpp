// zarn2d check: lists the segments of a segment file that intersect other segments, with the type
// and the location of every intersection, and optionally draws them.
#include <cctype>
#include <cstdint>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <limits>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "Zarn_2D.h"
#include "commands.h"
#include "constraintInput.h"
#include "toolRun.h"

using namespace KORA_ZARN2D;

namespace {

const char* const kCheckUsageHead =
    "zarn2d check - list the illegal (intersecting) segments of a segment set\n"
    "\n"
    "Usage:\n"
    "  zarn2d check SEGMENTFILE [options]\n"
    "\n"
    "SEGMENTFILE is a binary segment file (types 21 and 31, as written by writeSegmentsBIN) or a\n"
    "text file with one segment \"x0 y0 x1 y1\" per line; empty lines and lines starting with '#'\n"
    "are skipped. A file that does not start with the binary type 21 or 31 is read as text.\n"
    "\n"
    "A segment is illegal when it crosses another one, touches its interior (SIT_POINT) or\n"
    "overlaps it (SIT_SEGMENT). Segments that share only an endpoint (SIT_ENDPOINT) are legal\n"
    "unless --endpoints is given. Every illegal segment is listed with its index (its position in\n"
    "the file, from 0), followed by the segments it meets, the type and the common point or part.\n";

const char* const kCheckUsageTail = "\nExit status: 0 when the file was checked (whether or not segments intersect), 1 on bad input.\n";

struct CheckOptions {
  std::string segmentFile;
  bool bAscii = false;
  bool bEndpoints = false;
  std::string psFile, svgFile;
};

std::vector<ToolOption> checkOptions(CheckOptions& opt) {
  return {flagOption("--ascii", 0, opt.bAscii, "read SEGMENTFILE as text whatever its first bytes are"),
          flagOption("--endpoints", 0, opt.bEndpoints, "count segments that share only an endpoint as illegal too"),
          outputFileOption("--ps", opt.psFile, "draw the legal segments black and the illegal ones red, as PostScript"),
          outputFileOption("--svg", opt.svgFile, "the same drawing as SVG")};
}

bool loadSegments(const CheckOptions& opt, std::vector<Segment2>& vSegments) {
  return readSegmentFile(opt.segmentFile, vSegments, "zarn2d check: ", opt.bAscii);
}

std::string formatPoint(const Point2& p) {
  std::ostringstream text;
  text << std::setprecision(std::numeric_limits<double>::max_digits10) << "(" << p.x() << ", " << p.y() << ")";
  return text.str();
}

std::string formatSeconds(double seconds) {
  std::ostringstream text;
  text << std::fixed << std::setprecision(3) << seconds;
  return text.str();
}

std::string formatSegment(const Segment2& s) { return formatPoint(s.getSrc()) + " - " + formatPoint(s.getTrg()); }

/// The common endpoint of two segments of type SIT_ENDPOINT.
const Point2& getSharedEndpoint(const Segment2& a, const Segment2& b) {
  const Point2& src(a.getSrc());
  return src == b.getSrc() || src == b.getTrg() ? src : a.getTrg();
}

/// Where two intersecting segments meet, as text.
std::string describeContact(SegmentChecker& checker, SegmentIntersectionType sit, const Segment2& a, const Segment2& b) {
  if (sit == SIT_ENDPOINT) return "at " + formatPoint(getSharedEndpoint(a, b));
  if (sit == SIT_SEGMENT) {
    Segment2 overlap;
    if (checker.getIntersectionSegment(a, b, overlap)) return "along " + formatSegment(overlap);
    return "";
  }
  Point2 point;
  if (checker.getIntersectionPoint(sit, a, b, point)) return "at " + formatPoint(point);
  return "";
}

struct ContactCounts {
  size_t numPoint = 0, numSegment = 0, numEndpoint = 0;  // pairs, each counted once
};

void listIllegalSegment(SegmentChecker& checker, Segment2* pSeg, bool bEndpoints, ContactCounts& counts) {
  const int index(checker.getIndex(pSeg));
  std::cout << "[" << index << "] " << formatSegment(*pSeg) << std::endl;
  std::vector<std::pair<Segment2*, SegmentIntersectionType>> vIntersectors;
  checker.getIntersectors(pSeg, bEndpoints, vIntersectors);
  for (const std::pair<Segment2*, SegmentIntersectionType>& contact : vIntersectors) {
    const int otherIndex(checker.getIndex(contact.first));
    std::cout << "    with [" << otherIndex << "] " << SegmentChecker::getIntersectionTypeString(contact.second) << " "
              << describeContact(checker, contact.second, *pSeg, *contact.first) << std::endl;
    if (otherIndex < index) continue;  // the pair was counted from its lower index
    if (contact.second == SIT_POINT) ++counts.numPoint;
    if (contact.second == SIT_SEGMENT) ++counts.numSegment;
    if (contact.second == SIT_ENDPOINT) ++counts.numEndpoint;
  }
}

}  // namespace

int runCheckCommand(int argc, char** argv) {
  CheckOptions opt;
  std::vector<std::string> vFiles;
  int exitCode(0);
  if (!parseCommandLine(argc, argv, "zarn2d check", kCheckUsageHead, checkOptions(opt), kCheckUsageTail, 1, vFiles, exitCode)) return exitCode;
  opt.segmentFile = vFiles[0];
  std::vector<Segment2> vSegments;
  if (!loadSegments(opt, vSegments)) return 1;
  std::cout << "Read " << vSegments.size() << " segments from " << opt.segmentFile << std::endl;

  std::vector<Segment2*> vSegmentPointers;
  vSegmentPointers.reserve(vSegments.size());
  for (Segment2& s : vSegments) vSegmentPointers.push_back(&s);
  SegmentChecker checker(vSegmentPointers);
  timer("[quiet] check");
  std::vector<Segment2*> vIllegal;
  checker.getIllegalSegments(opt.bEndpoints, vIllegal);
  const double elapsed(timer("[quiet] check"));

  ContactCounts counts;
  for (Segment2* pSeg : vIllegal) listIllegalSegment(checker, pSeg, opt.bEndpoints, counts);
  std::cout << "Segments: " << vSegments.size() << ", illegal: " << vIllegal.size()
            << ", legal: " << vSegments.size() - vIllegal.size() << " (found in " << formatSeconds(elapsed) << " s)" << std::endl;
  std::cout << "Intersecting pairs: " << counts.numPoint << " SIT_POINT, " << counts.numSegment << " SIT_SEGMENT";
  if (opt.bEndpoints) std::cout << ", " << counts.numEndpoint << " SIT_ENDPOINT";
  std::cout << std::endl;
  Console console("zarn2d check");  // the drawing's messages go to standard error
  bool bOk(true);
  for (const std::string& file : {opt.psFile, opt.svgFile}) {
    if (file.empty()) continue;
    bOk &= writeOutput(console, file, "drawing", [&](const std::string& path) {
      checker.showIllegalSegments(opt.bEndpoints, path);
      return true;
    });
  }
  return bOk ? 0 : 1;
}
