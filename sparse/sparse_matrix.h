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

#include <algorithm>
#include <cassert>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <type_traits>
#include <utility>
#include <vector>

// One row of a SparseMatrix: an ordered map from column to value. Iteration yields entries in
// ascending column order as (column, value) pairs; EntryCount is constant time; Find is a
// binary search.
//
// The entries sit in one block, all values first, then all columns: twelve bytes per entry and
// one allocation per row, where a tree node would take five times that. The block grows by half
// its size. Appending behind the last column costs no search and no move; inserting between
// entries moves the entries behind the new one, which is cheap for the short rows that are
// filled in scattered order and is never done by the products, which build each row in
// ascending order.
class SparseRow {
 public:
  using Column = std::uint32_t;

  // Yields std::pair<Column, double&> (const double& for const_iterator) by value, so that
  // `const auto& [column, value]` and `iterator->first` work as on a map.
  template <bool Constant>
  class Iterator {
   public:
    using Value = std::conditional_t<Constant, const double, double>;
    using value_type = std::pair<Column, double>;
    using reference = std::pair<Column, Value&>;
    using difference_type = std::ptrdiff_t;
    using iterator_category = std::input_iterator_tag;
    using iterator_concept = std::bidirectional_iterator_tag;

    struct Arrow {
      reference entry;
      const reference* operator->() const { return &entry; }
    };

    Iterator() = default;
    Iterator(const Column* columnAt, Value* valueAt) : column(columnAt), value(valueAt) {}
    // iterator converts to const_iterator.
    template <bool Other, typename = std::enable_if_t<Constant && !Other>>
    Iterator(const Iterator<Other>& other) : column(other.column), value(other.value) {}

    reference operator*() const { return {*column, *value}; }
    Arrow operator->() const { return Arrow{**this}; }
    Iterator& operator++() {
      ++column;
      ++value;
      return *this;
    }
    Iterator operator++(int) {
      Iterator before = *this;
      ++*this;
      return before;
    }
    Iterator& operator--() {
      --column;
      --value;
      return *this;
    }
    Iterator operator--(int) {
      Iterator before = *this;
      --*this;
      return before;
    }
    friend bool operator==(const Iterator& left, const Iterator& right) {
      return left.column == right.column;
    }

   private:
    template <bool>
    friend class Iterator;
    const Column* column = nullptr;
    Value* value = nullptr;
  };
  using const_iterator = Iterator<true>;
  using iterator = Iterator<false>;

  // Lifetime, copies and reads are inline and self-contained: a host that holds the model
  // destroys, copies and reads its matrices (the kept inverse) without linking the store, whose
  // own symbols stay inside the loadable library.
  SparseRow() = default;
  SparseRow(const SparseRow& other) {  // the copy takes no slack
    if (other.count != 0) {
      values = static_cast<double*>(::operator new(other.count*(sizeof(double) + sizeof(Column))));
      columns = reinterpret_cast<Column*>(values + other.count);
      std::memcpy(values, other.values, other.count * sizeof(double));
      std::memcpy(columns, other.columns, other.count * sizeof(Column));
      count = capacity = other.count;
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
  iterator begin() { return {columns, values}; }
  iterator end() { return {columns + count, values + count}; }
  std::size_t EntryCount() const { return count; }
  bool Empty() const { return count == 0; }

  // The stored value of column, or null when the row has no entry there.
  const double* Find(Column column) const {
    const Column* place = std::lower_bound(columns, columns + count, column);
    return place != columns + count && *place == column ? values + (place - columns) : nullptr;
  }
  // Stores value at column, inserting the entry if absent (no zero test: SetElement does that).
  void Store(Column column, double value);
  // Removes the entry of column if there is one; returns whether there was.
  bool Erase(Column column);
  // entry := value + entry, or a new entry holding value itself (also 0.0 or -0.0).
  void AccumulateSum(Column column, double value);
  // entry := entry - value, or a new entry holding -value.
  void AccumulateDifference(Column column, double value);
  // Removes every entry and frees the block.
  void Clear() { Release(); }

  // Adds the entry (column, value) behind the last one. Requires: column is greater than every
  // stored column (checked by assert only).
  void Append(Column column, double value) {
    assert(count == 0 || columns[count - 1] < column);
    if (count == capacity) {
      Grow(count + 1);
    }
    values[count] = value;
    columns[count] = column;
    ++count;
  }
  // Makes room for entryCount entries in all, so that appends up to there allocate nothing.
  void Reserve(std::size_t entryCount);
  // Every entry of source accumulated into this row, as AccumulateSum (AccumulateDifference)
  // column by column in ascending order would, in one merge of the two sorted runs.
  void MergeSum(const SparseRow& source);
  void MergeDifference(const SparseRow& source);

  // The largest number of entries a row can hold.
  static std::size_t MaxEntryCount();

 private:
  // Index of the first entry whose column is not less than column.
  std::size_t LowerBound(Column column) const;
  // Takes a block of newCapacity entries (checked against MaxEntryCount with "map/set<T> too
  // long") and moves the entries there. The row is unchanged when this throws.
  void Reallocate(std::size_t newCapacity);
  // Room for at least required entries, growing by half the capacity.
  void Grow(std::size_t required);
  void InsertAt(std::size_t position, Column column, double value);
  template <bool Difference>
  void Merge(const SparseRow& source);
  void Release();

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
inline double GetElement(const SparseMatrix& matrix, std::uint32_t row, std::uint32_t column) {
  const double* value = matrix.rows[row].Find(column);
  return value == nullptr ? 0.0 : *value;
}

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
