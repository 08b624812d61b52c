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
Outcome AdjustNetwork(const Options& options, const ReadResult& read, std::ostream& messages,
                      std::FILE* log, std::FILE* dump);

}  // namespace zradjust
