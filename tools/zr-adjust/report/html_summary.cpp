// The summary and the flagged observations of the HTML report.

#include <cmath>
#include <map>
#include <string>

#include "tools/zr-adjust/report/html_format.h"
#include "tools/zr-adjust/report/html_sections.h"

namespace zradjust {
namespace {

// A figure in the summary, tied to the data block by its key.
std::string Figure(const char* field, const char* shown, const std::string& text) {
  return std::string("<span class=\"figure\" data-field=\"") + field + "\" data-shown=\"" + shown +
         "\">" + text + "</span>";
}

std::string RunState(const AdjustmentReport& report) {
  std::size_t count = report.iterations.size();
  std::string iterations = std::to_string(count) + (count == 1 ? " iteration" : " iterations");
  if (report.evaluateOnly) return "Evaluation only: no corrections applied.";
  if (report.diverged) return "Stopped: the coordinates are no longer finite.";
  std::string tolerance = Fixed(report.tolerance * 1000.0, 3) + " mm";
  if (report.converged)
    return "Converged after " + iterations + ": no correction above " + tolerance + ".";
  return "<strong class=\"bad\">Not converged</strong>: the iteration limit was reached after " +
         iterations + " with corrections still above " + tolerance + ".";
}

void WriteCounts(std::ostream& out, const AdjustmentReport& report) {
  std::size_t kinds[3] = {0, 0, 0}, fixedCoordinates = 0;
  for (const PointResult& point : report.points) {
    ++kinds[static_cast<int>(point.kind)];
    for (bool fixed : point.fixed)
      fixedCoordinates += fixed;
  }
  std::map<std::string, std::size_t> types;
  for (const ObservationResult& observation : report.observations)
    ++types[TypeName(observation.type)];
  std::string byType;
  for (const auto& [type, count] : types)
    byType += (byType.empty() ? "" : ", ") + std::to_string(count) + " " + type;
  out << "<tr><th>Points</th><td>" << report.points.size() << " (" << kinds[0] << " 3D, "
      << kinds[1] << " plan, " << kinds[2] << " height); " << fixedCoordinates
      << " fixed coordinates</td></tr>\n";
  out << "<tr><th>Unknowns</th><td>" << report.unknownCount << " (" << report.orientations.size()
      << " orientations of direction sets)</td></tr>\n";
  out << "<tr><th>Observations</th><td>" << report.observations.size()
      << (byType.empty() ? "" : " (" + byType + ")") << "</td></tr>\n";
  out << "<tr><th>Redundancy</th><td>"
      << Figure("summary.redundancy", "plain", std::to_string(report.redundancy)) << "</td></tr>\n";
}

std::string PointList(const AdjustmentReport& report, const std::vector<std::size_t>& indices) {
  std::string names;
  for (std::size_t index : indices)
    names += (names.empty() ? "" : ", ") + HtmlText(report.points[index].name);
  return names;
}

void WriteDatum(std::ostream& out, const AdjustmentReport& report) {
  out << "<tr><th>Datum</th><td>";
  const DatumResult& datum = report.datum;
  if (datum.free) {
    out << "free network; ";
    if (datum.parameters.empty()) {
      out << "defect not available";
    } else {
      out << "defect " << datum.defect << " (";
      for (std::size_t i = 0; i < datum.parameters.size(); ++i)
        out << (i ? ", " : "") << HtmlText(datum.parameters[i]);
      out << ")";
    }
    out << "; minimum-trace datum over "
        << (datum.points.empty() ? "every point without a fixed coordinate"
                                 : "the datum points " + PointList(report, datum.points));
  } else {
    std::string fixed;
    for (const PointResult& point : report.points) {
      std::string axes;
      for (int axis = 0; axis < 3; ++axis)
        if (point.fixed[axis]) axes += AxisName(point.kind, axis);
      if (!axes.empty())
        fixed += (fixed.empty() ? "" : ", ") + HtmlText(point.name) + " (" + axes + ")";
    }
    out << "fixed coordinates: " << (fixed.empty() ? "none (held by observed coordinates)" : fixed);
  }
  out << "</td></tr>\n";
}

void WriteSigma0(std::ostream& out, const AdjustmentReport& report) {
  out << "<tr><th>\xCF\x83\xE2\x82\x80 a posteriori</th><td>"
      << (report.sigma0 ? Figure("summary.sigma0", "plain", Fixed(report.sigma0, 3))
                        : "not available (no redundancy)")
      << "</td></tr>\n<tr><th>Global test</th><td id=\"global-test\">";
  if (report.globalTest) {
    const GlobalTestResult& test = *report.globalTest;
    out << "r\xC2\xB7\xCF\x83\xE2\x82\x80\xC2\xB2 = "
        << Figure("summary.global.value", "plain", Fixed(test.value, 3)) << "; accepted range "
        << Figure("summary.global.lower", "plain", Fixed(test.lower, 3)) << " to "
        << Figure("summary.global.upper", "plain", Fixed(test.upper, 3))
        << " (\xCF\x87\xC2\xB2, two-sided, \xCE\xB1 = "
        << Figure("summary.global.alpha", "plain", Fixed(test.alpha, 3)) << "): "
        << (test.passed ? "<strong class=\"good\">passed</strong>"
                        : "<strong class=\"bad\">failed</strong>");
  } else {
    out << "not available";
  }
  out << "</td></tr>\n<tr><th>Variance factor</th><td>"
      << (report.varianceFactor == VarianceFactor::Estimated
              ? "estimated: precisions scaled by \xCF\x83\xE2\x82\x80\xC2\xB2"
              : "known: the a-priori standard deviations taken as true")
      << (report.varianceFactorForced ? " (no redundancy, so the known factor is used)" : "")
      << "; 95 % confidence factor "
      << Figure("summary.confidence_factor", "plain", Fixed(report.confidenceFactor, 4))
      << "</td></tr>\n";
}

void WriteIterations(std::ostream& out, const AdjustmentReport& report) {
  out << "<div class=\"convergence\">\n";
  WriteHtmlConvergenceChart(out, report);
  out << "<table class=\"iterations\"><thead><tr><th>Iteration</th>"
         "<th data-field=\"sigma0\" data-shown=\"plain\">\xCF\x83\xE2\x82\x80</th>"
         "<th data-field=\"max_correction\" data-shown=\"sci\">largest correction [m]</th>"
         "</tr></thead><tbody>\n";
  for (std::size_t i = 0; i < report.iterations.size(); ++i) {
    const IterationRecord& iteration = report.iterations[i];
    char correction[32];
    std::snprintf(correction, sizeof correction, "%.3e", iteration.maxCorrection);
    if (!std::isfinite(iteration.maxCorrection))
      std::snprintf(correction, sizeof correction, "n/a");
    out << "<tr data-index=\"" << i << "\"><td>" << iteration.number << "</td><td>"
        << Fixed(iteration.sigma0, 4) << "</td><td>" << correction << "</td></tr>\n";
  }
  out << "</tbody></table>\n</div>\n";
}

}  // namespace

void WriteHtmlSummary(std::ostream& out, const AdjustmentReport& report) {
  out << "<section id=\"summary\">\n<h2>Summary</h2>\n<p class=\"state\">" << RunState(report)
      << " Exit status " << report.exitStatus << ".</p>\n<table class=\"summary\"><tbody>\n";
  WriteCounts(out, report);
  WriteDatum(out, report);
  WriteSigma0(out, report);
  out << "</tbody></table>\n<h3>Convergence</h3>\n";
  WriteIterations(out, report);
  out << "</section>\n";
}

std::string ObservationLabel(const AdjustmentReport& report, const ObservationResult& observation) {
  auto name = [&](std::size_t index) { return report.points[index].name; };
  std::string type = TypeName(observation.type);
  switch (observation.type) {
    case ObservationType::Coordinate:
      return type + " " + name(observation.from) + " " + observation.axis;
    case ObservationType::Angle:
      return type + " at " + name(observation.at) + ": " + name(observation.from) +
             " \xE2\x86\x92 " + name(observation.to);
    case ObservationType::Direction:
      return type + " " +
             (observation.set < report.orientations.size()
                  ? report.orientations[observation.set].set + ": "
                  : "") +
             name(observation.from) + " \xE2\x86\x92 " + name(observation.to);
    default:
      return type + " " + name(observation.from) + " \xE2\x86\x92 " + name(observation.to);
  }
}

void WriteHtmlFlagged(std::ostream& out, const AdjustmentReport& report) {
  out << "<section id=\"flagged\">\n<h2>Flagged observations</h2>\n";
  bool anyW = false;
  for (const ObservationResult& observation : report.observations)
    anyW = anyW || observation.w.has_value();
  if (!anyW) {
    out << "<p class=\"na\">Not available: this run has no standardised residuals w (redundancy "
           "numbers not computed, or nothing is redundant).</p>\n</section>\n";
    return;
  }
  if (report.flagged.empty()) {
    out << "<p>No observation fails the w-test: every |w| is at most the critical value "
        << Fixed(report.criticalW, 2) << ".</p>\n</section>\n";
    return;
  }
  out << "<p>" << report.flagged.size() << " observation" << (report.flagged.size() == 1 ? "" : "s")
      << " with |w| above the critical value " << Fixed(report.criticalW, 2)
      << ", largest first. Each links to its row in the observation table.</p>\n"
      << "<ol class=\"flagged\">\n";
  for (std::size_t index : report.flagged) {
    const ObservationResult& observation = report.observations[index];
    bool angular = IsAngular(observation.type);
    ShownQuantity small = angular ? ShownSmallAngle(observation.unit) : ShownPrecision();
    std::string field = "observations." + std::to_string(index) + ".";
    // The unit lets a reader of the page tie an angular figure to the stored radians.
    std::string unit =
        angular ? std::string(" data-unit=\"") + UnitName(observation.unit) + "\"" : "";
    out << "<li><a href=\"#obs-" << index << "\">"
        << HtmlText(ObservationLabel(report, observation)) << "</a> (line " << observation.line
        << "): w = " << Figure((field + "w").c_str(), "plain", Fixed(observation.w, 2))
        << ", residual <span class=\"figure\" data-field=\"" << field
        << "residual\" data-shown=\"small\"" << unit << ">" << Show(observation.residual, small)
        << "</span> " << small.unit << ", MDB <span class=\"figure\" data-field=\"" << field
        << "mdb\" data-shown=\"small\"" << unit << ">" << Show(observation.mdb, small) << "</span> "
        << small.unit << "</li>\n";
  }
  out << "</ol>\n</section>\n";
}

}  // namespace zradjust
