#pragma once
// The entries of N⁻¹ on the pattern of a sparse LDLᵀ factor of N (the selected inverse), by
// the Takahashi recurrences run backwards over the columns of L: Z = D⁻¹L⁻¹ + (I − Lᵀ)Z, read
// only where L + Lᵀ has entries. Every entry of N's own pattern is among them, so are the
// blocks that were put into N's pattern as explicit zeros; nothing else is computed, and no
// full inverse is ever formed. Cost and memory are of the order of those of the factor.

#include <cstddef>
#include <vector>

#include "tools/zr-adjust/statistics/ldl_factor.h"

namespace zradjust {

class SelectedInverse {
 public:
  // Copies the pattern of the factor; a dropped pivot's row and column of the inverse are
  // zero (the unknown is held at its value).
  explicit SelectedInverse(const LdlFactor& factor);

  // (N⁻¹)[a][b] for columns a and b of N. Throws std::logic_error when the entry is not on
  // the factor's pattern (the caller forgot to put it into N's pattern).
  double Entry(std::size_t a, std::size_t b) const;

 private:
  const LdlFactor& factor;
  // Z below the diagonal on L's pattern (same indexing as factor.value), and its diagonal;
  // both in elimination order.
  std::vector<double> lower;
  std::vector<double> diagonal;
};

}  // namespace zradjust
