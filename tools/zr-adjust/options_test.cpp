#include "tools/zr-adjust/options.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace zradjust {
namespace {

using ::testing::HasSubstr;

TEST(Options, DefaultsAreThoseOfTheContract) {
  ParsedOptions parsed = ParseOptions({"net.txt"});
  ASSERT_EQ(parsed.error, "");
  const Options& o = parsed.options;
  EXPECT_EQ(o.networkFile, "net.txt");
  EXPECT_EQ(o.order, IdentifierOrder::ReverseCuthillMcKee);
  EXPECT_EQ(o.solver, SolverChoice::Compact);
  EXPECT_EQ(o.inverse, InverseChoice::Auto);
  EXPECT_EQ(o.iterations, 10);
  EXPECT_EQ(o.tolerance, 1e-5);
  EXPECT_EQ(o.stepFactor, 1.0);
  EXPECT_EQ(o.maxCorrection, 1e10);
  EXPECT_EQ(o.damping, 0.0);
  EXPECT_EQ(o.sigma0, 1.0);
  EXPECT_FALSE(o.adaptiveWeights);
  EXPECT_TRUE(o.logFile.empty() && o.dumpFile.empty() && o.jsonFile.empty() && o.svgFile.empty());
}

TEST(Options, EveryOptionReachesItsField) {
  ParsedOptions parsed = ParseOptions({"--order",
                                       "input",
                                       "--solver=evaluate",
                                       "--inverse",
                                       "never",
                                       "--iterations",
                                       "7",
                                       "--tolerance",
                                       "0",
                                       "--step-factor",
                                       "0.5",
                                       "--max-correction=2.5",
                                       "--damping",
                                       "1e-9",
                                       "--sigma0",
                                       "3",
                                       "--adaptive-weights",
                                       "--log",
                                       "l.txt",
                                       "--dump",
                                       "d.txt",
                                       "--json",
                                       "r.json",
                                       "--svg",
                                       "p.svg",
                                       "-q",
                                       "--",
                                       "-net.txt"});
  ASSERT_EQ(parsed.error, "");
  const Options& o = parsed.options;
  EXPECT_EQ(o.order, IdentifierOrder::Input);
  EXPECT_EQ(o.solver, SolverChoice::Evaluate);
  EXPECT_EQ(o.inverse, InverseChoice::Never);
  EXPECT_EQ(o.iterations, 7);
  EXPECT_EQ(o.tolerance, 0.0);
  EXPECT_EQ(o.stepFactor, 0.5);
  EXPECT_EQ(o.maxCorrection, 2.5);
  EXPECT_EQ(o.damping, 1e-9);
  EXPECT_EQ(o.sigma0, 3.0);
  EXPECT_TRUE(o.adaptiveWeights);
  EXPECT_TRUE(o.quiet);
  EXPECT_EQ(o.logFile, "l.txt");
  EXPECT_EQ(o.dumpFile, "d.txt");
  EXPECT_EQ(o.jsonFile, "r.json");
  EXPECT_EQ(o.svgFile, "p.svg");
  EXPECT_EQ(o.networkFile, "-net.txt");

  EXPECT_TRUE(ParseOptions({"--help"}).help);
  EXPECT_EQ(ParseOptions({"-"}).options.networkFile, "-");
}

TEST(Options, BadOptionsSayWhatIsWrong) {
  struct Case {
    std::vector<std::string> arguments;
    const char* message;
  };
  const Case cases[] = {
      {{}, "no network file given"},
      {{"a.net", "b.net"}, "one network file expected, got 'a.net' and 'b.net'"},
      {{"--frobnicate", "a.net"}, "unknown option '--frobnicate'"},
      {{"a.net", "--tolerance"}, "option --tolerance needs a value"},
      {{"a.net", "--tolerance="}, "option --tolerance needs a value"},
      {{"a.net", "--tolerance", "inf"}, "option --tolerance needs a finite number, got 'inf'"},
      {{"a.net", "--damping", "nan"}, "option --damping needs a finite number, got 'nan'"},
      {{"a.net", "--step-factor", "1x"}, "option --step-factor needs a finite number, got '1x'"},
      {{"a.net", "--max-correction", "1e999"}, "needs a finite number, got '1e999'"},
      {{"a.net", "--sigma0", "0"}, "option --sigma0 must be greater than zero, got '0'"},
      {{"a.net", "--sigma0", "-1"}, "option --sigma0 must be greater than zero"},
      {{"a.net", "--tolerance", "-1e-3"}, "option --tolerance must be at least zero"},
      {{"a.net", "--iterations", "0"}, "option --iterations needs a whole number from 1"},
      {{"a.net", "--iterations", "2.5"}, "needs a whole number from 1 to 1000000, got '2.5'"},
      {{"a.net", "--order", "amd"}, "option --order must be one of input, rcm, got 'amd'"},
      {{"a.net", "--solver", "pardiso"}, "option --solver must be one of compact, evaluate"},
      {{"a.net", "--inverse", "yes"}, "option --inverse must be one of always, auto, never"},
  };
  for (const Case& c : cases) {
    ParsedOptions parsed = ParseOptions(c.arguments);
    EXPECT_THAT(parsed.error, HasSubstr(c.message)) << c.message;
  }
}

}  // namespace
}  // namespace zradjust
