#include "model_access/apply_corrections.h"

#include "framework/vobject.h"
#include "model_access/value_resolution.h"

void ApplyCorrections(const UnknownIndex& unknowns, const std::set<ValueHandle>& fixedValues,
                      const DenseVector& x, const double* factor, const double* limit,
                      std::FILE* stream) {
  for (const auto& [handle, column] : unknowns) {
    // The index never holds a fixed id when it is fresh; the test is kept deliberately so that
    // a fixed set changed since the numbering still protects its objects.
    if (fixedValues.find(handle) != fixedValues.end()) {
      continue;
    }
    double correction = x[column] * *factor;
    // Each coordinate is capped on its own, the vector is not rescaled. Written as two plain
    // comparisons so that a NaN passes and a negative limit is taken as it is.
    if (correction > *limit) {
      correction = *limit;
    } else if (-*limit > correction) {
      correction = -*limit;
    }
    // Resolved through a copy: the caches of the index are left as the numbering made them.
    const ValueHandle local = handle;
    ZR::VOValue* const object = Resolve(local);
    object->Value += correction;
    object->ValueChanged();
    if (stream != nullptr) {
      std::fprintf(stream, "Verbesserung f\xFCr %ld ist %lf\n", static_cast<long>(object->GetId()),
                   correction);
    }
  }
}
