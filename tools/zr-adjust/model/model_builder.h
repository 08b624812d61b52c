#pragma once
// The network as framework objects in an adjustment model.
//
// ModelObjects creates one ZR::VOValue per coordinate (its Value the approximate coordinate)
// and one per direction set (its orientation in radians, approximated from the set's readings),
// registers each in the framework's object table under its identifier, and puts the handles
// into the model's values (and fixedValues for fixed coordinates; an orientation is never
// fixed and never part of a network point). The observation objects are
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
#include "tools/zr-adjust/model/network_observation.h"
#include "tools/zr-adjust/network/network.h"
#include "tools/zr-adjust/statistics/linear_model.h"

namespace zradjust {

// What one of the host's unknowns is: a coordinate of a point, or the orientation of a
// direction set.
struct UnknownRef {
  bool orientation = false;
  // Index into Network::points, or into Network::directionSets for an orientation.
  std::size_t index = 0;
  // The coordinate (0 = X or H, 1 = Y, 2 = Z); 0 for an orientation.
  int axis = 0;
};

class ModelObjects {
 public:
  // firstIds: the first identifier of every point, then the identifier of every direction
  // set's orientation, from AssignIdentifiers.
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
  // The value object of the orientation of a direction set (radians).
  ZR::VOValue& Orientation(std::size_t set) { return values[firstOrientation + set]; }
  const ZR::VOValue& Orientation(std::size_t set) const { return values[firstOrientation + set]; }
  NetworkObservation& Observation(std::size_t index) { return observations[index]; }
  std::size_t ObservationCount() const { return observations.size(); }
  // The host's unknowns: the coordinates that are not fixed, points in file order, then the
  // orientations of the direction sets in file order. This numbering (not the library's
  // columns) is the one of LinearModel and of the datum analysis.
  const std::vector<ZR::VOValue*>& Unknowns() const { return unknowns; }
  const std::vector<UnknownRef>& UnknownRefs() const { return unknownRefs; }

  // The observation equations at the current values: one row per scalar observation in file
  // order, in the observations' own terms (a baseline with a covariance in its components DX,
  // DY, DZ, not whitened, grouped with its covariance), columns indexing Unknowns().
  LinearModel Linearise() const;

  // The adjusted value of observation `index` as the record states it (a baseline component
  // un-whitened, a distance with its heights), at the current values. Radians for angles,
  // within half a circle of the observed value, so that observed − adjusted is the wrapped
  // residual.
  double AdjustedValue(std::size_t index) const;

  // Per unknown (indexed like Unknowns()), the length by which its correction counts towards
  // the max correction: 1.0 for a coordinate, the longest sight of the set for an orientation
  // (radians times metres is the shift at the far end of the sight).
  const std::vector<double>& CorrectionScales() const { return correctionScales; }

  // Holds the given unknowns (indices into Unknowns()) fixed in the model from now on: the
  // host's own minimal datum of a free plan or levelling network while it iterates.
  void Hold(const std::vector<std::size_t>& held, ZR::AdjustmentModel& model);

 private:
  void CreateValues(const std::vector<std::uint64_t>& firstIds, ZR::AdjustmentModel& model);
  void CreateObservations();
  NetworkObservation MakeObservation(std::size_t index);
  ValueHandle Handle(std::size_t point, int axis);

  // Every coordinate, points in file order, then the orientations of the sets; never resized
  // after construction.
  std::vector<ZR::VOValue> values;
  std::vector<std::size_t> firstValue;
  std::size_t firstOrientation = 0;
  std::vector<NetworkObservation> observations;
  std::vector<ZR::VOValue*> unknowns;
  std::vector<UnknownRef> unknownRefs;
  std::vector<double> correctionScales;
  // The network the objects were built from, for Linearise; it must outlive the objects.
  const Network* network = nullptr;
};

}  // namespace zradjust
