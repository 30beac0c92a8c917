// Inserting constraint segments with the constrained and the conforming strategy: splits at
// vertices and crossings, storms of degenerate and nearly degenerate segments, constraints given
// before the triangulation is 2D, points inserted and removed next to constraints. Every mutation
// is followed by the library's validity check and the independent exact check of
// cdt_test_support.h.
#include <gmpxx.h>
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <sstream>
#include <algorithm>
#include <limits>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "cdt_test_support.h"
#include "dt2_test_support.h"
#include "test_support.h"

using namespace KORA_ZARN2D;
using cdttest::CdtCheckOptions;
using dt2test::warningLine;
using zarn_test::captureStdout;

namespace {

const char* const kGivingUp = "Double precision arithmetic does not allow to split a segment further, giving up. Incorrect result!";

std::string warningOutput(const std::string& where, const std::string& msg) { return "\n" + warningLine(where, msg) + "\n\n"; }

std::string strategyName(const ::testing::TestParamInfo<ConstraintInsertionStrategy>& info) {
  return info.param == CIS_CONSTRAINED_DELAUNAY ? "Constrained" : "Conforming";
}

/// createConstraint with its console output captured.
std::string create(Zarn_2D& dt, std::vector<Segment2> vSegments, ConstraintInsertionStrategy cis, ConstraintGraph2** ppGraph = nullptr) {
  ConstraintGraph2* pGraph(nullptr);
  const std::string out(captureStdout([&] { pGraph = dt.createConstraint(vSegments, cis, false); }));
  if (ppGraph != nullptr) *ppGraph = pGraph;
  return out;
}

std::vector<ConstraintSegment2*> aliveSegments(const Zarn_2D& dt) {
  std::vector<ConstraintSegment2*> v;
  dt.getAliveConstraintSegments(v);
  return v;
}

std::vector<ConstraintSegment2*> allSegments(const Zarn_2D& dt) {
  std::vector<ConstraintSegment2*> v;
  dt.getAliveAndDeadConstraintSegments(v);
  return v;
}

Point2* vertexAt(const Zarn_2D& dt, double x, double y) {
  std::vector<Point2*> v;
  dt.getVertexPointers(v);
  for (Point2* p : v) {
    if (p->x() == x && p->y() == y) return p;
  }
  return nullptr;
}

/// The number of distinct finite positions among the points and the segment ends: what a
/// triangulation holds when no constraint has made a vertex of its own.
size_t numDistinctInputs(const std::vector<Point2>& vPoints, const std::vector<Segment2>& vSegments) {
  std::vector<Point2> v(vPoints);
  for (const Segment2& s : vSegments) {
    v.push_back(s.getSrc());
    v.push_back(s.getTrg());
  }
  return dt2test::distinctPositions(v).size();
}

/// isConstraint for vertex pairs, triangle edges and vertices agrees with the alive segments, and
/// a dead segment whose vertices happen to be adjacent is no constraint.
::testing::AssertionResult isConstraintAgrees(const Zarn_2D& dt) {
  std::set<std::pair<Point2*, Point2*>> sAlive;
  std::set<Point2*> sEnds;
  for (ConstraintSegment2* pCSeg : aliveSegments(dt)) {
    sAlive.insert(std::make_pair(pCSeg->getSrc(), pCSeg->getTrg()));
    sEnds.insert(pCSeg->getSrc());
    sEnds.insert(pCSeg->getTrg());
  }
  const auto key = [](Point2* a, Point2* b) { return a < b ? std::make_pair(a, b) : std::make_pair(b, a); };
  std::vector<Triangle2*> vT;
  dt.getTrianglePointers(vT);
  size_t numEdgeChecks(0);
  for (Triangle2* pT : vT) {
    for (int i = 0; i < 3; ++i) {
      Point2* a(pT->getCorner(incIndexBy1(i)));
      Point2* b(pT->getCorner(incIndexBy2(i)));
      const bool bWant(sAlive.count(key(a, b)) > 0);
      ++numEdgeChecks;
      if (dt.isConstraint(pT, i) != bWant || dt.isConstraint(a, b) != bWant || dt.isConstraint(b, a) != bWant) {
        return ::testing::AssertionFailure() << "isConstraint disagrees for the edge " << *a << " - " << *b << " (alive: " << bWant << ")";
      }
    }
  }
  std::vector<Point2*> vV;
  dt.getVertexPointers(vV);
  for (Point2* p : vV) {
    if (dt.isConstraint(p) != (sEnds.count(p) > 0)) return ::testing::AssertionFailure() << "isConstraint disagrees for the vertex " << *p;
  }
  for (ConstraintSegment2* pCSeg : allSegments(dt)) {
    if (!pCSeg->isAlive() && dt.isConstraint(pCSeg->getSrc(), pCSeg->getTrg())) {
      return ::testing::AssertionFailure() << "a dead segment counts as a constraint: " << *pCSeg;
    }
  }
  if (numEdgeChecks == 0) return ::testing::AssertionFailure() << "no triangles";
  return ::testing::AssertionSuccess();
}

/// Both validity checks and the isConstraint queries, after a mutation.
::testing::AssertionResult validCdt(Zarn_2D& dt, const std::vector<Point2>& vPoints, const std::vector<Segment2>& vSegments,
                                    const CdtCheckOptions& options = CdtCheckOptions()) {
  const ::testing::AssertionResult library(dt2test::libraryCheckValidity(dt));
  const ::testing::AssertionResult independent(cdttest::isConstrainedDelaunay(dt, vPoints, vSegments, options));
  if (!library || !independent) {
    return ::testing::AssertionFailure() << (library ? "" : library.message()) << (independent ? "" : "\nindependent check: ")
                                         << (independent ? "" : independent.message());
  }
  return isConstraintAgrees(dt);
}

CdtCheckOptions allEdgesDelaunay() {
  CdtCheckOptions options;
  options.bConstraintEdgesDelaunay = true;
  return options;
}

CdtCheckOptions offLineUlps(double maxUlps) {
  CdtCheckOptions options;
  options.maxUlpsOffLine = maxUlps;
  return options;
}

std::vector<Segment2> randomSegments(size_t n, unsigned seed, double lo, double hi) {
  std::mt19937 rng(seed);
  std::uniform_real_distribution<double> dist(lo, hi);
  std::vector<Segment2> v;
  for (size_t i = 0; i < n; ++i) {
    const double x0(dist(rng)), y0(dist(rng)), x1(dist(rng)), y1(dist(rng));
    v.emplace_back(Point2(x0, y0), Point2(x1, y1));
  }
  return v;
}

/// Random points of [lo, hi)^2 that keep at least minDist from every segment of vAvoid.
std::vector<Point2> pointsAwayFrom(const std::vector<Segment2>& vAvoid, double minDist, size_t n, unsigned seed, double lo, double hi) {
  std::vector<Point2> v;
  for (const Point2& p : dt2test::randomPoints(n, seed, lo, hi)) {
    bool bFar(true);
    for (const Segment2& s : vAvoid) {
      const double dx(s.getTrg().x() - s.getSrc().x()), dy(s.getTrg().y() - s.getSrc().y());
      double t(((p.x() - s.getSrc().x()) * dx + (p.y() - s.getSrc().y()) * dy) / (dx * dx + dy * dy));
      t = std::max(0.0, std::min(1.0, t));
      bFar = bFar && std::hypot(p.x() - s.getSrc().x() - t * dx, p.y() - s.getSrc().y() - t * dy) >= minDist;
    }
    if (bFar) v.push_back(p);
  }
  return v;
}

/// The exact intersection of the lines a-b and c-d, when the closed segments cross properly.
bool properCrossing(const Segment2& s, const Segment2& t, mpq_class& x, mpq_class& y) {
  using dt2test::exactOrientation;
  const Point2 &a(s.getSrc()), &b(s.getTrg()), &c(t.getSrc()), &d(t.getTrg());
  const int o1(exactOrientation(a, b, c)), o2(exactOrientation(a, b, d)), o3(exactOrientation(c, d, a)), o4(exactOrientation(c, d, b));
  if (o1 * o2 >= 0 || o3 * o4 >= 0) return false;
  const mpq_class ax(a.x()), ay(a.y()), rx(mpq_class(b.x()) - ax), ry(mpq_class(b.y()) - ay);
  const mpq_class sx(mpq_class(d.x()) - c.x()), sy(mpq_class(d.y()) - c.y());
  const mpq_class lambda(((mpq_class(c.x()) - ax) * sy - (mpq_class(c.y()) - ay) * sx) / (rx * sy - ry * sx));
  x = ax + lambda * rx;
  y = ay + lambda * ry;
  return true;
}

/// The number of pairs of segments that cross properly.
size_t numCrossingPairs(const std::vector<Segment2>& vSegments) {
  size_t n(0);
  for (size_t i = 0; i < vSegments.size(); ++i) {
    for (size_t j = i + 1; j < vSegments.size(); ++j) {
      mpq_class x, y;
      n += properCrossing(vSegments[i], vSegments[j], x, y);
    }
  }
  return n;
}

class ConstraintInsertion : public ::testing::TestWithParam<ConstraintInsertionStrategy> {};
INSTANTIATE_TEST_SUITE_P(BothStrategies, ConstraintInsertion, ::testing::Values(CIS_CONSTRAINED_DELAUNAY, CIS_CONFORMING_DELAUNAY),
                         strategyName);

// ----- The independent checker itself ----------------------------------------------------------

TEST(CdtChecker, ClassifiesHowTwoSegmentsMeet) {
  const Point2 a(0, 0), b(4, 0), c(2, -1), d(2, 1), e(2, 0), f(6, 0), g(3, 0), h(1, 1), k(5, 0);
  std::string how;
  EXPECT_TRUE(cdttest::detail::meetBeyondSharedEnds(&a, &b, &c, &d, how));
  EXPECT_EQ(how, "proper crossing");
  EXPECT_TRUE(cdttest::detail::meetBeyondSharedEnds(&a, &b, &e, &d, how));
  EXPECT_EQ(how, "an end touches the other's interior");
  EXPECT_TRUE(cdttest::detail::meetBeyondSharedEnds(&a, &b, &g, &f, how));
  EXPECT_EQ(how, "collinear overlap");
  EXPECT_TRUE(cdttest::detail::meetBeyondSharedEnds(&a, &b, &a, &e, how));
  EXPECT_EQ(how, "collinear overlap beyond the shared vertex");
  EXPECT_FALSE(cdttest::detail::meetBeyondSharedEnds(&a, &e, &e, &b, how));  // consecutive pieces
  EXPECT_FALSE(cdttest::detail::meetBeyondSharedEnds(&a, &b, &a, &h, how));  // a shared end only
  EXPECT_FALSE(cdttest::detail::meetBeyondSharedEnds(&a, &e, &b, &k, how));  // collinear, apart
  EXPECT_FALSE(cdttest::detail::meetBeyondSharedEnds(&a, &e, &h, &d, how));
}

TEST(CdtChecker, ReportsUncoveredSegmentsAndNonDelaunayConstraintEdges) {
  // (2, 1) and (2, -1) lie inside the circle with diameter (0,0)-(4,0): that constraint edge is
  // not Delaunay, which is right for a constrained triangulation and wrong for a conforming one.
  const std::vector<Point2> vPoints{Point2(0, 0), Point2(4, 0), Point2(2, 1), Point2(2, -1)};
  const std::vector<Segment2> vSegments{Segment2(vPoints[0], vPoints[1])};
  Zarn_2D dt;
  dt.insert(vPoints);
  create(dt, vSegments, CIS_CONSTRAINED_DELAUNAY);
  ASSERT_TRUE(validCdt(dt, vPoints, vSegments, offLineUlps(0.0)));
  const ::testing::AssertionResult strict(cdttest::isConstrainedDelaunay(dt, vPoints, vSegments, allEdgesDelaunay()));
  EXPECT_FALSE(strict);
  EXPECT_NE(std::string(strict.message()).find("constraint edge not locally Delaunay"), std::string::npos) << strict.message();
  const ::testing::AssertionResult uncovered(cdttest::isConstrainedDelaunay(dt, vPoints, {Segment2(vPoints[2], vPoints[3])}));
  EXPECT_FALSE(uncovered);
  EXPECT_NE(std::string(uncovered.message()).find("no constraint segment registered"), std::string::npos) << uncovered.message();
  const ::testing::AssertionResult lost(cdttest::isConstrainedDelaunay(dt, {Point2(1, 0.5)}, vSegments));
  EXPECT_FALSE(lost);
  EXPECT_NE(std::string(lost.message()).find("lost input point"), std::string::npos) << lost.message();
}

// ----- Edges, vertices on segments, crossings -------------------------------------------------

TEST_P(ConstraintInsertion, SegmentsThatAreEdgesChangeNothing) {
  Zarn_2D dt;
  const std::vector<Point2> vPoints(dt2test::randomPoints(60, 101));
  dt.insert(vPoints);
  const auto signatureBefore(dt2test::triangleSignature(dt));
  // The three edges of some triangles (interior edges shared by two of them appear twice) and
  // the hull edges, given in both directions.
  std::vector<Triangle2*> vT;
  dt.getTrianglePointers(vT);
  std::vector<Segment2> vSegments;
  std::set<std::pair<Point2*, Point2*>> sPairs;
  const auto addEdge = [&](Point2* a, Point2* b) {
    vSegments.emplace_back(*a, *b);
    sPairs.insert(a < b ? std::make_pair(a, b) : std::make_pair(b, a));
  };
  for (size_t t = 0; t < vT.size(); t += 7) {
    for (int i = 0; i < 3; ++i) addEdge(vT[t]->getCorner(i), vT[t]->getCorner(incIndexBy1(i)));
  }
  std::vector<Point2*> vHull;
  dt.getConvexHull(false, vHull);
  for (size_t i = 0; i < vHull.size(); ++i) addEdge(vHull[(i + 1) % vHull.size()], vHull[i]);
  ASSERT_GT(vSegments.size(), sPairs.size());  // some given twice

  EXPECT_EQ(create(dt, vSegments, GetParam()), "");
  ASSERT_TRUE(validCdt(dt, vPoints, vSegments, allEdgesDelaunay()));
  EXPECT_EQ(dt.numberOfPoints(), vPoints.size());
  EXPECT_EQ(dt2test::triangleSignature(dt), signatureBefore);
  EXPECT_EQ(allSegments(dt).size(), sPairs.size());
  EXPECT_EQ(aliveSegments(dt).size(), sPairs.size());
  for (const auto& pair : sPairs) {
    ConstraintSegment2* pCSeg(dt.getConstraintSegment(pair.second, pair.first));
    ASSERT_NE(pCSeg, nullptr);
    EXPECT_TRUE(pCSeg->isAlive());
    EXPECT_EQ(pCSeg->getCIS(), GetParam());
  }
}

// Two segments through collinear vertices whose pieces are Gabriel edges: both strategies split
// there and only there, and the result is the plain Delaunay triangulation.
TEST_P(ConstraintInsertion, SegmentsThroughVerticesSplitThereWithoutNewVertices) {
  const std::vector<Point2> vLine1{Point2(0, 0), Point2(1, 0), Point2(2, 0), Point2(3, 0)};
  const std::vector<Point2> vLine2{Point2(0, 4), Point2(3, 5), Point2(6, 6), Point2(9, 7)};
  const std::vector<Segment2> vSegments{Segment2(vLine1.front(), vLine1.back()), Segment2(vLine2.back(), vLine2.front())};
  std::vector<Point2> vPoints(pointsAwayFrom(vSegments, 1.7, 150, 102, -2.0, 11.0));
  vPoints.insert(vPoints.end(), vLine1.begin(), vLine1.end());
  vPoints.insert(vPoints.end(), vLine2.begin(), vLine2.end());
  Zarn_2D dt;
  std::vector<Point2*> vHandles;
  dt.insert(vPoints, vHandles);
  const size_t numBefore(dt.numberOfPoints());

  EXPECT_EQ(create(dt, vSegments, GetParam()), "");
  ASSERT_TRUE(validCdt(dt, vPoints, vSegments, offLineUlps(0.0)));
  ASSERT_TRUE(cdttest::isConstrainedDelaunay(dt, vPoints, vSegments, allEdgesDelaunay()));
  EXPECT_EQ(dt.numberOfPoints(), numBefore);
  const std::set<Point2*> sLineVertices(vHandles.end() - 8, vHandles.end());
  const std::vector<ConstraintSegment2*> vAlive(aliveSegments(dt));
  EXPECT_EQ(vAlive.size(), 6u);
  for (const ConstraintSegment2* pCSeg : vAlive) {
    EXPECT_EQ(sLineVertices.count(pCSeg->getSrc()) + sLineVertices.count(pCSeg->getTrg()), 2u) << *pCSeg;
  }
  for (const Segment2& s : vSegments) {
    ConstraintSegment2* pRoot(dt.getConstraintSegment(vertexAt(dt, s.getSrc().x(), s.getSrc().y()), vertexAt(dt, s.getTrg().x(), s.getTrg().y())));
    ASSERT_NE(pRoot, nullptr);
    EXPECT_FALSE(pRoot->isAlive());
    std::vector<ConstraintSegment2*> vLeaves;
    pRoot->getChildrenRec(vLeaves);
    EXPECT_EQ(vLeaves.size(), 3u);
  }
}

// ----- Storms ------------------------------------------------------------------------------

// Random segments in three batches, inside the points' square or reaching beyond it: the
// constrained strategy makes one vertex per crossing pair (random crossings are distinct and no
// rounding puts one onto another), the conforming one at least that many.
TEST_P(ConstraintInsertion, StormsOfRandomCrossingSegments) {
  struct Storm {
    size_t numSegments;
    double lo, hi;
  };
  const bool bConstrained(GetParam() == CIS_CONSTRAINED_DELAUNAY);
  for (const Storm& storm : {Storm{bConstrained ? 240u : 120u, 0.0, 1.0}, Storm{30, -1.0, 2.0}}) {
    const std::vector<Point2> vPoints(dt2test::randomPoints(300, 103));
    const std::vector<Segment2> vAllSegments(randomSegments(storm.numSegments, 104, storm.lo, storm.hi));
    Zarn_2D dt;
    dt.insert(vPoints);
    const size_t numPerBatch(storm.numSegments / 3);
    for (size_t end = numPerBatch; end <= storm.numSegments; end += numPerBatch) {
      create(dt, std::vector<Segment2>(vAllSegments.begin() + end - numPerBatch, vAllSegments.begin() + end), GetParam());
      ASSERT_TRUE(validCdt(dt, vPoints, std::vector<Segment2>(vAllSegments.begin(), vAllSegments.begin() + end))) << end << " segments";
    }
    const size_t numNew(dt.numberOfPoints() - numDistinctInputs(vPoints, vAllSegments));
    EXPECT_TRUE(bConstrained ? numNew == numCrossingPairs(vAllSegments) : numNew >= numCrossingPairs(vAllSegments)) << numNew;
  }
}

// Two crossing segments at scales from 2^-500 to 2^500 (half of them nearly parallel, some far
// from the origin): the crossing vertex is exactly the exact intersection rounded to nearest,
// whichever way the insertion computed it.
TEST(ConstrainedInsertion, CrossingVertexIsTheRoundedExactIntersection) {
  std::mt19937_64 rng(105);
  std::uniform_real_distribution<double> unit(-0.9, 0.9);
  KoraTest exact;
  for (int i = 0; i < 200; ++i) {
    const double s(std::ldexp(1.0, static_cast<int>(rng() % 1001) - 500)), cx(i % 3 == 0 ? 1e5 * s * unit(rng) : 0.0);
    const double d(i % 2 == 0 ? 1e-12 : 0.5), ya0(unit(rng)), ya1(unit(rng));
    const Point2 a0(cx - s, s * ya0), a1(cx + s, s * ya1), b0(cx - s, s * (ya0 + d)), b1(cx + s, s * (ya1 - d));
    Zarn_2D dt;
    create(dt, {Segment2(a0, a1), Segment2(b0, b1)}, CIS_CONSTRAINED_DELAUNAY);
    double x(0.0), y(0.0);
    exact.getIntersectionCoords(a0, a1, b0, b1, x, y);
    EXPECT_NE(vertexAt(dt, x, y), nullptr) << i;
    EXPECT_EQ(dt.numberOfPoints(), 5u) << i;
  }
}

// 64 segments through the origin, each from a point to its exact negation: the origin is their
// one exact common point.
TEST_P(ConstraintInsertion, StarThroughARepresentablePoint) {
  std::vector<Segment2> vSegments;
  for (int k = 0; k < 64; ++k) {
    const double angle(M_PI * k / 64.0 + 0.01);
    const Point2 p(3.0 * std::cos(angle), 3.0 * std::sin(angle));
    vSegments.emplace_back(p, Point2(-p.x(), -p.y()));
  }
  const std::vector<Point2> vPoints(dt2test::randomPoints(80, 105, -3.0, 3.0));
  Zarn_2D dt;
  dt.insert(vPoints);
  EXPECT_EQ(create(dt, vSegments, GetParam()), "");
  ASSERT_TRUE(validCdt(dt, vPoints, vSegments, offLineUlps(GetParam() == CIS_CONSTRAINED_DELAUNAY ? 0.0 : 4.0)));
  Point2* pCenter(vertexAt(dt, 0, 0));
  ASSERT_NE(pCenter, nullptr);
  std::vector<Point2*> vNeighbours;
  dt.getIncidentVertices(pCenter, vNeighbours);
  size_t numConstraintEdges(0);
  for (Point2* q : vNeighbours) numConstraintEdges += dt.isConstraint(pCenter, q);
  EXPECT_EQ(numConstraintEdges, 128u);
  if (GetParam() == CIS_CONSTRAINED_DELAUNAY) {
    EXPECT_EQ(dt.numberOfPoints(), numDistinctInputs(vPoints, vSegments) + 1);
  }
}

/// Constrained insertion always gives a valid result. Conforming insertion cannot always succeed
/// in double precision (crossings within a few ulps of each other, constraints 1e-12 apart): then
/// the result may be invalid, but the library must have said so.
void expectValidOrReportedAsInaccurate(Zarn_2D& dt, const std::vector<Point2>& vPoints, const std::vector<Segment2>& vSegments,
                                       ConstraintInsertionStrategy cis, const std::string& out) {
  if (cis == CIS_CONSTRAINED_DELAUNAY) {
    EXPECT_TRUE(validCdt(dt, vPoints, vSegments, offLineUlps(8.0))) << out;
    return;
  }
  const bool bReported(out.find("giving up. Incorrect result!") != std::string::npos ||
                       out.find("insufficient numeric accuracy, need to skip last insertions") != std::string::npos);
  if (!bReported) {
    EXPECT_TRUE(validCdt(dt, vPoints, vSegments, offLineUlps(8.0))) << out;
  }
}

/// numSegments segments through (1/3, 2/7), each from c + d to c - d, rounded: the lines pass near,
/// not through, one point, so their crossings fall within a few units in the last place of each
/// other and many round onto each other's vertices.
void insertStarAroundAnUnrepresentablePoint(int numSegments, ConstraintInsertionStrategy cis) {
  const double cx(1.0 / 3.0), cy(2.0 / 7.0);
  std::vector<Segment2> vSegments;
  for (int k = 0; k < numSegments; ++k) {
    const double angle(M_PI * k / numSegments + 0.003);
    const double dx(0.9 * std::cos(angle)), dy(0.9 * std::sin(angle));
    vSegments.emplace_back(Point2(cx + dx, cy + dy), Point2(cx - dx, cy - dy));
  }
  const std::vector<Point2> vPoints(dt2test::randomPoints(60, 106, -1.0, 1.5));
  Zarn_2D dt;
  dt.insert(vPoints);
  const std::string out(create(dt, vSegments, cis));
  EXPECT_GT(dt.numberOfPoints(), numDistinctInputs(vPoints, vSegments));
  expectValidOrReportedAsInaccurate(dt, vPoints, vSegments, cis, out);
}

TEST(ConstrainedInsertion, StarOf6ThroughAnUnrepresentablePoint) { insertStarAroundAnUnrepresentablePoint(6, CIS_CONSTRAINED_DELAUNAY); }

// 60 segments: many crossings round onto each other's vertices.
TEST_P(ConstraintInsertion, StarOf60ThroughAnUnrepresentablePoint) { insertStarAroundAnUnrepresentablePoint(60, GetParam()); }

TEST_P(ConstraintInsertion, DuplicatedAndReversedSegmentsShareOneSegment) {
  const std::vector<Point2> vPoints(dt2test::randomPoints(50, 107, 0.0, 10.0));
  // Pairwise non-crossing: three spokes from one hub and a far chord.
  const Point2 hub(5, 5);
  const std::vector<Segment2> vDistinct{Segment2(hub, Point2(1, 1)), Segment2(hub, Point2(9, 2)), Segment2(hub, Point2(4, 9.5)),
                                        Segment2(Point2(0.5, 8), Point2(2, 6))};
  std::vector<Segment2> vSegments(vDistinct);
  for (const Segment2& s : vDistinct) vSegments.emplace_back(s.getTrg(), s.getSrc());
  vSegments.push_back(vDistinct[0]);
  Zarn_2D dt;
  dt.insert(vPoints);
  ConstraintGraph2* pFirst(nullptr);
  EXPECT_EQ(create(dt, vSegments, GetParam(), &pFirst), "");
  ASSERT_NE(pFirst, nullptr);
  ASSERT_TRUE(validCdt(dt, vPoints, vSegments));
  const auto signature(dt2test::triangleSignature(dt));
  const size_t numAll(allSegments(dt).size()), numAlive(aliveSegments(dt).size());
  if (GetParam() == CIS_CONSTRAINED_DELAUNAY) {
    EXPECT_EQ(numAll, vDistinct.size());
  }
  std::vector<ConstraintSegment2*> vOriginals;
  pFirst->getOriginalConstraintSegments(vOriginals);
  EXPECT_EQ(vOriginals.size(), vDistinct.size());  // duplicates removed, address order

  // The reversed segments once more, in a second graph: nothing changes but the owners.
  std::vector<Segment2> vReversed;
  for (const Segment2& s : vDistinct) vReversed.emplace_back(s.getTrg(), s.getSrc());
  ConstraintGraph2* pSecond(nullptr);
  EXPECT_EQ(create(dt, vReversed, GetParam(), &pSecond), "");
  ASSERT_NE(pSecond, nullptr);
  EXPECT_NE(pSecond, pFirst);
  ASSERT_TRUE(validCdt(dt, vPoints, vSegments));
  EXPECT_EQ(dt2test::triangleSignature(dt), signature);
  EXPECT_EQ(allSegments(dt).size(), numAll);
  EXPECT_EQ(aliveSegments(dt).size(), numAlive);
  for (ConstraintSegment2* pCSeg : allSegments(dt)) EXPECT_EQ(pCSeg->getNumberOfOwners(), 2u) << *pCSeg;
}

// Sides of the hull with points on them: hull edges are Delaunay edges, so neither strategy adds
// a vertex.
TEST_P(ConstraintInsertion, SegmentsAlongTheConvexHull) {
  std::vector<Point2> vPoints(dt2test::randomPoints(100, 108, 0.05, 0.95));
  for (double t : {0.0, 0.125, 0.3, 0.71, 1.0}) {
    vPoints.emplace_back(t, 0.0);
    vPoints.emplace_back(1.0, t);
    vPoints.emplace_back(t, 1.0);
    vPoints.emplace_back(0.0, t);
  }
  const std::vector<Segment2> vSegments{Segment2(Point2(0, 0), Point2(1, 0)), Segment2(Point2(1, 0), Point2(1, 1)),
                                        Segment2(Point2(1, 1), Point2(0, 1)), Segment2(Point2(0, 0), Point2(0, 1))};
  Zarn_2D dt;
  dt.insert(vPoints);
  const size_t numBefore(dt.numberOfPoints());
  EXPECT_EQ(create(dt, vSegments, GetParam()), "");
  ASSERT_TRUE(validCdt(dt, vPoints, vSegments, offLineUlps(0.0)));
  EXPECT_EQ(dt.numberOfPoints(), numBefore);
  EXPECT_EQ(aliveSegments(dt).size(), 16u);
  // Also every hull edge of a random point set.
  Zarn_2D random;
  const std::vector<Point2> vRandom(dt2test::randomPoints(200, 109));
  random.insert(vRandom);
  std::vector<Point2*> vHull;
  random.getConvexHull(true, vHull);
  std::vector<Segment2> vHullSegments;
  for (size_t i = 0; i < vHull.size(); ++i) vHullSegments.emplace_back(*vHull[i], *vHull[(i + 1) % vHull.size()]);
  EXPECT_EQ(create(random, vHullSegments, GetParam()), "");
  ASSERT_TRUE(validCdt(random, vRandom, vHullSegments, allEdgesDelaunay()));
  EXPECT_EQ(random.numberOfPoints(), vRandom.size());
}

/// Segments across the unit square near y = 0.5 whose ends differ by multiples of 1e-12: they
/// cross at angles of about 1e-12, where crossings are badly conditioned.
std::vector<Segment2> nearlyParallelSegments(size_t n, unsigned seed) {
  std::mt19937 rng(seed);
  std::uniform_int_distribution<int> offset(-50, 50);
  std::vector<Segment2> v;
  for (size_t i = 0; i < n; ++i) {
    const double y0(0.5 + 1e-12 * offset(rng));
    v.emplace_back(Point2(0.0, y0), Point2(1.0, 0.5 + 1e-12 * offset(rng)));
  }
  return v;
}

void insertNearlyParallelSegments(size_t numSegments, ConstraintInsertionStrategy cis) {
  const std::vector<Segment2> vSegments(nearlyParallelSegments(numSegments, 110));
  std::vector<Point2> vPoints(dt2test::randomPoints(40, 111));
  vPoints.insert(vPoints.end(), {Point2(-0.1, -0.1), Point2(1.1, -0.1), Point2(1.1, 1.1), Point2(-0.1, 1.1)});
  Zarn_2D dt;
  dt.insert(vPoints);
  const std::string out(create(dt, vSegments, cis));
  expectValidOrReportedAsInaccurate(dt, vPoints, vSegments, cis, out);
  ASSERT_GT(numCrossingPairs(vSegments), numSegments);
  EXPECT_GT(dt.numberOfPoints(), numDistinctInputs(vPoints, vSegments));
}

TEST_P(ConstraintInsertion, NearlyParallelSegments) { insertNearlyParallelSegments(6, GetParam()); }

// 24 such segments. The conforming strategy would need pieces about as short as the distance
// between the segments near their crossings (down to 1e-12 over a length of 1): the library stops
// it with its accuracy error instead of running for minutes.
TEST(ConstrainedInsertion, ManyNearlyParallelSegments) { insertNearlyParallelSegments(24, CIS_CONSTRAINED_DELAUNAY); }

TEST(ConformingInsertion, ManyNearlyParallelSegmentsStopWithTheAccuracyError) { insertNearlyParallelSegments(24, CIS_CONFORMING_DELAUNAY); }

/// Random segments between random points, each kept only when it meets no earlier one.
std::vector<Segment2> nonCrossingSegments(const std::vector<Point2>& vPoints, size_t n, unsigned seed) {
  std::mt19937 rng(seed);
  std::uniform_int_distribution<size_t> pick(0, vPoints.size() - 1);
  std::vector<Segment2> v;
  for (int attempt = 0; attempt < 2000 && v.size() < n; ++attempt) {
    const Segment2 s(vPoints[pick(rng)], vPoints[pick(rng)]);
    if (s.getSrc() == s.getTrg()) continue;
    bool bFree(true);
    for (const Segment2& t : v) {
      std::string how;
      bFree = bFree && !cdttest::detail::meetBeyondSharedEnds(&s.getSrc(), &s.getTrg(), &t.getSrc(), &t.getTrg(), how);
    }
    // meetBeyondSharedEnds recognises shared ends by address: reject shared positions as well.
    for (const Segment2& t : v) {
      for (const Point2* p : {&s.getSrc(), &s.getTrg()}) bFree = bFree && *p != t.getSrc() && *p != t.getTrg();
    }
    if (bFree) v.push_back(s);
  }
  return v;
}

// Without crossings the constrained Delaunay triangulation is unique (random points are in
// general position): one call, one call per segment and the reversed order agree.
TEST_P(ConstraintInsertion, OneCallVersusSeveralCalls) {
  const std::vector<Point2> vPoints(dt2test::randomPoints(400, 114));
  const std::vector<Segment2> vSegments(nonCrossingSegments(vPoints, 40, 115));
  ASSERT_GE(vSegments.size(), 25u);
  Zarn_2D one;
  one.insert(vPoints);
  EXPECT_EQ(create(one, vSegments, GetParam()), "");
  ASSERT_TRUE(validCdt(one, vPoints, vSegments));
  for (bool bReversed : {false, true}) {
    SCOPED_TRACE(bReversed ? "one call per segment, reversed order" : "one call per segment");
    Zarn_2D several;
    several.insert(vPoints);
    std::vector<Segment2> vSoFar;
    for (size_t i = 0; i < vSegments.size(); ++i) {
      vSoFar.push_back(vSegments[bReversed ? vSegments.size() - 1 - i : i]);
      EXPECT_EQ(create(several, {vSoFar.back()}, GetParam()), "");
      if (i % 8 == 0 || i + 1 == vSegments.size()) {
        ASSERT_TRUE(validCdt(several, vPoints, vSoFar));
      }
    }
    if (GetParam() == CIS_CONSTRAINED_DELAUNAY) {
      EXPECT_EQ(dt2test::triangleSignature(several), dt2test::triangleSignature(one));
      EXPECT_EQ(several.numberOfPoints(), vPoints.size());
    }
  }
}

// Grid lines and diagonals on an integer grid: every crossing is an integer or half-integer point,
// so every piece lies exactly on its segment, and (constrained) the new vertices are exactly the
// crossings that are not grid points.
TEST_P(ConstraintInsertion, IntegerGridLinesAndDiagonals) {
  const int n(12);
  const std::vector<Point2> vPoints(dt2test::gridPoints(n, n));
  std::mt19937 rng(116);
  std::uniform_int_distribution<int> coord(0, n - 1);
  std::vector<Segment2> vSegments;
  while (vSegments.size() < 60) {
    const int x0(coord(rng)), y0(coord(rng)), kind(static_cast<int>(vSegments.size() % 4));
    const int len(coord(rng) + 1);
    const int dx(kind == 1 ? 0 : 1), dy(kind == 0 ? 0 : kind == 3 ? -1 : 1);
    const int x1(x0 + dx * len), y1(y0 + dy * len);
    if (x1 < 0 || x1 >= n || y1 < 0 || y1 >= n) continue;
    vSegments.emplace_back(Point2(x0, y0), Point2(x1, y1));
  }
  Zarn_2D dt;
  dt.insert(vPoints);
  for (size_t i = 0; i < vSegments.size(); i += 20) {
    EXPECT_EQ(create(dt, std::vector<Segment2>(vSegments.begin() + i, vSegments.begin() + i + 20), GetParam()), "");
    ASSERT_TRUE(validCdt(dt, vPoints, std::vector<Segment2>(vSegments.begin(), vSegments.begin() + i + 20), offLineUlps(0.0)));
  }
  std::set<std::pair<double, double>> sWant;
  for (const Point2& p : vPoints) sWant.insert(std::make_pair(p.x(), p.y()));
  for (size_t i = 0; i < vSegments.size(); ++i) {
    for (size_t j = i + 1; j < vSegments.size(); ++j) {
      mpq_class x, y;
      if (!properCrossing(vSegments[i], vSegments[j], x, y)) continue;
      ASSERT_EQ(mpq_class(x.get_d()), x);  // half-integers are doubles
      sWant.insert(std::make_pair(x.get_d(), y.get_d()));
    }
  }
  std::vector<Point2*> vVertices;
  dt.getVertexPointers(vVertices);
  std::set<std::pair<double, double>> sHave;
  for (const Point2* p : vVertices) sHave.insert(std::make_pair(p->x(), p->y()));
  ASSERT_GT(sWant.size(), vPoints.size());
  if (GetParam() == CIS_CONSTRAINED_DELAUNAY) {
    EXPECT_EQ(sHave, sWant);
  } else {
    EXPECT_TRUE(std::includes(sHave.begin(), sHave.end(), sWant.begin(), sWant.end()));
  }
}

// ----- The limits of double precision ---------------------------------------------------------

// p0-p1 spans 8 units in the last place at x = 1. q just above and r just below its midpoint make
// every circle through p0 and p1 hold one of them, so p0-p1 is no Delaunay edge and the
// conforming strategy would have to split a piece that double precision cannot split usefully.
TEST(ConformingInsertion, SegmentAtTheLimitOfDoublePrecisionGivesUp) {
  const double u(std::ldexp(1.0, -52));
  const Point2 p0(1.0, 1.0), p1(1.0 + 8 * u, 1.0);
  const Point2 q(1.0 + 4 * u, 1.0 + u), r(1.0 + 4 * u, std::nextafter(1.0, 0.0));
  const std::vector<Point2> vPoints{Point2(0, 0), Point2(2, 0), Point2(2, 2), Point2(0, 2), p0, p1, q, r};
  Zarn_2D dt;
  dt.insert(vPoints);
  ASSERT_TRUE(dt2test::isDelaunayTriangulationOf(dt, vPoints));
  Point2* pQ(vertexAt(dt, q.x(), q.y()));
  Point2* pR(vertexAt(dt, r.x(), r.y()));
  ASSERT_NE(dt.getAdjacentTriangle(pQ, pR), nullptr) << "q-r must cross p0-p1";
  const std::string out(create(dt, {Segment2(p0, p1)}, CIS_CONFORMING_DELAUNAY));
  EXPECT_EQ(out, warningOutput("Dt2::insertSegmentConformingDelaunay()", kGivingUp));
  EXPECT_EQ(dt.numberOfPoints(), vPoints.size());
  // The result is knowingly not conforming: the segment stands unsplit as a constrained edge, which
  // is not Delaunay; the triangulation is valid. Applying again finds it an edge and says nothing.
  ASSERT_EQ(aliveSegments(dt).size(), 1u);
  EXPECT_EQ(allSegments(dt).size(), 1u);
  EXPECT_TRUE(validCdt(dt, vPoints, {Segment2(p0, p1)}));
  EXPECT_FALSE(cdttest::isConstrainedDelaunay(dt, vPoints, {Segment2(p0, p1)}, allEdgesDelaunay()));
  EXPECT_EQ(captureStdout([&] { dt.applyConstraintsAndZones(); }), "");
}

// The same with a segment 1e-15 long in x and y at coordinates near 1, and two points close to its
// sides that keep it from being an edge.
TEST(ConformingInsertion, SegmentOf1e15AtCoordinatesNearOneGivesUp) {
  const Point2 p0(1.0, 1.0), p1(1.0 + 1e-15, 1.0 + 1e-15);
  const std::vector<Point2> vPoints{Point2(0, 0), Point2(2, 0), Point2(2, 2), Point2(0, 2), p0, p1, Point2(1.0 + 0.5e-15, 1.0 + 0.1e-15),
                                    Point2(1.0 + 0.1e-15, 1.0 + 0.6e-15)};
  Zarn_2D dt;
  dt.insert(vPoints);
  ASSERT_EQ(dt.getAdjacentTriangle(vertexAt(dt, p0.x(), p0.y()), vertexAt(dt, p1.x(), p1.y())), nullptr) << "p0-p1 must not be an edge";
  EXPECT_EQ(create(dt, {Segment2(p0, p1)}, CIS_CONFORMING_DELAUNAY), warningOutput("Dt2::insertSegmentConformingDelaunay()", kGivingUp));
  EXPECT_EQ(dt.numberOfPoints(), vPoints.size());
  EXPECT_EQ(allSegments(dt).size(), 1u);
  EXPECT_TRUE(validCdt(dt, vPoints, {Segment2(p0, p1)}));
}

// ----- Triangulation not yet 2D, messages -------------------------------------------------------

TEST_P(ConstraintInsertion, ConstraintsGivenBeforeTheTriangulationIs2D) {
  std::vector<Point2> vPoints;
  for (int i = 0; i <= 6; ++i) vPoints.emplace_back(i, 0.5 * i);  // on one line
  const std::vector<Segment2> vSegments{Segment2(Point2(0, 0), Point2(6, 3)), Segment2(Point2(2, 1), Point2(3, 1.5))};
  for (bool bBulk : {false, true}) {
    SCOPED_TRACE(bBulk ? "bulk insertion makes it 2D" : "single insertion makes it 2D");
    Zarn_2D dt;
    dt.insert(vPoints);
    ConstraintGraph2* pGraph(nullptr);
    EXPECT_EQ(create(dt, vSegments, GetParam(), &pGraph), "");
    ASSERT_NE(pGraph, nullptr);
    EXPECT_FALSE(dt.is2D());
    EXPECT_EQ(dt.numberOfPoints(), vPoints.size());
    EXPECT_EQ(allSegments(dt).size(), 2u);
    EXPECT_EQ(aliveSegments(dt).size(), 2u);

    std::vector<Point2> vMore{Point2(3, -2), Point2(1, 3), Point2(5, 1)};
    if (bBulk) {
      dt.insert(vMore);
    } else {
      dt.insert(vMore[0]);
    }
    ASSERT_TRUE(dt.is2D());
    std::vector<Point2> vAll(vPoints);
    vAll.insert(vAll.end(), vMore.begin(), bBulk ? vMore.end() : vMore.begin() + 1);
    ASSERT_TRUE(validCdt(dt, vAll, vSegments, offLineUlps(0.0)));
    // The long segment runs through five vertices: six pieces, one of them the short segment.
    EXPECT_EQ(aliveSegments(dt).size(), 6u);
    EXPECT_TRUE(dt.isConstraint(vertexAt(dt, 2, 1), vertexAt(dt, 3, 1.5)));
    EXPECT_EQ(dt.numberOfPoints(), vAll.size());
    // Later points keep them.
    const Point2 extra(2.5, 2);
    dt.insert(extra);
    vAll.push_back(extra);
    ASSERT_TRUE(validCdt(dt, vAll, vSegments, offLineUlps(0.0)));
  }
}

TEST(ConstraintMessages, ApplyOnCollinearPointsChangesNothing) {
  Zarn_2D dt;
  for (int i = 0; i < 5; ++i) dt.insert(Point2(i, -i));
  create(dt, {Segment2(Point2(0, 0), Point2(4, -4))}, CIS_CONSTRAINED_DELAUNAY);
  EXPECT_EQ(captureStdout([&] { dt.applyConstraintsAndZones(); }),
            warningOutput("Zarn2D::applyConstraintsAndZones()", "The triangulation is not 2D yet, can't apply the constraints"));
  EXPECT_FALSE(dt.is2D());
  EXPECT_EQ(dt.numberOfPoints(), 5u);
  EXPECT_EQ(dt.numberOfTriangles(), 0u);
  ASSERT_EQ(allSegments(dt).size(), 1u);
  EXPECT_TRUE(allSegments(dt)[0]->isAlive());  // not split at the three vertices on it yet
  Zarn_2D empty;
  EXPECT_EQ(captureStdout([&] { empty.applyConstraintsAndZones(); }),
            warningOutput("Zarn2D::applyConstraintsAndZones()", "The triangulation is not 2D yet, can't apply the constraints"));
}

TEST(ConstraintMessages, EmptySegmentListReturnsNullAndCreatesNothing) {
  Zarn_2D dt;
  const std::vector<Point2> vPoints(dt2test::randomPoints(20, 117));
  dt.insert(vPoints);
  const std::vector<Segment2> vSegments{Segment2(vPoints[0], vPoints[1])};
  create(dt, vSegments, CIS_CONSTRAINED_DELAUNAY);
  const auto signature(dt2test::triangleSignature(dt));
  ConstraintGraph2* pGraph(reinterpret_cast<ConstraintGraph2*>(&dt));
  EXPECT_EQ(create(dt, {}, CIS_CONSTRAINED_DELAUNAY, &pGraph),
            warningOutput("Zarn_2D::createConstraint()", "You have not supplied any segments. Returning NULL!"));
  EXPECT_EQ(pGraph, nullptr);
  EXPECT_EQ(allSegments(dt).size(), 1u);
  EXPECT_EQ(dt2test::triangleSignature(dt), signature);
  ASSERT_TRUE(validCdt(dt, vPoints, vSegments));
}

TEST_P(ConstraintInsertion, SegmentsWithNonFiniteCoordinatesAreSkipped) {
  const double inf(std::numeric_limits<double>::infinity()), nan(std::numeric_limits<double>::quiet_NaN());
  const std::vector<Point2> vPoints(dt2test::randomPoints(40, 118));
  const std::vector<Segment2> vValid{Segment2(Point2(0.1, 0.1), Point2(0.9, 0.8)), Segment2(Point2(0.1, 0.9), Point2(0.8, 0.2))};
  const std::vector<Segment2> vGiven{Segment2(Point2(nan, 0.5), Point2(0.5, 0.5)), vValid[0], Segment2(Point2(0.2, 0.3), Point2(0.4, inf)),
                                     vValid[1], Segment2(Point2(-inf, -inf), Point2(0.3, 0.3))};
  Zarn_2D dt;
  dt.insert(vPoints);
  ConstraintGraph2* pGraph(nullptr);
  const std::string out(create(dt, vGiven, GetParam(), &pGraph));
  ASSERT_NE(pGraph, nullptr);
  EXPECT_EQ(dt2test::countLinesContaining(out, "Dt2::createConstraint(..), WARNING: "), 1u) << out;
  EXPECT_EQ(dt2test::countLinesContaining(out, "WARNING"), 1u) << out;
  ASSERT_TRUE(validCdt(dt, vPoints, vValid));
  std::vector<ConstraintSegment2*> vOriginals;
  pGraph->getOriginalConstraintSegments(vOriginals);
  EXPECT_EQ(vOriginals.size(), 2u);
  // Neither the finite end of a skipped segment nor anything non-finite became a vertex.
  EXPECT_EQ(vertexAt(dt, 0.5, 0.5), nullptr);
  EXPECT_EQ(vertexAt(dt, 0.2, 0.3), nullptr);
  EXPECT_EQ(vertexAt(dt, 0.3, 0.3), nullptr);
}

// ----- Points inserted and removed next to constraints -----------------------------------------

TEST_P(ConstraintInsertion, PointOnAConstraintEdgeSplitsTheSegment) {
  // Nothing inside the circle with diameter (0,0)-(4,2): the segment is a Delaunay edge.
  std::vector<Point2> vPoints{Point2(-1, -1), Point2(5, -1), Point2(5, 3), Point2(-1, 3), Point2(2, 3.5), Point2(1.5, -1.6)};
  const std::vector<Segment2> vSegments{Segment2(Point2(0, 0), Point2(4, 2))};
  Zarn_2D dt;
  dt.insert(vPoints);
  EXPECT_EQ(create(dt, vSegments, GetParam()), "");
  ASSERT_TRUE(validCdt(dt, vPoints, vSegments, offLineUlps(0.0)));
  Point2* pA(vertexAt(dt, 0, 0));
  Point2* pB(vertexAt(dt, 4, 2));
  ConstraintSegment2* pRoot(dt.getConstraintSegment(pA, pB));
  ASSERT_NE(pRoot, nullptr);
  ASSERT_TRUE(pRoot->isAlive()) << "a Gabriel edge: no split expected before the point goes in";

  Point2* pOn(dt.insert(Point2(2, 1)));
  vPoints.emplace_back(2, 1);
  ASSERT_NE(pOn, nullptr);
  ASSERT_TRUE(validCdt(dt, vPoints, vSegments, offLineUlps(0.0)));
  EXPECT_FALSE(pRoot->isAlive());
  ConstraintSegment2 *pKid0(nullptr), *pKid1(nullptr);
  Point2* pSplit(nullptr);
  pRoot->getChildrenAndSplitPoint(pKid0, pKid1, pSplit);
  EXPECT_EQ(pSplit, pOn);
  ASSERT_TRUE(pKid0 != nullptr && pKid1 != nullptr);
  EXPECT_TRUE(pKid0->isAlive());
  EXPECT_TRUE(pKid1->isAlive());
  EXPECT_EQ(aliveSegments(dt).size(), 2u);
  EXPECT_TRUE(dt.isConstraint(pOn));

  // More points on the pieces, in one bulk insertion, and one more single point.
  const std::vector<Point2> vMore{Point2(1, 0.5), Point2(3, 1.5), Point2(0.5, 0.25), Point2(3.5, 1.75)};
  dt.insert(vMore);
  vPoints.insert(vPoints.end(), vMore.begin(), vMore.end());
  ASSERT_TRUE(validCdt(dt, vPoints, vSegments, offLineUlps(0.0)));
  EXPECT_EQ(aliveSegments(dt).size(), 6u);
  dt.insert(Point2(2.5, 1.25));
  vPoints.emplace_back(2.5, 1.25);
  ASSERT_TRUE(validCdt(dt, vPoints, vSegments, offLineUlps(0.0)));
  EXPECT_EQ(aliveSegments(dt).size(), 7u);
  EXPECT_EQ(dt.numberOfPoints(), numDistinctInputs(vPoints, vSegments));
}

TEST_P(ConstraintInsertion, RemovalNextToConstraints) {
  std::vector<Point2> vPoints(dt2test::randomPoints(150, 119));
  const std::vector<Segment2> vSegments{Segment2(Point2(0.1, 0.1), Point2(0.9, 0.85)), Segment2(Point2(0.15, 0.9), Point2(0.85, 0.2)),
                                        Segment2(Point2(0.05, 0.5), Point2(0.95, 0.52))};
  Zarn_2D dt;
  dt.insert(vPoints);
  create(dt, vSegments, GetParam());
  ASSERT_TRUE(validCdt(dt, vPoints, vSegments));

  // Every end of an alive piece (user ends and crossing vertices) is refused.
  const auto signature(dt2test::triangleSignature(dt));
  const size_t numPoints(dt.numberOfPoints()), numAlive(aliveSegments(dt).size());
  std::set<Point2*> sEnds;
  for (ConstraintSegment2* pCSeg : aliveSegments(dt)) {
    sEnds.insert(pCSeg->getSrc());
    sEnds.insert(pCSeg->getTrg());
  }
  for (Point2* pEnd : sEnds) {
    ASSERT_TRUE(dt.isConstraint(pEnd));
    const std::string out(captureStdout([&] { dt.remove(pEnd); }));
    EXPECT_EQ(out.rfind("\n      [Zarn2D-Message] Dt2::remove(..), WARNING: ", 0), 0u) << out;
    EXPECT_EQ(dt2test::countLinesContaining(out, "WARNING"), 1u) << out;
  }
  EXPECT_EQ(dt.numberOfPoints(), numPoints);
  EXPECT_EQ(aliveSegments(dt).size(), numAlive);
  EXPECT_EQ(dt2test::triangleSignature(dt), signature);
  ASSERT_TRUE(validCdt(dt, vPoints, vSegments));

  // Neighbours of constraint vertices that are no constraint vertices go, one at a time.
  std::vector<Point2*> vVictims;
  for (Point2* pEnd : sEnds) {
    std::vector<Point2*> vNeighbours;
    dt.getIncidentVertices(pEnd, vNeighbours);
    for (Point2* q : vNeighbours) {
      if (!dt.isConstraint(q) && std::find(vVictims.begin(), vVictims.end(), q) == vVictims.end()) vVictims.push_back(q);
    }
  }
  ASSERT_GT(vVictims.size(), 20u);
  for (Point2* pVictim : vVictims) {
    const Point2 gone(pVictim->x(), pVictim->y());
    EXPECT_EQ(captureStdout([&] { dt.remove(pVictim); }), "");
    vPoints.erase(std::remove(vPoints.begin(), vPoints.end(), gone), vPoints.end());
    ASSERT_TRUE(validCdt(dt, vPoints, vSegments)) << "after removing " << gone;
    ASSERT_EQ(aliveSegments(dt).size(), numAlive);
  }
  EXPECT_EQ(dt.numberOfPoints(), numPoints - vVictims.size());
}

// ----- Frozen regression inputs ------------------------------------------------------------------

/// One case of tests/inputs (the format is described in tests/inputs/README.md).
struct InputCase {
  std::vector<ConstraintInsertionStrategy> vStrategies;
  std::vector<Point2> vPoints, vExpectedVertices;
  std::vector<std::vector<Segment2>> vCalls{{}};
  double maxUlps = 8.0;
  bool bQuiet = false, bNoGivingUp = false;
  long numVertices = -1, numPieces = -1;
};

InputCase readInputCase(const std::string& path) {
  InputCase c;
  std::istringstream lines(zarn_test::readFile(path));
  std::string line;
  while (std::getline(lines, line)) {
    std::istringstream in(line);
    std::string word;
    if (!(in >> word) || word[0] == '#') continue;
    double x0, y0, x1, y1;
    if (word == "strategy") {
      while (in >> word) c.vStrategies.push_back(word == "conforming" ? CIS_CONFORMING_DELAUNAY : CIS_CONSTRAINED_DELAUNAY);
    } else if (word == "point" && in >> x0 >> y0) {
      c.vPoints.emplace_back(x0, y0);
    } else if (word == "segment" && in >> x0 >> y0 >> x1 >> y1) {
      c.vCalls.back().emplace_back(Point2(x0, y0), Point2(x1, y1));
    } else if (word == "vertex" && in >> x0 >> y0) {
      c.vExpectedVertices.emplace_back(x0, y0);
    } else if (word == "batch" || word == "quiet" || word == "no") {
      if (word == "batch") c.vCalls.emplace_back();
      c.bQuiet = c.bQuiet || word == "quiet";
      c.bNoGivingUp = c.bNoGivingUp || word == "no";
    } else if (!((word == "ulps" && in >> c.maxUlps) || (word == "vertices" && in >> c.numVertices) || (word == "pieces" && in >> c.numPieces))) {
      ADD_FAILURE() << path << ": cannot read the line '" << line << "'";
    }
  }
  return c;
}

/// Runs one input file with each of its strategies.
void runInputCase(const std::string& path) {
  const InputCase c(readInputCase(path));
  ASSERT_FALSE(c.vStrategies.empty()) << path;
  for (ConstraintInsertionStrategy cis : c.vStrategies) {
    SCOPED_TRACE(cis == CIS_CONSTRAINED_DELAUNAY ? "constrained" : "conforming");
    Zarn_2D dt;
    dt.insert(c.vPoints);
    std::vector<Segment2> vSoFar;
    for (const std::vector<Segment2>& vCall : c.vCalls) {
      vSoFar.insert(vSoFar.end(), vCall.begin(), vCall.end());
      const std::string out(create(dt, vCall, cis));
      EXPECT_TRUE(!c.bQuiet || out.empty()) << out;
      EXPECT_TRUE(!c.bNoGivingUp || dt2test::countLinesContaining(out, kGivingUp) == 0) << out;
      ASSERT_TRUE(validCdt(dt, c.vPoints, vSoFar, offLineUlps(c.maxUlps)));
    }
    EXPECT_TRUE(c.numVertices < 0 || dt.numberOfPoints() == static_cast<size_t>(c.numVertices)) << dt.numberOfPoints();
    EXPECT_TRUE(c.numPieces < 0 || aliveSegments(dt).size() == static_cast<size_t>(c.numPieces)) << aliveSegments(dt).size();
    for (const Point2& p : c.vExpectedVertices) EXPECT_NE(vertexAt(dt, p.x(), p.y()), nullptr) << p;
  }
}

TEST(RegressionInputs, EveryFileStaysValid) {
  size_t numFiles(0);
  for (const auto& entry : std::filesystem::directory_iterator(ZARN_TEST_INPUTS)) {
    if (entry.path().extension() != ".cdt") continue;
    ++numFiles;
    SCOPED_TRACE(entry.path().filename().string());
    runInputCase(entry.path().string());
  }
  EXPECT_GE(numFiles, 14u);
}

}  // namespace
