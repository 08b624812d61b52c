#pragma once
// The unknowns of one adjustment step and their column numbers.

#include <cstdint>
#include <map>
#include <set>

#include "model_access/value_handle.h"

// Ordered by ascending id; the column of an unknown is its index in x, in A's columns and in
// N's rows and columns. Columns are 0 to size − 1 in ascending id order.
using UnknownIndex = std::map<ValueHandle, std::uint32_t>;

// Every handle of values whose id is not in fixedValues gets the next column from 0, in
// ascending id order. Each entry keeps the handle's cached pointer as it stands in values.
UnknownIndex NumberUnknowns(const std::set<ValueHandle>& values,
                            const std::set<ValueHandle>& fixedValues);
