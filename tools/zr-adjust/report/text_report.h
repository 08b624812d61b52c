#pragma once
// The report on standard output: summary, adjusted coordinates with standard deviations, and
// the observations with their residuals, all in file order.

#include <ostream>

#include "tools/zr-adjust/report/adjustment_report.h"

namespace zradjust {

// Writes the whole report to out. Coordinates in metres, standard deviations and residuals in
// millimetres, as a surveyor reads them.
void WriteTextReport(std::ostream& out, const AdjustmentReport& report);

}  // namespace zradjust
