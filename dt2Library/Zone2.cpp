// Zone2: rules, the triangles computed from them, figures and new zones made from a zone.
#include "Zone2.h"

#include <algorithm>
#include <functional>
#include <iostream>

#include "ConstraintGraph2.h"
#include "Dt2.h"
#include "UserPredicateT.h"
#include "Visualizer2.h"
#include "ZoneSearch.h"
#include "freeFunctions.h"
#include "tools.h"
#include "triangleFigures.h"

namespace KORA_ZARN2D {

UserPredicateT::~UserPredicateT() = default;

namespace {
const char* const kConstructor = "Zone2::Zone2(..)";

bool anyNotOriented(const std::vector<ConstraintGraph2*>& vGraphs) {
  return std::any_of(vGraphs.begin(), vGraphs.end(), [](const ConstraintGraph2* p) { return p == nullptr || !p->isOriented(); });
}
}  // namespace

// ----- Construction -----

Zone2::Zone2(Dt2* pDt, ZoneLocation zoneLoc) : pDt(pDt), zoneLoc(zoneLoc) {}

Zone2::Zone2(Dt2* pDt, ZoneLocation zoneLoc, ConstraintGraph2* pConstraintGraph) : pDt(pDt), zoneLoc(zoneLoc) {
  if (zoneLoc != ZL_INSIDE && zoneLoc != ZL_OUTSIDE && zoneLoc != ZL_BOUNDED) {
    reportError(kConstructor, "The ZoneLocation for this constructor can only be one of ZL_INSIDE, ZL_OUTSIDE, ZL_BOUNDED");
    std::cout << "zoneLoc=" << zoneLoc << std::endl;
  } else if (pConstraintGraph == nullptr) {
    reportError(kConstructor, "The ConstraintGraph is NULL");
  } else if (!pConstraintGraph->isOriented()) {
    reportError(kConstructor, "The ConstraintGraph is not oriented");
  } else {
    vConstraintGraphs.push_back(pConstraintGraph);
  }
}

Zone2::Zone2(Dt2* pDt, ZoneLocation zoneLoc, const std::vector<ConstraintGraph2*>& vGraphs) : pDt(pDt), zoneLoc(zoneLoc) {
  if (zoneLoc != ZL_INSIDE && zoneLoc != ZL_OUTSIDE) {
    reportError(kConstructor, "ZoneLocation for this constructor must be ZL_INSIDE or ZL_OUTSIDE!");
  } else if (vGraphs.empty()) {
    reportError(kConstructor, "vConstraintGraphs is empty");
  } else if (anyNotOriented(vGraphs)) {
    reportError(kConstructor, "One of the ConstraintGraphs is not oriented!");
  } else {
    vConstraintGraphs = vGraphs;
  }
}

Zone2::Zone2(Dt2* pDt, const std::vector<ConstraintGraph2*>& vGraphs, ZoneLocation zoneLoc, const std::vector<Point2>& vStartPoints)
    : pDt(pDt), zoneLoc(zoneLoc), vConstraintGraphs(vGraphs), vStartPoints(vStartPoints) {}

Zone2::Zone2(Dt2* pDt, const std::vector<ConstraintGraph2*>& vGraphs, FromHull)
    : pDt(pDt), zoneLoc(ZL_GROW), vConstraintGraphs(vGraphs), bFromHull(true) {}

Zone2::Zone2(Dt2* pDt, const std::vector<Triangle2*>& vTriangles) : pDt(pDt), zoneLoc(ZL_GROW) {
  vSnapshot.reserve(vTriangles.size());
  for (Triangle2* pT : vTriangles) vSnapshot.push_back(SnapshotTriangle{pT, {pT->getCorner(0), pT->getCorner(1), pT->getCorner(2)}});
}

// ----- The rule -----

void Zone2::getConstraintGraphs(std::vector<ConstraintGraph2*>& vGraphs) const {
  vGraphs.insert(vGraphs.end(), vConstraintGraphs.begin(), vConstraintGraphs.end());
}

ConstraintGraph2* Zone2::getConstraintGraph() const {
  if (vConstraintGraphs.size() > 1) {
    reportWarning("Zone2::getConstraintGraph()",
                  "There is more than one constraint graph, use Zone2::getConstraintGraphs() instead. Returning NULL");
    return nullptr;
  }
  return vConstraintGraphs.empty() ? nullptr : vConstraintGraphs[0];
}

void Zone2::getInputZones(std::vector<Zone2*>& vZones) const { vZones.insert(vZones.end(), vInputZones.begin(), vInputZones.end()); }

bool Zone2::hasInputZone(const Zone2* pZone) const {
  return std::find(vInputZones.begin(), vInputZones.end(), pZone) != vInputZones.end();
}

// ----- The triangles -----

void Zone2::getTriangles(std::vector<Triangle2*>& vTriangles) const {
  if (!pDt->is2D()) {
    reportWarning("Zone2::getTriangles()", "is2D() is false, nothing to return");
    return;
  }
  switch (zoneLoc) {
    case ZL_GLOBAL: {
      vTriangles.reserve(vTriangles.size() + pDt->numberOfTriangles());
      ZoneSearch search(pDt, vConstraintGraphs);
      const size_t first(vTriangles.size());
      search.seed(pDt->getAnyTriangle(), vTriangles);
      search.run(vTriangles, first);
      break;
    }
    case ZL_INSIDE:
    case ZL_BOUNDED:
      searchInside(true, vTriangles);
      break;
    case ZL_OUTSIDE:
      searchInside(false, vTriangles);
      break;
    case ZL_GROW:
      if (bFromHull) growFromHull(vTriangles);
      pDt->growZoneArea(vConstraintGraphs, vStartPoints, vTriangles);
      for (const SnapshotTriangle& t : vSnapshot) {
        if (t.pT->isAlive() && t.pT->isSame(t.aCorners[0], t.aCorners[1], t.aCorners[2])) vTriangles.push_back(t.pT);
      }
      break;
    case ZL_RESULT_UNION:
    case ZL_RESULT_INTERSECTION:
    case ZL_RESULT_DIFFERENCE:
    case ZL_RESULT_SYMMETRIC_DIFFERENCE:
      computeSetOperation(vTriangles);
      break;
    default:
      reportError("Zone2::getTriangles()", "unknown zoneLoc value");
  }
}

void Zone2::growFromHull(std::vector<Triangle2*>& vTriangles) const {
  std::vector<Triangle2*> vAll;
  pDt->getTrianglePointers(vAll);
  ZoneSearch search(pDt, vConstraintGraphs);
  const size_t first(vTriangles.size());
  for (Triangle2* pT : vAll) {
    for (int i = 0; i < 3; ++i) {
      if (pT->getOppositeTriangle(i) == nullptr && !pDt->isConstraint(pT, i)) search.seed(pT, vTriangles);
    }
  }
  search.run(vTriangles, first);
}

// The workspace: the triangle left (inside) or right (outside) of every piece. A piece that
// occurs twice (shared by two rings, or given back and forth) starts nothing: its sides belong
// to the zone only if reached from elsewhere.
void Zone2::searchInside(bool bInside, std::vector<Triangle2*>& vTriangles) const {
  ZoneSearch search(pDt, vConstraintGraphs);
  const size_t first(vTriangles.size());
  for (const ZoneSearch::Piece& piece : search.getPieces()) {
    if (!piece.bShared) search.seed(bInside ? piece.pLeft : piece.pRight, vTriangles);
  }
  search.run(vTriangles, first);
}

// Both operands' triangles are computed first (each search takes its own marks), then the first
// operand's triangles get mark inA and those also in the second one inBoth.
void Zone2::computeSetOperation(std::vector<Triangle2*>& vTriangles) const {
  if (vInputZones.size() != 2) return;
  std::vector<Triangle2*> vA, vB;
  vInputZones[0]->getTriangles(vA);
  vInputZones[1]->getTriangles(vB);
  const uint32_t inA(pDt->newMarks(2)), inBoth(inA + 1);
  for (Triangle2* pT : vA) pT->setMark(inA);
  for (Triangle2* pT : vB) {
    if (pT->getMark() == inA) pT->setMark(inBoth);
  }
  const auto appendIf = [&vTriangles](const std::vector<Triangle2*>& vFrom, auto take) {
    for (Triangle2* pT : vFrom) {
      if (take(pT->getMark())) vTriangles.push_back(pT);
    }
  };
  const auto onlyA = [inA](uint32_t m) { return m == inA; };
  const auto notInBoth = [inBoth](uint32_t m) { return m != inBoth; };
  switch (zoneLoc) {
    case ZL_RESULT_UNION:
      vTriangles.insert(vTriangles.end(), vA.begin(), vA.end());
      appendIf(vB, notInBoth);
      break;
    case ZL_RESULT_INTERSECTION:
      appendIf(vA, [inBoth](uint32_t m) { return m == inBoth; });
      break;
    case ZL_RESULT_DIFFERENCE:
      appendIf(vA, onlyA);
      break;
    default:  // ZL_RESULT_SYMMETRIC_DIFFERENCE
      appendIf(vA, onlyA);
      appendIf(vB, notInBoth);
  }
}

size_t Zone2::getNumberOfTriangles() const {
  std::vector<Triangle2*> vTriangles;
  getTriangles(vTriangles);
  return vTriangles.size();
}

void Zone2::getVertices(std::vector<Point2*>& vVertices) const {
  std::vector<Triangle2*> vTriangles;
  getTriangles(vTriangles);
  appendDistinctCorners(vTriangles, vVertices);
}

void Zone2::appendDistinctCorners(const std::vector<Triangle2*>& vTriangles, std::vector<Point2*>& vVertices) {
  std::vector<Point2*> vCorners;
  vCorners.reserve(3 * vTriangles.size());
  for (const Triangle2* pT : vTriangles) {
    for (int i = 0; i < 3; ++i) vCorners.push_back(pT->getCorner(i));
  }
  std::sort(vCorners.begin(), vCorners.end(), std::less<Point2*>());
  vVertices.insert(vVertices.end(), vCorners.begin(), std::unique(vCorners.begin(), vCorners.end()));
}

double Zone2::getArea2D() const {
  std::vector<Triangle2*> vTriangles;
  getTriangles(vTriangles);
  double area(0.0);
  for (const Triangle2* pT : vTriangles) area += pT->getArea2D();
  return area;
}

Bbox2 Zone2::getBoundingBox() const {
  std::vector<Triangle2*> vTriangles;
  getTriangles(vTriangles);
  Bbox2 box;
  for (const Triangle2* pT : vTriangles) {
    for (int i = 0; i < 3; ++i) box.add(*pT->getCorner(i));
  }
  return box;
}

void Zone2::getBoundaryEdges(std::vector<Edge2>& vEdges) const {
  std::vector<Triangle2*> vTriangles;
  getTriangles(vTriangles);
  const uint32_t inZone(pDt->newMark());
  for (Triangle2* pT : vTriangles) pT->setMark(inZone);
  forEachBorderEdge(
      vTriangles, [inZone](const Triangle2* pN) { return pN->getMark() == inZone; },
      [&vEdges](Triangle2* pT, int i) { vEdges.emplace_back(pT, i); });
}

void Zone2::getBoundarySegments(std::vector<Segment2>& vSegments) const {
  std::vector<Edge2> vEdges;
  getBoundaryEdges(vEdges);
  vSegments.reserve(vSegments.size() + vEdges.size());
  for (const Edge2& edge : vEdges) vSegments.emplace_back(*edge.getSrc(), *edge.getTrg());
}

void Zone2::getBorderEdges(std::vector<Edge2>& vEdges) const { getBoundaryEdges(vEdges); }

// ----- New zones -----

Zone2* Zone2::convertToBoundedZone() {
  std::vector<Triangle2*> vTriangles;
  getTriangles(vTriangles);
  if (vTriangles.empty()) {
    reportWarning("Zone2::convertToBoundedZone()", "No triangles available, returning NULL");
    return nullptr;
  }
  return pDt->createZone(vTriangles, ZL_BOUNDED, true);
}

// The components are collected first: making a zone takes fresh marks.
void Zone2::getComponents(std::vector<Zone2*>& vComponents) const {
  std::vector<std::vector<Triangle2*>> vvComponents;
  getComponentTriangles(vvComponents);
  for (std::vector<Triangle2*>& vComponent : vvComponents) vComponents.push_back(pDt->createZone(vComponent, ZL_BOUNDED, true));
}

void Zone2::getComponentTriangles(std::vector<std::vector<Triangle2*>>& vvComponents) const {
  std::vector<Triangle2*> vTriangles;
  getTriangles(vTriangles);
  const uint32_t unvisited(pDt->newMarks(2)), visited(unvisited + 1);
  for (Triangle2* pT : vTriangles) pT->setMark(unvisited);
  for (Triangle2* pSeed : vTriangles) {
    if (pSeed->getMark() != unvisited) continue;
    vvComponents.emplace_back(1, pSeed);
    std::vector<Triangle2*>& vComponent(vvComponents.back());
    pSeed->setMark(visited);
    for (size_t i = 0; i < vComponent.size(); ++i) {
      for (int k = 0; k < 3; ++k) {
        Triangle2* pN(vComponent[i]->getOppositeTriangle(k));
        if (pN == nullptr || pN->getMark() != unvisited) continue;
        pN->setMark(visited);
        vComponent.push_back(pN);
      }
    }
  }
}

// Marks: member not yet asked, member kept (asked, false), peeled. The queue holds border
// triangles; a triangle is asked once, when it is first taken from the queue as a member.
Zone2* Zone2::peelOffIf(UserPredicateT* pPredicate, bool bVerbose) {
  const char* const where("Zone2::peelOffIf()");
  if (pPredicate == nullptr) {
    if (bVerbose) reportWarning(where, "pPredicate is NULL, returning NULL");
    return nullptr;
  }
  std::vector<Triangle2*> vTriangles;
  getTriangles(vTriangles);
  const uint32_t unasked(pDt->newMarks(3)), kept(unasked + 1), peeled(unasked + 2);
  for (Triangle2* pT : vTriangles) pT->setMark(unasked);
  const auto isMember = [unasked, kept](const Triangle2* pT) { return pT->getMark() == unasked || pT->getMark() == kept; };
  std::vector<Triangle2*> vQueue;
  forEachBorderEdge(vTriangles, isMember, [&vQueue](Triangle2* pT, int) { vQueue.push_back(pT); });
  for (size_t i = 0; i < vQueue.size(); ++i) {
    Triangle2* pT(vQueue[i]);
    if (pT->getMark() != unasked) continue;
    if (!(*pPredicate)(pT)) {
      pT->setMark(kept);
      continue;
    }
    pT->setMark(peeled);
    for (int k = 0; k < 3; ++k) {
      Triangle2* pN(pT->getOppositeTriangle(k));
      if (pN != nullptr && pN->getMark() == unasked) vQueue.push_back(pN);
    }
  }
  std::vector<Triangle2*> vRest;
  for (Triangle2* pT : vTriangles) {
    if (pT->getMark() != peeled) vRest.push_back(pT);
  }
  if (vRest.empty()) {
    if (bVerbose) reportWarning(where, "No triangles left, returning NULL");
    return nullptr;
  }
  return pDt->createZone(vRest, ZL_BOUNDED, bVerbose);
}

// ----- Output -----

void Zone2::statistics(const std::string& name) const {
  std::vector<Triangle2*> vTriangles;
  getTriangles(vTriangles);
  std::vector<Point2*> vVertices;
  appendDistinctCorners(vTriangles, vVertices);
  const uint32_t inZone(pDt->newMark());
  for (Triangle2* pT : vTriangles) pT->setMark(inZone);
  const TriangleFigures figures(computeFigures(vTriangles, [inZone](const Triangle2* pN) { return pN->getMark() == inZone; }));
  std::cout << "\n\n\n********* ZONE STATISTICS (" + name + ") **********\n\n";
  std::cout << "  zone location:     " << zoneLoc << std::endl;
  std::cout << "  constraint graphs: " << vConstraintGraphs.size() << std::endl;
  std::cout << "  triangles:         " << vTriangles.size() << std::endl;
  std::cout << "  vertices:          " << vVertices.size() << std::endl;
  std::cout << "  edges:             " << figures.numEdges << std::endl;
  printFigures(std::cout, figures);
}

void Zone2::show(const std::string& filename, bool bShowFull, bool bWithConstraints) const {
  Visualizer2 vis;
  show(&vis, bShowFull, bWithConstraints);
  vis.write(filename);
}

void Zone2::show(Visualizer2* pVis, bool bShowFull, bool bWithConstraints) const {
  if (bShowFull) {
    std::vector<Triangle2*> vAll;
    pDt->getTrianglePointers(vAll);
    pVis->addTriangles(vAll, Color(CGREY, 0.2), false);
  }
  std::vector<Triangle2*> vTriangles;
  getTriangles(vTriangles);
  pVis->addTriangles(vTriangles, Color(CDARKBLUE, 0.3), true);
  if (bWithConstraints) pDt->addConstraintsTo(pVis);
}

}  // namespace KORA_ZARN2D

namespace KORA_ZARN2D {

// ----- Set operations -----

namespace {
Zone2* makeResultZone(ZoneLocation zoneLoc, const char* where, Zone2* pZone0, Zone2* pZone1) {
  if (pZone0 == nullptr || pZone1 == nullptr) {
    reportWarning(where, "One of the zones is NULL, returning NULL");
    return nullptr;
  }
  if (pZone0->getDelaunayTriangulation() != pZone1->getDelaunayTriangulation()) {
    reportWarning(where, "The zones must belong to the same triangulation! Returning NULL");
    return nullptr;
  }
  return pZone0->getDelaunayTriangulation()->createResultZone(zoneLoc, pZone0, pZone1);
}
}  // namespace

// The location labels differ on purpose: the union names its class, the others do not.
Zone2* zoneUnion(Zone2* pZone0, Zone2* pZone1) { return makeResultZone(ZL_RESULT_UNION, "Zone2::zoneUnion(...)", pZone0, pZone1); }
Zone2* zoneIntersection(Zone2* pZone0, Zone2* pZone1) {
  return makeResultZone(ZL_RESULT_INTERSECTION, "zoneUnion(...)", pZone0, pZone1);
}
Zone2* zoneDifference(Zone2* pZone0, Zone2* pZone1) { return makeResultZone(ZL_RESULT_DIFFERENCE, "zoneUnion(...)", pZone0, pZone1); }
Zone2* zoneSymmetricDifference(Zone2* pZone0, Zone2* pZone1) {
  return makeResultZone(ZL_RESULT_SYMMETRIC_DIFFERENCE, "zoneUnion(...)", pZone0, pZone1);
}

}  // namespace KORA_ZARN2D
