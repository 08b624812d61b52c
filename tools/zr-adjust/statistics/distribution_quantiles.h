#pragma once
// Quantiles of the χ² and F distributions for the global test and the confidence ellipses,
// from the regularised incomplete gamma and beta functions and a bracketing root finder that
// cannot leave its interval.

namespace zradjust {

// P(a, x) = γ(a, x) / Γ(a), a > 0, x >= 0.
double RegularisedLowerGamma(double a, double x);
// I_x(a, b), a, b > 0, 0 <= x <= 1.
double RegularisedBeta(double x, double a, double b);

// The x with P(χ²_ν <= x) = probability; 0 < probability < 1, ν > 0 (not checked).
double ChiSquareQuantile(double probability, double degreesOfFreedom);
// The x with P(F_{ν1,ν2} <= x) = probability; 0 < probability < 1, ν1, ν2 > 0.
double FQuantile(double probability, double numeratorDegrees, double denominatorDegrees);

}  // namespace zradjust
