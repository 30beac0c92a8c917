// Scenes of operations on one triangulation (bulk and single insertions, removals, constraint
// creation, apply), the executor that plays a scene with the exact oracle after every step, and a
// watchdog that runs cases in a child process so that a hang or a crash fails only that case.
// The seeded adversarial tests, the fuzzers and the frozen fuzz inputs share them.
#pragma once

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include "cdt_test_support.h"
#include "dt2_test_support.h"

namespace advtest {

using namespace KORA_ZARN2D;
using dt2test::ulpsAway;

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

/// The messages with which the library says that it left part of a constraint insertion undone.
inline bool reportsGivingUp(const std::string& out) {
  return out.find("Incorrect result!") != std::string::npos ||
         out.find("insufficient numeric accuracy, need to skip last insertions") != std::string::npos;
}

/// Applies one step to dt and keeps the expected points and user segments up to date.
inline void play(const Scene& scene, const Step& step, Zarn_2D& dt, std::vector<Point2>& vExpected, std::vector<Segment2>& vSegments) {
  switch (step.kind) {
    case Step::INSERT_BULK:
      dt.insert(step.vPoints);
      vExpected.insert(vExpected.end(), step.vPoints.begin(), step.vPoints.end());
      break;
    case Step::INSERT_ONE:
      if (step.vPoints.empty()) break;
      dt.insert(step.vPoints[0]);
      vExpected.push_back(step.vPoints[0]);
      break;
    case Step::REMOVE: {
      std::vector<Point2*> vVertices(dt2test::verticesOf(dt));
      if (vVertices.empty()) break;
      Point2* pVtx(vVertices[step.index % vVertices.size()]);
      const Point2 removed(pVtx->x(), pVtx->y());
      const unsigned numBefore(dt.numberOfPoints());
      dt.remove(pVtx);
      if (dt.numberOfPoints() == numBefore) break;
      vExpected.erase(std::remove_if(vExpected.begin(), vExpected.end(), [&](const Point2& p) { return dt2test::sameXY(p, removed); }),
                      vExpected.end());
      break;
    }
    case Step::CONSTRAIN: {
      std::vector<Segment2> vNew(step.vSegments);
      if (!vNew.empty()) dt.createConstraint(vNew, scene.cis, step.bOriented);
      vSegments.insert(vSegments.end(), step.vSegments.begin(), step.vSegments.end());
      break;
    }
    case Step::APPLY:
      dt.applyConstraintsAndZones();
  }
}

/// Plays the scene and checks the triangulation after each step: the library's own validity check
/// and the exact oracle of cdt_test_support.h. Returns an empty string or the first defect found.
/// Crossing vertices made from pieces of pieces drift from their user segment, more so in a cluster
/// of crossings, where the drift also depends on the order in which the pieces meet; that order
/// still varies with the memory layout (from 8.0 to 12.2 ulps in one scene of twelve segments
/// through nearly one point): hence a bound of 32 ulps.
inline std::string playAndCheck(const Scene& scene, double maxUlpsOffLine = 32.0) {
  Zarn_2D dt;
  std::vector<Point2> vExpected;
  std::vector<Segment2> vUserSegments;
  std::string out;
  for (size_t i = 0; i < scene.vSteps.size(); ++i) {
    const std::string where("step " + std::to_string(i));
    ::testing::internal::CaptureStdout();
    try {
      play(scene, scene.vSteps[i], dt, vExpected, vUserSegments);
    } catch (const std::exception& e) {
      return where + " threw: " + e.what() + "\n" + ::testing::internal::GetCapturedStdout().substr(0, 2000);
    }
    out += ::testing::internal::GetCapturedStdout();
    if (!dt.is2D()) continue;
    const ::testing::AssertionResult library(dt2test::libraryCheckValidity(dt));
    if (!library) return where + ": " + library.message();
    cdttest::CdtCheckOptions options;
    options.maxUlpsOffLine = maxUlpsOffLine;
    options.bSkippedAllowed = out.find("segment(s) skipped, not inserted") != std::string::npos;
    const ::testing::AssertionResult exact(cdttest::isConstrainedDelaunay(dt, vExpected, vUserSegments, options));
    if (!exact) return where + (reportsGivingUp(out) ? " (after a reported give-up)" : "") + ": " + exact.message();
  }
  return std::string();
}

// ----- The watchdog ---------------------------------------------------------------------------

/// Runs body(i) for i in [0, numCases) in child processes, each case under a time limit, and
/// returns one line per failed case: its defect, a crash (signal) or a hang (time limit). A child
/// runs the cases one after another and reports each finished one; the case after the last one
/// reported killed it, and a new child goes on behind that case.
inline std::vector<std::string> runWatched(size_t numCases, unsigned secondsPerCase, const std::function<std::string(size_t)>& body) {
  std::vector<std::string> vFailures;
  for (size_t next = 0; next < numCases; ++next) {
    int fd[2];
    if (pipe(fd) != 0) return {"pipe() failed"};
    const pid_t pid(fork());
    if (pid == 0) {
      close(fd[0]);
      for (size_t i = next; i < numCases; ++i) {
        alarm(secondsPerCase);
        std::string defect;
        try {
          defect = body(i);
        } catch (const std::exception& e) {
          defect = std::string("exception: ") + e.what();
        }
        alarm(0);
        std::replace(defect.begin(), defect.end(), '\n', ' ');
        const std::string line(std::to_string(i) + (defect.empty() ? "" : " " + defect.substr(0, 1500)) + "\n");  // one atomic write
        if (write(fd[1], line.data(), line.size()) < 0) _exit(2);
      }
      _exit(0);
    }
    close(fd[1]);
    std::string text;
    char buffer[4096];
    for (ssize_t n; (n = read(fd[0], buffer, sizeof(buffer))) > 0;) text.append(buffer, static_cast<size_t>(n));
    close(fd[0]);
    int status(0);
    waitpid(pid, &status, 0);
    for (const std::string& line : zarn_test::splitLines(text)) {
      next = std::stoul(line) + 1;
      if (line.find(' ') != std::string::npos) vFailures.push_back("case " + line);
    }
    if (next == numCases) break;
    const bool bHang(WIFSIGNALED(status) && WTERMSIG(status) == SIGALRM);
    vFailures.push_back("case " + std::to_string(next) + (bHang ? " did not finish within " + std::to_string(secondsPerCase) + " s"
                                                                : " killed the process (status " + std::to_string(status) + ")"));
  }
  return vFailures;
}

/// Checks that runWatched found no failure, listing the failures (each cut to 600 characters) otherwise.
inline ::testing::AssertionResult noFailures(const std::vector<std::string>& vFailures) {
  if (vFailures.empty()) return ::testing::AssertionSuccess();
  ::testing::AssertionResult result(::testing::AssertionFailure() << vFailures.size() << " case(s) failed:");
  for (const std::string& failure : vFailures) result << "\n" << failure.substr(0, 600);
  return result;
}

}  // namespace advtest
