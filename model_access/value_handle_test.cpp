#include "model_access/value_handle.h"

#include <gtest/gtest.h>

#include "framework/object_table.h"
#include "framework/vo_observation.h"
#include "framework/vobject.h"
#include "model_access/test_value_objects.h"

namespace {

// A value type of this executable: its vtable and type information live here, while those of
// its base live in the framework library.
struct HostValue : ZR::VOValue {
  using VOValue::VOValue;
};

TEST(Resolve, DownCastsValueObjectsCreatedOnEitherSide) {
  ZR::VOValue frameworkValue(11, 1.5);
  HostValue hostValue(12, 2.5);
  RegisterVObject(11, &frameworkValue);
  RegisterVObject(12, &hostValue);

  const struct {
    ObjectId id;
    ZR::VOValue* expected;
  } cases[] = {{11, &frameworkValue}, {12, &hostValue}};
  for (const auto& c : cases) {
    const ValueHandle handle{nullptr, c.id};
    EXPECT_EQ(Resolve(handle), c.expected) << c.id;
    EXPECT_EQ(handle.object, c.expected) << c.id;
  }

  UnregisterVObject(11);
  UnregisterVObject(12);
}

TEST(Resolve, FillsOnlyTheHandleItIsGivenAndTrustsItsCache) {
  RegisteredValues values({{21, 1.0}, {22, 2.0}});

  const ValueHandle handle{nullptr, 21};
  ValueHandle copy = handle;
  EXPECT_EQ(Resolve(copy), &values[21]);
  EXPECT_EQ(copy.object, &values[21]);
  EXPECT_EQ(handle.object, nullptr);

  // Once filled, the cache is used without asking the table again.
  EXPECT_EQ(Resolve(handle), &values[21]);
  values.Unregister(21);
  EXPECT_EQ(Resolve(handle), &values[21]);

  // A cache that names another object wins over the table.
  const ValueHandle stale{&values[22], 21};
  EXPECT_EQ(Resolve(stale), &values[22]);
}

TEST(ResolveDeathTest, AnIdThatNamesNoValueObjectIsNotPassedOver) {
  ZR::VOParticipant participant;
  RegisterVObject(31, &participant);
  const ValueHandle wrongType{nullptr, 31};
  const ValueHandle unknown{nullptr, 32};
#ifdef NDEBUG
  EXPECT_EQ(Resolve(wrongType), nullptr);
  EXPECT_EQ(Resolve(unknown), nullptr);
#else
  EXPECT_DEATH(Resolve(wrongType), "value object");
  EXPECT_DEATH(Resolve(unknown), "value object");
#endif
  UnregisterVObject(31);
}

}  // namespace
