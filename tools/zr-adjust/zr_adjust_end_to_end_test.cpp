// Runs the zr-adjust program as a user would and checks exit status, messages and files.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <regex>
#include <sstream>

namespace {

using ::testing::HasSubstr;

struct Outcome {
  int status = -1;
  std::string out;
  std::string err;
};

std::string Slurp(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

// A file name of its own for every test: ctest runs the tests of this program in parallel.
std::string Scratch(const std::string& name) {
  return ::testing::TempDir() + "/zr_e2e_" +
         ::testing::UnitTest::GetInstance()->current_test_info()->name() + "_" + name;
}

Outcome RunProgram(const std::string& arguments) {
  std::string out = Scratch("stdout.txt");
  std::string err = Scratch("stderr.txt");
  std::string command = std::string(ZR_ADJUST_PROGRAM) + " " + arguments + " >" + out + " 2>" + err;
  int raw = std::system(command.c_str());
  Outcome outcome;
  outcome.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
  outcome.out = Slurp(out);
  outcome.err = Slurp(err);
  return outcome;
}

std::string Data(const std::string& name) {
  return std::string(ZR_ADJUST_TESTDATA) + "/" + name;
}

std::vector<double> NumbersOf(const std::string& text, const std::string& key) {
  std::vector<double> numbers;
  std::regex pattern("\"" + key + "\": (null|[-+0-9.eE]+)");
  for (auto match = std::sregex_iterator(text.begin(), text.end(), pattern);
       match != std::sregex_iterator(); ++match) {
    std::string value = (*match)[1];
    numbers.push_back(value == "null" ? NAN : std::strtod(value.c_str(), nullptr));
  }
  return numbers;
}

bool FileExists(const std::string& path) {
  return std::ifstream(path).good();
}

TEST(ZrAdjust, BrokenFileGivesEveryFileLineAndStatusTwoAndWritesNothing) {
  std::string json = Scratch("broken.json");
  std::remove(json.c_str());
  Outcome outcome = RunProgram(Data("broken.net") + " --json " + json);
  EXPECT_EQ(outcome.status, 2);
  const char* const expected[] = {
      "broken.net:2: malformed number 'x1' for Z",
      "broken.net:3: duplicate point name 'A' (first declared on line 1)",
      "broken.net:4: unknown point 'C'",
      "broken.net:5: SIGMA must be greater than zero, found '0'",
      "broken.net:6: 'vector' names 'A' as both FROM and TO",
      "broken.net:7: wrong number of fields for 'level'",
      "broken.net:8: unknown keyword 'frobnicate'",
      "broken.net:9: invalid axes 'q' for 3D point 'B'",
  };
  for (const char* message : expected)
    EXPECT_THAT(outcome.err, HasSubstr(message));
  EXPECT_EQ(outcome.out, "");
  EXPECT_FALSE(FileExists(json));
}

TEST(ZrAdjust, BadOptionsAndFilesGiveStatusTwo) {
  struct Case {
    std::string arguments;
    const char* message;
  };
  const Case cases[] = {
      {"", "no network file given"},
      {"--bogus " + Data("small.net"), "unknown option '--bogus'"},
      {"--sigma0 0 " + Data("small.net"), "--sigma0 must be greater than zero"},
      {"--tolerance nan " + Data("small.net"), "--tolerance needs a finite number"},
      {Data("missing.net"), "missing.net: cannot read: No such file or directory"},
      {Data("small.net") + " --json /nonexistent/dir/r.json",
       "/nonexistent/dir/r.json: cannot write"},
  };
  for (const Case& c : cases) {
    Outcome outcome = RunProgram(c.arguments);
    EXPECT_EQ(outcome.status, 2) << c.arguments;
    EXPECT_THAT(outcome.err, HasSubstr(c.message)) << c.arguments;
  }
  Outcome help = RunProgram("--help");
  EXPECT_EQ(help.status, 0);
  EXPECT_THAT(help.out, HasSubstr("Usage: zr-adjust"));
}

TEST(ZrAdjust, IterationLimitGivesStatusOneAndConvergenceZero) {
  Outcome limited = RunProgram("--iterations 2 " + Data("nonlinear.net"));
  EXPECT_EQ(limited.status, 1);
  EXPECT_THAT(limited.out, HasSubstr("NOT converged"));
  Outcome converged = RunProgram(Data("nonlinear.net"));
  EXPECT_EQ(converged.status, 0);
  // One progress line per iteration on standard error.
  std::size_t lines = 0;
  for (std::size_t at = converged.err.find("iteration "); at != std::string::npos;
       at = converged.err.find("iteration ", at + 1)) {
    ++lines;
  }
  EXPECT_GE(lines, 3u);
  EXPECT_EQ(RunProgram("--tolerance 0 --iterations 3 " + Data("small.net")).status, 1);
  EXPECT_EQ(RunProgram("--solver evaluate " + Data("nonlinear.net")).status, 0);
}

TEST(ZrAdjust, WritesJsonAndSvgThatOtherToolsRead) {
  std::string json = Scratch("small.json");
  std::string svg = Scratch("small.svg");
  Outcome outcome = RunProgram("--json " + json + " --svg " + svg + " " + Data("small.net"));
  ASSERT_EQ(outcome.status, 0) << outcome.err;
  std::string text = Slurp(json);
  // Both documents parse with an independent reader.
  std::string check =
      "python3 -c \"import json,sys,xml.etree.ElementTree as E; "
      "json.load(open(sys.argv[1])); E.parse(sys.argv[2])\" " +
      json + " " + svg;
  EXPECT_EQ(std::system(check.c_str()), 0);

  // The true coordinates behind small.net: N1 (1050, 2080, 102), N2 (1050, 1920, 99).
  std::vector<double> x = NumbersOf(text, "x");
  std::vector<double> y = NumbersOf(text, "y");
  std::vector<double> sx = NumbersOf(text, "sx");
  ASSERT_EQ(x.size(), 4u);
  EXPECT_NEAR(x[2], 1050.0, 0.005);
  EXPECT_NEAR(y[2], 2080.0, 0.005);
  EXPECT_NEAR(y[3], 1920.0, 0.005);
  EXPECT_TRUE(std::isnan(sx[0]));  // fixed
  EXPECT_GT(sx[2], 0.0);
  std::vector<double> residual = NumbersOf(text, "residual");
  std::vector<double> observed = NumbersOf(text, "observed");
  std::vector<double> adjusted = NumbersOf(text, "adjusted");
  ASSERT_EQ(residual.size(), 11u);  // 5 distances, 3 vector components, 2 levels, 1 coord
  for (std::size_t i = 0; i < residual.size(); ++i) {
    EXPECT_EQ(residual[i], observed[i] - adjusted[i]);
  }
  EXPECT_THAT(text, HasSubstr("\"type\": \"coord\", \"at\": \"BM1\", \"axis\": \"h\""));

  // Two new points with free X and Y: two ellipses.
  std::string plot = Slurp(svg);
  std::size_t ellipses = 0;
  for (std::size_t at = plot.find("<ellipse"); at != std::string::npos;
       at = plot.find("<ellipse", at + 1)) {
    ++ellipses;
  }
  EXPECT_EQ(ellipses, 2u);
}

TEST(ZrAdjust, OrderOfUnknownsDoesNotChangeTheResult) {
  std::string rcm = Scratch("rcm.json");
  std::string input = Scratch("input.json");
  ASSERT_EQ(RunProgram("--json " + rcm + " " + Data("small.net")).status, 0);
  ASSERT_EQ(RunProgram("--order input --json " + input + " " + Data("small.net")).status, 0);
  std::vector<double> a = NumbersOf(Slurp(rcm), "y");
  std::vector<double> b = NumbersOf(Slurp(input), "y");
  ASSERT_EQ(a.size(), b.size());
  for (std::size_t i = 0; i < a.size(); ++i)
    EXPECT_NEAR(a[i], b[i], 1e-9);
}

TEST(ZrAdjust, ExampleNetworkAdjustsToItsTruth) {
  std::string json = Scratch("monitoring.json");
  Outcome outcome =
      RunProgram("--quiet --json " + json + " " + std::string(ZR_EXAMPLES) + "/monitoring.net");
  ASSERT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_EQ(outcome.err, "");
  std::string text = Slurp(json);
  std::ifstream truth(std::string(ZR_EXAMPLES) + "/monitoring.truth");
  std::vector<double> x = NumbersOf(text, "x"), y = NumbersOf(text, "y"), z = NumbersOf(text, "z");
  std::vector<double> sx = NumbersOf(text, "sx"), sy = NumbersOf(text, "sy"),
                      sz = NumbersOf(text, "sz");
  std::string name;
  double tx, ty, tz;
  std::size_t index = 0;
  std::string line;
  while (std::getline(truth, line)) {
    if (line.empty() || line[0] == '#') continue;
    std::istringstream fields(line);
    std::string kind;
    fields >> kind >> name;
    if (kind != "point") continue;
    fields >> tx >> ty >> tz;
    ASSERT_LT(index, x.size());
    double s[3] = {sx[index], sy[index], sz[index]};
    double error[3] = {x[index] - tx, y[index] - ty, z[index] - tz};
    for (int axis = 0; axis < 3; ++axis) {
      if (std::isnan(s[axis])) continue;  // fixed
      EXPECT_LT(std::fabs(error[axis]), 4.5 * s[axis]) << name << " axis " << axis;
    }
    ++index;
  }
  EXPECT_EQ(index, x.size());
  std::vector<double> sigma0 = NumbersOf(text, "sigma0");
  EXPECT_NEAR(sigma0[0], 1.0, 0.25);

  Outcome free = RunProgram("--quiet " + std::string(ZR_EXAMPLES) + "/monitoring-free.net");
  EXPECT_EQ(free.status, 0) << free.err;
}

}  // namespace
