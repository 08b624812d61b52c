#pragma once
// A hash table from an unknown's id to its column, built once per step from the UnknownIndex.
//
// The index answers the same question by a search in an ordered tree, which costs a string of
// cache misses per partial derivative; with every observation asking for several columns, the
// assembly of A spends most of its time there. The table gives the same answer (the column, or
// none for an id that is no unknown) at the cost of one or two probes. It does not track later
// changes of the index it was built from.

#include <cstdint>
#include <vector>

#include "model_access/unknown_index.h"
#include "model_access/value_handle.h"

class UnknownColumns {
 public:
  explicit UnknownColumns(const UnknownIndex& unknowns);

  // The column of the unknown with this id, or null when the id is no unknown.
  const std::uint32_t* Find(ObjectId id) const {
    for (std::size_t slot = SlotOf(id);; slot = (slot + 1) & mask) {
      const Slot& entry = slots[slot];
      if (entry.occupied == 0) {
        return nullptr;
      }
      if (entry.id == id) {
        return &entry.column;
      }
    }
  }

 private:
  struct Slot {
    ObjectId id = 0;
    std::uint32_t column = 0;
    std::uint32_t occupied = 0;
  };

  // Fibonacci hashing: the high bits of id · 2⁶⁴/φ spread consecutive ids over the table.
  std::size_t SlotOf(ObjectId id) const {
    return static_cast<std::size_t>((id * 0x9E3779B97F4A7C15ull) >> shift);
  }

  std::vector<Slot> slots;
  std::size_t mask = 0;
  unsigned shift = 63;
};
