#pragma once
// How the library names a host value object without owning it.

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

// The value object of handle: the cached pointer if set, otherwise GetVObjectPointer(id)
// down-cast to ZR::VOValue (null on a mismatch), which is then stored into handle's cache.
// Pass a copy of the handle to keep a cache from being filled. An id that does not resolve to
// a value object is a precondition violation of the host (asserted in debug builds).
ZR::VOValue* Resolve(const ValueHandle& handle);
