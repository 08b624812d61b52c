#include "tools/zr-adjust/statistics/normal_equations.h"

#include <algorithm>

namespace zradjust {

void InvertGroupCovariance(const ObservationGroup& group, double inverse[3][3]) {
  const double(*c)[3] = group.covariance;
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j)
      inverse[i][j] = 0.0;
  if (group.size == 1) {
    inverse[0][0] = 1.0 / c[0][0];
  } else if (group.size == 2) {
    const double determinant = c[0][0] * c[1][1] - c[0][1] * c[1][0];
    inverse[0][0] = c[1][1] / determinant;
    inverse[1][1] = c[0][0] / determinant;
    inverse[0][1] = -c[0][1] / determinant;
    inverse[1][0] = -c[1][0] / determinant;
  } else {
    // Adjugate over the determinant: exact enough for the well-conditioned 3x3 covariances of
    // baselines, and free of pivoting decisions.
    double adjugate[3][3];
    for (int i = 0; i < 3; ++i)
      for (int j = 0; j < 3; ++j) {
        const int r0 = (j + 1) % 3, r1 = (j + 2) % 3, c0 = (i + 1) % 3, c1 = (i + 2) % 3;
        adjugate[i][j] = c[r0][c0] * c[r1][c1] - c[r0][c1] * c[r1][c0];
      }
    const double determinant =
        c[0][0] * adjugate[0][0] + c[0][1] * adjugate[1][0] + c[0][2] * adjugate[2][0];
    for (int i = 0; i < 3; ++i)
      for (int j = 0; j < 3; ++j)
        inverse[i][j] = adjugate[i][j] / determinant;
  }
}

namespace {

// The rows of the model in one block, with the column of N of every entry (NotInSystem for a
// left-out unknown), and each group's weight Σ⁻¹: read column after column below, this keeps
// the work on contiguous memory instead of one allocation per row.
struct FlatRows {
  std::vector<std::size_t> entryStart;  // per row, into column and partial
  std::vector<std::size_t> column;
  std::vector<double> partial;
  std::vector<double> weight;  // 9 per group, row-major
};

FlatRows Flatten(const LinearModel& model, const NormalEquations& normal) {
  FlatRows flat;
  flat.entryStart.reserve(model.rows.size() + 1);
  flat.entryStart.push_back(0);
  for (const DesignRow& row : model.rows) {
    for (const DesignEntry& entry : row) {
      flat.column.push_back(normal.columnOf[entry.unknown]);
      flat.partial.push_back(entry.partial);
    }
    flat.entryStart.push_back(flat.column.size());
  }
  flat.weight.resize(9 * model.groups.size());
  for (std::size_t g = 0; g < model.groups.size(); ++g) {
    double weight[3][3];
    InvertGroupCovariance(model.groups[g], weight);
    for (int r = 0; r < 3; ++r)
      for (int s = 0; s < 3; ++s)
        flat.weight[9 * g + 3 * r + s] = weight[r][s];
  }
  return flat;
}

// A symmetric pattern in compressed columns, built from pairs (both ways).
struct ColumnLists {
  std::vector<std::size_t> start;
  std::vector<std::size_t> item;
};

// For every column of N, the groups whose rows touch it (groups ascending).
ColumnLists GroupsOfColumns(const LinearModel& model, const FlatRows& flat, std::size_t columns) {
  ColumnLists result;
  std::vector<std::size_t> lastGroup(columns, static_cast<std::size_t>(-1));
  std::vector<std::size_t> count(columns + 1, 0);
  for (int pass = 0; pass < 2; ++pass) {
    std::fill(lastGroup.begin(), lastGroup.end(), static_cast<std::size_t>(-1));
    for (std::size_t g = 0; g < model.groups.size(); ++g) {
      const ObservationGroup& group = model.groups[g];
      for (std::size_t e = flat.entryStart[group.first];
           e < flat.entryStart[group.first + group.size]; ++e) {
        const std::size_t column = flat.column[e];
        if (column == NormalEquations::NotInSystem || lastGroup[column] == g) continue;
        lastGroup[column] = g;
        if (pass == 0)
          ++count[column + 1];
        else
          result.item[count[column]++] = g;
      }
    }
    if (pass == 0) {
      for (std::size_t c = 0; c < columns; ++c)
        count[c + 1] += count[c];
      result.start = count;
      result.item.resize(count[columns]);
    }
  }
  return result;
}

// The extra pattern, both ways, per column.
ColumnLists ExtraOfColumns(const NormalEquations& normal,
                           const std::vector<std::pair<std::size_t, std::size_t>>& extraPairs) {
  const std::size_t columns = normal.unknownOf.size();
  ColumnLists result;
  result.start.assign(columns + 1, 0);
  auto forEach = [&](auto&& visit) {
    for (const auto& pair : extraPairs) {
      const std::size_t a = normal.columnOf[pair.first], b = normal.columnOf[pair.second];
      if (a == NormalEquations::NotInSystem || b == NormalEquations::NotInSystem) continue;
      visit(a, b);
      visit(b, a);
    }
  };
  forEach([&](std::size_t a, std::size_t) { ++result.start[a + 1]; });
  for (std::size_t c = 0; c < columns; ++c)
    result.start[c + 1] += result.start[c];
  result.item.resize(result.start[columns]);
  std::vector<std::size_t> next(result.start.begin(), result.start.end() - 1);
  forEach([&](std::size_t a, std::size_t b) { result.item[next[a]++] = b; });
  return result;
}

// Columns first .. end of N, appended to rows and values (columnEnd: the end of each column).
struct ColumnBatch {
  std::vector<std::size_t> rowIndex;
  std::vector<double> value;
  std::vector<std::size_t> columnEnd;
};

// Column c of N = Σ over groups g touching c of (a_g(c)ᵀ Σ_g⁻¹) A_g, gathered in a dense work
// column with a marker of the rows already present; rows ascending.
void FormColumns(const LinearModel& model, const FlatRows& flat, const ColumnLists& touching,
                 const ColumnLists& extra, std::size_t first, std::size_t end,
                 std::vector<double>& work, std::vector<std::size_t>& marker, ColumnBatch& batch) {
  std::vector<std::size_t> pattern;
  for (std::size_t c = first; c < end; ++c) {
    pattern.clear();
    auto touch = [&](std::size_t row) {
      if (marker[row] == c) return;
      marker[row] = c;
      work[row] = 0.0;
      pattern.push_back(row);
    };
    touch(c);
    for (std::size_t e = extra.start[c]; e < extra.start[c + 1]; ++e)
      touch(extra.item[e]);
    for (std::size_t t = touching.start[c]; t < touching.start[c + 1]; ++t) {
      const std::size_t g = touching.item[t];
      const ObservationGroup& group = model.groups[g];
      const double* weight = flat.weight.data() + 9 * g;
      double partialOfC[3] = {0.0, 0.0, 0.0};
      for (int r = 0; r < group.size; ++r)
        for (std::size_t e = flat.entryStart[group.first + r];
             e < flat.entryStart[group.first + r + 1]; ++e)
          if (flat.column[e] == c) partialOfC[r] = flat.partial[e];
      for (int s = 0; s < group.size; ++s) {
        // (a_g(c)ᵀ Σ_g⁻¹)_s, the factor of row s of the group.
        double factor = 0.0;
        for (int r = 0; r < group.size; ++r)
          factor += partialOfC[r] * weight[3 * r + s];
        for (std::size_t e = flat.entryStart[group.first + s];
             e < flat.entryStart[group.first + s + 1]; ++e) {
          const std::size_t row = flat.column[e];
          if (row == NormalEquations::NotInSystem) continue;
          touch(row);
          work[row] += factor * flat.partial[e];
        }
      }
    }
    std::sort(pattern.begin(), pattern.end());
    for (std::size_t row : pattern) {
      batch.rowIndex.push_back(row);
      batch.value.push_back(work[row]);
    }
    batch.columnEnd.push_back(batch.rowIndex.size());
  }
}

}  // namespace

// The columns are formed in batches by the threads of an OpenMP team (each column is summed
// as above, whichever thread forms it), then laid end to end.
NormalEquations FormNormalEquations(
    const LinearModel& model, const std::vector<bool>& leftOut,
    const std::vector<std::pair<std::size_t, std::size_t>>& extraPairs) {
  NormalEquations normal;
  normal.columnOf.assign(model.unknownCount, NormalEquations::NotInSystem);
  for (std::size_t u = 0; u < model.unknownCount; ++u)
    if (leftOut.empty() || !leftOut[u]) {
      normal.columnOf[u] = normal.unknownOf.size();
      normal.unknownOf.push_back(u);
    }
  const std::size_t columns = normal.unknownOf.size();
  const FlatRows flat = Flatten(model, normal);
  const ColumnLists touching = GroupsOfColumns(model, flat, columns);
  const ColumnLists extra = ExtraOfColumns(normal, extraPairs);

  constexpr std::size_t columnsPerBatch = 4096;
  const std::size_t batchCount = (columns + columnsPerBatch - 1) / columnsPerBatch;
  std::vector<ColumnBatch> batches(batchCount);
#pragma omp parallel default(none) \
    shared(model, flat, touching, extra, batches, columns, batchCount)
  {
    std::vector<double> work(columns, 0.0);
    std::vector<std::size_t> marker(columns, static_cast<std::size_t>(-1));
#pragma omp for schedule(dynamic)
    for (std::size_t b = 0; b < batchCount; ++b)
      FormColumns(model, flat, touching, extra, b * columnsPerBatch,
                  std::min(columns, (b + 1) * columnsPerBatch), work, marker, batches[b]);
  }

  SymmetricSparse& n = normal.matrix;
  n.size = columns;
  std::size_t entryCount = 0;
  for (const ColumnBatch& batch : batches)
    entryCount += batch.rowIndex.size();
  n.rowIndex.reserve(entryCount);
  n.value.reserve(entryCount);
  n.columnStart.reserve(columns + 1);
  n.columnStart.push_back(0);
  for (ColumnBatch& batch : batches) {
    const std::size_t offset = n.rowIndex.size();
    n.rowIndex.insert(n.rowIndex.end(), batch.rowIndex.begin(), batch.rowIndex.end());
    n.value.insert(n.value.end(), batch.value.begin(), batch.value.end());
    for (std::size_t columnEnd : batch.columnEnd)
      n.columnStart.push_back(offset + columnEnd);
    batch = ColumnBatch{};
  }
  return normal;
}

std::vector<std::size_t> ColumnOrder(const NormalEquations& normal,
                                     const std::vector<std::size_t>& unknownOrder) {
  std::vector<std::size_t> order;
  std::vector<bool> seen(normal.matrix.size, false);
  for (std::size_t u : unknownOrder) {
    if (u >= normal.columnOf.size()) return {};
    const std::size_t column = normal.columnOf[u];
    if (column == NormalEquations::NotInSystem || seen[column]) continue;
    seen[column] = true;
    order.push_back(column);
  }
  if (order.size() != normal.matrix.size) return {};
  return order;
}

}  // namespace zradjust
