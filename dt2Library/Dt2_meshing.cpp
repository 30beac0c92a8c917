// Dt2: Delaunay refinement of a zone (Ruppert's algorithm with Üngör's off-centres).
//
// The zone's triangles carry one mark for the whole run; every triangle the run creates inside
// the zone is marked when it appears, so membership is never recomputed. Bad triangles wait in a
// bucket queue, worst smallest angle first; encroached constraint segments wait in a stack that
// is always emptied before the next triangle is split (Ruppert's order).
//
// A bad triangle gets its circumcentre, or the off-centre on the bisector of its shortest edge
// when that is closer (fewer Steiner points, the same bounds). The point is located by a walk
// from the triangle that never crosses a constraint: a constraint in the way is split instead.
// Before insertion, the point's cavity (the triangles whose circumcircle contains it) tells which
// constraint pieces it would encroach upon (it lies in their diametral circle) and how close it
// comes to the cavity's vertices: encroached pieces are split instead, and a point closer than
// minEdgeLen to a vertex is not inserted.
//
// Termination. Segment splits use concentric shells around input vertices (a piece with exactly
// one input end is split at a power-of-two distance from it), so pieces meeting at a small input
// angle end with equal lengths and stop encroaching upon each other. A triangle whose small angle
// is forced by the input is accepted: its small corner lies between two constraint edges, or its
// shortest edge joins two split points at equal distance from the common end of their two input
// segments, which meet at less than the angle bound. Pieces shorter than 2 * minEdgeLen are never
// split, no point closer than minEdgeLen to a cavity vertex is inserted, and a vertex budget ends
// every run. Each accepted bad triangle is counted by reason in the report.
#include <algorithm>
#include <cmath>
#include <sstream>
#include <unordered_map>
#include <unordered_set>

#include "ConstraintMgr.h"
#include "Dt2.h"
#include "Dt2_meshing.h"
#include "GridMesher.h"
#include "MeshGenParams.h"
#include "RefCand3.h"
#include "Visualizer2.h"
#include "Zone2.h"
#include "tools.h"

namespace KORA_ZARN2D {

namespace {
constexpr double kLargestDouble = 1.7976931348623157e308;
constexpr double kPi = 3.14159265358979323846;
constexpr double kMaxMinAngleDegree = 30.0;
// Üngör's off-centre: the new point sits at kOffCentreFactor * cot(minAngle / 2) times the
// shortest edge from that edge's midpoint (the factor below 0.5 keeps the new angles above the bound).
constexpr double kOffCentreFactor = 0.475;
// sin^2 of the smallest angle lies in [0, 0.75]; the queue keeps this many buckets over that range.
constexpr int kNumQualityBuckets = 256;
constexpr double kBucketsPerSinSq = kNumQualityBuckets / 0.75;
// Two split points count as equidistant from an apex when their distances differ by less than this share.
constexpr double kShellTolerance = 0.01;
constexpr uint32_t kWalkStepsBeforeRandomStart = 64;
constexpr uint32_t kMaxWalkSteps = 1u << 20;
constexpr size_t kProgressInterval = 1024;

double sqDistToSegment(const Point2& p, const Point2& a, const Point2& b) {
  const double dx(b.x() - a.x()), dy(b.y() - a.y());
  const double sqLength(dx * dx + dy * dy);
  double t(sqLength > 0.0 ? ((p.x() - a.x()) * dx + (p.y() - a.y()) * dy) / sqLength : 0.0);
  t = std::max(0.0, std::min(1.0, t));
  return sqDistance(p, Point2(a.x() + t * dx, a.y() + t * dy));
}

// The shortest edge's index (the corner at the smallest angle).
int shortestEdgeIndex(const Triangle2* pT) {
  int s(0);
  double best(pT->getSquaredEdgeLength(0));
  for (int i = 1; i < 3; ++i) {
    const double len(pT->getSquaredEdgeLength(i));
    if (len < best) {
      best = len;
      s = i;
    }
  }
  return s;
}


// True when pT's smallest angle lies between two of its constraint edges (forced by the input).
bool isSmallAngleBetweenConstraints(Dt2& dt, Triangle2* pT) {
  const int s(shortestEdgeIndex(pT));
  return dt.isConstraint(pT, incIndexBy1(s)) && dt.isConstraint(pT, incIndexBy2(s));
}
}  // namespace

std::string RefinementReport::describe() const {
  std::ostringstream text;
  if (bEntryFailed) return "refinement not started (bad parameters)";
  text << numSteinerPoints << " Steiner points (" << numSegmentSplits << " on constraints)";
  if (numGridVertices > 0) text << ", " << numGridVertices << " grid vertices (" << numGridVerticesRemoved << " removed at the border)";
  text << ", " << numZoneTriangles << " zone triangles; ";
  if (bBudgetReached) {
    text << "stopped: vertex budget reached";
  } else {
    text << (isComplete() ? "complete" : "finished with exceptions");
  }
  if (numLeftInputAngle > 0) text << "; " << numLeftInputAngle << " small angles forced by the input";
  if (numLeftMinEdgeLen > 0) text << "; " << numLeftMinEdgeLen << " left at minEdgeLen";
  if (numLeftProtected > 0) text << "; " << numLeftProtected << " left at protected constraints";
  if (numLeftNumeric > 0) text << "; " << numLeftNumeric << " left for numeric accuracy";
  return text.str();
}

/// One refinement run over the marked triangles of a zone.
class MeshRefiner : public InputAngleRule {
 public:
  MeshRefiner(Dt2& dt_, MeshGenParams& params_, size_t vertexBudget_)
      : dt(dt_), mgr(*dt_.getConstraintMgr()), kora(dt_.getPredicates()), params(params_), vertexBudget(vertexBudget_),
        zoneMark(0), lowestBucket(kNumQualityBuckets), aBuckets(kNumQualityBuckets) {
    const double minAngle(params.minAngleDegree * kPi / 180.0);
    cosMinAngle = std::cos(minAngle);
    offCentreConstant = minAngle > 0.0 ? kOffCentreFactor * std::sqrt((1.0 + std::cos(minAngle)) / (1.0 - std::cos(minAngle))) : 0.0;
  }

  /// Marks the triangles as the zone and queues the bad ones and the encroached constraints.
  void startZone(const std::vector<Triangle2*>& vZone);
  /// Refines until nothing is queued or the budget is spent.
  void refineQueued();
  /// Grid meshing: splits the zone's border pieces to at most a cell, then inserts the grid
  /// vertices that keep their distance from the border (see MeshGenParams::auxFlag).
  void layGrid();
  /// Counts the zone's triangles (and those left with a small angle forced by the input), and
  /// stores on each constraint piece of the zone's border the area of its zone triangle, for the
  /// growth rule of a later run on the zone next to it. O(triangles of the triangulation).
  const RefinementReport& finish();
  bool isForcedByInput(const Triangle2* pT, double minAngleDegree) const override;

 private:
  struct QueuedTriangle {
    Triangle2* pT;
    Point2* aCorners[3];
  };
  struct QueuedSegment {
    ConstraintSegment2* pCSeg;
    bool bForced;  // split whether or not a vertex encroaches upon it now
  };
  enum WalkEnd { WALK_INSIDE, WALK_BLOCKED, WALK_OUTSIDE, WALK_ON_VERTEX };
  struct Walk {
    WalkEnd end;
    Triangle2* pT;
    int edgeIdx;
  };

  bool isZone(const Triangle2* pT) const { return pT != nullptr && pT->getMark() == zoneMark; }
  void judge(Triangle2* pT);
  void pushTriangle(Triangle2* pT, double sinSqOfMinAngle);
  /// Queues pT again after the splits that its point has to wait for.
  void requeue(Triangle2* pT);
  bool popTriangle(QueuedTriangle& entry);
  void queueEncroachedEdges(Triangle2* pT);
  bool isEncroached(ConstraintSegment2* pCSeg) const;
  bool mayNotSplit(ConstraintSegment2* pCSeg) const;
  void processSegment(const QueuedSegment& entry);
  Point2 splitPointOf(ConstraintSegment2* pCSeg) const;
  Point2 ontoLineOrZoneSide(const Point2& p, const Point2& a, const Point2& b, bool bZoneLeft);
  ConstraintSegment2* inputOf(ConstraintSegment2* pCSeg) const;
  bool isInputEnd(const Point2* pVtx, const ConstraintSegment2* pInput) const;
  void updateStar(Point2* pVtx, const Point2* pLineA, const Point2* pLineB, bool bLeftInZone, bool bRightInZone);
  void processTriangle(Triangle2* pT);
  bool computeSteinerPoint(const Triangle2* pT, Point2& p) const;
  Walk walkTo(Triangle2* pStart, const Point2& p);
  bool inspectCavity(Triangle2* pStart, const Point2& p, double& minSqDist, double& minSqDistToConstraint);
  bool isGridMode() const { return params.gridLength > 0.0; }
  void splitLongBorderPieces(double maxLength);
  void insertGridVertex(const Point2& p, Triangle2*& pHint);
  void markHoles();
  void floodUnmarked(Triangle2* pFrom);
  void publishProgress();

  Dt2& dt;
  ConstraintMgr& mgr;
  KoraTest& kora;
  MeshGenParams& params;
  const size_t vertexBudget;
  uint32_t zoneMark;
  double offCentreConstant;
  double cosMinAngle;
  RefinementReport report;
  int lowestBucket;
  std::vector<std::vector<QueuedTriangle>> aBuckets;
  size_t numQueued = 0;
  size_t numProcessed = 0;
  std::vector<QueuedSegment> vSegmentStack;
  std::unordered_map<ConstraintSegment2*, ConstraintSegment2*> mPieceToInput;  // pieces split in this run
  std::unordered_map<const Point2*, ConstraintSegment2*> mSplitPointToInput;     // split points of this run
  std::unordered_set<ConstraintSegment2*> sFailedSplits;
  // Scratch, kept to avoid allocations per step.
  std::vector<Triangle2*> vCavity;
  std::vector<ConstraintSegment2*> vEncroached;
  std::vector<Triangle2*> vStar;
  std::vector<std::pair<Point2*, Point2*>> vHoleBorders;
  std::vector<Triangle2*> vFlood;

  friend class Dt2;
};

// ----- Queue -----

void MeshRefiner::judge(Triangle2* pT) {
  RefCand3 candidate(&dt, pT, this);
  if (candidate.isSafe(params)) pushTriangle(pT, candidate.getSinSqOfMinAngle());
}

void MeshRefiner::pushTriangle(Triangle2* pT, double sinSqOfMinAngle) {
  const int bucket(std::min(kNumQualityBuckets - 1, static_cast<int>(sinSqOfMinAngle * kBucketsPerSinSq)));
  aBuckets[bucket].push_back(QueuedTriangle{pT, {pT->getCorner(0), pT->getCorner(1), pT->getCorner(2)}});
  lowestBucket = std::min(lowestBucket, bucket);
  ++numQueued;
}

void MeshRefiner::requeue(Triangle2* pT) {
  RefCand3 candidate(&dt, pT, this);
  candidate.computeSquaredLengths();
  pushTriangle(pT, candidate.getSinSqOfMinAngle());
}

bool MeshRefiner::popTriangle(QueuedTriangle& entry) {
  while (lowestBucket < kNumQualityBuckets && aBuckets[lowestBucket].empty()) ++lowestBucket;
  if (lowestBucket == kNumQualityBuckets) return false;
  entry = aBuckets[lowestBucket].back();
  aBuckets[lowestBucket].pop_back();
  --numQueued;
  return true;
}

// ----- Segments -----

// A constraint edge of a zone triangle is encroached when the triangle's apex lies strictly
// inside its diametral circle (the angle at the apex exceeds 90 degrees).
void MeshRefiner::queueEncroachedEdges(Triangle2* pT) {
  for (int i = 0; i < 3; ++i) {
    const Point2* pApex(pT->getCorner(i));
    Point2* a(pT->getCorner(incIndexBy1(i)));
    Point2* b(pT->getCorner(incIndexBy2(i)));
    if ((a->x() - pApex->x()) * (b->x() - pApex->x()) + (a->y() - pApex->y()) * (b->y() - pApex->y()) >= 0.0) continue;
    ConstraintSegment2* pCSeg(mgr.getAliveSegment(a, b));
    if (pCSeg != nullptr) vSegmentStack.push_back(QueuedSegment{pCSeg, false});
  }
}

bool MeshRefiner::isEncroached(ConstraintSegment2* pCSeg) const {
  Point2* a(pCSeg->getSrc());
  Point2* b(pCSeg->getTrg());
  for (const std::pair<Point2*, Point2*>& dir : {std::make_pair(a, b), std::make_pair(b, a)}) {
    const Triangle2* pT(dt.getAdjacentTriangle(dir.first, dir.second));
    if (!isZone(pT)) continue;
    const Point2* pApex(pT->getCorner(incIndexBy2(pT->getIntraTriangleIndex(dir.first))));
    if ((a->x() - pApex->x()) * (b->x() - pApex->x()) + (a->y() - pApex->y()) * (b->y() - pApex->y()) < 0.0) return true;
  }
  return false;
}

bool MeshRefiner::mayNotSplit(ConstraintSegment2* pCSeg) const { return isSplitBlocked(pCSeg, params) || sFailedSplits.count(pCSeg) != 0; }

ConstraintSegment2* MeshRefiner::inputOf(ConstraintSegment2* pCSeg) const {
  const auto it(mPieceToInput.find(pCSeg));
  return it == mPieceToInput.end() ? pCSeg : it->second;
}

bool MeshRefiner::isInputEnd(const Point2* pVtx, const ConstraintSegment2* pInput) const {
  return pVtx == pInput->getSrc() || pVtx == pInput->getTrg();
}

// Concentric shells: a piece with exactly one end at a vertex of its input segment is split at
// the power of two nearest to half its length, measured from that end; other pieces at the midpoint.
Point2 MeshRefiner::splitPointOf(ConstraintSegment2* pCSeg) const {
  const Point2& a(*pCSeg->getSrc());
  const Point2& b(*pCSeg->getTrg());
  const ConstraintSegment2* pInput(inputOf(pCSeg));
  const bool bInputA(isInputEnd(pCSeg->getSrc(), pInput)), bInputB(isInputEnd(pCSeg->getTrg(), pInput));
  if (bInputA == bInputB) return Point2(0.5 * (a.x() + b.x()), 0.5 * (a.y() + b.y()));
  const Point2& from(bInputA ? a : b);
  const Point2& to(bInputA ? b : a);
  const double length(std::sqrt(sqDistance(a, b)));
  const double shell(std::exp2(std::round(std::log2(0.5 * length))));
  const double t(shell / length);
  return Point2(from.x() + t * (to.x() - from.x()), from.y() + t * (to.y() - from.y()));
}

// A rounded split point rarely lies exactly on the segment. Off the line, the pieces through it
// bend away from the old edge, and a sliver between the two belongs to the side they bend away
// from: on the zone's side it could never be refined. So among p and its neighbouring doubles,
// take one on the line, else one on the zone's side.
Point2 MeshRefiner::ontoLineOrZoneSide(const Point2& p, const Point2& a, const Point2& b, bool bZoneLeft) {
  const Orientation2 wanted(bZoneLeft ? ORIENTATION2_CCW : ORIENTATION2_CW);
  const Orientation2 ori(kora.getOrientation(a, b, p));
  if (ori == ORIENTATION2_COLLINEAR || ori == wanted) return p;
  const double aX[3] = {p.x(), std::nextafter(p.x(), -kLargestDouble), std::nextafter(p.x(), kLargestDouble)};
  const double aY[3] = {p.y(), std::nextafter(p.y(), -kLargestDouble), std::nextafter(p.y(), kLargestDouble)};
  Point2 onZoneSide(p);
  for (double x : aX) {
    for (double y : aY) {
      const Point2 q(x, y);
      const Orientation2 oriQ(kora.getOrientation(a, b, q));
      if (oriQ == ORIENTATION2_COLLINEAR) return q;
      if (oriQ == wanted && onZoneSide == p) onZoneSide = q;
    }
  }
  return onZoneSide;
}

void MeshRefiner::processSegment(const QueuedSegment& entry) {
  ConstraintSegment2* pCSeg(entry.pCSeg);
  if (!pCSeg->isAlive() || sFailedSplits.count(pCSeg) != 0) return;
  if (!entry.bForced && !isEncroached(pCSeg)) return;
  if (isSplitBlocked(pCSeg, params)) {
    ++(params.splitConstraints && !(params.pLockedConstraints != nullptr && params.pLockedConstraints->count(pCSeg) != 0)
           ? report.numLeftMinEdgeLen
           : report.numLeftProtected);
    return;
  }
  Point2* a(pCSeg->getSrc());
  Point2* b(pCSeg->getTrg());
  const Triangle2* pLeft(dt.getAdjacentTriangle(a, b));
  const Triangle2* pRight(dt.getAdjacentTriangle(b, a));
  const bool bLeftInZone(isZone(pLeft)), bRightInZone(isZone(pRight));
  Point2 splitPoint(splitPointOf(pCSeg));
  if (bLeftInZone != bRightInZone) splitPoint = ontoLineOrZoneSide(splitPoint, *a, *b, bLeftInZone);
  ConstraintSegment2* pInput(inputOf(pCSeg));
  const unsigned int numBefore(dt.numberOfPoints());
  bool bSplit(false);
  if (bLeftInZone || bRightInZone) {
    // With a grid, inner vertices that come too close to the split vertex go.
    bSplit = isGridMode() ? pCSeg->splitAndRemovePrev(splitPoint) : pCSeg->insertAndSplit(splitPoint) != nullptr;
  }
  if (!bSplit) {
    sFailedSplits.insert(pCSeg);
    ++report.numLeftNumeric;
    return;
  }
  ConstraintSegment2 *pKid0(nullptr), *pKid1(nullptr);
  Point2* pSplit(nullptr);
  pCSeg->getChildrenAndSplitPoint(pKid0, pKid1, pSplit);
  if (isGridMode()) markHoles();
  mPieceToInput[pKid0] = pInput;
  mPieceToInput[pKid1] = pInput;
  mSplitPointToInput[pSplit] = pInput;
  if (dt.numberOfPoints() > numBefore) {
    ++report.numSteinerPoints;
    ++report.numSegmentSplits;
  }
  updateStar(pSplit, a, b, bLeftInZone, bRightInZone);
}

// After a vertex went in, its star is the only changed part of the triangulation. A vertex on a
// constraint a-b splits its star into the triangles left and right of a -> b; a vertex inside the
// zone (pLineA null) has its whole star in the zone.
void MeshRefiner::updateStar(Point2* pVtx, const Point2* pLineA, const Point2* pLineB, bool bLeftInZone, bool bRightInZone) {
  vStar.clear();
  dt.getIncidentTriangles(pVtx, vStar);
  for (Triangle2* pT : vStar) {
    bool bInZone(bLeftInZone);
    if (pLineA != nullptr) {
      const int k(pT->getIntraTriangleIndex(pVtx));
      const Point2* pFar(pT->getCorner(incIndexBy1(k)));
      if (pFar == pLineA || pFar == pLineB) pFar = pT->getCorner(incIndexBy2(k));
      if (pFar == pLineA || pFar == pLineB) {
        // The sliver between the old edge a-b and the pieces through a vertex off its line lies
        // on the other side of the pieces than the vertex does.
        bInZone = kora.getOrientation(*pLineA, *pLineB, *pVtx) == ORIENTATION2_CCW ? bRightInZone : bLeftInZone;
      } else {
        bInZone = kora.getOrientation(*pLineA, *pLineB, *pFar) == ORIENTATION2_CCW ? bLeftInZone : bRightInZone;
      }
    }
    // Triangles are modified in place, so one outside the zone may still carry the zone's mark.
    pT->setMark(bInZone ? zoneMark : 0);
  }
  for (Triangle2* pT : vStar) {
    if (!isZone(pT)) continue;
    judge(pT);
    queueEncroachedEdges(pT);
    // With the growth rule, the triangles around the star are judged against the smaller ones in it.
    if (params.growthLimit == kLargestDouble) continue;
    Triangle2* pOuter(pT->getOppositeTriangle(pT->getIntraTriangleIndex(pVtx)));
    if (isZone(pOuter)) judge(pOuter);
  }
}

// ----- Triangles -----

// The circumcentre, or Üngör's off-centre when it is closer to the shortest edge. Computed
// relative to an end of the shortest edge, where the differences are most accurate.
bool MeshRefiner::computeSteinerPoint(const Triangle2* pT, Point2& p) const {
  const int s(shortestEdgeIndex(pT));
  const Point2& o(*pT->getCorner(incIndexBy1(s)));
  const Point2& q(*pT->getCorner(incIndexBy2(s)));
  const Point2& r(*pT->getCorner(s));
  const double dx(q.x() - o.x()), dy(q.y() - o.y());
  const double ex(r.x() - o.x()), ey(r.y() - o.y());
  const double denominator(2.0 * (dx * ey - dy * ex));
  if (!(denominator > 0.0)) return false;
  const double sqD(dx * dx + dy * dy), sqE(ex * ex + ey * ey);
  double ux((ey * sqD - dy * sqE) / denominator);
  double uy((dx * sqE - ex * sqD) / denominator);
  if (offCentreConstant > 0.0) {
    const double offX(0.5 * dx - offCentreConstant * dy), offY(0.5 * dy + offCentreConstant * dx);
    if (offX * offX + offY * offY < ux * ux + uy * uy) {
      ux = offX;
      uy = offY;
    }
  }
  p = Point2(o.x() + ux, o.y() + uy);
  return std::isfinite(p.x()) && std::isfinite(p.y());
}

// A visibility walk towards p that stops at constraint edges and at the zone's border.
MeshRefiner::Walk MeshRefiner::walkTo(Triangle2* pStart, const Point2& p) {
  Triangle2* pT(pStart);
  int firstEdge(0);
  uint32_t randomState(0x9E3779B9u);
  for (uint32_t step = 0; step < kMaxWalkSteps; ++step) {
    int exitEdge(-1), onEdge(-1);
    for (int k = 0, i = firstEdge; k < 3; ++k, i = incIndexBy1(i)) {
      const Point2& a(*pT->getCorner(incIndexBy1(i)));
      const Point2& b(*pT->getCorner(incIndexBy2(i)));
      const Orientation2 ori(kora.getOrientation(b, a, p));
      if (ori == ORIENTATION2_CCW) {
        exitEdge = i;
        break;
      }
      if (ori == ORIENTATION2_COLLINEAR) {
        if (p == a || p == b) return Walk{WALK_ON_VERTEX, pT, i};
        onEdge = i;
      }
    }
    if (exitEdge < 0) {
      if (onEdge >= 0 && dt.isConstraint(pT, onEdge)) return Walk{WALK_BLOCKED, pT, onEdge};
      return Walk{WALK_INSIDE, pT, onEdge};
    }
    if (dt.isConstraint(pT, exitEdge)) return Walk{WALK_BLOCKED, pT, exitEdge};
    Triangle2* pNext(pT->getOppositeTriangle(exitEdge));
    if (!isZone(pNext)) return Walk{WALK_OUTSIDE, pT, exitEdge};
    firstEdge = incIndexBy1(pNext->getIntraTriangleIndex(pT));
    if (step > kWalkStepsBeforeRandomStart) {
      randomState ^= randomState << 13;
      randomState ^= randomState >> 17;
      randomState ^= randomState << 5;
      firstEdge = static_cast<int>(randomState % 3);
    }
    pT = pNext;
  }
  return Walk{WALK_OUTSIDE, pT, -1};
}

// Collects the cavity of p (zone triangles whose circumcircle contains p, reached without crossing
// a constraint), the constraint pieces on its border that p encroaches upon (vEncroached) and the
// smallest squared distance from p to a cavity vertex. False when p lies outside the zone.
bool MeshRefiner::inspectCavity(Triangle2* pStart, const Point2& p, double& minSqDist, double& minSqDistToConstraint) {
  vCavity.clear();
  vEncroached.clear();
  vCavity.push_back(pStart);
  minSqDist = kLargestDouble;
  minSqDistToConstraint = kLargestDouble;
  for (size_t k = 0; k < vCavity.size(); ++k) {
    Triangle2* pT(vCavity[k]);
    for (int i = 0; i < 3; ++i) {
      Point2* a(pT->getCorner(incIndexBy1(i)));
      Point2* b(pT->getCorner(incIndexBy2(i)));
      minSqDist = std::min(minSqDist, sqDistance(*a, p));
      Triangle2* pN(pT->getOppositeTriangle(i));
      if (pN != nullptr && std::find(vCavity.begin(), vCavity.end(), pN) != vCavity.end()) continue;  // inside the cavity
      ConstraintSegment2* pCSeg(mgr.getAliveSegment(a, b));
      if (pCSeg != nullptr) {
        minSqDistToConstraint = std::min(minSqDistToConstraint, sqDistToSegment(p, *a, *b));
        const bool bInDiametralCircle((a->x() - p.x()) * (b->x() - p.x()) + (a->y() - p.y()) * (b->y() - p.y()) < 0.0);
        if (bInDiametralCircle && std::find(vEncroached.begin(), vEncroached.end(), pCSeg) == vEncroached.end()) vEncroached.push_back(pCSeg);
        continue;
      }
      if (pN == nullptr || kora.inCircle(*pN->getCorner(0), *pN->getCorner(1), *pN->getCorner(2), p) <= 0) continue;
      if (!isZone(pN)) return false;
      vCavity.push_back(pN);
    }
  }
  return true;
}

void MeshRefiner::processTriangle(Triangle2* pT) {
  Point2 p;
  if (!computeSteinerPoint(pT, p)) {
    ++report.numLeftNumeric;
    return;
  }
  const Walk walk(walkTo(pT, p));
  if (walk.end == WALK_BLOCKED) {
    Point2* a(walk.pT->getCorner(incIndexBy1(walk.edgeIdx)));
    Point2* b(walk.pT->getCorner(incIndexBy2(walk.edgeIdx)));
    ConstraintSegment2* pCSeg(mgr.getAliveSegment(a, b));
    RefCand3 candidate(&dt, pT, this);
    candidate.setCircumcenter(p, walk.pT == pT ? walk.edgeIdx : RefCand3::kLocNoEdge);
    if (candidate.needRefinement(params) || mayNotSplit(pCSeg)) {
      ++report.numLeftProtected;
      return;
    }
    vSegmentStack.push_back(QueuedSegment{pCSeg, true});
    requeue(pT);
    return;
  }
  double minSqDist(0.0), minSqDistToConstraint(0.0);
  if (walk.end != WALK_INSIDE || !inspectCavity(walk.pT, p, minSqDist, minSqDistToConstraint)) {
    ++report.numLeftNumeric;
    return;
  }
  bool bSplitsPending(false);
  for (ConstraintSegment2* pCSeg : vEncroached) {
    if (mayNotSplit(pCSeg)) continue;
    vSegmentStack.push_back(QueuedSegment{pCSeg, true});
    bSplitsPending = true;
  }
  if (bSplitsPending) {
    requeue(pT);
    return;
  }
  if (minSqDist < params.minEdgeLen * params.minEdgeLen) {
    ++report.numLeftMinEdgeLen;
    return;
  }
  const unsigned int numBefore(dt.numberOfPoints());
  Point2* pVtx(dt.insertNear(p, walk.pT));
  if (pVtx == nullptr || dt.numberOfPoints() == numBefore) {
    ++report.numLeftNumeric;
    return;
  }
  ++report.numSteinerPoints;
  updateStar(pVtx, nullptr, nullptr, true, true);
}

// ----- The small-input-angle exemption -----

bool MeshRefiner::isForcedByInput(const Triangle2* pT, double /*minAngleDegree*/) const {
  // The smallest angle lies between two constraint edges: it is the input's angle.
  if (isSmallAngleBetweenConstraints(dt, const_cast<Triangle2*>(pT))) return true;
  const int s(shortestEdgeIndex(pT));
  // The shortest edge joins split points of two input segments with a common end, at equal
  // distances from it: splitting would only start a new shell.
  const auto u(mSplitPointToInput.find(pT->getCorner(incIndexBy1(s))));
  const auto w(mSplitPointToInput.find(pT->getCorner(incIndexBy2(s))));
  if (u == mSplitPointToInput.end() || w == mSplitPointToInput.end() || u->second == w->second) return false;
  const ConstraintSegment2* pInputU(u->second);
  const ConstraintSegment2* pInputW(w->second);
  const Point2* pApex(nullptr);
  for (const Point2* pEnd : {pInputU->getSrc(), pInputU->getTrg()}) {
    if (isInputEnd(pEnd, pInputW)) pApex = pEnd;
  }
  if (pApex == nullptr) return false;
  const double du(std::sqrt(sqDistance(*u->first, *pApex))), dw(std::sqrt(sqDistance(*w->first, *pApex)));
  if (std::fabs(du - dw) > kShellTolerance * std::max(du, dw)) return false;
  // Only an input angle below the bound forces small angles nearby.
  const double ux(u->first->x() - pApex->x()), uy(u->first->y() - pApex->y());
  const double wx(w->first->x() - pApex->x()), wy(w->first->y() - pApex->y());
  return ux * wx + uy * wy > cosMinAngle * du * dw;
}

// ----- The run -----

void MeshRefiner::startZone(const std::vector<Triangle2*>& vZone) {
  zoneMark = dt.newMark();
  for (Triangle2* pT : vZone) pT->setMark(zoneMark);
  for (Triangle2* pT : vZone) {
    judge(pT);
    queueEncroachedEdges(pT);
  }
}

void MeshRefiner::publishProgress() {
  if (++numProcessed % kProgressInterval != 0) return;
  dt.getPublisher().setProgress(static_cast<double>(numProcessed) / static_cast<double>(numProcessed + numQueued + vSegmentStack.size()));
}

void MeshRefiner::refineQueued() {
  for (;;) {
    if (report.numSteinerPoints >= vertexBudget) {
      report.bBudgetReached = numQueued > 0 || !vSegmentStack.empty();
      return;
    }
    publishProgress();
    if (!vSegmentStack.empty()) {
      const QueuedSegment entry(vSegmentStack.back());
      vSegmentStack.pop_back();
      processSegment(entry);
      continue;
    }
    QueuedTriangle entry;
    if (!popTriangle(entry)) return;
    Triangle2* pT(entry.pT);
    if (!pT->isAlive() || !pT->isSame(entry.aCorners[0], entry.aCorners[1], entry.aCorners[2]) || !isZone(pT)) continue;
    processTriangle(pT);
  }
}

// ----- Grid meshing -----

void MeshRefiner::splitLongBorderPieces(double maxLength) {
  std::vector<Triangle2*> vAll;
  for (bool bSplitAny(true); bSplitAny;) {
    bSplitAny = false;
    vAll.clear();
    dt.getTrianglePointers(vAll);
    for (Triangle2* pT : vAll) {
      if (!isZone(pT)) continue;
      for (int i = 0; i < 3; ++i) {
        if (pT->getSquaredEdgeLength(i) <= maxLength * maxLength) continue;
        ConstraintSegment2* pCSeg(mgr.getAliveSegment(pT->getCorner(incIndexBy1(i)), pT->getCorner(incIndexBy2(i))));
        if (pCSeg != nullptr && !mayNotSplit(pCSeg)) {
          vSegmentStack.push_back(QueuedSegment{pCSeg, true});
          bSplitAny = true;
        }
      }
    }
    while (!vSegmentStack.empty() && report.numSteinerPoints < vertexBudget) {
      const QueuedSegment entry(vSegmentStack.back());
      vSegmentStack.pop_back();
      processSegment(entry);
    }
    bSplitAny = bSplitAny && report.numSteinerPoints < vertexBudget;
  }
}

void MeshRefiner::layGrid() {
  const double cell(params.gridLength);
  dt.getInnerVtxMgr().reset(cell);
  splitLongBorderPieces(cell);
  GridMesher grid(kora, cell, params.gridVector);
  std::vector<Triangle2*> vAll;
  dt.getTrianglePointers(vAll);
  Triangle2* pHint(nullptr);
  for (Triangle2* pT : vAll) {
    if (!isZone(pT)) continue;
    grid.collectInside(pT);
    pHint = pT;
  }
  const std::vector<Point2> vRows(grid.takeRows());
  for (const Point2& p : vRows) {
    if (report.numGridVertices >= vertexBudget) break;
    insertGridVertex(p, pHint);
  }
}

// A grid vertex keeps half a cell from the border and from other vertices and encroaches upon no
// border piece (with auxFlag); without auxFlag it only keeps minEdgeLen, and the border pieces it
// encroaches upon are split later, removing the grid vertices that come too close. A vertex is
// skipped rather than moved, so that inner vertices stay on the grid.
void MeshRefiner::insertGridVertex(const Point2& p, Triangle2*& pHint) {
  if (!isZone(pHint)) return;
  const Walk walk(walkTo(pHint, p));
  double minSqDist(0.0), minSqDistToConstraint(0.0);
  if (walk.end != WALK_INSIDE || !inspectCavity(walk.pT, p, minSqDist, minSqDistToConstraint)) return;
  if (params.auxFlag && !vEncroached.empty()) return;
  const double keep(params.auxFlag ? 0.5 * params.gridLength : params.minEdgeLen);
  if (minSqDist < keep * keep || minSqDistToConstraint < keep * keep) return;
  const unsigned int numBefore(dt.numberOfPoints());
  Point2* pVtx(dt.insertNear(p, walk.pT));
  if (pVtx == nullptr || dt.numberOfPoints() == numBefore) return;
  ++report.numGridVertices;
  dt.getInnerVtxMgr().add(pVtx);
  updateStar(pVtx, nullptr, nullptr, true, true);
  pHint = pVtx->getIncidentTriangle();
}

// Removed inner vertices leave holes inside the zone, filled with new triangles (and flips may
// have changed triangles around them). Every such triangle touches a vertex of a hole's border
// and is reached from a zone triangle there without crossing a constraint (the zone's border):
// the unmarked triangles so reached are flooded into the zone.
void MeshRefiner::markHoles() {
  report.numGridVerticesRemoved += dt.getInnerVtxMgr().takeHoleBorders(vHoleBorders);
  vFlood.clear();
  for (const std::pair<Point2*, Point2*>& edge : vHoleBorders) {
    if (!dt.vertexVault.isActiveVertex(edge.first)) continue;  // removed later itself
    vStar.clear();
    dt.getIncidentTriangles(edge.first, vStar);
    for (Triangle2* pT : vStar) {
      if (isZone(pT)) floodUnmarked(pT);
    }
  }
}

void MeshRefiner::floodUnmarked(Triangle2* pFrom) {
  vFlood.assign(1, pFrom);
  for (size_t k = 0; k < vFlood.size(); ++k) {
    Triangle2* pT(vFlood[k]);
    for (int i = 0; i < 3; ++i) {
      Triangle2* pN(pT->getOppositeTriangle(i));
      if (pN == nullptr || isZone(pN) || dt.isConstraint(pT, i)) continue;
      pN->setMark(zoneMark);
      judge(pN);
      vFlood.push_back(pN);
    }
  }
}

const RefinementReport& MeshRefiner::finish() {
  std::vector<Triangle2*> vAll;
  dt.getTrianglePointers(vAll);
  for (Triangle2* pT : vAll) {
    if (!isZone(pT)) continue;
    ++report.numZoneTriangles;
    RefCand3 candidate(&dt, pT, this);
    candidate.computeSquaredLengths();
    if (candidate.getCosOfMinAngle() > cosMinAngle && isForcedByInput(pT, params.minAngleDegree)) ++report.numLeftInputAngle;
    for (int i = 0; i < 3; ++i) {
      if (isZone(pT->getOppositeTriangle(i))) continue;
      ConstraintSegment2* pCSeg(mgr.getAliveSegment(pT->getCorner(incIndexBy1(i)), pT->getCorner(incIndexBy2(i))));
      if (pCSeg != nullptr) pCSeg->setAdjacentArea(pT->getArea2D());
    }
  }
  return report;
}

// ----- Entry points of Dt2 -----

bool Dt2::refine(Zone2* pZone, double minAngleDegree, double minEdgeLength, double maxEdgeLength, bool bSplitConstraints) {
  MeshGenParams params(pZone);
  params.minAngleDegree = minAngleDegree;
  params.minEdgeLen = minEdgeLength;
  params.maxEdgeLength = maxEdgeLength;
  params.splitConstraints = bSplitConstraints;
  return refineMain2(&params);
}

bool Dt2::refineMain2(MeshGenParams* pParams) {
  lastRefinementReport = RefinementReport();
  lastRefinementReport.bEntryFailed = true;
  if (pParams == nullptr || pParams->pZone == nullptr) {
    reportError("Dt2::refineMain2(..)", "pZone==NULL");
    return false;
  }
  Zone2* pZone(pParams->pZone);
  if (pZone->getZoneLocation() != ZL_INSIDE && pZone->getZoneLocation() != ZL_BOUNDED) {
    reportError("Dt2::refineMain2()", "The zoneLocation must be ZL_INSIDE or ZL_BOUNDED. Please convert the zone using pZone->convertToBoundedZone(..)");
    return false;
  }
  if (pParams->minAngleDegree > kMaxMinAngleDegree) {
    reportError("Dt2::refine(..)", "minAngleDegree must be <=30.0, return");
    return false;
  }
  if (pZone->getDelaunayTriangulation() != this) {
    reportError("Dt2::refineMain2(..)", "The zone belongs to another triangulation, return");
    return false;
  }
  std::vector<Triangle2*> vZone;
  pZone->getTriangles(vZone);
  if (pParams->gridLength > 0.0) pZone->setGridVector(pParams->gridVector);  // unifyGrid follows the grid
  return refineTriangles(vZone, *pParams);
}

bool Dt2::refineTriangles(const std::vector<Triangle2*>& vZone, MeshGenParams& params) {
  lastRefinementReport = RefinementReport();
  if (!(params.minEdgeLen >= 0.0) || std::isnan(params.minAngleDegree) || params.minAngleDegree > kMaxMinAngleDegree) {
    reportError("Dt2::refine(..)", "minAngleDegree must be <=30.0 and minEdgeLen >= 0, return");
    lastRefinementReport.bEntryFailed = true;
    return false;
  }
  publisher.startStep("refine");
  MeshRefiner refiner(*this, params, refinementVertexBudget);
  refiner.startZone(vZone);
  if (params.gridLength > 0.0) refiner.layGrid();
  refiner.refineQueued();
  lastRefinementReport = refiner.finish();
  publisher.finishStep();
  if (!lastRefinementReport.isComplete()) reportWarning("Dt2::refine(..)", lastRefinementReport.describe());
  return true;
}

// ----- The zone quality check -----

bool Dt2::checkZoneQuality(Zone2* pZone, double minAngle, const std::string& postscriptFilename) {
  if (pZone == nullptr || pZone->getDelaunayTriangulation() != this) {
    reportError("Dt2::checkZoneQuality(..)", "pZone is NULL or belongs to another triangulation, return false");
    return false;
  }
  std::vector<Triangle2*> vZone;
  pZone->getTriangles(vZone);
  std::vector<Triangle2*> vBad;
  for (Triangle2* pT : vZone) {
    RefCand3 candidate(this, pT);
    if (candidate.getMinAngle() < minAngle && !isSmallAngleBetweenConstraints(*this, pT)) vBad.push_back(pT);
  }
  if (!postscriptFilename.empty()) {
    Visualizer2 vis;
    vis.addTriangles(vZone, Color(CGREY, 0.2), true);
    vis.addTriangles(vBad, Color(CRED, 0.6), true);
    vis.write(postscriptFilename);
  }
  return vBad.empty();
}

}  // namespace KORA_ZARN2D
