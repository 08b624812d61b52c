#include "tools/zr-adjust/datum/part_defect.h"

#include <algorithm>
#include <cmath>
#include <unordered_map>

#include "tools/zr-adjust/datum/symmetric_eigen.h"

namespace zradjust {
namespace {

using Matrix = std::vector<std::vector<double>>;

// Two candidate motions whose combination moves nothing (a rotation about the line through
// collinear 3D points) are one motion; directions of the candidates' Gram matrix below this
// fraction of its largest eigenvalue are dropped.
constexpr double dependentMotionThreshold = 1e-10;
// When a parameter's coefficient in a null vector is below this, another parameter names it.
constexpr double namingThreshold = 1e-3;
// Candidates are tried as names in this order: a rotation about a fixed point is called a
// rotation, not a translation, and a scale about a point a scale.
constexpr Motion namingOrder[motionKindCount] = {
    Motion::Scale,        Motion::RotationZ,    Motion::RotationY,   Motion::RotationX,
    Motion::TranslationZ, Motion::TranslationY, Motion::TranslationX};

// The candidates over the part's coordinates: unknowns by their local index, then the fixed
// coordinates; orientations are scaled by the part's spread, so that every entry is a length.
struct CandidateColumns {
  std::unordered_map<std::size_t, std::size_t> localOf;
  std::vector<double> orientationScale;  // per local unknown: 1, or the spread
  Matrix unknownEntries;                 // [candidate][local unknown]
  Matrix fixedEntries;                   // [candidate][fixed coordinate]
};

double SpreadOf(const PartInput& in, const MotionCentre& centre) {
  double sum = 0.0, count = 0.0;
  for (std::size_t p : in.part->points) {
    if (in.network->points[p].kind == PointKind::Height) continue;
    const std::array<double, 3>& c = (*in.coordinates)[p];
    double dz = in.network->points[p].kind == PointKind::Spatial ? c[2] - centre.z : 0.0;
    sum += (c[0] - centre.x) * (c[0] - centre.x) + (c[1] - centre.y) * (c[1] - centre.y) + dz * dz;
    count += 1.0;
  }
  double spread = count > 0.0 ? std::sqrt(sum / count) : 0.0;
  return spread > 0.0 && std::isfinite(spread) ? spread : 1.0;
}

CandidateColumns BuildColumns(const PartInput& in, const PartDefect& defect, double spread) {
  CandidateColumns columns;
  for (std::size_t p : in.part->points) {
    for (int axis = 0; axis < in.network->points[p].CoordinateCount(); ++axis) {
      std::size_t u = in.map->pointUnknown[p][axis];
      if (u == UnknownMap::none) continue;
      columns.localOf.emplace(u, columns.orientationScale.size());
      columns.orientationScale.push_back(1.0);
    }
  }
  for (std::size_t s : in.part->sets) {
    std::size_t u = in.map->setUnknown[s];
    if (u == UnknownMap::none) continue;
    columns.localOf.emplace(u, columns.orientationScale.size());
    columns.orientationScale.push_back(spread);
  }
  for (Motion motion : defect.candidates) {
    PartDisplacement d =
        Displacement(*in.network, *in.part, *in.coordinates, defect.centre, motion);
    std::vector<double>& unknowns = columns.unknownEntries.emplace_back(columns.localOf.size());
    std::vector<double>& fixed = columns.fixedEntries.emplace_back();
    for (std::size_t k = 0; k < in.part->points.size(); ++k) {
      std::size_t p = in.part->points[k];
      for (int axis = 0; axis < in.network->points[p].CoordinateCount(); ++axis) {
        std::size_t u = in.map->pointUnknown[p][axis];
        if (u == UnknownMap::none) {
          fixed.push_back(d.points[k][axis]);
        } else if (!(*in.excluded)[u]) {
          unknowns[columns.localOf.at(u)] = d.points[k][axis];
        }
      }
    }
    for (std::size_t k = 0; k < in.part->sets.size(); ++k) {
      std::size_t u = in.map->setUnknown[in.part->sets[k]];
      if (u != UnknownMap::none && !(*in.excluded)[u])
        unknowns[columns.localOf.at(u)] = d.orientations[k] * spread;
    }
  }
  return columns;
}

// Gram matrix of the candidates (unknown and fixed entries alike).
Matrix GramOf(const CandidateColumns& columns) {
  std::size_t m = columns.unknownEntries.size();
  Matrix gram(m, std::vector<double>(m, 0.0));
  for (std::size_t a = 0; a < m; ++a) {
    for (std::size_t b = a; b < m; ++b) {
      double sum = 0.0;
      for (std::size_t k = 0; k < columns.unknownEntries[a].size(); ++k)
        sum += columns.unknownEntries[a][k] * columns.unknownEntries[b][k];
      for (std::size_t k = 0; k < columns.fixedEntries[a].size(); ++k)
        sum += columns.fixedEntries[a][k] * columns.fixedEntries[b][k];
      gram[a][b] = gram[b][a] = sum;
    }
  }
  return gram;
}

// BᵀB: each usable observation row, scaled to unit length, times every candidate; then the
// fixed coordinates' rows.
Matrix ChangeMatrix(const PartInput& in, const CandidateColumns& columns) {
  std::size_t m = columns.unknownEntries.size();
  Matrix product(m, std::vector<double>(m, 0.0));
  std::vector<double> b(m);
  auto accumulate = [&]() {
    for (std::size_t x = 0; x < m; ++x)
      for (std::size_t y = 0; y < m; ++y)
        product[x][y] += b[x] * b[y];
  };
  for (std::size_t row : *in.rows) {
    const DesignRow& design = in.linear->rows[row];
    double norm = 0.0;
    bool finite = true;
    std::fill(b.begin(), b.end(), 0.0);
    for (const DesignEntry& entry : design) {
      finite = finite && std::isfinite(entry.partial);
      std::size_t local = columns.localOf.at(entry.unknown);
      double partial = entry.partial / columns.orientationScale[local];
      norm += partial * partial;
      for (std::size_t c = 0; c < m; ++c)
        b[c] += partial * columns.unknownEntries[c][local];
    }
    if (!finite || !(norm > 0.0)) continue;
    for (double& value : b)
      value /= std::sqrt(norm);
    accumulate();
  }
  std::size_t fixedCount = m == 0 ? 0 : columns.fixedEntries[0].size();
  for (std::size_t k = 0; k < fixedCount; ++k) {
    for (std::size_t c = 0; c < m; ++c)
      b[c] = columns.fixedEntries[c][k];
    accumulate();
  }
  return product;
}

// The null vectors in candidate coefficients: T spans the independent motions (T = Q·Λ^-1/2 of
// the Gram matrix), and the null space of Tᵀ·BᵀB·T is mapped back through T.
Matrix NullVectors(const Matrix& gram, const Matrix& change) {
  std::size_t m = gram.size();
  SymmetricEigen g = DecomposeSymmetric(gram);
  double largest = m == 0 ? 0.0 : g.values.back();
  Matrix t;  // columns of T, each of m entries
  for (std::size_t k = 0; k < m; ++k) {
    if (g.values[k] > dependentMotionThreshold * largest && g.values[k] > 0.0) {
      std::vector<double>& column = t.emplace_back(g.vectors[k]);
      for (double& value : column)
        value /= std::sqrt(g.values[k]);
    }
  }
  std::size_t r = t.size();
  Matrix reduced(r, std::vector<double>(r, 0.0));
  for (std::size_t a = 0; a < r; ++a)
    for (std::size_t b = 0; b < r; ++b)
      for (std::size_t x = 0; x < m; ++x)
        for (std::size_t y = 0; y < m; ++y)
          reduced[a][b] += t[a][x] * change[x][y] * t[b][y];
  SymmetricEigen e = DecomposeSymmetric(reduced);
  double threshold = nullMotionThreshold * std::max(1.0, r == 0 ? 0.0 : e.values.back());
  Matrix nulls;
  for (std::size_t k = 0; k < r; ++k) {
    if (!(e.values[k] <= threshold)) continue;
    std::vector<double>& vector = nulls.emplace_back(m, 0.0);
    for (std::size_t a = 0; a < r; ++a)
      for (std::size_t x = 0; x < m; ++x)
        vector[x] += e.vectors[k][a] * t[a][x];
  }
  return nulls;
}

// Gauss-Jordan on the null vectors' rows in naming order: each vector gets a parameter with
// coefficient 1, and the other vectors 0 on it.
std::vector<DefectMotion> NameMotions(const std::vector<Motion>& candidates, Matrix vectors) {
  std::vector<DefectMotion> named;
  std::vector<std::size_t> namedVector;
  std::vector<bool> used(vectors.size(), false);
  for (double threshold : {namingThreshold, 0.0}) {
    for (Motion motion : namingOrder) {
      auto found = std::find(candidates.begin(), candidates.end(), motion);
      if (found == candidates.end()) continue;
      std::size_t row = static_cast<std::size_t>(found - candidates.begin());
      std::size_t best = vectors.size();
      for (std::size_t c = 0; c < vectors.size(); ++c) {
        if (used[c]) continue;
        if (best == vectors.size() || std::fabs(vectors[c][row]) > std::fabs(vectors[best][row]))
          best = c;
      }
      if (best == vectors.size() || !(std::fabs(vectors[best][row]) > threshold)) continue;
      double pivot = vectors[best][row];
      for (double& value : vectors[best])
        value /= pivot;
      for (std::size_t c = 0; c < vectors.size(); ++c) {
        if (c == best) continue;
        double factor = vectors[c][row];
        for (std::size_t x = 0; x < candidates.size(); ++x)
          vectors[c][x] -= factor * vectors[best][x];
      }
      used[best] = true;
      named.push_back(DefectMotion{motion, {}});
      namedVector.push_back(best);
    }
  }
  for (std::size_t k = 0; k < named.size(); ++k)
    named[k].coefficients = vectors[namedVector[k]];
  std::sort(named.begin(), named.end(),
            [](const DefectMotion& a, const DefectMotion& b) { return a.parameter < b.parameter; });
  return named;
}

}  // namespace

PartDefect AnalysePart(const PartInput& in) {
  PartDefect defect;
  defect.centre = CentreOf(*in.network, *in.part, *in.coordinates);
  defect.candidates = CandidateMotions(*in.network, *in.part);
  CandidateColumns columns = BuildColumns(in, defect, SpreadOf(in, defect.centre));
  Matrix gram = GramOf(columns);
  // Scaled to unit candidates, so that the thresholds are relative.
  std::size_t m = gram.size();
  std::vector<double> norm(m, 1.0);
  for (std::size_t c = 0; c < m; ++c) {
    norm[c] = gram[c][c] > 0.0 ? std::sqrt(gram[c][c]) : 1.0;
    for (double& value : columns.unknownEntries[c])
      value /= norm[c];
    for (double& value : columns.fixedEntries[c])
      value /= norm[c];
  }
  defect.motions =
      NameMotions(defect.candidates, NullVectors(GramOf(columns), ChangeMatrix(in, columns)));
  // Back from unit candidates to the unit motions that PartMotionsAt evaluates.
  for (DefectMotion& motion : defect.motions)
    for (std::size_t c = 0; c < m; ++c)
      motion.coefficients[c] /= norm[c];
  return defect;
}

PartMotions PartMotionsAt(const Network& network, const NetworkPart& part, const PartDefect& defect,
                          const PointCoordinates& coordinates, const UnknownMap& map) {
  PartMotions result;
  result.unknowns = PartUnknowns(network, part, map);
  std::vector<std::vector<double>> candidates;
  for (Motion motion : defect.candidates) {
    candidates.push_back(
        OverPartUnknowns(part, Displacement(network, part, coordinates, defect.centre, motion), map,
                         result.unknowns));
  }
  for (const DefectMotion& motion : defect.motions) {
    std::vector<double>& vector = result.motions.emplace_back(result.unknowns.size(), 0.0);
    for (std::size_t c = 0; c < candidates.size(); ++c) {
      if (motion.coefficients[c] == 0.0) continue;
      for (std::size_t u = 0; u < vector.size(); ++u)
        vector[u] += motion.coefficients[c] * candidates[c][u];
    }
  }
  return result;
}

}  // namespace zradjust
