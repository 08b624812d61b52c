#pragma once
// Whether the corrections of one step solve the normal equations of that step.
//
// When the library's factorisation rejects a pivot it leaves the right-hand side in place of the
// solution and applies it as the correction, and says nothing. The host notices it by forming
// the same normal equations itself, (AᵀPA + damping·I + GᵀG)·x = AᵀPl with A, P and l from the
// model's observations at the values before the step (the weights as the library takes them,
// G the library's seven conditions when the model holds network points), and measuring the
// corrections x = (after − before) / stepFactor against them.
//
// The measure is the backward error of the diagonally scaled system, with D = diag(N):
//   ‖D^-½·(|b − N·x| − s)₊‖ / (‖D^½·x‖₁ + ‖D^-½·|A|ᵀP|l|‖),
// where s = |N|·δ allows for δ, how far x read from the values may be off (the value after the
// step is before + x rounded, which for a small x near convergence is most of x), and |A|ᵀP|l|
// for the rounding of b itself, a sum that cancels near convergence.
// A solution by LDLᵀ is backward stable for the scaled system whatever the weights (the
// factorisation does not see a diagonal scaling), so it stays within a small multiple of the
// unit roundoff; a right-hand side taken for the solution is off by order one. The scaling
// matters: observations whose weights differ by twenty orders of magnitude, which is what
// makes the factorisation reject its pivots, would hide the wrong corrections of the light
// ones in an unscaled norm.

#include <cstddef>
#include <utility>
#include <vector>

#include "iteration/adjustment_model.h"

namespace zradjust {

// Corrections whose scaled backward error exceeds this do not solve the normal equations; a
// backward-stable solve stays below n·1e-16 (1e-11 for 10^5 unknowns).
inline constexpr double backwardErrorLimit = 1e-8;

// The normal equations of one step in the host's hands, captured before Iterate.
struct StepEquations {
  // The unknowns as the library numbers them (values not fixed, ascending identifier).
  std::vector<ZR::VOValue*> columns;
  std::vector<double> before;
  // A's rows as (column, partial), with each observation's weight and misclosure.
  std::vector<std::vector<std::pair<std::size_t, double>>> rows;
  std::vector<double> weights;
  std::vector<double> misclosures;
  double damping = 0.0;
  // The rows of the library's datum conditions G (empty without network points).
  std::vector<std::vector<std::pair<std::size_t, double>>> conditions;
  // False when a value object was not resolved: nothing can be judged.
  bool complete = true;
};

// Reads the model's observations at the current values, weighted as Iterate will weight them
// (working tolerances with adaptiveWeights). Evaluates every observation once more.
StepEquations CaptureStep(ZR::AdjustmentModel& model, bool adaptiveWeights);

// A clamped correction hides the solution from the values. The library's own residual norm
// ‖b − N·x‖ of the step (its solverResidual) is then measured against ‖b‖ instead: a solve
// leaves about the unit roundoff times the condition number, a right-hand side taken for the
// solution leaves ‖b − N·b‖, which is of the order of ‖N‖·‖b‖.
inline constexpr double clampedResidualLimit = 1e-6;

// The measure of the step's corrections, read from the value objects after Iterate: the scaled
// backward error, or with a clamped correction the library's residual norm relative to ‖b‖ times
// backwardErrorLimit / clampedResidualLimit, so that both compare with backwardErrorLimit.
// Negative when it cannot be judged: the step factor is 0 or the capture was incomplete.
double ScaledBackwardError(const StepEquations& step, double stepFactor, double maxCorrection,
                           double solverResidual);

}  // namespace zradjust
