// The observation table of the text report and the list of flagged observations.

#include <cmath>
#include <cstdio>
#include <string>

#include "tools/zr-adjust/report/report_units.h"
#include "tools/zr-adjust/report/text_report.h"
#include "tools/zr-adjust/report/text_table.h"

namespace zradjust {
namespace {

constexpr double millimetresPerMetre = 1000.0;

// How one observation's values are shown: the unit of observed and adjusted, the sub-unit of
// residual and bias, and the factors from the program's metres or radians.
struct Shown {
  const char* unit;
  const char* subUnit;
  double perUnit;     // metres or radians per unit
  double perSubUnit;  // metres or radians per sub-unit
  int decimals;
};

Shown ShownAs(const ObservationResult& observation) {
  if (!IsAngular(observation.type)) return {"m", "mm", 1.0, 1.0 / millimetresPerMetre, 4};
  AngleSubUnit subUnit = SubUnitOf(observation.unit);
  return {UnitName(observation.unit), subUnit.name, RadiansPerUnit(observation.unit),
          subUnit.radians, AngleDecimals(observation.unit)};
}

// The [at,] from and to/axis cells: an angle is measured at AT from FROM to TO (the at column
// exists only when there are angles); a coordinate observation names its point and its axis.
void AddPointCells(const AdjustmentReport& report, const ObservationResult& observation,
                   bool withAt, std::vector<std::string>& cells) {
  auto name = [&](std::size_t index) { return report.points[index].name; };
  if (withAt)
    cells.push_back(observation.type == ObservationType::Angle ? name(observation.at) : "");
  cells.push_back(name(observation.from));
  cells.push_back(observation.type == ObservationType::Coordinate ? std::string(1, observation.axis)
                                                                  : name(observation.to));
}

std::vector<TextTable::Column> PointHeadings(bool withAt) {
  std::vector<TextTable::Column> headings;
  if (withAt) headings.push_back({"at", Align::Left});
  headings.insert(headings.end(), {{"from", Align::Left}, {"to/axis", Align::Left}});
  return headings;
}

// Which optional columns the tables need.
struct Columns {
  bool sets = false;
  bool at = false;
};

std::string Flag(const ObservationResult& observation) {
  if (observation.uncontrolled) return "uncontrolled";
  return observation.outlier ? "outlier" : "";
}

std::string Optional(const std::optional<double>& value, double divisor, int decimals) {
  return value ? FixedOrExponent(*value / divisor, decimals) : "";
}

void WriteTable(std::ostream& out, const AdjustmentReport& report, Columns columns) {
  std::vector<TextTable::Column> headings = {{"line"}, {"type", Align::Left}};
  if (columns.sets) headings.push_back({"set", Align::Left});
  for (const TextTable::Column& heading : PointHeadings(columns.at))
    headings.push_back(heading);
  headings.insert(headings.end(), {{"observed"},
                                   {"adjusted"},
                                   {"unit", Align::Left},
                                   {"residual"},
                                   {"MDB"},
                                   {"unit", Align::Left},
                                   {"v/\xCF\x83"},
                                   {"r\xE1\xB5\xA2"},
                                   {"w"},
                                   {"", Align::Left}});
  TextTable table(headings);
  for (const ObservationResult& observation : report.observations) {
    Shown shown = ShownAs(observation);
    // Cells moved into the row one by one: a list would copy each of them once more, for
    // every one of a large network's observations.
    std::vector<std::string> row;
    row.reserve(headings.size());
    row.push_back(std::to_string(observation.line));
    row.push_back(TypeName(observation.type));
    if (columns.sets) {
      bool direction = observation.type == ObservationType::Direction &&
                       observation.set < report.orientations.size();
      row.push_back(direction ? report.orientations[observation.set].set : "");
    }
    AddPointCells(report, observation, columns.at, row);
    row.push_back(FixedOrExponent(observation.observed / shown.perUnit, shown.decimals));
    row.push_back(FixedOrExponent(observation.adjusted / shown.perUnit, shown.decimals));
    row.push_back(shown.unit);
    row.push_back(FixedOrExponent(observation.residual / shown.perSubUnit, 2));
    row.push_back(Optional(observation.mdb, shown.perSubUnit, 2));
    row.push_back(shown.subUnit);
    row.push_back(FixedOrExponent(observation.normalized, 2));
    row.push_back(FixedOrExponent(observation.redundancy, 3));
    row.push_back(Optional(observation.w, 1.0, 2));
    row.push_back(Flag(observation));
    table.AddRow(std::move(row));
  }
  table.Write(out);
}

void WriteFlagged(std::ostream& out, const AdjustmentReport& report, Columns columns) {
  bool anyW = false;
  for (const ObservationResult& observation : report.observations)
    anyW = anyW || observation.w.has_value();
  if (!anyW) {
    out << "Flagged observations: none (no w-test without redundancy numbers)\n";
    return;
  }
  if (report.flagged.empty()) {
    out << "Flagged observations: none (|w| at most " << FixedOrExponent(report.criticalW, 2)
        << " wherever it is defined)\n";
    return;
  }
  out << "Flagged observations, largest |w| first (|w| > " << FixedOrExponent(report.criticalW, 2)
      << ")\n";
  std::vector<TextTable::Column> headings = {{"line"}, {"type", Align::Left}};
  for (const TextTable::Column& heading : PointHeadings(columns.at))
    headings.push_back(heading);
  headings.insert(headings.end(), {{"w"}, {"residual"}, {"MDB"}, {"unit", Align::Left}});
  TextTable table(headings);
  for (std::size_t index : report.flagged) {
    if (index >= report.observations.size()) continue;
    const ObservationResult& observation = report.observations[index];
    Shown shown = ShownAs(observation);
    std::vector<std::string> row = {std::to_string(observation.line), TypeName(observation.type)};
    AddPointCells(report, observation, columns.at, row);
    row.insert(row.end(), {Optional(observation.w, 1.0, 2),
                           FixedOrExponent(observation.residual / shown.perSubUnit, 2),
                           Optional(observation.mdb, shown.perSubUnit, 2), shown.subUnit});
    table.AddRow(std::move(row));
  }
  table.Write(out);
}

}  // namespace

void WriteTextObservations(std::ostream& out, const AdjustmentReport& report) {
  if (report.observations.empty()) return;
  Columns columns;
  bool anyOutlier = false, anyUncontrolled = false, anyAngle = false;
  for (const ObservationResult& observation : report.observations) {
    columns.sets = columns.sets || observation.type == ObservationType::Direction;
    columns.at = columns.at || observation.type == ObservationType::Angle;
    anyOutlier = anyOutlier || observation.outlier;
    anyAngle = anyAngle || IsAngular(observation.type);
    anyUncontrolled = anyUncontrolled || observation.uncontrolled;
  }
  out << "Observations: residual v = observed - adjusted and minimal detectable bias MDB in mm";
  if (anyAngle) {
    out << "\n(angles: observed and adjusted in the unit of the record, v and MDB in mgon, "
           "\xE2\x80\xB3 or \xC2\xB5rad)";
  }
  out << ",\nredundancy number r\xE1\xB5\xA2, w = v / "
         "(\xCF\x83\xC2\xB7\xE2\x88\x9Ar\xE1\xB5\xA2)\n";
  WriteTable(out, report, columns);
  if (anyOutlier) {
    out << "  outlier: |w| above the critical value " << FixedOrExponent(report.criticalW, 2)
        << "\n";
  }
  if (anyUncontrolled) {
    out << "  uncontrolled: r\xE1\xB5\xA2 below " << uncontrolledRedundancy
        << ", the other observations cannot reveal an error in it: no w, no MDB\n";
  }
  out << "\n";
  WriteFlagged(out, report, columns);
}

}  // namespace zradjust
