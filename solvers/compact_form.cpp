#include "solvers/compact_form.h"

#include <cstddef>

#include "solvers/large_blocks.h"

namespace {

// Slots of the whole value array: row i from its smallest column to i. Returns false at the
// first empty row or row starting above its diagonal.
bool CountSlots(const SparseMatrix& N, std::size_t& slotCount) {
  slotCount = 0;
  std::uint32_t n = N.RowCount();
  for (std::uint32_t i = 0; i < n; ++i) {
    const SparseRow& row = N.rows[i];
    if (row.Empty()) {
      return false;
    }
    std::uint32_t firstColumn = row.begin()->first;
    if (firstColumn > i) {
      return false;
    }
    slotCount += i - firstColumn + 1;
  }
  return true;
}

// Writes row i from its smallest column on, 0.0 in the gaps, and its diagonal position when
// it reaches the diagonal. Returns false on an entry above a missing diagonal.
bool FillRow(const SparseRow& row, std::uint32_t i, CompactForm& form, std::uint32_t& written,
             std::uint32_t& positionCount) {
  bool firstEntry = true;
  std::uint32_t previousColumn = 0;
  for (const auto& [column, value] : row) {
    if (column > i) {
      return false;
    }
    if (!firstEntry) {
      for (std::uint32_t skipped = previousColumn + 1; skipped < column; ++skipped) {
        form.values[written] = 0.0;
        ++written;
      }
    }
    form.values[written] = value;
    ++written;
    if (column == i) {
      form.diagonalPositions[positionCount] = written;
      ++positionCount;
      return true;
    }
    previousColumn = column;
    firstEntry = false;
  }
  // The row ended left of its diagonal: no position for it (see the header).
  return true;
}

}  // namespace

bool BuildCompactForm(const SparseMatrix& N, CompactForm& form) {
  std::uint32_t n = N.RowCount();
  // Deliberately left uninitialised (default-initialised new[]): a row ending before its
  // diagonal leaves the last position unset, and the factorisation reads it as it is.
  form.diagonalPositions = new std::uint32_t[n];
  std::size_t slotCount = 0;
  if (!CountSlots(N, slotCount)) {
    return false;
  }
  if (slotCount > maxCompactSlots) {
    // Fails before any value is written, and leaves nothing behind.
    ReleaseCompactForm(form);
    RequireCompactSlots(slotCount);
  }
  form.values = new double[slotCount];
  AdviseHugePages(form.values, slotCount * sizeof(double));
  std::uint32_t written = 0;
  std::uint32_t positionCount = 0;
  for (std::uint32_t i = 0; i < n; ++i) {
    if (!FillRow(N.rows[i], i, form, written, positionCount)) {
      return false;
    }
  }
  return true;
}

void ReleaseCompactForm(CompactForm& form) {
  delete[] form.diagonalPositions;
  delete[] form.values;
  form.diagonalPositions = nullptr;
  form.values = nullptr;
}
