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

// For every column of N, the groups whose rows touch it (compressed, groups ascending).
struct ColumnGroups {
  std::vector<std::size_t> start;
  std::vector<std::size_t> group;
};

ColumnGroups GroupsOfColumns(const LinearModel& model, const NormalEquations& normal) {
  ColumnGroups result;
  const std::size_t columns = normal.unknownOf.size();
  std::vector<std::size_t> lastGroup(columns, static_cast<std::size_t>(-1));
  std::vector<std::size_t> count(columns + 1, 0);
  for (int pass = 0; pass < 2; ++pass) {
    std::fill(lastGroup.begin(), lastGroup.end(), static_cast<std::size_t>(-1));
    for (std::size_t g = 0; g < model.groups.size(); ++g) {
      const ObservationGroup& group = model.groups[g];
      for (std::size_t r = group.first; r < group.first + group.size; ++r)
        for (const DesignEntry& entry : model.rows[r]) {
          const std::size_t column = normal.columnOf[entry.unknown];
          if (column == NormalEquations::NotInSystem || lastGroup[column] == g) continue;
          lastGroup[column] = g;
          if (pass == 0)
            ++count[column + 1];
          else
            result.group[count[column]++] = g;
        }
    }
    if (pass == 0) {
      for (std::size_t c = 0; c < columns; ++c)
        count[c + 1] += count[c];
      result.start = count;
      result.group.resize(count[columns]);
    }
  }
  return result;
}

}  // namespace

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
  const ColumnGroups touching = GroupsOfColumns(model, normal);

  // The extra pattern, both ways, per column.
  std::vector<std::vector<std::size_t>> extra(columns);
  for (const auto& pair : extraPairs) {
    const std::size_t a = normal.columnOf[pair.first], b = normal.columnOf[pair.second];
    if (a == NormalEquations::NotInSystem || b == NormalEquations::NotInSystem) continue;
    extra[a].push_back(b);
    extra[b].push_back(a);
  }

  // Column c of N = Σ over groups g touching c of (a_g(c)ᵀ Σ_g⁻¹) A_g, gathered in a dense
  // work column with a marker of the rows already present.
  SymmetricSparse& n = normal.matrix;
  n.size = columns;
  n.columnStart.assign(1, 0);
  std::vector<double> work(columns, 0.0);
  std::vector<std::size_t> marker(columns, static_cast<std::size_t>(-1));
  std::vector<std::size_t> pattern;
  for (std::size_t c = 0; c < columns; ++c) {
    pattern.clear();
    auto touch = [&](std::size_t row) {
      if (marker[row] == c) return;
      marker[row] = c;
      work[row] = 0.0;
      pattern.push_back(row);
    };
    touch(c);
    for (std::size_t row : extra[c])
      touch(row);
    for (std::size_t t = touching.start[c]; t < touching.start[c + 1]; ++t) {
      const ObservationGroup& group = model.groups[touching.group[t]];
      double weight[3][3];
      InvertGroupCovariance(group, weight);
      double partialOfC[3] = {0.0, 0.0, 0.0};
      for (int r = 0; r < group.size; ++r)
        for (const DesignEntry& entry : model.rows[group.first + r])
          if (entry.unknown == normal.unknownOf[c]) partialOfC[r] = entry.partial;
      for (int s = 0; s < group.size; ++s) {
        // (a_g(c)ᵀ Σ_g⁻¹)_s, the factor of row s of the group.
        double factor = 0.0;
        for (int r = 0; r < group.size; ++r)
          factor += partialOfC[r] * weight[r][s];
        for (const DesignEntry& entry : model.rows[group.first + s]) {
          const std::size_t row = normal.columnOf[entry.unknown];
          if (row == NormalEquations::NotInSystem) continue;
          touch(row);
          work[row] += factor * entry.partial;
        }
      }
    }
    std::sort(pattern.begin(), pattern.end());
    for (std::size_t row : pattern) {
      n.rowIndex.push_back(row);
      n.value.push_back(work[row]);
    }
    n.columnStart.push_back(n.rowIndex.size());
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
