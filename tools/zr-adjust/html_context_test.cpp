#include "tools/zr-adjust/html_context.h"

#include <gtest/gtest.h>

#include <fstream>
#include <regex>
#include <sstream>

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

// Every option of the usage text, set to a value other than its default, appears in the header:
// an option added to the program without a line in ChangedOptions fails here.
TEST(HtmlContext, EveryOptionOfTheUsageTextIsListedWhenChanged) {
  const char* const candidates[] = {"known", "0.01", "7", "input", "never", "evaluate", "o.txt"};
  std::istringstream usage(UsageText());
  std::regex optionLine("^  (?:-[a-z], )?(--[a-z0-9-]+)( [A-Z]+)?\\s");
  std::size_t checked = 0;
  for (std::string line; std::getline(usage, line);) {
    std::smatch match;
    if (!std::regex_search(line, match, optionLine)) continue;
    std::string name = match[1];
    if (name == "--help" || name == "--version") continue;
    bool listed = false, accepted = false;
    if (!match[2].matched) {
      accepted = true;
      listed = !ChangedOptions(ParseOptions({name, "net.net"}).options).empty();
    }
    for (const char* value : candidates) {
      if (!match[2].matched || accepted) break;
      ParsedOptions parsed = ParseOptions({name, value, "net.net"});
      if (!parsed.error.empty()) continue;
      accepted = true;
      listed = !ChangedOptions(parsed.options).empty();
    }
    EXPECT_TRUE(accepted) << name << ": no test value is accepted";
    EXPECT_TRUE(listed) << name << " is not listed in the report's header when changed";
    ++checked;
  }
  EXPECT_GE(checked, 16u);
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
