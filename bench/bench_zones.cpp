// Zone benchmark. Setup (not timed): 1.3 million uniform random points in [0,1)^2 and a closed
// star polygon of 10,000 vertices, r(t) = 0.35 + 0.05 sin(20 t) around (0.5, 0.5), inserted as an
// oriented constrained graph; its inside holds about 1 million triangles. A second graph, the
// box [0.5, 1] x [0, 1], gives a second zone of the same size that overlaps the first by half.
// Timed:
//   - getTriangles of the inside zone (into a vector whose capacity is kept, and into a fresh
//     vector), of the outside zone and of the global zone; ns per zone triangle is reported;
//   - getTriangles of the four set operations of the two zones (each evaluates both operands);
//   - CGAL peer (when available): the same points and polygon in its constrained Delaunay
//     triangulation, and the usual breadth-first flood fill over faces that stops at constrained
//     edges (face info as the visited flag), from the faces inside the polygon's edges.
// Before timing, the zone sizes are compared with the CGAL count and our triangulation is checked.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cmath>
#include <iostream>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "Zarn_2D.h"

#ifdef ZARN_HAVE_CGAL
#include <CGAL/Constrained_Delaunay_triangulation_2.h>
#include <CGAL/Exact_predicates_inexact_constructions_kernel.h>
#include <CGAL/Triangulation_face_base_with_info_2.h>
using CgalKernel = CGAL::Exact_predicates_inexact_constructions_kernel;
using CgalVb = CGAL::Triangulation_vertex_base_2<CgalKernel>;
using CgalFbInfo = CGAL::Triangulation_face_base_with_info_2<unsigned, CgalKernel>;
using CgalFb = CGAL::Constrained_triangulation_face_base_2<CgalKernel, CgalFbInfo>;
using CgalTds = CGAL::Triangulation_data_structure_2<CgalVb, CgalFb>;
using CgalCdt = CGAL::Constrained_Delaunay_triangulation_2<CgalKernel, CgalTds, CGAL::Exact_predicates_tag>;
#endif

using namespace KORA_ZARN2D;

namespace {

constexpr size_t kNumPoints = 1300000;
constexpr int kNumPolygonVertices = 10000;
constexpr int kRepetitions = 5;

struct Scene {
  Zarn_2D dt;
  Zone2* pInside = nullptr;
  Zone2* pOutside = nullptr;
  Zone2* pGlobal = nullptr;
  Zone2* pBox = nullptr;
  std::vector<Point2> vPoints;
  std::vector<Segment2> vPolygon;
};

Scene& scene() {
  static Scene* pScene([] {
    Scene* p(new Scene());
    std::mt19937_64 rng(20261123);
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    for (size_t i = 0; i < kNumPoints; ++i) {
      const double x(unit(rng));
      p->vPoints.emplace_back(x, unit(rng));
    }
    const double twoPi(2.0 * std::acos(-1.0));
    std::vector<Point2> vCorners;
    for (int i = 0; i < kNumPolygonVertices; ++i) {
      const double t(twoPi * i / kNumPolygonVertices), r(0.35 + 0.05 * std::sin(20.0 * t));
      vCorners.emplace_back(0.5 + r * std::cos(t), 0.5 + r * std::sin(t));
    }
    for (int i = 0; i < kNumPolygonVertices; ++i) p->vPolygon.emplace_back(vCorners[i], vCorners[(i + 1) % kNumPolygonVertices]);
    p->dt.insert(p->vPoints);
    std::vector<Segment2> vPolygon(p->vPolygon);
    ConstraintGraph2* pStar(p->dt.createConstraint(vPolygon, CIS_CONSTRAINED_DELAUNAY, true));
    std::vector<Segment2> vBox{Segment2(Point2(0.5, 0), Point2(1, 0)), Segment2(Point2(1, 0), Point2(1, 1)),
                               Segment2(Point2(1, 1), Point2(0.5, 1)), Segment2(Point2(0.5, 1), Point2(0.5, 0))};
    ConstraintGraph2* pBoxGraph(p->dt.createConstraint(vBox, CIS_CONSTRAINED_DELAUNAY, true));
    p->pInside = p->dt.createZone(pStar, ZL_INSIDE);
    p->pOutside = p->dt.createZone(pStar, ZL_OUTSIDE);
    p->pGlobal = p->dt.createZone(nullptr, ZL_GLOBAL);
    p->pBox = p->dt.createZone(pBoxGraph, ZL_INSIDE);
    return p;
  }());
  return *pScene;
}

enum ZoneCase { INSIDE, INSIDE_FRESH_VECTOR, OUTSIDE, GLOBAL, UNION, INTERSECTION, DIFFERENCE, SYMMETRIC_DIFFERENCE, NUM_CASES };
const char* const kCaseNames[] = {"inside",       "inside, fresh vector", "outside",    "global",
                                  "union",        "intersection",         "difference", "symmetric difference"};

Zone2* zoneOf(ZoneCase c) {
  Scene& s(scene());
  static std::map<int, Zone2*> mResults;
  switch (c) {
    case INSIDE:
    case INSIDE_FRESH_VECTOR:
      return s.pInside;
    case OUTSIDE:
      return s.pOutside;
    case GLOBAL:
      return s.pGlobal;
    default:
      break;
  }
  Zone2*& pResult(mResults[c]);
  if (pResult == nullptr) {
    Zone2* (*const aOps[])(Zone2*, Zone2*) = {zoneUnion, zoneIntersection, zoneDifference, zoneSymmetricDifference};
    pResult = aOps[c - UNION](s.pInside, s.pBox);
  }
  return pResult;
}

void BM_ZarnZone(benchmark::State& state) {
  const ZoneCase c(static_cast<ZoneCase>(state.range(0)));
  Zone2* pZone(zoneOf(c));
  std::vector<Triangle2*> vKept;
  size_t numTriangles(0);
  for (auto _ : state) {
    if (c == INSIDE_FRESH_VECTOR) {
      std::vector<Triangle2*> vTriangles;
      pZone->getTriangles(vTriangles);
      numTriangles = vTriangles.size();
    } else {
      vKept.clear();
      pZone->getTriangles(vKept);
      numTriangles = vKept.size();
    }
    benchmark::DoNotOptimize(numTriangles);
  }
  state.counters["zone_triangles"] = static_cast<double>(numTriangles);
  state.counters["ns_per_triangle"] =
      benchmark::Counter(static_cast<double>(numTriangles) * 1e-9, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
  state.SetLabel(kCaseNames[c]);
}

#ifdef ZARN_HAVE_CGAL
struct CgalScene {
  CgalCdt cdt;
  std::vector<CgalCdt::Vertex_handle> vCorners;  // the polygon's corners in order
};

CgalScene& cgalScene() {
  static CgalScene* pScene([] {
    CgalScene* p(new CgalScene());
    std::vector<CgalKernel::Point_2> vPoints;
    for (const Point2& q : scene().vPoints) vPoints.emplace_back(q.x(), q.y());
    p->cdt.insert(vPoints.begin(), vPoints.end());
    for (const Segment2& s : scene().vPolygon) p->vCorners.push_back(p->cdt.insert(CgalKernel::Point_2(s.getSrc().x(), s.getSrc().y())));
    for (size_t i = 0; i < p->vCorners.size(); ++i) p->cdt.insert_constraint(p->vCorners[i], p->vCorners[(i + 1) % p->vCorners.size()]);
    return p;
  }());
  return *pScene;
}
CgalCdt& cgal() { return cgalScene().cdt; }

// The faces inside the polygon: seeds are the faces left of each polygon edge, the flood fill
// stops at constrained edges; info() holds the pass number of the last visit.
size_t cgalFloodFill(CgalCdt& cdt, unsigned pass, std::vector<CgalCdt::Face_handle>& vOut) {
  vOut.clear();
  const std::vector<CgalCdt::Vertex_handle>& vCorners(cgalScene().vCorners);
  for (size_t k = 0; k < vCorners.size(); ++k) {
    const CgalCdt::Vertex_handle va(vCorners[k]), vb(vCorners[(k + 1) % vCorners.size()]);
    CgalCdt::Face_handle f;
    int i;
    if (!cdt.is_edge(va, vb, f, i)) continue;  // split pieces: not in this polygon
    // is_edge gives either side; the face left of a -> b has b after a counterclockwise.
    if (f->vertex(cdt.ccw(f->index(va))) != vb) f = f->neighbor(i);
    if (cdt.is_infinite(f) || f->info() == pass) continue;
    f->info() = pass;
    vOut.push_back(f);
  }
  for (size_t k = 0; k < vOut.size(); ++k) {
    CgalCdt::Face_handle f(vOut[k]);
    for (int i = 0; i < 3; ++i) {
      if (cdt.is_constrained(CgalCdt::Edge(f, i))) continue;
      CgalCdt::Face_handle n(f->neighbor(i));
      if (cdt.is_infinite(n) || n->info() == pass) continue;
      n->info() = pass;
      vOut.push_back(n);
    }
  }
  return vOut.size();
}

void BM_CgalFloodFill(benchmark::State& state) {
  CgalCdt& cdt(cgal());
  std::vector<CgalCdt::Face_handle> vFaces;
  unsigned pass(1000);
  size_t numFaces(0);
  for (auto _ : state) {
    numFaces = cgalFloodFill(cdt, ++pass, vFaces);
    benchmark::DoNotOptimize(numFaces);
  }
  state.counters["zone_triangles"] = static_cast<double>(numFaces);
  state.counters["ns_per_triangle"] =
      benchmark::Counter(static_cast<double>(numFaces) * 1e-9, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
  state.SetLabel("inside (flood fill)");
}
#endif

void printSetup() {
  const auto start(std::chrono::steady_clock::now());
  Scene& s(scene());
  std::cout << "Setup: " << s.dt.numberOfPoints() << " vertices, " << s.dt.numberOfTriangles() << " triangles, "
            << std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count() << " s" << std::endl;
  for (int c = INSIDE; c < NUM_CASES; ++c) {
    if (c == INSIDE_FRESH_VECTOR) continue;
    std::cout << "  zone " << kCaseNames[c] << ": " << zoneOf(static_cast<ZoneCase>(c))->getNumberOfTriangles() << " triangles" << std::endl;
  }
  std::cout << "  inside + outside = " << s.pInside->getNumberOfTriangles() + s.pOutside->getNumberOfTriangles() << " of "
            << s.dt.numberOfTriangles() << std::endl;
#ifdef ZARN_HAVE_CGAL
  std::vector<CgalCdt::Face_handle> vFaces;
  std::cout << "  CGAL: " << cgal().number_of_faces() << " faces, inside (flood fill) " << cgalFloodFill(cgal(), 1, vFaces) << std::endl;
#endif
}

}  // namespace

int main(int argc, char** argv) {
  printSetup();
  for (int c = INSIDE; c < NUM_CASES; ++c) {
    benchmark::RegisterBenchmark("Zarn/Zone", BM_ZarnZone)->Arg(c)->Unit(benchmark::kMillisecond)->UseRealTime()->Repetitions(kRepetitions)
        ->ReportAggregatesOnly(true);
#ifdef ZARN_HAVE_CGAL
    if (c == INSIDE)
      benchmark::RegisterBenchmark("CGAL/FloodFill", BM_CgalFloodFill)->Unit(benchmark::kMillisecond)->UseRealTime()
          ->Repetitions(kRepetitions)->ReportAggregatesOnly(true);
#endif
  }
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
