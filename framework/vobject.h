#pragma once
// The framework's base object and its value objects, as a model library sees them.

#include <cstdint>

#include "framework/framework_api.h"

// The framework's 64-bit object identifier type.
typedef std::uint64_t uint64;

// Polymorphic base of every framework object. Model libraries use it only as the type that
// GetVObjectPointer returns and as the source of a checked down-cast.
class ZR_FRAMEWORK_API VObject {
 public:
  virtual ~VObject();
};

namespace ZR {

// One adjustable quantity (a coordinate, a parameter): an identifier and one double.
// A model library reads and corrects Value in place and calls ValueChanged after each change.
struct ZR_FRAMEWORK_API VOValue : public VObject {
  VOValue(uint64 id, double value);

  uint64 GetId() const { return identifier; }

 protected:
  uint64 identifier;

 public:
  double Value;

  // Called by a model library right after it changed Value, so that the framework can update
  // whatever depends on it. The framework's own implementation does nothing.
  virtual void ValueChanged();
};

}  // namespace ZR
