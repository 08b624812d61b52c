#include "solvers/compact_profile.h"

#include <stdexcept>

std::uint64_t CompactSlotCount(const std::vector<std::uint32_t>& firstColumns) {
  std::uint64_t slots = 0;
  for (std::size_t i = 0; i < firstColumns.size(); ++i) {
    slots += i - firstColumns[i] + 1;
  }
  return slots;
}

void RequireCompactSlots(std::uint64_t slotCount) {
  if (slotCount > maxCompactSlots) {
    throw std::length_error("vector<T> too long");
  }
}
