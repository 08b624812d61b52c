#include "bench/bench_support.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <sstream>
#include <string>

#include "sparse/sparse_matrix_writers.h"

namespace {

// Closed forms, not a copy of the loops: in a band profile of half-width w (0: a diagonal,
// n − 1: full), a row i ≤ w costs i(i+1)/2, a row below w(w−1)/2 for L plus w for its pivot.
TEST(CompactFactorizeMultiplyAdds, MatchesClosedForms) {
  const std::uint32_t n = 30;
  for (std::uint32_t w : {0u, 5u, n - 1}) {
    std::vector<std::uint32_t> positions;  // one-based diagonal positions
    std::uint64_t expected = 0;
    for (std::uint32_t i = 0, position = 0; i < n; ++i) {
      positions.push_back(position += std::min(i, w) + 1);
      expected += i <= w ? i * (i + 1) / 2 : w * (w - 1) / 2 + w;
    }
    EXPECT_EQ(CompactFactorizeMultiplyAdds(n, positions.data()), expected) << w;
  }
  // First columns 0, 1, 0: row 2's element in column 1 meets nothing in row 1 and costs nothing.
  const std::uint32_t skyline[] = {1, 2, 5};
  EXPECT_EQ(CompactFactorizeMultiplyAdds(3, skyline), 2u);
}

// An arrow matrix has a full profile when the coupled unknown comes first, 2n − 1 slots last.
TEST(CompactProfileSlots, FollowsTheRenumbering) {
  const std::uint32_t n = 12;
  SparseMatrix arrow(n, n);
  std::vector<std::uint32_t> reversed(n);
  for (std::uint32_t k = 0; k < n; ++k) {  // only the pattern counts, not the values
    SetElement(arrow, k, k, 4.0);
    SetElement(arrow, 0, k, 1.0);
    SetElement(arrow, k, 0, 1.0);
    reversed[k] = n - 1 - k;
  }
  EXPECT_EQ(CompactProfileSlots(arrow), n * (n + 1) / 2);
  EXPECT_EQ(CompactProfileSlots(arrow, reversed), 2 * n - 1);
}

// The peers must read the numbers the compact form reads: N(i, j) with j ≤ i.
TEST(ToLowerColumns, TakesTheLowerTriangleByColumns) {
  SparseMatrix N(3, 3);
  SetElement(N, 0, 0, 4.0);
  SetElement(N, 0, 2, 99.0);  // upper triangle, must not be read
  SetElement(N, 1, 1, 5.0);
  SetElement(N, 2, 0, 1.0);
  SetElement(N, 2, 1, 2.0);
  SetElement(N, 2, 2, 6.0);
  const LowerColumns lower = ToLowerColumns(N);
  EXPECT_EQ(lower.columnStart, (std::vector<std::int32_t>{0, 2, 4, 5}));
  EXPECT_EQ(lower.rowIndex, (std::vector<std::int32_t>{0, 2, 1, 2, 2}));
  EXPECT_EQ(lower.values, (std::vector<double>{4.0, 1.0, 5.0, 2.0, 6.0}));
}

// Records of a network file by their first word.
std::map<std::string, std::uint32_t> RecordCounts(const std::string& text) {
  std::map<std::string, std::uint32_t> counts;
  std::istringstream lines(text);
  std::string line;
  while (std::getline(lines, line)) {
    std::istringstream words(line);
    std::string first;
    if (words >> first && first[0] != '#') ++counts[first];
  }
  return counts;
}

// Its records add up, observations scatter like normal draws of their sigma, approximations
// like theirs. (That zr-adjust reads the file is the end-to-end smoke run's business.)
TEST(GenerateNetwork, IsReproducibleReadsBackAndHasTheStatedNoise) {
  for (std::uint32_t points : {1u, 2u, 400u}) {
    const NetworkGeneratorOptions options{
        .pointCount = points, .seed = 5, .freeDatum = points == 2};
    const GeneratedNetwork network = GenerateNetwork(options);
    EXPECT_EQ(NetworkFileText(network), NetworkFileText(GenerateNetwork(options)));
    std::map<std::string, std::uint32_t> records = RecordCounts(NetworkFileText(network));
    EXPECT_EQ(records["point"], points);
    EXPECT_EQ(records["dist"] + 3 * records["vector"], ScalarObservationCount(network));
    EXPECT_EQ(records["fix"], options.freeDatum ? 0u : 1u);
    EXPECT_EQ(records["datum"], options.freeDatum ? 1u : 0u);
    EXPECT_EQ(UnknownCount(network), 3 * points - (options.freeDatum ? 0 : 3)) << points;
    for (const GeneratedPoint& point : network.points) {
      for (int axis = 0; axis < 3; ++axis) {
        EXPECT_LT(std::fabs(point.approximate[axis] - point.trueCoordinates[axis]),
                  6 * options.approximationSigma);
      }
    }
  }
  double sumOfSquares = 0.0, count = 0.0;  // of the 400-point network's normalised errors
  const GeneratedNetwork network = GenerateNetwork({.pointCount = 400, .seed = 5});
  for (const GeneratedObservation& observation : network.observations) {
    const double* from = network.points[observation.from].trueCoordinates;
    const double* to = network.points[observation.to].trueCoordinates;
    const bool distance = observation.kind == GeneratedObservation::Kind::Distance;
    const double length = std::hypot(to[0] - from[0], to[1] - from[1], to[2] - from[2]);
    EXPECT_TRUE(!distance || (length > 20.0 && length < 100.0)) << length;
    for (int axis = 0; axis < (distance ? 1 : 3); ++axis, ++count) {
      const double error = observation.observed[axis] - (distance ? length : to[axis] - from[axis]);
      sumOfSquares += error * error / (observation.sigma * observation.sigma);
    }
  }
  EXPECT_NEAR(sumOfSquares / count, 1.0, 0.1);  // over a few thousand draws
  EXPECT_NE(NetworkFileText(network),
            NetworkFileText(GenerateNetwork({.pointCount = 400, .seed = 6})));
}

}  // namespace
