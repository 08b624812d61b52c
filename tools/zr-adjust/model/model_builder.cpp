#include "tools/zr-adjust/model/model_builder.h"

#include <map>
#include <unordered_map>

namespace zradjust {
namespace {

ValueHandle HandleOf(ZR::VOValue& value) {
  ValueHandle handle;
  handle.id = value.GetId();
  handle.object = &value;
  return handle;
}

}  // namespace

ModelObjects::ModelObjects(const Network& network, const std::vector<std::uint64_t>& firstIds,
                           ZR::AdjustmentModel& model)
    : network(&network) {
  std::size_t coordinateCount = 0;
  for (const SurveyPoint& point : network.points) {
    firstValue.push_back(coordinateCount);
    coordinateCount += static_cast<std::size_t>(point.CoordinateCount());
  }
  // Reserved in full: the model and the object table keep pointers into this array.
  values.reserve(coordinateCount);
  for (std::size_t p = 0; p < network.points.size(); ++p) {
    const SurveyPoint& point = network.points[p];
    for (int axis = 0; axis < point.CoordinateCount(); ++axis) {
      values.emplace_back(firstIds[p] + static_cast<std::uint64_t>(axis), point.approximate[axis]);
    }
  }
  for (std::size_t p = 0; p < network.points.size(); ++p) {
    const SurveyPoint& point = network.points[p];
    for (int axis = 0; axis < point.CoordinateCount(); ++axis) {
      ZR::VOValue& value = Coordinate(p, axis);
      uint64 id = value.GetId();
      RegisterVObject(id, &value);
      model.values.insert(HandleOf(value));
      if (point.fixed[axis]) {
        model.fixedValues.insert(HandleOf(value));
      } else {
        unknowns.push_back(&value);
        unknownRefs.push_back(UnknownRef{false, p, axis});
      }
    }
    if (network.datumFree && point.kind == PointKind::Spatial) {
      model.points.insert(NetworkPoint{HandleOf(Coordinate(p, 0)), HandleOf(Coordinate(p, 1)),
                                       HandleOf(Coordinate(p, 2))});
    }
  }

  observations.reserve(network.observations.size());
  for (const SurveyObservation& observation : network.observations) {
    ValueHandle from[3];
    ValueHandle to[3];
    if (observation.type == ObservationType::Distance) {
      for (int axis = 0; axis < 3; ++axis) {
        from[axis] = HandleOf(Coordinate(observation.from, axis));
        to[axis] = HandleOf(Coordinate(observation.to, axis));
      }
    } else {
      from[0] = HandleOf(
          Coordinate(observation.from,
                     ObservedCoordinate(observation, network.points[observation.from].kind)));
      to[0] = HandleOf(Coordinate(
          observation.to, ObservedCoordinate(observation, network.points[observation.to].kind)));
    }
    observations.emplace_back(observation.type, from, to, observation.observed, observation.sigma);
  }
  // Only now, with the array complete, do the addresses go into the set.
  for (NetworkObservation& observation : observations)
    model.observations.insert(&observation);
}

LinearModel ModelObjects::Linearise() const {
  std::unordered_map<uint64, std::size_t> unknownOf;
  for (std::size_t u = 0; u < unknowns.size(); ++u)
    unknownOf.emplace(unknowns[u]->GetId(), u);
  LinearModel linear;
  linear.unknownCount = unknowns.size();
  linear.rows.reserve(observations.size());
  std::map<ValueHandle, double> partials;
  for (std::size_t i = 0; i < observations.size(); ++i) {
    partials.clear();
    // GetPartials reads the current values only; the objects are not changed.
    const_cast<NetworkObservation&>(observations[i]).GetPartials(partials);
    DesignRow& row = linear.rows.emplace_back();
    for (const auto& [handle, partial] : partials) {
      auto found = unknownOf.find(handle.id);
      if (found != unknownOf.end()) row.push_back(DesignEntry{found->second, partial});
    }
    ObservationGroup& group = linear.groups.emplace_back();
    group.first = i;
    group.covariance[0][0] = observations[i].Sigma() * observations[i].Sigma();
  }
  return linear;
}

double ModelObjects::AdjustedValue(std::size_t index) const {
  return const_cast<NetworkObservation&>(observations[index]).GetComputed();
}

void ModelObjects::Hold(const std::vector<std::size_t>& held, ZR::AdjustmentModel& model) {
  for (std::size_t u : held)
    model.fixedValues.insert(HandleOf(*unknowns[u]));
}

ModelObjects::~ModelObjects() {
  for (ZR::VOValue& value : values) {
    uint64 id = value.GetId();
    UnregisterVObject(id);
  }
}

}  // namespace zradjust
