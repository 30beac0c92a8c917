// Zone2: a set of triangles named by a rule (inside or outside constraint graphs, grown from a
// point, all, or a set operation of two zones), evaluated on the current triangulation.
#pragma once

#include <string>
#include <vector>

#include "Bbox2.h"
#include "Edge2.h"
#include "Point2.h"
#include "Segment2.h"
#include "Triangle2.h"
#include "Vector2.h"

namespace KORA_ZARN2D {

class Dt2;
class ConstraintGraph2;
class UserPredicateT;

/// A zone names a set of triangles of one triangulation without storing them: it keeps a rule
/// and computes its triangles on demand, so it stays valid while the triangulation changes (a
/// zone inside a square yields the triangles inside the square also after points were inserted
/// in it). Zones are made by Zarn_2D::createZone and the zone set operations, owned by the
/// triangulation, and live until Zarn_2D::deleteZone or the triangulation's destruction.
///
/// Rules (ZoneLocation): ZL_GLOBAL all triangles; ZL_INSIDE / ZL_BOUNDED the triangles to the
/// left of the zone's oriented constraint graphs (inside counterclockwise rings, outside clockwise
/// holes); ZL_OUTSIDE those to their right; ZL_GROW the triangles reached from a start point
/// without crossing an edge of the zone's graphs; ZL_RESULT_* a set operation of two zones.
/// An edge shared by two rings (or given back and forth) starts no search: it is a barrier only.
///
/// Cost: computing the triangles is one breadth-first pass, linear in the number of zone
/// triangles plus the number of constraint pieces of the zone's graphs. Every getter computes the
/// triangles anew, so keep the result of getTriangles when several figures are needed.
/// Not safe for concurrent use (a search marks the triangles it visits).
class ZARN2D_EXPORT Zone2 {
 public:
  /// A zone without graphs: ZL_GLOBAL, or a result zone whose operands Dt2 appends (internal).
  Zone2(Dt2* pDt, ZoneLocation zoneLoc);
  /// A zone bounded by one oriented graph: ZL_INSIDE, ZL_OUTSIDE or ZL_BOUNDED. Another location,
  /// a null graph or a graph that is not oriented is reported as an error and leaves the zone
  /// without graphs (and so without triangles). Zones are made by Dt2 (internal).
  Zone2(Dt2* pDt, ZoneLocation zoneLoc, ConstraintGraph2* pConstraintGraph);
  /// A zone bounded by several oriented graphs: ZL_INSIDE or ZL_OUTSIDE. Errors as above.
  Zone2(Dt2* pDt, ZoneLocation zoneLoc, const std::vector<ConstraintGraph2*>& vConstraintGraphs);
  /// A ZL_GROW zone: the triangles reached from the start points, the graphs' edges are barriers.
  Zone2(Dt2* pDt, const std::vector<ConstraintGraph2*>& vConstraintGraphs, ZoneLocation zoneLoc,
        const std::vector<Point2>& vStartPoints);
  /// A snapshot zone (internal; the cookie cutter without protected edges makes it): location
  /// ZL_GROW without start points or graphs; its triangles are those of vSnapshot that still stand
  /// unchanged (same corners), so it shrinks where the triangulation changes.
  Zone2(Dt2* pDt, const std::vector<Triangle2*>& vSnapshot);
  /// Tag of the zone grown from the convex hull.
  struct FromHull {};
  /// A zone grown from the convex hull (internal; domains use it): location ZL_GROW, started at
  /// every evaluation in each triangle with a hull edge that is no constraint edge, the graphs'
  /// edges are barriers. So it follows insertions and removals that move the hull.
  Zone2(Dt2* pDt, const std::vector<ConstraintGraph2*>& vConstraintGraphs, FromHull);
  Zone2(const Zone2&) = delete;
  Zone2& operator=(const Zone2&) = delete;

  // ----- The rule -----

  ZoneLocation getZoneLocation() const { return zoneLoc; }
  /// The triangulation the zone belongs to (internal type; compare it to Zarn_2D::getImpl()).
  Dt2* getDelaunayTriangulation() const { return pDt; }
  size_t numberOfConstraintGraphs() const { return vConstraintGraphs.size(); }
  /// Appends the zone's constraint graphs (none for ZL_GLOBAL and result zones).
  void getConstraintGraphs(std::vector<ConstraintGraph2*>& vGraphs) const;
  /// The zone's single graph; null when it has none, null with a warning when it has several.
  ConstraintGraph2* getConstraintGraph() const;
  /// The two operands of a result zone (ZL_RESULT_*), first operand first; appends nothing for
  /// other zones.
  void getInputZones(std::vector<Zone2*>& vZones) const;

  // ----- The triangles (all getters append to the vector they are given) -----

  /// Appends the zone's current triangles in breadth-first order from the zone's boundary (a set
  /// operation: in the order of its operands). O(zone triangles + constraint pieces); a result
  /// zone also computes its operands. Nothing, with a warning, before the triangulation is 2D.
  /// The pointers are valid until the triangulation changes.
  void getTriangles(std::vector<Triangle2*>& vTriangles) const;
  /// The number of triangles getTriangles yields (same cost).
  size_t getNumberOfTriangles() const;
  /// Appends the distinct corners of the zone's triangles. O(m log m) for m zone triangles.
  void getVertices(std::vector<Point2*>& vVertices) const;
  /// The sum of the triangles' areas; 0 for an empty zone.
  double getArea2D() const;
  /// The box of the zone's vertices; invalid for an empty zone.
  Bbox2 getBoundingBox() const;
  /// Appends every edge between a zone triangle and a triangle outside the zone (or the hull),
  /// seen from the zone triangle, so each runs counterclockwise around the zone. O(zone).
  void getBoundaryEdges(std::vector<Edge2>& vEdges) const;
  /// The boundary edges as segments (copies of the end points), counterclockwise around the zone.
  void getBoundarySegments(std::vector<Segment2>& vSegments) const;
  /// Same edges as getBoundaryEdges: the edges of zone triangles that border the rest.
  void getBorderEdges(std::vector<Edge2>& vEdges) const;

  // ----- New zones (owned by the triangulation like every zone) -----

  /// A new ZL_BOUNDED zone of the same triangles, bounded by a new constraint graph made of the
  /// boundary edges; it follows later insertions and can be meshed. Null with a warning when the
  /// zone has no triangles. O(zone).
  Zone2* convertToBoundedZone();
  /// Appends one new ZL_BOUNDED zone per edge-connected component (triangles that only touch at a
  /// corner are not connected), each made as Zarn_2D::createZone(std::vector<Triangle2*>&) makes
  /// it. Components come in the order of their first triangle in getTriangles. O(zone).
  void getComponents(std::vector<Zone2*>& vComponents) const;
  /// Appends the triangles of each edge-connected component, as getComponents orders them, without
  /// making zones or constraint graphs. O(zone).
  void getComponentTriangles(std::vector<std::vector<Triangle2*> >& vvComponents) const;
  /// Peels triangles off the zone: a triangle at the border of the remaining set (an edge on the
  /// zone's boundary or next to a peeled triangle) is removed when the predicate holds for it,
  /// repeated until no border triangle qualifies. The predicate is asked only about zone
  /// triangles, each at most once. Returns a new ZL_BOUNDED zone of the rest; null (with the
  /// warning "No triangles left, returning NULL" when bVerbose, or a warning about a null
  /// predicate) when nothing is left. O(zone).
  Zone2* peelOffIf(UserPredicateT* pPredicate, bool bVerbose = true);

  // ----- Output -----

  /// Prints the zone's figures under the header "********* ZONE STATISTICS (name) **********":
  /// triangle and vertex counts, area, edge lengths and interior angles.
  void statistics(const std::string& name) const;
  /// Draws the zone's triangles filled; with bShowFull the other triangles are drawn unfilled
  /// underneath, with bWithConstraints the constraint edges on top. PostScript, or SVG when the
  /// name ends in ".svg".
  void show(const std::string& filename, bool bShowFull, bool bWithConstraints) const;
  /// As above, into a visualizer that the caller writes.
  void show(Visualizer2* pVis, bool bShowFull, bool bWithConstraints) const;

  /// Writes a picture for debugging, "<name>.ps" (SVG when the name ends in ".svg"): all triangles
  /// outlined, the zone's filled, each constraint graph in its own colour with arrows in its
  /// reading direction, the start points of a grown zone, and for a result zone its two operands
  /// side by side to the right. Prints a short report (location, graph and triangle counts, area)
  /// on standard output. O(triangulation); an unwritable file is reported.
  void debug(const std::string& name);
  /// Turns the cocircular cells of the zone (an edge between two zone triangles whose four corners
  /// are cocircular, exactly for tolerance 0, else within tolerance times the circumradius) all the
  /// same way: such an edge is flipped when the other diagonal runs closer to the preferred
  /// direction (the grid direction turned by +45 degrees for a grid-meshed zone, else from lower
  /// left to upper right). Constraint edges are never flipped and nothing outside the zone
  /// changes; for tolerance 0 the triangulation stays exactly Delaunay. Returns true when every
  /// such cell could be unified (false when a constraint edge or a non-convex cell was in the way,
  /// or for a negative or non-finite tolerance, with a warning). O(zone triangles).
  bool unifyGrid(double tolerance);
  /// Internal: the direction of the grid a grid mesher laid out in this zone ((0, 0): none).
  void setGridVector(const Vector2& vGrid) { gridVector = vGrid; }
  Vector2 getGridVector() const { return gridVector; }

  /// Internal: appends the operand of a result zone (Dt2 appends the two operands).
  void addInputZone(Zone2* pZone) { vInputZones.push_back(pZone); }
  /// True when pZone is one of this zone's operands.
  bool hasInputZone(const Zone2* pZone) const;

 private:
  static void appendDistinctCorners(const std::vector<Triangle2*>& vTriangles, std::vector<Point2*>& vVertices);
  void searchInside(bool bInside, std::vector<Triangle2*>& vTriangles) const;
  /// The triangles of a zone grown from the hull, appended to vTriangles.
  void growFromHull(std::vector<Triangle2*>& vTriangles) const;
  void computeSetOperation(std::vector<Triangle2*>& vTriangles) const;

  struct SnapshotTriangle {
    Triangle2* pT;
    Point2* aCorners[3];
  };

  Dt2* pDt;
  ZoneLocation zoneLoc;
  std::vector<ConstraintGraph2*> vConstraintGraphs;
  std::vector<Point2> vStartPoints;
  std::vector<Zone2*> vInputZones;
  Vector2 gridVector;
  std::vector<SnapshotTriangle> vSnapshot;  // a snapshot zone's triangles
  bool bFromHull = false;                    // grown from the hull (see the FromHull constructor)
};

}  // namespace KORA_ZARN2D
