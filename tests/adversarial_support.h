// Seeded adversarial scenes for constraint insertion, the executor that plays a scene on a
// triangulation with the exact oracle after every step, and a watchdog that runs cases in a child
// process so that a hang or a crash is reported as a failure of that case.
//
// A scene is a list of steps (bulk point insertion, single insertion, removal, constraint
// creation, apply). The same executor serves the seeded tests and the fuzzer of operation
// sequences.
#pragma once

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "cdt_test_support.h"
#include "dt2_test_support.h"

namespace advtest {

using namespace KORA_ZARN2D;

struct Step {
  enum Kind { INSERT_BULK, INSERT_ONE, REMOVE, CONSTRAIN, APPLY };
  Kind kind;
  std::vector<Point2> vPoints;      // INSERT_BULK, INSERT_ONE (the first point)
  std::vector<Segment2> vSegments;  // CONSTRAIN
  size_t index = 0;                 // REMOVE: the vertex index modulo the number of vertices
  bool bOriented = false;           // CONSTRAIN: keep the segments' directions
};

struct Scene {
  ConstraintInsertionStrategy cis = CIS_CONSTRAINED_DELAUNAY;
  std::vector<Step> vSteps;
};

inline Step bulk(std::vector<Point2> v) { return Step{Step::INSERT_BULK, std::move(v), {}}; }
inline Step constrain(std::vector<Segment2> v) { return Step{Step::CONSTRAIN, {}, std::move(v)}; }

/// The messages with which the library says that it left part of a constraint insertion undone.
inline bool reportsGivingUp(const std::string& out) {
  return out.find("Incorrect result!") != std::string::npos ||
         out.find("insufficient numeric accuracy, need to skip last insertions") != std::string::npos;
}

/// Plays the scene and checks the triangulation after each step: the library's own validity check
/// and the exact oracle of cdt_test_support.h. Returns an empty string or the first defect found.
inline std::string playAndCheck(const Scene& scene, double maxUlpsOffLine = 8.0) {
  Zarn_2D dt;
  std::vector<Point2> vExpected;
  std::vector<Segment2> vUserSegments;
  std::string out;
  for (size_t i = 0; i < scene.vSteps.size(); ++i) {
    const Step& step(scene.vSteps[i]);
    std::string stepOut;
    ::testing::internal::CaptureStdout();
    try {
      switch (step.kind) {
        case Step::INSERT_BULK:
          dt.insert(step.vPoints);
          vExpected.insert(vExpected.end(), step.vPoints.begin(), step.vPoints.end());
          break;
        case Step::INSERT_ONE:
          if (!step.vPoints.empty()) {
            dt.insert(step.vPoints[0]);
            vExpected.push_back(step.vPoints[0]);
          }
          break;
        case Step::REMOVE: {
          std::vector<Point2*> vVertices;
          dt.getVertexPointers(vVertices);
          if (vVertices.empty()) break;
          Point2* pVtx(vVertices[step.index % vVertices.size()]);
          const Point2 removed(pVtx->x(), pVtx->y());
          const unsigned numBefore(dt.numberOfPoints());
          dt.remove(pVtx);
          if (dt.numberOfPoints() != numBefore) {
            vExpected.erase(std::remove_if(vExpected.begin(), vExpected.end(), [&](const Point2& p) { return dt2test::sameXY(p, removed); }),
                            vExpected.end());
          }
          break;
        }
        case Step::CONSTRAIN: {
          std::vector<Segment2> vSegments(step.vSegments);
          if (!vSegments.empty()) dt.createConstraint(vSegments, scene.cis, step.bOriented);
          vUserSegments.insert(vUserSegments.end(), step.vSegments.begin(), step.vSegments.end());
          break;
        }
        case Step::APPLY:
          dt.applyConstraintsAndZones();
          break;
      }
    } catch (const std::exception& e) {
      stepOut = ::testing::internal::GetCapturedStdout();
      return "step " + std::to_string(i) + " threw: " + e.what() + "\n" + stepOut.substr(0, 2000);
    }
    stepOut = ::testing::internal::GetCapturedStdout();
    out += stepOut;
    if (!dt.is2D()) continue;
    const ::testing::AssertionResult library(dt2test::libraryCheckValidity(dt));
    if (!library) return "step " + std::to_string(i) + ": " + library.message();
    cdttest::CdtCheckOptions options;
    options.maxUlpsOffLine = maxUlpsOffLine;
    options.bSkippedAllowed = out.find("segment(s) skipped, not inserted") != std::string::npos;
    const ::testing::AssertionResult exact(cdttest::isConstrainedDelaunay(dt, vExpected, vUserSegments, options));
    if (!exact) {
      return "step " + std::to_string(i) + (reportsGivingUp(out) ? " (after a reported give-up)" : "") + ": " + exact.message();
    }
  }
  return std::string();
}

// ----- The watchdog ---------------------------------------------------------------------------

/// Runs body(i) for i in [0, numCases) in child processes, each case under a time limit, and
/// returns one line per failed case: its defect, a crash (signal) or a hang (time limit). A child
/// runs the cases one after another and is replaced after a case that killed it.
inline std::vector<std::string> runWatched(size_t numCases, unsigned secondsPerCase, const std::function<std::string(size_t)>& body) {
  std::vector<std::string> vFailures;
  size_t next(0);
  while (next < numCases) {
    int fd[2];
    if (pipe(fd) != 0) return {"pipe() failed"};
    const pid_t pid(fork());
    if (pid == 0) {
      close(fd[0]);
      for (size_t i = next; i < numCases; ++i) {
        const std::string start("S " + std::to_string(i) + "\n");
        if (write(fd[1], start.data(), start.size()) < 0) _exit(2);
        alarm(secondsPerCase);
        std::string defect;
        try {
          defect = body(i);
        } catch (const std::exception& e) {
          defect = std::string("exception: ") + e.what();
        }
        alarm(0);
        if (!defect.empty()) {
          std::replace(defect.begin(), defect.end(), '\n', ' ');
          const std::string line("F " + std::to_string(i) + " " + defect.substr(0, 1500) + "\n");
          if (write(fd[1], line.data(), line.size()) < 0) _exit(2);
        }
      }
      if (write(fd[1], "E\n", 2) < 0) _exit(2);
      _exit(0);
    }
    close(fd[1]);
    std::string text;
    char buffer[4096];
    for (ssize_t n; (n = read(fd[0], buffer, sizeof(buffer))) > 0;) text.append(buffer, static_cast<size_t>(n));
    close(fd[0]);
    int status(0);
    waitpid(pid, &status, 0);
    size_t current(next);
    bool bFinished(false);
    for (const std::string& line : dt2test::splitLines(text)) {
      if (line.rfind("S ", 0) == 0) current = std::stoul(line.substr(2));
      if (line.rfind("F ", 0) == 0) vFailures.push_back("case " + line.substr(2));
      if (line == "E") bFinished = true;
    }
    if (bFinished) break;
    const bool bHang(WIFSIGNALED(status) && WTERMSIG(status) == SIGALRM);
    vFailures.push_back("case " + std::to_string(current) + (bHang ? " did not finish within " + std::to_string(secondsPerCase) + " s"
                                                                   : " killed the process (status " + std::to_string(status) + ")"));
    next = current + 1;
  }
  return vFailures;
}

// ----- Generators -----------------------------------------------------------------------------

using Rng = std::mt19937_64;

inline double uniform(Rng& rng, double lo, double hi) { return std::uniform_real_distribution<double>(lo, hi)(rng); }
inline int uniformInt(Rng& rng, int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng); }

using dt2test::ulpsAway;

inline std::vector<Point2> randomPointsIn(Rng& rng, size_t n, double lo, double hi) {
  std::vector<Point2> v;
  for (size_t i = 0; i < n; ++i) {
    const double x(uniform(rng, lo, hi));
    v.emplace_back(x, uniform(rng, lo, hi));
  }
  return v;
}

/// The points in bulk, then the segments in one call.
inline Scene pointsAndSegments(std::vector<Point2> vPoints, std::vector<Segment2> vSegments) {
  Scene scene;
  scene.vSteps.push_back(bulk(std::move(vPoints)));
  scene.vSteps.push_back(constrain(std::move(vSegments)));
  return scene;
}

/// A few random points and the segments, as one scene.
inline Scene pointsThenSegments(Rng& rng, std::vector<Segment2> vSegments, double lo = 0.0, double hi = 1.0, size_t numPoints = 12) {
  return pointsAndSegments(randomPointsIn(rng, numPoints, lo, hi), std::move(vSegments));
}

/// Segments along one line whose ends lie within a few tens of ulps of it.
inline Scene nearlyCollinear(Rng& rng) {
  const double x0(uniform(rng, 0.0, 0.2)), y0(uniform(rng, 0.0, 1.0)), slope(uniform(rng, -2.0, 2.0));
  std::vector<Segment2> v;
  for (int i = uniformInt(rng, 3, 7); i > 0; --i) {
    const double xa(x0 + uniform(rng, 0.0, 0.5)), xb(xa + uniform(rng, 0.05, 0.5));
    v.emplace_back(Point2(xa, ulpsAway(y0 + slope * xa, uniformInt(rng, -30, 30))),
                   Point2(xb, ulpsAway(y0 + slope * xb, uniformInt(rng, -30, 30))));
  }
  return pointsThenSegments(rng, v, -1.0, 2.0);
}

/// Nearly horizontal segments a few 1e-12 apart, whose ends are shuffled so that they cross each
/// other at tiny angles.
inline Scene nearlyParallelBand(Rng& rng) {
  std::vector<Segment2> v;
  const double gap(std::ldexp(1.0, -uniformInt(rng, 30, 48)));
  for (int i = uniformInt(rng, 3, 10); i > 0; --i) {
    v.emplace_back(Point2(uniform(rng, 0.0, 0.1), 0.5 + gap * uniformInt(rng, -5, 5)),
                   Point2(uniform(rng, 0.9, 1.0), 0.5 + gap * uniformInt(rng, -5, 5)));
  }
  return pointsThenSegments(rng, v);
}

/// One long segment and a fan of short ones that cross it at tiny angles.
inline Scene fanAcrossLongSegment(Rng& rng) {
  std::vector<Segment2> v(1, Segment2(Point2(0.0, 0.5), Point2(1.0, 0.5 + uniform(rng, -1e-9, 1e-9))));
  const double rise(std::ldexp(1.0, -uniformInt(rng, 20, 45)));
  for (int i = uniformInt(rng, 3, 10); i > 0; --i) {
    const double xc(uniform(rng, 0.1, 0.9)), half(uniform(rng, 0.01, 0.2));
    v.emplace_back(Point2(xc - half, 0.5 - rise * uniform(rng, 0.5, 2.0)), Point2(xc + half, 0.5 + rise * uniform(rng, 0.5, 2.0)));
  }
  return pointsThenSegments(rng, v);
}

/// Segments that pass nearly through one point that is no double.
inline Scene nearlyThroughOnePoint(Rng& rng) {
  const double cx(uniform(rng, 0.3, 0.7)), cy(uniform(rng, 0.3, 0.7));
  std::vector<Segment2> v;
  for (int i = uniformInt(rng, 3, 14); i > 0; --i) {
    const double angle(uniform(rng, 0.0, M_PI)), r0(uniform(rng, 0.05, 0.3)), r1(uniform(rng, 0.05, 0.3));
    v.emplace_back(Point2(cx + r0 * std::cos(angle), cy + r0 * std::sin(angle)), Point2(cx - r1 * std::cos(angle), cy - r1 * std::sin(angle)));
  }
  return pointsThenSegments(rng, v);
}

inline Scene crossingStorm(Rng& rng) {
  std::vector<Segment2> v;
  for (int i = uniformInt(rng, 4, 16); i > 0; --i) {
    const std::vector<Point2> ends(randomPointsIn(rng, 2, 0.0, 1.0));
    v.emplace_back(ends[0], ends[1]);
  }
  return pointsThenSegments(rng, v);
}

/// Segments on one exact line (dyadic points of y = x / 2 or an axis), overlapping, duplicated and
/// reversed.
inline Scene collinearOverlapping(Rng& rng) {
  const int axis(uniformInt(rng, 0, 2));
  const auto at = [axis](int k) {
    const double t(k * 0.125);
    return axis == 0 ? Point2(t, 0.5) : (axis == 1 ? Point2(0.5, t) : Point2(t, 0.5 * t));
  };
  std::vector<Segment2> v;
  for (int i = uniformInt(rng, 3, 10); i > 0; --i) {
    const int a(uniformInt(rng, 0, 8)), b(uniformInt(rng, 0, 8));
    v.emplace_back(at(a), at(b));
    if (uniformInt(rng, 0, 3) == 0) v.emplace_back(at(b), at(a));
    if (uniformInt(rng, 0, 3) == 0) v.emplace_back(at(a), at(b));
  }
  return pointsThenSegments(rng, v, -0.5, 1.5);
}

/// A polyline through small random points with one vertex at a huge coordinate.
inline Scene polylineWithOneHugeCoordinate(Rng& rng) {
  std::vector<Point2> vRing(randomPointsIn(rng, static_cast<size_t>(uniformInt(rng, 4, 8)), 0.0, 10.0));
  const double huge(std::ldexp(uniform(rng, 0.5, 1.0), uniformInt(rng, 100, 1023)));
  Point2& pFar(vRing[static_cast<size_t>(uniformInt(rng, 0, static_cast<int>(vRing.size()) - 1))]);
  pFar = uniformInt(rng, 0, 1) == 0 ? Point2(huge, pFar.y()) : Point2(pFar.x(), -huge);
  std::vector<Segment2> v;
  for (size_t i = 0; i + 1 < vRing.size(); ++i) v.emplace_back(vRing[i], vRing[i + 1]);
  return pointsThenSegments(rng, v, 0.0, 10.0, 6);
}

/// A short segment next to a far away vertex: the vertex makes the triangles around the segment
/// long and thin.
inline Scene segmentNextToFarVertex(Rng& rng) {
  Scene scene(pointsThenSegments(rng, {}, 0.0, 1.0, 8));
  const double far(std::ldexp(1.0, uniformInt(rng, 20, 1000)));
  scene.vSteps[0].vPoints.emplace_back(far * uniform(rng, -1.0, 1.0), far);
  std::vector<Segment2> v;
  for (int i = uniformInt(rng, 1, 4); i > 0; --i) {
    const std::vector<Point2> ends(randomPointsIn(rng, 2, 0.0, 1.0));
    v.emplace_back(ends[0], ends[1]);
  }
  scene.vSteps[1].vSegments = v;
  return scene;
}

/// At a tiny scale (2^-1000 and below, still normal): segments through existing vertices.
inline Scene throughVertexAtTinyScale(Rng& rng) {
  const double unit(std::ldexp(1.0, -uniformInt(rng, 900, 1010)));
  std::vector<Point2> vPoints;
  for (int i = 0; i < 10; ++i) vPoints.emplace_back(unit * uniformInt(rng, 0, 8), unit * uniformInt(rng, 0, 8));
  std::vector<Segment2> v;
  for (int i = uniformInt(rng, 2, 6); i > 0; --i) {
    const Point2& mid(vPoints[static_cast<size_t>(uniformInt(rng, 0, 9))]);
    const int dx(uniformInt(rng, -3, 3)), dy(uniformInt(rng, -3, 3));
    v.emplace_back(Point2(mid.x() - dx * unit, mid.y() - dy * unit), Point2(mid.x() + dx * unit, mid.y() + dy * unit));
  }
  return pointsAndSegments(vPoints, v);
}

/// A dozen segments between small integer points.
inline Scene smallIntegerSegments(Rng& rng) {
  std::vector<Point2> vPoints;
  for (int i = 0; i < 6; ++i) vPoints.emplace_back(uniformInt(rng, -5, 5), uniformInt(rng, -5, 5));
  std::vector<Segment2> v;
  for (int i = 0; i < 12; ++i) v.emplace_back(Point2(uniformInt(rng, -5, 5), uniformInt(rng, -5, 5)), Point2(uniformInt(rng, -5, 5), uniformInt(rng, -5, 5)));
  return pointsAndSegments(vPoints, v);
}

/// Points and segments whose coordinates are small multiples of the smallest subnormal.
inline Scene subnormalCoordinates(Rng& rng) {
  const double unit(std::ldexp(1.0, -1074 + uniformInt(rng, 0, 40)));
  const auto point = [&] { return Point2(unit * uniformInt(rng, -60, 60), unit * uniformInt(rng, -60, 60)); };
  std::vector<Point2> vPoints;
  for (int i = 0; i < 8; ++i) vPoints.push_back(point());
  std::vector<Segment2> v;
  for (int i = uniformInt(rng, 2, 8); i > 0; --i) v.emplace_back(point(), point());
  return pointsAndSegments(vPoints, v);
}

/// Coordinates of wildly different magnitudes in one input, up to near the largest double.
inline Scene mixedExtremeScales(Rng& rng) {
  const auto coordinate = [&] {
    const int e(uniformInt(rng, 0, 3));
    const double scale(e == 0 ? std::ldexp(1.0, -uniformInt(rng, 500, 1070)) : (e == 1 ? 1.0 : (e == 2 ? 1e10 : DBL_MAX / 4)));
    return scale * uniform(rng, -4.0, 4.0);
  };
  const auto point = [&] { return Point2(coordinate(), coordinate()); };
  std::vector<Point2> vPoints;
  for (int i = 0; i < 10; ++i) vPoints.push_back(point());
  std::vector<Segment2> v;
  for (int i = uniformInt(rng, 1, 6); i > 0; --i) v.emplace_back(point(), point());
  return pointsAndSegments(vPoints, v);
}

/// Point insertions, removals, constraints (applied at once or later) and applies, interleaved.
inline Scene interleavedOperations(Rng& rng) {
  Scene scene;
  scene.vSteps.push_back(bulk(randomPointsIn(rng, 6, 0.0, 1.0)));
  for (int i = uniformInt(rng, 4, 12); i > 0; --i) {
    Step step{Step::INSERT_ONE, {}, {}};
    switch (uniformInt(rng, 0, 4)) {
      case 0:
        step.vPoints = randomPointsIn(rng, 1, 0.0, 1.0);
        break;
      case 1:
        step.kind = Step::INSERT_BULK;
        step.vPoints = randomPointsIn(rng, static_cast<size_t>(uniformInt(rng, 1, 8)), 0.0, 1.0);
        break;
      case 2:
        step.kind = Step::REMOVE;
        step.index = static_cast<size_t>(uniformInt(rng, 0, 1000));
        break;
      case 3:
        step.kind = Step::CONSTRAIN;
        step.bOriented = uniformInt(rng, 0, 1) == 0;
        for (int k = uniformInt(rng, 1, 4); k > 0; --k) {
          const std::vector<Point2> ends(randomPointsIn(rng, 2, 0.0, 1.0));
          step.vSegments.emplace_back(ends[0], ends[1]);
        }
        break;
      default:
        step.kind = Step::APPLY;
    }
    scene.vSteps.push_back(step);
  }
  return scene;
}

}  // namespace advtest
