// The plan of the HTML report: one inline SVG drawn once, one path per class of element
// (observation lines by |w|, ellipses, fixed, datum and other points), so that a network of
// ten thousand points stays light in the browser. The page's script zooms and pans it by its
// viewBox and names the point under the mouse from the plan's own data block; without script
// it is a plain picture. A network without plan positions gets a height profile instead.

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>
#include <unordered_map>
#include <vector>

#include "tools/zr-adjust/report/html_format.h"
#include "tools/zr-adjust/report/html_sections.h"
#include "tools/zr-adjust/report/svg_plot.h"

namespace zradjust {
namespace {

constexpr double canvasWidth = 1000.0;
constexpr double drawingHeight = 620.0;
constexpr double margin = 40.0;
constexpr double barSpace = 70.0;
// The largest 95 % ellipse is drawn about this large, whatever the network's precision.
constexpr double largestEllipsePixels = 30.0;
// Beyond this many points the names would cover the plan: the script names them on hover.
constexpr std::size_t labelledPointLimit = 300;
// Below this |w| a line is unremarkable; between it and the critical value it is worth a look.
constexpr double noticeableW = 2.0;

bool InPlan(const PointResult& point) {
  return point.kind != PointKind::Height && std::isfinite(point.coordinate[0]) &&
         std::isfinite(point.coordinate[1]);
}

// The class of a line from the largest |w| of its observations (-1: none has a w).
int WClass(double largestW, double criticalW) {
  if (largestW < 0.0) return 0;
  if (largestW <= noticeableW) return 1;
  return largestW <= criticalW ? 2 : 3;
}
const char* const wClassNames[4] = {"w-none", "w-low", "w-mid", "w-high"};

// Largest |w| per pair of points joined by an observation, in first-seen order.
struct Sight {
  std::size_t from, to;
  double largestW;
};

// Only levelling observations join the points of a height profile.
std::vector<Sight> Sights(const AdjustmentReport& report, const std::vector<bool>& drawn,
                          bool levellingOnly) {
  std::vector<Sight> sights;
  std::unordered_map<unsigned long long, std::size_t> seen;
  auto add = [&](std::size_t a, std::size_t b, const std::optional<double>& w) {
    if (a == b || !drawn[a] || !drawn[b]) return;
    unsigned long long key = (unsigned long long)std::min(a, b) << 32 | std::max(a, b);
    double magnitude = w ? std::fabs(*w) : -1.0;
    auto [found, inserted] = seen.emplace(key, sights.size());
    if (inserted) {
      sights.push_back({a, b, magnitude});
    } else {
      sights[found->second].largestW = std::max(sights[found->second].largestW, magnitude);
    }
  };
  for (const ObservationResult& observation : report.observations) {
    if (levellingOnly && observation.type != ObservationType::Levelling) continue;
    if (observation.type == ObservationType::Angle) {
      add(observation.at, observation.from, observation.w);
      add(observation.at, observation.to, observation.w);
    } else {
      add(observation.from, observation.to, observation.w);
    }
  }
  return sights;
}

// Point positions on the canvas; u right, v down.
struct Canvas {
  std::vector<double> u, v;
  std::vector<bool> drawn;
  double height = 0.0;
  // Radius of a point's circle: smaller where points crowd, so that the lines stay visible.
  double marker = 3.0;
  // A height profile: a point is held when its height is fixed.
  bool profile = false;
};

void WriteLinePaths(std::ostream& out, const AdjustmentReport& report, const Canvas& canvas,
                    const std::vector<Sight>& sights) {
  std::string paths[4];
  for (const Sight& sight : sights) {
    std::string& d = paths[WClass(sight.largestW, report.criticalW)];
    d += PrintfTenths("M%.1f %.1f", canvas.u[sight.from], canvas.v[sight.from]);
    d += PrintfTenths("L%.1f %.1f", canvas.u[sight.to], canvas.v[sight.to]);
  }
  for (int c = 0; c < 4; ++c)
    if (!paths[c].empty())
      out << "<path class=\"sight " << wClassNames[c] << "\" d=\"" << paths[c] << "\"/>\n";
}

// A circle of radius r about (u, v) as two arcs of a path.
std::string Circle(double u, double v, double r) {
  char circle[96];
  std::snprintf(circle, sizeof circle, "M%.1f %.1fa%.2f %.2f 0 1 0 %.2f 0a%.2f %.2f 0 1 0 %.2f 0",
                u - r, v, r, r, 2.0 * r, r, r, -2.0 * r);
  return circle;
}

void WritePointPaths(std::ostream& out, const AdjustmentReport& report, const Canvas& canvas) {
  std::string fixed, datum, other;
  const double r = canvas.marker;
  for (std::size_t i = 0; i < report.points.size(); ++i) {
    if (!canvas.drawn[i]) continue;
    const PointResult& point = report.points[i];
    double u = canvas.u[i], v = canvas.v[i];
    bool held = point.kind == PointKind::Height ? point.fixed[0]
                : canvas.profile                ? point.fixed[2]
                                                : point.fixed[0] && point.fixed[1];
    if (held) {
      char triangle[96];
      std::snprintf(triangle, sizeof triangle, "M%.1f %.1fl%.2f %.2fh%.2fz", u, v - 1.7 * r,
                    1.5 * r, 2.6 * r, -3.0 * r);
      fixed += triangle;
    } else {
      (point.datumPoint ? datum : other) += Circle(u, v, r);
    }
  }
  if (!other.empty()) out << "<path class=\"pt-new\" d=\"" << other << "\"/>\n";
  if (!datum.empty()) out << "<path class=\"pt-datum\" d=\"" << datum << "\"/>\n";
  if (!fixed.empty()) out << "<path class=\"pt-fixed\" d=\"" << fixed << "\"/>\n";
}

void WriteLabels(std::ostream& out, const AdjustmentReport& report, const Canvas& canvas) {
  std::size_t count = std::count(canvas.drawn.begin(), canvas.drawn.end(), true);
  if (count > labelledPointLimit) return;
  out << "<g class=\"labels\">";
  for (std::size_t i = 0; i < report.points.size(); ++i) {
    if (!canvas.drawn[i]) continue;
    out << "<text x=\"" << PrintfTenths("%.1f\" y=\"%.1f", canvas.u[i] + 6.0, canvas.v[i] - 6.0)
        << "\">" << HtmlText(report.points[i].name) << "</text>";
  }
  out << "</g>\n";
}

std::string LengthLabel(double metres) {
  char buffer[32];
  if (metres < 1.0) {
    std::snprintf(buffer, sizeof buffer, "%g mm", metres * 1000.0);
  } else if (metres >= 1000.0) {
    std::snprintf(buffer, sizeof buffer, "%g km", metres / 1000.0);
  } else {
    std::snprintf(buffer, sizeof buffer, "%g m", metres);
  }
  return buffer;
}

void WriteScaleBar(std::ostream& out, const char* id, double top, double pixels,
                   const std::string& label) {
  out << "<g class=\"scale-bar\" id=\"" << id << "\"><path d=\"M" << margin << " " << top << "v6h"
      << pixels << "v-6\"/><text x=\"" << margin + pixels + 8.0 << "\" y=\"" << top + 7.0 << "\">"
      << label << "</text></g>\n";
}

// The plan's own data block for the script: names and canvas positions of drawn points.
void WritePlanData(std::ostream& out, const AdjustmentReport& report, const Canvas& canvas) {
  out << "<script type=\"application/json\" id=\"plan-data\">{\"points\": [";
  bool first = true;
  for (std::size_t i = 0; i < report.points.size(); ++i) {
    if (!canvas.drawn[i]) continue;
    out << (first ? "" : ",") << "[" << i << PrintfTenths(",%.1f,%.1f]", canvas.u[i], canvas.v[i]);
    first = false;
  }
  out << "]}</script>\n";
}

// The main drawing (id plan-svg) is the one the script zooms and names points on; a height
// profile beside a plan is a plain picture.
void WriteSvgStart(std::ostream& out, bool main, double height, const char* label) {
  out << "<div class=\"plan-frame\"><svg id=\"" << (main ? "plan-svg" : "profile-svg")
      << "\" class=\"plan\" viewBox=\"0 0 " << canvasWidth << " " << height
      << "\" role=\"img\" aria-label=\"" << label << "\">\n<rect class=\"plan-ground\" width=\""
      << canvasWidth << "\" height=\"" << height << "\"/>\n<g>\n";
}

void WriteSvgEnd(std::ostream& out, bool main) {
  out << "</g>\n</svg>" << (main ? "<div id=\"plan-tip\" hidden></div>" : "") << "</div>\n";
}

void WriteLegend(std::ostream& out, const AdjustmentReport& report, const std::string& ellipses) {
  std::string critical = Fixed(report.criticalW, 2);
  out << "<p class=\"legend\"><span class=\"key w-low\"></span> |w| \xE2\x89\xA4 2 "
      << "<span class=\"key w-mid\"></span> 2 &lt; |w| \xE2\x89\xA4 " << critical
      << " <span class=\"key w-high\"></span> |w| &gt; " << critical
      << " <span class=\"key w-none\"></span> no w "
      << "<span class=\"sym fixed\">\xE2\x96\xB2</span> fixed "
      << "<span class=\"sym datum\">\xE2\x97\x8F</span> datum point "
      << "<span class=\"sym new\">\xE2\x97\x8B</span> adjusted point. " << ellipses << "</p>\n";
}

// The 95 % ellipses as one path of arcs, pixelsPerMetre times their size in metres.
std::string EllipsePath(const Canvas& canvas,
                        const std::vector<std::optional<EllipseResult>>& ellipses,
                        double pixelsPerMetre) {
  std::string path;
  for (std::size_t i = 0; i < ellipses.size(); ++i) {
    const std::optional<EllipseResult>& ellipse = ellipses[i];
    if (!ellipse || !std::isfinite(ellipse->a95) || !std::isfinite(ellipse->b95) ||
        !std::isfinite(ellipse->bearing))
      continue;
    double a = ellipse->a95 * pixelsPerMetre, b = ellipse->b95 * pixelsPerMetre;
    // The major axis points along the bearing: east sin, north cos; the canvas's v runs south.
    double du = a * std::sin(ellipse->bearing), dv = -a * std::cos(ellipse->bearing);
    double rotation = ellipse->bearing * 180.0 / M_PI - 90.0;
    char arc[200];
    std::snprintf(arc, sizeof arc,
                  "M%.1f %.1fA%.2f %.2f %.1f 1 0 %.1f %.1fA%.2f %.2f %.1f 1 0 %.1f %.1fZ",
                  canvas.u[i] + du, canvas.v[i] + dv, a, b, rotation, canvas.u[i] - du,
                  canvas.v[i] - dv, a, b, rotation, canvas.u[i] + du, canvas.v[i] + dv);
    path += arc;
  }
  return path;
}

void WritePlanView(std::ostream& out, const AdjustmentReport& report) {
  double minX = INFINITY, maxX = -INFINITY, minY = INFINITY, maxY = -INFINITY, largest = 0.0;
  Canvas canvas;
  canvas.drawn.resize(report.points.size());
  std::vector<std::optional<EllipseResult>> ellipses(report.points.size());
  for (std::size_t i = 0; i < report.points.size(); ++i) {
    const PointResult& point = report.points[i];
    if (!(canvas.drawn[i] = InPlan(point))) continue;
    minX = std::min(minX, point.coordinate[0]), maxX = std::max(maxX, point.coordinate[0]);
    minY = std::min(minY, point.coordinate[1]), maxY = std::max(maxY, point.coordinate[1]);
    ellipses[i] = PointEllipse(report, point);
    if (ellipses[i] && std::isfinite(ellipses[i]->a95))
      largest = std::max(largest, ellipses[i]->a95);
  }
  double spanX = maxX - minX, spanY = maxY - minY, span = std::max(spanX, spanY);
  double usableWidth = canvasWidth - 2.0 * margin;
  // A network in a line still gets a finite scale, a single point 100 m across.
  double scale = span > 0.0 ? std::min(usableWidth / std::max(spanX, span * 1e-3),
                                       drawingHeight / std::max(spanY, span * 1e-3))
                            : usableWidth / 100.0;
  double height = std::max(spanY * scale, 120.0) + 2.0 * margin + barSpace;
  double left = margin + 0.5 * (usableWidth - spanX * scale);
  canvas.u.resize(report.points.size()), canvas.v.resize(report.points.size());
  for (std::size_t i = 0; i < report.points.size(); ++i) {
    if (!canvas.drawn[i]) continue;
    canvas.u[i] = left + (report.points[i].coordinate[0] - minX) * scale;
    canvas.v[i] = margin + (maxY - report.points[i].coordinate[1]) * scale;
  }
  double enlargement =
      largest > 0.0 ? RoundScaleLength(largestEllipsePixels / (largest * scale)) : 1.0;
  // A fifth of the mean spacing of the points, between 1 and 3 pixels.
  double drawnCount = double(std::count(canvas.drawn.begin(), canvas.drawn.end(), true));
  double spacing =
      std::sqrt(std::max(spanX * scale, 1.0) * std::max(spanY * scale, 1.0) / drawnCount);
  canvas.marker = std::clamp(0.2 * spacing, 1.0, 3.0);

  WriteSvgStart(out, true, height, "Plan of the network");
  WriteLinePaths(out, report, canvas, Sights(report, canvas.drawn, false));
  std::string ellipsePath = EllipsePath(canvas, ellipses, enlargement * scale);
  if (!ellipsePath.empty()) out << "<path class=\"ellipses\" d=\"" << ellipsePath << "\"/>\n";
  WritePointPaths(out, report, canvas);
  WriteLabels(out, report, canvas);
  double barTop = height - barSpace + 10.0;
  double mapBar = RoundScaleLength(200.0 / scale);
  WriteScaleBar(out, "map-scale", barTop, mapBar * scale, "map: " + LengthLabel(mapBar));
  std::string statement = "No confidence ellipses: the run gave no covariances.";
  if (largest > 0.0) {
    double ellipseBar = RoundScaleLength(120.0 / (enlargement * scale));
    WriteScaleBar(out, "ellipse-scale", barTop + 30.0, ellipseBar * enlargement * scale,
                  "ellipses: " + LengthLabel(ellipseBar));
    char text[160];
    std::snprintf(text, sizeof text,
                  "Ellipses: 95 %% confidence, enlarged %g\xC3\x97 (the map and the ellipses "
                  "have scale bars of their own).",
                  enlargement);
    statement = text;
  }
  WriteSvgEnd(out, true);
  WriteLegend(out, report, statement);
  WritePlanData(out, report, canvas);
}

// The index of the height among a point's coordinates: H of a height point, Z of a 3D point.
int HeightAxis(const PointResult& point) {
  return point.kind == PointKind::Height ? 0 : 2;
}

// The profile shows the height points and the 3D points that a levelling observation reaches,
// in file order from left to right; main when the network has no plan to draw.
void WriteProfileView(std::ostream& out, const AdjustmentReport& report, bool main) {
  Canvas canvas;
  canvas.profile = true;
  std::size_t count = report.points.size();
  std::vector<bool> levelled(count, false);
  for (const ObservationResult& observation : report.observations)
    if (observation.type == ObservationType::Levelling)
      levelled[observation.from] = levelled[observation.to] = true;
  canvas.drawn.resize(count);
  std::vector<std::size_t> order;  // the drawn points, left to right
  double low = INFINITY, high = -INFINITY, largest = 0.0;
  for (std::size_t i = 0; i < count; ++i) {
    const PointResult& point = report.points[i];
    double height = point.coordinate[HeightAxis(point)];
    const std::optional<double>& deviation = point.deviation[HeightAxis(point)];
    canvas.drawn[i] =
        (point.kind == PointKind::Height || (point.kind == PointKind::Spatial && levelled[i])) &&
        std::isfinite(height);
    if (!canvas.drawn[i]) continue;
    order.push_back(i);
    low = std::min(low, height), high = std::max(high, height);
    if (deviation && std::isfinite(*deviation)) largest = std::max(largest, *deviation);
  }
  if (!(low <= high)) low = high = 0.0;  // no height is finite: an empty profile
  double range = high > low ? high - low : 1.0;
  double height = drawingHeight * 0.6 + 2.0 * margin + barSpace;
  double scale = drawingHeight * 0.6 / range;
  std::size_t drawnCount = order.size();
  double step = drawnCount > 1 ? (canvasWidth - 2.0 * margin) / double(drawnCount - 1) : 0.0;
  canvas.u.resize(count), canvas.v.resize(count);
  for (std::size_t k = 0; k < drawnCount; ++k) {
    const PointResult& point = report.points[order[k]];
    canvas.u[order[k]] =
        margin + step * double(k) + (drawnCount > 1 ? 0.0 : 0.5 * (canvasWidth - 2 * margin));
    canvas.v[order[k]] = margin + (high - point.coordinate[HeightAxis(point)]) * scale;
  }
  double enlargement = largest > 0.0 ? RoundScaleLength(20.0 / (largest * scale)) : 1.0;
  WriteSvgStart(out, main, height, "Height profile of the levelling network");
  WriteLinePaths(out, report, canvas, Sights(report, canvas.drawn, true));
  std::string bars;
  for (std::size_t i = 0; i < count; ++i) {
    const std::optional<double>& deviation =
        report.points[i].deviation[HeightAxis(report.points[i])];
    if (!canvas.drawn[i] || !deviation || !std::isfinite(*deviation)) continue;
    double length = *deviation * enlargement * scale;
    bars += PrintfTenths("M%.1f %.1f", canvas.u[i], canvas.v[i] - length);
    bars += PrintfTenths("v%.1f", 2.0 * length, 0.0);
  }
  if (!bars.empty()) out << "<path class=\"ellipses\" d=\"" << bars << "\"/>\n";
  WritePointPaths(out, report, canvas);
  WriteLabels(out, report, canvas);
  double barTop = height - barSpace + 10.0;
  double heightBar = RoundScaleLength(100.0 / scale);
  WriteScaleBar(out, "map-scale", barTop, heightBar * scale, "heights: " + LengthLabel(heightBar));
  WriteSvgEnd(out, main);
  char statement[160];
  std::snprintf(statement, sizeof statement,
                "Points in file order from left to right, heights upwards; bars: \xC2\xB1 one "
                "standard deviation of the height, enlarged %g\xC3\x97.",
                enlargement);
  WriteLegend(out, report, statement);
  if (main) WritePlanData(out, report, canvas);
}

}  // namespace

void WriteHtmlPlan(std::ostream& out, const AdjustmentReport& report) {
  bool anyPlan = std::any_of(report.points.begin(), report.points.end(), InPlan);
  out << "<section id=\"plan\">\n<h2>"
      << (anyPlan || report.points.empty() ? "Plan" : "Height profile") << "</h2>\n";
  if (report.points.empty()) {
    out << "<p class=\"na\">No points to draw.</p>\n</section>\n";
    return;
  }
  out << "<p class=\"hint screen-only\">Mouse wheel zooms, dragging pans, double-click shows "
         "the whole network; hover over a point for its name.</p>\n";
  if (anyPlan) {
    WritePlanView(out, report);
  } else {
    WriteProfileView(out, report, true);
  }
  bool anyLevelling = std::any_of(report.observations.begin(), report.observations.end(),
                                  [](const ObservationResult& observation) {
                                    return observation.type == ObservationType::Levelling;
                                  });
  if (anyPlan && anyLevelling) {
    out << "<h3>Height profile of the levelling</h3>\n";
    WriteProfileView(out, report, false);
  }
  out << "</section>\n";
}

}  // namespace zradjust
