#include "tools/zr-adjust/report/text_report.h"

#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <string>

namespace zradjust {
namespace {

constexpr double millimetresPerMetre = 1000.0;
// A residual larger than this many standard deviations is flagged for the surveyor's eye.
constexpr double outlierThreshold = 3.0;

std::string Format(const char* format, ...) __attribute__((format(printf, 1, 2)));

std::string Format(const char* format, ...) {
  char buffer[512];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(buffer, sizeof buffer, format, arguments);
  va_end(arguments);
  return buffer;
}

// A standard deviation column: millimetres, blank when fixed, '-' when not computed.
std::string DeviationField(const PointResult& point, int axis) {
  if (point.fixed[axis]) return Format("%8s", "");
  if (!point.deviation[axis]) return Format("%8s", "-");
  return Format("%8.2f", *point.deviation[axis] * millimetresPerMetre);
}

std::string FixedAxes(const PointResult& point) {
  std::string axes;
  for (int axis = 0; axis < (point.kind == PointKind::Spatial ? 3 : 1); ++axis) {
    if (point.fixed[axis]) axes += AxisName(point.kind, axis);
  }
  return axes.empty() ? "" : "  fixed " + axes;
}

void WriteSummary(std::ostream& out, const AdjustmentReport& report) {
  std::size_t heights = 0;
  for (const PointResult& point : report.points)
    heights += point.kind == PointKind::Height;
  out << "Network " << report.networkFile << "\n\n";
  out << "Summary\n";
  out << Format("  points           %zu (%zu 3D, %zu height)\n", report.points.size(),
                report.points.size() - heights, heights);
  out << Format("  unknowns         %zu\n", report.unknownCount);
  out << Format("  observations     %zu\n", report.observations.size());
  out << Format("  redundancy       %lld\n", report.redundancy);
  std::string state;
  if (report.evaluateOnly) {
    state = "evaluation only, no corrections applied";
  } else if (report.diverged) {
    state = "stopped: coordinates are no longer finite";
  } else if (report.converged) {
    state = Format("converged, no correction above %g m", report.tolerance);
  } else {
    state = Format("NOT converged: iteration limit reached, tolerance %g m", report.tolerance);
  }
  out << Format("  iterations       %zu (%s)\n", report.iterations.size(), state.c_str());
  out << Format("  sigma0           %.4f\n", report.sigma0.value_or(NAN));
  if (!report.inverseComputed) {
    out << "  standard deviations not computed (no inverse of the normal matrix)\n";
  }
  out << "\n";
}

void WriteCoordinates(std::ostream& out, const AdjustmentReport& report) {
  bool anySpatial = false;
  bool anyHeight = false;
  for (const PointResult& point : report.points) {
    (point.kind == PointKind::Spatial ? anySpatial : anyHeight) = true;
  }
  if (anySpatial) {
    out << "Adjusted coordinates [m], standard deviations [mm]\n";
    out << Format("  %-16s %14s %14s %12s %8s %8s %8s\n", "point", "X", "Y", "Z", "sX", "sY", "sZ");
    for (const PointResult& point : report.points) {
      if (point.kind != PointKind::Spatial) continue;
      out << Format("  %-16s %14.4f %14.4f %12.4f", point.name.c_str(), point.coordinate[0],
                    point.coordinate[1], point.coordinate[2])
          << DeviationField(point, 0) << DeviationField(point, 1) << DeviationField(point, 2)
          << FixedAxes(point) << "\n";
    }
    out << "\n";
  }
  if (anyHeight) {
    out << "Adjusted heights [m], standard deviations [mm]\n";
    out << Format("  %-16s %12s %8s\n", "point", "H", "sH");
    for (const PointResult& point : report.points) {
      if (point.kind != PointKind::Height) continue;
      out << Format("  %-16s %12.4f", point.name.c_str(), point.coordinate[0])
          << DeviationField(point, 0) << FixedAxes(point) << "\n";
    }
    out << "\n";
  }
}

void WriteObservations(std::ostream& out, const AdjustmentReport& report) {
  if (report.observations.empty()) return;
  out << "Observations (residual = observed - adjusted)\n";
  out << Format("  %5s %-5s %-16s %-16s %15s %15s %10s %8s\n", "line", "type", "from", "to/axis",
                "observed [m]", "adjusted [m]", "res [mm]", "res/sig");
  bool anyFlagged = false;
  for (const ObservationResult& observation : report.observations) {
    std::string from = report.points[observation.from].name;
    std::string to = observation.type == ObservationType::Coordinate
                         ? std::string(1, observation.axis)
                         : report.points[observation.to].name;
    bool flagged = std::fabs(observation.normalized) > outlierThreshold;
    anyFlagged = anyFlagged || flagged;
    out << Format("  %5d %-5s %-16s %-16s %15.4f %15.4f %10.2f %8.2f%s\n", observation.line,
                  TypeName(observation.type), from.c_str(), to.c_str(), observation.observed,
                  observation.adjusted, observation.residual * millimetresPerMetre,
                  observation.normalized, flagged ? " *" : "");
  }
  if (anyFlagged) {
    out << Format("  * |residual| larger than %g times SIGMA\n", outlierThreshold);
  }
}

}  // namespace

void WriteTextReport(std::ostream& out, const AdjustmentReport& report) {
  WriteSummary(out, report);
  WriteCoordinates(out, report);
  WriteObservations(out, report);
}

}  // namespace zradjust
