// Stand-in for the framework's object table: an ordered map from identifier to object.
//
// It honours the lookup contract that model libraries rely on (the registered object or
// null) and nothing more: it owns no object, keeps no reference count and takes no lock. Hosts
// register, look up and unregister from one thread, the thread that calls into the model;
// concurrent use from several threads is not supported.

#include <map>

#include "framework/object_table.h"

namespace {

// Created on first use, so that objects registered during static initialisation of another
// library find the table already there, and never destroyed, so that a static object that
// unregisters itself at process exit does not reach a table already gone.
std::map<uint64, VObject*>& Table() {
  static auto* const table = new std::map<uint64, VObject*>;
  return *table;
}

}  // namespace

VObject* GetVObjectPointer(const uint64& id) {
  const auto& table = Table();
  const auto entry = table.find(id);
  return entry == table.end() ? nullptr : entry->second;
}

void RegisterVObject(const uint64& id, VObject* object) {
  Table()[id] = object;
}

void UnregisterVObject(const uint64& id) {
  Table().erase(id);
}
