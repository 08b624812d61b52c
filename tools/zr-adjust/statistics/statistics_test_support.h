#pragma once
// Small linear models built by hand for the statistics tests: levelling, plan and 3D rows,
// and dense references computed by plain loops.

#include <cmath>
#include <cstddef>
#include <vector>

#include "tools/zr-adjust/dense_test_support.h"
#include "tools/zr-adjust/statistics/linear_model.h"

namespace zradjust::testing {

inline void AddRow(LinearModel& model, DesignRow row, double sigma) {
  ObservationGroup group;
  group.first = model.rows.size();
  group.size = 1;
  group.covariance[0][0] = sigma * sigma;
  model.rows.push_back(std::move(row));
  model.groups.push_back(group);
}

// A height difference from point a to point b, one unknown per point (unknown = point).
inline void AddLevelling(LinearModel& model, std::size_t a, std::size_t b, double sigma) {
  AddRow(model, {{a, -1.0}, {b, 1.0}}, sigma);
}

// A horizontal distance between points a and b with coordinates xy; unknowns
// stride·point + 0 (east) and + 1 (north).
inline void AddPlanDistance(LinearModel& model, const std::vector<std::vector<double>>& xy,
                            std::size_t a, std::size_t b, double sigma, std::size_t stride = 2) {
  const double dx = xy[b][0] - xy[a][0], dy = xy[b][1] - xy[a][1];
  const double s = std::sqrt(dx * dx + dy * dy);
  AddRow(model,
         {{stride * a, -dx / s},
          {stride * a + 1, -dy / s},
          {stride * b, dx / s},
          {stride * b + 1, dy / s}},
         sigma);
}

// A direction from a to b (radians), with the orientation unknown of its set.
inline void AddDirection(LinearModel& model, const std::vector<std::vector<double>>& xy,
                         std::size_t a, std::size_t b, std::size_t orientation, double sigma) {
  const double dx = xy[b][0] - xy[a][0], dy = xy[b][1] - xy[a][1];
  const double s2 = dx * dx + dy * dy;
  // Bearing atan2(dx, dy) clockwise from north, minus the orientation.
  AddRow(model,
         {{2 * a, -dy / s2},
          {2 * a + 1, dx / s2},
          {2 * b, dy / s2},
          {2 * b + 1, -dx / s2},
          {orientation, -1.0}},
         sigma);
}

inline Dense DenseNormal(const LinearModel& model) {
  const std::size_t u = model.unknownCount;
  Dense n(u, std::vector<double>(u, 0.0));
  for (const ObservationGroup& group : model.groups) {
    // Σ_g⁻¹ by Gauss-Jordan on the small block.
    double c[3][6] = {};
    for (int i = 0; i < group.size; ++i) {
      for (int j = 0; j < group.size; ++j)
        c[i][j] = group.covariance[i][j];
      c[i][group.size + i] = 1.0;
    }
    for (int i = 0; i < group.size; ++i) {
      const double pivot = c[i][i];
      for (int j = 0; j < 2 * group.size; ++j)
        c[i][j] /= pivot;
      for (int r = 0; r < group.size; ++r)
        if (r != i) {
          const double f = c[r][i];
          for (int j = 0; j < 2 * group.size; ++j)
            c[r][j] -= f * c[i][j];
        }
    }
    for (int r = 0; r < group.size; ++r)
      for (int s = 0; s < group.size; ++s)
        for (const DesignEntry& a : model.rows[group.first + r])
          for (const DesignEntry& b : model.rows[group.first + s])
            n[a.unknown][b.unknown] += a.partial * c[r][group.size + s] * b.partial;
  }
  return n;
}

// The unknowns first, first + 1, ..., count − 1: those a datum leaves free when it holds the
// ones before first.
inline std::vector<std::size_t> UnknownsFrom(std::size_t first, std::size_t count) {
  std::vector<std::size_t> unknowns;
  for (std::size_t i = first; i < count; ++i)
    unknowns.push_back(i);
  return unknowns;
}

// The rows and columns of a dense matrix that are kept.
inline Dense DenseSubmatrix(const Dense& a, const std::vector<std::size_t>& keep) {
  Dense sub(keep.size(), std::vector<double>(keep.size()));
  for (std::size_t i = 0; i < keep.size(); ++i)
    for (std::size_t j = 0; j < keep.size(); ++j)
      sub[i][j] = a[keep[i]][keep[j]];
  return sub;
}

}  // namespace zradjust::testing
