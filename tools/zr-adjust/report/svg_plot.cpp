#include "tools/zr-adjust/report/svg_plot.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <optional>
#include <string>
#include <tuple>
#include <unordered_set>

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

namespace {

// Canvas layout in SVG pixels.
constexpr double mapWidth = 860.0;
constexpr double mapHeight = 640.0;
constexpr double minimumMapHeight = 240.0;
constexpr double marginLeft = 70.0;
constexpr double marginRight = 70.0;
constexpr double marginTop = 80.0;
constexpr double marginBottom = 150.0;
// The largest ellipse is drawn about this large, whatever the network's precision.
constexpr double largestEllipsePixels = 28.0;
constexpr double ellipseBarPixels = 100.0;
constexpr double mapBarPixels = 160.0;
constexpr double millimetresPerMetre = 1000.0;
constexpr double degreesPerRadian = 180.0 / std::numbers::pi;

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
  return point.kind != PointKind::Height && std::isfinite(point.coordinate[0]) &&
         std::isfinite(point.coordinate[1]);
}

// The 95 % confidence ellipse of a point: the report's own, or the standard ellipse of its
// covariance times the run's confidence factor. Bearing clockwise from +Y, radians.
struct ConfidenceEllipse {
  double a = 0.0;
  double b = 0.0;
  double bearing = 0.0;
};

std::optional<ConfidenceEllipse> EllipseOf(const PointResult& point, double factor) {
  ConfidenceEllipse drawn;
  if (point.ellipse) {
    drawn = {point.ellipse->a95, point.ellipse->b95, point.ellipse->bearing};
  } else if (point.hasCovarianceXY) {
    ErrorEllipse standard =
        ComputeErrorEllipse(point.covarianceXX, point.covarianceXY, point.covarianceYY);
    drawn = {standard.semiMajor * factor, standard.semiMinor * factor,
             0.5 * std::numbers::pi - standard.angle};
  } else {
    return std::nullopt;
  }
  if (!std::isfinite(drawn.a) || !std::isfinite(drawn.b) || !std::isfinite(drawn.bearing))
    return std::nullopt;
  return drawn;
}

// The kinds of observation lines, each with its own stroke.
struct LineStyle {
  const char* label;
  const char* stroke;
};
constexpr LineStyle lineStyles[] = {
    {"distance", "stroke=\"#888888\""},
    {"direction, angle", "stroke=\"#e07b00\" stroke-dasharray=\"1 3\""},
    {"GNSS vector", "stroke=\"#3366cc\" stroke-dasharray=\"7 4\""},
    {"levelling", "stroke=\"#2e8b57\" stroke-dasharray=\"2 3\""},
};

int LineKindOf(ObservationType type) {
  switch (type) {
    case ObservationType::Distance:
    case ObservationType::HorizontalDistance:
      return 0;
    case ObservationType::Direction:
    case ObservationType::Angle:
    case ObservationType::Azimuth:
    case ObservationType::Zenith:
      return 1;
    case ObservationType::VectorX:
    case ObservationType::VectorY:
    case ObservationType::VectorZ:
      return 2;
    default:
      return 3;
  }
}

// A line's kind and its two points spread over the table (golden-ratio multipliers mix the
// first members into the high bits).
struct DrawnLineHash {
  std::size_t operator()(const std::tuple<int, std::size_t, std::size_t>& line) const {
    const auto& [kind, from, to] = line;
    return ((static_cast<std::size_t>(kind) * 0x9E3779B97F4A7C15ull + from) *
            0x9E3779B97F4A7C15ull) ^
           to;
  }
};

void WriteLines(std::ostream& out, const AdjustmentReport& report, const Projection& map) {
  // One line per pair of points and kind of observation, however often it was observed; the
  // set is only asked whether a line was drawn, so it is a hash set.
  std::unordered_set<std::tuple<int, std::size_t, std::size_t>, DrawnLineHash> drawn;
  drawn.reserve(report.observations.size());
  out << "<g id=\"observations\" fill=\"none\" stroke-width=\"1.2\">\n";
  auto line = [&](int kind, std::size_t from, std::size_t to) {
    if (from == to || from >= report.points.size() || to >= report.points.size()) return;
    const PointResult& p = report.points[from];
    const PointResult& q = report.points[to];
    if (!Drawable(p) || !Drawable(q)) return;
    if (!drawn.insert({kind, std::min(from, to), std::max(from, to)}).second) return;
    out << Formatted("  <line x1=\"%.2f\" y1=\"%.2f\" x2=\"%.2f\" y2=\"%.2f\" %s/>\n",
                     map.U(p.coordinate[0]), map.V(p.coordinate[1]), map.U(q.coordinate[0]),
                     map.V(q.coordinate[1]), lineStyles[kind].stroke);
  };
  for (const ObservationResult& observation : report.observations) {
    int kind = LineKindOf(observation.type);
    if (observation.type == ObservationType::Coordinate) continue;
    if (observation.type == ObservationType::Angle) {
      line(kind, observation.at, observation.from);
      line(kind, observation.at, observation.to);
    } else {
      line(kind, observation.from, observation.to);
    }
  }
  out << "</g>\n";
}

void WriteEllipses(std::ostream& out, const AdjustmentReport& report, const Projection& map,
                   double enlargement) {
  out << "<g id=\"ellipses\" fill=\"#d62728\" fill-opacity=\"0.15\" stroke=\"#d62728\" "
         "stroke-width=\"1.2\">\n";
  for (const PointResult& point : report.points) {
    if (!Drawable(point)) continue;
    std::optional<ConfidenceEllipse> ellipse = EllipseOf(point, report.confidenceFactor);
    if (!ellipse) continue;
    double u = map.U(point.coordinate[0]);
    double v = map.V(point.coordinate[1]);
    // On the canvas (Y down) a rotation by bearing - 90° turns the X axis onto the bearing.
    out << Formatted(
        "  <ellipse cx=\"%.2f\" cy=\"%.2f\" rx=\"%.3f\" ry=\"%.3f\" "
        "transform=\"rotate(%.3f %.2f %.2f)\"><title>%s: 95 %% %.2f mm \xC3\x97 %.2f "
        "mm</title></ellipse>\n",
        u, v, ellipse->a * enlargement * map.scale, ellipse->b * enlargement * map.scale,
        ellipse->bearing * degreesPerRadian - 90.0, u, v, XmlText(point.name).c_str(),
        ellipse->a * millimetresPerMetre, ellipse->b * millimetresPerMetre);
  }
  out << "</g>\n";
}

void WritePoints(std::ostream& out, const AdjustmentReport& report, const Projection& map) {
  out << "<g id=\"points\" font-family=\"sans-serif\" font-size=\"12\">\n";
  for (const PointResult& point : report.points) {
    if (!Drawable(point)) continue;
    double u = map.U(point.coordinate[0]);
    double v = map.V(point.coordinate[1]);
    WritePointMark(out, u, v, point.fixed[0] && point.fixed[1]);
    out << Formatted("  <text x=\"%.2f\" y=\"%.2f\">%s</text>\n", u + 7.0, v - 6.0,
                     XmlText(point.name).c_str());
  }
  out << "</g>\n";
}

void WriteLegend(std::ostream& out, double x, double y, const std::string& ellipseText) {
  out << "  <g id=\"legend\">\n";
  double at = x;
  for (const LineStyle& style : lineStyles) {
    out << Formatted(
        "  <line x1=\"%.2f\" y1=\"%.2f\" x2=\"%.2f\" y2=\"%.2f\" %s stroke-width=\"1.2\"/>\n", at,
        y, at + 30.0, y, style.stroke);
    out << Formatted("  <text x=\"%.2f\" y=\"%.2f\">%s</text>\n", at + 36.0, y + 4.0, style.label);
    at += 46.0 + 7.0 * static_cast<double>(std::string(style.label).size());
  }
  out << Formatted("  <path d=\"M %.2f %.2f l 6 10.4 h -12 z\" fill=\"#000000\"/>\n", at + 6.0,
                   y - 6.9);
  out << Formatted("  <text x=\"%.2f\" y=\"%.2f\">fixed</text>\n", at + 16.0, y + 4.0);
  out << Formatted(
      "  <circle cx=\"%.2f\" cy=\"%.2f\" r=\"3.5\" fill=\"#ffffff\" stroke=\"#000000\" "
      "stroke-width=\"1.5\"/>\n",
      at + 71.0, y);
  out << Formatted("  <text x=\"%.2f\" y=\"%.2f\">adjusted</text>\n", at + 80.0, y + 4.0);
  if (!ellipseText.empty()) {
    out << Formatted(
        "  <ellipse cx=\"%.2f\" cy=\"%.2f\" rx=\"14\" ry=\"6\" fill=\"#d62728\" "
        "fill-opacity=\"0.15\" stroke=\"#d62728\" stroke-width=\"1.2\"/>\n",
        x + 15.0, y + 26.0);
    out << Formatted("  <text x=\"%.2f\" y=\"%.2f\">%s</text>\n", x + 36.0, y + 30.0,
                     XmlText(ellipseText).c_str());
  }
  out << "  </g>\n";
}

// The plan's extent and projection; empty when no point has a plan position.
struct Plan {
  Projection map;
  double drawnHeight = 0.0;
  double largestEllipse = 0.0;
  bool empty = true;
};

Plan PlanOf(const AdjustmentReport& report) {
  double minX = INFINITY, maxX = -INFINITY, minY = INFINITY, maxY = -INFINITY;
  Plan plan;
  for (const PointResult& point : report.points) {
    if (!Drawable(point)) continue;
    minX = std::min(minX, point.coordinate[0]);
    maxX = std::max(maxX, point.coordinate[0]);
    minY = std::min(minY, point.coordinate[1]);
    maxY = std::max(maxY, point.coordinate[1]);
    std::optional<ConfidenceEllipse> ellipse = EllipseOf(point, report.confidenceFactor);
    if (ellipse) plan.largestEllipse = std::max(plan.largestEllipse, ellipse->a);
  }
  plan.empty = !(minX <= maxX);
  double spanX = plan.empty ? 0.0 : maxX - minX;
  double spanY = plan.empty ? 0.0 : maxY - minY;
  Projection& map = plan.map;
  // A network of points in a line still gets a finite scale, one of a single point 100 m.
  double span = std::max(spanX, spanY);
  map.scale = span > 0.0 && std::isfinite(span) ? std::min(mapWidth / std::max(spanX, span * 1e-3),
                                                           mapHeight / std::max(spanY, span * 1e-3))
                                                : mapWidth / 100.0;
  map.minX = plan.empty ? 0.0 : minX;
  map.maxY = plan.empty ? 0.0 : maxY;
  double drawnWidth = spanX * map.scale;
  plan.drawnHeight = std::max(spanY * map.scale, minimumMapHeight);
  if (!std::isfinite(drawnWidth) || !std::isfinite(plan.drawnHeight)) {
    drawnWidth = 0.0, plan.drawnHeight = minimumMapHeight;
  }
  map.left = marginLeft + 0.5 * (mapWidth - drawnWidth);
  map.top = marginTop + 0.5 * (plan.drawnHeight - std::min(spanY * map.scale, mapHeight));
  return plan;
}

}  // namespace

void WriteSvgPlot(std::ostream& out, const AdjustmentReport& report) {
  Plan plan = PlanOf(report);
  bool anyHeight = std::any_of(report.points.begin(), report.points.end(),
                               [](const PointResult& p) { return p.kind == PointKind::Height; });
  if (plan.empty && anyHeight) return WriteHeightProfile(out, report);
  const Projection& map = plan.map;
  double width = marginLeft + mapWidth + marginRight;
  double height = marginTop + plan.drawnHeight + marginBottom;
  double enlargement = RoundEnlargement(plan.largestEllipse, map.scale, largestEllipsePixels);
  bool anyEllipse = plan.largestEllipse > 0.0;
  std::string ellipseText =
      anyEllipse ? Formatted(
                       "95 %% confidence ellipse (standard ellipse \xC3\x97 %.4f), enlarged "
                       "%g\xC3\x97",
                       report.confidenceFactor, enlargement)
                 : std::string();
  std::string subtitle = "plan, X right, Y up; " +
                         (anyEllipse ? ellipseText : std::string("no error ellipses")) +
                         (report.sigma0 && std::isfinite(*report.sigma0)
                              ? Formatted("; \xCF\x83\xE2\x82\x80 = %.3f", *report.sigma0)
                              : std::string());
  WriteSvgHeader(out, width, height, marginLeft, report.networkFile, subtitle);
  if (plan.empty) {
    out << Formatted(
        "<text x=\"%.0f\" y=\"%.0f\" font-family=\"sans-serif\">no points to draw</text>\n",
        marginLeft, marginTop + 40.0);
    out << "</svg>\n";
    return;
  }

  WriteLines(out, report, map);
  WriteEllipses(out, report, map, enlargement);
  WritePoints(out, report, map);

  double barTop = marginTop + plan.drawnHeight + 45.0;
  out << "<g id=\"scale\" font-family=\"sans-serif\" font-size=\"12\">\n";
  double mapBar = RoundScaleLength(mapBarPixels / map.scale);
  WriteScaleBar(out, "map-scale", marginLeft, barTop, mapBar * map.scale,
                "map " + MetresLabel(mapBar), "#000000");
  if (anyEllipse) {
    double ellipseBar = RoundScaleLength(ellipseBarPixels / (enlargement * map.scale));
    WriteScaleBar(out, "ellipse-scale", marginLeft + 330.0, barTop,
                  ellipseBar * enlargement * map.scale, "ellipses " + MetresLabel(ellipseBar),
                  "#d62728");
  }
  WriteLegend(out, marginLeft, barTop + 40.0, ellipseText);
  out << "</g>\n</svg>\n";
}

}  // namespace zradjust
