#pragma once

#include <string>
#include <vector>

#include "Circle2.h"
#include "Color.h"
#include "Label.h"
#include "Point2.h"
#include "Segment2.h"
#include "Triangle2.h"

namespace KORA_ZARN2D {

/// Collects points, segments, triangles, circles and labels and writes them as a PostScript page
/// or as an SVG drawing, scaled uniformly to fit the page with a margin.
///
/// Geometry is copied when it is added, so a triangle may be deleted by the triangulation
/// afterwards without harm. Colours carry the stroke width in points; triangles and circles can be
/// filled with a light tint of their colour, points are drawn as small discs whose radius is given
/// in points. Drawing order, bottom to top: triangle fills, triangle outlines, circles, segments,
/// points, labels. Input with a null pointer or a non-finite coordinate is reported with a
/// warning and ignored. Memory grows linearly with the content; writing is linear too.
class ZARN2D_EXPORT Visualizer2 {
 public:
  Visualizer2();

  /// One point drawn as a disc of the given radius in points (a non-positive radius: 1.2).
  void addPoint(const Point2& point, const Color& color = Color(CBLACK), double radius = 1.2);
  /// Each point as addPoint; null pointers are skipped with a warning.
  void addPoints(const std::vector<Point2*>& vPoints, const Color& color = Color(CBLACK), double radius = 1.2);
  void addPoints(const std::vector<Point2>& vPoints, const Color& color = Color(CBLACK), double radius = 1.2);
  /// A straight segment from a to b.
  void addSegment(const Point2& a, const Point2& b, const Color& color = Color(CBLACK));
  void addSegment(const Segment2& segment, const Color& color = Color(CBLACK));
  void addSegments(const std::vector<Segment2>& vSegments, const Color& color = Color(CBLACK));
  /// A triangle outline in the given colour, filled with its light tint when bFill is set.
  /// A null triangle or one with a null corner is skipped with a warning.
  void addTriangle(const Triangle2* pTriangle, const Color& color = Color(CDARKBLUE, 0.3), bool bFill = true);
  void addTriangles(const std::vector<Triangle2*>& vTriangles, const Color& color = Color(CDARKBLUE, 0.3),
                    bool bFill = true);
  /// A circle (radius in model units), optionally filled with a light tint of its colour.
  void addCircle(const Circle2& circle, const Color& color = Color(CBLUE), bool bFill = false);
  /// A text; its position counts for the extent of the drawing, its length does not.
  void addLabel(const Label& label);

  std::size_t numPoints() const { return vPoints.size(); }
  std::size_t numSegments() const { return vSegments.size(); }
  std::size_t numTriangles() const { return vTriangles.size(); }
  std::size_t numCircles() const { return vCircles.size(); }
  std::size_t numLabels() const { return vLabels.size(); }
  /// Removes all content.
  void clear();

  /// Writes an SVG drawing when the file name ends in ".svg" (any case), else PostScript.
  /// Returns false with a warning when the file cannot be written.
  bool write(const std::string& filename) const;
  /// Writes one A4 PostScript page with the content centred. Empty content gives a valid empty
  /// page; a drawing of a single position is centred at scale 1. False with a warning when the
  /// file cannot be written.
  bool writePostscript(const std::string& filename) const;
  /// Writes an SVG drawing at the same scale as the PostScript page, sized to the content plus
  /// the margin. Failure handling as writePostscript.
  bool writeSvg(const std::string& filename) const;

  /// Records of the copied geometry, in model coordinates; public so that the page writers of the
  /// implementation can read them, not meant for host programs.
  struct DrawnPoint {
    double x, y, radius;
    Color color;
  };
  struct DrawnSegment {
    double x0, y0, x1, y1;
    Color color;
  };
  struct DrawnTriangle {
    double aX[3], aY[3];
    Color color;
    bool bFill;
  };
  struct DrawnCircle {
    double x, y, radius;
    Color color;
    bool bFill;
  };

 private:
  bool writeFile(const std::string& filename, bool bSvg) const;

  std::vector<DrawnPoint> vPoints;
  std::vector<DrawnSegment> vSegments;
  std::vector<DrawnTriangle> vTriangles;
  std::vector<DrawnCircle> vCircles;
  std::vector<Label> vLabels;
};

}  // namespace KORA_ZARN2D
