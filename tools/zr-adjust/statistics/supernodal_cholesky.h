#pragma once
// The numeric Cholesky factorisation P·N·Pᵀ = L·Lᵀ on a given supernodal pattern, left-looking
// (each supernode gathers the updates of the supernodes below it, then factorises its own
// block), with independent subtrees of the supernodes' tree worked on by the threads of an
// OpenMP team and the dense kernels on each calling thread.

#include "tools/zr-adjust/statistics/normal_equations.h"
#include "tools/zr-adjust/statistics/supernodal_factor.h"

namespace zradjust {

// factor holds the pattern of L for N in its order (everything but value: supernodes, rows,
// block offsets, supernodeOf; closed, parents after children); every entry of N's lower
// triangle in that order must lie on it (not checked). Allocates factor.value and fills it
// with L. False when a diagonal block is not positive definite; factor.value is then not a
// factor.
bool FactoriseOnPattern(const SymmetricSparse& n, SupernodalFactor& factor);

}  // namespace zradjust
