// Replays the whole-road fuzz target's seed corpus and every input it once failed on: each
// must run to its end (RunWholeRoad aborts on a broken promise, a crash ends the test).

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "tools/zr-adjust/program_fuzz_case.h"

namespace zradjust {
namespace {

TEST(ProgramFuzzRegression, EverySeedAndEveryFormerFindingRunsToItsEnd) {
  std::vector<std::filesystem::path> inputs;
  for (const char* folder : {ZR_PROGRAM_FUZZ_CORPUS, ZR_PROGRAM_FUZZ_REGRESSIONS}) {
    for (const auto& entry : std::filesystem::directory_iterator(folder))
      if (entry.is_regular_file() && entry.path().extension() != ".md")
        inputs.push_back(entry.path());
  }
  std::sort(inputs.begin(), inputs.end());
  ASSERT_GE(inputs.size(), 10u);
  for (const std::filesystem::path& input : inputs) {
    SCOPED_TRACE(input.string());
    std::ostringstream text;
    text << std::ifstream(input, std::ios::binary).rdbuf();
    RunWholeRoad(text.str());
  }
}

}  // namespace
}  // namespace zradjust
