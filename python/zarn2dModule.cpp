// The Python module zarn2d: a one-call triangulate() on numpy arrays, shaped like the functions
// Python users know, and an object API over Zarn_2D whose handles keep their triangulation alive.
// The library's warnings become Python warnings, its errors and refusals Python exceptions with
// the library's own message; long work runs without the GIL.
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <iostream>
#include <memory>
#include <mutex>
#include <sstream>
#include <string>
#include <vector>

#include "Zarn_2D.h"
#include "MeshGenParams.h"
#include "Zone2.h"

namespace py = pybind11;
using namespace KORA_ZARN2D;

namespace {

using PointArray = py::array_t<double, py::array::c_style | py::array::forcecast>;
using IndexArray = py::array_t<int64_t, py::array::c_style | py::array::forcecast>;

// ---------------------------------------------------------------------------------------------
// Library messages. The library prints to std::cout, which is one per process: a call captures
// it under a process-wide lock, then hands the messages to Python.
// ---------------------------------------------------------------------------------------------

std::mutex& consoleMutex() {
  static std::mutex mutex;
  return mutex;
}

struct Messages {
  std::vector<std::string> vWarnings, vErrors;
  std::string other;  // reports (a validity check), passed on to sys.stdout
  bool bAssertion = false;
};

Messages parseMessages(const std::string& text) {
  Messages messages;
  std::istringstream lines(text);
  std::string line;
  while (std::getline(lines, line)) {
    if (line.find_first_not_of(" \t\r") == std::string::npos) continue;
    const size_t warning(line.find(", WARNING: ")), error(line.find(", ERROR: "));
    if (warning != std::string::npos) {
      messages.vWarnings.push_back(line.substr(warning + 11));
    } else if (error != std::string::npos) {
      messages.vErrors.push_back(line.substr(error + 9));
    } else if (line.find("::") == std::string::npos || line.back() != ')') {  // not a "Class::method(name)" heading
      messages.other += line + "\n";
    }
  }
  return messages;
}

/// Runs work without the GIL while capturing what the library prints; reports pass on to
/// sys.stdout. A failed internal check raises RuntimeError.
Messages runLibrary(const std::function<void()>& work) {
  std::ostringstream captured;
  bool bAssertion(false);
  {
    py::gil_scoped_release release;
    std::lock_guard<std::mutex> lock(consoleMutex());
    std::streambuf* pOld(std::cout.rdbuf(captured.rdbuf()));
    try {
      work();
    } catch (const ZarnException&) {
      bAssertion = true;
    } catch (...) {
      std::cout.rdbuf(pOld);
      throw;
    }
    std::cout.rdbuf(pOld);
  }
  Messages messages(parseMessages(captured.str()));
  if (!messages.other.empty()) py::module_::import("sys").attr("stdout").attr("write")(messages.other);
  if (bAssertion) {
    throw std::runtime_error("zarn2d stopped on a failed internal check; the triangulation must not be used any more: " +
                             (messages.vErrors.empty() ? std::string("(no message)") : messages.vErrors.back()));
  }
  return messages;
}

/// After a call: when bFailed, ValueError with the library's first error or warning (or
/// fallback); otherwise the warnings become RuntimeWarnings.
void finish(const Messages& messages, bool bFailed, const std::string& fallback) {
  if (bFailed) {
    const std::vector<std::string>& vReasons(messages.vErrors.empty() ? messages.vWarnings : messages.vErrors);
    throw py::value_error(vReasons.empty() ? fallback : vReasons.front());
  }
  for (const std::string& warning : messages.vWarnings) {
    if (PyErr_WarnEx(PyExc_RuntimeWarning, warning.c_str(), 2) != 0) throw py::error_already_set();
  }
}

// ---------------------------------------------------------------------------------------------
// Input checks.
// ---------------------------------------------------------------------------------------------

/// Checks that points is an N x 2 array of finite numbers (N < 2^31); returns N. Reads the
/// array in place.
size_t checkPointArray(const PointArray& points, const char* name) {
  if (points.ndim() != 2 || points.shape(1) != 2) throw py::value_error(std::string(name) + " must be an N x 2 array of coordinates");
  if (points.shape(0) > std::numeric_limits<int>::max()) throw py::value_error(std::string(name) + " holds more than 2^31 - 1 points");
  const double* pXY(points.data());
  for (py::ssize_t i = 0; i < 2 * points.shape(0); ++i) {
    if (!std::isfinite(pXY[i])) throw py::value_error(std::string(name) + "[" + std::to_string(i / 2) + "] has a non-finite coordinate");
  }
  return static_cast<size_t>(points.shape(0));
}

Point2 pointAt(const PointArray& points, size_t i) { return Point2(points.data()[2 * i], points.data()[2 * i + 1]); }

/// The rows of an N x 2 array of finite numbers as points; point i carries custom index i.
std::vector<Point2> toPoints(const PointArray& points, const char* name) {
  const size_t numPoints(checkPointArray(points, name));
  std::vector<Point2> vPoints;
  vPoints.reserve(numPoints);
  for (size_t i = 0; i < numPoints; ++i) {
    vPoints.push_back(pointAt(points, i));
    vPoints.back().setCustomIndex(static_cast<int>(i));
  }
  return vPoints;
}

/// Segments given as K x 2 vertex indices into the rows of points.
std::vector<Segment2> toIndexSegments(const IndexArray& segments, const PointArray& points) {
  if (segments.ndim() != 2 || segments.shape(1) != 2) throw py::value_error("segments must be a K x 2 array of vertex indices");
  const auto a(segments.unchecked<2>());
  std::vector<Segment2> vSegments;
  for (py::ssize_t k = 0; k < a.shape(0); ++k) {
    const int64_t i(a(k, 0)), j(a(k, 1)), n(static_cast<int64_t>(points.shape(0)));
    if (i < 0 || j < 0 || i >= n || j >= n || i == j) {
      throw py::value_error("segments[" + std::to_string(k) + "] = (" + std::to_string(i) + ", " + std::to_string(j) +
                            ") must join two different vertices among the " + std::to_string(n) + " points");
    }
    vSegments.emplace_back(pointAt(points, static_cast<size_t>(i)), pointAt(points, static_cast<size_t>(j)));
  }
  return vSegments;
}

/// Segments given by coordinates: K x 4 (x0, y0, x1, y1) or K x 2 x 2.
std::vector<Segment2> toCoordinateSegments(const PointArray& segments) {
  const bool bFlat(segments.ndim() == 2 && segments.shape(1) == 4);
  const bool bNested(segments.ndim() == 3 && segments.shape(1) == 2 && segments.shape(2) == 2);
  if (!bFlat && !bNested) throw py::value_error("segments must be a K x 4 or K x 2 x 2 array of coordinates");
  const double* pData(segments.data());
  std::vector<Segment2> vSegments;
  for (py::ssize_t k = 0; k < segments.shape(0); ++k, pData += 4) {
    for (int c = 0; c < 4; ++c) {
      if (!std::isfinite(pData[c])) throw py::value_error("segments[" + std::to_string(k) + "] has a non-finite coordinate");
    }
    vSegments.emplace_back(Point2(pData[0], pData[1]), Point2(pData[2], pData[3]));
  }
  return vSegments;
}

/// Quality bounds of refinement; 0 where not asked for.
struct Bounds {
  double minAngle = 0.0, maxArea = 0.0, maxEdge = 0.0;
  bool any() const { return minAngle > 0.0 || maxArea > 0.0 || maxEdge > 0.0; }
};

double toBound(const py::object& value, const char* name, double maxValue) {
  if (value.is_none()) return 0.0;
  const double bound(value.cast<double>());
  if (!(bound > 0.0) || bound > maxValue) {
    throw py::value_error(std::string(name) + " must be above 0" + (maxValue < HUGE_VAL ? " and at most 30 (degrees)" : ""));
  }
  return bound;
}

Bounds toBounds(const py::object& minAngle, const py::object& maxArea, const py::object& maxEdge) {
  return Bounds{toBound(minAngle, "min_angle", 30.0), toBound(maxArea, "max_area", HUGE_VAL), toBound(maxEdge, "max_edge", HUGE_VAL)};
}

// Edges shorter than this part of the region's size are not split further.
constexpr double kMinEdgeShare = 1e-9;

/// Refines the region vTriangles under bounds; vTriangles becomes the refined region. Returns the
/// zone of the region (owned by dt), null when the region holds no triangle.
Zone2* refineTriangles(Zarn_2D& dt, const Bounds& bounds, std::vector<Triangle2*>& vTriangles) {
  Zone2* pZone(dt.createZone(vTriangles, false));
  if (pZone == nullptr) return nullptr;
  MeshGenParams params(pZone);
  params.minAngleDegree = bounds.minAngle;
  params.minEdgeLen = kMinEdgeShare * pZone->getBoundingBox().getMaxRange();
  if (bounds.maxArea > 0.0) params.maxTriangleArea = bounds.maxArea;
  if (bounds.maxEdge > 0.0) params.maxEdgeLength = bounds.maxEdge;
  dt.refineAdvanced(&params);
  vTriangles.clear();
  pZone->getTriangles(vTriangles);
  return pZone;
}

// ---------------------------------------------------------------------------------------------
// Arrays out.
// ---------------------------------------------------------------------------------------------

py::array_t<int32_t> toArray(std::vector<int32_t>&& vValues, py::ssize_t width) {
  std::vector<int32_t>* pOwned(new std::vector<int32_t>(std::move(vValues)));
  py::capsule owner(pOwned, [](void* p) { delete static_cast<std::vector<int32_t>*>(p); });
  return py::array_t<int32_t>({static_cast<py::ssize_t>(pOwned->size()) / width, width}, pOwned->data(), owner);
}

/// The arrays of a mesh, copied out of the triangulation (which may die before they are used).
struct MeshCopy {
  std::vector<double> vAddedXY;  // x, y of each added vertex
  MeshArrays mesh;
};

void copyMesh(Zarn_2D& dt, const std::vector<Triangle2*>& vTriangles, int32_t numInputRows, MeshCopy& copy) {
  getMeshArrays(dt, vTriangles, numInputRows, copy.mesh);
  copy.vAddedXY.reserve(2 * copy.mesh.vAddedVertices.size());
  for (const Point2* pV : copy.mesh.vAddedVertices) copy.vAddedXY.insert(copy.vAddedXY.end(), {pV->x(), pV->y()});
  copy.mesh.vAddedVertices.clear();
}

/// The dict of triangulate(): numInput input rows first (copied from pInputXY), added vertices after.
py::dict toDict(const double* pInputXY, size_t numInput, MeshCopy& copy) {
  const py::ssize_t numRows(static_cast<py::ssize_t>(numInput + copy.vAddedXY.size() / 2));
  py::array_t<double> vertices({numRows, py::ssize_t(2)});
  double* pOut(vertices.mutable_data());
  if (numInput > 0) std::copy(pInputXY, pInputXY + 2 * numInput, pOut);
  std::copy(copy.vAddedXY.begin(), copy.vAddedXY.end(), pOut + 2 * numInput);
  py::dict result;
  result["vertices"] = vertices;
  result["triangles"] = toArray(std::move(copy.mesh.vTriangles), 3);
  result["neighbors"] = toArray(std::move(copy.mesh.vNeighbors), 3);
  result["segments"] = toArray(std::move(copy.mesh.vSegments), 2);
  return result;
}

py::dict triangulate(const PointArray& points, const py::object& segments, const py::object& holes, const py::object& minAngle,
                     const py::object& maxArea, const py::object& maxEdge, bool bConforming) {
  const Bounds bounds(toBounds(minAngle, maxArea, maxEdge));
  // The points go into the library straight from the array: no copy, and point i carries custom index i.
  const size_t numPoints(checkPointArray(points, "points"));
  std::vector<Segment2> vSegments(segments.is_none() ? std::vector<Segment2>() : toIndexSegments(segments.cast<IndexArray>(), points));
  const std::vector<Point2> vHoles(holes.is_none() ? std::vector<Point2>() : toPoints(holes.cast<PointArray>(), "holes"));
  if (!vHoles.empty() && vSegments.empty()) throw py::value_error("holes need segments that enclose them");
  MeshCopy mesh;
  bool bConstraintFailed(false), bEnclosesNothing(false);
  const Messages messages(runLibrary([&] {
    Zarn_2D dt(static_cast<unsigned int>(numPoints + 3));
    dt.insert(static_cast<int>(numPoints), const_cast<double*>(points.data()), nullptr);
    std::vector<Triangle2*> vTriangles;
    if (!vSegments.empty()) {
      // Segments bound the domain: the part outside them and the holes are left out.
      ConstraintGraph2* pGraph(dt.createConstraint(vSegments, bConforming ? CIS_CONFORMING_DELAUNAY : CIS_CONSTRAINED_DELAUNAY));
      bConstraintFailed = pGraph == nullptr;
      Zone2* pDomain(pGraph == nullptr || !dt.is2D() ? nullptr : createDomainZone(dt, {pGraph}, vHoles));
      if (pDomain != nullptr) pDomain->getTriangles(vTriangles);
      bEnclosesNothing = pDomain != nullptr && vTriangles.empty();
    }
    if (vTriangles.empty()) dt.getTrianglePointers(vTriangles);
    if (bounds.any() && dt.is2D()) refineTriangles(dt, bounds, vTriangles);
    copyMesh(dt, vTriangles, static_cast<int32_t>(numPoints), mesh);
  }));
  finish(messages, bConstraintFailed, "the segments were not inserted");
  if (bEnclosesNothing && PyErr_WarnEx(PyExc_RuntimeWarning, "the segments enclose no region: all triangles are returned", 1) != 0) {
    throw py::error_already_set();
  }
  return toDict(points.data(), numPoints, mesh);
}

// ---------------------------------------------------------------------------------------------
// The object API. Every handle holds a shared pointer to its triangulation.
// ---------------------------------------------------------------------------------------------

using DtPtr = std::shared_ptr<Zarn_2D>;

struct Vertex {
  DtPtr pDt;
  Point2* pV;
  double x, y;  // at creation: a vertex handle whose slot now holds another vertex is stale
};

struct Triangle {
  DtPtr pDt;
  Triangle2* pT;
  Point2* aCorners[3];
};

struct Graph {
  DtPtr pDt;
  ConstraintGraph2* pGraph;
};

struct Zone {
  DtPtr pDt;
  Zone2* pZone;
};

Vertex makeVertex(const DtPtr& pDt, Point2* pV) { return Vertex{pDt, pV, pV->x(), pV->y()}; }

py::object makeTriangle(const DtPtr& pDt, Triangle2* pT) {
  if (pT == nullptr) return py::none();
  return py::cast(Triangle{pDt, pT, {pT->getCorner(0), pT->getCorner(1), pT->getCorner(2)}});
}

/// Whether the vertex still stands in its triangulation.
bool isAlive(const Vertex& v) {
  if (v.pV->x() != v.x || v.pV->y() != v.y) return false;
  if (!v.pDt->is2D()) return true;
  const Triangle2* pT(v.pV->getIncidentTriangle());
  return pT != nullptr && pT->isAlive() && pT->hasVertex(v.pV);
}

bool isAlive(const Triangle& t) { return t.pT->isAlive() && t.pT->isSame(t.aCorners[0], t.aCorners[1], t.aCorners[2]); }

/// The vertex of a handle that belongs to dt and is alive; ValueError otherwise.
Point2* checkedVertex(const DtPtr& pDt, const Vertex& v) {
  if (v.pDt != pDt) throw py::value_error("the vertex belongs to another triangulation");
  if (!isAlive(v)) throw py::value_error("the vertex has been removed from its triangulation");
  return v.pV;
}

Triangle2* checkedTriangle(const Triangle& t) {
  if (!isAlive(t)) throw py::value_error("the triangle no longer exists (a later insertion or removal replaced it)");
  return t.pT;
}

std::vector<Vertex> toVertices(const DtPtr& pDt, const std::vector<Point2*>& vPoints) {
  std::vector<Vertex> vResult;
  vResult.reserve(vPoints.size());
  for (Point2* pV : vPoints) vResult.push_back(makeVertex(pDt, pV));
  return vResult;
}

std::vector<py::object> toTriangles(const DtPtr& pDt, const std::vector<Triangle2*>& vTriangles) {
  std::vector<py::object> vResult;
  vResult.reserve(vTriangles.size());
  for (Triangle2* pT : vTriangles) vResult.push_back(makeTriangle(pDt, pT));
  return vResult;
}

class Triangulation {
 public:
  explicit Triangulation(unsigned int capacity) : pDt(std::make_shared<Zarn_2D>(capacity)) {}

  std::vector<Vertex> insert(const PointArray& points) {
    const std::vector<Point2> vPoints(toPoints(points, "points"));
    std::vector<Point2*> vHandles;
    finish(runLibrary([&] { pDt->insert(vPoints, vHandles); }), false, "");
    return toVertices(pDt, vHandles);
  }

  Vertex insertPoint(double x, double y) {
    if (!std::isfinite(x) || !std::isfinite(y)) throw py::value_error("the point has a non-finite coordinate");
    Point2* pV(nullptr);
    finish(runLibrary([&] { pV = pDt->insert(Point2(x, y)); }), false, "");
    return makeVertex(pDt, pV);
  }

  void remove(const Vertex& v) {
    Point2* pV(checkedVertex(pDt, v));
    const unsigned int numBefore(pDt->numberOfPoints());
    const Messages messages(runLibrary([&] { pDt->remove(pV); }));
    finish(messages, pDt->numberOfPoints() == numBefore, "the vertex was not removed");
  }

  Graph insertSegments(const PointArray& segments, bool bConforming, bool bOriented) {
    std::vector<Segment2> vSegments(toCoordinateSegments(segments));
    ConstraintGraph2* pGraph(nullptr);
    const Messages messages(runLibrary([&] {
      pGraph = pDt->createConstraint(vSegments, bConforming ? CIS_CONFORMING_DELAUNAY : CIS_CONSTRAINED_DELAUNAY, bOriented);
    }));
    finish(messages, pGraph == nullptr, "the segments were not inserted");
    return Graph{pDt, pGraph};
  }

  py::object locate(double x, double y) {
    if (!std::isfinite(x) || !std::isfinite(y)) throw py::value_error("the point has a non-finite coordinate");
    Triangle2* pT(nullptr);
    finish(runLibrary([&] { pT = pDt->locate(Point2(x, y)); }), false, "");
    return makeTriangle(pDt, pT);
  }

  std::vector<Vertex> vertices() const {
    std::vector<Point2*> vPoints;
    pDt->getVertexPointers(vPoints);
    return toVertices(pDt, vPoints);
  }

  std::vector<py::object> triangles() const {
    std::vector<Triangle2*> vTriangles;
    pDt->getTrianglePointers(vTriangles);
    return toTriangles(pDt, vTriangles);
  }

  std::vector<Vertex> convexHull() {
    std::vector<Point2*> vHull;
    finish(runLibrary([&] { pDt->getConvexHull(false, vHull); }), false, "");
    return toVertices(pDt, vHull);
  }

  std::vector<py::object> incidentTriangles(const Vertex& v) const {
    std::vector<Triangle2*> vTriangles;
    pDt->getIncidentTriangles(checkedVertex(pDt, v), vTriangles);
    return toTriangles(pDt, vTriangles);
  }

  std::vector<Vertex> incidentVertices(const Vertex& v) const {
    std::vector<Point2*> vNeighbours;
    pDt->getIncidentVertices(checkedVertex(pDt, v), vNeighbours);
    return toVertices(pDt, vNeighbours);
  }

  bool isConstraintEdge(const Vertex& a, const Vertex& b) const { return pDt->isConstraint(checkedVertex(pDt, a), checkedVertex(pDt, b)); }

  std::vector<std::pair<Vertex, Vertex>> constraintPieces() const {
    std::vector<ConstraintSegment2*> vPieces;
    pDt->getAliveConstraintSegments(vPieces);
    std::vector<std::pair<Vertex, Vertex>> vResult;
    for (const ConstraintSegment2* pCSeg : vPieces) vResult.emplace_back(makeVertex(pDt, pCSeg->getSrc()), makeVertex(pDt, pCSeg->getTrg()));
    return vResult;
  }

  Zone domain(const std::vector<Graph>& vGraphs, const py::object& holes) {
    std::vector<ConstraintGraph2*> vConstraintGraphs;
    for (const Graph& g : vGraphs) {
      if (g.pDt != pDt) throw py::value_error("the constraint graph belongs to another triangulation");
      vConstraintGraphs.push_back(g.pGraph);
    }
    const std::vector<Point2> vHoles(holes.is_none() ? std::vector<Point2>() : toPoints(holes.cast<PointArray>(), "holes"));
    Zone2* pZone(nullptr);
    const Messages messages(runLibrary([&] { pZone = createDomainZone(*pDt, vConstraintGraphs, vHoles); }));
    finish(messages, pZone == nullptr, "no domain");
    return Zone{pDt, pZone};
  }

  Zone refine(const py::object& zone, const py::object& minAngle, const py::object& maxArea, const py::object& maxEdge) {
    const Bounds bounds(toBounds(minAngle, maxArea, maxEdge));
    if (!bounds.any()) throw py::value_error("give at least one of min_angle, max_area and max_edge");
    const Zone2* pZone(zone.is_none() ? nullptr : zone.cast<const Zone&>().pZone);
    if (!zone.is_none() && zone.cast<const Zone&>().pDt != pDt) throw py::value_error("the zone belongs to another triangulation");
    Zone2* pRefined(nullptr);
    const Messages messages(runLibrary([&] {
      std::vector<Triangle2*> vTriangles;
      if (pZone != nullptr) {
        pZone->getTriangles(vTriangles);
      } else {
        pDt->getTrianglePointers(vTriangles);
      }
      pRefined = refineTriangles(*pDt, bounds, vTriangles);
    }));
    finish(messages, pRefined == nullptr, "there is nothing to refine");
    return Zone{pDt, pRefined};
  }

  bool checkValidity() {
    bool bValid(false);
    finish(runLibrary([&] { bValid = pDt->checkValidity(true, "python"); }), false, "");
    return bValid;
  }

  /// All vertices (in the triangulation's order) and triangles as arrays, like triangulate().
  py::dict toArrays() {
    MeshCopy mesh;
    finish(runLibrary([&] {
      std::vector<Triangle2*> vTriangles;
      pDt->getTrianglePointers(vTriangles);
      copyMesh(*pDt, vTriangles, 0, mesh);
    }), false, "");
    return toDict(nullptr, 0, mesh);
  }

  void writeObj(const std::string& filename) {
    const Messages messages(runLibrary([&] { pDt->writeObj(filename); }));
    finish(messages, !messages.vErrors.empty(), "");
  }

  const DtPtr& dt() const { return pDt; }

 private:
  DtPtr pDt;
};

std::string describe(const Point2& p) {
  std::ostringstream text;
  text.precision(17);
  text << "(" << p.x() << ", " << p.y() << ")";
  return text.str();
}

}  // namespace

PYBIND11_MODULE(zarn2d, m) {
  m.doc() =
      "Exact two-dimensional Delaunay and constrained Delaunay triangulation.\n\n"
      "triangulate(points, segments=None) triangulates a numpy array in one call; Triangulation is the\n"
      "object API (insert, remove, constraints, locate, queries). Every handle (Vertex, Triangle,\n"
      "ConstraintGraph) keeps its triangulation alive. The library's warnings arrive as\n"
      "RuntimeWarning, its refusals as ValueError with its own message.";
  m.attr("__version__") = getZarn2DVersion();

  m.def("triangulate", &triangulate, py::arg("points"), py::arg("segments") = py::none(), py::arg("holes") = py::none(), py::kw_only(),
        py::arg("min_angle") = py::none(), py::arg("max_area") = py::none(), py::arg("max_edge") = py::none(),
        py::arg("conforming") = false,
        "Triangulates points (N x 2) with optional segments (K x 2 vertex indices) as constraints and\n"
        "holes (H x 2 points inside the regions to leave out).\n\n"
        "Returns a dict of numpy arrays: 'vertices' (V x 2 float64; rows 0..N-1 are the input points in\n"
        "input order, duplicates included, then the vertices the segments added), 'triangles' (M x 3\n"
        "int32 rows, counterclockwise), 'neighbors' (M x 3 int32: the triangle across the edge opposite\n"
        "corner i, or -1) and 'segments' (S x 2 int32: the constraint edges, split where segments cross).\n"
        "With segments, only the domain is returned: the triangles they enclose, without the regions\n"
        "around the hole points (all triangles, with a RuntimeWarning, when they enclose nothing).\n"
        "conforming=True splits segments until every piece is a Delaunay edge. Collinear input gives no\n"
        "triangles. min_angle (degrees, at most 30), max_area and max_edge refine the result (Delaunay\n"
        "refinement adds vertices, listed after the input rows) until every triangle meets them.\n"
        "Runs without the GIL; O(N log N).");

  m.def("release_cached_storage", &releaseCachedStorage,
        "Frees the storage that destroyed triangulations left to the calling thread for reuse (up to\n"
        "a 16th of the machine's memory, at least 256 MiB; it makes repeated triangulations faster and is freed when the thread ends).");

  py::class_<Vertex>(m, "Vertex", "A vertex of a Triangulation; keeps the triangulation alive.")
      .def_property_readonly("x", [](const Vertex& v) { return v.x; })
      .def_property_readonly("y", [](const Vertex& v) { return v.y; })
      .def_property_readonly("xy", [](const Vertex& v) { return py::make_tuple(v.x, v.y); })
      .def_property_readonly("is_alive", [](const Vertex& v) { return isAlive(v); }, "False once the vertex was removed")
      .def("__eq__", [](const Vertex& a, const Vertex& b) { return a.pV == b.pV; })
      .def("__hash__", [](const Vertex& v) { return std::hash<const void*>()(v.pV); })
      .def("__repr__", [](const Vertex& v) { return "Vertex" + describe(Point2(v.x, v.y)); });

  py::class_<Triangle>(m, "Triangle",
                       "A triangle of a Triangulation; keeps the triangulation alive. A later insertion or removal may\n"
                       "replace it: then is_alive is False and its methods raise ValueError.")
      .def_property_readonly("is_alive", [](const Triangle& t) { return isAlive(t); })
      .def_property_readonly("corners",
                             [](const Triangle& t) {
                               Triangle2* pT(checkedTriangle(t));
                               return py::make_tuple(makeVertex(t.pDt, pT->getCorner(0)), makeVertex(t.pDt, pT->getCorner(1)),
                                                     makeVertex(t.pDt, pT->getCorner(2)));
                             },
                             "the three vertices, counterclockwise")
      .def("neighbor", [](const Triangle& t, int i) {
            if (i < 0 || i > 2) throw py::index_error("a triangle has the neighbours 0, 1 and 2");
            return makeTriangle(t.pDt, checkedTriangle(t)->getOppositeTriangle(i));
          },
          py::arg("i"), "the triangle across the edge opposite corner i, or None on the convex hull")
      .def_property_readonly("area", [](const Triangle& t) { return checkedTriangle(t)->getArea2D(); })
      .def("__eq__", [](const Triangle& a, const Triangle& b) { return a.pT == b.pT && isAlive(a) && isAlive(b); })
      .def("__hash__", [](const Triangle& t) { return std::hash<const void*>()(t.pT); })
      .def("__repr__", [](const Triangle& t) {
        if (!isAlive(t)) return std::string("Triangle(replaced)");
        return "Triangle(" + describe(*t.aCorners[0]) + ", " + describe(*t.aCorners[1]) + ", " + describe(*t.aCorners[2]) + ")";
      });

  py::class_<Graph>(m, "ConstraintGraph", "The segments of one insert_segments() call; keeps the triangulation alive.")
      .def_property_readonly("is_polygon", [](const Graph& g) { return g.pGraph->isPolygon(); })
      .def_property_readonly("is_oriented", [](const Graph& g) { return g.pGraph->isOriented(); })
      .def("polygon_vertices", [](const Graph& g) {
            std::vector<Point2*> vVertices;
            finish(runLibrary([&] { g.pGraph->getPolygonVertices(vVertices); }), false, "");
            return toVertices(g.pDt, vVertices);
          },
          "the vertices of a closed polygon in order, split vertices included (empty for other graphs)")
      .def("pieces", [](const Graph& g) {
            std::vector<ConstraintSegment2*> vPieces;
            g.pGraph->getChildConstraintSegments(vPieces);
            std::vector<std::pair<Vertex, Vertex>> vResult;
            for (const ConstraintSegment2* pCSeg : vPieces) vResult.emplace_back(makeVertex(g.pDt, pCSeg->getSrc()), makeVertex(g.pDt, pCSeg->getTrg()));
            return vResult;
          },
          "the edges the graph's segments became (pieces where they were split), as vertex pairs");

  py::class_<Zone>(m, "Zone",
                   "A set of triangles of a Triangulation defined by a rule (it follows later changes); keeps the\n"
                   "triangulation alive.")
      .def("triangles", [](const Zone& z) {
            std::vector<Triangle2*> vTriangles;
            finish(runLibrary([&] { z.pZone->getTriangles(vTriangles); }), false, "");
            return toTriangles(z.pDt, vTriangles);
          })
      .def_property_readonly("number_of_triangles", [](const Zone& z) { return z.pZone->getNumberOfTriangles(); })
      .def_property_readonly("area", [](const Zone& z) { return z.pZone->getArea2D(); });

  py::class_<Triangulation>(m, "Triangulation",
                            "A triangulation: always the exact (constrained) Delaunay triangulation of the convex hull of its\n"
                            "vertices. Not safe for concurrent use from several threads.")
      .def(py::init<unsigned int>(), py::arg("capacity") = 3u, "capacity: expected number of vertices (a hint)")
      .def("insert", &Triangulation::insert, py::arg("points"),
           "inserts an N x 2 array in bulk; returns the N vertices in input order (a duplicate point gives\n"
           "the vertex that stands there). Runs without the GIL; O(N log N).")
      .def("insert_point", &Triangulation::insertPoint, py::arg("x"), py::arg("y"), "inserts one point; returns its vertex")
      .def("remove", &Triangulation::remove, py::arg("vertex"),
           "removes a vertex (the result stays Delaunay); ValueError with the reason when it cannot be removed\n"
           "(a constraint endpoint, the last non-collinear vertices, a vertex removed already)")
      .def("insert_segments", &Triangulation::insertSegments, py::arg("segments"), py::kw_only(), py::arg("conforming") = false,
           py::arg("oriented") = false,
           "inserts segments (K x 4 or K x 2 x 2 coordinates) as one constraint graph; crossing segments are\n"
           "split at their intersection. Returns the ConstraintGraph. Runs without the GIL.")
      .def("locate", &Triangulation::locate, py::arg("x"), py::arg("y"), "the triangle that contains the point, or None outside")
      .def_property_readonly("number_of_vertices", [](const Triangulation& t) { return t.dt()->numberOfPoints(); })
      .def_property_readonly("number_of_triangles", [](const Triangulation& t) { return t.dt()->numberOfTriangles(); })
      .def_property_readonly("is_2d", [](const Triangulation& t) { return t.dt()->is2D(); },
                             "False while all vertices are collinear (no triangles)")
      .def("vertices", &Triangulation::vertices)
      .def("triangles", &Triangulation::triangles)
      .def("convex_hull", &Triangulation::convexHull, "the hull corners, counterclockwise")
      .def("incident_triangles", &Triangulation::incidentTriangles, py::arg("vertex"))
      .def("incident_vertices", &Triangulation::incidentVertices, py::arg("vertex"))
      .def("is_constraint_edge", &Triangulation::isConstraintEdge, py::arg("a"), py::arg("b"))
      .def("constraint_pieces", &Triangulation::constraintPieces, "every constraint edge as a vertex pair")
      .def("domain", &Triangulation::domain, py::arg("graphs"), py::arg("holes") = py::none(),
           "the Zone enclosed by the graphs' edges, without the regions around the hole points")
      .def("refine", &Triangulation::refine, py::arg("zone") = py::none(), py::kw_only(), py::arg("min_angle") = py::none(),
           py::arg("max_area") = py::none(), py::arg("max_edge") = py::none(),
           "Delaunay refinement of the zone (default: all triangles) until every triangle meets the bounds;\n"
           "returns the refined region as a Zone. Runs without the GIL.")
      .def("check_validity", &Triangulation::checkValidity, "the exact validity check (prints its report); True when valid")
      .def("to_arrays", &Triangulation::toArrays, "vertices, triangles, neighbors and segments as numpy arrays (vertex rows in the\n"
                                                  "triangulation's order)")
      .def("write_obj", &Triangulation::writeObj, py::arg("filename"), "writes the triangles as a Wavefront OBJ file");
}
