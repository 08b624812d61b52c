#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <regex>
#include <sstream>

#include "tools/zr-adjust/json_report.h"
#include "tools/zr-adjust/output_file.h"
#include "tools/zr-adjust/svg_plot.h"
#include "tools/zr-adjust/text_report.h"

namespace zradjust {
namespace {

using ::testing::HasSubstr;

bool SameBits(double a, double b) {
  return std::memcmp(&a, &b, sizeof a) == 0;
}

// Two 3D points (one fixed in X and Y, one free), a height point, three observations; numbers
// chosen so that 15 significant digits would not read back.
AdjustmentReport SampleReport() {
  AdjustmentReport report;
  report.networkFile = "a&b.net";
  report.unknownCount = 4;
  report.redundancy = -1;
  report.iterations = {{1, 12.5, 0.1 / 3.0, 0.002}, {2, 1.0 / 3.0, 1e-7, 0.0015}};
  report.converged = true;
  report.inverseComputed = true;
  report.tolerance = 1e-5;
  report.sigma0 = 2.0 / 3.0;
  PointResult fixedPoint;
  fixedPoint.name = "F1";
  fixedPoint.coordinate[0] = 1000.1;
  fixedPoint.coordinate[1] = 2000.0000000000002;
  fixedPoint.coordinate[2] = 99.123456789012345;
  fixedPoint.fixed[0] = fixedPoint.fixed[1] = true;
  fixedPoint.deviation[2] = 0.0011;
  PointResult freePoint;
  freePoint.name = "N1";
  freePoint.coordinate[0] = 1100.0 + 1.0 / 7.0;
  freePoint.coordinate[1] = 2050.0 - 1.0 / 9.0;
  freePoint.coordinate[2] = 1e-300;
  for (int axis = 0; axis < 3; ++axis)
    freePoint.deviation[axis] = 0.001 * (axis + 1) / 3.0;
  freePoint.hasCovarianceXY = true;
  freePoint.covarianceXX = 4e-6;
  freePoint.covarianceXY = 1e-6;
  freePoint.covarianceYY = 1e-6;
  PointResult heightPoint;
  heightPoint.name = "BM";
  heightPoint.kind = PointKind::Height;
  heightPoint.coordinate[0] = 100.5;
  report.points = {fixedPoint, freePoint, heightPoint};
  ObservationResult distance{
      ObservationType::Distance, 0, 1, 'x', 100.123, 100.1229, 0.0001, 0.002, 0.05, 7};
  ObservationResult coordinate{
      ObservationType::Coordinate, 2, 2, 'h', 100.5, 100.4999, 1e-4, 0.001, 0.1, 8};
  ObservationResult component{
      ObservationType::VectorZ, 1, 0, 'z', -1.0 / 3.0, -0.3333, -1.0 / 30000.0, 0.003,
      -0.01111111111111111,     9};
  report.observations = {distance, coordinate, component};
  return report;
}

// Every number that follows "key": in the text, in order; null reads as NaN.
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

TEST(JsonReport, NumbersReadBackToTheSameDoubles) {
  AdjustmentReport report = SampleReport();
  std::ostringstream out;
  WriteJsonReport(out, report);
  std::string json = out.str();

  std::vector<double> x = NumbersOf(json, "x");
  std::vector<double> z = NumbersOf(json, "z");
  std::vector<double> sx = NumbersOf(json, "sx");
  std::vector<double> sz = NumbersOf(json, "sz");
  std::vector<double> h = NumbersOf(json, "h");
  ASSERT_EQ(x.size(), 2u);
  ASSERT_EQ(sx.size(), 2u);
  for (int p = 0; p < 2; ++p) {
    EXPECT_TRUE(SameBits(x[p], report.points[p].coordinate[0]));
    EXPECT_TRUE(SameBits(z[p], report.points[p].coordinate[2]));
    EXPECT_TRUE(SameBits(sz[p], *report.points[p].deviation[2]));
  }
  EXPECT_TRUE(std::isnan(sx[0]));  // fixed: null
  EXPECT_TRUE(SameBits(sx[1], *report.points[1].deviation[0]));
  ASSERT_EQ(h.size(), 1u);
  EXPECT_TRUE(SameBits(h[0], 100.5));
  EXPECT_TRUE(std::isnan(NumbersOf(json, "sh")[0]));  // not computed: null

  std::vector<double> sigma0 = NumbersOf(json, "sigma0");
  ASSERT_EQ(sigma0.size(), 3u);  // the run's, then one per iteration
  EXPECT_TRUE(SameBits(sigma0[0], report.sigma0));
  EXPECT_TRUE(SameBits(sigma0[2], report.iterations[1].sigma0));
  std::vector<double> corrections = NumbersOf(json, "max_correction");
  EXPECT_TRUE(SameBits(corrections[0], report.iterations[0].maxCorrection));
  std::vector<double> observed = NumbersOf(json, "observed");
  std::vector<double> normalized = NumbersOf(json, "normalized");
  ASSERT_EQ(observed.size(), 3u);
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_TRUE(SameBits(observed[i], report.observations[i].observed));
    EXPECT_TRUE(SameBits(normalized[i], report.observations[i].normalized));
  }
  EXPECT_THAT(json, HasSubstr("\"type\": \"coord\", \"at\": \"BM\", \"axis\": \"h\""));
  EXPECT_THAT(json, HasSubstr("\"type\": \"dz\", \"from\": \"N1\", \"to\": \"F1\""));
  EXPECT_THAT(json, HasSubstr("\"converged\": true"));
  EXPECT_THAT(json, HasSubstr("\"unknowns\": 4"));
  EXPECT_THAT(json, HasSubstr("\"observations_count\": 3"));
}

TEST(JsonReport, NonFiniteNumbersBecomeNull) {
  EXPECT_EQ(JsonNumber(NAN), "null");
  EXPECT_EQ(JsonNumber(INFINITY), "null");
  EXPECT_EQ(JsonNumber(-INFINITY), "null");
  EXPECT_EQ(JsonNumber(0.1), "0.10000000000000001");
}

TEST(SvgPlot, ErrorEllipseOfKnownCovariances) {
  struct Case {
    double xx, xy, yy;
    double major, minor, angle;
  };
  const double quarter = std::atan(1.0);
  const Case cases[] = {
      {4.0, 0.0, 1.0, 2.0, 1.0, 0.0},
      {1.0, 0.0, 4.0, 2.0, 1.0, 2.0 * quarter},  // major axis along Y
      {2.5, 1.5, 2.5, 2.0, 1.0, quarter},        // rotated by 45 degrees
      {2.5, -1.5, 2.5, 2.0, 1.0, -quarter},
      {1.0, 0.0, 1.0, 1.0, 1.0, 0.0},  // a circle
  };
  for (const Case& c : cases) {
    ErrorEllipse ellipse = ComputeErrorEllipse(c.xx, c.xy, c.yy);
    double tolerance = 8 * std::numeric_limits<double>::epsilon();
    EXPECT_NEAR(ellipse.semiMajor, c.major, tolerance * c.major);
    EXPECT_NEAR(ellipse.semiMinor, c.minor, tolerance * c.major);
    EXPECT_NEAR(ellipse.angle, c.angle, tolerance * 4);
  }
}

TEST(SvgPlot, ScaleLengthsAreRoundNumbers) {
  struct Case {
    double limit, expected;
  };
  const Case cases[] = {{1.0, 1.0}, {1.9, 1.0},   {2.0, 2.0},      {4.99, 2.0},    {5.0, 5.0},
                        {9.9, 5.0}, {10.0, 10.0}, {0.0037, 0.002}, {730.0, 500.0}, {0.3, 0.2}};
  for (const Case& c : cases) {
    EXPECT_NEAR(RoundScaleLength(c.limit), c.expected, 1e-12 * c.expected) << c.limit;
  }
}

TEST(SvgPlot, DrawsOneEllipsePerPointThatHasOneAndTwoScaleBars) {
  AdjustmentReport report = SampleReport();
  std::ostringstream out;
  WriteSvgPlot(out, report);
  std::string svg = out.str();
  std::size_t ellipses = 0;
  for (std::size_t at = svg.find("<ellipse"); at != std::string::npos;
       at = svg.find("<ellipse", at + 1)) {
    ++ellipses;
  }
  EXPECT_EQ(ellipses, 1u);
  EXPECT_THAT(svg, HasSubstr("a&amp;b.net"));  // escaped
  EXPECT_THAT(svg, HasSubstr("<g id=\"map-scale\">"));
  EXPECT_THAT(svg, HasSubstr("<g id=\"ellipse-scale\">"));
  EXPECT_EQ(svg.rfind("</svg>\n"), svg.size() - 7);

  report.inverseComputed = false;
  for (PointResult& point : report.points)
    point.hasCovarianceXY = false;
  std::ostringstream without;
  WriteSvgPlot(without, report);
  EXPECT_EQ(without.str().find("<ellipse"), std::string::npos);
  EXPECT_EQ(without.str().find("ellipse-scale"), std::string::npos);
  EXPECT_NE(without.str().find("map-scale"), std::string::npos);
}

TEST(TextReport, ShowsPointsInFileOrderAndBlankDeviationsForFixedCoordinates) {
  AdjustmentReport report = SampleReport();
  std::ostringstream out;
  WriteTextReport(out, report);
  std::string text = out.str();
  std::size_t f1 = text.find("\n  F1 ");
  std::size_t n1 = text.find("\n  N1 ");
  ASSERT_NE(f1, std::string::npos);
  ASSERT_NE(n1, std::string::npos);
  EXPECT_LT(f1, n1);
  // F1: X and Y fixed, so only sZ appears, in millimetres.
  std::string f1Line = text.substr(f1 + 1, text.find('\n', f1 + 1) - f1 - 1);
  std::istringstream fields(f1Line);
  std::string name;
  double x, y, z, sz;
  fields >> name >> x >> y >> z >> sz;
  EXPECT_NEAR(x, 1000.1, 1e-4);
  EXPECT_NEAR(sz, 1.1, 1e-2);
  EXPECT_THAT(f1Line, HasSubstr("fixed xy"));
  EXPECT_THAT(text, HasSubstr("redundancy       -1"));
}

TEST(OutputFile, AppearsOnlyWhenCommitted) {
  std::string directory = ::testing::TempDir();
  std::string path = directory + "/zr_output_file_test.txt";
  std::remove(path.c_str());
  {
    OutputFile file;
    std::string error;
    ASSERT_TRUE(file.Open(path, error)) << error;
    file.Stream() << "half";
    // Dropped without Commit.
  }
  EXPECT_FALSE(std::ifstream(path).good());
  {
    OutputFile file;
    std::string error;
    ASSERT_TRUE(file.Open(path, error)) << error;
    file.Stream() << "whole";
    ASSERT_TRUE(file.Commit(error)) << error;
  }
  std::ifstream read(path);
  std::string content;
  read >> content;
  EXPECT_EQ(content, "whole");
  std::remove(path.c_str());

  OutputFile bad;
  std::string error;
  EXPECT_FALSE(bad.Open("/nonexistent/dir/out.json", error));
  EXPECT_THAT(error, HasSubstr("/nonexistent/dir/out.json: cannot write: "));
}

}  // namespace
}  // namespace zradjust
