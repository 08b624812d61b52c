#include "tools/zr-adjust/program_fuzz_case.h"

#include <algorithm>
#include <cstdlib>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

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

// The options of the run: a first line "#! OPTIONS" (a comment to the reader) gives them, so
// that the fuzzer explores damping, orders, solvers and inverses too. The iteration count is
// capped and no file is written; nothing when the options are bad.
std::optional<Options> FuzzOptions(std::string_view text) {
  std::vector<std::string> arguments;
  if (text.substr(0, 2) == "#!") {
    std::istringstream line(std::string(text.substr(2, text.find('\n') - 2)));
    for (std::string argument; line >> argument;)
      arguments.push_back(argument);
  }
  arguments.push_back("fuzz.net");
  ParsedOptions parsed = ParseOptions(arguments);
  if (!parsed.error.empty() || parsed.help || parsed.version) return std::nullopt;
  Options options = parsed.options;
  options.quiet = true;
  options.iterations = std::min(options.iterations, fuzzIterations);
  options.logFile.clear(), options.dumpFile.clear();
  options.jsonFile.clear(), options.svgFile.clear();
  return options;
}

}  // namespace

void RunWholeRoad(std::string_view text) {
  if (text.size() > fuzzMaximumBytes) return;
  ReadResult read = ReadNetwork(text, "fuzz.net");
  if (!read.Ok() || read.network.points.size() > fuzzMaximumPoints ||
      read.network.observations.size() > fuzzMaximumObservations)
    return;
  std::optional<Options> parsed = FuzzOptions(text);
  if (!parsed) return;
  Options& options = *parsed;
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
