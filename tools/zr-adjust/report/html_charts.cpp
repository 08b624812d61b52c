// The small charts of the HTML report: the convergence history and the histogram of the
// standardised residuals. Static SVG, readable without script and in print.

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "tools/zr-adjust/report/html_format.h"
#include "tools/zr-adjust/report/html_sections.h"

namespace zradjust {
namespace {

constexpr double chartWidth = 320.0;
constexpr double chartHeight = 180.0;
constexpr double chartLeft = 52.0;
constexpr double chartRight = 12.0;
constexpr double chartTop = 24.0;
constexpr double chartBottom = 34.0;
constexpr double histogramBinWidth = 0.5;
// Standardised residuals beyond this are counted in the outermost bins.
constexpr double histogramReach = 6.0;

std::string Point(double u, double v) {
  char buffer[48];
  std::snprintf(buffer, sizeof buffer, "%.1f %.1f", u, v);
  return buffer;
}

std::string Label(double u, double v, const std::string& text, const char* anchor = "middle") {
  return "<text x=\"" + Fixed(u, 1) + "\" y=\"" + Fixed(v, 1) + "\" text-anchor=\"" + anchor +
         "\">" + text + "</text>";
}

// One panel: a polyline of values over iterations 1..n; logarithmic in v when asked.
void WriteSeries(std::ostream& out, const std::vector<double>& values, const char* title,
                 bool logarithmic) {
  double plotWidth = chartWidth - chartLeft - chartRight;
  double plotHeight = chartHeight - chartTop - chartBottom;
  auto scaled = [&](double value) {
    return logarithmic ? std::log10(std::max(value, 1e-300)) : value;
  };
  double low = INFINITY, high = -INFINITY;
  for (double value : values)
    if (std::isfinite(scaled(value)))
      low = std::min(low, scaled(value)), high = std::max(high, scaled(value));
  if (!(low <= high)) low = 0.0, high = 1.0;
  if (logarithmic) low = std::floor(low), high = std::ceil(high);
  if (!logarithmic) low = std::min(low, 0.0);
  if (high <= low) high = low + 1.0;
  auto u = [&](std::size_t i) {
    return chartLeft + (values.size() > 1 ? plotWidth * double(i) / double(values.size() - 1)
                                          : 0.5 * plotWidth);
  };
  auto v = [&](double value) {
    return chartTop + plotHeight * (high - std::clamp(scaled(value), low, high)) / (high - low);
  };
  out << "<svg class=\"chart\" viewBox=\"0 0 " << chartWidth << " " << chartHeight
      << "\" role=\"img\" aria-label=\"" << title << "\">" << Label(chartWidth / 2, 14, title)
      << "<path class=\"axis\" d=\"M" << Point(chartLeft, chartTop) << "V"
      << Fixed(chartTop + plotHeight, 1) << "H" << Fixed(chartLeft + plotWidth, 1) << "\"/>";
  auto tick = [&](double value) {
    return logarithmic ? "1e" + Fixed(value, 0) : Fixed(value, value == std::round(value) ? 0 : 2);
  };
  double highValue = logarithmic ? std::pow(10.0, high) : high;
  double lowValue = logarithmic ? std::pow(10.0, low) : low;
  out << Label(chartLeft - 4, v(highValue) + 4, tick(high), "end")
      << Label(chartLeft - 4, v(lowValue) + 4, tick(low), "end");
  std::string line;
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (!std::isfinite(values[i])) continue;
    line += (line.empty() ? "M" : "L") + Point(u(i), v(values[i]));
    out << "<circle class=\"dot\" cx=\"" << Fixed(u(i), 1) << "\" cy=\"" << Fixed(v(values[i]), 1)
        << "\" r=\"2.5\"/>";
  }
  out << "<path class=\"series\" d=\"" << line << "\"/>";
  out << Label(chartLeft, chartHeight - 8, "1", "middle");
  if (values.size() > 1)
    out << Label(chartLeft + plotWidth, chartHeight - 8, std::to_string(values.size()));
  out << Label(chartLeft + plotWidth / 2, chartHeight - 8, "iteration") << "</svg>\n";
}

}  // namespace

void WriteHtmlConvergenceChart(std::ostream& out, const AdjustmentReport& report) {
  if (report.iterations.empty()) {
    out << "<p class=\"na\">No iterations ran.</p>\n";
    return;
  }
  std::vector<double> sigma0, correction;
  for (const IterationRecord& iteration : report.iterations) {
    sigma0.push_back(iteration.sigma0);
    correction.push_back(iteration.maxCorrection);
  }
  out << "<div class=\"charts\">";
  WriteSeries(out, sigma0, "\xCF\x83\xE2\x82\x80 per iteration", false);
  WriteSeries(out, correction, "largest correction [m], logarithmic", true);
  out << "</div>\n";
}

void WriteHtmlHistogram(std::ostream& out, const AdjustmentReport& report) {
  out << "<section id=\"histogram\">\n<h2>Standardised residuals</h2>\n";
  std::vector<double> w;
  for (const ObservationResult& observation : report.observations)
    if (observation.w && std::isfinite(*observation.w)) w.push_back(*observation.w);
  if (w.empty()) {
    out << "<p class=\"na\">Not available: this run has no standardised residuals w.</p>\n"
           "</section>\n";
    return;
  }
  double reach = histogramReach;
  int binCount = int(2.0 * reach / histogramBinWidth);
  std::vector<std::size_t> bins(binCount, 0);
  for (double value : w) {
    int bin = int(std::floor((std::clamp(value, -reach, reach) + reach) / histogramBinWidth));
    ++bins[std::clamp(bin, 0, binCount - 1)];
  }
  // The standard normal density, scaled to the expected count per bin.
  double peak = double(w.size()) * histogramBinWidth / std::sqrt(2.0 * M_PI);
  double tallest = std::max<double>(peak, *std::max_element(bins.begin(), bins.end()));
  const double width = 660.0, height = 240.0, left = 40.0, bottom = 30.0, top = 14.0;
  double plotWidth = width - 2.0 * left, plotHeight = height - top - bottom;
  auto u = [&](double value) { return left + plotWidth * (value + reach) / (2.0 * reach); };
  auto v = [&](double count) { return top + plotHeight * (1.0 - count / tallest); };
  out << "<svg class=\"chart wide\" id=\"histogram-svg\" viewBox=\"0 0 " << width << " " << height
      << "\" role=\"img\" aria-label=\"Histogram of the standardised residuals\">";
  std::string barPath;
  for (int bin = 0; bin < binCount; ++bin) {
    if (!bins[bin]) continue;
    double from = -reach + bin * histogramBinWidth;
    barPath += "M" + Point(u(from), v(0)) + "V" + Fixed(v(double(bins[bin])), 1) + "H" +
               Fixed(u(from + histogramBinWidth), 1) + "V" + Fixed(v(0), 1) + "Z";
  }
  out << "<path class=\"bars\" d=\"" << barPath << "\"/>";
  std::string curve;
  for (int step = 0; step <= 240; ++step) {
    double x = -reach + 2.0 * reach * step / 240.0;
    curve += (step ? "L" : "M") + Point(u(x), v(peak * std::exp(-0.5 * x * x)));
  }
  out << "<path class=\"normal\" d=\"" << curve << "\"/>";
  for (double critical : {-report.criticalW, report.criticalW})
    out << "<path class=\"critical\" d=\"M" << Point(u(critical), top) << "V" << Fixed(v(0), 1)
        << "\"/>";
  out << "<path class=\"axis\" d=\"M" << Point(left, v(0)) << "H" << Fixed(left + plotWidth, 1)
      << "\"/>";
  for (int mark = -int(reach); mark <= int(reach); mark += 2)
    out << Label(u(mark), height - 10, std::to_string(mark));
  out << Label(left - 6, v(tallest) + 4, Fixed(tallest, 0), "end")
      << Label(left - 6, v(0) + 4, "0", "end");
  out << "</svg>\n<p class=\"legend\">" << w.size() << " standardised residuals w in bins of "
      << Fixed(histogramBinWidth, 1)
      << "; the curve is the standard normal density for as many values; dashed: the critical "
         "value \xC2\xB1"
      << Fixed(report.criticalW, 2) << ". Values beyond \xC2\xB1" << Fixed(reach, 0)
      << " are counted in the outermost bins.</p>\n</section>\n";
}

}  // namespace zradjust
