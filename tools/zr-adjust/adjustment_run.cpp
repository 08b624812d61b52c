#include "tools/zr-adjust/adjustment_run.h"

#include <chrono>
#include <cmath>
#include <cstdio>

#include "tools/zr-adjust/solve_check.h"

namespace zradjust {
namespace {

// Solver codes of Iterate.
constexpr unsigned char compactSolverCode = 0;
constexpr unsigned char evaluationOnlyCode = 200;

double MaxCorrection(const std::vector<double>& before, const std::vector<ZR::VOValue*>& unknowns,
                     const std::vector<double>& scales, bool& finite) {
  double largest = 0.0;
  finite = true;
  for (std::size_t i = 0; i < unknowns.size(); ++i) {
    double value = unknowns[i]->Value;
    finite = finite && std::isfinite(value);
    double correction = std::fabs(value - before[i]);
    if (!scales.empty()) correction *= scales[i];
    if (!(correction <= largest)) largest = correction;  // a NaN correction wins
  }
  return largest;
}

bool InverseHeld(const ZR::AdjustmentModel& model, std::size_t unknownCount) {
  if (model.normalInverse.RowCount() != unknownCount) return false;
  for (const SparseRow& row : model.normalInverse.rows) {
    if (row.Empty()) return false;
  }
  return true;
}

// Where the loop stands after an iteration: still iterating, one step left (the iteration limit
// is next, or the tolerance was reached and the inverse is wanted from one more step), or done.
enum class LoopState {
  Iterating,
  LastStep,
  Done,
};

LoopState NextState(LoopState state, bool belowTolerance, const RunSettings& settings, int number) {
  if (state == LoopState::LastStep) return LoopState::Done;
  if (belowTolerance) return settings.wantInverse ? LoopState::LastStep : LoopState::Done;
  return number + 1 >= settings.iterationLimit ? LoopState::LastStep : LoopState::Iterating;
}

// One call of Iterate, timed; the record's max correction is left to the caller. solverResidual
// gets the library's residual norm of the solve.
IterationRecord Step(ZR::AdjustmentModel& model, const RunSettings& settings, bool computeInverse,
                     int number, double& solverResidual) {
  double sigma0 = 0.0;
  solverResidual = 0.0;
  auto start = std::chrono::steady_clock::now();
  model.Iterate(sigma0, settings.stepFactor, settings.maxCorrection, settings.adaptiveWeights,
                computeInverse, settings.evaluateOnly ? evaluationOnlyCode : compactSolverCode, 0,
                0.0, &solverResidual);
  std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
  IterationRecord record;
  record.number = number;
  record.sigma0 = sigma0;
  record.seconds = elapsed.count();
  return record;
}

void PrintProgress(std::ostream& out, const IterationRecord& record) {
  char line[160];
  std::snprintf(line, sizeof line,
                "iteration %3d   sigma0 %12.6g   max correction %12.6g m   %8.3f s\n",
                record.number, record.sigma0, record.maxCorrection, record.seconds);
  out << line << std::flush;
}

}  // namespace

RunSettings SettingsFrom(const Options& options, std::size_t unknownCount) {
  RunSettings settings;
  settings.iterationLimit = options.iterations;
  settings.tolerance = options.tolerance;
  settings.stepFactor = options.stepFactor;
  settings.maxCorrection = options.maxCorrection;
  settings.adaptiveWeights = options.adaptiveWeights;
  settings.evaluateOnly = options.solver == SolverChoice::Evaluate;
  settings.wantInverse =
      options.inverse == InverseChoice::Always ||
      (options.inverse == InverseChoice::Auto && unknownCount <= inverseUnknownLimit);
  return settings;
}

RunResult RunAdjustment(ZR::AdjustmentModel& model, const std::vector<ZR::VOValue*>& unknowns,
                        const RunSettings& settings, std::ostream* progress) {
  RunResult result;
  std::vector<double> before(unknowns.size());
  LoopState state = settings.evaluateOnly || settings.iterationLimit <= 1 ? LoopState::LastStep
                                                                          : LoopState::Iterating;
  for (int number = 1; state != LoopState::Done; ++number) {
    bool computeInverse = settings.wantInverse && state == LoopState::LastStep;
    for (std::size_t i = 0; i < unknowns.size(); ++i)
      before[i] = unknowns[i]->Value;
    StepEquations step;
    if (!settings.evaluateOnly) step = CaptureStep(model, settings.adaptiveWeights);

    double solverResidual = 0.0;
    IterationRecord record = Step(model, settings, computeInverse, number, solverResidual);
    bool finite = true;
    record.maxCorrection = MaxCorrection(before, unknowns, settings.correctionScales, finite);
    result.iterations.push_back(record);
    if (progress) PrintProgress(*progress, record);

    if (computeInverse) {
      result.inverseComputed = InverseHeld(model, unknowns.size());
      result.inverseFailed = !result.inverseComputed && !settings.evaluateOnly;
    }
    bool belowTolerance = record.maxCorrection < settings.tolerance;
    result.converged = result.converged || belowTolerance;
    if (!settings.evaluateOnly && finite) {
      result.backwardError =
          ScaledBackwardError(step, settings.stepFactor, settings.maxCorrection, solverResidual);
      result.solveFailed = result.backwardError > backwardErrorLimit;
    }
    if (!finite || result.solveFailed) {
      result.diverged = !finite;
      result.converged = false;
      result.failedIteration = number;
      break;
    }
    state = NextState(state, belowTolerance, settings, number);
  }
  return result;
}

}  // namespace zradjust
