#pragma once
// The host's observation objects: one class, NetworkObservation, whose per-type evaluator is a
// small value held inside it, so that all observations of a network fit in one contiguous array
// and their addresses run in file order.

#include <map>
#include <variant>

#include "iteration/adjustment_model.h"
#include "tools/zr-adjust/model/angular_observations.h"
#include "tools/zr-adjust/model/difference_observations.h"
#include "tools/zr-adjust/model/distance_observations.h"
#include "tools/zr-adjust/network/network.h"

namespace zradjust {

// One evaluator per observation type: each has Computed() and Partials(map), defined in its own
// file with its formulas.
using ObservationKernel =
    std::variant<SlopeDistance, CoordinateDifference, CoordinateValue, HorizontalDistance, Bearing,
                 HorizontalAngle, ZenithAngle, WhitenedBaseline>;

// One scalar observation. The difference is observed − c at the current values, wrapped into
// (−π, π] for the angular types; the tolerance is the variance SIGMA*SIGMA, so that the
// library's weight weightScale/tolerance is sigma0²/SIGMA². Partials are reported for fixed
// coordinates too: the library drops them itself.
class NetworkObservation : public ZR::VOObservation {
 public:
  // A distance (Distance, without heights), a vector component (VectorX, VectorY, VectorZ), a
  // levelling or a coordinate observation: from and to are the value objects that it reads,
  // X, Y, Z for a distance, otherwise only element 0 (to is ignored for a coordinate). The
  // objects must outlive the observation.
  NetworkObservation(ObservationType type, const ValueHandle (&from)[3], const ValueHandle (&to)[3],
                     double observed, double sigma);
  // Any type with its evaluator. For a whitened baseline component observed is the whitened
  // value and sigma 1.0.
  NetworkObservation(ObservationType type, const ObservationKernel& kernel, double observed,
                     double sigma);

  void GetPartials(std::map<ValueHandle, double>& partials) override;
  double GetTolerance() override;
  double GetComputed() override;
  double GetDifference() override;

  ObservationType Type() const { return type; }
  double Observed() const { return observed; }
  double Sigma() const { return sigma; }
  const ObservationKernel& Kernel() const { return kernel; }
  // GetComputed and GetDifference without changing anything (they read the current values).
  double Computed() const;
  double Difference() const;

 private:
  ObservationType type;
  bool angular;
  ObservationKernel kernel;
  double observed;
  double sigma;
};

}  // namespace zradjust
