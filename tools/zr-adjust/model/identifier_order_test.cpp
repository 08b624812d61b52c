#include "tools/zr-adjust/model/identifier_order.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>

#include "tools/zr-adjust/test_support.h"

namespace zradjust {
namespace {

// A side x side grid of points declared in a shuffled order, joined to their right and upper
// neighbours: file order scatters neighbours far apart.
Network ShuffledGrid(int side, unsigned seed) {
  std::vector<int> cells(side * side);
  std::iota(cells.begin(), cells.end(), 0);
  std::shuffle(cells.begin(), cells.end(), std::mt19937(seed));
  auto name = [](int cell) { return " G" + std::to_string(cell); };
  std::string text;
  for (int cell : cells) {
    text += "point" + name(cell) + " " + std::to_string(cell % side * 10) + " " +
            std::to_string(cell / side * 10) + " 0\n";
  }
  for (int cell = 0; cell < side * side; ++cell) {
    if (cell % side + 1 < side) text += "dist" + name(cell) + name(cell + 1) + " 10 0.01\n";
    if (cell + side < side * side) text += "dist" + name(cell) + name(cell + side) + " 10 0.01\n";
  }
  return Read(text + "fix G0\n");
}

TEST(IdentifierOrder, InputOrderHandsOutConsecutiveIdentifiersInFileOrder) {
  Network network = Read("point A 0 0 0\nheight H 1\npoint B 1 0 0\nheight K 2\n");
  EXPECT_EQ(AssignIdentifiers(network, IdentifierOrder::Input),
            (std::vector<std::uint64_t>{1, 4, 5, 8}));
}

TEST(IdentifierOrder, ReverseCuthillMcKeeIsAPermutationWithConsecutiveIdentifiers) {
  // An empty network; two parts and an isolated point of mixed kinds; a grid.
  for (const Network& network :
       {Read(""),
        Read("point A 0 0 0\npoint B 1 0 0\nheight H 1\nheight K 2\npoint C 2 0 0\n"
             "point D 3 0 0\npoint E 4 0 0\ndist A B 1 1\nlevel H K 1 1\nvector C D 1 0 0 1\n"
             "level D K 1 1\n"),
        ShuffledGrid(5, 1)}) {
    std::vector<std::size_t> order = ReverseCuthillMcKee(network);
    std::vector<std::size_t> sorted = order;
    std::sort(sorted.begin(), sorted.end());
    ASSERT_EQ(order.size(), network.points.size());
    std::vector<std::uint64_t> ids =
        AssignIdentifiers(network, IdentifierOrder::ReverseCuthillMcKee);
    std::uint64_t next = 1;
    for (std::size_t i = 0; i < order.size(); ++i) {
      EXPECT_EQ(sorted[i], i);
      EXPECT_EQ(ids[order[i]], next);
      next += static_cast<std::uint64_t>(network.points[order[i]].CoordinateCount());
    }
  }
}

TEST(IdentifierOrder, ReverseCuthillMcKeeShrinksTheProfile) {
  // A star declared centre first: only the reversal moves the centre from the top to the end.
  std::string star = "point C 0 0 0\n";
  for (int leaf = 0; leaf < 20; ++leaf)
    star += "point L" + std::to_string(leaf) + " 1 0 0\ndist C L" + std::to_string(leaf) + " 1 1\n";
  for (const Network& network : {ShuffledGrid(12, 1), ShuffledGrid(12, 2), Read(star)}) {
    std::uint64_t input =
        NormalProfile(network, AssignIdentifiers(network, IdentifierOrder::Input));
    std::uint64_t rcm =
        NormalProfile(network, AssignIdentifiers(network, IdentifierOrder::ReverseCuthillMcKee));
    // A grid's banded order has a bandwidth of about 12 points; a shuffled one spans most of it.
    EXPECT_LT(rcm * 3, input) << "rcm " << rcm << ", input " << input;
    EXPECT_LT(rcm, (3 * 12 * 12 - 3) * 3 * 14);
  }
}

TEST(IdentifierOrder, ProfileCountsOnlyUnknownsAndTheirCouplings) {
  // Unknowns B = 0..2, C = 3..5: rows 1 + 2 + 3, then B-C reaches back to column 0: 4 + 5 + 6.
  Network network =
      Read("point A 0 0 0\npoint B 1 0 0\npoint C 2 0 0\nfix A\ndist A B 1 1\ndist B C 1 1\n");
  EXPECT_EQ(NormalProfile(network, AssignIdentifiers(network, IdentifierOrder::Input)), 21u);

  // The library's datum conditions of a free network couple every 3D coordinate with every
  // other, the height point's only through its observation: D's row reaches back to C's Z.
  Network free = Read(
      "point A 0 0 0\npoint B 1 0 0\npoint C 2 0 0\nheight D 5\ndatum free\n"
      "dist A B 1 1\ndist B C 1 1\nlevel C D 1 1\n");
  auto ids = AssignIdentifiers(free, IdentifierOrder::Input);
  EXPECT_EQ(NormalProfile(free, ids, true), 9u * 10u / 2u + 2u);
  EXPECT_LT(NormalProfile(free, ids, false), NormalProfile(free, ids, true));
}

TEST(IdentifierOrder, OrientationsFollowThePointsOrTheirStation) {
  // Plan points A, C and 3D point B; set S2 (at C) appears before S1 (at A) in the file.
  Network network = Read(
      "point A 0 0\npoint B 100 0 5\npoint C 50 80\nfix A\n"
      "dir S2 C A 0 1\ndir S2 C B 100 1\ndir S1 A B 0 1\ndir S1 A C 40 1\nhdist A B 100 1\n");
  // Input: A 1-2, B 3-5, C 6-7, then the sets in order of first appearance (set 0 is S2): 8, 9.
  EXPECT_EQ(AssignIdentifiers(network, IdentifierOrder::Input),
            (std::vector<std::uint64_t>{1, 3, 6, 8, 9}));
  std::vector<std::uint64_t> ids = AssignIdentifiers(network, IdentifierOrder::ReverseCuthillMcKee);
  // Each orientation directly after its station's coordinates; all identifiers distinct.
  EXPECT_EQ(ids[3], ids[2] + 2);  // S2 after C's X, Y
  EXPECT_EQ(ids[4], ids[0] + 2);  // S1 after A's X, Y
  std::vector<std::uint64_t> all;
  for (std::size_t p = 0; p < 3; ++p) {
    for (int axis = 0; axis < network.points[p].CoordinateCount(); ++axis)
      all.push_back(ids[p] + static_cast<std::uint64_t>(axis));
  }
  all.push_back(ids[3]);
  all.push_back(ids[4]);
  std::sort(all.begin(), all.end());
  for (std::size_t i = 0; i < all.size(); ++i)
    EXPECT_EQ(all[i], i + 1);
  // Input order, unknowns B 0-2, C 3-4, S2 5, S1 6 (A is fixed): B's Z couples to nothing,
  // 1 + 2 + 1; C, S2 and S1 reach back to B's X through their directions: 4 + 5 + 6 + 7.
  EXPECT_EQ(NormalProfile(network, AssignIdentifiers(network, IdentifierOrder::Input)), 26u);
}

}  // namespace
}  // namespace zradjust
