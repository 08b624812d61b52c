#include "tools/zr-adjust/statistics/distribution_quantiles.h"

#include <cmath>
#include <limits>

namespace zradjust {
namespace {

constexpr double epsilon = std::numeric_limits<double>::epsilon();
constexpr double tiny = 1e-300;
constexpr int seriesLimit = 100000;

// One term of Lentz's method for a continued fraction with partial numerator `numerator` and
// partial denominator `denominator`: updates the ratios c and d, each kept clear of zero, and
// returns the term's factor c·d of the fraction's value.
double LentzFactor(double numerator, double denominator, double& c, double& d) {
  d = numerator * d + denominator;
  if (std::fabs(d) < tiny) d = tiny;
  c = denominator + numerator / c;
  if (std::fabs(c) < tiny) c = tiny;
  d = 1.0 / d;
  return d * c;
}

// Lentz's evaluation of the continued fraction of Γ(a, x), x > a + 1.
double UpperGammaFraction(double a, double x) {
  double b = x + 1.0 - a, c = 1.0 / tiny, d = 1.0 / b, h = d;
  for (int i = 1; i < seriesLimit; ++i) {
    const double an = -i * (i - a);
    b += 2.0;
    const double delta = LentzFactor(an, b, c, d);
    h *= delta;
    if (std::fabs(delta - 1.0) < epsilon) break;
  }
  return std::exp(-x + a * std::log(x) - std::lgamma(a)) * h;
}

// The continued fraction of I_x(a, b), good for x < (a + 1) / (a + b + 2).
double BetaFraction(double x, double a, double b) {
  const double qab = a + b, qap = a + 1.0, qam = a - 1.0;
  double c = 1.0, d = 1.0 - qab * x / qap;
  if (std::fabs(d) < tiny) d = tiny;
  d = 1.0 / d;
  double h = d;
  for (int m = 1; m < seriesLimit; ++m) {
    const int m2 = 2 * m;
    // The even term, then the odd one.
    h *= LentzFactor(m * (b - m) * x / ((qam + m2) * (a + m2)), 1.0, c, d);
    const double delta = LentzFactor(-(a + m) * (qab + m) * x / ((a + m2) * (qap + m2)), 1.0, c, d);
    h *= delta;
    if (std::fabs(delta - 1.0) < epsilon) break;
  }
  return h;
}

// The root of an increasing function on [low, high] with f(low) <= 0 <= f(high), by
// bisection until the interval stops shrinking: slow but safe at every argument.
template <typename Function>
double IncreasingRoot(Function f, double low, double high) {
  for (int step = 0; step < 2000; ++step) {
    const double middle = 0.5 * (low + high);
    if (middle <= low || middle >= high) break;
    (f(middle) < 0.0 ? low : high) = middle;
  }
  return 0.5 * (low + high);
}

}  // namespace

double RegularisedLowerGamma(double a, double x) {
  if (x <= 0.0) return 0.0;
  if (x > a + 1.0) return 1.0 - UpperGammaFraction(a, x);
  double term = 1.0 / a, sum = term;
  for (int n = 1; n < seriesLimit; ++n) {
    term *= x / (a + n);
    sum += term;
    if (std::fabs(term) < std::fabs(sum) * epsilon) break;
  }
  return sum * std::exp(-x + a * std::log(x) - std::lgamma(a));
}

double RegularisedBeta(double x, double a, double b) {
  if (x <= 0.0) return 0.0;
  if (x >= 1.0) return 1.0;
  const double front = std::exp(std::lgamma(a + b) - std::lgamma(a) - std::lgamma(b) +
                                a * std::log(x) + b * std::log1p(-x));
  if (x < (a + 1.0) / (a + b + 2.0)) return front * BetaFraction(x, a, b) / a;
  return 1.0 - front * BetaFraction(1.0 - x, b, a) / b;
}

double ChiSquareQuantile(double probability, double degreesOfFreedom) {
  auto excess = [&](double x) {
    return RegularisedLowerGamma(0.5 * degreesOfFreedom, 0.5 * x) - probability;
  };
  double high = degreesOfFreedom + 10.0;
  while (excess(high) < 0.0)
    high *= 2.0;
  return IncreasingRoot(excess, 0.0, high);
}

double FQuantile(double probability, double numeratorDegrees, double denominatorDegrees) {
  // Solved in t = ν1·x / (ν1·x + ν2), which lives on [0, 1] however heavy the tail.
  auto excess = [&](double t) {
    return RegularisedBeta(t, 0.5 * numeratorDegrees, 0.5 * denominatorDegrees) - probability;
  };
  const double t = IncreasingRoot(excess, 0.0, 1.0);
  return denominatorDegrees * t / (numeratorDegrees * (1.0 - t));
}

}  // namespace zradjust
