#pragma once
// The host's own normal equations N = AᵀΣ⁻¹A of a LinearModel, over the unknowns that are not
// left out, as a symmetric sparse matrix in compressed columns (both triangles, rows ascending).
// Pattern entries may be asked for beyond those of A (explicit zeros), so that a factor and the
// selected inverse on its pattern hold every block a report will read.

#include <cstddef>
#include <utility>
#include <vector>

#include "tools/zr-adjust/statistics/linear_model.h"

namespace zradjust {

// A symmetric matrix, both triangles stored, column by column with rows ascending.
struct SymmetricSparse {
  std::size_t size = 0;
  std::vector<std::size_t> columnStart;  // size + 1 entries
  std::vector<std::size_t> rowIndex;
  std::vector<double> value;
};

struct NormalEquations {
  // Column of N for each host unknown, or NotInSystem when left out.
  static constexpr std::size_t NotInSystem = static_cast<std::size_t>(-1);
  std::vector<std::size_t> columnOf;
  // Host unknown of each column, ascending.
  std::vector<std::size_t> unknownOf;
  SymmetricSparse matrix;
};

// The inverse of one observation group's covariance (size x size, row-major in 3x3); the
// caller guarantees a symmetric positive definite leading block.
void InvertGroupCovariance(const ObservationGroup& group, double inverse[3][3]);

// Forms N over the unknowns with leftOut[unknown] false (leftOut empty: none left out).
// extraPairs are host unknown pairs whose entry must be in N's pattern (zero unless A gives
// it); pairs touching a left-out unknown are ignored. Every row's unknowns must be below
// model.unknownCount and every row must belong to one group (not checked).
NormalEquations FormNormalEquations(
    const LinearModel& model, const std::vector<bool>& leftOut,
    const std::vector<std::pair<std::size_t, std::size_t>>& extraPairs);

// The columns of N in the order of unknownOrder (host unknowns; those not in N are skipped), when
// that orders every column exactly once; otherwise empty.
std::vector<std::size_t> ColumnOrder(const NormalEquations& normal,
                                     const std::vector<std::size_t>& unknownOrder);

}  // namespace zradjust
