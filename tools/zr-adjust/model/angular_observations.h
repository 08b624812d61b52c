#pragma once
// Horizontal directions, angles, azimuths and zenith angles: computed values in radians and
// their exact partials (radians per metre) side by side.
//
// Bearing(P→Q) = atan2(Xq − Xp, Yq − Yp), clockwise from north, in [0, 2π). With s² = ΔX² + ΔY²:
//   ∂bearing/∂Xq = ΔY/s², ∂bearing/∂Yq = −ΔX/s², the negatives on P.
// A handle's value is read through its cached object pointer, which must be set. Coincident
// points (s = 0) give non-finite partials: the reader has ruled out FROM == TO, approximate
// coordinates that coincide are the caller's to avoid.

#include <map>

#include "iteration/adjustment_model.h"

namespace zradjust {

// The bearing of TO from FROM, less an orientation unknown ω when the handle is set (a
// direction of a set: c = bearing − ω, ∂c/∂ω = −1). Without ω it is an azimuth.
struct Bearing {
  ValueHandle from[2];
  ValueHandle to[2];
  // Null object: no orientation (an azimuth).
  ValueHandle orientation;

  double Computed() const;
  void Partials(std::map<ValueHandle, double>& partials) const;
};

// Horizontal angle at AT, clockwise from FROM to TO:
// c = bearing(AT→TO) − bearing(AT→FROM), taken in [0, 2π).
struct HorizontalAngle {
  ValueHandle at[2];
  ValueHandle from[2];
  ValueHandle to[2];

  double Computed() const;
  void Partials(std::map<ValueHandle, double>& partials) const;
};

// Zenith angle from FROM to TO, 0 straight up: with h = sqrt(ΔX² + ΔY²) and
// ΔZ = Zt + TH − Zf − IH, c = atan2(h, ΔZ) in [0, π]; with s² = h² + ΔZ²,
//   ∂c/∂Xt = ΔZ·ΔX/(h·s²), ∂c/∂Yt = ΔZ·ΔY/(h·s²), ∂c/∂Zt = −h/s², the negatives on FROM.
// A vertical sight (h = 0) has no finite partials.
struct ZenithAngle {
  ValueHandle from[3];
  ValueHandle to[3];
  double instrumentHeight = 0.0;
  double targetHeight = 0.0;

  double Computed() const;
  void Partials(std::map<ValueHandle, double>& partials) const;
};

// Bearing of (dx, dy) in [0, 2π).
double BearingOf(double dx, double dy);

// angle wrapped into (−π, π].
double WrapAngle(double angle);

}  // namespace zradjust
