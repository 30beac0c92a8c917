// Debug drawings: PostScript pages and SVG pictures of points, segments, triangles, circles, labels.
#include "Visualizer2.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <fstream>
#include <limits>
#include <locale>
#include <sstream>

#include "freeFunctions.h"

namespace KORA_ZARN2D {

namespace {

// A4 portrait in PostScript points, and the white border kept around the drawing.
const double kPageWidth(595.0);
const double kPageHeight(842.0);
const double kMargin(36.0);
const double kDefaultPointRadius(1.2);
// Fill tints: triangles stay light so that their outlines and the points on top remain readable.
const double kTriangleTint(0.85);
const double kCircleTint(0.75);

bool isFinite(double x, double y) { return std::isfinite(x) && std::isfinite(y); }

// The model-coordinate box of everything drawn.
struct Extent {
  double minX = std::numeric_limits<double>::max();
  double minY = std::numeric_limits<double>::max();
  double maxX = -std::numeric_limits<double>::max();
  double maxY = -std::numeric_limits<double>::max();

  void add(double x, double y) {
    minX = std::min(minX, x);
    minY = std::min(minY, y);
    maxX = std::max(maxX, x);
    maxY = std::max(maxY, y);
  }
  bool isEmpty() const { return minX > maxX; }
};

// Maps model coordinates to page coordinates (points, y upwards). One uniform scale fits the
// extent into the printable area; a zero range in one direction is ignored for the scale, and a
// single position (or no content) gets scale 1, so nothing divides by zero.
class PageFrame {
 public:
  explicit PageFrame(const Extent& extent) {
    const Extent box(extent.isEmpty() ? singlePointExtent() : extent);
    scale = fitScale(box);
    drawingWidth = (box.maxX - box.minX) * scale;
    drawingHeight = (box.maxY - box.minY) * scale;
    minX = box.minX;
    minY = box.minY;
  }

  // Places the drawing centred on a page of the given size.
  void placeOnPage(double width, double height) {
    pageWidth = width;
    pageHeight = height;
  }
  double x(double modelX) const { return (pageWidth - drawingWidth) * 0.5 + (modelX - minX) * scale; }
  double y(double modelY) const { return (pageHeight - drawingHeight) * 0.5 + (modelY - minY) * scale; }
  double length(double modelLength) const { return modelLength * scale; }
  double getDrawingWidth() const { return drawingWidth; }
  double getDrawingHeight() const { return drawingHeight; }
  double getPageWidth() const { return pageWidth; }
  double getPageHeight() const { return pageHeight; }

 private:
  static Extent singlePointExtent() {
    Extent box;
    box.add(0.0, 0.0);
    return box;
  }
  static double fitScale(const Extent& box) {
    const double rangeX(box.maxX - box.minX);
    const double rangeY(box.maxY - box.minY);
    double fit(std::numeric_limits<double>::infinity());
    if (rangeX > 0.0) fit = std::min(fit, (kPageWidth - 2.0 * kMargin) / rangeX);
    if (rangeY > 0.0) fit = std::min(fit, (kPageHeight - 2.0 * kMargin) / rangeY);
    return std::isfinite(fit) ? fit : 1.0;
  }

  double scale = 1.0;
  double minX = 0.0;
  double minY = 0.0;
  double drawingWidth = 0.0;
  double drawingHeight = 0.0;
  double pageWidth = kPageWidth;
  double pageHeight = kPageHeight;
};

// The drawing primitives in page coordinates (y upwards). Each output format implements them.
class PageWriter {
 public:
  explicit PageWriter(std::ostream& out_) : out(out_) {}
  virtual ~PageWriter() = default;
  virtual void begin(const PageFrame& frame) = 0;
  virtual void fillTriangle(const double* aX, const double* aY, const Color& fill) = 0;
  virtual void strokeTriangle(const double* aX, const double* aY, const Color& stroke) = 0;
  virtual void segment(double x0, double y0, double x1, double y1, const Color& stroke) = 0;
  virtual void disc(double x, double y, double radius, const Color& fill) = 0;
  virtual void circle(double x, double y, double radius, const Color& stroke, const Color* pFill) = 0;
  virtual void text(double x, double y, const std::string& text, const Color& color, double size) = 0;
  virtual void end() = 0;

 protected:
  std::ostream& out;
};

// PostScript Level 1. Short procedures keep the file small: one primitive per line.
class PostscriptWriter : public PageWriter {
 public:
  using PageWriter::PageWriter;

  void begin(const PageFrame& frame) override {
    out << "%!PS-Adobe-3.0\n"
        << "%%Creator: Zarn2D Visualizer2\n"
        << "%%BoundingBox: 0 0 " << static_cast<int>(std::ceil(frame.getPageWidth())) << " "
        << static_cast<int>(std::ceil(frame.getPageHeight())) << "\n"
        << "%%Pages: 1\n"
        << "%%EndComments\n"
        << "/T { newpath moveto lineto lineto closepath stroke } bind def\n"
        << "/TF { newpath moveto lineto lineto closepath setrgbcolor fill } bind def\n"
        << "/S { 4 2 roll newpath moveto lineto stroke } bind def\n"
        << "/D { newpath 0 360 arc fill } bind def\n"
        << "/C { newpath 0 360 arc stroke } bind def\n"
        << "/CF { newpath 0 360 arc gsave setrgbcolor fill grestore stroke } bind def\n"
        << "%%Page: 1 1\n"
        << "1 setlinejoin 1 setlinecap\n";
  }
  void fillTriangle(const double* aX, const double* aY, const Color& fill) override {
    out << rgb(fill) << " ";
    writeCorners(aX, aY);
    out << " TF\n";
    bColorKnown = false;  // TF sets the fill colour as the current colour
  }
  void strokeTriangle(const double* aX, const double* aY, const Color& stroke) override {
    setStroke(stroke);
    writeCorners(aX, aY);
    out << " T\n";
  }
  void segment(double x0, double y0, double x1, double y1, const Color& stroke) override {
    setStroke(stroke);
    out << x0 << " " << y0 << " " << x1 << " " << y1 << " S\n";
  }
  void disc(double x, double y, double radius, const Color& fill) override {
    setColor(fill);
    out << x << " " << y << " " << radius << " D\n";
  }
  void circle(double x, double y, double radius, const Color& stroke, const Color* pFill) override {
    setStroke(stroke);
    if (pFill) {
      out << rgb(*pFill) << " " << x << " " << y << " " << radius << " CF\n";
    } else {
      out << x << " " << y << " " << radius << " C\n";
    }
  }
  void text(double x, double y, const std::string& label, const Color& color, double size) override {
    setColor(color);
    out << "/Helvetica findfont " << size << " scalefont setfont " << x << " " << y << " moveto ("
        << escape(label) << ") show\n";
  }
  void end() override { out << "showpage\n%%EOF\n"; }

 private:
  static std::string rgb(const Color& c) {
    std::ostringstream s;
    s.imbue(std::locale::classic());
    s << c.getR() << " " << c.getG() << " " << c.getB();
    return s.str();
  }
  // PostScript strings: backslash, parentheses and non-printable bytes are escaped (octal).
  static std::string escape(const std::string& label) {
    std::string result;
    for (unsigned char c : label) {
      if (c == '(' || c == ')' || c == '\\') {
        result += '\\';
        result += static_cast<char>(c);
      } else if (c < 32 || c > 126) {
        const char aOctal[] = {'\\', static_cast<char>('0' + (c >> 6)), static_cast<char>('0' + ((c >> 3) & 7)),
                               static_cast<char>('0' + (c & 7))};
        result.append(aOctal, 4);
      } else {
        result += static_cast<char>(c);
      }
    }
    return result;
  }
  void writeCorners(const double* aX, const double* aY) {
    out << aX[0] << " " << aY[0] << " " << aX[1] << " " << aY[1] << " " << aX[2] << " " << aY[2];
  }
  void setColor(const Color& color) {
    if (bColorKnown && color.getR() == current.getR() && color.getG() == current.getG() &&
        color.getB() == current.getB())
      return;
    out << rgb(color) << " setrgbcolor\n";
    current = Color(color.getR(), color.getG(), color.getB(), current.getWidth());
    bColorKnown = true;
  }
  void setStroke(const Color& stroke) {
    setColor(stroke);
    if (bWidthKnown && stroke.getWidth() == current.getWidth()) return;
    out << stroke.getWidth() << " setlinewidth\n";
    current.setWidth(stroke.getWidth());
    bWidthKnown = true;
  }

  Color current;
  bool bColorKnown = false;
  bool bWidthKnown = false;
};

// SVG 1.1; page coordinates are flipped because SVG's y axis points down.
class SvgWriter : public PageWriter {
 public:
  using PageWriter::PageWriter;

  void begin(const PageFrame& frame) override {
    height = frame.getPageHeight();
    out << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
        << "<svg xmlns=\"http://www.w3.org/2000/svg\" version=\"1.1\" width=\"" << frame.getPageWidth()
        << "\" height=\"" << height << "\" viewBox=\"0 0 " << frame.getPageWidth() << " " << height << "\">\n"
        << "<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n"
        << "<g stroke-linejoin=\"round\" stroke-linecap=\"round\">\n";
  }
  void fillTriangle(const double* aX, const double* aY, const Color& fill) override {
    writePolygon(aX, aY);
    out << " fill=\"" << fill.toHex() << "\" stroke=\"none\"/>\n";
  }
  void strokeTriangle(const double* aX, const double* aY, const Color& stroke) override {
    writePolygon(aX, aY);
    out << " fill=\"none\"" << strokeAttributes(stroke) << "/>\n";
  }
  void segment(double x0, double y0, double x1, double y1, const Color& stroke) override {
    out << "<line x1=\"" << x0 << "\" y1=\"" << flip(y0) << "\" x2=\"" << x1 << "\" y2=\"" << flip(y1) << "\""
        << strokeAttributes(stroke) << "/>\n";
  }
  void disc(double x, double y, double radius, const Color& fill) override {
    out << "<circle cx=\"" << x << "\" cy=\"" << flip(y) << "\" r=\"" << radius << "\" fill=\"" << fill.toHex()
        << "\"/>\n";
  }
  void circle(double x, double y, double radius, const Color& stroke, const Color* pFill) override {
    out << "<circle cx=\"" << x << "\" cy=\"" << flip(y) << "\" r=\"" << radius << "\" fill=\""
        << (pFill ? pFill->toHex() : std::string("none")) << "\"" << strokeAttributes(stroke) << "/>\n";
  }
  void text(double x, double y, const std::string& label, const Color& color, double size) override {
    out << "<text x=\"" << x << "\" y=\"" << flip(y) << "\" font-family=\"Helvetica, Arial, sans-serif\" font-size=\""
        << size << "\" fill=\"" << color.toHex() << "\">" << escape(label) << "</text>\n";
  }
  void end() override { out << "</g>\n</svg>\n"; }

 private:
  double flip(double y) const { return height - y; }
  void writePolygon(const double* aX, const double* aY) {
    out << "<polygon points=\"" << aX[0] << "," << flip(aY[0]) << " " << aX[1] << "," << flip(aY[1]) << " " << aX[2]
        << "," << flip(aY[2]) << "\"";
  }
  // A zero width means "thinnest possible" in PostScript; SVG would not draw it at all.
  static std::string strokeAttributes(const Color& stroke) {
    std::ostringstream s;
    s.imbue(std::locale::classic());
    s << " stroke=\"" << stroke.toHex() << "\" stroke-width=\"" << std::max(stroke.getWidth(), 0.1) << "\"";
    return s.str();
  }
  // XML character data: markup characters become entities, control characters are dropped.
  static std::string escape(const std::string& label) {
    std::string result;
    for (char c : label) {
      switch (c) {
        case '&': result += "&amp;"; break;
        case '<': result += "&lt;"; break;
        case '>': result += "&gt;"; break;
        case '"': result += "&quot;"; break;
        default:
          if (static_cast<unsigned char>(c) >= 32) result += c;
      }
    }
    return result;
  }

  double height = 0.0;
};

// Read-only view of a visualizer's content, handed to the layout and drawing helpers.
struct ContentView {
  const std::vector<Visualizer2::DrawnPoint>& vPoints;
  const std::vector<Visualizer2::DrawnSegment>& vSegments;
  const std::vector<Visualizer2::DrawnTriangle>& vTriangles;
  const std::vector<Visualizer2::DrawnCircle>& vCircles;
  const std::vector<Label>& vLabels;
};

Extent extentOf(const ContentView& content) {
  Extent extent;
  for (const Visualizer2::DrawnPoint& p : content.vPoints) extent.add(p.x, p.y);
  for (const Visualizer2::DrawnSegment& s : content.vSegments) {
    extent.add(s.x0, s.y0);
    extent.add(s.x1, s.y1);
  }
  for (const Visualizer2::DrawnTriangle& t : content.vTriangles) {
    for (int i = 0; i < 3; ++i) extent.add(t.aX[i], t.aY[i]);
  }
  for (const Visualizer2::DrawnCircle& c : content.vCircles) {
    extent.add(c.x - c.radius, c.y - c.radius);
    extent.add(c.x + c.radius, c.y + c.radius);
  }
  for (const Label& label : content.vLabels) extent.add(label.getPosition().x(), label.getPosition().y());
  return extent;
}

// Bottom to top: all triangle fills first, so that no fill covers a neighbour's outline.
void drawContent(const ContentView& content, const PageFrame& frame, PageWriter& writer) {
  for (const bool bFillPass : {true, false}) {
    for (const Visualizer2::DrawnTriangle& t : content.vTriangles) {
      const double aX[3] = {frame.x(t.aX[0]), frame.x(t.aX[1]), frame.x(t.aX[2])};
      const double aY[3] = {frame.y(t.aY[0]), frame.y(t.aY[1]), frame.y(t.aY[2])};
      if (!bFillPass) {
        writer.strokeTriangle(aX, aY, t.color);
      } else if (t.bFill) {
        writer.fillTriangle(aX, aY, t.color.lighter(kTriangleTint));
      }
    }
  }
  for (const Visualizer2::DrawnCircle& c : content.vCircles) {
    const Color fill(c.color.lighter(kCircleTint));
    writer.circle(frame.x(c.x), frame.y(c.y), frame.length(c.radius), c.color, c.bFill ? &fill : nullptr);
  }
  for (const Visualizer2::DrawnSegment& s : content.vSegments) {
    writer.segment(frame.x(s.x0), frame.y(s.y0), frame.x(s.x1), frame.y(s.y1), s.color);
  }
  for (const Visualizer2::DrawnPoint& p : content.vPoints) writer.disc(frame.x(p.x), frame.y(p.y), p.radius, p.color);
  for (const Label& label : content.vLabels) {
    writer.text(frame.x(label.getPosition().x()), frame.y(label.getPosition().y()), label.getText(), label.getColor(),
                label.getSize());
  }
}

bool hasSvgExtension(const std::string& filename) {
  if (filename.size() < 4) return false;
  std::string extension(filename.substr(filename.size() - 4));
  std::transform(extension.begin(), extension.end(), extension.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return extension == ".svg";
}

void warnIgnored(const char* where, const char* what) { reportWarning(where, std::string(what) + ", ignored"); }

}  // namespace

Visualizer2::Visualizer2() {}

void Visualizer2::addPoint(const Point2& point, const Color& color, double radius) {
  if (!isFinite(point.x(), point.y())) {
    warnIgnored("Visualizer2::addPoint()", "Non-finite coordinate");
    return;
  }
  const double safeRadius(std::isfinite(radius) && radius > 0.0 ? radius : kDefaultPointRadius);
  vPoints.push_back(DrawnPoint{point.x(), point.y(), safeRadius, color});
}

void Visualizer2::addPoints(const std::vector<Point2*>& vPointPtrs, const Color& color, double radius) {
  for (const Point2* pPoint : vPointPtrs) {
    if (pPoint == nullptr) {
      warnIgnored("Visualizer2::addPoints()", "Null point");
      continue;
    }
    addPoint(*pPoint, color, radius);
  }
}

void Visualizer2::addPoints(const std::vector<Point2>& vPointValues, const Color& color, double radius) {
  for (const Point2& point : vPointValues) addPoint(point, color, radius);
}

void Visualizer2::addSegment(const Point2& a, const Point2& b, const Color& color) {
  if (!isFinite(a.x(), a.y()) || !isFinite(b.x(), b.y())) {
    warnIgnored("Visualizer2::addSegment()", "Non-finite coordinate");
    return;
  }
  vSegments.push_back(DrawnSegment{a.x(), a.y(), b.x(), b.y(), color});
}

void Visualizer2::addSegment(const Segment2& segment, const Color& color) {
  addSegment(segment.getSrc(), segment.getTrg(), color);
}

void Visualizer2::addSegments(const std::vector<Segment2>& vSegmentValues, const Color& color) {
  for (const Segment2& segment : vSegmentValues) addSegment(segment, color);
}

void Visualizer2::addTriangle(const Triangle2* pTriangle, const Color& color, bool bFill) {
  const char* const where("Visualizer2::addTriangle()");
  if (pTriangle == nullptr) {
    warnIgnored(where, "Null triangle");
    return;
  }
  DrawnTriangle drawn{{0.0, 0.0, 0.0}, {0.0, 0.0, 0.0}, color, bFill};
  for (int i = 0; i < 3; ++i) {
    const Point2* pCorner(pTriangle->getCorner(i));
    if (pCorner == nullptr) {
      warnIgnored(where, "Triangle with a null corner");
      return;
    }
    if (!isFinite(pCorner->x(), pCorner->y())) {
      warnIgnored(where, "Non-finite coordinate");
      return;
    }
    drawn.aX[i] = pCorner->x();
    drawn.aY[i] = pCorner->y();
  }
  vTriangles.push_back(drawn);
}

void Visualizer2::addTriangles(const std::vector<Triangle2*>& vTrianglePtrs, const Color& color, bool bFill) {
  for (const Triangle2* pTriangle : vTrianglePtrs) addTriangle(pTriangle, color, bFill);
}

void Visualizer2::addCircle(const Circle2& circle, const Color& color, bool bFill) {
  const Point2 center(circle.getCenter());
  const double radius(circle.getRadius());
  if (!isFinite(center.x(), center.y()) || !std::isfinite(radius)) {
    warnIgnored("Visualizer2::addCircle()", "Non-finite circle");
    return;
  }
  vCircles.push_back(DrawnCircle{center.x(), center.y(), radius, color, bFill});
}

void Visualizer2::addLabel(const Label& label) {
  if (!isFinite(label.getPosition().x(), label.getPosition().y())) {
    warnIgnored("Visualizer2::addLabel()", "Non-finite coordinate");
    return;
  }
  vLabels.push_back(label);
}

void Visualizer2::clear() {
  vPoints.clear();
  vSegments.clear();
  vTriangles.clear();
  vCircles.clear();
  vLabels.clear();
}

bool Visualizer2::write(const std::string& filename) const { return writeFile(filename, hasSvgExtension(filename)); }

bool Visualizer2::writePostscript(const std::string& filename) const { return writeFile(filename, false); }

bool Visualizer2::writeSvg(const std::string& filename) const { return writeFile(filename, true); }

bool Visualizer2::writeFile(const std::string& filename, bool bSvg) const {
  const char* const where(bSvg ? "Visualizer2::writeSvg()" : "Visualizer2::writePostscript()");
  std::ofstream file(filename.c_str());
  if (!file) {
    reportWarning(where, "Can't write " + filename);
    return false;
  }
  file.imbue(std::locale::classic());
  file.setf(std::ios::fixed);
  file.precision(3);

  const ContentView content{vPoints, vSegments, vTriangles, vCircles, vLabels};
  PageFrame frame(extentOf(content));
  if (bSvg) frame.placeOnPage(frame.getDrawingWidth() + 2.0 * kMargin, frame.getDrawingHeight() + 2.0 * kMargin);
  PostscriptWriter postscriptWriter(file);
  SvgWriter svgWriter(file);
  PageWriter& writer(bSvg ? static_cast<PageWriter&>(svgWriter) : postscriptWriter);
  writer.begin(frame);
  drawContent(content, frame, writer);
  writer.end();
  file.close();
  if (!file) {
    reportWarning(where, "Can't write " + filename);
    return false;
  }
  return true;
}

}  // namespace KORA_ZARN2D
