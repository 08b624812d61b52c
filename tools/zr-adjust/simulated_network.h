#pragma once
// Test support: a 3D monitoring-style network with known true coordinates and observations
// simulated from them with normal noise of their stated standard deviation, as network-file
// text. Reproducible from the seed.

#include <array>
#include <string>
#include <vector>

namespace zradjust {

struct SimulatedNetwork {
  std::string text;
  // True coordinates in the order the points are declared.
  std::vector<std::array<double, 3>> truth;
};

// controlCount fixed pillars (none with freeDatum, which writes `datum free` instead) and
// newCount new points; approximate coordinates are the truth plus up to approximationError
// metres in each coordinate. Observations: slope distances between near points, GNSS vectors
// from the first pillar, and levelling along the points.
SimulatedNetwork SimulateNetwork(unsigned seed, int controlCount, int newCount, bool freeDatum,
                                 double approximationError);

}  // namespace zradjust
