#include "iteration/observation_assembly.h"

#include <cmath>
#include <map>
#include <typeinfo>

#include "model_access/unknown_columns.h"
#include "model_access/value_handle.h"
#include "model_access/value_resolution.h"
#include "sparse/sparse_matrix_writers.h"

namespace {

// Row i of A: the partials with respect to unknowns, at their columns.
void FillDesignRow(ZR::VOObservation& observation, const UnknownColumns& unknowns,
                   std::uint32_t row, SparseMatrix& A) {
  std::map<ValueHandle, double> partials;
  observation.GetPartials(partials);
  for (const auto& [handle, partial] : partials) {
    const std::uint32_t* column = unknowns.Find(handle.id);
    if (column == nullptr) {
      continue;  // a fixed value object, or one outside the model's values
    }
    // Every value object an observation depends on must resolve; the pointer goes into a copy
    // of the handle, so nothing is cached beyond this entry.
    const ValueHandle local = handle;
    static_cast<void>(Resolve(local));
    SetElement(A, row, *column, partial);
  }
}

// The weight of the observation, with its working tolerance updated as the weighting asks.
double Weight(ZR::VOObservation& observation, double difference, bool adaptiveWeights,
              double weightScale, std::FILE* correctionLog) {
  if (!adaptiveWeights) {
    const double tolerance = observation.GetTolerance();
    if (correctionLog != nullptr) {
      std::fprintf(correctionLog, "Toleranz: %lf\n\n", tolerance);
    }
    // Resetting the working tolerance here lets a later adaptive step start from it.
    observation.SetValue(tolerance);
    return weightScale / tolerance;
  }
  double tolerance = observation.GetValue();
  if (tolerance == 0.0) {
    tolerance = observation.GetTolerance();
  }
  const double weight = weightScale / tolerance;
  // The working tolerance shrinks with every non-zero misclosure and stays as it is with a zero
  // one; the next adaptive step weights the observation by the reduced value.
  const double scaledDifference = std::sqrt(tolerance) * difference;
  observation.SetValue(tolerance / std::sqrt(scaledDifference * scaledDifference + 1.0));
  return weight;
}

}  // namespace

void NotifyBeforeIteration(const std::set<ZR::VOParticipant*>& participants) {
  for (ZR::VOParticipant* participant : participants) {
    participant->BeforeIteration();
  }
}

void NotifyAfterCorrections(const std::set<ZR::VOParticipant*>& participants) {
  for (ZR::VOParticipant* participant : participants) {
    participant->AfterCorrections();
  }
}

void AssembleObservations(const std::set<ZR::VOObservation*>& observations,
                          const UnknownIndex& unknowns, bool adaptiveWeights, double weightScale,
                          std::FILE* correctionLog, SparseMatrix& A, SparseMatrix& P,
                          DenseVector& l) {
  const UnknownColumns columns(unknowns);
  std::uint32_t row = 0;
  for (ZR::VOObservation* observation : observations) {
    FillDesignRow(*observation, columns, row, A);
    const double difference = observation->GetDifference();
    // The dynamic type is queried as the framework's model classes always do; the answer is
    // not needed, but a null observation fails here with std::bad_typeid.
    static_cast<void>(typeid(*observation));
    if (correctionLog != nullptr) {
      std::fprintf(correctionLog, "Differenz: %lf\n", difference);
    }
    l[row] = difference;
    const double weight =
        Weight(*observation, difference, adaptiveWeights, weightScale, correctionLog);
    SetElement(P, row, row, weight);
    ++row;
  }
}

void ComputeSigma0(const std::set<ZR::VOObservation*>& observations, std::uint32_t observationCount,
                   std::uint32_t unknownCount, double& sigma0) {
  sigma0 = 0.0;
  for (ZR::VOObservation* observation : observations) {
    const double difference = observation->GetDifference();
    const double tolerance = observation->GetTolerance();
    sigma0 += difference * difference / tolerance;
  }
  // Without redundancy the plain sum is kept rather than dividing by zero or by a wrapped
  // count.
  if (unknownCount < observationCount) {
    sigma0 /= static_cast<double>(observationCount - unknownCount);
  }
  sigma0 = std::sqrt(sigma0);
}
