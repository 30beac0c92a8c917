// Constrained triangulation benchmark: 100,000 uniform random points in [0,1)^2 and constraints,
// timed together (the points, the constraints and their application):
//   - a closed star polygon of 10,000 vertices, r(t) = 0.35 + 0.05 sin(20 t) around (0.5, 0.5),
//   - 1,000 random segments of length 0.1 that cross each other and the polygon; every crossing
//     becomes a vertex (the intersection computed exactly and rounded to doubles).
// Cases: polygon and crossing segments (constrained), polygon only (constrained), and polygon only
// conforming (Zarn alone, for information). When CGAL is available, the same input vectors go into
// its Constrained_Delaunay_triangulation_2 (exact predicates, inexact constructions,
// Exact_predicates_tag; points by range insertion, constraints by the range insert_constraints,
// which inserts the endpoints in spatial order and then each constraint). Only the copies of the
// inputs and the destruction are left out of the time. Before timing, each case
// is built once: counts are compared, our result is checked (checkValidity with the empty circle
// test, every constraint piece is an edge), and CGAL's with is_valid().
//
//   bench_constraints                    counts and checks, then the timed runs and the ratio table,
//                                        then each library's builds alone and warm, and their ratios
//   bench_constraints --run zarn|cgal CASE N
//                     builds the case N times without the checks and prints the time of each
//                     build (for profiling; CASE is crossing, polygon or conforming)
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <map>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "Zarn_2D.h"

#ifdef ZARN_HAVE_CGAL
#include <CGAL/Constrained_Delaunay_triangulation_2.h>
#include <CGAL/Exact_predicates_inexact_constructions_kernel.h>
using CgalKernel = CGAL::Exact_predicates_inexact_constructions_kernel;
using CgalCdt = CGAL::Constrained_Delaunay_triangulation_2<CgalKernel, CGAL::Default, CGAL::Exact_predicates_tag>;
#endif

using namespace KORA_ZARN2D;

namespace {

constexpr size_t kNumPoints = 100000;
constexpr int kNumPolygonVertices = 10000;
constexpr int kNumCrossingSegments = 1000;
constexpr double kCrossingLength = 0.1;
constexpr int kRepetitions = 5;

enum Case { CASE_CROSSING = 0, CASE_POLYGON = 1, CASE_CONFORMING = 2 };
const char* const kCaseNames[] = {"polygon+crossing CDT", "polygon only CDT", "polygon only conforming"};

struct Inputs {
  std::vector<Point2> vPoints;
  std::vector<Segment2> vPolygon;   // closed: the last segment returns to vertex 0
  std::vector<Segment2> vCrossing;  // random segments of length kCrossingLength
};

Inputs makeInputs() {
  Inputs in;
  std::mt19937_64 rng(20261121);
  std::uniform_real_distribution<double> unit(0.0, 1.0);
  in.vPoints.reserve(kNumPoints);
  for (size_t i = 0; i < kNumPoints; ++i) {
    const double x(unit(rng));
    in.vPoints.emplace_back(x, unit(rng));
  }
  const double twoPi(2.0 * std::acos(-1.0));
  std::vector<Point2> vCorners;
  for (int i = 0; i < kNumPolygonVertices; ++i) {
    const double t(twoPi * i / kNumPolygonVertices);
    const double r(0.35 + 0.05 * std::sin(20.0 * t));
    vCorners.emplace_back(0.5 + r * std::cos(t), 0.5 + r * std::sin(t));
  }
  for (int i = 0; i < kNumPolygonVertices; ++i) in.vPolygon.emplace_back(vCorners[i], vCorners[(i + 1) % kNumPolygonVertices]);
  std::mt19937_64 segRng(777);
  for (int i = 0; i < kNumCrossingSegments; ++i) {
    const double x(unit(segRng)), y(unit(segRng)), angle(twoPi * unit(segRng));
    in.vCrossing.emplace_back(Point2(x, y), Point2(x + kCrossingLength * std::cos(angle), y + kCrossingLength * std::sin(angle)));
  }
  return in;
}

const Inputs& inputs() {
  static const Inputs in(makeInputs());
  return in;
}

bool withCrossing(Case c) { return c == CASE_CROSSING; }

// Segment endpoints that are not input points: the vertices the constraints bring in themselves.
size_t countNewEndpoints(Case c) {
  const Inputs& in(inputs());
  std::set<std::pair<double, double>> sPoints, sEnds;
  for (const Point2& p : in.vPoints) sPoints.insert(std::make_pair(p.x(), p.y()));
  const auto addEnds = [&](const std::vector<Segment2>& vSegments) {
    for (const Segment2& seg : vSegments) {
      for (const Point2& p : {seg.getSrc(), seg.getTrg()}) {
        if (sPoints.count(std::make_pair(p.x(), p.y())) == 0) sEnds.insert(std::make_pair(p.x(), p.y()));
      }
    }
  };
  addEnds(in.vPolygon);
  if (withCrossing(c)) addEnds(in.vCrossing);
  return sEnds.size();
}

// Pairs of input segments whose interiors cross (among the random segments, and random segment
// with polygon edge), counted by brute force with floating-point orientations (good enough for
// random input): each pair should give one intersection vertex.
std::pair<size_t, size_t> countCrossingPairs(Case c) {
  if (!withCrossing(c)) return std::make_pair(0, 0);
  const Inputs& in(inputs());
  const auto orient = [](const Point2& a, const Point2& b, const Point2& q) {
    const double det((b.x() - a.x()) * (q.y() - a.y()) - (b.y() - a.y()) * (q.x() - a.x()));
    return (det > 0) - (det < 0);
  };
  const auto cross = [&](const Segment2& s0, const Segment2& s1) {
    return orient(s0.getSrc(), s0.getTrg(), s1.getSrc()) * orient(s0.getSrc(), s0.getTrg(), s1.getTrg()) < 0 &&
           orient(s1.getSrc(), s1.getTrg(), s0.getSrc()) * orient(s1.getSrc(), s1.getTrg(), s0.getTrg()) < 0;
  };
  std::pair<size_t, size_t> numPairs(0, 0);
  for (size_t i = 0; i < in.vCrossing.size(); ++i) {
    for (size_t j = i + 1; j < in.vCrossing.size(); ++j) numPairs.first += cross(in.vCrossing[i], in.vCrossing[j]);
    for (const Segment2& edge : in.vPolygon) numPairs.second += cross(in.vCrossing[i], edge);
  }
  return numPairs;
}

// ----- Our side -----

Zarn_2D* makeZarnWithPoints() {
  Zarn_2D* pDt(new Zarn_2D(static_cast<unsigned int>(kNumPoints)));
  pDt->insert(inputs().vPoints);
  return pDt;
}

// createConstraint takes its vector by non-const reference, hence the copies (made untimed).
void insertZarnConstraints(Zarn_2D& dt, Case c, std::vector<Segment2>& vPolygon, std::vector<Segment2>& vCrossing) {
  const ConstraintInsertionStrategy cis(c == CASE_CONFORMING ? CIS_CONFORMING_DELAUNAY : CIS_CONSTRAINED_DELAUNAY);
  dt.createConstraint(vPolygon, cis, true);
  if (withCrossing(c)) dt.createConstraint(vCrossing, cis, false);
  dt.applyConstraintsAndZones();
}

// Every alive constraint piece must be an edge of the triangulation.
size_t countMissingConstraintEdges(Zarn_2D& dt) {
  std::vector<ConstraintSegment2*> vAlive;
  dt.getAliveConstraintSegments(vAlive);
  size_t numMissing(0);
  for (ConstraintSegment2* pCSeg : vAlive) {
    if (dt.getAdjacentTriangle(pCSeg->getSrc(), pCSeg->getTrg()) == nullptr &&
        dt.getAdjacentTriangle(pCSeg->getTrg(), pCSeg->getSrc()) == nullptr) {
      ++numMissing;
    }
  }
  return numMissing;
}

struct Counts {
  size_t verticesBefore = 0, verticesAfter = 0, triangles = 0, constraintEdges = 0;
  bool bValid = false;
  double ms = 0.0;
};

double msSince(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

Counts buildZarnOnce(Case c, bool bCheck) {
  Counts counts;
  std::vector<Segment2> vPolygon(inputs().vPolygon), vCrossing(inputs().vCrossing);
  const auto start(std::chrono::steady_clock::now());
  Zarn_2D* pDt(makeZarnWithPoints());
  counts.verticesBefore = pDt->numberOfPoints();
  insertZarnConstraints(*pDt, c, vPolygon, vCrossing);
  counts.ms = msSince(start);
  counts.verticesAfter = pDt->numberOfPoints();
  counts.triangles = pDt->numberOfTriangles();
  std::vector<ConstraintSegment2*> vAlive;
  pDt->getAliveConstraintSegments(vAlive);
  counts.constraintEdges = vAlive.size();
  if (bCheck) {
    const size_t numMissing(countMissingConstraintEdges(*pDt));
    if (numMissing > 0) std::cout << "  zarn: " << numMissing << " constraint pieces are not edges" << std::endl;
    counts.bValid = pDt->checkValidity(true, kCaseNames[c]) && numMissing == 0;
  }
  delete pDt;
  return counts;
}

void BM_Zarn(benchmark::State& state) {
  const Case c(static_cast<Case>(state.range(0)));
  for (auto _ : state) {
    state.PauseTiming();
    std::vector<Segment2> vPolygon(inputs().vPolygon), vCrossing(inputs().vCrossing);
    state.ResumeTiming();
    Zarn_2D* pDt(makeZarnWithPoints());
    insertZarnConstraints(*pDt, c, vPolygon, vCrossing);
    benchmark::DoNotOptimize(pDt->numberOfTriangles());
    state.PauseTiming();
    delete pDt;
    state.ResumeTiming();
  }
  state.SetLabel(kCaseNames[c]);
}

// ----- CGAL -----

#ifdef ZARN_HAVE_CGAL
struct CgalInputs {
  std::vector<CgalKernel::Point_2> vPoints;
  std::vector<CgalKernel::Segment_2> vPolygon, vCrossing;
};

const CgalInputs& cgalInputs() {
  static const CgalInputs in([] {
    CgalInputs ci;
    const auto convert = [](const Point2& p) { return CgalKernel::Point_2(p.x(), p.y()); };
    for (const Point2& p : inputs().vPoints) ci.vPoints.push_back(convert(p));
    for (const Segment2& s : inputs().vPolygon) ci.vPolygon.emplace_back(convert(s.getSrc()), convert(s.getTrg()));
    for (const Segment2& s : inputs().vCrossing) ci.vCrossing.emplace_back(convert(s.getSrc()), convert(s.getTrg()));
    return ci;
  }());
  return in;
}

CgalCdt* makeCgalWithPoints() {
  CgalCdt* pCdt(new CgalCdt());
  pCdt->insert(cgalInputs().vPoints.begin(), cgalInputs().vPoints.end());
  return pCdt;
}

void insertCgalConstraints(CgalCdt& cdt, Case c) {
  const CgalInputs& in(cgalInputs());
  cdt.insert_constraints(in.vPolygon.begin(), in.vPolygon.end());
  if (withCrossing(c)) cdt.insert_constraints(in.vCrossing.begin(), in.vCrossing.end());
}

Counts buildCgalOnce(Case c, bool bCheck) {
  Counts counts;
  const auto start(std::chrono::steady_clock::now());
  CgalCdt* pCdt(makeCgalWithPoints());
  counts.verticesBefore = pCdt->number_of_vertices();
  insertCgalConstraints(*pCdt, c);
  counts.ms = msSince(start);
  counts.verticesAfter = pCdt->number_of_vertices();
  counts.triangles = pCdt->number_of_faces();
  for (auto it = pCdt->finite_edges_begin(); it != pCdt->finite_edges_end(); ++it) {
    if (pCdt->is_constrained(*it)) ++counts.constraintEdges;
  }
  if (bCheck) counts.bValid = pCdt->is_valid();
  delete pCdt;
  return counts;
}

void BM_CGAL(benchmark::State& state) {
  const Case c(static_cast<Case>(state.range(0)));
  for (auto _ : state) {
    CgalCdt* pCdt(makeCgalWithPoints());
    insertCgalConstraints(*pCdt, c);
    benchmark::DoNotOptimize(pCdt->number_of_faces());
    state.PauseTiming();
    delete pCdt;
    state.ResumeTiming();
  }
  state.SetLabel(kCaseNames[c]);
}
#endif

// ----- Reports -----

void printCounts(const char* who, const Counts& counts, size_t numNewEnds, const char* splitName) {
  const long numIntersections(static_cast<long>(counts.verticesAfter) - static_cast<long>(counts.verticesBefore) -
                              static_cast<long>(numNewEnds));
  std::printf("  %-5s vertices %zu -> %zu, triangles %zu, constraint edges %zu, %s vertices %ld, %s, %.1f ms\n", who,
              counts.verticesBefore, counts.verticesAfter, counts.triangles, counts.constraintEdges, splitName, numIntersections,
              counts.bValid ? "valid" : "INVALID", counts.ms);
}

// Builds every case once, untimed by the benchmark, and compares the results. Returns false on
// an invalid triangulation or a count mismatch.
bool checkCases() {
  bool bAllGood(true);
  for (Case c : {CASE_CROSSING, CASE_POLYGON, CASE_CONFORMING}) {
    const size_t numNewEnds(countNewEndpoints(c));
    const char* const splitName(c == CASE_CONFORMING ? "split" : "intersection");
    const std::pair<size_t, size_t> numPairs(countCrossingPairs(c));
    std::cout << "\n" << kCaseNames[c] << " (" << numNewEnds << " new endpoint vertices; crossing pairs of input segments: "
              << numPairs.first << " among the random ones, " << numPairs.second << " with the polygon)" << std::endl;
    const Counts zarn(buildZarnOnce(c, true));
    printCounts("zarn", zarn, numNewEnds, splitName);
    bAllGood = bAllGood && zarn.bValid;
#ifdef ZARN_HAVE_CGAL
    if (c == CASE_CONFORMING) continue;
    const Counts cgal(buildCgalOnce(c, true));
    printCounts("cgal", cgal, numNewEnds, splitName);
    const bool bAgree(zarn.verticesAfter == cgal.verticesAfter && zarn.triangles == cgal.triangles &&
                      zarn.constraintEdges == cgal.constraintEdges);
    std::cout << "  counts " << (bAgree ? "agree" : "DIFFER") << std::endl;
    bAllGood = bAllGood && cgal.bValid && bAgree;
#endif
  }
  std::cout << std::endl;
  return bAllGood;
}

void registerAll() {
  for (Case c : {CASE_CROSSING, CASE_POLYGON, CASE_CONFORMING}) {
    benchmark::RegisterBenchmark("Zarn/Constraints", BM_Zarn)->Arg(c)->Unit(benchmark::kMillisecond)->UseRealTime()
        ->Iterations(1)->Repetitions(kRepetitions)->ReportAggregatesOnly(true);
#ifdef ZARN_HAVE_CGAL
    if (c == CASE_CONFORMING) continue;
    benchmark::RegisterBenchmark("CGAL/Constraints", BM_CGAL)->Arg(c)->Unit(benchmark::kMillisecond)->UseRealTime()
        ->Iterations(1)->Repetitions(kRepetitions)->ReportAggregatesOnly(true);
#endif
  }
}

// Collects the median real times so the ratios can be printed after the run.
class RatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& vRuns) override {
    for (const Run& run : vRuns) {
      if (run.run_type == Run::RT_Aggregate && run.aggregate_name != "median") continue;
      mTimes[run.report_label][run.benchmark_name().find("CGAL") == 0 ? 1 : 0] = run.GetAdjustedRealTime();
    }
    ConsoleReporter::ReportRuns(vRuns);
  }
  void printRatios() const {
    std::cout << "\nPoints and constraints (median of " << kRepetitions << ")   Zarn [ms]   CGAL [ms]   Zarn/CGAL" << std::endl;
    for (const auto& entry : mTimes) {
      const double zarn(entry.second[0]), cgal(entry.second[1]);
      if (cgal > 0) {
        std::printf("%-35s %10.1f %11.1f %11.3f\n", entry.first.c_str(), zarn, cgal, zarn / cgal);
      } else {
        std::printf("%-35s %10.1f %11s %11s\n", entry.first.c_str(), zarn, "-", "-");
      }
    }
  }

 private:
  std::map<std::string, double[2]> mTimes;
};

int runForProfile(const std::string& who, const std::string& caseName, int numRuns) {
  const std::map<std::string, Case> mCases{{"crossing", CASE_CROSSING}, {"polygon", CASE_POLYGON}, {"conforming", CASE_CONFORMING}};
  const auto it(mCases.find(caseName));
  if (it == mCases.end() || numRuns < 1 || (who != "zarn" && who != "cgal")) {
    std::cerr << "usage: --run zarn|cgal crossing|polygon|conforming N" << std::endl;
    return 1;
  }
  for (int run = 0; run < numRuns; ++run) {
    double ms(0.0);
    if (who == "zarn") {
      ms = buildZarnOnce(it->second, false).ms;
    } else {
#ifdef ZARN_HAVE_CGAL
      if (it->second == CASE_CONFORMING) {
        std::cerr << "CGAL runs the constrained cases only" << std::endl;
        return 1;
      }
      ms = buildCgalOnce(it->second, false).ms;
#else
      std::cerr << "built without CGAL" << std::endl;
      return 1;
#endif
    }
    std::printf("%s %s: %.1f ms\n", who.c_str(), caseName.c_str(), ms);
  }
  return 0;
}

}  // namespace

#ifdef ZARN_HAVE_CGAL
// The median of the build times of one library alone, after one untimed build: its allocator's
// memory is then warm, which the interleaved runs above do not guarantee (each library's runs
// follow the other's, whose memory the system may have taken back in between).
double warmAloneMedian(bool bZarn, Case c) {
  constexpr int kWarmBuilds = 4;
  std::vector<double> vMs;
  for (int build = 0; build <= kWarmBuilds; ++build) {
    const double ms(bZarn ? buildZarnOnce(c, false).ms : buildCgalOnce(c, false).ms);
    if (build > 0) vMs.push_back(ms);
  }
  std::sort(vMs.begin(), vMs.end());
  return 0.5 * (vMs[kWarmBuilds / 2 - 1] + vMs[kWarmBuilds / 2]);
}

void printWarmAloneRatios() {
  std::cout << "\nEach library alone and warm (median of 4)  Zarn [ms]   CGAL [ms]   Zarn/CGAL" << std::endl;
  for (Case c : {CASE_CROSSING, CASE_POLYGON}) {
    const double zarn(warmAloneMedian(true, c)), cgal(warmAloneMedian(false, c));
    std::printf("%-42s %9.1f %11.1f %11.3f\n", kCaseNames[c], zarn, cgal, zarn / cgal);
  }
}
#endif

int main(int argc, char** argv) {
  if (argc == 5 && std::strcmp(argv[1], "--run") == 0) return runForProfile(argv[2], argv[3], std::stoi(argv[4]));
  const bool bGood(checkCases());
  registerAll();
  benchmark::Initialize(&argc, argv);
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  reporter.printRatios();
#ifdef ZARN_HAVE_CGAL
  printWarmAloneRatios();
#endif
  benchmark::Shutdown();
  if (!bGood) std::cout << "\nWARNING: a check above failed (invalid triangulation or differing counts)" << std::endl;
  return bGood ? 0 : 2;
}
