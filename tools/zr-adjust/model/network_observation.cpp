#include "tools/zr-adjust/model/network_observation.h"

namespace zradjust {
namespace {

ObservationKernel KernelOf(ObservationType type, const ValueHandle (&from)[3],
                           const ValueHandle (&to)[3]) {
  switch (type) {
    case ObservationType::Distance:
      return SlopeDistance{{from[0], from[1], from[2]}, {to[0], to[1], to[2]}};
    case ObservationType::Coordinate:
      return CoordinateValue{from[0]};
    default:
      break;
  }
  return CoordinateDifference{from[0], to[0]};
}

}  // namespace

NetworkObservation::NetworkObservation(ObservationType type, const ValueHandle (&from)[3],
                                       const ValueHandle (&to)[3], double observed, double sigma)
    : NetworkObservation(type, KernelOf(type, from, to), observed, sigma) {}

NetworkObservation::NetworkObservation(ObservationType type, const ObservationKernel& kernel,
                                       double observed, double sigma)
    : type(type), angular(IsAngular(type)), kernel(kernel), observed(observed), sigma(sigma) {}

void NetworkObservation::GetPartials(std::map<ValueHandle, double>& partials) {
  std::visit([&](const auto& evaluator) { evaluator.Partials(partials); }, kernel);
}

double NetworkObservation::GetTolerance() {
  return sigma * sigma;
}

double NetworkObservation::Computed() const {
  return std::visit([](const auto& evaluator) { return evaluator.Computed(); }, kernel);
}

double NetworkObservation::Difference() const {
  double difference = observed - Computed();
  return angular ? WrapAngle(difference) : difference;
}

double NetworkObservation::GetComputed() {
  return Computed();
}

double NetworkObservation::GetDifference() {
  return Difference();
}

}  // namespace zradjust
