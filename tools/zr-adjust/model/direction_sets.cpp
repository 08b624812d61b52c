#include "tools/zr-adjust/model/direction_sets.h"

#include <cmath>
#include <numbers>

#include "tools/zr-adjust/model/angular_observations.h"

namespace zradjust {
namespace {

struct Sight {
  double dx;
  double dy;
};

Sight SightOf(const Network& network, const SurveyObservation& direction) {
  const SurveyPoint& station = network.points[direction.from];
  const SurveyPoint& target = network.points[direction.to];
  return {target.approximate[0] - station.approximate[0],
          target.approximate[1] - station.approximate[1]};
}

}  // namespace

std::vector<double> ApproximateOrientations(const Network& network) {
  std::size_t setCount = network.directionSets.size();
  std::vector<double> first(setCount, 0.0), sum(setCount, 0.0);
  std::vector<int> count(setCount, 0);
  for (const SurveyObservation& observation : network.observations) {
    if (observation.type != ObservationType::Direction) continue;
    Sight sight = SightOf(network, observation);
    double orientation = BearingOf(sight.dx, sight.dy) - observation.observed;
    std::size_t set = observation.set;
    if (count[set] == 0) first[set] = orientation;
    // Relative to the first reading's orientation, so that 399.99 and 0.01 gon average to 0.
    sum[set] += WrapAngle(orientation - first[set]);
    ++count[set];
  }
  std::vector<double> orientations(setCount, 0.0);
  for (std::size_t set = 0; set < setCount; ++set) {
    if (count[set] == 0) continue;
    double mean = first[set] + sum[set] / count[set];
    mean = std::fmod(mean, 2.0 * std::numbers::pi);
    orientations[set] = mean < 0.0 ? mean + 2.0 * std::numbers::pi : mean;
  }
  return orientations;
}

std::vector<double> LongestSights(const Network& network) {
  std::vector<double> longest(network.directionSets.size(), 0.0);
  for (const SurveyObservation& observation : network.observations) {
    if (observation.type != ObservationType::Direction) continue;
    Sight sight = SightOf(network, observation);
    longest[observation.set] = std::max(longest[observation.set], std::hypot(sight.dx, sight.dy));
  }
  for (double& length : longest) {
    if (!(length > 0.0)) length = 1.0;
  }
  return longest;
}

}  // namespace zradjust
