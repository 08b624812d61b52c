#include "tools/zr-adjust/datum/datum_analysis.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/zr-adjust/datum/datum_test_support.h"

namespace zradjust {
namespace {

using ::testing::HasSubstr;

// Four points off any plane, all six distances between them exact.
std::string Tetrahedron(const std::string& extra) {
  const double p[4][3] = {{0, 0, 0}, {100, 10, 5}, {40, 90, -3}, {60, 40, 50}};
  std::string text;
  char line[200];
  for (int k = 0; k < 4; ++k) {
    std::snprintf(line, sizeof line, "point P%d %.1f %.1f %.1f\n", k, p[k][0], p[k][1], p[k][2]);
    text += line;
  }
  for (int a = 0; a < 4; ++a) {
    for (int b = a + 1; b < 4; ++b) {
      double dx = p[b][0] - p[a][0], dy = p[b][1] - p[a][1], dz = p[b][2] - p[a][2];
      std::snprintf(line, sizeof line, "dist P%d P%d %.9f 0.001\n", a, b,
                    std::sqrt(dx * dx + dy * dy + dz * dz));
      text += line;
    }
  }
  return text + extra;
}

// Four plan points; horizontal distances between all of them, or directions only from every
// point to every other one (a set per station).
DatumCase PlanNetwork(bool directions, bool fixFirst) {
  PlanBuilder builder;
  const double p[4][2] = {{0, 0}, {120, 15}, {70, 110}, {-20, 80}};
  for (int k = 0; k < 4; ++k)
    builder.Point("Q" + std::to_string(k), p[k][0], p[k][1], fixFirst && k == 0);
  for (std::size_t a = 0; a < 4; ++a) {
    std::size_t set = directions ? builder.Set("S" + std::to_string(a), a, 0.1 * a + 0.3) : 0;
    for (std::size_t b = 0; b < 4; ++b) {
      if (directions && b != a) builder.Direction(set, b, 1e-5);
      if (!directions && b > a) builder.HorizontalDistance(a, b, 0.001);
    }
  }
  DatumCase c = builder.Build();
  c.network.datumFree = !fixFirst;
  return c;
}

std::string Parameters(const DatumAnalysis& analysis) {
  std::string names;
  for (Motion motion : analysis.parameters)
    names += std::string(names.empty() ? "" : " ") + MotionParameter(motion);
  return names;
}

// Every motion of G changes no observation: A·g = 0 relative to |A|·|g|.
void ExpectNullMotions(const DatumCase& c, const DatumAnalysis& analysis) {
  for (const std::vector<double>& g : analysis.basis.motions) {
    for (const DesignRow& row : c.linear.rows) {
      double sum = 0.0, size = 0.0;
      for (const DesignEntry& entry : row) {
        sum += entry.partial * g[entry.unknown];
        size += std::fabs(entry.partial * g[entry.unknown]);
      }
      EXPECT_LE(std::fabs(sum), 1e-6 * size + 1e-12);
    }
  }
}

TEST(DatumAnalysis, FindsTheDefectOfFreeNetworks) {
  struct Case {
    const char* name;
    DatumCase network;
    const char* parameters;
  } cases[] = {
      {"3D distances: no scale change", FromText(Tetrahedron("datum free\n")), "tx ty tz rx ry rz"},
      {"3D GNSS vectors: translations only",
       FromText("point A 0 0 0\npoint B 100 5 2\npoint C 30 80 -4\ndatum free\n"
                "vector A B 100 5 2 0.003\nvector B C -70 75 -6 0.003\n"
                "vector C A -30 -80 4 0.003\n"),
       "tx ty tz"},
      {"levelling: heights shift together",
       FromText("height H1 10\nheight H2 12\nheight H3 11\ndatum free\nlevel H1 H2 2 0.001\n"
                "level H2 H3 -1 0.001\nlevel H3 H1 -1 0.001\n"),
       "tz"},
      {"plan distances", PlanNetwork(false, false), "tx ty rz"},
      {"plan directions only: scale too", PlanNetwork(true, false), "tx ty rz scale"},
  };
  for (Case& c : cases) {
    SCOPED_TRACE(c.name);
    DatumAnalysis analysis =
        AnalyseDatum(c.network.network, c.network.unknowns, c.network.linear, false);
    EXPECT_FALSE(analysis.refused) << (analysis.problems.empty() ? "" : analysis.problems[0]);
    EXPECT_TRUE(analysis.problems.empty());
    EXPECT_EQ(Parameters(analysis), c.parameters);
    EXPECT_EQ(analysis.defect, static_cast<int>(analysis.basis.motions.size()));
    EXPECT_EQ(analysis.basis.held.size(), analysis.basis.motions.size());
    EXPECT_TRUE(analysis.basis.undetermined.empty());
    ExpectNullMotions(c.network, analysis);
  }
}

DatumCase WithDatumPoints(DatumCase c, std::vector<std::size_t> points) {
  c.network.datumPoints = std::move(points);
  return c;
}

TEST(DatumAnalysis, RefusesEveryUndeterminedNetworkInASurveyorsWords) {
  const char* fixedPlan =
      "point A 0 0 0\npoint B 100 0 0\npoint C 0 100 0\npoint P 40 40 0\nfix A\nfix B\nfix C\n"
      "dist A P 56.5685 0.001\ndist B P 72.111 0.001\ndist C P 72.111 0.001\n";
  struct Case {
    const char* name;
    DatumCase network;
    const char* message;
  } cases[] = {
      {"plan network entered as 3D with Z = 0", FromText(fixedPlan),
       "point P: Z is not determined: no observation depends on it"},
      {"free levelling without `datum free`",
       FromText("height H1 10\nheight H2 12\nlevel H1 H2 2 0.001\n"),
       "points H1, H2: translation in Z is free; fix a height, or use `datum free`"},
      {"a point observed by nothing",
       FromText(Tetrahedron("fix P0\nfix P1\nfix P2\n"
                            "point Q 5 5 5\n")),
       "point Q: X, Y and Z are not determined: no observation depends on them"},
      {"collinear free points",
       FromText("point A 0 0 0\npoint B 30 40 10\npoint C 60 80 20\npoint D 90 120 30\n"
                "datum free\ndist A B 50.990195 0.001\ndist B C 50.990195 0.001\n"
                "dist C D 50.990195 0.001\ndist A D 152.970585 0.001\n"),
       "not determined by the geometry of its observations"},
      {"a point held by a single distance",
       FromText(Tetrahedron("fix P0\nfix P1\nfix P2\npoint R 10 -20 30\n"
                            "dist P0 R 37.416574 0.001\n")),
       "point R: "},
      {"3D network with one fixed point", FromText(Tetrahedron("fix P0\n")),
       "points P0, P1, P2, P3: rotation about X, rotation about Y and rotation about Z are "
       "free; fix two more points not in a line with the fixed one, or use `datum free`"},
      {"plan network turning about its only fixed point", PlanNetwork(false, true),
       "points Q0, Q1, Q2, Q3: rotation about Z is free; fix a second point, observe an "
       "azimuth, or use `datum free`"},
      {"a distance between points that coincide at their approximate coordinates",
       FromText("point A 0 0 0\npoint B 0 0 0\npoint C 1 1 1\ndatum free\ndist A B 1 0.01\n"
                "dist A C 1 0.01\ndist B C 1 0.01\n"),
       "line 5: dist A B determines nothing at the approximate coordinates"},
      {"a single datum point cannot hold a rotation",
       WithDatumPoints(PlanNetwork(false, false), {2}),
       "the datum points (point Q2) cannot hold the defect (translation in X, translation in Y "
       "and rotation about Z); name more datum points"},
      {"free network in two parts",
       FromText("height H1 10\nheight H2 12\nheight H3 11\nheight H4 9\ndatum free\n"
                "level H1 H2 2 0.001\nlevel H3 H4 -2 0.001\n"),
       "the network falls into 2 parts that no observation connects (points H1, H2; points "
       "H3, H4)"},
  };
  for (Case& c : cases) {
    SCOPED_TRACE(c.name);
    DatumAnalysis analysis =
        AnalyseDatum(c.network.network, c.network.unknowns, c.network.linear, false);
    EXPECT_TRUE(analysis.refused);
    std::string all;
    for (const std::string& problem : analysis.problems)
      all += problem + "\n";
    EXPECT_THAT(all, HasSubstr(c.message));
  }
}

TEST(DatumAnalysis, DampingHoldsWhatIsNotDeterminedAndNamesIt) {
  struct Case {
    const char* name;
    const char* text;
    std::size_t undetermined;
  } cases[] = {
      {"free levelling without `datum free`: both heights",
       "height H1 10\nheight H2 12\nlevel H1 H2 2 0.001\n", 2},
      {"a point observed by nothing: its three coordinates",
       "point A 0 0 0\npoint B 10 0 0\npoint Q 1 1 1\nfix A\nvector A B 10 0 0 0.01\n", 3},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    DatumCase network = FromText(c.text);
    DatumAnalysis analysis = AnalyseDatum(network.network, network.unknowns, network.linear, true);
    EXPECT_FALSE(analysis.refused);
    EXPECT_FALSE(analysis.problems.empty());
    EXPECT_EQ(analysis.basis.undetermined.size(), c.undetermined);
    EXPECT_EQ(analysis.defect, 0);
  }
}

TEST(DatumAnalysis, MinimalDatumHoldsEveryMotion) {
  // Translations and a rotation of three plan points: the held unknowns must make G's rows
  // restricted to them regular, and skip excluded unknowns.
  std::vector<std::vector<double>> motions = {
      {1, 0, 1, 0, 1, 0}, {0, 1, 0, 1, 0, 1}, {-1, -1, 0, 2, 1, -1}};
  std::vector<std::size_t> held = MinimalDatum(motions, {false, false, false, true, false, false});
  ASSERT_EQ(held.size(), 3u);
  double m[3][3];
  for (int r = 0; r < 3; ++r)
    for (int c = 0; c < 3; ++c)
      m[r][c] = motions[c][held[r]];
  double determinant = m[0][0] * (m[1][1] * m[2][2] - m[1][2] * m[2][1]) -
                       m[0][1] * (m[1][0] * m[2][2] - m[1][2] * m[2][0]) +
                       m[0][2] * (m[1][0] * m[2][1] - m[1][1] * m[2][0]);
  EXPECT_GT(std::fabs(determinant), 0.5);
  EXPECT_EQ(std::count(held.begin(), held.end(), 3u), 0);
}

}  // namespace
}  // namespace zradjust
