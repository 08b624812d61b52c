// zr-micro-bench: the building blocks of one adjustment step, each on its own.
//
// Sizes are network points (networks from the generator, unknowns in grid order) or, for the
// compact routines, the half-bandwidth of a band profile of fixed order. Counters give the
// work per second where it is known exactly (entries written, multiply-adds).

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <utility>
#include <vector>

#include "bench/bench_support.h"
#include "bench/network_generator.h"
#include "solvers/compact_test_support.h"
#include "sparse/normal_products.h"
#include "sparse/sparse_matrix.h"
#include "sparse/sparse_matrix_writers.h"

namespace {

constexpr std::uint64_t kSeed = 20240611;
constexpr std::uint32_t kBandOrder = 6000;

GeneratedNetwork Network(std::int64_t points) {
  NetworkGeneratorOptions options;
  options.pointCount = static_cast<std::uint32_t>(points);
  options.seed = kSeed;
  return GenerateNetwork(options);
}

struct Element {
  std::uint32_t row;
  std::uint32_t column;
  double value;
};

// Every element of A in row order, columns ascending: the order in which a step writes A.
std::vector<Element> ElementsOf(const SparseMatrix& matrix) {
  std::vector<Element> elements;
  for (std::uint32_t row = 0; row < matrix.RowCount(); ++row) {
    for (const auto& [column, value] : matrix.rows[row]) {
      elements.push_back({row, column, value});
    }
  }
  return elements;
}

// The normal matrix N of a generated network of the given number of points.
SparseMatrix NetworkNormalMatrix(std::int64_t points) {
  const NetworkSystem system = BuildNetworkSystem(Network(points));
  SparseMatrix N;
  DenseVector b;
  FormNetworkNormalEquations(system, N, b);
  return N;
}

// The elements of matrix in a seeded random order.
std::vector<Element> ShuffledElementsOf(const SparseMatrix& matrix) {
  std::vector<Element> elements = ElementsOf(matrix);
  std::shuffle(elements.begin(), elements.end(), std::mt19937_64(kSeed));
  return elements;
}

// Writes every element into an empty matrix of the given shape, once per iteration.
void WriteIntoEmpty(benchmark::State& state, const SparseMatrix& shape,
                    const std::vector<Element>& elements) {
  for (auto _ : state) {
    SparseMatrix target(shape.RowCount(), shape.columnCount);
    for (const Element& element : elements) {
      SetElement(target, element.row, element.column, element.value);
    }
    benchmark::DoNotOptimize(target.rows.data());
  }
}

void CountElementRate(benchmark::State& state, std::size_t elementCount) {
  state.counters["elements/s"] = benchmark::Counter(static_cast<double>(elementCount),
                                                    benchmark::Counter::kIsIterationInvariantRate);
}

// A row at a time, columns ascending, into an empty matrix: the assembly of A.
void BM_SetElementAscending(benchmark::State& state) {
  const NetworkSystem system = BuildNetworkSystem(Network(state.range(0)));
  const std::vector<Element> elements = ElementsOf(system.A);
  WriteIntoEmpty(state, system.A, elements);
  CountElementRate(state, elements.size());
}

// The pattern of N, written in random order into an empty matrix: insertion in the middle of
// rows that already hold entries.
void BM_SetElementScatteredInsert(benchmark::State& state) {
  const SparseMatrix N = NetworkNormalMatrix(state.range(0));
  const std::vector<Element> elements = ShuffledElementsOf(N);
  WriteIntoEmpty(state, N, elements);
  CountElementRate(state, elements.size());
}

// Read, add and write back at random existing positions of N (as the damping of the diagonal
// and every element-wise update do).
void BM_SetElementScatteredAccumulate(benchmark::State& state) {
  SparseMatrix N = NetworkNormalMatrix(state.range(0));
  const std::vector<Element> elements = ShuffledElementsOf(N);
  for (auto _ : state) {
    for (const Element& element : elements) {
      SetElement(N, element.row, element.column, GetElement(N, element.row, element.column) + 1.0);
    }
  }
  benchmark::DoNotOptimize(N.rows.data());
  CountElementRate(state, elements.size());
}

// T = AᵀP, the first product of a step.
void BM_MultiplyTransposed(benchmark::State& state) {
  const NetworkSystem system = BuildNetworkSystem(Network(state.range(0)));
  SparseMatrix T;
  for (auto _ : state) {
    MultiplyTransposed(system.A, system.P, T);
    benchmark::DoNotOptimize(T.rows.data());
  }
  state.counters["entries(A)"] = static_cast<double>(system.A.EntryCount());
}

// N = T·A, the second product of a step.
void BM_Multiply(benchmark::State& state) {
  const NetworkSystem system = BuildNetworkSystem(Network(state.range(0)));
  SparseMatrix T;
  MultiplyTransposed(system.A, system.P, T);
  SparseMatrix N;
  for (auto _ : state) {
    Multiply(T, system.A, N);
    benchmark::DoNotOptimize(N.rows.data());
  }
  state.counters["entries(N)"] = static_cast<double>(N.EntryCount());
}

// The factorisation on a band of the given half-bandwidth; the matrix is restored from a copy
// outside the timed region before every call.
void BM_CompactFactorize(benchmark::State& state) {
  const BandSystem band = BuildBandSystem(kBandOrder, static_cast<std::uint32_t>(state.range(0)));
  std::vector<double> work(band.values.size());
  for (auto _ : state) {
    state.PauseTiming();
    std::memcpy(work.data(), band.values.data(), band.values.size() * sizeof(double));
    state.ResumeTiming();
    std::int32_t flag = 0;
    benchmark::DoNotOptimize(
        COMPACT_FACTORIZE_2(kBandOrder, band.diagPos.data(), work.data(), &flag));
    benchmark::ClobberMemory();
  }
  state.counters["madd/s"] = benchmark::Counter(
      static_cast<double>(CompactFactorizeMultiplyAdds(kBandOrder, band.diagPos.data())),
      benchmark::Counter::kIsIterationInvariantRate);
  state.counters["slots"] = static_cast<double>(band.values.size());
}

// One right-hand side with the factors of the band; the copy of b is part of the timed work
// (it is n doubles against n·width multiply-adds).
void BM_CompactSolve(benchmark::State& state) {
  BandSystem band = BuildBandSystem(kBandOrder, static_cast<std::uint32_t>(state.range(0)));
  std::int32_t flag = 0;
  COMPACT_FACTORIZE_2(kBandOrder, band.diagPos.data(), band.values.data(), &flag);
  const std::vector<double> rightHandSide(kBandOrder, 1.0);
  std::vector<double> x(kBandOrder);
  for (auto _ : state) {
    std::memcpy(x.data(), rightHandSide.data(), kBandOrder * sizeof(double));
    benchmark::DoNotOptimize(
        COMPACT_SOLVE_2(kBandOrder, band.diagPos.data(), band.values.data(), x.data(), 1));
    benchmark::ClobberMemory();
  }
  state.counters["madd/s"] = benchmark::Counter(
      static_cast<double>(CompactSolveMultiplyAdds(kBandOrder, band.diagPos.data())),
      benchmark::Counter::kIsIterationInvariantRate);
}

// The full inverse of a network's N (one solve per unknown, every non-zero stored).
void BM_InvertCompact(benchmark::State& state) {
  const SparseMatrix N = NetworkNormalMatrix(state.range(0));
  for (auto _ : state) {
    SparseMatrix Q;
    benchmark::DoNotOptimize(InvertCompact(N, Q));
    benchmark::DoNotOptimize(Q.rows.data());
  }
  state.counters["unknowns"] = static_cast<double>(N.RowCount());
}

}  // namespace

BENCHMARK(BM_SetElementAscending)->Arg(1000)->Arg(5000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SetElementScatteredInsert)->Arg(1000)->Arg(5000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SetElementScatteredAccumulate)->Arg(1000)->Arg(5000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_MultiplyTransposed)->Arg(1000)->Arg(5000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Multiply)->Arg(1000)->Arg(5000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CompactFactorize)->RangeMultiplier(4)->Range(8, 512)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CompactSolve)->RangeMultiplier(4)->Range(8, 512)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_InvertCompact)->Arg(100)->Arg(300)->Arg(1000)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
