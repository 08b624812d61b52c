#include "tools/zr-adjust/simulated_network.h"

#include <cmath>
#include <cstdio>
#include <random>

namespace zradjust {

SimulatedNetwork SimulateNetwork(unsigned seed, int controlCount, int newCount, bool freeDatum,
                                 double approximationError) {
  std::mt19937_64 random(seed);
  std::uniform_real_distribution<double> across(0.0, 300.0);
  std::uniform_real_distribution<double> up(95.0, 110.0);
  std::uniform_real_distribution<double> offset(-approximationError, approximationError);
  std::normal_distribution<double> noise(0.0, 1.0);
  SimulatedNetwork network;
  int count = controlCount + newCount;
  char line[256];
  for (int p = 0; p < count; ++p) {
    std::array<double, 3> truth = {across(random), across(random), up(random)};
    network.truth.push_back(truth);
    // Fixed pillars sit at their true place; every other point starts off it.
    bool fixed = !freeDatum && p < controlCount;
    double approximate[3];
    for (int axis = 0; axis < 3; ++axis) {
      approximate[axis] = truth[axis] + (fixed ? 0.0 : offset(random));
    }
    std::snprintf(line, sizeof line, "point P%02d %.17g %.17g %.17g\n", p, approximate[0],
                  approximate[1], approximate[2]);
    network.text += line;
  }
  if (freeDatum) network.text += "datum free\n";
  for (int p = 0; p < controlCount && !freeDatum; ++p) {
    std::snprintf(line, sizeof line, "fix P%02d\n", p);
    network.text += line;
  }
  const double distanceSigma = 0.001;
  const double vectorSigma = 0.003;
  const double levellingSigma = 0.0005;
  for (int a = 0; a < count; ++a) {
    for (int b = a + 1; b < count; ++b) {
      double dx = network.truth[b][0] - network.truth[a][0];
      double dy = network.truth[b][1] - network.truth[a][1];
      double dz = network.truth[b][2] - network.truth[a][2];
      double distance = std::sqrt(dx * dx + dy * dy + dz * dz);
      if (distance > 180.0) continue;
      std::snprintf(line, sizeof line, "dist P%02d P%02d %.6f %g\n", a, b,
                    distance + distanceSigma * noise(random), distanceSigma);
      network.text += line;
    }
  }
  for (int b = 1; b < count; ++b) {
    double d[3];
    for (int axis = 0; axis < 3; ++axis) {
      d[axis] = network.truth[b][axis] - network.truth[0][axis] + vectorSigma * noise(random);
    }
    std::snprintf(line, sizeof line, "vector P00 P%02d %.6f %.6f %.6f %g\n", b, d[0], d[1], d[2],
                  vectorSigma);
    network.text += line;
  }
  for (int b = 1; b < count; ++b) {
    double difference = network.truth[b][2] - network.truth[b - 1][2];
    std::snprintf(line, sizeof line, "level P%02d P%02d %.6f %g\n", b - 1, b,
                  difference + levellingSigma * noise(random), levellingSigma);
    network.text += line;
  }
  return network;
}

}  // namespace zradjust
