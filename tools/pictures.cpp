// Pictures of a zarn2d run: PostScript and SVG drawings, and a self-contained HTML page with a 2D
// viewer (pan and zoom with the mouse). Constraint pieces are red, the region is filled, added
// (Steiner) vertices have their own colour. Above kMaxDrawnTriangles triangles a drawing thins
// the triangles out (said on the console) unless --window asks for a part.
#include <cmath>
#include <fstream>
#include <iomanip>
#include <memory>
#include <sstream>

#include "toolRun.h"

using namespace KORA_ZARN2D;

namespace {

constexpr size_t kMaxDrawnTriangles = 50000;

struct PictureSettings {
  std::string psFile, svgFile, htmlFile;
  bool bVertices = false;
  bool bWindow = false;
  double aWindow[4] = {0.0, 0.0, 0.0, 0.0};  // x0, y0, x1, y1
};

std::string parseWindow(const std::string& value, PictureSettings& s) {
  std::istringstream fields(value);
  std::string field;
  for (int i = 0; i < 4; ++i) {
    if (!std::getline(fields, field, ',') || !parseNumber(field, s.aWindow[i]).empty()) return "needs x0,y0,x1,y1 (four numbers), not \"" + value + "\"";
  }
  if (std::getline(fields, field) || !(s.aWindow[0] < s.aWindow[2]) || !(s.aWindow[1] < s.aWindow[3])) {
    return "needs x0,y0,x1,y1 with x0 < x1 and y0 < y1, not \"" + value + "\"";
  }
  s.bWindow = true;
  return "";
}

/// What a picture shows: triangles (those of the region filled), constraint pieces and, on
/// request, vertices; thinned or cut to the window as the settings say.
struct Scene {
  std::vector<const Triangle2*> vTriangles;
  std::vector<bool> vInRegion;
  std::vector<const ConstraintSegment2*> vPieces;
  std::vector<const Point2*> vInputVertices, vAddedVertices;
  size_t numTriangles = 0;  // before thinning
  size_t step = 1;          // every step-th triangle is drawn
};

bool touchesWindow(const PictureSettings& s, const Point2& a, const Point2& b, const Point2& c) {
  if (!s.bWindow) return true;
  const double minX(std::min({a.x(), b.x(), c.x()})), maxX(std::max({a.x(), b.x(), c.x()}));
  const double minY(std::min({a.y(), b.y(), c.y()})), maxY(std::max({a.y(), b.y(), c.y()}));
  return maxX >= s.aWindow[0] && minX <= s.aWindow[2] && maxY >= s.aWindow[1] && minY <= s.aWindow[3];
}

bool inWindow(const PictureSettings& s, const Point2& p) { return touchesWindow(s, p, p, p); }

Scene makeScene(ToolRun& run, const PictureSettings& s) {
  Scene scene;
  std::vector<Triangle2*> vAll, vRegion;
  run.dt.getTrianglePointers(vAll);
  if (run.pRegion != nullptr) run.pRegion->getTriangles(vRegion);
  // Region membership by a sorted copy: no mark of the triangulation is touched.
  std::sort(vRegion.begin(), vRegion.end());
  std::vector<const Triangle2*> vCandidates;
  for (const Triangle2* pT : vAll) {
    if (touchesWindow(s, *pT->getCorner(0), *pT->getCorner(1), *pT->getCorner(2))) vCandidates.push_back(pT);
  }
  scene.numTriangles = vCandidates.size();
  scene.step = (scene.numTriangles + kMaxDrawnTriangles - 1) / kMaxDrawnTriangles;
  if (scene.step == 0) scene.step = 1;
  for (size_t i = 0; i < vCandidates.size(); i += scene.step) {
    scene.vTriangles.push_back(vCandidates[i]);
    scene.vInRegion.push_back(run.pRegion == nullptr || std::binary_search(vRegion.begin(), vRegion.end(), vCandidates[i]));
  }
  std::vector<ConstraintSegment2*> vPieces;
  run.dt.getAliveConstraintSegments(vPieces);
  for (const ConstraintSegment2* pCSeg : vPieces) {
    if (touchesWindow(s, *pCSeg->getSrc(), *pCSeg->getTrg(), *pCSeg->getTrg())) scene.vPieces.push_back(pCSeg);
  }
  if (s.bVertices) {
    std::vector<Point2*> vVertices;
    run.dt.getVertexPointers(vVertices);
    const int numInput(static_cast<int>(run.input.vPoints.size()));
    for (const Point2* pV : vVertices) {
      if (!inWindow(s, *pV)) continue;
      (pV->getCustomIndex() >= 0 && pV->getCustomIndex() < numInput ? scene.vInputVertices : scene.vAddedVertices).push_back(pV);
    }
  }
  return scene;
}

void reportThinning(ToolRun& run, const Scene& scene, const std::string& filename) {
  if (scene.step <= 1) return;
  run.console.warn(filename + " shows 1 in " + std::to_string(scene.step) + " of " + std::to_string(scene.numTriangles) +
                   " triangles (more than " + std::to_string(kMaxDrawnTriangles) + "); --window x0,y0,x1,y1 draws a part in full");
}

const Color kAddedColor(CORANGE, 1.0);
const Color kConstraintColor(CRED, 1.0);

bool drawPage(ToolRun& run, const PictureSettings& s, const std::string& filename, bool bSvg) {
  const Scene scene(makeScene(run, s));
  reportThinning(run, scene, filename);
  Visualizer2 vis;
  for (size_t i = 0; i < scene.vTriangles.size(); ++i) {
    vis.addTriangle(scene.vTriangles[i], scene.vInRegion[i] ? Color(CDARKBLUE, 0.3) : Color(CGREY, 0.2), scene.vInRegion[i]);
  }
  for (const ConstraintSegment2* pCSeg : scene.vPieces) vis.addSegment(*pCSeg->getSrc(), *pCSeg->getTrg(), kConstraintColor);
  for (const Point2* pV : scene.vInputVertices) vis.addPoint(*pV, Color(CBLACK));
  for (const Point2* pV : scene.vAddedVertices) vis.addPoint(*pV, kAddedColor);
  return bSvg ? vis.writeSvg(filename) : vis.writePostscript(filename);
}

// ---------------------------------------------------------------------------------------------
// The HTML viewer: one file, inline SVG in model coordinates scaled to a 1000-unit box (so that
// no coordinate range breaks the browser), a small script for pan and zoom, and a legend.
// ---------------------------------------------------------------------------------------------

class PageCoordinates {
 public:
  explicit PageCoordinates(const Scene& scene) {
    for (const Triangle2* pT : scene.vTriangles) {
      for (int i = 0; i < 3; ++i) add(*pT->getCorner(i));
    }
    for (const ConstraintSegment2* pCSeg : scene.vPieces) add(*pCSeg->getSrc()), add(*pCSeg->getTrg());
    const double range(std::max(maxX - minX, maxY - minY));
    scale = range > 0.0 && std::isfinite(range) ? 1000.0 / range : 1.0;
    if (!std::isfinite(range)) scale = 1000.0 / (std::max(maxX * 0.5 - minX * 0.5, maxY * 0.5 - minY * 0.5) * 2.0);
  }
  /// "x,y" in page units, y pointing down.
  std::string operator()(const Point2& p) const {
    std::ostringstream text;
    text << std::fixed << std::setprecision(3) << (p.x() * 0.5 - minX * 0.5) * 2.0 * scale << "," << (maxY * 0.5 - p.y() * 0.5) * 2.0 * scale;
    return text.str();
  }

 private:
  void add(const Point2& p) {
    minX = std::min(minX, p.x()), maxX = std::max(maxX, p.x());
    minY = std::min(minY, p.y()), maxY = std::max(maxY, p.y());
  }
  double minX = HUGE_VAL, maxX = -HUGE_VAL, minY = HUGE_VAL, maxY = -HUGE_VAL, scale = 1.0;
};

const char* const kViewerScript = R"(
const svg = document.getElementById('view');
let box = svg.viewBox.baseVal;
let drag = null;
function toModel(ev) {
  const r = svg.getBoundingClientRect();
  const s = Math.max(box.width / r.width, box.height / r.height);
  return [box.x + (ev.clientX - r.left - (r.width - box.width / s) / 2) * s, box.y + (ev.clientY - r.top - (r.height - box.height / s) / 2) * s, s];
}
svg.addEventListener('wheel', ev => {
  ev.preventDefault();
  const [mx, my] = toModel(ev);
  const f = ev.deltaY < 0 ? 0.8 : 1.25;
  box.x = mx - (mx - box.x) * f; box.y = my - (my - box.y) * f;
  box.width *= f; box.height *= f;
  svg.style.setProperty('--w', (box.width / 1000).toString());
}, {passive: false});
svg.addEventListener('mousedown', ev => { drag = [ev.clientX, ev.clientY]; });
window.addEventListener('mouseup', () => { drag = null; });
window.addEventListener('mousemove', ev => {
  if (!drag) return;
  const [, , s] = toModel(ev);
  box.x -= (ev.clientX - drag[0]) * s; box.y -= (ev.clientY - drag[1]) * s;
  drag = [ev.clientX, ev.clientY];
});
document.getElementById('reset').addEventListener('click', () => {
  box.x = -20; box.y = -20; box.width = 1040; box.height = 1040; svg.style.setProperty('--w', '1');
});
)";

void writePath(std::ostream& out, const char* cssClass, const std::vector<std::string>& vParts) {
  out << "<path class=\"" << cssClass << "\" d=\"";
  for (const std::string& part : vParts) out << part;
  out << "\"/>\n";
}

bool writeHtml(ToolRun& run, const PictureSettings& s, const std::string& filename) {
  const Scene scene(makeScene(run, s));
  reportThinning(run, scene, filename);
  const PageCoordinates page(scene);
  std::vector<std::string> vRegion, vOther, vPieces;
  size_t numRegion(0);
  for (size_t i = 0; i < scene.vTriangles.size(); ++i) {
    const Triangle2& t(*scene.vTriangles[i]);
    (scene.vInRegion[i] ? vRegion : vOther).push_back("M" + page(*t.getCorner(0)) + "L" + page(*t.getCorner(1)) + "L" + page(*t.getCorner(2)) + "Z");
    numRegion += scene.vInRegion[i] ? 1 : 0;
  }
  for (const ConstraintSegment2* pCSeg : scene.vPieces) vPieces.push_back("M" + page(*pCSeg->getSrc()) + "L" + page(*pCSeg->getTrg()));
  std::ofstream out(filename);
  out << "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\"><title>zarn2d: " << run.dt.numberOfTriangles()
      << " triangles</title>\n<style>\nbody{margin:0;font:14px sans-serif;background:#fafafa}\n"
         "#view{width:100vw;height:100vh;cursor:grab;--w:1}\n"
         ".region{fill:#c8d8f0;stroke:#1f3f7f;stroke-width:calc(0.6px * var(--w));stroke-linejoin:round}\n"
         ".other{fill:none;stroke:#b0b0b0;stroke-width:calc(0.4px * var(--w))}\n"
         ".pieces{fill:none;stroke:#e00000;stroke-width:calc(1.5px * var(--w))}\n"
         ".input{fill:#000}.added{fill:#f08000}\n"
         "#legend{position:fixed;top:8px;left:8px;background:#fffe;border:1px solid #999;padding:6px 10px;border-radius:4px}\n"
         "#legend span{display:inline-block;width:12px;height:12px;margin-right:6px;vertical-align:middle}\n"
         "</style></head><body>\n<svg id=\"view\" viewBox=\"-20 -20 1040 1040\" preserveAspectRatio=\"xMidYMid meet\" "
         "xmlns=\"http://www.w3.org/2000/svg\">\n";
  writePath(out, "other", vOther);
  writePath(out, "region", vRegion);
  writePath(out, "pieces", vPieces);
  for (const auto& vertices : {std::make_pair("input", &scene.vInputVertices), std::make_pair("added", &scene.vAddedVertices)}) {
    for (const Point2* pV : *vertices.second) {
      const std::string xy(page(*pV));
      out << "<circle class=\"" << vertices.first << "\" cx=\"" << xy.substr(0, xy.find(',')) << "\" cy=\"" << xy.substr(xy.find(',') + 1)
          << "\" r=\"2\"/>\n";
    }
  }
  out << "</svg>\n<div id=\"legend\"><b>zarn2d</b> &mdash; wheel: zoom, drag: pan <button id=\"reset\">reset</button><br>\n"
      << "<span style=\"background:#c8d8f0;border:1px solid #1f3f7f\"></span>" << (run.pRegion != nullptr ? "region: " : "triangles: ")
      << numRegion << (scene.step > 1 ? " (1 in " + std::to_string(scene.step) + " of " + std::to_string(scene.numTriangles) + " shown)" : "")
      << "<br>\n";
  if (!vOther.empty()) out << "<span style=\"border:1px solid #b0b0b0\"></span>other triangles: " << vOther.size() << "<br>\n";
  out << "<span style=\"background:#e00000\"></span>constraint pieces: " << vPieces.size() << "<br>\n";
  if (s.bVertices) {
    out << "<span style=\"background:#000;border-radius:6px\"></span>input vertices: " << scene.vInputVertices.size() << "<br>\n"
        << "<span style=\"background:#f08000;border-radius:6px\"></span>added vertices: " << scene.vAddedVertices.size() << "<br>\n";
  }
  out << "</div>\n<script>" << kViewerScript << "</script>\n</body></html>\n";
  out.close();
  return bool(out);
}

bool writePictures(ToolRun& run, const PictureSettings& s) {
  bool bOk(true);
  if (!s.psFile.empty()) bOk &= writeOutput(run.console, s.psFile, "PostScript drawing", [&](const std::string& f) { return drawPage(run, s, f, false); });
  if (!s.svgFile.empty()) bOk &= writeOutput(run.console, s.svgFile, "SVG drawing", [&](const std::string& f) { return drawPage(run, s, f, true); });
  if (!s.htmlFile.empty()) bOk &= writeOutput(run.console, s.htmlFile, "HTML viewer", [&](const std::string& f) { return writeHtml(run, s, f); });
  return bOk;
}

}  // namespace

bool writeDrawing(ToolRun& run, const std::string& filename, bool bSvg) {
  return writeOutput(run.console, filename, bSvg ? "SVG drawing" : "PostScript drawing",
                     [&](const std::string& f) { return drawPage(run, PictureSettings(), f, bSvg); });
}

ToolExtension makePicturesExtension() {
  std::shared_ptr<PictureSettings> pS(std::make_shared<PictureSettings>());
  ToolExtension extension;
  extension.options.heading = "Pictures (the region filled, constraint pieces red; above 50000 triangles thinned, said)";
  extension.options.vOptions = {
      outputFileOption("--ps", pS->psFile, "draw the triangulation as PostScript"),
      outputFileOption("--svg", pS->svgFile, "draw the triangulation as SVG"),
      outputFileOption("--html", pS->htmlFile, "write a self-contained HTML page with a 2D viewer (pan, zoom, legend)"),
      {"--window", 0, "X0,Y0,X1,Y1", "draw only the triangles that touch this box, all of them",
       [pS](const std::string& value) { return parseWindow(value, *pS); }},
      flagOption("--vertices", 0, pS->bVertices, "mark the vertices: input vertices black, added ones orange"),
  };
  extension.output = [pS](ToolRun& run) { return writePictures(run, *pS); };
  return extension;
}
