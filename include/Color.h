#pragma once

#include <string>

#include "Zarn2D_common.h"

namespace KORA_ZARN2D {

/// Named colours for Visualizer2 drawings.
enum NamedColor {
  CBLACK,
  CWHITE,
  CRED,
  CGREEN,
  CBLUE,
  CYELLOW,
  CPINK,
  CORANGE,
  CGREY,
  CLIGHTBLUE,
  CDARKBLUE,
  CPURPLE,
  CBROWN,
  CDARKGREEN
};

/// An RGB colour with a line width, used by Visualizer2 and Label.
///
/// Components are doubles in [0, 1]; values outside are clamped (NaN becomes 0). The width is the
/// stroke width in points (1/72 inch) on the output page, independent of the drawing's scale;
/// a negative or non-finite width becomes 0, which draws the thinnest line the device can show.
class ZARN2D_EXPORT Color {
 public:
  /// Black, width 0.5.
  Color();
  /// A named colour; an unknown enum value gives black.
  explicit Color(NamedColor namedColor, double width = 0.5);
  /// An RGB colour, each component clamped to [0, 1].
  Color(double r, double g, double b, double width = 0.5);

  double getR() const { return r; }
  double getG() const { return g; }
  double getB() const { return b; }
  double getWidth() const { return width; }
  /// Sets the stroke width in points (sanitised as in the constructor).
  void setWidth(double width);
  /// This colour mixed with white: amount 0 keeps it, 1 gives white (amount clamped to [0, 1]).
  /// The width is kept. Used for the light fill of triangles and discs.
  Color lighter(double amount) const;
  /// "#rrggbb", components rounded to 0..255.
  std::string toHex() const;

  bool operator==(const Color& other) const;
  bool operator!=(const Color& other) const { return !(*this == other); }

 private:
  double r;
  double g;
  double b;
  double width;
};

}  // namespace KORA_ZARN2D
