#include "tools/zr-adjust/program.h"

#include <exception>
#include <vector>

#include "iteration/adjustment_model.h"
#include "solvers/compact_profile.h"
#include "tools/zr-adjust/adjustment_run.h"
#include "tools/zr-adjust/datum/datum_analysis.h"
#include "tools/zr-adjust/datum/library_conditions.h"
#include "tools/zr-adjust/datum/minimum_trace.h"
#include "tools/zr-adjust/model/identifier_order.h"
#include "tools/zr-adjust/model/model_builder.h"
#include "tools/zr-adjust/report_collection.h"

namespace zradjust {
namespace {

void ConfigureModel(ZR::AdjustmentModel& model, const Options& options, std::FILE* log,
                    std::FILE* dump) {
  model.diagonalDamping = options.damping;
  model.weightScale = options.sigma0 * options.sigma0;
  model.correctionLog = log;
  model.matrixDump = dump;
}

// A network of thousands of loose parts would otherwise bury the first messages.
constexpr std::size_t problemLimit = 20;

void PrintProblems(const std::vector<std::string>& problems, std::ostream& messages) {
  for (std::size_t k = 0; k < problems.size() && k < problemLimit; ++k)
    messages << "  " << problems[k] << "\n";
  if (problems.size() > problemLimit)
    messages << "  ... and " << problems.size() - problemLimit << " more\n";
}

// Refuses an undefined datum, or warns about what only the damping holds; true to go on.
bool CheckDatum(const DatumAnalysis& datum, const std::string& label, std::ostream& messages) {
  if (datum.problems.empty()) return true;
  if (datum.refused) {
    messages << label << ": the datum of the network is not defined:\n";
    PrintProblems(datum.problems, messages);
    return false;
  }
  messages << "zr-adjust: warning: " << label
           << ": only the damping holds what follows; its standard deviations are not "
              "determined:\n";
  PrintProblems(datum.problems, messages);
  return true;
}

// The datum while iterating: the library's seven conditions where they hold the defect (3D
// points in the model's points), otherwise a minimal datum of the program's own, held fixed,
// and no network points for the library. Without a defect the library's conditions are kept
// as they are, unless they would not be finite (a single 3D point).
void HoldDatum(const Network& network, const DatumAnalysis& datum, ModelObjects& objects,
               ZR::AdjustmentModel& model) {
  if (datum.basis.motions.empty()) {
    if (!LibraryConditionsFinite(network, objects.UnknownRefs())) model.points.clear();
    return;
  }
  if (!model.points.empty() &&
      LibraryConditionsHold(network, objects.UnknownRefs(), datum.basis.motions))
    return;
  model.points.clear();
  objects.Hold(datum.basis.held, model);
}

NetworkValues ValuesOf(const Network& network, const ModelObjects& objects) {
  NetworkValues values;
  for (std::size_t p = 0; p < network.points.size(); ++p) {
    std::array<double, 3>& c = values.points.emplace_back(std::array<double, 3>{0.0, 0.0, 0.0});
    for (int axis = 0; axis < network.points[p].CoordinateCount(); ++axis)
      c[axis] = objects.Coordinate(p, axis).Value;
  }
  values.orientations.assign(network.directionSets.size(), 0.0);
  for (std::size_t u = 0; u < objects.UnknownRefs().size(); ++u)
    if (objects.UnknownRefs()[u].orientation)
      values.orientations[objects.UnknownRefs()[u].index] = objects.Unknowns()[u]->Value;
  return values;
}

// The adjusted values moved into the minimum-trace datum (nothing is re-evaluated: the motion
// changes no observation), and G re-evaluated there for the cofactors.
void MoveIntoReportedDatum(const Network& network, ModelObjects& objects, DatumAnalysis& datum) {
  if (datum.basis.motions.empty()) return;
  NetworkValues values = ValuesOf(network, objects);
  MoveIntoMinimumTrace(network, objects.UnknownRefs(), datum, values);
  const std::vector<UnknownRef>& refs = objects.UnknownRefs();
  for (std::size_t u = 0; u < refs.size(); ++u) {
    objects.Unknowns()[u]->Value = refs[u].orientation ? values.orientations[refs[u].index]
                                                       : values.points[refs[u].index][refs[u].axis];
  }
  datum.basis.motions = DefectMotionsAt(network, refs, datum, values.points);
}

// What the statistics need of the datum: G at the reported coordinates, the datum, held and
// undetermined unknowns, d, and the report's datum section.
CollectionInputs CollectionInputsOf(const Options& options, const DatumAnalysis& datum,
                                    const Network& network) {
  CollectionInputs inputs = CollectionInputsFrom(options);
  inputs.basis = datum.basis;
  inputs.defect = datum.defect;
  inputs.datum.free = network.datumFree;
  inputs.datum.defect = datum.defect;
  for (Motion motion : datum.parameters)
    inputs.datum.parameters.push_back(MotionParameter(motion));
  inputs.datum.points = datum.datumPoints;
  return inputs;
}

// The compact solver addresses its storage with 32-bit positions: a network whose normal
// matrix needs more slots in this order is refused before the first step, not left to fail in
// the middle of one.
bool CheckProfile(const Network& network, const std::vector<std::uint64_t>& identifiers,
                  bool pointDatum, const Options& options, const std::string& label,
                  std::ostream& messages) {
  std::uint64_t profile = NormalProfile(network, identifiers, pointDatum);
  if (profile <= maxCompactSlots) return true;
  messages << label << ": the normal equations need " << profile
           << " slots of the compact solver's storage in this order of the unknowns, more than "
              "its limit of "
           << maxCompactSlots << "; "
           << (options.order == IdentifierOrder::Input ? "use --order rcm, or split the network"
               : pointDatum ? "a free 3D network of this size cannot be held by the datum "
                              "conditions; fix points instead of `datum free`, or split it"
                            : "split the network into smaller parts")
           << "\n";
  return false;
}

void ReportNumericalFailure(const RunResult& run, const std::string& label,
                            std::ostream& messages) {
  messages << label << ": the adjustment failed numerically in iteration " << run.failedIteration
           << ": "
           << (run.diverged ? "the coordinates are no longer finite"
                            : "the corrections do not solve the normal equations (the "
                              "factorisation rejected a pivot)")
           << "; no coordinates are reported. Check SIGMAs that differ by many orders of "
              "magnitude and nearly degenerate geometry.\n";
}

}  // namespace

Outcome AdjustNetwork(const Options& options, const ReadResult& read, std::ostream& messages,
                      std::FILE* log, std::FILE* dump) {
  Outcome outcome;
  std::string label = NetworkLabel(options.networkFile);
  try {
    ZR::AdjustmentModel model;
    ConfigureModel(model, options, log, dump);
    std::vector<std::uint64_t> identifiers = AssignIdentifiers(read.network, options.order);
    ModelObjects objects(read.network, identifiers, model);
    DatumAnalysis datum = AnalyseDatum(read.network, objects.UnknownRefs(), objects.Linearise(),
                                       options.damping > 0.0);
    if (!CheckDatum(datum, label, messages)) {
      outcome.exitStatus = exitBadInput;
      return outcome;
    }
    HoldDatum(read.network, datum, objects, model);
    if (options.solver == SolverChoice::Compact &&
        !CheckProfile(read.network, identifiers, !model.points.empty(), options, label, messages)) {
      outcome.exitStatus = exitBadInput;
      return outcome;
    }
    RunSettings settings = SettingsFrom(options, objects.Unknowns().size());
    settings.correctionScales = objects.CorrectionScales();
    RunResult run =
        RunAdjustment(model, objects.Unknowns(), settings, options.quiet ? nullptr : &messages);
    if (run.NumericalFailure()) {
      ReportNumericalFailure(run, label, messages);
      outcome.exitStatus = exitNumericalFailure;
      return outcome;
    }
    MoveIntoReportedDatum(read.network, objects, datum);
    outcome.report = CollectReport(read.network, objects, model, run, settings, label,
                                   CollectionInputsOf(options, datum, read.network));
    outcome.exitStatus = settings.evaluateOnly || run.converged ? exitConverged : exitNotConverged;
    outcome.report->exitStatus = outcome.exitStatus;
  } catch (const std::exception& exception) {
    messages << "zr-adjust: the adjustment failed: " << exception.what() << "\n";
    outcome.exitStatus = exitBadInput;
    outcome.report.reset();
  }
  return outcome;
}

}  // namespace zradjust
