#pragma once
// Observations that are linear in the coordinates: computed values and partials side by side.
// A handle's value is read through its cached object pointer, which must be set.

#include <map>

#include "iteration/adjustment_model.h"

namespace zradjust {

// One coordinate of TO less the same coordinate of FROM: a GNSS baseline component with one
// SIGMA, or a levelled height difference. c = to − from, ∂c/∂to = 1.0, ∂c/∂from = −1.0.
struct CoordinateDifference {
  ValueHandle from;
  ValueHandle to;

  double Computed() const { return to.object->Value - from.object->Value; }
  void Partials(std::map<ValueHandle, double>& partials) const;
};

// An observed coordinate: c = the coordinate, ∂c/∂coordinate = 1.0.
struct CoordinateValue {
  ValueHandle coordinate;

  double Computed() const { return coordinate.object->Value; }
  void Partials(std::map<ValueHandle, double>& partials) const;
};

// Row k of a whitened GNSS baseline: with the covariance C = L·Lᵀ and W = L⁻¹ (lower
// triangular), c = Σₘ Wₖₘ·(toₘ − fromₘ) over m = 0 .. k, ∂c/∂toₘ = Wₖₘ, ∂c/∂fromₘ = −Wₖₘ.
// Its tolerance is 1.0: the whitened components are uncorrelated with unit variance.
struct WhitenedBaseline {
  ValueHandle from[3];
  ValueHandle to[3];
  // Row k of W; entries after k are zero and are not reported as partials.
  double row[3] = {0.0, 0.0, 0.0};
  int component = 0;

  double Computed() const;
  void Partials(std::map<ValueHandle, double>& partials) const;
};

// W = L⁻¹ of the covariance C = L·Lᵀ given by its upper triangle XX, XY, XZ, YY, YZ, ZZ, row
// major, lower triangular. C must be positive definite (the reader checks it).
void InverseCholeskyFactor(const double (&upper)[6], double (&inverse)[3][3]);

}  // namespace zradjust
