#include "tools/zr-adjust/report/json_report.h"

#include <cmath>
#include <cstdio>

namespace zradjust {

std::string JsonNumber(double value) {
  if (!std::isfinite(value)) return "null";
  char buffer[32];
  std::snprintf(buffer, sizeof buffer, "%.17g", value);
  return buffer;
}

namespace {

std::string JsonString(const std::string& text) {
  std::string quoted = "\"";
  for (unsigned char c : text) {
    if (c == '"' || c == '\\') {
      quoted += '\\';
      quoted += static_cast<char>(c);
    } else if (c < 0x20) {
      char escaped[8];
      std::snprintf(escaped, sizeof escaped, "\\u%04x", c);
      quoted += escaped;
    } else {
      quoted += static_cast<char>(c);
    }
  }
  return quoted + "\"";
}

std::string OptionalNumber(const std::optional<double>& value) {
  return value ? JsonNumber(*value) : "null";
}

void WritePoint(std::ostream& out, const PointResult& point) {
  out << "{ \"name\": " << JsonString(point.name);
  if (point.kind == PointKind::Height) {
    out << ", \"h\": " << JsonNumber(point.coordinate[0])
        << ", \"sh\": " << OptionalNumber(point.deviation[0]);
  } else {
    static const char* const names[3] = {"x", "y", "z"};
    for (int axis = 0; axis < 3; ++axis) {
      out << ", \"" << names[axis] << "\": " << JsonNumber(point.coordinate[axis]);
    }
    for (int axis = 0; axis < 3; ++axis) {
      out << ", \"s" << names[axis] << "\": " << OptionalNumber(point.deviation[axis]);
    }
  }
  out << " }";
}

void WriteObservation(std::ostream& out, const AdjustmentReport& report,
                      const ObservationResult& observation) {
  out << "{ \"type\": \"" << TypeName(observation.type) << "\"";
  if (observation.type == ObservationType::Coordinate) {
    out << ", \"at\": " << JsonString(report.points[observation.from].name) << ", \"axis\": \""
        << observation.axis << "\"";
  } else {
    out << ", \"from\": " << JsonString(report.points[observation.from].name)
        << ", \"to\": " << JsonString(report.points[observation.to].name);
  }
  out << ", \"observed\": " << JsonNumber(observation.observed)
      << ", \"adjusted\": " << JsonNumber(observation.adjusted)
      << ", \"residual\": " << JsonNumber(observation.residual)
      << ", \"normalized\": " << JsonNumber(observation.normalized) << " }";
}

}  // namespace

void WriteJsonReport(std::ostream& out, const AdjustmentReport& report) {
  out << "{\n  \"sigma0\": " << JsonNumber(report.sigma0.value_or(NAN))
      << ",\n  \"converged\": " << (report.converged ? "true" : "false")
      << ",\n  \"unknowns\": " << report.unknownCount
      << ",\n  \"observations_count\": " << report.observations.size() << ",\n  \"iterations\": [";
  for (std::size_t i = 0; i < report.iterations.size(); ++i) {
    const IterationRecord& iteration = report.iterations[i];
    out << (i ? ",\n    " : "\n    ") << "{ \"sigma0\": " << JsonNumber(iteration.sigma0)
        << ", \"max_correction\": " << JsonNumber(iteration.maxCorrection)
        << ", \"seconds\": " << JsonNumber(iteration.seconds) << " }";
  }
  out << (report.iterations.empty() ? "]" : "\n  ]") << ",\n  \"points\": [";
  for (std::size_t i = 0; i < report.points.size(); ++i) {
    out << (i ? ",\n    " : "\n    ");
    WritePoint(out, report.points[i]);
  }
  out << (report.points.empty() ? "]" : "\n  ]") << ",\n  \"observations\": [";
  for (std::size_t i = 0; i < report.observations.size(); ++i) {
    out << (i ? ",\n    " : "\n    ");
    WriteObservation(out, report, report.observations[i]);
  }
  out << (report.observations.empty() ? "]" : "\n  ]") << "\n}\n";
}

}  // namespace zradjust
