// Mesh generation benchmark: Delaunay refinement of the domain [0,10]^2 minus the hole [4,6]^2
// (both squares as constraints, the hole excluded from the zone) to a minimum angle of 30 and of
// 20 degrees with edges of at most 0.05; and, for us alone, a coastline-like polygon with many
// small input angles refined to 30 degrees without a size bound.
//
// When CGAL is available, the same domain goes into its Delaunay_mesher_2 in the same run
// (Constrained_Delaunay_triangulation_2 with exact predicates, refine_Delaunay_mesh_2 with
// Delaunay_mesh_size_criteria_2(sin^2(angle), 0.05) and a seed in the hole). Ours and CGAL's run
// back to back, kRepetitions times; the table gives the medians of the wall time and of the
// thread's CPU time (the CPU time is the fairer figure on a shared machine), the triangle counts
// of the meshed domain, and the smallest angle and the longest edge found in it.
//
//   bench_mesh                      the table, then the Google Benchmark runs
//   bench_mesh --table-only         the table only
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <functional>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "Dt2.h"
#include "MeshGenParams.h"
#include "Zarn_2D.h"
#include "Zone2.h"

#ifdef ZARN_HAVE_CGAL
#include <CGAL/Constrained_Delaunay_triangulation_2.h>
#include <CGAL/Delaunay_mesh_face_base_2.h>
#include <CGAL/Delaunay_mesh_size_criteria_2.h>
#include <CGAL/Delaunay_mesh_vertex_base_2.h>
#include <CGAL/Delaunay_mesher_2.h>
#include <CGAL/Exact_predicates_inexact_constructions_kernel.h>
using CgalKernel = CGAL::Exact_predicates_inexact_constructions_kernel;
using CgalVb = CGAL::Delaunay_mesh_vertex_base_2<CgalKernel>;
using CgalFb = CGAL::Delaunay_mesh_face_base_2<CgalKernel>;
using CgalTds = CGAL::Triangulation_data_structure_2<CgalVb, CgalFb>;
using CgalCdt = CGAL::Constrained_Delaunay_triangulation_2<CgalKernel, CgalTds>;
using CgalCriteria = CGAL::Delaunay_mesh_size_criteria_2<CgalCdt>;
#endif

using namespace KORA_ZARN2D;

namespace {

constexpr int kRepetitions = 5;
constexpr double kMaxEdge = 0.05;
constexpr double kPi = 3.14159265358979323846;

struct MeshCase {
  const char* name;
  double minAngle;
  double maxEdge;
  bool bCoastline;
};
const MeshCase kCases[] = {{"square-hole 30deg 0.05", 30.0, kMaxEdge, false},
                           {"square-hole 20deg 0.05", 20.0, kMaxEdge, false},
                           {"coastline 30deg", 30.0, 1.7976931348623157e308, true}};

std::vector<std::vector<Point2>> squareWithHole() {
  return {{{0, 0}, {10, 0}, {10, 10}, {0, 10}}, {{4, 4}, {4, 6}, {6, 6}, {6, 4}}};
}

// A star-shaped ring of 2000 vertices whose radius wanders (low-frequency waves) and jitters
// (per vertex): spikes and notches with input angles down to a few degrees, like a coastline.
std::vector<std::vector<Point2>> coastline() {
  std::mt19937_64 rng(4242);
  std::uniform_real_distribution<double> unit(0.0, 1.0);
  const int numVertices(2000);
  double aPhase[6];
  for (double& phase : aPhase) phase = 2.0 * kPi * unit(rng);
  std::vector<Point2> ring;
  for (int i = 0; i < numVertices; ++i) {
    const double t(2.0 * kPi * i / numVertices);
    double r(10.0);
    for (int k = 0; k < 6; ++k) r += (1.5 / (k + 1)) * std::sin((k + 2) * t + aPhase[k]);
    r += 0.3 * (unit(rng) - 0.5);
    ring.emplace_back(r * std::cos(t), r * std::sin(t));
  }
  return {ring};
}

double threadCpuSeconds() {
  timespec ts;
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
  return static_cast<double>(ts.tv_sec) + 1e-9 * static_cast<double>(ts.tv_nsec);
}

struct Result {
  double wall = 0.0, cpu = 0.0;
  size_t numTriangles = 0;
  double minAngle = 180.0, maxEdge = 0.0;
  std::string note;
};

double angleAt(double ox, double oy, double ax, double ay, double bx, double by) {
  ax -= ox;
  ay -= oy;
  bx -= ox;
  by -= oy;
  return std::atan2(std::fabs(ax * by - ay * bx), ax * bx + ay * by) * 180.0 / kPi;
}

// The angles and edges of one triangle, into the result's extremes.
void measureTriangle(const double aX[3], const double aY[3], Result& result) {
  for (int i = 0; i < 3; ++i) {
    const int j((i + 1) % 3), k((i + 2) % 3);
    result.minAngle = std::min(result.minAngle, angleAt(aX[i], aY[i], aX[j], aY[j], aX[k], aY[k]));
    result.maxEdge = std::max(result.maxEdge, std::hypot(aX[j] - aX[k], aY[j] - aY[k]));
  }
}

// The two edges at each corner of the ring whose interior angle is below maxDegree.
std::vector<std::pair<Segment2, Segment2>> smallInputAngles(const std::vector<Point2>& ring, double maxDegree) {
  std::vector<std::pair<Segment2, Segment2>> vPairs;
  const size_t n(ring.size());
  for (size_t i = 0; i < n; ++i) {
    const Point2& prev(ring[(i + n - 1) % n]);
    const Point2& apex(ring[i]);
    const Point2& next(ring[(i + 1) % n]);
    const double ax(next.x() - apex.x()), ay(next.y() - apex.y()), bx(prev.x() - apex.x()), by(prev.y() - apex.y());
    // Counterclockwise ring: the interior lies left of the edges, the angle turns from next to prev.
    double angle(std::atan2(ax * by - ay * bx, ax * bx + ay * by) * 180.0 / kPi);
    if (angle < 0.0) angle += 360.0;
    if (angle < maxDegree) vPairs.emplace_back(Segment2(apex, next), Segment2(apex, prev));
  }
  return vPairs;
}

bool isOnSegment(const Segment2& s, const Point2& p) {
  const double dx(s.getTrg().x() - s.getSrc().x()), dy(s.getTrg().y() - s.getSrc().y());
  const double px(p.x() - s.getSrc().x()), py(p.y() - s.getSrc().y());
  const double sqLength(dx * dx + dy * dy), along(px * dx + py * dy);
  return std::fabs(dx * py - dy * px) <= 1e-9 * sqLength && along >= 0.0 && along <= sqLength;
}

// True when two corners of the triangle lie on the two edges of a small input angle (the
// triangles whose small angle the input may force).
bool touchesASmallInputAngle(const Triangle2* pT, const std::vector<std::pair<Segment2, Segment2>>& vPairs) {
  for (const std::pair<Segment2, Segment2>& pair : vPairs) {
    for (int i = 0; i < 3; ++i) {
      if (!isOnSegment(pair.first, *pT->getCorner(i))) continue;
      for (int j = 0; j < 3; ++j) {
        if (j != i && isOnSegment(pair.second, *pT->getCorner(j))) return true;
      }
    }
  }
  return false;
}

// ----- Ours -----

struct ZarnMesh {
  Zarn_2D dt;
  Zone2* pZone = nullptr;
  explicit ZarnMesh(const std::vector<std::vector<Point2>>& vRings) {
    std::vector<Segment2> vSegments;
    for (const std::vector<Point2>& ring : vRings) {
      for (size_t i = 0; i < ring.size(); ++i) vSegments.emplace_back(ring[i], ring[(i + 1) % ring.size()]);
    }
    ConstraintGraph2* pGraph(dt.createConstraint(vSegments, CIS_CONSTRAINED_DELAUNAY, true));
    pZone = dt.createZone(pGraph, ZL_INSIDE);
  }
};

Result runZarn(const MeshCase& c, bool bMeasure) {
  ZarnMesh mesh(c.bCoastline ? coastline() : squareWithHole());
  MeshGenParams params(mesh.pZone);
  params.minAngleDegree = c.minAngle;
  params.maxEdgeLength = c.maxEdge;
  params.minEdgeLen = 1e-9;
  Result result;
  const auto start(std::chrono::steady_clock::now());
  const double cpuStart(threadCpuSeconds());
  mesh.dt.refineAdvanced(&params);
  result.cpu = threadCpuSeconds() - cpuStart;
  result.wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  if (!bMeasure) return result;
  std::vector<Triangle2*> vZone;
  mesh.pZone->getTriangles(vZone);
  result.numTriangles = vZone.size();
  for (const Triangle2* pT : vZone) {
    const double aX[3] = {pT->getCorner(0)->x(), pT->getCorner(1)->x(), pT->getCorner(2)->x()};
    const double aY[3] = {pT->getCorner(0)->y(), pT->getCorner(1)->y(), pT->getCorner(2)->y()};
    measureTriangle(aX, aY, result);
  }
  result.note = mesh.dt.getImpl()->getRefinementReport().describe();
  if (c.bCoastline) {
    Result away;
    size_t numNear(0);
    const std::vector<std::pair<Segment2, Segment2>> vPairs(smallInputAngles(coastline()[0], c.minAngle));
    for (const Triangle2* pT : vZone) {
      if (touchesASmallInputAngle(pT, vPairs)) {
        ++numNear;
        continue;
      }
      const double aX[3] = {pT->getCorner(0)->x(), pT->getCorner(1)->x(), pT->getCorner(2)->x()};
      const double aY[3] = {pT->getCorner(0)->y(), pT->getCorner(1)->y(), pT->getCorner(2)->y()};
      measureTriangle(aX, aY, away);
    }
    char text[160];
    std::snprintf(text, sizeof(text), "; %zu input angles below %.0f deg, min angle %.3f away from them (%zu triangles at them)",
                  vPairs.size(), c.minAngle, away.minAngle, numNear);
    result.note += text;
  }
  return result;
}

// ----- CGAL -----

#ifdef ZARN_HAVE_CGAL
Result runCgal(const MeshCase& c, bool bMeasure) {
  CgalCdt cdt;
  for (const std::vector<Point2>& ring : squareWithHole()) {
    for (size_t i = 0; i < ring.size(); ++i) {
      const Point2& a(ring[i]);
      const Point2& b(ring[(i + 1) % ring.size()]);
      cdt.insert_constraint(CgalKernel::Point_2(a.x(), a.y()), CgalKernel::Point_2(b.x(), b.y()));
    }
  }
  const double sinAngle(std::sin(c.minAngle * kPi / 180.0));
  std::vector<CgalKernel::Point_2> vSeeds(1, CgalKernel::Point_2(5.0, 5.0));
  Result result;
  const auto start(std::chrono::steady_clock::now());
  const double cpuStart(threadCpuSeconds());
  CGAL::refine_Delaunay_mesh_2(cdt, vSeeds.begin(), vSeeds.end(), CgalCriteria(sinAngle * sinAngle, c.maxEdge));
  result.cpu = threadCpuSeconds() - cpuStart;
  result.wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  if (!bMeasure) return result;
  for (auto f = cdt.finite_faces_begin(); f != cdt.finite_faces_end(); ++f) {
    if (!f->is_in_domain()) continue;
    ++result.numTriangles;
    const double aX[3] = {f->vertex(0)->point().x(), f->vertex(1)->point().x(), f->vertex(2)->point().x()};
    const double aY[3] = {f->vertex(0)->point().y(), f->vertex(1)->point().y(), f->vertex(2)->point().y()};
    measureTriangle(aX, aY, result);
  }
  result.note = cdt.is_valid() ? "valid" : "INVALID";
  return result;
}
#endif

double median(std::vector<double> v) {
  std::sort(v.begin(), v.end());
  return v[v.size() / 2];
}

void printRow(const char* who, const std::vector<Result>& vRuns) {
  std::vector<double> vWall, vCpu;
  for (const Result& r : vRuns) {
    vWall.push_back(r.wall);
    vCpu.push_back(r.cpu);
  }
  const Result& first(vRuns.front());
  std::printf("  %-5s wall %7.3f s  cpu %7.3f s  triangles %8zu  min angle %6.3f  max edge %.6f  %s\n", who, median(vWall), median(vCpu),
              first.numTriangles, first.minAngle, first.maxEdge, first.note.c_str());
}

void printTable() {
  std::printf("Medians of %d runs each, ours and CGAL's back to back (a shared machine: compare CPU times).\n", kRepetitions);
  for (const MeshCase& c : kCases) {
    std::printf("%s\n", c.name);
    std::vector<Result> vZarn;
#ifdef ZARN_HAVE_CGAL
    std::vector<Result> vCgal;
#endif
    for (int rep = 0; rep < kRepetitions; ++rep) {
      vZarn.push_back(runZarn(c, rep == 0));
#ifdef ZARN_HAVE_CGAL
      if (!c.bCoastline) vCgal.push_back(runCgal(c, rep == 0));
#endif
    }
    printRow("zarn", vZarn);
#ifdef ZARN_HAVE_CGAL
    if (!vCgal.empty()) {
      printRow("cgal", vCgal);
      std::vector<double> vZ, vC;
      for (const Result& r : vZarn) vZ.push_back(r.cpu);
      for (const Result& r : vCgal) vC.push_back(r.cpu);
      std::printf("  cpu time zarn / cgal: %.3f\n", median(vZ) / median(vC));
    }
#endif
  }
}

void BM_Zarn(benchmark::State& state) {
  const MeshCase& c(kCases[state.range(0)]);
  for (auto _ : state) benchmark::DoNotOptimize(runZarn(c, false).cpu);
  state.SetLabel(c.name);
}
BENCHMARK(BM_Zarn)->DenseRange(0, 2)->Unit(benchmark::kMillisecond)->Iterations(3);

#ifdef ZARN_HAVE_CGAL
void BM_CGAL(benchmark::State& state) {
  const MeshCase& c(kCases[state.range(0)]);
  for (auto _ : state) benchmark::DoNotOptimize(runCgal(c, false).cpu);
  state.SetLabel(c.name);
}
BENCHMARK(BM_CGAL)->DenseRange(0, 1)->Unit(benchmark::kMillisecond)->Iterations(3);
#endif

}  // namespace

int main(int argc, char** argv) {
  printTable();
  if (argc > 1 && std::strcmp(argv[1], "--table-only") == 0) return 0;
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
