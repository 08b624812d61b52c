#include "tools/zr-adjust/statistics/error_ellipse.h"

#include <gtest/gtest.h>

#include <cmath>

namespace zradjust {
namespace {

TEST(ErrorEllipse, AxesAndBearingOfRotatedCovariances) {
  // Σ = R·diag(a², b²)·Rᵀ with the major axis along the unit vector (sin t, cos t).
  struct Case {
    double a, b, bearing;
  };
  const Case cases[] = {
      {0.004, 0.001, 0.0}, {0.004, 0.001, M_PI / 2}, {0.003, 0.002, 0.3},
      {0.003, 0.002, 2.9}, {0.005, 0.0, 1.0},        {0.002, 0.002 * (1 - 1e-9), 0.7},
  };
  for (const Case& c : cases) {
    const double e[2] = {std::sin(c.bearing), std::cos(c.bearing)};
    const double f[2] = {std::cos(c.bearing), -std::sin(c.bearing)};
    const double xx = c.a * c.a * e[0] * e[0] + c.b * c.b * f[0] * f[0];
    const double xy = c.a * c.a * e[0] * e[1] + c.b * c.b * f[0] * f[1];
    const double yy = c.a * c.a * e[1] * e[1] + c.b * c.b * f[1] * f[1];
    const StandardEllipse ellipse = EllipseOf(xx, xy, yy);
    EXPECT_NEAR(ellipse.a, c.a, 1e-12) << c.bearing;
    EXPECT_NEAR(ellipse.b, c.b, 1e-9) << c.bearing;
    if (c.a - c.b > 1e-6) {
      EXPECT_NEAR(ellipse.bearing, c.bearing, 1e-9) << c.bearing;
    }
    EXPECT_GE(ellipse.bearing, 0.0);
    EXPECT_LT(ellipse.bearing, M_PI);
  }
  // The opposite direction is the same axis: a bearing of 3π/2 is reported as π/2.
  const StandardEllipse eastWest = EllipseOf(4e-6, 0.0, 1e-6);
  EXPECT_NEAR(eastWest.bearing, M_PI / 2, 1e-15);
  const StandardEllipse circle = EllipseOf(1e-6, 0.0, 1e-6);
  EXPECT_EQ(circle.bearing, 0.0);
  EXPECT_EQ(circle.a, circle.b);
}

}  // namespace
}  // namespace zradjust
