#pragma once
// Synthetic three-dimensional survey networks for the benchmarks and for zr-network-gen.
//
// A network is a roughly square grid of points about 50 m apart, jittered horizontally by a
// few metres and with a few metres of smooth height variation. Neighbours are joined by slope
// distances (to the east, north and north-east neighbour) and by GNSS baselines (to the east
// and north neighbour). Observed values are the true values plus seeded normal noise of the
// observation's sigma; the approximate coordinates written for the unknown points are the true
// coordinates plus a few centimetres of seeded noise. The datum is either one fixed point (the
// first generated point, written at its true position) or a free network.
//
// Everything depends on the options alone: the same options give the same file, byte for byte.
// The random sequence is std::mt19937_64, which the language fixes, with the generator's own
// uniform and normal transforms instead of the standard distributions (whose results differ
// between standard libraries); only a math library that rounds log, sin or cos differently
// could change a last digit.

#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

struct NetworkGeneratorOptions {
  std::uint32_t pointCount = 1000;
  std::uint64_t seed = 1;
  // true: "datum free"; false: the first generated point is held fixed.
  bool freeDatum = false;
  // true: points are declared in a seeded random order, as point numbers of a real survey
  // carry no geometric order; false: row by row across the grid.
  bool shuffleDeclarations = true;
  double spacing = 50.0;
  // Largest horizontal displacement of a point from its grid node, metres.
  double horizontalJitter = 8.0;
  // Amplitude of the smooth height undulation and of the random height noise, metres.
  double heightUndulation = 3.0;
  double heightNoise = 1.0;
  // Standard deviation of the approximate coordinates around the truth, metres.
  double approximationSigma = 0.03;
  // Slope distance sigma: constant part (metres) plus a part proportional to the distance.
  double distanceSigmaConstant = 0.001;
  double distanceSigmaPpm = 1.0;
  // Sigma of each GNSS baseline component, metres.
  double vectorSigma = 0.003;
};

struct GeneratedPoint {
  std::string name;
  double trueCoordinates[3];
  // What the network file states as the approximate coordinates.
  double approximate[3];
};

struct GeneratedObservation {
  enum class Kind { Distance, Vector };
  Kind kind;
  // Indices into GeneratedNetwork::points.
  std::uint32_t from;
  std::uint32_t to;
  // Distance: observed[0]; vector: the observed DX, DY, DZ.
  double observed[3];
  double sigma;
};

struct GeneratedNetwork {
  // In generation (grid) order; the index is the point's grid position, row by row.
  std::vector<GeneratedPoint> points;
  std::vector<GeneratedObservation> observations;
  // Order in which the points are declared in the file: indices into points.
  std::vector<std::uint32_t> declarationOrder;
  bool freeDatum = false;
  // Index of the fixed point; meaningful only when freeDatum is false.
  std::uint32_t fixedPoint = 0;
};

// Builds the network that options describe. A pointCount of 0 gives an empty network,
// 1 a single point without observations.
GeneratedNetwork GenerateNetwork(const NetworkGeneratorOptions& options);

// Writes network in the network-file format of zr-adjust: points in declaration order, the
// datum record, then the observations in generation order.
void WriteNetworkFile(const GeneratedNetwork& network, std::ostream& out);

// The whole file as one string (WriteNetworkFile into a buffer).
std::string NetworkFileText(const GeneratedNetwork& network);

// Number of unknown coordinates of the network (3 per point, less the fixed point's 3).
std::uint32_t UnknownCount(const GeneratedNetwork& network);

// Number of scalar observations (a distance counts one, a baseline three).
std::uint32_t ScalarObservationCount(const GeneratedNetwork& network);
