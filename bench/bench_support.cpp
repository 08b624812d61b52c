#include "bench/bench_support.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "sparse/normal_products.h"
#include "sparse/sparse_matrix_writers.h"

namespace {

constexpr std::uint32_t kNoColumn = std::numeric_limits<std::uint32_t>::max();

// Column of every coordinate in grid order, kNoColumn for the fixed point's.
std::vector<std::uint32_t> GridColumns(const GeneratedNetwork& network) {
  std::vector<std::uint32_t> columns(3 * network.points.size(), kNoColumn);
  std::uint32_t next = 0;
  for (std::uint32_t point = 0; point < network.points.size(); ++point) {
    if (!network.freeDatum && point == network.fixedPoint) {
      continue;
    }
    for (std::uint32_t axis = 0; axis < 3; ++axis) {
      columns[3 * point + axis] = next++;
    }
  }
  return columns;
}

// Writes ±partial for the from and to coordinate of one axis, in ascending column order as
// the host's partials map delivers them.
void SetPair(SparseMatrix& A, std::uint32_t row, std::uint32_t fromColumn, double fromPartial,
             std::uint32_t toColumn, double toPartial) {
  if (fromColumn != kNoColumn && toColumn != kNoColumn && toColumn < fromColumn) {
    SetElement(A, row, toColumn, toPartial);
    SetElement(A, row, fromColumn, fromPartial);
    return;
  }
  if (fromColumn != kNoColumn) {
    SetElement(A, row, fromColumn, fromPartial);
  }
  if (toColumn != kNoColumn) {
    SetElement(A, row, toColumn, toPartial);
  }
}

}  // namespace

NetworkSystem BuildNetworkSystem(const GeneratedNetwork& network) {
  const std::vector<std::uint32_t> columns = GridColumns(network);
  const std::uint32_t rowCount = ScalarObservationCount(network);
  NetworkSystem system{SparseMatrix(rowCount, UnknownCount(network)),
                       SparseMatrix(rowCount, rowCount), DenseVector(rowCount)};
  std::uint32_t row = 0;
  for (const GeneratedObservation& observation : network.observations) {
    const double* from = network.points[observation.from].approximate;
    const double* to = network.points[observation.to].approximate;
    const std::uint32_t* fromColumns = &columns[3 * observation.from];
    const std::uint32_t* toColumns = &columns[3 * observation.to];
    const double weight = 1.0 / (observation.sigma * observation.sigma);
    if (observation.kind == GeneratedObservation::Kind::Distance) {
      const double dx = to[0] - from[0];
      const double dy = to[1] - from[1];
      const double dz = to[2] - from[2];
      const double computed = std::sqrt(dx * dx + dy * dy + dz * dz);
      // The host orders a row's partials by identifier, that is X, Y, Z of one point together;
      // with grid columns that is all of from, then all of to (or the reverse).
      const double partials[3] = {dx / computed, dy / computed, dz / computed};
      const bool fromFirst =
          fromColumns[0] == kNoColumn || toColumns[0] == kNoColumn || fromColumns[0] < toColumns[0];
      for (int pass = 0; pass < 2; ++pass) {
        const bool writeFrom = (pass == 0) == fromFirst;
        const std::uint32_t* target = writeFrom ? fromColumns : toColumns;
        for (int axis = 0; axis < 3; ++axis) {
          if (target[axis] != kNoColumn) {
            SetElement(system.A, row, target[axis], writeFrom ? -partials[axis] : partials[axis]);
          }
        }
      }
      system.l[row] = observation.observed[0] - computed;
      SetElement(system.P, row, row, weight);
      ++row;
    } else {
      for (int axis = 0; axis < 3; ++axis) {
        SetPair(system.A, row, fromColumns[axis], -1.0, toColumns[axis], 1.0);
        system.l[row] = observation.observed[axis] - (to[axis] - from[axis]);
        SetElement(system.P, row, row, weight);
        ++row;
      }
    }
  }
  return system;
}

void FormNetworkNormalEquations(const NetworkSystem& system, SparseMatrix& N, DenseVector& b) {
  SparseMatrix T;
  MultiplyTransposed(system.A, system.P, T);
  Multiply(T, system.A, N);
  b = MultiplyVector(T, system.l);
}

namespace {

// f(i) of every row from the one-based diagonal positions.
std::vector<std::uint32_t> FirstColumns(std::uint32_t n, const std::uint32_t* diagPos) {
  std::vector<std::uint32_t> first(n, 0);
  for (std::uint32_t i = 1; i < n; ++i) {
    first[i] = i + 1 - (diagPos[i] - diagPos[i - 1]);
  }
  return first;
}

}  // namespace

std::uint64_t CompactFactorizeMultiplyAdds(std::uint32_t n, const std::uint32_t* diagPos) {
  const std::vector<std::uint32_t> first = FirstColumns(n, diagPos);
  std::uint64_t count = 0;
  for (std::uint32_t i = 1; i < n; ++i) {
    for (std::uint32_t j = first[i]; j < i; ++j) {
      count += j - std::max(first[j], first[i]);
    }
    count += i - first[i];
  }
  return count;
}

std::uint64_t CompactSolveMultiplyAdds(std::uint32_t n, const std::uint32_t* diagPos) {
  if (n == 0) {
    return 0;
  }
  // Each strictly lower slot is used once forward and once backward.
  return 2 * (static_cast<std::uint64_t>(diagPos[n - 1]) - n);
}

std::uint64_t CompactProfileSlots(const SparseMatrix& N) {
  std::uint64_t slots = 0;
  for (std::uint32_t i = 0; i < N.RowCount(); ++i) {
    const SparseRow& row = N.rows[i];
    const std::uint32_t first = row.Empty() ? i : std::min(row.begin()->first, i);
    slots += i - first + 1;
  }
  return slots;
}

std::uint64_t CompactProfileSlots(const SparseMatrix& N,
                                  const std::vector<std::uint32_t>& newIndex) {
  const std::uint32_t n = N.RowCount();
  std::vector<std::uint32_t> first(n);
  for (std::uint32_t k = 0; k < n; ++k) {
    first[newIndex[k]] = newIndex[k];
  }
  for (std::uint32_t i = 0; i < n; ++i) {
    for (const auto& [column, value] : N.rows[i]) {
      const std::uint32_t row = newIndex[i];
      const std::uint32_t col = newIndex[column];
      const std::uint32_t high = std::max(row, col);
      first[high] = std::min(first[high], std::min(row, col));
    }
  }
  std::uint64_t slots = 0;
  for (std::uint32_t i = 0; i < n; ++i) {
    slots += i - first[i] + 1;
  }
  return slots;
}

LowerColumns ToLowerColumns(const SparseMatrix& N) {
  LowerColumns lower;
  lower.n = N.RowCount();
  // Two passes over the rows: count each column's entries on and below the diagonal, then
  // place them. Rows are visited in ascending order, so each column's rows come out sorted.
  lower.columnStart.assign(lower.n + 1, 0);
  for (std::uint32_t i = 0; i < lower.n; ++i) {
    for (const auto& [column, value] : N.rows[i]) {
      if (column > i) {
        break;
      }
      ++lower.columnStart[column + 1];
    }
  }
  for (std::uint32_t j = 0; j < lower.n; ++j) {
    lower.columnStart[j + 1] += lower.columnStart[j];
  }
  lower.rowIndex.resize(lower.columnStart[lower.n]);
  lower.values.resize(lower.columnStart[lower.n]);
  std::vector<std::int32_t> next(lower.columnStart.begin(), lower.columnStart.end() - 1);
  for (std::uint32_t i = 0; i < lower.n; ++i) {
    for (const auto& [column, value] : N.rows[i]) {
      if (column > i) {
        break;
      }
      const std::int32_t slot = next[column]++;
      lower.rowIndex[slot] = static_cast<std::int32_t>(i);
      lower.values[slot] = value;
    }
  }
  return lower;
}

BandSystem BuildBandSystem(std::uint32_t n, std::uint32_t width) {
  BandSystem band;
  band.diagPos.resize(n);
  std::uint32_t position = 0;
  for (std::uint32_t i = 0; i < n; ++i) {
    const std::uint32_t first = i > width ? i - width : 0;
    double offDiagonalSum = 0.0;
    for (std::uint32_t j = first; j < i; ++j) {
      const double value = 1.0 / (1.0 + static_cast<double>(i - j));
      band.values.push_back(value);
      offDiagonalSum += value;
    }
    // Twice the largest possible row sum keeps every pivot well away from zero.
    band.values.push_back(4.0 * (1.0 + offDiagonalSum) + 1.0);
    position += i - first + 1;
    band.diagPos[i] = position;
  }
  return band;
}

double RelativeDifference(const double* x, const double* reference, std::uint32_t n) {
  double differenceSquares = 0.0;
  double referenceSquares = 0.0;
  for (std::uint32_t i = 0; i < n; ++i) {
    const double difference = x[i] - reference[i];
    differenceSquares += difference * difference;
    referenceSquares += reference[i] * reference[i];
  }
  if (referenceSquares == 0.0) {
    return std::sqrt(differenceSquares);
  }
  return std::sqrt(differenceSquares / referenceSquares);
}
