// Mesh generation: refinement of zones under angle, size and growth bounds, checked by the exact
// oracle (constrained Delaunay, coverage of every input segment) and an independent check of the
// bounds; hard inputs (small input angles, nearly touching constraints, tiny minEdgeLen) must end
// in bounded time; the refinement candidates' rules on hand-made triangles.
#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <memory>
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

/// A polygonal domain given by rings, the first counterclockwise, holes clockwise: its segments
/// and its area.
struct Domain {
  std::vector<Segment2> vSegments;
  double area = 0.0;
};

Domain makeDomain(const std::vector<std::vector<Point2>>& vRings) {
  Domain d;
  for (const std::vector<Point2>& ring : vRings) {
    for (size_t i = 0; i < ring.size(); ++i) {
      const Point2 &p(ring[i]), &q(ring[(i + 1) % ring.size()]);
      d.vSegments.push_back(Segment2(p, q));
      d.area += 0.5 * (p.x() * q.y() - q.x() * p.y());
    }
  }
  return d;
}

Domain squareWithHole() { return makeDomain({{{0, 0}, {10, 0}, {10, 10}, {0, 10}}, {{4, 4}, {4, 6}, {6, 6}, {6, 4}}}); }
Domain thinTrapezoidWithHole() { return makeDomain({{{0, 0}, {10, 0}, {10, 1}, {0, 0.3}}, {{4, 0.3}, {4, 0.4}, {5, 0.4}, {5, 0.3}}}); }
// A triangle with a sharp corner at the origin.
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

/// A triangulation of the domain's corners with its rings as one oriented constraint graph, and
/// the zone inside.
struct Meshing {
  Zarn_2D dt;
  ConstraintGraph2* pGraph = nullptr;
  Zone2* pZone = nullptr;
  std::vector<Segment2> vInput;
  explicit Meshing(const Domain& domain) : vInput(domain.vSegments) {
    std::vector<Segment2> v(vInput);
    pGraph = dt.createConstraint(v, CIS_CONSTRAINED_DELAUNAY, true);
    pZone = dt.createZone(pGraph, ZL_INSIDE);
  }
  std::vector<Triangle2*> zoneTriangles() const {
    std::vector<Triangle2*> v;
    pZone->getTriangles(v);
    return v;
  }
  Dt2& impl() { return *dt.getImpl(); }
  const RefinementReport& report() { return impl().getRefinementReport(); }
  /// Refines with the parameters (a hang fails), checks the result and collects the zone.
  void refine(MeshGenParams& params);
  /// The zone collected by refine against the bounds; *pNumInputAngle gets the triangles excused by
  /// a small input angle.
  ::testing::AssertionResult meetsBounds(const cdttest::MeshBounds& bounds, size_t* pNumInputAngle = nullptr) const {
    size_t numInputAngle(0);
    const ::testing::AssertionResult result(cdttest::meetsMeshBounds(vZone, vInput, bounds, numInputAngle));
    if (pNumInputAngle != nullptr) *pNumInputAngle = numInputAngle;
    return result;
  }
  std::vector<Triangle2*> vZone;
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

void Meshing::refine(MeshGenParams& params) {
  endsWithin(60.0, [&] { zarn_test::captureStdout([&] { dt.refineAdvanced(&params); }); });
  vZone = zoneTriangles();
  EXPECT_TRUE(cdttest::isConstrainedDelaunay(dt, {}, vInput));
}

/// Parameters for the candidate's rules, which need no zone (the constructor's complaint about the
/// missing zone is swallowed).
std::unique_ptr<MeshGenParams> paramsWithoutZone() {
  std::unique_ptr<MeshGenParams> pParams;
  zarn_test::captureStderr([&] { pParams.reset(new MeshGenParams(nullptr)); });
  return pParams;
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
  double minAngle;
  double maxEdge;
  double minEdgeLen;
  bool bSmallInputAngle;  // the report must name triangles left at a small input angle
  bool bBoundsHold;       // false: minEdgeLen stops the refinement before the bounds hold
  double gridCell = 0.0;  // > 0: grid meshing with cells of this size, turned by gridDegrees
  double gridDegrees = 0.0;
  bool bKeepOffBorder = true;  // auxFlag: grid vertices keep off the border
};

class Refinement : public ::testing::TestWithParam<RefineCase> {};

TEST_P(Refinement, MeetsTheBoundsAndStaysConstrainedDelaunay) {
  const RefineCase& c(GetParam());
  Meshing m(c.domain);
  MeshGenParams params(m.pZone);
  params.minAngleDegree = c.minAngle;
  params.maxEdgeLength = c.maxEdge;
  params.minEdgeLen = c.minEdgeLen;
  params.gridLength = c.gridCell;
  const double dx(std::cos(c.gridDegrees * kPi / 180.0)), dy(std::sin(c.gridDegrees * kPi / 180.0));
  params.gridVector = Vector2(3.0 * dx, 3.0 * dy);
  params.auxFlag = c.bKeepOffBorder;
  m.refine(params);
  const RefinementReport& report(m.report());
  EXPECT_TRUE(m.dt.checkValidity(true, c.name));
  EXPECT_EQ(m.vZone.size(), report.numZoneTriangles);  // the zone tracked during the run and the zone searched anew
  if (c.bBoundsHold && !c.bSmallInputAngle) {
    EXPECT_TRUE(m.dt.checkZoneQuality(m.pZone, c.minAngle, "", AcceptExperimentalFeature()));
  } else if (!c.bBoundsHold) {
    EXPECT_FALSE(m.dt.checkZoneQuality(m.pZone, c.minAngle, "", AcceptExperimentalFeature()));
  }
  size_t numInputAngle(0);
  if (c.bBoundsHold) {
    EXPECT_TRUE(m.meetsBounds({c.minAngle, [&](Triangle2*) { return c.maxEdge; }, c.domain.area}, &numInputAngle)) << report.describe();
    EXPECT_TRUE(report.isComplete()) << report.describe();
  } else {
    EXPECT_GT(report.numLeftMinEdgeLen, 0u) << report.describe();
  }
  EXPECT_EQ(numInputAngle > 0, c.bSmallInputAngle && c.bBoundsHold) << report.describe();
  if (numInputAngle > 0) {
    EXPECT_GT(report.numLeftInputAngle, 0u);
  }
  if (c.gridCell == 0.0) return;
  // Inner vertices lie on the grid; constraint splits remove grid vertices near the border only
  // when they may come close (auxFlag false).
  std::vector<Point2*> vVertices;
  m.dt.getVertexPointers(vVertices);
  size_t numOnGrid(0);
  for (const Point2* p : vVertices) {
    const double u((p->x() * dx + p->y() * dy) / c.gridCell), v((-p->x() * dy + p->y() * dx) / c.gridCell);
    if (std::fabs(u - std::round(u)) < 1e-9 && std::fabs(v - std::round(v)) < 1e-9) ++numOnGrid;
  }
  // Most vertices are grid vertices: about (96 / cell^2) of them fit in the domain.
  EXPECT_GT(numOnGrid, 0.6 * 96.0 / (c.gridCell * c.gridCell)) << report.describe();
  EXPECT_GE(numOnGrid, report.numGridVertices - report.numGridVerticesRemoved);
  EXPECT_EQ(report.numGridVerticesRemoved > 0, !c.bKeepOffBorder) << report.describe();
}

INSTANTIATE_TEST_SUITE_P(
    Domains, Refinement,
    ::testing::Values(RefineCase{"squareWithHole", squareWithHole(), 30.0, 1.0, 0.001, false, true},
                      RefineCase{"squareWithHole20", squareWithHole(), 20.0, 0.3, 0.001, false, true},
                      RefineCase{"thinTrapezoid", thinTrapezoidWithHole(), 30.0, 0.3, 0.001, false, true},
                      RefineCase{"thinTrapezoidAnglesOnly", thinTrapezoidWithHole(), 30.0, DBL_MAX, 0.001, false, true},
                      RefineCase{"spike5", spike(5.0), 30.0, DBL_MAX, 1e-12, true, true},
                      RefineCase{"spike0_5", spike(0.5), 30.0, 2.0, 1e-12, true, true},
                      RefineCase{"randomStar", randomStar(40, 7), 30.0, DBL_MAX, 1e-12, true, true},
                      RefineCase{"randomStarGraded", randomStar(25, 11), 28.0, 0.1, 1e-12, true, true},
                      RefineCase{"slitStopsAtMinEdgeLen", slit(), 30.0, DBL_MAX, 0.001, false, false},
                      RefineCase{"slitTinyMinEdgeLen", slit(), 30.0, DBL_MAX, 1e-15, false, true},
                      RefineCase{"gridAxisAligned", squareWithHole(), 30.0, 0.375, 0.001, false, true, 0.25, 0.0, true},
                      RefineCase{"gridTurned", squareWithHole(), 30.0, 0.45, 0.001, false, true, 0.3, 30.0, true},
                      RefineCase{"gridCloseToTheBorder", squareWithHole(), 30.0, 0.375, 0.001, false, true, 0.25, 10.0, false}),
    [](const ::testing::TestParamInfo<RefineCase>& info) { return std::string(info.param.name); });

// ----- Host size functions, protected constraints, budget, growth -----


TEST(MeshHost, ASizeFunctionBoundsEachTriangle) {
  Meshing r(squareWithHole());
  GradedParams params(r.pZone);
  params.minAngleDegree = 25.0;
  r.refine(params);
  EXPECT_GT(params.numCalls, r.vZone.size());
  EXPECT_TRUE(r.meetsBounds({25.0, [](Triangle2* pT) { return GradedParams::sizeAt(pT->getBarycenter()); }}));
  EXPECT_GT(r.vZone.size(), 1000u);
}

// Locked segments and splitConstraints=false leave input segments whole; the Steiner points then
// go inside only, and bad triangles whose point lies beyond a protected segment are reported.
TEST(MeshHost, ProtectedConstraintsStayWhole) {
  for (const int variant : {0, 1}) {
    SCOPED_TRACE(variant == 0 ? "locked hole" : "splitConstraints false");
    Meshing r(squareWithHole());
    MeshGenParams params(r.pZone);
    params.minAngleDegree = 30.0;
    params.maxEdgeLength = 0.7;
    std::vector<ConstraintSegment2*> vProtected;
    for (const Segment2& seg : r.vInput) {
      if (variant == 1 || seg.getSrc().x() == 4.0 || seg.getSrc().x() == 6.0) {
        vProtected.push_back(r.dt.getConstraintSegment(cdttest::vertexAt(r.dt, seg.getSrc().x(), seg.getSrc().y()),
                                                         cdttest::vertexAt(r.dt, seg.getTrg().x(), seg.getTrg().y())));
      }
    }
    ASSERT_EQ(std::count(vProtected.begin(), vProtected.end(), nullptr), 0);
    if (variant == 0) {
      for (ConstraintSegment2* pCSeg : vProtected) params.addLockedConstraint(pCSeg);
    } else {
      params.splitConstraints = false;
    }
    r.refine(params);
    for (ConstraintSegment2* pCSeg : vProtected) EXPECT_TRUE(pCSeg->isAlive());
    EXPECT_GT(r.report().numSteinerPoints, 50u);
  }
}

/// Tiny triangles are forced at the left side (x = 0); the growth limit spreads them gradually.
class FineStripParams : public MeshGenParams {
 public:
  explicit FineStripParams(Zone2* pZone) : MeshGenParams(pZone) {}
  double getMaxTriangleArea(Triangle2* pT) override {
    const bool bTouchesLeft(pT->getCorner(0)->x() == 0.0 || pT->getCorner(1)->x() == 0.0 || pT->getCorner(2)->x() == 0.0);
    return bTouchesLeft ? 0.002 : maxTriangleArea;
  }
};

TEST(MeshHost, GrowthLimitHoldsBetweenNeighbours) {
  Meshing r(squareWithHole());
  FineStripParams params(r.pZone);
  params.growthLimit = 2.0;
  params.growthMinArea = 1e-4;
  r.refine(params);
  std::set<Triangle2*> sZone(r.vZone.begin(), r.vZone.end());
  size_t numPairs(0);
  for (Triangle2* pT : r.vZone) {
    for (int i = 0; i < 3; ++i) {
      Triangle2* pN(pT->getOppositeTriangle(i));
      if (sZone.count(pN) == 0 || r.dt.isConstraint(pT, i) || pN->getArea2D() < params.growthMinArea) continue;
      ++numPairs;
      EXPECT_LE(pT->getArea2D() / pN->getArea2D(), 2.0 * (1.0 + 1e-9));
    }
  }
  EXPECT_GT(numPairs, 100u);
}

// ----- The refinement candidate's rules on hand-made triangles -----

/// One triangle a-b-c (counterclockwise), optionally with its edges as constraints, and a
/// neighbour across a-b at d.
struct OneTriangle {
  Zarn_2D dt;
  Point2 *pA, *pB, *pC;
  Triangle2* pT;
  OneTriangle(const Point2& a, const Point2& b, const Point2& c, const Point2* pD = nullptr, bool bConstrained = false) {
    std::vector<Point2> v{a, b, c};
    if (pD != nullptr) v.push_back(*pD);
    std::vector<Point2*> vHandles;
    dt.insert(v, vHandles);
    pA = vHandles[0];
    pB = vHandles[1];
    pC = vHandles[2];
    if (bConstrained) {
      std::vector<Segment2> vEdges{Segment2(a, b), Segment2(b, c), Segment2(c, a)};
      dt.createConstraint(vEdges, CIS_CONSTRAINED_DELAUNAY, true);
    }
    pT = dt.getAdjacentTriangle(pA, pB);
  }
  int edgeIndexOf(Point2* p, Point2* q) const { return pT->getIntraTriangleIndex(p, q); }
};

// The default bounds refine below 20 degrees only; a size bound refines a triangle above it.
TEST(RefCand3Rules, AngleAndSizeRules) {
  const auto apex = [](double degrees) { return Point2(0.5, 0.5 / std::tan(0.5 * degrees * kPi / 180.0)); };  // over the base 0-1
  struct Case {
    Point2 b, c;
    double maxEdge, maxArea;
    bool bRefine;
  } aCases[] = {{Point2(1, 0), apex(19.9), DBL_MAX, DBL_MAX, true}, {Point2(1, 0), apex(20.1), DBL_MAX, DBL_MAX, false},
                {Point2(4, 0), Point2(0, 3), 5.0, 6.0, false},  // longest edge 5, area 6
                {Point2(4, 0), Point2(0, 3), 4.999, DBL_MAX, true}, {Point2(4, 0), Point2(0, 3), DBL_MAX, 5.999, true}};
  for (const Case& c : aCases) {
    OneTriangle t(Point2(0, 0), c.b, c.c);
    std::unique_ptr<MeshGenParams> pParams(paramsWithoutZone());
    pParams->maxEdgeLength = c.maxEdge;
    pParams->maxTriangleArea = c.maxArea;
    RefCand3 candidate(t.dt.getImpl(), t.pT);
    EXPECT_EQ(candidate.isSafe(*pParams), c.bRefine) << c.c << " " << c.maxEdge << " " << c.maxArea;
    EXPECT_NEAR(candidate.getMinAngle(), std::min({cdttest::detail::angleAtDegrees(t.pT, 0), cdttest::detail::angleAtDegrees(t.pT, 1), cdttest::detail::angleAtDegrees(t.pT, 2)}), 1e-9);
  }
}

TEST(RefCand3Rules, GrowthAgainstTheNeighbour) {
  struct Case {
    double neighbourDepth;  // the neighbour across the base has area depth (base length 2)
    bool bRefine;
  } aCases[] = {{1.0, true}, {1.55, false}};
  for (const Case& c : aCases) {
    const Point2 d(1.0, -c.neighbourDepth);
    OneTriangle t(Point2(0, 0), Point2(2, 0), Point2(0, 3), &d);  // area 3
    RefCand3 candidate(t.dt.getImpl(), t.pT);
    candidate.computeSquaredLengths();
    // The other two edges lie on the hull: no neighbour, a warning each, skipped.
    const std::string out(zarn_test::captureStdout([&] { EXPECT_EQ(candidate.needRefinementDueToGrowth(2.0, 0.001), c.bRefine) << c.neighbourDepth; }));
    EXPECT_NE(out.find("RefCand3::needRefinementDueToGrowth(), WARNING: pForeignT=NULL"), std::string::npos);
    zarn_test::captureStdout([&] { EXPECT_FALSE(candidate.needRefinementDueToGrowth(2.0, 1.6)); });  // the neighbour is exempt
    EXPECT_FALSE(candidate.needRefinementDueToGrowth(0.0, 0.001));
  }
  // Across constraint edges the adjacent area counts; zero never triggers.
  OneTriangle t(Point2(0, 0), Point2(2, 0), Point2(0, 3), nullptr, true);
  RefCand3 candidate(t.dt.getImpl(), t.pT);
  candidate.computeSquaredLengths();
  ConstraintSegment2* pBase(t.dt.getConstraintSegment(t.pA, t.pB));
  pBase->setAdjacentArea(0.0);
  EXPECT_FALSE(candidate.needRefinementDueToGrowth(2.0, 0.0));
  pBase->setAdjacentArea(1.0);
  EXPECT_TRUE(candidate.needRefinementDueToGrowth(2.0, 0.001));
}

TEST(RefCand3Rules, EdgeBlockingByLocationCode) {
  OneTriangle t(Point2(0, 0), Point2(1, 0), Point2(0.5, 0.1), nullptr, true);  // obtuse at c: its centre lies below a-b
  const int base(t.edgeIndexOf(t.pA, t.pB));
  ConstraintSegment2* pBase(t.dt.getConstraintSegment(t.pA, t.pB));
  struct Case {
    int locCode;
    double minEdgeLen;
    bool bSplit, bLock, bBlocked;
  } aCases[] = {{RefCand3::kLocNoEdge, 0.001, true, false, false}, {base, 0.001, true, false, false}, {base, 0.5000001, true, false, true},
                {base, 0.001, false, false, true},                 {base, 0.001, true, true, true},   {RefCand3::kLocSkip, 0.001, true, false, true}};
  for (const Case& c : aCases) {
    std::unique_ptr<MeshGenParams> pParams(paramsWithoutZone());
    MeshGenParams& params(*pParams);
    params.minEdgeLen = c.minEdgeLen;
    params.splitConstraints = c.bSplit;
    if (c.bLock) params.addLockedConstraint(pBase);
    RefCand3 candidate(t.dt.getImpl(), t.pT);
    candidate.setCircumcenter(Point2(0.5, -1.0), c.locCode);
    EXPECT_EQ(candidate.needRefinement(params), c.bBlocked) << c.locCode << " " << c.minEdgeLen;
    // Beyond its own constraint edge the triangle is never refined directly (the edge is split).
    if (c.locCode == base) {
      EXPECT_FALSE(candidate.isSafe(params));
    }
  }
  RefCand3 candidate(t.dt.getImpl(), t.pT);
  candidate.setCircumcenter(Point2(0.5, -1.0), 3);
  std::string out(zarn_test::captureStdout([&] { EXPECT_TRUE(candidate.needRefinement(*paramsWithoutZone())); }));
  EXPECT_NE(out.find("RefCand3::needRefinement"), std::string::npos);
  EXPECT_NE(out.find("bug, unexpected case"), std::string::npos);
}

// ----- Entry checks -----

const char* const kZoneLocationComplaint =
    "\n\n\nMeshGenParams::MeshGenParams(..), ERROR: \n\tbehavior since Zarn 1.39: The zoneLocation must be ZL_INSIDE or ZL_BOUNDED. "
    "Please convert the zone using pZone->convertToBoundedZone(..)\n\n\n";

TEST(MeshEntry, ParametersForAnOutsideZoneAreRejected) {
  Meshing m(squareWithHole());
  Zone2* pOutside(m.dt.createZone(m.pGraph, ZL_OUTSIDE));
  std::unique_ptr<MeshGenParams> pParams;
  EXPECT_EQ(zarn_test::captureStderr([&] { pParams.reset(new MeshGenParams(pOutside)); }), kZoneLocationComplaint);
  EXPECT_EQ(pParams->gridVector.x(), 0.0);
  EXPECT_EQ(pParams->gridVector.y(), 0.0);
  const unsigned int numBefore(m.dt.numberOfPoints());
  const std::string out(zarn_test::captureStdout([&] { m.dt.refineAdvanced(pParams.get()); }));
  EXPECT_NE(out.find("Dt2::refineMain2(), ERROR: The zoneLocation must be ZL_INSIDE or ZL_BOUNDED."), std::string::npos) << out;
  EXPECT_EQ(m.dt.numberOfPoints(), numBefore);
  MeshGenParams inside(m.pZone);
  EXPECT_EQ(inside.gridVector.x(), 1.0);
}

TEST(MeshEntry, AngleLimitAndNullZone) {
  Meshing m(squareWithHole());
  MeshGenParams params(m.pZone);
  params.minAngleDegree = 30.000001;
  std::string out(zarn_test::captureStdout([&] { m.dt.refineAdvanced(&params); }));
  EXPECT_NE(out.find("Dt2::refine(..), ERROR: minAngleDegree must be <=30.0, return"), std::string::npos) << out;
  EXPECT_TRUE(m.impl().getRefinementReport().bEntryFailed);
  params.minAngleDegree = 30.0;
  zarn_test::captureStdout([&] { m.dt.refineAdvanced(&params); });
  EXPECT_TRUE(m.impl().getRefinementReport().isComplete());
  EXPECT_TRUE(m.dt.checkZoneQuality(m.pZone, 30.0, "", AcceptExperimentalFeature()));
  out = zarn_test::captureStdout([&] { m.dt.refineAdvanced(nullptr); });
  EXPECT_NE(out.find("Dt2::refineMain2(..), ERROR: pZone==NULL"), std::string::npos) << out;
  EXPECT_NE(zarn_test::captureStderr([&] { m.dt.refine(nullptr, 20.0, 0.001, 1.0, true); })
                .find("Warning: Zarn_2D::refine(..) has been called with pZone==NULL"),
            std::string::npos);
  // The facade's refine maps its arguments onto the same driver; a vertex budget ends the run.
  Meshing m2(squareWithHole());
  zarn_test::captureStdout([&] { m2.dt.refine(m2.pZone, 25.0, 0.001, 0.5, true); });
  m2.vZone = m2.zoneTriangles();
  EXPECT_TRUE(m2.meetsBounds({25.0, [](Triangle2*) { return 0.5; }, squareWithHole().area}));
  m2.impl().setRefinementVertexBudget(25);
  const unsigned int numBefore(m2.dt.numberOfPoints());
  MeshGenParams budgeted(m2.pZone);
  budgeted.maxEdgeLength = 0.1;
  m2.refine(budgeted);
  EXPECT_LE(m2.dt.numberOfPoints(), numBefore + 25);
  EXPECT_TRUE(m2.report().bBudgetReached);
  EXPECT_NE(m2.report().describe().find("vertex budget reached"), std::string::npos);
}

// Small angles between two constraints are exempt; offenders are drawn into the named file.
TEST(MeshEntry, ZoneQualityCheck) {
  Meshing spikeMesh(spike(5.0));
  EXPECT_TRUE(spikeMesh.dt.checkZoneQuality(spikeMesh.pZone, 30.0, "", AcceptExperimentalFeature()));
  Meshing m(squareWithHole());
  const std::string file(::testing::TempDir() + "zone_quality.ps");
  std::remove(file.c_str());
  EXPECT_FALSE(m.dt.checkZoneQuality(m.pZone, 30.0, file, AcceptExperimentalFeature()));
  EXPECT_NE(zarn_test::readFile(file).find("%!PS"), std::string::npos);
  EXPECT_TRUE(m.dt.checkZoneQuality(m.pZone, 10.0, "", AcceptExperimentalFeature()));
  EXPECT_FALSE(zarn_test::captureStdout([&] { EXPECT_FALSE(m.dt.checkZoneQuality(nullptr, 10.0, "", AcceptExperimentalFeature())); }).empty());
}

}  // namespace
