#include "tools/zr-adjust/html_context.h"

#include <gtest/gtest.h>

#include <fstream>

namespace zradjust {
namespace {

std::vector<std::string> Changed(std::vector<std::string> arguments) {
  arguments.push_back("net.net");
  ParsedOptions parsed = ParseOptions(arguments);
  EXPECT_EQ(parsed.error, "");
  return ChangedOptions(parsed.options);
}

// What the report's header lists: exactly the options that differ from their defaults, with
// numbers that read back to the value given; an option given at its default is not listed.
TEST(HtmlContext, ListsTheOptionsThatDifferFromTheirDefaults) {
  struct Case {
    std::vector<std::string> arguments;
    std::vector<std::string> listed;
  };
  const Case cases[] = {
      {{}, {}},
      {{"--tolerance", "1e-5", "--inverse", "auto", "--order", "rcm"}, {}},
      {{"--tolerance", "0.001", "--iterations", "25", "--sigma0", "0.1"},
       {"--iterations 25", "--tolerance 0.001", "--sigma0 0.1"}},
      {{"--inverse", "never", "--order", "input", "--solver", "evaluate", "--adaptive-weights"},
       {"--inverse never", "--order input", "--solver evaluate", "--adaptive-weights"}},
      {{"--damping", "1e-9", "--max-correction", "2.5", "--step-factor", "0.5"},
       {"--step-factor 0.5", "--max-correction 2.5", "--damping 1e-09"}},
      {{"-q", "--html", "r.html", "--json", "r.json"},
       {"--json r.json", "--html r.html", "--quiet"}},
  };
  for (const Case& c : cases)
    EXPECT_EQ(Changed(c.arguments), c.listed) << (c.listed.empty() ? "" : c.listed[0]);
}

TEST(HtmlContext, HashesTheNetworkFileAndDatesInUtc) {
  std::string path = ::testing::TempDir() + "/zr_html_context.net";
  std::ofstream(path, std::ios::binary) << "abc";
  Options options;
  options.networkFile = path;
  HtmlContext context = MakeHtmlContext(options, "1.2.3", 86400 * 365 + 3661);
  EXPECT_EQ(context.networkSha256,
            "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
  EXPECT_EQ(context.date, "1971-01-01 01:01:01 UTC");
  EXPECT_EQ(context.programVersion, "1.2.3");
  std::ofstream(path, std::ios::binary | std::ios::trunc);  // an empty file has a digest too
  EXPECT_EQ(MakeHtmlContext(options, "", 0).networkSha256,
            "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
  options.networkFile = "-";
  context = MakeHtmlContext(options, "", 0);
  EXPECT_EQ(context.networkSha256, "");
  EXPECT_EQ(context.networkFile, "standard input");
  options.networkFile = path + ".missing";
  EXPECT_EQ(MakeHtmlContext(options, "", 0).networkSha256, "");
}

}  // namespace
}  // namespace zradjust
