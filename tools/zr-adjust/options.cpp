#include "tools/zr-adjust/options.h"

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <map>

namespace zradjust {
namespace {

struct OptionError {
  std::string message;
};

double Number(const std::string& name, const std::string& text) {
  char* end = nullptr;
  errno = 0;
  double value = std::strtod(text.c_str(), &end);
  if (text.empty() || end != text.c_str() + text.size() || !std::isfinite(value)) {
    throw OptionError{"option " + name + " needs a finite number, got '" + text + "'"};
  }
  return value;
}

double NumberAbove(const std::string& name, const std::string& text, double bound, bool inclusive) {
  double value = Number(name, text);
  if (inclusive ? !(value >= bound) : !(value > bound)) {
    throw OptionError{"option " + name + " must be " + (inclusive ? "at least " : "greater than ") +
                      (bound == 0.0 ? "zero" : std::to_string(bound)) + ", got '" + text + "'"};
  }
  return value;
}

int Count(const std::string& name, const std::string& text) {
  char* end = nullptr;
  errno = 0;
  long value = std::strtol(text.c_str(), &end, 10);
  if (text.empty() || end != text.c_str() + text.size() || errno == ERANGE || value < 1 ||
      value > 1000000) {
    throw OptionError{"option " + name + " needs a whole number from 1 to 1000000, got '" + text +
                      "'"};
  }
  return static_cast<int>(value);
}

template <typename Choice>
Choice Pick(const std::string& name, const std::string& text,
            const std::map<std::string, Choice>& choices) {
  auto found = choices.find(text);
  if (found != choices.end()) return found->second;
  std::string known;
  for (const auto& [word, choice] : choices)
    known += (known.empty() ? "" : ", ") + word;
  throw OptionError{"option " + name + " must be one of " + known + ", got '" + text + "'"};
}

using Setter = std::function<void(Options&, const std::string&)>;

const std::map<std::string, Setter>& ValueOptions() {
  static const std::map<std::string, Setter> table = {
      {"--order",
       [](Options& o, const std::string& v) {
         o.order = Pick<IdentifierOrder>(
             "--order", v,
             {{"rcm", IdentifierOrder::ReverseCuthillMcKee}, {"input", IdentifierOrder::Input}});
       }},
      {"--solver",
       [](Options& o, const std::string& v) {
         o.solver = Pick<SolverChoice>(
             "--solver", v,
             {{"compact", SolverChoice::Compact}, {"evaluate", SolverChoice::Evaluate}});
       }},
      {"--inverse",
       [](Options& o, const std::string& v) {
         o.inverse = Pick<InverseChoice>("--inverse", v,
                                         {{"auto", InverseChoice::Auto},
                                          {"always", InverseChoice::Always},
                                          {"never", InverseChoice::Never}});
       }},
      {"--iterations",
       [](Options& o, const std::string& v) { o.iterations = Count("--iterations", v); }},
      {"--tolerance",
       [](Options& o, const std::string& v) {
         o.tolerance = NumberAbove("--tolerance", v, 0.0, true);
       }},
      {"--step-factor",
       [](Options& o, const std::string& v) {
         o.stepFactor = NumberAbove("--step-factor", v, 0.0, false);
       }},
      {"--max-correction",
       [](Options& o, const std::string& v) {
         o.maxCorrection = NumberAbove("--max-correction", v, 0.0, false);
       }},
      {"--damping",
       [](Options& o, const std::string& v) {
         o.damping = NumberAbove("--damping", v, 0.0, true);
       }},
      {"--sigma0",
       [](Options& o, const std::string& v) { o.sigma0 = NumberAbove("--sigma0", v, 0.0, false); }},
      {"--variance-factor",
       [](Options& o, const std::string& v) {
         o.varianceFactor = Pick<VarianceFactor>(
             "--variance-factor", v,
             {{"estimated", VarianceFactor::Estimated}, {"known", VarianceFactor::Known}});
       }},
      {"--alpha",
       [](Options& o, const std::string& v) {
         o.alpha = NumberAbove("--alpha", v, 0.0, false);
         if (!(o.alpha < 1.0)) {
           throw OptionError{"option --alpha must be less than 1, got '" + v + "'"};
         }
       }},
      {"--log", [](Options& o, const std::string& v) { o.logFile = v; }},
      {"--dump", [](Options& o, const std::string& v) { o.dumpFile = v; }},
      {"--json", [](Options& o, const std::string& v) { o.jsonFile = v; }},
      {"--svg", [](Options& o, const std::string& v) { o.svgFile = v; }},
  };
  return table;
}

void ParseInto(ParsedOptions& parsed, const std::vector<std::string>& arguments) {
  std::vector<std::string> files;
  bool optionsEnded = false;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const std::string& argument = arguments[i];
    if (optionsEnded || argument == "-" || argument.rfind("-", 0) != 0) {
      files.push_back(argument);
      continue;
    }
    if (argument == "--") {
      optionsEnded = true;
    } else if (argument == "--help" || argument == "-h") {
      parsed.help = true;
    } else if (argument == "--version") {
      parsed.version = true;
    } else if (argument == "--adaptive-weights") {
      parsed.options.adaptiveWeights = true;
    } else if (argument == "--quiet" || argument == "-q") {
      parsed.options.quiet = true;
    } else {
      std::size_t equals = argument.find('=');
      std::string name = argument.substr(0, equals);
      auto setter = ValueOptions().find(name);
      if (setter == ValueOptions().end()) {
        throw OptionError{"unknown option '" + argument + "'"};
      }
      std::string value;
      if (equals != std::string::npos) {
        value = argument.substr(equals + 1);
      } else if (i + 1 < arguments.size()) {
        value = arguments[++i];
      } else {
        throw OptionError{"option " + name + " needs a value"};
      }
      if (value.empty()) throw OptionError{"option " + name + " needs a value"};
      setter->second(parsed.options, value);
    }
  }
  if (parsed.help || parsed.version) return;
  if (files.empty()) throw OptionError{"no network file given"};
  if (files.size() > 1) {
    throw OptionError{"one network file expected, got '" + files[0] + "' and '" + files[1] + "'"};
  }
  parsed.options.networkFile = files[0];
}

}  // namespace

ParsedOptions ParseOptions(const std::vector<std::string>& arguments) {
  ParsedOptions parsed;
  try {
    ParseInto(parsed, arguments);
  } catch (const OptionError& error) {
    parsed.error = error.message;
  }
  return parsed;
}

ParsedOptions ParseOptions(int argc, const char* const* argv) {
  std::vector<std::string> arguments;
  for (int i = 1; i < argc; ++i)
    arguments.emplace_back(argv[i]);
  return ParseOptions(arguments);
}

const char* UsageText() {
  return R"(Usage: zr-adjust [OPTIONS] NETWORK-FILE

Adjusts a geodetic network by weighted least squares and reports the adjusted
coordinates, their standard deviations and the residuals. NETWORK-FILE '-' reads
standard input.

Network file, one record a line ('#' starts a comment, lengths in metres):
  point NAME X Y Z                 3D point with approximate coordinates
  height NAME H                    levelling point with approximate height
  fix NAME [AXES]                  hold coordinates fixed (x, y, z or h; all if omitted)
  datum free                       free network: datum from all 3D points
  dist FROM TO S SIGMA             slope distance
  vector FROM TO DX DY DZ SIGMA    GNSS baseline
  level FROM TO DH SIGMA           height difference, TO minus FROM
  coord NAME AXIS VALUE SIGMA      observed coordinate

Adjustment:
  --iterations N         at most N iterations (default 10)
  --tolerance M          converged when no correction exceeds M metres
                         (default 1e-5; 0 runs all iterations)
  --inverse MODE         auto (up to 3000 unknowns), always or never: standard
                         deviations need the inverse (default auto)
  --order ORDER          unknowns in rcm (reverse Cuthill-McKee, default) or
                         input order
  --solver SOLVER        compact (default) or evaluate (one step, no corrections)
  --sigma0 S             a-priori standard deviation of unit weight (default 1)
  --step-factor F        scale every correction by F (default 1)
  --max-correction M     clamp every correction to M metres (default 1e10)
  --damping D            add D to the diagonal of the normal matrix (default 0)
  --adaptive-weights     lower the weights of observations with large misclosures

Statistics:
  --variance-factor F    estimated (default: precisions scaled by sigma0 squared)
                         or known (the SIGMAs taken as true)
  --alpha A              significance level of the global test, 0 < A < 1
                         (default 0.05)

Output (the report goes to standard output, progress to standard error):
  --json FILE            write the results as JSON
  --svg FILE             draw the network in plan with error ellipses
  --log FILE             the library's correction log (Latin-1)
  --dump FILE            the library's matrix dumps (Latin-1)
  -q, --quiet            no progress lines
  -h, --help             show this help
      --version          show the version

Exit status: 0 converged (or evaluated), 1 iteration limit reached first,
2 bad input or options.
)";
}

}  // namespace zradjust
