#pragma once
// The one header a host includes: the model class with its one operation, Iterate, and the
// types a host needs to fill the model and read its results. Everything it brings in is a type
// with inline members, or the framework's own: the library exports Iterate only, so none of
// its internal operations is declared here, and a host that tries one fails to compile.
//
// A host owns the model and every framework object; the model holds them by raw pointer or by
// ValueHandle only, and Iterate neither creates nor deletes them.

#include <cstdint>
#include <cstdio>
#include <set>

#include "framework/object_table.h"
#include "framework/vo_observation.h"
#include "framework/vobject.h"
#include "model_access/network_point.h"
#include "model_access/unknown_index.h"
#include "model_access/value_handle.h"
#include "sparse/sparse_matrix.h"

#define ZR_ADJUSTMENT_API __attribute__((visibility("default")))

namespace ZR {

class AdjustmentModel {
 public:
  // Every value object that takes part in the adjustment.
  std::set<ValueHandle> values;
  // The value objects held fixed; they get no column. A fixed handle outside values is harmless.
  std::set<ValueHandle> fixedValues;
  // The 3D network points; when not empty, seven datum conditions are added to N.
  std::set<NetworkPoint> points;
  // One row of A, P and l per observation, in pointer order.
  std::set<VOObservation*> observations;
  // Told before the observations are evaluated and after the corrections are applied.
  std::set<VOParticipant*> participants;
  // The inverse of the last N when it was asked for, otherwise u empty rows.
  SparseMatrix normalInverse;
  // The column of every unknown; rebuilt at the start of every step.
  UnknownIndex unknowns;
  // n and u of the last step.
  std::uint64_t observationCount = 0;
  std::uint64_t unknownCount = 0;
  // Milliseconds spent in the last step: in all, evaluating observations and corrections,
  // numbering and forming the normal equations, and solving.
  std::uint32_t timeTotal = 0;
  std::uint32_t timeEvaluation = 0;
  std::uint32_t timeSetup = 0;
  std::uint32_t timeSolve = 0;
  // Added to every diagonal element of N before the solve.
  double diagonalDamping = 0.0;
  // The a-posteriori standard deviation of unit weight of the last step.
  double sigma0 = 0.0;
  // Receives the per-observation lines and the correction report; null for none.
  std::FILE* correctionLog = nullptr;
  // Receives the text dumps of A, P, l, N, b and x; null for none.
  std::FILE* matrixDump = nullptr;
  // Numerator of every weight: p = weightScale / tolerance.
  double weightScale = 1.0;
  // Incremented at the start of every step; never reset by the model.
  std::int32_t iterationCount = 0;

  // One Gauss-Newton step of the weighted least-squares adjustment: numbers the unknowns,
  // assembles A, P (p = weightScale / tolerance) and l from the observations, solves
  // (AᵀPA + damping·I [+ GᵀG]) x = AᵀPl, adds each x[c]·stepFactor, clamped to ±maxCorrection,
  // to its value object, and returns sigma0 = sqrt(Σ d²/t / (n − u)) over the misclosures d at
  // the corrected values (the sum undivided when u >= n) in sigma0Out and in sigma0.
  // - adaptiveWeights: weight by each observation's working tolerance (its Value, GetTolerance
  //   when 0.0) and reduce it for the next step; otherwise weight by GetTolerance.
  // - computeInverse: keep the inverse of the solved N in normalInverse; otherwise
  //   normalInverse becomes u empty rows.
  // - solverCode 200 or 201: evaluate only (no normal equations, all corrections zero; the
  //   residual target receives the plain sum of the first u squared misclosures). Any other
  //   code goes to the solver dispatch, which receives solverParameter (unused) and
  //   solverResidual (a scratch double when null). reserved is not read.
  // Always returns true; there is no convergence test. Exceptions (from the framework objects,
  // std::bad_alloc, std::length_error) pass through with the model as it stood.
  ZR_ADJUSTMENT_API bool Iterate(double& sigma0Out, double stepFactor, double maxCorrection,
                                 bool adaptiveWeights, bool computeInverse,
                                 unsigned char solverCode, unsigned int reserved,
                                 double solverParameter, double* solverResidual);
};

}  // namespace ZR
