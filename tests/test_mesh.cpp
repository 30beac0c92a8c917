// Mesh generation: refinement of zones under angle, size and growth bounds, checked by the exact
// oracle (constrained Delaunay, coverage of every input segment) and an independent check of the
// bounds; hard inputs (small input angles, nearly touching constraints, tiny minEdgeLen) must end
// (within the test's time limit); the refinement candidates' rules on hand-made triangles; the mesh arrays of the
// result.

#include <cstdio>
#include <memory>

#include "Dt2.h"
#include "RefCand3.h"
#include "cdt_test_support.h"
#include "test_support.h"
#include "zone_test_support.h"

using namespace KORA_ZARN2D;
using zonetest::trianglesOf;

namespace {

/// A polygonal domain given by rings, the first counterclockwise, holes clockwise: its segments
/// and its area.
struct Domain {
  std::vector<Segment2> vSegments;
  double area = 0.0;
  Domain(std::initializer_list<std::vector<Point2>> lRings) {
    for (const std::vector<Point2>& vRing : lRings) {
      for (const Segment2& s : zonetest::ring(vRing)) vSegments.push_back(s);
    }
    area = zonetest::signedArea2(vSegments).get_d() / 2;
  }
};

Domain squareWithHole() { return Domain({zonetest::square(0, 0, 10, 10), {{4, 4}, {4, 6}, {6, 6}, {6, 4}}}); }
Domain thinTrapezoidWithHole() { return Domain({{{0, 0}, {10, 0}, {10, 1}, {0, 0.3}}, {{4, 0.3}, {4, 0.4}, {5, 0.4}, {5, 0.3}}}); }
// A triangle with a sharp corner at the origin.
Domain spike(double degrees) { return Domain({{{0, 0}, {10, 0}, {10, 10 * std::tan(degrees * M_PI / 180.0)}}}); }
// A slit of width 1e-9 cut into a square from the top: two constraints 1e-9 apart.
Domain slit() { return Domain({{{0, 0}, {10, 0}, {10, 10}, {5 + 1e-9, 10}, {5 + 1e-9, 5}, {5, 5}, {5, 10}, {0, 10}}}); }
// A random star-shaped polygon (fixed seed): many sharp and reflex corners.
Domain randomStar(unsigned numCorners, unsigned seed) { return Domain({zonetest::randomStar(numCorners, -1.0, 1.0, seed)}); }

/// A triangulation of the domain's corners with its rings as one oriented constraint graph, and
/// the zone inside.
struct Meshing {
  Zarn_2D dt;
  ConstraintGraph2* pGraph = nullptr;
  Zone2* pZone = nullptr;
  std::vector<Segment2> vInput;
  std::vector<Triangle2*> vZone;  // after refine
  explicit Meshing(const Domain& domain) : vInput(domain.vSegments) {
    std::vector<Segment2> v(vInput);
    pGraph = dt.createConstraint(v, CIS_CONSTRAINED_DELAUNAY, true);
    pZone = dt.createZone(pGraph, ZL_INSIDE);
  }
  const RefinementReport& report() { return dt.getImpl()->getRefinementReport(); }
  /// Refines with the parameters, checks the result exactly and collects the zone.
  void refine(MeshGenParams& params) {
    zarn_test::captureStdout([&] { dt.refineAdvanced(&params); });
    vZone = trianglesOf(pZone);
    EXPECT_TRUE(cdttest::isConstrainedDelaunay(dt, {}, vInput));
  }
  /// The zone collected by refine against the bounds.
  ::testing::AssertionResult meetsBounds(const cdttest::MeshBounds& bounds) { return cdttest::meetsMeshBounds(vZone, vInput, bounds, numInputAngle); }
  size_t numInputAngle = 0;  // the triangles meetsBounds excused by a small input angle
};

/// Parameters for the candidate's rules, which need no zone (the constructor's complaint about the
/// missing zone is swallowed).
std::unique_ptr<MeshGenParams> paramsWithoutZone() {
  std::unique_ptr<MeshGenParams> pParams;
  zarn_test::captureStderr([&] { pParams.reset(new MeshGenParams(nullptr)); });
  return pParams;
}

// Each domain refined with its bounds: the zone tracked during the run is the zone searched anew,
// the bounds hold except where an input angle or minEdgeLen forbids, and the report says which;
// grid meshing puts most vertices on the (turned) grid and removes grid vertices near the border
// only when they may come close (auxFlag false); locked segments and splitConstraints=false leave
// the input segments whole (the report names the triangles left for them).
TEST(Refinement, MeetsTheBoundsAndStaysConstrainedDelaunay) {
  enum Left { kNothing, kShortEdges, kLockedHole, kNoSplits };  // kLockedHole, kNoSplits: the protected segments stay whole
  const struct {
    Domain domain;
    double minAngle, maxEdge, minEdgeLen;
    bool bSmallInputAngle;  // the report must name triangles left at a small input angle
    Left left;              // what keeps the bounds from holding: minEdgeLen or segments that may not be split
    double gridCell;        // > 0: grid meshing with cells of this size, turned by gridDegrees
    double gridDegrees;
    bool bKeepOffBorder;  // auxFlag: grid vertices keep off the border
  } aCases[] = {{squareWithHole(), 30.0, 1.0, 0.001, false, kNothing, 0, 0, true},
                {squareWithHole(), 20.0, 0.3, 0.001, false, kNothing, 0, 0, true},
                {thinTrapezoidWithHole(), 30.0, 0.3, 0.001, false, kNothing, 0, 0, true},
                {thinTrapezoidWithHole(), 30.0, DBL_MAX, 0.001, false, kNothing, 0, 0, true},
                {spike(5.0), 30.0, DBL_MAX, 1e-12, true, kNothing, 0, 0, true},
                {spike(0.5), 30.0, 2.0, 1e-12, true, kNothing, 0, 0, true},
                {randomStar(40, 7), 30.0, DBL_MAX, 1e-12, true, kNothing, 0, 0, true},
                {randomStar(25, 11), 28.0, 0.1, 1e-12, true, kNothing, 0, 0, true},
                {slit(), 30.0, DBL_MAX, 0.001, false, kShortEdges, 0, 0, true},
                {slit(), 30.0, DBL_MAX, 1e-15, false, kNothing, 0, 0, true},
                {squareWithHole(), 30.0, 0.7, 0.001, false, kLockedHole, 0, 0, true},
                {squareWithHole(), 30.0, 0.7, 0.001, false, kNoSplits, 0, 0, true},
                {squareWithHole(), 30.0, 0.375, 0.001, false, kNothing, 0.25, 0.0, true},
                {squareWithHole(), 30.0, 0.45, 0.001, false, kNothing, 0.3, 30.0, true},
                {squareWithHole(), 30.0, 0.375, 0.001, false, kNothing, 0.25, 10.0, false}};
  for (const auto& c : aCases) {
    SCOPED_TRACE(&c - aCases);
    Meshing m(c.domain);
    MeshGenParams params(m.pZone);
    params.minAngleDegree = c.minAngle;
    params.maxEdgeLength = c.maxEdge;
    params.minEdgeLen = c.minEdgeLen;
    params.gridLength = c.gridCell;
    const double dx(std::cos(c.gridDegrees * M_PI / 180.0)), dy(std::sin(c.gridDegrees * M_PI / 180.0));
    params.gridVector = Vector2(3.0 * dx, 3.0 * dy);
    params.auxFlag = c.bKeepOffBorder;
    params.splitConstraints = c.left != kNoSplits;
    std::vector<ConstraintSegment2*> vProtected;
    for (ConstraintSegment2* pCSeg : c.left < kLockedHole ? std::vector<ConstraintSegment2*>() : cdttest::aliveSegments(m.dt)) {
      if (c.left == kLockedHole && std::fmod(pCSeg->getSrc()->x(), 10.0) == 0.0) continue;  // the outer ring may be split
      vProtected.push_back(pCSeg);
      if (c.left == kLockedHole) params.addLockedConstraint(pCSeg);
    }
    m.refine(params);
    const RefinementReport& report(m.report());
    EXPECT_TRUE(m.dt.checkValidity(true, "refinement"));
    EXPECT_EQ(m.vZone.size(), report.numZoneTriangles);
    for (ConstraintSegment2* pCSeg : vProtected) EXPECT_TRUE(pCSeg->isAlive());
    if (c.left != kNothing || !c.bSmallInputAngle) {
      EXPECT_EQ(m.dt.checkZoneQuality(m.pZone, c.minAngle, "", AcceptExperimentalFeature()), c.left == kNothing);
    }
    if (c.left == kNothing) {
      EXPECT_TRUE(m.meetsBounds({c.minAngle, [&](Triangle2*) { return c.maxEdge; }, c.domain.area})) << report.describe();
      EXPECT_TRUE(report.isComplete()) << report.describe();
    } else {
      EXPECT_GT(c.left == kShortEdges ? report.numLeftMinEdgeLen : report.numLeftProtected, 0u) << report.describe();
      EXPECT_EQ(report.numSegmentSplits > 0, c.left != kNoSplits) << report.describe();
    }
    EXPECT_EQ(m.numInputAngle > 0, c.bSmallInputAngle && c.left == kNothing) << report.describe();
    EXPECT_TRUE(m.numInputAngle == 0 || report.numLeftInputAngle > 0);
    if (c.gridCell == 0.0) continue;
    size_t numOnGrid(0);
    for (const Point2* p : dt2test::verticesOf(m.dt)) {
      const double u((p->x() * dx + p->y() * dy) / c.gridCell), v((-p->x() * dy + p->y() * dx) / c.gridCell);
      if (std::fabs(u - std::round(u)) < 1e-9 && std::fabs(v - std::round(v)) < 1e-9) ++numOnGrid;
    }
    // Most vertices are grid vertices: about (96 / cell^2) of them fit in the domain.
    EXPECT_GT(numOnGrid, 0.6 * 96.0 / (c.gridCell * c.gridCell)) << report.describe();
    EXPECT_GE(numOnGrid, report.numGridVertices - report.numGridVerticesRemoved);
    EXPECT_EQ(report.numGridVerticesRemoved > 0, !c.bKeepOffBorder) << report.describe();
  }
}

// ----- Host size functions, protected constraints, growth -----

/// A host's size function: edges grow with the distance from the origin, and tiny triangles are
/// forced at the left side (x = 0) by the area bound.
class GradedParams : public MeshGenParams {
 public:
  explicit GradedParams(Zone2* pZone) : MeshGenParams(pZone) {}
  double getMaxEdgeLength(Triangle2* pT) override {
    ++numCalls;
    return sizeAt(pT->getBarycenter());
  }
  double getMaxTriangleArea(Triangle2* pT) override {
    return pT->getCorner(0)->x() == 0.0 || pT->getCorner(1)->x() == 0.0 || pT->getCorner(2)->x() == 0.0 ? 0.002 : maxTriangleArea;
  }
  static double sizeAt(const Point2& p) { return 0.05 + 0.1 * std::sqrt(p.x() * p.x() + p.y() * p.y()); }
  size_t numCalls = 0;
};

// The host's size function bounds each triangle it is asked about; with a growth limit the tiny
// triangles at the left side spread gradually: no two neighbours (across no constraint, both above
// growthMinArea) differ by more than the limit in area.
TEST(MeshHost, SizeFunctionAndGrowthLimit) {
  Meshing r(squareWithHole());
  GradedParams params(r.pZone);
  params.minAngleDegree = 25.0;
  params.growthLimit = 2.0;
  params.growthMinArea = 1e-4;
  r.refine(params);
  EXPECT_GT(params.numCalls, r.vZone.size());
  EXPECT_TRUE(r.meetsBounds({25.0, [](Triangle2* pT) { return GradedParams::sizeAt(pT->getBarycenter()); }}));
  const zonetest::TriangleSet sZone(zonetest::setOf(r.vZone));
  size_t numPairs(0);
  for (Triangle2* pT : r.vZone) {
    for (int i = 0; i < 3; ++i) {
      Triangle2* pN(pT->getOppositeTriangle(i));
      if (sZone.count(pN) == 0 || r.dt.isConstraint(pT, i) || pN->getArea2D() < params.growthMinArea) continue;
      ++numPairs;
      EXPECT_LE(pT->getArea2D() / pN->getArea2D(), 2.0 * (1.0 + 1e-9));
    }
  }
  EXPECT_GT(numPairs, 1000u);
}

// ----- The refinement candidate's rules on hand-made triangles -----

/// One triangle a-b-c (counterclockwise), optionally with its edges as constraints, and a
/// neighbour across a-b at d.
struct OneTriangle {
  Zarn_2D dt;
  Point2 *pA, *pB;
  Triangle2* pT;
  OneTriangle(const Point2& a, const Point2& b, const Point2& c, const Point2* pD = nullptr, bool bConstrained = false) {
    const std::vector<Point2*> vHandles(cdttest::insertPoints(dt, {a, b, c, pD == nullptr ? c : *pD}));
    pA = vHandles[0];
    pB = vHandles[1];
    std::vector<Segment2> vEdges(zonetest::ring({a, b, c}));
    if (bConstrained) dt.createConstraint(vEdges, CIS_CONSTRAINED_DELAUNAY, true);
    pT = dt.getAdjacentTriangle(pA, pB);
  }
};

// The default bounds refine below 20 degrees only; a size bound refines a triangle above it.
TEST(RefCand3Rules, AngleAndSizeRules) {
  const auto apex = [](double degrees) { return Point2(0.5, 0.5 / std::tan(0.5 * degrees * M_PI / 180.0)); };  // over the base 0-1
  const struct {
    Point2 b, c;
    double maxEdge, maxArea;
    bool bRefine;
  } aCases[] = {{Point2(1, 0), apex(19.9), DBL_MAX, DBL_MAX, true}, {Point2(1, 0), apex(20.1), DBL_MAX, DBL_MAX, false},
                {Point2(4, 0), Point2(0, 3), 5.0, 6.0, false},  // longest edge 5, area 6
                {Point2(4, 0), Point2(0, 3), 4.999, DBL_MAX, true}, {Point2(4, 0), Point2(0, 3), DBL_MAX, 5.999, true}};
  for (const auto& c : aCases) {
    OneTriangle t(Point2(0, 0), c.b, c.c);
    std::unique_ptr<MeshGenParams> pParams(paramsWithoutZone());
    pParams->maxEdgeLength = c.maxEdge;
    pParams->maxTriangleArea = c.maxArea;
    RefCand3 candidate(t.dt.getImpl(), t.pT);
    EXPECT_EQ(candidate.isSafe(*pParams), c.bRefine) << c.c << " " << c.maxEdge << " " << c.maxArea;
    EXPECT_NEAR(candidate.getMinAngle(), cdttest::detail::minAngleDegrees(t.pT), 1e-9);
  }
}

// Growth against the neighbour across the base (area 3 against 1 and 1.55 at limit 2), exempt
// neighbours and a zero limit; across constraint edges the adjacent area counts, zero never
// triggers.
TEST(RefCand3Rules, GrowthAgainstTheNeighbour) {
  for (const double depth : {1.0, 1.55}) {  // the neighbour's area (base length 2)
    const Point2 d(1.0, -depth);
    OneTriangle t(Point2(0, 0), Point2(2, 0), Point2(0, 3), &d);
    RefCand3 candidate(t.dt.getImpl(), t.pT);
    candidate.computeSquaredLengths();
    // The other two edges lie on the hull: no neighbour, a warning each, skipped.
    const std::string out(zarn_test::captureStdout([&] { EXPECT_EQ(candidate.needRefinementDueToGrowth(2.0, 0.001), depth < 1.5) << depth; }));
    EXPECT_NE(out.find(zonetest::warned("RefCand3::needRefinementDueToGrowth()", "pForeignT=NULL")), std::string::npos);
    zarn_test::captureStdout([&] { EXPECT_FALSE(candidate.needRefinementDueToGrowth(2.0, 1.6)); });  // the neighbour is exempt
    EXPECT_FALSE(candidate.needRefinementDueToGrowth(0.0, 0.001));
  }
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
  const int base(t.pT->getIntraTriangleIndex(t.pA, t.pB));
  const struct {
    int locCode;
    double minEdgeLen;
    bool bSplit, bLock, bBlocked;
  } aCases[] = {{RefCand3::kLocNoEdge, 0.001, true, false, false}, {base, 0.001, true, false, false}, {base, 0.5, true, false, false},
                {base, 0.5000001, true, false, true}, {base, 0.001, false, false, true}, {base, 0.001, true, true, true},
                {RefCand3::kLocSkip, 0.001, true, false, true}};  // a-b is 1 long: blocked when 2 * minEdgeLen exceeds it
  for (const auto& c : aCases) {
    std::unique_ptr<MeshGenParams> pParams(paramsWithoutZone());
    pParams->minEdgeLen = c.minEdgeLen;
    pParams->splitConstraints = c.bSplit;
    if (c.bLock) pParams->addLockedConstraint(t.dt.getConstraintSegment(t.pA, t.pB));
    RefCand3 candidate(t.dt.getImpl(), t.pT);
    candidate.setCircumcenter(Point2(0.5, -1.0), c.locCode);
    EXPECT_EQ(candidate.needRefinement(*pParams), c.bBlocked) << c.locCode << " " << c.minEdgeLen;
    // Beyond its own constraint edge the triangle is never refined directly (the edge is split).
    EXPECT_TRUE(c.locCode != base || !candidate.isSafe(*pParams));
  }
  RefCand3 candidate(t.dt.getImpl(), t.pT);
  candidate.setCircumcenter(Point2(0.5, -1.0), 3);
  std::string out(zarn_test::captureStdout([&] { EXPECT_TRUE(candidate.needRefinement(*paramsWithoutZone())); }));
  EXPECT_NE(out.find("RefCand3::needRefinement, ERROR: bug, unexpected case\n"), std::string::npos) << out;
}

// ----- Entry checks -----

// The zone quality check exempts small angles between two constraints and draws offenders into the
// named file. The parameters of an outside zone complain and keep no grid direction; refinement
// with them, a null zone or an angle above 30 degrees ends at the entry with its message; 30 refine.
// The facade's refine and a vertex budget.
TEST(MeshEntry, QualityCheckWrongZonesAndAnglesFacadeAndBudget) {
  Meshing spikeMesh(spike(5.0)), m(squareWithHole());
  EXPECT_TRUE(spikeMesh.dt.checkZoneQuality(spikeMesh.pZone, 30.0, "", AcceptExperimentalFeature()));
  const std::string file(::testing::TempDir() + "zone_quality.ps");
  std::remove(file.c_str());
  EXPECT_FALSE(m.dt.checkZoneQuality(m.pZone, 30.0, file, AcceptExperimentalFeature()));
  EXPECT_NE(zarn_test::readFile(file).find("%!PS"), std::string::npos);
  EXPECT_TRUE(m.dt.checkZoneQuality(m.pZone, 10.0, "", AcceptExperimentalFeature()));
  EXPECT_FALSE(zarn_test::captureStdout([&] { EXPECT_FALSE(m.dt.checkZoneQuality(nullptr, 10.0, "", AcceptExperimentalFeature())); }).empty());
  std::unique_ptr<MeshGenParams> pOutside;
  EXPECT_EQ(zarn_test::captureStderr([&] { pOutside.reset(new MeshGenParams(m.dt.createZone(m.pGraph, ZL_OUTSIDE))); }),
            "\n\n\nMeshGenParams::MeshGenParams(..), ERROR: \n\tbehavior since Zarn 1.39: The zoneLocation must be ZL_INSIDE or ZL_BOUNDED. "
            "Please convert the zone using pZone->convertToBoundedZone(..)\n\n\n");
  EXPECT_TRUE(pOutside->gridVector.x() == 0.0 && pOutside->gridVector.y() == 0.0);
  MeshGenParams params(m.pZone), params30(m.pZone);
  EXPECT_EQ(params.gridVector.x(), 1.0);
  params.minAngleDegree = 30.000001;
  params30.minAngleDegree = 30.0;
  const unsigned int numBefore(m.dt.numberOfPoints());
  const struct {
    MeshGenParams* pParams;
    const char* message;
  } aCases[] = {{pOutside.get(), "Dt2::refineMain2(), ERROR: The zoneLocation must be ZL_INSIDE or ZL_BOUNDED. Please convert the zone "
                                 "using pZone->convertToBoundedZone(..)\n"},
                {nullptr, "Dt2::refineMain2(..), ERROR: pZone==NULL\n"},
                {&params, "Dt2::refine(..), ERROR: minAngleDegree must be <=30.0, return\n"}};
  for (const auto& c : aCases) {
    const std::string out(zarn_test::captureStdout([&] { m.dt.refineAdvanced(c.pParams); }));
    EXPECT_NE(out.find(c.message), std::string::npos) << out;
    EXPECT_TRUE(m.report().bEntryFailed);
    EXPECT_EQ(m.dt.numberOfPoints(), numBefore);
  }
  // The facade's refine maps its arguments onto the same driver.
  zarn_test::captureStdout([&] { m.dt.refine(m.pZone, 25.0, 0.001, 0.5, true); });
  m.vZone = trianglesOf(m.pZone);
  EXPECT_TRUE(m.meetsBounds({25.0, [](Triangle2*) { return 0.5; }, squareWithHole().area}));
  m.refine(params30);
  EXPECT_TRUE(m.report().isComplete());
  EXPECT_TRUE(m.dt.checkZoneQuality(m.pZone, 30.0, "", AcceptExperimentalFeature()));
  EXPECT_EQ(zarn_test::captureStderr([&] { m.dt.refine(nullptr, 20.0, 0.001, 1.0, true); }),
            "\nWarning: Zarn_2D::refine(..) has been called with pZone==NULL\n\n");
  EXPECT_EQ(zarn_test::captureStderr([&] { m.dt.refine(m.pZone, 30.000001, 0.001, 1.0, true); }),
            "\nWarning: Zarn_2D::refine(..), minAngleDegree can't be >30\n\n");
  // A vertex budget ends the run.
  m.dt.getImpl()->setRefinementVertexBudget(25);
  const unsigned int numRefined(m.dt.numberOfPoints());
  params30.maxEdgeLength = 0.1;
  m.refine(params30);
  EXPECT_LE(m.dt.numberOfPoints(), numRefined + 25);
  EXPECT_TRUE(m.report().bBudgetReached);
  EXPECT_NE(m.report().describe().find("vertex budget reached"), std::string::npos);
}

// ----- Mesh arrays -----

// getMeshArrays on randomized inputs with a duplicate, constraints (whose crossings add vertices)
// and removals, for all triangles and for a subset in another order: rows follow the input,
// positions follow the list, neighbours outside the list are -1.
TEST(MeshArrays, RowsFollowTheInputAndPositionsFollowTheList) {
  for (unsigned seed = 1; seed <= 6; ++seed) {
    SCOPED_TRACE(seed);
    std::vector<Point2> vInput(dt2test::randomPoints(300 * seed, seed));
    vInput.push_back(vInput[7]);  // a duplicate keeps its own row
    for (size_t i = 0; i < vInput.size(); ++i) vInput[i].setCustomIndex(int(i));
    Zarn_2D dt;
    std::vector<Point2*> vHandles;
    zarn_test::captureStdout([&] {
      dt.insert(vInput, vHandles);
      std::vector<Segment2> vSegments;
      generateRandomSegments(10, 0.0, 1.0, 0.5, vSegments, seed);
      dt.createConstraint(vSegments, seed % 2 == 0 ? CIS_CONFORMING_DELAUNAY : CIS_CONSTRAINED_DELAUNAY);
      for (size_t i = 0; i < vHandles.size(); i += 9) {
        if (!dt.isConstraint(vHandles[i])) dt.remove(vHandles[i]);
      }
    });
    ASSERT_TRUE(dt.checkValidity(true, "mesh arrays"));
    const std::vector<Triangle2*> vAll(trianglesOf(dt));
    const std::vector<Triangle2*> vSubset(vAll.rbegin(), vAll.rend() - std::ptrdiff_t(vAll.size() / 3));  // reversed, a third left out
    std::vector<ConstraintSegment2*> vPieces(cdttest::aliveSegments(dt));
    for (const std::vector<Triangle2*>& vTriangles : {vAll, vSubset}) {
      MeshArrays mesh;
      getMeshArrays(dt, vTriangles, int32_t(vInput.size()), mesh);
      EXPECT_FALSE(mesh.vAddedVertices.empty());
      for (const Point2* pV : mesh.vAddedVertices) EXPECT_TRUE(pV->getCustomIndex() < 0 || pV->getCustomIndex() >= int(vInput.size()));
      const auto at = [&](int32_t row) {
        return row < int32_t(vInput.size()) ? vInput[size_t(row)] : *mesh.vAddedVertices.at(size_t(row) - vInput.size());
      };
      ASSERT_EQ(mesh.vTriangles.size(), 3 * vTriangles.size());
      const zonetest::TriangleSet sListed(zonetest::setOf(vTriangles));
      for (size_t t = 0; t < vTriangles.size(); ++t) {
        for (int i = 0; i < 3; ++i) {
          EXPECT_TRUE(dt2test::sameXY(at(mesh.vTriangles[3 * t + i]), *vTriangles[t]->getCorner(i))) << t;
          const int32_t n(mesh.vNeighbors[3 * t + i]);
          const Triangle2* pN(vTriangles[t]->getOppositeTriangle(i));
          EXPECT_EQ(n < 0 ? nullptr : vTriangles[size_t(n)], sListed.count(pN) > 0 ? pN : nullptr);
        }
      }
      ASSERT_EQ(mesh.vSegments.size(), 2 * vPieces.size());
      for (size_t k = 0; k < vPieces.size(); ++k) {
        EXPECT_TRUE(dt2test::sameXY(at(mesh.vSegments[2 * k]), *vPieces[k]->getSrc()) && dt2test::sameXY(at(mesh.vSegments[2 * k + 1]), *vPieces[k]->getTrg()));
      }
    }
  }
}

}  // namespace
