#pragma once
// Redundancy numbers, Baarda's w-test and the minimal detectable bias of every observation.
//
// For a group of rows g with covariance C and design rows A_g, the residuals' cofactors are
// Q_vv = C − A_g·Q·A_gᵀ (datum invariant, so the minimal datum's Q serves), and in the group's
// own components
//   r_i = (Q_vv·C⁻¹)_ii,   w_i = (C⁻¹v)_i / √((C⁻¹Q_vvC⁻¹)_ii),   MDB_i = δ0 / √((C⁻¹Q_vvC⁻¹)_ii).
// For a group of one these are r = Q_vv/σ², w = v/(σ√r), MDB = δ0·σ/√r. The sum of r_i over
// all rows is the redundancy n − u + d.

#include <cstddef>
#include <optional>
#include <vector>

#include "tools/zr-adjust/statistics/datum_cofactors.h"
#include "tools/zr-adjust/statistics/linear_model.h"

namespace zradjust {

// The w-test's critical value at α0 = 0.1 %, and the non-centrality δ0 that the test detects
// with a power of 80 % at that level.
inline constexpr double wTestCriticalValue = 3.29;
inline constexpr double detectableBiasFactor = 4.13;
// An observation with a redundancy number below this is controlled by nothing else.
inline constexpr double uncontrolledBelow = 0.001;

struct ObservationTest {
  double redundancy = 0.0;
  // Empty where uncontrolled.
  std::optional<double> w;
  std::optional<double> mdb;
  bool outlier = false;
  bool uncontrolled = false;
};

// One entry per row of the model; residuals are v = observed − adjusted per row, in the
// rows' units. cofactors must have been built from the same model.
std::vector<ObservationTest> TestObservations(const LinearModel& model,
                                              const DatumCofactors& cofactors,
                                              const std::vector<double>& residuals);

// vᵀΣ⁻¹v over all groups.
double WeightedSquareSum(const LinearModel& model, const std::vector<double>& residuals);

}  // namespace zradjust
