// Runs the zr-adjust program as a user would and checks exit status, messages and files.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <sstream>

#include "tools/zr-adjust/test_support.h"

namespace zradjust {
namespace {

using ::testing::HasSubstr;

struct Outcome {
  int status = -1;
  std::string out, err;
};

std::string Scratch(const std::string& name) {
  return ScratchPath("zr_e2e_", name);
}

const std::string data = ZR_ADJUST_TESTDATA "/";

Outcome RunProgram(const std::string& arguments) {
  std::string out = Scratch("stdout.txt"), err = Scratch("stderr.txt");
  int raw = std::system(
      (std::string(ZR_ADJUST_PROGRAM) + " " + arguments + " >" + out + " 2>" + err).c_str());
  return {WIFEXITED(raw) ? WEXITSTATUS(raw) : -1, Slurp(out), Slurp(err)};
}

TEST(ZrAdjust, ExitStatusFollowsOptionsFilesAndConvergence) {
  struct Case {
    std::string arguments;
    int status;
    const char* message;  // on standard error, or standard output for status 0 and 1
  };
  const std::string small = " " + data + "small.net", nonlinear = " " + data + "nonlinear.net";
  const std::string json = Scratch("broken.json");
  std::remove(json.c_str());
  const Case cases[] = {
      // Every error of a broken file (the last is on line 9), before any output is written.
      {"--json " + json + " " + data + "broken.net", 2,
       "broken.net:9: invalid axes 'q' for 3D point 'B'"},
      {"", 2, "no network file given"},
      {"--bogus" + small, 2, "unknown option '--bogus'"},
      {data + "missing.net", 2, "missing.net: cannot read: No such file or directory"},
      {"/", 2, "/: cannot read: "},
      {"--json /nonexistent/dir/r.json" + small, 2, "/nonexistent/dir/r.json: cannot write"},
      {"--html /nonexistent/dir/r.html" + small, 2, "/nonexistent/dir/r.html: cannot write"},
      {"--help", 0, "Usage: zr-adjust"},
      {"--iterations 2" + nonlinear, 1, "NOT converged"},
      {"--tolerance 0 --iterations 3" + small, 1, ""},
      {"--solver evaluate" + nonlinear, 0, ""},
      {"--quiet " + std::string(ZR_EXAMPLES) + "/monitoring.net", 0, ""},
      // An undefined datum is refused before iterating; a rejected factorisation stops the run.
      {data + "plan_as_3d.net", 2, "point P: Z is not determined: no observation depends on it"},
      {"--order input " + data + "rejected_factorisation.net", 3,
       "the corrections do not solve the normal equations"},
  };
  for (const Case& c : cases) {
    Outcome outcome = RunProgram(c.arguments);
    EXPECT_EQ(outcome.status, c.status) << c.arguments << "\n" << outcome.err;
    EXPECT_THAT(c.status >= 2 ? outcome.err : outcome.out, HasSubstr(c.message)) << c.arguments;
    if (c.status == 3) {
      EXPECT_EQ(outcome.out, "");  // no coordinates as results
    }
  }
  EXPECT_FALSE(std::ifstream(json).good());
  // One progress line per iteration on standard error, none with --quiet.
  EXPECT_GE(CountOf(RunProgram(nonlinear).err, "iteration "), 3u);
  EXPECT_EQ(RunProgram("--quiet" + nonlinear).err, "");
}

// A hub observed from 31,000 points, numbered first: in input order every row of N reaches
// back to the hub's column, past what 32-bit positions of the compact storage address. The
// program refuses it before the first step; the profile-reducing order makes it adjustable.
TEST(ZrAdjust, ProfileBeyondTheCompactStorageIsRefusedBeforeIterating) {
  const std::string star = Scratch("star.net");
  {
    std::ofstream file(star);
    file << "point H 0 0 0\n";
    for (int i = 0; i < 31000; ++i)
      file << "point P" << i << " " << i % 200 << " " << i / 200 << " 1\n";
    file << "fix P0\n";
    for (int i = 0; i < 31000; ++i)
      file << "vector H P" << i << " " << i % 200 << " " << i / 200 << " 1 0.01\n";
  }
  Outcome input = RunProgram("-q --order input " + star);
  EXPECT_EQ(input.status, 2);
  EXPECT_THAT(input.err, HasSubstr("more than its limit of 4294967295; use --order rcm"));
  EXPECT_EQ(input.out, "");
  EXPECT_EQ(RunProgram("-q " + star).status, 0);
  std::remove(star.c_str());
}

TEST(ZrAdjust, WritesJsonAndSvgThatOtherToolsRead) {
  std::string json = Scratch("small.json"), svg = Scratch("small.svg");
  Outcome outcome = RunProgram("--json " + json + " --svg " + svg + " " + data + "small.net");
  ASSERT_EQ(outcome.status, 0) << outcome.err;
  // Both documents parse with an independent reader.
  std::string check =
      "python3 -c \"import json,sys,xml.etree.ElementTree as E; "
      "json.load(open(sys.argv[1])); E.parse(sys.argv[2])\" " +
      json + " " + svg;
  EXPECT_EQ(std::system(check.c_str()), 0);
  std::vector<double> sx = NumbersOf(Slurp(json), "sx");
  ASSERT_EQ(sx.size(), 4u);
  EXPECT_TRUE(std::isnan(sx[0]) && sx[2] > 0.0);     // a fixed point's null, a new point's value
  EXPECT_EQ(CountOf(Slurp(svg), "</ellipse>"), 2u);  // two new points with free X and Y
}

}  // namespace
}  // namespace zradjust
