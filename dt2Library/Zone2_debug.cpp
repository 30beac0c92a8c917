// Zone2::debug: a picture and a short report of a zone, for finding out why a zone is not what
// one expected (which graphs bound it, in which direction they run, where a grown zone starts).
#include <iostream>
#include <string>
#include <vector>

#include "Dt2.h"
#include "Label.h"
#include "Visualizer2.h"
#include "Zone2.h"
#include "ZoneSearch.h"
#include "tools.h"

namespace KORA_ZARN2D {

namespace {

const NamedColor kGraphColors[] = {CRED, CBLUE, CGREEN, CORANGE, CPURPLE, CBROWN, CPINK};

bool endsWith(const std::string& text, const std::string& suffix) {
  return text.size() >= suffix.size() && text.compare(text.size() - suffix.size(), suffix.size(), suffix) == 0;
}

/// The segment a->b with an arrowhead at b, a tenth of its length.
void addArrow(Visualizer2& vis, const Point2& a, const Point2& b, const Color& color) {
  vis.addSegment(a, b, color);
  const double dx(b.x() - a.x()), dy(b.y() - a.y());
  const Point2 back(b.x() - 0.1 * dx, b.y() - 0.1 * dy);
  vis.addSegment(b, Point2(back.x() - 0.05 * dy, back.y() + 0.05 * dx), color);
  vis.addSegment(b, Point2(back.x() + 0.05 * dy, back.y() - 0.05 * dx), color);
}

/// The outlines of the triangles shifted by dx, with a caption above them.
void addShiftedOutlines(Visualizer2& vis, const std::vector<Triangle2*>& vTriangles, double dx, const Bbox2& box,
                        const std::string& caption, const Color& color) {
  for (const Triangle2* pT : vTriangles) {
    for (int i = 0; i < 3; ++i) {
      const Point2& a(*pT->getCorner(i));
      const Point2& b(*pT->getCorner(incIndexBy1(i)));
      vis.addSegment(Point2(a.x() + dx, a.y()), Point2(b.x() + dx, b.y()), color);
    }
  }
  vis.addLabel(Label(caption, box.get_minX() + dx, box.get_maxY(), color));
}

}  // namespace

void Zone2::debug(const std::string& name) {
  Visualizer2 vis;
  std::vector<Triangle2*> vAll, vZone;
  pDt->getTrianglePointers(vAll);
  getTriangles(vZone);
  vis.addTriangles(vAll, Color(CGREY, 0.5), false);
  vis.addTriangles(vZone, Color(CDARKBLUE, 0.3), true);
  for (size_t g = 0; g < vConstraintGraphs.size(); ++g) {
    const Color color(kGraphColors[g % (sizeof(kGraphColors) / sizeof(kGraphColors[0]))]);
    const ZoneSearch search(pDt, std::vector<ConstraintGraph2*>{vConstraintGraphs[g]});
    for (const ZoneSearch::Piece& piece : search.getPieces()) {
      const Triangle2* pT(piece.pLeft != nullptr ? piece.pLeft : piece.pRight);
      const int i(piece.pLeft != nullptr ? piece.leftIdx : piece.rightIdx);
      const Point2& a(*pT->getCorner(incIndexBy1(i)));
      const Point2& b(*pT->getCorner(incIndexBy2(i)));
      if (piece.pLeft != nullptr) {
        addArrow(vis, a, b, color);
      } else {
        addArrow(vis, b, a, color);  // seen from its right side, the piece runs the other way
      }
    }
  }
  vis.addPoints(vStartPoints, Color(CRED), 3.0);
  const Bbox2 box(pDt->computeBoundingBox());
  const double shift(1.2 * (box.get_maxX() - box.get_minX()));
  for (size_t k = 0; k < vInputZones.size(); ++k) {
    std::vector<Triangle2*> vOperand;
    vInputZones[k]->getTriangles(vOperand);
    addShiftedOutlines(vis, vOperand, shift * static_cast<double>(k + 1), box, "operand " + std::to_string(k),
                       Color(kGraphColors[k]));
  }
  const std::string filename(endsWith(name, ".svg") ? name : name + ".ps");
  vis.write(filename);  // warns itself when the file cannot be written
  double area(0.0);
  for (const Triangle2* pT : vZone) area += pT->getArea2D();
  std::cout << "Zone2::debug(" << name << "): zoneLoc=" << zoneLoc << ", " << vConstraintGraphs.size() << " constraint graph(s), "
            << vStartPoints.size() << " start point(s), " << vInputZones.size() << " operand(s), " << vZone.size()
            << " triangle(s), area " << area << ", picture " << filename << std::endl;
}

}  // namespace KORA_ZARN2D
