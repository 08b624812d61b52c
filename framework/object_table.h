#pragma once
// The framework's object table: identifiers to live objects.
//
// A host registers every object that a model refers to by identifier before it calls into
// the model, and keeps the object alive (and registered) as long as the model may use it:
// model libraries cache the pointers they resolve.

#include "framework/framework_api.h"
#include "framework/vobject.h"

// The object registered under id, or null when there is none.
ZR_FRAMEWORK_API VObject* GetVObjectPointer(const uint64& id);

// Makes object reachable under id, replacing whatever was registered under it before.
// The table does not own the object.
ZR_FRAMEWORK_API void RegisterVObject(const uint64& id, VObject* object);

// Forgets id; the object itself is untouched. Unknown ids are ignored.
ZR_FRAMEWORK_API void UnregisterVObject(const uint64& id);
