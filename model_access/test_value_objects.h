#pragma once
// Value objects for the tests of this folder: owned by a holder, registered in the object
// table for the holder's lifetime, and recording the order of their ValueChanged calls.

#include <initializer_list>
#include <map>
#include <memory>
#include <set>
#include <utility>
#include <vector>

#include "framework/object_table.h"
#include "framework/vobject.h"
#include "model_access/value_handle.h"

class RecordingValue : public ZR::VOValue {
 public:
  RecordingValue(uint64 id, double value, std::vector<uint64>& changes)
      : VOValue(id, value), changes(changes) {}

  void ValueChanged() override { changes.push_back(GetId()); }

 private:
  std::vector<uint64>& changes;
};

class RegisteredValues {
 public:
  // One registered value object per (id, value).
  RegisteredValues(std::initializer_list<std::pair<uint64, double>> initial) {
    for (const auto& [id, value] : initial) {
      Add(id, value);
    }
  }
  RegisteredValues(const RegisteredValues&) = delete;
  RegisteredValues& operator=(const RegisteredValues&) = delete;
  ~RegisteredValues() {
    for (const auto& entry : objects) {
      UnregisterVObject(entry.first);
    }
  }

  RecordingValue& Add(uint64 id, double value) {
    auto& object = objects[id];
    object = std::make_unique<RecordingValue>(id, value, changes);
    RegisterVObject(id, object.get());
    return *object;
  }

  // Removes id from the table while the object itself stays alive.
  void Unregister(uint64 id) { UnregisterVObject(id); }

  RecordingValue& operator[](uint64 id) { return *objects.at(id); }

  // Handles with empty caches for the given ids.
  static std::set<ValueHandle> Handles(std::initializer_list<ObjectId> ids) {
    std::set<ValueHandle> handles;
    for (const ObjectId id : ids) {
      handles.insert(ValueHandle{nullptr, id});
    }
    return handles;
  }

  // The ids of the objects whose ValueChanged was called, in call order.
  std::vector<uint64> changes;

 private:
  std::map<uint64, std::unique_ptr<RecordingValue>> objects;
};
