#include "tools/zr-adjust/datum/defect_motions.h"

#include <algorithm>

namespace zradjust {
namespace {

// The displacement of one point; index 0 of a height point is its H.
std::array<double, 3> PointDisplacement(PointKind kind, const std::array<double, 3>& c,
                                        const MotionCentre& centre, Motion motion) {
  std::array<double, 3> d = {0.0, 0.0, 0.0};
  if (kind == PointKind::Height) {
    if (motion == Motion::TranslationZ) d[0] = 1.0;
    return d;
  }
  double x = c[0] - centre.x, y = c[1] - centre.y;
  double z = kind == PointKind::Spatial ? c[2] - centre.z : 0.0;
  switch (motion) {
    case Motion::TranslationX:
      d[0] = 1.0;
      break;
    case Motion::TranslationY:
      d[1] = 1.0;
      break;
    case Motion::TranslationZ:
      d[2] = 1.0;
      break;
    case Motion::RotationX:
      d[1] = -z, d[2] = y;
      break;
    case Motion::RotationY:
      d[2] = -x, d[0] = z;
      break;
    case Motion::RotationZ:
      d[0] = -y, d[1] = x;
      break;
    case Motion::Scale:
      d[0] = x, d[1] = y, d[2] = z;
      break;
  }
  if (kind == PointKind::Plan) d[2] = 0.0;
  return d;
}

}  // namespace

MotionCentre CentreOf(const Network& network, const NetworkPart& part,
                      const PointCoordinates& coordinates) {
  MotionCentre centre;
  double planCount = 0.0, spatialCount = 0.0;
  for (std::size_t p : part.points) {
    PointKind kind = network.points[p].kind;
    if (kind == PointKind::Height) continue;
    centre.x += coordinates[p][0];
    centre.y += coordinates[p][1];
    planCount += 1.0;
    if (kind == PointKind::Spatial) {
      centre.z += coordinates[p][2];
      spatialCount += 1.0;
    }
  }
  if (planCount > 0.0) centre.x /= planCount, centre.y /= planCount;
  if (spatialCount > 0.0) centre.z /= spatialCount;
  return centre;
}

const char* MotionParameter(Motion motion) {
  static const char* const names[motionKindCount] = {"tx", "ty", "tz", "rx", "ry", "rz", "scale"};
  return names[static_cast<int>(motion)];
}

const char* MotionWords(Motion motion) {
  static const char* const words[motionKindCount] = {"translation in X",
                                                     "translation in Y",
                                                     "translation in Z",
                                                     "rotation about X",
                                                     "rotation about Y",
                                                     "rotation about Z",
                                                     "scale"};
  return words[static_cast<int>(motion)];
}

PointCoordinates ApproximateCoordinates(const Network& network) {
  PointCoordinates coordinates;
  for (const SurveyPoint& point : network.points)
    coordinates.push_back({point.approximate[0], point.approximate[1], point.approximate[2]});
  return coordinates;
}

std::vector<Motion> CandidateMotions(const Network& network, const NetworkPart& part) {
  bool plan = false, height = false, allSpatial = !part.points.empty();
  for (std::size_t p : part.points) {
    PointKind kind = network.points[p].kind;
    plan = plan || kind != PointKind::Height;
    height = height || kind != PointKind::Plan;
    allSpatial = allSpatial && kind == PointKind::Spatial;
  }
  std::vector<Motion> motions;
  if (plan) motions.insert(motions.end(), {Motion::TranslationX, Motion::TranslationY});
  if (height) motions.push_back(Motion::TranslationZ);
  if (allSpatial) motions.insert(motions.end(), {Motion::RotationX, Motion::RotationY});
  if (plan) motions.insert(motions.end(), {Motion::RotationZ, Motion::Scale});
  return motions;
}

PartDisplacement Displacement(const Network& network, const NetworkPart& part,
                              const PointCoordinates& coordinates, const MotionCentre& centre,
                              Motion motion) {
  PartDisplacement displacement;
  for (std::size_t p : part.points) {
    displacement.points.push_back(
        PointDisplacement(network.points[p].kind, coordinates[p], centre, motion));
  }
  // Bearings are clockwise from north: turning the points counterclockwise by one radian turns
  // every bearing, and so the orientation of every set, by minus one radian.
  displacement.orientations.assign(part.sets.size(), motion == Motion::RotationZ ? -1.0 : 0.0);
  return displacement;
}

UnknownMap MapUnknowns(const Network& network, const std::vector<UnknownRef>& unknowns) {
  UnknownMap map;
  map.pointUnknown.assign(network.points.size(),
                          {UnknownMap::none, UnknownMap::none, UnknownMap::none});
  map.setUnknown.assign(network.directionSets.size(), UnknownMap::none);
  for (std::size_t u = 0; u < unknowns.size(); ++u) {
    const UnknownRef& ref = unknowns[u];
    if (ref.orientation) {
      map.setUnknown[ref.index] = u;
    } else {
      map.pointUnknown[ref.index][ref.axis] = u;
    }
  }
  return map;
}

std::vector<std::size_t> PartUnknowns(const Network& network, const NetworkPart& part,
                                      const UnknownMap& map) {
  std::vector<std::size_t> unknowns;
  for (std::size_t p : part.points)
    for (int axis = 0; axis < network.points[p].CoordinateCount(); ++axis)
      if (map.pointUnknown[p][axis] != UnknownMap::none)
        unknowns.push_back(map.pointUnknown[p][axis]);
  for (std::size_t s : part.sets)
    if (map.setUnknown[s] != UnknownMap::none) unknowns.push_back(map.setUnknown[s]);
  std::sort(unknowns.begin(), unknowns.end());
  return unknowns;
}

std::vector<double> OverPartUnknowns(const NetworkPart& part, const PartDisplacement& displacement,
                                     const UnknownMap& map,
                                     const std::vector<std::size_t>& partUnknowns) {
  std::vector<double> vector(partUnknowns.size(), 0.0);
  auto place = [&](std::size_t u, double value) {
    if (u == UnknownMap::none) return;
    auto found = std::lower_bound(partUnknowns.begin(), partUnknowns.end(), u);
    if (found != partUnknowns.end() && *found == u) vector[found - partUnknowns.begin()] = value;
  };
  for (std::size_t k = 0; k < part.points.size(); ++k)
    for (int axis = 0; axis < 3; ++axis)
      place(map.pointUnknown[part.points[k]][axis], displacement.points[k][axis]);
  for (std::size_t k = 0; k < part.sets.size(); ++k)
    place(map.setUnknown[part.sets[k]], displacement.orientations[k]);
  return vector;
}

std::vector<double> OverUnknowns(const NetworkPart& part, const PartDisplacement& displacement,
                                 const UnknownMap& map, std::size_t unknownCount) {
  std::vector<double> vector(unknownCount, 0.0);
  for (std::size_t k = 0; k < part.points.size(); ++k) {
    for (int axis = 0; axis < 3; ++axis) {
      std::size_t u = map.pointUnknown[part.points[k]][axis];
      if (u != UnknownMap::none) vector[u] = displacement.points[k][axis];
    }
  }
  for (std::size_t k = 0; k < part.sets.size(); ++k) {
    std::size_t u = map.setUnknown[part.sets[k]];
    if (u != UnknownMap::none) vector[u] = displacement.orientations[k];
  }
  return vector;
}

}  // namespace zradjust
