// --stats of the zarn2d tool: counts, an angle histogram and quality figures of the triangles
// shown, computed so that no coordinate range (up to the largest finite double) breaks them.
#include <algorithm>
#include <cmath>
#include <functional>
#include <set>
#include <iomanip>
#include <memory>
#include <sstream>

#include "toolRun.h"

using namespace KORA_ZARN2D;

namespace {

constexpr int kHistogramBins = 18;  // 10 degrees each

/// The vector from a to b; where the difference overflows, half of it (directions and angles are
/// all that is read from such a vector).
void difference(const Point2& a, const Point2& b, double& dx, double& dy) {
  dx = b.x() - a.x();
  dy = b.y() - a.y();
  if (std::isfinite(dx) && std::isfinite(dy)) return;
  dx = b.x() * 0.5 - a.x() * 0.5;
  dy = b.y() * 0.5 - a.y() * 0.5;
}

/// The interior angle at corner i in degrees, from directions scaled to at most 1: no overflow.
double angleAt(const Triangle2& t, int i) {
  double ux(0.0), uy(0.0), vx(0.0), vy(0.0);
  difference(*t.getCorner(i), *t.getCorner((i + 1) % 3), ux, uy);
  difference(*t.getCorner(i), *t.getCorner((i + 2) % 3), vx, vy);
  const double su(std::max(std::fabs(ux), std::fabs(uy))), sv(std::max(std::fabs(vx), std::fabs(vy)));
  if (!(su > 0.0) || !(sv > 0.0)) return std::nan("");
  ux /= su, uy /= su, vx /= sv, vy /= sv;
  return std::atan2(std::fabs(ux * vy - uy * vx), ux * vx + uy * vy) * 180.0 / M_PI;
}

struct Figures {
  size_t numTriangles = 0, numEdges = 0;
  double area = 0.0, minArea = HUGE_VAL, maxArea = 0.0;
  double minEdge = HUGE_VAL, maxEdge = 0.0;
  double minAngle = HUGE_VAL, maxAngle = 0.0;
  size_t aHistogram[kHistogramBins] = {};
};

/// Adds the triangle's figures; an edge between two region triangles (sRegion) is counted once.
void addTriangle(const Triangle2& t, const std::set<const Triangle2*>& sRegion, Figures& f) {
  ++f.numTriangles;
  double ux(0.0), uy(0.0), vx(0.0), vy(0.0);
  difference(*t.getCorner(0), *t.getCorner(1), ux, uy);
  difference(*t.getCorner(0), *t.getCorner(2), vx, vy);
  const double area(0.5 * std::fabs(ux * vy - uy * vx));
  f.area += area;
  f.minArea = std::min(f.minArea, area);
  f.maxArea = std::max(f.maxArea, area);
  for (int i = 0; i < 3; ++i) {
    const double angle(angleAt(t, i));
    if (std::isfinite(angle)) {
      f.minAngle = std::min(f.minAngle, angle);
      f.maxAngle = std::max(f.maxAngle, angle);
      ++f.aHistogram[std::min(kHistogramBins - 1, static_cast<int>(angle / 10.0))];
    }
    const Triangle2* pN(t.getOppositeTriangle(i));
    if (pN != nullptr && std::less<const Triangle2*>()(pN, &t) && sRegion.count(pN) != 0) continue;  // each inner edge once
    ++f.numEdges;
    difference(*t.getCorner((i + 1) % 3), *t.getCorner((i + 2) % 3), ux, uy);
    const double length(std::hypot(ux, uy));
    f.minEdge = std::min(f.minEdge, length);
    f.maxEdge = std::max(f.maxEdge, length);
  }
}

std::string formatFigures(ToolRun& run, const Figures& f) {
  std::vector<ConstraintSegment2*> vPieces;
  run.dt.getAliveConstraintSegments(vPieces);
  std::ostringstream out;
  out << std::setprecision(6) << "Statistics:\n  vertices: " << run.dt.numberOfPoints() << ", triangles: " << f.numTriangles
      << ", edges: " << f.numEdges << ", constraint pieces: " << vPieces.size();
  if (f.numTriangles == 0) return out.str() + " (no triangles: the points are collinear)";
  out << "\n  area: " << f.area << ", triangle area min/max: " << f.minArea << " / " << f.maxArea
      << "\n  edge length min/max: " << f.minEdge << " / " << f.maxEdge << "\n  angle min/max: " << f.minAngle << " / " << f.maxAngle
      << " degrees; worst circumradius-to-shortest-edge ratio: " << 0.5 / std::sin(f.minAngle * M_PI / 180.0)
      << "\n  Angle histogram (all three angles of every triangle):";
  for (int row = 0; row < kHistogramBins / 2; ++row) {
    out << "\n";
    for (int bin : {row, row + kHistogramBins / 2}) {
      out << "    " << std::setw(3) << 10 * bin << " - " << std::setw(3) << 10 * (bin + 1) << " degrees: " << std::setw(10) << f.aHistogram[bin];
    }
  }
  return out.str();
}

}  // namespace

void printStatistics(ToolRun& run) {
  std::vector<Triangle2*> vTriangles;
  run.getRegionTriangles(vTriangles);
  Figures figures;
  const std::set<const Triangle2*> sRegion(vTriangles.begin(), vTriangles.end());
  for (const Triangle2* pT : vTriangles) addTriangle(*pT, sRegion, figures);
  run.console.log(formatFigures(run, figures));
}

ToolExtension makeStatisticsExtension() {
  std::shared_ptr<bool> pEnabled(std::make_shared<bool>(false));
  ToolExtension extension;
  extension.options.heading = "Statistics";
  extension.options.vOptions.push_back(flagOption("--stats", 'V', *pEnabled,
                                                  "print counts, area, edge lengths, the smallest and largest angle,\n"
                                                  "the worst circumradius-to-shortest-edge ratio and an angle histogram"));
  extension.report = [pEnabled](ToolRun& run) {
    if (*pEnabled) printStatistics(run);
    return true;
  };
  return extension;
}
