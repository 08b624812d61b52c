#include "tools/zr-adjust/datum/minimum_trace.h"

#include <gtest/gtest.h>

#include "tools/zr-adjust/datum/datum_test_support.h"
#include "tools/zr-adjust/datum/library_conditions.h"

namespace zradjust {
namespace {

double Distance(const std::array<double, 3>& a, const std::array<double, 3>& b) {
  return std::hypot(a[0] - b[0], a[1] - b[1]);
}

// The adjusted values as a rigid motion of the approximate ones (a datum of their own): moved
// back into the minimum-trace datum, they must return to the approximate values, with every
// distance unchanged on the way (a linearised rotation would stretch them by angle² / 2).
TEST(MinimumTrace, MovesARotatedNetworkBackWithoutStretchingIt) {
  PlanBuilder builder;
  const double p[5][2] = {{0, 0}, {120, 15}, {70, 110}, {-20, 80}, {50, 40}};
  for (int k = 0; k < 5; ++k)
    builder.Point("Q" + std::to_string(k), p[k][0], p[k][1]);
  std::size_t set = builder.Set("S", 4, 0.25);
  for (std::size_t b = 0; b < 4; ++b)
    builder.Direction(set, b, 1e-5);
  for (std::size_t a = 0; a < 4; ++a)
    builder.HorizontalDistance(a, (a + 1) % 4, 0.002);
  builder.HorizontalDistance(0, 2, 0.002);
  DatumCase c = builder.Build();
  c.network.datumFree = true;
  DatumAnalysis analysis = AnalyseDatum(c.network, c.unknowns, c.linear, false);
  ASSERT_FALSE(analysis.refused);

  struct Case {
    double angle, shiftX, shiftY;
  } cases[] = {{1e-3, 0.4, -0.3}, {-2e-4, 0.0, 1.5}, {0.0, 0.01, 0.0}};
  for (const Case& m : cases) {
    SCOPED_TRACE(m.angle);
    NetworkValues values;
    values.points = ApproximateCoordinates(c.network);
    values.orientations = {0.25 - m.angle};
    for (auto& point : values.points) {
      double x = point[0], y = point[1];
      point[0] = std::cos(m.angle) * x - std::sin(m.angle) * y + m.shiftX;
      point[1] = std::sin(m.angle) * x + std::cos(m.angle) * y + m.shiftY;
    }
    NetworkValues moved = values;
    ASSERT_TRUE(MoveIntoMinimumTrace(c.network, c.unknowns, analysis, moved));
    for (std::size_t a = 0; a < 5; ++a) {
      for (int axis = 0; axis < 2; ++axis)
        EXPECT_NEAR(moved.points[a][axis], c.network.points[a].approximate[axis], 1e-8);
      for (std::size_t b = a + 1; b < 5; ++b)
        EXPECT_NEAR(Distance(moved.points[a], moved.points[b]),
                    Distance(values.points[a], values.points[b]), 1e-10);
    }
    EXPECT_NEAR(moved.orientations[0], 0.25, 1e-10);
  }
}

TEST(LibraryConditions, HoldTheDefectOnlyWhereTheyReachIt) {
  struct Case {
    const char* name;
    const char* text;
    bool holds;
  } cases[] = {
      {"3D distances",
       "point A 0 0 0\npoint B 100 5 2\npoint C 30 80 -4\npoint D 50 40 30\n"
       "datum free\ndist A B 100.14 0.001\ndist A C 85.53 0.001\n"
       "dist A D 70.71 0.001\ndist B C 103.09 0.001\ndist B D 68.92 0.001\n"
       "dist C D 53.15 0.001\n",
       true},
      {"GNSS vectors with levelled heights: the 3D points carry the shift",
       "point A 0 0 0\npoint B 100 5 2\nheight H 1\ndatum free\nvector A B 100 5 2 0.003\n"
       "level A H 1 0.001\nlevel H B 1 0.001\n",
       true},
      {"levelling: no 3D point", "height H1 1\nheight H2 2\ndatum free\nlevel H1 H2 1 0.001\n",
       false},
      {"every 3D point has a fixed height: none qualifies",
       "point A 0 0 0\npoint B 100 5 2\nfix A z\nfix B z\ndatum free\nvector A B 100 5 2 0.003\n",
       false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    DatumCase network = FromText(c.text);
    DatumAnalysis analysis = AnalyseDatum(network.network, network.unknowns, network.linear, false);
    ASSERT_FALSE(analysis.basis.motions.empty());
    EXPECT_EQ(LibraryConditionsHold(network.network, network.unknowns, analysis.basis.motions),
              c.holds);
  }
}

}  // namespace
}  // namespace zradjust
