#include "model_access/unknown_columns.h"

#include <gtest/gtest.h>

#include <random>

#include "model_access/test_value_objects.h"
#include "model_access/unknown_numbering.h"

namespace {

// The same answers as the index for unknowns, fixed values (ids divisible by 3) and ids nobody
// mentioned, whatever the ids: consecutive, extreme, or clustered so that they collide.
TEST(UnknownColumns, AnswersAsTheIndexDoes) {
  std::mt19937_64 random(3);
  std::set<ObjectId> clustered, scattered;
  while (clustered.size() < 5000)
    clustered.insert(random() << 40);  // only high bits vary
  while (scattered.size() < 5000)
    scattered.insert(random());
  for (const std::set<ObjectId>& ids :
       {std::set<ObjectId>{}, {0}, {0, 1, 2, 3, ~ObjectId{0}}, {5, 2, 9}, clustered, scattered}) {
    std::set<ObjectId> fixed;
    std::vector<ObjectId> probes(ids.begin(), ids.end());
    for (const ObjectId id : ids) {
      if (id % 3 == 0) fixed.insert(id);
    }
    for (int k = 0; k < 1000; ++k)
      probes.push_back(random());
    const UnknownIndex unknowns = NumberUnknowns(Handles(ids), Handles(fixed));
    const UnknownColumns columns(unknowns);
    for (const ObjectId id : probes) {
      const auto entry = unknowns.find(ValueHandle{nullptr, id});
      const std::uint32_t* column = columns.Find(id);
      ASSERT_EQ(column != nullptr, entry != unknowns.end()) << id;
      if (column == nullptr) continue;
      EXPECT_EQ(*column, entry->second) << id;
    }
  }
}

}  // namespace
