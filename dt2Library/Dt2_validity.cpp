// Dt2: the validity check (topology, orientation, Euler's relation, hull, Delaunay property)
// and the statistics report. Every geometric test here is exact.
#include <algorithm>
#include <cmath>
#include <functional>
#include <iostream>
#include <sstream>

#include "ConstraintMgr.h"
#include "Dt2.h"
#include "tools.h"

namespace KORA_ZARN2D {

namespace {
constexpr size_t kMaxReportedDefects = 20;  // keeps the report readable on a badly broken mesh
}  // namespace

// Collects defect descriptions; prints the first few.
class Dt2::DefectReport {
 public:
  void add(const std::string& text) {
    if (numDefects++ < kMaxReportedDefects) std::cout << "  defect: " << text << std::endl;
  }
  size_t count() const { return numDefects; }

 private:
  size_t numDefects = 0;
};

namespace {
std::string describe(const Triangle2& t) {
  std::ostringstream oss;
  oss << t;
  return oss.str();
}
}  // namespace

// Every alive constraint segment stands as an edge of the triangulation.
void Dt2::checkConstraintEdges(DefectReport& report) {
  std::vector<ConstraintSegment2*> vAlive;
  pConstraintMgr->getAliveConstraintSegments(vAlive);
  for (ConstraintSegment2* pCSeg : vAlive) {
    if (getAdjacentTriangle(pCSeg->getSrc(), pCSeg->getTrg()) != nullptr || getAdjacentTriangle(pCSeg->getTrg(), pCSeg->getSrc()) != nullptr) {
      continue;
    }
    std::ostringstream oss;
    oss << "alive constraint segment is not an edge: " << *pCSeg->getSrc() << " - " << *pCSeg->getTrg();
    report.add(oss.str());
  }
}

bool Dt2::checkValidity(bool bCheckEmptyCircleProperty, const std::string& name) {
  std::cout << "Dt2::checkValidity(" << name << ")" << std::endl;
  DefectReport report;
  std::vector<Triangle2*> vTriangles;
  getTrianglePointers(vTriangles);
  // A live triangle is a used pool slot with corners (a test per pool block). A used vertex is
  // counted once, at the triangle it names as incident; a vertex whose incident triangle is not
  // valid is reported below. Linear in all, apart from the pool-block tests.
  const auto isLive = [this](const Triangle2* pT) { return trianglePool.contains(pT) && pT->isAlive(); };
  size_t numUsedVertices(0), numHullEdges(0), numDirectedEdges(0);

  for (Triangle2* pT : vTriangles) {
    if (pT->hasVertex(static_cast<const Point2*>(nullptr))) {
      report.add("null corner in " + describe(*pT));
      continue;
    }
    for (int i = 0; i < 3; ++i) {
      Point2* pCorner(pT->getCorner(i));
      if (pCorner->getIncidentTriangle() == pT) ++numUsedVertices;
      if (!vertexVault.isActiveVertex(pCorner)) report.add("corner is not an active vertex in " + describe(*pT));
    }
    if (kora.getOrientation(*pT->getCorner(0), *pT->getCorner(1), *pT->getCorner(2)) != ORIENTATION2_CCW) {
      report.add("triangle is not strictly counterclockwise: " + describe(*pT));
    }
    for (int i = 0; i < 3; ++i) {
      ++numDirectedEdges;
      Triangle2* pN(pT->getOppositeTriangle(i));
      if (pN == nullptr) {
        ++numHullEdges;
        continue;
      }
      if (!isLive(pN)) {
        report.add("neighbour is not a live triangle, in " + describe(*pT));
        continue;
      }
      const Point2* pSrc(pT->getCorner(incIndexBy1(i)));
      const Point2* pTrg(pT->getCorner(incIndexBy2(i)));
      const int j(pN->getIntraTriangleIndex(pT));
      if (pN->getOppositeTriangle(j) != pT || pN->getCorner(incIndexBy1(j)) != pTrg || pN->getCorner(incIndexBy2(j)) != pSrc) {
        report.add("neighbour links are not symmetric between " + describe(*pT) + " and " + describe(*pN));
        continue;
      }
      // Each edge is tested once, from the triangle at the lower address.
      if (bCheckEmptyCircleProperty && std::less<const Triangle2*>()(pT, pN) && !isConstraint(pT, i) &&
          kora.inCircle(*pT->getCorner(0), *pT->getCorner(1), *pT->getCorner(2), *pN->getCorner(j)) > 0) {
        report.add("edge is not locally Delaunay between " + describe(*pT) + " and " + describe(*pN));
      }
    }
  }

  // Every vertex of a two-dimensional triangulation has an incident triangle that contains it.
  std::vector<Point2*> vVertices;
  getVertexPointers(vVertices);
  if (is2D()) {
    for (Point2* pVtx : vVertices) {
      Triangle2* pInc(pVtx->getIncidentTriangle());
      if (pInc == nullptr || !isLive(pInc) || !pInc->hasVertex(pVtx)) {
        std::ostringstream oss;
        oss << "vertex without a valid incident triangle: " << *pVtx;
        report.add(oss.str());
      }
    }
    if (numUsedVertices != vVertices.size()) {
      report.add("the triangles use " + std::to_string(numUsedVertices) + " vertices, the triangulation has " +
                 std::to_string(vVertices.size()));
    }
    // Euler's relation for a triangulated disc: V - E + F = 1, with E = (3F + hull edges) / 2.
    const long numV(static_cast<long>(numUsedVertices)), numF(static_cast<long>(vTriangles.size()));
    const long numE((static_cast<long>(numDirectedEdges) + static_cast<long>(numHullEdges)) / 2);
    if (numV - numE + numF != 1) {
      report.add("Euler's relation fails: V=" + std::to_string(numV) + " E=" + std::to_string(numE) + " F=" + std::to_string(numF));
    }
    checkConstraintEdges(report);
    std::vector<Point2*> vHull;
    if (report.count() == 0) getConvexHull(true, vHull);
    for (size_t i = 0; i < vHull.size(); ++i) {
      const Point2* a(vHull[i]);
      const Point2* b(vHull[(i + 1) % vHull.size()]);
      const Point2* c(vHull[(i + 2) % vHull.size()]);
      if (kora.getOrientation(*a, *b, *c) == ORIENTATION2_CW) report.add("the hull is not convex");
    }
  } else if (!vTriangles.empty()) {
    report.add("a lower-dimensional triangulation holds triangles");
  }

  if (report.count() == 0) {
    std::cout << "  valid: " << vVertices.size() << " vertices, " << vTriangles.size() << " triangles"
              << (bCheckEmptyCircleProperty ? ", Delaunay" : "") << std::endl;
    return true;
  }
  std::cout << "  INVALID: " << report.count() << " defect(s)" << std::endl;
  return false;
}

void Dt2::statistics(const std::string& name) {
  std::vector<Triangle2*> vTriangles;
  getTrianglePointers(vTriangles);
  double area(0.0), minEdge(HUGE_VAL), maxEdge(0.0), sumEdge(0.0), minAngle(HUGE_VAL), maxAngle(0.0);
  size_t numEdges(0);
  for (Triangle2* pT : vTriangles) {
    area += pT->getArea2D();
    for (int i = 0; i < 3; ++i) {
      const double angle(pT->getInteriorAngle2D(i) * 180.0 / M_PI);
      minAngle = std::min(minAngle, angle);
      maxAngle = std::max(maxAngle, angle);
      // Count each undirected edge once: from the triangle with the lower address, or on the hull.
      Triangle2* pN(pT->getOppositeTriangle(i));
      if (pN != nullptr && pN < pT) continue;
      const double len(std::sqrt(pT->getSquaredEdgeLength(i)));
      minEdge = std::min(minEdge, len);
      maxEdge = std::max(maxEdge, len);
      sumEdge += len;
      ++numEdges;
    }
  }
  std::cout << "Statistics " << name << ":" << std::endl;
  std::cout << "  vertices:  " << numberOfPoints() << std::endl;
  std::cout << "  triangles: " << vTriangles.size() << std::endl;
  std::cout << "  edges:     " << numEdges << std::endl;
  std::cout << "  2D:        " << (is2D() ? "yes" : "no") << std::endl;
  if (vTriangles.empty()) return;
  std::cout << "  area:      " << area << std::endl;
  std::cout << "  edge length min/mean/max: " << minEdge << " / " << sumEdge / static_cast<double>(numEdges) << " / " << maxEdge
            << std::endl;
  std::cout << "  interior angle min/max (degrees): " << minAngle << " / " << maxAngle << std::endl;
}

}  // namespace KORA_ZARN2D
