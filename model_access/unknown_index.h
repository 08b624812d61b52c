#pragma once
// The unknowns of one adjustment step and their column numbers.

#include <cstdint>
#include <map>

#include "model_access/value_handle.h"

// Ordered by ascending id; the column of an unknown is its index in x, in A's columns and in
// N's rows and columns. Columns are 0 to size − 1 in ascending id order.
using UnknownIndex = std::map<ValueHandle, std::uint32_t>;
