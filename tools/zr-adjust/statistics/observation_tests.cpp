#include "tools/zr-adjust/statistics/observation_tests.h"

#include <algorithm>
#include <cmath>

#include "tools/zr-adjust/statistics/normal_equations.h"

namespace zradjust {
namespace {

// The cofactors of the unknowns of one group's rows, fetched once for all its pairs of rows.
class GroupCofactors {
 public:
  GroupCofactors(const LinearModel& model, const ObservationGroup& group,
                 const DatumCofactors& cofactors)
      : cofactors(cofactors) {
    for (std::size_t r = group.first; r < group.first + group.size; ++r)
      for (const DesignEntry& entry : model.rows[r])
        if (std::find(unknowns, unknowns + count, entry.unknown) == unknowns + count) {
          if (count == most) {
            count = 0;  // more than a block holds: entry by entry
            return;
          }
          unknowns[count++] = entry.unknown;
        }
    cofactors.MinimalDatumBlock(unknowns, count, block);
  }

  // a_r·Q·a_sᵀ for two design rows of the group.
  double RowCofactor(const DesignRow& r, const DesignRow& s) const {
    double sum = 0.0;
    for (const DesignEntry& a : r)
      for (const DesignEntry& b : s)
        sum += a.partial * Cofactor(a.unknown, b.unknown) * b.partial;
    return sum;
  }

 private:
  double Cofactor(std::size_t a, std::size_t b) const {
    if (count == 0) return cofactors.MinimalDatum(a, b);
    const auto placeOf = [&](std::size_t unknown) {
      return static_cast<std::size_t>(std::find(unknowns, unknowns + count, unknown) - unknowns);
    };
    return block[placeOf(a) * count + placeOf(b)];
  }

  static constexpr std::size_t most = maxBlockColumns;
  const DatumCofactors& cofactors;
  std::size_t unknowns[most] = {};
  std::size_t count = 0;
  double block[most * most] = {};
};

}  // namespace

std::vector<ObservationTest> TestObservations(const LinearModel& model,
                                              const DatumCofactors& cofactors,
                                              const std::vector<double>& residuals) {
  std::vector<ObservationTest> tests(model.rows.size());
  for (const ObservationGroup& group : model.groups) {
    const int size = group.size;
    double weight[3][3];
    InvertGroupCovariance(group, weight);
    const GroupCofactors groupCofactors(model, group, cofactors);
    double residualCofactor[3][3];
    for (int i = 0; i < size; ++i)
      for (int j = 0; j < size; ++j)
        residualCofactor[i][j] =
            group.covariance[i][j] -
            groupCofactors.RowCofactor(model.rows[group.first + i], model.rows[group.first + j]);
    for (int i = 0; i < size; ++i) {
      ObservationTest& test = tests[group.first + i];
      double redundancy = 0.0, weightedResidual = 0.0, testVariance = 0.0;
      for (int k = 0; k < size; ++k) {
        redundancy += residualCofactor[i][k] * weight[k][i];
        weightedResidual += weight[i][k] * residuals[group.first + k];
        for (int l = 0; l < size; ++l)
          testVariance += weight[i][k] * residualCofactor[k][l] * weight[l][i];
      }
      test.redundancy = redundancy;
      test.uncontrolled = !(redundancy >= uncontrolledBelow) || !(testVariance > 0.0);
      if (test.uncontrolled) continue;
      test.w = weightedResidual / std::sqrt(testVariance);
      test.mdb = detectableBiasFactor / std::sqrt(testVariance);
      test.outlier = std::fabs(*test.w) > wTestCriticalValue;
    }
  }
  return tests;
}

double WeightedSquareSum(const LinearModel& model, const std::vector<double>& residuals) {
  double sum = 0.0;
  for (const ObservationGroup& group : model.groups) {
    double weight[3][3];
    InvertGroupCovariance(group, weight);
    for (int i = 0; i < group.size; ++i)
      for (int j = 0; j < group.size; ++j)
        sum += residuals[group.first + i] * weight[i][j] * residuals[group.first + j];
  }
  return sum;
}

}  // namespace zradjust
