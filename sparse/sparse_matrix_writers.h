#pragma once
// The library's writers of the sparse store: SetElement, resizing a matrix, and the row writer
// on which the element writer and the products rest. Internal: the header a host includes does
// not declare them, since the loadable library exports none of them.
//
// Contract for callers:
// - No writer checks an index: the row must exist; a column is never compared with columnCount.
// - SetElement keeps no exact zero in a row; the accumulating writers and the merges store
//   whatever they compute, zeros included.
// - Growth past a container's maximum raises std::length_error ("vector<T> too long" for the
//   row sequence, "map/set<T> too long" for a row); allocation failure raises std::bad_alloc.
//   The matrix stays valid and keeps every entry set before the failure.

#include <cassert>
#include <cstddef>
#include <cstdint>
#include <utility>

#include "sparse/sparse_matrix.h"

// Writes the entries of one row. The writer holds a reference to the row and nothing else; it
// is as cheap to create as a pointer.
//
// Every write that may add an entry goes through one insertion path: appending behind the last
// column costs no search and no move; inserting between entries moves the entries behind the
// new one, which is cheap for the short rows that are filled in scattered order and is never
// done by the products, which build each row in ascending order. The block grows by half its
// size.
class SparseRowWriter {
 public:
  using Column = SparseRow::Column;

  explicit SparseRowWriter(SparseRow& row) : row(row) {}

  // Stores value at column, inserting the entry if absent (no zero test: SetElement does that).
  void Store(Column column, double value);
  // Removes the entry of column if there is one; returns whether there was.
  bool Erase(Column column);
  // entry := value + entry, or a new entry holding value itself (also 0.0 or -0.0).
  void AccumulateSum(Column column, double value);

  // Adds the entry (column, value) behind the last one. Requires: column is greater than every
  // stored column (checked by assert only).
  void Append(Column column, double value) {
    assert(row.count == 0 || row.columns[row.count - 1] < column);
    if (row.count == row.capacity) {
      Grow(row.count + 1);
    }
    row.values[row.count] = value;
    row.columns[row.count] = column;
    ++row.count;
  }
  // Makes room for entryCount entries in all, so that appends up to there allocate nothing.
  void Reserve(std::size_t entryCount);
  // Every entry of source accumulated into the row, as AccumulateSum (or entry := entry − value,
  // a new entry holding −value) column by column in ascending order would, in one merge of the
  // two sorted runs. source may be the row itself.
  void MergeSum(const SparseRow& source);
  void MergeDifference(const SparseRow& source);

  // The largest number of entries a row can hold.
  static std::size_t MaxEntryCount();

 private:
  // The entry of column: (its value, false) when stored, otherwise a new entry holding value,
  // inserted in column order, and (its value, true).
  std::pair<double*, bool> FindOrInsert(Column column, double value);
  // Takes a block of newCapacity entries (checked against MaxEntryCount with "map/set<T> too
  // long") and moves the entries there. The row is unchanged when this throws.
  void Reallocate(std::size_t newCapacity);
  // Room for at least required entries, growing by half the capacity.
  void Grow(std::size_t required);
  template <bool Difference>
  void Merge(const SparseRow& source);

  SparseRow& row;
};

// Writes value at (row, column) and returns what the element now reads: a value that compares
// equal to zero (0.0 or -0.0) removes the element and returns 0.0; anything else, NaN included,
// overwrites or inserts and is returned. It never adds to the value already there.
// Checks no index: the row must exist.
double SetElement(SparseMatrix& matrix, const std::uint32_t& row, const std::uint32_t& column,
                  const double& value);

// Appends empty rows or destroys trailing rows with their entries; columnCount is untouched.
void ResizeRows(SparseMatrix& matrix, std::uint32_t rowCount);
