#pragma once
// The hand-over of the host's normal matrix to CHOLMOD, shared by the ordering and the blocked
// factorisation. Only the statistics' own sources include this header.

#include <suitesparse/cholmod.h>

#include <cstddef>
#include <vector>

#include "tools/zr-adjust/statistics/normal_equations.h"

namespace zradjust {

// One use of CHOLMOD: its settings and workspace for the analysis of one kind of factor
// (CHOLMOD_SIMPLICIAL or CHOLMOD_SUPERNODAL), quiet, released at the end of the scope.
class CholmodSession {
 public:
  explicit CholmodSession(int factorKind) {
    cholmod_l_start(&common);
    common.supernodal = factorKind;
    common.print = 0;
  }
  ~CholmodSession() { cholmod_l_finish(&common); }
  CholmodSession(const CholmodSession&) = delete;
  CholmodSession& operator=(const CholmodSession&) = delete;

  cholmod_common common;
};

// The upper triangle of N as CHOLMOD takes it (its pattern alone, or with the values), rows
// ascending, allocated by common; null when it cannot be allocated. The caller frees it with
// cholmod_l_free_sparse.
cholmod_sparse* UpperTriangle(const SymmetricSparse& n, bool withValues, cholmod_common& common);

// CHOLMOD's analysis of upper (its symbolic factor, in the kind common asks for; null on
// failure). Without givenOrder it chooses the fill-reducing order itself: approximate minimum
// degree and, where that fills much, nested dissection, keeping the better. With it (a
// permutation of the columns, not checked) it takes that order, postordered.
cholmod_factor* Analyse(cholmod_sparse& upper, const std::vector<std::size_t>& givenOrder,
                        cholmod_common& common);

// The elimination order of CHOLMOD's analysis of n's pattern (only the entries at or above the
// diagonal are read, values never): givenOrder postordered, or without it CHOLMOD's own choice
// (see Analyse), or with bothMethods the better of minimum degree and nested dissection, both
// tried whatever the fill. Throws std::runtime_error when the analysis fails.
std::vector<std::size_t> AnalysedOrder(const SymmetricSparse& n,
                                       const std::vector<std::size_t>& givenOrder,
                                       bool bothMethods = false);

}  // namespace zradjust
