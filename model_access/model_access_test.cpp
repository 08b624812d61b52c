#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <string>

#include "framework/vo_observation.h"
#include "model_access/apply_corrections.h"
#include "model_access/datum_constraints.h"
#include "model_access/test_value_objects.h"
#include "model_access/unknown_numbering.h"
#include "model_access/value_resolution.h"
#include "sparse/sparse_matrix_writers.h"

namespace {

TEST(NumberUnknowns, ColumnsFollowAscendingIdsOfTheFreeValues) {
  EXPECT_EQ(NumberUnknowns(Handles({5, 2, 9}), Handles({5})),
            (UnknownIndex{{{nullptr, 2}, 0}, {{nullptr, 9}, 1}}));
  EXPECT_EQ(NumberUnknowns(Handles({5, 2, 9}), Handles({7})),  // fixed outside values
            (UnknownIndex{{{nullptr, 2}, 0}, {{nullptr, 5}, 1}, {{nullptr, 9}, 2}}));
}

// Its type information lives in this executable, that of its base in the framework library.
struct HostValue : ZR::VOValue {
  using VOValue::VOValue;
};

TEST(Resolve, DownCastsTableEntriesAcrossTheLibraryBoundaryOnce) {
  ZR::VOValue frameworkValue(11, 1.5);
  HostValue hostValue(11, 2.5);
  ZR::VOParticipant participant;
  for (ZR::VOValue* object : {&frameworkValue, static_cast<ZR::VOValue*>(&hostValue)}) {
    RegisterVObject(11, object);
    const ValueHandle handle{nullptr, 11};
    ValueHandle copy = handle;
    EXPECT_EQ(Resolve(copy), object);
    EXPECT_EQ(handle.object, nullptr);  // only the handle given is filled
    EXPECT_EQ(Resolve(handle), object);
    RegisterVObject(11, &participant);  // replaces; the cache is trusted, the table not asked
    EXPECT_EQ(Resolve(handle), object);
  }
  // An id that names no value object is the host's broken promise: asserted, never skipped.
  EXPECT_DEBUG_DEATH(EXPECT_EQ(Resolve(ValueHandle{nullptr, 11}), nullptr), "value object");
  UnregisterVObject(11);
  EXPECT_EQ(GetVObjectPointer(11), nullptr);
}

// Everything one call writes to its report stream, byte for byte.
std::string Report(const std::set<ValueHandle>& values, const std::set<ValueHandle>& fixed,
                   const DenseVector& x, double factor, double limit) {
  char* buffer = nullptr;
  std::size_t size = 0;
  std::FILE* stream = open_memstream(&buffer, &size);
  ApplyCorrections(NumberUnknowns(values, {}), fixed, x, &factor, &limit, stream);
  std::fclose(stream);
  const std::string bytes(buffer, size);
  std::free(buffer);
  return bytes;
}

TEST(ApplyCorrections, ScalesClampsAddsAndReportsInIdOrder) {
  RegisteredValues values({{3, 10.0}, {8, 10.0}, {12, 10.0}, {20, 10.0}, {1u << 31, 10.0}});
  DenseVector x(5, 4.0);
  x[1] = -4.0;
  x[3] = std::numeric_limits<double>::quiet_NaN();
  x[4] = 0.5;
  // 12 was fixed after the numbering: the fixed set still protects it.
  EXPECT_EQ(Report(Handles({3, 8, 12, 20, 1u << 31}), Handles({12}), x, 0.5, 1.0),
            "Verbesserung f\xFCr 3 ist 1.000000\nVerbesserung f\xFCr 8 ist -1.000000\n"
            "Verbesserung f\xFCr 20 ist nan\nVerbesserung f\xFCr 2147483648 ist 0.250000\n");
  EXPECT_EQ(values.changes, (std::vector<uint64>{3, 8, 20, 1u << 31}));
  EXPECT_EQ(values[3].Value, 11.0);
  EXPECT_EQ(values[8].Value, 9.0);
  EXPECT_EQ(values[12].Value, 10.0);
  EXPECT_TRUE(std::isnan(values[20].Value));
  EXPECT_EQ(values[1u << 31].Value, 10.25);

  // A zero limit keeps the sign of −0.0; a negative one is taken as it is: the clamps swap.
  const std::string zero = Report(Handles({3}), {}, DenseVector(1, -4.0), 1.0, 0.0);
  EXPECT_EQ(zero, "Verbesserung f\xFCr 3 ist -0.000000\n");
  EXPECT_EQ(zero.size(), 33u);  // the umlaut is the single Latin-1 byte
  EXPECT_EQ(Report(Handles({3}), {}, DenseVector(1, 0.5), 1.0, -1.0),
            "Verbesserung f\xFCr 3 ist -1.000000\n");
}

// GᵀG of points registered with the ids 10k+1, 10k+2, 10k+3 for X, Y, Z of the k-th point.
SparseMatrix Datum(const std::vector<std::array<double, 3>>& coordinates,
                   const std::set<ObjectId>& fixed, std::set<NetworkPoint>& points) {
  std::map<uint64, double> byId;
  std::set<ValueHandle> values;
  for (ObjectId k = 0; k < coordinates.size(); ++k) {
    const ObjectId id = 10 * k + 11;
    points.insert(NetworkPoint{{nullptr, id}, {nullptr, id + 1}, {nullptr, id + 2}});
    for (ObjectId axis = 0; axis < 3; ++axis) {
      byId[id + axis] = coordinates[k][axis];
      values.insert({nullptr, id + axis});
    }
  }
  const RegisteredValues objects(byId);
  SparseMatrix result(9, 2);  // replaced whatever it held
  SparseRowWriter(result.rows[8]).Store(1, 5.0);
  BuildDatumConstraints(result, points, NumberUnknowns(values, Handles(fixed)));
  return result;
}

// (0,0,0), (2,0,0): centroid (1,0,0), s = √2, x̃ = ∓t, ỹ = z̃ = 0. No zero of G is stored, so GᵀG
// holds the column pairs sharing a row of G. The third point, Z fixed, adds nothing.
TEST(BuildDatumConstraints, TwoPointsGiveTheGramMatrixOfTheWrittenOutConditions) {
  const double t = 1.0 / std::sqrt(2.0);
  const double G[7][8] = {{t, 0, 0, t},        {0, t, 0, 0, t},  {0, 0, t, 0, 0, t}, {},
                          {0, 0, t, 0, 0, -t}, {0, -t, 0, 0, t}, {-t, 0, 0, t}};
  std::set<NetworkPoint> points;
  const SparseMatrix result = Datum({{0, 0, 0}, {2, 0, 0}, {1, 5, 7}}, {33}, points);
  EXPECT_NE(points.begin()->x.object, nullptr);   // resolved into the point
  EXPECT_EQ(points.rbegin()->x.object, nullptr);  // not even resolved
  ASSERT_EQ(result.RowCount(), 8u);
  for (std::uint32_t j = 0; j < 8; ++j) {
    for (std::uint32_t k = 0; k < 8; ++k) {
      double expected = 0.0;
      bool shared = false;
      for (int i = 0; i < 7; ++i) {
        expected += G[i][j] * G[i][k];
        shared = shared || (G[i][j] != 0.0 && G[i][k] != 0.0);
      }
      const double* stored = result.rows[j].Find(k);
      ASSERT_EQ(stored != nullptr, shared) << j << "," << k;
      if (stored == nullptr) continue;
      EXPECT_NEAR(*stored, expected, 4 * std::numeric_limits<double>::epsilon());
    }
  }
}

TEST(BuildDatumConstraints, OnePointGivesNaNEverywhere) {
  std::set<NetworkPoint> points;
  const SparseMatrix result = Datum({{1, 2, 3}}, {}, points);  // s = 0: every element is 0/0
  EXPECT_EQ(result.EntryCount(), 9u);
  for (const SparseRow& row : result.rows)
    for (const auto& entry : row)
      EXPECT_TRUE(std::isnan(entry.second));
}

}  // namespace
