#pragma once
// The report on standard output, as a surveyor reads it: the summary (size, iterations, sigma0,
// datum, variance factor, global test), the adjusted points with standard deviations and
// ellipses, the orientations of the direction sets, the relative precision of observed pairs,
// the observations with their residuals and tests, and the flagged observations.
//
// Coordinates are in metres, standard deviations, ellipses and residuals of lengths in
// millimetres; angles in the unit of their record, their residuals and biases in its sub-unit
// (mgon, ″, µrad). Every table sizes its columns after its widest cell and separates them by
// two blanks, and figures of 10¹⁰ or more switch to exponent form, so that columns never run
// together whatever the numbers.

#include <ostream>

#include "tools/zr-adjust/report/adjustment_report.h"

namespace zradjust {

// Writes the whole report to out, from the report alone.
void WriteTextReport(std::ostream& out, const AdjustmentReport& report);

// The observation table and the list of flagged observations (part of WriteTextReport).
void WriteTextObservations(std::ostream& out, const AdjustmentReport& report);

}  // namespace zradjust
