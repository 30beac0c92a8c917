// Constrained triangulation of GIS-like inputs, points and constraint edges timed together.
//
// Inputs are files in the common CDT test-data format: a line "NV NE", NV lines "x y", NE lines
// "i j" (vertex indices). Without arguments the benchmark writes two such files into the current
// directory and reads them back (deterministic, no download):
//   - country.cdt: a country-like outline of 2,619 vertices and 2,619 edges, an elongated mainland
//     ring of 2,000 vertices with a fractal (multi-octave noise) coastline and 40 islands of
//     5 to 49 vertices (all rings star-shaped around their centres, so they are simple, and in
//     separate places, so they are disjoint), in longitude/latitude-like coordinates;
//   - county.cdt: one ring of 116 vertices (a noisy outline with a few straight runs).
// A third case builds 10,000 triangulations of a 100-vertex polygon one after the other (the
// fixed cost of a small triangulation: construction, points, constraint, destruction).
//
// Our side inserts the points in bulk and then the edges as one undirected constraint graph
// (createConstraint with the segments' coordinates, then applyConstraintsAndZones). CGAL's
// Constrained_Delaunay_triangulation_2 (exact predicates, Exact_predicates_tag) takes the same
// data through insert_constraints(points, index pairs). Before timing, each file is built once
// by both and the counts are compared; our result passes checkValidity.
//
//   bench_real_inputs [FILE.cdt ...] [Google Benchmark options]
//   bench_real_inputs --run zarn|cgal FILE.cdt|small N    N builds without checks, for profiling
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <random>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "bench_common.h"

#ifdef ZARN_HAVE_CGAL
#include <CGAL/Constrained_Delaunay_triangulation_2.h>
using CgalCdt = CGAL::Constrained_Delaunay_triangulation_2<CgalKernel, CGAL::Default, CGAL::Exact_predicates_tag>;
#endif

using namespace KORA_ZARN2D;

namespace {

constexpr int kMainlandVertices = 2000;
constexpr int kNumIslands = 40;
constexpr int kCountryVertices = 2619;
constexpr int kCountyVertices = 116;
constexpr int kSmallPolygonVertices = 100;
constexpr int kNumSmallPolygons = 10000;
constexpr int kRepetitions = 5;
const char* const kSmallCaseName = "10000 polygons of 100 vertices";

struct CdtInput {
  std::string name;
  std::vector<Point2> vPoints;
  std::vector<std::pair<int, int>> vEdges;
};

// ----- Generated inputs -----

// Appends a closed star-shaped ring: numVertices angles in increasing order (jittered), radius
// 1 + fractal noise (octaves of random phase, amplitude falling with frequency), stretched by
// (sx, sy) and moved to the centre.
void appendRing(CdtInput& in, std::mt19937_64& rng, int numVertices, double cx, double cy, double sx, double sy, double roughness) {
  std::uniform_real_distribution<double> unit(0.0, 1.0);
  const double twoPi(2.0 * std::acos(-1.0));
  std::vector<std::pair<double, double>> vOctaves;  // (frequency, phase)
  for (int f = 2; f < numVertices / 2; f = f * 3 / 2 + 1) vOctaves.emplace_back(f, twoPi * unit(rng));
  const int first(static_cast<int>(in.vPoints.size()));
  for (int i = 0; i < numVertices; ++i) {
    const double t(twoPi * (i + 0.8 * unit(rng)) / numVertices);
    double r(1.0);
    for (const std::pair<double, double>& octave : vOctaves) r += roughness * std::sin(octave.first * t + octave.second) / std::pow(octave.first, 0.6);
    r = std::max(r, 0.2);
    in.vPoints.emplace_back(cx + sx * r * std::cos(t), cy + sy * r * std::sin(t));
    in.vEdges.emplace_back(first + i, first + (i + 1) % numVertices);
  }
}

CdtInput makeCountry() {
  CdtInput in;
  in.name = "country.cdt";
  std::mt19937_64 rng(46);
  appendRing(in, rng, kMainlandVertices, 17.0, 62.0, 3.0, 7.0, 0.25);
  // Islands on a ring around the mainland (its radius stays below 1.65 times the stretch), each
  // in its own angular sector, so that no two rings meet.
  std::uniform_int_distribution<int> size(5, 26);
  std::vector<int> vSizes(kNumIslands);
  int numLeft(kCountryVertices - kMainlandVertices);
  for (int i = 0; i < kNumIslands; ++i) {
    vSizes[i] = (i + 1 == kNumIslands) ? numLeft : std::min(size(rng), numLeft - 5 * (kNumIslands - 1 - i));
    numLeft -= vSizes[i];
  }
  const double twoPi(2.0 * std::acos(-1.0));
  for (int i = 0; i < kNumIslands; ++i) {
    const double angle(twoPi * i / kNumIslands);
    appendRing(in, rng, vSizes[i], 17.0 + 3.0 * 2.0 * std::cos(angle), 62.0 + 7.0 * 2.0 * std::sin(angle), 0.15, 0.25, 0.2);
  }
  return in;
}

CdtInput makeCounty() {
  CdtInput in;
  in.name = "county.cdt";
  std::mt19937_64 rng(117);
  appendRing(in, rng, kCountyVertices, -117.8, 33.7, 0.3, 0.25, 0.15);
  return in;
}

CdtInput makeSmallPolygon() {
  CdtInput in;
  std::mt19937_64 rng(101);
  appendRing(in, rng, kSmallPolygonVertices, 0.0, 0.0, 1.0, 1.0, 0.3);
  return in;
}

// ----- The file format -----

void writeCdt(const CdtInput& in, const std::string& filename) {
  std::ofstream out(filename);
  out.precision(17);
  out << in.vPoints.size() << " " << in.vEdges.size() << "\n";
  for (const Point2& p : in.vPoints) out << p.x() << " " << p.y() << "\n";
  for (const std::pair<int, int>& e : in.vEdges) out << e.first << " " << e.second << "\n";
}

// False (with a message) for a missing or malformed file or an index out of range.
bool readCdt(const std::string& filename, CdtInput& in) {
  std::ifstream file(filename);
  size_t numVertices(0), numEdges(0);
  in = CdtInput();
  in.name = filename.substr(filename.find_last_of('/') + 1);
  if (!(file >> numVertices >> numEdges)) {
    std::cerr << filename << ": cannot read the header line \"NV NE\"" << std::endl;
    return false;
  }
  for (size_t i = 0; i < numVertices; ++i) {
    double x(0.0), y(0.0);
    if (!(file >> x >> y)) {
      std::cerr << filename << ": vertex " << i << " of " << numVertices << " is missing or malformed" << std::endl;
      return false;
    }
    in.vPoints.emplace_back(x, y);
  }
  for (size_t i = 0; i < numEdges; ++i) {
    long a(-1), b(-1);
    if (!(file >> a >> b) || a < 0 || b < 0 || static_cast<size_t>(a) >= numVertices || static_cast<size_t>(b) >= numVertices) {
      std::cerr << filename << ": edge " << i << " of " << numEdges << " is missing, malformed or out of range" << std::endl;
      return false;
    }
    in.vEdges.emplace_back(static_cast<int>(a), static_cast<int>(b));
  }
  return true;
}

std::vector<Segment2> segmentsOf(const CdtInput& in) {
  std::vector<Segment2> vSegments;
  vSegments.reserve(in.vEdges.size());
  for (const std::pair<int, int>& e : in.vEdges) vSegments.emplace_back(in.vPoints[e.first], in.vPoints[e.second]);
  return vSegments;
}

// ----- The builds -----

struct Counts {
  size_t vertices = 0, triangles = 0, constraintEdges = 0;
  bool bValid = true;
};

// vSegments is consumed (createConstraint takes it by non-const reference).
Counts buildZarn(const CdtInput& in, std::vector<Segment2>& vSegments, bool bCheck) {
  Zarn_2D dt(static_cast<unsigned int>(in.vPoints.size()));
  dt.insert(in.vPoints);
  dt.createConstraint(vSegments, CIS_CONSTRAINED_DELAUNAY, false);
  dt.applyConstraintsAndZones();
  Counts counts;
  counts.vertices = dt.numberOfPoints();
  counts.triangles = dt.numberOfTriangles();
  if (bCheck) {
    std::vector<ConstraintSegment2*> vAlive;
    dt.getAliveConstraintSegments(vAlive);
    counts.constraintEdges = vAlive.size();
    counts.bValid = dt.checkValidity(true, in.name);
  }
  return counts;
}

#ifdef ZARN_HAVE_CGAL
struct CgalInput {
  std::vector<CgalKernel::Point_2> vPoints;
  std::vector<std::pair<std::size_t, std::size_t>> vEdges;
};

CgalInput toCgal(const CdtInput& in) {
  CgalInput ci;
  for (const Point2& p : in.vPoints) ci.vPoints.emplace_back(p.x(), p.y());
  for (const std::pair<int, int>& e : in.vEdges) ci.vEdges.emplace_back(e.first, e.second);
  return ci;
}

Counts buildCgal(const CgalInput& in, bool bCheck) {
  CgalCdt cdt;
  cdt.insert_constraints(in.vPoints.begin(), in.vPoints.end(), in.vEdges.begin(), in.vEdges.end());
  Counts counts;
  counts.vertices = cdt.number_of_vertices();
  counts.triangles = cdt.number_of_faces();
  if (bCheck) {
    for (auto it = cdt.finite_edges_begin(); it != cdt.finite_edges_end(); ++it) counts.constraintEdges += cdt.is_constrained(*it);
    counts.bValid = cdt.is_valid();
  }
  return counts;
}
#endif

// ----- Benchmarks -----

std::vector<CdtInput>& fileInputs() {
  static std::vector<CdtInput> vInputs;
  return vInputs;
}

void BM_ZarnFile(benchmark::State& state) {
  const CdtInput& in(fileInputs()[static_cast<size_t>(state.range(0))]);
  const std::vector<Segment2> vSegments(segmentsOf(in));
  // The copy of the segments (createConstraint consumes them) is timed too: pausing the timer costs
  // more than the copy on inputs this small.
  for (auto _ : state) {
    std::vector<Segment2> vCopy(vSegments);
    benchmark::DoNotOptimize(buildZarn(in, vCopy, false).triangles);
  }
  state.SetLabel(in.name);
}

void BM_ZarnSmall(benchmark::State& state) {
  const CdtInput in(makeSmallPolygon());
  const std::vector<Segment2> vSegments(segmentsOf(in));
  std::vector<std::vector<Segment2>> vCopies(kNumSmallPolygons);
  for (auto _ : state) {
    state.PauseTiming();
    std::fill(vCopies.begin(), vCopies.end(), vSegments);
    state.ResumeTiming();
    for (std::vector<Segment2>& vCopy : vCopies) benchmark::DoNotOptimize(buildZarn(in, vCopy, false).triangles);
  }
  state.SetLabel(kSmallCaseName);
}

#ifdef ZARN_HAVE_CGAL
void BM_CgalFile(benchmark::State& state) {
  const CgalInput in(toCgal(fileInputs()[static_cast<size_t>(state.range(0))]));
  for (auto _ : state) benchmark::DoNotOptimize(buildCgal(in, false).triangles);
  state.SetLabel(fileInputs()[static_cast<size_t>(state.range(0))].name);
}

void BM_CgalSmall(benchmark::State& state) {
  const CgalInput in(toCgal(makeSmallPolygon()));
  for (auto _ : state) {
    for (int i = 0; i < kNumSmallPolygons; ++i) benchmark::DoNotOptimize(buildCgal(in, false).triangles);
  }
  state.SetLabel(kSmallCaseName);
}
#endif

void registerAll() {
  const auto configure = [](benchmark::internal::Benchmark* pBench) {
    pBench->Unit(benchmark::kMillisecond)->UseRealTime()->Repetitions(kRepetitions)->ReportAggregatesOnly(true);
  };
  for (size_t i = 0; i < fileInputs().size(); ++i) {
    configure(benchmark::RegisterBenchmark("Zarn/File", BM_ZarnFile)->Arg(static_cast<int64_t>(i)));
#ifdef ZARN_HAVE_CGAL
    configure(benchmark::RegisterBenchmark("CGAL/File", BM_CgalFile)->Arg(static_cast<int64_t>(i)));
#endif
  }
  configure(benchmark::RegisterBenchmark("Zarn/Small", BM_ZarnSmall)->Iterations(1));
#ifdef ZARN_HAVE_CGAL
  configure(benchmark::RegisterBenchmark("CGAL/Small", BM_CgalSmall)->Iterations(1));
#endif
}

int columnOf(const std::string& benchmarkName) { return benchmarkName.rfind("CGAL", 0) == 0 ? 1 : 0; }

void printTable(zarnbench::TimeTable& table) {
  std::printf("\nPoints and constraints (median of %d)   Zarn [ms]   CGAL [ms]   Zarn/CGAL\n", kRepetitions);
  for (auto& entry : table) {
    const double zarn(entry.second[0]), cgal(entry.second[1]);
    if (cgal > 0) {
      std::printf("%-37s %10.2f %11.2f %11.3f\n", entry.first.c_str(), zarn, cgal, zarn / cgal);
    } else {
      std::printf("%-37s %10.2f %11s %11s\n", entry.first.c_str(), zarn, "-", "-");
    }
  }
}

// Builds every file once by both sides and compares the counts. False on a mismatch or an
// invalid result.
bool checkInputs() {
  bool bAllGood(true);
  for (const CdtInput& in : fileInputs()) {
    std::vector<Segment2> vSegments(segmentsOf(in));
    const Counts zarn(buildZarn(in, vSegments, true));
    std::printf("%s: %zu vertices, %zu edges\n  zarn  vertices %zu, triangles %zu, constraint edges %zu, %s\n", in.name.c_str(),
                in.vPoints.size(), in.vEdges.size(), zarn.vertices, zarn.triangles, zarn.constraintEdges,
                zarn.bValid ? "valid" : "INVALID");
    bAllGood = bAllGood && zarn.bValid;
#ifdef ZARN_HAVE_CGAL
    const Counts cgal(buildCgal(toCgal(in), true));
    const bool bAgree(zarn.vertices == cgal.vertices && zarn.triangles == cgal.triangles && zarn.constraintEdges == cgal.constraintEdges);
    std::printf("  cgal  vertices %zu, triangles %zu, constraint edges %zu, %s; counts %s\n", cgal.vertices, cgal.triangles,
                cgal.constraintEdges, cgal.bValid ? "valid" : "INVALID", bAgree ? "agree" : "DIFFER");
    bAllGood = bAllGood && cgal.bValid && bAgree;
#endif
  }
  return bAllGood;
}

double msSince(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

int runForProfile(const std::string& who, const std::string& what, int numRuns) {
  CdtInput in;
  const bool bSmall(what == "small");
  if (bSmall) {
    in = makeSmallPolygon();
  } else if (!readCdt(what, in)) {
    return 1;
  }
  const int numBuilds(bSmall ? kNumSmallPolygons : 1);
  for (int run = 0; run < numRuns; ++run) {
    const auto start(std::chrono::steady_clock::now());
    for (int i = 0; i < numBuilds; ++i) {
      if (who == "zarn") {
        std::vector<Segment2> vSegments(segmentsOf(in));
        buildZarn(in, vSegments, false);
      } else {
#ifdef ZARN_HAVE_CGAL
        buildCgal(toCgal(in), false);
#else
        std::cerr << "built without CGAL" << std::endl;
        return 1;
#endif
      }
    }
    std::printf("%s %s: %.2f ms\n", who.c_str(), what.c_str(), msSince(start));
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 5 && std::strcmp(argv[1], "--run") == 0) return runForProfile(argv[2], argv[3], std::stoi(argv[4]));
  std::vector<char*> vBenchmarkArgs(1, argv[0]);
  std::vector<std::string> vFiles;
  for (int i = 1; i < argc; ++i) {
    if (std::strncmp(argv[i], "--", 2) == 0) {
      vBenchmarkArgs.push_back(argv[i]);
    } else {
      vFiles.emplace_back(argv[i]);
    }
  }
  if (vFiles.empty()) {
    for (const CdtInput& in : {makeCountry(), makeCounty()}) {
      writeCdt(in, in.name);
      vFiles.push_back(in.name);
    }
  }
  for (const std::string& filename : vFiles) {
    CdtInput in;
    if (!readCdt(filename, in)) return 1;
    fileInputs().push_back(in);
  }
  const bool bGood(checkInputs());
  registerAll();
  int numArgs(static_cast<int>(vBenchmarkArgs.size()));
  zarnbench::runBenchmarks(numArgs, vBenchmarkArgs.data(), columnOf, printTable);
  if (!bGood) std::cout << "\nWARNING: a check above failed (invalid triangulation or differing counts)" << std::endl;
  return bGood ? 0 : 2;
}
