// Free functions of the namespace KORA_ZARN2D: predicates, version, diagnostics, files, test data.
#pragma once

#include <string>
#include <vector>

#include "Edge2.h"
#include "Point2.h"
#include "Segment2.h"

namespace KORA_ZARN2D {

// ----- Predicates -----------------------------------------------------------------------------

/// Exact orientation of (p0, p1, p2): CCW when p2 lies left of the directed line p0 -> p1.
/// Uses one predicate object shared by the whole library: not for concurrent use.
/// A null argument or a non-finite coordinate fails an assertion (ZarnException).
ZARN2D_EXPORT Orientation2 getOrientation2(const Point2* p0, const Point2* p1, const Point2* p2);
/// Same result as getOrientation2, thread-safe: builds a predicate object on the stack per call.
ZARN2D_EXPORT Orientation2 getOrientation2_mt(const Point2* p0, const Point2* p1, const Point2* p2);
/// "ORIENTATION2_COLLINEAR", "ORIENTATION2_CCW", "ORIENTATION2_CW", or "UNKNOWN".
ZARN2D_EXPORT std::string getString(Orientation2 ori);

// ----- Version ------------------------------------------------------------------------------

ZARN2D_EXPORT int getMajorVersionNumber();
ZARN2D_EXPORT int getMinorVersionNumber();
ZARN2D_EXPORT int getRevisionNumber();
ZARN2D_EXPORT bool isRelease();
/// "Zarn 2D, RELEASE, v1.78".
ZARN2D_EXPORT std::string getZarn2DVersion();

// ----- Memory -------------------------------------------------------------------------------

/// A thread keeps the storage of its destroyed triangulations (about 120 bytes per vertex) up to a
/// 16th of the machine's memory, or 256 MiB where that is more, so that the next one reuses
/// resident memory instead of faulting in new pages; the storage is freed when the thread ends.
/// This frees it now, for example after the last large triangulation of a long-lived thread.
/// Affects the calling thread only. O(number of kept blocks, at most 32).
ZARN2D_EXPORT void releaseCachedStorage();

// ----- Diagnostics --------------------------------------------------------------------------

/// Prints a blank line, "      [Zarn2D-Message] " + where + ", ERROR: " + msg, and a blank line.
ZARN2D_EXPORT void reportError(const std::string& where, const std::string& msg);
/// As reportError with ", WARNING: ".
ZARN2D_EXPORT void reportWarning(const std::string& where, const std::string& msg);
/// Information line; carries the "[Zarn2D-Message]" tag only when where is empty.
ZARN2D_EXPORT void reportInfo(const std::string& where, const std::string& msg);
/// Prints text and writes it to "ZARN_LOG.txt" (the file holds only the last logged text).
ZARN2D_EXPORT void logToFile(const std::string& text);
/// Named stopwatch: the first call with a name starts it and returns -1.0, the second stops it,
/// prints the elapsed time (unless the name begins with "[quiet]") and returns it in seconds.
/// Not thread-safe.
ZARN2D_EXPORT double timer(const std::string& name);

// ----- Point and segment files --------------------------------------------------------------

// All file functions return true on success; a failure prints one line (file name and reason) to
// standard output and returns false. Readers append to the vector and leave it unchanged on failure.
// Binary files are little-endian: type, count and a reserved word (32-bit each), then doubles.

/// Reads whitespace-separated x y pairs, appending Point2(x, y) until the first failed read.
/// False with "<filename> is unreadable" when the file cannot be opened.
ZARN2D_EXPORT bool readXY(const char* filename, std::vector<Point2>& vPoints);
/// Writes one "x y" line per point with 18 significant digits (exact round trip through readXY).
ZARN2D_EXPORT bool writePointsASCII(const char* filename, const std::vector<Point2*>& vPoints);
ZARN2D_EXPORT bool writePointsASCII(const char* filename, const std::vector<Point2>& vPoints);
/// Reads a binary point file (type 20: x y, type 30: x y z, z discarded), appending to vPoints.
/// Other types are rejected with a message. A file shorter than its count yields (0, 0) for the
/// missing records; a count <= 0 reads nothing. O(count).
ZARN2D_EXPORT bool readPointsBIN(const char* filename, std::vector<Point2>& vPoints);
/// Writes a binary point file of type 20.
ZARN2D_EXPORT bool writePointsBIN(const char* filename, std::vector<Point2*>& vPoints);
ZARN2D_EXPORT bool writePointsBIN(const char* filename, std::vector<Point2>& vPoints);
/// Reads a binary segment file (type 21, or 31 with z discarded), appending to vSegments; damaged
/// files are handled as by readPointsBIN.
ZARN2D_EXPORT bool readSegmentsBIN(const char* filename, std::vector<Segment2>& vSegments);
/// Writes a binary segment file of type 21.
ZARN2D_EXPORT bool writeSegmentsBIN(const char* filename, std::vector<Segment2>& vSegments);

// ----- Directories and the web viewer's files -------------------------------------------------

/// Creates path and its missing parents; true when the directory exists afterwards.
ZARN2D_EXPORT bool createDirectory(const char* path);
/// Writes the library's built-in copy of a web-viewer file into dir; unknown names are an error.
ZARN2D_EXPORT void fileReplicate(const char* filename, const char* dir);

// ----- Zone set operations ------------------------------------------------------------------

// The result is a new zone of the operands' triangulation (owned by it like every zone) that
// computes the set operation whenever its triangles are asked for, so it follows the
// triangulation as the operands do; the operands must stay until the result is deleted. An empty
// result (zoneDifference(A, A)) is a valid zone without triangles. A null operand, or operands of
// two triangulations, give a warning and null. O(1); evaluating the result costs both operands'
// evaluation plus O(their sizes).

/// The triangles of either zone (first operand's order, then the second's others).
ZARN2D_EXPORT Zone2* zoneUnion(Zone2* pZone0, Zone2* pZone1);
/// The triangles of both zones.
ZARN2D_EXPORT Zone2* zoneIntersection(Zone2* pZone0, Zone2* pZone1);
/// The triangles of the first zone that are not in the second.
ZARN2D_EXPORT Zone2* zoneDifference(Zone2* pZone0, Zone2* pZone1);
/// The triangles in exactly one of the zones.
ZARN2D_EXPORT Zone2* zoneSymmetricDifference(Zone2* pZone0, Zone2* pZone1);

// ----- Polygons and edges ---------------------------------------------------------------------

/// Orders the segments (reversing those that need it) so that each segment's target is the next
/// one's source and the last one ends at the first one's source; the first segment keeps its
/// place and direction. Endpoints are matched by their coordinates. False, with the vector
/// unchanged, unless the segments form exactly one closed ring: at least 3 segments, every
/// endpoint shared by exactly two segments (a figure eight is refused), one cycle; a segment from
/// a point to itself or with a non-finite coordinate is refused too. O(n log n).
ZARN2D_EXPORT bool sortRing(std::vector<Segment2>& vRing);
/// As sortRing, then reversed if needed so that the ring runs counterclockwise (decided exactly
/// at its lowest vertex; false, vector unchanged, when the ring is degenerate there).
ZARN2D_EXPORT bool sortRingCCW(std::vector<Segment2>& vRing);
/// True when the segments, in any order and direction, form one closed ring whose segments meet
/// only at the endpoints consecutive segments share (exact tests). The vector is reordered as by
/// sortRing when it is a ring. O(n log n) plus the pairs of segments whose boxes meet.
ZARN2D_EXPORT bool isSimplePolygon(std::vector<Segment2>& vSegments);
/// Chains the directed edges into closed polygons (each a list of edges in order, the target of one
/// the source of the next, the last ending at the first's source) and appends them to
/// vvPolygons; edges that close no polygon are appended to vRemainingEdges. Where a vertex starts
/// several edges, any choice is taken. O(n log n).
ZARN2D_EXPORT void edgesToPolygons(const std::vector<Edge2>& vEdgesIn, std::vector<std::vector<Edge2> >& vvPolygons,
                                   std::vector<Edge2>& vRemainingEdges);
/// Appends the border of a set of triangles: the edges with no neighbour in the set, as segments
/// counterclockwise around the set (seen from the set's triangle). O(n log n).
ZARN2D_EXPORT void getBorders(const std::vector<Triangle2*>& vTriangles, std::vector<Segment2>& vBorderSegments);
/// Appends the 3 directed edges of every triangle (3n edges). O(n).
ZARN2D_EXPORT void getDirectedEdges(const std::vector<Triangle2*>& vTriangles, std::vector<Edge2>& vDirectedEdges);
/// Appends every edge of the set once: an edge between two triangles of the set from one of them,
/// a border edge from its triangle in the set. O(n log n).
ZARN2D_EXPORT void getUndirectedEdges(const std::vector<Triangle2*>& vTriangles, std::vector<Edge2>& vUndirectedEdges);

// ----- Test data ----------------------------------------------------------------------------

// The generators draw from one process-wide 15-bit generator with the classic rand() recurrence, so a
// nonzero seed gives the same data on every platform; seed 0 seeds from the clock. Not thread-safe.
// Wrong arguments fail an assertion (ZarnException).

/// Resizes vOut to num numbers in [min, max) on a grid of 32768 steps. Asserts min<max.
ZARN2D_EXPORT void generateRandomNumbers(unsigned int num, double min, double max, std::vector<double>& vOut,
                                         unsigned int seed = 0);
/// num points with coordinates as generateRandomNumbers; vOut is resized to num. Asserts min<max.
ZARN2D_EXPORT void generateRandomPoints(unsigned int num, double min, double max, std::vector<Point2>& vOut,
                                        unsigned int seed = 0);
/// Appends numPoints points on an ellipse, at angles i * 6.28318 / numPoints; 0 points only warns.
ZARN2D_EXPORT void generateCircle(int numPoints, double centerX, double centerY, double radiusX, double radiusY,
                                  std::vector<Point2>& vOut);
/// Replaces vOut by a simple counterclockwise closed polygon of exactly numSegments segments inside
/// [min, max]^2 (star-shaped around the box centre). Asserts min<max, numSegments>2 and a
/// representable half width (range>0).
ZARN2D_EXPORT void generateRandomPolygon(unsigned int numSegments, double min, double max, std::vector<Segment2>& vOut,
                                         unsigned int seed = 0);
/// Replaces vOut by numSegments segments inside [min, max]^2 with lengths in (0, maxLength); they may
/// cross. Asserts min<max, maxLength>0 and numSegments > 0 (siz>=2).
ZARN2D_EXPORT void generateRandomSegments(unsigned int numSegments, double min, double max, double maxLength,
                                          std::vector<Segment2>& vOut, unsigned int seed = 0);
/// Appends a connected chain of numSegments segments through the samples t = k * 2 pi * cycles /
/// numSegments (k = 0 .. numSegments) of x = t * xScale + xShift, y = sin(t) * yScale + yShift
/// (|sin t| + yShift when yScale is 0; |y| < 1e-13 becomes 0). swapXY exchanges x and y of every
/// point. Asserts numSegments>0.
ZARN2D_EXPORT void generateSineSegments(int numSegments, int cycles, double xShift, double yShift, double xScale,
                                        double yScale, bool swapXY, std::vector<Segment2>& vOut);

// ----- Domains of planar straight-line graphs ---------------------------------------------------

class Zarn_2D;

/// The domain that mesh generators take from a set of segments with holes: the triangles enclosed
/// by the graphs' edges, that is all triangles except those reached from the convex hull (through
/// hull edges that are not constraints) and those reached from a hole point, without crossing a
/// constraint edge. Returns a new zone of dt (owned by it, following later changes like every
/// zone); it may hold no triangle (segments that enclose nothing). A hole point outside the
/// triangulation is ignored with a warning. Null (with a warning) before dt is 2D and for a null
/// graph or one of another triangulation. Its triangles cost one pass over all triangles plus one
/// zone evaluation per hole.
ZARN2D_EXPORT Zone2* createDomainZone(Zarn_2D& dt, const std::vector<ConstraintGraph2*>& vGraphs, const std::vector<Point2>& vHoles);

}  // namespace KORA_ZARN2D
