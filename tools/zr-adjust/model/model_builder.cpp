#include "tools/zr-adjust/model/model_builder.h"

#include <algorithm>
#include <functional>
#include <map>
#include <set>

#include "tools/zr-adjust/model/direction_sets.h"

namespace zradjust {
namespace {

ValueHandle HandleOf(ZR::VOValue& value) {
  ValueHandle handle;
  handle.id = value.GetId();
  handle.object = &value;
  return handle;
}

// Puts handles into an ordered set sorted first, so that each goes in at the end without a
// search through a set of hundreds of thousands.
void InsertSorted(std::vector<ValueHandle> handles, std::set<ValueHandle>& set) {
  std::sort(handles.begin(), handles.end());
  for (const ValueHandle& handle : handles)
    set.insert(set.end(), handle);
}

}  // namespace

ModelObjects::ModelObjects(const Network& network, const std::vector<std::uint64_t>& firstIds,
                           ZR::AdjustmentModel& model)
    : network(&network) {
  CreateValues(firstIds, model);
  CreateObservations();
  // Only now, with the array complete, do the addresses go into the set; they ascend, so each
  // goes in at the end without a search.
  for (NetworkObservation& observation : observations)
    model.observations.insert(model.observations.end(), &observation);
}

void ModelObjects::CreateValues(const std::vector<std::uint64_t>& firstIds,
                                ZR::AdjustmentModel& model) {
  std::size_t coordinateCount = 0;
  for (const SurveyPoint& point : network->points) {
    firstValue.push_back(coordinateCount);
    coordinateCount += static_cast<std::size_t>(point.CoordinateCount());
  }
  firstOrientation = coordinateCount;
  // Reserved in full: the model and the object table keep pointers into this array.
  values.reserve(coordinateCount + network->directionSets.size());
  for (std::size_t p = 0; p < network->points.size(); ++p) {
    const SurveyPoint& point = network->points[p];
    for (int axis = 0; axis < point.CoordinateCount(); ++axis) {
      values.emplace_back(firstIds[p] + static_cast<std::uint64_t>(axis), point.approximate[axis]);
    }
  }
  std::vector<double> orientations = ApproximateOrientations(*network);
  for (std::size_t set = 0; set < orientations.size(); ++set)
    values.emplace_back(firstIds[network->points.size() + set], orientations[set]);

  std::vector<ValueHandle> valueHandles, fixedHandles;
  valueHandles.reserve(values.size());
  for (std::size_t p = 0; p < network->points.size(); ++p) {
    const SurveyPoint& point = network->points[p];
    for (int axis = 0; axis < point.CoordinateCount(); ++axis) {
      ZR::VOValue& value = Coordinate(p, axis);
      uint64 id = value.GetId();
      RegisterVObject(id, &value);
      valueHandles.push_back(HandleOf(value));
      if (point.fixed[axis]) {
        fixedHandles.push_back(HandleOf(value));
      } else {
        unknowns.push_back(&value);
        unknownRefs.push_back(UnknownRef{false, p, axis});
        correctionScales.push_back(1.0);
      }
    }
    if (network->datumFree && point.kind == PointKind::Spatial) {
      model.points.insert(NetworkPoint{HandleOf(Coordinate(p, 0)), HandleOf(Coordinate(p, 1)),
                                       HandleOf(Coordinate(p, 2))});
    }
  }
  std::vector<double> sights = LongestSights(*network);
  for (std::size_t set = 0; set < orientations.size(); ++set) {
    ZR::VOValue& value = Orientation(set);
    uint64 id = value.GetId();
    RegisterVObject(id, &value);
    valueHandles.push_back(HandleOf(value));
    unknowns.push_back(&value);
    unknownRefs.push_back(UnknownRef{true, set, 0});
    correctionScales.push_back(sights[set]);
  }
  InsertSorted(std::move(valueHandles), model.values);
  InsertSorted(std::move(fixedHandles), model.fixedValues);
}

ValueHandle ModelObjects::Handle(std::size_t point, int axis) {
  return HandleOf(Coordinate(point, axis));
}

NetworkObservation ModelObjects::MakeObservation(std::size_t index) {
  const SurveyObservation& o = network->observations[index];
  const double ih = o.instrumentHeight, th = o.targetHeight;
  switch (o.type) {
    case ObservationType::Distance:
      if (ih == 0.0 && th == 0.0) break;
      return NetworkObservation(
          o.type,
          SlopeDistance{{Handle(o.from, 0), Handle(o.from, 1), Handle(o.from, 2)},
                        {Handle(o.to, 0), Handle(o.to, 1), Handle(o.to, 2)},
                        ih,
                        th},
          o.observed, o.sigma);
    case ObservationType::HorizontalDistance:
      return NetworkObservation(o.type,
                                HorizontalDistance{{Handle(o.from, 0), Handle(o.from, 1)},
                                                   {Handle(o.to, 0), Handle(o.to, 1)}},
                                o.observed, o.sigma);
    case ObservationType::Direction:
    case ObservationType::Azimuth: {
      Bearing bearing{
          {Handle(o.from, 0), Handle(o.from, 1)}, {Handle(o.to, 0), Handle(o.to, 1)}, {}};
      if (o.type == ObservationType::Direction) bearing.orientation = HandleOf(Orientation(o.set));
      return NetworkObservation(o.type, bearing, o.observed, o.sigma);
    }
    case ObservationType::Angle:
      return NetworkObservation(o.type,
                                HorizontalAngle{{Handle(o.at, 0), Handle(o.at, 1)},
                                                {Handle(o.from, 0), Handle(o.from, 1)},
                                                {Handle(o.to, 0), Handle(o.to, 1)}},
                                o.observed, o.sigma);
    case ObservationType::Zenith:
      return NetworkObservation(
          o.type,
          ZenithAngle{{Handle(o.from, 0), Handle(o.from, 1), Handle(o.from, 2)},
                      {Handle(o.to, 0), Handle(o.to, 1), Handle(o.to, 2)},
                      ih,
                      th},
          o.observed, o.sigma);
    case ObservationType::VectorX:
    case ObservationType::VectorY:
    case ObservationType::VectorZ: {
      if (o.covariance < 0) break;
      // Whitened with W = L⁻¹: the three rows become uncorrelated with unit variance.
      double inverse[3][3];
      InverseCholeskyFactor(network->baselineCovariances[o.covariance].upper, inverse);
      WhitenedBaseline whitened;
      whitened.component = o.axis;
      double observed = 0.0;
      for (int m = 0; m < 3; ++m) {
        whitened.from[m] = Handle(o.from, m);
        whitened.to[m] = Handle(o.to, m);
        whitened.row[m] = inverse[o.axis][m];
      }
      std::size_t first = index - static_cast<std::size_t>(o.axis);
      for (int m = 0; m <= o.axis; ++m)
        observed += inverse[o.axis][m] * network->observations[first + m].observed;
      return NetworkObservation(o.type, whitened, observed, 1.0);
    }
    default:
      break;
  }
  // The first edition's types, built exactly as they always were.
  ValueHandle from[3];
  ValueHandle to[3];
  if (o.type == ObservationType::Distance) {
    for (int axis = 0; axis < 3; ++axis) {
      from[axis] = Handle(o.from, axis);
      to[axis] = Handle(o.to, axis);
    }
  } else {
    from[0] = Handle(o.from, ObservedCoordinate(o, network->points[o.from].kind));
    to[0] = Handle(o.to, ObservedCoordinate(o, network->points[o.to].kind));
  }
  return NetworkObservation(o.type, from, to, o.observed, o.sigma);
}

void ModelObjects::CreateObservations() {
  observations.reserve(network->observations.size());
  for (std::size_t i = 0; i < network->observations.size(); ++i)
    observations.push_back(MakeObservation(i));
}

LinearModel ModelObjects::Linearise() const {
  // The unknown of every value object, by its place in `values`: every handle of the
  // observations points into that array (HandleOf), so the pointer finds it without a search.
  constexpr std::size_t notUnknown = static_cast<std::size_t>(-1);
  std::vector<std::size_t> unknownOf(values.size(), notUnknown);
  for (std::size_t u = 0; u < unknowns.size(); ++u)
    unknownOf[static_cast<std::size_t>(unknowns[u] - values.data())] = u;
  auto unknownOfHandle = [&](const ValueHandle& handle) {
    const std::less<const ZR::VOValue*> before;
    const ZR::VOValue* object = handle.object;
    if (before(object, values.data()) || !before(object, values.data() + values.size()))
      return notUnknown;
    return unknownOf[static_cast<std::size_t>(object - values.data())];
  };
  LinearModel linear;
  linear.unknownCount = unknowns.size();
  linear.rows.reserve(observations.size());
  linear.groups.reserve(observations.size());
  std::map<ValueHandle, double> partials;
  for (std::size_t i = 0; i < observations.size(); ++i) {
    const SurveyObservation& source = network->observations[i];
    partials.clear();
    if (source.covariance >= 0) {
      // The baseline in its own components: ±1 on one coordinate, correlated through C.
      ModelObjects& self = const_cast<ModelObjects&>(*this);
      partials[self.Handle(source.to, source.axis)] = 1.0;
      partials[self.Handle(source.from, source.axis)] = -1.0;
    } else {
      // GetPartials reads the current values only; the objects are not changed.
      const_cast<NetworkObservation&>(observations[i]).GetPartials(partials);
    }
    DesignRow& row = linear.rows.emplace_back();
    row.reserve(partials.size());
    for (const auto& [handle, partial] : partials) {
      const std::size_t unknown = unknownOfHandle(handle);
      if (unknown != notUnknown) row.push_back(DesignEntry{unknown, partial});
    }
    if (source.covariance >= 0 && source.axis != 0) continue;
    ObservationGroup& group = linear.groups.emplace_back();
    group.first = i;
    if (source.covariance < 0) {
      group.covariance[0][0] = observations[i].Sigma() * observations[i].Sigma();
      continue;
    }
    const double(&upper)[6] = network->baselineCovariances[source.covariance].upper;
    const int position[3][3] = {{0, 1, 2}, {1, 3, 4}, {2, 4, 5}};
    group.size = 3;
    for (int r = 0; r < 3; ++r) {
      for (int c = 0; c < 3; ++c)
        group.covariance[r][c] = upper[position[r][c]];
    }
  }
  return linear;
}

double ModelObjects::AdjustedValue(std::size_t index) const {
  const SurveyObservation& source = network->observations[index];
  if (source.covariance >= 0) {
    return Coordinate(source.to, source.axis).Value - Coordinate(source.from, source.axis).Value;
  }
  const NetworkObservation& observation = observations[index];
  if (IsAngular(source.type)) return source.observed - observation.Difference();
  return observation.Computed();
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
