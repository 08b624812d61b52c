#pragma once
// The S-transformation of coordinates into the minimum-trace datum: of all the solutions that
// differ by a motion of the defect, the one whose datum unknowns moved least from their
// approximate values (smallest sum of squared changes).
//
//   x_S = x − G·t,   t = (CᵀG)⁻¹·Cᵀ·(x − x0),   C = E·G,
//
// with G the defect's motions (columns over the unknowns), E the selection of the datum
// unknowns and x0 the approximate values. Plain data; the cofactors are transformed elsewhere
// with the same G and E.

#include <cstddef>
#include <vector>

namespace zradjust {

struct STransformResult {
  std::vector<double> values;
  // t: the size of each motion taken off, in the units of G's columns (e.g. radians for a
  // rotation of unit motions about the centre).
  std::vector<double> parameters;
  // CᵀG was singular (the datum unknowns do not see every motion): values are x unchanged.
  bool singular = false;
};

// values, approximate: unknownCount entries; motions: d columns of unknownCount entries;
// datumUnknowns: unknownCount flags. Not checked.
STransformResult MinimumTraceTransform(const std::vector<double>& values,
                                       const std::vector<double>& approximate,
                                       const std::vector<std::vector<double>>& motions,
                                       const std::vector<bool>& datumUnknowns);

// Solves the small dense system matrix·t = rhs (d ≤ 7) by Gaussian elimination with partial
// pivoting; false when a pivot vanishes.
bool SolveSmall(std::vector<std::vector<double>> matrix, std::vector<double>& rhs);

}  // namespace zradjust
