// Vertex removal and the topological queries. The table of degenerate and extreme point sets is
// emptied vertex by vertex or halved and filled again, each result checked exactly against the
// remaining points, and queried along the way: point location (inside, on edges and corners, just
// outside the hull), the star of a vertex in counterclockwise order, adjacent triangles, both convex
// hulls, the bounding box and the enumerations, against exact references. A random mix of insertions
// and removals; the refusals, which warn once and change nothing; the lower-dimensional cases; the
// library's own check.

#include "cdt_test_support.h"

using namespace KORA_ZARN2D;
using namespace dt2test;

namespace {

// A triangulation with the handle of each vertex and the position it should hold.
struct Tracked {
  Zarn_2D dt;
  std::vector<Point2*> vHandles;
  std::vector<Point2> vPoints;

  explicit Tracked(const std::vector<Point2>& v) { insert(v, true); }
  // Inserts v in bulk or one by one: each handle at its point's position, a new position a new vertex.
  void insert(const std::vector<Point2>& v, bool bBulk) {
    std::vector<Point2*> vNew;
    if (bBulk) dt.insert(v, vNew);
    for (size_t i = 0; i < v.size() && !bBulk; ++i) vNew.push_back(dt.insert(v[i]));
    std::set<Point2*> sSeen(vHandles.begin(), vHandles.end());
    for (size_t i = 0; i < v.size(); ++i) {
      EXPECT_TRUE(vNew[i] == nullptr || sameXY(*vNew[i], v[i])) << v[i];
      if (vNew[i] == nullptr || !sSeen.insert(vNew[i]).second) continue;
      vHandles.push_back(vNew[i]);
      vPoints.push_back(v[i]);
    }
  }
  // Removes vertex i; a refusal (one warning, nothing removed) is right only when the rest is collinear, and
  // then it must come: a triangulation never falls back to a line.
  bool removeAt(size_t i) {
    const unsigned numBefore(dt.numberOfPoints());
    const bool b2D(dt.is2D());
    const std::string out(zarn_test::captureStdout([&] { dt.remove(vHandles[i]); }));
    const bool bRemoved(dt.numberOfPoints() < numBefore);
    EXPECT_EQ(zarn_test::countOf(out, ", WARNING: "), bRemoved ? 0u : 1u) << out;
    std::vector<Point2> vRest(vPoints);
    vRest.erase(vRest.begin() + static_cast<long>(i));
    if (!bRemoved) {
      EXPECT_TRUE(allCollinear(vRest)) << "refused " << vPoints[i];
      return false;
    }
    EXPECT_TRUE(!b2D || dt.is2D()) << "removed " << vPoints[i] << " although the rest is collinear";
    vPoints.swap(vRest);
    vHandles.erase(vHandles.begin() + static_cast<long>(i));
    return true;
  }
};

// A refused removal: exactly one warning, which says why, and nothing changes.
void expectRefused(Zarn_2D& dt, Point2* pVtx, const std::string& why) {
  const std::vector<TriangleKey> before(triangleSignature(dt));
  const unsigned numPoints(dt.numberOfPoints());
  const std::string out(zarn_test::captureStdout([&] { dt.remove(pVtx); }));
  EXPECT_TRUE(zarn_test::isTheOnlyWarning(out, "Dt2::remove(..)", why + ", nothing removed"));
  EXPECT_EQ(dt.numberOfPoints(), numPoints);
  EXPECT_TRUE(triangleSignature(dt) == before);
}

// The star of pV must be the exact counterclockwise fan: triangle k is (pV, w_k, w_k+1) with w the
// incident vertices; around an inner vertex the fan closes, around a hull vertex it runs from one
// hull edge to the other.
void expectCounterclockwiseStar(Zarn_2D& dt, Point2* pV, size_t numTriangles, bool bHull) {
  std::vector<Triangle2*> vT;
  std::vector<Point2*> vW;
  dt.getIncidentTriangles(pV, vT);
  dt.getIncidentVertices(pV, vW);
  ASSERT_EQ(vT.size(), numTriangles);
  ASSERT_EQ(vW.size(), vT.size() + (bHull ? 1 : 0));
  for (size_t k = 0; k < vT.size(); ++k) {
    ASSERT_TRUE(vT[k]->hasVertex(pV));
    const int c(vT[k]->getIntraTriangleIndex(pV));
    EXPECT_EQ(vT[k]->getCorner(incIndexBy1(c)), vW[k]) << k;
    EXPECT_EQ(vT[k]->getCorner(incIndexBy2(c)), vW[(k + 1) % vW.size()]) << k;
  }
  EXPECT_TRUE(!bHull || (dt.getAdjacentTriangle(vW.front(), pV) == nullptr && dt.getAdjacentTriangle(pV, vW.back()) == nullptr));
}

// Every query of one triangulation whose vertices are vPoints. Locate answers with a triangle that
// holds q exactly when q is in the closed hull; q runs over random points around the box, the
// vertices, points just outside the hull corners and the midpoints of the edges.
void expectQueriesAgree(Zarn_2D& dt, const std::vector<Point2>& vPoints) {
  const std::vector<Point2> vHull(hullCorners(vPoints));
  const Bbox2 box(vPoints.begin(), vPoints.end());
  const double w(box.get_maxX() - box.get_minX()), h(box.get_maxY() - box.get_minY());
  std::vector<Point2> vQueries(vPoints);
  for (const Point2& t : randomPoints(300, 402, -0.2, 1.2)) vQueries.emplace_back(box.get_minX() + t.x() * w, box.get_minY() + t.y() * h);
  for (const Point2& c : vHull) {
    vQueries.emplace_back(std::nextafter(c.x(), c.x() < 0 ? -1e308 : 1e308), c.y());
    vQueries.emplace_back(c.x(), std::nextafter(c.y(), c.y() < 0 ? -1e308 : 1e308));
  }
  std::vector<Triangle2*> vT(2, nullptr);
  dt.getTrianglePointers(vT);  // appends
  ASSERT_TRUE(vT.size() == dt.numberOfTriangles() + 2 && vT[0] == nullptr);
  std::map<Point2*, size_t> mUses;
  std::set<Point2*> sOnHull;
  for (size_t t = 2; t < vT.size(); ++t) {
    for (int i = 0; i < 3; ++i) {
      Point2 *a(vT[t]->getCorner(incIndexBy1(i))), *b(vT[t]->getCorner(incIndexBy2(i)));
      ++mUses[a];
      if (vT[t]->getOppositeTriangle(i) == nullptr) sOnHull.insert({a, b});
      EXPECT_EQ(dt.getAdjacentTriangle(a, b), vT[t]);
      EXPECT_EQ(dt.getAdjacentTriangle(b, a), vT[t]->getOppositeTriangle(i));
      vQueries.emplace_back(a->x() / 2 + b->x() / 2, a->y() / 2 + b->y() / 2);
    }
  }
  for (const Point2& q : vQueries) {
    if (!std::isfinite(q.x()) || !std::isfinite(q.y())) continue;
    const Triangle2* pT(dt.locate(q));
    EXPECT_TRUE(cdttest::isInConvexPolygon(vHull, q) ? pT != nullptr && cdttest::isInTriangleUpTo(*pT, q, 0.0) : pT == nullptr) << q;
  }
  for (const auto& entry : mUses) expectCounterclockwiseStar(dt, entry.first, entry.second, sOnHull.count(entry.first) > 0);
  std::vector<Point2*> vCorners(1, nullptr), vAll;
  dt.getConvexHull(false, vCorners);  // appends
  dt.getConvexHull(true, vAll);
  const std::vector<Point2> vHave(canonicalCycle(positionsOf(std::vector<Point2*>(vCorners.begin() + 1, vCorners.end()))));
  EXPECT_TRUE(vHave.size() == vHull.size() && std::equal(vHave.begin(), vHave.end(), vHull.begin(), sameXY));
  EXPECT_EQ(vAll.size(), sOnHull.size());
  for (size_t i = 0; i < vAll.size(); ++i) EXPECT_EQ(dt.getAdjacentTriangle(vAll[(i + 1) % vAll.size()], vAll[i]), nullptr) << i;
  const Bbox2 have(dt.computeBoundingBox());
  EXPECT_TRUE(have.getMinPoint() == box.getMinPoint() && have.getMaxPoint() == box.getMaxPoint());
}

}  // namespace

// The small sets are emptied in input order until the rest would be collinear, checked after every
// removal (hull vertices go among the others). The larger ones lose a random half and get all points
// back one by one: in general position the same triangles as a fresh insertion and as before.
// Sets of up to 1000 points are queried as inserted, half emptied (the hull shrinks) and refilled.
TEST(Dt2Remove, EverySetRemovedVertexByVertexOrHalvedAndRefilled) {
  for (const PointSet& set : degenerateAndExtremePointSets()) {
    const bool bLarge(set.vPoints.size() > 400);
    if (bLarge && DT2TEST_SANITIZED && set.vPoints.size() > 5000) continue;
    SCOPED_TRACE(set.name);
    Tracked t(set.vPoints);
    const std::vector<TriangleKey> original(triangleSignature(t.dt));
    const bool bQueried(set.vPoints.size() <= 1000);
    const size_t numHalf(t.vPoints.size() / 2);
    if (bQueried) expectQueriesAgree(t.dt, t.vPoints);
    std::mt19937 rng(202);
    for (size_t numLeft = bLarge ? t.vPoints.size() / 2 : 3; t.vPoints.size() > numLeft;) {
      if (!t.removeAt(bLarge ? rng() % t.vPoints.size() : 0)) break;
      const bool bCheck(!bLarge && (t.vPoints.size() < 60 || t.vPoints.size() % 7 == 0));  // damage stays: every 7th removal finds it
      ASSERT_TRUE(!bCheck || isDelaunayTriangulationOf(t.dt, t.vPoints)) << t.vPoints.size() << " left";
      if (bQueried && t.vPoints.size() == numHalf) expectQueriesAgree(t.dt, t.vPoints);
    }
    EXPECT_DELAUNAY_OF(t.dt, t.vPoints);
    for (size_t i = 0; i < t.vHandles.size(); ++i) ASSERT_TRUE(sameXY(*t.vHandles[i], t.vPoints[i])) << i;
    if (!bLarge) continue;
    Zarn_2D fresh;
    fresh.insert(t.vPoints);
    EXPECT_TRUE(!set.bGeneralPosition || triangleSignature(t.dt) == triangleSignature(fresh));
    for (const Point2& p : set.vPoints) ASSERT_TRUE(sameXY(*t.dt.insert(p), p));
    EXPECT_DELAUNAY_OF(t.dt, set.vPoints);
    EXPECT_TRUE(!set.bGeneralPosition || triangleSignature(t.dt) == original);
    if (bQueried) expectQueriesAgree(t.dt, distinctPositions(set.vPoints));
  }
}

// Single and bulk insertions (various thread counts) and removals of lattice points, checked
// after every operation: repeats, collinear runs, cocircular quadruples, the collinear phase
// and the refusal rule (a removal that would leave no triangle is refused) all interact.
TEST(Dt2Remove, RandomMixOfInsertionsAndRemovalsOnALattice) {
  for (unsigned seed = 0; seed < 30; ++seed) {
    std::mt19937 rng(seed);
    const auto coordinate = [&] { return static_cast<double>(rng() % (4 + seed % 10)); };
    Tracked t({});
    for (int step = 0; step < 250; ++step) {
      SCOPED_TRACE("seed " + std::to_string(seed) + " step " + std::to_string(step));
      const unsigned op(rng() % 10);
      t.dt.setNumCPU(1 + static_cast<int>(rng() % 4));
      std::vector<Point2> v(op < 4 ? 1 : (op < 6 ? 1 + rng() % 40 : 0));
      for (Point2& p : v) p = Point2(coordinate(), coordinate());
      if (op < 6) t.insert(v, op >= 4);
      if (op >= 6 && !t.vPoints.empty()) t.removeAt(rng() % t.vPoints.size());
      ASSERT_TRUE(isDelaunayTriangulationOf(t.dt, t.vPoints)) << "operation " << op;
    }
    EXPECT_TRUE(libraryCheckValidity(t.dt));
  }
}

// Refusals: a null, foreign, stack or removed handle, and a removal that would leave no triangle. Before
// the triangulation is 2D a removed position is free again and does not come back.
TEST(Dt2Remove, RefusalsAndRemovalBeforeTheTriangulationIsTwoDimensional) {
  Tracked t(randomPoints(40, 211)), other(randomPoints(40, 212));
  Point2 onStack(t.vPoints[3].x(), t.vPoints[3].y());  // same position, not a vertex
  const std::string notOurs("The vertex does not belong to this triangulation or has been removed already");
  expectRefused(t.dt, nullptr, "pVtx is NULL");
  for (Point2* p : {other.vHandles[5], &onStack}) expectRefused(t.dt, p, notOurs);
  Point2* pGone(t.vHandles[7]);
  const Point2 position(*pGone);
  t.removeAt(7);
  expectRefused(t.dt, pGone, notOurs);
  if (t.dt.insert(position) != pGone) expectRefused(t.dt, pGone, notOurs);  // the old handle stays dead, the new vertex stays
  EXPECT_DELAUNAY_OF(t.dt, concat(t.vPoints, {position}));
  // Four points on a line and one off it: the off point stays, line ends go until a triangle is left.
  Tracked fan({Point2(0, 0), Point2(1, 0), Point2(2, 0), Point2(3, 0), Point2(1, 1)});
  const std::string collinear("Removing the vertex would leave fewer than three non-collinear vertices");
  expectRefused(fan.dt, fan.vHandles[4], collinear);
  fan.removeAt(0);
  fan.removeAt(2);
  EXPECT_DELAUNAY_OF(fan.dt, fan.vPoints);
  for (Point2* p : fan.vHandles) expectRefused(fan.dt, p, collinear);
  for (const std::vector<Point2>& vLine : {std::vector<Point2>{Point2(0, 0), Point2(1, 1), Point2(2, 2), Point2(3, 3)},
                                           std::vector<Point2>{Point2(1, 1), Point2(2, 2)}}) {
    Tracked line(vLine);
    line.removeAt(1);
    line.dt.insert(std::vector<Point2>{Point2(0, 5), vLine[1]});
    EXPECT_DELAUNAY_OF(line.dt, concat(vLine, {Point2(0, 5)}));
  }
}

// Before the triangulation is 2D: nothing to locate, no star, the hull is the line's ends (or
// all its points in order), the box holds the points. Removed and null vertices have no star.
TEST(Dt2Queries, LowerDimensionalAndRemovedVertices) {
  Zarn_2D dt, removed;
  std::vector<Point2*> vHull, vHandles, vRemoved;
  dt.getConvexHull(false, vHull);
  EXPECT_TRUE(vHull.empty() && !dt.computeBoundingBox().isValid());
  vHandles.push_back(dt.insert(Point2(2, 1)));
  dt.getConvexHull(false, vHull);
  EXPECT_EQ(vHull, vHandles);
  for (const Point2& p : {Point2(6, 3), Point2(-2, -1), Point2(4, 2)}) vHandles.push_back(dt.insert(p));
  EXPECT_EQ(dt.locate(Point2(2, 1)), nullptr);
  EXPECT_TRUE(dt.computeBoundingBox().getMinPoint() == Point2(-2, -1) && dt.computeBoundingBox().getMaxPoint() == Point2(6, 3));
  for (std::vector<Point2*> vForward : {std::vector<Point2*>{vHandles[2], vHandles[1]}, {vHandles[2], vHandles[0], vHandles[3], vHandles[1]}}) {
    vHull.clear();
    dt.getConvexHull(vForward.size() == 4, vHull);
    EXPECT_TRUE(vHull == vForward || vHull == std::vector<Point2*>(vForward.rbegin(), vForward.rend())) << vForward.size();
  }
  removed.insert(randomPoints(60, 413), vRemoved);
  removed.remove(vRemoved[10]);
  std::vector<Triangle2*> vT;
  std::vector<Point2*> vW;
  for (Point2* p : {vRemoved[10], static_cast<Point2*>(nullptr)}) {
    removed.getIncidentTriangles(p, vT);
    removed.getIncidentVertices(p, vW);
    dt.getIncidentTriangles(p == nullptr ? vHandles[0] : p, vT);
    dt.getIncidentVertices(p == nullptr ? vHandles[0] : p, vW);
  }
  EXPECT_TRUE(vT.empty() && vW.empty());
  EXPECT_TRUE(removed.getAdjacentTriangle(vRemoved[10], vRemoved[11]) == nullptr && removed.getAdjacentTriangle(nullptr, vRemoved[11]) == nullptr);
}

// The library's own check must notice each kind of damage. The quadrilateral A B C D (D above A)
// is triangulated with the diagonal A-C; each case damages it in one way (the first breaks only the
// empty-circle property).
TEST(Dt2Validity, EachKindOfDamageIsReported) {
  const char* const aReports[] = {"edge is not locally Delaunay", "neighbour links are not symmetric",
                                  "vertex without a valid incident triangle", "not strictly counterclockwise"};
  for (int damage = 0; damage < 4; ++damage) {
    Zarn_2D dt;
    std::vector<Point2*> vH;
    dt.insert(std::vector<Point2>{Point2(0, 0), Point2(4, 0), Point2(4, 1), Point2(0, 1.1)}, vH);
    Point2* pD(vH[3]);
    Triangle2* pWithD(pD->getIncidentTriangle());
    Triangle2* pOther(pWithD->getOppositeTriangle(pWithD->getIntraTriangleIndex(pD)));
    ASSERT_NE(pOther, nullptr) << "expected the diagonal A-C";
    if (damage == 0) *pD = Point2(0.0, 0.9);  // the copy loses the incident triangle
    if (damage == 0 || damage == 2) pD->setIncidentTriangle(damage == 0 ? pWithD : pOther);
    if (damage == 1) pWithD->setOppTriangle(pWithD->getIntraTriangleIndex(pOther), nullptr);
    if (damage == 3) pWithD->setProperties(pWithD->getCorner(0), pWithD->getCorner(2), pWithD->getCorner(1));
    const std::string report(zarn_test::captureStdout([&] { EXPECT_FALSE(dt.checkValidity(true, "damaged")) << aReports[damage]; }));
    EXPECT_NE(report.find(aReports[damage]), std::string::npos) << report;
    EXPECT_TRUE(damage != 0 || dt.checkValidity(false, "damaged"));
  }
}
