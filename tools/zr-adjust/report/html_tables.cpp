// The tables of the HTML report: points, direction sets, relative precision, observations.
// Complete in the file (printing shows every row); the page's script sorts and pages them.

#include <cmath>
#include <string>

#include "tools/zr-adjust/report/html_format.h"
#include "tools/zr-adjust/report/html_sections.h"

namespace zradjust {
namespace {

struct Column {
  const char* title;
  // Key of the figure in the data block's row, and how it is shown; empty for text columns.
  const char* field;
  const char* shown;
};

void WriteTableStart(std::ostream& out, const char* id, const char* caption,
                     std::initializer_list<Column> columns) {
  out << "<div class=\"table-wrap\"><table class=\"data\" id=\"" << id << "\"><caption>" << caption
      << "</caption>\n<thead><tr>";
  for (const Column& column : columns) {
    out << "<th scope=\"col\"";
    if (*column.field)
      out << " data-field=\"" << column.field << "\" data-shown=\"" << column.shown << "\"";
    out << ">" << column.title << "</th>";
  }
  out << "</tr></thead>\n<tbody>\n";
}

void WriteTableEnd(std::ostream& out) {
  out << "</tbody></table></div>\n";
}

std::string Cell(const std::string& text) {
  return "<td>" + text + "</td>";
}

// A number cell: right-aligned by the style sheet's column rules, no class needed, which keeps a
// large network's page a good deal smaller.
std::string Number(const std::string& text) {
  return "<td>" + text + "</td>";
}

std::string DeviationCell(const PointResult& point, int axis) {
  // "fixed" instead of a standard deviation of a held coordinate.
  if (point.fixed[axis]) return "<td class=\"fixed\">fixed</td>";
  return Number(Show(point.deviation[axis], ShownPrecision()));
}

void WritePointRow(std::ostream& out, const AdjustmentReport& report, std::size_t index) {
  const PointResult& point = report.points[index];
  bool height = point.kind == PointKind::Height;
  bool plan = point.kind == PointKind::Plan;
  const ShownQuantity coordinate = ShownCoordinate(), precision = ShownPrecision(),
                      bearing = ShownBearing(report.finalUnit);
  static const char* const kinds[3] = {"3D", "plan", "height"};
  out << "<tr id=\"pt-" << index << "\">" << Cell(HtmlText(point.name))
      << Cell(std::string(kinds[static_cast<int>(point.kind)]) +
              (point.datumPoint ? " datum" : ""));
  if (height) {
    out << Cell("") << Cell("") << Number(Show(point.coordinate[0], coordinate)) << Cell("")
        << Cell("") << DeviationCell(point, 0);
  } else {
    out << Number(Show(point.coordinate[0], coordinate))
        << Number(Show(point.coordinate[1], coordinate))
        << (plan ? Cell("") : Number(Show(point.coordinate[2], coordinate)))
        << DeviationCell(point, 0) << DeviationCell(point, 1)
        << (plan ? Cell("") : DeviationCell(point, 2));
  }
  std::optional<EllipseResult> ellipse = height ? std::nullopt : PointEllipse(report, point);
  if (ellipse) {
    out << Number(Show(ellipse->a, precision)) << Number(Show(ellipse->b, precision))
        << Number(Show(ellipse->bearing, bearing)) << Number(Show(ellipse->a95, precision))
        << Number(Show(ellipse->b95, precision));
  } else {
    // A point held in plan has no ellipse to miss.
    bool held = height || (point.fixed[0] && point.fixed[1]);
    for (int i = 0; i < 5; ++i)
      out << Cell(held ? "" : "n/a");
  }
  out << "</tr>\n";
}

void WritePoints(std::ostream& out, const AdjustmentReport& report) {
  std::string unit = UnitName(report.finalUnit);
  std::string bearingTitle = "bearing of a [" + unit + "]";
  out << "<section id=\"points\">\n<h2>Points</h2>\n";
  WriteTableStart(out, "table-points",
                  "Adjusted coordinates with standard deviations, standard error ellipses (a, b, "
                  "bearing of a) and 95 % confidence ellipses (a95, b95)",
                  {{"Point", "", ""},
                   {"kind", "", ""},
                   {"X [m]", "x", "coordinate"},
                   {"Y [m]", "y", "coordinate"},
                   {"Z / H [m]", "z", "coordinate"},
                   {"\xCF\x83X [mm]", "sx", "precision"},
                   {"\xCF\x83Y [mm]", "sy", "precision"},
                   {"\xCF\x83Z / \xCF\x83H [mm]", "sz", "precision"},
                   {"a [mm]", "a", "precision"},
                   {"b [mm]", "b", "precision"},
                   {bearingTitle.c_str(), "bearing", "bearing"},
                   {"a95 [mm]", "a95", "precision"},
                   {"b95 [mm]", "b95", "precision"}});
  for (std::size_t i = 0; i < report.points.size(); ++i)
    WritePointRow(out, report, i);
  WriteTableEnd(out);
  out << "</section>\n";
}

void WriteDirectionSets(std::ostream& out, const AdjustmentReport& report) {
  out << "<section id=\"sets\">\n<h2>Direction sets</h2>\n";
  if (report.orientations.empty()) {
    out << "<p class=\"na\">The network has no direction sets.</p>\n</section>\n";
    return;
  }
  std::vector<std::size_t> directionCount(report.orientations.size(), 0);
  for (const ObservationResult& observation : report.observations)
    if (observation.type == ObservationType::Direction && observation.set < directionCount.size())
      ++directionCount[observation.set];
  std::string orientationTitle =
      std::string("orientation [") + ShownBearing(report.finalUnit).unit + "]";
  std::string deviationTitle =
      std::string("\xCF\x83 [") + ShownSmallAngle(report.finalUnit).unit + "]";
  WriteTableStart(out, "table-sets", "Orientation unknowns of the direction sets",
                  {{"Set", "", ""},
                   {"station", "", ""},
                   {"directions", "", ""},
                   {orientationTitle.c_str(), "value", "angle"},
                   {deviationTitle.c_str(), "sd", "small"}});
  for (std::size_t i = 0; i < report.orientations.size(); ++i) {
    const OrientationResult& set = report.orientations[i];
    out << "<tr id=\"set-" << i << "\" data-unit=\"" << UnitName(report.finalUnit) << "\">"
        << Cell(HtmlText(set.set)) << Cell(HtmlText(report.points[set.station].name))
        << Number(std::to_string(directionCount[i]))
        << Number(Show(set.value, ShownAngle(report.finalUnit)))
        << Number(Show(set.deviation, ShownSmallAngle(report.finalUnit))) << "</tr>\n";
  }
  WriteTableEnd(out);
  out << "</section>\n";
}

void WriteRelative(std::ostream& out, const AdjustmentReport& report) {
  out << "<section id=\"relative\">\n<h2>Relative precision</h2>\n";
  if (report.relative.empty()) {
    out << "<p class=\"na\">Not available: no relative precision in this run.</p>\n</section>\n";
    return;
  }
  std::string bearingTitle = std::string("bearing of a [") + UnitName(report.finalUnit) + "]";
  WriteTableStart(out, "table-relative",
                  "Relative standard ellipses and standard deviations of the distance of "
                  "observed pairs",
                  {{"From", "", ""},
                   {"to", "", ""},
                   {"a [mm]", "a", "precision"},
                   {"b [mm]", "b", "precision"},
                   {bearingTitle.c_str(), "bearing", "bearing"},
                   {"\xCF\x83 distance [mm]", "sd_distance", "precision"}});
  const ShownQuantity precision = ShownPrecision();
  for (std::size_t i = 0; i < report.relative.size(); ++i) {
    const RelativeResult& pair = report.relative[i];
    out << "<tr id=\"rel-" << i << "\">" << Cell(HtmlText(report.points[pair.from].name))
        << Cell(HtmlText(report.points[pair.to].name));
    if (pair.ellipse) {
      out << Number(Show(pair.ellipse->a, precision)) << Number(Show(pair.ellipse->b, precision))
          << Number(Show(pair.ellipse->bearing, ShownBearing(report.finalUnit)));
    } else {
      out << Cell("n/a") << Cell("n/a") << Cell("n/a");
    }
    out << Number(Show(pair.distanceDeviation, precision)) << "</tr>\n";
  }
  WriteTableEnd(out);
  out << "</section>\n";
}

std::string FlagCell(const ObservationResult& observation) {
  if (observation.outlier) return "<td class=\"flag bad\" data-sort=\"2\">outlier</td>";
  if (observation.uncontrolled) return "<td class=\"flag\" data-sort=\"1\">uncontrolled</td>";
  return "<td class=\"flag\" data-sort=\"0\"></td>";
}

void WriteObservationRow(std::ostream& out, const AdjustmentReport& report, std::size_t index) {
  const ObservationResult& observation = report.observations[index];
  bool angular = IsAngular(observation.type);
  ShownQuantity value = angular ? ShownAngle(observation.unit) : ShownCoordinate();
  ShownQuantity small = angular ? ShownSmallAngle(observation.unit) : ShownPrecision();
  auto name = [&](std::size_t point) { return HtmlText(report.points[point].name); };
  std::string station, target;
  if (observation.type == ObservationType::Coordinate) {
    station = name(observation.from);
    target = std::string("axis ") + observation.axis;
  } else if (observation.type == ObservationType::Angle) {
    station = name(observation.at);
    target = name(observation.from) + " \xE2\x86\x92 " + name(observation.to);
  } else {
    station = name(observation.from);
    target = name(observation.to);
  }
  std::string type = TypeName(observation.type);
  if (observation.type == ObservationType::Direction &&
      observation.set < report.orientations.size())
    type += " " + HtmlText(report.orientations[observation.set].set);
  out << "<tr id=\"obs-" << index << "\"";
  if (angular) out << " data-unit=\"" << UnitName(observation.unit) << "\"";
  if (observation.outlier) out << " class=\"outlier\"";
  out << ">" << Number(std::to_string(observation.line)) << Cell(type) << Cell(station)
      << Cell(target) << Cell(std::string(value.unit) + " / " + small.unit)
      << Number(Show(observation.observed, value)) << Number(Show(observation.adjusted, value))
      << Number(Show(observation.residual, small)) << Number(Show(observation.sigma, small))
      << Number(Fixed(ShownRedundancy(observation), 3)) << Number(Fixed(observation.w, 2))
      << Number(Show(observation.mdb, small)) << FlagCell(observation) << "</tr>\n";
}

void WriteObservations(std::ostream& out, const AdjustmentReport& report) {
  out << "<section id=\"observations\">\n<h2>Observations</h2>\n";
  WriteTableStart(out, "table-observations",
                  "Observations in file order: residual v = observed \xE2\x88\x92 adjusted, "
                  "a-priori \xCF\x83, redundancy number r\xE1\xB5\xA2, standardised residual w, "
                  "minimal detectable bias",
                  {{"line", "line", "plain"},
                   {"type", "", ""},
                   {"station / from", "", ""},
                   {"target / to", "", ""},
                   {"unit", "", ""},
                   {"observed", "observed", "value"},
                   {"adjusted", "adjusted", "value"},
                   {"residual v", "residual", "small"},
                   {"\xCF\x83", "sigma", "small"},
                   {"r\xE1\xB5\xA2", "redundancy", "plain"},
                   {"w", "w", "plain"},
                   {"MDB", "mdb", "small"},
                   {"flag", "", ""}});
  for (std::size_t i = 0; i < report.observations.size(); ++i)
    WriteObservationRow(out, report, i);
  WriteTableEnd(out);
  out << "</section>\n";
}

}  // namespace

void WriteHtmlTables(std::ostream& out, const AdjustmentReport& report) {
  WritePoints(out, report);
  WriteDirectionSets(out, report);
  WriteRelative(out, report);
  WriteObservations(out, report);
}

}  // namespace zradjust
