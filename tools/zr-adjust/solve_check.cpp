#include "tools/zr-adjust/solve_check.h"

#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <map>
#include <unordered_map>

namespace zradjust {
namespace {

using SparseRows = std::vector<std::vector<std::pair<std::size_t, double>>>;

// The seven rows of the library's datum conditions over the points whose three coordinates are
// unknowns: translations 1/√n, rotations and scale from the coordinates centred on their
// centroid and divided by their spread, as the library builds them at the current values.
SparseRows DatumConditions(const ZR::AdjustmentModel& model,
                           const std::unordered_map<std::uint64_t, std::size_t>& columnOf,
                           const std::vector<ZR::VOValue*>& columns) {
  std::vector<std::array<std::size_t, 3>> points;
  for (const NetworkPoint& point : model.points) {
    auto x = columnOf.find(point.x.id), y = columnOf.find(point.y.id),
         z = columnOf.find(point.z.id);
    if (x == columnOf.end() || y == columnOf.end() || z == columnOf.end()) continue;
    points.push_back({x->second, y->second, z->second});
  }
  SparseRows rows(7);
  if (points.empty()) return rows;
  double centre[3] = {0.0, 0.0, 0.0}, spread = 0.0, count = static_cast<double>(points.size());
  for (const auto& p : points)
    for (int axis = 0; axis < 3; ++axis)
      centre[axis] += columns[p[axis]]->Value / count;
  for (const auto& p : points)
    for (int axis = 0; axis < 3; ++axis)
      spread += std::pow(columns[p[axis]]->Value - centre[axis], 2);
  spread = std::sqrt(spread);
  double t = 1.0 / std::sqrt(count);
  for (const auto& p : points) {
    double c[3];
    for (int axis = 0; axis < 3; ++axis)
      c[axis] = (columns[p[axis]]->Value - centre[axis]) / spread;
    rows[0].push_back({p[0], t});
    rows[1].push_back({p[1], t});
    rows[2].push_back({p[2], t});
    rows[3].insert(rows[3].end(), {{p[1], -c[2]}, {p[2], c[1]}});
    rows[4].insert(rows[4].end(), {{p[0], c[2]}, {p[2], -c[0]}});
    rows[5].insert(rows[5].end(), {{p[0], -c[1]}, {p[1], c[0]}});
    rows[6].insert(rows[6].end(), {{p[0], c[0]}, {p[1], c[1]}, {p[2], c[2]}});
  }
  return rows;
}

// y += Rᵀ·W·(R·x) for the rows R with weights W (1 without); with magnitudes, |R|ᵀ·W·(|R|·x).
void AddNormalProduct(const SparseRows& rows, const std::vector<double>* weights,
                      const std::vector<double>& x, bool magnitudes, std::vector<double>& y) {
  for (std::size_t i = 0; i < rows.size(); ++i) {
    double weight = weights ? (*weights)[i] : 1.0;
    double value = 0.0;
    for (const auto& [column, partial] : rows[i])
      value += (magnitudes ? std::fabs(partial) : partial) * x[column];
    for (const auto& [column, partial] : rows[i])
      y[column] += (magnitudes ? std::fabs(partial) : partial) * weight * value;
  }
}

double RightHandNorm(const StepEquations& step) {
  std::vector<double> b(step.columns.size(), 0.0);
  for (std::size_t i = 0; i < step.rows.size(); ++i)
    for (const auto& [column, partial] : step.rows[i])
      b[column] += partial * step.weights[i] * step.misclosures[i];
  double sum = 0.0;
  for (double value : b)
    sum += value * value;
  return std::sqrt(sum);
}

double ClampedMeasure(const StepEquations& step, double solverResidual) {
  if (solverResidual == 0.0) return 0.0;
  double relative = solverResidual / RightHandNorm(step);
  return std::isnan(relative) ? INFINITY : relative * (backwardErrorLimit / clampedResidualLimit);
}

}  // namespace

StepEquations CaptureStep(ZR::AdjustmentModel& model, bool adaptiveWeights) {
  StepEquations step;
  std::unordered_map<std::uint64_t, std::size_t> columnOf;
  for (const ValueHandle& handle : model.values) {
    if (model.fixedValues.count(handle)) continue;
    if (!handle.object) step.complete = false;
    columnOf.emplace(handle.id, step.columns.size());
    step.columns.push_back(handle.object);
  }
  if (!step.complete) return step;
  for (ZR::VOValue* value : step.columns)
    step.before.push_back(value->Value);
  std::map<ValueHandle, double> partials;
  for (ZR::VOObservation* observation : model.observations) {
    partials.clear();
    observation->GetPartials(partials);
    auto& row = step.rows.emplace_back();
    for (const auto& [handle, partial] : partials) {
      auto found = columnOf.find(handle.id);
      if (found != columnOf.end() && partial != 0.0) row.push_back({found->second, partial});
    }
    double tolerance = observation->GetTolerance();
    if (adaptiveWeights && observation->GetValue() != 0.0) tolerance = observation->GetValue();
    step.weights.push_back(model.weightScale / tolerance);
    step.misclosures.push_back(observation->GetDifference());
  }
  step.damping = model.diagonalDamping;
  step.conditions = DatumConditions(model, columnOf, step.columns);
  return step;
}

double ScaledBackwardError(const StepEquations& step, double stepFactor, double maxCorrection,
                           double solverResidual) {
  if (!step.complete || stepFactor == 0.0) return -1.0;
  std::size_t n = step.columns.size();
  // x from the values, and how far that reading may be off: the value after the step holds
  // before + x rounded to its own precision, which for a small x is most of x.
  std::vector<double> x(n), unsure(n);
  for (std::size_t j = 0; j < n; ++j) {
    double after = step.columns[j]->Value;
    double applied = after - step.before[j];
    // Compared with a margin for the addition's rounding.
    if (std::fabs(applied) >= maxCorrection * (1.0 - 1e-9))
      return ClampedMeasure(step, solverResidual);
    x[j] = applied / stepFactor;
    unsure[j] = 2.0 * std::numeric_limits<double>::epsilon() *
                (std::fabs(after) + std::fabs(step.before[j])) / std::fabs(stepFactor);
  }
  std::vector<double> b(n, 0.0), bSize(n, 0.0), diagonal(n, 0.0);
  for (std::size_t i = 0; i < step.rows.size(); ++i) {
    for (const auto& [column, partial] : step.rows[i]) {
      b[column] += partial * step.weights[i] * step.misclosures[i];
      bSize[column] += std::fabs(partial * step.weights[i] * step.misclosures[i]);
      diagonal[column] += partial * step.weights[i] * partial;
    }
  }
  // N·x, and |N|·unsure: what the uncertainty of x can do to the residual.
  std::vector<double> product(n, 0.0), slack(n, 0.0);
  AddNormalProduct(step.rows, &step.weights, x, false, product);
  AddNormalProduct(step.conditions, nullptr, x, false, product);
  AddNormalProduct(step.rows, &step.weights, unsure, true, slack);
  AddNormalProduct(step.conditions, nullptr, unsure, true, slack);
  double excess = 0.0, scaledX = 0.0, scaledB = 0.0;
  for (std::size_t j = 0; j < n; ++j) {
    double d = diagonal[j] + step.damping;
    if (!(d > 0.0)) d = 1.0;
    product[j] += step.damping * x[j];
    slack[j] += step.damping * unsure[j];
    double r = std::fabs(b[j] - product[j]) - slack[j];
    if (r > 0.0) excess += r * r / d;
    // The 1-norm of D^½·x bounds what a backward-stable solve leaves in each scaled residual.
    scaledX += std::sqrt(d) * std::fabs(x[j]);
    scaledB += bSize[j] * bSize[j] / d;
  }
  double scale = scaledX + std::sqrt(scaledB);
  if (!(excess > 0.0)) return 0.0;
  return scale > 0.0 ? std::sqrt(excess) / scale : INFINITY;
}

}  // namespace zradjust
