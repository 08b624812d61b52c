#pragma once
// Row-wise sparse matrix and dense vector: the storage of every matrix and vector of an
// adjustment step (A, P, AᵀP, N, b, x, the datum matrix and the kept inverse).
//
// This header is part of what a host compiles (the model keeps its inverse as a SparseMatrix),
// so it holds the types with their lifetime and read access only, all inline: a host reads,
// copies and destroys matrices without linking the store. The writers (SetElement, the row
// writer, resizing) are the library's own and live in sparse/sparse_matrix_writers.h.
//
// Contract for callers:
// - Value semantics: copying a matrix copies every row and entry; nothing is shared.
// - No element operation checks an index; column indices are never compared with columnCount,
//   which is bookkeeping for the products and the dump only.
// - Rows may hold stored zeros (the products store a contribution of 0.0 and a cancellation to
//   0.0), so readers treat them as ordinary entries.
// - Growth past a container's maximum raises std::length_error ("vector<T> too long");
//   allocation failure raises std::bad_alloc.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <utility>
#include <vector>

#include "sparse/container_limits.h"

class SparseRowWriter;

// One row of a SparseMatrix: an ordered map from column to value. Iteration yields the entries
// in ascending column order as (column, value) pairs; EntryCount is constant time.
//
// The entries sit in one block, all values first, then all columns: twelve bytes per entry and
// one allocation per row, where a tree node would take five times that (the figures are in
// bench/RESULTS.md, "Row container"). Only SparseRowWriter changes a row's entries.
class SparseRow {
 public:
  using Column = std::uint32_t;

  // Yields std::pair<Column, const double&> by value, so that `const auto& [column, value]` and
  // `iterator->first` work as on a map.
  class const_iterator {
   public:
    using value_type = std::pair<Column, double>;
    using reference = std::pair<Column, const double&>;
    using difference_type = std::ptrdiff_t;
    using iterator_category = std::input_iterator_tag;
    using iterator_concept = std::bidirectional_iterator_tag;

    struct Arrow {
      reference entry;
      const reference* operator->() const { return &entry; }
    };

    const_iterator() = default;
    const_iterator(const Column* columnAt, const double* valueAt)
        : column(columnAt), value(valueAt) {}

    reference operator*() const { return {*column, *value}; }
    Arrow operator->() const { return Arrow{**this}; }
    const_iterator& operator++() {
      ++column;
      ++value;
      return *this;
    }
    const_iterator operator++(int) {
      const_iterator before = *this;
      ++*this;
      return before;
    }
    const_iterator& operator--() {
      --column;
      --value;
      return *this;
    }
    const_iterator operator--(int) {
      const_iterator before = *this;
      --*this;
      return before;
    }
    friend bool operator==(const const_iterator& left, const const_iterator& right) {
      return left.column == right.column;
    }

   private:
    const Column* column = nullptr;
    const double* value = nullptr;
  };
  using iterator = const_iterator;

  SparseRow() = default;
  SparseRow(const SparseRow& other) {  // the copy takes no slack
    if (other.count != 0) {
      Adopt(other.count);
      std::memcpy(values, other.values, other.count * sizeof(double));
      std::memcpy(columns, other.columns, other.count * sizeof(Column));
      count = other.count;
    }
  }
  SparseRow(SparseRow&& other) noexcept
      : values(std::exchange(other.values, nullptr)),
        columns(std::exchange(other.columns, nullptr)),
        count(std::exchange(other.count, 0)),
        capacity(std::exchange(other.capacity, 0)) {}
  SparseRow& operator=(const SparseRow& other) {
    if (&other != this) {
      SparseRow copy(other);  // a failed allocation leaves this row as it was
      *this = std::move(copy);
    }
    return *this;
  }
  SparseRow& operator=(SparseRow&& other) noexcept {
    if (&other != this) {
      ::operator delete(values);
      values = std::exchange(other.values, nullptr);
      columns = std::exchange(other.columns, nullptr);
      count = std::exchange(other.count, 0);
      capacity = std::exchange(other.capacity, 0);
    }
    return *this;
  }
  ~SparseRow() { ::operator delete(values); }

  const_iterator begin() const { return {columns, values}; }
  const_iterator end() const { return {columns + count, values + count}; }
  std::size_t EntryCount() const { return count; }
  bool Empty() const { return count == 0; }

  // The stored value of column, or null when the row has no entry there (a binary search).
  const double* Find(Column column) const {
    const Column* place = std::lower_bound(columns, columns + count, column);
    return place != columns + count && *place == column ? values + (place - columns) : nullptr;
  }

 private:
  friend class SparseRowWriter;

  // Gives a row that holds no block yet an empty block of newCapacity entries; the columns
  // start behind the values.
  void Adopt(std::size_t newCapacity) {
    values = static_cast<double*>(::operator new(newCapacity*(sizeof(double) + sizeof(Column))));
    columns = reinterpret_cast<Column*>(values + newCapacity);
    capacity = newCapacity;
  }

  double* values = nullptr;   // start of the block
  Column* columns = nullptr;  // values + capacity, inside the same block
  std::size_t count = 0;
  std::size_t capacity = 0;
};

// Row-wise sparse matrix: rows.size() is the row count, columnCount the declared column count.
class SparseMatrix {
 public:
  std::vector<SparseRow> rows;
  std::uint32_t columnCount = 0;

  SparseMatrix() = default;
  // rowCount empty rows and the given columnCount.
  SparseMatrix(std::uint32_t rowCount, std::uint32_t columnCount) : columnCount(columnCount) {
    CheckGrowth(0, rowCount, rows.max_size(), kVectorTooLong);
    rows.resize(rowCount);
  }

  // The row count, narrowed to 32 bits as everywhere it serves as a count.
  std::uint32_t RowCount() const { return static_cast<std::uint32_t>(rows.size()); }
  // Total number of stored entries (a sum over the rows' kept counts).
  std::size_t EntryCount() const {
    std::size_t entryCount = 0;
    for (const SparseRow& row : rows) {
      entryCount += row.EntryCount();
    }
    return entryCount;
  }
};

// The stored value at (row, column), or 0.0 when the row has no entry there. Checks no index.
inline double GetElement(const SparseMatrix& matrix, std::uint32_t row, std::uint32_t column) {
  const double* value = matrix.rows[row].Find(column);
  return value == nullptr ? 0.0 : *value;
}

// Contiguous run of doubles with a length, created with a fill value; copied by value.
class DenseVector {
 public:
  DenseVector() = default;
  explicit DenseVector(std::size_t length, double fill = 0.0) {
    CheckGrowth(0, length, elements.max_size(), kVectorTooLong);
    elements.assign(length, fill);
  }

  std::size_t size() const { return elements.size(); }
  double& operator[](std::size_t index) { return elements[index]; }
  const double& operator[](std::size_t index) const { return elements[index]; }
  double* data() { return elements.data(); }
  const double* data() const { return elements.data(); }

 private:
  std::vector<double> elements;
};
