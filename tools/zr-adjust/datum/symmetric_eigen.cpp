#include "tools/zr-adjust/datum/symmetric_eigen.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace zradjust {
namespace {

// Sweeps until the off-diagonal part is negligible; Jacobi converges quadratically, so a
// handful suffices for m <= 7 and the limit only guards against a pathological input.
constexpr int sweepLimit = 60;

double OffDiagonalSquares(const std::vector<std::vector<double>>& a) {
  double sum = 0.0;
  for (std::size_t i = 0; i < a.size(); ++i)
    for (std::size_t j = i + 1; j < a.size(); ++j)
      sum += a[i][j] * a[i][j];
  return sum;
}

// One rotation in the plane (p, q) that zeroes a[p][q]; v accumulates the rotations in columns.
void Rotate(std::vector<std::vector<double>>& a, std::vector<std::vector<double>>& v, std::size_t p,
            std::size_t q) {
  if (a[p][q] == 0.0) return;
  double theta = (a[q][q] - a[p][p]) / (2.0 * a[p][q]);
  double t = (theta >= 0.0 ? 1.0 : -1.0) / (std::fabs(theta) + std::sqrt(theta * theta + 1.0));
  double c = 1.0 / std::sqrt(t * t + 1.0);
  double s = t * c;
  for (std::size_t k = 0; k < a.size(); ++k) {
    double akp = a[k][p], akq = a[k][q];
    a[k][p] = c * akp - s * akq;
    a[k][q] = s * akp + c * akq;
  }
  for (std::size_t k = 0; k < a.size(); ++k) {
    double apk = a[p][k], aqk = a[q][k];
    a[p][k] = c * apk - s * aqk;
    a[q][k] = s * apk + c * aqk;
  }
  for (std::size_t k = 0; k < v.size(); ++k) {
    double vkp = v[k][p], vkq = v[k][q];
    v[k][p] = c * vkp - s * vkq;
    v[k][q] = s * vkp + c * vkq;
  }
}

}  // namespace

SymmetricEigen DecomposeSymmetric(const std::vector<std::vector<double>>& matrix) {
  std::size_t m = matrix.size();
  std::vector<std::vector<double>> a(m, std::vector<double>(m, 0.0));
  std::vector<std::vector<double>> v(m, std::vector<double>(m, 0.0));
  double scale = 0.0;
  for (std::size_t i = 0; i < m; ++i) {
    v[i][i] = 1.0;
    for (std::size_t j = i; j < m; ++j) {
      a[i][j] = a[j][i] = matrix[i][j];
      scale += matrix[i][j] * matrix[i][j];
    }
  }
  for (int sweep = 0; sweep < sweepLimit; ++sweep) {
    if (!(OffDiagonalSquares(a) > 1e-32 * scale)) break;
    for (std::size_t p = 0; p < m; ++p)
      for (std::size_t q = p + 1; q < m; ++q)
        Rotate(a, v, p, q);
  }
  std::vector<std::size_t> order(m);
  std::iota(order.begin(), order.end(), 0);
  std::sort(order.begin(), order.end(),
            [&](std::size_t x, std::size_t y) { return a[x][x] < a[y][y]; });
  SymmetricEigen result;
  for (std::size_t k : order) {
    result.values.push_back(a[k][k]);
    std::vector<double>& vector = result.vectors.emplace_back(m);
    for (std::size_t i = 0; i < m; ++i)
      vector[i] = v[i][k];
  }
  return result;
}

}  // namespace zradjust
