// Seeded adversarial families of constraint input (nearly collinear, nearly parallel, tiny
// angles, crossing storms, degenerate overlaps, extreme and mixed scales, interleaved operations),
// each with both strategies: every case runs under a watchdog (a hang or crash fails that case)
// and is checked by the exact oracle after every step.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "adversarial_support.h"

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
