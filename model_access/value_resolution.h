#pragma once
// Resolution of a value handle: from the id a host gave to the framework's value object.
// Internal to the library; a host never resolves a handle itself.

#include "model_access/value_handle.h"

// The value object of handle: the cached pointer if set, otherwise GetVObjectPointer(id)
// down-cast to ZR::VOValue (null on a mismatch), which is then stored into handle's cache.
// Pass a copy of the handle to keep a cache from being filled. An id that does not resolve to
// a value object is a precondition violation of the host (asserted in debug builds).
ZR::VOValue* Resolve(const ValueHandle& handle);
