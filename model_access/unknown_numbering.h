#pragma once
// The numbering of the unknowns at the start of every step. Internal to the library: a host
// reads the result in the model's unknowns.

#include <set>

#include "model_access/unknown_index.h"
#include "model_access/value_handle.h"

// Every handle of values whose id is not in fixedValues gets the next column from 0, in
// ascending id order. Each entry keeps the handle's cached pointer as it stands in values.
UnknownIndex NumberUnknowns(const std::set<ValueHandle>& values,
                            const std::set<ValueHandle>& fixedValues);
