#pragma once
// The results as one self-contained HTML5 page that a surveyor opens, reads, prints and files
// with the project: header, summary with the global test and the convergence, the flagged
// observations first, the plan (or a height profile), the histogram of the standardised
// residuals and the tables of points, direction sets, relative precision and observations.
//
// The page needs nothing outside itself: its style and script are written into it and its
// content security policy forbids loading anything else. Everything is readable without
// script (the plan is a plain picture, the tables are complete); with script the plan zooms
// and pans and names points on hover, and the tables sort by any column and show in pages.
// Printed, every row is there and no row is cut.
//
// Figures missing from the report (statistics not computed) are shown as "not available" or
// "n/a", never as zero. Besides the visible figures the page carries the report's numbers with
// 17 significant digits in a JSON block (id "report-data", metres and radians), so that a
// reader or a test can tie every shown figure to the stored one.

#include <ostream>
#include <string>
#include <vector>

#include "tools/zr-adjust/report/adjustment_report.h"

namespace zradjust {

// What the page's header says beyond the report itself.
struct HtmlContext {
  // The network file as it was named on the command line.
  std::string networkFile;
  // SHA-256 of the file's bytes in hexadecimal; empty when it could not be read again
  // (standard input).
  std::string networkSha256;
  // When the report was written, e.g. "2026-11-23 05:40 UTC".
  std::string date;
  std::string programVersion;
  // Every option that differs from its default, as written on a command line.
  std::vector<std::string> changedOptions;
};

void WriteHtmlReport(std::ostream& out, const AdjustmentReport& report, const HtmlContext& context);

}  // namespace zradjust
