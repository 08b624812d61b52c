#pragma once
// The linearised observation equations of a network as plain numbers: the design matrix A in
// rows, the block-diagonal covariance Σ of the observations, and the residuals. The statistics
// and the datum analysis work on this alone; nothing here knows points, files or the framework.
//
// Unknowns are numbered 0 .. unknownCount-1 by the host (not by the library's column order).

#include <cstddef>
#include <vector>

namespace zradjust {

// ∂(computed value)/∂(unknown) of one observation.
struct DesignEntry {
  std::size_t unknown = 0;
  double partial = 0.0;
};

// One row of A: the unknowns an observation depends on, each once, in any order.
using DesignRow = std::vector<DesignEntry>;

// Consecutive rows first .. first+size-1 whose errors are correlated, with their full
// covariance (size 1 to 3). An uncorrelated observation is a group of one with covariance σ².
struct ObservationGroup {
  std::size_t first = 0;
  int size = 1;
  // Row-major size x size, symmetric positive definite; only the leading block is used.
  double covariance[3][3] = {{0.0, 0.0, 0.0}, {0.0, 0.0, 0.0}, {0.0, 0.0, 0.0}};
};

struct LinearModel {
  std::size_t unknownCount = 0;
  // A, one row per scalar observation.
  std::vector<DesignRow> rows;
  // Σ: every row belongs to exactly one group; groups in row order.
  std::vector<ObservationGroup> groups;
};

}  // namespace zradjust
