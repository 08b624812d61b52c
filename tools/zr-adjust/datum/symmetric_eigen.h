#pragma once
// Eigenvalues and eigenvectors of a small symmetric matrix, for the datum analysis (at most
// seven motions per part of a network) and nothing larger: cyclic Jacobi rotations, O(m³) per
// sweep, accurate to a few units of machine precision relative to the largest eigenvalue.

#include <cstddef>
#include <vector>

namespace zradjust {

struct SymmetricEigen {
  // Ascending.
  std::vector<double> values;
  // vectors[k] is the unit eigenvector of values[k].
  std::vector<std::vector<double>> vectors;
};

// matrix: m rows of m entries, symmetric (only the upper triangle is read). Not checked.
SymmetricEigen DecomposeSymmetric(const std::vector<std::vector<double>>& matrix);

}  // namespace zradjust
