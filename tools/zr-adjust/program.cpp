#include "tools/zr-adjust/program.h"

#include <exception>
#include <vector>

#include "iteration/adjustment_model.h"
#include "tools/zr-adjust/adjustment_run.h"
#include "tools/zr-adjust/model/identifier_order.h"
#include "tools/zr-adjust/model/model_builder.h"
#include "tools/zr-adjust/report_collection.h"

namespace zradjust {
namespace {

void Print(std::ostream& out, const std::vector<std::string>& lines) {
  for (const std::string& line : lines)
    out << line << "\n";
}

void ConfigureModel(ZR::AdjustmentModel& model, const Options& options, std::FILE* log,
                    std::FILE* dump) {
  model.diagonalDamping = options.damping;
  model.weightScale = options.sigma0 * options.sigma0;
  model.correctionLog = log;
  model.matrixDump = dump;
}

void WarnAbout(const RunResult& run, std::ostream& messages) {
  if (run.inverseFailed) {
    messages << "zr-adjust: warning: the normal matrix could not be inverted, standard "
                "deviations are missing; is the datum defined?\n";
  }
  if (run.diverged) {
    messages << "zr-adjust: the coordinates are no longer finite; is the datum defined?\n";
  }
}

}  // namespace

Outcome AdjustNetwork(const Options& options, const ReadResult& read, std::ostream& messages,
                      std::FILE* log, std::FILE* dump) {
  Outcome outcome;
  std::string label = NetworkLabel(options.networkFile);
  Print(messages, NetworkWarnings(read.network, label));
  try {
    ZR::AdjustmentModel model;
    ConfigureModel(model, options, log, dump);
    ModelObjects objects(read.network, AssignIdentifiers(read.network, options.order), model);
    RunSettings settings = SettingsFrom(options, objects.Unknowns().size());
    settings.correctionScales = objects.CorrectionScales();
    RunResult run =
        RunAdjustment(model, objects.Unknowns(), settings, options.quiet ? nullptr : &messages);
    WarnAbout(run, messages);
    outcome.report = CollectReport(read.network, objects, model, run, settings, label,
                                   CollectionInputsFrom(options));
    outcome.exitStatus =
        settings.evaluateOnly || run.converged ? exitConverged : exitNotConverged;
  } catch (const std::exception& exception) {
    messages << "zr-adjust: the adjustment failed: " << exception.what() << "\n";
    outcome.exitStatus = exitBadInput;
    outcome.report.reset();
  }
  return outcome;
}

}  // namespace zradjust
