// Colours and labels of the debug drawings.
#include "Color.h"

#include <cmath>
#include <cstdio>

#include "Label.h"

namespace KORA_ZARN2D {

namespace {
double clampUnit(double value) {
  if (!(value > 0.0)) return 0.0;  // also maps NaN to 0
  return value < 1.0 ? value : 1.0;
}

double sanitizeWidth(double width) { return std::isfinite(width) && width > 0.0 ? width : 0.0; }

struct Rgb {
  double r, g, b;
};

// Chosen to stay distinguishable on white paper; yellow is darkened for that reason.
Rgb rgbOf(NamedColor namedColor) {
  switch (namedColor) {
    case CWHITE: return {1.0, 1.0, 1.0};
    case CRED: return {0.9, 0.0, 0.0};
    case CGREEN: return {0.0, 0.7, 0.0};
    case CBLUE: return {0.0, 0.0, 1.0};
    case CYELLOW: return {0.95, 0.8, 0.0};
    case CPINK: return {1.0, 0.4, 0.7};
    case CORANGE: return {1.0, 0.55, 0.0};
    case CGREY: return {0.5, 0.5, 0.5};
    case CLIGHTBLUE: return {0.45, 0.7, 1.0};
    case CDARKBLUE: return {0.0, 0.0, 0.55};
    case CPURPLE: return {0.5, 0.0, 0.5};
    case CBROWN: return {0.55, 0.3, 0.1};
    case CDARKGREEN: return {0.0, 0.4, 0.0};
    case CBLACK: break;
  }
  return {0.0, 0.0, 0.0};
}

int toByte(double component) { return static_cast<int>(std::lround(component * 255.0)); }

double sanitizeLabelSize(double size) { return std::isfinite(size) && size > 0.0 ? size : 8.0; }
}  // namespace

Color::Color() : r(0.0), g(0.0), b(0.0), width(0.5) {}

Color::Color(NamedColor namedColor, double width_) : width(sanitizeWidth(width_)) {
  const Rgb rgb(rgbOf(namedColor));
  r = rgb.r;
  g = rgb.g;
  b = rgb.b;
}

Color::Color(double r_, double g_, double b_, double width_)
    : r(clampUnit(r_)), g(clampUnit(g_)), b(clampUnit(b_)), width(sanitizeWidth(width_)) {}

void Color::setWidth(double width_) { width = sanitizeWidth(width_); }

Color Color::lighter(double amount) const {
  const double t(clampUnit(amount));
  return Color(r + (1.0 - r) * t, g + (1.0 - g) * t, b + (1.0 - b) * t, width);
}

std::string Color::toHex() const {
  char buffer[8];
  std::snprintf(buffer, sizeof(buffer), "#%02x%02x%02x", toByte(r), toByte(g), toByte(b));
  return buffer;
}

bool Color::operator==(const Color& other) const {
  return r == other.r && g == other.g && b == other.b && width == other.width;
}

Label::Label(const std::string& text_, const Point2& position_) : Label(text_, position_, Color(CBLACK)) {}

Label::Label(const std::string& text_, const Point2& position_, const Color& color_, double size_)
    : text(text_), position(position_), color(color_), size(sanitizeLabelSize(size_)) {}

Label::Label(const std::string& text_, double x, double y, const Color& color_, double size_)
    : Label(text_, Point2(x, y), color_, size_) {}

}  // namespace KORA_ZARN2D
