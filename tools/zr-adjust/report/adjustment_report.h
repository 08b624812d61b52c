#pragma once
// The results of one run as plain data: what the text, JSON, SVG and HTML writers print.
// Filled from the adjusted model and the statistics by CollectReport, or by hand in the
// writers' tests. Every figure is final: the writers format, they compute nothing but unit
// conversions (angles are held in radians, shown in the unit of the record).

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "tools/zr-adjust/network/network.h"

namespace zradjust {

struct IterationRecord {
  int number = 0;
  // The library's own sigma0 of this iteration.
  double sigma0 = 0.0;
  // The largest |new value - old value| over the unknowns, in metres (orientations count
  // as radians times the set's longest sight).
  double maxCorrection = 0.0;
  double seconds = 0.0;
};

// A standard error ellipse (a, b, bearing of a) with its 95 % confidence counterpart.
struct EllipseResult {
  // Semi-axes in metres, a >= b.
  double a = 0.0;
  double b = 0.0;
  // Bearing of the major axis, clockwise from north (+Y), radians in [0, pi).
  double bearing = 0.0;
  // The 95 % confidence semi-axes: a and b times the confidence factor of the run.
  double a95 = 0.0;
  double b95 = 0.0;
};

struct PointResult {
  std::string name;
  PointKind kind = PointKind::Spatial;
  // Adjusted X, Y, Z (X, Y of a plan point), or H in element 0; in the reported datum.
  double coordinate[3] = {0.0, 0.0, 0.0};
  bool fixed[3] = {false, false, false};
  // Standard deviations in metres; empty for a fixed coordinate or one that is not
  // determined (held only by damping).
  std::optional<double> deviation[3];
  // The covariance of X and Y (m²) under the variance-factor rule of the run; only when
  // both are unknowns and determined. The SVG draws its ellipse.
  bool hasCovarianceXY = false;
  double covarianceXX = 0.0;
  double covarianceXY = 0.0;
  double covarianceYY = 0.0;
  // The standard and 95 % confidence ellipses in X and Y; empty for height points and where
  // the covariance of X and Y is missing.
  std::optional<EllipseResult> ellipse;
  // A datum point of a free network.
  bool datumPoint = false;
};

struct ObservationResult {
  ObservationType type = ObservationType::Distance;
  // Indices into AdjustmentReport::points; a coordinate observation has from == to. An
  // angle is measured at `at`.
  std::size_t from = 0;
  std::size_t to = 0;
  std::size_t at = 0;
  // x, y, z or h for a coordinate observation.
  char axis = 'x';
  // Direction: index into AdjustmentReport::orientations (the set).
  std::size_t set = 0;
  // The unit in which angular values are shown.
  AngleUnit unit = AngleUnit::Gon;
  // Metres, or radians for angular types; observed and adjusted as the record writes them
  // (distances and zenith angles with their instrument and target heights, a baseline in its
  // own components DX, DY, DZ).
  double observed = 0.0;
  double adjusted = 0.0;
  // observed - adjusted (an angular residual wrapped into (-pi, pi])
  double residual = 0.0;
  // The a-priori standard deviation (for a baseline with a covariance, the square root of the
  // component's variance).
  double sigma = 0.0;
  // residual / sigma
  double normalized = 0.0;
  // Redundancy number r_i; Baarda's w; the minimal detectable bias (in the unit of observed);
  // empty where the observation is uncontrolled (r_i below uncontrolledRedundancy).
  double redundancy = 0.0;
  std::optional<double> w = std::nullopt;
  std::optional<double> mdb = std::nullopt;
  bool outlier = false;
  bool uncontrolled = false;
  int line = 0;
};

// The orientation unknown of one direction set.
struct OrientationResult {
  std::string set;
  // Index into AdjustmentReport::points.
  std::size_t station = 0;
  // Radians; the standard deviation empty where not determined.
  double value = 0.0;
  std::optional<double> deviation;
};

// The relative precision of two points joined by an observation.
struct RelativeResult {
  // Indices into AdjustmentReport::points.
  std::size_t from = 0;
  std::size_t to = 0;
  // The relative standard ellipse of (X, Y) of TO minus FROM; empty where one of the points
  // has no plan position or the covariance is missing.
  std::optional<EllipseResult> ellipse;
  // Standard deviation of their distance (spatial between two 3D points, horizontal
  // otherwise), metres; empty when not determined.
  std::optional<double> distanceDeviation;
};

struct GlobalTestResult {
  double alpha = 0.05;
  // Two-sided bounds of r·sigma0² from the chi-square distribution with r degrees of freedom.
  double lower = 0.0;
  double upper = 0.0;
  // r·sigma0²
  double value = 0.0;
  bool passed = true;
};

enum class VarianceFactor {
  Estimated,  // the covariance of the unknowns scaled by sigma0²
  Known,      // the SIGMAs taken as true
};

struct DatumResult {
  bool free = false;
  // The defect d and its parameters in the order tx, ty, tz, rx, ry, rz, scale.
  int defect = 0;
  std::vector<std::string> parameters;
  // Indices into AdjustmentReport::points; the datum points of a free network.
  std::vector<std::size_t> points;
};

struct AdjustmentReport {
  std::string networkFile;
  std::size_t unknownCount = 0;
  // n - u + d; negative when the network is underdetermined.
  long long redundancy = 0;
  std::vector<IterationRecord> iterations;
  bool converged = false;
  bool evaluateOnly = false;
  bool inverseComputed = false;
  // Coordinates became infinite or NaN: the normal equations could not be solved.
  bool diverged = false;
  double tolerance = 0.0;
  // sqrt(vᵀΣ⁻¹v / r); empty when r = 0.
  std::optional<double> sigma0;
  // The rule that was applied; Known when r = 0 whatever was asked for.
  VarianceFactor varianceFactor = VarianceFactor::Estimated;
  // True when Estimated was asked for but r = 0 forced the known factor.
  bool varianceFactorForced = false;
  DatumResult datum;
  // Empty when r = 0.
  std::optional<GlobalTestResult> globalTest;
  // The factor that turns a standard ellipse into the 95 % confidence ellipse.
  double confidenceFactor = 2.4477;
  // The w-test's critical value and the redundancy number below which an observation is
  // uncontrolled.
  double criticalW = 3.29;
  // The exit status the run ends with (written into the JSON).
  int exitStatus = 0;
  std::vector<PointResult> points;
  std::vector<ObservationResult> observations;
  std::vector<OrientationResult> orientations;
  std::vector<RelativeResult> relative;
  // Indices into observations of the flagged ones, largest |w| first.
  std::vector<std::size_t> flagged;
  // The unit of bearings of ellipses and of orientations (the one in force at the end of the
  // file).
  AngleUnit finalUnit = AngleUnit::Gon;
};

// An observation with a redundancy number below this is uncontrolled: no w, no MDB.
inline constexpr double uncontrolledRedundancy = 0.001;

}  // namespace zradjust
