#pragma once
// Reads the results of a finished run out of the model into an AdjustmentReport.

#include <string>

#include "iteration/adjustment_model.h"
#include "tools/zr-adjust/report/adjustment_report.h"
#include "tools/zr-adjust/adjustment_run.h"
#include "tools/zr-adjust/model/model_builder.h"
#include "tools/zr-adjust/network/network.h"

namespace zradjust {

// Coordinates from the value objects, standard deviations sigma0 * sqrt(Q[c][c]) from the
// model's normalInverse with c the unknown's column in model.unknowns, adjusted observations
// from the observation objects at the final values. Points and observations in file order.
AdjustmentReport CollectReport(const Network& network, ModelObjects& objects,
                               const ZR::AdjustmentModel& model, const RunResult& run,
                               const RunSettings& settings, const std::string& networkFile);

}  // namespace zradjust
