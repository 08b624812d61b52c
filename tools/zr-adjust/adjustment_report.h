#pragma once
// The results of one run as plain data: what the text, JSON and SVG writers print. Filled from
// the adjusted model by CollectReport, or by hand in the writers' tests.

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "tools/zr-adjust/network.h"

namespace zradjust {

struct IterationRecord {
  int number = 0;
  double sigma0 = 0.0;
  // The largest |new value - old value| over the unknowns, in metres.
  double maxCorrection = 0.0;
  double seconds = 0.0;
};

struct PointResult {
  std::string name;
  PointKind kind = PointKind::Spatial;
  // Adjusted X, Y, Z, or H in element 0.
  double coordinate[3] = {0.0, 0.0, 0.0};
  bool fixed[3] = {false, false, false};
  // sigma0 * sqrt(Q[c][c]); empty for a fixed coordinate or without the inverse.
  std::optional<double> deviation[3];
  // The covariance of X and Y, sigma0² times the 2x2 block of the inverse; only when both
  // are unknowns and the inverse was computed.
  bool hasCovarianceXY = false;
  double covarianceXX = 0.0;
  double covarianceXY = 0.0;
  double covarianceYY = 0.0;
};

struct ObservationResult {
  ObservationType type = ObservationType::Distance;
  // Indices into AdjustmentReport::points; a coordinate observation has from == to.
  std::size_t from = 0;
  std::size_t to = 0;
  // x, y, z or h for a coordinate observation.
  char axis = 'x';
  double observed = 0.0;
  double adjusted = 0.0;
  // observed - adjusted
  double residual = 0.0;
  double sigma = 0.0;
  // residual / sigma
  double normalized = 0.0;
  int line = 0;
};

struct AdjustmentReport {
  std::string networkFile;
  std::size_t unknownCount = 0;
  // Observations minus unknowns; negative when the network is underdetermined.
  long long redundancy = 0;
  std::vector<IterationRecord> iterations;
  bool converged = false;
  bool evaluateOnly = false;
  bool inverseComputed = false;
  // Coordinates became infinite or NaN: the normal equations could not be solved.
  bool diverged = false;
  double tolerance = 0.0;
  double sigma0 = 0.0;
  std::vector<PointResult> points;
  std::vector<ObservationResult> observations;
};

}  // namespace zradjust
