#pragma once
// The network as framework objects in an adjustment model.
//
// ModelObjects creates one ZR::VOValue per coordinate (its Value the approximate coordinate),
// registers each in the framework's object table under its identifier, and puts the handles
// into the model's values (and fixedValues for fixed coordinates). The observation objects are
// created first, all of them, in one contiguous array in file order, and only then put into
// the model's observations, so that the set's pointer order is the file order. With
// `datum free` every 3D point enters the model's points.
//
// The object owns everything the model points to: keep it alive as long as the model is used.
// Identifiers are global to the process: only one ModelObjects may exist at a time.

#include <cstddef>
#include <cstdint>
#include <vector>

#include "iteration/adjustment_model.h"
#include "tools/zr-adjust/network.h"
#include "tools/zr-adjust/network_observation.h"

namespace zradjust {

class ModelObjects {
 public:
  // firstIds: the first identifier of every point, from AssignIdentifiers.
  ModelObjects(const Network& network, const std::vector<std::uint64_t>& firstIds,
               ZR::AdjustmentModel& model);
  ModelObjects(const ModelObjects&) = delete;
  ModelObjects& operator=(const ModelObjects&) = delete;
  // Unregisters every value object.
  ~ModelObjects();

  // The value object of coordinate axis (0 = X or H, 1 = Y, 2 = Z) of a point.
  ZR::VOValue& Coordinate(std::size_t point, int axis) { return values[firstValue[point] + axis]; }
  const ZR::VOValue& Coordinate(std::size_t point, int axis) const {
    return values[firstValue[point] + axis];
  }
  NetworkObservation& Observation(std::size_t index) { return observations[index]; }
  std::size_t ObservationCount() const { return observations.size(); }
  // The value objects of the coordinates that are not fixed, in file order.
  const std::vector<ZR::VOValue*>& Unknowns() const { return unknowns; }

 private:
  // Every coordinate, points in file order; never resized after construction.
  std::vector<ZR::VOValue> values;
  std::vector<std::size_t> firstValue;
  std::vector<NetworkObservation> observations;
  std::vector<ZR::VOValue*> unknowns;
};

}  // namespace zradjust
