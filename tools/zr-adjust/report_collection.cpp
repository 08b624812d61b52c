#include "tools/zr-adjust/report_collection.h"

#include <cmath>
#include <optional>

namespace zradjust {
namespace {

// Q[row][column] of the inverse, or nothing when the element is not stored. The host reads the
// rows directly: the library exports Iterate alone, not the matrix's lookup.
std::optional<double> InverseElement(const SparseMatrix& inverse, std::uint32_t row,
                                     std::uint32_t column) {
  if (row >= inverse.RowCount()) return std::nullopt;
  for (const auto& [storedColumn, value] : inverse.rows[row]) {
    if (storedColumn == column) return value;
    if (storedColumn > column) break;
  }
  return std::nullopt;
}

std::optional<std::uint32_t> ColumnOf(const ZR::AdjustmentModel& model, const ZR::VOValue& value) {
  ValueHandle key;
  key.id = value.GetId();
  auto found = model.unknowns.find(key);
  if (found == model.unknowns.end()) return std::nullopt;
  return found->second;
}

PointResult CollectPoint(const SurveyPoint& point, std::size_t index, const ModelObjects& objects,
                         const ZR::AdjustmentModel& model, bool inverseComputed, double sigma0) {
  PointResult result;
  result.name = point.name;
  result.kind = point.kind;
  std::optional<std::uint32_t> columns[3];
  for (int axis = 0; axis < point.CoordinateCount(); ++axis) {
    const ZR::VOValue& value = objects.Coordinate(index, axis);
    result.coordinate[axis] = value.Value;
    result.fixed[axis] = point.fixed[axis];
    if (point.fixed[axis] || !inverseComputed) continue;
    columns[axis] = ColumnOf(model, value);
    if (!columns[axis]) continue;
    std::optional<double> q = InverseElement(model.normalInverse, *columns[axis], *columns[axis]);
    if (q) result.deviation[axis] = sigma0 * std::sqrt(*q);
  }
  if (point.kind == PointKind::Spatial && columns[0] && columns[1]) {
    std::optional<double> xx = InverseElement(model.normalInverse, *columns[0], *columns[0]);
    std::optional<double> xy = InverseElement(model.normalInverse, *columns[0], *columns[1]);
    std::optional<double> yy = InverseElement(model.normalInverse, *columns[1], *columns[1]);
    if (xx && yy) {
      double variance = sigma0 * sigma0;
      result.hasCovarianceXY = true;
      result.covarianceXX = variance * *xx;
      result.covarianceXY = variance * xy.value_or(0.0);
      result.covarianceYY = variance * *yy;
    }
  }
  return result;
}

}  // namespace

AdjustmentReport CollectReport(const Network& network, ModelObjects& objects,
                               const ZR::AdjustmentModel& model, const RunResult& run,
                               const RunSettings& settings, const std::string& networkFile) {
  AdjustmentReport report;
  report.networkFile = networkFile;
  report.unknownCount = objects.Unknowns().size();
  report.redundancy = static_cast<long long>(network.observations.size()) -
                      static_cast<long long>(report.unknownCount);
  report.iterations = run.iterations;
  report.converged = run.converged;
  report.evaluateOnly = settings.evaluateOnly;
  report.inverseComputed = run.inverseComputed;
  report.diverged = run.diverged;
  report.tolerance = settings.tolerance;
  report.sigma0 = run.iterations.empty() ? 0.0 : run.iterations.back().sigma0;

  for (std::size_t p = 0; p < network.points.size(); ++p) {
    report.points.push_back(
        CollectPoint(network.points[p], p, objects, model, run.inverseComputed, report.sigma0.value_or(0.0)));
  }
  for (std::size_t i = 0; i < network.observations.size(); ++i) {
    const SurveyObservation& source = network.observations[i];
    ObservationResult& result = report.observations.emplace_back();
    result.type = source.type;
    result.from = source.from;
    result.to = source.to;
    result.axis = AxisName(network.points[source.from].kind, source.axis);
    result.observed = source.observed;
    result.adjusted = objects.AdjustedValue(i);
    result.residual = source.observed - result.adjusted;
    result.sigma = source.sigma;
    result.normalized = result.residual / source.sigma;
    result.line = source.line;
  }
  return report;
}

}  // namespace zradjust
