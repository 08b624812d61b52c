#pragma once
// Networks for the datum tests: read from text through the model builder, or built by hand
// (plan points, horizontal distances, directions) with their design matrix from central
// differences of the computed values, so that the partials do not come from the code under test.

#include <array>
#include <cmath>
#include <string>
#include <vector>

#include "tools/zr-adjust/datum/datum_analysis.h"
#include "tools/zr-adjust/datum/symmetric_eigen.h"
#include "tools/zr-adjust/model/identifier_order.h"
#include "tools/zr-adjust/model/model_builder.h"
#include "tools/zr-adjust/test_support.h"

namespace zradjust {

struct DatumCase {
  Network network;
  std::vector<UnknownRef> unknowns;
  LinearModel linear;
  // The values of the unknowns at the approximate coordinates, and the misclosures there.
  std::vector<double> approximate;
  std::vector<double> misclosures;
};

// Through the reader and the model builder, as the program does it.
inline DatumCase FromText(const std::string& text) {
  DatumCase c;
  c.network = Read(text);
  ZR::AdjustmentModel model;
  ModelObjects objects(c.network, AssignIdentifiers(c.network, IdentifierOrder::Input), model);
  c.unknowns = objects.UnknownRefs();
  c.linear = objects.Linearise();
  for (ZR::VOValue* value : objects.Unknowns())
    c.approximate.push_back(value->Value);
  for (std::size_t i = 0; i < objects.ObservationCount(); ++i)
    c.misclosures.push_back(objects.Observation(i).GetDifference());
  return c;
}

// A plan network built by hand: points (name, x, y, fixed), sets by station, observations.
class PlanBuilder {
 public:
  std::size_t Point(const std::string& name, double x, double y, bool fixed = false) {
    SurveyPoint& point = c.network.points.emplace_back();
    point.name = name;
    point.kind = PointKind::Plan;
    point.approximate[0] = x;
    point.approximate[1] = y;
    point.fixed[0] = point.fixed[1] = fixed;
    return c.network.points.size() - 1;
  }
  std::size_t Set(const std::string& name, std::size_t station, double orientation) {
    c.network.directionSets.push_back(DirectionSet{name, station, 0});
    orientations.push_back(orientation);
    return orientations.size() - 1;
  }
  void HorizontalDistance(std::size_t from, std::size_t to, double sigma) {
    Add(ObservationType::HorizontalDistance, from, to, 0, sigma);
  }
  void Direction(std::size_t set, std::size_t to, double sigma) {
    Add(ObservationType::Direction, c.network.directionSets[set].station, to, set, sigma);
  }
  // The observed values are the computed ones shifted by `misclosures` (default 0).
  DatumCase Build(const std::vector<double>& misclosures = {}) {
    for (std::size_t p = 0; p < c.network.points.size(); ++p)
      for (int axis = 0; axis < 2; ++axis)
        if (!c.network.points[p].fixed[axis]) c.unknowns.push_back(UnknownRef{false, p, axis});
    for (std::size_t s = 0; s < orientations.size(); ++s)
      c.unknowns.push_back(UnknownRef{true, s, 0});
    std::vector<double> values = Values();
    c.approximate = values;
    c.linear.unknownCount = values.size();
    for (std::size_t i = 0; i < c.network.observations.size(); ++i) {
      SurveyObservation& observation = c.network.observations[i];
      DesignRow& row = c.linear.rows.emplace_back();
      for (std::size_t u = 0; u < values.size(); ++u) {
        // Central differences: error of order step² times the third derivative, far below the
        // analysis' thresholds.
        double step = c.unknowns[u].orientation ? 1e-7 : 1e-4;
        std::vector<double> plus = values, minus = values;
        plus[u] += step;
        minus[u] -= step;
        double partial = (Computed(observation, plus) - Computed(observation, minus)) / (2 * step);
        if (std::fabs(partial) > 1e-12) row.push_back(DesignEntry{u, partial});
      }
      ObservationGroup& group = c.linear.groups.emplace_back();
      group.first = i;
      group.covariance[0][0] = observation.sigma * observation.sigma;
      double misclosure = i < misclosures.size() ? misclosures[i] : 0.0;
      observation.observed = Computed(observation, values) + misclosure;
      c.misclosures.push_back(misclosure);
    }
    return c;
  }

 private:
  void Add(ObservationType type, std::size_t from, std::size_t to, std::size_t set, double sigma) {
    SurveyObservation& observation = c.network.observations.emplace_back();
    observation.type = type;
    observation.from = from;
    observation.to = to;
    observation.set = set;
    observation.sigma = sigma;
  }
  std::vector<double> Values() const {
    std::vector<double> values;
    for (const UnknownRef& ref : c.unknowns)
      values.push_back(ref.orientation ? orientations[ref.index]
                                       : c.network.points[ref.index].approximate[ref.axis]);
    return values;
  }
  // The coordinate or orientation, from values where it is an unknown.
  double Value(const std::vector<double>& values, bool orientation, std::size_t index,
               int axis) const {
    for (std::size_t u = 0; u < c.unknowns.size(); ++u) {
      const UnknownRef& ref = c.unknowns[u];
      if (ref.orientation == orientation && ref.index == index && ref.axis == axis)
        return values[u];
    }
    return c.network.points[index].approximate[axis];
  }
  double Computed(const SurveyObservation& o, const std::vector<double>& values) const {
    double dx = Value(values, false, o.to, 0) - Value(values, false, o.from, 0);
    double dy = Value(values, false, o.to, 1) - Value(values, false, o.from, 1);
    if (o.type == ObservationType::HorizontalDistance) return std::sqrt(dx * dx + dy * dy);
    return std::atan2(dx, dy) - Value(values, true, o.set, 0);  // bearing minus orientation
  }

  DatumCase c;
  std::vector<double> orientations;
};

using Dense = std::vector<std::vector<double>>;

// N = AᵀΣ⁻¹A and b = AᵀΣ⁻¹l, dense, from the case's rows and misclosures.
inline void NormalEquations(const DatumCase& c, Dense& n, std::vector<double>& b) {
  std::size_t u = c.linear.unknownCount;
  n.assign(u, std::vector<double>(u, 0.0));
  b.assign(u, 0.0);
  for (std::size_t i = 0; i < c.linear.rows.size(); ++i) {
    double weight = 1.0 / c.linear.groups[i].covariance[0][0];
    for (const DesignEntry& x : c.linear.rows[i]) {
      b[x.unknown] += x.partial * weight * c.misclosures[i];
      for (const DesignEntry& y : c.linear.rows[i])
        n[x.unknown][y.unknown] += x.partial * weight * y.partial;
    }
  }
}

// Solves n·x = b by dense Cholesky.
inline std::vector<double> Cholesky(Dense n, std::vector<double> b) {
  std::size_t u = b.size();
  for (std::size_t j = 0; j < u; ++j) {
    for (std::size_t k = 0; k < j; ++k)
      n[j][j] -= n[j][k] * n[j][k];
    n[j][j] = std::sqrt(n[j][j]);
    for (std::size_t i = j + 1; i < u; ++i) {
      for (std::size_t k = 0; k < j; ++k)
        n[i][j] -= n[i][k] * n[j][k];
      n[i][j] /= n[j][j];
    }
  }
  for (std::size_t i = 0; i < u; ++i) {
    for (std::size_t k = 0; k < i; ++k)
      b[i] -= n[i][k] * b[k];
    b[i] /= n[i][i];
  }
  for (std::size_t i = u; i-- > 0;) {
    for (std::size_t k = i + 1; k < u; ++k)
      b[i] -= n[k][i] * b[k];
    b[i] /= n[i][i];
  }
  return b;
}

// The least-squares corrections with the given unknowns held at their approximate values.
inline std::vector<double> HeldSolution(const DatumCase& c, const std::vector<std::size_t>& held) {
  Dense n;
  std::vector<double> b;
  NormalEquations(c, n, b);
  for (std::size_t h : held) {
    for (std::size_t k = 0; k < b.size(); ++k)
      n[h][k] = n[k][h] = 0.0;
    n[h][h] = 1.0;
    b[h] = 0.0;
  }
  return Cholesky(n, b);
}

// The minimum-norm corrections N⁺b = Σ v·vᵀ·b / λ over the eigenpairs of N that are not null:
// independent of any datum condition or motion.
// N⁺ = Σ v·vᵀ / λ over the same eigenpairs: the cofactors of the minimum-trace datum when every
// unknown is a datum unknown.
inline Dense PseudoInverse(const DatumCase& c) {
  Dense n;
  std::vector<double> b;
  NormalEquations(c, n, b);
  SymmetricEigen eigen = DecomposeSymmetric(n);
  Dense inverse(b.size(), std::vector<double>(b.size(), 0.0));
  for (std::size_t k = 0; k < b.size(); ++k) {
    if (eigen.values[k] < 1e-9 * eigen.values.back()) continue;
    for (std::size_t i = 0; i < b.size(); ++i)
      for (std::size_t j = 0; j < b.size(); ++j)
        inverse[i][j] += eigen.vectors[k][i] * eigen.vectors[k][j] / eigen.values[k];
  }
  return inverse;
}

inline std::vector<double> MinimumNormSolution(const DatumCase& c) {
  Dense n;
  std::vector<double> b;
  NormalEquations(c, n, b);
  SymmetricEigen eigen = DecomposeSymmetric(n);
  std::vector<double> x(b.size(), 0.0);
  for (std::size_t k = 0; k < b.size(); ++k) {
    if (eigen.values[k] < 1e-9 * eigen.values.back()) continue;
    double projection = 0.0;
    for (std::size_t i = 0; i < b.size(); ++i)
      projection += eigen.vectors[k][i] * b[i];
    for (std::size_t i = 0; i < b.size(); ++i)
      x[i] += eigen.vectors[k][i] * projection / eigen.values[k];
  }
  return x;
}

}  // namespace zradjust
