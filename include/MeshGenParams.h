#pragma once

#include <set>

#include "Vector2.h"
#include "Zarn2D_common.h"

namespace KORA_ZARN2D {

class Triangle2;
class ConstraintSegment2;
class Zone2;

/// The parameters of advanced mesh generation (Zarn_2D::refineAdvanced) for one zone.
///
/// Create it for a ZL_INSIDE or ZL_BOUNDED zone, change the public fields you need, and pass it
/// to refineAdvanced. Derive from it to vary the size bounds per triangle: the refinement calls
/// getMaxTriangleArea and getMaxEdgeLength for every triangle it judges, so an override sees each
/// triangle (valid during the call only) and its result bounds that triangle alone. Keep the
/// overrides cheap and deterministic; they run once per judged triangle.
///
/// Copies copy every field; each object owns its own copy of the locked set.
class ZARN2D_EXPORT MeshGenParams {
 public:
  /// The defaults below, for the zone pZone (not owned). A zone whose location is neither
  /// ZL_INSIDE nor ZL_BOUNDED (or a null zone) gets an error text on standard error and keeps
  /// gridVector at (0, 0); refinement with such parameters fails at its entry check.
  explicit MeshGenParams(Zone2* pZone);
  MeshGenParams(const MeshGenParams& other);
  MeshGenParams& operator=(const MeshGenParams& other);
  /// Releases the locked set.
  virtual ~MeshGenParams();

  /// The largest area allowed for the triangle pT; the base returns maxTriangleArea. O(1).
  virtual double getMaxTriangleArea(Triangle2* pT);
  /// The largest edge length allowed for the triangle pT; the base returns maxEdgeLength. O(1).
  virtual double getMaxEdgeLength(Triangle2* pT);

  /// Refinement will not split pCSeg (nor insert a point that would split it). Creates the locked
  /// set on first use; O(log n). A null segment is ignored.
  void addLockedConstraint(ConstraintSegment2* pCSeg);

  Zone2* pZone;                 ///< the zone to mesh; not owned
  double minAngleDegree;        ///< smallest interior angle wanted, in degrees (at most 30); default 20
  double minEdgeLen;            ///< edges shorter than this are not split further; default 0.001
  double maxEdgeLength;         ///< upper bound of edge lengths (read through getMaxEdgeLength); default: largest double
  double maxTriangleArea;       ///< upper bound of triangle areas (read through getMaxTriangleArea); default: largest double
  bool splitConstraints;        ///< whether constraint segments may be split; default true
  double growthLimit;           ///< largest area ratio between neighbouring triangles; default: largest double (off)
  double growthMinArea;         ///< triangles below this area are exempt from the growth rule; default 0.001
  double auxLimit;              ///< grid meshing: a grid vertex closer than gridLength / auxLimit to the border is dropped; default 10
  Vector2 gridVector;           ///< direction of grid meshing (any length); (1, 0) when the zone is accepted, else (0, 0)
  double gridLength;            ///< cell length of grid meshing; 0 (default) means off
  bool auxFlag;                 ///< grid meshing: keep the grid vertices fixed while the border is refined; default true
  int debugLevel;               ///< 1 writes a picture of every triangle the refinement rules reject; default 0
  std::set<ConstraintSegment2*>* pLockedConstraints;  ///< segments refinement must not split; null when none

 private:
  void copyFrom(const MeshGenParams& other);
};

}  // namespace KORA_ZARN2D
