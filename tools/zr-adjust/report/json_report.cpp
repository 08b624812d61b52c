#include "tools/zr-adjust/report/json_report.h"

#include <charconv>
#include <cmath>
#include <cstdio>

#include "tools/zr-adjust/report/report_units.h"

namespace zradjust {

std::string JsonNumber(double value) {
  if (!std::isfinite(value)) return "null";
  // The same characters as printf's %.17g, several times faster on large networks.
  char buffer[32];
  std::to_chars_result end =
      std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::general, 17);
  return std::string(buffer, end.ptr);
}

std::string JsonString(const std::string& text, bool escapeLessThan) {
  std::string quoted = "\"";
  for (unsigned char c : text) {
    if (c == '"' || c == '\\') {
      quoted += '\\';
      quoted += static_cast<char>(c);
    } else if (c < 0x20 || (escapeLessThan && c == '<')) {
      char escaped[8];
      std::snprintf(escaped, sizeof escaped, "\\u%04x", c);
      quoted += escaped;
    } else {
      quoted += static_cast<char>(c);
    }
  }
  return quoted + "\"";
}

namespace {

std::string OptionalNumber(const std::optional<double>& value, double divisor = 1.0) {
  return value ? JsonNumber(*value / divisor) : "null";
}

const char* Boolean(bool value) {
  return value ? "true" : "false";
}

// Writes the elements of items as a JSON array, one per line, each by writeItem.
template <typename Item, typename WriteItem>
void WriteArray(std::ostream& out, const char* name, const std::vector<Item>& items,
                WriteItem writeItem) {
  out << ",\n  \"" << name << "\": [";
  for (std::size_t i = 0; i < items.size(); ++i) {
    out << (i ? ",\n    " : "\n    ");
    writeItem(items[i]);
  }
  out << (items.empty() ? "]" : "\n  ]");
}

std::string Ellipse(const std::optional<EllipseResult>& ellipse, AngleUnit unit) {
  if (!ellipse) return "null";
  return "{ \"a\": " + JsonNumber(ellipse->a) + ", \"b\": " + JsonNumber(ellipse->b) +
         ", \"bearing\": " + JsonNumber(InUnit(ellipse->bearing, unit)) +
         ", \"a95\": " + JsonNumber(ellipse->a95) + ", \"b95\": " + JsonNumber(ellipse->b95) + " }";
}

void WritePoint(std::ostream& out, const PointResult& point, AngleUnit unit) {
  out << "{ \"name\": " << JsonString(point.name);
  if (point.kind == PointKind::Height) {
    out << ", \"h\": " << JsonNumber(point.coordinate[0])
        << ", \"sh\": " << OptionalNumber(point.deviation[0]) << " }";
    return;
  }
  static const char* const names[3] = {"x", "y", "z"};
  int count = point.kind == PointKind::Plan ? 2 : 3;
  for (int axis = 0; axis < count; ++axis)
    out << ", \"" << names[axis] << "\": " << JsonNumber(point.coordinate[axis]);
  for (int axis = 0; axis < count; ++axis)
    out << ", \"s" << names[axis] << "\": " << OptionalNumber(point.deviation[axis]);
  out << ", \"ellipse\": " << Ellipse(point.ellipse, unit) << " }";
}

void WriteObservation(std::ostream& out, const AdjustmentReport& report,
                      const ObservationResult& observation) {
  auto name = [&](std::size_t index) { return JsonString(report.points[index].name); };
  out << "{ \"type\": \"" << TypeName(observation.type) << "\"";
  switch (observation.type) {
    case ObservationType::Coordinate:
      out << ", \"at\": " << name(observation.from) << ", \"axis\": \"" << observation.axis << "\"";
      break;
    case ObservationType::Angle:
      out << ", \"at\": " << name(observation.at) << ", \"from\": " << name(observation.from)
          << ", \"to\": " << name(observation.to);
      break;
    case ObservationType::Direction:
      out << ", \"set\": "
          << (observation.set < report.orientations.size()
                  ? JsonString(report.orientations[observation.set].set)
                  : "null");
      [[fallthrough]];
    default:
      out << ", \"from\": " << name(observation.from) << ", \"to\": " << name(observation.to);
  }
  double perUnit = IsAngular(observation.type) ? RadiansPerUnit(observation.unit) : 1.0;
  out << ", \"observed\": " << JsonNumber(observation.observed / perUnit)
      << ", \"adjusted\": " << JsonNumber(observation.adjusted / perUnit)
      << ", \"residual\": " << JsonNumber(observation.residual / perUnit)
      << ", \"normalized\": " << JsonNumber(observation.normalized)
      << ", \"redundancy\": " << JsonNumber(observation.redundancy)
      << ", \"w\": " << OptionalNumber(observation.w)
      << ", \"mdb\": " << OptionalNumber(observation.mdb, perUnit)
      << ", \"outlier\": " << (observation.uncontrolled ? "null" : Boolean(observation.outlier))
      << " }";
}

void WriteDatum(std::ostream& out, const AdjustmentReport& report) {
  const DatumResult& datum = report.datum;
  out << ",\n  \"datum\": { \"kind\": \"" << (datum.free ? "free" : "fixed")
      << "\", \"defect\": " << datum.defect << ", \"parameters\": [";
  for (std::size_t i = 0; i < datum.parameters.size(); ++i)
    out << (i ? ", " : " ") << JsonString(datum.parameters[i])
        << (i + 1 == datum.parameters.size() ? " " : "");
  out << "], \"points\": [";
  for (std::size_t i = 0; i < datum.points.size(); ++i) {
    out << (i ? ", " : " ") << JsonString(report.points[datum.points[i]].name)
        << (i + 1 == datum.points.size() ? " " : "");
  }
  out << "] }";
}

void WriteStatistics(std::ostream& out, const AdjustmentReport& report) {
  out << ",\n  \"redundancy\": " << report.redundancy << ",\n  \"variance_factor\": \""
      << (report.varianceFactor == VarianceFactor::Known ? "known" : "estimated") << "\"";
  WriteDatum(out, report);
  out << ",\n  \"global_test\": ";
  if (report.globalTest) {
    const GlobalTestResult& test = *report.globalTest;
    out << "{ \"alpha\": " << JsonNumber(test.alpha) << ", \"lower\": " << JsonNumber(test.lower)
        << ", \"upper\": " << JsonNumber(test.upper) << ", \"value\": " << JsonNumber(test.value)
        << ", \"passed\": " << Boolean(test.passed) << " }";
  } else {
    out << "null";
  }
  out << ",\n  \"exit_status\": " << report.exitStatus;
}

}  // namespace

void WriteJsonReport(std::ostream& out, const AdjustmentReport& report) {
  const AngleUnit unit = report.finalUnit;
  out << "{\n  \"sigma0\": " << OptionalNumber(report.sigma0)
      << ",\n  \"converged\": " << Boolean(report.converged)
      << ",\n  \"unknowns\": " << report.unknownCount
      << ",\n  \"observations_count\": " << report.observations.size();
  WriteStatistics(out, report);
  WriteArray(out, "iterations", report.iterations, [&](const IterationRecord& iteration) {
    out << "{ \"sigma0\": " << JsonNumber(iteration.sigma0)
        << ", \"max_correction\": " << JsonNumber(iteration.maxCorrection)
        << ", \"seconds\": " << JsonNumber(iteration.seconds) << " }";
  });
  WriteArray(out, "points", report.points,
             [&](const PointResult& point) { WritePoint(out, point, unit); });
  WriteArray(out, "orientations", report.orientations, [&](const OrientationResult& set) {
    out << "{ \"set\": " << JsonString(set.set)
        << ", \"station\": " << JsonString(report.points[set.station].name)
        << ", \"value\": " << JsonNumber(InUnit(set.value, unit))
        << ", \"sd\": " << OptionalNumber(set.deviation, RadiansPerUnit(unit)) << " }";
  });
  WriteArray(out, "relative", report.relative, [&](const RelativeResult& pair) {
    out << "{ \"from\": " << JsonString(report.points[pair.from].name)
        << ", \"to\": " << JsonString(report.points[pair.to].name);
    std::optional<EllipseResult> e = pair.ellipse;
    out << ", \"a\": " << (e ? JsonNumber(e->a) : "null")
        << ", \"b\": " << (e ? JsonNumber(e->b) : "null")
        << ", \"bearing\": " << (e ? JsonNumber(InUnit(e->bearing, unit)) : "null")
        << ", \"sd_distance\": " << OptionalNumber(pair.distanceDeviation) << " }";
  });
  WriteArray(out, "observations", report.observations,
             [&](const ObservationResult& o) { WriteObservation(out, report, o); });
  out << "\n}\n";
}

}  // namespace zradjust
