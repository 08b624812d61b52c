#pragma once
// Distances between two points: their computed values and exact partials side by side.
//
// A handle's value is read through its cached object pointer, which must be set and must
// outlive the observation. Partials are written into the caller's map, one entry per
// coordinate the distance depends on, fixed coordinates included.

#include <map>

#include "iteration/adjustment_model.h"

namespace zradjust {

// ΔX, ΔY and ΔZ = Zt + TH − Zf − IH of a sight from FROM (instrument height IH) to TO (target
// height TH), at the current values; shared by the slope distance and the zenith angle.
// Without heights ΔZ is Zt − Zf exactly, so a plain `dist` keeps the bits it always had.
void SightDifferences(const ValueHandle (&from)[3], const ValueHandle (&to)[3],
                      double instrumentHeight, double targetHeight, double (&difference)[3]);

// Slope distance between two 3D points, the instrument height IH added at FROM and the target
// height TH at TO: with ΔZ = Zt + TH − Zf − IH,
//   c = sqrt(ΔX*ΔX + ΔY*ΔY + ΔZ*ΔZ), evaluated left to right,
//   ∂c/∂Xt = ΔX/c, ∂c/∂Xf = −(ΔX/c), likewise Y and Z.
struct SlopeDistance {
  ValueHandle from[3];
  ValueHandle to[3];
  double instrumentHeight = 0.0;
  double targetHeight = 0.0;

  double Computed() const;
  void Partials(std::map<ValueHandle, double>& partials) const;
  // ΔX, ΔY, ΔZ as above.
  void Differences(double (&difference)[3]) const;
};

// Horizontal distance c = sqrt(ΔX² + ΔY²) between two plan or 3D points;
// ∂c/∂Xt = ΔX/c, ∂c/∂Yt = ΔY/c, the negatives on FROM.
struct HorizontalDistance {
  ValueHandle from[2];
  ValueHandle to[2];

  double Computed() const;
  void Partials(std::map<ValueHandle, double>& partials) const;
};

}  // namespace zradjust
