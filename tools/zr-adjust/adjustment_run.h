#pragma once
// The iteration loop: calls Iterate until the corrections are small.
//
// Iteration i (from 1) applies the library's corrections; its max correction is the largest
// |new value - old value| over the unknowns, read from the value objects before and after the
// call. The run has converged after the first iteration whose max correction is below the
// tolerance. The loop ends there, except that when the inverse is wanted one more iteration
// runs and asks for it; without convergence it ends after the iteration limit. The inverse is
// asked for only in the iteration known to be the last, since it is a full matrix and costly.
// An evaluation-only run is exactly one iteration.
//
// Every step that solves is checked: its corrections must solve the normal equations of the
// step (solve_check.h). When they do not (the library's factorisation rejected a pivot and
// applied the right-hand side instead), or a value is no longer finite, the loop stops there and
// the run has failed numerically.

#include <cstddef>
#include <ostream>
#include <vector>

#include "iteration/adjustment_model.h"
#include "tools/zr-adjust/options.h"
#include "tools/zr-adjust/report/adjustment_report.h"

namespace zradjust {

// What the loop needs of the options. The defaults are those of Options (for a small network,
// where the inverse is wanted unless --inverse never): they are stated once, there.
struct RunSettings {
  int iterationLimit = Options{}.iterations;
  double tolerance = Options{}.tolerance;
  double stepFactor = Options{}.stepFactor;
  double maxCorrection = Options{}.maxCorrection;
  bool adaptiveWeights = Options{}.adaptiveWeights;
  bool evaluateOnly = Options{}.solver == SolverChoice::Evaluate;
  bool wantInverse = Options{}.inverse != InverseChoice::Never;
  // Per unknown, the factor of its correction in the max correction (the longest sight of
  // an orientation's set, 1.0 for a coordinate); empty means 1.0 for every unknown.
  std::vector<double> correctionScales = {};
};

// The run settings of the options, for a network of unknownCount unknowns.
RunSettings SettingsFrom(const Options& options, std::size_t unknownCount);

struct RunResult {
  std::vector<IterationRecord> iterations;
  bool converged = false;
  // The last iteration asked for the inverse and the model holds it in full.
  bool inverseComputed = false;
  // The inverse was asked for but came back empty: the normal matrix was singular.
  bool inverseFailed = false;
  // A coordinate became infinite or NaN; the loop stopped there.
  bool diverged = false;
  // The corrections of an iteration did not solve its normal equations (a rejected
  // factorisation); the loop stopped there.
  bool solveFailed = false;
  // The iteration that diverged or failed, and the scaled backward error of its corrections.
  int failedIteration = 0;
  double backwardError = 0.0;

  bool NumericalFailure() const { return diverged || solveFailed; }
};

// Runs the loop on a model whose objects are in place. unknowns are the value objects of the
// coordinates that are not fixed. progress, when not null, gets one line per iteration.
// Exceptions from the library pass through.
RunResult RunAdjustment(ZR::AdjustmentModel& model, const std::vector<ZR::VOValue*>& unknowns,
                        const RunSettings& settings, std::ostream* progress);

}  // namespace zradjust
