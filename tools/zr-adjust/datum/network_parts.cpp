#include "tools/zr-adjust/datum/network_parts.h"

#include <numeric>

namespace zradjust {
namespace {

std::size_t Root(std::vector<std::size_t>& parent, std::size_t p) {
  while (parent[p] != p) {
    parent[p] = parent[parent[p]];
    p = parent[p];
  }
  return p;
}

}  // namespace

std::vector<std::size_t> ObservationPoints(const SurveyObservation& observation) {
  switch (observation.type) {
    case ObservationType::Coordinate:
      return {observation.from};
    case ObservationType::Angle:
      return {observation.at, observation.from, observation.to};
    default:
      return {observation.from, observation.to};
  }
}

std::vector<NetworkPart> ConnectedParts(const Network& network) {
  std::size_t count = network.points.size();
  std::vector<std::size_t> parent(count);
  std::iota(parent.begin(), parent.end(), 0);
  std::vector<bool> touched(count, false);
  for (const SurveyObservation& observation : network.observations) {
    std::vector<std::size_t> points = ObservationPoints(observation);
    for (std::size_t p : points) {
      touched[p] = true;
      parent[Root(parent, p)] = Root(parent, points[0]);
    }
  }
  std::vector<NetworkPart> parts;
  std::vector<std::size_t> partOfRoot(count, count);
  for (std::size_t p = 0; p < count; ++p) {
    if (!touched[p]) continue;
    std::size_t root = Root(parent, p);
    if (partOfRoot[root] == count) {
      partOfRoot[root] = parts.size();
      parts.emplace_back();
    }
    parts[partOfRoot[root]].points.push_back(p);
  }
  for (std::size_t s = 0; s < network.directionSets.size(); ++s) {
    std::size_t station = network.directionSets[s].station;
    if (station < count && touched[station])
      parts[partOfRoot[Root(parent, station)]].sets.push_back(s);
  }
  return parts;
}

}  // namespace zradjust
