// createDomainZone: the triangles enclosed by the segments minus the holes, on random points
// around a square ring with a square hole, for both insertion strategies.
#include <gtest/gtest.h>

#include "Zone2.h"
#include "dt2_test_support.h"
#include "test_support.h"

using namespace KORA_ZARN2D;

namespace {

std::vector<Segment2> square(double lo, double hi) {
  const Point2 a(lo, lo), b(hi, lo), c(hi, hi), d(lo, hi);
  return {Segment2(a, b), Segment2(b, c), Segment2(c, d), Segment2(d, a)};
}

}  // namespace

TEST(DomainZone, RingMinusHoleOnRandomPoints) {
  for (unsigned seed = 1; seed <= 8; ++seed) {
    Zarn_2D dt;
    std::vector<Segment2> vOuter(square(0.2, 0.8)), vHole(square(0.4, 0.6));
    Zone2* pDomain(nullptr);
    zarn_test::captureStdout([&] {
      dt.insert(dt2test::randomPoints(400, seed));
      const ConstraintInsertionStrategy cis(seed % 2 == 0 ? CIS_CONFORMING_DELAUNAY : CIS_CONSTRAINED_DELAUNAY);
      std::vector<ConstraintGraph2*> vGraphs{dt.createConstraint(vOuter, cis), dt.createConstraint(vHole, cis)};
      pDomain = createDomainZone(dt, vGraphs, {Point2(0.5, 0.5), Point2(5.0, 5.0)});
    });
    ASSERT_NE(pDomain, nullptr);
    ASSERT_TRUE(dt.checkValidity(true, "domain"));
    std::vector<Triangle2*> vTriangles;
    pDomain->getTriangles(vTriangles);
    double area(0.0);
    for (const Triangle2* pT : vTriangles) {
      const Point2 c(pT->getBarycenter());
      const bool bInRing(c.x() > 0.2 && c.x() < 0.8 && c.y() > 0.2 && c.y() < 0.8);
      const bool bInHole(c.x() > 0.4 && c.x() < 0.6 && c.y() > 0.4 && c.y() < 0.6);
      EXPECT_TRUE(bInRing && !bInHole) << seed << ": " << c;
      area += pT->getArea2D();
    }
    EXPECT_NEAR(area, 0.36 - 0.04, 1e-12) << seed;
  }
}

TEST(DomainZone, OpenSegmentsEncloseNothing) {
  Zarn_2D dt;
  Zone2* pDomain(nullptr);
  std::vector<Segment2> vOpen{Segment2(Point2(0.1, 0.1), Point2(0.9, 0.9))};
  zarn_test::captureStdout([&] {
    dt.insert(dt2test::randomPoints(100, 3));
    pDomain = createDomainZone(dt, {dt.createConstraint(vOpen, CIS_CONSTRAINED_DELAUNAY)}, {});
  });
  ASSERT_NE(pDomain, nullptr);
  EXPECT_EQ(pDomain->getNumberOfTriangles(), 0u);
}
