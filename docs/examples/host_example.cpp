// A complete host of the adjustment library: a small three-dimensional network with one fixed
// point, GNSS baselines and slope distances, adjusted step by step until the corrections are
// below a millimetre tenth, then once more with the inverse of the normal matrix for the
// standard deviations of the coordinates.

#include <cmath>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "iteration/adjustment_model.h"

namespace {

// One network point: a value object per coordinate. Ids are chosen by the host; here 1, 2, 3
// for the first point, 4, 5, 6 for the second, and so on.
struct Point {
  Point(const char* pointName, uint64 firstId, double x, double y, double z)
      : name(pointName), x(firstId, x), y(firstId + 1, y), z(firstId + 2, z) {}

  std::string name;
  ZR::VOValue x;
  ZR::VOValue y;
  ZR::VOValue z;
};

// A handle names a value object by id; the library looks the object up in the object table.
ValueHandle Handle(const ZR::VOValue& value) {
  return ValueHandle{nullptr, value.GetId()};
}

// One observation between two points: a slope distance or one component of a baseline.
// All kinds share one class so that every observation can live in one array.
class NetworkObservation : public ZR::VOObservation {
 public:
  enum class Kind { Distance, BaselineX, BaselineY, BaselineZ };

  NetworkObservation(Kind kind, const Point& from, const Point& to, double observed, double sigma)
      : kind(kind), from(&from), to(&to), observed(observed), sigma(sigma) {}

  void GetPartials(std::map<ValueHandle, double>& partials) override {
    if (kind == Kind::Distance) {
      const double distance = GetComputed();
      const double dx = (to->x.Value - from->x.Value) / distance;
      const double dy = (to->y.Value - from->y.Value) / distance;
      const double dz = (to->z.Value - from->z.Value) / distance;
      partials[Handle(to->x)] = dx;
      partials[Handle(from->x)] = -dx;
      partials[Handle(to->y)] = dy;
      partials[Handle(from->y)] = -dy;
      partials[Handle(to->z)] = dz;
      partials[Handle(from->z)] = -dz;
      return;
    }
    // A partial for a fixed coordinate is harmless: the library drops it.
    partials[Handle(Coordinate(*to))] = 1.0;
    partials[Handle(Coordinate(*from))] = -1.0;
  }

  // The variance: with weightScale 1 the weight is 1/σ².
  double GetTolerance() override { return sigma * sigma; }

  double GetComputed() override {
    if (kind == Kind::Distance) {
      const double dx = to->x.Value - from->x.Value;
      const double dy = to->y.Value - from->y.Value;
      const double dz = to->z.Value - from->z.Value;
      return std::sqrt(dx * dx + dy * dy + dz * dz);
    }
    return Coordinate(*to).Value - Coordinate(*from).Value;
  }

  double GetDifference() override { return observed - GetComputed(); }

 private:
  const ZR::VOValue& Coordinate(const Point& point) const {
    return kind == Kind::BaselineX ? point.x : kind == Kind::BaselineY ? point.y : point.z;
  }

  Kind kind;
  const Point* from;
  const Point* to;
  double observed;
  double sigma;
};

// A participant hears about every step; this one counts them.
class StepCounter : public ZR::VOParticipant {
 public:
  void AfterCorrections() override { ++steps; }
  int steps = 0;
};

// One element of a SparseMatrix row, 0.0 when it is not stored.
double Element(const SparseMatrix& matrix, std::uint32_t row, std::uint32_t column) {
  for (const auto& [entryColumn, value] : matrix.rows[row]) {
    if (entryColumn == column) {
      return value;
    }
  }
  return 0.0;
}

}  // namespace

int main() {
  // Value objects, with approximate coordinates, registered in the object table.
  std::vector<Point> points;
  points.reserve(4);  // the observations keep pointers to the points
  points.emplace_back("A", 1, 1000.0, 2000.0, 100.0);
  points.emplace_back("B", 4, 1100.1, 1999.8, 101.5);
  points.emplace_back("C", 7, 1099.5, 2100.3, 101.2);
  points.emplace_back("D", 10, 1000.4, 2099.6, 99.4);
  for (Point& point : points) {
    for (ZR::VOValue* value : {&point.x, &point.y, &point.z}) {
      RegisterVObject(value->GetId(), value);
    }
  }
  const Point& a = points[0];
  const Point& b = points[1];
  const Point& c = points[2];
  const Point& d = points[3];

  // All observations in one array: the model orders them by address, so the array order is
  // the row order of A.
  using Kind = NetworkObservation::Kind;
  std::vector<NetworkObservation> observations{
      {Kind::BaselineX, a, b, 100.002, 0.005},  {Kind::BaselineY, a, b, 0.001, 0.005},
      {Kind::BaselineZ, a, b, 2.000, 0.005},    {Kind::BaselineX, b, c, 0.000, 0.005},
      {Kind::BaselineY, b, c, 99.998, 0.005},   {Kind::BaselineZ, b, c, -1.001, 0.005},
      {Kind::BaselineX, c, d, -100.001, 0.005}, {Kind::BaselineY, c, d, 0.002, 0.005},
      {Kind::BaselineZ, c, d, -2.003, 0.005},   {Kind::Distance, a, c, 141.423, 0.003},
      {Kind::Distance, b, d, 141.452, 0.003},   {Kind::Distance, a, d, 100.004, 0.003},
  };

  // The model: every coordinate is a value, A's coordinates are held fixed.
  ZR::AdjustmentModel model;
  for (const Point& point : points) {
    model.values.insert({Handle(point.x), Handle(point.y), Handle(point.z)});
  }
  model.fixedValues.insert({Handle(a.x), Handle(a.y), Handle(a.z)});
  for (NetworkObservation& observation : observations) {
    model.observations.insert(&observation);
  }
  StepCounter counter;
  model.participants.insert(&counter);
  model.correctionLog = nullptr;  // or a FILE* for the per-observation and correction lines
  model.matrixDump = nullptr;     // or a FILE* for the matrix dumps
  model.diagonalDamping = 0.0;
  model.weightScale = 1.0;  // σ0² a priori

  // The stopping rule is the host's: here the largest change of any coordinate in a step.
  const double tolerance = 1e-4;
  const int iterationLimit = 10;
  bool converged = false;
  double sigma0 = 0.0;
  double residualNorm = 0.0;  // the solver's ‖b − N·x‖ of each step
  for (int step = 1; step <= iterationLimit && !converged; ++step) {
    std::vector<double> before;
    for (const Point& point : points) {
      before.insert(before.end(), {point.x.Value, point.y.Value, point.z.Value});
    }
    model.Iterate(sigma0, 1.0, 1e10, false, false, 0, 0, 0.0, &residualNorm);
    double largest = 0.0;
    std::size_t index = 0;
    for (const Point& point : points) {
      for (double after : {point.x.Value, point.y.Value, point.z.Value}) {
        largest = std::fmax(largest, std::fabs(after - before[index++]));
      }
    }
    std::printf("step %d: sigma0 %.3f, largest correction %.6f m, %u ms\n", step, sigma0, largest,
                model.timeTotal);
    converged = largest < tolerance;
  }
  // One more step, asking for the inverse of N, for the standard deviations.
  model.Iterate(sigma0, 1.0, 1e10, false, true, 0, 0, 0.0, &residualNorm);

  std::printf("%s after %d steps: %llu observations, %llu unknowns, sigma0 %.3f\n",
              converged ? "converged" : "not converged", counter.steps,
              static_cast<unsigned long long>(model.observationCount),
              static_cast<unsigned long long>(model.unknownCount), sigma0);
  std::printf("last step: %u ms setup, %u ms evaluation, %u ms solve\n", model.timeSetup,
              model.timeEvaluation, model.timeSolve);
  // Standard deviations from the inverse of N: sigma0 · sqrt(Q[c][c]), c the unknown's column.
  for (const Point& point : points) {
    std::printf("%s", point.name.c_str());
    for (const ZR::VOValue* value : {&point.x, &point.y, &point.z}) {
      const auto unknown = model.unknowns.find(Handle(*value));
      if (unknown == model.unknowns.end()) {
        std::printf("  %10.4f (fixed)   ", value->Value);
        continue;
      }
      const std::uint32_t column = unknown->second;
      std::printf("  %10.4f +- %.4f", value->Value,
                  sigma0 * std::sqrt(Element(model.normalInverse, column, column)));
    }
    std::printf("\n");
  }

  for (const Point& point : points) {
    for (const ZR::VOValue* value : {&point.x, &point.y, &point.z}) {
      UnregisterVObject(value->GetId());
    }
  }
  return converged ? 0 : 1;
}
