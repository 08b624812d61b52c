#pragma once
// Reads the results of a finished run out of the model into an AdjustmentReport, with the
// statistics of the adjusted network computed from the host's own normal equations at the
// final values (never from the library's inverse, which may not exist).

#include <string>

#include "iteration/adjustment_model.h"
#include "tools/zr-adjust/adjustment_run.h"
#include "tools/zr-adjust/model/model_builder.h"
#include "tools/zr-adjust/network/network.h"
#include "tools/zr-adjust/report/adjustment_report.h"
#include "tools/zr-adjust/statistics/datum_basis.h"

namespace zradjust {

// What the datum analysis and the options contribute to the report.
struct CollectionInputs {
  // The defect's motions, datum unknowns, held and undetermined unknowns over the host's
  // unknowns; empty for a network without defect.
  DatumBasis basis;
  // The datum defect d (redundancy n − u + d).
  int defect = 0;
  // The datum section of the report as the analysis describes it.
  DatumResult datum;
  VarianceFactor varianceFactor = VarianceFactor::Estimated;
  double alpha = 0.05;
};

// The statistics settings of the options (the datum fields stay empty).
CollectionInputs CollectionInputsFrom(const Options& options);

// Coordinates and orientations from the value objects, adjusted observations from the
// observation objects at the final values; points and observations in file order, observed
// pairs in order of first appearance. Standard deviations, ellipses, redundancy numbers, w,
// MDB, the global test and the confidence factor follow the contract's statistics; none are
// computed when the run diverged. Throws what the statistics throw (a datum basis whose
// datum points do not hold the defect).
AdjustmentReport CollectReport(const Network& network, ModelObjects& objects,
                               const ZR::AdjustmentModel& model, const RunResult& run,
                               const RunSettings& settings, const std::string& networkFile,
                               const CollectionInputs& inputs = {});

}  // namespace zradjust
