#include "tools/zr-adjust/model/angular_observations.h"

#include "tools/zr-adjust/model/distance_observations.h"

#include <cmath>
#include <numbers>

namespace zradjust {
namespace {

constexpr double fullCircle = 2.0 * std::numbers::pi;

// ∂bearing/∂X and ∂bearing/∂Y of the far point of a sight (ΔX, ΔY).
struct BearingPartials {
  double x;
  double y;
};

BearingPartials PartialsOfBearing(double dx, double dy) {
  double squared = dx * dx + dy * dy;
  return {dy / squared, -dx / squared};
}

}  // namespace

double BearingOf(double dx, double dy) {
  double bearing = std::atan2(dx, dy);
  return bearing < 0.0 ? bearing + fullCircle : bearing;
}

double WrapAngle(double angle) {
  double wrapped = std::remainder(angle, fullCircle);
  return wrapped <= -std::numbers::pi ? wrapped + fullCircle : wrapped;
}

double Bearing::Computed() const {
  double bearing = BearingOf(to[0].object->Value - from[0].object->Value,
                             to[1].object->Value - from[1].object->Value);
  return orientation.object ? bearing - orientation.object->Value : bearing;
}

void Bearing::Partials(std::map<ValueHandle, double>& partials) const {
  BearingPartials p = PartialsOfBearing(to[0].object->Value - from[0].object->Value,
                                        to[1].object->Value - from[1].object->Value);
  partials[to[0]] = p.x;
  partials[to[1]] = p.y;
  partials[from[0]] = -p.x;
  partials[from[1]] = -p.y;
  if (orientation.object) partials[orientation] = -1.0;
}

double HorizontalAngle::Computed() const {
  double x = at[0].object->Value, y = at[1].object->Value;
  double angle = BearingOf(to[0].object->Value - x, to[1].object->Value - y) -
                 BearingOf(from[0].object->Value - x, from[1].object->Value - y);
  return angle < 0.0 ? angle + fullCircle : angle;
}

void HorizontalAngle::Partials(std::map<ValueHandle, double>& partials) const {
  double x = at[0].object->Value, y = at[1].object->Value;
  BearingPartials fore = PartialsOfBearing(to[0].object->Value - x, to[1].object->Value - y);
  BearingPartials back = PartialsOfBearing(from[0].object->Value - x, from[1].object->Value - y);
  partials[to[0]] = fore.x;
  partials[to[1]] = fore.y;
  partials[from[0]] = -back.x;
  partials[from[1]] = -back.y;
  partials[at[0]] = back.x - fore.x;
  partials[at[1]] = back.y - fore.y;
}

double ZenithAngle::Computed() const {
  double d[3];
  SightDifferences(from, to, instrumentHeight, targetHeight, d);
  const double dx = d[0], dy = d[1], dz = d[2];
  return std::atan2(std::sqrt(dx * dx + dy * dy), dz);
}

void ZenithAngle::Partials(std::map<ValueHandle, double>& partials) const {
  double d[3];
  SightDifferences(from, to, instrumentHeight, targetHeight, d);
  const double dx = d[0], dy = d[1], dz = d[2];
  double horizontal = std::sqrt(dx * dx + dy * dy);
  double squared = horizontal * horizontal + dz * dz;
  double plan = dz / (horizontal * squared);
  double partial[3] = {plan * dx, plan * dy, -horizontal / squared};
  for (int axis = 0; axis < 3; ++axis) {
    partials[to[axis]] = partial[axis];
    partials[from[axis]] = -partial[axis];
  }
}

}  // namespace zradjust
