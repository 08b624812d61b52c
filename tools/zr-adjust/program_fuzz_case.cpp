#include "tools/zr-adjust/program_fuzz_case.h"

#include <cstdlib>
#include <sstream>

#include "tools/zr-adjust/network/network_reader.h"
#include "tools/zr-adjust/program.h"
#include "tools/zr-adjust/report/json_report.h"
#include "tools/zr-adjust/report/svg_plot.h"
#include "tools/zr-adjust/report/text_report.h"

namespace zradjust {
namespace {

// The writers trust the report's indices; a report that breaks them would read out of bounds.
bool IndicesInRange(const AdjustmentReport& report) {
  std::size_t points = report.points.size();
  for (const ObservationResult& observation : report.observations) {
    if (observation.from >= points || observation.to >= points) return false;
    if (observation.type == ObservationType::Angle && observation.at >= points) return false;
    if (observation.type == ObservationType::Direction &&
        observation.set >= report.orientations.size())
      return false;
  }
  for (const OrientationResult& orientation : report.orientations)
    if (orientation.station >= points) return false;
  for (const RelativeResult& pair : report.relative)
    if (pair.from >= points || pair.to >= points) return false;
  for (std::size_t point : report.datum.points)
    if (point >= points) return false;
  for (std::size_t flagged : report.flagged)
    if (flagged >= report.observations.size()) return false;
  return true;
}

}  // namespace

void RunWholeRoad(std::string_view text) {
  if (text.size() > fuzzMaximumBytes) return;
  ReadResult read = ReadNetwork(text, "fuzz.net");
  if (!read.Ok() || read.network.points.size() > fuzzMaximumPoints ||
      read.network.observations.size() > fuzzMaximumObservations)
    return;
  Options options;
  options.networkFile = "fuzz.net";
  options.quiet = true;
  options.iterations = fuzzIterations;
  std::ostringstream messages;
  Outcome outcome = AdjustNetwork(options, read, messages, nullptr, nullptr);
  if (outcome.exitStatus < exitConverged || outcome.exitStatus > exitNumericalFailure) std::abort();
  if (!outcome.report) return;
  // Bad input and numerical failures report no results.
  if (outcome.exitStatus >= exitBadInput || !IndicesInRange(*outcome.report)) std::abort();
  std::ostringstream out;
  WriteTextReport(out, *outcome.report);
  WriteJsonReport(out, *outcome.report);
  WriteSvgPlot(out, *outcome.report);
}

}  // namespace zradjust
