#include "bench/macro_report.h"

#include <cstdio>
#include <iostream>

namespace {

std::string Format(const char* format, double value) {
  char text[64];
  std::snprintf(text, sizeof text, format, value);
  return text;
}

std::string Count(std::uint64_t value) {
  std::string digits = std::to_string(value);
  for (int position = static_cast<int>(digits.size()) - 3; position > 0; position -= 3) {
    digits.insert(static_cast<std::size_t>(position), ",");
  }
  return digits;
}

void PrintRow(const std::string& label, const std::vector<std::string>& cells) {
  std::cout << "| " << label << " |";
  for (const std::string& cell : cells) {
    std::cout << " " << cell << " |";
  }
  std::cout << "\n";
}

template <typename Cell>
void PrintMetric(const std::string& label, const std::vector<SizeResult>& results, Cell cell) {
  std::vector<std::string> cells;
  for (const SizeResult& result : results) {
    cells.push_back(cell(result));
  }
  PrintRow(label, cells);
}

// Returns false when a peer disagreed or failed.
}  // namespace

bool PrintSizeTable(const std::vector<SizeResult>& results) {
  std::vector<std::string> header;
  std::vector<std::string> rule;
  for (const SizeResult& result : results) {
    header.push_back(Count(result.points) + " points");
    rule.push_back("---:");
  }
  PrintRow("", header);
  PrintRow("---", rule);
  PrintMetric("unknowns", results, [](const SizeResult& r) { return Count(r.unknowns); });
  PrintMetric("observations", results, [](const SizeResult& r) { return Count(r.observations); });
  PrintMetric("steps timed", results, [](const SizeResult& r) { return std::to_string(r.steps); });
  PrintMetric("timeSetup per step (ms)", results,
              [](const SizeResult& r) { return Format("%.0f", r.timeSetup); });
  PrintMetric("timeEvaluation per step (ms)", results,
              [](const SizeResult& r) { return Format("%.0f", r.timeEvaluation); });
  PrintMetric("timeSolve per step (ms)", results,
              [](const SizeResult& r) { return Format("%.0f", r.timeSolve); });
  PrintMetric("timeTotal per step (ms)", results,
              [](const SizeResult& r) { return Format("%.0f", r.timeTotal); });
  PrintMetric("wall time per step (ms)", results,
              [](const SizeResult& r) { return Format("%.1f", 1e3 * r.wallPerStep); });
  PrintMetric("sigma0 after the last step", results,
              [](const SizeResult& r) { return Format("%.4f", r.sigma0); });
  PrintMetric("peak resident memory during the steps (MiB)", results,
              [](const SizeResult& r) { return Format("%.1f", r.peakResidentKiB / 1024.0); });
  PrintMetric("stored entries of N", results, [](const SizeResult& r) { return Count(r.entries); });
  PrintMetric("compact profile of N, input order (slots)", results,
              [](const SizeResult& r) { return Count(r.profileInput); });
  PrintMetric("compact profile of N, RCM order (slots)", results,
              [](const SizeResult& r) { return Count(r.profileRcm); });
  PrintMetric("COMPACT_FACTORIZE_2 multiply-adds", results,
              [](const SizeResult& r) { return Count(r.multiplyAdds); });
  PrintMetric("COMPACT_FACTORIZE_2 time (ms)", results,
              [](const SizeResult& r) { return Format("%.1f", 1e3 * r.factorizeSeconds); });
  PrintMetric("factorisation rate (10⁹ multiply-adds/s): wall, CPU", results,
              [](const SizeResult& r) {
                if (r.factorizeSeconds <= 0.0 || r.factorizeCpuSeconds <= 0.0)
                  return std::string("–");
                return Format("%.2f", r.multiplyAdds / r.factorizeSeconds / 1e9) + ", " +
                       Format("%.2f", r.multiplyAdds / r.factorizeCpuSeconds / 1e9);
              });
  PrintMetric("ours: SolveCompact, build + factorise + solve (ms, CPU ms)", results,
              [](const SizeResult& r) {
                return Format("%.1f", 1e3 * r.solveCompactSeconds) + " (CPU " +
                       Format("%.1f", 1e3 * r.solveCompactCpuSeconds) + ")" +
                       (r.compactOk ? "" : " (failed)");
              });

  bool agreed = true;
  const std::size_t peerCount = results.empty() ? 0 : results.front().peers.size();
  for (std::size_t peer = 0; peer < peerCount; ++peer) {
    PrintMetric(results.front().peers[peer].name + ": ms (CPU ms), time/ours (CPU/ours), ‖Δx‖/‖x‖",
                results, [peer, &agreed](const SizeResult& r) {
                  const PeerRow& row = r.peers[peer];
                  if (!row.error.empty()) {
                    agreed = false;
                    return row.error;
                  }
                  const bool agrees = row.difference <= kAgreementTolerance;
                  agreed = agreed && agrees;
                  const auto ratio = [](double peer, double ours) {
                    return ours > 0.0 ? peer / ours : 0.0;
                  };
                  // Processor time says what a run cost only when it ran on one thread.
                  const bool oneThread = row.name.find(", 1 thread") != std::string::npos;
                  return Format("%.1f", 1e3 * row.seconds) +
                         (oneThread ? Format(" (%.1f)", 1e3 * row.cpuSeconds) : " (–)") +
                         Format(", %.2f×", ratio(row.seconds, r.solveCompactSeconds)) +
                         (oneThread
                              ? Format(" (%.2f×)", ratio(row.cpuSeconds, r.solveCompactCpuSeconds))
                              : " (–)") +
                         Format(", %.1e", row.difference) + (agrees ? "" : " DISAGREES");
                });
  }
  return agreed;
}

bool PrintEndToEndTable(const std::vector<EndToEndResult>& results) {
  bool succeeded = true;
  std::cout << "\n| zr-adjust end to end | unknowns | inverse | exit status | wall (s) | "
               "CPU (s) | peak resident memory (MiB) |\n"
            << "| --- | ---: | --- | ---: | ---: | ---: | ---: |\n";
  for (const EndToEndResult& result : results) {
    succeeded = succeeded && result.exitStatus == 0;
    std::cout << "| " << Count(result.points) << " points | " << Count(result.unknowns) << " | "
              << (result.inverse ? "yes" : "no") << " | " << result.exitStatus << " | "
              << Format("%.2f", result.wallSeconds) << " | " << Format("%.2f", result.cpuSeconds)
              << " | " << Format("%.1f", result.peakResidentKiB / 1024.0) << " |\n";
  }
  return succeeded;
}
