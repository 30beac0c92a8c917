// Zarn2D: exact two-dimensional Delaunay and constrained triangulation.
// Umbrella header: including it gives the whole public API of the namespace KORA_ZARN2D.
#pragma once

#include "Bbox2.h"
#include "Circle2.h"
#include "Color.h"
#include "ConstraintGraph2.h"
#include "ConstraintSegment2.h"
#include "Edge2.h"
#include "Func_compareSegment.h"
#include "KoraTest.h"
#include "Label.h"
#include "MeshArrays.h"
#include "MsgBase.h"
#include "Point2.h"
#include "Segment2.h"
#include "SegmentChecker.h"
#include "Triangle2.h"
#include "TriangleAroundVertexIterator.h"
#include "Vector2.h"
#include "UserPredicateT.h"
#include "VertexPair2.h"
#include "Visualizer2.h"
#include "ZarnException.h"
#include "Zone2.h"
#include "freeFunctions.h"

namespace KORA_ZARN2D {

class Dt2;

/// A triangulation: the one class through which a host program builds and queries it.
///
/// Insert points (one by one or in bulk), read back vertices (`Point2*`) and triangles
/// (`Triangle2*`). Every handle stays valid until this object is destroyed; a triangle may be
/// deleted by a later mutation (insertion, removal), a vertex only by `remove`.
/// The result is always an exact Delaunay triangulation of the convex hull of the vertices.
/// Not safe for concurrent use by several threads; bulk insertion may use worker threads itself.
class ZARN2D_EXPORT Zarn_2D {
 public:
  /// numExpectedVertices is a capacity hint (clamped up to 3); more points are accepted.
  explicit Zarn_2D(unsigned int numExpectedVertices = 3);
  /// Releases everything; every handle dies. Storage blocks of up to 8 MiB stay with the calling
  /// thread (at most 32 MiB, freed when the thread ends) for the next triangulation it builds: a
  /// program that builds many small triangulations then no longer asks the kernel for fresh pages
  /// each time.
  ~Zarn_2D();
  Zarn_2D(const Zarn_2D&) = delete;
  Zarn_2D& operator=(const Zarn_2D&) = delete;

  // ----- Insertion and removal -----

  /// Inserts one point; O(log n) expected (also while all points are still collinear). Returns its
  /// vertex, or the existing vertex at the same position. Every finite coordinate is accepted,
  /// subnormals up to the largest double, mixed scales too; a non-finite coordinate is rejected
  /// with a warning and null is returned.
  Point2* insert(const Point2& p);
  /// Bulk insertion in Hilbert order; O(n log n), the fastest way to insert many points. Points
  /// with a non-finite coordinate are skipped (one warning with their count).
  void insert(const std::vector<Point2>& vInputPoints);
  /// As above, and vHandles receives the vertex of each input point in input order (repeated
  /// points share the vertex of their first occurrence; skipped points get null).
  void insert(const std::vector<Point2>& vInputPoints, std::vector<Point2*>& vHandles);
  /// Bulk insertion of numPoints points given as x0, y0, x1, y1, ...; the vertex of point i
  /// carries custom index i (getMeshArrays then keeps the input order). aHandles (if not null)
  /// must hold numPoints entries and receives the vertex of point i at index i.
  void insert(int numPoints, double* aCoordinates, Point2** aHandles);
  /// Triangulates vPoints in a temporary triangulation (this one is not changed) and returns the
  /// seconds the bulk insertion took.
  double measureTriangulationTime(std::vector<Point2>& vPoints);
  /// Removes a vertex; the triangulation is Delaunay again afterwards and all other handles stay
  /// valid. A null or foreign handle, or a removal that would leave fewer than three
  /// non-collinear vertices, gets a warning and changes nothing.
  void remove(Point2* pVertex);

  // ----- Queries -----

  /// The triangle containing p (on its boundary counts), or null when p lies outside the hull.
  Triangle2* locate(const Point2& p);
  /// Exact orientation of three points; thread-safe.
  Orientation2 getOrientation(const Point2& p0, const Point2& p1, const Point2& p2);
  /// True once three non-collinear points are in and triangles exist.
  bool is2D() const;
  unsigned int numberOfPoints() const;
  unsigned int numberOfTriangles() const;
  /// Appends all triangles; O(n).
  void getTrianglePointers(std::vector<Triangle2*>& vAllTriangles) const;
  /// Appends all vertices; O(n).
  void getVertexPointers(std::vector<Point2*>& vAllPoints) const;
  /// Appends the triangles around pVertex in counterclockwise order (nothing for null or a
  /// vertex without triangles).
  void getIncidentTriangles(Point2* pVertex, std::vector<Triangle2*>& vIncidentT) const;
  /// Appends the neighbour vertices of pVertex in counterclockwise order.
  void getIncidentVertices(Point2* pVertex, std::vector<Point2*>& vIncidentVertices) const;
  /// The triangle that has the directed edge p0 -> p1 counterclockwise, or null.
  Triangle2* getAdjacentTriangle(Point2* p0, Point2* p1) const;
  /// Appends the convex hull counterclockwise. With bAllVertices false only the corners, with
  /// true also the vertices lying on hull edges. Lower-dimensional: the extreme points (or all
  /// points in order along their line).
  void getConvexHull(bool bAllVertices, std::vector<Point2*>& vHullCorners);
  /// The bounding box of the vertices (invalid when there are none).
  Bbox2 computeBoundingBox() const;
  /// Whether p0-p1 is an alive constraint segment, pVtx is an endpoint of one (such vertices
  /// cannot be removed), or the edge opposite corner ith of pT is one. Null or out-of-range
  /// arguments give false.
  bool isConstraint(Point2* p0, Point2* p1) const;
  bool isConstraint(Point2* pVtx) const;
  bool isConstraint(Triangle2* pT, int ith) const;

  // ----- Constraints and zones -----

  /// The constraint segment registered for the vertex pair (either order), alive or split, or null.
  /// O(log n). The segment lives as long as this triangulation.
  ConstraintSegment2* getConstraintSegment(Point2* p0, Point2* p1) const;
  /// Appends the alive constraint segments (the pieces that stand as edges), ordered by their
  /// vertex addresses. O(number of segments).
  void getAliveConstraintSegments(std::vector<ConstraintSegment2*>& vAliveConstraintSegments) const;
  /// Appends every constraint segment ever created, alive or split.
  void getAliveAndDeadConstraintSegments(std::vector<ConstraintSegment2*>& vAllConstraintSegments) const;
  /// Inserts the segments' endpoints as vertices and makes the segments edges of the
  /// triangulation: cis CIS_CONSTRAINED_DELAUNAY forces each segment in as an edge (crossing
  /// constraints are split at their intersection, rounded to doubles), CIS_CONFORMING_DELAUNAY
  /// splits segments by extra vertices until the pieces are Delaunay edges. bOrientedSegments
  /// keeps the direction of each segment (needed for zones of polygons). Returns the graph, which
  /// lives as long as this triangulation; null (with a warning) for an empty vector. Segments with
  /// a non-finite coordinate, or from a point to itself, are skipped with a warning. Before the
  /// triangulation is 2D the segments are kept and inserted as soon as it is. The work is bounded:
  /// where double precision cannot do what the strategy needs (crossings rounded onto each other,
  /// pieces too short to split), the error "insufficient numeric accuracy, need to skip last
  /// insertions" says so, a conforming piece may stay an unsplit constrained edge ("giving up"
  /// warning), and pieces given up are reported by count and marked ConstraintSegment2::isSkipped;
  /// the triangulation stays valid. Asking for a skipped segment again retries it.
  ConstraintGraph2* createConstraint(std::vector<Segment2>& vSegments, ConstraintInsertionStrategy cis,
                                     bool bOrientedSegments = false);
  /// Inserts every constraint segment that is not yet an edge; warns and does nothing before the
  /// triangulation is 2D.
  void applyConstraintsAndZones();
  /// A zone of one oriented constraint graph (createConstraint with bOrientedSegments true):
  /// ZL_INSIDE the triangles left of its pieces (inside a counterclockwise ring), ZL_OUTSIDE those
  /// right of them, ZL_BOUNDED as ZL_INSIDE (the form mesh generation expects); ZL_GLOBAL all
  /// triangles (the graph may be null). The zone follows later changes of the triangulation: its
  /// triangles are computed when asked for (Zone2::getTriangles). Null for a null, foreign or
  /// undirected graph, another location, or before the triangulation is 2D; with bVerbose the
  /// reason and "No zone created, returning NULL (bVerbose==true)" are printed. O(1).
  /// Zones are owned by the triangulation and live until deleteZone or its destruction.
  Zone2* createZone(ConstraintGraph2* pConstraintGraph, ZoneLocation zoneLoc, bool bVerbose = true);
  /// As above for several oriented graphs together, ZL_INSIDE or ZL_OUTSIDE (for example an outer
  /// counterclockwise ring and clockwise holes, or rings given as separate graphs). A piece shared
  /// by two of the graphs is a barrier only.
  Zone2* createZone(const std::vector<ConstraintGraph2*>& vConstraintGraphs, ZoneLocation zoneLoc, bool bVerbose = true);
  /// A ZL_GROW zone: the triangles reached from the triangle that contains startPoint without
  /// crossing an edge of the graph(s); the graphs need not be oriented. A start point outside the
  /// triangulation gives a warning (and no triangles) whenever the zone is evaluated. Null, with
  /// messages as above, for another location, a null graph or a non-finite start point.
  Zone2* createZone(ConstraintGraph2* pConstraintGraph, ZoneLocation zoneLoc, const Point2& startPoint, bool bVerbose = true);
  Zone2* createZone(const std::vector<ConstraintGraph2*>& vConstraintGraphs, ZoneLocation zoneLoc, const Point2& startPoint,
                    bool bVerbose = true);
  /// A ZL_BOUNDED zone of exactly these triangles: the border of the set becomes a new oriented
  /// constraint graph, so the zone follows later insertions and can be meshed. Null, dead and
  /// foreign triangles are left out with a warning; null when none is left. O(n).
  Zone2* createZone(std::vector<Triangle2*>& vTriangles, bool bVerbose = true);
  /// Cuts the triangulation along a simple polygon given by vSegments (any order and orientation)
  /// as cutTriangles does, and returns the zone of the triangles inside it (clipped to the
  /// triangulation): ZL_BOUNDED by the cut pieces (and hull edges where the polygon leaves the
  /// triangulation) with bProtectEdges; else the cut edges are no constraints and the zone is a
  /// snapshot of those triangles (location ZL_GROW without start points: it keeps the triangles
  /// that stand unchanged). A polygon that misses the triangulation gives a zone without
  /// triangles. Segments that do not form one simple closed polygon: a warning, null, nothing
  /// changed. Cost as cutTriangles plus the zone's size. The zone lives until deleteZone or the
  /// end of this triangulation.
  Zone2* createZone_cookieCutter(std::vector<Segment2>& vSegments, bool bProtectEdges);
  /// Destroys a zone of this triangulation (the pointer is invalid afterwards). A zone that is not
  /// there gives a warning; so does a zone that a set operation's zone still uses as an operand
  /// (delete that zone first). O(number of zones).
  void deleteZone(Zone2* pZone);
  /// Imports triangles given as consecutive corner triples (either orientation): the corners become
  /// vertices and every imported edge a constraint edge, so each imported triangle reappears
  /// exactly where no vertex lies inside it; around them the triangulation stays constrained
  /// Delaunay. bReplace: existing vertices strictly inside the imported area are removed (else
  /// they subdivide it). bDeleteOldTriangles: every earlier vertex that is neither an imported
  /// corner nor a constraint endpoint is removed, leaving the imported mesh and the triangles
  /// that fill the hull. Returns a zone covering exactly the imported area (lives until deleteZone
  /// or the end of this triangulation). A size that is not a multiple of 3: an error, null,
  /// nothing changed; degenerate or non-finite triangles are skipped with a warning; overlapping
  /// triangles give a warning (the zone covers their union). Cost: that of inserting the corners
  /// and edges, plus the area's triangles.
  Zone2* importTriangles(std::vector<Point2>& vPoints, bool bReplace, bool bDeleteOldTriangles);
  /// Makes the segments edges: their ends and their crossings with existing edges (exact, rounded
  /// to doubles) become vertices inserted without flips, so every crossed triangle is subdivided
  /// and triangles away from the cut keep their shape. Parts outside the triangulation are not
  /// cut. bProtectEdges: the cut pieces become constraint edges (crossed constraints are split);
  /// otherwise later insertions may flip them. Degenerate or non-finite segments are skipped with a
  /// warning. Cost: O(crossed triangles) per segment (O(hull) more for one starting outside).
  void cutTriangles(std::vector<Segment2>& vSegments, bool bProtectEdges);
  /// cutTriangles for the one segment p0-p1.
  void cutTriangles(const Point2& p0, const Point2& p1, bool bProtectEdges);
  /// Appends to vSegmentsOut the pieces of every input segment split at its crossings with
  /// triangle edges (in order along it; crossings exact, rounded to doubles; at every vertex on
  /// it), so that each piece lies in one triangle; no piece has length zero. The triangulation is
  /// not changed. Parts outside the triangulation are dropped, and degenerate or non-finite
  /// segments skipped with a warning: the result is then false, else true. Cost: O(crossed
  /// triangles) per segment (O(hull) more for one starting outside).
  bool drape(std::vector<Segment2>& vSegmentsIn, std::vector<Segment2>& vSegmentsOut);

  // ----- Mesh generation -----

  /// Refines pZone to angles of at least minAngleDegree (at most 30) and edges within the bounds.
  void refine(Zone2* pZone, double minAngleDegree, double minEdgeLength, double maxEdgeLength,
              bool bAllowConstraintSplitting = true);
  void refineAdvanced(MeshGenParams* pParameters);
  bool checkZoneQuality(Zone2* pZone, double minAngle, const std::string& postscriptFilename,
                        const AcceptExperimentalFeature& accept);

  // ----- Checks, output -----

  /// Checks neighbour symmetry, strict counterclockwise orientation, incident triangles, Euler's
  /// relation, hull convexity and (with the flag) the Delaunay property, all exactly; prints a
  /// report and returns false on any defect. O(n log n).
  bool checkValidity(bool bCheckEmptyCircleProperty, const std::string& s);
  /// Prints counts, area, edge-length and angle figures.
  void statistics(const std::string& s);
  /// Draws the triangles (constraint edges heavier) to a PostScript file, or SVG for ".svg".
  void show(const std::string& filename, bool bWithConstraints = true);
  /// Adds the triangles (and constraint edges) to a visualizer the caller writes.
  void show(Visualizer2* pVis, bool bWithConstraints = true);
  /// Writes all triangles (or the zone's; a null zone means all) as a Wavefront OBJ file. A zone
  /// of another triangulation gives a warning and nothing is written.
  void writeObj(const std::string& filename);
  void writeObj(const std::string& filename, Zone2* pZone);
  /// Writes a directory with a web page that shows the triangulation (or the zone) in 3D.
  void writeWebScene(const char* path);
  void writeWebScene(const char* path, Zone2* pZone);

  // ----- Messages and settings -----

  /// Registers a receiver for messages of a type (once per type and receiver).
  void subscribe(MsgType msgType, MsgBase* pMsg);
  void unsubscribe(MsgType msgType, MsgBase* pMsg);
  /// Threads for bulk insertion: n > 0 sets n, 0 the hardware thread count, n < 0 one thread.
  /// Returns the count now in force. With more than one, bulk insertion of a few thousand points
  /// or more is cut into that many parts, inserted in parallel (the calling thread included), and
  /// gives the same triangulation as one thread: the same triangles for points in general
  /// position, an exact Delaunay triangulation on cocircular points, the same handles. A count
  /// above the machine's hardware thread count inserts as that count does, the same result at the
  /// same speed. Single-point insertion always runs on the caller's thread.
  int setNumCPU(int numCPU);
  /// Same as setNumCPU(0).
  void enableMultithreading();
  void setName(const std::string& s);
  std::string getName() const;
  /// Stores a developer setting (an inert key-value store).
  void setDev(const std::string& s, int i, double d);
  /// Diagnostic back door.
  void internal(int au, int bu, std::string s);
  /// The internal triangulation (for the library's own use).
  Dt2* getImpl() const;

 protected:
  void initZarn(unsigned int numExpectedVertices);
  /// The triangles of the zone (all for null); false with a warning at where for a foreign zone.
  bool collectExportTriangles(Zone2* pZone, const char* where, std::vector<Triangle2*>& vTriangles) const;

 private:
  Dt2* pImpl;
};

}  // namespace KORA_ZARN2D
