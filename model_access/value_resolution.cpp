#include "model_access/value_resolution.h"

#include <cassert>

#include "framework/object_table.h"
#include "framework/vobject.h"

ZR::VOValue* Resolve(const ValueHandle& handle) {
  if (handle.object != nullptr) {
    return handle.object;
  }
  // A null result is the host's broken promise, not a case to handle: skipping the object
  // would silently renumber or leave out unknowns, so it is only asserted.
  ZR::VOValue* const object = dynamic_cast<ZR::VOValue*>(GetVObjectPointer(handle.id));
  assert(object != nullptr && "id does not name a registered value object");
  handle.object = object;
  return object;
}
