#pragma once
// The cofactors of the host's unknowns, Q = (AᵀΣ⁻¹A)⁻ at the final coordinates, in the datum
// of a DatumBasis, computed for the blocks asked for only.
//
// The held and undetermined unknowns are left out and N over the rest is factorised sparse:
// that Q is the cofactor matrix of the minimal datum (the held unknowns have cofactor zero).
// With a defect it is carried into the minimum-trace datum by S = I − G(CᵀG)⁻¹Cᵀ, C = E·G
// (E selects the datum unknowns): Q_S = S·Q·Sᵀ, entry by entry as
//   Q_S(i,j) = Q(i,j) − g_i·w_j − w_i·g_j + g_i·M·g_jᵀ,   W = Q·C·(CᵀG)⁻ᵀ,  M = (CᵀG)⁻¹CᵀW,
// with W from d solves with the factor. Nothing of size u² is formed.

#include <cstddef>
#include <optional>
#include <vector>

#include "tools/zr-adjust/statistics/datum_basis.h"
#include "tools/zr-adjust/statistics/linear_model.h"
#include "tools/zr-adjust/statistics/normal_equations.h"
#include "tools/zr-adjust/statistics/normal_factor.h"
#include "tools/zr-adjust/statistics/selected_inverse.h"
#include "tools/zr-adjust/statistics/supernodal_factor.h"

namespace zradjust {

class DatumCofactors {
 public:
  // blocks: sets of host unknowns whose every pair of cofactors will be asked for (a point's
  // coordinates, two observed points, an orientation). The pairs within each observation
  // group are always available. basis.motions has d columns of length model.unknownCount,
  // and CᵀG must be regular (not checked beyond a zero pivot, which throws).
  DatumCofactors(const LinearModel& model, const DatumBasis& basis,
                 const std::vector<std::vector<std::size_t>>& blocks);
  DatumCofactors(const DatumCofactors&) = delete;
  DatumCofactors& operator=(const DatumCofactors&) = delete;

  // False for an unknown held by nothing but damping (undetermined), including any the
  // factorisation found to be weak beyond what the basis named.
  bool Determined(std::size_t unknown) const { return !notDetermined[unknown]; }
  // Q(a, b) of the minimal datum: zero where a or b is held or undetermined.
  double MinimalDatum(std::size_t a, std::size_t b) const;
  // MinimalDatum of every pair of count distinct unknowns (at most maxBlockColumns), count × count
  // row-major into block, in one look-up.
  void MinimalDatumBlock(const std::size_t* unknowns, std::size_t count, double* block) const;
  // Q_S(a, b) in the datum of the basis (equal to MinimalDatum without defect).
  double InDatum(std::size_t a, std::size_t b) const;

 private:
  // Needs the factor for d solves before the selected inverse takes its place.
  void PrepareTransformation(const DatumBasis& basis, const SupernodalFactor& factor);

  std::size_t unknownCount;
  std::vector<bool> notDetermined;
  NormalEquations normal;
  std::optional<SelectedInverse> inverse;
  // d, and G, W (unknownCount × d, row-major), M (d × d).
  std::size_t defect = 0;
  std::vector<double> motion;
  std::vector<double> transformed;
  std::vector<double> datumProduct;
};

}  // namespace zradjust
