#include "tools/zr-adjust/statistics/datum_cofactors.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <utility>

namespace zradjust {
namespace {

std::vector<bool> LeftOut(const LinearModel& model, const DatumBasis& basis) {
  std::vector<bool> leftOut(model.unknownCount, false);
  for (std::size_t u : basis.held)
    leftOut[u] = true;
  for (std::size_t u : basis.undetermined)
    leftOut[u] = true;
  return leftOut;
}

std::vector<std::pair<std::size_t, std::size_t>> PatternPairs(
    const LinearModel& model, const std::vector<std::vector<std::size_t>>& blocks) {
  std::vector<std::pair<std::size_t, std::size_t>> pairs;
  auto addBlock = [&](const std::vector<std::size_t>& block) {
    for (std::size_t i = 0; i < block.size(); ++i)
      for (std::size_t j = i + 1; j < block.size(); ++j)
        pairs.emplace_back(block[i], block[j]);
  };
  for (const auto& block : blocks)
    addBlock(block);
  std::vector<std::size_t> groupUnknowns;
  for (const ObservationGroup& group : model.groups) {
    if (group.size == 1) continue;  // one row couples its own unknowns in N already
    groupUnknowns.clear();
    for (std::size_t r = group.first; r < group.first + group.size; ++r)
      for (const DesignEntry& entry : model.rows[r])
        groupUnknowns.push_back(entry.unknown);
    addBlock(groupUnknowns);
  }
  return pairs;
}

// The inverse of a small d × d matrix (row-major) by Gauss-Jordan with partial pivoting.
std::vector<double> SmallInverse(std::vector<double> a, std::size_t d) {
  std::vector<double> inverse(d * d, 0.0);
  for (std::size_t i = 0; i < d; ++i)
    inverse[i * d + i] = 1.0;
  for (std::size_t column = 0; column < d; ++column) {
    std::size_t pivotRow = column;
    for (std::size_t r = column + 1; r < d; ++r)
      if (std::fabs(a[r * d + column]) > std::fabs(a[pivotRow * d + column])) pivotRow = r;
    if (a[pivotRow * d + column] == 0.0)
      throw std::runtime_error("the datum points do not hold the datum defect");
    for (std::size_t j = 0; j < d; ++j) {
      std::swap(a[column * d + j], a[pivotRow * d + j]);
      std::swap(inverse[column * d + j], inverse[pivotRow * d + j]);
    }
    const double pivot = a[column * d + column];
    for (std::size_t j = 0; j < d; ++j) {
      a[column * d + j] /= pivot;
      inverse[column * d + j] /= pivot;
    }
    for (std::size_t r = 0; r < d; ++r) {
      if (r == column) continue;
      const double f = a[r * d + column];
      for (std::size_t j = 0; j < d; ++j) {
        a[r * d + j] -= f * a[column * d + j];
        inverse[r * d + j] -= f * inverse[column * d + j];
      }
    }
  }
  return inverse;
}

}  // namespace

DatumCofactors::DatumCofactors(const LinearModel& model, const DatumBasis& basis,
                               const std::vector<std::vector<std::size_t>>& blocks)
    : unknownCount(model.unknownCount),
      notDetermined(model.unknownCount, false),
      normal(FormNormalEquations(model, LeftOut(model, basis), PatternPairs(model, blocks))) {
  SupernodalFactor factor = FactoriseDroppingWeakPivots(
      normal.matrix, weakPivotTolerance, ColumnOrder(normal, basis.eliminationOrder));
  for (std::size_t u : basis.undetermined)
    notDetermined[u] = true;
  for (std::size_t k = 0; k < factor.size; ++k)
    if (factor.dropped[k]) notDetermined[normal.unknownOf[factor.order[k]]] = true;
  PrepareTransformation(basis, factor);
  inverse.emplace(std::move(factor));
}

void DatumCofactors::PrepareTransformation(const DatumBasis& basis,
                                           const SupernodalFactor& factor) {
  defect = basis.motions.size();
  if (defect == 0) return;
  const std::size_t d = defect, u = unknownCount;
  motion.assign(u * d, 0.0);
  for (std::size_t k = 0; k < d; ++k)
    for (std::size_t i = 0; i < u; ++i)
      motion[i * d + k] = basis.motions[k][i];
  auto isDatum = [&](std::size_t i) {
    return !basis.datumUnknowns.empty() && basis.datumUnknowns[i] && !notDetermined[i];
  };
  // CᵀG, and Q·C by one solve per motion.
  std::vector<double> cg(d * d, 0.0);
  std::vector<double> qc(u * d, 0.0);
  std::vector<double> rightHandSide(normal.unknownOf.size());
  for (std::size_t k = 0; k < d; ++k) {
    for (std::size_t l = 0; l < d; ++l)
      for (std::size_t i = 0; i < u; ++i)
        if (isDatum(i)) cg[k * d + l] += motion[i * d + k] * motion[i * d + l];
    for (std::size_t c = 0; c < rightHandSide.size(); ++c) {
      const std::size_t i = normal.unknownOf[c];
      rightHandSide[c] = isDatum(i) ? motion[i * d + k] : 0.0;
    }
    const std::vector<double> solution = SolveWithFactor(factor, rightHandSide);
    for (std::size_t c = 0; c < solution.size(); ++c)
      if (!notDetermined[normal.unknownOf[c]]) qc[normal.unknownOf[c] * d + k] = solution[c];
  }
  const std::vector<double> cgInverse = SmallInverse(cg, d);
  // W = Q·C·(CᵀG)⁻ᵀ, row i: w_i = (Q·C)_i · (CᵀG)⁻ᵀ.
  transformed.assign(u * d, 0.0);
  for (std::size_t i = 0; i < u; ++i)
    for (std::size_t k = 0; k < d; ++k)
      for (std::size_t l = 0; l < d; ++l)
        transformed[i * d + k] += qc[i * d + l] * cgInverse[k * d + l];
  // M = (CᵀG)⁻¹·Cᵀ·W.
  std::vector<double> ctw(d * d, 0.0);
  for (std::size_t i = 0; i < u; ++i)
    if (isDatum(i))
      for (std::size_t k = 0; k < d; ++k)
        for (std::size_t l = 0; l < d; ++l)
          ctw[k * d + l] += motion[i * d + k] * transformed[i * d + l];
  datumProduct.assign(d * d, 0.0);
  for (std::size_t k = 0; k < d; ++k)
    for (std::size_t l = 0; l < d; ++l)
      for (std::size_t m = 0; m < d; ++m)
        datumProduct[k * d + l] += cgInverse[k * d + m] * ctw[m * d + l];
}

double DatumCofactors::MinimalDatum(std::size_t a, std::size_t b) const {
  const std::size_t ca = normal.columnOf[a], cb = normal.columnOf[b];
  if (ca == NormalEquations::NotInSystem || cb == NormalEquations::NotInSystem) return 0.0;
  if (notDetermined[a] || notDetermined[b]) return 0.0;
  return inverse->Entry(ca, cb);
}

void DatumCofactors::MinimalDatumBlock(const std::size_t* unknowns, std::size_t count,
                                       double* block) const {
  if (count > maxBlockColumns) throw std::logic_error("cofactor block too large");
  std::size_t columns[maxBlockColumns] = {}, place[maxBlockColumns] = {}, inSystem = 0;
  for (std::size_t i = 0; i < count; ++i) {
    const std::size_t column = normal.columnOf[unknowns[i]];
    if (column == NormalEquations::NotInSystem || notDetermined[unknowns[i]]) continue;
    place[inSystem] = i;
    columns[inSystem++] = column;
  }
  double inverseBlock[maxBlockColumns * maxBlockColumns];
  inverse->Block(columns, inSystem, inverseBlock);
  std::fill_n(block, count * count, 0.0);
  for (std::size_t a = 0; a < inSystem; ++a)
    for (std::size_t b = 0; b < inSystem; ++b)
      block[place[a] * count + place[b]] = inverseBlock[a * inSystem + b];
}

double DatumCofactors::InDatum(std::size_t a, std::size_t b) const {
  double q = MinimalDatum(a, b);
  if (defect == 0 || notDetermined[a] || notDetermined[b]) return q;
  const std::size_t d = defect;
  const double* ga = &motion[a * d];
  const double* gb = &motion[b * d];
  const double* wa = &transformed[a * d];
  const double* wb = &transformed[b * d];
  for (std::size_t k = 0; k < d; ++k) {
    q -= ga[k] * wb[k] + wa[k] * gb[k];
    for (std::size_t l = 0; l < d; ++l)
      q += ga[k] * datumProduct[k * d + l] * gb[l];
  }
  return q;
}

}  // namespace zradjust
