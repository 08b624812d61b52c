#pragma once
// The host's observation objects: one class for every observation type, so that all
// observations of a network fit in one contiguous array and their addresses run in file order.

#include <map>

#include "iteration/adjustment_model.h"
#include "tools/zr-adjust/network/network.h"

namespace zradjust {

// One scalar observation between the value objects of its points. With (Xf, Yf, Zf) and
// (Xt, Yt, Zt) the current values of FROM and TO:
// - Distance: c = sqrt((Xt-Xf)*(Xt-Xf) + (Yt-Yf)*(Yt-Yf) + (Zt-Zf)*(Zt-Zf)), partials
//   Xt: (Xt-Xf)/c and Xf: -((Xt-Xf)/c), likewise Y and Z;
// - VectorX, VectorY, VectorZ, Levelling: c = to - from of one coordinate, partials +1, -1;
// - Coordinate: c = the coordinate, partial 1.
// The difference is observed - c at the current values; the tolerance is the variance
// SIGMA*SIGMA, so that the library's weight weightScale/tolerance is sigma0²/SIGMA².
// Partials are reported for fixed coordinates too: the library drops them itself.
class NetworkObservation : public ZR::VOObservation {
 public:
  // from and to are the value objects that the observation reads: X, Y, Z for a distance,
  // otherwise only element 0 (and to is ignored for a coordinate observation). The objects
  // must outlive the observation.
  NetworkObservation(ObservationType type, const ValueHandle (&from)[3], const ValueHandle (&to)[3],
                     double observed, double sigma);

  void GetPartials(std::map<ValueHandle, double>& partials) override;
  double GetTolerance() override;
  double GetComputed() override;
  double GetDifference() override;

  ObservationType Type() const { return type; }
  double Observed() const { return observed; }
  double Sigma() const { return sigma; }

 private:
  ObservationType type;
  ValueHandle from[3];
  ValueHandle to[3];
  double observed;
  double sigma;
};

}  // namespace zradjust
