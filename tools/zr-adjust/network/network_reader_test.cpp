#include "tools/zr-adjust/network/network_reader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
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
      {"point C 0", "wrong number of fields for 'point': expected 'point NAME X Y [Z]', found 2"},
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
      {"dist A B 10", "expected 'dist FROM TO S SIGMA [IH TH]', found 3"},
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
      {"datum fixed", "unknown datum 'fixed' (the only datum record is 'datum free [NAME ...]')"},
      {"datum", "expected 'datum free [NAME ...]', found 0"},
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

TEST(NetworkReader, ReadsTheTotalStationRecordsInRadiansAndTheirUnits) {
  ReadResult result = ReadNetwork(
      "point S1 100 200 50\npoint S2 300 200 52\npoint P 150 260\nheight H 49\n"
      "fix P x\nfix P\ndatum free S2 P S2\n"
      "dir I S1 S2 100 0.0003\n"              // line 8, gon by default
      "angles deg\ndir I S1 P 359.5 0.001\n"  // line 10
      "angle S1 S2 P 90 0.5\nazimuth S1 P 0 1\nangles rad\nzenith S1 S2 1.5 0.001 1.6 1.3\n"
      "dist S1 S2 200 0.001+2ppm 1.5 1.2\nhdist S1 P 78.1 0.002+0ppm\nhdist S2 P 160 3e-3\n"
      "vector S1 S2 200 0 2 cov 4e-6 1e-6 0 9e-6 -2e-6 1e-5\nvector S2 S1 -200 0 -2 0.002\n"
      "angles gon\n",
      "t.net");
  ASSERT_TRUE(result.Ok()) << result.errors[0];
  const Network& network = result.network;
  const double gon = M_PI / 200.0, degree = M_PI / 180.0;
  EXPECT_EQ(network.points[2].kind, PointKind::Plan);
  EXPECT_EQ(network.points[2].CoordinateCount(), 2);
  EXPECT_TRUE(network.points[2].fixed[0] && network.points[2].fixed[1] &&
              !network.points[2].fixed[2]);
  EXPECT_TRUE(network.datumFree);
  EXPECT_EQ(network.datumPoints, (std::vector<std::size_t>{1, 2}));
  EXPECT_EQ(network.finalUnit, AngleUnit::Gon);
  ASSERT_EQ(network.directionSets.size(), 1u);
  EXPECT_EQ(network.directionSets[0].name, "I");
  EXPECT_EQ(network.directionSets[0].station, 0u);
  EXPECT_EQ(network.directionSets[0].line, 8);

  struct Expected {
    ObservationType type;
    std::size_t at, from, to;
    double observed, sigma, instrumentHeight, targetHeight;
    AngleUnit unit;
  };
  const Expected expected[] = {
      {ObservationType::Direction, 0, 0, 1, 100 * gon, 0.0003 * gon, 0, 0, AngleUnit::Gon},
      {ObservationType::Direction, 0, 0, 2, 359.5 * degree, 0.001 * degree, 0, 0,
       AngleUnit::Degree},
      {ObservationType::Angle, 0, 1, 2, 90 * degree, 0.5 * degree, 0, 0, AngleUnit::Degree},
      {ObservationType::Azimuth, 0, 0, 2, 0, degree, 0, 0, AngleUnit::Degree},
      {ObservationType::Zenith, 0, 0, 1, 1.5, 0.001, 1.6, 1.3, AngleUnit::Radian},
      {ObservationType::Distance, 0, 0, 1, 200, 0.001 + 2e-6 * 200, 1.5, 1.2, AngleUnit::Radian},
      {ObservationType::HorizontalDistance, 0, 0, 2, 78.1, 0.002, 0, 0, AngleUnit::Radian},
      {ObservationType::HorizontalDistance, 0, 1, 2, 160, 0.003, 0, 0, AngleUnit::Radian},
      {ObservationType::VectorX, 0, 0, 1, 200, 0.002, 0, 0, AngleUnit::Radian},
      {ObservationType::VectorY, 0, 0, 1, 0, 0.003, 0, 0, AngleUnit::Radian},
      {ObservationType::VectorZ, 0, 0, 1, 2, std::sqrt(1e-5), 0, 0, AngleUnit::Radian},
  };
  ASSERT_EQ(network.observations.size(), std::size(expected) + 3);
  for (std::size_t i = 0; i < std::size(expected); ++i) {
    const SurveyObservation& o = network.observations[i];
    const Expected& e = expected[i];
    EXPECT_EQ(o.type, e.type) << i;
    EXPECT_EQ(o.from, e.from) << i;
    EXPECT_EQ(o.to, e.to) << i;
    if (o.type == ObservationType::Angle) {
      EXPECT_EQ(o.at, e.at);
    }
    EXPECT_DOUBLE_EQ(o.observed, e.observed) << i;
    EXPECT_DOUBLE_EQ(o.sigma, e.sigma) << i;
    EXPECT_EQ(o.instrumentHeight, e.instrumentHeight) << i;
    EXPECT_EQ(o.targetHeight, e.targetHeight) << i;
    EXPECT_EQ(o.unit, e.unit) << i;
    EXPECT_EQ(o.set, 0u);
  }
  // One covariance, on all three components of the first baseline; none on the second.
  ASSERT_EQ(network.baselineCovariances.size(), 1u);
  EXPECT_EQ(network.baselineCovariances[0].upper[4], -2e-6);
  for (std::size_t i = 8; i < 14; ++i) {
    EXPECT_EQ(network.observations[i].covariance, i < 11 ? 0 : -1) << i;
    EXPECT_EQ(network.observations[i].axis, static_cast<int>((i - 8) % 3)) << i;
  }
}

TEST(NetworkReader, TotalStationRecordsNameFileLineAndOffendingText) {
  // Lines 1 to 6; a direction set I read from A.
  const std::string header =
      "point A 0 0 0\npoint B 10 0 0\nheight H 5\npoint P 5 5\npoint Q 6 8\ndir I A B 0 0.001\n";
  const std::pair<std::string, std::string> cases[] = {
      // record (line 7), the message or "" when legal
      {"dir I A P 399.9999 0.001", ""},
      {"dir I2 P Q 0 0.001", ""},
      {"hdist P A 5 0.001+1ppm", ""},
      {"coord P y 5 0.01", ""},
      {"fix P xy", ""},
      {"zenith A B 200 0.001", ""},
      {"dist A B 10 0.001 1.5", "expected 'dist FROM TO S SIGMA [IH TH]', found 5"},
      {"dist A P 10 0.001", "'dist' needs 3D points, but 'P' is a plan point"},
      {"zenith P A 100 0.001", "'zenith' needs 3D points, but 'P' is a plan point"},
      {"vector A P 1 2 3 0.01", "'vector' needs 3D points, but 'P' is a plan point"},
      {"level P H 1 0.01", "'level' needs heights, but 'P' is a plan point"},
      {"coord P z 1 0.01", "invalid axis 'z' for plan point 'P' (x or y)"},
      {"fix P z", "invalid axes 'z' for plan point 'P' (a combination of x and y)"},
      {"hdist A H 3 0.01", "'hdist' needs plan coordinates, but 'H' is a height point"},
      {"dir I B A 0 0.001", "direction set 'I' is read from 'A' (line 6), not from 'B'"},
      {"dir I A A 0 0.001", "'dir' names 'A' as both FROM and TO"},
      {"dir I/1 A B 0 0.001", "invalid set name 'I/1'"},
      {"angles grad", "unknown angle unit 'grad' (gon, deg or rad)"},
      {"angles", "expected 'angles gon|deg|rad', found 0"},
      {"dir I A P 400 0.001", "R '400' is outside one full circle (0 to below 400 gon)"},
      {"azimuth A B -1 0.001", "A '-1' is outside one full circle"},
      {"angle A B P 400.5 0.001", "A '400.5' is outside one full circle"},
      {"angle A B B 10 0.001", "'angle' needs three different points"},
      {"angle A B Q 10 0", "SIGMA must be greater than zero, found '0'"},
      {"zenith A B 200.1 0.001", "Z '200.1' is not a zenith angle (0 to 200 gon)"},
      {"dist A B 10 0.001+ppm", "malformed number '' for SIGMA"},
      {"dist A B 10 1.5ppm", "malformed SIGMA '1.5ppm' (metres, or A+Bppm"},
      {"dist A B 10 0+0ppm", "SIGMA must be greater than zero with both parts not negative"},
      {"dist A B 10 0.001-2ppm", "malformed SIGMA '0.001-2ppm'"},
      {"hdist A B 10 0.001 1 1", "expected 'hdist FROM TO S SIGMA', found 6"},
      {"vector A B 1 2 3 cov 1 0 0 1 0", "expected 'vector FROM TO DX DY DZ cov CXX CXY CXZ"},
      {"vector A B 1 2 3 cov 1 2 0 1 0 1", "the covariance of 'vector' 'A' 'B' is not positive "},
      {"vector A B 1 2 3 cov 1 0 0 1 0 -1", "is not positive definite"},
      {"vector A B 1 2 3 cov 1 0 0 1 0 x", "malformed number 'x' for CZZ"},
      {"datum free A X", "unknown point 'X'"},
      {"zenith A B 100 0.001 1.5 x", "malformed number 'x' for TH"},
  };
  for (const auto& [record, message] : cases) {
    ReadResult result = ReadNetwork(header + record + "\n", "net/t.net");
    ASSERT_EQ(result.errors.size(), message.empty() ? 0u : 1u)
        << record << ": " << (result.errors.empty() ? "" : result.errors[0]);
    if (message.empty()) continue;
    EXPECT_THAT(result.errors[0], StartsWith("net/t.net:7: ")) << record;
    EXPECT_THAT(result.errors[0], HasSubstr(message)) << record;
    // A faulty record leaves nothing behind: no observation, set or covariance.
    EXPECT_EQ(result.network.observations.size(), 1u) << record;
    EXPECT_EQ(result.network.directionSets.size(), 1u) << record;
    EXPECT_TRUE(result.network.baselineCovariances.empty()) << record;
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
