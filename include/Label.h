#pragma once

#include <string>

#include "Color.h"
#include "Point2.h"

namespace KORA_ZARN2D {

/// A text placed at a position of the drawing, for Visualizer2.
///
/// The position is in the drawing's (model) coordinates and marks the left end of the text's
/// baseline. The size is the font height in points on the output page. A size that is not
/// positive or not finite becomes the default 8.
class ZARN2D_EXPORT Label {
 public:
  /// A black 8-point label.
  Label(const std::string& text, const Point2& position);
  Label(const std::string& text, const Point2& position, const Color& color, double size = 8.0);
  Label(const std::string& text, double x, double y, const Color& color = Color(CBLACK), double size = 8.0);

  const std::string& getText() const { return text; }
  /// A copy of the position (carries no triangle pointer).
  const Point2& getPosition() const { return position; }
  const Color& getColor() const { return color; }
  double getSize() const { return size; }

 private:
  std::string text;
  Point2 position;
  Color color;
  double size;
};

}  // namespace KORA_ZARN2D
