#pragma once
// How the library names a host value object without owning it. A host builds handles
// (ValueHandle{nullptr, id}) to fill the model; turning one into its object is the library's
// business (model_access/value_resolution.h).

#include <cstdint>

namespace ZR {
struct VOValue;
}

// The framework's identifier of an object.
using ObjectId = std::uint64_t;

// Non-owning reference to a value object: its id and a cached pointer, null until resolved.
// Handles are ordered and compared by id alone; the cache takes no part. The cache is mutable
// so that handles kept in ordered sets (the model's points) can be filled in place.
struct ValueHandle {
  mutable ZR::VOValue* object = nullptr;
  ObjectId id = 0;

  friend bool operator<(const ValueHandle& left, const ValueHandle& right) {
    return left.id < right.id;
  }
  friend bool operator==(const ValueHandle& left, const ValueHandle& right) {
    return left.id == right.id;
  }
};
