#include "tools/zr-adjust/report/text_report.h"

#include <cmath>
#include <cstdio>
#include <string>

#include "tools/zr-adjust/report/report_units.h"
#include "tools/zr-adjust/report/text_table.h"

namespace zradjust {
namespace {

constexpr double millimetresPerMetre = 1000.0;
// Datum points named on one line of the summary before the next line starts.
constexpr std::size_t namesPerLine = 10;

void SummaryLine(std::ostream& out, const char* label, const std::string& text) {
  out << Formatted("  %-16s ", label) << text << "\n";
}

std::string Millimetres(double metres) {
  return FixedOrExponent(metres * millimetresPerMetre, 2);
}

std::string PointCounts(const AdjustmentReport& report) {
  std::size_t counts[3] = {0, 0, 0};
  for (const PointResult& point : report.points)
    ++counts[static_cast<int>(point.kind)];
  static const char* const kinds[3] = {"3D", "plan", "height"};
  std::string text;
  for (int kind = 0; kind < 3; ++kind) {
    if (counts[kind] == 0) continue;
    text += (text.empty() ? "" : ", ") + std::to_string(counts[kind]) + " " + kinds[kind];
  }
  return std::to_string(report.points.size()) + (text.empty() ? "" : " (" + text + ")");
}

std::string RunState(const AdjustmentReport& report) {
  if (report.evaluateOnly) return "evaluation only, no corrections applied";
  if (report.diverged) return "stopped: coordinates are no longer finite";
  if (report.converged) return Formatted("converged, no correction above %g m", report.tolerance);
  return Formatted("NOT converged: iteration limit reached, tolerance %g m", report.tolerance);
}

void WriteDatum(std::ostream& out, const AdjustmentReport& report) {
  const DatumResult& datum = report.datum;
  if (!datum.free) {
    SummaryLine(out, "datum", "fixed (by the fixed and observed coordinates)");
    return;
  }
  std::string parameters;
  for (const std::string& parameter : datum.parameters)
    parameters += (parameters.empty() ? "" : " ") + parameter;
  SummaryLine(out, "datum",
              Formatted("free, defect %d (%s), minimum trace over %zu datum points", datum.defect,
                        parameters.c_str(), datum.points.size()));
  for (std::size_t first = 0; first < datum.points.size(); first += namesPerLine) {
    std::string names;
    for (std::size_t i = first; i < datum.points.size() && i < first + namesPerLine; ++i)
      names += (names.empty() ? "" : " ") + report.points[datum.points[i]].name;
    SummaryLine(out, first == 0 ? "datum points" : "", names);
  }
}

void WriteStatisticsSummary(std::ostream& out, const AdjustmentReport& report) {
  // A sigma0 that is not finite (a run that broke down) reads as undefined too.
  bool defined = report.sigma0 && std::isfinite(*report.sigma0);
  std::string sigma0 = defined ? FixedOrExponent(*report.sigma0, 4)
                       : report.redundancy <= 0
                           ? Formatted("undefined (r = %lld)", report.redundancy)
                           : std::string("undefined (not finite)");
  SummaryLine(out, "sigma0", sigma0);
  WriteDatum(out, report);
  if (report.varianceFactor == VarianceFactor::Estimated) {
    SummaryLine(out, "variance factor",
                "estimated: covariances scaled by sigma0\xC2\xB2" +
                    (defined ? " = " + FixedOrExponent(*report.sigma0 * *report.sigma0, 4)
                             : std::string()));
  } else if (report.varianceFactorForced) {
    SummaryLine(out, "variance factor",
                "known (SIGMAs taken as true): with r = 0 there is nothing to estimate it from");
  } else {
    SummaryLine(out, "variance factor", "known (SIGMAs taken as true)");
  }
  if (report.globalTest) {
    const GlobalTestResult& test = *report.globalTest;
    SummaryLine(
        out, "global test",
        Formatted("%s at alpha = %g: r\xC2\xB7sigma0\xC2\xB2 = %s, accepted from %s to %s",
                  test.passed ? "passed" : "FAILED", test.alpha,
                  FixedOrExponent(test.value, 3).c_str(), FixedOrExponent(test.lower, 3).c_str(),
                  FixedOrExponent(test.upper, 3).c_str()));
  } else if (report.redundancy <= 0) {
    SummaryLine(out, "global test", Formatted("not possible (r = %lld)", report.redundancy));
  } else {
    SummaryLine(out, "global test", "not computed");
  }
}

void WriteSummary(std::ostream& out, const AdjustmentReport& report) {
  out << "Network " << report.networkFile << "\n\nSummary\n";
  SummaryLine(out, "points", PointCounts(report));
  SummaryLine(out, "unknowns", std::to_string(report.unknownCount));
  SummaryLine(out, "observations", std::to_string(report.observations.size()));
  SummaryLine(out, "redundancy", std::to_string(report.redundancy));
  SummaryLine(out, "iterations",
              std::to_string(report.iterations.size()) + " (" + RunState(report) + ")");
  WriteStatisticsSummary(out, report);
  out << "\n";
}

// A standard deviation cell: blank for a fixed coordinate, '-' where it is not determined.
std::string DeviationCell(const PointResult& point, int axis) {
  if (point.fixed[axis]) return "";
  if (!point.deviation[axis]) return "-";
  return Millimetres(*point.deviation[axis]);
}

std::string FixedAxes(const PointResult& point) {
  std::string axes;
  int count = point.kind == PointKind::Spatial ? 3 : point.kind == PointKind::Plan ? 2 : 1;
  for (int axis = 0; axis < count; ++axis) {
    if (point.fixed[axis]) axes += AxisName(point.kind, axis);
  }
  return axes.empty() ? "" : "fixed " + axes;
}

struct PointColumns {
  bool plan = false;      // X and Y
  bool vertical = false;  // Z or H
  bool ellipses = false;
};

std::vector<std::string> PointRow(const PointResult& point, const PointColumns& columns,
                                  AngleUnit unit) {
  std::vector<std::string> cells = {point.name};
  bool hasPlan = point.kind != PointKind::Height;
  int vertical = point.kind == PointKind::Spatial ? 2 : point.kind == PointKind::Height ? 0 : -1;
  for (int axis = 0; axis < 2 && columns.plan; ++axis)
    cells.push_back(hasPlan ? FixedOrExponent(point.coordinate[axis], 4) : "");
  if (columns.vertical)
    cells.push_back(vertical >= 0 ? FixedOrExponent(point.coordinate[vertical], 4) : "");
  for (int axis = 0; axis < 2 && columns.plan; ++axis)
    cells.push_back(hasPlan ? DeviationCell(point, axis) : "");
  if (columns.vertical) cells.push_back(vertical >= 0 ? DeviationCell(point, vertical) : "");
  if (columns.ellipses) {
    if (point.ellipse) {
      const EllipseResult& e = *point.ellipse;
      for (std::string cell : {Millimetres(e.a), Millimetres(e.b),
                               FixedOrExponent(InUnit(e.bearing, unit), AngleDecimals(unit) - 2),
                               Millimetres(e.a95), Millimetres(e.b95)})
        cells.push_back(cell);
    } else {
      cells.resize(cells.size() + 5);
    }
  }
  cells.push_back(FixedAxes(point));
  return cells;
}

void WritePoints(std::ostream& out, const AdjustmentReport& report) {
  if (report.points.empty()) return;
  PointColumns columns;
  for (const PointResult& point : report.points) {
    columns.plan = columns.plan || point.kind != PointKind::Height;
    columns.vertical = columns.vertical || point.kind != PointKind::Plan;
    columns.ellipses = columns.ellipses || point.ellipse.has_value();
  }
  const char* unit = UnitName(report.finalUnit);
  out << "Adjusted coordinates [m], standard deviations [mm]";
  if (columns.ellipses) {
    out << Formatted(
        ";\nstandard ellipse a, b [mm] with the bearing of a [%s], 95 %% confidence ellipse "
        "a95, b95 [mm] = standard \xC3\x97 %.4f",
        unit, report.confidenceFactor);
  }
  out << "\n";
  std::vector<TextTable::Column> headings = {{"point", Align::Left}};
  if (columns.plan) headings.insert(headings.end(), {{"X"}, {"Y"}});
  if (columns.vertical) headings.push_back({columns.plan ? "Z/H" : "H"});
  if (columns.plan) headings.insert(headings.end(), {{"sX"}, {"sY"}});
  if (columns.vertical) headings.push_back({columns.plan ? "sZ/sH" : "sH"});
  if (columns.ellipses)
    headings.insert(headings.end(), {{"a"}, {"b"}, {"bearing"}, {"a95"}, {"b95"}});
  headings.push_back({"", Align::Left});
  TextTable table(headings);
  bool undetermined = false;
  for (const PointResult& point : report.points) {
    std::vector<std::string> row = PointRow(point, columns, report.finalUnit);
    for (const std::string& cell : row)
      undetermined = undetermined || cell == "-";
    table.AddRow(std::move(row));
  }
  table.Write(out);
  if (undetermined) out << "  - not determined (held only by the damping, or not computed)\n";
  out << "\n";
}

void WriteOrientations(std::ostream& out, const AdjustmentReport& report) {
  if (report.orientations.empty()) return;
  AngleUnit unit = report.finalUnit;
  AngleSubUnit subUnit = SubUnitOf(unit);
  out << "Direction sets: orientation [" << UnitName(unit) << "], standard deviation ["
      << subUnit.name << "]\n";
  TextTable table({{"set", Align::Left}, {"station", Align::Left}, {"orientation"}, {"sd"}});
  for (const OrientationResult& orientation : report.orientations) {
    table.AddRow({orientation.set, report.points[orientation.station].name,
                  FixedOrExponent(InUnit(orientation.value, unit), AngleDecimals(unit)),
                  orientation.deviation
                      ? FixedOrExponent(*orientation.deviation / subUnit.radians, 2)
                      : "-"});
  }
  table.Write(out);
  out << "\n";
}

void WriteRelative(std::ostream& out, const AdjustmentReport& report) {
  if (report.relative.empty()) return;
  AngleUnit unit = report.finalUnit;
  out << "Relative precision of observed pairs: standard ellipse of TO - FROM a, b [mm],\n"
         "bearing of a ["
      << UnitName(unit) << "], standard deviation of the distance [mm]\n";
  TextTable table(
      {{"from", Align::Left}, {"to", Align::Left}, {"a"}, {"b"}, {"bearing"}, {"sd distance"}});
  for (const RelativeResult& pair : report.relative) {
    std::vector<std::string> row = {report.points[pair.from].name, report.points[pair.to].name, "",
                                    "", ""};
    if (pair.ellipse) {
      row[2] = Millimetres(pair.ellipse->a);
      row[3] = Millimetres(pair.ellipse->b);
      row[4] = FixedOrExponent(InUnit(pair.ellipse->bearing, unit), AngleDecimals(unit) - 2);
    }
    row.push_back(pair.distanceDeviation ? Millimetres(*pair.distanceDeviation) : "-");
    table.AddRow(std::move(row));
  }
  table.Write(out);
  out << "\n";
}

}  // namespace

void WriteTextReport(std::ostream& out, const AdjustmentReport& report) {
  WriteSummary(out, report);
  WritePoints(out, report);
  WriteOrientations(out, report);
  WriteRelative(out, report);
  WriteTextObservations(out, report);
}

}  // namespace zradjust
