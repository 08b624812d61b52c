#include "tools/zr-adjust/html_context.h"

#include <charconv>
#include <fstream>
#include <iterator>

#include "tools/zr-adjust/report/sha256.h"

namespace zradjust {
namespace {

std::string Shortest(double value) {
  char buffer[32];
  auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
  return std::string(buffer, result.ptr);
}

}  // namespace

std::vector<std::string> ChangedOptions(const Options& options) {
  const Options defaults;
  std::vector<std::string> changed;
  auto text = [&](const char* name, const std::string& value, const std::string& fallback) {
    if (value != fallback) changed.push_back(std::string(name) + " " + value);
  };
  auto number = [&](const char* name, double value, double fallback) {
    if (value != fallback) changed.push_back(std::string(name) + " " + Shortest(value));
  };
  auto flag = [&](const char* name, bool value) {
    if (value) changed.push_back(name);
  };
  number("--iterations", options.iterations, defaults.iterations);
  number("--tolerance", options.tolerance, defaults.tolerance);
  if (options.inverse != defaults.inverse)
    changed.push_back(options.inverse == InverseChoice::Always ? "--inverse always"
                                                               : "--inverse never");
  if (options.order != defaults.order)
    changed.push_back(options.order == IdentifierOrder::Input ? "--order input" : "--order rcm");
  if (options.solver != defaults.solver)
    changed.push_back(options.solver == SolverChoice::Evaluate ? "--solver evaluate"
                                                               : "--solver compact");
  number("--sigma0", options.sigma0, defaults.sigma0);
  number("--step-factor", options.stepFactor, defaults.stepFactor);
  number("--max-correction", options.maxCorrection, defaults.maxCorrection);
  number("--damping", options.damping, defaults.damping);
  flag("--adaptive-weights", options.adaptiveWeights);
  if (options.varianceFactor != defaults.varianceFactor)
    changed.push_back(options.varianceFactor == VarianceFactor::Known
                          ? "--variance-factor known"
                          : "--variance-factor estimated");
  number("--alpha", options.alpha, defaults.alpha);
  text("--json", options.jsonFile, defaults.jsonFile);
  text("--svg", options.svgFile, defaults.svgFile);
  text("--html", options.htmlFile, defaults.htmlFile);
  text("--log", options.logFile, defaults.logFile);
  text("--dump", options.dumpFile, defaults.dumpFile);
  flag("--quiet", options.quiet);
  return changed;
}

HtmlContext MakeHtmlContext(const Options& options, const std::string& programVersion,
                            std::time_t now) {
  HtmlContext context;
  context.networkFile = options.networkFile == "-" ? "standard input" : options.networkFile;
  if (options.networkFile != "-") {
    std::ifstream file(options.networkFile, std::ios::binary);
    std::string bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    if (file.is_open() && !file.bad()) context.networkSha256 = Sha256Hex(bytes);
  }
  char date[32];
  std::tm utc{};
  gmtime_r(&now, &utc);
  std::strftime(date, sizeof date, "%Y-%m-%d %H:%M:%S UTC", &utc);
  context.date = date;
  context.programVersion = programVersion;
  context.changedOptions = ChangedOptions(options);
  return context;
}

}  // namespace zradjust
