#pragma once
// A sparse LDLᵀ factor of a symmetric matrix in a fill-reducing order (CHOLMOD's analysis:
// minimum degree or nested dissection), computed row by row, that leaves out weak pivots instead of
// failing on them: an unknown whose pivot is not above relativeTolerance times its own diagonal
// element is dropped, and the rest is factorised exactly as if its row and column had never been
// there. This is what the statistics need of a normal matrix with a defect the caller does not know
// in full: the factor of the determined part, and the list of what is not determined.

#include <cstddef>
#include <vector>

#include "tools/zr-adjust/statistics/normal_equations.h"

namespace zradjust {

struct LdlFactor {
  std::size_t size = 0;
  // Column of the matrix eliminated k-th, and its inverse.
  std::vector<std::size_t> order;
  std::vector<std::size_t> positionOf;
  // L (unit diagonal not stored), strictly lower, column k in elimination order; rows
  // ascending. The pattern is closed: the rows of a column below any of its rows i are all
  // in column i as well, which the selected inverse relies on.
  std::vector<std::size_t> columnStart;
  std::vector<std::size_t> rowIndex;
  std::vector<double> value;
  // D in elimination order; zero for a dropped pivot.
  std::vector<double> diagonal;
  std::vector<bool> dropped;
};

// Factorises P·N·Pᵀ = L·D·Lᵀ row by row, in the fill-reducing order of the whole pattern of N
// (explicit zeros included), so that every entry of N's pattern is in the pattern of L + Lᵀ.
// A weak pivot is dropped as soon as it is met and the rest is factorised without its row and
// column. Nothing of N is checked; a non-finite pivot counts as weak.
//
// givenOrder, when not empty, is a permutation of N's columns that is taken as the fill-reducing
// order (then postordered by its elimination tree) instead of computing one.
LdlFactor FactoriseRowByRow(const SymmetricSparse& n, double relativeTolerance,
                            const std::vector<std::size_t>& givenOrder = {});

}  // namespace zradjust
