#include "tools/zr-adjust/report_collection.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <unordered_set>
#include <utility>

#include "tools/zr-adjust/statistics/datum_cofactors.h"
#include "tools/zr-adjust/statistics/distribution_quantiles.h"
#include "tools/zr-adjust/statistics/error_ellipse.h"
#include "tools/zr-adjust/statistics/observation_tests.h"

namespace zradjust {
namespace {

constexpr std::size_t noUnknown = static_cast<std::size_t>(-1);
constexpr double confidenceLevel = 0.95;

// Where each point coordinate and each orientation sits among the host's unknowns.
struct UnknownMap {
  std::vector<std::array<std::size_t, 3>> coordinate;  // noUnknown for a fixed one
  std::vector<std::size_t> orientation;
};

UnknownMap MapUnknowns(const Network& network, const ModelObjects& objects) {
  UnknownMap map;
  map.coordinate.assign(network.points.size(),
                        std::array<std::size_t, 3>{noUnknown, noUnknown, noUnknown});
  map.orientation.assign(network.directionSets.size(), noUnknown);
  const std::vector<UnknownRef>& refs = objects.UnknownRefs();
  for (std::size_t u = 0; u < refs.size(); ++u) {
    if (refs[u].orientation)
      map.orientation[refs[u].index] = u;
    else
      map.coordinate[refs[u].index][refs[u].axis] = u;
  }
  return map;
}

// A pair of point indices spread over the table (the golden-ratio multiplier mixes the first
// index into the high bits, so that pairs of neighbouring points do not collide).
struct PointPairHash {
  std::size_t operator()(const std::pair<std::size_t, std::size_t>& pair) const {
    return (pair.first * 0x9E3779B97F4A7C15ull) ^ pair.second;
  }
};

// Two points joined by an observation, in order of first appearance.
std::vector<std::pair<std::size_t, std::size_t>> ObservedPairs(const Network& network) {
  std::vector<std::pair<std::size_t, std::size_t>> pairs;
  // Only asked whether a pair was seen: a hash set, not an ordered one.
  std::unordered_set<std::pair<std::size_t, std::size_t>, PointPairHash> seen;
  seen.reserve(network.observations.size());
  auto add = [&](std::size_t a, std::size_t b) {
    if (a == b || !seen.insert({std::min(a, b), std::max(a, b)}).second) return;
    pairs.emplace_back(a, b);
  };
  for (const SurveyObservation& observation : network.observations) {
    if (observation.type == ObservationType::Coordinate) continue;
    if (observation.type == ObservationType::Angle) {
      add(observation.at, observation.from);
      add(observation.at, observation.to);
    } else {
      add(observation.from, observation.to);
    }
  }
  return pairs;
}

std::vector<std::vector<std::size_t>> RequestedBlocks(
    const UnknownMap& map, const std::vector<std::pair<std::size_t, std::size_t>>& pairs) {
  std::vector<std::vector<std::size_t>> blocks;
  auto unknownsOf = [&](std::size_t point, std::vector<std::size_t>& block) {
    for (std::size_t u : map.coordinate[point])
      if (u != noUnknown) block.push_back(u);
  };
  for (std::size_t p = 0; p < map.coordinate.size(); ++p)
    unknownsOf(p, blocks.emplace_back());
  for (const auto& [a, b] : pairs) {
    std::vector<std::size_t>& block = blocks.emplace_back();
    unknownsOf(a, block);
    unknownsOf(b, block);
  }
  return blocks;
}

double WrappedAngle(double angle) {
  double wrapped = std::remainder(angle, 2.0 * M_PI);
  return wrapped <= -M_PI ? wrapped + 2.0 * M_PI : wrapped;
}

// The scalars of the run: redundancy, sigma0, variance factor, global test, confidence.
void CollectSummary(const LinearModel& linear, const std::vector<double>& residuals,
                    const RunResult& run, const CollectionInputs& inputs,
                    AdjustmentReport& report) {
  report.redundancy = static_cast<long long>(linear.rows.size()) -
                      static_cast<long long>(linear.unknownCount) + inputs.defect;
  const long long r = report.redundancy;
  report.varianceFactor = inputs.varianceFactor;
  report.sigma0.reset();
  report.globalTest.reset();
  if (r <= 0) {
    report.varianceFactorForced = inputs.varianceFactor == VarianceFactor::Estimated;
    report.varianceFactor = VarianceFactor::Known;
    report.confidenceFactor = std::sqrt(ChiSquareQuantile(confidenceLevel, 2.0));
    return;
  }
  // Without a defect the library's own value of the last iteration is the one to report;
  // with one the library's redundancy ignores the defect.
  report.sigma0 = inputs.defect == 0 && !run.iterations.empty()
                      ? run.iterations.back().sigma0
                      : std::sqrt(WeightedSquareSum(linear, residuals) / static_cast<double>(r));
  GlobalTestResult test;
  test.alpha = inputs.alpha;
  test.value = static_cast<double>(r) * *report.sigma0 * *report.sigma0;
  test.lower = ChiSquareQuantile(0.5 * inputs.alpha, static_cast<double>(r));
  test.upper = ChiSquareQuantile(1.0 - 0.5 * inputs.alpha, static_cast<double>(r));
  test.passed = test.value >= test.lower && test.value <= test.upper;
  report.globalTest = test;
  report.confidenceFactor =
      report.varianceFactor == VarianceFactor::Known
          ? std::sqrt(ChiSquareQuantile(confidenceLevel, 2.0))
          : std::sqrt(2.0 * FQuantile(confidenceLevel, 2.0, static_cast<double>(r)));
}

EllipseResult Ellipse(double xx, double xy, double yy, double confidenceFactor) {
  const StandardEllipse standard = EllipseOf(xx, xy, yy);
  EllipseResult result;
  result.a = standard.a;
  result.b = standard.b;
  result.bearing = standard.bearing;
  result.a95 = confidenceFactor * standard.a;
  result.b95 = confidenceFactor * standard.b;
  return result;
}

// Everything the per-point, per-pair and per-set figures read.
struct Precision {
  const DatumCofactors& cofactors;
  const UnknownMap& map;
  // sigma0² for the estimated variance factor, 1 for the known one.
  double varianceFactor;
  double confidenceFactor;

  bool Determined(std::size_t point) const {
    for (std::size_t u : map.coordinate[point])
      if (u != noUnknown && !cofactors.Determined(u)) return false;
    return true;
  }
  // The covariance of two coordinates (point, axis); zero where either is fixed.
  double Covariance(std::size_t p, int i, std::size_t q, int j) const {
    const std::size_t a = map.coordinate[p][i], b = map.coordinate[q][j];
    if (a == noUnknown || b == noUnknown) return 0.0;
    return varianceFactor * cofactors.InDatum(a, b);
  }
};

void CollectPointPrecision(std::size_t p, const Precision& precision, PointResult& result) {
  for (int axis = 0; axis < 3; ++axis) {
    const std::size_t u = precision.map.coordinate[p][axis];
    if (u == noUnknown || !precision.cofactors.Determined(u)) continue;
    result.deviation[axis] = std::sqrt(std::max(0.0, precision.Covariance(p, axis, p, axis)));
  }
  if (result.kind == PointKind::Height || !result.deviation[0] || !result.deviation[1]) return;
  result.hasCovarianceXY = true;
  result.covarianceXX = precision.Covariance(p, 0, p, 0);
  result.covarianceXY = precision.Covariance(p, 0, p, 1);
  result.covarianceYY = precision.Covariance(p, 1, p, 1);
  result.ellipse = Ellipse(result.covarianceXX, result.covarianceXY, result.covarianceYY,
                           precision.confidenceFactor);
}

RelativeResult CollectRelative(std::size_t from, std::size_t to,
                               const std::vector<PointResult>& points, const Precision& precision) {
  RelativeResult result;
  result.from = from;
  result.to = to;
  const PointKind a = points[from].kind, b = points[to].kind;
  if (a == PointKind::Height || b == PointKind::Height) return result;
  if (!precision.Determined(from) || !precision.Determined(to)) return result;
  const int axes = a == PointKind::Spatial && b == PointKind::Spatial ? 3 : 2;
  // The covariance of the coordinate differences TO − FROM.
  double difference[3][3];
  for (int i = 0; i < axes; ++i)
    for (int j = 0; j < axes; ++j)
      difference[i][j] =
          precision.Covariance(to, i, to, j) + precision.Covariance(from, i, from, j) -
          precision.Covariance(to, i, from, j) - precision.Covariance(from, i, to, j);
  result.ellipse =
      Ellipse(difference[0][0], difference[0][1], difference[1][1], precision.confidenceFactor);
  double delta[3], length = 0.0;
  for (int i = 0; i < axes; ++i) {
    delta[i] = points[to].coordinate[i] - points[from].coordinate[i];
    length += delta[i] * delta[i];
  }
  length = std::sqrt(length);
  if (!(length > 0.0)) return result;
  double variance = 0.0;
  for (int i = 0; i < axes; ++i)
    for (int j = 0; j < axes; ++j)
      variance += delta[i] / length * difference[i][j] * delta[j] / length;
  result.distanceDeviation = std::sqrt(std::max(0.0, variance));
  return result;
}

void CollectObservationTests(const std::vector<ObservationTest>& tests, AdjustmentReport& report) {
  for (std::size_t i = 0; i < tests.size(); ++i) {
    ObservationResult& result = report.observations[i];
    result.redundancy = tests[i].redundancy;
    result.w = tests[i].w;
    result.mdb = tests[i].mdb;
    result.outlier = tests[i].outlier;
    result.uncontrolled = tests[i].uncontrolled;
    if (result.outlier) report.flagged.push_back(i);
  }
  std::stable_sort(report.flagged.begin(), report.flagged.end(), [&](std::size_t a, std::size_t b) {
    return std::fabs(*report.observations[a].w) > std::fabs(*report.observations[b].w);
  });
}

void CollectStatistics(const Network& network, const ModelObjects& objects, const RunResult& run,
                       const CollectionInputs& inputs, AdjustmentReport& report) {
  const LinearModel linear = objects.Linearise();
  std::vector<double> residuals(report.observations.size());
  for (std::size_t i = 0; i < residuals.size(); ++i)
    residuals[i] = report.observations[i].residual;
  CollectSummary(linear, residuals, run, inputs, report);

  const UnknownMap map = MapUnknowns(network, objects);
  const auto pairs = ObservedPairs(network);
  const DatumCofactors cofactors(linear, inputs.basis, RequestedBlocks(map, pairs));
  CollectObservationTests(TestObservations(linear, cofactors, residuals), report);

  const double sigma0 = report.sigma0.value_or(1.0);
  const Precision precision{
      cofactors, map, report.varianceFactor == VarianceFactor::Estimated ? sigma0 * sigma0 : 1.0,
      report.confidenceFactor};
  for (std::size_t p = 0; p < report.points.size(); ++p)
    CollectPointPrecision(p, precision, report.points[p]);
  for (const auto& [from, to] : pairs)
    report.relative.push_back(CollectRelative(from, to, report.points, precision));
  for (std::size_t s = 0; s < report.orientations.size(); ++s) {
    const std::size_t u = map.orientation[s];
    if (u == noUnknown || !cofactors.Determined(u)) continue;
    report.orientations[s].deviation =
        std::sqrt(std::max(0.0, precision.varianceFactor * cofactors.InDatum(u, u)));
  }
}

}  // namespace

CollectionInputs CollectionInputsFrom(const Options& options) {
  CollectionInputs inputs;
  inputs.varianceFactor = options.varianceFactor;
  inputs.alpha = options.alpha;
  return inputs;
}

AdjustmentReport CollectReport(const Network& network, ModelObjects& objects,
                               const ZR::AdjustmentModel& model, const RunResult& run,
                               const RunSettings& settings, const std::string& networkFile,
                               const CollectionInputs& inputs) {
  (void)model;  // the statistics come from the host's own normal equations
  AdjustmentReport report;
  report.networkFile = networkFile;
  report.unknownCount = objects.Unknowns().size();
  report.iterations = run.iterations;
  report.converged = run.converged;
  report.evaluateOnly = settings.evaluateOnly;
  report.inverseComputed = run.inverseComputed;
  report.diverged = run.diverged;
  report.tolerance = settings.tolerance;
  report.datum = inputs.datum;
  report.finalUnit = network.finalUnit;
  report.criticalW = wTestCriticalValue;

  for (std::size_t p = 0; p < network.points.size(); ++p) {
    const SurveyPoint& point = network.points[p];
    PointResult& result = report.points.emplace_back();
    result.name = point.name;
    result.kind = point.kind;
    for (int axis = 0; axis < point.CoordinateCount(); ++axis) {
      result.coordinate[axis] = objects.Coordinate(p, axis).Value;
      result.fixed[axis] = point.fixed[axis];
    }
  }
  for (std::size_t p : inputs.datum.points)
    if (p < report.points.size()) report.points[p].datumPoint = true;
  for (std::size_t i = 0; i < network.observations.size(); ++i) {
    const SurveyObservation& source = network.observations[i];
    ObservationResult& result = report.observations.emplace_back();
    result.type = source.type;
    result.from = source.from;
    result.to = source.to;
    result.at = source.at;
    result.axis = AxisName(network.points[source.from].kind, source.axis);
    result.set = source.set;
    result.unit = source.unit;
    result.observed = source.observed;
    result.adjusted = objects.AdjustedValue(i);
    result.residual = source.observed - result.adjusted;
    if (IsAngular(source.type)) result.residual = WrappedAngle(result.residual);
    result.sigma = source.sigma;
    result.normalized = result.residual / source.sigma;
    result.line = source.line;
  }
  const UnknownMap map = MapUnknowns(network, objects);
  for (std::size_t s = 0; s < network.directionSets.size(); ++s) {
    OrientationResult& result = report.orientations.emplace_back();
    result.set = network.directionSets[s].name;
    result.station = network.directionSets[s].station;
    if (map.orientation[s] != noUnknown)
      result.value = objects.Unknowns()[map.orientation[s]]->Value;
  }
  report.redundancy = static_cast<long long>(network.observations.size()) -
                      static_cast<long long>(report.unknownCount) + inputs.defect;
  if (!run.diverged) CollectStatistics(network, objects, run, inputs, report);
  return report;
}

}  // namespace zradjust
