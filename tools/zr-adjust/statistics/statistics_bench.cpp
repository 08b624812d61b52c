// The statistics of a generated network, timed phase by phase: what CollectReport adds to a
// run beyond the adjustment (forming N, the ordering and factorisation, the selected inverse,
// the tests of every observation and the precision of every point and observed pair).
//
//   zr-statistics-bench [--points N ...] [--seed S] [--free] [--compare-cholmod]
//
// Prints one line per size: unknowns, observations, seconds per phase, the whole collection,
// and the growth of the peak resident memory while CollectReport runs (measured first).

#include <suitesparse/cholmod.h>
#include <sys/resource.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <utility>
#include <vector>

#include "bench/network_generator.h"
#include "tools/zr-adjust/datum/datum_analysis.h"
#include "tools/zr-adjust/model/identifier_order.h"
#include "tools/zr-adjust/model/model_builder.h"
#include "tools/zr-adjust/network/network_reader.h"
#include "tools/zr-adjust/report_collection.h"
#include "tools/zr-adjust/statistics/datum_cofactors.h"
#include "tools/zr-adjust/statistics/normal_equations.h"
#include "tools/zr-adjust/statistics/observation_tests.h"
#include "tools/zr-adjust/statistics/selected_inverse.h"
#include "tools/zr-adjust/statistics/supernodal_factor.h"

namespace {

using Clock = std::chrono::steady_clock;

double Seconds(Clock::time_point since) {
  return std::chrono::duration<double>(Clock::now() - since).count();
}

// The same N through CHOLMOD (its own choice of ordering, supernodal or simplicial), for the
// comparison of the factorisations: seconds for analysis and numeric factorisation, and the
// entries of its L.
void MeasureLibraryFactor(const zradjust::SymmetricSparse& n, bool supernodal) {
  cholmod_common common;
  cholmod_start(&common);
  common.supernodal = supernodal ? CHOLMOD_SUPERNODAL : CHOLMOD_SIMPLICIAL;
  common.final_ll = false;
  cholmod_sparse* matrix = cholmod_allocate_sparse(n.size, n.size, n.rowIndex.size(), true, true,
                                                   -1, CHOLMOD_REAL, &common);
  auto* start = static_cast<int*>(matrix->p);
  auto* rows = static_cast<int*>(matrix->i);
  auto* values = static_cast<double*>(matrix->x);
  for (std::size_t c = 0; c <= n.size; ++c)
    start[c] = static_cast<int>(n.columnStart[c]);
  for (std::size_t e = 0; e < n.rowIndex.size(); ++e) {
    rows[e] = static_cast<int>(n.rowIndex[e]);
    values[e] = n.value[e];
  }
  auto begin = Clock::now();
  cholmod_factor* factor = cholmod_analyze(matrix, &common);
  const double analyse = Seconds(begin);
  begin = Clock::now();
  cholmod_factorize(matrix, factor, &common);
  const double numeric = Seconds(begin);
  std::printf("  CHOLMOD %s: analysis %.3f s, factorisation %.3f s, L %.0f entries\n",
              supernodal ? "supernodal" : "simplicial", analyse, numeric, common.lnz);
  cholmod_free_factor(&factor, &common);
  cholmod_free_sparse(&matrix, &common);
  cholmod_finish(&common);
}

double PeakMegabytes() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss / 1024.0;  // kilobytes on Linux
}

void Measure(std::uint32_t points, std::uint64_t seed, bool free, bool compareLibrary) {
  NetworkGeneratorOptions generator;
  generator.pointCount = points;
  generator.seed = seed;
  generator.freeDatum = free;
  const zradjust::ReadResult read =
      zradjust::ReadNetwork(NetworkFileText(GenerateNetwork(generator)), "generated.net");
  if (!read.Ok()) {
    std::fprintf(stderr, "the generated network does not read\n");
    std::exit(2);
  }
  ZR::AdjustmentModel model;
  zradjust::ModelObjects objects(
      read.network,
      zradjust::AssignIdentifiers(read.network, zradjust::IdentifierOrder::ReverseCuthillMcKee),
      model);
  // The datum check as a run makes it: it also chooses the elimination order that the
  // statistics take over.
  auto start = Clock::now();
  const zradjust::DatumAnalysis datum =
      zradjust::AnalyseDatum(read.network, objects.UnknownRefs(), objects.Linearise(), false);
  const double datumCheck = Seconds(start);
  zradjust::CollectionInputs inputs;
  inputs.basis = datum.basis;
  const double peakBefore = PeakMegabytes();

  // The whole collection as a run would call it.
  zradjust::RunResult run;
  zradjust::RunSettings settings;
  start = Clock::now();
  const std::clock_t collectionCpuStart = std::clock();
  zradjust::AdjustmentReport report =
      zradjust::CollectReport(read.network, objects, model, run, settings, "generated.net", inputs);
  const double collection = Seconds(start);
  const double collectionCpu =
      static_cast<double>(std::clock() - collectionCpuStart) / CLOCKS_PER_SEC;
  const double peakOfCollection = PeakMegabytes();
  const std::size_t observationCount = report.observations.size();
  report = zradjust::AdjustmentReport{};

  // The phases one by one (at the approximate coordinates: the cost does not depend on them).
  start = Clock::now();
  const zradjust::LinearModel linear = objects.Linearise();
  const double linearise = Seconds(start);
  // The factor's parts alone.
  start = Clock::now();
  const zradjust::NormalEquations normal = zradjust::FormNormalEquations(linear, {}, {});
  const double form = Seconds(start);
  start = Clock::now();
  const std::clock_t factorCpuStart = std::clock();
  zradjust::SupernodalFactor factor = zradjust::FactoriseDroppingWeakPivots(
      normal.matrix, zradjust::weakPivotTolerance,
      zradjust::ColumnOrder(normal, datum.basis.eliminationOrder));
  const std::size_t factorEntries = factor.valueStart.back();
  const double factorOnly = Seconds(start);
  const double factorCpu = static_cast<double>(std::clock() - factorCpuStart) / CLOCKS_PER_SEC;
  start = Clock::now();
  const std::clock_t inverseCpuStart = std::clock();
  { const zradjust::SelectedInverse inverse(std::move(factor)); }
  const double inverseOnly = Seconds(start);
  const double inverseCpu = static_cast<double>(std::clock() - inverseCpuStart) / CLOCKS_PER_SEC;
  std::printf(
      "  N %zu entries (%.3f s), L %zu entries (blocks), ordering and factorisation %.3f s, "
      "selected inverse %.3f s (processor %.3f s and %.3f s)\n",
      normal.matrix.rowIndex.size(), form, factorEntries, factorOnly, inverseOnly, factorCpu,
      inverseCpu);
  if (compareLibrary) {
    MeasureLibraryFactor(normal.matrix, true);
    MeasureLibraryFactor(normal.matrix, false);
  }
  start = Clock::now();
  std::vector<std::vector<std::size_t>> blocks;
  for (std::size_t u = 0; u + 2 < linear.unknownCount; u += 3)
    blocks.push_back({u, u + 1, u + 2});
  const zradjust::DatumCofactors cofactors(linear, datum.basis, blocks);
  const double factorise = Seconds(start);
  start = Clock::now();
  const std::vector<double> residuals(linear.rows.size(), 0.001);
  const auto tests = zradjust::TestObservations(linear, cofactors, residuals);
  const double observationTests = Seconds(start);

  std::printf(
      "%7u points %7zu unknowns %7zu observations | datum check %6.3f s | linearise %6.3f s  N, "
      "order, factor and "
      "selected inverse %6.3f s  observation tests %6.3f s | whole collection %6.3f s (processor "
      "%6.3f s) | peak "
      "%7.1f MB, +%6.1f MB for the collection\n",
      points, linear.unknownCount, linear.rows.size(), datumCheck, linearise, factorise,
      observationTests, collection, collectionCpu, peakOfCollection, peakOfCollection - peakBefore);
  std::fflush(stdout);
  if (tests.size() != observationCount) std::exit(1);
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<std::uint32_t> sizes;
  std::uint64_t seed = 1;
  bool free = false, compareLibrary = false;
  for (int i = 1; i < argc; ++i) {
    if (std::strcmp(argv[i], "--points") == 0 && i + 1 < argc) {
      sizes.push_back(static_cast<std::uint32_t>(std::strtoul(argv[++i], nullptr, 10)));
    } else if (std::strcmp(argv[i], "--seed") == 0 && i + 1 < argc) {
      seed = std::strtoull(argv[++i], nullptr, 10);
    } else if (std::strcmp(argv[i], "--free") == 0) {
      free = true;
    } else if (std::strcmp(argv[i], "--compare-cholmod") == 0) {
      compareLibrary = true;
    } else {
      std::fprintf(
          stderr,
          "usage: zr-statistics-bench [--points N ...] [--seed S] [--free] [--compare-cholmod]\n");
      return 2;
    }
  }
  if (sizes.empty()) sizes = {10000};
  for (std::uint32_t points : sizes)
    Measure(points, seed, free, compareLibrary);
  return 0;
}
