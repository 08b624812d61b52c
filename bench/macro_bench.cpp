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
#include "bench/end_to_end.h"
#include "bench/macro_report.h"
#include "bench/network_generator.h"
#include "bench/peer_solvers.h"
#include "iteration/adjustment_model.h"
#include "solvers/compact_test_support.h"

#ifndef ZR_ADJUST_EXECUTABLE
#define ZR_ADJUST_EXECUTABLE ""
#endif

namespace {

using Clock = std::chrono::steady_clock;

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

// zr-adjust end to end on the generated network of points.
EndToEndResult RunEndToEnd(std::uint32_t points, bool inverse, const MacroOptions& options) {
  std::cerr << "zr-macro-bench: zr-adjust on " << points << " points\n";
  const GeneratedNetwork generated = GenerateNetwork(GeneratorOptions(points, options.seed));
  return RunZrAdjust(options.zrAdjust, generated, inverse, options.workDirectory);
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
