// Rates of the compact LDLᵀ routines against the plain row loops they replace, in processor time
// of the measuring thread: the factorisation on bands of order 30,000, several right-hand sides
// at once, and the inverse of a network's N. Every fast result is checked bit for bit against the
// plain loops here.
//
// Usage: compact_kernel_bench [order] (default 30000) [points] (several, default 20000 50000:
// networks whose N is factorised on every path). Prints one line per measurement.

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "bench/bench_support.h"
#include "bench/network_generator.h"
#include "solvers/compact_test_support.h"
#include "sparse/sparse_matrix.h"
#include "sparse/sparse_matrix_writers.h"

namespace {

// Processor time of this thread since start: what a measurement cost, also on a busy machine.
double Seconds(double start) {
  return compact_test_support::ThreadCpuSeconds() - start;
}

std::vector<std::int32_t> FirstColumns(const std::vector<std::uint32_t>& diagPos) {
  std::vector<std::int32_t> first(diagPos.size(), 0);
  for (std::size_t i = 1; i < diagPos.size(); ++i) {
    first[i] = static_cast<std::int32_t>(diagPos[i - 1] - diagPos[i] + i + 1);
  }
  return first;
}

// The plain row loop of the factorisation (without the quotient test).
void PlainFactorize(const std::vector<std::uint32_t>& diagPos, double* a) {
  std::int32_t n = static_cast<std::int32_t>(diagPos.size());
  std::vector<std::int32_t> f = FirstColumns(diagPos);
  std::vector<double*> row(n);
  for (std::int32_t i = 0; i < n; ++i) {
    row[i] = a + diagPos[i] - 1;
  }
  std::vector<double> g(n);
  for (std::int32_t i = 1; i < n; ++i) {
    for (std::int32_t j = f[i]; j < i; ++j) {
      double sum = row[i][j - i];
      for (std::int32_t k = std::max(f[j], f[i]); k < j; ++k) {
        sum = sum - row[j][k - j] * g[k];
      }
      g[j] = sum;
      row[i][j - i] = sum / row[j][0];
    }
    double pivot = row[i][0];
    for (std::int32_t k = f[i]; k < i; ++k) {
      pivot = pivot - row[i][k - i] * g[k];
    }
    row[i][0] = std::fabs(pivot);
  }
}

// The plain solve of one right-hand side.
void PlainSolve(const std::vector<std::uint32_t>& diagPos, const double* a, double* x) {
  std::int32_t n = static_cast<std::int32_t>(diagPos.size());
  std::vector<std::int32_t> f = FirstColumns(diagPos);
  auto l = [&](std::int32_t i, std::int32_t k) { return a[diagPos[i] - 1 - (i - k)]; };
  for (std::int32_t i = 1; i < n; ++i) {
    double sum = x[i];
    for (std::int32_t k = f[i]; k < i; ++k) {
      sum = sum - l(i, k) * x[k];
    }
    x[i] = sum;
  }
  for (std::int32_t i = 0; i < n; ++i) {
    x[i] = x[i] / l(i, i);
  }
  for (std::int32_t i = n - 1; i >= 1; --i) {
    double xi = x[i];
    for (std::int32_t k = f[i]; k < i; ++k) {
      x[k] = x[k] - l(i, k) * xi;
    }
  }
}

bool SameBits(const std::vector<double>& a, const std::vector<double>& b) {
  return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(double)) == 0;
}

void Factorisation(std::uint32_t n, std::uint32_t width) {
  const BandSystem band = BuildBandSystem(n, width);
  const double multiplyAdds =
      static_cast<double>(CompactFactorizeMultiplyAdds(n, band.diagPos.data()));
  std::vector<double> plain = band.values;
  auto start = compact_test_support::ThreadCpuSeconds();
  PlainFactorize(band.diagPos, plain.data());
  double plainSeconds = Seconds(start);

  double fastSeconds = 1e300;
  std::vector<double> fast;
  for (int repeat = 0; repeat < 5; ++repeat) {
    fast = band.values;
    std::int32_t flag = 0;
    start = compact_test_support::ThreadCpuSeconds();
    COMPACT_FACTORIZE_2(static_cast<std::int32_t>(n), band.diagPos.data(), fast.data(), &flag);
    fastSeconds = std::min(fastSeconds, Seconds(start));
  }
  std::printf(
      "factorise n=%u width=%u: %.3g multiply-adds; plain %.3f s = %.2f G/s; "
      "COMPACT_FACTORIZE_2 %.3f s = %.2f G/s; %s\n",
      n, width, multiplyAdds, plainSeconds, multiplyAdds / plainSeconds * 1e-9, fastSeconds,
      multiplyAdds / fastSeconds * 1e-9, SameBits(plain, fast) ? "identical bits" : "BITS DIFFER");
}

void SeveralRightHandSides(std::uint32_t n, std::uint32_t width, std::int32_t count) {
  BandSystem band = BuildBandSystem(n, width);
  std::int32_t flag = 0;
  COMPACT_FACTORIZE_2(static_cast<std::int32_t>(n), band.diagPos.data(), band.values.data(), &flag);
  const double multiplyAdds =
      static_cast<double>(CompactSolveMultiplyAdds(n, band.diagPos.data())) * count;
  std::vector<double> rhs(static_cast<std::size_t>(n) * count);
  for (std::size_t k = 0; k < rhs.size(); ++k) {
    rhs[k] = static_cast<double>((k * 7919) % 1000) / 100.0 - 5.0;
  }
  std::vector<double> plain = rhs;
  auto start = compact_test_support::ThreadCpuSeconds();
  for (std::int32_t r = 0; r < count; ++r) {
    PlainSolve(band.diagPos, band.values.data(), plain.data() + static_cast<std::size_t>(r) * n);
  }
  double plainSeconds = Seconds(start);
  std::vector<double> fast = rhs;
  start = compact_test_support::ThreadCpuSeconds();
  COMPACT_SOLVE_2(static_cast<std::int32_t>(n), band.diagPos.data(), band.values.data(),
                  fast.data(), count);
  double fastSeconds = Seconds(start);
  std::printf(
      "solve n=%u width=%u, %d right-hand sides: plain %.3f s = %.2f G/s; "
      "COMPACT_SOLVE_2 %.3f s = %.2f G/s; %s\n",
      n, width, count, plainSeconds, multiplyAdds / plainSeconds * 1e-9, fastSeconds,
      multiplyAdds / fastSeconds * 1e-9, SameBits(plain, fast) ? "identical bits" : "BITS DIFFER");
}

// N of a generated network of the given number of points, the unknowns in grid order.
SparseMatrix GridOrderNormalMatrix(std::uint32_t points) {
  NetworkGeneratorOptions options;
  options.pointCount = points;
  SparseMatrix N;
  DenseVector b;
  FormNetworkNormalEquations(BuildNetworkSystem(GenerateNetwork(options)), N, b);
  return N;
}

// N of a generated network in grid order, its inverse by InvertCompact, and the same columns
// by the plain solve of each unit vector.
void Inverse(std::uint32_t points) {
  const SparseMatrix N = GridOrderNormalMatrix(points);
  std::uint32_t n = N.RowCount();
  std::uint64_t slots = CompactProfileSlots(N);

  SparseMatrix Q;
  auto start = compact_test_support::ThreadCpuSeconds();
  bool ok = InvertCompact(N, Q);
  double fastSeconds = Seconds(start);

  // Plain: factorise, then each unit vector on its own, stored as before.
  CompactForm form;
  BuildCompactForm(N, form);
  std::vector<std::uint32_t> diagPos(form.diagonalPositions, form.diagonalPositions + n);
  std::vector<double> values(form.values, form.values + diagPos.back());
  ReleaseCompactForm(form);
  start = compact_test_support::ThreadCpuSeconds();
  PlainFactorize(diagPos, values.data());
  SparseMatrix plainQ(n, n);
  std::vector<double> column(n);
  for (std::uint32_t c = 0; c < n; ++c) {
    std::fill(column.begin(), column.end(), 0.0);
    column[c] = 1.0;
    PlainSolve(diagPos, values.data(), column.data());
    for (std::uint32_t r = 0; r < n; ++r) {
      if (column[r] != 0.0) {
        SetElement(plainQ, r, c, column[r]);
      }
    }
  }
  double plainSeconds = Seconds(start);

  bool same = Q.EntryCount() == plainQ.EntryCount();
  for (std::uint32_t r = 0; same && r < n; ++r) {
    auto entry = plainQ.rows[r].begin();
    for (const auto& [c, value] : Q.rows[r]) {
      same = same && c == entry->first && std::memcmp(&value, &entry->second, 8) == 0;
      ++entry;
    }
  }
  std::printf(
      "inverse of a %u-point network: n=%u, profile %llu slots (%.0f per row), "
      "%zu entries; plain %.3f s; InvertCompact %.3f s%s; %s\n",
      points, n, static_cast<unsigned long long>(slots), static_cast<double>(slots) / n,
      Q.EntryCount(), plainSeconds, fastSeconds, ok ? "" : " (failed)",
      same ? "identical bits" : "BITS DIFFER");
}

// N of a generated network in grid order (a band of about three grid rows, ragged like the
// order zr-adjust gives), factorised on every path of this processor: the plain row loop
// against the blocked passes at each vector width, best of three, bits compared with plain.
void FactorisationPaths(std::uint32_t points) {
  const SparseMatrix N = GridOrderNormalMatrix(points);
  CompactForm form;
  BuildCompactForm(N, form);
  const std::uint32_t n = N.RowCount();
  std::vector<std::uint32_t> diagPos(form.diagonalPositions, form.diagonalPositions + n);
  const std::vector<double> input(form.values, form.values + diagPos.back());
  ReleaseCompactForm(form);
  const double multiplyAdds = static_cast<double>(CompactFactorizeMultiplyAdds(n, diagPos.data()));

  std::vector<double> plain;
  for (KernelPath path : compact_test_support::AvailablePaths()) {
    double best = 1e300;
    std::vector<double> values;
    for (int repeat = 0; repeat < (path == KernelPath::plain ? 1 : 3); ++repeat) {
      values = input;
      auto start = compact_test_support::ThreadCpuSeconds();
      compact_test_support::FactorizeOnPath(path, diagPos, values);
      best = std::min(best, Seconds(start));
    }
    if (path == KernelPath::plain) {
      plain = values;
    }
    std::printf(
        "factorise %u-point network (n=%u, %zu slots, %.3g multiply-adds) on %-8s %.3f s = %.2f "
        "G/s; %s\n",
        points, n, input.size(), multiplyAdds, compact_test_support::PathName(path), best,
        multiplyAdds / best * 1e-9, SameBits(plain, values) ? "identical bits" : "BITS DIFFER");
  }
}

}  // namespace

int main(int argc, char** argv) {
  std::uint32_t n = argc > 1 ? static_cast<std::uint32_t>(std::atoi(argv[1])) : 30000;
  for (std::uint32_t width : {50u, 200u, 600u}) {
    Factorisation(n, width);
  }
  for (std::int32_t count : {1, 4, 16, 64}) {
    SeveralRightHandSides(n, 200, count);
  }
  Inverse(1000);
  std::vector<std::uint32_t> networks;
  for (int a = 2; a < argc; ++a) {
    networks.push_back(static_cast<std::uint32_t>(std::atoi(argv[a])));
  }
  if (networks.empty()) {
    networks = {20000u, 50000u};
  }
  for (std::uint32_t points : networks) {
    FactorisationPaths(points);
  }
  return 0;
}
