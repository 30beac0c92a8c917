// Seeded adversarial families of constraint input (nearly collinear, nearly parallel, tiny
// angles, crossing storms, degenerate overlaps, extreme and mixed scales, interleaved operations),
// each with both strategies: every case runs under a watchdog (a hang or crash fails that case)
// and is checked by the exact oracle after every step.
#include <gtest/gtest.h>

#include <cfloat>
#include <string>
#include <vector>

#include "adversarial_support.h"
#include "test_support.h"

using namespace KORA_ZARN2D;

namespace {

// Generous: the cases are small and finish in milliseconds; only a runaway insertion gets near.
constexpr unsigned kSecondsPerCase = DT2TEST_SANITIZED ? 60 : 10;
constexpr size_t kCasesPerFamily = DT2TEST_SANITIZED ? 30 : 100;

struct Family {
  const char* name;
  advtest::Scene (*generate)(advtest::Rng&);
};

const Family kFamilies[] = {
    {"NearlyCollinear", advtest::nearlyCollinear},
    {"NearlyParallelBand", advtest::nearlyParallelBand},
    {"FanAcrossLongSegment", advtest::fanAcrossLongSegment},
    {"NearlyThroughOnePoint", advtest::nearlyThroughOnePoint},
    {"CrossingStorm", advtest::crossingStorm},
    {"CollinearOverlapping", advtest::collinearOverlapping},
    {"PolylineWithOneHugeCoordinate", advtest::polylineWithOneHugeCoordinate},
    {"SegmentNextToFarVertex", advtest::segmentNextToFarVertex},
    {"ThroughVertexAtTinyScale", advtest::throughVertexAtTinyScale},
    {"SmallIntegerSegments", advtest::smallIntegerSegments},
    {"SubnormalCoordinates", advtest::subnormalCoordinates},
    {"MixedExtremeScales", advtest::mixedExtremeScales},
    {"InterleavedOperations", advtest::interleavedOperations},
};

using Param = std::tuple<Family, ConstraintInsertionStrategy>;

class Adversarial : public ::testing::TestWithParam<Param> {};

std::string paramName(const ::testing::TestParamInfo<Param>& info) {
  return std::string(std::get<0>(info.param).name) + (std::get<1>(info.param) == CIS_CONSTRAINED_DELAUNAY ? "_Constrained" : "_Conforming");
}

TEST_P(Adversarial, SeededCasesPassTheExactOracleInTime) {
  const Family& family(std::get<0>(GetParam()));
  const ConstraintInsertionStrategy cis(std::get<1>(GetParam()));
  const std::vector<std::string> vFailures(advtest::runWatched(kCasesPerFamily, kSecondsPerCase, [&](size_t i) {
    advtest::Rng rng(1000003u * i + 17u);
    advtest::Scene scene(family.generate(rng));
    scene.cis = cis;
    return advtest::playAndCheck(scene);
  }));
  std::string text;
  for (const std::string& failure : vFailures) text += "\n" + failure.substr(0, 600);
  EXPECT_TRUE(vFailures.empty()) << vFailures.size() << " of " << kCasesPerFamily << " cases failed:" << text;
}

INSTANTIATE_TEST_SUITE_P(Families, Adversarial,
                         ::testing::Combine(::testing::ValuesIn(kFamilies), ::testing::Values(CIS_CONSTRAINED_DELAUNAY, CIS_CONFORMING_DELAUNAY)),
                         paramName);

}  // namespace

// ----- Extreme coordinates outside constraints -------------------------------------------------

// Near the largest double, and mixed with tiny and unit coordinates: the triangulation is exact,
// and statistics report finite angles (nothing overflows on the way).
TEST(ExtremeCoordinates, BulkInsertionValidityAndStatistics) {
  for (const double tinyScale : {0.0, 1e-300}) {
    std::vector<Point2> vPoints;
    for (const Point2& p : dt2test::randomPoints(300, 7, -1.0, 1.0)) vPoints.emplace_back(p.x() * DBL_MAX, p.y() * DBL_MAX);
    if (tinyScale > 0.0) {
      for (const Point2& p : dt2test::randomPoints(300, 8, -1.0, 1.0)) vPoints.emplace_back(p.x() * tinyScale, p.y());
    }
    Zarn_2D dt;
    dt.insert(vPoints);
    EXPECT_DELAUNAY_OF(dt, vPoints);
    const std::string stats(zarn_test::captureStdout([&] { dt.statistics("extreme"); }));
    EXPECT_EQ(stats.find("nan"), std::string::npos) << stats;
    EXPECT_NE(stats.find("interior angle min/max (degrees): "), std::string::npos) << stats;
  }
}

// The collinear phase finds repeated points by position (also -0.0 against 0.0, and after the box
// grew), and the first off-line point makes every earlier vertex part of the triangulation.
TEST(ExtremeCoordinates, CollinearSingleInsertionFindsRepeatedPoints) {
  Zarn_2D dt;
  std::vector<Point2> vPoints;
  std::vector<Point2*> vHandles;
  for (int i = 0; i < 200; ++i) {
    vPoints.emplace_back(i * 0.5, -i * 1e300 / 200);
    vHandles.push_back(dt.insert(vPoints.back()));
  }
  EXPECT_EQ(dt.insert(Point2(-0.0, 0.0)), vHandles[0]);
  EXPECT_EQ(dt.insert(vPoints[17]), vHandles[17]);
  vPoints.emplace_back(1e6, 1e300);
  dt.insert(vPoints.back());
  EXPECT_DELAUNAY_OF(dt, vPoints);
  EXPECT_EQ(dt.insert(vPoints[99]), vHandles[99]);
}
