#include "tools/zr-adjust/report/svg_plot.h"

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <set>
#include <string>
#include <tuple>

namespace zradjust {

ErrorEllipse ComputeErrorEllipse(double xx, double xy, double yy) {
  // Eigenvalues of the symmetric 2x2 matrix: mean ± radius of its Mohr circle.
  double mean = 0.5 * (xx + yy);
  double half = 0.5 * (xx - yy);
  double radius = std::sqrt(half * half + xy * xy);
  ErrorEllipse ellipse;
  ellipse.semiMajor = std::sqrt(std::max(mean + radius, 0.0));
  ellipse.semiMinor = std::sqrt(std::max(mean - radius, 0.0));
  ellipse.angle = 0.5 * std::atan2(2.0 * xy, xx - yy);
  return ellipse;
}

double RoundScaleLength(double limit) {
  double power = std::pow(10.0, std::floor(std::log10(limit)));
  // The slack keeps an exact 1, 2 or 5 times a power of ten from rounding down a step.
  double bound = limit * (1.0 + 1e-9);
  for (double mantissa : {5.0, 2.0, 1.0}) {
    if (mantissa * power <= bound) return mantissa * power;
  }
  return power / 2.0;
}

namespace {

// Canvas layout in SVG pixels.
constexpr double mapWidth = 860.0;
constexpr double mapHeight = 640.0;
constexpr double minimumMapHeight = 240.0;
constexpr double marginLeft = 70.0;
constexpr double marginRight = 70.0;
constexpr double marginTop = 80.0;
constexpr double marginBottom = 120.0;
// The largest ellipse is drawn about this large, whatever the network's precision.
constexpr double largestEllipsePixels = 28.0;
constexpr double ellipseBarPixels = 100.0;
constexpr double mapBarPixels = 160.0;
constexpr double millimetresPerMetre = 1000.0;
constexpr double degreesPerRadian = 57.29577951308232;

std::string Format(const char* format, ...) __attribute__((format(printf, 1, 2)));

std::string Format(const char* format, ...) {
  char buffer[1024];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(buffer, sizeof buffer, format, arguments);
  va_end(arguments);
  return buffer;
}

std::string XmlText(const std::string& text) {
  std::string escaped;
  for (char c : text) {
    switch (c) {
      case '&':
        escaped += "&amp;";
        break;
      case '<':
        escaped += "&lt;";
        break;
      case '>':
        escaped += "&gt;";
        break;
      case '"':
        escaped += "&quot;";
        break;
      default:
        escaped += c;
    }
  }
  return escaped;
}

// Map coordinates (metres, Y up) to canvas pixels (Y down).
struct Projection {
  double minX = 0.0;
  double maxY = 0.0;
  double scale = 1.0;  // pixels per metre
  double left = marginLeft;
  double top = marginTop;

  double U(double x) const { return left + (x - minX) * scale; }
  double V(double y) const { return top + (maxY - y) * scale; }
};

bool Drawable(const PointResult& point) {
  return point.kind == PointKind::Spatial && std::isfinite(point.coordinate[0]) &&
         std::isfinite(point.coordinate[1]);
}

void WriteLines(std::ostream& out, const AdjustmentReport& report, const Projection& map) {
  // One line per pair of points and kind of observation, however often it was observed.
  std::set<std::tuple<int, std::size_t, std::size_t>> drawn;
  out << "<g id=\"observations\" fill=\"none\" stroke-width=\"1.2\">\n";
  for (const ObservationResult& observation : report.observations) {
    if (observation.from == observation.to) continue;
    const PointResult& from = report.points[observation.from];
    const PointResult& to = report.points[observation.to];
    if (!Drawable(from) || !Drawable(to)) continue;
    int kind = 0;
    const char* style = "stroke=\"#888888\"";
    if (observation.type == ObservationType::Levelling) {
      kind = 2;
      style = "stroke=\"#2e8b57\" stroke-dasharray=\"2 3\"";
    } else if (observation.type != ObservationType::Distance) {
      kind = 1;
      style = "stroke=\"#3366cc\" stroke-dasharray=\"7 4\"";
    }
    auto key = std::make_tuple(kind, std::min(observation.from, observation.to),
                               std::max(observation.from, observation.to));
    if (!drawn.insert(key).second) continue;
    out << Format("  <line x1=\"%.2f\" y1=\"%.2f\" x2=\"%.2f\" y2=\"%.2f\" %s/>\n",
                  map.U(from.coordinate[0]), map.V(from.coordinate[1]), map.U(to.coordinate[0]),
                  map.V(to.coordinate[1]), style);
  }
  out << "</g>\n";
}

void WriteEllipses(std::ostream& out, const AdjustmentReport& report, const Projection& map,
                   double enlargement) {
  out << "<g id=\"ellipses\" fill=\"#d62728\" fill-opacity=\"0.15\" stroke=\"#d62728\" "
         "stroke-width=\"1.2\">\n";
  for (const PointResult& point : report.points) {
    if (!Drawable(point) || !point.hasCovarianceXY) continue;
    ErrorEllipse ellipse =
        ComputeErrorEllipse(point.covarianceXX, point.covarianceXY, point.covarianceYY);
    if (!std::isfinite(ellipse.semiMajor) || !std::isfinite(ellipse.angle)) continue;
    double u = map.U(point.coordinate[0]);
    double v = map.V(point.coordinate[1]);
    // Y points down on the canvas, so an angle towards +Y turns the other way.
    out << Format(
        "  <ellipse cx=\"%.2f\" cy=\"%.2f\" rx=\"%.3f\" ry=\"%.3f\" "
        "transform=\"rotate(%.3f %.2f %.2f)\"><title>%s: %.2f mm x %.2f mm</title></ellipse>\n",
        u, v, ellipse.semiMajor * enlargement * map.scale,
        ellipse.semiMinor * enlargement * map.scale, -ellipse.angle * degreesPerRadian, u, v,
        XmlText(point.name).c_str(), ellipse.semiMajor * millimetresPerMetre,
        ellipse.semiMinor * millimetresPerMetre);
  }
  out << "</g>\n";
}

void WritePoints(std::ostream& out, const AdjustmentReport& report, const Projection& map) {
  out << "<g id=\"points\" font-family=\"sans-serif\" font-size=\"12\">\n";
  for (const PointResult& point : report.points) {
    if (!Drawable(point)) continue;
    double u = map.U(point.coordinate[0]);
    double v = map.V(point.coordinate[1]);
    if (point.fixed[0] && point.fixed[1]) {
      out << Format("  <path d=\"M %.2f %.2f l 6 10.4 h -12 z\" fill=\"#000000\"/>\n", u, v - 6.9);
    } else {
      out << Format(
          "  <circle cx=\"%.2f\" cy=\"%.2f\" r=\"3.5\" fill=\"#ffffff\" "
          "stroke=\"#000000\" stroke-width=\"1.5\"/>\n",
          u, v);
    }
    out << Format("  <text x=\"%.2f\" y=\"%.2f\">%s</text>\n", u + 7.0, v - 6.0,
                  XmlText(point.name).c_str());
  }
  out << "</g>\n";
}

void WriteScaleBar(std::ostream& out, const char* id, double x, double y, double pixels,
                   const std::string& label, const char* colour) {
  out << "  <g id=\"" << id << "\">\n";
  out << Format(
      "  <path d=\"M %.2f %.2f v 6 h %.2f v -6\" fill=\"none\" stroke=\"%s\" "
      "stroke-width=\"2\"/>\n",
      x, y - 6.0, pixels, colour);
  out << Format("  <text x=\"%.2f\" y=\"%.2f\">%s</text>\n", x + pixels + 10.0, y + 4.0,
                label.c_str());
  out << "  </g>\n";
}

void WriteLegend(std::ostream& out, double x, double y) {
  out << Format(
      "  <line x1=\"%.2f\" y1=\"%.2f\" x2=\"%.2f\" y2=\"%.2f\" stroke=\"#888888\" "
      "stroke-width=\"1.2\"/>\n",
      x, y, x + 30.0, y);
  out << Format("  <text x=\"%.2f\" y=\"%.2f\">distance</text>\n", x + 36.0, y + 4.0);
  out << Format(
      "  <line x1=\"%.2f\" y1=\"%.2f\" x2=\"%.2f\" y2=\"%.2f\" stroke=\"#3366cc\" "
      "stroke-dasharray=\"7 4\" stroke-width=\"1.2\"/>\n",
      x + 110.0, y, x + 140.0, y);
  out << Format("  <text x=\"%.2f\" y=\"%.2f\">GNSS vector</text>\n", x + 146.0, y + 4.0);
  out << Format(
      "  <line x1=\"%.2f\" y1=\"%.2f\" x2=\"%.2f\" y2=\"%.2f\" stroke=\"#2e8b57\" "
      "stroke-dasharray=\"2 3\" stroke-width=\"1.2\"/>\n",
      x + 240.0, y, x + 270.0, y);
  out << Format("  <text x=\"%.2f\" y=\"%.2f\">levelling</text>\n", x + 276.0, y + 4.0);
  out << Format("  <path d=\"M %.2f %.2f l 6 10.4 h -12 z\" fill=\"#000000\"/>\n", x + 360.0,
                y - 6.9);
  out << Format("  <text x=\"%.2f\" y=\"%.2f\">fixed</text>\n", x + 370.0, y + 4.0);
  out << Format(
      "  <circle cx=\"%.2f\" cy=\"%.2f\" r=\"3.5\" fill=\"#ffffff\" stroke=\"#000000\" "
      "stroke-width=\"1.5\"/>\n",
      x + 425.0, y);
  out << Format("  <text x=\"%.2f\" y=\"%.2f\">adjusted</text>\n", x + 434.0, y + 4.0);
}

std::string MetresLabel(double metres) {
  if (metres < 1.0) return Format("%g mm", metres * millimetresPerMetre);
  if (metres >= 1000.0) return Format("%g km", metres / 1000.0);
  return Format("%g m", metres);
}

}  // namespace

void WriteSvgPlot(std::ostream& out, const AdjustmentReport& report) {
  double minX = INFINITY, maxX = -INFINITY, minY = INFINITY, maxY = -INFINITY;
  double largestSemiMajor = 0.0;
  for (const PointResult& point : report.points) {
    if (!Drawable(point)) continue;
    minX = std::min(minX, point.coordinate[0]);
    maxX = std::max(maxX, point.coordinate[0]);
    minY = std::min(minY, point.coordinate[1]);
    maxY = std::max(maxY, point.coordinate[1]);
    if (point.hasCovarianceXY) {
      ErrorEllipse ellipse =
          ComputeErrorEllipse(point.covarianceXX, point.covarianceXY, point.covarianceYY);
      if (std::isfinite(ellipse.semiMajor)) {
        largestSemiMajor = std::max(largestSemiMajor, ellipse.semiMajor);
      }
    }
  }
  bool empty = !(minX <= maxX);
  double spanX = empty ? 0.0 : maxX - minX;
  double spanY = empty ? 0.0 : maxY - minY;
  Projection map;
  // A network of points in a line still gets a finite scale, one of a single point 100 m.
  double span = std::max(spanX, spanY);
  map.scale = span > 0.0 ? std::min(mapWidth / std::max(spanX, span * 1e-3),
                                    mapHeight / std::max(spanY, span * 1e-3))
                         : mapWidth / 100.0;
  map.minX = empty ? 0.0 : minX;
  map.maxY = empty ? 0.0 : maxY;
  double drawnWidth = spanX * map.scale;
  double drawnHeight = std::max(spanY * map.scale, minimumMapHeight);
  map.left = marginLeft + 0.5 * (mapWidth - drawnWidth);
  map.top = marginTop + 0.5 * (drawnHeight - spanY * map.scale);
  double width = marginLeft + mapWidth + marginRight;
  double height = marginTop + drawnHeight + marginBottom;

  // A common enlargement, a round number, so that the largest ellipse is clearly visible.
  double enlargement = 1.0;
  if (largestSemiMajor > 0.0 && std::isfinite(map.scale)) {
    enlargement = RoundScaleLength(largestEllipsePixels / (largestSemiMajor * map.scale));
  }

  out << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
  out << Format(
      "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"%.0f\" height=\"%.0f\" "
      "viewBox=\"0 0 %.0f %.0f\">\n",
      width, height, width, height);
  out << Format("<rect width=\"%.0f\" height=\"%.0f\" fill=\"#ffffff\"/>\n", width, height);
  out << "<g font-family=\"sans-serif\">\n";
  out << Format("  <text x=\"%.0f\" y=\"32\" font-size=\"18\">%s</text>\n", marginLeft,
                XmlText(report.networkFile).c_str());
  std::string subtitle = report.inverseComputed
                             ? Format(
                                   "plan, X right, Y up; standard error ellipses (1\xCF\x83) "
                                   "enlarged %g\xC3\x97; \xCF\x83\xE2\x82\x80 = %.3f",
                                   enlargement, report.sigma0.value_or(NAN))
                             : "plan, X right, Y up; no error ellipses (inverse not computed)";
  out << Format("  <text x=\"%.0f\" y=\"54\" font-size=\"13\" fill=\"#444444\">%s</text>\n",
                marginLeft, subtitle.c_str());
  out << "</g>\n";
  if (empty) {
    out << Format(
        "<text x=\"%.0f\" y=\"%.0f\" font-family=\"sans-serif\">no 3D points to "
        "draw</text>\n",
        marginLeft, marginTop + 40.0);
    out << "</svg>\n";
    return;
  }

  WriteLines(out, report, map);
  WriteEllipses(out, report, map, enlargement);
  WritePoints(out, report, map);

  double barTop = marginTop + drawnHeight + 45.0;
  out << "<g id=\"scale\" font-family=\"sans-serif\" font-size=\"12\">\n";
  double mapBar = RoundScaleLength(mapBarPixels / map.scale);
  WriteScaleBar(out, "map-scale", marginLeft, barTop, mapBar * map.scale,
                "map " + MetresLabel(mapBar), "#000000");
  bool anyEllipse = largestSemiMajor > 0.0;
  if (anyEllipse) {
    double ellipseBar = RoundScaleLength(ellipseBarPixels / (enlargement * map.scale));
    WriteScaleBar(out, "ellipse-scale", marginLeft + 330.0, barTop,
                  ellipseBar * enlargement * map.scale, "ellipses " + MetresLabel(ellipseBar),
                  "#d62728");
  }
  WriteLegend(out, marginLeft, barTop + 40.0);
  out << "</g>\n</svg>\n";
}

}  // namespace zradjust
