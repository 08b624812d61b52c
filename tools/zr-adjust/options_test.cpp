#include "tools/zr-adjust/options.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

namespace zradjust {
namespace {

using ::testing::HasSubstr;

ParsedOptions Parse(const std::string& line) {
  std::vector<std::string> arguments;
  std::istringstream words(line);
  for (std::string word; words >> word;)
    arguments.push_back(word);
  return ParseOptions(arguments);
}

TEST(Options, DefaultsAndEveryOptionReachingItsField) {
  ParsedOptions defaults = Parse("net.txt");
  ASSERT_EQ(defaults.error, "");
  const Options& d = defaults.options;
  EXPECT_EQ(d.networkFile, "net.txt");
  EXPECT_TRUE(d.order == IdentifierOrder::ReverseCuthillMcKee &&
              d.solver == SolverChoice::Compact && d.inverse == InverseChoice::Auto);
  EXPECT_TRUE(d.iterations == 10 && d.tolerance == 1e-5 && d.stepFactor == 1.0 &&
              d.maxCorrection == 1e10 && d.damping == 0.0 && d.sigma0 == 1.0);
  EXPECT_FALSE(d.adaptiveWeights || d.quiet);
  EXPECT_TRUE(d.varianceFactor == VarianceFactor::Estimated && d.alpha == 0.05);
  EXPECT_TRUE(d.logFile.empty() && d.dumpFile.empty() && d.jsonFile.empty() && d.svgFile.empty());

  ParsedOptions parsed = Parse(
      "--order input --solver=evaluate --inverse never --iterations 7 --tolerance 0 "
      "--step-factor 0.5 --max-correction=2.5 --damping 1e-9 --sigma0 3 --adaptive-weights "
      "--variance-factor known --alpha=0.01 --log l.txt --dump d.txt --json r.json --svg p.svg -q "
      "-- -net.txt");
  ASSERT_EQ(parsed.error, "");
  const Options& o = parsed.options;
  EXPECT_TRUE(o.order == IdentifierOrder::Input && o.solver == SolverChoice::Evaluate &&
              o.inverse == InverseChoice::Never);
  EXPECT_TRUE(o.iterations == 7 && o.tolerance == 0.0 && o.stepFactor == 0.5 &&
              o.maxCorrection == 2.5 && o.damping == 1e-9 && o.sigma0 == 3.0);
  EXPECT_TRUE(o.adaptiveWeights && o.quiet);
  EXPECT_TRUE(o.varianceFactor == VarianceFactor::Known && o.alpha == 0.01);
  EXPECT_EQ(o.logFile + o.dumpFile + o.jsonFile + o.svgFile, "l.txtd.txtr.jsonp.svg");
  EXPECT_EQ(o.networkFile, "-net.txt");
  EXPECT_EQ(Parse("-").options.networkFile, "-");
}

TEST(Options, BadOptionsSayWhatIsWrong) {
  struct Case {
    const char* arguments;
    const char* message;
  };
  const Case cases[] = {
      {"", "no network file given"},
      {"a.net b.net", "one network file expected, got 'a.net' and 'b.net'"},
      {"--frobnicate a.net", "unknown option '--frobnicate'"},
      {"a.net --tolerance", "option --tolerance needs a value"},
      {"a.net --tolerance=", "option --tolerance needs a value"},
      {"a.net --tolerance inf", "option --tolerance needs a finite number, got 'inf'"},
      {"a.net --max-correction 1e999", "needs a finite number, got '1e999'"},
      {"a.net --sigma0 0", "option --sigma0 must be greater than zero, got '0'"},
      {"a.net --tolerance -1e-3", "option --tolerance must be at least zero"},
      {"a.net --iterations 2.5", "needs a whole number from 1 to 1000000, got '2.5'"},
      {"a.net --order amd", "option --order must be one of input, rcm, got 'amd'"},
      {"a.net --solver pardiso", "option --solver must be one of compact, evaluate"},
      {"a.net --inverse yes", "option --inverse must be one of always, auto, never"},
      {"a.net --variance-factor a-priori",
       "option --variance-factor must be one of estimated, known, got 'a-priori'"},
      {"a.net --alpha 0", "option --alpha must be greater than zero, got '0'"},
      {"a.net --alpha 1", "option --alpha must be less than 1, got '1'"},
      {"a.net --alpha 5%", "option --alpha needs a finite number, got '5%'"},
  };
  for (const Case& c : cases)
    EXPECT_THAT(Parse(c.arguments).error, HasSubstr(c.message)) << c.arguments;
}

}  // namespace
}  // namespace zradjust
