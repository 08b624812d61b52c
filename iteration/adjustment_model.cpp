#include "iteration/adjustment_model.h"

#include <vector>

#include "iteration/elapsed_time.h"
#include "iteration/matrix_dump.h"
#include "iteration/normal_equations.h"
#include "iteration/observation_assembly.h"
#include "model_access/apply_corrections.h"
#include "model_access/unknown_numbering.h"
#include "solvers/solve_dispatch.h"

namespace {

// Solver codes that only evaluate the observations: no normal equations, no solve, and all
// corrections zero.
bool IsEvaluationOnly(unsigned char solverCode) {
  return solverCode == 200 || solverCode == 201;
}

void DumpDesign(const SparseMatrix& A, const SparseMatrix& P, const DenseVector& l,
                std::FILE* stream) {
  std::fprintf(stream, "Matrix A\n");
  DumpSparseMatrix(A, stream);
  std::fprintf(stream, "\n\nMatrix P\n");
  DumpSparseMatrix(P, stream);
  std::fprintf(stream, "\n\nVektor l\n");
  DumpVector(l, stream);
}

void DumpNormalEquations(const SparseMatrix& N, const DenseVector& b, std::FILE* stream) {
  std::fprintf(stream, "\n\nMatrix N\n");
  DumpSparseMatrix(N, stream);
  // "Vecktor" is the heading readers of these dumps search for; the spelling stays.
  std::fprintf(stream, "\n\nVecktor b\n");
  DumpVector(b, stream);
}

void DumpSolution(const DenseVector& x, std::FILE* stream) {
  std::fprintf(stream, "\n\nVektor x\n");
  DumpVector(x, stream);
}

}  // namespace

namespace ZR {

bool AdjustmentModel::Iterate(double& sigma0Out, double stepFactor, double maxCorrection,
                              bool adaptiveWeights, bool computeInverse, unsigned char solverCode,
                              unsigned int /*reserved*/, double solverParameter,
                              double* solverResidual) {
  ++iterationCount;
  // The library's one piece of process-lifetime state: created empty on the first step and
  // released when the process ends. No step reads or writes it; it stays so that loading and
  // unloading the library behave as they always have.
  static std::vector<double> processLifetimeScratch;
  static_cast<void>(processLifetimeScratch);
  StepClock clock;

  // Number the unknowns and create the step's matrices.
  unknowns = NumberUnknowns(values, fixedValues);
  const auto unknownTotal = static_cast<std::uint32_t>(unknowns.size());
  const auto observationTotal = static_cast<std::uint32_t>(observations.size());
  observationCount = observationTotal;
  unknownCount = unknownTotal;
  SparseMatrix A(observationTotal, unknownTotal);
  SparseMatrix P(observationTotal, observationTotal);
  SparseMatrix T;
  SparseMatrix N;
  DenseVector l(observationTotal);
  DenseVector b;
  timeSetup = clock.SinceStart();

  // Assemble A, P and l.
  NotifyBeforeIteration(participants);
  AssembleObservations(observations, unknowns, adaptiveWeights, weightScale, correctionLog, A, P,
                       l);
  timeEvaluation = clock.SinceLap();
  if (matrixDump != nullptr) {
    DumpDesign(A, P, l, matrixDump);
  }
  clock.Restart();  // dumping counts in no timer

  DenseVector x(unknownTotal);
  if (IsEvaluationOnly(solverCode)) {
    timeSetup += clock.Lap();
    clock.Restart();
    if (solverResidual != nullptr) {
      SumLeadingSquaredResiduals(A, x, l, unknownTotal, *solverResidual);
    }
  } else {
    // Form N and b, add the damping and the datum, solve.
    FormNormalEquations(A, P, l, T, N, b);
    // A, P, AᵀP and l are spent once N and b exist: handing their memory back before the
    // solve keeps the step's peak to N and its factor. Nothing reads them again in this step.
    A = SparseMatrix();
    P = SparseMatrix();
    T = SparseMatrix();
    l = DenseVector();
    timeSetup += clock.Lap();
    AddDiagonalDamping(N, diagonalDamping);
    if (!points.empty()) {
      AddDatum(N, points, unknowns);
    }
    if (matrixDump != nullptr) {
      DumpNormalEquations(N, b, matrixDump);
    }
    clock.Restart();
    double residualScratch = 0.0;
    SolveNormalEquations(N, b, x, solverCode, solverParameter,
                         solverResidual != nullptr ? solverResidual : &residualScratch);
  }
  timeSolve = clock.Lap();
  if (matrixDump != nullptr) {
    DumpSolution(x, matrixDump);
  }

  // Apply the corrections and re-evaluate.
  ApplyCorrections(unknowns, fixedValues, x, &stepFactor, &maxCorrection, correctionLog);
  NotifyAfterCorrections(participants);
  ComputeSigma0(observations, observationTotal, unknownTotal, sigma0Out);
  sigma0 = sigma0Out;
  timeEvaluation += clock.Lap();

  if (computeInverse) {
    // The inverse is of N as solved, damping and datum included. The datum term is then taken
    // off the local N again, rebuilt from the corrected coordinates; N dies with the step.
    InvertCompact(N, normalInverse);
    if (!points.empty()) {
      SubtractDatum(N, points, unknowns);
    }
  } else {
    normalInverse = SparseMatrix(unknownTotal, unknownTotal);
  }

  timeTotal = clock.SinceStart();
  return true;
}

}  // namespace ZR
