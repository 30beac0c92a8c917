// Figures of a set of triangles (area, edge lengths, angles) for the statistics printouts.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <iosfwd>
#include <vector>

#include "Triangle2.h"

namespace KORA_ZARN2D {

struct TriangleFigures {
  size_t numTriangles = 0;
  size_t numEdges = 0;  // undirected edges of the set
  double area = 0.0;
  double minEdge = 0.0, meanEdge = 0.0, maxEdge = 0.0;
  double minAngleDegree = 0.0, maxAngleDegree = 0.0;
};

/// The figures of vTriangles, where bMember(pT) tells whether a neighbour belongs to the set (an
/// edge to a non-member counts once, an inner edge once from its lower-address triangle).
/// One pass, O(n).
template <typename IsMember>
TriangleFigures computeFigures(const std::vector<Triangle2*>& vTriangles, IsMember isMember) {
  TriangleFigures f;
  f.numTriangles = vTriangles.size();
  if (vTriangles.empty()) return f;
  f.minEdge = f.minAngleDegree = HUGE_VAL;
  for (const Triangle2* pT : vTriangles) {
    f.area += pT->getArea2D();
    for (int i = 0; i < 3; ++i) {
      const double angle(pT->getInteriorAngle2D(i) * 180.0 / M_PI);
      f.minAngleDegree = std::min(f.minAngleDegree, angle);
      f.maxAngleDegree = std::max(f.maxAngleDegree, angle);
      const Triangle2* pN(pT->getOppositeTriangle(i));
      if (pN != nullptr && pN < pT && isMember(pN)) continue;  // counted from pN
      const double len(pT->getEdgeLength(i));  // no overflow near the largest double
      f.minEdge = std::min(f.minEdge, len);
      f.maxEdge = std::max(f.maxEdge, len);
      ++f.numEdges;
      // A running mean: a sum could overflow. An edge longer than the largest double makes it infinite.
      if (std::isfinite(f.meanEdge)) f.meanEdge += (len - f.meanEdge) / static_cast<double>(f.numEdges);
    }
  }
  return f;
}

/// Prints the area, edge-length and angle lines of the figures (nothing for an empty set).
void printFigures(std::ostream& out, const TriangleFigures& figures);

}  // namespace KORA_ZARN2D
