// Constraint graphs, their segments and the constraint manager: polygon recognition and reading
// directions, the split tree of both split operations and the bookkeeping of split pieces (random
// graphs through many splits, insertions and removals), conforming subdivision by makeDelaunay,
// shared segments, labels, the printed form, the messages, the guarded misuse and the dumps.
#include <unistd.h>

#include <filesystem>

#include "cdt_test_support.h"
#include "test_support.h"
#include "zone_test_support.h"

using namespace KORA_ZARN2D;
using namespace dt2test;
using namespace cdttest;
using zonetest::ring;
using zarn_test::captureStdout;
using zarn_test::expectFailedCondition;

namespace {

/// createConstraint, then the library's validity check.
ConstraintGraph2* constrain(Zarn_2D& dt, std::vector<Segment2> vSegments, bool bOriented = false) {
  ConstraintGraph2* pGraph(dt.createConstraint(vSegments, CIS_CONSTRAINED_DELAUNAY, bOriented));
  EXPECT_TRUE(libraryCheckValidity(dt));
  return pGraph;
}

/// The edge {p, q} is no Delaunay edge: the apex of one triangle beside it lies strictly inside the
/// circumcircle of the other (the exact test of the oracle).
bool isEncroached(const Zarn_2D& dt, Point2* p, Point2* q) {
  Triangle2* pLeft(dt.getAdjacentTriangle(p, q));  // p, q counterclockwise in it: the edge opposite the corner after q
  return pLeft != nullptr && dt2test::detail::isNotLocallyDelaunay(pLeft, incIndexBy2(pLeft->getIntraTriangleIndex(p)));
}

}  // namespace

// ----- Polygon recognition and reading directions ------------------------------------------

// For input in any order and with any directions: a polygon's ring runs counterclockwise from the
// smallest x (then the smallest y), its original segments follow the ring, and the ring lists the
// vertex each segment is read from (along the ring, or in the user's direction when directed).
// Anything else is no polygon and keeps the input order.
TEST(ConstraintGraphPolygon, RingAndReadingDirectionsForInputInAnyOrder) {
  struct Case {
    const char* name;
    std::vector<Segment2> vSegments;
    std::vector<Point2> vRing;  // counterclockwise from the expected first vertex; empty: no polygon
    bool bOverlap = false;      // segments overlap: one is split at the end of another
  };
  const auto polygon = [](const char* name, const std::vector<Point2>& vRing) { return Case{name, ring(vRing, true), vRing}; };
  std::vector<Segment2> vTwoTriangles(ring({Point2(0, 0), Point2(2, 0), Point2(1, 2)}, true));
  for (const Segment2& s : ring({Point2(5, 0), Point2(7, 0), Point2(6, 2)}, true)) vTwoTriangles.push_back(s);
  const std::vector<Case> vCases{
      polygon("triangle", {Point2(0, 0), Point2(4, 1), Point2(1, 3)}),
      polygon("tie in x", {Point2(0, 0), Point2(3, 0), Point2(3, 2), Point2(0, 2)}),
      polygon("lowest x is not lowest y", {Point2(0, 5), Point2(2, 0), Point2(4, 6)}),
      polygon("non-convex", {Point2(-1, 1), Point2(0, -3), Point2(2, 0), Point2(0, 0.5)}),
      polygon("tie in x, reflex corner", {Point2(1, -2), Point2(5, -2), Point2(5, 2), Point2(3, 0), Point2(1, 2)}),
      {"one segment", ring({Point2(0, 0), Point2(3, 0)}, false), {}},
      {"two segments", ring({Point2(0, 0), Point2(3, 0), Point2(3, 3)}, false), {}},
      {"open chain of three", ring({Point2(0, 0), Point2(3, 0), Point2(3, 3), Point2(0, 3)}, false), {}},
      {"lowest vertex collinear with both neighbours", ring({Point2(0, 0), Point2(1, 1), Point2(3, 0), Point2(2, 2)}, true), {}, true},
      {"figure eight through an inner vertex",
       ring({Point2(0, 0), Point2(2, 2), Point2(4, 0), Point2(4, 4), Point2(2, 2), Point2(0, 4)}, true), {}},
      {"figure eight through the lowest vertex",
       ring({Point2(0, 0), Point2(3, 1), Point2(3, 3), Point2(0, 0), Point2(3, -1), Point2(3, -3)}, true), {}},
      {"two disjoint triangles", vTwoTriangles, {}},
  };
  for (const Case& c : vCases) {
    SCOPED_TRACE(c.name);
    Zarn_2D dt;
    insertPoints(dt, {Point2(-2, -4), Point2(8, -4), Point2(8, 7), Point2(-2, 7)});
    const auto vertex = [&](const Point2& p) { return vertexAt(dt, p.x(), p.y()); };
    const auto segmentOf = [&](const Segment2& s) { return dt.getConstraintSegment(vertex(s.getSrc()), vertex(s.getTrg())); };
    for (unsigned variant = 0; variant < 6; ++variant) {  // as given, reversed, then shuffled with random directions
      std::vector<Segment2> vInput(c.vSegments);
      std::mt19937 rng(variant);
      if (variant == 1) std::reverse(vInput.begin(), vInput.end());
      if (variant > 1) std::shuffle(vInput.begin(), vInput.end(), rng);
      for (Segment2& s : vInput) s = variant == 1 || (variant > 1 && rng() % 2 == 0) ? Segment2(s.getTrg(), s.getSrc()) : s;
      for (bool bOriented : {false, true}) {
        SCOPED_TRACE("variant " + std::to_string(variant) + (bOriented ? ", directed" : ""));
        ConstraintGraph2* pGraph(constrain(dt, vInput, bOriented));
        ASSERT_NE(pGraph, nullptr);
        EXPECT_EQ(pGraph->isOriented(), bOriented);
        ASSERT_EQ(pGraph->isPolygon(), !c.vRing.empty());
        std::map<ConstraintSegment2*, Point2*> mInputStart;
        for (const Segment2& s : vInput) mInputStart[segmentOf(s)] = vertex(s.getSrc());
        const std::vector<Segment2> vWant(c.vRing.empty() ? vInput : ring(c.vRing, true));
        const std::vector<ConstraintSegment2*> vOriginals(originals(pGraph));
        ASSERT_EQ(vOriginals.size(), vWant.size());
        for (size_t i = 0; i < vWant.size() && !c.bOverlap; ++i) {
          EXPECT_EQ(vOriginals[i], segmentOf(vWant[i])) << i;
          Point2* pStart(bOriented ? mInputStart[vOriginals[i]] : vertex(vWant[i].getSrc()));
          EXPECT_TRUE((!bOriented && c.vRing.empty()) || readingStart(pGraph, vOriginals[i]) == pStart) << i;
        }
      }
    }
    EXPECT_TRUE(isBookkeepingConsistent(dt));  // with the ring of each polygon
    EXPECT_TRUE(c.bOverlap || allSegments(dt).size() == c.vSegments.size());
  }
}

// ----- Split pieces ------------------------------------------------------------------------

// Polygons and polylines on a small grid (directed or not, some over the segments of an earlier
// graph), then points on their pieces (split, single and bulk insertion), and crossing segments;
// after every step a random vertex is removed (refused at the end of a constraint piece). The
// triangulation passes the exact oracle and the bookkeeping agrees with the split trees throughout.
TEST(ConstraintGraphBookkeeping, RandomGraphsStayConsistentThroughSplits) {
  for (unsigned seed = 0; seed < 30; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 rng(seed);
    std::uniform_int_distribution<int> coord(0, 8);
    const auto gridPoint = [&] { return Point2(coord(rng), coord(rng)); };
    std::vector<Point2> vPoints;
    for (int i = 0; i < 20; ++i) vPoints.push_back(gridPoint());
    Zarn_2D dt;
    dt.insert(vPoints);
    std::vector<Segment2> vAll, vLast;
    const auto step = [&](const std::vector<Segment2>& vSegments, bool bOriented) {
      std::vector<Segment2> v(vSegments);
      std::shuffle(v.begin(), v.end(), rng);
      for (Segment2& s : v) s = rng() % 2 == 0 ? Segment2(s.getTrg(), s.getSrc()) : s;
      captureStdout([&] { dt.createConstraint(v, CIS_CONSTRAINED_DELAUNAY, bOriented); });
      vAll.insert(vAll.end(), v.begin(), v.end());
      vLast = vSegments;
    };
    for (int g = 0; g < 6; ++g) {
      const int kind(static_cast<int>(rng() % 4));
      if (kind == 0 && !vLast.empty()) {
        step(vLast, rng() % 2 == 0);  // the same segments again
      } else if (kind == 3) {
        for (int i = 0; i < 3; ++i) {  // points on pieces
          const std::vector<ConstraintSegment2*> vAlive(aliveSegments(dt));
          if (vAlive.empty()) break;
          ConstraintSegment2* pCSeg(vAlive[rng() % vAlive.size()]);
          const Point2 mid(0.5 * (pCSeg->getSrc()->x() + pCSeg->getTrg()->x()), 0.5 * (pCSeg->getSrc()->y() + pCSeg->getTrg()->y()));
          if (i == 0) pCSeg->insertAndSplit(mid);
          if (i == 1) dt.insert(mid);
          if (i == 2) dt.insert(std::vector<Point2>{mid});
          vPoints.push_back(mid);
        }
      } else {
        // A star-shaped ring around its first corner, or an open chain.
        std::vector<Point2> vCorners;
        for (int i = 0, n = 3 + static_cast<int>(rng() % 3); i < n; ++i) vCorners.push_back(gridPoint());
        const Point2 o(vCorners[0]);
        std::sort(vCorners.begin() + 1, vCorners.end(), [&](const Point2& p, const Point2& q) {
          return std::atan2(p.y() - o.y(), p.x() - o.x()) < std::atan2(q.y() - o.y(), q.x() - o.x());
        });
        step(ring(vCorners, kind == 1), rng() % 2 == 0);
      }
      ASSERT_TRUE(validCdt(dt, vPoints, vAll)) << g;
      ASSERT_TRUE(isBookkeepingConsistent(dt)) << g;
      // A random vertex goes, unless it ends a constraint piece: then it stays, with a warning.
      std::vector<Point2*> vVertices(dt2test::verticesOf(dt));
      Point2* pVictim(vVertices[rng() % vVertices.size()]);
      const Point2 gone(*pVictim);
      const bool bKept(dt.isConstraint(pVictim));
      const std::string refusal(zarn_test::warned("Dt2::remove(..)", "The vertex is an endpoint of a constraint segment, nothing removed"));
      EXPECT_EQ(captureStdout([&] { dt.remove(pVictim); }), bKept ? refusal : "");
      EXPECT_EQ(dt.numberOfPoints(), vVertices.size() - !bKept);
      if (!bKept) vPoints.erase(std::remove(vPoints.begin(), vPoints.end(), gone), vPoints.end());
      ASSERT_TRUE(validCdt(dt, vPoints, vAll)) << "after removing " << gone;
    }
  }
}

// ----- makeDelaunay ------------------------------------------------------------------------

// A constraint forced through close points above and below it: its pieces stay encroached until
// they are short compared with the distance 0.4 of those points. makeDelaunay splits until no piece
// is encroached (true), or leaves encroached, and unsplit, the pieces shorter than minLength
// (false); a second call has nothing to do.
TEST(ConstraintGraphMakeDelaunay, SplitsEncroachedPiecesDownToTheMinimumLength) {
  std::vector<Point2> vPoints{Point2(0, 0), Point2(16, 0)};
  for (double x : {1.5, 5.5, 9.5, 13.5}) vPoints.insert(vPoints.end(), {Point2(x, 0.4), Point2(x + 0.25, -0.4)});
  const std::vector<Segment2> vSegments{Segment2(Point2(0, 0), Point2(16, 0))};
  for (double minLength : {100.0, 3.0, 0.0}) {
    SCOPED_TRACE(minLength);
    Zarn_2D dt;
    insertPoints(dt, vPoints);
    ConstraintGraph2* pGraph(constrain(dt, vSegments));
    ASSERT_TRUE(isEncroached(dt, aliveSegments(dt).at(0)->getSrc(), aliveSegments(dt)[0]->getTrg()));
    EXPECT_EQ(pGraph->makeDelaunay(minLength), minLength == 0.0);
    EXPECT_TRUE(isConstrainedDelaunay(dt, vPoints, vSegments, CdtCheckOptions{minLength == 0.0}));  // constraint edges too at 0
    EXPECT_EQ(aliveSegments(dt).size() > 4u, minLength < 100.0);
    size_t numEncroached(0);
    for (ConstraintSegment2* pPiece : aliveSegments(dt)) {
      const double length(std::fabs(pPiece->getTrg()->x() - pPiece->getSrc()->x()));
      const bool bEncroached(isEncroached(dt, pPiece->getSrc(), pPiece->getTrg()));
      EXPECT_FALSE(bEncroached && length >= minLength) << "piece of length " << length;
      EXPECT_TRUE(aliveSegments(dt).size() == 1u || 2 * length >= minLength) << "a piece below minLength was split: " << length;
      numEncroached += bEncroached;
    }
    EXPECT_EQ(numEncroached > 0, minLength > 0.0);
    const unsigned numPoints(dt.numberOfPoints());
    EXPECT_EQ(pGraph->makeDelaunay(minLength), minLength == 0.0);
    EXPECT_TRUE(libraryCheckValidity(dt));
    EXPECT_EQ(dt.numberOfPoints(), numPoints);
  }
}

// ----- Constraint manager ------------------------------------------------------------------

// A graph given a segment in both directions holds it once; a segment of another graph has no
// direction in it.
TEST(ConstraintMgrRegistry, SegmentsGivenTwiceAndForeignSegments) {
  Zarn_2D dt;
  const std::vector<Point2*> v(insertPoints(dt, {Point2(0, 0), Point2(4, 1), Point2(1, 3)}));
  ConstraintGraph2* pGraph(constrain(dt, {Segment2(Point2(1, 3), Point2(4, 1)), Segment2(Point2(4, 1), Point2(1, 3))}, true));
  EXPECT_EQ(originals(pGraph), std::vector<ConstraintSegment2*>{dt.getConstraintSegment(v[1], v[2])});
  ASSERT_NE(constrain(dt, {Segment2(Point2(1, 3), Point2(0, 0))}), nullptr);
  expectFailedCondition("q_it!=mCSegReverse.end()", [&] { pGraph->isReverse(dt.getConstraintSegment(v[0], v[2])); });
}

// A segment from a point to itself: one warning each (with the pair on the console and in the
// log, which holds the last), its point still goes in, the rest of the graph is kept.
TEST(ConstraintMgrRegistry, SegmentFromAPointToItselfIsSkippedWithAWarning) {
  Zarn_2D dt;
  insertPoints(dt, {Point2(0, 0), Point2(4, 0), Point2(0, 4)});
  ConstraintGraph2* pGraph(nullptr);
  const std::vector<Segment2> vSegments{Segment2(Point2(1.5, 2.5), Point2(1.5, 2.5)), Segment2(Point2(0, 0), Point2(4, 0)),
                                        Segment2(Point2(4, 0), Point2(4, 0))};
  const std::string out(create(dt, vSegments, CIS_CONSTRAINED_DELAUNAY, &pGraph));
  const std::string msg("(0) Identical source and endpoint, a constraint segment has been skipped.");
  EXPECT_EQ(out.find(zarn_test::warned("ConstraingMgr::createConstraint", msg) + "Point2 (1.5,2.5):  <-> Point2 (1.5,2.5): \n"), 0u) << out;
  EXPECT_EQ(zarn_test::countOf(out, msg), 2u) << out;
  EXPECT_EQ(zarn_test::readFile("ZARN_LOG.txt"), "Point2 (4,0):  <-> Point2 (4,0): \n");
  EXPECT_TRUE(validCdt(dt, {Point2(0, 0), Point2(4, 0), Point2(0, 4), Point2(1.5, 2.5)}, {vSegments[1]}));
  ASSERT_NE(pGraph, nullptr);
  ASSERT_EQ(originals(pGraph).size(), 1u);
  EXPECT_EQ(aliveSegments(dt), originals(pGraph));
  EXPECT_EQ(allSegments(dt).size(), 1u);
}

TEST(ConstraintMgrApply, UnknownStrategyThroughTheFacadeIsReportedAtOnce) {
  Zarn_2D dt;
  insertPoints(dt, {Point2(0, 0), Point2(10, 0), Point2(5, 0.5), Point2(5, -0.5)});
  ConstraintGraph2* pGraph(nullptr);
  EXPECT_EQ(create(dt, {Segment2(Point2(0, 0), Point2(10, 0))}, static_cast<ConstraintInsertionStrategy>(7), &pGraph),
            zarn_test::reported("ConstraintMgr::apply()", "ERROR", "Unknown CIS"));
  ASSERT_NE(pGraph, nullptr);
  EXPECT_EQ(pGraph->getInsertionStrategy(), static_cast<ConstraintInsertionStrategy>(7));
  EXPECT_TRUE(originals(pGraph)[0]->isAlive());
  EXPECT_EQ(dt.numberOfPoints(), 4u);
  // The library's check finds exactly one defect: the alive segment that is no edge.
  bool bValid(true);
  const std::string report(captureStdout([&] { bValid = dt.checkValidity(true, "unplaced segment"); }));
  EXPECT_FALSE(bValid);
  EXPECT_EQ(zarn_test::countOf(report, "defect: "), 1u) << report;
  EXPECT_EQ(zarn_test::countOf(report, "defect: alive constraint segment is not an edge"), 1u) << report;
}

// ----- Constraint dumps ------------------------------------------------------------------------

// A square polygon split by a crossing segment (in a second graph) and by a point on a side, with
// coordinates that need all 17 digits. Both dumps write one file per graph holding its alive pieces
// in ring order, coordinates exact: the binary one (a segment file) and the tab-separated text.
TEST(ConstraintMgrDumps, DumpsHoldTheAlivePiecesOfEachGraphExactly) {
  const double t(1.0 / 3.0);
  const std::vector<Point2> vSquare{Point2(0.1, 0.1), Point2(3 + t, 0.1), Point2(3 + t, 3.7), Point2(0.1, 3.7)};
  Zarn_2D dt;
  insertPoints(dt, vSquare);
  ConstraintGraph2* pSquare(constrain(dt, ring(vSquare, true)));
  ConstraintGraph2* pCross(constrain(dt, {Segment2(Point2(1 + t, 2 * t), Point2(4.9, 1 + t))}));
  ASSERT_NE(dt.insert(Point2(1.7, 3.7)), nullptr);
  ConstraintMgr* pMgr(dt.getImpl()->getConstraintMgr());
  const std::string base(::testing::TempDir() + "zarn_dump_" + std::to_string(::getpid()));
  const std::string out(captureStdout([&] { pMgr->writeConstraintsBIN(base); pMgr->writeConstraints(base); }));
  const std::vector<ConstraintGraph2*> vGraphs{pSquare, pCross};
  for (size_t i = 0; i < vGraphs.size(); ++i) {
    std::vector<ConstraintSegment2*> vPieces;  // the originals in order, a split one by its leaves
    for (ConstraintSegment2* pCSeg : originals(vGraphs[i])) pCSeg->isAlive() ? vPieces.push_back(pCSeg) : pCSeg->getChildrenRec(vPieces);
    EXPECT_EQ(vPieces.size(), i == 0 ? 6u : 2u);  // four sides, two of them split; the crossing segment split once
    const std::string binName(base + "_c" + std::to_string(i) + "_con.bin"), textName(base + "_c" + std::to_string(i) + ".con");
    ASSERT_EQ(zarn_test::readFile(binName).size(), 12 + 32 * vPieces.size());  // the header: see the file tests
    std::vector<Segment2> vRead;
    ASSERT_TRUE(readSegmentsBIN(binName.c_str(), vRead));
    const std::vector<std::string> vLines(zarn_test::splitLines(zarn_test::readFile(textName)));
    ASSERT_TRUE(vRead.size() == vPieces.size() && vLines.size() == vPieces.size()) << vRead.size() << " " << vLines.size();
    for (size_t k = 0; k < vPieces.size(); ++k) {
      const Point2 &src(*vPieces[k]->getSrc()), &trg(*vPieces[k]->getTrg());
      EXPECT_TRUE(vRead[k].getSrc() == src && vRead[k].getTrg() == trg) << k;
      std::istringstream have(vLines[k]);
      double x0, y0, x1, y1;
      std::string rest;
      EXPECT_TRUE(have >> x0 >> y0 >> x1 >> y1 && !(have >> rest) && Point2(x0, y0) == src && Point2(x1, y1) == trg) << vLines[k];
      EXPECT_EQ(std::count(vLines[k].begin(), vLines[k].end(), '\t'), 3) << vLines[k];
    }
    for (const std::string& name : {binName, textName}) {
      EXPECT_NE(out.find("writes " + std::to_string(vPieces.size()) + " child segments to " + name + "\n"), std::string::npos) << out;
      std::filesystem::remove(name);
    }
  }
  EXPECT_FALSE(std::filesystem::exists(base + "_c2_con.bin") || std::filesystem::exists(base + "_c2.con"));
}

// ----- Constraint segments -----------------------------------------------------------------

// Every segment constructed takes the next label (a failed construction and the pair query of a
// graph too; an existing pair constructs nothing); the printed form shows label, addresses, state,
// points and length; a segment splits only within a triangulation.
TEST(ConstraintSegmentLabel, LabelsPrintedFormAndSplitsOutsideATriangulation) {
  Point2 a[3] = {Point2(0.5, -1.25), Point2(3.5, 2.75), Point2(2, 0.75)};
  const auto nextLabel = [&] { return ConstraintSegment2(&a[0], &a[2], CIS_CONFORMING_DELAUNAY).getLabel(); };
  ConstraintSegment2 s0(&a[0], &a[1], CIS_CONSTRAINED_DELAUNAY);
  EXPECT_EQ(nextLabel(), s0.getLabel() + 1);
  // The label is taken before the address check.
  expectFailedCondition("p0<p1", [&] { ConstraintSegment2 reversed(&a[1], &a[0], CIS_CONSTRAINED_DELAUNAY); });
  EXPECT_EQ(zarn_test::readFile("ZARN_LOG.txt"), "Zarn, Condition [ p0<p1 failed ]\n");
  expectFailedCondition("p0<p1", [&] { ConstraintSegment2 degenerate(&a[0], &a[0], CIS_CONSTRAINED_DELAUNAY); });
  Zarn_2D dt;
  const std::vector<Point2*> v(insertPoints(dt, {Point2(0, 0), Point2(4, 0), Point2(0, 4), Point2(5, 5)}));
  ConstraintMgr* pMgr(dt.getImpl()->getConstraintMgr());
  ConstraintSegment2* pNew(pMgr->getOrCreateSegment(v[1], v[0], CIS_CONSTRAINED_DELAUNAY));
  EXPECT_EQ(pNew->getLabel(), s0.getLabel() + 4);
  // An existing pair, in either order, is handed out again and constructs nothing.
  EXPECT_EQ(pMgr->getOrCreateSegment(v[0], v[1], CIS_CONFORMING_DELAUNAY), pNew);
  EXPECT_EQ(pNew->getCIS(), CIS_CONSTRAINED_DELAUNAY);
  EXPECT_EQ(nextLabel(), pNew->getLabel() + 1);
  // The pair query of a graph builds a temporary segment: one label, member or not.
  std::vector<Segment2> vSegments{Segment2(Point2(0, 4), Point2(4, 0))};
  ConstraintGraph2* pGraph(dt.createConstraint(vSegments, CIS_CONSTRAINED_DELAUNAY));
  const int before(nextLabel());
  EXPECT_TRUE(pGraph->isConstraint(v[2], v[1]));
  EXPECT_FALSE(pGraph->isConstraint(v[0], v[3]));
  EXPECT_EQ(nextLabel(), before + 3);
  std::ostringstream head;
  head << "ConstraintSegment2 label " << s0.getLabel() << ", " << static_cast<const void*>(&s0) << ": ("
       << static_cast<const void*>(&a[0]) << "," << static_cast<const void*>(&a[1]) << ")";
  EXPECT_EQ(::testing::PrintToString(s0), head.str() + " [alive]\nPoint2 (0.5, -1.25)\nPoint2 (3.5, 2.75)\nlength=5");
  s0.setDead();
  EXPECT_EQ(::testing::PrintToString(s0), head.str() + " [DEAD, numChildren=0]\nPoint2 (0.5, -1.25)\nPoint2 (3.5, 2.75)\nlength=5");
  s0.setAlive();
  // Split only within a triangulation.
  expectFailedCondition("!sOwners.empty()", [&] { s0.insertAndSplit(a[2]); });
  expectFailedCondition("!sOwners.empty()", [&] { s0.split_combinatorialOnly(&a[2]); });
  EXPECT_TRUE(s0.isAlive());
}

// A constraint A-B forced through the Delaunay edge C-D, then split at S: the children are alive
// constraint edges, and S-B is no Delaunay edge (D lies in the circle of S, B, C), so the Delaunay
// repair around S must leave the constraint alone. The pending segment E-F runs through the vertex
// M: its bookkeeping is split there without touching the triangulation, and the flag stays set (a
// second split fails on the children).
//
//   E (0,3) ------ M (5,3) ------ F (10,3)
//              C (5, 0.5)
//   A (0,0) ------ S (2,0) ------ B (10,0)
//              D (5,-0.5)
TEST(ConstraintSegmentSplit, BothSplitsBuildTheTreeAndRefuseMisuse) {
  const std::vector<Point2> vPoints{Point2(0, 0),  Point2(10, 0), Point2(5, 0.5), Point2(5, -0.5),
                                    Point2(0, 3), Point2(10, 3), Point2(5, 3)};
  const std::vector<Segment2> vSegments{Segment2(vPoints[0], vPoints[1]), Segment2(vPoints[4], vPoints[5])};
  Zarn_2D dt;
  const std::vector<Point2*> v(insertPoints(dt, vPoints));
  create(dt, {vSegments[0]}, CIS_CONSTRAINED_DELAUNAY);
  ConstraintSegment2* pAB(dt.getConstraintSegment(v[0], v[1]));
  ASSERT_NE(pAB, nullptr);
  Point2* pSplit(pAB->insertAndSplit(Point2(2, 0)));
  ASSERT_TRUE(pSplit != nullptr && *pSplit == Point2(2, 0));
  EXPECT_FALSE(isEdge(dt, v[2], v[3]));
  std::vector<ConstraintSegment2*> vLeaves{pAB};  // getChildrenRec appends to what the caller has
  pAB->getChildrenRec(vLeaves);
  EXPECT_EQ(vLeaves, (std::vector<ConstraintSegment2*>{pAB, dt.getConstraintSegment(v[0], pSplit), dt.getConstraintSegment(v[1], pSplit)}));
  expectFailedCondition("bAlive", [&] { pAB->insertAndSplit(Point2(4, 0)); });

  dt.getImpl()->getConstraintMgr()->createConstraint({std::make_pair(v[5], v[4])}, CIS_CONSTRAINED_DELAUNAY, false, false);
  ConstraintSegment2* pEF(dt.getConstraintSegment(v[4], v[5]));
  ASSERT_NE(pEF, nullptr);
  expectFailedCondition("pSplit!=0", [&] { pEF->split_combinatorialOnly(nullptr); });
  expectFailedCondition("p0!=pSplit && p1!=pSplit", [&] { pEF->split_combinatorialOnly(pEF->getTrg()); });
  EXPECT_TRUE(pEF->isAlive());
  const std::vector<TriangleKey> signature(triangleSignature(dt));
  EXPECT_TRUE(pEF->split_combinatorialOnly(v[6]));
  EXPECT_EQ(triangleSignature(dt), signature);
  std::vector<ConstraintSegment2*> vEF;
  pEF->getChildrenRec(vEF);
  EXPECT_EQ(vEF, (std::vector<ConstraintSegment2*>{dt.getConstraintSegment(pEF->getSrc(), v[6]), dt.getConstraintSegment(pEF->getTrg(), v[6])}));
  const std::string out(expectFailedCondition("vChildren.empty()", [&] { pEF->insertAndSplit(Point2(1, 3)); }));
  EXPECT_EQ(out.find("Condition [ bAlive failed ]"), std::string::npos) << out;
  expectFailedCondition("isAlive()", [&] { pEF->split_combinatorialOnly(v[6]); });
  EXPECT_TRUE(validCdt(dt, vPoints, vSegments));
  EXPECT_TRUE(isBookkeepingConsistent(dt));
  EXPECT_EQ(aliveSegments(dt).size(), 4u);
  EXPECT_EQ(dt.numberOfPoints(), 8u);
}
