#pragma once
// The passes of a step over the model's observation and participant objects: assembling the
// rows of A, P and l, and the standard deviation of unit weight after the corrections.
//
// Every pass walks its set in set order, which for these pointer sets is address order; the
// row of an observation is its position in that order. Exceptions thrown by a framework
// object pass through unchanged, leaving every row and every working tolerance written so far.

#include <cstdint>
#include <cstdio>
#include <set>

#include "framework/vo_observation.h"
#include "model_access/unknown_index.h"
#include "sparse/sparse_matrix.h"

// Calls BeforeIteration on every participant.
void NotifyBeforeIteration(const std::set<ZR::VOParticipant*>& participants);

// Calls AfterCorrections on every participant.
void NotifyAfterCorrections(const std::set<ZR::VOParticipant*>& participants);

// Fills row i of A, P and l from the i-th observation:
//   A(i, column of h) = ∂/∂h for every partial whose handle h is an unknown (others are
//     dropped; a later partial for the same column overwrites, an exact 0.0 leaves no entry);
//   l[i] = d = GetDifference(), logged as "Differenz: %lf\n";
//   P(i, i) = weightScale / t, with t the observation's tolerance:
//     fixed weights:    t = GetTolerance(), logged as "Toleranz: %lf\n\n" and kept with
//                       SetValue(t) as the working tolerance;
//     adaptive weights: t = GetValue() (GetTolerance() when that is 0.0), and the working
//                       tolerance becomes t / sqrt((sqrt(t)·d)² + 1.0) for the next step.
// A, P and l must have one row (element) per observation and P must be square; nothing is
// checked. Zero tolerances are not guarded: the weight becomes infinite or NaN and is stored.
// correctionLog may be null.
void AssembleObservations(const std::set<ZR::VOObservation*>& observations,
                          const UnknownIndex& unknowns, bool adaptiveWeights, double weightScale,
                          std::FILE* correctionLog, SparseMatrix& A, SparseMatrix& P,
                          DenseVector& l);

// sigma0 = sqrt(Σ d²/t / (n − u)) with d = GetDifference() and t = GetTolerance() evaluated
// afresh, summed in set order; when unknownCount >= observationCount the sum is not divided.
// sigma0 holds the running sum while the observations are evaluated.
void ComputeSigma0(const std::set<ZR::VOObservation*>& observations, std::uint32_t observationCount,
                   std::uint32_t unknownCount, double& sigma0);
