#pragma once
// Value objects registered for their holder's lifetime, recording their ValueChanged calls.

#include <map>
#include <memory>
#include <set>
#include <vector>

#include "framework/object_table.h"
#include "framework/vobject.h"
#include "model_access/value_handle.h"

struct RecordingValue : ZR::VOValue {
  RecordingValue(uint64 id, double value, std::vector<uint64>& changes)
      : VOValue(id, value), changes(changes) {}
  void ValueChanged() override { changes.push_back(GetId()); }
  std::vector<uint64>& changes;
};

struct RegisteredValues {
  explicit RegisteredValues(const std::map<uint64, double>& initial) {
    for (const auto& [id, value] : initial) {
      RegisterVObject(id,
                      (objects[id] = std::make_unique<RecordingValue>(id, value, changes)).get());
    }
  }
  ~RegisteredValues() {
    for (const auto& entry : objects)
      UnregisterVObject(entry.first);
  }
  RecordingValue& operator[](uint64 id) { return *objects.at(id); }

  std::vector<uint64> changes;  // ids, in the order of the ValueChanged calls
  std::map<uint64, std::unique_ptr<RecordingValue>> objects;
};

inline std::set<ValueHandle> Handles(const std::set<ObjectId>& ids) {
  std::set<ValueHandle> handles;
  for (const ObjectId id : ids)
    handles.insert(ValueHandle{nullptr, id});
  return handles;
}
