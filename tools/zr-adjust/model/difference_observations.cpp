#include "tools/zr-adjust/model/difference_observations.h"

#include <cmath>

namespace zradjust {

void CoordinateDifference::Partials(std::map<ValueHandle, double>& partials) const {
  partials[to] = 1.0;
  partials[from] = -1.0;
}

void CoordinateValue::Partials(std::map<ValueHandle, double>& partials) const {
  partials[coordinate] = 1.0;
}

double WhitenedBaseline::Computed() const {
  double c = 0.0;
  for (int m = 0; m <= component; ++m)
    c += row[m] * (to[m].object->Value - from[m].object->Value);
  return c;
}

void WhitenedBaseline::Partials(std::map<ValueHandle, double>& partials) const {
  for (int m = 0; m <= component; ++m) {
    partials[to[m]] = row[m];
    partials[from[m]] = -row[m];
  }
}

void InverseCholeskyFactor(const double (&upper)[6], double (&inverse)[3][3]) {
  // L column by column: C = L·Lᵀ.
  double l[3][3] = {};
  l[0][0] = std::sqrt(upper[0]);
  l[1][0] = upper[1] / l[0][0];
  l[2][0] = upper[2] / l[0][0];
  l[1][1] = std::sqrt(upper[3] - l[1][0] * l[1][0]);
  l[2][1] = (upper[4] - l[2][0] * l[1][0]) / l[1][1];
  l[2][2] = std::sqrt(upper[5] - l[2][0] * l[2][0] - l[2][1] * l[2][1]);
  // W = L⁻¹ by forward substitution on the columns of the identity: row i of W·L = eᵢ.
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 3; ++j)
      inverse[i][j] = 0.0;
    inverse[i][i] = 1.0 / l[i][i];
    for (int j = i - 1; j >= 0; --j) {
      double sum = 0.0;
      for (int m = j + 1; m <= i; ++m)
        sum += inverse[i][m] * l[m][j];
      inverse[i][j] = -sum / l[j][j];
    }
  }
}

}  // namespace zradjust
