// Zarn_2D: the facade. It checks a few preconditions, turns failures into warnings and forwards
// everything else to its Dt2.
#include "Zarn_2D.h"

#include <iostream>

#include "ConstraintMgr.h"
#include "Dt2.h"
#include "Zone2.h"
#include "tools.h"
#include "webExport.h"

namespace KORA_ZARN2D {

namespace {
// Facade members whose subsystem is not part of this build report it instead of failing silently.
// refine() reports on standard error with an empty line before and after.
void reportToStderr(const std::string& text) { std::cerr << std::endl << text << std::endl << std::endl; }

constexpr double kMaxRefineAngleDegree = 30.0;
}  // namespace

Zarn_2D::Zarn_2D(unsigned int numExpectedVertices) : pImpl(nullptr) { initZarn(numExpectedVertices); }

Zarn_2D::~Zarn_2D() { delete pImpl; }

void Zarn_2D::initZarn(unsigned int numExpectedVertices) { pImpl = new (std::nothrow) Dt2(numExpectedVertices); }

Dt2* Zarn_2D::getImpl() const { return pImpl; }

// ----- Insertion and removal -----

Point2* Zarn_2D::insert(const Point2& p) { return pImpl->insert(p); }

void Zarn_2D::insert(const std::vector<Point2>& vInputPoints) { pImpl->insertVector(vInputPoints, nullptr); }

void Zarn_2D::insert(const std::vector<Point2>& vInputPoints, std::vector<Point2*>& vHandles) {
  pImpl->insertVector(vInputPoints, &vHandles);
}

void Zarn_2D::insert(int numPoints, double* aCoordinates, Point2** aHandles) { pImpl->insert(numPoints, aCoordinates, aHandles); }

double Zarn_2D::measureTriangulationTime(std::vector<Point2>& vPoints) {
  Dt2* pTmp(new Dt2(3));
  pTmp->setNumCPU(pImpl->getNumCPU());
  timer("[quiet] Delaunay point insertion");
  pTmp->insertVector(vPoints, nullptr);
  const double elapsed(timer("[quiet] Delaunay point insertion"));
  delete pTmp;
  return elapsed;
}

void Zarn_2D::remove(Point2* pVertex) { pImpl->remove(pVertex); }

// ----- Queries -----

Triangle2* Zarn_2D::locate(const Point2& p) { return pImpl->locate(p); }

Orientation2 Zarn_2D::getOrientation(const Point2& p0, const Point2& p1, const Point2& p2) {
  return getOrientation2_mt(&p0, &p1, &p2);
}

bool Zarn_2D::is2D() const { return pImpl->is2D(); }
unsigned int Zarn_2D::numberOfPoints() const { return pImpl->numberOfPoints(); }
unsigned int Zarn_2D::numberOfTriangles() const { return pImpl->numberOfTriangles(); }
void Zarn_2D::getTrianglePointers(std::vector<Triangle2*>& vAllTriangles) const { pImpl->getTrianglePointers(vAllTriangles); }
void Zarn_2D::getVertexPointers(std::vector<Point2*>& vAllPoints) const { pImpl->getVertexPointers(vAllPoints); }
void Zarn_2D::getIncidentTriangles(Point2* pVertex, std::vector<Triangle2*>& vIncidentT) const {
  pImpl->getIncidentTriangles(pVertex, vIncidentT);
}
void Zarn_2D::getIncidentVertices(Point2* pVertex, std::vector<Point2*>& vIncidentVertices) const {
  pImpl->getIncidentVertices(pVertex, vIncidentVertices);
}
Triangle2* Zarn_2D::getAdjacentTriangle(Point2* p0, Point2* p1) const { return pImpl->getAdjacentTriangle(p0, p1); }
void Zarn_2D::getConvexHull(bool bAllVertices, std::vector<Point2*>& vHullCorners) { pImpl->getConvexHull(bAllVertices, vHullCorners); }
Bbox2 Zarn_2D::computeBoundingBox() const { return pImpl->computeBoundingBox(); }
bool Zarn_2D::isConstraint(Point2* p0, Point2* p1) const { return pImpl->isConstraint(p0, p1); }
bool Zarn_2D::isConstraint(Point2* pVtx) const { return pImpl->isConstraint(pVtx); }
bool Zarn_2D::isConstraint(Triangle2* pT, int ith) const { return pImpl->isConstraint(pT, ith); }

// ----- Constraints and zones -----

ConstraintSegment2* Zarn_2D::getConstraintSegment(Point2* p0, Point2* p1) const {
  return pImpl->getConstraintMgr()->getConstraintSegment(p0, p1);
}
void Zarn_2D::getAliveConstraintSegments(std::vector<ConstraintSegment2*>& vAliveConstraintSegments) const {
  pImpl->getConstraintMgr()->getAliveConstraintSegments(vAliveConstraintSegments);
}
void Zarn_2D::getAliveAndDeadConstraintSegments(std::vector<ConstraintSegment2*>& vAllConstraintSegments) const {
  pImpl->getConstraintMgr()->getAliveAndDeadConstraintSegments(vAllConstraintSegments);
}

ConstraintGraph2* Zarn_2D::createConstraint(std::vector<Segment2>& vSegments, ConstraintInsertionStrategy cis,
                                            bool bOrientedSegments) {
  if (vSegments.empty()) {
    reportWarning("Zarn_2D::createConstraint()", "You have not supplied any segments. Returning NULL!");
    return nullptr;
  }
  return pImpl->createConstraint(vSegments, cis, bOrientedSegments);
}

void Zarn_2D::applyConstraintsAndZones() {
  if (!is2D()) {
    reportWarning("Zarn2D::applyConstraintsAndZones()", "The triangulation is not 2D yet, can't apply the constraints");
    return;
  }
  pImpl->applyConstraintsAndZones();
}

namespace {
Zone2* warnIfNoZone(Zone2* pZone, bool bVerbose) {
  if (pZone == nullptr && bVerbose) reportWarning("Zarn_2D::createZone(..)", "No zone created, returning NULL (bVerbose==true)");
  return pZone;
}
}  // namespace

Zone2* Zarn_2D::createZone(ConstraintGraph2* pConstraintGraph, ZoneLocation zoneLoc, bool bVerbose) {
  return warnIfNoZone(pImpl->createZone(pConstraintGraph, zoneLoc, bVerbose), bVerbose);
}
Zone2* Zarn_2D::createZone(const std::vector<ConstraintGraph2*>& vConstraintGraphs, ZoneLocation zoneLoc, bool bVerbose) {
  return warnIfNoZone(pImpl->createZone(vConstraintGraphs, zoneLoc, bVerbose), bVerbose);
}
Zone2* Zarn_2D::createZone(ConstraintGraph2* pConstraintGraph, ZoneLocation zoneLoc, const Point2& startPoint, bool bVerbose) {
  return warnIfNoZone(pImpl->createZone(pConstraintGraph, zoneLoc, startPoint, bVerbose), bVerbose);
}
Zone2* Zarn_2D::createZone(const std::vector<ConstraintGraph2*>& vConstraintGraphs, ZoneLocation zoneLoc, const Point2& startPoint,
                           bool bVerbose) {
  return warnIfNoZone(pImpl->createZone(vConstraintGraphs, zoneLoc, startPoint, bVerbose), bVerbose);
}
Zone2* Zarn_2D::createZone(std::vector<Triangle2*>& vTriangles, bool bVerbose) {
  return warnIfNoZone(pImpl->createZone(vTriangles, ZL_BOUNDED, bVerbose), bVerbose);
}

Zone2* Zarn_2D::createZone_cookieCutter(std::vector<Segment2>& vSegments, bool bProtectEdges) {
  return pImpl->createZone_cookieCutter(vSegments, bProtectEdges);
}
void Zarn_2D::deleteZone(Zone2* pZone) { pImpl->deleteZone(pZone); }
Zone2* Zarn_2D::importTriangles(std::vector<Point2>& vPoints, bool bReplace, bool bDeleteOldTriangles) {
  return pImpl->importTriangles(vPoints, bReplace, bDeleteOldTriangles);
}
void Zarn_2D::cutTriangles(std::vector<Segment2>& vSegments, bool bProtectEdges) { pImpl->cutTriangles(vSegments, bProtectEdges); }
void Zarn_2D::cutTriangles(const Point2& p0, const Point2& p1, bool bProtectEdges) {
  std::vector<Segment2> vSegments(1, Segment2(p0, p1));
  cutTriangles(vSegments, bProtectEdges);
}
bool Zarn_2D::drape(std::vector<Segment2>& vSegmentsIn, std::vector<Segment2>& vSegmentsOut) {
  return pImpl->drape(vSegmentsIn, vSegmentsOut);
}

// ----- Mesh generation -----

void Zarn_2D::refine(Zone2* pZone, double minAngleDegree, double minEdgeLength, double maxEdgeLength, bool bAllowConstraintSplitting) {
  if (pZone == nullptr) {
    reportToStderr("Warning: Zarn_2D::refine(..) has been called with pZone==NULL");
    return;
  }
  if (minAngleDegree > kMaxRefineAngleDegree) {
    reportToStderr("Warning: Zarn_2D::refine(..), minAngleDegree can't be >30");
    return;
  }
  pImpl->refine(pZone, minAngleDegree, minEdgeLength, maxEdgeLength, bAllowConstraintSplitting);
}

void Zarn_2D::refineAdvanced(MeshGenParams* pParameters) { pImpl->refineMain2(pParameters); }

bool Zarn_2D::checkZoneQuality(Zone2* pZone, double minAngle, const std::string& postscriptFilename,
                               const AcceptExperimentalFeature& /*accept*/) {
  return pImpl->checkZoneQuality(pZone, minAngle, postscriptFilename);
}

// ----- Checks, output -----

bool Zarn_2D::checkValidity(bool bCheckEmptyCircleProperty, const std::string& s) {
  return pImpl->checkValidity(bCheckEmptyCircleProperty, s);
}
void Zarn_2D::statistics(const std::string& s) { pImpl->statistics(s); }

void Zarn_2D::show(const std::string& filename, bool bWithConstraints) {
  Visualizer2 vis;
  show(&vis, bWithConstraints);
  vis.write(filename);
}

void Zarn_2D::show(Visualizer2* pVis, bool bWithConstraints) {
  if (pVis == nullptr) return;
  std::vector<Triangle2*> vTriangles;
  getTrianglePointers(vTriangles);
  pVis->addTriangles(vTriangles);
  if (bWithConstraints) pImpl->addConstraintsTo(pVis);
}

void Zarn_2D::writeObj(const std::string& filename) { writeObj(filename, nullptr); }

void Zarn_2D::writeObj(const std::string& filename, Zone2* pZone) {
  if (!is2D()) {
    reportError("Dt2::show()", "The triangulation is not full dimensional yet, no visualization");
    return;
  }
  std::vector<Triangle2*> vTriangles;
  if (collectExportTriangles(pZone, "Dt2::writeObj()", vTriangles)) writeObjFile(filename, vTriangles);
}

void Zarn_2D::writeWebScene(const char* path) { writeWebScene(path, nullptr); }

void Zarn_2D::writeWebScene(const char* path, Zone2* pZone) {
  std::vector<Triangle2*> vTriangles;
  if (collectExportTriangles(pZone, "Dt2::writeWebScene()", vTriangles)) writeWebSceneFiles(path, vTriangles);
}

bool Zarn_2D::collectExportTriangles(Zone2* pZone, const char* where, std::vector<Triangle2*>& vTriangles) const {
  if (pZone == nullptr) {
    getTrianglePointers(vTriangles);
    return true;
  }
  if (!pImpl->hasZone(pZone)) {
    reportWarning(where, "The zone does not belong to this triangulation, nothing written");
    return false;
  }
  pZone->getTriangles(vTriangles);
  return true;
}

// ----- Messages and settings -----

void Zarn_2D::subscribe(MsgType msgType, MsgBase* pMsg) { pImpl->subscribe(msgType, pMsg); }
void Zarn_2D::unsubscribe(MsgType msgType, MsgBase* pMsg) { pImpl->unsubscribe(msgType, pMsg); }
int Zarn_2D::setNumCPU(int numCPU) { return pImpl->setNumCPU(numCPU); }
void Zarn_2D::enableMultithreading() { setNumCPU(0); }
void Zarn_2D::setName(const std::string& s) { pImpl->setName(s); }
std::string Zarn_2D::getName() const { return pImpl->getName(); }
void Zarn_2D::setDev(const std::string& s, int i, double d) { pImpl->setDev(s, i, d); }

void Zarn_2D::internal(int au, int bu, std::string /*s*/) {
  if (au == -7 && (bu == -1000 || bu == -2000)) std::cout << "internal debug is disbled in your version" << std::endl;
}

}  // namespace KORA_ZARN2D
