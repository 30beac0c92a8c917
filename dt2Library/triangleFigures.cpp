// Printing of the figures of a set of triangles.
#include "triangleFigures.h"

#include <ostream>

namespace KORA_ZARN2D {

void printFigures(std::ostream& out, const TriangleFigures& figures) {
  if (figures.numTriangles == 0) return;
  out << "  area:      " << figures.area << std::endl;
  out << "  edge length min/mean/max: " << figures.minEdge << " / " << figures.meanEdge << " / " << figures.maxEdge << std::endl;
  out << "  interior angle min/max (degrees): " << figures.minAngleDegree << " / " << figures.maxAngleDegree << std::endl;
}

}  // namespace KORA_ZARN2D
