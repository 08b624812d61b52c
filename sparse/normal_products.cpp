#include "sparse/normal_products.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "sparse/container_limits.h"
#include "sparse/sparse_matrix_writers.h"

// The products build each result row whole: the contributions to one row are gathered in a
// dense accumulator indexed by column, then written into the row in ascending column order as
// appends. Every element still receives its contributions in the order of the plain loops
// (ascending running index), the first one stored as it is and each further one added in front
// of the running sum, so the bits are those of accumulating into the row entry by entry; what
// is saved is the row search per contribution and the insertion between entries.

namespace {

using Column = SparseRow::Column;

// One more than the largest column stored in matrix (0 for none): the columns a product's
// accumulator must cover. Column indices are not bounded by columnCount, so they are read off
// the rows, whose last entry holds the largest column.
std::size_t ColumnSpan(const SparseMatrix& matrix) {
  std::size_t span = 0;
  for (const SparseRow& row : matrix.rows) {
    if (!row.Empty()) {
      span = std::max<std::size_t>(span, static_cast<std::size_t>((--row.end())->first) + 1);
    }
  }
  return span;
}

template <class Element>
std::vector<Element> ScratchVector(std::size_t length) {
  std::vector<Element> scratch;
  CheckGrowth(0, length, scratch.max_size(), kVectorTooLong);
  scratch.resize(length);
  return scratch;
}

// The running sums of one result row. A column's stamp equals the current generation once the
// row has a contribution there; that tells the first contribution (stored as it is) from the
// later ones (added to the sum) without clearing the sums between rows.
class RowAccumulator {
 public:
  explicit RowAccumulator(std::size_t span)
      : sums(ScratchVector<double>(span)),
        stamps(ScratchVector<std::uint32_t>(span)),
        touched(ScratchVector<Column>(0)) {
    touched.reserve(span);
  }

  // A dense accumulator is worth its memory when the columns are not spread far beyond the
  // entries that produce them; otherwise the products accumulate in the rows themselves.
  static bool Pays(std::size_t span, std::size_t entryCount) {
    return span / 2 <= entryCount + 32768;
  }

  void Add(Column column, double contribution) {
    if (stamps[column] != generation) {
      stamps[column] = generation;
      sums[column] = contribution;
      touched.push_back(column);
    } else {
      sums[column] = contribution + sums[column];
    }
  }

  // Writes the gathered entries into row (empty) in ascending column order and starts the next
  // row.
  void EmitInto(SparseRow& row) {
    if (!touched.empty()) {
      const auto [lowest, highest] = std::minmax_element(touched.begin(), touched.end());
      const std::size_t range = static_cast<std::size_t>(*highest - *lowest) + 1;
      SparseRowWriter writer(row);
      writer.Reserve(touched.size());
      if (range <= 4 * touched.size()) {
        // Dense enough: walking the stamps is cheaper than sorting.
        for (std::size_t column = *lowest, last = *highest; column <= last; ++column) {
          if (stamps[column] == generation) {
            writer.Append(static_cast<Column>(column), sums[column]);
          }
        }
      } else {
        std::sort(touched.begin(), touched.end());
        for (const Column column : touched) {
          writer.Append(column, sums[column]);
        }
      }
      touched.clear();
    }
    if (++generation == 0) {
      std::fill(stamps.begin(), stamps.end(), 0u);
      generation = 1;
    }
  }

 private:
  std::vector<double> sums;
  std::vector<std::uint32_t> stamps;
  std::vector<Column> touched;
  std::uint32_t generation = 1;
};

// Forms rows 0 … rowCount − 1 of K one at a time: contributions(r, add) calls add(k, v) for
// every contribution v to K[r][k] in the order of the plain loops.
template <class Contributions>
void BuildRows(SparseMatrix& K, std::uint32_t rowCount, std::size_t span, std::size_t entryCount,
               const Contributions& contributions) {
  if (RowAccumulator::Pays(span, entryCount)) {
    RowAccumulator accumulator(span);
    for (std::uint32_t r = 0; r < rowCount; ++r) {
      contributions(r, [&](Column k, double v) { accumulator.Add(k, v); });
      accumulator.EmitInto(K.rows[r]);
    }
    return;
  }
  for (std::uint32_t r = 0; r < rowCount; ++r) {
    SparseRowWriter target(K.rows[r]);
    contributions(r, [&](Column k, double v) { target.AccumulateSum(k, v); });
  }
}

// Every product starts from a fresh row sequence of the result's row count: whatever K held
// before is gone, wherever it was.
void ResetResult(SparseMatrix& K, std::uint32_t rowCount, std::uint32_t columnCount) {
  K.rows.clear();
  ResizeRows(K, rowCount);
  K.columnCount = columnCount;
}

}  // namespace

void MultiplyTransposed(const SparseMatrix& A, const SparseMatrix& B, SparseMatrix& K) {
  ResetResult(K, A.columnCount, B.columnCount);
  const std::uint32_t rowCount = A.RowCount();
  const std::uint32_t resultRows = A.columnCount;

  // A by columns: for column j, the pairs (i, A[i][j]) in ascending i, so that row j of K can
  // take its contributions in the order of the plain loop over i.
  std::vector<std::size_t> start = ScratchVector<std::size_t>(std::size_t{resultRows} + 1);
  for (std::uint32_t i = 0; i < rowCount; ++i) {
    for (const auto& [j, a] : A.rows[i]) {
      ++start[j + std::size_t{1}];
    }
  }
  for (std::uint32_t j = 0; j < resultRows; ++j) {
    start[j + std::size_t{1}] += start[j];
  }
  std::vector<std::uint32_t> rowOf = ScratchVector<std::uint32_t>(start[resultRows]);
  std::vector<double> valueOf = ScratchVector<double>(start[resultRows]);
  {
    std::vector<std::size_t> next(start.begin(), start.end() - 1);
    for (std::uint32_t i = 0; i < rowCount; ++i) {
      for (const auto& [j, a] : A.rows[i]) {
        rowOf[next[j]] = i;
        valueOf[next[j]] = a;
        ++next[j];
      }
    }
  }

  // K[j][k] = Σ_i B[i][k]·A[i][j], ascending i.
  BuildRows(K, resultRows, ColumnSpan(B), B.EntryCount(), [&](std::uint32_t j, const auto& add) {
    for (std::size_t e = start[j]; e < start[j + std::size_t{1}]; ++e) {
      const double a = valueOf[e];
      for (const auto& [k, p] : B.rows[rowOf[e]]) {
        add(k, p * a);
      }
    }
  });
}

void Multiply(const SparseMatrix& A, const SparseMatrix& B, SparseMatrix& K) {
  const std::uint32_t rowCount = A.RowCount();
  ResetResult(K, rowCount, B.columnCount);
  // K[i][k] = Σ_j B[j][k]·A[i][j], ascending j.
  BuildRows(K, rowCount, ColumnSpan(B), B.EntryCount(), [&](std::uint32_t i, const auto& add) {
    for (const auto& [j, a] : A.rows[i]) {
      for (const auto& [k, q] : B.rows[j]) {
        add(k, q * a);
      }
    }
  });
}

DenseVector MultiplyVector(const SparseMatrix& M, const DenseVector& x) {
  const std::uint32_t rowCount = M.RowCount();
  DenseVector y(rowCount, 0.0);
  // y[i] = 0.0 + x[j]·M[i][j] + …, ascending j.
  for (std::uint32_t i = 0; i < rowCount; ++i) {
    double sum = y[i];
    for (const auto& [j, m] : M.rows[i]) {
      sum = sum + x[j] * m;
    }
    y[i] = sum;
  }
  return y;
}

void AddInPlace(SparseMatrix& D, const SparseMatrix& S) {
  const std::uint32_t rowCount = D.RowCount();
  for (std::uint32_t i = 0; i < rowCount; ++i) {
    SparseRowWriter(D.rows[i]).MergeSum(S.rows[i]);
  }
}

void SubtractInPlace(SparseMatrix& D, const SparseMatrix& S) {
  const std::uint32_t rowCount = D.RowCount();
  for (std::uint32_t i = 0; i < rowCount; ++i) {
    SparseRowWriter(D.rows[i]).MergeDifference(S.rows[i]);
  }
}

DenseVector SubtractVector(const DenseVector& a, const DenseVector& b) {
  DenseVector r = a;
  const std::size_t length = a.size();
  for (std::size_t i = 0; i < length; ++i) {
    r[i] = a[i] - b[i];
  }
  return r;
}
