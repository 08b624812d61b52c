#pragma once
// A three-dimensional point of the network: the value objects of its X, Y and Z coordinates.

#include <tuple>

#include "model_access/value_handle.h"

struct NetworkPoint {
  ValueHandle x;
  ValueHandle y;
  ValueHandle z;

  friend bool operator<(const NetworkPoint& left, const NetworkPoint& right) {
    return std::tie(left.x, left.y, left.z) < std::tie(right.x, right.y, right.z);
  }
};
