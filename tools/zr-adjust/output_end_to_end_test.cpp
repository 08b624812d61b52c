// Runs the zr-adjust program with its outputs sent to files, devices, FIFOs and standard
// output, and checks that every target is written as it should be and that a failed write is
// exit status 2 with nothing half-written.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <sstream>

#include "tools/zr-adjust/test_support.h"

namespace zradjust {
namespace {

using ::testing::HasSubstr;

std::string Scratch(const std::string& name) {
  return ScratchPath("zr_output_", name);
}

struct ProgramRun {
  int status = -1;
  std::string err;
};

// Runs "zr-adjust ARGUMENTS small.net" in a shell whose standard output goes to stdoutTarget.
ProgramRun RunProgram(const std::string& arguments, const std::string& stdoutTarget) {
  std::string err = Scratch("stderr.txt");
  std::string command = std::string(ZR_ADJUST_PROGRAM) + " -q " + arguments + " " +
                        ZR_ADJUST_TESTDATA "/small.net >" + stdoutTarget + " 2>" + err;
  int raw = std::system(command.c_str());
  return {WIFEXITED(raw) ? WEXITSTATUS(raw) : -1, Slurp(err)};
}

bool IsKind(const std::string& path, mode_t kind) {
  struct stat status;
  return stat(path.c_str(), &status) == 0 && (status.st_mode & S_IFMT) == kind;
}

bool ParsesAs(const char* language, const std::string& path) {
  std::string reader = std::string(language) == "json"
                           ? "import json,sys; json.load(open(sys.argv[1]))"
                           : "import sys,xml.etree.ElementTree as E; E.parse(sys.argv[1])";
  return std::system(("python3 -c \"" + reader + "\" " + path).c_str()) == 0;
}

TEST(ZrAdjustOutput, WritesDevicesDirectlyAndFailsWithStatusTwoWhenTheyRefuse) {
  const std::string out = Scratch("stdout.txt"), json = Scratch("kept.json");
  struct Case {
    std::string arguments;
    std::string stdoutTarget;
    int status;
    const char* message;
  };
  const Case cases[] = {
      {"", "/dev/full", 2, "standard output: cannot write: No space left on device"},
      // The JSON file would have been written after the report: it keeps its old content.
      {"--json " + json, "/dev/full", 2, "standard output: cannot write"},
      {"--json /dev/full", out, 2, "/dev/full: cannot write: No space left on device"},
      {"--svg /dev/full", out, 2, "/dev/full: cannot write"},
      {"--json /dev/null --svg /dev/null", out, 0, ""},
      {"--json - --svg -", out, 2, "can go to standard output"},
  };
  for (const Case& c : cases) {
    std::ofstream(json) << "old";
    ProgramRun run = RunProgram(c.arguments, c.stdoutTarget);
    EXPECT_EQ(run.status, c.status) << c.arguments << "\n" << run.err;
    EXPECT_THAT(run.err, HasSubstr(c.message)) << c.arguments;
    EXPECT_EQ(Slurp(json), "old") << c.arguments;
    // The devices are still devices (replacing them would need root, which a test may have).
    EXPECT_TRUE(IsKind("/dev/full", S_IFCHR) && IsKind("/dev/null", S_IFCHR)) << c.arguments;
  }
  // A regular file is replaced whole.
  ASSERT_EQ(RunProgram("--json " + json, out).status, 0);
  EXPECT_TRUE(ParsesAs("json", json));
  std::remove(json.c_str());
  std::remove(out.c_str());
}

TEST(ZrAdjustOutput, SendsTheJsonOrSvgToStandardOutputOrAFifo) {
  const std::string out = Scratch("document.txt");
  for (const char* language : {"json", "svg"}) {
    ProgramRun run = RunProgram(std::string("--") + language + " -", out);
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_TRUE(ParsesAs(language, out)) << language;
    EXPECT_EQ(Slurp(out).find("Summary"), std::string::npos) << language;
  }
  // A FIFO with a reader on the other end stays a FIFO and passes the whole document (the
  // reader starts first: opening a FIFO waits for the other end).
  const std::string fifo = Scratch("results.fifo"), received = Scratch("received.json");
  std::remove(fifo.c_str());
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  std::system(("cat " + fifo + " >" + received + " & " + std::string(ZR_ADJUST_PROGRAM) +
               " -q --json " + fifo + " " + ZR_ADJUST_TESTDATA "/small.net >" + out + "; wait")
                  .c_str());
  EXPECT_TRUE(IsKind(fifo, S_IFIFO));
  EXPECT_TRUE(ParsesAs("json", received));
  EXPECT_THAT(Slurp(out), HasSubstr("Summary"));
  for (const std::string& file : {out, fifo, received})
    std::remove(file.c_str());
}

}  // namespace
}  // namespace zradjust
