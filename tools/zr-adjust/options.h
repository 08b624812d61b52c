#pragma once
// The command line of zr-adjust as plain data. ParseOptions is the only code that reads argv.

#include <string>
#include <vector>

#include "tools/zr-adjust/model/identifier_order.h"
#include "tools/zr-adjust/report/adjustment_report.h"

namespace zradjust {

enum class SolverChoice {
  Compact,   // solve the normal equations and apply the corrections
  Evaluate,  // evaluation only: no corrections, one iteration
};

enum class InverseChoice {
  Auto,  // compute the inverse for at most inverseUnknownLimit unknowns
  Always,
  Never,
};

// With --inverse auto, the inverse (a full matrix in sparse storage) is computed for up to this
// many unknowns; beyond it, memory and time grow past what a default run should spend.
inline constexpr unsigned long inverseUnknownLimit = 3000;

struct Options {
  std::string networkFile;
  IdentifierOrder order = IdentifierOrder::ReverseCuthillMcKee;
  SolverChoice solver = SolverChoice::Compact;
  InverseChoice inverse = InverseChoice::Auto;
  int iterations = 10;
  double tolerance = 1e-5;
  double stepFactor = 1.0;
  double maxCorrection = 1e10;
  double damping = 0.0;
  double sigma0 = 1.0;
  // Whether the covariance of the unknowns is scaled by sigma0² (estimated) or the SIGMAs are
  // taken as true (known); and the significance level of the global test, 0 < alpha < 1.
  VarianceFactor varianceFactor = VarianceFactor::Estimated;
  double alpha = 0.05;
  bool adaptiveWeights = false;
  bool quiet = false;
  // Empty when not asked for.
  std::string logFile;
  std::string dumpFile;
  std::string jsonFile;
  std::string svgFile;
};

struct ParsedOptions {
  Options options;
  bool help = false;
  bool version = false;
  // Empty on success; otherwise what is wrong, naming the option.
  std::string error;
};

// Accepts "--name value" and "--name=value"; "--" ends the options. Exactly one network file
// ("-" for standard input) is required unless --help or --version is given.
ParsedOptions ParseOptions(const std::vector<std::string>& arguments);
ParsedOptions ParseOptions(int argc, const char* const* argv);

// The text of --help.
const char* UsageText();

}  // namespace zradjust
