#pragma once
// The one place where the store checks growth against a container's maximum. The texts are the
// system's own; callers see std::length_error with them.

#include <cstddef>
#include <stdexcept>

inline constexpr const char* kVectorTooLong = "vector<T> too long";
inline constexpr const char* kMapTooLong = "map/set<T> too long";

// Throws std::length_error(what) when a container holding size elements, whose maximum is
// maximum, cannot take growth more.
inline void CheckGrowth(std::size_t size, std::size_t growth, std::size_t maximum,
                        const char* what) {
  if (growth > maximum || size > maximum - growth) {
    throw std::length_error(what);
  }
}
