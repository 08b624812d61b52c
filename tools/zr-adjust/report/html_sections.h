#pragma once
// The sections of the HTML report, each written as a fragment of the page's body. Internal to
// WriteHtmlReport; every writer takes a finished AdjustmentReport and computes nothing but
// unit conversions and drawing coordinates (and a point's ellipse from its covariance where the
// report gives only that, see PointEllipse).
//
// Conventions shared with the page's script and its tests: a table that the script sorts and
// pages has class "data"; its header cells carry data-field (the key of the figure in the
// JSON data block) and data-shown (how it is shown: coordinate, precision, value, small,
// bearing, plain, sci); an observation row with an angle carries data-unit (gon, deg, rad).

#include <optional>
#include <ostream>
#include <string>

#include "tools/zr-adjust/report/adjustment_report.h"

namespace zradjust {

// Counts, datum, sigma0 with the global test, variance factor and the convergence history
// (chart and numbers).
void WriteHtmlSummary(std::ostream& out, const AdjustmentReport& report);

// The flagged observations, largest |w| first, each linking to its row (#obs-INDEX).
void WriteHtmlFlagged(std::ostream& out, const AdjustmentReport& report);

// The plan as inline SVG (or the height profile of a network without plan positions).
void WriteHtmlPlan(std::ostream& out, const AdjustmentReport& report);

// The convergence chart: sigma0 and the largest correction per iteration.
void WriteHtmlConvergenceChart(std::ostream& out, const AdjustmentReport& report);

// The histogram of the standardised residuals w against the standard normal density.
void WriteHtmlHistogram(std::ostream& out, const AdjustmentReport& report);

// The tables of points, direction sets, relative precision and observations.
void WriteHtmlTables(std::ostream& out, const AdjustmentReport& report);

// The JSON data block: the report's figures with 17 significant digits.
void WriteHtmlData(std::ostream& out, const AdjustmentReport& report);

// "P1", "dir S1: P1 → P2": how an observation is named in the flagged list and the plan.
std::string ObservationLabel(const AdjustmentReport& report, const ObservationResult& observation);

// The ellipse to draw and tabulate for a point: the report's own, or one derived from the
// covariance of X and Y (standard ellipse, 95 % axes by the run's confidence factor) where the
// statistics only gave the covariance.
std::optional<EllipseResult> PointEllipse(const AdjustmentReport& report, const PointResult& point);

// The redundancy number where the statistics gave one: with a w, or for an uncontrolled
// observation; empty where the run computed none.
std::optional<double> ShownRedundancy(const ObservationResult& observation);

}  // namespace zradjust
