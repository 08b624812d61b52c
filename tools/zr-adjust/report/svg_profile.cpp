// The height profile of a levelling network: the SVG drawing when no point has a plan position.

#include <algorithm>
#include <cmath>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tools/zr-adjust/report/svg_plot.h"

namespace zradjust {
namespace {

// Canvas layout in SVG pixels.
constexpr double profileWidth = 860.0;
constexpr double profileHeight = 400.0;
constexpr double marginLeft = 100.0;
constexpr double marginRight = 60.0;
constexpr double marginTop = 90.0;
constexpr double marginBottom = 140.0;
// The longest standard deviation bar is drawn about this long.
constexpr double largestBarPixels = 28.0;
constexpr double barScalePixels = 60.0;
// About this many height ticks on the axis.
constexpr double tickCount = 5.0;

struct Profile {
  // Index into report.points of each height point, in file order, and its place across.
  std::vector<std::size_t> points;
  std::vector<double> across;
  double minH = 0.0;
  double maxH = 0.0;
  double scale = 1.0;  // pixels per metre of height

  double V(double h) const { return marginTop + profileHeight - (h - minH) * scale; }
};

Profile ProfileOf(const AdjustmentReport& report) {
  Profile profile;
  profile.minH = INFINITY, profile.maxH = -INFINITY;
  for (std::size_t p = 0; p < report.points.size(); ++p) {
    const PointResult& point = report.points[p];
    if (point.kind != PointKind::Height || !std::isfinite(point.coordinate[0])) continue;
    profile.points.push_back(p);
    profile.minH = std::min(profile.minH, point.coordinate[0]);
    profile.maxH = std::max(profile.maxH, point.coordinate[0]);
  }
  std::size_t count = profile.points.size();
  for (std::size_t k = 0; k < count; ++k) {
    profile.across.push_back(marginLeft + (count > 1
                                               ? profileWidth * static_cast<double>(k) / (count - 1)
                                               : 0.5 * profileWidth));
  }
  double span = profile.maxH - profile.minH;
  // A flat profile (or a single point) is drawn across the middle, 1 m high.
  if (!(span > 0.0) || !std::isfinite(span)) {
    span = 1.0;
    profile.minH = count ? profile.minH - 0.5 : 0.0;
  }
  profile.scale = profileHeight / span;
  return profile;
}

void WriteAxis(std::ostream& out, const Profile& profile) {
  double span = profileHeight / profile.scale;
  double step = RoundScaleLength(span / tickCount);
  out << "<g id=\"height-axis\" font-family=\"sans-serif\" font-size=\"12\" "
         "stroke=\"#000000\">\n";
  out << Formatted("  <line x1=\"%.2f\" y1=\"%.2f\" x2=\"%.2f\" y2=\"%.2f\"/>\n", marginLeft - 30.0,
                   marginTop, marginLeft - 30.0, marginTop + profileHeight);
  double first = std::ceil(profile.minH / step) * step;
  for (int tick = 0; tick <= 2 * tickCount + 1; ++tick) {
    double h = first + tick * step;
    if (!std::isfinite(h) || h > profile.minH + span) break;
    double v = profile.V(h);
    out << Formatted("  <line x1=\"%.2f\" y1=\"%.2f\" x2=\"%.2f\" y2=\"%.2f\"/>\n",
                     marginLeft - 36.0, v, marginLeft - 30.0, v);
    out << Formatted(
        "  <text x=\"%.2f\" y=\"%.2f\" stroke=\"none\" text-anchor=\"end\">%g</text>\n",
        marginLeft - 40.0, v + 4.0, h);
  }
  out << "</g>\n";
}

void WriteLevellingLines(std::ostream& out, const AdjustmentReport& report,
                         const Profile& profile) {
  std::vector<long> place(report.points.size(), -1);
  for (std::size_t k = 0; k < profile.points.size(); ++k)
    place[profile.points[k]] = static_cast<long>(k);
  std::set<std::pair<long, long>> drawn;
  out << "<g id=\"observations\" fill=\"none\" stroke=\"#2e8b57\" stroke-dasharray=\"2 3\" "
         "stroke-width=\"1.2\">\n";
  for (const ObservationResult& observation : report.observations) {
    if (observation.from >= place.size() || observation.to >= place.size()) continue;
    long from = place[observation.from], to = place[observation.to];
    if (from < 0 || to < 0 || from == to) continue;
    if (!drawn.insert({std::min(from, to), std::max(from, to)}).second) continue;
    out << Formatted("  <line x1=\"%.2f\" y1=\"%.2f\" x2=\"%.2f\" y2=\"%.2f\"/>\n",
                     profile.across[from], profile.V(report.points[observation.from].coordinate[0]),
                     profile.across[to], profile.V(report.points[observation.to].coordinate[0]));
  }
  out << "</g>\n";
}

void WritePointsAndBars(std::ostream& out, const AdjustmentReport& report, const Profile& profile,
                        double enlargement) {
  out << "<g id=\"points\" font-family=\"sans-serif\" font-size=\"12\">\n";
  for (std::size_t k = 0; k < profile.points.size(); ++k) {
    const PointResult& point = report.points[profile.points[k]];
    double u = profile.across[k], v = profile.V(point.coordinate[0]);
    if (point.deviation[0] && std::isfinite(*point.deviation[0])) {
      double half = *point.deviation[0] * enlargement * profile.scale;
      out << Formatted(
          "  <path d=\"M %.2f %.2f v %.3f M %.2f %.2f h 8 M %.2f %.2f h 8\" stroke=\"#d62728\" "
          "stroke-width=\"2\"><title>%s: %.2f mm</title></path>\n",
          u, v - half, 2.0 * half, u - 4.0, v - half, u - 4.0, v + half,
          XmlText(point.name).c_str(), *point.deviation[0] * 1000.0);
    }
    WritePointMark(out, u, v, point.fixed[0]);
    out << Formatted("  <text x=\"%.2f\" y=\"%.2f\">%s</text>\n", u + 7.0, v - 8.0,
                     XmlText(point.name).c_str());
  }
  out << "</g>\n";
}

}  // namespace

void WriteHeightProfile(std::ostream& out, const AdjustmentReport& report) {
  Profile profile = ProfileOf(report);
  double largest = 0.0;
  for (std::size_t p : profile.points) {
    const std::optional<double>& deviation = report.points[p].deviation[0];
    if (deviation && std::isfinite(*deviation)) largest = std::max(largest, *deviation);
  }
  double enlargement = RoundEnlargement(largest, profile.scale, largestBarPixels);
  double width = marginLeft + profileWidth + marginRight;
  double height = marginTop + profileHeight + marginBottom;
  std::string bars = largest > 0.0 ? Formatted(
                                         "bars: standard deviation of the height (\xC2\xB1"
                                         "1\xCF\x83), enlarged %g\xC3\x97",
                                         enlargement)
                                   : std::string("no standard deviations");
  WriteSvgHeader(out, width, height, marginLeft, report.networkFile,
                 "height profile: points in file order across, heights [m] up; " + bars);
  WriteAxis(out, profile);
  WriteLevellingLines(out, report, profile);
  WritePointsAndBars(out, report, profile, enlargement);
  double barTop = marginTop + profileHeight + 50.0;
  out << "<g id=\"scale\" font-family=\"sans-serif\" font-size=\"12\">\n";
  if (largest > 0.0) {
    double length = RoundScaleLength(barScalePixels / (enlargement * profile.scale));
    WriteScaleBar(out, "deviation-scale", marginLeft, barTop, length * enlargement * profile.scale,
                  "bars " + MetresLabel(length) + " (drawn upright)", "#d62728");
  }
  out << Formatted(
      "  <line x1=\"%.2f\" y1=\"%.2f\" x2=\"%.2f\" y2=\"%.2f\" stroke=\"#2e8b57\" "
      "stroke-dasharray=\"2 3\" stroke-width=\"1.2\"/>\n"
      "  <text x=\"%.2f\" y=\"%.2f\">levelling</text>\n",
      marginLeft, barTop + 40.0, marginLeft + 30.0, barTop + 40.0, marginLeft + 36.0,
      barTop + 44.0);
  out << "</g>\n</svg>\n";
}

}  // namespace zradjust
