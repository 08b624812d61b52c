#include "bench/network_generator.h"

#include <cmath>
#include <cstdio>
#include <numbers>
#include <ostream>
#include <random>
#include <sstream>

namespace {

// The standard distributions may differ between library implementations; these transforms
// do not, so a seed names the same network everywhere.
class NoiseSource {
 public:
  explicit NoiseSource(std::uint64_t seed) : engine(seed) {}

  // Uniform in (0, 1]: 53 random bits, shifted off zero so that the logarithm below is finite.
  double UniformOpenZero() { return (static_cast<double>(engine() >> 11) + 1.0) * 0x1.0p-53; }

  // Uniform in [-1, 1).
  double Symmetric() { return static_cast<double>(engine() >> 11) * 0x1.0p-52 - 1.0; }

  // Standard normal by Box-Muller; the second value of each pair is dropped to keep every
  // draw independent of the order in which callers ask.
  double Normal() {
    const double radius = std::sqrt(-2.0 * std::log(UniformOpenZero()));
    const double angle = 2.0 * std::numbers::pi * UniformOpenZero();
    return radius * std::cos(angle);
  }

 private:
  std::mt19937_64 engine;
};

double Distance(const double* from, const double* to) {
  const double dx = to[0] - from[0];
  const double dy = to[1] - from[1];
  const double dz = to[2] - from[2];
  return std::sqrt(dx * dx + dy * dy + dz * dz);
}

// Grid positions and heights of the true coordinates, one point after the other.
void PlaceTruePoints(const NetworkGeneratorOptions& options, std::uint32_t columns,
                     NoiseSource& noise, std::vector<GeneratedPoint>& points) {
  // The undulation has wavelengths of a few hundred metres, like gentle terrain.
  const double waveX = 2.0 * std::numbers::pi / (17.0 * options.spacing);
  const double waveY = 2.0 * std::numbers::pi / (13.0 * options.spacing);
  const double origin = 1000.0;
  const double baseHeight = 250.0;
  for (std::uint32_t index = 0; index < points.size(); ++index) {
    const std::uint32_t row = index / columns;
    const std::uint32_t column = index % columns;
    double* truth = points[index].trueCoordinates;
    truth[0] = origin + options.spacing * column + options.horizontalJitter * noise.Symmetric();
    truth[1] = origin + options.spacing * row + options.horizontalJitter * noise.Symmetric();
    truth[2] = baseHeight +
               options.heightUndulation * std::sin(waveX * truth[0]) * std::cos(waveY * truth[1]) +
               options.heightNoise * noise.Symmetric();
  }
}

void AddDistance(const NetworkGeneratorOptions& options, NoiseSource& noise,
                 GeneratedNetwork& network, std::uint32_t from, std::uint32_t to) {
  const double trueDistance =
      Distance(network.points[from].trueCoordinates, network.points[to].trueCoordinates);
  GeneratedObservation observation{};
  observation.kind = GeneratedObservation::Kind::Distance;
  observation.from = from;
  observation.to = to;
  observation.sigma =
      options.distanceSigmaConstant + options.distanceSigmaPpm * 1e-6 * trueDistance;
  observation.observed[0] = trueDistance + observation.sigma * noise.Normal();
  network.observations.push_back(observation);
}

void AddVector(const NetworkGeneratorOptions& options, NoiseSource& noise,
               GeneratedNetwork& network, std::uint32_t from, std::uint32_t to) {
  GeneratedObservation observation{};
  observation.kind = GeneratedObservation::Kind::Vector;
  observation.from = from;
  observation.to = to;
  observation.sigma = options.vectorSigma;
  for (int axis = 0; axis < 3; ++axis) {
    const double trueComponent =
        network.points[to].trueCoordinates[axis] - network.points[from].trueCoordinates[axis];
    observation.observed[axis] = trueComponent + observation.sigma * noise.Normal();
  }
  network.observations.push_back(observation);
}

}  // namespace

GeneratedNetwork GenerateNetwork(const NetworkGeneratorOptions& options) {
  GeneratedNetwork network;
  network.freeDatum = options.freeDatum;
  const std::uint32_t count = options.pointCount;
  if (count == 0) {
    return network;
  }
  const auto columns = static_cast<std::uint32_t>(std::ceil(std::sqrt(static_cast<double>(count))));
  network.points.resize(count);

  NoiseSource noise(options.seed);
  PlaceTruePoints(options, columns, noise, network.points);

  network.fixedPoint = 0;
  for (std::uint32_t index = 0; index < count; ++index) {
    GeneratedPoint& point = network.points[index];
    const bool exact = !options.freeDatum && index == network.fixedPoint;
    for (int axis = 0; axis < 3; ++axis) {
      point.approximate[axis] =
          point.trueCoordinates[axis] + (exact ? 0.0 : options.approximationSigma * noise.Normal());
    }
  }

  // East, north and north-east neighbours get a slope distance; east and north a baseline.
  for (std::uint32_t index = 0; index < count; ++index) {
    const std::uint32_t column = index % columns;
    const bool hasEast = column + 1 < columns && index + 1 < count;
    const bool hasNorth = index + columns < count;
    const bool hasNorthEast = column + 1 < columns && index + columns + 1 < count;
    if (hasEast) {
      AddDistance(options, noise, network, index, index + 1);
      AddVector(options, noise, network, index, index + 1);
    }
    if (hasNorth) {
      AddDistance(options, noise, network, index, index + columns);
      AddVector(options, noise, network, index, index + columns);
    }
    if (hasNorthEast) {
      AddDistance(options, noise, network, index, index + columns + 1);
    }
  }

  network.declarationOrder.resize(count);
  for (std::uint32_t index = 0; index < count; ++index) {
    network.declarationOrder[index] = index;
  }
  if (options.shuffleDeclarations) {
    // Fisher-Yates with the generator's own uniform draws, for the same reason as above.
    for (std::uint32_t remaining = count; remaining > 1; --remaining) {
      const auto pick = static_cast<std::uint32_t>(noise.UniformOpenZero() * remaining);
      std::swap(network.declarationOrder[remaining - 1],
                network.declarationOrder[pick < remaining ? pick : remaining - 1]);
    }
  }

  // Point numbers follow the declaration order, as a surveyor's numbering would.
  for (std::uint32_t position = 0; position < count; ++position) {
    network.points[network.declarationOrder[position]].name = "P" + std::to_string(position + 1);
  }
  return network;
}

void WriteNetworkFile(const GeneratedNetwork& network, std::ostream& out) {
  char line[256];
  std::snprintf(line, sizeof line, "# synthetic network: %zu points, %zu observation records\n",
                network.points.size(), network.observations.size());
  out << line;
  for (const std::uint32_t index : network.declarationOrder) {
    const GeneratedPoint& point = network.points[index];
    std::snprintf(line, sizeof line, "point %s %.4f %.4f %.4f\n", point.name.c_str(),
                  point.approximate[0], point.approximate[1], point.approximate[2]);
    out << line;
  }
  if (network.freeDatum) {
    out << "datum free\n";
  } else if (!network.points.empty()) {
    out << "fix " << network.points[network.fixedPoint].name << "\n";
  }
  for (const GeneratedObservation& observation : network.observations) {
    const char* from = network.points[observation.from].name.c_str();
    const char* to = network.points[observation.to].name.c_str();
    if (observation.kind == GeneratedObservation::Kind::Distance) {
      std::snprintf(line, sizeof line, "dist %s %s %.5f %.6f\n", from, to, observation.observed[0],
                    observation.sigma);
    } else {
      std::snprintf(line, sizeof line, "vector %s %s %.5f %.5f %.5f %.6f\n", from, to,
                    observation.observed[0], observation.observed[1], observation.observed[2],
                    observation.sigma);
    }
    out << line;
  }
}

std::string NetworkFileText(const GeneratedNetwork& network) {
  std::ostringstream text;
  WriteNetworkFile(network, text);
  return text.str();
}

std::uint32_t UnknownCount(const GeneratedNetwork& network) {
  const auto coordinates = static_cast<std::uint32_t>(3 * network.points.size());
  return network.freeDatum || network.points.empty() ? coordinates : coordinates - 3;
}

std::uint32_t ScalarObservationCount(const GeneratedNetwork& network) {
  std::uint32_t count = 0;
  for (const GeneratedObservation& observation : network.observations) {
    count += observation.kind == GeneratedObservation::Kind::Distance ? 1 : 3;
  }
  return count;
}
