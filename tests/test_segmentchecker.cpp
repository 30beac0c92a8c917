// SegmentChecker: the classification of every configuration in all argument orders and directions,
// a differential check of the search against an independent pairwise classification by the exact
// predicates of the test oracle,
// the intersection constructions, the messages and the progress reports.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "SegmentChecker.h"
#include "ZarnException.h"
#include "cdt_test_support.h"

using namespace KORA_ZARN2D;

namespace {

Segment2 seg(double x0, double y0, double x1, double y1) { return Segment2(Point2(x0, y0), Point2(x1, y1)); }

Segment2 reversed(const Segment2& s) { return Segment2(s.getTrg(), s.getSrc()); }

std::string errorLine(const std::string& where, const std::string& msg) {
  return "\n      [Zarn2D-Message] " + where + ", ERROR: " + msg + "\n\n";
}

/// The classification by its definition, from the exact predicates of the test oracle: no common
/// point, a common piece of positive length (collinear, the larger start before the smaller end),
/// else one common point, which is an endpoint of both exactly when they share an endpoint.
SegmentIntersectionType referenceType(const Segment2& a, const Segment2& b) {
  const Point2 &a0(a.getSrc()), &a1(a.getTrg()), &b0(b.getSrc()), &b1(b.getTrg());
  if (!cdttest::closedSegmentsMeet(a0, a1, b0, b1)) return SIT_NONE;
  using dt2test::exactOrientation;
  using dt2test::lessXY;
  const bool bCollinear(exactOrientation(a0, a1, b0) == 0 && exactOrientation(a0, a1, b1) == 0 && exactOrientation(b0, b1, a0) == 0 &&
                        exactOrientation(b0, b1, a1) == 0);
  const Point2 lo(std::max(std::min(a0, a1, lessXY), std::min(b0, b1, lessXY), lessXY));
  const Point2 hi(std::min(std::max(a0, a1, lessXY), std::max(b0, b1, lessXY), lessXY));
  if (bCollinear && lessXY(lo, hi)) return SIT_SEGMENT;
  return (a0 == b0 || a0 == b1 || a1 == b0 || a1 == b1) ? SIT_ENDPOINT : SIT_POINT;
}

/// The type of (a, b) as the checker sees it, asserted equal for both argument orders and all four
/// combinations of directions.
SegmentIntersectionType symmetricType(SegmentChecker& checker, const Segment2& a, const Segment2& b) {
  const Segment2 ra(reversed(a)), rb(reversed(b));
  const SegmentIntersectionType sit(checker.getIntersectionType(&a, &b));
  for (const Segment2* pA : {&a, &ra}) {
    for (const Segment2* pB : {&b, &rb}) {
      EXPECT_EQ(checker.getIntersectionType(pA, pB), sit) << *pA << " / " << *pB;
      EXPECT_EQ(checker.getIntersectionType(pB, pA), sit) << *pB << " / " << *pA;
    }
  }
  return sit;
}

struct ClassificationCase {
  const char* name;
  Segment2 a, b;
  SegmentIntersectionType expected;
};


}  // namespace

// ----- Classification -------------------------------------------------------------------------

TEST(SegmentChecker, EveryConfigurationIsClassifiedAlikeInAllOrdersAndDirections) {
  const std::vector<ClassificationCase> vCases{
      {"proper crossing", seg(0, 0, 2, 2), seg(0, 2, 2, 0), SIT_POINT},
      {"T: endpoint on the interior", seg(0, 0, 4, 0), seg(2, 0, 2, 3), SIT_POINT},
      {"shared endpoint, otherwise apart", seg(0, 0, 4, 0), seg(0, 0, 1, 3), SIT_ENDPOINT},
      {"collinear, shared endpoint, opposite", seg(0, 0, 2, 1), seg(0, 0, -4, -2), SIT_ENDPOINT},
      {"collinear, shared endpoint, same way", seg(0, 0, 2, 1), seg(0, 0, 4, 2), SIT_SEGMENT},
      {"the same segment", seg(1, 2, 3, 5), seg(1, 2, 3, 5), SIT_SEGMENT},
      {"collinear, overlapping", seg(0, 0, 3, 3), seg(1, 1, 5, 5), SIT_SEGMENT},
      {"collinear, contained", seg(0, 0, 6, 0), seg(2, 0, 3, 0), SIT_SEGMENT},
      {"collinear, disjoint", seg(0, 0, 1, 1), seg(2, 2, 3, 3), SIT_NONE},
      {"parallel", seg(0, 0, 4, 0), seg(0, 1, 4, 1), SIT_NONE},
      {"the line crosses, the segment not", seg(0, 0, 4, 0), seg(5, -1, 6, 1), SIT_NONE},
      {"apart on one side", seg(0, 0, 4, 0), seg(1, 1, 3, 2), SIT_NONE},
      {"points at the same place", seg(1, 1, 1, 1), seg(1, 1, 1, 1), SIT_ENDPOINT},
      {"points at different places", seg(1, 1, 1, 1), seg(1, 2, 1, 2), SIT_NONE},
      {"point at an endpoint", seg(0, 0, 4, 4), seg(4, 4, 4, 4), SIT_ENDPOINT},
      {"point inside", seg(0, 0, 4, 4), seg(1, 1, 1, 1), SIT_POINT},
      {"point on the line, outside", seg(0, 0, 4, 4), seg(5, 5, 5, 5), SIT_NONE},
      {"point off the line", seg(0, 0, 4, 4), seg(1, 2, 1, 2), SIT_NONE},
      {"vertical T", seg(0, 0, 0, 4), seg(0, 2, -3, 2), SIT_POINT},
  };
  SegmentChecker checker;
  for (const ClassificationCase& c : vCases) {
    EXPECT_EQ(symmetricType(checker, c.a, c.b), c.expected) << c.name;
    EXPECT_EQ(referenceType(c.a, c.b), c.expected) << "reference: " << c.name;
  }
}

// ----- Searches -------------------------------------------------------------------------------

TEST(SegmentChecker, EndpointContactsAreIllegalOnlyOnRequest) {
  Segment2 a(seg(0, 0, 4, 0)), b(seg(4, 0, 4, 4)), c(seg(10, 0, 14, 0)), d(seg(12, 0, 12, 5)), e(seg(20, 20, 21, 21));
  SegmentChecker checker(std::vector<Segment2*>{&e, &d, &a, &c, &b});
  std::vector<Segment2*> vIllegal;
  checker.getIllegalSegments(false, vIllegal);
  EXPECT_EQ(vIllegal, (std::vector<Segment2*>{&d, &c}));  // the T only, in index order
  checker.getIllegalSegments(true, vIllegal);
  EXPECT_EQ(vIllegal, (std::vector<Segment2*>{&d, &a, &c, &b}));
}

TEST(SegmentChecker, NullAndNonFiniteSegmentsKeepTheirIndexButAreNotChecked) {
  Segment2 a(seg(0, 0, 2, 2)), b(seg(0, 2, 2, 0)), bad(seg(1, 1, NAN, 1)), inf(seg(1, 1, HUGE_VAL, 1));
  testing::internal::CaptureStdout();
  SegmentChecker checker(std::vector<Segment2*>{&a, nullptr, &bad, &inf, &b});
  const std::string output(testing::internal::GetCapturedStdout());
  EXPECT_NE(output.find("SegmentChecker::SegmentChecker(), WARNING: 3 "), std::string::npos) << output;
  EXPECT_EQ(checker.getNumberOfSegments(), 5u);
  EXPECT_EQ(checker.getSegment(4), &b);
  std::vector<Segment2*> vIllegal;
  checker.getIllegalSegments(true, vIllegal);
  EXPECT_EQ(vIllegal, (std::vector<Segment2*>{&a, &b}));
  testing::internal::CaptureStdout();
  EXPECT_EQ(checker.getIntersectionType(&a, &bad), SIT_UNINITIALIZED);
  EXPECT_NE(testing::internal::GetCapturedStdout().find("WARNING"), std::string::npos);
}

// Random segments on a coarse grid (many shared endpoints, collinear overlaps, zero-length pieces)
// and on a grid of decimal steps that doubles cannot hold exactly: every pair, the illegal set and
// the intersectors of every segment must agree with the rational reference.
TEST(SegmentChecker, AgreesWithAPairwiseRationalReferenceOnDegenerateRandomInput) {
  std::mt19937 rng(2024);
  for (double step : {1.0, 0.1}) {
    for (int gridSize : {4, 9}) {
      std::uniform_int_distribution<int> coordinate(0, gridSize), kind(0, 9), length(-2, 2);
      std::vector<Segment2> vStore;
      for (int i = 0; i < 160; ++i) {
        const int x0(coordinate(rng)), y0(coordinate(rng));
        const int k(kind(rng));
        // Some axis-parallel, some zero-length, the rest anywhere.
        const int x1(k == 0 ? x0 : (k < 4 ? x0 + length(rng) : coordinate(rng)));
        const int y1(k == 1 ? y0 : (k < 4 ? y0 + length(rng) : coordinate(rng)));
        vStore.push_back(seg(x0 * step, y0 * step, x1 * step, y1 * step));
      }
      std::vector<Segment2*> vSegments;
      for (Segment2& s : vStore) vSegments.push_back(&s);
      SegmentChecker checker(vSegments);
      const size_t n(vStore.size());
      std::vector<bool> vIllegalStrict(n, false), vIllegalWithEndpoints(n, false);
      std::vector<std::vector<std::pair<Segment2*, SegmentIntersectionType>>> vExpectedIntersectors(n);
      for (size_t i = 0; i < n; ++i) {
        for (size_t j = 0; j < n; ++j) {
          if (i == j) continue;
          const SegmentIntersectionType expected(referenceType(vStore[i], vStore[j]));
          ASSERT_EQ(checker.getIntersectionType(vSegments[i], vSegments[j]), expected)
              << "step " << step << ": " << vStore[i] << " / " << vStore[j];
          if (expected == SIT_POINT || expected == SIT_SEGMENT) vIllegalStrict[i] = true;
          if (expected != SIT_NONE) {
            vIllegalWithEndpoints[i] = true;
            vExpectedIntersectors[i].emplace_back(vSegments[j], expected);
          }
        }
      }
      for (bool bAlsoEndpoints : {false, true}) {
        std::vector<Segment2*> vExpected, vIllegal;
        for (size_t i = 0; i < n; ++i) {
          if (bAlsoEndpoints ? vIllegalWithEndpoints[i] : vIllegalStrict[i]) vExpected.push_back(vSegments[i]);
        }
        checker.getIllegalSegments(bAlsoEndpoints, vIllegal);
        EXPECT_EQ(vIllegal, vExpected) << "step " << step << ", grid " << gridSize << ", endpoints " << bAlsoEndpoints;
      }
      for (size_t i = 0; i < n; ++i) {
        std::vector<std::pair<Segment2*, SegmentIntersectionType>> vIntersectors;
        checker.getIntersectors(vSegments[i], true, vIntersectors);
        EXPECT_EQ(vIntersectors, vExpectedIntersectors[i]) << vStore[i];
      }
    }
  }
}

TEST(SegmentChecker, IntersectorsOfAForeignSegmentAreAppendedInIndexOrder) {
  Segment2 a(seg(0, 0, 4, 0)), b(seg(2, -1, 2, 1)), c(seg(4, 0, 5, 5)), d(seg(9, 9, 9, 9));
  SegmentChecker checker(std::vector<Segment2*>{&d, &c, &b, &a});
  Segment2 probe(seg(0, 0, 4, 0));  // equal to a, but another object
  std::vector<std::pair<Segment2*, SegmentIntersectionType>> vOut{{nullptr, SIT_NONE}};
  checker.getIntersectors(&probe, false, vOut);
  const std::vector<std::pair<Segment2*, SegmentIntersectionType>> vExpected{
      {nullptr, SIT_NONE}, {&b, SIT_POINT}, {&a, SIT_SEGMENT}};
  EXPECT_EQ(vOut, vExpected);
  vOut.clear();
  checker.getIntersectors(&a, true, vOut);  // a itself is not its own intersector
  EXPECT_EQ(vOut, (std::vector<std::pair<Segment2*, SegmentIntersectionType>>{{&c, SIT_ENDPOINT}, {&b, SIT_POINT}}));
}

// ----- Constructions --------------------------------------------------------------------------

TEST(SegmentChecker, IntersectionPointsAreExactOrNearest) {
  SegmentChecker checker;
  Point2 p;
  ASSERT_TRUE(checker.getIntersectionPoint(SIT_POINT, seg(0, 0, 2, 2), seg(0, 2, 2, 0), p));
  EXPECT_EQ(p, Point2(1, 1));
  ASSERT_TRUE(checker.getIntersectionPoint(SIT_POINT, seg(0, 0, 3, 1), seg(0, 1, 1, -1), p));
  EXPECT_EQ(p, Point2(3.0 / 7.0, 1.0 / 7.0));  // y = x / 3 meets y = 1 - 2x at (3/7, 1/7), rounded
  ASSERT_TRUE(checker.getIntersectionPoint(SIT_POINT, seg(0.1, 0.7, 0.1, -3), seg(-1, 0.3, 0.1, 0.3), p));
  EXPECT_EQ(p, Point2(0.1, 0.3));  // a T meets at the endpoint itself
  ASSERT_TRUE(checker.getIntersectionPoint(SIT_POINT, seg(0.5, 0.5, 0.5, 0.5), seg(0, 0, 1, 1), p));
  EXPECT_EQ(p, Point2(0.5, 0.5));
  EXPECT_EQ(p.getCustomIndex(), -1);
}

TEST(SegmentChecker, IntersectionPointRefusesOtherTypes) {
  SegmentChecker checker;
  const std::string where("SegmentChecker::getIntersectionPoint()");
  Point2 p(7, 7);
  testing::internal::CaptureStdout();
  EXPECT_FALSE(checker.getIntersectionPoint(SIT_ENDPOINT, seg(0, 0, 1, 0), seg(0, 0, 0, 1), p));
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            errorLine(where, "SIT_ENDPOINT is a wrong SegmentIntersectionType for the preset segments"));
  for (SegmentIntersectionType sit : {SIT_NONE, SIT_SEGMENT, SIT_UNINITIALIZED}) {
    testing::internal::CaptureStdout();
    EXPECT_FALSE(checker.getIntersectionPoint(sit, seg(0, 0, 2, 2), seg(0, 2, 2, 0), p));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), errorLine(where, "wrong SegmentIntersectionType provided"));
  }
  testing::internal::CaptureStdout();  // SIT_POINT for segments that are parallel
  EXPECT_FALSE(checker.getIntersectionPoint(SIT_POINT, seg(0, 0, 2, 0), seg(0, 1, 2, 1), p));
  EXPECT_EQ(testing::internal::GetCapturedStdout(), errorLine(where, "wrong SegmentIntersectionType provided"));
  EXPECT_EQ(p, Point2(7, 7));
}

TEST(SegmentChecker, IntersectionSegmentIsTheOverlapDirectedLikeTheFirst) {
  SegmentChecker checker;
  Segment2 out;
  ASSERT_TRUE(checker.getIntersectionSegment(seg(0, 0, 3, 3), seg(5, 5, 1, 1), out));
  EXPECT_EQ(out.getSrc(), Point2(1, 1));
  EXPECT_EQ(out.getTrg(), Point2(3, 3));
  ASSERT_TRUE(checker.getIntersectionSegment(seg(0, 4, 0, -4), seg(0, 1, 0, 2), out));  // vertical, contained
  EXPECT_EQ(out.getSrc(), Point2(0, 2));
  EXPECT_EQ(out.getTrg(), Point2(0, 1));
  ASSERT_TRUE(checker.getIntersectionSegment(seg(0, 0, 1, 2), seg(2, 4, 1, 2), out));  // touching only
  EXPECT_EQ(out.getSrc(), Point2(1, 2));
  EXPECT_EQ(out.getTrg(), Point2(1, 2));
  testing::internal::CaptureStdout();
  EXPECT_FALSE(checker.getIntersectionSegment(seg(0, 0, 1, 1), seg(2, 2, 3, 3), out));  // collinear, apart
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  testing::internal::CaptureStdout();
  EXPECT_FALSE(checker.getIntersectionSegment(seg(0, 0, 1, 1), seg(0, 0, 1, dt2test::ulpsAway(1, 1)), out));
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            errorLine("SegmentChecker::getIntersectionPoint()", "segments seem to be non-collinear"));
}

// ----- Messages -------------------------------------------------------------------------------

TEST(SegmentChecker, TypeTexts) {
  EXPECT_EQ(SegmentChecker::getIntersectionTypeString(SIT_UNINITIALIZED), "SIT_UNINITIALIZED");
  EXPECT_EQ(SegmentChecker::getIntersectionTypeString(SIT_NONE), "SIT_NONE");
  EXPECT_EQ(SegmentChecker::getIntersectionTypeString(SIT_SEGMENT), "SIT_SEGMENT");
  EXPECT_EQ(SegmentChecker::getIntersectionTypeString(SIT_POINT), "SIT_POINT");
  EXPECT_EQ(SegmentChecker::getIntersectionTypeString(SIT_ENDPOINT), "SIT_ENDPOINT");
  EXPECT_EQ(SegmentChecker::getIntersectionTypeString(static_cast<SegmentIntersectionType>(5)), "UNKNOWN SIT");
}

TEST(SegmentChecker, ShowOperationsPrintTheirCountsAndWriteTheDrawing) {
  Segment2 a(seg(0, 0, 2, 2)), b(seg(0, 2, 2, 0)), c(seg(3, 0, 3, 1)), d(seg(3, 1, 4, 1));
  SegmentChecker checker(std::vector<Segment2*>{&a, &b, &c, &d});
  const std::string filename("segmentchecker_show.ps");
  std::remove(filename.c_str());
  testing::internal::CaptureStdout();
  checker.showSegments(filename);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "SegmentChecker::showSegments(), numSegments=4\n");
  EXPECT_TRUE(std::ifstream(filename).good());
  testing::internal::CaptureStdout();
  checker.showIllegalSegments(true, "segmentchecker_illegal.svg");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "Number of segments:4\nIllegal segments:4\nLegal segments:0\n");
  testing::internal::CaptureStdout();
  checker.showIllegalSegments(false, "segmentchecker_illegal.svg");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "Number of segments:4\nIllegal segments:2\nLegal segments:2\n");
  std::ifstream svg("segmentchecker_illegal.svg");
  std::stringstream content;
  content << svg.rdbuf();
  EXPECT_NE(content.str().find("<svg"), std::string::npos);
}

// ----- Progress -------------------------------------------------------------------------------

namespace {

class ProgressRecorder : public MsgBase {
 public:
  void update(MsgType msgType, const std::string& text, double progress) override {
    vTypes.push_back(msgType);
    vTexts.push_back(text);
    vProgress.push_back(progress);
  }
  std::vector<MsgType> vTypes;
  std::vector<std::string> vTexts;
  std::vector<double> vProgress;
};

}  // namespace

TEST(SegmentChecker, ProgressReachesEachSubscribedReceiverOnce) {
  std::vector<Segment2> vStore;
  for (int i = 0; i < 1000; ++i) vStore.push_back(seg(i, 0, i + 0.5, 1));
  std::vector<Segment2*> vSegments;
  for (Segment2& s : vStore) vSegments.push_back(&s);
  SegmentChecker checker(vSegments);
  ProgressRecorder recorder, other;
  checker.subscribe(MSG_PROGRESS, &recorder);
  checker.subscribe(MSG_PROGRESS, &recorder);  // a second subscription of the pair is ignored
  checker.subscribe(MSG_WARNING, &other);
  std::vector<Segment2*> vIllegal;
  checker.getIllegalSegments(false, vIllegal);
  ASSERT_GE(recorder.vProgress.size(), 90u);   // a report for every percent,
  EXPECT_LE(recorder.vProgress.size(), 102u);  // and no more, plus start and end
  EXPECT_EQ(recorder.vProgress.front(), 0.0);
  EXPECT_EQ(recorder.vProgress.back(), 1.0);
  for (size_t i = 1; i + 1 < recorder.vProgress.size(); ++i) EXPECT_GE(recorder.vProgress[i] - recorder.vProgress[i - 1], 0.01 - 1e-12);
  for (const std::string& text : recorder.vTexts) EXPECT_EQ(text, "getIllegalSegments");
  for (MsgType type : recorder.vTypes) EXPECT_EQ(type, MSG_PROGRESS);
  EXPECT_TRUE(other.vProgress.empty());

  const size_t numReports(recorder.vProgress.size());
  checker.unsubscribe(MSG_PROGRESS, &recorder);
  checker.getIllegalSegments(false, vIllegal);
  EXPECT_EQ(recorder.vProgress.size(), numReports);
}

TEST(SegmentChecker, UnsubscribeWithoutAnySubscriptionIsReported) {
  SegmentChecker checker;
  ProgressRecorder recorder;
  testing::internal::CaptureStdout();
  checker.unsubscribe(MSG_PROGRESS, &recorder);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), errorLine("SegmentChecker::unsubscribe()", "No publisher present"));
  checker.subscribe(MSG_WARNING, &recorder);
  testing::internal::CaptureStdout();
  checker.unsubscribe(MSG_PROGRESS, &recorder);  // not subscribed for this type: nothing to say
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}
