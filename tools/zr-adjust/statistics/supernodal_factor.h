#pragma once
// A sparse Cholesky factor P·N·Pᵀ = L·Lᵀ of the determined part of a symmetric matrix, held by
// supernodes: runs of consecutive columns of L that share their rows below the run, each kept as
// one dense column-major block. This is the form in which dense kernels (BLAS, LAPACK) do the
// work of the factorisation, of the solves and of the selected inverse.
//
// Unknowns whose pivot is weak are dropped, as the row-by-row elimination decides (see
// ldl_factor.h): a dropped column is a supernode of its own with no rows below it, its value is
// zero, and no other column has an entry in its row.

#include <cstddef>
#include <memory>
#include <vector>

#include "tools/zr-adjust/statistics/ldl_factor.h"
#include "tools/zr-adjust/statistics/normal_equations.h"

namespace zradjust {

struct SupernodalFactor {
  std::size_t size = 0;
  // Column of the matrix eliminated k-th, and its inverse.
  std::vector<std::size_t> order;
  std::vector<std::size_t> positionOf;
  // Per elimination position: the pivot was weak and the unknown is left out.
  std::vector<bool> dropped;

  // Supernode s holds the columns firstColumn[s] .. firstColumn[s + 1] − 1 (c of them, in
  // elimination order). Its rows are rowIndex[rowStart[s] .. rowStart[s + 1]) (r of them):
  // its own columns first, then the rows below the supernode, ascending. Its block is
  // value[valueStart[s] ..], r × c column-major (leading dimension r): entry (i, j) is
  // L(rowIndex[rowStart[s] + i], firstColumn[s] + j). Above the diagonal of the leading c × c
  // triangle the block holds nothing of meaning.
  //
  // The pattern is closed: the rows of a supernode below its own columns are all rows of the
  // supernode that holds the first of them (its parent), which the selected inverse relies on.
  std::size_t supernodeCount = 0;
  std::vector<std::size_t> firstColumn;
  std::vector<std::size_t> rowStart;
  std::vector<std::size_t> rowIndex;
  std::vector<std::size_t> valueStart;
  std::vector<std::size_t> supernodeOf;  // per column in elimination order
  std::shared_ptr<double[]> value;

  std::size_t ColumnCount(std::size_t s) const { return firstColumn[s + 1] - firstColumn[s]; }
  std::size_t RowCount(std::size_t s) const { return rowStart[s + 1] - rowStart[s]; }
  double* Block(std::size_t s) const { return value.get() + valueStart[s]; }
};

// The supernodes' elimination tree: each supernode's parent (the supernode holding its first
// row below its own columns, always a later one) or none, its children, the roots, and the
// multiply-adds of each whole subtree (r²·c per supernode), by which the work is shared out
// among threads: a subtree is done by one thread, independent subtrees by several.
struct SupernodeTree {
  static constexpr std::size_t none = static_cast<std::size_t>(-1);
  std::vector<std::size_t> parent;
  std::vector<std::size_t> childStart, children, roots;
  std::vector<double> work;
};
SupernodeTree BuildSupernodeTree(const SupernodalFactor& factor);

// Factorises N. The ordering is that of the whole pattern of N (explicit zeros included), so
// that every entry of N's pattern is in the pattern of the factor. Nothing of N is checked; a
// non-finite pivot counts as weak.
//
// The blocked factorisation (on the supernodal pattern of CHOLMOD's analysis, see
// supernodal_cholesky.h) is tried first and kept when it succeeds with no weak pivot by the rule
// of FactoriseRowByRow. Otherwise the result is the row-by-row
// elimination's (FromRowByRow): which pivots are weak, and so which unknowns are dropped, is
// always decided by it.
//
// givenOrder, when not empty, is a permutation of N's columns taken as the fill-reducing order
// by both (see FactoriseRowByRow).
SupernodalFactor FactoriseDroppingWeakPivots(const SymmetricSparse& n, double relativeTolerance,
                                             const std::vector<std::size_t>& givenOrder = {});

// The same factor by supernodes: the fundamental supernodes of the elimination's pattern
// (column k joins column k + 1 when its rows are k + 1 and those of column k + 1), each column
// scaled to L·D^½.
SupernodalFactor FromRowByRow(const LdlFactor& factor);

// x = N⁻¹·b on the factorised part (entries of dropped columns of x are zero); b and x are
// in the numbering of N's columns, b.size() == factor.size.
std::vector<double> SolveWithFactor(const SupernodalFactor& factor, const std::vector<double>& b);

}  // namespace zradjust
