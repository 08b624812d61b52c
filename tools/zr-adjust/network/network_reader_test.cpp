#include "tools/zr-adjust/network/network_reader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

namespace zradjust {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;

// The network as one line per point and observation; 17 digits show every bit of a double.
std::string Describe(const Network& network) {
  std::string text = network.datumFree ? "datum free\n" : "";
  char line[256];
  for (const SurveyPoint& p : network.points) {
    text.append(line, std::snprintf(line, sizeof line, "%s %s %.17g %.17g %.17g %d%d%d %d\n",
                                    p.name.c_str(), p.kind == PointKind::Height ? "h" : "3d",
                                    p.approximate[0], p.approximate[1], p.approximate[2],
                                    p.fixed[0], p.fixed[1], p.fixed[2], p.line));
  }
  for (const SurveyObservation& o : network.observations) {
    text.append(line,
                std::snprintf(line, sizeof line, "%s %zu %zu %d %.17g %.17g %d\n", TypeName(o.type),
                              o.from, o.to, o.axis, o.observed, o.sigma, o.line));
  }
  return text;
}

TEST(NetworkReader, ReadsEveryRecordInFileOrder) {
  // A byte order mark, CR LF, tabs, comments, blank lines and a missing final newline.
  ReadResult result = ReadNetwork(
      "\xEF\xBB\xBFpoint A 1000.5 2000 100   # pillar\r\npoint\tB\t1100 2000.25 1e2\r\n\n"
      "   # only a comment\nheight BM -3.5\nfix A\nfix B z\nfix B z\nfix BM h\ndatum free\n"
      "dist A B 100.0 0.002\nvector A B 99.5 0.25 -0.5 0.002\nlevel BM B 103.5 0.001\n"
      "coord B y 2000.3 0.01\ncoord BM h -3.25 0.02",
      "t.net");
  ASSERT_TRUE(result.Ok()) << result.errors[0];
  EXPECT_EQ(Describe(result.network),
            "datum free\nA 3d 1000.5 2000 100 111 1\nB 3d 1100 2000.25 100 001 2\n"
            "BM h -3.5 0 0 100 5\ndist 0 1 0 100 0.002 11\ndx 0 1 0 99.5 0.002 12\n"
            "dy 0 1 1 0.25 0.002 12\ndz 0 1 2 -0.5 0.002 12\nlevel 2 1 0 103.5 0.001 13\n"
            "coord 1 1 1 2000.3 0.01 14\ncoord 2 2 0 -3.25 0.02 15\n");
}

TEST(NetworkReader, EveryErrorNamesFileLineAndOffendingText) {
  const std::string header = "point A 0 0 0\npoint B 10 0 0\nheight H 5\n";  // lines 1 to 3
  struct Case {
    std::string record;   // becomes line 4
    std::string message;  // empty: the record is legal
  };
  const Case cases[] = {
      {"point a.B-c_9 +1 -2 .5", ""},                          // every name character, signs
      {"point " + std::string(64, 'N') + " 1e3 1E-3 0.", ""},  // the longest name, exponents
      {"point C 1e-320 0 0", ""},                              // subnormal: still a finite number
      {"fix A xz", ""},
      {"fix H", ""},          // all axes of a height point
      {"level A H 1 1", ""},  // levelling between the two kinds
      {"Point C 0 0 0", "unknown keyword 'Point'"},
      {"point C 0 0", "wrong number of fields for 'point': expected 'point NAME X Y Z', found 3"},
      {"height C", "expected 'height NAME H', found 1"},
      {"point A 1 1 1", "duplicate point name 'A' (first declared on line 1)"},
      // Quoted text is cut short, so that one absurd line cannot flood the terminal.
      {"point " + std::string(65, 'N') + " 0 0 0", "name '" + std::string(40, 'N') + "...'"},
      {"point C\x01 0 0 0", "invalid point name 'C\\x01'"},
      {"point C 0 0 inf", "malformed number 'inf' for Z"},
      {"point C 0x10 0 0", "malformed number '0x10' for X"},
      {"point C 0 1.2.3 0", "malformed number '1.2.3' for Y"},
      {"point C 1e999 0 0", "number '1e999' for X is out of range"},
      {"height C 1,5", "malformed number '1,5' for H"},
      {"dist A C 10 0.01", "unknown point 'C' (declare it with 'point' or 'height' before"},
      {"dist A A 10 0.01", "'dist' names 'A' as both FROM and TO"},
      {"dist A B 10 0", "SIGMA must be greater than zero, found '0'"},
      {"dist A B 10 -0.01", "SIGMA must be greater than zero, found '-0.01'"},
      {"dist A B -10 0.01", "distance S must be greater than zero, found '-10'"},
      {"dist A H 10 0.01", "'dist' needs 3D points, but 'H' is a height point"},
      {"dist A B 10", "expected 'dist FROM TO S SIGMA', found 3"},
      {"vector A B 1 2 3", "expected 'vector FROM TO DX DY DZ SIGMA', found 5"},
      {"vector A H 1 2 3 0.01", "'vector' needs 3D points, but 'H' is a height point"},
      {"vector A B 1 2 z 0.01", "malformed number 'z' for DZ"},
      {"level H H 1 0.01", "'level' names 'H' as both FROM and TO"},
      {"level A B 1 nan", "malformed number 'nan' for SIGMA"},
      {"coord A w 1 0.01", "invalid axis 'w' for 3D point 'A' (x, y or z)"},
      {"coord H z 1 0.01", "invalid axis 'z' for height point 'H' (the only axis of a height"},
      {"fix", "expected 'fix NAME [AXES]', found 0"},
      {"fix C", "unknown point 'C'"},
      {"fix A xq", "invalid axes 'xq' for 3D point 'A' (a combination of x, y and z)"},
      {"fix A xx", "invalid axes 'xx'"},
      {"fix H x", "invalid axes 'x' for height point 'H'"},
      {"datum fixed", "unknown datum 'fixed' (the only datum record is 'datum free')"},
      {"datum", "expected 'datum free', found 0"},
      {"point A\r\r", "wrong number of fields"},  // only one CR belongs to the line end
  };
  for (const Case& c : cases) {
    ReadResult result = ReadNetwork(header + c.record + "\n", "net/t.net");
    ASSERT_EQ(result.errors.size(), c.message.empty() ? 0u : 1u) << c.record;
    if (c.message.empty()) continue;
    EXPECT_THAT(result.errors[0], StartsWith("net/t.net:4: ")) << c.record;
    EXPECT_THAT(result.errors[0], HasSubstr(c.message)) << c.record;
  }
}

TEST(NetworkReader, ReportsEveryFaultyLineUpToTheLimit) {
  // A bad coordinate still declares its point, so the later lines do not repeat the fault.
  ReadResult some =
      ReadNetwork("point A 0 0 0\npoint B 0 0 x\ndist A B 1 0.1\ndist A B 1 0\nbad\n", "t.net");
  EXPECT_THAT(some.errors, ElementsAre(StartsWith("t.net:2: "), StartsWith("t.net:4: "),
                                       StartsWith("t.net:5: ")));
  std::string many;
  for (int i = 0; i < 200; ++i)
    many += "nonsense\n";
  ReadResult result = ReadNetwork(many, "t.net");
  ASSERT_EQ(result.errors.size(), maxErrorCount + 1);
  EXPECT_THAT(result.errors[maxErrorCount - 1], StartsWith("t.net:50: "));
  EXPECT_EQ(result.errors.back(), "t.net: too many errors; giving up after 50");
  // Shapes of input the fuzzer found worth keeping: each must end in messages, never a crash.
  for (const std::string& input :
       {std::string("point A 0 0 0\0\npoint B\0 1 2 3\n", 30), std::string(100000, '\r'),
        std::string(100000, ' ') + "point",
        std::string("point A 0 0 0\ncoord A x 1 1e-320\ncoord A y 1e308 1e308\n"),
        std::string("height H 1\nfix H hh\nfix H\tH\ncoord H h"),
        std::string("\xEF\xBB\xBF\xEF\xBB\xBFpoint A 0 0 0\n"),
        std::string("point -- -1e-9999 +.0e+0 0\ndist -- -- 1 1\n")}) {
    ReadResult hostile = ReadNetwork(input, "t.net");
    EXPECT_LE(hostile.errors.size(), maxErrorCount + 1);
    for (const std::string& error : hostile.errors)
      EXPECT_THAT(error, StartsWith("t.net"));
  }
}

TEST(NetworkReader, WarnsAboutAMissingDatumAndUnobservedPoints) {
  const std::pair<const char*, const char*> cases[] = {
      // text, the warning or "" for none
      {"point A 0 0 0\npoint B 1 0 0\ndist A B 1 1\n", "t.net: warning: no datum"},
      {"point A 0 0 0\npoint B 1 0 0\ndist A B 1 1\ndatum free\n", ""},
      {"point A 0 0 0\npoint B 1 0 0\npoint C 2 0 0\nfix A\nfix C\ndist A B 1 1\n", ""},
      {"point A 0 0 0\npoint B 1 0 0\nfix A\n", "t.net:2: warning: point 'B' is not observed"},
  };
  for (const auto& [text, warning] : cases) {
    std::vector<std::string> warnings =
        NetworkWarnings(ReadNetwork(text, "t.net").network, "t.net");
    ASSERT_EQ(warnings.size(), *warning ? 1u : 0u) << text;
    EXPECT_THAT(warnings.empty() ? "" : warnings[0], StartsWith(warning));
  }
}

}  // namespace
}  // namespace zradjust
