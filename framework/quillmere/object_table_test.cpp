#include "framework/object_table.h"

#include <gtest/gtest.h>

#include "framework/vobject.h"

namespace {

TEST(ObjectTable, RegisterReplaceUnregister) {
  ZR::VOValue first(41, 1.0);
  ZR::VOValue second(41, 2.0);
  const uint64 id = 41;
  const uint64 other = 42;

  EXPECT_EQ(GetVObjectPointer(id), nullptr);
  RegisterVObject(id, &first);
  EXPECT_EQ(GetVObjectPointer(id), &first);
  EXPECT_EQ(GetVObjectPointer(other), nullptr);

  // A second registration under the same id replaces the first.
  RegisterVObject(id, &second);
  EXPECT_EQ(GetVObjectPointer(id), &second);

  // Unregistering forgets the id only; the object stays as it was.
  UnregisterVObject(id);
  EXPECT_EQ(GetVObjectPointer(id), nullptr);
  EXPECT_EQ(second.Value, 2.0);
  UnregisterVObject(other);  // unknown ids are ignored
  EXPECT_EQ(GetVObjectPointer(other), nullptr);
}

}  // namespace
