// Constraint segments: the label counter, the printed form, the split tree of both split operations
// (children, split vertex, alive leaves) and the assertions that guard misuse. Splits happen in
// small triangulations checked by the exact oracle and the bookkeeping oracle after every change.
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "ConstraintMgr.h"
#include "Dt2.h"
#include "cdt_test_support.h"
#include "dt2_test_support.h"
#include "test_support.h"

using namespace KORA_ZARN2D;
using namespace cdttest;
using zarn_test::expectFailedCondition;

namespace {

std::string toString(const ConstraintSegment2& seg) {
  std::ostringstream oss;
  oss << seg;
  return oss.str();
}

/// The children and split vertex of a split segment, each child checked against the registry.
void expectChildren(const Zarn_2D& dt, ConstraintSegment2* pParent, Point2* pWantSplit) {
  ConstraintSegment2 *pKid0(nullptr), *pKid1(nullptr);
  Point2* pSplit(nullptr);
  pParent->getChildrenAndSplitPoint(pKid0, pKid1, pSplit);
  EXPECT_EQ(pSplit, pWantSplit);
  EXPECT_EQ(pKid0, dt.getConstraintSegment(pParent->getSrc(), pWantSplit));
  EXPECT_EQ(pKid1, dt.getConstraintSegment(pParent->getTrg(), pWantSplit));
  EXPECT_FALSE(pParent->isAlive());
  for (ConstraintSegment2* pKid : {pKid0, pKid1}) EXPECT_TRUE(pKid != nullptr && pKid->getCIS() == pParent->getCIS());
}

}  // namespace

TEST(ConstraintSegmentLabel, EverySegmentTakesTheNextLabelAndOnlyNewPairsMakeSegments) {
  Point2 a[3] = {Point2(0, 0), Point2(1, 0), Point2(0, 1)};
  ConstraintSegment2 s0(&a[0], &a[1], CIS_CONSTRAINED_DELAUNAY);
  ConstraintSegment2 s1(&a[0], &a[2], CIS_CONFORMING_DELAUNAY);
  EXPECT_EQ(s1.getLabel(), s0.getLabel() + 1);
  // The label is taken before the address check.
  expectFailedCondition("p0<p1", [&] { ConstraintSegment2 reversed(&a[1], &a[0], CIS_CONSTRAINED_DELAUNAY); });
  EXPECT_EQ(zarn_test::readFile("ZARN_LOG.txt"), "Zarn, Condition [ p0<p1 failed ]\n");
  expectFailedCondition("p0<p1", [&] { ConstraintSegment2 degenerate(&a[0], &a[0], CIS_CONSTRAINED_DELAUNAY); });

  Zarn_2D dt;
  const std::vector<Point2*> v(insertPoints(dt, {Point2(0, 0), Point2(4, 0), Point2(0, 4), Point2(5, 5)}));
  ConstraintMgr* pMgr(dt.getImpl()->getConstraintMgr());
  ConstraintSegment2* pNew(pMgr->getOrCreateSegment(v[1], v[0], CIS_CONSTRAINED_DELAUNAY));
  EXPECT_EQ(pNew->getLabel(), s1.getLabel() + 3);
  // An existing pair, in either order, is handed out again and constructs nothing.
  EXPECT_EQ(pMgr->getOrCreateSegment(v[0], v[1], CIS_CONFORMING_DELAUNAY), pNew);
  EXPECT_EQ(pNew->getCIS(), CIS_CONSTRAINED_DELAUNAY);
  ConstraintSegment2 next(&a[0], &a[1], CIS_CONSTRAINED_DELAUNAY);
  EXPECT_EQ(next.getLabel(), pNew->getLabel() + 1);
  // The pair query of a graph builds a temporary segment: one label, member or not.
  std::vector<Segment2> vSegments{Segment2(Point2(0, 4), Point2(4, 0))};
  ConstraintGraph2* pGraph(dt.createConstraint(vSegments, CIS_CONSTRAINED_DELAUNAY));
  ConstraintSegment2 before(&a[0], &a[1], CIS_CONSTRAINED_DELAUNAY);
  EXPECT_TRUE(pGraph->isConstraint(v[2], v[1]));
  EXPECT_FALSE(pGraph->isConstraint(v[0], v[3]));
  ConstraintSegment2 after(&a[0], &a[1], CIS_CONSTRAINED_DELAUNAY);
  EXPECT_EQ(after.getLabel(), before.getLabel() + 3);
}

TEST(ConstraintSegmentOutput, PrintsLabelAddressesStatePointsAndLength) {
  Point2 a[3] = {Point2(0.5, -1.25), Point2(3.5, 2.75), Point2(2, 0.75)};
  ConstraintSegment2 seg(&a[0], &a[1], CIS_CONSTRAINED_DELAUNAY);
  std::ostringstream head;
  head << "ConstraintSegment2 label " << seg.getLabel() << ", " << static_cast<const void*>(&seg) << ": ("
       << static_cast<const void*>(&a[0]) << "," << static_cast<const void*>(&a[1]) << ")";
  EXPECT_EQ(toString(seg), head.str() + " [alive]\nPoint2 (0.5, -1.25)\nPoint2 (3.5, 2.75)\nlength=5");
  seg.setDead();
  EXPECT_FALSE(seg.isAlive());
  EXPECT_EQ(toString(seg), head.str() + " [DEAD, numChildren=0]\nPoint2 (0.5, -1.25)\nPoint2 (3.5, 2.75)\nlength=5");
  seg.setAlive();
  EXPECT_TRUE(seg.isAlive());
  // Split only within a triangulation.
  zarn_test::expectFailedCondition("!sOwners.empty()", [&] { seg.insertAndSplit(a[2]); });
  zarn_test::expectFailedCondition("!sOwners.empty()", [&] { seg.split_combinatorialOnly(&a[2]); });
  EXPECT_TRUE(seg.isAlive());
}

// A constraint forced through the Delaunay edge C-D, then split at S: the children are alive
// constraint edges, and S-B is no Delaunay edge (D lies in the circle of S, B, C), so the
// Delaunay repair around S must leave the constraint alone.
//
//              C (5, 0.5)
//   A (0,0) ------ S (2,0) ------ B (10,0)
//              D (5,-0.5)
TEST(ConstraintSegmentSplit, InsertAndSplitMakesTwoAliveEdgesAndRefusesASecondSplit) {
  const std::vector<Point2> vPoints{Point2(0, 0), Point2(10, 0), Point2(5, 0.5), Point2(5, -0.5)};
  const std::vector<Segment2> vSegments{Segment2(vPoints[0], vPoints[1])};
  Zarn_2D dt;
  const std::vector<Point2*> v(insertPoints(dt, vPoints));
  create(dt, vSegments, CIS_CONSTRAINED_DELAUNAY);
  ConstraintSegment2* pSeg(dt.getConstraintSegment(v[0], v[1]));
  ASSERT_NE(pSeg, nullptr);
  Point2* pSplit(pSeg->insertAndSplit(Point2(2, 0)));
  ASSERT_NE(pSplit, nullptr);
  EXPECT_EQ(*pSplit, Point2(2, 0));
  EXPECT_TRUE(validCdt(dt, vPoints, vSegments));
  EXPECT_TRUE(isBookkeepingConsistent(dt));
  expectChildren(dt, pSeg, pSplit);
  EXPECT_EQ(aliveSegments(dt).size(), 2u);
  EXPECT_FALSE(isEdge(dt, v[2], v[3]));
  // getChildrenRec appends to what the caller has.
  std::vector<ConstraintSegment2*> vLeaves{pSeg};
  pSeg->getChildrenRec(vLeaves);
  EXPECT_EQ(vLeaves, (std::vector<ConstraintSegment2*>{pSeg, dt.getConstraintSegment(v[0], pSplit), dt.getConstraintSegment(v[1], pSplit)}));
  expectFailedCondition("bAlive", [&] { pSeg->insertAndSplit(Point2(4, 0)); });
  EXPECT_EQ(dt.numberOfPoints(), 5u);
}

// The pending segment A-B runs through the vertex M; its bookkeeping is split there without
// touching the triangulation. The flag stays set: a second split fails on the children.
//
//          C (1,1)
//   A ---- M ---- B      A (0,0), M (1,0), B (2,0)
//          D (1,-1)
TEST(ConstraintSegmentSplit, CombinatorialSplitKeepsTheFlagButKillsTheSegment) {
  const std::vector<Point2> vPoints{Point2(0, 0), Point2(2, 0), Point2(1, 1), Point2(1, -1), Point2(1, 0)};
  Zarn_2D dt;
  const std::vector<Point2*> v(insertPoints(dt, vPoints));
  ConstraintMgr* pMgr(dt.getImpl()->getConstraintMgr());
  pMgr->createConstraint({std::make_pair(v[1], v[0])}, CIS_CONSTRAINED_DELAUNAY, false, false);
  ConstraintSegment2* pAB(dt.getConstraintSegment(v[0], v[1]));
  ASSERT_NE(pAB, nullptr);
  expectFailedCondition("pSplit!=0", [&] { pAB->split_combinatorialOnly(nullptr); });
  expectFailedCondition("p0!=pSplit && p1!=pSplit", [&] { pAB->split_combinatorialOnly(pAB->getTrg()); });
  EXPECT_TRUE(pAB->isAlive());

  const std::vector<dt2test::TriangleKey> signature(dt2test::triangleSignature(dt));
  EXPECT_TRUE(pAB->split_combinatorialOnly(v[4]));
  EXPECT_EQ(dt2test::triangleSignature(dt), signature);
  EXPECT_TRUE(validCdt(dt, vPoints, {Segment2(vPoints[0], vPoints[1])}));
  EXPECT_TRUE(isBookkeepingConsistent(dt));
  expectChildren(dt, pAB, v[4]);
  const std::string out(expectFailedCondition("vChildren.empty()", [&] { pAB->insertAndSplit(Point2(0.5, 0)); }));
  EXPECT_EQ(out.find("Condition [ bAlive failed ]"), std::string::npos) << out;
  expectFailedCondition("isAlive()", [&] { pAB->split_combinatorialOnly(v[4]); });
  EXPECT_EQ(dt.numberOfPoints(), 5u);
}
