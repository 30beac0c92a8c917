// Seeded adversarial families of constraint input (nearly collinear, nearly parallel, tiny
// angles, crossing storms, degenerate overlaps, extreme and mixed scales, interleaved operations),
// each with both strategies: every case runs under a watchdog (a hang or crash fails that case)
// and is checked by the exact oracle after every step. Every input on which a fuzzer once found a
// defect (tests/inputs/<target>/) is replayed through the fuzz target's body under the same
// watchdog: the defect must stay fixed.

#include <filesystem>

#include "fuzz_targets.h"

using namespace KORA_ZARN2D;
using advtest::ulpsAway;

namespace {

// Generous: the cases are small and finish in milliseconds; only a runaway insertion gets near.
constexpr unsigned kSecondsPerCase = DT2TEST_SANITIZED ? 60 : 10;
constexpr size_t kCasesPerFamily = DT2TEST_SANITIZED ? 30 : 100;

// One case: points inserted in bulk, then the segments in one call, then further steps.
struct Input {
  std::mt19937_64 rng;
  std::vector<Point2> vPoints;
  std::vector<Segment2> vSegments;
  std::vector<advtest::Step> vSteps;

  double u(double lo, double hi) { return std::uniform_real_distribution<double>(lo, hi)(rng); }
  int i(int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng); }
  Point2 point(double lo, double hi) {
    const double x(u(lo, hi));
    return Point2(x, u(lo, hi));
  }
  template <typename F>
  void points(int n, F make) {
    for (; n > 0; --n) vPoints.push_back(make());
  }
  template <typename F>
  void segments(int n, F makeEnd) {
    for (; n > 0; --n) {
      const Point2 a(makeEnd());
      vSegments.emplace_back(a, makeEnd());
    }
  }
};

// A family: first numRandom uniform random points in [lo, hi)^2, then what fill adds.
struct Family {
  const char* name;
  int numRandom;
  double lo, hi;
  void (*fill)(Input&);
};

const Family kFamilies[] = {
    {"NearlyCollinear", 12, -1.0, 2.0,  // segment ends within a few tens of ulps of one line
     [](Input& in) {
       const double x0(in.u(0.0, 0.2)), y0(in.u(0.0, 1.0)), slope(in.u(-2.0, 2.0));
       for (int k = in.i(3, 7); k > 0; --k) {
         const double xa(x0 + in.u(0.0, 0.5)), xb(xa + in.u(0.05, 0.5));
         in.vSegments.emplace_back(Point2(xa, ulpsAway(y0 + slope * xa, in.i(-30, 30))), Point2(xb, ulpsAway(y0 + slope * xb, in.i(-30, 30))));
       }
     }},
    {"NearlyParallelBand", 12, 0.0, 1.0,  // nearly horizontal, a few 1e-12 apart, crossing at tiny angles
     [](Input& in) {
       const double gap(std::ldexp(1.0, -in.i(30, 48)));
       for (int k = in.i(3, 10); k > 0; --k) {
         in.vSegments.emplace_back(Point2(in.u(0.0, 0.1), 0.5 + gap * in.i(-5, 5)), Point2(in.u(0.9, 1.0), 0.5 + gap * in.i(-5, 5)));
       }
     }},
    {"FanAcrossLongSegment", 12, 0.0, 1.0,  // short segments crossing a long one at tiny angles
     [](Input& in) {
       in.vSegments.emplace_back(Point2(0.0, 0.5), Point2(1.0, 0.5 + in.u(-1e-9, 1e-9)));
       const double rise(std::ldexp(1.0, -in.i(20, 45)));
       for (int k = in.i(3, 10); k > 0; --k) {
         const double xc(in.u(0.1, 0.9)), half(in.u(0.01, 0.2));
         in.vSegments.emplace_back(Point2(xc - half, 0.5 - rise * in.u(0.5, 2.0)), Point2(xc + half, 0.5 + rise * in.u(0.5, 2.0)));
       }
     }},
    {"NearlyThroughOnePoint", 12, 0.0, 1.0,  // through one point that is no double
     [](Input& in) {
       const double cx(in.u(0.3, 0.7)), cy(in.u(0.3, 0.7));
       for (int k = in.i(3, 14); k > 0; --k) {
         const double angle(in.u(0.0, M_PI)), r0(in.u(0.05, 0.3)), r1(in.u(0.05, 0.3));
         const double dx(std::cos(angle)), dy(std::sin(angle));
         in.vSegments.emplace_back(Point2(cx + r0 * dx, cy + r0 * dy), Point2(cx - r1 * dx, cy - r1 * dy));
       }
     }},
    {"CrossingStorm", 12, 0.0, 1.0, [](Input& in) { in.segments(in.i(4, 16), [&] { return in.point(0.0, 1.0); }); }},
    {"CollinearOverlapping", 12, -0.5, 1.5,  // on one exact line, overlapping, duplicated and reversed
     [](Input& in) {
       const int axis(in.i(0, 2));
       const auto at = [axis](int k) {
         const double t(k * 0.125);
         return axis == 0 ? Point2(t, 0.5) : (axis == 1 ? Point2(0.5, t) : Point2(t, 0.5 * t));
       };
       for (int k = in.i(3, 10); k > 0; --k) {
         const int a(in.i(0, 8)), b(in.i(0, 8));
         in.vSegments.emplace_back(at(a), at(b));
         if (in.i(0, 3) == 0) in.vSegments.emplace_back(at(b), at(a));
         if (in.i(0, 3) == 0) in.vSegments.emplace_back(at(a), at(b));
       }
     }},
    {"PolylineWithOneHugeCoordinate", 6, 0.0, 10.0,
     [](Input& in) {
       std::vector<Point2> vLine;
       for (int k = in.i(4, 8); k > 0; --k) vLine.push_back(in.point(0.0, 10.0));
       const double huge(std::ldexp(in.u(0.5, 1.0), in.i(100, 1023)));
       Point2& far(vLine[static_cast<size_t>(in.i(0, static_cast<int>(vLine.size()) - 1))]);
       far = in.i(0, 1) == 0 ? Point2(huge, far.y()) : Point2(far.x(), -huge);
       for (size_t k = 0; k + 1 < vLine.size(); ++k) in.vSegments.emplace_back(vLine[k], vLine[k + 1]);
     }},
    {"SegmentNextToFarVertex", 8, 0.0, 1.0,  // the far vertex makes the triangles around the segments long and thin
     [](Input& in) {
       const double far(std::ldexp(1.0, in.i(20, 1000)));
       in.vPoints.emplace_back(far * in.u(-1.0, 1.0), far);
       in.segments(in.i(1, 4), [&] { return in.point(0.0, 1.0); });
     }},
    {"ThroughVertexAtTinyScale", 0, 0.0, 0.0,  // 2^-1000 and below, still normal
     [](Input& in) {
       const double unit(std::ldexp(1.0, -in.i(900, 1010)));
       in.points(10, [&] { return Point2(unit * in.i(0, 8), unit * in.i(0, 8)); });
       for (int k = in.i(2, 6); k > 0; --k) {
         const Point2 mid(in.vPoints[static_cast<size_t>(in.i(0, 9))]);
         const int dx(in.i(-3, 3)), dy(in.i(-3, 3));
         in.vSegments.emplace_back(Point2(mid.x() - dx * unit, mid.y() - dy * unit), Point2(mid.x() + dx * unit, mid.y() + dy * unit));
       }
     }},
    {"SmallIntegerSegments", 0, 0.0, 0.0,
     [](Input& in) {
       const auto point = [&] { return Point2(in.i(-5, 5), in.i(-5, 5)); };
       in.points(6, point);
       in.segments(12, point);
     }},
    {"SubnormalCoordinates", 0, 0.0, 0.0,
     [](Input& in) {
       const double unit(std::ldexp(1.0, -1074 + in.i(0, 40)));
       const auto point = [&] { return Point2(unit * in.i(-60, 60), unit * in.i(-60, 60)); };
       in.points(8, point);
       in.segments(in.i(2, 8), point);
     }},
    {"MixedExtremeScales", 0, 0.0, 0.0,  // wildly different magnitudes, up to near the largest double
     [](Input& in) {
       const auto coordinate = [&] {
         const int e(in.i(0, 3));
         return (e == 0 ? std::ldexp(1.0, -in.i(500, 1070)) : (e == 1 ? 1.0 : (e == 2 ? 1e10 : DBL_MAX / 4))) * in.u(-4.0, 4.0);
       };
       const auto point = [&] {
         const double x(coordinate());
         return Point2(x, coordinate());
       };
       in.points(10, point);
       in.segments(in.i(1, 6), point);
     }},
    {"InterleavedOperations", 6, 0.0, 1.0,  // insertions, removals, constraints (applied at once or later), applies
     [](Input& in) {
       for (int k = in.i(4, 12); k > 0; --k) {
         using S = advtest::Step;
         static const S::Kind aKinds[] = {S::INSERT_ONE, S::INSERT_BULK, S::REMOVE, S::CONSTRAIN, S::APPLY};
         const int kind(in.i(0, 4));
         S step{aKinds[kind], {}, {}};
         if (kind == 0) step.vPoints.push_back(in.point(0.0, 1.0));
         for (int n = kind == 1 ? in.i(1, 8) : 0; n > 0; --n) step.vPoints.push_back(in.point(0.0, 1.0));
         if (kind == 2) step.index = static_cast<size_t>(in.i(0, 1000));
         step.bOriented = kind == 3 && in.i(0, 1) == 0;
         for (int n = kind == 3 ? in.i(1, 4) : 0; n > 0; --n) step.vSegments.emplace_back(in.point(0.0, 1.0), in.point(0.0, 1.0));
         in.vSteps.push_back(step);
       }
     }},
};

using Param = std::tuple<Family, ConstraintInsertionStrategy>;

class Adversarial : public ::testing::TestWithParam<Param> {};

TEST_P(Adversarial, SeededCasesPassTheExactOracleInTime) {
  const Family& family(std::get<0>(GetParam()));
  const std::vector<std::string> vFailures(advtest::runWatched(kCasesPerFamily, kSecondsPerCase, [&](size_t i) {
    Input in{std::mt19937_64(1000003u * i + 17u), {}, {}, {}};
    in.points(family.numRandom, [&] { return in.point(family.lo, family.hi); });
    family.fill(in);
    advtest::Scene scene{std::get<1>(GetParam()), {advtest::bulk(in.vPoints), advtest::Step{advtest::Step::CONSTRAIN, {}, in.vSegments}}};
    scene.vSteps.insert(scene.vSteps.end(), in.vSteps.begin(), in.vSteps.end());
    return advtest::playAndCheck(scene);
  }));
  EXPECT_TRUE(advtest::noFailures(vFailures)) << "of " << kCasesPerFamily << " cases";
}

INSTANTIATE_TEST_SUITE_P(Families, Adversarial,
                         ::testing::Combine(::testing::ValuesIn(kFamilies), ::testing::Values(CIS_CONSTRAINED_DELAUNAY, CIS_CONFORMING_DELAUNAY)),
                         [](const ::testing::TestParamInfo<Param>& info) {
                           return std::string(std::get<0>(info.param).name) +
                                  (std::get<1>(info.param) == CIS_CONSTRAINED_DELAUNAY ? "_Constrained" : "_Conforming");
                         });

// ----- Frozen fuzz inputs -------------------------------------------------------------------------

struct Target {
  const char* directory;
  std::string (*run)(const uint8_t*, size_t);
};

const Target kTargets[] = {{"fuzz_operations", fuzztest::runOperations}, {"fuzz_readers", fuzztest::runReaders}};

class FrozenFuzzInputs : public ::testing::TestWithParam<Target> {};

TEST_P(FrozenFuzzInputs, PassTheOracleInTime) {
  std::vector<std::string> vFiles;
  const std::string folder(std::string(ZARN_TEST_INPUTS) + "/" + GetParam().directory);
  for (const auto& entry : std::filesystem::directory_iterator(folder)) vFiles.push_back(entry.path().string());
  ASSERT_FALSE(vFiles.empty());
  EXPECT_TRUE(advtest::noFailures(advtest::runWatched(vFiles.size(), 30, [&](size_t i) {
    const std::string bytes(zarn_test::readFile(vFiles[i]));
    const std::string defect(GetParam().run(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()));
    return defect.empty() ? defect : vFiles[i] + ": " + defect;
  })));
}

INSTANTIATE_TEST_SUITE_P(Targets, FrozenFuzzInputs, ::testing::ValuesIn(kTargets),
                         [](const ::testing::TestParamInfo<Target>& info) { return std::string(info.param.directory); });

}  // namespace
