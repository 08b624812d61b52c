#include "sparse/sparse_matrix.h"

#include "sparse/container_limits.h"

const double* SparseRow::Find(Column column) const {
  const auto found = entries.find(column);
  return found == entries.end() ? nullptr : &found->second;
}

void SparseRow::Store(Column column, double value) {
  const auto place = entries.lower_bound(column);
  if (place != entries.end() && place->first == column) {
    place->second = value;
    return;
  }
  CheckGrowth(entries.size(), 1, entries.max_size(), kMapTooLong);
  entries.emplace_hint(place, column, value);
}

bool SparseRow::Erase(Column column) {
  return entries.erase(column) != 0;
}

void SparseRow::AccumulateSum(Column column, double value) {
  const auto place = entries.lower_bound(column);
  if (place != entries.end() && place->first == column) {
    place->second = value + place->second;
    return;
  }
  CheckGrowth(entries.size(), 1, entries.max_size(), kMapTooLong);
  entries.emplace_hint(place, column, value);
}

void SparseRow::AccumulateDifference(Column column, double value) {
  const auto place = entries.lower_bound(column);
  if (place != entries.end() && place->first == column) {
    place->second = place->second - value;
    return;
  }
  CheckGrowth(entries.size(), 1, entries.max_size(), kMapTooLong);
  entries.emplace_hint(place, column, -value);
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

double GetElement(const SparseMatrix& matrix, std::uint32_t row, std::uint32_t column) {
  const double* value = matrix.rows[row].Find(column);
  return value == nullptr ? 0.0 : *value;
}

DenseVector::DenseVector(std::size_t length, double fill) {
  CheckGrowth(0, length, elements.max_size(), kVectorTooLong);
  elements.assign(length, fill);
}
