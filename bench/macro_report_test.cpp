#include "bench/macro_report.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

// The verdict of the tables decides the benchmark's exit status: a peer that disagrees beyond
// the tolerance or fails, or a zr-adjust run that does not end with status 0, must make it
// false and be marked in the text; counts carry thousands separators, ratios are peer over ours.
TEST(MacroReport, TablesMarkDisagreementFailureAndRatios) {
  struct Case {
    const char* name;
    double difference;
    std::string error;
    bool agreed;
    const char* shown;
  };
  const std::vector<Case> cases = {
      {"agrees", 1e-12, "", true, "| 300.0 (–), 2.00× (–), 1.0e-12 |"},
      {"disagrees", 1e-6, "", false, "DISAGREES"},
      {"fails", 0.0, "factorisation failed", false, "factorisation failed"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    SizeResult result;
    result.points = 1234567;
    result.solveCompactSeconds = 0.15;
    result.peers.push_back({"peer, 2 threads", 0.3, 0.3, c.difference, c.error});
    testing::internal::CaptureStdout();
    const bool agreed = PrintSizeTable({result});
    const std::string text = testing::internal::GetCapturedStdout();
    EXPECT_EQ(agreed, c.agreed);
    EXPECT_NE(text.find(c.shown), std::string::npos) << text;
    EXPECT_NE(text.find("| 1,234,567 points |"), std::string::npos);
  }
  for (int status : {0, 1, -9}) {
    EndToEndResult run;
    run.points = 100000;
    run.exitStatus = status;
    testing::internal::CaptureStdout();
    EXPECT_EQ(PrintEndToEndTable({run}), status == 0);
    EXPECT_NE(testing::internal::GetCapturedStdout().find("| 100,000 points |"), std::string::npos);
  }
}

}  // namespace
