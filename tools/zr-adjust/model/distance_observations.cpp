#include "tools/zr-adjust/model/distance_observations.h"

#include <cmath>

namespace zradjust {

void SightDifferences(const ValueHandle (&from)[3], const ValueHandle (&to)[3],
                      double instrumentHeight, double targetHeight, double (&difference)[3]) {
  difference[0] = to[0].object->Value - from[0].object->Value;
  difference[1] = to[1].object->Value - from[1].object->Value;
  if (instrumentHeight == 0.0 && targetHeight == 0.0) {
    difference[2] = to[2].object->Value - from[2].object->Value;
  } else {
    difference[2] = to[2].object->Value + targetHeight - from[2].object->Value - instrumentHeight;
  }
}

void SlopeDistance::Differences(double (&difference)[3]) const {
  SightDifferences(from, to, instrumentHeight, targetHeight, difference);
}

double SlopeDistance::Computed() const {
  double d[3];
  Differences(d);
  // Evaluated left to right, as written: ((dx*dx + dy*dy) + dz*dz).
  return std::sqrt(d[0] * d[0] + d[1] * d[1] + d[2] * d[2]);
}

void SlopeDistance::Partials(std::map<ValueHandle, double>& partials) const {
  double d[3];
  Differences(d);
  double c = std::sqrt(d[0] * d[0] + d[1] * d[1] + d[2] * d[2]);
  for (int axis = 0; axis < 3; ++axis) {
    partials[to[axis]] = d[axis] / c;
    partials[from[axis]] = -(d[axis] / c);
  }
}

double HorizontalDistance::Computed() const {
  double dx = to[0].object->Value - from[0].object->Value;
  double dy = to[1].object->Value - from[1].object->Value;
  return std::sqrt(dx * dx + dy * dy);
}

void HorizontalDistance::Partials(std::map<ValueHandle, double>& partials) const {
  double c = Computed();
  for (int axis = 0; axis < 2; ++axis) {
    double difference = to[axis].object->Value - from[axis].object->Value;
    partials[to[axis]] = difference / c;
    partials[from[axis]] = -(difference / c);
  }
}

}  // namespace zradjust
