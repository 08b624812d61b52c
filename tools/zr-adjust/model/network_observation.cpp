#include "tools/zr-adjust/model/network_observation.h"

#include <cmath>

namespace zradjust {

NetworkObservation::NetworkObservation(ObservationType type, const ValueHandle (&from)[3],
                                       const ValueHandle (&to)[3], double observed, double sigma)
    : type(type), observed(observed), sigma(sigma) {
  for (int axis = 0; axis < 3; ++axis) {
    this->from[axis] = from[axis];
    this->to[axis] = to[axis];
  }
}

void NetworkObservation::GetPartials(std::map<ValueHandle, double>& partials) {
  switch (type) {
    case ObservationType::Distance: {
      double c = GetComputed();
      for (int axis = 0; axis < 3; ++axis) {
        double difference = to[axis].object->Value - from[axis].object->Value;
        partials[to[axis]] = difference / c;
        partials[from[axis]] = -(difference / c);
      }
      break;
    }
    case ObservationType::VectorX:
    case ObservationType::VectorY:
    case ObservationType::VectorZ:
    case ObservationType::Levelling:
      partials[to[0]] = 1.0;
      partials[from[0]] = -1.0;
      break;
    case ObservationType::Coordinate:
      partials[from[0]] = 1.0;
      break;
  }
}

double NetworkObservation::GetTolerance() {
  return sigma * sigma;
}

double NetworkObservation::GetComputed() {
  switch (type) {
    case ObservationType::Distance: {
      double dx = to[0].object->Value - from[0].object->Value;
      double dy = to[1].object->Value - from[1].object->Value;
      double dz = to[2].object->Value - from[2].object->Value;
      // Evaluated left to right, as written: ((dx*dx + dy*dy) + dz*dz).
      return std::sqrt(dx * dx + dy * dy + dz * dz);
    }
    case ObservationType::Coordinate:
      return from[0].object->Value;
    default:
      return to[0].object->Value - from[0].object->Value;
  }
}

double NetworkObservation::GetDifference() {
  return observed - GetComputed();
}

}  // namespace zradjust
