// RefCand3: one triangle of a zone under refinement, judged as a candidate for a Steiner point.
#pragma once

#include "MeshGenParams.h"
#include "Point2.h"
#include "Triangle2.h"

namespace KORA_ZARN2D {

class Dt2;
class ConstraintSegment2;

/// Tells whether the smallest angle of a triangle is forced by the input (two constraint pieces
/// meeting at a small input angle), so that refining it could never help. Provided by the
/// refinement driver, which knows the input segment behind every piece.
class InputAngleRule {
 public:
  virtual ~InputAngleRule() = default;
  /// True when pT's small angle (below minAngleDegree) must be accepted.
  virtual bool isForcedByInput(const Triangle2* pT, double minAngleDegree) const = 0;
};

/// True when refinement must not split pCSeg: constraint splitting is off, the segment is locked,
/// or it is shorter than 2 * minEdgeLen. O(log locked).
bool isSplitBlocked(const ConstraintSegment2* pCSeg, const MeshGenParams& params);

/// One triangle seen as a candidate for a Steiner point: it answers whether the triangle must be
/// refined under the mesh parameters (shape, size, growth) and whether the split would hit a
/// protected constraint edge. A stack object: it lives during one judgment and allocates nothing.
/// The driver sets the circumcentre and its location code before asking isSafe.
class RefCand3 {
 public:
  /// Location codes (see setCircumcenter).
  static constexpr int kLocNoEdge = -1;
  static constexpr int kLocSkip = 4;

  /// A candidate for pT of pDt (both must stay alive during the judgment). pRule may be null: then
  /// only a small angle between two constraint edges of the triangle counts as forced.
  RefCand3(Dt2* pDt, Triangle2* pT, const InputAngleRule* pRule = nullptr);

  /// The circumcentre and where it lies: kLocNoEdge (in the triangle, or no constraint edge
  /// between), 0, 1, 2 (beyond the triangle's constraint edge opposite that corner) or kLocSkip.
  void setCircumcenter(const Point2& cc, int locCode);
  /// Makes isSafe ignore the location code's edge test.
  void suppressEdgeTest() { bSuppressEdgeTest = true; }

  /// True when the triangle is to be refined: not blocked by its location code, and too large
  /// (edge length, area, growth) or, unless its small angle is forced by the input, too skinny.
  bool isSafe(const MeshGenParams& params);
  /// True when the candidate must not be refined now: its circumcentre lies beyond a constraint
  /// edge that may not be split (see isSplitBlocked), or the code says skip.
  bool needRefinement(const MeshGenParams& params) const;
  /// True when the triangle is too large: longest edge, area or growth against its neighbours.
  /// Needs the squared lengths (computed by isSafe, or by computeSquaredLengths).
  bool needRefinementDueToSize(const MeshGenParams& params);
  /// True when the area ratio to a neighbour (or to a constraint's adjacent area) exceeds limit;
  /// neighbours below minArea are exempt.
  bool needRefinementDueToGrowth(double limit, double minArea);
  /// The smallest interior angle in degrees.
  double getMinAngle() const;
  /// Fills the three squared edge lengths, ascending.
  void computeSquaredLengths();
  /// The cosine and the squared sine of the smallest angle, from the squared lengths (after
  /// isSafe or computeSquaredLengths); a degenerate triangle gives cosine 1.
  double getCosOfMinAngle() const;
  double getSinSqOfMinAngle() const;

 private:
  double getArea() const;
  void writeDebugPicture(const char* suffix) const;

  Dt2* pDt;
  Triangle2* pT;
  Point2* aCorners[3];
  Point2 circumcenter;
  int locCode;
  bool bSuppressEdgeTest;
  double aSqLen[3];
  bool bDebug;
  const InputAngleRule* pRule;
};

}  // namespace KORA_ZARN2D
