// Zarn2D: exact two-dimensional triangulation.
// Common definitions shared by every public header: the export macro and the small enumerations.
#pragma once

#include "zarn2d_export.h"

namespace KORA_ZARN2D {

class Triangle2;
class KoraTest;
class ConstraintGraph2;
class ConstraintSegment2;
class Zone2;
class MeshGenParams;
class Visualizer2;

/// How a constraint segment is inserted.
enum ConstraintInsertionStrategy : int {
  CIS_CONFORMING_DELAUNAY = 0,   ///< split the segment until its pieces appear in a Delaunay triangulation
  CIS_CONSTRAINED_DELAUNAY = 1   ///< force the segment in as an edge (constrained Delaunay triangulation)
};

/// Which triangles a zone covers.
enum ZoneLocation {
  ZL_GLOBAL = 0,                        ///< all triangles
  ZL_INSIDE = 1,                        ///< inside the zone's closed, oriented constraint graphs
  ZL_OUTSIDE = 2,                       ///< outside them
  ZL_GROW = 3,                          ///< grown from start points up to constraint edges
  ZL_RESULT_UNION = 4,                  ///< union of two zones
  ZL_RESULT_INTERSECTION = 5,           ///< intersection of two zones
  ZL_RESULT_DIFFERENCE = 6,             ///< the first zone minus the second
  ZL_RESULT_SYMMETRIC_DIFFERENCE = 7,   ///< symmetric difference of two zones
  ZL_BOUNDED = 8                        ///< like ZL_INSIDE
};

/// Tag argument that acknowledges the use of an experimental feature.
class ZARN2D_EXPORT AcceptExperimentalFeature {};

/// Result of an orientation test of three points (p0, p1, p2).
enum Orientation2 {
  ORIENTATION2_COLLINEAR = 0,  ///< p2 lies on the line through p0 and p1
  ORIENTATION2_CCW = 1,        ///< p2 lies to the left of the directed line p0 -> p1
  ORIENTATION2_CW = 2          ///< p2 lies to the right of the directed line p0 -> p1
};

/// The kind of message a `MsgBase` receiver subscribes to.
enum MsgType {
  MSG_PROGRESS = 0,  ///< progress of a long operation: text names the step, progress in [0, 1]
  MSG_WARNING = 1    ///< a warning that a publisher also wants to hand to the host program
};

}  // namespace KORA_ZARN2D
