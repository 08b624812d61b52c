#pragma once
// A generated network as a host would hand it to the library: framework value objects for the
// coordinates, registered in the object table, observation objects that compute themselves,
// and an AdjustmentModel that holds them. Built with the public framework types only, the way
// any host builds its model, so that the benchmark measures exactly what a host gets.
//
// The unknowns are numbered by a reverse Cuthill-McKee order of the point graph (the order a
// profile solver needs): point p's coordinates get the identifiers firstIdentifier + 3·rank(p)
// + axis, and the library numbers unknowns by ascending identifier.
//
// The object owns everything the model points to: keep it alive as long as the model is used.
// Identifiers are global to the process: only one BenchModel may exist at a time.

#include <cstdint>
#include <map>
#include <vector>

#include "bench/bench_support.h"
#include "bench/network_generator.h"
#include "iteration/adjustment_model.h"

// Points of network in reverse Cuthill-McKee order of the graph whose edges are the
// observations: starting from a point of least degree at the far end of a breadth-first
// search, neighbours visited by ascending degree, the visit order reversed. Returns the points'
// indices in that order.
std::vector<std::uint32_t> ReverseCuthillMcKeePoints(const GeneratedNetwork& network);

// One scalar observation between two points: a slope distance, c = ‖to − from‖ with partials
// ±(to − from)/c per axis, or one component of a baseline, c = to(axis) − from(axis) with
// partials ±1. The tolerance is σ², so the library's weight is weightScale/σ².
class BenchObservation : public ZR::VOObservation {
 public:
  // axis −1: a distance over the three coordinates of each point; 0 to 2: one component.
  BenchObservation(const ValueHandle (&from)[3], const ValueHandle (&to)[3], int axis,
                   double observed, double sigma);
  void GetPartials(std::map<ValueHandle, double>& partials) override;
  double GetTolerance() override { return sigma * sigma; }
  double GetComputed() override;
  double GetDifference() override { return observed - GetComputed(); }

 private:
  ValueHandle from[3];
  ValueHandle to[3];
  int axis;
  double observed;
  double sigma;
};

class BenchModel {
 public:
  explicit BenchModel(const GeneratedNetwork& network);
  BenchModel(const BenchModel&) = delete;
  BenchModel& operator=(const BenchModel&) = delete;
  // Unregisters every value object.
  ~BenchModel();

  ZR::AdjustmentModel& Model() { return model; }

  // N = AᵀPA and b = AᵀPl at the current coordinates, A, P and l filled from the observation
  // objects here (not by the library), unknowns numbered as the library numbers them.
  void FormNormalEquations(SparseMatrix& N, DenseVector& b) const;

  // For every unknown column under the reverse Cuthill-McKee order, its column when the points
  // are numbered in the order the file declares them (what `--order input` would give).
  std::vector<std::uint32_t> DeclarationColumns() const;

 private:
  const GeneratedNetwork& network;
  ZR::AdjustmentModel model;
  std::vector<ZR::VOValue> values;             // 3 per point, grid order
  std::vector<std::int64_t> columnOfValue;     // unknown column, −1 for fixed coordinates
  std::vector<std::uint32_t> rankOfPoint;      // position in the reverse Cuthill-McKee order
  std::vector<BenchObservation> observations;  // never resized once the model holds them
};
