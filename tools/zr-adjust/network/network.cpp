#include "tools/zr-adjust/network/network.h"

#include <numbers>

namespace zradjust {

int ObservedCoordinate(const SurveyObservation& observation, PointKind kind) {
  switch (observation.type) {
    case ObservationType::VectorX:
      return 0;
    case ObservationType::VectorY:
      return 1;
    case ObservationType::VectorZ:
      return 2;
    case ObservationType::Levelling:
      return kind == PointKind::Spatial ? 2 : 0;
    case ObservationType::Coordinate:
      return observation.axis;
    default:
      break;
  }
  return 0;
}

const char* TypeName(ObservationType type) {
  switch (type) {
    case ObservationType::Distance:
      return "dist";
    case ObservationType::HorizontalDistance:
      return "hdist";
    case ObservationType::Direction:
      return "dir";
    case ObservationType::Angle:
      return "angle";
    case ObservationType::Azimuth:
      return "azimuth";
    case ObservationType::Zenith:
      return "zenith";
    case ObservationType::VectorX:
      return "dx";
    case ObservationType::VectorY:
      return "dy";
    case ObservationType::VectorZ:
      return "dz";
    case ObservationType::Levelling:
      return "level";
    case ObservationType::Coordinate:
      return "coord";
  }
  return "?";
}

bool IsAngular(ObservationType type) {
  return type == ObservationType::Direction || type == ObservationType::Angle ||
         type == ObservationType::Azimuth || type == ObservationType::Zenith;
}

char AxisName(PointKind kind, int axis) {
  if (kind == PointKind::Height) return 'h';
  return "xyz"[axis];
}

double RadiansPerUnit(AngleUnit unit) {
  switch (unit) {
    case AngleUnit::Gon:
      return std::numbers::pi / 200.0;
    case AngleUnit::Degree:
      return std::numbers::pi / 180.0;
    case AngleUnit::Radian:
      break;
  }
  return 1.0;
}

const char* UnitName(AngleUnit unit) {
  switch (unit) {
    case AngleUnit::Gon:
      return "gon";
    case AngleUnit::Degree:
      return "deg";
    case AngleUnit::Radian:
      break;
  }
  return "rad";
}

}  // namespace zradjust
