#include "sparse/sparse_matrix_writers.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <new>

#include "sparse/container_limits.h"

namespace {

constexpr std::size_t kEntryBytes = sizeof(double) + sizeof(SparseRow::Column);

}  // namespace

std::size_t SparseRowWriter::MaxEntryCount() {
  return static_cast<std::size_t>(PTRDIFF_MAX) / kEntryBytes;
}

void SparseRowWriter::Reallocate(std::size_t newCapacity) {
  CheckGrowth(0, newCapacity, MaxEntryCount(), kMapTooLong);
  SparseRow moved;
  moved.Adopt(newCapacity);
  if (row.count != 0) {
    std::memcpy(moved.values, row.values, row.count * sizeof(double));
    std::memcpy(moved.columns, row.columns, row.count * sizeof(Column));
  }
  moved.count = row.count;
  row = std::move(moved);
}

void SparseRowWriter::Grow(std::size_t required) {
  CheckGrowth(row.count, required - row.count, MaxEntryCount(), kMapTooLong);
  const std::size_t maximum = MaxEntryCount();
  const std::size_t capacity = row.capacity;
  std::size_t newCapacity = 4;
  if (capacity >= 4) {
    newCapacity = capacity > maximum - capacity / 2 ? maximum : capacity + capacity / 2;
  }
  Reallocate(std::max(newCapacity, required));
}

void SparseRowWriter::Reserve(std::size_t entryCount) {
  if (entryCount > row.capacity) {
    Reallocate(entryCount);
  }
}

std::pair<double*, bool> SparseRowWriter::FindOrInsert(Column column, double value) {
  if (row.count == 0 || row.columns[row.count - 1] < column) {
    Append(column, value);
    return {row.values + row.count - 1, true};
  }
  const std::size_t position = static_cast<std::size_t>(
      std::lower_bound(row.columns, row.columns + row.count, column) - row.columns);
  if (row.columns[position] == column) {
    return {row.values + position, false};
  }
  if (row.count == row.capacity) {
    Grow(row.count + 1);
  }
  const std::size_t behind = row.count - position;
  std::memmove(row.values + position + 1, row.values + position, behind * sizeof(double));
  std::memmove(row.columns + position + 1, row.columns + position, behind * sizeof(Column));
  row.values[position] = value;
  row.columns[position] = column;
  ++row.count;
  return {row.values + position, true};
}

void SparseRowWriter::Store(Column column, double value) {
  const auto [entry, inserted] = FindOrInsert(column, value);
  if (!inserted) {
    *entry = value;
  }
}

void SparseRowWriter::AccumulateSum(Column column, double value) {
  const auto [entry, inserted] = FindOrInsert(column, value);
  if (!inserted) {
    *entry = value + *entry;
  }
}

bool SparseRowWriter::Erase(Column column) {
  const double* entry = row.Find(column);
  if (entry == nullptr) {
    return false;
  }
  const std::size_t position = static_cast<std::size_t>(entry - row.values);
  const std::size_t behind = row.count - position - 1;
  std::memmove(row.values + position, row.values + position + 1, behind * sizeof(double));
  std::memmove(row.columns + position, row.columns + position + 1, behind * sizeof(Column));
  --row.count;
  return true;
}

template <bool Difference>
void SparseRowWriter::Merge(const SparseRow& source) {
  const std::size_t count = row.count;
  const Column* columns = row.columns;
  double* values = row.values;
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
  SparseRowWriter(merged).Reallocate(count + added);
  std::size_t t = 0;
  auto emit = [&merged](Column column, double value) {
    merged.values[merged.count] = value;
    merged.columns[merged.count] = column;
    ++merged.count;
  };
  for (std::size_t s = 0; s < source.count; ++s) {
    const Column column = source.columns[s];
    for (; t < count && columns[t] < column; ++t) {
      emit(columns[t], values[t]);
    }
    const double v = source.values[s];
    if (t < count && columns[t] == column) {
      emit(column, Difference ? values[t] - v : v + values[t]);
      ++t;
    } else {
      emit(column, Difference ? -v : v);
    }
  }
  for (; t < count; ++t) {
    emit(columns[t], values[t]);
  }
  row = std::move(merged);
}

void SparseRowWriter::MergeSum(const SparseRow& source) {
  Merge<false>(source);
}

void SparseRowWriter::MergeDifference(const SparseRow& source) {
  Merge<true>(source);
}

double SetElement(SparseMatrix& matrix, const std::uint32_t& row, const std::uint32_t& column,
                  const double& value) {
  SparseRowWriter target(matrix.rows[row]);
  // Either sign of zero removes the element: a row never keeps an exact zero set through here.
  if (value == 0.0) {
    target.Erase(column);
    return 0.0;
  }
  target.Store(column, value);
  return value;
}

void ResizeRows(SparseMatrix& matrix, std::uint32_t rowCount) {
  if (rowCount > matrix.rows.size()) {
    CheckGrowth(matrix.rows.size(), rowCount - matrix.rows.size(), matrix.rows.max_size(),
                kVectorTooLong);
  }
  matrix.rows.resize(rowCount);
}
