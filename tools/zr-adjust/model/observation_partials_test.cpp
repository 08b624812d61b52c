// The partials of every observation type against central finite differences of its computed
// value, at geometries where a formula is most easily wrong: steep sights, bearings on either
// side of the zero of the circle, sights in every quadrant, heights at both ends.

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <string>
#include <vector>

#include "tools/zr-adjust/model/network_observation.h"

namespace zradjust {
namespace {

constexpr double pi = std::numbers::pi;

// Nine value objects: three points P0, P1, P2 with X, Y, Z each, and one orientation.
struct Values {
  explicit Values(const std::vector<double>& coordinates, double orientation = 0.0) {
    for (std::size_t i = 0; i < 9; ++i)
      objects.emplace_back(i + 1, coordinates[i]);
    objects.emplace_back(10, orientation);
  }
  ValueHandle Handle(int point, int axis) {
    ValueHandle handle;
    handle.object = &objects[static_cast<std::size_t>(point * 3 + axis)];
    handle.id = handle.object->GetId();
    return handle;
  }
  ValueHandle OrientationHandle() {
    ValueHandle handle;
    handle.object = &objects[9];
    handle.id = 10;
    return handle;
  }
  std::vector<ZR::VOValue> objects;
};

// Every kind of evaluator reading the points of values: P0 is FROM (or AT), P1 is TO, P2 is the
// backsight of an angle.
std::vector<std::pair<std::string, ObservationKernel>> Kernels(Values& v) {
  auto p3 = [&](int point) {
    return std::array<ValueHandle, 3>{v.Handle(point, 0), v.Handle(point, 1), v.Handle(point, 2)};
  };
  auto from = p3(0), to = p3(1), back = p3(2);
  WhitenedBaseline whitened{
      {from[0], from[1], from[2]}, {to[0], to[1], to[2]}, {0.3, -1.7, 2.5}, 2};
  return {
      {"dist", SlopeDistance{{from[0], from[1], from[2]}, {to[0], to[1], to[2]}}},
      {"dist with heights",
       SlopeDistance{{from[0], from[1], from[2]}, {to[0], to[1], to[2]}, 1.62, 1.3}},
      {"hdist", HorizontalDistance{{from[0], from[1]}, {to[0], to[1]}}},
      {"azimuth", Bearing{{from[0], from[1]}, {to[0], to[1]}, {}}},
      {"dir", Bearing{{from[0], from[1]}, {to[0], to[1]}, v.OrientationHandle()}},
      {"angle", HorizontalAngle{{from[0], from[1]}, {back[0], back[1]}, {to[0], to[1]}}},
      {"zenith", ZenithAngle{{from[0], from[1], from[2]}, {to[0], to[1], to[2]}}},
      {"zenith with heights",
       ZenithAngle{{from[0], from[1], from[2]}, {to[0], to[1], to[2]}, 1.55, 2.1}},
      {"whitened dz", whitened},
      {"level", CoordinateDifference{from[2], to[2]}},
      {"coord", CoordinateValue{to[1]}},
  };
}

TEST(ObservationPartials, EqualCentralDifferencesOfTheComputedValue) {
  // P0 X Y Z, P1 X Y Z, P2 X Y Z; the orientation.
  const std::vector<std::vector<double>> geometries = {
      // A level sight to the north-east, the backsight to the south.
      {1000, 2000, 300, 1180.5, 2240.25, 305.5, 990, 1700, 290},
      // Bearing just east of north (near 0) and a backsight just west of it (near 2π).
      {500, 500, 100, 500.002, 900, 101, 499.997, 620, 99},
      // A steep sight up (zenith about 4 gon) and one straight down the slope.
      {0, 0, 0, 3.1, -1.2, 48, -2, -60, -55},
      // Every quadrant: south-west foresight, north-west backsight, a steep sight down.
      {10, 10, 50, -140, -95.5, 2, -80, 120, 40},
  };
  for (std::size_t g = 0; g < geometries.size(); ++g) {
    Values values(geometries[g], 1.234);
    for (auto& [name, kernel] : Kernels(values)) {
      bool angular =
          name == "azimuth" || name == "dir" || name == "angle" || name.rfind("zenith", 0) == 0;
      std::map<ValueHandle, double> partials;
      std::visit([&](const auto& evaluator) { evaluator.Partials(partials); }, kernel);
      auto computed = [&] {
        return std::visit([](const auto& evaluator) { return evaluator.Computed(); }, kernel);
      };
      for (ZR::VOValue& object : values.objects) {
        const double step = object.GetId() == 10 ? 1e-6 : 1e-4, original = object.Value;
        object.Value = original + step;
        double up = computed();
        object.Value = original - step;
        double down = computed();
        object.Value = original;
        // Angles are compared on the circle: a bearing near 0 may step over 2π.
        double change = angular ? std::remainder(up - down, 2.0 * pi) : up - down;
        double numeric = change / (2.0 * step);
        ValueHandle key;
        key.id = object.GetId();
        auto found = partials.find(key);
        double analytic = found == partials.end() ? 0.0 : found->second;
        double scale = std::max(1e-3, std::fabs(numeric));
        EXPECT_NEAR(analytic, numeric, 2e-6 * scale)
            << name << ", geometry " << g << ", value " << object.GetId();
        if (found == partials.end()) {
          EXPECT_EQ(numeric, 0.0) << name << " " << object.GetId();
        }
      }
    }
  }
}

TEST(ObservationPartials, AngularValuesAndMisclosuresOnTheCircle) {
  // P1 a hair west of north of P0: its bearing is just below 2π.
  Values values({0, 0, 0, -0.001, 1000, 0, 1000, 0, 0}, 0.0);
  ValueHandle f[2] = {values.Handle(0, 0), values.Handle(0, 1)};
  ValueHandle t[2] = {values.Handle(1, 0), values.Handle(1, 1)};
  ValueHandle b[2] = {values.Handle(2, 0), values.Handle(2, 1)};
  const double bearing = 2.0 * pi - std::atan2(0.001, 1000.0);
  struct Case {
    const char* what;
    ObservationType type;
    ObservationKernel kernel;
    double observed, computed, difference;
  };
  const Case cases[] = {
      // Observed just east of north, computed just west: the misclosure is small, not 2π.
      {"azimuth over zero", ObservationType::Azimuth, Bearing{{f[0], f[1]}, {t[0], t[1]}, {}}, 1e-6,
       bearing, 1e-6 + std::atan2(0.001, 1000.0)},
      {"direction over zero", ObservationType::Direction,
       Bearing{{f[0], f[1]}, {t[0], t[1]}, values.OrientationHandle()}, 2.0 * pi - 2e-6, bearing,
       -2e-6 + std::atan2(0.001, 1000.0)},
      // East to north, clockwise: 3/4 of a circle, less the hair.
      {"angle", ObservationType::Angle, HorizontalAngle{{f[0], f[1]}, {b[0], b[1]}, {t[0], t[1]}},
       1.5 * pi, bearing - 0.5 * pi, 1.5 * pi - (bearing - 0.5 * pi)},
      // A misclosure of exactly half a circle stays positive: (−π, π].
      {"half circle", ObservationType::Azimuth, Bearing{{f[0], f[1]}, {t[0], t[1]}, {}},
       bearing - pi, bearing, pi},
      // A length is never wrapped.
      {"hdist", ObservationType::HorizontalDistance, HorizontalDistance{{f[0], f[1]}, {t[0], t[1]}},
       1000.0 + 7.0, std::hypot(0.001, 1000.0), 1000.0 + 7.0 - std::hypot(0.001, 1000.0)},
  };
  for (const Case& c : cases) {
    NetworkObservation observation(c.type, c.kernel, c.observed, 0.001);
    EXPECT_NEAR(observation.GetComputed(), c.computed, 1e-12) << c.what;
    EXPECT_NEAR(observation.GetDifference(), c.difference, 1e-12) << c.what;
    EXPECT_EQ(observation.GetTolerance(), 0.001 * 0.001) << c.what;
  }
}

TEST(ObservationPartials, InverseCholeskyFactorWhitensTheCovariance) {
  // W·C·Wᵀ = I, W lower triangular, against a covariance with all correlations present.
  const double upper[6] = {4e-6, 1.2e-6, -0.8e-6, 9e-6, 2.1e-6, 1.6e-5};
  const double c[3][3] = {{upper[0], upper[1], upper[2]},
                          {upper[1], upper[3], upper[4]},
                          {upper[2], upper[4], upper[5]}};
  double w[3][3];
  InverseCholeskyFactor(upper, w);
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 3; ++j) {
      double product = 0.0;
      for (int k = 0; k < 3; ++k) {
        for (int m = 0; m < 3; ++m)
          product += w[i][k] * c[k][m] * w[j][m];
      }
      EXPECT_NEAR(product, i == j ? 1.0 : 0.0, 1e-12) << i << j;
      if (j > i) {
        EXPECT_EQ(w[i][j], 0.0);
      }
    }
  }
}

}  // namespace
}  // namespace zradjust
