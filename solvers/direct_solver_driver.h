#pragma once
// Driver of the sparse direct solver for one real symmetric system N·x = b.
//
// The system is read from a process-wide hand-over area rather than from arguments: whoever
// wants a solve fills the area and calls SolveWithPardiso(). Nothing in the adjustment fills it,
// so there the driver runs on the area's initial contents (order 0, no records). The area is
// unguarded: concurrent calls are not supported.

#include <cstdint>

// One matrix entry of the hand-over area, zero-based indices.
struct PardisoTriplet {
  std::uint32_t column;
  std::uint32_t row;
  double value;
};

// The hand-over area; all zero (null) at load time.
// Records ordered by row and, within a row, by ascending column; the driver does not sort.
// Entries below the diagonal may be given and are skipped; a row whose first entry on or above
// the diagonal lies right of it gets a 0.0 diagonal. Repeated (row, column) pairs are passed on.
extern PardisoTriplet* pardisoTriplets;
extern std::int32_t pardisoDimension;      // n, the order of the matrix
extern std::uint64_t pardisoTripletCount;  // number of records in pardisoTriplets
extern double* pardisoSolution;            // n doubles, receives x
extern double* pardisoRightHandSide;       // n doubles, supplies b

// Solves the system of the hand-over area with the symmetric indefinite sparse direct solver
// (analysis, factorisation, solve with iterative refinement, release) and writes x to
// pardisoSolution. The solver runs as many threads as the OpenMP maximum at the call.
//
// Output: on success the progress texts of the analysis on standard output (the solver library
// adds its own statistics). Failure of a phase is reported to nobody: pardisoSolution gets n
// zeros, and the solver's internal memory is not released (kept so on purpose).
// A row without any entry on or above its diagonal between two rows that have one ends the
// process at once with exit code −1.
// Allocation failure raises std::bad_alloc; working arrays that would grow past their maximum
// (a record count beyond what a vector can hold) raise std::length_error("vector<T> too long")
// before any record is read. Nothing else is checked: n, the records and both arrays must agree.
void SolveWithPardiso();
