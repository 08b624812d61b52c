#include "tools/zr-adjust/statistics/cholmod_input.h"

#include <stdexcept>

namespace zradjust {

cholmod_sparse* UpperTriangle(const SymmetricSparse& n, bool withValues, cholmod_common& common) {
  std::size_t upperCount = 0;
  for (std::size_t c = 0; c < n.size; ++c)
    for (std::size_t p = n.columnStart[c]; p < n.columnStart[c + 1]; ++p)
      if (n.rowIndex[p] <= c) ++upperCount;
  cholmod_sparse* upper =
      cholmod_l_allocate_sparse(n.size, n.size, upperCount, true, true, 1,
                                withValues ? CHOLMOD_REAL : CHOLMOD_PATTERN, &common);
  if (upper == nullptr) return nullptr;
  auto* start = static_cast<SuiteSparse_long*>(upper->p);
  auto* rows = static_cast<SuiteSparse_long*>(upper->i);
  auto* values = static_cast<double*>(upper->x);
  std::size_t written = 0;
  for (std::size_t c = 0; c < n.size; ++c) {
    start[c] = static_cast<SuiteSparse_long>(written);
    for (std::size_t p = n.columnStart[c]; p < n.columnStart[c + 1]; ++p) {
      if (n.rowIndex[p] > c) continue;
      if (withValues) values[written] = n.value[p];
      rows[written++] = static_cast<SuiteSparse_long>(n.rowIndex[p]);
    }
  }
  start[n.size] = static_cast<SuiteSparse_long>(written);
  return upper;
}

cholmod_factor* Analyse(cholmod_sparse& upper, const std::vector<std::size_t>& givenOrder,
                        cholmod_common& common) {
  if (givenOrder.empty()) return cholmod_l_analyze(&upper, &common);
  std::vector<SuiteSparse_long> permutation(givenOrder.begin(), givenOrder.end());
  common.nmethods = 1;
  common.method[0].ordering = CHOLMOD_GIVEN;
  return cholmod_l_analyze_p(&upper, permutation.data(), nullptr, 0, &common);
}

std::vector<std::size_t> AnalysedOrder(const SymmetricSparse& n,
                                       const std::vector<std::size_t>& givenOrder,
                                       bool bothMethods) {
  std::vector<std::size_t> order(n.size);
  if (n.size == 0) return order;
  CholmodSession session(CHOLMOD_SIMPLICIAL);
  cholmod_common& common = session.common;
  if (bothMethods) {
    common.nmethods = 2;
    common.method[0].ordering = CHOLMOD_AMD;
    common.method[1].ordering = CHOLMOD_METIS;
  }
  cholmod_sparse* pattern = UpperTriangle(n, false, common);
  cholmod_factor* symbolic = pattern != nullptr ? Analyse(*pattern, givenOrder, common) : nullptr;
  const bool ordered = symbolic != nullptr && common.status == CHOLMOD_OK;
  if (ordered) {
    const auto* permutation = static_cast<const SuiteSparse_long*>(symbolic->Perm);
    for (std::size_t k = 0; k < n.size; ++k)
      order[k] = static_cast<std::size_t>(permutation[k]);
  }
  cholmod_l_free_factor(&symbolic, &common);
  cholmod_l_free_sparse(&pattern, &common);
  if (!ordered) throw std::runtime_error("the fill-reducing ordering failed");
  return order;
}

}  // namespace zradjust
