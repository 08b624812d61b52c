// zr-macro-bench: whole adjustment steps on generated networks, the compact solver against its
// peers on the same normal equations, and zr-adjust end to end.
//
//   zr-macro-bench [--sizes 1000,5000,20000] [--large] [--steps 2] [--seed 1] [--no-peers]
//                  [--zr-adjust PATH] [--end-to-end-inverse-points 1000]
//                  [--end-to-end-points 10000,...] [--workdir DIR]
//
// --large adds a network of 100,000 points (a few minutes with the peers). The model is built
// as a host builds it, with the public framework types (bench/bench_model.h); the peers and our
// compact solve then run on N and b formed by the benchmark from the same observation objects.
// Each peer runs with the whole machine and again on one thread.
//
// Prints Markdown tables on standard output, progress on standard error. Exit status 0, 1 when
// a peer's solution disagrees with ours or a run failed, 2 for bad options.

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include "bench/bench_model.h"
#include "bench/bench_support.h"
#include "bench/network_generator.h"
#include "bench/peer_solvers.h"
#include "iteration/adjustment_model.h"
#include "solvers/compact_test_support.h"

#ifndef ZR_ADJUST_EXECUTABLE
#define ZR_ADJUST_EXECUTABLE ""
#endif

namespace {

using Clock = std::chrono::steady_clock;

// Two solutions of the same system agree when they differ by less than this, relative to ours
// in the 2-norm; well above what rounding in different elimination orders gives on N.
constexpr double kAgreementTolerance = 1e-8;

struct MacroOptions {
  std::vector<std::uint32_t> sizes{1000, 5000, 20000};
  int steps = 2;
  std::uint64_t seed = 1;
  bool peers = true;
  std::string zrAdjust = ZR_ADJUST_EXECUTABLE;
  std::uint32_t endToEndInversePoints = 1000;
  std::vector<std::uint32_t> endToEndPoints{10000};
  std::string workDirectory = "/tmp";
};

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

struct EndToEndResult {
  std::uint32_t points = 0;
  std::uint32_t unknowns = 0;
  bool inverse = false;
  int exitStatus = -1;
  double wallSeconds = 0.0;
  double cpuSeconds = 0.0;
  long peakResidentKiB = 0;
};

[[noreturn]] void Usage(const std::string& problem) {
  std::cerr << "zr-macro-bench: " << problem << "\n"
            << "usage: zr-macro-bench [--sizes N,N,...] [--large] [--steps N] [--seed S]\n"
               "                      [--no-peers] [--zr-adjust PATH]\n"
               "                      [--end-to-end-inverse-points N]\n"
               "                      [--end-to-end-points N,N,...] [--workdir DIR]\n"
               "  a points count of 0 for an end-to-end run skips it\n";
  std::exit(2);
}

std::uint64_t ParseCount(const char* text, const std::string& option) {
  if (text == nullptr) {
    Usage(option + " needs a value");
  }
  char* end = nullptr;
  const unsigned long long value = std::strtoull(text, &end, 10);
  if (*text == '\0' || *text == '-' || *end != '\0' || value > UINT32_MAX) {
    Usage("bad value for " + option + ": '" + text + "'");
  }
  return value;
}

// A comma-separated list of counts, at least one.
std::vector<std::uint32_t> ParseCounts(const char* text, const std::string& option) {
  std::vector<std::uint32_t> counts;
  std::stringstream list(text != nullptr ? text : "");
  std::string item;
  while (std::getline(list, item, ',')) {
    counts.push_back(static_cast<std::uint32_t>(ParseCount(item.c_str(), option)));
  }
  if (counts.empty()) {
    Usage(option + " needs at least one count");
  }
  return counts;
}

MacroOptions ParseOptions(int argc, char** argv) {
  MacroOptions options;
  for (int index = 1; index < argc; ++index) {
    const std::string argument = argv[index];
    const char* value = index + 1 < argc ? argv[index + 1] : nullptr;
    if (argument == "--no-peers") {
      options.peers = false;
      continue;
    }
    if (argument == "--large") {
      options.sizes.push_back(100000);
      continue;
    }
    if (argument == "--help" || argument == "-h") {
      Usage("help");
    }
    ++index;
    if (argument == "--sizes") {
      options.sizes = ParseCounts(value, argument);
    } else if (argument == "--steps") {
      options.steps = static_cast<int>(std::max<std::uint64_t>(1, ParseCount(value, argument)));
    } else if (argument == "--seed") {
      options.seed = ParseCount(value, argument);
    } else if (argument == "--zr-adjust" && value != nullptr) {
      options.zrAdjust = value;
    } else if (argument == "--end-to-end-inverse-points") {
      options.endToEndInversePoints = static_cast<std::uint32_t>(ParseCount(value, argument));
    } else if (argument == "--end-to-end-points") {
      options.endToEndPoints = ParseCounts(value, argument);
    } else if (argument == "--workdir" && value != nullptr) {
      options.workDirectory = value;
    } else {
      Usage("unknown or incomplete option '" + argument + "'");
    }
  }
  return options;
}

double SecondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

// Clears the kernel's high-water mark of the resident set, so that the next reading covers
// only what follows. Without it (older kernels) the reading is the peak of the whole process.
void ResetPeakResident() {
  std::ofstream clear("/proc/self/clear_refs");
  clear << "5";
}

long PeakResidentKiB() {
  std::ifstream status("/proc/self/status");
  std::string line;
  while (std::getline(status, line)) {
    if (line.rfind("VmHWM:", 0) == 0) {
      return std::strtol(line.c_str() + 6, nullptr, 10);
    }
  }
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss;
}

NetworkGeneratorOptions GeneratorOptions(std::uint32_t points, std::uint64_t seed) {
  NetworkGeneratorOptions options;
  options.pointCount = points;
  options.seed = seed;
  return options;
}

using PeerSolver = PeerResult (*)(const LowerColumns&, const std::vector<double>&);
constexpr PeerSolver kPeers[] = {&SolveWithEigen, &SolveWithCholmod, &SolveWithPardisoDriver};
// Each peer with the machine's threads, then on one thread (Eigen's LDLᵀ has one thread only).
constexpr int kPeerThreadChoices[] = {0, 1};

// One solve of a small system by every peer, so that one-time set-up (thread pools, library
// initialisation) does not land in the first measurement.
void WarmUpPeers() {
  const GeneratedNetwork generated = GenerateNetwork(GeneratorOptions(50, 1));
  const NetworkSystem system = BuildNetworkSystem(generated);
  SparseMatrix N;
  DenseVector b;
  FormNetworkNormalEquations(system, N, b);
  const LowerColumns lower = ToLowerColumns(N);
  const std::vector<double> rightHandSide(b.data(), b.data() + b.size());
  for (const PeerSolver solve : kPeers) {
    for (const int threads : kPeerThreadChoices) {
      SetPeerThreads(threads);
      solve(lower, rightHandSide);
    }
  }
  SetPeerThreads(0);
}

void CompareSolvers(const SparseMatrix& N, const DenseVector& b, bool peers, SizeResult& result) {
  const std::uint32_t n = N.RowCount();

  const compact_test_support::CompactFactorisation factorisation =
      compact_test_support::FactorizeCompactForm(N);
  if (factorisation.built) {
    result.multiplyAdds = CompactFactorizeMultiplyAdds(n, factorisation.diagPos.data());
    result.factorizeSeconds = factorisation.seconds;
    result.factorizeCpuSeconds = factorisation.cpuSeconds;
  }

  DenseVector x = b;
  const Clock::time_point start = Clock::now();
  const double cpuStart = compact_test_support::ThreadCpuSeconds();
  result.compactOk = compact_test_support::SolveCompactly(N, x);
  result.solveCompactSeconds = SecondsSince(start);
  result.solveCompactCpuSeconds = compact_test_support::ThreadCpuSeconds() - cpuStart;
  if (!peers) {
    return;
  }

  const LowerColumns lower = ToLowerColumns(N);
  const std::vector<double> rightHandSide(b.data(), b.data() + b.size());
  for (const PeerSolver solve : kPeers) {
    for (const int threads : kPeerThreadChoices) {
      const int used = SetPeerThreads(threads);
      const PeerResult peer = solve(lower, rightHandSide);
      const int shown = peer.singleThreaded ? 1 : used;
      if (threads == 1 && peer.singleThreaded) {
        continue;  // the same run again
      }
      PeerRow row{peer.name + ", " + std::to_string(shown) + (shown == 1 ? " thread" : " threads"),
                  peer.seconds, peer.cpuSeconds, 0.0, peer.error};
      if (row.error.empty()) {
        row.difference = RelativeDifference(peer.x.data(), x.data(), n);
      }
      std::cerr << "  " << row.name << ": " << peer.seconds << " s\n";
      result.peers.push_back(row);
    }
  }
  SetPeerThreads(0);
}

SizeResult MeasureSize(std::uint32_t points, const MacroOptions& options) {
  SizeResult result;
  result.points = points;
  std::cerr << "zr-macro-bench: " << points << " points\n";
  const GeneratedNetwork generated = GenerateNetwork(GeneratorOptions(points, options.seed));
  // The model as a host builds it, unknowns in reverse Cuthill-McKee order.
  BenchModel benchModel(generated);
  ZR::AdjustmentModel& model = benchModel.Model();

  ResetPeakResident();
  for (int step = 0; step < options.steps; ++step) {
    double sigma0 = 0.0;
    double residual = 0.0;
    const Clock::time_point start = Clock::now();
    model.Iterate(sigma0, 1.0, 1e10, false, false, 0, 0, 0.0, &residual);
    const double seconds = SecondsSince(start);
    std::cerr << "  step " << step + 1 << ": " << seconds << " s, sigma0 " << sigma0 << "\n";
    result.wallPerStep += seconds;
    result.timeSetup += model.timeSetup;
    result.timeEvaluation += model.timeEvaluation;
    result.timeSolve += model.timeSolve;
    result.timeTotal += model.timeTotal;
    result.sigma0 = sigma0;
  }
  result.peakResidentKiB = PeakResidentKiB();
  result.steps = options.steps;
  for (double* average : {&result.wallPerStep, &result.timeSetup, &result.timeEvaluation,
                          &result.timeSolve, &result.timeTotal}) {
    *average /= options.steps;
  }
  result.unknowns = model.unknownCount;
  result.observations = model.observationCount;

  SparseMatrix N;
  DenseVector b;
  benchModel.FormNormalEquations(N, b);
  result.entries = N.EntryCount();
  result.profileRcm = CompactProfileSlots(N);
  result.profileInput = CompactProfileSlots(N, benchModel.DeclarationColumns());
  CompareSolvers(N, b, options.peers, result);
  return result;
}

// Runs zr-adjust on a generated file in a child process and takes its time and peak memory
// from wait4.
EndToEndResult RunEndToEnd(std::uint32_t points, bool inverse, const MacroOptions& options) {
  EndToEndResult result;
  result.points = points;
  result.inverse = inverse;
  const GeneratedNetwork generated = GenerateNetwork(GeneratorOptions(points, options.seed));
  result.unknowns = UnknownCount(generated);
  const std::string path = options.workDirectory + "/zr-macro-bench-" + std::to_string(getpid()) +
                           "-" + std::to_string(points) + ".net";
  {
    std::ofstream file(path, std::ios::binary);
    WriteNetworkFile(generated, file);
    if (!file) {
      std::cerr << "zr-macro-bench: cannot write " << path << "\n";
      return result;
    }
  }
  std::cerr << "zr-macro-bench: zr-adjust on " << points << " points\n";
  const std::string inverseChoice = inverse ? "always" : "never";
  const char* arguments[] = {options.zrAdjust.c_str(), "--inverse", inverseChoice.c_str(),
                             path.c_str(), nullptr};
  const Clock::time_point start = Clock::now();
  const pid_t child = fork();
  if (child == 0) {
    std::freopen("/dev/null", "w", stdout);
    std::freopen("/dev/null", "w", stderr);
    execv(arguments[0], const_cast<char* const*>(arguments));
    _exit(127);
  }
  int status = 0;
  rusage usage{};
  if (child > 0 && wait4(child, &status, 0, &usage) == child) {
    result.wallSeconds = SecondsSince(start);
    result.exitStatus = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    result.cpuSeconds = static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
                        1e-6 * static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec);
    result.peakResidentKiB = usage.ru_maxrss;
  }
  std::remove(path.c_str());
  return result;
}

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

}  // namespace

int main(int argc, char** argv) {
  const MacroOptions options = ParseOptions(argc, argv);

  // The end-to-end runs come first, while this process is still small: a child's peak
  // resident memory as the kernel reports it starts from what the child inherited at fork.
  std::vector<EndToEndResult> endToEnd;
  if (!options.zrAdjust.empty()) {
    if (options.endToEndInversePoints > 0) {
      endToEnd.push_back(RunEndToEnd(options.endToEndInversePoints, true, options));
    }
    for (const std::uint32_t points : options.endToEndPoints) {
      if (points > 0) {
        endToEnd.push_back(RunEndToEnd(points, false, options));
      }
    }
  }
  if (options.peers) {
    WarmUpPeers();
  }
  std::vector<SizeResult> sizes;
  for (const std::uint32_t points : options.sizes) {
    sizes.push_back(MeasureSize(points, options));
  }

  std::cout << "Seed " << options.seed << ", one fixed point; peer ratios are the peer's time "
            << "over ours (SolveCompact), agreement tolerance " << kAgreementTolerance
            << " relative in the 2-norm.\n\n";
  bool succeeded = PrintSizeTable(sizes);
  if (!endToEnd.empty()) {
    succeeded = PrintEndToEndTable(endToEnd) && succeeded;
  }
  for (const SizeResult& result : sizes) {
    succeeded = succeeded && result.compactOk;
  }
  return succeeded ? 0 : 1;
}
