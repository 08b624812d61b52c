#include "tools/zr-adjust/network_reader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace zradjust {
namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

TEST(NetworkReader, ReadsEveryRecordInFileOrder) {
  // A byte order mark, CR LF line ends, tabs, comments and blank lines are all tolerated.
  std::string text =
      "\xEF\xBB\xBFpoint A 1000.5 2000 100   # pillar\r\n"
      "point\tB\t1100 2000.25 1e2\r\n"
      "\n"
      "   # only a comment\n"
      "height BM -3.5\n"
      "fix A\n"
      "fix B z\n"
      "fix B z\n"
      "fix BM h\n"
      "datum free\n"
      "dist A B 100.0 0.002\n"
      "vector A B 99.5 0.25 -0.5 0.003\n"
      "level BM B 103.5 0.001\n"
      "coord B y 2000.3 0.01\n"
      "coord BM h -3.4 0.02";  // no newline at the end
  ReadResult result = ReadNetwork(text, "t.net");
  ASSERT_TRUE(result.Ok()) << result.errors[0];
  const Network& network = result.network;
  ASSERT_EQ(network.points.size(), 3u);
  EXPECT_EQ(network.points[0].name, "A");
  EXPECT_EQ(network.points[0].approximate[0], 1000.5);
  EXPECT_EQ(network.points[1].approximate[1], 2000.25);
  EXPECT_EQ(network.points[1].approximate[2], 100.0);
  EXPECT_EQ(network.points[2].kind, PointKind::Height);
  EXPECT_EQ(network.points[2].approximate[0], -3.5);
  EXPECT_EQ(network.points[2].line, 5);
  const bool expectedFixed[3][3] = {{true, true, true}, {false, false, true}, {true, false, false}};
  for (int p = 0; p < 3; ++p) {
    for (int axis = 0; axis < 3; ++axis) {
      EXPECT_EQ(network.points[p].fixed[axis], expectedFixed[p][axis]) << p << " " << axis;
    }
  }
  EXPECT_TRUE(network.datumFree);

  struct Expected {
    ObservationType type;
    std::size_t from, to;
    int axis;
    double observed, sigma;
    int line;
  };
  const Expected expected[] = {
      {ObservationType::Distance, 0, 1, 0, 100.0, 0.002, 11},
      {ObservationType::VectorX, 0, 1, 0, 99.5, 0.003, 12},
      {ObservationType::VectorY, 0, 1, 1, 0.25, 0.003, 12},
      {ObservationType::VectorZ, 0, 1, 2, -0.5, 0.003, 12},
      {ObservationType::Levelling, 2, 1, 0, 103.5, 0.001, 13},
      {ObservationType::Coordinate, 1, 1, 1, 2000.3, 0.01, 14},
      {ObservationType::Coordinate, 2, 2, 0, -3.4, 0.02, 15},
  };
  ASSERT_EQ(network.observations.size(), std::size(expected));
  for (std::size_t i = 0; i < std::size(expected); ++i) {
    const SurveyObservation& got = network.observations[i];
    EXPECT_EQ(got.type, expected[i].type) << i;
    EXPECT_EQ(got.from, expected[i].from) << i;
    EXPECT_EQ(got.to, expected[i].to) << i;
    EXPECT_EQ(got.axis, expected[i].axis) << i;
    EXPECT_EQ(got.observed, expected[i].observed) << i;
    EXPECT_EQ(got.sigma, expected[i].sigma) << i;
    EXPECT_EQ(got.line, expected[i].line) << i;
  }
  // The levelling on a 3D point reads its Z, on a height point its H.
  EXPECT_EQ(ObservedCoordinate(network.observations[4], PointKind::Spatial), 2);
  EXPECT_EQ(ObservedCoordinate(network.observations[4], PointKind::Height), 0);
}

TEST(NetworkReader, AcceptsTheEdgesOfWhatIsLegal) {
  const char* const legal[] = {
      "",                                          // no records at all
      "point A 0 0 0\n",                           // no observations
      "point a.B-c_9 +1 -2 .5\n",                  // every name character, signs, no digit before .
      "point A 1e3 1E-3 0.\n",                     // exponents
      "point A 0 0 0\npoint B 1 0 0\nfix A xz\n",  // an axis combination
      "height H 0\nfix H\n",                       // fix without axes on a height point
      "point A 0 0 0\nheight H 0\nlevel A H 1 1\n",  // levelling between the two kinds
      "point A 1e-320 0 0\n",                        // subnormal: still a finite number
  };
  std::string longName(64, 'N');
  EXPECT_TRUE(ReadNetwork("point " + longName + " 0 0 0\n", "t.net").Ok());
  for (const char* text : legal) {
    ReadResult result = ReadNetwork(text, "t.net");
    EXPECT_TRUE(result.Ok()) << text << " -> " << (result.errors.empty() ? "" : result.errors[0]);
  }
}

TEST(NetworkReader, EveryErrorNamesFileLineAndOffendingText) {
  const std::string header = "point A 0 0 0\npoint B 10 0 0\nheight H 5\n";  // lines 1 to 3
  struct Case {
    std::string record;  // becomes line 4
    std::string message;
  };
  const Case cases[] = {
      {"frobnicate A", "unknown keyword 'frobnicate'"},
      {"Point C 0 0 0", "unknown keyword 'Point'"},
      {"point C 0 0", "wrong number of fields for 'point': expected 'point NAME X Y Z', found 3"},
      {"point C 0 0 0 0", "found 5 after the keyword"},
      {"height C", "expected 'height NAME H', found 1"},
      {"point A 1 1 1", "duplicate point name 'A' (first declared on line 1)"},
      {"height B 1", "duplicate point name 'B' (first declared on line 2)"},
      {"point C/1 0 0 0", "invalid point name 'C/1'"},
      {"point " + std::string(65, 'N') + " 0 0 0", "invalid point name 'NNNN"},
      {"point C 0 x1 0", "malformed number 'x1' for Y"},
      {"point C 0 0 inf", "malformed number 'inf' for Z"},
      {"point C nan 0 0", "malformed number 'nan' for X"},
      {"point C 0x10 0 0", "malformed number '0x10' for X"},
      {"point C 1.2.3 0 0", "malformed number '1.2.3' for X"},
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
      {"vector B B 1 2 3 0.01", "'vector' names 'B' as both FROM and TO"},
      {"vector A H 1 2 3 0.01", "'vector' needs 3D points, but 'H' is a height point"},
      {"vector A B 1 2 z 0.01", "malformed number 'z' for DZ"},
      {"level H H 1 0.01", "'level' names 'H' as both FROM and TO"},
      {"level A B 1 nan", "malformed number 'nan' for SIGMA"},
      {"coord A w 1 0.01", "invalid axis 'w' for 3D point 'A' (x, y or z)"},
      {"coord A xy 1 0.01", "invalid axis 'xy' for 3D point 'A'"},
      {"coord A h 1 0.01", "invalid axis 'h' for 3D point 'A'"},
      {"coord H z 1 0.01", "invalid axis 'z' for height point 'H' (the only axis of a height"},
      {"coord A x 1 0", "SIGMA must be greater than zero"},
      {"fix", "expected 'fix NAME [AXES]', found 0"},
      {"fix C", "unknown point 'C'"},
      {"fix A xq", "invalid axes 'xq' for 3D point 'A' (a combination of x, y and z)"},
      {"fix A xx", "invalid axes 'xx'"},
      {"fix H x", "invalid axes 'x' for height point 'H'"},
      {"datum fixed", "unknown datum 'fixed' (the only datum record is 'datum free')"},
      {"datum", "expected 'datum free', found 0"},
      {"point C\x01 0 0 0", "invalid point name 'C\\x01'"},
      {"point A\r\r", "wrong number of fields"},  // only one CR belongs to the line end
  };
  for (const Case& c : cases) {
    ReadResult result = ReadNetwork(header + c.record + "\n", "net/t.net");
    ASSERT_EQ(result.errors.size(), 1u) << c.record;
    EXPECT_THAT(result.errors[0], StartsWith("net/t.net:4: ")) << c.record;
    EXPECT_THAT(result.errors[0], HasSubstr(c.message)) << c.record;
  }
}

TEST(NetworkReader, ReportsEveryFaultyLineUpToTheLimit) {
  // A bad coordinate still declares its point, so the later lines do not repeat the fault.
  ReadResult some =
      ReadNetwork("point A 0 0 0\npoint B 0 0 x\ndist A B 1 0.1\ndist A B 1 0\nbad\n", "t.net");
  ASSERT_EQ(some.errors.size(), 3u);
  EXPECT_THAT(some.errors[0], StartsWith("t.net:2: "));
  EXPECT_THAT(some.errors[1], StartsWith("t.net:4: "));
  EXPECT_THAT(some.errors[2], StartsWith("t.net:5: "));

  std::string many;
  for (int i = 0; i < 200; ++i)
    many += "nonsense\n";
  ReadResult result = ReadNetwork(many, "t.net");
  ASSERT_EQ(result.errors.size(), maxErrorCount + 1);
  EXPECT_THAT(result.errors[maxErrorCount - 1], StartsWith("t.net:50: "));
  EXPECT_EQ(result.errors.back(), "t.net: too many errors; giving up after 50");
}

TEST(NetworkReader, QuotesOverlongAndBinaryTextShortly) {
  std::string field(1000, 'x');
  ReadResult result = ReadNetwork("point A " + field + " 0 0\n", "t.net");
  ASSERT_EQ(result.errors.size(), 1u);
  EXPECT_LT(result.errors[0].size(), 200u);
  EXPECT_THAT(result.errors[0], HasSubstr("...'"));
}

TEST(NetworkReader, SurvivesHostileInput) {
  // Shapes of input that the fuzzer explores: each must end in messages, never a crash.
  const std::string inputs[] = {
      std::string("point A 0 0 0\0\npoint B\0 1 2 3\n", 30),
      std::string(100000, '\r'),
      std::string(100000, ' ') + "point",
      "point A 0 0 0\ncoord A x 1 1e-320\ncoord A y 1e308 1e308\n",
      "height H 1\nfix H hh\nfix H\tH\ncoord H h",
      "\xEF\xBB\xBF\xEF\xBB\xBFpoint A 0 0 0\n",
      "point -- -1e-9999 +.0e+0 0\ndist -- -- 1 1\n",
  };
  for (const std::string& input : inputs) {
    ReadResult result = ReadNetwork(input, "t.net");
    EXPECT_LE(result.errors.size(), maxErrorCount + 1);
    for (const std::string& error : result.errors)
      EXPECT_THAT(error, StartsWith("t.net"));
  }
}

TEST(NetworkReader, UnreadableFileSaysWhy) {
  const char* const paths[] = {"/nonexistent/dir/x.net", "/"};
  for (const char* path : paths) {
    ReadResult result = ReadNetworkFile(path);
    ASSERT_EQ(result.errors.size(), 1u) << path;
    EXPECT_THAT(result.errors[0], StartsWith(std::string(path) + ": cannot read: "));
  }
}

TEST(NetworkReader, WarnsAboutAMissingDatumAndUnobservedPoints) {
  struct Case {
    const char* text;
    std::vector<std::string> warnings;
  };
  const Case cases[] = {
      {"point A 0 0 0\npoint B 1 0 0\ndist A B 1 1\n", {"t.net: warning: no datum"}},
      {"point A 0 0 0\npoint B 1 0 0\ndist A B 1 1\ndatum free\n", {}},
      {"point A 0 0 0\npoint B 1 0 0\ndist A B 1 1\nfix A\n", {}},
      {"height A 0\nheight B 1\nlevel A B 1 1\ncoord A h 0 1\n", {}},
      {"point A 0 0 0\npoint B 1 0 0\npoint C 2 0 0\nfix A\nfix C\ndist A B 1 1\n", {}},
      {"point A 0 0 0\npoint B 1 0 0\nfix A\n", {"t.net:2: warning: point 'B' is not observed"}},
  };
  for (const Case& c : cases) {
    ReadResult result = ReadNetwork(c.text, "t.net");
    ASSERT_TRUE(result.Ok()) << c.text;
    std::vector<std::string> warnings = NetworkWarnings(result.network, "t.net");
    ASSERT_EQ(warnings.size(), c.warnings.size()) << c.text;
    for (std::size_t i = 0; i < warnings.size(); ++i) {
      EXPECT_THAT(warnings[i], StartsWith(c.warnings[i])) << c.text;
    }
  }
}

}  // namespace
}  // namespace zradjust
