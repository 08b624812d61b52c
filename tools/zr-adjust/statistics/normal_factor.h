#pragma once
// Which unknowns the observations determine: a sparse factorisation of the host's own normal
// equations that leaves out what it cannot determine.

#include <cstddef>
#include <vector>

#include "tools/zr-adjust/statistics/linear_model.h"

namespace zradjust {

// An unknown whose pivot falls below this fraction of its own diagonal element of N is not
// determined: the pivot is sin² of the angle between its column and the span of the others, so
// this takes directions that agree within 1e-5 rad (2 arc seconds) for parallel, while an
// exactly dependent configuration leaves rounding of 1e-13 or less. The datum check and the
// statistics use the same limit, so that they agree on what is determined.
inline constexpr double weakPivotTolerance = 1e-10;

// The unknowns that the observations do not determine once the unknowns in leftOut are held:
// N = AᵀΣ⁻¹A over the other unknowns is factorised (sparse, fill-reducing order) and each
// unknown whose pivot falls below relativeTolerance times its own diagonal element of N (or
// whose diagonal element is zero) is returned and left out in turn, until the rest is
// positive definite. Host numbering, ascending.
//
// Which unknown of a dependent set is returned depends on the elimination order; the number
// returned is the rank defect of N over the unknowns not left out. leftOut holds host
// unknowns below model.unknownCount (not checked).
//
// unknownOrder, when not empty, orders all host unknowns (EliminationOrder): N is factorised in
// that order instead of one of its own.
std::vector<std::size_t> WeakUnknowns(const LinearModel& model,
                                      const std::vector<std::size_t>& leftOut,
                                      double relativeTolerance,
                                      const std::vector<std::size_t>& unknownOrder = {});

}  // namespace zradjust
