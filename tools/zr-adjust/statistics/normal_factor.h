#pragma once
// Which unknowns the observations determine: a sparse factorisation of the host's own normal
// equations that leaves out what it cannot determine.

#include <cstddef>
#include <vector>

#include "tools/zr-adjust/statistics/linear_model.h"

namespace zradjust {

// The unknowns that the observations do not determine once the unknowns in leftOut are held:
// N = AᵀΣ⁻¹A over the other unknowns is factorised (sparse, fill-reducing order) and each
// unknown whose pivot falls below relativeTolerance times its own diagonal element of N (or
// whose diagonal element is zero) is returned and left out in turn, until the rest is
// positive definite. Host numbering, ascending.
//
// Which unknown of a dependent set is returned depends on the elimination order; the number
// returned is the rank defect of N over the unknowns not left out. leftOut holds host
// unknowns below model.unknownCount (not checked).
std::vector<std::size_t> WeakUnknowns(const LinearModel& model,
                                      const std::vector<std::size_t>& leftOut,
                                      double relativeTolerance);

}  // namespace zradjust
