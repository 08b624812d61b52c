#pragma once
// How the writers show angles: the program holds radians, a surveyor reads the unit of the
// record (gon, degrees or radians) and small angles, residuals and biases, in that unit's
// working sub-unit (mgon, arc seconds, microradians), as the length columns show millimetres.

#include "tools/zr-adjust/network/network.h"

namespace zradjust {

// radians expressed in unit.
inline double InUnit(double radians, AngleUnit unit) {
  return radians / RadiansPerUnit(unit);
}

// The sub-unit of an angle unit in which residuals and biases are shown.
struct AngleSubUnit {
  const char* name;  // "mgon", "″" or "µrad"
  double radians;    // radians per sub-unit
};

inline AngleSubUnit SubUnitOf(AngleUnit unit) {
  switch (unit) {
    case AngleUnit::Degree:
      return {"\xE2\x80\xB3", RadiansPerUnit(unit) / 3600.0};
    case AngleUnit::Radian:
      return {"\xC2\xB5rad", 1e-6};
    case AngleUnit::Gon:
      break;
  }
  return {"mgon", RadiansPerUnit(AngleUnit::Gon) / 1000.0};
}

// Decimals of an angle in its unit that resolve about 0.01 mgon, 0.01″ or 0.1 µrad.
inline int AngleDecimals(AngleUnit unit) {
  return unit == AngleUnit::Gon ? 5 : unit == AngleUnit::Degree ? 6 : 7;
}

}  // namespace zradjust
