#include "sparse/sparse_matrix.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <new>

#include "sparse/container_limits.h"

namespace {

constexpr std::size_t kEntryBytes = sizeof(double) + sizeof(SparseRow::Column);

}  // namespace

std::size_t SparseRow::MaxEntryCount() {
  return static_cast<std::size_t>(PTRDIFF_MAX) / kEntryBytes;
}

void SparseRow::Release() {
  ::operator delete(values);
  values = nullptr;
  columns = nullptr;
  count = 0;
  capacity = 0;
}

std::size_t SparseRow::LowerBound(Column column) const {
  return static_cast<std::size_t>(std::lower_bound(columns, columns + count, column) - columns);
}

void SparseRow::Reallocate(std::size_t newCapacity) {
  CheckGrowth(0, newCapacity, MaxEntryCount(), kMapTooLong);
  auto* block = static_cast<double*>(::operator new(newCapacity* kEntryBytes));
  auto* newColumns = reinterpret_cast<Column*>(block + newCapacity);
  if (count != 0) {
    std::memcpy(block, values, count * sizeof(double));
    std::memcpy(newColumns, columns, count * sizeof(Column));
  }
  ::operator delete(values);
  values = block;
  columns = newColumns;
  capacity = newCapacity;
}

void SparseRow::Grow(std::size_t required) {
  CheckGrowth(count, required - count, MaxEntryCount(), kMapTooLong);
  const std::size_t maximum = MaxEntryCount();
  std::size_t newCapacity = 4;
  if (capacity >= 4) {
    newCapacity = capacity > maximum - capacity / 2 ? maximum : capacity + capacity / 2;
  }
  Reallocate(std::max(newCapacity, required));
}

void SparseRow::Reserve(std::size_t entryCount) {
  if (entryCount > capacity) {
    Reallocate(entryCount);
  }
}

void SparseRow::InsertAt(std::size_t position, Column column, double value) {
  if (count == capacity) {
    Grow(count + 1);
  }
  const std::size_t behind = count - position;
  std::memmove(values + position + 1, values + position, behind * sizeof(double));
  std::memmove(columns + position + 1, columns + position, behind * sizeof(Column));
  values[position] = value;
  columns[position] = column;
  ++count;
}

void SparseRow::Store(Column column, double value) {
  if (count == 0 || columns[count - 1] < column) {
    Append(column, value);
    return;
  }
  const std::size_t position = LowerBound(column);
  if (columns[position] == column) {
    values[position] = value;
    return;
  }
  InsertAt(position, column, value);
}

bool SparseRow::Erase(Column column) {
  const std::size_t position = LowerBound(column);
  if (position == count || columns[position] != column) {
    return false;
  }
  const std::size_t behind = count - position - 1;
  std::memmove(values + position, values + position + 1, behind * sizeof(double));
  std::memmove(columns + position, columns + position + 1, behind * sizeof(Column));
  --count;
  return true;
}

void SparseRow::AccumulateSum(Column column, double value) {
  if (count == 0 || columns[count - 1] < column) {
    Append(column, value);
    return;
  }
  const std::size_t position = LowerBound(column);
  if (columns[position] == column) {
    values[position] = value + values[position];
    return;
  }
  InsertAt(position, column, value);
}

void SparseRow::AccumulateDifference(Column column, double value) {
  if (count == 0 || columns[count - 1] < column) {
    Append(column, -value);
    return;
  }
  const std::size_t position = LowerBound(column);
  if (columns[position] == column) {
    values[position] = values[position] - value;
    return;
  }
  InsertAt(position, column, -value);
}

template <bool Difference>
void SparseRow::Merge(const SparseRow& source) {
  // The columns of source that this row lacks decide whether the row must grow.
  std::size_t added = 0;
  for (std::size_t s = 0, t = 0; s < source.count; ++s) {
    while (t < count && columns[t] < source.columns[s]) {
      ++t;
    }
    if (t == count || columns[t] != source.columns[s]) {
      ++added;
    }
  }
  if (added == 0) {
    // Same object or a subset: every source entry meets its own, in place. Each source value
    // is read before its target is written, so source may be this row.
    for (std::size_t s = 0, t = 0; s < source.count; ++s) {
      while (columns[t] < source.columns[s]) {
        ++t;
      }
      const double v = source.values[s];
      values[t] = Difference ? values[t] - v : v + values[t];
    }
    return;
  }
  CheckGrowth(count, added, MaxEntryCount(), kMapTooLong);
  SparseRow merged;
  merged.Reallocate(count + added);
  std::size_t t = 0;
  for (std::size_t s = 0; s < source.count; ++s) {
    const Column column = source.columns[s];
    while (t < count && columns[t] < column) {
      merged.values[merged.count] = values[t];
      merged.columns[merged.count] = columns[t];
      ++merged.count;
      ++t;
    }
    const double v = source.values[s];
    if (t < count && columns[t] == column) {
      merged.values[merged.count] = Difference ? values[t] - v : v + values[t];
      ++t;
    } else {
      merged.values[merged.count] = Difference ? -v : v;
    }
    merged.columns[merged.count] = column;
    ++merged.count;
  }
  for (; t < count; ++t) {
    merged.values[merged.count] = values[t];
    merged.columns[merged.count] = columns[t];
    ++merged.count;
  }
  *this = std::move(merged);
}

void SparseRow::MergeSum(const SparseRow& source) {
  Merge<false>(source);
}

void SparseRow::MergeDifference(const SparseRow& source) {
  Merge<true>(source);
}

SparseMatrix::SparseMatrix(std::uint32_t rowCount, std::uint32_t columnCount)
    : columnCount(columnCount) {
  ResizeRows(rowCount);
}

void SparseMatrix::ResizeRows(std::uint32_t rowCount) {
  if (rowCount > rows.size()) {
    CheckGrowth(rows.size(), rowCount - rows.size(), rows.max_size(), kVectorTooLong);
  }
  rows.resize(rowCount);
}

void SparseMatrix::ReplaceRows(const SparseMatrix& source) {
  if (&source != this) {
    rows = source.rows;
  }
}

std::size_t SparseMatrix::EntryCount() const {
  std::size_t count = 0;
  for (const SparseRow& row : rows) {
    count += row.EntryCount();
  }
  return count;
}

double SetElement(SparseMatrix& matrix, const std::uint32_t& row, const std::uint32_t& column,
                  const double& value) {
  SparseRow& target = matrix.rows[row];
  // Either sign of zero removes the element: a row never keeps an exact zero set through here.
  if (value == 0.0) {
    target.Erase(column);
    return 0.0;
  }
  target.Store(column, value);
  return value;
}

DenseVector::DenseVector(std::size_t length, double fill) {
  CheckGrowth(0, length, elements.max_size(), kVectorTooLong);
  elements.assign(length, fill);
}
