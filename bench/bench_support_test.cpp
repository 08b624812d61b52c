#include "bench/bench_support.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "bench/network_generator.h"
#include "tools/zr-adjust/network_reader.h"

namespace {

// One-based diagonal positions of a profile given by each row's first column.
std::vector<std::uint32_t> PositionsOf(const std::vector<std::uint32_t>& firstColumns) {
  std::vector<std::uint32_t> positions;
  std::uint32_t position = 0;
  for (std::uint32_t i = 0; i < firstColumns.size(); ++i) {
    position += i - firstColumns[i] + 1;
    positions.push_back(position);
  }
  return positions;
}

// The count must match closed forms derived from the loops' bounds, not a copy of the loops:
// a full n×n profile costs Σ_{i<n} i(i+1)/2 = (n−1)n(n+1)/6; a band row of half-width w far
// from the top costs w(w−1)/2 for its L elements plus w for its pivot; a diagonal nothing.
TEST(CompactFactorizeMultiplyAdds, MatchesClosedForms) {
  struct Case {
    const char* name;
    std::vector<std::uint32_t> firstColumns;
    std::uint64_t expected;
  };
  std::vector<std::uint32_t> full(40, 0);
  std::vector<std::uint32_t> diagonal;
  std::vector<std::uint32_t> band;
  const std::uint32_t width = 5;
  std::uint64_t bandExpected = 0;
  for (std::uint32_t i = 0; i < 30; ++i) {
    diagonal.push_back(i);
    band.push_back(i > width ? i - width : 0);
    // Rows up to w are full rows of length i + 1.
    const std::uint64_t w = std::min(i, width);
    bandExpected += i <= width ? static_cast<std::uint64_t>(i) * (i + 1) / 2 : w * (w - 1) / 2 + w;
  }
  const Case cases[] = {
      {"full", full, 39ull * 40 * 41 / 6},
      {"diagonal", diagonal, 0},
      {"band", band, bandExpected},
      {"empty", {}, 0},
  };
  for (const Case& c : cases) {
    const std::vector<std::uint32_t> positions = PositionsOf(c.firstColumns);
    EXPECT_EQ(CompactFactorizeMultiplyAdds(static_cast<std::uint32_t>(positions.size()),
                                           positions.data()),
              c.expected)
        << c.name;
  }
}

// An arrow matrix (row 0 coupled to every unknown) has a full profile when the coupled unknown
// comes first and a profile of 2n − 1 slots when it comes last.
TEST(CompactProfileSlots, FollowsTheRenumbering) {
  const std::uint32_t n = 12;
  SparseMatrix arrow(n, n);
  for (std::uint32_t k = 0; k < n; ++k) {
    SetElement(arrow, k, k, 4.0);
    if (k > 0) {
      SetElement(arrow, 0, k, 1.0);
      SetElement(arrow, k, 0, 1.0);
    }
  }
  std::vector<std::uint32_t> identity(n);
  std::vector<std::uint32_t> reversed(n);
  for (std::uint32_t k = 0; k < n; ++k) {
    identity[k] = k;
    reversed[k] = n - 1 - k;
  }
  EXPECT_EQ(CompactProfileSlots(arrow), std::uint64_t{n} * (n + 1) / 2);
  EXPECT_EQ(CompactProfileSlots(arrow, identity), std::uint64_t{n} * (n + 1) / 2);
  EXPECT_EQ(CompactProfileSlots(arrow, reversed), std::uint64_t{2} * n - 1);
}

// The peers must read the same numbers as the compact form: N(i, j) with j ≤ i, even where the
// upper triangle holds something else.
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

TEST(GenerateNetwork, IsReproducibleAndReadsBack) {
  NetworkGeneratorOptions options;
  options.pointCount = 37;
  options.seed = 11;
  const std::string text = NetworkFileText(GenerateNetwork(options));
  EXPECT_EQ(text, NetworkFileText(GenerateNetwork(options)));
  options.seed = 12;
  EXPECT_NE(text, NetworkFileText(GenerateNetwork(options)));

  struct Case {
    std::uint32_t points;
    bool freeDatum;
  };
  for (const Case c : {Case{1, false}, Case{2, true}, Case{37, false}, Case{50, true}}) {
    options.pointCount = c.points;
    options.freeDatum = c.freeDatum;
    const GeneratedNetwork network = GenerateNetwork(options);
    const zradjust::ReadResult read = zradjust::ReadNetwork(NetworkFileText(network), "gen");
    ASSERT_TRUE(read.Ok()) << c.points << ": " << read.errors.front();
    EXPECT_EQ(read.network.points.size(), c.points);
    EXPECT_EQ(read.network.datumFree, c.freeDatum);
    EXPECT_EQ(read.network.observations.size(), ScalarObservationCount(network));
    std::uint32_t unknowns = 0;
    for (const zradjust::SurveyPoint& point : read.network.points) {
      for (int axis = 0; axis < 3; ++axis) {
        unknowns += point.fixed[axis] ? 0 : 1;
      }
    }
    EXPECT_EQ(unknowns, UnknownCount(network)) << c.points;
  }
}

// Noise of the stated size: approximate coordinates a few centimetres off, observations within
// a few sigma of the truth, and every point joined to the network.
TEST(GenerateNetwork, NoiseMatchesTheStatedSigmas) {
  NetworkGeneratorOptions options;
  options.pointCount = 400;
  options.seed = 5;
  const GeneratedNetwork network = GenerateNetwork(options);
  std::vector<bool> joined(network.points.size(), false);
  double squaredNormalised = 0.0;
  std::uint32_t scalarCount = 0;
  for (const GeneratedObservation& observation : network.observations) {
    joined[observation.from] = joined[observation.to] = true;
    const double* from = network.points[observation.from].trueCoordinates;
    const double* to = network.points[observation.to].trueCoordinates;
    if (observation.kind == GeneratedObservation::Kind::Distance) {
      const double truth = std::hypot(to[0] - from[0], to[1] - from[1], to[2] - from[2]);
      EXPECT_GT(truth, 20.0);
      EXPECT_LT(truth, 100.0);
      const double normalised = (observation.observed[0] - truth) / observation.sigma;
      squaredNormalised += normalised * normalised;
      ++scalarCount;
    } else {
      for (int axis = 0; axis < 3; ++axis) {
        const double normalised =
            (observation.observed[axis] - (to[axis] - from[axis])) / observation.sigma;
        squaredNormalised += normalised * normalised;
        ++scalarCount;
      }
    }
  }
  // The mean square of standard normal draws, over a few thousand of them.
  EXPECT_NEAR(squaredNormalised / scalarCount, 1.0, 0.1);
  for (std::uint32_t point = 0; point < network.points.size(); ++point) {
    EXPECT_TRUE(joined[point]) << point;
    for (int axis = 0; axis < 3; ++axis) {
      EXPECT_LT(std::fabs(network.points[point].approximate[axis] -
                          network.points[point].trueCoordinates[axis]),
                6 * options.approximationSigma);
    }
  }
}

}  // namespace
