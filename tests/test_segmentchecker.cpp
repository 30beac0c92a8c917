// SegmentChecker: a differential check of the classification, the searches and the intersection
// constructions against the exact predicates of the test oracle (all argument orders and
// directions, members and foreign copies), the messages and the progress reports.
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>

#include "SegmentChecker.h"
#include "cdt_test_support.h"
#include "test_support.h"

using namespace KORA_ZARN2D;

namespace {

using zarn_test::captureStdout;
using zarn_test::reported;
using Intersectors = std::vector<std::pair<Segment2*, SegmentIntersectionType>>;

Segment2 seg(double x0, double y0, double x1, double y1) { return Segment2(Point2(x0, y0), Point2(x1, y1)); }

/// The classification by its definition, from the exact predicates of the test oracle: no common
/// point, a common piece of positive length (collinear, the larger start before the smaller end),
/// else one common point, which is an endpoint of both exactly when they share an endpoint. The
/// overlap of collinear segments goes to lo, hi (in lessXY order).
SegmentIntersectionType referenceType(const Segment2& a, const Segment2& b, bool& bCollinear, Point2& lo, Point2& hi) {
  const Point2 &a0(a.getSrc()), &a1(a.getTrg()), &b0(b.getSrc()), &b1(b.getTrg());
  using dt2test::exactOrientation;
  using dt2test::lessXY;
  bCollinear = exactOrientation(a0, a1, b0) == 0 && exactOrientation(a0, a1, b1) == 0 && exactOrientation(b0, b1, a0) == 0 &&
               exactOrientation(b0, b1, a1) == 0;
  lo = std::max(std::min(a0, a1, lessXY), std::min(b0, b1, lessXY), lessXY);
  hi = std::min(std::max(a0, a1, lessXY), std::max(b0, b1, lessXY), lessXY);
  if (!cdttest::closedSegmentsMeet(a0, a1, b0, b1)) return SIT_NONE;
  if (bCollinear && lessXY(lo, hi)) return SIT_SEGMENT;
  return (a0 == b0 || a0 == b1 || a1 == b0 || a1 == b1) ? SIT_ENDPOINT : SIT_POINT;
}

}  // namespace

// Random segments on a coarse grid (crossings, T's, shared endpoints, collinear overlaps and
// containment, zero-length pieces) and on a grid of decimal steps that doubles cannot hold exactly.
// Every pair in both directions: the type, the common point (exact or rounded to nearest) or the
// overlap (directed like the first). The illegal sets (with and without endpoint contacts, in index
// order), the intersectors of every member, and those of a foreign copy, reversed or not (appended to
// what the caller holds, the member it copies included), must agree with the rational reference.
TEST(SegmentChecker, AgreesWithAPairwiseRationalReferenceOnDegenerateRandomInput) {
  std::mt19937 rng(2024);
  SegmentChecker constructions;
  for (double step : {1.0, 0.1}) {
    for (int gridSize : {4, 9}) {
      std::uniform_int_distribution<int> coordinate(0, gridSize), kind(0, 9), length(-2, 2);
      std::vector<Segment2> vStore, vReversed;
      for (int i = 0; i < 160; ++i) {
        const int x0(coordinate(rng)), y0(coordinate(rng)), k(kind(rng));
        // Some axis-parallel, some zero-length, the rest anywhere.
        const int x1(k == 0 ? x0 : (k < 4 ? x0 + length(rng) : coordinate(rng)));
        const int y1(k == 1 ? y0 : (k < 4 ? y0 + length(rng) : coordinate(rng)));
        vStore.push_back(seg(x0 * step, y0 * step, x1 * step, y1 * step));
        vReversed.push_back(seg(x1 * step, y1 * step, x0 * step, y0 * step));
      }
      std::vector<Segment2*> vSegments;
      for (Segment2& s : vStore) vSegments.push_back(&s);
      SegmentChecker checker(vSegments);
      const size_t n(vStore.size());
      std::vector<Intersectors> vExpectedIntersectors(n), vExpectedForeign(n, Intersectors{{nullptr, SIT_NONE}});
      const std::string said(captureStdout([&] {  // collinear segments without a common point are refused silently
        for (size_t i = 0; i < n; ++i) {
          for (size_t j = 0; j < n; ++j) {
            bool bCollinear(false);
            Point2 lo, hi, p;
            const SegmentIntersectionType expected(referenceType(vStore[i], vStore[j], bCollinear, lo, hi));
            if (expected != SIT_NONE && (i % 2 == 0 || expected != SIT_ENDPOINT)) {
              vExpectedForeign[i].emplace_back(vSegments[j], expected);
            }
            if (i == j) continue;
            ASSERT_EQ(checker.getIntersectionType(vSegments[i], vSegments[j]), expected) << vStore[i] << " / " << vStore[j];
            ASSERT_EQ(checker.getIntersectionType(&vReversed[i], vSegments[j]), expected) << vReversed[i] << " / " << vStore[j];
            if (expected != SIT_NONE) vExpectedIntersectors[i].emplace_back(vSegments[j], expected);
            if (expected == SIT_POINT) {
              ASSERT_TRUE(constructions.getIntersectionPoint(SIT_POINT, vStore[i], vStore[j], p));
              EXPECT_EQ(p, cdttest::roundedIntersection(vStore[i], vStore[j])) << vStore[i] << " / " << vStore[j];
              EXPECT_EQ(p.getCustomIndex(), -1);
            }
            if (!bCollinear || vStore[i].getSrc() == vStore[i].getTrg() || vStore[j].getSrc() == vStore[j].getTrg()) continue;
            Segment2 overlap;
            EXPECT_EQ(constructions.getIntersectionSegment(vStore[i], vStore[j], overlap), expected != SIT_NONE);
            if (dt2test::lessXY(vStore[i].getTrg(), vStore[i].getSrc())) std::swap(lo, hi);
            EXPECT_TRUE(expected == SIT_NONE || (overlap.getSrc() == lo && overlap.getTrg() == hi))
                << vStore[i] << " / " << vStore[j];
          }
        }
      }));
      EXPECT_EQ(said, "");
      for (bool bAlsoEndpoints : {false, true}) {
        std::vector<Segment2*> vExpected, vIllegal;
        for (size_t i = 0; i < n; ++i) {
          const auto& v(vExpectedIntersectors[i]);
          if (std::any_of(v.begin(), v.end(), [&](const auto& e) { return bAlsoEndpoints || e.second != SIT_ENDPOINT; })) vExpected.push_back(vSegments[i]);
        }
        checker.getIllegalSegments(bAlsoEndpoints, vIllegal);
        EXPECT_EQ(vIllegal, vExpected) << "step " << step << ", grid " << gridSize << ", endpoints " << bAlsoEndpoints;
      }
      for (size_t i = 0; i < n; ++i) {
        Intersectors vIntersectors, vForeign{{nullptr, SIT_NONE}};
        checker.getIntersectors(vSegments[i], true, vIntersectors);
        EXPECT_EQ(vIntersectors, vExpectedIntersectors[i]) << vStore[i];
        Segment2 probe(i % 2 == 0 ? vReversed[i] : vStore[i]);
        checker.getIntersectors(&probe, i % 2 == 0, vForeign);
        EXPECT_EQ(vForeign, vExpectedForeign[i]) << probe;
      }
    }
  }
}

// Refused constructions say why and leave the output alone.
TEST(SegmentChecker, IntersectionConstructionsRefuseOtherTypes) {
  SegmentChecker checker;
  const std::string where("SegmentChecker::getIntersectionPoint()");
  Point2 p(7, 7);
  EXPECT_EQ(captureStdout([&] { EXPECT_FALSE(checker.getIntersectionPoint(SIT_ENDPOINT, seg(0, 0, 1, 0), seg(0, 0, 0, 1), p)); }),
            reported(where, "ERROR", "SIT_ENDPOINT is a wrong SegmentIntersectionType for the preset segments"));
  for (SegmentIntersectionType sit : {SIT_NONE, SIT_SEGMENT, SIT_UNINITIALIZED, SIT_POINT}) {  // SIT_POINT: parallel
    const Segment2 b(sit == SIT_POINT ? seg(0, 1, 2, 1) : seg(0, 2, 2, 0));
    EXPECT_EQ(captureStdout([&] { EXPECT_FALSE(checker.getIntersectionPoint(sit, seg(0, 0, 2, 0), b, p)); }),
              reported(where, "ERROR", "wrong SegmentIntersectionType provided"));
  }
  EXPECT_EQ(p, Point2(7, 7));
  Segment2 out;
  EXPECT_EQ(captureStdout([&] { EXPECT_FALSE(checker.getIntersectionSegment(seg(0, 0, 1, 1), seg(0, 0, 1, dt2test::ulpsAway(1, 1)), out)); }),
            reported(where, "ERROR", "segments seem to be non-collinear"));
}

// Null and non-finite segments keep their index but are not checked (one warning for all); the
// type texts; the pictures and their counts.
TEST(SegmentChecker, NullAndNonFiniteSegmentsTypeTextsAndPictures) {
  const char* const aTexts[] = {"SIT_UNINITIALIZED", "SIT_NONE", "SIT_SEGMENT", "SIT_POINT", "SIT_ENDPOINT", "UNKNOWN SIT"};
  for (int i = 0; i < 6; ++i) EXPECT_EQ(SegmentChecker::getIntersectionTypeString(static_cast<SegmentIntersectionType>(i)), aTexts[i]);
  Segment2 a(seg(0, 0, 2, 2)), b(seg(0, 2, 2, 0)), c(seg(3, 0, 3, 1)), d(seg(3, 1, 4, 1)), bad(seg(1, 1, NAN, 1)), inf(seg(1, 1, HUGE_VAL, 1));
  const std::vector<Segment2*> vSegments{&a, nullptr, &bad, &inf, &b, &c, &d};
  EXPECT_NE(captureStdout([&] { SegmentChecker probe(vSegments); })
            .find("SegmentChecker::SegmentChecker(), WARNING: 3 null or non-finite segment(s) will not be checked\n"), std::string::npos);
  SegmentChecker checker(vSegments);
  EXPECT_EQ(checker.getNumberOfSegments(), 7u);
  EXPECT_EQ(checker.getSegment(4), &b);
  std::vector<Segment2*> vIllegal;
  checker.getIllegalSegments(true, vIllegal);
  EXPECT_EQ(vIllegal, (std::vector<Segment2*>{&a, &b, &c, &d}));
  EXPECT_NE(captureStdout([&] { EXPECT_EQ(checker.getIntersectionType(&a, &bad), SIT_UNINITIALIZED); }).find("WARNING"), std::string::npos);
  const std::string showPath((std::filesystem::temp_directory_path() / "segmentchecker_show.ps").string());
  const std::string illegalPath((std::filesystem::temp_directory_path() / "segmentchecker_illegal.svg").string());
  std::remove(showPath.c_str());
  const std::string warning("\n" + dt2test::warningLine("Visualizer2::addSegment()", "Non-finite coordinate, ignored") + "\n\n");
  const std::string skipped(warning + warning);  // the pictures leave out the two non-finite segments
  EXPECT_EQ(captureStdout([&] { checker.showSegments(showPath); }), "SegmentChecker::showSegments(), numSegments=7\n" + skipped);
  EXPECT_TRUE(std::ifstream(showPath).good());
  EXPECT_EQ(captureStdout([&] { checker.showIllegalSegments(true, illegalPath); }),
            "Number of segments:7\nIllegal segments:4\nLegal segments:3\n" + skipped);
  EXPECT_EQ(captureStdout([&] { checker.showIllegalSegments(false, illegalPath); }),
            "Number of segments:7\nIllegal segments:2\nLegal segments:5\n" + skipped);
  EXPECT_NE(zarn_test::readFile(illegalPath).find("<svg"), std::string::npos);
}

// Progress goes once to each receiver subscribed for it: at the start, every percent at most, at the end.
TEST(SegmentChecker, ProgressReachesEachSubscribedReceiverOnce) {
  struct Recorder : MsgBase {
    void update(MsgType msgType, const std::string& text, double progress) override {
      EXPECT_TRUE(msgType == MSG_PROGRESS && text == "getIllegalSegments") << text;
      vProgress.push_back(progress);
    }
    std::vector<double> vProgress;
  } recorder, other;
  std::vector<Segment2> vStore;
  for (int i = 0; i < 1000; ++i) vStore.push_back(seg(i, 0, i + 0.5, 1));
  std::vector<Segment2*> vSegments, vIllegal;
  for (Segment2& s : vStore) vSegments.push_back(&s);
  SegmentChecker checker(vSegments);
  checker.subscribe(MSG_PROGRESS, &recorder);
  checker.subscribe(MSG_PROGRESS, &recorder);  // a second subscription of the pair is ignored
  checker.subscribe(MSG_WARNING, &other);
  checker.getIllegalSegments(false, vIllegal);
  const std::vector<double>& v(recorder.vProgress);
  ASSERT_GE(v.size(), 90u);   // a report for every percent,
  EXPECT_LE(v.size(), 102u);  // and no more, plus start and end
  EXPECT_TRUE(v.front() == 0.0 && v.back() == 1.0);
  for (size_t i = 1; i + 1 < v.size(); ++i) EXPECT_GE(v[i] - v[i - 1], 0.01 - 1e-12);
  EXPECT_TRUE(other.vProgress.empty());
  const size_t numReports(v.size());
  checker.unsubscribe(MSG_PROGRESS, &recorder);
  checker.getIllegalSegments(false, vIllegal);
  EXPECT_EQ(v.size(), numReports);
  SegmentChecker empty;
  EXPECT_EQ(captureStdout([&] { empty.unsubscribe(MSG_PROGRESS, &recorder); }), reported("SegmentChecker::unsubscribe()", "ERROR", "No publisher present"));
  empty.subscribe(MSG_WARNING, &recorder);
  EXPECT_EQ(captureStdout([&] { empty.unsubscribe(MSG_PROGRESS, &recorder); }), "");  // not subscribed for this type: nothing to say
}
