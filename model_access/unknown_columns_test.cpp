#include "model_access/unknown_columns.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <random>
#include <set>

namespace {

std::set<ValueHandle> Handles(const std::set<ObjectId>& ids) {
  std::set<ValueHandle> handles;
  for (const ObjectId id : ids) {
    handles.insert(ValueHandle{nullptr, id});
  }
  return handles;
}

// The table must answer exactly as the ordered index does, for unknowns, fixed values and ids
// nobody mentioned, whatever the ids look like: consecutive, extreme, or clustered so that
// they collide.
TEST(UnknownColumns, AnswersAsTheIndexDoes) {
  std::mt19937_64 random(3);
  std::set<ObjectId> clustered;
  while (clustered.size() < 5000) {
    clustered.insert(random() << 40);  // only the high bits vary
  }
  std::set<ObjectId> scattered;
  while (scattered.size() < 5000) {
    scattered.insert(random());
  }
  const std::set<ObjectId> cases[] = {
      {}, {0}, {0, 1, 2, 3, std::numeric_limits<ObjectId>::max()}, {5, 2, 9}, clustered, scattered,
  };
  for (const std::set<ObjectId>& ids : cases) {
    const std::set<ValueHandle> values = Handles(ids);
    std::set<ValueHandle> fixed;
    for (const ValueHandle& handle : values) {
      if (handle.id % 3 == 0) fixed.insert(handle);
    }
    const UnknownIndex unknowns = NumberUnknowns(values, fixed);
    const UnknownColumns columns(unknowns);

    for (const ValueHandle& handle : values) {
      const auto entry = unknowns.find(handle);
      const std::uint32_t* column = columns.Find(handle.id);
      if (entry == unknowns.end()) {
        EXPECT_EQ(column, nullptr) << handle.id;
      } else {
        ASSERT_NE(column, nullptr) << handle.id;
        EXPECT_EQ(*column, entry->second) << handle.id;
      }
    }
    for (int probe = 0; probe < 1000; ++probe) {
      const ObjectId id = random();
      if (ids.count(id) == 0) {
        EXPECT_EQ(columns.Find(id), nullptr) << id;
      }
    }
  }
}

}  // namespace
