#pragma once
// Row-wise sparse matrix and dense vector: the storage of every matrix and vector of an
// adjustment step (A, P, AᵀP, N, b, x, the datum matrix and the kept inverse).
//
// Contract for callers:
// - Value semantics: copying a matrix copies every row and entry; nothing is shared.
// - No element operation checks an index. Size a matrix (rows) before it is filled; column
//   indices are never compared with columnCount, which is bookkeeping for the products and the
//   dump only.
// - SetElement keeps no exact zero in a row; the products and sums may (a contribution of 0.0
//   and a cancellation to 0.0 are stored), so readers treat stored zeros as ordinary entries.
// - Growth past a container's maximum raises std::length_error ("vector<T> too long",
//   "map/set<T> too long"); allocation failure raises std::bad_alloc. The matrix stays valid and
//   keeps every entry set before the failure.

#include <cstddef>
#include <cstdint>
#include <map>
#include <vector>

// One row of a SparseMatrix: an ordered map from column to value. Iteration yields entries in
// ascending column order as (column, value) pairs; EntryCount is constant time. Which ordered
// container stands behind it is this class's own business.
class SparseRow {
 public:
  using Column = std::uint32_t;
  using Container = std::map<Column, double>;
  using const_iterator = Container::const_iterator;
  using iterator = Container::iterator;

  const_iterator begin() const { return entries.begin(); }
  const_iterator end() const { return entries.end(); }
  iterator begin() { return entries.begin(); }
  iterator end() { return entries.end(); }
  std::size_t EntryCount() const { return entries.size(); }
  bool Empty() const { return entries.empty(); }

  // The stored value of column, or null when the row has no entry there.
  const double* Find(Column column) const;
  // Stores value at column, inserting the entry if absent (no zero test: SetElement does that).
  void Store(Column column, double value);
  // Removes the entry of column if there is one; returns whether there was.
  bool Erase(Column column);
  // entry := value + entry, or a new entry holding value itself (also 0.0 or -0.0).
  void AccumulateSum(Column column, double value);
  // entry := entry - value, or a new entry holding -value.
  void AccumulateDifference(Column column, double value);
  void Clear() { entries.clear(); }

 private:
  Container entries;
};

// Row-wise sparse matrix: rows.size() is the row count, columnCount the declared column count.
class SparseMatrix {
 public:
  std::vector<SparseRow> rows;
  std::uint32_t columnCount = 0;

  SparseMatrix() = default;
  // rowCount empty rows and the given columnCount.
  SparseMatrix(std::uint32_t rowCount, std::uint32_t columnCount);

  // The row count, narrowed to 32 bits as everywhere it serves as a count.
  std::uint32_t RowCount() const { return static_cast<std::uint32_t>(rows.size()); }
  // Appends empty rows or destroys trailing rows with their entries.
  void ResizeRows(std::uint32_t rowCount);
  // Replaces every row by a deep copy of source's rows; columnCount is left to the caller.
  // Replacing a matrix with itself changes nothing.
  void ReplaceRows(const SparseMatrix& source);
  // Total number of stored entries (a sum over the rows' kept counts).
  std::size_t EntryCount() const;
};

// Writes value at (row, column) and returns what the element now reads: a value that compares
// equal to zero (0.0 or -0.0) removes the element and returns 0.0; anything else, NaN included,
// overwrites or inserts and is returned. It never adds to the value already there.
// Checks no index: the row must exist.
double SetElement(SparseMatrix& matrix, const std::uint32_t& row, const std::uint32_t& column,
                  const double& value);

// The stored value at (row, column), or 0.0 when the row has no entry there.
double GetElement(const SparseMatrix& matrix, std::uint32_t row, std::uint32_t column);

// Contiguous run of doubles with a length, created with a fill value; copied by value.
class DenseVector {
 public:
  DenseVector() = default;
  explicit DenseVector(std::size_t length, double fill = 0.0);

  std::size_t size() const { return elements.size(); }
  double& operator[](std::size_t index) { return elements[index]; }
  const double& operator[](std::size_t index) const { return elements[index]; }
  double* data() { return elements.data(); }
  const double* data() const { return elements.data(); }

 private:
  std::vector<double> elements;
};
