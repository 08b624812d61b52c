#pragma once
// One network from its records to its report, with no file of its own written: the stages that
// main wires together, callable from a test or a fuzzer with everything in memory.

#include <cstdio>
#include <optional>
#include <ostream>
#include <string>

#include "tools/zr-adjust/network/network_reader.h"
#include "tools/zr-adjust/options.h"
#include "tools/zr-adjust/report/adjustment_report.h"

namespace zradjust {

// The program's exit statuses.
inline constexpr int exitConverged = 0;
inline constexpr int exitNotConverged = 1;
inline constexpr int exitBadInput = 2;
inline constexpr int exitNumericalFailure = 3;

struct Outcome {
  int exitStatus = exitConverged;
  // The results to report; empty when there are none to show (bad input, an undefined datum,
  // a numerical failure).
  std::optional<AdjustmentReport> report;
};

// Adjusts the network that read holds (it must have no errors) under the options. messages
// gets warnings, errors and, unless the options say quiet, one progress line per iteration;
// log and dump are the library's correction log and matrix dump (null for none). Exceptions of
// the library are caught and reported as bad input.
//
// The road, in order:
// - the datum is analysed at the approximate coordinates before anything is iterated
//   (datum/datum_analysis.h): an undefined datum is exit status 2 with the analysis' messages
//   and no report; what only the damping holds is a warning;
// - a free network's defect is held while iterating by the library's seven conditions where
//   they hold it (3D points), otherwise by a minimal datum of the program's own
//   (ModelObjects::Hold, and no network points for the library);
// - a step whose corrections do not solve its normal equations, or values that are no longer
//   finite, end the run with exit status 3 and no report;
// - the adjusted values of a free network are moved into the minimum-trace datum over its
//   datum points in the value objects themselves (datum/minimum_trace.h: the exact motion of the
//   defect, so that no adjusted observation changes), and only then is the report collected:
//   its coordinates are the transformed ones, and the defect's G is re-evaluated there for the
//   S-transformation of the cofactors, which uses the same G and datum unknowns;
// - CollectReport gets the analysis' DatumBasis, d and the report's datum section (kind,
//   defect, parameters, datum points) through its CollectionInputs.
Outcome AdjustNetwork(const Options& options, const ReadResult& read, std::ostream& messages,
                      std::FILE* log, std::FILE* dump);

}  // namespace zradjust
