// The JSON data block of the HTML report and the figures that several sections derive alike.

#include <charconv>
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "tools/zr-adjust/report/html_sections.h"
#include "tools/zr-adjust/report/json_report.h"
#include "tools/zr-adjust/report/svg_plot.h"

namespace zradjust {
namespace {

// A JSON string that is also safe inside a script element: '<' is escaped so that no name can
// close the element.
std::string ScriptJsonString(const std::string& text) {
  return JsonString(text, true);
}

// The shortest decimal that reads back to the same double (null when not finite or missing):
// as exact as 17 digits, and a third shorter on a large network.
std::string Number(std::optional<double> value) {
  if (!value || !std::isfinite(*value)) return "null";
  char buffer[32];
  auto result = std::to_chars(buffer, buffer + sizeof buffer, *value);
  return std::string(buffer, result.ptr);
}

// One column of a table in the data block: "key": [value of row 0, row 1, ...].
template <typename Rows, typename Value>
void WriteColumn(std::ostream& out, const char* key, const Rows& rows, Value value,
                 bool first = false) {
  out << (first ? "\n\"" : ",\n\"") << key << "\": [";
  // Gathered in blocks: a column of a large network has a million values.
  constexpr std::size_t blockBytes = std::size_t{1} << 20;
  std::string block;
  for (std::size_t i = 0; i < rows.size(); ++i) {
    if (i) block += ',';
    block += value(rows[i]);
    if (block.size() >= blockBytes) {
      out << block;
      block.clear();
    }
  }
  out << block << "]";
}

// The five columns of an ellipse: a, b, bearing, a95, b95 (null where there is none).
template <typename Rows, typename Ellipse>
void WriteEllipseColumns(std::ostream& out, const Rows& rows, Ellipse ellipseOf) {
  static const char* const keys[5] = {"a", "b", "bearing", "a95", "b95"};
  static double EllipseResult::*const members[5] = {&EllipseResult::a, &EllipseResult::b,
                                                    &EllipseResult::bearing, &EllipseResult::a95,
                                                    &EllipseResult::b95};
  for (int k = 0; k < 5; ++k) {
    WriteColumn(out, keys[k], rows, [&](const auto& row) {
      std::optional<EllipseResult> ellipse = ellipseOf(row);
      return Number(ellipse ? std::optional<double>((*ellipse).*members[k]) : std::nullopt);
    });
  }
}

// The point's coordinates and standard deviations as the table's X, Y, Z columns show them: a
// height point's H and its deviation in Z; nothing for a fixed coordinate's deviation.
struct PointColumns {
  std::optional<double> coordinate[3], deviation[3];
  std::optional<EllipseResult> ellipse;
};

PointColumns ColumnsOf(const AdjustmentReport& report, const PointResult& point) {
  PointColumns columns;
  int count = point.kind == PointKind::Spatial ? 3 : point.kind == PointKind::Plan ? 2 : 1;
  for (int axis = 0; axis < count; ++axis) {
    int column = point.kind == PointKind::Height ? 2 : axis;
    columns.coordinate[column] = point.coordinate[axis];
    if (!point.fixed[axis]) columns.deviation[column] = point.deviation[axis];
  }
  if (point.kind != PointKind::Height) columns.ellipse = PointEllipse(report, point);
  return columns;
}

void WritePoints(std::ostream& out, const AdjustmentReport& report) {
  static const char* const kinds[3] = {"\"3d\"", "\"plan\"", "\"height\""};
  std::vector<PointColumns> columns;
  for (const PointResult& point : report.points)
    columns.push_back(ColumnsOf(report, point));
  out << ",\n\"points\": {";
  WriteColumn(
      out, "name", report.points, [](const PointResult& p) { return ScriptJsonString(p.name); },
      true);
  WriteColumn(out, "kind", report.points,
              [](const PointResult& p) { return kinds[static_cast<int>(p.kind)]; });
  static const char* const names[3] = {"x", "y", "z"};
  static const char* const deviations[3] = {"sx", "sy", "sz"};
  for (int axis = 0; axis < 3; ++axis) {
    WriteColumn(out, names[axis], columns,
                [&](const PointColumns& c) { return Number(c.coordinate[axis]); });
    WriteColumn(out, deviations[axis], columns,
                [&](const PointColumns& c) { return Number(c.deviation[axis]); });
  }
  WriteEllipseColumns(out, columns, [](const PointColumns& c) { return c.ellipse; });
  out << "}";
}

void WriteObservations(std::ostream& out, const AdjustmentReport& report) {
  const auto& rows = report.observations;
  using Row = ObservationResult;
  out << ",\n\"observations\": {";
  WriteColumn(
      out, "type", rows, [](const Row& o) { return std::string("\"") + TypeName(o.type) + "\""; },
      true);
  WriteColumn(out, "unit", rows, [](const Row& o) {
    return std::string("\"") + (IsAngular(o.type) ? UnitName(o.unit) : "m") + "\"";
  });
  WriteColumn(out, "line", rows, [](const Row& o) { return std::to_string(o.line); });
  WriteColumn(out, "observed", rows, [](const Row& o) { return Number(o.observed); });
  WriteColumn(out, "adjusted", rows, [](const Row& o) { return Number(o.adjusted); });
  WriteColumn(out, "residual", rows, [](const Row& o) { return Number(o.residual); });
  WriteColumn(out, "sigma", rows, [](const Row& o) { return Number(o.sigma); });
  WriteColumn(out, "redundancy", rows, [](const Row& o) { return Number(ShownRedundancy(o)); });
  WriteColumn(out, "w", rows, [](const Row& o) { return Number(o.w); });
  WriteColumn(out, "mdb", rows, [](const Row& o) { return Number(o.mdb); });
  WriteColumn(out, "outlier", rows, [](const Row& o) { return o.outlier ? "true" : "false"; });
  out << "}";
}

void WriteSummary(std::ostream& out, const AdjustmentReport& report) {
  out << "\"summary\": {\"redundancy\": " << report.redundancy
      << ", \"sigma0\": " << Number(report.sigma0)
      << ", \"confidence_factor\": " << Number(report.confidenceFactor)
      << ", \"critical_w\": " << Number(report.criticalW) << ", \"global\": ";
  if (report.globalTest) {
    const GlobalTestResult& test = *report.globalTest;
    out << "{\"alpha\": " << Number(test.alpha) << ", \"lower\": " << Number(test.lower)
        << ", \"upper\": " << Number(test.upper) << ", \"value\": " << Number(test.value)
        << ", \"passed\": " << (test.passed ? "true" : "false") << "}";
  } else {
    out << "null";
  }
  out << "},\n\"iterations\": {";
  WriteColumn(
      out, "sigma0", report.iterations, [](const IterationRecord& i) { return Number(i.sigma0); },
      true);
  WriteColumn(out, "max_correction", report.iterations,
              [](const IterationRecord& i) { return Number(i.maxCorrection); });
  out << "}";
}

}  // namespace

std::optional<EllipseResult> PointEllipse(const AdjustmentReport& report,
                                          const PointResult& point) {
  if (point.ellipse) return point.ellipse;
  if (!point.hasCovarianceXY) return std::nullopt;
  ErrorEllipse standard =
      ComputeErrorEllipse(point.covarianceXX, point.covarianceXY, point.covarianceYY);
  if (!std::isfinite(standard.semiMajor) || !std::isfinite(standard.angle)) return std::nullopt;
  EllipseResult ellipse;
  ellipse.a = standard.semiMajor;
  ellipse.b = standard.semiMinor;
  // The angle runs from X towards Y; a bearing runs from Y (north) towards X (east).
  double bearing = M_PI / 2.0 - standard.angle;
  ellipse.bearing = std::fmod(std::fmod(bearing, M_PI) + M_PI, M_PI);
  ellipse.a95 = ellipse.a * report.confidenceFactor;
  ellipse.b95 = ellipse.b * report.confidenceFactor;
  return ellipse;
}

std::optional<double> ShownRedundancy(const ObservationResult& observation) {
  if (observation.w || observation.uncontrolled) return observation.redundancy;
  return std::nullopt;
}

void WriteHtmlData(std::ostream& out, const AdjustmentReport& report) {
  // Column-wise: each figure once under its key, no key repeated per row.
  out << "<script type=\"application/json\" id=\"report-data\">\n{\"final_unit\": \""
      << UnitName(report.finalUnit) << "\",\n";
  WriteSummary(out, report);
  WritePoints(out, report);
  WriteObservations(out, report);
  out << ",\n\"orientations\": {";
  WriteColumn(
      out, "set", report.orientations,
      [](const OrientationResult& o) { return ScriptJsonString(o.set); }, true);
  WriteColumn(out, "value", report.orientations,
              [](const OrientationResult& o) { return Number(o.value); });
  WriteColumn(out, "sd", report.orientations,
              [](const OrientationResult& o) { return Number(o.deviation); });
  out << "},\n\"relative\": {";
  WriteColumn(
      out, "from", report.relative, [](const RelativeResult& r) { return std::to_string(r.from); },
      true);
  WriteColumn(out, "to", report.relative,
              [](const RelativeResult& r) { return std::to_string(r.to); });
  WriteEllipseColumns(out, report.relative, [](const RelativeResult& r) { return r.ellipse; });
  WriteColumn(out, "sd_distance", report.relative,
              [](const RelativeResult& r) { return Number(r.distanceDeviation); });
  out << "}\n}\n</script>\n";
}

}  // namespace zradjust
