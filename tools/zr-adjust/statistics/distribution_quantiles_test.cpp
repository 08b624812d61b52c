#include "tools/zr-adjust/statistics/distribution_quantiles.h"

#include <gtest/gtest.h>

#include <cmath>

namespace zradjust {
namespace {

TEST(DistributionQuantiles, ReproducePublishedTableValues) {
  // Percentage points as printed in the standard statistical tables (three decimals, the
  // F points at 95 %), so the tolerance is half a unit of the last printed digit.
  struct Case {
    double probability, degrees;
    double tabled, halfUnit;
  };
  const Case chiSquare[] = {
      {0.95, 1, 3.841, 5e-4},      {0.95, 2, 5.991, 5e-4},     {0.025, 10, 3.247, 5e-4},
      {0.975, 10, 20.483, 5e-4},   {0.99, 30, 50.892, 5e-4},   {0.05, 100, 77.929, 5e-4},
      {0.975, 100, 129.561, 5e-4}, {0.025, 1, 0.000982, 5e-7}, {0.005, 2, 0.010, 5e-4},
  };
  for (const Case& c : chiSquare)
    EXPECT_NEAR(ChiSquareQuantile(c.probability, c.degrees), c.tabled, c.halfUnit)
        << c.probability << " " << c.degrees;
  // The confidence factor of a 95 % ellipse with a known variance factor.
  EXPECT_NEAR(std::sqrt(ChiSquareQuantile(0.95, 2)), 2.4477, 5e-5);

  const Case f95WithTwo[] = {
      {0.95, 1, 199.5, 0.05},  {0.95, 5, 5.786, 5e-4},   {0.95, 10, 4.103, 5e-4},
      {0.95, 30, 3.316, 5e-4}, {0.95, 120, 3.072, 5e-4},
  };
  for (const Case& c : f95WithTwo)
    EXPECT_NEAR(FQuantile(c.probability, 2, c.degrees), c.tabled, c.halfUnit) << c.degrees;
  EXPECT_NEAR(FQuantile(0.95, 3, 10), 3.708, 5e-4);
  EXPECT_NEAR(FQuantile(0.95, 1, 10), 4.965, 5e-4);
  // 2·F(2, r) tends to χ²₂ as r grows.
  EXPECT_NEAR(2.0 * FQuantile(0.95, 2, 1e7), ChiSquareQuantile(0.95, 2), 1e-5);
}

TEST(DistributionQuantiles, IncompleteFunctionsAtClosedForms) {
  // P(1, x) = 1 − e^(−x); I_x(1, b) = 1 − (1 − x)^b; I_x(a, 1) = x^a.
  for (double x : {1e-8, 0.3, 1.0, 2.5, 17.0, 60.0})
    EXPECT_NEAR(RegularisedLowerGamma(1.0, x), -std::expm1(-x), 1e-14) << x;
  for (double x : {1e-6, 0.1, 0.5, 0.93, 0.999999}) {
    EXPECT_NEAR(RegularisedBeta(x, 1.0, 3.5), 1.0 - std::pow(1.0 - x, 3.5), 1e-14) << x;
    EXPECT_NEAR(RegularisedBeta(x, 2.5, 1.0), std::pow(x, 2.5), 1e-14) << x;
  }
}

}  // namespace
}  // namespace zradjust
