#include "tools/zr-adjust/report/html_report.h"

#include "tools/zr-adjust/report/html_assets.h"
#include "tools/zr-adjust/report/html_format.h"
#include "tools/zr-adjust/report/html_sections.h"

namespace zradjust {
namespace {

// Nothing may be fetched: no script, style, font, image or frame from anywhere, so the page
// reads the same from a USB stick, an e-mail attachment or a project archive years later.
constexpr const char* contentSecurityPolicy =
    "default-src 'none'; style-src 'unsafe-inline'; script-src 'unsafe-inline'; "
    "img-src data:; form-action 'none'; base-uri 'none'";

void WriteHead(std::ostream& out, const AdjustmentReport& report, const HtmlContext& context) {
  out << "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
      << "<meta http-equiv=\"Content-Security-Policy\" content=\"" << contentSecurityPolicy
      << "\">\n<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
      << "<meta name=\"generator\" content=\"zr-adjust " << HtmlText(context.programVersion)
      << "\">\n<title>Adjustment report: " << HtmlText(report.networkFile) << "</title>\n<style>\n"
      << htmlPageStyle << "</style>\n</head>\n";
}

void WriteHeader(std::ostream& out, const AdjustmentReport& report, const HtmlContext& context) {
  out << "<header id=\"report-header\">\n<h1>Adjustment report <span class=\"file\">"
      << HtmlText(report.networkFile) << "</span></h1>\n<dl class=\"facts\">\n";
  out << "<dt>Network file</dt><dd>" << HtmlText(context.networkFile) << "</dd>\n";
  out << "<dt>SHA-256</dt><dd><code id=\"network-sha256\">"
      << (context.networkSha256.empty() ? "not available (read from standard input)"
                                        : HtmlText(context.networkSha256))
      << "</code></dd>\n";
  out << "<dt>Written</dt><dd>" << HtmlText(context.date) << "</dd>\n";
  out << "<dt>Program</dt><dd>zr-adjust " << HtmlText(context.programVersion) << "</dd>\n";
  out << "<dt>Options</dt><dd id=\"changed-options\">";
  if (context.changedOptions.empty()) out << "all defaults";
  for (std::size_t i = 0; i < context.changedOptions.size(); ++i)
    out << (i ? " " : "") << "<code>" << HtmlText(context.changedOptions[i]) << "</code>";
  out << "</dd>\n</dl>\n</header>\n";
}

void WriteContents(std::ostream& out) {
  out << "<nav class=\"contents\" aria-label=\"Contents\"><a href=\"#summary\">Summary</a> "
         "<a href=\"#flagged\">Flagged observations</a> <a href=\"#plan\">Plan</a> "
         "<a href=\"#histogram\">Standardised residuals</a> <a href=\"#points\">Points</a> "
         "<a href=\"#sets\">Direction sets</a> <a href=\"#relative\">Relative precision</a> "
         "<a href=\"#observations\">Observations</a></nav>\n";
}

}  // namespace

void WriteHtmlReport(std::ostream& out, const AdjustmentReport& report,
                     const HtmlContext& context) {
  WriteHead(out, report, context);
  // The first script collects errors of everything after it, for the page's self-test.
  out << "<body>\n<script>window.reportErrors = []; window.addEventListener('error', "
         "function (event) { window.reportErrors.push(String(event.message)); });</script>\n";
  WriteHeader(out, report, context);
  WriteContents(out);
  out << "<main>\n";
  WriteHtmlSummary(out, report);
  WriteHtmlFlagged(out, report);
  WriteHtmlPlan(out, report);
  WriteHtmlHistogram(out, report);
  WriteHtmlTables(out, report);
  out << "</main>\n<footer>Written by zr-adjust " << HtmlText(context.programVersion)
      << ". Print with the browser's Print command (Ctrl+P) to paper or PDF: every table row is "
         "printed, none is cut.</footer>\n";
  WriteHtmlData(out, report);
  out << "<script>\n" << htmlPageScript << "</script>\n</body>\n</html>\n";
}

}  // namespace zradjust
