#include "model_access/unknown_numbering.h"

UnknownIndex NumberUnknowns(const std::set<ValueHandle>& values,
                            const std::set<ValueHandle>& fixedValues) {
  UnknownIndex unknowns;
  std::uint32_t column = 0;
  for (const ValueHandle& handle : values) {
    if (fixedValues.find(handle) != fixedValues.end()) {
      continue;
    }
    // values is walked in ascending id order, so each new entry belongs at the end.
    const auto entry = unknowns.try_emplace(unknowns.end(), handle, 0u);
    entry->second = column;
    ++column;
  }
  return unknowns;
}
