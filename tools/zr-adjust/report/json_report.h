#pragma once
// The results as one JSON document, for programs.
//
// Layout: { "sigma0", "converged", "unknowns", "observations_count", "redundancy",
// "variance_factor", "datum", "global_test", "exit_status", "iterations": [...],
// "points": [...], "orientations": [...], "relative": [...], "observations": [...] }, points
// and observations in file order, each with the names the program's documentation gives.
// Every number is written with 17 significant digits, so it reads back to the same double; a
// value that is not finite, a fixed coordinate's and a missing standard deviation are null.
// Lengths are in metres; angles in the unit of their record (bearings of ellipses and
// orientations in the unit in force at the end of the file).

#include <ostream>
#include <string>

#include "tools/zr-adjust/report/adjustment_report.h"

namespace zradjust {

void WriteJsonReport(std::ostream& out, const AdjustmentReport& report);

// value as a JSON number with 17 significant digits, or null when it is not finite.
std::string JsonNumber(double value);

// text as a JSON string: quotes, backslashes and control characters escaped, and '<' as well
// when escapeLessThan (a string inside an HTML script element, which no name may close).
std::string JsonString(const std::string& text, bool escapeLessThan = false);

}  // namespace zradjust
