#pragma once
// The results of the macro benchmark and their Markdown tables on standard output.

#include <cstdint>
#include <string>
#include <vector>

#include "bench/end_to_end.h"

// Two solutions of the same system agree when they differ by less than this, relative to ours
// in the 2-norm; well above what rounding in different elimination orders gives on N.
constexpr double kAgreementTolerance = 1e-8;

struct PeerRow {
  std::string name;
  double seconds = 0.0;
  double cpuSeconds = 0.0;
  double difference = 0.0;
  std::string error;
};

struct SizeResult {
  std::uint32_t points = 0;
  std::uint64_t unknowns = 0;
  std::uint64_t observations = 0;
  int steps = 0;
  double timeSetup = 0.0;  // milliseconds per step, from the model's timers
  double timeEvaluation = 0.0;
  double timeSolve = 0.0;
  double timeTotal = 0.0;
  double wallPerStep = 0.0;  // seconds
  double sigma0 = 0.0;
  long peakResidentKiB = 0;
  std::uint64_t entries = 0;
  std::uint64_t profileInput = 0;
  std::uint64_t profileRcm = 0;
  std::uint64_t multiplyAdds = 0;
  double factorizeSeconds = 0.0;
  double factorizeCpuSeconds = 0.0;
  double solveCompactSeconds = 0.0;
  double solveCompactCpuSeconds = 0.0;
  bool compactOk = false;
  std::vector<PeerRow> peers;
};

// One column per size, one row per quantity and peer. Returns false when a peer disagreed with
// our solution or failed.
bool PrintSizeTable(const std::vector<SizeResult>& results);

// One row per run. Returns false when a run did not end with exit status 0.
bool PrintEndToEndTable(const std::vector<EndToEndResult>& results);
