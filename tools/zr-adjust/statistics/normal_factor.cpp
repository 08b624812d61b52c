#include "tools/zr-adjust/statistics/normal_factor.h"

#include "tools/zr-adjust/statistics/normal_equations.h"
#include "tools/zr-adjust/statistics/supernodal_factor.h"

namespace zradjust {

std::vector<std::size_t> WeakUnknowns(const LinearModel& model,
                                      const std::vector<std::size_t>& leftOut,
                                      double relativeTolerance,
                                      const std::vector<std::size_t>& unknownOrder) {
  std::vector<bool> isLeftOut(model.unknownCount, false);
  for (std::size_t unknown : leftOut)
    isLeftOut[unknown] = true;
  const NormalEquations normal = FormNormalEquations(model, isLeftOut, {});
  const SupernodalFactor factor = FactoriseDroppingWeakPivots(normal.matrix, relativeTolerance,
                                                              ColumnOrder(normal, unknownOrder));
  std::vector<bool> weak(model.unknownCount, false);
  for (std::size_t k = 0; k < factor.size; ++k)
    if (factor.dropped[k]) weak[normal.unknownOf[factor.order[k]]] = true;
  std::vector<std::size_t> result;
  for (std::size_t u = 0; u < model.unknownCount; ++u)
    if (weak[u]) result.push_back(u);
  return result;
}

}  // namespace zradjust
