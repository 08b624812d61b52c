// zr-adjust: reads a network file, adjusts it with the library's Iterate and reports the result.
// main only wires the stages together and maps the outcome to the exit status.

#include <exception>
#include <iostream>
#include <string>
#include <vector>

#include "iteration/adjustment_model.h"
#include "tools/zr-adjust/adjustment_run.h"
#include "tools/zr-adjust/model/identifier_order.h"
#include "tools/zr-adjust/model/model_builder.h"
#include "tools/zr-adjust/network/network_reader.h"
#include "tools/zr-adjust/options.h"
#include "tools/zr-adjust/report_collection.h"
#include "tools/zr-adjust/run_outputs.h"
#include "tools/zr-adjust/report/text_report.h"

namespace {

constexpr int exitConverged = 0;
constexpr int exitNotConverged = 1;
constexpr int exitBadInput = 2;

int Fail(const std::string& message) {
  std::cerr << "zr-adjust: " << message << "\n";
  return exitBadInput;
}

void Print(std::ostream& out, const std::vector<std::string>& lines) {
  for (const std::string& line : lines)
    out << line << "\n";
}

void ConfigureModel(ZR::AdjustmentModel& model, const zradjust::Options& options,
                    const zradjust::RunOutputs& outputs) {
  model.diagonalDamping = options.damping;
  model.weightScale = options.sigma0 * options.sigma0;
  model.correctionLog = outputs.Log();
  model.matrixDump = outputs.Dump();
}

void WarnAbout(const zradjust::RunResult& run) {
  if (run.inverseFailed) {
    std::cerr << "zr-adjust: warning: the normal matrix could not be inverted, standard "
                 "deviations are missing; is the datum defined?\n";
  }
  if (run.diverged) {
    std::cerr << "zr-adjust: the coordinates are no longer finite; is the datum defined?\n";
  }
}

}  // namespace

int main(int argc, char** argv) {
  using namespace zradjust;
  ParsedOptions parsed = ParseOptions(argc, argv);
  if (parsed.help) return std::cout << UsageText(), exitConverged;
  if (parsed.version) return std::cout << "zr-adjust " ZR_VERSION "\n", exitConverged;
  if (!parsed.error.empty()) return Fail(parsed.error + "\nTry 'zr-adjust --help'.");
  const Options& options = parsed.options;

  ReadResult read = ReadNetworkFile(options.networkFile);
  Print(std::cerr, read.errors);
  if (!read.Ok()) return exitBadInput;
  std::string label = options.networkFile == "-" ? "<stdin>" : options.networkFile;
  Print(std::cerr, NetworkWarnings(read.network, label));

  RunOutputs outputs;
  std::string error;
  if (!outputs.Open(options, error)) return Fail(error);
  try {
    ZR::AdjustmentModel model;
    ConfigureModel(model, options, outputs);
    ModelObjects objects(read.network, AssignIdentifiers(read.network, options.order), model);
    RunSettings settings = SettingsFrom(options, objects.Unknowns().size());
    RunResult run =
        RunAdjustment(model, objects.Unknowns(), settings, options.quiet ? nullptr : &std::cerr);
    WarnAbout(run);

    AdjustmentReport report = CollectReport(read.network, objects, model, run, settings, label);
    WriteTextReport(std::cout, report);
    std::cout.flush();
    if (!outputs.Finish(report, error)) return Fail(error);
    return settings.evaluateOnly || run.converged ? exitConverged : exitNotConverged;
  } catch (const std::exception& exception) {
    return Fail(std::string("the adjustment failed: ") + exception.what());
  }
}
