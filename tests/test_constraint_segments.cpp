// Constraint segments: the label counter, the printed form, the split tree (children, split
// vertex, alive leaves), both split operations with their owners and the manager's split count,
// and the assertions that guard misuse. Splits happen in small triangulations that are checked
// after every change.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
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

namespace {

bool touches(const ConstraintSegment2* pCSeg, const Point2* p) { return pCSeg->getSrc() == p || pCSeg->getTrg() == p; }

std::string toString(const ConstraintSegment2& seg) {
  std::ostringstream oss;
  oss << seg;
  return oss.str();
}

// A constraint forced through the Delaunay edge C-D: the segment A-B is no Delaunay edge.
//
//              C (5, 0.5)
//   A (0,0) ------------------ B (10,0)
//              D (5,-0.5)
class ForcedSegment : public ::testing::Test {
 protected:
  void SetUp() override {
    v = insertPoints(dt, {Point2(0, 0), Point2(10, 0), Point2(5, 0.5), Point2(5, -0.5)});
    ASSERT_EQ(v.size(), 4u);
    ASSERT_FALSE(isEdge(dt, v[0], v[1]));
    std::vector<Segment2> vSegments{Segment2(Point2(0, 0), Point2(10, 0))};
    pGraph = dt.createConstraint(vSegments, CIS_CONSTRAINED_DELAUNAY);
    ASSERT_NE(pGraph, nullptr);
    pSeg = dt.getConstraintSegment(v[0], v[1]);
    ASSERT_NE(pSeg, nullptr);
    pMgr = dt.getImpl()->getConstraintMgr();
    ASSERT_TRUE(isEdge(dt, v[0], v[1]));
    ASSERT_TRUE(libraryCheckValidity(dt));
  }

  // The child of a split segment that ends at p.
  static ConstraintSegment2* childAt(ConstraintSegment2* pParent, const Point2* p) {
    ConstraintSegment2 *pKid0(nullptr), *pKid1(nullptr);
    Point2* pSplit(nullptr);
    pParent->getChildrenAndSplitPoint(pKid0, pKid1, pSplit);
    if (pKid0 != nullptr && touches(pKid0, p)) return pKid0;
    if (pKid1 != nullptr && touches(pKid1, p)) return pKid1;
    return nullptr;
  }

  Zarn_2D dt;
  std::vector<Point2*> v;  // A, B, C, D
  ConstraintGraph2* pGraph = nullptr;
  ConstraintSegment2* pSeg = nullptr;
  ConstraintMgr* pMgr = nullptr;
};

}  // namespace

// ----- Label counter and printed form ------------------------------------------------------

TEST(ConstraintSegmentLabel, EverySegmentTakesTheNextLabelAndOnlyNewPairsMakeSegments) {
  Point2 a[3] = {Point2(0, 0), Point2(1, 0), Point2(0, 1)};
  ConstraintSegment2 s0(&a[0], &a[1], CIS_CONSTRAINED_DELAUNAY);
  ConstraintSegment2 s1(&a[0], &a[2], CIS_CONFORMING_DELAUNAY);
  ConstraintSegment2 s2(&a[1], &a[2], CIS_CONSTRAINED_DELAUNAY);
  EXPECT_EQ(s1.getLabel(), s0.getLabel() + 1);
  EXPECT_EQ(s2.getLabel(), s1.getLabel() + 1);

  Zarn_2D dt;
  const std::vector<Point2*> v(insertPoints(dt, {Point2(0, 0), Point2(4, 0), Point2(0, 4), Point2(5, 5)}));
  ConstraintMgr* pMgr(dt.getImpl()->getConstraintMgr());
  ConstraintSegment2* pNew(pMgr->getOrCreateSegment(v[1], v[0], CIS_CONSTRAINED_DELAUNAY));
  EXPECT_EQ(pNew->getLabel(), s2.getLabel() + 1);
  // An existing pair, in either order, is handed out again and constructs nothing.
  EXPECT_EQ(pMgr->getOrCreateSegment(v[0], v[1], CIS_CONFORMING_DELAUNAY), pNew);
  EXPECT_EQ(pNew->getCIS(), CIS_CONSTRAINED_DELAUNAY);
  ConstraintSegment2 s3(&a[0], &a[1], CIS_CONSTRAINED_DELAUNAY);
  EXPECT_EQ(s3.getLabel(), pNew->getLabel() + 1);

  // The pair query of a graph builds a temporary segment: one label, member or not.
  std::vector<Segment2> vSegments{Segment2(Point2(0, 4), Point2(4, 0))};
  ConstraintGraph2* pGraph(dt.createConstraint(vSegments, CIS_CONSTRAINED_DELAUNAY));
  ASSERT_NE(pGraph, nullptr);
  EXPECT_TRUE(libraryCheckValidity(dt));
  ConstraintSegment2 before(&a[0], &a[1], CIS_CONSTRAINED_DELAUNAY);
  EXPECT_TRUE(pGraph->isConstraint(v[2], v[1]));
  ConstraintSegment2 between(&a[0], &a[1], CIS_CONSTRAINED_DELAUNAY);
  EXPECT_FALSE(pGraph->isConstraint(v[0], v[3]));
  ConstraintSegment2 after(&a[0], &a[1], CIS_CONSTRAINED_DELAUNAY);
  EXPECT_EQ(between.getLabel(), before.getLabel() + 2);
  EXPECT_EQ(after.getLabel(), between.getLabel() + 2);
}

TEST(ConstraintSegmentOutput, AliveSegmentPrintsAddressesPointsAndLength) {
  Point2 a[2] = {Point2(0.5, -1.25), Point2(3.5, 2.75)};
  ConstraintSegment2 seg(&a[0], &a[1], CIS_CONSTRAINED_DELAUNAY);
  std::ostringstream expected;
  expected << "ConstraintSegment2 label " << seg.getLabel() << ", " << static_cast<const void*>(&seg) << ": ("
           << static_cast<const void*>(&a[0]) << "," << static_cast<const void*>(&a[1]) << ") [alive]\n"
           << "Point2 (0.5, -1.25)\n"
           << "Point2 (3.5, 2.75)\n"
           << "length=5";
  EXPECT_EQ(toString(seg), expected.str());
}

TEST(ConstraintSegmentOutput, ClearedFlagAndSplitSegmentPrintAsDead) {
  Point2 a[2] = {Point2(0, 0), Point2(0, 2)};
  ConstraintSegment2 seg(&a[0], &a[1], CIS_CONSTRAINED_DELAUNAY);
  const std::string tail(": (" + [&] {
    std::ostringstream oss;
    oss << static_cast<const void*>(&a[0]) << "," << static_cast<const void*>(&a[1]) << ")";
    return oss.str();
  }());
  seg.setDead();
  EXPECT_FALSE(seg.isAlive());
  std::string text(toString(seg));
  EXPECT_NE(text.find(tail + " [DEAD, numChildren=0]\nPoint2 (0, 0)\nPoint2 (0, 2)\nlength=2"), std::string::npos) << text;
  seg.setAlive();
  EXPECT_TRUE(seg.isAlive());
  text = toString(seg);
  EXPECT_NE(text.find(tail + " [alive]\n"), std::string::npos) << text;
}

// ----- Plain members and misuse ------------------------------------------------------------

TEST(ConstraintSegmentBasics, ConstructionRequiresTheLowerAddressFirst) {
  Point2 a[2] = {Point2(0, 0), Point2(1, 0)};
  ConstraintSegment2 before(&a[0], &a[1], CIS_CONSTRAINED_DELAUNAY);
  zarn_test::expectFailedCondition("p0<p1", [&] { ConstraintSegment2 reversed(&a[1], &a[0], CIS_CONSTRAINED_DELAUNAY); });
  EXPECT_EQ(zarn_test::readFile("ZARN_LOG.txt"), "Zarn, Condition [ p0<p1 failed ]\n");
  zarn_test::expectFailedCondition("p0<p1", [&] { ConstraintSegment2 degenerate(&a[0], &a[0], CIS_CONSTRAINED_DELAUNAY); });
  // The label is taken before the check.
  ConstraintSegment2 after(&a[0], &a[1], CIS_CONSTRAINED_DELAUNAY);
  EXPECT_EQ(after.getLabel(), before.getLabel() + 3);
}

TEST(ConstraintSegmentBasics, SplittingAnUnownedSegmentIsRefused) {
  Point2 a[3] = {Point2(0, 0), Point2(2, 0), Point2(1, 0)};
  ConstraintSegment2 seg(&a[0], &a[1], CIS_CONSTRAINED_DELAUNAY);
  zarn_test::expectFailedCondition("!sOwners.empty()", [&] { seg.insertAndSplit(Point2(1, 0)); });
  EXPECT_TRUE(seg.isAlive());
  zarn_test::expectFailedCondition("!sOwners.empty()", [&] { seg.split_combinatorialOnly(&a[2]); });
  EXPECT_TRUE(seg.isAlive());
}

// ----- insertAndSplit ------------------------------------------------------------------------

TEST_F(ForcedSegment, InsertAndSplitInTheMiddleMakesTwoAliveEdges) {
  const size_t numSplits(pMgr->numberOfSplits());
  Point2* pSplit(pSeg->insertAndSplit(Point2(2, 0)));
  ASSERT_NE(pSplit, nullptr);
  ASSERT_TRUE(libraryCheckValidity(dt));
  EXPECT_EQ(pSplit->x(), 2.0);
  EXPECT_EQ(pSplit->y(), 0.0);
  EXPECT_EQ(dt.numberOfPoints(), 5u);
  EXPECT_EQ(pMgr->numberOfSplits(), numSplits + 1);

  ConstraintSegment2 *pKid0(nullptr), *pKid1(nullptr);
  Point2* pReported(nullptr);
  pSeg->getChildrenAndSplitPoint(pKid0, pKid1, pReported);
  EXPECT_EQ(pReported, pSplit);
  EXPECT_EQ(pKid0, dt.getConstraintSegment(pSeg->getSrc(), pSplit));
  EXPECT_EQ(pKid1, dt.getConstraintSegment(pSeg->getTrg(), pSplit));
  ASSERT_NE(pKid0, nullptr);
  ASSERT_NE(pKid1, nullptr);
  EXPECT_FALSE(pSeg->isAlive());
  for (ConstraintSegment2* pKid : {pKid0, pKid1}) {
    EXPECT_TRUE(pKid->isAlive());
    EXPECT_EQ(pKid->getCIS(), CIS_CONSTRAINED_DELAUNAY);
    EXPECT_LT(pKid->getSrc(), pKid->getTrg());
    EXPECT_TRUE(isEdge(dt, pKid->getSrc(), pKid->getTrg()));
    EXPECT_TRUE(dt.isConstraint(pKid->getSrc(), pKid->getTrg()));
    EXPECT_EQ(pKid->getNumberOfOwners(), 1u);
    EXPECT_TRUE(pGraph->isConstraint(pKid));
  }
  EXPECT_FALSE(isEdge(dt, v[0], v[1]));
  EXPECT_FALSE(dt.isConstraint(v[0], v[1]));
  EXPECT_FALSE(pGraph->isConstraint(pSeg));

  // getChildrenRec appends to what the caller has.
  std::vector<ConstraintSegment2*> vLeaves{pSeg};
  pSeg->getChildrenRec(vLeaves);
  EXPECT_EQ(vLeaves, (std::vector<ConstraintSegment2*>{pSeg, pKid0, pKid1}));

  std::vector<ConstraintSegment2*> vAlive;
  dt.getAliveConstraintSegments(vAlive);
  EXPECT_EQ(vAlive.size(), 2u);
  // S-B is no Delaunay edge (D lies in the circle of S, B, C), so the restored Delaunay property
  // around S must have left the constraint alone; C-D stays crossed.
  EXPECT_FALSE(isEdge(dt, v[2], v[3]));

  // An already split segment cannot be split again.
  zarn_test::expectFailedCondition("bAlive", [&] { pSeg->insertAndSplit(Point2(4, 0)); });
  EXPECT_EQ(dt.numberOfPoints(), 5u);
}

TEST_F(ForcedSegment, SplitOfASharedSegmentReachesBothOwnersAndIsCountedOnce) {
  // A second graph takes the same pair, read the other way round.
  std::vector<Segment2> vSegments{Segment2(*pSeg->getTrg(), *pSeg->getSrc())};
  ConstraintGraph2* pOther(dt.createConstraint(vSegments, CIS_CONSTRAINED_DELAUNAY, true));
  ASSERT_NE(pOther, nullptr);
  ASSERT_TRUE(libraryCheckValidity(dt));
  EXPECT_EQ(dt.getConstraintSegment(v[1], v[0]), pSeg);
  EXPECT_EQ(pSeg->getNumberOfOwners(), 2u);
  EXPECT_FALSE(pGraph->isReverse(pSeg));
  EXPECT_TRUE(pOther->isReverse(pSeg));

  const size_t numSplits(pMgr->numberOfSplits());
  Point2* pSplit(pSeg->insertAndSplit(Point2(7.5, 0)));
  ASSERT_NE(pSplit, nullptr);
  ASSERT_TRUE(libraryCheckValidity(dt));
  EXPECT_EQ(pMgr->numberOfSplits(), numSplits + 1);

  ConstraintSegment2* pAtSrc(childAt(pSeg, pSeg->getSrc()));
  ConstraintSegment2* pAtTrg(childAt(pSeg, pSeg->getTrg()));
  ASSERT_NE(pAtSrc, nullptr);
  ASSERT_NE(pAtTrg, nullptr);
  for (ConstraintSegment2* pKid : {pAtSrc, pAtTrg}) {
    EXPECT_EQ(pKid->getNumberOfOwners(), 2u);
    EXPECT_TRUE(pGraph->isConstraint(pKid));
    EXPECT_TRUE(pOther->isConstraint(pKid));
  }
  std::vector<ConstraintSegment2*> vPieces, vOtherPieces;
  pGraph->getChildConstraintSegments(vPieces);
  pOther->getChildConstraintSegments(vOtherPieces);
  EXPECT_EQ(vPieces, vOtherPieces);
  EXPECT_EQ(vPieces.size(), 2u);
}

// The pair (A, M) already exists and is split when the pending segment A-B is split at M: that
// segment is taken over as a child, as it is, and its alive leaves stand in for it. The other
// child M-B is new and no Delaunay edge (E lies in every circle through M and B that leaves D
// out), so the split has to insert it.
//
//          C (2,1)
//   A ---- N ---- M ---E-- B       A (0,0), N (1,0), M (2,0), E (3,0.05), B (4,0)
//          D (2,-1)
class ReusedSubPair : public ::testing::Test {
 protected:
  void SetUp() override {
    const std::vector<Point2*> v(
        insertPoints(dt, {Point2(0, 0), Point2(4, 0), Point2(2, 1), Point2(2, -1), Point2(2, 0), Point2(3, 0.05)}));
    pA = v[0];
    pB = v[1];
    pM = v[4];
    std::vector<Segment2> vAM{Segment2(Point2(0, 0), Point2(2, 0))};
    ASSERT_NE(dt.createConstraint(vAM, CIS_CONSTRAINED_DELAUNAY), nullptr);
    ASSERT_TRUE(libraryCheckValidity(dt));
    pAM = dt.getConstraintSegment(pA, pM);
    ASSERT_NE(pAM, nullptr);
    pN = pAM->insertAndSplit(Point2(1, 0));
    ASSERT_NE(pN, nullptr);
    ASSERT_TRUE(libraryCheckValidity(dt));
    pAN = dt.getConstraintSegment(pA, pN);
    pNM = dt.getConstraintSegment(pN, pM);
    ASSERT_NE(pAN, nullptr);
    ASSERT_NE(pNM, nullptr);

    // A-B is registered but not inserted (it cannot be an edge: M lies on it), so the
    // triangulation is checked again only when the split has made its pieces edges.
    pMgr = dt.getImpl()->getConstraintMgr();
    pGraphAB = pMgr->createConstraint({std::make_pair(pA, pB)}, CIS_CONSTRAINED_DELAUNAY, false, false);
    pAB = dt.getConstraintSegment(pA, pB);
    ASSERT_NE(pAB, nullptr);
    ASSERT_TRUE(pAB->isAlive());
    numSplits = pMgr->numberOfSplits();
    numPoints = dt.numberOfPoints();
    ASSERT_FALSE(isEdge(dt, pM, pB));
    ASSERT_EQ(pAB->insertAndSplit(Point2(2, 0)), pM);
    ASSERT_TRUE(libraryCheckValidity(dt));
    pMB = dt.getConstraintSegment(pM, pB);
    ASSERT_NE(pMB, nullptr);
  }

  Zarn_2D dt;
  Point2 *pA = nullptr, *pB = nullptr, *pM = nullptr, *pN = nullptr;
  ConstraintSegment2 *pAM = nullptr, *pAN = nullptr, *pNM = nullptr, *pAB = nullptr, *pMB = nullptr;
  ConstraintMgr* pMgr = nullptr;
  ConstraintGraph2* pGraphAB = nullptr;
  size_t numSplits = 0;
  unsigned numPoints = 0;
};

TEST_F(ReusedSubPair, ExistingSplitSegmentBecomesAChildAsItIs) {
  EXPECT_EQ(dt.numberOfPoints(), numPoints);
  EXPECT_EQ(pMgr->numberOfSplits(), numSplits + 1);
  ConstraintSegment2 *pKid0(nullptr), *pKid1(nullptr);
  Point2* pSplit(nullptr);
  pAB->getChildrenAndSplitPoint(pKid0, pKid1, pSplit);
  EXPECT_EQ(pSplit, pM);
  if (pAB->getSrc() == pA) {
    EXPECT_EQ(pKid0, pAM);
    EXPECT_EQ(pKid1, pMB);
  } else {
    EXPECT_EQ(pKid0, pMB);
    EXPECT_EQ(pKid1, pAM);
  }
  EXPECT_FALSE(pAM->isAlive());
  EXPECT_TRUE(pMB->isAlive());
  EXPECT_TRUE(pGraphAB->isConstraint(pMB));

  // The new owner is registered on the whole reused subtree.
  EXPECT_EQ(pAM->getNumberOfOwners(), 2u);
  EXPECT_EQ(pAN->getNumberOfOwners(), 2u);
  EXPECT_EQ(pNM->getNumberOfOwners(), 2u);
  EXPECT_EQ(pMB->getNumberOfOwners(), 1u);
  for (ConstraintSegment2* pLeaf : {pAN, pNM, pMB}) EXPECT_TRUE(isEdge(dt, pLeaf->getSrc(), pLeaf->getTrg()));

  // The leaves: below A-M in A-M's own child order.
  std::vector<ConstraintSegment2*> vLeaves, vAMLeaves, vExpected;
  pAB->getChildrenRec(vLeaves);
  pAM->getChildrenRec(vAMLeaves);
  for (ConstraintSegment2* pKid : {pKid0, pKid1}) {
    if (pKid == pAM) {
      vExpected.insert(vExpected.end(), vAMLeaves.begin(), vAMLeaves.end());
    } else {
      vExpected.push_back(pKid);
    }
  }
  EXPECT_EQ(vLeaves, vExpected);
  EXPECT_EQ(vLeaves.size(), 3u);
}

// ----- split_combinatorialOnly ---------------------------------------------------------------

// The pending segment A-B runs through the vertex M; its bookkeeping is split there without
// touching the triangulation.
//
//          C (1,1)
//   A ---- M ---- B      A (0,0), M (1,0), B (2,0)
//          D (1,-1)
TEST(ConstraintSegmentSplit, CombinatorialSplitKeepsTheFlagButKillsTheSegment) {
  Zarn_2D dt;
  const std::vector<Point2*> v(insertPoints(dt, {Point2(0, 0), Point2(2, 0), Point2(1, 1), Point2(1, -1), Point2(1, 0)}));
  Point2 *pA(v[0]), *pB(v[1]), *pM(v[4]);
  ASSERT_TRUE(libraryCheckValidity(dt));
  ConstraintMgr* pMgr(dt.getImpl()->getConstraintMgr());
  pMgr->createConstraint({std::make_pair(pB, pA)}, CIS_CONSTRAINED_DELAUNAY, false, false);
  ConstraintSegment2* pAB(dt.getConstraintSegment(pA, pB));
  ASSERT_NE(pAB, nullptr);

  // Refused: no vertex, or an end vertex. Nothing changes.
  zarn_test::expectFailedCondition("pSplit!=0", [&] { pAB->split_combinatorialOnly(nullptr); });
  zarn_test::expectFailedCondition("p0!=pSplit && p1!=pSplit", [&] { pAB->split_combinatorialOnly(pAB->getTrg()); });
  EXPECT_TRUE(pAB->isAlive());

  const std::vector<TriangleKey> signature(triangleSignature(dt));
  const size_t numSplits(pMgr->numberOfSplits());
  EXPECT_TRUE(pAB->split_combinatorialOnly(pM));
  ASSERT_TRUE(libraryCheckValidity(dt));
  EXPECT_EQ(triangleSignature(dt), signature);
  EXPECT_EQ(dt.numberOfPoints(), 5u);
  EXPECT_EQ(pMgr->numberOfSplits(), numSplits + 1);
  EXPECT_FALSE(pAB->isAlive());
  ConstraintSegment2 *pKid0(nullptr), *pKid1(nullptr);
  Point2* pSplit(nullptr);
  pAB->getChildrenAndSplitPoint(pKid0, pKid1, pSplit);
  EXPECT_EQ(pSplit, pM);
  EXPECT_EQ(pKid0, dt.getConstraintSegment(pAB->getSrc(), pM));
  EXPECT_EQ(pKid1, dt.getConstraintSegment(pAB->getTrg(), pM));
  for (ConstraintSegment2* pKid : {pKid0, pKid1}) {
    ASSERT_NE(pKid, nullptr);
    EXPECT_TRUE(pKid->isAlive());
    EXPECT_EQ(pKid->getNumberOfOwners(), 1u);
    EXPECT_TRUE(dt.isConstraint(pKid->getSrc(), pKid->getTrg()));
  }

  // The flag is still set: a second split fails on the children, not on the flag. A segment
  // split by insertAndSplit fails on the flag.
  const std::string out(zarn_test::expectFailedCondition("vChildren.empty()", [&] { pAB->insertAndSplit(Point2(0.5, 0)); }));
  EXPECT_EQ(out.find("Condition [ bAlive failed ]"), std::string::npos) << out;
  zarn_test::expectFailedCondition("isAlive()", [&] { pAB->split_combinatorialOnly(pM); });
  EXPECT_EQ(dt.numberOfPoints(), 5u);
}
