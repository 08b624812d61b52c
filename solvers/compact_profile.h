#pragma once
// The size limit of the compact row storage, for the library and for a host that wants to
// refuse a network before it iterates. The storage's positions are one-based unsigned 32-bit
// numbers, so a profile of more slots cannot be addressed.
//
// A host computes the profile of its numbering of the unknowns from N's pattern: first(i) is
// the smallest column j ≤ i with N(i, j) stored (unknowns that share an observation, plus the
// datum's coupling of all point coordinates of a free network), and the profile is
// Σ (i − first(i) + 1) over the rows; CompactSlotCount adds it up.

#include <cstdint>
#include <limits>
#include <vector>

// The most slots a compact form can hold.
inline constexpr std::uint64_t maxCompactSlots = std::numeric_limits<std::uint32_t>::max();

// Σ (i − firstColumns[i] + 1) over the rows, in 64 bits. Requires firstColumns[i] ≤ i (not
// checked).
std::uint64_t CompactSlotCount(const std::vector<std::uint32_t>& firstColumns);

// Throws std::length_error("vector<T> too long") when slotCount exceeds maxCompactSlots, as a
// container grown past its maximum does: such a profile fails at once instead of wrapping its
// positions.
void RequireCompactSlots(std::uint64_t slotCount);
