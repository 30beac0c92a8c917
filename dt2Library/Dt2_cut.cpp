// Dt2: cutting segments into the triangulation and draping segments over it.
//
// Both start from the stations of a segment: the points where it meets the triangulation's edges,
// in order along it (its ends where they lie in the triangulation, the vertices on it, and its
// crossings with edges, computed exactly and rounded to the nearest doubles). Draping returns the
// pieces between consecutive stations. Cutting inserts the stations as vertices without flips, so
// that every crossed triangle is subdivided and triangles away from the cut keep their shape.
#include <algorithm>
#include <cmath>

#include "ConstraintMgr.h"
#include "Dt2.h"
#include "Zone2.h"
#include "tools.h"

namespace KORA_ZARN2D {

namespace {
// A cut piece that is not an edge after this many repairs (vertices on it, crossed constraints,
// re-triangulated cavities) is left as it is: only a pile-up of rounded crossings gets there.
constexpr int kMaxRepairsPerPiece = 64;

bool isFinite(const Point2& p) { return std::isfinite(p.x()) && std::isfinite(p.y()); }

// Segments with a non-finite coordinate or equal ends have no pieces; counted for one warning.
bool isUsable(const Segment2& seg, size_t& numSkipped) {
  if (isFinite(seg.getSrc()) && isFinite(seg.getTrg()) && !(seg.getSrc() == seg.getTrg())) return true;
  ++numSkipped;
  return false;
}

// True when an edge at pVtx lies on the hull. O(degree).
bool isOnHull(Point2* pVtx) {
  return Dt2::findAround(pVtx, [](const Triangle2* pT, int k) {
           return pT->getOppositeTriangle(incIndexBy1(k)) == nullptr || pT->getOppositeTriangle(incIndexBy2(k)) == nullptr;
         }) != nullptr;
}

void warnSkipped(const char* where, size_t numSkipped) {
  if (numSkipped > 0) reportWarning(where, std::to_string(numSkipped) + " degenerate or non-finite segment(s) skipped");
}

// Whether p lies inside the ring (crossing number of the ray from p towards +x; exact orientations).
bool isInsideRing(KoraTest& kora, const std::vector<Segment2>& vRing, const Point2& p) {
  bool bInside(false);
  for (const Segment2& seg : vRing) {
    const Point2& a(seg.getSrc());
    const Point2& b(seg.getTrg());
    if ((a.y() > p.y()) == (b.y() > p.y())) continue;
    const Orientation2 ori(kora.getOrientation(a, b, p));
    if (ori == (b.y() > a.y() ? ORIENTATION2_CCW : ORIENTATION2_CW)) bInside = !bInside;
  }
  return bInside;
}

Point2 centroidOf(const Triangle2* pT) {
  const Point2& a(*pT->getCorner(0));
  const Point2& b(*pT->getCorner(1));
  const Point2& c(*pT->getCorner(2));
  return Point2((a.x() + b.x() + c.x()) / 3.0, (a.y() + b.y() + c.y()) / 3.0);
}
}  // namespace

/// Finds the stations of segments in one triangulation (see the top of this file). Every
/// decision is an exact orientation test; only the crossing points are rounded. Stations
/// strictly advance along the segment, so no piece between two of them has length zero. Keeps
/// the triangulation's hull once a segment starts outside it, until forgetHull.
class SegmentTracer {
 public:
  explicit SegmentTracer(Dt2& dt) : dt(dt), kora(dt.getPredicates()) {}

  /// Appends the stations of a -> b (finite, a != b) to vStations. True when the whole segment
  /// lies in the triangulation; false when a part outside it was dropped. O(number of crossed
  /// triangles), plus O(hull size) when a starts outside the hull.
  bool trace(const Point2& a, const Point2& b, std::vector<SegmentStation>& vStations);
  /// To be called after the hull changed.
  void forgetHull() { vHull.clear(); }

 private:
  enum class Step { AT_VERTEX, IN_TRIANGLE, REACHED_END, LEFT };

  Orientation2 side(const Point2& q) { return kora.getOrientation(a, b, q); }
  // q lies strictly beyond p along a -> b (exact for points on the line: coordinates compared).
  bool isAhead(const Point2& p, const Point2& q) const {
    const double pc(bMajorX ? p.x() : p.y()), qc(bMajorX ? q.x() : q.y());
    return bIncreasing ? qc > pc : qc < pc;
  }
  Step start(Triangle2*& pT, int& k);
  Step enterFromOutside(Triangle2*& pT, int& k);
  Step leaveVertex(Triangle2*& pT, int& k);
  Step crossTriangle(Triangle2*& pT, int& k);
  Step crossEdge(Triangle2*& pT, int& k);
  Step reachEnd();
  Step reachVertex(Triangle2* pT, int corner, Triangle2*& pOutT, int& k);
  // Rounded stations are skipped unless they advance; an exact one replaces the rounded
  // stations that do not lie before it.
  void addRounded(const Point2& p, Point2* pEdge0, Point2* pEdge1);
  void addExact(const Point2& p);

  Dt2& dt;
  KoraTest& kora;
  std::vector<Point2*> vHull;
  Point2 a, b;
  bool bMajorX = true;
  bool bIncreasing = true;
  std::vector<SegmentStation>* pStations = nullptr;
  size_t firstStation = 0;
  bool bStartsInside = false;
};

bool SegmentTracer::trace(const Point2& a_, const Point2& b_, std::vector<SegmentStation>& vStations) {
  a = a_;
  b = b_;
  bMajorX = std::fabs(b.x() - a.x()) >= std::fabs(b.y() - a.y());
  bIncreasing = bMajorX ? b.x() > a.x() : b.y() > a.y();
  pStations = &vStations;
  firstStation = vStations.size();
  Triangle2* pT(nullptr);
  int k(-1);
  Step step(start(pT, k));
  while (step == Step::AT_VERTEX || step == Step::IN_TRIANGLE) {
    step = (step == Step::AT_VERTEX) ? leaveVertex(pT, k) : crossTriangle(pT, k);
  }
  return bStartsInside && step == Step::REACHED_END;
}

// The first station and where the walk goes on from it.
SegmentTracer::Step SegmentTracer::start(Triangle2*& pT, int& k) {
  pT = dt.locate(a);
  bStartsInside = (pT != nullptr);
  if (pT == nullptr) return enterFromOutside(pT, k);
  addExact(a);
  for (int i = 0; i < 3; ++i) {
    if (*pT->getCorner(i) == a) {
      k = i;
      return Step::AT_VERTEX;
    }
  }
  // On an edge, the segment may leave through that very edge: it then starts in the neighbour.
  for (int i = 0; i < 3; ++i) {
    const Point2& q1(*pT->getCorner(incIndexBy1(i)));
    const Point2& q2(*pT->getCorner(incIndexBy2(i)));
    if (kora.getOrientation(q1, q2, a) == ORIENTATION2_COLLINEAR && side(q1) == ORIENTATION2_CW && side(q2) == ORIENTATION2_CCW) {
      Triangle2* pN(pT->getOppositeTriangle(i));
      if (pN == nullptr) return Step::LEFT;
      k = pN->getIntraTriangleIndex(pT);
      pT = pN;
      return Step::IN_TRIANGLE;
    }
  }
  return Step::IN_TRIANGLE;
}

// a lies outside the hull: the segment enters through the hull edge that has a strictly outside
// and b not, and that the segment meets (a convex region is entered once).
SegmentTracer::Step SegmentTracer::enterFromOutside(Triangle2*& pT, int& k) {
  if (vHull.empty()) dt.getConvexHull(true, vHull);
  for (size_t i = 0; i < vHull.size(); ++i) {
    Point2* p(vHull[i]);
    Point2* q(vHull[(i + 1) % vHull.size()]);
    if (kora.getOrientation(*p, *q, a) != ORIENTATION2_CW || kora.getOrientation(*p, *q, b) == ORIENTATION2_CW) continue;
    const Orientation2 oriP(side(*p)), oriQ(side(*q));
    if (oriP == oriQ && oriP != ORIENTATION2_COLLINEAR) continue;
    for (Point2* pCorner : {p, q}) {
      if ((pCorner == p ? oriP : oriQ) != ORIENTATION2_COLLINEAR) continue;
      addExact(*pCorner);
      if (!isAhead(*pCorner, b)) return reachEnd();  // b is that hull vertex
      pT = pCorner->getIncidentTriangle();
      k = pT->getIntraTriangleIndex(pCorner);
      return Step::AT_VERTEX;
    }
    Triangle2* pHullT(dt.getAdjacentTriangle(p, q));
    ZARN_ASSERT(pHullT!=0);
    double x(0.0), y(0.0);
    kora.getIntersectionCoords(a, b, *p, *q, x, y);
    addRounded(Point2(x, y), p, q);
    pT = pHullT;
    k = incIndexBy2(pHullT->getIntraTriangleIndex(p));
    return Step::IN_TRIANGLE;
  }
  return Step::LEFT;
}

// The segment stands at corner k of pT: find the triangle around it that the segment enters, or
// the edge along which it goes on.
SegmentTracer::Step SegmentTracer::leaveVertex(Triangle2*& pT, int& k) {
  Point2* pVtx(pT->getCorner(k));
  Step step(Step::LEFT);
  int exitCorner(-1);
  Triangle2* pFound(Dt2::findAround(pVtx, [&](const Triangle2* pCand, int m) {
    const Orientation2 oriX(side(*pCand->getCorner(incIndexBy1(m)))), oriY(side(*pCand->getCorner(incIndexBy2(m))));
    for (const int c : {incIndexBy1(m), incIndexBy2(m)}) {
      if ((c == incIndexBy1(m) ? oriX : oriY) == ORIENTATION2_COLLINEAR && isAhead(*pVtx, *pCand->getCorner(c))) {
        exitCorner = c;
        step = Step::AT_VERTEX;
        return true;
      }
    }
    if (oriX == ORIENTATION2_CW && oriY == ORIENTATION2_CCW) {
      exitCorner = m;
      step = Step::IN_TRIANGLE;
      return true;
    }
    return false;
  }));
  if (pFound == nullptr) return Step::LEFT;
  if (step == Step::AT_VERTEX) return reachVertex(pFound, exitCorner, pT, k);
  const Point2& x(*pFound->getCorner(incIndexBy1(exitCorner)));
  const Point2& y(*pFound->getCorner(incIndexBy2(exitCorner)));
  if (kora.getOrientation(x, y, b) != ORIENTATION2_CW) return reachEnd();
  pT = pFound;
  k = exitCorner;
  return crossEdge(pT, k);
}

// The segment runs through the interior of pT (entered across the edge opposite corner k, or
// starting inside): it leaves through the edge whose first corner lies right of it and whose
// second lies left, or through a corner on it.
SegmentTracer::Step SegmentTracer::crossTriangle(Triangle2*& pT, int& k) {
  Orientation2 aOri[3];
  for (int i = 0; i < 3; ++i) aOri[i] = side(*pT->getCorner(i));
  for (int i = 0; i < 3; ++i) {
    if (aOri[incIndexBy1(i)] != ORIENTATION2_CW || aOri[incIndexBy2(i)] != ORIENTATION2_CCW) continue;
    if (kora.getOrientation(*pT->getCorner(incIndexBy1(i)), *pT->getCorner(incIndexBy2(i)), b) != ORIENTATION2_CW) return reachEnd();
    k = i;
    return crossEdge(pT, k);
  }
  for (int i = 0; i < 3; ++i) {
    if (aOri[i] == ORIENTATION2_COLLINEAR && isAhead(a, *pT->getCorner(i))) return reachVertex(pT, i, pT, k);
  }
  ZARN_ASSERT(false);  // a line through a triangle's interior leaves it forwards
  return Step::LEFT;
}

// Crosses the edge opposite corner k of pT into the neighbour (the crossing is a station).
SegmentTracer::Step SegmentTracer::crossEdge(Triangle2*& pT, int& k) {
  double x(0.0), y(0.0);
  Point2* pEdge0(pT->getCorner(incIndexBy1(k)));
  Point2* pEdge1(pT->getCorner(incIndexBy2(k)));
  kora.getIntersectionCoords(a, b, *pEdge0, *pEdge1, x, y);
  addRounded(Point2(x, y), pEdge0, pEdge1);
  Triangle2* pN(pT->getOppositeTriangle(k));
  if (pN == nullptr) return Step::LEFT;
  k = pN->getIntraTriangleIndex(pT);
  pT = pN;
  return Step::IN_TRIANGLE;
}

SegmentTracer::Step SegmentTracer::reachEnd() {
  addExact(b);
  return Step::REACHED_END;
}

// The segment reaches corner c of pT, unless it ends before.
SegmentTracer::Step SegmentTracer::reachVertex(Triangle2* pT, int c, Triangle2*& pOutT, int& k) {
  const Point2& q(*pT->getCorner(c));
  if (!isAhead(q, b)) return reachEnd();
  addExact(q);
  pOutT = pT;
  k = c;
  return Step::AT_VERTEX;
}

void SegmentTracer::addRounded(const Point2& p, Point2* pEdge0, Point2* pEdge1) {
  std::vector<SegmentStation>& v(*pStations);
  if (v.size() > firstStation && !isAhead(v.back().p, p)) return;
  v.push_back(SegmentStation{p, pEdge0, pEdge1});
}

void SegmentTracer::addExact(const Point2& p) {
  std::vector<SegmentStation>& v(*pStations);
  while (v.size() > firstStation + 1 && !isAhead(v.back().p, p)) v.pop_back();
  if (v.size() > firstStation && !isAhead(v.back().p, p)) return;
  v.push_back(SegmentStation{p, nullptr, nullptr});
}

// ----- Draping -----

bool Dt2::drape(std::vector<Segment2>& vSegmentsIn, std::vector<Segment2>& vSegmentsOut) {
  const char* const where("Dt2::drape()");
  if (!is2D()) {
    if (!vSegmentsIn.empty()) reportWarning(where, "The triangulation is not 2D yet, nothing to drape on");
    return vSegmentsIn.empty();
  }
  SegmentTracer tracer(*this);
  std::vector<SegmentStation> vStations;
  bool bAllInside(true);
  size_t numSkipped(0);
  for (const Segment2& seg : vSegmentsIn) {
    if (!isUsable(seg, numSkipped)) continue;
    vStations.clear();
    bAllInside &= tracer.trace(seg.getSrc(), seg.getTrg(), vStations);
    for (size_t i = 1; i < vStations.size(); ++i) vSegmentsOut.push_back(Segment2(vStations[i - 1].p, vStations[i].p));
  }
  warnSkipped(where, numSkipped);
  return bAllInside && numSkipped == 0;
}

// ----- Cutting -----

void Dt2::cutTriangles(std::vector<Segment2>& vSegments, bool bProtectEdges) {
  const char* const where("Dt2::cutTriangles()");
  if (!is2D()) {
    if (!vSegments.empty()) reportWarning(where, "The triangulation is not 2D yet, nothing to cut");
    return;
  }
  size_t numSkipped(0);
  SegmentTracer tracer(*this);
  std::vector<Point2*> vChain;
  for (const Segment2& seg : vSegments) {
    if (!isUsable(seg, numSkipped)) continue;
    vChain.clear();
    cutOneSegment(seg, bProtectEdges, tracer, vChain);
  }
  warnSkipped(where, numSkipped);
}

// The stations are found on the triangulation as it is now: earlier cuts are edges to cross.
void Dt2::cutOneSegment(const Segment2& seg, bool bProtectEdges, SegmentTracer& tracer, std::vector<Point2*>& vChain) {
  std::vector<SegmentStation> vStations;
  tracer.trace(seg.getSrc(), seg.getTrg(), vStations);
  std::vector<Point2*> vVertices;
  insertStations(vStations, vVertices);
  if (vVertices.empty()) return;
  const size_t first(vChain.size());
  vChain.push_back(vVertices[0]);
  for (size_t i = 1; i < vVertices.size(); ++i) forceEdge(vVertices[i], vChain);
  if (std::any_of(vChain.begin() + static_cast<std::ptrdiff_t>(first), vChain.end(), isOnHull)) tracer.forgetHull();
  if (!bProtectEdges || vChain.size() < first + 2) return;
  std::vector<std::pair<Point2*, Point2*>> vPieces;
  for (size_t i = first + 1; i < vChain.size(); ++i) vPieces.push_back(std::make_pair(vChain[i - 1], vChain[i]));
  pConstraintMgr->createConstraint(vPieces, CIS_CONSTRAINED_DELAUNAY, true, true);
}

// A station on a constraint edge splits the constraint there, also when rounding has moved it
// off the edge (the constraint's pieces are then re-inserted).
void Dt2::insertStations(const std::vector<SegmentStation>& vStations, std::vector<Point2*>& vVertices) {
  Triangle2* pHint(nullptr);
  for (const SegmentStation& station : vStations) {
    ConstraintSegment2* pCrossed(station.pEdge0 != nullptr ? pConstraintMgr->getAliveSegment(station.pEdge0, station.pEdge1) : nullptr);
    Point2* pVtx(nullptr);
    if (pCrossed != nullptr) {
      pVtx = splitCrossedConstraint(pCrossed, station.p, pHint);
    } else {
      bSuspendFlips = true;
      pVtx = insertNear(station.p, pHint);
      bSuspendFlips = false;
    }
    if (pVtx == nullptr) continue;
    pHint = pVtx->getIncidentTriangle();
    if (vVertices.empty() || vVertices.back() != pVtx) vVertices.push_back(pVtx);
  }
}

// Where stations are exactly on the edges they cross, consecutive stations are already joined
// by an edge. A rounded station beside its edge leaves a short gap that is closed here: at a
// vertex on the piece (the piece is split there), at a crossed constraint (split at the rounded
// crossing, its pieces re-inserted), or by re-triangulating the few crossed triangles.
void Dt2::forceEdge(Point2* pTo, std::vector<Point2*>& vChain) {
  std::vector<Point2*> vTargets(1, pTo);
  int numRepairs(0);
  while (!vTargets.empty()) {
    Point2* pCur(vChain.back());
    Point2* pTarget(vTargets.back());
    if (pCur == pTarget || hasEdge(pCur, pTarget) || numRepairs++ > kMaxRepairsPerPiece) {
      if (pCur != pTarget && !hasEdge(pCur, pTarget)) {
        reportWarning("Dt2::cutTriangles()", "A cut piece could not be made an edge (numeric accuracy), it is left out");
      }
      if (pCur != pTarget) vChain.push_back(pTarget);
      vTargets.pop_back();
      continue;
    }
    const SegmentWalk walk(walkAlongSegment(pCur, pTarget, true));
    switch (walk.result) {
      case SegmentWalk::IS_EDGE:
        break;
      case SegmentWalk::VERTEX_ON_SEGMENT:
        vTargets.push_back(walk.pVertex);
        break;
      case SegmentWalk::CROSSES_CONSTRAINT: {
        Point2* pSplit(splitCrossedConstraint(walk.pCrossingCSeg, walk.crossing, walk.pNearT));
        if (pSplit != nullptr) vTargets.push_back(pSplit);
        break;
      }
      case SegmentWalk::CROSSES_FREE_EDGES:
        retriangulateCavity();
        reinsertDisplacedConstraints();
        break;
    }
  }
}

Point2* Dt2::splitCrossedConstraint(ConstraintSegment2* pCrossed, const Point2& crossing, Triangle2* pNearT) {
  pCrossed->setDead();  // a plain edge while the vertex goes in
  bSuspendFlips = true;
  Point2* pVtx(insertNear(crossing, pNearT));
  bSuspendFlips = false;
  pCrossed->setAlive();
  if (pVtx == nullptr || pVtx == pCrossed->getSrc() || pVtx == pCrossed->getTrg()) return pVtx;
  pCrossed->split_combinatorialOnly(pVtx);
  std::vector<ConstraintSegment2*> vPieces;
  pCrossed->getChildrenRec(vPieces);
  for (ConstraintSegment2* pPiece : vPieces) pConstraintMgr->insertSegment(pPiece);
  return pVtx;
}

void Dt2::reinsertDisplacedConstraints() {
  std::vector<ConstraintSegment2*> vDisplaced;
  vDisplaced.swap(vDisplacedConstraints);
  for (ConstraintSegment2* pCSeg : vDisplaced) {
    if (pCSeg->isAlive()) pConstraintMgr->insertSegment(pCSeg);
  }
}

// ----- The cookie cutter -----

Zone2* Dt2::createZone_cookieCutter(std::vector<Segment2>& vSegments, bool bProtectEdges) {
  const char* const where("Dt2::createZone_cookieCutter()");
  std::vector<Segment2> vRing(vSegments);
  size_t numSkipped(0);
  for (const Segment2& seg : vRing) isUsable(seg, numSkipped);
  if (numSkipped > 0 || !isSimplePolygon(vRing) || !sortRingCCW(vRing)) {
    reportWarning(where, "The segments do not form one simple closed polygon, returning NULL");
    return nullptr;
  }
  if (!is2D()) {
    reportWarning(where, "The triangulation is not 2D yet, returning NULL");
    return nullptr;
  }
  // The ring's pieces, each directed counterclockwise around the polygon.
  SegmentTracer tracer(*this);
  std::vector<std::vector<Point2*>> vvChains(vRing.size());
  for (size_t i = 0; i < vRing.size(); ++i) cutOneSegment(vRing[i], bProtectEdges, tracer, vvChains[i]);
  std::vector<Triangle2*> vInside;
  collectInsideCut(vRing, vvChains, vInside);
  if (bProtectEdges && !vInside.empty()) return createZone(vInside, ZL_BOUNDED, false);
  return createSnapshotZone(vInside);
}

Zone2* Dt2::createSnapshotZone(const std::vector<Triangle2*>& vTriangles) {
  vZones.emplace_back(new Zone2(this, vTriangles));
  return vZones.back().get();
}

// Later pieces of the ring may have split earlier ones (at a shared corner's rounded
// neighbourhood): each piece is made an edge again, and the region left of the pieces is
// collected. Without pieces the polygon misses the triangulation or contains it whole.
void Dt2::collectInsideCut(const std::vector<Segment2>& vRing, const std::vector<std::vector<Point2*>>& vvChains,
                           std::vector<Triangle2*>& vInside) {
  std::vector<std::pair<Point2*, Point2*>> vBorder;
  std::vector<Point2*> vChain;
  for (const std::vector<Point2*>& vPieceChain : vvChains) {
    for (size_t k = 1; k < vPieceChain.size(); ++k) {
      vChain.assign(1, vPieceChain[k - 1]);
      forceEdge(vPieceChain[k], vChain);
      for (size_t m = 1; m < vChain.size(); ++m) vBorder.push_back(std::make_pair(vChain[m - 1], vChain[m]));
    }
  }
  std::vector<Triangle2*> vSeeds;
  for (const std::pair<Point2*, Point2*>& piece : vBorder) {
    Triangle2* pLeft(getAdjacentTriangle(piece.first, piece.second));
    if (pLeft != nullptr) vSeeds.push_back(pLeft);
  }
  if (vBorder.empty()) {
    Triangle2* pAny(vertexVault.getOneValidTriangle());
    if (isInsideRing(kora, vRing, centroidOf(pAny))) vSeeds.push_back(pAny);
  }
  for (std::pair<Point2*, Point2*>& piece : vBorder) {
    if (piece.second < piece.first) std::swap(piece.first, piece.second);
  }
  std::sort(vBorder.begin(), vBorder.end());
  floodFrom(vSeeds, [&vBorder](const Triangle2* pT, int k) {
    Point2* p0(pT->getCorner(incIndexBy1(k)));
    Point2* p1(pT->getCorner(incIndexBy2(k)));
    return std::binary_search(vBorder.begin(), vBorder.end(), p0 < p1 ? std::make_pair(p0, p1) : std::make_pair(p1, p0));
  }, vInside);
}

}  // namespace KORA_ZARN2D
