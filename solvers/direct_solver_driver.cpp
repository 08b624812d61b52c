#include "solvers/direct_solver_driver.h"

#include <mkl_pardiso.h>
#include <mkl_service.h>
#include <omp.h>

#include <cstdio>
#include <cstdlib>
#include <type_traits>
#include <vector>

#include "sparse/container_limits.h"

PardisoTriplet* pardisoTriplets = nullptr;
std::int32_t pardisoDimension = 0;
std::uint64_t pardisoTripletCount = 0;
double* pardisoSolution = nullptr;
double* pardisoRightHandSide = nullptr;

namespace {

// The fixed settings of every call: one matrix, real symmetric indefinite, one right-hand
// side, the solver prints its statistics.
constexpr MKL_INT maximumFactorizations = 1;
constexpr MKL_INT matrixNumber = 1;
constexpr MKL_INT realSymmetricIndefinite = -2;
constexpr MKL_INT oneRightHandSide = 1;
constexpr MKL_INT printStatistics = 1;

constexpr MKL_INT phaseAnalysis = 11;
constexpr MKL_INT phaseFactorization = 22;
constexpr MKL_INT phaseSolve = 33;
constexpr MKL_INT phaseRelease = -1;

constexpr int handleWordCount = 64;
constexpr int controlWordCount = 64;
constexpr int refinementSteps = 2;
// Room for the longest failure text with any error code.
constexpr int messageBufferSize = 208;

// One-based upper triangle of the hand-over records, row by row, every row with its diagonal.
struct UpperRows {
  std::vector<MKL_INT> ia;
  std::vector<MKL_INT> ja;
  std::vector<double> a;
};

// The working arrays grow through these two, so that growth past a vector's maximum raises
// std::length_error with the library's own "vector<T> too long", as everywhere else.
template <class Element>
void ReserveChecked(std::vector<Element>& array, std::uint64_t length) {
  CheckGrowth(0, length, array.max_size(), kVectorTooLong);
  array.reserve(static_cast<std::size_t>(length));
}

template <class Element>
void AppendChecked(std::vector<Element>& array, std::type_identity_t<Element> element) {
  CheckGrowth(array.size(), 1, array.max_size(), kVectorTooLong);
  array.push_back(element);
}

// Keeps the entries on and above the diagonal, inserts 0.0 where a row's first kept entry lies
// right of its diagonal, and turns the indices one-based. A row between two rows with kept
// entries that has none of its own ends the process with −1, there and then.
void BuildUpperRows(UpperRows& rows) {
  ReserveChecked(rows.a, pardisoTripletCount);
  AppendChecked(rows.ia, 1);
  MKL_INT currentRow = 0;
  MKL_INT kept = 0;
  bool diagonalSeen = false;
  for (std::uint64_t t = 0; t < pardisoTripletCount; ++t) {
    MKL_INT column = static_cast<MKL_INT>(pardisoTriplets[t].column);
    MKL_INT row = static_cast<MKL_INT>(pardisoTriplets[t].row);
    if (row > column) {
      continue;
    }
    ++kept;
    if (row > currentRow) {
      if (row > currentRow + 1) {
        std::exit(-1);
      }
      AppendChecked(rows.ia, kept);
      currentRow = row;
      diagonalSeen = false;
    }
    if (!diagonalSeen) {
      if (column > currentRow) {
        // The solver wants every diagonal stored explicitly.
        AppendChecked(rows.ja, currentRow + 1);
        AppendChecked(rows.a, 0.0);
        ++kept;
        diagonalSeen = true;
      } else if (column == currentRow) {
        diagonalSeen = true;
      }
    }
    AppendChecked(rows.ja, column + 1);
    AppendChecked(rows.a, pardisoTriplets[t].value);
  }
  AppendChecked(rows.ia, kept + 1);
}

// The callback handed to the library before each call. The library consults its progress
// routine during long computations; answering 0 tells it to go on, exactly what its built-in
// routine answers, so the registration changes no result and prints nothing.
int IgnoreProgress(int* /*thread*/, int* /*step*/, char* /*stage*/, int /*stageLength*/) {
  return 0;
}

// Entry shim of every solver call: registers IgnoreProgress unless a progress routine is
// registered already, so that the first registration in the process stays (the host's own, if
// it set one before us).
void RegisterProgressCallback() {
  ProgressEntry previous = mkl_set_progress(IgnoreProgress);
  if (previous != nullptr && previous != IgnoreProgress) {
    mkl_set_progress(previous);
  }
}

struct SolverCall {
  void* pt[handleWordCount] = {};
  MKL_INT iparm[controlWordCount] = {};
  MKL_INT n = 0;
  MKL_INT error = 0;
  double dummy = 0.0;
};

void CallPardiso(SolverCall& call, MKL_INT phase, UpperRows& rows, std::vector<MKL_INT>& perm,
                 void* b, void* x) {
  RegisterProgressCallback();
  pardiso(call.pt, &maximumFactorizations, &matrixNumber, &realSymmetricIndefinite, &phase, &call.n,
          rows.a.data(), rows.ia.data(), rows.ja.data(), perm.data(), &oneRightHandSide, call.iparm,
          &printStatistics, b, x, &call.error);
}

void SetControlWords(MKL_INT* iparm) {
  iparm[0] = 1;                      // own settings, not the solver's defaults
  iparm[1] = 2;                      // nested dissection ordering
  iparm[2] = omp_get_max_threads();  // number of processors
  iparm[7] = refinementSteps;        // maximum iterative refinement steps
  iparm[9] = 13;                     // pivot perturbation 1.0E-13
  iparm[10] = 1;                     // scaling on
  iparm[17] = -1;                    // out: non-zeros in the factors
  iparm[18] = -1;                    // out: factorisation MFLOPS
}

}  // namespace

void SolveWithPardiso() {
  SolverCall call;
  call.n = pardisoDimension;
  UpperRows rows;
  BuildUpperRows(rows);

  std::vector<double> b(static_cast<std::size_t>(call.n > 0 ? call.n : 0));
  std::vector<double> x(b.size());
  std::vector<MKL_INT> perm(b.size(), 0);
  SetControlWords(call.iparm);
  call.error = 0;
  char message[messageBufferSize];

  // The failure texts go into the buffer only: the solver's failures are nobody's business
  // outside this driver. On failure the release phase is skipped on purpose.
  auto fail = [&](const char* format) {
    std::sprintf(message, format, static_cast<int>(call.error));
    b = {};
    x = {};
    rows.a = {};
    perm = {};
    for (MKL_INT i = 0; i < call.n; ++i) {
      pardisoSolution[i] = 0.0;
    }
  };

  CallPardiso(call, phaseAnalysis, rows, perm, &call.dummy, &call.dummy);
  if (call.error != 0) {
    fail("ERROR during symbolic factorization: %d");
    return;
  }
  std::printf("\nReordering completed ... ");
  std::printf("\nNumber of nonzeros in factors = %d", static_cast<int>(call.iparm[17]));
  std::printf("\nNumber of factorization MFLOPS = %d", static_cast<int>(call.iparm[18]));

  CallPardiso(call, phaseFactorization, rows, perm, &call.dummy, &call.dummy);
  if (call.error != 0) {
    fail("ERROR during numerical factorization: %d");
    return;
  }

  call.iparm[7] = refinementSteps;
  for (MKL_INT i = 0; i < call.n; ++i) {
    b[i] = pardisoRightHandSide[i];
  }
  CallPardiso(call, phaseSolve, rows, perm, b.data(), x.data());
  if (call.error != 0) {
    fail("ERROR during solution: %d");
    return;
  }
  for (MKL_INT i = 0; i < call.n; ++i) {
    pardisoSolution[i] = x[i];
  }

  CallPardiso(call, phaseRelease, rows, perm, &call.dummy, &call.dummy);
}
