#include "tools/zr-adjust/datum/s_transformation.h"

#include <cmath>
#include <utility>

namespace zradjust {

bool SolveSmall(std::vector<std::vector<double>> matrix, std::vector<double>& rhs) {
  std::size_t d = rhs.size();
  double largest = 0.0;
  for (const std::vector<double>& row : matrix)
    for (double value : row)
      largest = std::fmax(largest, std::fabs(value));
  for (std::size_t c = 0; c < d; ++c) {
    std::size_t pivot = c;
    for (std::size_t r = c + 1; r < d; ++r)
      if (std::fabs(matrix[r][c]) > std::fabs(matrix[pivot][c])) pivot = r;
    // Relative to the matrix: G's columns span the defect, so CᵀG is far from singular unless
    // the datum unknowns miss a motion altogether.
    if (!(std::fabs(matrix[pivot][c]) > 1e-13 * largest)) return false;
    std::swap(matrix[c], matrix[pivot]);
    std::swap(rhs[c], rhs[pivot]);
    for (std::size_t r = c + 1; r < d; ++r) {
      double factor = matrix[r][c] / matrix[c][c];
      for (std::size_t k = c; k < d; ++k)
        matrix[r][k] -= factor * matrix[c][k];
      rhs[r] -= factor * rhs[c];
    }
  }
  for (std::size_t c = d; c-- > 0;) {
    for (std::size_t k = c + 1; k < d; ++k)
      rhs[c] -= matrix[c][k] * rhs[k];
    rhs[c] /= matrix[c][c];
  }
  return true;
}

STransformResult MinimumTraceTransform(const std::vector<double>& values,
                                       const std::vector<double>& approximate,
                                       const std::vector<std::vector<double>>& motions,
                                       const std::vector<bool>& datumUnknowns) {
  STransformResult result;
  result.values = values;
  std::size_t d = motions.size();
  // CᵀG and Cᵀ(x − x0), both over the datum unknowns only.
  std::vector<std::vector<double>> normal(d, std::vector<double>(d, 0.0));
  std::vector<double> t(d, 0.0);
  for (std::size_t u = 0; u < values.size(); ++u) {
    if (!datumUnknowns[u]) continue;
    double change = values[u] - approximate[u];
    for (std::size_t a = 0; a < d; ++a) {
      t[a] += motions[a][u] * change;
      for (std::size_t b = 0; b < d; ++b)
        normal[a][b] += motions[a][u] * motions[b][u];
    }
  }
  if (!SolveSmall(normal, t)) {
    result.singular = true;
    return result;
  }
  for (std::size_t u = 0; u < values.size(); ++u)
    for (std::size_t a = 0; a < d; ++a)
      result.values[u] -= motions[a][u] * t[a];
  result.parameters = t;
  return result;
}

}  // namespace zradjust
