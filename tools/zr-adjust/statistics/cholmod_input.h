#pragma once
// The hand-over of the host's normal matrix to CHOLMOD, shared by the ordering and the blocked
// factorisation. Only the statistics' own sources include this header.

#include <suitesparse/cholmod.h>

#include "tools/zr-adjust/statistics/normal_equations.h"

namespace zradjust {

// The upper triangle of N as CHOLMOD takes it (its pattern alone, or with the values), rows
// ascending, allocated by common; null when it cannot be allocated. The caller frees it with
// cholmod_l_free_sparse.
cholmod_sparse* UpperTriangle(const SymmetricSparse& n, bool withValues, cholmod_common& common);

}  // namespace zradjust
