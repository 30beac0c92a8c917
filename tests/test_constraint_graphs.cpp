// Constraint graphs and the constraint manager: polygon recognition and the counterclockwise
// ring, reading directions of directed and undirected input, the bookkeeping of split pieces
// (ring vertices, direct children, membership), conforming subdivision by makeDelaunay, shared
// segments, the insertion passes, and the constraint dumps. Every change of a triangulation is
// followed by the library's validity check.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <functional>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "ConstraintMgr.h"
#include "Dt2.h"
#include "cdt_test_support.h"
#include "dt2_test_support.h"
#include "test_support.h"

using namespace KORA_ZARN2D;
using namespace dt2test;
using cdttest::insertPoints;
using cdttest::isEdge;
using cdttest::readingStart;

namespace {

/// Segments from vPoints[i] to vPoints[i+1]; closed: also from the last point to the first.
std::vector<Segment2> chain(const std::vector<Point2>& vPoints, bool bClosed) {
  std::vector<Segment2> vSegments;
  for (size_t i = 0; i + 1 < vPoints.size(); ++i) vSegments.emplace_back(vPoints[i], vPoints[i + 1]);
  if (bClosed) vSegments.emplace_back(vPoints.back(), vPoints.front());
  return vSegments;
}

/// createConstraint, then the library's validity check.
ConstraintGraph2* constrain(Zarn_2D& dt, std::vector<Segment2> vSegments, bool bOriented = false,
                            ConstraintInsertionStrategy cis = CIS_CONSTRAINED_DELAUNAY) {
  ConstraintGraph2* pGraph(dt.createConstraint(vSegments, cis, bOriented));
  EXPECT_TRUE(libraryCheckValidity(dt));
  return pGraph;
}

std::vector<Point2*> polygonVertices(ConstraintGraph2* pGraph) {
  std::vector<Point2*> vVertices;
  pGraph->getPolygonVertices(vVertices);
  return vVertices;
}

std::vector<ConstraintSegment2*> originals(const ConstraintGraph2* pGraph) {
  std::vector<ConstraintSegment2*> vCSegments;
  pGraph->getOriginalConstraintSegments(vCSegments);
  return vCSegments;
}

std::vector<ConstraintSegment2*> pieces(const ConstraintGraph2* pGraph) {
  std::vector<ConstraintSegment2*> vCSegments;
  pGraph->getChildConstraintSegments(vCSegments);
  return vCSegments;
}

/// Exactly one of the triangles beside the edge {p, q} sees the apex of the other strictly inside
/// its circumcircle (an independent exact test).
bool isEncroached(const Zarn_2D& dt, Point2* p, Point2* q) {
  Triangle2* pLeft(dt.getAdjacentTriangle(p, q));
  Triangle2* pRight(dt.getAdjacentTriangle(q, p));
  if (pLeft == nullptr || pRight == nullptr) return false;
  const auto apex = [](Triangle2* pT, const Point2* a, const Point2* b) {
    for (int i = 0; i < 3; ++i) {
      if (pT->getCorner(i) != a && pT->getCorner(i) != b) return pT->getCorner(i);
    }
    return static_cast<Point2*>(nullptr);
  };
  const auto inside = [](Triangle2* pT, const Point2* pD) {
    return exactInCircle(*pT->getCorner(0), *pT->getCorner(1), *pT->getCorner(2), *pD) > 0;
  };
  return inside(pLeft, apex(pRight, p, q)) || inside(pRight, apex(pLeft, p, q));
}

std::string errorLine(const std::string& where, const std::string& msg) {
  return "      [Zarn2D-Message] " + where + ", ERROR: " + msg;
}

/// The library's check finds exactly one defect: an alive constraint segment that is no edge.
void expectOnlyDefectIsTheUnplacedSegment(Zarn_2D& dt) {
  bool bValid(true);
  const std::string report(zarn_test::captureStdout([&] { bValid = dt.checkValidity(true, "unplaced segment"); }));
  EXPECT_FALSE(bValid);
  EXPECT_EQ(countLinesContaining(report, "defect: "), 1u) << report;
  EXPECT_EQ(countLinesContaining(report, "defect: alive constraint segment is not an edge"), 1u) << report;
}

}  // namespace

// ----- Polygon recognition and reading directions ------------------------------------------

// For input in any order and with any directions: a polygon's ring runs counterclockwise from the
// smallest x (then the smallest y), its original segments follow the ring, and the ring lists the
// vertex each segment is read from (along the ring, or in the user's direction when directed).
// Anything else is no polygon and keeps the input order. Every graph owns its segments once.
TEST(ConstraintGraphPolygon, RingAndReadingDirectionsForInputInAnyOrder) {
  struct Case {
    const char* name;
    std::vector<Segment2> vSegments;
    std::vector<Point2> vRing;  // counterclockwise from the expected first vertex; empty: no polygon
    bool bOverlap = false;      // segments overlap: one is split at the end of another
  };
  const auto polygon = [](const char* name, const std::vector<Point2>& vRing) { return Case{name, chain(vRing, true), vRing}; };
  std::vector<Segment2> vTwoTriangles(chain({Point2(0, 0), Point2(2, 0), Point2(1, 2)}, true));
  for (const Segment2& s : chain({Point2(5, 0), Point2(7, 0), Point2(6, 2)}, true)) vTwoTriangles.push_back(s);
  const std::vector<Case> vCases{
      polygon("triangle", {Point2(0, 0), Point2(4, 1), Point2(1, 3)}),
      polygon("tie in x", {Point2(0, 0), Point2(3, 0), Point2(3, 2), Point2(0, 2)}),
      polygon("lowest x is not lowest y", {Point2(0, 5), Point2(2, 0), Point2(4, 6)}),
      polygon("non-convex", {Point2(-1, 1), Point2(0, -3), Point2(2, 0), Point2(0, 0.5)}),
      polygon("tie in x, reflex corner", {Point2(1, -2), Point2(5, -2), Point2(5, 2), Point2(3, 0), Point2(1, 2)}),
      {"one segment", chain({Point2(0, 0), Point2(3, 0)}, false), {}},
      {"two segments", chain({Point2(0, 0), Point2(3, 0), Point2(3, 3)}, false), {}},
      {"open chain of three", chain({Point2(0, 0), Point2(3, 0), Point2(3, 3), Point2(0, 3)}, false), {}},
      {"lowest vertex collinear with both neighbours", chain({Point2(0, 0), Point2(1, 1), Point2(3, 0), Point2(2, 2)}, true), {}, true},
      {"figure eight through an inner vertex",
       chain({Point2(0, 0), Point2(2, 2), Point2(4, 0), Point2(4, 4), Point2(2, 2), Point2(0, 4)}, true), {}},
      {"figure eight through the lowest vertex",
       chain({Point2(0, 0), Point2(3, 1), Point2(3, 3), Point2(0, 0), Point2(3, -1), Point2(3, -3)}, true), {}},
      {"two disjoint triangles", vTwoTriangles, {}},
  };
  for (const Case& c : vCases) {
    SCOPED_TRACE(c.name);
    Zarn_2D dt;
    insertPoints(dt, {Point2(-2, -4), Point2(8, -4), Point2(8, 7), Point2(-2, 7)});
    const auto vertex = [&](const Point2& p) { return cdttest::vertexAt(dt, p.x(), p.y()); };
    const auto segmentOf = [&](const Segment2& s) { return dt.getConstraintSegment(vertex(s.getSrc()), vertex(s.getTrg())); };
    for (unsigned variant = 0; variant < 6; ++variant) {  // as given, reversed, then shuffled with random directions
      std::vector<Segment2> vInput(c.vSegments);
      std::mt19937 rng(variant);
      if (variant == 1) std::reverse(vInput.begin(), vInput.end());
      if (variant > 1) std::shuffle(vInput.begin(), vInput.end(), rng);
      for (Segment2& s : vInput) {
        if (variant == 1 || (variant > 1 && rng() % 2 == 0)) s = Segment2(s.getTrg(), s.getSrc());
      }
      const auto inputStart = [&](ConstraintSegment2* pCSeg) {
        for (const Segment2& s : vInput) {
          if (segmentOf(s) == pCSeg) return vertex(s.getSrc());
        }
        return static_cast<Point2*>(nullptr);
      };
      for (bool bOriented : {false, true}) {
        SCOPED_TRACE("variant " + std::to_string(variant) + (bOriented ? ", directed" : ""));
        ConstraintGraph2* pGraph(constrain(dt, vInput, bOriented));
        ASSERT_NE(pGraph, nullptr);
        EXPECT_EQ(pGraph->isOriented(), bOriented);
        ASSERT_EQ(pGraph->isPolygon(), !c.vRing.empty());
        const std::vector<ConstraintSegment2*> vOriginals(originals(pGraph));
        if (c.vRing.empty()) {
          ASSERT_EQ(vOriginals.size(), vInput.size());
          if (c.bOverlap) continue;
          for (size_t i = 0; i < vInput.size(); ++i) {
            EXPECT_EQ(vOriginals[i], segmentOf(vInput[i])) << i;
            EXPECT_TRUE(!bOriented || readingStart(pGraph, vOriginals[i]) == vertex(vInput[i].getSrc())) << i;
          }
          continue;
        }
        const std::vector<Point2*> vRing(polygonVertices(pGraph));
        ASSERT_EQ(vRing.size(), c.vRing.size());
        ASSERT_EQ(vOriginals.size(), c.vRing.size());
        for (size_t i = 0; i < vRing.size(); ++i) {
          EXPECT_EQ(vOriginals[i], segmentOf(Segment2(c.vRing[i], c.vRing[(i + 1) % vRing.size()]))) << i;
          EXPECT_EQ(readingStart(pGraph, vOriginals[i]), bOriented ? inputStart(vOriginals[i]) : vertex(c.vRing[i])) << i;
          EXPECT_EQ(vRing[i], readingStart(pGraph, vOriginals[i])) << i;
        }
      }
    }
    if (c.bOverlap) continue;
    for (const Segment2& s : c.vSegments) EXPECT_EQ(segmentOf(s)->getNumberOfOwners(), 12u);
    EXPECT_EQ(cdttest::allSegments(dt).size(), c.vSegments.size());
  }
}

// A segment of another graph has no direction in this one.
TEST(ConstraintGraphDirections, ForeignSegmentHasNoDirection) {
  Zarn_2D dt;
  const std::vector<Point2*> v(insertPoints(dt, {Point2(0, 0), Point2(4, 1), Point2(1, 3)}));
  ConstraintGraph2* pGraph(constrain(dt, {Segment2(Point2(1, 3), Point2(4, 1))}, true));
  ASSERT_NE(constrain(dt, {Segment2(Point2(1, 3), Point2(0, 0))}), nullptr);
  zarn_test::expectFailedCondition("q_it!=mCSegReverse.end()", [&] { pGraph->isReverse(dt.getConstraintSegment(v[0], v[2])); });
}

// ----- Split pieces in a polygon -----------------------------------------------------------

//   R (2,5)
//          X (3.5,3.5) where C-D crosses Q-R
//   C (3,3)               D (6,6) outside
//                 Q (6,1)
//   P (0,0)  S (3,0.5) on P-Q
//
// Three graphs over the same triangle: undirected, directed clockwise and directed
// counterclockwise; then S is inserted on P-Q and the constraint C-D splits Q-R at X.
class SplitTriangle : public ::testing::Test {
 protected:
  void SetUp() override {
    const std::vector<Point2*> v(insertPoints(dt, {P, Q, R, Point2(3, 3), Point2(6, 6)}));
    pP = v[0];
    pQ = v[1];
    pR = v[2];
    pUndirected = constrain(dt, {Segment2(R, P), Segment2(Q, R), Segment2(P, Q)});
    pClockwise = constrain(dt, {Segment2(P, R), Segment2(R, Q), Segment2(Q, P)}, true);
    pCounterclockwise = constrain(dt, {Segment2(P, Q), Segment2(Q, R), Segment2(R, P)}, true);
    pPQ = dt.getConstraintSegment(pP, pQ);
    pQR = dt.getConstraintSegment(pQ, pR);
    pRP = dt.getConstraintSegment(pR, pP);
    ASSERT_TRUE(pUndirected->isPolygon() && pClockwise->isPolygon() && pCounterclockwise->isPolygon());

    pS = dt.insert(Point2(3, 0.5));
    ASSERT_TRUE(libraryCheckValidity(dt));
    pCrossing = constrain(dt, {Segment2(Point2(3, 3), Point2(6, 6))});
    ConstraintSegment2* pCD(originals(pCrossing).at(0));
    ConstraintSegment2 *pKid0(nullptr), *pKid1(nullptr);
    pCD->getChildrenAndSplitPoint(pKid0, pKid1, pX);
    ASSERT_NE(pX, nullptr);
    ASSERT_NEAR(pX->x(), 3.5, 1e-12);
    ASSERT_NEAR(pX->y(), 3.5, 1e-12);
    pPS = dt.getConstraintSegment(pP, pS);
    pSQ = dt.getConstraintSegment(pS, pQ);
    pQX = dt.getConstraintSegment(pQ, pX);
    pXR = dt.getConstraintSegment(pX, pR);
    ASSERT_TRUE(pPS != nullptr && pSQ != nullptr && pQX != nullptr && pXR != nullptr);
  }

  const Point2 P{0, 0}, Q{6, 1}, R{2, 5};
  Zarn_2D dt;
  Point2 *pP = nullptr, *pQ = nullptr, *pR = nullptr, *pS = nullptr, *pX = nullptr;
  ConstraintSegment2 *pPQ = nullptr, *pQR = nullptr, *pRP = nullptr;
  ConstraintSegment2 *pPS = nullptr, *pSQ = nullptr, *pQX = nullptr, *pXR = nullptr;
  ConstraintGraph2 *pUndirected = nullptr, *pClockwise = nullptr, *pCounterclockwise = nullptr, *pCrossing = nullptr;
};

TEST_F(SplitTriangle, RingVerticesIncludeTheSplitVerticesBetweenTheEndsOfTheSplitPiece) {
  EXPECT_FALSE(pPQ->isAlive());
  EXPECT_FALSE(pQR->isAlive());
  EXPECT_TRUE(pRP->isAlive());
  EXPECT_TRUE(pUndirected->isPolygon());
  EXPECT_EQ(polygonVertices(pUndirected), (std::vector<Point2*>{pP, pS, pQ, pX, pR}));
  EXPECT_EQ(polygonVertices(pCounterclockwise), (std::vector<Point2*>{pP, pS, pQ, pX, pR}));
  // Read clockwise piece by piece, listed in counterclockwise ring order of the parents.
  EXPECT_EQ(polygonVertices(pClockwise), (std::vector<Point2*>{pQ, pS, pR, pX, pP}));
  // The originals do not change with splits.
  EXPECT_EQ(originals(pUndirected), (std::vector<ConstraintSegment2*>{pPQ, pQR, pRP}));
  for (ConstraintSegment2* pPiece : {pPS, pSQ, pQX, pXR}) EXPECT_EQ(pPiece->getNumberOfOwners(), 3u);
}

TEST_F(SplitTriangle, DirectChildrenComeInReadingDirection) {
  ConstraintSegment2 *pFirst(nullptr), *pSecond(nullptr);
  pUndirected->getDirectChildren(pPQ, pFirst, pSecond);
  EXPECT_EQ(pFirst, pPS);
  EXPECT_EQ(pSecond, pSQ);
  pClockwise->getDirectChildren(pPQ, pFirst, pSecond);
  EXPECT_EQ(pFirst, pSQ);
  EXPECT_EQ(pSecond, pPS);
  pUndirected->getDirectChildren(pQR, pFirst, pSecond);
  EXPECT_EQ(pFirst, pQX);
  EXPECT_EQ(pSecond, pXR);
  pClockwise->getDirectChildren(pQR, pFirst, pSecond);
  EXPECT_EQ(pFirst, pXR);
  EXPECT_EQ(pSecond, pQX);
  // Whatever the parent's address order, the pieces are read on from the parent's reading start.
  EXPECT_EQ(readingStart(pClockwise, pSQ), pQ);
  EXPECT_EQ(readingStart(pClockwise, pPS), pS);
  EXPECT_EQ(readingStart(pUndirected, pQX), pQ);
  EXPECT_EQ(readingStart(pUndirected, pXR), pX);

  // An alive segment has no children: both outputs become null.
  pFirst = pPQ;
  pSecond = pPQ;
  pUndirected->getDirectChildren(pRP, pFirst, pSecond);
  EXPECT_EQ(pFirst, nullptr);
  EXPECT_EQ(pSecond, nullptr);
}

// Graphs made of segments that are split already learn the pieces in their own direction.
TEST_F(SplitTriangle, GraphOverAlreadySplitSegmentsKnowsTheirPieces) {
  ConstraintGraph2* pLater(constrain(dt, {Segment2(Q, P), Segment2(P, R), Segment2(R, Q)}));
  ASSERT_TRUE(pLater->isPolygon());
  EXPECT_EQ(originals(pLater), (std::vector<ConstraintSegment2*>{pPQ, pQR, pRP}));
  EXPECT_EQ(polygonVertices(pLater), (std::vector<Point2*>{pP, pS, pQ, pX, pR}));
  std::vector<ConstraintSegment2*> vPieces{pPS, pSQ, pQX, pXR, pRP};
  std::sort(vPieces.begin(), vPieces.end());
  EXPECT_EQ(pieces(pLater), vPieces);
  for (ConstraintSegment2* pPiece : vPieces) {
    EXPECT_TRUE(pLater->isConstraint(pPiece));
    EXPECT_EQ(pPiece->getNumberOfOwners(), 4u);
  }

  ConstraintGraph2* pLaterClockwise(constrain(dt, {Segment2(Q, P), Segment2(P, R), Segment2(R, Q)}, true));
  EXPECT_EQ(polygonVertices(pLaterClockwise), (std::vector<Point2*>{pQ, pS, pR, pX, pP}));
  ConstraintSegment2 *pFirst(nullptr), *pSecond(nullptr);
  pLaterClockwise->getDirectChildren(pQR, pFirst, pSecond);
  EXPECT_EQ(pFirst, pXR);
  EXPECT_EQ(pSecond, pQX);

  // A later split reaches the late graphs too.
  Point2* pT(dt.insert(Point2(1, 2.5)));  // on R-P
  ASSERT_TRUE(libraryCheckValidity(dt));
  EXPECT_EQ(polygonVertices(pLater), (std::vector<Point2*>{pP, pS, pQ, pX, pR, pT}));
  EXPECT_EQ(polygonVertices(pLaterClockwise), (std::vector<Point2*>{pQ, pS, pR, pX, pP, pT}));
}

// A constraint inserted through an existing vertex M is split there; when the piece on one side
// of M is an already split segment, the graph must learn the pieces below the reused one too, or
// its ring has pieces without a direction. Both sides are tried.
TEST(ConstraintGraphSplitBookkeeping, PolygonThroughAnAlreadySplitConstraintKeepsItsRing) {
  for (double preSplitX : {1.0, 3.0}) {
    SCOPED_TRACE("pre-split piece at x=" + std::to_string(preSplitX));
    Zarn_2D dt;
    insertPoints(dt, {Point2(0, 0), Point2(4, 0), Point2(2, 3), Point2(2, -1)});
    const Point2 end(preSplitX < 2 ? Point2(0, 0) : Point2(4, 0));
    ASSERT_NE(constrain(dt, {Segment2(end, Point2(2, 0))}), nullptr);
    ASSERT_NE(dt.insert(Point2(preSplitX, 0)), nullptr);
    ASSERT_TRUE(libraryCheckValidity(dt));
    ConstraintGraph2* pTriangle(constrain(dt, {Segment2(Point2(0, 0), Point2(4, 0)), Segment2(Point2(4, 0), Point2(2, 3)),
                                               Segment2(Point2(2, 3), Point2(0, 0))}));
    ASSERT_TRUE(pTriangle->isPolygon());
    std::vector<Point2*> vRing;
    zarn_test::captureStdout([&] { EXPECT_NO_THROW(pTriangle->getPolygonVertices(vRing)); });
    const std::vector<Point2> vWant{Point2(0, 0), Point2(std::min(preSplitX, 2.0), 0), Point2(std::max(preSplitX, 2.0), 0), Point2(4, 0), Point2(2, 3)};
    EXPECT_EQ(positionsOf(vRing), vWant);
    zarn_test::captureStdout([&] { EXPECT_NO_THROW(dt.insert(Point2(preSplitX + 0.5, 0))); });
    EXPECT_TRUE(libraryCheckValidity(dt));
  }
}

// ----- makeDelaunay ------------------------------------------------------------------------

// A constraint A-B forced through close points above and below it: its pieces stay encroached
// until they are short compared with the distance 0.4 of those points.
class EncroachedConstraint : public ::testing::Test {
 protected:
  void SetUp() override {
    std::vector<Point2> vPoints{Point2(0, 0), Point2(16, 0)};
    for (double x : {1.5, 5.5, 9.5, 13.5}) {
      vPoints.emplace_back(x, 0.4);
      vPoints.emplace_back(x + 0.25, -0.4);
    }
    insertPoints(dt, vPoints);
    pGraph = constrain(dt, {Segment2(Point2(0, 0), Point2(16, 0))});
    ASSERT_EQ(pieces(pGraph).size(), 1u);
    ASSERT_TRUE(isEncroached(dt, pieces(pGraph)[0]->getSrc(), pieces(pGraph)[0]->getTrg()));
  }

  // The pieces cover the segment and are constraint edges; with bAllDelaunay none is encroached.
  ::testing::AssertionResult isCovered(bool bAllDelaunay) {
    std::vector<Point2*> vVertices;
    dt.getVertexPointers(vVertices);
    cdttest::CdtCheckOptions options;
    options.bConstraintEdgesDelaunay = bAllDelaunay;
    return cdttest::isConstrainedDelaunay(dt, positionsOf(vVertices), {Segment2(Point2(0, 0), Point2(16, 0))}, options);
  }

  Zarn_2D dt;
  ConstraintGraph2* pGraph = nullptr;
};

TEST_F(EncroachedConstraint, SplitsUntilNoPieceIsEncroached) {
  EXPECT_TRUE(pGraph->makeDelaunay(0.0));
  EXPECT_TRUE(isCovered(true));
  EXPECT_GT(pieces(pGraph).size(), 4u);
  // Nothing left to do.
  const unsigned numPoints(dt.numberOfPoints());
  EXPECT_TRUE(pGraph->makeDelaunay(0.0));
  ASSERT_TRUE(libraryCheckValidity(dt));
  EXPECT_EQ(dt.numberOfPoints(), numPoints);
}

TEST_F(EncroachedConstraint, PiecesShorterThanMinLengthStayEncroached) {
  const unsigned numPoints(dt.numberOfPoints());
  EXPECT_FALSE(pGraph->makeDelaunay(100.0));
  ASSERT_TRUE(libraryCheckValidity(dt));
  EXPECT_EQ(dt.numberOfPoints(), numPoints);
  ASSERT_EQ(pieces(pGraph).size(), 1u);
  EXPECT_TRUE(pieces(pGraph)[0]->isAlive());

  const double minLength(3.0);
  EXPECT_FALSE(pGraph->makeDelaunay(minLength));
  EXPECT_TRUE(isCovered(false));
  size_t numShortEncroached(0);
  for (ConstraintSegment2* pPiece : pieces(pGraph)) {
    const double length(std::fabs(pPiece->getTrg()->x() - pPiece->getSrc()->x()));
    const bool bEncroached(isEncroached(dt, pPiece->getSrc(), pPiece->getTrg()));
    if (length >= minLength) {
      EXPECT_FALSE(bEncroached) << "piece of length " << length;
    }
    numShortEncroached += bEncroached && length < minLength;
  }
  EXPECT_GT(numShortEncroached, 0u);
  EXPECT_GT(dt.numberOfPoints(), numPoints);
}

// ----- Constraint manager ------------------------------------------------------------------

TEST(ConstraintMgrRegistry, OneSegmentPerVertexPairWhateverGraphOrDirection) {
  Zarn_2D dt;
  const Point2 A(0, 0), B(5, 1);
  const std::vector<Point2*> v(insertPoints(dt, {A, B, Point2(2, 4), Point2(3, -3)}));
  ConstraintGraph2* pForward(constrain(dt, {Segment2(A, B)}));
  ConstraintGraph2* pBackward(constrain(dt, {Segment2(B, A)}, true));
  ConstraintGraph2* pTwice(constrain(dt, {Segment2(A, B), Segment2(B, A)}));
  ConstraintSegment2* pSeg(dt.getConstraintSegment(v[0], v[1]));
  ASSERT_NE(pSeg, nullptr);
  EXPECT_EQ(dt.getConstraintSegment(v[1], v[0]), pSeg);
  EXPECT_EQ(pSeg->getNumberOfOwners(), 3u);
  EXPECT_EQ(originals(pForward), std::vector<ConstraintSegment2*>{pSeg});
  EXPECT_EQ(originals(pBackward), std::vector<ConstraintSegment2*>{pSeg});
  EXPECT_EQ(originals(pTwice), std::vector<ConstraintSegment2*>{pSeg});
  EXPECT_EQ(readingStart(pBackward, pSeg), v[1]);
  std::vector<ConstraintSegment2*> vAll, vAlive;
  dt.getAliveAndDeadConstraintSegments(vAll);
  dt.getAliveConstraintSegments(vAlive);
  EXPECT_EQ(vAll, std::vector<ConstraintSegment2*>{pSeg});
  EXPECT_EQ(vAlive, std::vector<ConstraintSegment2*>{pSeg});
  EXPECT_EQ(dt.getConstraintSegment(v[2], v[3]), nullptr);
  EXPECT_EQ(dt.getConstraintSegment(v[0], v[0]), nullptr);

  EXPECT_EQ(dt.getImpl()->getConstraintMgr()->getGraphs(), (std::vector<ConstraintGraph2*>{pForward, pBackward, pTwice}));
}

TEST(ConstraintMgrRegistry, SegmentFromAPointToItselfIsSkippedWithAWarning) {
  Zarn_2D dt;
  insertPoints(dt, {Point2(0, 0), Point2(4, 0), Point2(0, 4)});
  std::vector<Segment2> vSegments{Segment2(Point2(1.5, 2.5), Point2(1.5, 2.5))};
  ConstraintGraph2* pGraph(nullptr);
  std::string out(zarn_test::captureStdout([&] { pGraph = dt.createConstraint(vSegments, CIS_CONSTRAINED_DELAUNAY); }));
  ASSERT_TRUE(libraryCheckValidity(dt));
  const std::string warning("\n" +
                            warningLine("ConstraingMgr::createConstraint",
                                        "(0) Identical source and endpoint, a constraint segment has been skipped.") +
                            "\n\n");
  EXPECT_EQ(out.find(warning), 0u) << out;
  EXPECT_NE(out.find("Point2 (1.5,2.5): "), std::string::npos) << out;
  EXPECT_NE(out.find(" <-> "), std::string::npos) << out;
  const std::string log(zarn_test::readFile("ZARN_LOG.txt"));
  EXPECT_EQ(log.rfind("Point2 (1.5,2.5): ", 0), 0u) << log;
  EXPECT_NE(log.find(" <-> Point2 (1.5,2.5): "), std::string::npos) << log;

  // The graph exists but is empty; the point itself went in as a vertex.
  ASSERT_NE(pGraph, nullptr);
  EXPECT_TRUE(originals(pGraph).empty());
  EXPECT_TRUE(pieces(pGraph).empty());
  EXPECT_FALSE(pGraph->isPolygon());
  EXPECT_EQ(dt.numberOfPoints(), 4u);
  std::vector<ConstraintSegment2*> vAll;
  dt.getAliveAndDeadConstraintSegments(vAll);
  EXPECT_TRUE(vAll.empty());

  // Mixed with a proper segment: one warning per skipped pair, the rest is kept.
  vSegments = {Segment2(Point2(0, 0), Point2(0, 0)), Segment2(Point2(0, 0), Point2(4, 0)), Segment2(Point2(4, 0), Point2(4, 0))};
  out = zarn_test::captureStdout([&] { pGraph = dt.createConstraint(vSegments, CIS_CONSTRAINED_DELAUNAY); });
  ASSERT_TRUE(libraryCheckValidity(dt));
  EXPECT_EQ(countLinesContaining(out, "(0) Identical source and endpoint"), 2u) << out;
  ASSERT_EQ(originals(pGraph).size(), 1u);
  EXPECT_TRUE(originals(pGraph)[0]->isAlive());
}

// The conforming strategy splits a segment once per insertion; only the passes of apply() carry
// the pieces on until every piece is a Delaunay edge, and a pass without splits ends it.
TEST(ConstraintMgrApply, ConformingSegmentsArePassedOnUntilEveryPieceIsAnEdge) {
  Zarn_2D dt;
  // A-B and C-D, each with close points on both sides; they do not cross (a conforming segment
  // can never become an edge across another constraint).
  std::vector<Point2> vPoints{Point2(0, 0), Point2(20, 18), Point2(1, 20), Point2(19, 22), Point2(19, 1)};
  for (int k = 1; k < 9; ++k) {
    vPoints.emplace_back(2.0 * k + 0.3, 1.8 * k + 0.35);
    vPoints.emplace_back(2.0 * k - 0.2, 1.8 * k - 0.3);
    const double x0(2.0 * k + 1.1), x1(2.0 * k + 0.6);
    vPoints.emplace_back(x0, 20 + (x0 - 1) / 9 + 0.1);
    vPoints.emplace_back(x1, 20 + (x1 - 1) / 9 - 0.12);
  }
  const std::vector<Point2*> v(insertPoints(dt, vPoints));
  ConstraintMgr* pMgr(dt.getImpl()->getConstraintMgr());
  ConstraintGraph2* pFirst(pMgr->createConstraint({std::make_pair(v[0], v[1])}, CIS_CONFORMING_DELAUNAY, false, false));
  ConstraintGraph2* pSecond(pMgr->createConstraint({std::make_pair(v[3], v[2])}, CIS_CONFORMING_DELAUNAY, false, false));
  ASSERT_FALSE(isEdge(dt, v[0], v[1]));
  ASSERT_FALSE(isEdge(dt, v[2], v[3]));
  const std::string out(zarn_test::captureStdout([&] { pMgr->apply(); }));
  ASSERT_TRUE(libraryCheckValidity(dt));
  EXPECT_EQ(out.find("ERROR"), std::string::npos) << out;
  EXPECT_EQ(out.find("WARNING"), std::string::npos) << out;
  for (ConstraintGraph2* pGraph : {pFirst, pSecond}) {
    const std::vector<ConstraintSegment2*> vPieces(pieces(pGraph));
    EXPECT_GT(vPieces.size(), 2u);
    for (ConstraintSegment2* pPiece : vPieces) EXPECT_TRUE(isEdge(dt, pPiece->getSrc(), pPiece->getTrg()));
  }
  // Conforming: the result is a Delaunay triangulation of all its vertices.
  std::vector<Point2*> vVertices;
  dt.getVertexPointers(vVertices);
  EXPECT_TRUE(isDelaunayTriangulationOf(dt, positionsOf(vVertices)));
}

TEST(ConstraintMgrApply, UnknownStrategyThroughTheFacadeIsReportedAtOnce) {
  Zarn_2D dt;
  insertPoints(dt, {Point2(0, 0), Point2(10, 0), Point2(5, 0.5), Point2(5, -0.5)});
  std::vector<Segment2> vSegments{Segment2(Point2(0, 0), Point2(10, 0))};
  ConstraintGraph2* pGraph(nullptr);
  const std::string out(zarn_test::captureStdout(
      [&] { pGraph = dt.createConstraint(vSegments, static_cast<ConstraintInsertionStrategy>(7)); }));
  EXPECT_EQ(countLinesContaining(out, errorLine("ConstraintMgr::apply()", "Unknown CIS")), 1u) << out;
  ASSERT_NE(pGraph, nullptr);
  EXPECT_EQ(pGraph->getInsertionStrategy(), static_cast<ConstraintInsertionStrategy>(7));
  EXPECT_TRUE(originals(pGraph)[0]->isAlive());
  EXPECT_EQ(dt.numberOfPoints(), 4u);
  expectOnlyDefectIsTheUnplacedSegment(dt);
}

// ----- Constraint dumps ------------------------------------------------------------------------

namespace {

// A square polygon split by a crossing segment and a point on an edge, and the crossing segment
// in a second graph, with coordinates that need all 17 digits.
class TwoGraphs : public ::testing::Test {
 protected:
  void SetUp() override {
    const double t(1.0 / 3.0);
    const std::vector<Point2> vSquare{Point2(0.1, 0.1), Point2(3 + t, 0.1), Point2(3 + t, 3.7), Point2(0.1, 3.7)};
    insertPoints(dt, vSquare);
    pSquare = constrain(dt, chain(vSquare, true));
    pCross = constrain(dt, {Segment2(Point2(1 + t, 2 * t), Point2(4.9, 1 + t))});
    ASSERT_NE(dt.insert(Point2(1.7, 3.7)), nullptr);
    ASSERT_TRUE(libraryCheckValidity(dt));
    pMgr = dt.getImpl()->getConstraintMgr();
    ASSERT_EQ(pMgr->getGraphs().size(), 2u);
  }

  // The alive pieces of a graph in the order the dumps use: its original segments in order, a
  // split one replaced by its alive leaves.
  static std::vector<ConstraintSegment2*> dumpOrder(const ConstraintGraph2* pGraph) {
    std::vector<ConstraintSegment2*> vPieces;
    for (ConstraintSegment2* pCSeg : originals(pGraph)) {
      if (pCSeg->isAlive()) {
        vPieces.push_back(pCSeg);
      } else {
        pCSeg->getChildrenRec(vPieces);
      }
    }
    return vPieces;
  }

  Zarn_2D dt;
  ConstraintGraph2 *pSquare = nullptr, *pCross = nullptr;
  ConstraintMgr* pMgr = nullptr;
};

int32_t int32At(const std::string& bytes, size_t offset) {
  int32_t value(0);
  std::memcpy(&value, bytes.data() + offset, sizeof(value));
  return value;
}

}  // namespace

// Both dumps write one file per graph holding its alive pieces, coordinates exact: the binary
// one (type 21, count, reserved word, then the records) and the tab-separated text.
TEST_F(TwoGraphs, DumpsHoldTheAlivePiecesOfEachGraphExactly) {
  const std::string base(::testing::TempDir() + "zarn_dump_" + std::to_string(::getpid()));
  const std::string out(zarn_test::captureStdout([&] {
    pMgr->writeConstraintsBIN(base);
    pMgr->writeConstraints(base);
  }));
  const std::vector<ConstraintGraph2*> vGraphs{pSquare, pCross};
  for (size_t i = 0; i < vGraphs.size(); ++i) {
    const std::vector<ConstraintSegment2*> vPieces(dumpOrder(vGraphs[i]));
    EXPECT_EQ(vPieces.size(), pieces(vGraphs[i]).size());
    const std::string binName(base + "_c" + std::to_string(i) + "_con.bin"), textName(base + "_c" + std::to_string(i) + ".con");
    const std::string bytes(zarn_test::readFile(binName));
    ASSERT_EQ(bytes.size(), 12 + 32 * vPieces.size());
    EXPECT_EQ(int32At(bytes, 0), 21);
    EXPECT_EQ(int32At(bytes, 4), static_cast<int32_t>(vPieces.size()));
    EXPECT_EQ(int32At(bytes, 8), 0);
    std::vector<Segment2> vRead;
    ASSERT_TRUE(readSegmentsBIN(binName.c_str(), vRead));
    const std::vector<std::string> vLines(splitLines(zarn_test::readFile(textName)));
    ASSERT_EQ(vRead.size(), vPieces.size());
    ASSERT_EQ(vLines.size(), vPieces.size());
    for (size_t k = 0; k < vPieces.size(); ++k) {
      const double aExpected[4] = {vPieces[k]->getSrc()->x(), vPieces[k]->getSrc()->y(), vPieces[k]->getTrg()->x(), vPieces[k]->getTrg()->y()};
      const double aBinary[4] = {vRead[k].getSrc().x(), vRead[k].getSrc().y(), vRead[k].getTrg().x(), vRead[k].getTrg().y()};
      std::istringstream iss(vLines[k]);
      std::string field;
      for (size_t j = 0; j < 4; ++j) {
        EXPECT_EQ(aBinary[j], aExpected[j]) << k;
        ASSERT_TRUE(std::getline(iss, field, '\t')) << vLines[k];
        size_t numUsed(0);
        EXPECT_EQ(std::stod(field, &numUsed), aExpected[j]) << vLines[k];
        EXPECT_EQ(numUsed, field.size()) << vLines[k];
      }
      EXPECT_FALSE(std::getline(iss, field, '\t')) << vLines[k];
    }
    for (const std::string& name : {binName, textName}) {
      EXPECT_NE(out.find("writes " + std::to_string(vPieces.size()) + " child segments to " + name + "\n"), std::string::npos) << out;
    }
  }
  EXPECT_EQ(dumpOrder(pSquare).size(), 6u);  // four sides, two of them split
  EXPECT_EQ(dumpOrder(pCross).size(), 2u);
  EXPECT_FALSE(std::filesystem::exists(base + "_c2_con.bin"));
  EXPECT_FALSE(std::filesystem::exists(base + "_c2.con"));
  for (const char* suffix : {"_c0_con.bin", "_c0.con", "_c1_con.bin", "_c1.con"}) std::filesystem::remove(base + suffix);
}
