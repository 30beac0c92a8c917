// Dt2: the triangulation behind the Zarn_2D facade.
#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "Bbox2.h"
#include "Dt2_meshing.h"
#include "HC2.h"
#include "InnerVtxMgr.h"
#include "KoraTest.h"
#include "MsgBase.h"
#include "Point2.h"
#include "ProgressPublisher.h"
#include "Segment2.h"
#include "SimplePool.h"
#include "Triangle2.h"
#include "VertexVault.h"
#include "tools.h"

namespace KORA_ZARN2D {

class ConstraintMgr;
class SegmentTracer;
class Zone2;
class InserterMT;
class Chunk;

/// A point of the segment p0 -> p1 near its midpoint, within min(0.001, extent / 100) of the
/// midpoint on each axis, chosen for a short binary representation. Used for conforming splits.
ZARN2D_EXPORT Point2 centerWithShift(const Point2& p0, const Point2& p1);

/// A point where a segment meets the triangulation (see Dt2_cut.cpp): the rounded crossing of
/// the edge pEdge0-pEdge1, or an exact point (an end of the segment, a vertex on it) with null
/// edge ends.
struct SegmentStation {
  Point2 p;
  Point2* pEdge0;
  Point2* pEdge1;
};

/// Location results of the visibility walk.
enum LocationResult {
  LOC_INSIDE = -1,       // inside the found triangle or on one of its edges (see edgeIndex)
  // 0, 1, 2: outside the hull, beyond the hull edge opposite that corner
  LOC_ON_CORNER = 4,     // equal to a corner of the found triangle
  LOC_BLOCKED = 5        // the walk would enter a triangle it may not enter (parallel insertion)
};

/// A run [pBegin, pEnd) of consecutive triangle storage reserved for one parallel worker.
struct TriangleRun {
  Triangle2* pBegin;
  Triangle2* pEnd;
};

/// The scratch of one inserting thread: its flip stack and where its new triangles come from.
/// A worker of the parallel inserter takes them from runs reserved for it.
/// The triangulation's own scratch takes them from its runs while it has some (the
/// storage the workers left, lent to the serial pass after them), else from the released stack or
/// the pool.
/// The run it draws from is held by value: the heap buffer of vRuns comes from the thread that
/// reserved the runs, and two workers writing into neighbouring buffers would share a cache line
/// at every new triangle.
struct InsertionScratch {
  std::vector<Triangle2*> vFlipStack;
  TriangleRun run{nullptr, nullptr};  // the run new triangles come from
  std::vector<TriangleRun> vRuns;     // the runs after it
  std::vector<std::pair<Triangle2*, int>> vHullEdges;  // the hull edges a point outside sees
  bool bWorker = false;

  /// Returns pT, the triangle taken last from the runs and not yet given back, to them.
  void giveBack(Triangle2* pT) {
    if (pT + 1 != run.pBegin) {
      if (run.pBegin != run.pEnd) vRuns.push_back(run);
      run = TriangleRun{pT + 1, pT + 1};
    }
    run.pBegin = pT;
  }
  /// Moves out the storage not taken yet (the non-empty runs), leaving none.
  std::vector<TriangleRun> takeRuns() {
    std::vector<TriangleRun> vLeft;
    vLeft.swap(vRuns);
    if (run.pBegin != run.pEnd) vLeft.push_back(run);
    run = TriangleRun{nullptr, nullptr};
    return vLeft;
  }
};

/// The Delaunay triangulation of a point set. It always covers exactly the convex hull of its
/// vertices (no super-triangle). All vertices and triangles live in pools that release
/// everything at destruction, so raw pointers are stable handles.
class Dt2 {
 public:
  explicit Dt2(unsigned int numExpectedVertices);
  ~Dt2();
  Dt2(const Dt2&) = delete;
  Dt2& operator=(const Dt2&) = delete;

  // ----- Insertion (Dt2.cpp) -----
  Point2* insert(const Point2& p) { return insertNear(p, nullptr); }
  /// insert(p) with the point location starting at pHint (a live triangle near p), or at a
  /// triangle near p's Hilbert neighbours when pHint is null.
  Point2* insertNear(const Point2& p, Triangle2* pHint);
  void insertVector(const std::vector<Point2>& vPoints, std::vector<Point2*>* pvHandles);
  void insert(int numPoints, double* aCoordinates, Point2** aHandles);
  /// Visibility walk from pStartTriangle (updated to the triangle where the walk ended).
  int locate(const Point2& p, Triangle2*& pStartTriangle, int& edgeIndex) {
    return walk(kora, p, pStartTriangle, edgeIndex, [](const Triangle2*, int) { return true; });
  }
  /// The visibility walk with the predicates kora, crossing edge i of a triangle pT only where
  /// canEnter(pT, i) holds: on a refusal it stops at the last triangle entered and returns
  /// LOC_BLOCKED. Otherwise LOC_INSIDE (edgeIndex >= 0 when p lies on that edge), LOC_ON_CORNER,
  /// or the index of a hull edge that sees p from outside. Reads only the triangles it enters.
  template <class CanEnter>
  static int walk(KoraTest& kora, const Point2& p, Triangle2*& pStartTriangle, int& edgeIndex, CanEnter canEnter);

  // ----- Removal (Dt2_remove.cpp) -----
  /// Removes a vertex with checks and warnings (the public operation).
  void remove(Point2* pVtx);
  /// Removes a vertex known to be removable (internal use, e.g. the fake box).
  void removeVertex(Point2* pVtx);

  // ----- Queries (Dt2_queries.cpp) -----
  Triangle2* locate(const Point2& p);
  unsigned int numberOfPoints() const;
  unsigned int numberOfTriangles() const;
  void getTrianglePointers(std::vector<Triangle2*>& vTriangles) const;
  void getVertexPointers(std::vector<Point2*>& vVertices) const;
  void getIncidentTriangles(Point2* pVtx, std::vector<Triangle2*>& vIncTriangles) const;
  void getIncidentVertices(Point2* pVtx, std::vector<Point2*>& vIncVertices) const;
  Triangle2* getAdjacentTriangle(Point2* p0, Point2* p1) const;
  /// True when p0-p1 is an edge. Turns around p0 only, no geometry, no allocation.
  bool hasEdge(Point2* p0, Point2* p1) const;
  /// The first triangle around pPivot for which visit(triangle, index of the pivot in it) holds:
  /// counterclockwise from the pivot's incident triangle, then, when the pivot lies on the hull,
  /// clockwise from it. Null when none does. O(degree), no allocation.
  template <typename Visit>
  static Triangle2* findAround(const Point2* pPivot, Visit visit);
  /// The triangle that has a then b as consecutive counterclockwise corners (the triangle left of
  /// the directed edge a -> b), with edgeIdx the index of that edge in it; null when there is
  /// none. Turns around a only: O(degree of a), no allocation.
  Triangle2* getTriangleLeftOf(Point2* a, Point2* b, int& edgeIdx) const;
  void getConvexHull(bool bAllVertices, std::vector<Point2*>& vHull);
  Bbox2 computeBoundingBox() const;
  bool isConstraint(Point2* p0, Point2* p1) const;
  bool isConstraint(Point2* pVtx) const;
  bool isConstraint(Triangle2* pT, int ith) const;
  bool is2D() const { return vertexVault.bFullDimensional; }
  /// True when p points into this triangulation's vertex storage.
  bool ownsVertexStorage(const Point2* p) const;

  // ----- Constraints (Dt2_constraints.cpp) -----
  ConstraintMgr* getConstraintMgr() const { return pConstraintMgr.get(); }
  /// Inserts the segments' endpoints, builds a graph of the segments and, once the triangulation
  /// is 2D, inserts them. Segments with a non-finite coordinate are skipped with a warning.
  ConstraintGraph2* createConstraint(std::vector<Segment2>& vSegments, ConstraintInsertionStrategy cis, bool bOrientedSegments);
  /// Inserts every alive constraint segment that is not yet an edge.
  void applyConstraintsAndZones();
  /// Constrained strategy: forces the segment in, splitting it (and crossing constraints) where needed.
  void newCDT_applyOneCS(ConstraintSegment2* pInitialCSeg);
  /// newCDT_applyOneCS for a segment of any strategy (the conforming strategy's last resort). Once
  /// the triangulation holds more than maxNumPoints vertices, the pieces left are skipped
  /// (ConstraintSegment2::isSkipped) and counted in numberOfSkippedSegments().
  void forceSegment(ConstraintSegment2* pInitialCSeg, size_t maxNumPoints);
  /// The vertex limit for forcing segments from now on: one new vertex per registered segment
  /// (each true crossing adds one) and a margin; rounded crossings that keep crossing again a few
  /// ulps further would never stop.
  size_t forcingLimit() const;
  /// The number of constraint segments skipped so far (see forceSegment).
  size_t numberOfSkippedSegments() const { return numSkippedSegments; }
  /// How many points the parallel workers of the last parallel bulk insertion left to the serial
  /// pass (0 before the first one): a few percent near the borders of their regions.
  size_t numberOfPointsDeferredByWorkers() const { return numDeferredByWorkers; }
  /// One walk from the segment's source to its target: returns a vertex lying on the segment's
  /// interior, or reports a crossing constraint in vPairIspCS, or makes the segment an edge.
  Point2* newCDT_traverseCZ(ConstraintSegment2* pCSeg, std::vector<std::pair<Point2, ConstraintSegment2*>>& vPairIspCS);
  /// Conforming strategy: one step; a segment that is not an edge is split once.
  void insertSegmentConformingDelaunay(ConstraintSegment2* pCSeg);
  /// Flips every non-constraint edge around pVtx that fails the in-circle test.
  void legalizeAround(Point2* pVtx);
  /// Restores the Delaunay property at the edge a-b (if it exists) after the constraint segment
  /// a-b was split at a vertex off the edge.
  void legalizeFormerConstraintEdge(Point2* a, Point2* b);
  /// Removes the registered inner (grid) vertices closer to center than sqrt(sqRadius).
  void removeInnerVerticesNear(const Point2& center, double sqRadius) { innerVtxMgr.removeNear(*this, center, sqRadius); }
  /// The inner (grid) vertices of mesh generation.
  InnerVtxMgr& getInnerVtxMgr() { return innerVtxMgr; }
  ProgressPublisher& getPublisher() { return publisher; }
  /// Draws the alive constraint pieces (red) into the visualizer.
  void addConstraintsTo(Visualizer2* pVis) const;

  // ----- Zones (Dt2_zones.cpp) -----
  /// A ZL_INSIDE, ZL_OUTSIDE or ZL_BOUNDED zone of one oriented graph, or the ZL_GLOBAL zone (the
  /// graph is not used). Null (with a warning when bVerbose) for wrong arguments or before the
  /// triangulation has triangles. The zone lives until deleteZone or the triangulation's end.
  Zone2* createZone(ConstraintGraph2* pConstraintGraph, ZoneLocation zoneLoc, bool bVerbose);
  /// A ZL_INSIDE or ZL_OUTSIDE zone of several oriented graphs (for example a ring and its holes).
  Zone2* createZone(const std::vector<ConstraintGraph2*>& vConstraintGraphs, ZoneLocation zoneLoc, bool bVerbose);
  /// A ZL_GROW zone: the triangles reached from startPoint without crossing the graphs' edges.
  Zone2* createZone(ConstraintGraph2* pConstraintGraph, ZoneLocation zoneLoc, const Point2& startPoint, bool bVerbose);
  Zone2* createZone(const std::vector<ConstraintGraph2*>& vConstraintGraphs, ZoneLocation zoneLoc, const Point2& startPoint,
                    bool bVerbose);
  /// A ZL_BOUNDED zone of exactly the given triangles: their border becomes a new oriented
  /// constraint graph. Null, dead and foreign triangles are left out with a warning.
  Zone2* createZone(std::vector<Triangle2*>& vTriangles, ZoneLocation zoneLoc, bool bVerbose);
  /// The zone grown from the convex hull up to the graphs' edges (see Zone2's FromHull
  /// constructor); it lives until deleteZone or the triangulation's end. Null, with a warning,
  /// for a null or foreign graph or before the triangulation has triangles.
  Zone2* createZoneGrownFromHull(const std::vector<ConstraintGraph2*>& vConstraintGraphs);
  /// The zone of a set operation (ZL_RESULT_*) of two zones of this triangulation.
  Zone2* createResultZone(ZoneLocation zoneLoc, Zone2* pZone0, Zone2* pZone1);
  /// Destroys a zone of this triangulation. A foreign zone, or one that a set-operation zone
  /// still uses as an operand, is reported and kept. O(number of zones).
  void deleteZone(Zone2* pZone);
  /// True when the zone belongs to this triangulation and was not deleted. O(number of zones).
  bool hasZone(const Zone2* pZone) const;
  /// Appends the triangles reached from the triangle containing startPoint without crossing an
  /// edge of the graphs; a warning when startPoint lies outside the triangulation.
  void growZoneArea(const std::vector<ConstraintGraph2*>& vConstraintGraphs, const Point2& startPoint,
                    std::vector<Triangle2*>& vTriangles);
  /// As above from several start points in one search (a triangle is appended once).
  void growZoneArea(const std::vector<ConstraintGraph2*>& vConstraintGraphs, const std::vector<Point2>& vStartPoints,
                    std::vector<Triangle2*>& vTriangles);
  /// Some live triangle, or null when there is none.
  Triangle2* getAnyTriangle() const;

  // ----- Mesh generation (Dt2_meshing.cpp) -----
  /// refineMain2 with parameters made from the arguments (minEdgeLength is minEdgeLen,
  /// bSplitConstraints is splitConstraints).
  bool refine(Zone2* pZone, double minAngleDegree, double minEdgeLength, double maxEdgeLength, bool bSplitConstraints);
  /// Refines the parameters' zone (ZL_INSIDE or ZL_BOUNDED). False when an entry check fails
  /// (reported); otherwise true, and getRefinementReport says what was done and why it stopped.
  bool refineMain2(MeshGenParams* pParams);
  /// The refinement driver on a set of triangles bounded by constraint edges (the zone). O(output
  /// size) plus one pass over all triangles at the end.
  bool refineTriangles(const std::vector<Triangle2*>& vZone, MeshGenParams& params);
  /// True when every triangle of the zone has a smallest angle of at least minAngle, except
  /// triangles whose smallest angle lies between two constraint edges. With a file name, draws
  /// the zone with the offending triangles red (PostScript, or SVG for ".svg"). O(zone). A null
  /// zone or one of another triangulation: an error and false.
  bool checkZoneQuality(Zone2* pZone, double minAngle, const std::string& postscriptFilename);
  /// The report of the last refinement run; valid until the next run.
  const RefinementReport& getRefinementReport() const { return lastRefinementReport; }
  /// The most Steiner points one refinement run may insert (default kDefaultRefinementVertexBudget).
  void setRefinementVertexBudget(size_t numVertices) { refinementVertexBudget = numVertices; }
  static constexpr size_t kDefaultRefinementVertexBudget = 20000000;
  // ----- Importing and cutting triangles (Dt2_import.cpp, Dt2_cut.cpp) -----
  /// See Zarn_2D::importTriangles.
  Zone2* importTriangles(std::vector<Point2>& vPoints, bool bReplace, bool bDeleteOldTriangles);
  /// See Zarn_2D::cutTriangles.
  void cutTriangles(std::vector<Segment2>& vSegments, bool bProtectEdges);
  /// See Zarn_2D::createZone_cookieCutter.
  Zone2* createZone_cookieCutter(std::vector<Segment2>& vSegments, bool bProtectEdges);
  /// See Zarn_2D::drape.
  bool drape(std::vector<Segment2>& vSegmentsIn, std::vector<Segment2>& vSegmentsOut);

  // ----- Validity and statistics (Dt2_validity.cpp) -----
  bool checkValidity(bool bCheckEmptyCircleProperty, const std::string& name);
  void statistics(const std::string& name);

  // ----- Messages, settings -----
  void subscribe(MsgType msgType, MsgBase* pMsg) { publisher.subscribe(msgType, pMsg); }
  void unsubscribe(MsgType msgType, MsgBase* pMsg) { publisher.unsubscribe(msgType, pMsg); }
  int setNumCPU(int numCPU_);
  int getNumCPU() const { return numCPU; }
  void setName(const std::string& name_) { name = name_; }
  std::string getName() const { return name; }
  void setDev(const std::string& key, int intVal, double doubleVal) { mDev[key] = std::make_pair(intVal, doubleVal); }

  // ----- Internals shared with the vertex store and later subsystems -----
  const HC2& getHC2() const { return hc; }
  KoraTest& getPredicates() { return kora; }
  Point2* createVertex(const Point2& p);
  /// Pops a released triangle or takes a new one from the pool; sets corners and their incident
  /// triangle, nulls the neighbours.
  Triangle2* createTriangle(Point2* p0, Point2* p1, Point2* p2);
  /// Replaces the edge opposite corner i of pT by the other diagonal of pT and its neighbour
  /// there, which must exist and form a strictly convex quadrilateral with pT (not checked; no
  /// legalization follows). Both triangle objects stay, with their marks. O(1).
  void flipEdge(Triangle2* pT, int i);
  /// Storage for count vertices (0 < count <= getMaxVertexRun()), consecutive in the vertex pool,
  /// to be constructed by the caller (possibly on another thread). Serial.
  Point2* reserveVertexRun(size_t count);
  size_t getMaxVertexRun() const { return static_cast<size_t>(vertexPool.getMaxBlockSize()); }
  /// numBytes bytes of triangle storage not handed out yet (see SimplePool::getUnusedStorage), or
  /// null: scratch that must be dead before the next triangle is created.
  void* borrowUnusedTriangleStorage(size_t numBytes) const { return trianglePool.getUnusedStorage(numBytes); }
  /// Reserves storage for numTriangles triangles as runs of the triangle pool, counted as
  /// allocated; each run is filled later by one worker thread. Serial.
  void reserveTriangleRuns(size_t numTriangles, std::vector<TriangleRun>& vRuns);
  /// Gives back the unused part of reserved runs: it becomes released (dead) triangles. Serial.
  void releaseUnusedRuns(const std::vector<TriangleRun>& vRuns);
  /// Lends reserved runs to the serial insertion, which takes its new triangles from them first
  /// until releaseLentRuns() releases what is left. Nothing may enumerate the triangles meanwhile.
  void lendRuns(std::vector<TriangleRun> vRuns) { serialScratch.vRuns = std::move(vRuns); }
  void releaseLentRuns() { releaseUnusedRuns(serialScratch.takeRuns()); }
  /// Marks the triangles dead and puts them on the stack of released triangles.
  void releaseTriangles(const std::vector<Triangle2*>& vDead);
  /// A triangle mark that no triangle carries yet (see Triangle2's marks). When the 16-bit values
  /// run out, every triangle's mark is reset to 0 and the values start again: amortised O(1).
  uint32_t newMark() { return newMarks(1); }
  /// The first of count consecutive mark values that no triangle carries yet (as newMark).
  uint32_t newMarks(uint32_t count);
  /// Appends to vRegion the triangles reached from the seeds through edges for which
  /// bBarrier(triangle, edge index) is false, each once (seeds first). O(region size).
  template <typename Barrier>
  void floodFrom(const std::vector<Triangle2*>& vSeeds, Barrier bBarrier, std::vector<Triangle2*>& vRegion);

  VertexVault vertexVault;

 private:
  // Geometry and control of insertion (Dt2.cpp)
  bool extendBoxBy(const Point2& p);
  void rebuildKeyMapping();
  void becomeTwoDimensional();
  /// Inserts pVtx with the walk starting at pStart; returns a triangle at pVtx. A vertex at the
  /// position of an existing one is recorded as its duplicate, or, with bDeferDuplicate, left alone
  /// (no triangle) for a later attempt.
  Triangle2* insertVertex(Point2* pVtx, Triangle2* pStart, bool bDeferDuplicate = false);
  friend class InserterMT;
  friend class Chunk;
  /// Storage for a new triangle (mark 0): from the scratch's runs while it has some,
  /// else (the serial scratch only) from the released stack or the pool. Corners and neighbours are
  /// set by the caller.
  Triangle2* newTriangle(InsertionScratch& scratch) {
    if (scratch.run.pBegin == scratch.run.pEnd) {
      if (scratch.vRuns.empty()) {
        ZARN_ASSERT(!scratch.bWorker);  // a worker's runs hold 2 triangles for each of its points
        return takeTriangle();
      }
      scratch.run = scratch.vRuns.back();
      scratch.vRuns.pop_back();
    }
    return new (scratch.run.pBegin++) Triangle2();
  }
  Triangle2* takeTriangle() {
    if (vReleasedTriangles.empty()) {
      ++numAllTriangles;
      return new (trianglePool.alloc()) Triangle2();
    }
    Triangle2* pT(vReleasedTriangles.back());
    vReleasedTriangles.pop_back();
    return pT;
  }
  /// Records pVtx as a duplicate of the corner of pT at its position (where its walk ended).
  /// Reads only pT; safe from a parallel worker.
  void registerDuplicate(Point2* pVtx, const Triangle2* pT);
  void splitEdgeAndConstraint(Triangle2* pT, int edgeIdx, Point2* pVtx);
  void insertRecordsFrom(size_t firstRecord, Triangle2* pStart);
  void insertBulk(const BulkInput& input, Point2** aHandles);
  void insertAndCleanBulk(size_t firstNewRecord, Point2** aHandles, size_t numHandles);
  /// The corners of the fake box around the points (see insertFakeBox); false when one of them
  /// is beyond the largest double (points near it): then the bulk goes in serially.
  bool getFakeBoxCorners(std::vector<Point2>& vCorners) const;
  void insertFakeBox(const std::vector<Point2>& vCorners);
  void legalize(Point2* pVtx) { legalize(pVtx, kora, serialScratch); }
  /// Lawson flips around the new vertex pVtx, from the triangles on the scratch's flip stack.
  /// Reads the triangulation's settings only: safe on a parallel worker's own triangles.
  void legalize(Point2* pVtx, KoraTest& predicates, InsertionScratch& scratch) const;
  /// Inserts the vertices of the records from firstRecord on (inside the fake box), in parallel
  /// unless the triangulation may hold constraint edges (bConstraintEdges) or the set is small.
  void insertRecordsInParallel(size_t firstRecord, bool bConstraintEdges);
  void collectVisibleHullEdges(Triangle2* pT, int edgeIdx, const Point2& p, std::vector<std::pair<Triangle2*, int>>& vEdges);
  /// hullEdgeAt, but first tries the edge found at the same pivot last time: vertices added one by
  /// one beyond the same end of the hull would otherwise turn around the same high-degree hull
  /// vertex each time (a vertex off a line of vertices has them all as neighbours).
  int hullEdgeAtRemembered(Point2* pPivot, Triangle2*& pCur, bool bForward);
  /// Where the walk to a new single vertex p (Hilbert key key) starts: at the store's nearest
  /// indexed vertex or at the vertex inserted just before, whichever is nearer to p.
  Triangle2* startTriangleNear(const Point2& p, uint32_t key);

  // Constraint insertion (Dt2_constraints.cpp)
  /// The outcome of a walk along a segment.
  struct SegmentWalk {
    enum Result { IS_EDGE, VERTEX_ON_SEGMENT, CROSSES_CONSTRAINT, CROSSES_FREE_EDGES };
    Result result = IS_EDGE;
    Point2* pVertex = nullptr;                   // VERTEX_ON_SEGMENT
    Triangle2* pNearT = nullptr;                 // CROSSES_CONSTRAINT: a triangle at the crossing
    Point2 crossing;                             // CROSSES_CONSTRAINT: the rounded intersection
    ConstraintSegment2* pCrossingCSeg = nullptr;  // CROSSES_CONSTRAINT
  };
  /// One side of the crossed region: its vertices from the base edge's start to its end, and for
  /// each boundary edge the cavity triangle inside it with the edge's index there; lookOutside()
  /// turns these into the triangle outside (null on the hull) with the edge's index there.
  struct CavitySide {
    std::vector<Point2*> vVertices;
    std::vector<std::pair<Triangle2*, int>> vOuter;
    void clear(Point2* pStart);
    void lookOutside();
    void reverse();
  };
  struct PolygonTask {
    PolygonTask(int i_, int j_, Triangle2* pParent_, int parentIdx_) : i(i_), j(j_), pParent(pParent_), parentIdx(parentIdx_) {}
    int i, j;
    Triangle2* pParent;
    int parentIdx;
  };
  /// Splits the segment at a vertex already in the triangulation and re-legalizes its former edge.
  void splitSegmentAt(ConstraintSegment2* pCSeg, Point2* pSplit);
  /// Inserts constraints created while the triangulation was not yet 2D, once it is.
  void applyPendingConstraints();
  void insertOneConstrainedSegment(ConstraintSegment2* pCSeg, std::vector<ConstraintSegment2*>& vStack);
  /// forceSegment's loop: pops segments until the stack is empty.
  void forceStack(std::vector<ConstraintSegment2*>& vStack, size_t maxNumPoints);
  /// The vertex pairs of the finite segments (input order): existing vertices where found, else
  /// newly inserted ones.
  void findOrInsertEnds(const std::vector<Segment2>& vSegments, std::vector<std::pair<Point2*, Point2*>>& vPairs);
  /// The vertex at p, or null (see findOrInsertEnds).
  Point2* findVertexAt(const Point2& p, bool bContinuesChain, const Point2* pNear, Triangle2*& pT);
  /// Marks the segment skipped (counted) unless it already stands as an edge.
  void skipUnlessEdge(ConstraintSegment2* pCSeg);
  void forceUnsplittable(ConstraintSegment2* pCSeg);
  void splitAtCrossing(ConstraintSegment2* pCSeg, const Point2& splitPoint, ConstraintSegment2* pCrossingCSeg,
                       Triangle2* pNearT, std::vector<ConstraintSegment2*>& vStack);
  SegmentWalk walkAlongSegment(Point2* pStart, Point2* pStop, bool bCollectCavity);
  SegmentWalk leaveStart(Point2* pStart, Point2* pStop, Triangle2*& pT, int& crossIdx);
  SegmentWalk crossingOf(Point2* pStart, Point2* pStop, ConstraintSegment2* pCrossed);
  static void addCavityEdge(CavitySide& side, Triangle2* pT, int idx, Point2* pNextVertex);
  void retriangulateCavity();
  void removeDangling(CavitySide& side);
  void releasePocket(Point2* pAnchor);
  std::pair<Triangle2*, int> triangulatePseudoPolygon(const CavitySide& side);

  // Cutting (Dt2_cut.cpp)
  /// Cuts one segment into the triangulation (its pieces become constraints with bProtectEdges);
  /// appends the vertices of its pieces, in order, to vChain. No part outside the triangulation.
  void cutOneSegment(const Segment2& seg, bool bProtectEdges, SegmentTracer& tracer, std::vector<Point2*>& vChain);
  /// Inserts the stations as vertices without flips; appends the distinct consecutive vertices.
  void insertStations(const std::vector<SegmentStation>& vStations, std::vector<Point2*>& vVertices);
  /// Makes the last vertex of vChain and pTo an edge without touching triangles away from it
  /// (vertices on it and crossed constraints split it); appends the vertices after the first
  /// along it, up to pTo, to vChain.
  void forceEdge(Point2* pTo, std::vector<Point2*>& vChain);
  /// Splits the constraint pCrossed at a vertex inserted at the given crossing; returns that vertex.
  Point2* splitCrossedConstraint(ConstraintSegment2* pCrossed, const Point2& crossing, Triangle2* pNearT);
  /// Re-inserts the constraints that a re-triangulated cavity displaced.
  void reinsertDisplacedConstraints();
  /// The triangles left of the cut pieces of a counterclockwise ring (vvChains: the vertex chain of
  /// each ring segment), or all or none when the ring met no triangle.
  void collectInsideCut(const std::vector<Segment2>& vRing, const std::vector<std::vector<Point2*>>& vvChains,
                        std::vector<Triangle2*>& vInside);
  /// A zone of exactly these triangles that does not follow later changes (see Zone2).
  Zone2* createSnapshotZone(const std::vector<Triangle2*>& vTriangles);

  // Importing (Dt2_import.cpp)
  /// The triangles of the imported corner triples (counterclockwise vertex handles) after their
  /// edges became constraints, each once; bOverlap tells whether some triangle was covered twice.
  void collectImportedArea(const std::vector<Point2*>& vCorners, std::vector<Triangle2*>& vArea, bool& bOverlap);
  /// Removes the given vertices unless they are constraint endpoints.
  void removeUnconstrained(const std::vector<Point2*>& vVertices);

  // Zones (Dt2_zones.cpp)
  /// Checks the graphs of a new zone (not null, of this triangulation, oriented if asked) and that
  /// the triangulation has triangles; warns when bVerbose.
  bool acceptGraphs(const std::vector<ConstraintGraph2*>& vConstraintGraphs, bool bOrientedOnly, bool bVerbose);
  /// Appends the directed border edges (seen from inside) of the valid triangles of the set and
  /// returns the number of null, dead or foreign triangles.
  size_t collectBorderOfSet(const std::vector<Triangle2*>& vTriangles, std::vector<std::pair<Point2*, Point2*>>& vBorder);

  // Validity (Dt2_validity.cpp)
  class DefectReport;
  void checkConstraintEdges(DefectReport& report);

  // Removal (Dt2_remove.cpp)
  struct HoleLink;
  bool wouldLeaveOnlyCollinearVertices(Point2* pVtx);
  void fillHole(Point2* pVtx, std::vector<HoleLink>& vLinks, bool bClosed, std::vector<Triangle2*>& vNew);
  /// Lawson's flips from the edges of the given triangles until every edge they reach is locally
  /// Delaunay (constraint edges stay).
  void legalizeEdges(const std::vector<Triangle2*>& vNew);

  // Topology: neighbour links, splits and flips (Dt2_topology.cpp)
  // The splits take new triangles from the scratch and push those to test onto its flip stack.
  void splitTriangle(Triangle2* pT, Point2* pVtx, InsertionScratch& scratch);
  void splitEdge(Triangle2* pT, int edgeIdx, Point2* pVtx, InsertionScratch& scratch);
  void attachOutsideHull(const std::vector<std::pair<Triangle2*, int>>& vHullEdges, Point2* pVtx);
  static void flip(Triangle2* pT, int vIdx, Triangle2* pNeigh, int neighIdx);
  // The inverses, for an insertion that is taken back: each restores the triangles exactly as they
  // were (corner order included) from the state its operation left, and points the corners that
  // left a triangle at one that holds them. The triangles the splits added are not released.
  static void unflip(Triangle2* pT, Triangle2* pNeigh, int neighIdx);
  static void unsplitTriangle(Triangle2* pT);
  static void unsplitEdge(Triangle2* pT, int edgeIdx, Triangle2* pN, int neighIdx);
  /// Makes pT's neighbour i and pOther's neighbour j point at each other (pOther may be null).
  static void linkNeighbours(Triangle2* pT, int i, Triangle2* pOther, int j);
  static void setNeighbours(Triangle2* pT, Triangle2* pN0, Triangle2* pN1, Triangle2* pN2);
  /// The hull edge at pPivot, found by turning around it from pCur (updated to the triangle that
  /// holds the edge): forwards the edge leaving the pivot, backwards the edge arriving at it.
  /// Returns the edge's index in pCur.
  static int hullEdgeAt(Point2* pPivot, Triangle2*& pCur, bool bForward);
  static void replaceNeighbour(Triangle2* pT, Triangle2* pOld, Triangle2* pNew);
  /// Renumbers pT's corners (and neighbours) so that corner k becomes corner 0.
  static void rotateToCorner0(Triangle2* pT, int k);

  std::mutex mtxReleasedTriangles;
  int numCPU;
  std::map<std::string, std::pair<int, double>> mDev;
  KoraTest kora;  // declared before the box, which informs it
  Bbox2 bbx;
  HC2 hc;
  SimplePool<Point2> vertexPool;
  SimplePool<Triangle2> trianglePool;
  std::vector<Triangle2*> vReleasedTriangles;
  std::string name;
  ProgressPublisher publisher;
  InsertionScratch serialScratch;
  // The last hull edge found at a pivot, backwards [0] and forwards [1]; checked before each use.
  struct HullEdgeHint {
    Point2* pPivot = nullptr;
    Triangle2* pT = nullptr;
    int idx = -1;
  };
  HullEdgeHint aHullEdgeHints[2];
  bool bSuspendFlips;
  size_t numAllTriangles;
  uint32_t lastMark = 0;
  std::unique_ptr<ConstraintMgr> pConstraintMgr;
  std::vector<std::unique_ptr<Zone2>> vZones;  // declared after the constraint manager: zones go first
  bool bConstraintsPending;
  InnerVtxMgr innerVtxMgr;  // grid-meshing vertices that constraint splits may remove
  size_t numSkippedSegments;
  size_t numDeferredByWorkers = 0;
  // Scratch of the constraint walk, kept to avoid allocations per segment.
  std::vector<Triangle2*> vCavityTriangles;
  CavitySide leftSide;
  CavitySide rightSide;
  std::vector<PolygonTask> vPolygonTasks;
  std::vector<std::pair<Point2, ConstraintSegment2*>> vCrossings;
  Triangle2* pCrossingNearT = nullptr;  // where the last traversal met a crossing constraint
  std::vector<Point2*> vDanglingVertices;
  std::vector<Triangle2*> vPocketTriangles;
  std::vector<std::pair<Point2*, size_t>> vChainSlots;  // removeDangling's positions of chain vertices
  std::vector<std::pair<Point2*, Point2*>> vSpikeEdges;
  std::vector<ConstraintSegment2*> vDisplacedConstraints;
  std::vector<ConstraintSegment2*> vForceStack;
  RefinementReport lastRefinementReport;
  size_t refinementVertexBudget = kDefaultRefinementVertexBudget;
};

template <typename Visit>
Triangle2* Dt2::findAround(const Point2* pPivot, Visit visit) {
  Triangle2* pStart(pPivot->getIncidentTriangle());
  if (pStart == nullptr) return nullptr;
  Triangle2* pT(pStart);
  do {
    if (visit(pT, pT->getIntraTriangleIndex(pPivot))) return pT;
    pT = pT->getOppositeTriangle(incIndexBy1(pT->getIntraTriangleIndex(pPivot)));
  } while (pT != nullptr && pT != pStart);
  if (pT == pStart) return nullptr;
  for (pT = pStart->getOppositeTriangle(incIndexBy2(pStart->getIntraTriangleIndex(pPivot))); pT != nullptr;
       pT = pT->getOppositeTriangle(incIndexBy2(pT->getIntraTriangleIndex(pPivot)))) {
    if (visit(pT, pT->getIntraTriangleIndex(pPivot))) return pT;
  }
  return nullptr;
}

template <typename Barrier>
void Dt2::floodFrom(const std::vector<Triangle2*>& vSeeds, Barrier bBarrier, std::vector<Triangle2*>& vRegion) {
  const uint32_t mark(newMark());
  const size_t first(vRegion.size());
  for (Triangle2* pSeed : vSeeds) {
    if (pSeed->getMark() == mark) continue;
    pSeed->setMark(mark);
    vRegion.push_back(pSeed);
  }
  for (size_t q = first; q < vRegion.size(); ++q) {
    Triangle2* pT(vRegion[q]);
    for (int k = 0; k < 3; ++k) {
      Triangle2* pN(pT->getOppositeTriangle(k));
      if (pN == nullptr || pN->getMark() == mark || bBarrier(pT, k)) continue;
      pN->setMark(mark);
      vRegion.push_back(pN);
    }
  }
}

// The visibility walk ends in a Delaunay triangulation, but may circle in a constrained one
// (Edelsbrunner's cycle). A walk that takes unusually long therefore starts its edge tests at a
// random edge from then on (the stochastic walk of Devillers, Pion and Teillaud), which ends with
// probability one.
template <class CanEnter>
int Dt2::walk(KoraTest& kora, const Point2& p, Triangle2*& pStartTriangle, int& edgeIndex, CanEnter canEnter) {
  // Far beyond the length of ordinary walks (about the square root of the number of vertices).
  constexpr uint32_t kStepsBeforeStochasticWalk = 1u << 16;
  ZARN_ASSERT(pStartTriangle!=0);
  Triangle2* pT(pStartTriangle);
  int firstEdge(0);
  uint32_t numSteps(0), randomState(0x9E3779B9u);
  for (;;) {
    edgeIndex = -1;
    int i(firstEdge);
    Triangle2* pNext(nullptr);
    for (int k = 0; k < 3; ++k, i = incIndexBy1(i)) {
      const Point2* a(pT->getCorner(incIndexBy1(i)));
      const Point2* b(pT->getCorner(incIndexBy2(i)));
      const Orientation2 ori(kora.getOrientationInRange(*b, *a, p));
      if (ori == ORIENTATION2_CCW) {
        pNext = pT->getOppositeTriangle(i);
        if (pNext == nullptr) {
          pStartTriangle = pT;
          return i;
        }
        break;
      }
      if (ori == ORIENTATION2_COLLINEAR) {
        if (p == *a || p == *b) {
          pStartTriangle = pT;
          return LOC_ON_CORNER;
        }
        edgeIndex = i;
      }
    }
    if (pNext == nullptr) {
      pStartTriangle = pT;
      return LOC_INSIDE;
    }
    if (!canEnter(pT, i)) {
      pStartTriangle = pT;
      return LOC_BLOCKED;
    }
    firstEdge = incIndexBy1(pNext->getIntraTriangleIndex(pT));
    if (++numSteps > kStepsBeforeStochasticWalk) {
      randomState ^= randomState << 13;
      randomState ^= randomState >> 17;
      randomState ^= randomState << 5;
      firstEdge = static_cast<int>(randomState % 3);
    }
    pT = pNext;
  }
}

// The hot topology primitives, inline: the flip loops of serial and parallel insertion call them
// once or twice per flip.

inline void Dt2::replaceNeighbour(Triangle2* pT, Triangle2* pOld, Triangle2* pNew) {
  if (pT == nullptr) return;
  const int i(pT->getIntraTriangleIndex(pOld));
  ZARN_ASSERT(pT->getOppositeTriangle(i) == pOld);
  pT->setOppTriangle(i, pNew);
}

// pT = (v, a, b) with v at corner vIdx; pNeigh = (d, b, a) with d at neighIdx. The diagonal a-b is
// replaced by v-d: pT becomes (v, a, d) and pNeigh becomes (v, d, b), v at corner 0 of both. Only
// a (now in pT alone) and b (now in pNeigh alone) may have pointed at a triangle that lost them.
// pNeigh keeps its border link to nb; the other links that move (na, tb) are never border links.
inline void Dt2::flip(Triangle2* pT, int vIdx, Triangle2* pNeigh, int neighIdx) {
  Point2* v(pT->getCorner(vIdx));
  Point2* a(pT->getCorner(incIndexBy1(vIdx)));
  Point2* b(pT->getCorner(incIndexBy2(vIdx)));
  Point2* d(pNeigh->getCorner(neighIdx));
  Triangle2* ta(pT->getOppositeTriangle(incIndexBy2(vIdx)));
  Triangle2* tb(pT->getOppositeTriangle(incIndexBy1(vIdx)));
  Triangle2* na(pNeigh->getOppositeTriangle(incIndexBy1(neighIdx)));
  Triangle2* nb(pNeigh->getOppositeTriangle(incIndexBy2(neighIdx)));
  const bool bBorderNb(pNeigh->isBorderLink(incIndexBy2(neighIdx)));
  pT->setCornersAndNeighbours(v, a, d, na, pNeigh, ta);
  pNeigh->setCornersAndNeighbours(v, d, b, nb, tb, pT, bBorderNb);
  a->setIncidentTriangle(pT);
  b->setIncidentTriangle(pNeigh);
  replaceNeighbour(na, pNeigh, pT);
  replaceNeighbour(tb, pT, pNeigh);
}

}  // namespace KORA_ZARN2D
