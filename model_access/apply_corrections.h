#pragma once
// Writing the solution of one step back into the host's value objects, with its report.

#include <cstdio>
#include <set>

#include "model_access/unknown_index.h"
#include "model_access/value_handle.h"
#include "sparse/sparse_matrix.h"

// For every unknown (handle h, column c) in ascending id order whose id is not in fixedValues:
// d = x[c]·(*factor), clamped to [−(*limit), +(*limit)] (a NaN d passes unchanged; a negative
// limit is used as it is), then h's Value += d, then h's ValueChanged(), then, when stream is
// not null, the line "Verbesserung für <GetId()> ist <d>\n" (Latin-1, %ld and %lf).
//
// Each handle is resolved through a copy, so the caches in unknowns stay as they are; a cached
// pointer is used when present. x is not changed and the stream is not flushed.
// Not checked: that x holds at least unknowns.size() elements, that every id resolves to a
// value object (asserted in debug builds), write errors on stream.
void ApplyCorrections(const UnknownIndex& unknowns, const std::set<ValueHandle>& fixedValues,
                      const DenseVector& x, const double* factor, const double* limit,
                      std::FILE* stream);
