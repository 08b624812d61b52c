#pragma once
// The entries of N⁻¹ on the pattern of a sparse Cholesky factor of N (the selected inverse),
// by the Takahashi recurrences run backwards over the supernodes of L: with a supernode's own
// columns J and its rows below R,
//   B = L(R,J)·L(J,J)⁻¹,   Z(R,J) = −Z(R,R)·B,   Z(J,J) = (L(J,J)·L(J,J)ᵀ)⁻¹ − Bᵀ·Z(R,J),
// where Z(R,R) lies on the pattern of the supernodes above. Every entry of N's own pattern is
// among them, so are the blocks that were put into N's pattern as explicit zeros; nothing else
// is computed, and no full inverse is ever formed. Cost and memory are those of the factor:
// the inverse takes the factor's place.

#include <cstddef>

#include "tools/zr-adjust/statistics/supernodal_factor.h"

namespace zradjust {

// The most columns one Block call takes: a dozen unknowns serve the largest observation group
// (three rows of a 3D angle).
inline constexpr std::size_t maxBlockColumns = 16;

class SelectedInverse {
 public:
  // Takes the factor over and overwrites its blocks with Z = (L·Lᵀ)⁻¹ on the same pattern; a
  // dropped pivot's row and column of the inverse are zero (the unknown is held at its value).
  // Supernodes whose ancestors are done are worked on by all the threads of an OpenMP team.
  explicit SelectedInverse(SupernodalFactor factor);

  // (N⁻¹)[a][b] for columns a and b of N. Throws std::logic_error when the entry is not on
  // the factor's pattern (the caller forgot to put it into N's pattern).
  double Entry(std::size_t a, std::size_t b) const;

  // The symmetric block (N⁻¹)[columns[i]][columns[j]], count × count row-major into block, at
  // the cost of count·(count + 1)/2 entries but with one search along each column's rows.
  // The columns must be distinct, at most maxBlockColumns (more throw std::logic_error); same
  // errors as Entry.
  void Block(const std::size_t* columns, std::size_t count, double* block) const;

 private:
  // Z at elimination positions i ≥ j, neither dropped: i is searched for along column j's rows
  // from *from on (null: from the diagonal), and *from is left where it was found.
  double AtPositions(std::size_t i, std::size_t j, const std::size_t** from) const;

  SupernodalFactor z;
};

}  // namespace zradjust
