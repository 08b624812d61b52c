#include "model_access/unknown_index.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "framework/vobject.h"
#include "model_access/test_value_objects.h"

namespace {

std::vector<std::pair<ObjectId, std::uint32_t>> Columns(const UnknownIndex& unknowns) {
  std::vector<std::pair<ObjectId, std::uint32_t>> columns;
  for (const auto& [handle, column] : unknowns) {
    columns.emplace_back(handle.id, column);
  }
  return columns;
}

TEST(NumberUnknowns, ColumnsFollowAscendingIdsOfTheFreeValues) {
  const struct {
    const char* name;
    std::set<ValueHandle> values;
    std::set<ValueHandle> fixed;
    std::vector<std::pair<ObjectId, std::uint32_t>> expected;
  } cases[] = {
      {"empty", {}, {}, {}},
      {"all fixed", RegisteredValues::Handles({4, 8}), RegisteredValues::Handles({8, 4}), {}},
      {"5 fixed",
       RegisteredValues::Handles({5, 2, 9}),
       RegisteredValues::Handles({5}),
       {{2, 0}, {9, 1}}},
      {"fixed outside values",
       RegisteredValues::Handles({5, 2, 9}),
       RegisteredValues::Handles({7}),
       {{2, 0}, {5, 1}, {9, 2}}},
      {"largest id fixed",
       RegisteredValues::Handles({1, 3, 0xFFFFFFFFFFFFFFFFu}),
       RegisteredValues::Handles({0xFFFFFFFFFFFFFFFFu, 2}),
       {{1, 0}, {3, 1}}},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(Columns(NumberUnknowns(c.values, c.fixed)), c.expected) << c.name;
  }
}

TEST(NumberUnknowns, EntriesKeepTheCachesOfValuesAndResolveNothing) {
  ZR::VOValue resolved(3, 0.0);
  const std::set<ValueHandle> values{{&resolved, 3}, {nullptr, 6}};
  const UnknownIndex unknowns = NumberUnknowns(values, {});
  ASSERT_EQ(unknowns.size(), 2u);
  EXPECT_EQ(unknowns.begin()->first.object, &resolved);
  // Id 6 is registered nowhere: numbering must not look it up.
  EXPECT_EQ(unknowns.rbegin()->first.object, nullptr);
}

}  // namespace
