#include "model_access/datum_constraints.h"

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <set>
#include <tuple>
#include <utility>
#include <vector>

#include "model_access/test_value_objects.h"

namespace {

using Coordinates = std::array<double, 3>;
using Dense = std::vector<std::vector<double>>;
// (row, column, bits of the value) of every stored element, in storage order.
using Elements = std::vector<std::tuple<std::uint32_t, std::uint32_t, std::uint64_t>>;

constexpr double epsilon = std::numeric_limits<double>::epsilon();

// The k-th point, counted from 1, gets the ids 10k+1, 10k+2, 10k+3 for X, Y and Z.
struct Network {
  RegisteredValues objects{};
  std::set<NetworkPoint> points;
  std::set<ValueHandle> values;

  explicit Network(const std::vector<Coordinates>& coordinates) {
    for (std::size_t k = 0; k < coordinates.size(); ++k) {
      NetworkPoint point;
      ValueHandle* axes[] = {&point.x, &point.y, &point.z};
      for (int axis = 0; axis < 3; ++axis) {
        const ObjectId id = 10 * (k + 1) + axis + 1;
        objects.Add(id, coordinates[k][axis]);
        axes[axis]->id = id;
        values.insert(ValueHandle{nullptr, id});
      }
      points.insert(point);
    }
  }
};

Elements StoredElements(const SparseMatrix& matrix) {
  Elements elements;
  for (std::uint32_t row = 0; row < matrix.RowCount(); ++row) {
    for (const auto& [column, value] : matrix.rows[row]) {
      elements.emplace_back(row, column, std::bit_cast<std::uint64_t>(value));
    }
  }
  return elements;
}

TEST(BuildDatumConstraints, TwoPointsMatchTheGramMatrixOfTheHandBuiltConditions) {
  const double t = 1.0 / std::sqrt(2.0);
  // Second network: centroid (1,2,4), s = √42, centred coordinates ∓(a, b, c).
  const double a = 1.0 / std::sqrt(42.0);
  const double b = 2.0 / std::sqrt(42.0);
  const double c = 4.0 / std::sqrt(42.0);
  const struct {
    const char* name;
    std::vector<Coordinates> coordinates;
    Dense G;  // 7 × 6, written out by hand; a zero here must not be stored
  } cases[] = {
      // Centroid (1,0,0), s = √2: only X is centred away from zero.
      {"on the X axis",
       {{0.0, 0.0, 0.0}, {2.0, 0.0, 0.0}},
       {{t, 0, 0, t, 0, 0},
        {0, t, 0, 0, t, 0},
        {0, 0, t, 0, 0, t},
        {0, 0, 0, 0, 0, 0},
        {0, 0, t, 0, 0, -t},
        {0, -t, 0, 0, t, 0},
        {-t, 0, 0, t, 0, 0}}},
      {"skew",
       {{0.0, 0.0, 0.0}, {2.0, 4.0, 8.0}},
       {{t, 0, 0, t, 0, 0},
        {0, t, 0, 0, t, 0},
        {0, 0, t, 0, 0, t},
        {0, c, -b, 0, -c, b},
        {-c, 0, a, c, 0, -a},
        {b, -a, 0, -b, a, 0},
        {-a, -b, -c, a, b, c}}},
  };
  for (const auto& networkCase : cases) {
    Network network(networkCase.coordinates);
    const Dense& G = networkCase.G;
    SparseMatrix result(9, 2);  // replaced whatever it held
    result.rows[8].Store(1, 5.0);
    BuildDatumConstraints(result, network.points, NumberUnknowns(network.values, {}));

    ASSERT_EQ(result.RowCount(), 6u) << networkCase.name;
    EXPECT_EQ(result.columnCount, 6u) << networkCase.name;
    for (std::uint32_t j = 0; j < 6; ++j) {
      for (std::uint32_t k = 0; k < 6; ++k) {
        double expected = 0.0;
        double magnitude = 0.0;
        bool shared = false;  // some row of G stores both column j and column k
        for (std::size_t i = 0; i < G.size(); ++i) {
          expected += G[i][j] * G[i][k];
          magnitude += std::fabs(G[i][j] * G[i][k]);
          shared = shared || (G[i][j] != 0.0 && G[i][k] != 0.0);
        }
        const double* stored = result.rows[j].Find(k);
        ASSERT_EQ(stored != nullptr, shared) << networkCase.name << " " << j << "," << k;
        if (stored != nullptr) {
          EXPECT_NEAR(*stored, expected, 8 * epsilon * magnitude)
              << networkCase.name << " " << j << "," << k;
        }
      }
    }
  }
}

TEST(BuildDatumConstraints, PointsWithAFixedOrAbsentCoordinateAreLeftOut) {
  // Points 3 and 4 are not unknowns in every axis: 3 has a fixed Z, 4's X is not a value.
  Network network({{0.0, 1.0, 0.5}, {2.0, -1.0, 0.25}, {1.0, 5.0, 7.0}, {3.0, 3.0, 3.0}});
  std::set<ValueHandle> values = network.values;
  values.erase(ValueHandle{nullptr, 41});
  const UnknownIndex unknowns = NumberUnknowns(values, RegisteredValues::Handles({33}));

  std::set<NetworkPoint> qualifying;
  for (const NetworkPoint& point : network.points) {
    if (point.x.id < 30) {
      qualifying.insert(
          NetworkPoint{{nullptr, point.x.id}, {nullptr, point.y.id}, {nullptr, point.z.id}});
    }
  }
  SparseMatrix withAll;
  SparseMatrix withQualifying;
  BuildDatumConstraints(withAll, network.points, unknowns);
  BuildDatumConstraints(withQualifying, qualifying, unknowns);

  EXPECT_EQ(StoredElements(withAll), StoredElements(withQualifying));
  EXPECT_EQ(withAll.RowCount(), unknowns.size());
  for (const NetworkPoint& point : network.points) {
    const bool qualifies = point.x.id < 30;
    EXPECT_EQ(point.x.object != nullptr, qualifies) << point.x.id;
    EXPECT_EQ(point.y.object != nullptr, qualifies) << point.y.id;
    EXPECT_EQ(point.z.object != nullptr, qualifies) << point.z.id;
  }
}

TEST(BuildDatumConstraints, DegenerateNetworksAreStoredUnchecked) {
  const struct {
    const char* name;
    std::vector<Coordinates> coordinates;
    std::vector<ObjectId> fixed;
    std::uint32_t size;       // u
    std::size_t nanElements;  // every stored element is NaN
  } cases[] = {
      // s = 0: the rotation and scale rows are 0/0 at every column, so all of GᵀG is NaN.
      {"one point", {{1.0, 2.0, 3.0}}, {}, 3, 9},
      {"no qualifying point", {{1.0, 2.0, 3.0}, {4.0, 5.0, 6.0}}, {11, 22}, 4, 0},
      {"no unknowns", {{1.0, 2.0, 3.0}}, {11, 12, 13}, 0, 0},
  };
  for (const auto& c : cases) {
    Network network(c.coordinates);
    std::set<ValueHandle> fixed;
    for (const ObjectId id : c.fixed) {
      fixed.insert(ValueHandle{nullptr, id});
    }
    SparseMatrix result;
    BuildDatumConstraints(result, network.points, NumberUnknowns(network.values, fixed));

    EXPECT_EQ(result.RowCount(), c.size) << c.name;
    EXPECT_EQ(result.columnCount, c.size) << c.name;
    EXPECT_EQ(result.EntryCount(), c.nanElements) << c.name;
    for (const auto& row : result.rows) {
      for (const auto& entry : row) {
        EXPECT_TRUE(std::isnan(entry.second)) << c.name;
      }
    }
  }
}

TEST(BuildDatumConstraints, CoordinatesAreResolvedOnceAndReadAfresh) {
  Network network({{0.0, 1.0, 0.5}, {2.0, -1.0, 0.25}, {1.0, 3.0, -2.0}});
  const UnknownIndex unknowns = NumberUnknowns(network.values, {});
  SparseMatrix first;
  BuildDatumConstraints(first, network.points, unknowns);

  // The table no longer knows the objects: only the caches of points can reach them.
  for (const ValueHandle& handle : network.values) {
    network.objects.Unregister(handle.id);
  }
  SparseMatrix second;
  BuildDatumConstraints(second, network.points, unknowns);
  EXPECT_EQ(StoredElements(first), StoredElements(second));

  // The current values enter, not those of the first call.
  network.objects[31].Value = 4.0;
  SparseMatrix moved;
  BuildDatumConstraints(moved, network.points, unknowns);
  EXPECT_NE(StoredElements(first), StoredElements(moved));
}

}  // namespace
