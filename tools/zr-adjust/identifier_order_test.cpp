#include "tools/zr-adjust/identifier_order.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>

#include "tools/zr-adjust/network_reader.h"

namespace zradjust {
namespace {

Network Read(const std::string& text) {
  ReadResult result = ReadNetwork(text, "t.net");
  EXPECT_TRUE(result.Ok());
  return result.network;
}

// A side x side grid of 3D points joined by distances to their right and upper neighbours,
// declared in a shuffled order: file order then scatters neighbours far apart.
Network ShuffledGrid(int side, unsigned seed) {
  std::vector<int> cells(static_cast<std::size_t>(side * side));
  for (std::size_t i = 0; i < cells.size(); ++i)
    cells[i] = static_cast<int>(i);
  std::shuffle(cells.begin(), cells.end(), std::mt19937(seed));
  std::string text;
  for (int cell : cells) {
    text += "point G" + std::to_string(cell) + " " + std::to_string(cell % side * 10) + " " +
            std::to_string(cell / side * 10) + " 0\n";
  }
  text += "fix G0\n";
  for (int cell = 0; cell < side * side; ++cell) {
    if (cell % side + 1 < side) {
      text += "dist G" + std::to_string(cell) + " G" + std::to_string(cell + 1) + " 10 0.01\n";
    }
    if (cell + side < side * side) {
      text += "dist G" + std::to_string(cell) + " G" + std::to_string(cell + side) + " 10 0.01\n";
    }
  }
  return Read(text);
}

TEST(IdentifierOrder, InputOrderHandsOutConsecutiveIdentifiersInFileOrder) {
  Network network = Read("point A 0 0 0\nheight H 1\npoint B 1 0 0\nheight K 2\n");
  std::vector<std::uint64_t> ids = AssignIdentifiers(network, IdentifierOrder::Input);
  EXPECT_EQ(ids, (std::vector<std::uint64_t>{1, 4, 5, 8}));
}

TEST(IdentifierOrder, ReverseCuthillMcKeeIsAPermutationWithConsecutiveIdentifiers) {
  struct Case {
    const char* text;
  };
  const Case cases[] = {
      {""},
      {"point A 0 0 0\n"},
      // two parts and an isolated point, mixed kinds
      {"point A 0 0 0\npoint B 1 0 0\nheight H 1\nheight K 2\npoint C 2 0 0\npoint D 3 0 0\n"
       "dist A B 1 1\nlevel H K 1 1\nvector C D 1 0 0 1\nlevel D K 1 1\n"},
  };
  for (const Case& c : cases) {
    Network network = Read(c.text);
    std::vector<std::size_t> order = ReverseCuthillMcKee(network);
    std::vector<std::size_t> sorted = order;
    std::sort(sorted.begin(), sorted.end());
    for (std::size_t i = 0; i < sorted.size(); ++i)
      EXPECT_EQ(sorted[i], i) << c.text;
    ASSERT_EQ(order.size(), network.points.size());

    std::vector<std::uint64_t> ids =
        AssignIdentifiers(network, IdentifierOrder::ReverseCuthillMcKee);
    std::uint64_t next = 1;
    for (std::size_t point : order) {
      EXPECT_EQ(ids[point], next) << c.text;
      next += static_cast<std::uint64_t>(network.points[point].CoordinateCount());
    }
  }
}

TEST(IdentifierOrder, ReverseCuthillMcKeeShrinksTheProfileOfAShuffledGrid) {
  for (unsigned seed : {1u, 2u, 3u}) {
    Network network = ShuffledGrid(12, seed);
    std::uint64_t input =
        NormalProfile(network, AssignIdentifiers(network, IdentifierOrder::Input));
    std::uint64_t rcm =
        NormalProfile(network, AssignIdentifiers(network, IdentifierOrder::ReverseCuthillMcKee));
    // A banded order of a 12 x 12 grid has a bandwidth of about 12 points; a shuffled one
    // spans most of the matrix.
    EXPECT_LT(rcm * 3, input) << "seed " << seed << ": rcm " << rcm << ", input " << input;
    std::uint64_t unknowns = 3 * 12 * 12 - 3;
    EXPECT_LT(rcm, unknowns * 3 * 14) << "seed " << seed;
  }
}

TEST(IdentifierOrder, ProfileCountsOnlyUnknownsAndTheirCouplings) {
  // Three points in a chain, the first fixed: unknowns B(xyz) = 0..2, C(xyz) = 3..5. The
  // distance B-C couples all six, so rows 3..5 reach back to column 0.
  Network network =
      Read("point A 0 0 0\npoint B 1 0 0\npoint C 2 0 0\nfix A\ndist A B 1 1\ndist B C 1 1\n");
  std::vector<std::uint64_t> ids = AssignIdentifiers(network, IdentifierOrder::Input);
  // Rows 0..2 hold the distances A-B and B-C among B's own coordinates: 1 + 2 + 3.
  // Rows 3..5 reach column 0: 4 + 5 + 6.
  EXPECT_EQ(NormalProfile(network, ids), 21u);
}

}  // namespace
}  // namespace zradjust
