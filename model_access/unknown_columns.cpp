#include "model_access/unknown_columns.h"

UnknownColumns::UnknownColumns(const UnknownIndex& unknowns) {
  // At most half full, so that a probe sequence stays short; at least two slots, so that an
  // empty index still has the empty slot every search ends on.
  unsigned bits = 1;
  while ((std::size_t{1} << bits) < 2 * unknowns.size()) {
    ++bits;
  }
  slots.resize(std::size_t{1} << bits);
  mask = slots.size() - 1;
  shift = 64 - bits;
  for (const auto& [handle, column] : unknowns) {
    std::size_t slot = SlotOf(handle.id);
    while (slots[slot].occupied != 0) {
      slot = (slot + 1) & mask;
    }
    slots[slot] = Slot{handle.id, column, 1};
  }
}
