// Inserting constraint segments with the constrained and the conforming strategy: exact crossings
// on a grid (in one call, in several, one per segment in both orders) and at extreme scales, the
// messages, and the frozen regression inputs of tests/inputs. Every mutation is followed by the library's validity check and the exact oracle of
// cdt_test_support.h; the seeded adversarial families live in test_adversarial.cpp.

#include <cstdlib>
#include <filesystem>
#include <limits>

#include "cdt_test_support.h"
#include "test_support.h"

using namespace KORA_ZARN2D;
using namespace cdttest;
using zarn_test::captureStdout;
using zarn_test::warned;

namespace {

const char* const kGivingUp = "Double precision arithmetic does not allow to split a segment further, giving up. Incorrect result!";

class ConstraintInsertion : public ::testing::TestWithParam<ConstraintInsertionStrategy> {};
INSTANTIATE_TEST_SUITE_P(BothStrategies, ConstraintInsertion, ::testing::Values(CIS_CONSTRAINED_DELAUNAY, CIS_CONFORMING_DELAUNAY),
                         [](const ::testing::TestParamInfo<ConstraintInsertionStrategy>& info) {
                           return std::string(info.param == CIS_CONSTRAINED_DELAUNAY ? "Constrained" : "Conforming");
                         });

// Grid lines and diagonals on an integer grid: every crossing is an integer or half-integer point,
// so every piece lies exactly on its segment. In one call, in calls of 20 and one call per segment
// in both orders, the result passes the oracle after every few calls, and (constrained) the new
// vertices are exactly the crossings that are not grid points.
TEST_P(ConstraintInsertion, GridLinesAndDiagonalsInOneOrManyCallsSplitAtTheirExactCrossings) {
  const int n(12);
  const std::vector<Point2> vPoints(dt2test::gridPoints(n, n));
  std::mt19937 rng(116);
  std::uniform_int_distribution<int> coord(0, n - 1);
  std::vector<Segment2> vSegments;
  while (vSegments.size() < 60) {
    const int x0(coord(rng)), y0(coord(rng)), kind(static_cast<int>(vSegments.size() % 4)), len(coord(rng) + 1);
    const int x1(x0 + (kind == 1 ? 0 : len)), y1(y0 + (kind == 0 ? 0 : kind == 3 ? -len : len));
    if (x1 < n && y1 >= 0 && y1 < n) vSegments.emplace_back(Point2(x0, y0), Point2(x1, y1));
  }
  std::set<std::pair<double, double>> sWant;
  for (const Point2& p : vPoints) sWant.insert(std::make_pair(p.x(), p.y()));
  for (size_t i = 0; i < vSegments.size(); ++i) {
    for (size_t j = i + 1; j < vSegments.size(); ++j) {
      const Segment2 &s(vSegments[i]), &t(vSegments[j]);
      if (!closedSegmentsMeet(s.getSrc(), s.getTrg(), t.getSrc(), t.getTrg())) continue;
      const Point2 p(roundedIntersection(s, t));  // a grid point when they overlap
      sWant.insert(std::make_pair(p.x(), p.y()));
    }
  }
  ASSERT_GT(sWant.size(), vPoints.size());
  for (int callSize : {60, 20, 1, -1}) {  // -1: one per segment, last first
    SCOPED_TRACE("calls of " + std::to_string(callSize));
    std::vector<Segment2> vOrder(vSegments);
    if (callSize < 0) std::reverse(vOrder.begin(), vOrder.end());
    Zarn_2D dt;
    dt.insert(vPoints);
    for (size_t i = 0, step = std::abs(callSize); i < vOrder.size(); i += step) {
      EXPECT_EQ(create(dt, std::vector<Segment2>(vOrder.begin() + i, vOrder.begin() + i + step), GetParam()), "");
      if (i % 20 == 0 || i + step == vOrder.size()) {
        ASSERT_TRUE(validCdt(dt, vPoints, std::vector<Segment2>(vOrder.begin(), vOrder.begin() + i + step), 0.0)) << i;
      }
    }
    // The oracle has found every crossing a vertex (pieces lie exactly on their lines); the constrained
    // strategy adds no other.
    EXPECT_TRUE(dt.numberOfPoints() == sWant.size() || (GetParam() == CIS_CONFORMING_DELAUNAY && dt.numberOfPoints() > sWant.size()));
  }
}

// Two crossing segments at scales from 2^-500 to 2^500 (half of them nearly parallel, some far
// from the origin): the crossing vertex is the exact intersection rounded to nearest.
TEST(ConstrainedInsertion, CrossingVertexIsTheRoundedExactIntersection) {
  std::mt19937_64 rng(105);
  std::uniform_real_distribution<double> unit(-0.9, 0.9);
  for (int i = 0; i < 200; ++i) {
    const double s(std::ldexp(1.0, static_cast<int>(rng() % 1001) - 500)), cx(i % 3 == 0 ? 1e5 * s * unit(rng) : 0.0);
    const double d(i % 2 == 0 ? 1e-12 : 0.5), ya0(unit(rng)), ya1(unit(rng));
    const Segment2 a(Point2(cx - s, s * ya0), Point2(cx + s, s * ya1));
    const Segment2 b(Point2(cx - s, s * (ya0 + d)), Point2(cx + s, s * (ya1 - d)));
    Zarn_2D dt;
    create(dt, {a, b}, CIS_CONSTRAINED_DELAUNAY);
    const Point2 want(roundedIntersection(a, b));
    EXPECT_NE(vertexAt(dt, want.x(), want.y()), nullptr) << i;
    EXPECT_EQ(dt.numberOfPoints(), 5u) << i;
  }
}

// ----- Messages ----------------------------------------------------------------------------------

TEST(ConstraintMessages, CollinearPointsEmptyListsAndNonFiniteSegments) {
  const std::string notYet(warned("Zarn2D::applyConstraintsAndZones()", "The triangulation is not 2D yet, can't apply the constraints"));
  Zarn_2D line;
  for (int i = 0; i < 5; ++i) line.insert(Point2(i, -i));
  create(line, {Segment2(Point2(0, 0), Point2(4, -4))}, CIS_CONSTRAINED_DELAUNAY);
  EXPECT_EQ(captureStdout([&] { line.applyConstraintsAndZones(); }), notYet);
  ASSERT_EQ(allSegments(line).size(), 1u);
  EXPECT_TRUE(allSegments(line)[0]->isAlive());  // not split at the vertices on it yet
  Zarn_2D empty;
  EXPECT_EQ(captureStdout([&] { empty.applyConstraintsAndZones(); }), notYet);

  const double inf(std::numeric_limits<double>::infinity()), nan(std::numeric_limits<double>::quiet_NaN());
  const std::vector<Point2> vPoints(dt2test::randomPoints(40, 118));
  Zarn_2D dt;
  dt.insert(vPoints);
  ConstraintGraph2* pGraph(reinterpret_cast<ConstraintGraph2*>(&dt));
  EXPECT_EQ(create(dt, {}, CIS_CONSTRAINED_DELAUNAY, &pGraph),
            warned("Zarn_2D::createConstraint()", "You have not supplied any segments. Returning NULL!"));
  EXPECT_EQ(pGraph, nullptr);
  const std::vector<Segment2> vValid{Segment2(Point2(0.1, 0.1), Point2(0.9, 0.8)), Segment2(Point2(0.1, 0.9), Point2(0.8, 0.2))};
  EXPECT_EQ(create(dt, {Segment2(Point2(nan, 0.5), Point2(0.5, 0.5)), vValid[0], Segment2(Point2(0.2, 0.3), Point2(0.4, inf)), vValid[1],
                        Segment2(Point2(-inf, -inf), Point2(0.3, 0.3))},
                   CIS_CONSTRAINED_DELAUNAY, &pGraph),
            warned("Dt2::createConstraint(..)", "3 segment(s) with a non-finite coordinate skipped"));
  ASSERT_TRUE(validCdt(dt, vPoints, vValid));
  EXPECT_EQ(originals(pGraph).size(), 2u);
  EXPECT_EQ(vertexAt(dt, 0.5, 0.5), nullptr);  // the finite end of a skipped segment is no vertex
}

// ----- Frozen regression inputs ------------------------------------------------------------------

/// One case of tests/inputs (the format is described in tests/inputs/README.md), read and run with
/// each of its strategies.
void runInputCase(const std::string& path) {
  std::vector<ConstraintInsertionStrategy> vStrategies;
  std::vector<Point2> vPoints, vLater, vExpectedVertices;
  std::vector<std::string> vSays;
  std::vector<std::vector<Segment2>> vCalls{{}};
  double maxUlps(8.0);
  bool bQuiet(false), bNoGivingUp(false);
  long numVertices(-1), numPieces(-1);
  std::istringstream lines(zarn_test::readFile(path));
  std::string line, word, text;
  while (std::getline(lines, line)) {
    std::istringstream in(line);
    double x0, y0, x1, y1;
    if (!(in >> word) || word[0] == '#') continue;
    if (word == "strategy") {
      while (in >> word) vStrategies.push_back(word == "conforming" ? CIS_CONFORMING_DELAUNAY : CIS_CONSTRAINED_DELAUNAY);
    } else if ((word == "point" || word == "vertex" || word == "later") && in >> x0 >> y0) {
      (word == "point" ? vPoints : word == "later" ? vLater : vExpectedVertices).emplace_back(x0, y0);
    } else if (word == "segment" && in >> x0 >> y0 >> x1 >> y1) {
      vCalls.back().emplace_back(Point2(x0, y0), Point2(x1, y1));
    } else if (word == "says" && std::getline(in >> std::ws, text)) {
      vSays.push_back(text);
    } else if (word == "batch") {
      vCalls.emplace_back();
    } else if (word == "quiet" || word == "no") {
      (word == "quiet" ? bQuiet : bNoGivingUp) = true;
    } else if (!((word == "ulps" && in >> maxUlps) || (word == "vertices" && in >> numVertices) || (word == "pieces" && in >> numPieces))) {
      ADD_FAILURE() << path << ": cannot read the line '" << line << "'";
    }
  }
  ASSERT_FALSE(vStrategies.empty()) << path;
  for (ConstraintInsertionStrategy cis : vStrategies) {
    SCOPED_TRACE(cis == CIS_CONSTRAINED_DELAUNAY ? "constrained" : "conforming");
    Zarn_2D dt;
    dt.insert(vPoints);
    std::vector<Segment2> vSoFar;
    std::string allOut;
    for (const std::vector<Segment2>& vCall : vCalls) {
      vSoFar.insert(vSoFar.end(), vCall.begin(), vCall.end());
      const std::string out(create(dt, vCall, cis));
      allOut += out;
      EXPECT_TRUE((!bQuiet || out.empty()) && (!bNoGivingUp || zarn_test::countOf(out, kGivingUp) == 0)) << out;
      if (dt.is2D()) {
        ASSERT_TRUE(validCdt(dt, vPoints, vSoFar, maxUlps));
      }
    }
    if (vLater.size() == 1) dt.insert(vLater[0]);
    if (vLater.size() > 1) dt.insert(vLater);
    ASSERT_TRUE(validCdt(dt, dt2test::concat(vPoints, vLater), vSoFar, maxUlps));
    EXPECT_TRUE(numVertices < 0 || dt.numberOfPoints() == static_cast<size_t>(numVertices)) << dt.numberOfPoints();
    EXPECT_TRUE(numPieces < 0 || aliveSegments(dt).size() == static_cast<size_t>(numPieces)) << aliveSegments(dt).size();
    for (const Point2& p : vExpectedVertices) EXPECT_NE(vertexAt(dt, p.x(), p.y()), nullptr) << p;
    for (const std::string& said : vSays) EXPECT_NE(allOut.find("[Zarn2D-Message] " + said + "\n"), std::string::npos) << allOut;
    // Applying again finds every piece in place: nothing to say, nothing to add.
    const size_t numPoints(dt.numberOfPoints());
    EXPECT_EQ(captureStdout([&] { dt.applyConstraintsAndZones(); }), "");
    EXPECT_EQ(dt.numberOfPoints(), numPoints);
  }
}

TEST(RegressionInputs, EveryFileStaysValid) {
  size_t numFiles(0);
  for (const auto& entry : std::filesystem::directory_iterator(ZARN_TEST_INPUTS)) {
    if (entry.path().extension() != ".cdt") continue;
    ++numFiles;
    SCOPED_TRACE(entry.path().filename().string());
    runInputCase(entry.path().string());
  }
  EXPECT_GE(numFiles, 17u);
}

}  // namespace
