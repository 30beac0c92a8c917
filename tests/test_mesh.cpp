// Mesh generation: refinement of zones under angle, size and growth bounds, checked by the exact
// oracle (constrained Delaunay, coverage of every input segment) and an independent check of the
// bounds; hard inputs (small input angles, nearly touching constraints, tiny minEdgeLen) must end
// in bounded time; the refinement candidates' rules on hand-made triangles.
#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <cstdlib>
#include <future>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "ConstraintMgr.h"
#include "Dt2.h"
#include "RefCand3.h"
#include "cdt_test_support.h"
#include "dt2_test_support.h"
#include "test_support.h"

using namespace KORA_ZARN2D;

namespace {

constexpr double kPi = 3.14159265358979323846;

/// A polygonal domain: the first ring counterclockwise, holes clockwise.
struct Domain {
  std::vector<std::vector<Point2>> vRings;
  double area;
};

std::vector<Segment2> segmentsOf(const Domain& domain) {
  std::vector<Segment2> v;
  for (const std::vector<Point2>& ring : domain.vRings) {
    for (size_t i = 0; i < ring.size(); ++i) v.push_back(Segment2(ring[i], ring[(i + 1) % ring.size()]));
  }
  return v;
}

double ringArea(const std::vector<Point2>& ring) {
  double a(0.0);
  for (size_t i = 0; i < ring.size(); ++i) {
    const Point2& p(ring[i]);
    const Point2& q(ring[(i + 1) % ring.size()]);
    a += 0.5 * (p.x() * q.y() - q.x() * p.y());
  }
  return a;
}

Domain makeDomain(std::vector<std::vector<Point2>> vRings) {
  Domain d{vRings, 0.0};
  for (const std::vector<Point2>& ring : vRings) d.area += ringArea(ring);
  return d;
}

Domain squareWithHole() { return makeDomain({{{0, 0}, {10, 0}, {10, 10}, {0, 10}}, {{4, 4}, {4, 6}, {6, 6}, {6, 4}}}); }
Domain thinTrapezoidWithHole() { return makeDomain({{{0, 0}, {10, 0}, {10, 1}, {0, 0.3}}, {{4, 0.3}, {4, 0.4}, {5, 0.4}, {5, 0.3}}}); }
// A triangle with a 5 degree corner at the origin.
Domain spike(double degrees) { return makeDomain({{{0, 0}, {10, 0}, {10, 10 * std::tan(degrees * kPi / 180.0)}}}); }
// A slit of width 1e-9 cut into a square from the top: two constraints 1e-9 apart.
Domain slit() { return makeDomain({{{0, 0}, {10, 0}, {10, 10}, {5 + 1e-9, 10}, {5 + 1e-9, 5}, {5, 5}, {5, 10}, {0, 10}}}); }
// A star-shaped polygon with random radii (fixed seed): many sharp and reflex corners.
Domain randomStar(int numCorners, unsigned seed) {
  std::mt19937 rng(seed);
  std::uniform_real_distribution<double> radius(0.2, 1.0);
  std::vector<Point2> ring;
  for (int i = 0; i < numCorners; ++i) {
    const double t(2.0 * kPi * i / numCorners), r(radius(rng));
    ring.push_back(Point2(r * std::cos(t), r * std::sin(t)));
  }
  return makeDomain({ring});
}

/// A triangulation of the domain's corners with its rings as one oriented constraint graph.
struct Meshing {
  Zarn_2D dt;
  ConstraintGraph2* pGraph = nullptr;
  std::vector<Segment2> vInput;
  explicit Meshing(const Domain& domain) : vInput(segmentsOf(domain)) {
    std::vector<Segment2> v(vInput);
    pGraph = dt.createConstraint(v, CIS_CONSTRAINED_DELAUNAY, true);
  }
  Dt2& impl() { return *dt.getImpl(); }
  /// The triangles reached from the triangle at p without crossing a constraint edge.
  std::vector<Triangle2*> region(const Point2& p) {
    std::vector<Triangle2*> v(1, dt.locate(p));
    std::set<Triangle2*> sSeen(v.begin(), v.end());
    for (size_t k = 0; k < v.size(); ++k) {
      for (int i = 0; i < 3; ++i) {
        Triangle2* pN(v[k]->getOppositeTriangle(i));
        if (pN != nullptr && !dt.isConstraint(v[k], i) && sSeen.insert(pN).second) v.push_back(pN);
      }
    }
    return v;
  }
};

/// Runs the action and fails (ending the process) when it does not return within the time: a
/// hang must fail, not stall the suite.
void endsWithin(double seconds, const std::function<void()>& action) {
  std::packaged_task<void()> task(action);
  std::future<void> done(task.get_future());
  std::thread worker(std::move(task));
  if (done.wait_for(std::chrono::duration<double>(seconds)) != std::future_status::ready) {
    ADD_FAILURE() << "did not end within " << seconds << " s";
    std::_Exit(1);
  }
  worker.join();
  done.get();
}

/// A host's size function: edges grow with the distance from the origin.
class GradedParams : public MeshGenParams {
 public:
  explicit GradedParams(Zone2* pZone) : MeshGenParams(pZone) {}
  double getMaxEdgeLength(Triangle2* pT) override {
    ++numCalls;
    return sizeAt(pT->getBarycenter());
  }
  static double sizeAt(const Point2& p) { return 0.05 + 0.1 * std::sqrt(p.x() * p.x() + p.y() * p.y()); }
  size_t numCalls = 0;
};

struct RefineCase {
  const char* name;
  Domain domain;
  Point2 inside;
  double minAngle;
  double maxEdge;
  double minEdgeLen;
  bool bSmallInputAngle;  // the report must name triangles left at a small input angle
  bool bBoundsHold;       // false: minEdgeLen stops the refinement before the bounds hold
};

class Refinement : public ::testing::TestWithParam<RefineCase> {};

TEST_P(Refinement, MeetsTheBoundsAndStaysConstrainedDelaunay) {
  const RefineCase& c(GetParam());
  Meshing m(c.domain);
  MeshGenParams params(nullptr);
  params.minAngleDegree = c.minAngle;
  params.maxEdgeLength = c.maxEdge;
  params.minEdgeLen = c.minEdgeLen;
  endsWithin(60.0, [&] { zarn_test::captureStdout([&] { m.impl().refineTriangles(m.region(c.inside), params); }); });
  const RefinementReport& report(m.impl().getRefinementReport());
  EXPECT_TRUE(m.dt.checkValidity(true, c.name));
  EXPECT_TRUE(cdttest::isConstrainedDelaunay(m.dt, {}, m.vInput));
  const std::vector<Triangle2*> vZone(m.region(c.inside));
  EXPECT_EQ(vZone.size(), report.numZoneTriangles);
  cdttest::MeshBounds bounds;
  bounds.minAngleDegree = c.minAngle;
  bounds.maxEdgeOf = [&](Triangle2*) { return c.maxEdge; };
  bounds.expectedArea = c.domain.area;
  size_t numInputAngle(0);
  if (c.bBoundsHold) {
    EXPECT_TRUE(cdttest::meetsMeshBounds(vZone, m.vInput, bounds, numInputAngle)) << report.describe();
    EXPECT_TRUE(report.isComplete()) << report.describe();
  } else {
    EXPECT_GT(report.numLeftMinEdgeLen, 0u) << report.describe();
  }
  EXPECT_EQ(numInputAngle > 0, c.bSmallInputAngle && c.bBoundsHold) << report.describe();
  if (numInputAngle > 0) {
    EXPECT_GT(report.numLeftInputAngle, 0u);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Domains, Refinement,
    ::testing::Values(RefineCase{"squareWithHole", squareWithHole(), Point2(1, 1), 30.0, 1.0, 0.001, false, true},
                      RefineCase{"squareWithHole20", squareWithHole(), Point2(1, 1), 20.0, 0.3, 0.001, false, true},
                      RefineCase{"thinTrapezoid", thinTrapezoidWithHole(), Point2(1, 0.1), 30.0, 0.3, 0.001, false, true},
                      RefineCase{"thinTrapezoidAnglesOnly", thinTrapezoidWithHole(), Point2(1, 0.1), 30.0, DBL_MAX, 0.001, false, true},
                      RefineCase{"spike5", spike(5.0), Point2(5, 0.1), 30.0, DBL_MAX, 1e-12, true, true},
                      RefineCase{"spike0_5", spike(0.5), Point2(9, 0.01), 30.0, 2.0, 1e-12, true, true},
                      RefineCase{"randomStar", randomStar(40, 7), Point2(0, 0), 30.0, DBL_MAX, 1e-12, true, true},
                      RefineCase{"randomStarGraded", randomStar(25, 11), Point2(0, 0), 28.0, 0.1, 1e-12, true, true},
                      RefineCase{"slitStopsAtMinEdgeLen", slit(), Point2(1, 1), 30.0, DBL_MAX, 0.001, false, false},
                      RefineCase{"slitTinyMinEdgeLen", slit(), Point2(1, 1), 30.0, DBL_MAX, 1e-15, false, true}),
    [](const ::testing::TestParamInfo<RefineCase>& info) { return std::string(info.param.name); });

}  // namespace
