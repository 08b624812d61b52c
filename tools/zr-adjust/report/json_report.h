#pragma once
// The results as one JSON document, for programs.
//
// Layout: { "sigma0", "converged", "unknowns", "observations_count", "iterations": [...],
// "points": [...], "observations": [...] }, points and observations in file order. Every
// number is written with 17 significant digits, so it reads back to the same double; a value
// that is not finite, a fixed coordinate's and a missing standard deviation are null.

#include <ostream>
#include <string>

#include "tools/zr-adjust/report/adjustment_report.h"

namespace zradjust {

void WriteJsonReport(std::ostream& out, const AdjustmentReport& report);

// value as a JSON number with 17 significant digits, or null when it is not finite.
std::string JsonNumber(double value);

}  // namespace zradjust
